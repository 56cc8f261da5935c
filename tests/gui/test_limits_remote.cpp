// Limit and ripple tests driven by a remote client on a simulated band-pass filter: the program
// runs against the instrument simulator, the filter is put between its ports through the scene
// port, and every verdict the client reads is checked against a reference evaluation of the data
// the same client reads back.
#include <QMutexLocker>
#include <QtTest>
#include <algorithm>

#include "error_log.h"
#include "limit_reference.h"
#include "line_client.h"
#include "mainwindow.h"
#include "test_fixtures.h"
#include "vna_lib.h"
#include "vna_sim.h"

using testfx::LineClient;

namespace
{
QVector<double> Numbers(const QByteArray& reply)
{
    QVector<double> v;
    for (const QByteArray& cell : reply.split(','))
    {
        v.append(cell.toDouble());
    }
    return v;
}

QByteArray Num(double v)
{
    return QByteArray::number(v, 'g', 17);
}

// One client's view of trace 1 of channel 1.
struct Session
{
    LineClient c;
    QVector<double> x, y;

    void Send(const QByteArray& rest) { c.Send(":CALC1:MEAS1:" + rest + '\n'); }
    QByteArray Ask(const QByteArray& rest) { return c.Query(":CALC1:MEAS1:" + rest); }
    // Sweeps the stimulus once and reads what the trace holds.
    bool Sweep(const QByteArray& start, const QByteArray& stop)
    {
        c.Send(":SENS1:FREQ:STAR " + start + "\n:SENS1:FREQ:STOP " + stop + '\n');
        if (c.Query(":INIT1:IMM;*OPC?") != "1")
        {
            return false;
        }
        x = Numbers(Ask("DATA:X?"));
        y = Numbers(Ask("DATA:FDATA?"));
        return x.size() == y.size() && x.size() > 10;
    }
    // Sets the table remotely; the reply of FAIL? as a verdict.
    bool Fails(const QVector<VNALimitRange>& table)
    {
        QByteArray params;
        for (const VNALimitRange& r : table)
        {
            params += QByteArray::number(int(r.type)) + ',' + Num(r.startFreq) + ',' +
                      Num(r.stopFreq) + ',' + Num(r.startOffset) + ',' + Num(r.stopOffset) + ',';
        }
        params.chop(1);
        Send("LIM:DATA " + params);
        return Ask("LIM:FAIL?") == "1";
    }
    QByteArray NextError() { return c.Query(":SYST:ERR:NEXT?"); }
};
}  // namespace

class TestLimitsRemote : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void bandEdgeInAndOutOfLimits();
    void rippleAndMalformedData();

private:
    // Connects the client and sets trace 1 to S21 in dB, sweeping single sweeps on request.
    bool Prepare(Session& s);

    VnaLib lib;
    MainWindow* window = nullptr;
    quint16 port = 0;
};

void TestLimitsRemote::initTestCase()
{
    testfx::IsolateUserFiles();
    Preferences::Get().scpiPort = 0;
    Preferences::Get().scpiLockoutDialogEnabled = false;
    Hidden::Set(true);
    vnaSimSetServerPort(0);
    vnaSimSetNoise(0);
    QVERIFY2(lib.Load(QStringLiteral(VNA_SIM_LIBRARY)), qPrintable(lib.LoadError()));
    window = new MainWindow(nullptr, &lib);
    QVERIFY(window->Model().device.Connected());
    QVERIFY(!window->Model().device.IsDemoMode());
    port = window->SCPIServerPort();
    QVERIFY(port != 0);

    // The filter goes between the ports as a test script would put it there.
    const int scenePort = vnaSimServerPort();
    QVERIFY(scenePort > 0);
    QByteArray reply;
    testfx::RunClients({[&]
                        {
                            LineClient scene;
                            if (scene.Connect(quint16(scenePort)))
                            {
                                reply = scene.Query("load dut " VNA_SOURCE_DIR
                                                    "/resources/demo_bandpass.s2p");
                            }
                        }});
    QCOMPARE(reply, QByteArray("ok"));
    SysErr::ClearErrors();
}

