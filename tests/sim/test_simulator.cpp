// The program's device layer over the simulated instrument, loaded the way the real library is.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>
#include <atomic>
#include <cmath>
#include <complex>
#include <thread>

#include "test_fixtures.h"
#include "vna_device.h"
#include "vna_lib.h"
#include "vna_model.h"
#include "vna_sim.h"

using cplx = std::complex<double>;

namespace
{
constexpr double kPi = 3.141592653589793;

struct Terms
{
    cplx edf, esf, elf, erf, etf, exf, edr, esr, elr, err, etr, exr;
};

Terms TermsAt(double f, bool hdr)
{
    double t[24];
    vnaSimErrorTerms(f, hdr ? 1 : 0, t);
    auto c = [&](int i) { return cplx(t[2 * i], t[2 * i + 1]); };
    return {c(0), c(1), c(2), c(3), c(4), c(5), c(6), c(7), c(8), c(9), c(10), c(11)};
}

struct Four
{
    cplx s11, s21, s12, s22;
};

Four SceneAt(double f)
{
    double s[8];
    vnaSimSceneS(f, s);
    return {cplx(s[0], s[1]), cplx(s[2], s[3]), cplx(s[4], s[5]), cplx(s[6], s[7])};
}

// What an instrument with these twelve terms reads for a device s: the forward model, and the
// reverse model with the ports exchanged.
Four TwelveTermModel(const Terms& t, const Four& s)
{
    const cplx d = s.s11 * s.s22 - s.s12 * s.s21;
    const cplx nf = 1.0 - t.esf * s.s11 - t.elf * s.s22 + t.esf * t.elf * d;
    const cplx nr = 1.0 - t.esr * s.s22 - t.elr * s.s11 + t.esr * t.elr * d;
    Four m;
    m.s11 = t.edf + t.erf * (s.s11 - t.elf * d) / nf;
    m.s21 = t.exf + t.etf * s.s21 / nf;
    m.s22 = t.edr + t.err * (s.s22 - t.elr * d) / nr;
    m.s12 = t.exr + t.etr * s.s12 / nr;
    return m;
}

double RelErr(cplx a, cplx b)
{
    return std::abs(a - b) / std::max(1e-6, std::abs(b));
}

QStringList Calls()
{
    const int n = vnaSimCallLog(nullptr, 0);
    QByteArray buf(n + 1, '\0');
    vnaSimCallLog(buf.data(), n + 1);
    return QString::fromLatin1(buf.constData()).split('\n', Qt::SkipEmptyParts);
}

QStringList CallsNamed(const QString& name)
{
    QStringList out;
    for (const QString& c : Calls())
    {
        if (c.startsWith(name + "("))
        {
            out << c;
        }
    }
    return out;
}

QString Cmd(const char* line)
{
    char reply[512];
    vnaSimCommand(line, reply, sizeof(reply));
    return QString::fromLatin1(reply);
}

QVector<double> Freqs(const VNAStimulus& s)
{
    QVector<double> f(s.points);
    for (int i = 0; i < s.points; ++i)
    {
        f[i] = s.points > 1 ? s.start + i * (s.stop - s.start) / (s.points - 1) : s.start;
    }
    return f;
}

// Largest relative difference between ratio data of one direction and the closed form.
double WorstAgainstModel(const SParametersRaw& r, const VNAStimulus& s, bool fwd, bool rev,
                         bool hdr)
{
    double worst = 0.0;
    const QVector<double> f = Freqs(s);
    for (int i = 0; i < s.points; ++i)
    {
        const Four m = TwelveTermModel(TermsAt(f[i], hdr), SceneAt(f[i]));
        if (fwd)
        {
            worst = std::max(worst, RelErr(hdr ? r.S11HDR[i] : r.S11[i], m.s11));
            worst = std::max(worst, RelErr(hdr ? r.S21HDR[i] : r.S21[i], m.s21));
        }
        if (rev)
        {
            worst = std::max(worst, RelErr(hdr ? r.S12HDR[i] : r.S12[i], m.s12));
            worst = std::max(worst, RelErr(hdr ? r.S22HDR[i] : r.S22[i], m.s22));
        }
    }
    return worst;
}

// Spread of a complex vector about its mean.
double Spread(const CplxVector& v)
{
    cplx mean = 0.0;
    for (const cplx& x : v)
    {
        mean += x;
    }
    mean /= double(v.size());
    double sum = 0.0;
    for (const cplx& x : v)
    {
        sum += std::norm(x - mean);
    }
    return std::sqrt(sum / v.size());
}

bool AllZero(const CplxVector& v)
{
    for (const cplx& x : v)
    {
        if (x != cplx(0.0))
        {
            return false;
        }
    }
    return true;
}

// One synchronous sweep of the configured device into a fresh record.
SParametersRaw Generate(int handle, int points)
{
    SParametersRaw r;
    r.Resize(points);
    double* b[16];
    for (int i = 0; i < 16; ++i)
    {
        b[i] = reinterpret_cast<double*>(r.Vector(i).data());
    }
    vnaSimGenerateSweep(handle, b);
    return r;
}

QString WriteDut(const QTemporaryDir& dir)
{
    // A lossy, mismatched two-port of our own making, not reciprocal on purpose.
    QByteArray text = "! test two-port\n# Hz S RI R 50\n";
    for (int k = 0; k <= 8; ++k)
    {
        const double f = 1e9 + k * 1e9;
        const double g = f / 1e9;
        const cplx s11 = std::polar(0.2 + 0.01 * g, -0.9 * g);
        const cplx s21 = std::polar(0.7 - 0.02 * g, -2.1 * g + 0.4);
        const cplx s12 = std::polar(0.5 - 0.01 * g, -2.1 * g + 0.1);
        const cplx s22 = std::polar(0.3, 1.0 - 1.3 * g);
        text += QByteArray::number(f, 'g', 12);
        for (cplx v : {s11, s21, s12, s22})
        {
            text += ' ' + QByteArray::number(v.real(), 'g', 17) + ' ' +
                    QByteArray::number(v.imag(), 'g', 17);
        }
        text += '\n';
    }
    return testfx::WriteFile(dir, QStringLiteral("dut.s2p"), text);
}
}  // namespace

