// MainWindow: channels, plots, presets, quick setups and Touchstone import.
#include <QAction>
#include <QDebug>
#include <QFileDialog>
#include <QMutexLocker>

#include "application_settings.h"
#include "control_panels.h"
#include "file_dialogs.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "multi_plot_splitter_area.h"
#include "status_bar.h"
#include "touchstone.h"
#include "vna_plot.h"

int MainWindow::GetNextPlotNumber() const
{
    for (int i = 0; i < plots.size(); ++i)
    {
        if (!plots[i])
        {
            return i;
        }
    }
    return -1;
}

int MainWindow::GetVisiblePlots() const
{
    int n = 0;
    for (const VNAPlot* p : plots)
    {
        n += p ? 1 : 0;
    }
    return n;
}

int MainWindow::addPlot()
{
    return addPlot(GetNextPlotNumber());
}

int MainWindow::addPlot(int number)
{
    if (number < 0 || number >= plots.size() || plots[number])
    {
        return -1;
    }
    auto* plot = new VNAPlot(model, number, plotArea);
    plot->SetPlotList(&plots);
    plot->SetVisiblePlotCounter([this] { return GetVisiblePlots(); });
    connect(plot, &VNAPlot::selectedTraceChanged, this, &MainWindow::traceSelected);
    connect(plot, &VNAPlot::plotNumberChanged, this, &MainWindow::updatePlots);
    connect(plot, &VNAPlot::traceRefChanged, this,
            [this](int trace, double ref)
            {
                traceSelected(trace);
                traceRefChanged(ref);
            });
    connect(plot, &VNAPlot::setTracePlot, this,
            QOverload<int, int>::of(&MainWindow::tracePlotChanged));
    connect(plot, &VNAPlot::setTraceMeas, this,
            [this](int trace, VNATraceMeas meas) { traceMeasChanged(trace, int(meas)); });
    connect(plot, &VNAPlot::setTraceFormat, this,
            [this](int trace, VNATraceFormat f) { traceFormatChanged(trace, int(f)); });
    connect(plot, qOverload<int>(&VNAPlot::autoScaleTrace), this,
            [this](int trace)
            {
                traceSelected(trace);
                traceAutoScale();
            });
    connect(plot, qOverload<VNATrace*>(&VNAPlot::autoScaleTrace), this,
            [this](VNATrace* t)
            {
                model.traceAutoScale(t);
                model.traceScaleCouplingHelper();
                UpdateControlPanels();
                updatePlots();
            });
    connect(plot, &VNAPlot::exportTrace, this,
            [this](int trace)
            {
                traceSelected(trace);
                traceExport();
            });
    connect(plot, &VNAPlot::deleteTrace, this, &MainWindow::traceDelete);
    ConnectPlotMarkers(plot);
    plots[number] = plot;
    plotArea->AddPlot(plot, number);
    return number;
}

void MainWindow::addPlotPressed()
{
    addPlot();
    UpdateControlPanels();
}

int MainWindow::CreateTrace(int channel, int plot, VNATraceMeas meas, VNATraceFormat format)
{
    int index = -1;
    {
        QMutexLocker lock(&model.traceLock);
        VNATrace* t = model.InternalCreateTrace(index);
        t->SetChannel(channel);
        t->SetPlot(plot);
        t->SetMeas(meas);
        t->SetFormat(format);
        model.mapper.SetPos(channel, model.mapper.GetNextAvailablePos(channel), index);
        model.TimeGateCouplingApplyToTrace(t);
    }
    return index;
}

void MainWindow::RemovePlot(int plot)
{
    if (plot < 0 || plot >= plots.size() || !plots[plot])
    {
        return;
    }
    {
        QMutexLocker lock(&model.traceLock);
        for (int i = 0; i < model.traces.size(); ++i)
        {
            VNATrace* t = model.traces[i];
            if (t && t->plot == plot)
            {
                model.mapper.Remove(i);
                delete t;
                model.traces[i] = nullptr;
            }
        }
        if (!model.ActiveTrace())
        {
            model.selectedTraceIndex = model.GetFirstTraceIndex();
        }
    }
    plots[plot] = nullptr;
    plotArea->RemovePlot(plot);  // deletes the plot widget with its frame
}

void MainWindow::plotClosing(int plot)
{
    qDebug() << "Plot" << plot << "closing";
    RemovePlot(plot);
    UpdateControlPanels();
    updatePlots();
}

void MainWindow::plotCloseRequested(int plot)
{
    int traces = 0;
    {
        QMutexLocker lock(&model.traceLock);
        for (const VNATrace* t : model.traces)
        {
            traces += t && t->plot == plot ? 1 : 0;
        }
    }
    if (traces > 0 &&
        !ShowMessageBoxQuestion(
            this, tr("Close Plot"),
            tr("Closing the plot deletes the %n trace(s) on it. Close the plot?", nullptr, traces)))
    {
        return;
    }
    plotClosing(plot);
}

void MainWindow::ResetToDefaultTrace()
{
    model.activeChannelIndex = 0;
    model.channels[0]->enabled = true;
    const int plot = addPlot();
    model.SetSelectedTrace(CreateTrace(0, plot, S11, LogMag));
}

