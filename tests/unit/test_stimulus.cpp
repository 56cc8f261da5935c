#include <QtTest>
#include <cmath>

#include "vna_stimulus.h"

using namespace StimulusLimits;

class TestStimulus : public QObject
{
    Q_OBJECT
private slots:
    void defaultsAndEquality();
    void frequencyList();
    void startStopEdits();
    void centerAndSpanEdits();
    void stepAndOtherClamps();
    void lowpassCompatibility();
};

static bool Consistent(const VNAStimulus& s)
{
    return s.center == (s.start + s.stop) / 2.0 && s.span == s.stop - s.start;
}

void TestStimulus::defaultsAndEquality()
{
    VNAStimulus s;
    QVERIFY(Consistent(s));
    QCOMPARE(s.points, 201);
    QCOMPARE(s.EstimateSweepTime(), 2.0 / 20000.0 * 201);

    VNAStimulus t;
    t.segments.append({1e9, 2e9, 5});  // segments take no part in equality
    QVERIFY(s == t);
    t.avgCount = 3;
    QVERIFY(s != t);
}

void TestStimulus::frequencyList()
{
    VNAStimulus s;
    s.points = 1;
    QCOMPARE(s.StepSize(), 0.0);
    QCOMPARE(s.GetFreqVector(), QVector<double>{s.start});

    s.points = 64001;
    s.start = 40e6;
    s.stop = 40e9;
    const QVector<double> f = s.GetFreqVector();
    QCOMPARE(f.size(), 64001);
    // Values are computed from the index, so the last one lands on stop without drift.
    QCOMPARE(f.last(), 64000 * s.StepSize() + s.start);
    QVERIFY(std::fabs(f.last() - s.stop) < 1e-3);

    s.type = SweepSegment;
    s.segments = {{1e9, 2e9, 3}, {5e9, 5e9, 1}, {7e9, 8e9, 0}};
    QCOMPARE(s.GetFreqVector(), (QVector<double>{1e9, 1.5e9, 2e9, 5e9}));

    s.type = SweepLog;
    QVERIFY(s.GetFreqVector().isEmpty());
}

void TestStimulus::startStopEdits()
{
    VNAStimulus s;
    s.EditStart(1e9);
    QCOMPARE(s.start, 1e9);
    QVERIFY(Consistent(s));
    s.EditStart(50e9);  // clamps, and drags stop along
    QCOMPARE(s.start, kMaxFreq);
    QCOMPARE(s.stop, kMaxFreq);
    QVERIFY(Consistent(s));
    s.EditStop(1.0);
    QCOMPARE(s.stop, kMinFreq);
    QCOMPARE(s.start, kMinFreq);
    QCOMPARE(s.span, 0.0);
}

void TestStimulus::centerAndSpanEdits()
{
    VNAStimulus s;
    s.EditStart(1e9);
    s.EditStop(2e9);
    s.EditSpan(1e9);
    s.EditCenter(40e6);  // the requested centre is kept, the span shrinks to nothing
    QCOMPARE(s.start, 40e6);
    QCOMPARE(s.stop, 40e6);
    QVERIFY(Consistent(s));

    s.EditStart(1e9);
    s.EditStop(3e9);
    s.EditCenter(39.5e9);  // high side: stop pinned at the top, span shrinks symmetrically
    QCOMPARE(s.stop, kMaxFreq);
    QCOMPARE(s.start, 39e9);
    QCOMPARE(s.center, 39.5e9);

    s.EditCenter(39.9e9);
    s.EditSpan(39.96e9);  // the requested span is kept, the centre moves
    QCOMPARE(s.stop, kMaxFreq);
    QCOMPARE(s.start, kMinFreq);
    QVERIFY(Consistent(s));

    s.EditCenter(10e9);
    s.EditSpan(1e12);  // clamped to the widest span
    QCOMPARE(s.span, kMaxSpan);

    s.EditStart(5e9);
    s.EditStop(7e9);
    s.EditSpan(1e9);  // within limits: centre unchanged
    QCOMPARE(s.center, 6e9);
    QCOMPARE(s.start, 5.5e9);
    QCOMPARE(s.stop, 6.5e9);
}

void TestStimulus::stepAndOtherClamps()
{
    VNAStimulus s;
    s.EditStart(1e9);
    s.EditStop(2e9);
    s.EditPoints(11);
    const double oldCenter = s.center;
    s.EditStep(50e6);
    QCOMPARE(s.stop, 1.5e9);
    QCOMPARE(s.span, 0.5e9);
    QCOMPARE(s.center, oldCenter);  // the step edit leaves the centre stale on purpose
    s.EditStep(-1.0);               // a negative step keeps the present step
    QCOMPARE(s.stop, 1.5e9);
    s.EditStep(10e9);
    QCOMPARE(s.stop, kMaxFreq);

    s.EditPoints(0);
    QCOMPARE(s.points, kMinPoints);
    s.EditPoints(100000);
    QCOMPARE(s.points, kMaxPoints);
    s.EditIFBW(1.0);
    QCOMPARE(s.ifbw, kMinIFBW);
    s.EditIFBW(1e6);
    QCOMPARE(s.ifbw, kMaxIFBW);
    s.EditManualAtten(45.0);
    QCOMPARE(s.manualAtten, kMaxAtten);
    s.EditManualPower(-100.0);
    QCOMPARE(s.manualPower, kMinPower);
}

void TestStimulus::lowpassCompatibility()
{
    VNAStimulus s;
    s.start = 100e6;
    s.stop = 10e9;
    s.points = 100;  // step 100 MHz, start on the harmonic grid
    QVERIFY(s.IsTDLowpassCompatible());
    s.start = 150e6;
    QVERIFY(!s.IsTDLowpassCompatible());
    s.points = 1;  // zero step: non-finite ratio, never compatible
    QVERIFY(!s.IsTDLowpassCompatible());
}

QTEST_GUILESS_MAIN(TestStimulus)
#include "test_stimulus.moc"
