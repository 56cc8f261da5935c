// A parser wired to an in-memory socket and log, recording every dispatched command.
#pragma once

#include <QBuffer>
#include <QList>
#include <QLoggingCategory>
#include <QPair>
#include <QStringList>
#include <functional>
#include <map>

#include "error_log.h"
#include "scpi_def.h"

namespace scpitest
{
struct Dispatch
{
    int id = 0;
    QStringList parameters;  // as the body saw them
    QList<int> suffixes;     // read with GetNextCommandSuffix, default -2
};

class RecordingLog : public ScpiLogSink
{
public:
    void AddCommand(const QString& text, bool isReply) override { entries.append({text, isReply}); }
    QList<QPair<QString, bool>> entries;
};

// Silences the per-command debug lines; floods would otherwise fill the test log.
inline void QuietDebug()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
}

inline QList<SystemError> DrainErrors()
{
    QList<SystemError> errors;
    while (SysErr::GetErrorCount() > 0)
    {
        errors.append(SysErr::GetNextError());
    }
    return errors;
}

struct Harness
{
    Harness()
    {
        socket.open(QIODevice::ReadWrite);
        scpi.SetSocket(&socket);
        scpi.SetLog(&log);
        scpi.SetCallbackFunction(
            [this](Scpi* s)
            {
                Dispatch d;
                d.id = s->GetCommandId();
                // Bodies that act on parameters run first and leave the rest for the record.
                auto it = bodies.find(d.id);
                if (it != bodies.end())
                {
                    it->second(s);
                }
                int value = 0;
                while (s->GetNextCommandSuffix(value, -2))
                {
                    d.suffixes.append(value);
                }
                d.parameters = s->GetParameters();
                dispatched.append(d);
            });
    }

    // Sends one line and returns what reached the socket for it.
    QByteArray Line(const QString& line)
    {
        const qint64 before = socket.data().size();
        scpi.SubmitInput(line + QLatin1Char('\n'));
        return socket.data().mid(static_cast<int>(before));
    }

    QList<int> Ids() const
    {
        QList<int> ids;
        for (const Dispatch& d : dispatched)
        {
            ids.append(d.id);
        }
        return ids;
    }

    Scpi scpi;
    QBuffer socket;
    RecordingLog log;
    QList<Dispatch> dispatched;
    std::map<int, std::function<void(Scpi*)>> bodies;
};
}  // namespace scpitest
