#include "vna_calibration.h"

#include <QCoreApplication>
#include <QDebug>
#include <QElapsedTimer>
#include <algorithm>
#include <cmath>

#include "application_settings.h"
#include "matrix.h"

using cplx = std::complex<double>;

namespace
{
constexpr double kPi = 3.14159265358979323846;
// The instrument changes its receiver path here; measured data is not interpolated across it at
// the ends of a list.
constexpr double kBandBreak = 1e10;

QString Tr(const char* text)
{
    return QCoreApplication::translate("VNACalibration", text);
}

inline double WrapPi(double d)
{
    if (d > kPi)
    {
        d -= 2.0 * kPi;
    }
    else if (d < -kPi)
    {
        d += 2.0 * kPi;
    }
    return d;
}

// Where one query frequency falls in a measured frequency list; found once per point and used
// for every vector measured on that list.
struct Pick
{
    int size = 0;  // size of the list; 0 gives 0 for every vector
    int i0 = 0;
    int i1 = 0;
    double t = 0.0;
};

Pick LocateWithBandBreak(const QVector<double>& x, double q)
{
    Pick p;
    const int n = x.size();
    p.size = n;
    if (n == 0)
    {
        return p;
    }
    if (n == 1 || q <= x[0])
    {
        return p;
    }
    if (q >= x[n - 1])
    {
        p.i0 = p.i1 = n - 1;
        return p;
    }
    int i = int(std::upper_bound(x.constBegin(), x.constEnd(), q) - x.constBegin()) - 1;
    if (i < 0 || i + 1 >= n)
    {
        i = 0;
    }
    if (x[i] < kBandBreak && x[i + 1] > kBandBreak)
    {
        // The interval on q's side of the break lies outside the list: hold the end value.
        if (i == 0 && q <= kBandBreak)
        {
            p.i0 = p.i1 = 0;
            return p;
        }
        if (i + 2 == n && q > kBandBreak)
        {
            p.i0 = p.i1 = n - 1;
            return p;
        }
    }
    p.i0 = i;
    p.i1 = i + 1;
    p.t = (q - x[i]) / (x[i + 1] - x[i]);
    return p;
}

// Locates a rising sequence of queries, starting each search where the last one ended.
class BandBreakLocator
{
public:
    explicit BandBreakLocator(const QVector<double>& freqs) : x(freqs) {}

    Pick At(double q)
    {
        const int n = x.size();
        // The usual case: q in the cursor's interval or the next one, away from the ends.
        for (int i = cursor; i < cursor + 2 && i + 1 < n; ++i)
        {
            if (i > 0 && i + 2 < n && x[i] <= q && q < x[i + 1])
            {
                cursor = i;
                Pick p;
                p.size = n;
                p.i0 = i;
                p.i1 = i + 1;
                p.t = (q - x[i]) / (x[i + 1] - x[i]);
                return p;
            }
        }
        const Pick p = LocateWithBandBreak(x, q);
        cursor = p.i0;
        return p;
    }

private:
    const QVector<double>& x;
    int cursor = 0;
};

// One measured vector read through the picks of its frequency list; a vector of another length
// (an empty isolation vector, say) reads as 0.
class MeasView
{
public:
    MeasView() = default;
    MeasView(const CplxVector& y, int listSize)
        : data(y.constData()), valid(listSize > 0 && y.size() == listSize)
    {
    }

    cplx operator()(const Pick& p) const
    {
        if (!valid)
        {
            return cplx(0.0, 0.0);
        }
        if (p.t == 0.0)
        {
            return data[p.i0];
        }
        return InterpolateCplx(data[p.i0], data[p.i1], p.t);
    }

private:
    const cplx* data = nullptr;
    bool valid = false;
};

// The standard that serves one role at each frequency, found without copying standards per point.
class RoleStandards
{
public:
    RoleStandards(const VNACalKit& k, const VNACalStdMapper& m) : kit(k), mapper(m) {}

