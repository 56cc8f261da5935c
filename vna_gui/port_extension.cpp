#include "port_extension.h"

#include <QCoreApplication>
#include <algorithm>
#include <cmath>

#include "application_settings.h"
#include "frequency.h"
#include "signal_ops.h"
#include "touchstone.h"
#include "trace_formats.h"

namespace
{
using cplx = std::complex<double>;

// Frequencies closer than this are the same: Touchstone files round to a few hertz.
constexpr double kFreqTolerance = 1e3;

QString Tr(const char* text)
{
    return QCoreApplication::translate("VNADeembed", text);
}

// 1 / z through the squared magnitude: a zero gives non-numbers, as a zero S21 must.
inline cplx Reciprocal(cplx z)
{
    const double r = 1.0 / (z.real() * z.real() + z.imag() * z.imag());
    return {z.real() * r, -z.imag() * r};
}

// One point's cascade matrix.
struct Point
{
    cplx t11, t21, t12, t22;
};

inline Point SToT(cplx s11, cplx s21, cplx s12, cplx s22)
{
    const cplx inv = Reciprocal(s21);
    return {(s12 * s21 - s11 * s22) * inv, -s22 * inv, s11 * inv, inv};
}

inline void TToS(const Point& t, cplx& s11, cplx& s21, cplx& s12, cplx& s22)
{
    const cplx inv = Reciprocal(t.t22);
    s11 = t.t12 * inv;
    s12 = (t.t11 * t.t22 - t.t12 * t.t21) * inv;
    s21 = inv;
    s22 = -t.t21 * inv;
}

inline Point Mult(const Point& a, const Point& b)
{
    return {a.t11 * b.t11 + a.t12 * b.t21, a.t21 * b.t11 + a.t22 * b.t21,
            a.t11 * b.t12 + a.t12 * b.t22, a.t21 * b.t12 + a.t22 * b.t22};
}

inline Point Inverse(const Point& t)
{
    const cplx inv = Reciprocal(t.t11 * t.t22 - t.t12 * t.t21);
    return {t.t22 * inv, -t.t21 * inv, -t.t12 * inv, t.t11 * inv};
}

// Raw views of a TParameters, so the loops index plain arrays.
struct TView
{
    explicit TView(TParameters& t) : p{t.t0.data(), t.t1.data(), t.t2.data(), t.t3.data()} {}
    Point At(int i) const { return {p[0][i], p[1][i], p[2][i], p[3][i]}; }
    void Put(int i, const Point& v) const
    {
        p[0][i] = v.t11;
        p[1][i] = v.t21;
        p[2][i] = v.t12;
        p[3][i] = v.t22;
    }
    cplx* p[4];
};

struct ConstTView
{
    explicit ConstTView(const TParameters& t)
        : p{t.t0.constData(), t.t1.constData(), t.t2.constData(), t.t3.constData()}
    {
    }
    Point At(int i) const { return {p[0][i], p[1][i], p[2][i], p[3][i]}; }
    const cplx* p[4];
};

bool SameFrequencies(const VNAStimulus& a, const VNAStimulus& b)
{
    if (a.type != b.type || a.start != b.start || a.stop != b.stop || a.points != b.points)
    {
        return false;
    }
    if (a.type != SweepSegment)
    {
        return true;
    }
    if (a.segments.size() != b.segments.size())
    {
        return false;
    }
    for (int i = 0; i < a.segments.size(); ++i)
    {
        const VNASweepSegment &x = a.segments[i], &y = b.segments[i];
        if (x.start != y.start || x.stop != y.stop || x.points != y.points)
        {
            return false;
        }
    }
    return true;
}

QString PortKey(int port, const char* suffix)
{
    return QStringLiteral("Port%1%2").arg(port + 1).arg(QLatin1String(suffix));
}

// The loss law's exponent of one port: square root with one point, fitted with two.
double LossExponent(const PortExtensionSettings& e, int p)
{
    if (!e.use2[p])
    {
        return 0.5;
    }
    return std::log10(std::fabs(e.loss1[p] / e.loss2[p])) / std::log10(e.freq1[p] / e.freq2[p]);
}

double LossAt(const PortExtensionSettings& e, int p, double exponent, double f)
{
    double factor = 1.0;
    if (e.use1[p])
    {
        factor *= std::pow(10.0, e.loss1[p] * std::pow(f / e.freq1[p], exponent) / 20.0);
    }
    if (e.lossDC != 0.0)
    {
        factor *= std::pow(10.0, e.lossDC / 20.0);
    }
    return factor;
}

// Each port's extension as the transmission of a matched line, one way, at points
// i * step + start: a cascade of these lines at the ports is the port extension.
void PortLines(const PortExtensionSettings& e, double start, double step, int n, CplxVector& a,
               CplxVector& b)
{
    a.resize(n);
    b.resize(n);
    const double n0 = LossExponent(e, 0), n1 = LossExponent(e, 1);
    for (int i = 0; i < n; ++i)
    {
        const double f = i * step + start;
        // Positive angles: the extension takes the delay back out.
        a[i] = GetCexp(2.0 * M_PI * f * e.delay[0]) * LossAt(e, 0, n0, f);
        b[i] = GetCexp(2.0 * M_PI * f * e.delay[1]) * LossAt(e, 1, n1, f);
    }
}

// The multipliers of S11, of S21 and S12, and of S22: reflections pass their port's line twice,
// transmissions each line once.
void BuildFactors(const PortExtensionSettings& e, double start, double step, int n, CplxVector& f11,
                  CplxVector& f21, CplxVector& f22)
{
    CplxVector a, b;
    PortLines(e, start, step, n, a, b);
    f11.resize(n);
    f21.resize(n);
    f22.resize(n);
    for (int i = 0; i < n; ++i)
    {
        f11[i] = a[i] * a[i];
        f21[i] = a[i] * b[i];
        f22[i] = b[i] * b[i];
    }
}

void ApplyFactors(SParameters& s, const CplxVector& f11, const CplxVector& f21,
                  const CplxVector& f22)
{
    const int n = s.Size();
    if (!s.ValidSize() || f11.size() != n)
    {
        return;
    }
    sig::Mul(s.S11.constData(), f11.constData(), s.S11.data(), n);
    sig::Mul(s.S21.constData(), f21.constData(), s.S21.data(), n);
    sig::Mul(s.S12.constData(), f21.constData(), s.S12.data(), n);
    sig::Mul(s.S22.constData(), f22.constData(), s.S22.data(), n);
}
}  // namespace

