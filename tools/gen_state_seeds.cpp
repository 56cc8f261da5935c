// Writes the seeds of the state file fuzzer: a small state of two measured channels with traces,
// a memory, a marker and a hole in the trace list, and damaged copies of it (another version, no
// version, cut short, text where numbers belong, indices out of range).
// Usage: gen_state_seeds <output folder>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QMutexLocker>
#include <QVariant>
#include <cmath>
#include <complex>
#include <cstdio>

#include "application_settings.h"
#include "instrument_state.h"
#include "vna_model.h"

namespace
{
bool Write(const QDir& out, const QString& name, const QByteArray& bytes)
{
    QFile f(out.filePath(name));
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

// Two channels of a few points with smooth data; four traces, the third deleted.
void BuildModel(VNAModel& m)
{
    for (int c = 0; c < 2; ++c)
    {
        VNAChannel& ch = *m.channels[c];
        const int n = 5 + 2 * c;
        ch.stimulus.start = 1e9;
        ch.stimulus.stop = 2e9 + 1e9 * c;
        ch.stimulus.points = n;
        ch.MeasAvg.Resize(n);
        for (int i = 0; i < n; ++i)
        {
            ch.MeasAvg.S11[i] = std::polar(0.2, -0.5 * i);
            ch.MeasAvg.S21[i] = std::polar(0.8, -1.5 * i);
            ch.MeasAvg.S12[i] = std::polar(0.8, -1.5 * i);
            ch.MeasAvg.S22[i] = std::polar(0.3, 0.7 - 0.4 * i);
        }
    }
    m.activeChannelIndex = 1;
    m.spurReject = true;
    {
        QMutexLocker lock(&m.traceLock);
        for (int t = 0; t < 4; ++t)
        {
            int index = 0;
            VNATrace* trace = m.InternalCreateTrace(index);
            trace->SetMeas(VNATraceMeas(t));
            trace->SetChannel(t % 2);
        }
    }
    m.CalcTraces(0);
    m.CalcTraces(1);
    m.traceStoreMem(m.traces[0]);
    m.markerAddMarker(1);
    QMutexLocker lock(&m.traceLock);
    delete m.traces[2];
    m.traces[2] = nullptr;
    m.mapper.Remove(2);
}

// A copy of the file at `path` with the given keys set, read back as bytes.
QByteArray Edited(const QString& path, const QString& copy,
                  const QList<QPair<QString, QVariant>>& keys)
{
    QFile::remove(copy);
    QFile::copy(path, copy);
    {
        ApplicationSettings s(copy);
        for (const auto& k : keys)
        {
            if (k.second.isValid())
                s.setValue(k.first, k.second);
            else
                s.Remove(k.first);
        }
    }
    QFile f(copy);
    const QByteArray bytes = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    f.remove();
    return bytes;
}
}  // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: %s <output folder>\n", argv[0]);
        return 2;
    }
    QDir out(QString::fromLocal8Bit(argv[1]));
    out.mkpath(QStringLiteral("."));
    const QString path = out.filePath(QStringLiteral("state.ini"));
    QFile::remove(path);
    {
        VNAModel model;
        BuildModel(model);
        ApplicationSettings s(path);
        state::SaveModel(s, model);
    }
    // The unmeasured channels are left out: their keys all read with defaults, and the seeds
    // stay small enough for the fuzzer's length limit.
    QList<QPair<QString, QVariant>> trim{{QStringLiteral("Channels/size"), 2}};
    for (int c = 3; c <= VNAModel::kChannelCount; ++c)
    {
        trim.append({QStringLiteral("Channels/%1").arg(c), QVariant()});
    }
    const QByteArray good = Edited(path, path + ".tmp", trim);
    const QString scratch = out.filePath(QStringLiteral("scratch.ini"));
    const auto edit = [&](const QList<QPair<QString, QVariant>>& keys)
    { return Edited(path, scratch, trim + keys); };
    const QString version = QStringLiteral("PresetFileVersion");
    const QString seven = QStringLiteral("seven");
    return Write(out, QStringLiteral("state.ini"), good) &&
                   Write(out, QStringLiteral("version2.ini"), edit({{version, 2}})) &&
                   Write(out, QStringLiteral("noversion.ini"), edit({{version, QVariant()}})) &&
                   Write(out, QStringLiteral("truncated.ini"), good.left(good.size() / 2)) &&
                   Write(out, QStringLiteral("wrongtypes.ini"),
                         edit({{QStringLiteral("ActiveChannelIndex"), seven},
                               {QStringLiteral("RFEnabled"), seven},
                               {QStringLiteral("Channels/1/Channel/Stimulus/SweepPoints"), seven},
                               {QStringLiteral("Traces/2/Enabled"), seven}})) &&
                   Write(out, QStringLiteral("outofrange.ini"),
                         edit({{QStringLiteral("ActiveChannelIndex"), 99},
                               {QStringLiteral("Traces/size"), 100000},
                               {QStringLiteral("Traces/1/Channel"), 42},
                               {QStringLiteral("Channels/size"), -3}}))
               ? 0
               : 1;
}
