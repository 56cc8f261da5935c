#include "sweep_segment_dialog.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QTableWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "file_dialogs.h"
#include "sweep_segments.h"

namespace
{
enum Column
{
    StartColumn,
    StopColumn,
    PointsColumn
};

const char* const kFolderKey = "DefaultSweepSegmentSaveDirectory";
// Points of a row the operator adds.
constexpr int kNewSegmentPoints = 101;
}  // namespace

SweepSegmentDialog::SweepSegmentDialog(const QVector<VNASweepSegment>& initial, QWidget* parent)
    : KXDialog(tr("Sweep Segments"), parent), segments(initial)
{
    table = new QTableWidget(0, 3, this);
    table->setObjectName(QStringLiteral("segments"));
    table->setHorizontalHeaderLabels({tr("Start"), tr("Stop"), tr("Points")});
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setMinimumWidth(460);

    auto* buttons = new QHBoxLayout;
    auto add = [&](const QString& text, void (SweepSegmentDialog::*slot)())
    {
        auto* b = new KXPushButton(text, this);
        buttons->addWidget(b);
        connect(b, &QPushButton::clicked, this, slot);
    };
    add(tr("Add Segment"), &SweepSegmentDialog::addSegment);
    add(tr("Delete Segment"), &SweepSegmentDialog::deleteSegment);
    add(tr("Clear Table"), &SweepSegmentDialog::clearTable);
    add(tr("Load Table"), &SweepSegmentDialog::loadTable);
    add(tr("Save Table"), &SweepSegmentDialog::saveTable);

    auto* box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(box, &QDialogButtonBox::accepted, this, &SweepSegmentDialog::accept);
    connect(box, &QDialogButtonBox::rejected, this, &SweepSegmentDialog::reject);

    auto* column = new QVBoxLayout(this);
    column->addWidget(table);
    column->addLayout(buttons);
    column->addWidget(box);
    ShowTable(segments);
}

void SweepSegmentDialog::SetRow(int row, const VNASweepSegment& s)
{
    table->setItem(row, StartColumn, new QTableWidgetItem(Frequency(s.start).GetFreqString()));
    table->setItem(row, StopColumn, new QTableWidgetItem(Frequency(s.stop).GetFreqString()));
    table->setItem(row, PointsColumn, new QTableWidgetItem(QString::number(s.points)));
}

void SweepSegmentDialog::ShowTable(const QVector<VNASweepSegment>& rows)
{
    table->setRowCount(rows.size());
    for (int i = 0; i < rows.size(); ++i)
    {
        SetRow(i, rows[i]);
    }
}

bool SweepSegmentDialog::ReadTable(QVector<VNASweepSegment>& rows, QString& error) const
{
    rows.clear();
    for (int r = 0; r < table->rowCount(); ++r)
    {
        auto text = [&](int c) { return table->item(r, c) ? table->item(r, c)->text() : QString(); };
        // A frequency typed without a unit is taken in hertz.
        Frequency start(1.0), stop(1.0);
        if (!IsValidFreqString(text(StartColumn), start) ||
            !IsValidFreqString(text(StopColumn), stop))
        {
            error = tr("Row %1: the start and stop must be frequencies, such as \"2.4 GHz\".")
                        .arg(r + 1);
            return false;
        }
        bool ok = false;
        const int points = text(PointsColumn).trimmed().toInt(&ok);
        if (!ok)
        {
            error = tr("Row %1: the number of points must be a whole number.").arg(r + 1);
            return false;
        }
        rows.append(VNASweepSegment{start.Get(), stop.Get(), points});
    }
    return true;
}

void SweepSegmentDialog::addSegment()
{
    QVector<VNASweepSegment> rows;
    QString error;
    const bool readable = ReadTable(rows, error);
    // A new segment follows the highest stop, as far as the instrument reaches.
    double start = StimulusLimits::kMinFreq;
    for (const VNASweepSegment& s : rows)
    {
        start = std::max(start, s.stop + 1e6);
    }
    start = readable ? std::min(start, StimulusLimits::kMaxFreq) : StimulusLimits::kMinFreq;
    const double stop = std::min(start + 1e9, StimulusLimits::kMaxFreq);
    const int row = table->rowCount();
    table->insertRow(row);
    SetRow(row, VNASweepSegment{start, stop, kNewSegmentPoints});
    table->selectRow(row);
}

void SweepSegmentDialog::deleteSegment()
{
    const int row = table->currentRow();
    if (row >= 0)
    {
        table->removeRow(row);
    }
}

void SweepSegmentDialog::clearTable()
{
    table->setRowCount(0);
}

void SweepSegmentDialog::loadTable()
{
    const QString path = GetFileNameOpen(this, QLatin1String(kFolderKey),
                                         tr("Sweep Segment Table (*.csv)"), tr("Load Segments"));
    if (path.isEmpty())
    {
        return;
    }
    QVector<VNASweepSegment> rows;
    QString error;
    if (!LoadSweepSegments(path, rows, error))
    {
        ShowMessageBoxWarning(this, tr("Load Segments"), error);
        return;
    }
    ShowTable(rows);
}

void SweepSegmentDialog::saveTable()
{
    QVector<VNASweepSegment> rows;
    QString error;
    if (!ReadTable(rows, error))
    {
        ShowMessageBoxWarning(this, tr("Save Segments"), error);
        return;
    }
    const QString path = GetFileNameSave(this, QLatin1String(kFolderKey),
                                         tr("Sweep Segment Table (*.csv)"), tr("Save Segments"));
    if (!path.isEmpty() && !SaveSweepSegments(path, rows, error))
    {
        ShowMessageBoxWarning(this, tr("Save Segments"), error);
    }
}

void SweepSegmentDialog::accept()
{
    QVector<VNASweepSegment> rows;
    QString error;
    if (!ReadTable(rows, error))
    {
        ShowMessageBoxWarning(this, tr("Sweep Segments"), error);
        return;
    }
    // Shown in order, so that the rows a fault names are the rows on screen.
    SortSweepSegments(rows);
    ShowTable(rows);
    if (!CheckSweepSegments(rows, error))
    {
        ShowMessageBoxWarning(this, tr("Sweep Segments"), error);
        return;
    }
    segments = rows;
    KXDialog::accept();
}
