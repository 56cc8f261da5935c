// MainWindow: the kit list and its editors, kit characterisation, system verification, and the
// factory calibration store (loading on connection, writing for service use).
#include <QCoreApplication>
#include <QDebug>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QInputDialog>
#include <QMessageBox>
#include <QMutexLocker>
#include <QTimer>
#include <thread>

#include "application_settings.h"
#include "cal_procedures.h"
#include "calkit_editor.h"
#include "factory_cal.h"
#include "file_dialogs.h"
#include "mainwindow.h"
#include "touchstone.h"
#include "vna_calkit_list.h"

namespace
{
// A verification device's data against the measurement: the largest vector difference taken
// for agreement when the operator states none.
constexpr double kDefaultVerificationTolerance = 0.01;

const char* const kKitFilter = QT_TRANSLATE_NOOP("MainWindow", "Calibration Kit (*.skt)");
const QString kKitFolderKey = QStringLiteral("DefaultCalKitSaveDirectory");

QString SystemKitText()
{
    return QCoreApplication::translate(
        "MainWindow", "System calibration kits are read-only. Copy the kit to change it.");
}

// Loads a kit of the list; a user kit only when userOnly. Warns and returns false otherwise.
bool KitForChange(QWidget* parent, const QString& name, bool userOnly, VNACalKit& kit)
{
    CalKitListEntry entry;
    const QString title = QCoreApplication::translate("MainWindow", "Calibration Kit");
    if (!FindCalKit(name, entry) || !GetCalKitFromName(name, kit))
    {
        ShowMessageBoxWarning(
            parent, title,
            QCoreApplication::translate("MainWindow", "Unable to load the calibration kit %1.")
                .arg(name));
        return false;
    }
    if (userOnly && entry.system)
    {
        ShowMessageBoxWarning(parent, title, SystemKitText());
        return false;
    }
    return true;
}

void ShowInformation(QWidget* parent, const QString& title, const QString& text)
{
    if (!Hidden::Get())
    {
        QMessageBox::information(parent, title, text);
    }
}
}  // namespace

// --- kit list ------------------------------------------------------------------------------------

void MainWindow::calEditCalKits()
{
    CalKitManagerDlg dialog(this);
    dialog.exec();
}

bool MainWindow::EditUserCalKit(const VNACalKit& kit, const QString& previousName)
{
    CalKitEditDlg editor(
        kit,
        [previousName](const VNACalKit& k, QString& error)
        { return CheckUserCalKitName(k.CalKitName, previousName, error); },
        this);
    if (editor.exec() != QDialog::Accepted)
    {
        return false;
    }
    QString error;
    if (!SaveUserCalKit(editor.Kit(), previousName, error))
    {
        ShowMessageBoxWarning(this, tr("Calibration Kit"), error);
        return false;
    }
    return true;
}

bool MainWindow::calKitNew()
{
    VNACalKit kit;
    kit.CalKitName = CalKitCopyName(tr("New Kit"));
    return EditUserCalKit(kit, QString());
}

bool MainWindow::calKitCopy(const QString& name)
{
    VNACalKit kit;
    if (!KitForChange(this, name, false, kit))
    {
        return false;
    }
    kit.CalKitName = CalKitCopyName(name);
    return EditUserCalKit(kit, QString());
}

bool MainWindow::calKitEdit(const QString& name)
{
    VNACalKit kit;
    return KitForChange(this, name, true, kit) && EditUserCalKit(kit, name);
}

bool MainWindow::calKitDelete(const QString& name)
{
    VNACalKit kit;
    if (!KitForChange(this, name, true, kit) ||
        !ShowMessageBoxQuestion(this, tr("Confirm"),
                                tr("Are you sure you want to delete %1?").arg(name)))
    {
        return false;
    }
    QString error;
    if (!DeleteUserCalKit(name, error))
    {
        ShowMessageBoxWarning(this, tr("Calibration Kit"), error);
        return false;
    }
    return true;
}

bool MainWindow::calKitImport()
{
    const QString path =
        GetFileNameOpen(this, kKitFolderKey, tr(kKitFilter), tr("Import Calibration Kit"));
    if (path.isEmpty())
    {
        return false;
    }
    QString name, error;
    if (!ImportCalKit(path, name, error))
    {
        ShowMessageBoxWarning(this, tr("Calibration Kit"), error);
        return false;
    }
    return true;
}

