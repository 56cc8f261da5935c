// Fixtures through the remote interface, on a channel calibrated on the instrument simulator. The
// simulator measures a device through fixtures of the test's own, cascaded here in ABCD form;
// de-embedding the fixture files must give back the device, embedding others must give their
// cascade, and port extension must take out matched lines in front of the fixtures. Last, the
// automatic port extension, run from the Fixtures panel, measures a lossy cable with an open on
// one port and a short on the other.
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QMutexLocker>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <complex>

#include "error_log.h"
#include "line_client.h"
#include "mainwindow.h"
#include "modal_answerer.h"
#include "port_extension_dialog.h"
#include "sim_fixtures.h"
#include "test_fixtures.h"
#include "vna_lib.h"
#include "vna_sim.h"

using testfx::LineClient;
using testfx::TwoPortFn;

namespace
{
using cplx = std::complex<double>;

// Noise off, the calibrated instrument gives the device to rounding; the replies carry ten
// significant digits.
constexpr double kExact = 1e-9;
constexpr double kZ0 = 50.0;
constexpr int kPoints = 101;

struct Abcd
{
    cplx a, b, c, d;
};

Abcd operator*(const Abcd& x, const Abcd& y)
{
    return {x.a * y.a + x.b * y.c, x.a * y.b + x.b * y.d, x.c * y.a + x.d * y.c,
            x.c * y.b + x.d * y.d};
}

// s in the order S11, S21, S12, S22, referred to kZ0.
Abcd FromS(const cplx s[4])
{
    const cplx s11 = s[0], s21 = s[1], s12 = s[2], s22 = s[3];
    const cplx k = 2.0 * s21;
    return {((1.0 + s11) * (1.0 - s22) + s12 * s21) / k,
            kZ0 * ((1.0 + s11) * (1.0 + s22) - s12 * s21) / k,
            ((1.0 - s11) * (1.0 - s22) - s12 * s21) / (k * kZ0),
            ((1.0 - s11) * (1.0 + s22) + s12 * s21) / k};
}

void ToS(const Abcd& m, cplx s[4])
{
    const cplx bz = m.b / kZ0, cz = m.c * kZ0;
    const cplx den = m.a + bz + cz + m.d;
    s[0] = (m.a + bz - cz - m.d) / den;
    s[1] = 2.0 / den;
    s[2] = 2.0 * (m.a * m.d - m.b * m.c) / den;
    s[3] = (-m.a + bz - cz + m.d) / den;
}

// A line of impedance z with skin loss: attenuation in nepers at 1 GHz, growing with sqrt(f).
Abcd LineAbcd(double z, double delay, double nepersAt1GHz, double f)
{
    const cplx gl(nepersAt1GHz * std::sqrt(f / 1e9), 2.0 * M_PI * f * delay);
    return {std::cosh(gl), z * std::sinh(gl), std::sinh(gl) / z, std::cosh(gl)};
}

// Port 1's fixture: a mismatched lossy line section.
const TwoPortFn kFixture1 = testfx::Line(40.0, 150e-12, 3e9);

// Port 2's fixture, not symmetric: a line on the side of the device (its port 1), a series
// resistor on the side of the instrument.
void Fixture2(double f, cplx s[4])
{
    ToS(LineAbcd(58.0, 90e-12, 0.02, f) * Abcd{1.0, 6.0, 0.0, 1.0}, s);
}

// The device: smooth, mismatched and not reciprocal.
void Device(double f, cplx s[4])
{
    const double g = f / 1e9;
    s[0] = std::polar(0.35 + 0.1 * std::sin(0.4 * g), 0.3 - 1.3 * g);
    s[1] = std::polar(0.7 - 0.01 * g, -0.2 - 4.1 * g);
    s[2] = std::polar(0.2 + 0.005 * g, 1.1 - 4.1 * g);
    s[3] = std::polar(0.25 + 0.05 * std::cos(0.3 * g), -0.7 - 2.2 * g);
}

TwoPortFn Cascade(const std::vector<TwoPortFn>& parts)
{
    return [parts](double f, cplx s[4])
    {
        Abcd m{1.0, 0.0, 0.0, 1.0};
        for (const TwoPortFn& p : parts)
        {
            cplx ps[4];
            p(f, ps);
            m = m * FromS(ps);
        }
        ToS(m, s);
    };
}

// The loss law of a port extension, in dB at f: one point gives the square-root law, two points
// fit the exponent; the DC offset adds to both ports.
double ExtensionLossDb(const PortExtensionSettings& e, int p, double f)
{
    double db = e.lossDC;
    if (e.use1[p])
    {
        const double n =
            e.use2[p] ? std::log(e.loss1[p] / e.loss2[p]) / std::log(e.freq1[p] / e.freq2[p]) : 0.5;
        db += e.loss1[p] * std::pow(f / e.freq1[p], n);
    }
    return db;
}

// A matched line with the delay and loss of one port's extension: what the extension takes out.
TwoPortFn MatchedLine(const PortExtensionSettings& e, int port)
{
    return [e, port](double f, cplx s[4])
    {
        const cplx t = std::polar(std::pow(10.0, -ExtensionLossDb(e, port, f) / 20.0),
                                  -2.0 * M_PI * f * e.delay[port]);
        s[0] = s[3] = 0.0;
        s[1] = s[2] = t;
    };
}

// One-way loss in dB of a cable: skin effect and a little dielectric loss.
double CableLossDb(double f)
{
    return 0.25 * std::sqrt(f / 1e9) + 0.012 * f / 1e9;
}

// A cable of one-way delay tau on each port, ending in an open on port 1 and a short on port 2;
// nothing passes between the ports.
TwoPortFn OpenAndShortBehindCables(const double tau[2])
{
    const double t0 = tau[0], t1 = tau[1];
    return [t0, t1](double f, cplx s[4])
    {
        const double twoWay = std::pow(10.0, -2.0 * CableLossDb(f) / 20.0);
        s[0] = twoWay * std::polar(1.0, -4.0 * M_PI * f * t0);
        s[3] = -twoWay * std::polar(1.0, -4.0 * M_PI * f * t1);
        s[1] = s[2] = 0.0;
    };
}

// The four parameters of a two-port at the sweep's points.
SParameters At(const TwoPortFn& fn, const QVector<double>& f)
{
    SParameters out;
    out.Resize(f.size());
    for (int i = 0; i < f.size(); ++i)
    {
        cplx s[4];
        fn(f[i], s);
        for (int k = 0; k < 4; ++k)
        {
            out.GetSParam(VNATraceMeas(k))[i] = s[k];
        }
    }
    return out;
}

// Complex pairs of a reply ("re,im,re,im,...").
CplxVector Pairs(const QByteArray& reply)
{
    const QList<QByteArray> v = reply.split(',');
    CplxVector out;
    for (int i = 0; i + 1 < v.size(); i += 2)
    {
        out.append(cplx(v[i].toDouble(), v[i + 1].toDouble()));
    }
    return out;
}

bool IsError(const QByteArray& reply, int code, const QByteArray& detail)
{
    return reply.startsWith(QByteArray::number(code) + ',') && reply.contains(detail);
}

QByteArray Quoted(const QString& path)
{
    return '"' + path.toUtf8() + '"';
}
}  // namespace

