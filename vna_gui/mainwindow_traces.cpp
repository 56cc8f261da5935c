// MainWindow: trace settings. Each slot takes the value, changes the active trace under the
// trace lock, and recalculates its channel.
#include <QFileDialog>
#include <QMutexLocker>

#include "application_settings.h"
#include "control_panels.h"
#include "file_dialogs.h"
#include "kx_widgets.h"
#include "mainwindow.h"

void MainWindow::EditTrace(int index, const std::function<void(VNATrace&)>& edit)
{
    int channel = -1;
    {
        QMutexLocker lock(&model.traceLock);
        VNATrace* t = model.traces.value(index, nullptr);
        if (!t)
        {
            return;
        }
        edit(*t);
        channel = t->channel;
    }
    UpdateAll(channel);
}

void MainWindow::EditActiveTrace(const std::function<void(VNATrace&)>& edit)
{
    EditTrace(model.selectedTraceIndex, edit);
}

void MainWindow::EditScale(int index, const std::function<void(VNATrace&)>& edit)
{
    {
        QMutexLocker lock(&model.traceLock);
        VNATrace* t = model.traces.value(index, nullptr);
        if (!t)
        {
            return;
        }
        edit(*t);
    }
    model.traceScaleCouplingHelper(index);
    UpdateControlPanels();
    updatePlots();
}

void MainWindow::addTrace()
{
    int activePlot = 0;
    {
        QMutexLocker lock(&model.traceLock);
        if (const VNATrace* t = model.ActiveTrace())
        {
            activePlot = t->plot;
        }
    }
    QVector<int> plotNumbers;
    for (int p = 0; p < plots.size(); ++p)
    {
        if (plots[p])
        {
            plotNumbers.append(p);
        }
    }
    NewTraceDialog dialog(activePlot, plotNumbers, model.channels.size(), model.activeChannelIndex,
                          this);
    if (dialog.exec() != QDialog::Accepted || dialog.MeasList().isEmpty())
    {
        return;
    }
    int plot = dialog.Plot();
    if (plot < 0 || !plots.value(plot))
    {
        plot = addPlot();
        if (plot < 0)
        {
            return;
        }
    }
    const int channel = dialog.Channel();
    const bool wasEnabled = model.channels[channel]->enabled;
    if (!wasEnabled)
    {
        MeasStop();
        model.channels[channel]->enabled = true;
    }
    for (int m : dialog.MeasList())
    {
        // The loop may be running: the selection changes under the trace lock.
        model.SetSelectedTrace(
            CreateTrace(channel, plot, VNATraceMeas(m), VNATraceFormat(dialog.Format())));
    }
    if (!wasEnabled)
    {
        MeasStart();
    }
    UpdateAll(channel);
}

void MainWindow::traceSelected(int index)
{
    {
        QMutexLocker lock(&model.traceLock);
        if (!model.IsValidTraceIndex(index) || !model.traces[index])
        {
            return;
        }
        model.selectedTraceIndex = index;
        model.activeChannelIndex = model.traces[index]->channel;
    }
    UpdateControlPanels();
    updatePlots();
}

void MainWindow::traceDelete(int index)
{
    {
        QMutexLocker lock(&model.traceLock);
        if (!model.IsValidTraceIndex(index) || !model.traces[index])
        {
            return;
        }
        delete model.traces[index];
        model.traces[index] = nullptr;
        model.mapper.Remove(index);
        model.selectedTraceIndex = model.GetFirstTraceIndex();
    }
    UpdateControlPanels();
    updatePlots();
}

void MainWindow::traceChannelChanged(int channel)
{
    if (!model.IsValidChannelIndex(channel))
    {
        return;
    }
    MeasStop();
    int old = -1;
    {
        QMutexLocker lock(&model.traceLock);
        VNATrace* t = model.ActiveTrace();
        if (t && t->channel != channel)
        {
            old = t->channel;
            model.mapper.Remove(model.selectedTraceIndex);
            t->SetChannel(channel);
            model.mapper.SetPos(channel, model.mapper.GetNextAvailablePos(channel),
                                model.selectedTraceIndex);
            model.TimeGateCouplingApplyToTrace(t);
        }
    }
    model.channels[channel]->enabled = true;
    model.activeChannelIndex = channel;
    MeasStart();
    if (old >= 0)
    {
        UpdateAll(old);
    }
    UpdateAll(channel);
}

void MainWindow::tracePlotChanged(int trace, int plot)
{
    if (!plots.value(plot))
    {
        return;
    }
    EditTrace(trace, [&](VNATrace& t) { t.SetPlot(plot); });
}

void MainWindow::tracePlotChanged(int plot)
{
    tracePlotChanged(model.selectedTraceIndex, plot);
}

