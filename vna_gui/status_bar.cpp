#include "status_bar.h"

#include <QEvent>
#include <QLabel>

#include "frequency.h"

VNAStatusBar::VNAStatusBar(QWidget* parent) : QStatusBar(parent)
{
    channel = new QLabel(this);
    bandwidth = new QLabel(this);
    reference = new QLabel(this);
    calibration = new QLabel(this);
    cont = new QLabel(this);
    device = new QLabel(this);
    diagnostics = new QLabel(this);
    diagnostics->setTextFormat(Qt::RichText);
    diagnostics->installEventFilter(this);
    for (QLabel* l : {channel, bandwidth, reference, calibration, cont, device})
    {
        addWidget(l);
    }
    addPermanentWidget(diagnostics);
}

void VNAStatusBar::SetChannel(const QString& name)
{
    channel->setText(name);
}

void VNAStatusBar::SetBandwidth(double ifbw, bool avg, int count, int current)
{
    QString text = QStringLiteral(" IFBW:") + getShortFrequencyString(ifbw);
    if (avg)
    {
        text += QString::asprintf("- %d/%d ", current, count);
    }
    bandwidth->setText(text);
}

void VNAStatusBar::SetReference(VNAReference r)
{
    reference->setText(r == VNAReferenceExternal ? QStringLiteral(" Ref:EXT ")
                                                 : QStringLiteral(" Ref:INT "));
}

void VNAStatusBar::SetCalibrationLabel(const QString& text)
{
    calibration->setText(text);
}

void VNAStatusBar::SetContLabel(int mode)
{
    static const char* const texts[] = {" HOLD ", " SINGLE ", " CONT "};
    cont->setText(mode >= 0 && mode <= 2 ? QString::fromLatin1(texts[mode]) : QString());
}

void VNAStatusBar::SetDeviceName(const QString& name)
{
    deviceName = name;
    device->setText(deviceName + deviceSerial);
}

void VNAStatusBar::SetDeviceSerial(int serial, int firmware)
{
    deviceSerial = QString::asprintf(" S/N-%8d  FW-%d ", serial, firmware);
    device->setText(deviceName + deviceSerial);
}

void VNAStatusBar::SetDiagnostics(double power, double temperature, double third, bool warn)
{
    hasDiagnostics = true;
    diagPower = power;
    diagTemperature = temperature;
    diagThird = third;
    diagWarn = warn;
    ShowDiagnostics();
}

void VNAStatusBar::ShowDiagnostics()
{
    // White and orange on the dark bar; on a light bar white would vanish and orange is too
    // pale to read, so the bar's own text colour and a dark orange take their places.
    const QColor text = diagnostics->palette().color(QPalette::WindowText);
    const bool darkBar = text.lightness() >= 128;
    const QByteArray normal = darkBar ? QByteArray("white") : text.name().toLatin1();
    const char* warnColor = darkBar ? "orange" : "#8a4400";
    diagnostics->setText(QString::asprintf("%.2fW <font color=\"%s\"> %.2fC </font> %.2f%%",
                                           diagPower, diagWarn ? warnColor : normal.constData(),
                                           diagTemperature, diagThird));
}

bool VNAStatusBar::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == diagnostics && hasDiagnostics && event->type() == QEvent::PaletteChange)
    {
        ShowDiagnostics();
    }
    return QStatusBar::eventFilter(watched, event);
}

void VNAStatusBar::SetMessage(const QString& text)
{
    showMessage(text);
}

void VNAStatusBar::SetNewVersionString(const QString& text)
{
    showMessage(text);
}

void VNAStatusBar::ClearStatusBar()
{
    for (QLabel* l : {channel, bandwidth, reference, calibration, cont, diagnostics})
    {
        l->clear();
    }
    hasDiagnostics = false;
    deviceName.clear();
    deviceSerial.clear();
    device->setText(tr("No Device Connected"));
}

QString VNAStatusBar::ChannelText() const
{
    return channel->text();
}

QString VNAStatusBar::BandwidthText() const
{
    return bandwidth->text();
}

QString VNAStatusBar::CalibrationText() const
{
    return calibration->text();
}

QString VNAStatusBar::ContText() const
{
    return cont->text();
}

QString VNAStatusBar::DeviceText() const
{
    return device->text();
}
