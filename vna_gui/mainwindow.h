// The coordinator: owns the measurement model and the interface, and is the one way in for every
// change an operator or a remote client makes. Implemented over several files by concern:
// mainwindow.cpp (life cycle and device), mainwindow_channels.cpp (channels, plots, setups),
// mainwindow_traces.cpp (trace settings), mainwindow_menus.cpp (menus, toolbar, status bar).
#pragma once

#include <QMainWindow>
#include <QVector>
#include <functional>

#include "frequency.h"
#include "preferences.h"
#include "scpi_def.h"
#include "vna_model.h"

class QAbstractButton;
class QImage;
class QAction;
class QButtonGroup;
class QCloseEvent;
class QEventLoop;
class QMenu;
class QProgressBar;
class QStackedWidget;
class QHostAddress;
class QTcpServer;
class QTcpSocket;
class QTimer;
class SCPIRemoteDialog;
struct ScpiConnection;
class ScpiLogDialog;
class ChannelWidget;
class ErrorLogDialog;
class VNAPlot;
class VNAStatusBar;
class FanControlDialog;
class OutputGeneratorControlsDialog;
class VersionChecker;
class VnaLib;

class ChannelControlPanel;
class TriggerControlPanel;
class StimulusControlPanel;
class TraceControlPanel;
class MathPanel;
class SettingsPanel;

class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    static constexpr int kPanelCount = 12;

    explicit MainWindow(QWidget* parent = nullptr, const VnaLib* library = nullptr);
    ~MainWindow() override;

    VNAModel& Model() { return model; }
    VNAStatusBar* StatusBar() const { return statusBarWidget; }
    QStackedWidget* PanelStack() const { return panelStack; }
    QAbstractButton* PanelButton(int index) const;
    QWidget* Panel(int index) const { return panels.value(index, nullptr); }
    VNAPlot* Plot(int number) const { return plots.value(number, nullptr); }

    // --- device -----------------------------------------------------------------------------
    bool ConnectDevice();
    bool ConnectDevice(int serial);
    void DisconnectDevice();
    void ConnectDeviceInThread(QEventLoop* loop);
    void ConnectDeviceBySerialInThread(int serial, QEventLoop* loop);

    // --- measurement ------------------------------------------------------------------------
    // The sweeps stay stopped while the output generator holds the instrument.
    void MeasStart()
    {
        if (!generatorOn)
        {
            model.MeasStart();
        }
    }
    void MeasStop() { model.MeasStop(); }
    void CalcTraces(int channel) { model.CalcTraces(channel); }
    void channelPortsEnabled(int channel, bool& fwd, bool& rev)
    {
        model.channelPortsEnabled(channel, fwd, rev);
    }
    void UpdateTempSetpoint() { model.UpdateTempSetpoint(); }
    // Answers *OPC? of the command's client: at once when no sweep is pending, otherwise when
    // the pending sweeps end. Never waits here: the client's later commands are served meanwhile.
    void WaitForOPC(Scpi* cmd);
    // True while an enabled channel has a single sweep to finish and the loop runs to finish it.
    bool SCPIOperationPending() const;
    void UpdateAll();
    void UpdateAll(int channel);
    void UpdateControlPanels();

    // --- channels, traces, plots ------------------------------------------------------------
    int addPlot();
    // Creates the plot in that slot; -1 when the slot is taken or out of range.
    int addPlot(int number);
    void PresetInstrumentState(bool createDefault, bool restart);
    void Preset(bool confirm);
    int GetNextPlotNumber() const;
    int GetVisiblePlots() const;
    int GetNextAvailableChannelIndex() const { return model.GetNextAvailableChannelIndex(); }
    // Creates a trace on a channel and plot at the channel's next free place; returns its index.
    int CreateTrace(int channel, int plot, VNATraceMeas meas, VNATraceFormat format);
    // Reads a Touchstone file into the next free channel, in hold; false with a message.
    bool ImportSNPFile(const QString& path);
    // Writes a channel's processed data; an .s1p file takes the port (0 or 1). False with the
    // reason in error.
    bool ExportSNPFile(int channel, const QString& path, int port, QString& error);
    // Creates a trace on the channel at a measure place (from 0); false when the place is taken.
    bool DefineMeasurement(int channel, int place);
    int ActiveTraceIndex() const { return model.selectedTraceIndex; }

    // --- remote control ---------------------------------------------------------------------
    void SCPIStartup();
    void SCPIShutdown();
    void SCPIUpdatePort();
    // The port the server listens on, or 0 when it does not listen.
    quint16 SCPIServerPort() const;
    // The address the server is bound to, as the socket reports it.
    QHostAddress SCPIServerAddress() const;
    ScpiLogDialog* ScpiLog() const { return scpiLogDialog; }
    // Small tools (mainwindow_tools.cpp).
    static constexpr double kFanMinSetpoint = 25.0;
    static constexpr double kFanMaxSetpoint = 60.0;
    bool OutputGeneratorActive() const { return generatorOn; }
    // Built on first use.
    OutputGeneratorControlsDialog* OutputGenerator();
    FanControlDialog* FanControls();
    VersionChecker* Versions() const { return versionChecker; }
    // How often the limit-fail sound has been given.
    int LimitFailSounds() const { return limitFailSounds; }
    void SCPIHandleCommand(Scpi* scpi);
    // Ends the lockout box, as the operator's "Return to Local" does.
    void SCPIReturnToLocal();

