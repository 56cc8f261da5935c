// Emulator of the uCal electronic calibration module on a pseudo-terminal. It prints the
// terminal's path, answers the module's serial protocol at the line's pace, holds switch states
// whose S-parameters come from its own characterisation (ucal_model.h) and, given the instrument
// simulator's scene port, connects the state of each module port to the instrument port it is
// attached to, so that an electronic calibration through both is a real measurement.
// Fault modes make it misbehave in each way the driver must survive. docs/ucal_emulator.md.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "ucal_model.h"

namespace
{
using Clock = std::chrono::steady_clock;

// Output leaves in small pieces so that the pace follows the baud rate closely.
constexpr size_t kPaceChunk = 16;
// What the babbling fault sends instead of a reply: never a newline.
constexpr size_t kBabbleBytes = 8192;
// Longest command line kept; a longer one is dropped.
constexpr size_t kMaxCommand = 256;
// The temperature band "N?" reports as in range.
constexpr double kTempLow = 20.0;
constexpr double kTempHigh = 30.0;

volatile std::sig_atomic_t stopRequested = 0;

void OnSignal(int)
{
    stopRequested = 1;
}

enum class Fault
{
    None,
    Silent,          // no reply at all
    Garble,          // replies' bytes scrambled, newline kept
    Babble,          // a stream without a newline instead of a reply
    ShortId,         // identity of three fields
    Nak,             // switch commands refused and not applied
    BadState,        // switches read back as another state
    XHeader,         // block line "X<count>"
    ZeroCount,       // block line "R0"
    ShortBlock,      // half the announced bytes, then silence
    BadBlock,        // a block with three parameters
    TruncatedBlock,  // a block cut short, announced with its cut length
    Glued            // block line and data in one write, without waiting for the reader
};

struct FaultName
{
    const char* name;
    Fault fault;
};

const FaultName kFaults[] = {{"none", Fault::None},
                             {"silent", Fault::Silent},
                             {"garble", Fault::Garble},
                             {"babble", Fault::Babble},
                             {"short-id", Fault::ShortId},
                             {"nak", Fault::Nak},
                             {"bad-state", Fault::BadState},
                             {"x-header", Fault::XHeader},
                             {"zero-count", Fault::ZeroCount},
                             {"short-block", Fault::ShortBlock},
                             {"bad-block", Fault::BadBlock},
                             {"truncated-block", Fault::TruncatedBlock},
                             {"glued", Fault::Glued}};

bool FaultFromName(const std::string& name, Fault& fault)
{
    for (const FaultName& f : kFaults)
    {
        if (name == f.name)
        {
            fault = f.fault;
            return true;
        }
    }
    return false;
}

struct Options
{
    int points = 201;
    double start = 10e6;
    double stop = 40e9;
    int baud = 115200;  // 0: no pacing
    int headerPauseMs = 0;
    int scenePort = 0;  // 0: no scene
    bool crossed = false;
    std::string dataDir;
    Fault fault = Fault::None;
    double temperature = 24.6;
    std::string manufacturer = "Maury Microwave";
    std::string model = "MT982B01-35-MF";
    std::string serial = "1024";
    std::string firmware = "2.1.4";
};

void Usage()
{
    std::fprintf(stderr,
                 "usage: ucal_emulator [--points N] [--start HZ] [--stop HZ] [--baud B]\n"
                 "  [--header-pause MS] [--scene-port P] [--map AB|BA] [--data-dir DIR]\n"
                 "  [--fault MODE] [--temp C] [--model TEXT] [--serial TEXT]\n");
}

bool ParseOptions(int argc, char** argv, Options& o)
{
    for (int i = 1; i < argc; ++i)
    {
        const std::string a = argv[i];
        if (i + 1 >= argc)
        {
            return false;
        }
        const std::string v = argv[++i];
        if (a == "--points")
        {
            o.points = std::atoi(v.c_str());
        }
        else if (a == "--start")
        {
            o.start = std::atof(v.c_str());
        }
        else if (a == "--stop")
        {
            o.stop = std::atof(v.c_str());
        }
        else if (a == "--baud")
        {
            o.baud = std::atoi(v.c_str());
        }
        else if (a == "--header-pause")
        {
            o.headerPauseMs = std::atoi(v.c_str());
        }
        else if (a == "--scene-port")
        {
            o.scenePort = std::atoi(v.c_str());
        }
        else if (a == "--map" && (v == "AB" || v == "BA"))
        {
            o.crossed = v == "BA";
        }
        else if (a == "--data-dir")
        {
            o.dataDir = v;
        }
        else if (a == "--fault" && FaultFromName(v, o.fault))
        {
            continue;
        }
        else if (a == "--temp")
        {
            o.temperature = std::atof(v.c_str());
        }
        else if (a == "--model")
        {
            o.model = v;
        }
        else if (a == "--serial")
        {
            o.serial = v;
        }
        else
        {
            return false;
        }
    }
    return o.points >= 1 && o.points <= 100000 && o.stop >= o.start && o.baud >= 0;
}

bool WriteAll(int fd, const char* data, size_t size)
{
    while (size > 0)
    {
        const ssize_t n = write(fd, data, size);
        if (n < 0 && errno == EINTR)
        {
            continue;
        }
        if (n <= 0)
        {
            return false;
        }
        data += n;
        size -= size_t(n);
    }
    return true;
}

// A line client of the instrument simulator's scene port on loopback.
class SceneLink
{
public:
    explicit SceneLink(int port) : port(port) {}
    ~SceneLink() { Close(); }

