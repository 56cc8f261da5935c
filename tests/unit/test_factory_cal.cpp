// The factory calibration block and the store's file: a calibration goes through both whole and
// at full precision, and damaged data are refused with a reason, never read.
#include <QCryptographicHash>
#include <QtTest>
#include <cstring>

#include "application_settings.h"
#include "cal_fixtures.h"
#include "cal_procedures.h"
#include "factory_cal.h"
#include "test_fixtures.h"

namespace
{
constexpr int kSerial = 40000123;

VNACalibration MeasuredSOLT(uint32_t seed)
{
    testfx::SyntheticCal setup;
    setup.type = SOLT;
    setup.thru = testfx::Line(50.0, 82.157e-12, 2.2e9);
    const testfx::ErrorModel model = testfx::ErrorModel::Random(seed);
    VNACalibration cal = testfx::MeasureCalibration(setup, testfx::ModelKit(), 
                                                    testfx::Stimulus(40e6, 20e9, 301), model,
                                                    model);
    cal.SetDate(QDateTime::fromMSecsSinceEpoch(1700000000123, Qt::UTC));
    cal.SetTemperature(44.5);
    return cal;
}

// Every measured vector equal element for element, bit for bit.
bool SameMeasurements(const VNACalibration& a, const VNACalibration& b)
{
    for (int t = 0; t < VNACalibration::kTermCount; ++t)
    {
        if (a.MeasuredStd(t) != b.MeasuredStd(t) || a.MeasuredStdHDR(t) != b.MeasuredStdHDR(t))
        {
            return false;
        }
    }
    return true;
}

// Little-endian fields of the header, byte by byte.
void Put(QByteArray& block, int at, quint64 value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
    {
        block[at + i] = char((value >> (8 * i)) & 0xff);
    }
}

// The checksum as the block format describes it, computed here on its own.
void Reseal(QByteArray& block)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(block.constData(), 32);
    hash.addData(block.constData() + FactoryCal::kHeaderSize,
                 block.size() - FactoryCal::kHeaderSize);
    block.replace(32, 32, hash.result());
}

// A block around an arbitrary payload, sealed correctly.
QByteArray BlockAround(const QByteArray& payload)
{
    QByteArray block(FactoryCal::kHeaderSize, '\0');
    block.replace(0, 7, "NVXFCAL");
    Put(block, 8, 1, 2);
    Put(block, 10, 64, 2);
    Put(block, 12, kSerial, 4);
    Put(block, 24, quint64(payload.size()), 4);
    block += payload;
    Reseal(block);
    return block;
}

bool Refused(const QByteArray& block)
{
    FactoryCal::BlockHeader header;
    QByteArray contents;
    QString error;
    return !FactoryCal::ParseBlock(block, header, contents, error) && !error.isEmpty();
}
}  // namespace

