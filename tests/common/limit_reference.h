// Limit and ripple verdicts written from their definition, point by point with no shortcut: the
// references that the fast evaluation and the program's verdicts are checked against.
#pragma once

#include <QVector>

#include "vna_trace.h"

namespace testfx
{
// The line at x: fraction and its complement in single precision, products in double.
double RefLine(const VNALimitRange& r, double x);
// Every range against every point.
bool RefLimitPass(const QVector<VNALimitRange>& ranges, const QVector<double>& x,
                  const QVector<double>& y);
// The ripple scan point by point; meas holds one result per range.
bool RefRipple(const QVector<VNARippleLimitRange>& ranges, QVector<VNARippleMeas>& meas,
               const QVector<double>& x, const QVector<double>& y);
}  // namespace testfx
