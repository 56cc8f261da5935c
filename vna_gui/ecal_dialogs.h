// The electronic calibration dialogs: choosing the type, the kit's characterisation and the
// port map, and measuring every standard by switching the uCal module while the instrument's
// connections stay as they are.
#pragma once

#include "cal_dialogs.h"
#include "maury_ucal_char.h"

class MauryUCalSession;
class QTimer;

class ECalSetupDlg : public KXDialog
{
    Q_OBJECT
public:
    explicit ECalSetupDlg(QWidget* parent = nullptr);

    VNACalType GetCalType() const;
    void SetCalType(VNACalType type);
    void SetSelectCalTypeEnabled(bool enabled);
    // The instrument port (0 or 1) and the module port (0 for A, 1 for B) joined to it; the
    // other ports of a two-port calibration are joined to each other.
    int GetVNAPort() const;
    int GetUCalPort() const;
    // "User": the selected kit stands in for the module's factory characterisation.
    bool UseUserCharacterization() const;
    // The selected kit, loaded and named; false when it does not load.
    bool GetCalKit(VNACalKit& kit) const;
    QString GetCalKitName() const;

public slots:
    // Only a kit made from the module's own characterisation can replace the factory one.
    void calKitUpdated();
    void accept() override;

private:
    KXComboBox* calType;
    KXComboBox* calKit;
    KXComboBox* characterization;
    KXComboBox* vnaPort;
    KXComboBox* uCalPort;
};

// What both electronic dialogs share: the module switched to each standard on the measuring
// thread, the "Measure" and "Cancel" buttons, and the module's temperature.
class ECalMeasureDlg : public CalMeasureDlg
{
    Q_OBJECT
public:
    // Measures every standard in turn; false (with a message) at the first that fails.
    virtual bool Measure() = 0;

signals:
    void requestTempUpdate();

public slots:
    void performTempUpdate();
    // "Measure": all standards, then the dialog finishes.
    void measureClicked();

protected:
    ECalMeasureDlg(VNADevice& device, VNACalibration& calibration, MauryUCalSession& module,
                   const QString& title, int roles, QWidget* parent);

    bool PrepareStandard(bool thru) override;
    // Builds the rows of the classes (each with its status label) and the temperature rows.
    void BuildRows(const QStringList& classes);
    // Measures after switching the module to the class's state; reports a failed switch.
    bool Switched(CalClass cls, const std::function<bool()>& measure);
    void WarnError(const QString& text);

    MauryUCalSession& module;
    QVector<QLabel*> labels;

private:
    int pendingState = 0;
    bool switchFailed = false;
    bool tempPending = false;
    QLabel* tempLabel = nullptr;
    QLabel* tempStatusLabel = nullptr;
    QTimer* tempTimer = nullptr;
};

class SOLECalDlg : public ECalMeasureDlg
{
    Q_OBJECT
public:
    SOLECalDlg(VNADevice& device, VNACalibration& calibration, MauryUCalSession& module,
               QWidget* parent = nullptr);
    bool Measure() override;
};

class SOLTECalDlg : public ECalMeasureDlg
{
    Q_OBJECT
public:
    // The record's module port is the one on instrument port 1.
    SOLTECalDlg(VNADevice& device, VNACalibration& calibration, MauryUCalSession& module,
                QWidget* parent = nullptr);
    bool Measure() override;
    bool MeasureSOL();
    bool MeasureThru();

private:
    UCalPortMap map;
};

// The module's user characterisation: each switch state measured through the instrument and
// corrected by the channel's mechanical two-port calibration. The record gives the sweep (the
// channel's) and the kit shown; the result is filled as the states are measured.
class UCalUserCharDlg : public ECalMeasureDlg
{
    Q_OBJECT
public:
    UCalUserCharDlg(VNADevice& device, VNACalibration& record, const VNACalibration& mechanical,
                    MauryUCalSession& module, const UCalIdentity& identity,
                    UCalUserCharacterization& result, QWidget* parent = nullptr);
    // Starts over with the chosen port map, then every state in turn.
    bool Measure() override;

private:
    const VNACalibration& mechanical;
    const UCalIdentity identity;
    UCalUserCharacterization& result;
    KXComboBox* uCalPort = nullptr;
};
