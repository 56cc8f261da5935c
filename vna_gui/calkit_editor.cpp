#include "calkit_editor.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <algorithm>

#include "file_dialogs.h"
#include "mainwindow.h"
#include "touchstone.h"
#include "vna_calkit_list.h"

namespace
{
// The model values the editor shows, with their units as the kit files keep them.
struct ModelField
{
    const char* label;
    const char* unit;
    double CalKitStandardInfo::*value;
    int decimals;
};

const ModelField kModel[CalKitEditDlg::kModelFields] = {
    {QT_TRANSLATE_NOOP("CalKitEditDlg", "Offset Delay"), "ps", &CalKitStandardInfo::Delay, 4},
    {QT_TRANSLATE_NOOP("CalKitEditDlg", "Offset Loss"), "GOhm/s", &CalKitStandardInfo::Loss, 4},
    {QT_TRANSLATE_NOOP("CalKitEditDlg", "Offset Z0"), "Ohm", &CalKitStandardInfo::Z0, 4},
    {"C0", "1e-15 F", &CalKitStandardInfo::C0, 6},
    {"C1", "1e-27 F/Hz", &CalKitStandardInfo::C1, 6},
    {"C2", "1e-36 F/Hz^2", &CalKitStandardInfo::C2, 6},
    {"C3", "1e-45 F/Hz^3", &CalKitStandardInfo::C3, 6},
    {"L0", "1e-12 H", &CalKitStandardInfo::L0, 6},
    {"L1", "1e-24 H/Hz", &CalKitStandardInfo::L1, 6},
    {"L2", "1e-33 H/Hz^2", &CalKitStandardInfo::L2, 6},
    {"L3", "1e-42 H/Hz^3", &CalKitStandardInfo::L3, 6},
};

const VNAConnector kConnectors[] = {ConnAPC,   ConnN,     ConnSMA,   Conn3_5mm, Conn2_92mm,
                                    Conn2_4mm, Conn1_8mm, Conn1_0mm, ConnOther};

const char* const kClassNames[kCalClassCount] = {QT_TRANSLATE_NOOP("CalKitEditDlg", "Open"),
                                                 QT_TRANSLATE_NOOP("CalKitEditDlg", "Short"),
                                                 QT_TRANSLATE_NOOP("CalKitEditDlg", "Load"),
                                                 QT_TRANSLATE_NOOP("CalKitEditDlg", "Thru")};

QString ClassName(int cls)
{
    return QCoreApplication::translate("CalKitEditDlg", kClassNames[cls]);
}

KXPushButton* Button(const QString& text, QWidget* parent, const QString& objectName)
{
    auto* b = new KXPushButton(text, parent);
    b->setAutoDefault(false);
    b->setObjectName(objectName);
    return b;
}

// OK and Cancel; neither is a default button, so Return in a field only finishes the field.
QHBoxLayout* OkCancel(QDialog* dialog)
{
    auto* row = new QHBoxLayout;
    row->addStretch();
    auto* cancel = Button(QCoreApplication::translate("CalKitEditDlg", "Cancel"), dialog,
                          QStringLiteral("cancel"));
    auto* ok = Button(QCoreApplication::translate("CalKitEditDlg", "OK"), dialog,
                      QStringLiteral("ok"));
    QObject::connect(cancel, &QPushButton::clicked, dialog, &QDialog::reject);
    QObject::connect(ok, &QPushButton::clicked, dialog, &QDialog::accept);
    row->addWidget(cancel);
    row->addWidget(ok);
    return row;
}

KXComboBox* ClassCombo(QWidget* parent)
{
    auto* c = new KXComboBox(parent);
    for (int i = 0; i < kCalClassCount; ++i)
    {
        c->AddItem(ClassName(i), i);
    }
    return c;
}

KXComboBox* GenderCombo(QWidget* parent)
{
    auto* c = new KXComboBox(parent);
    c->AddItem(VNAGenderToString(VNAMale), int(VNAMale));
    c->AddItem(VNAGenderToString(VNAFemale), int(VNAFemale));
    return c;
}
}  // namespace

// --- the kit editor ------------------------------------------------------------------------------

CalKitEditDlg::CalKitEditDlg(const VNACalKit& k, Validator v, QWidget* parent)
    : KXDialog(tr("Calibration Kit Editor"), parent), kit(k), validate(std::move(v))
{
    auto* layout = new QVBoxLayout(this);
    BuildKitFields();
    BuildStandardFields();
    BuildClassEditor();
    layout->addLayout(OkCancel(this));
    RebuildStandardList(kit.Standards.isEmpty() ? -1 : 0);
    RebuildClassList(-1);
}

