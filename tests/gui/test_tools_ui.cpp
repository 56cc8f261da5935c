// The small tools offscreen, on the instrument simulator: the fan and output generator dialogs
// (checked in the simulator's call log), the segment table from the stimulus panel (checked in
// the channel, the chain's data and a remote client's view), the Help menu's links and manual,
// the about box and the check for new versions against a web server on 127.0.0.1.
#include <QCheckBox>
#include <QMenuBar>
#include <QMutexLocker>
#include <QNetworkProxy>
#include <QRadioButton>
#include <QStatusBar>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QtTest>

#include "about_dialog.h"
#include "application_settings.h"
#include "instrument_state.h"
#include "control_panels.h"
#include "error_log.h"
#include "fake_http_server.h"
#include "fan_control_dialog.h"
#include "help_links.h"
#include "line_client.h"
#include "mainwindow.h"
#include "modal_answerer.h"
#include "output_generator_controls.h"
#include "sweep_segment_dialog.h"
#include "test_fixtures.h"
#include "version_checker.h"
#include "vna_lib.h"
#include "vna_sim.h"

// Exported by the simulator library the test runs against.
extern "C" const char* vnaGetAPIVersion();

using testfx::ModalAnswerer;

namespace
{
// The numbers of the simulator's logged calls of one operation, oldest first, without the
// handle: "vnaSetGenerator(3,1,2.5e9,12)" gives {1, 2.5e9, 12}.
QVector<QVector<double>> Calls(const char* name)
{
    QByteArray log(1 << 22, '\0');
    log.resize(std::min(vnaSimCallLog(log.data(), log.size()), int(log.size())));
    QVector<QVector<double>> calls;
    const QByteArray prefix = QByteArray(name) + '(';
    for (const QByteArray& line : log.split('\n'))
    {
        if (!line.startsWith(prefix))
        {
            continue;
        }
        QVector<double> args;
        const QList<QByteArray> cells = line.mid(prefix.size()).chopped(1).split(',');
        for (int i = 1; i < cells.size(); ++i)
        {
            args.append(cells[i].toDouble());
        }
        calls.append(args);
    }
    return calls;
}

bool LastCallIs(const char* name, const QVector<double>& args)
{
    const auto calls = Calls(name);
    return !calls.isEmpty() && calls.last() == args;
}

QPushButton* ButtonOf(QWidget* w, const QString& text)
{
    for (QPushButton* b : w->findChildren<QPushButton*>())
    {
        if (b->text() == text)
        {
            return b;
        }
    }
    return nullptr;
}

void Type(QWidget* parent, const char* field, const QString& text)
{
    auto* edit = parent->findChild<KXLineEdit*>(QLatin1String(field));
    QVERIFY2(edit, field);
    edit->setFocus();
    edit->selectAll();
    QTest::keyClicks(edit, text);
    QTest::keyClick(edit, Qt::Key_Return);
}

QAction* MenuEntry(QMainWindow* w, const QString& text)
{
    for (QAction* a : w->menuBar()->findChildren<QAction*>())
    {
        if (a->text() == text)
        {
            return a;
        }
    }
    return nullptr;
}

void FillTable(QTableWidget* t, const QVector<QStringList>& rows)
{
    t->setRowCount(rows.size());
    for (int r = 0; r < rows.size(); ++r)
    {
        for (int c = 0; c < 3; ++c)
        {
            t->setItem(r, c, new QTableWidgetItem(rows[r][c]));
        }
    }
}
}  // namespace

class TestToolsUi : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void fanDialogDrivesTheInstrument();
    void outputGeneratorHoldsTheInstrument();
    void segmentEditorRefusesAndInstalls();
    void helpMenuOpensManualAndLinks();
    void aboutBoxChecksForNewVersions();
    void startupCheckNeverHoldsTheWindow();

private:
    VnaLib lib;
    MainWindow* window = nullptr;
};

void TestToolsUi::initTestCase()
{
    testfx::IsolateUserFiles();
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    Preferences::Get().scpiPort = 0;
    Preferences::Get().scpiLockoutDialogEnabled = false;
    vnaSimSetServerPort(-1);
    vnaSimSetNoise(0);
    QVERIFY2(lib.Load(QStringLiteral(VNA_SIM_LIBRARY)), qPrintable(lib.LoadError()));
    window = new MainWindow(nullptr, &lib);
    window->show();
    QVERIFY(window->Model().device.Connected());
    QVERIFY(!window->Model().device.IsDemoMode());
}

