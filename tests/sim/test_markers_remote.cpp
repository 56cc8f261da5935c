// Markers through the remote interface, with the instrument simulator measuring our band-pass
// filter file. The program shows the filter uncorrected, through the instrument's error adapters;
// the test carries the file's S-parameters through the simulator's twelve error terms itself, and
// the markers must land where that trace has its peaks, edges and minimum.
#include <QFile>
#include <QMutexLocker>
#include <QtTest>
#include <cmath>
#include <complex>

#include "error_log.h"
#include "line_client.h"
#include "mainwindow.h"
#include "marker_reference.h"
#include "test_fixtures.h"
#include "vna_lib.h"
#include "vna_sim.h"

using testfx::LineClient;
using testfx::RunClients;

namespace
{
using cplx = std::complex<double>;

// Points on the file's own 10 MHz grid around the pass band, so the simulator needs no
// interpolation between the file's rows.
constexpr double kStart = 2.205e9;
constexpr double kStop = 3.205e9;
constexpr int kPoints = 101;
const char* const kFile = VNA_SOURCE_DIR "/resources/demo_bandpass.s2p";

struct FileRow
{
    double f = 0.0;
    cplx s[4];  // S11, S21, S12, S22
};

// Rows of a "# Hz S DB" file: frequency, then dB and degrees of S11, S21, S12, S22.
QVector<FileRow> ReadDbFile(const QString& path)
{
    QVector<FileRow> rows;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
    {
        return rows;
    }
    while (!file.atEnd())
    {
        const QList<QByteArray> v = file.readLine().simplified().split(' ');
        if (v.size() != 9 || v[0].startsWith('!') || v[0].startsWith('#'))
        {
            continue;
        }
        FileRow r;
        r.f = v[0].toDouble();
        for (int k = 0; k < 4; ++k)
        {
            r.s[k] = std::polar(std::pow(10.0, v[1 + 2 * k].toDouble() / 20.0),
                                v[2 + 2 * k].toDouble() * M_PI / 180.0);
        }
        rows.append(r);
    }
    return rows;
}

// |S21| in dB as the uncorrected instrument reads a device: the forward twelve-term model.
double MeasuredS21Db(double f, const cplx s[4])
{
    double t[24];
    vnaSimErrorTerms(f, 0, t);
    auto term = [&t](int k) { return cplx(t[2 * k], t[2 * k + 1]); };
    const cplx esf = term(1), elf = term(2), etf = term(4), exf = term(5);
    const cplx det = s[0] * s[3] - s[1] * s[2];
    const cplx m = exf + etf * s[1] / (1.0 - esf * s[0] - elf * s[3] + esf * elf * det);
    return 20.0 * std::log10(std::abs(m));
}

QVector<double> Numbers(const QByteArray& reply)
{
    QVector<double> out;
    for (const QByteArray& v : reply.split(','))
    {
        out.append(v.toDouble());
    }
    return out;
}

double Number(const QByteArray& reply)
{
    bool ok = false;
    const double v = reply.toDouble(&ok);
    return ok ? v : NAN;
}

bool IsError(const QByteArray& reply, int code, const char* detail)
{
    return reply.startsWith(QByteArray::number(code) + ',') &&
           reply.endsWith(QByteArray(";") + detail);
}

// Runs a scene command on the simulator's own port; true on "ok".
bool Scene(LineClient& scene, const QByteArray& line)
{
    return scene.Query(line).startsWith("ok");
}
}  // namespace

class TestMarkersRemote : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void peaksAndMinimumOfTheFilter();
    void bandwidthAtTheFiltersEdges();
    void couplingAcrossTracesAndChannels();
    void suffixRulesAndTheReferenceMarker();
    void trackingFollowsTheNextSweep();

private:
    // Runs the session on a client thread while the window serves it.
    void Session(const std::function<void(LineClient&)>& body);

    VnaLib lib;
    MainWindow* window = nullptr;
    quint16 port = 0;
    QVector<FileRow> rows;
    QVector<double> x, y;  // the expected S21 trace in dB
};

void TestMarkersRemote::Session(const std::function<void(LineClient&)>& body)
{
    RunClients({[&]
                {
                    LineClient c;
                    if (c.Connect(port))
                    {
                        body(c);
                    }
                }});
}

