#include "mainwindow.h"

#include <QAbstractButton>
#include <QAction>
#include <QButtonGroup>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDebug>
#include <QEventLoop>
#include <QHBoxLayout>
#include <QMessageBox>
#include <QMutexLocker>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QVBoxLayout>
#include <thread>

#include "application_settings.h"
#include "control_panels.h"
#include "error_log.h"
#include "kx_widgets.h"
#include "mainwindow_scpi.h"
#include "multi_plot_splitter_area.h"
#include "output_generator_controls.h"
#include "scpi_log.h"
#include "status_bar.h"
#include "vna_plot.h"

MainWindow::MainWindow(QWidget* parent, const VnaLib* library) : QMainWindow(parent), model(library)
{
    setWindowTitle(tr("Kestrix Vector Network Analysis Software"));
    InitTheme();
    ReadFanDefaults();
    scpiServer = new QTcpServer(this);
    errorLogDialog = new ErrorLogDialog(*SysErr::Log(), this);
    scpiLogDialog = new ScpiLogDialog(this);

    plots.fill(nullptr, VNAModel::kPlotCount);
    model.activeChannelIndex = 0;
    model.channels[0]->enabled = true;
    for (VNAChannel* c : model.channels)
    {
        connect(c, &VNAChannel::updatePlots, this, &MainWindow::updatePlots);
    }

    BuildToolbar();
    BuildPanels();

    const int plot = addPlot();
    CreateTrace(0, plot, S11, LogMag);

    InitMenuBar();
    statusBarWidget = new VNAStatusBar(this);
    setStatusBar(statusBarWidget);
    statusBarWidget->ClearStatusBar();
    InitTools();
    ConnectModelSignals();
    setThemeIcons();
    resize(1400, 860);
    RestoreState();

    remoteDialog = new SCPIRemoteDialog(this);
    scpiOpcTimer = new QTimer(this);
    connect(scpiOpcTimer, &QTimer::timeout, this, &MainWindow::SCPIAnswerPendingOpc);
    // Errors from the GUI thread (every command) set the client's event bits at once; errors of
    // other threads arrive queued.
    connect(SysErr::Log(), &ErrorLog::errorAdded, this,
            [this](int code)
            {
                if (scpiConnection)
                {
                    scpiConnection->status.RecordError(code);
                }
            });
    connect(scpiServer, &QTcpServer::newConnection, this, &MainWindow::handleSCPIConnection);
    SCPIStartup();

    UpdateControlPanels();
    ConnectDevice();
}

MainWindow::~MainWindow()
{
    // Before the device goes with the model: the dialogs are deleted only after it.
    EndCalibrations();
    // Gone before the model: hiding it hands the instrument back to the sweeps.
    delete generatorDialog;
    model.MeasStop();
    // The client is retired first: its socket goes with the server, after this body, and must
    // not report its disconnection to a window half destroyed.
    SCPIShutdown();
    qDeleteAll(scpiRetired);
}

void MainWindow::ReadFanDefaults()
{
    ApplicationSettings s(GetPreferencesIniPath());
    s.BeginGroup(QStringLiteral("FanSettings"));
    s.Load(QStringLiteral("DefaultFanOverride"), model.fanOverrideEnabled);
    s.Load(QStringLiteral("DefaultFanOverrideType"), model.fanOverrideType);
    s.Load(QStringLiteral("DefaultFanOverrideSetpoint"), model.fanOverrideSetpoint);
    s.Load(QStringLiteral("DefaultFanOverrideSpeed"), model.fanOverrideSpeed);
    s.EndGroup();
}

