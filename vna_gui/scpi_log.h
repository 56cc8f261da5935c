// Views on the two in-program logs: the system error queue ("Error Info").
#pragma once

#include <QDialog>
#include <QPlainTextEdit>

class ErrorLog;
class QPlainTextEdit;

class ErrorLogDialog : public QDialog
{
    Q_OBJECT
public:
    ErrorLogDialog(ErrorLog& log, QWidget* parent = nullptr);
    QSize sizeHint() const override { return QSize(400, 250); }
    QString Text() const;

public slots:
    void clearList();
    void updateList();

private:
    ErrorLog& log;
    QPlainTextEdit* view = nullptr;
};

#include <QDateTime>
#include <QMessageBox>
#include <mutex>

#include "scpi_def.h"

class QLabel;

struct ScpiLogMessage
{
    QDateTime time;
    QString text;
    bool isReply = false;

    QString ToStringDisplay() const;
    QString ToStringCSV() const;
};

// The remote command log: every command and reply, with counters, optionally as a ring.
class ScpiLogDialog : public QDialog, public ScpiLogSink
{
    Q_OBJECT
public:
    explicit ScpiLogDialog(QWidget* parent = nullptr);

    bool Recording() const override;
    // Safe from any thread; the view catches up on the GUI thread.
    void AddCommand(const QString& text, bool isReply) override;

    int Total() const { return shown.size(); }
    int Commands() const { return commandCount; }
    int Responses() const { return responseCount; }
    QList<ScpiLogMessage> Shown() const { return shown; }
    QString IndicatorText() const;
    // Writes the shown records as CSV lines; false when the file cannot be written.
    bool ExportTo(const QString& path) const;

public slots:
    void updateEnabledIndicator();
    void updateCounters();
    void clearList();
    void updateList();
    void exportList() const;

signals:
    void listChanged();

private:
    // Guards pending.
    std::mutex mutex;
    QList<ScpiLogMessage> pending;
    QList<ScpiLogMessage> shown;
    int commandCount = 0;
    int responseCount = 0;
    QPlainTextEdit* view = nullptr;
    QLabel* totalLabel = nullptr;
    QLabel* commandsLabel = nullptr;
    QLabel* responsesLabel = nullptr;
    QLabel* indicator = nullptr;
};

// The lockout box shown while a remote client drives the program.
class SCPIRemoteDialog : public QMessageBox
{
    Q_OBJECT
public:
    explicit SCPIRemoteDialog(QWidget* parent = nullptr);
};
