// The trace: memory math, hold, smoothing, statistics, label, export, presets, and the whole
// chain driven through the model on a channel with known averaged data.
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <complex>

#include "application_settings.h"
#include "error_log.h"
#include "test_fixtures.h"
#include "vna_meas.h"
#include "vna_model.h"
#include "vna_trace.h"

using cplx = std::complex<double>;

namespace
{
// Memory whose magnitude rises linearly with frequency at a fixed phase: resampling it in polar
// form is exact, so the expected value at any frequency is the formula itself.
cplx LinearMem(double f)
{
    return std::polar(1.0 + f / 1e9, 0.3);
}

CplxVector Sample(double start, double stop, int n, cplx (*fn)(double))
{
    CplxVector v(n);
    for (int i = 0; i < n; ++i)
    {
        v[i] = fn(n > 1 ? start + (stop - start) * i / (n - 1) : start);
    }
    return v;
}

// Plain boxcar with the window clipped at the edges, summed point by point.
QVector<double> NaiveSmooth(const QVector<double>& y, int half)
{
    QVector<double> out(y.size());
    for (int i = 0; i < y.size(); ++i)
    {
        const int lo = std::max(i - half, 0), hi = std::min(i + half, y.size() - 1);
        double s = 0;
        for (int k = lo; k <= hi; ++k)
        {
            s += y[k];
        }
        out[i] = s / (hi - lo + 1);
    }
    return out;
}

double MaxAbsDiff(const QVector<double>& a, const QVector<double>& b)
{
    if (a.size() != b.size())
    {
        return INFINITY;
    }
    double worst = 0;
    for (int i = 0; i < a.size(); ++i)
    {
        worst = std::max(worst, std::fabs(a[i] - b[i]));
    }
    return worst;
}

const double kTau = 2.5e-9;
cplx DelayLine(double f)
{
    return std::polar(0.5, -2.0 * M_PI * f * kTau);
}
cplx Reflection(double f)
{
    return std::polar(0.2 + 0.1 * f / 1e9, 0.4);
}

// Writes known averaged data into a channel: S21 = S12 a delay line, S11 = S22 a reflection.
void FillChannel(VNAChannel& ch, double start, double stop, int n, double scale = 1.0)
{
    ch.stimulus = testfx::Stimulus(start, stop, n);
    QMutexLocker lock(&ch.measLock);
    ch.MeasAvg.Resize(n);
    const QVector<double> f = ch.stimulus.GetFreqVector();
    for (int i = 0; i < n; ++i)
    {
        ch.MeasAvg.S11[i] = ch.MeasAvg.S22[i] = scale * Reflection(f[i]);
        ch.MeasAvg.S21[i] = ch.MeasAvg.S12[i] = scale * DelayLine(f[i]);
    }
}

int CountErrors(int code)
{
    int n = 0;
    while (SysErr::GetErrorCount() > 0)
    {
        n += SysErr::GetNextError().code == code ? 1 : 0;
    }
    return n;
}
}  // namespace

class TestTrace : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void mathWithMemory();
    void holdRules();
    void smoothing();
    void statistics();
    void labels();
    void exportCsv();
    void presetRoundTrip();
    void chainThroughModel();
    void memoryAcrossSweepChanges();
    void scaleCoupling();
};

