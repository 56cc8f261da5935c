// Answers the modal dialogs that a GUI test's action opens, from a timer that runs inside the
// dialog's own event loop. For GUI tests only (needs QtWidgets).
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QPointer>
#include <QStringList>
#include <QTimer>
#include <QVector>
#include <functional>

namespace testfx
{
// A message box is recorded (title and text) and closed with `button`; `onBox` runs while it is
// up. A file dialog is recorded (its title) and gets the next queued file name, or is cancelled
// when none is queued; the name must not make the dialog ask anything itself (an existing file
// to save over, a missing file to open). Any other modal dialog goes to `onDialog`, once.
class ModalAnswerer : public QObject
{
public:
    explicit ModalAnswerer(QMessageBox::StandardButton b = QMessageBox::Ok,
                           std::function<void()> onBox = {})
        : button(b), seen(std::move(onBox))
    {
        connect(&timer, &QTimer::timeout, this, [this] { Answer(); });
        timer.start(10);
    }

    // afterAccept runs once the dialog has taken the name, before the caller reads the file.
    void QueueFile(const QString& path, std::function<void()> afterAccept = {})
    {
        files.append({path, std::move(afterAccept)});
    }

    std::function<void(QDialog*)> onDialog;
    QStringList titles;  // message boxes
    QStringList texts;
    QStringList fileCaptions;  // file dialogs

private:
    void Answer()
    {
        QWidget* modal = QApplication::activeModalWidget();
        if (auto* box = qobject_cast<QMessageBox*>(modal))
        {
            AnswerBox(box);
        }
        else if (auto* dlg = qobject_cast<QFileDialog*>(modal))
        {
            fileCaptions.append(dlg->windowTitle());
            if (files.isEmpty())
            {
                dlg->reject();
                return;
            }
            const QueuedFile f = files.takeFirst();
            dlg->selectFile(f.path);
            static_cast<QDialog*>(dlg)->accept();
            if (f.afterAccept)
            {
                f.afterAccept();
            }
        }
        else if (auto* other = qobject_cast<QDialog*>(modal); other && onDialog && other != last)
        {
            last = other;
            onDialog(other);
        }
    }

    void AnswerBox(QMessageBox* box)
    {
        titles.append(box->windowTitle());
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
    struct QueuedFile
    {
        QString path;
        std::function<void()> afterAccept;
    };
    QVector<QueuedFile> files;
    QPointer<QDialog> last;
    QTimer timer;
};
}  // namespace testfx
