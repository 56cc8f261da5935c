// The time transform and the gate through the remote interface: a client on a thread of its own
// sets them up on the demo device and reads the formatted data back, which must equal a gate and
// a low-pass transform computed here from the same corrected data by the literal gate and a plain
// DFT sum.
#include <QMutexLocker>
#include <QtTest>
#include <atomic>
#include <cmath>
#include <complex>
#include <thread>

#include "error_log.h"
#include "gate_reference.h"
#include "line_client.h"
#include "mainwindow.h"
#include "test_fixtures.h"
#include "time_domain.h"
#include "vna_lib.h"

using cplx = std::complex<double>;

namespace
{
constexpr double kPi = 3.14159265358979323846;

// Runs the client while the main thread serves it.
void RunClient(const std::function<void()>& client)
{
    std::atomic<bool> done{false};
    std::thread thread(
        [&]
        {
            client();
            done = true;
        });
    while (!done.load())
    {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    thread.join();
}

QVector<double> Numbers(const QByteArray& reply)
{
    QVector<double> v;
    for (const QByteArray& field : reply.split(','))
    {
        v.append(field.toDouble());
    }
    return v;
}

// Polar interpolation between two points, t outside 0..1 extrapolating: magnitude linear, phase
// along the shorter way round.
cplx Polar(cplx a, cplx b, double t)
{
    double d = std::arg(b) - std::arg(a);
    if (d > kPi)
    {
        d -= 2.0 * kPi;
    }
    else if (d < -kPi)
    {
        d += 2.0 * kPi;
    }
    return std::polar((1.0 - t) * std::abs(a) + t * std::abs(b), std::arg(a) + d * t);
}

double BesselI0(double x)
{
    double sum = 1.0, term = 1.0;
    for (int k = 1; term > 1e-18 * sum; ++k)
    {
        term *= (x / (2.0 * k)) * (x / (2.0 * k));
        sum += term;
    }
    return sum;
}

// The textbook Kaiser window, scaled to a mean of 1.
std::vector<double> Kaiser(int m, double beta)
{
    std::vector<double> w(static_cast<size_t>(m), 1.0);
    double total = 0.0;
    for (int n = 0; n < m; ++n)
    {
        const double u = m > 1 ? (2.0 * n - (m - 1)) / (m - 1) : 0.0;
        w[n] = BesselI0(beta * std::sqrt(std::max(0.0, 1.0 - u * u))) / BesselI0(beta);
        total += w[n];
    }
    for (double& v : w)
    {
        v *= m / total;
    }
    return w;
}

// Low-pass impulse of a sweep that starts k steps above DC: the spectrum mirrored into negative
// frequencies as conjugates, the k - 1 missing points and DC extrapolated in polar form from the
// first two (DC as a real number), windowed, and summed as a DFT centred on DC and on t = 0.
QVector<double> LowpassImpulse(const CplxVector& s, int k, double beta)
{
    const int n = s.size();
    const int half = n + k - 1;
    const int m = 2 * half + 1;
    auto spectrum = [&](int f) -> cplx
    {
        if (f >= k)
        {
            return s[f - k];
        }
        const cplx v = Polar(s[0], s[1], f - k);
        return f > 0 ? v : cplx(v.real(), 0.0);
    };
    std::vector<cplx> x(static_cast<size_t>(m));
    for (int f = 0; f <= half; ++f)
    {
        x[half + f] = spectrum(f);
        x[half - f] = std::conj(spectrum(f));
    }
    const std::vector<double> w = Kaiser(m, beta);
    QVector<double> out(m);
    for (int i = 0; i < m; ++i)
    {
        cplx sum = 0.0;
        for (int j = 0; j < m; ++j)
        {
            sum += w[j] * x[j] * std::polar(1.0, 2.0 * kPi * double(j - half) * (i - half) / m);
        }
        out[i] = sum.real() / m;
    }
    return out;
}

struct Replies
{
    QByteArray gridBefore, refusedType, gridAfter, type, window, beta, mode, units, velocity;
    QByteArray state, autoBefore, centre, span, start, stop, autoAfter;
    QByteArray gateStart, gateStop, gateCentre, gateSpan, gateType, gateShape, opc;
    QByteArray sdata, fdata, unknownMeasure, errorCount;
};
}  // namespace

class TestTimeRemote : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void lowpassAndGateMatchAnIndependentTransform();

private:
    VnaLib none;
    MainWindow* window = nullptr;
};

