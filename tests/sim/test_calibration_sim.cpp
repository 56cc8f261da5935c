// Calibrations measured on the simulated instrument through the device layer, standard by standard
// as the measuring workflow takes them, then applied to a device loaded from a Touchstone file:
// the corrected data must be the device, to rounding.
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <complex>

#include "application_settings.h"
#include "cal_fixtures.h"
#include "sim_fixtures.h"
#include "test_fixtures.h"
#include "touchstone.h"
#include "vna_device.h"
#include "vna_lib.h"
#include "vna_model.h"
#include "vna_sim.h"

using cplx = std::complex<double>;
using testfx::CalibrateOnSim;
using testfx::ConnectStandard;
using testfx::ConnectThru;
using testfx::Dut;
using testfx::DutAt;
using testfx::Measure;
using testfx::Scene;
using testfx::SimCal;
using testfx::SweepFreqs;
using testfx::WriteExact;

namespace
{
// Noise off, the instrument obeys its model exactly: what is left is rounding.
constexpr double kExact = 1e-9;

// 101 points at the highest IF bandwidth keep a sweep near 70 ms; the stop frequency keeps every
// point clear of the residual spurs near multiples of 2.5 GHz.
VNAStimulus CalStimulus()
{
    VNAStimulus s = testfx::Stimulus(40e6, 39.94e9, 101);
    s.ifbw = 100000.0;
    return s;
}

struct Terms
{
    cplx elf, etf, exf, elr, etr, exr;
};

Terms SimTermsAt(double f)
{
    double t[24];
    vnaSimErrorTerms(f, 0, t);
    auto c = [&](int i) { return cplx(t[2 * i], t[2 * i + 1]); };
    return {c(2), c(4), c(5), c(8), c(10), c(11)};
}

// Largest crosstalk relative to transmission tracking over the sweep, either direction.
double LeakageOverTracking(const QVector<double>& f)
{
    double leak = 0.0;
    for (double fq : f)
    {
        const Terms t = SimTermsAt(fq);
        leak = std::max({leak, std::abs(t.exf / t.etf), std::abs(t.exr / t.etr)});
    }
    return leak;
}

QString CallLog()
{
    QByteArray buf(vnaSimCallLog(nullptr, 0) + 1, '\0');
    vnaSimCallLog(buf.data(), buf.size());
    return QString::fromLatin1(buf.constData());
}

double RmsError(const SParameters& a, const SParameters& b)
{
    double sum = 0.0;
    int n = 0;
    for (int k = 0; k < 4; ++k)
    {
        const CplxVector& x = a.GetSParam(VNATraceMeas(k));
        const CplxVector& y = b.GetSParam(VNATraceMeas(k));
        for (int i = 0; i < x.size() && i < y.size(); ++i)
        {
            sum += std::norm(x[i] - y[i]);
            ++n;
        }
    }
    return n > 0 ? std::sqrt(sum / n) : 0.0;
}

double MaxRelTermDifference(const VNACalibration& a, const VNACalibration& b)
{
    double worst = 0.0;
    for (int t = 0; t < VNACalibration::kTermCount; ++t)
    {
        for (int set = 0; set < 2; ++set)
        {
            const CplxVector& x = set == 0 ? a.ErrorTerm(t) : a.ErrorTermHDR(t);
            const CplxVector& y = set == 0 ? b.ErrorTerm(t) : b.ErrorTermHDR(t);
            if (x.size() != y.size())
            {
                return 1e300;
            }
            double scale = 0.0;
            for (const cplx& v : y)
            {
                scale = std::max(scale, std::abs(v));
            }
            for (int i = 0; i < x.size(); ++i)
            {
                worst = std::max(worst, std::abs(x[i] - y[i]) / std::max(scale, 1e-300));
            }
        }
    }
    return worst;
}

// Connects the device, measures it as the measurement loop would with the given HDR flag, and
// returns the largest difference between the corrected data and the device.
double CorrectedError(VNADevice& dev, const VNACalibration& cal, const VNAStimulus& stim, bool hdr,
                      const Dut& dut)
{
    if (!Scene("load dut " + dut.path))
    {
        return 1e300;
    }
    const SParameters out = cal.ApplyCorrections(Measure(dev, stim, hdr, false), false);
    return testfx::MaxDifference(out, DutAt(dut, SweepFreqs(stim)));
}
}  // namespace

