// A table of cells kept as rows of QVariant, read from and written to comma-separated text files.
#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>
#include <QVector>

class KXCsv
{
public:
    // Grows the table as needed; negative positions are ignored.
    void SetValue(int row, int column, const QVariant& value);
    // The cell, or defaultValue outside the table. Cells read from a file hold strings.
    QVariant GetValue(int row, int column, const QVariant& defaultValue = QVariant()) const;
    int Rows() const { return rows.size(); }
    int Columns(int row) const { return rows.value(row).size(); }
    void Clear() { rows.clear(); }

    // The file is replaced whole or left as it was.
    bool Write(const QString& path) const;
    // Replaces the table with the file's cells; false (table unchanged) if it cannot be read.
    bool Read(const QString& path);

    // One line per row, cells separated by commas; cells that would not read back as the same
    // text are quoted. Doubles take their shortest exact form.
    QByteArray ToText() const;
    // Quoted cells may hold commas, quotes (doubled) and line breaks; unquoted cells are trimmed.
    // Blank lines are not rows.
    void FromText(const QByteArray& text);

private:
    QVector<QVector<QVariant>> rows;
};
