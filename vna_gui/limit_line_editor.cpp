#include "limit_line_editor.h"

#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QListWidget>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <algorithm>

#include "file_dialogs.h"
#include "vna_limits.h"

namespace
{
// The file functions of each kind of table, under one name for the template.
bool SaveRanges(const QString& path, const QVector<VNALimitRange>& r, QString& error)
{
    return SaveLimitTable(path, r, error);
}
bool SaveRanges(const QString& path, const QVector<VNARippleLimitRange>& r, QString& error)
{
    return SaveRippleTable(path, r, error);
}
bool LoadRanges(const QString& path, QVector<VNALimitRange>& r, QString& error)
{
    return LoadLimitTable(path, r, error);
}
bool LoadRanges(const QString& path, QVector<VNARippleLimitRange>& r, QString& error)
{
    return LoadRippleTable(path, r, error);
}
}  // namespace

template <typename Range>
bool RangeEditor<Range>::SaveTable(const QString& path, QString& error) const
{
    return SaveRanges(path, ranges, error);
}

template <typename Range>
bool RangeEditor<Range>::LoadTable(const QString& path, QString& error)
{
    return LoadRanges(path, ranges, error);
}

template class RangeEditor<VNALimitRange>;
template class RangeEditor<VNARippleLimitRange>;

// --- the shared editor ---------------------------------------------------------------------------

RangeEditorBase::RangeEditorBase(const QString& title, const QStringList& typeNames,
                                 const FileKind& kind, QWidget* parent)
    : KXDialog(title, parent), file(kind)
{
    list = new QListWidget(this);
    list->setObjectName(QStringLiteral("ranges"));
    type = new KXComboBox(this);
    type->setObjectName(QStringLiteral("type"));
    for (int i = 0; i < typeNames.size(); ++i)
    {
        type->AddItem(typeNames[i], i);
    }
    startFreq = new KXLineEdit(KXLineEdit::FreqValue, this);
    startFreq->setObjectName(QStringLiteral("startFreq"));
    stopFreq = new KXLineEdit(KXLineEdit::FreqValue, this);
    stopFreq->setObjectName(QStringLiteral("stopFreq"));
    fields = {type, startFreq, stopFreq};

    form = new QFormLayout;
    form->addRow(tr("Type"), type);
    form->addRow(tr("Start Freq"), startFreq);
    form->addRow(tr("Stop Freq"), stopFreq);

    auto* buttons = new QGridLayout;
    auto button = [&](const QString& text, int row, int column)
    {
        auto* b = new KXPushButton(text, this);
        b->setAutoDefault(false);
        buttons->addWidget(b, row, column);
        return b;
    };
    connect(button(tr("Add Range"), 0, 0), &QPushButton::clicked, this, &RangeEditorBase::addRange);
    connect(button(tr("Delete Range"), 0, 1), &QPushButton::clicked, this,
            &RangeEditorBase::deleteRange);
    connect(button(tr("Save Table"), 1, 0), &QPushButton::clicked, this,
            &RangeEditorBase::saveRangeTable);
    connect(button(tr("Load Table"), 1, 1), &QPushButton::clicked, this,
            &RangeEditorBase::loadRangeTable);
    connect(button(tr("Clear Table"), 2, 0), &QPushButton::clicked, this,
            &RangeEditorBase::clearRangeTable);
    connect(button(tr("Cancel"), 3, 0), &QPushButton::clicked, this, &QDialog::reject);
    connect(button(tr("OK"), 3, 1), &QPushButton::clicked, this, &QDialog::accept);

    auto* right = new QVBoxLayout;
    right->addLayout(form);
    right->addStretch();
    right->addLayout(buttons);
    auto* top = new QHBoxLayout(this);
    top->addWidget(list);
    top->addLayout(right);

    connect(list, &QListWidget::currentRowChanged, this, &RangeEditorBase::updateEntries);
    connect(type, &KXComboBox::comboIndexChanged, this, &RangeEditorBase::typeChanged);
    const auto freqEdited = QOverload<Frequency>::of(&KXLineEdit::editUpdated);
    connect(startFreq, freqEdited, this, &RangeEditorBase::startFreqChanged);
    connect(stopFreq, freqEdited, this, &RangeEditorBase::stopFreqChanged);
}

KXLineEdit* RangeEditorBase::AddValueField(const QString& label, const QString& objectName,
                                           const QString& unit)
{
    auto* edit = new KXLineEdit(KXLineEdit::Number, this);
    edit->setObjectName(objectName);
    edit->SetUnit(unit);
    form->addRow(label, edit);
    fields.append(edit);
    return edit;
}

int RangeEditorBase::CurrentRow() const
{
    const int row = list->currentRow();
    return row >= 0 && row < Count() ? row : -1;
}

void RangeEditorBase::SetEntriesEnabled(bool enabled)
{
    if (!enabled)
    {
        type->SetIndex(-1);
    }
    for (QWidget* w : fields)
    {
        w->setEnabled(enabled);
    }
}

void RangeEditorBase::RebuildList(int select)
{
    const QSignalBlocker block(list);
    list->clear();
    for (int i = 0; i < Count(); ++i)
    {
        list->addItem(tr("Range %1").arg(i + 1));
    }
    list->setCurrentRow(std::min(select, Count() - 1));
}