    void Send(const std::string& command)
    {
        if (port <= 0)
        {
            return;
        }
        std::string reply;
        if (!(Open() && Exchange(command, reply)))
        {
            Close();  // try once more on a fresh connection
            if (!(Open() && Exchange(command, reply)))
            {
                std::fprintf(stderr, "ucal_emulator: scene port %d unreachable\n", port);
                Close();
                return;
            }
        }
        if (reply.compare(0, 2, "ok") != 0)
        {
            std::fprintf(stderr, "ucal_emulator: scene refused \"%s\": %s\n", command.c_str(),
                         reply.c_str());
        }
    }

private:
    bool Open()
    {
        if (fd >= 0)
        {
            return true;
        }
        fd = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(uint16_t(port));
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0)
        {
            Close();
            return false;
        }
        return true;
    }

    void Close()
    {
        if (fd >= 0)
        {
            close(fd);
        }
        fd = -1;
    }

    bool Exchange(const std::string& command, std::string& reply)
    {
        const std::string line = command + "\n";
        if (!WriteAll(fd, line.data(), line.size()))
        {
            return false;
        }
        reply.clear();
        char c = 0;
        while (read(fd, &c, 1) == 1)
        {
            if (c == '\n')
            {
                return true;
            }
            reply += c;
        }
        return false;
    }

    int port;
    int fd = -1;
};

class Emulator
{
public:
    explicit Emulator(const Options& options)
        : o(options),
          model(ucalemu::Characterise(options.points, options.start, options.stop)),
          scene(options.scenePort)
    {
    }
    ~Emulator();

    bool Start();
    void Run();

private:
    bool WriteDataFiles();
    void ReadTerminal();
    void ReadControl();
    void HandleCommand(const std::string& command);
    void HandleControl(const std::string& line);
    void HandleSwitch(const std::string& digits);
    void HandleBlock(int index);
    void SendBlock(const std::string& header, const std::string& data);
    void Reply(const std::string& text);
    std::string Garbled(std::string text);
    void SendPaced(const std::string& bytes);
    void WaitForReader();
    std::string StateText() const;
    std::string FilePath(const std::string& name) const { return dataDir + "/" + name; }
    void UpdateScene();

