// Marker searches written the plain way, as references for the program's own: a literal walk for
// the peak rule, full scans for nearest points and extremes, and the bandwidth edges by walking
// out from the peak.
#pragma once

#include <QVector>

namespace testfx
{
// The peak rule read literally: candidates, then a walk on each side point by point.
QVector<int> WalkPeaks(const QVector<double>& y, double threshold, double excursion);

// Nearest point by a full scan, lowest index on ties.
int NearestIndex(const QVector<double>& v, double pos);

// The first largest (or smallest) value by a full scan.
int ExtremeIndex(const QVector<double>& v, bool maximum);

// Where y falls to limit (negative, dB) below the value at peak on each side, by linear
// interpolation between the last point above and the first at or below; false when a side never
// falls that far.
bool BandEdges(const QVector<double>& x, const QVector<double>& y, int peak, double limit,
               double& low, double& high);
}  // namespace testfx
