#include "network_parameters.h"

#include <algorithm>
#include <cmath>

#include "application_settings.h"

using cplx = std::complex<double>;

bool SParameters::ValidSize() const
{
    const int n = S11.size();
    return S21.size() == n && S12.size() == n && S22.size() == n;
}

void SParameters::Resize(int n)
{
    S11.resize(n);
    S21.resize(n);
    S12.resize(n);
    S22.resize(n);
}

namespace
{
// The four S-parameter members of either record, by measurement; anything else is S11.
template <typename Record>
CplxVector& SelectSParam(Record& r, VNATraceMeas meas)
{
    switch (meas)
    {
        case ::S21:
            return r.S21;
        case ::S12:
            return r.S12;
        case ::S22:
            return r.S22;
        default:
            return r.S11;
    }
}
}  // namespace

CplxVector& SParameters::GetSParam(VNATraceMeas meas)
{
    return SelectSParam(*this, meas);
}

const CplxVector& SParameters::GetSParam(VNATraceMeas meas) const
{
    return const_cast<SParameters*>(this)->GetSParam(meas);
}

void SParameters::Save(ApplicationSettings& s, const QString& group) const
{
    s.BeginGroup(group);
    s.Save(QStringLiteral("S11"), S11);
    s.Save(QStringLiteral("S21"), S21);
    s.Save(QStringLiteral("S12"), S12);
    s.Save(QStringLiteral("S22"), S22);
    s.EndGroup();
}

void SParameters::Load(ApplicationSettings& s, const QString& group)
{
    s.BeginGroup(group);
    s.Load(QStringLiteral("S11"), S11);
    s.Load(QStringLiteral("S21"), S21);
    s.Load(QStringLiteral("S12"), S12);
    s.Load(QStringLiteral("S22"), S22);
    s.EndGroup();
}

bool SParametersRaw::ValidSize() const
{
    const int n = S11.size();
    return S21.size() == n && S12.size() == n && S22.size() == n;
}

CplxVector& SParametersRaw::Vector(int i)
{
    CplxVector* const members[kVectorCount] = {&S11,    &S21,    &S12,   &S22,   &S11HDR, &S21HDR,
                                               &S12HDR, &S22HDR, &a1Fwd, &a2Fwd, &b1Fwd,  &b2Fwd,
                                               &a1Rev,  &a2Rev,  &b1Rev, &b2Rev};
    return *members[i];
}

const CplxVector& SParametersRaw::Vector(int i) const
{
    return const_cast<SParametersRaw*>(this)->Vector(i);
}

const char* SParametersRaw::VectorKey(int i)
{
    static const char* const keys[kVectorCount] = {
        "S11",   "S21",   "S12",   "S22",   "S11HDR", "S21HDR", "S12HDR", "S22HDR",
        "a1Fwd", "a2Fwd", "b1Fwd", "b2Fwd", "a1Rev",  "a2Rev",  "b1Rev",  "b2Rev"};
    return keys[i];
}

CplxVector& SParametersRaw::GetSParam(VNATraceMeas meas)
{
    return SelectSParam(*this, meas);
}

const CplxVector& SParametersRaw::GetSParam(VNATraceMeas meas) const
{
    return const_cast<SParametersRaw*>(this)->GetSParam(meas);
}

CplxVector* SParametersRaw::GetReceiver(const QString& name, bool& found)
{
    static const char* const names[8] = {"a1fwd", "a2fwd", "b1fwd", "b2fwd",
                                         "a1rev", "a2rev", "b1rev", "b2rev"};
    found = true;
    for (int i = 0; i < 8; ++i)
    {
        if (name == QLatin1String(names[i]))
        {
            return &Vector(8 + i);
        }
    }
    found = false;
    return nullptr;
}

const CplxVector* SParametersRaw::GetReceiver(const QString& name, bool& found) const
{
    return const_cast<SParametersRaw*>(this)->GetReceiver(name, found);
}

SParameters SParametersRaw::ToSParam() const
{
    SParameters s;
    s.S11 = S11;
    s.S21 = S21;
    s.S12 = S12;
    s.S22 = S22;
    return s;
}

void SParametersRaw::Resize(int n)
{
    if (S11.size() == n)
    {
        return;
    }
    for (int i = 0; i < kVectorCount; ++i)
    {
        CplxVector& v = Vector(i);
        v.resize(n);
        std::fill(v.begin(), v.end(), cplx(0.0, 0.0));
    }
}

void SParametersRaw::Clear()
{
    positionStart = positionEnd = 0;
    for (int i = 0; i < kVectorCount; ++i)
    {
        Vector(i).resize(0);
    }
}

void SParametersRaw::ClearPositionOnly()
{
    positionStart = positionEnd = 0;
}

void SParametersRaw::Scale(double factor)
{
    for (int i = 0; i < kRatioCount; ++i)
    {
        for (cplx& c : Vector(i))
        {
            c *= factor;
        }
    }
}

