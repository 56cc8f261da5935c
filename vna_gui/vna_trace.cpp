#include "vna_trace.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTextStream>
#include <algorithm>
#include <cmath>

#include "application_settings.h"
#include "equation_tools.h"
#include "error_log.h"
#include "signal_ops.h"
#include "time_domain.h"
#include "vna_limits.h"
#include "vna_meas.h"

namespace
{
QString Tr(const char* text)
{
    return QCoreApplication::translate("VNATrace", text);
}

// Laid over the live axis, or taken as it is when the sweeps match exactly. False if neither.
bool ResampleMemory(const CplxVector& d, double start, double stop, const CplxVector& m,
                    double memStart, double memStop, bool interpolate, CplxVector& out)
{
    const bool sameSweep = d.size() == m.size() && start == memStart && stop == memStop;
    if (!interpolate)
    {
        if (!sameSweep)
        {
            return false;
        }
        out = m;
        return true;
    }
    if (memStart > start || stop > memStop)
    {
        return false;
    }
    if (sameSweep && m.size() > 1)
    {
        // The live points are the memory's points: resampling would only return them again.
        out = m;
        return true;
    }
    const int n = d.size();
    const int mn = m.size();
    const double mStep = (memStop - memStart) / (mn - 1);
    const double step = (stop - start) / (n - 1);
    out.resize(n);
    for (int i = 0; i < n; ++i)
    {
        const double p = (start + i * step - memStart) / mStep;
        const double kd = std::trunc(p);
        int k = 0;
        double t = 0.0;
        // NaN (a one-point memory) falls in with the negative case rather than into a cast.
        if (kd >= 0.0)
        {
            t = p - kd;
            k = kd >= mn ? mn : static_cast<int>(kd);
        }
        if (k + 1 >= mn)
        {
            k = mn - 2;
            t = 1.0;
        }
        // A one-point memory has no neighbour; the arithmetic above already gave up on it.
        const std::complex<double> a = m.value(k);
        const std::complex<double> b = m.value(k + 1);
        out[i] = InterpolateCplx(a, b, t);
    }
    return true;
}

// d / m. The plain formula where it is safe, the library's complex division (with its recovery
// of infinities and scaling against overflow) where it is not.
inline std::complex<double> Divide(std::complex<double> d, std::complex<double> m)
{
    const double den = m.real() * m.real() + m.imag() * m.imag();
    if (den >= 1e-150 && den <= 1e150)
    {
        const double re = (d.real() * m.real() + d.imag() * m.imag()) / den;
        const double im = (d.imag() * m.real() - d.real() * m.imag()) / den;
        if (std::isfinite(re) && std::isfinite(im))
        {
            return {re, im};
        }
    }
    return d / m;
}

bool TraceMathWith(CplxVector& d, double start, double stop, const CplxVector& m, double memStart,
                   double memStop, VNATraceMathOp op, bool interpolate, CplxVector& scratch)
{
    if (d.isEmpty() || m.isEmpty())
    {
        return false;
    }
    if (!ResampleMemory(d, start, stop, m, memStart, memStop, interpolate, scratch))
    {
        return false;
    }
    const std::complex<double>* mp = scratch.constData();
    std::complex<double>* dp = d.data();
    const int n = std::min(d.size(), scratch.size());
    switch (op)
    {
        case MathDivide:
            for (int i = 0; i < n; ++i)
            {
                dp[i] = Divide(dp[i], mp[i]);
            }
            break;
        case MathSubtract:
            for (int i = 0; i < n; ++i)
            {
                dp[i] -= mp[i];
            }
            break;
        case MathAdd:
            for (int i = 0; i < n; ++i)
            {
                dp[i] += mp[i];
            }
            break;
        case MathMultiply:
            for (int i = 0; i < n; ++i)
            {
                dp[i] = dp[i] * mp[i];
            }
            break;
        case MathData:
            // "Data" shows the memory itself, on purpose.
            for (int i = 0; i < n; ++i)
            {
                dp[i] = mp[i];
            }
            break;
        case MathOff:
            break;
    }
    return true;
}

void SaveTriple(ApplicationSettings& s, const QString& stem, const VNAScaleTriple& t,
                const QString& divKey = QString())
{
    s.Save(stem + QStringLiteral("Ref"), t.ref);
    s.Save(divKey.isEmpty() ? stem + QStringLiteral("Div") : divKey, t.div);
    s.Save(stem + QStringLiteral("RefPos"), t.refPos);
}

void LoadTriple(ApplicationSettings& s, const QString& stem, VNAScaleTriple& t,
                const QString& divKey = QString())
{
    s.Load(stem + QStringLiteral("Ref"), t.ref);
    s.Load(divKey.isEmpty() ? stem + QStringLiteral("Div") : divKey, t.div);
    s.Load(stem + QStringLiteral("RefPos"), t.refPos);
}

template <typename E>
void LoadEnum(ApplicationSettings& s, const QString& key, E& v)
{
    int32_t i = static_cast<int32_t>(v);
    s.Load(key, i);
    v = static_cast<E>(i);
}

// Ceil and floor stepping that cannot spin forever when the step is lost in the magnitude.
double RaiseUntilClear(double top, double max, double r, double m)
{
    while (m > top - max)
    {
        const double next = top + r;
        if (next == top)
        {
            break;
        }
        top = next;
    }
    return top;
}

double LowerUntilClear(double bottom, double min, double r, double m)
{
    while (m > std::fabs(bottom - min))
    {
        const double next = bottom - r;
        if (next == bottom)
        {
            break;
        }
        bottom = next;
    }
    return bottom;
}
}  // namespace

