// MainWindow: calibration. The operator's mechanical calibration and the remote one, loading,
// unloading and switching a channel's calibration, the Calibration menu, and the
// calibration-set view of a trace.
#include <QApplication>
#include <QFileInfo>
#include <QMenu>
#include <QMessageBox>
#include <QMutexLocker>
#include <memory>

#include "application_settings.h"
#include "cal_dialogs.h"
#include "error_log.h"
#include "file_dialogs.h"
#include "mainwindow.h"
#include "status_bar.h"
#include "vna_calkit_list.h"

namespace
{
const char* const kCalFolderKey = "DefaultCalSetSaveDirectory";

QString CalFileFilter()
{
    return QCoreApplication::translate("MainWindow", "VNA Cal File (*.vnacal)");
}
}  // namespace

// ---------------------------------------------------------------------------------------------
// Menu

void MainWindow::InitCalibrationMenu(QMenu* menu)
{
    connect(menu, &QMenu::aboutToShow, this, &MainWindow::aboutToShowCalibrationMenu);
    connect(menu->addAction(tr("Start New Calibration (Mechanical)")), &QAction::triggered, this,
            &MainWindow::calStartNewCalibration);
    connect(menu->addAction(tr("Start New Calibration (Electronic)")), &QAction::triggered, this,
            &MainWindow::calStartNewECalibration);
    menu->setToolTipsVisible(true);
    connect(menu->addAction(tr("Load Calibration")), &QAction::triggered, this,
            QOverload<>::of(&MainWindow::calLoad));
    QAction* unload = menu->addAction(tr("Unload Calibration"));
    connect(unload, &QAction::triggered, this, QOverload<>::of(&MainWindow::calUnload));
    calEnabledAction = menu->addAction(tr("Calibration Enabled"));
    calEnabledAction->setCheckable(true);
    connect(calEnabledAction, &QAction::triggered, this,
            QOverload<bool>::of(&MainWindow::calEnabledChanged));
    calInterpolateAction = menu->addAction(tr("Interpolation Enabled"));
    calInterpolateAction->setCheckable(true);
    connect(calInterpolateAction, &QAction::triggered, this,
            QOverload<bool>::of(&MainWindow::calInterpolateChanged));
    QAction* useStimulus = menu->addAction(tr("Use Calibration Stimulus"));
    connect(useStimulus, &QAction::triggered, this, &MainWindow::calUseStimulus);
    QAction* properties = menu->addAction(tr("Calibration Properties"));
    connect(properties, &QAction::triggered, this, &MainWindow::calShowProperties);
    calLoadedActions = {unload, useStimulus, properties};
    connect(menu->addAction(tr("Manage Calibration Kits")), &QAction::triggered, this,
            &MainWindow::calEditCalKits);
    connect(menu->addAction(tr("System Verification")), &QAction::triggered, this,
            &MainWindow::calSystemVerification);
}

void MainWindow::aboutToShowCalibrationMenu()
{
    const VNAChannel* c = model.ActiveChannel();
    bool loaded = false;
    if (c)
    {
        QMutexLocker lock(&model.traceLock);
        loaded = c->calibration.CorrectionsLoaded();
    }
    for (QAction* a : std::as_const(calLoadedActions))
    {
        a->setEnabled(loaded);
        a->setToolTip(loaded ? QString() : tr("The active channel holds no calibration."));
    }
    calEnabledAction->setChecked(c && c->calibrationEnabled);
    calInterpolateAction->setChecked(c && c->interpolationEnabled);
}

// ---------------------------------------------------------------------------------------------
// The operator's calibration

void MainWindow::calStartNewCalibration()
{
    PerformCalibration();
}

bool MainWindow::KitCanPerform(const VNACalKit& kit, VNACalType type)
{
    if (kit.CanPerform(type))
    {
        return true;
    }
    ShowMessageBoxWarning(this, tr("Calibration Kit Incomplete"),
                          tr("The calibration kit selected cannot perform this calibration.\n"
                             "Please ensure all measurement classes are assigned for the "
                             "specified calibration type."));
    return false;
}

bool MainWindow::CanStartCalibration()
{
    if (CalibrationInProgress())
    {
        ShowMessageBoxWarning(this, tr("Calibration"), tr("A calibration is already in progress."));
        return false;
    }
    if (!model.ActiveChannel() || !model.device.Connected())
    {
        ShowMessageBoxWarning(this, tr("Calibration"), tr("No device connected."));
        return false;
    }
    return true;
}

