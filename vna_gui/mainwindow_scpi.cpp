// MainWindow: the remote-control server, its clients, the lockout, and the dispatch of a command
// to its body. The bodies live in mainwindow_scpi_<family>.cpp.
//
// A client's state (line buffer, replies, data format, status registers, waiting *OPC? queries)
// lives in its ScpiConnection and goes with it. Nothing here waits: *OPC? is answered, an *OPC
// sets its event and *WAI releases the held commands when the sweeps end, so no event loop is
// nested for them. A command that does run a nested loop (connecting a device, a message box)
// keeps every input waiting in its socket until it returns, and a client that leaves meanwhile
// is only retired: its socket and interpreter are deleted once no command is on the stack.
#include <QCoreApplication>
#include <QDebug>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include "error_log.h"
#include "mainwindow.h"
#include "mainwindow_scpi.h"
#include "scpi_log.h"

namespace
{
QString Tr(const char* text)
{
    return QCoreApplication::translate("Scpi", text);
}

// How often a waiting *OPC? looks at the channels when no signal has told it of a change.
constexpr int kOpcPollMs = 50;
// A client that sends queries faster than it reads the replies is not served further until the
// replies have drained: what waits for it stays bounded.
constexpr qint64 kMaxUnsentReply = 64 * 1024 * 1024;
constexpr qint64 kMaxUnreadInput = 16 * 1024 * 1024;
}  // namespace

// ---------------------------------------------------------------------------------------------
// Server and clients

void MainWindow::SCPIStartup()
{
    if (!Preferences::Get().scpiEnabled)
    {
        return;
    }
    SCPIShutdown();
    // The loopback address itself: a host name given as text would bind every interface.
    const quint16 configured = quint16(Preferences::Get().scpiPort);
    const quint16 port = configured != 0 ? configured : scpiBoundPort;
    bool listening = scpiServer->listen(QHostAddress::LocalHost, port);
    if (!listening && configured == 0 && port != 0)
    {
        listening = scpiServer->listen(QHostAddress::LocalHost, 0);
    }
    if (!listening)
    {
        qWarning() << "Remote control cannot listen on port" << port << ":"
                   << scpiServer->errorString();
        return;
    }
    if (scpiBoundPort != scpiServer->serverPort())
    {
        // Once per port: scripts that ask for any free port (0) read it here.
        qInfo("Remote control on 127.0.0.1:%d", int(scpiServer->serverPort()));
    }
    scpiBoundPort = scpiServer->serverPort();
}

void MainWindow::SCPIShutdown()
{
    if (scpiConnection)
    {
        SCPIRetire(scpiConnection);
        scpiConnection = nullptr;
    }
    scpiServer->close();
}

void MainWindow::SCPIUpdatePort()
{
    if (!scpiConnection)
    {
        SCPIStartup();
    }
}

quint16 MainWindow::SCPIServerPort() const
{
    return scpiServer->isListening() ? scpiServer->serverPort() : 0;
}

QHostAddress MainWindow::SCPIServerAddress() const
{
    return scpiServer->serverAddress();
}

void MainWindow::showSCPILog()
{
    scpiLogDialog->updateEnabledIndicator();
    scpiLogDialog->show();
    scpiLogDialog->raise();
}

void MainWindow::handleSCPIConnection()
{
    qDebug() << "Socket connection";
    while (QTcpSocket* socket = scpiServer->nextPendingConnection())
    {
        if (scpiConnection)
        {
            // One client at a time; a second that slipped in before the server closed is refused.
            socket->abort();
            socket->deleteLater();
            continue;
        }
        scpiConnection = new ScpiConnection(socket);
        scpiConnection->scpi.SetSocket(socket);
        scpiConnection->scpi.SetLog(scpiLogDialog);
        scpiConnection->scpi.SetCallbackFunction([this](Scpi* cmd) { SCPIHandleCommand(cmd); });
        // Past this, the socket stops reading and the client's own sends block.
        socket->setReadBufferSize(kMaxUnreadInput);
        connect(socket, &QTcpSocket::disconnected, this, &MainWindow::handleSCPIDisconnect);
        connect(socket, &QTcpSocket::readyRead, this, &MainWindow::readSCPISocket);
        connect(socket, &QTcpSocket::bytesWritten, this,
                [this, socket]
                {
                    if (socket->bytesAvailable() > 0)
                    {
                        SCPIServe();
                    }
                });
    }
    // Nobody else can connect until this client leaves.
    scpiServer->close();
    // Bytes may have come with the connection, before readyRead was connected.
    QMetaObject::invokeMethod(this, &MainWindow::readSCPISocket, Qt::QueuedConnection);
}

