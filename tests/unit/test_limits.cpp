// Limit and ripple tests: verdicts against evaluators written here from the definition, on random
// tables and traces; the chain on a simulated filter; the remote data forms; the table files.
#include <QTemporaryDir>
#include <QtTest>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <thread>

#include "error_log.h"
#include "kx_csv.h"
#include "limit_reference.h"
#include "test_fixtures.h"
#include "vna_limits.h"
#include "vna_meas.h"
#include "vna_model.h"

using testfx::RefLimitPass;
using testfx::RefLine;
using testfx::RefRipple;

namespace
{
const double kNaN = std::nan("");

bool Same(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

// Bit for bit, the sign of zero included; any NaN matches any NaN.
bool SameBits(double a, double b)
{
    return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}

// Random sweeps of the kinds a trace carries: linear, with repeated points, unordered (the Smith
// formats' real part), rarely with a NaN.
struct Gen
{
    std::mt19937 rng{1234};
    double Uniform(double a, double b) { return std::uniform_real_distribution<>(a, b)(rng); }
    int Int(int a, int b) { return std::uniform_int_distribution<>(a, b)(rng); }
    bool Chance(double p) { return Uniform(0, 1) < p; }

    QVector<double> Sweep()
    {
        const int n = Int(1, 120);
        const double f0 = Uniform(1e6, 1e9), step = Uniform(1e3, 1e7);
        QVector<double> x(n);
        for (int i = 0; i < n; ++i)
        {
            x[i] = f0 + i * step;
        }
        if (Chance(0.2))
        {
            for (int i = 1; i < n; i += 3)
            {
                x[i] = x[i - 1];
            }
        }
        if (Chance(0.2))
        {
            std::shuffle(x.begin(), x.end(), rng);
        }
        if (Chance(0.05))
        {
            x[Int(0, n - 1)] = kNaN;
        }
        return x;
    }
    // A sweep point exactly, a point between, or beyond either end.
    double Edge(const QVector<double>& x)
    {
        double lo = INFINITY, hi = -INFINITY;
        for (double v : x)
        {
            lo = std::isnan(v) ? lo : std::min(lo, v);
            hi = std::isnan(v) ? hi : std::max(hi, v);
        }
        if (lo > hi)
        {
            lo = hi = 0.0;
        }
        const double pad = (hi - lo + 1.0) * 0.3;
        return Chance(0.5) ? x[Int(0, x.size() - 1)] : Uniform(lo - pad, hi + pad);
    }
    template <typename R>
    void Bounds(R& r, const QVector<double>& x)
    {
        r.startFreq = Edge(x);
        r.stopFreq = Chance(0.15) ? r.startFreq : Edge(x);
        if (r.startFreq > r.stopFreq && Chance(0.8))
        {
            std::swap(r.startFreq, r.stopFreq);
        }
    }
};

// Writes averaged data for a band-pass filter of 6 poles centred at 5 GHz, -3 dB at +-halfBw.
void FillFilter(VNAChannel& ch, int n, double halfBw)
{
    ch.stimulus = testfx::Stimulus(1e9, 9e9, n);
    QMutexLocker lock(&ch.measLock);
    ch.MeasAvg.Resize(n);
    const QVector<double> f = ch.stimulus.GetFreqVector();
    for (int i = 0; i < n; ++i)
    {
        const double u = (f[i] - 5e9) / halfBw;
        const std::complex<double> s21 = 1.0 / std::sqrt(1.0 + std::pow(u, 6));
        ch.MeasAvg.S21[i] = ch.MeasAvg.S12[i] = s21;
        ch.MeasAvg.S11[i] = ch.MeasAvg.S22[i] = std::sqrt(1.0 - std::norm(s21));
    }
}

VNATrace* AddS21Trace(VNAModel& model)
{
    QMutexLocker lock(&model.traceLock);
    int index = 0;
    VNATrace* t = model.InternalCreateTrace(index);
    t->SetMeas(S21);
    t->SetFormat(LogMag);
    return t;
}

QString NextErrorText()
{
    return SysErr::GetErrorCount() > 0 ? SysErr::GetNextError().detail : QString();
}

QByteArray ReadAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}
}  // namespace