void MainWindow::PerformCalibration()
{
    if (!CanStartCalibration())
    {
        return;
    }
    const VNAChannel* channel = model.ActiveChannel();
    CalSetupDlg setup(this);
    if (setup.exec() != QDialog::Accepted)
    {
        return;
    }
    VNACalKit kit;
    if (!setup.GetCalKit(kit))
    {
        ShowMessageBoxWarning(
            this, tr("Calibration Kit Incomplete"),
            tr("Unable to load the calibration kit %1.").arg(setup.GetCalKitName()));
        return;
    }
    VNACalibration cal;
    cal.SetStimulus(channel->stimulus);
    cal.SetCalType(setup.GetCalType(), setup.GetPort());
    cal.SetCalKit(kit);
    if (!KitCanPerform(kit, setup.GetCalType()))
    {
        return;
    }
    const int index = channel->index;
    const bool accepted =
        RunCalibrationDialog(index,
                             [&]() -> CalMeasureDlg*
                             {
                                 if (cal.GetCalType() == SOL)
                                 {
                                     return new SOLCalDlg(model.device, cal, this);
                                 }
                                 return new SOLTCalDlg(model.device, cal, this);
                             });
    if (accepted)
    {
        SaveCalibrationToChannel(cal, index);
    }
}

bool MainWindow::SaveCalibrationToChannel(VNACalibration& cal, int index)
{
    QString path;
    while (path.isEmpty())
    {
        path = GetFileNameSave(this, QString::fromLatin1(kCalFolderKey), CalFileFilter(),
                               tr("Specify Calibration File"));
        if (path.isEmpty() &&
            ShowMessageBoxQuestion(this, tr("Question"),
                                   tr("File name invalid, are you sure you wish to cancel?")))
        {
            return false;
        }
    }
    CompleteCalibration(cal, model.device, path);
    bool saved = false;
    QString error;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    RunWhileServingEvents([&] { saved = SaveAndBuildCalibration(cal, path, error); });
    QApplication::restoreOverrideCursor();
    if (!saved)
    {
        ShowMessageBoxWarning(this, tr("Error"), error);
        return false;
    }
    InstallCalibration(model, index, cal, true);
    UpdateAll(index);
    return true;
}

bool MainWindow::RunCalibrationDialog(int channel, const std::function<CalMeasureDlg*()>& make)
{
    MeasStop();
    model.SetDeviceHeld(true);
    calChannel = channel;
    std::unique_ptr<CalMeasureDlg> dialog(make());
    connect(dialog.get(), &CalMeasureDlg::measUpdated, this, &MainWindow::calUpdateMainUI);
    operatorCalDialog = dialog.get();
    const bool accepted = dialog->exec() == QDialog::Accepted;
    operatorCalDialog = nullptr;
    dialog.reset();
    model.SetDeviceHeld(false);
    MeasStart();
    return accepted;
}

void MainWindow::calUpdateMainUI(const SParametersRaw& raw)
{
    VNAChannel* c = model.channels.value(calChannel, nullptr);
    // Shown only while the channel's sweep is the one the calibration measures.
    if (!c || raw.Size() != c->stimulus.points)
    {
        return;
    }
    {
        QMutexLocker lock(&c->measLock);
        c->MeasAvg = raw;
    }
    CalcTraces(c->index);
    updatePlots();
}

void MainWindow::EndCalibrations()
{
    if (operatorCalDialog)
    {
        operatorCalDialog->Stop();
        operatorCalDialog->reject();
    }
    if (CalMeasureDlg* d = RemoteCalDialog())
    {
        disconnect(d, nullptr, this, nullptr);
        remoteSOLDialog = nullptr;
        remoteSOLTDialog = nullptr;
        d->Stop();
        d->hide();
        d->DeleteWhenIdle();
        model.SetDeviceHeld(false);
    }
}

// ---------------------------------------------------------------------------------------------
// A channel's calibration

void MainWindow::SetChannelCalibration(int channel, VNACalibration cal, bool takeStimulus)
{
    const VNAStimulus target = takeStimulus ? cal.GetStimulus() : model.channels[channel]->stimulus;
    RunWhileServingEvents([&] { cal.BuildCorrections(target); });
    InstallCalibration(model, channel, cal, takeStimulus);
    UpdateAll(channel);
}