public slots:
    void connectDevice();
    void connectDevice(QAction* action);
    void disconnectDevice();
    void populateConnectMenu();

    void stimulusUpdated();
    void setSpurReject(bool enabled);
    void toggleSpurReject();
    void stimRFOutChanged(bool enabled);
    void setReference(VNAReference reference);
    void setInternalReference() { setReference(VNAReferenceInternal); }
    void setExternalReference() { setReference(VNAReferenceExternal); }
    void systemZ0Changed(double ohms);

    // Stimulus edits of one channel; out-of-range values are clamped silently.
    void stimStartFreqChanged(int channel, Frequency f);
    void stimStopFreqChanged(int channel, Frequency f);
    void stimCenterFreqChanged(int channel, Frequency f);
    void stimSpanChanged(int channel, Frequency f);
    void stimStepChanged(int channel, Frequency f);
    void stimPointsChanged(int channel, int points);
    void stimIFBWChanged(int channel, double hz);
    void stimPowerConfigChanged(int channel, int config);
    void stimManualAttenChanged(int channel, double db);
    void stimManualPowerChanged(int channel, double dbm);
    void stimAvgEnabledChanged(int channel, bool enabled);
    void stimAvgCountChanged(int channel, int count);
    void stimRestartAvg(int channel);
    void stimSweepTypeChanged(int channel, int type);

    void triggerSweepModeChanged(int channel, int mode);
    void triggerSweepModeChanged(int mode);
    void _triggerSweepModeChangedHelper(int channel, int mode);
    void triggerScopeChanged(bool allChannels);
    void singlePressed();
    void continuousPressed();

    // Channels and plots.
    void addChannelTracePressed();
    void addChannelTraceWindowPressed();
    void channelEnabledChanged(int channel, bool enabled);
    void channelCopy(int channel);
    void channelCopy();
    void deleteChannel(int channel);
    void deleteChannel(QAction* action);
    void channelSelected(int channel);
    void plotClosing(int plot);
    void addPlotPressed();
    void presetButtonClicked();
    void quickSetupS11();
    void quickSetupS21();
    void quickSetupFull2Port(bool skipQuestion = false);
    void importSNP();
    void exportSNP();
    void updatePlots();

    // Traces.
    void addTrace();
    void traceSelected(int index);
    void traceDelete(int index);
    void traceDeleteAll();
    void traceChannelChanged(int channel);
    void tracePlotChanged(int plot);
    void tracePlotChanged(int trace, int plot);
    void traceMeasChanged(int meas);
    void traceMeasChanged(int trace, int meas);
    void traceFormatChanged(int format);
    void traceFormatChanged(int trace, int format);
    void traceHoldChanged(int hold);
    void traceHoldChanged(int trace, int hold);
    void traceHoldRestart();
    void traceHoldRestart(int trace);
    // Scale and chain settings of a trace, by index; the one-argument forms act on the active
    // trace, as the panels do.
    void traceRefChanged(int trace, double value);
    void traceRefChanged(double value);
    void traceDivChanged(int trace, double value);
    void traceDivChanged(double value);
    void traceRefPosChanged(int trace, double value);
    void traceRefPosChanged(double value);
    void traceAutoScale(int trace);
    void traceAutoScale();
    void traceAutoScaleAll();
    void traceDefaultScale(int trace);
    void traceDefaultScale();
    void traceDefaultScaleAll();
    void traceScaleCouplingChanged(int coupling);
    void traceUseNameChanged(bool use);
    void traceNameChanged(const QString& name);
    void traceExport();
    void traceStoreMem(int trace);
    void traceStoreMem();
    void traceMathOpChanged(int trace, int op);
    void traceMathOpChanged(int op);
    void traceMathInterpolateChanged(int trace, bool enabled);
    void traceMathInterpolateChanged(bool enabled);
    void traceShowMemTraceChanged(int trace, bool show);
    void traceShowMemTraceChanged(bool show);
    void traceSmoothEnabledChanged(int trace, bool enabled);
    void traceSmoothEnabledChanged(bool enabled);
    void traceSmoothAperatureChanged(int trace, double percent);
    void traceSmoothAperatureChanged(double percent);
    void traceStatsEnabledChanged(int trace, bool enabled);
    void traceStatsEnabledChanged(bool enabled);
    void traceStatsAutoRangeChanged(int trace, bool enabled);
    void traceStatsAutoRangeChanged(bool enabled);
    void traceStatsStartChanged(int trace, Frequency f);
    void traceStatsStartChanged(Frequency f);
    void traceStatsStopChanged(int trace, Frequency f);
    void traceStatsStopChanged(Frequency f);
    void traceElecDelayChanged(int trace, double seconds);
    void traceElecDelayChanged(double seconds);
    void traceMagOffsetChanged(int trace, double db);
    void traceMagOffsetChanged(double db);
    void traceMagSlopeChanged(int trace, double dbPerGHz);
    void traceMagSlopeChanged(double dbPerGHz);
    void tracePhaseOffsetChanged(int trace, double degrees);
    void tracePhaseOffsetChanged(double degrees);
    // The channel's velocity factor, which the time axis and port extension read.
    void traceVelocityChanged(int channel, double factor);

    // --- markers (mainwindow_markers.cpp) --------------------------------------------------------
    // Forms with a trace (and marker) index act on that marker; the others act on the selected
    // trace and its active marker, as the Markers panel does.
    void markerSelected(int marker);
    void markerEnable(int trace, int marker, bool on);
    void markerEnable(bool on);
    void markerFixed(int trace, int marker, bool on);
    void markerFixed(bool on);
    void markerDelta(int trace, int marker, bool on);
    void markerDelta(bool on);
    void markerToRef();
    void markerPlace(int trace, double fraction);
    void markerAddMarker(int trace);
    void markerMove(int trace, bool left);
    void markerSetX(int trace, int marker, double value);
    void markerSetFreq(Frequency f);
    // A time on the transformed axis, for the active marker.
    void markerSetTime(double seconds);
    void markerToStart();
    void markerToStop();
    void markerToCenter();
    void markerPeakMax(int trace, int marker);
    void markerPeakMax();
    void markerPeakMin(int trace, int marker);
    void markerPeakMin();
    void markerPeakLeft(int trace, int marker);
    void markerPeakLeft();
    void markerPeakRight(int trace, int marker);
    void markerPeakRight();
    void markerPeakNext(int trace, int marker);
    void markerPeakNext();
    void markerExecute(int trace, int marker, int function);
    void markerThresholdChanged(int trace, int marker, double value);
    void markerThresholdChanged(double value);
    void markerExcursionChanged(int trace, int marker, double value);
    void markerExcursionChanged(double value);
    void markerTrackingChanged(int trace, int marker, int tracking);
    void markerTrackingChanged(int tracking);
    void markerBWLimitChanged(int trace, double value);
    void markerBWLimitChanged(double value);
    void markerBWSearch(int trace);
    void markerBWSearch();
    void markerBWEnable(int trace, bool on);
    void markerBWEnable(bool on);
    void markerBWTrackingEnable(int trace, bool on);
    void markerBWTrackingEnable(bool on);
    void markerDisableAllTrace(int trace);
    void markerDisableAllTrace();
    void markerDisableAllChannel(int channel);
    void markerDisableAllChannel();
    void markerDisableAll();
    void markerSetCoupling(int method);
    // Wires a plot's mouse and menu marker signals to the slots above.
    void ConnectPlotMarkers(VNAPlot* plot);

    // --- limit and ripple tests (mainwindow_limits.cpp) ------------------------------------------
    // Flags of a trace by index; the one-argument forms act on the active trace, as the panel does.
    void limitTest(int trace, bool on);
    void limitTest(bool on);
    void limitShow(int trace, bool on);
    void limitShow(bool on);
    void limitSound(int trace, bool on);
    void limitSound(bool on);
    void rippleLimitTest(int trace, bool on);
    void rippleLimitTest(bool on);
    void rippleLimitShow(int trace, bool on);
    void rippleLimitShow(bool on);
    // The editors, on a copy of the active trace's table; installed only when accepted.
    void limitDefine();
    void rippleLimitDefine();
    void limitRangesChanged(int trace, const QVector<VNALimitRange>& ranges);
    void rippleRangesChanged(int trace, const QVector<VNARippleLimitRange>& ranges);
    // Remote data forms: whole groups of parameters (none empties the table), or error -2 and
    // the table kept.
    void limitData(int trace, const QStringList& params);
    void rippleData(int trace, const QStringList& params);

    // --- time domain and gating (mainwindow_time.cpp) --------------------------------------------
    // Transform and gate settings of a trace, by index; the forms without one act on the active
    // trace, as the panels do. Values out of range are clamped, unknown enumerations ignored.
    void transformEnabled(int trace, bool enabled);
    void transformEnabled(bool enabled);
    // A low-pass type on a stimulus that does not reach DC is refused with a warning.
    void transformTypeChanged(int trace, int type);
    void transformTypeChanged(int type);
    void transformWindowChanged(int trace, int window);
    void transformWindowChanged(int window);
    void transformWindowBetaChanged(int trace, double beta);
    void transformWindowBetaChanged(double beta);
    void transformMarkerModeChanged(int trace, int mode);
    void transformMarkerModeChanged(int mode);
    void transformUnitsChanged(int trace, int units);
    void transformUnitsChanged(int units);
    void transformVFChanged(int trace, double factor);
    void transformVFChanged(double factor);
    void transformAutoScaleChanged(int trace, bool enabled);
    void transformAutoScaleChanged(bool enabled);
    // A displayed range typed in ends auto scale, so that it stands; start stays below stop.
    void transformStartChanged(int trace, double seconds);
    void transformStartChanged(double seconds);
    void transformStopChanged(int trace, double seconds);
    void transformStopChanged(double seconds);
    void transformCenterChanged(int trace, double seconds);
    void transformCenterChanged(double seconds);
    void transformSpanChanged(int trace, double seconds);
    void transformSpanChanged(double seconds);
    // Moves the trace's channel onto a low-pass grid (start equal to the step).
    void transformSetLPFreqs(int trace);
    void transformSetLPFreqs();
    // Keeps a velocity factor under a name in the operator's cable list.
    void transformAddCable(const QString& name, double factor);
    void gatingEnabled(int trace, bool enabled);
    void gatingEnabled(bool enabled);
    void gatingStartChanged(int trace, double seconds);
    void gatingStartChanged(double seconds);
    void gatingStopChanged(int trace, double seconds);
    void gatingStopChanged(double seconds);
    void gatingCenterChanged(int trace, double seconds);
    void gatingCenterChanged(double seconds);
    void gatingSpanChanged(int trace, double seconds);
    void gatingSpanChanged(double seconds);
    void gatingTypeChanged(int trace, int type);
    void gatingTypeChanged(int type);
    void gatingShapeChanged(int trace, int shape);
    void gatingShapeChanged(int shape);
    // Gate coupling of the trace's channel; switching it on spreads this trace's gate.
    void gatingCoupledSettingsEnabled(int trace, bool enabled);
    void gatingCoupledSettingsEnabled(bool enabled);

    // --- calibration (mainwindow_calibration.cpp) ------------------------------------------------

    // --- fixtures and port extension (mainwindow_fixtures.cpp) -----------------------------------

    // --- equations (mainwindow_equations.cpp) ----------------------------------------------------

    // --- small tools (mainwindow_tools.cpp) ------------------------------------------------------
    // The segment table editor of the active channel, as the stimulus panel opens it.
    void defineSegmentsPushed();
    void stimEditSegments(int channel);
    // Makes the channel a segment sweep over the table; false, with the reason and the channel
    // unchanged, when the table cannot be swept.
    bool stimSegmentsChanged(int channel, QVector<VNASweepSegment> segments, QString& error);
    void settingsShowFanControls();
    // Out-of-range values are clamped; the loop applies the result at its reconfiguration.
    void fanOverrideChanged(bool enabled, int type, double setpoint, double speed);
    // Stores the present fan settings as the ones the program starts with.
    void fanSaveDefaults();
    void showOutputGeneratorControls();
    // Stops the sweeps and puts a continuous wave on a port (0 or 1); values are clamped.
    void outputGeneratorSet(int port, double freq, int atten);
    // Gives the instrument back to the sweeps.
    void outputGeneratorOff();
    void openUserManual();
    void openWebsite();
    void openSupportForums();
    // Starts a check for a new version now, whatever the start-up preference says.
    void checkForNewVersion();
    void showNewVersionMessage(const QString& version);

    // --- window ----------------------------------------------------------------------------------
    void panelButtonClicked(int index);
    void showErrorInfo();
    void showSCPILog();
    void showAboutDialog();
    void saveAsImage();
    bool saveAsImage(const QString& file);
    void printScreen(bool showDialog);
    void handleSCPIConnection();
    void readSCPISocket();
    void handleSCPIDisconnect();

