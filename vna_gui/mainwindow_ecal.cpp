// MainWindow: the operator's electronic calibration and the module's user characterisation. The
// module is reached through a session of its own for the procedure's length, so every wait on its
// port stays off the GUI thread.
#include <QMessageBox>
#include <QMutexLocker>
#include <memory>

#include "control_panels.h"
#include "ecal_dialogs.h"
#include "ecal_workflow.h"
#include "mainwindow.h"
#include "maury_ucal_session.h"
#include "vna_calkit_list.h"

namespace
{
// The first module found; false, with the warning shown, when there is none.
bool FindModule(QWidget* parent, UCalPortInfo& port)
{
    const QList<UCalPortInfo> modules = MauryUCal::FindDevices();
    if (modules.isEmpty())
    {
        ShowMessageBoxWarning(
            parent, MainWindow::tr("Warning"),
            MainWindow::tr("Cannot find Maury UCal Module.\nUnable to proceed with calibration."));
        return false;
    }
    port = modules.first();
    return true;
}

// Connects the module and takes its identity; false with the message to show.
bool ConnectModule(MauryUCalSession& session, UCalIdentity& identity, QString& title,
                   QString& error)
{
    bool connected = false;
    RunWhileServingEvents(
        [&]
        {
            connected = session.Run<bool>(
                [&identity](MauryUCal& m)
                {
                    const bool ok = m.Connect();
                    identity = m.Identity();
                    return ok;
                });
        });
    if (!connected)
    {
        title = MainWindow::tr("Warning");
        error = MainWindow::tr(
            "Unable to connect Maury UCal Module.\nUnable to proceed with calibration.");
    }
    return connected;
}

// Connects the module and reads its factory data into kit; false with the message to show.
bool ReadModule(MauryUCalSession& session, VNACalKit& kit, QString& title, QString& error)
{
    UCalIdentity identity;
    if (!ConnectModule(session, identity, title, error))
    {
        return false;
    }
    bool read = false;
    RunWhileServingEvents(
        [&]
        {
            read = session.Run<bool>(
                [&kit](MauryUCal& m)
                {
                    const bool ok = m.ReadFactoryCalibration();
                    if (ok)
                    {
                        kit = MauryExtractFactoryCalKit(m);
                    }
                    return ok;
                });
        });
    if (!read)
    {
        title = MainWindow::tr("Error");
        error = MainWindow::tr(
            "Unable to read calibration data from uCal module.\nUnable to "
            "proceed.");
    }
    return read;
}
}  // namespace

void MainWindow::calStartNewECalibration()
{
    PerformECalibration();
}

void MainWindow::PerformECalibration()
{
    if (!CanStartCalibration())
    {
        return;
    }
    const VNAChannel* channel = model.ActiveChannel();
    UCalPortInfo port;
    if (!FindModule(this, port))
    {
        return;
    }
    MauryUCalSession session(port);
    VNACalKit factoryKit;
    QString title, error;
    bool read = false;
    {
        // Shown while the blocks come in; it asks nothing, so it is not modal.
        std::unique_ptr<QMessageBox> note;
        if (!Hidden::Get())
        {
            note.reset(new QMessageBox(QMessageBox::Information, tr("Notification"),
                                       tr("Reading calibration data, please wait..."),
                                       QMessageBox::NoButton, this));
            note->setModal(false);
            note->show();
        }
        read = ReadModule(session, factoryKit, title, error);
    }
    if (!read)
    {
        ShowMessageBoxWarning(this, title, error);
        return;
    }
    ECalSetupDlg setup(this);
    if (setup.exec() != QDialog::Accepted)
    {
        return;
    }
    VNACalKit kit = factoryKit;
    if (setup.UseUserCharacterization() && !setup.GetCalKit(kit))
    {
        ShowMessageBoxWarning(
            this, tr("Calibration Kit Incomplete"),
            tr("Unable to load the calibration kit %1.").arg(setup.GetCalKitName()));
        return;
    }
    const VNACalType type = setup.GetCalType();
    const UCalPortMap map = ECalPortMap(setup.GetVNAPort(), setup.GetUCalPort());
    VNACalibration cal;
    cal.SetStimulus(channel->stimulus);
    // A one-port record keeps its instrument port and module port; a two-port one the module
    // port on instrument port 1, which says how the module's ports are crossed.
    cal.SetCalType(type, type == SOL ? setup.GetVNAPort() : 0);
    cal.SetUCalPort(type == SOL ? setup.GetUCalPort() : (map.IsCrossed() ? 1 : 0));
    cal.SetCalKit(OrientUCalKit(kit, map));
    if (!KitCanPerform(cal.GetCalKit(), type))
    {
        return;
    }
    const int index = channel->index;
    const bool accepted =
        RunCalibrationDialog(index,
                             [&]() -> CalMeasureDlg*
                             {
                                 if (type == SOL)
                                 {
                                     return new SOLECalDlg(model.device, cal, session, this);
                                 }
                                 return new SOLTECalDlg(model.device, cal, session, this);
                             });
    if (accepted)
    {
        SaveCalibrationToChannel(cal, index);
    }
}

// ---------------------------------------------------------------------------------------------
// User characterisation

void MainWindow::aboutToShowUCalMenu()
{
    QString reason;
    const VNAChannel* c = model.ActiveChannel();
    bool available = !CalibrationInProgress() && c && model.device.Connected();
    if (!available)
    {
        reason = tr("Needs a connected instrument and no calibration in progress.");
    }
    else
    {
        QMutexLocker lock(&model.traceLock);
        available = CanCharacterizeWith(c->calibration, reason);
    }
    SetAvailable(uCalCharacterizeAction, available, reason);
}

void MainWindow::showUCalUserCharacterization()
{
    if (!CanStartCalibration())
    {
        return;
    }
    const VNAChannel* channel = model.ActiveChannel();
    VNACalibration mechanical;
    {
        QMutexLocker lock(&model.traceLock);
        mechanical = channel->calibration;
    }
    QString title = tr("User Characterization"), error;
    if (!CanCharacterizeWith(mechanical, error))
    {
        ShowMessageBoxWarning(this, title, error);
        return;
    }
    UCalPortInfo port;
    if (!FindModule(this, port))
    {
        return;
    }
    MauryUCalSession session(port);
    UCalIdentity identity;
    if (!ConnectModule(session, identity, title, error))
    {
        ShowMessageBoxWarning(this, title, error);
        return;
    }
    // The measuring dialog sweeps the channel's stimulus, with the calibration's kit on show.
    VNACalibration record;
    record.SetStimulus(channel->stimulus);
    record.SetCalKit(mechanical.GetCalKit());
    UCalUserCharacterization result;
    const bool accepted =
        RunCalibrationDialog(channel->index,
                             [&]() -> CalMeasureDlg* {
                                 return new UCalUserCharDlg(model.device, record, mechanical,
                                                            session, identity, result, this);
                             });
    if (!accepted || !result.IsComplete())
    {
        return;
    }
    // The module's earlier user characterisation, if any, is replaced.
    const VNACalKit kit = result.BuildKit();
    if (!SaveUserCalKit(kit, kit.CalKitName, error))
    {
        ShowMessageBoxWarning(this, tr("User Characterization"), error);
    }
}
