// The three solvers end to end: standards and devices measured on a synthetic instrument with
// known error terms, corrected, and compared with the device.
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <numeric>
#include <random>

#include "application_settings.h"
#include "cal_fixtures.h"
#include "error_model.h"
#include "signal_ops.h"
#include "test_fixtures.h"
#include "vna_calibration.h"

using testfx::cplx;

namespace
{
constexpr double kExact = 1e-9;

QVector<double> Freqs(const VNAStimulus& s)
{
    return s.GetFreqVector();
}

double MaxDiff(const CplxVector& a, const CplxVector& b)
{
    if (a.size() != b.size())
    {
        return std::numeric_limits<double>::infinity();
    }
    double worst = 0.0;
    for (int i = 0; i < a.size(); ++i)
    {
        const double d = std::abs(a[i] - b[i]);
        worst = std::isnan(d) ? std::numeric_limits<double>::infinity() : std::max(worst, d);
    }
    return worst;
}

// A device as raw data: the DUT's S-parameters on the list, measured through the models.
SParametersRaw MeasureDut(const testfx::ErrorModel& normal, const testfx::ErrorModel& hdr,
                          const QVector<double>& f, const SParameters& dut)
{
    return testfx::MeasureRaw(normal, hdr, f, testfx::Tabulated(f, dut));
}

SParameters ScaledTransmission(SParameters s, double db)
{
    const double k = std::pow(10.0, db / 20.0);
    for (int i = 0; i < s.Size(); ++i)
    {
        s.S21[i] *= k;
        s.S12[i] *= k;
    }
    return s;
}

// Error terms of the model on the list, in CalSetErrTerm order (twelve-term equivalents).
QVector<CplxVector> ModelTerms(const testfx::ErrorModel& m, const QVector<double>& f)
{
    QVector<CplxVector> t(12, CplxVector(f.size()));
    for (int i = 0; i < f.size(); ++i)
    {
        const testfx::ErrorTerms e = m.At(f[i]);
        t[ErrEdf][i] = e.e00;
        t[ErrEsf][i] = e.e11;
        t[ErrElf][i] = e.elf();
        t[ErrErf][i] = e.e10e01;
        t[ErrEtf][i] = e.etf();
        t[ErrExf][i] = e.e30;
        t[ErrEdr][i] = e.e33;
        t[ErrEsr][i] = e.e22;
        t[ErrElr][i] = e.elr();
        t[ErrErr][i] = e.e23e32;
        t[ErrEtr][i] = e.etr();
        t[ErrExr][i] = e.e03;
    }
    return t;
}

// A lossless line of impedance z0 and the given delay with a shunt capacitor at each end, in a
// 50 ohm system: a thru that is neither matched nor ideal. Cascaded as ABCD matrices.
testfx::TwoPortFn CapLoadedLine(double z0, double delay, double c1, double c2)
{
    return [=](double f, cplx s[4])
    {
        const double w = 2.0 * M_PI * f;
        const cplx j(0.0, 1.0);
        auto mul = [](const cplx a[4], const cplx b[4], cplx out[4])
        {
            out[0] = a[0] * b[0] + a[1] * b[2];
            out[1] = a[0] * b[1] + a[1] * b[3];
            out[2] = a[2] * b[0] + a[3] * b[2];
            out[3] = a[2] * b[1] + a[3] * b[3];
        };
        const cplx shunt1[4] = {1.0, 0.0, j * w * c1, 1.0};
        const cplx shunt2[4] = {1.0, 0.0, j * w * c2, 1.0};
        const double th = w * delay;
        const cplx line[4] = {std::cos(th), j * z0 * std::sin(th), j * std::sin(th) / z0,
                              std::cos(th)};
        cplx half[4], m[4];
        mul(shunt1, line, half);
        mul(half, shunt2, m);
        const double r = 50.0;
        const cplx den = m[0] + m[1] / r + m[2] * r + m[3];
        s[0] = (m[0] + m[1] / r - m[2] * r - m[3]) / den;
        s[1] = 2.0 / den;
        s[2] = 2.0 * (m[0] * m[3] - m[1] * m[2]) / den;
        s[3] = (-m[0] + m[1] / r - m[2] * r + m[3]) / den;
    };
}

QVector<int> Range(int n)
{
    QVector<int> v(n);
    std::iota(v.begin(), v.end(), 0);
    return v;
}

// Largest distance of the solved transmission tracking from the truth, and from its negative.
void TrackingDistance(const VNACalibration& cal, const testfx::ErrorModel& model,
                      const QVector<double>& f, double& toTruth, double& toNegated)
{
    toTruth = toNegated = 0.0;
    const QVector<CplxVector> truth = ModelTerms(model, f);
    for (int t : {ErrEtf, ErrEtr})
    {
        for (int i = 0; i < f.size(); ++i)
        {
            toTruth = std::max(toTruth, std::abs(cal.ErrorTerm(t)[i] - truth[t][i]));
            toNegated = std::max(toNegated, std::abs(cal.ErrorTerm(t)[i] + truth[t][i]));
        }
    }
}
}  // namespace