class TestFactoryCal : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        testfx::IsolateUserFiles();
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    }

    void blockCarriesTheCalibrationExactly()
    {
        const VNACalibration cal = MeasuredSOLT(7);
        QByteArray block;
        QString error;
        QVERIFY2(FactoryCal::BuildBlock(cal, kSerial, block, error), qPrintable(error));

        // Flash pages pad the block: what follows it is not read.
        FactoryCal::BlockHeader header;
        QByteArray contents;
        QVERIFY(FactoryCal::ParseBlock(block + QByteArray(4096, '\0'), header, contents, error));
        QCOMPARE(header.serial, kSerial);
        QCOMPARE(header.dateMs, qint64(1700000000123));
        QCOMPARE(int(header.payloadSize), block.size() - FactoryCal::kHeaderSize);

        VNACalibration back;
        QVERIFY2(FactoryCal::CalibrationFromText(contents, "nvx400_40000123.vnacal", back, error),
                 qPrintable(error));
        QVERIFY(SameMeasurements(cal, back));
        QCOMPARE(back.GetSerialNumber(), kSerial);
        QCOMPARE(back.GetName(), QStringLiteral("nvx400_40000123"));
        QVERIFY(back.GetStimulus() == cal.GetStimulus());
        QCOMPARE(back.GetCalKit().Standards.size(), cal.GetCalKit().Standards.size());
        QCOMPARE(back.CalibrationTemperature(), 44.5);

        // Without the full-precision copy the same text gives the file format's floats, which
        // is what the copy is there for.
        VNACalibration plain;
        bool ok = false;
        SettingsFromBytes(contents, "plain.vnacal",
                          [&](ApplicationSettings& s) { plain.Load(s, ok, error); });
        QVERIFY(ok);
        QVERIFY(!SameMeasurements(cal, plain));

        // The same terms come out of both records.
        VNACalibration a = cal, b = back;
        a.BuildCorrections(cal.GetStimulus());
        b.BuildCorrections(cal.GetStimulus());
        for (int t = 0; t < VNACalibration::kTermCount; ++t)
        {
            QCOMPARE(b.ErrorTerm(t), a.ErrorTerm(t));
        }
    }

    void damagedBlocksAreRefused()
    {
        QByteArray block;
        QString error;
        QVERIFY(FactoryCal::BuildBlock(MeasuredSOLT(3), kSerial, block, error));
        const int size = block.size();
        for (int length : {0, 7, 63, 64, 65, 68, size / 2, size - 1})
        {
            QVERIFY2(Refused(block.left(length)), qPrintable(QString::number(length)));
        }
        // Any byte of the header, and bytes across the payload, changed.
        for (int at = 0; at < size; at += at < FactoryCal::kHeaderSize ? 1 : size / 97)
        {
            QByteArray damaged = block;
            damaged[at] = char(damaged[at] ^ 0x5a);
            QVERIFY2(Refused(damaged), qPrintable(QString::number(at)));
        }
        // A later format, correctly sealed, is refused for its version, not its checksum.
        QByteArray later = block;
        Put(later, 8, 2, 2);
        Reseal(later);
        FactoryCal::BlockHeader header;
        QByteArray contents;
        QVERIFY(!FactoryCal::ParseBlock(later, header, contents, error));
        QVERIFY2(error.contains(QLatin1String("version")), qPrintable(error));
        // A size no calibration has is refused before anything is allocated for it.
        QByteArray huge = block;
        Put(huge, 24, 0xffffffffu, 4);
        QVERIFY(Refused(huge));
        // Sealed payloads that are no compressed calibration: refused by the block or, when they
        // decompress, by the calibration reader.
        QVERIFY(Refused(BlockAround(QByteArray("\x00\x00\x10\x00garbage-not-zlib", 20))));
        QVERIFY(Refused(BlockAround(QByteArray("\x7f\xff\xff\xff", 4) + QByteArray(64, 'x'))));
        for (const QByteArray& text :
             {QByteArray("[Calibration]\nVersion=2\n"), QByteArray("[Calibration]\nCalType=1\n"),
              QByteArray("not an ini file at all")})
        {
            QVERIFY(FactoryCal::ParseBlock(BlockAround(qCompress(text)), header, contents, error));
            VNACalibration cal;
            QVERIFY(!FactoryCal::CalibrationFromText(contents, "x.vnacal", cal, error));
            QVERIFY(!error.isEmpty());
        }
    }

    void onlyTwoPortCalibrationsFitTheStore()
    {
        QByteArray block;
        QString error;
        testfx::SyntheticCal setup;
        setup.type = SOL;
        const testfx::ErrorModel model = testfx::ErrorModel::Random(5);
        const VNACalibration sol = testfx::MeasureCalibration(
            setup, testfx::ModelKit(), testfx::Stimulus(1e9, 2e9, 11), model, model);
        QVERIFY(!FactoryCal::BuildBlock(sol, kSerial, block, error));
        QVERIFY(!FactoryCal::BuildBlock(VNACalibration(), kSerial, block, error));
        VNACalibration shortVector = MeasuredSOLT(5);
        shortVector.MeasuredStdHDR(StdS21Thru).removeLast();
        QVERIFY(!FactoryCal::BuildBlock(shortVector, kSerial, block, error));
        // Isolation may be left out.
        VNACalibration noIsolation = MeasuredSOLT(5);
        noIsolation.MeasuredStd(StdS21Iso).clear();
        noIsolation.MeasuredStd(StdS12Iso).clear();
        noIsolation.MeasuredStdHDR(StdS21Iso).clear();
        noIsolation.MeasuredStdHDR(StdS12Iso).clear();
        QVERIFY2(FactoryCal::BuildBlock(noIsolation, kSerial, block, error), qPrintable(error));
    }

    void fileKeepsFullPrecisionAndItsFlashDate()
    {
        const QString path = GetFactoryCalFileName(kSerial);
        const VNACalibration cal = MeasuredSOLT(11);
        QByteArray text;
        QString error;
        QVERIFY(FactoryCal::CalibrationToText(cal, text, error));
        QVERIFY(FactoryCal::SaveFile(path, text, 1234567890ul, error));
        VNACalibration back;
        unsigned long date = 0;
        QVERIFY2(FactoryCal::LoadFile(path, back, date, error), qPrintable(error));
        QCOMPARE(date, 1234567890ul);
        QVERIFY(SameMeasurements(cal, back));

        // Saved over by the ordinary calibration code: the full-precision copy of the other
        // calibration no longer agrees and the file's own values are read.
        const VNACalibration other = MeasuredSOLT(12);
        {
            ApplicationSettings s(path);
            other.Save(s);
        }
        VNACalibration plain;
        bool ok = false;
        {
            ApplicationSettings s(path);
            plain.Load(s, ok, error);
        }
        QVERIFY(FactoryCal::LoadFile(path, back, date, error));
        QVERIFY(SameMeasurements(back, plain));
        QVERIFY(!SameMeasurements(back, cal));
    }

    // Verification compares on the measured grid inside the reference's band and names the
    // worst point; a one-port reference is compared on S11 only.
    void verificationFindsTheWorstPoint()
    {
        const QVector<double> f = testfx::Stimulus(1e9, 3e9, 21).GetFreqVector();
        const QVector<double> ref = testfx::Stimulus(1.5e9, 4e9, 6).GetFreqVector();
        SParameters reference = testfx::SmoothSParams(ref);
        SParameters measured;
        measured.Resize(f.size());
        for (int k = 0; k < 4; ++k)
        {
            for (int i = 0; i < f.size(); ++i)
            {
                measured.GetSParam(VNATraceMeas(k))[i] =
                    InterpolateArray(ref, reference.GetSParam(VNATraceMeas(k)), f[i]);
            }
        }
        measured.S21[3] += 0.5;                    // below the reference's band: not compared
        measured.S21[12] += std::polar(0.02, 1.0);  // 2.2 GHz
        measured.S12[15] += 0.004;
        const VerificationReport r = VerifyMeasurement(f, measured, ref, reference, false, 0.01);
        QCOMPARE(r.params[S21].points, 16);  // 1.5 to 3 GHz
        QVERIFY(std::abs(r.params[S21].worst - 0.02) < 1e-12);
        QCOMPARE(r.params[S21].worstFreq, f[12]);
        QVERIFY(!r.params[S21].pass && r.params[S12].pass && r.params[S11].pass);
        QVERIFY(!r.Passed());
        QVERIFY(r.Text().contains(QLatin1String("S21: FAIL")));
        const VerificationReport s1p = VerifyMeasurement(f, measured, ref, reference, true, 0.01);
        QVERIFY(s1p.params[S11].compared && !s1p.params[S21].compared && s1p.Passed());
    }
};

QTEST_GUILESS_MAIN(TestFactoryCal)
#include "test_factory_cal.moc"
