// Channels, their sweep modes, and the mapping of traces onto channels.
#pragma once

#include <QMutex>
#include <QObject>
#include <QString>
#include <QVector>
#include <cstdint>

#include "network_parameters.h"
#include "port_extension.h"
#include "vna_calibration.h"
#include "vna_stimulus.h"
#include "vna_trace.h"

class ApplicationSettings;

class VNASweepMode
{
public:
    enum Mode : int32_t
    {
        Hold = 0,
        Single = 1,
        Continuous = 2
    };

    Mode GetMode() const;
    void SetMode(Mode m);
    // For callers that must read and change the mode as one step (a single sweep ending).
    QMutex& Lock() const { return mutex; }
    Mode modeUnlocked() const { return mode; }
    void setModeUnlocked(Mode m) { mode = m; }

    static QString ToText(Mode m);

private:
    // Guards mode.
    mutable QMutex mutex;
    Mode mode = Continuous;
};

class VNAChannel : public QObject
{
    Q_OBJECT
public:
    explicit VNAChannel(int index);

    void LoadDefaults();
    QString Name() const;
    QString GetShortName() const;

    void ClearAveraging();
    void PerformAveraging(const SParametersRaw& update);
    SParameters ApplyCorrections(const SParametersRaw& raw) const;
    bool IsFullyCorrected() const;
    bool IsInterpolating() const;
    // Copies everything but the index and the locks.
    void Copy(const VNAChannel& other);

    void Save(ApplicationSettings& settings) const;
    void Load(ApplicationSettings& settings);

    const int index;
    bool enabled = false;
    VNASweepMode sweepMode;
    bool calibrationEnabled = true;
    bool interpolationEnabled = true;
    bool timeGateCouplingEnabled = false;
    bool isImportedS2PData = false;
    VNAStimulus stimulus;
    SParametersRaw MeasRaw;
    // Guards MeasAvg, avgCurrent and avgPosition.
    mutable QMutex measLock;
    SParametersRaw MeasAvg;
    int32_t avgCurrent = 0;
    int32_t avgPosition = 0;
    SParameters MeasCal;
    // Written by the chain under the model's traceLock (or with the loop stopped), so readers
    // holding traceLock, equations among them, need no other lock.
    SParameters processed;
    VNACalibration calibration;
    VNACalibration factoryCalibration;
    VNAPortExtension portExtension;
    VNADeembed deembedding;
    VNADeembed embedding;
    double velocityFactor = 1.0;

signals:
    void updateTraceControls();
    void updatePlots();
};

class TraceChannelMapper
{
public:
    static constexpr int kChannels = 8;

    void Clear();
    void DeleteChannel(int channel);
    void SetPos(int channel, int place, int trace);
    int GetPos(int channel, int place) const;
    bool IsDefined(int channel, int place) const;
    int GetNextAvailablePos(int channel) const;
    void Remove(int trace);
    QVector<int> GetTracesOnChannel(int channel) const;
    // Places (measure numbers from 0) that hold a trace, in order.
    QVector<int> GetSCPITracesOnChannel(int channel) const;
    void PrintMapping() const;

    void SavePreset(ApplicationSettings& settings) const;
    void LoadPreset(ApplicationSettings& settings);

private:
    QVector<int> map[kChannels];
};
