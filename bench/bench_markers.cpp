// The marker stage of a pass: four 64001-point traces, all sixteen markers on and tracking the
// peak, the bandwidth search tracking too. Measured alone on the traces, and as part of the whole
// chain against the same chain with markers off.
#include <benchmark/benchmark.h>

#include <QMutexLocker>
#include <cmath>
#include <complex>

#include "vna_meas.h"
#include "vna_model.h"

namespace
{
constexpr int kPoints = 64001;

// A channel with a resonance on every parameter, slightly different per parameter, and four
// LogMag traces S11, S21, S12, S22 on it.
QVector<VNATrace*> Setup(VNAModel& model, bool markersOn)
{
    VNAChannel& ch = *model.channels[0];
    ch.stimulus.start = 1e9;
    ch.stimulus.stop = 9e9;
    ch.stimulus.points = kPoints;
    ch.MeasAvg.Resize(kPoints);
    for (int i = 0; i < kPoints; ++i)
    {
        const double f = 1e9 + 8e9 * i / (kPoints - 1);
        for (int m = 0; m < 4; ++m)
        {
            const double u = 2.0 * 40.0 * (f - (4e9 + 0.5e9 * m)) / 4e9;
            const std::complex<double> s = 1.0 / std::complex<double>(1.0, u);
            ch.MeasAvg.GetSParam(VNATraceMeas(m))[i] = s * (0.9 + 0.01 * std::sin(f / 7e7));
        }
    }
    QVector<VNATrace*> traces;
    QMutexLocker lock(&model.traceLock);
    for (int m = 0; m < 4; ++m)
    {
        int index = 0;
        VNATrace* t = model.InternalCreateTrace(index);
        model.mapper.SetPos(0, model.mapper.GetNextAvailablePos(0), index);
        t->SetMeas(VNATraceMeas(m));
        t->SetFormat(LogMag);
        if (markersOn)
        {
            t->bwSearchEnabled = true;
            t->bwSearchTracking = true;
            for (VNAMarker& mk : t->markers)
            {
                mk.enabled = true;
                mk.tracking = MarkerTrackingPeak;
            }
        }
        traces.append(t);
    }
    return traces;
}

// The trace side of the stage: bandwidth search and marker update on each trace.
void BM_MarkerStage(benchmark::State& state)
{
    VNAModel model;
    const QVector<VNATrace*> traces = Setup(model, true);
    model.CalcTraces(0);
    for (auto _ : state)
    {
        for (VNATrace* t : traces)
        {
            t->PerformBandwidthSearch();
            t->UpdateMarkers();
        }
        benchmark::DoNotOptimize(traces[3]->markers[15].y);
    }
    state.SetItemsProcessed(state.iterations() * 4 * VNATrace::kMarkerCount);
}

// The whole chain with and without the marker stage (coupling included): the difference is the
// markers' share of a sweep.
void BM_CalcTracesMarkers(benchmark::State& state)
{
    VNAModel model;
    Setup(model, state.range(0) != 0);
    for (auto _ : state)
    {
        model.CalcTraces(0);
        benchmark::ClobberMemory();
    }
}
}  // namespace

BENCHMARK(BM_MarkerStage)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CalcTracesMarkers)->ArgName("markers")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
