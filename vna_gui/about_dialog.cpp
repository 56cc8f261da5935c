#include "about_dialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "help_links.h"
#include "mainwindow.h"
#include "version_checker.h"

namespace
{
QString DeviceText(const VNADevice& device)
{
    if (!device.Connected())
    {
        return AboutDialog::tr("No device connected");
    }
    if (device.IsDemoMode())
    {
        return AboutDialog::tr("Demo Device");
    }
    return AboutDialog::tr("%1, serial number %2, firmware %3")
        .arg(device.GetDeviceName())
        .arg(device.GetSerialNumber())
        .arg(device.GetFirmwareVersion());
}
}  // namespace

AboutDialog::AboutDialog(MainWindow* window) : KXDialog(tr("About"), window), w(window)
{
    const VNADevice& device = w->Model().device;
    const QString api = device.GetAPIVersion();
    auto* text = new QLabel(this);
    text->setObjectName(QStringLiteral("aboutText"));
    text->setTextFormat(Qt::RichText);
    text->setOpenExternalLinks(false);
    text->setText(
        QStringLiteral("<h3>%1</h3><p>%2</p><p>%3: %4<br>%5: %6<br>%7</p><p>%8</p><p>"
                       "<a href=\"%9\">%10</a></p>")
            .arg(tr("Kestrix Vector Network Analysis Software"),
                 tr("Version %1").arg(VersionChecker::ProgramVersion()),
                 tr("NVX400 API Version"), api.isEmpty() ? tr("not loaded") : api.toHtmlEscaped(),
                 tr("Instrument"), DeviceText(device).toHtmlEscaped(),
                 tr("Built with Qt %1").arg(QLatin1String(QT_VERSION_STR)),
                 tr("Licensed under the GNU General Public License, version 3 or later."),
                 WebsiteUrl().toString())
            .arg(tr("Kestrix Website")));
    connect(text, &QLabel::linkActivated, this, [](const QString& link) { OpenUrl(QUrl(link)); });

    checkAtStart = new QCheckBox(tr("Check for new versions at start-up"), this);
    checkAtStart->setObjectName(QStringLiteral("checkAtStart"));
    checkAtStart->setChecked(Preferences::Get().checkForNewVersion);
    checkAtStart->setToolTip(tr("Asks the Kestrix web server for the latest version number; "
                                "nothing else is sent."));
    connect(checkAtStart, &QCheckBox::toggled, this,
            [](bool on) { Preferences::Get().checkForNewVersion = on; });
    auto* check = new KXPushButton(tr("Check Now"), this);
    connect(check, &QPushButton::clicked, this, &AboutDialog::checkNow);
    checkResult = new QLabel(this);
    checkResult->setObjectName(QStringLiteral("checkResult"));
    connect(w->Versions(), &VersionChecker::checkFinished, this, &AboutDialog::checkFinished);

    auto* box = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(box, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* column = new QVBoxLayout(this);
    column->addWidget(text);
    column->addWidget(checkAtStart);
    column->addWidget(check);
    column->addWidget(checkResult);
    column->addWidget(box);
}

QString AboutDialog::CheckText() const
{
    return checkResult->text();
}

void AboutDialog::checkNow()
{
    checkResult->setText(tr("Checking..."));
    w->checkForNewVersion();
}

void AboutDialog::checkFinished(bool ok, const QString& latest)
{
    if (!ok)
    {
        checkResult->setText(tr("The Kestrix web server could not be reached."));
    }
    else if (VersionChecker::CompareVersions(latest, VersionChecker::ProgramVersion()) > 0)
    {
        checkResult->setText(tr("Version %1 is available.").arg(latest));
    }
    else
    {
        checkResult->setText(tr("This is the latest version."));
    }
}
