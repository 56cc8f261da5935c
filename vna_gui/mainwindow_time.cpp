// MainWindow: the time transform and the time gate of a trace. Each slot checks the value, hands
// it to the model's operation for the trace and recalculates the trace's channel; gate edits
// reach the channel's other traces when its gate coupling is on.
#include <QMutexLocker>
#include <algorithm>
#include <cmath>

#include "cable_list.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "time_domain.h"

namespace
{
// The trace at index with its channel, or null.
VNATrace* TraceAt(VNAModel& m, int index, int& channel)
{
    QMutexLocker lock(&m.traceLock);
    VNATrace* t = m.traces.value(index, nullptr);
    channel = t ? t->channel : -1;
    return t;
}

// Runs a model operation on the trace at index and recalculates its channel.
template <typename Op>
void OnTrace(MainWindow& w, int index, Op op)
{
    int channel = -1;
    if (VNATrace* t = TraceAt(w.Model(), index, channel))
    {
        op(w.Model(), t);
        w.UpdateAll(channel);
    }
}

VNATransformSettings SettingsOf(VNAModel& m, const VNATrace* t)
{
    QMutexLocker lock(&m.traceLock);
    return t->transform;
}

// An enumeration's value checked against its range, then stored by op.
template <typename E>
void OnEnum(MainWindow& w, int index, int value, E lowest, E highest,
            void (VNAModel::*op)(VNATrace*, E))
{
    if (value >= lowest && value <= highest)
    {
        OnTrace(w, index, [&](VNAModel& m, VNATrace* t) { (m.*op)(t, E(value)); });
    }
}

// A number, ignored unless finite, clamped to [lowest, highest], then stored by op.
void OnNumber(MainWindow& w, int index, double value, double lowest, double highest,
              void (VNAModel::*op)(VNATrace*, double))
{
    if (std::isfinite(value))
    {
        const double v = std::min(std::max(value, lowest), highest);
        OnTrace(w, index, [&](VNAModel& m, VNATrace* t) { (m.*op)(t, v); });
    }
}

// Gate times are taken as they come: a start after the stop is a defined gate (a band-pass that
// removes everything, a notch that removes nothing).
void OnGateTime(MainWindow& w, int index, double seconds, void (VNAModel::*op)(VNATrace*, double))
{
    OnNumber(w, index, seconds, -HUGE_VAL, HUGE_VAL, op);
}
}  // namespace

void MainWindow::transformEnabled(int trace, bool enabled)
{
    OnTrace(*this, trace, [&](VNAModel& m, VNATrace* t) { m.transformEnabled(t, enabled); });
}

void MainWindow::transformEnabled(bool enabled)
{
    transformEnabled(model.selectedTraceIndex, enabled);
}

void MainWindow::transformTypeChanged(int trace, int type)
{
    if (type < TransformBandpass || type > TransformLowpassImpulse)
    {
        return;
    }
    bool allowed = true;
    OnTrace(*this, trace,
            [&](VNAModel& m, VNATrace* t)
            { allowed = m.transformTypeChanged(t, VNATransformType(type)); });
    // After the update, so the panel behind the box already shows band-pass.
    if (!allowed)
    {
        ShowMessageBoxWarning(
            this, tr("Warning"),
            tr("The current stimulus settings are not lowpass compatible. Reverting"));
    }
}

void MainWindow::transformTypeChanged(int type)
{
    transformTypeChanged(model.selectedTraceIndex, type);
}

void MainWindow::transformWindowChanged(int trace, int window)
{
    OnEnum(*this, trace, window, WindowMinimum, WindowCustom, &VNAModel::transformWindowChanged);
}

void MainWindow::transformWindowChanged(int window)
{
    transformWindowChanged(model.selectedTraceIndex, window);
}

void MainWindow::transformWindowBetaChanged(int trace, double beta)
{
    OnNumber(*this, trace, beta, 0.0, kMaxWindowBeta, &VNAModel::transformWindowBetaChanged);
}

void MainWindow::transformWindowBetaChanged(double beta)
{
    transformWindowBetaChanged(model.selectedTraceIndex, beta);
}

void MainWindow::transformMarkerModeChanged(int trace, int mode)
{
    OnEnum(*this, trace, mode, MarkerModeAuto, MarkerModeTransmission,
           &VNAModel::transformMarkerModeChanged);
}

void MainWindow::transformMarkerModeChanged(int mode)
{
    transformMarkerModeChanged(model.selectedTraceIndex, mode);
}

void MainWindow::transformUnitsChanged(int trace, int units)
{
    OnEnum(*this, trace, units, UnitsTime, UnitsInches, &VNAModel::transformUnitsChanged);
}

void MainWindow::transformUnitsChanged(int units)
{
    transformUnitsChanged(model.selectedTraceIndex, units);
}

void MainWindow::transformVFChanged(int trace, double factor)
{
    OnNumber(*this, trace, factor, kMinVelocityFactor, kMaxVelocityFactor,
             &VNAModel::transformVFChanged);
}

void MainWindow::transformVFChanged(double factor)
{
    transformVFChanged(model.selectedTraceIndex, factor);
}

void MainWindow::transformAutoScaleChanged(int trace, bool enabled)
{
    OnTrace(*this, trace,
            [&](VNAModel& m, VNATrace* t) { m.transformAutoScaleChanged(t, enabled); });
}

void MainWindow::transformAutoScaleChanged(bool enabled)
{
    transformAutoScaleChanged(model.selectedTraceIndex, enabled);
}

