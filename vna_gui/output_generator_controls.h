// The output generator: a continuous-wave signal from one port at a set frequency and
// attenuation, for checking cables and power meters. While the output is on the sweeps stop;
// turning it off, or closing the dialog, gives the instrument back to them. The dialog keeps the
// generator's settings, which instrument state files save under "OutputGeneratorControls".
#pragma once

#include "kx_widgets.h"

class ApplicationSettings;
class MainWindow;
class QCheckBox;
class QLabel;

class OutputGeneratorControlsDialog : public KXDialog
{
    Q_OBJECT
public:
    explicit OutputGeneratorControlsDialog(MainWindow* window);

    void UpdateControls();
    void Save(ApplicationSettings& settings) const;
    void Load(ApplicationSettings& settings);

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

    int port = 0;
    double frequency = 1e9;
    double stepFrequency = 10e6;
    int atten = 0;
};