void TestMarkersRemote::initTestCase()
{
    testfx::IsolateUserFiles();
    Preferences::Get().scpiPort = 0;
    Preferences::Get().scpiLockoutDialogEnabled = false;
    Hidden::Set(true);
    vnaSimSetServerPort(0);
    QVERIFY2(lib.Load(QStringLiteral(VNA_SIM_LIBRARY)), qPrintable(lib.LoadError()));
    vnaSimReset();
    // The expected trace is the file seen through the uncorrected instrument: no factory
    // calibration on the flash.
    char reply[64];
    vnaSimCommand("flash erase", reply, sizeof(reply));
    QCOMPARE(QByteArray(reply), QByteArray("ok"));
    window = new MainWindow(nullptr, &lib);
    QVERIFY(window->Model().device.Connected());
    port = window->SCPIServerPort();
    QVERIFY(port != 0);

    rows = ReadDbFile(QString::fromUtf8(kFile));
    QVERIFY(rows.size() > 1000);
    const int first = int(std::lround((kStart - rows[0].f) / (rows[1].f - rows[0].f)));
    QCOMPARE(rows[first].f, kStart);
    for (int i = 0; i < kPoints; ++i)
    {
        const FileRow& r = rows[first + i];
        x.append(r.f);
        y.append(MeasuredS21Db(r.f, r.s));
    }

    bool scene = false;
    QByteArray opc, xReply, fdata, measured;
    Session(
        [&](LineClient& c)
        {
            LineClient sim;
            scene = sim.Connect(quint16(vnaSimServerPort())) && Scene(sim, "noise off") &&
                    Scene(sim, QByteArray("load dut ") + kFile);
            c.Send(
                ":SENS1:FREQ:STAR 2205000000\n:SENS1:FREQ:STOP 3205000000\n"
                ":SENS1:SWE:POIN 101\n:CALC1:MEAS2:DEF\n:CALC1:MEAS2:PAR S21\n"
                ":CONF:CHAN2:STAT 1\n:SENS2:FREQ:STAR 2205000000\n"
                ":SENS2:FREQ:STOP 3205000000\n:SENS2:SWE:POIN 101\n:CALC2:MEAS1:DEF\n"
                ":CALC2:MEAS1:PAR S21\n");
            // One single sweep per channel, each finished before the next is asked for: a
            // single sweep restarts the loop, which would cut short one still running.
            for (const char* channel : {"1", "2"})
            {
                c.Send(QByteArray(":INIT") + channel + ":IMM\n");
                opc += c.Query("*OPC?");
            }
            xReply = c.Query(":CALC1:MEAS2:DATA:X?");
            fdata = c.Query(":CALC1:MEAS2:DATA:FDATA?");
            measured = c.Query(":CALC2:MEAS1:DATA:FDATA?");
        });
    QVERIFY(scene);
    QCOMPARE(opc, QByteArray("11"));
    QCOMPARE(Numbers(xReply), x);
    // The program's trace is the file seen through the instrument, on both channels.
    for (const QByteArray& reply : {fdata, measured})
    {
        const QVector<double> shown = Numbers(reply);
        QCOMPARE(shown.size(), kPoints);
        for (int i = 0; i < kPoints; ++i)
        {
            QVERIFY2(std::fabs(shown[i] - y[i]) < 1e-6,
                     qPrintable(QStringLiteral("%1: %2 %3").arg(i).arg(shown[i]).arg(y[i])));
        }
    }
}

void TestMarkersRemote::cleanupTestCase()
{
    if (window)
    {
        window->close();
        delete window;
    }
}

