// What each harness does with one input, shared by the libFuzzer entry points and by the unit
// test that replays kept findings (tests/unit/test_fuzz_regressions.cpp). Each returns false
// when an input broke an invariant the caller can check; crashes and sanitizer reports speak
// for themselves.
#pragma once

#include <QBuffer>
#include <QByteArray>
#include <QCryptographicHash>
#include <QFile>
#include <QMutexLocker>
#include <QString>
#include <QTemporaryDir>
#include <QVector>
#include <QtEndian>
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include "application_settings.h"
#include "equation_tools.h"
#include "error_log.h"
#include "factory_cal.h"
#include "frequency.h"
#include "instrument_state.h"
#include "kx_csv.h"
#include "maury_ucal.h"
#include "scpi_def.h"
#include "scpi_parameters.h"
#include "touchstone.h"
#include "trace_formats.h"
#include "vna_calibration.h"
#include "vna_calkit.h"
#include "vna_limits.h"
#include "vna_model.h"
#include "vna_stimulus.h"

namespace fuzzinputs
{
// Writes the input to a file of the given name in a private folder and returns its path. The
// loaders under test read files, so this is the honest way in.
inline QString WriteInput(const uint8_t* data, size_t size, const QString& fileName)
{
    static QTemporaryDir dir;
    const QString path = dir.filePath(fileName);
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
    {
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    }
    return path;
}

// A fresh, empty file name in the private folder: stores merge into an existing file.
inline QString ScratchFile(const QString& fileName)
{
    const QString path = WriteInput(nullptr, 0, fileName);
    QFile::remove(path);
    return path;
}

inline QByteArray FileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool Finite(std::complex<double> v)
{
    return std::isfinite(v.real()) && std::isfinite(v.imag());
}

// What the Touchstone writer gives back for a record it read: the values to the file's six
// decimals of magnitude and degree, the frequencies of its start-and-step rule to 0.01 Hz per GHz.
inline bool TouchstoneRoundTrip(const QVector<double>& freqs, const SParameters& params, bool isS1P)
{
    const int n = freqs.size();
    VNAStimulus stimulus;
    stimulus.start = freqs.first();
    stimulus.stop = freqs.last();
    stimulus.points = n;
    const double step = stimulus.StepSize();
    // The file's frequency column resolves 10 Hz: closer points would merge.
    if (n > 1 && !(std::fabs(step) >= 100.0))
    {
        return true;
    }
    const QString path =
        ScratchFile(isS1P ? QStringLiteral("again.s1p") : QStringLiteral("again.s2p"));
    QString error;
    QVector<double> f;
    SParameters back;
    if (!StoreSNPFile(path, stimulus, params, isS1P, 0, error) ||
        !LoadS2PFile(path, true, f, back, error) || f.size() != n || back.Size() != n)
    {
        return false;
    }
    for (int i = 0; i < n; ++i)
    {
        const double want = step * i + stimulus.start;
        if (std::fabs(f[i] - want) > 10.0 + 1e-15 * std::fabs(want))
        {
            return false;
        }
        for (int m = S11; m <= S22; ++m)
        {
            const std::complex<double> a = params.GetSParam(VNATraceMeas(m))[i];
            const std::complex<double> b = back.GetSParam(VNATraceMeas(m))[i];
            if (!(std::abs(a - b) <= 1e-6 + 1e-7 * std::abs(a)))
            {
                return false;
            }
        }
    }
    return true;
}

// Touchstone reader: any bytes, read as an .s2p or an .s1p file. The first byte picks the
// suffix and the linear-spacing rule, so both readers and both rules grow from one corpus. A
// record read is finite, holds one point per frequency, rising, and survives the writer.
inline bool Touchstone(const uint8_t* data, size_t size)
{
    const bool asS1P = size > 0 && (data[0] & 1);
    const bool allowNonLinear = size > 0 && (data[0] & 2);
    const QString path =
        WriteInput(data, size, asS1P ? QStringLiteral("input.s1p") : QStringLiteral("input.s2p"));
    QVector<double> freqs;
    SParameters params;
    bool isS1P = false;
    QString error;
    bool consistent = true;
    if (LoadS2PFile(path, allowNonLinear, freqs, params, isS1P, error))
    {
        consistent = params.Size() == freqs.size() && params.ValidSize() && isS1P == asS1P &&
                     !freqs.isEmpty();
        for (int i = 0; consistent && i < freqs.size(); ++i)
        {
            consistent = std::isfinite(freqs[i]) && (i == 0 || freqs[i] > freqs[i - 1]) &&
                         Finite(params.S11[i]) && Finite(params.S21[i]) && Finite(params.S12[i]) &&
                         Finite(params.S22[i]);
        }
        IsLinearSpacing(freqs);
        consistent = consistent && TouchstoneRoundTrip(freqs, params, isS1P);
    }
    else
    {
        consistent = !error.isEmpty();  // a refusal always says why
    }
    IsS1PFile(path);
    return consistent;
}

// Remote command input: any bytes as they would arrive on the socket, in two reads so that line
// assembly across reads is exercised too (the first byte says where the input is cut). The
// parser may be reused across inputs: the closing line feed leaves it with nothing pending, as
// a client's next line would find it.
inline bool Scpi(::Scpi& scpi, const uint8_t* data, size_t size)
{
    QBuffer socket;
    socket.open(QIODevice::ReadWrite);
    scpi.SetSocket(&socket);
    const int cut = size > 0 ? int((size_t(data[0]) * size) / 256) : 0;
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    scpi.SubmitInput(QString::fromUtf8(bytes.left(cut)));
    scpi.SubmitInput(QString::fromUtf8(bytes.mid(cut)));
    scpi.SubmitInput(QStringLiteral("\n"));
    scpi.SetSocket(nullptr);
    // The queue is process-wide and bounded; it must never grow past its bound.
    const bool consistent = SysErr::GetErrorCount() <= ErrorLog::kMaxRecords;
    SysErr::ClearErrors();
    return consistent;
}

// Operator and remote texts for frequencies, times and numbers.
inline bool TextParsers(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), int(size));
    Frequency f(1.0);
    if (IsValidFreqString(text, f))
    {
        // Whatever was accepted must come back out as text.
        f.GetFreqString();
        f.GetUnitString();
        getShortFrequencyString(f.Get());
    }
    double seconds = 0.0;
    isValidTimeString(text, seconds);
    isValidTimeString(text.toLower(), seconds);
    bool ok = false;
    scpiParameterToFreq(text, ok);
    scpiParameterToDouble(text, ok);
    scpiParameterToInt(text, ok);
    scpiParameterToBool(text, ok);
    scpiParameterToFileName(text, ok);
    std::vector<unsigned char> block;
    scpiParameterToBinary(text, block);
    return true;
}
// Calibration kit file (.skt, an INI file): load it and use every standard as a calibration
// would, at a few frequencies across the instrument's range. Saved and loaded again it is the
// same kit: its second save writes what the first wrote.
inline bool CalKit(const uint8_t* data, size_t size)
{
    const QString path = WriteInput(data, size, QStringLiteral("input.skt"));
    VNACalKit kit;
    if (!LoadCalKit(path, kit))
    {
        return true;
    }
    kit.GetDisplayName();
    kit.CanPerformSOLT();
    kit.GetNextID();
    for (int c = 0; c < kCalClassCount; ++c)
    {
        for (const CalKitStandardInfo& standard : kit.GetStandardsWithClass(CalClass(c)))
        {
            for (double f : {40e6, 1e9, 20e9})
            {
                standard.IdealShort(f);
                standard.IdealOpen(f);
                standard.IdealLoad(f);
                std::complex<double> a, b, c2, d;
                standard.IdealThru(f, a, b, c2, d);
            }
            standard.GetLongListString();
        }
    }
    const QString first = ScratchFile(QStringLiteral("first.skt"));
    const QString second = ScratchFile(QStringLiteral("second.skt"));
    {
        ApplicationSettings s(first);
        kit.Save(s);
    }
    VNACalKit again;
    if (!LoadCalKit(first, again))
    {
        return false;
    }
    {
        ApplicationSettings s(second);
        again.Save(s);
    }
    return FileBytes(first) == FileBytes(second);
}

