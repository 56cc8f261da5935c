// Markers of a trace: placement, peak searches, the per-pass update, the bandwidth search and the
// readout texts. Everything here reads the trace's finished x and y under the caller's trace lock.
#include <QCoreApplication>
#include <algorithm>
#include <cmath>
#include <vector>

#include "frequency.h"
#include "signal_ops.h"
#include "time_domain.h"
#include "vna_trace.h"

namespace
{
QString Tr(const char* text)
{
    return QCoreApplication::translate("VNATrace", text);
}

// For every point, whether the walk from it in direction step (-1 towards lower indices, +1
// towards higher ones) meets a point at least excursion below it before a strictly higher point
// or the end. One pass with a stack of points not yet overtopped, each carrying the lowest value
// between it and the entry beneath it, so a long flat stretch costs no more than a slope.
void MarkWalks(const double* y, int n, double excursion, int step, std::vector<char>& pass)
{
    struct Entry
    {
        double value;
        double lowest;
    };
    std::vector<Entry> stack;
    stack.reserve(64);
    const int begin = step < 0 ? 0 : n - 1;
    const int end = step < 0 ? n : -1;
    const int dir = step < 0 ? 1 : -1;
    for (int i = begin; i != end; i += dir)
    {
        const double v = y[i];
        // NaN never ends a walk and never lets one pass: it stays out of the lowest values.
        double lowest = std::isnan(v) ? INFINITY : v;
        while (!stack.empty() && !(stack.back().value > v))
        {
            lowest = std::min(lowest, stack.back().lowest);
            stack.pop_back();
        }
        pass[i] = (v - lowest >= excursion) ? 1 : 0;
        stack.push_back({v, lowest});
    }
}

// Sets marker m onto point i of the trace.
void MoveMarkerTo(const VNATrace& t, VNAMarker& m, int i)
{
    m.enabled = true;
    m.index = i;
    m.f = m.x = t.x[i];
    m.y = t.y[i];
}

// Peak steps need a rectangular trace with matching vectors.
bool PeakStepsPossible(const VNATrace& t)
{
    return !t.x.isEmpty() && t.y.size() == t.x.size() && !IsSmithFormat(t.format);
}

// First largest or smallest point of y, or of the reflection's magnitude on a Smith chart.
QPointF Extreme(const VNATrace& t, bool maximum, bool& ok, int& index)
{
    ok = !t.x.isEmpty() && t.y.size() == t.x.size();
    if (!ok)
    {
        return QPointF();
    }
    QVector<double> mag;
    const QVector<double>* v = &t.y;
    if (IsSmithFormat(t.format))
    {
        ConvertLinMag(t.x, t.y, mag);
        v = &mag;
    }
    double value = 0.0;
    if (maximum)
    {
        sig::MaxIndx(v->constData(), v->size(), value, index);
    }
    else
    {
        sig::MinIndx(v->constData(), v->size(), value, index);
    }
    return QPointF(t.x[index], t.y[index]);
}

QString FreqString(double hz)
{
    return Frequency(hz).GetFreqString();
}
}  // namespace

// --- enumeration texts -------------------------------------------------------------------------

QString VNAMarkerTrackingToStr(VNAMarkerTrackingFunction tracking)
{
    switch (tracking)
    {
        case MarkerTrackingOff:
            return Tr("Off");
        case MarkerTrackingPeak:
            return Tr("Max");
    }
    return QString();
}

QString MarkerCouplingMethodToStr(MarkerCouplingMethod method)
{
    switch (method)
    {
        case MarkerCouplingOff:
            return Tr("Off");
        case MarkerCouplingChannel:
            return Tr("Channel");
        case MarkerCouplingAll:
            return Tr("All");
    }
    return QString();
}

// --- free searches -----------------------------------------------------------------------------

QVector<int> GetPeakList(const QVector<double>& y, double threshold, double excursion)
{
    QVector<int> peaks;
    const int n = y.size();
    if (n < 3)
    {
        return peaks;
    }
    const double* p = y.constData();
    std::vector<char> left(n), right(n);
    MarkWalks(p, n, excursion, -1, left);
    MarkWalks(p, n, excursion, +1, right);
    for (int i = 1; i < n - 1; ++i)
    {
        if (p[i] >= p[i - 1] && p[i] >= p[i + 1] && p[i] > threshold && left[i] && right[i])
        {
            peaks.append(i);
        }
    }
    return peaks;
}

