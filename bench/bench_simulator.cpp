// Cost of generating the simulator's data: one 64001-point sweep in both directions at 100 kHz
// IF bandwidth, computed without the instrument's pacing. The per-point cost must stay far below
// the modelled time per point (about 0.35 ms at this bandwidth).
#include <benchmark/benchmark.h>

#include <vector>

#include "vna_sim.h"

namespace
{
void BM_SimulatorSweep64001(benchmark::State& state)
{
    const int points = 64001;
    vnaSimReset();
    vnaSimSetServerPort(-1);
    vnaSimSetNoise(1);
    char reply[128];
    vnaSimCommand("connect thru delay 80 loss 2.5", reply, sizeof(reply));
    int handle = -1;
    if (vnaOpenDevice(&handle) != 0)
    {
        state.SkipWithError("no simulated device");
        return;
    }
    vnaSetDataType(handle, 0, false);
    vnaSweepSetPorts(handle, true, true);
    vnaSweepSetPoints(handle, points);
    vnaSweepSetStartStop(handle, 40e6, 40e9);
    vnaSweepSetIFBandwidth(handle, 100000.0);
    vnaSweepSetRFEnabled(handle, true);
    vnaSweepSetAtten(handle, 0);
    vnaSweepSetHDR(handle, true, false);
    vnaSweepSetSOLRModel(handle, false);
    vnaForceSpurDodge(handle, false);
    vnaReconfigure(handle);
    std::vector<std::vector<double>> storage(16, std::vector<double>(2 * size_t(points)));
    double* buffers[16];
    for (int i = 0; i < 16; ++i)
    {
        buffers[i] = storage[size_t(i)].data();
    }
    for (auto _ : state)
    {
        vnaSimGenerateSweep(handle, buffers);
        benchmark::DoNotOptimize(buffers[1][2 * (points - 1)]);
    }
    vnaCloseDevice(handle);
    // Two directions per sweep.
    const double pointsPerSweep = 2.0 * points;
    state.SetItemsProcessed(int64_t(state.iterations() * pointsPerSweep));
    state.counters["ns_per_point"] =
        benchmark::Counter(double(state.iterations()) * pointsPerSweep * 1e-9,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_SimulatorSweep64001)->Unit(benchmark::kMillisecond);
}  // namespace

BENCHMARK_MAIN();
