#include <QtTest>

#include "frequency.h"

class TestFrequency : public QObject
{
    Q_OBJECT
private slots:
    void textForms();
    void parsing();
    void parsing_data();
};

void TestFrequency::textForms()
{
    // Units switch at each power of a thousand; the sign is printed apart from the magnitude.
    QCOMPARE(Frequency(999.0).GetUnitString(), QString("Hz"));
    QCOMPARE(Frequency(1e3).GetUnitString(), QString("kHz"));
    QCOMPARE(Frequency(-2.5e6).GetUnitString(), QString("MHz"));
    QCOMPARE(Frequency(1e9).GetUnits(), Frequency::GHz);
    QCOMPARE(Frequency(2.4e9).GetFreqString(), QString("2.400000 GHz"));
    QCOMPARE(Frequency(-150e3).GetFreqString(), QString("-150.000000 kHz"));
    QCOMPARE(Frequency(0.0).GetFreqString(), QString("0.000000 Hz"));

    Frequency f(7.0);
    f.Set(3.0, Frequency::MHz);
    QCOMPARE(f.Get(), 3e6);
    f.Set(5.0, Frequency::Hertz(9));  // unknown unit leaves the value alone
    QCOMPARE(f.Get(), 3e6);
}

void TestFrequency::parsing_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<double>("previous");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<double>("expected");

    QTest::newRow("GHz with blanks") << " 2 . 4 GHz " << 0.0 << true << 2.4e9;
    QTest::newRow("short unit k") << "10k" << 0.0 << true << 10e3;
    QTest::newRow("mh") << "915mh" << 0.0 << true << 915e6;
    QTest::newRow("negative") << "-5MHz" << 0.0 << true << -5e6;
    QTest::newRow("plus") << "+5 hz" << 0.0 << true << 5.0;
    QTest::newRow("unit of the present value") << "3" << 2e9 << true << 3e9;
    QTest::newRow("unit of a small value") << "3" << 10.0 << true << 3.0;
    QTest::newRow("empty") << "   " << 1e9 << false << 1e9;
    QTest::newRow("sign only in front") << "5-MHz" << 1e9 << false << 1e9;
    QTest::newRow("unknown unit") << "5 THz" << 1e9 << false << 1e9;
    QTest::newRow("two points") << "1.2.3 GHz" << 1e9 << false << 1e9;
    QTest::newRow("no number") << "GHz" << 1e9 << false << 1e9;
}

void TestFrequency::parsing()
{
    QFETCH(QString, text);
    QFETCH(double, previous);
    QFETCH(bool, valid);
    QFETCH(double, expected);
    Frequency out(previous);
    QCOMPARE(IsValidFreqString(text, out), valid);
    QCOMPARE(out.Get(), expected);
}

QTEST_GUILESS_MAIN(TestFrequency)
#include "test_frequency.moc"
