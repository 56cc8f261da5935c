// VNAModel: the marker operations behind the panel, the plot's mouse and the remote commands, and
// the coupling that carries a marker from one trace to the others.
#include <QCoreApplication>
#include <QMutexLocker>
#include <algorithm>

#include "error_log.h"
#include "vna_model.h"

namespace
{
QString Tr(const char* text)
{
    return QCoreApplication::translate("VNAModel", text);
}

// NaN lands on the lower bound.
double Clamp(double v, double lo, double hi)
{
    return std::max(lo, std::min(v, hi));
}

// The reference marker takes over a marker's point.
void CopyToReference(VNATrace& t, const VNAMarker& m)
{
    VNAMarker& ref = t.GetReferenceMarker();
    ref.enabled = true;
    ref.index = m.index;
    ref.f = m.f;
    ref.t = m.t;
    ref.x = m.x;
    ref.y = m.y;
}
}  // namespace

// --- helpers -----------------------------------------------------------------------------------

void VNAModel::RefreshInterface()
{
    emit updateControlsSignal();
    emit updatePlotsSignal();
}

bool VNAModel::EditTraceMarkers(int trace, const std::function<void(VNATrace&)>& edit)
{
    {
        QMutexLocker lock(&traceLock);
        VNATrace* t = traces.value(trace, nullptr);
        if (!t)
        {
            return false;
        }
        edit(*t);
    }
    RefreshInterface();
    return true;
}

bool VNAModel::EditMarker(int trace, int marker,
                          const std::function<void(VNATrace&, VNAMarker&)>& edit)
{
    {
        QMutexLocker lock(&traceLock);
        VNATrace* t = traces.value(trace, nullptr);
        VNAMarker* m = t ? t->GetMarker(marker) : nullptr;
        if (!m)
        {
            return false;
        }
        edit(*t, *m);
    }
    RefreshInterface();
    return true;
}

// --- flags and selection -----------------------------------------------------------------------

void VNAModel::markerEnable(int trace, int marker, bool on)
{
    EditMarker(trace, marker,
               [&](VNATrace& t, VNAMarker& m)
               {
                   if (!on && marker == VNATrace::kReferenceMarker)
                   {
                       t.DisableDeltaMarkers();
                   }
                   m.enabled = on;
                   if (on)
                   {
                       // Read the point now as the next pass would: a held sweep has none.
                       t.UpdateMarkers();
                   }
               });
}

void VNAModel::markerFixed(int trace, int marker, bool on)
{
    EditMarker(trace, marker, [&](VNATrace&, VNAMarker& m) { m.fixed = on; });
}

void VNAModel::markerDelta(int trace, int marker, bool on)
{
    if (marker == VNATrace::kReferenceMarker)
    {
        SysErr::AddSystemError(InvalidOperation, Tr("Cannot set delta on reference marker"));
        return;
    }
    EditMarker(trace, marker,
               [&](VNATrace& t, VNAMarker& m)
               {
                   m.delta = on;
                   if (on && m.enabled && !t.GetReferenceMarker().enabled)
                   {
                       CopyToReference(t, m);
                   }
               });
}

void VNAModel::markerToRef(int trace)
{
    EditTraceMarkers(trace,
                     [&](VNATrace& t)
                     {
                         const VNAMarker* m = t.GetMarker(t.activeMarker);
                         if (!t.RefMarkerSelected() && m && m->enabled)
                         {
                             CopyToReference(t, *m);
                         }
                     });
}

void VNAModel::markerSetActive(int trace, int marker)
{
    EditMarker(trace, marker, [&](VNATrace& t, VNAMarker&) { t.activeMarker = marker; });
}

int VNAModel::ActiveMarker(int trace) const
{
    QMutexLocker lock(&traceLock);
    const VNATrace* t = traces.value(trace, nullptr);
    return t ? t->activeMarker : -1;
}

bool VNAModel::GetMarkerCopy(int trace, int marker, VNAMarker& out) const
{
    QMutexLocker lock(&traceLock);
    const VNATrace* t = traces.value(trace, nullptr);
    const VNAMarker* m = t ? t->GetMarker(marker) : nullptr;
    if (m)
    {
        out = *m;
    }
    return m != nullptr;
}