void MainWindow::traceMeasChanged(int trace, int meas)
{
    if (meas < S11 || meas > S22)
    {
        return;
    }
    // A trace of the other direction may need the other sweep direction.
    MeasStop();
    EditTrace(trace, [&](VNATrace& t) { t.SetMeas(VNATraceMeas(meas)); });
    MeasStart();
}

void MainWindow::traceMeasChanged(int meas)
{
    traceMeasChanged(model.selectedTraceIndex, meas);
}

void MainWindow::traceFormatChanged(int trace, int format)
{
    if (format < 0 || format >= kTraceFormatCount)
    {
        return;
    }
    EditTrace(trace, [&](VNATrace& t) { t.SetFormat(VNATraceFormat(format)); });
}

void MainWindow::traceFormatChanged(int format)
{
    traceFormatChanged(model.selectedTraceIndex, format);
}

void MainWindow::traceHoldChanged(int trace, int hold)
{
    if (hold < HoldOff || hold > HoldMax)
    {
        return;
    }
    EditTrace(trace, [&](VNATrace& t) { t.SetHold(VNATraceHold(hold)); });
}

void MainWindow::traceHoldChanged(int hold)
{
    traceHoldChanged(model.selectedTraceIndex, hold);
}

void MainWindow::traceHoldRestart(int trace)
{
    EditTrace(trace, [](VNATrace& t) { t.HoldRestart(); });
}

void MainWindow::traceHoldRestart()
{
    traceHoldRestart(model.selectedTraceIndex);
}

void MainWindow::traceRefChanged(int trace, double value)
{
    EditScale(trace, [&](VNATrace& t) { *t.ref() = value; });
}

void MainWindow::traceRefChanged(double value)
{
    traceRefChanged(model.selectedTraceIndex, value);
}

void MainWindow::traceDivChanged(int trace, double value)
{
    EditScale(trace, [&](VNATrace& t) { t.SetDiv(value); });
}

void MainWindow::traceDivChanged(double value)
{
    traceDivChanged(model.selectedTraceIndex, value);
}

void MainWindow::traceRefPosChanged(int trace, double value)
{
    EditScale(trace, [&](VNATrace& t) { *t.refPos() = std::min(std::max(value, 0.0), 10.0); });
}

void MainWindow::traceRefPosChanged(double value)
{
    traceRefPosChanged(model.selectedTraceIndex, value);
}

void MainWindow::traceAutoScale(int trace)
{
    EditScale(trace, [](VNATrace& t) { t.AutoScale(); });
}

void MainWindow::traceAutoScale()
{
    traceAutoScale(model.selectedTraceIndex);
}

void MainWindow::traceAutoScaleAll()
{
    model.traceAutoScaleAll();
    model.traceScaleCouplingHelper();
    UpdateControlPanels();
    updatePlots();
}

void MainWindow::traceDefaultScale(int trace)
{
    EditScale(trace, [](VNATrace& t) { t.LoadDefaultScale(); });
}

void MainWindow::traceDefaultScale()
{
    traceDefaultScale(model.selectedTraceIndex);
}

void MainWindow::traceDefaultScaleAll()
{
    model.traceDefaultScaleAll();
    model.traceScaleCouplingHelper();
    UpdateControlPanels();
    updatePlots();
}

void MainWindow::traceScaleCouplingChanged(int coupling)
{
    if (coupling < ScaleCouplingOff || coupling > ScaleCouplingAll)
    {
        return;
    }
    model.scaleCoupling = coupling;
    model.traceScaleCouplingHelper();
    UpdateControlPanels();
    updatePlots();
}

void MainWindow::traceUseNameChanged(bool use)
{
    EditActiveTrace([&](VNATrace& t) { t.useName = use; });
}

void MainWindow::traceNameChanged(const QString& name)
{
    EditActiveTrace([&](VNATrace& t) { t.name = name; });
}

void MainWindow::traceExport()
{
    const QString path = GetFileNameSave(this, QStringLiteral("DefaultSNPSaveDirectory"),
                                         tr("CSV File (*.csv)"), tr("Export Trace"));
    if (path.isEmpty())
    {
        return;
    }
    QMutexLocker lock(&model.traceLock);
    if (const VNATrace* t = model.ActiveTrace())
    {
        t->Export(path);
    }
}

void MainWindow::traceStoreMem(int trace)
{
    VNATrace* t = nullptr;
    {
        QMutexLocker lock(&model.traceLock);
        t = model.traces.value(trace, nullptr);
    }
    if (t)
    {
        model.traceStoreMem(t);
        UpdateControlPanels();
        updatePlots();
    }
}

