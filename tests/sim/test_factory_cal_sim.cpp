// The factory calibration store end to end on the instrument simulator: at connection the
// flash's calibration reaches the store's file and every channel, and corrects the sweep to the
// device the scene shows; a newer flash replaces the file; damaged or missing data give the
// operator's message and leave the channels uncorrected. Then kit characterisation and system
// verification on the corrected channel.
#include <QFile>
#include <QMutexLocker>
#include <QSignalSpy>
#include <QtTest>
#include <memory>

#include "application_settings.h"
#include "cal_procedures.h"
#include "factory_cal.h"
#include "line_client.h"
#include "mainwindow.h"
#include "sim_factory.h"
#include "status_bar.h"
#include "test_fixtures.h"
#include "touchstone.h"
#include "vna_calkit_list.h"
#include "vna_lib.h"
#include "vna_sim.h"

namespace
{
constexpr int kSerial = 40000123;
constexpr double kExact = 1e-9;
const char* const kDut = VNA_SOURCE_DIR "/resources/demo_bandpass.s2p";

bool Sim(const QString& line)
{
    return vnaSimCommand(line.toUtf8().constData(), nullptr, 0) == 0;
}

// What the scene shows at the frequencies.
SParameters SceneAt(const QVector<double>& f)
{
    SParameters s;
    s.Resize(f.size());
    for (int i = 0; i < f.size(); ++i)
    {
        double v[8];
        vnaSimSceneS(f[i], v);
        for (int k = 0; k < 4; ++k)
        {
            s.GetSParam(VNATraceMeas(k))[i] = {v[2 * k], v[2 * k + 1]};
        }
    }
    return s;
}

// The largest |a - b| over one parameter.
double Worst(const CplxVector& a, const CplxVector& b)
{
    double worst = a.size() == b.size() ? 0.0 : INFINITY;
    for (int i = 0; i < a.size() && i < b.size(); ++i)
    {
        worst = std::max(worst, std::abs(a[i] - b[i]));
    }
    return worst;
}

std::vector<unsigned char> Vector(const QByteArray& b)
{
    return std::vector<unsigned char>(b.cbegin(), b.cend());
}
}  // namespace

class TestFactoryCalSim : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void shippedCalibrationIsTheModels();
    void connectionFillsFileAndChannels();
    void newerFlashReplacesTheFile();
    void damagedOrMissingDataLeaveChannelsUncorrected();
    void preferenceAndItsStatusTexts();
    void characterizedStandardsJoinTheKit();
    void verificationPassesAndFailsPerParameter();

private:
    // One whole sweep of the channel taken from now, as the chain corrected it.
    SParameters Corrected(int channel, SParametersRaw* raw = nullptr);
    void Reconnect();
    QString CalLabel() const { return window->StatusBar()->CalibrationText(); }
    // A channel's factory calibration, copied under the lock the loop swaps it in under.
    VNACalibration ChannelFactoryCal(int channel) const
    {
        QMutexLocker lock(&window->Model().traceLock);
        return window->Model().channels[channel]->factoryCalibration;
    }

    VnaLib lib;
    std::unique_ptr<MainWindow> window;
    QTemporaryDir dir;
    QString path;
};

void TestFactoryCalSim::initTestCase()
{
    testfx::IsolateUserFiles();
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    Preferences::Get().scpiPort = 0;
    Preferences::Get().scpiLockoutDialogEnabled = false;
    Hidden::Set(true);
    vnaSimSetServerPort(-1);
    QVERIFY2(lib.Load(QStringLiteral(VNA_SIM_LIBRARY)), qPrintable(lib.LoadError()));
    vnaSimReset();
    path = GetFactoryCalFileName(kSerial);
    QVERIFY(!QFile::exists(path));
}

void TestFactoryCalSim::cleanupTestCase()
{
    window.reset();
    vnaSimReset();
}

