// The electronic calibration as the operator runs it: the uCal emulator on its pseudo-terminal
// switches its states and tells the instrument simulator (noise off) what each port sees, the
// window's dialogs are driven offscreen, and the channel's corrected data must then be a
// Touchstone device to rounding. The failure paths must leave the channel's calibration alone.
#include <QFile>
#include <QMutexLocker>
#include <QtTest>
#include <cmath>

#include "application_settings.h"
#include "ecal_dialogs.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "modal_answerer.h"
#include "preferences.h"
#include "sim_fixtures.h"
#include "test_fixtures.h"
#include "ucal_fixtures.h"
#include "vna_lib.h"
#include "vna_sim.h"

using testfx::ModalAnswerer;
using testfx::Scene;

namespace
{
// Noise off, the instrument obeys its model exactly: what is left is rounding.
constexpr double kExact = 1e-9;

double MaxDifference(const CplxVector& a, const CplxVector& b)
{
    if (a.size() != b.size())
    {
        return INFINITY;
    }
    double worst = 0.0;
    for (int i = 0; i < a.size(); ++i)
    {
        worst = std::max(worst, std::abs(a[i] - b[i]));
    }
    return worst;
}

// How the setup dialog is answered.
struct Setup
{
    VNACalType type = SOLT;
    int vnaPort = 0;
    int uCalPort = 0;
};

void Answer(ECalSetupDlg* setup, const Setup& s)
{
    setup->SetCalType(s.type);
    setup->findChild<KXComboBox*>(QStringLiteral("vnaPort"))->SetByData(s.vnaPort);
    setup->findChild<KXComboBox*>(QStringLiteral("uCalPort"))->SetByData(s.uCalPort);
    setup->accept();
}
}  // namespace

class TestECalWorkflow : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanupTestCase();
    void ecalRecoversTheDevice_data();
    void ecalRecoversTheDevice();
    void failuresLeaveTheCalibrationAlone();

private:
    double CorrectedError(VNACalType type, int port);
    VNAChannel& Channel() { return *window->Model().channels[0]; }
    // The channel's calibration as far as a failed attempt could have changed it.
    QString CalState();

    VnaLib lib;
    QTemporaryDir dir;
    testfx::Dut dut;
    testfx::UCalEmulator emu{QStringLiteral(UCAL_EMULATOR)};
    MainWindow* window = nullptr;
    int fileCount = 0;
};

void TestECalWorkflow::initTestCase()
{
    testfx::IsolateUserFiles();
    Preferences::Get().scpiPort = 0;
    Preferences::Get().scpiLockoutDialogEnabled = false;
    QVERIFY2(lib.Load(QStringLiteral(VNA_SIM_LIBRARY)), qPrintable(lib.LoadError()));
    QVERIFY(dir.isValid());
    QVERIFY(testfx::WriteDut(dir, dut));
    vnaSimReset();
    vnaSimSetNoise(0);
    vnaSimSetServerPort(0);
    window = new MainWindow(nullptr, &lib);
    QVERIFY(window->Model().device.Connected());
    const int scenePort = vnaSimServerPort();
    QVERIFY(scenePort > 0);
    QVERIFY(
        emu.Start({"--points", "201", "--baud", "0", "--scene-port", QString::number(scenePort)}));
    window->quickSetupFull2Port(true);
    window->stimStartFreqChanged(0, Frequency(40e6));
    window->stimStopFreqChanged(0, Frequency(39.94e9));
    window->stimPointsChanged(0, 101);
    window->stimIFBWChanged(0, 100000.0);
}

void TestECalWorkflow::init()
{
    // Messages are shown, so the answerer sees them.
    Hidden::Set(false);
    vnaSimSetNoise(0);
    // The module has no isolation state: without crosstalk the two-port model is exact with no
    // isolation measured.
    QVERIFY(Scene(QStringLiteral("crosstalk off")));
    qputenv("VNA_UCAL_PORT", emu.PortName().toLocal8Bit());
    QVERIFY(emu.Control(QStringLiteral("fault none")));
    QVERIFY(emu.Control(QStringLiteral("map AB")));
}