void TestTrace::mathWithMemory()
{
    const CplxVector m = {cplx(1, 1), cplx(0, 2), cplx(-1, 0.5)};
    const CplxVector d0 = {cplx(2, 0), cplx(1, -1), cplx(0.5, 0.5)};
    const struct
    {
        VNATraceMathOp op;
        cplx (*fn)(cplx, cplx);
    } ops[] = {{MathDivide, [](cplx a, cplx b) { return a / b; }},
               {MathSubtract, [](cplx a, cplx b) { return a - b; }},
               {MathAdd, [](cplx a, cplx b) { return a + b; }},
               {MathMultiply, [](cplx a, cplx b) { return a * b; }},
               {MathData, [](cplx, cplx b) { return b; }},
               {MathOff, [](cplx a, cplx) { return a; }}};
    for (const auto& o : ops)
    {
        CplxVector d = d0;
        QVERIFY(TraceMath(d, 1e9, 2e9, m, 1e9, 2e9, o.op, false));
        for (int i = 0; i < 3; ++i)
        {
            QVERIFY(std::abs(d[i] - o.fn(d0[i], m[i])) < 1e-12);
        }
    }
    // Without interpolation the sweeps must match exactly, size and span.
    CplxVector d = d0;
    QVERIFY(!TraceMath(d, 1e9, 2e9, m.mid(0, 2), 1e9, 2e9, MathAdd, false));
    QVERIFY(!TraceMath(d, 1e9, 2e9 + 1, m, 1e9, 2e9, MathAdd, false));
    QCOMPARE(d, d0);  // a refusal leaves the data alone
    QVERIFY(!TraceMath(d, 1e9, 2e9, CplxVector(), 1e9, 2e9, MathOff, true));
    CplxVector empty;
    QVERIFY(!TraceMath(empty, 1e9, 2e9, m, 1e9, 2e9, MathOff, true));

    // Division by a zero memory point follows complex infinity rather than giving NaN.
    CplxVector dz = {cplx(1, 1)};
    QVERIFY(TraceMath(dz, 1e9, 1e9, {cplx(0, 0)}, 1e9, 1e9, MathDivide, false));
    QVERIFY(std::isinf(dz[0].real()) || std::isinf(dz[0].imag()));

    // With interpolation a finer, narrower live sweep reads the memory between its points.
    const CplxVector mem = Sample(1e9, 2e9, 11, LinearMem);
    CplxVector live(25, cplx(0, 0));
    QVERIFY(TraceMath(live, 1.2e9, 1.8e9, mem, 1e9, 2e9, MathData, true));
    for (int i = 0; i < live.size(); ++i)
    {
        const double f = 1.2e9 + 0.6e9 * i / 24;
        QVERIFY2(std::abs(live[i] - LinearMem(f)) < 1e-9, qPrintable(QString::number(i)));
    }
    // The memory's span must cover the live span.
    QVERIFY(!TraceMath(live, 0.9e9, 1.8e9, mem, 1e9, 2e9, MathData, true));
    QVERIFY(!TraceMath(live, 1.2e9, 2.1e9, mem, 1e9, 2e9, MathData, true));
    // A one-point memory makes the memory step 0 / 0; whatever that yields, no crash and no
    // read outside the memory.
    CplxVector single(3, cplx(1, 0));
    QVERIFY(TraceMath(single, 1e9, 1e9, {cplx(0.5, 0.5)}, 1e9, 1e9, MathAdd, true));
    QCOMPARE(single.size(), 3);
    // The same span end to end gives the memory's own end points.
    CplxVector same(11);
    QVERIFY(TraceMath(same, 1e9, 2e9, mem, 1e9, 2e9, MathData, true));
    QVERIFY(std::abs(same.last() - mem.last()) < 1e-12);
    QVERIFY(std::abs(same.first() - mem.first()) < 1e-12);
}

void TestTrace::holdRules()
{
    const QVector<double> x = {1, 2, 3};
    VNATrace t;
    t.SetHold(HoldMax);
    t.SetTrace(x, {1, 5, 3});
    QVERIFY(!t.holdRestart);
    t.SetTrace(x, {4, 2, 3.5});
    QCOMPARE(t.y, QVector<double>({4, 5, 3.5}));

    t.SetHold(HoldMin);  // a new hold type starts from the next curve
    t.SetTrace(x, {2, 2, 2});
    QCOMPARE(t.y, QVector<double>({2, 2, 2}));
    t.SetTrace(x, {3, 1, 2.5});
    QCOMPARE(t.y, QVector<double>({2, 1, 2}));

    t.SetTrace({1, 2}, {9, 9});  // a new point count replaces
    QCOMPARE(t.y, QVector<double>({9, 9}));
    QCOMPARE(t.x, QVector<double>({1, 2}));

    t.SetFormat(PhaseDeg);  // a format change replaces on the next pass
    t.SetTrace({1, 2}, {10, 10});
    QCOMPARE(t.y, QVector<double>({10, 10}));
    t.SetPlot(3);  // moving to another plot keeps the held curve
    t.SetTrace({1, 2}, {20, 20});
    QCOMPARE(t.y, QVector<double>({10, 10}));

    // Smith and transformed traces act as hold off, and still clear the restart flag.
    t.SetFormat(SmithRI);
    t.SetTrace({1, 2}, {7, 7});
    QVERIFY(!t.holdRestart);
    t.SetTrace({1, 2}, {8, 8});
    QCOMPARE(t.y, QVector<double>({8, 8}));
    t.SetFormat(LogMag);
    t.transformEnabled = true;
    t.SetTrace({1, 2}, {3, 3});
    t.SetTrace({1, 2}, {4, 4});
    QCOMPARE(t.y, QVector<double>({4, 4}));
    QVERIFY(!t.holdRestart);

    t.transformEnabled = false;
    t.SetHold(HoldOff);
    t.SetTrace({1, 2}, {5, 5});
    t.SetTrace({1, 2}, {1, 1});
    QCOMPARE(t.y, QVector<double>({1, 1}));
}

