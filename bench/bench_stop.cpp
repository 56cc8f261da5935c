// How long stopping the measurement loop takes at 64001 points: the window waits for it whenever
// a setting changes. Each iteration starts the loop, lets it reach the state named, and times
// MeasStop alone. Target: 50 ms or less, on the demo device and on the simulator.
//
// - MidSweep: during the progressive sweep, at a varying moment.
// - Finishing (demo): while FinishSweep waits out the demo's timed reverse phase, reached at
//   once by stepping the demo's clock past the forward phase.
// - AfterPointChange: up to 45 ms after the point count changed and the loop restarted, while
//   it reallocates its buffers, configures the device and starts its sweep.
//
// TraceLockDuringRebuild: the longest a repaint waits for the trace lock while a restarted loop
// rebuilds a two-port calibration's terms for a new 64001-point sweep.
#include <benchmark/benchmark.h>

#include <QLoggingCategory>
#include <QMutexLocker>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "cal_fixtures.h"
#include "vna_lib.h"
#include "vna_model.h"
#include "vna_sim.h"

namespace
{
using Clock = std::chrono::steady_clock;
constexpr int kPoints = 64001;

const VnaLib& SimLibrary()
{
    static VnaLib lib;
    static const bool loaded = []
    {
        vnaSimSetServerPort(-1);
        return lib.Load(QStringLiteral(VNA_SIM_LIBRARY));
    }();
    (void)loaded;
    return lib;
}

const VnaLib& NoLibrary()
{
    static VnaLib none;
    return none;
}

// A model on the demo device or the simulator, channel 0 at 64001 points with the given traces.
std::unique_ptr<VNAModel> MakeModel(bool sim, std::initializer_list<VNATraceMeas> measurements)
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    auto model = std::make_unique<VNAModel>(sim ? &SimLibrary() : &NoLibrary());
    const bool connected = sim ? model->device.Connect() : model->device.ConnectDemo();
    if (!connected)
    {
        return nullptr;
    }
    VNAStimulus& s = model->channels[0]->stimulus;
    s.points = kPoints;
    {
        QMutexLocker lock(&model->traceLock);
        for (VNATraceMeas m : measurements)
        {
            int index = 0;
            VNATrace* t = model->InternalCreateTrace(index);
            t->SetChannel(0);
            t->SetMeas(m);
            model->mapper.SetPos(0, model->mapper.GetNextAvailablePos(0), index);
        }
    }
    return model;
}