class TestSimulator : public QObject
{
    Q_OBJECT

private:
    VnaLib lib;

private slots:
    void initTestCase()
    {
        testfx::IsolateUserFiles();
        // Nothing is listening before a device has been opened.
        QCOMPARE(vnaSimServerPort(), 0);
        vnaSimSetServerPort(0);
        QCOMPARE(vnaSimServerPort(), 0);
        QVERIFY2(lib.Load(QStringLiteral(VNA_SIM_LIBRARY)), qPrintable(lib.LoadError()));
    }

    void init() { vnaSimReset(); }

    void devicesAndConnection()
    {
        VNADevice dev(&lib);
        const std::vector<int> serials = dev.GetDeviceList();
        QCOMPARE(int(serials.size()), 2);
        QVERIFY(serials[0] != serials[1]);

        // Opening by serial wakes the instrument; the first-found open leaves it idle.
        QVERIFY(dev.Connect(serials[1]));
        QCOMPARE(dev.GetSerialNumber(), serials[1]);
        QVERIFY(dev.GetFirmwareVersion() > 0);
        QVERIFY(!dev.GetAPIVersion().isEmpty());
        QCOMPARE(CallsNamed("vnaSetIdleMode").last(),
                 QStringLiteral("vnaSetIdleMode(%1,0)").arg(dev.Handle()));
        VNADevice other(&lib);
        QVERIFY(other.Connect());
        QCOMPARE(other.GetSerialNumber(), serials[0]);
        QCOMPARE(CallsNamed("vnaSetIdleMode").last(),
                 QStringLiteral("vnaSetIdleMode(%1,1)").arg(other.Handle()));
        // Both are taken now; a third open and an unknown serial fail.
        VNADevice third(&lib);
        QVERIFY(!third.Connect());
        QVERIFY(!third.Connect(12345));
        QVERIFY(other.Disconnect());
        QVERIFY(third.Connect(serials[0]));
        third.Disconnect();

        // Diagnostics: warm-up count from power-on, temperature heading for the setpoint.
        double power = 0, temp = 0, third2 = 0;
        unsigned fourth = 99999;
        dev.GetDiagnostics(power, temp, third2, fourth);
        QVERIFY(power > 0.0);
        QVERIFY(temp > 20.0 && temp <= 50.0);
        QVERIFY(third2 >= 0.0 && third2 <= 100.0);
        QVERIFY(fourth < 1200);

        // Simulated flash: the shipped calibration, then erased, written, read back, dated.
        QVERIFY(dev.HasFactoryCalOnFlash());
        QCOMPARE(Cmd("flash erase"), QStringLiteral("ok"));
        QVERIFY(!dev.HasFactoryCalOnFlash());
        std::vector<unsigned char> block(300);
        for (size_t i = 0; i < block.size(); ++i)
        {
            block[i] = static_cast<unsigned char>(i * 7 + 3);
        }
        QVERIFY(dev.WriteFactoryCal(block));
        bool present = false;
        unsigned long date = 0;
        QVERIFY(dev.GetFactoryCalDate(present, date));
        QVERIFY(present && date > 0);
        std::vector<unsigned char> back;
        QVERIFY(dev.ReadFactoryCal(back, int(block.size())));
        QVERIFY(back == block);
        QVERIFY(!dev.WriteFactoryCal({}));

        // The -1 handle and null pointers are taken without harm.
        const int h = dev.Handle();
        dev.Disconnect();
        dev.SetReference(VNAReferenceExternal);
        QCOMPARE(CallsNamed("vnaSetReference").last(), QStringLiteral("vnaSetReference(-1,1)"));
        QCOMPARE(lib.vnaOpenDevice(nullptr), -1);
        lib.vnaGetDiagnostics(h, nullptr, nullptr, nullptr, nullptr);
        lib.vnaGetSweepStatus(-1, nullptr, nullptr, nullptr);
        lib.vnaGetDeviceList(nullptr, nullptr);
        int count = 8;
        lib.vnaGetDeviceList(nullptr, &count);
        QCOMPARE(count, 2);
        int serial = -1;
        lib.vnaGetSerial(h, &serial);  // closed: left alone
        QCOMPARE(serial, -1);
        lib.vnaBeginSweep(-1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                          nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                          nullptr);
        lib.vnaFinishSweep(-1);
        lib.vnaAbortSweep(7);
        bool p = true;
        unsigned long d = 1;
        QCOMPARE(lib.vnaFactoryCalGetDate(-1, p, d), -1);
        QCOMPARE(lib.vnaFactoryCalRead(-1, nullptr, 10), -1);
    }

