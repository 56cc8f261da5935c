// The time-domain view of frequency data: band-pass and low-pass transforms with their Kaiser
// windows, time gating of frequency data, the low-pass frequency grid, and the conversion of
// transform time into distance.
#pragma once

#include <QString>
#include <QVector>
#include <complex>
#include <cstdint>
#include <utility>

#include "network_parameters.h"
#include "vna_trace.h"

class VNAStimulus;

// Time to distance, metres per second, before velocity factor and the reflection halving.
constexpr double kDistancePerSecond = 299792500.0;
// An electrical delay as the length of line that makes it, and back, at a velocity factor.
inline double ElecDelayToLength(double seconds, double velocityFactor)
{
    return seconds * kDistancePerSecond * velocityFactor;
}
inline double LengthToElecDelay(double metres, double velocityFactor)
{
    return metres / (kDistancePerSecond * velocityFactor);
}

// --- windows and shifts ----------------------------------------------------------------------
// Symmetric Kaiser window I0(beta sqrt(1 - u^2)) / I0(beta), filled from the centre out; all
// ones for beta 0, and 1 for a single point.
void GetKaiserWindow_64f(double* w, int n, double beta);
// Scales w to a mean of 1, so that a windowed flat spectrum keeps its peak height.
void NormalizeWindow(double* w, int n);
// Moves index 0 to index n / 2. src and dst must not overlap.
void FFTShift(const std::complex<double>* src, std::complex<double>* dst, int n);
// The opposite shift: brings index n / 2 to index 0. src and dst must not overlap.
void IFFTShift(const std::complex<double>* src, std::complex<double>* dst, int n);

double TransformWindowBeta(const VNATransformSettings& settings);
double WindowBetaFromGateShape(VNAGateShape shape);

// --- transform -------------------------------------------------------------------------------
// k of a low-pass grid: start / step rounded half away from zero; 0 for a sweep without a step.
int64_t LowpassStartIndex(const VNAStimulus& stimulus);
// Band-pass (complex, N points) or low-pass impulse or step (real, 2 (N + k) - 1 points) of the
// frequency data in; x in seconds. A low-pass record longer than kMaxLowpassLength comes back
// empty: the stimulus is then far from a harmonic grid and the response would take the memory.
constexpr int64_t kMaxLowpassLength = int64_t(1) << 22;
void TransformSParam(const VNAStimulus& stimulus, const VNATransformSettings& settings,
                     const CplxVector& in, QVector<double>& x, CplxVector& out);
// First and last x that TransformSParam gives for a sweep of the stimulus's point count.
std::pair<double, double> GetTimeDomainFullScale(const VNAStimulus& stimulus,
                                                 const VNATransformSettings& settings);

// --- gating ----------------------------------------------------------------------------------
// Gates s in place by convolving it with a windowed gate kernel, renormalised where the kernel
// reaches beyond the data or onto exact zeros. O(N log N).
void GateSParamConv(CplxVector& s, double fStart, double fStep, double gateStart, double gateStop,
                    VNAGateType type, VNAGateShape shape);
// The direct form: window, to time, gate, back to frequency, unwindow. Kept as a second mode;
// it is not the chain's gate.
void GateSParam(CplxVector& s, double fStart, double fStep, double gateStart, double gateStop,
                VNAGateType type, VNAGateShape shape);

// --- settings rules --------------------------------------------------------------------------
// False when a low-pass type is asked for on a stimulus whose grid does not reach DC; the
// operator is then warned and band-pass is kept.
bool IsTransformTypeAllowed(VNATransformType type, const VNAStimulus& stimulus);
// The stimulus moved onto a grid whose start equals its step. False (next untouched) when the
// stimulus already suits a low-pass transform or its start is already its step.
bool LowpassCompatibleStimulus(const VNAStimulus& current, VNAStimulus& next);

// --- distance --------------------------------------------------------------------------------
// Metres per second of transform time: velocity factor applied, halved for reflection (marker
// mode reflection, or auto on S11 and S22).
double MetersPerSecond(const VNATransformSettings& settings, VNATraceMeas meas);
double MetersToUnits(double meters, VNATransformUnits units);
double UnitsToMeters(double value, VNATransformUnits units);
// Transform time in the settings' units (seconds for time), and back.
double TimeToDisplayUnits(double t, const VNATransformSettings& settings, VNATraceMeas meas);
double DisplayUnitsToTime(double value, const VNATransformSettings& settings, VNATraceMeas meas);
// A transform time as the axis and the markers show it: a time text in time units, otherwise the
// distance in metres, feet or inches.
QString TimeToDisplayString(double t, const VNATransformSettings& settings, VNATraceMeas meas,
                            int digits);

// --- ranges that operator edits are held to ---------------------------------------------------
constexpr double kMinVelocityFactor = 0.1;
constexpr double kMaxVelocityFactor = 1.0;
// Past Maximum's 13 a custom window only narrows further; at 20 its side lobes are already far
// below any measurement's noise.
constexpr double kMaxWindowBeta = 20.0;
// The displayed time span never collapses to nothing, which would leave the plot no scale.
constexpr double kMinTimeSpan = 1e-15;
