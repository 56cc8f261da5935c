// The mechanical calibration dialogs: choosing the type and kit, picking a standard, stepping a
// sliding load, and measuring the standards of a one-port or two-port calibration while a thread
// of the dialog keeps the instrument sweeping.
#pragma once

#include <QVector>
#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

#include "kx_widgets.h"
#include "vna_calibration.h"

class QBoxLayout;
class QLabel;
class VNADevice;

// Runs work on a thread of its own while this (GUI) thread keeps serving events, calling tick
// every tickMs meanwhile; returns once work has returned.
void RunWhileServingEvents(const std::function<void()>& work,
                           const std::function<void()>& tick = {}, int tickMs = 20);

class CalSetupDlg : public KXDialog
{
    Q_OBJECT
public:
    explicit CalSetupDlg(QWidget* parent = nullptr);

    VNACalType GetCalType() const;
    void SetCalType(VNACalType type);
    void SetSelectCalTypeEnabled(bool enabled);
    // 0 for port 1, 1 for port 2; used by SOL only.
    int GetPort() const;
    // The selected kit, loaded and named; false when it does not load.
    bool GetCalKit(VNACalKit& kit) const;
    QString GetCalKitName() const;

public slots:
    void calTypeUpdated();
    // Remembers the choice for the next calibration.
    void accept() override;

private:
    KXComboBox* calType;
    KXComboBox* calKit;
    KXComboBox* port;
};

// Lists standards to choose from; the chosen ID, or -1 when rejected.
class VNACalStdPicker : public KXDialog
{
    Q_OBJECT
public:
    explicit VNACalStdPicker(const QVector<CalKitStandardInfo>& standards,
                             QWidget* parent = nullptr);
    int GetSelectedID() const { return selected; }

public slots:
    void stdSelected();

private:
    int selected = -1;
};

// One position of a sliding load: done(0) measures and goes on, done(1) measures and finishes,
// done(2) finishes. Closing the window counts as finishing.
class VNASlidingLoadDlg : public KXDialog
{
    Q_OBJECT
public:
    explicit VNASlidingLoadDlg(int count, QWidget* parent = nullptr);
    void reject() override;
};

// What the two measuring dialogs share: the background sweeping, the hand-over of the device for
// a measurement, the steps that fill the record, the roles' status and the rules for closing.
class CalMeasureDlg : public KXDialog
{
    Q_OBJECT
public:
    ~CalMeasureDlg() override;

    // Every role measured over the whole sweep.
    bool HasFinished() const;
    // True while a step runs or the dialog asks the operator something: it then neither closes
    // nor takes another step, and must not be deleted.
    bool IsBusy() const { return busy > 0; }
    // Deletes the dialog once nothing of it is on the stack any more.
    void DeleteWhenIdle();
    // Ends the background sweeping and waits for a measurement under way, for good: the
    // instrument is about to go. The dialog can then only close.
    void Stop();

signals:
    void measUpdated(const SParametersRaw& raw);
    void dialogClosed();

public slots:
    // Accepts when every role is measured, warns otherwise.
    void checkIfCalDone();
    // Asks first unless every role is measured; ignored while a step measures.
    void reject() override;

protected:
    CalMeasureDlg(VNADevice& device, VNACalibration& calibration, const QString& title, int roles,
                  QWidget* parent);

    // How the instrument sweeps for this calibration; set before StartBackground.
    void SetDeviceSetup(bool fwd, bool rev, bool hdr);
    // Starts the background sweeping; the derived dialog calls it once it is built.
    void StartBackground();

    // The steps. Each refuses while another runs, shows its progress on the label, and leaves
    // the role's done flag and status as the record now stands. False when the standard does
    // not serve or the measurement did not complete.
    // A reflect role: the kit's standard checked against the role, measured (a sliding load
    // position by position) and merged over its band.
    bool MeasureReflect(int role, int port, CalOnePortRole kind, int id, QLabel* label);
    // The thru; an unknown one is followed by its switch terms.
    bool MeasureThru(int role, const CalKitStandardInfo& standard, bool unknown, QLabel* label);
    bool MeasureIsolation(QLabel* label);
    // One measurement for a reflect kind of both ports at once, each port's standard (ids[port])
    // checked against the role and merged into it; labels[port] shows each port's status.
    bool MeasureReflectBoth(CalOnePortRole kind, const int ids[2], QLabel* const labels[2]);
    // A role whose result the dialog keeps itself: one measurement of what is connected, handed
    // to store; the role is done once store takes it.
    bool MeasureRole(int role, bool thru, QLabel* label,
                     const std::function<bool(const SParametersRaw&)>& store);

