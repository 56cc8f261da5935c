#include <QDirIterator>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <cstring>

#include "test_fixtures.h"
#include "touchstone.h"
#include "vna_stimulus.h"

class TestTouchstone : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QVERIFY(dir.isValid()); }
    void optionLine();
    void failureMessages();
    void spacingRule();
    void suffixes();
    void valueFormats();
    void storeAndReload();
    void badInputNeverCrashes();
    void demoResourceLoads();
    void numberPathMatchesQString();
    void sweepsItCannotHoldAreRefused();

private:
    bool Load(const QByteArray& text, const QString& name, QString& error,
              QVector<double>* freqsOut = nullptr, SParameters* dataOut = nullptr)
    {
        const QString path = testfx::WriteFile(dir, name, text);
        QVector<double> f;
        SParameters d;
        const bool ok = LoadS2PFile(path, false, f, d, error);
        if (freqsOut)
        {
            *freqsOut = f;
        }
        if (dataOut)
        {
            *dataOut = d;
        }
        return ok;
    }
    QTemporaryDir dir;
};

void TestTouchstone::optionLine()
{
    QString error;
    QVector<double> f;
    SParameters d;
    // Reference resistance is accepted and dropped; the unit applies to the frequency column.
    QVERIFY(Load("! comment\n[Version] 2.0\n# MHz S RI R 75\n1 0.5 0.5\n2 0 1\n", "a.s1p", error,
                 &f, &d));
    QCOMPARE(f, (QVector<double>{1e6, 2e6}));
    QCOMPARE(d.S11[0], std::complex<double>(0.5, 0.5));
    QCOMPARE(d.S21[1], std::complex<double>(0.0, 0.0));

    // Only the first option line counts, even when a later one is malformed.
    QVERIFY(Load("# Hz S RI R 50\n# GHz Z garbage\n1 1 0\n", "b.s1p", error, &f));
    QCOMPARE(f.first(), 1.0);

    // Without an option line: GHz and MA.
    QVERIFY(Load("1.5 2 90\n", "c.s1p", error, &f, &d));
    QCOMPARE(f.first(), 1.5e9);
    QVERIFY(std::abs(d.S11[0] - std::complex<double>(0.0, 2.0)) < 1e-12);

    // Numbers in every form the reader takes: signs, exponents, bare fractions.
    QVERIFY(
        Load("# Hz S RI R 50\n+1 +0.5 -2e-1\n2 .25 1E+1\n3 5. -.5e0\n", "e.s1p", error, &f, &d));
    QCOMPARE(f, (QVector<double>{1.0, 2.0, 3.0}));
    QCOMPARE(d.S11[0], std::complex<double>(0.5, -0.2));
    QCOMPARE(d.S11[1], std::complex<double>(0.25, 10.0));
    QCOMPARE(d.S11[2], std::complex<double>(5.0, -0.5));

    // The hash glued to the unit loses the unit: the default GHz stays.
    QVERIFY(Load("#MHz S RI R 50\n1 1 0\n", "d.s1p", error, &f));
    QCOMPARE(f.first(), 1e9);
}

void TestTouchstone::failureMessages()
{
    struct Case
    {
        QByteArray text;
        const char* name;
        const char* message;
    };
    const Case cases[] = {
        {"! nothing but comments\n\n", "a.s1p", "Unexpected end of file before data"},
        {"", "b.s2p", "Unexpected end of file before data"},
        {"# GHz Z MA R 50\n1 1 0\n", "c.s1p", "Unsupported network parameter, must be S."},
        {"# GHz S MA r 50\n1 1 0\n", "d.s1p", "Invalid value on the option line."},
        {"# GHz S MA R\n1 1 0\n", "e.s1p", "Expected resistance parameter, none found"},
        {"# GHz S MA R fifty\n1 1 0\n", "f.s1p", "Unable to parse reference resistance"},
        {"# GHz S MA R 50\n1 1 0 0\n", "g.s1p", "Invalid number of points on line"},
        {"# GHz S MA R 50\n1 1 0\n! a late comment\n", "h.s1p", "Invalid number of points on line"},
        {"# GHz S MA R 50\n1 1 0\n   \n", "i.s1p", "Invalid number of points on line"},
        {"# GHz S MA R 50\n1 1\t0\n", "j.s1p", "Invalid number of points on line"},
        {"# GHz S MA R 50\n1 x 0\n", "k.s1p", "Unable to parse data value"},
        {"# GHz S MA R 50\n1 1 0\n2 1 0\n4 1 0\n", "l.s1p",
         "Cannot load file, only linear frequency spacing is supported."},
    };
    for (const Case& c : cases)
    {
        QString error;
        QVERIFY2(!Load(c.text, c.name, error), c.name);
        QCOMPARE(error, QString(c.message));
    }
    QString error;
    QVector<double> f;
    SParameters d;
    QVERIFY(!LoadS2PFile(dir.filePath("missing.s2p"), false, f, d, error));
    QCOMPARE(error, QString("Unable to open file."));

    // What was read before the failure stays in the output vectors.
    QVERIFY(!Load("# Hz S RI R 50\n1 1 0\n2 1 0\nbad\n", "m.s1p", error, &f));
    QCOMPARE(f.size(), 2);
}

