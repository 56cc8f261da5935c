// Remote bodies: the markers of a measurement, their searches and coupling.
#include "mainwindow_scpi.h"

const ScpiFamily& scpiMarkerFamily()
{
    static const ScpiFamily family{"markers", "markers", {{137, 169}}, {}};
    return family;
}
