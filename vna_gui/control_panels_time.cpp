// Control panels: the Time Domain and Time Gating panels.
#include "control_panels.h"

TimeDomainPanel::TimeDomainPanel(MainWindow* window)
    : PendingControlsPanel(window, {tr("Transform Enabled"), tr("Type"), tr("Window"), tr("Start"),
                                    tr("Stop"), tr("Units")})
{
}

TimeGatingPanel::TimeGatingPanel(MainWindow* window)
    : PendingControlsPanel(window,
                           {tr("Gate Enabled"), tr("Type"), tr("Shape"), tr("Start"), tr("Stop")})
{
}
