// Finds a panel's or dialog's controls as the operator sees them: a form row's field by its
// label, a button by its text. For GUI tests only (needs QtWidgets).
#pragma once

#include <QLabel>
#include <QPushButton>
#include <QString>
#include <QWidget>

namespace testfx
{
// The field a form row shows under a label: QFormLayout makes the field the label's buddy.
template <typename W>
W* FormField(QWidget* panel, const QString& label)
{
    for (QLabel* l : panel->findChildren<QLabel*>())
    {
        if (l->text() == label && l->buddy())
        {
            return qobject_cast<W*>(l->buddy());
        }
    }
    return nullptr;
}

inline QPushButton* FindButton(QWidget* parent, const QString& text)
{
    for (QPushButton* b : parent->findChildren<QPushButton*>())
    {
        if (b->text() == text)
        {
            return b;
        }
    }
    return nullptr;
}
}  // namespace testfx
