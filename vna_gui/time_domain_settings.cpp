// Settings of the time transform and the gate: the rules on a trace, and the model operations
// that the panels and remote commands call, with gate coupling across a channel.
#include <QMutexLocker>

#include "time_domain.h"
#include "vna_model.h"

// --- trace -----------------------------------------------------------------------------------

bool VNATrace::SetTransformType(VNATransformType type, const VNAStimulus& stimulus)
{
    const bool allowed = IsTransformTypeAllowed(type, stimulus);
    transform.type = allowed ? type : TransformBandpass;
    return allowed;
}

void VNATrace::SetTransformCenter(double t)
{
    const double span = transform.stop - transform.start;
    transform.start = t - span / 2.0;
    transform.stop = t + span / 2.0;
}

void VNATrace::SetTransformSpan(double t)
{
    const double centre = (transform.start + transform.stop) * 0.5;
    transform.start = centre - t / 2.0;
    transform.stop = centre + t / 2.0;
}

void VNATrace::SetGateCenter(double t)
{
    const double span = gateStop - gateStart;
    gateStart = t - span / 2.0;
    gateStop = t + span / 2.0;
}

void VNATrace::SetGateSpan(double t)
{
    const double centre = (gateStart + gateStop) * 0.5;
    gateStart = centre - t / 2.0;
    gateStop = centre + t / 2.0;
}

void VNATrace::CopyGateSettings(const VNATrace& from)
{
    gateEnabled = from.gateEnabled;
    gateType = from.gateType;
    gateShape = from.gateShape;
    gateStart = from.gateStart;
    gateStop = from.gateStop;
}

// --- model -----------------------------------------------------------------------------------

namespace
{
// Applies edit to trace under the trace lock if the trace is in the model's list.
template <typename Edit>
bool EditTraceSettings(VNAModel& model, VNATrace* trace, Edit edit)
{
    QMutexLocker lock(&model.traceLock);
    if (!trace || !model.traces.contains(trace))
    {
        return false;
    }
    edit(*trace);
    return true;
}

// The same for the gate, which then flows to the coupled traces of the channel.
template <typename Edit>
void EditGate(VNAModel& model, VNATrace* trace, Edit edit)
{
    EditTraceSettings(model, trace,
              [&](VNATrace& t)
              {
                  edit(t);
                  model.TimeGateCouplingApplyToChannel(&t);
              });
}
}  // namespace

void VNAModel::transformEnabled(VNATrace* trace, bool enabled)
{
    EditTraceSettings(*this, trace, [&](VNATrace& t) { t.transformEnabled = enabled; });
}

bool VNAModel::transformTypeChanged(VNATrace* trace, VNATransformType type)
{
    bool allowed = true;
    EditTraceSettings(*this, trace,
              [&](VNATrace& t)
              {
                  allowed = IsValidChannelIndex(t.channel)
                                ? t.SetTransformType(type, channels[t.channel]->stimulus)
                                : true;
              });
    return allowed;
}

void VNAModel::transformWindowChanged(VNATrace* trace, VNATransformWindow window)
{
    EditTraceSettings(*this, trace, [&](VNATrace& t) { t.transform.window = window; });
}

void VNAModel::transformWindowBetaChanged(VNATrace* trace, double beta)
{
    EditTraceSettings(*this, trace, [&](VNATrace& t) { t.transform.beta = beta; });
}

void VNAModel::transformMarkerModeChanged(VNATrace* trace, VNATransformMarkerMode mode)
{
    EditTraceSettings(*this, trace, [&](VNATrace& t) { t.transform.markerMode = mode; });
}

void VNAModel::transformUnitsChanged(VNATrace* trace, VNATransformUnits units)
{
    EditTraceSettings(*this, trace, [&](VNATrace& t) { t.transform.units = units; });
}

void VNAModel::transformVFChanged(VNATrace* trace, double velocityFactor)
{
    EditTraceSettings(*this, trace, [&](VNATrace& t) { t.transform.velocityFactor = velocityFactor; });
}

