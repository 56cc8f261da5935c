// The mechanical calibration as the operator and a remote client run it, on the instrument
// simulator with noise off: through the window's dialogs (driven offscreen by their slots) and
// through the correction commands on a TCP connection, each type with a kit whose standards sit
// behind lossy offsets. Afterwards the channel's corrected data must be a Touchstone device, to
// rounding, and the calibration-set view and the remote queries must show the record's terms.
#include <QCheckBox>
#include <QFile>
#include <QMenu>
#include <QMenuBar>
#include <QMutexLocker>
#include <QPushButton>
#include <QtTest>
#include <cmath>
#include <complex>

#include "application_settings.h"
#include "cal_dialogs.h"
#include "cal_fixtures.h"
#include "control_panels.h"
#include "error_log.h"
#include "line_client.h"
#include "mainwindow.h"
#include "modal_answerer.h"
#include "sim_fixtures.h"
#include "status_bar.h"
#include "test_fixtures.h"
#include "vna_calkit_list.h"
#include "vna_lib.h"
#include "vna_sim.h"
#include "vna_trace.h"

using testfx::LineClient;
using testfx::MaxDifference;
using testfx::ModalAnswerer;
using testfx::Scene;
using cplx = std::complex<double>;

namespace
{
// Noise off, the instrument obeys its model exactly: what is left is rounding.
constexpr double kExact = 1e-9;
const char* const kKitName = "TestOffsetKit";
const char* const kSlidingKitName = "TestSlidingKit";
constexpr int kSlidingId = 5;

// The kit's thru, as the scene connects it for a defined-thru calibration.
constexpr double kThruDelay = 82.157, kThruLoss = 2.2;
// An unknown thru: mismatched, lossy and delayed.
const char* const kUnknownThru = "connect thru delay 61.7 loss 3.1 z0 46";

QVector<double> Numbers(const QByteArray& reply)
{
    QVector<double> out;
    for (const QByteArray& v : reply.split(','))
    {
        out.append(v.toDouble());
    }
    return out;
}

double MaxDifference(const QVector<double>& pairs, const CplxVector& v)
{
    if (pairs.size() != 2 * v.size())
    {
        return INFINITY;
    }
    double worst = 0.0;
    for (int i = 0; i < v.size(); ++i)
    {
        worst = std::max(worst, std::abs(cplx(pairs[2 * i], pairs[2 * i + 1]) - v[i]));
    }
    return worst;
}

bool IsError(const QByteArray& reply, int code, const QByteArray& detail)
{
    return reply.startsWith(QByteArray::number(code) + ',') && reply.endsWith(';' + detail);
}

// Puts the kit's reflect standard of a role on a port.
bool Connect(const VNACalKit& kit, int id, int port)
{
    bool found = false;
    const CalKitStandardInfo s = kit.GetStandard(id, found);
    return found && Scene(testfx::ConnectStandard(s, port));
}

bool TerminateBoth()
{
    return Scene(QStringLiteral("connect port 1 load")) &&
           Scene(QStringLiteral("connect port 2 load"));
}

// The unknown thru's solve reads the instrument's crosstalk as part of the thru's transmission,
// isolation or not: only without crosstalk is the instrument an exact eight-term one. The
// twelve-term and one-port types are exact either way.
bool ExactInstrumentFor(VNACalType type)
{
    return Scene(type == SOLR ? QStringLiteral("crosstalk off") : QStringLiteral("crosstalk on"));
}

// The operator's steps on a measuring dialog, each preceded by the scene change that connects
// its standard; the failed ones are listed.
QStringList MeasureAll(CalMeasureDlg* dialog, const VNACalKit& kit, VNACalType type, int solPort)
{
    QStringList failed;
    auto step = [&](const QString& name, bool sceneOk, const std::function<bool()>& measure)
    {
        if (!sceneOk || !measure())
        {
            failed << name;
        }
    };
    const int ids[3] = {testfx::kShortId, testfx::kOpenId, testfx::kLoadId};
    if (auto* sol = qobject_cast<SOLCalDlg*>(dialog))
    {
        step("short", Connect(kit, ids[0], solPort), [&] { return sol->MeasShort(ids[0]); });
        step("open", Connect(kit, ids[1], solPort), [&] { return sol->MeasOpen(ids[1]); });
        step("load", Connect(kit, ids[2], solPort), [&] { return sol->MeasLoad(ids[2]); });
        return failed;
    }
    auto* solt = qobject_cast<SOLTCalDlg*>(dialog);
    for (int port = 0; port < 2; ++port)
    {
        const QString p = QString::number(port + 1);
        step("short" + p, Connect(kit, ids[0], port),
             [&] { return solt->MeasShort(port, ids[0]); });
        step("open" + p, Connect(kit, ids[1], port), [&] { return solt->MeasOpen(port, ids[1]); });
        step("load" + p, Connect(kit, ids[2], port), [&] { return solt->MeasLoad(port, ids[2]); });
    }
    const QString thru = type == SOLR ? QString::fromLatin1(kUnknownThru)
                                      : testfx::ConnectThru(kThruDelay, kThruLoss, 50.0);
    step("thru", Scene(thru), [&] { return solt->MeasThru(testfx::kThruId); });
    step("iso", TerminateBoth(), [&] { return solt->MeasIso(); });
    return failed;
}
}  // namespace

