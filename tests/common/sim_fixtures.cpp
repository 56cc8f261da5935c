#include "sim_fixtures.h"

#include <QMutexLocker>
#include <QTest>
#include <cmath>

#include "test_fixtures.h"
#include "touchstone.h"
#include "vna_device.h"
#include "vna_model.h"
#include "vna_sim.h"

namespace testfx
{
using cplx = std::complex<double>;

namespace
{
QString Num(double v)
{
    return QString::number(v, 'g', 17);
}
}  // namespace

QVector<double> SweepFreqs(const VNAStimulus& s)
{
    QVector<double> f(s.points);
    for (int i = 0; i < s.points; ++i)
    {
        f[i] = s.points > 1 ? s.start + i * (s.stop - s.start) / (s.points - 1) : s.start;
    }
    return f;
}

bool Scene(const QString& line)
{
    char reply[512];
    const int rc = vnaSimCommand(qPrintable(line), reply, sizeof(reply));
    if (rc != 0)
    {
        qWarning("scene command \"%s\" failed: %s", qPrintable(line), reply);
    }
    return rc == 0;
}

QString ConnectStandard(const CalKitStandardInfo& s, int port)
{
    const char* kind = s.Type == VNAStdShort ? "short" : s.Type == VNAStdOpen ? "open" : "load";
    return QStringLiteral("connect port %1 kit %2 delay %3 loss %4 z0 %5 c0 %6 c1 %7 c2 %8 c3 %9")
               .arg(port + 1)
               .arg(QLatin1String(kind), Num(s.Delay), Num(s.Loss), Num(s.Z0), Num(s.C0), Num(s.C1),
                    Num(s.C2), Num(s.C3)) +
           QStringLiteral(" l0 %1 l1 %2 l2 %3 l3 %4")
               .arg(Num(s.L0), Num(s.L1), Num(s.L2), Num(s.L3));
}

QString ConnectThru(double delayPs, double lossGOhm, double z0)
{
    return QStringLiteral("connect thru delay %1 loss %2 z0 %3")
        .arg(Num(delayPs), Num(lossGOhm), Num(z0));
}

SParameters DemandingDut(const QVector<double>& f)
{
    SParameters s;
    s.Resize(f.size());
    for (int i = 0; i < f.size(); ++i)
    {
        const double g = f[i] / 1e9;
        const double notch = 1.0 - 0.9995 * std::exp(-std::pow((g - 23.0) / 2.5, 2));
        s.S11[i] = std::polar(0.55 + 0.15 * std::sin(0.3 * g), 0.4 - 1.7 * g);
        s.S21[i] = std::polar(0.8 * notch, 0.2 - 6.3 * g);
        s.S12[i] = std::polar(0.3 * (1.0 - 0.004 * g), -1.1 - 6.3 * g);
        s.S22[i] = std::polar(0.35 + 0.1 * std::cos(0.21 * g), 0.8 - 2.3 * g);
    }
    return s;
}

bool WriteDut(const QTemporaryDir& dir, Dut& dut)
{
    const VNAStimulus grid = Stimulus(40e6, 40e9, 257);
    dut.path = dir.filePath(QStringLiteral("device.s2p"));
    QString error;
    if (!StoreSNPFile(dut.path, grid, DemandingDut(grid.GetFreqVector()), false, 0, error))
    {
        qWarning("%s", qPrintable(error));
        return false;
    }
    return LoadS2PFile(dut.path, true, dut.freqs, dut.data, error);
}

SParameters DutAt(const Dut& dut, const QVector<double>& f)
{
    SParameters s;
    s.Resize(f.size());
    for (int k = 0; k < 4; ++k)
    {
        const CplxVector& src = dut.data.GetSParam(VNATraceMeas(k));
        CplxVector& dst = s.GetSParam(VNATraceMeas(k));
        for (int i = 0; i < f.size(); ++i)
        {
            dst[i] = InterpolateArray(dut.freqs, src, f[i]);
        }
    }
    return s;
}
CplxVector OnePortThroughDut(const SParameters& s, const QVector<double>& f, int port)
{
    CplxVector out(f.size());
    for (int i = 0; i < f.size(); ++i)
    {
        double t[24];
        vnaSimErrorTerms(f[i], 0, t);
        // elf and elr in the simulator's term order.
        const cplx match = port == 0 ? cplx(t[4], t[5]) : cplx(t[16], t[17]);
        const cplx product = s.S21[i] * s.S12[i];
        out[i] = port == 0 ? s.S11[i] + product * match / (1.0 - s.S22[i] * match)
                           : s.S22[i] + product * match / (1.0 - s.S11[i] * match);
    }
    return out;
}

double CorrectedError(VNAModel& model, int channel, const Dut& dut, VNACalType type, int calPort)
{
    if (!Scene("load dut " + dut.path))
    {
        return INFINITY;
    }
    VNAChannel& ch = *model.channels[channel];
    const uint64_t done = ch.sweepsDone.load();
    if (!QTest::qWaitFor([&] { return ch.sweepsDone.load() >= done + 2; }, 30000))
    {
        return INFINITY;
    }
    const QVector<double> f = SweepFreqs(ch.stimulus);
    const SParameters expected = DutAt(dut, f);
    QMutexLocker lock(&model.traceLock);
    if (type == SOL)
    {
        return MaxDifference(calPort == 0 ? ch.MeasCal.S11 : ch.MeasCal.S22,
                             OnePortThroughDut(expected, f, calPort));
    }
    return MaxDifference(ch.MeasCal, expected);
}

SParametersRaw Measure(VNADevice& dev, const VNAStimulus& stim, bool hdr, bool hdrThru, int count)
{
    dev.Configure(stim, true, true, true, hdr, hdrThru, false);
    SParametersRaw sum;
    for (int k = 0; k < count; ++k)
    {
        SParametersRaw r;
        r.Resize(stim.points);
        dev.StartSweep(r);
        int fwd = 0, rev = 0;
        double percent = 0.0;
        // A guard against a stuck instrument, not a timing check.
        for (int polls = 0; polls < 5000; ++polls)
        {
            dev.GetSweepUpdate(fwd, rev, percent);
            if (fwd == stim.points && rev == stim.points)
            {
                break;
            }
            SystemSleep(2);
        }
        dev.FinishSweep();
        if (k == 0)
        {
            sum = r;
        }
        else
        {
            sum.Add(r);
        }
    }
    sum.Scale(1.0 / count);
    return sum;
}

SParametersRaw Receivers(VNADevice& dev, const VNAStimulus& stim, int port)
{
    dev.ConfigureRecievers(stim, port);
    SParametersRaw r;
    r.Resize(stim.points);
    dev.GetRecievers(r);
    return r;
}

VNACalibration CalibrateOnSim(VNADevice& dev, const SimCal& setup, const VNACalKit& kit,
                              const VNAStimulus& stim)
{
    const bool hdr = setup.type != SOLR;
    CalSweeps sweeps;
    const int kitIds[3] = {kShortId, kOpenId, kLoadId};
    for (int p = 0; p < 2; ++p)
    {
        if (setup.type == SOL && p != setup.port)
        {
            continue;
        }
        for (int r = 0; r < 3; ++r)
        {
            bool found = false;
            if (!Scene(ConnectStandard(kit.GetStandard(kitIds[r], found), p)))
            {
                return VNACalibration();
            }
            sweeps.reflect[p][r] = Measure(dev, stim, hdr, false);
        }
    }
    if (setup.type != SOL)
    {
        if (!Scene(setup.thruCommand))
        {
            return VNACalibration();
        }
        sweeps.thru = Measure(dev, stim, hdr, setup.type == SOLT);
        if (setup.type == SOLR)
        {
            sweeps.receiversFwd = Receivers(dev, stim, 0);
            sweeps.receiversRev = Receivers(dev, stim, 1);
        }
        if (setup.isolation)
        {
            if (!Scene(QStringLiteral("connect port 1 load")) ||
                !Scene(QStringLiteral("connect port 2 load")))
            {
                return VNACalibration();
            }
            sweeps.isolation = Measure(dev, stim, hdr, false);
        }
    }
    return FillCalibration(setup.type, setup.port, kit, stim, sweeps);
}
}  // namespace testfx
