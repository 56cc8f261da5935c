// The widget-free steps of a mechanical calibration: which standard may serve a role, how a
// measured standard goes into the record, and how a finished record is completed, written and
// put into a channel. The dialogs and the remote commands share them.
#pragma once

#include <QString>

#include "network_parameters.h"
#include "vna_calibration.h"
#include "vna_calkit.h"

class VNADevice;
class VNAModel;

// The measuring steps of a mechanical calibration.
enum class CalStep
{
    Short,
    Open,
    Load,
    Thru,
    Isolation
};

// Whether a standard may serve in a reflect role (a data based standard serves in any; a load
// role also takes a sliding load).
bool StandardFitsRole(const CalKitStandardInfo& standard, CalOnePortRole role);

// Merges the reflection a measurement took on `port` (0 or 1) into the role's vectors over the
// standard's band, after putting the standard into the role's mapper. A one-port record reads
// its own port and keeps no HDR data; `port` then goes unused. Returns whether the role's
// standards now cover the whole sweep.
bool MergeReflectStandard(VNACalibration& cal, int port, CalOnePortRole role,
                          const CalKitStandardInfo& standard, const SParametersRaw& raw);
// The same for the thru: all four parameters, normal and HDR.
bool MergeThruStandard(VNACalibration& cal, const CalKitStandardInfo& standard,
                       const SParametersRaw& raw);
// Both ports terminated: the transmission of the whole sweep becomes the isolation vectors.
void StoreIsolation(VNACalibration& cal, const SParametersRaw& raw);
// The switch terms and termination ratios of an unknown thru, from one receiver sweep driving
// port 1 and one driving port 2, with the thru connected.
void StoreSwitchTerms(VNACalibration& cal, const SParametersRaw& forward,
                      const SParametersRaw& reverse);

// What a finished record learns at its end: its name from the file it is saved to, the
// instrument's temperature and serial number, the time, and that it is complete.
void CompleteCalibration(VNACalibration& cal, const VNADevice& device, const QString& path);
// Writes the record to path, replacing what the file held; false with the reason when the file
// cannot be written.
bool WriteCalibrationFile(const VNACalibration& cal, const QString& path, QString& error);
// The record written to path and its terms solved for its own sweep, ready for a channel.
// Long at the largest sweeps: callers keep it off the GUI thread.
bool SaveAndBuildCalibration(VNACalibration& cal, const QString& path, QString& error);
// Makes the record the channel's calibration, between stopping and restarting the measurement
// loop; with takeStimulus the channel also takes the record's sweep. The record is best solved
// beforehand for the sweep the channel will have: the loop solves it again only when it runs.
void InstallCalibration(VNAModel& model, int channel, VNACalibration cal, bool takeStimulus);
