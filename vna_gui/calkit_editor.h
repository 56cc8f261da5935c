// Kit management: the kit list (system kits read-only beside the operator's own) and the editor
// of one .skt kit with its standards, their models in the kit's units, and the class lists that
// say which standard serves as Open, Short, Load or Thru. Both dialogs keep only what is on
// screen; the kit list lives in files and every change goes through the MainWindow slots.
#pragma once

#include <functional>

#include "cal_procedures.h"
#include "kx_widgets.h"
#include "vna_calkit.h"

class MainWindow;
class QLineEdit;
class QListWidget;

class CalKitEditDlg : public KXDialog
{
    Q_OBJECT
public:
    // Edits a copy of kit. accept() first asks validate (whose message is shown), and stays open
    // when it refuses.
    using Validator = std::function<bool(const VNACalKit&, QString&)>;
    CalKitEditDlg(const VNACalKit& kit, Validator validate, QWidget* parent = nullptr);

    const VNACalKit& Kit() const { return kit; }
    // The standard being edited, an index into the kit's standards, or -1.
    int CurrentStandard() const;
    // Fills the current data based standard from a Touchstone file; false with the reason.
    bool LoadStandardData(const QString& path, QString& error);

    // The model values of a standard that the editor shows, in the kit's units.
    static constexpr int kModelFields = 11;

public slots:
    void kitNameChanged(const QString& name);
    void kitDescriptionChanged(const QString& text);
    void kitConnectorChanged(int index);
    void standardSelected(int row);
    void addStandard();
    void copyStandard();
    void removeStandard();
    void loadStandardData();
    void stdIDChanged(double id);
    void stdTypeChanged(int index);
    void stdDescriptionChanged(const QString& text);
    void stdGenderChanged(int index);
    void stdFMinChanged(double hz);
    void stdFMaxChanged(double hz);
    void stdModelChanged(int field, double value);
    void classSelected(int index);
    void addToClass();
    void removeFromClass();
    void raiseInClass();
    void lowerInClass();
    void accept() override;

private:
    void BuildKitFields();
    void BuildStandardFields();
    void BuildClassEditor();
    // Adds a standard with a free ID, selects it and puts it in its type's class.
    void AppendStandard(CalKitStandardInfo s);
    void RebuildStandardList(int select);
    void RebuildClassList(int select);
    void ShowStandard();
    CalKitStandardInfo* Current();
    CalClass SelectedClass() const;
    // The ID selected in the class list, or -1.
    int SelectedClassID() const;

    VNACalKit kit;
    Validator validate;
    QLineEdit* name = nullptr;
    QLineEdit* description = nullptr;
    KXComboBox* connector = nullptr;
    QListWidget* standards = nullptr;
    KXLineEdit* id = nullptr;
    KXComboBox* type = nullptr;
    KXLineEdit* stdDescription = nullptr;
    KXComboBox* gender = nullptr;
    KXLineEdit* fmin = nullptr;
    KXLineEdit* fmax = nullptr;
    KXLineEdit* model[kModelFields] = {};
    KXLabel* dataFile = nullptr;
    KXComboBox* classChoice = nullptr;
    QListWidget* classList = nullptr;
    QVector<QWidget*> standardFields;
};

// Asks how a standard is to be measured for kit characterisation.
class CharacterizeStandardDlg : public KXDialog
{
    Q_OBJECT
public:
    explicit CharacterizeStandardDlg(const QString& kitName, QWidget* parent = nullptr);
    StandardCharacterization Request() const;

private:
    KXComboBox* port = nullptr;
    KXComboBox* cls = nullptr;
    KXComboBox* gender = nullptr;
    QLineEdit* description = nullptr;
};

// The kit list with its operations.
class CalKitManagerDlg : public KXDialog
{
    Q_OBJECT
public:
    explicit CalKitManagerDlg(MainWindow* window);

    // The name of the selected kit, or an empty text.
    QString SelectedKit() const;
    bool SelectKit(const QString& name);

public slots:
    // Reads the kit list again, keeping the selection where the kit still exists.
    void Refresh();
    void updateButtons();

private:
    MainWindow* window;
    QListWidget* list = nullptr;
    KXPushButton* editButton = nullptr;
    KXPushButton* deleteButton = nullptr;
    KXPushButton* characterizeButton = nullptr;
    QVector<KXPushButton*> selectionButtons;
};
