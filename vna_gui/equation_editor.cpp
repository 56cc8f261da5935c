#include "equation_editor.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QMutexLocker>
#include <QVBoxLayout>

#include "application_settings.h"
#include "equation_tools.h"
#include "vna_model.h"

namespace
{
const QString kBackspace = QStringLiteral("\u232B");
const QString kLeft = QStringLiteral("\u2190");
const QString kRight = QStringLiteral("\u2192");
const QString kBlank = QStringLiteral("\u2423");
const QString kPi = QStringLiteral("\U0001D70B");

// Pads, lists and buttons never take the focus: the equation's cursor and selection stay where
// the operator left them while symbols go in.
void KeepFocusOff(QWidget* w)
{
    w->setFocusPolicy(Qt::NoFocus);
}
}  // namespace

// --- symbol pad ----------------------------------------------------------------------------

SymbolPad::SymbolPad(int rows, int cols, const QStringList& symbols, QWidget* parent)
    : QWidget(parent)
{
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(2);
    for (int i = 0; i < symbols.size() && i < rows * cols; ++i)
    {
        auto* b = new KXPushButton(symbols[i], this);
        KeepFocusOff(b);
        b->setMinimumWidth(32);
        connect(b, &QPushButton::clicked, this, &SymbolPad::handleButtonPress);
        grid->addWidget(b, i / cols, i % cols);
    }
}

void SymbolPad::handleButtonPress()
{
    if (auto* b = qobject_cast<QPushButton*>(sender()))
    {
        emit symbolPressed(b->text());
    }
}

// --- editor --------------------------------------------------------------------------------