void TestTrace::smoothing()
{
    const int size = 101;
    QVector<double> x(size), y(size);
    for (int i = 0; i < size; ++i)
    {
        x[i] = i;
        y[i] = std::sin(i * 0.3) * 10 + (i % 7);
    }
    VNATrace t;
    t.x = x;
    t.y = y;
    t.smoothPercent = 10.0;  // n = 10, half 5
    t.SmoothTrace();
    QCOMPARE(t.y, y);  // off unless enabled
    t.smoothEnabled = true;
    t.SmoothTrace();
    QVERIFY(MaxAbsDiff(t.y, NaiveSmooth(y, 5)) < 1e-9);

    // An even n and the next odd n give the same window.
    const QVector<double> even = t.y;
    t.y = y;
    t.smoothPercent = 11.0;
    t.SmoothTrace();
    QVERIFY(MaxAbsDiff(t.y, even) < 1e-9);

    // 1 % of fewer than 200 points is less than two points: nothing happens.
    t.y = y;
    t.smoothPercent = 1.0;
    t.SmoothTrace();
    QCOMPARE(t.y, y);

    // A long trace, smoothed repeatedly from a large offset, stays close to the plain sum.
    QVector<double> lx(64001), ly(64001);
    for (int i = 0; i < lx.size(); ++i)
    {
        lx[i] = i;
        ly[i] = -150.0 + std::cos(i * 0.01) * 40.0;
    }
    t.x = lx;
    t.y = ly;
    t.smoothPercent = 0.5;
    t.SmoothTrace();
    QVERIFY(MaxAbsDiff(t.y, NaiveSmooth(ly, 160)) < 1e-8);

    t.SetFormat(SmithRI);
    t.y = y;
    t.x = x;
    t.smoothPercent = 10.0;
    t.SmoothTrace();
    QCOMPARE(t.y, y);
}

void TestTrace::statistics()
{
    VNATrace t;
    t.x = {1, 2, 3};
    t.y = {1, 1, 1};
    // The mean divides n + 1 terms by n; the deviation divides by n + 1.
    VNATraceStats s = t.GetStatistics(t.x);
    QVERIFY(s.valid);
    QCOMPARE(s.mean, 1.5);
    QCOMPARE(s.stdDev, 0.5);
    QCOMPARE(s.min, 1.0);
    QCOMPARE(s.max, 1.0);

    // y = i on a sub-range [a, b]: sum = (a + b)(b - a + 1) / 2, n = b - a.
    const int size = 50;
    t.x.resize(size);
    t.y.resize(size);
    for (int i = 0; i < size; ++i)
    {
        t.x[i] = 1e9 + i * 1e6;
        t.y[i] = i;
    }
    t.statsAutoRange = false;
    t.statsStart = 1e9 + 9.5e6;  // first point at or above: index 10
    t.statsStop = 1e9 + 30e6;    // last point at or below: index 30
    s = t.GetStatistics(t.x);
    QVERIFY(s.valid);
    const int a = 10, b = 30, n = b - a;
    const double mean = (a + b) * (n + 1) / 2.0 / n;
    double sq = 0;
    for (int i = a; i <= b; ++i)
    {
        sq += (i - mean) * (i - mean);
    }
    QCOMPARE(s.min, double(a));
    QCOMPARE(s.max, double(b));
    QVERIFY(std::fabs(s.mean - mean) < 1e-12);
    QVERIFY(std::fabs(s.stdDev - std::sqrt(sq / (n + 1))) < 1e-12);

    // Two points are too few; a range beyond the data is empty.
    t.statsStart = 1e9 + 10e6;
    t.statsStop = 1e9 + 11e6;
    QVERIFY(!t.GetStatistics(t.x).valid);
    t.statsStart = 5e9;
    t.statsStop = 6e9;
    s = t.GetStatistics(t.x);
    QVERIFY(!s.valid);
    QCOMPARE(s.mean, 0.0);
    QVERIFY(!t.GetStatistics({}).valid);

    // Smith traces are judged in dB of the reflection value.
    t.SetFormat(SmithRI);
    t.statsAutoRange = true;
    t.x = {0.1, 0.0, 0.0, 0.01};
    t.y = {0.0, 0.1, 0.1, 0.0};
    s = t.GetStatistics({1, 2, 3, 4});
    QVERIFY(s.valid);
    QVERIFY(std::fabs(s.max - (-20.0)) < 1e-9);
    QVERIFY(std::fabs(s.min - (-40.0)) < 1e-9);
}

