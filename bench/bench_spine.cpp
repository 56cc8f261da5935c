// Spine benchmarks: Touchstone load and store of a 64001-point two-port, and one full averaging
// update at 64001 points.
#include <benchmark/benchmark.h>

#include <QTemporaryDir>
#include <cmath>

#include "touchstone.h"
#include "vna_meas.h"

namespace
{
constexpr int kPoints = 64001;

VNAStimulus BigStimulus()
{
    VNAStimulus s;
    s.start = 40e6;
    s.stop = 40e9;
    s.points = kPoints;
    return s;
}

SParameters BigData()
{
    SParameters d;
    d.Resize(kPoints);
    for (int i = 0; i < kPoints; ++i)
    {
        const double x = i * 1e-3;
        d.S11[i] = std::polar(0.2, -x);
        d.S21[i] = std::polar(0.8, -3 * x);
        d.S12[i] = std::polar(0.8, -3 * x);
        d.S22[i] = std::polar(0.3, 2 * x);
    }
    return d;
}

void BM_TouchstoneStore(benchmark::State& state)
{
    QTemporaryDir dir;
    const VNAStimulus s = BigStimulus();
    const SParameters d = BigData();
    QString error;
    for (auto _ : state)
    {
        if (!StoreSNPFile(dir.filePath("big.s2p"), s, d, false, 0, error))
        {
            state.SkipWithError("store failed");
        }
    }
}
BENCHMARK(BM_TouchstoneStore)->Unit(benchmark::kMillisecond);

void BM_TouchstoneLoad(benchmark::State& state)
{
    QTemporaryDir dir;
    QString error;
    const QString path = dir.filePath("big.s2p");
    StoreSNPFile(path, BigStimulus(), BigData(), false, 0, error);
    for (auto _ : state)
    {
        QVector<double> f;
        SParameters d;
        if (!LoadS2PFile(path, false, f, d, error) || f.size() != kPoints)
        {
            state.SkipWithError("load failed");
        }
        benchmark::DoNotOptimize(d);
    }
}
BENCHMARK(BM_TouchstoneLoad)->Unit(benchmark::kMillisecond);

void BM_PerformAveraging(benchmark::State& state)
{
    VNAChannel ch(0);
    ch.stimulus = BigStimulus();
    ch.stimulus.avgEnabled = true;
    ch.stimulus.avgCount = 10;
    ch.MeasAvg.Resize(kPoints);
    SParametersRaw update;
    update.Resize(kPoints);
    for (int v = 0; v < SParametersRaw::kVectorCount; ++v)
    {
        update.Vector(v).fill(std::complex<double>(0.5, -0.25));
    }
    update.positionStart = 0;
    update.positionEnd = kPoints;
    for (auto _ : state)
    {
        ch.PerformAveraging(update);
        benchmark::DoNotOptimize(ch.MeasAvg.S11[0]);
    }
}
BENCHMARK(BM_PerformAveraging)->Unit(benchmark::kMicrosecond);
}  // namespace

BENCHMARK_MAIN();