class TestLimits : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void limitVerdicts();
    void rippleWindows();
    void chainOnFilter();
    void remoteForms();
    void tableFiles();
    void tablesReplacedWhileRunning();
};

void TestLimits::limitVerdicts()
{
    Gen g;
    int passes = 0, fails = 0, onLine = 0;
    for (int c = 0; c < 4000; ++c)
    {
        const QVector<double> x = g.Sweep();
        QVector<VNALimitRange> ranges(g.Int(0, 4));
        for (VNALimitRange& r : ranges)
        {
            r.type = VNALimitType(g.Int(0, 2));
            g.Bounds(r, x);
            r.startOffset = g.Uniform(-5, 5);
            r.stopOffset = g.Chance(0.3) ? r.startOffset : g.Uniform(-5, 5);
        }
        // Points on a line exactly, one step off it, or anywhere.
        QVector<double> y(x.size());
        for (int i = 0; i < x.size(); ++i)
        {
            y[i] = g.Uniform(-6, 6);
            if (!ranges.isEmpty() && g.Chance(0.8))
            {
                const double l = RefLine(ranges[g.Int(0, ranges.size() - 1)], x[i]);
                const int step = g.Int(-1, 1);
                y[i] = step == 0 ? l : std::nextafter(l, step * INFINITY);
                onLine += step == 0 && std::isfinite(l);
            }
        }
        const bool expected = RefLimitPass(ranges, x, y);
        (expected ? passes : fails)++;
        QCOMPARE(EvaluateLimitRanges(ranges, x, y), expected);
        // The per-point verdict agrees with the definition on every point and range.
        for (const VNALimitRange& r : ranges)
        {
            for (int i = 0; i < x.size(); ++i)
            {
                QCOMPARE(LimitPointPasses(r, x[i], y[i]), RefLimitPass({r}, {x[i]}, {y[i]}));
            }
        }
        // Reversed order judges the same points: the ordered shortcut and the scan agree.
        QVector<double> rx(x.rbegin(), x.rend()), ry(y.rbegin(), y.rend());
        QCOMPARE(EvaluateLimitRanges(ranges, rx, ry), expected);
    }
    QVERIFY(passes > 400 && fails > 400 && onLine > 1000);

    // A Min and a Max range on one line: only points exactly on it pass. A single-point range
    // judges nothing (its line is 0/0), and neither does a range beside the sweep.
    const QVector<double> x{1e9, 2e9, 3e9};
    const QVector<VNALimitRange> both{{LimitMin, 1e9, 3e9, -1.0, -3.0},
                                      {LimitMax, 1e9, 3e9, -1.0, -3.0}};
    QVERIFY(EvaluateLimitRanges(both, x, {-1.0, -2.0, -3.0}));
    QVERIFY(!EvaluateLimitRanges(both, x, {-1.0, std::nextafter(-2.0, 0.0), -3.0}));
    QVERIFY(!EvaluateLimitRanges(both, x, {-1.0, std::nextafter(-2.0, -5.0), -3.0}));
    QVERIFY(EvaluateLimitRanges({{LimitMax, 2e9, 2e9, -50.0, -50.0}}, x, {0.0, 0.0, 0.0}));
    QVERIFY(EvaluateLimitRanges({{LimitMax, 4e9, 5e9, -50.0, -50.0}}, x, {0.0, 0.0, 0.0}));
    QVERIFY(!EvaluateLimitRanges({{LimitMax, 3e9, 5e9, -50.0, -50.0}}, x, {0.0, 0.0, 0.0}));
    QVERIFY(EvaluateLimitRanges({}, x, {9.0, 9.0, 9.0}));
}

