// The window's status bar: channel, bandwidth, reference, calibration, sweep mode, device and
// diagnostics.
#pragma once

#include <QStatusBar>

#include "vna_device.h"

class QLabel;

class VNAStatusBar : public QStatusBar
{
    Q_OBJECT
public:
    explicit VNAStatusBar(QWidget* parent = nullptr);

    void SetChannel(const QString& name);
    void SetBandwidth(double ifbw, bool avg, int count, int current);
    void SetReference(VNAReference reference);
    void SetCalibrationLabel(const QString& text);
    void SetContLabel(int mode);
    void SetDeviceName(const QString& name);
    void SetDeviceSerial(int serial, int firmware);
    void SetDiagnostics(double power, double temperature, double third, bool warn);
    void SetMessage(const QString& text);
    void SetNewVersionString(const QString& text);
    void ClearStatusBar();

    // Texts as shown, for tests and screenshots.
    QString ChannelText() const;
    QString BandwidthText() const;
    QString CalibrationText() const;
    QString ContText() const;
    QString DeviceText() const;

protected:
    // A new theme recolours the diagnostics' text, once the label has taken the new style.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ShowDiagnostics();

    QLabel* channel;
    QLabel* bandwidth;
    QLabel* reference;
    QLabel* calibration;
    QLabel* cont;
    QLabel* device;
    QLabel* diagnostics;  // permanent, at the right
    QString deviceName;
    QString deviceSerial;
    // The last diagnostics shown; none until the first reading.
    bool hasDiagnostics = false;
    double diagPower = 0.0;
    double diagTemperature = 0.0;
    double diagThird = 0.0;
    bool diagWarn = false;
};
