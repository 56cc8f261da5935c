// The dialog that composes a trace's equation: an editable list of stored equations, pads of
// symbols, lists of functions, traces and parameters, and a line that says whether the text
// parses. Edits go straight to the trace through the model.
#pragma once

#include <QStringList>
#include <QWidget>
#include <vector>

#include "kx_widgets.h"

class QCheckBox;
class QListWidget;
class VNAModel;

// A grid of buttons, one per symbol, filled row by row.
class SymbolPad : public QWidget
{
    Q_OBJECT
public:
    SymbolPad(int rows, int cols, const QStringList& symbols, QWidget* parent = nullptr);

signals:
    void symbolPressed(const QString& text);

private slots:
    void handleButtonPress();
};

class EquationEditor : public KXDialog
{
    Q_OBJECT
public:
    // Edits the equation of the model's trace at index trace. Opened with the window's active
    // trace: EquationEditor(model, model.selectedTraceIndex, this).exec().
    EquationEditor(VNAModel& model, int trace, QWidget* parent = nullptr);

    QString Equation() const;
    bool IsEquationEnabled() const;
    QString StatusText() const;
    QStringList StoredEquations() const;
    // What the status line says of a text: "No known errors", or "Invalid equation" and the
    // parser's reason when there is one.
    static QString ValidationText(const QString& equation);

signals:
    void equationEnabled(bool enabled);
    void equationChanged(const QString& equation);

public slots:
    // Inserts at the cursor, over the selection if there is one, and moves the cursor by
    // cursorOffset from the end of the insertion.
    void AddToEquation(const QString& text, int cursorOffset = 0);
    void addSymbol(const QString& text);
    void handleEquationChange(const QString& text);
    void storeEquation();
    void deleteEquation();

private slots:
    void enabledToggled(bool on);

private:
    QWidget* BuildLists(const std::vector<int>& traces);
    QListWidget* AddList(const QString& title, const QStringList& items, int cursorOffset,
                         QWidget* column);
    void PopulateFunctionList(QWidget* column);
    void PopulateTraceList(const std::vector<int>& traces, QWidget* column);
    void LoadEquations();
    void SaveEquations();
    void Backspace();
    void MoveCursor(int step);

    VNAModel& model;
    const int trace;
    KXComboBox* equation;
    QCheckBox* enabled;
    KXLabel* status;
};