void TestToolsUi::cleanupTestCase()
{
    SetUrlOpener({});
    window->close();
    delete window;
}

void TestToolsUi::fanDialogDrivesTheInstrument()
{
    window->settingsShowFanControls();
    FanControlDialog* fan = window->FanControls();
    QVERIFY(fan->isVisible());
    const VNAModel& m = window->Model();
    vnaSimClearCallLog();

    // The override with its default setpoint, then a fixed speed, then a setpoint typed beyond
    // what the field takes: each reaches the instrument at the loop's restart.
    fan->findChild<QCheckBox*>(QStringLiteral("override"))->click();
    QVERIFY(testfx::WaitFor([] { return LastCallIs("vnaSetTempSetpoint", {50}); }));
    fan->findChild<QRadioButton*>(QStringLiteral("speedMode"))->click();
    Type(fan, "speed", QStringLiteral("70"));
    QVERIFY(testfx::WaitFor([] { return LastCallIs("vnaSetFanSpeed", {70}); }));
    Type(fan, "setpoint", QStringLiteral("99"));
    fan->findChild<QRadioButton*>(QStringLiteral("setpointMode"))->click();
    QVERIFY(testfx::WaitFor([] { return LastCallIs("vnaSetTempSetpoint", {60}); }));
    QCOMPARE(m.fanOverrideSetpoint, MainWindow::kFanMaxSetpoint);
    QVERIFY(testfx::WaitFor([&] { return m.fanMode.load() == 0 && m.fanValue.load() == 60.0; }));

    // Kept as the start-up defaults, in the preferences file.
    ButtonOf(fan, QStringLiteral("Save as Default"))->click();
    {
        ApplicationSettings s(GetPreferencesIniPath());
        s.BeginGroup(QStringLiteral("FanSettings"));
        QCOMPARE(s.Load(QStringLiteral("DefaultFanOverride")).toBool(), true);
        QCOMPARE(s.Load(QStringLiteral("DefaultFanOverrideType")).toInt(), 0);
        QCOMPARE(s.Load(QStringLiteral("DefaultFanOverrideSetpoint")).toDouble(), 60.0);
        QCOMPARE(s.Load(QStringLiteral("DefaultFanOverrideSpeed")).toDouble(), 70.0);
    }

    // Without the override and with no calibration loaded the fan runs at half speed.
    fan->findChild<QCheckBox*>(QStringLiteral("override"))->click();
    QVERIFY(testfx::WaitFor([] { return LastCallIs("vnaSetFanSpeed", {50}); }));
    QVERIFY(!m.fanOverrideEnabled);
    QVERIFY(!fan->findChild<KXLineEdit*>(QStringLiteral("speed"))->isEnabled());
    fan->hide();
}

