// The sweep segment table editor: one row per segment (start, stop, points), typed as the
// operator would type them in the stimulus panel. It works on its own copy and is accepted only
// with a table a channel can sweep; the caller installs Segments() afterwards.
#pragma once

#include <QVector>

#include "kx_widgets.h"
#include "vna_stimulus.h"

class QTableWidget;

class SweepSegmentDialog : public KXDialog
{
    Q_OBJECT
public:
    SweepSegmentDialog(const QVector<VNASweepSegment>& segments, QWidget* parent = nullptr);

    // The table as accepted: in rising order and checked.
    const QVector<VNASweepSegment>& Segments() const { return segments; }

public slots:
    void addSegment();
    void deleteSegment();
    void clearTable();
    void loadTable();
    void saveTable();
    void accept() override;

private:
    void ShowTable(const QVector<VNASweepSegment>& table);
    void SetRow(int row, const VNASweepSegment& s);
    // The rows as typed; false with the first cell that does not read, named by row.
    bool ReadTable(QVector<VNASweepSegment>& table, QString& error) const;

    QTableWidget* table;
    QVector<VNASweepSegment> segments;
};