void TestLimits::rippleWindows()
{
    Gen g;
    int passes = 0, fails = 0, unopened = 0, exact = 0;
    for (int c = 0; c < 4000; ++c)
    {
        const QVector<double> x = g.Sweep();
        QVector<double> y(x.size());
        for (double& v : y)
        {
            v = g.Chance(0.01) ? kNaN : g.Uniform(-3, 3);
        }
        QVector<VNARippleLimitRange> ranges(g.Int(0, 4));
        QVector<VNARippleMeas> before(ranges.size());
        for (int k = 0; k < ranges.size(); ++k)
        {
            ranges[k].type = VNARippleLimitType(g.Int(0, 2));
            g.Bounds(ranges[k], x);
            ranges[k].maxRipple = g.Uniform(0, 6);
            // Readings of an earlier pass, which a window that never opens keeps.
            before[k] = {g.Uniform(-9, 9), g.Uniform(-9, 9), g.Chance(0.5)};
        }
        // Some limits exactly at the measured ripple: equal passes.
        QVector<VNARippleMeas> probe = before;
        RefRipple(ranges, probe, x, y);
        for (int k = 0; k < ranges.size(); ++k)
        {
            if (g.Chance(0.3) && (probe[k].min != before[k].min || probe[k].max != before[k].max))
            {
                ranges[k].maxRipple = probe[k].max - probe[k].min;
                exact += std::isfinite(ranges[k].maxRipple);
            }
        }
        QVector<VNARippleMeas> expected = before, got = before;
        const bool pass = RefRipple(ranges, expected, x, y);
        (pass ? passes : fails)++;
        QCOMPARE(EvaluateRippleRanges(ranges, got, x, y), pass);
        for (int k = 0; k < ranges.size(); ++k)
        {
            QVERIFY(Same(got[k].min, expected[k].min) && Same(got[k].max, expected[k].max));
            QCOMPARE(got[k].pass, expected[k].pass);
            unopened += ranges[k].type != RippleOff && got[k].min == before[k].min &&
                        got[k].max == before[k].max;
        }
    }
    QVERIFY(passes > 400 && fails > 400 && unopened > 200 && exact > 200);

    // The last point closes a window reaching past the end and is never part of it.
    const QVector<double> x{1.0, 2.0, 3.0, 4.0};
    QVector<VNARippleMeas> m;
    QVERIFY(EvaluateRippleRanges({{RippleMargin, 2.0, 10.0, 0.5}}, m, x, {0.0, 5.0, 5.5, -9.0}));
    QCOMPARE(m.size(), 1);
    QVERIFY(m[0].min == 5.0 && m[0].max == 5.5 && m[0].pass);
}

void TestLimits::chainOnFilter()
{
    SysErr::ClearErrors();
    VNAModel model;
    VNAChannel& ch = *model.channels[0];
    FillFilter(ch, 801, 0.6e9);
    VNATrace* t = AddS21Trace(model);
    // Before any pass the ripple verdict reads false; a pass with nothing to test passes both.
    QVERIFY(t->limitPass && !t->ripplePass);
    model.CalcTraces(0);
    QVERIFY(t->limitPass && t->ripplePass);

    // Passband no lower than -3 dB over +-0.5 GHz, stopbands under -20 dB, ripple under 1 dB
    // over +-0.3 GHz: a filter 1.2 GHz wide meets all, one 0.7 GHz wide none.
    QVERIFY(t->SetLimitData({"1", "4.5e9", "5.5e9", "-3", "-3", "2", "1e9", "3e9", "-20", "-20",
                             "2", "7e9", "9e9", "-20", "-20"}));
    QVERIFY(t->SetRippleData({"1", "4.7e9", "5.3e9", "1"}));
    t->SetLimitTest(true);
    t->SetRippleTest(true);
    for (double halfBw : {0.6e9, 0.35e9, 0.52e9, 0.45e9})
    {
        FillFilter(ch, 801, halfBw);
        model.CalcTraces(0);
        const bool inBand = halfBw > 0.5e9;
        QCOMPARE(t->limitPass, inBand);
        QCOMPARE(t->limitPass, RefLimitPass(t->GetLimitRanges(), t->x, t->y));
        QCOMPARE(t->LimitFailSoundDue(), false);
        // Ripple of a 6-pole response at 0.3 GHz off centre, in dB.
        const double ripple = 10 * std::log10(1 + std::pow(0.3e9 / halfBw, 6));
        QVector<VNARippleMeas> ref(1);
        QCOMPARE(t->ripplePass, RefRipple(t->GetRippleRanges(), ref, t->x, t->y));
        QCOMPARE(t->ripplePass, ripple <= 1.0);
        const VNARippleMeas m = t->GetRippleMeas().value(0);
        QVERIFY(m.min == ref[0].min && m.max == ref[0].max);
        QVERIFY(std::fabs((m.max - m.min) - ripple) < 1e-9);
    }
    // The sound is due only for a failing test that asks for it; a test turned off passes.
    t->SetLimitSound(true);
    QVERIFY(t->LimitFailSoundDue());
    t->SetLimitTest(false);
    t->SetRippleTest(false);
    model.CalcTraces(0);
    QVERIFY(t->limitPass && t->ripplePass && !t->LimitFailSoundDue());
    QCOMPARE(SysErr::GetErrorCount(), 0);
}