class TestCalibrationSim : public QObject
{
    Q_OBJECT

private:
    VnaLib lib;
    QTemporaryDir dir;
    Dut dut;

private slots:
    void initTestCase()
    {
        testfx::IsolateUserFiles();
        vnaSimSetServerPort(-1);
        QVERIFY2(lib.Load(QStringLiteral(VNA_SIM_LIBRARY)), qPrintable(lib.LoadError()));
        QVERIFY(dir.isValid());
        QVERIFY(testfx::WriteDut(dir, dut));
    }

    void init()
    {
        vnaSimReset();
        vnaSimSetNoise(0);
    }

    // One-port calibrations on each port with a model kit whose short and open sit behind lossy
    // offsets. With the two-port device connected, a port sees the device's input reflection
    // loaded by the other port's match, which the instrument's model gives in closed form.
    void solOnEachPortThroughTheDevice()
    {
        VNADevice dev(&lib);
        QVERIFY(dev.Connect());
        const VNAStimulus stim = CalStimulus();
        const QVector<double> f = SweepFreqs(stim);
        const SParameters s = DutAt(dut, f);
        for (int port = 0; port < 2; ++port)
        {
            SimCal setup;
            setup.type = SOL;
            setup.port = port;
            VNACalibration cal = CalibrateOnSim(dev, setup, testfx::ModelKit(), stim);
            QVERIFY(cal.CorrectionsLoaded());
            cal.BuildCorrections(stim);
            QVERIFY(cal.CorrectionsReady());
            QVERIFY(!cal.IsInterpolated());

            QVERIFY(Scene("load dut " + dut.path));
            const SParameters out = cal.ApplyCorrections(Measure(dev, stim, true, false), false);
            double worst = 0.0;
            for (int i = 0; i < f.size(); ++i)
            {
                const Terms t = SimTermsAt(f[i]);
                const cplx product = s.S21[i] * s.S12[i];
                const cplx expected = port == 0
                                          ? s.S11[i] + product * t.elf / (1.0 - s.S22[i] * t.elf)
                                          : s.S22[i] + product * t.elr / (1.0 - s.S11[i] * t.elr);
                worst = std::max(worst, std::abs((port == 0 ? out.S11 : out.S22)[i] - expected));
                // A one-port calibration reports only its own port.
                QCOMPARE((port == 0 ? out.S22 : out.S11)[i], cplx(0.0, 0.0));
                QCOMPARE(out.S21[i], cplx(0.0, 0.0));
            }
            qInfo("SOL port %d: worst corrected reflection error %.3g", port + 1, worst);
            QVERIFY2(worst < kExact, qPrintable(QString::number(worst)));
        }
        dev.Disconnect();
    }