class TestCalibrationWorkflow : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanupTestCase();
    void dialogsRecoverTheDevice_data();
    void dialogsRecoverTheDevice();
    void remoteCalibrationsRecoverTheDevice_data();
    void remoteCalibrationsRecoverTheDevice();
    void remoteFailedStepsAndDisconnect();
    void remoteSlidingLoad();
    void calSetViewAndQueriesShowTheRecord();
    void panelAndMenuFollowTheChannel();
    void closingMidCalibrationFreesTheInstrument();

private:
    void Session(const std::function<void(LineClient&)>& body);
    // Waits for whole sweeps of channel 1 begun after now, and returns the worst difference of
    // its corrected data from the device: the reflection of a one-port calibration, or all four
    // parameters.
    VNAChannel& Channel() { return *window->Model().channels[0]; }

    VnaLib lib;
    QTemporaryDir dir;
    testfx::Dut dut;
    VNACalKit kit;
    MainWindow* window = nullptr;
    quint16 port = 0;
    int fileCount = 0;
};

void TestCalibrationWorkflow::initTestCase()
{
    testfx::IsolateUserFiles();
    Preferences::Get().scpiPort = 0;
    Preferences::Get().scpiLockoutDialogEnabled = false;
    vnaSimSetServerPort(-1);
    QVERIFY2(lib.Load(QStringLiteral(VNA_SIM_LIBRARY)), qPrintable(lib.LoadError()));
    QVERIFY(dir.isValid());
    QVERIFY(testfx::WriteDut(dir, dut));

    // The operator's kits: one with offsets on every reflect standard, and the same with a
    // sliding load beside the fixed one.
    kit = testfx::ModelKit(kThruDelay, kThruLoss);
    VNACalKit sliding = kit;
    CalKitStandardInfo slide;
    slide.ID = kSlidingId;
    slide.Type = VNAStdSlidingLoad;
    slide.Description = QStringLiteral("Sliding load");
    sliding.Standards.append(slide);
    sliding.PutStandardInClass(kSlidingId, CalClassLoad);
    for (const auto& [name, k] :
         {std::make_pair(kKitName, kit), std::make_pair(kSlidingKitName, sliding)})
    {
        ApplicationSettings s(GetUserCalKitFolder() + QLatin1String(name) + ".skt");
        k.Save(s);
    }
    kit.CalKitName = QString::fromLatin1(kKitName);

    vnaSimReset();
    vnaSimSetNoise(0);
    window = new MainWindow(nullptr, &lib);
    QVERIFY(window->Model().device.Connected());
    port = window->SCPIServerPort();
    QVERIFY(port != 0);
    // All four parameters are shown, so both directions are swept whatever the calibration.
    window->quickSetupFull2Port(true);
    window->stimStartFreqChanged(0, Frequency(40e6));
    window->stimStopFreqChanged(0, Frequency(39.94e9));
    window->stimPointsChanged(0, 101);
    window->stimIFBWChanged(0, 100000.0);
}

void TestCalibrationWorkflow::init()
{
    Hidden::Set(true);
    vnaSimSetNoise(0);
    QVERIFY(Scene(QStringLiteral("crosstalk on")));
    SysErr::ClearErrors();
}

void TestCalibrationWorkflow::cleanupTestCase()
{
    delete window;
    window = nullptr;
}

void TestCalibrationWorkflow::Session(const std::function<void(LineClient&)>& body)
{
    testfx::RunClients({[&]
                        {
                            LineClient c;
                            if (c.Connect(port))
                            {
                                body(c);
                            }
                        }});
}

void TestCalibrationWorkflow::dialogsRecoverTheDevice_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("solPort");
    QTest::newRow("SOL port 2") << int(SOL) << 1;
    QTest::newRow("SOLT") << int(SOLT) << 0;
    QTest::newRow("SOLR") << int(SOLR) << 0;
}

