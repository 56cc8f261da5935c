// Time gating and transforms at the largest sweeps: the fast gate beside its literal O(N^2) form,
// the low-pass and band-pass transforms, and a channel of four gated, transformed traces.
#include <benchmark/benchmark.h>

#include <QMutexLocker>
#include <QStandardPaths>
#include <cmath>
#include <complex>

#include "gate_reference.h"
#include "test_fixtures.h"
#include "time_domain.h"
#include "vna_meas.h"
#include "vna_model.h"

namespace
{
using cplx = std::complex<double>;

// A low-pass grid of n points from 40 MHz (k = 65) with a line of two reflections.
VNAStimulus LowpassStimulus(int n)
{
    const double step = 40e6 / 65;
    return testfx::Stimulus(40e6, 40e6 + (n - 1) * step, n);
}

CplxVector Reflections(const VNAStimulus& s)
{
    const QVector<double> f = s.GetFreqVector();
    CplxVector v(f.size());
    for (int i = 0; i < f.size(); ++i)
    {
        v[i] =
            std::polar(0.3, -2.0 * M_PI * f[i] * 2e-9) + std::polar(0.2, -2.0 * M_PI * f[i] * 6e-9);
    }
    return v;
}

template <typename Gate>
void RunGate(benchmark::State& state, Gate gate)
{
    const VNAStimulus s = LowpassStimulus(int(state.range(0)));
    const CplxVector data = Reflections(s);
    CplxVector work;
    for (auto _ : state)
    {
        work = data;
        gate(work, s.start, s.StepSize(), 1e-9, 3.5e-9, GateBandpass, GateShapeNormal);
        benchmark::DoNotOptimize(work.data());
    }
}

void BM_GateConv(benchmark::State& state)
{
    RunGate(state, GateSParamConv);
}

void BM_GateLiteral(benchmark::State& state)
{
    RunGate(state, testfx::GateSParamLiteral);
}

void BM_GateDirect(benchmark::State& state)
{
    RunGate(state, GateSParam);
}

void RunTransform(benchmark::State& state, VNATransformType type)
{
    const VNAStimulus s = LowpassStimulus(int(state.range(0)));
    const CplxVector data = Reflections(s);
    VNATransformSettings ts;
    ts.type = type;
    QVector<double> x;
    CplxVector out;
    for (auto _ : state)
    {
        TransformSParam(s, ts, data, x, out);
        benchmark::DoNotOptimize(out.data());
    }
}

void BM_TransformLowpassStep(benchmark::State& state)
{
    RunTransform(state, TransformLowpassStep);
}

void BM_TransformBandpass(benchmark::State& state)
{
    RunTransform(state, TransformBandpass);
}

// Four traces S11, S21, S12, S22 on one channel, each gated and low-pass step transformed.
void BM_CalcTracesGateTransform(benchmark::State& state)
{
    const int n = int(state.range(0));
    VNAModel model;
    VNAChannel& ch = *model.channels[0];
    ch.stimulus = LowpassStimulus(n);
    ch.MeasAvg.Resize(n);
    const CplxVector data = Reflections(ch.stimulus);
    ch.MeasAvg.S11 = ch.MeasAvg.S21 = ch.MeasAvg.S12 = ch.MeasAvg.S22 = data;
    {
        QMutexLocker lock(&model.traceLock);
        for (int m = 0; m < 4; ++m)
        {
            int index = 0;
            VNATrace* t = model.InternalCreateTrace(index);
            t->SetMeas(VNATraceMeas(m));
            t->SetFormat(Real);
            t->gateEnabled = true;
            t->gateStart = 1e-9;
            t->gateStop = 3.5e-9;
            t->transformEnabled = true;
            t->transform.type = TransformLowpassStep;
        }
    }
    for (auto _ : state)
    {
        model.CalcTraces(0);
        benchmark::ClobberMemory();
    }
}
}  // namespace

BENCHMARK(BM_GateConv)->Arg(16001)->Arg(64001)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GateLiteral)->Arg(16001)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_GateDirect)->Arg(64001)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TransformLowpassStep)->Arg(64001)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TransformBandpass)->Arg(64001)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CalcTracesGateTransform)->Arg(64001)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    // The model reads preferences; keep a benchmark run away from the user's own files.
    QStandardPaths::setTestModeEnabled(true);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