void TestToolsUi::outputGeneratorHoldsTheInstrument()
{
    window->showOutputGeneratorControls();
    OutputGeneratorControlsDialog* gen = window->OutputGenerator();
    vnaSimClearCallLog();
    QVERIFY(window->Model().MeasRunning());

    // Settings alone touch nothing; a frequency above the range is held at its top.
    Type(gen, "frequency", QStringLiteral("50 GHz"));
    QCOMPARE(gen->FrequencyHz(), 40e9);
    Type(gen, "frequency", QStringLiteral("2.5 GHz"));
    Type(gen, "stepFrequency", QStringLiteral("100 MHz"));
    Type(gen, "atten", QStringLiteral("12"));
    auto* port = gen->findChild<KXComboBox*>(QStringLiteral("port"));
    port->setFocus();
    QTest::keyClick(port, Qt::Key_Down);
    QCOMPARE(gen->Port(), 1);
    QCOMPARE(vnaSimCallCount("vnaSetGenerator"), 0);

    // On: the sweeps stop and the instrument gets the wave; the steps follow it.
    auto* output = gen->findChild<QCheckBox*>(QStringLiteral("output"));
    QVERIFY(output->isEnabled());
    output->click();
    QVERIFY(window->OutputGeneratorActive());
    QVERIFY(!window->Model().MeasRunning());
    QVERIFY(LastCallIs("vnaSetGenerator", {1, 2.5e9, 12}));
    ButtonOf(gen, QStringLiteral("Step Up"))->click();
    QVERIFY(LastCallIs("vnaSetGenerator", {1, 2.6e9, 12}));
    ButtonOf(gen, QStringLiteral("Step Down"))->click();
    ButtonOf(gen, QStringLiteral("Step Down"))->click();
    QVERIFY(LastCallIs("vnaSetGenerator", {1, 2.4e9, 12}));
    QCOMPARE(vnaSimCallCount("vnaSetGenerator"), 4);

    // A stimulus edit meanwhile does not take the instrument back.
    const uint64_t sweeps = window->Model().SweepsStarted();
    window->stimPointsChanged(0, 101);
    QVERIFY(!window->Model().MeasRunning());

    // Kept in the instrument state, and read back clamped.
    QTemporaryDir dir;
    {
        ApplicationSettings s(dir.filePath(QStringLiteral("state.ini")));
        state::SaveOutputGenerator(s, window->Model());
        s.BeginGroup(QStringLiteral("OutputGeneratorControls"));
        QCOMPARE(s.Load(QStringLiteral("Frequency")).toDouble(), 2.4e9);
        s.Save(QStringLiteral("Atten"), 45);
        s.EndGroup();
        state::LoadOutputGenerator(s, window->Model());
        gen->SettingsRecalled();
        QCOMPARE(gen->Atten(), 30);
        QCOMPARE(gen->StepFrequency(), 100e6);
        QVERIFY(LastCallIs("vnaSetGenerator", {1, 2.4e9, 30}));
    }

    // Leaving the dialog gives the instrument back to the sweeps.
    gen->hide();
    QVERIFY(!window->OutputGeneratorActive());
    QVERIFY(window->Model().MeasRunning());
    QVERIFY(testfx::WaitFor([&] { return window->Model().SweepsStarted() > sweeps; }));
    QCOMPARE(vnaSimCallCount("vnaSetGenerator"), 5);
}