// The whole operator path: setup dialog, the measuring dialog's steps, the file, and the
// record in the channel; an incomplete dialog refuses to finish.
void TestCalibrationWorkflow::dialogsRecoverTheDevice()
{
    QFETCH(int, type);
    QFETCH(int, solPort);
    QVERIFY(ExactInstrumentFor(VNACalType(type)));
    const QString file = dir.filePath(QStringLiteral("dialog%1.vnacal").arg(++fileCount));
    QStringList failed;
    bool refusedEarly = false, finished = false;
    {
        ModalAnswerer answer(QMessageBox::Yes);
        answer.QueueFile(file);
        answer.onDialog = [&](QDialog* d)
        {
            if (auto* setup = qobject_cast<CalSetupDlg*>(d))
            {
                setup->SetCalType(VNACalType(type));
                setup->findChild<KXComboBox*>(QStringLiteral("calKit"))
                    ->SetByData(QString::fromLatin1(kKitName));
                setup->findChild<KXComboBox*>(QStringLiteral("port"))->SetByData(solPort);
                setup->accept();
            }
            else if (auto* m = qobject_cast<CalMeasureDlg*>(d))
            {
                // Nothing measured yet: "Done" keeps the dialog open.
                m->checkIfCalDone();
                refusedEarly = m->isVisible() && m->result() != QDialog::Accepted;
                failed = MeasureAll(m, kit, VNACalType(type), solPort);
                finished = m->HasFinished();
                m->checkIfCalDone();
            }
        };
        window->calStartNewCalibration();
        QCOMPARE(answer.fileCaptions, QStringList{"Specify Calibration File"});
    }
    QVERIFY2(failed.isEmpty(), qPrintable(failed.join(',')));
    QVERIFY(refusedEarly);
    QVERIFY(finished);
    QVERIFY(QFile::exists(file));
    QVERIFY(!window->CalibrationInProgress());
    {
        QMutexLocker lock(&window->Model().traceLock);
        const VNACalibration& cal = Channel().calibration;
        QVERIFY(cal.CorrectionsLoaded() && cal.CorrectionsReady());
        QCOMPARE(int(cal.GetCalType()), type);
        QCOMPARE(cal.GetName(), QFileInfo(file).baseName());
        QCOMPARE(cal.GetCalKit().CalKitName, QString::fromLatin1(kKitName));
        QCOMPARE(cal.GetSerialNumber(), window->Model().device.GetSerialNumber());
    }
    const double error = testfx::CorrectedError(window->Model(), 0, dut, VNACalType(type), solPort);
    qInfo("%s through the dialog: worst corrected error %.3g", QTest::currentDataTag(), error);
    QVERIFY2(error < kExact, qPrintable(QString::number(error)));
}

void TestCalibrationWorkflow::remoteCalibrationsRecoverTheDevice_data()
{
    QTest::addColumn<QByteArray>("method");
    QTest::newRow("SOL port 1") << QByteArray("sol,1");
    QTest::newRow("SOLT") << QByteArray("solt");
    QTest::newRow("SOLR") << QByteArray("solr");
}