void TestLimitsRemote::cleanupTestCase()
{
    window->close();
    delete window;
}

bool TestLimitsRemote::Prepare(Session& s)
{
    if (!s.c.Connect(port))
    {
        return false;
    }
    s.c.Send(":SENS1:SWE:MODE HOLD\n:SENS1:SWE:POIN 81\n");
    s.Send("PAR S21");
    s.Send("FORM MLOG");
    return s.Ask("PAR?") == "s21";
}

void TestLimitsRemote::bandEdgeInAndOutOfLimits()
{
    int passes = 0, fails = 0, checked = 0, stimulusPass = -1, stimulusFail = -1;
    QByteArray flags, offFail, emptied;
    testfx::RunClients(
        {[&]
         {
             Session s;
             if (!Prepare(s) || !s.Sweep("2.3GHZ", "3.1GHZ"))
             {
                 return;
             }
             s.Send("LIM:STAT ON");
             // A floor 6 dB under the pass band, 60 MHz wide, slid from the band's centre across
             // its upper edge: inside the band it holds, past the edge the filter falls through.
             const double peak = *std::max_element(s.y.begin(), s.y.end());
             for (double centre = 2.70e9; centre <= 2.95e9; centre += 25e6)
             {
                 const QVector<VNALimitRange> table{
                     VNALimitRange{LimitMin, centre - 30e6, centre + 30e6, peak - 6, peak - 6}};
                 const bool fail = s.Fails(table);
                 checked += fail == !testfx::RefLimitPass(table, s.x, s.y) ? 1 : 0;
                 (fail ? fails : passes)++;
             }
             flags = s.Ask("LIM:STAT?") + s.Ask("LIM:DISP:STAT?") + s.Ask("LIM:SOUN:STAT?");

             // A floor across the whole band: the sweep inside the band passes; widened over the
             // edges, the same table fails.
             const QVector<VNALimitRange> band{
                 VNALimitRange{LimitMin, 2.5e9, 2.9e9, peak - 6, peak - 6}};
             if (s.Sweep("2.68GHZ", "2.72GHZ"))
             {
                 stimulusPass = s.Fails(band) == !testfx::RefLimitPass(band, s.x, s.y) &&
                                s.Ask("LIM:FAIL?") == "0";
             }
             if (s.Sweep("2.4GHZ", "3GHZ"))
             {
                 stimulusFail = s.Ask("LIM:FAIL?") == "1" && !testfx::RefLimitPass(band, s.x, s.y);
             }
             // The test switched off passes whatever the table; an empty table passes.
             s.Send("LIM:STAT OFF");
             offFail = s.Ask("LIM:FAIL?");
             s.Send("LIM:STAT ON");
             s.Send("LIM:DATA:DEL");
             emptied = s.Ask("LIM:FAIL?");
         }});
    QCOMPARE(checked, passes + fails);
    QVERIFY(passes >= 2);
    QVERIFY(fails >= 2);
    QCOMPARE(flags, QByteArray("110"));
    QCOMPARE(stimulusPass, 1);
    QCOMPARE(stimulusFail, 1);
    QCOMPARE(offFail, QByteArray("0"));
    QCOMPARE(emptied, QByteArray("0"));
    QMutexLocker lock(&window->Model().traceLock);
    QVERIFY(window->Model().traces[window->Model().mapper.GetPos(0, 0)]->limitRanges.isEmpty());
}

