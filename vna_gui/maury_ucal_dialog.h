// "Maury uCal Controls": manual use of the uCal module. Connects to the first module found,
// switches its states and shows its identity and temperature. The module runs on a session
// thread of its own, so no click ever waits on the serial port.
#pragma once

#include <memory>

#include "kx_widgets.h"
#include "maury_ucal_session.h"

class QButtonGroup;
class QLabel;
class QTimer;

class MauryUCalControlsDlg : public KXDialog
{
    Q_OBJECT
public:
    static constexpr int kTempPeriodMs = 1000;

    explicit MauryUCalControlsDlg(QWidget* parent = nullptr);
    ~MauryUCalControlsDlg() override;

    bool IsConnected() const { return session != nullptr && connected; }
    KXPushButton* ConnectButton() const { return connectButton; }
    QButtonGroup* StateButtons() const { return stateGroup; }
    enum Field
    {
        FieldManufacturer,
        FieldModel,
        FieldSerialNumber,
        FieldFirmware,
        FieldDevice,
        FieldState,
        FieldTemperature,
        FieldCount
    };
    QString FieldText(Field field) const;

public slots:
    // "Connect" finds the module and connects; "Disconnect" closes the session.
    void connectPressed();
    void setState(int state);
    void updateTemp();

signals:
    // A module operation has finished and the dialog shows its outcome.
    void moduleUpdated();

protected:
    // Closing the dialog lets the module go, so a calibration can take it.
    void hideEvent(QHideEvent* event) override;

private:
    void Connected(const MauryUCalStatus& status);
    void UpdateIDLabels(const MauryUCalStatus& status);
    void ShowState(MauryUCal::State state);
    void EndSession();

    std::unique_ptr<MauryUCalSession> session;
    bool connected = false;
    bool tempPending = false;
    KXPushButton* connectButton = nullptr;
    QButtonGroup* stateGroup = nullptr;
    QLabel* fields[FieldCount] = {};
    QTimer* tempTimer = nullptr;
};
