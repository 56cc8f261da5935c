#include "sim_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <vector>

namespace vnasim
{
namespace
{
constexpr int kMaxClients = 8;
constexpr size_t kMaxLine = 4096;

struct Client
{
    int fd;
    std::string pending;
};

void SendAll(int fd, const std::string& text)
{
    size_t sent = 0;
    while (sent < text.size())
    {
        const ssize_t n = ::send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (n <= 0)
        {
            return;
        }
        sent += size_t(n);
    }
}
}  // namespace

bool CommandServer::Start(int port)
{
    Stop();
    listenFd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listenFd < 0)
    {
        return false;
    }
    const int yes = 1;
    ::setsockopt(listenFd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(uint16_t(port));
    socklen_t len = sizeof(addr);
    if (::bind(listenFd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0 ||
        ::listen(listenFd, 4) != 0 ||
        ::getsockname(listenFd, reinterpret_cast<sockaddr*>(&addr), &len) != 0 ||
        ::pipe2(wakeFds, O_CLOEXEC) != 0)
    {
        ::close(listenFd);
        listenFd = -1;
        return false;
    }
    boundPort = ntohs(addr.sin_port);
    thread = std::thread(&CommandServer::Loop, this);
    return true;
}

void CommandServer::Stop()
{
    if (thread.joinable())
    {
        const char c = 'q';
        (void)!::write(wakeFds[1], &c, 1);
        thread.join();
    }
    for (int* fd : {&listenFd, &wakeFds[0], &wakeFds[1]})
    {
        if (*fd >= 0)
        {
            ::close(*fd);
            *fd = -1;
        }
    }
    boundPort = 0;
}

void CommandServer::Loop()
{
    std::vector<Client> clients;
    for (;;)
    {
        std::vector<pollfd> fds;
        fds.push_back({wakeFds[0], POLLIN, 0});
        fds.push_back({listenFd, POLLIN, 0});
        for (const Client& c : clients)
        {
            fds.push_back({c.fd, POLLIN, 0});
        }
        if (::poll(fds.data(), fds.size(), -1) < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            break;
        }
        if (fds[0].revents)
        {
            break;
        }
        if (fds[1].revents & POLLIN)
        {
            const int fd = ::accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd >= 0)
            {
                if (int(clients.size()) < kMaxClients)
                {
                    clients.push_back({fd, std::string()});
                }
                else
                {
                    SendAll(fd, "error: too many connections\n");
                    ::close(fd);
                }
            }
        }
        // Newest clients last, so indices of fds above 1 follow clients.
        std::vector<Client> alive;
        for (size_t i = 0; i < clients.size(); ++i)
        {
            Client& c = clients[i];
            const short ev = i + 2 < fds.size() ? fds[i + 2].revents : 0;
            bool keep = true;
            if (ev & (POLLIN | POLLHUP | POLLERR))
            {
                char buf[1024];
                const ssize_t n = ::recv(c.fd, buf, sizeof(buf), 0);
                if (n <= 0)
                {
                    keep = false;
                }
                else
                {
                    c.pending.append(buf, size_t(n));
                    size_t nl;
                    while ((nl = c.pending.find('\n')) != std::string::npos)
                    {
                        std::string line = c.pending.substr(0, nl);
                        c.pending.erase(0, nl + 1);
                        if (!line.empty() && line.back() == '\r')
                        {
                            line.pop_back();
                        }
                        SendAll(c.fd, handler(line) + "\n");
                    }
                    if (c.pending.size() > kMaxLine)
                    {
                        SendAll(c.fd, "error: line too long\n");
                        c.pending.clear();
                    }
                }
            }
            if (keep)
            {
                alive.push_back(std::move(c));
            }
            else
            {
                ::close(c.fd);
            }
        }
        clients.swap(alive);
    }
    for (const Client& c : clients)
    {
        ::close(c.fd);
    }
}
}  // namespace vnasim
