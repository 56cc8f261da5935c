// The coordinator: owns the measurement model and the interface, and is the one way in for every
// change an operator or a remote client makes. Implemented over several files by concern:
// mainwindow.cpp (life cycle and device), mainwindow_channels.cpp (channels, plots, setups),
// mainwindow_traces.cpp (trace settings), mainwindow_menus.cpp (menus, toolbar, status bar),
// mainwindow_theme.cpp (themes and preferences).
#pragma once

#include <QMainWindow>
#include <QStringList>
#include <QVector>
#include <functional>

#include "cal_workflow.h"
#include "frequency.h"
#include "preferences.h"
#include "scpi_def.h"
#include "scpi_status.h"
#include "vna_model.h"

class QAbstractButton;
class QImage;
class QAction;
class QButtonGroup;
class QCloseEvent;
class QEventLoop;
class QHBoxLayout;
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
class MauryUCalControlsDlg;
class VNAPlot;
class VNAStatusBar;
class FanControlDialog;
class OutputGeneratorControlsDialog;
class VersionChecker;
class VnaLib;

class CalMeasureDlg;
class SOLCalDlg;
class SOLTCalDlg;
struct StandardCharacterization;
struct VerificationReport;

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
    ChannelWidget* PlotArea() const { return plotArea; }

    // --- window placement -------------------------------------------------------------------
    // Toolbars, geometry and the screens they were on, into the preferences file.
    void SaveState();
    // Puts the window back where SaveState left it, or on the primary screen when the screens
    // have changed since.
    void RestoreState();

    // --- device -----------------------------------------------------------------------------
    bool ConnectDevice();
    bool ConnectDevice(int serial);
    void DisconnectDevice();

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
    // *OPC: sets the operation-complete event of the command's client when the pending sweeps
    // end, at once when none is pending. Never waits.
    void SCPIArmOperationComplete(Scpi* cmd);
    // *CLS: empties the error queue and the client's event register, and cancels its *OPC.
    void SCPIClearStatus(Scpi* cmd);
    // *WAI: holds the client's following commands until the pending sweeps end.
    void SCPIWaitForSweeps(Scpi* cmd);
    // The status registers of the command's client; a command from no client (a script run
    // inside the program) gets registers of its own.
    ScpiStatus& SCPIStatusOf(Scpi* cmd);
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

    // --- kit procedures and the factory calibration (mainwindow_calkits.cpp) -------------------
    // The factory calibration the last connection found; empty without one.
    const VNACalibration& FactoryCalibration() const { return factoryCal; }
    // Puts a calibration on the instrument's flash from the "VNA Write Factory Cal to Device
    // Thread" and gives the channels the calibration the instrument then holds. False with the
    // reason.
    bool WriteFactoryCal(const VNACalibration& cal, QString& error);
    // Measures a standard on a calibrated channel and adds it to a user kit as a data based
    // standard; returns its ID, or -1 with the reason.
    int CharacterizeStandard(int channel, const QString& kitName,
                             const StandardCharacterization& request, QString& error);
    // Measures a verification device on a calibrated channel and compares it with its
    // Touchstone data. False with the reason when nothing could be compared.
    bool VerifyChannel(int channel, const QString& path, double tolerance,
                       VerificationReport& report, QString& error);

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
    // Removes the plot with its traces; remote commands come here directly and never ask.
    void plotClosing(int plot);
    // The operator's close button: asks first when the plot holds traces.
    void plotCloseRequested(int plot);
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
    // The operator's mechanical calibration of the active channel: type and kit, the standards,
    // the file, and the record into the channel.
    void calStartNewCalibration();
    // Asks before replacing a calibration, then for the file; into the active channel.
    void calLoad();
    // A .vnacal file into a channel. Unless silent, a file made on another sweep asks whether
    // the channel takes that sweep; silent, loadStimulus decides. False when nothing was loaded:
    // the reason goes to a message box, or the error queue when silent.
    bool calLoad(int channel, const QString& path, bool silent, bool loadStimulus);
    void calUnload(int channel);
    void calUnload();
    void calEnabledChanged(int channel, bool enabled);
    void calEnabledChanged(bool enabled);
    void calInterpolateChanged(int channel, bool enabled);
    void calInterpolateChanged(bool enabled);
    // The active channel takes the sweep its calibration was made on.
    void calUseStimulus();
    void calShowProperties();
    // A standard just measured, shown on the traces of the channel being calibrated.
    void calUpdateMainUI(const SParametersRaw& raw);
    // The calibration-set view of a trace; the forms without a trace act on the active one.
    void calSetViewerEnabled(int trace, bool enabled);
    void calSetViewerEnabled(bool enabled);
    void calSetViewerDisplayChanged(int trace, int display);
    void calSetViewerDisplayChanged(int display);
    void calSetViewerStdTermChanged(int trace, int term);
    void calSetViewerStdTermChanged(int term);
    void calSetViewerErrTermChanged(int trace, int term);
    void calSetViewerErrTermChanged(int term);
    void aboutToShowCalibrationMenu();
    // Remote calibration: one working record of the window, measured through a dialog that the
    // operator sees. Each queues its own errors.
    // True while any calibration dialog holds the instrument.
    bool CalibrationInProgress() const { return model.DeviceHeld(); }
    // Starts measuring a new record of the type (port 0 or 1 for SOL) on the channel's sweep,
    // with the working record's kit.
    void calRemoteStart(int channel, VNACalType type, int port);
    // One step of the remote calibration; port 1 or 2 for the reflect steps, the kit's standard
    // ID where the step takes one. Returns the step's result.
    bool calRemoteMeasure(CalStep step, int port, int id);
    bool calRemoteSelectKit(const QString& name);
    QString calRemoteKitName() const { return remoteCal.GetCalKit().CalKitName; }
    // Ends the remote calibration: the record written to path and put into the channel.
    void calRemoteSave(int channel, const QString& path);
    void calRemoteCalClosed();
    // Kits, kit procedures and the factory calibration (mainwindow_calkits.cpp). The kit slots
    // take a name of the kit list and return whether the list changed; system kits refuse
    // changes with a warning.
    void calEditCalKits();
    bool calKitNew();
    bool calKitCopy(const QString& name);
    bool calKitEdit(const QString& name);
    bool calKitDelete(const QString& name);
    bool calKitImport();
    bool calKitExport(const QString& name);
    bool calKitCharacterize(const QString& name);
    void calSystemVerification();
    // The factory correction preference, as the preferences and the remote command set it.
    void calUseFactoryCal(bool use);
    // Service use: a .vnacal file onto the instrument's flash as its factory calibration.
    void calWriteFactoryCal();

    // --- fixtures and port extension (mainwindow_fixtures.cpp) -----------------------------------
    // Forms with a channel act on it; the others act on the active channel, as the Fixtures panel
    // does. Loads with a path return false when the file does not load: the previous fixture
    // stays, the reason is shown and recorded. Loads without a path ask for the file.
    void calConfigurePortExtension();
    void calConfigurePortExtensionEnabled(int channel, bool enabled);
    void calConfigurePortExtensionEnabled(bool enabled);
    void calDeembedEnabled(int channel, bool enabled);
    void calDeembedEnabled(bool enabled);
    bool calDeembedLoadPort1(int channel, const QString& path);
    bool calDeembedLoadPort2(int channel, const QString& path);
    void calDeembedLoadPort1();
    void calDeembedLoadPort2();
    void calDeembedClearPort1(int channel);
    void calDeembedClearPort2(int channel);
    void calDeembedClearPort1();
    void calDeembedClearPort2();
    void calEmbedEnabled(int channel, bool enabled);
    void calEmbedEnabled(bool enabled);
    bool calEmbedLoadPort1(int channel, const QString& path);
    bool calEmbedLoadPort2(int channel, const QString& path);
    void calEmbedLoadPort1();
    void calEmbedLoadPort2();
    void calEmbedClearPort1(int channel);
    void calEmbedClearPort2(int channel);
    void calEmbedClearPort1();
    void calEmbedClearPort2();

    // --- electronic calibration module (mainwindow_ucal.cpp) -------------------------------------
    void showUCalControls();

    // --- electronic calibration (mainwindow_ecal.cpp) --------------------------------------------
    // The operator's calibration of the active channel through the uCal module: the module's
    // factory data, the setup with its port map, the standards switched in turn, the file, and
    // the record into the channel.
    void calStartNewECalibration();
    // The module's user characterisation against the active channel's mechanical two-port
    // calibration, kept as a kit of the kit list that the electronic setup offers as "User".
    void showUCalUserCharacterization();
    // The uCal menu's entries, available as the active channel allows.
    void aboutToShowUCalMenu();

    // --- equations (mainwindow_equations.cpp) ----------------------------------------------------
    // The equation of a trace by index; the form without one acts on the active trace, as the
    // Math panel does. A new setting takes the last equation error off the status bar: the next
    // pass reports again if the equation still fails.
    void equationEnabledChanged(int trace, bool enabled);
    void equationEnabledChanged(bool enabled);
    // Opens the equation editor on the active trace; its edits reach the trace as they are made.
    void equationEditorPressed();
    // Shows why an equation failed, unless no trace's equation fails that way any more: the
    // report is queued, and an edit made meanwhile may have put things right.
    void equationStatusMessage(const QString& text);
    // The Math panel's delay rows: the velocity factor of the active trace's channel, and the
    // active trace's electrical delay given as a length of line at that velocity factor.
    void mathVelocityFactorChanged(double factor);
    void mathLengthChanged(double metres);

    // --- instrument state files (mainwindow_state.cpp) -------------------------------------------
    // The whole instrument into an .ini file, written while the measurement runs; false when the
    // file could not be written.
    bool SaveInstrumentState(const QString& path);
    // Replaces the whole instrument by the file's. False when the file does not exist (nothing
    // changed) or has a version this program does not read (the setup kept, but stopped).
    bool LoadInstrumentState(const QString& path);
    void saveInstrumentStatePressed();
    void recallInstrumentStatePressed();

    // --- theme and preferences (mainwindow_theme.cpp) --------------------------------------------
    // Load the theme's default colours, apply its style sheet and icons.
    void setLightTheme();
    void setDarkTheme();
    // Runs the preferences dialog; accepted options take effect at once where they can.
    void editPreferences();

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
    void aboutToShowFileMenu();

