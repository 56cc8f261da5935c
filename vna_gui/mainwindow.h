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
class MauryUCalControlsDlg;
class VNAPlot;
class VNAStatusBar;
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
    void MeasStart() { model.MeasStart(); }
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

    // --- limit and ripple tests (mainwindow_limits.cpp) ------------------------------------------

    // --- time domain and gating (mainwindow_time.cpp) --------------------------------------------

    // --- calibration (mainwindow_calibration.cpp) ------------------------------------------------

    // --- fixtures and port extension (mainwindow_fixtures.cpp) -----------------------------------

    // --- electronic calibration module (mainwindow_ucal.cpp) -------------------------------------
    void showUCalControls();

    // --- equations (mainwindow_equations.cpp) ----------------------------------------------------

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
    MauryUCalControlsDlg* uCalControls = nullptr;
    VNAStatusBar* statusBarWidget = nullptr;
    QMenu* connectMenu = nullptr;
    QMenu* deleteChannelMenu = nullptr;
    QMenu* activeChannelMenu = nullptr;
    QAction* spurRejectAction = nullptr;
    QAction* progressAction = nullptr;
    QProgressBar* progressBar = nullptr;
    QVector<QAction*> iconActions;
};
