// Reading and parsing the uCal module's factory characterisation from the emulator, which paces
// its output to 115200 baud (ten bits a byte). The counter "vs_transfer" is the time taken over
// the time the module's bytes take on the line; the target is at most 1.10 at the emulator's
// own size (201 points) and below. The emulator sends a block's data as soon as the reader has
// taken its line, so what is left above 1 is the reader's own work and the scheduler's wake-ups.
#include <benchmark/benchmark.h>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLoggingCategory>

#include "maury_ucal.h"
#include "ucal_fixtures.h"

namespace
{
constexpr double kBaud = 115200.0;

// The bytes the module sends for the four blocks: each "R<count>" line and its data.
double ReplyBytes(const UCalDataSets& sets)
{
    double total = 0.0;
    for (int b = 0; b < 4; ++b)
    {
        const int n = sets.freqs[b < 3 ? b : 6].size();
        const int data = 4 + 8 * n + 4 + (b < 3 ? 2 : 4) * 16 * n;
        total += data + QByteArray::number(data).size() + 2;
    }
    return total;
}

void BM_ReadFactoryCharacterisation(benchmark::State& state)
{
    testfx::UCalEmulator emu(QStringLiteral(UCAL_EMULATOR));
    if (!emu.Start({"--points", QString::number(state.range(0)), "--baud", "115200"}))
    {
        state.SkipWithError("the emulator did not start");
        return;
    }
    MauryUCal module(UCalPortInfo::Named(emu.PortName()));
    if (!module.Connect())
    {
        state.SkipWithError("no connection to the emulator");
        return;
    }
    UCalDataSets sets;
    bool ok = true;
    QElapsedTimer clock;
    clock.start();
    for (auto _ : state)
    {
        ok = ReadFactoryDataSets(module, sets) && ok;
    }
    const double perRead = clock.nsecsElapsed() * 1e-9 / double(state.iterations());
    if (!ok)
    {
        state.SkipWithError("a read failed");
        return;
    }
    const double transfer = ReplyBytes(sets) * 10.0 / kBaud;
    state.counters["transfer_s"] = transfer;
    state.counters["vs_transfer"] = perRead / transfer;
    state.SetBytesProcessed(int64_t(state.iterations() * ReplyBytes(sets)));
}
BENCHMARK(BM_ReadFactoryCharacterisation)
    ->Arg(51)
    ->Arg(201)
    ->Arg(401)
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
}  // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
