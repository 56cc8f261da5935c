// Remote bodies: the measurements (traces) of a channel, their data, scale, math, offsets,
// smoothing and statistics, and the Touchstone export of a channel.
#include <QCoreApplication>
#include <QMutexLocker>

#include "error_log.h"
#include "mainwindow.h"
#include "mainwindow_scpi.h"
#include "scpi_parameters.h"
#include "touchstone.h"

namespace
{
QString Tr(const char* text)
{
    return QCoreApplication::translate("Scpi", text);
}

using TraceBoolSlot = void (MainWindow::*)(int, bool);
using TraceDoubleSlot = void (MainWindow::*)(int, double);
using TraceIntSlot = void (MainWindow::*)(int, int);
using TraceSlot = void (MainWindow::*)(int);

void SetTraceBool(ScpiContext& c, TraceBoolSlot slot)
{
    int ch = 0, t = 0;
    bool value = false;
    if (c.ChannelTrace(ch, t) && c.cmd.GetNextParameterBool(value))
    {
        (c.window.*slot)(t, value);
    }
}

void SetTraceDouble(ScpiContext& c, TraceDoubleSlot slot)
{
    int ch = 0, t = 0;
    double value = 0.0;
    if (c.ChannelTrace(ch, t) && c.cmd.GetNextParameterDouble(value))
    {
        (c.window.*slot)(t, value);
    }
}

void SetTraceFreq(ScpiContext& c, void (MainWindow::*slot)(int, Frequency))
{
    int ch = 0, t = 0;
    double value = 0.0;
    if (c.ChannelTrace(ch, t) && c.cmd.GetNextParameterFreq(value))
    {
        (c.window.*slot)(t, Frequency(value));
    }
}

template <typename T>
void SetTraceWord(ScpiContext& c, bool (*read)(Scpi*, T&), TraceIntSlot slot)
{
    int ch = 0, t = 0;
    T value{};
    if (c.ChannelTrace(ch, t) && read(&c.cmd, value))
    {
        (c.window.*slot)(t, int(value));
    }
}

void TraceAction(ScpiContext& c, TraceSlot slot)
{
    int ch = 0, t = 0;
    if (c.ChannelTrace(ch, t))
    {
        (c.window.*slot)(t);
    }
}

// Commands of the whole program that still name a channel and a measurement.
void CheckedAction(ScpiContext& c, void (MainWindow::*slot)())
{
    int ch = 0, t = 0;
    if (c.ChannelTrace(ch, t))
    {
        (c.window.*slot)();
    }
}

// Replies a value read from the trace under the trace lock. Vectors are shared, not copied,
// so a data reply is formatted after the lock is released and the loop is not held up.
template <typename Get, typename Submit>
void ReplyFromTrace(ScpiContext& c, Get get, Submit submit)
{
    int ch = 0, t = 0;
    if (!c.ChannelTrace(ch, t))
    {
        return;
    }
    QMutexLocker lock(&c.model.traceLock);
    const auto value = get(*c.model.traces[t], *c.model.channels[ch]);
    lock.unlock();
    submit(value);
}

template <typename Get>
void ReplyTrace(ScpiContext& c, Get get)
{
    ReplyFromTrace(c, get, [&c](const auto& value) { c.cmd.SubmitReply(value); });
}

// Data queries: a block in a REAL format.
template <typename Get>
void ReplyTraceData(ScpiContext& c, Get get)
{
    ReplyFromTrace(c, get, [&c](const auto& value) { c.cmd.SubmitData(value); });
}

void ExportSnp(ScpiContext& c)
{
    int ch = 0;
    QString file;
    if (!c.Channel(ch) || !c.cmd.GetNextParameterFileName(file))
    {
        return;
    }
    int port = 1;
    if (IsS1PFile(file) && !c.cmd.GetNextParameterInt(port))
    {
        return;
    }
    QString error;
    if (!c.window.ExportSNPFile(ch, file, std::min(std::max(port, 1), 2) - 1, error))
    {
        SysErr::AddSystemError(UnableToSaveFile, error);
    }
}

void MeasCatalogQuery(ScpiContext& c)
{
    int ch = 0;
    if (!c.Channel(ch))
    {
        return;
    }
    QVector<int> places;
    {
        QMutexLocker lock(&c.model.traceLock);
        places = c.model.mapper.GetSCPITracesOnChannel(ch);
    }
    if (places.isEmpty())
    {
        c.cmd.SubmitReply(QStringLiteral("EMPTY"));
    }
    for (int p : places)
    {
        c.cmd.SubmitReply(p + 1);
    }
}

void ElectricalDelay(ScpiContext& c)
{
    int ch = 0, t = 0;
    double seconds = 0.0;
    if (c.ChannelTrace(ch, t) && c.cmd.GetNextParameterTime(seconds))
    {
        c.window.traceElecDelayChanged(t, seconds);
    }
}

void FormattedDataQuery(ScpiContext& c)
{
    int ch = 0, t = 0;
    if (!c.ChannelTrace(ch, t))
    {
        return;
    }
    QMutexLocker lock(&c.model.traceLock);
    const VNATrace& trace = *c.model.traces[t];
    const QVector<double> x = trace.x;
    const QVector<double> y = trace.y;
    const bool pairs = IsSmithFormat(trace.format);
    lock.unlock();
    // The Smith formats answer (x, y) pairs; the others the y values alone.
    pairs ? c.cmd.SubmitData(x, y) : c.cmd.SubmitData(y);
}

void RawDataQuery(ScpiContext& c)
{
    int ch = 0, t = 0;
    if (!c.ChannelTrace(ch, t))
    {
        return;
    }
    VNATraceMeas meas = S11;
    {
        QMutexLocker lock(&c.model.traceLock);
        meas = c.model.traces[t]->meas;
    }
    c.cmd.SubmitData(c.model.channels[ch]->RawSParam(meas));
}

void ReceiverDataQuery(ScpiContext& c)
{
    int ch = 0, t = 0;
    QString word;
    if (!c.ChannelTrace(ch, t) || !c.cmd.GetNextParameterString(word, true))
    {
        return;
    }
    CplxVector data;
    if (!c.model.channels[ch]->RawReceiver(word.trimmed(), data))
    {
        SysErr::AddSystemError(InvalidParameter, Tr("Expected receiver parameter"));
    }
    c.cmd.SubmitData(data);
}

void DefineMeas(ScpiContext& c)
{
    int ch = 0;
    if (!c.Channel(ch))
    {
        return;
    }
    int suffix = -1;
    c.cmd.GetNextCommandSuffix(suffix, -1);
    if (suffix == -1)
    {
        SysErr::AddSystemError(InvalidIndex, Tr("Missing measure suffix"));
        return;
    }
    if (suffix < 1 || suffix > TraceChannelMapper::kPlaces)
    {
        SysErr::AddSystemError(InvalidIndex, Tr(scpiStrInvalidMeasNumber));
        return;
    }
    if (!c.window.DefineMeasurement(ch, suffix - 1))
    {
        SysErr::AddSystemError(InvalidIndex, Tr("Measurement number already defined"));
    }
}

void DeleteAllMeas(ScpiContext& c)
{
    int ch = 0;
    if (c.Channel(ch))
    {
        c.window.traceDeleteAll();
    }
}

void PlotNumber(ScpiContext& c)
{
    int ch = 0, t = 0, plot = 0;
    if (c.ChannelTrace(ch, t) && c.cmd.GetNextParameterInt(plot))
    {
        c.window.tracePlotChanged(t, plot - 1);
    }
}

void StatisticQuery(ScpiContext& c)
{
    int ch = 0, t = 0;
    QString word;
    if (!c.ChannelTrace(ch, t) || !c.cmd.GetNextParameterString(word, true))
    {
        return;
    }
    QMutexLocker lock(&c.model.traceLock);
    const VNATraceStats st = c.model.traces[t]->stats;
    lock.unlock();
    const double* value = word == QLatin1String("min")     ? &st.min
                          : word == QLatin1String("max")   ? &st.max
                          : word == QLatin1String("mean")  ? &st.mean
                          : word == QLatin1String("stdev") ? &st.stdDev
                                                           : nullptr;
    if (!value)
    {
        SysErr::AddSystemError(InvalidParameter, Tr("Expected statistic parameter"));
        return;
    }
    c.cmd.SubmitReply(*value);
}
}  // namespace

