// User characterisation of the uCal module: a module of known states measured through a
// synthetic instrument corrected by a mechanical SOLT calibration must come back as those
// states, whichever way round its ports are connected; and the kit made of it.
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>

#include "cal_fixtures.h"
#include "error_model.h"
#include "maury_ucal_char.h"
#include "test_fixtures.h"

using cplx = std::complex<double>;

namespace
{
// Noise-free synthetic data: what is left is rounding.
constexpr double kExact = 1e-9;
constexpr double kTwoPi = 6.283185307179586;
constexpr double kThruDelayPs = 82.157;

// A module of our own: smooth reflections behind different delays on each port, and a lossy,
// mismatched line as its thru.
struct Module
{
    std::function<cplx(double)> reflect[2][3];  // [port A, B][short, open, load]
    testfx::TwoPortFn thru;                     // port A first
};

Module TestModule()
{
    Module m;
    for (int p = 0; p < 2; ++p)
    {
        const double delay = (60.0 + 9.0 * p) * 1e-12;
        m.reflect[p][0] = [=](double f)
        { return std::polar(0.96 - 0.02 * p, -kTwoPi * f * delay); };
        m.reflect[p][1] = [=](double f)
        { return std::polar(0.98, 0.3 - kTwoPi * f * (delay + 4e-12)); };
        m.reflect[p][2] = [=](double f)
        { return std::polar(0.02 + 0.001 * f / 1e9, 1.0 - kTwoPi * f * delay); };
    }
    m.thru = testfx::Line(47.5, 95e-12, 2e9);
    return m;
}

// The module in one state as the instrument's ports see it through the port map.
testfx::TwoPortFn Seen(const Module& m, int state, const UCalPortMap& map)
{
    const int onPort1 = map.vnaPortOfUCalPort[0] == 0 ? 0 : 1;  // module port on instrument port 1
    if (state == MauryUCal::Thru)
    {
        const testfx::TwoPortFn thru = m.thru;
        const bool crossed = map.IsCrossed();
        return [thru, crossed](double f, cplx s[4])
        {
            thru(f, s);
            if (crossed)
            {
                std::swap(s[0], s[3]);
                std::swap(s[1], s[2]);
            }
        };
    }
    return testfx::Reflects(m.reflect[onPort1][state], m.reflect[1 - onPort1][state]);
}

struct Bench
{
    VNAStimulus stim = testfx::Stimulus(40e6, 20e9, 101);
    QVector<double> f = stim.GetFreqVector();
    testfx::ErrorModel model = testfx::ErrorModel::Random(41, 0.0);  // no leakage: exact
    VNACalibration cal;

    Bench()
    {
        testfx::SyntheticCal setup;
        setup.type = SOLT;
        setup.isolation = false;
        setup.thru = testfx::Line(50.0, kThruDelayPs * 1e-12, 0.0);
        cal = testfx::MeasureCalibration(setup, testfx::ModelKit(kThruDelayPs, 0.0), stim, model,
                                         model);
        cal.BuildCorrections(stim);
    }

    SParametersRaw Measure(const testfx::TwoPortFn& device) const
    {
        return testfx::MeasureRaw(model, model, f, device);
    }
};

double MaxError(const CplxVector& got, const std::function<cplx(double)>& truth,
                const QVector<double>& f)
{
    if (got.size() != f.size())
    {
        return 1e300;
    }
    double worst = 0.0;
    for (int i = 0; i < f.size(); ++i)
    {
        worst = std::max(worst, std::abs(got[i] - truth(f[i])));
    }
    return worst;
}
}  // namespace

class TestUCalChar : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void recoversTheModule_data();
    void recoversTheModule();
    void refusesWhatItCannotUse();
    void userKit();
    void kitFileRoundTrip();
};

void TestUCalChar::recoversTheModule_data()
{
    QTest::addColumn<bool>("crossed");
    QTest::newRow("A on port 1") << false;
    QTest::newRow("B on port 1") << true;
}

