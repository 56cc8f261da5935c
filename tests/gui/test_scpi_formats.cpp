// Binary data replies and the status registers through a real TCP client: blocks decoded
// against the ASCII replies and against the program's own data, event bits after errors,
// *CLS, and *OPC and *WAI around a single sweep.
#include <QLoggingCategory>
#include <QMutexLocker>
#include <QTcpSocket>
#include <QtTest>
#include <cstdio>
#include <cstring>

#include "error_log.h"
#include "mainwindow.h"
#include "test_fixtures.h"
#include "vna_lib.h"

namespace
{
// A remote client driven from the test thread, which keeps the window's loop running while it
// waits. Waits end on state; the limits only keep a broken program from hanging the run.
class Client
{
public:
    bool Connect(quint16 port)
    {
        socket.connectToHost(QHostAddress::LocalHost, port);
        return Pump([&] { return socket.state() == QAbstractSocket::ConnectedState; });
    }
    void Send(const QByteArray& line) { socket.write(line + "\n"); }
    QByteArray Query(const QByteArray& line)
    {
        Send(line);
        return ReadLine();
    }
    QByteArray ReadLine()
    {
        if (!Pump([&] { return socket.canReadLine(); }))
        {
            return QByteArray("<no reply>");
        }
        return socket.readLine().chopped(1);
    }
    // Reads exactly n bytes.
    QByteArray Read(int n)
    {
        if (!Pump([&] { return socket.bytesAvailable() >= n; }))
        {
            return QByteArray();
        }
        return socket.read(n);
    }
    // A block reply, header and all, without the line feed that ends the line.
    QByteArray QueryBlock(const QByteArray& line)
    {
        Send(line);
        QByteArray head = Read(2);
        if (head.size() != 2 || head[0] != '#')
        {
            return head;
        }
        const QByteArray digits = Read(head[1] - '0');
        const QByteArray bytes = Read(digits.toInt());
        const QByteArray end = Read(1);
        return end == "\n" ? head + digits + bytes : QByteArray("<bad end>");
    }
    template <typename Ready>
    static bool Pump(Ready ready)
    {
        for (int i = 0; i < 2000000 && !ready(); ++i)
        {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        }
        return ready();
    }
    QTcpSocket socket;
};

// Decodes a block of IEEE floats of the given width, assembling each value byte by byte.
QVector<double> Decode(const QByteArray& block, int width, bool littleEndian)
{
    QVector<double> values;
    const int digits = block.size() > 1 ? block[1] - '0' : 0;
    const int length = block.mid(2, digits).toInt();
    const QByteArray bytes = block.mid(2 + digits);
    if (bytes.size() != length || length % width != 0)
    {
        return {-12345.0};  // never a whole decode
    }
    for (int i = 0; i < length; i += width)
    {
        quint64 bits = 0;
        for (int b = 0; b < width; ++b)
        {
            bits = (bits << 8) | uchar(bytes[i + (littleEndian ? width - 1 - b : b)]);
        }
        if (width == 8)
        {
            double d;
            std::memcpy(&d, &bits, 8);
            values.append(d);
        }
        else
        {
            const quint32 w = quint32(bits);
            float f;
            std::memcpy(&f, &w, 4);
            values.append(double(f));
        }
    }
    return values;
}

QList<QByteArray> Fields(const QByteArray& reply)
{
    return reply.isEmpty() ? QList<QByteArray>() : reply.split(',');
}

bool SameBits(double a, double b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}
}  // namespace

class TestScpiFormats : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void formatCommandsAndTheirErrors();
    void blocksCarryTheAsciiNumbers();
    void eventBitsAfterErrorsAndClear();
    void operationCompleteAndWait();

private:
    // Checks one data query in every format against its ASCII reply and returns the REAL,64
    // values. ASCII fields hold ten digits (or the shortest exact form for single values), so
    // the doubles are compared with the ASCII text formatted the same way; exact bits are
    // compared against the program's data by the callers.
    QVector<double> CheckQuery(const QByteArray& query, bool singleValue);

    VnaLib none;
    MainWindow* window = nullptr;
    Client client;
    QByteArray blocksSeen;
};

void TestScpiFormats::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    testfx::IsolateUserFiles();
    Preferences::Get().scpiPort = 0;
    Preferences::Get().scpiLockoutDialogEnabled = false;
    Hidden::Set(true);
}

void TestScpiFormats::init()
{
    window = new MainWindow(nullptr, &none);
    QVERIFY(window->Model().device.ConnectDemo());
    window->quickSetupFull2Port(true);
    QVERIFY(window->Model().MeasRunning());
    QVERIFY(client.Connect(window->SCPIServerPort()));
    SysErr::ClearErrors();
}

void TestScpiFormats::cleanup()
{
    client.socket.abort();
    window->close();
    delete window;
    window = nullptr;
}

