// The measurement model: device, channels, traces, the trace mapper, the measurement loop and the
// trace chain. Widget-free, so tests, benchmarks and the remote interface reach it without a
// window. It never points back at a widget; it reaches the interface only through queued signals.
#pragma once

#include <QMutex>
#include <QObject>
#include <QVector>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
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
    // While a calibration dialog holds the instrument MeasStart does nothing: the dialog's own
    // thread sweeps, and an edit that restarts the loop around a change leaves it stopped.
    // Written and read on the GUI thread only.
    void SetDeviceHeld(bool held) { deviceHeld = held; }
    bool DeviceHeld() const { return deviceHeld; }
    // Asks the loop for a full reconfiguration at its next round without stopping it.
    void RequestReconfigure();
    void UpdateTempSetpoint();
    void channelPortsEnabled(int channel, bool& fwd, bool& rev);
    // Sets the sweep mode as the trigger panel does, honouring the all-channels scope.
    void SetTriggerMode(int channel, VNASweepMode::Mode mode);
    // True while an enabled channel still has a single sweep to finish.
    bool SingleSweepPending() const;
    // Restarts the loop so that the channel's next sweep is taken whole, with both directions
    // whatever its traces ask for (a channel in hold sweeps once). Returns the channel's
    // sweepsDone count that marks that sweep. EndFreshSweep gives the directions back.
    uint64_t BeginFreshSweep(int channel);
    void EndFreshSweep(int channel);
    // How long one sweep of every enabled channel may take, with a generous margin.
    qint64 FreshSweepTimeoutMs() const;

    // --- trace chain ------------------------------------------------------------------------
    // Runs the chain for every trace of the channel under traceLock. Emits updateControlsSignal
    // when a trace dropped a memory that no longer fits the sweep.
    void CalcTraces(int channel);
    void CalcAllTraces();
    // Stores the channel's processed data as the trace's memory (trace lock, then channel lock).
    void traceStoreMem(VNATrace* trace);
    void traceAutoScale(VNATrace* trace);
    void traceDefaultScale(VNATrace* trace);
    void traceAutoScaleAll();
    void traceDefaultScaleAll();
    // Copies a trace's scale (the active trace's when -1) to the traces of its format that the
    // coupling reaches.
    void traceScaleCouplingHelper(int source = -1);

    // --- time transform and gating (time_domain_settings.cpp) --------------------------------
    // Each stores into a trace of the list under traceLock and does nothing for any other
    // pointer; the caller recalculates the trace's channel afterwards. Gate edits then flow to
    // the channel's other traces when its gate coupling is on.
    void transformEnabled(VNATrace* trace, bool enabled);
    // False when a low-pass type was refused because the stimulus does not reach DC on its grid:
    // band-pass was stored, and the interface warns.
    bool transformTypeChanged(VNATrace* trace, VNATransformType type);
    void transformWindowChanged(VNATrace* trace, VNATransformWindow window);
    void transformWindowBetaChanged(VNATrace* trace, double beta);
    void transformMarkerModeChanged(VNATrace* trace, VNATransformMarkerMode mode);
    void transformUnitsChanged(VNATrace* trace, VNATransformUnits units);
    void transformVFChanged(VNATrace* trace, double velocityFactor);
    void transformAutoScaleChanged(VNATrace* trace, bool enabled);
    void transformStartChanged(VNATrace* trace, double t);
    void transformStopChanged(VNATrace* trace, double t);
    void transformCenterChanged(VNATrace* trace, double t);
    void transformSpanChanged(VNATrace* trace, double t);
    // Moves the trace's channel onto a low-pass grid, between MeasStop and MeasStart. False, with
    // nothing stopped, when the stimulus already suits. Call without traceLock.
    bool transformSetLPFreqs(const VNATrace* trace);
    void gatingEnabled(VNATrace* trace, bool enabled);
    void gatingStartChanged(VNATrace* trace, double t);
    void gatingStopChanged(VNATrace* trace, double t);
    void gatingCenterChanged(VNATrace* trace, double t);
    void gatingSpanChanged(VNATrace* trace, double t);
    void gatingTypeChanged(VNATrace* trace, VNAGateType type);
    void gatingShapeChanged(VNATrace* trace, VNAGateShape shape);
    // Sets the coupling of the trace's channel; switching it on spreads this trace's gate.
    void gatingCoupledSettingsEnabled(VNATrace* trace, bool enabled);
    // With coupling on: a trace joining the channel takes the gate of the channel's first other
    // trace, and a trace's gate goes to all others. The caller holds traceLock.
    void TimeGateCouplingApplyToTrace(VNATrace* trace);
    void TimeGateCouplingApplyToChannel(const VNATrace* trace);

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
    // Selects a trace by its index, under traceLock: the loop reads the selection.
    void SetSelectedTrace(int index);
    void DeleteAllTraces();

    // --- markers (vna_model_markers.cpp) ---------------------------------------------------
    // Each takes the trace lock itself, ignores a trace or marker index that does not exist,
    // carries a moved marker to the coupled traces and asks the interface to refresh. Operations
    // without a marker argument act on the trace's active marker.
    void markerEnable(int trace, int marker, bool on);
    void markerFixed(int trace, int marker, bool on);
    // Refused on the reference marker with error -6.
    void markerDelta(int trace, int marker, bool on);
    void markerToRef(int trace);
    void markerSetActive(int trace, int marker);
    // The trace's active marker, or -1 without such a trace.
    int ActiveMarker(int trace) const;
    // A copy of a marker taken under the lock; false without such a trace or marker.
    bool GetMarkerCopy(int trace, int marker, VNAMarker& out) const;
    // The active marker's frequency and the trace's channel, for the stimulus edits that take
    // it (start, stop, centre); false without such a trace.
    bool GetActiveMarkerFreq(int trace, int& channel, double& f) const;
    // Puts the active marker under a fraction (0..1) of the plot's width, as a click does.
    void markerPlace(int trace, double fraction);
    void markerAddMarker(int trace);
    void markerMove(int trace, bool left);
    void markerSetX(int trace, int marker, double value);
    // markerSetX on the selected trace and its active marker.
    void markerSetFreq(double value);
    void markerPeakMax(int trace, int marker);
    void markerPeakMin(int trace, int marker);
    void markerPeakLeft(int trace, int marker);
    void markerPeakRight(int trace, int marker);
    void markerPeakNext(int trace, int marker);
    void markerExecute(int trace, int marker, VNAMarkerFunction function);
    void markerThresholdChanged(int trace, int marker, double value);
    void markerExcursionChanged(int trace, int marker, double value);
    void markerTrackingChanged(int trace, int marker, VNAMarkerTrackingFunction tracking);
    void markerBWLimitChanged(int trace, double value);
    // Searches once now and recalculates the channel.
    void markerBWSearch(int trace);
    void markerBWEnable(int trace, bool on);
    void markerBWTrackingEnable(int trace, bool on);
    void markerDisableAllTrace(int trace);
    void markerDisableAllChannel(int channel);
    void markerDisableAll();
    void markerSetCoupling(MarkerCouplingMethod method);
    MarkerCouplingMethod GetMarkerCoupling() const;
    // Carries the marker's position to the same marker of the traces the coupling reaches.
    void markerCouple(int channel, int trace, int marker);
    // --- fixtures and port extension --------------------------------------------------------
    // Bodies of the window's slots and the remote commands. Each changes what the chain reads
    // under traceLock and leaves the recalculation (CalcTraces) to the caller. Ports are 0 or 1;
    // an invalid channel or port changes nothing and reads as false or empty.
    // Reads a Touchstone file into the port's fixture. On failure the present fixture stays and
    // error says why.
    bool LoadFixturePort(int channel, FixtureKind kind, int port, const QString& path,
                         QString& error);
    void ClearFixturePort(int channel, FixtureKind kind, int port);
    void SetFixtureEnabled(int channel, FixtureKind kind, bool enabled);
    bool FixtureEnabled(int channel, FixtureKind kind) const;
    bool FixturePortLoaded(int channel, FixtureKind kind, int port) const;
    QString FixturePortFileName(int channel, FixtureKind kind, int port) const;
    // Notes on the object's fixtures that do not fit the channel's sweep, one per line; empty
    // when they fit.
    QString FixtureWarning(int channel, FixtureKind kind) const;
    void SetPortExtensionEnabled(int channel, bool enabled);
    // All settings, the enabled flag included.
    void SetPortExtension(int channel, const PortExtensionSettings& settings);
    PortExtensionSettings GetPortExtension(int channel) const;

    // Diagnostics of the loop for tests and the status bar.
    uint64_t SweepsStarted() const { return sweepsStarted.load(); }
    // Rounds over the channels, swept or idle.
    uint64_t RoundsRun() const { return roundsRun.load(); }

    VNADevice device;
    QVector<VNAChannel*> channels;
    int activeChannelIndex = 0;

    // Guards traces (the list and every trace's contents), selectedTraceIndex, mapper and
    // markerCoupling.
    mutable QMutex traceLock;
    QVector<VNATrace*> traces;
    int selectedTraceIndex = 0;
    TraceChannelMapper mapper;
    // A MarkerCouplingMethod.
    int markerCoupling = MarkerCouplingChannel;

    // Read by the loop without a lock: written only while the loop is stopped.
    bool rfEnabled = true;
    bool spurReject = false;
    VNAReference reference = VNAReferenceInternal;
    int scaleCoupling = 0;
    bool triggerScopeAllChannels = false;

    // The output generator dialog's settings, kept with the instrument state.
    struct OutputGenerator
    {
        int port = 0;
        double frequency = 1e9;
        double stepFrequency = 10e6;
        int atten = 0;
    } outputGenerator;

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
    void ReconfigureChannel(VNAChannel& channel);
    // One channel's turn; returns false when the channel was skipped.
    bool SweepChannel(VNAChannel& channel, int& lastChannel, bool& lastFwd, bool& lastRev);
    // False when the sweep was abandoned before its end.
    bool ProgressiveSweep(VNAChannel& channel, SParametersRaw& update, bool fwd, bool rev);
    // One display cycle's sleep, cut short by a stop or a reconfiguration request.
    void WaitCycle();
    // Ends the loop's waits, its own and the device's, so that it sees a request at once.
    void WakeLoop();
    // Steps of the chain that depend on the channel only, computed once per pass.
    void PrepareChannelData(VNAChannel& channel);
    // Last step of the chain: tracked markers of the trace carry over to coupled traces.
    void CoupleTrackedMarkers(const VNATrace& trace, int traceIndex);
    // Marker operations with the trace lock already held.
    void MarkerCoupleLocked(int channel, int trace, int marker);
    void MarkerCoupleHelper(int channel, int trace, int marker);
    void MarkerSetXLocked(int trace, int marker, double value);
    bool MarkerPlaceLocked(int trace, double fraction);
    // Runs edit on an existing trace and marker under the trace lock, then refreshes the
    // interface; false when either does not exist.
    bool EditMarker(int trace, int marker, const std::function<void(VNATrace&, VNAMarker&)>& edit);
    bool EditTraceMarkers(int trace, const std::function<void(VNATrace&)>& edit);
    void RefreshInterface();
    // A search on the trace, then coupling of the marker, whether it moved or not.
    void MarkerSearch(int trace, int marker, const std::function<void(VNATrace&)>& search);
    void MarkerToExtreme(int trace, int marker, bool maximum);
    // Applies edit to the trace under traceLock, then recalculates and refreshes its channel.
    bool EditTrace(int trace, const std::function<void(VNATrace&)>& edit);

    std::thread measThread;
    std::atomic<bool> measRunning{false};
    bool deviceHeld = false;
    std::atomic<bool> reconfigure{false};
    // Orders the loop's cycle sleep against a wake-up, so that none is lost between the check of
    // measRunning and reconfigure and the sleep.
    std::mutex cycleMutex;
    std::condition_variable cycleWake;
    std::atomic<uint64_t> sweepsStarted{0};
    std::atomic<uint64_t> roundsRun{0};
};

void SetThreadName(std::thread& thread, const char* name);
void SystemSleep(int ms);