void TestTouchstone::spacingRule()
{
    // The tolerance is absolute and strictly greater than 1 MHz.
    QVERIFY(IsLinearSpacing({1e9, 5e9}));
    QVERIFY(IsLinearSpacing({0, 10e6, 21e6}));
    QVERIFY(!IsLinearSpacing({0, 10e6, 21.000001e6}));
    QString error;
    QVector<double> f;
    SParameters d;
    const QString path =
        testfx::WriteFile(dir, "nonlinear.s1p", "# Hz S RI R 50\n1 1 0\n2 1 0\n4e7 1 0\n");
    QVERIFY(LoadS2PFile(path, true, f, d, error));  // allowed when asked for
}

void TestTouchstone::suffixes()
{
    QVERIFY(IsS1PFile("x.S1P"));
    QVERIFY(!IsS1PFile("x.s2p"));
    QVERIFY(!IsS1PFile("x.s3p"));
    QString error;
    // A three-port file is read as a two-port and fails on its token count.
    QVERIFY(!Load("# GHz S RI R 50\n1 1 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n", "x.s3p", error));
    QCOMPARE(error, QString("Invalid number of points on line"));
    bool isS1P = false;
    QVector<double> f;
    SParameters d;
    const QString path = testfx::WriteFile(dir, "upper.S1P", "1 1 0\n");
    QVERIFY(LoadS2PFile(path, false, f, d, isS1P, error));
    QVERIFY(isS1P);
}

void TestTouchstone::valueFormats()
{
    std::complex<double> v;
    QVERIFY(ParseVal(SnPFormatDB, "-6.0206", "180", v));
    QVERIFY(std::abs(v - std::complex<double>(-0.5, 0.0)) < 1e-5);
    QVERIFY(ParseVal(SnPFormatMA, "2", "-90", v));
    QVERIFY(std::abs(v - std::complex<double>(0.0, -2.0)) < 1e-12);
    QVERIFY(ParseVal(SnPFormatRI, "1e-3", "-4", v));
    QCOMPARE(v, std::complex<double>(1e-3, -4.0));
    QVERIFY(!ParseVal(SnPFormatRI, "1", "j", v));
    QCOMPARE(toMA(std::complex<double>(0.0, 1.0)), QString("1.000000 90.000000"));
}

void TestTouchstone::storeAndReload()
{
    const VNAStimulus stim = testfx::Stimulus(1e9, 3e9, 201);
    const SParameters data = testfx::SmoothSParams(stim.GetFreqVector());
    QString error;
    const QString two = dir.filePath("out.s2p");
    QVERIFY(StoreSNPFile(two, stim, data, false, 0, error));
    QVector<double> f;
    SParameters back;
    QVERIFY(LoadS2PFile(two, false, f, back, error));
    QCOMPARE(f.size(), 201);
    QVERIFY(std::fabs(f.last() - 3e9) < 1.0);
    // Six decimals of magnitude and degree bound the round-trip error.
    QVERIFY(testfx::MaxDifference(data, back) < 2e-5);

    // One-port file of port 2 carries S22.
    const QString one = dir.filePath("out.s1p");
    QVERIFY(StoreSNPFile(one, stim, data, true, 1, error));
    QVector<double> f1;
    SParameters back1;
    QVERIFY(LoadS2PFile(one, false, f1, back1, error));
    QVERIFY(std::abs(back1.S11[7] - data.S22[7]) < 2e-5);

    SParameters broken = data;
    broken.S12.removeLast();
    QVERIFY(!StoreSNPFile(two, stim, broken, false, 0, error));
    QCOMPARE(error, QString("Invalid S-Parameter data size."));
    QVERIFY(!StoreSNPFile(dir.filePath("no/such/dir/x.s2p"), stim, data, false, 0, error));
    QCOMPARE(error, QString("Unable to open selected file."));

    // A failed write leaves the earlier good file intact.
    QVector<double> again;
    SParameters againData;
    QVERIFY(LoadS2PFile(two, false, again, againData, error));
    QCOMPARE(again.size(), 201);
}

