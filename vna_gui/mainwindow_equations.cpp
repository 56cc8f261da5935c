// MainWindow: the equation of a trace. The model stores each setting under the trace lock and
// recalculates the trace's channel; a pass whose equation fails reports the reason through the
// model's status message, which lands on the status bar.
#include <QMutexLocker>

#include "equation_editor.h"
#include "mainwindow.h"
#include "status_bar.h"

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