void TestScpiFormats::formatCommandsAndTheirErrors()
{
    QCOMPARE(client.Query(":FORM?;:FORM:BORD?"), QByteArray("ascii;normal"));
    client.Send(":FORM:DATA REAL,32;:FORM:BORD SWAP");
    QCOMPARE(client.Query(":FORM:DATA?;:FORMAT:BORDER?"), QByteArray("real,32;swapped"));
    client.Send(":FORMAT REAL;:FORM:BORD NORMAL");
    QCOMPARE(client.Query(":FORM?;:FORM:BORD?"), QByteArray("real,64;normal"));
    client.Send(":FORM ASC,0");
    QCOMPARE(client.Query(":FORM?"), QByteArray("ascii"));
    QCOMPARE(client.Query(":SYST:ERR:COUN?"), QByteArray("0"));
    // Bad words and lengths change nothing and queue -2.
    client.Send(":FORM REAL,16;:FORM BIN;:FORM:BORD BIG;:FORM");
    QCOMPARE(client.Query(":FORM?;:FORM:BORD?"), QByteArray("ascii;normal"));
    QCOMPARE(client.Query(":SYST:ERR:NEXT?"),
             QByteArray("-2,Invalid parameter;Expected data format"));
    QCOMPARE(client.Query(":SYST:ERR:NEXT?"),
             QByteArray("-2,Invalid parameter;Expected data format"));
    QCOMPARE(client.Query(":SYST:ERR:NEXT?"),
             QByteArray("-2,Invalid parameter;Expected byte order"));
    QCOMPARE(client.Query(":SYST:ERR:NEXT?"),
             QByteArray("-3,Too few parameters;Expected parameter"));
    // The format belongs to the client: the next one starts in ASCII.
    client.Send(":FORM REAL,64");
    QCOMPARE(client.Query(":FORM?"), QByteArray("real,64"));
    client.socket.abort();
    QVERIFY(Client::Pump([&] { return window->SCPIServerPort() != 0; }));
    QVERIFY(client.Connect(window->SCPIServerPort()));
    QCOMPARE(client.Query(":FORM?;*TST?"), QByteArray("ascii;0"));
}

QVector<double> TestScpiFormats::CheckQuery(const QByteArray& query, bool singleValue)
{
    client.Send(":FORM ASC");
    const QList<QByteArray> ascii = Fields(client.Query(query));
    client.Send(":FORM REAL,64;:FORM:BORD NORM");
    const QByteArray normal = client.QueryBlock(query);
    const QVector<double> values = Decode(normal, 8, false);
    blocksSeen += normal;
    if (values.size() != ascii.size())
    {
        qWarning() << query << values.size() << "values," << ascii.size() << "fields";
        return {};
    }
    for (int i = 0; i < values.size(); ++i)
    {
        // Vectors print with printf's ten digits; single values print exactly.
        char text[40];
        std::snprintf(text, sizeof text, "%.10g", values[i]);
        const bool same =
            singleValue ? SameBits(ascii[i].toDouble(), values[i]) : ascii[i] == QByteArray(text);
        if (!same)
        {
            qWarning() << query << i << ascii[i] << text;
            return {};
        }
    }
    // Swapped: the same bits, each value's bytes reversed.
    client.Send(":FORM:BORD SWAP");
    const QVector<double> swapped = Decode(client.QueryBlock(query), 8, true);
    for (int i = 0; i < values.size(); ++i)
    {
        if (i >= swapped.size() || !SameBits(values[i], swapped[i]))
        {
            qWarning() << query << "swapped differs at" << i;
            return {};
        }
    }
    // REAL,32 in both orders: the floats nearest the doubles.
    for (bool little : {false, true})
    {
        client.Send(little ? ":FORM REAL,32;:FORM:BORD SWAP" : ":FORM REAL,32;:FORM:BORD NORM");
        const QVector<double> floats = Decode(client.QueryBlock(query), 4, little);
        for (int i = 0; i < values.size(); ++i)
        {
            if (i >= floats.size() || floats[i] != double(float(values[i])))
            {
                qWarning() << query << "float differs at" << i;
                return {};
            }
        }
    }
    client.Send(":FORM ASC;:FORM:BORD NORM");
    return values;
}

