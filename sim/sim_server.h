// A loopback TCP listener that answers one line per command line. Plain POSIX sockets on a
// thread of its own: the library cannot count on an event loop in the program that loads it.
#pragma once

#include <functional>
#include <string>
#include <thread>

namespace vnasim
{
class CommandServer
{
public:
    using Handler = std::function<std::string(const std::string&)>;

    explicit CommandServer(Handler handler) : handler(std::move(handler)) {}
    ~CommandServer() { Stop(); }
    CommandServer(const CommandServer&) = delete;
    CommandServer& operator=(const CommandServer&) = delete;

    // Binds 127.0.0.1:port (0 picks a free port) and starts serving; false if binding fails.
    bool Start(int port);
    void Stop();
    // The bound port, 0 when not running.
    int Port() const { return boundPort; }

private:
    void Loop();

    Handler handler;
    std::thread thread;
    int listenFd = -1;
    int wakeFds[2] = {-1, -1};
    int boundPort = 0;
};
}  // namespace vnasim