void TestMarkersRemote::peaksAndMinimumOfTheFilter()
{
    // The peak steps use a threshold 10 dB under the top and a small excursion, so the pass
    // band's ripple gives several peaks to step between.
    const int top = testfx::ExtremeIndex(y, true);
    const double threshold = std::floor(y[top]) - 10.0;
    const double excursion = 0.02;
    const QVector<int> peaks = testfx::WalkPeaks(y, threshold, excursion);
    QVERIFY2(peaks.size() >= 2, qPrintable(QString::number(peaks.size())));
    qInfo("%d peaks above %.0f dB in the pass band", int(peaks.size()), threshold);

    QByteArray maxX, maxY, minX, minY;
    QVector<QByteArray> rightward, leftward, next;
    Session(
        [&](LineClient& c)
        {
            c.Send(":CALC1:MEAS2:MARK1:FUNC:EXEC MAX\n:CALC1:MEAS2:MARK2:FUNC:EXEC MIN\n");
            maxX = c.Query(":CALC1:MEAS2:MARK1:X?");
            maxY = c.Query(":CALC1:MEAS2:MARK1:Y?");
            minX = c.Query(":CALC1:MEAS2:MARK2:X?");
            minY = c.Query(":CALC1:MEAS2:MARK2:Y?");
            c.Send(QStringLiteral(":CALC1:MEAS2:MARK3:FUNC:PEAK:THR %1\n"
                                  ":CALC1:MEAS2:MARK3:FUNC:PEAK:EXC %2\n")
                       .arg(threshold)
                       .arg(excursion)
                       .toLatin1());
            c.Send(":CALC1:MEAS2:MARK3:X 2205000000\n");
            for (int k = 0; k <= peaks.size(); ++k)
            {
                c.Send(":CALC1:MEAS2:MARK3:FUNC:EXEC RPE\n");
                rightward.append(c.Query(":CALC1:MEAS2:MARK3:X?"));
            }
            for (int k = 0; k < peaks.size(); ++k)
            {
                c.Send(":CALC1:MEAS2:MARK3:FUNC:EXEC LPE\n");
                leftward.append(c.Query(":CALC1:MEAS2:MARK3:X?"));
            }
            c.Send(":CALC1:MEAS2:MARK3:FUNC:EXEC MAX\n");
            for (int k = 0; k < peaks.size(); ++k)
            {
                c.Send(":CALC1:MEAS2:MARK3:FUNC:EXEC NPE\n");
                next.append(c.Query(":CALC1:MEAS2:MARK3:X?"));
            }
        });
    QCOMPARE(Number(maxX), x[top]);
    QVERIFY(std::fabs(Number(maxY) - y[top]) < 1e-6);
    const int bottom = testfx::ExtremeIndex(y, false);
    QCOMPARE(Number(minX), x[bottom]);
    QVERIFY(std::fabs(Number(minY) - y[bottom]) < 1e-6);

    // Right steps visit the peaks in order and stop at the last; left steps come back and stay
    // on the first.
    for (int k = 0; k <= peaks.size(); ++k)
    {
        QCOMPARE(Number(rightward[k]), x[peaks[std::min(k, peaks.size() - 1)]]);
    }
    for (int k = 0; k < peaks.size(); ++k)
    {
        QCOMPARE(Number(leftward[k]), x[peaks[std::max(peaks.size() - 2 - k, 0)]]);
    }
    // Next-peak steps go down the peaks by height.
    QVector<int> byHeight = peaks;
    std::stable_sort(byHeight.begin(), byHeight.end(), [&](int a, int b) { return y[a] > y[b]; });
    for (int k = 0; k < peaks.size(); ++k)
    {
        QCOMPARE(Number(next[k]), x[byHeight[std::min(k + 1, peaks.size() - 1)]]);
    }
}

