#include <QtTest>
#include <atomic>
#include <cmath>
#include <thread>

#include "test_fixtures.h"
#include "touchstone.h"
#include "vna_device.h"
#include "vna_lib.h"

class TestVNADevice : public QObject
{
    Q_OBJECT
private slots:
    void withoutLibrary();
    void demoIdentity();
    void demoDataResampled();
    void demoTimingModel();
    void sweepUpdateTable();
};

void TestVNADevice::withoutLibrary()
{
    VnaLib none;
    QVERIFY(!none.Load("/nonexistent/libvna_api.so"));
    QVERIFY(!none.Available());
    VNADevice dev(&none);
    QVERIFY(!dev.Connect());
    QVERIFY(!dev.Connect(20000001));
    QVERIFY(!dev.ConnectWithHandle(3));
    QVERIFY(dev.GetDeviceList().empty());
    QCOMPARE(dev.GetSerialNumber(), 0);
    QCOMPARE(dev.GetFirmwareVersion(), 0);
    QVERIFY(!dev.Configure(VNAStimulus(), true, true, true, true, false, false));
    dev.SetReference(VNAReferenceExternal);  // must not call through a null pointer
    SParametersRaw r;
    dev.GetSweep(r);
    QCOMPARE(r.Size(), VNAStimulus().points);
    QVERIFY(dev.Disconnect());
}

void TestVNADevice::demoIdentity()
{
    VnaLib none;
    VNADevice dev(&none);
    QVERIFY(dev.ConnectDemo());
    QVERIFY(dev.IsDemoMode());
    QCOMPARE(dev.GetSerialNumber(), 20000001);
    QCOMPARE(dev.GetFirmwareVersion(), 3);
    QCOMPARE(dev.GetDeviceName(), QString("NVX400"));
    double p = 1, t = 1, third = 1;
    unsigned fourth = 77;
    dev.GetDiagnostics(p, t, third, fourth);
    QCOMPARE(p + t + third, 0.0);
    QCOMPARE(fourth, 77u);  // left alone in demo mode
    QVERIFY(dev.Disconnect());
    QVERIFY(!dev.Connected());
    QVERIFY(!dev.IsDemoMode());
    QVERIFY(dev.ConnectDemo());  // loads the file again
}

void TestVNADevice::demoDataResampled()
{
    VnaLib none;
    VNADevice dev(&none);
    QVERIFY(dev.ConnectDemo());
    QVector<double> f;
    SParameters file;
    QString error;
    QVERIFY(LoadS2PFile(":/resources/demo_bandpass.s2p", false, f, file, error));

    // 10 MHz lies below the file's first point: the first point's values are played.
    VNAStimulus s = testfx::Stimulus(10e6, 5e9, 101);
    QVERIFY(dev.Configure(s, true, true, false, true, false, false));
    SParametersRaw r;
    dev.GetSweep(r);
    QCOMPARE(r.positionEnd, 101);
    QCOMPARE(r.S11[0], file.S11[0]);
    QCOMPARE(r.S11HDR[50], r.S11[50]);
    const double f50 = 50 * s.StepSize() + s.start;
    QCOMPARE(r.S21[50], InterpolateArray(f, file.S21, f50));
    // Reverse is off: its buffers are left untouched.
    QCOMPARE(r.S12[50], std::complex<double>(0, 0));
    QCOMPARE(r.a1Fwd[50], std::complex<double>(0, 0));  // receivers stay zero in demo mode

    QVERIFY(dev.Configure(s, true, false, true, true, false, false));
    SParametersRaw rev = dev.GetSweep();
    QCOMPARE(rev.positionEnd, 0);
    QCOMPARE(rev.S22[100], InterpolateArray(f, file.S22, s.stop));
    QCOMPARE(rev.S11[100], std::complex<double>(0, 0));
}

