// Display formats: conversions, units, scales and the value texts beside markers.
#include <QtTest>
#include <cmath>
#include <complex>

#include "trace_formats.h"
#include "vna_trace.h"

using cplx = std::complex<double>;

namespace
{
const QString kDeg = QString(QChar(0x00B0));
const QString kOhm = QString(QChar(0x03A9));

// Fills a trace's y with the given values on a dummy frequency axis.
void Fill(VNATrace& t, const QVector<double>& values)
{
    t.y = values;
    t.x.resize(values.size());
    for (int i = 0; i < values.size(); ++i)
    {
        t.x[i] = 1e9 + i * 1e6;
    }
}

double Top(const VNATrace& t)
{
    return *t.ref() + *t.div() * *t.refPos();
}
}  // namespace

class TestFormats : public QObject
{
    Q_OBJECT
private slots:
    void magnitudeAndPhaseConversions();
    void swrReadings();
    void unwrappingAndGroupDelay();
    void autoScaleRules();
    void scaleTriplesFollowTheFormat();
    void markerValueTexts();
};

void TestFormats::magnitudeAndPhaseConversions()
{
    const QVector<double> x = {1e9, 2e9, 3e9, 4e9};
    const CplxData s = {std::polar(0.1, 2.0), cplx(0.0, 0.0), cplx(1e-300, 0.0),
                        std::polar(3.0, -1.0)};
    QVector<double> ox, oy;

    SParamToLogMag(x, s, ox, oy);
    QCOMPARE(ox, x);
    QCOMPARE(oy.size(), 4);
    QVERIFY(std::fabs(oy[0] - (-20.0)) < 1e-12);
    QCOMPARE(oy[1], -200.0);                       // exact zero only
    QVERIFY(std::fabs(oy[2] - (-6000.0)) < 1e-6);  // tiny but not zero: no guard value
    QVERIFY(std::fabs(oy[3] - 20.0 * std::log10(3.0)) < 1e-12);

    SParamToLinMag(x, s, ox, oy);
    QVERIFY(std::fabs(oy[0] - 0.1) < 1e-15 && std::fabs(oy[3] - 3.0) < 1e-15);

    SParamToPhaseRad(x, s, ox, oy);
    QVERIFY(std::fabs(oy[0] - 2.0) < 1e-12 && std::fabs(oy[3] + 1.0) < 1e-12);
    SParamToPhaseDeg(x, s, ox, oy);
    QVERIFY(std::fabs(oy[0] - 2.0 * 180.0 / M_PI) < 1e-9);

    SParamToReal(x, s, ox, oy);
    QVERIFY(std::fabs(oy[3] - 3.0 * std::cos(-1.0)) < 1e-12);
    SParamToImag(x, s, ox, oy);
    QVERIFY(std::fabs(oy[3] - 3.0 * std::sin(-1.0)) < 1e-12);

    // Smith puts the reflection value itself on both axes, not the frequency.
    SParamToSmith(x, s, ox, oy);
    QVERIFY(std::fabs(ox[0] - 0.1 * std::cos(2.0)) < 1e-15);
    QVERIFY(std::fabs(oy[0] - 0.1 * std::sin(2.0)) < 1e-15);

    // Outputs shrink to the input even when they held more before.
    SParamToFormat(LogMag, x.mid(0, 2), s.mid(0, 2), ox, oy, 1.0);
    QCOMPARE(ox.size(), 2);
    QCOMPARE(oy.size(), 2);
    const cplx e = GetCexp(M_PI / 3);
    QVERIFY(std::fabs(e.real() - 0.5) < 1e-15 && std::fabs(e.imag() - std::sqrt(3) / 2) < 1e-15);
}

void TestFormats::swrReadings()
{
    const QVector<double> x(6, 0.0);
    // Magnitudes 0, 0.5, 1/3, exactly 1, just above 1, far above 1.
    const CplxData s = {cplx(0, 0),      std::polar(0.5, 1.0),    cplx(0, 1.0 / 3.0),
                        cplx(-1.0, 0.0), std::polar(1.0001, 0.2), cplx(5, 0)};
    QVector<double> ox, oy;
    SParamToSWR(x, s, ox, oy);
    QVERIFY(std::fabs(oy[0] - 1.0) < 1e-15);
    QVERIFY(std::fabs(oy[1] - 3.0) < 1e-12);
    QVERIFY(std::fabs(oy[2] - 2.0) < 1e-12);
    QCOMPARE(oy[3], 1000.0);
    QCOMPARE(oy[4], 1000.0);
    QCOMPARE(oy[5], 1000.0);
}