void TestScpiFormats::blocksCarryTheAsciiNumbers()
{
    VNAModel& model = window->Model();
    // Odd values so the doubles need all their digits; one sweep, then the channel holds.
    client.Send(":SENS1:SWE:POIN 333;:SENS1:FREQ:STAR 123.456789MHz;:SENS1:FREQ:STOP 7.77GHz");
    client.Send(":CALC1:MEAS2:MARK1:STAT ON;:CALC1:MEAS2:MARK1:X 1.23456789GHz");
    client.Send(":CALC1:MEAS2:MARK1:BWID:STAT ON;:CALC1:MEAS4:FORM SMIT");
    QCOMPARE(client.Query(":INIT1:IMM;*OPC?"), QByteArray("1"));
    QCOMPARE(client.Query(":SYST:ERR:COUN?"), QByteArray("0"));
    QCOMPARE(model.channels[0]->sweepMode.GetMode(), VNASweepMode::Hold);

    const QVector<double> x = CheckQuery(":CALC1:MEAS2:DATA:X?", false);
    const QVector<double> fdata = CheckQuery(":CALC1:MEAS2:DATA:FDATA?", false);
    const QVector<double> smith = CheckQuery(":CALC1:MEAS4:DATA:FDATA?", false);
    const QVector<double> sdata = CheckQuery(":CALC1:MEAS2:DATA:SDATA?", false);
    const QVector<double> rdata = CheckQuery(":CALC1:MEAS2:DATA:RDATA?", false);
    const QVector<double> rcvr = CheckQuery(":CALC1:MEAS2:DATA:RCVR? b2fwd", false);
    const QVector<double> markerX = CheckQuery(":CALC1:MEAS2:MARK1:X?", true);
    const QVector<double> markerY = CheckQuery(":CALC1:MEAS2:MARK1:Y?", true);
    const QVector<double> bw = CheckQuery(":CALC1:MEAS2:MARK1:BWID:DATA?", true);
    QCOMPARE(x.size(), 333);
    QCOMPARE(fdata.size(), 333);
    QCOMPARE(smith.size(), 666);
    QCOMPARE(sdata.size(), 666);
    QCOMPARE(rdata.size(), 666);
    QCOMPARE(rcvr.size(), 666);
    QCOMPARE(bw.size(), 4);
    // The blocks carried NUL and line-feed bytes and still arrived whole.
    QVERIFY(blocksSeen.contains('\0'));
    QVERIFY(blocksSeen.contains('\n'));

    // Second route, bit for bit: the program's own vectors.
    const int t2 = model.mapper.GetPos(0, 1);
    const int t4 = model.mapper.GetPos(0, 3);
    QMutexLocker lock(&model.traceLock);
    const VNAChannel& ch = *model.channels[0];
    const QVector<double> freq = ch.stimulus.GetFreqVector();
    const CplxVector s21 = ch.MeasCal.GetSParam(model.traces[t2]->meas);
    const CplxVector raw = ch.RawSParam(model.traces[t2]->meas);
    CplxVector b2;
    QVERIFY(ch.RawReceiver(QStringLiteral("b2fwd"), b2));
    for (int i = 0; i < 333; ++i)
    {
        QVERIFY(SameBits(x[i], freq[i]));
        QVERIFY(SameBits(fdata[i], model.traces[t2]->y[i]));
        QVERIFY(SameBits(smith[2 * i], model.traces[t4]->x[i]));
        QVERIFY(SameBits(smith[2 * i + 1], model.traces[t4]->y[i]));
        QVERIFY(SameBits(sdata[2 * i], s21[i].real()) && SameBits(sdata[2 * i + 1], s21[i].imag()));
        QVERIFY(SameBits(rdata[2 * i], raw[i].real()) && SameBits(rdata[2 * i + 1], raw[i].imag()));
        QVERIFY(SameBits(rcvr[2 * i], b2[i].real()) && SameBits(rcvr[2 * i + 1], b2[i].imag()));
    }
    const VNATrace& trace = *model.traces[t2];
    QCOMPARE(bw, (QVector<double>{trace.bwFound ? 1.0 : 0.0, trace.bwLowFreq, trace.bwHighFreq,
                                  trace.bwPeakValue}));
    lock.unlock();
    VNAMarker marker;
    QVERIFY(model.GetMarkerCopy(t2, 0, marker));
    QVERIFY(SameBits(markerX[0], marker.x) && SameBits(markerY[0], marker.y));

    // A block inside a compound line, followed by the other replies; scalars stay text.
    client.Send(":FORM REAL,64");
    client.Send(":CALC1:MEAS2:MARK1:X?;*IDN?;:SENS1:SWE:POIN?");
    const QByteArray head = client.Read(3);
    QCOMPARE(head, QByteArray("#18"));
    QVERIFY(SameBits(Decode(head + client.Read(8), 8, false).value(0), marker.x));
    QCOMPARE(client.ReadLine(), QByteArray(";Kestrix,NVX400,20000001,3;333"));
    // An unknown receiver queues its error and answers an empty block.
    QCOMPARE(client.QueryBlock(":CALC1:MEAS2:DATA:RCVR? c3"), QByteArray("#10"));
    QCOMPARE(client.Query(":SYST:ERR:NEXT?"),
             QByteArray("-2,Invalid parameter;Expected receiver parameter"));
}