void TestTrace::labels()
{
    VNATrace t;
    t.SetMeas(S21);
    QCOMPARE(t.GetNameString(), QStringLiteral("S21"));
    t.equationEnabled = true;
    QCOMPARE(t.GetNameString(), QStringLiteral("Eqn Err"));
    t.equationValid = true;
    t.equation = QStringLiteral("S21*S12/(1-S11)");  // 15 characters
    t.equation += QStringLiteral("X");               // exactly 16
    QCOMPARE(t.GetNameString(), QStringLiteral("Eq=") + t.equation);
    t.equation += QStringLiteral("Y");
    QCOMPARE(t.GetNameString(), QStringLiteral("Eq=") + t.equation.left(16) + "..");
    t.useName = true;
    QCOMPARE(t.GetNameString(), QString());  // an empty custom name shows as empty
    t.name = QStringLiteral("Filter");
    QCOMPARE(t.GetNameString(), QStringLiteral("Filter"));
}

void TestTrace::exportCsv()
{
    QTemporaryDir dir;
    const QString path = dir.filePath("trace.csv");
    VNATrace t;
    t.x = {1e9, 1.5e9};
    t.y = {-3.25, -40.0};
    t.Export(path);
    QFile f(path);
    QVERIFY(f.open(QIODevice::ReadOnly | QIODevice::Text));
    const QStringList lines = QString::fromUtf8(f.readAll()).split('\n', Qt::SkipEmptyParts);
    f.close();
    QCOMPARE(lines.size(), 3);
    QCOMPARE(lines[0], QStringLiteral("Freq(Hz), dB"));
    const QStringList p = lines[2].split(", ");
    QCOMPARE(p.size(), 2);
    QCOMPARE(p[0].toDouble(), 1.5e9);
    QCOMPARE(p[1].toDouble(), -40.0);

    // Frequencies read back exactly, however many digits they need.
    VNATrace fine;
    fine.x = {40e6 + 1.0 / 3.0, 39999999999.125, 1e9 + 1e-6, 20.02e9};
    fine.y = {0.0, 0.0, 0.0, 0.0};
    const QString finePath = dir.filePath("fine.csv");
    fine.Export(finePath);
    QFile ff(finePath);
    QVERIFY(ff.open(QIODevice::ReadOnly | QIODevice::Text));
    const QStringList fineLines = QString::fromUtf8(ff.readAll()).split('\n', Qt::SkipEmptyParts);
    QCOMPARE(fineLines.size(), fine.x.size() + 1);
    for (int i = 0; i < fine.x.size(); ++i)
    {
        bool ok = false;
        QCOMPARE(fineLines[i + 1].split(", ").value(0).toDouble(&ok), fine.x[i]);
        QVERIFY(ok);
    }

    // A trace with mismatched vectors writes nothing, and the earlier file survives whole.
    t.y.removeLast();
    t.Export(path);
    QVERIFY(f.open(QIODevice::ReadOnly | QIODevice::Text));
    QCOMPARE(QString::fromUtf8(f.readAll()).split('\n', Qt::SkipEmptyParts), lines);
    f.close();

    // An unwritable place produces no file and no complaint.
    t.y.append(0.0);
    t.transformEnabled = true;
    t.Export(dir.filePath("missing/trace.csv"));
    QVERIFY(!QFile::exists(dir.filePath("missing/trace.csv")));
    t.Export(path);
    QVERIFY(f.open(QIODevice::ReadOnly | QIODevice::Text));
    QVERIFY(QString::fromUtf8(f.readLine()).startsWith(QStringLiteral("Time(s), ")));
}