void MainWindow::calLoad()
{
    const VNAChannel* c = model.ActiveChannel();
    if (!c)
    {
        return;
    }
    bool loaded = false;
    {
        QMutexLocker lock(&model.traceLock);
        loaded = c->calibration.CorrectionsLoaded();
    }
    if (loaded && !ShowMessageBoxQuestion(
                      this, tr("Overwrite Calibration?"),
                      tr("Calibration already loaded. Are you sure you want to override the "
                         "existing cal?")))
    {
        return;
    }
    const QString path = GetFileNameOpen(this, QString::fromLatin1(kCalFolderKey), CalFileFilter(),
                                         tr("Load Calibration"));
    if (!path.isEmpty())
    {
        calLoad(c->index, path, false, false);
    }
}

bool MainWindow::calLoad(int channel, const QString& path, bool silent, bool loadStimulus)
{
    if (!model.IsValidChannelIndex(channel) || CalibrationInProgress())
    {
        return false;
    }
    auto fail = [&](const QString& text)
    {
        if (silent)
        {
            SysErr::AddSystemError(InvalidParameter, text);
        }
        else
        {
            ShowMessageBoxWarning(this, tr("Error Loading Calibration File"),
                                  text + QStringLiteral("\n") + tr("Aborting operation."));
        }
        return false;
    };
    if (!QFileInfo(path).isFile())
    {
        return fail(tr("Unable to find the calibration file %1.").arg(path));
    }
    VNACalibration cal;
    bool ok = false;
    QString error;
    {
        ApplicationSettings settings(path);
        cal.Load(settings, ok, error);
    }
    if (!ok)
    {
        return fail(error);
    }
    const VNAStimulus& current = model.channels[channel]->stimulus;
    if (!silent && cal.GetStimulus() != current)
    {
        if (cal.ValidSerialNumber() && model.device.Connected() &&
            cal.GetSerialNumber() != model.device.GetSerialNumber())
        {
            ShowMessageBoxWarning(this, tr("Warning"),
                                  tr("The calibration was made on the instrument with serial "
                                     "number %1, not on the one connected.")
                                      .arg(cal.GetSerialNumberString().trimmed()));
        }
        loadStimulus =
            ShowMessageBoxQuestion(this, tr("Stimulus Settings"),
                                   tr("Do you want to load the stimulus settings from the cal?"));
    }
    SetChannelCalibration(channel, cal, loadStimulus);
    return true;
}

void MainWindow::calUnload(int channel)
{
    VNAChannel* c = model.channels.value(channel, nullptr);
    if (!c)
    {
        return;
    }
    // The loop reads whether a two-port calibration asks for both directions.
    MeasStop();
    {
        QMutexLocker lock(&model.traceLock);
        c->calibration.Unload();
    }
    MeasStart();
    UpdateAll(channel);
}

void MainWindow::calUnload()
{
    calUnload(model.activeChannelIndex);
}

void MainWindow::SetChannelCalFlag(int channel, bool VNAChannel::*flag, bool on)
{
    VNAChannel* c = model.channels.value(channel, nullptr);
    if (!c)
    {
        return;
    }
    {
        // The chain reads the flags under the trace lock.
        QMutexLocker lock(&model.traceLock);
        c->*flag = on;
    }
    UpdateAll(channel);
}

void MainWindow::calEnabledChanged(int channel, bool enabled)
{
    SetChannelCalFlag(channel, &VNAChannel::calibrationEnabled, enabled);
}

void MainWindow::calEnabledChanged(bool enabled)
{
    calEnabledChanged(model.activeChannelIndex, enabled);
}

void MainWindow::calInterpolateChanged(int channel, bool enabled)
{
    SetChannelCalFlag(channel, &VNAChannel::interpolationEnabled, enabled);
}

void MainWindow::calInterpolateChanged(bool enabled)
{
    calInterpolateChanged(model.activeChannelIndex, enabled);
}

void MainWindow::calUseStimulus()
{
    const VNAChannel* c = model.ActiveChannel();
    if (!c)
    {
        return;
    }
    VNAStimulus s;
    {
        QMutexLocker lock(&model.traceLock);
        if (!c->calibration.CorrectionsLoaded())
        {
            return;
        }
        s = c->calibration.GetStimulus();
    }
    EditStimulus(c->index, [&](VNAStimulus& stimulus) { stimulus = s; });
}

