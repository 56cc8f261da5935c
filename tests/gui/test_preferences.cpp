// The preferences dialog: every option edited through its controls, saved, read back, and seen
// where the program uses it.
#include <QApplication>
#include <QCheckBox>
#include <QFile>
#include <QLabel>
#include <QMap>
#include <QMessageBox>
#include <QStackedWidget>
#include <QTcpServer>
#include <QtTest>
#include <functional>

#include "application_settings.h"
#include "color_prefs.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "modal_answerer.h"
#include "preferences.h"
#include "preferences_dialog.h"
#include "scpi_log.h"
#include "test_fixtures.h"
#include "vna_lib.h"
#include "vna_plot.h"

namespace
{
quint16 FreeLoopbackPort()
{
    QTcpServer probe;
    return probe.listen(QHostAddress::LocalHost, 0) ? probe.serverPort() : 0;
}

QColor MostFrequentColor(const QImage& img)
{
    QMap<QRgb, int> count;
    for (int y = 0; y < img.height(); ++y)
    {
        for (int x = 0; x < img.width(); ++x)
        {
            ++count[img.pixel(x, y) | 0xff000000u];
        }
    }
    QRgb best = 0;
    for (auto it = count.constBegin(); it != count.constEnd(); ++it)
    {
        if (it.value() > count.value(best))
        {
            best = it.key();
        }
    }
    return QColor(best);
}

// The options the test sets, by the key each is stored under.
struct Chosen
{
    QMap<QString, bool> checks;
    QMap<QString, double> numbers;
    QColor background{10, 40, 70};
    QColor trace1{250, 128, 10};
};
}  // namespace

class TestPreferences : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void firstStartDefaults();
    void everyOptionIsEditedSavedAndReloaded();
    void optionsTakeEffect();
    void remoteSettingsApplyAtNextStart();
    void resetEmptiesTheFile();

private:
    // Runs the window's Preferences entry; `edit` sets the dialog's controls before OK.
    void RunDialog(std::function<void(PreferencesDialog*)> edit);
    VnaLib none;
    MainWindow* window = nullptr;
    Chosen chosen;
    struct
    {
        KXStyleSheet style;
        int fontSize;
        bool scpiEnabled;
        int scpiPort;
        bool scpiLogEnabled;
    } firstStart{};
};

void TestPreferences::initTestCase()
{
    testfx::IsolateUserFiles();
    const Preferences& p = Preferences::Get();
    firstStart = {p.GetProgramStyle(), p.fontSize, p.scpiEnabled, p.scpiPort, p.scpiLogEnabled};
    Preferences::Get().scpiPort = 0;  // any free port: other tests may hold the usual one
    testfx::ModalAnswerer yes(QMessageBox::Yes);  // accept the demo device
    window = new MainWindow(nullptr, &none);
    window->resize(1200, 800);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window));
}

void TestPreferences::cleanupTestCase()
{
    window->close();
    delete window;
}

void TestPreferences::RunDialog(std::function<void(PreferencesDialog*)> edit)
{
    testfx::ModalAnswerer answer;
    bool seen = false;
    answer.onDialog = [&](QDialog* d)
    {
        auto* dialog = qobject_cast<PreferencesDialog*>(d);
        QVERIFY(dialog);
        seen = true;
        edit(dialog);
        dialog->acceptPressed();
    };
    window->editPreferences();
    QVERIFY(seen);
}

void TestPreferences::firstStartDefaults()
{
    // No preferences file yet: dark theme, font 11, remote on at 5026, remote log off.
    QVERIFY(!QFile::exists(GetPreferencesIniPath()));
    QCOMPARE(firstStart.style, KXStyleDark);
    QCOMPARE(firstStart.fontSize, 11);
    QCOMPARE(QApplication::font().pointSize(), 11);
    QVERIFY(firstStart.scpiEnabled);
    QCOMPARE(firstStart.scpiPort, 5026);
    QVERIFY(!firstStart.scpiLogEnabled);
    QCOMPARE(ColorPrefs::Get().background, QColor(Qt::black));
}

