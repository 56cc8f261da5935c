#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QMutexLocker>
#include <QProcess>
#include <QTimer>
#include <QtTest>

#include "error_log.h"
#include "mainwindow.h"
#include "scpi_log.h"
#include "test_fixtures.h"
#include "vna_lib.h"

class TestStartup : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void hiddenWithoutInstrumentStaysUp();
    void demoAcceptedStartsSweeping();
    void programProcessHidden();

private:
    VnaLib none;
};

void TestStartup::hiddenWithoutInstrumentStaysUp()
{
    SysErr::ClearErrors();
    ApplyCommandLineArguments({"--hidden", "--bogus"});
    QVERIFY(Hidden::Get());
    QCOMPARE(SysErr::GetErrorCount(), 1);
    {
        // No question may be asked: a modal box would block construction here.
        MainWindow w(nullptr, &none);
        QVERIFY(!w.isVisible());
        QVERIFY(!w.Model().device.Connected());
        QVERIFY(!w.Model().MeasRunning());
        QCoreApplication::processEvents();
        // The stimulus edits still work without an instrument.
        w.stimStartFreqChanged(0, Frequency(1e9));
        w.stimStopFreqChanged(0, Frequency(50e9));
        QCOMPARE(w.Model().channels[0]->stimulus.start, 1e9);
        QCOMPARE(w.Model().channels[0]->stimulus.stop, 40e9);
        w.close();
    }
    QCOMPARE(SysErr::GetNextErrorAsString(),
             QString("-8,Command line error;Unknown command line parameter"));
    Hidden::Set(false);
}

void TestStartup::demoAcceptedStartsSweeping()
{
    // Answer the demo question as an operator would.
    bool asked = false;
    QTimer answer;
    connect(&answer, &QTimer::timeout,
            [&]
            {
                auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
                if (box && box->text().contains("Would you like to launch the demo device?"))
                {
                    asked = true;
                    box->button(QMessageBox::Yes)->click();
                }
            });
    answer.start(20);
    MainWindow w(nullptr, &none);
    answer.stop();
    QVERIFY(asked);
    QVERIFY(w.Model().device.IsDemoMode());
    QVERIFY(w.Model().MeasRunning());
    w.show();
    // The demo opens with all four S-parameters on one plot, and the sweep fills them.
    QTRY_VERIFY_WITH_TIMEOUT(
        [&]
        {
            QMutexLocker lock(&w.Model().traceLock);
            int filled = 0;
            for (const VNATrace* t : w.Model().traces)
            {
                filled += (t && t->y.size() == 201) ? 1 : 0;
            }
            return filled == 4;
        }(),
        10000);
    QCOMPARE(w.GetVisiblePlots(), 1);
    w.close();
    QVERIFY(!w.Model().MeasRunning());
    QVERIFY(!w.Model().device.Connected());
}

void TestStartup::programProcessHidden()
{
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.insert("HOME", QDir::tempPath() + "/vna-startup-home");
    p.setProcessEnvironment(env);
    p.start(VNA_APP_PATH, {"--hidden", "--unknown-option"});
    QVERIFY(p.waitForStarted());
    // It must still be running after start-up has long finished: no crash, no blocking question.
    QVERIFY(!p.waitForFinished(1500));
    QCOMPARE(p.state(), QProcess::Running);
    p.terminate();
    if (!p.waitForFinished(5000))
    {
        p.kill();
        p.waitForFinished();
    }
}

QTEST_MAIN(TestStartup)
#include "test_startup.moc"