    const CalKitStandardInfo& At(double f)
    {
        const int id = mapper.GetID(f);
        if (id != lastId || current == nullptr)
        {
            lastId = id;
            const CalKitStandardInfo* s = id == -1 ? nullptr : kit.FindStandard(id);
            current = s != nullptr ? s : &fallback;
        }
        return *current;
    }

private:
    const VNACalKit& kit;
    const VNACalStdMapper& mapper;
    CalKitStandardInfo fallback;
    const CalKitStandardInfo* current = nullptr;
    int lastId = -2;
};

// Directivity, source match and reflection tracking of one port from three reflect standards:
// the error model multiplied out, m = a + b g m - c g with c = edf esf - erf.
void SolveOnePort(const cplx g[3], const cplx m[3], cplx& edf, cplx& esf, cplx& erf)
{
    const cplx M[9] = {1.0, Mul(g[0], m[0]), -g[0], 1.0, Mul(g[1], m[1]), -g[1],
                       1.0, Mul(g[2], m[2]), -g[2]};
    cplx V[9];
    InvertMatrix_3x3(M, V);
    const cplx a = Mul(V[0], m[0]) + Mul(V[1], m[1]) + Mul(V[2], m[2]);
    const cplx b = Mul(V[3], m[0]) + Mul(V[4], m[1]) + Mul(V[5], m[2]);
    const cplx c = Mul(V[6], m[0]) + Mul(V[7], m[1]) + Mul(V[8], m[2]);
    edf = a;
    esf = b;
    erf = Mul(a, b) - c;
}

// Ideal thru parameters T11, T21, T12, T22.
struct Thru
{
    cplx t11, t21, t12, t22;
};

// Forward load match and transmission tracking with the thru taken at its ideal parameters.
void SolveForwardThru(cplx edf, cplx esf, cplx erf, cplx exf, cplx t11, cplx t21, const Thru& T,
                      cplx& elf, cplx& etf)
{
    const cplx D = Mul(T.t11, T.t22) - Mul(T.t12, T.t21);
    const cplx Q = Mul(erf, D) - Mul(Mul(esf, D) - T.t22, edf - t11);
    const cplx R =
        Mul(t11, Mul(esf, T.t11) - 1.0) + edf - Mul(Mul(esf, edf), T.t11) + Mul(T.t11, erf);
    elf = CplxDiv(R, Q);
    etf = CplxDiv(Mul(Mul(esf, T.t11 - Mul(elf, D)) + Mul(elf, T.t22) - 1.0, exf - t21), T.t21);
}

void SolveReverseThru(cplx edr, cplx esr, cplx err, cplx exr, cplx t22, cplx t12, const Thru& T,
                      cplx& elr, cplx& etr)
{
    const cplx D = Mul(T.t11, T.t22) - Mul(T.t12, T.t21);
    const cplx Q = Mul(err, D) + Mul(T.t11 - Mul(esr, D), edr - t22);
    const cplx R =
        Mul(t22, Mul(esr, T.t22) - 1.0) + edr - Mul(Mul(esr, edr), T.t22) + Mul(T.t22, err);
    elr = CplxDiv(R, Q);
    etr = CplxDiv(Mul(Mul(esr, T.t22) + Mul(elr, T.t11 - Mul(esr, D)) - 1.0, exr - t12), T.t12);
}

double Phase(cplx x)
{
    return std::arg(x);
}

double ToLogMag(cplx x)
{
    return 20.0 * std::log10(std::abs(x));
}

// Powers of a transmission at or above this (-25 dB, with a margin) never take the HDR value.
constexpr double kBlendPower = 0.0031622776601683794 * 1.001;

// Returns the normal value above -25 dB and moves linearly (in magnitude and phase) to the HDR
// value at -35 dB and below; the decision rests on the normal value alone.
inline cplx BlendHDR(cplx normal, cplx hdr)
{
    // Powers well away from -25 and -35 dB skip the logarithm; near them the decision is made
    // in dB as written.
    constexpr double kAbove25 = kBlendPower;
    constexpr double kBelow35 = 0.00031622776601683794 * 0.999;  // 10^(-35/10), with margin
    const double power = std::norm(normal);
    if (!(power < kAbove25))
    {
        return normal;
    }
    if (power < kBelow35)
    {
        return hdr;
    }
    const double l = ToLogMag(normal);
    if (!(l < -25.0))
    {
        return normal;
    }
    const double t = std::min(1.0, std::max(0.0, (-l - 25.0) / 10.0));
    return t == 1.0 ? hdr : InterpolateCplx(normal, hdr, t);
}

// Frequency of point i of an applied stimulus: linear for every sweep type.
inline double PointFreq(const VNAStimulus& s, double step, int i)
{
    return s.start + i * step;
}
// The corrected thru's phase carried back to 0 Hz: a straight line fitted to its unwrapped
// phase over the whole sweep. Near the sweep's start alone the ripple of a mismatched thru, or
// noise, tilts the line enough to land on the wrong side when the sweep is far from 0 Hz.
double ThruPhaseAtZeroHz(const CplxVector& s21, const VNAStimulus& applied)
{
    const int n = s21.size();
    const double step = applied.StepSize();
    double phase = Phase(s21[0]);
    double sf = 0.0, sp = 0.0, sff = 0.0, sfp = 0.0;
    for (int i = 0; i < n; ++i)
    {
        if (i > 0)
        {
            phase += WrapPi(Phase(s21[i]) - Phase(s21[i - 1]));
        }
        // Frequencies from the first point keep the fit well conditioned.
        const double f = i * step;
        sf += f;
        sp += phase;
        sff += f * f;
        sfp += f * phase;
    }
    const double den = n * sff - sf * sf;
    if (den == 0.0)
    {
        return 0.0;
    }
    const double slope = (n * sfp - sf * sp) / den;
    return (sp - slope * sf) / n - slope * applied.start;
}
}  // namespace

// ---------------------------------------------------------------------------------------------
// Free functions

QString VNACalTypeToString(VNACalType type)
{
    switch (type)
    {
        case SOLT:
            return Tr("SOLT");
        case SOL:
            return Tr("SOL");
        case SOLR:
            return Tr("SOLR (Unknown Thru)");
    }
    return QString();
}

bool Is2PortCal(VNACalType type)
{
    return type == SOLT || type == SOLR;
}

QString CalSetStdTermToString(int term)
{
    static const char* const kText[VNACalibration::kTermCount] = {
        QT_TRANSLATE_NOOP("VNACalibration", "S11 Short"),
        QT_TRANSLATE_NOOP("VNACalibration", "S22 Short"),
        QT_TRANSLATE_NOOP("VNACalibration", "S11 Open"),
        QT_TRANSLATE_NOOP("VNACalibration", "S22 Open"),
        QT_TRANSLATE_NOOP("VNACalibration", "S11 Load"),
        QT_TRANSLATE_NOOP("VNACalibration", "S22 Load"),
        QT_TRANSLATE_NOOP("VNACalibration", "S11 Thru"),
        QT_TRANSLATE_NOOP("VNACalibration", "S21 Thru"),
        QT_TRANSLATE_NOOP("VNACalibration", "S12 Thru"),
        QT_TRANSLATE_NOOP("VNACalibration", "S22 Thru"),
        QT_TRANSLATE_NOOP("VNACalibration", "S21 Iso"),
        QT_TRANSLATE_NOOP("VNACalibration", "S12 Iso")};
    if (term < 0 || term >= VNACalibration::kTermCount)
    {
        return QString();
    }
    return Tr(kText[term]);
}