    Options o;
    ucalemu::Characterisation model;
    SceneLink scene;
    int master = -1;
    int slave = -1;  // held open so the terminal stays raw and never hangs up between clients
    bool ownDataDir = false;
    std::string dataDir;
    std::string input;
    std::string control;
    bool controlOpen = true;
    int portState[2] = {0, 0};  // 0 none, 1 short, 2 open, 3 load
    bool thru = false;
    unsigned garbleSeed = 12345;
};

Emulator::~Emulator()
{
    if (ownDataDir)
    {
        for (const char* name : {"A_short.s1p", "A_open.s1p", "A_load.s1p", "B_short.s1p",
                                 "B_open.s1p", "B_load.s1p", "thru_AB.s2p", "thru_BA.s2p"})
        {
            unlink(FilePath(name).c_str());
        }
        rmdir(dataDir.c_str());
    }
}

bool Emulator::WriteDataFiles()
{
    if (o.dataDir.empty())
    {
        char pattern[] = "/tmp/ucal_emulator.XXXXXX";
        if (!mkdtemp(pattern))
        {
            return false;
        }
        dataDir = pattern;
        ownDataDir = true;
    }
    else
    {
        dataDir = o.dataDir;
    }
    static const char* const kPort[2] = {"A", "B"};
    static const char* const kState[3] = {"short", "open", "load"};
    bool ok = true;
    for (int p = 0; p < 2; ++p)
    {
        for (int r = 0; r < 3; ++r)
        {
            const std::string name = std::string(kPort[p]) + "_" + kState[r] + ".s1p";
            ok = ok && ucalemu::WriteReflectFile(FilePath(name), model.freqs, model.reflect[p][r]);
        }
    }
    return ok && ucalemu::WriteThruFile(FilePath("thru_AB.s2p"), model, false) &&
           ucalemu::WriteThruFile(FilePath("thru_BA.s2p"), model, true);
}

bool Emulator::Start()
{
    master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0)
    {
        return false;
    }
    const char* name = ptsname(master);
    slave = name ? open(name, O_RDWR | O_NOCTTY) : -1;
    termios t{};
    if (slave < 0 || tcgetattr(slave, &t) != 0)
    {
        return false;
    }
    cfmakeraw(&t);
    if (tcsetattr(slave, TCSANOW, &t) != 0 || !WriteDataFiles())
    {
        return false;
    }
    std::printf("%s\n", name);
    std::fflush(stdout);
    return true;
}

void Emulator::Run()
{
    while (!stopRequested)
    {
        pollfd fds[2] = {{master, POLLIN, 0}, {controlOpen ? 0 : -1, POLLIN, 0}};
        if (poll(fds, 2, -1) < 0)
        {
            continue;  // a signal: look at the stop flag
        }
        if (fds[0].revents & POLLIN)
        {
            ReadTerminal();
        }
        if (fds[1].revents & (POLLIN | POLLHUP))
        {
            ReadControl();
        }
    }
}

void Emulator::ReadTerminal()
{
    char buffer[4096];
    const ssize_t n = read(master, buffer, sizeof(buffer));
    if (n <= 0)
    {
        return;
    }
    input.append(buffer, size_t(n));
    size_t end;
    while ((end = input.find('\n')) != std::string::npos)
    {
        std::string command = input.substr(0, end);
        input.erase(0, end + 1);
        if (!command.empty() && command.back() == '\r')
        {
            command.pop_back();
        }
        HandleCommand(command);
    }
    if (input.size() > kMaxCommand)
    {
        input.clear();
    }
}

void Emulator::ReadControl()
{
    char buffer[1024];
    const ssize_t n = read(0, buffer, sizeof(buffer));
    if (n <= 0)
    {
        controlOpen = false;  // no controller: keep serving the terminal
        return;
    }
    control.append(buffer, size_t(n));
    size_t end;
    while ((end = control.find('\n')) != std::string::npos)
    {
        const std::string line = control.substr(0, end);
        control.erase(0, end + 1);
        HandleControl(line);
    }
}