class TestCalSolvers : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }

    // One-port calibration on each port recovers the error terms and any reflection.
    void solOnBothPorts()
    {
        const VNAStimulus stim = testfx::Stimulus(40e6, 40e9, 201);
        const QVector<double> f = Freqs(stim);
        const VNACalKit kit = testfx::ModelKit();
        const SParameters dut = testfx::SmoothSParams(f);
        for (int port = 0; port < 2; ++port)
        {
            const testfx::ErrorModel model = testfx::ErrorModel::Random(11 + port);
            testfx::SyntheticCal setup;
            setup.type = SOL;
            setup.port = port;
            VNACalibration cal = testfx::MeasureCalibration(setup, kit, stim, model, model);
            cal.BuildCorrections(stim);
            QVERIFY(cal.CorrectionsReady());
            QVERIFY(!cal.IsInterpolated());

            const QVector<CplxVector> truth = ModelTerms(model, f);
            QVERIFY(MaxDiff(cal.OnePortTerm(0), truth[port == 0 ? ErrEdf : ErrEdr]) < kExact);
            QVERIFY(MaxDiff(cal.OnePortTerm(1), truth[port == 0 ? ErrEsf : ErrEsr]) < kExact);
            QVERIFY(MaxDiff(cal.OnePortTerm(2), truth[port == 0 ? ErrErf : ErrErr]) < kExact);

            // A one-port device on each port (a two-port would show its load-match term).
            const SParametersRaw raw = testfx::MeasureRaw(
                model, model, f,
                testfx::Reflects([&](double fq) { return dut.S11[f.indexOf(fq)]; },
                                 [&](double fq) { return dut.S22[f.indexOf(fq)]; }));
            const SParameters out = cal.ApplyCorrections(raw, false);
            const CplxVector& got = port == 0 ? out.S11 : out.S22;
            const CplxVector& want = port == 0 ? dut.S11 : dut.S22;
            QVERIFY2(MaxDiff(got, want) < kExact, qPrintable(QString::number(MaxDiff(got, want))));
            // The other three parameters stay zero.
            const CplxVector zeros(f.size(), cplx(0.0, 0.0));
            QCOMPARE(port == 0 ? out.S22 : out.S11, zeros);
            QCOMPARE(out.S21, zeros);
            QCOMPARE(out.S12, zeros);
        }

        // Measured equal to ideal: no directivity, no match, unit tracking.
        VNACalibration ideal =
            testfx::MeasureCalibration(testfx::SyntheticCal{SOL, 0, false, {}}, kit, stim,
                                       testfx::ErrorModel::Ideal(), testfx::ErrorModel::Ideal());
        ideal.BuildCorrections(stim);
        QVERIFY(MaxDiff(ideal.OnePortTerm(0), CplxVector(f.size(), 0.0)) < kExact);
        QVERIFY(MaxDiff(ideal.OnePortTerm(1), CplxVector(f.size(), 0.0)) < kExact);
        QVERIFY(MaxDiff(ideal.OnePortTerm(2), CplxVector(f.size(), 1.0)) < kExact);
    }

    // Twelve-term calibration with a known delayed thru, with and without isolation, through
    // normal and HDR paths that have different error terms.
    void soltRecoversDevice()
    {
        const VNAStimulus stim = testfx::Stimulus(40e6, 40e9, 201);
        const QVector<double> f = Freqs(stim);
        const double thruDelay = 82.157;  // ps; lossless, so the kept thru model is exact
        const VNACalKit kit = testfx::ModelKit(thruDelay, 0.0);
        const SParameters dut = testfx::SmoothSParams(f);

        for (int withIso = 0; withIso < 2; ++withIso)
        {
            const double leakage = withIso ? 3e-4 : 0.0;
            const testfx::ErrorModel normal = testfx::ErrorModel::Random(21, leakage);
            const testfx::ErrorModel hdr = testfx::ErrorModel::Random(22, leakage);
            testfx::SyntheticCal setup;
            setup.type = SOLT;
            setup.isolation = withIso;
            setup.thru = testfx::Line(50.0, thruDelay * 1e-12, 0.0);
            VNACalibration cal = testfx::MeasureCalibration(setup, kit, stim, normal, hdr);
            cal.BuildCorrections(stim);
            QVERIFY(cal.CorrectionsReady());

            const QVector<CplxVector> truth = ModelTerms(normal, f);
            const QVector<CplxVector> truthHdr = ModelTerms(hdr, f);
            for (int t = 0; t < VNACalibration::kTermCount; ++t)
            {
                QVERIFY2(MaxDiff(cal.ErrorTerm(t), truth[t]) < kExact,
                         qPrintable(CalSetErrTermToString(t)));
                QVERIFY2(MaxDiff(cal.ErrorTermHDR(t), truthHdr[t]) < kExact,
                         qPrintable(CalSetErrTermToString(t)));
            }

            // High transmission uses the normal path; -30 dB blends both; -45 dB is pure HDR.
            for (double db : {0.0, -30.0, -45.0})
            {
                const SParameters d = ScaledTransmission(dut, db);
                const SParameters out = cal.ApplyCorrections(MeasureDut(normal, hdr, f, d), false);
                const double e = testfx::MaxDifference(out, d);
                QVERIFY2(e < kExact, qPrintable(QStringLiteral("%1 dB: %2").arg(db).arg(e)));
            }
        }
    }

    // HDR blend: the decision on the normal value, linear in dB from -25 to -35.
    void soltBlendsHdrBelowMinus25dB()
    {
        const VNAStimulus stim = testfx::Stimulus(1e9, 2e9, 3);
        const QVector<double> f = Freqs(stim);
        const testfx::ErrorModel ideal = testfx::ErrorModel::Ideal();
        VNACalKit kit = testfx::ModelKit(0.0, 0.0);
        testfx::SyntheticCal setup;
        setup.type = SOLT;
        setup.isolation = false;
        setup.thru = testfx::Line(50.0, 0.0, 0.0);
        VNACalibration cal = testfx::MeasureCalibration(setup, kit, stim, ideal, ideal);
        cal.BuildCorrections(stim);
        QVERIFY(MaxDiff(cal.ErrorTerm(ErrEtf), CplxVector(3, 1.0)) < kExact);
        QVERIFY(MaxDiff(cal.ErrorTerm(ErrElf), CplxVector(3, 0.0)) < kExact);

        // A perfect instrument passes raw data through; HDR differs in phase so a blend shows.
        SParametersRaw raw;
        raw.Resize(3);
        const double levels[3] = {-25.0, -30.0, -40.0};
        for (int i = 0; i < 3; ++i)
        {
            const double mag = std::pow(10.0, levels[i] / 20.0);
            raw.S11[i] = raw.S11HDR[i] = 0.1;
            raw.S22[i] = raw.S22HDR[i] = -0.1;
            raw.S21[i] = std::polar(mag, 0.2);
            raw.S12[i] = std::polar(mag, 0.2);
            raw.S21HDR[i] = std::polar(mag * 1.1, 0.6);
            raw.S12HDR[i] = std::polar(mag * 1.1, 0.6);
        }
        const SParameters out = cal.ApplyCorrectionsSOLT(raw);
        const double tExpected[3] = {0.0, 0.5, 1.0};
        for (int i = 0; i < 3; ++i)
        {
            const double mag = std::pow(10.0, levels[i] / 20.0);
            const double t = tExpected[i];
            const cplx want = std::polar(mag * (1.0 + 0.1 * t), 0.2 + 0.4 * t);
            QVERIFY2(std::abs(out.S21[i] - want) < 1e-9 * mag, qPrintable(QString::number(i)));
            QVERIFY(std::abs(out.S12[i] - want) < 1e-9 * mag);
            // Reflection never takes the HDR value.
            QVERIFY(std::abs(out.S11[i] - 0.1) < 1e-12);
        }
    }

    // A lossy defined thru: the kits' thru model differs from a physical line by a term of the
    // order of the squared line mismatch. The error is measured here and bounded by that model
    // difference, not hidden.
    void soltLossyThruCarriesModelError()
    {
        const VNAStimulus stim = testfx::Stimulus(40e6, 40e9, 201);
        const QVector<double> f = Freqs(stim);
        const double delay = 82.157, loss = 2.7;
        const VNACalKit kit = testfx::ModelKit(delay, loss);
        const testfx::ErrorModel model = testfx::ErrorModel::Random(23);
        testfx::SyntheticCal setup;
        setup.type = SOLT;
        setup.thru = testfx::Line(50.0, delay * 1e-12, loss * 1e9);
        VNACalibration cal = testfx::MeasureCalibration(setup, kit, stim, model, model);
        cal.BuildCorrections(stim);

        // How far the kept thru model lies from the line it stands for.
        bool found = false;
        const CalKitStandardInfo thru = kit.GetStandard(testfx::kThruId, found);
        double modelError = 0.0;
        for (double fq : f)
        {
            cplx m[4], l[4];
            thru.IdealThru(fq, m[0], m[1], m[2], m[3]);
            testfx::LineParams(50.0, delay * 1e-12, loss * 1e9, fq, l);
            for (int k = 0; k < 4; ++k)
            {
                modelError = std::max(modelError, std::abs(m[k] - l[k]));
            }
        }
        const SParameters dut = testfx::SmoothSParams(f);
        const SParameters out = cal.ApplyCorrections(MeasureDut(model, model, f, dut), false);
        const double error = testfx::MaxDifference(out, dut);
        qInfo("lossy thru: model differs from the line by %.3g, corrected device by %.3g",
              modelError, error);
        QVERIFY(modelError > 0.0);
        QVERIFY(error > kExact);
        QVERIFY(error < 20.0 * modelError);
    }

    // Unknown thru with switch terms, on an error box where the positive root at the first point
    // is right and on one where it is wrong.
    void solrRecoversDeviceForEitherRootSign_data()
    {
        QTest::addColumn<double>("start");
        QTest::addColumn<double>("stop");
        QTest::addColumn<int>("points");
        QTest::newRow("full band") << 40e6 << 40e9 << 201;
        // Far from 0 Hz the thru's phase is extrapolated over a long way.
        QTest::newRow("10 to 18 GHz") << 10e9 << 18e9 << 401;
    }

    void solrRecoversDeviceForEitherRootSign()
    {
        QFETCH(double, start);
        QFETCH(double, stop);
        QFETCH(int, points);
        const VNAStimulus stim = testfx::Stimulus(start, stop, points);
        const QVector<double> f = Freqs(stim);
        const VNACalKit kit = testfx::ModelKit();
        const SParameters dut = testfx::SmoothSParams(f);
        // A reciprocal lossy line whose delay the kit does not know.
        const testfx::TwoPortFn thru = testfx::Line(48.0, 61.7e-12, 3.1e9);

        int wrongAtFirstPoint = 0;
        for (int flip = 0; flip < 2; ++flip)
        {
            testfx::ErrorModel model = testfx::ErrorModel::Random(31, 0.0, 0.2);
            if (flip)
            {
                model.FlipTransmission();
            }
            // What keeping the positive root at point 0 would give for the forward tracking,
            // against the truth: a ratio of +1 or -1.
            const testfx::ErrorTerms e = model.At(f[0]);
            const cplx g = std::sqrt(e.e10e01) * std::sqrt(e.e23e32);
            const cplx k = std::sqrt(e.e23e01() / e.e10e32);
            const cplx ratio = (g / k / (1.0 - e.gammaF * e.e33)) / e.etf();
            QVERIFY(std::abs(std::abs(ratio.real()) - 1.0) < 1e-9);
            const bool positiveRootWrong = ratio.real() < 0.0;
            wrongAtFirstPoint += positiveRootWrong;

            testfx::SyntheticCal setup;
            setup.type = SOLR;
            setup.isolation = false;
            setup.thru = thru;
            VNACalibration cal = testfx::MeasureCalibration(setup, kit, stim, model, model);
            cal.BuildCorrections(stim);
            QVERIFY(cal.CorrectionsReady());
            const QVector<CplxVector> truth = ModelTerms(model, f);
            for (int t : {ErrElf, ErrEtf, ErrElr, ErrEtr})
            {
                QVERIFY2(MaxDiff(cal.ErrorTerm(t), truth[t]) < kExact,
                         qPrintable(CalSetErrTermToString(t)));
            }
            const SParameters out = cal.ApplyCorrections(MeasureDut(model, model, f, dut), false);
            const double err = testfx::MaxDifference(out, dut);
            QVERIFY2(err < kExact, qPrintable(QStringLiteral("flip %1: %2").arg(flip).arg(err)));
        }
        // Exactly one of the two boxes defeats the first-point rule on its own.
        QCOMPARE(wrongAtFirstPoint, 1);
    }

    // Fine sweeps far from 0 Hz: the thru's phase has to be carried back to 0 Hz over a long
    // way, through the ripple of a mismatched thru or the noise of its measurement.
    void solrRootOnFineHighBandSweeps()
    {
        const VNACalKit kit = testfx::ModelKit();
        testfx::SyntheticCal setup;
        setup.type = SOLR;
        setup.isolation = false;
        struct Case
        {
            int points;
            QVector<int> boxes;
            testfx::TwoPortFn thru;
            double noise;
        };
        const Case cases[] = {
            // 52 ohm, 1 ns, 20 fF and 35 fF at its ends.
            {10001, Range(20), CapLoadedLine(52.0, 1e-9, 20e-15, 35e-15), 0.0},
            {64001, {0, 1}, CapLoadedLine(52.0, 1e-9, 20e-15, 35e-15), 0.0},
            // 1e-3 of noise on the thru's measurement; boxes 6, 17 and 23 are among those a fit
            // near the sweep's start alone got wrong.
            {64001, {0, 1, 6, 17, 23}, testfx::Line(50.0, 300e-12, 0.0), 1e-3},
        };
        for (const Case& c : cases)
        {
            const VNAStimulus stim = testfx::Stimulus(30e9, 40e9, c.points);
            const QVector<double> f = Freqs(stim);
            setup.thru = c.thru;
            int wrong = 0;
            for (int box : c.boxes)
            {
                testfx::ErrorModel model = testfx::ErrorModel::Random(200 + box, 0.0, 0.2);
                if (box & 1)
                {
                    model.FlipTransmission();
                }
                VNACalibration cal = testfx::MeasureCalibration(setup, kit, stim, model, model);
                std::mt19937 rng(1000 + box);
                std::normal_distribution<double> gauss(0.0, std::sqrt(0.5));
                for (int t : {StdS11Thru, StdS21Thru, StdS12Thru, StdS22Thru})
                {
                    for (cplx& v : cal.MeasuredStd(t))
                    {
                        v += c.noise * cplx(gauss(rng), gauss(rng));
                    }
                }
                cal.BuildCorrections(stim);
                double toTruth = 0.0, toNegated = 0.0;
                TrackingDistance(cal, model, f, toTruth, toNegated);
                // Exact without noise; with it, far nearer the truth than its negative.
                const bool right = c.noise == 0.0 ? toTruth < 1e-9 : toTruth < 0.05;
                QVERIFY2(right || toNegated < 0.05,
                         qPrintable(QStringLiteral("box %1: %2 from the truth, %3 from its "
                                                   "negative")
                                        .arg(box)
                                        .arg(toTruth)
                                        .arg(toNegated)));
                wrong += right ? 0 : 1;
            }
            QVERIFY2(wrong == 0, qPrintable(QStringLiteral("%1 points: %2 of %3 boxes negated")
                                                .arg(c.points)
                                                .arg(wrong)
                                                .arg(c.boxes.size())));
        }
    }

    // Perfect instrument with a flush thru and no switch reflection: k = 1 everywhere.
    void solrPerfectInstrument()
    {
        const VNAStimulus stim = testfx::Stimulus(40e6, 20e9, 51);
        const QVector<double> f = Freqs(stim);
        testfx::SyntheticCal setup;
        setup.type = SOLR;
        setup.isolation = false;
        setup.thru = testfx::Line(50.0, 0.0, 0.0);
        const testfx::ErrorModel ideal = testfx::ErrorModel::Ideal();
        VNACalibration cal =
            testfx::MeasureCalibration(setup, testfx::ModelKit(), stim, ideal, ideal);
        cal.BuildCorrections(stim);
        const int n = f.size();
        QVERIFY(MaxDiff(cal.ErrorTerm(ErrEtf), CplxVector(n, 1.0)) < kExact);
        QVERIFY(MaxDiff(cal.ErrorTerm(ErrEtr), CplxVector(n, 1.0)) < kExact);
        QVERIFY(MaxDiff(cal.ErrorTerm(ErrElf), CplxVector(n, 0.0)) < kExact);
        QVERIFY(MaxDiff(cal.ErrorTerm(ErrEsr), CplxVector(n, 0.0)) < kExact);
    }

    // On a narrower stimulus with more points than the calibration, the switch terms are read
    // inside their vectors and the terms stay finite; one point keeps the positive root.
    void solrOtherStimuli()
    {
        const VNAStimulus stim = testfx::Stimulus(40e6, 40e9, 201);
        const testfx::ErrorModel model = testfx::ErrorModel::Random(41, 0.0);
        testfx::SyntheticCal setup;
        setup.type = SOLR;
        setup.isolation = false;
        setup.thru = testfx::Line(50.0, 40e-12, 1e9);
        VNACalibration cal =
            testfx::MeasureCalibration(setup, testfx::ModelKit(), stim, model, model);
        const VNAStimulus dense = testfx::Stimulus(1e9, 39e9, 1001);
        cal.BuildCorrections(dense);
        QVERIFY(cal.CorrectionsReady());
        QVERIFY(cal.IsInterpolated());
        for (int t = 0; t < VNACalibration::kTermCount; ++t)
        {
            QCOMPARE(cal.ErrorTerm(t).size(), 1001);
            for (const cplx& v : cal.ErrorTerm(t))
            {
                QVERIFY(std::isfinite(v.real()) && std::isfinite(v.imag()));
            }
        }

        VNACalibration one = testfx::MeasureCalibration(
            setup, testfx::ModelKit(), testfx::Stimulus(5e9, 5e9, 1), model, model);
        one.BuildCorrections(testfx::Stimulus(5e9, 5e9, 1));
        const testfx::ErrorTerms e = model.At(5e9);
        const cplx g = std::sqrt(e.e10e01) * std::sqrt(e.e23e32);
        const cplx k = std::sqrt(e.e23e01() / e.e10e32);
        const cplx positive = g / k / (1.0 - e.gammaF * e.e33);
        QVERIFY(std::abs(one.ErrorTerm(ErrEtf).at(0) - positive) < kExact);
    }

    // A saved and reloaded calibration solves the same terms as one whose measurements were
    // narrowed to float, the precision of the file.
    void fileRoundTripRebuildsSameTerms()
    {
        QTemporaryDir dir;
        const VNAStimulus stim = testfx::Stimulus(40e6, 40e9, 201);
        const testfx::ErrorModel normal = testfx::ErrorModel::Random(51);
        const testfx::ErrorModel hdr = testfx::ErrorModel::Random(52);
        for (VNACalType type : {SOLT, SOLR, SOL})
        {
            testfx::SyntheticCal setup;
            setup.type = type;
            setup.port = 1;
            setup.isolation = type == SOLT;
            setup.thru = testfx::Line(50.0, 82.157e-12, 0.0);
            VNACalibration cal = testfx::MeasureCalibration(setup, testfx::ModelKit(), stim, normal,
                                                            type == SOLR ? normal : hdr);
            const QString path = dir.filePath(QStringLiteral("cal%1.vnacal").arg(int(type)));
            {
                ApplicationSettings s(path);
                cal.Save(s);
            }
            VNACalibration loaded;
            ApplicationSettings s(path);
            bool ok = false;
            QString error;
            loaded.Load(s, ok, error);
            QVERIFY2(ok, qPrintable(error));
            QCOMPARE(loaded.GetName(), QStringLiteral("cal%1").arg(int(type)));

            // The same record with every stored vector narrowed to float.
            // Through a float buffer: GCC 12's SLP vectorizer drops an in-place
            // double-float-double round trip on complex elements.
            auto narrow = [](CplxVector& v)
            {
                QVector<float> buffer(2 * v.size());
                sig::Convert(reinterpret_cast<const double*>(v.constData()), buffer.data(),
                             buffer.size());
                sig::Convert(buffer.constData(), reinterpret_cast<double*>(v.data()),
                             buffer.size());
            };
            VNACalibration reference = cal;
            for (int i = 0; i < 3; ++i)
            {
                narrow(reference.OnePortMeas(i));
            }
            for (int i = 0; i < VNACalibration::kTermCount; ++i)
            {
                narrow(reference.MeasuredStd(i));
                narrow(reference.MeasuredStdHDR(i));
            }
            narrow(reference.SwitchTermsFwd());
            narrow(reference.SwitchTermsRev());
            narrow(reference.GammaFwd());
            narrow(reference.GammaRev());

            QVERIFY(loaded.GetStimulus() == stim);
            for (int i = 0; i < VNACalibration::kTermCount; ++i)
            {
                QCOMPARE(loaded.MeasuredStd(i), reference.MeasuredStd(i));
                QCOMPARE(loaded.MeasuredStdHDR(i), reference.MeasuredStdHDR(i));
            }
            loaded.BuildCorrections(stim);
            reference.BuildCorrections(stim);
            QVERIFY(loaded.CorrectionsReady());
            if (type == SOL)
            {
                for (int i = 0; i < 3; ++i)
                {
                    QCOMPARE(loaded.OnePortTerm(i), reference.OnePortTerm(i));
                }
                continue;
            }
            for (int t = 0; t < VNACalibration::kTermCount; ++t)
            {
                QVERIFY2(
                    MaxDiff(loaded.ErrorTerm(t), reference.ErrorTerm(t)) == 0.0,
                    qPrintable(QStringLiteral("type %1 term %2: %3")
                                   .arg(int(type))
                                   .arg(t)
                                   .arg(MaxDiff(loaded.ErrorTerm(t), reference.ErrorTerm(t)))));
                if (type == SOLT)
                {
                    QCOMPARE(loaded.ErrorTermHDR(t), reference.ErrorTermHDR(t));
                }
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestCalSolvers)
#include "test_cal_solvers.moc"
