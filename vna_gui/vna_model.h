// The measurement model: device, channels, traces, the trace mapper, the measurement loop and the
// trace chain. Widget-free, so tests, benchmarks and the remote interface reach it without a
// window. It never points back at a widget; it reaches the interface only through queued signals.
#pragma once

#include <QMutex>
#include <QObject>
#include <QVector>
#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>

#include "vna_device.h"
#include "vna_meas.h"

class VnaLib;

class VNAModel : public QObject
{
    Q_OBJECT
public:
    static constexpr int kChannelCount = 8;
    static constexpr int kPlotCount = 32;
    static constexpr int kDisplayCycleMs = 16;
    // Sweeps this short go through one blocking call; polling would only add delay.
    static constexpr double kBlockingSweepTime = 0.002;

    explicit VNAModel(const VnaLib* library = nullptr, QObject* parent = nullptr);
    ~VNAModel() override;

    // --- measurement loop -------------------------------------------------------------------
    void MeasStart();
    void MeasStop();
    bool MeasRunning() const { return measRunning.load(); }
    // Asks the loop for a full reconfiguration at its next round without stopping it.
    void RequestReconfigure();
    void UpdateTempSetpoint();
    void channelPortsEnabled(int channel, bool& fwd, bool& rev);
    // Sets the sweep mode as the trigger panel does, honouring the all-channels scope.
    void SetTriggerMode(int channel, VNASweepMode::Mode mode);
    // True while an enabled channel still has a single sweep to finish.
    bool SingleSweepPending() const;

    // --- trace chain ------------------------------------------------------------------------
    // Runs the chain for every trace of the channel under traceLock. Emits updateControlsSignal
    // when a trace dropped a memory that no longer fits the sweep.
    void CalcTraces(int channel);
    // Stores the channel's processed data as the trace's memory (trace lock, then channel lock).
    void traceStoreMem(VNATrace* trace);
    void traceAutoScale(VNATrace* trace);
    void traceDefaultScale(VNATrace* trace);
    void traceAutoScaleAll();
    void traceDefaultScaleAll();
    // Copies the active trace's scale to the traces of its format that the coupling reaches.
    void traceScaleCouplingHelper();

    // --- equations --------------------------------------------------------------------------
    // The equation settings of one trace, for the Math panel and the equation editor. Each
    // stores the value under traceLock, recalculates the trace's channel and asks the interface
    // to refresh; false when there is no such trace.
    bool SetTraceEquationEnabled(int trace, bool enabled);
    bool SetTraceEquation(int trace, const QString& equation);

    // --- channels and traces ----------------------------------------------------------------
    VNAChannel* ActiveChannel() const { return channels.value(activeChannelIndex, nullptr); }
    bool IsValidChannelIndex(int index) const { return index >= 0 && index < channels.size(); }
    bool IsValidTraceIndex(int index) const { return index >= 0 && index < traces.size(); }
    int GetNextAvailableChannelIndex() const;
    int GetNextTraceIndex() const;
    // The first existing trace, or 0 when there is none; the caller holds traceLock.
    int GetFirstTraceIndex() const;
    // Creates a trace in the first free entry of the list; the caller holds traceLock.
    VNATrace* InternalCreateTrace(int& index);
    // The selected trace, or null; the caller holds traceLock.
    VNATrace* ActiveTrace() const;
    void DeleteAllTraces();

    // Diagnostics of the loop for tests and the status bar.
    uint64_t SweepsStarted() const { return sweepsStarted.load(); }

    VNADevice device;
    QVector<VNAChannel*> channels;
    int activeChannelIndex = 0;

    // Guards traces (the list and every trace's contents), selectedTraceIndex and mapper.
    mutable QMutex traceLock;
    QVector<VNATrace*> traces;
    int selectedTraceIndex = 0;
    TraceChannelMapper mapper;

    // Read by the loop without a lock: written only while the loop is stopped.
    bool rfEnabled = true;
    bool spurReject = false;
    VNAReference reference = VNAReferenceInternal;
    int markerCoupling = 1;
    int scaleCoupling = 0;
    bool triggerScopeAllChannels = false;

    bool fanOverrideEnabled = false;
    int fanOverrideType = 0;
    double fanOverrideSetpoint = 50.0;
    double fanOverrideSpeed = 50.0;
    // What was last commanded: 0 temperature setpoint, 1 fan speed.
    std::atomic<int> fanMode{0};
    std::atomic<double> fanValue{50.0};

signals:
    void updatePlotsSignal();
    void updateControlsSignal();
    void updateSweepModeSignal();
    void updateStatusBarStimulusSignal();
    void updateDiagnosticsSignal(double power, double temperature, double third, int fourth);
    void updateAvgLabelSignal();
    void updateTransformAutoScaleSignal();
    void updateSweepProgressSignal(double percent);
    void updateSweepProgressBarVisibilitySignal(bool visible);
    // A text for the status bar, such as why an equation failed in the last pass.
    void statusMessageSignal(const QString& text);

private:
    void MeasThread();
    void ReconfigureChannels();
    // One channel's turn; returns false when the channel was skipped.
    bool SweepChannel(VNAChannel& channel, int& lastChannel, bool& lastFwd, bool& lastRev);
    void ProgressiveSweep(VNAChannel& channel, SParametersRaw& update, bool fwd, bool rev);
    // Steps of the chain that depend on the channel only, computed once per pass.
    void PrepareChannelData(VNAChannel& channel);
    // Last step of the chain: tracked markers of the trace carry over to coupled traces.
    void CoupleTrackedMarkers(const VNATrace& trace, int traceIndex);
    // Applies edit to the trace under traceLock, then recalculates and refreshes its channel.
    bool EditTrace(int trace, const std::function<void(VNATrace&)>& edit);

    std::thread measThread;
    std::atomic<bool> measRunning{false};
    std::atomic<bool> reconfigure{false};
    std::atomic<uint64_t> sweepsStarted{0};
};

void SetThreadName(std::thread& thread, const char* name);
void SystemSleep(int ms);