// --- enumeration texts ---------------------------------------------------------------------------

QString VNATraceMeasToStr(VNATraceMeas meas)
{
    switch (meas)
    {
        case S11:
            return QStringLiteral("S11");
        case S21:
            return QStringLiteral("S21");
        case S12:
            return QStringLiteral("S12");
        case S22:
            return QStringLiteral("S22");
    }
    return QString();
}

QString measToText(VNATraceMeas meas)
{
    switch (meas)
    {
        case S11:
            return QStringLiteral("s11");
        case S21:
            return QStringLiteral("s21");
        case S12:
            return QStringLiteral("s12");
        case S22:
            return QStringLiteral("s22");
    }
    return QStringLiteral("Unknown meas");
}

bool VNATraceIsPort1(VNATraceMeas meas)
{
    return meas == S11 || meas == S21;
}

QString VNATraceHoldToStr(VNATraceHold hold)
{
    switch (hold)
    {
        case HoldOff:
            return Tr("Off");
        case HoldMin:
            return Tr("Min");
        case HoldMax:
            return Tr("Max");
    }
    return QString();
}

QString traceHoldTypeToText(VNATraceHold hold)
{
    switch (hold)
    {
        case HoldOff:
            return QStringLiteral("off");
        case HoldMin:
            return QStringLiteral("minimum");
        case HoldMax:
            return QStringLiteral("maximum");
    }
    return QStringLiteral("Unknown trace hold type");
}

QString VNATraceMathToString(VNATraceMathOp op)
{
    switch (op)
    {
        case MathOff:
            return Tr("Off");
        case MathDivide:
            return Tr("Data / Mem");
        case MathSubtract:
            return Tr("Data - Mem");
        case MathAdd:
            return Tr("Data + Mem");
        case MathMultiply:
            return Tr("Data * Mem");
        case MathData:
            return Tr("Data");
    }
    return QString();
}

QString traceMathOpToText(VNATraceMathOp op)
{
    switch (op)
    {
        case MathOff:
            return QStringLiteral("normal");
        case MathDivide:
            return QStringLiteral("divide");
        case MathSubtract:
            return QStringLiteral("subtract");
        case MathAdd:
            return QStringLiteral("add");
        case MathMultiply:
            return QStringLiteral("multiply");
        case MathData:
            return QStringLiteral("data");
    }
    return QStringLiteral("Unknown trace math operation");
}

// --- free calculations -----------------------------------------------------------------------

bool TraceMath(CplxVector& d, double start, double stop, const CplxVector& m, double memStart,
               double memStop, VNATraceMathOp op, bool interpolate)
{
    CplxVector scratch;
    return TraceMathWith(d, start, stop, m, memStart, memStop, op, interpolate, scratch);
}

bool TraceStatistics(const QVector<double>& v, int i0, int i1, double& min, double& max,
                     double& mean, double& stdDev)
{
    if (i1 - 1 <= i0 || i0 < 0 || i1 >= v.size())
    {
        return false;
    }
    const int n = i1 - i0;
    const double* p = v.constData() + i0;
    // Four independent lanes: the loop is bound by the latency of min, max and add otherwise.
    double lo[4] = {p[0], p[0], p[0], p[0]};
    double hi[4] = {p[0], p[0], p[0], p[0]};
    double sum[4] = {0.0, 0.0, 0.0, 0.0};
    int i = 0;
    for (; i + 3 <= n; i += 4)
    {
        for (int k = 0; k < 4; ++k)
        {
            lo[k] = std::min(lo[k], p[i + k]);
            hi[k] = std::max(hi[k], p[i + k]);
            sum[k] += p[i + k];
        }
    }
    for (; i <= n; ++i)
    {
        lo[0] = std::min(lo[0], p[i]);
        hi[0] = std::max(hi[0], p[i]);
        sum[0] += p[i];
    }
    min = std::min(std::min(lo[0], lo[1]), std::min(lo[2], lo[3]));
    max = std::max(std::max(hi[0], hi[1]), std::max(hi[2], hi[3]));
    // n + 1 values summed and divided by n, and the deviation over n + 1: the defined readings.
    mean = ((sum[0] + sum[1]) + (sum[2] + sum[3])) / n;
    double sq[4] = {0.0, 0.0, 0.0, 0.0};
    i = 0;
    for (; i + 3 <= n; i += 4)
    {
        for (int k = 0; k < 4; ++k)
        {
            const double e = p[i + k] - mean;
            sq[k] += e * e;
        }
    }
    for (; i <= n; ++i)
    {
        const double e = p[i] - mean;
        sq[0] += e * e;
    }
    stdDev = std::sqrt(((sq[0] + sq[1]) + (sq[2] + sq[3])) / (n + 1));
    return true;
}

