#include "kx_widgets.h"

#include <QColorDialog>
#include <QKeyEvent>
#include <QPixmap>
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QWheelEvent>
#include <cmath>

#include "preferences.h"

KXComboBox::KXComboBox(QWidget* parent) : QComboBox(parent)
{
    connect(this, QOverload<int>::of(&QComboBox::activated), this, &KXComboBox::comboIndexChanged);
}

void KXComboBox::AddItem(const QString& text, const QVariant& data)
{
    const QSignalBlocker block(this);
    addItem(text, data);
}

bool KXComboBox::SetByData(const QVariant& data)
{
    const int i = findData(data);
    if (i < 0)
    {
        return false;
    }
    SetIndex(i);
    return true;
}

void KXComboBox::SetIndex(int index)
{
    const QSignalBlocker block(this);
    setCurrentIndex(index);
}

KXLineEdit::KXLineEdit(Kind k, QWidget* parent) : QLineEdit(parent), kind(k)
{
    connect(this, &QLineEdit::editingFinished, this, &KXLineEdit::Commit);
}

void KXLineEdit::SetRange(double lo, double hi)
{
    minimum = lo;
    maximum = hi;
}

void KXLineEdit::SetUnit(const QString& text)
{
    unit = text;
    Show();
}

void KXLineEdit::SetValue(double v)
{
    value = v;
    Show();
}

void KXLineEdit::SetFrequency(Frequency f)
{
    SetValue(f.Get());
}

void KXLineEdit::SetText(const QString& text)
{
    const QSignalBlocker block(this);
    setText(text);
}

void KXLineEdit::Show()
{
    const QSignalBlocker block(this);
    switch (kind)
    {
        case FreqValue:
            setText(Frequency(value).GetFreqString());
            break;
        case TimeValue:
            setText(TimeText(value));
            break;
        case Number:
            setText(unit.isEmpty()
                        ? QString::number(value, 'f', decimals)
                        : QString::number(value, 'f', decimals) + QLatin1Char(' ') + unit);
            break;
        case Text:
            break;
    }
}

bool KXLineEdit::Parse(const QString& text, double& out) const
{
    switch (kind)
    {
        case FreqValue:
        {
            Frequency f(value);
            if (!IsValidFreqString(text, f))
            {
                return false;
            }
            out = f.Get();
            return true;
        }
        case TimeValue:
            return ParseTimeText(text, out);
        case Number:
        {
            QString t = text.trimmed();
            if (!unit.isEmpty() && t.endsWith(unit))
            {
                t.chop(unit.size());
            }
            bool ok = false;
            out = t.trimmed().toDouble(&ok);
            return ok;
        }
        case Text:
            return false;
    }
    return false;
}

void KXLineEdit::Commit()
{
    if (kind == Text)
    {
        emit editUpdated(text());
        return;
    }
    double v = 0.0;
    if (!Parse(text(), v))
    {
        Show();  // bad input is rejected and the last value comes back
        return;
    }
    value = std::min(std::max(v, minimum), maximum);
    Show();
    if (kind == FreqValue)
    {
        emit editUpdated(Frequency(value));
    }
    emit editUpdated(value);
}

void KXLineEdit::Step(int steps)
{
    if (kind == Text || steps == 0)
    {
        return;
    }
    double v = value;
    if (kind != Number)
    {
        Parse(text(), v);
    }
    value = std::min(std::max(v + steps * increment, minimum), maximum);
    Show();
    if (kind == FreqValue)
    {
        emit editUpdated(Frequency(value));
    }
    emit editUpdated(value);
}

void KXLineEdit::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Up)
    {
        Step(1);
        return;
    }
    if (event->key() == Qt::Key_Down)
    {
        Step(-1);
        return;
    }
    QLineEdit::keyPressEvent(event);
}