void CalKitEditDlg::BuildKitFields()
{
    name = new QLineEdit(kit.CalKitName, this);
    name->setObjectName(QStringLiteral("kitName"));
    description = new QLineEdit(kit.Description, this);
    description->setObjectName(QStringLiteral("kitDescription"));
    connector = new KXComboBox(this);
    connector->setObjectName(QStringLiteral("kitConnector"));
    for (VNAConnector c : kConnectors)
    {
        connector->AddItem(VNAConnectorToString(c), int(c));
    }
    connector->SetByData(int(kit.Connector));
    auto* form = new QFormLayout;
    form->addRow(tr("Kit Name"), name);
    form->addRow(tr("Description"), description);
    form->addRow(tr("Connector"), connector);
    static_cast<QVBoxLayout*>(layout())->addLayout(form);
    connect(name, &QLineEdit::textEdited, this, &CalKitEditDlg::kitNameChanged);
    connect(description, &QLineEdit::textEdited, this, &CalKitEditDlg::kitDescriptionChanged);
    connect(connector, &KXComboBox::comboIndexChanged, this, &CalKitEditDlg::kitConnectorChanged);
}

void CalKitEditDlg::BuildStandardFields()
{
    standards = new QListWidget(this);
    standards->setObjectName(QStringLiteral("standardList"));
    connect(standards, &QListWidget::currentRowChanged, this, &CalKitEditDlg::standardSelected);
    auto* add = Button(tr("Add Standard"), this, QStringLiteral("addStandard"));
    auto* copy = Button(tr("Copy Standard"), this, QStringLiteral("copyStandard"));
    auto* remove = Button(tr("Remove Standard"), this, QStringLiteral("removeStandard"));
    auto* data = Button(tr("Load Data"), this, QStringLiteral("loadStandardData"));
    connect(add, &QPushButton::clicked, this, &CalKitEditDlg::addStandard);
    connect(copy, &QPushButton::clicked, this, &CalKitEditDlg::copyStandard);
    connect(remove, &QPushButton::clicked, this, &CalKitEditDlg::removeStandard);
    connect(data, &QPushButton::clicked, this, QOverload<>::of(&CalKitEditDlg::loadStandardData));

    id = new KXLineEdit(KXLineEdit::Number, this);
    id->SetDecimals(0);
    id->SetRange(1, 999);
    type = new KXComboBox(this);
    for (int t = VNAStdShort; t <= VNAStdSlidingLoad; ++t)
    {
        type->AddItem(VNAStandardToString(VNAStandard(t)), t);
    }
    stdDescription = new KXLineEdit(KXLineEdit::Text, this);
    gender = GenderCombo(this);
    fmin = new KXLineEdit(KXLineEdit::FreqValue, this);
    fmax = new KXLineEdit(KXLineEdit::FreqValue, this);
    fmin->SetRange(0.0, 1e12);
    fmax->SetRange(0.0, 1e12);
    dataFile = new KXLabel(QString(), this);
    auto* form = new QFormLayout;
    form->addRow(tr("ID"), id);
    form->addRow(tr("Type"), type);
    form->addRow(tr("Description"), stdDescription);
    form->addRow(tr("Gender"), gender);
    form->addRow(tr("Min Freq"), fmin);
    form->addRow(tr("Max Freq"), fmax);
    standardFields = {id, type, stdDescription, gender, fmin, fmax, copy, remove, data};
    for (int f = 0; f < kModelFields; ++f)
    {
        model[f] = new KXLineEdit(KXLineEdit::Number, this);
        model[f]->SetUnit(QString::fromUtf8(kModel[f].unit));
        model[f]->SetDecimals(kModel[f].decimals);
        model[f]->setObjectName(QStringLiteral("model%1").arg(f));
        form->addRow(QCoreApplication::translate("CalKitEditDlg", kModel[f].label), model[f]);
        connect(model[f], QOverload<double>::of(&KXLineEdit::editUpdated), this,
                [this, f](double v) { stdModelChanged(f, v); });
        standardFields.append(model[f]);
    }
    form->addRow(tr("Data File"), dataFile);
    const QStringList names{QStringLiteral("stdID"),   QStringLiteral("stdType"),
                            QStringLiteral("stdDescription"), QStringLiteral("stdGender"),
                            QStringLiteral("stdFMin"), QStringLiteral("stdFMax")};
    for (int i = 0; i < names.size(); ++i)
    {
        standardFields[i]->setObjectName(names[i]);
    }
    connect(id, QOverload<double>::of(&KXLineEdit::editUpdated), this, &CalKitEditDlg::stdIDChanged);
    connect(type, &KXComboBox::comboIndexChanged, this, &CalKitEditDlg::stdTypeChanged);
    connect(stdDescription, QOverload<QString>::of(&KXLineEdit::editUpdated), this,
            &CalKitEditDlg::stdDescriptionChanged);
    connect(gender, &KXComboBox::comboIndexChanged, this, &CalKitEditDlg::stdGenderChanged);
    connect(fmin, QOverload<double>::of(&KXLineEdit::editUpdated), this,
            &CalKitEditDlg::stdFMinChanged);
    connect(fmax, QOverload<double>::of(&KXLineEdit::editUpdated), this,
            &CalKitEditDlg::stdFMaxChanged);

    auto* listButtons = new QHBoxLayout;
    for (QPushButton* b : {static_cast<QPushButton*>(add), static_cast<QPushButton*>(copy),
                           static_cast<QPushButton*>(remove), static_cast<QPushButton*>(data)})
    {
        listButtons->addWidget(b);
    }
    auto* left = new QVBoxLayout;
    left->addWidget(standards, 1);
    left->addLayout(listButtons);
    auto* row = new QHBoxLayout;
    row->addLayout(left, 1);
    row->addLayout(form, 1);
    static_cast<QVBoxLayout*>(layout())->addLayout(row, 1);
}