void MainWindow::handleSCPIDisconnect()
{
    qDebug() << "Socket disconnect";
    // Listening again retires the client first.
    SCPIStartup();
    if (!Preferences::Get().scpiEnabled && scpiConnection)
    {
        SCPIRetire(scpiConnection);
        scpiConnection = nullptr;
    }
}

void MainWindow::SCPIRetire(ScpiConnection* connection)
{
    disconnect(connection->socket, nullptr, this, nullptr);
    connection->closed = true;
    connection->pendingOpc = 0;
    connection->opcArmed = false;
    connection->scpi.SetSocket(nullptr);
    connection->scpi.Discard();
    connection->socket->abort();
    scpiRetired.append(connection);
    SCPIReap();
}

void MainWindow::SCPIReap()
{
    if (scpiDepth > 0)
    {
        return;
    }
    for (ScpiConnection* c : std::as_const(scpiRetired))
    {
        // Later, not now: this may run inside a signal the socket is still emitting.
        c->socket->deleteLater();
        delete c;
    }
    scpiRetired.clear();
}

void MainWindow::readSCPISocket()
{
    qDebug() << "Read from SCPI socket";
    SCPIServe();
}

void MainWindow::SCPIServe()
{
    if (scpiDepth > 0 || !scpiConnection)
    {
        return;
    }
    ScpiConnection* c = scpiConnection;
    if (c->socket->state() != QAbstractSocket::ConnectedState)
    {
        return;
    }
    ++scpiDepth;
    // A client held by *WAI is read again when the sweeps end.
    while (!c->closed && !c->scpi.Held() && c->socket->bytesAvailable() > 0 &&
           c->socket->bytesToWrite() < kMaxUnsentReply)
    {
        const QByteArray data = c->socket->readAll();
        // Text up to the first NUL of a read; what follows it is dropped.
        const int nul = data.indexOf('\0');
        c->scpi.SubmitInput(QString::fromLatin1(data.constData(), nul < 0 ? data.size() : nul));
    }
    --scpiDepth;
    SCPIReap();
    SCPIAnswerPendingOpc();
    // A client that connected while a command ran has input waiting that no signal will report.
    if (scpiConnection && scpiConnection != c && scpiConnection->socket->bytesAvailable() > 0)
    {
        QMetaObject::invokeMethod(this, &MainWindow::readSCPISocket, Qt::QueuedConnection);
    }
}

// ---------------------------------------------------------------------------------------------
// *OPC?

bool MainWindow::SCPIOperationPending() const
{
    // With the loop stopped (no device, or a calibration holds the instrument) no sweep can end:
    // nothing is in progress to wait for.
    return model.MeasRunning() && model.SingleSweepPending();
}

ScpiConnection* MainWindow::SCPIConnectionOf(Scpi* cmd) const
{
    return scpiConnection && &scpiConnection->scpi == cmd ? scpiConnection : nullptr;
}

ScpiStatus& MainWindow::SCPIStatusOf(Scpi* cmd)
{
    ScpiConnection* c = SCPIConnectionOf(cmd);
    return c ? c->status : scpiLocalStatus;
}

void MainWindow::SCPIStartWaiting()
{
    if (!scpiOpcTimer->isActive())
    {
        scpiOpcTimer->start(kOpcPollMs);
    }
}

