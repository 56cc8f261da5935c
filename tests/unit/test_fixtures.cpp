// Fixture de-embedding and embedding, port extension and its automatic measurement, checked
// against cascades and lines computed here in closed form (ABCD matrices, not T-parameters).
#include <QMutexLocker>
#include <QTemporaryDir>
#include <QtTest>
#include <array>
#include <cmath>
#include <complex>

#include "application_settings.h"
#include "port_extension.h"
#include "test_fixtures.h"
#include "vna_lib.h"
#include "vna_model.h"

using cplx = std::complex<double>;

namespace
{
constexpr double kZ0 = 50.0;
constexpr double kTwoPi = 2.0 * M_PI;

// A two-port at one frequency as an ABCD matrix {A, B, C, D}.
using Abcd = std::array<cplx, 4>;

Abcd ToAbcd(cplx s11, cplx s21, cplx s12, cplx s22)
{
    const cplx d = 2.0 * s21;
    return {((1.0 + s11) * (1.0 - s22) + s12 * s21) / d,
            kZ0 * ((1.0 + s11) * (1.0 + s22) - s12 * s21) / d,
            ((1.0 - s11) * (1.0 - s22) - s12 * s21) / (kZ0 * d),
            ((1.0 - s11) * (1.0 + s22) + s12 * s21) / d};
}

void FromAbcd(const Abcd& m, cplx& s11, cplx& s21, cplx& s12, cplx& s22)
{
    const cplx a = m[0], b = m[1] / kZ0, c = m[2] * kZ0, d = m[3];
    const cplx den = a + b + c + d;
    s11 = (a + b - c - d) / den;
    s12 = 2.0 * (m[0] * m[3] - m[1] * m[2]) / den;
    s21 = 2.0 / den;
    s22 = (-a + b - c + d) / den;
}

Abcd Mul(const Abcd& x, const Abcd& y)
{
    return {x[0] * y[0] + x[1] * y[2], x[0] * y[1] + x[1] * y[3], x[2] * y[0] + x[3] * y[2],
            x[2] * y[1] + x[3] * y[3]};
}

Abcd Inv(const Abcd& m)
{
    const cplx det = m[0] * m[3] - m[1] * m[2];
    return {m[3] / det, -m[1] / det, -m[2] / det, m[0] / det};
}

Abcd AbcdAt(const SParameters& s, int i)
{
    return ToAbcd(s.S11[i], s.S21[i], s.S12[i], s.S22[i]);
}

// Port 1 fixture, device, port 2 fixture (its port 1 facing the device), optionally with the
// fixtures' inverses in place of the fixtures.
SParameters Cascade(const SParameters& f1, const SParameters& dut, const SParameters& f2,
                    bool inverse)
{
    SParameters out;
    out.Resize(dut.Size());
    for (int i = 0; i < dut.Size(); ++i)
    {
        const Abcd a = inverse ? Inv(AbcdAt(f1, i)) : AbcdAt(f1, i);
        const Abcd b = inverse ? Inv(AbcdAt(f2, i)) : AbcdAt(f2, i);
        FromAbcd(Mul(Mul(a, AbcdAt(dut, i)), b), out.S11[i], out.S21[i], out.S12[i], out.S22[i]);
    }
    return out;
}

// A fixture whose parameters have magnitude and phase linear in frequency, so that resampling a
// coarse file in polar form reproduces it exactly. Phase steps stay well below pi per point.
SParameters PolarLinearFixture(const QVector<double>& f, double skew)
{
    SParameters s;
    s.Resize(f.size());
    for (int i = 0; i < f.size(); ++i)
    {
        const double g = f[i] / 1e9;
        s.S11[i] = std::polar(0.10 + 0.01 * g * skew, 0.3 - kTwoPi * 0.21 * g);
        s.S21[i] = std::polar(0.92 - 0.015 * g, -kTwoPi * (0.45 + 0.05 * skew) * g);
        s.S12[i] = std::polar(0.90 - 0.012 * g, -kTwoPi * (0.45 + 0.05 * skew) * g + 0.01);
        s.S22[i] = std::polar(0.15 + 0.008 * g, -1.1 - kTwoPi * 0.3 * skew * g);
    }
    return s;
}

QVector<double> Grid(double start, double stop, int n)
{
    return testfx::Stimulus(start, stop, n).GetFreqVector();
}

// Full-precision Touchstone text in hertz and real/imaginary pairs.
QString WriteS2P(const QTemporaryDir& dir, const QString& name, const QVector<double>& f,
                 const SParameters& s)
{
    QByteArray text = "! fixture\n# Hz S RI R 50\n";
    for (int i = 0; i < f.size(); ++i)
    {
        text += QByteArray::number(f[i], 'g', 17);
        for (const CplxVector* v : {&s.S11, &s.S21, &s.S12, &s.S22})
        {
            text += ' ' + QByteArray::number((*v)[i].real(), 'g', 17) + ' ' +
                    QByteArray::number((*v)[i].imag(), 'g', 17);
        }
        text += '\n';
    }
    return testfx::WriteFile(dir, name, text);
}

// One-way loss of a coaxial line in dB: skin effect plus a little dielectric loss.
double LineLossDb(double f)
{
    return 0.3 * std::sqrt(f / 1e9) + 0.01 * f / 1e9;
}

// Reflection seen through a line of one-way delay tau ending in a reflection `end`.
cplx ThroughLine(cplx end, double tau, double f)
{
    return end * std::pow(10.0, -2.0 * LineLossDb(f) / 20.0) *
           std::polar(1.0, -kTwoPi * f * 2 * tau);
}
}  // namespace

