// Remote bodies: the calibration of a channel: state, sets, kits and remote calibration.
#include "mainwindow_scpi.h"

const ScpiFamily& scpiCorrectionFamily()
{
    static const ScpiFamily family{"correction", "calibration in use", {{29, 50}}, {}};
    return family;
}
