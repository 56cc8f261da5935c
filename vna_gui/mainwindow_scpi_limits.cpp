// Remote bodies: limit and ripple tests of a measurement.
#include "mainwindow_scpi.h"

const ScpiFamily& scpiLimitFamily()
{
    static const ScpiFamily family{"limit tests", "limit and ripple tests", {{170, 185}}, {}};
    return family;
}
