// Segment tables: what a channel refuses, how the stimulus follows an accepted table, and the
// table file.
#include <QTemporaryDir>
#include <QtTest>

#include "sweep_segments.h"
#include "test_fixtures.h"

using Table = QVector<VNASweepSegment>;

class TestSweepSegments : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void refusedTablesNameTheirFault();
    void stimulusFollowsTheTable();
    void tableFileRoundTrip();
};

void TestSweepSegments::refusedTablesNameTheirFault()
{
    struct Case
    {
        Table table;
        const char* fragment;  // a part of the message that names the fault and where
    };
    const QVector<Case> refused = {
        {{}, "no segments"},
        {{{1e9, 2e9, 11}, {3e9, 4e9, 0}}, "Segment 2: it is empty"},
        {{{1e6, 2e9, 11}}, "Segment 1: it leaves the instrument's range"},
        {{{1e9, 41e9, 11}}, "Segment 1: it leaves the instrument's range"},
        {{{2e9, 1e9, 11}}, "Segment 1: its stop frequency lies below"},
        {{{2e9, 2e9, 3}}, "Segment 1: it repeats one frequency"},
        {{{1e9, 2e9, 11}, {1.5e9, 3e9, 11}}, "Segments 1 and 2 overlap"},
        // Sharing an end would sweep one frequency twice.
        {{{1e9, 2e9, 11}, {2e9, 3e9, 11}, {5e9, 6e9, 2}}, "Segments 1 and 2 overlap"},
        {{{1e9, 2e9, 11}, {3e9, 4e9, 11}, {3.5e9, 6e9, 2}}, "Segments 2 and 3 overlap"},
        {{{1e9, 2e9, 40000}, {3e9, 4e9, 24003}}, "64003 points in all"},
    };
    for (const Case& c : refused)
    {
        QString error;
        QVERIFY2(!CheckSweepSegments(c.table, error), c.fragment);
        QVERIFY2(error.contains(QLatin1String(c.fragment)), qPrintable(error));
    }
    // The accepted edge: a one-point segment, segments a hertz apart, the full range, and the
    // largest sweep.
    QString error;
    QVERIFY2(CheckSweepSegments({{40e6, 40e6, 1}, {40e6 + 1, 20e9, 32000}, {30e9, 40e9, 32000}},
                                error),
             qPrintable(error));

    // Sorting by start makes a table typed out of order acceptable, and keeps its rows whole.
    Table shuffled = {{5e9, 6e9, 3}, {1e9, 2e9, 5}, {3e9, 4e9, 7}};
    QVERIFY(!CheckSweepSegments(shuffled, error));
    SortSweepSegments(shuffled);
    QVERIFY2(CheckSweepSegments(shuffled, error), qPrintable(error));
    QCOMPARE(shuffled[0].points, 5);
    QCOMPARE(shuffled[1].points, 7);
    QCOMPARE(shuffled[2].stop, 6e9);
}

void TestSweepSegments::stimulusFollowsTheTable()
{
    const Table table = {{1e9, 2e9, 11}, {2.5e9, 2.5e9, 1}, {3e9, 7e9, 5}};
    VNAStimulus s = testfx::Stimulus(40e6, 40e9, 201);
    QCOMPARE(InitialSweepSegments(s).size(), 1);
    QCOMPARE(InitialSweepSegments(s)[0].points, 201);
    ApplySweepSegments(s, table);

    // The frequencies, built here point by point from the table.
    QVector<double> expected;
    for (const VNASweepSegment& seg : table)
    {
        for (int i = 0; i < seg.points; ++i)
        {
            expected.append(seg.points == 1 ? seg.start
                                            : seg.start + (seg.stop - seg.start) * i /
                                                              (seg.points - 1));
        }
    }
    const QVector<double> f = s.GetFreqVector();
    QCOMPARE(f.size(), expected.size());
    for (int i = 0; i < f.size(); ++i)
    {
        QVERIFY(std::abs(f[i] - expected[i]) <= 1e-6 * expected[i]);
    }
    // The instrument's linear view spans the table with as many points as the list has.
    QCOMPARE(s.type, SweepSegment);
    QCOMPARE(s.points, expected.size());
    QCOMPARE(s.start, 1e9);
    QCOMPARE(s.stop, 7e9);
    QCOMPARE(s.center, 4e9);
    QCOMPARE(s.span, 6e9);
    QCOMPARE(InitialSweepSegments(s).size(), table.size());
}

void TestSweepSegments::tableFileRoundTrip()
{
    QTemporaryDir dir;
    const Table table = {{1.25e9, 2.000000001e9, 11}, {3e9, 4e9, 1}};
    const QString path = dir.filePath(QStringLiteral("segments.csv"));
    QString error;
    QVERIFY2(SaveSweepSegments(path, table, error), qPrintable(error));
    Table loaded;
    QVERIFY2(LoadSweepSegments(path, loaded, error), qPrintable(error));
    QCOMPARE(loaded.size(), table.size());
    for (int i = 0; i < table.size(); ++i)
    {
        QCOMPARE(loaded[i].start, table[i].start);
        QCOMPARE(loaded[i].stop, table[i].stop);
        QCOMPARE(loaded[i].points, table[i].points);
    }

    // Another kind of table, a damaged row and a missing file leave the caller's table alone.
    const QString limits = testfx::WriteFile(
        dir, QStringLiteral("limits.csv"), "FileType,LimitLineRangeTable\nVersion,1\nType\n");
    const QString damaged = testfx::WriteFile(
        dir, QStringLiteral("damaged.csv"),
        "FileType,SweepSegmentTable\nVersion,1\nStartFreq,StopFreq,Points\n1e9,2e9,5\n3e9,x,5\n");
    QVERIFY(!LoadSweepSegments(limits, loaded, error));
    QVERIFY(error.contains(QLatin1String("not a sweep segment table")));
    QVERIFY(!LoadSweepSegments(damaged, loaded, error));
    QVERIFY2(error.contains(QLatin1String("Line 5")), qPrintable(error));
    QVERIFY(!LoadSweepSegments(dir.filePath(QStringLiteral("none.csv")), loaded, error));
    QCOMPARE(loaded.size(), table.size());
}

QTEST_GUILESS_MAIN(TestSweepSegments)
#include "test_sweep_segments.moc"
