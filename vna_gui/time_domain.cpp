#include "time_domain.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <memory>
#include <mutex>
#include <tuple>
#include <vector>

#include "signal_ops.h"
#include "vna_stimulus.h"

using cplx = std::complex<double>;

namespace
{
// I0 of a larger argument overflows a double; a window that narrow is a few points wide anyway.
constexpr double kMaxBeta = 700.0;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// A few recently used results by key. Every pass of the chain asks for the same windows and gate
// kernels, which cost more than the transform itself at the largest sweeps.
template <typename Key, typename Value>
class RecentCache
{
public:
    template <typename Make>
    std::shared_ptr<const Value> Get(const Key& key, Make make)
    {
        {
            std::lock_guard<std::mutex> lock(mutex);
            for (const auto& e : entries)
            {
                if (e.first == key)
                {
                    return e.second;
                }
            }
        }
        // Built outside the lock: two threads may both build one entry, which is only waste.
        std::shared_ptr<const Value> value = std::make_shared<const Value>(make());
        std::lock_guard<std::mutex> lock(mutex);
        entries.emplace_front(key, value);
        if (entries.size() > kCapacity)
        {
            entries.pop_back();
        }
        return value;
    }

private:
    static constexpr size_t kCapacity = 8;
    // Guards entries.
    std::mutex mutex;
    std::deque<std::pair<Key, std::shared_ptr<const Value>>> entries;
};

// Buffers of one thread, grown to the largest sweep seen and reused: a sweep of the chain then
// maps no fresh memory, which at 64001 points costs more than the transforms.
struct Workspace
{
    std::vector<cplx> a, b, c;
    std::vector<double> re;
};

Workspace& ThreadWorkspace()
{
    thread_local Workspace workspace;
    return workspace;
}

template <typename T>
T* Grow(std::vector<T>& v, int n)
{
    if (v.size() < static_cast<size_t>(n))
    {
        v.resize(static_cast<size_t>(n));
    }
    return v.data();
}

// I0(2 sqrt(q[i])) / I0(2 sqrt(qMax)) for every i, from the power series of I0. The terms are
// summed for all points together, as many as the largest argument needs, so the loop over the
// points is a plain multiply-add.
void BesselRatios(const double* q, double* out, int n, double qMax)
{
    std::vector<double> term(static_cast<size_t>(n), 1.0);
    std::fill(out, out + n, 1.0);
    double termMax = 1.0, sumMax = 1.0;
    for (int k = 1; termMax > 1e-17 * sumMax; ++k)
    {
        const double c = 1.0 / (double(k) * k);
        termMax *= qMax * c;
        sumMax += termMax;
        for (int i = 0; i < n; ++i)
        {
            term[i] *= q[i] * c;
            out[i] += term[i];
        }
    }
    for (int i = 0; i < n; ++i)
    {
        out[i] /= sumMax;
    }
}

// Smallest length at or above n with no prime factor above 5, where FFTW is at its fastest.
int SmoothLength(int n)
{
    for (int m = std::max(n, 1);; ++m)
    {
        int r = m;
        for (int p : {2, 3, 5})
        {
            while (r % p == 0)
            {
                r /= p;
            }
        }
        if (r == 1)
        {
            return m;
        }
    }
}

using Window = std::vector<double>;
std::shared_ptr<const Window> KaiserWindow(int n, double beta, bool normalize)
{
    static RecentCache<std::tuple<int, double, bool>, Window> cache;
    return cache.Get(std::make_tuple(n, beta, normalize),
                     [&]
                     {
                         Window w(size_t(std::max(n, 0)));
                         GetKaiserWindow_64f(w.data(), n, beta);
                         if (normalize)
                         {
                             NormalizeWindow(w.data(), n);
                         }
                         return w;
                     });
}

// Inverse DFT of a spectrum whose middle is its centre, with time 0 in the middle of out. tmp
// holds 2 n; out must differ from in.
void CentredInverse(const cplx* in, cplx* out, int n, cplx* tmp)
{
    IFFTShift(in, tmp, n);
    sig::DftInverse(tmp, tmp + n, n);
    FFTShift(tmp + n, out, n);
}

// Forward counterpart of CentredInverse.
void CentredForward(const cplx* in, cplx* out, int n, cplx* tmp)
{
    IFFTShift(in, tmp, n);
    sig::DftForward(tmp, tmp + n, n);
    FFTShift(tmp + n, out, n);
}

// True where the gate lets the time sample through. Comparisons with a not-a-number time (a
// one-point sweep has an infinite step) are false, so such a sample always passes.
bool GatePasses(double t, double gateStart, double gateStop, VNAGateType type)
{
    if (type == GateNotch)
    {
        return !(gateStart <= t && t <= gateStop);
    }
    return !(t < gateStart || t > gateStop);
}

// The gate as 0 and 1 on the band-pass time axis of n points over the given span.
std::vector<cplx> GateMask(int n, double fStart, double fStep, double gateStart, double gateStop,
                           VNAGateType type)
{
    const double span = ((n - 1) * fStep + fStart) - fStart;
    const double dt = 1.0 / span;
    const double t0 = -(n / 2) * dt;
    std::vector<cplx> g(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i)
    {
        g[i] = GatePasses(i * dt + t0, gateStart, gateStop, type) ? 1.0 : 0.0;
    }
    return g;
}

// The frequency-domain gate kernel B, centred on index n / 2: the conjugated, shifted inverse
// DFT of the gate, tapered by the shape's (unnormalised) Kaiser window and modulated by an
// alternating sign. Gating is the linear convolution of the data with B.
std::vector<cplx> GateKernel(int n, double fStart, double fStep, double gateStart, double gateStop,
                             VNAGateType type, VNAGateShape shape)
{
    const std::vector<cplx> g = GateMask(n, fStart, fStep, gateStart, gateStop, type);
    std::vector<cplx> inverse(static_cast<size_t>(n)), kernel(static_cast<size_t>(n));
    sig::DftInverse(g.data(), inverse.data(), n);
    FFTShift(inverse.data(), kernel.data(), n);
    const std::shared_ptr<const Window> w = KaiserWindow(n, WindowBetaFromGateShape(shape), false);
    // The alternating sign undoes the half-length shift of the gate's time axis. It is taken
    // relative to the centre tap n / 2: started at index 0 (+1, -1, ...) it negates the gated
    // data whenever n / 2 is odd (n = 2, 251, 1602...), so that a gate wider than the time span
    // would return -s instead of s.
    const int h = n / 2;
    for (int i = 0; i < n; ++i)
    {
        const double sign = ((i ^ h) & 1) ? -1.0 : 1.0;
        kernel[i] = std::conj(kernel[i]) * ((*w)[i] * sign);
    }
    return kernel;
}

// Linear convolution rows [first, first + count) of a (length na) with b (length nb), through
// FFTs of a smooth length of at least na + nb - 1.
std::vector<cplx> ConvolveRows(const cplx* a, int na, const cplx* b, int nb, int first, int count)
{
    const int len = SmoothLength(na + nb - 1);
    std::vector<cplx> pa(static_cast<size_t>(len)), pb(static_cast<size_t>(len)),
        fa(static_cast<size_t>(len)), fb(static_cast<size_t>(len));
    std::copy(a, a + na, pa.begin());
    std::copy(b, b + nb, pb.begin());
    sig::DftForward(pa.data(), fa.data(), len);
    sig::DftForward(pb.data(), fb.data(), len);
    sig::Mul(fa.data(), fb.data(), fa.data(), len);
    sig::DftInverse(fa.data(), pa.data(), len);
    return std::vector<cplx>(pa.begin() + first, pa.begin() + first + count);
}

// What a gate needs of its kernel for any data: the kernel's DFT at the convolution length, and
// the magnitudes, prefix sums and prefix counts of nonzero taps for the edge renormalisation.
struct GatePlan
{
    int len = 0;
    std::vector<cplx> spectrum;
    std::vector<double> absK, prefix;
    std::vector<int> count;
};

GatePlan MakeGatePlan(int n, double fStart, double fStep, double gateStart, double gateStop,
                      VNAGateType type, VNAGateShape shape)
{
    const std::vector<cplx> kernel = GateKernel(n, fStart, fStep, gateStart, gateStop, type, shape);
    GatePlan plan;
    plan.len = SmoothLength(2 * n - 1);
    std::vector<cplx> padded(static_cast<size_t>(plan.len));
    std::copy(kernel.begin(), kernel.end(), padded.begin());
    plan.spectrum.resize(static_cast<size_t>(plan.len));
    sig::DftForward(padded.data(), plan.spectrum.data(), plan.len);
    plan.absK.resize(static_cast<size_t>(n));
    plan.prefix.assign(static_cast<size_t>(n) + 1, 0.0);
    plan.count.assign(static_cast<size_t>(n) + 1, 0);
    for (int m = 0; m < n; ++m)
    {
        plan.absK[m] = std::abs(kernel[m]);
        plan.prefix[m + 1] = plan.prefix[m] + plan.absK[m];
        plan.count[m + 1] = plan.count[m] + (plan.absK[m] != 0.0 ? 1 : 0);
    }
    return plan;
}

std::shared_ptr<const GatePlan> GatePlanFor(int n, double fStart, double fStep, double gateStart,
                                            double gateStop, VNAGateType type, VNAGateShape shape)
{
    using Key = std::tuple<int, double, double, double, double, int, double>;
    static RecentCache<Key, GatePlan> cache;
    const Key key(n, fStart, fStep, gateStart, gateStop, type == GateNotch ? 1 : 0,
                  WindowBetaFromGateShape(shape));
    return cache.Get(
        key, [&] { return MakeGatePlan(n, fStart, fStep, gateStart, gateStop, type, shape); });
}

// Weight (real part) and number of nonzero taps (imaginary part) of the kernel that fall on exact
// zeros of the data, for each kept row; empty when the data holds none.
std::vector<cplx> HiddenTaps(const CplxVector& s, const std::vector<double>& absK, int first)
{
    const int n = s.size();
    std::vector<cplx> zeros(static_cast<size_t>(n));
    bool any = false;
    for (int k = 0; k < n; ++k)
    {
        const bool z = s[k] == cplx(0.0, 0.0);
        zeros[k] = z ? 1.0 : 0.0;
        any |= z;
    }
    if (!any)
    {
        return {};
    }
    std::vector<cplx> taps(static_cast<size_t>(n));
    for (int m = 0; m < n; ++m)
    {
        taps[m] = cplx(absK[m], absK[m] != 0.0 ? 1.0 : 0.0);
    }
    return ConvolveRows(zeros.data(), n, taps.data(), n, first, n);
}
}  // namespace

