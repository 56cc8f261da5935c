// "Maury uCal Controls" against the live emulator, found through the explicit port name: the
// buttons switch the module, the labels show what it says, and each failure gives its message.
#include <QButtonGroup>
#include <QMenuBar>
#include <QSignalSpy>
#include <QtTest>

#include "mainwindow.h"
#include "maury_ucal_dialog.h"
#include "modal_answerer.h"
#include "preferences.h"
#include "test_fixtures.h"
#include "ucal_fixtures.h"
#include "vna_lib.h"

namespace
{
// A guard against a stuck module, not a timing check.
constexpr int kGuardMs = 20000;

bool WaitForUpdate(MauryUCalControlsDlg& dlg)
{
    QSignalSpy spy(&dlg, &MauryUCalControlsDlg::moduleUpdated);
    return spy.wait(kGuardMs);
}
}  // namespace

class TestUCalDialog : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        testfx::IsolateUserFiles();
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    }
    void cleanup() { qunsetenv("VNA_UCAL_PORT"); }
    void controlsDriveTheModule();
    void failuresGiveTheirMessages();
    void menuShowsTheOneDialog();
};

void TestUCalDialog::controlsDriveTheModule()
{
    testfx::UCalEmulator emu(QStringLiteral(UCAL_EMULATOR));
    QVERIFY(emu.Start({"--points", "5", "--serial", "321", "--temp", "24.6"}));
    qputenv("VNA_UCAL_PORT", emu.PortName().toLocal8Bit());
    MauryUCalControlsDlg dlg;
    QCOMPARE(dlg.windowTitle(), QStringLiteral("Maury uCal Controls"));
    dlg.show();
    QVERIFY(!dlg.StateButtons()->button(MauryUCal::Open)->isEnabled());

    dlg.ConnectButton()->click();
    QVERIFY(WaitForUpdate(dlg));
    QVERIFY(dlg.IsConnected());
    QCOMPARE(dlg.ConnectButton()->text(), QStringLiteral("Disconnect"));
    QCOMPARE(dlg.FieldText(MauryUCalControlsDlg::FieldSerialNumber), QStringLiteral("321"));
    QCOMPARE(dlg.FieldText(MauryUCalControlsDlg::FieldModel), QStringLiteral("MT982B01-35-MF"));
    QCOMPARE(dlg.FieldText(MauryUCalControlsDlg::FieldDevice), emu.PortName());
    QCOMPARE(dlg.FieldText(MauryUCalControlsDlg::FieldState), QStringLiteral("Short"));
    QVERIFY(dlg.StateButtons()->button(MauryUCal::Short)->isChecked());
    // The first temperature reading follows the connection.
    QTRY_VERIFY_WITH_TIMEOUT(!dlg.FieldText(MauryUCalControlsDlg::FieldTemperature).isEmpty(),
                             kGuardMs);
    QCOMPARE(dlg.FieldText(MauryUCalControlsDlg::FieldTemperature),
             QStringLiteral("24.6°C - In Range"));

    // Each state button switches the module, as the module itself reports.
    for (int s : {MauryUCal::Thru, MauryUCal::Open, MauryUCal::Load})
    {
        dlg.StateButtons()->button(s)->click();
        QVERIFY(WaitForUpdate(dlg));
        QString answer;
        QVERIFY(emu.Control(QStringLiteral("state?"), &answer));
        QCOMPARE(answer.toLatin1() + '\n', UCalStateText(s));
        QCOMPARE(dlg.FieldText(MauryUCalControlsDlg::FieldState),
                 dlg.StateButtons()->button(s)->text());
    }
    // A refused switch leaves the state shown as it was.
    QVERIFY(emu.Control(QStringLiteral("fault nak")));
    dlg.StateButtons()->button(MauryUCal::Short)->click();
    QVERIFY(WaitForUpdate(dlg));
    QVERIFY(dlg.StateButtons()->button(MauryUCal::Load)->isChecked());
    QCOMPARE(dlg.FieldText(MauryUCalControlsDlg::FieldState), QStringLiteral("Load"));
    QVERIFY(emu.Control(QStringLiteral("fault none")));

    QVERIFY(emu.Control(QStringLiteral("temp 41")));
    dlg.updateTemp();
    QTRY_VERIFY_WITH_TIMEOUT(dlg.FieldText(MauryUCalControlsDlg::FieldTemperature) ==
                                 QStringLiteral("41.0°C - Out of Range"),
                             kGuardMs);

    dlg.ConnectButton()->click();
    QVERIFY(!dlg.IsConnected());
    QCOMPARE(dlg.ConnectButton()->text(), QStringLiteral("Connect"));
    QVERIFY(dlg.FieldText(MauryUCalControlsDlg::FieldModel).isEmpty());
    // Closing the dialog lets the module go: it can be taken again at once.
    dlg.ConnectButton()->click();
    QVERIFY(WaitForUpdate(dlg));
    QVERIFY(dlg.IsConnected());
    dlg.hide();
    QVERIFY(!dlg.IsConnected());
    MauryUCal again(UCalPortInfo::Named(emu.PortName()));
    QVERIFY(again.Connect());
}

