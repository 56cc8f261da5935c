// MainWindow: the equation of a trace. The model stores each setting under the trace lock and
// recalculates the trace's channel; a pass whose equation fails reports the reason through the
// model's status message, which lands on the status bar.
#include <QMutexLocker>

#include "equation_editor.h"
#include "mainwindow.h"
#include "status_bar.h"
#include "time_domain.h"

void MainWindow::equationEnabledChanged(int trace, bool enabled)
{
    // Cleared first: the recalculation's own report is queued and arrives after it.
    statusBarWidget->clearMessage();
    if (model.SetTraceEquationEnabled(trace, enabled))
    {
        UpdateControlPanels();
        updatePlots();
    }
}

void MainWindow::equationEnabledChanged(bool enabled)
{
    equationEnabledChanged(model.selectedTraceIndex, enabled);
}

void MainWindow::equationEditorPressed()
{
    const int trace = model.selectedTraceIndex;
    {
        QMutexLocker lock(&model.traceLock);
        if (!model.ActiveTrace())
        {
            return;
        }
    }
    EquationEditor editor(model, trace, this);
    connect(&editor, &EquationEditor::equationChanged, statusBarWidget, &QStatusBar::clearMessage);
    connect(&editor, &EquationEditor::equationEnabled, statusBarWidget, &QStatusBar::clearMessage);
    editor.exec();
    UpdateControlPanels();
    updatePlots();
}

void MainWindow::equationStatusMessage(const QString& text)
{
    bool stillFails = false;
    {
        QMutexLocker lock(&model.traceLock);
        for (const VNATrace* t : model.traces)
        {
            stillFails = stillFails || (t && t->equationEnabled && t->equationError == text);
        }
    }
    if (stillFails)
    {
        statusBarWidget->SetMessage(text);
    }
}

// --- the Math panel's delay as a length ---------------------------------------------------------

void MainWindow::mathVelocityFactorChanged(double factor)
{
    int channel = -1;
    {
        QMutexLocker lock(&model.traceLock);
        if (const VNATrace* t = model.ActiveTrace())
        {
            channel = t->channel;
        }
    }
    if (channel >= 0 && factor > 0.0)
    {
        traceVelocityChanged(channel, factor);
    }
}

void MainWindow::mathLengthChanged(double metres)
{
    double seconds = 0.0;
    {
        QMutexLocker lock(&model.traceLock);
        const VNATrace* t = model.ActiveTrace();
        if (!t)
        {
            return;
        }
        seconds = LengthToElecDelay(metres, model.channels[t->channel]->velocityFactor);
    }
    traceElecDelayChanged(seconds);
}
