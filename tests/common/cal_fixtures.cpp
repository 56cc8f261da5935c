#include "cal_fixtures.h"

namespace testfx
{
VNACalKit ModelKit(double thruDelayPs, double thruLossGOhmPerS)
{
    VNACalKit kit;
    kit.CalKitName = QStringLiteral("model");
    kit.Connector = Conn2_92mm;
    CalKitStandardInfo s;
    s.ID = kShortId;
    s.Type = VNAStdShort;
    s.Delay = 28.353;
    s.Loss = 2.4;
    s.L0 = 2.1;
    s.L1 = -140.0;
    s.L2 = 3.2;
    s.L3 = -0.02;
    kit.Standards.append(s);
    CalKitStandardInfo o;
    o.ID = kOpenId;
    o.Type = VNAStdOpen;
    o.Delay = 28.353;
    o.Loss = 2.4;
    o.C0 = -10.6;
    o.C1 = -1130.0;
    o.C2 = 52.0;
    o.C3 = -0.6;
    kit.Standards.append(o);
    CalKitStandardInfo l;
    l.ID = kLoadId;
    l.Type = VNAStdLoad;
    kit.Standards.append(l);
    CalKitStandardInfo t;
    t.ID = kThruId;
    t.Type = VNAStdThru;
    t.Delay = thruDelayPs;
    t.Loss = thruLossGOhmPerS;
    kit.Standards.append(t);
    kit.PutStandardInClass(kShortId, CalClassShort);
    kit.PutStandardInClass(kOpenId, CalClassOpen);
    kit.PutStandardInClass(kLoadId, CalClassLoad);
    kit.PutStandardInClass(kThruId, CalClassThru);
    return kit;
}

std::function<cplx(double)> ShortOf(const VNACalKit& kit, int id)
{
    bool found = false;
    const CalKitStandardInfo s = kit.GetStandard(id, found);
    return [s](double f) { return s.IdealShort(f); };
}

std::function<cplx(double)> OpenOf(const VNACalKit& kit, int id)
{
    bool found = false;
    const CalKitStandardInfo s = kit.GetStandard(id, found);
    return [s](double f) { return s.IdealOpen(f); };
}

std::function<cplx(double)> LoadOf(const VNACalKit& kit, int id)
{
    bool found = false;
    const CalKitStandardInfo s = kit.GetStandard(id, found);
    return [s](double f) { return s.IdealLoad(f); };
}

VNACalibration FillCalibration(VNACalType type, int port, const VNACalKit& kit,
                               const VNAStimulus& stimulus, const CalSweeps& sweeps)
{
    VNACalibration cal;
    cal.SetStimulus(stimulus);
    cal.SetCalType(type, port);
    cal.SetCalKit(kit);
    const QVector<double> f = stimulus.GetFreqVector();
    const int n = f.size();
    bool found = false;
    const CalKitStandardInfo stds[3] = {kit.GetStandard(kShortId, found),
                                        kit.GetStandard(kOpenId, found),
                                        kit.GetStandard(kLoadId, found)};
    const CalKitStandardInfo thruStd = kit.GetStandard(kThruId, found);

    auto merge = [&](const CplxVector& src, CplxVector& dst, const CalKitStandardInfo& s)
    {
        dst.resize(n);
        MergeCalMeas(src, dst, f, s.FMin, s.FMax);
    };

    if (type == SOL)
    {
        for (int r = 0; r < 3; ++r)
        {
            const SParametersRaw& raw = sweeps.reflect[port][r];
            cal.OnePortMapper(r).AddStd(stds[r]);
            merge(port == 0 ? raw.S11 : raw.S22, cal.OnePortMeas(r), stds[r]);
        }
        cal.SetLoaded(true);
        return cal;
    }

    for (int p = 0; p < 2; ++p)
    {
        for (int r = 0; r < 3; ++r)
        {
            const SParametersRaw& raw = sweeps.reflect[p][r];
            cal.TwoPortMapper(3 * p + r).AddStd(stds[r]);
            // Store order: port 1 short, port 2 short, port 1 open, ...
            const int term = 2 * r + p;
            merge(p == 0 ? raw.S11 : raw.S22, cal.MeasuredStd(term), stds[r]);
            merge(p == 0 ? raw.S11HDR : raw.S22HDR, cal.MeasuredStdHDR(term), stds[r]);
        }
    }

    CalKitStandardInfo thruEntry = thruStd;
    if (type == SOLR)
    {
        // An unknown thru maps a default standard over the whole range.
        thruEntry = CalKitStandardInfo();
        const SParametersRaw& fwd = sweeps.receiversFwd;
        const SParametersRaw& rev = sweeps.receiversRev;
        CplxVector& swF = cal.SwitchTermsFwd();
        CplxVector& swR = cal.SwitchTermsRev();
        CplxVector& gF = cal.GammaFwd();
        CplxVector& gR = cal.GammaRev();
        swF.resize(n);
        swR.resize(n);
        gF.resize(n);
        gR.resize(n);
        for (int i = 0; i < n; ++i)
        {
            swF[i] = fwd.S22[i] / fwd.S11[i];
            gF[i] = fwd.S22[i] / fwd.S12[i];
            swR[i] = rev.S11[i] / rev.S22[i];
            gR[i] = rev.S11[i] / rev.S21[i];
        }
    }
    cal.TwoPortMapper(RoleThru).AddStd(thruEntry);
    const int thruTerms[4] = {StdS11Thru, StdS21Thru, StdS12Thru, StdS22Thru};
    for (int k = 0; k < 4; ++k)
    {
        merge(sweeps.thru.Vector(k), cal.MeasuredStd(thruTerms[k]), thruEntry);
        merge(sweeps.thru.Vector(4 + k), cal.MeasuredStdHDR(thruTerms[k]), thruEntry);
    }
    if (sweeps.isolation.Size() > 0)
    {
        cal.MeasuredStd(StdS21Iso) = sweeps.isolation.S21;
        cal.MeasuredStd(StdS12Iso) = sweeps.isolation.S12;
        cal.MeasuredStdHDR(StdS21Iso) = sweeps.isolation.S21HDR;
        cal.MeasuredStdHDR(StdS12Iso) = sweeps.isolation.S12HDR;
    }
    cal.SetLoaded(true);
    return cal;
}

VNACalibration MeasureCalibration(const SyntheticCal& setup, const VNACalKit& kit,
                                  const VNAStimulus& stimulus, const ErrorModel& normal,
                                  const ErrorModel& hdr)
{
    const QVector<double> f = stimulus.GetFreqVector();
    // Each reflect standard is connected to both ports at once; the workflow would measure one
    // port at a time, which gives the same ratios since nothing joins the ports.
    CalSweeps sweeps;
    sweeps.reflect[0][RoleShort] =
        MeasureRaw(normal, hdr, f, Reflects(ShortOf(kit, kShortId), ShortOf(kit, kShortId)));
    sweeps.reflect[0][RoleOpen] =
        MeasureRaw(normal, hdr, f, Reflects(OpenOf(kit, kOpenId), OpenOf(kit, kOpenId)));
    sweeps.reflect[0][RoleLoad] =
        MeasureRaw(normal, hdr, f, Reflects(LoadOf(kit, kLoadId), LoadOf(kit, kLoadId)));
    for (int r = 0; r < 3; ++r)
    {
        sweeps.reflect[1][r] = sweeps.reflect[0][r];
    }
    if (setup.type != SOL)
    {
        sweeps.thru = MeasureRaw(normal, hdr, f, setup.thru);
        if (setup.type == SOLR)
        {
            sweeps.receiversFwd = MeasureReceivers(normal, f, setup.thru, 0);
            sweeps.receiversRev = MeasureReceivers(normal, f, setup.thru, 1);
        }
        if (setup.isolation)
        {
            sweeps.isolation = sweeps.reflect[0][RoleLoad];
        }
    }
    return FillCalibration(setup.type, setup.port, kit, stimulus, sweeps);
}
}  // namespace testfx