void TestUCalDialog::failuresGiveTheirMessages()
{
    MauryUCalControlsDlg dlg;
    dlg.show();
    // No port named and (on a test machine) no module on USB.
    Preferences::Get().uCalPortName.clear();
    if (MauryUCal::FindDevices().isEmpty())
    {
        testfx::ModalAnswerer ok(QMessageBox::Ok);
        dlg.ConnectButton()->click();
        QCOMPARE(ok.texts, QStringList{QStringLiteral("No Maury uCal device found.")});
        QVERIFY(!dlg.IsConnected());
    }

    testfx::UCalEmulator emu(QStringLiteral(UCAL_EMULATOR));
    QVERIFY(emu.Start({"--points", "5", "--fault", "short-id"}));
    // The preference names the port when the environment does not.
    Preferences::Get().uCalPortName = emu.PortName();
    testfx::ModalAnswerer ok(QMessageBox::Ok);
    dlg.ConnectButton()->click();
    QTRY_VERIFY_WITH_TIMEOUT(!ok.texts.isEmpty(), kGuardMs);
    QCOMPARE(ok.texts, QStringList{QStringLiteral("Failed to connect to Maury uCal device.")});
    QCOMPARE(ok.titles, QStringList{QStringLiteral("Error")});
    QVERIFY(!dlg.IsConnected());
    QCOMPARE(dlg.ConnectButton()->text(), QStringLiteral("Connect"));

    // Closing the dialog while it waits on a silent module drops the connection under way.
    QVERIFY(emu.Control(QStringLiteral("fault silent")));
    dlg.ConnectButton()->click();
    QVERIFY(!dlg.ConnectButton()->isEnabled());
    dlg.hide();
    QVERIFY(dlg.ConnectButton()->isEnabled());
    QVERIFY(!dlg.IsConnected());
    Preferences::Get().uCalPortName.clear();
}

// "Utilities > Maury Microwave uCal > Direct Controls" shows the window's one controls dialog.
void TestUCalDialog::menuShowsTheOneDialog()
{
    VnaLib none;
    testfx::ModalAnswerer yes(QMessageBox::Yes);  // accept the demo device
    MainWindow window(nullptr, &none);
    window.show();
    QAction* direct = nullptr;
    for (QAction* a : window.menuBar()->findChildren<QAction*>())
    {
        if (a->text() == QLatin1String("Direct Controls"))
        {
            direct = a;
        }
    }
    QVERIFY(direct);
    direct->trigger();
    auto* dlg = window.findChild<MauryUCalControlsDlg*>();
    QVERIFY(dlg && dlg->isVisible());
    dlg->close();
    direct->trigger();
    QCOMPARE(window.findChildren<MauryUCalControlsDlg*>().size(), 1);
    QVERIFY(dlg->isVisible());
    window.close();
}

QTEST_MAIN(TestUCalDialog)
#include "test_ucal_dialog.moc"