class TestFixtures : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void tParametersCascade();
    void embedUndoesDeembed();
    void deembedRecoversDevice();
    void chainOrderThroughModel();
    void portExtensionLaw();
    void autoExtensionOfLossyOpenAndShort();
    void failedLoadKeepsFixture();
    void coverageWarnings();
    void presetsKeepSettings();

private:
    QTemporaryDir dir;
    VnaLib none;
};

void TestFixtures::tParametersCascade()
{
    const QVector<double> f = Grid(1e9, 8e9, 64);
    const SParameters a = PolarLinearFixture(f, 0.8), d = testfx::SmoothSParams(f),
                      b = PolarLinearFixture(f, -0.3);
    TParameters ta, td, tb;
    ta.FromSParams(a);
    td.FromSParams(d);
    tb.FromSParams(b);
    SParameters s;
    TParamMult(TParamMult(ta, td), tb).ToSParams(s);
    QVERIFY(testfx::MaxDifference(s, Cascade(a, d, b, false)) < 1e-12);

    TParameters inverse = ta;
    inverse.Invert();
    TParameters unit;
    unit.LoadIdentity(f.size());
    TParameters product = TParamMult(inverse, ta);
    double worst = 0.0;
    for (int i = 0; i < f.size(); ++i)
    {
        worst = std::max(
            {worst, std::abs(product.t0[i] - unit.t0[i]), std::abs(product.t1[i] - unit.t1[i]),
             std::abs(product.t2[i] - unit.t2[i]), std::abs(product.t3[i] - unit.t3[i])});
    }
    QVERIFY(worst < 1e-12);
}