    // Twelve-term calibration with a defined thru of non-zero delay and loss, connected as the
    // kit models it. With isolation, or without crosstalk and without isolation, the device
    // comes back to rounding, HDR notch included, and so does the thru itself. Without isolation
    // the instrument's crosstalk x stays in the transmission: to first order it adds x / etf to
    // the normalised transmission b (|b| <= 1.3 here), and the thru solve absorbs it into etf as
    // a relative error x / t21 with |t21 / etf| near 1, so |db| <= 2.3 |x / etf|; the correction
    // scales b by at most about 1.5 for these matches, and the reflections see it only through
    // b c elf. So 4 |x / etf| bounds it.
    void soltWithAndWithoutIsolation()
    {
        VNADevice dev(&lib);
        QVERIFY(dev.Connect());
        const VNAStimulus stim = CalStimulus();
        const QVector<double> f = SweepFreqs(stim);
        const SParameters expected = DutAt(dut, f);
        const double delay = 82.157, loss = 2.2;
        const VNACalKit kit = testfx::ModelKit(delay, loss);
        bool found = false;
        const CalKitStandardInfo thruStd = kit.GetStandard(testfx::kThruId, found);
        QVERIFY(found);
        const double leak = LeakageOverTracking(f);
        QVERIFY(leak > 0.0);
        // The device reaches below -35 dB, where the correction takes the HDR data alone.
        int deep = 0;
        for (const cplx& v : expected.S21)
        {
            deep += std::abs(v) < std::pow(10.0, -35.0 / 20.0) ? 1 : 0;
        }
        QVERIFY(deep > 0);

        struct Case
        {
            bool isolation, crosstalk;
            double error;
        } cases[3] = {{true, true, 0.0}, {false, false, 0.0}, {false, true, 0.0}};
        for (Case& c : cases)
        {
            QVERIFY(Scene(c.crosstalk ? "crosstalk on" : "crosstalk off"));
            SimCal setup;
            setup.type = SOLT;
            setup.isolation = c.isolation;
            setup.thruCommand = ConnectThru(delay, loss, 50.0);
            VNACalibration cal = CalibrateOnSim(dev, setup, kit, stim);
            QVERIFY(cal.CorrectionsLoaded());
            QCOMPARE(cal.MeasuredStd(StdS21Iso).size(), c.isolation ? stim.points : 0);
            cal.BuildCorrections(stim);
            QVERIFY(cal.CorrectionsReady());
            c.error = CorrectedError(dev, cal, stim, true, dut);
            if (c.isolation || !c.crosstalk)
            {
                QVERIFY2(c.error < kExact, qPrintable(QString::number(c.error)));
                // The thru itself comes back as its model.
                QVERIFY(Scene(setup.thruCommand));
                const SParameters t = cal.ApplyCorrections(Measure(dev, stim, true, true), false);
                double worst = 0.0;
                for (int i = 0; i < f.size(); ++i)
                {
                    cplx m[4];
                    thruStd.IdealThru(f[i], m[0], m[1], m[2], m[3]);
                    for (int k = 0; k < 4; ++k)
                    {
                        worst = std::max(worst, std::abs(t.GetSParam(VNATraceMeas(k))[i] - m[k]));
                    }
                }
                QVERIFY2(worst < kExact, qPrintable(QString::number(worst)));
            }
        }
        qInfo(
            "SOLT: worst error with isolation %.3g; without isolation %.3g with no crosstalk, "
            "%.3g with crosstalk (bound %.3g)",
            cases[0].error, cases[1].error, cases[2].error, 4.0 * leak);
        QVERIFY(cases[2].error > kExact);
        QVERIFY(cases[2].error < 4.0 * leak);
        dev.Disconnect();
    }
    // The kits' thru model keeps a single power of the line's propagation factor in the
    // transmission's denominator. For a lossless 50 ohm line it is the line; with loss, the
    // line's impedance departs from 50 ohm and the model differs from a physical line by a term
    // of the order of its squared mismatch. A physical line is put between the ports here: the
    // calibration then corrects its thru to the model, and the device carries the difference.
    // First order: the model error dT shifts elf by about (|dT11| + 2 |elf| |dT21|) / |T21|^2
    // and etf by |dT21 / T21|; with |S| <= 0.8, |N| >= 0.6 and |elf| < 0.25 these reach the
    // device as less than 5 |dT| / |T21|^2.
    void soltPhysicalThruCarriesModelError()
    {
        VNADevice dev(&lib);
        QVERIFY(dev.Connect());
        const VNAStimulus stim = CalStimulus();
        const QVector<double> f = SweepFreqs(stim);
        const SParameters expected = DutAt(dut, f);
        const double delay = 82.157;
        for (double loss : {0.0, 2.2})
        {
            const VNACalKit kit = testfx::ModelKit(delay, loss);
            const testfx::TwoPortFn line = testfx::Line(50.0, delay * 1e-12, loss * 1e9);
            SimCal setup;
            setup.type = SOLT;
            setup.thruCommand = "load dut " + WriteExact(dir, QStringLiteral("line.s2p"), f, line);
            VNACalibration cal = CalibrateOnSim(dev, setup, kit, stim);
            QVERIFY(cal.CorrectionsLoaded());
            cal.BuildCorrections(stim);

            // The calibration reads its thru as the model, so the corrected line differs from
            // the line by exactly the model's error.
            bool found = false;
            const CalKitStandardInfo thruStd = kit.GetStandard(testfx::kThruId, found);
            QVERIFY(Scene(setup.thruCommand));
            const SParameters t = cal.ApplyCorrections(Measure(dev, stim, true, true), false);
            double modelError = 0.0, minT21 = 1.0, toModel = 0.0, toLine = 0.0;
            for (int i = 0; i < f.size(); ++i)
            {
                cplx m[4], l[4];
                thruStd.IdealThru(f[i], m[0], m[1], m[2], m[3]);
                line(f[i], l);
                minT21 = std::min(minT21, std::abs(m[1]));
                for (int k = 0; k < 4; ++k)
                {
                    const cplx c = t.GetSParam(VNATraceMeas(k))[i];
                    modelError = std::max(modelError, std::abs(m[k] - l[k]));
                    toModel = std::max(toModel, std::abs(c - m[k]));
                    toLine = std::max(toLine, std::abs(c - l[k]));
                }
            }
            QVERIFY2(toModel < kExact, qPrintable(QString::number(toModel)));
            QVERIFY(std::abs(toLine - modelError) < kExact);
            QVERIFY(Scene("load dut " + dut.path));
            const SParameters out = cal.ApplyCorrections(Measure(dev, stim, true, false), false);
            const double error = testfx::MaxDifference(out, expected);
            qInfo(
                "SOLT, physical line thru, loss %.1f Gohm/s: thru model differs from the line "
                "by %.3g, corrected device by %.3g",
                loss, modelError, error);
            if (loss == 0.0)
            {
                QVERIFY2(error < kExact, qPrintable(QString::number(error)));
            }
            else
            {
                QVERIFY(modelError > 100.0 * kExact);
                QVERIFY(error > kExact);
                QVERIFY(error < 5.0 * modelError / (minT21 * minT21));
            }
        }
        dev.Disconnect();
    }