void TestMarkersRemote::bandwidthAtTheFiltersEdges()
{
    const int top = testfx::ExtremeIndex(y, true);
    QByteArray off, on, three, six, state, limit, clamped, tracking, data3, data6;
    Session(
        [&](LineClient& c)
        {
            c.Send(":CALC1:MEAS2:MARK1:BWID:STAT OFF\n");
            off = c.Query(":CALC1:MEAS2:MARK1:BWID:DATA?");
            c.Send(":CALC1:MEAS2:MARK1:BWID:THR -3\n:CALC1:MEAS2:MARK1:BWID:STAT ON\n");
            state = c.Query(":CALC1:MEAS2:MARK1:BWID:STAT?");
            data3 = c.Query(":CALC1:MEAS2:MARK1:BWID:DATA?");
            c.Send(":CALC1:MEAS2:MARK1:BWID:THR -6\n:CALC1:MEAS2:MARK5:BWID:STAT ON\n");
            limit = c.Query(":CALC1:MEAS2:MARK1:BWID:THR?");
            data6 = c.Query(":CALC1:MEAS2:MARK1:BWID:DATA?");
            c.Send(":CALC1:MEAS2:MARK1:BWID:THR -0.5\n:CALC1:MEAS2:MARK1:BWID:TRAC ON\n");
            clamped = c.Query(":CALC1:MEAS2:MARK1:BWID:THR?");
            tracking = c.Query(":CALC1:MEAS2:MARK1:BWID:TRAC?");
            c.Send(":CALC1:MEAS2:MARK1:BWID:TRAC OFF\n:CALC1:MEAS2:MARK1:BWID:STAT OFF\n");
        });
    QCOMPARE(off, QByteArray("0,0,0,0"));
    QCOMPARE(state, QByteArray("1"));
    QCOMPARE(limit, QByteArray("-6"));
    QCOMPARE(clamped, QByteArray("-1"));
    QCOMPARE(tracking, QByteArray("1"));
    for (const auto& [reply, level] : {std::make_pair(data3, -3.0), std::make_pair(data6, -6.0)})
    {
        double low = 0.0, high = 0.0;
        QVERIFY(testfx::BandEdges(x, y, top, level, low, high));
        const QVector<double> v = Numbers(reply);
        QCOMPARE(v.size(), 4);
        QCOMPARE(v[0], 1.0);
        // The edges to well under a hertz: the traces agree to rounding.
        QVERIFY2(std::fabs(v[1] - low) < 1.0, qPrintable(QString::number(v[1] - low)));
        QVERIFY2(std::fabs(v[2] - high) < 1.0, qPrintable(QString::number(v[2] - high)));
        QVERIFY(std::fabs(v[3] - y[top]) < 1e-6);
        QVERIFY(low < x[top] && x[top] < high);
        qInfo("%.0f dB: %.6f to %.6f GHz", level, low * 1e-9, high * 1e-9);
    }
}

void TestMarkersRemote::couplingAcrossTracesAndChannels()
{
    QByteArray methods[3], source[3], sameChannel[3], otherChannel[3], sameState[3], otherState[3],
        s11Data, s11Y;
    const char* const words[3] = {"OFF", "CHAN", "ALL"};
    Session(
        [&](LineClient& c)
        {
            c.Send(":CALC1:MEAS1:MARK:AOFF\n:CALC2:MEAS1:MARK:AOFF\n");
            for (int k = 0; k < 3; ++k)
            {
                const QByteArray m = QByteArray::number(6 + k);
                c.Send(QByteArray(":CALC:MEAS:MARK:COUP ") + words[k] + '\n');
                methods[k] = c.Query(":CALC:MEAS:MARK:COUP?");
                c.Send(":CALC1:MEAS2:MARK" + m + ":FUNC:EXEC MAX\n");
                source[k] = c.Query(":CALC1:MEAS2:MARK" + m + ":X?");
                sameState[k] = c.Query(":CALC1:MEAS1:MARK" + m + ":STAT?");
                sameChannel[k] = c.Query(":CALC1:MEAS1:MARK" + m + ":X?");
                otherState[k] = c.Query(":CALC2:MEAS1:MARK" + m + ":STAT?");
                otherChannel[k] = c.Query(":CALC2:MEAS1:MARK" + m + ":X?");
            }
            s11Y = c.Query(":CALC1:MEAS1:MARK7:Y?");
            s11Data = c.Query(":CALC1:MEAS1:DATA:FDATA?");
            c.Send(":CALC:MEAS:MARK:COUP CHAN\n");
        });
    QCOMPARE(methods[0], QByteArray("off"));
    QCOMPARE(methods[1], QByteArray("channel"));
    QCOMPARE(methods[2], QByteArray("all"));
    const double peak = x[testfx::ExtremeIndex(y, true)];
    for (int k = 0; k < 3; ++k)
    {
        QCOMPARE(Number(source[k]), peak);
    }
    // Off: nothing follows. Channel: the S11 trace of the channel. All: channel 2 as well.
    QCOMPARE(sameState[0], QByteArray("0"));
    QCOMPARE(otherState[0], QByteArray("0"));
    QCOMPARE(sameState[1], QByteArray("1"));
    QCOMPARE(Number(sameChannel[1]), peak);
    QCOMPARE(otherState[1], QByteArray("0"));
    QCOMPARE(sameState[2], QByteArray("1"));
    QCOMPARE(otherState[2], QByteArray("1"));
    QCOMPARE(Number(otherChannel[2]), peak);
    // The coupled marker reads its own trace at that point.
    const int at = testfx::NearestIndex(x, peak);
    // The data reply carries ten significant digits.
    const double s11 = Numbers(s11Data).value(at);
    QVERIFY(std::fabs(Number(s11Y) - s11) <= 1e-9 * std::fabs(s11));
}

