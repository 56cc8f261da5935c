#include "file_dialogs.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QRegularExpression>

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
    QFileDialog dialog(parent, caption, StartPath(key, suggestedName), filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    // The dialog adds the suffix itself, so that it also asks before replacing that file.
    dialog.setDefaultSuffix(FilterSuffix(dialog.selectedNameFilter()));
    QObject::connect(&dialog, &QFileDialog::filterSelected, &dialog,
                     [&dialog](const QString& f) { dialog.setDefaultSuffix(FilterSuffix(f)); });
    const QString name =
        dialog.exec() == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
    Remember(key, name);
    return name;
}

QString FilterSuffix(const QString& nameFilter)
{
    static const QRegularExpression pattern(QStringLiteral("\\*\\.([A-Za-z0-9_]+)"));
    return pattern.match(nameFilter).captured(1);
}
