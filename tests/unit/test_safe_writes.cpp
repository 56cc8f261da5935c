// Every writer of the program either replaces a file whole or leaves the old one as it was.
// Failures are provoked with a file-size limit (the process's RLIMIT_FSIZE), which stops writes
// even for root, where permission bits do not: the nearest thing to a full disk a test can have.
#include <sys/resource.h>
#include <sys/stat.h>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <csignal>

#include "application_settings.h"
#include "test_fixtures.h"
#include "touchstone.h"
#include "vna_limits.h"
#include "vna_trace.h"

namespace
{
// Caps the size of any file this process writes while in scope. SIGXFSZ is ignored so that an
// oversized write fails with an error instead of killing the test.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        previousHandler = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &previous);
        rlimit limit = previous;
        limit.rlim_cur = bytes;
        active = setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &previous);
        std::signal(SIGXFSZ, previousHandler);
    }
    bool active = false;

private:
    rlimit previous{};
    void (*previousHandler)(int) = nullptr;
};

// Small enough that an 11-point sweep fits and every larger write fails. Larger files come in
// two sizes: below Qt's 16 kB write buffer (where a short write shows only when the buffer is
// flushed) and well above it (where it shows in write()'s count).
constexpr rlim_t kLimit = 4 * 1024;
const int kSizes[] = {101, 2001};

QByteArray ReadAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Files of a folder: a failed save must not leave its temporary file behind.
QStringList Entries(const QString& dir)
{
    return QDir(dir).entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot);
}

SParameters Sweep(int points, VNAStimulus& stimulus)
{
    stimulus = testfx::Stimulus(1e9, 2e9, points);
    QVector<double> freqs(points);
    for (int i = 0; i < points; ++i)
    {
        freqs[i] = stimulus.start + i * stimulus.StepSize();
    }
    return testfx::SmoothSParams(freqs);
}
}  // namespace

class TestSafeWrites : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void touchstone();
    void traceExport();
    void rangeTables();
    void settingsFiles();
    void settingsWriteOnlyChanges();
};

void TestSafeWrites::touchstone()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("dut.s2p"));
    VNAStimulus small;
    const SParameters few = Sweep(11, small);
    QString error;
    QVERIFY2(StoreSNPFile(path, small, few, false, 0, error), qPrintable(error));
    const QByteArray good = ReadAll(path);
    QVERIFY(!good.isEmpty() && good.size() < qint64(kLimit));

    for (int points : kSizes)
    {
        VNAStimulus stimulus;
        const SParameters many = Sweep(points, stimulus);
        {
            FileSizeLimit limit(kLimit);
            QVERIFY(limit.active);
            error.clear();
            QVERIFY(!StoreSNPFile(path, stimulus, many, false, 0, error));
            QVERIFY(!error.isEmpty());
            // The one-port form, a quarter of the size per point, the same way.
            VNAStimulus longer;
            const SParameters more = Sweep(4 * points, longer);
            QVERIFY(!StoreSNPFile(path, longer, more, true, 1, error));
        }
        QCOMPARE(ReadAll(path), good);
        QCOMPARE(Entries(dir.path()), QStringList{QStringLiteral("dut.s2p")});
    }
    // And the old file still loads as the sweep it was.
    QVector<double> freqs;
    SParameters back;
    QVERIFY2(LoadS2PFile(path, false, freqs, back, error), qPrintable(error));
    QCOMPARE(back.Size(), few.Size());
    QVERIFY(testfx::MaxDifference(back, few) < 1e-5);

    // Without the limit the same call replaces the file: the limit was the only obstacle.
    VNAStimulus stimulus;
    const SParameters many = Sweep(kSizes[0], stimulus);
    QVERIFY2(StoreSNPFile(path, stimulus, many, false, 0, error), qPrintable(error));
    QVERIFY(ReadAll(path).size() > qint64(kLimit));

    // A folder that cannot exist (its parent is a file): an error, and nothing is created.
    const QString blocker = testfx::WriteFile(dir, QStringLiteral("blocker"), "x");
    QVERIFY(!StoreSNPFile(blocker + QStringLiteral("/dut.s2p"), small, few, false, 0, error));
    QCOMPARE(ReadAll(blocker), QByteArray("x"));
}

