// Helpers for tests against the instrument simulator (linked as vna_api): scene commands for
// kit standards and thrus, and a demanding two-port written to a Touchstone file that the
// scene can load, with the values the instrument then sees.
#pragma once

#include <QString>
#include <QTemporaryDir>
#include <QVector>

#include "network_parameters.h"
#include "vna_calkit.h"
#include "vna_stimulus.h"

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
}  // namespace testfx
