// Remote bodies: the markers of a measurement, their searches and coupling. The REFerence
// commands check their marker suffix like the others and then act on the reference marker.
#include <QMutexLocker>

#include "mainwindow.h"
#include "mainwindow_scpi.h"
#include "scpi_parameters.h"

namespace
{
// Marker commands name an undefined measurement this way.
const char* const kInvalidMeasSuffix = QT_TRANSLATE_NOOP("Scpi", "Invalid measure suffix");

using S = ScpiContext;

bool TraceOf(S& c, int& trace)
{
    int channel = 0;
    return c.ChannelTrace(channel, trace, kInvalidMeasSuffix);
}

// Trace and marker from the suffixes; the reference forms take the reference marker once the
// suffix has passed.
bool MarkerOf(S& c, int& trace, int& marker, bool reference)
{
    if (!TraceOf(c, trace) || !c.Marker(marker))
    {
        return false;
    }
    if (reference)
    {
        marker = VNATrace::kReferenceMarker;
    }
    return true;
}

void SetMarkerBool(S& c, bool reference, void (MainWindow::*slot)(int, int, bool))
{
    int t = 0, m = 0;
    bool value = false;
    if (MarkerOf(c, t, m, reference) && c.cmd.GetNextParameterBool(value))
    {
        (c.window.*slot)(t, m, value);
    }
}

void SetMarkerDouble(S& c, void (MainWindow::*slot)(int, int, double))
{
    int t = 0, m = 0;
    double value = 0.0;
    if (MarkerOf(c, t, m, false) && c.cmd.GetNextParameterDouble(value))
    {
        (c.window.*slot)(t, m, value);
    }
}

template <typename T>
void SetMarkerWord(S& c, bool (*read)(Scpi*, T&), void (MainWindow::*slot)(int, int, int))
{
    int t = 0, m = 0;
    T value{};
    if (MarkerOf(c, t, m, false) && read(&c.cmd, value))
    {
        (c.window.*slot)(t, m, int(value));
    }
}

void SetMarkerType(S& c, bool reference)
{
    int t = 0, m = 0;
    bool fixed = false;
    if (MarkerOf(c, t, m, reference) && scpiParameterToMarkerType(&c.cmd, fixed))
    {
        c.window.markerFixed(t, m, fixed);
    }
}

void SetMarkerX(S& c, bool reference)
{
    int t = 0, m = 0;
    double value = 0.0;
    if (MarkerOf(c, t, m, reference) && c.cmd.GetNextParameterFreq(value))
    {
        c.window.markerSetX(t, m, value);
    }
}

template <typename Get>
void ReplyMarker(S& c, bool reference, Get get)
{
    int t = 0, m = 0;
    VNAMarker marker;
    if (MarkerOf(c, t, m, reference) && c.model.GetMarkerCopy(t, m, marker))
    {
        c.cmd.SubmitReply(get(marker));
    }
}

// Marker position and value: a one-value block in a REAL format.
void ReplyMarkerData(S& c, bool reference, double VNAMarker::*field)
{
    int t = 0, m = 0;
    VNAMarker marker;
    if (MarkerOf(c, t, m, reference) && c.model.GetMarkerCopy(t, m, marker))
    {
        c.cmd.SubmitData(marker.*field);
    }
}

// The bandwidth settings belong to the trace; only the state command leaves the marker suffix
// unread.
bool BandwidthTraceOf(S& c, int& trace, bool readMarker)
{
    int marker = 0;
    return TraceOf(c, trace) && (!readMarker || c.Marker(marker));
}

template <typename Get>
void ReplyBandwidth(S& c, bool readMarker, Get get)
{
    int t = 0;
    if (!BandwidthTraceOf(c, t, readMarker))
    {
        return;
    }
    QMutexLocker lock(&c.model.traceLock);
    const auto value = get(*c.model.traces[t]);
    lock.unlock();
    c.cmd.SubmitReply(value);
}

void SetBandwidthBool(S& c, bool readMarker, void (MainWindow::*slot)(int, bool))
{
    int t = 0;
    bool value = false;
    if (BandwidthTraceOf(c, t, readMarker) && c.cmd.GetNextParameterBool(value))
    {
        (c.window.*slot)(t, value);
    }
}

void SetBandwidthLimit(S& c)
{
    int t = 0;
    double value = 0.0;
    if (BandwidthTraceOf(c, t, true) && c.cmd.GetNextParameterDouble(value))
    {
        c.window.markerBWLimitChanged(t, value);
    }
}

void BandwidthData(S& c)
{
    int t = 0;
    if (!BandwidthTraceOf(c, t, true))
    {
        return;
    }
    QMutexLocker lock(&c.model.traceLock);
    const VNATrace& trace = *c.model.traces[t];
    const bool on = trace.bwSearchEnabled;
    const bool found = trace.bwFound;
    const double low = trace.bwLowFreq, high = trace.bwHighFreq, loss = trace.bwPeakValue;
    lock.unlock();
    if (c.cmd.BinaryData())
    {
        c.cmd.SubmitData(on ? QVector<double>{found ? 1.0 : 0.0, low, high, loss}
                            : QVector<double>(4, 0.0));
        return;
    }
    if (!on)
    {
        c.cmd.SubmitReply("0,0,0,0");
        return;
    }
    c.cmd.SubmitReply(found);
    c.cmd.SubmitReply(low);
    c.cmd.SubmitReply(high);
    c.cmd.SubmitReply(loss);
}

void DisableAll(S& c)
{
    int t = 0;
    if (TraceOf(c, t))
    {
        c.window.markerDisableAllTrace(t);
    }
}

void SetCoupling(S& c)
{
    int method = 0;
    if (scpiParameterToMarkerCouplingMethod(&c.cmd, method))
    {
        c.window.markerSetCoupling(method);
    }
}
}  // namespace