// A calibration saved and loaded again is the same record: its second save writes what the first
// wrote (the first narrows the measurements to the file's float precision).
inline bool CalibrationRoundTrip(const VNACalibration& cal)
{
    const QString first = ScratchFile(QStringLiteral("first.vnacal"));
    const QString second = ScratchFile(QStringLiteral("second.vnacal"));
    {
        ApplicationSettings s(first);
        cal.Save(s);
    }
    VNACalibration again;
    bool ok = false;
    QString error;
    {
        ApplicationSettings s(first);
        again.Load(s, ok, error);
    }
    {
        ApplicationSettings s(second);
        again.Save(s);
    }
    return ok && FileBytes(first) == FileBytes(second);
}

// Calibration file (.vnacal, an INI file): load it, and when it loads, build the corrections on
// its own stimulus and correct a sweep with them, as a channel does on activation.
inline bool Calibration(const uint8_t* data, size_t size)
{
    const QString path = WriteInput(data, size, QStringLiteral("input.vnacal"));
    VNACalibration cal;
    bool ok = false;
    QString error;
    {
        ApplicationSettings settings(path);
        cal.Load(settings, ok, error);
    }
    if (!ok && error.isEmpty())
    {
        return false;  // a refusal always says why
    }
    if (ok && !CalibrationRoundTrip(cal))
    {
        return false;
    }
    const VNAStimulus stimulus = cal.GetStimulus();
    // Sweeps beyond the instrument's largest are refused elsewhere; they only cost time here.
    if (cal.CorrectionsLoaded() && stimulus.points > 0 && stimulus.points <= 1001)
    {
        cal.BuildCorrections(stimulus);
        SParametersRaw raw;
        raw.Resize(stimulus.points);
        for (int i = 0; i < SParametersRaw::kVectorCount; ++i)
        {
            for (std::complex<double>& v : raw.Vector(i))
            {
                v = {0.5, -0.25};
            }
        }
        cal.ApplyCorrections(raw, true);
        cal.ApplyCorrections(raw, false);
    }
    return true;
}
// Factory calibration block, as read from an instrument's flash: any bytes. An odd first byte
// (dropped) has the checksum made right first, so that the fuzzer also reaches the decompression
// and the calibration reader behind the checksum. A refusal always says why; a block that reads
// is a usable calibration, and the block built of it again reads back the same measurements.
inline void ResealFactoryBlock(QByteArray& block)
{
    if (block.size() < FactoryCal::kHeaderSize)
    {
        return;
    }
    const quint32 announced = qFromLittleEndian<quint32>(block.constData() + 24);
    const int available = block.size() - FactoryCal::kHeaderSize;
    const int payload = announced < quint32(available) ? int(announced) : available;
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(block.constData(), 32);
    hash.addData(block.constData() + FactoryCal::kHeaderSize, payload);
    std::memcpy(block.data() + 32, hash.result().constData(), 32);
}