void TestFixtures::embedUndoesDeembed()
{
    const VNAStimulus st = testfx::Stimulus(1e9, 9e9, 801);
    const QVector<double> f = st.GetFreqVector();
    const SParameters data = testfx::SmoothSParams(f);
    VNADeembed de, em;
    for (VNADeembed* d : {&de, &em})
    {
        d->LoadP1("a", f, PolarLinearFixture(f, 1.0));
        d->LoadP2("b", Grid(1e9, 9e9, 57), PolarLinearFixture(Grid(1e9, 9e9, 57), -0.7));
    }
    SParameters s = data;
    de.Deembed(st, s);
    QVERIFY(testfx::MaxDifference(s, data) > 0.1);
    em.Embed(st, s);
    QVERIFY(testfx::MaxDifference(s, data) < 1e-12);

    // Nothing loaded: identity on both sides, and only a zero S21 turns into non-numbers.
    VNADeembed empty;
    s = data;
    s.S21[5] = 0.0;
    empty.Deembed(st, s);
    for (int k = 0; k < 4; ++k)
    {
        CplxVector& v = s.GetSParam(VNATraceMeas(k));
        QVERIFY(!std::isfinite(v[5].real()) || !std::isfinite(v[5].imag()));
        v[5] = data.GetSParam(VNATraceMeas(k))[5];
    }
    QVERIFY(testfx::MaxDifference(s, data) < 1e-12);
}

void TestFixtures::deembedRecoversDevice()
{
    const VNAStimulus st = testfx::Stimulus(1e9, 10e9, 1001);
    const QVector<double> f = st.GetFreqVector();
    const SParameters dut = testfx::SmoothSParams(f);
    const SParameters f1 = PolarLinearFixture(f, 1.0), f2 = PolarLinearFixture(f, -0.6);
    const SParameters measured = Cascade(f1, dut, f2, false);

    // Files on the sweep's grid, and on a grid 25 times coarser.
    for (int coarse : {1001, 41})
    {
        const QVector<double> g = Grid(1e9, 10e9, coarse);
        QString error;
        QVector<double> freqs;
        SParameters p1, p2;
        QVERIFY(LoadFixtureFile(WriteS2P(dir, "f1.s2p", g, PolarLinearFixture(g, 1.0)), freqs, p1,
                                error));
        VNADeembed d;
        d.SetEnabled(true);
        d.LoadP1("f1.s2p", freqs, p1);
        freqs.clear();
        QVERIFY(LoadFixtureFile(WriteS2P(dir, "f2.s2p", g, PolarLinearFixture(g, -0.6)), freqs, p2,
                                error));
        d.LoadP2("f2.s2p", freqs, p2);
        SParameters s = measured;
        d.Deembed(st, s);
        QVERIFY2(testfx::MaxDifference(s, dut) < 1e-12, qPrintable(QString::number(coarse)));
    }

    // Only port 2 loaded: port 1 stays as measured.
    VNADeembed only2;
    only2.LoadP2("f2", f, f2);
    SParameters s = Cascade(f1, dut, f2, false);
    only2.Deembed(st, s);
    SParameters identity = dut;
    for (int i = 0; i < f.size(); ++i)
    {
        identity.S11[i] = identity.S22[i] = 0.0;
        identity.S21[i] = identity.S12[i] = 1.0;
    }
    QVERIFY(testfx::MaxDifference(s, Cascade(f1, dut, identity, false)) < 1e-12);
}