void TestUCalChar::recoversTheModule()
{
    QFETCH(bool, crossed);
    const Bench bench;
    QVERIFY(bench.cal.CorrectionsReady());
    const Module module = TestModule();
    UCalPortMap map;
    map.vnaPortOfUCalPort[0] = crossed ? 1 : 0;
    map.vnaPortOfUCalPort[1] = crossed ? 0 : 1;
    UCalUserCharacterization uc;
    uc.Begin({QStringLiteral("Maury Microwave"), QStringLiteral("MT-35-MF"), QStringLiteral("9"),
              QStringLiteral("1")},
             bench.f, map);
    QString error;
    for (int state = 0; state < UCalUserCharacterization::kStateCount; ++state)
    {
        QVERIFY(!uc.IsComplete());
        QVERIFY2(uc.AddSweep(state, bench.Measure(Seen(module, state, map)), bench.cal, error),
                 qPrintable(error));
    }
    QVERIFY(uc.IsComplete());

    const UCalDataSets sets = uc.DataSets();
    for (int port = 0; port < 2; ++port)
    {
        for (int r = 0; r < 3; ++r)
        {
            const int set = r + 3 * port;
            QCOMPARE(sets.freqs[set], bench.f);
            const double e = MaxError(sets.data[set].S11, module.reflect[port][r], bench.f);
            QVERIFY2(e < kExact, qPrintable(QStringLiteral("set %1: %2").arg(set).arg(e)));
        }
    }
    for (int k = 0; k < 4; ++k)
    {
        const auto truth = [&](double f)
        {
            cplx s[4];
            module.thru(f, s);
            return s[k];
        };
        const double e = MaxError(sets.data[6].GetSParam(VNATraceMeas(k)), truth, bench.f);
        QVERIFY2(e < kExact, qPrintable(QStringLiteral("thru %1: %2").arg(k).arg(e)));
    }
}

void TestUCalChar::refusesWhatItCannotUse()
{
    const Bench bench;
    UCalUserCharacterization uc;
    uc.Begin(UCalIdentity(), bench.f, UCalPortMap());
    QString error;
    const SParametersRaw raw = bench.Measure(Seen(TestModule(), MauryUCal::Short, UCalPortMap()));

    // A one-port calibration cannot correct both module ports, nor can one not yet solved.
    VNACalibration sol =
        testfx::MeasureCalibration(testfx::SyntheticCal{SOL, 0, false, {}}, testfx::ModelKit(),
                                   bench.stim, bench.model, bench.model);
    sol.BuildCorrections(bench.stim);
    QVERIFY(!uc.AddSweep(MauryUCal::Short, raw, sol, error) && !error.isEmpty());
    VNACalibration unsolved = bench.cal;
    unsolved.Unload();
    error.clear();
    QVERIFY(!uc.AddSweep(MauryUCal::Short, raw, unsolved, error) && !error.isEmpty());
    // A calibration made with the module's own kit would only give its data back.
    VNACalibration electronic = bench.cal;
    VNACalKit moduleKit = electronic.GetCalKit();
    moduleKit.IsUCal = true;
    electronic.SetCalKit(moduleKit);
    error.clear();
    QVERIFY(!uc.AddSweep(MauryUCal::Short, raw, electronic, error) && !error.isEmpty());
    // No such state; a sweep of other frequencies; a port map with both ports on one side.
    QVERIFY(!uc.SetMeasurement(4, raw.ToSParam(), error));
    SParametersRaw shorter = raw;
    shorter.Resize(50);
    QVERIFY(!uc.AddSweep(MauryUCal::Short, shorter, bench.cal, error));
    UCalPortMap bad;
    bad.vnaPortOfUCalPort[1] = 0;
    QVERIFY(!bad.IsValid());
    UCalUserCharacterization badMap;
    badMap.Begin(UCalIdentity(), bench.f, bad);
    QVERIFY(!badMap.SetMeasurement(MauryUCal::Short, raw.ToSParam(), error));
    QVERIFY(!uc.HasMeasurement(MauryUCal::Short));

    // Measured states give their sets; a kit without the thru serves one-port calibrations.
    for (int state : {MauryUCal::Short, MauryUCal::Open, MauryUCal::Load})
    {
        QVERIFY(uc.AddSweep(state, raw, bench.cal, error));
    }
    QVERIFY(!uc.IsComplete());
    const UCalDataSets sets = uc.DataSets();
    QVERIFY(sets.freqs[6].isEmpty());
    const VNACalKit kit = uc.BuildKit();
    QCOMPARE(kit.Standards.size(), 6);
    QVERIFY(kit.CanPerform(SOL) && !kit.CanPerform(SOLT));
}

