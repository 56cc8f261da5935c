// Calibrations measured on the instrument simulator through the device layer, standard by
// standard as the measuring workflow takes them, and the scene helpers they need. For tests that
// link the simulator (vna_api); the loop must not be sweeping on the device meanwhile.
#pragma once

#include <QString>
#include <QVector>

#include "cal_fixtures.h"
#include "vna_calibration.h"
#include "vna_stimulus.h"

class VNADevice;

namespace testfx
{
// Runs one scene command on the simulator; true on success, a warning with the reply otherwise.
bool Scene(const QString& line);

// The scene command that puts a kit's reflect standard, with its offset and polynomial, on a
// port (0 or 1).
QString ConnectStandard(const CalKitStandardInfo& s, int port);
QString ConnectThru(double delayPs, double lossGOhm, double z0);

// The frequencies as the instrument steps them.
QVector<double> SweepFreqs(const VNAStimulus& s);

// One standard (or device) measured as the workflow measures it: configured for both directions
// with the calibration's HDR flags, then `count` paced sweeps, polled to their end and averaged
// as a plain complex mean.
SParametersRaw Measure(VNADevice& dev, const VNAStimulus& stim, bool hdr, bool hdrThru,
                       int count = 1);
// The receivers of one drive direction (port 0 or 1), for the switch terms.
SParametersRaw Receivers(VNADevice& dev, const VNAStimulus& stim, int port);

struct SimCal
{
    VNACalType type = SOLT;
    int port = 0;           // SOL only
    bool isolation = true;  // two-port only
    QString thruCommand;    // the scene command that connects the thru
};

// Every role measured on the simulator, one port and one standard at a time, and the record
// filled as the workflow fills it. SOLR sweeps without HDR and reads the switch terms right after
// the thru, with the thru still connected. An empty record when a scene command fails.
VNACalibration CalibrateOnSim(VNADevice& dev, const SimCal& setup, const VNACalKit& kit,
                              const VNAStimulus& stim);
}  // namespace testfx
