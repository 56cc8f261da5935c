// MainWindow: themes, the preferences dialog and the options that take effect at once.
#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QHBoxLayout>
#include <QMenu>
#include <QStackedWidget>

#include "color_prefs.h"
#include "mainwindow.h"
#include "multi_plot_splitter_area.h"
#include "preferences_dialog.h"
#include "scpi_log.h"
#include "style_manager.h"

void MainWindow::InitTheme()
{
    StyleManager::Install();
    Preferences& prefs = Preferences::Get();
    // The record applies its style when it is first built; when it was built before the style
    // could be applied (no application yet, another thread), the first window applies it.
    if (qApp->styleSheet().isEmpty())
    {
        prefs.SetProgramStyle(prefs.GetProgramStyle(), true);
    }
}

void MainWindow::BuildEditMenu(QMenu* edit)
{
    QMenu* theme = edit->addMenu(tr("Theme"));
    auto* group = new QActionGroup(this);
    lightThemeAction = theme->addAction(tr("Light"));
    darkThemeAction = theme->addAction(tr("Dark"));
    for (QAction* a : {lightThemeAction, darkThemeAction})
    {
        a->setCheckable(true);
        group->addAction(a);
    }
    const bool dark = Preferences::Get().GetProgramStyle() == KXStyleDark;
    darkThemeAction->setChecked(dark);
    lightThemeAction->setChecked(!dark);
    connect(lightThemeAction, &QAction::triggered, this, &MainWindow::setLightTheme);
    connect(darkThemeAction, &QAction::triggered, this, &MainWindow::setDarkTheme);
    connect(edit->addAction(tr("Preferences")), &QAction::triggered, this,
            &MainWindow::editPreferences);
}

void MainWindow::setLightTheme()
{
    ApplyTheme(KXStyleLight);
}

void MainWindow::setDarkTheme()
{
    ApplyTheme(KXStyleDark);
}

void MainWindow::ApplyTheme(KXStyleSheet style)
{
    if (style == KXStyleLight)
    {
        ColorPrefs::Get().LoadDefaultsLight();
    }
    else
    {
        ColorPrefs::Get().LoadDefaultsDark();
    }
    Preferences::Get().SetProgramStyle(style, false);
    setThemeIcons();
    if (lightThemeAction)
    {
        lightThemeAction->setChecked(style == KXStyleLight);
        darkThemeAction->setChecked(style == KXStyleDark);
    }
    updatePlots();
}

void MainWindow::ApplyPanelOrientation()
{
    if (!centralRow)
    {
        return;
    }
    QWidget* const parts[] = {plotArea, panelStack, panelButtonColumn};
    for (QWidget* w : parts)
    {
        centralRow->removeWidget(w);
    }
    if (Preferences::Get().controlPanelOrientation == 1)
    {
        centralRow->addWidget(panelButtonColumn);
        centralRow->addWidget(panelStack);
        centralRow->addWidget(plotArea, 1);
    }
    else
    {
        centralRow->addWidget(plotArea, 1);
        centralRow->addWidget(panelStack);
        centralRow->addWidget(panelButtonColumn);
    }
}

void MainWindow::editPreferences()
{
    Preferences& prefs = Preferences::Get();
    PreferencesDialog dialog(this);
    if (dialog.exec() != QDialog::Accepted)
    {
        return;
    }
    scpiLogDialog->updateEnabledIndicator();
    updateStatusBarStimulusSlot();
    // The next preset takes the new power level; the panels move at once.
    SetDefaultPowerConfig(prefs.onPresetPowerLevel);
    ApplyPanelOrientation();
    // The remote settings, the font size and the language are read at the next start: a client
    // that is connected now keeps its server.
    updatePlots();
}
