// Control panels: the Fixtures panel.
#include "control_panels.h"

FixtureControlPanel::FixtureControlPanel(MainWindow* window)
    : PendingControlsPanel(
          window, {tr("Port Extension"), tr("Config Port Extension"), tr("De-embedding"),
                   tr("Load Port 1 S2P"), tr("Clear Port 1"), tr("Load Port 2 S2P"),
                   tr("Clear Port 2"), tr("Embedding"), tr("Load Port 1 S2P"), tr("Clear Port 1"),
                   tr("Load Port 2 S2P"), tr("Clear Port 2")})
{
}