void TestLimits::remoteForms()
{
    SysErr::ClearErrors();
    VNATrace t;
    QVERIFY(t.SetLimitData({"2", "1e9", "2e9", "-3.5", "-4", "1", "junk", "3e9", "x", "7"}));
    const QVector<VNALimitRange> set = t.GetLimitRanges();
    QCOMPARE(set.size(), 2);
    QVERIFY(set[0].type == LimitMax && set[0].startFreq == 1e9 && set[0].stopFreq == 2e9 &&
            set[0].startOffset == -3.5 && set[0].stopOffset == -4.0);
    // Unparsable numbers read as 0.
    QVERIFY(set[1].type == LimitMin && set[1].startFreq == 0.0 && set[1].startOffset == 0.0 &&
            set[1].stopOffset == 7.0);
    QCOMPARE(SysErr::GetErrorCount(), 0);

    // A count that is not a whole number of groups: -2, the table stays.
    for (int n : {1, 4, 6, 9})
    {
        QStringList params;
        for (int i = 0; i < n; ++i)
        {
            params << QStringLiteral("1");
        }
        QVERIFY(!t.SetLimitData(params));
        QCOMPARE(SysErr::GetErrorCount(), 1);
        const SystemError e = SysErr::GetNextError();
        QCOMPARE(e.code, int(InvalidParameter));
        QCOMPARE(e.detail, QStringLiteral("Invalid number of parameters, should be multiple of 5"));
        QCOMPARE(t.GetLimitRanges().size(), 2);
    }
    QVERIFY(t.SetRippleData({"2", "1e9", "2e9", "0.5", "0", "3e9", "4e9", "1"}));
    QCOMPARE(t.GetRippleRanges().size(), 2);
    QCOMPARE(t.GetRippleMeas().size(), 2);
    QVERIFY(t.GetRippleRanges()[0].type == RippleMargin && t.GetRippleRanges()[1].maxRipple == 1);
    QVERIFY(!t.SetRippleData({"1", "2", "3"}));
    QCOMPARE(NextErrorText(),
             QStringLiteral("Invalid number of parameters, should be multiple of 4"));
    QCOMPARE(t.GetRippleRanges().size(), 2);

    // No parameters empty the table, as the delete commands do.
    QVERIFY(t.SetLimitData({}) && t.SetRippleData({}));
    QVERIFY(t.GetLimitRanges().isEmpty() && t.GetRippleMeas().isEmpty());
    QCOMPARE(SysErr::GetErrorCount(), 0);

    QCOMPARE(StringToVNALimitType("MAX"), LimitMax);
    QCOMPARE(StringToVNALimitType(" min"), LimitOff);
    QCOMPARE(StringToVNARippleLimitType("Margin"), RippleMargin);
    QCOMPARE(VNALimitTypeToString(VNALimitType(7)), QStringLiteral("Off"));
}