// --- T-parameters ----------------------------------------------------------------------------

void TParameters::Resize(int n)
{
    t0.resize(n);
    t1.resize(n);
    t2.resize(n);
    t3.resize(n);
}

void TParameters::LoadIdentity(int n)
{
    Resize(n);
    t0.fill(cplx(1.0, 0.0));
    t1.fill(cplx(0.0, 0.0));
    t2.fill(cplx(0.0, 0.0));
    t3.fill(cplx(1.0, 0.0));
}

void TParameters::Invert()
{
    const TView v(*this);
    for (int i = 0; i < Size(); ++i)
    {
        v.Put(i, Inverse(v.At(i)));
    }
}

void TParameters::FromSParams(const SParameters& s)
{
    const int n = s.ValidSize() ? s.Size() : 0;
    Resize(n);
    const TView v(*this);
    for (int i = 0; i < n; ++i)
    {
        v.Put(i, SToT(s.S11[i], s.S21[i], s.S12[i], s.S22[i]));
    }
}

void TParameters::ToSParams(SParameters& s) const
{
    const int n = Size();
    s.Resize(n);
    const ConstTView v(*this);
    cplx *s11 = s.S11.data(), *s21 = s.S21.data(), *s12 = s.S12.data(), *s22 = s.S22.data();
    for (int i = 0; i < n; ++i)
    {
        TToS(v.At(i), s11[i], s21[i], s12[i], s22[i]);
    }
}

TParameters TParamMult(const TParameters& a, const TParameters& b)
{
    TParameters out;
    const int n = std::min(a.Size(), b.Size());
    out.Resize(n);
    const ConstTView va(a), vb(b);
    const TView vo(out);
    for (int i = 0; i < n; ++i)
    {
        vo.Put(i, Mult(va.At(i), vb.At(i)));
    }
    return out;
}