void TestTrace::presetRoundTrip()
{
    QTemporaryDir dir;
    const QString path = dir.filePath("state.ini");
    VNATrace a;
    a.name = QStringLiteral("DUT");
    a.useName = true;
    a.hasMem = true;
    a.mathOp = MathSubtract;
    a.mathInterpolate = false;
    a.mem.Resize(3);
    a.mem.S21 = {cplx(0.5, -0.25), cplx(1, 0), cplx(0, 0.125)};
    a.memStart = 1e9;
    a.memStop = 3e9;
    a.smoothPercent = 4.5;
    a.elecDelay = 1.25e-9;
    a.statsStop = 12e9;
    a.offsetMagSlope = -0.5;
    a.bwSearchLimit = -6.0;
    a.SetMeas(S12);
    a.SetFormat(PhaseDeg);
    a.SetDiv(45.0);  // the triple saved under "PhaseDegDif"
    a.SetHold(HoldMin);
    a.limitRanges = {VNALimitRange{LimitMin, 1e9, 2e9, -3, -4}};
    a.rippleRanges = {VNARippleLimitRange{RippleMargin, 2e9, 3e9, 0.5}};
    a.transform.window = WindowCustom;
    a.transform.stop = 10e-9;
    a.gateEnabled = true;
    a.gateShape = 3;
    a.markers[15].enabled = true;
    a.markers[15].f = 2.5e9;
    a.markers[2].tracking = MarkerTrackingPeak;
    a.activeMarker = 15;
    {
        ApplicationSettings s(path);
        a.SavePreset(s);
    }
    {
        QSettings raw(path, QSettings::IniFormat);
        QCOMPARE(raw.value("PhaseDegDif").toDouble(), 45.0);
        QVERIFY(!raw.contains("PhaseDegDiv"));
    }
    VNATrace b;
    {
        ApplicationSettings s(path);
        b.LoadPreset(s);
    }
    QCOMPARE(b.GetNameString(), QStringLiteral("DUT"));
    QVERIFY(b.hasMem && !b.mathInterpolate);
    QCOMPARE(b.mathOp, MathSubtract);
    QCOMPARE(b.mem.S21.size(), 3);
    QVERIFY(std::abs(b.mem.S21[0] - cplx(0.5, -0.25)) < 1e-6);  // float precision in files
    QCOMPARE(b.memStop, 3e9);
    QCOMPARE(b.smoothPercent, 4.5);
    QCOMPARE(b.elecDelay, 1.25e-9);
    QCOMPARE(b.statsStop, 12e9);
    QCOMPARE(b.offsetMagSlope, -0.5);
    QCOMPARE(b.bwSearchLimit, -6.0);
    QCOMPARE(b.meas, S12);
    QCOMPARE(b.format, PhaseDeg);
    QCOMPARE(*b.div(), 45.0);
    QCOMPARE(b.unitRef, GetUnitString(PhaseDeg));
    QCOMPARE(b.hold, HoldMin);
    QCOMPARE(b.limitRanges.size(), 1);
    QCOMPARE(b.limitRanges[0].type, LimitMin);
    QCOMPARE(b.limitRanges[0].stopOffset, -4.0);
    QCOMPARE(b.rippleRanges.size(), 1);
    QCOMPARE(b.rippleMeas.size(), 1);
    QCOMPARE(b.rippleRanges[0].maxRipple, 0.5);
    QCOMPARE(b.transform.window, WindowCustom);
    QCOMPARE(b.transform.stop, 10e-9);
    QVERIFY(b.gateEnabled);
    QCOMPARE(b.gateShape, 3);
    QCOMPARE(b.activeMarker, 15);
    QVERIFY(b.markers[15].enabled);
    QCOMPARE(b.markers[15].f, 2.5e9);
    QCOMPARE(b.markers[2].tracking, MarkerTrackingPeak);

    // A file without the keys keeps every default of a new trace.
    VNATrace c, fresh;
    {
        ApplicationSettings s(dir.filePath("empty.ini"));
        c.LoadPreset(s);
    }
    QCOMPARE(c.statsStop, fresh.statsStop);
    QCOMPARE(c.gateStart, fresh.gateStart);
    QCOMPARE(c.markers[0].threshold, -100.0);
    QCOMPARE(*c.div(), 10.0);
    QVERIFY(c.limitShow && !c.ripplePass && c.limitPass && c.mathInterpolate);
}

