// File dialogs that start in the folder last used for the same kind of file and remember the
// folder of the file chosen.
#pragma once

#include <QString>

class QWidget;

// An empty result means the dialog was cancelled; the remembered folder is then left alone.
QString GetFileNameOpen(QWidget* parent, const QString& key, const QString& filter,
                        const QString& caption, const QString& suggestedName = QString());
QString GetFileNameSave(QWidget* parent, const QString& key, const QString& filter,
                        const QString& caption, const QString& suggestedName = QString());
