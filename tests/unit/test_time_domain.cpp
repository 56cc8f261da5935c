// Time domain: windows and shifts, the fast gate against its literal O(N^2) form, transforms of
// lines and loads built from closed forms, the low-pass grid, settings rules and the chain.
#include <QSignalSpy>
#include <QtTest>
#include <algorithm>
#include <cmath>
#include <complex>
#include <numeric>

#include "gate_reference.h"
#include "test_fixtures.h"
#include "time_domain.h"
#include "vna_meas.h"
#include "vna_model.h"

using cplx = std::complex<double>;

namespace
{
cplx Delay(double f, double t)
{
    return std::polar(1.0, -2.0 * M_PI * f * t);
}

// A 1 ns matched lead, then 2 ns of 100 ohm line ending in 50 ohms: reflections of 1/3 at 2 ns and
// -1/3 (times the transmission through the step) at 6 ns, with the line's repeated bounces after.
const double kGa = 1.0 / 3.0;
cplx TwoReflectionLine(double f)
{
    const cplx lead = Delay(f, 2e-9), section = Delay(f, 4e-9);
    return lead * (kGa - kGa * section) / (1.0 - kGa * kGa * section);
}

CplxVector Sample(const VNAStimulus& s, cplx (*fn)(double))
{
    const QVector<double> f = s.GetFreqVector();
    CplxVector v(f.size());
    for (int i = 0; i < f.size(); ++i)
    {
        v[i] = fn(f[i]);
    }
    return v;
}

bool IsNaN(cplx v)
{
    return std::isnan(v.real()) || std::isnan(v.imag());
}

// Largest |a - b| over the largest magnitude of the reference or the data, the scale of the sums
// involved; points that are not a number must be so in both.
double GateMismatch(const CplxVector& fast, const CplxVector& ref, const CplxVector& data)
{
    if (fast.size() != ref.size())
    {
        return INFINITY;
    }
    double scale = 0.0, worst = 0.0;
    for (int i = 0; i < ref.size(); ++i)
    {
        scale = std::max({scale, IsNaN(ref[i]) ? 0.0 : std::abs(ref[i]), std::abs(data[i])});
    }
    for (int i = 0; i < ref.size(); ++i)
    {
        if (IsNaN(ref[i]) || IsNaN(fast[i]))
        {
            worst = IsNaN(ref[i]) == IsNaN(fast[i]) ? worst : INFINITY;
            continue;
        }
        worst = std::max(worst, std::abs(fast[i] - ref[i]));
    }
    return scale > 0.0 ? worst / scale : worst;
}

bool AllNaN(const CplxVector& v)
{
    return std::all_of(v.begin(), v.end(), IsNaN);
}

double MaxRelDiff(const CplxVector& a, const CplxVector& b)
{
    double worst = 0.0, scale = 0.0;
    for (int i = 0; i < a.size(); ++i)
    {
        worst = std::max(worst, std::abs(a[i] - b[i]));
        scale = std::max(scale, std::abs(b[i]));
    }
    return worst / scale;
}

struct GateCase
{
    double start, stop;
    VNAGateType type;
    VNAGateShape shape;
};

// Gates data both ways and returns the mismatch; out receives the fast result.
double CompareGate(const VNAStimulus& s, const CplxVector& data, const GateCase& g,
                   CplxVector* out = nullptr)
{
    CplxVector fast = data, ref = data;
    GateSParamConv(fast, s.start, s.StepSize(), g.start, g.stop, g.type, g.shape);
    testfx::GateSParamLiteral(ref, s.start, s.StepSize(), g.start, g.stop, g.type, g.shape);
    if (out)
    {
        *out = fast;
    }
    return GateMismatch(fast, ref, data);
}

// Low-pass response of data on the stimulus; returns the output and fills x.
CplxVector Lowpass(const VNAStimulus& s, const CplxVector& data, VNATransformType type,
                   QVector<double>& x)
{
    VNATransformSettings ts;
    ts.type = type;
    CplxVector out;
    TransformSParam(s, ts, data, x, out);
    return out;
}

VNATrace* AddTrace(VNAModel& model, VNATraceMeas meas, VNATraceFormat format)
{
    QMutexLocker lock(&model.traceLock);
    int index = 0;
    VNATrace* t = model.InternalCreateTrace(index);
    t->SetMeas(meas);
    t->SetFormat(format);
    return t;
}
}  // namespace