// --- markers ---------------------------------------------------------------------------------

void VNAMarker::SavePreset(ApplicationSettings& s) const
{
    s.Save(QStringLiteral("Enabled"), enabled);
    s.Save(QStringLiteral("Index"), index);
    s.Save(QStringLiteral("F"), f);
    s.Save(QStringLiteral("T"), t);
    s.Save(QStringLiteral("X"), x);
    s.Save(QStringLiteral("Y"), y);
    s.Save(QStringLiteral("TimeMarker"), timeMarker);
    s.Save(QStringLiteral("Fixed"), fixed);
    s.Save(QStringLiteral("Delta"), delta);
    s.Save(QStringLiteral("Threshold"), threshold);
    s.Save(QStringLiteral("Excursion"), excursion);
    s.Save(QStringLiteral("Tracking"), static_cast<int32_t>(tracking));
}

void VNAMarker::LoadPreset(ApplicationSettings& s)
{
    s.Load(QStringLiteral("Enabled"), enabled);
    s.Load(QStringLiteral("Index"), index);
    s.Load(QStringLiteral("F"), f);
    s.Load(QStringLiteral("T"), t);
    s.Load(QStringLiteral("X"), x);
    s.Load(QStringLiteral("Y"), y);
    s.Load(QStringLiteral("TimeMarker"), timeMarker);
    s.Load(QStringLiteral("Fixed"), fixed);
    s.Load(QStringLiteral("Delta"), delta);
    s.Load(QStringLiteral("Threshold"), threshold);
    s.Load(QStringLiteral("Excursion"), excursion);
    LoadEnum(s, QStringLiteral("Tracking"), tracking);
}

QString GetMarkerPosString(const VNAMarker& marker, VNATraceFormat format)
{
    if (IsSmithFormat(format))
    {
        return GetSmithPosString(marker.x, marker.y, marker.f, format);
    }
    return GetMarkerPosString(marker.y, format);
}

// --- trace -----------------------------------------------------------------------------------

VNATrace::VNATrace()
{
    LoadDefaultScale();
}

void VNATrace::SetChannel(int c)
{
    channel = c;
    holdRestart = true;
}

void VNATrace::SetMeas(VNATraceMeas m)
{
    meas = m;
    holdRestart = true;
}

void VNATrace::SetHold(VNATraceHold h)
{
    hold = h;
    holdRestart = true;
}

void VNATrace::SetSmoothing(bool enabled)
{
    smoothEnabled = enabled;
    holdRestart = true;
}

void VNATrace::SetFormat(VNATraceFormat f)
{
    holdRestart = true;
    format = f;
    // ref(), div() and refPos() follow the format; each format keeps its own scale.
    unitRef = GetUnitString(f);
    unitDiv = unitRef;
}

VNAScaleTriple& VNATrace::ScaleFor(VNATraceFormat f)
{
    return const_cast<VNAScaleTriple&>(static_cast<const VNATrace*>(this)->ScaleFor(f));
}

const VNAScaleTriple& VNATrace::ScaleFor(VNATraceFormat f) const
{
    switch (f)
    {
        case LinMag:
            return linMagScale;
        case LogMag:
            return logMagScale;
        case PhaseRad:
            return phaseRadScale;
        case PhaseDeg:
            return phaseDegScale;
        case UnwrappedPhase:
            return unwrappedPhaseScale;
        case SWR:
            return swrScale;
        case SmithRI:
        case SmithGB:
            return smithScale;
        case Real:
        case Imag:
            return realScale;
        case GroupDelay:
            return grpDlyScale;
    }
    return logMagScale;
}

void VNATrace::SetDiv(double d)
{
    if (d != 0.0)
    {
        *div() = d;
    }
}

QString VNATrace::GetRefDivString() const
{
    return QString::asprintf("%.2f", *ref()) + unitRef + QStringLiteral(" / ") +
           QString::asprintf("%.2f", *div()) + unitDiv;
}

void VNATrace::LoadDefaultScale()
{
    linMagScale = {1.5, 0.15, 0.0};
    logMagScale = {20.0, 10.0, 0.0};
    phaseRadScale = {0.0, 0.6283185307179586, 5.0};
    phaseDegScale = {0.0, 36.0, 5.0};
    unwrappedPhaseScale = {0.0, 36.0, 5.0};
    swrScale = {11.0, 1.0, 0.0};
    smithScale = {1.0, 0.2, 0.0};
    realScale = {0.0, 0.4, 5.0};
    grpDlyScale = {0.0, 0.4, 5.0};
}