inline bool SameMeasurements(const VNACalibration& a, const VNACalibration& b)
{
    for (int t = 0; t < VNACalibration::kTermCount; ++t)
    {
        const CplxVector &x = a.MeasuredStd(t), &y = b.MeasuredStd(t);
        if (x.size() != y.size() ||
            std::memcmp(x.constData(), y.constData(), sizeof(x[0]) * size_t(x.size())) != 0)
        {
            return false;
        }
    }
    return true;
}

inline bool FactoryCalBlock(const uint8_t* data, size_t size)
{
    const bool reseal = size > 0 && (data[0] & 1);
    QByteArray block = QByteArray(reinterpret_cast<const char*>(data), int(size));
    if (reseal)
    {
        block.remove(0, 1);
        ResealFactoryBlock(block);
    }
    FactoryCal::BlockHeader header;
    QByteArray contents;
    QString error;
    if (!FactoryCal::ParseBlock(block, header, contents, error))
    {
        return !error.isEmpty();
    }
    VNACalibration cal;
    if (!FactoryCal::CalibrationFromText(contents, QStringLiteral("fuzz.vnacal"), cal, error))
    {
        return !error.isEmpty();
    }
    if (cal.GetStimulus().points > 4001)
    {
        return FactoryCal::IsUsable(cal, error);  // a rebuild would only cost time
    }
    QByteArray again;
    QByteArray againContents;
    VNACalibration back;
    return FactoryCal::BuildBlock(cal, header.serial, again, error) &&
           FactoryCal::ParseBlock(again, header, againContents, error) &&
           FactoryCal::CalibrationFromText(againContents, QStringLiteral("again.vnacal"), back,
                                           error) &&
           SameMeasurements(cal, back);
}

// Limit and ripple table files (CSV): the cells must survive a write and a read unchanged, a
// loaded table must save and load back as itself, a refusal must say why and change nothing, and
// the limit verdict of a loaded table must not depend on the order of the points.
inline bool SameNumber(double a, double b)
{
    return a == b ? std::signbit(a) == std::signbit(b) : (a != a && b != b);
}