class TestTimeDomain : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void windowsAndShifts();
    void fastGateEqualsLiteralForm();
    void gateEdgeCases();
    void gatingRemovesSecondReflection();
    void bandpassTransform();
    void lowpassImpulseOfShortedLine();
    void lowpassStepLevels();
    void lowpassGrid();
    void settingsRules();
    void distance();
    void chainGatesAndTransforms();
};

void TestTimeDomain::windowsAndShifts()
{
    for (int n : {1, 2, 7, 8, 1001})
    {
        for (double beta : {0.0, 2.5, 6.0, 13.0})
        {
            QVector<double> w(n);
            GetKaiserWindow_64f(w.data(), n, beta);
            for (int i = 0; i < n; ++i)
            {
                // The library's Bessel function, sampled at the same positions.
                const double u = n == 1 ? 0.0 : (2.0 * i - (n - 1)) / (n - 1);
                const double expected = std::cyl_bessel_i(0.0, beta * std::sqrt(1 - u * u)) /
                                        std::cyl_bessel_i(0.0, beta);
                QVERIFY2(std::fabs(w[i] - expected) <= 1e-13 * expected,
                         qPrintable(QString("n %1 beta %2 i %3").arg(n).arg(beta).arg(i)));
            }
            NormalizeWindow(w.data(), n);
            QVERIFY(std::fabs(std::accumulate(w.begin(), w.end(), 0.0) / n - 1.0) < 1e-14);
        }
    }
    VNATransformSettings custom, maximum;
    custom.window = WindowCustom;
    custom.beta = 13.0;
    maximum.window = WindowMaximum;
    QCOMPARE(TransformWindowBeta(custom), TransformWindowBeta(maximum));
    QCOMPARE(WindowBetaFromGateShape(GateShapeNormal), WindowBetaFromGateShape(GateShapeWide));

    // FFTShift takes index 0 to n / 2; odd lengths split after index n / 2.
    for (int n : {1, 2, 5, 6})
    {
        CplxVector src(n), shifted(n), back(n);
        for (int i = 0; i < n; ++i)
        {
            src[i] = cplx(i, -i);
        }
        FFTShift(src.constData(), shifted.data(), n);
        for (int i = 0; i < n; ++i)
        {
            QCOMPARE(shifted[(i + n / 2) % n], src[i]);
        }
        IFFTShift(shifted.constData(), back.data(), n);
        QCOMPARE(back, src);
    }
}

void TestTimeDomain::fastGateEqualsLiteralForm()
{
    for (int n : {1, 2, 201, 1601, 16001})
    {
        const VNAStimulus s = testfx::Stimulus(40e6, 8.04e9, n);
        const CplxVector line = Sample(s, TwoReflectionLine);
        // Exact zeros: the first points, a short run, and every 13th point.
        CplxVector holes = line;
        for (int i = 0; i < n; ++i)
        {
            if (i < 3 || i % 13 == 5 || (i >= n / 3 && i < n / 3 + 12))
            {
                holes[i] = 0.0;
            }
        }
        const double tMax = (n / 2) / s.span;
        for (int shape = 0; shape < 4; ++shape)
        {
            for (VNAGateType type : {GateBandpass, GateNotch})
            {
                const VNAGateShape sh = VNAGateShape(shape);
                const QString what = QString("n %1 shape %2 type %3").arg(n).arg(shape).arg(type);
                QVERIFY2(CompareGate(s, line, {1e-9, 3.5e-9, type, sh}) <= 1e-12, qPrintable(what));
                QVERIFY2(CompareGate(s, line, {-0.7 * tMax, 0.2 * tMax, type, sh}) <= 1e-12,
                         qPrintable(what));
                QVERIFY2(CompareGate(s, holes, {1e-9, 3.5e-9, type, sh}) <= 1e-12,
                         qPrintable(what + " with zeros"));
            }
        }
        // Normal and wide are the same window.
        CplxVector normal = line, wide = line;
        GateSParamConv(normal, s.start, s.StepSize(), 1e-9, 3.5e-9, GateBandpass, GateShapeNormal);
        GateSParamConv(wide, s.start, s.StepSize(), 1e-9, 3.5e-9, GateBandpass, GateShapeWide);
        QCOMPARE(GateMismatch(normal, wide, line), 0.0);
    }
}