// --- fixtures --------------------------------------------------------------------------------

bool LoadFixtureFile(const QString& path, QVector<double>& freqs, SParameters& params,
                     QString& error)
{
    // Fixture files often come from simulators on uneven grids; interpolation needs only the
    // rising order, which the reader checks itself.
    bool isS1P = false;
    if (!LoadS2PFile(path, true, freqs, params, isS1P, error))
    {
        return false;
    }
    if (isS1P)
    {
        error = Tr("A fixture must be a two-port (.s2p) file.");
        return false;
    }
    if (freqs.isEmpty() || !params.ValidSize() || params.Size() != freqs.size())
    {
        error = Tr("The file holds no data.");
        return false;
    }
    return true;
}

bool VNADeembed::PortLoaded(int port) const
{
    return port >= 0 && port < 2 && fixture[port].loaded;
}

QString VNADeembed::PortFileName(int port) const
{
    return port >= 0 && port < 2 ? fixture[port].fileName : QString();
}

const QVector<double>& VNADeembed::PortFreqs(int port) const
{
    static const QVector<double> none;
    return port >= 0 && port < 2 ? fixture[port].freqs : none;
}

const SParameters& VNADeembed::PortParams(int port) const
{
    static const SParameters none;
    return port >= 0 && port < 2 ? fixture[port].params : none;
}

void VNADeembed::LoadP1(const QString& name, const QVector<double>& freqs,
                        const SParameters& params)
{
    LoadPort(0, name, freqs, params);
}

void VNADeembed::LoadP2(const QString& name, const QVector<double>& freqs,
                        const SParameters& params)
{
    LoadPort(1, name, freqs, params);
}

void VNADeembed::LoadPort(int port, const QString& name, const QVector<double>& freqs,
                          const SParameters& params)
{
    if (port < 0 || port > 1)
    {
        return;
    }
    fixture[port].loaded = true;
    fixture[port].fileName = name;
    fixture[port].freqs = freqs;
    fixture[port].params = params;
    ++revision;
}

void VNADeembed::ClearPort(int port)
{
    if (port < 0 || port > 1)
    {
        return;
    }
    fixture[port] = Fixture();
    ++revision;
}

void VNADeembed::Clear()
{
    enabled = false;
    ClearPort(0);
    ClearPort(1);
}

void VNADeembed::Save(ApplicationSettings& s, const QString& group) const
{
    s.BeginGroup(group);
    s.Save(QStringLiteral("Enabled"), enabled);
    for (int p = 0; p < 2; ++p)
    {
        s.Save(PortKey(p, "Loaded"), fixture[p].loaded);
        s.Save(PortKey(p, "FileName"), fixture[p].fileName);
        s.Save(PortKey(p, "Freqs"), fixture[p].freqs);
        fixture[p].params.Save(s, PortKey(p, "SParams"));
    }
    s.EndGroup();
}

void VNADeembed::Load(ApplicationSettings& s, const QString& group)
{
    s.BeginGroup(group);
    s.Load(QStringLiteral("Enabled"), enabled);
    for (int p = 0; p < 2; ++p)
    {
        Fixture& fx = fixture[p];
        s.Load(PortKey(p, "Loaded"), fx.loaded);
        s.Load(PortKey(p, "FileName"), fx.fileName);
        s.Load(PortKey(p, "Freqs"), fx.freqs);
        fx.params.Load(s, PortKey(p, "SParams"));
        if (!fx.loaded)
        {
            fx = Fixture();
        }
    }
    ++revision;
    s.EndGroup();
}