void VNAModel::transformAutoScaleChanged(VNATrace* trace, bool enabled)
{
    EditTraceSettings(*this, trace, [&](VNATrace& t) { t.transform.autoScale = enabled; });
}

void VNAModel::transformStartChanged(VNATrace* trace, double t)
{
    EditTraceSettings(*this, trace, [&](VNATrace& tr) { tr.transform.start = t; });
}

void VNAModel::transformStopChanged(VNATrace* trace, double t)
{
    EditTraceSettings(*this, trace, [&](VNATrace& tr) { tr.transform.stop = t; });
}

void VNAModel::transformCenterChanged(VNATrace* trace, double t)
{
    EditTraceSettings(*this, trace, [&](VNATrace& tr) { tr.SetTransformCenter(t); });
}

void VNAModel::transformSpanChanged(VNATrace* trace, double t)
{
    EditTraceSettings(*this, trace, [&](VNATrace& tr) { tr.SetTransformSpan(t); });
}

bool VNAModel::transformSetLPFreqs(const VNATrace* trace)
{
    int channel = -1;
    {
        QMutexLocker lock(&traceLock);
        if (!trace || !traces.contains(const_cast<VNATrace*>(trace)))
        {
            return false;
        }
        channel = trace->channel;
    }
    if (!IsValidChannelIndex(channel))
    {
        return false;
    }
    VNAStimulus next;
    // The stimulus is written only by this thread, between MeasStop and MeasStart.
    if (!LowpassCompatibleStimulus(channels[channel]->stimulus, next))
    {
        return false;
    }
    MeasStop();
    channels[channel]->stimulus = next;
    MeasStart();
    return true;
}

void VNAModel::gatingEnabled(VNATrace* trace, bool enabled)
{
    EditGate(*this, trace, [&](VNATrace& t) { t.gateEnabled = enabled; });
}

void VNAModel::gatingStartChanged(VNATrace* trace, double t)
{
    EditGate(*this, trace, [&](VNATrace& tr) { tr.gateStart = t; });
}

void VNAModel::gatingStopChanged(VNATrace* trace, double t)
{
    EditGate(*this, trace, [&](VNATrace& tr) { tr.gateStop = t; });
}

void VNAModel::gatingCenterChanged(VNATrace* trace, double t)
{
    EditGate(*this, trace, [&](VNATrace& tr) { tr.SetGateCenter(t); });
}

void VNAModel::gatingSpanChanged(VNATrace* trace, double t)
{
    EditGate(*this, trace, [&](VNATrace& tr) { tr.SetGateSpan(t); });
}

void VNAModel::gatingTypeChanged(VNATrace* trace, VNAGateType type)
{
    EditGate(*this, trace, [&](VNATrace& t) { t.gateType = type; });
}

void VNAModel::gatingShapeChanged(VNATrace* trace, VNAGateShape shape)
{
    EditGate(*this, trace, [&](VNATrace& t) { t.gateShape = shape; });
}

void VNAModel::gatingCoupledSettingsEnabled(VNATrace* trace, bool enabled)
{
    EditTraceSettings(*this, trace,
              [&](VNATrace& t)
              {
                  if (IsValidChannelIndex(t.channel))
                  {
                      channels[t.channel]->timeGateCouplingEnabled = enabled;
                      TimeGateCouplingApplyToChannel(&t);
                  }
              });
}

void VNAModel::TimeGateCouplingApplyToTrace(VNATrace* trace)
{
    if (!trace || !IsValidChannelIndex(trace->channel) ||
        !channels[trace->channel]->timeGateCouplingEnabled)
    {
        return;
    }
    for (const VNATrace* t : traces)
    {
        if (t && t != trace && t->channel == trace->channel)
        {
            trace->CopyGateSettings(*t);
            return;
        }
    }
}

void VNAModel::TimeGateCouplingApplyToChannel(const VNATrace* trace)
{
    if (!trace || !IsValidChannelIndex(trace->channel) ||
        !channels[trace->channel]->timeGateCouplingEnabled)
    {
        return;
    }
    for (VNATrace* t : traces)
    {
        if (t && t != trace && t->channel == trace->channel)
        {
            t->CopyGateSettings(*trace);
        }
    }
}
