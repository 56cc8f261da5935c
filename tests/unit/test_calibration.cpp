// The calibration record: its file, its flags, which stimulus it corrects, the measured-data
// interpolation, the viewer's vectors, sliding loads, and correction in a channel.
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <random>

#include "application_settings.h"
#include "cal_fixtures.h"
#include "cal_workflow.h"
#include "error_model.h"
#include "matrix.h"
#include "test_fixtures.h"
#include "vna_calibration.h"
#include "vna_meas.h"

using cplx = std::complex<double>;

namespace
{
VNACalibration MakeSolt(const VNAStimulus& stim)
{
    testfx::SyntheticCal setup;
    setup.type = SOLT;
    setup.thru = testfx::Line(50.0, 82.157e-12, 0.0);
    const testfx::ErrorModel m = testfx::ErrorModel::Random(3);
    return testfx::MeasureCalibration(setup, testfx::ModelKit(), stim, m, m);
}

SParametersRaw RawOfDut(const VNAStimulus& stim)
{
    const QVector<double> f = stim.GetFreqVector();
    const testfx::ErrorModel m = testfx::ErrorModel::Random(3);
    return testfx::MeasureRaw(m, m, f, testfx::Tabulated(f, testfx::SmoothSParams(f)));
}

QStringList KeysOf(const QString& path)
{
    QSettings s(path, QSettings::IniFormat);
    return s.allKeys();
}
}  // namespace

