// Editors of a trace's limit and ripple tables: a list of ranges, the fields of the selected one,
// and the table's CSV file. The editor works on its own copy; the caller installs the result when
// the dialog is accepted.
#pragma once

#include <QStringList>
#include <QVector>

#include "kx_widgets.h"
#include "vna_trace.h"

class QFormLayout;
class QListWidget;

// What both editors share: the range list, the type and frequency fields, the buttons and the
// table file. A subclass holds the table and adds the fields of its own values.
class RangeEditorBase : public KXDialog
{
    Q_OBJECT
public:
    // How the table file is asked for: the file dialog's title and the settings key of the folder
    // last used.
    struct FileKind
    {
        QString caption;
        QString folderKey;
    };

public slots:
    void addRange();
    void deleteRange();
    void clearRangeTable();
    void saveRangeTable();
    void loadRangeTable();
    // Rebuilds the list when its length differs from the table, then shows the current row.
    void updateEntries();
    void typeChanged(int index);
    void startFreqChanged(Frequency f);
    void stopFreqChanged(Frequency f);

protected:
    RangeEditorBase(const QString& title, const QStringList& typeNames, const FileKind& file,
                    QWidget* parent);
    // A number field after the frequencies, in the unit of the trace's format.
    KXLineEdit* AddValueField(const QString& label, const QString& objectName, const QString& unit);
    // The row being edited, or -1 when no row is valid.
    int CurrentRow() const;
    // false empties the first field and disables them all.
    void SetEntriesEnabled(bool enabled);

    virtual int Count() const = 0;
    virtual void AppendDefault() = 0;
    virtual void RemoveAt(int row) = 0;
    virtual void RemoveAll() = 0;
    virtual int TypeOf(int row) const = 0;
    virtual double StartOf(int row) const = 0;
    virtual double StopOf(int row) const = 0;
    virtual void SetType(int row, int type) = 0;
    virtual void SetStart(int row, double f) = 0;
    virtual void SetStop(int row, double f) = 0;
    virtual void ShowValues(int row) = 0;
    virtual bool SaveTable(const QString& path, QString& error) const = 0;
    virtual bool LoadTable(const QString& path, QString& error) = 0;

    // Lists "Range n" for every row and selects one (none when the table is empty).
    void RebuildList(int select);

private:
    QFormLayout* form;
    QListWidget* list;
    KXComboBox* type;
    KXLineEdit* startFreq;
    KXLineEdit* stopFreq;
    QVector<QWidget*> fields;
    FileKind file;
};

// The table and the parts of the editor that depend only on the kind of range.
template <typename Range>
class RangeEditor : public RangeEditorBase
{
public:
    const QVector<Range>& Ranges() const { return ranges; }

protected:
    RangeEditor(const QVector<Range>& initial, const QString& title, const QStringList& typeNames,
                const FileKind& file, QWidget* parent)
        : RangeEditorBase(title, typeNames, file, parent), ranges(initial)
    {
    }

    int Count() const override { return ranges.size(); }
    // The record's defaults are the new row's: limits Max, ripple Absolute, 0 to 40 GHz.
    void AppendDefault() override { ranges.append(Range()); }
    void RemoveAt(int row) override { ranges.remove(row); }
    void RemoveAll() override { ranges.clear(); }
    int TypeOf(int row) const override { return int(ranges[row].type); }
    double StartOf(int row) const override { return ranges[row].startFreq; }
    double StopOf(int row) const override { return ranges[row].stopFreq; }
    void SetType(int row, int t) override { ranges[row].type = decltype(Range::type)(t); }
    void SetStart(int row, double f) override { ranges[row].startFreq = f; }
    void SetStop(int row, double f) override { ranges[row].stopFreq = f; }
    bool SaveTable(const QString& path, QString& error) const override;
    bool LoadTable(const QString& path, QString& error) override;

    QVector<Range> ranges;
};

class LimitLineRangeEditor : public RangeEditor<VNALimitRange>
{
    Q_OBJECT
public:
    LimitLineRangeEditor(const QVector<VNALimitRange>& ranges, const QString& unit,
                         QWidget* parent = nullptr);

public slots:
    void startOffsetChanged(double value);
    void stopOffsetChanged(double value);

protected:
    void ShowValues(int row) override;

private:
    KXLineEdit* startOffset;
    KXLineEdit* stopOffset;
};

class RippleLimitLineRangeEditor : public RangeEditor<VNARippleLimitRange>
{
    Q_OBJECT
public:
    RippleLimitLineRangeEditor(const QVector<VNARippleLimitRange>& ranges, const QString& unit,
                               QWidget* parent = nullptr);

public slots:
    void maxRippleChanged(double value);

protected:
    void ShowValues(int row) override;

private:
    KXLineEdit* maxRipple;
};