    void configureCallsAndArguments()
    {
        VNADevice dev(&lib);
        QVERIFY(dev.Connect());
        const QString h = QString::number(dev.Handle());
        struct Case
        {
            VNAPowerConfig power;
            double atten;
            double level;
            bool rf, fwd, rev, hdr, hdrThru, spur;
        };
        const Case cases[] = {
            {VNAPowerHigh, 0, 0, true, true, true, true, false, false},
            {VNAPowerLow, 0, 0, true, true, false, false, false, true},
            {VNAPowerManualAtten, 17.9, 0, false, false, true, true, true, false},
            {VNAPowerManualPower, 0, -12.5, true, true, true, false, true, true},
        };
        for (const Case& c : cases)
        {
            VNAStimulus s = testfx::Stimulus(1e9, 3e9, 11);
            s.ifbw = 1000;
            s.powerConfig = c.power;
            s.manualAtten = c.atten;
            s.manualPower = c.level;
            vnaSimClearCallLog();
            QVERIFY(dev.Configure(s, c.rf, c.fwd, c.rev, c.hdr, c.hdrThru, c.spur));
            auto b = [](bool v) { return v ? QStringLiteral("1") : QStringLiteral("0"); };
            const int atten = c.power == VNAPowerLow ? 30 : int(c.atten);
            const QString power = c.power == VNAPowerManualPower
                                      ? QStringLiteral("vnaSweepSetLevel(%1,-12.5)").arg(h)
                                      : QStringLiteral("vnaSweepSetAtten(%1,%2)").arg(h).arg(atten);
            const QStringList expected = {
                "vnaSetDataType(" + h + ",0,0)",
                "vnaSweepSetPorts(" + h + "," + b(c.fwd) + "," + b(c.rev) + ")",
                "vnaSweepSetPoints(" + h + ",11)",
                "vnaSweepSetStartStop(" + h + ",1000000000,3000000000)",
                "vnaSweepSetIFBandwidth(" + h + ",1000)",
                "vnaSweepSetRFEnabled(" + h + "," + b(c.rf) + ")",
                power,
                "vnaSweepSetHDR(" + h + "," + b(c.hdr) + "," + b(c.hdrThru) + ")",
                "vnaSweepSetSOLRModel(" + h + "," + b(!c.hdr && !c.hdrThru) + ")",
                "vnaForceSpurDodge(" + h + "," + b(c.spur) + ")",
                "vnaReconfigure(" + h + ")",
            };
            QCOMPARE(Calls(), expected);
        }

        // Receiver mode: data type 1 from the stated port, no RF, SOLR or spur calls.
        VNAStimulus s = testfx::Stimulus(2e9, 4e9, 5);
        s.powerConfig = VNAPowerLow;
        vnaSimClearCallLog();
        QVERIFY(dev.ConfigureRecievers(s, 1));
        const QStringList calls = Calls();
        QCOMPARE(calls.first(), "vnaSetDataType(" + h + ",1,1)");
        QCOMPARE(calls.at(1), "vnaSweepSetPorts(" + h + ",0,1)");
        QVERIFY(calls.contains("vnaSweepSetAtten(" + h + ",30)"));
        QVERIFY(calls.contains("vnaSweepSetHDR(" + h + ",0,0)"));
        QCOMPARE(calls.last(), "vnaReconfigure(" + h + ")");
        QCOMPARE(vnaSimCallCount("vnaSweepSetRFEnabled"), 0);
        QCOMPARE(vnaSimCallCount("vnaSweepSetSOLRModel"), 0);
        dev.Disconnect();
    }