void TestTouchstone::badInputNeverCrashes()
{
    QString error;
    QRandomGenerator rng(1234);
    QByteArray random(4096, '\0');
    for (char& c : random)
    {
        c = char(rng.bounded(256));
    }
    QVERIFY(!Load(random, "random.s2p", error));
    QVERIFY(!error.isEmpty());

    // A binary file that starts like a comment, then holds NULs and control bytes.
    QByteArray binary("!header\n");
    binary.append(QByteArray(1000, '\0'));
    binary.append("\x01\x02\xff\xfe\n");
    QVERIFY(!Load(binary, "binary.s2p", error));
    QCOMPARE(error, QString("Invalid number of points on line"));

    // One line of a million tokens.
    QByteArray huge;
    huge.reserve(2'000'000);
    for (int i = 0; i < 1'000'000; ++i)
    {
        huge.append("1 ");
    }
    QVERIFY(!Load(huge, "huge.s2p", error));
    QCOMPARE(error, QString("Invalid number of points on line"));

    // 64001 points with one broken line in the middle.
    QByteArray big("# Hz S RI R 50\n");
    for (int i = 0; i < 64001; ++i)
    {
        big.append(QByteArray::number(1e6 + i * 1e5, 'f', 0));
        big.append(i == 32000 ? " 1 0 1 0 1 0 1\n" : " 1 0 1 0 1 0 1 0\n");
    }
    QVector<double> f;
    QVERIFY(!Load(big, "big.s2p", error, &f));
    QCOMPARE(error, QString("Invalid number of points on line"));
    QCOMPARE(f.size(), 32000);
}

void TestTouchstone::demoResourceLoads()
{
    Q_INIT_RESOURCE(resources);
    QVector<double> f;
    SParameters d;
    QString error;
    QVERIFY2(LoadS2PFile(":/resources/demo_bandpass.s2p", false, f, d, error), qPrintable(error));
    QVERIFY(f.first() <= 40e6);
    QVERIFY(f.last() >= 40e9);
    QVERIFY(d.ValidSize());
    // A realistic band-pass part: reciprocal, passive, low loss in band, deep rejection outside.
    double bestS21 = -1e9;
    double bestFreq = 0.0;
    for (int i = 0; i < f.size(); ++i)
    {
        QVERIFY(std::abs(d.S21[i] - d.S12[i]) < 1e-9);
        const double p1 = std::norm(d.S11[i]) + std::norm(d.S21[i]);
        const double p2 = std::norm(d.S22[i]) + std::norm(d.S12[i]);
        QVERIFY(p1 <= 1.0 + 1e-6 && p2 <= 1.0 + 1e-6);
        const double s21 = 20 * std::log10(std::abs(d.S21[i]));
        if (s21 > bestS21)
        {
            bestS21 = s21;
            bestFreq = f[i];
        }
        if (std::fabs(f[i] - 2.7e9) < 60e6)
        {
            QVERIFY(20 * std::log10(std::abs(d.S11[i])) < -10.0);
        }
        if (f[i] < 1.5e9 || f[i] > 5e9)
        {
            QVERIFY(s21 < -40.0);
        }
    }
    QVERIFY(std::fabs(bestFreq - 2.7e9) < 100e6);
    QVERIFY(bestS21 < -1.0 && bestS21 > -6.0);
}

