// MainWindow: menu bar, toolbar and theme icons.
#include <QAction>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontMetrics>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMutexLocker>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>
#include <QProgressBar>
#include <QToolBar>

#include "application_settings.h"
#include "error_log.h"
#include "file_dialogs.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "multi_plot_splitter_area.h"

namespace
{
// Toolbar actions and the icon file each shows.
struct ToolbarEntry
{
    const char* text;
    const char* icon;
};
}  // namespace

void MainWindow::BuildToolbar()
{
    QToolBar* bar = addToolBar(tr("Toolbar"));
    bar->setObjectName(QStringLiteral("MainToolbar"));
    bar->setIconSize(QSize(24, 24));
    auto add = [&](const char* text, const char* icon)
    {
        QAction* a = bar->addAction(tr(text));
        a->setData(QString::fromLatin1(icon));
        iconActions.append(a);
        return a;
    };
    QAction* save = add(QT_TR_NOOP("Save Instrument State"), "save");
    QAction* load = add(QT_TR_NOOP("Load Instrument State"), "load");
    connect(save, &QAction::triggered, this, &MainWindow::saveInstrumentStatePressed);
    connect(load, &QAction::triggered, this, &MainWindow::recallInstrumentStatePressed);
    bar->addSeparator();
    connect(add(QT_TR_NOOP("Add Trace"), "add_trace"), &QAction::triggered, this,
            &MainWindow::addTrace);
    connect(add(QT_TR_NOOP("Add Plot"), "add_plot"), &QAction::triggered, this,
            &MainWindow::addPlotPressed);
    bar->addSeparator();
    connect(add(QT_TR_NOOP("Auto Scale"), "auto_scale"), &QAction::triggered, this,
            QOverload<>::of(&MainWindow::traceAutoScale));
    connect(add(QT_TR_NOOP("Auto Scale All"), "auto_scale_all"), &QAction::triggered, this,
            &MainWindow::traceAutoScaleAll);
    bar->addSeparator();
    connect(add(QT_TR_NOOP("Save As Image"), "camera"), &QAction::triggered, this,
            QOverload<>::of(&MainWindow::saveAsImage));
    connect(add(QT_TR_NOOP("Print"), "printer"), &QAction::triggered, this,
            [this] { printScreen(true); });
    bar->addSeparator();
    connect(add(QT_TR_NOOP("Single"), "single"), &QAction::triggered, this,
            &MainWindow::singlePressed);
    connect(add(QT_TR_NOOP("Continuous"), "continuous"), &QAction::triggered, this,
            &MainWindow::continuousPressed);
    progressBar = new QProgressBar(bar);
    progressBar->setRange(0, 100);
    progressBar->setTextVisible(false);
    progressBar->setFixedWidth(QFontMetrics(font()).horizontalAdvance(QLatin1Char('w')) * 12);
    progressAction = bar->addWidget(progressBar);
    progressAction->setVisible(false);
}

void MainWindow::setThemeIcons()
{
    // Light strokes for the dark theme, dark strokes for the light one.
    const bool dark = Preferences::Get().GetProgramStyle() == KXStyleDark;
    const QString base = dark ? QStringLiteral(":/resources/toolbar_icons/dark/")
                              : QStringLiteral(":/resources/toolbar_icons/");
    for (QAction* a : iconActions)
    {
        a->setIcon(QIcon(base + a->data().toString() + QStringLiteral(".png")));
    }
}