const ScpiFamily& scpiMarkerFamily()
{
    using MW = MainWindow;
    using M = const VNAMarker&;
    using T = const VNATrace&;
    static const ScpiFamily family{
        "markers",
        "markers",
        {{137, 169}},
        {{137, DisableAll},
         {138, [](S& c) { SetBandwidthBool(c, false, &MW::markerBWEnable); }},
         {139, [](S& c) { ReplyBandwidth(c, false, [](T t) { return t.bwSearchEnabled; }); }},
         {140, SetBandwidthLimit},
         {141, [](S& c) { ReplyBandwidth(c, true, [](T t) { return t.bwSearchLimit; }); }},
         {142, [](S& c) { SetBandwidthBool(c, true, &MW::markerBWTrackingEnable); }},
         {143, [](S& c) { ReplyBandwidth(c, true, [](T t) { return t.bwSearchTracking; }); }},
         {144, BandwidthData},
         {145, SetCoupling},
         {146, [](S& c)
          { c.cmd.SubmitReply(markerCouplingMethodToString(c.model.GetMarkerCoupling())); }},
         {147, [](S& c) { SetMarkerBool(c, false, &MW::markerDelta); }},
         {148, [](S& c) { ReplyMarker(c, false, [](M m) { return m.delta; }); }},
         {149, [](S& c) { SetMarkerWord(c, scpiParameterToMarkerFunction, &MW::markerExecute); }},
         {150, [](S& c) { SetMarkerDouble(c, &MW::markerExcursionChanged); }},
         {151, [](S& c) { ReplyMarker(c, false, [](M m) { return m.excursion; }); }},
         {152, [](S& c) { SetMarkerDouble(c, &MW::markerThresholdChanged); }},
         {153, [](S& c) { ReplyMarker(c, false, [](M m) { return m.threshold; }); }},
         {154,
          [](S& c)
          {
              SetMarkerWord(c, scpiParameterToMarkerTrackingFunction,
                            QOverload<int, int, int>::of(&MW::markerTrackingChanged));
          }},
         {155,
          [](S& c) {
              ReplyMarker(c, false,
                          [](M m) { return markerTrackingFunctionToText(int(m.tracking)); });
          }},
         {156, [](S& c) { SetMarkerBool(c, true, &MW::markerEnable); }},
         {157, [](S& c) { ReplyMarker(c, true, [](M m) { return m.enabled; }); }},
         {158, [](S& c) { SetMarkerType(c, true); }},
         {159, [](S& c) { ReplyMarker(c, true, [](M m) { return markerTypeToText(m.fixed); }); }},
         {160, [](S& c) { SetMarkerX(c, true); }},
         {161, [](S& c) { ReplyMarkerData(c, true, &VNAMarker::x); }},
         {162, [](S& c) { ReplyMarkerData(c, true, &VNAMarker::y); }},
         {163, [](S& c) { SetMarkerBool(c, false, &MW::markerEnable); }},
         {164, [](S& c) { ReplyMarker(c, false, [](M m) { return m.enabled; }); }},
         {165, [](S& c) { SetMarkerType(c, false); }},
         {166, [](S& c) { ReplyMarker(c, false, [](M m) { return markerTypeToText(m.fixed); }); }},
         {167, [](S& c) { SetMarkerX(c, false); }},
         {168, [](S& c) { ReplyMarkerData(c, false, &VNAMarker::x); }},
         {169, [](S& c) { ReplyMarkerData(c, false, &VNAMarker::y); }}}};
    return family;
}