class TestFixturesRemote : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void deembedRecoversTheDeviceAndEmbedAddsOtherFixtures();
    void suffixRulesAndFilesThatDoNotLoad();
    void portExtensionBeforeTheFixtures();
    void autoExtensionFromThePanel();

private:
    void Session(const std::function<void(LineClient&)>& body);
    // Puts a device on the simulator and takes one sweep of the channel.
    void Sweep(const TwoPortFn& device, const QString& name);
    // The four measurements as the remote client reads them: the processed data through the
    // Smith format (FDATA?), or the corrected data (SDATA?).
    SParameters Read(LineClient& c, const char* kind);
    // Loads both fixture files into the de-embedding object and switches it on.
    void DeembedBothFixtures(LineClient& c);

    VnaLib lib;
    QTemporaryDir dir;
    MainWindow* window = nullptr;
    quint16 port = 0;
    QVector<double> f;
    QString fixture1, fixture2;
};

void TestFixturesRemote::Session(const std::function<void(LineClient&)>& body)
{
    testfx::RunClients({[&]
                        {
                            LineClient c;
                            if (c.Connect(port))
                            {
                                body(c);
                            }
                        }});
}

SParameters TestFixturesRemote::Read(LineClient& c, const char* kind)
{
    SParameters s;
    for (int k = 0; k < 4; ++k)
    {
        s.GetSParam(VNATraceMeas(k)) = Pairs(
            c.Query(QStringLiteral(":CALC1:MEAS%1:DATA:%2?").arg(k + 1).arg(kind).toLatin1()));
    }
    return s;
}