void CalKitEditDlg::BuildClassEditor()
{
    classChoice = ClassCombo(this);
    classChoice->setObjectName(QStringLiteral("classChoice"));
    classList = new QListWidget(this);
    classList->setObjectName(QStringLiteral("classList"));
    connect(classChoice, &KXComboBox::comboIndexChanged, this, &CalKitEditDlg::classSelected);
    auto* buttons = new QVBoxLayout;
    const struct
    {
        const char* text;
        const char* objectName;
        void (CalKitEditDlg::*slot)();
    } entries[] = {{QT_TR_NOOP("Add to Class"), "addToClass", &CalKitEditDlg::addToClass},
                   {QT_TR_NOOP("Remove from Class"), "removeFromClass",
                    &CalKitEditDlg::removeFromClass},
                   {QT_TR_NOOP("Up"), "raiseInClass", &CalKitEditDlg::raiseInClass},
                   {QT_TR_NOOP("Down"), "lowerInClass", &CalKitEditDlg::lowerInClass}};
    for (const auto& e : entries)
    {
        auto* b = Button(tr(e.text), this, QString::fromLatin1(e.objectName));
        connect(b, &QPushButton::clicked, this, e.slot);
        buttons->addWidget(b);
    }
    buttons->addStretch();
    auto* form = new QFormLayout;
    form->addRow(tr("Class"), classChoice);
    auto* column = new QVBoxLayout;
    column->addLayout(form);
    column->addWidget(classList);
    auto* row = new QHBoxLayout;
    row->addLayout(column, 1);
    row->addLayout(buttons);
    static_cast<QVBoxLayout*>(layout())->addLayout(row);
}

int CalKitEditDlg::CurrentStandard() const
{
    const int row = standards->currentRow();
    return row >= 0 && row < kit.Standards.size() ? row : -1;
}

CalKitStandardInfo* CalKitEditDlg::Current()
{
    const int row = CurrentStandard();
    return row < 0 ? nullptr : &kit.Standards[row];
}

void CalKitEditDlg::RebuildStandardList(int select)
{
    const QSignalBlocker block(standards);
    standards->clear();
    for (const CalKitStandardInfo& s : kit.Standards)
    {
        standards->addItem(s.GetLongListString());
    }
    standards->setCurrentRow(select);
    ShowStandard();
}

void CalKitEditDlg::ShowStandard()
{
    const CalKitStandardInfo* s = Current();
    for (QWidget* w : standardFields)
    {
        w->setEnabled(s != nullptr);
    }
    if (!s)
    {
        dataFile->clear();
        return;
    }
    id->SetValue(s->ID);
    type->SetByData(int(s->Type));
    stdDescription->SetText(s->Description);
    gender->SetByData(int(s->Gender));
    fmin->SetValue(s->FMin);
    fmax->SetValue(s->FMax);
    for (int f = 0; f < kModelFields; ++f)
    {
        model[f]->SetValue(s->*kModel[f].value);
    }
    dataFile->setText(s->IsDataBased() ? s->DataFileName : QString());
}

