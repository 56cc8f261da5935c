// The coordinator: owns the measurement model and the interface, and is the one way in for every
// change an operator or a remote client makes.
#pragma once

#include <QMainWindow>
#include <QVector>

#include "frequency.h"
#include "preferences.h"
#include "vna_model.h"

class QAction;
class QCloseEvent;
class QEventLoop;
class QGridLayout;
class QLabel;
class QProgressBar;
class ErrorLogDialog;
class VNAPlot;
class VnaLib;

class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr, const VnaLib* library = nullptr);
    ~MainWindow() override;

    VNAModel& Model() { return model; }

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
    void PresetInstrumentState(bool createDefault, bool restart);
    int GetNextPlotNumber() const;
    int GetVisiblePlots() const;

public slots:
    void connectDevice();
    void connectDevice(QAction* action);
    void disconnectDevice();

    void stimulusUpdated();
    void setSpurReject(bool enabled);
    void toggleSpurReject();
    void stimRFOutChanged(bool enabled);
    void setReference(VNAReference reference);

    // Stimulus edits of one channel; out-of-range values are clamped silently.
    void stimStartFreqChanged(int channel, Frequency f);
    void stimStopFreqChanged(int channel, Frequency f);
    void stimCenterFreqChanged(int channel, Frequency f);
    void stimSpanChanged(int channel, Frequency f);
    void stimStepChanged(int channel, Frequency f);
    void stimPointsChanged(int channel, int points);
    void stimIFBWChanged(int channel, double hz);
    void stimAvgEnabledChanged(int channel, bool enabled);
    void stimAvgCountChanged(int channel, int count);

    void triggerSweepModeChanged(int channel, int mode);
    void triggerSweepModeChanged(int mode);
    void _triggerSweepModeChangedHelper(int channel, int mode);
    void singlePressed();
    void continuousPressed();
    void holdPressed();

    void quickSetupFull2Port(bool skipQuestion);
    void showErrorLog();
    void updatePlots();

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

signals:
    void threadShowMessageBoxSignal(const QString& title, const QString& text);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void ReadFanDefaults();
    void BuildToolbar();
    void InitMenuBar();
    void BuildStatusBar();
    void ConnectModelSignals();
    // Stops the loop, applies an edit to one channel's stimulus, and starts it again.
    template <typename Edit>
    void EditStimulus(int channel, Edit edit);
    void LoadFactoryCalInThread();
    void ShowDeviceInStatusBar(const QString& name);

    VNAModel model;
    QVector<VNAPlot*> plots;
    ErrorLogDialog* errorLogDialog = nullptr;
    QWidget* plotArea = nullptr;
    QGridLayout* plotGrid = nullptr;
    QAction* spurRejectAction = nullptr;
    QAction* progressAction = nullptr;
    QProgressBar* progressBar = nullptr;
    QLabel* deviceLabel = nullptr;
    QLabel* sweepLabel = nullptr;
    QLabel* stimulusLabel = nullptr;
    QLabel* tempLabel = nullptr;
    bool closing = false;
};