QString CalSetErrTermToString(int term)
{
    static const char* const kText[VNACalibration::kTermCount] = {
        QT_TRANSLATE_NOOP("VNACalibration", "Fwd Directivity"),
        QT_TRANSLATE_NOOP("VNACalibration", "Fwd Port 1 Match"),
        QT_TRANSLATE_NOOP("VNACalibration", "Fwd Port 2 Match"),
        QT_TRANSLATE_NOOP("VNACalibration", "Fwd Reflection Tracking"),
        QT_TRANSLATE_NOOP("VNACalibration", "Fwd Transmission Tracking"),
        QT_TRANSLATE_NOOP("VNACalibration", "Fwd Isolation"),
        QT_TRANSLATE_NOOP("VNACalibration", "Rev Directivity"),
        QT_TRANSLATE_NOOP("VNACalibration", "Rev Port 2 Match"),
        QT_TRANSLATE_NOOP("VNACalibration", "Rev Port 1 Match"),
        QT_TRANSLATE_NOOP("VNACalibration", "Rev Reflection Tracking"),
        QT_TRANSLATE_NOOP("VNACalibration", "Rev Transmission Tracking"),
        QT_TRANSLATE_NOOP("VNACalibration", "Rev Isolation")};
    if (term < 0 || term >= VNACalibration::kTermCount)
    {
        return QString();
    }
    return Tr(kText[term]);
}

cplx InterpolateArrayWithBandBreak(const QVector<double>& x, const CplxVector& y, double q)
{
    if (x.size() != y.size() || x.isEmpty())
    {
        return cplx(0.0, 0.0);
    }
    const Pick p = LocateWithBandBreak(x, q);
    if (p.i0 == p.i1 || p.t == 0.0)
    {
        return y[p.i0];
    }
    return InterpolateCplx(y[p.i0], y[p.i1], p.t);
}

void Convert7TermTo12Term(cplx edf, cplx esf, cplx erf, cplx edr, cplx esr, cplx err, cplx& elf,
                          cplx& etf, cplx& elr, cplx& etr, cplx gammaF, cplx gammaR, cplx k)
{
    // The product of the two principal roots is kept as it is; the phase walk absorbs its sign.
    const cplx A = std::sqrt(erf);
    const cplx B = std::sqrt(err);
    const cplx G = B * A;
    const cplx E1 = 1.0 - gammaF * edr;
    elf = esr + err * gammaF / E1;
    etf = (1.0 / k) * G / E1;
    const cplx E2 = 1.0 - gammaR * edf;
    elr = esf + erf * gammaR / E2;
    etr = G * k / E2;
}

double TriangleArea(cplx a, cplx b, cplx c)
{
    return 0.5 * std::fabs(a.real() * (b.imag() - c.imag()) + b.real() * (c.imag() - a.imag()) +
                           c.real() * (a.imag() - b.imag()));
}

void Circumcenter(cplx a, cplx b, cplx c, cplx& out)
{
    const double x1 = a.real(), y1 = a.imag();
    const double x2 = b.real(), y2 = b.imag();
    const double x3 = c.real(), y3 = c.imag();
    const double D = 2.0 * (x1 * (y2 - y3) + x2 * (y3 - y1) + x3 * (y1 - y2));
    if (std::fabs(D) < 1e-12)
    {
        return;
    }
    const double A = x1 * x1 + y1 * y1;
    const double B = x2 * x2 + y2 * y2;
    const double C = x3 * x3 + y3 * y3;
    out = cplx((A * (y2 - y3) + B * (y3 - y1) + C * (y1 - y2)) / D,
               (A * (x3 - x2) + B * (x1 - x3) + C * (x2 - x1)) / D);
}

void SolveSlidingLoad(SParametersRaw* slides, int count, int port, bool alsoHDR)
{
    if (slides == nullptr || count < 1)
    {
        return;
    }
    const int passes = alsoHDR ? 2 : 1;
    for (int pass = 0; pass < passes; ++pass)
    {
        auto param = [&](SParametersRaw& r) -> CplxVector&
        {
            if (pass == 0)
            {
                return port == 0 ? r.S11 : r.S22;
            }
            return port == 0 ? r.S11HDR : r.S22HDR;
        };
        const int n = param(slides[0]).size();
        for (int i = 0; i < n; ++i)
        {
            double best = 0.0;
            cplx centre(0.0, 0.0);
            for (int a = 0; a < count; ++a)
            {
                for (int b = a + 1; b < count; ++b)
                {
                    for (int c = b + 1; c < count; ++c)
                    {
                        const cplx pa = param(slides[a]).at(i);
                        const cplx pb = param(slides[b]).at(i);
                        const cplx pc = param(slides[c]).at(i);
                        const double area = TriangleArea(pa, pb, pc);
                        if (area > best)
                        {
                            Circumcenter(pa, pb, pc, centre);
                            best = area;
                        }
                    }
                }
            }
            param(slides[0])[i] = centre;
        }
    }
}

