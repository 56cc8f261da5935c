#include "mainwindow.h"

#include <QAction>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDebug>
#include <QEventLoop>
#include <QGridLayout>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QMutexLocker>
#include <QProgressBar>
#include <QProgressDialog>
#include <QStatusBar>
#include <QToolBar>
#include <atomic>
#include <thread>

#include "application_settings.h"
#include "error_log.h"
#include "preferences.h"
#include "scpi_log.h"
#include "vna_plot.h"

MainWindow::MainWindow(QWidget* parent, const VnaLib* library)
    : QMainWindow(parent), model(library)
{
    setWindowTitle(tr("Kestrix Vector Network Analysis Software"));
    ReadFanDefaults();
    errorLogDialog = new ErrorLogDialog(*SysErr::Log(), this);

    plots.fill(nullptr, VNAModel::kPlotCount);
    model.activeChannelIndex = 0;
    model.channels[0]->enabled = true;
    for (VNAChannel* c : model.channels)
    {
        connect(c, &VNAChannel::updatePlots, this, &MainWindow::updatePlots);
    }

    BuildToolbar();
    plotArea = new QWidget(this);
    plotGrid = new QGridLayout(plotArea);
    plotGrid->setContentsMargins(2, 2, 2, 2);
    plotGrid->setSpacing(2);
    setCentralWidget(plotArea);

    const int plot = addPlot();
    {
        QMutexLocker lock(&model.traceLock);
        int index = 0;
        VNATrace* t = model.InternalCreateTrace(index);
        t->SetChannel(0);
        t->SetPlot(plot);
        t->SetMeas(S11);
        t->SetFormat(LogMag);
        model.mapper.SetPos(0, 0, index);
        model.selectedTraceIndex = index;
    }
    InitMenuBar();
    BuildStatusBar();
    ConnectModelSignals();
    resize(1200, 760);

    UpdateControlPanels();
    ConnectDevice();
}