SParameters TestFactoryCalSim::Corrected(int channel, SParametersRaw* raw)
{
    VNAModel& m = window->Model();
    VNAChannel& ch = *m.channels[channel];
    const uint64_t target = m.BeginFreshSweep(channel);
    const bool arrived = QTest::qWaitFor([&] { return ch.sweepsDone.load() >= target; }, 30000);
    m.EndFreshSweep(channel);
    if (!arrived)
    {
        return SParameters();
    }
    if (raw)
    {
        QMutexLocker lock(&ch.measLock);
        *raw = ch.MeasAvg;
    }
    QMutexLocker lock(&m.traceLock);
    return ch.MeasCal;
}

void TestFactoryCalSim::Reconnect()
{
    window->DisconnectDevice();
    QVERIFY(window->ConnectDevice());
}

void TestFactoryCalSim::shippedCalibrationIsTheModels()
{
    // Read from the flash as the store reads it, the calibration solves to the twelve terms the
    // simulator's data obey, at every point of its sweep.
    VNADevice dev(&lib);
    QVERIFY(dev.Connect());
    std::vector<unsigned char> head, all;
    FactoryCal::BlockHeader header;
    QByteArray contents;
    QString error;
    QVERIFY(dev.ReadFactoryCal(head, FactoryCal::kHeaderSize));
    QVERIFY(FactoryCal::ParseHeader(
        QByteArray(reinterpret_cast<const char*>(head.data()), int(head.size())), header, error));
    QVERIFY(dev.ReadFactoryCal(all, FactoryCal::kHeaderSize + int(header.payloadSize)));
    QVERIFY(FactoryCal::ParseBlock(
        QByteArray(reinterpret_cast<const char*>(all.data()), int(all.size())), header, contents,
        error));
    QCOMPARE(header.serial, kSerial);
    VNACalibration cal;
    QVERIFY2(FactoryCal::CalibrationFromText(contents, "f.vnacal", cal, error), qPrintable(error));
    QCOMPARE(cal.CalibrationTemperature(), vnasim::kFactoryTemperature);
    cal.BuildCorrections(cal.GetStimulus());
    const QVector<double> f = cal.GetStimulus().GetFreqVector();
    double worst = 0.0;
    for (int hdr = 0; hdr < 2; ++hdr)
    {
        for (int i = 0; i < f.size(); ++i)
        {
            double t[24];
            vnaSimErrorTerms(f[i], hdr, t);
            for (int k = 0; k < VNACalibration::kTermCount; ++k)
            {
                const std::complex<double> want(t[2 * k], t[2 * k + 1]);
                const std::complex<double> got = hdr ? cal.ErrorTermHDR(k)[i] : cal.ErrorTerm(k)[i];
                worst = std::max(worst, std::abs(got - want) / std::max(std::abs(want), 1e-6));
            }
        }
    }
    qInfo("shipped calibration: worst relative term error %.3g", worst);
    QVERIFY(worst < kExact);
    dev.Disconnect();
}