void TestMarkersRemote::suffixRulesAndTheReferenceMarker()
{
    QVector<QByteArray> errors;
    QByteArray bare, first, refOff, refOn, refX, refY, viaOther, refType, ownType, fixedX, deltaOn,
        refFromDelta, deltaAfter, states;
    Session(
        [&](LineClient& c)
        {
            auto error = [&](const QByteArray& line)
            {
                // A failed query answers nothing: the next line read is the error itself.
                c.Send(line + '\n');
                errors.append(c.Query(":SYST:ERR:NEXT?"));
            };
            c.Send(":SYST:ERR:CLEA\n:CALC1:MEAS2:MARK1:FUNC:EXEC MAX\n");
            error(":CALC1:MEAS2:MARK17:X?");
            error(":CALC1:MEAS2:MARK0:X?");
            error(":CALC1:MEAS:MARK1:X?");
            error(":CALC1:MEAS9:MARK1:X?");
            error(":CALC1:MEAS2:MARK16:DELT ON");
            error(":CALC1:MEAS2:MARK17:REF:STAT ON");
            bare = c.Query(":CALC1:MEAS2:MARK:X?");
            first = c.Query(":CALC1:MEAS2:MARK1:X?");

            // REFerence commands check their suffix, then act on marker 16.
            c.Send(":CALC1:MEAS2:MARK3:REF:STAT OFF\n");
            refOff = c.Query(":CALC1:MEAS2:MARK16:STAT?");
            c.Send(":CALC1:MEAS2:MARK7:REF:X 2.703GHz\n");
            refOn = c.Query(":CALC1:MEAS2:MARK16:STAT?");
            refX = c.Query(":CALC1:MEAS2:MARK16:X?");
            refY = c.Query(":CALC1:MEAS2:MARK16:Y?");
            viaOther = c.Query(":CALC1:MEAS2:MARK9:REF:Y?");
            c.Send(":CALC1:MEAS2:MARK4:REF:TYPE FIX\n:CALC1:MEAS2:MARK4:REF:X 3GHz\n");
            refType = c.Query(":CALC1:MEAS2:MARK16:TYPE?");
            ownType = c.Query(":CALC1:MEAS2:MARK4:TYPE?");
            fixedX = c.Query(":CALC1:MEAS2:MARK2:REF:X?");

            // Delta on a marker while the reference is off puts the reference on its point;
            // switching the reference off clears the delta flags.
            c.Send(
                ":CALC1:MEAS2:MARK4:REF:TYPE NORM\n:CALC1:MEAS2:MARK1:REF:STAT OFF\n"
                ":CALC1:MEAS2:MARK2:FUNC:EXEC MIN\n:CALC1:MEAS2:MARK2:DELT ON\n");
            deltaOn = c.Query(":CALC1:MEAS2:MARK2:DELT?");
            refFromDelta = c.Query(":CALC1:MEAS2:MARK16:X?");
            c.Send(":CALC1:MEAS2:MARK5:REF:STAT OFF\n");
            deltaAfter = c.Query(":CALC1:MEAS2:MARK2:DELT?");
            c.Send(":CALC1:MEAS2:MARK:AOFF\n");
            for (int m = 1; m <= 16; ++m)
            {
                states += c.Query(":CALC1:MEAS2:MARK" + QByteArray::number(m) + ":STAT?");
            }
        });
    QCOMPARE(errors.size(), 6);
    QVERIFY2(IsError(errors[0], -7, "Invalid marker suffix"), errors[0].constData());
    QVERIFY2(IsError(errors[1], -7, "Invalid marker suffix"), errors[1].constData());
    QVERIFY2(IsError(errors[2], -7, "Missing measure suffix"), errors[2].constData());
    QVERIFY2(IsError(errors[3], -7, "Invalid measure suffix"), errors[3].constData());
    QVERIFY2(IsError(errors[4], -6, "Cannot set delta on reference marker"), errors[4].constData());
    QVERIFY2(IsError(errors[5], -7, "Invalid marker suffix"), errors[5].constData());
    QCOMPARE(bare, first);
    QCOMPARE(Number(first), x[testfx::ExtremeIndex(y, true)]);

    QCOMPARE(refOff, QByteArray("0"));
    QCOMPARE(refOn, QByteArray("1"));
    const int at = testfx::NearestIndex(x, 2.703e9);
    QCOMPARE(Number(refX), x[at]);
    QVERIFY(std::fabs(Number(refY) - y[at]) < 1e-6);
    QCOMPARE(viaOther, refY);
    QCOMPARE(refType, QByteArray("fixed"));
    QCOMPARE(ownType, QByteArray("normal"));
    QCOMPARE(Number(fixedX), x[at]);  // a fixed marker is not moved

    QCOMPARE(deltaOn, QByteArray("1"));
    QCOMPARE(Number(refFromDelta), x[testfx::ExtremeIndex(y, false)]);
    QCOMPARE(deltaAfter, QByteArray("0"));
    QCOMPARE(states, QByteArray(16, '0'));
}