    // Unknown thru: a mismatched, lossy, delayed reciprocal line the calibration is not told
    // about, sweeps without HDR, and switch terms from the receivers with the thru connected.
    // The eight-term solve reads the thru's transmission as measured, crosstalk x included:
    // the root k = sqrt(C01 / C10) moves by half the relative errors x / t21 and x / t12, and
    // the transmission tracking with it, so the device's transmission is off by at most
    // |S21| / |T21| (|exf / etf| + |exr / etr|) / 2, under 2 |x / et| / |T21| for |S21| <= 0.8;
    // without crosstalk the instrument is an exact eight-term one and the device comes back.
    void solrWithUnknownThru()
    {
        VNADevice dev(&lib);
        QVERIFY(dev.Connect());
        const VNAStimulus stim = CalStimulus();
        const QVector<double> f = SweepFreqs(stim);
        const double delay = 61.7, loss = 3.1, z0 = 46.0;
        CalKitStandardInfo line;
        line.Type = VNAStdThru;
        line.Delay = delay;
        line.Loss = loss;
        line.Z0 = z0;
        double minT21 = 1.0;
        for (double fq : f)
        {
            cplx t[4];
            line.IdealThru(fq, t[0], t[1], t[2], t[3]);
            minT21 = std::min(minT21, std::abs(t[1]));
        }
        const double leak = LeakageOverTracking(f);
        double errors[2] = {0.0, 0.0};
        for (int crosstalk = 0; crosstalk < 2; ++crosstalk)
        {
            QVERIFY(Scene(crosstalk ? "crosstalk on" : "crosstalk off"));
            SimCal setup;
            setup.type = SOLR;
            setup.thruCommand = ConnectThru(delay, loss, z0);
            vnaSimClearCallLog();
            VNACalibration cal = CalibrateOnSim(dev, setup, testfx::ModelKit(), stim);
            QVERIFY(cal.CorrectionsLoaded());
            // Every sweep of the calibration ran without the HDR path, in the SOLR model, and
            // the switch terms came from one receiver sweep per direction.
            const QString h = QString::number(dev.Handle());
            const QString log = CallLog();
            QVERIFY(vnaSimCallCount("vnaSweepSetSOLRModel") > 0);
            QVERIFY(!log.contains("vnaSweepSetSOLRModel(" + h + ",0)"));
            QVERIFY(!log.contains("vnaSweepSetHDR(" + h + ",1"));
            QVERIFY(!log.contains("vnaSweepSetHDR(" + h + ",0,1)"));
            QVERIFY(log.contains("vnaSetDataType(" + h + ",1,0)"));
            QVERIFY(log.contains("vnaSetDataType(" + h + ",1,1)"));
            cal.BuildCorrections(stim);
            QVERIFY(cal.CorrectionsReady());
            errors[crosstalk] = CorrectedError(dev, cal, stim, false, dut);
        }
        qInfo("SOLR: worst corrected error %.3g without crosstalk, %.3g with it (bound %.3g)",
              errors[0], errors[1], 2.0 * leak / minT21);
        QVERIFY2(errors[0] < kExact, qPrintable(QString::number(errors[0])));
        QVERIFY(errors[1] < 2.0 * leak / minT21);
        dev.Disconnect();
    }
    // A calibration in a channel corrects the live sweep of the measurement loop, and a .vnacal
    // file saved and loaded rebuilds the same corrections to float precision.
    void liveSweepAndCalFile()
    {
        const VNAStimulus stim = CalStimulus();
        const QVector<double> f = SweepFreqs(stim);
        VNACalibration cal;
        {
            VNADevice dev(&lib);
            QVERIFY(dev.Connect());
            SimCal setup;
            setup.type = SOLT;
            setup.thruCommand = ConnectThru(82.157, 2.2, 50.0);
            cal = CalibrateOnSim(dev, setup, testfx::ModelKit(82.157, 2.2), stim);
            dev.Disconnect();
        }
        QVERIFY(cal.CorrectionsLoaded());
        QVERIFY(!cal.CorrectionsReady());

        QVERIFY(Scene("load dut " + dut.path));
        VNAModel model(&lib);
        QVERIFY(model.device.Connect());
        VNAChannel& ch = *model.channels[0];
        ch.enabled = true;
        ch.stimulus = stim;
        ch.calibration = cal;
        {
            QMutexLocker lock(&model.traceLock);
            int t = 0;
            model.InternalCreateTrace(t)->meas = S21;
            model.mapper.SetPos(0, 0, t);
        }
        vnaSimClearCallLog();
        model.MeasStart();
        // The first sweep has finished once the third has begun.
        QTRY_VERIFY_WITH_TIMEOUT(model.SweepsStarted() >= 3, 30000);
        double error = 0.0;
        {
            QMutexLocker lock(&model.traceLock);
            QVERIFY(ch.calibration.CorrectionsReady());
            QVERIFY(ch.IsFullyCorrected());
            error = testfx::MaxDifference(ch.MeasCal, DutAt(dut, f));
        }
        model.MeasStop();
        const QString h = QString::number(model.device.Handle());
        model.device.Disconnect();
        qInfo("live sweep: worst corrected error %.3g", error);
        QVERIFY2(error < kExact, qPrintable(QString::number(error)));
        // The loop swept both directions with the HDR path, as a twelve-term calibration needs.
        QVERIFY(vnaSimCallCount("vnaSweepSetHDR") > 0);
        const QString log = CallLog();
        QVERIFY(log.contains("vnaSweepSetPorts(" + h + ",1,1)"));
        QVERIFY(log.contains("vnaSweepSetHDR(" + h + ",1,0)"));

        // Saved and loaded: the measured standards come back as floats, so the rebuilt terms
        // match to float precision (2^-24 relative) times the solves' amplification, which the
        // well spread standards keep below a few hundred.
        const QString path = dir.filePath(QStringLiteral("e2e.vnacal"));
        {
            ApplicationSettings s(path);
            s.Clear();
            cal.Save(s);
        }
        VNACalibration back;
        bool ok = false;
        QString message;
        {
            ApplicationSettings s(path);
            back.Load(s, ok, message);
        }
        QVERIFY2(ok, qPrintable(message));
        QVERIFY(back.GetStimulus() == stim);
        cal.BuildCorrections(stim);
        back.BuildCorrections(stim);
        QVERIFY(back.CorrectionsReady());
        const double termDiff = MaxRelTermDifference(back, cal);
        const double floatEps = std::ldexp(1.0, -24);
        qInfo("cal file: rebuilt terms differ by %.3g relative (float epsilon %.3g)", termDiff,
              floatEps);
        QVERIFY(termDiff < 300.0 * floatEps);
    }

