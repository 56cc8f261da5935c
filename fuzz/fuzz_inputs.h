// What each harness does with one input, shared by the libFuzzer entry points and by the unit
// test that replays kept findings (tests/unit/test_fuzz_regressions.cpp). Each returns false
// when an input broke an invariant the caller can check; crashes and sanitizer reports speak
// for themselves.
#pragma once

#include <QBuffer>
#include <QByteArray>
#include <QFile>
#include <QMutexLocker>
#include <QString>
#include <QTemporaryDir>
#include <QVector>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include "application_settings.h"
#include "equation_tools.h"
#include "error_log.h"
#include "frequency.h"
#include "scpi_def.h"
#include "scpi_parameters.h"
#include "touchstone.h"
#include "vna_calibration.h"
#include "vna_calkit.h"
#include "vna_model.h"

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

// Touchstone reader: any bytes, read as an .s2p or an .s1p file. The first byte picks the
// suffix and the linear-spacing rule, so both readers and both rules grow from one corpus.
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
        // What a successful load hands out must hold one point per frequency.
        consistent = params.Size() == freqs.size() && params.ValidSize() && isS1P == asS1P;
        IsLinearSpacing(freqs);
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
// would, at a few frequencies across the instrument's range.
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
    return true;
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
}  // namespace fuzzinputs
