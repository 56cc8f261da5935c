// The uCal module on a thread of its own. Every module operation waits on the serial port (a
// factory characterisation takes seconds), so the window never calls one directly: it posts a
// job and gets the result back on its own thread, while calibration threads may run a job and
// wait for it. The module object lives on the session's thread from its first use to its
// deletion, so its port is only ever touched there. Jobs travel on a queue of the session's own
// rather than as Qt events: that thread runs no event loop, and the port's notifiers stay quiet
// while the waits read it.
#pragma once

#include <QObject>
#include <QPointer>
#include <QThread>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>

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
    // Ends the job in progress at its next wait step; jobs still queued then run at once with
    // every wait failing, and their results are not delivered. Closes the port.
    ~MauryUCalSession() override;

    const UCalPortInfo& Port() const { return port; }

    // Queues a job; done(result) runs on this object's thread afterwards, unless context has
    // gone by then.
    template <typename R>
    void Post(std::function<R(MauryUCal&)> job, QObject* context,
              std::function<void(const R&)> done)
    {
        QPointer<QObject> guard(context);
        Enqueue(
            [this, job, guard, done](MauryUCal& m)
            {
                const R result = job(m);
                Deliver(
                    [guard, done, result]
                    {
                        if (guard)
                        {
                            done(result);
                        }
                    });
            });
    }

    // Runs a job and waits for it; for calibration and test threads, never the GUI thread.
    template <typename R>
    R Run(std::function<R(MauryUCal&)> job)
    {
        if (QThread::currentThread() == worker)
        {
            return job(*module);
        }
        std::promise<R> result;
        std::future<R> ready = result.get_future();
        Enqueue([&result, &job](MauryUCal& m) { result.set_value(job(m)); });
        return ready.get();
    }

signals:
    // Results are waiting to be handed over (a queued connection of the session's own).
    void deliveriesWaiting();

private:
    using Job = std::function<void(MauryUCal&)>;
    using Delivery = std::function<void()>;
    class Worker;

    void Enqueue(Job job);
    // From the session thread: queues a finished job's hand-over for this object's thread.
    void Deliver(Delivery handOver);
    // On this object's thread: runs the hand-overs waiting.
    void HandOver();
    // The session thread: runs jobs until the session closes, then deletes the module.
    void Loop();

    UCalPortInfo port;
    MauryUCal* module = nullptr;
    QThread* worker = nullptr;  // a Worker
    // Guards jobs, deliveries, closing and loopDone.
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<Job> jobs;
    std::deque<Delivery> deliveries;
    bool closing = false;
    bool loopDone = false;
};
