// The check for new versions against a web server of the test's own on 127.0.0.1: the file is
// read and compared, a server that is away or answers nonsense leaves no trace, and a fetch
// never holds up its caller.
#include <QNetworkProxy>
#include <QSignalSpy>
#include <QTcpServer>
#include <QtTest>

#include "error_log.h"
#include "fake_http_server.h"
#include "version_checker.h"

class TestVersionChecker : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void parsingAndComparison();
    void fetchesAndCompares();
    void silentWhenAwayOrConfused();
    void neverWaitsForTheServer();
};

void TestVersionChecker::initTestCase()
{
    // Loopback only, whatever proxy the machine names.
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
}

void TestVersionChecker::parsingAndComparison()
{
    QString version, notes;
    QVERIFY(VersionChecker::ParseVersionFile("\n  2.10.3 \nFaster sweeps.\nNew icon.\n", version,
                                             notes));
    QCOMPARE(version, QStringLiteral("2.10.3"));
    QCOMPARE(notes, QStringLiteral("Faster sweeps.\nNew icon."));
    for (const char* bad : {"", "\n\n", "<html>404</html>", "v2.1", "2..1", "1.2.3.4.5"})
    {
        QVERIFY2(!VersionChecker::ParseVersionFile(bad, version, notes), bad);
    }
    // Numeric, part by part: 2.10 is newer than 2.9, and missing parts are zeros.
    QVERIFY(VersionChecker::CompareVersions(QStringLiteral("2.10"), QStringLiteral("2.9")) > 0);
    QVERIFY(VersionChecker::CompareVersions(QStringLiteral("2.9.9"), QStringLiteral("2.10")) < 0);
    QCOMPARE(VersionChecker::CompareVersions(QStringLiteral("1.0"), QStringLiteral("1.0.0")), 0);
    QVERIFY(VersionChecker::CompareVersions(QStringLiteral("1.0.1"), QStringLiteral("1")) > 0);
    QVERIFY(!VersionChecker::ProgramVersion().isEmpty());
    QVERIFY(VersionChecker::ParseVersionFile(VersionChecker::ProgramVersion().toUtf8(), version,
                                             notes));
}

void TestVersionChecker::fetchesAndCompares()
{
    testfx::FakeHttpServer server;
    VersionChecker::SetBaseUrl(server.BaseUrl());
    QCOMPARE(VersionChecker::VersionFileUrl().host(), QStringLiteral("127.0.0.1"));

    VersionChecker checker;
    QSignalSpy newer(&checker, &VersionChecker::newVersionAvailable);
    QSignalSpy finished(&checker, &VersionChecker::checkFinished);
    server.SetBody("999.0.1\nEverything is better.\n");
    checker.PerformVersionCheck();
    QVERIFY(finished.wait(15000));
    QCOMPARE(server.Paths(), QStringList{QStringLiteral("/kxdownloads/Versions/vna/version.txt")});
    QCOMPARE(finished.takeFirst().value(0).toBool(), true);
    QCOMPARE(newer.size(), 1);
    QCOMPARE(newer[0][0].toString(), QStringLiteral("999.0.1"));
    QCOMPARE(newer[0][1].toString(), QStringLiteral("Everything is better."));

    // The same version as this program's is no news.
    server.SetBody(VersionChecker::ProgramVersion().toUtf8() + '\n');
    checker.PerformVersionCheck();
    QVERIFY(finished.wait(15000));
    QCOMPARE(finished.takeFirst().value(1).toString(), VersionChecker::ProgramVersion());
    QCOMPARE(newer.size(), 1);
    VersionChecker::SetBaseUrl(QUrl());
}

void TestVersionChecker::silentWhenAwayOrConfused()
{
    SysErr::ClearErrors();
    VersionChecker checker;
    QSignalSpy newer(&checker, &VersionChecker::newVersionAvailable);
    QSignalSpy finished(&checker, &VersionChecker::checkFinished);

    // A port nobody listens on: taken and given back.
    quint16 closed = 0;
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        closed = probe.serverPort();
    }
    VersionChecker::SetBaseUrl(QUrl(QStringLiteral("http://127.0.0.1:%1").arg(closed)));
    checker.PerformVersionCheck();
    QVERIFY(finished.wait(15000));
    QCOMPARE(finished.takeFirst().value(0).toBool(), false);

    testfx::FakeHttpServer server;
    VersionChecker::SetBaseUrl(server.BaseUrl());
    server.SetBody("<html>Not Found</html>", 404);
    checker.PerformVersionCheck();
    QVERIFY(finished.wait(15000));
    QCOMPARE(finished.takeFirst().value(0).toBool(), false);
    server.SetBody("<html>a portal page</html>");
    checker.PerformVersionCheck();
    QVERIFY(finished.wait(15000));
    QCOMPARE(finished.takeFirst().value(0).toBool(), false);

    QCOMPARE(newer.size(), 0);
    QCOMPARE(SysErr::GetErrorCount(), 0);
    VersionChecker::SetBaseUrl(QUrl());
}

void TestVersionChecker::neverWaitsForTheServer()
{
    testfx::FakeHttpServer server;
    server.Hold(true);
    server.SetBody("999.0.0\n");
    VersionChecker::SetBaseUrl(server.BaseUrl());
    VersionChecker checker;
    QSignalSpy finished(&checker, &VersionChecker::checkFinished);
    // The call returns with the request still out; a second one while it is out is ignored.
    checker.PerformVersionCheck();
    QVERIFY(checker.Busy());
    QCOMPARE(finished.size(), 0);
    checker.PerformVersionCheck();
    QVERIFY(QTest::qWaitFor([&] { return server.Paths().size() == 1; }, 15000));
    QCOMPARE(finished.size(), 0);
    server.Release();
    QVERIFY(finished.wait(15000));
    QCOMPARE(finished.takeFirst().value(0).toBool(), true);
    QVERIFY(!checker.Busy());
    QCOMPARE(server.Paths().size(), 1);
    VersionChecker::SetBaseUrl(QUrl());
}

QTEST_GUILESS_MAIN(TestVersionChecker)
#include "test_version_checker.moc"
