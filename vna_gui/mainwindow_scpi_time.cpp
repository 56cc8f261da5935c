// Remote bodies: the time transform and the time gate of a measurement.
#include "mainwindow_scpi.h"

const ScpiFamily& scpiTimeDomainFamily()
{
    static const ScpiFamily family{
        "time domain and gating", "time domain and gating", {{186, 225}}, {}};
    return family;
}
