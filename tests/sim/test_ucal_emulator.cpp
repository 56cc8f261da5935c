// The uCal driver against the live emulator on a pseudo-terminal: connecting, switching,
// temperature, the factory blocks read and parsed equal to what the emulator holds, the kit they
// make, every fault mode, the session thread; and the emulator telling the instrument simulator
// what each port sees, so that a one-port electronic calibration through both recovers a device.
#include <QtTest>
#include <atomic>
#include <thread>

#include "cal_fixtures.h"
#include "maury_ucal.h"
#include "maury_ucal_session.h"
#include "test_fixtures.h"
#include "ucal_fixtures.h"
#include "vna_device.h"
#include "vna_lib.h"
#include "vna_sim.h"

using cplx = std::complex<double>;

namespace
{
// Noise off, the instrument obeys its model exactly: what is left is rounding.
constexpr double kExact = 1e-9;
// Faults are found by timeouts; a short one keeps the test quick. One fault keeps the default.
constexpr int kShortTimeoutMs = 300;
const QStringList kSmall{"--points", "21", "--model", "MT982B01-35-MF", "--serial", "4711"};

QString Emulator()
{
    return QStringLiteral(UCAL_EMULATOR);
}

cplx SceneAt(double f, int k)
{
    double s[8];
    vnaSimSceneS(f, s);
    return {s[2 * k], s[2 * k + 1]};
}

bool Scene(const char* line)
{
    return vnaSimCommand(line, nullptr, 0) == 0;
}

// A sweep as the measurement loop takes it, noise off.
SParametersRaw Sweep(VNADevice& dev, const VNAStimulus& stim)
{
    dev.Configure(stim, true, true, true, true, false, false);
    SParametersRaw r;
    r.Resize(stim.points);
    dev.GetSweep(r);
    return r;
}
}  // namespace

class TestUCalEmulator : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        testfx::IsolateUserFiles();
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    }
    void connectSwitchAndTemperature();
    void factoryBlocksAreWhatTheEmulatorHolds();
    void faultsFailAndTheModuleRecovers_data();
    void faultsFailAndTheModuleRecovers();
    void silentModuleTimesOut();
    void abortEndsWaits();
    void sessionKeepsTheModuleOnItsThread();
    void oneSidedCalibrationThroughBothSimulators();
};

void TestUCalEmulator::connectSwitchAndTemperature()
{
    testfx::UCalEmulator emu(Emulator());
    QVERIFY(emu.Start(kSmall + QStringList{"--temp", "26.5"}));
    MauryUCal m(UCalPortInfo::Named(emu.PortName()));
    QCOMPARE(m.GetTemp(), 0.0);  // not connected
    QVERIFY(!m.SetState(MauryUCal::Open));
    QVERIFY(m.Connect());
    QVERIFY(m.IsConnected());
    QCOMPARE(m.Model(), QStringLiteral("MT982B01-35-MF"));
    QCOMPARE(m.SerialNumber(), QStringLiteral("4711"));
    QCOMPARE(m.Manufacturer(), QStringLiteral("Maury Microwave"));
    QCOMPARE(m.GetDisplayName(), QStringLiteral("Maury Microwave - MT982B01-35-MF SN:4711"));
    QCOMPARE(m.GetConnectorType(), Conn3_5mm);
    // Connecting leaves the module in Short, by the module's own account too.
    QCOMPARE(m.GetState(), MauryUCal::Short);
    QString answer;
    QVERIFY(emu.Control(QStringLiteral("state?"), &answer));
    QCOMPARE(answer, QStringLiteral("11"));
    QVERIFY(m.Connect());  // already connected

    for (MauryUCal::State s : {MauryUCal::Thru, MauryUCal::Open, MauryUCal::Load, MauryUCal::Short})
    {
        QVERIFY(m.SetState(s));
        QCOMPARE(m.GetState(), s);
        QCOMPARE(m.ReadSwitchState(), UCalStateText(s));
        QVERIFY(emu.Control(QStringLiteral("state?"), &answer));
        QCOMPARE(answer.toLatin1() + '\n', UCalStateText(s));
    }

    QCOMPARE(m.GetTemp(), 26.5);
    QVERIFY(m.TempInRange());
    QVERIFY(emu.Control(QStringLiteral("temp 35.25")));
    QCOMPARE(m.GetTemp(), 35.25);
    QVERIFY(!m.TempInRange());

    m.Disconnect();
    QVERIFY(!m.IsConnected() && !m.isOpen());
    QCOMPARE(m.ReadSwitchState(), QByteArray());
    QVERIFY(m.Connect());  // the port can be taken again
}

