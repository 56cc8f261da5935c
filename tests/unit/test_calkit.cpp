// Calibration kits: class lists, the .skt file, the role mapper and the standards' ideal
// responses, checked against closed forms and an independent line cascade.
#include <QDir>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>

#include "application_settings.h"
#include "error_model.h"
#include "test_fixtures.h"
#include "vna_calibration.h"
#include "vna_calkit.h"

using cplx = std::complex<double>;

namespace
{
constexpr double kTwoPi = 6.283185307179586;

CalKitStandardInfo Std(int id, VNAStandard type, VNAGender gender = VNAMale)
{
    CalKitStandardInfo s;
    s.ID = id;
    s.Type = type;
    s.Gender = gender;
    s.Description = QStringLiteral("std %1").arg(id);
    return s;
}

// Reflection of zl (50 ohm reference) seen through a two-port s.
cplx Cascade(const cplx s[4], cplx zl)
{
    const cplx gl = (zl - 50.0) / (zl + 50.0);
    return s[0] + s[1] * s[2] * gl / (1.0 - s[3] * gl);
}

const QStringList kDeliveredKits = {
    "02K34R-MSOTS3", "02S34R-MSOTS3",    "03K30R-MSOTS3",    "03S30R-MSOTS3", "7950CK40",
    "8050CK40",      "85052B",           "85052D",           "85056D",        "85520A",
    "85521A",        "85561A",           "85562A",           "85563A",        "85564A",
    "8770CK40",      "KX-02K30H-MSOTS3", "KX-02S30H-MSOTS3", "uCal"};
}  // namespace