void TestLimitsRemote::rippleAndMalformedData()
{
    QByteArray ripplePass, rippleFail, shortGroup, longGroup, afterBad, unknown, unknownError;
    QByteArray badNumber, sound, deleted;
    QVector<VNARippleMeas> ref(1);
    bool refPass = false, refFail = true;
    testfx::RunClients(
        {[&]
         {
             Session s;
             if (!Prepare(s) || !s.Sweep("2.3GHZ", "3.1GHZ"))
             {
                 return;
             }
             // The ripple over the middle of the pass band, then a limit just above and just
             // under it.
             QVector<VNARippleLimitRange> ranges{
                 VNARippleLimitRange{RippleAbsolute, 2.65e9, 2.75e9, 0.0}};
             testfx::RefRipple(ranges, ref, s.x, s.y);
             const double ripple = ref[0].max - ref[0].min;
             s.Send("RLIM:STAT ON");
             ranges[0].maxRipple = ripple * 1.1 + 0.01;
             s.Send("RLIM:DATA 1,2.65e9,2.75e9," + Num(ranges[0].maxRipple));
             ripplePass = s.Ask("RLIM:FAIL?");
             refPass = testfx::RefRipple(ranges, ref, s.x, s.y);
             ranges[0].maxRipple = ripple * 0.9;
             s.Send("RLIM:DATA 2,2.65e9,2.75e9," + Num(ranges[0].maxRipple));
             rippleFail = s.Ask("RLIM:FAIL?");
             refFail = testfx::RefRipple(ranges, ref, s.x, s.y);

             // Parameters that are not whole groups are refused and the table stays.
             s.Send("LIM:STAT ON");
             s.Send("LIM:DATA 1,2.5e9,2.9e9,1000,1000");  // fails everywhere in the range
             s.Send("LIM:DATA 2,2.5e9,2.9e9,-3");
             shortGroup = s.NextError();
             s.Send("RLIM:DATA 1,2.65e9,2.75e9,100,7");
             longGroup = s.NextError();
             afterBad = s.Ask("LIM:FAIL?") + s.Ask("RLIM:FAIL?");
             // Numbers are not checked: text that does not parse reads as 0, and the table is
             // taken (a ceiling under every point fails).
             s.Send("LIM:DATA 2,abc,3.1e9,-1000,-1000");
             badNumber = s.Ask("LIM:FAIL?") + s.NextError();
             // An undefined measurement answers nothing.
             unknown = s.c.Query(":CALC1:MEAS7:LIM:FAIL?;*OPC?");
             unknownError = s.NextError();
             s.Send("LIM:SOUN:STAT ON");
             sound = s.Ask("LIM:SOUN:STAT?") + s.Ask("RLIM:STAT?") + s.Ask("RLIM:DISP:STAT?");
             s.Send("RLIM:DEL");
             // A reply after the delete: the model read below holds its result by then.
             deleted = s.c.Query("*OPC?");
         }});
    QCOMPARE(deleted, QByteArray("1"));
    QVERIFY(refPass && !refFail);
    QCOMPARE(ripplePass, QByteArray("0"));
    QCOMPARE(rippleFail, QByteArray("1"));
    QCOMPARE(
        shortGroup,
        QByteArray("-2,Invalid parameter;Invalid number of parameters, should be multiple of 5"));
    QCOMPARE(
        longGroup,
        QByteArray("-2,Invalid parameter;Invalid number of parameters, should be multiple of 4"));
    QCOMPARE(afterBad, QByteArray("11"));
    QCOMPARE(badNumber, QByteArray("10,No Error;"));
    QCOMPARE(unknown, QByteArray("1"));
    QVERIFY2(unknownError.startsWith("-7,") && unknownError.endsWith(";Invalid measure suffix"),
             unknownError.constData());
    QCOMPARE(sound, QByteArray("111"));

    QMutexLocker lock(&window->Model().traceLock);
    const VNATrace* t = window->Model().traces[window->Model().mapper.GetPos(0, 0)];
    QCOMPARE(t->limitRanges.size(), 1);
    QCOMPARE(t->limitRanges[0].startFreq, 0.0);
    QCOMPARE(t->limitRanges[0].stopFreq, 3.1e9);
    QVERIFY(t->rippleRanges.isEmpty());
}

QTEST_MAIN(TestLimitsRemote)
#include "test_limits_remote.moc"