void TestFixturesRemote::DeembedBothFixtures(LineClient& c)
{
    c.Send(":SENS1:CORR:DEEMB:PORT1:LOAD " + Quoted(fixture1) + '\n');
    c.Send(":SENS1:CORR:DEEMB:PORT2:LOAD " + Quoted(fixture2) + '\n');
    c.Send(":SENS1:CORR:DEEMB:STAT ON\n");
}

void TestFixturesRemote::Sweep(const TwoPortFn& device, const QString& name)
{
    QVERIFY(testfx::Scene("load dut " + testfx::WriteExact(dir, name, f, device)));
    QByteArray opc;
    Session(
        [&](LineClient& c)
        {
            c.Send(":INIT1:IMM\n");
            opc = c.Query("*OPC?");
        });
    QCOMPARE(opc, QByteArray("1"));
}

void TestFixturesRemote::initTestCase()
{
    testfx::IsolateUserFiles();
    Preferences::Get().scpiPort = 0;
    Preferences::Get().scpiLockoutDialogEnabled = false;
    Hidden::Set(true);
    vnaSimSetServerPort(-1);
    QVERIFY(dir.isValid());
    QVERIFY2(lib.Load(QStringLiteral(VNA_SIM_LIBRARY)), qPrintable(lib.LoadError()));
    vnaSimReset();
    vnaSimSetNoise(0);
    // An exact eight-term instrument: the calibration needs no isolation.
    QVERIFY(testfx::Scene("crosstalk off"));
    window = new MainWindow(nullptr, &lib);
    VNAModel& model = window->Model();
    QVERIFY(model.device.Connected());
    port = window->SCPIServerPort();
    QVERIFY(port != 0);

    // The channel's sweep, and a twelve-term calibration measured on it with the loop stopped.
    VNAStimulus stim = testfx::Stimulus(40e6, 20e9, kPoints);
    stim.ifbw = 100000.0;
    f = testfx::SweepFreqs(stim);
    window->MeasStop();
    VNAChannel& ch = *model.channels[0];
    ch.stimulus = stim;
    testfx::SimCal setup;
    setup.type = SOLT;
    setup.isolation = false;
    setup.thruCommand = testfx::ConnectThru(82.157, 0.0, 50.0);
    ch.calibration = testfx::CalibrateOnSim(model.device, setup, testfx::ModelKit(82.157), stim);
    QVERIFY(ch.calibration.CorrectionsLoaded());
    window->MeasStart();

    fixture1 = testfx::WriteExact(dir, QStringLiteral("fixture1.s2p"), f, kFixture1);
    fixture2 = testfx::WriteExact(dir, QStringLiteral("fixture2.s2p"), f, Fixture2);
    QByteArray count;
    Session(
        [&](LineClient& c)
        {
            c.Send(":CALC1:MEAS1:PAR S11\n");
            for (int k = 2; k <= 4; ++k)
            {
                c.Send(QStringLiteral(":CALC1:MEAS%1:DEF\n").arg(k).toLatin1());
            }
            const char* params[4] = {"S11", "S21", "S12", "S22"};
            for (int k = 1; k <= 4; ++k)
            {
                c.Send(QStringLiteral(":CALC1:MEAS%1:PAR %2\n:CALC1:MEAS%1:FORM SMIT\n")
                           .arg(k)
                           .arg(QLatin1String(params[k - 1]))
                           .toLatin1());
            }
            count = c.Query(":SYST:ERR:COUN?");
        });
    QCOMPARE(count, QByteArray("0"));
}

void TestFixturesRemote::cleanupTestCase()
{
    if (window)
    {
        window->close();
        delete window;
    }
}

