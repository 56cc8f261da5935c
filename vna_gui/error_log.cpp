#include "error_log.h"

#include <QCoreApplication>

ErrorLog::ErrorLog(QObject* parent) : QObject(parent) {}

QString ErrorLog::MessageFor(int code)
{
    switch (code)
    {
        case NoError:
            return tr("No error");
        case SettingClamped:
            return tr("Setting clamped");
        case InvalidParameter:
            return tr("Invalid parameter");
        case TooFewParameters:
            return tr("Too few parameters");
        case UndefinedHeader:
            return tr("Undefined header");
        case Unsupported:
            return tr("Unsupported");
        case InvalidOperation:
            return tr("Invalid operation");
        case CommandLineError:
            return tr("Command line error");
        case UnableToSaveFile:
            return tr("Unable to save file");
        case CalSequenceError:
            return tr("Invalid operation");
        default:
            return tr("Unknown error");
    }
}

void ErrorLog::AddError(int code, const QString& detail)
{
    SystemError e;
    e.code = code;
    e.message = MessageFor(code);
    e.detail = detail;
    e.time = QDateTime::currentDateTime();
    {
        std::lock_guard<std::mutex> lock(mutex);
        // A full queue drops its newest record, keeping the oldest ones for diagnosis.
        while (errors.size() >= kMaxRecords)
        {
            errors.removeLast();
        }
        errors.append(e);
    }
    emit errorAdded(code);
    emit listChanged();
}

SystemError ErrorLog::GetNextError()
{
    SystemError e;
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (!errors.isEmpty())
        {
            e = errors.takeFirst();
        }
        else
        {
            e.code = 0;
            e.message = tr("No Error");
            e.time = QDateTime::currentDateTime();
        }
    }
    emit listChanged();
    return e;
}

int ErrorLog::ErrorCount() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return errors.size();
}

void ErrorLog::Clear()
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        errors.clear();
    }
    emit listChanged();
}

QList<SystemError> ErrorLog::Snapshot() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return errors;
}

ErrorLog* SysErr::Log()
{
    // Built on first use so that errors recorded before the window exists (command line) are kept.
    static ErrorLog* log = new ErrorLog();
    return log;
}

void SysErr::AddSystemError(int code, const QString& detail)
{
    Log()->AddError(code, detail);
}

SystemError SysErr::GetNextError()
{
    return Log()->GetNextError();
}

QString SysErr::GetNextErrorAsString()
{
    const SystemError e = GetNextError();
    return QString::asprintf("%d,", e.code) + e.message + QLatin1Char(';') + e.detail;
}

int SysErr::GetErrorCount()
{
    return Log()->ErrorCount();
}

void SysErr::ClearErrors()
{
    Log()->Clear();
}