void MainWindow::WaitForOPC(Scpi* cmd)
{
    if (!SCPIOperationPending())
    {
        cmd->SubmitReply(QStringLiteral("1"));
        return;
    }
    ScpiConnection* c = SCPIConnectionOf(cmd);
    if (!c)
    {
        return;  // a client that has left: nobody to answer
    }
    ++c->pendingOpc;
    SCPIStartWaiting();
}

void MainWindow::SCPIArmOperationComplete(Scpi* cmd)
{
    ScpiConnection* c = SCPIConnectionOf(cmd);
    if (!SCPIOperationPending() || !c)
    {
        SCPIStatusOf(cmd).SetEvent(ScpiStatus::OperationComplete);
        return;
    }
    c->opcArmed = true;
    SCPIStartWaiting();
}

void MainWindow::SCPIClearStatus(Scpi* cmd)
{
    SysErr::ClearErrors();
    SCPIStatusOf(cmd).ClearEvents();
    if (ScpiConnection* c = SCPIConnectionOf(cmd))
    {
        c->opcArmed = false;
    }
}

void MainWindow::SCPIWaitForSweeps(Scpi* cmd)
{
    if (!SCPIOperationPending() || !SCPIConnectionOf(cmd))
    {
        return;
    }
    cmd->Hold();
    SCPIStartWaiting();
}

void MainWindow::SCPIAnswerPendingOpc()
{
    if (scpiDepth > 0)
    {
        return;  // answered once the running command returns, after its own reply
    }
    ScpiConnection* c = scpiConnection;
    if (!c || (c->pendingOpc == 0 && !c->opcArmed && !c->scpi.Held()))
    {
        scpiOpcTimer->stop();
        return;
    }
    if (SCPIOperationPending())
    {
        return;
    }
    scpiOpcTimer->stop();
    for (; c->pendingOpc > 0; --c->pendingOpc)
    {
        c->scpi.SendLine(QByteArrayLiteral("1"));
    }
    if (c->opcArmed)
    {
        c->opcArmed = false;
        c->status.SetEvent(ScpiStatus::OperationComplete);
    }
    if (c->scpi.Held())
    {
        // What *WAI held runs now, as if it had just arrived; it may start a sweep and wait again.
        ++scpiDepth;
        c->scpi.Release();
        --scpiDepth;
        SCPIReap();
        QMetaObject::invokeMethod(this, &MainWindow::readSCPISocket, Qt::QueuedConnection);
    }
}

// ---------------------------------------------------------------------------------------------
// Lockout and dispatch

void MainWindow::SCPIShowLockout()
{
    if (!Preferences::Get().scpiLockoutDialogEnabled || Hidden::Get() || remoteDialog->isVisible())
    {
        return;
    }
    remoteDialog->show();
    const QPoint centre = mapToGlobal(QPoint(width() / 2, height() / 2));
    remoteDialog->move(centre - QPoint(remoteDialog->width() / 2, remoteDialog->height() / 2));
}

void MainWindow::SCPIReturnToLocal()
{
    remoteDialog->done(0);
}

void MainWindow::SCPIHandleCommand(Scpi* cmd)
{
    const int id = cmd->GetCommandId();
    qDebug() << "SCPI CMD ID received " << id;
    SCPIShowLockout();
    if (const ScpiBody body = scpiBody(id))
    {
        ScpiContext context(*this, *cmd);
        body(context);
        return;
    }
    // Matched by the language, but its feature has not been built yet.
    SysErr::AddSystemError(Unsupported, cmd->GetCommandHeader());
}

// ---------------------------------------------------------------------------------------------
// Suffix rules shared by all bodies

ScpiContext::ScpiContext(MainWindow& w, Scpi& c) : window(w), model(w.Model()), cmd(c) {}