private slots:
    void updateControlsSlot();
    void updateSweepModeSlot();
    void updateStatusBarStimulusSlot();
    void updateDiagnosticsSlot(double power, double temperature, double third, int fourth);
    void updateAvgLabelSlot();
    void updateTransformAutoScaleSlot();
    void updateSweepProgressSlot(double percent);
    void updateSweepProgressBarVisibilitySlot(bool visible);
    void threadShowMessageBoxSlot(const QString& title, const QString& text);
    void aboutToShowChannelMenu();

signals:
    void threadShowMessageBoxSignal(const QString& title, const QString& text);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void ReadFanDefaults();
    // The tools' part of start-up: window icon and the version check if the operator wants it.
    void InitTools();
    void BuildToolbar();
    void BuildPanels();
    void InitMenuBar();
    void setThemeIcons();
    void ConnectModelSignals();
    void LoadFactoryCalInThread();
    void ShowDevice(const QString& name);
    void ResetToDefaultTrace();
    void QuickSetup(const QVector<VNATraceMeas>& measurements, bool ask);
    // A new channel with one S11 trace in the plot (a new plot when -1); false with a warning
    // when all channels are in use.
    bool AddChannelWithTrace(int plot);
    // Stops the loop, applies an edit to one channel's stimulus, and starts it again.
    void EditStimulus(int channel, const std::function<void(VNAStimulus&)>& edit);
    // Applies an edit to a trace under the trace lock, then recalculates its channel.
    void EditTrace(int index, const std::function<void(VNATrace&)>& edit);
    void EditActiveTrace(const std::function<void(VNATrace&)>& edit);
    // Scale edits flow from the edited trace to the traces the coupling reaches.
    void EditScale(int index, const std::function<void(VNATrace&)>& edit);
    // Destroys the traces on a plot and empties its slot; the caller holds no lock.
    void RemovePlot(int plot);

    // Runs what the current client has sent, unless a command is already on the stack (a nested
    // event loop): its input then waits in the socket until the running command returns.
    void SCPIServe();
    // Drops a client's state; its objects are deleted once no command can be on the stack.
    void SCPIRetire(ScpiConnection* connection);
    void SCPIReap();
    void SCPIAnswerPendingOpc();
    void SCPIShowLockout();
    QImage ScreenImage();
    // Sounds when a trace that asks for it failed its limit test, at most once per interval, so
    // a trace failing at every sweep does not flood.
    void LimitFailSound();

    qint64 lastLimitFailSoundMs = -1;
    int limitFailSounds = 0;

    VNAModel model;
    QVector<VNAPlot*> plots;
    QTcpServer* scpiServer = nullptr;
    // The client being served, or null. Clients that left while one of their commands ran wait
    // in scpiRetired until no command is on the stack.
    ScpiConnection* scpiConnection = nullptr;
    QVector<ScpiConnection*> scpiRetired;
    // Remote commands on the stack: nonzero while a body runs, even inside a nested event loop.
    int scpiDepth = 0;
    // The port taken when the preference asks for any free port (0), kept for the session.
    quint16 scpiBoundPort = 0;
    // Polls while a client waits on *OPC?, for ends of sweeps that no signal reports.
    QTimer* scpiOpcTimer = nullptr;
    ScpiLogDialog* scpiLogDialog = nullptr;
    SCPIRemoteDialog* remoteDialog = nullptr;
    ChannelWidget* plotArea = nullptr;
    QStackedWidget* panelStack = nullptr;
    QButtonGroup* panelButtons = nullptr;
    QVector<QWidget*> panels;
    ChannelControlPanel* channelPanel = nullptr;
    TriggerControlPanel* triggerPanel = nullptr;
    StimulusControlPanel* stimulusPanel = nullptr;
    TraceControlPanel* tracePanel = nullptr;
    MathPanel* mathPanel = nullptr;
    SettingsPanel* settingsPanel = nullptr;
    ErrorLogDialog* errorLogDialog = nullptr;
    VNAStatusBar* statusBarWidget = nullptr;
    QMenu* connectMenu = nullptr;
    QMenu* deleteChannelMenu = nullptr;
    QMenu* activeChannelMenu = nullptr;
    QAction* spurRejectAction = nullptr;
    QAction* progressAction = nullptr;
    QProgressBar* progressBar = nullptr;
    QVector<QAction*> iconActions;
    FanControlDialog* fanDialog = nullptr;
    OutputGeneratorControlsDialog* generatorDialog = nullptr;
    VersionChecker* versionChecker = nullptr;
    bool generatorOn = false;
};
