// User characterisation of the uCal module: its four switch states measured through an
// instrument corrected by a mechanical two-port calibration, turned into a kit that stands in
// for the factory characterisation.
#pragma once

#include <QString>
#include <QVector>

#include "maury_ucal.h"
#include "network_parameters.h"
#include "vna_calibration.h"
#include "vna_calkit.h"

// Which instrument port (0 or 1) each module port (A = 0, B = 1) is connected to.
struct UCalPortMap
{
    bool IsValid() const;
    bool IsCrossed() const { return vnaPortOfUCalPort[0] == 1; }

    int vnaPortOfUCalPort[2] = {0, 1};
};

// A two-port measured in instrument port order, in the module's port order.
SParameters ToModulePorts(const SParameters& vnaOrder, const UCalPortMap& map);

// Whether the calibration can correct the characterisation's sweeps: a mechanical two-port
// calibration, solved. False with the reason.
bool CanCharacterizeWith(const VNACalibration& cal, QString& error);

class UCalUserCharacterization
{
public:
    static constexpr int kStateCount = 4;

    // Starts over for a module, measured on these frequencies (Hz) through this port map.
    void Begin(const UCalIdentity& module, const QVector<double>& freqs, const UCalPortMap& map);
    // Stores the corrected two-port measured with the module in a state (MauryUCal::State), in
    // instrument port order. False with the reason for a bad state or size.
    bool SetMeasurement(int state, const SParameters& corrected, QString& error);
    // Corrects a raw sweep with the mechanical calibration, then stores it as above.
    bool AddSweep(int state, const SParametersRaw& raw, const VNACalibration& cal, QString& error);
    bool HasMeasurement(int state) const;
    bool IsComplete() const;

    // The seven sets in the module's port order; the sets of unmeasured states stay empty.
    UCalDataSets DataSets() const;
    // The user kit: the factory kit's standards made from the measured sets.
    VNACalKit BuildKit() const;

    const UCalIdentity& Identity() const { return module; }
    const QVector<double>& Freqs() const { return freqs; }
    const UCalPortMap& PortMap() const { return map; }
    // The module's temperature during the measurements, for the record.
    void SetTemperature(double celsius) { temperature = celsius; }
    double Temperature() const { return temperature; }

private:
    UCalIdentity module;
    QVector<double> freqs;
    UCalPortMap map;
    double temperature = 0.0;
    bool measured[kStateCount] = {false, false, false, false};
    SParameters states[kStateCount];  // in the module's port order
};

// The base name of a module's user kit file: model and serial number, safe in a file name.
QString UCalUserKitName(const UCalIdentity& module);

// Per set, the largest |a - b| over a's frequencies that lie within b's, b interpolated there;
// -1 for a set that either side lacks. How far a user characterisation is from the factory's.
QVector<double> CompareUCalDataSets(const UCalDataSets& a, const UCalDataSets& b);

// Writes the kit as a .skt file. False with the reason.
bool SaveUCalUserKit(const VNACalKit& kit, const QString& path, QString& error);