// --- windows and shifts ----------------------------------------------------------------------

void GetKaiserWindow_64f(double* w, int n, double beta)
{
    if (n <= 0)
    {
        return;
    }
    if (n == 1)
    {
        w[0] = 1.0;
        return;
    }
    beta = std::min(std::fabs(beta), kMaxBeta);
    const int half = (n + 1) / 2;
    const bool odd = (n & 1) != 0;
    std::vector<double> q(static_cast<size_t>(half)), v(static_cast<size_t>(half));
    for (int i = 0; i < half; ++i)
    {
        const double u = odd ? 2.0 * i / (n - 1) : 2.0 * (i + 0.5) / (n - 1);
        q[i] = std::max(0.0, 1.0 - u * u) * beta * beta / 4.0;
    }
    BesselRatios(q.data(), v.data(), half, beta * beta / 4.0);
    const int centre = n / 2;
    for (int i = 0; i < half; ++i)
    {
        w[centre + i] = v[i];
        w[odd ? centre - i : centre - 1 - i] = v[i];
    }
}

void NormalizeWindow(double* w, int n)
{
    const double sum = sig::Sum(w, n);
    sig::MulC(w, n / sum, w, n);
}

void FFTShift(const cplx* src, cplx* dst, int n)
{
    const int h = n / 2;
    // src[0 .. n-h-1] goes to dst[h ..], src[n-h ..] to dst[0 ..].
    sig::Copy(src, dst + h, n - h);
    sig::Copy(src + n - h, dst, h);
}