void MainWindow::InitMenuBar()
{
    QMenu* file = menuBar()->addMenu(tr("File"));
    QMenu* quick = file->addMenu(tr("Quick Setup"));
    connect(quick->addAction(tr("S11")), &QAction::triggered, this, &MainWindow::quickSetupS11);
    connect(quick->addAction(tr("S21")), &QAction::triggered, this, &MainWindow::quickSetupS21);
    connect(quick->addAction(tr("Full 2 port")), &QAction::triggered, this,
            [this] { quickSetupFull2Port(false); });
    QAction* recall = file->addAction(tr("Recall Instrument State"));
    recall->setShortcut(QKeySequence(QStringLiteral("Ctrl+L")));
    connect(recall, &QAction::triggered, this, &MainWindow::recallInstrumentStatePressed);
    QAction* saveState = file->addAction(tr("Save Instrument State"));
    saveState->setShortcut(QKeySequence(QStringLiteral("Ctrl+S")));
    connect(saveState, &QAction::triggered, this, &MainWindow::saveInstrumentStatePressed);
    connect(file->addAction(tr("Import .SnP")), &QAction::triggered, this, &MainWindow::importSNP);
    connect(file->addAction(tr("Export .SnP")), &QAction::triggered, this, &MainWindow::exportSNP);
    QAction* image = file->addAction(tr("Save as Image"));
    image->setShortcut(QKeySequence(QStringLiteral("Ctrl+I")));
    connect(image, &QAction::triggered, this, QOverload<>::of(&MainWindow::saveAsImage));
    QAction* print = file->addAction(tr("Print"));
    print->setShortcut(QKeySequence(QStringLiteral("Ctrl+P")));
    connect(print, &QAction::triggered, this, [this] { printScreen(true); });
    connectMenu = file->addMenu(tr("Connect"));
    connect(connectMenu, &QMenu::aboutToShow, this, &MainWindow::populateConnectMenu);
    connect(connectMenu, &QMenu::triggered, this,
            QOverload<QAction*>::of(&MainWindow::connectDevice));
    disconnectAction = file->addAction(tr("Disconnect Device"));
    connect(disconnectAction, &QAction::triggered, this, &MainWindow::disconnectDevice);
    file->setToolTipsVisible(true);
    connect(file, &QMenu::aboutToShow, this, &MainWindow::aboutToShowFileMenu);
    QAction* quit = file->addAction(tr("Exit"));
    quit->setShortcut(QKeySequence(QStringLiteral("Ctrl+Q")));
    connect(quit, &QAction::triggered, this, &QWidget::close);

    BuildEditMenu(menuBar()->addMenu(tr("Edit")));

    QMenu* channels = menuBar()->addMenu(tr("Channels"));
    connect(channels, &QMenu::aboutToShow, this, &MainWindow::aboutToShowChannelMenu);
    QMenu* newChannel = channels->addMenu(tr("New Channel"));
    connect(newChannel->addAction(tr("New Channel + Trace")), &QAction::triggered, this,
            &MainWindow::addChannelTracePressed);
    connect(newChannel->addAction(tr("New Channel + Trace + Window")), &QAction::triggered, this,
            &MainWindow::addChannelTraceWindowPressed);
    connect(channels->addAction(tr("Copy Channel")), &QAction::triggered, this,
            QOverload<>::of(&MainWindow::channelCopy));
    deleteChannelMenu = channels->addMenu(tr("Delete Channel"));
    connect(deleteChannelMenu, &QMenu::triggered, this,
            QOverload<QAction*>::of(&MainWindow::deleteChannel));
    activeChannelMenu = channels->addMenu(tr("Active"));
    connect(activeChannelMenu, &QMenu::triggered, this,
            [this](QAction* a) { channelSelected(a->data().toInt()); });

    InitCalibrationMenu(menuBar()->addMenu(tr("Calibration")));

    QMenu* settings = menuBar()->addMenu(tr("Settings"));
    QMenu* reference = settings->addMenu(tr("Reference"));
    connect(reference->addAction(tr("Internal")), &QAction::triggered, this,
            &MainWindow::setInternalReference);
    connect(reference->addAction(tr("External")), &QAction::triggered, this,
            &MainWindow::setExternalReference);
    connect(settings->addAction(tr("Fan Control")), &QAction::triggered, this,
            &MainWindow::settingsShowFanControls);
    spurRejectAction = settings->addAction(tr("Spur Reject"));
    spurRejectAction->setCheckable(true);
    connect(spurRejectAction, &QAction::triggered, this, &MainWindow::toggleSpurReject);

    QMenu* utilities = menuBar()->addMenu(tr("Utilities"));
    connect(utilities->addAction(tr("Error Info")), &QAction::triggered, this,
            &MainWindow::showErrorInfo);
    connect(utilities->addAction(tr("SCPI Log")), &QAction::triggered, this,
            &MainWindow::showSCPILog);
    connect(utilities->addAction(tr("Write Factory Calibration")), &QAction::triggered, this,
            &MainWindow::calWriteFactoryCal);
    QMenu* uCal = utilities->addMenu(tr("Maury Microwave uCal"));
    connect(uCal->addAction(tr("Direct Controls")), &QAction::triggered, this,
            &MainWindow::showUCalControls);
    uCalCharacterizeAction = uCal->addAction(tr("User Characterization"));
    connect(uCalCharacterizeAction, &QAction::triggered, this,
            &MainWindow::showUCalUserCharacterization);
    connect(uCal, &QMenu::aboutToShow, this, &MainWindow::aboutToShowUCalMenu);
    uCal->setToolTipsVisible(true);
    connect(utilities->addAction(tr("Output Generator Controls")), &QAction::triggered, this,
            &MainWindow::showOutputGeneratorControls);

    QMenu* help = menuBar()->addMenu(tr("Help"));
    connect(help->addAction(tr("User Manual")), &QAction::triggered, this,
            &MainWindow::openUserManual);
    connect(help->addAction(tr("Kestrix Website")), &QAction::triggered, this,
            &MainWindow::openWebsite);
    connect(help->addAction(tr("Support Forums")), &QAction::triggered, this,
            &MainWindow::openSupportForums);
    connect(help->addAction(tr("About")), &QAction::triggered, this, &MainWindow::showAboutDialog);
}

