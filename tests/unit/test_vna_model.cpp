#include <QMutexLocker>
#include <QtTest>
#include <atomic>

#include "cal_fixtures.h"
#include "error_log.h"
#include "preferences.h"
#include "test_fixtures.h"
#include "vna_lib.h"
#include "vna_model.h"

using cplx = std::complex<double>;

class TestVNAModel : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void averagingWeights();
    void partialAveraging();
    void mapper();
    void portsFromTraces();
    void loopSweepsAndSingleFallsBackToHold();
    void holdMakesNoDeviceCall();
    void reconfigurationAbortsSingleSweep();
    void stopEndsTheDemoWait();
    void settingsChangedWhileTheLoopRuns();
    void noDeviceNoLoop();
    void errorQueue();

private:
    static void AddTrace(VNAModel& m, int channel, VNATraceMeas meas)
    {
        QMutexLocker lock(&m.traceLock);
        int index = 0;
        VNATrace* t = m.InternalCreateTrace(index);
        t->SetChannel(channel);
        t->SetMeas(meas);
        m.mapper.SetPos(channel, m.mapper.GetNextAvailablePos(channel), index);
    }
    VnaLib none;
};

static SParametersRaw Constant(int n, cplx v)
{
    SParametersRaw r;
    r.Resize(n);
    for (int k = 0; k < SParametersRaw::kRatioCount; ++k)
    {
        r.Vector(k).fill(v);
    }
    r.positionStart = 0;
    r.positionEnd = n;
    return r;
}

void TestVNAModel::averagingWeights()
{
    VNAChannel ch(0);
    ch.stimulus.points = 4;
    ch.stimulus.avgEnabled = true;
    ch.stimulus.avgCount = 10;
    ch.MeasAvg.Resize(4);
    // Feed sweeps of value k; a cumulative mean first, then an exponential filter of weight 1/10.
    double expected = 0.0;
    for (int k = 1; k <= 12; ++k)
    {
        const double w = 1.0 / std::min(10.0, double(k));
        expected = k * w + expected * (1.0 - w);
        ch.PerformAveraging(Constant(4, cplx(k, -k)));
        QVERIFY(std::fabs(ch.MeasAvg.S21HDR[3].real() - expected) < 1e-12);
        QVERIFY(std::fabs(ch.MeasAvg.S21HDR[3].imag() + expected) < 1e-12);
    }
    QCOMPARE(ch.avgCurrent, 10);  // saturates at the count
    QCOMPARE(ch.avgPosition, 0);
    // The raw record is the last sweep itself.
    QCOMPARE(ch.RawSParam(S21), CplxVector(4, cplx(12, -12)));
    // Receivers are not averaged: they are taken as each sweep brings them.
    for (double k : {1.0, 2.0})
    {
        SParametersRaw u = Constant(4, cplx(k, 0));
        u.b2Rev.fill(cplx(0, k));
        ch.PerformAveraging(u);
        QCOMPARE(ch.MeasAvg.b2Rev, CplxVector(4, cplx(0, k)));
        CplxVector rx;
        QVERIFY(ch.RawReceiver("b2rev", rx));
        QCOMPARE(rx, CplxVector(4, cplx(0, k)));
    }

    ch.ClearAveraging();
    ch.PerformAveraging(Constant(4, cplx(7, 0)));  // the first sweep after a clear replaces
    QCOMPARE(ch.MeasAvg.S11[0], cplx(7, 0));

    ch.stimulus.avgCount = 1;
    ch.PerformAveraging(Constant(4, cplx(3, 0)));
    QCOMPARE(ch.MeasAvg.S11[2], cplx(3, 0));

    ch.stimulus.avgEnabled = false;  // off: the update's points are taken as they are
    SParametersRaw u = Constant(4, cplx(9, 9));
    u.a2Rev[1] = cplx(5, 5);
    u.positionEnd = 2;
    ch.PerformAveraging(u);
    QCOMPARE(ch.MeasAvg.a2Rev[1], cplx(5, 5));
    QCOMPARE(ch.MeasAvg.positionEnd, 2);
}