    void ratioDataFollowTheModel()
    {
        QTemporaryDir dir;
        QCOMPARE(Cmd(qPrintable("load dut " + WriteDut(dir))), QStringLiteral("ok"));
        vnaSimSetNoise(0);
        VNADevice dev(&lib);
        QVERIFY(dev.Connect());
        VNAStimulus s = testfx::Stimulus(1.3e9, 8.7e9, 41);
        s.ifbw = 100000;

        // Both directions with the high-dynamic-range path.
        QVERIFY(dev.Configure(s, true, true, true, true, false, false));
        SParametersRaw r = dev.GetSweep();
        QVERIFY(WorstAgainstModel(r, s, true, true, false) < 1e-12);
        QVERIFY(WorstAgainstModel(r, s, true, true, true) < 1e-12);
        // The ratio data are the receivers' ratios, each to its own direction's reference.
        for (int i = 0; i < s.points; ++i)
        {
            QVERIFY(RelErr(r.S11[i], r.b1Fwd[i] / r.a1Fwd[i]) < 1e-14);
            QVERIFY(RelErr(r.S21[i], r.b2Fwd[i] / r.a1Fwd[i]) < 1e-14);
            QVERIFY(RelErr(r.S12[i], r.b1Rev[i] / r.a2Rev[i]) < 1e-14);
            QVERIFY(RelErr(r.S22[i], r.b2Rev[i] / r.a2Rev[i]) < 1e-14);
        }
        // Raw data are far from the device's own values: the instrument is not ideal.
        QVERIFY(RelErr(r.S21[0], SceneAt(s.start).s21) > 0.5);
        QVERIFY(std::abs(std::arg(r.a1Fwd[0])) > 0.05);
        // The file's own frequencies give its values back.
        QVERIFY(std::abs(SceneAt(2e9).s21 - std::polar(0.66, -4.2 + 0.4)) < 1e-12);

        // Without the high-dynamic-range path (the SOLR model) its buffers repeat the normal data.
        QVERIFY(dev.Configure(s, true, true, true, false, false, false));
        r = dev.GetSweep();
        QVERIFY(WorstAgainstModel(r, s, true, true, false) < 1e-12);
        for (int i = 0; i < s.points; ++i)
        {
            QCOMPARE(r.S21HDR[i], r.S21[i]);
            QCOMPARE(r.S12HDR[i], r.S12[i]);
        }

        // Forward only: the reverse buffers are passed as null and stay untouched.
        QVERIFY(dev.Configure(s, true, true, false, true, false, false));
        r = dev.GetSweep();
        QVERIFY(WorstAgainstModel(r, s, true, false, true) < 1e-12);
        QVERIFY(AllZero(r.S12) && AllZero(r.S22) && AllZero(r.S12HDR) && AllZero(r.a2Rev));
        QVERIFY(!AllZero(r.a1Fwd) && !AllZero(r.a2Fwd));
        // Reverse only, on a thru with delay and loss and on a flush thru.
        for (const char* thru : {"connect thru delay 80 loss 2.5", "connect thru"})
        {
            QCOMPARE(Cmd(thru), QStringLiteral("ok"));
            QVERIFY(dev.Configure(s, true, false, true, true, false, false));
            r = dev.GetSweep();
            QVERIFY(WorstAgainstModel(r, s, false, true, false) < 1e-12);
            QVERIFY(AllZero(r.S11) && AllZero(r.S21HDR) && AllZero(r.b1Fwd));
        }
        // A lossless thru of 50 ps is a pure delay.
        QCOMPARE(Cmd("connect thru delay 50"), QStringLiteral("ok"));
        QVERIFY(std::abs(SceneAt(7e9).s21 - std::polar(1.0, -2 * kPi * 7e9 * 50e-12)) < 1e-12);
        dev.Disconnect();
    }

    void switchTermsAgreeWithTheTerms()
    {
        vnaSimSetNoise(0);
        QCOMPARE(Cmd("connect thru delay 30 loss 1.5"), QStringLiteral("ok"));
        VNADevice dev(&lib);
        QVERIFY(dev.Connect());
        VNAStimulus s = testfx::Stimulus(40e6, 20e9, 21);
        s.ifbw = 100000;
        SParametersRaw fwd, rev;
        fwd.Resize(s.points);
        rev.Resize(s.points);
        QVERIFY(dev.ConfigureRecievers(s, 0));
        dev.GetRecievers(fwd);
        QVERIFY(dev.ConfigureRecievers(s, 1));
        dev.GetRecievers(rev);
        const QVector<double> f = Freqs(s);
        for (int i = 0; i < s.points; ++i)
        {
            // Slots: a1, b1, b2, a2. The crosstalk into the far b receiver is taken off first,
            // as an isolation measurement would.
            const Terms t = TermsAt(f[i], false);
            const cplx gammaF = fwd.S22[i] / (fwd.S12[i] - t.exf * fwd.S11[i]);
            const cplx gammaR = rev.S11[i] / (rev.S21[i] - t.exr * rev.S22[i]);
            // Load match seen by each direction is the far port's match through its switch.
            const cplx elf = t.esr + t.err * gammaF / (1.0 - gammaF * t.edr);
            const cplx elr = t.esf + t.erf * gammaR / (1.0 - gammaR * t.edf);
            QVERIFY(RelErr(elf, t.elf) < 1e-9);
            QVERIFY(RelErr(elr, t.elr) < 1e-9);
            // Eight-term consistency: the tracking products agree.
            const cplx lhs = t.etf * t.etr * (1.0 - gammaF * t.edr) * (1.0 - gammaR * t.edf);
            QVERIFY(RelErr(lhs, t.erf * t.err) < 1e-9);
            // The raw switch terms are nowhere near zero at the receivers.
            QVERIFY(std::abs(gammaF) > 0.01 && std::abs(gammaR) > 0.01);
        }
        dev.Disconnect();
    }