void TestFactoryCalSim::connectionFillsFileAndChannels()
{
    QVERIFY(Sim("noise off"));
    QVERIFY(Sim(QStringLiteral("load dut ") + kDut));
    window.reset(new MainWindow(nullptr, &lib));
    QVERIFY(window->Model().device.Connected());

    VNACalibration file;
    unsigned long flashDate = 0;
    QString error;
    QVERIFY2(FactoryCal::LoadFile(path, file, flashDate, error), qPrintable(error));
    QCOMPARE(flashDate, vnasim::kFactoryFlashDate);
    {
        // The loop swaps rebuilt corrections in under this lock.
        QMutexLocker lock(&window->Model().traceLock);
        for (const VNAChannel* c : window->Model().channels)
        {
            QVERIFY(c->factoryCalibration.CorrectionsLoaded());
            QCOMPARE(c->factoryCalibration.MeasuredStd(StdS21Thru), file.MeasuredStd(StdS21Thru));
        }
    }
    QTRY_COMPARE(CalLabel(), QStringLiteral("Cal:Factory"));

    // The default sweep lies on the factory's grid: corrected to the device to 1e-9. The raw
    // data are far from it.
    const QVector<double> f = window->Model().channels[0]->stimulus.GetFreqVector();
    const SParameters truth = SceneAt(f);
    SParametersRaw raw;
    const SParameters corrected = Corrected(0, &raw);
    const SParameters uncorrected = raw.ToSParam();
    for (int k = 0; k < 4; ++k)
    {
        const VNATraceMeas m = VNATraceMeas(k);
        QVERIFY2(Worst(corrected.GetSParam(m), truth.GetSParam(m)) < kExact,
                 qPrintable(QString::number(Worst(corrected.GetSParam(m), truth.GetSParam(m)))));
        QVERIFY(Worst(uncorrected.GetSParam(m), truth.GetSParam(m)) > 0.01);
    }
    // With noise the correction leaves only noise: its error is of the size by which two
    // sweeps differ.
    QVERIFY(Sim("noise on"));
    const SParameters a = Corrected(0);
    const SParameters b = Corrected(0);
    QVERIFY(Sim("noise off"));
    for (int k = 0; k < 4; ++k)
    {
        const VNATraceMeas m = VNATraceMeas(k);
        const double spread = Worst(a.GetSParam(m), b.GetSParam(m));
        QVERIFY(spread > 0.0);
        QVERIFY2(Worst(a.GetSParam(m), truth.GetSParam(m)) < 2.0 * spread,
                 qPrintable(QString::number(spread)));
    }
}

void TestFactoryCalSim::newerFlashReplacesTheFile()
{
    VNACalibration cal = window->FactoryCalibration();
    QVERIFY(cal.CorrectionsLoaded());
    cal.SetTemperature(47.5);
    QByteArray block;
    QString error;
    QVERIFY(FactoryCal::BuildBlock(cal, kSerial, block, error));
    QCOMPARE(lib.vnaFactoryCalWriteData(window->Model().device.Handle(), Vector(block)), 0);
    QSignalSpy messages(window.get(), &MainWindow::threadShowMessageBoxSignal);
    Reconnect();
    VNACalibration file;
    unsigned long flashDate = 0;
    QVERIFY(FactoryCal::LoadFile(path, file, flashDate, error));
    QCOMPARE(file.CalibrationTemperature(), 47.5);
    QVERIFY(flashDate > vnasim::kFactoryFlashDate);
    QCOMPARE(ChannelFactoryCal(3).CalibrationTemperature(), 47.5);
    QVERIFY(messages.isEmpty());

    // The service path: written from the window's own thread, taken back into file and channels.
    cal.SetTemperature(48.25);
    QVERIFY2(window->WriteFactoryCal(cal, error), qPrintable(error));
    QVERIFY(FactoryCal::LoadFile(path, file, flashDate, error));
    QCOMPARE(file.CalibrationTemperature(), 48.25);
    QCOMPARE(ChannelFactoryCal(0).CalibrationTemperature(), 48.25);
    const SParameters truth = SceneAt(window->Model().channels[0]->stimulus.GetFreqVector());
    QVERIFY(Worst(Corrected(0).S21, truth.S21) < kExact);
    QVERIFY(messages.isEmpty());
}

