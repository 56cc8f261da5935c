#include "scpi_log.h"

#include <QHBoxLayout>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include <QFileInfo>
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
    connect(&log, &ErrorLog::listChanged, this, &ErrorLogDialog::updateList, Qt::QueuedConnection);
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

// ---------------------------------------------------------------------------------------------

#include <QFileDialog>
#include <QFontMetrics>
#include <QGridLayout>
#include <QLabel>
#include <QSaveFile>
#include <QTextBlock>
#include <QTextCursor>

#include "application_settings.h"
#include "file_dialogs.h"
#include "preferences.h"

QString ScpiLogMessage::ToStringDisplay() const
{
    return time.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")) + QStringLiteral("  ") +
           QChar(isReply ? 0x2190 : 0x2192) + QStringLiteral("  ") + text;
}

QString ScpiLogMessage::ToStringCSV() const
{
    return time.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")) + QLatin1Char(',') +
           (isReply ? QStringLiteral("out") : QStringLiteral("in")) + QLatin1Char(',') + text;
}

ScpiLogDialog::ScpiLogDialog(QWidget* parent) : QDialog(parent)
{
    setWindowTitle(tr("SCPI Log"));
    totalLabel = new QLabel(this);
    commandsLabel = new QLabel(this);
    responsesLabel = new QLabel(this);
    indicator = new QLabel(this);
    view = new QPlainTextEdit(this);
    view->setReadOnly(true);
    view->setFont(QFont(QStringLiteral("Courier New")));
    auto* exportButton = new QPushButton(tr("Export"), this);
    auto* clear = new QPushButton(tr("Clear"), this);
    auto* counters = new QGridLayout;
    counters->addWidget(new QLabel(tr("Total:"), this), 0, 0);
    counters->addWidget(totalLabel, 0, 1);
    counters->addWidget(new QLabel(tr("Commands:"), this), 0, 2);
    counters->addWidget(commandsLabel, 0, 3);
    counters->addWidget(new QLabel(tr("Responses:"), this), 0, 4);
    counters->addWidget(responsesLabel, 0, 5);
    counters->addWidget(indicator, 0, 6);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(exportButton);
    buttons->addWidget(clear);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(counters);
    layout->addWidget(view);
    layout->addLayout(buttons);
    resize(700, 400);
    connect(exportButton, &QPushButton::clicked, this, &ScpiLogDialog::exportList);
    connect(clear, &QPushButton::clicked, this, &ScpiLogDialog::clearList);
    connect(this, &ScpiLogDialog::listChanged, this, &ScpiLogDialog::updateList,
            Qt::QueuedConnection);
    updateEnabledIndicator();
    updateCounters();
}

bool ScpiLogDialog::Recording() const
{
    return Preferences::Get().scpiLogEnabled;
}

void ScpiLogDialog::AddCommand(const QString& text, bool isReply)
{
    const Preferences& prefs = Preferences::Get();
    if (!prefs.scpiLogEnabled)
    {
        return;
    }
    ScpiLogMessage m;
    m.time = QDateTime::currentDateTime();
    m.text = text.left(prefs.scpiLogMaxMessageLength);
    m.isReply = isReply;
    {
        std::lock_guard<std::mutex> lock(mutex);
        pending.append(m);
    }
    emit listChanged();
}

void ScpiLogDialog::updateList()
{
    QList<ScpiLogMessage> incoming;
    {
        std::lock_guard<std::mutex> lock(mutex);
        incoming.swap(pending);
    }
    const Preferences& prefs = Preferences::Get();
    QString insert;
    for (const ScpiLogMessage& m : incoming)
    {
        if (shown.size() >= prefs.scpiLogMaxEntries)
        {
            if (!prefs.scpiLogIsFIFO)
            {
                continue;  // a full log without the ring drops new records
            }
            // Text not yet inserted is taken first, then the view's oldest block.
            const ScpiLogMessage oldest = shown.takeFirst();
            (oldest.isReply ? responseCount : commandCount) -= 1;
            const int firstLineEnd = insert.indexOf(QLatin1Char('\n'));
            if (view->document()->blockCount() > 1 || insert.isEmpty())
            {
                QTextCursor c(view->document()->firstBlock());
                c.select(QTextCursor::BlockUnderCursor);
                c.movePosition(QTextCursor::NextCharacter, QTextCursor::KeepAnchor);
                c.removeSelectedText();
            }
            else if (firstLineEnd >= 0)
            {
                insert.remove(0, firstLineEnd + 1);
            }
        }
        shown.append(m);
        (m.isReply ? responseCount : commandCount) += 1;
        insert += m.ToStringDisplay() + QLatin1Char('\n');
    }
    if (!insert.isEmpty())
    {
        QTextCursor end(view->document());
        end.movePosition(QTextCursor::End);
        end.insertText(insert);
    }
    updateCounters();
}

void ScpiLogDialog::updateCounters()
{
    totalLabel->setText(QString::number(shown.size()));
    commandsLabel->setText(QString::number(commandCount));
    responsesLabel->setText(QString::number(responseCount));
}

QString ScpiLogDialog::IndicatorText() const
{
    return indicator->text();
}

void ScpiLogDialog::updateEnabledIndicator()
{
    const bool enabled = Preferences::Get().scpiLogEnabled;
    indicator->setText(enabled ? tr("Enabled") : tr("Disabled"));
    indicator->setStyleSheet(enabled ? QStringLiteral("color: green;")
                                     : QStringLiteral("color: red;"));
}

void ScpiLogDialog::clearList()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        pending.clear();
    }
    shown.clear();
    commandCount = responseCount = 0;
    view->clear();
    updateCounters();
}

bool ScpiLogDialog::ExportTo(const QString& path) const
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
    {
        return false;
    }
    QByteArray out;
    for (const ScpiLogMessage& m : shown)
    {
        out += m.ToStringCSV().toUtf8() + '\n';
    }
    file.write(out);
    return file.commit();
}

void ScpiLogDialog::exportList() const
{
    const QString path = GetFileNameSave(const_cast<ScpiLogDialog*>(this),
                                         QStringLiteral("DefaultSCPILogSaveDirectory"),
                                         tr("Text Files (*.txt)"), tr("Export File Name"));
    if (!path.isEmpty())
    {
        ExportTo(path);
    }
}

SCPIRemoteDialog::SCPIRemoteDialog(QWidget* parent) : QMessageBox(parent)
{
    setWindowTitle(tr("SCPI"));
    setText(
        tr("The software is in remote mode.\r\nClose this dialog to return to local operation."));
    setStandardButtons(QMessageBox::Close);
    button(QMessageBox::Close)->setText(tr("   Return to Local   "));
    setModal(true);
    const QFontMetrics fm(font());
    resize(fm.horizontalAdvance(text()) + 100, fm.height());
}