MainWindow::~MainWindow()
{
    model.MeasStop();
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

void MainWindow::BuildToolbar()
{
    QToolBar* bar = addToolBar(tr("Measurement"));
    bar->setObjectName(QStringLiteral("MainToolbar"));
    QAction* single = bar->addAction(tr("Single"));
    QAction* cont = bar->addAction(tr("Continuous"));
    QAction* hold = bar->addAction(tr("Hold"));
    connect(single, &QAction::triggered, this, &MainWindow::singlePressed);
    connect(cont, &QAction::triggered, this, &MainWindow::continuousPressed);
    connect(hold, &QAction::triggered, this, &MainWindow::holdPressed);
    spurRejectAction = bar->addAction(tr("Spur Reject"));
    spurRejectAction->setCheckable(true);
    connect(spurRejectAction, &QAction::triggered, this, &MainWindow::toggleSpurReject);
    progressBar = new QProgressBar(bar);
    progressBar->setRange(0, 100);
    progressBar->setMaximumWidth(160);
    progressAction = bar->addWidget(progressBar);
    progressAction->setVisible(false);
}

void MainWindow::InitMenuBar()
{
    QMenu* system = menuBar()->addMenu(tr("System"));
    QAction* errors = system->addAction(tr("Error Info..."));
    connect(errors, &QAction::triggered, this, &MainWindow::showErrorLog);
    QAction* connectAction = system->addAction(tr("Connect Device"));
    connect(connectAction, &QAction::triggered, this,
            static_cast<void (MainWindow::*)()>(&MainWindow::connectDevice));
    QAction* disconnectAction = system->addAction(tr("Disconnect Device"));
    connect(disconnectAction, &QAction::triggered, this, &MainWindow::disconnectDevice);
    system->addSeparator();
    QAction* quit = system->addAction(tr("Exit"));
    connect(quit, &QAction::triggered, this, &QWidget::close);
}

void MainWindow::showErrorLog()
{
    errorLogDialog->updateList();
    errorLogDialog->show();
    errorLogDialog->raise();
}

void MainWindow::BuildStatusBar()
{
    deviceLabel = new QLabel(this);
    sweepLabel = new QLabel(this);
    stimulusLabel = new QLabel(this);
    tempLabel = new QLabel(this);
    statusBar()->addWidget(deviceLabel);
    statusBar()->addWidget(sweepLabel);
    statusBar()->addWidget(stimulusLabel, 1);
    statusBar()->addPermanentWidget(tempLabel);
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
    connect(this, &MainWindow::threadShowMessageBoxSignal, this,
            &MainWindow::threadShowMessageBoxSlot, Qt::QueuedConnection);
}

// ---------------------------------------------------------------------------------------------
// Device

void MainWindow::LoadFactoryCalInThread()
{
    // The factory calibration store reads from here once it exists; the demo has none.
}

void MainWindow::ConnectDeviceInThread(QEventLoop* loop)
{
    if (model.device.Connect())
    {
        LoadFactoryCalInThread();
    }
    // The loop may not have started yet; exiting it before exec() would be lost.
    while (!loop->isRunning())
    {
        SystemSleep(1);
    }
    loop->exit(0);
}

void MainWindow::ConnectDeviceBySerialInThread(int serial, QEventLoop* loop)
{
    if (model.device.Connect(serial))
    {
        LoadFactoryCalInThread();
    }
    while (!loop->isRunning())
    {
        SystemSleep(1);
    }
    loop->exit(0);
}

void MainWindow::ShowDeviceInStatusBar(const QString& name)
{
    deviceLabel->setText(QStringLiteral("%1  SN %2  FW %3")
                             .arg(name)
                             .arg(model.device.GetSerialNumber())
                             .arg(model.device.GetFirmwareVersion()));
    double power = 0.0, temperature = 0.0, third = 0.0;
    unsigned int fourth = 0;
    model.device.GetDiagnostics(power, temperature, third, fourth);
    updateDiagnosticsSlot(power, temperature, third, int(fourth));
    updateSweepModeSlot();
}

bool MainWindow::ConnectDevice()
{
    QProgressDialog progress(tr("Connecting Device"), QString(), 0, 0, this);
    progress.setWindowTitle(tr("Connecting Device"));
    progress.setMinimumDuration(0);
    if (!Hidden::Get())
    {
        progress.reset();
        progress.show();
    }
    QEventLoop loop;
    std::thread t(&MainWindow::ConnectDeviceInThread, this, &loop);
    SetThreadName(t, "VNA Open Device Thread");
    loop.exec();
    t.join();
    progress.hide();

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
        const auto answer = QMessageBox::question(
            this, tr("Device Status"),
            tr("No Kestrix VNA was detected.\n\nWould you like to launch the demo device?"),
            QMessageBox::Yes | QMessageBox::No);
        if (answer != QMessageBox::Yes)
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
    ShowDeviceInStatusBar(name);
    MeasStart();
    if (demo)
    {
        quickSetupFull2Port(true);
    }
    return true;
}

bool MainWindow::ConnectDevice(int serial)
{
    QEventLoop loop;
    std::thread t(&MainWindow::ConnectDeviceBySerialInThread, this, serial, &loop);
    SetThreadName(t, "VNA Open Device Thread");
    loop.exec();
    t.join();
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
    ShowDeviceInStatusBar(model.device.GetDeviceName());
    MeasStart();
    return true;
}

void MainWindow::DisconnectDevice()
{
    MeasStop();
    model.device.SetFanSpeed(50.0);
    model.device.Disconnect();
    PresetInstrumentState(true, false);
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
    spurRejectAction->setChecked(enabled);
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
}

void MainWindow::setReference(VNAReference reference)
{
    MeasStop();
    model.reference = reference;
    model.device.SetReference(reference);
    MeasStart();
}

template <typename Edit>
void MainWindow::EditStimulus(int channel, Edit edit)
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

void MainWindow::stimAvgEnabledChanged(int channel, bool enabled)
{
    EditStimulus(channel, [&](VNAStimulus& s) { s.avgEnabled = enabled; });
}

void MainWindow::stimAvgCountChanged(int channel, int count)
{
    EditStimulus(channel, [&](VNAStimulus& s) { s.avgCount = count; });
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
    updateSweepModeSlot();
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

void MainWindow::holdPressed()
{
    triggerSweepModeChanged(model.activeChannelIndex, VNASweepMode::Hold);
}

void MainWindow::WaitForOPC()
{
    while (model.SingleSweepPending())
    {
        QCoreApplication::processEvents();
    }
}

// ---------------------------------------------------------------------------------------------
// Plots and setups

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
    const int number = GetNextPlotNumber();
    if (number < 0)
    {
        return -1;
    }
    auto* plot = new VNAPlot(model, number, plotArea);
    plots[number] = plot;
    const int visible = GetVisiblePlots() - 1;
    plotGrid->addWidget(plot, visible / 2, visible % 2);
    return number;
}

void MainWindow::PresetInstrumentState(bool createDefault, bool restart)
{
    MeasStop();
    model.DeleteAllTraces();
    for (VNAPlot*& p : plots)
    {
        delete p;
        p = nullptr;
    }
    for (VNAChannel* c : model.channels)
    {
        c->LoadDefaults();
    }
    if (createDefault)
    {
        model.activeChannelIndex = 0;
        model.channels[0]->enabled = true;
        const int plot = addPlot();
        QMutexLocker lock(&model.traceLock);
        int index = 0;
        VNATrace* t = model.InternalCreateTrace(index);
        t->SetChannel(0);
        t->SetPlot(plot);
        t->SetMeas(S11);
        t->SetFormat(LogMag);
        model.mapper.SetPos(0, 0, index);
        model.selectedTraceIndex = index;
    }
    model.rfEnabled = Preferences::Get().onPresetPowerOn;
    model.markerCoupling = 1;
    model.reference = VNAReferenceInternal;
    model.triggerScopeAllChannels = false;
    model.scaleCoupling = 0;
    model.spurReject = false;
    UpdateControlPanels();
    if (restart)
    {
        MeasStart();
    }
}

void MainWindow::quickSetupFull2Port(bool skipQuestion)
{
    if (!skipQuestion &&
        QMessageBox::question(this, tr("Question"),
                              tr("The current measurement setup will be replaced. Continue?"),
                              QMessageBox::Yes | QMessageBox::No) != QMessageBox::Yes)
    {
        return;
    }
    PresetInstrumentState(false, false);
    model.activeChannelIndex = 0;
    model.channels[0]->enabled = true;
    const int plot = addPlot();
    {
        QMutexLocker lock(&model.traceLock);
        for (int m = S11; m <= S22; ++m)
        {
            int index = 0;
            VNATrace* t = model.InternalCreateTrace(index);
            t->SetChannel(0);
            t->SetPlot(plot);
            t->SetMeas(VNATraceMeas(m));
            t->SetFormat(LogMag);
            model.mapper.SetPos(0, model.mapper.GetNextAvailablePos(0), index);
        }
        model.selectedTraceIndex = 0;
    }
    UpdateAll();
    MeasStart();
}

void MainWindow::UpdateAll()
{
    for (int c = 0; c < model.channels.size(); ++c)
    {
        model.CalcTraces(c);
    }
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
    if (spurRejectAction)
    {
        spurRejectAction->setChecked(model.spurReject);
    }
    updateStatusBarStimulusSlot();
}

void MainWindow::updatePlots()
{
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
    const VNAChannel* c = model.ActiveChannel();
    if (c && sweepLabel)
    {
        static const char* const names[] = {QT_TR_NOOP("Hold"), QT_TR_NOOP("Single"),
                                            QT_TR_NOOP("Continuous")};
        sweepLabel->setText(tr(names[c->sweepMode.GetMode()]));
    }
}

void MainWindow::updateStatusBarStimulusSlot()
{
    const VNAChannel* c = model.ActiveChannel();
    if (!c || !stimulusLabel)
    {
        return;
    }
    const VNAStimulus& s = c->stimulus;
    stimulusLabel->setText(tr("%1   Start %2   Stop %3   Points %4   IFBW %5")
                               .arg(c->Name(), Frequency(s.start).GetFreqString(),
                                    Frequency(s.stop).GetFreqString())
                               .arg(s.points)
                               .arg(Frequency(s.ifbw).GetFreqString()));
}

void MainWindow::updateDiagnosticsSlot(double, double temperature, double, int fourth)
{
    if (!tempLabel)
    {
        return;
    }
    // Warm-up, or a regulated temperature that has left its setpoint.
    bool warn = (fourth < 1200 && temperature < 40.0);
    if (!warn && model.fanMode.load() == 0)
    {
        warn = std::abs(temperature - model.fanValue.load()) > 2.0;
    }
    tempLabel->setText(QString::asprintf("%.1f \u00b0C", temperature));
    tempLabel->setStyleSheet(warn && model.device.Connected() && !model.device.IsDemoMode()
                                 ? QStringLiteral("color: orange;")
                                 : QString());
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
    if (!Hidden::Get())
    {
        QMessageBox::warning(this, title, text);
    }
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    MeasStop();
    DisconnectDevice();
    if (Preferences::Get().SaveOnClose())
    {
        // Window state is saved here once instrument state files exist.
    }
    event->accept();
}
