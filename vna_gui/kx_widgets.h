// The KX widget kit: entry widgets that carry units and item data, offer one "edit finished"
// signal each, and can be set from the model without signalling back.
#pragma once

#include <QColor>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QVariant>

#include "frequency.h"

class KXComboBox : public QComboBox
{
    Q_OBJECT
public:
    explicit KXComboBox(QWidget* parent = nullptr);

    void AddItem(const QString& text, const QVariant& data);
    QVariant GetCurrentData() const { return currentData(); }
    // Selects the item carrying `data`; false when none does. Emits nothing.
    bool SetByData(const QVariant& data);
    void SetIndex(int index);

signals:
    void comboIndexChanged(int index);
};

class KXLineEdit : public QLineEdit
{
    Q_OBJECT
public:
    enum Kind
    {
        Number,     // a plain number with an optional unit text shown after it
        FreqValue,  // a frequency; accepts any text IsValidFreqString accepts
        TimeValue,  // seconds with s, ms, us, ns, ps
        Text
    };

    explicit KXLineEdit(Kind kind = Number, QWidget* parent = nullptr);

    void SetRange(double minimum, double maximum);
    void SetIncrement(double step) { increment = step; }
    void SetUnit(const QString& text);
    void SetDecimals(int n) { decimals = n; }

    // Set from the model: shows the value and emits nothing.
    void SetValue(double value);
    void SetFrequency(Frequency f);
    void SetText(const QString& text);
    double Value() const { return value; }

signals:
    void editUpdated(double value);
    void editUpdated(Frequency value);
    void editUpdated(QString text);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    void Commit();
    void Step(int steps);
    void Show();
    bool Parse(const QString& text, double& out) const;

    Kind kind;
    double value = 0.0;
    double minimum = -1e300;
    double maximum = 1e300;
    double increment = 1.0;
    int decimals = 3;
    QString unit;
};

// Parses "12.5 ns" style times into seconds; the unit is optional (seconds).
bool ParseTimeText(const QString& text, double& seconds);
QString TimeText(double seconds);

class KXLabel : public QLabel
{
    Q_OBJECT
public:
    explicit KXLabel(const QString& text = QString(), QWidget* parent = nullptr);
};

class KXPushButton : public QPushButton
{
    Q_OBJECT
public:
    explicit KXPushButton(const QString& text = QString(), QWidget* parent = nullptr);
    void SetChecked(bool checked);  // without emitting toggled()
};

class KXDialog : public QDialog
{
    Q_OBJECT
public:
    explicit KXDialog(const QString& title, QWidget* parent = nullptr);
};

class KXProgressDialog : public QProgressDialog
{
    Q_OBJECT
public:
    explicit KXProgressDialog(const QString& title, QWidget* parent = nullptr);
};

// Operator messages. With "--hidden" nothing is shown: warnings are dropped and questions take
// `hiddenAnswer`.
void ShowMessageBoxWarning(QWidget* parent, const QString& title, const QString& text);
bool ShowMessageBoxQuestion(QWidget* parent, const QString& title, const QString& text,
                            bool hiddenAnswer = true);

// A button that shows a colour and lets the operator pick another one.
class KXColorButton : public QPushButton
{
    Q_OBJECT
public:
    explicit KXColorButton(const QColor& color = QColor(), QWidget* parent = nullptr);

    QColor Color() const { return color; }
    // Shows the colour; emits nothing.
    void SetColor(const QColor& c);

signals:
    void colorChanged(const QColor& color);

private:
    void Pick();

    QColor color;
};
