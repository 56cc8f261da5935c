// One pass of the trace chain over a channel with four traces, as every sweep runs it.
#include <benchmark/benchmark.h>

#include <QMutexLocker>
#include <QStandardPaths>
#include <cmath>
#include <complex>

#include "vna_meas.h"
#include "vna_model.h"

namespace
{
// A channel of n points with smooth synthetic data and four LogMag traces S11, S21, S12, S22.
void Setup(VNAModel& model, int n, bool extras)
{
    VNAChannel& ch = *model.channels[0];
    ch.stimulus.start = 1e9;
    ch.stimulus.stop = 9e9;
    ch.stimulus.points = n;
    ch.MeasAvg.Resize(n);
    for (int i = 0; i < n; ++i)
    {
        const double g = 1.0 + 8.0 * i / std::max(1, n - 1);
        ch.MeasAvg.S11[i] = std::polar(0.1 + 0.02 * std::sin(g), -2.0 * g);
        ch.MeasAvg.S21[i] = std::polar(0.9 - 0.01 * g, -7.0 * g);
        ch.MeasAvg.S12[i] = std::polar(0.9 - 0.01 * g, -7.0 * g);
        ch.MeasAvg.S22[i] = std::polar(0.2 + 0.01 * std::cos(3 * g), 1.0 - 3.0 * g);
    }
    QVector<VNATrace*> created;
    {
        QMutexLocker lock(&model.traceLock);
        for (int m = 0; m < 4; ++m)
        {
            int index = 0;
            VNATrace* t = model.InternalCreateTrace(index);
            t->SetMeas(VNATraceMeas(m));
            t->SetFormat(LogMag);
            created.append(t);
        }
    }
    if (!extras)
    {
        return;
    }
    model.CalcTraces(0);
    for (VNATrace* t : created)
    {
        model.traceStoreMem(t);
        t->mathOp = MathDivide;
        t->smoothEnabled = true;
        t->smoothPercent = 5.0;
        t->statsEnabled = true;
    }
}

void CalcTraces(benchmark::State& state, bool extras)
{
    VNAModel model;
    Setup(model, static_cast<int>(state.range(0)), extras);
    for (auto _ : state)
    {
        model.CalcTraces(0);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0) * 4);
}

void BM_CalcTracesPlain(benchmark::State& state)
{
    CalcTraces(state, false);
}
void BM_CalcTracesMathSmoothStats(benchmark::State& state)
{
    CalcTraces(state, true);
}
}  // namespace

BENCHMARK(BM_CalcTracesPlain)
    ->Arg(201)
    ->Arg(1601)
    ->Arg(16001)
    ->Arg(64001)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CalcTracesMathSmoothStats)
    ->Arg(201)
    ->Arg(1601)
    ->Arg(16001)
    ->Arg(64001)
    ->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv)
{
    // The model reads preferences; keep a benchmark run away from the user's own files.
    QStandardPaths::setTestModeEnabled(true);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
