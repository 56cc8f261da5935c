// Answers modal message boxes in offscreen GUI tests: each box that comes up gets the given
// button, and its text is kept. Header-only: it needs QtWidgets, which the core fixtures do not.
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QObject>
#include <QStringList>
#include <QTimer>
#include <functional>

namespace testfx
{
// Answers the next modal message boxes with `button` and remembers their texts; `onBox` runs
// while a box is up.
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
}  // namespace testfx