void TestLimits::tableFiles()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    Gen g;
    const double odd[] = {0.0, -0.0, 5e-324, -1.7976931348623157e308, 0.1, 40e9, -INFINITY, kNaN};
    QVector<VNALimitRange> limits(30);
    QVector<VNARippleLimitRange> ripples(30);
    for (int i = 0; i < 30; ++i)
    {
        const auto pick = [&]()
        { return g.Chance(0.3) ? odd[g.Int(0, 7)] : g.Uniform(-1e10, 1e10); };
        limits[i] = {VNALimitType(i % 3), pick(), pick(), pick(), pick()};
        ripples[i] = {VNARippleLimitType(i % 3), pick(), pick(), pick()};
    }
    const QString lpath = dir.filePath("limits.csv"), rpath = dir.filePath("ripple.csv");
    QString error;
    QVERIFY2(SaveLimitTable(lpath, limits, error), qPrintable(error));
    QVERIFY2(SaveRippleTable(rpath, ripples, error), qPrintable(error));
    QVERIFY(
        ReadAll(lpath).startsWith("FileType,LimitLineRangeTable\nVersion,1\n"
                                  "Type,StartFreq,StopFreq,StartOffset,StopOffset\n"));
    QVERIFY(
        ReadAll(rpath).startsWith("FileType,RippleLimitLineRangeTable\nVersion,1\n"
                                  "Type,StartFreq,StopFreq,MaxRipple\n"));
    QVector<VNALimitRange> lback;
    QVector<VNARippleLimitRange> rback;
    QVERIFY2(LoadLimitTable(lpath, lback, error), qPrintable(error));
    QVERIFY2(LoadRippleTable(rpath, rback, error), qPrintable(error));
    QCOMPARE(lback.size(), limits.size());
    QCOMPARE(rback.size(), ripples.size());
    for (int i = 0; i < 30; ++i)
    {
        const VNALimitRange &a = limits[i], &b = lback[i];
        QVERIFY(a.type == b.type && SameBits(a.startFreq, b.startFreq) &&
                SameBits(a.stopFreq, b.stopFreq) && SameBits(a.startOffset, b.startOffset) &&
                SameBits(a.stopOffset, b.stopOffset));
        const VNARippleLimitRange &c = ripples[i], &d = rback[i];
        QVERIFY(c.type == d.type && SameBits(c.startFreq, d.startFreq) &&
                SameBits(c.stopFreq, d.stopFreq) && SameBits(c.maxRipple, d.maxRipple));
    }

    // Written by hand: quotes, CRLF, blank lines, any case of the type, unknown types as Off,
    // unparsable or missing numbers as 0, extra cells ignored.
    const QString hand =
        testfx::WriteFile(dir, "hand.csv",
                          "\"FileType\", LimitLineRangeTable\r\nVersion,1\r\n\r\nType,a,b,c,d\r\n"
                          "MAX, 1e9 ,\"2e9\",-3,-4,extra\r\nbogus,1,2,3,4\r\nmin,abc\n");
    QVERIFY2(LoadLimitTable(hand, lback, error), qPrintable(error));
    QCOMPARE(lback.size(), 3);
    QVERIFY(lback[0].type == LimitMax && lback[0].startFreq == 1e9 && lback[0].stopFreq == 2e9 &&
            lback[0].stopOffset == -4.0);
    QVERIFY(lback[1].type == LimitOff && lback[1].stopOffset == 4.0);
    QVERIFY(lback[2].type == LimitMin && lback[2].startFreq == 0.0 && lback[2].stopOffset == 0.0);

    // Refusals leave the ranges as they were.
    const QByteArray header = "FileType,LimitLineRangeTable\nVersion,1\nType\n";
    const struct
    {
        QString path;
        QString message;
    } refusals[] = {
        {dir.filePath("missing.csv"), "Unable to read file."},
        {dir.path(), "Unable to read file."},
        {rpath, "Invalid file type."},
        {testfx::WriteFile(dir, "empty.csv", ""), "Invalid file type."},
        {testfx::WriteFile(dir, "nodata.csv", header + "\n\n"), "Invalid file type."},
        {testfx::WriteFile(dir, "v2.csv", QByteArray(header).replace("1", "2") + "Max,1,2,3,4\n"),
         "Invalid file type."},
        {testfx::WriteFile(dir, "v.csv", QByteArray(header).replace("1", "one") + "Max,1,2,3,4\n"),
         "Invalid file type."},
        {testfx::WriteFile(dir, "case.csv", header.toLower() + "Max,1,2,3,4\n"),
         "Invalid file type."},
    };
    for (const auto& r : refusals)
    {
        error.clear();
        QVERIFY2(!LoadLimitTable(r.path, lback, error), qPrintable(r.path));
        QCOMPARE(error, r.message);
        QCOMPARE(lback.size(), 3);
    }
    QVERIFY(!LoadRippleTable(lpath, rback, error));
    QCOMPARE(error, QStringLiteral("Invalid file type."));
    QCOMPARE(rback.size(), 30);

    // An empty table is not saved, and a folder that cannot exist is reported.
    const QString none = dir.filePath("none.csv");
    QVERIFY(!SaveLimitTable(none, {}, error));
    QCOMPARE(error, QStringLiteral("No ranges configured, cancelling."));
    QVERIFY(!SaveRippleTable(none, {}, error));
    QCOMPARE(error, QStringLiteral("No ranges configured, cancelling."));
    QVERIFY(!QFile::exists(none));
    QVERIFY(!SaveLimitTable(lpath + "/sub.csv", limits, error));
    QCOMPARE(error, QStringLiteral("Unable to write file."));

    // Cells of any text come back as they went.
    KXCsv csv;
    const QStringList texts{"", " lead", "trail ", "a,b", "q\"q", "two\nlines", "cr\rlf\r\n", "\""};
    for (int r = 0; r < 40; ++r)
    {
        for (int c = 0; c < g.Int(1, 4); ++c)
        {
            csv.SetValue(r, c, texts[g.Int(0, texts.size() - 1)]);
        }
    }
    KXCsv back;
    back.FromText(csv.ToText());
    QCOMPARE(back.Rows(), csv.Rows());
    for (int r = 0; r < csv.Rows(); ++r)
    {
        for (int c = 0; c < csv.Columns(r); ++c)
        {
            QCOMPARE(back.GetValue(r, c).toString(), csv.GetValue(r, c).toString());
        }
    }
}