namespace CalUtil
{
QString GetCalWaitingString()
{
    return QStringLiteral("<font color=Orange>") + Tr("Waiting") + QStringLiteral("...</font>");
}

QString GetCalMeasStatusString(int current, int total, double percent)
{
    return QString::asprintf("<font color=Orange>Measuring %d/%d (%.0f%%)</font>", current, total,
                             percent);
}

QString NotCompleteStr()
{
    return QStringLiteral("<font color=Red>") + Tr("Not Complete") + QStringLiteral("</font>");
}

QString MeasuringStr()
{
    return QStringLiteral("<font color=Orange>") + Tr("Measuring") + QStringLiteral("...</font>");
}

QString CompleteStr()
{
    return QStringLiteral("<font color=Green>") + Tr("Complete") + QStringLiteral("</font>");
}

QString PartialCompleteStr()
{
    return QStringLiteral("<font color=Orange>") + Tr("Partial") + QStringLiteral("</font>");
}

QSize GetDefaultCalDlgSize(int widthOfW, int fontHeight)
{
    return QSize(40 * widthOfW, fontHeight);
}
}  // namespace CalUtil

// ---------------------------------------------------------------------------------------------
// VNACalibration: record and file

VNACalibration::VNACalibration() = default;

void VNACalibration::Unload()
{
    loaded = built = interpolated = false;
    serialNumber = -1;
}

QString VNACalibration::GetSerialNumberString() const
{
    if (!ValidSerialNumber())
    {
        return QStringLiteral("--");
    }
    return QString::asprintf("%8d", serialNumber);
}

void VNACalibration::Save(ApplicationSettings& s) const
{
    s.Remove(QStringLiteral("Calibration"));
    s.BeginGroup(QStringLiteral("Calibration"));
    s.Save(QStringLiteral("Version"), 1);
    stimulus.Save(s);
    kit.Save(s);
    s.Save(QStringLiteral("CalKitName"), kit.CalKitName);
    s.Save(QStringLiteral("DateOfCal"), date);
    s.Save(QStringLiteral("Temp"), temperature);
    s.Save(QStringLiteral("CalType"), int(type));
    s.Save(QStringLiteral("CalPort"), int(port));
    s.Save(QStringLiteral("UCalPort"), int(uCalPort));
    s.Save(QStringLiteral("SerialNumber"), int(serialNumber));
    s.BeginGroup(QStringLiteral("MeasuredStandards"));
    if (Is2PortCal(type))
    {
        for (int n = 0; n < kTermCount; ++n)
        {
            s.Save(QStringLiteral("MS%1").arg(n), meas[n]);
            s.Save(QStringLiteral("MS_HDR%1").arg(n), measHDR[n]);
        }
        for (int n = 0; n < kTwoPortRoles; ++n)
        {
            twoPortMap[n].Save(QStringLiteral("StdMap%1").arg(n), s);
        }
        s.Save(QStringLiteral("SwitchTermsFwd"), switchFwd);
        s.Save(QStringLiteral("SwitchTermsRev"), switchRev);
        s.Save(QStringLiteral("GammaFwd"), gammaFwd);
        s.Save(QStringLiteral("GammaRev"), gammaRev);
    }
    else if (type == SOL)
    {
        for (int n = 0; n < kOnePortRoles; ++n)
        {
            s.Save(QStringLiteral("MS%1").arg(n), onePortMeas[n]);
        }
        for (int n = 0; n < kOnePortRoles; ++n)
        {
            onePortMap[n].Save(QStringLiteral("StdMap%1").arg(n), s);
        }
    }
    s.EndGroup();
    s.EndGroup();
}

void VNACalibration::Load(ApplicationSettings& s, bool& ok, QString& error)
{
    ok = true;
    error.clear();
    s.BeginGroup(QStringLiteral("Calibration"));
    int version = 1;
    s.Load(QStringLiteral("Version"), version);
    if (version != 1)
    {
        ok = false;
        error = Tr("Invalid calibration file version.");
        s.EndGroup();
        return;
    }
    stimulus.Load(s);
    kit = VNACalKit();
    kit.Load(s);
    s.Load(QStringLiteral("CalKitName"), kit.CalKitName);
    name = s.BaseName();
    date = s.Load(QStringLiteral("DateOfCal")).toDateTime();
    s.Load(QStringLiteral("Temp"), temperature);
    int v = type;
    s.Load(QStringLiteral("CalType"), v);
    type = VNACalType(v);
    v = port;
    s.Load(QStringLiteral("CalPort"), v);
    port = v;
    v = uCalPort;
    s.Load(QStringLiteral("UCalPort"), v);
    uCalPort = v;
    v = serialNumber;
    s.Load(QStringLiteral("SerialNumber"), v);
    serialNumber = v;

    s.BeginGroup(QStringLiteral("MeasuredStandards"));
    bool mapsOk = true;
    if (type == SOLT || type == SOLR)
    {
        for (int n = 0; n < kTermCount; ++n)
        {
            s.Load(QStringLiteral("MS%1").arg(n), meas[n]);
            s.Load(QStringLiteral("MS_HDR%1").arg(n), measHDR[n]);
        }
        for (int n = 0; n < kTwoPortRoles; ++n)
        {
            mapsOk &= twoPortMap[n].Load(QStringLiteral("StdMap%1").arg(n), s);
        }
        s.Load(QStringLiteral("SwitchTermsFwd"), switchFwd);
        s.Load(QStringLiteral("SwitchTermsRev"), switchRev);
        s.Load(QStringLiteral("GammaFwd"), gammaFwd);
        s.Load(QStringLiteral("GammaRev"), gammaRev);
    }
    else if (type == SOL)
    {
        for (int n = 0; n < kOnePortRoles; ++n)
        {
            s.Load(QStringLiteral("MS%1").arg(n), onePortMeas[n]);
        }
        for (int n = 0; n < kOnePortRoles; ++n)
        {
            mapsOk &= onePortMap[n].Load(QStringLiteral("StdMap%1").arg(n), s);
        }
    }
    else
    {
        ok = false;
        error = Tr("Invalid calibration type");
    }
    if (!mapsOk)
    {
        ok = false;
        error = Tr("Unable to find standard ID mapping");
    }
    s.EndGroup();
    s.EndGroup();
    // The caller decides by ok; the record counts as loaded either way.
    loaded = true;
}