QVector<Peak> GetSortedPeakList(const QVector<double>& y, double threshold, double excursion)
{
    const QVector<int> list = GetPeakList(y, threshold, excursion);
    QVector<Peak> peaks;
    peaks.reserve(list.size());
    for (int i : list)
    {
        peaks.append({i, y[i]});
    }
    std::stable_sort(peaks.begin(), peaks.end());
    return peaks;
}

int GetClosestIndex(double value, const QVector<double>& v, bool& ok)
{
    ok = !v.isEmpty();
    int best = 0;
    double bestDistance = INFINITY;
    for (int i = 0; i < v.size(); ++i)
    {
        const double d = std::fabs(v[i] - value);
        if (d < bestDistance)
        {
            bestDistance = d;
            best = i;
        }
    }
    return best;
}

// --- axis texts --------------------------------------------------------------------------------

QString getTimeString(double seconds, int digits)
{
    static const struct
    {
        double scale;
        const char* unit;
    } units[] = {{1.0, "s"}, {1e-3, "ms"}, {1e-6, "us"}, {1e-9, "ns"}, {1e-12, "ps"}};
    const double a = std::fabs(seconds);
    int u = 0;
    while (u < 4 && a < units[u].scale)
    {
        ++u;
    }
    // Zero reads in the unit of the usual time-domain spans.
    if (a == 0.0)
    {
        u = 3;
    }
    return QString::number(seconds / units[u].scale, 'f', digits) + QLatin1Char(' ') +
           QLatin1String(units[u].unit);
}

QString GetMetersString(double metres, int digits)
{
    return QString::number(metres, 'f', digits) + QStringLiteral(" m");
}

QString GetFootString(double metres, int digits)
{
    return QString::number(metres / 0.3048, 'f', digits) + QStringLiteral(" ft");
}

QString GetInchesString(double metres, int digits)
{
    return QString::number(metres / 0.0254, 'f', digits) + QStringLiteral(" in");
}

// --- positions ---------------------------------------------------------------------------------

VNAMarker* VNATrace::GetMarker(int i)
{
    return i >= 0 && i < kMarkerCount ? &markers[i] : nullptr;
}

const VNAMarker* VNATrace::GetMarker(int i) const
{
    return i >= 0 && i < kMarkerCount ? &markers[i] : nullptr;
}

QPointF VNATrace::GetMarkerPos(int index, bool& ok) const
{
    ok = !x.isEmpty() && x.size() == y.size() && index >= 0 && index < x.size();
    return ok ? QPointF(x[index], y[index]) : QPointF();
}

QPointF VNATrace::GetMarkerPos(double pos, int& index, bool& ok) const
{
    ok = false;
    if (x.isEmpty() || x.size() != y.size())
    {
        return QPointF();
    }
    const double* b = x.constData();
    const double* e = b + x.size();
    if (!(pos >= b[0] && pos <= e[-1]))
    {
        return QPointF();
    }
    if (IsSmithFormat(format))
    {
        // The real part of a reflection is in no order: every point has to be looked at.
        index = GetClosestIndex(pos, x, ok);
        return QPointF(x[index], y[index]);
    }
    // A frequency or time axis ascends, so the neighbours of pos decide.
    int k = int(std::lower_bound(b, e, pos) - b);
    if (k > 0 && pos - b[k - 1] <= b[k] - pos)
    {
        // The lower neighbour wins ties; of equal abscissae the first one counts.
        k = int(std::lower_bound(b, b + k, b[k - 1]) - b);
    }
    index = k;
    ok = true;
    return QPointF(x[k], y[k]);
}

QPointF VNATrace::GetMarkerPos(double pos, bool& ok) const
{
    int index = 0;
    return GetMarkerPos(pos, index, ok);
}

int VNATrace::GetMarkerIndex(double fraction, bool& ok) const
{
    ok = false;
    if (x.isEmpty() || y.isEmpty() || x.size() != y.size())
    {
        return 0;
    }
    const int last = x.size() - 1;
    double p = fraction >= 0.0 ? std::min(fraction, 1.0) : 0.0;
    if (transformEnabled)
    {
        // The plot's width spans the displayed time range, not the whole computed axis.
        const double span = x[last] - x[0];
        const double a = (transform.start - x[0]) / span;
        const double b = (transform.stop - x[0]) / span;
        const float t = float(p);
        p = t == 0.0f ? a : (t == 1.0f ? b : a * (1.0f - t) + b * t);
    }
    double r = std::round(p * last);
    r = std::isnan(r) ? 0.0 : std::max(0.0, std::min(r, double(last)));
    ok = true;
    return int(r);
}

