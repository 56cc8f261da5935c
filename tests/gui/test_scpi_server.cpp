#include <QElapsedTimer>
#include <QMutexLocker>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

#include "error_log.h"
#include "mainwindow.h"
#include "scpi_log.h"
#include "test_fixtures.h"
#include "vna_lib.h"

// A remote client on loopback, driven from the test thread: the window's event loop runs
// while it waits, as the server lives on the same thread.
class Client
{
public:
    bool Connect(quint16 port, const QHostAddress& host = QHostAddress::LocalHost)
    {
        socket.connectToHost(host, port);
        return Pump([&] { return socket.state() == QAbstractSocket::ConnectedState; }, 3000);
    }
    void Send(const QByteArray& bytes) { socket.write(bytes); }
    QByteArray Query(const QByteArray& line, int timeoutMs = 10000)
    {
        Send(line + "\n");
        if (!Pump([&] { return socket.canReadLine(); }, timeoutMs))
        {
            return QByteArray("<no reply>");
        }
        return socket.readLine().trimmed();
    }
    template <typename Ready>
    static bool Pump(Ready ready, int timeoutMs)
    {
        QElapsedTimer t;
        t.start();
        while (!ready())
        {
            if (t.elapsed() > timeoutMs)
            {
                return false;
            }
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        }
        return true;
    }
    QTcpSocket socket;
};

class TestScpiServer : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void loopbackOnlyAndOneClient();
    void identityErrorsAndCompoundLines();
    void stimulusThroughPanelsOperations();
    void measurementsAndData();
    void singleSweepAndOpc();
    void errorQueueAndLog();
    void garbageNeverCrashes();

private:
    VnaLib none;
    MainWindow* window = nullptr;
    Client client;
    quint16 port = 0;
};

void TestScpiServer::initTestCase()
{
    testfx::IsolateUserFiles();
    // Any free port, which the server keeps for the session: a program running beside the tests
    // does not interfere.
    Preferences::Get().scpiPort = 0;
    Preferences::Get().scpiLockoutDialogEnabled = false;
    Hidden::Set(true);
}

void TestScpiServer::init()
{
    window = new MainWindow(nullptr, &none);
    QVERIFY(window->Model().device.ConnectDemo());
    window->quickSetupFull2Port(true);
    QVERIFY(window->Model().MeasRunning());
    port = window->SCPIServerPort();
    QVERIFY(port != 0);
    QVERIFY(client.Connect(port));
    SysErr::ClearErrors();
}

void TestScpiServer::cleanup()
{
    client.socket.abort();
    window->close();
    delete window;
    window = nullptr;
}

void TestScpiServer::loopbackOnlyAndOneClient()
{
    QVERIFY(client.Query("*IDN?").startsWith("Kestrix,"));
    // While one client is connected nobody else gets in.
    Client second;
    QVERIFY(!second.Connect(port));
    // After the first leaves, the server listens again.
    client.socket.disconnectFromHost();
    QVERIFY(Client::Pump([&] { return window->SCPIServerPort() != 0; }, 3000));
    Client third;
    QVERIFY(third.Connect(window->SCPIServerPort()));
    QVERIFY(third.Query("*IDN?").startsWith("Kestrix,"));
    third.socket.disconnectFromHost();
    QVERIFY(Client::Pump([&] { return window->SCPIServerPort() != 0; }, 3000));
    // The port taken at start is kept for the session.
    QCOMPARE(window->SCPIServerPort(), port);

    // Bound to the loopback address only, as the listening socket itself reports, and as the
    // kernel lists it: no listener on that port has another local address.
    QCOMPARE(window->SCPIServerAddress(), QHostAddress(QHostAddress::LocalHost));
    const QString portHex = QStringLiteral(":%1").arg(port, 4, 16, QLatin1Char('0')).toUpper();
    QStringList listeners;
    for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"})
    {
        QFile f(QString::fromLatin1(table));
        QVERIFY(f.open(QIODevice::ReadOnly));
        for (const QByteArray& line : f.readAll().split('\n'))
        {
            const QList<QByteArray> fields = line.simplified().split(' ');
            // local address, remote address, state: 0A is LISTEN
            if (fields.size() > 3 && fields[1].endsWith(portHex.toLatin1()) && fields[3] == "0A")
            {
                listeners.append(QString::fromLatin1(fields[1]));
            }
        }
    }
    QCOMPARE(listeners, QStringList{QStringLiteral("0100007F") + portHex});
}