void WaitForSweepStart(VNAModel& model, uint64_t before)
{
    while (model.SweepsStarted() == before)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

// Times MeasStop after `reach` has brought the running loop where it should be.
template <typename Reach>
void TimeStops(benchmark::State& state, VNAModel* model, Reach reach)
{
    if (!model)
    {
        state.SkipWithError("no device");
        return;
    }
    // One untimed round first: the process's first buffers of this size are fresh pages the
    // kernel still has to supply, which a running program has long had.
    model->MeasStart();
    reach(*model, 0, 0);
    model->MeasStop();
    double worst = 0.0;
    for (auto _ : state)
    {
        const uint64_t before = model->SweepsStarted();
        model->MeasStart();
        reach(*model, before, int(state.iterations()));
        const Clock::time_point t0 = Clock::now();
        model->MeasStop();
        const double seconds = std::chrono::duration<double>(Clock::now() - t0).count();
        state.SetIterationTime(seconds);
        worst = std::max(worst, seconds);
    }
    state.counters["worst_ms"] = worst * 1e3;
    model->device.Disconnect();
}

void MidSweep(VNAModel& model, uint64_t before, int iteration)
{
    WaitForSweepStart(model, before);
    // Somewhere within a few display cycles of the progressive sweep.
    std::this_thread::sleep_for(std::chrono::milliseconds(60 + 7 * (iteration % 10)));
}

void BM_StopDemoMidSweep(benchmark::State& state)
{
    TimeStops(state, MakeModel(false, {S11}).get(), MidSweep);
}

void BM_StopSimulatorMidSweep(benchmark::State& state)
{
    TimeStops(state, MakeModel(true, {S11, S21, S12, S22}).get(), MidSweep);
}

void BM_StopDemoFinishing(benchmark::State& state)
{
    // Forward only: once the forward phase is reported complete the loop calls FinishSweep,
    // which waits for the demo's reverse phase (22 s at this size).
    std::unique_ptr<VNAModel> model = MakeModel(false, {S11});
    auto offset = std::make_shared<std::atomic<int64_t>>(0);
    if (model)
    {
        model->device.SetDemoClock(
            [offset]
            {
                using namespace std::chrono;
                return duration_cast<milliseconds>(Clock::now().time_since_epoch()).count() +
                       offset->load();
            });
    }
    TimeStops(state, model.get(),
              [offset](VNAModel& m, uint64_t before, int)
              {
                  WaitForSweepStart(m, before);
                  std::this_thread::sleep_for(std::chrono::milliseconds(30));
                  offset->fetch_add(VNADevice::DemoSweepTime(kPoints) + 1);
                  // A poll or two later the loop is in FinishSweep.
                  std::this_thread::sleep_for(std::chrono::milliseconds(150));
              });
}

void AfterStart(VNAModel&, uint64_t, int iteration)
{
    // Within the reconfiguration, the device's configuration and the sweep's first cycles.
    std::this_thread::sleep_for(std::chrono::milliseconds(5 * (iteration % 10)));
}

// As the window does it: stop, change the point count, start; the next stop lands in the new
// loop's reconfiguration, where every buffer is reallocated.
template <typename Reach>
void TimeStopsAfterPointChanges(benchmark::State& state, VNAModel* model, Reach reach)
{
    TimeStops(state, model,
              [reach](VNAModel& m, uint64_t before, int iteration)
              {
                  m.MeasStop();
                  m.channels[0]->stimulus.points = kPoints - 1000 * (iteration % 2);
                  m.MeasStart();
                  reach(m, before, iteration);
              });
}

void BM_StopDemoAfterPointChange(benchmark::State& state)
{
    TimeStopsAfterPointChanges(state, MakeModel(false, {S11, S21, S12, S22}).get(), AfterStart);
}

void BM_StopSimulatorAfterPointChange(benchmark::State& state)
{
    TimeStopsAfterPointChanges(state, MakeModel(true, {S11, S21, S12, S22}).get(), AfterStart);
}

void BM_TraceLockDuringRebuild(benchmark::State& state)
{
    std::unique_ptr<VNAModel> model = MakeModel(false, {S11, S21, S12, S22});
    if (!model)
    {
        state.SkipWithError("no device");
        return;
    }
    // A calibration of 2001 points, interpolated onto the sweep.
    VNAChannel& ch = *model->channels[0];
    testfx::SyntheticCal setup;
    setup.type = SOLT;
    setup.thru = testfx::Line(50.0, 82.157e-12, 0.0);
    const testfx::ErrorModel box = testfx::ErrorModel::Random(5);
    const VNAStimulus calStim = []
    {
        VNAStimulus s;
        s.points = 2001;
        return s;
    }();
    ch.calibration = testfx::MeasureCalibration(setup, testfx::ModelKit(), calStim, box, box);
    double worst = 0.0;
    for (auto _ : state)
    {
        model->MeasStop();
        ch.stimulus.points = kPoints - 1000 * (state.iterations() % 2);
        const uint64_t before = model->SweepsStarted();
        model->MeasStart();
        // As a repaint would, take the lock over and over until the first sweep has begun.
        double longest = 0.0;
        while (model->SweepsStarted() == before)
        {
            const Clock::time_point t0 = Clock::now();
            {
                QMutexLocker lock(&model->traceLock);
            }
            longest = std::max(longest, std::chrono::duration<double>(Clock::now() - t0).count());
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        state.SetIterationTime(longest);
        worst = std::max(worst, longest);
    }
    model->MeasStop();
    state.counters["worst_ms"] = worst * 1e3;
}

BENCHMARK(BM_StopDemoMidSweep)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);
BENCHMARK(BM_StopDemoFinishing)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_StopDemoAfterPointChange)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(20);
BENCHMARK(BM_StopSimulatorMidSweep)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);
BENCHMARK(BM_TraceLockDuringRebuild)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(6);
BENCHMARK(BM_StopSimulatorAfterPointChange)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(20);
}  // namespace

BENCHMARK_MAIN();