QPointF VNATrace::GetMarkerPeak(bool& ok, int& index) const
{
    return Extreme(*this, true, ok, index);
}

QPointF VNATrace::GetMarkerMin(bool& ok, int& index) const
{
    return Extreme(*this, false, ok, index);
}

int VNATrace::GetNextInactiveMarker() const
{
    for (int i = 0; i < kReferenceMarker; ++i)
    {
        if (!markers[i].enabled)
        {
            return i;
        }
    }
    return -1;
}

void VNATrace::DisableDeltaMarkers()
{
    for (VNAMarker& m : markers)
    {
        m.delta = false;
    }
}

void VNATrace::DisableAllMarkers()
{
    for (VNAMarker& m : markers)
    {
        m.enabled = false;
    }
}

// --- peak steps --------------------------------------------------------------------------------

bool VNATrace::MarkerPeakLeft(int i)
{
    VNAMarker* m = GetMarker(i);
    if (!m || !PeakStepsPossible(*this))
    {
        return false;
    }
    const QVector<int> peaks = GetPeakList(y, m->threshold, m->excursion);
    if (peaks.isEmpty())
    {
        return false;
    }
    const auto it = std::lower_bound(peaks.begin(), peaks.end(), m->index);
    if (it == peaks.begin())
    {
        return false;
    }
    MoveMarkerTo(*this, *m, it == peaks.end() ? peaks.last() : *(it - 1));
    return true;
}

bool VNATrace::MarkerPeakRight(int i)
{
    VNAMarker* m = GetMarker(i);
    if (!m || !PeakStepsPossible(*this))
    {
        return false;
    }
    const QVector<int> peaks = GetPeakList(y, m->threshold, m->excursion);
    const auto it = std::upper_bound(peaks.begin(), peaks.end(), m->index);
    if (it == peaks.end())
    {
        return false;
    }
    MoveMarkerTo(*this, *m, *it);
    return true;
}

bool VNATrace::MarkerPeakNext(int i)
{
    VNAMarker* m = GetMarker(i);
    if (!m || !PeakStepsPossible(*this))
    {
        return false;
    }
    // The highest peak not above the marker's level; of equal ones the last in sorted order.
    int target = -1;
    for (const Peak& p : GetSortedPeakList(y, m->threshold, m->excursion))
    {
        if (p.value <= m->y && p.index != m->index)
        {
            target = p.index;
        }
    }
    if (target < 0)
    {
        return false;
    }
    MoveMarkerTo(*this, *m, target);
    return true;
}

// --- per-pass stages ---------------------------------------------------------------------------

void VNATrace::UpdateMarkers()
{
    // Every tracking marker goes to the same peak: searched once per pass.
    bool peakSearched = false, peakOk = false;
    int peakIndex = 0;
    QPointF peak;
    for (VNAMarker& m : markers)
    {
        if (!m.enabled || m.fixed)
        {
            continue;
        }
        bool ok = false;
        if (m.tracking == MarkerTrackingPeak)
        {
            if (!peakSearched)
            {
                peak = GetMarkerPeak(peakOk, peakIndex);
                peakSearched = true;
            }
            if (peakOk)
            {
                m.index = peakIndex;
                m.f = m.x = peak.x();
                m.y = peak.y();
            }
        }
        else if (transformEnabled || IsSmithFormat(format))
        {
            // The point index is what survives here: a time or a reflection value has no
            // stable abscissa to find again.
            const QPointF p = GetMarkerPos(m.index, ok);
            if (ok)
            {
                if (!transformEnabled)
                {
                    m.x = p.x();
                }
                m.y = p.y();
            }
        }
        else
        {
            int index = 0;
            const QPointF p = GetMarkerPos(m.f, index, ok);
            if (ok)
            {
                m.index = index;
                m.y = p.y();
            }
        }
    }
}

