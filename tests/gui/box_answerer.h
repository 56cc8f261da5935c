// Answers modal message boxes in GUI tests, remembering what they said.
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QStringList>
#include <QTimer>
#include <functional>

// Answers the next modal message box with `button` and remembers its text; `onBox` runs while
// the box is up.
class BoxAnswerer : public QObject
{
public:
    explicit BoxAnswerer(QMessageBox::StandardButton b, std::function<void()> onBox = {})
        : button(b), seen(std::move(onBox))
    {
        connect(&timer, &QTimer::timeout, this, [this] { Answer(); });
        timer.start(10);
    }
    QStringList texts;

private:
    void Answer()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
        {
            return;
        }
        texts.append(box->text());
        if (seen)
        {
            seen();
        }
        if (QAbstractButton* b = box->button(button))
        {
            b->click();
        }
        else
        {
            box->accept();
        }
    }
    QMessageBox::StandardButton button;
    std::function<void()> seen;
    QTimer timer;
};