bool MainWindow::calKitExport(const QString& name)
{
    const QString path = GetFileNameSave(this, kKitFolderKey, tr(kKitFilter),
                                         tr("Export Calibration Kit"), name + ".skt");
    QString error;
    if (!path.isEmpty() && !ExportCalKit(name, path, error))
    {
        ShowMessageBoxWarning(this, tr("Calibration Kit"), error);
    }
    return false;  // the list itself is unchanged
}

// --- kit procedures --------------------------------------------------------------------------

bool MainWindow::MeasureCorrectedSweep(int channel, SParameters& corrected, QString& error)
{
    if (!model.IsValidChannelIndex(channel) || !model.channels[channel]->enabled ||
        !model.device.Connected())
    {
        error = tr("No sweep is running on this channel.");
        return false;
    }
    VNAChannel& ch = *model.channels[channel];
    const uint64_t target = model.BeginFreshSweep(channel);
    const qint64 timeout = model.FreshSweepTimeoutMs();
    KXProgressDialog progress(tr("Measuring"), this);
    if (!Hidden::Get())
    {
        progress.show();
    }
    QEventLoop loop;
    QTimer poll;
    QElapsedTimer elapsed;
    elapsed.start();
    connect(&poll, &QTimer::timeout, &loop,
            [&]
            {
                if (ch.sweepsDone.load() >= target || !model.MeasRunning() ||
                    elapsed.elapsed() > timeout)
                {
                    loop.quit();
                }
            });
    poll.start(VNAModel::kDisplayCycleMs);
    loop.exec();
    model.EndFreshSweep(channel);
    if (ch.sweepsDone.load() < target)
    {
        error = tr("No sweep arrived; nothing was measured.");
        return false;
    }
    SParametersRaw raw;
    {
        QMutexLocker lock(&ch.measLock);
        raw = ch.MeasAvg;
    }
    // The loop swaps rebuilt calibrations in under the trace lock.
    QMutexLocker lock(&model.traceLock);
    if (!ch.AppliesUserCorrection() && !ch.AppliesFactoryCorrection())
    {
        error = tr("The channel is not calibrated.");
        return false;
    }
    corrected = ch.ApplyCorrections(raw);
    return true;
}

int MainWindow::CharacterizeStandard(int channel, const QString& kitName,
                                     const StandardCharacterization& request, QString& error)
{
    CalKitListEntry entry;
    VNACalKit kit;
    if (!FindCalKit(kitName, entry) || !GetCalKitFromName(kitName, kit))
    {
        error = tr("Unable to load the calibration kit %1.").arg(kitName);
        return -1;
    }
    if (entry.system)
    {
        error = SystemKitText();
        return -1;
    }
    SParameters corrected;
    if (!MeasureCorrectedSweep(channel, corrected, error))
    {
        return -1;
    }
    const int id = AddMeasuredStandard(
        kit, request, model.channels[channel]->stimulus.GetFreqVector(), corrected);
    if (id < 0)
    {
        error = tr("Invalid ID");
        return -1;
    }
    return SaveUserCalKit(kit, kitName, error) ? id : -1;
}

bool MainWindow::calKitCharacterize(const QString& name)
{
    VNACalKit kit;
    if (!KitForChange(this, name, true, kit))
    {
        return false;
    }
    CharacterizeStandardDlg dialog(name, this);
    if (dialog.exec() != QDialog::Accepted)
    {
        return false;
    }
    QString error;
    const int id = CharacterizeStandard(model.activeChannelIndex, name, dialog.Request(), error);
    if (id < 0)
    {
        ShowMessageBoxWarning(this, tr("Characterize Standard"), error);
        return false;
    }
    ShowInformation(this, tr("Characterize Standard"),
                    tr("Standard %1 was added to %2.").arg(id).arg(name));
    return true;
}

bool MainWindow::VerifyChannel(int channel, const QString& path, double tolerance,
                               VerificationReport& report, QString& error)
{
    QVector<double> refFreqs;
    SParameters reference;
    bool isS1P = false;
    if (!(tolerance > 0.0))
    {
        error = tr("The tolerance must be above 0.");
        return false;
    }
    SParameters corrected;
    if (!LoadS2PFile(path, true, refFreqs, reference, isS1P, error) ||
        !MeasureCorrectedSweep(channel, corrected, error))
    {
        return false;
    }
    report = VerifyMeasurement(model.channels[channel]->stimulus.GetFreqVector(), corrected,
                               refFreqs, reference, isS1P, tolerance);
    bool compared = false;
    for (const VerificationParameter& p : report.params)
    {
        compared = compared || p.compared;
    }
    if (!compared)
    {
        error = tr("The sweep does not overlap the device's data.");
    }
    return compared;
}