void Emulator::HandleControl(const std::string& line)
{
    const size_t blank = line.find(' ');
    const std::string word = line.substr(0, blank);
    const std::string arg = blank == std::string::npos ? "" : line.substr(blank + 1);
    bool ok = true;
    std::string answer;
    if (word == "fault")
    {
        ok = FaultFromName(arg, o.fault);
    }
    else if (word == "temp")
    {
        o.temperature = std::atof(arg.c_str());
    }
    else if (word == "map" && (arg == "AB" || arg == "BA"))
    {
        o.crossed = arg == "BA";
        UpdateScene();
    }
    else if (word == "state?")
    {
        answer = " " + StateText();
    }
    else if (word == "quit")
    {
        stopRequested = 1;
    }
    else
    {
        ok = false;
    }
    std::printf("%s%s\n", ok ? "ok" : "error: unknown control line", answer.c_str());
    std::fflush(stdout);
}

std::string Emulator::StateText() const
{
    return thru ? "4" : std::to_string(portState[0]) + std::to_string(portState[1]);
}

void Emulator::HandleCommand(const std::string& command)
{
    if (o.fault == Fault::Silent)
    {
        return;
    }
    if (o.fault == Fault::Babble)
    {
        SendPaced(std::string(kBabbleBytes, '~'));
        return;
    }
    char text[64];
    if (command == "I?")
    {
        std::string id = o.manufacturer + "," + o.model + "," + o.serial;
        Reply(o.fault == Fault::ShortId ? id : id + "," + o.firmware);
    }
    else if (command == "T?")
    {
        std::snprintf(text, sizeof(text), "%.2f", o.temperature);
        Reply(text);
    }
    else if (command == "N?")
    {
        Reply(o.temperature >= kTempLow && o.temperature <= kTempHigh ? "1" : "0");
    }
    else if (command == "S?")
    {
        Reply(o.fault == Fault::BadState ? "0" + StateText().substr(1) : StateText());
    }
    else if (command.size() >= 2 && command[0] == 'S')
    {
        HandleSwitch(command.substr(1));
    }
    else if (command.size() == 2 && command[0] == 'G' && command[1] >= '0' && command[1] <= '3')
    {
        HandleBlock(command[1] - '0');
    }
    else
    {
        Reply("E");
    }
}

void Emulator::HandleSwitch(const std::string& digits)
{
    const bool toThru = digits == "4";
    const bool valid = toThru || (digits.size() == 2 && digits[0] >= '0' && digits[0] <= '3' &&
                                  digits[1] >= '0' && digits[1] <= '3');
    if (!valid)
    {
        Reply("E");
        return;
    }
    if (o.fault == Fault::Nak)
    {
        Reply("N");
        return;
    }
    if (toThru)
    {
        thru = true;
        portState[0] = portState[1] = 0;
    }
    else
    {
        thru = false;
        // A digit 0 leaves that port as it is.
        for (int p = 0; p < 2; ++p)
        {
            if (digits[p] != '0')
            {
                portState[p] = digits[p] - '0';
            }
        }
    }
    // The instrument sees the new state before the switch is acknowledged.
    UpdateScene();
    Reply("A");
}

void Emulator::UpdateScene()
{
    if (thru)
    {
        scene.Send("load dut " + FilePath(o.crossed ? "thru_BA.s2p" : "thru_AB.s2p"));
        return;
    }
    static const char* const kState[4] = {"", "short", "open", "load"};
    for (int vnaPort = 0; vnaPort < 2; ++vnaPort)
    {
        const int modulePort = o.crossed ? 1 - vnaPort : vnaPort;
        const int s = portState[modulePort];
        if (s > 0)
        {
            const std::string file =
                std::string(modulePort == 0 ? "A_" : "B_") + kState[s] + ".s1p";
            scene.Send("connect port " + std::to_string(vnaPort + 1) + " data " + FilePath(file));
        }
    }
}