void TestScpiServer::identityErrorsAndCompoundLines()
{
    QCOMPARE(client.Query("*IDN?"), QByteArray("Kestrix,NVX400,20000001,3"));
    QCOMPARE(client.Query(":SYST:ERR:NEXT?"), QByteArray("0,No Error;"));
    QCOMPARE(client.Query(":SYSTEM:VERSION?"), QByteArray("1.0.14"));
    // A setter and a query in one line, with a relative second header.
    const QList<QByteArray> both =
        client.Query(":SENS1:FREQ:STAR 1.5GHz;STOP 2.5e9;:SENS1:FREQ:STAR?;STOP?").split(';');
    QCOMPARE(both.size(), 2);
    QCOMPARE(both[0].toDouble(), 1.5e9);
    QCOMPARE(both[1].toDouble(), 2.5e9);
    client.Send(":NO:SUCH:COMMAND\n");
    QCOMPARE(client.Query(":SYST:ERR:COUN?"), QByteArray("1"));
    QVERIFY(client.Query(":SYST:ERR:NEXT?").startsWith("-4,Undefined header;"));
    // A query on a channel suffix beyond the eight gives no reply and error -7.
    client.Send(":SENS9:AVER:STAT?\n");
    QCOMPARE(client.Query(":SYST:ERR:NEXT?"),
             QByteArray("-7,Unknown error;Invalid channel number"));
}

void TestScpiServer::stimulusThroughPanelsOperations()
{
    VNAStimulus& s = window->Model().channels[0]->stimulus;
    client.Send(":SENS:FREQ:STAR 50 GHz\n");
    QCOMPARE(client.Query(":SENS:FREQ:STAR?").toDouble(), 40e9);  // clamped as by hand
    QCOMPARE(s.stop, 40e9);
    client.Send(":SENS1:BAND 1khz\n");
    QCOMPARE(client.Query(":SENS1:BWID?").toDouble(), 1000.0);
    client.Send(":SENS1:SWE:POIN 11;:SENS1:FREQ:STAR 1e9;:SENS1:FREQ:STOP 2e9\n");
    QCOMPARE(client.Query(":SENS1:FREQ:STEP?").toDouble(), 1e8);
    client.Send(":SENS1:FREQ:SPAN:FULL\n");
    QCOMPARE(client.Query(":SENS1:FREQ:SPAN?").toDouble(), 39.96e9);
    QCOMPARE(client.Query(":SOUR1:POW:MODE?"), QByteArray("high"));
    client.Send(":INIT1:CONT OFF\n");  // the parameter is not read: continuous all the same
    QCOMPARE(client.Query(":INIT1:CONT?"), QByteArray("1"));
    QCOMPARE(client.Query(":CONF:CHAN:CAT?"), QByteArray("1"));
    QTemporaryDir dir;
    const QString image = dir.filePath("shot.png");
    client.Send(":SYST:IMAG:SAV \"" + image.toUtf8() + "\"\n");
    QCOMPARE(client.Query(":SYST:ERR:COUN?"), QByteArray("0"));
    QVERIFY(QImage(image).width() > 100);
    client.Send(":DISP:WIND5:STAT ON;:DISP:WIND5:TITL:DATA Filter\n");
    QCOMPARE(client.Query(":DISP:CAT?"), QByteArray("1,5"));
    QCOMPARE(client.Query(":DISP:WIND5:TITL:DATA?"), QByteArray("Filter"));
    client.Send(":DISP:WIND5:STAT OFF\n");
    QCOMPARE(client.Query(":DISP:WIND5:STAT?"), QByteArray("0"));
    client.Send(":CONF:CHAN3:STAT ON\n");
    QCOMPARE(client.Query(":CONF:CHAN:CAT?"), QByteArray("1,3"));
    QCOMPARE(client.Query(":TRIG:SCOP?"), QByteArray("active"));
    QCOMPARE(client.Query(":SYST:ERR:COUN?"), QByteArray("0"));
}