EquationEditor::EquationEditor(VNAModel& model, int trace, QWidget* parent)
    : KXDialog(tr("Equation Editor"), parent), model(model), trace(trace)
{
    QString text;
    bool on = false;
    std::vector<int> traces;
    {
        QMutexLocker lock(&model.traceLock);
        if (const VNATrace* t = model.traces.value(trace, nullptr))
        {
            text = t->equation;
            on = t->equationEnabled;
        }
        for (int i = 0; i < model.traces.size(); ++i)
        {
            if (model.traces[i])
            {
                traces.push_back(i);
            }
        }
    }

    equation = new KXComboBox(this);
    equation->setEditable(true);
    equation->setInsertPolicy(QComboBox::NoInsert);
    // Typed text stays as typed: no completion from the stored equations.
    equation->setCompleter(nullptr);
    equation->setMinimumWidth(320);
    enabled = new QCheckBox(tr("Enabled"), this);
    KeepFocusOff(enabled);
    auto* store = new KXPushButton(tr("Store Equation"), this);
    auto* remove = new KXPushButton(tr("Delete Equation"), this);
    KeepFocusOff(store);
    KeepFocusOff(remove);
    status = new KXLabel(QString(), this);

    auto* top = new QHBoxLayout;
    top->addWidget(new KXLabel(QString::asprintf("Tr%d", trace + 1), this));
    top->addWidget(new KXLabel(QStringLiteral(" = "), this));
    top->addWidget(equation, 1);
    auto* actions = new QHBoxLayout;
    actions->addWidget(enabled);
    actions->addStretch(1);
    actions->addWidget(store);
    actions->addWidget(remove);

    auto* numbers = new SymbolPad(
        4, 4, {"7", "8", "9", "/", "4", "5", "6", "*", "1", "2", "3", "-", "0", ".", "^", "+"},
        this);
    auto* editing =
        new SymbolPad(2, 4, {"(", ")", kPi, "e", kLeft, kRight, kBlank, kBackspace}, this);
    auto* pads = new QVBoxLayout;
    pads->addWidget(numbers);
    pads->addWidget(editing);
    pads->addStretch(1);
    auto* middle = new QHBoxLayout;
    middle->addWidget(BuildLists(traces), 1);
    middle->addLayout(pads);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addLayout(actions);
    layout->addLayout(middle, 1);
    layout->addWidget(status);
    layout->addWidget(buttons);

    LoadEquations();
    equation->setEditText(text);
    enabled->setChecked(on);
    status->setText(ValidationText(text));

    connect(equation, &QComboBox::editTextChanged, this, &EquationEditor::handleEquationChange);
    connect(enabled, &QCheckBox::toggled, this, &EquationEditor::enabledToggled);
    connect(store, &QPushButton::clicked, this, &EquationEditor::storeEquation);
    connect(remove, &QPushButton::clicked, this, &EquationEditor::deleteEquation);
    connect(numbers, &SymbolPad::symbolPressed, this, &EquationEditor::addSymbol);
    connect(editing, &SymbolPad::symbolPressed, this, &EquationEditor::addSymbol);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

QWidget* EquationEditor::BuildLists(const std::vector<int>& traces)
{
    auto* lists = new QWidget(this);
    auto* row = new QHBoxLayout(lists);
    row->setContentsMargins(0, 0, 0, 0);
    for (int column = 0; column < 3; ++column)
    {
        auto* w = new QWidget(lists);
        auto* col = new QVBoxLayout(w);
        col->setContentsMargins(0, 0, 0, 0);
        row->addWidget(w);
        if (column == 0)
        {
            PopulateFunctionList(w);
        }
        else if (column == 1)
        {
            PopulateTraceList(traces, w);
        }
        else
        {
            AddList(tr("Parameters"), {"S11", "S21", "S12", "S22"}, 0, w);
        }
    }
    return lists;
}

QListWidget* EquationEditor::AddList(const QString& title, const QStringList& items,
                                     int cursorOffset, QWidget* column)
{
    auto* list = new QListWidget(column);
    list->addItems(items);
    KeepFocusOff(list);
    column->layout()->addWidget(new KXLabel(title, column));
    column->layout()->addWidget(list);
    // A function comes with its parentheses, and the cursor lands between them.
    const QString suffix = cursorOffset < 0 ? QStringLiteral("()") : QString();
    connect(list, &QListWidget::itemPressed, this,
            [this, suffix, cursorOffset](QListWidgetItem* i)
            { AddToEquation(i->text() + suffix, cursorOffset); });
    return list;
}

void EquationEditor::PopulateFunctionList(QWidget* column)
{
    // The language also knows "ln", which the list leaves out.
    AddList(tr("Functions"), {"real",  "imag", "mag",  "phase", "norm",  "conj", "proj", "exp",
                              "log10", "sqrt", "sin",  "cos",   "tan",   "asin", "acos", "atan",
                              "sinh",  "cosh", "tanh", "asinh", "acosh", "atanh"},
            -1, column);
}

void EquationEditor::PopulateTraceList(const std::vector<int>& traces, QWidget* column)
{
    QStringList items;
    for (int t : traces)
    {
        items << QString::asprintf("Tr%d", t + 1) << QString::asprintf("Tr%d_Mem", t + 1);
    }
    AddList(tr("Traces"), items, 0, column);
}

QString EquationEditor::Equation() const
{
    return equation->currentText();
}

bool EquationEditor::IsEquationEnabled() const
{
    return enabled->isChecked();
}

QString EquationEditor::StatusText() const
{
    return status->text();
}

QStringList EquationEditor::StoredEquations() const
{
    QStringList list;
    for (int i = 0; i < equation->count(); ++i)
    {
        list << equation->itemText(i);
    }
    return list;
}

QString EquationEditor::ValidationText(const QString& text)
{
    QString error;
    if (EquationTools::CheckEquation(text, error))
    {
        return tr("No known errors");
    }
    return error.isEmpty() ? tr("Invalid equation") : tr("Invalid equation: ") + error;
}

void EquationEditor::AddToEquation(const QString& text, int cursorOffset)
{
    QLineEdit* edit = equation->lineEdit();
    edit->insert(text);
    edit->setCursorPosition(edit->cursorPosition() + cursorOffset);
}

void EquationEditor::addSymbol(const QString& text)
{
    if (text == kBackspace)
    {
        Backspace();
    }
    else if (text == kLeft)
    {
        MoveCursor(-1);
    }
    else if (text == kRight)
    {
        MoveCursor(1);
    }
    else if (text == kBlank)
    {
        AddToEquation(QStringLiteral(" "));
    }
    else if (text == kPi)
    {
        AddToEquation(QStringLiteral("PI"));
    }
    else if (text == QLatin1String("e"))
    {
        AddToEquation(QStringLiteral("E"));
    }
    else
    {
        AddToEquation(text);
    }
}

void EquationEditor::Backspace()
{
    equation->lineEdit()->backspace();
}

void EquationEditor::MoveCursor(int step)
{
    QLineEdit* edit = equation->lineEdit();
    edit->setCursorPosition(edit->cursorPosition() + step);
}

void EquationEditor::handleEquationChange(const QString& text)
{
    status->setText(ValidationText(text));
    model.SetTraceEquation(trace, text);
    emit equationChanged(text);
}

void EquationEditor::enabledToggled(bool on)
{
    model.SetTraceEquationEnabled(trace, on);
    emit equationEnabled(on);
}

void EquationEditor::storeEquation()
{
    const QString text = Equation();
    if (text.isEmpty() || StoredEquations().contains(text))
    {
        return;
    }
    {
        // The list changes, the text being edited does not.
        const QSignalBlocker block(equation);
        equation->addItem(text);
        equation->setEditText(text);
    }
    SaveEquations();
}

void EquationEditor::deleteEquation()
{
    const QString text = Equation();
    const int index = StoredEquations().indexOf(text);
    if (index < 0)
    {
        return;
    }
    {
        const QSignalBlocker block(equation);
        equation->removeItem(index);
        equation->setEditText(text);
    }
    SaveEquations();
}

void EquationEditor::LoadEquations()
{
    ApplicationSettings s(GetPreferencesIniPath());
    const int n = s.BeginReadArray(QStringLiteral("Equations"));
    for (int i = 0; i < n; ++i)
    {
        s.SetArrayIndex(i);
        QString text;
        s.Load(QStringLiteral("S"), text);
        equation->addItem(text);
    }
    s.EndArray();
}

void EquationEditor::SaveEquations()
{
    ApplicationSettings s(GetPreferencesIniPath());
    s.Remove(QStringLiteral("Equations"));
    s.BeginWriteArray(QStringLiteral("Equations"), equation->count());
    for (int i = 0; i < equation->count(); ++i)
    {
        s.SetArrayIndex(i);
        s.Save(QStringLiteral("S"), equation->itemText(i));
    }
    s.EndArray();
}
