// The preferences dialog: edits the program's options and colours. Accepting copies the controls
// into the process-wide records; nothing is saved or applied here.
#pragma once

#include <QMap>
#include <QVector>

#include "kx_widgets.h"

class QCheckBox;
class QFormLayout;
class QStackedWidget;
class QVBoxLayout;
class KXColorButton;

class PreferencesDialog : public KXDialog
{
    Q_OBJECT
public:
    explicit PreferencesDialog(QWidget* parent = nullptr);

public slots:
    void acceptPressed();
    void clearPreferences();
    // Shows the present theme's default colours; they are taken only when accepted.
    void restoreDefaultColors();

private:
    QWidget* BuildGeneralPage();
    QWidget* BuildColorsPage();
    QWidget* BuildLanguagePage();
    QWidget* BuildScpiPage();
    void AddPage(QStackedWidget* stack, const char* title, QWidget* page);
    // Check boxes of the options listed under that page, set from the record.
    void AddCheckBoxes(QFormLayout* form, int page);
    KXLineEdit* AddNumber(QFormLayout* form, const char* key, const QString& label, double value,
                          double minimum, double maximum, int decimals);
    void ShowColors(const QVector<QColor>& colors);

    QVBoxLayout* categoryColumn = nullptr;
    QMap<QString, QCheckBox*> checks;  // by key
    QMap<QString, KXLineEdit*> numbers;
    KXComboBox* powerLevel = nullptr;
    KXComboBox* panelLocation = nullptr;
    KXComboBox* language = nullptr;
    QVector<KXColorButton*> colors;  // in the order of ColorPrefs::Defaults
};