void VNACalibration::Load(ApplicationSettings& s)
{
    bool ok = false;
    QString error;
    Load(s, ok, error);
}

void VNACalibration::GetCalSetStd(CplxVector& out, int display, int stdTerm, int errTerm) const
{
    if (!loaded)
    {
        return;
    }
    if (type == SOL)
    {
        if (display == CalSetViewMeasured)
        {
            if (stdTerm >= 0 && stdTerm <= 5)
            {
                out = onePortMeas[stdTerm / 2];
            }
        }
        else if (display == CalSetViewErrorTerms)
        {
            if (errTerm == 0 || errTerm == 6)
            {
                out = onePortTerms[0];
            }
            else if (errTerm == 1 || errTerm == 7)
            {
                out = onePortTerms[1];
            }
            else if (errTerm == 3 || errTerm == 9)
            {
                out = onePortTerms[2];
            }
        }
        return;
    }
    if (display == CalSetViewMeasured && stdTerm >= 0 && stdTerm < kTermCount)
    {
        out = meas[stdTerm];
    }
    else if (display == CalSetViewErrorTerms && errTerm >= 0 && errTerm < kTermCount)
    {
        out = terms[errTerm];
    }
}

// ---------------------------------------------------------------------------------------------
// Building and applying

void VNACalibration::BuildCorrections(const VNAStimulus& applied)
{
    if (!loaded)
    {
        return;
    }
    QElapsedTimer timer;
    timer.start();
    built = interpolated = false;
    if (applied == stimulus)
    {
        built = true;
    }
    else if (stimulus.start <= applied.start && applied.stop <= stimulus.stop)
    {
        built = interpolated = true;
    }
    else
    {
        // Not covered: the old terms stay in memory but are not applied.
        return;
    }
    switch (type)
    {
        case SOL:
            BuildCorrectionsSOL(applied);
            break;
        case SOLT:
            BuildCorrectionsSOLT(applied);
            break;
        case SOLR:
            BuildCorrectionsSOLR(applied);
            break;
    }
    qDebug() << "BuildCorrections" << timer.elapsed() << "ms";
}

SParameters VNACalibration::ApplyCorrections(const SParametersRaw& raw,
                                             bool interpolationAllowed) const
{
    if (!built || (interpolated && !interpolationAllowed))
    {
        return raw.ToSParam();
    }
    switch (type)
    {
        case SOL:
            return ApplyCorrectionsSOL(raw);
        case SOLT:
            return ApplyCorrectionsSOLT(raw);
        case SOLR:
            return ApplyCorrectionsSOLR(raw);
    }
    return raw.ToSParam();
}

void VNACalibration::BuildCorrectionsSOL(const VNAStimulus& applied)
{
    qDebug() << "Building SOL error terms";
    const int n = std::max(0, int(applied.points));
    for (CplxVector& v : onePortTerms)
    {
        v.resize(n);
    }
    const double step = applied.StepSize();
    const QVector<double> calFreqs = stimulus.GetFreqVector();

    QVector<cplx> ideal(3 * n);
    RoleStandards shortStd(kit, onePortMap[RoleShort]);
    RoleStandards openStd(kit, onePortMap[RoleOpen]);
    RoleStandards loadStd(kit, onePortMap[RoleLoad]);
    for (int i = 0; i < n; ++i)
    {
        const double f = PointFreq(applied, step, i);
        ideal[3 * i] = shortStd.At(f).IdealShort(f);
        ideal[3 * i + 1] = openStd.At(f).IdealOpen(f);
        ideal[3 * i + 2] = loadStd.At(f).IdealLoad(f);
    }

    cplx* edf = onePortTerms[0].data();
    cplx* esf = onePortTerms[1].data();
    cplx* erf = onePortTerms[2].data();
    const MeasView ms(onePortMeas[RoleShort], calFreqs.size());
    const MeasView mo(onePortMeas[RoleOpen], calFreqs.size());
    const MeasView ml(onePortMeas[RoleLoad], calFreqs.size());
    BandBreakLocator locate(calFreqs);
    for (int i = 0; i < n; ++i)
    {
        const Pick p = locate.At(PointFreq(applied, step, i));
        const cplx m[3] = {ms(p), mo(p), ml(p)};
        SolveOnePort(&ideal[3 * i], m, edf[i], esf[i], erf[i]);
    }
}

SParameters VNACalibration::ApplyCorrectionsSOL(const SParametersRaw& raw) const
{
    const CplxVector& edf = onePortTerms[0];
    if (!built || raw.Size() != edf.size())
    {
        return raw.ToSParam();
    }
    const int n = raw.Size();
    SParameters out;
    out.Resize(n);
    const cplx zero(0.0, 0.0);
    for (int k = 0; k < 4; ++k)
    {
        out.GetSParam(VNATraceMeas(k)).fill(zero);
    }
    const CplxVector& m = port == 0 ? raw.S11 : raw.S22;
    CplxVector& g = port == 0 ? out.S11 : out.S22;
    const cplx* esf = onePortTerms[1].constData();
    const cplx* erf = onePortTerms[2].constData();
    for (int i = 0; i < n && i < m.size(); ++i)
    {
        const cplx x = CplxDiv(m[i] - edf[i], erf[i]);
        g[i] = CplxDiv(x, 1.0 + x * esf[i]);
    }
    return out;
}

