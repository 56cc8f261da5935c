#include "maury_ucal_session.h"

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
    : QObject(parent), port(info), thread(new QThread), module(new MauryUCal(info))
{
    thread->setObjectName(QStringLiteral("uCal Module Thread"));
    module->moveToThread(thread);
    // Deleted on its own thread as the loop ends, which closes the port there.
    connect(thread, &QThread::finished, module, &QObject::deleteLater);
    thread->start();
}

MauryUCalSession::~MauryUCalSession()
{
    module->RequestAbort();
    thread->quit();
    thread->wait();
    delete thread;
}