    void noiseLevelsAndRfOff()
    {
        VNADevice dev(&lib);
        QVERIFY(dev.Connect());
        QCOMPARE(Cmd("connect port 1 load"), QStringLiteral("ok"));
        QCOMPARE(Cmd("connect port 2 load"), QStringLiteral("ok"));
        // A narrow band, so the model hardly moves and what varies is noise.
        VNAStimulus s = testfx::Stimulus(5e9, 5.001e9, 401);
        auto sweep = [&](double ifbw, VNAPowerConfig power, bool rf, bool hdr)
        {
            s.ifbw = ifbw;
            s.powerConfig = power;
            dev.Configure(s, rf, true, true, hdr, false, true);
            return Generate(dev.Handle(), s.points);
        };
        const SParametersRaw wide = sweep(100000, VNAPowerHigh, true, true);
        const SParametersRaw narrow = sweep(1000, VNAPowerHigh, true, true);
        const SParametersRaw low = sweep(100000, VNAPowerLow, true, true);
        QVERIFY(Spread(wide.S21) > 3.0 * Spread(narrow.S21));
        QVERIFY(Spread(low.S21) > 3.0 * Spread(wide.S21));
        // The high-dynamic-range path is quieter on the weak transmission.
        QVERIFY(Spread(wide.S21HDR) < 0.5 * Spread(wide.S21));
        // RF off: the references hold nothing but noise.
        const SParametersRaw off = sweep(100000, VNAPowerHigh, false, true);
        QVERIFY(std::abs(off.a1Fwd[0]) < 1e-3 * std::abs(wide.a1Fwd[0]));
        // Seeded: the same seed repeats a sweep, another seed does not.
        vnaSimSetSeed(42);
        const SParametersRaw a = sweep(100000, VNAPowerHigh, true, true);
        vnaSimSetSeed(42);
        const SParametersRaw b = sweep(100000, VNAPowerHigh, true, true);
        QVERIFY(a.S21 == b.S21 && a.b2Rev == b.b2Rev);
        QVERIFY(a.S21 != wide.S21);
        // Noise off: two sweeps are identical and equal to the model.
        vnaSimSetNoise(0);
        const SParametersRaw c = sweep(100000, VNAPowerLow, true, true);
        QVERIFY(c.S21 == sweep(100000, VNAPowerLow, true, true).S21);
        QVERIFY(WorstAgainstModel(c, s, true, true, false) < 1e-12);
        dev.Disconnect();
    }

