#include "sim_factory.h"

#include <QDateTime>
#include <QString>
#include <cstdio>
#include <functional>
#include <map>
#include <mutex>

#include "factory_cal.h"
#include "sim_model.h"

namespace vnasim
{
namespace
{
enum FactoryStandardId
{
    kShortId = 1,
    kOpenId = 2,
    kLoadId = 3,
    kThruId = 4
};

// The factory's sweep: the instrument's whole range on a grid that the common point counts
// (201, 401, 801, 1601) fall on exactly.
constexpr double kStart = 40e6;
constexpr double kStop = 40e9;
constexpr int kPoints = 1601;

CalKitStandardInfo Standard(int id, VNAStandard type, const char* description)
{
    CalKitStandardInfo s;
    s.ID = id;
    s.Type = type;
    s.Description = QString::fromLatin1(description);
    return s;
}

// Offset short and open with their polynomials, a broadband load, a flush thru.
VNACalKit FactoryKit()
{
    VNACalKit kit;
    kit.CalKitName = QStringLiteral("Factory");
    kit.Description = QStringLiteral("Factory standards");
    kit.Connector = Conn2_92mm;
    CalKitStandardInfo s = Standard(kShortId, VNAStdShort, "Factory short");
    s.Delay = 21.5;
    s.Loss = 1.9;
    s.L0 = 1.8;
    s.L1 = -95.0;
    s.L2 = 2.4;
    s.L3 = -0.015;
    CalKitStandardInfo o = Standard(kOpenId, VNAStdOpen, "Factory open");
    o.Delay = 21.5;
    o.Loss = 1.9;
    o.C0 = 8.2;
    o.C1 = -620.0;
    o.C2 = 31.0;
    o.C3 = -0.35;
    kit.Standards = {s, o, Standard(kLoadId, VNAStdLoad, "Factory load"),
                     Standard(kThruId, VNAStdThru, "Factory flush thru")};
    kit.PutStandardInClass(kShortId, CalClassShort);
    kit.PutStandardInClass(kOpenId, CalClassOpen);
    kit.PutStandardInClass(kLoadId, CalClassLoad);
    kit.PutStandardInClass(kThruId, CalClassThru);
    return kit;
}

// The standard as the simulator's ports see it.
KitStandard AsConnected(const CalKitStandardInfo& s)
{
    KitStandard k;
    k.kind = s.Type == VNAStdShort  ? KitStandard::Short
             : s.Type == VNAStdOpen ? KitStandard::Open
             : s.Type == VNAStdThru ? KitStandard::Thru
                                    : KitStandard::Load;
    k.delay = s.Delay;
    k.loss = s.Loss;
    k.z0 = s.Z0;
    const double c[4] = {s.C0, s.C1, s.C2, s.C3};
    const double l[4] = {s.L0, s.L1, s.L2, s.L3};
    for (int i = 0; i < 4; ++i)
    {
        k.c[i] = c[i];
        k.l[i] = l[i];
    }
    return k;
}

// A noise-free sweep of both directions with the high-dynamic-range receivers on, as the
// measurement loop takes it: the ratio vectors S11 ... S22 and S11HDR ... S22HDR.
SParametersRaw Measure(const QVector<double>& freqs, const std::function<SMatrix(double)>& dut)
{
    SParametersRaw raw;
    raw.Resize(freqs.size());
    for (int i = 0; i < freqs.size(); ++i)
    {
        const double f = freqs[i];
        const ErrorBoxes b = BoxesAt(f);
        const SMatrix s = dut(f);
        const double source = 1.0 - 0.15 * f / 40e9;
        const Receivers fw = Solve(b, s, false, source);
        const Receivers rv = Solve(b, s, true, source);
        const cplx v[8] = {fw.b1 / fw.a1,    fw.b2 / fw.a1,    rv.b1 / rv.a2,    rv.b2 / rv.a2,
                           fw.b1Hdr / fw.a1, fw.b2Hdr / fw.a1, rv.b1Hdr / rv.a2, rv.b2Hdr / rv.a2};
        for (int k = 0; k < 8; ++k)
        {
            raw.Vector(k)[i] = v[k];
        }
    }
    return raw;
}

SMatrix Reflects(const KitStandard& k, double f)
{
    const cplx g = k.Reflection(f);
    return SMatrix{g, 0.0, 0.0, g};
}
}  // namespace

VNACalibration FactoryCalibration(int serial)
{
    VNAStimulus stimulus;
    stimulus.start = kStart;
    stimulus.stop = kStop;
    stimulus.center = 0.5 * (kStart + kStop);
    stimulus.span = kStop - kStart;
    stimulus.points = kPoints;
    stimulus.ifbw = 1000.0;
    const QVector<double> freqs = stimulus.GetFreqVector();
    const VNACalKit kit = FactoryKit();
    VNACalibration cal;
    cal.SetStimulus(stimulus);
    cal.SetCalType(SOLT, 0);
    cal.SetCalKit(kit);
    bool found = false;
    for (int role = 0; role < 3; ++role)
    {
        const CalKitStandardInfo s = kit.GetStandard(kShortId + role, found);
        const KitStandard k = AsConnected(s);
        // The same standard on both ports at once: nothing joins the ports.
        const SParametersRaw raw = Measure(freqs, [&](double f) { return Reflects(k, f); });
        for (int port = 0; port < 2; ++port)
        {
            const int term = 2 * role + port;  // store order: port 1 short, port 2 short, ...
            cal.MeasuredStd(term) = port == 0 ? raw.S11 : raw.S22;
            cal.MeasuredStdHDR(term) = port == 0 ? raw.S11HDR : raw.S22HDR;
            cal.TwoPortMapper(3 * port + role).AddStd(s);
        }
        if (role == RoleLoad)
        {
            // Isolation: both ports terminated, what reaches the far receiver is crosstalk.
            cal.MeasuredStd(StdS21Iso) = raw.S21;
            cal.MeasuredStd(StdS12Iso) = raw.S12;
            cal.MeasuredStdHDR(StdS21Iso) = raw.S21HDR;
            cal.MeasuredStdHDR(StdS12Iso) = raw.S12HDR;
        }
    }
    const CalKitStandardInfo thru = kit.GetStandard(kThruId, found);
    const KitStandard t = AsConnected(thru);
    const SParametersRaw raw = Measure(freqs, [&](double f) { return t.ThruMatrix(f); });
    const int thruTerms[4] = {StdS11Thru, StdS21Thru, StdS12Thru, StdS22Thru};
    for (int k = 0; k < 4; ++k)
    {
        cal.MeasuredStd(thruTerms[k]) = raw.Vector(k);
        cal.MeasuredStdHDR(thruTerms[k]) = raw.Vector(4 + k);
    }
    cal.TwoPortMapper(RoleThru).AddStd(thru);
    cal.SetDate(QDateTime::fromSecsSinceEpoch(qint64(kFactoryFlashDate) - 3600, Qt::UTC));
    cal.SetTemperature(kFactoryTemperature);
    cal.SetSerialNumber(serial);
    cal.SetLoaded(true);
    return cal;
}

const std::vector<unsigned char>& FactoryCalBlock(int serial)
{
    // Guards blocks.
    static std::mutex mutex;
    static std::map<int, std::vector<unsigned char>> blocks;
    std::lock_guard<std::mutex> lock(mutex);
    auto it = blocks.find(serial);
    if (it == blocks.end())
    {
        QByteArray block;
        QString error;
        if (!FactoryCal::BuildBlock(FactoryCalibration(serial), serial, block, error))
        {
            std::fprintf(stderr, "vna simulator: no factory calibration: %s\n",
                         qPrintable(error));
        }
        it = blocks.emplace(serial, std::vector<unsigned char>(block.cbegin(), block.cend()))
                 .first;
    }
    return it->second;
}
}  // namespace vnasim