void TestTimeDomain::gateEdgeCases()
{
    for (int n : {1, 2, 201, 251, 1601, 16001})
    {
        const VNAStimulus s = testfx::Stimulus(40e6, 8.04e9, n);
        const CplxVector line = Sample(s, TwoReflectionLine);
        const CplxVector zeros(n);
        const double wide = 10.0 / s.StepSize();
        CplxVector out;
        // Every shape up to 1601 points; the literal form's cost keeps the largest to one.
        for (int shape = n > 1601 ? 1 : 0; shape < (n > 1601 ? 2 : 4); ++shape)
        {
            const VNAGateShape sh = VNAGateShape(shape);
            const QString what = QString("n %1 shape %2").arg(n).arg(shape);
            // Wider than the span, band-pass, or start after stop, notch: the gate keeps all,
            // and the data comes back, to the centre value of the window (1 for odd lengths and
            // for the minimum shape). With the alternating sign counted from index 0, n = 2 and
            // n = 251 came back negated.
            for (GateCase g :
                 {GateCase{-wide, wide, GateBandpass, sh}, GateCase{3e-9, 1e-9, GateNotch, sh}})
            {
                QVERIFY2(CompareGate(s, line, g, &out) <= 1e-12, qPrintable(what));
                if (n % 2 == 1 || shape == 0)
                {
                    QVERIFY2(MaxRelDiff(out, line) <= 1e-12, qPrintable(what));
                }
            }
            // Removing everything leaves nothing to renormalise with: not a number throughout.
            for (GateCase g :
                 {GateCase{-wide, wide, GateNotch, sh}, GateCase{3e-9, 1e-9, GateBandpass, sh}})
            {
                QVERIFY2(CompareGate(s, line, g, &out) <= 1e-12, qPrintable(what));
                QVERIFY2(n == 1 || AllNaN(out), qPrintable(what));
            }
            QVERIFY2(CompareGate(s, zeros, {1e-9, 3.5e-9, GateBandpass, sh}, &out) <= 1e-12,
                     qPrintable(what));
            QVERIFY2(AllNaN(out), qPrintable(what));
        }
    }
    // One point: the time step is infinite, every sample passes and the point is kept.
    CplxVector one{cplx(0.3, -0.2)};
    GateSParamConv(one, 1e9, 0.0, 1e-9, 2e-9, GateBandpass, GateShapeNormal);
    QCOMPARE(one[0], cplx(0.3, -0.2));
}

void TestTimeDomain::gatingRemovesSecondReflection()
{
    // The full band on 1601 points: 25 ps of time resolution, 40 ns before the response repeats.
    const int n = 1601;
    const VNAStimulus s = testfx::Stimulus(40e6, 40e9, n);
    const CplxVector line = Sample(s, TwoReflectionLine);
    const QVector<double> f = s.GetFreqVector();
    CplxVector kept = line, notched = line, direct = line;
    GateSParamConv(kept, s.start, s.StepSize(), 1e-9, 3.5e-9, GateBandpass, GateShapeNormal);
    GateSParamConv(notched, s.start, s.StepSize(), 4.5e-9, 100e-9, GateNotch, GateShapeNormal);
    GateSParam(direct, s.start, s.StepSize(), 1e-9, 3.5e-9, GateBandpass, GateShapeNormal);
    // The middle of the band: towards the ends the kernel reaches past the data and the
    // renormalisation by its magnitude share only approximates the missing part.
    double worstKept = 0.0, worstNotched = 0.0, worstDirect = 0.0, ungated = 0.0;
    for (int i = 3 * n / 8; i <= 5 * n / 8; ++i)
    {
        const cplx first = kGa * Delay(f[i], 2e-9);
        worstKept = std::max(worstKept, std::abs(kept[i] - first));
        worstNotched = std::max(worstNotched, std::abs(notched[i] - first));
        worstDirect = std::max(worstDirect, std::abs(direct[i] - first));
        ungated = std::max(ungated, std::abs(line[i] - first));
    }
    QVERIFY(ungated > 0.2);
    QVERIFY2(worstKept < 1e-3, qPrintable(QString::number(worstKept)));
    QVERIFY2(worstNotched < 1e-3, qPrintable(QString::number(worstNotched)));
    QVERIFY2(worstDirect < 1e-3, qPrintable(QString::number(worstDirect)));

    // The direct form keeps everything under a gate wider than the span.
    direct = line;
    GateSParam(direct, s.start, s.StepSize(), -1e-6, 1e-6, GateBandpass, GateShapeNormal);
    QVERIFY(MaxRelDiff(direct, line) < 1e-12);
}