void MainWindow::traceStoreMem()
{
    traceStoreMem(model.selectedTraceIndex);
}

void MainWindow::traceMathOpChanged(int trace, int op)
{
    if (op < MathOff || op > MathData)
    {
        return;
    }
    EditTrace(trace, [&](VNATrace& t) { t.mathOp = VNATraceMathOp(op); });
}

void MainWindow::traceMathOpChanged(int op)
{
    traceMathOpChanged(model.selectedTraceIndex, op);
}

void MainWindow::traceMathInterpolateChanged(int trace, bool enabled)
{
    EditTrace(trace, [&](VNATrace& t) { t.mathInterpolate = enabled; });
}

void MainWindow::traceMathInterpolateChanged(bool enabled)
{
    traceMathInterpolateChanged(model.selectedTraceIndex, enabled);
}

void MainWindow::traceShowMemTraceChanged(int trace, bool show)
{
    EditTrace(trace, [&](VNATrace& t) { t.showMemTrace = show; });
}

void MainWindow::traceShowMemTraceChanged(bool show)
{
    traceShowMemTraceChanged(model.selectedTraceIndex, show);
}

void MainWindow::traceSmoothEnabledChanged(int trace, bool enabled)
{
    EditTrace(trace, [&](VNATrace& t) { t.SetSmoothing(enabled); });
}

void MainWindow::traceSmoothEnabledChanged(bool enabled)
{
    traceSmoothEnabledChanged(model.selectedTraceIndex, enabled);
}

void MainWindow::traceSmoothAperatureChanged(int trace, double percent)
{
    EditTrace(trace, [&](VNATrace& t) { t.smoothPercent = percent; });
}

void MainWindow::traceSmoothAperatureChanged(double percent)
{
    traceSmoothAperatureChanged(model.selectedTraceIndex, percent);
}

void MainWindow::traceStatsEnabledChanged(int trace, bool enabled)
{
    EditTrace(trace, [&](VNATrace& t) { t.statsEnabled = enabled; });
}

void MainWindow::traceStatsEnabledChanged(bool enabled)
{
    traceStatsEnabledChanged(model.selectedTraceIndex, enabled);
}

void MainWindow::traceStatsAutoRangeChanged(int trace, bool enabled)
{
    EditTrace(trace, [&](VNATrace& t) { t.statsAutoRange = enabled; });
}

void MainWindow::traceStatsAutoRangeChanged(bool enabled)
{
    traceStatsAutoRangeChanged(model.selectedTraceIndex, enabled);
}

void MainWindow::traceStatsStartChanged(int trace, Frequency f)
{
    EditTrace(trace, [&](VNATrace& t) { t.statsStart = f.Get(); });
}

void MainWindow::traceStatsStartChanged(Frequency f)
{
    traceStatsStartChanged(model.selectedTraceIndex, f);
}

void MainWindow::traceStatsStopChanged(int trace, Frequency f)
{
    EditTrace(trace, [&](VNATrace& t) { t.statsStop = f.Get(); });
}

void MainWindow::traceStatsStopChanged(Frequency f)
{
    traceStatsStopChanged(model.selectedTraceIndex, f);
}

void MainWindow::traceElecDelayChanged(int trace, double seconds)
{
    EditTrace(trace, [&](VNATrace& t) { t.elecDelay = seconds; });
}

void MainWindow::traceElecDelayChanged(double seconds)
{
    traceElecDelayChanged(model.selectedTraceIndex, seconds);
}

void MainWindow::traceMagOffsetChanged(int trace, double db)
{
    EditTrace(trace, [&](VNATrace& t) { t.offsetMag = db; });
}

void MainWindow::traceMagOffsetChanged(double db)
{
    traceMagOffsetChanged(model.selectedTraceIndex, db);
}

void MainWindow::traceMagSlopeChanged(int trace, double dbPerGHz)
{
    EditTrace(trace, [&](VNATrace& t) { t.offsetMagSlope = dbPerGHz; });
}

void MainWindow::traceMagSlopeChanged(double dbPerGHz)
{
    traceMagSlopeChanged(model.selectedTraceIndex, dbPerGHz);
}

void MainWindow::tracePhaseOffsetChanged(int trace, double degrees)
{
    EditTrace(trace, [&](VNATrace& t) { t.offsetPhase = degrees; });
}

void MainWindow::tracePhaseOffsetChanged(double degrees)
{
    tracePhaseOffsetChanged(model.selectedTraceIndex, degrees);
}

void MainWindow::traceVelocityChanged(int channel, double factor)
{
    if (!model.IsValidChannelIndex(channel))
    {
        return;
    }
    MeasStop();
    model.channels[channel]->velocityFactor = factor;
    MeasStart();
    UpdateAll(channel);
}