bool VNACalibration::TwoPortSizesValid() const
{
    const int points = stimulus.points;
    for (int n = 0; n < 10; ++n)
    {
        if (meas[n].size() != points || measHDR[n].size() != points)
        {
            return false;
        }
    }
    return true;
}

namespace
{
// Ideal short, open and load of port 1 and then port 2 at f into v[0..5]. Port 2 often uses the
// very standards of port 1: their values are known already.
void FillReflectIdeals(RoleStandards* roles, double f, cplx* v)
{
    v[0] = roles[RoleP1Short].At(f).IdealShort(f);
    v[1] = roles[RoleP1Open].At(f).IdealOpen(f);
    v[2] = roles[RoleP1Load].At(f).IdealLoad(f);
    for (int r = 0; r < 3; ++r)
    {
        const CalKitStandardInfo& s2 = roles[RoleP2Short + r].At(f);
        if (&s2 == &roles[RoleP1Short + r].At(f))
        {
            v[3 + r] = v[r];
        }
        else
        {
            v[3 + r] = r == 0 ? s2.IdealShort(f) : r == 1 ? s2.IdealOpen(f) : s2.IdealLoad(f);
        }
    }
}
}  // namespace

void VNACalibration::BuildCorrectionsSOLT(const VNAStimulus& applied)
{
    if (!TwoPortSizesValid())
    {
        return;
    }
    qDebug() << "Building corrections";
    const int n = std::max(0, int(applied.points));
    for (int t = 0; t < kTermCount; ++t)
    {
        terms[t].resize(n);
        termsHDR[t].resize(n);
    }
    const double step = applied.StepSize();
    const QVector<double> calFreqs = stimulus.GetFreqVector();

    // First pass: ideal values of the seven roles.
    constexpr int kIdeal = 10;
    QVector<cplx> ideal(kIdeal * n);
    RoleStandards roles[kTwoPortRoles] = {
        {kit, twoPortMap[0]}, {kit, twoPortMap[1]}, {kit, twoPortMap[2]}, {kit, twoPortMap[3]},
        {kit, twoPortMap[4]}, {kit, twoPortMap[5]}, {kit, twoPortMap[6]}};
    for (int i = 0; i < n; ++i)
    {
        const double f = PointFreq(applied, step, i);
        cplx* v = &ideal[kIdeal * i];
        FillReflectIdeals(roles, f, v);
        roles[RoleThru].At(f).IdealThru(f, v[6], v[7], v[8], v[9]);
    }

    // Second pass: forward and reverse, each on the normal and the HDR measurement.
    cplx* T[2][kTermCount];
    MeasView mv[2][kTermCount];
    for (int t = 0; t < kTermCount; ++t)
    {
        T[0][t] = terms[t].data();
        T[1][t] = termsHDR[t].data();
        mv[0][t] = MeasView(meas[t], calFreqs.size());
        mv[1][t] = MeasView(measHDR[t], calFreqs.size());
    }
    BandBreakLocator locate(calFreqs);
    for (int i = 0; i < n; ++i)
    {
        const Pick p = locate.At(PointFreq(applied, step, i));
        const cplx* v = &ideal[kIdeal * i];
        const Thru thru{v[6], v[7], v[8], v[9]};
        for (int set = 0; set < 2; ++set)
        {
            const MeasView* m = mv[set];
            cplx* const* out = T[set];
            const cplx mf[3] = {m[StdS11Short](p), m[StdS11Open](p), m[StdS11Load](p)};
            cplx ed, es, er, el, et;
            SolveOnePort(v, mf, ed, es, er);
            const cplx ex = m[StdS21Iso](p);
            SolveForwardThru(ed, es, er, ex, m[StdS11Thru](p), m[StdS21Thru](p), thru, el, et);
            out[ErrEdf][i] = ed;
            out[ErrEsf][i] = es;
            out[ErrErf][i] = er;
            out[ErrExf][i] = ex;
            out[ErrElf][i] = el;
            out[ErrEtf][i] = et;
        }
        for (int set = 0; set < 2; ++set)
        {
            const MeasView* m = mv[set];
            cplx* const* out = T[set];
            const cplx mr[3] = {m[StdS22Short](p), m[StdS22Open](p), m[StdS22Load](p)};
            cplx ed, es, er, el, et;
            SolveOnePort(v + 3, mr, ed, es, er);
            const cplx ex = m[StdS12Iso](p);
            SolveReverseThru(ed, es, er, ex, m[StdS22Thru](p), m[StdS12Thru](p), thru, el, et);
            out[ErrEdr][i] = ed;
            out[ErrEsr][i] = es;
            out[ErrErr][i] = er;
            out[ErrExr][i] = ex;
            out[ErrElr][i] = el;
            out[ErrEtr][i] = et;
        }
    }
    MakeInverses(0);
    MakeInverses(1);
}

void VNACalibration::MakeInverses(int set)
{
    const CplxVector* t = set == 0 ? terms : termsHDR;
    const int of[4] = {ErrErf, ErrErr, ErrEtf, ErrEtr};
    for (int k = 0; k < 4; ++k)
    {
        const CplxVector& src = t[of[k]];
        CplxVector& dst = inverse[set][k];
        dst.resize(src.size());
        for (int i = 0; i < src.size(); ++i)
        {
            dst[i] = Reciprocal(src[i]);
        }
    }
}

