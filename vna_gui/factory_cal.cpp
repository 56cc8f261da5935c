#include "factory_cal.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDebug>
#include <QFileInfo>
#include <QPair>
#include <QtEndian>
#include <cmath>
#include <cstring>

#include "application_settings.h"
#include "vna_device.h"

namespace FactoryCal
{
namespace
{
constexpr char kMagic[8] = {'N', 'V', 'X', 'F', 'C', 'A', 'L', '\0'};
// Header fields, by offset. The checksum covers the fields before it and the payload.
constexpr int kVersionAt = 8;
constexpr int kHeaderSizeAt = 10;
constexpr int kSerialAt = 12;
constexpr int kDateAt = 16;
constexpr int kPayloadSizeAt = 24;
constexpr int kChecksumAt = 32;
constexpr int kChecksumSize = 32;
const QString kPrecisionGroup = QStringLiteral("FullPrecision");
const QString kFlashDateKey = QStringLiteral("FactoryStore/FlashDate");

QString Tr(const char* text)
{
    return QCoreApplication::translate("FactoryCal", text);
}

QByteArray Checksum(const char* header, const char* payload, int size)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(header, kChecksumAt);
    hash.addData(payload, size);
    return hash.result();
}

// Every measured vector of the record under its key in the file, in the order Save writes them.
QVector<QPair<QString, CplxVector*>> MeasuredVectors(VNACalibration& cal)
{
    QVector<QPair<QString, CplxVector*>> v;
    if (Is2PortCal(cal.GetCalType()))
    {
        for (int n = 0; n < VNACalibration::kTermCount; ++n)
        {
            v.append({QStringLiteral("MS%1").arg(n), &cal.MeasuredStd(n)});
            v.append({QStringLiteral("MS_HDR%1").arg(n), &cal.MeasuredStdHDR(n)});
        }
        v.append({QStringLiteral("SwitchTermsFwd"), &cal.SwitchTermsFwd()});
        v.append({QStringLiteral("SwitchTermsRev"), &cal.SwitchTermsRev()});
        v.append({QStringLiteral("GammaFwd"), &cal.GammaFwd()});
        v.append({QStringLiteral("GammaRev"), &cal.GammaRev()});
    }
    else if (cal.GetCalType() == SOL)
    {
        for (int n = 0; n < VNACalibration::kOnePortRoles; ++n)
        {
            v.append({QStringLiteral("MS%1").arg(n), &cal.OnePortMeas(n)});
        }
    }
    return v;
}

QVector<double> Interleaved(const CplxVector& v)
{
    QVector<double> d(2 * v.size());
    std::memcpy(d.data(), v.constData(), sizeof(double) * size_t(d.size()));
    return d;
}

// The precise value agrees with the file's float when narrowing it gives that float.
bool AgreesWithFloat(double precise, double narrowed)
{
    return double(float(precise)) == narrowed || (std::isnan(precise) && std::isnan(narrowed));
}

bool SerialMatches(const VNACalibration& cal, int serial, QString& error)
{
    if (cal.GetSerialNumber() != serial)
    {
        error = Tr("The calibration belongs to instrument %1.").arg(cal.GetSerialNumberString());
        return false;
    }
    return true;
}

QByteArray Bytes(const std::vector<unsigned char>& v)
{
    return QByteArray(reinterpret_cast<const char*>(v.data()), int(v.size()));
}

// Reads the block from flash, checks it and writes it to the file; cal is the calibration in it.
bool RefreshFromFlash(VNADevice& device, int serial, unsigned long flashDate, const QString& path,
                      VNACalibration& cal, QString& detail)
{
    std::vector<unsigned char> head;
    BlockHeader header;
    if (!device.ReadFactoryCal(head, kHeaderSize))
    {
        detail = Tr("The instrument did not give its calibration data.");
        return false;
    }
    if (!ParseHeader(Bytes(head), header, detail))
    {
        return false;
    }
    std::vector<unsigned char> all;
    QByteArray contents;
    if (!device.ReadFactoryCal(all, kHeaderSize + int(header.payloadSize)))
    {
        detail = Tr("The instrument did not give its calibration data.");
        return false;
    }
    if (!ParseBlock(Bytes(all), header, contents, detail))
    {
        return false;
    }
    VNACalibration fromFlash;
    if (header.serial != serial ||
        !CalibrationFromText(contents, QFileInfo(path).fileName(), fromFlash, detail) ||
        !SerialMatches(fromFlash, serial, detail))
    {
        if (detail.isEmpty())
        {
            detail = Tr("The calibration belongs to instrument %1.").arg(header.serial);
        }
        return false;
    }
    QString saveError;
    if (!SaveFile(path, contents, flashDate, saveError))
    {
        // The flash still serves this session; the next connection tries the file again.
        qWarning() << "Factory calibration:" << saveError;
    }
    cal = fromFlash;
    return true;
}
}  // namespace