    // With noise on, the corrected error falls as the device measurement is averaged: 16 sweeps
    // give a quarter of the single sweep's RMS error; half is required.
    void noiseFallsWithAveraging()
    {
        VNADevice dev(&lib);
        QVERIFY(dev.Connect());
        const VNAStimulus stim = CalStimulus();
        const QVector<double> f = SweepFreqs(stim);
        SimCal setup;
        setup.type = SOLT;
        setup.thruCommand = ConnectThru(82.157, 2.2, 50.0);
        VNACalibration cal = CalibrateOnSim(dev, setup, testfx::ModelKit(82.157, 2.2), stim);
        cal.BuildCorrections(stim);
        QVERIFY(cal.CorrectionsReady());

        QVERIFY(Scene("load dut " + dut.path));
        const SParameters expected = DutAt(dut, f);
        vnaSimSetSeed(12345);
        vnaSimSetNoise(1);
        const double one =
            RmsError(cal.ApplyCorrections(Measure(dev, stim, true, false, 1), false), expected);
        const double sixteen =
            RmsError(cal.ApplyCorrections(Measure(dev, stim, true, false, 16), false), expected);
        qInfo("noise: RMS corrected error %.3g with 1 sweep, %.3g with 16", one, sixteen);
        QVERIFY(one > kExact);
        QVERIFY(sixteen < 0.5 * one);
        dev.Disconnect();
    }
};

QTEST_GUILESS_MAIN(TestCalibrationSim)
#include "test_calibration_sim.moc"