class TestCalKit : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }

    void classListsAndIds()
    {
        VNACalKit kit;
        kit.Standards = {Std(1, VNAStdOpen), Std(2, VNAStdShort), Std(3, VNAStdLoad),
                         Std(5, VNAStdThru)};
        QVERIFY(!kit.CanPerformSOL());
        kit.PutStandardInClass(1, CalClassOpen);
        kit.PutStandardInClass(2, CalClassShort);
        kit.PutStandardInClass(3, CalClassLoad);
        kit.PutStandardInClass(3, CalClassLoad);  // no duplicate
        QCOMPARE(kit.GetStandardIDsWithClass(CalClassLoad), QList<int>({3}));
        QVERIFY(kit.CanPerformSOL());
        QVERIFY(kit.CanPerform(SOL));
        QVERIFY(kit.CanPerform(SOLR));  // an unknown thru needs no Thru standard
        QVERIFY(!kit.CanPerform(SOLT));
        QVERIFY(!kit.CanPerform(VNACalType(9)));
        kit.PutStandardInClass(5, CalClassThru);
        QVERIFY(kit.CanPerform(SOLT));

        // Priorities move one place; ends and unknown IDs do nothing; class 4 is ignored.
        kit.PutStandardInClass(7, CalClassLoad);
        kit.PutStandardInClass(2, CalClassLoad);
        kit.IncreaseStdPriority(2, CalClassLoad);
        QCOMPARE(kit.GetStandardIDsWithClass(CalClassLoad), QList<int>({3, 2, 7}));
        kit.IncreaseStdPriority(3, CalClassLoad);
        kit.DecreaseStdPriority(7, CalClassLoad);
        kit.DecreaseStdPriority(99, CalClassLoad);
        QCOMPARE(kit.GetStandardIDsWithClass(CalClassLoad), QList<int>({3, 2, 7}));
        kit.DecreaseStdPriority(3, CalClassLoad);
        QCOMPARE(kit.GetStandardIDsWithClass(CalClassLoad), QList<int>({2, 3, 7}));
        kit.PutStandardInClass(1, CalClass(4));
        kit.RemoveStandardFromClass(1, CalClass(4));
        QCOMPARE(kit.GetStandardIDsWithClass(CalClass(4)), QList<int>());

        // Missing IDs are dropped from the standards of a class; the first class listing wins.
        const QVector<CalKitStandardInfo> loads = kit.GetStandardsWithClass(CalClassLoad);
        QCOMPARE(loads.size(), 2);
        QCOMPARE(loads[0].ID, 2);
        QCOMPARE(loads[1].ID, 3);
        QCOMPARE(kit.GetStandardsNotInClass(CalClassLoad), QList<int>({1, 5}));
        bool found = false;
        QCOMPARE(kit.GetClassOfStandard(2, found), CalClassShort);
        QVERIFY(found);
        kit.GetClassOfStandard(42, found);
        QVERIFY(!found);

        QCOMPARE(kit.GetNextID(), 4);
        QVERIFY(!kit.IsIDAvailable(5));
        const CalKitStandardInfo missing = kit.GetStandard(4, found);
        QVERIFY(!found);
        QCOMPARE(missing.FMax, 999000000000.0);

        // Removing a standard removes it from every class list.
        kit.RemoveStdAtIndex(1);
        QVERIFY(!kit.GetStandardIDsWithClass(CalClassShort).contains(2));
        QVERIFY(!kit.GetStandardIDsWithClass(CalClassLoad).contains(2));
        QVERIFY(!kit.CanPerformSOL());

        VNACalKit full;
        for (int id = 1; id <= 999; ++id)
        {
            full.Standards.append(Std(id, VNAStdLoad));
        }
        QCOMPARE(full.GetNextID(), -1);

        // Gender coverage needs a short, an open and a (sliding) load of that gender.
        VNACalKit g;
        g.Standards = {Std(1, VNAStdShort, VNAFemale), Std(2, VNAStdOpen, VNAFemale),
                       Std(3, VNAStdSlidingLoad, VNAFemale), Std(4, VNAStdLoad, VNAMale)};
        QVERIFY(g.HadStdsForGender(VNAFemale));
        QVERIFY(!g.HadStdsForGender(VNAMale));

        QCOMPARE(GetCalClassFromStandardType(VNAStdData), CalClassThru);
        QCOMPARE(GetCalClassFromStandardType(VNAStdSlidingLoad), CalClassLoad);
        QCOMPARE(GetCalClassFromStandardType(VNAStandard(6)), CalClassThru);
        CalKitStandardInfo data = Std(8, VNAStdData);
        QVERIFY(data.IsStandardType(VNAStdShort) && data.IsStandardType(VNAStdThru));
        QVERIFY(!data.IsDataLoaded());
        QCOMPARE(Std(3, VNAStdThru).GetLongListString(), QStringLiteral("3 - Thru - std 3"));
        QCOMPARE(Std(3, VNAStdShort, VNAFemale).GetLongListString(),
                 QStringLiteral("3 - Short - F - std 3"));
    }

    void sktFileRoundTripAndLayout()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("kit.skt"));
        VNACalKit kit;
        kit.Description = QStringLiteral("round trip");
        kit.Connector = Conn1_0mm;
        kit.IsFactoryUCal = false;
        CalKitStandardInfo open = Std(3, VNAStdOpen, VNAFemale);
        open.Delay = 28.353;
        open.Loss = 2.4;
        open.C0 = -10.6;
        open.C1 = -1130;
        open.C2 = 52;
        open.C3 = -0.6;
        open.FMax = 3.001e9;
        open.UCalPort = 2;
        CalKitStandardInfo reflect = Std(15, VNAStdData);
        reflect.DataFreqs = {1e9, 2e9, 3e9};
        reflect.DataS11 = {cplx(0.5, 0.25), cplx(-0.5, 0.125), cplx(0.0, -1.0)};
        reflect.DataFileName = QStringLiteral("r.s1p");
        CalKitStandardInfo thru = Std(16, VNAStdData);
        thru.DataReflectOnly = false;
        thru.DataFreqs = {1e9, 2e9};
        thru.DataS11 = {0.25, 0.5};
        thru.DataS21 = {cplx(0.0, 1.0), cplx(1.0, 0.0)};
        thru.DataS12 = {cplx(0.0, -1.0), cplx(-1.0, 0.0)};
        thru.DataS22 = {0.125, 0.375};
        kit.Standards = {open, reflect, thru};
        kit.PutStandardInClass(3, CalClassOpen);
        kit.PutStandardInClass(15, CalClassOpen);
        kit.PutStandardInClass(16, CalClassThru);
        {
            ApplicationSettings s(path);
            kit.Save(s);
        }
        {
            QSettings raw(path, QSettings::IniFormat);
            QCOMPARE(raw.value("CalKit/Version").toInt(), 1);
            QCOMPARE(raw.value("CalKit/Standards/size").toInt(), 3);
            QCOMPARE(raw.value("CalKit/Standards/1/ID").toInt(), 3);
            QCOMPARE(raw.value("CalKit/KitClasses/SOLT/Open/2/1").toInt(), 15);
            QCOMPARE(raw.value("CalKit/KitClasses/SOLT/Short/size").toInt(), 0);
            // Data keys only for data based standards; a reflect-only one has no S21.
            QVERIFY(!raw.contains("CalKit/Standards/1/DataFreqs"));
            QVERIFY(raw.contains("CalKit/Standards/2/DataS11"));
            QVERIFY(!raw.contains("CalKit/Standards/2/DataS21"));
            QVERIFY(raw.contains("CalKit/Standards/3/DataS22"));
        }
        VNACalKit back;
        QVERIFY(LoadCalKit(path, back));
        QCOMPARE(back.Description, kit.Description);
        QCOMPARE(back.Connector, Conn1_0mm);
        QCOMPARE(back.IsFactoryUCal, false);
        QCOMPARE(back.Standards.size(), 3);
        const CalKitStandardInfo& o = back.Standards[0];
        QCOMPARE(o.Type, VNAStdOpen);
        QCOMPARE(o.Gender, VNAFemale);
        QCOMPARE(o.UCalPort, 2);
        QCOMPARE(o.FMax, 3.001e9);
        QCOMPARE(o.C1, -1130.0);
        QCOMPARE(o.Delay, 28.353);
        QCOMPARE(back.Standards[1].DataS11, reflect.DataS11);
        QCOMPARE(back.Standards[1].DataFreqs, reflect.DataFreqs);
        // Reflect-only data: the other three are zero of the same length.
        QCOMPARE(back.Standards[1].DataS21, CplxVector(3, 0.0));
        QCOMPARE(back.Standards[1].DataS22, CplxVector(3, 0.0));
        QCOMPARE(back.Standards[2].DataS12, thru.DataS12);
        for (int c = 0; c < kCalClassCount; ++c)
        {
            QCOMPARE(back.Classes[c], kit.Classes[c]);
        }

        // Old files: no UCalPort keeps 0, no IsUCal / IsFactoryUCal keep the defaults, no
        // Version counts as 1. Another version reads nothing.
        const QString old = testfx::WriteFile(dir, "old.skt",
                                              "[CalKit]\nDescription=old\nConnector=3\n"
                                              "Standards\\1\\ID=4\nStandards\\1\\Type=2\n"
                                              "Standards\\size=1\n");
        VNACalKit oldKit;
        QVERIFY(LoadCalKit(old, oldKit));
        QCOMPARE(oldKit.Standards.size(), 1);
        QCOMPARE(oldKit.Standards[0].UCalPort, 0);
        QCOMPARE(oldKit.IsUCal, false);
        QCOMPARE(oldKit.IsFactoryUCal, true);
        const QString v2 = testfx::WriteFile(
            dir, "v2.skt",
            "[CalKit]\nVersion=2\nDescription=new\nStandards\\1\\ID=4\nStandards\\size=1\n");
        VNACalKit newKit;
        QVERIFY(!LoadCalKit(v2, newKit));
        QCOMPARE(newKit.Standards.size(), 0);
        QCOMPARE(newKit.Description, VNACalKit().Description);
    }

    void mapperPrioritiesAndCoverage()
    {
        // Broadband, lowband and sliding load measured in that order.
        VNACalStdMapper m;
        QCOMPARE(m.GetID(1e9), -1);
        QVERIFY(!m.IsFullyMapped(0.0, 1.0));
        m.AddStd(1, 0.0, 9.99e11);
        m.AddStd(2, 0.0, 3.001e9);
        m.AddStd(3, 2.99e9, 9.99e11);
        QCOMPARE(m.GetID(1e9), 2);
        QCOMPARE(m.GetID(2.99e9), 3);  // bounds are inclusive
        QCOMPARE(m.GetID(3.001e9), 3);
        QCOMPARE(m.GetID(2.989e9), 2);
        QCOMPARE(m.GetID(40e9), 3);
        QCOMPARE(m.GetID(1e12), -1);
        // Re-measuring the broadband load makes it win everywhere, others keep their order.
        m.AddStd(1, 0.0, 9.99e11);
        QCOMPARE(m.GetID(1e9), 1);
        QCOMPARE(m.GetID(40e9), 1);
        // Sorted by start at insertion; a re-added entry keeps its bounds.
        QCOMPARE(m.Maps().size(), 3);
        QCOMPARE(m.Maps().last().Std, 3);

        // Equal priority: the earlier entry (lower start) wins.
        VNACalStdMapper equal;
        equal.AddStd(7, 5e9, 6e9);
        equal.AddStd(8, 1e9, 5.5e9);
        QCOMPARE(equal.GetID(5.2e9), 8);
        QCOMPARE(equal.GetID(5e9), 8);
        QCOMPARE(equal.GetID(6e9), 7);

        VNACalStdMapper cover;
        cover.AddStd(1, 0.0, 3.001e9);
        cover.AddStd(2, 2.99e9, 9.99e11);
        QVERIFY(cover.IsFullyMapped(1e9, 2e10));
        VNACalStdMapper gap;
        gap.AddStd(1, 0.0, 1e9);
        gap.AddStd(2, 2e9, 9.99e11);
        QVERIFY(!gap.IsFullyMapped(1e9, 2e10));
        QVERIFY(gap.IsFullyMapped(0.0, 1e9));

        QTemporaryDir dir;
        ApplicationSettings s(dir.filePath(QStringLiteral("map.ini")));
        m.Save(QStringLiteral("StdMap4"), s);
        VNACalStdMapper back;
        QVERIFY(back.Load(QStringLiteral("StdMap4"), s));
        QCOMPARE(back.Maps().size(), 3);
        for (double f : {1e9, 3e9, 40e9})
        {
            QCOMPARE(back.GetID(f), m.GetID(f));
        }
        QVERIFY(!back.Load(QStringLiteral("StdMap5"), s));

        // Merging a band-limited measurement overwrites only its band, bounds included.
        const QVector<double> f = {1e9, 2e9, 3e9, 4e9};
        CplxVector dst(4, cplx(9.0, 0.0));
        MergeCalMeas(CplxVector{1.0, 2.0, 3.0, 4.0}, dst, f, 2e9, 3e9);
        QCOMPARE(dst, CplxVector({9.0, 2.0, 3.0, 9.0}));
    }

    void idealResponses()
    {
        const QVector<double> freqs = {40e6, 1e9, 9.7e9, 26.5e9, 40e9};
        for (double f : freqs)
        {
            const double w = kTwoPi * f;
            // Lossless offset: a short rotates by twice the delay.
            CalKitStandardInfo sh = Std(1, VNAStdShort);
            sh.Delay = 31.785;
            const cplx wantShort = -std::exp(cplx(0.0, -2.0 * w * 31.785e-12));
            QVERIFY(std::abs(sh.IdealShort(f) - wantShort) < 1e-12);

            // No offset: the lumped open and short of the polynomials.
            CalKitStandardInfo op = Std(2, VNAStdOpen);
            op.C0 = 49.433;
            op.C1 = -310.131;
            op.C2 = 23.1682;
            op.C3 = -0.15966;
            const double c = 1e-15 * op.C0 + 1e-27 * op.C1 * f + 1e-36 * op.C2 * f * f +
                             1e-45 * op.C3 * f * f * f;
            const cplx zc = 1.0 / cplx(0.0, w * c);
            QVERIFY(std::abs(op.IdealOpen(f) - (zc - 50.0) / (zc + 50.0)) < 1e-12);
            CalKitStandardInfo ls = Std(3, VNAStdShort);
            ls.L0 = 2.0765;
            ls.L1 = -108.54;
            const cplx zl(0.0, w * (2.0765e-12 - 108.54e-24 * f));
            QVERIFY(std::abs(ls.IdealShort(f) - (zl - 50.0) / (zl + 50.0)) < 1e-12);

            // Lossy offset against the cascade of an independently written line model.
            op.Delay = sh.Delay = 29.243;
            op.Loss = sh.Loss = 2.2;
            cplx line[4];
            testfx::LineParams(50.0, 29.243e-12, 2.2e9, f, line);
            QVERIFY(std::abs(op.IdealOpen(f) - Cascade(line, zc)) < 1e-12);
            QVERIFY(std::abs(sh.IdealShort(f) - Cascade(line, 0.0)) < 1e-12);
            QVERIFY(std::abs(VNACalibration::CalcRef(50.0, zc, 29.243e-12, 2.2e9, f) -
                             Cascade(line, zc)) < 1e-12);

            // Loads are ideal whatever the file says.
            CalKitStandardInfo ld = Std(4, VNAStdLoad);
            ld.Loss = 1.3;
            ld.Delay = 20.0;
            QCOMPARE(ld.IdealLoad(f), cplx(0.0, 0.0));

            // Flush thru: exactly matched and transmitting.
            cplx t[4];
            Std(5, VNAStdThru).IdealThru(f, t[0], t[1], t[2], t[3]);
            QCOMPARE(t[0], cplx(0.0, 0.0));
            QCOMPARE(t[1], cplx(1.0, 0.0));
            QCOMPARE(t[2], cplx(1.0, 0.0));
            QCOMPARE(t[3], cplx(0.0, 0.0));

            // The thru model keeps a single power of P in its transmission denominator: its S11
            // is the line's, its S21 is not when the line is mismatched to 50 ohm.
            CalKitStandardInfo th = Std(6, VNAStdThru);
            th.Z0 = 45.0;
            th.Delay = 82.157;
            th.Loss = 2.7;
            th.IdealThru(f, t[0], t[1], t[2], t[3]);
            testfx::LineParams(45.0, 82.157e-12, 2.7e9, f, line);
            QVERIFY(std::abs(t[0] - line[0]) < 1e-12);
            QVERIFY(std::abs(t[1] - line[1]) > 1e-6);
            QCOMPARE(t[1], t[2]);
            // Matched and lossless, both agree.
            th.Z0 = 50.0;
            th.Loss = 0.0;
            th.IdealThru(f, t[0], t[1], t[2], t[3]);
            QVERIFY(std::abs(t[1] - std::exp(cplx(0.0, -w * 82.157e-12))) < 1e-12);
        }

        // The tangent's own implementation against the library's, across its poles.
        for (double x : {0.0, 1e-6, 0.01, 0.3, 2.0, 25.0, -0.2})
        {
            for (double y : {0.0, 0.5, 1.5707, 3.0, 25.0, -7.0})
            {
                const cplx z(x, y);
                const cplx want = std::tanh(z);
                QVERIFY2(std::abs(Tanh(z) - want) <= 1e-13 * std::max(1.0, std::abs(want)),
                         qPrintable(QStringLiteral("%1 %2").arg(x).arg(y)));
            }
        }

        // An open without capacitance, and any open at 0 Hz, is not a number.
        const cplx bad = Std(7, VNAStdOpen).IdealOpen(1e9);
        QVERIFY(std::isnan(bad.real()) || std::isnan(bad.imag()));
        CalKitStandardInfo op0 = Std(8, VNAStdOpen);
        op0.C0 = 50.0;
        const cplx atZero = op0.IdealOpen(0.0);
        QVERIFY(std::isnan(atZero.real()) || std::isnan(atZero.imag()));

        // Data based standards read their data in every reflect role, and all four as a thru.
        CalKitStandardInfo d = Std(9, VNAStdData);
        d.DataFreqs = {1e9, 2e9};
        d.DataS11 = {cplx(0.5, 0.0), cplx(0.0, 0.5)};
        d.DataS21 = {cplx(0.9, 0.0), cplx(0.8, 0.0)};
        d.DataS12 = {cplx(0.7, 0.0), cplx(0.6, 0.0)};
        d.DataS22 = {cplx(0.1, 0.0), cplx(0.2, 0.0)};
        const cplx mid = InterpolateCplx(d.DataS11[0], d.DataS11[1], 0.5);
        QCOMPARE(d.IdealShort(1.5e9), mid);
        QCOMPARE(d.IdealOpen(1.5e9), mid);
        QCOMPARE(d.IdealLoad(1.5e9), mid);
        QCOMPARE(d.IdealShort(0.5e9), d.DataS11[0]);  // held outside the data
        cplx t[4];
        d.IdealThru(2e9, t[0], t[1], t[2], t[3]);
        QCOMPARE(t[1], d.DataS21[1]);
        QCOMPARE(t[2], d.DataS12[1]);
        QCOMPARE(t[3], d.DataS22[1]);
    }

    void deliveredKits()
    {
        const QStringList files =
            QDir(QStringLiteral(":/resources/calkits")).entryList(QDir::Files, QDir::Name);
        QStringList names;
        for (const QString& f : files)
        {
            QVERIFY(f.endsWith(QStringLiteral(".skt")));
            names << f.chopped(4);
        }
        QStringList want = kDeliveredKits;
        want.sort();
        names.sort();
        QCOMPARE(names, want);

        for (const QString& name : kDeliveredKits)
        {
            VNACalKit kit;
            QVERIFY2(LoadCalKit(QStringLiteral(":/resources/calkits/%1.skt").arg(name), kit),
                     qPrintable(name));
            if (name == QLatin1String("uCal"))
            {
                QVERIFY(kit.IsUCal);
                QVERIFY(kit.IsFactoryUCal);
                QCOMPARE(kit.Connector, ConnOther);
                QCOMPARE(kit.Standards.size(), 0);
                continue;
            }
            QVERIFY2(kit.CanPerformSOLT(), qPrintable(name));
            // Unique IDs, and every class entry names a standard whose type fits the class.
            QSet<int> ids;
            for (const CalKitStandardInfo& s : kit.Standards)
            {
                QVERIFY(!ids.contains(s.ID));
                ids.insert(s.ID);
                QVERIFY(s.FMin < s.FMax);
            }
            for (int c = 0; c < kCalClassCount; ++c)
            {
                for (int id : kit.Classes[c])
                {
                    bool found = false;
                    const CalKitStandardInfo s = kit.GetStandard(id, found);
                    QVERIFY2(found, qPrintable(name));
                    QCOMPARE(int(GetCalClassFromStandardType(s.Type)), c);
                }
            }
            // The reflect standards are distinct at every frequency, so SOL is solvable.
            for (double f : {40e6, 1e9, 10e9, 26.5e9, 40e9})
            {
                const cplx o = kit.GetStandardsWithClass(CalClassOpen)[0].IdealOpen(f);
                const cplx s = kit.GetStandardsWithClass(CalClassShort)[0].IdealShort(f);
                QVERIFY2(std::abs(o - s) > 0.5, qPrintable(name));
                QVERIFY(std::abs(std::abs(o) - 1.0) < 0.05);
            }
        }

        VNACalKit b;
        QVERIFY(LoadCalKit(QStringLiteral(":/resources/calkits/85052B.skt"), b));
        QCOMPARE(b.Connector, Conn3_5mm);
        QCOMPARE(b.Standards.size(), 11);
        QCOMPARE(b.GetStandards(VNAStdSlidingLoad).size(), 2);
        QCOMPARE(b.GetStandardIDsWithClass(CalClassLoad).size(), 6);
        for (const CalKitStandardInfo& s : b.GetStandardsWithClass(CalClassLoad))
        {
            if (s.IsSlidingLoad())
            {
                QCOMPARE(s.FMin, 2.99e9);
            }
            else
            {
                QVERIFY(s.FMax == 9.99e11 || s.FMax == 3.001e9);
            }
        }

        VNACalKit k;
        QVERIFY(LoadCalKit(QStringLiteral(":/resources/calkits/KX-02K30H-MSOTS3.skt"), k));
        QCOMPARE(k.Connector, Conn2_92mm);
        const CalKitStandardInfo open = k.GetStandardsWithClass(CalClassOpen)[0];
        QCOMPARE(open.Gender, VNAMale);
        QCOMPARE(open.Delay, 28.353);
        QCOMPARE(open.Loss, 2.4);
        QCOMPARE(open.C0, -10.6);
        QCOMPARE(open.C1, -1130.0);
        QCOMPARE(open.C2, 52.0);
        QCOMPARE(open.C3, -0.6);
        const CalKitStandardInfo thru = k.GetStandardsWithClass(CalClassThru)[0];
        QCOMPARE(thru.Delay, 82.157);
        QCOMPARE(thru.Loss, 2.7);

        // Some kit delivers a flush thru.
        VNACalKit d;
        QVERIFY(LoadCalKit(QStringLiteral(":/resources/calkits/85052D.skt"), d));
        const CalKitStandardInfo flush = d.GetStandardsWithClass(CalClassThru)[0];
        QCOMPARE(flush.Delay, 0.0);
        QCOMPARE(flush.Loss, 0.0);
    }
};

QTEST_GUILESS_MAIN(TestCalKit)
#include "test_calkit.moc"
