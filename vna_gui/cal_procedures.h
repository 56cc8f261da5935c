// Procedures on a calibrated channel (docs/calibration_kits.md): kit characterisation, which
// keeps a measured standard as a data based standard of a kit, and system verification, which
// compares a measured verification device with its Touchstone data.
#pragma once

#include <QString>
#include <QVector>

#include "network_parameters.h"
#include "vna_calkit.h"

// What is measured and how it enters the kit.
struct StandardCharacterization
{
    // 0 or 1: a one-port standard on that port. 2: a two-port standard between the ports.
    int port = 0;
    CalClass cls = CalClassShort;
    QString description;
    VNAGender gender = VNAMale;
};

// Adds the corrected measurement as a data based standard to the kit, in the class asked for,
// valid over the measured band. A one-port standard keeps its port's reflection as DataS11.
// Returns the new standard's ID, or -1 when the kit has no ID left or the data are empty.
int AddMeasuredStandard(VNACalKit& kit, const StandardCharacterization& request,
                        const QVector<double>& freqs, const SParameters& corrected);

// One parameter's comparison: the largest vector difference |measured - reference| over the
// points inside the reference's band, and where it occurred.
struct VerificationParameter
{
    bool compared = false;
    bool pass = false;
    int points = 0;
    double worst = 0.0;
    double worstFreq = 0.0;
};

struct VerificationReport
{
    double tolerance = 0.0;
    VerificationParameter params[4];  // S11, S21, S12, S22

    // Every compared parameter passed, and at least one was compared.
    bool Passed() const;
    // One line per parameter: "S21: PASS, worst difference 0.0012 (-58.4 dB) at 2.3400 GHz".
    QString Text() const;
};

// Compares the measurement with the device's data, interpolated onto the measured frequencies
// (magnitude and phase). A one-port reference (isS1P) is compared on S11 only; points outside
// the reference's band are not compared.
VerificationReport VerifyMeasurement(const QVector<double>& freqs, const SParameters& measured,
                                     const QVector<double>& refFreqs,
                                     const SParameters& reference, bool isS1P, double tolerance);