void TestScpiServer::measurementsAndData()
{
    QCOMPARE(client.Query(":CALC1:MEAS:CAT?"), QByteArray("1,2,3,4"));
    QCOMPARE(client.Query(":CALC1:MEAS2:PAR?"), QByteArray("s21"));
    client.Send(":CALC1:MEAS2:FORM SWR\n");
    QCOMPARE(client.Query(":CALC1:MEAS2:FORM?"), QByteArray("swr"));
    client.Send(":CALC1:MEAS2:FORM MLOG\n");
    // Let a few sweeps land, then read the data of S21.
    const uint64_t start = window->Model().SweepsStarted();
    QVERIFY(Client::Pump([&] { return window->Model().SweepsStarted() > start + 1; }, 10000));
    const QList<QByteArray> x = client.Query(":CALC1:MEAS2:DATA:X?").split(',');
    const QList<QByteArray> f = client.Query(":CALC1:MEAS2:DATA:FDATA?").split(',');
    const QList<QByteArray> sd = client.Query(":CALC1:MEAS2:DATA:SDATA?").split(',');
    QCOMPARE(x.size(), 201);
    QCOMPARE(f.size(), 201);
    QCOMPARE(sd.size(), 402);
    // The formatted value is the dB of the complex value at the same point.
    for (int i : {0, 100, 200})
    {
        const std::complex<double> v(sd[2 * i].toDouble(), sd[2 * i + 1].toDouble());
        QVERIFY(std::fabs(f[i].toDouble() - 10 * std::log10(std::norm(v))) < 1e-6);
    }
    client.Send(":CALC1:MEAS7:DEF\n");
    QCOMPARE(client.Query(":CALC1:MEAS:CAT?"), QByteArray("1,2,3,4,7"));
    client.Send(":CALC1:MEAS7:DEF\n");
    QCOMPARE(client.Query(":SYST:ERR:NEXT?"),
             QByteArray("-7,Unknown error;Measurement number already defined"));
    client.Send(":CALC1:MEAS7:DEL\n");
    QCOMPARE(client.Query(":CALC1:MEAS:CAT?"), QByteArray("1,2,3,4"));
    client.Send(":CALC1:MEAS1:DATA:RCVR? bogus\n");
    QVERIFY(client.Query(":SYST:ERR:NEXT?").startsWith("-2,"));
    // Scale, offsets and statistics reach the trace; the statistics follow the data.
    client.Send(":CALC1:MEAS2:Y:SCAL:RLEV -7;:CALC1:MEAS2:Y:SCAL:DIV 2.5\n");
    client.Send(":CALC1:MEAS2:Y:SCAL:RPOS 4;:CALC1:MEAS2:OFFS:MAGN 1.5\n");
    QCOMPARE(client.Query(":CALC1:MEAS2:Y:SCAL:RLEV?;:CALC1:MEAS2:Y:SCAL:DIV?;"
                          ":CALC1:MEAS2:Y:SCAL:RPOS?"),
             QByteArray("-7;2.5;4"));
    // A relative header keeps the keywords but not their suffixes: no measure, no reply.
    QCOMPARE(client.Query(":CALC1:MEAS2:Y:SCAL:RLEV?;DIV?"), QByteArray("-7;"));
    QCOMPARE(client.Query(":SYST:ERR:NEXT?"),
             QByteArray("-7,Unknown error;Missing measure suffix"));
    client.Send(":CALC1:MEAS2:STAT:STAT ON\n");
    QVERIFY(Client::Pump([&] { return window->Model().SweepsStarted() > start + 3; }, 10000));
    const QList<QByteArray> y = client.Query(":CALC1:MEAS2:DATA:FDATA?").split(',');
    const double maxReply = client.Query(":CALC1:MEAS2:STAT:DATA? max").toDouble();
    double maxData = -1e300;
    for (const QByteArray& v : y)
    {
        maxData = std::max(maxData, v.toDouble());
    }
    QVERIFY(std::fabs(maxReply - maxData) < 1e-6);
    client.Send(":CALC1:MEAS2:OFFS:MAGN 0\n");
    client.Send(":CALC1:MEAS1:CORR:EDEL 2.5ns\n");
    QCOMPARE(client.Query(":CALC1:MEAS1:CORR:EDEL?").toDouble(), 2.5e-9);
}