bool VNAModel::GetActiveMarkerFreq(int trace, int& channel, double& f) const
{
    QMutexLocker lock(&traceLock);
    const VNATrace* t = traces.value(trace, nullptr);
    const VNAMarker* m = t ? t->GetMarker(t->activeMarker) : nullptr;
    if (!m)
    {
        return false;
    }
    channel = t->channel;
    f = m->f;
    return true;
}

// --- placement ---------------------------------------------------------------------------------

bool VNAModel::MarkerPlaceLocked(int trace, double fraction)
{
    VNATrace* t = traces.value(trace, nullptr);
    VNAMarker* m = t ? t->GetMarker(t->activeMarker) : nullptr;
    if (!m || (m->enabled && m->fixed) || !IsValidChannelIndex(t->channel))
    {
        return false;
    }
    bool ok = false;
    const int index = t->GetMarkerIndex(fraction, ok);
    if (!ok)
    {
        return false;
    }
    const VNAStimulus& s = channels[t->channel]->stimulus;
    m->enabled = true;
    m->index = index;
    m->f = s.StepSize() * index + s.start;
    m->x = t->x[index];
    t->UpdateMarkers();
    MarkerCoupleLocked(t->channel, trace, t->activeMarker);
    return true;
}

void VNAModel::markerPlace(int trace, double fraction)
{
    bool placed;
    {
        QMutexLocker lock(&traceLock);
        placed = MarkerPlaceLocked(trace, fraction);
    }
    if (placed)
    {
        RefreshInterface();
    }
}

void VNAModel::markerAddMarker(int trace)
{
    {
        QMutexLocker lock(&traceLock);
        VNATrace* t = traces.value(trace, nullptr);
        const int next = t ? t->GetNextInactiveMarker() : -1;
        if (next < 0)
        {
            return;
        }
        t->activeMarker = next;
        MarkerPlaceLocked(trace, 0.5);
    }
    // The selection changed even when the trace had no points to place on.
    RefreshInterface();
}

void VNAModel::markerMove(int trace, bool left)
{
    {
        QMutexLocker lock(&traceLock);
        VNATrace* t = traces.value(trace, nullptr);
        VNAMarker* m = t ? t->GetMarker(t->activeMarker) : nullptr;
        if (!m || !m->enabled || m->fixed || t->x.size() <= 1 || !IsValidChannelIndex(t->channel))
        {
            return;
        }
        const int index = std::max(0, std::min(m->index + (left ? -1 : 1), t->x.size() - 1));
        const VNAStimulus& s = channels[t->channel]->stimulus;
        m->index = index;
        m->f = s.StepSize() * index + s.start;
        m->x = t->x[index];
        t->UpdateMarkers();
        MarkerCoupleLocked(t->channel, trace, t->activeMarker);
    }
    RefreshInterface();
}

void VNAModel::MarkerSetXLocked(int trace, int marker, double value)
{
    VNATrace* t = traces.value(trace, nullptr);
    VNAMarker* m = t ? t->GetMarker(marker) : nullptr;
    if (!m || m->fixed || t->x.size() <= 1 || !IsValidChannelIndex(t->channel))
    {
        return;
    }
    const VNAStimulus& s = channels[t->channel]->stimulus;
    bool ok = false;
    int index = 0;
    if (IsSmithFormat(t->format))
    {
        // The chart has no frequency axis: the value is matched against the sweep.
        index = GetClosestIndex(value, s.GetFreqVector(), ok);
        ok = ok && index < t->x.size();
    }
    else
    {
        t->GetMarkerPos(value, index, ok);
    }
    if (!ok)
    {
        return;
    }
    m->enabled = true;
    m->index = index;
    m->f = s.StepSize() * index + s.start;
    m->x = t->x[index];
    t->UpdateMarkers();
    // The coupling starts from the selected trace and its active marker, as it always has.
    if (const VNATrace* active = ActiveTrace())
    {
        MarkerCoupleLocked(active->channel, selectedTraceIndex, active->activeMarker);
    }
}

void VNAModel::markerSetX(int trace, int marker, double value)
{
    {
        QMutexLocker lock(&traceLock);
        MarkerSetXLocked(trace, marker, value);
    }
    RefreshInterface();
}

