// Helpers for tests against the instrument simulator (linked as vna_api): scene commands for
// kit standards and thrus, and a demanding two-port written to a Touchstone file that the
// scene can load, with the values the instrument then sees.
#pragma once

#include <QString>
#include <QTemporaryDir>
#include <QVector>

#include "cal_fixtures.h"
#include "network_parameters.h"
#include "vna_calibration.h"
#include "vna_calkit.h"
#include "vna_stimulus.h"

class VNADevice;
class VNAModel;

namespace testfx
{
// The frequencies of a linear sweep as the instrument steps them.
QVector<double> SweepFreqs(const VNAStimulus& s);

// Runs a scene command on the simulator; true on "ok", with a warning naming it otherwise.
bool Scene(const QString& line);

// The scene command that puts a kit's reflect standard, with its offset and polynomial, on a
// port (0 or 1).
QString ConnectStandard(const CalKitStandardInfo& standard, int port);
// The scene command for a thru of the kit's model (delay in ps, loss in Gohm/s).
QString ConnectThru(double delayPs, double lossGOhm, double z0);

// A demanding two-port of our own: strong, unequal reflections, transmission that differs
// between the directions, and a forward notch deep enough (below -40 dB) to take the corrected
// value from the HDR data.
SParameters DemandingDut(const QVector<double>& f);

struct Dut
{
    QString path;
    QVector<double> freqs;  // as read back
    SParameters data;       // as read back: what the instrument sees between the nodes
};

// Writes DemandingDut as a Touchstone file in dir, on a grid that does not meet the sweeps'
// points, and reads it back (the file keeps 6 decimals).
bool WriteDut(const QTemporaryDir& dir, Dut& dut);
// The device at the given frequencies, interpolated as the simulator's scene does.
SParameters DutAt(const Dut& dut, const QVector<double>& f);
// What a one-port calibration of a port (0 or 1) corrects a two-port device to: its input
// reflection with the far port terminated by the simulator's load match there (elf while port
// 1 drives, elr while port 2 drives), in closed form.
CplxVector OnePortThroughDut(const SParameters& s, const QVector<double>& f, int port);

// Loads the Dut into the scene, waits for two of the channel's sweeps and gives the largest
// error of its corrected data (MeasCal) against the device: a one-port calibration of calPort
// against OnePortThroughDut, a two-port one against all four parameters. Infinity when the scene
// or the sweeps fail.
double CorrectedError(VNAModel& model, int channel, const Dut& dut, VNACalType type, int calPort);

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
