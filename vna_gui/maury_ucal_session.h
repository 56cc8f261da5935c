// The uCal module on a thread of its own. Every module operation waits on the serial port (a
// factory characterisation takes seconds), so the window never calls one directly: it posts a
// job and gets the result back on its own thread, while calibration threads may run a job and
// wait for it. The module object lives on the session's thread from construction to deletion,
// so its port is only ever touched there.
#pragma once

#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QThread>
#include <functional>

#include "maury_ucal.h"

// What the window shows of a module, taken on the module's thread after a job.
struct MauryUCalStatus
{
    bool connected = false;
    UCalIdentity identity;
    QString portName;
    QString displayName;
    MauryUCal::State state = MauryUCal::Short;
};
MauryUCalStatus SnapshotOf(const MauryUCal& module);

class MauryUCalSession : public QObject
{
    Q_OBJECT
public:
    explicit MauryUCalSession(const UCalPortInfo& port, QObject* parent = nullptr);
    // Ends the job in progress at its next wait step, drops queued jobs, closes the port.
    ~MauryUCalSession() override;

    const UCalPortInfo& Port() const { return port; }

    // Queues a job; done(result) runs on this object's thread afterwards, unless context has
    // gone by then.
    template <typename R>
    void Post(std::function<R(MauryUCal&)> job, QObject* context,
              std::function<void(const R&)> done)
    {
        QPointer<QObject> guard(context);
        MauryUCal* m = module;
        QMetaObject::invokeMethod(
            m,
            [this, m, job, guard, done]
            {
                const R result = job(*m);
                QMetaObject::invokeMethod(
                    this,
                    [guard, done, result]
                    {
                        if (guard)
                        {
                            done(result);
                        }
                    },
                    Qt::QueuedConnection);
            },
            Qt::QueuedConnection);
    }

    // Runs a job and waits for it; for calibration and test threads, never the GUI thread. A
    // session closing meanwhile gives R's default value.
    template <typename R>
    R Run(std::function<R(MauryUCal&)> job)
    {
        if (QThread::currentThread() == thread)
        {
            return job(*module);
        }
        R result{};
        MauryUCal* m = module;
        QMetaObject::invokeMethod(
            m, [&result, &job, m] { result = job(*m); }, Qt::BlockingQueuedConnection);
        return result;
    }

private:
    UCalPortInfo port;
    QThread* thread = nullptr;
    MauryUCal* module = nullptr;
};
