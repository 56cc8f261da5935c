// The about box: the program and its version, the device library, the instrument, the licence,
// and the check for new versions (at start-up if the operator wants it, or now).
#pragma once

#include "kx_widgets.h"

class MainWindow;
class QCheckBox;
class QLabel;

class AboutDialog : public KXDialog
{
    Q_OBJECT
public:
    explicit AboutDialog(MainWindow* window);

    // The text of the version check's result, for tests.
    QString CheckText() const;

public slots:
    void checkNow();
    void checkFinished(bool ok, const QString& latest);

private:
    MainWindow* w;
    QCheckBox* checkAtStart;
    QLabel* checkResult;
};
