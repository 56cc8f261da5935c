// Calibrations measured on the synthetic instrument of error_model.h, filled the way the
// measuring workflow fills a record (mapper entry, role vector merged over the standard's band).
#pragma once

#include "error_model.h"
#include "vna_calibration.h"
#include "vna_calkit.h"
#include "vna_stimulus.h"

namespace testfx
{
// IDs of ModelKit's standards.
enum ModelKitId
{
    kShortId = 1,
    kOpenId = 2,
    kLoadId = 3,
    kThruId = 4
};

// A model based kit with offset delays and skin losses on the reflect standards, a negative
// capacitance polynomial on the open, and a defined thru of the given delay (ps) and loss (Gohm/s).
VNACalKit ModelKit(double thruDelayPs = 82.157, double thruLossGOhmPerS = 0.0);

// The actual reflection of a kit standard in a role (what the error model sees on the port).
std::function<cplx(double)> ShortOf(const VNACalKit& kit, int id);
std::function<cplx(double)> OpenOf(const VNACalKit& kit, int id);
std::function<cplx(double)> LoadOf(const VNACalKit& kit, int id);

struct SyntheticCal
{
    VNACalType type = SOLT;
    int port = 0;           // SOL only
    bool isolation = true;  // measure the isolation vectors (SOLT, SOLR)
    TwoPortFn thru;         // what is actually connected as the thru
};

// Raw sweeps of every role of a calibration, as the measuring workflow takes them.
struct CalSweeps
{
    SParametersRaw reflect[2][3];  // [port][short, open, load] of ModelKit's standards
    SParametersRaw thru;           // the thru standard, in the thru measurement's setup
    SParametersRaw isolation;      // both ports terminated; size 0 when not measured
    // SOLR: receiver sweeps with the thru connected, driving port 1 and port 2, in the slot
    // layout of the device library (S11 = a1, S21 = b1, S12 = b2, S22 = a2).
    SParametersRaw receiversFwd, receiversRev;
};

// Fills a record from the raw sweeps of ModelKit's standards: a mapper entry per role and the
// role's vectors merged over the standard's band; for SOLR the switch terms from the receivers.
VNACalibration FillCalibration(VNACalType type, int port, const VNACalKit& kit,
                               const VNAStimulus& stimulus, const CalSweeps& sweeps);

// Measures every role of a calibration of the given type on `normal` (HDR fields on `hdr`) and
// returns the loaded record.
VNACalibration MeasureCalibration(const SyntheticCal& setup, const VNACalKit& kit,
                                  const VNAStimulus& stimulus, const ErrorModel& normal,
                                  const ErrorModel& hdr);
}  // namespace testfx