void TestTrace::chainThroughModel()
{
    SysErr::ClearErrors();
    VNAModel model;
    VNAChannel& ch = *model.channels[0];
    const int n = 101;
    FillChannel(ch, 1e9, 2e9, n);
    const QVector<double> f = ch.stimulus.GetFreqVector();

    // No trace on the channel: nothing is computed.
    model.CalcTraces(0);
    QCOMPARE(ch.processed.Size(), 0);

    VNATrace* phase = testfx::AddTrace(model, 0, S21, PhaseDeg);
    VNATrace* mag = testfx::AddTrace(model, 0, S21, LogMag);
    VNATrace* refl = testfx::AddTrace(model, 0, S11, LinMag);
    VNATrace* gd = testfx::AddTrace(model, 0, S12, GroupDelay);
    VNATrace* other = testfx::AddTrace(model, 1, S11, LogMag);
    phase->elecDelay = kTau;  // compensates the line: a flat phase is left
    mag->offsetMag = 3.0;
    mag->offsetMagSlope = 1.0;  // dB per GHz
    refl->statsEnabled = true;
    model.CalcTraces(0);

    QCOMPARE(phase->y.size(), n);
    QCOMPARE(phase->x, f);
    for (int i = 0; i < n; ++i)
    {
        QVERIFY2(std::fabs(phase->y[i]) < 1e-6, qPrintable(QString::number(phase->y[i])));
        const double expectDb = 20 * std::log10(0.5) + 3.0 + f[i] / 1e9;
        QVERIFY(std::fabs(mag->y[i] - expectDb) < 1e-9);
        QVERIFY(std::fabs(refl->y[i] - std::abs(Reflection(f[i]))) < 1e-12);
        QVERIFY(std::fabs(gd->y[i] - kTau * 1e9) < 1e-6);
    }
    QVERIFY(other->y.isEmpty());  // another channel's trace is untouched

    // Statistics of a linear ramp 0.3 .. 0.4 with the defined divisors.
    QVERIFY(refl->stats.valid);
    QVERIFY(std::fabs(refl->stats.min - 0.3) < 1e-12);
    QVERIFY(std::fabs(refl->stats.max - 0.4) < 1e-12);
    QVERIFY(std::fabs(refl->stats.mean - 0.35 * n / (n - 1)) < 1e-9);

    // Memory: stored from the processed data, divided out gives 0 dB; a doubled live signal
    // then reads 6.02 dB.
    model.traceStoreMem(mag);
    QVERIFY(mag->hasMem);
    QCOMPARE(mag->mathOp, MathOff);  // storing does not select math
    QCOMPARE(mag->memStop, 2e9);
    mag->offsetMag = 0.0;
    mag->offsetMagSlope = 0.0;
    mag->mathOp = MathDivide;
    mag->showMemTrace = true;
    FillChannel(ch, 1e9, 2e9, n, 2.0);
    model.CalcTraces(0);
    for (int i = 0; i < n; ++i)
    {
        QVERIFY(std::fabs(mag->y[i] - 20 * std::log10(2.0)) < 1e-9);
        // The memory curve is the stored data in the same format, untouched by math.
        QVERIFY(std::fabs(mag->memY[i] - 20 * std::log10(0.5)) < 1e-9);
        QCOMPARE(mag->memX[i], f[i]);
    }

    // "Data" shows the memory, with the live trace's offsets applied after it.
    mag->mathOp = MathData;
    mag->offsetMag = 2.0;
    model.CalcTraces(0);
    QVERIFY(std::fabs(mag->y[0] - (20 * std::log10(0.5) + 2.0)) < 1e-9);
    QVERIFY(std::fabs(mag->memY[0] - 20 * std::log10(0.5)) < 1e-9);

    // Smoothing and hold act on the formatted values, in that order.
    phase->elecDelay = 0.0;
    phase->SetFormat(LogMag);
    phase->SetHold(HoldMax);
    phase->SetSmoothing(true);
    phase->smoothPercent = 10.0;
    model.CalcTraces(0);
    QVERIFY(std::fabs(phase->y[50] - 20 * std::log10(1.0)) < 1e-9);  // flat, doubled data
    FillChannel(ch, 1e9, 2e9, n, 1.0);
    model.CalcTraces(0);
    QVERIFY(std::fabs(phase->y[50] - 0.0) < 1e-9);  // the held maximum stays
    QCOMPARE(SysErr::GetErrorCount(), 0);

    // Imported data is shown as it was imported: the averaged data is not corrected over it.
    ch.isImportedS2PData = true;
    ch.MeasCal.Resize(n);
    ch.MeasCal.S11.fill(cplx(0.0, 0.25));
    model.CalcTraces(0);
    QVERIFY(std::fabs(refl->y[0] - 0.25) < 1e-12);
}