void CalKitEditDlg::RebuildClassList(int select)
{
    const QSignalBlocker block(classList);
    classList->clear();
    for (int standardId : kit.GetStandardIDsWithClass(SelectedClass()))
    {
        bool found = false;
        const CalKitStandardInfo s = kit.GetStandard(standardId, found);
        auto* item = new QListWidgetItem(found ? s.GetShortListString()
                                               : tr("%1 - (missing)").arg(standardId),
                                         classList);
        item->setData(Qt::UserRole, standardId);
    }
    classList->setCurrentRow(select);
}

CalClass CalKitEditDlg::SelectedClass() const
{
    return CalClass(classChoice->GetCurrentData().toInt());
}

int CalKitEditDlg::SelectedClassID() const
{
    const QListWidgetItem* item = classList->currentItem();
    return item ? item->data(Qt::UserRole).toInt() : -1;
}

void CalKitEditDlg::kitNameChanged(const QString& text)
{
    kit.CalKitName = text.trimmed();
}

void CalKitEditDlg::kitDescriptionChanged(const QString& text)
{
    kit.Description = text;
}

void CalKitEditDlg::kitConnectorChanged(int)
{
    kit.Connector = VNAConnector(connector->GetCurrentData().toInt());
}

void CalKitEditDlg::standardSelected(int)
{
    ShowStandard();
}

void CalKitEditDlg::AppendStandard(CalKitStandardInfo s)
{
    s.ID = kit.GetNextID();
    if (s.ID < 0)
    {
        ShowMessageBoxWarning(this, tr("Error"), tr("Invalid ID"));
        return;
    }
    kit.Standards.append(s);
    kit.PutStandardInClass(s.ID, GetCalClassFromStandardType(s.Type));
    RebuildStandardList(kit.Standards.size() - 1);
    RebuildClassList(classList->currentRow());
}

void CalKitEditDlg::addStandard()
{
    CalKitStandardInfo s;
    s.Description = tr("New standard");
    AppendStandard(s);
}

void CalKitEditDlg::copyStandard()
{
    if (const CalKitStandardInfo* s = Current())
    {
        AppendStandard(*s);
    }
}

void CalKitEditDlg::removeStandard()
{
    const int row = CurrentStandard();
    if (row < 0)
    {
        return;
    }
    kit.RemoveStdAtIndex(row);
    RebuildStandardList(std::min(row, kit.Standards.size() - 1));
    RebuildClassList(-1);
}

bool CalKitEditDlg::LoadStandardData(const QString& path, QString& error)
{
    CalKitStandardInfo* s = Current();
    if (!s || !s->IsDataBased())
    {
        error = tr("Only a data based standard takes data from a file.");
        return false;
    }
    QVector<double> freqs;
    SParameters data;
    bool isS1P = false;
    if (!LoadS2PFile(path, true, freqs, data, isS1P, error))
    {
        return false;
    }
    s->DataFileName = QFileInfo(path).fileName();
    s->DataFreqs = freqs;
    s->DataReflectOnly = isS1P;
    s->DataS11 = data.S11;
    s->DataS21 = data.S21;
    s->DataS12 = data.S12;
    s->DataS22 = data.S22;
    ShowStandard();
    return true;
}

void CalKitEditDlg::loadStandardData()
{
    const QString path =
        GetFileNameOpen(this, QStringLiteral("DefaultSNPSaveDirectory"),
                        tr("SnP File (*.s1p *.s2p)"), tr("Standard Data"));
    QString error;
    if (!path.isEmpty() && !LoadStandardData(path, error))
    {
        ShowMessageBoxWarning(this, tr("Error Parsing SnP File"), error);
    }
}

void CalKitEditDlg::stdIDChanged(double value)
{
    CalKitStandardInfo* s = Current();
    const int newId = int(value);
    if (!s || newId == s->ID)
    {
        return;
    }
    if (!kit.IsIDAvailable(newId))
    {
        ShowMessageBoxWarning(this, tr("Error"), tr("Invalid ID"));
        ShowStandard();
        return;
    }
    // The class lists follow the standard to its new number, keeping its priorities.
    for (QList<int>& list : kit.Classes)
    {
        std::replace(list.begin(), list.end(), s->ID, newId);
    }
    s->ID = newId;
    RebuildStandardList(CurrentStandard());
    RebuildClassList(classList->currentRow());
}

