// Control panels: the Markers panel.
#include "control_panels.h"

MarkerControlPanel::MarkerControlPanel(MainWindow* window)
    : PendingControlsPanel(window, {tr("Marker"), tr("Enabled"), tr("Peak Max"), tr("Peak Min"),
                                    tr("Delta"), tr("Tracking"), tr("Bandwidth Search")})
{
}
