// The calibration record of one channel and the object that applies it.
// (The solvers and the file format arrive with the calibration engine; this is the interface the
// channel and the measurement loop rely on.)
#pragma once

#include <QDateTime>
#include <QString>

#include "network_parameters.h"
#include "vna_stimulus.h"

enum VNACalType : int32_t
{
    SOLT = 0,
    SOL = 1,
    SOLR = 2
};
QString VNACalTypeToString(VNACalType type);
bool Is2PortCal(VNACalType type);

class VNACalibration
{
public:
    bool CorrectionsLoaded() const { return loaded; }
    bool CorrectionsReady() const { return built; }
    bool IsInterpolated() const { return interpolated; }
    VNACalType GetCalType() const { return type; }
    double CalibrationTemperature() const { return loaded ? temperature : 50.0; }
    void Unload();

    void BuildCorrections(const VNAStimulus& applied);
    SParameters ApplyCorrections(const SParametersRaw& raw, bool interpolationAllowed) const;

private:
    VNAStimulus stimulus;
    QDateTime date;
    double temperature = 0.0;
    VNACalType type = SOLT;
    int32_t serialNumber = -1;
    bool loaded = false;
    bool built = false;
    bool interpolated = false;
};