void IFFTShift(const cplx* src, cplx* dst, int n)
{
    const int h = n / 2;
    sig::Copy(src + h, dst, n - h);
    sig::Copy(src, dst + n - h, h);
}

double TransformWindowBeta(const VNATransformSettings& settings)
{
    switch (settings.window)
    {
        case WindowMinimum:
            return 0.0;
        case WindowNormal:
            return 6.0;
        case WindowMaximum:
            return 13.0;
        case WindowCustom:
            return settings.beta;
    }
    return 6.0;
}

double WindowBetaFromGateShape(VNAGateShape shape)
{
    switch (shape)
    {
        case GateShapeMinimum:
            return 0.0;
        case GateShapeMaximum:
            return 13.0;
        default:
            return 6.0;
    }
}

// --- transform -------------------------------------------------------------------------------

int64_t LowpassStartIndex(const VNAStimulus& stimulus)
{
    const double step = stimulus.StepSize();
    if (!(step > 0.0) || !std::isfinite(step))
    {
        return 0;
    }
    // Bounded well inside the integer range; anything that large fails the caller's length check.
    return int64_t(std::min(std::round(stimulus.start / step), 1e15));
}

namespace
{
void BandpassTransform(const VNAStimulus& stimulus, double beta, const CplxVector& in,
                       QVector<double>& x, CplxVector& out)
{
    const int n = in.size();
    x.resize(n);
    out.resize(n);
    if (n == 0)
    {
        return;
    }
    const std::shared_ptr<const Window> w = KaiserWindow(n, beta, true);
    Workspace& ws = ThreadWorkspace();
    cplx* a = Grow(ws.a, n);
    for (int i = 0; i < n; ++i)
    {
        a[i] = in[i] * (*w)[i];
    }
    CentredInverse(a, out.data(), n, Grow(ws.b, 2 * n));
    const double dt = 1.0 / stimulus.span;
    const double t0 = -(n / 2) * dt;
    for (int i = 0; i < n; ++i)
    {
        x[i] = i * dt + t0;
    }
}

// The two-sided spectrum of a low-pass transform into a (2 (n + k) - 1 entries, every one
// written): conjugated mirror below DC, the low frequencies that the sweep lacks extrapolated
// from its first two points, and a real DC.
void LowpassSpectrum(const CplxVector& in, int k, cplx* a)
{
    const int n = in.size();
    const int c = n + k - 1;
    for (int i = 0; i < n; ++i)
    {
        a[n - 1 - i] = std::conj(in[i]);
        a[n + 2 * k - 1 + i] = in[i];
    }
    const cplx p = in[0];
    const cplx q = n > 1 ? in[1] : in[0];
    for (int i = 1; i < k; ++i)
    {
        const cplx v = InterpolateCplx(p, q, i - k);
        a[c + i] = v;
        a[c - i] = std::conj(v);
    }
    // DC. Its neighbours are a conjugate pair, so their polar midpoint is +|S(f1)| or -|S(f1)|
    // by the phase of the first point alone: a matched 10 ns line's step on a 40 MHz grid then
    // ends near -1 instead of 1, and a mismatched load's step level is off by 0.05 to 0.1. A
    // physical response is real at DC, so DC is the real part of the value extrapolated in
    // polar form to 0 Hz, or of the measured point when the sweep starts at 0 Hz.
    a[c] = k > 0 ? InterpolateCplx(p, q, -k).real() : in[0].real();
}

void LowpassTransform(const VNAStimulus& stimulus, const VNATransformSettings& settings,
                      const CplxVector& in, QVector<double>& x, CplxVector& out)
{
    const int n = in.size();
    const int64_t k = LowpassStartIndex(stimulus);
    const int64_t length = 2 * (n + k) - 1;
    if (n == 0 || length > kMaxLowpassLength)
    {
        x.resize(0);
        out.resize(0);
        return;
    }
    const int m = int(length);
    Workspace& ws = ThreadWorkspace();
    cplx* a = Grow(ws.a, m);
    LowpassSpectrum(in, int(k), a);
    const std::shared_ptr<const Window> w = KaiserWindow(m, TransformWindowBeta(settings), true);
    const double wc = (*w)[m / 2];
    for (int i = 0; i < m; ++i)
    {
        a[i] *= (*w)[i];
    }
    out.resize(m);
    CentredInverse(a, out.data(), m, Grow(ws.b, 2 * m));
    x.resize(m);
    const double dt = 1.0 / (2.0 * stimulus.stop);
    const double t0 = -(m / 2) * dt;
    const bool step = settings.type == TransformLowpassStep;
    double sum = 0.0;
    for (int i = 0; i < m; ++i)
    {
        x[i] = i * dt + t0;
        // The step sums the impulse; dividing by the window's centre makes it end at DC.
        sum += out[i].real() / wc;
        out[i] = cplx(step ? sum : out[i].real(), 0.0);
    }
}
}  // namespace

