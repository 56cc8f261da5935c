#include "output_generator_controls.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "control_panels.h"
#include "mainwindow.h"

OutputGeneratorControlsDialog::OutputGeneratorControlsDialog(MainWindow* window)
    : KXDialog(tr("Output Generator Controls"), window),
      w(window),
      port(window->Model().outputGenerator.port),
      frequency(window->Model().outputGenerator.frequency),
      stepFrequency(window->Model().outputGenerator.stepFrequency),
      atten(window->Model().outputGenerator.atten)
{
    portBox = new KXComboBox(this);
    portBox->setObjectName(QStringLiteral("port"));
    portBox->AddItem(tr("Port 1"), 0);
    portBox->AddItem(tr("Port 2"), 1);
    frequencyEdit = new KXLineEdit(KXLineEdit::FreqValue, this);
    frequencyEdit->setObjectName(QStringLiteral("frequency"));
    stepEdit = new KXLineEdit(KXLineEdit::FreqValue, this);
    stepEdit->setObjectName(QStringLiteral("stepFrequency"));
    attenEdit = new KXLineEdit(KXLineEdit::Number, this);
    attenEdit->setObjectName(QStringLiteral("atten"));
    attenEdit->SetUnit(QStringLiteral("dB"));
    attenEdit->SetDecimals(0);
    attenEdit->SetIncrement(1.0);
    attenEdit->SetRange(StimulusLimits::kMinAtten, StimulusLimits::kMaxAtten);
    auto* down = new KXPushButton(tr("Step Down"), this);
    auto* up = new KXPushButton(tr("Step Up"), this);
    output = new QCheckBox(tr("Output On"), this);
    output->setObjectName(QStringLiteral("output"));
    note = new QLabel(this);
    note->setWordWrap(true);

    auto* steps = new QHBoxLayout;
    steps->addWidget(down);
    steps->addWidget(up);
    auto* form = new QFormLayout;
    form->addRow(tr("Port"), portBox);
    form->addRow(tr("Frequency"), frequencyEdit);
    form->addRow(tr("Step Frequency"), stepEdit);
    form->addRow(steps);
    form->addRow(tr("Atten"), attenEdit);
    form->addRow(output);
    auto* box = new QDialogButtonBox(QDialogButtonBox::Close, this);
    auto* column = new QVBoxLayout(this);
    column->addLayout(form);
    column->addWidget(note);
    column->addWidget(box);

    connect(portBox, &KXComboBox::comboIndexChanged, this,
            &OutputGeneratorControlsDialog::portChanged);
    connect(frequencyEdit, QOverload<Frequency>::of(&KXLineEdit::editUpdated), this,
            &OutputGeneratorControlsDialog::frequencyChanged);
    connect(stepEdit, QOverload<Frequency>::of(&KXLineEdit::editUpdated), this,
            &OutputGeneratorControlsDialog::stepFrequencyChanged);
    connect(attenEdit, QOverload<double>::of(&KXLineEdit::editUpdated), this,
            &OutputGeneratorControlsDialog::attenChanged);
    connect(up, &QPushButton::clicked, this, &OutputGeneratorControlsDialog::stepUp);
    connect(down, &QPushButton::clicked, this, &OutputGeneratorControlsDialog::stepDown);
    connect(output, &QCheckBox::clicked, this, &OutputGeneratorControlsDialog::outputChanged);
    connect(box, &QDialogButtonBox::rejected, this, &QDialog::hide);
    // Return confirms a typed value only: no button of the dialog takes it.
    for (QPushButton* b : findChildren<QPushButton*>())
    {
        b->setAutoDefault(false);
    }
    UpdateControls();
}

void OutputGeneratorControlsDialog::Clamp()
{
    port = std::clamp(port, 0, 1);
    frequency = std::clamp(frequency, StimulusLimits::kMinFreq, StimulusLimits::kMaxFreq);
    stepFrequency = std::clamp(std::abs(stepFrequency), 0.0, StimulusLimits::kMaxSpan);
    atten = std::clamp(atten, int(StimulusLimits::kMinAtten), int(StimulusLimits::kMaxAtten));
}

void OutputGeneratorControlsDialog::Apply()
{
    Clamp();
    if (w->OutputGeneratorActive())
    {
        w->outputGeneratorSet(port, frequency, atten);
    }
    UpdateControls();
}

void OutputGeneratorControlsDialog::portChanged(int)
{
    port = portBox->GetCurrentData().toInt();
    Apply();
}

void OutputGeneratorControlsDialog::frequencyChanged(Frequency f)
{
    frequency = f.Get();
    Apply();
}

void OutputGeneratorControlsDialog::stepFrequencyChanged(Frequency f)
{
    stepFrequency = f.Get();
    Apply();
}

void OutputGeneratorControlsDialog::attenChanged(double db)
{
    atten = int(std::lround(db));
    Apply();
}

void OutputGeneratorControlsDialog::stepUp()
{
    frequency += stepFrequency;
    Apply();
}

void OutputGeneratorControlsDialog::stepDown()
{
    frequency -= stepFrequency;
    Apply();
}

void OutputGeneratorControlsDialog::outputChanged(bool on)
{
    Clamp();
    if (on)
    {
        w->outputGeneratorSet(port, frequency, atten);
    }
    else
    {
        w->outputGeneratorOff();
    }
    UpdateControls();
}

void OutputGeneratorControlsDialog::hideEvent(QHideEvent* event)
{
    // The sweeps come back when the operator leaves the generator.
    w->outputGeneratorOff();
    KXDialog::hideEvent(event);
}

void OutputGeneratorControlsDialog::UpdateControls()
{
    portBox->SetByData(port);
    frequencyEdit->SetValue(frequency);
    stepEdit->SetValue(stepFrequency);
    attenEdit->SetValue(atten);
    const VNADevice& device = w->Model().device;
    const bool instrument = device.Connected() && !device.IsDemoMode();
    output->setEnabled(instrument);
    output->setToolTip(instrument ? QString()
                                  : tr("Needs an instrument: the demo device has no "
                                       "output generator."));
    SetChecked(output, w->OutputGeneratorActive());
    note->setText(w->OutputGeneratorActive()
                      ? tr("The output is on: sweeps are paused until it is turned off.")
                      : QString());
}
