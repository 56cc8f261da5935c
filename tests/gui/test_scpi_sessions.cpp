// Remote clients that come and go while the program waits: clients on threads of their own,
// with plain blocking sockets, and the window serving them on the main thread as it does in use.
#include <QEventLoop>
#include <QMutexLocker>
#include <QtTest>
#include <atomic>
#include <functional>
#include <thread>

#include "error_log.h"
#include "line_client.h"
#include "mainwindow.h"
#include "scpi_log.h"
#include "test_fixtures.h"
#include "vna_lib.h"

using testfx::LineClient;
using testfx::RunClients;

namespace
{
// Blocks a client thread until the main thread has let a condition come true.
void WaitFor(const std::atomic<bool>& flag)
{
    while (!flag.load())
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

bool IsIdentity(const QByteArray& reply)
{
    return reply.startsWith("Kestrix,NVX400,");
}
}  // namespace

class TestScpiSessions : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void clientLeavingWhileItsOpcWaits();
    void departedClientsPartialLineIsDropped();
    void opcWithNothingToWaitForAnswersAtOnce();
    void opcEndsWhenTheDeviceGoes();
    void closingWhileAClientWaits();
    void nestedEventLoopInsideACommand();

private:
    // A single sweep of this many points takes the demo device a few seconds.
    static constexpr int kLongSweepPoints = 4001;
    void LongSweep();

    VnaLib none;
    MainWindow* window = nullptr;
    quint16 port = 0;
};

void TestScpiSessions::initTestCase()
{
    testfx::IsolateUserFiles();
    // Any free port: the server keeps the one it gets for the session.
    Preferences::Get().scpiPort = 0;
    Preferences::Get().scpiLockoutDialogEnabled = false;
    Hidden::Set(true);
}

void TestScpiSessions::init()
{
    window = new MainWindow(nullptr, &none);
    QVERIFY(window->Model().device.ConnectDemo());
    window->quickSetupFull2Port(true);
    QVERIFY(window->Model().MeasRunning());
    port = window->SCPIServerPort();
    QVERIFY(port != 0);
    SysErr::ClearErrors();
}

void TestScpiSessions::cleanup()
{
    if (window)
    {
        window->close();
        delete window;
        window = nullptr;
    }
}

void TestScpiSessions::LongSweep()
{
    window->stimPointsChanged(0, kLongSweepPoints);
    window->triggerSweepModeChanged(0, VNASweepMode::Hold);
}

void TestScpiSessions::clientLeavingWhileItsOpcWaits()
{
    LongSweep();
    std::atomic<bool> aGone{false};
    QByteArray aFirst, aSecond, bFirst, bOpc, bAfter, bLast;
    RunClients({[&]
                {
                    LineClient a;
                    if (a.Connect(port))
                    {
                        // The commands behind a waiting *OPC?, on its line and after it, are
                        // answered first, in order.
                        a.Send(":INIT1:IMM;*OPC?;*IDN?\n:SYST:VER?\n");
                        a.ReadLine(aFirst);
                        a.ReadLine(aSecond);
                    }
                    a.Abort();
                    aGone = true;
                },
                [&]
                {
                    WaitFor(aGone);
                    LineClient b;
                    if (!b.Connect(port))
                    {
                        return;
                    }
                    // Nothing of the departed client reaches this one: not its pending "1", not a
                    // reply to its commands.
                    bFirst = b.Query("*IDN?");
                    bOpc = b.Query("*OPC?", 60000);
                    bAfter = b.Query("*IDN?");
                    bLast = b.Query(":SYST:ERR:COUN?");
                }});
    QVERIFY2(IsIdentity(aFirst), aFirst.constData());
    QCOMPARE(aSecond, QByteArray("1.0.14"));
    QVERIFY2(IsIdentity(bFirst), bFirst.constData());
    QCOMPARE(bOpc, QByteArray("1"));
    QVERIFY2(IsIdentity(bAfter), bAfter.constData());
    QCOMPARE(bLast, QByteArray("0"));
    QVERIFY(!window->SCPIOperationPending());
    QCOMPARE(window->Model().channels[0]->sweepMode.GetMode(), VNASweepMode::Hold);
}

void TestScpiSessions::departedClientsPartialLineIsDropped()
{
    const double start = window->Model().channels[0]->stimulus.start;
    std::atomic<bool> aGone{false};
    QByteArray identity, errors;
    RunClients({[&]
                {
                    LineClient a;
                    // A reply first: the server has taken this client and stopped listening.
                    if (a.Connect(port) && IsIdentity(a.Query("*IDN?")))
                    {
                        // Half a command, then gone.
                        a.Send(":SENS1:FREQ:STAR 2");
                        a.Abort();
                    }
                    aGone = true;
                },
                [&]
                {
                    WaitFor(aGone);
                    LineClient b;
                    if (b.Connect(port))
                    {
                        identity = b.Query("GHZ;*IDN?");
                        errors = b.Query(":SYST:ERR:COUN?");
                    }
                }});
    // "GHZ" alone is an unknown header; joined to the lost text it would have set 2 GHz and
    // queued nothing.
    QVERIFY2(IsIdentity(identity), identity.constData());
    QCOMPARE(errors, QByteArray("1"));
    QCOMPARE(SysErr::GetNextErrorAsString(), QString("-4,Undefined header;GHZ"));
    QCOMPARE(window->Model().channels[0]->stimulus.start, start);
}