void TestTouchstone::numberPathMatchesQString()
{
    // Every token of the fuzz corpus, forms of infinity and not-a-number, and random strings
    // over the characters numbers are made of: the reader accepts a token exactly when
    // QString::toDouble does, with the same value.
    QList<QByteArray> tokens = {"Infinity", "INFINITY", "-Infinity", "nan(1)", "inf",    "-inf",
                                "+inf",     "NaN",      "-nan",      "1e400",  "-1e400", "1e-400",
                                "4.9e-324", "+.5",      "5.",        "-.5",    "1e",     "1e+",
                                "00012",    "1,5",      "0x10",      "1d5"};
    QDirIterator files(QStringLiteral(VNA_SOURCE_DIR "/fuzz/corpus/touchstone"), QDir::Files);
    while (files.hasNext())
    {
        QFile f(files.next());
        QVERIFY(f.open(QIODevice::ReadOnly));
        for (const QByteArray& t : f.readAll().simplified().split(' '))
        {
            tokens.append(t);
        }
    }
    QVERIFY(tokens.size() > 100);
    QRandomGenerator rng(99);
    const char alphabet[] = "0123456789.eE+-infatyINFATY()x";
    for (int i = 0; i < 20000; ++i)
    {
        QByteArray t;
        for (int n = 1 + int(rng.bounded(10)); n > 0; --n)
        {
            t.append(alphabet[rng.bounded(int(sizeof(alphabet)) - 1)]);
        }
        tokens.append(t);
    }
    int accepted = 0;
    for (const QByteArray& t : tokens)
    {
        bool expectOk = false;
        const double expected = QString::fromLatin1(t).toDouble(&expectOk);
        double got = -1.0;
        const bool ok = ParseTouchstoneNumber(t.constData(), t.size(), got);
        QVERIFY2(ok == expectOk, t.constData());
        // A refused token reads as QString leaves it too (0, or an infinity out of range).
        accepted += ok ? 1 : 0;
        QVERIFY2(
            std::isnan(expected) ? std::isnan(got) : std::memcmp(&got, &expected, sizeof got) == 0,
            t.constData());
    }
    QVERIFY(accepted > 500);
}

void TestTouchstone::sweepsItCannotHoldAreRefused()
{
    // A channel's stimulus is a rising list of finite frequencies with finite values: a file
    // that breaks this is refused, and the message names the line that does.
    struct Case
    {
        QByteArray body;  // data lines after a comment and the option line
        int badLine;
        bool order;  // false: a value that is not finite
    };
    const Case cases[] = {
        {"1 1 0\n2 1 0\n2 1 0\n", 5, true},           // a repeated frequency
        {"1 1 0\n3 1 0\n2 1 0\n", 5, true},           // one that falls back
        {"1 1 0\nnan 1 0\n3 1 0\n", 4, false},        // accepted by the number reader
        {"1 1 0\ninf 1 0\n", 4, false},               // the frequency
        {"1 1 0\n2 -inf 0\n", 4, false},              // a value
        {"1 1 0\n2 1 nan\n", 4, false},               // an angle
        {"1 1 0\n2 1 0\n\n3 1 0\nx 1 0\n", 7, true},  // a bad frequency reads as 0
    };
    for (const Case& c : cases)
    {
        for (const char* format : {"RI", "MA"})
        {
            QString error;
            const QByteArray text = "! rising?\n# Hz S " + QByteArray(format) + " R 50\n" + c.body;
            QVERIFY2(!Load(text, "bad.s1p", error), c.body.constData());
            const QString line = QStringLiteral("Line %1").arg(c.badLine);
            QVERIFY2(error.startsWith(line), qPrintable(error));
            QCOMPARE(error.contains("increase"), c.order);
            QCOMPARE(error.contains("finite"), !c.order);
        }
    }
    // A decibel value past what a double holds, in a two-port file.
    QString error;
    QVERIFY(!Load("# Hz S DB R 50\n1 0 0 0 0 0 0 0 0\n2 0 0 7000 0 0 0 0 0\n", "db.s2p", error));
    QCOMPARE(error, QStringLiteral("Line 3 holds a value that is not a finite number."));
    // Rising frequencies with finite values still load, however uneven.
    QVERIFY(Load("# Hz S RI R 50\n1 1 0\n1.0000001 -1e300 1e-300\n", "ok.s1p", error));
}

QTEST_GUILESS_MAIN(TestTouchstone)
#include "test_touchstone.moc"
