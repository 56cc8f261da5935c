// Channels, their sweep modes, and the mapping of traces onto channels.
#pragma once

#include <QMutex>
#include <QObject>
#include <QString>
#include <QVector>
#include <atomic>
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
    // Takes the update's points new since the last call: into MeasAvg as they are, or averaged
    // into it with the latest raw S-parameters kept beside (MeasLatest). Receivers are never
    // averaged.
    void PerformAveraging(const SParametersRaw& update);
    // The latest raw (unaveraged) data as averaging took it, safe to call from any thread
    // while the measurement loop runs; MeasRaw itself is written by the device during a sweep.
    CplxVector RawSParam(VNATraceMeas meas) const;
    // The receiver named "a1fwd" ... "b2rev" into out; false for any other word.
    bool RawReceiver(const QString& word, CplxVector& out) const;
    SParameters ApplyCorrections(const SParametersRaw& raw) const;
    // Which correction ApplyCorrections uses: the user calibration when it is on and fits the
    // sweep, otherwise the factory one when the preference asks for it and it fits.
    bool AppliesUserCorrection() const;
    bool AppliesFactoryCorrection() const;
    bool IsFullyCorrected() const;
    bool IsInterpolating() const;
    // Copies everything but the index and the locks.
    void Copy(const VNAChannel& other);

    void Save(ApplicationSettings& settings) const;
    void Load(ApplicationSettings& settings);

    VNADeembed& Fixture(FixtureKind kind)
    {
        return kind == FixtureKind::Embedding ? embedding : deembedding;
    }
    const VNADeembed& Fixture(FixtureKind kind) const
    {
        return kind == FixtureKind::Embedding ? embedding : deembedding;
    }

    const int index;
    bool enabled = false;
    VNASweepMode sweepMode;
    bool calibrationEnabled = true;
    bool interpolationEnabled = true;
    bool timeGateCouplingEnabled = false;
    bool isImportedS2PData = false;
    VNAStimulus stimulus;
    SParametersRaw MeasRaw;
    // Guards MeasAvg, MeasLatest, rawInAvg, avgCurrent and avgPosition.
    mutable QMutex measLock;
    SParametersRaw MeasAvg;
    // The latest S-parameters unaveraged, kept while averaging is on; with it off, MeasAvg
    // holds them (rawInAvg).
    SParameters MeasLatest;
    bool rawInAvg = true;
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
    // Whole sweeps the loop has finished on this channel: a dialog waits on it for fresh data.
    std::atomic<uint64_t> sweepsDone{0};
    // Set while a dialog needs both directions swept whatever the traces ask for.
    std::atomic<bool> measureBothPorts{false};

private:
    // Parts of PerformAveraging, under measLock: the update's new points into MeasLatest, and
    // the weighted mean of the ratio vectors.
    void KeepLatest(const SParametersRaw& update, int end);
    void AverageRatios(const SParametersRaw& update, int end);

signals:
    void updateTraceControls();
    void updatePlots();
};

class TraceChannelMapper
{
public:
    static constexpr int kChannels = 8;
    // Measure places of one channel: a bound so that no number a client writes can make the
    // table grow without end.
    static constexpr int kPlaces = 1024;

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