void VNATrace::AutoScale()
{
    if (y.isEmpty() || IsSmithFormat(format))
    {
        return;
    }
    double min = 0.0, max = 0.0;
    sig::MinMax(y.constData(), y.size(), min, max);
    if (!std::isfinite(min) || !std::isfinite(max))
    {
        return;
    }
    double r = GetFormatResolution(format);
    double m = 0.5 * r;
    if (format == LogMag)
    {
        const bool wide = std::fabs(max - min) > 1.0;
        r = wide ? 5.0 : 1.0;
        m = wide ? 2.5 : 0.5;
    }
    const double top = RaiseUntilClear(std::ceil(max / r) * r, max, r, m);
    const double bottom = LowerUntilClear(std::floor(min / r) * r, min, r, m);
    double d;
    if (format == SWR)
    {
        d = (top - 1.0) / 10.0;
    }
    else if (format == LinMag && bottom < 0.0)
    {
        d = top / 10.0;
    }
    else
    {
        d = (top - bottom) / 10.0;
    }
    SetDiv(d);
    *ref() = top - *div() * *refPos();
}

void VNATrace::TakeTrace(QVector<double>& newX, QVector<double>& newY)
{
    const bool reset =
        hold == HoldOff || newX.size() != x.size() || newY.size() != y.size() || holdRestart;
    std::swap(x, newX);
    if (!IsSmithFormat(format) && !transformEnabled && !reset)
    {
        if (hold == HoldMin)
        {
            sig::MinEvery(y.constData(), newY.constData(), y.data(), y.size());
        }
        else
        {
            sig::MaxEvery(y.constData(), newY.constData(), y.data(), y.size());
        }
        return;
    }
    std::swap(y, newY);
    holdRestart = false;
}

void VNATrace::SetTrace(const QVector<double>& newX, const QVector<double>& newY)
{
    QVector<double> nx = newX, ny = newY;
    TakeTrace(nx, ny);
}

void VNATrace::SmoothTrace()
{
    if (!smoothEnabled || IsSmithFormat(format))
    {
        return;
    }
    const int size = y.size();
    const int n = static_cast<int>(x.size() * (smoothPercent / 100.0));
    if (n < 2 || size == 0)
    {
        return;
    }
    const int half = n / 2;
    // Prefix sums make every window O(1): sum y[lo..hi] = P[hi + 1] - P[lo].
    workSum.resize(size + 1);
    double* sum = workSum.data();
    const double* src = y.constData();
    sum[0] = 0.0;
    for (int i = 0; i < size; ++i)
    {
        sum[i + 1] = sum[i] + src[i];
    }
    double* dst = y.data();
    for (int i = 0; i < size; ++i)
    {
        const int lo = std::max(i - half, 0);
        const int hi = std::min(i + half, size - 1);
        dst[i] = (sum[hi + 1] - sum[lo]) / (hi - lo + 1);
        if (lo > 0 && hi < size - 1 && i + 1 < size - half)
        {
            // Inside the edges every window is full: one reciprocal serves them all.
            const double inv = 1.0 / (2 * half + 1);
            const int end = size - 1 - half;
            for (++i; i < end; ++i)
            {
                dst[i] = (sum[i + half + 1] - sum[i - half]) * inv;
            }
            --i;
        }
    }
}

void VNATrace::ClearMathMemory()
{
    hasMem = false;
    mathOp = MathOff;
    mem.Clear();
    memStart = 0.0;
    memStop = 0.0;
}

VNATraceStats VNATrace::GetStatistics(const QVector<double>& freq) const
{
    VNATraceStats s;
    if (freq.isEmpty())
    {
        return s;
    }
    const int last = freq.size() - 1;
    const double lo = statsAutoRange ? freq[0] : statsStart;
    const double hi = statsAutoRange ? freq[last] : statsStop;
    int i0 = last;
    for (int i = 0; i <= last; ++i)
    {
        if (freq[i] >= lo)
        {
            i0 = i;
            break;
        }
    }
    int i1 = 0;
    for (int i = last; i >= 0; --i)
    {
        if (freq[i] <= hi)
        {
            i1 = i;
            break;
        }
    }
    if (IsSmithFormat(format))
    {
        QVector<double> db;
        ConvertLogMagValid(x, y, db);
        s.valid = TraceStatistics(db, i0, i1, s.min, s.max, s.mean, s.stdDev);
    }
    else
    {
        s.valid = TraceStatistics(y, i0, i1, s.min, s.max, s.mean, s.stdDev);
    }
    if (!s.valid)
    {
        s = VNATraceStats();
    }
    return s;
}

QString VNATrace::GetNameString() const
{
    if (useName)
    {
        return name;
    }
    if (!equationEnabled)
    {
        return VNATraceMeasToStr(meas);
    }
    if (!equationValid)
    {
        return Tr("Eqn Err");
    }
    QString s = QStringLiteral("Eq=") + equation.left(16);
    if (equation.size() >= 17)
    {
        s += QStringLiteral("..");
    }
    return s;
}

void VNATrace::Export(const QString& path) const
{
    if (x.size() != y.size())
    {
        return;
    }
    // Written whole or not at all, so a failed write leaves an older file intact.
    QString text;
    QTextStream out(&text);
    out << (transformEnabled ? QStringLiteral("Time(s), ") : QStringLiteral("Freq(Hz), "))
        << unitRef << '\n';
    for (int i = 0; i < x.size(); ++i)
    {
        // Frequencies (and times) in full: the shortest text that reads back the same number.
        out << QString::number(x[i], 'g', QLocale::FloatingPointShortest) << ", " << y[i] << '\n';
    }
    out.flush();
    SaveFileWhole(path, text.toUtf8());
}