void TransformSParam(const VNAStimulus& stimulus, const VNATransformSettings& settings,
                     const CplxVector& in, QVector<double>& x, CplxVector& out)
{
    if (settings.type == TransformLowpassStep || settings.type == TransformLowpassImpulse)
    {
        LowpassTransform(stimulus, settings, in, x, out);
    }
    else
    {
        BandpassTransform(stimulus, TransformWindowBeta(settings), in, x, out);
    }
}

std::pair<double, double> GetTimeDomainFullScale(const VNAStimulus& stimulus,
                                                 const VNATransformSettings& settings)
{
    const int64_t n = stimulus.points;
    if (settings.type == TransformLowpassStep || settings.type == TransformLowpassImpulse)
    {
        const int64_t l = 2 * (LowpassStartIndex(stimulus) + n);
        const double dt = 1.0 / (2.0 * stimulus.stop);
        const double start = -double((l - 1) / 2) * dt;
        return {start, double(l - 2) * dt + start};
    }
    const double dt = 1.0 / stimulus.span;
    const double start = -double(n / 2) * dt;
    return {start, double(n - 1) * dt + start};
}

// --- gating ----------------------------------------------------------------------------------

void GateSParamConv(CplxVector& s, double fStart, double fStep, double gateStart, double gateStop,
                    VNAGateType type, VNAGateShape shape)
{
    const int n = s.size();
    if (n == 0)
    {
        return;
    }
    const std::shared_ptr<const GatePlan> plan =
        GatePlanFor(n, fStart, fStep, gateStart, gateStop, type, shape);
    // The convolution's kept rows are n / 2 onwards, which put the kernel's centre on each point.
    const int len = plan->len, first = n / 2;
    Workspace& ws = ThreadWorkspace();
    cplx* padded = Grow(ws.a, len);
    cplx* spectrum = Grow(ws.b, len);
    std::copy(s.constBegin(), s.constEnd(), padded);
    std::fill(padded + n, padded + len, cplx(0.0, 0.0));
    sig::DftForward(padded, spectrum, len);
    sig::Mul(spectrum, plan->spectrum.data(), spectrum, len);
    sig::DftInverse(spectrum, padded, len);
    const cplx* rows = padded + first;

    // Edge renormalisation: each row is divided by the share of the kernel's total magnitude that
    // meets data. Taps beyond the ends are found by prefix sums, taps on exact zeros of the data
    // (which count as padding) by a second convolution, and the tap counts decide exactly when no
    // tap meets data at all, where the result is not a number.
    const std::vector<cplx> hidden = HiddenTaps(s, plan->absK, first);
    const double total = plan->prefix[n];
    for (int i = 0; i < n; ++i)
    {
        const int j = first + i;
        const int lo = std::max(0, j - n + 1), hi = std::min(n - 1, j);
        const cplx h = hidden.empty() ? cplx(0.0, 0.0) : hidden[i];
        const double visible = plan->prefix[hi + 1] - plan->prefix[lo] - h.real();
        const int taps = plan->count[hi + 1] - plan->count[lo] - int(std::lround(h.imag()));
        const double f = visible / total;
        s[i] = (total == 0.0 || taps == 0) ? cplx(kNaN, kNaN) : rows[i] * (1.0 / f);
    }
}