void MainWindow::BuildPanels()
{
    static const char* const names[kPanelCount] = {
        QT_TR_NOOP("Channels"),    QT_TR_NOOP("Trigger"),     QT_TR_NOOP("Stimulus"),
        QT_TR_NOOP("Calibration"), QT_TR_NOOP("Fixtures"),    QT_TR_NOOP("Traces"),
        QT_TR_NOOP("Markers"),     QT_TR_NOOP("Math"),        QT_TR_NOOP("Limits"),
        QT_TR_NOOP("Time Domain"), QT_TR_NOOP("Time Gating"), QT_TR_NOOP("Settings")};
    channelPanel = new ChannelControlPanel(this);
    triggerPanel = new TriggerControlPanel(this);
    stimulusPanel = new StimulusControlPanel(this);
    tracePanel = new TraceControlPanel(this);
    mathPanel = new MathPanel(this);
    settingsPanel = new SettingsPanel(this);
    panels = {channelPanel,
              triggerPanel,
              stimulusPanel,
              new CalibrationControlPanel(this),
              new FixtureControlPanel(this),
              tracePanel,
              new MarkerControlPanel(this),
              mathPanel,
              new LimitLinePanel(this),
              new TimeDomainPanel(this),
              new TimeGatingPanel(this),
              settingsPanel};

    panelStack = new QStackedWidget(this);
    panelStack->setMinimumWidth(300);
    panelButtons = new QButtonGroup(this);
    panelButtons->setExclusive(true);
    panelButtonColumn = new QWidget(this);
    auto* buttonColumn = new QVBoxLayout(panelButtonColumn);
    buttonColumn->setContentsMargins(0, 0, 0, 0);
    buttonColumn->setSpacing(1);
    for (int i = 0; i < kPanelCount; ++i)
    {
        panelStack->addWidget(new ControlPanel(tr(names[i]), panels[i], panelStack));
        auto* b = new QPushButton(tr(names[i]), this);
        b->setObjectName(QStringLiteral("NavigationTab"));
        b->setCheckable(true);
        panelButtons->addButton(b, i);
        buttonColumn->addWidget(b);
    }
    buttonColumn->addStretch();
    auto* preset = new QPushButton(tr("Preset"), this);
    preset->setObjectName(QStringLiteral("PresetTab"));
    buttonColumn->addWidget(preset);
    connect(panelButtons, &QButtonGroup::idClicked, this, &MainWindow::panelButtonClicked);
    connect(preset, &QPushButton::clicked, this, &MainWindow::presetButtonClicked);
    panelStack->hide();

    plotArea = new ChannelWidget(this);
    connect(plotArea, &ChannelWidget::plotClosing, this, &MainWindow::plotCloseRequested);
    auto* central = new QWidget(this);
    central->setObjectName(QStringLiteral("CentralWidget"));
    centralRow = new QHBoxLayout(central);
    centralRow->setContentsMargins(0, 0, 0, 0);
    ApplyPanelOrientation();
    setCentralWidget(central);
}

QAbstractButton* MainWindow::PanelButton(int index) const
{
    return panelButtons->button(index);
}

void MainWindow::panelButtonClicked(int index)
{
    if (panelStack->isVisible() && panelStack->currentIndex() == index)
    {
        // A second click on the open panel collapses the column.
        panelStack->hide();
        panelButtons->setExclusive(false);
        for (QAbstractButton* b : panelButtons->buttons())
        {
            b->setChecked(false);
        }
        panelButtons->setExclusive(true);
        return;
    }
    panelStack->setCurrentIndex(index);
    panelStack->show();
    panelButtons->button(index)->setChecked(true);
    if (auto* p = qobject_cast<PanelBase*>(panels.value(index)))
    {
        p->UpdateControls();
    }
}

void MainWindow::ConnectModelSignals()
{
    // The model emits from the measurement thread; queued delivery lands on the GUI thread.
    connect(&model, &VNAModel::updatePlotsSignal, this, &MainWindow::updatePlots,
            Qt::QueuedConnection);
    connect(&model, &VNAModel::updateControlsSignal, this, &MainWindow::updateControlsSlot,
            Qt::QueuedConnection);
    connect(&model, &VNAModel::updateSweepModeSignal, this, &MainWindow::updateSweepModeSlot,
            Qt::QueuedConnection);
    connect(&model, &VNAModel::updateStatusBarStimulusSignal, this,
            &MainWindow::updateStatusBarStimulusSlot, Qt::QueuedConnection);
    connect(&model, &VNAModel::updateDiagnosticsSignal, this, &MainWindow::updateDiagnosticsSlot,
            Qt::QueuedConnection);
    connect(&model, &VNAModel::updateAvgLabelSignal, this, &MainWindow::updateAvgLabelSlot,
            Qt::QueuedConnection);
    connect(&model, &VNAModel::updateTransformAutoScaleSignal, this,
            &MainWindow::updateTransformAutoScaleSlot, Qt::QueuedConnection);
    connect(&model, &VNAModel::updateSweepProgressSignal, this,
            &MainWindow::updateSweepProgressSlot, Qt::QueuedConnection);
    connect(&model, &VNAModel::updateSweepProgressBarVisibilitySignal, this,
            &MainWindow::updateSweepProgressBarVisibilitySlot, Qt::QueuedConnection);
    // Why an equation failed, reported after the pass that evaluated it.
    connect(&model, &VNAModel::statusMessageSignal, this, &MainWindow::equationStatusMessage,
            Qt::QueuedConnection);
    connect(this, &MainWindow::threadShowMessageBoxSignal, this,
            &MainWindow::threadShowMessageBoxSlot, Qt::QueuedConnection);
}

