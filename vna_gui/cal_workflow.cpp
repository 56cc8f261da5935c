#include "cal_workflow.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>
#include <QRegularExpression>
#include <algorithm>
#include <cstdio>
#include <future>

#include "application_settings.h"
#include "vna_device.h"
#include "vna_model.h"

namespace
{
QString Tr(const char* text)
{
    return QCoreApplication::translate("CalWorkflow", text);
}

// A role's vector sized to the sweep, with the measurement taken over the standard's band.
void MergeBand(const CplxVector& source, CplxVector& destination, const QVector<double>& freqs,
               const CalKitStandardInfo& standard)
{
    destination.resize(freqs.size());
    MergeCalMeas(source, destination, freqs, standard.FMin, standard.FMax);
}

bool Covers(const VNACalStdMapper& mapper, const VNAStimulus& stimulus)
{
    return mapper.IsFullyMapped(stimulus.start, stimulus.stop);
}
// Byte arrays from this size on are written by TakeLargeValues.
constexpr int kLargeValue = 4096;

// A byte array in the settings file's notation: printable characters as they are, except those
// the reader treats specially (quotes, escapes, list and comment separators, spaces at the ends),
// and every other byte as \xHH. The reader takes every hex digit after \x, so a hex digit right
// after an escape is escaped as well. Written through a pointer: at the largest sweeps these are
// tens of megabytes.
void AppendIniBytes(QByteArray& out, const QByteArray& bytes)
{
    static const char kHex[] = "0123456789abcdef";
    const int start = out.size();
    out.resize(start + 4 * bytes.size() + 16);
    char* p = out.data() + start;
    p = std::copy_n("@ByteArray(", 11, p);
    bool afterEscape = false;
    for (const char c : bytes)
    {
        const auto u = static_cast<unsigned char>(c);
        const bool hexDigit =
            (u >= '0' && u <= '9') || (u >= 'a' && u <= 'f') || (u >= 'A' && u <= 'F');
        const bool plain = u > ' ' && u < 0x7f && u != '"' && u != '\\' && u != ';' && u != ',' &&
                           u != '=' && u != '#';
        if (plain && !(afterEscape && hexDigit))
        {
            *p++ = c;
            afterEscape = false;
            continue;
        }
        *p++ = '\\';
        *p++ = 'x';
        *p++ = kHex[u >> 4];
        *p++ = kHex[u & 15];
        afterEscape = true;
    }
    *p++ = ')';
    out.resize(int(p - out.constData()));
}

struct LargeValue
{
    QString key;
    QByteArray bytes;
};

// Takes the large byte arrays out of the settings: the settings layer escapes and reads back
// such values byte by byte, which takes seconds at the largest sweeps.
QVector<LargeValue> TakeLargeValues(ApplicationSettings& settings)
{
    static const QRegularExpression kPlainKey(QStringLiteral("^\\w+(/\\w+)+$"));
    QVector<LargeValue> taken;
    for (const QString& key : settings.allKeys())
    {
        const QVariant v = settings.Load(key);
        if (v.type() == QVariant::ByteArray && v.toByteArray().size() >= kLargeValue &&
            kPlainKey.match(key).hasMatch())
        {
            taken.append({key, v.toByteArray()});
            settings.Remove(key);
        }
    }
    return taken;
}

// Each value as a section of its own in the settings file's notation (a section may appear
// more than once).
void AppendLargeValues(QByteArray& out, const QVector<LargeValue>& values)
{
    for (const LargeValue& v : values)
    {
        const int slash = v.key.indexOf(QLatin1Char('/'));
        out += "\n[" + v.key.left(slash).toLatin1() + "]\n";
        out +=
            QString(v.key.mid(slash + 1)).replace(QLatin1Char('/'), QLatin1Char('\\')).toLatin1();
        out += '=';
        AppendIniBytes(out, v.bytes);
        out += '\n';
    }
}
}  // namespace

bool StandardFitsRole(const CalKitStandardInfo& standard, CalOnePortRole role)
{
    switch (role)
    {
        case RoleShort:
            return standard.IsStandardType(VNAStdShort);
        case RoleOpen:
            return standard.IsStandardType(VNAStdOpen);
        case RoleLoad:
            return standard.IsStandardType(VNAStdLoad) || standard.IsSlidingLoad();
    }
    return false;
}

bool MergeReflectStandard(VNACalibration& cal, int port, CalOnePortRole role,
                          const CalKitStandardInfo& standard, const SParametersRaw& raw)
{
    const VNAStimulus& stimulus = cal.GetStimulus();
    const QVector<double> freqs = stimulus.GetFreqVector();
    if (cal.GetCalType() == SOL)
    {
        VNACalStdMapper& mapper = cal.OnePortMapper(role);
        mapper.AddStd(standard);
        MergeBand(cal.GetCalPort() == 0 ? raw.S11 : raw.S22, cal.OnePortMeas(role), freqs,
                  standard);
        return Covers(mapper, stimulus);
    }
    // Mappers run port 1 short, open, load, then port 2; the vectors interleave the ports.
    VNACalStdMapper& mapper = cal.TwoPortMapper(3 * port + role);
    mapper.AddStd(standard);
    const int term = 2 * role + port;
    MergeBand(port == 0 ? raw.S11 : raw.S22, cal.MeasuredStd(term), freqs, standard);
    MergeBand(port == 0 ? raw.S11HDR : raw.S22HDR, cal.MeasuredStdHDR(term), freqs, standard);
    return Covers(mapper, stimulus);
}

