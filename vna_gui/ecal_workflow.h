// The widget-free steps of an electronic calibration: which of the module's standards serves a
// class on a module port, and the kit turned to the way the module's ports sit on the
// instrument's.
#pragma once

#include <QVector>

#include "maury_ucal_char.h"
#include "vna_calkit.h"

// The standards of a class whose module port (0 for port A, 1 for port B) is uCalPort.
QVector<CalKitStandardInfo> FindUCalStd(const VNACalKit& kit, CalClass cls, int uCalPort);

// The port map of a setup that puts module port uCalPort on instrument port vnaPort (both 0 or
// 1); the other module port goes to the other instrument port.
UCalPortMap ECalPortMap(int vnaPort, int uCalPort);

// The module's state that presents a class; -1 for a class the module has no state for.
int UCalStateOfClass(CalClass cls);

// The kit as the instrument sees it through the map: a crossed map turns every data based thru
// round, since the module's thru data has port A as its port 1.
VNACalKit OrientUCalKit(const VNACalKit& kit, const UCalPortMap& map);