void TestFixtures::chainOrderThroughModel()
{
    // Port extension first, then de-embedding, then embedding, on the channel's data.
    VNAModel model(&none);
    VNAChannel& ch = *model.channels[0];
    ch.stimulus = testfx::Stimulus(2e9, 6e9, 401);
    const QVector<double> f = ch.stimulus.GetFreqVector();
    const SParameters raw = testfx::SmoothSParams(f);
    ch.MeasAvg.Resize(f.size());
    ch.MeasAvg.S11 = raw.S11;
    ch.MeasAvg.S21 = raw.S21;
    ch.MeasAvg.S12 = raw.S12;
    ch.MeasAvg.S22 = raw.S22;
    {
        QMutexLocker lock(&model.traceLock);
        int index = 0;
        model.InternalCreateTrace(index)->SetChannel(0);
        model.mapper.SetPos(0, 0, index);
    }
    const SParameters fx = PolarLinearFixture(f, 0.4), fy = PolarLinearFixture(f, -1.3);
    QString error;
    QVERIFY(model.LoadFixturePort(0, FixtureKind::Deembedding, 0, WriteS2P(dir, "x.s2p", f, fx),
                                  error));
    QVERIFY(model.LoadFixturePort(0, FixtureKind::Deembedding, 1, WriteS2P(dir, "y.s2p", f, fy),
                                  error));
    QVERIFY(
        model.LoadFixturePort(0, FixtureKind::Embedding, 1, WriteS2P(dir, "x2.s2p", f, fx), error));
    QCOMPARE(model.FixturePortFileName(0, FixtureKind::Embedding, 1), dir.filePath("x2.s2p"));
    QVERIFY(!model.FixturePortLoaded(0, FixtureKind::Embedding, 0));
    SParameters identity = fx;
    for (int i = 0; i < f.size(); ++i)
    {
        identity.S11[i] = identity.S22[i] = 0.0;
        identity.S21[i] = identity.S12[i] = 1.0;
    }

    PortExtensionSettings pe;
    pe.enabled = true;
    pe.use1[1] = true;
    pe.loss1[1] = 0.4;
    // Each combination, and a changed extension after the first pass of each.
    for (int combo = 0; combo < 8; ++combo)
    {
        const bool deembed = combo & 1, embed = combo & 2;
        pe.delay[0] = combo & 4 ? 0.31e-9 : -0.05e-9;
        pe.delay[1] = 0.17e-9;
        model.SetFixtureEnabled(0, FixtureKind::Deembedding, deembed);
        model.SetFixtureEnabled(0, FixtureKind::Embedding, embed);
        model.SetPortExtension(0, pe);
        model.CalcTraces(0);

        SParameters expected = raw;
        for (int i = 0; i < f.size(); ++i)
        {
            const double lb = std::pow(10.0, 0.4 * std::sqrt(f[i] / 1e9) / 20.0);
            const cplx a = std::polar(1.0, kTwoPi * f[i] * pe.delay[0]);
            const cplx b = std::polar(lb, kTwoPi * f[i] * pe.delay[1]);
            expected.S11[i] *= a * a;
            expected.S21[i] *= a * b;
            expected.S12[i] *= a * b;
            expected.S22[i] *= b * b;
        }
        if (deembed)
        {
            expected = Cascade(fx, expected, fy, true);
        }
        if (embed)
        {
            expected = Cascade(identity, expected, fx, false);
        }
        QMutexLocker lock(&model.traceLock);
        QVERIFY2(testfx::MaxDifference(ch.processed, expected) < 1e-12,
                 qPrintable(QString::number(combo)));
    }
}