void GateSParam(CplxVector& s, double fStart, double fStep, double gateStart, double gateStop,
                VNAGateType type, VNAGateShape shape)
{
    const int n = s.size();
    if (n == 0)
    {
        return;
    }
    const std::shared_ptr<const Window> w = KaiserWindow(n, WindowBetaFromGateShape(shape), true);
    std::vector<cplx> a(static_cast<size_t>(n)), response(static_cast<size_t>(n)),
        tmp(2 * static_cast<size_t>(n));
    for (int i = 0; i < n; ++i)
    {
        a[i] = s[i] * (*w)[i];
    }
    CentredInverse(a.data(), response.data(), n, tmp.data());
    const std::vector<cplx> mask = GateMask(n, fStart, fStep, gateStart, gateStop, type);
    for (int i = 0; i < n; ++i)
    {
        response[i] *= mask[i];
    }
    CentredForward(response.data(), a.data(), n, tmp.data());
    for (int i = 0; i < n; ++i)
    {
        s[i] = a[i] / (*w)[i];
    }
}

// --- settings rules --------------------------------------------------------------------------

bool IsTransformTypeAllowed(VNATransformType type, const VNAStimulus& stimulus)
{
    return type == TransformBandpass || stimulus.IsTDLowpassCompatible();
}

bool LowpassCompatibleStimulus(const VNAStimulus& current, VNAStimulus& next)
{
    if (current.IsTDLowpassCompatible() || std::fabs(current.start - current.StepSize()) < 1.0)
    {
        return false;
    }
    using StimulusLimits::kMaxFreq;
    using StimulusLimits::kMaxPoints;
    using StimulusLimits::kMinFreq;
    next = current;
    const double s = current.stop / current.points;
    if (s >= kMinFreq)
    {
        next.start = s;
    }
    else
    {
        const double n = std::trunc(current.stop / kMinFreq);
        next.start = kMinFreq;
        if (n < 2)
        {
            next.points = 2;
            next.stop = 2 * kMinFreq;
        }
        else if (n > kMaxPoints)
        {
            next.points = kMaxPoints;
            next.stop = kMaxFreq;
        }
        else
        {
            next.points = int32_t(n);
            next.stop = n * kMinFreq;
        }
    }
    next.span = next.stop - next.start;
    next.center = (next.stop + next.start) / 2.0;
    return true;
}