void TestMarkersRemote::trackingFollowsTheNextSweep()
{
    // With tracking on, the chain moves the marker to the peak of each new sweep, and coupling
    // carries it to the channel's other trace. A flush thru replaces the filter.
    QVector<double> thru;
    for (int i = 0; i < kPoints; ++i)
    {
        const cplx s[4] = {0.0, 1.0, 1.0, 0.0};
        thru.append(MeasuredS21Db(x[i], s));
    }
    QByteArray before, after, coupled, bandwidth, opc, shown;
    bool scene = false;
    Session(
        [&](LineClient& c)
        {
            c.Send(
                ":CALC:MEAS:MARK:COUP CHAN\n:CALC1:MEAS2:MARK5:X 2.3GHz\n"
                ":CALC1:MEAS2:MARK5:FUNC:TRAC MAX\n:CALC1:MEAS2:MARK1:BWID:STAT ON\n"
                ":CALC1:MEAS2:MARK1:BWID:TRAC ON\n");
            before = c.Query(":CALC1:MEAS2:MARK5:X?");
            LineClient sim;
            scene = sim.Connect(quint16(vnaSimServerPort())) && Scene(sim, "connect thru");
            c.Send(":INIT1:IMM\n");
            opc = c.Query("*OPC?");
            c.Send(":INIT1:IMM\n");
            opc += c.Query("*OPC?");
            shown = c.Query(":CALC1:MEAS2:DATA:FDATA?");
            after = c.Query(":CALC1:MEAS2:MARK5:X?");
            coupled = c.Query(":CALC1:MEAS1:MARK5:X?");
            bandwidth = c.Query(":CALC1:MEAS2:MARK1:BWID:DATA?");
            Scene(sim, QByteArray("load dut ") + kFile);
            c.Send(
                ":CALC1:MEAS2:MARK5:FUNC:TRAC OFF\n:CALC1:MEAS2:MARK1:BWID:STAT OFF\n"
                ":INIT1:IMM\n");
            opc += c.Query("*OPC?");
        });
    QVERIFY(scene);
    QCOMPARE(opc, QByteArray("111"));
    const QVector<double> trace = Numbers(shown);
    QCOMPARE(trace.size(), kPoints);
    for (int i = 0; i < kPoints; ++i)
    {
        QVERIFY(std::fabs(trace[i] - thru[i]) < 1e-6);
    }
    QCOMPARE(Number(before), x[testfx::ExtremeIndex(y, true)]);
    const int peak = testfx::ExtremeIndex(thru, true);
    QCOMPARE(Number(after), x[peak]);
    QCOMPARE(Number(coupled), x[peak]);
    // The thru falls nowhere near 3 dB within the sweep: the tracked search finds no band.
    double low = 0.0, high = 0.0;
    QVERIFY(!testfx::BandEdges(x, thru, peak, -3.0, low, high));
    QVERIFY(bandwidth.startsWith("0,"));
}

QTEST_MAIN(TestMarkersRemote)
#include "test_markers_remote.moc"