void VNATrace::SavePreset(ApplicationSettings& s) const
{
    s.Save(QStringLiteral("Name"), name);
    s.Save(QStringLiteral("UseName"), useName);
    s.Save(QStringLiteral("HasMem"), hasMem);
    s.Save(QStringLiteral("MathOp"), static_cast<int32_t>(mathOp));
    s.Save(QStringLiteral("MathInterpolate"), mathInterpolate);
    s.Save(QStringLiteral("ShowMemTrace"), showMemTrace);
    mem.Save(s, QStringLiteral("Mem"));
    // The memory's sweep span travels with it, or a recalled memory could never match a sweep.
    s.Save(QStringLiteral("MemStart"), memStart);
    s.Save(QStringLiteral("MemStop"), memStop);
    s.Save(QStringLiteral("SmoothEnabled"), smoothEnabled);
    s.Save(QStringLiteral("SmoothPercent"), smoothPercent);
    s.Save(QStringLiteral("ElecDelay"), elecDelay);
    s.Save(QStringLiteral("EquationEnabled"), equationEnabled);
    s.Save(QStringLiteral("EquationString"), equation);
    s.Save(QStringLiteral("StatsEnabled"), statsEnabled);
    s.Save(QStringLiteral("StatsAutoRange"), statsAutoRange);
    s.Save(QStringLiteral("StatsRangeStart"), statsStart);
    s.Save(QStringLiteral("StatsRangeStop"), statsStop);
    s.Save(QStringLiteral("OffsetMag"), offsetMag);
    s.Save(QStringLiteral("OffsetMagSlope"), offsetMagSlope);
    s.Save(QStringLiteral("OffsetPhase"), offsetPhase);
    s.Save(QStringLiteral("BWSearchEnabled"), bwSearchEnabled);
    s.Save(QStringLiteral("BWSearchLimit"), bwSearchLimit);
    s.Save(QStringLiteral("BWSearchTracking"), bwSearchTracking);
    s.Save(QStringLiteral("Channel"), channel);
    s.Save(QStringLiteral("Plot"), plot);
    s.Save(QStringLiteral("Meas"), static_cast<int32_t>(meas));
    s.Save(QStringLiteral("Format"), static_cast<int32_t>(format));
    s.Save(QStringLiteral("HoldType"), static_cast<int32_t>(hold));
    SaveTriple(s, QStringLiteral("LinMag"), linMagScale);
    SaveTriple(s, QStringLiteral("LogMag"), logMagScale);
    SaveTriple(s, QStringLiteral("PhaseRad"), phaseRadScale);
    // "PhaseDegDif" is the key saved files carry; renaming it would orphan them.
    SaveTriple(s, QStringLiteral("PhaseDeg"), phaseDegScale, QStringLiteral("PhaseDegDif"));
    SaveTriple(s, QStringLiteral("UnwrappedPhase"), unwrappedPhaseScale);
    SaveTriple(s, QStringLiteral("SWR"), swrScale);
    SaveTriple(s, QStringLiteral("Smith"), smithScale);
    SaveTriple(s, QStringLiteral("Real"), realScale);
    SaveTriple(s, QStringLiteral("GrpDly"), grpDlyScale);
    s.Save(QStringLiteral("LimitShow"), limitShow);
    s.Save(QStringLiteral("LimitTest"), limitTest);
    s.Save(QStringLiteral("LimitSound"), limitSound);
    {
        QMutexLocker lock(&limitLock.mutex);
        s.BeginWriteArray(QStringLiteral("LimitRanges"), limitRanges.size());
        for (int i = 0; i < limitRanges.size(); ++i)
        {
            const VNALimitRange& r = limitRanges[i];
            s.SetArrayIndex(i);
            s.Save(QStringLiteral("Type"), static_cast<int32_t>(r.type));
            s.Save(QStringLiteral("StartFreq"), r.startFreq);
            s.Save(QStringLiteral("StopFreq"), r.stopFreq);
            s.Save(QStringLiteral("StartOffset"), r.startOffset);
            s.Save(QStringLiteral("StopOffset"), r.stopOffset);
        }
        s.EndArray();
    }
    s.Save(QStringLiteral("RippleLimitShow"), rippleShow);
    s.Save(QStringLiteral("RippleLimitTest"), rippleTest);
    {
        QMutexLocker lock(&rippleLock.mutex);
        s.BeginWriteArray(QStringLiteral("RippleLimitRanges"), rippleRanges.size());
        for (int i = 0; i < rippleRanges.size(); ++i)
        {
            const VNARippleLimitRange& r = rippleRanges[i];
            s.SetArrayIndex(i);
            s.Save(QStringLiteral("Type"), static_cast<int32_t>(r.type));
            s.Save(QStringLiteral("StartFreq"), r.startFreq);
            s.Save(QStringLiteral("StopFreq"), r.stopFreq);
            s.Save(QStringLiteral("MaxRipple"), r.maxRipple);
        }
        s.EndArray();
    }
    s.BeginGroup(QStringLiteral("Transform"));
    s.Save(QStringLiteral("Enabled"), transformEnabled);
    s.Save(QStringLiteral("Type"), static_cast<int32_t>(transform.type));
    s.Save(QStringLiteral("Window"), static_cast<int32_t>(transform.window));
    s.Save(QStringLiteral("WindowBeta"), transform.beta);
    s.Save(QStringLiteral("MarkerMode"), static_cast<int32_t>(transform.markerMode));
    s.Save(QStringLiteral("Units"), static_cast<int32_t>(transform.units));
    s.Save(QStringLiteral("VelocityF"), transform.velocityFactor);
    s.Save(QStringLiteral("AutoScale"), transform.autoScale);
    s.Save(QStringLiteral("Start"), transform.start);
    s.Save(QStringLiteral("Stop"), transform.stop);
    s.EndGroup();
    s.BeginGroup(QStringLiteral("Gating"));
    s.Save(QStringLiteral("Enabled"), gateEnabled);
    s.Save(QStringLiteral("Type"), gateType);
    s.Save(QStringLiteral("Shape"), gateShape);
    s.Save(QStringLiteral("Start"), gateStart);
    s.Save(QStringLiteral("Stop"), gateStop);
    s.EndGroup();
    s.Save(QStringLiteral("SelectedMarker"), activeMarker);
    s.BeginWriteArray(QStringLiteral("Markers"), kMarkerCount);
    for (int i = 0; i < kMarkerCount; ++i)
    {
        s.SetArrayIndex(i);
        markers[i].SavePreset(s);
    }
    s.EndArray();
}