void SParametersRaw::Add(const SParametersRaw& other)
{
    for (int i = 0; i < kRatioCount; ++i)
    {
        CplxVector& a = Vector(i);
        const CplxVector& b = other.Vector(i);
        if (a.size() != b.size())
        {
            continue;
        }
        cplx* pa = a.data();
        const cplx* pb = b.constData();
        for (int k = 0; k < a.size(); ++k)
        {
            pa[k] += pb[k];
        }
    }
}

void SParametersRaw::PartialCopy(const SParametersRaw& src)
{
    PartialCopy(src, 0);
}

void SParametersRaw::PartialCopy(const SParametersRaw& src, int from)
{
    if (Size() != src.Size())
    {
        return;
    }
    positionStart = src.positionStart;
    positionEnd = src.positionEnd;
    CopyRange(src, from, src.positionEnd, 0, kVectorCount);
}

void SParametersRaw::CopyRange(const SParametersRaw& src, int begin, int end, int firstVector,
                               int lastVector)
{
    begin = std::max(begin, 0);
    for (int i = firstVector; i < lastVector; ++i)
    {
        CplxVector& d = Vector(i);
        const CplxVector& s = src.Vector(i);
        const int n = std::min(end, std::min(d.size(), s.size()));
        if (n > begin)
        {
            std::copy(s.constBegin() + begin, s.constBegin() + n, d.begin() + begin);
        }
    }
}

void SParametersRaw::Save(ApplicationSettings& s, const QString& group) const
{
    s.BeginGroup(group);
    for (int i = 0; i < kVectorCount; ++i)
    {
        s.Save(QLatin1String(VectorKey(i)), Vector(i));
    }
    s.EndGroup();
}

void SParametersRaw::Load(ApplicationSettings& s, const QString& group)
{
    s.BeginGroup(group);
    for (int i = 0; i < kVectorCount; ++i)
    {
        s.Load(QLatin1String(VectorKey(i)), Vector(i));
    }
    s.EndGroup();
}

cplx InterpolateCplx(cplx a, cplx b, double t)
{
    const double mag = (1.0 - t) * std::abs(a) + t * std::abs(b);
    const double pa = std::arg(a);
    double d = std::arg(b) - pa;
    if (d > M_PI)
    {
        d -= 2.0 * M_PI;
    }
    else if (d < -M_PI)
    {
        d += 2.0 * M_PI;
    }
    return std::polar(mag, pa + t * d);
}

namespace
{
// Position of q in x as (segment index, fraction); -1 when an end value applies.
// Returns false when no interpolation applies and `endIndex` holds the value to use.
bool Locate(const QVector<double>& x, double q, int& i, double& t, int& endIndex)
{
    const int n = x.size();
    if (n == 1 || q <= x[0])
    {
        endIndex = 0;
        return false;
    }
    if (q >= x[n - 1])
    {
        endIndex = n - 1;
        return false;
    }
    // Binary search: the axis is ascending, and large sweeps call this per point.
    auto it = std::upper_bound(x.constBegin(), x.constEnd(), q);
    i = int(it - x.constBegin()) - 1;
    if (i < 0 || i + 1 >= n)
    {
        i = 0;
    }
    t = (q - x[i]) / (x[i + 1] - x[i]);
    return true;
}
}  // namespace

double InterpolateArray(const QVector<double>& x, const QVector<double>& y, double q)
{
    if (x.size() != y.size() || x.isEmpty())
    {
        return 0.0;
    }
    int i = 0, end = 0;
    double t = 0.0;
    if (!Locate(x, q, i, t, end))
    {
        return y[end];
    }
    // Single-precision fraction on purpose: limit tests are defined on this narrowing.
    const float tf = float(t);
    if (tf == 0.0f)
    {
        return y[i];
    }
    if (tf == 1.0f)
    {
        return y[i + 1];
    }
    return y[i] * (1.0 - double(tf)) + y[i + 1] * double(tf);
}

cplx InterpolateArray(const QVector<double>& x, const CplxVector& y, double q)
{
    if (x.size() != y.size() || x.isEmpty())
    {
        return cplx(0.0, 0.0);
    }
    int i = 0, end = 0;
    double t = 0.0;
    if (!Locate(x, q, i, t, end))
    {
        return y[end];
    }
    return InterpolateCplx(y[i], y[i + 1], t);
}

SParameters InterpolateSParams(const SParameters& s, const QVector<double>& from,
                               const QVector<double>& to)
{
    if (s.Size() == to.size())
    {
        return s;
    }
    SParameters out;
    out.Resize(to.size());
    for (int k = 0; k < 4; ++k)
    {
        const VNATraceMeas m = VNATraceMeas(k);
        const CplxVector& src = s.GetSParam(m);
        CplxVector& dst = out.GetSParam(m);
        for (int i = 0; i < to.size(); ++i)
        {
            dst[i] = InterpolateArray(from, src, to[i]);
        }
    }
    return out;
}
