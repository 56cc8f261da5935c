// The window's way to the uCal module: its manual controls.
#include "mainwindow.h"
#include "maury_ucal_dialog.h"

void MainWindow::showUCalControls()
{
    // One dialog for the window's life; it lets the module go whenever it is closed.
    if (!uCalControls)
    {
        uCalControls = new MauryUCalControlsDlg(this);
    }
    uCalControls->show();
    uCalControls->raise();
    uCalControls->activateWindow();
}