// A file may claim any count of table rows; none of the editors comes near this.
constexpr int kMaxLoadedRows = 10000;

void VNATrace::LoadPreset(ApplicationSettings& s)
{
    s.Load(QStringLiteral("Name"), name);
    s.Load(QStringLiteral("UseName"), useName);
    s.Load(QStringLiteral("HasMem"), hasMem);
    LoadEnum(s, QStringLiteral("MathOp"), mathOp);
    s.Load(QStringLiteral("MathInterpolate"), mathInterpolate);
    s.Load(QStringLiteral("ShowMemTrace"), showMemTrace);
    mem.Load(s, QStringLiteral("Mem"));
    s.Load(QStringLiteral("MemStart"), memStart);
    s.Load(QStringLiteral("MemStop"), memStop);
    s.Load(QStringLiteral("SmoothEnabled"), smoothEnabled);
    s.Load(QStringLiteral("SmoothPercent"), smoothPercent);
    s.Load(QStringLiteral("ElecDelay"), elecDelay);
    s.Load(QStringLiteral("EquationEnabled"), equationEnabled);
    s.Load(QStringLiteral("EquationString"), equation);
    s.Load(QStringLiteral("StatsEnabled"), statsEnabled);
    s.Load(QStringLiteral("StatsAutoRange"), statsAutoRange);
    s.Load(QStringLiteral("StatsRangeStart"), statsStart);
    s.Load(QStringLiteral("StatsRangeStop"), statsStop);
    s.Load(QStringLiteral("OffsetMag"), offsetMag);
    s.Load(QStringLiteral("OffsetMagSlope"), offsetMagSlope);
    s.Load(QStringLiteral("OffsetPhase"), offsetPhase);
    s.Load(QStringLiteral("BWSearchEnabled"), bwSearchEnabled);
    s.Load(QStringLiteral("BWSearchLimit"), bwSearchLimit);
    s.Load(QStringLiteral("BWSearchTracking"), bwSearchTracking);
    s.Load(QStringLiteral("Channel"), channel);
    s.Load(QStringLiteral("Plot"), plot);
    LoadEnum(s, QStringLiteral("Meas"), meas);
    VNATraceFormat f = format;
    LoadEnum(s, QStringLiteral("Format"), f);
    LoadEnum(s, QStringLiteral("HoldType"), hold);
    LoadTriple(s, QStringLiteral("LinMag"), linMagScale);
    LoadTriple(s, QStringLiteral("LogMag"), logMagScale);
    LoadTriple(s, QStringLiteral("PhaseRad"), phaseRadScale);
    LoadTriple(s, QStringLiteral("PhaseDeg"), phaseDegScale, QStringLiteral("PhaseDegDif"));
    LoadTriple(s, QStringLiteral("UnwrappedPhase"), unwrappedPhaseScale);
    LoadTriple(s, QStringLiteral("SWR"), swrScale);
    LoadTriple(s, QStringLiteral("Smith"), smithScale);
    LoadTriple(s, QStringLiteral("Real"), realScale);
    LoadTriple(s, QStringLiteral("GrpDly"), grpDlyScale);
    s.Load(QStringLiteral("LimitShow"), limitShow);
    s.Load(QStringLiteral("LimitTest"), limitTest);
    s.Load(QStringLiteral("LimitSound"), limitSound);
    {
        QVector<VNALimitRange> ranges;
        const int n = std::min(s.BeginReadArray(QStringLiteral("LimitRanges")), kMaxLoadedRows);
        for (int i = 0; i < n; ++i)
        {
            VNALimitRange r;
            s.SetArrayIndex(i);
            LoadEnum(s, QStringLiteral("Type"), r.type);
            s.Load(QStringLiteral("StartFreq"), r.startFreq);
            s.Load(QStringLiteral("StopFreq"), r.stopFreq);
            s.Load(QStringLiteral("StartOffset"), r.startOffset);
            s.Load(QStringLiteral("StopOffset"), r.stopOffset);
            ranges.append(r);
        }
        s.EndArray();
        QMutexLocker lock(&limitLock.mutex);
        limitRanges = ranges;
    }
    s.Load(QStringLiteral("RippleLimitShow"), rippleShow);
    s.Load(QStringLiteral("RippleLimitTest"), rippleTest);
    {
        QVector<VNARippleLimitRange> ranges;
        const int n = std::min(s.BeginReadArray(QStringLiteral("RippleLimitRanges")), kMaxLoadedRows);
        for (int i = 0; i < n; ++i)
        {
            VNARippleLimitRange r;
            s.SetArrayIndex(i);
            LoadEnum(s, QStringLiteral("Type"), r.type);
            s.Load(QStringLiteral("StartFreq"), r.startFreq);
            s.Load(QStringLiteral("StopFreq"), r.stopFreq);
            s.Load(QStringLiteral("MaxRipple"), r.maxRipple);
            ranges.append(r);
        }
        s.EndArray();
        QMutexLocker lock(&rippleLock.mutex);
        rippleRanges = ranges;
        rippleMeas.resize(rippleRanges.size());
    }
    s.BeginGroup(QStringLiteral("Transform"));
    s.Load(QStringLiteral("Enabled"), transformEnabled);
    LoadEnum(s, QStringLiteral("Type"), transform.type);
    LoadEnum(s, QStringLiteral("Window"), transform.window);
    s.Load(QStringLiteral("WindowBeta"), transform.beta);
    LoadEnum(s, QStringLiteral("MarkerMode"), transform.markerMode);
    LoadEnum(s, QStringLiteral("Units"), transform.units);
    s.Load(QStringLiteral("VelocityF"), transform.velocityFactor);
    s.Load(QStringLiteral("AutoScale"), transform.autoScale);
    s.Load(QStringLiteral("Start"), transform.start);
    s.Load(QStringLiteral("Stop"), transform.stop);
    s.EndGroup();
    s.BeginGroup(QStringLiteral("Gating"));
    s.Load(QStringLiteral("Enabled"), gateEnabled);
    s.Load(QStringLiteral("Type"), gateType);
    s.Load(QStringLiteral("Shape"), gateShape);
    s.Load(QStringLiteral("Start"), gateStart);
    s.Load(QStringLiteral("Stop"), gateStop);
    s.EndGroup();
    s.Load(QStringLiteral("SelectedMarker"), activeMarker);
    const int n = std::min<int>(s.BeginReadArray(QStringLiteral("Markers")), kMarkerCount);
    for (int i = 0; i < n; ++i)
    {
        s.SetArrayIndex(i);
        markers[i].LoadPreset(s);
    }
    s.EndArray();
    // Through SetFormat so that the units follow the loaded format.
    SetFormat(f);
}