void TestUCalEmulator::factoryBlocksAreWhatTheEmulatorHolds()
{
    testfx::UCalEmulator emu(Emulator());
    QVERIFY(emu.Start(kSmall));
    MauryUCal m(UCalPortInfo::Named(emu.PortName()));
    QVERIFY(!m.ReadFactoryCalibration());  // not connected
    QVERIFY(m.Connect());
    QVERIFY(!m.HasReadFactoryCalibration());
    QVERIFY(m.ReadFactoryCalibration());
    QVERIFY(m.HasReadFactoryCalibration());

    // Binary blocks over the line and the emulator's full-precision text files: the same doubles.
    UCalDataSets held;
    QVERIFY(emu.ReadDataSets(held));
    for (int i = 0; i < kUCalSetCount; ++i)
    {
        QCOMPARE(m.GetCalFreqs(i), held.freqs[i]);
        QCOMPARE(m.GetCalData(i).S11, held.data[i].S11);
        QCOMPARE(m.GetCalData(i).S21, held.data[i].S21);
        QCOMPARE(m.GetCalData(i).S12, held.data[i].S12);
        QCOMPARE(m.GetCalData(i).S22, held.data[i].S22);
    }
    QCOMPARE(m.GetCalFreqs(7), QVector<double>());

    // Read once: a module that has gone quiet since still has its data.
    QVERIFY(emu.Control(QStringLiteral("fault silent")));
    QVERIFY(m.ReadFactoryCalibration());

    const VNACalKit kit = MauryExtractFactoryCalKit(m);
    QVERIFY(kit.IsUCalModule() && kit.UseFactoryCharacterization());
    QCOMPARE(kit.CalKitName, m.Model());
    QCOMPARE(kit.Description, QStringLiteral("Maury Microwave MT982B01-35-MF SN:4711"));
    QCOMPARE(kit.Standards.size(), kUCalSetCount);
    for (const CalKitStandardInfo& s : kit.Standards)
    {
        const int set = s.ID - 1;
        QCOMPARE(s.DataFreqs, held.freqs[set]);
        QCOMPARE(s.DataS11, held.data[set].S11);
        QCOMPARE(s.FMax, held.freqs[set].last());
        // Port A is male, port B female ("MF"); the thru takes port A's.
        QCOMPARE(s.Gender, s.UCalPort == 0 ? VNAMale : VNAFemale);
    }
    QVERIFY(kit.CanPerformSOLT());
}

void TestUCalEmulator::faultsFailAndTheModuleRecovers_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("stage");  // what fails: connect, switch or blocks
    const QPair<const char*, QStringList> stages[] = {
        {"connect", {"garble", "babble", "short-id"}},
        {"switch", {"nak", "bad-state"}},
        {"blocks",
         {"x-header", "zero-count", "short-block", "bad-block", "truncated-block", "glued"}}};
    for (const auto& stage : stages)
    {
        for (const QString& fault : stage.second)
        {
            QTest::newRow(qPrintable(fault)) << fault << QString::fromLatin1(stage.first);
        }
    }
}

