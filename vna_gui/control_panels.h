// The twelve control panels. A panel holds no model state: UpdateControls() reads the model and
// sets the controls without signalling, and every edit calls one MainWindow operation.
#pragma once

#include <QDialog>
#include <QLabel>
#include <QWidget>

class MainWindow;
class KXComboBox;
class KXLineEdit;
class KXPushButton;
class QAbstractButton;
class QAction;
class QCheckBox;
class QFormLayout;
class QLabel;
class QRadioButton;
class QVBoxLayout;

// Sets a check box or radio button without emitting its signals: panels show the model's state.
void SetChecked(QAbstractButton* b, bool checked);
// Enables a control, or disables it with the reason as its tooltip, so that the operator learns
// why it cannot be used; an enabled control gets its own tooltip back.
void SetAvailable(QWidget* w, bool available, const QString& reason);
void SetAvailable(QAction* a, bool available, const QString& reason);
// The reason shown on the trace panels while no trace is selected.
QString NoTraceReason();

// The small heading of a panel.

class TitleBar : public QLabel
{
    Q_OBJECT
public:
    explicit TitleBar(const QString& title, QWidget* parent = nullptr);
};

// Wraps one panel under its title.
class ControlPanel : public QWidget
{
    Q_OBJECT
public:
    ControlPanel(const QString& title, QWidget* content, QWidget* parent = nullptr);
    QWidget* Content() const { return content; }

private:
    QWidget* content;
};

class PanelBase : public QWidget
{
    Q_OBJECT
public:
    explicit PanelBase(MainWindow* window);
    virtual void UpdateControls() {}

protected:
    QFormLayout* Form();
    QVBoxLayout* Column() const { return column; }
    MainWindow* w;

private:
    QVBoxLayout* column;
    QFormLayout* form = nullptr;
};

class ChannelControlPanel : public PanelBase
{
    Q_OBJECT
public:
    explicit ChannelControlPanel(MainWindow* window);
    void UpdateControls() override;

private:
    KXComboBox* active;
};

class TriggerControlPanel : public PanelBase
{
    Q_OBJECT
public:
    explicit TriggerControlPanel(MainWindow* window);
    void UpdateControls() override;
    bool GetTriggerScopeAllChannels() const;
    void SetTriggerScopeAllChannels(bool all);

private:
    KXComboBox* active;
    QRadioButton* hold;
    QRadioButton* single;
    QRadioButton* continuous;
    QRadioButton* scopeAll;
    QRadioButton* scopeActive;
};

class StimulusControlPanel : public PanelBase
{
    Q_OBJECT
public:
    explicit StimulusControlPanel(MainWindow* window);
    void UpdateControls() override;

private:
    int Channel() const;
    KXComboBox* sweepType;
    KXPushButton* editSegments;
    KXLineEdit* start;
    KXLineEdit* stop;
    KXLineEdit* step;
    KXLineEdit* center;
    KXLineEdit* span;
    KXLineEdit* points;
    KXLineEdit* ifbw;
    QCheckBox* rfOut;
    KXComboBox* power;
    KXLineEdit* manualAtten;
    KXLineEdit* manualPower;
    QCheckBox* avgEnabled;
    KXLineEdit* avgCount;
    KXPushButton* restartAvg;
};

class TraceControlPanel : public PanelBase
{
    Q_OBJECT
public:
    explicit TraceControlPanel(MainWindow* window);
    void UpdateControls() override;

private:
    KXComboBox* trace;
    KXComboBox* channel;
    KXComboBox* plot;
    KXComboBox* meas;
    KXComboBox* format;
    KXComboBox* hold;
    KXLineEdit* ref;
    KXLineEdit* div;
    KXLineEdit* refPos;
    KXComboBox* coupling;
    QCheckBox* useName;
    KXLineEdit* name;
};

class MathPanel : public PanelBase
{
    Q_OBJECT
public:
    explicit MathPanel(MainWindow* window);
    void UpdateControls() override;

private:
    QLabel* memState;
    KXComboBox* mathOp;
    QCheckBox* interpolate;
    QCheckBox* showMem;
    QCheckBox* smooth;
    KXLineEdit* aperture;
    QCheckBox* equationEnabled;
    QCheckBox* statsEnabled;
    QCheckBox* autoRange;
    KXLineEdit* rangeStart;
    KXLineEdit* rangeStop;
    KXLineEdit* delay;
    KXLineEdit* velocity;  // of the active trace's channel
    KXLineEdit* length;    // the electrical delay in metres through that velocity factor
    KXLineEdit* magOffset;
    KXLineEdit* magSlope;
    KXLineEdit* phaseOffset;
};

class SettingsPanel : public PanelBase
{
    Q_OBJECT
public:
    explicit SettingsPanel(MainWindow* window);
    void UpdateControls() override;

private:
    KXComboBox* reference;
    KXLineEdit* z0;
    QCheckBox* spurReject;
};

