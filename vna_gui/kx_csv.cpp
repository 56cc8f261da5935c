#include "kx_csv.h"

#include <QFile>
#include <QLocale>
#include <cmath>

#include "application_settings.h"

namespace
{
QString CellText(const QVariant& v)
{
    if (v.userType() == QMetaType::Double || v.userType() == QMetaType::Float)
    {
        // Shortest text that reads back as the same double; QString::number drops the sign of
        // a negative zero.
        const double d = v.toDouble();
        if (d == 0.0 && std::signbit(d))
        {
            return QStringLiteral("-0");
        }
        return QString::number(d, 'g', QLocale::FloatingPointShortest);
    }
    return v.toString();
}

// Quoted when the plain text would not read back as itself: a separator, a quote or a line break
// inside, white space at an end (unquoted cells are trimmed), or an empty lone cell (a blank line
// is not a row).
QString EncodeCell(const QString& text, bool lone)
{
    const bool plain = !text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) &&
                       !text.contains(QLatin1Char('\n')) && !text.contains(QLatin1Char('\r')) &&
                       text == text.trimmed() && !(lone && text.isEmpty());
    if (plain)
    {
        return text;
    }
    QString quoted = text;
    quoted.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

// Assembles cells and rows while FromText walks the characters.
struct RowBuilder
{
    QVector<QVector<QVariant>> rows;
    QVector<QVariant> row;
    QString cell;
    // The cell being read, and any cell of the row, began with a quote.
    bool quoted = false;
    bool rowQuoted = false;

    void EndCell()
    {
        row.append(quoted ? cell : cell.trimmed());
        cell.clear();
        quoted = false;
    }
    void EndRow()
    {
        EndCell();
        const bool blank = row.size() == 1 && row[0].toString().isEmpty() && !rowQuoted;
        if (!blank)
        {
            rows.append(row);
        }
        row.clear();
        rowQuoted = false;
    }
};
}  // namespace

void KXCsv::SetValue(int row, int column, const QVariant& value)
{
    if (row < 0 || column < 0)
    {
        return;
    }
    if (row >= rows.size())
    {
        rows.resize(row + 1);
    }
    QVector<QVariant>& r = rows[row];
    if (column >= r.size())
    {
        r.resize(column + 1);
    }
    r[column] = value;
}

QVariant KXCsv::GetValue(int row, int column, const QVariant& defaultValue) const
{
    if (row < 0 || row >= rows.size() || column < 0 || column >= rows[row].size())
    {
        return defaultValue;
    }
    return rows[row][column];
}

QByteArray KXCsv::ToText() const
{
    QString out;
    for (const QVector<QVariant>& r : rows)
    {
        // A row without cells is written as one empty cell so that it keeps its place.
        const int n = std::max(1, r.size());
        for (int c = 0; c < n; ++c)
        {
            if (c > 0)
            {
                out += QLatin1Char(',');
            }
            out += EncodeCell(CellText(r.value(c)), n == 1);
        }
        out += QLatin1Char('\n');
    }
    return out.toUtf8();
}

void KXCsv::FromText(const QByteArray& bytes)
{
    const QString text = QString::fromUtf8(bytes);
    RowBuilder b;
    bool inQuotes = false;
    for (int i = 0; i < text.size(); ++i)
    {
        const QChar c = text[i];
        if (inQuotes)
        {
            if (c != QLatin1Char('"'))
            {
                b.cell += c;
            }
            else if (i + 1 < text.size() && text[i + 1] == QLatin1Char('"'))
            {
                b.cell += c;
                ++i;
            }
            else
            {
                inQuotes = false;
            }
        }
        else if (c == QLatin1Char('"') && !b.quoted && b.cell.trimmed().isEmpty())
        {
            inQuotes = b.quoted = b.rowQuoted = true;
            b.cell.clear();
        }
        else if (c == QLatin1Char(','))
        {
            b.EndCell();
        }
        else if (c == QLatin1Char('\n') || c == QLatin1Char('\r'))
        {
            if (c == QLatin1Char('\r') && i + 1 < text.size() && text[i + 1] == QLatin1Char('\n'))
            {
                ++i;
            }
            b.EndRow();
        }
        else
        {
            b.cell += c;
        }
    }
    // A last line without its line break, or a quote left open at the end.
    if (!b.row.isEmpty() || !b.cell.isEmpty() || b.quoted)
    {
        b.EndRow();
    }
    rows.swap(b.rows);
}

bool KXCsv::Write(const QString& path) const
{
    return SaveFileWhole(path, ToText());
}

bool KXCsv::Read(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
    {
        return false;
    }
    FromText(file.readAll());
    return true;
}
