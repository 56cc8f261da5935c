// File dialogs that start in the folder last used for the same kind of file and remember the
// folder of the file chosen.
#pragma once

#include <QString>

class QWidget;

// An empty result means the dialog was cancelled; the remembered folder is then left alone.
QString GetFileNameOpen(QWidget* parent, const QString& key, const QString& filter,
                        const QString& caption, const QString& suggestedName = QString());
// A name given without an extension takes the first one of the filter chosen in the dialog.
QString GetFileNameSave(QWidget* parent, const QString& key, const QString& filter,
                        const QString& caption, const QString& suggestedName = QString());

// The first extension a name filter lists ("png" for "Image Files (*.png *.jpg)"), or an empty
// text when it lists none (a filter for every file).
QString FilterSuffix(const QString& nameFilter);