void TestTimeDomain::bandpassTransform()
{
    VNATransformSettings ts;
    for (int n : {200, 201})
    {
        const VNAStimulus s = testfx::Stimulus(1e9, 9e9, n);
        const double dt = 1.0 / s.span;
        // A flat spectrum is an impulse at 0 of height 1, at index n / 2.
        QVector<double> x;
        CplxVector out;
        TransformSParam(s, ts, CplxVector(n, cplx(1.0, 0.0)), x, out);
        QCOMPARE(out.size(), n);
        QCOMPARE(x[0], -(n / 2) * dt);
        QCOMPARE(x[n / 2], 0.0);
        QVERIFY(std::abs(out[n / 2] - 1.0) < 1e-12);
        const auto full = GetTimeDomainFullScale(s, ts);
        QCOMPARE(full.first, x.first());
        QCOMPARE(full.second, x.last());

        // A delayed impulse peaks at its delay.
        const double tau = 3.2e-9;
        CplxVector delayed(n);
        for (int i = 0; i < n; ++i)
        {
            delayed[i] = Delay(s.start + i * s.StepSize(), tau);
        }
        TransformSParam(s, ts, delayed, x, out);
        int peak = 0;
        for (int i = 0; i < n; ++i)
        {
            peak = std::abs(out[i]) > std::abs(out[peak]) ? i : peak;
        }
        QVERIFY2(std::fabs(x[peak] - tau) <= dt, qPrintable(QString::number(x[peak])));
    }
}

void TestTimeDomain::lowpassImpulseOfShortedLine()
{
    // Start equal to the step: k = 1, one extrapolated point at DC, 2 N + 1 points out.
    const int n = 200;
    const VNAStimulus s = testfx::Stimulus(40e6, 8e9, n);
    const int m = 2 * n + 1;
    // A delay that puts the round trip on a sample of the transform.
    const double twoTau = 64.0 / (m * s.StepSize());
    CplxVector shortAtEnd(n);
    for (int i = 0; i < n; ++i)
    {
        shortAtEnd[i] = -Delay(s.start + i * s.StepSize(), twoTau);
    }
    QVector<double> x;
    const CplxVector out = Lowpass(s, shortAtEnd, TransformLowpassImpulse, x);
    QCOMPARE(out.size(), m);
    int low = 0;
    for (int i = 0; i < m; ++i)
    {
        low = out[i].real() < out[low].real() ? i : low;
    }
    const double dt = 1.0 / (2.0 * s.stop);
    QVERIFY2(std::fabs(out[low].real() + 1.0) < 1e-9, qPrintable(QString::number(out[low].real())));
    QVERIFY(std::fabs(x[low] - twoTau) <= dt);
    VNATransformSettings ts;
    ts.type = TransformLowpassImpulse;
    const auto full = GetTimeDomainFullScale(s, ts);
    QCOMPARE(full.first, x.first());
    QCOMPARE(full.second, x.last());
}

void TestTimeDomain::lowpassStepLevels()
{
    // 40 MHz grid to 40 GHz. The matched line's first point has a phase of -0.8 pi, so the polar
    // midpoint of the conjugate pair around DC is -1: the level the step would have ended at.
    const VNAStimulus s = testfx::Stimulus(40e6, 40e9, 1000);
    // Lowest and highest level for x in [from, to].
    auto levels = [](const QVector<double>& x, const CplxVector& out, double from, double to)
    {
        double lo = INFINITY, hi = -INFINITY;
        for (int i = 0; i < x.size(); ++i)
        {
            if (x[i] >= from && x[i] <= to)
            {
                lo = std::min(lo, out[i].real());
                hi = std::max(hi, out[i].real());
            }
        }
        return std::make_pair(lo, hi);
    };
    const CplxVector line = Sample(s, [](double f) { return Delay(f, 10e-9); });
    QVERIFY(InterpolateCplx(std::conj(line[0]), line[0], 0.5).real() < -0.99);
    QVector<double> x;
    CplxVector out = Lowpass(s, line, TransformLowpassStep, x);
    QVERIFY2(std::fabs(out.last().real() - 1.0) < 1e-3,
             qPrintable(QString::number(out.last().real())));
    auto range = levels(x, out, 10.5e-9, 1.0);
    QVERIFY2(range.first > 1.0 - 1e-3 && range.second < 1.0 + 1e-3,
             qPrintable(QString("%1 %2").arg(range.first).arg(range.second)));
    range = levels(x, out, -1.0, 9.5e-9);
    QVERIFY2(range.first > -1e-3 && range.second < 1e-3,
             qPrintable(QString("%1 %2").arg(range.first).arg(range.second)));

    // A 75 ohm load at the end of a 5 ns matched line: 0.2 after the 10 ns round trip.
    const CplxVector load = Sample(s, [](double f) { return 0.2 * Delay(f, 10e-9); });
    out = Lowpass(s, load, TransformLowpassStep, x);
    range = levels(x, out, 10.5e-9, 1.0);
    QVERIFY2(range.first > 0.2 - 1e-3 && range.second < 0.2 + 1e-3,
             qPrintable(QString("%1 %2").arg(range.first).arg(range.second)));

    // A sweep from 0 Hz: k = 0, 2 N - 1 points, and DC is the measured point's real part.
    const VNAStimulus fromDc = testfx::Stimulus(0.0, 40e9, 1001);
    CplxVector data = Sample(fromDc, [](double f) { return 0.5 * Delay(f, 3e-9); });
    data[0] = cplx(0.5, 0.3);
    out = Lowpass(fromDc, data, TransformLowpassStep, x);
    QCOMPARE(out.size(), 2 * 1001 - 1);
    QVERIFY(std::fabs(out.last().real() - 0.5) < 1e-9);
}