QImage MainWindow::ScreenImage()
{
    // The plots alone, or the whole window when the preference includes the panels.
    QWidget* source = Preferences::Get().controlPanelsInScreenshot
                          ? static_cast<QWidget*>(this)
                          : static_cast<QWidget*>(plotArea);
    return source->grab().toImage();
}

bool MainWindow::saveAsImage(const QString& file)
{
    if (!ScreenImage().save(file))
    {
        SysErr::AddSystemError(UnableToSaveFile, file);
        return false;
    }
    return true;
}

void MainWindow::saveAsImage()
{
    const QString path =
        GetFileNameSave(this, QStringLiteral("DefaultImageSaveDirectory"),
                        tr("Image Files (*.png *.jpg *.bmp)"), tr("Save as Image"));
    if (!path.isEmpty() && !saveAsImage(path))
    {
        ShowMessageBoxWarning(this, tr("Error"), tr("Unable to save the image."));
    }
}

void MainWindow::printScreen(bool showDialog)
{
    const QImage image = ScreenImage();
    QPrinter printer(QPrinter::HighResolution);
    printer.setPageOrientation(QPageLayout::Landscape);
    if (showDialog && !Hidden::Get())
    {
        QPrintDialog dialog(&printer, this);
        if (dialog.exec() != QDialog::Accepted)
        {
            return;
        }
    }
    if (!printer.isValid())
    {
        return;  // no printer on this machine
    }
    QPainter painter(&printer);
    const QRect page = painter.viewport();
    const QSize size = image.size().scaled(page.size(), Qt::KeepAspectRatio);
    painter.setViewport(page.x(), page.y(), size.width(), size.height());
    painter.setWindow(image.rect());
    painter.drawImage(0, 0, image);
}

void MainWindow::populateConnectMenu()
{
    connectMenu->clear();
    const std::vector<int> serials = model.device.GetDeviceList();
    if (serials.empty())
    {
        QAction* none = connectMenu->addAction(tr("No Devices Found"));
        none->setEnabled(false);
        none->setToolTip(tr("Connect a device by USB and open this menu again."));
        connectMenu->setToolTipsVisible(true);
        return;
    }
    for (int serial : serials)
    {
        QAction* a = connectMenu->addAction(QStringLiteral("NVX400: %1").arg(serial));
        a->setData(serial);
    }
}

void MainWindow::aboutToShowFileMenu()
{
    const bool connected = model.device.Connected();
    disconnectAction->setEnabled(connected);
    disconnectAction->setToolTip(connected ? QString() : tr("No device is connected."));
}

void MainWindow::aboutToShowChannelMenu()
{
    deleteChannelMenu->clear();
    activeChannelMenu->clear();
    for (const VNAChannel* c : model.channels)
    {
        if (!c->enabled)
        {
            continue;
        }
        deleteChannelMenu->addAction(c->Name())->setData(c->index);
        QAction* a = activeChannelMenu->addAction(c->Name());
        a->setData(c->index);
        a->setCheckable(true);
        a->setChecked(c->index == model.activeChannelIndex);
    }
}