void TestFixtures::portExtensionLaw()
{
    const VNAStimulus st = testfx::Stimulus(1e9, 4e9, 4);  // 1, 2, 3 and 4 GHz
    const SParameters data = testfx::SmoothSParams(st.GetFreqVector());
    auto gainDb = [&](const SParameters& s, const CplxVector& was, int i, VNATraceMeas m)
    { return 20.0 * std::log10(std::abs(s.GetSParam(m)[i]) / std::abs(was[i])); };

    VNAPortExtension ext;
    ext.enabled = true;
    SParameters s = data;
    ext.ApplyPortExtension(s, st);
    QVERIFY(testfx::MaxDifference(s, data) == 0.0);

    // One point of 1 dB at 1 GHz on port 1 follows the square root: 2 dB one way at 4 GHz.
    ext.use1[0] = true;
    ext.loss1[0] = 1.0;
    s = data;
    ext.ApplyPortExtension(s, st);  // the factors kept from the first call must not be reused
    QVERIFY(std::fabs(gainDb(s, data.S11, 3, S11) - 4.0) < 1e-9);
    QVERIFY(std::fabs(gainDb(s, data.S21, 3, S21) - 2.0) < 1e-9);
    QVERIFY(std::fabs(gainDb(s, data.S22, 3, S22)) < 1e-9);

    // Two points fit the exponent; a DC offset adds on both ports.
    ext.use1[1] = ext.use2[1] = true;
    ext.freq1[1] = 1e9;
    ext.loss1[1] = 0.5;
    ext.freq2[1] = 4e9;
    ext.loss2[1] = 4.0;  // exponent 1.5
    ext.lossDC = 1.0;
    ext.delay[0] = 0.125e-9;
    s = data;
    ext.ApplyPortExtension(s, st);
    for (int i = 0; i < 4; ++i)
    {
        const double g = i + 1.0;
        const double l0 = std::sqrt(g) + 1.0, l1 = 0.5 * std::pow(g, 1.5) + 1.0;
        QVERIFY(std::fabs(gainDb(s, data.S22, i, S22) - 2.0 * l1) < 1e-9);
        QVERIFY(std::fabs(gainDb(s, data.S12, i, S12) - (l0 + l1)) < 1e-9);
        QVERIFY(std::fabs(gainDb(s, data.S11, i, S11) - 2.0 * l0) < 1e-9);
        // 0.125 ns at g GHz: a quarter turn per GHz each way on port 1.
        const cplx turn = s.S11[i] / data.S11[i];
        QVERIFY(std::abs(turn / std::abs(turn) - std::polar(1.0, 0.5 * M_PI * g)) < 1e-12);
    }
    // A different sweep rebuilds the factors; the free function agrees with the kept ones.
    const VNAStimulus other = testfx::Stimulus(1.5e9, 3e9, 4);
    SParameters a = testfx::SmoothSParams(other.GetFreqVector()), b = a;
    ext.ApplyPortExtension(a, other);
    ApplyPortExtension(b, other, ext);
    QVERIFY(testfx::MaxDifference(a, b) == 0.0);
    QVERIFY(std::fabs(PortExtensionLoss(ext, 1, 2e9) -
                      std::pow(10.0, (0.5 * std::pow(2.0, 1.5) + 1.0) / 20.0)) < 1e-12);
}

void TestFixtures::autoExtensionOfLossyOpenAndShort()
{
    // About 1.2 m of cable on port 1 and 0.4 m on port 2; 1000 points put the two loss
    // frequencies between sweep points.
    const VNAStimulus st = testfx::Stimulus(40e6, 20e9, 1000);
    const QVector<double> f = st.GetFreqVector();
    const double tau[2] = {4.1e-9, 1.3e-9};
    SParameters open, shorted;
    open.Resize(f.size());
    shorted.Resize(f.size());
    for (int i = 0; i < f.size(); ++i)
    {
        open.S11[i] = ThroughLine(1.0, tau[0], f[i]);
        open.S22[i] = ThroughLine(1.0, tau[1], f[i]);
        shorted.S11[i] = ThroughLine(-1.0, tau[0], f[i]);
        shorted.S22[i] = ThroughLine(-1.0, tau[1], f[i]);
    }
    VNAAutoPortExtension autoExt;
    VNAPortExtension ext;
    ext.enabled = true;
    autoExt.Measure(0, VNAAutoPortExtension::Open, open, st, true, ext);
    autoExt.Measure(0, VNAAutoPortExtension::Short, shorted, st, true, ext);
    autoExt.Measure(1, VNAAutoPortExtension::Open, open, st, true, ext);
    QVERIFY(autoExt.HasReading(0, 1) && !autoExt.HasReading(1, 1));
    QVERIFY(std::fabs(ext.delay[0] - tau[0]) < 1e-13);

    for (const SParameters* standard : {&open, &shorted})
    {
        SParameters s = *standard;
        ext.ApplyPortExtension(s, st);
        const double sign = standard == &open ? 1.0 : -1.0;
        for (int p = 0; p < 2; ++p)
        {
            const CplxVector& r = p == 0 ? s.S11 : s.S22;
            for (int i = 0; i < f.size(); ++i)
            {
                const double phaseDeg = std::arg(r[i] * sign) * 180.0 / M_PI;
                const double magDb = 20.0 * std::log10(std::abs(r[i]));
                QVERIFY2(std::fabs(phaseDeg) < 1.0 && std::fabs(magDb) < 0.05,
                         qPrintable(QString("port %1 at %2 Hz: %3 deg %4 dB")
                                        .arg(p + 1)
                                        .arg(f[i])
                                        .arg(phaseDeg)
                                        .arg(magDb)));
            }
        }
    }
    // Without "Measure Loss" only the delay moves, and the cache forgets on Clear.
    VNAPortExtension plain;
    autoExt.Clear();
    autoExt.Measure(1, VNAAutoPortExtension::Short, shorted, st, false, plain);
    QVERIFY(std::fabs(plain.delay[1] - tau[1]) < 1e-13);
    QVERIFY(!plain.use1[1] && !plain.use2[1] && plain.loss1[1] == 0.0);
    QVERIFY(!autoExt.HasReading(0, 0));
}