void TestVNAModel::partialAveraging()
{
    VNAChannel ch(0);
    ch.stimulus.points = 6;
    ch.stimulus.avgEnabled = true;
    ch.stimulus.avgCount = 4;
    ch.MeasAvg.Resize(6);
    SParametersRaw u = Constant(6, cplx(8, 0));
    u.positionEnd = 3;
    ch.PerformAveraging(u);
    QCOMPARE(ch.avgPosition, 3);
    QCOMPARE(ch.MeasAvg.S11[2], cplx(8, 0));
    QCOMPARE(ch.MeasAvg.S11[3], cplx(0, 0));
    // An update whose end does not pass the averaged position changes nothing.
    SParametersRaw again = Constant(6, cplx(100, 0));
    again.positionEnd = 3;
    ch.PerformAveraging(again);
    QCOMPARE(ch.MeasAvg.S11[2], cplx(8, 0));
    QCOMPARE(ch.avgCurrent, 0);
    // Each point is averaged once per sweep, however many partial updates there are.
    again.positionEnd = 6;
    ch.PerformAveraging(again);
    QCOMPARE(ch.MeasAvg.S11[2], cplx(8, 0));
    QCOMPARE(ch.MeasAvg.S11[5], cplx(100, 0));
    QCOMPARE(ch.avgCurrent, 1);
    QCOMPARE(ch.avgPosition, 0);
    // The raw record takes each point once per sweep too, as far as the update reached.
    QCOMPARE(ch.RawSParam(S11), (CplxVector{8, 8, 8, 100, 100, 100}));
}

void TestVNAModel::mapper()
{
    TraceChannelMapper m;
    m.SetPos(2, 3, 7);
    QCOMPARE(m.GetPos(2, 0), -1);
    QCOMPARE(m.GetPos(2, 3), 7);
    QCOMPARE(m.GetPos(2, 9), -1);
    QVERIFY(!m.IsDefined(2, 1));
    QCOMPARE(m.GetNextAvailablePos(2), 0);
    m.SetPos(2, 0, 1);
    m.SetPos(2, 1, 4);
    m.SetPos(2, 2, 5);
    QCOMPARE(m.GetNextAvailablePos(2), 4);
    QCOMPARE(m.GetTracesOnChannel(2), (QVector<int>{1, 4, 5, 7}));
    m.SetPos(5, 0, 4);
    m.Remove(4);  // only the first match, searching channel 0 upwards
    QCOMPARE(m.GetTracesOnChannel(2), (QVector<int>{1, 5, 7}));
    QCOMPARE(m.GetTracesOnChannel(5), (QVector<int>{4}));
    QCOMPARE(m.GetNextAvailablePos(2), 1);  // the hole is filled next
    m.DeleteChannel(2);
    QVERIFY(m.GetTracesOnChannel(2).isEmpty());
    m.Clear();
    QVERIFY(m.GetTracesOnChannel(5).isEmpty());
    QCOMPARE(m.GetTracesOnChannel(-1), QVector<int>());
}

void TestVNAModel::portsFromTraces()
{
    VNAModel model(&none);
    bool fwd = false, rev = true;
    model.channelPortsEnabled(1, fwd, rev);
    QVERIFY(fwd && !rev);  // no trace: still sweeps forward
    AddTrace(model, 1, S22);
    model.channelPortsEnabled(1, fwd, rev);
    QVERIFY(!fwd && rev);
    AddTrace(model, 1, S21);
    model.channelPortsEnabled(1, fwd, rev);
    QVERIFY(fwd && rev);
}

