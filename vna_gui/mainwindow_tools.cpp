// MainWindow: the small tools: sweep segments, fan control, the output generator, the about box,
// the check for new versions and the Help menu's links.
#include <QCoreApplication>
#include <QDir>
#include <QIcon>
#include <QTimer>
#include <algorithm>

#include "about_dialog.h"
#include "application_settings.h"
#include "fan_control_dialog.h"
#include "help_links.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "output_generator_controls.h"
#include "status_bar.h"
#include "sweep_segment_dialog.h"
#include "sweep_segments.h"
#include "version_checker.h"

void MainWindow::InitTools()
{
    setWindowIcon(QIcon(QStringLiteral(":/resources/app_icon/kestrix-vna-256.png")));
    versionChecker = new VersionChecker(this);
    connect(versionChecker, &VersionChecker::newVersionAvailable, this,
            &MainWindow::showNewVersionMessage);
    if (Preferences::Get().checkForNewVersion)
    {
        // From the event loop, once the window is up: the fetch never holds up the start.
        QTimer::singleShot(0, versionChecker, &VersionChecker::PerformVersionCheck);
    }
}

// ---------------------------------------------------------------------------------------------
// Sweep segments

void MainWindow::defineSegmentsPushed()
{
    stimEditSegments(model.activeChannelIndex);
}

void MainWindow::stimEditSegments(int channel)
{
    if (!model.IsValidChannelIndex(channel))
    {
        return;
    }
    SweepSegmentDialog dialog(InitialSweepSegments(model.channels[channel]->stimulus), this);
    QString error;
    if (dialog.exec() != QDialog::Accepted ||
        !stimSegmentsChanged(channel, dialog.Segments(), error))
    {
        // The sweep type shown goes back to the channel's.
        UpdateControlPanels();
    }
}

bool MainWindow::stimSegmentsChanged(int channel, QVector<VNASweepSegment> segments,
                                     QString& error)
{
    if (!model.IsValidChannelIndex(channel))
    {
        error = tr("There is no channel %1.").arg(channel + 1);
        return false;
    }
    SortSweepSegments(segments);
    if (!CheckSweepSegments(segments, error))
    {
        return false;
    }
    EditStimulus(channel, [&](VNAStimulus& s) { ApplySweepSegments(s, segments); });
    UpdateAll(channel);
    return true;
}

// ---------------------------------------------------------------------------------------------
// Fan control

FanControlDialog* MainWindow::FanControls()
{
    if (!fanDialog)
    {
        fanDialog = new FanControlDialog(this);
    }
    return fanDialog;
}

void MainWindow::settingsShowFanControls()
{
    FanControls()->UpdateControls();
    fanDialog->show();
    fanDialog->raise();
}

void MainWindow::fanOverrideChanged(bool enabled, int type, double setpoint, double speed)
{
    // The loop reads these without a lock and applies them when it starts again.
    MeasStop();
    model.fanOverrideEnabled = enabled;
    model.fanOverrideType = type == 0 ? 0 : 1;
    model.fanOverrideSetpoint = std::clamp(setpoint, kFanMinSetpoint, kFanMaxSetpoint);
    model.fanOverrideSpeed = std::clamp(speed, 0.0, 100.0);
    if (generatorOn || !model.device.Connected())
    {
        // No loop will start to apply them; the instrument, if any, takes them now.
        model.UpdateTempSetpoint();
    }
    MeasStart();
    if (fanDialog)
    {
        fanDialog->UpdateControls();
    }
}

void MainWindow::fanSaveDefaults()
{
    ApplicationSettings s(GetPreferencesIniPath());
    s.BeginGroup(QStringLiteral("FanSettings"));
    s.Save(QStringLiteral("DefaultFanOverride"), model.fanOverrideEnabled);
    s.Save(QStringLiteral("DefaultFanOverrideType"), model.fanOverrideType);
    s.Save(QStringLiteral("DefaultFanOverrideSetpoint"), model.fanOverrideSetpoint);
    s.Save(QStringLiteral("DefaultFanOverrideSpeed"), model.fanOverrideSpeed);
    s.EndGroup();
    s.Sync();
}

// ---------------------------------------------------------------------------------------------
// Output generator

OutputGeneratorControlsDialog* MainWindow::OutputGenerator()
{
    if (!generatorDialog)
    {
        generatorDialog = new OutputGeneratorControlsDialog(this);
    }
    return generatorDialog;
}

void MainWindow::showOutputGeneratorControls()
{
    OutputGenerator()->UpdateControls();
    generatorDialog->show();
    generatorDialog->raise();
}

void MainWindow::outputGeneratorSet(int port, double freq, int atten)
{
    if (!model.device.Connected() || model.device.IsDemoMode())
    {
        return;  // the demo device has no generator, and a sweep is worth more than nothing
    }
    generatorOn = true;
    MeasStop();
    port = std::clamp(port, 0, 1);
    freq = std::clamp(freq, StimulusLimits::kMinFreq, StimulusLimits::kMaxFreq);
    atten = std::clamp(atten, int(StimulusLimits::kMinAtten), int(StimulusLimits::kMaxAtten));
    model.device.SetGenerator(port, freq, atten);
    statusBarWidget->SetMessage(tr("Output generator: port %1, %2, %3 dB")
                                    .arg(port + 1)
                                    .arg(Frequency(freq).GetFreqString())
                                    .arg(atten));
}

void MainWindow::outputGeneratorOff()
{
    if (!generatorOn)
    {
        return;
    }
    generatorOn = false;
    statusBarWidget->SetMessage(QString());
    // The new loop reconfigures every channel, which ends the continuous wave.
    MeasStart();
}

// ---------------------------------------------------------------------------------------------
// Help, about and new versions

void MainWindow::openUserManual()
{
    const QString dir = GetManualsDir();
    const QUrl manual = UserManualUrl(dir);
    if (manual.isEmpty())
    {
        ShowMessageBoxWarning(this, tr("User Manual"),
                              tr("The user manual was not found in %1.")
                                  .arg(QDir::cleanPath(QUrl(dir).toLocalFile())));
        return;
    }
    if (!OpenUrl(manual))
    {
        ShowMessageBoxWarning(this, tr("User Manual"),
                              tr("No program could be started to show %1.")
                                  .arg(manual.toLocalFile()));
    }
}

void MainWindow::openWebsite()
{
    OpenUrl(WebsiteUrl());
}

void MainWindow::openSupportForums()
{
    OpenUrl(SupportForumsUrl());
}

void MainWindow::showAboutDialog()
{
    if (Hidden::Get())
    {
        return;
    }
    AboutDialog about(this);
    about.exec();
}

void MainWindow::checkForNewVersion()
{
    versionChecker->PerformVersionCheck();
}

void MainWindow::showNewVersionMessage(const QString& version)
{
    statusBarWidget->SetNewVersionString(tr("Version %1 is available").arg(version));
}