void TestFixturesRemote::deembedRecoversTheDeviceAndEmbedAddsOtherFixtures()
{
    const TwoPortFn measured = Cascade({kFixture1, Device, Fixture2});
    Sweep(measured, QStringLiteral("cascade.s2p"));

    SParameters plain, corrected, deembedded, correctedAfter, swapped, restored;
    QByteArray state, loaded, embState, errors;
    Session(
        [&](LineClient& c)
        {
            plain = Read(c, "FDATA");
            DeembedBothFixtures(c);
            state = c.Query(":SENS1:CORR:DEEMB:STAT?");
            loaded = c.Query(":SENS1:CORR:DEEMB:PORT1:LOAD?;:SENS1:CORR:DEEMB:PORT2:LOAD?");
            deembedded = Read(c, "FDATA");
            correctedAfter = Read(c, "SDATA");
            // The embedding object runs after: the other fixture on each port, each file as
            // it stands (its port 1 towards the instrument on port 1, towards the device on 2).
            c.Send(":SENS1:CORR:EMB:PORT1:LOAD " + Quoted(fixture2) + '\n');
            c.Send(":SENS1:CORR:EMB:PORT2:LOAD " + Quoted(fixture1) + '\n');
            c.Send(":SENS1:CORR:EMB:STAT 1\n");
            embState = c.Query(":SENS1:CORR:EMB:STAT?");
            swapped = Read(c, "FDATA");
            c.Send(":SENS1:CORR:EMB:STAT OFF\n:SENS1:CORR:DEEMB:STAT OFF\n");
            restored = Read(c, "FDATA");
            corrected = Read(c, "SDATA");
            errors = c.Query(":SYST:ERR:COUN?");
        });
    QCOMPARE(state, QByteArray("1"));
    QCOMPARE(loaded, QByteArray("1;1"));
    QCOMPARE(embState, QByteArray("1"));
    QCOMPARE(errors, QByteArray("0"));

    const SParameters cascade = At(measured, f);
    const SParameters device = At(Device, f);
    const SParameters other = At(Cascade({Fixture2, Device, kFixture1}), f);
    struct
    {
        const char* what;
        const SParameters& got;
        const SParameters& expected;
    } checks[] = {
        {"corrected measurement", corrected, cascade},
        {"Smith trace without fixtures", plain, cascade},
        {"de-embedded", deembedded, device},
        {"corrected data with de-embedding on", correctedAfter, cascade},
        {"de-embedded, then other fixtures embedded", swapped, other},
        {"both off again", restored, cascade},
    };
    for (const auto& k : checks)
    {
        const double error = testfx::MaxDifference(k.got, k.expected);
        qInfo("%s: worst difference %.3g", k.what, error);
        QVERIFY2(error < kExact, k.what);
    }
    // The fixtures change the result, not just rounding.
    QVERIFY(testfx::MaxDifference(device, cascade) > 0.1);

    Session(
        [&](LineClient& c)
        {
            c.Send(":SENS1:CORR:DEEMB:PORT1:CLE\n:SENS1:CORR:EMB:PORT2:CLE\n");
            loaded = c.Query(
                ":SENS1:CORR:DEEMB:PORT1:LOAD?;:SENS1:CORR:DEEMB:PORT2:LOAD?;"
                ":SENS1:CORR:EMB:PORT1:LOAD?;:SENS1:CORR:EMB:PORT2:LOAD?");
            c.Send(":SENS1:CORR:DEEMB:PORT2:CLE\n:SENS1:CORR:EMB:PORT1:CLE\n");
        });
    QCOMPARE(loaded, QByteArray("0;1;1;0"));
}

