// The system error queue: every failure a remote client or the operator should see lands here.
#pragma once

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <mutex>

enum ErrorNum
{
    NoError = 0,
    SettingClamped = -1,
    InvalidParameter = -2,
    TooFewParameters = -3,
    UndefinedHeader = -4,
    Unsupported = -5,
    InvalidOperation = -6,
    InvalidIndex = -7,
    CommandLineError = -8,
    InvalidSuffix = -100,
    UnableToSaveFile = -101,
    CalSequenceError = -200
};

struct SystemError
{
    int code = 0;
    QString message;
    QString detail;
    QDateTime time;
};

class ErrorLog : public QObject
{
    Q_OBJECT
public:
    static constexpr int kMaxRecords = 100;

    explicit ErrorLog(QObject* parent = nullptr);

    void AddError(int code, const QString& detail);
    SystemError GetNextError();
    int ErrorCount() const;
    void Clear();
    QList<SystemError> Snapshot() const;

    static QString MessageFor(int code);

signals:
    void listChanged();
    // Emitted by AddError on the thread that added the error, outside the lock.
    void errorAdded(int code);

private:
    // Guards errors.
    mutable std::mutex mutex;
    QList<SystemError> errors;
};

// Access to the one process-wide queue.
class SysErr
{
public:
    static ErrorLog* Log();
    static void AddSystemError(int code, const QString& detail);
    static SystemError GetNextError();
    static QString GetNextErrorAsString();
    static int GetErrorCount();
    static void ClearErrors();
};
