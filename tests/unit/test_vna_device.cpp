#include <QElapsedTimer>
#include <QtTest>
#include <cmath>

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

    VnaLib none;
    VNADevice dev(&none);
    QVERIFY(dev.ConnectDemo());
    VNAStimulus s = testfx::Stimulus(1e9, 2e9, 201);
    QVERIFY(dev.Configure(s, true, true, true, true, false, false));
    const int T = VNADevice::DemoSweepTime(201);
    SParametersRaw r;
    r.Resize(201);
    QElapsedTimer clock;
    clock.start();
    dev.StartSweep(r);
    // All data is in place at once; only the reported position moves.
    QVERIFY(r.S22[200] != std::complex<double>(0, 0));
    int fwd = 0, rev = 0;
    double percent = 0;
    int lastFwd = 0, lastRev = 0;
    bool sawForwardPhase = false;
    while (percent < 100.0)
    {
        dev.GetSweepUpdate(fwd, rev, percent);
        const qint64 elapsed = clock.elapsed() + 2;
        // The position never runs ahead of the modelled rate, and never goes back.
        if (rev == 0)
        {
            sawForwardPhase = true;
            QVERIFY(fwd <= elapsed * 201 / T);
        }
        else
        {
            QCOMPARE(fwd, 201);
            QVERIFY(rev <= (elapsed - T) * 201 / T + 1);
        }
        QVERIFY(fwd >= lastFwd && (rev >= lastRev || rev == 0));
        QCOMPARE(percent, (fwd / 201.0 * 0.5 + rev / 201.0 * 0.5) * 100.0);
        lastFwd = fwd;
        lastRev = rev;
        QTest::qSleep(5);
    }
    QVERIFY(sawForwardPhase);
    QVERIFY(clock.elapsed() + 2 >= 2 * T);  // both phases are timed
    dev.FinishSweep();

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