QString VNADeembed::PortWarning(int port, const VNAStimulus& stimulus) const
{
    const Fixture& fx = fixture[port];
    const QVector<double> sweep = stimulus.GetFreqVector();
    if (!fx.loaded || sweep.isEmpty() || fx.freqs.isEmpty())
    {
        return QString();
    }
    if (fx.params.Size() == sweep.size())
    {
        // Resampling takes a fixture of the sweep's length point for point, as it stands.
        for (int i = 0; i < sweep.size() && i < fx.freqs.size(); ++i)
        {
            if (std::fabs(fx.freqs[i] - sweep[i]) > kFreqTolerance)
            {
                return Tr("Port %1 fixture: as many points as the sweep, used point for point "
                          "although its frequencies differ.")
                    .arg(port + 1);
            }
        }
        return QString();
    }
    const auto range = std::minmax_element(sweep.constBegin(), sweep.constEnd());
    if (*range.first < fx.freqs.first() - kFreqTolerance ||
        *range.second > fx.freqs.last() + kFreqTolerance)
    {
        return Tr("Port %1 fixture covers %2 to %3 only; beyond that its end values are used.")
            .arg(port + 1)
            .arg(Frequency(fx.freqs.first()).GetFreqString(),
                 Frequency(fx.freqs.last()).GetFreqString());
    }
    return QString();
}

QString VNADeembed::CoverageWarning(const VNAStimulus& stimulus) const
{
    QStringList notes;
    for (int p = 0; p < 2; ++p)
    {
        const QString note = PortWarning(p, stimulus);
        if (!note.isEmpty())
        {
            notes.append(note);
        }
    }
    return notes.join(QLatin1Char('\n'));
}

bool VNADeembed::WorkMatches(const VNAStimulus& stimulus, int points, bool invert,
                             const PortExtensionSettings* extension) const
{
    return work.revision == revision && work.inverted == invert && work.size == points &&
           SameFrequencies(work.sweep, stimulus) && work.extended == (extension != nullptr) &&
           (!extension || work.extension == *extension);
}

void VNADeembed::PrepareWork(const VNAStimulus& stimulus, int points, bool invert,
                             const PortExtensionSettings* extension)
{
    if (WorkMatches(stimulus, points, invert, extension))
    {
        return;
    }
    const QVector<double> f = stimulus.GetFreqVector();
    TParameters t[2];
    for (int p = 0; p < 2; ++p)
    {
        if (!fixture[p].loaded)
        {
            t[p].LoadIdentity(points);
            continue;
        }
        t[p].FromSParams(InterpolateSParams(fixture[p].params, fixture[p].freqs, f));
        if (invert)
        {
            t[p].Invert();
        }
    }
    if (extension)
    {
        // The lines of the extension come first at each port: A * L1 and L2 * B, with a line's
        // T matrix diag(a, 1 / a).
        CplxVector a, b;
        PortLines(*extension, stimulus.start, stimulus.StepSize(), points, a, b);
        for (int i = 0; i < points && i < t[0].Size() && i < t[1].Size(); ++i)
        {
            const cplx ra = Reciprocal(a[i]), rb = Reciprocal(b[i]);
            t[0].t0[i] *= a[i];
            t[0].t1[i] *= a[i];
            t[0].t2[i] *= ra;
            t[0].t3[i] *= ra;
            t[1].t0[i] *= b[i];
            t[1].t2[i] *= b[i];
            t[1].t1[i] *= rb;
            t[1].t3[i] *= rb;
        }
    }
    // A sweep without a frequency list (a log sweep) leaves the data alone.
    const int n = t[0].Size() == points && t[1].Size() == points ? points : 0;
    work.points.resize(n);
    const ConstTView a(t[0]), b(t[1]);
    CascadePoint* w = work.points.data();
    for (int i = 0; i < n; ++i)
    {
        const Point x = a.At(i), y = b.At(i);
        w[i] = {x.t11, x.t21, x.t12,
                x.t22, y.t11, y.t21,
                y.t12, y.t22, (x.t11 * x.t22 - x.t12 * x.t21) * (y.t11 * y.t22 - y.t12 * y.t21)};
    }
    work.sweep = stimulus;
    work.size = points;
    work.revision = revision;
    work.inverted = invert;
    work.extended = extension != nullptr;
    work.extension = extension ? *extension : PortExtensionSettings();
}