void TestFixtures::failedLoadKeepsFixture()
{
    VNAModel model(&none);
    VNAChannel& ch = *model.channels[0];
    ch.stimulus = testfx::Stimulus(1e9, 2e9, 11);
    const QVector<double> f = ch.stimulus.GetFreqVector();
    const QString good = WriteS2P(dir, "good.s2p", f, PolarLinearFixture(f, 1.0));
    QString error;
    QVERIFY(model.LoadFixturePort(0, FixtureKind::Deembedding, 0, good, error));
    const SParameters before = ch.deembedding.PortParams(0);

    const QString bad = testfx::WriteFile(dir, "bad.s2p", "# Hz S RI R 50\n1e9 1 0 1 0\n");
    const QString oneport = testfx::WriteFile(dir, "one.s1p", "# Hz S RI R 50\n1e9 1 0\n");
    const QString descending = testfx::WriteFile(
        dir, "down.s2p", "# Hz S RI R 50\n2e9 0 0 1 0 1 0 0 0\n1e9 0 0 1 0 1 0 0 0\n");
    const struct
    {
        QString path;
        QString why;
    } cases[] = {{bad, "Invalid number of points on line"},
                 {oneport, "A fixture must be a two-port (.s2p) file."},
                 {descending, "Line 3: the frequencies must increase from one line to the next."},
                 {dir.filePath("missing.s2p"), "Unable to open file."}};
    for (const auto& c : cases)
    {
        error.clear();
        QVERIFY(!model.LoadFixturePort(0, FixtureKind::Deembedding, 0, c.path, error));
        QCOMPARE(error, c.why);
        QVERIFY(model.FixturePortLoaded(0, FixtureKind::Deembedding, 0));
        QCOMPARE(model.FixturePortFileName(0, FixtureKind::Deembedding, 0), good);
        QVERIFY(testfx::MaxDifference(ch.deembedding.PortParams(0), before) == 0.0);
    }
    QVERIFY(!model.LoadFixturePort(0, FixtureKind::Deembedding, 2, good, error));
    QVERIFY(!model.LoadFixturePort(8, FixtureKind::Deembedding, 0, good, error));

    model.ClearFixturePort(0, FixtureKind::Deembedding, 0);
    QVERIFY(!model.FixturePortLoaded(0, FixtureKind::Deembedding, 0));
    QVERIFY(model.FixturePortFileName(0, FixtureKind::Deembedding, 0).isEmpty());
}