// Panels of features still to come: their controls stand ready but disabled.
class PendingControlsPanel : public PanelBase
{
    Q_OBJECT
public:
    PendingControlsPanel(MainWindow* window, const QStringList& controls);
};

// The active channel's calibration: starting, loading and unloading one, its switches, and the
// calibration-set view of the active trace.
class CalibrationControlPanel : public PanelBase
{
    Q_OBJECT
public:
    explicit CalibrationControlPanel(MainWindow* window);
    void UpdateControls() override;

private:
    void BuildViewerRows();

    QCheckBox* loaded;
    QCheckBox* enabled;
    QCheckBox* interpolate;
    QCheckBox* viewer;
    KXComboBox* display;
    KXComboBox* standards;
    KXComboBox* errorTerms;
};

// The active channel's port extension and its two fixture objects, de-embedding and embedding:
// each with its switch, the file of each port, and a note when a file does not fit the sweep.
class FixtureControlPanel : public PanelBase
{
    Q_OBJECT
public:
    explicit FixtureControlPanel(MainWindow* window);
    void UpdateControls() override;

private:
    struct FixtureControls
    {
        QCheckBox* enabled = nullptr;
        QLabel* file[2] = {nullptr, nullptr};
        QLabel* warning = nullptr;
    };
    // kind: 0 de-embedding, 1 embedding.
    void BuildFixture(int kind);
    void ShowFixture(int kind, int channel);

    QCheckBox* portExtension;
    FixtureControls fixtures[2];  // de-embedding, embedding
};

// The markers of the selected trace: which marker is active, its flags and position, the peak
// searches, tracking, coupling between traces and the bandwidth search.
class MarkerControlPanel : public PanelBase
{
    Q_OBJECT
public:
    explicit MarkerControlPanel(MainWindow* window);
    void UpdateControls() override;

private:
    void BuildMarkerRows();
    void BuildSearchRows();
    void BuildBandwidthRows();

    QLabel* traceName;
    KXComboBox* marker;
    QCheckBox* enabled;
    QCheckBox* fixed;
    QCheckBox* delta;
    KXLineEdit* frequency;
    KXLineEdit* time;
    QLabel* readout;
    KXPushButton* peakRight;
    KXPushButton* peakLeft;
    KXPushButton* peakNext;
    KXLineEdit* threshold;
    KXLineEdit* excursion;
    KXComboBox* tracking;
    KXComboBox* coupling;
    QCheckBox* bwEnabled;
    KXLineEdit* bwLimit;
    QCheckBox* bwTracking;
};

class LimitLinePanel : public PanelBase
{
    Q_OBJECT
public:
    explicit LimitLinePanel(MainWindow* window);
    void UpdateControls() override;

private:
    QCheckBox* enabled;
    QCheckBox* limitShown;
    QCheckBox* sound;
    QCheckBox* rippleEnabled;
    QCheckBox* rippleShown;
};

// The active trace's time transform, with the cable list that sets its velocity factor.
class TimeDomainPanel : public PanelBase
{
    Q_OBJECT
public:
    explicit TimeDomainPanel(MainWindow* window);
    void UpdateControls() override;

private:
    // Lists the built-in and the operator's cables, showing the one of this velocity factor.
    void FillCables(double velocityFactor);
    void CableSelected();
    void AddCablePressed();

    QCheckBox* enabled;
    KXComboBox* type;
    KXComboBox* windowType;
    KXLineEdit* beta;
    KXComboBox* markerMode;
    KXComboBox* units;
    KXLineEdit* velocity;
    KXComboBox* cables;
    QCheckBox* autoScale;
    KXLineEdit* start;
    KXLineEdit* stop;
    KXLineEdit* center;
    KXLineEdit* span;
};

// The active trace's time gate and the gate coupling of its channel.
class TimeGatingPanel : public PanelBase
{
    Q_OBJECT
public:
    explicit TimeGatingPanel(MainWindow* window);
    void UpdateControls() override;

private:
    QCheckBox* enabled;
    KXLineEdit* start;
    KXLineEdit* stop;
    KXLineEdit* center;
    KXLineEdit* span;
    KXComboBox* type;
    KXComboBox* shape;
    QCheckBox* coupled;
};

// Asks for the channel, the measurements, the plot and the format of new traces.
class NewTraceDialog : public QDialog
{
    Q_OBJECT
public:
    NewTraceDialog(int plot, const QVector<int>& plotNumbers, int channelCount, int activeChannel,
                   QWidget* parent = nullptr);

    int Channel() const;
    QVector<int> MeasList() const;
    int Plot() const;  // -1: create in a new plot
    int Format() const;

private:
    KXComboBox* channel;
    QCheckBox* meas[4];
    KXComboBox* plot;
    KXComboBox* format;
};