void TestUCalEmulator::faultsFailAndTheModuleRecovers()
{
    QFETCH(QString, fault);
    QFETCH(QString, stage);
    testfx::UCalEmulator emu(Emulator());
    QVERIFY(emu.Start(kSmall));
    MauryUCal m(UCalPortInfo::Named(emu.PortName()));
    m.SetTimeout(kShortTimeoutMs);
    if (stage != QLatin1String("connect"))
    {
        QVERIFY(m.Connect());
    }
    QVERIFY(emu.Control("fault " + fault));
    if (stage == QLatin1String("connect"))
    {
        QVERIFY(!m.Connect());
        QVERIFY(!m.IsConnected() && !m.isOpen());  // a failed connection closes the port
    }
    else if (stage == QLatin1String("switch"))
    {
        QVERIFY(!m.SetState(MauryUCal::Open));
        QCOMPARE(m.GetState(), MauryUCal::Short);  // the known state stays
    }
    else
    {
        QVERIFY(!m.ReadFactoryCalibration());
        QVERIFY(!m.HasReadFactoryCalibration());
    }
    // The control line is answered once the emulator has sent all it was sending.
    QVERIFY(emu.Control(QStringLiteral("fault none")));
    m.SetTimeout(MauryUCal::kTimeoutMs);
    QVERIFY(m.Connect());
    QVERIFY(m.SetState(MauryUCal::Open));
    QVERIFY(m.ReadFactoryCalibration());
}

// The design's timeout, unchanged: a module that never answers fails the connection.
void TestUCalEmulator::silentModuleTimesOut()
{
    testfx::UCalEmulator emu(Emulator());
    QVERIFY(emu.Start(kSmall + QStringList{"--fault", "silent"}));
    MauryUCal m(UCalPortInfo::Named(emu.PortName()));
    QVERIFY(!m.Connect());
    QVERIFY(!m.isOpen());
    QVERIFY(emu.Control(QStringLiteral("fault none")));
    QVERIFY(m.Connect());
}

// A healthy module: only the abort request can make these fail.
void TestUCalEmulator::abortEndsWaits()
{
    testfx::UCalEmulator emu(Emulator());
    QVERIFY(emu.Start(kSmall));
    MauryUCal m(UCalPortInfo::Named(emu.PortName()));
    QVERIFY(m.Connect());
    m.RequestAbort();
    QVERIFY(!m.SetState(MauryUCal::Load));
    QVERIFY(!m.ReadFactoryCalibration());
    m.ClearAbort();
    QVERIFY(m.SetState(MauryUCal::Load));
}

void TestUCalEmulator::sessionKeepsTheModuleOnItsThread()
{
    testfx::UCalEmulator emu(Emulator());
    QVERIFY(emu.Start(kSmall));
    auto session = std::make_unique<MauryUCalSession>(UCalPortInfo::Named(emu.PortName()));
    QObject context;
    std::atomic<bool> jobOffMain{false};
    bool done = false, doneOnMain = false;
    MauryUCalStatus status;
    QThread* mainThread = QThread::currentThread();
    session->Post<MauryUCalStatus>(
        [&](MauryUCal& m)
        {
            jobOffMain =
                QThread::currentThread() != mainThread && m.thread() == QThread::currentThread();
            m.Connect();
            return SnapshotOf(m);
        },
        &context,
        [&](const MauryUCalStatus& s)
        {
            status = s;
            doneOnMain = QThread::currentThread() == mainThread;
            done = true;
        });
    QTRY_VERIFY_WITH_TIMEOUT(done, 20000);
    QVERIFY(jobOffMain && doneOnMain);
    QVERIFY(status.connected);
    QCOMPARE(status.identity.serialNumber, QStringLiteral("4711"));
    QCOMPARE(status.portName, emu.PortName());

    // A calibration thread runs a job and waits for it.
    bool switched = false;
    std::thread worker(
        [&] {
            switched = session->Run<bool>([](MauryUCal& m) { return m.SetState(MauryUCal::Thru); });
        });
    worker.join();
    QVERIFY(switched);
    QString answer;
    QVERIFY(emu.Control(QStringLiteral("state?"), &answer));
    QCOMPARE(answer, QStringLiteral("4"));

    // Jobs still queued when the session closes never report; nothing is left running.
    bool late = false;
    for (int i = 0; i < 3; ++i)
    {
        session->Post<bool>([](MauryUCal& m) { return m.ReadFactoryCalibration(); }, &context,
                            [&](const bool&) { late = true; });
    }
    session.reset();
    QCoreApplication::processEvents();
    QVERIFY(!late);
    // The port was closed with the session: a new driver can take it, once the emulator has sent
    // whatever block it was sending (it answers control lines only then).
    QVERIFY(emu.Control(QStringLiteral("state?"), &answer));
    MauryUCal again(UCalPortInfo::Named(emu.PortName()));
    QVERIFY(again.Connect());
}

