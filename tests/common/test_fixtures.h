// Shared test helpers: an isolated settings/documents location and synthetic measurement data.
#pragma once

#include <QString>
#include <QTemporaryDir>
#include <QVector>
#include <complex>
#include <functional>

#include "network_parameters.h"
#include "trace_formats.h"
#include "vna_stimulus.h"

class VNAModel;
class VNATrace;

namespace testfx
{
// Puts QStandardPaths into test mode and gives the process a private home folder, so no test
// touches the user's real files.
void IsolateUserFiles();

// A stimulus with the given linear sweep.
VNAStimulus Stimulus(double start, double stop, int points);

// A smooth, non-trivial complex response per parameter, for round trips and comparisons.
SParameters SmoothSParams(const QVector<double>& freqs);

// Writes text to a file in dir and returns its path.
QString WriteFile(const QTemporaryDir& dir, const QString& name, const QByteArray& contents);

// Largest element-wise |a - b|; infinity when sizes differ.
double MaxDifference(const CplxVector& a, const CplxVector& b);
// The same over all four parameters.
double MaxDifference(const SParameters& a, const SParameters& b);

// Creates a trace on the channel under the model's trace lock and gives it the channel's next
// place in the mapper.
VNATrace* AddTrace(VNAModel& model, int channel, VNATraceMeas meas, VNATraceFormat format);

// Asks done every 5 ms for up to 15 s, and returns its last answer.
bool WaitFor(const std::function<bool()>& done);
}  // namespace testfx