void MainWindow::calShowProperties()
{
    const VNAChannel* c = model.ActiveChannel();
    if (!c)
    {
        return;
    }
    QString text;
    {
        QMutexLocker lock(&model.traceLock);
        const VNACalibration& cal = c->calibration;
        if (!cal.CorrectionsLoaded())
        {
            text = tr("No calibration loaded.");
        }
        else
        {
            const VNAStimulus& s = cal.GetStimulus();
            text =
                tr("Name: %1\nType: %2\nCal Kit: %3\nDate: %4\nTemperature: %5 C\n"
                   "Serial Number: %6\nStart: %7\nStop: %8\nPoints: %9")
                    .arg(cal.GetName(), VNACalTypeToString(cal.GetCalType()),
                         cal.GetCalKit().CalKitName, cal.GetDate().toString(Qt::TextDate),
                         QString::number(cal.CalibrationTemperature(), 'f', 2),
                         cal.GetSerialNumberString().trimmed(), Frequency(s.start).GetFreqString(),
                         Frequency(s.stop).GetFreqString(), QString::number(s.points));
        }
    }
    if (!Hidden::Get())
    {
        QMessageBox::information(this, tr("Calibration Properties"), text);
    }
}

// ---------------------------------------------------------------------------------------------
// Calibration-set view

void MainWindow::calSetViewerEnabled(int trace, bool enabled)
{
    EditTrace(trace, [&](VNATrace& t) { t.calSetViewEnabled = enabled; });
}

void MainWindow::calSetViewerEnabled(bool enabled)
{
    calSetViewerEnabled(model.selectedTraceIndex, enabled);
}

void MainWindow::calSetViewerDisplayChanged(int trace, int display)
{
    if (display == CalSetViewMeasured || display == CalSetViewErrorTerms)
    {
        EditTrace(trace, [&](VNATrace& t) { t.calSetDisplay = display; });
    }
}

void MainWindow::calSetViewerDisplayChanged(int display)
{
    calSetViewerDisplayChanged(model.selectedTraceIndex, display);
}

void MainWindow::calSetViewerStdTermChanged(int trace, int term)
{
    if (term >= 0 && term < VNACalibration::kTermCount)
    {
        EditTrace(trace, [&](VNATrace& t) { t.calSetStdTerm = term; });
    }
}

void MainWindow::calSetViewerStdTermChanged(int term)
{
    calSetViewerStdTermChanged(model.selectedTraceIndex, term);
}

void MainWindow::calSetViewerErrTermChanged(int trace, int term)
{
    if (term >= 0 && term < VNACalibration::kTermCount)
    {
        EditTrace(trace, [&](VNATrace& t) { t.calSetErrTerm = term; });
    }
}

void MainWindow::calSetViewerErrTermChanged(int term)
{
    calSetViewerErrTermChanged(model.selectedTraceIndex, term);
}

// ---------------------------------------------------------------------------------------------
// Remote calibration

CalMeasureDlg* MainWindow::RemoteCalDialog() const
{
    if (remoteSOLDialog)
    {
        return remoteSOLDialog;
    }
    return remoteSOLTDialog;
}

void MainWindow::calRemoteStart(int channel, VNACalType type, int port)
{
    // A new record: only the kit the client chose carries over.
    VNACalibration fresh;
    fresh.SetCalKit(remoteCal.GetCalKit());
    remoteCal = fresh;
    remoteCal.SetCalType(type, port);
    remoteCal.SetStimulus(model.channels[channel]->stimulus);
    MeasStop();
    model.SetDeviceHeld(true);
    calChannel = channel;
    CalMeasureDlg* dialog = nullptr;
    if (type == SOL)
    {
        remoteSOLDialog = new SOLCalDlg(model.device, remoteCal, this);
        dialog = remoteSOLDialog;
    }
    else
    {
        remoteSOLTDialog = new SOLTCalDlg(model.device, remoteCal, this);
        dialog = remoteSOLTDialog;
    }
    connect(dialog, &CalMeasureDlg::dialogClosed, this, &MainWindow::calRemoteCalClosed);
    connect(dialog, &CalMeasureDlg::measUpdated, this, &MainWindow::calUpdateMainUI);
    if (!Hidden::Get())
    {
        dialog->show();
    }
}