void TestSafeWrites::traceExport()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("trace.csv"));
    VNATrace trace;
    trace.x = {1e9, 1.5e9, 2e9};
    trace.y = {-1.0, -2.0, -3.0};
    trace.Export(path);
    const QByteArray good = ReadAll(path);
    // The exported rows are the trace's points, so a later comparison means something.
    QCOMPARE(good.count('\n'), trace.x.size() + 1);

    for (int points : {300, 20000})
    {
        VNATrace big;
        for (int i = 0; i < points; ++i)
        {
            big.x.append(1e9 + i * 1e5);
            big.y.append(-0.001 * i);
        }
        {
            FileSizeLimit limit(kLimit);
            QVERIFY(limit.active);
            big.Export(path);
        }
        QCOMPARE(ReadAll(path), good);
        QCOMPARE(Entries(dir.path()), QStringList{QStringLiteral("trace.csv")});
        big.Export(path);
        QCOMPARE(ReadAll(path).count('\n'), big.x.size() + 1);
        trace.Export(path);
    }
}

void TestSafeWrites::rangeTables()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString limitPath = dir.filePath(QStringLiteral("limits.csv"));
    const QString ripplePath = dir.filePath(QStringLiteral("ripple.csv"));
    QString error;
    QVERIFY(SaveLimitTable(limitPath, {{LimitMax, 1e9, 2e9, -3.0, -3.0}}, error));
    QVERIFY(SaveRippleTable(ripplePath, {{RippleAbsolute, 1e9, 2e9, 0.5}}, error));
    const QByteArray goodLimits = ReadAll(limitPath), goodRipple = ReadAll(ripplePath);

    // Tables too large for the limit, below and above Qt's write buffer.
    for (int count : {200, 2000})
    {
        QVector<VNALimitRange> limits(count);
        QVector<VNARippleLimitRange> ripples(count);
        for (int i = 0; i < count; ++i)
        {
            limits[i] = {LimitMin, 1e9 + i * 1.1e3, 1.5e9 + i * 1.3e3, -0.1 * i, -0.2 * i};
            ripples[i] = {RippleMargin, 1e9 + i * 1.1e3, 1.5e9 + i * 1.3e3, 0.01 * i};
        }
        {
            FileSizeLimit limit(kLimit);
            QVERIFY(limit.active);
            QVERIFY(!SaveLimitTable(limitPath, limits, error));
            QCOMPARE(error, QStringLiteral("Unable to write file."));
            QVERIFY(!SaveRippleTable(ripplePath, ripples, error));
        }
        QCOMPARE(ReadAll(limitPath), goodLimits);
        QCOMPARE(ReadAll(ripplePath), goodRipple);
        QCOMPARE(Entries(dir.path()),
                 (QStringList{QStringLiteral("limits.csv"), QStringLiteral("ripple.csv")}));
        // Without the limit they go in whole.
        QVERIFY(SaveLimitTable(limitPath, limits, error));
        QVector<VNALimitRange> back;
        QVERIFY(LoadLimitTable(limitPath, back, error));
        QCOMPARE(back.size(), count);
        QVERIFY(SaveLimitTable(limitPath, {{LimitMax, 1e9, 2e9, -3.0, -3.0}}, error));
    }
}

void TestSafeWrites::settingsFiles()
{
    // Calibrations, kits, presets and preferences are all INI files written by QSettings, whose
    // sync writes a temporary file and renames it over the old one (QSaveFile) unless told
    // otherwise.
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("state.ini"));
    QVector<double> values;
    for (int i = 0; i < 8; ++i)
    {
        values.append(i * 0.25);
    }
    {
        ApplicationSettings s(path);
        s.Save(QStringLiteral("Cal/Points"), values);
        s.Save(QStringLiteral("Cal/Name"), QStringLiteral("first"));
        s.Sync();
        QCOMPARE(s.WriteStatus(), QSettings::NoError);
    }
    const QByteArray good = ReadAll(path);
    QVERIFY(!good.isEmpty());

    // A settings file in a folder that cannot exist reports the failure; the temporary file is
    // never created, so nothing else is touched.
    const QString blocker = testfx::WriteFile(dir, QStringLiteral("blocker"), "x");
    {
        ApplicationSettings s(blocker + QStringLiteral("/state.ini"));
        s.Save(QStringLiteral("Key"), 1);
        s.Sync();
        QCOMPARE(s.WriteStatus(), QSettings::AccessError);
    }
    QCOMPARE(ReadAll(blocker), QByteArray("x"));

    // A full disk: Qt 5.15's INI writer takes a short write for success, so the settings store
    // checks its working copy before it replaces the file.
    QVector<std::complex<double>> huge;
    for (int i = 0; i < 20000; ++i)
    {
        huge.append(std::complex<double>(std::cos(i * 0.01), std::sin(i * 0.01)));
    }
    {
        ApplicationSettings s(path);
        s.Save(QStringLiteral("Cal/Name"), QStringLiteral("second"));
        s.Save(QStringLiteral("Cal/Terms"), huge);
        {
            FileSizeLimit limit(kLimit);
            QVERIFY(limit.active);
            s.Sync();
            QCOMPARE(s.WriteStatus(), QSettings::AccessError);
        }
        QCOMPARE(ReadAll(path), good);
        QCOMPARE(Entries(dir.path()),
                 (QStringList{QStringLiteral("blocker"), QStringLiteral("state.ini")}));
    }
    // With room again, the destructor puts the same changes in whole.
    ApplicationSettings back(path);
    QVector<std::complex<double>> terms;
    back.Load(QStringLiteral("Cal/Terms"), terms);
    QCOMPARE(terms.size(), huge.size());
    QCOMPARE(back.Load(QStringLiteral("Cal/Name")).toString(), QStringLiteral("second"));
}

