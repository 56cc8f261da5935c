#include "sim_calibration.h"

#include "test_fixtures.h"
#include "vna_device.h"
#include "vna_model.h"
#include "vna_sim.h"

namespace testfx
{
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