signals:
    void threadShowMessageBoxSignal(const QString& title, const QString& text);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void ReadFanDefaults();
    // Theme and preferences (mainwindow_theme.cpp).
    void InitTheme();
    void BuildEditMenu(QMenu* edit);
    void ApplyTheme(KXStyleSheet style);
    void ApplyPanelOrientation();
    // The tools' part of start-up: window icon and the version check if the operator wants it.
    void InitTools();
    void BuildToolbar();
    void BuildPanels();
    void InitMenuBar();
    void setThemeIcons();
    void ConnectModelSignals();
    void LoadFactoryCalInThread();
    void InitCalibrationMenu(QMenu* menu);
    void PerformCalibration();
    void PerformECalibration();
    // Whether an operator's calibration can start on the active channel: none in progress and an
    // instrument connected. Warns when not.
    bool CanStartCalibration();
    // False, with the warning shown, when the kit lacks a standard the calibration type needs.
    bool KitCanPerform(const VNACalKit& kit, VNACalType type);
    // Runs the measuring dialog that make builds, with the instrument held, for a channel; true
    // when accepted.
    bool RunCalibrationDialog(int channel, const std::function<CalMeasureDlg*()>& make);
    // The end of an operator's calibration: the file asked for, the record written, solved and
    // put into the channel. False when the operator gives up on the file or writing fails.
    bool SaveCalibrationToChannel(VNACalibration& cal, int channel);
    // Sets one of a channel's correction switches and redraws it.
    void SetChannelCalFlag(int channel, bool VNAChannel::*flag, bool on);
    // Solves the record for the sweep the channel will have, off the GUI thread, and puts it
    // into the channel.
    void SetChannelCalibration(int channel, VNACalibration cal, bool takeStimulus);
    // The remote dialog, whichever type it is; null when no remote calibration runs.
    CalMeasureDlg* RemoteCalDialog() const;
    // Stops every calibration dialog for good: the instrument is about to go.
    void EndCalibrations();
    // Gives every channel the factory calibration found, stopping the loop meanwhile.
    void InstallFactoryCal();
    // Opens the instrument with `open` and reads its factory calibration, off the GUI thread.
    void OpenDeviceOffThread(const std::function<bool()>& open);
    // Runs long work on a thread of its own behind a progress box while the window stays alive.
    // Remote commands are held back meanwhile (one on the stack holds them), since the work
    // reads or fills the model or the device.
    void RunOffThread(const QString& title, const char* threadName,
                      const std::function<void()>& work);
    // One fresh sweep of the channel, corrected as the channel corrects; false with the reason
    // when the channel applies no correction or no sweep arrived. Keeps the window alive.
    bool MeasureCorrectedSweep(int channel, SParameters& corrected, QString& error);
    // Opens the kit editor; true once the kit is saved as a user kit (renamed from previousName).
    bool EditUserCalKit(const VNACalKit& kit, const QString& previousName);
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
    // Ends what waits for the sweeps (*OPC? replies, an armed *OPC, commands held by *WAI) once
    // none is pending.
    void SCPIAnswerPendingOpc();
    // The current client when it is the one running cmd; null otherwise.
    ScpiConnection* SCPIConnectionOf(Scpi* cmd) const;
    // Polls the sweeps while anything waits for them.
    void SCPIStartWaiting();
    void SCPIShowLockout();
    QImage ScreenImage();
    // One entry per plot slot: the title, or a null string for an empty slot.
    QStringList PlotTitles() const;
    // Sounds when a trace that asks for it failed its limit test, at most once per interval, so
    // a trace failing at every sweep does not flood.
    void LimitFailSound();

    qint64 lastLimitFailSoundMs = -1;
    int limitFailSounds = 0;

    VNAModel model;
    // Written by the connect and factory-write threads while the window waits for them.
    VNACalibration factoryCal;
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
    // Status registers of commands that come from no client.
    ScpiStatus scpiLocalStatus;
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
    MauryUCalControlsDlg* uCalControls = nullptr;
    QAction* uCalCharacterizeAction = nullptr;
    VNAStatusBar* statusBarWidget = nullptr;
    QMenu* connectMenu = nullptr;
    QAction* disconnectAction = nullptr;
    QMenu* deleteChannelMenu = nullptr;
    QMenu* activeChannelMenu = nullptr;
    QAction* spurRejectAction = nullptr;
    QAction* calEnabledAction = nullptr;
    QAction* calInterpolateAction = nullptr;
    QVector<QAction*> calLoadedActions;  // enabled only while the active channel has a calibration
    // The calibration in progress: the operator's dialog, the remote client's working record
    // and dialog (in the slot of its type), and the channel the standards are shown on.
    CalMeasureDlg* operatorCalDialog = nullptr;
    VNACalibration remoteCal;
    SOLCalDlg* remoteSOLDialog = nullptr;
    SOLTCalDlg* remoteSOLTDialog = nullptr;
    int calChannel = -1;
    QAction* progressAction = nullptr;
    QProgressBar* progressBar = nullptr;
    QVector<QAction*> iconActions;
    QWidget* panelButtonColumn = nullptr;
    QHBoxLayout* centralRow = nullptr;
    QAction* lightThemeAction = nullptr;
    QAction* darkThemeAction = nullptr;
    FanControlDialog* fanDialog = nullptr;
    OutputGeneratorControlsDialog* generatorDialog = nullptr;
    VersionChecker* versionChecker = nullptr;
    bool generatorOn = false;
};
