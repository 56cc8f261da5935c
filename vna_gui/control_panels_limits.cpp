// Control panels: the Limits panel.
#include "control_panels.h"

LimitLinePanel::LimitLinePanel(MainWindow* window)
    : PendingControlsPanel(window,
                           {tr("Enabled"), tr("Show"), tr("Define Limits"), tr("Ripple Enabled"),
                            tr("Ripple Show"), tr("Define Ripple Limits")})
{
}