void TestFormats::unwrappingAndGroupDelay()
{
    // A delay line: phase falls linearly by 2 pi f tau; the wrapped data jumps many times.
    const double tau = 1.5e-9, f0 = 1e9, df = 10e6;
    const int n = 201;
    QVector<double> x(n);
    CplxData s(n);
    for (int i = 0; i < n; ++i)
    {
        x[i] = f0 + i * df;
        s[i] = std::polar(0.8, -2.0 * M_PI * x[i] * tau);
    }
    QVector<double> ox, oy;
    SParamToUnwrappedPhaseDeg(x, s, ox, oy);
    const double first = oy[0];
    QVERIFY(first > -180.0 && first <= 180.0);
    for (int i = 1; i < n; ++i)
    {
        const double expected = first - 360.0 * df * tau * i;
        QVERIFY2(std::fabs(oy[i] - expected) < 1e-7, qPrintable(QString::number(i)));
    }

    SParamToGroupDelay(x, s, ox, oy, df);
    QCOMPARE(oy.size(), n);
    for (int i = 0; i < n; ++i)
    {
        QVERIFY(std::fabs(oy[i] - tau * 1e9) < 1e-6);
    }

    // Too short for a difference: no read beyond the data, no garbage.
    SParamToGroupDelay(x.mid(0, 1), s.mid(0, 1), ox, oy, df);
    QCOMPARE(oy.size(), 1);
    QCOMPARE(oy[0], 0.0);
    SParamToGroupDelay({}, {}, ox, oy, df);
    QVERIFY(oy.isEmpty());

    // A jump of exactly pi is left alone; a larger one is folded back.
    QVector<double> p = {0.0, M_PI, M_PI + 0.1, -M_PI + 0.3};
    UnwrapPhaseInPlace(p);
    QCOMPARE(p[1], M_PI);
    QVERIFY(std::fabs(p[3] - (M_PI + 0.3)) < 1e-12);
}

void TestFormats::autoScaleRules()
{
    {
        // Flat LogMag: the spread is under 1 dB, so the step is 1 with half a step of air.
        VNATrace t;
        Fill(t, QVector<double>(21, -10.3));
        t.AutoScale();
        QVERIFY(std::fabs(Top(t) - (-9.0)) < 1e-12);
        QVERIFY(std::fabs(*t.div() - 0.2) < 1e-12);
        QVERIFY(std::fabs(Top(t) - 10 * *t.div() - (-11.0)) < 1e-12);
    }
    {
        // Wide LogMag goes in 5 dB steps; the bottom makes room below -43.2.
        VNATrace t;
        Fill(t, {-43.2, -20.0, -3.7});
        t.AutoScale();
        QVERIFY(std::fabs(*t.ref() - 0.0) < 1e-12);
        QVERIFY(std::fabs(*t.div() - 5.0) < 1e-12);
    }
    {
        // Phase with the reference line in the middle: ref is the top less five divisions.
        VNATrace t;
        t.SetFormat(PhaseDeg);
        Fill(t, {-100.0, 0.0, 150.0});
        t.AutoScale();
        QVERIFY(std::fabs(*t.div() - 29.25) < 1e-9);
        QVERIFY(std::fabs(*t.ref() - 33.75) < 1e-9);
        QCOMPARE(*t.refPos(), 5.0);
    }
    {
        // SWR divides from 1 upwards.
        VNATrace t;
        t.SetFormat(SWR);
        Fill(t, {1.2, 1.8, 2.33});
        t.AutoScale();
        QVERIFY(std::fabs(*t.ref() - 2.4) < 1e-9);
        QVERIFY(std::fabs(*t.div() - 0.14) < 1e-9);
    }
    {
        // LinMag whose bottom falls below 0: the division spans from 0, not from the bottom.
        VNATrace t;
        t.SetFormat(LinMag);
        Fill(t, {0.02, 0.5, 0.87});
        t.AutoScale();
        QVERIFY(std::fabs(*t.ref() - 1.0) < 1e-9);
        QVERIFY(std::fabs(*t.div() - 0.1) < 1e-9);
    }
    {
        // Nothing to do on an empty trace or a Smith chart; a zero division is refused.
        VNATrace t;
        const double ref = *t.ref(), div = *t.div();
        t.AutoScale();
        QCOMPARE(*t.ref(), ref);
        t.SetFormat(SmithRI);
        Fill(t, {0.1, 0.2});
        const double smithDiv = *t.div();
        t.AutoScale();
        QCOMPARE(*t.div(), smithDiv);
        t.SetFormat(LogMag);
        t.SetDiv(0.0);
        QCOMPARE(*t.div(), div);
    }
    {
        // A range that cannot hold a step any more must not hang.
        VNATrace t;
        t.SetFormat(Real);
        Fill(t, {1e300, 1e300});
        t.AutoScale();
        QVERIFY(*t.ref() >= 1e299 && *t.div() > 0.0);
    }
}