bool ParseHeader(const QByteArray& bytes, BlockHeader& header, QString& error)
{
    if (bytes.size() < kHeaderSize)
    {
        error = Tr("The data end inside the header.");
        return false;
    }
    const char* p = bytes.constData();
    if (std::memcmp(p, kMagic, sizeof(kMagic)) != 0)
    {
        error = Tr("The data are not a factory calibration.");
        return false;
    }
    header.version = qFromLittleEndian<quint16>(p + kVersionAt);
    header.serial = qFromLittleEndian<qint32>(p + kSerialAt);
    header.dateMs = qFromLittleEndian<qint64>(p + kDateAt);
    header.payloadSize = qFromLittleEndian<quint32>(p + kPayloadSizeAt);
    if (header.version != kBlockVersion)
    {
        error = Tr("Block format version %1 is not known.").arg(header.version);
        return false;
    }
    if (qFromLittleEndian<quint16>(p + kHeaderSizeAt) != kHeaderSize ||
        header.payloadSize < 4 || header.payloadSize > kMaxPayloadSize)
    {
        error = Tr("The header is damaged.");
        return false;
    }
    return true;
}

bool ParseBlock(const QByteArray& block, BlockHeader& header, QByteArray& contents,
                QString& error)
{
    if (!ParseHeader(block, header, error))
    {
        return false;
    }
    if (block.size() - kHeaderSize < qint64(header.payloadSize))
    {
        error = Tr("The data end inside the calibration.");
        return false;
    }
    const char* payload = block.constData() + kHeaderSize;
    const int size = int(header.payloadSize);
    if (Checksum(block.constData(), payload, size) != block.mid(kChecksumAt, kChecksumSize))
    {
        error = Tr("The checksum does not match.");
        return false;
    }
    // qCompress puts the length of the contents first, big-endian.
    const quint32 announced = qFromBigEndian<quint32>(payload);
    if (announced == 0 || announced > kMaxContentsSize)
    {
        error = Tr("The calibration does not decompress.");
        return false;
    }
    contents = qUncompress(reinterpret_cast<const uchar*>(payload), size);
    if (contents.size() != int(announced))
    {
        error = Tr("The calibration does not decompress.");
        return false;
    }
    return true;
}

bool BuildBlock(const VNACalibration& source, int serial, QByteArray& block, QString& error)
{
    if (!IsUsable(source, error))
    {
        return false;
    }
    VNACalibration cal = source;
    cal.SetSerialNumber(serial);
    QByteArray text;
    if (!CalibrationToText(cal, text, error))
    {
        return false;
    }
    const QByteArray payload = qCompress(text, 9);
    if (uint32_t(payload.size()) > kMaxPayloadSize || uint32_t(text.size()) > kMaxContentsSize)
    {
        error = Tr("The calibration is too large for the instrument.");
        return false;
    }
    char p[kHeaderSize] = {};
    std::memcpy(p, kMagic, sizeof(kMagic));
    qToLittleEndian<quint16>(kBlockVersion, p + kVersionAt);
    qToLittleEndian<quint16>(quint16(kHeaderSize), p + kHeaderSizeAt);
    qToLittleEndian<qint32>(serial, p + kSerialAt);
    const QDateTime date = cal.GetDate();
    qToLittleEndian<qint64>(date.isValid() ? date.toMSecsSinceEpoch() : 0, p + kDateAt);
    qToLittleEndian<quint32>(quint32(payload.size()), p + kPayloadSizeAt);
    const QByteArray sum = Checksum(p, payload.constData(), payload.size());
    std::memcpy(p + kChecksumAt, sum.constData(), kChecksumSize);
    block = QByteArray(p, kHeaderSize) + payload;
    return true;
}

bool CalibrationToText(const VNACalibration& cal, QByteArray& text, QString& error)
{
    const auto write = [&](ApplicationSettings& s)
    {
        cal.Save(s);
        SaveFullPrecision(s, cal);
    };
    if (!SettingsToBytes(write, text))
    {
        error = Tr("The calibration could not be written out.");
        return false;
    }
    return true;
}

bool CalibrationFromText(const QByteArray& text, const QString& fileName, VNACalibration& cal,
                         QString& error)
{
    VNACalibration fresh;  // a kit loads by appending: start from an empty record
    bool ok = false;
    const auto read = [&](ApplicationSettings& s)
    {
        fresh.Load(s, ok, error);
        LoadFullPrecision(s, fresh);
    };
    if (!SettingsFromBytes(text, fileName, read))
    {
        error = Tr("The calibration could not be read in.");
        return false;
    }
    if (!ok || !IsUsable(fresh, error))
    {
        return false;
    }
    cal = fresh;
    return true;
}

void SaveFullPrecision(ApplicationSettings& s, const VNACalibration& source)
{
    VNACalibration cal = source;  // shares the vectors; only the accessors want it writable
    s.Remove(kPrecisionGroup);
    s.BeginGroup(kPrecisionGroup);
    for (const auto& v : MeasuredVectors(cal))
    {
        s.Save(v.first, Interleaved(*v.second));
    }
    s.EndGroup();
}