// ---------------------------------------------------------------------------------------------
// Device

void MainWindow::RunOffThread(const QString& title, const char* threadName,
                              const std::function<void()>& work)
{
    KXProgressDialog progress(title, this);
    progress.setWindowModality(Qt::ApplicationModal);
    if (!Hidden::Get())
    {
        progress.show();
    }
    ++scpiDepth;
    QEventLoop loop;
    std::thread t(
        [&]
        {
            work();
            // An exit before the loop has started would be lost.
            while (!loop.isRunning())
            {
                SystemSleep(1);
            }
            loop.exit(0);
        });
    SetThreadName(t, threadName);
    loop.exec();
    t.join();
    --scpiDepth;
    progress.hide();
    if (scpiConnection && scpiDepth == 0 && scpiConnection->socket->bytesAvailable() > 0)
    {
        QMetaObject::invokeMethod(this, &MainWindow::readSCPISocket, Qt::QueuedConnection);
    }
}

void MainWindow::OpenDeviceOffThread(const std::function<bool()>& open)
{
    factoryCal = VNACalibration();  // the demo device has none
    RunOffThread(tr("Connecting Device"), "VNA Open Device Thread",
                 [&]
                 {
                     if (open())
                     {
                         LoadFactoryCalInThread();
                     }
                 });
}

void MainWindow::ShowDevice(const QString& name)
{
    statusBarWidget->SetDeviceName(name);
    statusBarWidget->SetDeviceSerial(model.device.GetSerialNumber(),
                                     model.device.GetFirmwareVersion());
    double power = 0.0, temperature = 0.0, third = 0.0;
    unsigned int fourth = 0;
    model.device.GetDiagnostics(power, temperature, third, fourth);
    updateDiagnosticsSlot(power, temperature, third, int(fourth));
    statusBarWidget->SetContLabel(2);
}

bool MainWindow::ConnectDevice()
{
    OpenDeviceOffThread([this] { return model.device.Connect(); });

    bool demo = false;
    QString name;
    if (model.device.Connected())
    {
        name = model.device.GetDeviceName();
    }
    else
    {
        if (Hidden::Get())
        {
            return false;
        }
        if (!ShowMessageBoxQuestion(
                this, tr("Device Status"),
                tr("No Kestrix VNA was detected.\n\nWould you like to launch the demo device?")))
        {
            return false;
        }
        if (!model.device.ConnectDemo())
        {
            auto* box = new QMessageBox(QMessageBox::Warning, tr("Device Status"),
                                        tr("Unable to load demo device."), QMessageBox::Ok, this);
            box->setAttribute(Qt::WA_DeleteOnClose);
            box->setModal(false);
            box->show();
            return false;
        }
        name = tr("Demo Device");
        demo = true;
    }
    InstallFactoryCal();
    ShowDevice(name);
    MeasStart();
    if (demo)
    {
        quickSetupFull2Port(true);
    }
    return true;
}

bool MainWindow::ConnectDevice(int serial)
{
    OpenDeviceOffThread([this, serial] { return model.device.Connect(serial); });
    if (!model.device.Connected())
    {
        if (!Hidden::Get())
        {
            auto* box = new QMessageBox(QMessageBox::Warning, tr("Device Status"),
                                        tr("No device found."), QMessageBox::Ok, this);
            box->setAttribute(Qt::WA_DeleteOnClose);
            box->setModal(false);
            box->show();
        }
        return false;
    }
    InstallFactoryCal();
    ShowDevice(model.device.GetDeviceName());
    MeasStart();
    return true;
}

void MainWindow::DisconnectDevice()
{
    EndCalibrations();
    MeasStop();
    model.device.SetFanSpeed(50.0);
    model.device.Disconnect();
    factoryCal = VNACalibration();
    InstallFactoryCal();
    PresetInstrumentState(true, false);
    statusBarWidget->ClearStatusBar();
    updatePlots();
}

void MainWindow::connectDevice()
{
    ConnectDevice();
}

void MainWindow::connectDevice(QAction* action)
{
    ConnectDevice(action->data().toInt());
}

void MainWindow::disconnectDevice()
{
    DisconnectDevice();
}

// ---------------------------------------------------------------------------------------------
// Measurement settings

void MainWindow::stimulusUpdated()
{
    model.RequestReconfigure();
}