void CalKitEditDlg::stdTypeChanged(int)
{
    CalKitStandardInfo* s = Current();
    if (!s)
    {
        return;
    }
    const VNAStandard newType = VNAStandard(type->GetCurrentData().toInt());
    // A standard in its type's usual class moves to the new type's; other placings stay.
    const CalClass oldClass = GetCalClassFromStandardType(s->Type);
    if (kit.GetStandardIDsWithClass(oldClass).contains(s->ID))
    {
        kit.RemoveStandardFromClass(s->ID, oldClass);
        kit.PutStandardInClass(s->ID, GetCalClassFromStandardType(newType));
    }
    s->Type = newType;
    RebuildStandardList(CurrentStandard());
    RebuildClassList(-1);
}

void CalKitEditDlg::stdDescriptionChanged(const QString& text)
{
    if (CalKitStandardInfo* s = Current())
    {
        s->Description = text;
        standards->currentItem()->setText(s->GetLongListString());
        RebuildClassList(classList->currentRow());
    }
}

void CalKitEditDlg::stdGenderChanged(int)
{
    if (CalKitStandardInfo* s = Current())
    {
        s->Gender = VNAGender(gender->GetCurrentData().toInt());
        standards->currentItem()->setText(s->GetLongListString());
    }
}

void CalKitEditDlg::stdFMinChanged(double hz)
{
    if (CalKitStandardInfo* s = Current())
    {
        s->FMin = hz;
    }
}

void CalKitEditDlg::stdFMaxChanged(double hz)
{
    if (CalKitStandardInfo* s = Current())
    {
        s->FMax = hz;
    }
}

void CalKitEditDlg::stdModelChanged(int field, double value)
{
    CalKitStandardInfo* s = Current();
    if (s && field >= 0 && field < kModelFields)
    {
        s->*kModel[field].value = value;
    }
}

void CalKitEditDlg::classSelected(int)
{
    RebuildClassList(-1);
}

void CalKitEditDlg::addToClass()
{
    if (const CalKitStandardInfo* s = Current())
    {
        kit.PutStandardInClass(s->ID, SelectedClass());
        RebuildClassList(kit.GetStandardIDsWithClass(SelectedClass()).indexOf(s->ID));
    }
}

void CalKitEditDlg::removeFromClass()
{
    const int row = classList->currentRow();
    kit.RemoveStandardFromClass(SelectedClassID(), SelectedClass());
    RebuildClassList(std::min(row, classList->count() - 2));
}

void CalKitEditDlg::raiseInClass()
{
    const int selected = SelectedClassID();
    kit.IncreaseStdPriority(selected, SelectedClass());
    RebuildClassList(kit.GetStandardIDsWithClass(SelectedClass()).indexOf(selected));
}

void CalKitEditDlg::lowerInClass()
{
    const int selected = SelectedClassID();
    kit.DecreaseStdPriority(selected, SelectedClass());
    RebuildClassList(kit.GetStandardIDsWithClass(SelectedClass()).indexOf(selected));
}

void CalKitEditDlg::accept()
{
    QString error;
    if (validate && !validate(kit, error))
    {
        ShowMessageBoxWarning(this, tr("Calibration Kit"), error);
        return;
    }
    KXDialog::accept();
}

// --- characterisation request --------------------------------------------------------------------

CharacterizeStandardDlg::CharacterizeStandardDlg(const QString& kitName, QWidget* parent)
    : KXDialog(tr("Characterize Standard"), parent)
{
    port = new KXComboBox(this);
    port->setObjectName(QStringLiteral("port"));
    port->AddItem(tr("Port 1"), 0);
    port->AddItem(tr("Port 2"), 1);
    port->AddItem(tr("Between Port 1 and Port 2"), 2);
    cls = ClassCombo(this);
    cls->setObjectName(QStringLiteral("class"));
    cls->SetByData(int(CalClassShort));
    gender = GenderCombo(this);
    gender->setObjectName(QStringLiteral("gender"));
    description = new QLineEdit(tr("Characterized standard"), this);
    description->setObjectName(QStringLiteral("description"));
    auto* form = new QFormLayout(this);
    form->addRow(tr("Cal Kit"), new KXLabel(kitName, this));
    form->addRow(tr("Measured On"), port);
    form->addRow(tr("Class"), cls);
    form->addRow(tr("Gender"), gender);
    form->addRow(tr("Description"), description);
    form->addRow(new KXLabel(tr("Connect the standard to the calibrated channel, then press OK."),
                             this));
    form->addRow(OkCancel(this));
}