int VNACalibration::ApplyTwelveTerm(int set, const CplxVector& m11, const CplxVector& m21,
                                    const CplxVector& m12, const CplxVector& m22, CplxVector& s11,
                                    CplxVector& s21, CplxVector& s12, CplxVector& s22) const
{
    const CplxVector* t = set == 0 ? terms : termsHDR;
    const int n = m11.size();
    if (inverse[set][0].size() != n)
    {
        return n;
    }
    const cplx* edf = t[ErrEdf].constData();
    const cplx* esf = t[ErrEsf].constData();
    const cplx* elf = t[ErrElf].constData();
    const cplx* ierf = inverse[set][0].constData();
    const cplx* ierr = inverse[set][1].constData();
    const cplx* ietf = inverse[set][2].constData();
    const cplx* ietr = inverse[set][3].constData();
    const cplx* exf = t[ErrExf].constData();
    const cplx* edr = t[ErrEdr].constData();
    const cplx* esr = t[ErrEsr].constData();
    const cplx* elr = t[ErrElr].constData();
    const cplx* exr = t[ErrExr].constData();
    cplx* o11 = s11.data();
    cplx* o21 = s21.data();
    cplx* o12 = s12.data();
    cplx* o22 = s22.data();
    int firstLow = n;
    for (int i = 0; i < n; ++i)
    {
        const cplx a = Mul(m11[i] - edf[i], ierf[i]);
        const cplx d = Mul(m22[i] - edr[i], ierr[i]);
        const cplx b = Mul(m21[i] - exf[i], ietf[i]);
        const cplx c = Mul(m12[i] - exr[i], ietr[i]);
        const cplx bc = Mul(b, c);
        const cplx pa = 1.0 + Mul(a, esf[i]);
        const cplx pd = 1.0 + Mul(d, esr[i]);
        const cplx den = Mul(pa, pd) - Mul(Mul(bc, elf[i]), elr[i]);
        const cplx r = Reciprocal(den);
        o11[i] = Mul(Mul(a, pd) - Mul(bc, elf[i]), r);
        o21[i] = Mul(Mul(b, 1.0 + Mul(d, esr[i] - elf[i])), r);
        o22[i] = Mul(Mul(d, pa) - Mul(bc, elr[i]), r);
        o12[i] = Mul(Mul(c, 1.0 + Mul(a, esf[i] - elr[i])), r);
        if (firstLow == n &&
            !(std::norm(o21[i]) >= kBlendPower && std::norm(o12[i]) >= kBlendPower))
        {
            firstLow = i;
        }
    }
    return firstLow;
}

SParameters VNACalibration::ApplyCorrectionsSOLT(const SParametersRaw& raw) const
{
    const int n = raw.Size();
    if (!built || n != terms[ErrEdf].size() || n != inverse[0][0].size() || raw.S21.size() != n ||
        raw.S12.size() != n || raw.S22.size() != n)
    {
        return raw.ToSParam();
    }
    SParameters out;
    out.Resize(n);
    const int firstLow =
        ApplyTwelveTerm(0, raw.S11, raw.S21, raw.S12, raw.S22, out.S11, out.S21, out.S12, out.S22);

    const bool hdrPresent = raw.S11HDR.size() == n && raw.S21HDR.size() == n &&
                            raw.S12HDR.size() == n && raw.S22HDR.size() == n &&
                            termsHDR[ErrEdf].size() == n && inverse[1][0].size() == n;
    if (!hdrPresent || firstLow == n)
    {
        return out;
    }
    // The HDR result only matters where a normal transmission lies below -25 dB; reflection never
    // uses it.
    SParameters hdr;
    for (int i = firstLow; i < n; ++i)
    {
        const bool low21 = !(std::norm(out.S21[i]) >= kBlendPower);
        const bool low12 = !(std::norm(out.S12[i]) >= kBlendPower);
        if (!low21 && !low12)
        {
            continue;
        }
        if (hdr.Size() != n)
        {
            hdr.Resize(n);
            ApplyTwelveTerm(1, raw.S11HDR, raw.S21HDR, raw.S12HDR, raw.S22HDR, hdr.S11, hdr.S21,
                            hdr.S12, hdr.S22);
        }
        out.S21[i] = BlendHDR(out.S21[i], hdr.S21[i]);
        out.S12[i] = BlendHDR(out.S12[i], hdr.S12[i]);
    }
    return out;
}

