// Remote bodies: instrument state files.
#include "mainwindow_scpi.h"

const ScpiFamily& scpiPresetFamily()
{
    static const ScpiFamily family{"presets", "instrument state files", {{20, 21}}, {}};
    return family;
}
