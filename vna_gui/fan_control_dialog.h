// The instrument's fan: automatic (the temperature of the loaded calibrations, else a fixed
// 50 %), or a manual override holding a temperature setpoint or a fixed fan speed. Every change
// goes to the window at once; the dialog shows the model and what was last commanded.
#pragma once

#include "kx_widgets.h"

class MainWindow;
class QCheckBox;
class QLabel;
class QRadioButton;

class FanControlDialog : public KXDialog
{
    Q_OBJECT
public:
    explicit FanControlDialog(MainWindow* window);
    // Reads the model into the controls without signalling back.
    void UpdateControls();

private:
    // Sends all four settings as the controls show them.
    void Changed();

    MainWindow* w;
    QCheckBox* override;
    QRadioButton* setpointMode;
    QRadioButton* speedMode;
    KXLineEdit* setpoint;
    KXLineEdit* speed;
    QLabel* state;
};
