#include <unistd.h>
#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QMutexLocker>
#include <QProcess>
#include <QSet>
#include <QTcpSocket>
#include <QTimer>
#include <QtTest>
#include <algorithm>

#include "application_settings.h"
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

namespace
{
// The TCP port a process listens on, from the kernel's tables: its sockets' inodes among its open
// files, and the listening entry with such an inode. 0 while it listens on none.
quint16 ListeningPort(qint64 pid)
{
    QSet<QByteArray> sockets;
    const QString fds = QStringLiteral("/proc/%1/fd").arg(pid);
    for (const QString& fd : QDir(fds).entryList(QDir::AllEntries | QDir::System))
    {
        char target[128];
        const ssize_t n =
            ::readlink(QFile::encodeName(fds + '/' + fd).constData(), target, sizeof target);
        const QByteArray link(target, int(std::max<ssize_t>(n, 0)));
        if (link.startsWith("socket:["))
        {
            sockets.insert(link.mid(8, link.size() - 9));
        }
    }
    for (const char* table : {"tcp", "tcp6"})
    {
        QFile f(QStringLiteral("/proc/%1/net/%2").arg(pid).arg(QLatin1String(table)));
        if (!f.open(QIODevice::ReadOnly))
        {
            continue;
        }
        f.readLine();  // the header
        while (!f.atEnd())
        {
            // sl local_address rem_address st ... inode: 0A is the listening state.
            const QList<QByteArray> cols = f.readLine().simplified().split(' ');
            if (cols.size() > 9 && cols[3] == "0A" && sockets.contains(cols[9]))
            {
                return quint16(cols[1].split(':').last().toUInt(nullptr, 16));
            }
        }
    }
    return 0;
}
}  // namespace

void TestStartup::programProcessHidden()
{
    // A home of its own, whose preferences give the remote server any free port.
    QTemporaryDir home;
    QVERIFY(home.isValid());
    const QString folder = home.path() + QStringLiteral("/Documents/Kestrix/vna");
    QVERIFY(QDir().mkpath(folder));
    {
        ApplicationSettings prefs(folder + QStringLiteral("/Preferences.ini"));
        prefs.Save(QStringLiteral("Preferences/SCPIPrefs/Port"), 0);
    }
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.insert("HOME", home.path());
    env.insert("XDG_CONFIG_HOME", home.path() + QStringLiteral("/.config"));
    p.setProcessEnvironment(env);
    p.start(VNA_APP_PATH, {"--hidden", "--unknown-option"});
    QVERIFY(p.waitForStarted());
    quint16 port = 0;
    QTRY_VERIFY_WITH_TIMEOUT((port = ListeningPort(p.processId())) != 0, 20000);

    // It answers, so start-up finished without a crash or a question waiting for an answer; and
    // the unknown option is in its error queue.
    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHost, port);
    QVERIFY(client.waitForConnected(10000));
    QStringList errors;
    for (int i = 0; i < 10 && !errors.contains(QStringLiteral("0,No Error;")); ++i)
    {
        client.write(":SYSTem:ERRor:NEXT?\n");
        while (!client.canReadLine() && client.waitForReadyRead(10000))
        {
        }
        errors.append(QString::fromLatin1(client.readLine()).trimmed());
    }
    QVERIFY2(
        errors.contains(QStringLiteral("-8,Command line error;Unknown command line parameter")),
        qPrintable(errors.join(QStringLiteral(" | "))));
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