void LoadFullPrecision(ApplicationSettings& s, VNACalibration& cal)
{
    s.BeginGroup(kPrecisionGroup);
    for (const auto& v : MeasuredVectors(cal))
    {
        QVector<double> precise;
        s.Load(v.first, precise);
        CplxVector& target = *v.second;
        if (precise.size() != 2 * target.size() || target.isEmpty())
        {
            continue;
        }
        const double* narrowed = reinterpret_cast<const double*>(target.constData());
        bool agrees = true;
        for (int i = 0; agrees && i < precise.size(); ++i)
        {
            agrees = AgreesWithFloat(precise[i], narrowed[i]);
        }
        if (agrees)
        {
            std::memcpy(static_cast<void*>(target.data()), precise.constData(),
                        sizeof(double) * size_t(precise.size()));
        }
    }
    s.EndGroup();
}

bool IsUsable(const VNACalibration& source, QString& error)
{
    if (!source.CorrectionsLoaded())
    {
        error = Tr("The calibration holds no measured standards.");
        return false;
    }
    if (!Is2PortCal(source.GetCalType()))
    {
        error = Tr("A factory calibration must be a two-port calibration.");
        return false;
    }
    const VNAStimulus& s = source.GetStimulus();
    bool fits = s.points >= 1 && std::isfinite(s.start) && std::isfinite(s.stop);
    VNACalibration cal = source;
    const bool solr = cal.GetCalType() == SOLR;
    for (const auto& v : MeasuredVectors(cal))
    {
        // The isolation vectors may be left out; the unknown thru needs its switch terms.
        const bool optional = v.first.endsWith(QLatin1String("10")) ||
                              v.first.endsWith(QLatin1String("11")) ||
                              (!solr && !v.first.startsWith(QLatin1String("MS")));
        fits = fits && (v.second->size() == s.points || (optional && v.second->isEmpty()));
    }
    if (!fits)
    {
        error = Tr("The measured standards do not fit the calibration's sweep.");
    }
    return fits;
}

bool LoadFile(const QString& path, VNACalibration& cal, unsigned long& flashDate, QString& error)
{
    if (!QFileInfo::exists(path))
    {
        error = Tr("There is no file %1.").arg(path);
        return false;
    }
    VNACalibration fresh;
    bool ok = false;
    qulonglong date = 0;
    {
        ApplicationSettings s(path);
        fresh.Load(s, ok, error);
        LoadFullPrecision(s, fresh);
        s.Load(kFlashDateKey, date);
    }
    if (!ok || !IsUsable(fresh, error))
    {
        return false;
    }
    cal = fresh;
    flashDate = static_cast<unsigned long>(date);
    return true;
}

bool SaveFile(const QString& path, const QByteArray& text, unsigned long flashDate,
              QString& error)
{
    // Two steps, each replacing the file whole: a file left without its date is taken from the
    // flash again at the next connection.
    if (!SaveFileWhole(path, text))
    {
        error = Tr("Unable to write %1.").arg(path);
        return false;
    }
    ApplicationSettings s(path);
    s.Save(kFlashDateKey, qulonglong(flashDate));
    s.Sync();
    if (s.WriteStatus() != QSettings::NoError)
    {
        error = Tr("Unable to write %1.").arg(path);
        return false;
    }
    return true;
}

Status Load(VNADevice& device, VNACalibration& cal, QString& detail)
{
    const int serial = device.GetSerialNumber();
    const QString path = GetFactoryCalFileName(serial);
    bool present = false;
    unsigned long flashDate = 0;
    const bool asked = device.GetFactoryCalDate(present, flashDate);
    VNACalibration fromFile;
    unsigned long fileDate = 0;
    const bool haveFile = QFileInfo::exists(path);
    const bool fileOk = haveFile && LoadFile(path, fromFile, fileDate, detail) &&
                        SerialMatches(fromFile, serial, detail);
    if (asked && present && (!fileOk || flashDate > fileDate))
    {
        detail.clear();
        return RefreshFromFlash(device, serial, flashDate, path, cal, detail) ? Status::Loaded
                                                                             : Status::Invalid;
    }
    if (fileOk)
    {
        cal = fromFile;
        return Status::Loaded;
    }
    if (haveFile)
    {
        return Status::Invalid;
    }
    detail = Tr("Neither the instrument nor %1 holds a factory calibration.").arg(path);
    return Status::Missing;
}

bool Write(VNADevice& device, const VNACalibration& cal, QString& error)
{
    QByteArray block;
    if (!BuildBlock(cal, device.GetSerialNumber(), block, error))
    {
        return false;
    }
    const std::vector<unsigned char> data(block.cbegin(), block.cend());
    if (!device.WriteFactoryCal(data))
    {
        error = Tr("The instrument did not take the calibration.");
        return false;
    }
    return true;
}

QString InvalidText()
{
    return Tr("Invalid factory calibration data.");
}

QString MissingText()
{
    return Tr("Missing factory calibration.");
}
}  // namespace FactoryCal