void TestFixturesRemote::suffixRulesAndFilesThatDoNotLoad()
{
    const QString bad =
        testfx::WriteFile(dir, QStringLiteral("bad.s2p"), "# Hz S RI R 50\n1 2 x\n");
    const QString oneport =
        testfx::WriteFile(dir, QStringLiteral("one.s1p"), "# Hz S RI R 50\n1e9 0.1 0.2\n");
    QVector<QByteArray> suffixErrors, fileErrors;
    QByteArray loaded, afterBad, count;
    Session(
        [&](LineClient& c)
        {
            c.Send(":SENS1:CORR:DEEMB:PORT1:LOAD " + Quoted(fixture1) + '\n');
            // Port 3, port 0 and no port at all are refused before anything is read or changed;
            // a refused query sends no reply, so the next line read answers the error query.
            const QByteArray refused[] = {
                ":SENS1:CORR:DEEMB:PORT3:LOAD " + Quoted(fixture2),
                ":SENS1:CORR:EMB:PORT3:LOAD " + Quoted(fixture2),
                ":SENS1:CORR:DEEMB:PORT3:LOAD?",
                ":SENS1:CORR:EMB:PORT0:LOAD?",
                ":SENS1:CORR:DEEMB:PORT:CLE",
                ":SENS1:CORR:EMB:PORT3:CLE",
            };
            for (const QByteArray& line : refused)
            {
                c.Send(line + '\n');
                suffixErrors.append(c.Query(":SYST:ERR:NEXT?"));
            }
            loaded = c.Query(":SENS1:CORR:DEEMB:PORT1:LOAD?;:SENS1:CORR:EMB:PORT1:LOAD?");
            // Files that do not load keep the fixture in place and name themselves in the error.
            for (const QString& path : {bad, oneport, dir.filePath(QStringLiteral("none.s2p"))})
            {
                c.Send(":SENS1:CORR:DEEMB:PORT1:LOAD " + Quoted(path) + '\n');
                fileErrors.append(c.Query(":SYST:ERR:NEXT?"));
            }
            afterBad = c.Query(":SENS1:CORR:DEEMB:PORT1:LOAD?");
            count = c.Query(":SYST:ERR:COUN?");
            c.Send(":SENS1:CORR:DEEMB:PORT1:CLE\n");
        });
    QCOMPARE(suffixErrors.size(), 6);
    for (const QByteArray& e : suffixErrors)
    {
        QVERIFY2(IsError(e, InvalidSuffix, ";Invalid suffix"), e.constData());
    }
    QCOMPARE(loaded, QByteArray("1;0"));
    QCOMPARE(fileErrors.size(), 3);
    const char* names[3] = {"bad.s2p", "one.s1p", "none.s2p"};
    for (int i = 0; i < 3; ++i)
    {
        QVERIFY2(IsError(fileErrors[i], InvalidParameter, names[i]), fileErrors[i].constData());
    }
    QVERIFY(fileErrors[1].contains("two-port"));
    QCOMPARE(afterBad, QByteArray("1"));
    QCOMPARE(count, QByteArray("0"));
}

void TestFixturesRemote::portExtensionBeforeTheFixtures()
{
    // Matched lines in front of the fixtures, with the extension's own delays and losses: one
    // loss point on port 1, two on port 2, and a DC offset on both.
    PortExtensionSettings e;
    e.delay[0] = 0.21e-9;
    e.delay[1] = 0.37e-9;
    e.use1[0] = true;
    e.freq1[0] = 2e9;
    e.loss1[0] = 0.4;
    e.use1[1] = e.use2[1] = true;
    e.freq1[1] = 1e9;
    e.loss1[1] = 0.25;
    e.freq2[1] = 9e9;
    e.loss2[1] = 0.25 * std::pow(9.0, 0.7);
    e.lossDC = 0.05;
    const TwoPortFn measured =
        Cascade({MatchedLine(e, 0), kFixture1, Device, Fixture2, MatchedLine(e, 1)});
    Sweep(measured, QStringLiteral("extended.s2p"));
    window->Model().SetPortExtension(0, e);
    window->calConfigurePortExtensionEnabled(0, true);

    SParameters extended, deembedded, corrected;
    Session(
        [&](LineClient& c)
        {
            extended = Read(c, "FDATA");
            DeembedBothFixtures(c);
            deembedded = Read(c, "FDATA");
            corrected = Read(c, "SDATA");
            c.Send(":SENS1:CORR:DEEMB:STAT OFF\n");
        });
    window->calConfigurePortExtensionEnabled(0, false);
    const double errors[3] = {
        testfx::MaxDifference(extended, At(Cascade({kFixture1, Device, Fixture2}), f)),
        testfx::MaxDifference(deembedded, At(Device, f)),
        testfx::MaxDifference(corrected, At(measured, f)),
    };
    qInfo("port extension alone %.3g, then de-embedded %.3g; corrected data %.3g", errors[0],
          errors[1], errors[2]);
    for (double error : errors)
    {
        QVERIFY2(error < kExact, qPrintable(QString::number(error)));
    }
}

