// The frequency-domain gate in its literal form: the convolution as one dot product per row and
// the edge renormalisation as explicit sums over the kernel, O(N^2). The reference that the fast
// gate is checked against, and the baseline of its benchmark.
#pragma once

#include "network_parameters.h"
#include "vna_trace.h"

namespace testfx
{
void GateSParamLiteral(CplxVector& s, double fStart, double fStep, double gateStart,
                       double gateStop, VNAGateType type, VNAGateShape shape);
}  // namespace testfx