inline bool CsvCellsRoundTrip(const QByteArray& bytes)
{
    KXCsv first;
    first.FromText(bytes);
    KXCsv second;
    second.FromText(first.ToText());
    if (second.Rows() != first.Rows())
    {
        return false;
    }
    for (int r = 0; r < first.Rows(); ++r)
    {
        if (second.Columns(r) != first.Columns(r))
        {
            return false;
        }
        for (int c = 0; c < first.Columns(r); ++c)
        {
            if (second.GetValue(r, c).toString() != first.GetValue(r, c).toString())
            {
                return false;
            }
        }
    }
    return true;
}

inline bool LimitTableLoads(const QString& path)
{
    const QVector<VNALimitRange> untouched{{LimitMin, 1.0, 2.0, 3.0, 4.0}};
    QVector<VNALimitRange> ranges = untouched;
    QString error;
    if (!LoadLimitTable(path, ranges, error))
    {
        return !error.isEmpty() && ranges.size() == 1 && ranges[0].stopOffset == 4.0;
    }
    // A path in the private folder; the save replaces the empty file.
    const QString again = WriteInput(nullptr, 0, QStringLiteral("again.csv"));
    QVector<VNALimitRange> back;
    if (ranges.isEmpty() || !SaveLimitTable(again, ranges, error) ||
        !LoadLimitTable(again, back, error) || back.size() != ranges.size())
    {
        return false;
    }
    QVector<QPair<double, double>> points;
    for (int i = 0; i < ranges.size(); ++i)
    {
        const VNALimitRange &a = ranges[i], &b = back[i];
        if (a.type != b.type || !SameNumber(a.startFreq, b.startFreq) ||
            !SameNumber(a.stopFreq, b.stopFreq) || !SameNumber(a.startOffset, b.startOffset) ||
            !SameNumber(a.stopOffset, b.stopOffset))
        {
            return false;
        }
        // The table's own corners as points.
        points << qMakePair(a.startFreq, a.startOffset) << qMakePair(a.stopFreq, a.stopOffset);
    }
    const auto verdict = [&]()
    {
        QVector<double> x, y;
        for (const auto& p : points)
        {
            x << p.first;
            y << p.second;
        }
        return EvaluateLimitRanges(ranges, x, y);
    };
    const bool asRead = verdict();
    // In ascending order (NaN last, so that the order is a strict one) the bisecting path runs.
    std::sort(points.begin(), points.end(),
              [](const auto& a, const auto& b)
              { return a.first < b.first || (a.first == a.first && b.first != b.first); });
    return verdict() == asRead;
}

inline bool RippleTableLoads(const QString& path)
{
    const QVector<VNARippleLimitRange> untouched{{RippleMargin, 1.0, 2.0, 3.0}};
    QVector<VNARippleLimitRange> ranges = untouched;
    QString error;
    if (!LoadRippleTable(path, ranges, error))
    {
        return !error.isEmpty() && ranges.size() == 1 && ranges[0].maxRipple == 3.0;
    }
    // A path in the private folder; the save replaces the empty file.
    const QString again = WriteInput(nullptr, 0, QStringLiteral("again.csv"));
    QVector<VNARippleLimitRange> back;
    if (ranges.isEmpty() || !SaveRippleTable(again, ranges, error) ||
        !LoadRippleTable(again, back, error) || back.size() != ranges.size())
    {
        return false;
    }
    for (int i = 0; i < ranges.size(); ++i)
    {
        const VNARippleLimitRange &a = ranges[i], &b = back[i];
        if (a.type != b.type || !SameNumber(a.startFreq, b.startFreq) ||
            !SameNumber(a.stopFreq, b.stopFreq) || !SameNumber(a.maxRipple, b.maxRipple))
        {
            return false;
        }
    }
    const QVector<double> x{-1.0, 0.0, 1e9, 2e9, 40e9}, y{0.0, 1.0, -1.0, 0.5, 0.0};
    QVector<VNARippleMeas> meas;
    EvaluateRippleRanges(ranges, meas, x, y);
    return meas.size() == ranges.size();
}

inline bool LimitTables(const uint8_t* data, size_t size)
{
    const QString path = WriteInput(data, size, QStringLiteral("input.csv"));
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    return CsvCellsRoundTrip(bytes) && LimitTableLoads(path) && RippleTableLoads(path);
}