// The emulator tells the simulator what its ports see; an SOL calibration of port 1 with the
// module's factory standards then corrects a device to rounding.
void TestUCalEmulator::oneSidedCalibrationThroughBothSimulators()
{
    VnaLib lib;
    QVERIFY2(lib.Load(QStringLiteral(VNA_SIM_LIBRARY)), qPrintable(lib.LoadError()));
    vnaSimReset();
    vnaSimSetNoise(0);
    vnaSimSetServerPort(0);
    VNADevice dev(&lib);
    QVERIFY(dev.Connect());
    const int scenePort = vnaSimServerPort();
    QVERIFY(scenePort > 0);

    testfx::UCalEmulator emu(Emulator());
    QVERIFY(
        emu.Start({"--points", "201", "--baud", "0", "--scene-port", QString::number(scenePort)}));
    MauryUCal m(UCalPortInfo::Named(emu.PortName()));
    QVERIFY(m.Connect() && m.ReadFactoryCalibration());
    const VNACalKit kit = MauryExtractFactoryCalKit(m);

    VNAStimulus stim = testfx::Stimulus(40e6, 39.94e9, 101);
    stim.ifbw = 100000.0;
    const QVector<double> f = stim.GetFreqVector();
    testfx::CalSweeps sweeps;
    const MauryUCal::State states[3] = {MauryUCal::Short, MauryUCal::Open, MauryUCal::Load};
    for (int r = 0; r < 3; ++r)
    {
        QVERIFY(m.SetState(states[r]));
        // What the instrument's port 1 sees is port A's standard, the factory data interpolated.
        for (double fq : {f[0], f[37], f[100]})
        {
            QCOMPARE(SceneAt(fq, 0), InterpolateArray(m.GetCalFreqs(r), m.GetCalData(r).S11, fq));
        }
        sweeps.reflect[0][r] = Sweep(dev, stim);
    }
    // Port A's standards carry the IDs the one-port fill expects (1, 2, 3).
    VNACalibration cal = testfx::FillCalibration(SOL, 0, kit, stim, sweeps);
    cal.BuildCorrections(stim);
    QVERIFY(cal.CorrectionsReady());

    QVERIFY(Scene("connect port 1 kit open delay 31 loss 2.5 c0 40 c1 -300"));
    const SParameters out = cal.ApplyCorrections(Sweep(dev, stim), false);
    double worst = 0.0;
    for (int i = 0; i < f.size(); ++i)
    {
        worst = std::max(worst, std::abs(out.S11[i] - SceneAt(f[i], 0)));
    }
    qInfo("ECal SOL port 1: worst corrected reflection error %.3g", worst);
    QVERIFY2(worst < kExact, qPrintable(QString::number(worst)));

    // Crossed: port B on the instrument's port 1, and the thru turned round.
    QVERIFY(emu.Control(QStringLiteral("map BA")));
    QVERIFY(m.SetState(MauryUCal::Short));
    QCOMPARE(SceneAt(f[50], 0), InterpolateArray(m.GetCalFreqs(3), m.GetCalData(3).S11, f[50]));
    QCOMPARE(SceneAt(f[50], 3), InterpolateArray(m.GetCalFreqs(0), m.GetCalData(0).S11, f[50]));
    QVERIFY(m.SetState(MauryUCal::Thru));
    const SParameters& thru = m.GetCalData(6);
    QCOMPARE(SceneAt(f[50], 0), InterpolateArray(m.GetCalFreqs(6), thru.S22, f[50]));
    QCOMPARE(SceneAt(f[50], 1), InterpolateArray(m.GetCalFreqs(6), thru.S12, f[50]));
    dev.Disconnect();
}

QTEST_GUILESS_MAIN(TestUCalEmulator)
#include "test_ucal_emulator.moc"