class TestCalibration : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }

    void newRecordAndTexts()
    {
        VNACalibration cal;
        QVERIFY(!cal.CorrectionsLoaded() && !cal.CorrectionsReady() && !cal.IsInterpolated());
        QCOMPARE(cal.GetCalType(), SOLT);
        QCOMPARE(cal.GetSerialNumberString(), QStringLiteral("--"));
        QCOMPARE(cal.CalibrationTemperature(), 50.0);
        cal.SetTemperature(31.5);
        cal.SetSerialNumber(1234);
        QCOMPARE(cal.CalibrationTemperature(), 50.0);  // nothing loaded yet
        cal.SetLoaded(true);
        QCOMPARE(cal.CalibrationTemperature(), 31.5);
        QCOMPARE(cal.GetSerialNumberString(), QStringLiteral("    1234"));
        cal.Unload();
        QVERIFY(!cal.CorrectionsLoaded());
        QVERIFY(!cal.ValidSerialNumber());

        QVERIFY(Is2PortCal(SOLT) && Is2PortCal(SOLR) && !Is2PortCal(SOL));
        QCOMPARE(VNACalTypeToString(SOLR), QStringLiteral("SOLR (Unknown Thru)"));
        QCOMPARE(CalSetStdTermToString(StdS12Thru), QStringLiteral("S12 Thru"));
        QCOMPARE(CalSetErrTermToString(ErrElr), QStringLiteral("Rev Port 1 Match"));
        QVERIFY(CalSetStdTermToString(12).isEmpty() && CalSetErrTermToString(-1).isEmpty());
        QCOMPARE(CalUtil::GetCalMeasStatusString(2, 10, 37.6),
                 QStringLiteral("<font color=Orange>Measuring 2/10 (38%)</font>"));
        QCOMPARE(CalUtil::GetCalWaitingString(),
                 QStringLiteral("<font color=Orange>Waiting...</font>"));
        QCOMPARE(CalUtil::GetDefaultCalDlgSize(9, 17), QSize(360, 17));
    }

    void bandBreakInterpolation()
    {
        const QVector<double> x = {8e9, 9e9, 11e9, 12e9, 13e9};
        const CplxVector y = {cplx(1, 0), cplx(0, 1), cplx(-1, 0), cplx(0, -1), cplx(0.5, 0)};
        QCOMPARE(InterpolateArrayWithBandBreak(x, CplxVector(3), 9e9), cplx(0, 0));
        QCOMPARE(InterpolateArrayWithBandBreak({}, {}, 9e9), cplx(0, 0));
        QCOMPARE(InterpolateArrayWithBandBreak({5e9}, {cplx(2, 3)}, 9e9), cplx(2, 3));
        QCOMPARE(InterpolateArrayWithBandBreak(x, y, 1e9), y[0]);
        QCOMPARE(InterpolateArrayWithBandBreak(x, y, 20e9), y[4]);
        QCOMPARE(InterpolateArrayWithBandBreak(x, y, 11e9), y[2]);
        // An inner interval across the break interpolates across it.
        QCOMPARE(InterpolateArrayWithBandBreak(x, y, 10.5e9), InterpolateCplx(y[1], y[2], 0.75));
        QCOMPARE(InterpolateArrayWithBandBreak(x, y, 12.5e9), InterpolateCplx(y[3], y[4], 0.5));

        // At the ends of the list the straddling interval would reach outside: end values hold.
        const QVector<double> lo = {9e9, 11e9, 12e9};
        const CplxVector ylo = {cplx(1, 0), cplx(0, 1), cplx(-1, 0)};
        QCOMPARE(InterpolateArrayWithBandBreak(lo, ylo, 9.5e9), ylo[0]);
        QCOMPARE(InterpolateArrayWithBandBreak(lo, ylo, 10e9), ylo[0]);
        QCOMPARE(InterpolateArrayWithBandBreak(lo, ylo, 10.5e9),
                 InterpolateCplx(ylo[0], ylo[1], 0.75));
        const QVector<double> hi = {8e9, 9e9, 11e9};
        QCOMPARE(InterpolateArrayWithBandBreak(hi, ylo, 10.5e9), ylo[2]);
        QCOMPARE(InterpolateArrayWithBandBreak(hi, ylo, 10e9),
                 InterpolateCplx(ylo[1], ylo[2], 0.5));
    }

    void matrixHelpers()
    {
        std::mt19937 rng(5);
        std::normal_distribution<double> n;
        cplx m[9], v[9];
        for (cplx& e : m)
        {
            e = cplx(n(rng), n(rng));
        }
        QVERIFY(InvertMatrix_3x3(m, v));
        for (int r = 0; r < 3; ++r)
        {
            for (int c = 0; c < 3; ++c)
            {
                cplx sum = 0.0;
                for (int k = 0; k < 3; ++k)
                {
                    sum += m[3 * r + k] * v[3 * k + c];
                }
                QVERIFY(std::abs(sum - (r == c ? 1.0 : 0.0)) < 1e-12);
            }
        }
        const cplx a[4] = {1.0, cplx(0, 2), 3.0, 4.0};
        const cplx b[4] = {cplx(0, 1), 1.0, 2.0, -1.0};
        cplx c[4];
        Mat2x2_mult(a, b, c);
        QCOMPARE(c[0], cplx(0, 5));
        QCOMPARE(c[3], cplx(-1, 0));
#ifdef QT_NO_DEBUG
        // A release build goes on through a singular system; the inverse is not finite.
        const cplx singular[9] = {1.0, 2.0, 3.0, 2.0, 4.0, 6.0, 0.0, 1.0, 1.0};
        QVERIFY(InvertMatrix_3x3(singular, v));
        QVERIFY(!std::isfinite(v[0].real()) || !std::isfinite(v[0].imag()));
#endif
    }

    void solKnownTermsAndPortSelection()
    {
        // Known terms applied to ideal standards and a device of 0.5 give 0.5 back.
        const VNAStimulus stim = testfx::Stimulus(1e9, 3e9, 3);
        const QVector<double> f = stim.GetFreqVector();
        const VNACalKit kit = testfx::ModelKit();
        const cplx edf = 0.1, esf(0.0, 0.2), erf = 0.9;
        auto model = [&](cplx g) { return edf + erf * g / (1.0 - esf * g); };
        for (int port = 0; port < 2; ++port)
        {
            VNACalibration cal;
            cal.SetStimulus(stim);
            cal.SetCalType(SOL, port);
            cal.SetCalKit(kit);
            const std::function<cplx(double)> ideal[3] = {testfx::ShortOf(kit, testfx::kShortId),
                                                          testfx::OpenOf(kit, testfx::kOpenId),
                                                          testfx::LoadOf(kit, testfx::kLoadId)};
            const int ids[3] = {testfx::kShortId, testfx::kOpenId, testfx::kLoadId};
            for (int r = 0; r < 3; ++r)
            {
                cal.OnePortMapper(r).AddStd(ids[r], 0.0, 9.99e11);
                for (double fq : f)
                {
                    cal.OnePortMeas(r).append(model(ideal[r](fq)));
                }
            }
            cal.SetLoaded(true);
            cal.BuildCorrections(stim);
            SParametersRaw raw;
            raw.Resize(3);
            (port == 0 ? raw.S11 : raw.S22).fill(model(0.5));
            (port == 0 ? raw.S22 : raw.S11).fill(0.3);
            raw.S21.fill(0.7);
            const SParameters out = cal.ApplyCorrections(raw, true);
            for (int i = 0; i < 3; ++i)
            {
                QVERIFY(std::abs((port == 0 ? out.S11 : out.S22)[i] - 0.5) < 1e-12);
                QCOMPARE((port == 0 ? out.S22 : out.S11)[i], cplx(0, 0));
                QCOMPARE(out.S21[i], cplx(0, 0));
            }
            QVERIFY(std::abs(cal.OnePortTerm(1)[1] - esf) < 1e-12);

            // The viewer: measured pairs map to the one vector, errors to the three terms.
            CplxVector view = {cplx(9, 9)};
            cal.GetCalSetStd(view, CalSetViewMeasured, StdS22Open, 0);
            QCOMPARE(view, cal.OnePortMeas(RoleOpen));
            cal.GetCalSetStd(view, CalSetViewErrorTerms, 0, ErrErr);
            QCOMPARE(view, cal.OnePortTerm(2));
            const CplxVector before = view;
            cal.GetCalSetStd(view, CalSetViewErrorTerms, 0, ErrElf);
            cal.GetCalSetStd(view, 2, 0, 0);
            QCOMPARE(view, before);
        }
    }

    void whichStimulusIsCorrected()
    {
        const VNAStimulus stim = testfx::Stimulus(1e9, 20e9, 101);
        VNACalibration cal = MakeSolt(stim);
        const SParametersRaw raw = RawOfDut(stim);

        VNACalibration unloaded;
        unloaded.BuildCorrections(stim);
        QVERIFY(!unloaded.CorrectionsReady());

        cal.BuildCorrections(stim);
        QVERIFY(cal.CorrectionsReady() && !cal.IsInterpolated());
        const SParameters exact = cal.ApplyCorrections(raw, false);
        QVERIFY(testfx::MaxDifference(exact, raw.ToSParam()) > 1e-3);

        // A narrower stimulus is interpolated; without permission raw data passes.
        const double step = stim.StepSize();
        const VNAStimulus narrow = testfx::Stimulus(stim.start + step, stim.stop - step, 99);
        cal.BuildCorrections(narrow);
        QVERIFY(cal.CorrectionsReady() && cal.IsInterpolated());
        const SParametersRaw rawNarrow = RawOfDut(narrow);
        QCOMPARE(cal.ApplyCorrections(rawNarrow, false).S21, rawNarrow.S21);
        const SParameters interp = cal.ApplyCorrections(rawNarrow, true);
        // Its points fall on calibration points, where the interpolated terms are the measured.
        const QVector<double> fn = narrow.GetFreqVector();
        QVERIFY(testfx::MaxDifference(interp, testfx::SmoothSParams(fn)) < 1e-9);

        // 1 Hz beyond the calibration: not covered, nothing applied, old terms kept.
        const VNAStimulus beyond = testfx::Stimulus(1e9, 20e9 + 1.0, 101);
        cal.BuildCorrections(beyond);
        QVERIFY(!cal.CorrectionsReady() && !cal.IsInterpolated());
        QCOMPARE(cal.ApplyCorrections(raw, true).S11, raw.S11);
        QCOMPARE(cal.ErrorTerm(ErrEdf).size(), 99);

        // A raw sweep one point short passes through.
        cal.BuildCorrections(stim);
        SParametersRaw shorter = raw;
        shorter.Resize(100);
        QCOMPARE(cal.ApplyCorrections(shorter, true).S21, shorter.S21);

        // Missing thru vectors: the solver returns and the previous terms stay.
        VNACalibration broken = cal;
        broken.MeasuredStdHDR(StdS22Thru).clear();
        broken.BuildCorrections(narrow);
        QVERIFY(broken.CorrectionsReady());
        QCOMPARE(broken.ErrorTerm(ErrEdf), cal.ErrorTerm(ErrEdf));
        QCOMPARE(broken.ApplyCorrections(rawNarrow, true).S21, rawNarrow.S21);
    }

    void vnacalFileKeysAndFailures()
    {
        QTemporaryDir dir;
        const VNAStimulus stim = testfx::Stimulus(1e9, 20e9, 11);
        VNACalibration solt = MakeSolt(stim);
        solt.SetDate(QDateTime(QDate(2026, 3, 4), QTime(5, 6, 7)));
        solt.SetTemperature(36.25);
        solt.SetSerialNumber(77);
        const QString path = dir.filePath(QStringLiteral("a.vnacal"));
        {
            ApplicationSettings s(path);
            solt.Save(s);
        }
        // Saving goes through a temporary file that replaces the old one whole.
        QVERIFY(ApplicationSettings(path).isAtomicSyncRequired());
        const QStringList first = KeysOf(path);
        QVERIFY(first.contains("Calibration/MeasuredStandards/MS_HDR11"));
        QVERIFY(first.contains("Calibration/MeasuredStandards/StdMap6/Mapping/size"));
        QVERIFY(first.contains("Calibration/CalKit/Standards/size"));
        QVERIFY(first.contains("Calibration/Stimulus/StartFreq"));
        QVERIFY(first.contains("Calibration/MeasuredStandards/GammaRev"));
        {
            ApplicationSettings s(path);
            solt.Save(s);
        }
        QCOMPARE(KeysOf(path), first);

        // A one-port calibration saved over it leaves no two-port keys behind.
        testfx::SyntheticCal setup;
        setup.type = SOL;
        setup.port = 1;
        const testfx::ErrorModel m = testfx::ErrorModel::Random(4);
        VNACalibration sol = testfx::MeasureCalibration(setup, testfx::ModelKit(), stim, m, m);
        {
            ApplicationSettings s(path);
            sol.Save(s);
        }
        const QStringList solKeys = KeysOf(path);
        QVERIFY(solKeys.contains("Calibration/MeasuredStandards/MS2"));
        QVERIFY(!solKeys.contains("Calibration/MeasuredStandards/MS3"));
        QVERIFY(!solKeys.contains("Calibration/MeasuredStandards/MS_HDR0"));
        QVERIFY(!solKeys.contains("Calibration/MeasuredStandards/StdMap3/Mapping/size"));
        QVERIFY(!solKeys.contains("Calibration/MeasuredStandards/SwitchTermsFwd"));

        // The fields come back.
        {
            ApplicationSettings s(path);
            solt.Save(s);
        }
        VNACalibration back;
        bool ok = false;
        QString error = QStringLiteral("stale");
        {
            ApplicationSettings s(path);
            back.Load(s, ok, error);
        }
        QVERIFY(ok);
        QVERIFY(error.isEmpty());
        QVERIFY(back.CorrectionsLoaded());
        QCOMPARE(back.GetName(), QStringLiteral("a"));
        QCOMPARE(back.GetDate(), solt.GetDate());
        QCOMPARE(back.CalibrationTemperature(), 36.25);
        QCOMPARE(back.GetSerialNumber(), 77);
        QVERIFY(back.GetStimulus() == stim);
        QCOMPARE(back.GetCalKit().CalKitName, QStringLiteral("model"));
        QCOMPARE(back.GetCalKit().Standards.size(), 4);

        // Failures: wrong version (not loaded), unknown type, missing mapping (loaded anyway).
        auto loadText =
            [&](const QString& name, const QByteArray& text, bool& okOut, QString& errorOut)
        {
            VNACalibration c;
            ApplicationSettings s(testfx::WriteFile(dir, name, text));
            c.Load(s, okOut, errorOut);
            return c.CorrectionsLoaded();
        };
        QVERIFY(!loadText("v.vnacal", "[Calibration]\nVersion=3\n", ok, error));
        QVERIFY(!ok);
        QCOMPARE(error, QStringLiteral("Invalid calibration file version."));
        QVERIFY(loadText("t.vnacal", "[Calibration]\nVersion=1\nCalType=7\n", ok, error));
        QVERIFY(!ok);
        QCOMPARE(error, QStringLiteral("Invalid calibration type"));
        QVERIFY(loadText("m.vnacal", "[Calibration]\nCalType=1\n", ok, error));
        QVERIFY(!ok);
        QCOMPARE(error, QStringLiteral("Unable to find standard ID mapping"));
    }

    void twoPortViewer()
    {
        const VNAStimulus stim = testfx::Stimulus(1e9, 20e9, 11);
        VNACalibration cal = MakeSolt(stim);
        cal.BuildCorrections(stim);
        CplxVector out;
        cal.GetCalSetStd(out, CalSetViewMeasured, StdS21Thru, 0);
        QCOMPARE(out, cal.MeasuredStd(StdS21Thru));
        cal.GetCalSetStd(out, CalSetViewErrorTerms, 0, ErrEtr);
        QCOMPARE(out, cal.ErrorTerm(ErrEtr));
        cal.Unload();
        CplxVector untouched = {cplx(1, 1)};
        cal.GetCalSetStd(untouched, CalSetViewErrorTerms, 0, ErrEtr);
        QCOMPARE(untouched, CplxVector({cplx(1, 1)}));
    }

    void slidingLoadCircle()
    {
        // Slides on circles around known centres, one circle per point.
        const int points = 4;
        const cplx centre[points] = {cplx(0.01, -0.02), cplx(-0.03, 0.0), cplx(0.0, 0.05),
                                     cplx(0.02, 0.02)};
        SParametersRaw slides[7];
        for (int k = 0; k < 7; ++k)
        {
            slides[k].Resize(points);
            for (int i = 0; i < points; ++i)
            {
                const cplx onCircle = centre[i] + std::polar(0.04, 0.9 * k + i);
                slides[k].S22[i] = onCircle;
                slides[k].S22HDR[i] = onCircle + 0.1;
                slides[k].S11[i] = 0.5;
            }
        }
        SParametersRaw copy[7];
        std::copy(slides, slides + 7, copy);
        SolveSlidingLoad(slides, 7, 1, true);
        for (int i = 0; i < points; ++i)
        {
            QVERIFY(std::abs(slides[0].S22[i] - centre[i]) < 1e-12);
            QVERIFY(std::abs(slides[0].S22HDR[i] - (centre[i] + 0.1)) < 1e-12);
            QCOMPARE(slides[0].S11[i], cplx(0.5, 0));
        }
        // Without HDR the first slide's HDR values stay.
        const CplxVector firstHdr = copy[0].S22HDR;
        SolveSlidingLoad(copy, 7, 1, false);
        QCOMPARE(copy[0].S22HDR, firstHdr);
        QCOMPARE(copy[0].S22, slides[0].S22);

        // Identical slides and fewer than three slides give the origin.
        SParametersRaw same[3];
        for (SParametersRaw& s : same)
        {
            s.Resize(1);
            s.S11[0] = cplx(0.3, 0.3);
        }
        SolveSlidingLoad(same, 3, 0, false);
        QCOMPARE(same[0].S11[0], cplx(0, 0));
        SParametersRaw two[2];
        for (SParametersRaw& s : two)
        {
            s.Resize(2);
            s.S11.fill(cplx(0.1, 0.2));
        }
        two[1].S11.fill(cplx(0.3, 0.1));
        SolveSlidingLoad(two, 2, 0, false);
        QCOMPARE(two[0].S11, CplxVector(2, 0.0));
        QCOMPARE(TriangleArea(0.0, 1.0, cplx(0, 1)), 0.5);
    }

    // A finished record over an older file of another type: the file afterwards holds exactly
    // what a fresh save of the record holds, no scratch file is left beside it, and the record
    // comes back solved as a separate solve of the same data. A folder that cannot exist fails
    // with the file named.
    void workflowFileReplacesTheOldOne()
    {
        QTemporaryDir dir;
        // Enough points for the vectors to take the file's fast path.
        const VNAStimulus stim = testfx::Stimulus(40e6, 20e9, 1001);
        testfx::SyntheticCal one;
        one.type = SOL;
        const testfx::ErrorModel m = testfx::ErrorModel::Random(5);
        const VNACalibration sol = testfx::MeasureCalibration(one, testfx::ModelKit(), stim, m, m);
        const QString path = dir.filePath(QStringLiteral("cal.vnacal"));
        QString error;
        QVERIFY(WriteCalibrationFile(sol, path, error));

        VNACalibration solt = MakeSolt(stim);
        // One vector whose floats hold every byte value in every position but the exponent's,
        // next to each other in many orders (quotes, backslashes, separators, hex digits).
        CplxVector& probe = solt.MeasuredStd(StdS11Short);
        auto floatOf = [](int k)
        {
            const unsigned char b[4] = {static_cast<unsigned char>(k),
                                        static_cast<unsigned char>(k * 7 + 3),
                                        static_cast<unsigned char>(k * 13 + 5), 0x3f};
            float f = 0;
            memcpy(&f, b, sizeof f);
            return double(f);
        };
        for (int i = 0; i < probe.size(); ++i)
        {
            probe[i] = cplx(floatOf(i), floatOf(i + 500));
        }
        VNACalibration reference = solt;
        const QString fresh = dir.filePath(QStringLiteral("fresh.vnacal"));
        {
            ApplicationSettings s(fresh);
            reference.Save(s);
        }
        reference.BuildCorrections(stim);
        QVERIFY(SaveAndBuildCalibration(solt, path, error));
        QVERIFY(solt.CorrectionsReady());
        for (int k = 0; k < VNACalibration::kTermCount; ++k)
        {
            QCOMPARE(solt.ErrorTerm(k), reference.ErrorTerm(k));
        }
        // Key by key, as the settings layer reads both files.
        QStringList keys = KeysOf(path), expected = KeysOf(fresh);
        keys.sort();
        expected.sort();
        QCOMPARE(keys, expected);
        const QSettings written(path, QSettings::IniFormat), plain(fresh, QSettings::IniFormat);
        for (const QString& key : expected)
        {
            const QVariant a = written.value(key), b = plain.value(key);
            QVERIFY2(a.type() == b.type(), qPrintable(key));
            QVERIFY2(a.type() == QVariant::ByteArray ? a.toByteArray() == b.toByteArray()
                                                     : a.toString() == b.toString(),
                     qPrintable(key));
        }
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 2);

        VNACalibration back;
        bool ok = false;
        {
            ApplicationSettings s(path);
            back.Load(s, ok, error);
        }
        QVERIFY2(ok, qPrintable(error));
        QCOMPARE(back.GetCalType(), SOLT);
        // The file keeps float precision.
        for (int k = 0; k < VNACalibration::kTermCount; ++k)
        {
            const CplxVector& a = back.MeasuredStd(k);
            const CplxVector& b = solt.MeasuredStd(k);
            QCOMPARE(a.size(), b.size());
            for (int i = 0; i < a.size(); ++i)
            {
                QVERIFY(std::abs(a[i] - b[i]) <= 1e-6 * std::max(1.0, std::abs(b[i])));
            }
        }

        QFile blocker(dir.filePath(QStringLiteral("plain")));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        const QString impossible = dir.filePath(QStringLiteral("plain/cal.vnacal"));
        error.clear();
        QVERIFY(!WriteCalibrationFile(solt, impossible, error));
        QVERIFY(error.contains(impossible));
    }

    // An instrument state carries each channel's calibration: a channel loaded from it corrects
    // as the saved one did (to the file's float precision), whatever record it held before, and
    // a state saved without one unloads the channel's.
    void channelStateCarriesItsCalibration()
    {
        QTemporaryDir dir;
        const VNAStimulus stim = testfx::Stimulus(1e9, 20e9, 101);
        VNAChannel saved(0);
        saved.stimulus = stim;
        saved.calibration = MakeSolt(stim);
        saved.calibration.BuildCorrections(stim);
        const QString path = dir.filePath(QStringLiteral("state.ini"));
        {
            ApplicationSettings s(path);
            saved.Save(s);
        }
        VNAChannel restored(0);
        testfx::SyntheticCal one;
        one.type = SOL;
        const testfx::ErrorModel m = testfx::ErrorModel::Random(6);
        restored.calibration = testfx::MeasureCalibration(one, testfx::ModelKit(), stim, m, m);
        {
            ApplicationSettings s(path);
            restored.Load(s);
        }
        QVERIFY(restored.calibration.CorrectionsLoaded());
        QCOMPARE(restored.calibration.GetCalType(), SOLT);
        restored.calibration.BuildCorrections(restored.stimulus);
        const SParametersRaw raw = RawOfDut(stim);
        const double drift =
            testfx::MaxDifference(restored.ApplyCorrections(raw), saved.ApplyCorrections(raw));
        QVERIFY2(drift < 1e-4, qPrintable(QString::number(drift)));

        const QString bare = dir.filePath(QStringLiteral("bare.ini"));
        {
            ApplicationSettings s(bare);
            VNAChannel(0).Save(s);
        }
        {
            ApplicationSettings s(bare);
            restored.Load(s);
        }
        QVERIFY(!restored.calibration.CorrectionsLoaded());
    }

    void channelCorrectsLiveSweep()
    {
        const VNAStimulus stim = testfx::Stimulus(1e9, 20e9, 101);
        VNAChannel ch(0);
        ch.stimulus = stim;
        ch.calibration = MakeSolt(stim);
        ch.calibration.BuildCorrections(ch.stimulus);
        const SParametersRaw raw = RawOfDut(stim);
        const SParameters want = testfx::SmoothSParams(stim.GetFreqVector());
        QVERIFY(ch.IsFullyCorrected());
        QVERIFY(testfx::MaxDifference(ch.ApplyCorrections(raw), want) < 1e-9);
        ch.calibrationEnabled = false;
        QVERIFY(testfx::MaxDifference(ch.ApplyCorrections(raw), want) > 1e-3);
        ch.calibrationEnabled = true;
        // A copied channel carries its calibration.
        VNAChannel other(1);
        other.Copy(ch);
        QVERIFY(testfx::MaxDifference(other.ApplyCorrections(raw), want) < 1e-9);
    }
};

QTEST_GUILESS_MAIN(TestCalibration)
#include "test_calibration.moc"