// A whole calibration from a client: kit, method, every standard, the file, then the corrected
// data read back through the same connection.
void TestCalibrationWorkflow::remoteCalibrationsRecoverTheDevice()
{
    QFETCH(QByteArray, method);
    const bool sol = method.startsWith("sol,");
    const VNACalType type = sol ? SOL : method == "solt" ? SOLT : SOLR;
    QVERIFY(ExactInstrumentFor(type));
    const QString file = dir.filePath(QStringLiteral("remote%1.vnacal").arg(++fileCount));
    QByteArray steps, errors, active, sdata;
    Session(
        [&](LineClient& c)
        {
            c.Send(":SENS1:CORR:COLL:CKIT:SEL " + QByteArray(kKitName) + '\n');
            c.Send(":SENS1:CORR:COLL:METH " + method + '\n');
            const int ids[3] = {testfx::kShortId, testfx::kOpenId, testfx::kLoadId};
            const char* const words[3] = {"SHOR", "OPEN", "LOAD"};
            for (int p = 0; p < (sol ? 1 : 2); ++p)
            {
                for (int r = 0; r < 3; ++r)
                {
                    Connect(kit, ids[r], p);
                    steps += c.Query(QByteArray(":SENS1:CORR:COLL:ACQ:") + words[r] + "? " +
                                     QByteArray::number(p + 1) + ',' + QByteArray::number(ids[r]));
                }
            }
            if (!sol)
            {
                Scene(type == SOLR ? QString::fromLatin1(kUnknownThru)
                                   : testfx::ConnectThru(kThruDelay, kThruLoss, 50.0));
                steps +=
                    c.Query(":SENS1:CORR:COLL:ACQ:THRU? " + QByteArray::number(testfx::kThruId));
                TerminateBoth();
                steps += c.Query(":SENS1:CORR:COLL:ACQ:ISO?");
            }
            c.Send(":SENS1:CORR:COLL:SAVE \"" + file.toUtf8() + "\"\n");
            errors = c.Query(":SYST:ERR:COUN?");
            active = c.Query(":SENS1:CORR:CSET:ACT?") + c.Query(":SENS1:CORR:CSET:TYPE?");
            Scene("load dut " + dut.path);
            // Two single sweeps: the first may have begun before the device was connected.
            c.Query(":INIT1:IMM;*OPC?");
            c.Query(":INIT1:IMM;*OPC?");
            sdata = c.Query(":CALC1:MEAS2:DATA:SDATA?");
        });
    QCOMPARE(steps, QByteArray(sol ? 3 : 8, '1'));
    QCOMPARE(errors, QByteArray("0"));
    QCOMPARE(active, QByteArray("1") + (sol ? "sol" : type == SOLT ? "solt" : "solr"));
    QVERIFY(QFile::exists(file));
    QVERIFY(!window->CalibrationInProgress());
    const QVector<double> f = testfx::SweepFreqs(Channel().stimulus);
    if (!sol)
    {
        // Measure 2 of the full two-port setup shows S21.
        const double remote = MaxDifference(Numbers(sdata), testfx::DutAt(dut, f).S21);
        QVERIFY2(remote < kExact, qPrintable(QString::number(remote)));
    }
    window->triggerSweepModeChanged(0, VNASweepMode::Continuous);
    const double error = testfx::CorrectedError(window->Model(), 0, dut, type, 0);
    qInfo("%s remotely: worst corrected error %.3g", QTest::currentDataTag(), error);
    QVERIFY2(error < kExact, qPrintable(QString::number(error)));
}