void VNAModel::markerSetFreq(double value)
{
    {
        QMutexLocker lock(&traceLock);
        if (const VNATrace* t = ActiveTrace())
        {
            MarkerSetXLocked(selectedTraceIndex, t->activeMarker, value);
        }
    }
    RefreshInterface();
}

// --- searches ----------------------------------------------------------------------------------

void VNAModel::MarkerSearch(int trace, int marker, const std::function<void(VNATrace&)>& search)
{
    EditMarker(trace, marker,
               [&](VNATrace& t, VNAMarker&)
               {
                   search(t);
                   MarkerCoupleLocked(t.channel, trace, marker);
               });
}

void VNAModel::MarkerToExtreme(int trace, int marker, bool maximum)
{
    MarkerSearch(trace, marker,
                 [&](VNATrace& t)
                 {
                     bool ok = false;
                     int index = 0;
                     const QPointF p =
                         maximum ? t.GetMarkerPeak(ok, index) : t.GetMarkerMin(ok, index);
                     if (ok)
                     {
                         VNAMarker& m = t.markers[marker];
                         m.f = m.x = p.x();
                         m.y = p.y();
                         m.enabled = true;
                         m.index = index;
                     }
                 });
}

void VNAModel::markerPeakMax(int trace, int marker)
{
    MarkerToExtreme(trace, marker, true);
}

void VNAModel::markerPeakMin(int trace, int marker)
{
    MarkerToExtreme(trace, marker, false);
}

void VNAModel::markerPeakLeft(int trace, int marker)
{
    MarkerSearch(trace, marker, [&](VNATrace& t) { t.MarkerPeakLeft(marker); });
}

void VNAModel::markerPeakRight(int trace, int marker)
{
    MarkerSearch(trace, marker, [&](VNATrace& t) { t.MarkerPeakRight(marker); });
}

void VNAModel::markerPeakNext(int trace, int marker)
{
    MarkerSearch(trace, marker, [&](VNATrace& t) { t.MarkerPeakNext(marker); });
}

void VNAModel::markerExecute(int trace, int marker, VNAMarkerFunction function)
{
    switch (function)
    {
        case MarkerFunctionPeak:
            markerPeakMax(trace, marker);
            break;
        case MarkerFunctionMinimum:
            markerPeakMin(trace, marker);
            break;
        case MarkerFunctionRight:
            markerPeakRight(trace, marker);
            break;
        case MarkerFunctionLeft:
            markerPeakLeft(trace, marker);
            break;
        case MarkerFunctionNext:
            markerPeakNext(trace, marker);
            break;
    }
}

void VNAModel::markerThresholdChanged(int trace, int marker, double value)
{
    EditMarker(trace, marker,
               [&](VNATrace&, VNAMarker& m) { m.threshold = Clamp(value, -1000.0, 1000.0); });
}

void VNAModel::markerExcursionChanged(int trace, int marker, double value)
{
    EditMarker(trace, marker,
               [&](VNATrace&, VNAMarker& m) { m.excursion = Clamp(value, -100.0, 100.0); });
}

void VNAModel::markerTrackingChanged(int trace, int marker, VNAMarkerTrackingFunction tracking)
{
    EditMarker(trace, marker,
               [&](VNATrace& t, VNAMarker& m)
               {
                   m.tracking = tracking;
                   if (tracking != MarkerTrackingOff)
                   {
                       // Go to the peak now rather than at the next sweep, which may never come.
                       t.UpdateMarkers();
                       MarkerCoupleLocked(t.channel, trace, marker);
                   }
               });
}

// --- bandwidth search --------------------------------------------------------------------------

void VNAModel::markerBWLimitChanged(int trace, double value)
{
    EditTraceMarkers(trace, [&](VNATrace& t) { t.bwSearchLimit = Clamp(value, -100.0, -1.0); });
}

void VNAModel::markerBWSearch(int trace)
{
    int channel = -1;
    {
        QMutexLocker lock(&traceLock);
        VNATrace* t = traces.value(trace, nullptr);
        if (!t)
        {
            return;
        }
        t->PerformBandwidthSearch();
        channel = t->channel;
    }
    CalcTraces(channel);
    RefreshInterface();
}