void TestSafeWrites::settingsWriteOnlyChanges()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("prefs.ini"));
    {
        ApplicationSettings s(path);
        s.Save(QStringLiteral("Group/Name"), QStringLiteral("first"));
        s.Save(QStringLiteral("Group/Points"), QVector<double>{1.0, 2.5});
        s.Save(QStringLiteral("Count"), 3);
    }
    QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    const QByteArray before = ReadAll(path);
    auto stat = [&](struct stat& st) { return ::stat(QFile::encodeName(path).constData(), &st); };
    struct stat st0 = {};
    QCOMPARE(stat(st0), 0);

    // Reading, and storing what is already there, leave the file as it was: same bytes, same
    // inode, same mode, and no other file appears beside it, not even for a while.
    {
        ApplicationSettings s(path);
        QString name;
        s.Load(QStringLiteral("Group/Name"), name);
        QCOMPARE(name, QStringLiteral("first"));
        s.Save(QStringLiteral("Count"), 3);
        s.Save(QStringLiteral("Group/Name"), QStringLiteral("first"));
        QCOMPARE(Entries(dir.path()), QStringList{QStringLiteral("prefs.ini")});
        QCoreApplication::processEvents();  // QSettings' own deferred sync has its chance
        s.Sync();
        QCOMPARE(s.WriteStatus(), QSettings::NoError);
        QCOMPARE(Entries(dir.path()), QStringList{QStringLiteral("prefs.ini")});
    }
    struct stat st1 = {};
    QCOMPARE(stat(st1), 0);
    QCOMPARE(ReadAll(path), before);
    QCOMPARE(st1.st_ino, st0.st_ino);
    QCOMPARE(st1.st_mode, st0.st_mode);

    // Two stores open on one file, each changing its own keys: both changes survive whichever
    // is written last, and a change keeps the file's permissions.
    {
        ApplicationSettings a(path);
        ApplicationSettings b(path);
        a.Save(QStringLiteral("Group/Name"), QStringLiteral("second"));
        b.Save(QStringLiteral("Other/Flag"), true);
        b.Remove(QStringLiteral("Count"));
        a.Sync();
        QCOMPARE(a.WriteStatus(), QSettings::NoError);
    }
    {
        ApplicationSettings back(path);
        QCOMPARE(back.Load(QStringLiteral("Group/Name")).toString(), QStringLiteral("second"));
        QCOMPARE(back.Load(QStringLiteral("Other/Flag")).toBool(), true);
        QVERIFY(!back.contains(QStringLiteral("Count")));
        QVector<double> points;
        back.Load(QStringLiteral("Group/Points"), points);
        QCOMPARE(points, (QVector<double>{1.0, 2.5}));
    }
    struct stat st2 = {};
    QCOMPARE(stat(st2), 0);
    QCOMPARE(st2.st_mode, st0.st_mode);
    QCOMPARE(Entries(dir.path()), QStringList{QStringLiteral("prefs.ini")});

    // A store destroyed inside a group still writes its change, and keeps the other keys.
    {
        ApplicationSettings s(path);
        s.BeginGroup(QStringLiteral("Other"));
        s.Save(QStringLiteral("Flag"), false);
    }
    ApplicationSettings back(path);
    QCOMPARE(back.Load(QStringLiteral("Other/Flag")).toBool(), false);
    QCOMPARE(back.Load(QStringLiteral("Group/Name")).toString(), QStringLiteral("second"));
}

QTEST_GUILESS_MAIN(TestSafeWrites)
#include "test_safe_writes.moc"