// Steps that fail answer "0" with the reasons queued and leave the calibration open for the
// step to be measured again; a client that leaves mid-calibration, even while a step measures,
// leaves the dialog open, and the next client finishes the calibration.
void TestCalibrationWorkflow::remoteFailedStepsAndDisconnect()
{
    Hidden::Set(false);
    QByteArray idle, method, sol, steps, notComplete, kits;
    QList<QByteArray> errors;
    Session(
        [&](LineClient& c)
        {
            auto error = [&] { errors << c.Query(":SYST:ERR:NEXT?"); };
            idle = c.Query(":SENS1:CORR:COLL:ACQ:SHOR? 1,1");
            error();
            c.Send(":SENS1:CORR:COLL:SAVE\n");
            error();
            c.Send(":SENS:CORR:COLL:CKIT:SEL NoSuchKit\n");
            error();
            kits = c.Query(":SENS:CORR:CKIT:COUN?") + '|' + c.Query(":SENS:CORR:CKIT:CAT?") + '|' +
                   c.Query(":SENS:CORR:COLL:CKIT:SEL?");
            c.Send(":SENS1:CORR:COLL:CKIT:SEL " + QByteArray(kKitName) + '\n');
            c.Send(":SENS1:CORR:COLL:METH \"sol\"\n");
            error();
            c.Send(":SENS1:CORR:COLL:METH sol,3\n");
            error();
            c.Send(":SENS1:CORR:COLL:METH sol,1\n");
            method = c.Query(":SYST:ERR:COUN?");
            c.Send(":SENS1:CORR:COLL:METH solt\n");
            error();
            // One statement each: the operands of + run in no fixed order.
            sol = c.Query(":SENS1:CORR:COLL:ACQ:THRU? 4");
            sol += c.Query(":SENS1:CORR:COLL:ACQ:ISO?");
            error();
            error();
            // An open as the short, and a standard the kit lacks: silent refusals.
            Connect(kit, testfx::kShortId, 0);
            steps = c.Query(":SENS1:CORR:COLL:ACQ:SHOR? 1,2");
            steps += c.Query(":SENS1:CORR:COLL:ACQ:SHOR? 1,99");
            steps += c.Query(":SENS1:CORR:COLL:ACQ:SHOR? 1,1");
            c.Send(":SENS1:CORR:COLL:SAVE\n");
            notComplete = c.Query(":SYST:ERR:NEXT?");
            // The open is asked for and the client leaves while it measures.
            Connect(kit, testfx::kOpenId, 0);
            c.Send(":SENS1:CORR:COLL:ACQ:OPEN? 1,2\n");
            c.Abort();
        });
    QCOMPARE(idle, QByteArray("0"));
    QCOMPARE(errors.size(), 8);
    const QByteArray notActive = "Remote calibration not active. Cannot perform action";
    QVERIFY2(IsError(errors[0], -200, notActive), errors[0].constData());
    QVERIFY2(IsError(errors[1], -200, notActive), errors[1].constData());
    QVERIFY2(IsError(errors[2], -200, "Unable to find specified cal kit."), errors[2].constData());
    // The word keeps its quotes, so it is no method.
    QVERIFY2(IsError(errors[3], -2, "Expected calibration method."), errors[3].constData());
    QVERIFY2(IsError(errors[4], -2, "Expected valid port number."), errors[4].constData());
    QCOMPARE(method, QByteArray("0"));
    QVERIFY2(IsError(errors[5], -6, "Remote calibration already in progress."),
             errors[5].constData());
    QCOMPARE(sol, QByteArray("00"));
    QVERIFY2(IsError(errors[6], -200, "Attempting to measure THRU on SOL calibration."),
             errors[6].constData());
    QVERIFY2(IsError(errors[7], -200, "Attempting to measure ISO on SOL calibration."),
             errors[7].constData());
    QCOMPARE(steps, QByteArray("001"));
    QVERIFY2(IsError(notComplete, -200, "Calibration not complete. Cannot save."),
             notComplete.constData());
    const QList<QByteArray> kitParts = kits.split('|');
    const QVector<CalKitListEntry> list = ReadCalKitList();
    QCOMPARE(kitParts.value(0).toInt(), list.size());
    QVERIFY(kitParts.value(1).split(',').contains("85052D"));
    QVERIFY(kitParts.value(1).split(',').contains(kKitName));

    // The dialog stays with the operator once the client has gone.
    auto openDialog = [&]() -> CalMeasureDlg*
    {
        for (CalMeasureDlg* d : window->findChildren<CalMeasureDlg*>())
        {
            if (d->isVisible())
            {
                return d;
            }
        }
        return nullptr;
    };
    QVERIFY(openDialog() != nullptr);
    QVERIFY(window->CalibrationInProgress());

    // The next client measures the open again and the load, and saves to the default file.
    const QString defaultFile = GetMyDocumentsPath() + QStringLiteral("RemoteCal.vnacal");
    QFile::remove(defaultFile);
    QByteArray rest, errorCount, name;
    Session(
        [&](LineClient& c)
        {
            Connect(kit, testfx::kOpenId, 0);
            rest = c.Query(":SENS1:CORR:COLL:ACQ:OPEN? 1,2");
            Connect(kit, testfx::kLoadId, 0);
            rest += c.Query(":SENS1:CORR:COLL:ACQ:LOAD? 1,3");
            c.Send(":SENS1:CORR:COLL:SAVE\n");
            errorCount = c.Query(":SYST:ERR:COUN?");
            name = c.Query(":SENS1:CORR:CSET:NAME?");
        });
    QCOMPARE(rest, QByteArray("11"));
    QCOMPARE(errorCount, QByteArray("0"));
    QCOMPARE(name, QByteArray("RemoteCal"));
    QVERIFY(QFile::exists(defaultFile));
    QVERIFY(!window->CalibrationInProgress());
    const double error = testfx::CorrectedError(window->Model(), 0, dut, SOL, 0);
    QVERIFY2(error < kExact, qPrintable(QString::number(error)));
}