// Equation text: parsed and evaluated, twice, over traces of two channels of 300 and 7 points,
// with memories, an empty slot and a trace on a channel that does not exist. 300 points take
// the chunked evaluation across a partial chunk.
inline bool Equations(const uint8_t* data, size_t size)
{
    static VNAModel* model = nullptr;
    if (!model)
    {
        model = new VNAModel;
        const int points[] = {300, 7};
        for (int c = 0; c < 2; ++c)
        {
            SParameters& p = model->channels[c]->processed;
            p.Resize(points[c]);
            for (int k = 0; k < 4; ++k)
            {
                CplxVector& v = p.GetSParam(VNATraceMeas(k));
                for (int i = 0; i < v.size(); ++i)
                {
                    // A zero here and there, so that divisions fail as well as pass.
                    v[i] = i % 97 == k ? 0.0 : std::complex<double>(0.5 + 0.01 * i, k - 1.5);
                }
            }
        }
        const int channels[] = {0, 1, -1, 9};
        for (int t = 0; t < 4; ++t)
        {
            int index = 0;
            VNATrace* trace = model->InternalCreateTrace(index);
            trace->SetChannel(channels[t]);
            trace->SetMeas(VNATraceMeas(t));
            trace->mem = model->channels[t % 2]->processed;
        }
        delete model->traces[2];
        model->traces[2] = nullptr;
    }
    const std::string text(reinterpret_cast<const char*>(data), size);
    const QString equation = QString::fromStdString(text);
    QString parseError;
    const bool clean = EquationTools::CheckEquation(equation, parseError);
    EquationTools::Parser parser;
    const bool parsed = parser.Parse(equation.toStdString()) != nullptr;
    bool consistent = parser.Error() == parseError && (parsed || !clean);
    // The parser takes bytes: the raw input too, not only its UTF-8 reading.
    EquationTools::Parser raw;
    raw.Parse(text);
    QMutexLocker lock(&model->traceLock);
    for (int n : {300, 7})
    {
        CplxVector first(n, 1.0), second(n, 1.0);
        QString m1, m2;
        const bool ok1 = EquationTools::EvaluateEquation(equation, first, model, &m1);
        const bool ok2 = EquationTools::EvaluateEquation(equation, second, model, &m2);
        // Without a tree there is nothing to evaluate and nothing to report; a failed
        // evaluation says why; the same input gives the same outcome, bit for bit.
        consistent = consistent && (parsed || (!ok1 && m1.isEmpty()));
        consistent = consistent && (ok1 || !parsed || m1.startsWith(QLatin1String("Eqn Error: ")));
        consistent = consistent && ok1 == ok2 && m1 == m2 && first.size() == n &&
                     second.size() == n &&
                     std::memcmp(first.constData(), second.constData(), sizeof(first[0]) * n) == 0;
    }
    return consistent;
}

// --- the uCal module's protocol ----------------------------------------------------------------

// A port that hands out a byte stream in pieces, one per wait, and takes any command; once the
// stream is used up nothing more comes, so readers use a zero timeout.
class PiecePort : public QIODevice
{
public:
    PiecePort(const QByteArray& stream, int piece) : rest(stream), piece(std::max(piece, 1))
    {
        open(QIODevice::ReadWrite | QIODevice::Unbuffered);
    }
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return ready.size() + QIODevice::bytesAvailable(); }
    bool waitForReadyRead(int) override
    {
        if (rest.isEmpty())
        {
            return false;
        }
        ready += rest.left(piece);
        rest.remove(0, piece);
        return true;
    }

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        const int n = int(std::min<qint64>(maxSize, ready.size()));
        std::memcpy(data, ready.constData(), size_t(n));
        ready.remove(0, n);
        return n;
    }
    qint64 writeData(const char*, qint64 size) override { return size; }

private:
    QByteArray rest;
    QByteArray ready;
    int piece;
};

inline UCalWait NoWait()
{
    UCalWait w;
    w.timeoutMs = 0;
    return w;
}

// The block a parse accepted, written back in the wire format by plain copies.
inline QByteArray EncodeUCalBlock(const QVector<double>& freqs, const QVector<CplxVector>& params)
{
    QByteArray out;
    const qint32 n = freqs.size(), p = params.size();
    out.append(reinterpret_cast<const char*>(&n), 4);
    out.append(reinterpret_cast<const char*>(freqs.constData()), 8 * n);
    out.append(reinterpret_cast<const char*>(&p), 4);
    for (const CplxVector& v : params)
    {
        out.append(reinterpret_cast<const char*>(v.constData()), 16 * v.size());
    }
    return out;
}