bool MergeThruStandard(VNACalibration& cal, const CalKitStandardInfo& standard,
                       const SParametersRaw& raw)
{
    const VNAStimulus& stimulus = cal.GetStimulus();
    const QVector<double> freqs = stimulus.GetFreqVector();
    VNACalStdMapper& mapper = cal.TwoPortMapper(RoleThru);
    mapper.AddStd(standard);
    static const int terms[4] = {StdS11Thru, StdS21Thru, StdS12Thru, StdS22Thru};
    for (int k = 0; k < 4; ++k)
    {
        // The raw record's first four vectors are the normal S-parameters, the next four HDR.
        MergeBand(raw.Vector(k), cal.MeasuredStd(terms[k]), freqs, standard);
        MergeBand(raw.Vector(4 + k), cal.MeasuredStdHDR(terms[k]), freqs, standard);
    }
    return Covers(mapper, stimulus);
}

void StoreIsolation(VNACalibration& cal, const SParametersRaw& raw)
{
    cal.MeasuredStd(StdS21Iso) = raw.S21;
    cal.MeasuredStd(StdS12Iso) = raw.S12;
    cal.MeasuredStdHDR(StdS21Iso) = raw.S21HDR;
    cal.MeasuredStdHDR(StdS12Iso) = raw.S12HDR;
}

void StoreSwitchTerms(VNACalibration& cal, const SParametersRaw& forward,
                      const SParametersRaw& reverse)
{
    // Receiver slots: a1 (port 1 reference), b1, b2, a2 (port 2 reference).
    const int n = std::min(forward.Size(), reverse.Size());
    CplxVector& switchFwd = cal.SwitchTermsFwd();
    CplxVector& switchRev = cal.SwitchTermsRev();
    CplxVector& gammaFwd = cal.GammaFwd();
    CplxVector& gammaRev = cal.GammaRev();
    switchFwd.resize(n);
    switchRev.resize(n);
    gammaFwd.resize(n);
    gammaRev.resize(n);
    for (int i = 0; i < n; ++i)
    {
        switchFwd[i] = forward.S22[i] / forward.S11[i];
        gammaFwd[i] = forward.S22[i] / forward.S12[i];
        switchRev[i] = reverse.S11[i] / reverse.S22[i];
        gammaRev[i] = reverse.S11[i] / reverse.S21[i];
    }
}

void CompleteCalibration(VNACalibration& cal, const VNADevice& device, const QString& path)
{
    cal.SetName(QFileInfo(path).baseName());
    cal.SetTemperature(device.GetTemp());
    cal.SetDate(QDateTime::currentDateTime());
    cal.SetSerialNumber(device.GetSerialNumber());
    cal.SetLoaded(true);
}

bool WriteCalibrationFile(const VNACalibration& cal, const QString& path, QString& error)
{
    // The settings layer writes the small keys to a scratch file beside the target; the large
    // vectors are appended here, and the whole replaces the file in one step. A failed write
    // leaves the old file as it was.
    const QString scratch = path + QStringLiteral(".~new");
    QFile::remove(scratch);
    QVector<LargeValue> large;
    bool ok = false;
    {
        ApplicationSettings settings(scratch);
        ok = settings.status() == QSettings::NoError;
        if (ok)
        {
            cal.Save(settings);
            large = TakeLargeValues(settings);
            settings.Sync();
            ok = settings.status() == QSettings::NoError &&
                 settings.WriteStatus() == QSettings::NoError;
        }
    }
    QFile small(scratch);
    QByteArray contents;
    if (ok && small.open(QIODevice::ReadOnly))
    {
        contents = small.readAll();
        AppendLargeValues(contents, large);
    }
    else
    {
        ok = false;
    }
    small.close();
    QFile::remove(scratch);
    if (!ok || !SaveFileWhole(path, contents))
    {
        error = Tr("Unable to write the calibration file %1.").arg(path);
        return false;
    }
    return true;
}

bool SaveAndBuildCalibration(VNACalibration& cal, const QString& path, QString& error)
{
    // The file is written from a copy while the record is solved: solving writes only the error
    // terms, which the file does not hold, and the copy shares the measured vectors.
    const VNACalibration measured = cal;
    auto written =
        std::async(std::launch::async, [&] { return WriteCalibrationFile(measured, path, error); });
    cal.BuildCorrections(cal.GetStimulus());
    return written.get();
}

void InstallCalibration(VNAModel& model, int channel, VNACalibration cal, bool takeStimulus)
{
    VNAChannel* c = model.channels.value(channel, nullptr);
    if (!c)
    {
        return;
    }
    model.MeasStop();
    {
        // Readers of the record on the GUI thread (status, remote queries) hold the trace lock.
        QMutexLocker lock(&model.traceLock);
        std::swap(c->calibration, cal);
        if (takeStimulus)
        {
            c->stimulus = c->calibration.GetStimulus();
        }
    }
    model.MeasStart();
}
