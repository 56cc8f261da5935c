#include <QTemporaryDir>
#include <QtTest>
#include <cmath>

#include "application_settings.h"
#include "network_parameters.h"
#include "test_fixtures.h"

using cplx = std::complex<double>;

class TestRecords : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void rawResizeAndClear();
    void partialCopy();
    void scaleAddAndReceivers();
    void interpolation();
    void settingsEncodings();
    void recordRoundTrip();
    void fileNames();
};

static SParametersRaw Filled(int n, double base)
{
    SParametersRaw r;
    r.Resize(n);
    for (int v = 0; v < SParametersRaw::kVectorCount; ++v)
    {
        for (int i = 0; i < n; ++i)
        {
            r.Vector(v)[i] = cplx(base + v, i);
        }
    }
    return r;
}

void TestRecords::rawResizeAndClear()
{
    SParametersRaw r = Filled(5, 1.0);
    r.Resize(5);  // same length keeps the data
    QCOMPARE(r.b2Rev[4], cplx(16.0, 4.0));
    r.Resize(6);  // any other length zeroes every vector
    for (int v = 0; v < SParametersRaw::kVectorCount; ++v)
    {
        QCOMPARE(r.Vector(v).size(), 6);
        QCOMPARE(r.Vector(v)[0], cplx(0.0, 0.0));
    }
    r.positionStart = 2;
    r.positionEnd = 4;
    r.ClearPositionOnly();
    QCOMPARE(r.positionEnd, 0);
    QCOMPARE(r.S11.size(), 6);
    r.Clear();
    QCOMPARE(r.Size(), 0);
    QVERIFY(r.ValidSize());
    r.S22.append(cplx());
    QVERIFY(!r.ValidSize());
}

void TestRecords::partialCopy()
{
    SParametersRaw dst = Filled(10, 100.0);
    SParametersRaw src = Filled(10, 1.0);
    src.positionStart = 3;
    src.positionEnd = 4;
    dst.PartialCopy(src);
    QCOMPARE(dst.positionStart, 3);
    QCOMPARE(dst.positionEnd, 4);
    for (int v = 0; v < SParametersRaw::kVectorCount; ++v)
    {
        QCOMPARE(dst.Vector(v)[3], src.Vector(v)[3]);      // copied from index 0 ...
        QCOMPARE(dst.Vector(v)[4], cplx(100.0 + v, 4.0));  // ... up to the end only
    }
    // Different lengths: nothing changes, not even the positions.
    SParametersRaw shorter = Filled(9, 1.0);
    shorter.positionEnd = 9;
    dst.PartialCopy(shorter);
    QCOMPARE(dst.positionEnd, 4);
    QCOMPARE(dst.S11[5], cplx(100.0, 5.0));

    // From a point on: what lies before it is left as it is.
    src.positionEnd = 7;
    const SParametersRaw before = Filled(10, 100.0);
    SParametersRaw part = before;
    part.PartialCopy(src, 4);
    QCOMPARE(part.positionEnd, 7);
    for (int v = 0; v < SParametersRaw::kVectorCount; ++v)
    {
        for (int i = 0; i < 10; ++i)
        {
            QCOMPARE(part.Vector(v)[i], (i >= 4 && i < 7 ? src : before).Vector(v)[i]);
        }
    }
}

void TestRecords::scaleAddAndReceivers()
{
    SParametersRaw a = Filled(3, 1.0);
    const SParametersRaw b = Filled(3, 2.0);
    a.Add(b);
    a.Scale(0.5);
    QCOMPARE(a.S11[2], cplx((1.0 + 2.0) / 2.0, 2.0));
    QCOMPARE(a.S22HDR[1], cplx((8.0 + 9.0) / 2.0, 1.0));
    QCOMPARE(a.a1Fwd[1], cplx(9.0, 1.0));  // receivers are neither added nor scaled

    SParametersRaw c = Filled(3, 0.0);
    c.S21.resize(2);  // a mismatched vector is skipped silently
    c.Add(b);
    QCOMPARE(c.S21[0], cplx(1.0, 0.0));
    QCOMPARE(c.S11[0], cplx(2.0, 0.0));

    bool found = false;
    CplxVector* rx = a.GetReceiver("b2rev", found);
    QVERIFY(found);
    QCOMPARE(rx, &a.b2Rev);
    QVERIFY(a.GetReceiver("b2Rev", found) == nullptr);
    QVERIFY(!found);

    const SParameters s = a.ToSParam();
    QCOMPARE(s.GetSParam(S12), a.S12);
    QCOMPARE(s.GetSParam(VNATraceMeas(9)), a.S11);
}

