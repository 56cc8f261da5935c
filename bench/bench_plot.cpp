// Plot benchmarks: one paint of a 1600 by 1000 plot with four traces, at 64001 and at 201 points,
// rendered offscreen into an image; the full marker load, all 16 markers of each trace with
// their read-outs and a bandwidth search, on 64001 points; and four low-pass time-domain traces
// of a 64001-point sweep (128003 points each), gated, with distance on the axis.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QMutexLocker>
#include <QStandardPaths>
#include <cmath>

#include "vna_lib.h"
#include "vna_model.h"
#include "vna_plot.h"
#include "vna_trace.h"

namespace
{
// Four noisy traces, with markers, so the paint does everything an operator normally sees.
void FillModel(VNAModel& model, int points, int markers)
{
    VNAChannel& ch = *model.channels[0];
    ch.stimulus.start = 40e6;
    ch.stimulus.stop = 40e9;
    ch.stimulus.points = points;
    QMutexLocker lock(&model.traceLock);
    quint32 seed = 1;
    for (int k = 0; k < 4; ++k)
    {
        int index = 0;
        VNATrace* t = model.InternalCreateTrace(index);
        t->SetChannel(0);
        t->SetPlot(0);
        t->SetMeas(VNATraceMeas(k));
        t->SetFormat(LogMag);
        t->x.resize(points);
        t->y.resize(points);
        for (int i = 0; i < points; ++i)
        {
            seed = seed * 1664525u + 1013904223u;
            t->x[i] = 40e6 + (40e9 - 40e6) * i / (points - 1);
            t->y[i] = -20.0 * k - 10.0 * std::sin(i * 20.0 / points) + (seed % 1000) * 1e-3;
        }
        for (int m = 0; m < markers; ++m)
        {
            VNAMarker& mk = t->markers[m];
            mk.enabled = true;
            mk.index = points / (markers + 1) * (m + 1);
            mk.x = mk.f = t->x[mk.index];
            mk.y = t->y[mk.index];
            // Every other one reads against the reference marker.
            mk.delta = markers == VNATrace::kMarkerCount && m % 2 == 1;
        }
        if (markers == VNATrace::kMarkerCount)
        {
            t->PerformBandwidthSearch();
        }
    }
    ch.MeasAvg.positionStart = points / 2;
    ch.MeasAvg.positionEnd = points / 2 + 10;
}

// The traces turned into low-pass responses of the same sweep: 2 (N + 1) - 1 points about t = 0,
// a gate drawn over each, the axis in metres.
void MakeTimeDomain(VNAModel& model)
{
    QMutexLocker lock(&model.traceLock);
    const double stop = model.channels[0]->stimulus.stop;
    for (VNATrace* t : model.traces)
    {
        const int n = 2 * t->x.size() + 1;
        const int half = n / 2;
        QVector<double> x(n), y(n);
        for (int i = 0; i < n; ++i)
        {
            x[i] = (i - half) / (2.0 * stop);
            y[i] = t->y[std::abs(i - half) % t->y.size()];
        }
        t->x = x;
        t->y = y;
        t->transformEnabled = true;
        t->transform.autoScale = false;
        t->transform.start = x.first();
        t->transform.stop = x.last();
        t->transform.units = UnitsMeters;
        t->gateEnabled = true;
        t->gateStart = -2e-9;
        t->gateStop = 5e-9;
        for (VNAMarker& mk : t->markers)
        {
            mk.x = x[mk.index];
        }
    }
}

void Paint(benchmark::State& state, VNAModel& model)
{
    VNAPlot plot(model, 0);
    plot.resize(1600, 1000);
    QImage image(1600, 1000, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state)
    {
        plot.render(&image);
        benchmark::ClobberMemory();
    }
}

void BM_PlotPaint(benchmark::State& state)
{
    VnaLib none;
    VNAModel model(&none);
    const int markers = int(state.range(1));
    FillModel(model, int(state.range(0)), markers);
    Paint(state, model);
    state.SetLabel(
        QStringLiteral("4 traces, %1 markers each, 1600x1000").arg(markers).toStdString());
}
BENCHMARK(BM_PlotPaint)
    ->Args({64001, 2})
    ->Args({201, 2})
    ->Args({64001, VNATrace::kMarkerCount})
    ->Unit(benchmark::kMillisecond);

void BM_PlotPaintTimeDomain(benchmark::State& state)
{
    VnaLib none;
    VNAModel model(&none);
    FillModel(model, int(state.range(0)), 2);
    MakeTimeDomain(model);
    Paint(state, model);
    state.SetLabel("4 gated low-pass traces, 1600x1000");
}
BENCHMARK(BM_PlotPaintTimeDomain)->Arg(64001)->Unit(benchmark::kMillisecond);
}  // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QStandardPaths::setTestModeEnabled(true);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
