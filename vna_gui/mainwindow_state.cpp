// Instrument state files: the whole instrument saved to and recalled from an .ini file.
#include <QEventLoop>
#include <QFileInfo>
#include <QTcpSocket>
#include <memory>
#include <thread>

#include "application_settings.h"
#include "control_panels.h"
#include "file_dialogs.h"
#include "instrument_state.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "mainwindow_scpi.h"
#include "multi_plot_splitter_area.h"
#include "output_generator_controls.h"
#include "status_bar.h"
#include "vna_plot.h"

namespace
{
// The last state file saved or recalled: the suggestion of the next save dialog.
QString lastPresetFileName;

const char* const kStateFilter = QT_TRANSLATE_NOOP("MainWindow", "Instrument State File (*.ini)");
}  // namespace

QStringList MainWindow::PlotTitles() const
{
    QStringList titles;
    for (const VNAPlot* p : plots)
    {
        titles.append(p ? (p->GetTitle().isNull() ? QString(QLatin1String("")) : p->GetTitle())
                        : QString());
    }
    return titles;
}

bool MainWindow::SaveInstrumentState(const QString& path)
{
    lastPresetFileName = path;
    bool ok = false;
    const QStringList titles = PlotTitles();
    const QString layout = plotArea->Area()->Describe(true);
    // The loop fills the channels' data without a lock, so it pauses while the file is written
    // and carries on afterwards: the file holds one consistent sweep.
    const bool wasRunning = model.MeasRunning();
    MeasStop();
    RunOffThread(tr("Save Instrument State"), "VNA State File Thread",
                 [&]
                 {
                     // Nothing of an older file survives: it is neither read nor merged.
                     ApplicationSettings s(path, ApplicationSettings::Replace);
                     s.Clear();
                     state::SaveHeader(s, model);
                     state::SaveChannels(s, model);
                     state::SavePlotSlots(s, titles);
                     KXMultiPlotSplitterArea::SaveLayout(s, layout);
                     state::SaveTraces(s, model);
                     s.Sync();
                     ok = s.WriteStatus() == QSettings::NoError;
                 });
    if (wasRunning)
    {
        MeasStart();
    }
    statusBarWidget->SetMessage(ok ? tr("Saved Preset: ") + QFileInfo(path).fileName()
                                   : tr("Could not write %1").arg(path));
    return ok;
}

bool MainWindow::LoadInstrumentState(const QString& path)
{
    if (!QFileInfo(path).isFile())
    {
        return false;
    }
    lastPresetFileName = path;
    std::unique_ptr<ApplicationSettings> file;
    RunOffThread(tr("Load Instrument State"), "VNA State File Thread",
                 [&]
                 {
                     file.reset(new ApplicationSettings(path, ApplicationSettings::ReadOnly));
                     // The window only takes the vectors over: widening hundreds of
                     // megabytes there would stop it for a second.
                     file->PrepareComplexVectors();
                     file->moveToThread(thread());
                 });
    ApplicationSettings& s = *file;
    MeasStop();
    if (state::FileVersion(s) != state::kFileVersion)
    {
        // The running setup stays, stopped: any change of setting starts it again.
        ShowMessageBoxWarning(this, tr("Invalid file format"),
                              tr("Unsupported file version, unable to load file."));
        return false;
    }
    PresetInstrumentState(false, false);
    state::LoadHeader(s, model);
    if (triggerPanel)
    {
        triggerPanel->SetTriggerScopeAllChannels(model.triggerScopeAllChannels);
    }
    state::LoadChannels(s, model);
    const QStringList titles = state::LoadPlotSlots(s);
    for (int i = 0; i < titles.size(); ++i)
    {
        if (!titles[i].isNull() && addPlot(i) == i)
        {
            plots[i]->SetTitle(titles[i]);
        }
    }
    plotArea->LoadLayout(s);
    state::LoadTraces(s, model);
    if (generatorDialog)
    {
        generatorDialog->SettingsRecalled();
    }
    // Every trace of a full state computed anew takes longer than the window may stop.
    RunOffThread(tr("Load Instrument State"), "VNA State File Thread",
                 [this] { model.CalcAllTraces(); });
    UpdateControlPanels();
    updatePlots();
    MeasStart();
    statusBarWidget->SetMessage(tr("Loaded Preset: ") + QFileInfo(path).fileName());
    return true;
}

void MainWindow::saveInstrumentStatePressed()
{
    const QString path =
        GetFileNameSave(this, QStringLiteral("DefaultPresetSaveDirectory"), tr(kStateFilter),
                        tr("Save Instrument State"), lastPresetFileName);
    if (!path.isEmpty())
    {
        SaveInstrumentState(path);
    }
}

void MainWindow::recallInstrumentStatePressed()
{
    const QString path = GetFileNameOpen(this, QStringLiteral("DefaultPresetSaveDirectory"),
                                         tr(kStateFilter), tr("Load Instrument State"));
    if (!path.isEmpty())
    {
        LoadInstrumentState(path);
    }
}