// --- distance --------------------------------------------------------------------------------

double MetersPerSecond(const VNATransformSettings& settings, VNATraceMeas meas)
{
    const bool reflection = settings.markerMode == MarkerModeReflection ||
                            (settings.markerMode == MarkerModeAuto && (meas == S11 || meas == S22));
    return kDistancePerSecond * settings.velocityFactor * (reflection ? 0.5 : 1.0);
}

double MetersToUnits(double meters, VNATransformUnits units)
{
    switch (units)
    {
        case UnitsFeet:
            return meters / 0.3048;
        case UnitsInches:
            return meters / 0.0254;
        default:
            return meters;
    }
}

double UnitsToMeters(double value, VNATransformUnits units)
{
    switch (units)
    {
        case UnitsFeet:
            return value * 0.3048;
        case UnitsInches:
            return value * 0.0254;
        default:
            return value;
    }
}

double TimeToDisplayUnits(double t, const VNATransformSettings& settings, VNATraceMeas meas)
{
    if (settings.units == UnitsTime)
    {
        return t;
    }
    return MetersToUnits(t * MetersPerSecond(settings, meas), settings.units);
}

double DisplayUnitsToTime(double value, const VNATransformSettings& settings, VNATraceMeas meas)
{
    if (settings.units == UnitsTime)
    {
        return value;
    }
    return UnitsToMeters(value, settings.units) / MetersPerSecond(settings, meas);
}

QString TimeToDisplayString(double t, const VNATransformSettings& settings, VNATraceMeas meas,
                            int digits)
{
    const double metres = t * MetersPerSecond(settings, meas);
    switch (settings.units)
    {
        case UnitsMeters:
            return GetMetersString(metres, digits);
        case UnitsFeet:
            return GetFootString(metres, digits);
        case UnitsInches:
            return GetInchesString(metres, digits);
        case UnitsTime:
            break;
    }
    return getTimeString(t, digits);
}
