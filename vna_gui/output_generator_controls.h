// The output generator: a continuous-wave signal from one port at a set frequency and
// attenuation, for checking cables and power meters. While the output is on the sweeps stop;
// turning it off, or closing the dialog, gives the instrument back to them. The settings are
// the model's, which instrument state files save under "OutputGeneratorControls".
#pragma once

#include "kx_widgets.h"

class MainWindow;
class QCheckBox;
class QLabel;

class OutputGeneratorControlsDialog : public KXDialog
{
    Q_OBJECT
public:
    explicit OutputGeneratorControlsDialog(MainWindow* window);

    void UpdateControls();
    // Sends recalled settings to a running output and shows them.
    void SettingsRecalled() { Apply(); }

    int Port() const { return port; }
    double FrequencyHz() const { return frequency; }
    double StepFrequency() const { return stepFrequency; }
    int Atten() const { return atten; }

public slots:
    void portChanged(int index);
    void frequencyChanged(Frequency f);
    void stepFrequencyChanged(Frequency f);
    void attenChanged(double db);
    void stepUp();
    void stepDown();
    void outputChanged(bool on);

protected:
    void hideEvent(QHideEvent* event) override;

private:
    // Clamps the settings to what the instrument can do.
    void Clamp();
    // Sends the settings to the instrument when the output is on, then shows them.
    void Apply();

    MainWindow* w;
    KXComboBox* portBox;
    KXLineEdit* frequencyEdit;
    KXLineEdit* stepEdit;
    KXLineEdit* attenEdit;
    QCheckBox* output;
    QLabel* note;

    // The settings live in the model, so instrument state files keep them without the dialog.
    int& port;
    double& frequency;
    double& stepFrequency;
    int& atten;
};