void MainWindow::setSpurReject(bool enabled)
{
    model.spurReject = enabled;
    if (spurRejectAction)
    {
        spurRejectAction->setChecked(enabled);
    }
    model.RequestReconfigure();
    UpdateControlPanels();
}

void MainWindow::toggleSpurReject()
{
    setSpurReject(!model.spurReject);
}

void MainWindow::stimRFOutChanged(bool enabled)
{
    MeasStop();
    model.rfEnabled = enabled;
    MeasStart();
    UpdateControlPanels();
}

void MainWindow::setReference(VNAReference reference)
{
    MeasStop();
    model.reference = reference;
    model.device.SetReference(reference);
    MeasStart();
    UpdateControlPanels();
}

void MainWindow::systemZ0Changed(double ohms)
{
    if (ohms > 0.0)
    {
        gSystemZ0 = ohms;
    }
    UpdateAll();
}

void MainWindow::EditStimulus(int channel, const std::function<void(VNAStimulus&)>& edit)
{
    if (!model.IsValidChannelIndex(channel))
    {
        return;
    }
    MeasStop();
    edit(model.channels[channel]->stimulus);
    MeasStart();
    UpdateControlPanels();
}

void MainWindow::stimStartFreqChanged(int channel, Frequency f)
{
    EditStimulus(channel, [&](VNAStimulus& s) { s.EditStart(f); });
}

void MainWindow::stimStopFreqChanged(int channel, Frequency f)
{
    EditStimulus(channel, [&](VNAStimulus& s) { s.EditStop(f); });
}

void MainWindow::stimCenterFreqChanged(int channel, Frequency f)
{
    EditStimulus(channel, [&](VNAStimulus& s) { s.EditCenter(f); });
}

void MainWindow::stimSpanChanged(int channel, Frequency f)
{
    EditStimulus(channel, [&](VNAStimulus& s) { s.EditSpan(f); });
}

void MainWindow::stimStepChanged(int channel, Frequency f)
{
    EditStimulus(channel, [&](VNAStimulus& s) { s.EditStep(f); });
}

void MainWindow::stimPointsChanged(int channel, int points)
{
    EditStimulus(channel, [&](VNAStimulus& s) { s.EditPoints(points); });
}

void MainWindow::stimIFBWChanged(int channel, double hz)
{
    EditStimulus(channel, [&](VNAStimulus& s) { s.EditIFBW(hz); });
}

void MainWindow::stimPowerConfigChanged(int channel, int config)
{
    EditStimulus(channel, [&](VNAStimulus& s) { s.powerConfig = VNAPowerConfig(config); });
}

void MainWindow::stimManualAttenChanged(int channel, double db)
{
    EditStimulus(channel, [&](VNAStimulus& s) { s.EditManualAtten(db); });
}

void MainWindow::stimManualPowerChanged(int channel, double dbm)
{
    EditStimulus(channel, [&](VNAStimulus& s) { s.EditManualPower(dbm); });
}

void MainWindow::stimAvgEnabledChanged(int channel, bool enabled)
{
    EditStimulus(channel, [&](VNAStimulus& s) { s.avgEnabled = enabled; });
}

void MainWindow::stimAvgCountChanged(int channel, int count)
{
    EditStimulus(channel, [&](VNAStimulus& s) { s.avgCount = count; });
}

void MainWindow::stimSweepTypeChanged(int channel, int type)
{
    if (type < SweepLinear || type > SweepSegment)
    {
        return;
    }
    EditStimulus(channel, [&](VNAStimulus& s) { s.type = VNASweepType(type); });
}

void MainWindow::stimRestartAvg(int channel)
{
    if (model.IsValidChannelIndex(channel))
    {
        model.channels[channel]->ClearAveraging();
    }
}

void MainWindow::triggerSweepModeChanged(int channel, int mode)
{
    _triggerSweepModeChangedHelper(channel, mode);
}

void MainWindow::triggerSweepModeChanged(int mode)
{
    _triggerSweepModeChangedHelper(model.activeChannelIndex, mode);
}

void MainWindow::_triggerSweepModeChangedHelper(int channel, int mode)
{
    if (mode < VNASweepMode::Hold || mode > VNASweepMode::Continuous)
    {
        return;
    }
    model.SetTriggerMode(channel, VNASweepMode::Mode(mode));
    statusBarWidget->SetContLabel(mode);
    triggerPanel->UpdateControls();
}

void MainWindow::triggerScopeChanged(bool allChannels)
{
    model.triggerScopeAllChannels = allChannels;
}

