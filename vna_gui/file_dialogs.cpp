#include "file_dialogs.h"

#include <QFileDialog>
#include <QFileInfo>

#include "application_settings.h"

namespace
{
QString StartPath(const QString& key, const QString& suggestedName)
{
    QString path = GetDefaultUserDirectory(key);
    if (!suggestedName.isEmpty())
    {
        path += QLatin1Char('/') + suggestedName;
    }
    return path;
}

void Remember(const QString& key, const QString& fileName)
{
    if (!fileName.isEmpty())
    {
        SetDefaultUserDirectory(key, QFileInfo(fileName).absolutePath());
    }
}
}  // namespace

QString GetFileNameOpen(QWidget* parent, const QString& key, const QString& filter,
                        const QString& caption, const QString& suggestedName)
{
    const QString name =
        QFileDialog::getOpenFileName(parent, caption, StartPath(key, suggestedName), filter);
    Remember(key, name);
    return name;
}

QString GetFileNameSave(QWidget* parent, const QString& key, const QString& filter,
                        const QString& caption, const QString& suggestedName)
{
    const QString name =
        QFileDialog::getSaveFileName(parent, caption, StartPath(key, suggestedName), filter);
    Remember(key, name);
    return name;
}