// --- the chain -------------------------------------------------------------------------------

TraceCalcResult VNATrace::Calculate(const VNAChannel& ch, double f0, double df,
                                    const VNAModel* model)
{
    TraceCalcResult result;
    // Selection: copied into a buffer this trace owns, so later stages write without detaching.
    const CplxVector& src = ch.processed.GetSParam(meas);
    workData.resize(src.size());
    std::copy(src.constBegin(), src.constEnd(), workData.begin());

    if (equationEnabled)
    {
        ApplyEquation(model, workData);
    }
    if (calSetViewEnabled)
    {
        ApplyCalSetView(ch, workData);
    }
    if (hasMem)
    {
        // Runs whatever mathOp is: a changed sweep must drop a memory that no longer fits.
        if (!TraceMathWith(workData, ch.stimulus.start, ch.stimulus.stop, mem.GetSParam(meas),
                           memStart, memStop, mathOp, mathInterpolate, workMem))
        {
            ClearMathMemory();
            result.mathReset = true;
            SysErr::AddSystemError(
                -200, Tr("Settings changed, trace memory no longer matches. Trace math has "
                         "been reset."));
        }
    }
    if (gateEnabled)
    {
        ApplyGate(workData, f0, df);
    }
    CplxVector* ds = &workData;
    result.transformScaleChanged = ApplyTransform(ch, workData, workX, ds, f0, df);
    ApplyDelayAndOffsets(*ds, f0, df);
    SParamToFormat(format, workX, *ds, outX, outY, df);
    TakeTrace(outX, outY);
    BuildMemoryCurve();
    SmoothTrace();
    limitPass = true;
    if (limitTest)
    {
        RunLimitTest();
    }
    ripplePass = true;
    if (rippleTest)
    {
        RunRippleTest();
    }
    if (bwSearchEnabled && bwSearchTracking)
    {
        PerformBandwidthSearch();
    }
    if (statsEnabled)
    {
        stats = GetStatistics(workX);
    }
    UpdateMarkers();
    return result;
}