void MainWindow::singlePressed()
{
    triggerSweepModeChanged(model.activeChannelIndex, VNASweepMode::Single);
    emit model.updateSweepModeSignal();
}

void MainWindow::continuousPressed()
{
    triggerSweepModeChanged(model.activeChannelIndex, VNASweepMode::Continuous);
    emit model.updateSweepModeSignal();
}

void MainWindow::UpdateAll()
{
    model.CalcAllTraces();
    UpdateControlPanels();
    updatePlots();
}

void MainWindow::UpdateAll(int channel)
{
    model.CalcTraces(channel);
    UpdateControlPanels();
    updatePlots();
}

void MainWindow::UpdateControlPanels()
{
    for (QWidget* w : panels)
    {
        if (auto* p = qobject_cast<PanelBase*>(w))
        {
            p->UpdateControls();
        }
    }
    if (spurRejectAction)
    {
        spurRejectAction->setChecked(model.spurReject);
    }
    updateStatusBarStimulusSlot();
}

void MainWindow::updatePlots()
{
    LimitFailSound();
    for (VNAPlot* p : plots)
    {
        if (p)
        {
            p->update();
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Slots fed by the measurement thread

void MainWindow::updateControlsSlot()
{
    UpdateControlPanels();
}

void MainWindow::updateSweepModeSlot()
{
    SCPIAnswerPendingOpc();
    triggerPanel->UpdateControls();
    if (const VNAChannel* c = model.ActiveChannel())
    {
        statusBarWidget->SetContLabel(c->sweepMode.GetMode());
    }
}

void MainWindow::updateStatusBarStimulusSlot()
{
    const VNAChannel* c = model.ActiveChannel();
    if (!c || !statusBarWidget)
    {
        return;
    }
    statusBarWidget->SetChannel(c->GetShortName());
    int current = 0;
    {
        QMutexLocker lock(&c->measLock);
        current = c->avgCurrent;
    }
    statusBarWidget->SetBandwidth(c->stimulus.ifbw, c->stimulus.avgEnabled, c->stimulus.avgCount,
                                  current);
    statusBarWidget->SetReference(model.reference);
    // The loop rebuilds the calibration's terms under the trace lock.
    QMutexLocker lock(&model.traceLock);
    const VNACalibration& cal = c->calibration;
    QString label;
    if (cal.CorrectionsLoaded())
    {
        if (!c->calibrationEnabled)
        {
            label = tr("Cal:Disabled");
        }
        else if (c->IsFullyCorrected())
        {
            label = Is2PortCal(cal.GetCalType()) ? tr("Cal:Full 2-Port") : tr("Cal:Full 1-Port");
        }
        else if (c->IsInterpolating())
        {
            label = tr("Cal:Interpolated");
        }
        else
        {
            label = tr("Cal:Changed");
        }
    }
    else if (c->factoryCalibration.CorrectionsLoaded())
    {
        label =
            Preferences::Get().UseFactoryCal() ? tr("Cal:Factory") : tr("Cal:Factory (Disabled)");
    }
    else
    {
        label = tr("Cal:None");
    }
    statusBarWidget->SetCalibrationLabel(label);
}

void MainWindow::updateDiagnosticsSlot(double power, double temperature, double third, int fourth)
{
    // Warm-up, or a regulated temperature that has left its setpoint.
    bool warn = (unsigned(fourth) < 1200u && temperature < 40.0);
    if (!warn && model.fanMode.load() == 0)
    {
        warn = std::abs(temperature - model.fanValue.load()) > 2.0;
    }
    statusBarWidget->SetDiagnostics(power, temperature, third, warn);
}

void MainWindow::updateAvgLabelSlot()
{
    updateStatusBarStimulusSlot();
}

void MainWindow::updateTransformAutoScaleSlot()
{
    UpdateControlPanels();
}

void MainWindow::updateSweepProgressSlot(double percent)
{
    progressBar->setValue(int(percent));
    progressBar->repaint();
}

void MainWindow::updateSweepProgressBarVisibilitySlot(bool visible)
{
    progressAction->setVisible(visible);
}

void MainWindow::threadShowMessageBoxSlot(const QString& title, const QString& text)
{
    ShowMessageBoxWarning(this, title, text);
}

void MainWindow::showErrorInfo()
{
    errorLogDialog->updateList();
    errorLogDialog->show();
    errorLogDialog->raise();
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    MeasStop();
    SCPIShutdown();
    DisconnectDevice();
    if (Preferences::SaveOnClose())
    {
        SaveState();
    }
    event->accept();
}