void MainWindow::calSystemVerification()
{
    const QString title = tr("System Verification");
    const QString path =
        GetFileNameOpen(this, QStringLiteral("DefaultSNPSaveDirectory"),
                        tr("SnP File (*.s1p *.s2p)"), tr("Verification Device Data"));
    if (path.isEmpty())
    {
        return;
    }
    bool ok = false;
    const double tolerance =
        QInputDialog::getDouble(this, title, tr("Largest vector difference allowed:"),
                                kDefaultVerificationTolerance, 1e-12, 2.0, 6, &ok);
    VerificationReport report;
    QString error;
    if (!ok)
    {
        return;
    }
    if (!VerifyChannel(model.activeChannelIndex, path, tolerance, report, error))
    {
        ShowMessageBoxWarning(this, title, error);
        return;
    }
    ShowInformation(this, title,
                    (report.Passed() ? tr("Verification passed.") : tr("Verification failed.")) +
                        QStringLiteral("\n\n") + report.Text());
}

// --- factory calibration ---------------------------------------------------------------------

void MainWindow::LoadFactoryCalInThread()
{
    // On the connect or write thread while the window waits; the channels take the result on
    // the window's thread (InstallFactoryCal), and messages cross by the queued signal.
    QString detail;
    VNACalibration cal;
    const FactoryCal::Status status = FactoryCal::Load(model.device, cal, detail);
    factoryCal = status == FactoryCal::Status::Loaded ? cal : VNACalibration();
    if (status == FactoryCal::Status::Loaded)
    {
        return;
    }
    qWarning() << "Factory calibration:" << detail;
    emit threadShowMessageBoxSignal(tr("Factory Calibration"), status == FactoryCal::Status::Missing
                                                                   ? FactoryCal::MissingText()
                                                                   : FactoryCal::InvalidText());
}

void MainWindow::InstallFactoryCal()
{
    const bool running = model.MeasRunning();
    MeasStop();
    for (VNAChannel* c : model.channels)
    {
        c->factoryCalibration = factoryCal;
    }
    if (running)
    {
        MeasStart();
    }
}

bool MainWindow::WriteFactoryCal(const VNACalibration& cal, QString& error)
{
    if (!model.device.Connected() || model.device.IsDemoMode())
    {
        error = tr("No instrument is connected.");
        return false;
    }
    const bool running = model.MeasRunning();
    MeasStop();  // the device belongs to the write thread meanwhile
    bool ok = false;
    RunOffThread(tr("Writing Factory Calibration"), "VNA Write Factory Cal to Device Thread",
                 [&]
                 {
                     ok = FactoryCal::Write(model.device, cal, error);
                     if (ok)
                     {
                         // The store takes what the instrument now holds, whatever date it
                         // gives it.
                         QFile::remove(GetFactoryCalFileName(model.device.GetSerialNumber()));
                         LoadFactoryCalInThread();
                     }
                 });
    InstallFactoryCal();
    if (running)
    {
        MeasStart();
    }
    updateStatusBarStimulusSlot();
    return ok;
}

void MainWindow::calWriteFactoryCal()
{
    const QString title = tr("Factory Calibration");
    const QString path =
        GetFileNameOpen(this, QStringLiteral("DefaultCalSetSaveDirectory"),
                        tr("Calibration File (*.vnacal)"), tr("Write Factory Calibration"));
    if (path.isEmpty())
    {
        return;
    }
    VNACalibration cal;
    bool ok = false;
    QString error;
    {
        ApplicationSettings settings(path);
        cal.Load(settings, ok, error);
    }
    if (!ok || !FactoryCal::IsUsable(cal, error))
    {
        ShowMessageBoxWarning(this, title, error);
        return;
    }
    if (!ShowMessageBoxQuestion(
            this, title,
            tr("Replace the instrument's factory calibration with %1?").arg(cal.GetName()), false))
    {
        return;
    }
    if (!WriteFactoryCal(cal, error))
    {
        ShowMessageBoxWarning(this, title, error);
    }
}

void MainWindow::calUseFactoryCal(bool use)
{
    Preferences::Get().SetUseFactoryCal(use);
    UpdateAll();
    updateStatusBarStimulusSlot();
}