void TestTrace::memoryAcrossSweepChanges()
{
    SysErr::ClearErrors();
    VNAModel model;
    VNAChannel& ch = *model.channels[0];
    FillChannel(ch, 1e9, 2e9, 101);
    VNATrace* fixed = testfx::AddTrace(model, 0, S21, LogMag);
    VNATrace* interp = testfx::AddTrace(model, 0, S21, LogMag);
    model.CalcTraces(0);
    model.traceStoreMem(fixed);
    model.traceStoreMem(interp);
    fixed->mathInterpolate = false;
    fixed->mathOp = MathOff;  // the match is checked even with no math selected
    interp->mathOp = MathSubtract;
    QSignalSpy controls(&model, &VNAModel::updateControlsSignal);

    // A new point count inside the stored span: only the interpolating memory survives.
    FillChannel(ch, 1.2e9, 1.8e9, 37);
    model.CalcTraces(0);
    QVERIFY(!fixed->hasMem);
    QCOMPARE(fixed->mem.Size(), 0);
    QCOMPARE(fixed->memStop, 0.0);
    QVERIFY(interp->hasMem);
    QCOMPARE(controls.count(), 1);
    QCOMPARE(CountErrors(-200), 1);
    // Live minus the interpolated memory of the same line is zero: -200 dB exactly or tiny.
    QCOMPARE(interp->y.size(), 37);
    for (double v : interp->y)
    {
        QVERIFY2(v < -100.0, qPrintable(QString::number(v)));
    }

    // A live span outside the memory drops it too, and math is switched off.
    FillChannel(ch, 1.5e9, 2.5e9, 37);
    model.CalcTraces(0);
    QVERIFY(!interp->hasMem);
    QCOMPARE(interp->mathOp, MathOff);
    QCOMPARE(controls.count(), 2);
    QCOMPARE(CountErrors(-200), 1);
    QVERIFY(std::fabs(interp->y[0] - 20 * std::log10(0.5)) < 1e-9);  // the pass went on
}

void TestTrace::scaleCoupling()
{
    VNAModel model;
    VNATrace* a = testfx::AddTrace(model, 0, S11, LogMag);
    VNATrace* samePlot = testfx::AddTrace(model, 0, S21, LogMag);
    VNATrace* otherPlot = testfx::AddTrace(model, 0, S12, LogMag);
    VNATrace* otherFormat = testfx::AddTrace(model, 0, S22, SWR);
    otherPlot->SetPlot(1);
    model.selectedTraceIndex = 0;
    a->x = {1, 2, 3};
    a->y = {-10.3, -10.3, -10.3};

    model.scaleCoupling = ScaleCouplingOff;
    model.traceAutoScale(a);
    QCOMPARE(*samePlot->div(), 10.0);

    model.scaleCoupling = ScaleCouplingPlot;
    model.traceAutoScale(a);
    QCOMPARE(*samePlot->div(), *a->div());
    QCOMPARE(*samePlot->ref(), *a->ref());
    QCOMPARE(*otherPlot->div(), 10.0);
    QCOMPARE(*otherFormat->div(), 1.0);

    model.scaleCoupling = ScaleCouplingAll;
    model.traceScaleCouplingHelper();
    QCOMPARE(*otherPlot->ref(), *a->ref());
    QCOMPARE(*otherFormat->div(), 1.0);  // another format is never touched

    model.traceDefaultScale(a);  // flows to the coupled traces too
    QCOMPARE(*otherPlot->div(), 10.0);
    QCOMPARE(*samePlot->ref(), 20.0);
}

QTEST_GUILESS_MAIN(TestTrace)
#include "test_trace.moc"