void VNAModel::markerBWEnable(int trace, bool on)
{
    if (on)
    {
        markerBWSearch(trace);
        return;
    }
    int channel = -1;
    {
        QMutexLocker lock(&traceLock);
        VNATrace* t = traces.value(trace, nullptr);
        if (!t)
        {
            return;
        }
        t->bwSearchEnabled = false;
        channel = t->channel;
    }
    CalcTraces(channel);
    RefreshInterface();
}

void VNAModel::markerBWTrackingEnable(int trace, bool on)
{
    EditTraceMarkers(trace, [&](VNATrace& t) { t.bwSearchTracking = on; });
}

// --- switching off -----------------------------------------------------------------------------

void VNAModel::markerDisableAllTrace(int trace)
{
    EditTraceMarkers(trace, [](VNATrace& t) { t.DisableAllMarkers(); });
}

void VNAModel::markerDisableAllChannel(int channel)
{
    {
        QMutexLocker lock(&traceLock);
        for (VNATrace* t : traces)
        {
            if (t && t->channel == channel)
            {
                t->DisableAllMarkers();
            }
        }
    }
    RefreshInterface();
}

void VNAModel::markerDisableAll()
{
    {
        QMutexLocker lock(&traceLock);
        for (VNATrace* t : traces)
        {
            if (t)
            {
                t->DisableAllMarkers();
            }
        }
    }
    RefreshInterface();
}

// --- coupling ----------------------------------------------------------------------------------

void VNAModel::markerSetCoupling(MarkerCouplingMethod method)
{
    if (method < MarkerCouplingOff || method > MarkerCouplingAll)
    {
        return;
    }
    {
        QMutexLocker lock(&traceLock);
        markerCoupling = method;
    }
    emit updateControlsSignal();
}

MarkerCouplingMethod VNAModel::GetMarkerCoupling() const
{
    QMutexLocker lock(&traceLock);
    return MarkerCouplingMethod(markerCoupling);
}

void VNAModel::markerCouple(int channel, int trace, int marker)
{
    {
        QMutexLocker lock(&traceLock);
        MarkerCoupleLocked(channel, trace, marker);
    }
    RefreshInterface();
}

void VNAModel::MarkerCoupleLocked(int channel, int trace, int marker)
{
    switch (markerCoupling)
    {
        case MarkerCouplingChannel:
            MarkerCoupleHelper(channel, trace, marker);
            break;
        case MarkerCouplingAll:
            for (int c = 0; c < kChannelCount; ++c)
            {
                MarkerCoupleHelper(c, trace, marker);
            }
            break;
        default:
            break;
    }
}

void VNAModel::MarkerCoupleHelper(int channel, int trace, int marker)
{
    const VNATrace* source = traces.value(trace, nullptr);
    const VNAMarker* from = source ? source->GetMarker(marker) : nullptr;
    if (!from || marker == VNATrace::kReferenceMarker || !IsValidChannelIndex(channel))
    {
        return;
    }
    const double f = from->f;
    QVector<double> freq;
    for (int index : mapper.GetTracesOnChannel(channel))
    {
        VNATrace* t = traces.value(index, nullptr);
        if (!t || index == trace)
        {
            continue;
        }
        // A fixed marker is moved all the same; a tracking one follows its own peak.
        VNAMarker& m = t->markers[marker];
        if (m.tracking != MarkerTrackingOff || t->transformEnabled != source->transformEnabled)
        {
            continue;
        }
        bool ok = false;
        int i = 0;
        if (!IsSmithFormat(t->format))
        {
            const QPointF p = t->GetMarkerPos(f, i, ok);
            if (ok)
            {
                m.f = m.x = p.x();
                m.y = p.y();
                m.enabled = true;
                m.index = i;
            }
            continue;
        }
        if (freq.isEmpty())
        {
            freq = channels[channel]->stimulus.GetFreqVector();
        }
        i = GetClosestIndex(f, freq, ok);
        const QPointF p = ok ? t->GetMarkerPos(i, ok) : QPointF();
        if (ok)
        {
            m.enabled = true;
            m.index = i;
            m.x = p.x();
            m.y = p.y();
            m.f = freq[i];
        }
    }
}