void TestECalWorkflow::cleanupTestCase()
{
    delete window;
    window = nullptr;
}

double TestECalWorkflow::CorrectedError(VNACalType type, int calPort)
{
    if (!Scene("load dut " + dut.path))
    {
        return INFINITY;
    }
    VNAChannel& ch = Channel();
    const uint64_t done = ch.sweepsDone.load();
    if (!QTest::qWaitFor([&] { return ch.sweepsDone.load() >= done + 2; }, 30000))
    {
        return INFINITY;
    }
    const QVector<double> f = testfx::SweepFreqs(ch.stimulus);
    const SParameters expected = testfx::DutAt(dut, f);
    QMutexLocker lock(&window->Model().traceLock);
    if (type == SOL)
    {
        return MaxDifference(calPort == 0 ? ch.MeasCal.S11 : ch.MeasCal.S22,
                             testfx::OnePortThroughDut(expected, f, calPort));
    }
    return testfx::MaxDifference(ch.MeasCal, expected);
}

QString TestECalWorkflow::CalState()
{
    QMutexLocker lock(&window->Model().traceLock);
    const VNACalibration& cal = Channel().calibration;
    return QStringLiteral("%1|%2|%3|%4")
        .arg(cal.CorrectionsLoaded())
        .arg(cal.GetName())
        .arg(cal.GetDate().toString(Qt::ISODateWithMs))
        .arg(int(cal.GetCalType()));
}

void TestECalWorkflow::ecalRecoversTheDevice_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("vnaPort");
    QTest::addColumn<int>("uCalPort");
    QTest::addColumn<bool>("crossed");
    QTest::newRow("SOL port 1, module A") << int(SOL) << 0 << 0 << false;
    QTest::newRow("SOL port 2, module B") << int(SOL) << 1 << 1 << false;
    QTest::newRow("SOL port 1, module B crossed") << int(SOL) << 0 << 1 << true;
    QTest::newRow("SOLT") << int(SOLT) << 0 << 0 << false;
    QTest::newRow("SOLT crossed") << int(SOLT) << 1 << 0 << true;
}

// Setup, the one "Measure" that switches through every standard, the file, and the record in
// the channel; then the device measured through it.
void TestECalWorkflow::ecalRecoversTheDevice()
{
    QFETCH(int, type);
    QFETCH(int, vnaPort);
    QFETCH(int, uCalPort);
    QFETCH(bool, crossed);
    QVERIFY(emu.Control(crossed ? QStringLiteral("map BA") : QStringLiteral("map AB")));
    const QString file = dir.filePath(QStringLiteral("ecal%1.vnacal").arg(++fileCount));
    bool finished = false;
    QString measureTitle;
    {
        ModalAnswerer answer(QMessageBox::Yes);
        answer.QueueFile(file);
        answer.onDialog = [&](QDialog* d)
        {
            if (auto* setup = qobject_cast<ECalSetupDlg*>(d))
            {
                Answer(setup, {VNACalType(type), vnaPort, uCalPort});
            }
            else if (auto* m = qobject_cast<ECalMeasureDlg*>(d))
            {
                measureTitle = m->windowTitle();
                m->measureClicked();
                finished = m->HasFinished();
            }
        };
        window->calStartNewECalibration();
        QVERIFY2(answer.texts.isEmpty(), qPrintable(answer.texts.join('|')));
        QCOMPARE(answer.fileCaptions, QStringList{"Specify Calibration File"});
    }
    QCOMPARE(measureTitle, type == SOL
                               ? QStringLiteral("SOL Electronic Calibration - Measure Standards")
                               : QStringLiteral("SOLT Electronic Calibration - Measure Standards"));
    QVERIFY(finished);
    QVERIFY(QFile::exists(file));
    QVERIFY(!window->CalibrationInProgress());
    {
        QMutexLocker lock(&window->Model().traceLock);
        const VNACalibration& cal = Channel().calibration;
        QVERIFY(cal.CorrectionsLoaded() && cal.CorrectionsReady());
        QCOMPARE(int(cal.GetCalType()), type);
        QVERIFY(cal.GetCalKit().IsUCalModule());
    }
    const double worst = CorrectedError(VNACalType(type), vnaPort);
    qInfo("%s: worst corrected error %.3g", QTest::currentDataTag(), worst);
    QVERIFY2(worst < kExact, qPrintable(QString::number(worst)));
}

