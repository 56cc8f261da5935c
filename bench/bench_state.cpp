// Saving and recalling a full instrument state: 8 channels of 64001 points with raw, averaged and
// corrected data, and 32 traces, each with a memory. ApplyPreparedState is the part of a recall
// that runs on the window's thread.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QFile>
#include <QMutexLocker>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <cmath>
#include <complex>
#include <memory>

#include "application_settings.h"
#include "instrument_state.h"
#include "vna_model.h"

namespace
{
constexpr int kPoints = 64001;
constexpr int kTracesPerChannel = 4;

void FillChannel(VNAChannel& ch, int c)
{
    ch.stimulus.start = 1e9;
    ch.stimulus.stop = 9e9 + 1e8 * c;
    ch.stimulus.points = kPoints;
    ch.MeasRaw.Resize(kPoints);
    ch.MeasAvg.Resize(kPoints);
    ch.MeasCal.Resize(kPoints);
    for (int v = 0; v < SParametersRaw::kVectorCount; ++v)
    {
        CplxVector& raw = ch.MeasRaw.Vector(v);
        for (int i = 0; i < kPoints; ++i)
        {
            raw[i] = std::polar(0.1 + 0.05 * v, -1e-3 * i * (v + 1));
        }
    }
    for (int m = S11; m <= S22; ++m)
    {
        CplxVector& avg = ch.MeasAvg.GetSParam(VNATraceMeas(m));
        CplxVector& cal = ch.MeasCal.GetSParam(VNATraceMeas(m));
        for (int i = 0; i < kPoints; ++i)
        {
            avg[i] = std::polar(0.2 + 0.1 * m, -2e-3 * i);
            cal[i] = std::polar(0.25 + 0.1 * m, -2e-3 * i + 0.1);
        }
    }
}

void BuildState(VNAModel& m)
{
    for (int c = 0; c < VNAModel::kChannelCount; ++c)
    {
        FillChannel(*m.channels[c], c);
        m.channels[c]->enabled = true;
        QMutexLocker lock(&m.traceLock);
        for (int t = 0; t < kTracesPerChannel; ++t)
        {
            int index = 0;
            VNATrace* trace = m.InternalCreateTrace(index);
            trace->SetChannel(c);
            trace->SetMeas(VNATraceMeas(t));
        }
    }
    m.CalcAllTraces();
    for (int t = 0; t < m.traces.size(); ++t)
    {
        m.traceStoreMem(m.traces[t]);
    }
}

void Save(VNAModel& m, const QString& path)
{
    ApplicationSettings s(path, ApplicationSettings::Replace);
    state::SaveModel(s, m);
}

// A full state's file in `dir`.
QString WriteState(const QTemporaryDir& dir)
{
    const QString path = dir.filePath(QStringLiteral("state.ini"));
    VNAModel m;
    BuildState(m);
    Save(m, path);
    return path;
}

void BM_SaveState(benchmark::State& state)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("state.ini"));
    VNAModel m;
    BuildState(m);
    for (auto _ : state)
    {
        Save(m, path);  // the store writes its file when it goes
    }
    state.counters["bytes"] = double(QFile(path).size());
}

void BM_LoadState(benchmark::State& state)
{
    QTemporaryDir dir;
    const QString path = WriteState(dir);
    VNAModel m;
    for (auto _ : state)
    {
        // As the window recalls a file: read and widened on a file thread, taken over, and the
        // traces computed anew on the file thread.
        ApplicationSettings s(path, ApplicationSettings::ReadOnly);
        s.PrepareComplexVectors();
        if (!state::LoadModel(s, m))
        {
            state.SkipWithError("state file refused");
            break;
        }
        m.CalcAllTraces();
    }
    QMutexLocker lock(&m.traceLock);
    state.counters["traces"] = double(m.traces.size());
}

// What the window does on its own thread after a recall: the file has been read and its vectors
// widened on the file thread; the model takes them over (the traces are then computed on the
// file thread again).
void BM_ApplyPreparedState(benchmark::State& state)
{
    QTemporaryDir dir;
    const QString path = WriteState(dir);
    VNAModel m;
    for (auto _ : state)
    {
        state.PauseTiming();
        auto s = std::make_unique<ApplicationSettings>(path, ApplicationSettings::ReadOnly);
        s->PrepareComplexVectors();
        state.ResumeTiming();
        if (!state::LoadModel(*s, m))
        {
            state.SkipWithError("state file refused");
            break;
        }
        state.PauseTiming();
        s.reset();
        state.ResumeTiming();
    }
}
}  // namespace

BENCHMARK(BM_SaveState)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_LoadState)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ApplyPreparedState)->Unit(benchmark::kMillisecond)->Iterations(3);

int main(int argc, char** argv)
{
    // The model reads preferences; keep a benchmark run away from the user's own files.
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
