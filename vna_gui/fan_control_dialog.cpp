#include "fan_control_dialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "control_panels.h"
#include "mainwindow.h"

FanControlDialog::FanControlDialog(MainWindow* window)
    : KXDialog(tr("Fan Control"), window), w(window)
{
    override = new QCheckBox(tr("Manual Override"), this);
    override->setObjectName(QStringLiteral("override"));
    setpointMode = new QRadioButton(tr("Temperature Setpoint"), this);
    setpointMode->setObjectName(QStringLiteral("setpointMode"));
    speedMode = new QRadioButton(tr("Fan Speed"), this);
    speedMode->setObjectName(QStringLiteral("speedMode"));
    setpoint = new KXLineEdit(KXLineEdit::Number, this);
    setpoint->setObjectName(QStringLiteral("setpoint"));
    setpoint->SetUnit(QStringLiteral("°C"));
    setpoint->SetDecimals(1);
    setpoint->SetRange(MainWindow::kFanMinSetpoint, MainWindow::kFanMaxSetpoint);
    speed = new KXLineEdit(KXLineEdit::Number, this);
    speed->setObjectName(QStringLiteral("speed"));
    speed->SetUnit(QStringLiteral("%"));
    speed->SetDecimals(0);
    speed->SetRange(0.0, 100.0);
    state = new QLabel(this);
    state->setObjectName(QStringLiteral("state"));
    auto* saveDefaults = new KXPushButton(tr("Save as Default"), this);
    saveDefaults->setToolTip(tr("Start with these fan settings from now on."));

    auto* form = new QFormLayout;
    form->addRow(override);
    form->addRow(setpointMode, setpoint);
    form->addRow(speedMode, speed);
    form->addRow(tr("In Force"), state);
    auto* box = new QDialogButtonBox(QDialogButtonBox::Close, this);
    auto* column = new QVBoxLayout(this);
    column->addLayout(form);
    column->addWidget(saveDefaults);
    column->addWidget(box);

    connect(override, &QCheckBox::toggled, this, &FanControlDialog::Changed);
    // Clicks only: setting one radio button from the model unchecks the other.
    connect(setpointMode, &QRadioButton::clicked, this, &FanControlDialog::Changed);
    connect(speedMode, &QRadioButton::clicked, this, &FanControlDialog::Changed);
    connect(setpoint, QOverload<double>::of(&KXLineEdit::editUpdated), this,
            &FanControlDialog::Changed);
    connect(speed, QOverload<double>::of(&KXLineEdit::editUpdated), this,
            &FanControlDialog::Changed);
    connect(saveDefaults, &QPushButton::clicked, w, &MainWindow::fanSaveDefaults);
    connect(box, &QDialogButtonBox::rejected, this, &QDialog::hide);
    // Return confirms a typed value only: no button of the dialog takes it.
    for (QPushButton* b : findChildren<QPushButton*>())
    {
        b->setAutoDefault(false);
    }
    UpdateControls();
}

void FanControlDialog::Changed()
{
    w->fanOverrideChanged(override->isChecked(), setpointMode->isChecked() ? 0 : 1,
                          setpoint->Value(), speed->Value());
    UpdateControls();
}

void FanControlDialog::UpdateControls()
{
    const VNAModel& m = w->Model();
    SetChecked(override, m.fanOverrideEnabled);
    SetChecked(setpointMode, m.fanOverrideType == 0);
    SetChecked(speedMode, m.fanOverrideType != 0);
    setpoint->SetValue(m.fanOverrideSetpoint);
    speed->SetValue(m.fanOverrideSpeed);
    for (QWidget* c : {static_cast<QWidget*>(setpointMode), static_cast<QWidget*>(speedMode),
                       static_cast<QWidget*>(setpoint), static_cast<QWidget*>(speed)})
    {
        c->setEnabled(m.fanOverrideEnabled);
    }
    if (!m.device.Connected() || m.device.IsDemoMode())
    {
        state->setText(tr("No instrument: the settings apply once one is connected."));
    }
    else if (m.fanMode.load() == 0)
    {
        state->setText(tr("Holding %1 °C").arg(m.fanValue.load(), 0, 'f', 1));
    }
    else
    {
        state->setText(tr("Fan at %1 %").arg(m.fanValue.load(), 0, 'f', 0));
    }
}
