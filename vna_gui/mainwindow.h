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
class QTcpServer;
class QTcpSocket;
class SCPIRemoteDialog;
class ScpiLogDialog;
class ChannelWidget;
class ErrorLogDialog;
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
    void WaitForOPC();
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
    int ActiveTraceIndex() const { return model.selectedTraceIndex; }

    // --- remote control ---------------------------------------------------------------------
    void SCPIStartup();
    void SCPIShutdown();
    void SCPIUpdatePort();
    // The port the server listens on, or 0 when it does not listen.
    quint16 SCPIServerPort() const;
    ScpiLogDialog* ScpiLog() const { return scpiLogDialog; }
    void SCPIHandleCommand(Scpi* scpi);

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

    void triggerSweepModeChanged(int channel, int mode);
    void triggerSweepModeChanged(int mode);
    void _triggerSweepModeChangedHelper(int channel, int mode);
    void triggerScopeChanged(bool allChannels);
    void singlePressed();
    void continuousPressed();

    // Channels and plots.
    void addChannelTracePressed();
    void addChannelTraceWindowPressed();
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
    void traceRefChanged(double value);
    void traceDivChanged(double value);
    void traceRefPosChanged(double value);
    void traceAutoScale();
    void traceAutoScaleAll();
    void traceDefaultScale();
    void traceDefaultScaleAll();
    void traceScaleCouplingChanged(int coupling);
    void traceUseNameChanged(bool use);
    void traceNameChanged(const QString& name);
    void traceExport();
    void traceStoreMem();
    void traceMathOpChanged(int op);
    void traceMathInterpolateChanged(bool enabled);
    void traceShowMemTraceChanged(bool show);
    void traceSmoothEnabledChanged(bool enabled);
    void traceSmoothAperatureChanged(double percent);
    void traceStatsEnabledChanged(bool enabled);
    void traceStatsAutoRangeChanged(bool enabled);
    void traceStatsStartChanged(Frequency f);
    void traceStatsStopChanged(Frequency f);
    void traceElecDelayChanged(double seconds);
    void traceElecDelayChanged(int trace, double seconds);
    void traceMagOffsetChanged(double db);
    void traceMagSlopeChanged(double dbPerGHz);
    void tracePhaseOffsetChanged(double degrees);

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
    // Scale edits flow from the active trace to the traces the coupling reaches.
    void EditActiveScale(const std::function<void(VNATrace&)>& edit);
    // Destroys the traces on a plot and empties its slot; the caller holds no lock.
    void RemovePlot(int plot);

    // Command bodies by group, each true when it handled the id.
    bool SCPISystemCommand(Scpi* scpi, int id);
    bool SCPIStimulusCommand(Scpi* scpi, int id);
    bool SCPIDisplayCommand(Scpi* scpi, int id);
    bool SCPIMeasurementCommand(Scpi* scpi, int id);
    // Channel from the command's first suffix; false (error queued) when invalid.
    bool SCPIChannel(Scpi* scpi, int& channel);
    // Trace from the channel and the measure suffix; false (error queued) when invalid.
    bool SCPITrace(Scpi* scpi, int channel, int& trace);
    void SCPIShowLockout();
    QImage ScreenImage();

    VNAModel model;
    QVector<VNAPlot*> plots;
    QTcpServer* scpiServer = nullptr;
    QTcpSocket* scpiSocket = nullptr;
    Scpi scpi;
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
};
