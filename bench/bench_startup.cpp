// Start-up to the first demo sweep on screen: builds the window, accepts the demo device as an
// operator would, and stops the clock when the first full sweep of all four traces has been
// painted. Run: build-release/bench/bench_startup (uses the offscreen platform unless a display
// is set).
#include <benchmark/benchmark.h>

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QMessageBox>
#include <QMutexLocker>
#include <QStandardPaths>
#include <QTimer>

#include "mainwindow.h"
#include "vna_lib.h"

namespace
{
bool AllTracesFilled(VNAModel& m)
{
    QMutexLocker lock(&m.traceLock);
    int filled = 0;
    for (const VNATrace* t : m.traces)
    {
        filled += (t && !t->y.isEmpty()) ? 1 : 0;
    }
    return filled == 4;
}

void BM_StartupToFirstSweep(benchmark::State& state)
{
    VnaLib none;
    for (auto _ : state)
    {
        QTimer answer;
        QObject::connect(
            &answer, &QTimer::timeout,
            []
            {
                if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget()))
                {
                    box->button(QMessageBox::Yes)->click();
                }
            });
        answer.start(1);
        QElapsedTimer clock;
        clock.start();
        MainWindow w(nullptr, &none);
        w.show();
        // The loop starts its second sweep right after the first one has completed.
        while (!AllTracesFilled(w.Model()) || w.Model().SweepsStarted() < 2)
        {
            QApplication::processEvents(QEventLoop::AllEvents, 5);
        }
        w.grab();  // the paint that puts the sweep on screen
        state.SetIterationTime(clock.elapsed() / 1000.0);
        answer.stop();
        w.close();
    }
}
BENCHMARK(BM_StartupToFirstSweep)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

double ResidentMiB()
{
    QFile f(QStringLiteral("/proc/self/status"));
    f.open(QIODevice::ReadOnly);
    for (const QByteArray& line : f.readAll().split('\n'))
    {
        if (line.startsWith("VmRSS:"))
        {
            return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
        }
    }
    return 0.0;
}

// Resident size of the whole program with the demo device sweeping one channel of 64001 points
// (four traces), after the first full sweep.
void BM_ResidentMemoryDemo64001(benchmark::State& state)
{
    VnaLib none;
    for (auto _ : state)
    {
        QTimer answer;
        QObject::connect(
            &answer, &QTimer::timeout,
            []
            {
                if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget()))
                {
                    box->button(QMessageBox::Yes)->click();
                }
            });
        answer.start(1);
        MainWindow w(nullptr, &none);
        w.show();
        answer.stop();
        w.stimIFBWChanged(0, 100000.0);  // 64001 points sweep in a few seconds at full bandwidth
        w.stimPointsChanged(0, 64001);
        const uint64_t start = w.Model().SweepsStarted();
        while (w.Model().SweepsStarted() < start + 2)
        {
            QApplication::processEvents(QEventLoop::AllEvents, 5);
        }
        w.grab();
        state.counters["RSS_MiB"] = ResidentMiB();
        w.close();
    }
}
BENCHMARK(BM_ResidentMemoryDemo64001)->Unit(benchmark::kMillisecond)->Iterations(1);
}  // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QStandardPaths::setTestModeEnabled(true);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
