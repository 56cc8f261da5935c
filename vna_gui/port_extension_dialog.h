// The port extension dialog: edits a copy of one channel's port extension and measures it from
// an open or a short on the live channel, without blocking the interface while it waits.
#pragma once

#include <QElapsedTimer>
#include <QTimer>
#include <cstdint>

#include "kx_widgets.h"
#include "port_extension.h"

class QCheckBox;
class VNAModel;

class VNAPortExtensionDialog : public KXDialog
{
    Q_OBJECT
public:
    VNAPortExtensionDialog(VNAModel& model, int channel, QWidget* parent = nullptr);
    ~VNAPortExtensionDialog() override;

    // The dialog's copy, handed to the channel on acceptance.
    const PortExtensionSettings& Settings() const { return work; }
    bool Measuring() const { return measuring; }
    QString StatusText() const;
    void ClearCachedMeasurements() { autoExtension.Clear(); }
    // Starts measuring a standard (0 open, 1 short) on a port (0 or 1) from the channel's next
    // whole sweep, and returns at once; the result arrives through the event loop.
    void MeasurePort(int port, int standard);

public slots:
    void accept() override;
    void reject() override;

private slots:
    void p1DelayChanged(double seconds) { Set(work.delay[0], seconds); }
    void p2DelayChanged(double seconds) { Set(work.delay[1], seconds); }
    void p1LengthChanged(double meters) { LengthChanged(0, meters); }
    void p2LengthChanged(double meters) { LengthChanged(1, meters); }
    void p1Use1Changed(bool on) { Set(work.use1[0], on); }
    void p1Use2Changed(bool on) { Set(work.use2[0], on); }
    void p2Use1Changed(bool on) { Set(work.use1[1], on); }
    void p2Use2Changed(bool on) { Set(work.use2[1], on); }
    void p1Freq1Changed(double hz) { Set(work.freq1[0], hz); }
    void p1Freq2Changed(double hz) { Set(work.freq2[0], hz); }
    void p2Freq1Changed(double hz) { Set(work.freq1[1], hz); }
    void p2Freq2Changed(double hz) { Set(work.freq2[1], hz); }
    void p1Loss1Changed(double db) { Set(work.loss1[0], db); }
    void p1Loss2Changed(double db) { Set(work.loss2[0], db); }
    void p2Loss1Changed(double db) { Set(work.loss1[1], db); }
    void p2Loss2Changed(double db) { Set(work.loss2[1], db); }
    void vfChanged(double factor);
    void dcChanged(double db);
    void clearPressed();
    void measPort1Open() { MeasurePort(0, VNAAutoPortExtension::Open); }
    void measPort1Short() { MeasurePort(0, VNAAutoPortExtension::Short); }
    void measPort2Open() { MeasurePort(1, VNAAutoPortExtension::Open); }
    void measPort2Short() { MeasurePort(1, VNAAutoPortExtension::Short); }
    void updateControls();
    void pollMeasurement();

private:
    struct PortControls
    {
        KXLineEdit* delay = nullptr;
        KXLineEdit* length = nullptr;
        QCheckBox* use1 = nullptr;
        KXLineEdit* freq1 = nullptr;
        KXLineEdit* loss1 = nullptr;
        QCheckBox* use2 = nullptr;
        KXLineEdit* freq2 = nullptr;
        KXLineEdit* loss2 = nullptr;
        KXPushButton* open = nullptr;
        KXPushButton* shortButton = nullptr;
    };

    QWidget* BuildPort(int port);
    QWidget* BuildAuto();
    void ConnectPort(int port);
    // Every edit lands in the dialog's copy and the controls show it back.
    template <typename T>
    void Set(T& field, T value)
    {
        field = value;
        updateControls();
    }
    void LengthChanged(int port, double meters);
    void TakeMeasurement();
    // Ends a measurement, whether it delivered or not, and shows why.
    void FinishMeasurement(const QString& text);
    void workBeforeAccept();

    VNAModel& model;
    const int channel;
    PortExtensionSettings work;
    VNAAutoPortExtension autoExtension;

    PortControls ports[2];
    KXLineEdit* dcOffset = nullptr;
    KXLineEdit* velocity = nullptr;
    QCheckBox* measureLoss = nullptr;
    KXLabel* status = nullptr;

    QTimer poll;
    QElapsedTimer elapsed;
    bool measuring = false;
    int measPort = 0;
    int measStandard = 0;
    uint64_t targetSweeps = 0;
    qint64 timeoutMs = 0;
};