void TestScpiSessions::opcWithNothingToWaitForAnswersAtOnce()
{
    QByteArray held, noDevice, sameLine;
    window->triggerSweepModeChanged(0, VNASweepMode::Hold);
    RunClients({[&]
                {
                    LineClient c;
                    if (c.Connect(port))
                    {
                        held = c.Query("*OPC?");
                    }
                }});
    QCOMPARE(held, QByteArray("1"));

    // Without a device no sweep can end: the wait would never finish, so there is none.
    window->DisconnectDevice();
    QVERIFY(!window->Model().MeasRunning());
    RunClients({[&]
                {
                    LineClient c;
                    if (c.Connect(port))
                    {
                        c.Send(":INIT1:IMM\n");
                        noDevice = c.Query("*OPC?");
                        sameLine = c.Query(":INIT:IMM;*OPC?;*IDN?");
                    }
                }});
    QCOMPARE(noDevice, QByteArray("1"));
    QCOMPARE(sameLine, QByteArray("1;Kestrix,,"));
}

void TestScpiSessions::opcEndsWhenTheDeviceGoes()
{
    LongSweep();
    std::atomic<bool> waiting{false};
    std::atomic<bool> disconnected{false};
    std::atomic<bool> done{false};
    QByteArray identity, opc;
    std::thread client(
        [&]
        {
            LineClient c;
            if (c.Connect(port))
            {
                identity = c.Query(":INIT1:IMM;*OPC?;*IDN?");
                waiting = true;
                WaitFor(disconnected);
                c.ReadLine(opc, 30000);
            }
            waiting = true;
            done = true;
        });
    QVERIFY(QTest::qWaitFor([&] { return waiting.load(); }, 30000));
    // The operator disconnects while the client waits on *OPC?.
    const bool pending = window->SCPIOperationPending();
    window->DisconnectDevice();
    disconnected = true;
    QVERIFY(QTest::qWaitFor([&] { return done.load(); }, 30000));
    client.join();
    QVERIFY2(IsIdentity(identity), identity.constData());
    QVERIFY(pending);
    QCOMPARE(opc, QByteArray("1"));
}

void TestScpiSessions::closingWhileAClientWaits()
{
    LongSweep();
    std::atomic<bool> waiting{false};
    std::atomic<bool> closed{false};
    bool sawClose = false;
    QByteArray identity;
    std::thread client(
        [&]
        {
            LineClient c;
            if (c.Connect(port))
            {
                identity = c.Query(":INIT1:IMM;*OPC?;*IDN?");
                waiting = true;
                WaitFor(closed);
                sawClose = c.PeerClosed(30000);
            }
            waiting = true;
        });
    QVERIFY(QTest::qWaitFor([&] { return waiting.load(); }, 30000));
    window->close();
    delete window;
    window = nullptr;
    closed = true;
    client.join();
    QVERIFY2(IsIdentity(identity), identity.constData());
    QVERIFY(sawClose);
}

void TestScpiSessions::nestedEventLoopInsideACommand()
{
    // Some commands run an event loop of their own while they work (connecting a device, a
    // message box). Meanwhile the client sends more and leaves, and another client arrives.
    Preferences::Get().scpiLogEnabled = true;
    std::atomic<bool> aGone{false};
    std::atomic<bool> bSent{false};
    std::atomic<bool> inNested{false};
    bool nested = false;
    QMetaObject::Connection hook = connect(
        window->ScpiLog(), &ScpiLogDialog::listChanged, this,
        [&]
        {
            if (nested)
            {
                return;
            }
            nested = true;
            inNested = true;
            QEventLoop loop;
            while (!bSent.load())
            {
                loop.processEvents(QEventLoop::AllEvents, 5);
            }
            // Let the second client's bytes arrive while the command is still on the stack.
            for (int i = 0; i < 20; ++i)
            {
                loop.processEvents(QEventLoop::AllEvents, 5);
            }
        },
        Qt::DirectConnection);
    QByteArray identity;
    RunClients({[&]
                {
                    LineClient a;
                    if (a.Connect(port))
                    {
                        a.Send(":SYST:ERR:COUN?\n");
                        WaitFor(inNested);
                        a.Send(":SYST:VER?\n");
                        a.Abort();
                    }
                    aGone = true;
                },
                [&]
                {
                    WaitFor(aGone);
                    LineClient b;
                    if (b.Connect(port))
                    {
                        b.Send("*IDN?\n");
                        bSent = true;
                        b.ReadLine(identity);
                    }
                    bSent = true;
                }});
    disconnect(hook);
    Preferences::Get().scpiLogEnabled = false;
    QVERIFY(nested);
    QVERIFY2(IsIdentity(identity), identity.constData());
    // The first client's second command was never run: it went with the client.
    QCoreApplication::processEvents();
    for (const ScpiLogMessage& m : window->ScpiLog()->Shown())
    {
        QVERIFY2(!m.text.contains(QLatin1String("VER?")), qPrintable(m.text));
    }
}

QTEST_MAIN(TestScpiSessions)
#include "test_scpi_sessions.moc"