void TestTimeDomain::lowpassGrid()
{
    VNAStimulus next;
    // The step is large enough to start on: only the start moves.
    VNAStimulus s = testfx::Stimulus(100e6, 10e9, 201);
    QVERIFY(!s.IsTDLowpassCompatible());
    QVERIFY(LowpassCompatibleStimulus(s, next));
    QVERIFY(next.IsTDLowpassCompatible());
    QCOMPARE(next.points, 201);
    QCOMPARE(next.stop, 10e9);
    QVERIFY(std::fabs(next.start - next.StepSize()) < 1.0);
    QCOMPARE(next.span, next.stop - next.start);
    QCOMPARE(next.center, (next.stop + next.start) / 2);
    // A fine step: 40 MHz steps up to the stop, fewer points.
    s = testfx::Stimulus(1e9, 4.01e9, 1001);
    QVERIFY(LowpassCompatibleStimulus(s, next));
    QVERIFY(next.IsTDLowpassCompatible());
    QCOMPARE(next.points, 100);
    QCOMPARE(next.start, 40e6);
    QCOMPARE(next.stop, 4e9);
    // Too short for two 40 MHz steps.
    s = testfx::Stimulus(50.5e6, 60e6, 11);
    QVERIFY(LowpassCompatibleStimulus(s, next));
    QCOMPARE(next.points, 2);
    QCOMPARE(next.stop, 80e6);
    QCOMPARE(next.center, 60e6);
    // Already on a harmonic grid: nothing to do.
    s = testfx::Stimulus(80e6, 8e9, 199);
    next = VNAStimulus();
    QVERIFY(s.IsTDLowpassCompatible());
    QVERIFY(!LowpassCompatibleStimulus(s, next));
    QCOMPARE(next.points, VNAStimulus().points);

    // A stimulus far from DC on a fine step has no computable low-pass record.
    s = testfx::Stimulus(20e9, 20.001e9, 64001);
    QVector<double> x;
    QVERIFY(Lowpass(s, CplxVector(64001, 1.0), TransformLowpassStep, x).isEmpty());
    QVERIFY(x.isEmpty());
}

void TestTimeDomain::settingsRules()
{
    VNAModel model;
    model.channels[0]->stimulus = testfx::Stimulus(100e6, 10e9, 201);
    VNATrace* a = AddTrace(model, S11, LogMag);
    VNATrace* b = AddTrace(model, S21, LogMag);
    QVERIFY(!model.transformTypeChanged(a, TransformLowpassStep));
    QCOMPARE(a->transform.type, TransformBandpass);
    QVERIFY(model.transformSetLPFreqs(a));
    QVERIFY(model.channels[0]->stimulus.IsTDLowpassCompatible());
    QVERIFY(!model.transformSetLPFreqs(a));
    QVERIFY(model.transformTypeChanged(a, TransformLowpassStep));
    QCOMPARE(a->transform.type, TransformLowpassStep);

    model.transformStartChanged(a, -2e-9);
    model.transformStopChanged(a, 6e-9);
    model.transformCenterChanged(a, 0.0);
    QCOMPARE(a->transform.start, -4e-9);
    QCOMPARE(a->transform.stop, 4e-9);
    model.transformSpanChanged(a, 2e-9);
    QCOMPARE(a->transform.start, -1e-9);
    QCOMPARE(a->transform.stop, 1e-9);

    // Uncoupled, a gate stays on its trace; coupled, edits reach the channel's other traces.
    model.gatingStartChanged(a, 1e-9);
    model.gatingStopChanged(a, 3e-9);
    QCOMPARE(b->gateStart, -40e-9);
    model.gatingCoupledSettingsEnabled(a, true);
    QCOMPARE(b->gateStart, 1e-9);
    model.gatingSpanChanged(b, 4e-9);
    model.gatingCenterChanged(b, 5e-9);
    model.gatingTypeChanged(b, GateNotch);
    model.gatingShapeChanged(b, GateShapeMaximum);
    model.gatingEnabled(b, true);
    QCOMPARE(a->gateStart, 3e-9);
    QCOMPARE(a->gateStop, 7e-9);
    QCOMPARE(a->gateType, int(GateNotch));
    QCOMPARE(a->gateShape, int(GateShapeMaximum));
    QVERIFY(a->gateEnabled);
    // A trace joining a coupled channel takes its gate.
    VNATrace* c = AddTrace(model, S22, LogMag);
    {
        QMutexLocker lock(&model.traceLock);
        model.TimeGateCouplingApplyToTrace(c);
    }
    QCOMPARE(c->gateStop, 7e-9);
    QVERIFY(c->gateEnabled);
}

