// Limit and ripple tests of one pass of the chain: four 64001-point traces, each judged against a
// 20-range limit table and a 20-window ripple table, as the chain runs them (table mutexes
// included).
#include <benchmark/benchmark.h>

#include <QMutexLocker>
#include <algorithm>
#include <cmath>
#include <random>

#include "vna_limits.h"
#include "vna_trace.h"

namespace
{
constexpr int kPoints = 64001;
constexpr int kTraces = 4;
constexpr int kRanges = 20;

// Traces 1 to 9 GHz of a gently rippling response; ranges tile the sweep so that every point is
// judged by a line and belongs to a window. Lines sit well clear: every trace passes, so nothing
// ends early.
void Setup(QVector<VNATrace>& traces, bool unordered)
{
    traces.resize(kTraces);
    std::mt19937 rng(7);
    for (int t = 0; t < kTraces; ++t)
    {
        VNATrace& tr = traces[t];
        tr.x.resize(kPoints);
        tr.y.resize(kPoints);
        for (int i = 0; i < kPoints; ++i)
        {
            tr.x[i] = 1e9 + i * (8e9 / (kPoints - 1));
            tr.y[i] = -1.0 - 0.5 * std::sin(i * 0.001 * (t + 1));
        }
        if (unordered)
        {
            // Same points, no order: the Smith formats' abscissa behaves like this.
            std::vector<int> order(kPoints);
            for (int i = 0; i < kPoints; ++i)
            {
                order[i] = i;
            }
            std::shuffle(order.begin(), order.end(), rng);
            QVector<double> x(kPoints), y(kPoints);
            for (int i = 0; i < kPoints; ++i)
            {
                x[i] = tr.x[order[i]];
                y[i] = tr.y[order[i]];
            }
            tr.x = x;
            tr.y = y;
        }
        QVector<VNALimitRange> limits(kRanges);
        QVector<VNARippleLimitRange> ripples(kRanges);
        const double width = 8e9 / kRanges;
        for (int k = 0; k < kRanges; ++k)
        {
            const double a = 1e9 + k * width, b = a + width;
            limits[k] = (k % 2) ? VNALimitRange{LimitMax, a, b, 1.0, 2.0}
                                : VNALimitRange{LimitMin, a, b, -3.0, -2.5};
            ripples[k] = {RippleAbsolute, a, b, 1.5};
        }
        tr.SetLimitRanges(limits);
        tr.SetRippleRanges(ripples);
    }
}

void LimitAndRipple(benchmark::State& state, bool unordered)
{
    QVector<VNATrace> traces;
    Setup(traces, unordered);
    for (auto _ : state)
    {
        bool pass = true;
        for (VNATrace& t : traces)
        {
            {
                QMutexLocker lock(&t.limitLock.mutex);
                t.limitPass = EvaluateLimitRanges(t.limitRanges, t.x, t.y);
            }
            {
                QMutexLocker lock(&t.rippleLock.mutex);
                t.ripplePass = EvaluateRippleRanges(t.rippleRanges, t.rippleMeas, t.x, t.y);
            }
            pass = pass && t.limitPass && t.ripplePass;
        }
        if (!pass)
        {
            state.SkipWithError("a trace failed: the tables no longer judge every point");
            break;
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kTraces * kPoints);
}

void BM_LimitRipple4x64001(benchmark::State& state)
{
    LimitAndRipple(state, false);
}
// Without order nothing can be bisected: every range scans the whole trace.
void BM_LimitRipple4x64001Unordered(benchmark::State& state)
{
    LimitAndRipple(state, true);
}
}  // namespace

BENCHMARK(BM_LimitRipple4x64001)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LimitRipple4x64001Unordered)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
