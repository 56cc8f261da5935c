#include "scpi_log.h"

#include <QHBoxLayout>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "error_log.h"

ErrorLogDialog::ErrorLogDialog(ErrorLog& errors, QWidget* parent) : QDialog(parent), log(errors)
{
    setWindowTitle(tr("Error Info"));
    view = new QPlainTextEdit(this);
    view->setReadOnly(true);
    auto* clear = new QPushButton(tr("Clear"), this);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(clear);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(view);
    layout->addLayout(buttons);
    resize(sizeHint());
    connect(clear, &QPushButton::clicked, this, &ErrorLogDialog::clearList);
    // The queue may be filled from any thread; the view follows on the GUI thread.
    connect(&log, &ErrorLog::listChanged, this, &ErrorLogDialog::updateList,
            Qt::QueuedConnection);
    updateList();
}

QString ErrorLogDialog::Text() const
{
    return view->toPlainText();
}

void ErrorLogDialog::clearList()
{
    log.Clear();
}

void ErrorLogDialog::updateList()
{
    const QList<SystemError> errors = log.Snapshot();
    QString text;
    for (const SystemError& e : errors)
    {
        text += e.time.toString(QStringLiteral("MMM dd yyyy  HH:mm\n"));
        text += QString::number(e.code) + QStringLiteral(",  ") + e.message +
                QStringLiteral(",  ") + e.detail + QStringLiteral("\n\n");
    }
    if (errors.isEmpty())
    {
        text = tr("No Errors");
    }
    view->setPlainText(text);
}