void VNADeembed::Cascade(const QVector<CascadePoint>& work, SParameters& s)
{
    const int n = s.Size();
    if (!s.ValidSize() || work.size() != n)
    {
        return;
    }
    const CascadePoint* w = work.constData();
    cplx *s11 = s.S11.data(), *s21 = s.S21.data(), *s12 = s.S12.data(), *s22 = s.S22.data();
    const cplx nan(std::nan(""), std::nan(""));
    // A * T * B with T = [D S11; -S22 1] / S21, D = S12 S21 - S11 S22. Scaling T by S21 saves
    // its divisions; S21 cancels in the result, and det T = S12 / S21 gives S12 without T11.
    for (int i = 0; i < n; ++i)
    {
        const CascadePoint& c = w[i];
        const cplx d = s12[i] * s21[i] - s11[i] * s22[i];
        const cplx p11 = c.a11 * d - c.a12 * s22[i], p12 = c.a11 * s11[i] + c.a12;
        const cplx p21 = c.a21 * d - c.a22 * s22[i], p22 = c.a21 * s11[i] + c.a22;
        const cplx r12 = p11 * c.b12 + p12 * c.b22;
        const cplx r21 = p21 * c.b11 + p22 * c.b21;
        // The T form has no value where S21 is zero.
        const cplx inv = s21[i] == 0.0 ? nan : Reciprocal(p21 * c.b12 + p22 * c.b22);
        s11[i] = r12 * inv;
        s12[i] = s12[i] * c.detAB * inv;
        s21[i] = s21[i] * inv;
        s22[i] = -r21 * inv;
    }
}

void VNADeembed::Apply(const VNAStimulus& stimulus, SParameters& s, bool invert,
                       const PortExtensionSettings* extension)
{
    if (!s.ValidSize())
    {
        return;
    }
    PrepareWork(stimulus, s.Size(), invert, extension);
    Cascade(work.points, s);
}

void VNADeembed::Deembed(const VNAStimulus& stimulus, SParameters& s,
                         const PortExtensionSettings* extension)
{
    Apply(stimulus, s, true, extension);
}

void VNADeembed::Embed(const VNAStimulus& stimulus, SParameters& s,
                       const PortExtensionSettings* extension)
{
    Apply(stimulus, s, false, extension);
}

// --- port extension --------------------------------------------------------------------------

bool PortExtensionSettings::operator==(const PortExtensionSettings& o) const
{
    for (int p = 0; p < 2; ++p)
    {
        if (delay[p] != o.delay[p] || use1[p] != o.use1[p] || freq1[p] != o.freq1[p] ||
            loss1[p] != o.loss1[p] || use2[p] != o.use2[p] || freq2[p] != o.freq2[p] ||
            loss2[p] != o.loss2[p])
        {
            return false;
        }
    }
    return enabled == o.enabled && velocityFactor == o.velocityFactor && lossDC == o.lossDC;
}

void VNAPortExtension::Clear()
{
    SetSettings(PortExtensionSettings());
}

namespace
{
// Calls fn(key, field) for every stored field; one list serves saving and loading.
template <typename Settings, typename Fn>
void ForEachKey(Settings& e, Fn fn)
{
    fn(QStringLiteral("Enabled"), e.enabled);
    fn(QStringLiteral("VelocityFactor"), e.velocityFactor);
    for (int p = 0; p < 2; ++p)
    {
        const QString port = QString::number(p + 1);
        fn(QStringLiteral("DelayPort") + port, e.delay[p]);
        fn(QStringLiteral("IncludePort%1Point1").arg(port), e.use1[p]);
        fn(QStringLiteral("FreqPort%1Point1").arg(port), e.freq1[p]);
        fn(QStringLiteral("LossPort%1Point1").arg(port), e.loss1[p]);
        fn(QStringLiteral("IncludePort%1Point2").arg(port), e.use2[p]);
        fn(QStringLiteral("FreqPort%1Point2").arg(port), e.freq2[p]);
        fn(QStringLiteral("LossPort%1Point2").arg(port), e.loss2[p]);
    }
    fn(QStringLiteral("LossDC"), e.lossDC);
}
}  // namespace

void VNAPortExtension::Save(ApplicationSettings& s) const
{
    s.BeginGroup(QStringLiteral("PortExtension"));
    ForEachKey(Settings(), [&s](const QString& key, const auto& v) { s.Save(key, v); });
    s.EndGroup();
}