// A sliding load measured position by position: five positions solve to the centre of the
// circle they lie on, which is the instrument's directivity; four and "Done" fail with the
// operator's message, and the step can be taken again.
void TestCalibrationWorkflow::remoteSlidingLoad()
{
    Hidden::Set(false);
    int position = 0, finishAfter = 4;
    ModalAnswerer answer(QMessageBox::Ok);
    answer.onDialog = [&](QDialog* d)
    {
        if (qobject_cast<VNASlidingLoadDlg*>(d))
        {
            Scene(QStringLiteral("connect port 1 sliding %1").arg(position));
            d->done(++position < finishAfter ? 0 : position == finishAfter ? 1 : 2);
        }
    };
    QByteArray first, second;
    Session(
        [&](LineClient& c)
        {
            c.Send(":SENS1:CORR:COLL:CKIT:SEL " + QByteArray(kSlidingKitName) + '\n');
            c.Send(":SENS1:CORR:COLL:METH sol,1\n");
            first = c.Query(":SENS1:CORR:COLL:ACQ:LOAD? 1,5");
        });
    QCOMPARE(first, QByteArray("0"));
    QCOMPARE(position, 4);
    QCOMPARE(answer.texts,
             QStringList{"Did not measure the minimum number of slides (5).\nSliding load "
                         "measurement failed."});
    QCOMPARE(answer.titles, QStringList{"Error"});
    position = 0;
    finishAfter = 5;
    Session(
        [&](LineClient& c)
        {
            second = c.Query(":SENS1:CORR:COLL:ACQ:LOAD? 1,5");
            Connect(kit, testfx::kShortId, 0);
            second += c.Query(":SENS1:CORR:COLL:ACQ:SHOR? 1,1");
            Connect(kit, testfx::kOpenId, 0);
            second += c.Query(":SENS1:CORR:COLL:ACQ:OPEN? 1,2");
            c.Send(":SENS1:CORR:COLL:SAVE \"" +
                   dir.filePath(QStringLiteral("sliding.vnacal")).toUtf8() + "\"\n");
            second += c.Query(":SYST:ERR:COUN?");
        });
    QCOMPARE(second, QByteArray("1110"));
    QCOMPARE(position, 5);
    // The slides turn 0.02 around a perfect load: their centre is within a small fraction of
    // that radius of what a perfect load reads (the directivity), as the error adapter bends the
    // circle only slightly.
    QMutexLocker lock(&window->Model().traceLock);
    const VNACalibration& cal = Channel().calibration;
    const QVector<double> f = testfx::SweepFreqs(cal.GetStimulus());
    const CplxVector& load = cal.OnePortMeas(RoleLoad);
    QCOMPARE(load.size(), f.size());
    double worst = 0.0;
    for (int i = 0; i < f.size(); ++i)
    {
        double t[24];
        vnaSimErrorTerms(f[i], 0, t);
        const cplx edf(t[0], t[1]), erf(t[6], t[7]);
        worst = std::max(worst, std::abs(load[i] - edf) / (0.02 * std::abs(erf)));
    }
    qInfo("sliding load: centre within %.3g of the slides' radius from the directivity", worst);
    QVERIFY(worst < 0.05);
}