void MainWindow::transformStartChanged(int trace, double seconds)
{
    if (!std::isfinite(seconds))
    {
        return;
    }
    OnTrace(*this, trace,
            [&](VNAModel& m, VNATrace* t)
            {
                const VNATransformSettings s = SettingsOf(m, t);
                m.transformAutoScaleChanged(t, false);
                // Past the stop, the stop moves along and the span is kept.
                if (seconds >= s.stop)
                {
                    m.transformStopChanged(t, seconds + std::max(s.stop - s.start, kMinTimeSpan));
                }
                m.transformStartChanged(t, seconds);
            });
}

void MainWindow::transformStartChanged(double seconds)
{
    transformStartChanged(model.selectedTraceIndex, seconds);
}

void MainWindow::transformStopChanged(int trace, double seconds)
{
    if (!std::isfinite(seconds))
    {
        return;
    }
    OnTrace(*this, trace,
            [&](VNAModel& m, VNATrace* t)
            {
                const VNATransformSettings s = SettingsOf(m, t);
                m.transformAutoScaleChanged(t, false);
                if (seconds <= s.start)
                {
                    m.transformStartChanged(t, seconds - std::max(s.stop - s.start, kMinTimeSpan));
                }
                m.transformStopChanged(t, seconds);
            });
}

void MainWindow::transformStopChanged(double seconds)
{
    transformStopChanged(model.selectedTraceIndex, seconds);
}

void MainWindow::transformCenterChanged(int trace, double seconds)
{
    if (std::isfinite(seconds))
    {
        OnTrace(*this, trace,
                [&](VNAModel& m, VNATrace* t)
                {
                    m.transformAutoScaleChanged(t, false);
                    m.transformCenterChanged(t, seconds);
                });
    }
}

void MainWindow::transformCenterChanged(double seconds)
{
    transformCenterChanged(model.selectedTraceIndex, seconds);
}

void MainWindow::transformSpanChanged(int trace, double seconds)
{
    if (std::isfinite(seconds))
    {
        OnTrace(*this, trace,
                [&](VNAModel& m, VNATrace* t)
                {
                    m.transformAutoScaleChanged(t, false);
                    m.transformSpanChanged(t, std::max(seconds, kMinTimeSpan));
                });
    }
}

void MainWindow::transformSpanChanged(double seconds)
{
    transformSpanChanged(model.selectedTraceIndex, seconds);
}

void MainWindow::transformSetLPFreqs(int trace)
{
    // The model stops and restarts the measurement itself; a stimulus that suits changes nothing.
    OnTrace(*this, trace, [](VNAModel& m, VNATrace* t) { m.transformSetLPFreqs(t); });
}

void MainWindow::transformSetLPFreqs()
{
    transformSetLPFreqs(model.selectedTraceIndex);
}

void MainWindow::transformAddCable(const QString& name, double factor)
{
    if (std::isfinite(factor) &&
        AddCable(Preferences::Get().userCables, name,
                 std::min(std::max(factor, kMinVelocityFactor), kMaxVelocityFactor)))
    {
        UpdateControlPanels();
    }
}

void MainWindow::gatingEnabled(int trace, bool enabled)
{
    OnTrace(*this, trace, [&](VNAModel& m, VNATrace* t) { m.gatingEnabled(t, enabled); });
}

void MainWindow::gatingEnabled(bool enabled)
{
    gatingEnabled(model.selectedTraceIndex, enabled);
}

void MainWindow::gatingStartChanged(int trace, double seconds)
{
    OnGateTime(*this, trace, seconds, &VNAModel::gatingStartChanged);
}

void MainWindow::gatingStartChanged(double seconds)
{
    gatingStartChanged(model.selectedTraceIndex, seconds);
}

void MainWindow::gatingStopChanged(int trace, double seconds)
{
    OnGateTime(*this, trace, seconds, &VNAModel::gatingStopChanged);
}

void MainWindow::gatingStopChanged(double seconds)
{
    gatingStopChanged(model.selectedTraceIndex, seconds);
}

void MainWindow::gatingCenterChanged(int trace, double seconds)
{
    OnGateTime(*this, trace, seconds, &VNAModel::gatingCenterChanged);
}

void MainWindow::gatingCenterChanged(double seconds)
{
    gatingCenterChanged(model.selectedTraceIndex, seconds);
}

void MainWindow::gatingSpanChanged(int trace, double seconds)
{
    OnGateTime(*this, trace, seconds, &VNAModel::gatingSpanChanged);
}

void MainWindow::gatingSpanChanged(double seconds)
{
    gatingSpanChanged(model.selectedTraceIndex, seconds);
}

void MainWindow::gatingTypeChanged(int trace, int type)
{
    OnEnum(*this, trace, type, GateBandpass, GateNotch, &VNAModel::gatingTypeChanged);
}

void MainWindow::gatingTypeChanged(int type)
{
    gatingTypeChanged(model.selectedTraceIndex, type);
}

void MainWindow::gatingShapeChanged(int trace, int shape)
{
    OnEnum(*this, trace, shape, GateShapeMinimum, GateShapeMaximum, &VNAModel::gatingShapeChanged);
}

void MainWindow::gatingShapeChanged(int shape)
{
    gatingShapeChanged(model.selectedTraceIndex, shape);
}

void MainWindow::gatingCoupledSettingsEnabled(int trace, bool enabled)
{
    OnTrace(*this, trace,
            [&](VNAModel& m, VNATrace* t) { m.gatingCoupledSettingsEnabled(t, enabled); });
}

void MainWindow::gatingCoupledSettingsEnabled(bool enabled)
{
    gatingCoupledSettingsEnabled(model.selectedTraceIndex, enabled);
}