void TestPreferences::everyOptionIsEditedSavedAndReloaded()
{
    const quint16 port = FreeLoopbackPort();
    QVERIFY(port != 0);
    chosen.numbers = {{"TraceThickness", 2.5},
                      {"GraticuleWidth", 3.0},
                      {"FontSize", 14},
                      {"SCPIPrefs/Port", port},
                      {"SCPIPrefs/LogMaxEntries", 77},
                      {"SCPIPrefs/LogMaxMessageLength", 55}};
    RunDialog(
        [&](PreferencesDialog* d)
        {
            // Every check box flips, except the remote switch, tried on its own later.
            for (QCheckBox* box : d->findChildren<QCheckBox*>())
            {
                if (box->objectName() != QLatin1String("SCPIPrefs/Enabled"))
                {
                    box->setChecked(!box->isChecked());
                }
                chosen.checks.insert(box->objectName(), box->isChecked());
            }
            for (auto it = chosen.numbers.constBegin(); it != chosen.numbers.constEnd(); ++it)
            {
                auto* e = d->findChild<KXLineEdit*>(it.key());
                QVERIFY2(e, qPrintable(it.key()));
                e->SetValue(it.value());
            }
            d->findChild<KXComboBox*>("OnPresetPowerLevel")->SetByData(int(VNAPowerLow));
            d->findChild<KXComboBox*>("ControlPanelOrientation")->SetByData(1);
            d->findChild<KXComboBox*>("Language")->SetByData(QStringLiteral("de"));
            d->findChild<KXColorButton*>("Color1")->SetColor(chosen.background);
            d->findChild<KXColorButton*>("Color5")->SetColor(chosen.trace1);
        });
    QCOMPARE(chosen.checks.size(), 13);

    Preferences& p = Preferences::Get();
    auto readBack = [&]
    {
        ApplicationSettings s(GetPreferencesIniPath());
        s.beginGroup(QStringLiteral("Preferences"));
        for (auto it = chosen.checks.constBegin(); it != chosen.checks.constEnd(); ++it)
        {
            QVERIFY2(s.contains(it.key()), qPrintable(it.key()));
            QCOMPARE(s.value(it.key()).toBool(), it.value());
        }
        for (auto it = chosen.numbers.constBegin(); it != chosen.numbers.constEnd(); ++it)
        {
            QCOMPARE(s.value(it.key()).toDouble(), it.value());
        }
        QCOMPARE(s.value("OnPresetPowerLevel").toInt(), int(VNAPowerLow));
        QCOMPARE(s.value("ControlPanelOrientation").toInt(), 1);
        QCOMPARE(s.value("Language").toString(), QStringLiteral("de"));
    };
    // Nothing is written until saved (at exit).
    QVERIFY(!QFile::exists(GetPreferencesIniPath()));
    p.SavePreset();
    ColorPrefs::Get().Save();
    readBack();

    // Scrambled in memory, then read back from the file.
    p.traceThickness = 9;
    p.scpiPort = 1;
    p.language = QStringLiteral("xx");
    p.controlPanelOrientation = 0;
    p.SetUseFactoryCal(!p.UseFactoryCal());
    ColorPrefs::Get().LoadDefaultsLight();
    p.LoadPreset();
    ColorPrefs::Get().Load();
    QCOMPARE(p.traceThickness, 2.5);
    QCOMPARE(p.scpiPort, int(port));
    QCOMPARE(p.language, QStringLiteral("de"));
    QCOMPARE(p.controlPanelOrientation, 1);
    QCOMPARE(p.UseFactoryCal(), chosen.checks.value("UseFactoryCal"));
    QCOMPARE(p.onPresetPowerLevel, VNAPowerLow);
    QCOMPARE(p.fontSize, 14);
    QCOMPARE(ColorPrefs::Get().background, chosen.background);
    QCOMPARE(ColorPrefs::Get().GetTraceColor(0), chosen.trace1);
    QCOMPARE(p.scpiLogEnabled, chosen.checks.value("SCPIPrefs/LogEnabled"));
    QCOMPARE(p.confirmPreset, chosen.checks.value("ConfirmPreset"));
}

void TestPreferences::optionsTakeEffect()
{
    const Preferences& p = Preferences::Get();
    // The panels moved to the left of the plots.
    QWidget* stack = window->Panel(0)->parentWidget();
    VNAPlot* plot = window->findChild<VNAPlot*>();
    QVERIFY(stack && plot);
    QVERIFY(stack->mapTo(window, QPoint()).x() < plot->mapTo(window, QPoint()).x());
    // The plot is painted on the chosen background.
    window->updatePlots();
    QCoreApplication::processEvents();
    QCOMPARE(MostFrequentColor(plot->grab().toImage()), chosen.background);
    // The remote log's indicator follows its switch.
    const QString indicator = p.scpiLogEnabled ? QStringLiteral("Enabled") : "Disabled";
    bool found = false;
    for (QLabel* l : window->ScpiLog()->findChildren<QLabel*>())
    {
        found = found || l->text() == indicator;
    }
    QVERIFY(found);
    // Preset: asked or not as chosen, RF and power level as chosen.
    QVERIFY(!p.confirmPreset);
    testfx::ModalAnswerer answer(QMessageBox::Yes);
    window->presetButtonClicked();
    QCoreApplication::processEvents();
    QVERIFY(answer.titles.isEmpty());
    QCOMPARE(window->Model().rfEnabled, p.onPresetPowerOn);
    QCOMPARE(window->Model().channels[0]->stimulus.powerConfig, VNAPowerLow);
    // The font size takes effect with the next theme.
    QCOMPARE(QApplication::font().pointSize(), 14);
    window->setLightTheme();
    QCOMPARE(QApplication::font().pointSize(), 14);
    window->setDarkTheme();
}

void TestPreferences::remoteSettingsApplyAtNextStart()
{
    const int port = Preferences::Get().scpiPort;
    // The running window keeps its server until the next start.
    QVERIFY(window->SCPIServerPort() != port);
    {
        testfx::ModalAnswerer yes(QMessageBox::Yes);
        MainWindow next(nullptr, &none);
        QCOMPARE(int(next.SCPIServerPort()), port);
    }
    RunDialog([](PreferencesDialog* d)
              { d->findChild<QCheckBox*>("SCPIPrefs/Enabled")->setChecked(false); });
    QVERIFY(!Preferences::Get().scpiEnabled);
    testfx::ModalAnswerer yes(QMessageBox::Yes);
    MainWindow next(nullptr, &none);
    QCOMPARE(int(next.SCPIServerPort()), 0);
    Preferences::Get().scpiEnabled = true;
}

void TestPreferences::resetEmptiesTheFile()
{
    Preferences::Get().SavePreset();
    QVERIFY(QFileInfo(GetPreferencesIniPath()).size() > 0);
    testfx::ModalAnswerer answer;
    PreferencesDialog dialog(window);
    dialog.clearPreferences();
    QCOMPARE(answer.titles, QStringList{QStringLiteral("Restart Application")});
    QVERIFY(!Preferences::SaveOnClose());
    ApplicationSettings s(GetPreferencesIniPath());
    QVERIFY(s.allKeys().isEmpty());
    // The running values stay until the program ends.
    QCOMPARE(Preferences::Get().fontSize, 14);
}

QTEST_MAIN(TestPreferences)
#include "test_preferences.moc"
