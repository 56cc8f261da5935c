#include "port_extension_dialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QMutexLocker>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "vna_model.h"

namespace
{
// Metres per second, as the distance readouts of the plots use it.
constexpr double kSpeedOfLight = 299792500.0;

KXLineEdit* NumberEdit(const QString& unit, double lo, double hi, int decimals, QWidget* parent)
{
    auto* e = new KXLineEdit(KXLineEdit::Number, parent);
    e->SetUnit(unit);
    e->SetRange(lo, hi);
    e->SetDecimals(decimals);
    return e;
}

KXLineEdit* FreqEdit(QWidget* parent)
{
    auto* e = new KXLineEdit(KXLineEdit::FreqValue, parent);
    e->SetRange(1e6, 1e11);
    return e;
}
}  // namespace

VNAPortExtensionDialog::VNAPortExtensionDialog(VNAModel& m, int ch, QWidget* parent)
    : KXDialog(tr("Port Extension"), parent), model(m), channel(ch)
{
    work = model.GetPortExtension(channel);
    auto* layout = new QVBoxLayout(this);
    auto* portRow = new QHBoxLayout;
    portRow->addWidget(BuildPort(0));
    portRow->addWidget(BuildPort(1));
    layout->addLayout(portRow);

    auto* shared = new QFormLayout;
    dcOffset = NumberEdit(QStringLiteral("dB"), -100.0, 100.0, 3, this);
    velocity = NumberEdit(QString(), 0.01, 1.0, 3, this);
    velocity->SetIncrement(0.01);
    dcOffset->setObjectName(QStringLiteral("dcOffset"));
    velocity->setObjectName(QStringLiteral("velocityFactor"));
    shared->addRow(tr("DC Offset"), dcOffset);
    shared->addRow(tr("Velocity Factor"), velocity);
    layout->addLayout(shared);
    layout->addWidget(BuildAuto());

    auto* bottom = new QHBoxLayout;
    auto* clear = new KXPushButton(tr("Clear All"), this);
    clear->setObjectName(QStringLiteral("clearAll"));
    clear->setAutoDefault(false);
    bottom->addWidget(clear);
    bottom->addStretch();
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    bottom->addWidget(buttons);
    layout->addLayout(bottom);

    ConnectPort(0);
    ConnectPort(1);
    connect(dcOffset, qOverload<double>(&KXLineEdit::editUpdated), this,
            &VNAPortExtensionDialog::dcChanged);
    connect(velocity, qOverload<double>(&KXLineEdit::editUpdated), this,
            &VNAPortExtensionDialog::vfChanged);
    connect(clear, &QPushButton::clicked, this, &VNAPortExtensionDialog::clearPressed);
    connect(buttons, &QDialogButtonBox::accepted, this, &VNAPortExtensionDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &VNAPortExtensionDialog::reject);
    connect(&poll, &QTimer::timeout, this, &VNAPortExtensionDialog::pollMeasurement);
    updateControls();
}

VNAPortExtensionDialog::~VNAPortExtensionDialog()
{
    FinishMeasurement(QString());
}

QWidget* VNAPortExtensionDialog::BuildPort(int port)
{
    auto* box = new QGroupBox(port == 0 ? tr("Port 1") : tr("Port 2"), this);
    auto* form = new QFormLayout(box);
    PortControls& c = ports[port];
    const QString prefix = QStringLiteral("port%1").arg(port + 1);
    c.delay = new KXLineEdit(KXLineEdit::TimeValue, box);
    c.delay->SetRange(-1e-6, 1e-6);
    c.length = NumberEdit(QStringLiteral("m"), -300.0, 300.0, 4, box);
    c.use1 = new QCheckBox(box);
    c.freq1 = FreqEdit(box);
    c.loss1 = NumberEdit(QStringLiteral("dB"), -100.0, 100.0, 3, box);
    c.use2 = new QCheckBox(box);
    c.freq2 = FreqEdit(box);
    c.loss2 = NumberEdit(QStringLiteral("dB"), -100.0, 100.0, 3, box);
    c.delay->setObjectName(prefix + QStringLiteral("Delay"));
    c.length->setObjectName(prefix + QStringLiteral("Length"));
    form->addRow(tr("Delay"), c.delay);
    form->addRow(tr("Length"), c.length);
    form->addRow(tr("Use Pair 1"), c.use1);
    form->addRow(tr("Freq 1"), c.freq1);
    form->addRow(tr("Loss 1"), c.loss1);
    form->addRow(tr("Use Pair 2"), c.use2);
    form->addRow(tr("Freq 2"), c.freq2);
    form->addRow(tr("Loss 2"), c.loss2);
    return box;
}

QWidget* VNAPortExtensionDialog::BuildAuto()
{
    auto* box = new QGroupBox(tr("Auto Port Extension"), this);
    auto* grid = new QGridLayout(box);
    for (int p = 0; p < 2; ++p)
    {
        PortControls& c = ports[p];
        c.open = new KXPushButton(tr("Measure Open"), box);
        c.shortButton = new KXPushButton(tr("Measure Short"), box);
        c.open->setObjectName(QStringLiteral("measurePort%1Open").arg(p + 1));
        c.shortButton->setObjectName(QStringLiteral("measurePort%1Short").arg(p + 1));
        c.open->setAutoDefault(false);
        c.shortButton->setAutoDefault(false);
        grid->addWidget(new KXLabel(p == 0 ? tr("Port 1") : tr("Port 2"), box), p, 0);
        grid->addWidget(c.open, p, 1);
        grid->addWidget(c.shortButton, p, 2);
    }
    measureLoss = new QCheckBox(tr("Measure Loss"), box);
    measureLoss->setObjectName(QStringLiteral("measureLoss"));
    status = new KXLabel(QString(), box);
    status->setObjectName(QStringLiteral("measureStatus"));
    grid->addWidget(measureLoss, 2, 0, 1, 3);
    grid->addWidget(status, 3, 0, 1, 3);
    return box;
}