bool MainWindow::calRemoteMeasure(CalStep step, int port, int id)
{
    CalMeasureDlg* dialog = RemoteCalDialog();
    if (!dialog)
    {
        SysErr::AddSystemError(CalSequenceError,
                               tr("Remote calibration not active. Cannot perform action"));
        return false;
    }
    if (dialog->IsBusy())
    {
        SysErr::AddSystemError(CalSequenceError,
                               tr("Calibration step in progress. Cannot perform action"));
        return false;
    }
    if (remoteSOLDialog)
    {
        switch (step)
        {
            case CalStep::Short:
                return remoteSOLDialog->MeasShort(id);
            case CalStep::Open:
                return remoteSOLDialog->MeasOpen(id);
            case CalStep::Load:
                return remoteSOLDialog->MeasLoad(id);
            case CalStep::Thru:
                SysErr::AddSystemError(CalSequenceError,
                                       tr("Attempting to measure THRU on SOL calibration."));
                return false;
            case CalStep::Isolation:
                SysErr::AddSystemError(CalSequenceError,
                                       tr("Attempting to measure ISO on SOL calibration."));
                return false;
        }
        return false;
    }
    if ((step == CalStep::Short || step == CalStep::Open || step == CalStep::Load) && port != 1 &&
        port != 2)
    {
        SysErr::AddSystemError(InvalidParameter, tr("Expected valid port number."));
        return false;
    }
    switch (step)
    {
        case CalStep::Short:
            return remoteSOLTDialog->MeasShort(port - 1, id);
        case CalStep::Open:
            return remoteSOLTDialog->MeasOpen(port - 1, id);
        case CalStep::Load:
            return remoteSOLTDialog->MeasLoad(port - 1, id);
        case CalStep::Thru:
            return remoteSOLTDialog->MeasThru(id);
        case CalStep::Isolation:
            return remoteSOLTDialog->MeasIso();
    }
    return false;
}

bool MainWindow::calRemoteSelectKit(const QString& name)
{
    VNACalKit kit;
    if (!GetCalKitFromName(name, kit))
    {
        SysErr::AddSystemError(CalSequenceError, tr("Unable to find specified cal kit."));
        return false;
    }
    remoteCal.SetCalKit(kit);
    return true;
}

void MainWindow::calRemoteSave(int channel, const QString& path)
{
    CalMeasureDlg* dialog = RemoteCalDialog();
    if (!dialog)
    {
        SysErr::AddSystemError(CalSequenceError,
                               tr("Remote calibration not active. Cannot perform action"));
        return;
    }
    if (dialog->IsBusy())
    {
        SysErr::AddSystemError(CalSequenceError, tr("Calibration step in progress. Cannot save."));
        return;
    }
    if (!dialog->HasFinished())
    {
        SysErr::AddSystemError(CalSequenceError, tr("Calibration not complete. Cannot save."));
        return;
    }
    disconnect(dialog, nullptr, this, nullptr);
    remoteSOLDialog = nullptr;
    remoteSOLTDialog = nullptr;
    dialog->Stop();
    dialog->accept();
    dialog->DeleteWhenIdle();

    CompleteCalibration(remoteCal, model.device, path);
    bool saved = false;
    QString error;
    RunWhileServingEvents([&] { saved = SaveAndBuildCalibration(remoteCal, path, error); });
    if (saved)
    {
        InstallCalibration(model, channel, remoteCal, true);
    }
    else
    {
        SysErr::AddSystemError(UnableToSaveFile, error);
    }
    model.SetDeviceHeld(false);
    UpdateControlPanels();
    MeasStart();
    UpdateAll(channel);
}

void MainWindow::calRemoteCalClosed()
{
    CalMeasureDlg* dialog = RemoteCalDialog();
    if (!dialog)
    {
        return;
    }
    // Closed by the operator: the record stays the client's, uninstalled.
    disconnect(dialog, nullptr, this, nullptr);
    remoteSOLDialog = nullptr;
    remoteSOLTDialog = nullptr;
    dialog->Stop();
    dialog->DeleteWhenIdle();
    model.SetDeviceHeld(false);
    MeasStart();
}