void TestFactoryCalSim::damagedOrMissingDataLeaveChannelsUncorrected()
{
    QByteArray good;
    QString error;
    QVERIFY(FactoryCal::BuildBlock(window->FactoryCalibration(), kSerial, good, error));
    QByteArray checksum = good, version = good;
    checksum[good.size() - 10] = char(checksum[good.size() - 10] ^ 1);
    version[8] = char(7);  // the format version, little-endian
    const QByteArray damaged[] = {good.left(good.size() / 2), checksum, version};
    for (const QByteArray& block : damaged)
    {
        QCOMPARE(lib.vnaFactoryCalWriteData(window->Model().device.Handle(), Vector(block)), 0);
        // Without a file the store goes to the flash, whatever the dates.
        QFile::remove(path);
        QSignalSpy messages(window.get(), &MainWindow::threadShowMessageBoxSignal);
        Reconnect();
        QTRY_COMPARE(messages.size(), 1);
        QCOMPARE(messages[0][1].toString(), QStringLiteral("Invalid factory calibration data."));
        QVERIFY(!window->FactoryCalibration().CorrectionsLoaded());
        QTRY_COMPARE(CalLabel(), QStringLiteral("Cal:None"));
        SParametersRaw raw;
        const SParameters shown = Corrected(0, &raw);
        QCOMPARE(shown.S11, raw.ToSParam().S11);
    }
    // Nothing on the flash and no file.
    QVERIFY(Sim("flash erase"));
    QVERIFY(!QFile::exists(path));  // a damaged flash left none
    QSignalSpy messages(window.get(), &MainWindow::threadShowMessageBoxSignal);
    Reconnect();
    QTRY_COMPARE(messages.size(), 1);
    QCOMPARE(messages[0][1].toString(), QStringLiteral("Missing factory calibration."));
    QVERIFY(!ChannelFactoryCal(0).CorrectionsLoaded());
    QTRY_COMPARE(CalLabel(), QStringLiteral("Cal:None"));

    // The shipped calibration back: the file is made again and corrects.
    QVERIFY(Sim("flash factory"));
    Reconnect();
    QVERIFY(QFile::exists(path));
    QTRY_COMPARE(CalLabel(), QStringLiteral("Cal:Factory"));
}

void TestFactoryCalSim::preferenceAndItsStatusTexts()
{
    // The remote preference command reaches the status bar, as the window's own switch does.
    const quint16 port = window->SCPIServerPort();
    QByteArray off, on;
    QString labelOff;
    testfx::RunClients({[&]
                        {
                            testfx::LineClient c;
                            if (c.Connect(port))
                            {
                                c.Send(":SYST:PREF:FCAL:STAT OFF\n");
                                off = c.Query(":SYST:PREF:FCAL:STAT?");
                            }
                        }});
    QCOMPARE(off, QByteArray("0"));
    QCOMPARE(CalLabel(), QStringLiteral("Cal:Factory (Disabled)"));
    VerificationReport report;
    QString error;
    QVERIFY(!window->VerifyChannel(0, kDut, 0.01, report, error));
    QCOMPARE(error, QStringLiteral("The channel is not calibrated."));
    window->calUseFactoryCal(true);
    QCOMPARE(CalLabel(), QStringLiteral("Cal:Factory"));
}