void KXLineEdit::wheelEvent(QWheelEvent* event)
{
    if (hasFocus())
    {
        Step(event->angleDelta().y() > 0 ? 1 : -1);
        event->accept();
        return;
    }
    QLineEdit::wheelEvent(event);
}

bool ParseTimeText(const QString& text, double& seconds)
{
    static const QRegularExpression re(
        QStringLiteral(
            "^\\s*([-+]?(?:\\d+\\.?\\d*|\\.\\d+)(?:[eE][-+]?\\d+)?)\\s*(s|ms|us|ns|ps)?\\s*$"),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch m = re.match(text);
    if (!m.hasMatch())
    {
        return false;
    }
    const QString u = m.captured(2).toLower();
    double factor = 1.0;
    if (u == QLatin1String("ms"))
    {
        factor = 1e-3;
    }
    else if (u == QLatin1String("us"))
    {
        factor = 1e-6;
    }
    else if (u == QLatin1String("ns"))
    {
        factor = 1e-9;
    }
    else if (u == QLatin1String("ps"))
    {
        factor = 1e-12;
    }
    seconds = m.captured(1).toDouble() * factor;
    return true;
}

QString TimeText(double seconds)
{
    const double a = std::fabs(seconds);
    if (a == 0.0)
    {
        return QStringLiteral("0 s");
    }
    if (a < 1e-9)
    {
        return QString::number(seconds * 1e12, 'f', 3) + QStringLiteral(" ps");
    }
    if (a < 1e-6)
    {
        return QString::number(seconds * 1e9, 'f', 3) + QStringLiteral(" ns");
    }
    if (a < 1e-3)
    {
        return QString::number(seconds * 1e6, 'f', 3) + QStringLiteral(" us");
    }
    if (a < 1.0)
    {
        return QString::number(seconds * 1e3, 'f', 3) + QStringLiteral(" ms");
    }
    return QString::number(seconds, 'f', 3) + QStringLiteral(" s");
}

KXLabel::KXLabel(const QString& text, QWidget* parent) : QLabel(text, parent) {}

KXPushButton::KXPushButton(const QString& text, QWidget* parent) : QPushButton(text, parent) {}

void KXPushButton::SetChecked(bool checked)
{
    const QSignalBlocker block(this);
    setChecked(checked);
}

KXDialog::KXDialog(const QString& title, QWidget* parent) : QDialog(parent)
{
    setWindowTitle(title);
}

KXProgressDialog::KXProgressDialog(const QString& title, QWidget* parent) : QProgressDialog(parent)
{
    setWindowTitle(title);
    setLabelText(title);
    setCancelButton(nullptr);
    setRange(0, 0);
    setMinimumDuration(0);
    setAutoReset(false);
    setAutoClose(false);
}

void ShowMessageBoxWarning(QWidget* parent, const QString& title, const QString& text)
{
    if (Hidden::Get())
    {
        return;
    }
    QMessageBox::warning(parent, title, text);
}

bool ShowMessageBoxQuestion(QWidget* parent, const QString& title, const QString& text,
                            bool hiddenAnswer)
{
    if (Hidden::Get())
    {
        return hiddenAnswer;
    }
    return QMessageBox::question(parent, title, text, QMessageBox::Yes | QMessageBox::No) ==
           QMessageBox::Yes;
}

KXColorButton::KXColorButton(const QColor& c, QWidget* parent) : QPushButton(parent)
{
    SetColor(c);
    connect(this, &QPushButton::clicked, this, &KXColorButton::Pick);
}

void KXColorButton::SetColor(const QColor& c)
{
    color = c;
    QPixmap swatch(24, 14);
    swatch.fill(color);
    setIcon(QIcon(swatch));
    setIconSize(swatch.size());
    setText(color.name());
}

void KXColorButton::Pick()
{
    const QColor picked = QColorDialog::getColor(color, this);
    if (picked.isValid() && picked != color)
    {
        SetColor(picked);
        emit colorChanged(color);
    }
}