void MainWindow::PresetInstrumentState(bool createDefault, bool restart)
{
    MeasStop();
    model.DeleteAllTraces();
    for (VNAPlot*& p : plots)
    {
        p = nullptr;
    }
    plotArea->Clear();
    for (VNAChannel* c : model.channels)
    {
        c->LoadDefaults();
    }
    if (createDefault)
    {
        ResetToDefaultTrace();
    }
    model.rfEnabled = Preferences::Get().onPresetPowerOn;
    model.markerSetCoupling(MarkerCouplingChannel);
    model.reference = VNAReferenceInternal;
    model.triggerScopeAllChannels = false;
    if (triggerPanel)
    {
        triggerPanel->SetTriggerScopeAllChannels(false);
    }
    model.scaleCoupling = 0;
    model.spurReject = false;
    UpdateControlPanels();
    if (restart)
    {
        MeasStart();
    }
}

void MainWindow::Preset(bool confirm)
{
    if (confirm &&
        !ShowMessageBoxQuestion(this, tr("Confirmation"),
                                tr("Are you sure you want to preset the instrument? The current "
                                   "measurement setup will be lost.")))
    {
        return;
    }
    PresetInstrumentState(true, true);
}

void MainWindow::presetButtonClicked()
{
    Preset(Preferences::Get().confirmPreset);
}

namespace
{
const char* const kQuickSetupQuestion =
    QT_TRANSLATE_NOOP("MainWindow", "The current measurement setup will be replaced. Continue?");
}

void MainWindow::QuickSetup(const QVector<VNATraceMeas>& measurements, bool ask)
{
    if (ask && !ShowMessageBoxQuestion(this, tr("Question"), tr(kQuickSetupQuestion)))
    {
        return;
    }
    PresetInstrumentState(false, false);
    model.channels[0]->enabled = true;
    model.activeChannelIndex = 0;
    const int plot = addPlot();
    int first = -1;
    for (VNATraceMeas m : measurements)
    {
        const int index = CreateTrace(0, plot, m, LogMag);
        first = first < 0 ? index : first;
    }
    model.SetSelectedTrace(first);
    UpdateAll();
    MeasStart();
}

void MainWindow::quickSetupS11()
{
    QuickSetup({S11}, true);
}

void MainWindow::quickSetupS21()
{
    QuickSetup({S21}, true);
}

void MainWindow::quickSetupFull2Port(bool skipQuestion)
{
    QuickSetup({S11, S21, S12, S22}, !skipQuestion);
}

bool MainWindow::AddChannelWithTrace(int plot)
{
    const int channel = model.GetNextAvailableChannelIndex();
    if (channel < 0)
    {
        ShowMessageBoxWarning(this, tr("Unable to add channel."),
                              tr("All channels are currently active."));
        return false;
    }
    if (plot < 0 || !plots.value(plot))
    {
        plot = addPlot();
        if (plot < 0)
        {
            return false;
        }
    }
    MeasStop();
    model.channels[channel]->enabled = true;
    model.SetSelectedTrace(CreateTrace(channel, plot, S11, LogMag));
    channelSelected(channel);
    UpdateControlPanels();
    MeasStart();
    return true;
}

void MainWindow::addChannelTracePressed()
{
    int plot = -1;
    {
        QMutexLocker lock(&model.traceLock);
        const VNATrace* t = model.ActiveTrace();
        plot = t ? t->plot : -1;
    }
    if (plot < 0 || GetVisiblePlots() == 0)
    {
        addChannelTraceWindowPressed();
        return;
    }
    AddChannelWithTrace(plot);
}

void MainWindow::addChannelTraceWindowPressed()
{
    AddChannelWithTrace(-1);
}

void MainWindow::channelCopy(int source)
{
    if (!model.IsValidChannelIndex(source))
    {
        return;
    }
    const int channel = model.GetNextAvailableChannelIndex();
    if (channel < 0)
    {
        ShowMessageBoxWarning(this, tr("Unable to add channel."),
                              tr("All channels are currently active."));
        return;
    }
    MeasStop();
    VNAChannel* copy = model.channels[channel];
    copy->Copy(*model.channels[source]);
    copy->enabled = true;
    {
        QMutexLocker lock(&model.traceLock);
        for (int t : model.mapper.GetTracesOnChannel(source))
        {
            const VNATrace* from = model.traces.value(t, nullptr);
            if (!from)
            {
                continue;
            }
            int index = -1;
            VNATrace* to = model.InternalCreateTrace(index);
            // Every setting but the channel and the index travels with the copy.
            *to = *from;
            to->SetChannel(channel);
            model.mapper.SetPos(channel, model.mapper.GetNextAvailablePos(channel), index);
        }
    }
    UpdateControlPanels();
    MeasStart();
}

void MainWindow::channelCopy()
{
    channelCopy(model.activeChannelIndex);
}