void VNAPortExtensionDialog::ConnectPort(int port)
{
    using D = VNAPortExtensionDialog;
    const PortControls& c = ports[port];
    const bool one = port == 0;
    const auto number = qOverload<double>(&KXLineEdit::editUpdated);
    connect(c.delay, number, this, one ? &D::p1DelayChanged : &D::p2DelayChanged);
    connect(c.length, number, this, one ? &D::p1LengthChanged : &D::p2LengthChanged);
    connect(c.use1, &QCheckBox::toggled, this, one ? &D::p1Use1Changed : &D::p2Use1Changed);
    connect(c.use2, &QCheckBox::toggled, this, one ? &D::p1Use2Changed : &D::p2Use2Changed);
    connect(c.freq1, number, this, one ? &D::p1Freq1Changed : &D::p2Freq1Changed);
    connect(c.freq2, number, this, one ? &D::p1Freq2Changed : &D::p2Freq2Changed);
    connect(c.loss1, number, this, one ? &D::p1Loss1Changed : &D::p2Loss1Changed);
    connect(c.loss2, number, this, one ? &D::p1Loss2Changed : &D::p2Loss2Changed);
    connect(c.open, &QPushButton::clicked, this, one ? &D::measPort1Open : &D::measPort2Open);
    connect(c.shortButton, &QPushButton::clicked, this,
            one ? &D::measPort1Short : &D::measPort2Short);
}

void VNAPortExtensionDialog::updateControls()
{
    for (int p = 0; p < 2; ++p)
    {
        PortControls& c = ports[p];
        c.delay->SetValue(work.delay[p]);
        c.length->SetValue(work.delay[p] * kSpeedOfLight * work.velocityFactor);
        const QSignalBlocker b1(c.use1), b2(c.use2);
        c.use1->setChecked(work.use1[p]);
        c.use2->setChecked(work.use2[p]);
        c.freq1->SetFrequency(Frequency(work.freq1[p]));
        c.freq2->SetFrequency(Frequency(work.freq2[p]));
        c.loss1->SetValue(work.loss1[p]);
        c.loss2->SetValue(work.loss2[p]);
        c.open->setEnabled(!measuring);
        c.shortButton->setEnabled(!measuring);
    }
    dcOffset->SetValue(work.lossDC);
    velocity->SetValue(work.velocityFactor);
}

void VNAPortExtensionDialog::LengthChanged(int port, double meters)
{
    Set(work.delay[port], meters / (kSpeedOfLight * work.velocityFactor));
}

void VNAPortExtensionDialog::vfChanged(double factor)
{
    // The delay is the quantity; the length is its view through the velocity factor.
    Set(work.velocityFactor, factor);
}

void VNAPortExtensionDialog::dcChanged(double db)
{
    Set(work.lossDC, db);
}

void VNAPortExtensionDialog::clearPressed()
{
    work = PortExtensionSettings();
    ClearCachedMeasurements();
    updateControls();
}

QString VNAPortExtensionDialog::StatusText() const
{
    return status->text();
}

void VNAPortExtensionDialog::MeasurePort(int port, int standard)
{
    if (measuring || port < 0 || port > 1 || !model.IsValidChannelIndex(channel))
    {
        return;
    }
    VNAChannel& ch = *model.channels[channel];
    if (!ch.enabled || !model.MeasRunning())
    {
        status->setText(tr("No sweep is running on this channel."));
        return;
    }
    // The sweep waited for is taken whole with the standard in place.
    targetSweeps = model.BeginFreshSweep(channel);
    timeoutMs = model.FreshSweepTimeoutMs();
    measuring = true;
    measPort = port;
    measStandard = standard;
    elapsed.start();
    poll.start(VNAModel::kDisplayCycleMs);
    status->setText(tr("Measuring..."));
    updateControls();
}

void VNAPortExtensionDialog::pollMeasurement()
{
    if (!measuring)
    {
        return;
    }
    if (model.channels[channel]->sweepsDone.load() >= targetSweeps)
    {
        TakeMeasurement();
        FinishMeasurement(tr("Measured."));
    }
    else if (!model.MeasRunning() || elapsed.elapsed() > timeoutMs)
    {
        FinishMeasurement(tr("No sweep arrived; nothing was measured."));
    }
}

void VNAPortExtensionDialog::TakeMeasurement()
{
    VNAChannel& ch = *model.channels[channel];
    SParametersRaw raw;
    {
        QMutexLocker lock(&ch.measLock);
        raw = ch.MeasAvg;
    }
    autoExtension.Measure(measPort, measStandard, ch.ApplyCorrections(raw), ch.stimulus,
                          measureLoss->isChecked(), work);
}

void VNAPortExtensionDialog::FinishMeasurement(const QString& text)
{
    if (!measuring)
    {
        return;
    }
    poll.stop();
    measuring = false;
    model.EndFreshSweep(channel);
    status->setText(text);
    updateControls();
}

void VNAPortExtensionDialog::workBeforeAccept()
{
    // The dialog edits the extension; whether it is on belongs to the panel.
    PortExtensionSettings result = work;
    result.enabled = model.GetPortExtension(channel).enabled;
    model.SetPortExtension(channel, result);
}

void VNAPortExtensionDialog::accept()
{
    FinishMeasurement(QString());
    workBeforeAccept();
    KXDialog::accept();
}

void VNAPortExtensionDialog::reject()
{
    FinishMeasurement(QString());
    KXDialog::reject();
}