void TestRecords::interpolation()
{
    // Polar interpolation goes the short way round the circle.
    const cplx a = std::polar(1.0, 3.0), b = std::polar(3.0, -3.0);
    const cplx mid = InterpolateCplx(a, b, 0.5);
    QVERIFY(std::fabs(std::abs(mid) - 2.0) < 1e-12);
    QVERIFY(std::fabs(std::fabs(std::arg(mid)) - M_PI) < 1e-9);

    const QVector<double> x{1.0, 2.0, 4.0};
    const QVector<double> y{10.0, 20.0, 40.0};
    QCOMPARE(InterpolateArray(x, y, 0.0), 10.0);
    QCOMPARE(InterpolateArray(x, y, 9.0), 40.0);
    QCOMPARE(InterpolateArray(x, y, 3.0), 30.0);
    QCOMPARE(InterpolateArray(x, QVector<double>{1.0}, 3.0), 0.0);
    // The real form narrows the fraction to float.
    const double q = 1.0 + 1.0 / 3.0;
    QCOMPARE(InterpolateArray(x, y, q),
             10.0 * (1.0 - double(float(1.0 / 3.0))) + 20.0 * double(float(1.0 / 3.0)));

    const CplxVector yc{cplx(1, 0), cplx(0, 1), cplx(-1, 0)};
    QCOMPARE(InterpolateArray(x, yc, -5.0), yc[0]);
    QVERIFY(std::abs(InterpolateArray(x, yc, 1.5) - std::polar(1.0, M_PI / 4)) < 1e-12);

    SParameters s = testfx::SmoothSParams(QVector<double>{1e9, 2e9, 3e9});
    const QVector<double> same{5e9, 6e9, 7e9};
    QCOMPARE(InterpolateSParams(s, x, same).S21, s.S21);  // same size: no resampling at all
    const SParameters r = InterpolateSParams(s, {1e9, 2e9, 3e9}, {1e9, 1.5e9, 2e9, 3e9});
    QCOMPARE(r.Size(), 4);
    QCOMPARE(r.S22[3], s.S22[2]);
    QCOMPARE(r.S11[1], InterpolateCplx(s.S11[0], s.S11[1], 0.5));
}

void TestRecords::settingsEncodings()
{
    QTemporaryDir dir;
    ApplicationSettings s(dir.filePath("enc.ini"));
    s.Save("c", CplxVector{cplx(1e-50, 0.1), cplx(-3.0, 2.5)});
    s.Save("d", QVector<double>{1e-300, -2.0});
    s.setValue("text", QStringLiteral("abc"));
    s.setValue("twelve", QByteArray(12, '\0'));
    s.Save("empty", CplxVector{});
    s.SaveList("list", QList<int>{4, -1, 7});
    s.Sync();

    ApplicationSettings r(dir.filePath("enc.ini"));
    CplxVector c;
    r.Load("c", c);
    QCOMPARE(c.size(), 2);
    QCOMPARE(c[0].real(), 0.0);  // below float's range
    QCOMPARE(c[0].imag(), double(0.1f));
    QCOMPARE(c[1], cplx(-3.0, 2.5));
    QVector<double> d;
    r.Load("d", d);
    QCOMPARE(d, (QVector<double>{1e-300, -2.0}));  // doubles keep full precision

    CplxVector twelve;
    r.Load("twelve", twelve);
    QCOMPARE(twelve.size(), 1);
    CplxVector kept{cplx(5, 5)};
    r.Load("empty", kept);
    QCOMPARE(kept.size(), 1);

    int n = 42;
    r.Load("text", n);
    QCOMPARE(n, 0);  // present but not a number
    n = 42;
    r.Load("absent", n);
    QCOMPARE(n, 42);
    QList<int> list;
    r.LoadList("list", list);
    QCOMPARE(list, (QList<int>{4, -1, 7}));
    QCOMPARE(r.FileName(), QString("enc.ini"));
    QCOMPARE(r.BaseName(), QString("enc"));
}

void TestRecords::recordRoundTrip()
{
    QTemporaryDir dir;
    SParametersRaw raw = Filled(4, 0.25);
    SParameters sp = testfx::SmoothSParams({1e9, 2e9});
    {
        ApplicationSettings s(dir.filePath("rec.ini"));
        raw.Save(s, "Raw");
        sp.Save(s, "SP");
    }
    ApplicationSettings s(dir.filePath("rec.ini"));
    SParametersRaw raw2;
    SParameters sp2;
    raw2.Load(s, "Raw");
    sp2.Load(s, "SP");
    for (int v = 0; v < SParametersRaw::kVectorCount; ++v)
    {
        QCOMPARE(raw2.Vector(v), raw.Vector(v));  // quarter values are exact in float
    }
    QVERIFY(testfx::MaxDifference(sp, sp2) < 1e-7);
}

void TestRecords::fileNames()
{
    QVERIFY(IsValidFileName(""));
    QVERIFY(IsValidFileName("cal set (2)_a-b"));
    QVERIFY(IsValidFileName(QString::fromUtf8("Kalibrierung \u00e4")));
    QVERIFY(!IsValidFileName(" lead"));
    QVERIFY(!IsValidFileName("trail "));
    QVERIFY(!IsValidFileName("a/b"));
    QVERIFY(!IsValidFileName("a.b"));
    QVERIFY(GetFactoryCalFileName(123).endsWith("cal_files/nvx400_     123.vnacal"));
    QVERIFY(GetPreferencesIniPath().endsWith("/Kestrix/vna/Preferences.ini"));
}

QTEST_GUILESS_MAIN(TestRecords)
#include "test_records.moc"
