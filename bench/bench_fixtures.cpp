// Port extension and de-embedding of both ports on a channel's data: the fixture step alone, and
// a whole pass of the trace chain with one trace. Fixture files are on a coarser grid than the
// sweep, as they usually are.
#include <benchmark/benchmark.h>

#include <QMutexLocker>
#include <QStandardPaths>
#include <cmath>
#include <complex>

#include "port_extension.h"
#include "vna_model.h"

namespace
{
constexpr int kFixturePoints = 1601;

SParameters Smooth(const QVector<double>& f, double skew)
{
    SParameters s;
    s.Resize(f.size());
    for (int i = 0; i < f.size(); ++i)
    {
        const double g = f[i] / 1e9;
        s.S11[i] = std::polar(0.1 + 0.01 * g * skew, 0.3 - 1.3 * g);
        s.S21[i] = std::polar(0.9 - 0.01 * g, -2.8 * g * (1.0 + 0.1 * skew));
        s.S12[i] = s.S21[i];
        s.S22[i] = std::polar(0.15 + 0.005 * g, -1.1 - 2.0 * skew * g);
    }
    return s;
}

VNAStimulus Sweep(int points)
{
    VNAStimulus st;
    st.start = 1e9;
    st.stop = 20e9;
    st.points = points;
    return st;
}

void Configure(VNAPortExtension& ext, VNADeembed& deembed)
{
    ext.enabled = true;
    ext.delay[0] = 0.4e-9;
    ext.delay[1] = 0.3e-9;
    ext.use1[0] = ext.use1[1] = true;
    ext.loss1[0] = ext.loss1[1] = 0.5;
    deembed.SetEnabled(true);
    const QVector<double> grid = Sweep(kFixturePoints).GetFreqVector();
    deembed.LoadP1("p1.s2p", grid, Smooth(grid, 1.0));
    deembed.LoadP2("p2.s2p", grid, Smooth(grid, -0.5));
}

// The chain's step 3 on a fresh copy of the corrected data, as every pass starts from one; the
// extension rides in the de-embedding cascade as it does in the chain.
void BM_PortExtensionDeembed(benchmark::State& state)
{
    const VNAStimulus st = Sweep(int(state.range(0)));
    const SParameters corrected = Smooth(st.GetFreqVector(), 0.3);
    VNAPortExtension ext;
    VNADeembed deembed;
    Configure(ext, deembed);
    for (auto _ : state)
    {
        SParameters s = corrected;
        deembed.Deembed(st, s, &ext.Settings());
        benchmark::DoNotOptimize(s.S11.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// CalcTraces with one LogMag trace, with the port extension and both fixtures enabled or, for
// comparison, without them.
void CalcTraces(benchmark::State& state, bool fixtures)
{
    VNAModel model;
    VNAChannel& ch = *model.channels[0];
    ch.stimulus = Sweep(int(state.range(0)));
    const SParameters data = Smooth(ch.stimulus.GetFreqVector(), 0.3);
    ch.MeasAvg.Resize(ch.stimulus.points);
    ch.MeasAvg.S11 = data.S11;
    ch.MeasAvg.S21 = data.S21;
    ch.MeasAvg.S12 = data.S12;
    ch.MeasAvg.S22 = data.S22;
    if (fixtures)
    {
        Configure(ch.portExtension, ch.deembedding);
    }
    {
        QMutexLocker lock(&model.traceLock);
        int index = 0;
        model.InternalCreateTrace(index)->SetMeas(S21);
        model.mapper.SetPos(0, 0, index);
    }
    for (auto _ : state)
    {
        model.CalcTraces(0);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_CalcTracesWithFixtures(benchmark::State& state)
{
    CalcTraces(state, true);
}
void BM_CalcTracesWithoutFixtures(benchmark::State& state)
{
    CalcTraces(state, false);
}
}  // namespace

BENCHMARK(BM_PortExtensionDeembed)->Arg(1601)->Arg(64001)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CalcTracesWithFixtures)->Arg(1601)->Arg(64001)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CalcTracesWithoutFixtures)->Arg(1601)->Arg(64001)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv)
{
    // The model reads preferences; keep a benchmark run away from the user's own files.
    QStandardPaths::setTestModeEnabled(true);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
