#include "line_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>
#include <atomic>
#include <cerrno>
#include <thread>

namespace testfx
{
void RunClients(const std::vector<std::function<void()>>& clients)
{
    std::atomic<int> running{int(clients.size())};
    std::vector<std::thread> threads;
    for (const auto& c : clients)
    {
        threads.emplace_back(
            [&running, c]
            {
                c();
                --running;
            });
    }
    while (running.load() > 0)
    {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    for (std::thread& t : threads)
    {
        t.join();
    }
}

LineClient::~LineClient()
{
    Close();
}

bool LineClient::Connect(quint16 port, int timeoutMs)
{
    Close();
    QElapsedTimer t;
    t.start();
    for (;;)
    {
        fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0)
        {
            return false;
        }
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons(port);
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0)
        {
            buffer.clear();
            eof = false;
            return true;
        }
        Close();
        if (t.elapsed() > timeoutMs)
        {
            return false;
        }
        QThread::msleep(20);
    }
}

bool LineClient::Send(const QByteArray& bytes)
{
    qint64 sent = 0;
    while (fd >= 0 && sent < bytes.size())
    {
        const ssize_t n =
            ::send(fd, bytes.constData() + sent, size_t(bytes.size() - sent), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
        {
            continue;
        }
        if (n <= 0)
        {
            return false;
        }
        sent += n;
    }
    return fd >= 0;
}

bool LineClient::ReadLine(QByteArray& line, int timeoutMs)
{
    QElapsedTimer t;
    t.start();
    for (;;)
    {
        const int nl = buffer.indexOf('\n');
        if (nl >= 0)
        {
            line = buffer.left(nl);
            buffer.remove(0, nl + 1);
            return true;
        }
        const int left = timeoutMs - int(t.elapsed());
        if (fd < 0 || eof || left <= 0)
        {
            return false;
        }
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, left) <= 0)
        {
            continue;
        }
        char chunk[65536];
        const ssize_t n = ::recv(fd, chunk, sizeof chunk, 0);
        if (n > 0)
        {
            buffer.append(chunk, int(n));
        }
        else if (n == 0 || errno != EINTR)
        {
            eof = true;
        }
    }
}

QByteArray LineClient::Query(const QByteArray& line, int timeoutMs)
{
    QByteArray reply;
    if (!Send(line + '\n') || !ReadLine(reply, timeoutMs))
    {
        return QByteArrayLiteral("<no reply>");
    }
    return reply;
}

bool LineClient::PeerClosed(int timeoutMs)
{
    QByteArray ignored;
    while (ReadLine(ignored, timeoutMs))
    {
    }
    return eof;
}

void LineClient::Abort()
{
    if (fd >= 0)
    {
        linger l{1, 0};
        ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &l, sizeof l);
    }
    Close();
}

void LineClient::Close()
{
    if (fd >= 0)
    {
        ::close(fd);
        fd = -1;
    }
}
}  // namespace testfx
