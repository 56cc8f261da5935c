// A plain blocking TCP client on loopback, usable from any thread: the remote-control tests run
// clients on threads of their own while the window serves them on the main thread.
#pragma once

#include <QByteArray>
#include <QtGlobal>
#include <functional>
#include <vector>

namespace testfx
{
// Runs each client function on a thread of its own while the calling (GUI) thread keeps its
// event loop going, so a window can serve the clients; returns when all have finished.
void RunClients(const std::vector<std::function<void()>>& clients);

class LineClient
{
public:
    LineClient() = default;
    ~LineClient();
    LineClient(const LineClient&) = delete;
    LineClient& operator=(const LineClient&) = delete;

    // Connects to 127.0.0.1:port, trying again while the server refuses (it listens again only
    // once the previous client has gone) until timeoutMs has passed.
    bool Connect(quint16 port, int timeoutMs = 20000);
    bool Send(const QByteArray& bytes);
    // The next line without its line feed; false when none came in time or the peer closed.
    bool ReadLine(QByteArray& line, int timeoutMs = 30000);
    // Sends a line and reads one reply line; "<no reply>" when none came.
    QByteArray Query(const QByteArray& line, int timeoutMs = 30000);
    // True once the peer has closed the connection (within timeoutMs).
    bool PeerClosed(int timeoutMs);
    // Leaves with a reset, as a crashed or killed client would.
    void Abort();
    void Close();

private:
    int fd = -1;
    QByteArray buffer;
    bool eof = false;
};
}  // namespace testfx