void MainWindow::deleteChannel(int channel)
{
    if (!model.IsValidChannelIndex(channel))
    {
        return;
    }
    if (!ShowMessageBoxQuestion(this, tr("Confirm"),
                                tr("Are you sure you want to delete ") +
                                    model.channels[channel]->Name() + QStringLiteral("?")))
    {
        return;
    }
    qDebug() << "Deleting channel";
    MeasStop();
    model.channels[channel]->LoadDefaults();
    int activeChannel = 0;
    {
        QMutexLocker lock(&model.traceLock);
        for (int i = 0; i < model.traces.size(); ++i)
        {
            if (model.traces[i] && model.traces[i]->channel == channel)
            {
                delete model.traces[i];
                model.traces[i] = nullptr;
            }
        }
        model.mapper.DeleteChannel(channel);
        if (!model.ActiveTrace())
        {
            model.selectedTraceIndex = model.GetFirstTraceIndex();
        }
        if (const VNATrace* t = model.ActiveTrace())
        {
            activeChannel = t->channel;
        }
    }
    channelSelected(activeChannel);
    UpdateControlPanels();
    MeasStart();
}

void MainWindow::deleteChannel(QAction* action)
{
    deleteChannel(action->data().toInt());
}

void MainWindow::channelSelected(int channel)
{
    if (!model.IsValidChannelIndex(channel))
    {
        return;
    }
    if (channel == model.activeChannelIndex)
    {
        qDebug() << "This channel is already active!";
    }
    model.activeChannelIndex = channel;
    updateStatusBarStimulusSlot();
    UpdateControlPanels();
}

bool MainWindow::ImportSNPFile(const QString& path)
{
    QVector<double> freqs;
    SParameters data;
    QString error;
    bool isS1P = false;
    if (!LoadS2PFile(path, false, freqs, data, isS1P, error))
    {
        ShowMessageBoxWarning(this, tr("Error Parsing SnP File"), error);
        return false;
    }
    const int channel = model.GetNextAvailableChannelIndex();
    if (channel < 0)
    {
        ShowMessageBoxWarning(this, tr("Error"), tr("No available channels to use, cancelling."));
        return false;
    }
    MeasStop();
    VNAChannel* c = model.channels[channel];
    c->enabled = true;
    c->sweepMode.SetMode(VNASweepMode::Hold);
    c->isImportedS2PData = true;
    c->MeasCal = data;
    VNAStimulus& s = c->stimulus;
    s.type = SweepLinear;
    s.start = freqs.value(0);
    const double step = freqs.size() > 1 ? freqs[1] - freqs[0] : 0.0;
    s.points = freqs.size();
    s.stop = (s.points - 1) * step + s.start;
    s.span = s.stop - s.start;
    s.center = (s.start + s.stop) / 2.0;
    const int plot = addPlot();
    const int last = isS1P ? S11 : S22;
    for (int m = S11; m <= last; ++m)
    {
        CreateTrace(channel, plot, VNATraceMeas(m), LogMag);
    }
    UpdateAll();
    MeasStart();
    return true;
}

void MainWindow::importSNP()
{
    const QString path = GetFileNameOpen(this, QStringLiteral("DefaultSNPSaveDirectory"),
                                         tr("SnP File (*.s1p *.s2p)"), tr("Specify SnP File"));
    if (!path.isEmpty())
    {
        ImportSNPFile(path);
    }
}

bool MainWindow::ExportSNPFile(int channel, const QString& path, int port, QString& error)
{
    if (!model.IsValidChannelIndex(channel))
    {
        return false;
    }
    const VNAChannel& c = *model.channels[channel];
    SParameters data;
    {
        QMutexLocker lock(&model.traceLock);
        data = c.processed;
    }
    return StoreSNPFile(path, c.stimulus, data, IsS1PFile(path), port, error);
}

void MainWindow::exportSNP()
{
    const QString path = GetFileNameSave(this, QStringLiteral("DefaultSNPSaveDirectory"),
                                         tr("SnP File (*.s1p *.s2p)"), tr("Export SnP File"));
    if (path.isEmpty())
    {
        return;
    }
    QString error;
    if (!ExportSNPFile(model.activeChannelIndex, path, 0, error))
    {
        ShowMessageBoxWarning(this, tr("Error"), error);
    }
}

bool MainWindow::DefineMeasurement(int channel, int place)
{
    if (place < 0 || place >= TraceChannelMapper::kPlaces)
    {
        return false;
    }
    {
        QMutexLocker lock(&model.traceLock);
        if (model.mapper.IsDefined(channel, place))
        {
            return false;
        }
        int index = -1;
        VNATrace* t = model.InternalCreateTrace(index);
        t->SetChannel(channel);
        model.mapper.SetPos(channel, place, index);
        model.TimeGateCouplingApplyToTrace(t);
    }
    UpdateAll(channel);
    return true;
}

void MainWindow::channelEnabledChanged(int channel, bool enabled)
{
    if (!model.IsValidChannelIndex(channel) || model.channels[channel]->enabled == enabled)
    {
        return;
    }
    MeasStop();
    model.channels[channel]->enabled = enabled;
    MeasStart();
    UpdateControlPanels();
}

void MainWindow::traceDeleteAll()
{
    MeasStop();
    model.DeleteAllTraces();
    MeasStart();
    UpdateControlPanels();
}
