#include "help_links.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>

namespace
{
UrlOpener& Opener()
{
    static UrlOpener opener;
    return opener;
}
}  // namespace

void SetUrlOpener(UrlOpener opener)
{
    Opener() = std::move(opener);
}

bool OpenUrl(const QUrl& url)
{
    if (Opener())
    {
        return Opener()(url);
    }
    return QDesktopServices::openUrl(url);
}

QUrl WebsiteUrl()
{
    return QUrl(QStringLiteral("https://www.kestrix.com/"));
}

QUrl SupportForumsUrl()
{
    return QUrl(QStringLiteral("https://www.kestrix.com/forums/"));
}

QString ManualHtmlName()
{
    return QStringLiteral("VNA Software Manual.html");
}

QString ManualMarkdownName()
{
    return QStringLiteral("manual.md");
}

QUrl UserManualUrl(const QString& manualsDir)
{
    const QDir dir(QUrl(manualsDir).toLocalFile());
    for (const QString& name : {ManualHtmlName(), ManualMarkdownName()})
    {
        const QFileInfo file(dir.filePath(name));
        if (file.isFile())
        {
            return QUrl::fromLocalFile(file.canonicalFilePath());
        }
    }
    return QUrl();
}