const ScpiFamily& scpiMeasurementFamily()
{
    using S = ScpiContext;
    using T = const VNATrace&;
    using C = const VNAChannel&;
    using MW = MainWindow;
    static const ScpiFamily family{
        "measurements and data",
        "",
        {{28, 28}, {79, 136}},
        {{28, ExportSnp},
         {79, MeasCatalogQuery},
         {80, ElectricalDelay},
         {81, [](S& c) { ReplyTrace(c, [](T t, C) { return t.elecDelay; }); }},
         // Needs no trace data, but the measurement must exist.
         {82, [](S& c) { ReplyTraceData(c, [](T, C ch) { return ch.stimulus.GetFreqVector(); }); }},
         {83, FormattedDataQuery},
         {84,
          [](S& c) { ReplyTraceData(c, [](T t, C ch) { return ch.MeasCal.GetSParam(t.meas); }); }},
         {85, RawDataQuery},
         {86, ReceiverDataQuery},
         {87, DefineMeas},
         {88, [](S& c) { TraceAction(c, &MW::traceDelete); }},
         {89, DeleteAllMeas},
         {90, PlotNumber},
         {91, [](S& c) { ReplyTrace(c, [](T t, C) { return t.plot + 1; }); }},
         {92, [](S& c) { SetTraceWord(c, scpiParameterToMeas, &MW::traceMeasChanged); }},
         {93, [](S& c) { ReplyTrace(c, [](T t, C) { return measToText(t.meas); }); }},
         {94, [](S& c) { SetTraceWord(c, scpiParameterToTraceFormat, &MW::traceFormatChanged); }},
         {95, [](S& c) { ReplyTrace(c, [](T t, C) { return traceFormatToText(t.format); }); }},
         {96, [](S& c) { TraceAction(c, &MW::traceHoldRestart); }},
         {97, [](S& c) { SetTraceWord(c, scpiParameterToTraceHoldType, &MW::traceHoldChanged); }},
         {98, [](S& c) { ReplyTrace(c, [](T t, C) { return traceHoldTypeToText(t.hold); }); }},
         {99, [](S& c) { SetTraceDouble(c, &MW::traceRefChanged); }},
         {100, [](S& c) { ReplyTrace(c, [](T t, C) { return *t.ref(); }); }},
         {101, [](S& c) { SetTraceDouble(c, &MW::traceDivChanged); }},
         {102, [](S& c) { ReplyTrace(c, [](T t, C) { return *t.div(); }); }},
         {103, [](S& c) { SetTraceDouble(c, &MW::traceRefPosChanged); }},
         {104, [](S& c) { ReplyTrace(c, [](T t, C) { return *t.refPos(); }); }},
         {105, [](S& c) { TraceAction(c, &MW::traceAutoScale); }},
         {106, [](S& c) { CheckedAction(c, &MW::traceAutoScaleAll); }},
         {107, [](S& c) { TraceAction(c, &MW::traceDefaultScale); }},
         {108, [](S& c) { CheckedAction(c, &MW::traceDefaultScaleAll); }},
         {109,
          [](S& c)
          {
              int ch = 0, t = 0, coupling = 0;
              if (c.ChannelTrace(ch, t) && scpiParameterToTraceScaleCoupling(&c.cmd, coupling))
              {
                  c.window.traceScaleCouplingChanged(coupling);
              }
          }},
         {110,
          [](S& c)
          {
              const int coupling = c.model.scaleCoupling;
              ReplyTrace(c, [coupling](T, C)
                         { return traceScaleCouplingToText(VNATraceScaleCoupling(coupling)); });
          }},
         {111, [](S& c) { TraceAction(c, &MW::traceStoreMem); }},
         {112, [](S& c) { SetTraceWord(c, scpiParameterToTraceMathOp, &MW::traceMathOpChanged); }},
         {113, [](S& c) { ReplyTrace(c, [](T t, C) { return traceMathOpToText(t.mathOp); }); }},
         {114, [](S& c) { SetTraceBool(c, &MW::traceMathInterpolateChanged); }},
         {115, [](S& c) { ReplyTrace(c, [](T t, C) { return t.mathInterpolate; }); }},
         {116, [](S& c) { SetTraceBool(c, &MW::traceShowMemTraceChanged); }},
         {117, [](S& c) { ReplyTrace(c, [](T t, C) { return t.showMemTrace; }); }},
         {118, [](S& c) { SetTraceDouble(c, &MW::traceMagOffsetChanged); }},
         {119, [](S& c) { ReplyTrace(c, [](T t, C) { return t.offsetMag; }); }},
         {120, [](S& c) { SetTraceDouble(c, &MW::traceMagSlopeChanged); }},
         {121, [](S& c) { ReplyTrace(c, [](T t, C) { return t.offsetMagSlope; }); }},
         {122, [](S& c) { SetTraceDouble(c, &MW::tracePhaseOffsetChanged); }},
         {123, [](S& c) { ReplyTrace(c, [](T t, C) { return t.offsetPhase; }); }},
         {124, [](S& c) { SetTraceBool(c, &MW::traceSmoothEnabledChanged); }},
         {125, [](S& c) { ReplyTrace(c, [](T t, C) { return t.smoothEnabled; }); }},
         {126, [](S& c) { SetTraceDouble(c, &MW::traceSmoothAperatureChanged); }},
         {127, [](S& c) { ReplyTrace(c, [](T t, C) { return t.smoothPercent; }); }},
         {128, [](S& c) { SetTraceBool(c, &MW::traceStatsEnabledChanged); }},
         {129, [](S& c) { ReplyTrace(c, [](T t, C) { return t.statsEnabled; }); }},
         {130, [](S& c) { SetTraceBool(c, &MW::traceStatsAutoRangeChanged); }},
         // Never reached: its pattern equals row 130's, which matches first.
         {131, [](S& c) { ReplyTrace(c, [](T t, C) { return t.statsAutoRange; }); }},
         {132, [](S& c) { SetTraceFreq(c, &MW::traceStatsStartChanged); }},
         {133, [](S& c) { ReplyTrace(c, [](T t, C) { return t.statsStart; }); }},
         {134, [](S& c) { SetTraceFreq(c, &MW::traceStatsStopChanged); }},
         {135, [](S& c) { ReplyTrace(c, [](T t, C) { return t.statsStop; }); }},
         {136, StatisticQuery}}};
    return family;
}