void TestVNADevice::demoTimingModel()
{
    QCOMPARE(VNADevice::DemoSweepTime(201), 70);
    QCOMPARE(VNADevice::DemoSweepTime(2), 0);
    QCOMPARE(VNADevice::DemoSweepTime(64001), int(64001 * 70.0 / 201.0));

    // The demo's clock is stepped by hand: positions follow from the time alone.
    VnaLib none;
    VNADevice dev(&none);
    std::atomic<int64_t> now{5000};
    dev.SetDemoClock([&] { return now.load(); });
    QVERIFY(dev.ConnectDemo());
    VNAStimulus s = testfx::Stimulus(1e9, 2e9, 201);
    QVERIFY(dev.Configure(s, true, true, true, true, false, false));
    const int T = VNADevice::DemoSweepTime(201);
    SParametersRaw r;
    r.Resize(201);
    dev.StartSweep(r);
    // All data is in place at once; only the reported position moves.
    QVERIFY(r.S22[200] != std::complex<double>(0, 0));
    int fwd = 0, rev = 0;
    double percent = 0;
    auto expect = [&](int wantFwd, int wantRev)
    {
        dev.GetSweepUpdate(fwd, rev, percent);
        QCOMPARE(fwd, wantFwd);
        QCOMPARE(rev, wantRev);
        QCOMPARE(percent, (wantFwd / 201.0 * 0.5 + wantRev / 201.0 * 0.5) * 100.0);
    };
    // The forward phase: 201 points in T milliseconds, truncated.
    for (int t : {0, 1, 34, 69})
    {
        now = 5000 + t;
        expect(int(double(t) / T * 201), 0);
    }
    now = 5000 + T;
    expect(201, 0);  // the forward phase ends here, and the reverse phase starts now
    now += 35;
    expect(201, int(35.0 / T * 201));
    now += T;  // the clock runs past the end: the position stops at the last point
    expect(201, 201);
    dev.FinishSweep();  // nothing left to wait for

    // Finishing in the forward phase waits out both phases on the demo's clock.
    const int64_t begin = now;
    dev.StartSweep(r);
    dev.SetDemoClock([&] { return now += 5; });  // 5 ms pass at each reading
    dev.FinishSweep();
    QVERIFY(now - begin >= 2 * T);
    now = begin + 3 * T;
    dev.SetDemoClock([&] { return now.load(); });
    expect(201, 201);  // both phases were waited out: the sweep reads complete

    // A wait that would never end on a stopped clock gives way to an interruption from another
    // thread, and leaves the sweep where it was.
    VNAStimulus big = testfx::Stimulus(1e9, 2e9, 64001);
    QVERIFY(dev.Configure(big, true, true, false, true, false, false));
    SParametersRaw b;
    b.Resize(64001);
    dev.StartSweep(b);
    now += 1000;
    dev.GetSweepUpdate(fwd, rev, percent);
    const int reached = fwd;
    QVERIFY(reached > 0 && reached < 64001);
    std::thread finisher([&] { dev.FinishSweep(); });
    dev.InterruptWaits();
    finisher.join();
    dev.GetSweepUpdate(fwd, rev, percent);
    QCOMPARE(fwd, reached);
    // One or two points: zero sweep time, the position never advances.
    VNAStimulus two = testfx::Stimulus(1e9, 2e9, 2);
    QVERIFY(dev.Configure(two, true, true, false, true, false, false));
    dev.StartSweep(r);
    dev.GetSweepUpdate(fwd, rev, percent);
    QCOMPARE(fwd, 0);
    QCOMPARE(rev, 2);  // reverse is off, so it counts as complete
}

void TestVNADevice::sweepUpdateTable()
{
    VnaLib none;
    VNADevice dev(&none);
    QVERIFY(dev.ConnectDemo());
    VNAStimulus s = testfx::Stimulus(1e9, 2e9, 201);
    SParametersRaw r;
    r.Resize(201);
    int fwd = -1, rev = -1;
    double percent = -1;

    QVERIFY(dev.Configure(s, true, false, false, true, false, false));
    dev.StartSweep(r);
    dev.GetSweepUpdate(fwd, rev, percent);
    QCOMPARE(fwd, 201);
    QCOMPARE(rev, 201);
    QCOMPARE(percent, 100.0);

    QVERIFY(dev.Configure(s, true, false, true, true, false, false));
    dev.StartSweep(r);
    dev.GetSweepUpdate(fwd, rev, percent);
    QCOMPARE(fwd, 201);
    QCOMPARE(percent, rev / 201.0 * 100.0);

    QVERIFY(dev.Configure(s, true, true, false, true, false, false));
    dev.StartSweep(r);
    dev.GetSweepUpdate(fwd, rev, percent);
    QCOMPARE(rev, 201);
    QCOMPARE(percent, fwd / 201.0 * 100.0);
}

QTEST_GUILESS_MAIN(TestVNADevice)
#include "test_vna_device.moc"