void VNATrace::ApplyEquation(const VNAModel* model, CplxVector& d)
{
    // CalcTraces holds the model's trace lock, which guards every trace and the channels'
    // processed data (written only inside CalcTraces or under that lock): the equation reads
    // other traces and channels as they stand, and takes no lock itself. Another channel's data
    // is from its last pass.
    equationError.clear();
    equationValid = EquationTools::EvaluateEquation(equation, d, model, &equationError);
}

void VNATrace::ApplyCalSetView(const VNAChannel& ch, CplxVector& d)
{
    // The chain runs under the trace lock, under which the loop swaps in rebuilt terms.
    const VNACalibration& cal = ch.calibration;
    CplxVector term;
    cal.GetCalSetStd(term, calSetDisplay, calSetStdTerm, calSetErrTerm);
    if (term.isEmpty())
    {
        return;  // nothing stored for that choice: the measurement stays
    }
    if (calSetDisplay != CalSetViewMeasured)
    {
        // Error terms are solved on the channel's own sweep.
        d.resize(term.size());
        std::copy(term.constBegin(), term.constEnd(), d.begin());
        return;
    }
    // Standards were measured on the calibration's sweep: carried to the channel's.
    const QVector<double> from = cal.GetStimulus().GetFreqVector();
    const QVector<double> to = ch.stimulus.GetFreqVector();
    d.resize(to.size());
    for (int i = 0; i < to.size(); ++i)
    {
        d[i] = InterpolateArray(from, term, to[i]);
    }
}

void VNATrace::ApplyGate(CplxVector& d, double f0, double df)
{
    GateSParamConv(d, f0, df, gateStart, gateStop, VNAGateType(gateType), VNAGateShape(gateShape));
}

bool VNATrace::ApplyTransform(const VNAChannel& ch, CplxVector& d, QVector<double>& xs,
                              CplxVector*& ds, double f0, double df)
{
    if (!transformEnabled)
    {
        xs.resize(d.size());
        double* px = xs.data();
        for (int i = 0; i < d.size(); ++i)
        {
            px[i] = i * df + f0;
        }
        ds = &d;
        return false;
    }
    TransformSParam(ch.stimulus, transform, d, xs, workTime);
    ds = &workTime;
    if (!transform.autoScale)
    {
        return false;
    }
    const std::pair<double, double> full = GetTimeDomainFullScale(ch.stimulus, transform);
    // Not-a-number bounds (a one-point sweep) count as unchanged, or every pass would signal.
    const auto same = [](double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); };
    if (same(full.first, transform.start) && same(full.second, transform.stop))
    {
        return false;
    }
    transform.start = full.first;
    transform.stop = full.second;
    return true;
}

void VNATrace::ApplyDelayAndOffsets(CplxVector& ds, double f0, double df) const
{
    // The frequency is formed from index and sweep step even for transformed or non-linear
    // data: the readings are defined that way.
    std::complex<double>* p = ds.data();
    const int n = ds.size();
    if (elecDelay != 0.0)
    {
        for (int i = 0; i < n; ++i)
        {
            p[i] *= GetCexp(2.0 * M_PI * elecDelay * (i * df + f0));
        }
    }
    if (offsetPhase != 0.0)
    {
        const std::complex<double> c = GetCexp(offsetPhase * M_PI / 180.0);
        for (int i = 0; i < n; ++i)
        {
            p[i] *= c;
        }
    }
    if (offsetMag != 0.0)
    {
        const double g = std::sqrt(std::pow(10.0, offsetMag / 10.0));
        for (int i = 0; i < n; ++i)
        {
            p[i] *= g;
        }
    }
    if (offsetMagSlope != 0.0)
    {
        for (int i = 0; i < n; ++i)
        {
            p[i] *= std::sqrt(std::pow(10.0, ((i * df + f0) / 1e9 * offsetMagSlope) / 10.0));
        }
    }
}

void VNATrace::BuildMemoryCurve()
{
    if (!hasMem || !showMemTrace || transformEnabled)
    {
        memX.resize(0);
        memY.resize(0);
        return;
    }
    const CplxVector& m = mem.GetSParam(meas);
    const int n = m.size();
    const double step = n > 1 ? (memStop - memStart) / (n - 1) : 0.0;
    workMemX.resize(n);
    for (int i = 0; i < n; ++i)
    {
        workMemX[i] = memStart + step * i;
    }
    SParamToFormat(format, workMemX, m, memX, memY, step);
}

void VNATrace::RunLimitTest()
{
    QMutexLocker lock(&limitLock.mutex);
    limitPass = EvaluateLimitRanges(limitRanges, x, y);
}

void VNATrace::RunRippleTest()
{
    QMutexLocker lock(&rippleLock.mutex);
    ripplePass = EvaluateRippleRanges(rippleRanges, rippleMeas, x, y);
}
