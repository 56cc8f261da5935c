// Remote bodies: the time transform and the time gate of a measurement.
#include <QMutexLocker>

#include "mainwindow.h"
#include "mainwindow_scpi.h"
#include "scpi_parameters.h"

namespace
{
// These commands name an undefined measurement with their own text.
const char* const kInvalidMeasureSuffix = QT_TRANSLATE_NOOP("Scpi", "Invalid measure suffix");

bool TraceOf(ScpiContext& c, int& trace)
{
    int channel = 0;
    return c.ChannelTrace(channel, trace, kInvalidMeasureSuffix);
}

// A setter: the measurement, then one parameter read by read, then the slot with both.
template <typename T, typename Read, typename Slot>
void Set(ScpiContext& c, Read read, Slot slot)
{
    int trace = 0;
    T value{};
    if (TraceOf(c, trace) && read(c.cmd, value))
    {
        (c.window.*slot)(trace, value);
    }
}

bool ReadBool(Scpi& cmd, bool& v)
{
    return cmd.GetNextParameterBool(v);
}

bool ReadDouble(Scpi& cmd, double& v)
{
    return cmd.GetNextParameterDouble(v);
}

bool ReadTime(Scpi& cmd, double& v)
{
    return cmd.GetNextParameterTime(v);
}

// An enumeration through its scpiParameterTo... reader.
template <bool (*Word)(Scpi*, int&)>
bool ReadWord(Scpi& cmd, int& v)
{
    return Word(&cmd, v);
}

// A query: the value read from the trace and its channel under the trace lock.
template <typename Get>
void Reply(ScpiContext& c, Get get)
{
    int trace = 0;
    if (!TraceOf(c, trace))
    {
        return;
    }
    QMutexLocker lock(&c.model.traceLock);
    const VNATrace& t = *c.model.traces[trace];
    const auto value = get(t, *c.model.channels[t.channel]);
    lock.unlock();
    c.cmd.SubmitReply(value);
}

void SetLowpassFrequencies(ScpiContext& c)
{
    int trace = 0;
    if (TraceOf(c, trace))
    {
        c.window.transformSetLPFreqs(trace);
    }
}
}  // namespace

const ScpiFamily& scpiTimeDomainFamily()
{
    using S = ScpiContext;
    using T = const VNATrace&;
    using C = const VNAChannel&;
    using MW = MainWindow;
    using Int = void (MW::*)(int, int);
    using Bool = void (MW::*)(int, bool);
    using Dbl = void (MW::*)(int, double);
    static const ScpiFamily family{
        "time domain and gating",
        "time domain and gating",
        {{186, 225}},
        {{186, [](S& c) { Set<bool>(c, ReadBool, Bool(&MW::transformEnabled)); }},
         {187, [](S& c) { Reply(c, [](T t, C) { return t.transformEnabled; }); }},
         {188, [](S& c)
          { Set<int>(c, ReadWord<scpiParameterToTransformType>, Int(&MW::transformTypeChanged)); }},
         {189,
          [](S& c) { Reply(c, [](T t, C) { return transformTypeToText(t.transform.type); }); }},
         {190,
          [](S& c) {
              Set<int>(c, ReadWord<scpiParameterToTransformWindow>,
                       Int(&MW::transformWindowChanged));
          }},
         {191,
          [](S& c) { Reply(c, [](T t, C) { return transformWindowToText(t.transform.window); }); }},
         {192, [](S& c) { Set<double>(c, ReadDouble, Dbl(&MW::transformWindowBetaChanged)); }},
         {193, [](S& c) { Reply(c, [](T t, C) { return t.transform.beta; }); }},
         {194, SetLowpassFrequencies},
         {195, [](S& c) { Reply(c, [](T, C ch) { return ch.stimulus.IsTDLowpassCompatible(); }); }},
         {196,
          [](S& c)
          {
              Set<int>(c, ReadWord<scpiParameterToTransformMarkerMode>,
                       Int(&MW::transformMarkerModeChanged));
          }},
         // Mode and units reply their numbers, not their words.
         {197, [](S& c) { Reply(c, [](T t, C) { return int(t.transform.markerMode); }); }},
         {198,
          [](S& c) {
              Set<int>(c, ReadWord<scpiParameterToTransformUnits>, Int(&MW::transformUnitsChanged));
          }},
         {199, [](S& c) { Reply(c, [](T t, C) { return int(t.transform.units); }); }},
         {200, [](S& c) { Set<double>(c, ReadDouble, Dbl(&MW::transformVFChanged)); }},
         {201, [](S& c) { Reply(c, [](T t, C) { return t.transform.velocityFactor; }); }},
         {202, [](S& c) { Set<bool>(c, ReadBool, Bool(&MW::transformAutoScaleChanged)); }},
         {203, [](S& c) { Reply(c, [](T t, C) { return t.transform.autoScale; }); }},
         {204, [](S& c) { Set<double>(c, ReadTime, Dbl(&MW::transformStartChanged)); }},
         {205, [](S& c) { Reply(c, [](T t, C) { return t.transform.start; }); }},
         {206, [](S& c) { Set<double>(c, ReadTime, Dbl(&MW::transformStopChanged)); }},
         {207, [](S& c) { Reply(c, [](T t, C) { return t.transform.stop; }); }},
         {208, [](S& c) { Set<double>(c, ReadTime, Dbl(&MW::transformCenterChanged)); }},
         {209, [](S& c)
          { Reply(c, [](T t, C) { return (t.transform.start + t.transform.stop) * 0.5; }); }},
         {210, [](S& c) { Set<double>(c, ReadTime, Dbl(&MW::transformSpanChanged)); }},
         {211, [](S& c) { Reply(c, [](T t, C) { return t.transform.stop - t.transform.start; }); }},
         {212, [](S& c) { Set<bool>(c, ReadBool, Bool(&MW::gatingEnabled)); }},
         {213, [](S& c) { Reply(c, [](T t, C) { return t.gateEnabled; }); }},
         {214, [](S& c) { Set<double>(c, ReadTime, Dbl(&MW::gatingStartChanged)); }},
         {215, [](S& c) { Reply(c, [](T t, C) { return t.gateStart; }); }},
         {216, [](S& c) { Set<double>(c, ReadTime, Dbl(&MW::gatingStopChanged)); }},
         {217, [](S& c) { Reply(c, [](T t, C) { return t.gateStop; }); }},
         {218, [](S& c) { Set<double>(c, ReadTime, Dbl(&MW::gatingCenterChanged)); }},
         {219, [](S& c) { Reply(c, [](T t, C) { return (t.gateStart + t.gateStop) * 0.5; }); }},
         {220, [](S& c) { Set<double>(c, ReadTime, Dbl(&MW::gatingSpanChanged)); }},
         {221, [](S& c) { Reply(c, [](T t, C) { return t.gateStop - t.gateStart; }); }},
         {222, [](S& c)
          { Set<int>(c, ReadWord<scpiParameterToGateType>, Int(&MW::gatingTypeChanged)); }},
         {223, [](S& c) { Reply(c, [](T t, C) { return gateTypeToText(t.gateType); }); }},
         {224, [](S& c)
          { Set<int>(c, ReadWord<scpiParameterToGateShape>, Int(&MW::gatingShapeChanged)); }},
         {225, [](S& c) { Reply(c, [](T t, C) { return gateShapeToText(t.gateShape); }); }}}};
    return family;
}