void TestTimeDomain::distance()
{
    VNATransformSettings ts;
    ts.velocityFactor = 0.66;
    QCOMPARE(MetersPerSecond(ts, S11), 299792500.0 * 0.66 * 0.5);
    QCOMPARE(MetersPerSecond(ts, S21), 299792500.0 * 0.66);
    ts.markerMode = MarkerModeReflection;
    QCOMPARE(MetersPerSecond(ts, S21), 299792500.0 * 0.66 * 0.5);
    ts.markerMode = MarkerModeTransmission;
    QCOMPARE(MetersPerSecond(ts, S22), 299792500.0 * 0.66);
    QCOMPARE(TimeToDisplayUnits(2e-9, ts, S21), 2e-9);
    const double meters = 2e-9 * 299792500.0 * 0.66;
    for (auto u : {std::make_pair(UnitsMeters, 1.0), std::make_pair(UnitsFeet, 0.3048),
                   std::make_pair(UnitsInches, 0.0254)})
    {
        ts.units = u.first;
        const double v = TimeToDisplayUnits(2e-9, ts, S21);
        QVERIFY(std::fabs(v - meters / u.second) < 1e-12 * v);
        QVERIFY(std::fabs(DisplayUnitsToTime(v, ts, S21) - 2e-9) < 1e-24);
    }
}

void TestTimeDomain::chainGatesAndTransforms()
{
    VNAModel model;
    VNAChannel& ch = *model.channels[0];
    const int n = 1601;
    ch.stimulus = testfx::Stimulus(40e6, 40e9, n);
    {
        QMutexLocker lock(&ch.measLock);
        ch.MeasAvg.Resize(n);
        ch.MeasAvg.S11 = Sample(ch.stimulus, TwoReflectionLine);
    }
    VNATrace* gated = AddTrace(model, S11, LinMag);
    VNATrace* timed = AddTrace(model, S11, Real);
    model.gatingStartChanged(gated, 1e-9);
    model.gatingStopChanged(gated, 3.5e-9);
    model.gatingEnabled(gated, true);
    model.transformEnabled(timed, true);
    model.selectedTraceIndex = 1;
    QSignalSpy spy(&model, &VNAModel::updateTransformAutoScaleSignal);
    model.CalcTraces(0);
    for (int i = 3 * n / 8; i <= 5 * n / 8; ++i)
    {
        QVERIFY2(std::fabs(gated->y[i] - kGa) < 1e-3, qPrintable(QString::number(gated->y[i])));
    }
    // The transform's axis is its full scale, which auto scale stores, signalling once.
    const auto full = GetTimeDomainFullScale(ch.stimulus, timed->transform);
    QCOMPARE(timed->x.first(), full.first);
    QCOMPARE(timed->x.last(), full.second);
    QCOMPARE(timed->transform.start, full.first);
    QCOMPARE(timed->transform.stop, full.second);
    QCOMPARE(spy.count(), 1);
    model.CalcTraces(0);
    QCOMPARE(spy.count(), 1);
    // Without auto scale the displayed span stays where it was put.
    model.transformAutoScaleChanged(timed, false);
    model.transformStartChanged(timed, -1e-9);
    model.CalcTraces(0);
    QCOMPARE(timed->transform.start, -1e-9);
}

QTEST_GUILESS_MAIN(TestTimeDomain)
#include "test_time_domain.moc"