void RangeEditorBase::updateEntries()
{
    if (list->count() != Count())
    {
        RebuildList(list->currentRow());
    }
    const int row = CurrentRow();
    if (row < 0)
    {
        SetEntriesEnabled(false);
        return;
    }
    SetEntriesEnabled(true);
    type->SetIndex(TypeOf(row));
    startFreq->SetValue(StartOf(row));
    stopFreq->SetValue(StopOf(row));
    ShowValues(row);
}

void RangeEditorBase::addRange()
{
    AppendDefault();
    RebuildList(Count() - 1);
    updateEntries();
}

void RangeEditorBase::deleteRange()
{
    const int row = CurrentRow();
    if (row >= 0)
    {
        RemoveAt(row);
        RebuildList(std::max(0, row - 1));
    }
    updateEntries();
}

void RangeEditorBase::clearRangeTable()
{
    RemoveAll();
    RebuildList(-1);
    updateEntries();
}

void RangeEditorBase::saveRangeTable()
{
    // An empty table is refused before a file name is asked for.
    if (Count() == 0)
    {
        ShowMessageBoxWarning(this, tr("Warning"), tr("No ranges configured, cancelling."));
        return;
    }
    const QString path = GetFileNameSave(this, file.folderKey, tr("CSV (*.csv)"), file.caption);
    QString error;
    if (!path.isEmpty() && !SaveTable(path, error))
    {
        ShowMessageBoxWarning(this, tr("Error"), error);
    }
}

void RangeEditorBase::loadRangeTable()
{
    const QString path = GetFileNameOpen(this, file.folderKey, tr("CSV (*.csv)"), file.caption);
    if (path.isEmpty())
    {
        return;
    }
    QString error;
    if (!LoadTable(path, error))
    {
        ShowMessageBoxWarning(this, tr("Error"), error);
        return;
    }
    RebuildList(0);
    updateEntries();
}

void RangeEditorBase::typeChanged(int index)
{
    const int row = CurrentRow();
    if (row >= 0)
    {
        SetType(row, type->itemData(index).toInt());
    }
}

void RangeEditorBase::startFreqChanged(Frequency f)
{
    const int row = CurrentRow();
    if (row >= 0)
    {
        SetStart(row, f.Get());
    }
}

void RangeEditorBase::stopFreqChanged(Frequency f)
{
    const int row = CurrentRow();
    if (row >= 0)
    {
        SetStop(row, f.Get());
    }
}

// --- limit lines -------------------------------------------------------------------------------

namespace
{
QStringList LimitTypeNames()
{
    return {VNALimitTypeToString(LimitOff), VNALimitTypeToString(LimitMin),
            VNALimitTypeToString(LimitMax)};
}

QStringList RippleTypeNames()
{
    return {VNARippleLimitTypeToString(RippleOff), VNARippleLimitTypeToString(RippleAbsolute),
            VNARippleLimitTypeToString(RippleMargin)};
}
}  // namespace

LimitLineRangeEditor::LimitLineRangeEditor(const QVector<VNALimitRange>& initial,
                                           const QString& unit, QWidget* parent)
    : RangeEditor(initial, tr("Edit Limit Line Ranges"), LimitTypeNames(),
                  {tr("Limit Line Table"), QStringLiteral("DefaultLimitLineSaveDirectory")}, parent)
{
    startOffset = AddValueField(tr("Start Offset"), QStringLiteral("startOffset"), unit);
    stopOffset = AddValueField(tr("Stop Offset"), QStringLiteral("stopOffset"), unit);
    const auto edited = QOverload<double>::of(&KXLineEdit::editUpdated);
    connect(startOffset, edited, this, &LimitLineRangeEditor::startOffsetChanged);
    connect(stopOffset, edited, this, &LimitLineRangeEditor::stopOffsetChanged);
    RebuildList(0);
    updateEntries();
}

void LimitLineRangeEditor::ShowValues(int row)
{
    startOffset->SetValue(ranges[row].startOffset);
    stopOffset->SetValue(ranges[row].stopOffset);
}

void LimitLineRangeEditor::startOffsetChanged(double value)
{
    const int row = CurrentRow();
    if (row >= 0)
    {
        ranges[row].startOffset = value;
    }
}

void LimitLineRangeEditor::stopOffsetChanged(double value)
{
    const int row = CurrentRow();
    if (row >= 0)
    {
        ranges[row].stopOffset = value;
    }
}

// --- ripple limits -----------------------------------------------------------------------------

RippleLimitLineRangeEditor::RippleLimitLineRangeEditor(const QVector<VNARippleLimitRange>& initial,
                                                       const QString& unit, QWidget* parent)
    : RangeEditor(
          initial, tr("Edit Ripple Limit Line Ranges"), RippleTypeNames(),
          {tr("Ripple Limit Line Table"), QStringLiteral("DefaultRippleLimitLineSaveDirectory")},
          parent)
{
    maxRipple = AddValueField(tr("Max Ripple"), QStringLiteral("maxRipple"), unit);
    connect(maxRipple, QOverload<double>::of(&KXLineEdit::editUpdated), this,
            &RippleLimitLineRangeEditor::maxRippleChanged);
    RebuildList(0);
    updateEntries();
}

void RippleLimitLineRangeEditor::ShowValues(int row)
{
    maxRipple->SetValue(ranges[row].maxRipple);
}

void RippleLimitLineRangeEditor::maxRippleChanged(double value)
{
    const int row = CurrentRow();
    if (row >= 0)
    {
        ranges[row].maxRipple = value;
    }
}