void VNACalibration::BuildCorrectionsSOLR(const VNAStimulus& applied)
{
    if (!TwoPortSizesValid())
    {
        return;
    }
    qDebug() << "Building corrections";
    const int n = std::max(0, int(applied.points));
    for (int t = 0; t < kTermCount; ++t)
    {
        terms[t].resize(n);
        termsHDR[t].resize(n);
    }
    SParametersRaw thru;
    thru.Resize(n);
    const double step = applied.StepSize();
    const QVector<double> calFreqs = stimulus.GetFreqVector();

    constexpr int kIdeal = 6;
    QVector<cplx> ideal(kIdeal * n);
    RoleStandards roles[6] = {{kit, twoPortMap[0]}, {kit, twoPortMap[1]}, {kit, twoPortMap[2]},
                              {kit, twoPortMap[3]}, {kit, twoPortMap[4]}, {kit, twoPortMap[5]}};
    for (int i = 0; i < n; ++i)
    {
        const double f = PointFreq(applied, step, i);
        cplx* v = &ideal[kIdeal * i];
        FillReflectIdeals(roles, f, v);
    }

    // The switch terms and gammas belong to the calibration's own points and are read by index;
    // on another stimulus the index is held inside the vector.
    auto byIndex = [](const CplxVector& v, int i)
    {
        if (v.isEmpty())
        {
            return cplx(0.0, 0.0);
        }
        return v[std::min(i, v.size() - 1)];
    };

    cplx* T[kTermCount];
    for (int t = 0; t < kTermCount; ++t)
    {
        T[t] = terms[t].data();
    }
    QVector<cplx> k(n), gF(n), gR(n);
    MeasView mv[kTermCount];
    for (int t = 0; t < kTermCount; ++t)
    {
        mv[t] = MeasView(meas[t], calFreqs.size());
    }
    BandBreakLocator locate(calFreqs);
    for (int i = 0; i < n; ++i)
    {
        const Pick p = locate.At(PointFreq(applied, step, i));
        const cplx* v = &ideal[kIdeal * i];
        const cplx mf[3] = {mv[StdS11Short](p), mv[StdS11Open](p), mv[StdS11Load](p)};
        const cplx mr[3] = {mv[StdS22Short](p), mv[StdS22Open](p), mv[StdS22Load](p)};
        SolveOnePort(v, mf, T[ErrEdf][i], T[ErrEsf][i], T[ErrErf][i]);
        SolveOnePort(v + 3, mr, T[ErrEdr][i], T[ErrEsr][i], T[ErrErr][i]);
        T[ErrExf][i] = mv[StdS21Iso](p);
        T[ErrExr][i] = mv[StdS12Iso](p);

        thru.S11[i] = mv[StdS11Thru](p);
        thru.S21[i] = mv[StdS21Thru](p);
        thru.S12[i] = mv[StdS12Thru](p);
        thru.S22[i] = mv[StdS22Thru](p);

        // Remove the switch: C = M W with W = [[1, -a], [-b, 1]] / (1 - a b).
        const cplx a = byIndex(switchRev, i);
        const cplx b = byIndex(switchFwd, i);
        const cplx s = 1.0 / (1.0 - a * b);
        const cplx W[4] = {s, -a * s, -b * s, s};
        const cplx M[4] = {thru.S11[i], thru.S12[i], thru.S21[i], thru.S22[i]};
        cplx C[4];
        Mat2x2_mult(M, W, C);
        gF[i] = byIndex(gammaFwd, i);
        gR[i] = byIndex(gammaRev, i);
        k[i] = std::sqrt(C[1] / C[2]);
        Convert7TermTo12Term(T[ErrEdf][i], T[ErrEsf][i], T[ErrErf][i], T[ErrEdr][i], T[ErrEsr][i],
                             T[ErrErr][i], T[ErrElf][i], T[ErrEtf][i], T[ErrElr][i], T[ErrEtr][i],
                             gF[i], gR[i], k[i]);
    }
    auto convertAll = [&]()
    {
        for (int i = 0; i < n; ++i)
        {
            Convert7TermTo12Term(T[ErrEdf][i], T[ErrEsf][i], T[ErrErf][i], T[ErrEdr][i],
                                 T[ErrEsr][i], T[ErrErr][i], T[ErrElf][i], T[ErrEtf][i],
                                 T[ErrElr][i], T[ErrEtr][i], gF[i], gR[i], k[i]);
        }
    };

    MakeInverses(0);
    SParameters P = ApplyCorrectionsSOLR(thru);
    QVector<cplx> K1 = k;
    QVector<cplx> K2(n);
    for (int i = 0; i < n; ++i)
    {
        K2[i] = -k[i];
        k[i] = -k[i];
    }
    convertAll();
    MakeInverses(0);
    const SParameters Q = ApplyCorrectionsSOLR(thru);

    // Phase continuity: each point takes the root nearer in phase to the choice before it.
    for (int i = 1; i < n && P.S21.size() == n && Q.S21.size() == n; ++i)
    {
        const double p0 = Phase(P.S21[i - 1]);
        const double d1 = WrapPi(Phase(P.S21[i]) - p0);
        const double d2 = WrapPi(Phase(Q.S21[i]) - p0);
        if (std::fabs(d2) > std::fabs(d1))
        {
            continue;
        }
        P.S21[i] = Q.S21[i];
        K1[i] = K2[i];
    }

    // The walk fixes the roots relative to the first point only. A reciprocal passive thru
    // transmits +1 at 0 Hz, so the branch whose thru phase runs back to pi there is the wrong one
    // throughout: take the other root everywhere.
    if (n > 1 && P.S21.size() == n &&
        std::fabs(std::remainder(ThruPhaseAtZeroHz(P.S21, applied), 2.0 * kPi)) > kPi / 2.0)
    {
        for (int i = 0; i < n; ++i)
        {
            K1[i] = -K1[i];
        }
    }
    k = K1;
    convertAll();
    MakeInverses(0);
}

SParameters VNACalibration::ApplyCorrectionsSOLR(const SParametersRaw& raw) const
{
    const int n = raw.Size();
    if (!built || n != terms[ErrEdf].size() || n != inverse[0][0].size() || raw.S21.size() != n ||
        raw.S12.size() != n || raw.S22.size() != n)
    {
        return raw.ToSParam();
    }
    // HDR results would be discarded here, so they are not computed.
    SParameters out;
    out.Resize(n);
    ApplyTwelveTerm(0, raw.S11, raw.S21, raw.S12, raw.S22, out.S11, out.S21, out.S12, out.S22);
    return out;
}
