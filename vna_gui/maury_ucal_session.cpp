#include "maury_ucal_session.h"

// A thread with an event dispatcher, which the port's notifiers ask for, but no event loop.
class MauryUCalSession::Worker : public QThread
{
public:
    explicit Worker(MauryUCalSession* s) : session(s) {}

protected:
    void run() override { session->Loop(); }

private:
    MauryUCalSession* session;
};

MauryUCalStatus SnapshotOf(const MauryUCal& module)
{
    MauryUCalStatus s;
    s.connected = module.IsConnected();
    s.identity = module.Identity();
    s.portName = module.PortInfo().portName;
    s.displayName = module.GetDisplayName();
    s.state = module.GetState();
    return s;
}

MauryUCalSession::MauryUCalSession(const UCalPortInfo& info, QObject* parent)
    : QObject(parent), port(info), module(new MauryUCal(info)), worker(new Worker(this))
{
    connect(this, &MauryUCalSession::deliveriesWaiting, this, &MauryUCalSession::HandOver,
            Qt::QueuedConnection);
    worker->setObjectName(QStringLiteral("uCal Module Thread"));
    module->moveToThread(worker);
    worker->start();
}

MauryUCalSession::~MauryUCalSession()
{
    module->RequestAbort();
    {
        std::lock_guard<std::mutex> lock(mutex);
        closing = true;
    }
    wake.notify_all();
    {
        // Seen through this lock, everything the loop did comes before what follows here.
        std::unique_lock<std::mutex> lock(mutex);
        wake.wait(lock, [this] { return loopDone; });
    }
    worker->wait();
    delete worker;
}

void MauryUCalSession::Enqueue(Job job)
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        jobs.push_back(std::move(job));
    }
    wake.notify_all();
}

void MauryUCalSession::Deliver(Delivery handOver)
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        deliveries.push_back(std::move(handOver));
    }
    emit deliveriesWaiting();
}

void MauryUCalSession::HandOver()
{
    std::deque<Delivery> ready;
    {
        std::lock_guard<std::mutex> lock(mutex);
        ready.swap(deliveries);
    }
    for (const Delivery& handOver : ready)
    {
        handOver();
    }
}

void MauryUCalSession::Loop()
{
    for (;;)
    {
        Job job;
        {
            std::unique_lock<std::mutex> lock(mutex);
            wake.wait(lock, [this] { return closing || !jobs.empty(); });
            if (jobs.empty())
            {
                break;
            }
            job = std::move(jobs.front());
            jobs.pop_front();
        }
        job(*module);
    }
    delete module;  // closes the port here, on the thread that used it
    // Told under the lock: the session may be gone as soon as the lock is free.
    std::lock_guard<std::mutex> lock(mutex);
    loopDone = true;
    wake.notify_all();
}