void VNAPortExtension::Load(ApplicationSettings& s)
{
    s.BeginGroup(QStringLiteral("PortExtension"));
    ForEachKey(static_cast<PortExtensionSettings&>(*this),
               [&s](const QString& key, auto& v) { s.Load(key, v); });
    s.EndGroup();
}

void VNAPortExtension::ApplyPortExtension(SParameters& s, const VNAStimulus& stimulus)
{
    const double start = stimulus.start, step = stimulus.StepSize();
    if (work.points != s.Size() || work.start != start || work.step != step ||
        work.builtFor != Settings())
    {
        BuildFactors(Settings(), start, step, s.Size(), work.f11, work.f21, work.f22);
        work.builtFor = Settings();
        work.start = start;
        work.step = step;
        work.points = s.Size();
    }
    ApplyFactors(s, work.f11, work.f21, work.f22);
}

double PortExtensionLoss(const PortExtensionSettings& e, int port, double f)
{
    return LossAt(e, port, LossExponent(e, port), f);
}

void ApplyPortExtension(SParameters& s, const VNAStimulus& stimulus, const PortExtensionSettings& e)
{
    CplxVector f11, f21, f22;
    BuildFactors(e, stimulus.start, stimulus.StepSize(), s.Size(), f11, f21, f22);
    ApplyFactors(s, f11, f21, f22);
}

// --- automatic port extension ----------------------------------------------------------------

PortExtensionReading ReadPortExtensionStandard(const CplxVector& reflection,
                                               const VNAStimulus& stimulus)
{
    PortExtensionReading r;
    const int n = reflection.size();
    const double start = stimulus.start, step = stimulus.StepSize();
    QVector<double> x(n);
    for (int i = 0; i < n; ++i)
    {
        x[i] = i * step + start;
    }
    QVector<double> outX, y;
    SParamToGroupDelay(x, reflection, outX, y, step);
    if (n > 0)
    {
        // Group delay in ns of the round trip; the extension wants one way in seconds.
        r.delay = sig::Sum(y.constData(), n) / n / 1e9 * 0.5;
    }
    SParamToLogMag(x, reflection, outX, y);
    r.freq1 = 0.75 * stimulus.start + 0.25 * stimulus.stop;
    r.freq2 = 0.25 * stimulus.start + 0.75 * stimulus.stop;
    r.db1 = InterpolateArray(outX, y, r.freq1);
    r.db2 = InterpolateArray(outX, y, r.freq2);
    return r;
}

void VNAAutoPortExtension::Measure(int port, int standard, const SParameters& corrected,
                                   const VNAStimulus& stimulus, bool measureLoss,
                                   PortExtensionSettings& ext)
{
    if (port < 0 || port > 1 || standard < 0 || standard > 1)
    {
        return;
    }
    Cached& mine = cache[port][standard];
    mine.valid = true;
    mine.hasLoss = measureLoss;
    mine.reading = ReadPortExtensionStandard(port == 0 ? corrected.S11 : corrected.S22, stimulus);
    const Cached& other = cache[port][1 - standard];
    const PortExtensionReading& a = mine.reading;
    const PortExtensionReading& b = other.reading;
    // With both standards measured their errors of opposite sign largely cancel.
    ext.delay[port] = other.valid ? 0.5 * (a.delay + b.delay) : a.delay;
    if (!measureLoss)
    {
        return;
    }
    const bool both = other.valid && other.hasLoss;
    const double db1 = both ? 0.5 * (a.db1 + b.db1) : a.db1;
    const double db2 = both ? 0.5 * (a.db2 + b.db2) : a.db2;
    // A reflection passes the loss twice; the extension compensates one way.
    ext.use1[port] = true;
    ext.freq1[port] = a.freq1;
    ext.loss1[port] = -db1 * 0.5;
    ext.use2[port] = true;
    ext.freq2[port] = a.freq2;
    ext.loss2[port] = -db2 * 0.5;
}

bool VNAAutoPortExtension::HasReading(int port, int standard) const
{
    return port >= 0 && port < 2 && standard >= 0 && standard < 2 && cache[port][standard].valid;
}

void VNAAutoPortExtension::Clear()
{
    for (auto& port : cache)
    {
        for (Cached& c : port)
        {
            c = Cached();
        }
    }
}
