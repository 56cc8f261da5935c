// Drives a dialog's controls as an operator does: buttons by their text, fields and combo boxes
// by their object names. For GUI tests only (needs QtWidgets and the widget kit).
#pragma once

#include <QPushButton>
#include <QtTest>

#include "kx_widgets.h"

namespace testfx
{
inline QPushButton* ButtonOf(QWidget* w, const QString& text)
{
    for (QPushButton* b : w->findChildren<QPushButton*>())
    {
        if (b->text() == text)
        {
            return b;
        }
    }
    return nullptr;
}

inline void Click(QWidget* w, const QString& text)
{
    QPushButton* b = ButtonOf(w, text);
    QVERIFY2(b, qPrintable(text));
    b->click();
}

// Types into a field and finishes the edit as the operator does.
inline void Type(QWidget* dialog, const char* field, const QString& text)
{
    auto* edit = dialog->findChild<QLineEdit*>(QLatin1String(field));
    QVERIFY2(edit, field);
    edit->setFocus();
    edit->selectAll();
    QTest::keyClicks(edit, text);
    QTest::keyClick(edit, Qt::Key_Return);
}

// Picks an entry with the keyboard, which the combo reports as the operator's choice.
inline void Choose(QWidget* dialog, const char* combo, int index)
{
    auto* box = dialog->findChild<KXComboBox*>(QLatin1String(combo));
    QVERIFY2(box, combo);
    box->setFocus();
    while (box->currentIndex() > index)
    {
        QTest::keyClick(box, Qt::Key_Up);
    }
    while (box->currentIndex() < index)
    {
        QTest::keyClick(box, Qt::Key_Down);
    }
}
}  // namespace testfx