void TestTimeRemote::initTestCase()
{
    testfx::IsolateUserFiles();
    Preferences::Get().scpiPort = 0;
    Preferences::Get().scpiLockoutDialogEnabled = false;
    Hidden::Set(true);
}

void TestTimeRemote::init()
{
    window = new MainWindow(nullptr, &none);
    QVERIFY(window->Model().device.ConnectDemo());
    window->quickSetupFull2Port(true);
    QVERIFY(window->SCPIServerPort() != 0);
    SysErr::ClearErrors();
}

void TestTimeRemote::cleanup()
{
    window->close();
    delete window;
    window = nullptr;
}

void TestTimeRemote::lowpassAndGateMatchAnIndependentTransform()
{
    const quint16 port = window->SCPIServerPort();
    Replies r;
    RunClient(
        [&]
        {
            testfx::LineClient c;
            if (!c.Connect(port))
            {
                return;
            }
            const QByteArray t = ":CALC1:MEAS1:TRAN:TIME:";
            const QByteArray g = ":CALC1:MEAS1:FILT:GATE:TIME:";
            // A grid whose start is no whole number of steps: low-pass refused until it moves.
            c.Send(":SENS1:FREQ:STOP 3GHZ\n:SENS1:FREQ:STAR 1.003GHZ\n:SENS1:SWE:POIN 201\n");
            r.gridBefore = c.Query(t + "SLPF?");
            c.Send(t + "TYPE LPIM\n");
            r.refusedType = c.Query(t + "TYPE?");
            c.Send(t + "SLPF\n");
            r.gridAfter = c.Query(t + "SLPF?");
            c.Send(t + "TYPE LPIM\n" + t + "WIND:TYPE MAX\n" + t + "KBES 55\n");
            r.type = c.Query(t + "TYPE?");
            r.window = c.Query(t + "WIND:TYPE?");
            r.beta = c.Query(t + "KBES?");
            c.Send(t + "MARK:MODE REFL\n" + t + "MARK:UNIT FEET\n" + t + "MARK:VELF 0.66\n");
            r.mode = c.Query(t + "MARK:MODE?");
            r.units = c.Query(t + "MARK:UNIT?");
            r.velocity = c.Query(t + "MARK:VELF?");
            c.Send(t + "STAT ON\n");
            r.state = c.Query(t + "STAT?");
            r.autoBefore = c.Query(t + "SCAL:AUTO:STAT?");
            c.Send(t + "SCAL:CENT 5NS\n" + t + "SCAL:SPAN 20NS\n");
            r.centre = c.Query(t + "SCAL:CENT?");
            r.span = c.Query(t + "SCAL:SPAN?");
            r.start = c.Query(t + "SCAL:STAR?");
            r.stop = c.Query(t + "SCAL:STOP?");
            r.autoAfter = c.Query(t + "SCAL:AUTO:STAT?");
            c.Send(":CALC1:MEAS1:FORM REAL\n" + g + "STAT ON\n" + g + "CENT 1NS\n" + g +
                   "SPAN 3NS\n" + g + "SHAP WIDE\n");
            r.gateStart = c.Query(g + "STAR?");
            r.gateStop = c.Query(g + "STOP?");
            r.gateCentre = c.Query(g + "CENT?");
            r.gateSpan = c.Query(g + "SPAN?");
            r.gateType = c.Query(g + "TYPE?");
            r.gateShape = c.Query(g + "SHAP?");
            // One whole sweep on the new grid, then the channel holds it.
            r.opc = c.Query(":INIT1:IMM;*OPC?", 60000);
            r.sdata = c.Query(":CALC1:MEAS1:DATA:SDATA?");
            r.fdata = c.Query(":CALC1:MEAS1:DATA:FDATA?");
            r.unknownMeasure = c.Query(":CALC1:MEAS9:TRAN:TIME:STAT?;:SYST:ERR:NEXT?");
            r.errorCount = c.Query(":SYST:ERR:COUN?");
        });

    QCOMPARE(r.gridBefore, QByteArray("0"));
    QCOMPARE(r.refusedType, QByteArray("bpass"));  // hidden: refused without a box
    QCOMPARE(r.gridAfter, QByteArray("1"));
    QCOMPARE(r.type, QByteArray("lpimpulse"));
    QCOMPARE(r.window, QByteArray("maximum"));
    QCOMPARE(r.beta.toDouble(), kMaxWindowBeta);
    // Marker mode and units answer their numbers.
    QCOMPARE(r.mode, QByteArray("1"));
    QCOMPARE(r.units, QByteArray("2"));
    QCOMPARE(r.velocity.toDouble(), 0.66);
    QCOMPARE(r.state, QByteArray("1"));
    QCOMPARE(r.autoBefore, QByteArray("1"));
    QVERIFY(std::fabs(r.centre.toDouble() - 5e-9) < 1e-20);
    QVERIFY(std::fabs(r.span.toDouble() - 20e-9) < 1e-20);
    QVERIFY(std::fabs(r.start.toDouble() + 5e-9) < 1e-20);
    QVERIFY(std::fabs(r.stop.toDouble() - 15e-9) < 1e-20);
    QCOMPARE(r.autoAfter, QByteArray("0"));
    QVERIFY(std::fabs(r.gateStart.toDouble() + 0.5e-9) < 1e-20);
    QVERIFY(std::fabs(r.gateStop.toDouble() - 2.5e-9) < 1e-20);
    QVERIFY(std::fabs(r.gateCentre.toDouble() - 1e-9) < 1e-20);
    QVERIFY(std::fabs(r.gateSpan.toDouble() - 3e-9) < 1e-20);
    QCOMPARE(r.gateType, QByteArray("bpass"));
    QCOMPARE(r.gateShape, QByteArray("wide"));
    QCOMPARE(r.opc, QByteArray("1"));
    QVERIFY2(r.unknownMeasure.contains("Invalid measure suffix"), r.unknownMeasure.constData());
    QCOMPARE(r.errorCount, QByteArray("0"));

    // The same gate and transform, computed here from the corrected data the client read.
    const VNAStimulus stim = window->Model().channels[0]->stimulus;
    const QVector<double> pairs = Numbers(r.sdata);
    QCOMPARE(pairs.size(), 2 * stim.points);
    CplxVector s(stim.points);
    for (int i = 0; i < stim.points; ++i)
    {
        s[i] = cplx(pairs[2 * i], pairs[2 * i + 1]);
    }
    const double step = stim.StepSize();
    testfx::GateSParamLiteral(s, stim.start, step, r.gateStart.toDouble(), r.gateStop.toDouble(),
                              GateBandpass, GateShapeWide);
    const int k = int(std::lround(stim.start / step));
    QCOMPARE(k, 1);
    const QVector<double> expected = LowpassImpulse(s, k, 13.0);
    const QVector<double> fdata = Numbers(r.fdata);
    QCOMPARE(fdata.size(), expected.size());
    double peak = 0.0, worst = 0.0;
    for (int i = 0; i < expected.size(); ++i)
    {
        peak = std::max(peak, std::fabs(expected[i]));
        worst = std::max(worst, std::fabs(fdata[i] - expected[i]));
    }
    qInfo("worst %g of peak %g over %d points", worst, peak, int(expected.size()));
    QVERIFY(peak > 1e-3);
    QVERIFY2(worst < 1e-7 * peak, qPrintable(QString("worst %1 of peak %2").arg(worst).arg(peak)));
}

QTEST_MAIN(TestTimeRemote)
#include "test_time_remote.moc"
