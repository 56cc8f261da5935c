// Control panels: the Calibration panel.
#include "control_panels.h"

CalibrationControlPanel::CalibrationControlPanel(MainWindow* window)
    : PendingControlsPanel(
          window,
          {tr("Start New Calibration (Mechanical)"), tr("Start New Calibration (Electronic)"),
           tr("Load Calibration"), tr("Unload Calibration"), tr("Cal Loaded"), tr("Cal Enabled"),
           tr("Interp Enabled"), tr("Cal Set Viewer"), tr("Display"), tr("Standards"),
           tr("Error Terms")})
{
}