void TestToolsUi::segmentEditorRefusesAndInstalls()
{
    window->panelButtonClicked(2);
    auto* sweepType = window->Panel(2)->findChild<KXComboBox*>(QStringLiteral("sweepType"));
    QVERIFY(sweepType && sweepType->isEnabled());
    const VNAStimulus before = window->Model().channels[0]->stimulus;

    // Cancelled: the channel stays linear and the panel says so again.
    {
        ModalAnswerer answerer;
        answerer.onDialog = [](QDialog* d) { d->reject(); };
        sweepType->setFocus();
        QTest::keyClick(sweepType, Qt::Key_Down);
    }
    QCOMPARE(window->Model().channels[0]->stimulus.type, SweepLinear);
    QCOMPARE(sweepType->GetCurrentData().toInt(), int(SweepLinear));
    QVERIFY(window->Model().channels[0]->stimulus == before);

    // Typed out of order with an overlap: refused with the overlap named, then mended.
    ModalAnswerer answerer;
    QStringList tableAfterRefusal;
    answerer.onDialog = [&](QDialog* d)
    {
        auto* table = d->findChild<QTableWidget*>(QStringLiteral("segments"));
        FillTable(
            table,
            {{"3 GHz", "4 GHz", "21"}, {"1 GHz", "2 GHz", "11"}, {"1.5 GHz", "2.5 GHz", "5"}});
        QTimer::singleShot(0, d,
                           [d, table, &tableAfterRefusal]
                           {
                               ButtonOf(d, QStringLiteral("OK"))->click();
                               for (int r = 0; r < table->rowCount(); ++r)
                               {
                                   tableAfterRefusal << table->item(r, 0)->text();
                               }
                               table->removeRow(1);
                               ButtonOf(d, QStringLiteral("OK"))->click();
                           });
    };
    sweepType->setFocus();
    QTest::keyClick(sweepType, Qt::Key_Down);
    QCOMPARE(answerer.titles, QStringList{QStringLiteral("Sweep Segments")});
    QVERIFY2(answerer.texts.value(0).contains(QLatin1String("Segments 1 and 2 overlap")),
             qPrintable(answerer.texts.value(0)));
    QCOMPARE(tableAfterRefusal.size(), 3);  // shown in order, as the message counts them
    QVERIFY(tableAfterRefusal[0].startsWith(QLatin1String("1.0")));

    const VNAStimulus& s = window->Model().channels[0]->stimulus;
    QCOMPARE(s.type, SweepSegment);
    QCOMPARE(s.segments.size(), 2);
    QCOMPARE(s.points, 32);
    QCOMPARE(s.start, 1e9);
    QCOMPARE(s.stop, 4e9);
    QCOMPARE(sweepType->GetCurrentData().toInt(), int(SweepSegment));
    QVERIFY(ButtonOf(window->Panel(2), QStringLiteral("Edit Segments"))->isEnabled());

    // The chain sweeps the instrument over as many points as the table holds, and a remote
    // client reads the table's frequencies.
    QVERIFY(testfx::WaitFor(
        [&]
        {
            QMutexLocker lock(&window->Model().traceLock);
            const VNATrace* t = window->Model().traces.value(window->Model().mapper.GetPos(0, 0));
            return t && t->x.size() == 32;
        }));
    QByteArray type, x;
    testfx::RunClients({[&]
                        {
                            testfx::LineClient c;
                            if (c.Connect(window->SCPIServerPort()))
                            {
                                type = c.Query(":SENS1:SWE:TYPE?");
                                x = c.Query(":CALC1:MEAS1:DATA:X?");
                            }
                        }});
    QCOMPARE(type, QByteArray("segment"));
    const QList<QByteArray> cells = x.split(',');
    QCOMPARE(cells.size(), 32);
    for (int i = 0; i < 32; ++i)
    {
        const double expected = i < 11 ? 1e9 + 1e8 * i : 3e9 + 5e7 * (i - 11);
        QVERIFY2(std::abs(cells[i].toDouble() - expected) < 1.0, cells[i].constData());
    }
    // Back to linear from the panel.
    sweepType->setFocus();
    QTest::keyClick(sweepType, Qt::Key_Up);
    QCOMPARE(window->Model().channels[0]->stimulus.type, SweepLinear);
}

void TestToolsUi::helpMenuOpensManualAndLinks()
{
    QList<QUrl> opened;
    SetUrlOpener(
        [&](const QUrl& url)
        {
            opened.append(url);
            return true;
        });
    MenuEntry(window, QStringLiteral("Kestrix Website"))->trigger();
    MenuEntry(window, QStringLiteral("Support Forums"))->trigger();
    QCOMPARE(opened, (QList<QUrl>{WebsiteUrl(), SupportForumsUrl()}));

    // The rendered manual is preferred to its Markdown; without either there is nothing to open.
    QTemporaryDir dir;
    const QString folder = QUrl::fromLocalFile(dir.path() + QStringLiteral("/")).toString();
    QVERIFY(UserManualUrl(folder).isEmpty());
    testfx::WriteFile(dir, ManualMarkdownName(), "# Manual\n");
    QCOMPARE(UserManualUrl(folder).toLocalFile(), dir.filePath(ManualMarkdownName()));
    testfx::WriteFile(dir, ManualHtmlName(), "<h1>Manual</h1>\n");
    QCOMPARE(UserManualUrl(folder).toLocalFile(), dir.filePath(ManualHtmlName()));

    // Beside this test program no manual is installed: the operator is told where it was
    // looked for, and nothing is opened.
    QVERIFY(GetManualsDir().startsWith(QLatin1String("file:///")));
    QVERIFY(!GetManualsDir().startsWith(QLatin1String("file:////")));
    ModalAnswerer answerer;
    MenuEntry(window, QStringLiteral("User Manual"))->trigger();
    QCOMPARE(answerer.titles, QStringList{QStringLiteral("User Manual")});
    QVERIFY2(answerer.texts.value(0).contains(QLatin1String("/manuals")),
             qPrintable(answerer.texts.value(0)));
    QCOMPARE(opened.size(), 2);
}