// No module, a module that does not answer, one that stops answering mid-way, and the operator
// cancelling: each says so, and the channel keeps the calibration it had.
void TestECalWorkflow::failuresLeaveTheCalibrationAlone()
{
    const QString before = CalState();
    auto attempt = [&](const std::function<void(ECalMeasureDlg*)>& onMeasure, bool& sawMeasure)
    {
        ModalAnswerer answer(QMessageBox::Yes);
        answer.onDialog = [&](QDialog* d)
        {
            if (auto* setup = qobject_cast<ECalSetupDlg*>(d))
            {
                Answer(setup, {SOLT, 0, 0});
            }
            else if (auto* m = qobject_cast<ECalMeasureDlg*>(d))
            {
                sawMeasure = true;
                // From the dialog's own loop: the answerer must be free for the boxes it opens.
                QTimer::singleShot(0, m, [&onMeasure, m] { onMeasure(m); });
            }
        };
        window->calStartNewECalibration();
        return answer.texts;
    };
    bool sawMeasure = false;
    const auto none = [](ECalMeasureDlg*) {};

    qunsetenv("VNA_UCAL_PORT");
    QCOMPARE(attempt(none, sawMeasure),
             QStringList{"Cannot find Maury UCal Module.\nUnable to proceed with calibration."});
    QVERIFY(!sawMeasure);

    qputenv("VNA_UCAL_PORT", emu.PortName().toLocal8Bit());
    QVERIFY(emu.Control(QStringLiteral("fault silent")));
    QCOMPARE(attempt(none, sawMeasure),
             QStringList{"Unable to connect Maury UCal Module.\nUnable to proceed with "
                         "calibration."});
    QVERIFY(!sawMeasure);

    // Garbled blocks: connected, but the factory data cannot be read.
    QVERIFY(emu.Control(QStringLiteral("fault none")));
    QVERIFY(emu.Control(QStringLiteral("fault bad-block")));
    QCOMPARE(attempt(none, sawMeasure),
             QStringList{"Unable to read calibration data from uCal module.\nUnable to "
                         "proceed."});
    QVERIFY(!sawMeasure);

    // Silent once the measuring dialog is up: the switch fails, the operator gives up.
    QVERIFY(emu.Control(QStringLiteral("fault none")));
    bool finished = true;
    const QStringList silent = attempt(
        [&](ECalMeasureDlg* m)
        {
            if (emu.Control(QStringLiteral("fault silent")))
            {
                m->measureClicked();
                finished = m->HasFinished();
                m->reject();
            }
        },
        sawMeasure);
    QVERIFY(sawMeasure);
    QVERIFY(!finished);
    QCOMPARE(silent,
             QStringList({"Unable to switch the uCal module to the standard.\nCannot continue "
                          "calibration.",
                          "Calibration incomplete, are you sure you wish to cancel?"}));

    // Cancelled before measuring anything.
    QVERIFY(emu.Control(QStringLiteral("fault none")));
    sawMeasure = false;
    QCOMPARE(attempt([](ECalMeasureDlg* m) { m->reject(); }, sawMeasure),
             QStringList{"Calibration incomplete, are you sure you wish to cancel?"});
    QVERIFY(sawMeasure);
    QVERIFY(!window->CalibrationInProgress());
    QCOMPARE(CalState(), before);
}

QTEST_MAIN(TestECalWorkflow)
#include "test_ecal_workflow.moc"
