// Remote control over loopback with one client and the window hidden: sequential *IDN? round
// trips, and :CALC1:MEAS1:DATA:SDATA? of 64001 complex points in ASCII and as a REAL,64 block. The
// window runs its event loop on the main thread; the client runs the benchmarks on a thread of its
// own with blocking sockets.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QHostAddress>
#include <QLoggingCategory>
#include <QStandardPaths>
#include <QTcpSocket>
#include <QTimer>
#include <thread>

#include "mainwindow.h"
#include "vna_lib.h"

namespace
{
quint16 gPort = 0;

QByteArray Query(QTcpSocket& s, const QByteArray& line)
{
    s.write(line + '\n');
    s.flush();
    while (!s.canReadLine())
    {
        if (!s.waitForReadyRead(120000))
        {
            return QByteArray();
        }
    }
    return s.readLine();
}

bool Open(QTcpSocket& s)
{
    // The server listens again only once the previous client is gone: retry for a while.
    for (int attempt = 0; attempt < 50; ++attempt)
    {
        s.connectToHost(QHostAddress::LocalHost, gPort);
        if (s.waitForConnected(5000))
        {
            return true;
        }
        s.abort();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

void BM_IdnRoundTrip(benchmark::State& state)
{
    QTcpSocket s;
    if (!Open(s))
    {
        state.SkipWithError("no connection");
        return;
    }
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(Query(s, "*IDN?"));
    }
    state.SetItemsProcessed(state.iterations());
    s.disconnectFromHost();
    if (s.state() != QAbstractSocket::UnconnectedState)
    {
        s.waitForDisconnected(1000);
    }
}
BENCHMARK(BM_IdnRoundTrip)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_SData64001(benchmark::State& state)
{
    QTcpSocket s;
    if (!Open(s))
    {
        state.SkipWithError("no connection");
        return;
    }
    // 64001 points, swept once and held, so the data is still while it is read. The demo sweeps
    // 64001 points in about 45 s whatever the bandwidth.
    Query(s, ":SENS1:SWE:POIN 64001;:SENS1:BAND 100khz;:INIT1:IMM;*OPC?");
    size_t bytes = 0;
    for (auto _ : state)
    {
        const QByteArray reply = Query(s, ":CALC1:MEAS1:DATA:SDATA?");
        bytes = size_t(reply.size());
        if (reply.count(',') != 2 * 64001 - 1)
        {
            state.SkipWithError("short reply");
            break;
        }
    }
    state.counters["reply_bytes"] = double(bytes);
    s.disconnectFromHost();
    s.waitForDisconnected(1000);
}
BENCHMARK(BM_SData64001)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(20);

// Reads exactly n bytes.
QByteArray ReadBytes(QTcpSocket& s, qint64 n)
{
    while (s.bytesAvailable() < n)
    {
        if (!s.waitForReadyRead(120000))
        {
            return QByteArray();
        }
    }
    return s.read(n);
}

// One definite-length block reply: header, bytes and the line feed; the bytes are returned.
QByteArray QueryBlock(QTcpSocket& s, const QByteArray& line)
{
    s.write(line + '\n');
    s.flush();
    const QByteArray head = ReadBytes(s, 2);
    if (head.size() != 2 || head[0] != '#')
    {
        return QByteArray();
    }
    const qint64 length = ReadBytes(s, head[1] - '0').toLongLong();
    const QByteArray bytes = ReadBytes(s, length);
    return ReadBytes(s, 1) == "\n" ? bytes : QByteArray();
}

// The same 64001 complex points as one REAL,64 block.
void BM_SData64001Real64(benchmark::State& state)
{
    QTcpSocket s;
    if (!Open(s))
    {
        state.SkipWithError("no connection");
        return;
    }
    if (Query(s, ":SENS1:SWE:POIN?").trimmed() != "64001")
    {
        Query(s, ":SENS1:SWE:POIN 64001;:SENS1:BAND 100khz;:INIT1:IMM;*OPC?");
    }
    s.write(":FORM:DATA REAL,64;:FORM:BORD SWAP\n");
    for (auto _ : state)
    {
        const QByteArray block = QueryBlock(s, ":CALC1:MEAS1:DATA:SDATA?");
        if (block.size() != 2 * 64001 * 8)
        {
            state.SkipWithError("short reply");
            break;
        }
        benchmark::DoNotOptimize(block.constData());
    }
    state.counters["reply_bytes"] = double(2 * 64001 * 8);
    s.disconnectFromHost();
    s.waitForDisconnected(1000);
}
BENCHMARK(BM_SData64001Real64)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(50);
}  // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QStandardPaths::setTestModeEnabled(true);
    QApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    // Any free port; the server keeps it for the session.
    Preferences::Get().scpiPort = 0;
    Preferences::SetSaveOnClose(false);
    Hidden::Set(true);
    VnaLib none;
    MainWindow window(nullptr, &none);
    window.Model().device.ConnectDemo();
    window.quickSetupFull2Port(true);
    gPort = window.SCPIServerPort();
    if (gPort == 0)
    {
        qWarning("remote server not listening");
    }
    benchmark::Initialize(&argc, argv);
    std::thread client(
        [&]
        {
            benchmark::RunSpecifiedBenchmarks();
            QMetaObject::invokeMethod(&app, &QCoreApplication::quit, Qt::QueuedConnection);
        });
    app.exec();
    client.join();
    window.close();
    return 0;
}