void TestToolsUi::aboutBoxChecksForNewVersions()
{
    testfx::FakeHttpServer server;
    server.SetBody("999.1\n");
    VersionChecker::SetBaseUrl(server.BaseUrl());
    QString text, result;
    bool preference = false;
    ModalAnswerer answerer;
    answerer.onDialog = [&](QDialog* d)
    {
        auto* about = qobject_cast<AboutDialog*>(d);
        if (!about)
        {
            return;
        }
        text = about->findChild<QLabel*>(QStringLiteral("aboutText"))->text();
        about->findChild<QCheckBox*>(QStringLiteral("checkAtStart"))->click();
        preference = Preferences::Get().checkForNewVersion;
        ButtonOf(about, QStringLiteral("Check Now"))->click();
        QTimer::singleShot(
            0, about,
            [about, &result]
            {
                (void)QTest::qWaitFor(
                    [about] { return about->CheckText().startsWith(QLatin1String("Version")); });
                result = about->CheckText();
                about->reject();
            });
    };
    MenuEntry(window, QStringLiteral("About"))->trigger();
    QVERIFY2(text.contains(VersionChecker::ProgramVersion()), qPrintable(text));
    // The version text the loaded instrument library gives of itself.
    const QString api = QString::fromLatin1(vnaGetAPIVersion()).toHtmlEscaped();
    QVERIFY(api.contains(QLatin1String("simulator")));
    QVERIFY2(text.contains(QLatin1String("NVX400 API Version: ") + api), qPrintable(text));
    QVERIFY2(text.contains(QString::number(window->Model().device.GetSerialNumber())),
             qPrintable(text));
    QVERIFY(preference);
    QCOMPARE(result, QStringLiteral("Version 999.1 is available."));
    QCOMPARE(server.Paths().size(), 1);
    Preferences::Get().checkForNewVersion = false;
    VersionChecker::SetBaseUrl(QUrl());
}

void TestToolsUi::startupCheckNeverHoldsTheWindow()
{
    // A window with no instrument (the demo refused) that checks at start-up against a server
    // holding its answer: the window is built and working while the answer is still out.
    testfx::FakeHttpServer server;
    server.Hold(true);
    server.SetBody("999.2.0\nNotes\n");
    VersionChecker::SetBaseUrl(server.BaseUrl());
    Preferences::Get().checkForNewVersion = true;
    VnaLib none;
    ModalAnswerer answerer(QMessageBox::No);
    // (The demo question at start-up runs an event loop, so the request may already be out.)
    auto* w = new MainWindow(nullptr, &none);
    QVERIFY(QTest::qWaitFor([&] { return server.Paths().size() == 1; }, 15000));
    QVERIFY(w->Versions()->Busy());
    QVERIFY(w->statusBar()->currentMessage().isEmpty());
    server.Release();
    QVERIFY(QTest::qWaitFor(
        [&] { return w->statusBar()->currentMessage().contains(QLatin1String("999.2.0")); },
        15000));

    // Offline at start-up: no message and no error, in the status bar or anywhere.
    quint16 closed = 0;
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        closed = probe.serverPort();
    }
    VersionChecker::SetBaseUrl(QUrl(QStringLiteral("http://127.0.0.1:%1").arg(closed)));
    SysErr::ClearErrors();
    auto* offline = new MainWindow(nullptr, &none);
    QSignalSpy finished(offline->Versions(), &VersionChecker::checkFinished);
    // The start-up check may have ended inside the demo question's event loop: this one is
    // then the same check again, else it joins the one under way.
    offline->Versions()->PerformVersionCheck();
    QVERIFY(finished.wait(15000));
    QCOMPARE(finished[0][0].toBool(), false);
    QVERIFY(offline->statusBar()->currentMessage().isEmpty());
    QCOMPARE(SysErr::GetErrorCount(), 0);
    // Only the two demo questions were asked.
    QCOMPARE(answerer.titles,
             (QStringList{QStringLiteral("Device Status"), QStringLiteral("Device Status")}));
    Preferences::Get().checkForNewVersion = false;
    VersionChecker::SetBaseUrl(QUrl());
    delete offline;
    delete w;
}

QTEST_MAIN(TestToolsUi)
#include "test_tools_ui.moc"