void TestFixturesRemote::autoExtensionFromThePanel()
{
    VNAModel& m = window->Model();
    // Short enough for the phase to turn less than half a turn between points of this sweep.
    const double tau[2] = {0.8e-9, 0.35e-9};
    Sweep(OpenAndShortBehindCables(tau), QStringLiteral("cables.s2p"));
    window->panelButtonClicked(4);
    QWidget* panel = window->Panel(4);
    QVERIFY(panel);

    // The dialog measures each port with "Measure Loss" on, from sweeps of the live channel, and
    // hands its result over on Ok.
    QStringList status;
    testfx::ModalAnswerer answer;
    answer.onDialog = [&](QDialog* d)
    {
        auto* dialog = qobject_cast<VNAPortExtensionDialog*>(d);
        if (!dialog)
        {
            d->reject();
            return;
        }
        // What an earlier setup left (the DC offset above all) goes first.
        dialog->findChild<QPushButton*>(QStringLiteral("clearAll"))->click();
        dialog->findChild<QCheckBox*>(QStringLiteral("measureLoss"))->setChecked(true);
        for (const char* button : {"measurePort1Open", "measurePort2Short"})
        {
            dialog->findChild<QPushButton*>(QLatin1String(button))->click();
            // A guard against a sweep that never comes, not a timing check.
            QTRY_VERIFY_WITH_TIMEOUT(!dialog->Measuring(), 30000);
            status.append(dialog->StatusText());
        }
        dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
    };
    panel->findChild<QPushButton*>(QStringLiteral("configPortExtension"))->click();
    QCOMPARE(status, QStringList({"Measured.", "Measured."}));
    const PortExtensionSettings e = m.GetPortExtension(0);
    QVERIFY(!e.enabled);
    QVERIFY2(std::fabs(e.delay[0] - tau[0]) < 1e-12 && std::fabs(e.delay[1] - tau[1]) < 1e-12,
             qPrintable(QString("delays %1 s, %2 s").arg(e.delay[0]).arg(e.delay[1])));
    QVERIFY(e.use1[0] && e.use1[1] && e.use2[0] && e.use2[1]);
    QCOMPARE(e.lossDC, 0.0);

    // Switched on in the panel, the open and the short read as themselves across the band.
    panel->findChild<QCheckBox*>(QStringLiteral("portExtension"))->click();
    QVERIFY(m.GetPortExtension(0).enabled);
    SParameters extended;
    Session([&](LineClient& c) { extended = Read(c, "FDATA"); });
    window->calConfigurePortExtensionEnabled(0, false);
    m.SetPortExtension(0, PortExtensionSettings());
    QCOMPARE(extended.S11.size(), kPoints);
    QCOMPARE(extended.S22.size(), kPoints);
    double worstDeg = 0.0, worstDb = 0.0;
    for (int i = 0; i < kPoints; ++i)
    {
        for (const cplx r : {extended.S11[i], -extended.S22[i]})
        {
            worstDeg = std::max(worstDeg, std::fabs(std::arg(r)) * 180.0 / M_PI);
            worstDb = std::max(worstDb, std::fabs(20.0 * std::log10(std::abs(r))));
        }
    }
    qInfo("open and short after the automatic extension: worst %.3g deg, %.3g dB", worstDeg,
          worstDb);
    QVERIFY2(worstDeg < 1.0, qPrintable(QString::number(worstDeg)));
    QVERIFY2(worstDb < 0.05, qPrintable(QString::number(worstDb)));
    // The cables alone are far outside those bounds: the check measures the extension.
    QVERIFY(2.0 * CableLossDb(f.last()) > 1.0);
}

QTEST_MAIN(TestFixturesRemote)
#include "test_fixtures_remote.moc"