void Emulator::HandleBlock(int index)
{
    std::string data = ucalemu::FactoryBlock(model, index);
    if (o.fault == Fault::BadBlock)
    {
        std::vector<std::vector<ucalemu::cplx>> three(
            3, std::vector<ucalemu::cplx>(model.freqs.size()));
        data = ucalemu::EncodeBlock(model.freqs, three);
    }
    else if (o.fault == Fault::TruncatedBlock)
    {
        data.resize(data.size() * 3 / 5);
    }
    std::string header = "R" + std::to_string(data.size());
    if (o.fault == Fault::XHeader)
    {
        header = "X" + std::to_string(data.size());
    }
    else if (o.fault == Fault::ZeroCount)
    {
        header = "R0";
    }
    else if (o.fault == Fault::ShortBlock)
    {
        data.resize(data.size() / 2);
    }
    SendBlock(header + "\n", o.fault == Fault::ZeroCount ? std::string() : data);
}

void Emulator::SendBlock(const std::string& header, const std::string& data)
{
    if (o.fault == Fault::Glued)
    {
        SendPaced(header + data);
        return;
    }
    // The line goes out whole and the data only once the reader has taken it: bytes arriving
    // with the line's newline would go with the line.
    const std::string line = Garbled(header.substr(0, header.size() - 1)) + "\n";
    if (WriteAll(master, line.data(), line.size()))
    {
        WaitForReader();
        SendPaced(data);
    }
}

void Emulator::WaitForReader()
{
    // A write to the master reaches the terminal's input queue through a kernel work item, so
    // an empty queue right after it may only mean the line is not there yet. Polling the slave
    // waits for that work item; from then on an empty queue means the reader has taken the line.
    // An optional pause stands in for a module slow to start its block.
    if (o.headerPauseMs > 0)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(o.headerPauseMs));
    }
    pollfd fd = {slave, POLLIN, 0};
    poll(&fd, 1, 0);
    const auto limit = Clock::now() + std::chrono::seconds(1);
    int pending = 0;
    while (ioctl(slave, FIONREAD, &pending) == 0 && pending > 0 && Clock::now() < limit)
    {
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

std::string Emulator::Garbled(std::string text)
{
    if (o.fault == Fault::Garble)
    {
        for (char& c : text)
        {
            garbleSeed = garbleSeed * 1103515245u + 12345u;
            c = char(0x80 | ((garbleSeed >> 16) & 0x7f));  // never a comma or a newline
        }
    }
    return text;
}

void Emulator::Reply(const std::string& text)
{
    SendPaced(Garbled(text) + "\n");
}

void Emulator::SendPaced(const std::string& bytes)
{
    const auto start = Clock::now();
    size_t sent = 0;
    while (sent < bytes.size() && !stopRequested)
    {
        const size_t chunk = std::min(kPaceChunk, bytes.size() - sent);
        if (!WriteAll(master, bytes.data() + sent, chunk))
        {
            return;
        }
        sent += chunk;
        if (o.baud > 0)
        {
            // Ten bits a byte: start, eight data bits, stop.
            std::this_thread::sleep_until(
                start + std::chrono::microseconds(int64_t(sent * 10 * 1e6 / o.baud)));
        }
    }
}
}  // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!ParseOptions(argc, argv, options))
    {
        Usage();
        return 2;
    }
    struct sigaction action
    {
    };
    action.sa_handler = OnSignal;  // no SA_RESTART: poll returns to look at the flag
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    signal(SIGPIPE, SIG_IGN);
    // A test that dies does not leave its emulator behind.
    prctl(PR_SET_PDEATHSIG, SIGTERM);

    Emulator emulator(options);
    if (!emulator.Start())
    {
        std::fprintf(stderr, "ucal_emulator: cannot open a pseudo-terminal: %s\n",
                     std::strerror(errno));
        return 1;
    }
    emulator.Run();
    return 0;
}