void TestLimits::tablesReplacedWhileRunning()
{
    // The editors and remote commands replace tables from the GUI thread while the chain judges
    // them; each side takes the table's mutex.
    VNAModel model;
    FillFilter(*model.channels[0], 2001, 0.5e9);
    VNATrace* t = AddS21Trace(model);
    t->SetLimitTest(true);
    t->SetRippleTest(true);
    std::thread chain(
        [&]()
        {
            for (int i = 0; i < 200; ++i)
            {
                model.CalcTraces(0);
            }
        });
    Gen g;
    for (int i = 0; i < 200; ++i)
    {
        QVector<VNALimitRange> limits(g.Int(0, 20));
        for (VNALimitRange& r : limits)
        {
            r = {LimitMin, g.Uniform(1e9, 9e9), g.Uniform(1e9, 9e9), -30.0, -10.0};
        }
        QVector<VNARippleLimitRange> ripples(g.Int(0, 20));
        for (VNARippleLimitRange& r : ripples)
        {
            r = {RippleAbsolute, g.Uniform(1e9, 9e9), g.Uniform(1e9, 9e9), 3.0};
        }
        t->SetLimitRanges(limits);
        t->SetRippleRanges(ripples);
        QCOMPARE(t->GetRippleMeas().size(), ripples.size());
    }
    chain.join();
    model.CalcTraces(0);
    QCOMPARE(t->limitPass, RefLimitPass(t->GetLimitRanges(), t->x, t->y));
    QVector<VNARippleMeas> ref = t->GetRippleMeas();
    QCOMPARE(t->ripplePass, RefRipple(t->GetRippleRanges(), ref, t->x, t->y));
}

QTEST_GUILESS_MAIN(TestLimits)
#include "test_limits.moc"