void TestScpiFormats::eventBitsAfterErrorsAndClear()
{
    QCOMPARE(client.Query("*ESR?;*ESE?;*SRE?;*STB?"), QByteArray("0;0;0;0"));
    client.Send("*ESE 60;*SRE 255");
    QCOMPARE(client.Query("*ESE?;*SRE?"), QByteArray("60;191"));
    client.Send("*ESE 256;*SRE -1;*ESE");
    QCOMPARE(client.Query("*ESE?;*SRE?"), QByteArray("60;191"));
    QCOMPARE(client.Query(":SYST:ERR:COUN?"), QByteArray("3"));
    // Both out-of-range masks and the missing parameter are command errors.
    QCOMPARE(client.Query("*ESR?"), QByteArray("32"));
    QCOMPARE(client.Query("*ESR?"), QByteArray("0"));
    client.Send(":SYST:ERR:CLEA");

    // Execution errors: a channel that does not exist, an operation without a calibration.
    client.Send(":SENS9:AVER:STAT?;:SENS1:CORR:CSET:ETER? edf");
    const int esr = client.Query("*ESR?").toInt();
    QCOMPARE(esr, 16);
    // Queue not empty, an enabled event pending, and both asking for service.
    client.Send(":NO:SUCH:HEADER");
    const int events = 32;
    const int expected = 4 | ((events & 60) ? 32 : 0);
    QCOMPARE(client.Query("*STB?").toInt(), expected | ((expected & 191) ? 64 : 0));
    QCOMPARE(client.Query(":SYST:ERR:COUN?"), QByteArray("3"));
    // *CLS: queue and event register empty, the masks kept.
    client.Send("*CLS");
    QCOMPARE(client.Query(":SYST:ERR:COUN?;*ESR?;*STB?;*ESE?;*SRE?"), QByteArray("0;0;0;60;191"));
    // With nothing enabled, an error still shows in the queue bit alone.
    client.Send("*ESE 0;*SRE 0;:NO:SUCH");
    QCOMPARE(client.Query("*STB?"), QByteArray("4"));
    QCOMPARE(client.Query("*ESR?;*STB?"), QByteArray("32;4"));
    // An error of a data query in a REAL format also sets its bit.
    client.Send("*CLS;:FORM REAL,64;:CALC1:MEAS9:DATA:X?");
    QCOMPARE(client.Query("*ESR?"), QByteArray("16"));
}

void TestScpiFormats::operationCompleteAndWait()
{
    // Nothing pending: *OPC completes at once, *WAI holds nothing.
    QCOMPARE(client.Query("*OPC;*ESR?"), QByteArray("1"));
    QCOMPARE(client.Query("*WAI;*IDN?"), QByteArray("Kestrix,NVX400,20000001,3"));

    // A sweep long enough to be still running when the next reply is written.
    window->stimPointsChanged(0, 4001);
    window->triggerSweepModeChanged(0, VNASweepMode::Hold);
    client.Send("*ESE 1;*SRE 32");
    QCOMPARE(client.Query(":INIT1:IMM;*OPC;:SENS1:SWE:MODE?"), QByteArray("single"));
    // Poll the status byte until the sweep has ended; the event is seen only once it has.
    int stb = 0;
    for (int i = 0; i < 200000 && (stb & 64) == 0; ++i)
    {
        stb = client.Query("*STB?").toInt();
        QVERIFY(stb == 0 || stb == (32 | 64));
        if (stb != 0)
        {
            QVERIFY(!window->SCPIOperationPending());
        }
    }
    QCOMPARE(stb, 32 | 64);
    QCOMPARE(window->Model().channels[0]->sweepMode.GetMode(), VNASweepMode::Hold);
    QCOMPARE(client.Query("*ESR?;*STB?"), QByteArray("1;0"));

    // *CLS cancels a pending *OPC.
    QCOMPARE(client.Query(":INIT1:IMM;*OPC;*CLS;:SENS1:SWE:MODE?"), QByteArray("single"));
    QCOMPARE(client.Query("*WAI;*ESR?"), QByteArray("0"));

    // *WAI: the commands behind it, on its line and on later lines, run once the sweep ends.
    client.Send("*IDN?;:INIT1:IMM;*WAI;:SENS1:SWE:MODE?");
    client.Send("*OPC;*ESR?");
    QCOMPARE(client.ReadLine(), QByteArray("Kestrix,NVX400,20000001,3;;;hold"));
    QCOMPARE(client.ReadLine(), QByteArray("1"));
    QCOMPARE(client.Query(":SYST:ERR:COUN?"), QByteArray("0"));
}

QTEST_MAIN(TestScpiFormats)
#include "test_scpi_formats.moc"