bool ScpiContext::Channel(int& channel)
{
    int suffix = -1;
    if (!cmd.GetNextCommandSuffix(suffix, -1))
    {
        SysErr::AddSystemError(InvalidSuffix, Tr(scpiStrSuffixMissing));
        return false;
    }
    channel = (suffix == -1 ? 1 : suffix) - 1;
    if (!model.IsValidChannelIndex(channel))
    {
        SysErr::AddSystemError(InvalidIndex, Tr(scpiStrInvalidChannelNumber));
        return false;
    }
    return true;
}

bool ScpiContext::Trace(int channel, int& trace, const char* unknownText)
{
    int suffix = -1;
    cmd.GetNextCommandSuffix(suffix, -1);
    if (suffix == -1)
    {
        SysErr::AddSystemError(InvalidIndex, Tr("Missing measure suffix"));
        return false;
    }
    QMutexLocker lock(&model.traceLock);
    trace = model.mapper.GetPos(channel, suffix - 1);
    if (!model.IsValidTraceIndex(trace) || !model.traces[trace])
    {
        SysErr::AddSystemError(InvalidIndex, Tr(unknownText));
        return false;
    }
    return true;
}

bool ScpiContext::ChannelTrace(int& channel, int& trace, const char* unknownText)
{
    return Channel(channel) && Trace(channel, trace, unknownText);
}

bool ScpiContext::Marker(int& marker)
{
    int suffix = -1;
    cmd.GetNextCommandSuffix(suffix, -1);
    marker = (suffix == -1 ? 1 : suffix) - 1;
    if (marker < 0 || marker > 15)
    {
        SysErr::AddSystemError(InvalidIndex, Tr("Invalid marker suffix"));
        return false;
    }
    return true;
}

bool ScpiContext::Window(int& plot)
{
    int suffix = -1;
    cmd.GetNextCommandSuffix(suffix, -1);
    if (suffix == -1)
    {
        SysErr::AddSystemError(InvalidIndex, Tr("Missing window suffix"));
        return false;
    }
    plot = suffix - 1;
    if (plot < 0 || plot >= VNAModel::kPlotCount)
    {
        SysErr::AddSystemError(InvalidIndex, Tr("Invalid window suffix"));
        return false;
    }
    return true;
}

// ---------------------------------------------------------------------------------------------
// The body registry

namespace
{
const std::vector<const ScpiFamily*>& Families()
{
    static const std::vector<const ScpiFamily*> families = {
        &scpiSystemFamily(),      &scpiStimulusFamily(),   &scpiDisplayFamily(),
        &scpiMeasurementFamily(), &scpiMarkerFamily(),     &scpiLimitFamily(),
        &scpiTimeDomainFamily(),  &scpiCorrectionFamily(), &scpiFixtureFamily(),
        &scpiPresetFamily(),      &scpiStatusFamily()};
    return families;
}

const ScpiFamily* FamilyOf(int id)
{
    for (const ScpiFamily* f : Families())
    {
        for (const auto& range : f->ids)
        {
            if (id >= range.first && id <= range.second)
            {
                return f;
            }
        }
    }
    return nullptr;
}
}  // namespace

ScpiBody scpiBody(int id)
{
    // Indexed by id once: dispatch is on the path of every command.
    static const std::vector<ScpiBody> byId = []
    {
        std::vector<ScpiBody> table;
        for (const ScpiFamily* f : Families())
        {
            for (const ScpiBodyRow& row : f->bodies)
            {
                if (row.id >= int(table.size()))
                {
                    table.resize(size_t(row.id) + 1, nullptr);
                }
                table[size_t(row.id)] = row.body;
            }
        }
        return table;
    }();
    return id >= 0 && id < int(byId.size()) ? byId[size_t(id)] : nullptr;
}

QString scpiBodyStatus(int id)
{
    if (scpiBody(id))
    {
        return QStringLiteral("built");
    }
    const ScpiFamily* f = FamilyOf(id);
    return QStringLiteral("not yet: ") +
           (f ? QString::fromUtf8(f->waitsFor) : QStringLiteral("no family"));
}
