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

VNACalibration MeasureCalibration(const SyntheticCal& setup, const VNACalKit& kit,
                                  const VNAStimulus& stimulus, const ErrorModel& normal,
                                  const ErrorModel& hdr)
{
    VNACalibration cal;
    cal.SetStimulus(stimulus);
    cal.SetCalType(setup.type, setup.port);
    cal.SetCalKit(kit);
    const QVector<double> f = stimulus.GetFreqVector();
    const int n = f.size();
    bool found = false;
    const CalKitStandardInfo shortStd = kit.GetStandard(kShortId, found);
    const CalKitStandardInfo openStd = kit.GetStandard(kOpenId, found);
    const CalKitStandardInfo loadStd = kit.GetStandard(kLoadId, found);
    const CalKitStandardInfo thruStd = kit.GetStandard(kThruId, found);

    // Each reflect standard is connected to both ports at once; the workflow would measure one
    // port at a time, which gives the same ratios since nothing joins the ports.
    const SParametersRaw shorts =
        MeasureRaw(normal, hdr, f, Reflects(ShortOf(kit, kShortId), ShortOf(kit, kShortId)));
    const SParametersRaw opens =
        MeasureRaw(normal, hdr, f, Reflects(OpenOf(kit, kOpenId), OpenOf(kit, kOpenId)));
    const SParametersRaw loads =
        MeasureRaw(normal, hdr, f, Reflects(LoadOf(kit, kLoadId), LoadOf(kit, kLoadId)));

    auto merge = [&](const CplxVector& src, CplxVector& dst, const CalKitStandardInfo& s)
    {
        dst.resize(n);
        MergeCalMeas(src, dst, f, s.FMin, s.FMax);
    };

    if (setup.type == SOL)
    {
        const CplxVector SParametersRaw::*param =
            setup.port == 0 ? &SParametersRaw::S11 : &SParametersRaw::S22;
        const CalKitStandardInfo* stds[3] = {&shortStd, &openStd, &loadStd};
        const SParametersRaw* raws[3] = {&shorts, &opens, &loads};
        for (int r = 0; r < 3; ++r)
        {
            cal.OnePortMapper(r).AddStd(*stds[r]);
            merge(raws[r]->*param, cal.OnePortMeas(r), *stds[r]);
        }
        cal.SetLoaded(true);
        return cal;
    }

    const CalKitStandardInfo* stds[6] = {&shortStd, &openStd, &loadStd,
                                         &shortStd, &openStd, &loadStd};
    const SParametersRaw* raws[6] = {&shorts, &opens, &loads, &shorts, &opens, &loads};
    for (int r = 0; r < 6; ++r)
    {
        cal.TwoPortMapper(r).AddStd(*stds[r]);
        const bool p1 = r < 3;
        // Store order: port 1 short, port 2 short, port 1 open, ...
        const int term = 2 * (r % 3) + (p1 ? 0 : 1);
        merge(p1 ? raws[r]->S11 : raws[r]->S22, cal.MeasuredStd(term), *stds[r]);
        merge(p1 ? raws[r]->S11HDR : raws[r]->S22HDR, cal.MeasuredStdHDR(term), *stds[r]);
    }

    const SParametersRaw thru = MeasureRaw(normal, hdr, f, setup.thru);
    CalKitStandardInfo thruEntry = thruStd;
    if (setup.type == SOLR)
    {
        // An unknown thru maps a default standard over the whole range.
        thruEntry = CalKitStandardInfo();
        const SParametersRaw fwd = MeasureReceivers(normal, f, setup.thru, 0);
        const SParametersRaw rev = MeasureReceivers(normal, f, setup.thru, 1);
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
        merge(thru.Vector(k), cal.MeasuredStd(thruTerms[k]), thruEntry);
        merge(thru.Vector(4 + k), cal.MeasuredStdHDR(thruTerms[k]), thruEntry);
    }
    if (setup.isolation)
    {
        const SParametersRaw iso =
            MeasureRaw(normal, hdr, f, Reflects(LoadOf(kit, kLoadId), LoadOf(kit, kLoadId)));
        cal.MeasuredStd(StdS21Iso) = iso.S21;
        cal.MeasuredStd(StdS12Iso) = iso.S12;
        cal.MeasuredStdHDR(StdS21Iso) = iso.S21HDR;
        cal.MeasuredStdHDR(StdS12Iso) = iso.S12HDR;
    }
    cal.SetLoaded(true);
    return cal;
}
}  // namespace testfx