void TestFixtures::coverageWarnings()
{
    const VNAStimulus st = testfx::Stimulus(1e9, 5e9, 101);
    VNADeembed d;
    QVERIFY(d.CoverageWarning(st).isEmpty());
    const QVector<double> inside = Grid(0.5e9, 6e9, 23);
    d.LoadP1("p1", inside, PolarLinearFixture(inside, 1.0));
    QVERIFY(d.CoverageWarning(st).isEmpty());

    // A file ending below the sweep's stop holds its last value beyond it.
    const QVector<double> shortFile = Grid(1e9, 4e9, 13);
    d.LoadP2("p2", shortFile, PolarLinearFixture(shortFile, 1.0));
    QVERIFY(d.CoverageWarning(st).startsWith("Port 2"));
    SParameters s = testfx::SmoothSParams(st.GetFreqVector());
    SParameters held = s;
    d.Deembed(st, s);
    const SParameters lastPoint = PolarLinearFixture({4e9}, 1.0);
    SParameters flat;
    flat.Resize(st.points);
    for (int i = 0; i < st.points; ++i)
    {
        flat.S11[i] = lastPoint.S11[0];
        flat.S21[i] = lastPoint.S21[0];
        flat.S12[i] = lastPoint.S12[0];
        flat.S22[i] = lastPoint.S22[0];
    }
    const SParameters p1 =
        InterpolateSParams(PolarLinearFixture(inside, 1.0), inside, st.GetFreqVector());
    const SParameters expected = Cascade(p1, held, flat, true);
    for (int i = 76; i < st.points; ++i)  // 4 GHz and above
    {
        for (int k = 0; k < 4; ++k)
        {
            QVERIFY(std::abs(s.GetSParam(VNATraceMeas(k))[i] -
                             expected.GetSParam(VNATraceMeas(k))[i]) < 1e-12);
        }
    }

    // A file of the sweep's length is taken point for point whatever its frequencies say.
    const QVector<double> shifted = Grid(1.2e9, 5.2e9, 101);
    d.LoadP2("p2", shifted, PolarLinearFixture(shifted, 1.0));
    QVERIFY(d.CoverageWarning(st).contains("point for point"));
}

void TestFixtures::presetsKeepSettings()
{
    const QVector<double> g = Grid(1e9, 3e9, 7);
    VNAChannel saved(0);
    saved.portExtension.enabled = true;
    saved.portExtension.delay[1] = 1.5e-10;
    saved.portExtension.use2[0] = true;
    saved.portExtension.freq2[0] = 7e9;
    saved.portExtension.loss2[0] = 0.75;
    saved.portExtension.velocityFactor = 0.7;
    saved.portExtension.lossDC = -0.2;
    saved.deembedding.SetEnabled(true);
    saved.deembedding.LoadP2("fixture.s2p", g, PolarLinearFixture(g, 1.0));
    saved.embedding.LoadP1("other.s2p", g, PolarLinearFixture(g, -1.0));
    const QString path = dir.filePath("state.ini");
    {
        ApplicationSettings s(path);
        saved.Save(s);
    }
    VNAChannel loaded(1);
    loaded.deembedding.LoadP1("stale.s2p", g, PolarLinearFixture(g, 2.0));
    {
        ApplicationSettings s(path);
        loaded.Load(s);
    }
    QVERIFY(loaded.portExtension.Settings() == saved.portExtension.Settings());
    QVERIFY(loaded.deembedding.Enabled() && !loaded.embedding.Enabled());
    QVERIFY(!loaded.deembedding.P1Loaded() && loaded.deembedding.P2Loaded());
    QVERIFY(loaded.deembedding.P1FileName().isEmpty());
    QVERIFY(loaded.deembedding.PortFreqs(0).isEmpty());
    QCOMPARE(loaded.deembedding.P2FileName(), QString("fixture.s2p"));
    QCOMPARE(loaded.embedding.P1FileName(), QString("other.s2p"));
    QCOMPARE(loaded.deembedding.PortFreqs(1), g);
    // Complex data are kept as floats.
    QVERIFY(testfx::MaxDifference(loaded.deembedding.PortParams(1),
                                  saved.deembedding.PortParams(1)) < 1e-6);
}

QTEST_GUILESS_MAIN(TestFixtures)
#include "test_fixtures.moc"