void TestVNAModel::loopSweepsAndSingleFallsBackToHold()
{
    VNAModel model(&none);
    QVERIFY(model.device.ConnectDemo());
    AddTrace(model, 0, S21);
    model.channels[0]->stimulus = testfx::Stimulus(2e9, 3.4e9, 201);
    // Counted on this thread: the signal comes from the loop's thread and is queued here.
    int plots = 0;
    connect(
        &model, &VNAModel::updatePlotsSignal, this, [&] { ++plots; }, Qt::QueuedConnection);
    model.MeasStart();
    QTRY_VERIFY_WITH_TIMEOUT(model.SweepsStarted() >= 2, 10000);
    {
        // The trace shows the band-pass response: its maximum lies in the pass band.
        QMutexLocker lock(&model.traceLock);
        const VNATrace* t = model.traces[0];
        QCOMPARE(t->y.size(), 201);
        const int peak = int(std::max_element(t->y.begin(), t->y.end()) - t->y.begin());
        QVERIFY(std::fabs(t->x[peak] - 2.7e9) < 100e6);
    }
    QTRY_VERIFY_WITH_TIMEOUT(plots > 0, 10000);

    model.SetTriggerMode(0, VNASweepMode::Single);
    QTRY_COMPARE_WITH_TIMEOUT(model.channels[0]->sweepMode.GetMode(), VNASweepMode::Hold, 10000);
    QVERIFY(!model.SingleSweepPending());
    model.MeasStop();
    QVERIFY(!model.MeasRunning());
}

void TestVNAModel::holdMakesNoDeviceCall()
{
    VNAModel model(&none);
    QVERIFY(model.device.ConnectDemo());
    model.channels[0]->sweepMode.SetMode(VNASweepMode::Hold);
    model.MeasStart();
    // Several idle rounds of the loop, counted, not timed.
    const uint64_t rounds = model.RoundsRun();
    QTRY_VERIFY_WITH_TIMEOUT(model.RoundsRun() >= rounds + 5, 10000);
    model.MeasStop();
    QCOMPARE(model.SweepsStarted(), uint64_t(0));
}

void TestVNAModel::reconfigurationAbortsSingleSweep()
{
    VNAModel model(&none);
    QVERIFY(model.device.ConnectDemo());
    AddTrace(model, 0, S11);
    // A sweep of 64001 points takes tens of seconds in the demo's timing model.
    model.channels[0]->stimulus = testfx::Stimulus(1e9, 5e9, 64001);
    model.channels[0]->stimulus.ifbw = 1000.0;
    model.channels[0]->sweepMode.SetMode(VNASweepMode::Single);
    model.MeasStart();
    QTRY_VERIFY_WITH_TIMEOUT(model.SweepsStarted() >= 1, 10000);
    model.RequestReconfigure();
    QTRY_COMPARE_WITH_TIMEOUT(model.channels[0]->sweepMode.GetMode(), VNASweepMode::Hold, 10000);
    model.MeasStop();
    QCOMPARE(model.channels[0]->MeasRaw.positionEnd, 0);
    QCOMPARE(model.SweepsStarted(), uint64_t(1));
}

void TestVNAModel::stopEndsTheDemoWait()
{
    // Forward only: once the forward phase is complete the loop finishes the sweep, and the demo
    // makes it wait for the reverse phase too. On a stopped demo clock that wait never ends by
    // itself; the stop must end it.
    VNAModel model(&none);
    std::atomic<int64_t> now{0};
    model.device.SetDemoClock([&] { return now.load(); });
    QVERIFY(model.device.ConnectDemo());
    AddTrace(model, 0, S11);
    model.channels[0]->stimulus = testfx::Stimulus(1e9, 5e9, 64001);
    std::atomic<int> polls{0};
    std::atomic<bool> complete{false}, finishing{false};
    connect(
        &model, &VNAModel::updateSweepProgressSignal, &model,
        [&](double percent)
        {
            ++polls;
            complete = complete || percent >= 100.0;
        },
        Qt::DirectConnection);
    // The last display of a sweep comes right before the loop finishes it.
    connect(
        &model, &VNAModel::updatePlotsSignal, &model, [&] { finishing = finishing || complete; },
        Qt::DirectConnection);
    model.MeasStart();
    QTRY_VERIFY_WITH_TIMEOUT(polls > 0, 10000);  // the sweep has started on the demo's clock
    now = VNADevice::DemoSweepTime(64001) + 1;
    QTRY_VERIFY_WITH_TIMEOUT(finishing, 10000);
    model.MeasStop();
    QVERIFY(!model.MeasRunning());
    // The sweep was complete before the wait: its data stands.
    QMutexLocker lock(&model.channels[0]->measLock);
    QCOMPARE(model.channels[0]->MeasAvg.positionEnd, 64001);
}

