// The electronic calibration as the operator runs it: the uCal emulator on its pseudo-terminal
// switches its states and tells the instrument simulator (noise off) what each port sees, the
// window's dialogs are driven offscreen, and the channel's corrected data must then be a
// Touchstone device to rounding. The failure paths must leave the channel's calibration alone.
#include <QAction>
#include <QFile>
#include <QMutexLocker>
#include <QtTest>
#include <cmath>

#include "application_settings.h"
#include "cal_fixtures.h"
#include "ecal_dialogs.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "modal_answerer.h"
#include "preferences.h"
#include "sim_fixtures.h"
#include "test_fixtures.h"
#include "ucal_fixtures.h"
#include "vna_calkit_list.h"
#include "vna_lib.h"
#include "vna_sim.h"

using testfx::ModalAnswerer;
using testfx::Scene;

namespace
{
// Noise off, the instrument obeys its model exactly: what is left is rounding.
constexpr double kExact = 1e-9;
// Kit files keep complex data as single-precision pairs: a user characterisation, read back
// from its kit, is good to float rounding of values of magnitude up to 1 (the module is passive).
constexpr double kFloatStored = 1.2e-7;
// What that rounding leaves in a device corrected with the kit: a few roundings' worth.
constexpr double kThroughStoredKit = 4 * kFloatStored;

// How the setup dialog is answered.
struct Setup
{
    VNACalType type = SOLT;
    int vnaPort = 0;
    int uCalPort = 0;
    QString userKit;  // when set, this kit as the "User" characterisation
};

void Answer(ECalSetupDlg* setup, const Setup& s)
{
    setup->SetCalType(s.type);
    setup->findChild<KXComboBox*>(QStringLiteral("vnaPort"))->SetByData(s.vnaPort);
    setup->findChild<KXComboBox*>(QStringLiteral("uCalPort"))->SetByData(s.uCalPort);
    if (!s.userKit.isEmpty())
    {
        setup->findChild<KXComboBox*>(QStringLiteral("calKit"))->SetByData(s.userKit);
        setup->calKitUpdated();
        setup->findChild<KXComboBox*>(QStringLiteral("characterization"))->SetByData(1);
    }
    setup->accept();
}

// The emulator's identity, as its defaults give it.
UCalIdentity EmulatedModule()
{
    UCalIdentity id;
    id.model = QStringLiteral("MT982B01-35-MF");
    id.serialNumber = QStringLiteral("1024");
    return id;
}

// A module kit's data based standards back as the seven sets (set = standard ID - 1).
UCalDataSets SetsOfKit(const VNACalKit& kit)
{
    UCalDataSets sets;
    for (const CalKitStandardInfo& s : kit.Standards)
    {
        const int set = s.ID - 1;
        if (set >= 0 && set < kUCalSetCount)
        {
            sets.freqs[set] = s.DataFreqs;
            sets.data[set].Resize(s.DataFreqs.size());
            sets.data[set].S11 = s.DataS11;
            if (!s.DataReflectOnly)
            {
                sets.data[set].S21 = s.DataS21;
                sets.data[set].S12 = s.DataS12;
                sets.data[set].S22 = s.DataS22;
            }
        }
    }
    return sets;
}

QByteArray FileBytes(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
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
    void userCharacterizationServesTheECal_data();
    void userCharacterizationServesTheECal();
    void characterizationRefusals();

private:
    VNAChannel& Channel() { return *window->Model().channels[0]; }
    // The channel's calibration as far as a failed attempt could have changed it.
    QString CalState();
    // Puts a mechanical SOLT calibration, measured on the simulator's kit standards with the
    // loop stopped, into the channel.
    bool CalibrateMechanically();
    // The menu entry's state as the menu would show it.
    QAction* CharacterizeAction();

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
                Answer(setup, {VNACalType(type), vnaPort, uCalPort, {}});
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
    const double worst = testfx::CorrectedError(window->Model(), 0, dut, VNACalType(type), vnaPort);
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
                Answer(setup, {SOLT, 0, 0, {}});
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

bool TestECalWorkflow::CalibrateMechanically()
{
    window->MeasStop();
    VNAChannel& ch = Channel();
    testfx::SimCal setup;
    setup.type = SOLT;
    setup.isolation = false;
    setup.thruCommand = testfx::ConnectThru(82.157, 0.0, 50.0);
    ch.calibration = testfx::CalibrateOnSim(window->Model().device, setup, testfx::ModelKit(82.157),
                                            ch.stimulus);
    // Read before the loop starts: once it runs, it swaps in its own solved copy of the record.
    const bool loaded = ch.calibration.CorrectionsLoaded();
    const uint64_t done = ch.sweepsDone.load();
    window->MeasStart();
    // The loop solves the record for the sweep as it starts.
    return loaded && QTest::qWaitFor([&] { return ch.sweepsDone.load() > done; }, 30000);
}

QAction* TestECalWorkflow::CharacterizeAction()
{
    window->aboutToShowUCalMenu();
    for (QAction* a : window->findChildren<QAction*>())
    {
        if (a->text() == QLatin1String("User Characterization"))
        {
            return a;
        }
    }
    return nullptr;
}

void TestECalWorkflow::userCharacterizationServesTheECal_data()
{
    QTest::addColumn<bool>("crossed");
    QTest::newRow("module A on port 1") << false;
    QTest::newRow("module B on port 1") << true;
}

// A mechanical calibration characterises the module (its ports either way round); the kit it
// leaves holds the module's own states, and an electronic calibration with it as the "User"
// characterisation recovers the device.
void TestECalWorkflow::userCharacterizationServesTheECal()
{
    QFETCH(bool, crossed);
    QVERIFY(CalibrateMechanically());
    QAction* characterize = CharacterizeAction();
    QVERIFY(characterize);
    QVERIFY2(characterize->isEnabled(), qPrintable(characterize->toolTip()));

    QVERIFY(emu.Control(crossed ? QStringLiteral("map BA") : QStringLiteral("map AB")));
    QString title;
    bool finished = false;
    {
        ModalAnswerer answer(QMessageBox::Yes);
        answer.onDialog = [&](QDialog* d)
        {
            if (auto* m = qobject_cast<UCalUserCharDlg*>(d))
            {
                title = m->windowTitle();
                m->findChild<KXComboBox*>(QStringLiteral("uCalPort"))->SetByData(crossed ? 1 : 0);
                m->measureClicked();
                finished = m->HasFinished();
            }
        };
        characterize->trigger();
        QVERIFY2(answer.texts.isEmpty(), qPrintable(answer.texts.join('|')));
    }
    QCOMPARE(title, QStringLiteral("uCal User Characterization - Measure States"));
    QVERIFY(finished);
    QVERIFY(!window->CalibrationInProgress());

    // The kit against the emulator's own characterisation, interpolated at the sweep's points:
    // the measurement is exact, the file rounds it.
    const QString name = UCalUserKitName(EmulatedModule());
    VNACalKit user;
    QVERIFY(GetCalKitFromName(name, user));
    QVERIFY(user.IsUCalModule() && !user.UseFactoryCharacterization());
    UCalDataSets truth;
    QVERIFY(emu.ReadDataSets(truth));
    const QVector<double> distance = CompareUCalDataSets(SetsOfKit(user), truth);
    for (int set = 0; set < kUCalSetCount; ++set)
    {
        QVERIFY2(distance[set] >= 0.0 && distance[set] < kFloatStored,
                 qPrintable(QStringLiteral("set %1: %2").arg(set).arg(distance[set])));
    }

    // The electronic calibration through the module as it now sits, with the user data.
    QVERIFY(emu.Control(QStringLiteral("map AB")));
    const QString file = dir.filePath(QStringLiteral("ecal%1.vnacal").arg(++fileCount));
    {
        ModalAnswerer answer(QMessageBox::Yes);
        answer.QueueFile(file);
        answer.onDialog = [&](QDialog* d)
        {
            if (auto* setup = qobject_cast<ECalSetupDlg*>(d))
            {
                Answer(setup, {SOLT, 0, 0, name});
            }
            else if (auto* m = qobject_cast<ECalMeasureDlg*>(d))
            {
                m->measureClicked();
            }
        };
        window->calStartNewECalibration();
        QVERIFY2(answer.texts.isEmpty(), qPrintable(answer.texts.join('|')));
    }
    {
        QMutexLocker lock(&window->Model().traceLock);
        const VNACalibration& cal = Channel().calibration;
        QVERIFY(cal.CorrectionsReady() && cal.IsECal());
        QCOMPARE(cal.GetCalKit().CalKitName, name);
        QVERIFY(!cal.GetCalKit().UseFactoryCharacterization());
    }
    const double worst = testfx::CorrectedError(window->Model(), 0, dut, SOLT, 0);
    qInfo("%s: worst corrected error %.3g", QTest::currentDataTag(), worst);
    QVERIFY2(worst < kThroughStoredKit, qPrintable(QString::number(worst)));
}

// Without a calibration fit for it, the entry says why, the procedure refuses with the same
// reason before touching the module, and the module's characterisation on file stays as it was.
void TestECalWorkflow::characterizationRefusals()
{
    // An earlier characterisation of the module, with a mark of its own.
    UCalDataSets truth;
    QVERIFY(emu.ReadDataSets(truth));
    VNACalKit earlier = BuildUCalKit(EmulatedModule(), truth);
    earlier.IsFactoryUCal = false;
    earlier.CalKitName = UCalUserKitName(EmulatedModule());
    earlier.Description = QStringLiteral("earlier characterization");
    QString error;
    QVERIFY2(SaveUserCalKit(earlier, earlier.CalKitName, error), qPrintable(error));
    CalKitListEntry entry;
    QVERIFY(FindCalKit(earlier.CalKitName, entry));
    const QByteArray before = FileBytes(entry.path);
    QVERIFY(!before.isEmpty());

    auto attempt = [&](const QString& reason)
    {
        QAction* characterize = CharacterizeAction();
        QVERIFY(characterize);
        QVERIFY(!characterize->isEnabled());
        QCOMPARE(characterize->toolTip(), reason);
        bool sawDialog = false;
        ModalAnswerer answer(QMessageBox::Ok);
        answer.onDialog = [&](QDialog*) { sawDialog = true; };
        window->showUCalUserCharacterization();
        QCOMPARE(answer.texts, QStringList{reason});
        QVERIFY(!sawDialog);
        QCOMPARE(FileBytes(entry.path), before);
    };

    // No calibration at all.
    window->MeasStop();
    Channel().calibration = VNACalibration();
    window->MeasStart();
    attempt(QStringLiteral("The module is characterized through a two-port calibration."));

    // A calibration made with the module itself.
    QVERIFY(emu.Control(QStringLiteral("map AB")));
    {
        ModalAnswerer answer(QMessageBox::Yes);
        answer.QueueFile(dir.filePath(QStringLiteral("ecal%1.vnacal").arg(++fileCount)));
        answer.onDialog = [&](QDialog* d)
        {
            if (auto* setup = qobject_cast<ECalSetupDlg*>(d))
            {
                Answer(setup, {SOLT, 0, 0, {}});
            }
            else if (auto* m = qobject_cast<ECalMeasureDlg*>(d))
            {
                m->measureClicked();
            }
        };
        window->calStartNewECalibration();
    }
    attempt(QStringLiteral("The module is characterized through a mechanical calibration."));
}

QTEST_MAIN(TestECalWorkflow)
#include "test_ecal_workflow.moc"
