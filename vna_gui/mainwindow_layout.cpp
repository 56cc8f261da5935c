// MainWindow: where the window sits, kept in the preferences file between sessions.
#include <QGuiApplication>
#include <QScreen>

#include "application_settings.h"
#include "mainwindow.h"
#include "window_placement.h"

namespace
{
const QString kStateKey = QStringLiteral("MainWindow/State");
const QString kGeometryKey = QStringLiteral("MainWindow/Geometry");
const QString kMaximizedKey = QStringLiteral("MainWindow/Maximized");
const QString kRealEstateKey = QStringLiteral("MainWindow/ScreenRealEstate");
const QString kScreenCountKey = QStringLiteral("MainWindow/ScreenCount");

// Available areas of the present screens, the primary first.
QVector<QRect> PresentScreens()
{
    QVector<QRect> screens;
    if (QScreen* primary = QGuiApplication::primaryScreen())
    {
        screens.append(primary->availableGeometry());
    }
    for (QScreen* s : QGuiApplication::screens())
    {
        if (s != QGuiApplication::primaryScreen())
        {
            screens.append(s->availableGeometry());
        }
    }
    return screens;
}
}  // namespace

void MainWindow::SaveState()
{
    ApplicationSettings s(GetPreferencesIniPath());
    const QVector<QRect> screens = PresentScreens();
    s.Save(kStateKey, saveState(1));
    // The normal geometry, so that a maximized window comes back to it when restored down.
    s.Save(kGeometryKey, isMaximized() ? normalGeometry() : geometry());
    s.Save(kMaximizedKey, isMaximized());
    s.Save(kRealEstateKey, ScreenRealEstate(screens));
    s.Save(kScreenCountKey, int(screens.size()));
}

void MainWindow::RestoreState()
{
    ApplicationSettings s(GetPreferencesIniPath());
    const QByteArray state = s.Load(kStateKey).toByteArray();
    if (!state.isEmpty())
    {
        restoreState(state, 1);
    }
    if (!s.contains(kGeometryKey))
    {
        return;
    }
    QRect stored;
    QRect realEstate;
    int screenCount = 0;
    bool maximized = false;
    s.Load(kGeometryKey, stored);
    s.Load(kRealEstateKey, realEstate);
    s.Load(kScreenCountKey, screenCount);
    s.Load(kMaximizedKey, maximized);
    setGeometry(PlaceWindow(stored, screenCount, realEstate, PresentScreens()));
    if (maximized)
    {
        setWindowState(windowState() | Qt::WindowMaximized);
    }
}