void TestFactoryCalSim::characterizedStandardsJoinTheKit()
{
    VNACalKit lab;
    lab.CalKitName = QStringLiteral("Lab Kit");
    QString error;
    QVERIFY(SaveUserCalKit(lab, QString(), error));
    // An offset open on port 1, an offset short on port 2, a lossy thru between them, each
    // described to the simulator in kit units and measured through the factory correction.
    CalKitStandardInfo open, shortStd, thru;
    open.Type = VNAStdOpen;
    open.Delay = 30.0;
    open.Loss = 2.0;
    open.C0 = 12.0;
    open.C1 = -300.0;
    shortStd.Type = VNAStdShort;
    shortStd.Delay = 18.0;
    shortStd.Loss = 1.5;
    shortStd.L0 = 3.0;
    thru.Type = VNAStdThru;
    thru.Delay = 45.0;
    thru.Loss = 1.2;
    const struct
    {
        const char* scene;
        StandardCharacterization request;
    } steps[] = {
        {"connect port 1 kit open delay 30 loss 2 c0 12 c1 -300", {0, CalClassOpen, "o", VNAMale}},
        {"connect port 2 kit short delay 18 loss 1.5 l0 3", {1, CalClassShort, "s", VNAFemale}},
        {"connect thru delay 45 loss 1.2", {2, CalClassThru, "t", VNAMale}},
    };
    for (int n = 0; n < 3; ++n)
    {
        QVERIFY(Sim(QString::fromLatin1(steps[n].scene)));
        QCOMPARE(window->CharacterizeStandard(0, lab.CalKitName, steps[n].request, error), n + 1);
    }
    VNACalKit kit;
    QVERIFY(GetCalKitFromName(lab.CalKitName, kit));
    QCOMPARE(kit.Standards.size(), 3);
    QCOMPARE(kit.Classes[CalClassOpen], QList<int>{1});
    QCOMPARE(kit.Classes[CalClassShort], QList<int>{2});
    QCOMPARE(kit.Classes[CalClassThru], QList<int>{3});
    // The kit file keeps its data at float precision.
    const QVector<double> f = window->Model().channels[0]->stimulus.GetFreqVector();
    double worst = 0.0;
    for (int i = 0; i < f.size(); ++i)
    {
        std::complex<double> s11, s21, s12, s22;
        thru.IdealThru(f[i], s11, s21, s12, s22);
        const std::complex<double> want[] = {open.IdealOpen(f[i]), shortStd.IdealShort(f[i]), s21};
        const std::complex<double> got[] = {
            kit.Standards[0].DataS11[i], kit.Standards[1].DataS11[i], kit.Standards[2].DataS21[i]};
        for (int k = 0; k < 3; ++k)
        {
            worst = std::max(worst, std::abs(got[k] - want[k]));
        }
    }
    QVERIFY2(worst < 1e-6, qPrintable(QString::number(worst)));
    QVERIFY(kit.Standards[0].IsDataLoaded() && kit.Standards[0].DataReflectOnly);
    QVERIFY(!kit.Standards[2].DataReflectOnly);
    QCOMPARE(kit.Standards[1].Gender, VNAFemale);
    QCOMPARE(kit.Standards[0].DataFreqs, f);
}

void TestFactoryCalSim::verificationPassesAndFailsPerParameter()
{
    QVERIFY(Sim(QStringLiteral("load dut ") + kDut));
    VerificationReport report;
    QString error;
    QVERIFY2(window->VerifyChannel(0, kDut, 1e-6, report, error), qPrintable(error));
    QVERIFY2(report.Passed(), qPrintable(report.Text()));
    for (const VerificationParameter& p : report.params)
    {
        QCOMPARE(p.points, 201);
        QVERIFY(p.worst < kExact);
    }
    // A reference whose S21 is 5% high fails S21 alone, by 5% of the filter's largest |S21|.
    QVector<double> freqs;
    SParameters data;
    QVERIFY(LoadS2PFile(kDut, true, freqs, data, error));
    for (auto& v : data.S21)
    {
        v *= 1.05;
    }
    const QString altered = dir.filePath(QStringLiteral("altered.s2p"));
    QVERIFY(StoreSNPFile(altered, testfx::Stimulus(freqs.first(), freqs.last(), freqs.size()), data,
                         false, 0, error));
    QVERIFY(window->VerifyChannel(0, altered, 1e-4, report, error));
    QVERIFY(!report.Passed());
    QVERIFY(report.params[S11].pass && report.params[S12].pass && report.params[S22].pass);
    QVERIFY(!report.params[S21].pass);
    const SParameters truth = SceneAt(window->Model().channels[0]->stimulus.GetFreqVector());
    double largest = 0.0;
    for (const auto& v : truth.S21)
    {
        largest = std::max(largest, std::abs(v));
    }
    QVERIFY2(std::abs(report.params[S21].worst - 0.05 * largest) < 1e-4 * largest,
             qPrintable(report.Text()));
}

QTEST_MAIN(TestFactoryCalSim)
#include "test_factory_cal_sim.moc"