void TestUCalChar::userKit()
{
    const UCalIdentity id{QStringLiteral("Maury Microwave"), QStringLiteral("MT 982/35-MF"),
                          QStringLiteral("12 34"), QStringLiteral("2")};
    QCOMPARE(UCalUserKitName(id), QStringLiteral("MT_982_35-MF_SN12_34_User"));
    const QVector<double> f{1e9, 2e9, 3e9, 4e9};
    UCalUserCharacterization uc;
    uc.Begin(id, f, UCalPortMap());
    QString error;
    for (int state = 0; state < 4; ++state)
    {
        QVERIFY(uc.SetMeasurement(state, testfx::SmoothSParams(f), error));
    }
    const VNACalKit kit = uc.BuildKit();
    QVERIFY(kit.IsUCalModule());
    QVERIFY(!kit.UseFactoryCharacterization());
    QCOMPARE(kit.CalKitName, UCalUserKitName(id));
    QVERIFY(kit.CanPerformSOLT());

    // Against itself nothing differs; a set moved by a known amount differs by that amount,
    // also where the other side must be interpolated; a missing set is not compared.
    const UCalDataSets a = uc.DataSets();
    for (double d : CompareUCalDataSets(a, a))
    {
        QVERIFY(d >= 0.0 && d < 1e-15);  // interpolation runs through magnitude and phase
    }
    UCalDataSets b = a;
    const cplx shift(3e-4, -4e-4);  // |shift| = 5e-4
    for (cplx& v : b.data[2].S11)
    {
        v += shift;
    }
    b.freqs[6].clear();
    b.freqs[4] = {1e9, 4e9};  // coarser: interpolated, the ends exact
    b.data[4].S11 = {a.data[4].S11.first(), a.data[4].S11.last()};
    const QVector<double> d = CompareUCalDataSets(a, b);
    QVERIFY(std::abs(d[2] - 5e-4) < 1e-15);
    QCOMPARE(d[6], -1.0);
    double interpolation = 0.0;
    for (int i = 0; i < f.size(); ++i)
    {
        const cplx between = InterpolateArray(b.freqs[4], b.data[4].S11, f[i]);
        interpolation = std::max(interpolation, std::abs(a.data[4].S11[i] - between));
    }
    QVERIFY(interpolation > 1e-3);  // the middle points are far from the coarse line
    QVERIFY(std::abs(d[4] - interpolation) < 1e-15);
}

void TestUCalChar::kitFileRoundTrip()
{
    QTemporaryDir dir;
    const QVector<double> f{1e9, 5e9, 9e9};
    UCalUserCharacterization uc;
    uc.Begin(
        {QStringLiteral("M"), QStringLiteral("X-N-MM"), QStringLiteral("1"), QStringLiteral("1")},
        f, UCalPortMap());
    QString error;
    for (int state = 0; state < 4; ++state)
    {
        QVERIFY(uc.SetMeasurement(state, testfx::SmoothSParams(f), error));
    }
    const VNACalKit kit = uc.BuildKit();
    const QString path = dir.filePath(UCalUserKitName(uc.Identity()) + ".skt");
    QVERIFY2(SaveUCalUserKit(kit, path, error), qPrintable(error));
    VNACalKit back;
    QVERIFY(LoadCalKit(path, back));
    QCOMPARE(back.IsUCal, true);
    QCOMPARE(back.IsFactoryUCal, false);
    QCOMPARE(back.Connector, ConnN);
    QCOMPARE(back.Standards.size(), kit.Standards.size());
    for (int i = 0; i < kit.Standards.size(); ++i)
    {
        const CalKitStandardInfo &s = kit.Standards[i], &t = back.Standards[i];
        QCOMPARE(t.ID, s.ID);
        QCOMPARE(t.UCalPort, s.UCalPort);
        QCOMPARE(t.DataFreqs, s.DataFreqs);
        // Kit files keep complex data as floats.
        for (int k = 0; k < s.DataS11.size(); ++k)
        {
            QVERIFY(std::abs(t.DataS11[k] - s.DataS11[k]) < 1e-6);
        }
    }
    // A folder that cannot be made: its parent is a file.
    testfx::WriteFile(dir, QStringLiteral("plain"), "x");
    QVERIFY(!SaveUCalUserKit(kit, dir.filePath(QStringLiteral("plain/k.skt")), error));
    QVERIFY(!error.isEmpty());
}

QTEST_GUILESS_MAIN(TestUCalChar)
#include "test_ucal_char.moc"