void TestScpiServer::singleSweepAndOpc()
{
    // *OPC? answers only when the single sweep has finished; the channel then holds.
    QCOMPARE(client.Query(":INIT1:IMM;*OPC?"), QByteArray("1"));
    QCOMPARE(window->Model().channels[0]->sweepMode.GetMode(), VNASweepMode::Hold);
    QCOMPARE(client.Query(":SENS1:SWE:MODE?"), QByteArray("hold"));
    QCOMPARE(client.Query(":INIT1:CONT?"), QByteArray("0"));
}

void TestScpiServer::errorQueueAndLog()
{
    Preferences& prefs = Preferences::Get();
    prefs.scpiLogEnabled = true;
    prefs.scpiLogMaxEntries = 4;
    prefs.scpiLogIsFIFO = true;
    QByteArray many;
    for (int i = 0; i < 101; ++i)
    {
        many += ":BAD" + QByteArray::number(i) + "\n";
    }
    client.Send(many);
    QCOMPARE(client.Query(":SYST:ERR:COUN?"), QByteArray("100"));
    ScpiLogDialog* log = window->ScpiLog();
    QVERIFY(Client::Pump(
        [&]
        {
            QCoreApplication::processEvents();
            return log->Total() == 4;
        },
        3000));
    QCOMPARE(log->Shown().last().text, QString("100"));
    QVERIFY(log->Shown().last().isReply);
    QCOMPARE(log->Commands() + log->Responses(), 4);
    prefs.scpiLogIsFIFO = false;
    client.Query("*IDN?");
    QCoreApplication::processEvents();
    QCOMPARE(log->Total(), 4);  // full without the ring: new lines vanish
    QCOMPARE(log->Shown().last().text, QString("100"));
    prefs.scpiLogEnabled = false;
    log->updateEnabledIndicator();
    QCOMPARE(log->IndicatorText(), QString("Disabled"));
}

void TestScpiServer::garbageNeverCrashes()
{
    QRandomGenerator rng(77);
    QByteArray noise(64 * 1024, '\0');
    for (char& c : noise)
    {
        c = char(rng.bounded(256));
    }
    client.Send(noise + "\n");
    client.Send(QByteArray(1024 * 1024, 'A'));  // a megabyte with no line feed
    client.Send("\n");
    // What follows a NUL byte in the same read is dropped; what precedes it is served.
    client.Send(QByteArray("*IDN?\n\0:SYST:ERR:CLE\n", 21));
    QVERIFY(Client::Pump(
        [&]
        { return client.socket.canReadLine() && client.socket.readLine().startsWith("Kestrix"); },
        10000));
    QByteArray flood;
    for (int i = 0; i < 1000; ++i)
    {
        flood += ":SENS1:FREQ:STAR?;:CALC1:MEAS1:FORM?\n";
    }
    client.Send(flood);
    // Every reply of the flood arrives, and the program still answers afterwards.
    int replies = 0;
    QVERIFY(Client::Pump(
        [&]
        {
            while (client.socket.canReadLine())
            {
                replies += client.socket.readLine().contains("mlog") ? 1 : 0;
            }
            return replies == 1000;
        },
        120000));
    QCOMPARE(client.Query("*IDN?"), QByteArray("Kestrix,NVX400,20000001,3"));
}

QTEST_MAIN(TestScpiServer)
#include "test_scpi_server.moc"