void TestVNAModel::settingsChangedWhileTheLoopRuns()
{
    // The factory correction preference and the trace selection are written by the interface
    // while the loop reads them: each change shows in the next sweep.
    VNAModel model(&none);
    QVERIFY(model.device.ConnectDemo());
    VNAChannel& ch = *model.channels[0];
    ch.stimulus = testfx::Stimulus(1e9, 2e9, 201);
    AddTrace(model, 0, S11);
    AddTrace(model, 0, S21);
    testfx::SyntheticCal sol;
    sol.type = SOL;
    ch.factoryCalibration =
        testfx::MeasureCalibration(sol, testfx::ModelKit(), ch.stimulus,
                                   testfx::ErrorModel::Random(61), testfx::ErrorModel::Random(61));
    Preferences& prefs = Preferences::Get();
    prefs.SetUseFactoryCal(true);
    model.MeasStart();
    auto nextSweeps = [&]
    {
        // The sweep after the one under way began after the change, and has ended.
        const uint64_t now = model.SweepsStarted();
        QTRY_VERIFY_WITH_TIMEOUT(model.SweepsStarted() >= now + 2, 10000);
    };
    nextSweeps();
    for (bool use : {false, true, false})
    {
        prefs.SetUseFactoryCal(use);
        model.SetSelectedTrace(use ? 1 : 0);
        {
            QMutexLocker lock(&model.traceLock);
            QCOMPARE(model.ActiveTrace(), model.traces[use ? 1 : 0]);
        }
        nextSweeps();
        model.MeasStop();
        {
            QMutexLocker lock(&model.traceLock);
            QMutexLocker measLock(&ch.measLock);
            const SParameters expected =
                use ? ch.factoryCalibration.ApplyCorrections(ch.MeasAvg, true)
                    : ch.MeasAvg.ToSParam();
            QCOMPARE(ch.MeasCal.S11, expected.S11);
            QVERIFY(use == (ch.MeasCal.S11 != ch.MeasAvg.S11));
        }
        model.MeasStart();
    }
    model.MeasStop();
    prefs.SetUseFactoryCal(true);
}

void TestVNAModel::noDeviceNoLoop()
{
    VNAModel model(&none);
    model.MeasStart();
    QVERIFY(!model.MeasRunning());
    model.MeasStop();  // allowed when stopped
}

void TestVNAModel::errorQueue()
{
    ErrorLog log;
    for (int i = 1; i <= 101; ++i)
    {
        log.AddError(-i, QString::number(i));
    }
    QCOMPARE(log.ErrorCount(), 100);
    const QList<SystemError> all = log.Snapshot();
    QCOMPARE(all[98].detail, QString("99"));
    QCOMPARE(all[99].detail, QString("101"));  // the oldest 99 and the latest are kept
    SystemError first = log.GetNextError();
    QCOMPARE(first.code, -1);
    QCOMPARE(first.message, QString("Setting clamped"));
    QCOMPARE(log.GetNextError().message, QString("Invalid parameter"));
    QCOMPARE(ErrorLog::MessageFor(-7), QString("Unknown error"));  // -7 and -100 have no text
    QCOMPARE(ErrorLog::MessageFor(-200), QString("Invalid operation"));
    log.Clear();
    const SystemError none = log.GetNextError();
    QCOMPARE(none.code, 0);
    QCOMPARE(none.message, QString("No Error"));

    SysErr::ClearErrors();
    QCOMPARE(SysErr::GetNextErrorAsString(), QString("0,No Error;"));
    SysErr::AddSystemError(-8, "Unknown command line parameter");
    QCOMPARE(SysErr::GetErrorCount(), 1);
    QCOMPARE(SysErr::GetNextErrorAsString(),
             QString("-8,Command line error;Unknown command line parameter"));
}

QTEST_GUILESS_MAIN(TestVNAModel)
#include "test_vna_model.moc"