void VNATrace::PerformBandwidthSearch()
{
    bwSearchEnabled = true;
    bwFound = false;
    if (format != LogMag)
    {
        return;
    }
    bool ok = false;
    int peak = 0;
    GetMarkerPeak(ok, peak);
    if (!ok)
    {
        return;
    }
    const int last = y.size() - 1;
    const double level = y[peak] + bwSearchLimit;
    // The crossing test comes before the end test: a crossing on an end point counts.
    int i = peak;
    while (!(level >= y[i]))
    {
        if (i == 0)
        {
            return;
        }
        --i;
    }
    int j = peak;
    while (!(level >= y[j]))
    {
        if (j == last)
        {
            return;
        }
        ++j;
    }
    // Only a limit at or above 0 dB stops on the peak itself, which then needs a neighbour.
    if (i + 1 > last || j - 1 < 0)
    {
        return;
    }
    double t = (level - y[i]) / (y[i + 1] - y[i]);
    bwLowFreq = x[i] + (x[i + 1] - x[i]) * t;
    bwLowValue = y[i] + (y[i + 1] - y[i]) * t;
    t = (level - y[j]) / (y[j - 1] - y[j]);
    bwHighFreq = x[j] + (x[j - 1] - x[j]) * t;
    bwHighValue = y[j] + (y[j - 1] - y[j]) * t;
    bwPeakValue = y[peak];
    bwPeakFreq = x[peak];
    bwFound = true;
}

// --- readouts ----------------------------------------------------------------------------------

QStringList VNATrace::GetBandwidthReadout() const
{
    QStringList lines;
    if (!bwSearchEnabled)
    {
        return lines;
    }
    if (!bwFound)
    {
        lines << Tr("Bandwidth Not Found");
        return lines;
    }
    lines << Tr("Bandwidth ") + FreqString(BandwidthSpan())
          << Tr("Center ") + FreqString(BandwidthCenter()) << Tr("Low ") + FreqString(bwLowFreq)
          << Tr("High ") + FreqString(bwHighFreq)
          << Tr("Loss %1 dB").arg(QString::asprintf("%.2f", bwPeakValue))
          << Tr("Q %1").arg(QString::asprintf("%.4f", BandwidthQ()));
    return lines;
}

double VNATrace::GetMarkerDistance(double time) const
{
    return time * MetersPerSecond(transform, meas);
}

QString VNATrace::GetMarkerLabel(int i) const
{
    const VNAMarker* m = GetMarker(i);
    if (!m)
    {
        return QString();
    }
    // In the time domain every marker, the reference included, is listed by its number.
    if (transformEnabled)
    {
        return QString::asprintf("M%d:", i + 1);
    }
    if (i == kReferenceMarker)
    {
        return QStringLiteral("R:");
    }
    if (m->delta)
    {
        return QChar(0x0394) + QString::asprintf("%d:", i + 1);
    }
    return QString::asprintf("M%d:", i + 1);
}

QString VNATrace::GetMarkerXString(int i) const
{
    const VNAMarker* m = GetMarker(i);
    if (!m)
    {
        return QString();
    }
    if (transformEnabled)
    {
        return TimeToDisplayString(m->x, transform, meas, 3);
    }
    if (i != kReferenceMarker && m->delta)
    {
        return FreqString(m->f - GetReferenceMarker().f);
    }
    return FreqString(m->f);
}

QString VNATrace::GetMarkerValueString(int i) const
{
    const VNAMarker* m = GetMarker(i);
    if (!m)
    {
        return QString();
    }
    if (transformEnabled)
    {
        QString pos = GetMarkerPosString(*m, format);
        if (format == Real && transform.type == TransformLowpassStep)
        {
            // A line impedance estimate from the step response, against a fixed 50 ohms.
            pos += QStringLiteral(", ") + QString::asprintf("%.2f", 50.0 * std::exp(2.0 * m->y)) +
                   QChar(0x03A9);
        }
        return pos;
    }
    if (i != kReferenceMarker && m->delta)
    {
        return GetMarkerPosString(m->y - GetReferenceMarker().y, format);
    }
    return GetMarkerPosString(*m, format);
}

QString VNATrace::GetMarkerReadout(int i) const
{
    if (!GetMarker(i))
    {
        return QString();
    }
    return GetMarkerLabel(i) + QLatin1Char(' ') + GetMarkerXString(i) + QLatin1Char(' ') +
           GetMarkerValueString(i);
}