StandardCharacterization CharacterizeStandardDlg::Request() const
{
    StandardCharacterization r;
    r.port = port->GetCurrentData().toInt();
    r.cls = CalClass(cls->GetCurrentData().toInt());
    r.gender = VNAGender(gender->GetCurrentData().toInt());
    r.description = description->text();
    return r;
}

// --- the kit list --------------------------------------------------------------------------------

CalKitManagerDlg::CalKitManagerDlg(MainWindow* w)
    : KXDialog(tr("Manage Calibration Kits"), w), window(w)
{
    list = new QListWidget(this);
    list->setObjectName(QStringLiteral("kitList"));
    connect(list, &QListWidget::currentRowChanged, this, &CalKitManagerDlg::updateButtons);
    auto* buttons = new QVBoxLayout;
    auto add = [&](const QString& text, const QString& objectName, std::function<bool()> action)
    {
        auto* b = Button(text, this, objectName);
        connect(b, &QPushButton::clicked, this,
                [this, action]
                {
                    if (action())
                    {
                        Refresh();
                    }
                });
        buttons->addWidget(b);
        return b;
    };
    add(tr("New"), QStringLiteral("newKit"), [this] { return window->calKitNew(); });
    selectionButtons.append(add(tr("Copy"), QStringLiteral("copyKit"),
                                [this] { return window->calKitCopy(SelectedKit()); }));
    editButton = add(tr("Edit"), QStringLiteral("editKit"),
                     [this] { return window->calKitEdit(SelectedKit()); });
    deleteButton = add(tr("Delete"), QStringLiteral("deleteKit"),
                       [this] { return window->calKitDelete(SelectedKit()); });
    add(tr("Import"), QStringLiteral("importKit"), [this] { return window->calKitImport(); });
    selectionButtons.append(add(tr("Export"), QStringLiteral("exportKit"),
                                [this] { return window->calKitExport(SelectedKit()); }));
    characterizeButton =
        add(tr("Characterize Standard"), QStringLiteral("characterizeKit"),
            [this] { return window->calKitCharacterize(SelectedKit()); });
    buttons->addStretch();
    auto* close = Button(tr("Close"), this, QStringLiteral("close"));
    connect(close, &QPushButton::clicked, this, &QDialog::accept);
    buttons->addWidget(close);
    auto* row = new QHBoxLayout(this);
    row->addWidget(list, 1);
    row->addLayout(buttons);
    resize(640, 420);
    Refresh();
}

QString CalKitManagerDlg::SelectedKit() const
{
    const QListWidgetItem* item = list->currentItem();
    return item ? item->data(Qt::UserRole).toString() : QString();
}

bool CalKitManagerDlg::SelectKit(const QString& name)
{
    for (int i = 0; i < list->count(); ++i)
    {
        if (list->item(i)->data(Qt::UserRole).toString() == name)
        {
            list->setCurrentRow(i);
            return true;
        }
    }
    return false;
}

void CalKitManagerDlg::Refresh()
{
    const QString selected = SelectedKit();
    {
        const QSignalBlocker block(list);
        list->clear();
        for (const CalKitListEntry& e : ReadCalKitList())
        {
            VNACalKit kit;
            GetCalKitFromName(e.name, kit);
            kit.CalKitName = e.name;
            const QString text = e.system ? tr("%1 (system, read-only)").arg(kit.GetDisplayName())
                                          : kit.GetDisplayName();
            auto* item = new QListWidgetItem(text, list);
            item->setData(Qt::UserRole, e.name);
            item->setData(Qt::UserRole + 1, e.system);
        }
    }
    if (!SelectKit(selected))
    {
        list->setCurrentRow(list->count() > 0 ? 0 : -1);
    }
    updateButtons();
}

void CalKitManagerDlg::updateButtons()
{
    const QListWidgetItem* item = list->currentItem();
    const bool user = item && !item->data(Qt::UserRole + 1).toBool();
    for (KXPushButton* b : selectionButtons)
    {
        b->setEnabled(item != nullptr);
    }
    editButton->setEnabled(user);
    deleteButton->setEnabled(user);
    characterizeButton->setEnabled(user);
}