    void progressFinishAndAbort()
    {
        VNADevice dev(&lib);
        QVERIFY(dev.Connect());
        QCOMPARE(Cmd("connect thru"), QStringLiteral("ok"));
        // A sweep before any reconfiguration does nothing.
        {
            SParametersRaw r;
            r.Resize(11);
            int fwdPts = -1, revPts = -1;
            double percent = -1;
            lib.vnaBeginSweep(dev.Handle(), reinterpret_cast<double*>(r.S11.data()), nullptr,
                              nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                              nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
            lib.vnaFinishSweep(dev.Handle());
            lib.vnaGetSweepStatus(dev.Handle(), &fwdPts, &revPts, &percent);
            QCOMPARE(fwdPts, 0);
            QCOMPARE(revPts, 0);
            QVERIFY(AllZero(r.S11));
        }

        VNAStimulus s = testfx::Stimulus(1e9, 10e9, 201);
        s.ifbw = 20000;
        QVERIFY(dev.Configure(s, true, true, true, true, false, false));
        SParametersRaw r;
        r.Resize(s.points);
        dev.StartSweep(r);
        int lastFwd = 0, lastRev = 0;
        QVERIFY(testfx::WaitFor(
            [&]
            {
                int fwdPts = 0, revPts = 0;
                double percent = 0;
                dev.GetSweepUpdate(fwdPts, revPts, percent);
                // Never backwards, and forward finishes before reverse begins.
                const bool ordered =
                    fwdPts >= lastFwd && revPts >= lastRev && (revPts == 0 || fwdPts == s.points);
                // The reported prefix is written.
                bool written = true;
                for (int i = lastFwd; i < fwdPts; ++i)
                {
                    written = written && r.S21[i] != cplx(0.0) && r.b1Fwd[i] != cplx(0.0);
                }
                for (int i = lastRev; i < revPts; ++i)
                {
                    written = written && r.S12[i] != cplx(0.0) && r.a2Rev[i] != cplx(0.0);
                }
                lastFwd = fwdPts;
                lastRev = revPts;
                return !ordered || !written || revPts == s.points;
            }));
        QCOMPARE(lastFwd, s.points);
        QCOMPARE(lastRev, s.points);
        dev.FinishSweep();

        // A slow sweep abandoned early stops where it was: once the abort has returned nothing
        // more is reported or written.
        s.ifbw = 100;  // 20 ms a point: 40 s a direction
        s.points = 2001;
        QVERIFY(dev.Configure(s, true, true, true, true, false, false));
        r.Resize(s.points);
        dev.StartSweep(r);
        int fwdPts = 0, revPts = 0;
        double percent = 0;
        QVERIFY(testfx::WaitFor(
            [&]
            {
                dev.GetSweepUpdate(fwdPts, revPts, percent);
                return fwdPts > 0;
            }));
        dev.AbortSweep();
        dev.GetSweepUpdate(fwdPts, revPts, percent);
        QVERIFY(fwdPts > 0 && fwdPts < s.points);
        QCOMPARE(revPts, 0);
        QVERIFY(!AllZero(r.S21.mid(0, fwdPts)));
        QVERIFY(AllZero(r.S21.mid(fwdPts)));
        QVERIFY(AllZero(r.S12));
        dev.FinishSweep();  // nothing left to wait for
        dev.Disconnect();
    }

    // The waits of the library end when another thread aborts the sweep: a whole vnaGetSweep,
    // and vnaFinishSweep before the sweep is complete.
    void abortFromAnotherThreadEndsWaits()
    {
        VNADevice dev(&lib);
        QVERIFY(dev.Connect());
        VNAStimulus s = testfx::Stimulus(1e9, 10e9, 2001);
        s.ifbw = 100;  // 20 ms a point: 40 s a direction
        QVERIFY(dev.Configure(s, true, true, true, true, false, false));
        int fwdPts = 0, revPts = 0;
        double percent = 0;
        auto status = [&]
        {
            lib.vnaGetSweepStatus(dev.Handle(), &fwdPts, &revPts, &percent);
            return fwdPts;
        };

        // An abort that comes before the sweep has begun is forgotten when it begins: abort
        // until the call returns.
        SParametersRaw whole;
        std::atomic<bool> done{false};
        std::thread sweeper(
            [&]
            {
                dev.GetSweep(whole);
                done = true;
            });
        QVERIFY(testfx::WaitFor(
            [&]
            {
                lib.vnaAbortSweep(dev.Handle());
                return done.load();
            }));
        sweeper.join();
        QVERIFY(status() < s.points);
        QVERIFY(AllZero(whole.S12));

        SParametersRaw r;
        r.Resize(s.points);
        dev.StartSweep(r);
        std::thread finisher([&] { dev.FinishSweep(); });
        lib.vnaAbortSweep(dev.Handle());
        finisher.join();
        QVERIFY(status() < s.points);
        QCOMPARE(revPts, 0);
        dev.Disconnect();
    }

    void measurementLoopTwoChannels()
    {
        vnaSimSetNoise(0);
        QTemporaryDir dir;
        QCOMPARE(Cmd(qPrintable("load dut " + WriteDut(dir))), QStringLiteral("ok"));
        VNAModel model(&lib);
        QVERIFY(model.device.Connect());
        VNAChannel& a = *model.channels[0];
        VNAChannel& b = *model.channels[1];
        a.enabled = b.enabled = true;
        a.stimulus = testfx::Stimulus(1e9, 9e9, 101);
        a.stimulus.ifbw = 100000;
        b.stimulus = testfx::Stimulus(2.5e9, 6e9, 31);
        b.stimulus.ifbw = 10000;  // long enough to be swept progressively
        {
            QMutexLocker lock(&model.traceLock);
            int t = 0;
            model.InternalCreateTrace(t)->meas = S21;
            model.mapper.SetPos(0, 0, t);
            model.InternalCreateTrace(t)->meas = S22;
            model.mapper.SetPos(1, 0, t);
        }
        vnaSimClearCallLog();
        model.MeasStart();
        QVERIFY(testfx::WaitFor([&] { return model.SweepsStarted() >= 6; }));
        model.MeasStop();

        // Each channel was configured with its own stimulus and ports.
        const QString h = QString::number(model.device.Handle());
        const QStringList points = CallsNamed("vnaSweepSetPoints");
        QVERIFY(points.contains("vnaSweepSetPoints(" + h + ",101)"));
        QVERIFY(points.contains("vnaSweepSetPoints(" + h + ",31)"));
        const QStringList ports = CallsNamed("vnaSweepSetPorts");
        QVERIFY(ports.contains("vnaSweepSetPorts(" + h + ",1,0)"));
        QVERIFY(ports.contains("vnaSweepSetPorts(" + h + ",0,1)"));
        // Each channel's data are the model at its own frequencies, in its own direction.
        QCOMPARE(a.MeasRaw.Size(), 101);
        QCOMPARE(b.MeasRaw.Size(), 31);
        QVERIFY(WorstAgainstModel(a.MeasRaw, a.stimulus, true, false, false) < 1e-12);
        QVERIFY(WorstAgainstModel(b.MeasRaw, b.stimulus, false, true, false) < 1e-12);
        model.device.Disconnect();
    }

    // Averaging on noisy data: the raw record is the latest sweep as the device gave it, not the
    // average, and the receivers follow every sweep.
    void rawDataUnderAveraging()
    {
        QCOMPARE(Cmd("connect thru"), QStringLiteral("ok"));
        VNAModel model(&lib);
        QVERIFY(model.device.Connect());
        VNAChannel& ch = *model.channels[0];
        {
            QMutexLocker lock(&model.traceLock);
            int t = 0;
            model.InternalCreateTrace(t)->meas = S21;
            model.mapper.SetPos(0, 0, t);
        }
        ch.stimulus = testfx::Stimulus(1e9, 9e9, 41);
        ch.stimulus.avgEnabled = true;
        ch.stimulus.avgCount = 4;

        // Sweeps this short are taken whole: one update per sweep. What averaging was given is
        // recorded on the loop's thread, right after each sweep.
        ch.stimulus.ifbw = 100000;
        QVERIFY(ch.stimulus.EstimateSweepTime() <= VNAModel::kBlockingSweepTime);
        QMutex seenLock;
        QVector<CplxVector> seen;
        const QMetaObject::Connection recorder = connect(
            &model, &VNAModel::updatePlotsSignal, &model,
            [&]
            {
                QMutexLocker lock(&seenLock);
                seen.append(ch.RawSParam(S21));
            },
            Qt::DirectConnection);
        model.MeasStart();
        QVERIFY(testfx::WaitFor(
            [&]
            {
                QMutexLocker lock(&seenLock);
                return seen.size() >= 7;
            }));
        model.MeasStop();
        disconnect(recorder);
        // The last raw record is what the device wrote, receivers included.
        QCOMPARE(ch.RawSParam(S21), ch.MeasRaw.S21);
        for (const char* word : {"a1fwd", "b2fwd"})
        {
            CplxVector rx;
            QVERIFY(ch.RawReceiver(word, rx));
            bool found = false;
            QCOMPARE(rx, *ch.MeasRaw.GetReceiver(word, found));
            QVERIFY(!AllZero(rx));
            QMutexLocker lock(&ch.measLock);
            QCOMPARE(*ch.MeasAvg.GetReceiver(word, found), rx);
        }
        CplxVector none;
        QVERIFY(!ch.RawReceiver("c3fwd", none));
        // Each sweep has its own noise, and the average is the running mean of the raw records
        // (cumulative up to the count, then exponential).
        CplxVector mean(41);
        for (int k = 0; k < seen.size(); ++k)
        {
            const double w = 1.0 / std::min(4.0, k + 1.0);
            for (int i = 0; i < 41; ++i)
            {
                mean[i] = seen[k][i] * w + mean[i] * (1.0 - w);
            }
            QVERIFY(k == 0 || seen[k] != seen[k - 1]);
        }
        {
            QMutexLocker lock(&ch.measLock);
            double worst = 0.0;
            for (int i = 0; i < 41; ++i)
            {
                worst = std::max(worst, std::abs(ch.MeasAvg.S21[i] - mean[i]));
            }
            QVERIFY(worst < 1e-12);
            QVERIFY(ch.MeasAvg.S21 != ch.MeasRaw.S21);
        }

        // A longer sweep arrives in parts; after every part the raw record holds the reported
        // prefix of the device's buffers exactly (read on the loop's thread, as the loop does).
        ch.stimulus.ifbw = 1000;
        ch.stimulus.points = 101;
        QVERIFY(ch.stimulus.EstimateSweepTime() > VNAModel::kBlockingSweepTime);
        bool prefixesMatch = true;
        connect(
            &model, &VNAModel::updatePlotsSignal, &model,
            [&]
            {
                const int end = ch.MeasRaw.positionEnd;
                const CplxVector raw = ch.RawSParam(S21);
                CplxVector rx;
                ch.RawReceiver("b2fwd", rx);
                for (int i = 0; i < end; ++i)
                {
                    prefixesMatch = prefixesMatch && raw[i] == ch.MeasRaw.S21[i] &&
                                    rx[i] == ch.MeasRaw.b2Fwd[i];
                }
            },
            Qt::DirectConnection);
        model.MeasStart();
        QVERIFY(testfx::WaitFor(
            [&]
            {
                QMutexLocker lock(&ch.measLock);
                return ch.avgCurrent >= 2;
            }));
        model.MeasStop();
        QVERIFY(prefixesMatch);
        model.device.Disconnect();
    }

    void sceneCommandsOverLoopback()
    {
        // The listener started with the first open, on the port asked for.
        const int port = vnaSimServerPort();
        QVERIFY(port > 0);
        const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        QVERIFY(fd >= 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        addr.sin_port = htons(uint16_t(port));
        QCOMPARE(::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)), 0);
        QByteArray pending;
        auto ask = [&](const QByteArray& line)
        {
            const QByteArray out = line + "\r\n";
            if (::send(fd, out.constData(), size_t(out.size()), 0) != out.size())
            {
                return QString();
            }
            while (!pending.contains('\n'))
            {
                char buf[256];
                const ssize_t n = ::recv(fd, buf, sizeof(buf), 0);
                if (n <= 0)
                {
                    return QString();
                }
                pending.append(buf, int(n));
            }
            const int nl = pending.indexOf('\n');
            const QString reply = QString::fromLatin1(pending.left(nl));
            pending.remove(0, nl + 1);
            return reply;
        };
        QCOMPARE(ask("CONNECT PORT 1 SHORT"), QStringLiteral("ok"));
        QCOMPARE(ask("connect port 2 sliding 3"), QStringLiteral("ok"));
        QCOMPARE(ask("scene?"), QStringLiteral("ok port 1 short, port 2 sliding 3"));
        QVERIFY(ask("connect port 3 short").startsWith("error: "));
        QVERIFY(ask("fly to the moon").startsWith("error: "));
        QVERIFY(ask("load dut /nonexistent/file.s2p").startsWith("error: "));
        QVERIFY(ask("connect port 1 kit open delay x").startsWith("error: "));
        QCOMPARE(SceneAt(3e9).s11, cplx(-1.0));
        // The sliding load keeps its size and turns with its position.
        const cplx slide3 = SceneAt(8e9).s22;
        QCOMPARE(ask("connect port 2 sliding 4"), QStringLiteral("ok"));
        const cplx slide4 = SceneAt(8e9).s22;
        QVERIFY(std::fabs(std::abs(slide3) - std::abs(slide4)) < 1e-12);
        QVERIFY(std::abs(slide3) > 0.0 && std::abs(slide3) < 0.1);
        QVERIFY(std::abs(std::arg(slide3 / slide4)) > 0.1);
        // A kit open behind a lossless 50 ohm offset: the capacitor's reflection, delayed twice.
        QCOMPARE(ask("connect port 2 kit open delay 20 c0 40"), QStringLiteral("ok"));
        const double f = 12e9, w = 2 * kPi * f;
        const cplx zc = 1.0 / cplx(0.0, w * 40e-15);
        const cplx expected = (zc - 50.0) / (zc + 50.0) * std::polar(1.0, -2 * w * 20e-12);
        QVERIFY(std::abs(SceneAt(f).s22 - expected) < 1e-12);
        QCOMPARE(ask("disconnect"), QStringLiteral("ok"));
        QCOMPARE(ask("scene?"), QStringLiteral("ok port 1 nothing, port 2 nothing"));
        // A script's reset restores scene and noise but leaves the program its instrument.
        VNADevice dev(&lib);
        QVERIFY(dev.Connect());
        QCOMPARE(ask("connect thru"), QStringLiteral("ok"));
        QCOMPARE(ask("noise off"), QStringLiteral("ok"));
        QVERIFY(ask("status?").startsWith("ok open 1 sweeps 0 noise off"));
        QCOMPARE(ask("reset"), QStringLiteral("ok"));
        QVERIFY(ask("status?").startsWith("ok open 1 sweeps 0 noise on"));
        QCOMPARE(ask("scene?"), QStringLiteral("ok port 1 nothing, port 2 nothing"));
        QVERIFY(dev.Connected() && dev.GetSerialNumber() > 0);
        dev.Disconnect();
        ::close(fd);
    }

    void incompleteLibraryIsAbsent()
    {
        VnaLib partial;
        QVERIFY(!partial.Load(QStringLiteral(VNA_PARTIAL_LIBRARY)));
        QVERIFY(!partial.Available());
        QVERIFY(partial.LoadError().contains("vnaBeginSweep"));
        QVERIFY(!partial.vnaOpenDevice);
        VNADevice dev(&partial);
        QVERIFY(!dev.Connect());
        QVERIFY(!dev.Connect(40000123));
        QVERIFY(dev.GetDeviceList().empty());
        QVERIFY(dev.GetAPIVersion().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestSimulator)
#include "test_simulator.moc"