// Block parser: whatever it accepts has the format's shape, and is exactly the input's start.
inline bool UCalBlock(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    QVector<double> freqs;
    QVector<CplxVector> params;
    if (!ParseCalBlock(bytes, freqs, params))
    {
        return true;
    }
    if (freqs.isEmpty() || (params.size() != 2 && params.size() != 4))
    {
        return false;
    }
    for (const CplxVector& v : params)
    {
        if (v.size() != freqs.size())
        {
            return false;
        }
    }
    const QByteArray again = EncodeUCalBlock(freqs, params);
    return bytes.startsWith(again);
}

// Reply reader: the first byte sets the size of the pieces the rest arrives in. A line ends at
// a newline within the bound, a block holds at least its count of bytes from the stream, and
// nothing waits for bytes that never come.
inline bool UCalReply(const uint8_t* data, size_t size)
{
    if (size == 0)
    {
        return true;
    }
    const int piece = 1 + data[0] % 64;
    const QByteArray stream(reinterpret_cast<const char*>(data + 1), int(size - 1));
    PiecePort linePort(stream, piece);
    QByteArray line;
    if (ReadReplyLine(linePort, line, NoWait()) &&
        (!line.contains('\n') || line.size() > kUCalMaxReplyLine + piece ||
         !stream.startsWith(line)))
    {
        return false;
    }
    PiecePort blockPort(stream, piece);
    QByteArray block;
    if (ReadCalBlock(blockPort, 1, block, NoWait()))
    {
        const int newline = stream.indexOf('\n');
        const int count = stream.left(newline).trimmed().mid(1).toInt();
        if (block.size() < count || stream.indexOf(block, newline + 1) < 0)
        {
            return false;
        }
        UCalBlock(reinterpret_cast<const uint8_t*>(block.constData()), size_t(block.size()));
    }
    PiecePort idPort(stream, piece);
    UCalIdentity id;
    UCalIdentify(idPort, id, NoWait());
    PiecePort tempPort(stream, piece);
    UCalReadTemp(tempPort, NoWait());
    return true;
}
// The model's part of a state file, as the saver writes it into a fresh scratch file.
inline QByteArray SavedState(VNAModel& model, const QString& fileName)
{
    const QString path = ScratchFile(fileName);
    {
        ApplicationSettings s(path);
        state::SaveModel(s, model);
    }
    return FileBytes(path);
}

// Everything a recalled model names exists: the active channel, each trace's channel and plot,
// and every trace a channel's place points at.
inline bool StateInRange(VNAModel& m)
{
    if (m.activeChannelIndex < 0 || m.activeChannelIndex >= m.channels.size())
    {
        return false;
    }
    QMutexLocker lock(&m.traceLock);
    for (const VNATrace* t : m.traces)
    {
        if (t && (t->channel < 0 || t->channel >= VNAModel::kChannelCount || t->plot < 0 ||
                  t->plot >= VNAModel::kPlotCount))
        {
            return false;
        }
    }
    for (int c = 0; c < TraceChannelMapper::kChannels; ++c)
    {
        for (int p = 0; p < TraceChannelMapper::kPlaces; ++p)
        {
            const int t = m.mapper.GetPos(c, p);
            if (t != -1 && !m.traces.value(t, nullptr))
            {
                return false;
            }
        }
    }
    return true;
}

inline bool LoadStateFile(const QString& path, VNAModel& model)
{
    ApplicationSettings s(path);
    return state::LoadModel(s, model);
}

// Instrument state file: any bytes read as a state file into a fresh model. A file of another
// version is refused and leaves the model as it was. A file that is read leaves every index in
// range, and its recall is a fixed point: saved, recalled into another fresh model and saved
// again, the two files match.
inline bool StateFile(const uint8_t* data, size_t size)
{
    const double z0 = gSystemZ0;  // the file sets it for the whole program
    const QString path = WriteInput(data, size, QStringLiteral("input.ini"));
    VNAModel model;
    const QByteArray fresh = SavedState(model, QStringLiteral("fresh.ini"));
    bool consistent = true;
    if (!LoadStateFile(path, model))
    {
        consistent = SavedState(model, QStringLiteral("refused.ini")) == fresh;
    }
    else if (!StateInRange(model))
    {
        consistent = false;
    }
    else
    {
        const QByteArray once = SavedState(model, QStringLiteral("once.ini"));
        const QString copy = WriteInput(reinterpret_cast<const uint8_t*>(once.constData()),
                                        size_t(once.size()), QStringLiteral("again.ini"));
        VNAModel again;
        consistent = LoadStateFile(copy, again) && StateInRange(again) &&
                     SavedState(again, QStringLiteral("twice.ini")) == once;
    }
    gSystemZ0 = z0;
    return consistent;
}
}  // namespace fuzzinputs