// A two-port record in the channel: the trace's calibration-set view shows its stored terms and
// standards, the remote term query answers them word by word, and the set's state queries, its
// deactivation and its loading from the file follow the record.
void TestCalibrationWorkflow::calSetViewAndQueriesShowTheRecord()
{
    const QString file = dir.filePath(QStringLiteral("view.vnacal"));
    QByteArray steps, errors;
    Session(
        [&](LineClient& c)
        {
            c.Send(":SENS1:CORR:COLL:CKIT:SEL " + QByteArray(kKitName) +
                   "\n:SENS1:CORR:COLL:METH "
                   "solt\n");
            const int ids[3] = {testfx::kShortId, testfx::kOpenId, testfx::kLoadId};
            const char* const words[3] = {"SHOR", "OPEN", "LOAD"};
            for (int p = 0; p < 2; ++p)
            {
                for (int r = 0; r < 3; ++r)
                {
                    Connect(kit, ids[r], p);
                    steps += c.Query(QByteArray(":SENS1:CORR:COLL:ACQ:") + words[r] + "? " +
                                     QByteArray::number(p + 1) + ',' + QByteArray::number(ids[r]));
                }
            }
            Scene(testfx::ConnectThru(kThruDelay, kThruLoss, 50.0));
            steps += c.Query(":SENS1:CORR:COLL:ACQ:THRU? 4");
            c.Send(":SENS1:CORR:COLL:SAVE \"" + file.toUtf8() + "\"\n");
            while (errors.size() < 400 && c.Query(":SYST:ERR:COUN?") != "0")
            {
                errors += c.Query(":SYST:ERR:NEXT?") + '\n';
            }
        });
    // Isolation is optional: seven steps make a whole SOLT.
    QVERIFY2(errors.isEmpty(), errors.constData());
    QCOMPARE(steps, QByteArray(7, '1'));
    VNAModel& m = window->Model();
    VNACalibration record;
    {
        QMutexLocker lock(&m.traceLock);
        record = Channel().calibration;
    }
    QVERIFY(record.CorrectionsReady() && record.GetCalType() == SOLT);

    // The view on the active trace, through the slots the panel calls; Smith (real, imaginary)
    // shows the complex values as they are.
    const int trace = m.selectedTraceIndex;
    window->traceFormatChanged(trace, SmithRI);
    window->triggerSweepModeChanged(0, VNASweepMode::Hold);
    window->calSetViewerEnabled(true);
    auto shown = [&]
    {
        QMutexLocker lock(&m.traceLock);
        const VNATrace* t = m.traces[trace];
        CplxVector v(t->x.size());
        for (int i = 0; i < v.size(); ++i)
        {
            v[i] = cplx(t->x[i], t->y[i]);
        }
        return v;
    };
    for (int term : {int(ErrEtf), int(ErrElr)})
    {
        window->calSetViewerDisplayChanged(CalSetViewErrorTerms);
        window->calSetViewerErrTermChanged(term);
        QVERIFY(MaxDifference(shown(), record.ErrorTerm(term)) < 1e-15);
    }
    // Standards were measured on the same sweep: resampling leaves them as they are.
    window->calSetViewerDisplayChanged(CalSetViewMeasured);
    window->calSetViewerStdTermChanged(StdS21Thru);
    QVERIFY(MaxDifference(shown(), record.MeasuredStd(StdS21Thru)) < 1e-15);
    window->calSetViewerEnabled(false);

    // The term words in the command language's order: the twelve terms one after the other.
    const char* const words[12] = {"edf", "esf", "erf", "elf", "etf", "exf",
                                   "edr", "esr", "err", "elr", "etr", "exr"};
    QList<QByteArray> terms;
    QByteArray state, afterUnload, reloaded, disabled, disabledError, noCal;
    Session(
        [&](LineClient& c)
        {
            for (const char* w : words)
            {
                terms << c.Query(QByteArray(":SENS1:CORR:CSET:ETER? ") + w);
            }
            state = c.Query(":SENS1:CORR:CSET:ACT?;NAME?;TYPE?;DATE?");
            c.Send(":SENS1:CORR:CSET:DEAC\n");
            afterUnload = c.Query(":SENS1:CORR:CSET:ACT?;NAME?;TYPE?;DATE?");
            c.Send(":SENS1:CORR:CSET:ETER? edf\n");
            noCal = c.Query(":SYST:ERR:NEXT?");
            c.Send(":SENS1:CORR:CSET:ACT \"" + file.toUtf8() + "\",0\n");
            reloaded = c.Query(":SENS1:CORR:CSET:ACT?;TYPE?;:SYST:ERR:COUN?");
            disabled = c.Query(":SENS2:CORR:CSET:NAME?;*OPC?");
            disabledError = c.Query(":SYST:ERR:NEXT?");
        });
    QCOMPARE(terms.size(), 12);
    for (int k = 0; k < 12; ++k)
    {
        QVERIFY2(MaxDifference(Numbers(terms[k]), record.ErrorTerm(k)) < 1e-9, words[k]);
    }
    QCOMPARE(state, "1;view;solt;" + record.GetDate().toString(Qt::TextDate).toUtf8());
    QCOMPARE(afterUnload, QByteArray("0;empty;none;empty"));
    QVERIFY2(IsError(noCal, -6, "Calibration not active."), noCal.constData());
    QCOMPARE(reloaded, QByteArray("1;solt;0"));
    QCOMPARE(disabled, QByteArray("1"));
    QVERIFY2(IsError(disabledError, -7, "Selected channel not enabled"), disabledError.constData());
    window->triggerSweepModeChanged(0, VNASweepMode::Continuous);
}

