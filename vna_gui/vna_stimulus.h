// One channel's sweep description and the clamping rules of every stimulus edit.
#pragma once

#include <QString>
#include <QVector>
#include <cstdint>

class ApplicationSettings;

enum VNASweepType : int32_t
{
    SweepLinear = 0,
    SweepLog = 1,
    SweepSegment = 2
};
QString VNASweepTypeToString(VNASweepType type);

enum VNAPowerConfig : int32_t
{
    VNAPowerHigh = 0,
    VNAPowerLow = 1,
    VNAPowerManualAtten = 2,
    VNAPowerManualPower = 3
};
QString VNAPowerToString(VNAPowerConfig config);

struct VNASweepSegment
{
    double start = 0.0;
    double stop = 0.0;
    int32_t points = 0;
};

// Instrument limits that every stimulus edit clamps to.
namespace StimulusLimits
{
constexpr double kMinFreq = 40e6;
constexpr double kMaxFreq = 40e9;
constexpr double kMinSpan = 0.0;
constexpr double kMaxSpan = 39.96e9;
constexpr int kMinPoints = 1;
constexpr int kMaxPoints = 64001;
constexpr double kMinIFBW = 10.0;
constexpr double kMaxIFBW = 100000.0;
constexpr double kMinAtten = 0.0;
constexpr double kMaxAtten = 30.0;
constexpr double kMinPower = -40.0;
constexpr double kMaxPower = 5.0;
}  // namespace StimulusLimits

class VNAStimulus
{
public:
    VNAStimulus();

    void LoadDefaults();
    bool operator==(const VNAStimulus& other) const;
    bool operator!=(const VNAStimulus& other) const { return !(*this == other); }

    QVector<double> GetFreqVector() const;
    double StepSize() const;
    double EstimateSweepTime() const;
    bool IsTDLowpassCompatible() const;

    // Edits as the operator makes them: out-of-range values are clamped silently and the
    // centre/span invariant is restored (except EditStep, which leaves center alone).
    void EditStart(double f);
    void EditStop(double f);
    void EditCenter(double f);
    void EditSpan(double f);
    void EditStep(double step);
    void EditPoints(int n);
    void EditIFBW(double hz);
    void EditManualAtten(double db);
    void EditManualPower(double dbm);

    void Save(ApplicationSettings& settings) const;
    void Load(ApplicationSettings& settings);

    VNASweepType type = SweepLinear;
    double start = 40e6;
    double stop = 40e9;
    double center = 20.02e9;
    double span = 39.96e9;
    int32_t points = 201;
    double ifbw = 20000.0;
    QVector<VNASweepSegment> segments;
    VNAPowerConfig powerConfig = VNAPowerHigh;
    double manualAtten = 0.0;
    double manualPower = -20.0;
    bool avgEnabled = false;
    int32_t avgCount = 10;
};

// Process-wide default power configuration, taken from the preferences once they exist.
VNAPowerConfig DefaultPowerConfig();
void SetDefaultPowerConfig(VNAPowerConfig config);
