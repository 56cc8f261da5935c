// Control panels: the Calibration panel.
#include <QCheckBox>
#include <QFormLayout>
#include <QMutexLocker>
#include <QVBoxLayout>

#include "control_panels.h"
#include "kx_widgets.h"
#include "mainwindow.h"

CalibrationControlPanel::CalibrationControlPanel(MainWindow* window) : PanelBase(window)
{
    auto* start = new KXPushButton(tr("Start New Calibration (Mechanical)"), this);
    auto* startElectronic = new KXPushButton(tr("Start New Calibration (Electronic)"), this);
    auto* load = new KXPushButton(tr("Load Calibration"), this);
    auto* unload = new KXPushButton(tr("Unload Calibration"), this);
    for (QWidget* b : {start, startElectronic, load, unload})
    {
        Column()->addWidget(b);
    }
    loaded = new QCheckBox(this);
    // Shows the state; loading is the buttons' business.
    SetAvailable(loaded, false, tr("Shows whether the channel holds a calibration."));
    enabled = new QCheckBox(this);
    interpolate = new QCheckBox(this);
    QFormLayout* f = Form();
    f->addRow(tr("Cal Loaded"), loaded);
    f->addRow(tr("Cal Enabled"), enabled);
    f->addRow(tr("Interp Enabled"), interpolate);
    BuildViewerRows();

    connect(start, &QPushButton::clicked, w, &MainWindow::calStartNewCalibration);
    connect(startElectronic, &QPushButton::clicked, w, &MainWindow::calStartNewECalibration);
    connect(load, &QPushButton::clicked, w, QOverload<>::of(&MainWindow::calLoad));
    connect(unload, &QPushButton::clicked, w, QOverload<>::of(&MainWindow::calUnload));
    connect(enabled, &QCheckBox::toggled, w, QOverload<bool>::of(&MainWindow::calEnabledChanged));
    connect(interpolate, &QCheckBox::toggled, w,
            QOverload<bool>::of(&MainWindow::calInterpolateChanged));
}

void CalibrationControlPanel::BuildViewerRows()
{
    viewer = new QCheckBox(this);
    display = new KXComboBox(this);
    display->AddItem(tr("Standards"), int(CalSetViewMeasured));
    display->AddItem(tr("Error Terms"), int(CalSetViewErrorTerms));
    standards = new KXComboBox(this);
    errorTerms = new KXComboBox(this);
    for (int t = 0; t < VNACalibration::kTermCount; ++t)
    {
        standards->AddItem(CalSetStdTermToString(t), t);
        errorTerms->AddItem(CalSetErrTermToString(t), t);
    }
    QFormLayout* f = Form();
    f->addRow(tr("Cal Set Viewer"), viewer);
    f->addRow(tr("Display"), display);
    f->addRow(tr("Standards"), standards);
    f->addRow(tr("Error Terms"), errorTerms);

    connect(viewer, &QCheckBox::toggled, w, QOverload<bool>::of(&MainWindow::calSetViewerEnabled));
    connect(display, &KXComboBox::comboIndexChanged, this,
            [this] { w->calSetViewerDisplayChanged(display->GetCurrentData().toInt()); });
    connect(standards, &KXComboBox::comboIndexChanged, this,
            [this] { w->calSetViewerStdTermChanged(standards->GetCurrentData().toInt()); });
    connect(errorTerms, &KXComboBox::comboIndexChanged, this,
            [this] { w->calSetViewerErrTermChanged(errorTerms->GetCurrentData().toInt()); });
}

void CalibrationControlPanel::UpdateControls()
{
    VNAModel& m = w->Model();
    const VNAChannel* c = m.ActiveChannel();
    QMutexLocker lock(&m.traceLock);
    SetChecked(loaded, c && c->calibration.CorrectionsLoaded());
    SetChecked(enabled, c && c->calibrationEnabled);
    SetChecked(interpolate, c && c->interpolationEnabled);
    const VNATrace* t = m.ActiveTrace();
    for (QWidget* control : {static_cast<QWidget*>(viewer), static_cast<QWidget*>(display),
                             static_cast<QWidget*>(standards), static_cast<QWidget*>(errorTerms)})
    {
        SetAvailable(control, t != nullptr, NoTraceReason());
    }
    if (!t)
    {
        return;
    }
    SetChecked(viewer, t->calSetViewEnabled);
    display->SetByData(int(t->calSetDisplay));
    standards->SetByData(int(t->calSetStdTerm));
    errorTerms->SetByData(int(t->calSetErrTerm));
    // Only the list the display shows is in use.
    SetAvailable(standards, t->calSetDisplay == CalSetViewMeasured,
                 tr("Set Display to Standards to choose a standard."));
    SetAvailable(errorTerms, t->calSetDisplay == CalSetViewErrorTerms,
                 tr("Set Display to Error Terms to choose an error term."));
}