// The Calibration panel and menu on the channel that holds the record of the test before: the
// panel's boxes and lists call the window and show the model, the status bar says what the
// chain does, and the menu offers what the channel's state allows.
void TestCalibrationWorkflow::panelAndMenuFollowTheChannel()
{
    VNAModel& m = window->Model();
    VNAChannel& ch = Channel();
    QVERIFY(ch.calibration.CorrectionsLoaded() && ch.calibrationEnabled);
    window->panelButtonClicked(3);
    auto* panel = qobject_cast<CalibrationControlPanel*>(window->Panel(3));
    QVERIFY(panel);
    const QList<QCheckBox*> boxes = panel->findChildren<QCheckBox*>();
    QCOMPARE(boxes.size(), 4);  // Cal Loaded, Cal Enabled, Interp Enabled, Cal Set Viewer
    QVERIFY(boxes[0]->isChecked() && boxes[1]->isChecked());
    QCOMPARE(window->StatusBar()->CalibrationText(), QStringLiteral("Cal:Full 2-Port"));

    boxes[1]->click();
    QVERIFY(!ch.calibrationEnabled);
    QCOMPARE(window->StatusBar()->CalibrationText(), QStringLiteral("Cal:Disabled"));
    boxes[1]->click();
    QVERIFY(ch.calibrationEnabled);
    const bool interpolating = ch.interpolationEnabled;
    QCOMPARE(boxes[2]->isChecked(), interpolating);
    boxes[2]->click();
    QCOMPARE(ch.interpolationEnabled, !interpolating);
    boxes[2]->click();
    QCOMPARE(ch.interpolationEnabled, interpolating);

    // The viewer's lists act on the active trace, and only the one displayed is in use.
    const QList<KXComboBox*> lists = panel->findChildren<KXComboBox*>();
    QCOMPARE(lists.size(), 3);  // Display, Standards, Error Terms
    const VNATrace* t = m.traces[m.selectedTraceIndex];
    boxes[3]->click();
    QVERIFY(t->calSetViewEnabled);
    // As the operator picks an item: the box reports it as activated.
    auto pick = [](KXComboBox* box, int data)
    {
        const int i = box->findData(data);
        box->setCurrentIndex(i);
        emit box->activated(i);
    };
    pick(lists[0], int(CalSetViewErrorTerms));
    pick(lists[2], int(ErrEsr));
    QCOMPARE(int(t->calSetDisplay), int(CalSetViewErrorTerms));
    QCOMPARE(int(t->calSetErrTerm), int(ErrEsr));
    QVERIFY(lists[2]->isEnabled() && !lists[1]->isEnabled());
    boxes[3]->click();
    QVERIFY(!t->calSetViewEnabled);

    // The menu's entries for a loaded record, then the panel's unload.
    QMenu* menu = nullptr;
    for (QAction* a : window->menuBar()->actions())
    {
        if (a->text() == QStringLiteral("Calibration"))
        {
            menu = a->menu();
        }
    }
    QVERIFY(menu);
    auto entry = [&](const char* text) -> QAction*
    {
        for (QAction* a : menu->actions())
        {
            if (a->text() == QLatin1String(text))
            {
                return a;
            }
        }
        return nullptr;
    };
    QVERIFY(entry("Unload Calibration") && entry("Calibration Enabled"));
    emit menu->aboutToShow();
    QVERIFY(entry("Unload Calibration")->isEnabled());
    QVERIFY(entry("Calibration Enabled")->isChecked());
    for (QPushButton* b : panel->findChildren<QPushButton*>())
    {
        if (b->text() == QStringLiteral("Unload Calibration"))
        {
            b->click();
        }
    }
    QVERIFY(!ch.calibration.CorrectionsLoaded());
    QVERIFY(!boxes[0]->isChecked());
    QCOMPARE(window->StatusBar()->CalibrationText().left(4), QStringLiteral("Cal:"));
    QVERIFY(window->StatusBar()->CalibrationText() != QStringLiteral("Cal:Full 2-Port"));
    emit menu->aboutToShow();
    QVERIFY(!entry("Unload Calibration")->isEnabled());
    QVERIFY(!entry("Use Calibration Stimulus")->isEnabled());
}

// The window closes while a remote calibration is open and its client has just left with lines
// not yet served: neither the dialog's thread nor the client's socket may reach the window as it
// goes, and a new window finds the instrument free and measuring.
void TestCalibrationWorkflow::closingMidCalibrationFreesTheInstrument()
{
    Hidden::Set(false);
    Session(
        [&](LineClient& c)
        {
            c.Send(":SENS1:CORR:COLL:CKIT:SEL " + QByteArray(kKitName) + '\n');
            c.Send(":SENS1:CORR:COLL:METH solt\n");
            Connect(kit, testfx::kShortId, 1);
            c.Query(":SENS1:CORR:COLL:ACQ:SHOR? 2,1");
            c.Send(":SENS1:CORR:COLL:ACQ:OPEN? 2,2\n");
            c.Send(":SENS1:CORR:COLL:SAVE\n");
        });
    QVERIFY(window->CalibrationInProgress());
    delete window;
    window = new MainWindow(nullptr, &lib);
    QVERIFY(window->Model().device.Connected());
    QVERIFY(!window->CalibrationInProgress());
    VNAChannel& ch = Channel();
    const uint64_t done = ch.sweepsDone.load();
    QVERIFY(QTest::qWaitFor([&] { return ch.sweepsDone.load() > done; }, 30000));
}

QTEST_MAIN(TestCalibrationWorkflow)
#include "test_calibration_workflow.moc"