void TestFormats::scaleTriplesFollowTheFormat()
{
    VNATrace t;
    QCOMPARE(t.GetRefDivString(), QStringLiteral("20.00dB / 10.00dB"));
    // Top and bottom of each default graticule.
    const struct
    {
        VNATraceFormat f;
        double top, bottom;
    } defaults[] = {{LinMag, 1.5, 0.0},    {LogMag, 20.0, -80.0},       {PhaseRad, M_PI, -M_PI},
                    {PhaseDeg, 180, -180}, {UnwrappedPhase, 180, -180}, {SWR, 11.0, 1.0},
                    {Real, 2.0, -2.0},     {GroupDelay, 2.0, -2.0}};
    for (const auto& d : defaults)
    {
        t.SetFormat(d.f);
        QVERIFY(std::fabs(Top(t) - d.top) < 1e-9);
        QVERIFY(std::fabs(Top(t) - 10 * *t.div() - d.bottom) < 1e-9);
    }

    t.SetFormat(LogMag);
    t.SetDiv(3.0);
    t.SetFormat(Imag);
    t.SetDiv(0.25);
    QCOMPARE(t.unitRef, QString());
    t.SetFormat(Real);
    QCOMPARE(*t.div(), 0.25);  // Real and Imag share a scale
    t.SetFormat(SmithGB);
    t.SetDiv(0.7);
    t.SetFormat(SmithRI);
    QCOMPARE(*t.div(), 0.7);
    t.SetFormat(LogMag);
    QCOMPARE(*t.div(), 3.0);  // LogMag kept its own
    QCOMPARE(t.unitDiv, QStringLiteral("dB"));
    t.SetFormat(PhaseDeg);
    QCOMPARE(t.GetRefDivString(), QStringLiteral("0.00") + kDeg + " / 36.00" + kDeg);

    // A copy owns its scale: editing it leaves the original alone.
    t.holdRestart = false;
    VNATrace copy = t;
    copy.SetDiv(99.0);
    QCOMPARE(*t.div(), 36.0);
    QCOMPARE(*copy.div(), 99.0);
    QVERIFY(copy.div() == &copy.phaseDegScale.div);
    QVERIFY(!t.holdRestart);
    t.SetFormat(Real);
    QVERIFY(t.holdRestart);

    t.LoadDefaultScale();
    t.SetFormat(LogMag);
    QCOMPARE(*t.div(), 10.0);
}

void TestFormats::markerValueTexts()
{
    QCOMPARE(GetMarkerPosString(-3.14159, LogMag), QStringLiteral("-3.14dB"));
    QCOMPARE(GetMarkerPosString(1.23456, PhaseRad), QStringLiteral("1.235rad"));
    QCOMPARE(GetMarkerPosString(45.0, UnwrappedPhase), QStringLiteral("45.00") + kDeg);
    QCOMPARE(GetMarkerPosString(0.1234, GroupDelay), QStringLiteral("0.123ns"));
    QCOMPARE(GetMarkerPosString(2.5, SWR), QStringLiteral("2.50"));

    QCOMPARE(GetOhmString(50.0), QStringLiteral("50.00 ") + kOhm);
    QCOMPARE(GetOhmString(-0.5), QStringLiteral("-500.00 m") + kOhm);
    QCOMPARE(GetOhmString(0.0), QStringLiteral("0.00 u") + kOhm);
    QCOMPARE(GetSiemensString(-0.004), QStringLiteral("-4.00 mS"));
    QCOMPARE(GetCapacitanceString(-2.2e-12), QStringLiteral("2.20 pF"));
    QCOMPARE(GetCapacitanceString(4.7e-6), QStringLiteral("4.70 uF"));

    // Z = 100 + j50 ohms on a 50 ohm system, read at 1 GHz.
    const cplx z(100.0, 50.0);
    const cplx gamma = (z - 50.0) / (z + 50.0);
    VNAMarker m;
    m.x = gamma.real();
    m.y = gamma.imag();
    m.f = 1e9;
    const double w = 2 * M_PI * 1e9;
    const QString c1 = GetCapacitanceString(1.0 / (w * 50.0));
    QCOMPARE(c1, QStringLiteral("3.18 pF"));
    QCOMPARE(GetMarkerPosString(m, SmithRI),
             QStringLiteral("100.00 ") + kOhm + ", 50.00 " + kOhm + ", " + c1);
    // Y = 1 / Z = 8 mS - j4 mS.
    QCOMPARE(GetMarkerPosString(m, SmithGB),
             QStringLiteral("8.00 mS, -4.00 mS, ") + GetCapacitanceString(0.004 / w));
    QCOMPARE(GetCapacitanceString(0.004 / w), QStringLiteral("636.62 fF"));
    m.y = -12.345;
    QCOMPARE(GetMarkerPosString(m, LogMag), QStringLiteral("-12.35dB"));
}

QTEST_GUILESS_MAIN(TestFormats)
#include "test_formats.moc"