    // Runs on the measuring thread, with the device taken, right before a standard is swept: a
    // switch to the standard goes here. False cancels the measurement.
    virtual bool PrepareStandard(bool thru)
    {
        Q_UNUSED(thru);
        return true;
    }

    // The ID of the kit's standard for a class: the only one without asking when the operator
    // prefers so, otherwise the operator's pick; -1 when none.
    int GetStdIDByClass(CalClass cls);
    QLabel* StatusLabel(const QString& text);
    // A warning the dialog must outlive: it is not deleted while the box is up.
    void Warn(const QString& title, const QString& text);
    // "Done" and "Cancel" at the foot of the dialog.
    void AddFinishButtons(QBoxLayout* column);

    VNADevice& device;
    VNACalibration& cal;
    const VNAStimulus stimulus;

private:
    void Configure(bool thru);
    // Polls a sweep started on the device until it is complete; false when the dialog stops
    // first, or (yieldToMeasurement) a measurement asks for the device.
    bool WaitForSweep(int pollMs, bool yieldToMeasurement);
    void BackgroundThread();
    // Runs job with the device taken from the background sweeping, while the window keeps
    // serving events; false when the job failed or the dialog stopped.
    bool RunOnDevice(QLabel* label, const std::function<bool()>& job);
    // The stimulus's average count of sweeps of the standard connected, averaged.
    bool MeasureStandard(QLabel* label, bool thru, SParametersRaw& out);
    // One receiver sweep driving each port, into the record's switch terms.
    bool MeasureSwitchTerms(QLabel* label);
    bool MeasureSlidingLoad(QLabel* label, SParametersRaw& out);
    bool BeginStep();
    void EndStep();
    // Around anything that runs an event loop of the dialog's own.
    void Enter() { ++busy; }
    void Leave();
    void SetDone(int role, bool isDone, QLabel* label, bool measured);
    void SetControlsEnabled(bool enabled);

    bool sweepFwd = true;
    bool sweepRev = true;
    bool sweepHdr = true;
    std::thread background;
    std::atomic<bool> running{false};
    bool stopped = false;
    std::atomic<bool> pauseRequest{false};
    // Guards the device between the background sweeping and a measurement, and
    // backgroundConfigured.
    std::mutex deviceMutex;
    bool backgroundConfigured = false;
    // Progress of the measurement under way, for the status label.
    std::atomic<int> progressSweep{0};
    std::atomic<int> progressCount{1};
    std::atomic<double> progressPercent{0.0};
    int busy = 0;
    bool deleteWhenIdle = false;
    QVector<bool> done;
};

class SOLCalDlg : public CalMeasureDlg
{
    Q_OBJECT
public:
    SOLCalDlg(VNADevice& device, VNACalibration& calibration, QWidget* parent = nullptr);

    // Each measures the kit's standard of that ID in its role; false when it is not in the
    // kit, does not fit the role, or the measurement failed.
    bool MeasShort(int id);
    bool MeasOpen(int id);
    bool MeasLoad(int id);

private:
    bool Measure(CalOnePortRole kind, int id);

    QLabel* labels[3];
};

// Both two-port types: SOLT with a defined thru, SOLR with an unknown one.
class SOLTCalDlg : public CalMeasureDlg
{
    Q_OBJECT
public:
    SOLTCalDlg(VNADevice& device, VNACalibration& calibration, QWidget* parent = nullptr);

    // Port 0 or 1 and the kit's standard ID; false as for SOLCalDlg.
    bool MeasShort(int port, int id);
    bool MeasOpen(int port, int id);
    bool MeasLoad(int port, int id);
    // SOLT: the kit's thru of that ID. SOLR: whatever reciprocal thru is connected (the ID is
    // not used), followed by the switch terms.
    bool MeasThru(int id);
    // Optional: both ports terminated.
    bool MeasIso();

private:
    bool Measure(int port, CalOnePortRole kind, int id);
    bool Unknown() const { return cal.GetCalType() == SOLR; }

    QLabel* labels[VNACalibration::kTwoPortRoles];
    QLabel* isoLabel;
};
