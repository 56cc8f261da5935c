// The simulated instrument behind the device library's operations: two devices, their settings,
// a sweep that fills the caller's buffers on a thread of its own at the instrument's pace,
// diagnostics, simulated flash, and the scene commands of the control interface.
#include "vna_sim.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "sim_factory.h"
#include "sim_model.h"
#include "sim_scene.h"
#include "sim_server.h"

using namespace vnasim;

namespace
{
constexpr int kDeviceCount = 2;
constexpr int kSerials[kDeviceCount] = {40000123, 40000124};
constexpr int kFirmwareVersion = 4;
constexpr const char* kApiVersion = "1.4.0 (simulator)";
constexpr int kDefaultPort = 5027;
constexpr unsigned long long kDefaultSeed = 0x5eed;
// A program polls many times a second for hours; the log keeps only the latest calls.
constexpr size_t kCallLogLimit = 20000;
// The instrument's fastest pace, 201 points in 70 ms per direction, and its settling at
// narrow IF bandwidths.
constexpr double kMinPointTime = 0.070 / 201.0;
constexpr double kSettleCycles = 2.0;
// Noise density of the normal receivers and of the high-dynamic-range b receivers (dBm/Hz),
// and the relative trace noise at 1 kHz IF bandwidth.
constexpr double kNoiseDensity = -140.0;
constexpr double kNoiseDensityHdr = -160.0;
constexpr double kTraceNoiseAt1k = 3e-5;
// Residual spurs when spur avoidance is off: near multiples of this frequency, at this level.
constexpr double kSpurSpacing = 2.5e9;
constexpr double kSpurWidth = 1e6;
constexpr double kSpurAmplitude = 3e-5;
constexpr double kAmbient = 25.0;
constexpr double kThermalTau = 120.0;

using Clock = std::chrono::steady_clock;

struct Config
{
    int dataType = 0;
    bool port2 = false;
    bool fwd = true;
    bool rev = false;
    int points = 201;
    double start = 40e6;
    double stop = 40e9;
    double ifbw = 20000.0;
    bool rf = true;
    bool levelled = false;
    int atten = 0;
    double level = -20.0;
    bool hdr = false;
    bool hdrThru = false;
    bool solr = true;
    bool spurDodge = false;
};

// Everything a sweep needs, fixed when it begins.
struct SweepPlan
{
    Config cfg;
    Scene scene;
    bool noise = true;
    bool crosstalk = true;
    unsigned long long seed = 0;
};

double Frequency(const Config& c, int i)
{
    return c.points > 1 ? c.start + i * (c.stop - c.start) / (c.points - 1) : c.start;
}

double PointTime(const Config& c)
{
    return std::max(kMinPointTime, kSettleCycles / std::max(c.ifbw, 1.0));
}

void Put(double* b, int i, cplx v)
{
    if (b)
    {
        b[2 * i] = v.real();
        b[2 * i + 1] = v.imag();
    }
}

cplx Ratio(cplx num, cplx den)
{
    return den == cplx(0.0) ? cplx(0.0) : num / den;
}

class Noise
{
public:
    explicit Noise(unsigned long long seed) : rng(seed) {}
    cplx Complex(double sigma)
    {
        return sigma * (1.0 / std::sqrt(2.0)) * cplx(gauss(rng), gauss(rng));
    }

private:
    std::mt19937_64 rng;
    std::normal_distribution<double> gauss;
};

// One point of one direction, written into the buffers that are not null.
void ComputePoint(const SweepPlan& p, int i, bool reverse, Noise& noise, double* const b[16])
{
    const Config& c = p.cfg;
    const double f = Frequency(c, i);
    const double x = f / 40e9;
    ErrorBoxes boxes = BoxesAt(f);
    if (!p.crosstalk)
    {
        boxes.leakF = boxes.leakR = 0.0;
    }
    const double dbm = c.levelled ? c.level : -double(c.atten);
    const double source = c.rf ? std::pow(10.0, dbm / 20.0) * (1.0 - 0.15 * x) : 0.0;
    Receivers r = Solve(boxes, p.scene.At(f), reverse, source);
    if (p.noise)
    {
        const double floorN = std::pow(10.0, (kNoiseDensity + 10.0 * std::log10(c.ifbw)) / 20.0);
        const double floorH = std::pow(10.0, (kNoiseDensityHdr + 10.0 * std::log10(c.ifbw)) / 20.0);
        const double rel = kTraceNoiseAt1k * std::sqrt(c.ifbw / 1e3);
        auto add = [&](cplx& v, double floor)
        { v += noise.Complex(floor) + v * noise.Complex(rel); };
        add(r.a1, floorN);
        add(r.b1, floorN);
        add(r.a2, floorN);
        add(r.b2, floorN);
        add(r.b1Hdr, floorH);
        add(r.b2Hdr, floorH);
        if (!c.spurDodge &&
            std::fabs(f - kSpurSpacing * std::round(f / kSpurSpacing)) < kSpurWidth &&
            f > kSpurWidth)
        {
            const cplx spur = std::polar(kSpurAmplitude, 0.7 * f / kSpurSpacing);
            (reverse ? r.b1 : r.b2) += spur;
            (reverse ? r.b1Hdr : r.b2Hdr) += spur;
        }
    }
    // Without the high-dynamic-range path its buffers carry the normal receivers' ratios.
    const cplx b1h = c.hdr ? r.b1Hdr : r.b1;
    const cplx b2h = c.hdr ? r.b2Hdr : r.b2;
    if (c.dataType == 1)
    {
        // Receiver mode: a1, b1, b2, a2 in the first four buffers, the same with the
        // high-dynamic-range b receivers in the next four.
        const cplx slots[8] = {r.a1, r.b1, r.b2, r.a2, r.a1, b1h, b2h, r.a2};
        for (int k = 0; k < 8; ++k)
        {
            Put(b[k], i, slots[k]);
        }
    }
    else if (!reverse)
    {
        Put(b[0], i, Ratio(r.b1, r.a1));
        Put(b[1], i, Ratio(r.b2, r.a1));
        Put(b[4], i, Ratio(b1h, r.a1));
        Put(b[5], i, Ratio(b2h, r.a1));
    }
    else
    {
        Put(b[2], i, Ratio(r.b1, r.a2));
        Put(b[3], i, Ratio(r.b2, r.a2));
        Put(b[6], i, Ratio(b1h, r.a2));
        Put(b[7], i, Ratio(b2h, r.a2));
    }
    const int base = reverse ? 12 : 8;
    Put(b[base + 0], i, r.a1);
    Put(b[base + 1], i, r.a2);
    Put(b[base + 2], i, r.b1);
    Put(b[base + 3], i, r.b2);
}

struct Device
{
    // --- guarded by Sim::mutex ---
    bool open = false;
    Config pending;
    Config active;
    bool configured = false;
    bool idle = true;
    float setpoint = 50.0f;
    bool fanFixed = false;
    float fanPercent = 50.0f;
    int reference = 0;
    int genPort = 0;
    double genFreq = 0.0;
    int genAtten = 0;
    double temperature = kAmbient;
    Clock::time_point thermalTime = Clock::now();
    std::vector<unsigned char> flash;
    unsigned long flashDate = 0;
    // The flash holds the shipped factory calibration until it is written or erased; the block
    // is made the first time it is asked for.
    bool factoryFlash = true;

    // Guards worker: started and joined only with Sim::mutex released.
    std::mutex joinMutex;
    std::thread worker;
    // Guards the caller's buffers while a sweep writes them, fwdDone, revDone, pointsTotal and
    // abortRequested.
    std::mutex sweepMutex;
    std::condition_variable wake;
    int fwdDone = 0;
    int revDone = 0;
    int pointsTotal = 0;
    bool fwdOn = false;
    bool revOn = false;
    bool abortRequested = false;

    void UpdateThermal()
    {
        const Clock::time_point now = Clock::now();
        const double dt = std::chrono::duration<double>(now - thermalTime).count();
        thermalTime = now;
        const double target = fanFixed ? 62.0 - 0.3 * fanPercent : double(setpoint);
        temperature = target + (temperature - target) * std::exp(-dt / kThermalTau);
    }
};

void RunSweep(Device* d, std::shared_ptr<const SweepPlan> plan, std::vector<double*> buffers)
{
    Noise noise(plan->seed);
    const int n = plan->cfg.points;
    const double tp = PointTime(plan->cfg);
    double* const* b = buffers.data();
    for (int dir = 0; dir < 2; ++dir)
    {
        const bool reverse = dir == 1;
        if (!(reverse ? plan->cfg.rev : plan->cfg.fwd))
        {
            continue;
        }
        const Clock::time_point t0 = Clock::now();
        int done = 0;
        std::unique_lock<std::mutex> lock(d->sweepMutex);
        while (done < n)
        {
            if (d->abortRequested)
            {
                return;
            }
            const double elapsed = std::chrono::duration<double>(Clock::now() - t0).count();
            const int target = std::min(n, int(elapsed / tp));
            if (target <= done)
            {
                const double wait = std::min(0.005, (done + 1) * tp - elapsed);
                d->wake.wait_for(lock, std::chrono::duration<double>(std::max(wait, 1e-4)));
                continue;
            }
            for (int i = done; i < target; ++i)
            {
                ComputePoint(*plan, i, reverse, noise, b);
            }
            done = target;
            (reverse ? d->revDone : d->fwdDone) = done;
        }
    }
}

struct Sim
{
    // Guards everything below but the devices' sweep state and the server.
    std::mutex mutex;
    Device devices[kDeviceCount];
    Scene scene;
    bool noise = true;
    bool crosstalk = true;
    std::mt19937_64 seeder{kDefaultSeed};
    std::deque<std::string> callLog;  // the latest kCallLogLimit calls
    std::map<std::string, int> callCounts;
    int wantedPort = -2;  // -2: not chosen yet, take the environment or the default
    Clock::time_point powerOn = Clock::now();

    // Guards server; never taken while holding mutex.
    std::mutex serverMutex;
    std::unique_ptr<CommandServer> server;

    ~Sim()
    {
        {
            std::lock_guard<std::mutex> lock(serverMutex);
            server.reset();
        }
        for (Device& d : devices)
        {
            StopSweep(d, true);
        }
    }

    // Waits for the sweep to end, or ends it at once with abort. An abort from another thread
    // also ends another caller's wait (vnaFinishSweep, vnaGetSweep) at once.
    static void StopSweep(Device& d, bool abort)
    {
        if (abort)
        {
            std::lock_guard<std::mutex> lock(d.sweepMutex);
            d.abortRequested = true;
        }
        d.wake.notify_all();
        // One joiner at a time; a later one finds the worker gone.
        std::lock_guard<std::mutex> join(d.joinMutex);
        if (d.worker.joinable())
        {
            d.worker.join();
        }
    }
};

Sim& S()
{
    static Sim sim;
    return sim;
}

// Device for a handle, or null; the caller holds S().mutex.
Device* Find(int handle)
{
    if (handle < 1 || handle > kDeviceCount)
    {
        return nullptr;
    }
    Device* d = &S().devices[handle - 1];
    return d->open ? d : nullptr;
}

// The device of an open handle with its flash filled, or null; the caller holds S().mutex.
Device* FindWithFlash(int handle)
{
    Device* d = Find(handle);
    if (d && d->factoryFlash && d->flash.empty())
    {
        d->flash = FactoryCalBlock(kSerials[handle - 1]);
        d->flashDate = kFactoryFlashDate;
    }
    return d;
}

// Formats "name(a,b,...)" and records it; the caller holds S().mutex.
template <typename... Args>
void LogCall(const char* name, Args... args)
{
    std::ostringstream s;
    s.precision(17);
    s << name << '(';
    bool first = true;
    auto one = [&](auto v)
    {
        if (!first)
        {
            s << ',';
        }
        first = false;
        if constexpr (std::is_same<decltype(v), bool>::value)
        {
            s << (v ? 1 : 0);
        }
        else
        {
            s << v;
        }
    };
    (void)one;
    (one(args), ...);
    s << ')';
    S().callLog.push_back(s.str());
    if (S().callLog.size() > kCallLogLimit)
    {
        S().callLog.pop_front();
    }
    ++S().callCounts[name];
}

#define LOCKED std::lock_guard<std::mutex> simLock(S().mutex)

// Records a setting call and applies it to the device's pending settings, which take effect
// with the next vnaReconfigure.
template <typename Apply, typename... Args>
void Set(const char* name, int handle, Apply apply, Args... args)
{
    LOCKED;
    LogCall(name, handle, args...);
    if (Device* d = Find(handle))
    {
        apply(d->pending);
    }
}

int EnvPort()
{
    const char* v = std::getenv("VNA_SIM_PORT");
    if (!v || !*v)
    {
        return kDefaultPort;
    }
    char* end = nullptr;
    const long p = std::strtol(v, &end, 10);
    return (end && *end == '\0' && p >= -1 && p <= 65535) ? int(p) : kDefaultPort;
}

std::string HandleCommand(const std::string& line);

void StartServer(int port)
{
    std::lock_guard<std::mutex> lock(S().serverMutex);
    S().server.reset();
    if (port < 0)
    {
        return;
    }
    auto server = std::make_unique<CommandServer>(&HandleCommand);
    if (server->Start(port))
    {
        // Port 0 takes any free port: say which, for whoever starts the program.
        std::fprintf(stderr, "vna simulator: scene commands on 127.0.0.1:%d\n", server->Port());
        S().server = std::move(server);
    }
    else
    {
        std::fprintf(stderr, "vna simulator: cannot listen on 127.0.0.1:%d\n", port);
    }
}

// The listener starts with the first open of a device.
void EnsureServer()
{
    int port = 0;
    {
        LOCKED;
        if (S().wantedPort == -2)
        {
            S().wantedPort = EnvPort();
        }
        port = S().wantedPort;
    }
    {
        std::lock_guard<std::mutex> lock(S().serverMutex);
        if (S().server || port < 0)
        {
            return;
        }
    }
    StartServer(port);
}

int OpenIndex(int index, int* handle)
{
    LOCKED;
    Device& d = S().devices[index];
    if (d.open)
    {
        return -1;
    }
    d.open = true;
    d.configured = false;
    *handle = index + 1;
    return 0;
}

// Starts a sweep into the buffers; returns with the worker running, or false when the device
// cannot sweep.
bool BeginSweep(int handle, double* const b[16])
{
    Device* d = nullptr;
    auto plan = std::make_shared<SweepPlan>();
    {
        LOCKED;
        d = Find(handle);
        if (!d)
        {
            return false;
        }
    }
    Sim::StopSweep(*d, true);
    {
        LOCKED;
        if (!Find(handle))
        {
            return false;
        }
        std::lock_guard<std::mutex> sweepLock(d->sweepMutex);
        d->fwdDone = d->revDone = 0;
        d->abortRequested = false;
        d->pointsTotal = d->configured ? d->active.points : 0;
        d->fwdOn = d->configured && d->active.fwd;
        d->revOn = d->configured && d->active.rev;
        if (!d->configured)
        {
            return false;
        }
        plan->cfg = d->active;
        plan->scene = S().scene;
        plan->noise = S().noise;
        plan->crosstalk = S().crosstalk;
        plan->seed = S().seeder();
    }
    std::lock_guard<std::mutex> join(d->joinMutex);
    d->worker = std::thread(RunSweep, d, std::shared_ptr<const SweepPlan>(plan),
                            std::vector<double*>(b, b + 16));
    return true;
}

Device* DeviceForSweep(int handle)
{
    LOCKED;
    return Find(handle);
}
}  // namespace

// ------------------------------------------------------------------------------------------
// Scene commands

namespace
{
std::string HandleCommand(const std::string& line)
{
    const std::vector<std::string> w = SplitCommand(line);
    if (w.empty())
    {
        return "error: empty command";
    }
    if (w[0] == "noise" && w.size() == 2 && (w[1] == "on" || w[1] == "off"))
    {
        vnaSimSetNoise(w[1] == "on");
        return "ok";
    }
    if (w[0] == "flash" && w.size() == 2 && (w[1] == "erase" || w[1] == "factory"))
    {
        LOCKED;
        for (Device& d : S().devices)
        {
            d.flash.clear();
            d.flashDate = 0;
            d.factoryFlash = w[1] == "factory";
        }
        return "ok";
    }
    if (w[0] == "crosstalk" && w.size() == 2 && (w[1] == "on" || w[1] == "off"))
    {
        LOCKED;
        S().crosstalk = w[1] == "on";
        return "ok";
    }
    if (w[0] == "seed" && w.size() == 2)
    {
        char* end = nullptr;
        const unsigned long long seed = std::strtoull(w[1].c_str(), &end, 10);
        if (!end || *end != '\0')
        {
            return "error: bad seed " + w[1];
        }
        vnaSimSetSeed(seed);
        return "ok";
    }
    if (w[0] == "reset" && w.size() == 1)
    {
        // A script must not take the instrument away from the running program: only the scene,
        // the noise and the crosstalk go back to their start.
        LOCKED;
        S().scene = Scene();
        S().noise = true;
        S().crosstalk = true;
        S().seeder.seed(kDefaultSeed);
        return "ok";
    }
    if ((w[0] == "scene?" || w[0] == "scene") && w.size() == 1)
    {
        LOCKED;
        return "ok " + S().scene.Describe();
    }
    if (w[0] == "status?" && w.size() == 1)
    {
        LOCKED;
        int open = 0;
        for (const Device& d : S().devices)
        {
            open += d.open ? 1 : 0;
        }
        const int sweeps = S().callCounts["vnaBeginSweep"] + S().callCounts["vnaGetSweep"];
        return "ok open " + std::to_string(open) + " sweeps " + std::to_string(sweeps) +
               (S().noise ? " noise on" : " noise off") +
               (S().crosstalk ? " crosstalk on" : " crosstalk off");
    }
    if (w[0] == "help" && w.size() == 1)
    {
        return "ok connect port 1|2 nothing|short|open|load|sliding K|kit short|open|load "
               "[delay PS loss GOHM z0 OHM c0..c3 l0..l3]|data FILE; connect thru [delay PS "
               "loss GOHM z0 OHM]; load dut FILE; disconnect; noise on|off; crosstalk on|off; "
               "seed N; flash erase|factory; reset; scene?; status?";
    }
    LOCKED;
    bool handled = false;
    std::string error;
    Scene next = S().scene;
    if (next.Apply(w, handled, error))
    {
        S().scene = next;
        return "ok";
    }
    return handled ? "error: " + error : "error: unknown command " + w[0];
}
}  // namespace

// ------------------------------------------------------------------------------------------
// The device operations

extern "C"
{
    int vnaOpenDevice(int* handle)
    {
        EnsureServer();
        {
            LOCKED;
            LogCall("vnaOpenDevice");
        }
        if (!handle)
        {
            return -1;
        }
        for (int i = 0; i < kDeviceCount; ++i)
        {
            if (OpenIndex(i, handle) == 0)
            {
                return 0;
            }
        }
        return -1;
    }

    int vnaOpenDeviceBySerial(int* handle, int serial)
    {
        EnsureServer();
        {
            LOCKED;
            LogCall("vnaOpenDeviceBySerial", serial);
        }
        if (!handle)
        {
            return -1;
        }
        for (int i = 0; i < kDeviceCount; ++i)
        {
            if (kSerials[i] == serial)
            {
                return OpenIndex(i, handle);
            }
        }
        return -1;
    }

    void vnaCloseDevice(int handle)
    {
        Device* d = nullptr;
        {
            LOCKED;
            LogCall("vnaCloseDevice", handle);
            d = Find(handle);
        }
        if (!d)
        {
            return;
        }
        Sim::StopSweep(*d, true);
        LOCKED;
        d->open = false;
        d->configured = false;
    }

    void vnaGetDeviceList(int* serials, int* count)
    {
        LOCKED;
        LogCall("vnaGetDeviceList");
        if (!count)
        {
            return;
        }
        const int room = serials ? std::max(*count, 0) : 0;
        for (int i = 0; i < std::min(room, kDeviceCount); ++i)
        {
            serials[i] = kSerials[i];
        }
        *count = kDeviceCount;
    }

    const char* vnaGetAPIVersion()
    {
        LOCKED;
        LogCall("vnaGetAPIVersion");
        return kApiVersion;
    }

    void vnaGetSerial(int handle, int* serial)
    {
        LOCKED;
        LogCall("vnaGetSerial", handle);
        if (Find(handle) && serial)
        {
            *serial = kSerials[handle - 1];
        }
    }

    void vnaGetFirmwareVersion(int handle, int* version)
    {
        LOCKED;
        LogCall("vnaGetFirmwareVersion", handle);
        if (Find(handle) && version)
        {
            *version = kFirmwareVersion;
        }
    }

    void vnaGetDiagnostics(int handle, double* power, double* temperature, double* third,
                           unsigned* fourth)
    {
        LOCKED;
        LogCall("vnaGetDiagnostics", handle);
        Device* d = Find(handle);
        if (!d)
        {
            return;
        }
        d->UpdateThermal();
        if (power)
        {
            *power = 30.0 + (d->idle ? 0.0 : 6.5);
        }
        if (temperature)
        {
            *temperature = d->temperature;
        }
        if (third)
        {
            // Fan drive in percent: fixed, or what the regulator needs to hold the setpoint.
            *third = d->fanFixed ? double(d->fanPercent)
                                 : std::clamp(30.0 + 8.0 * (d->temperature - d->setpoint + 3.0),
                                              10.0, 100.0);
        }
        if (fourth)
        {
            // Seconds since power-on.
            *fourth = unsigned(
                std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - S().powerOn)
                    .count());
        }
    }

    void vnaSetIdleMode(int handle, bool idle)
    {
        LOCKED;
        LogCall("vnaSetIdleMode", handle, idle);
        if (Device* d = Find(handle))
        {
            d->idle = idle;
        }
    }

    void vnaSetTempSetpoint(int handle, float degrees)
    {
        LOCKED;
        LogCall("vnaSetTempSetpoint", handle, double(degrees));
        if (Device* d = Find(handle))
        {
            d->UpdateThermal();
            d->setpoint = degrees;
            d->fanFixed = false;
        }
    }

    void vnaSetFanSpeed(int handle, float percent)
    {
        LOCKED;
        LogCall("vnaSetFanSpeed", handle, double(percent));
        if (Device* d = Find(handle))
        {
            d->UpdateThermal();
            d->fanPercent = std::clamp(percent, 0.0f, 100.0f);
            d->fanFixed = true;
        }
    }

    void vnaSetReference(int handle, int reference)
    {
        LOCKED;
        LogCall("vnaSetReference", handle, reference);
        if (Device* d = Find(handle))
        {
            d->reference = reference;
        }
    }

    void vnaSetGenerator(int handle, int port, double freq, int atten)
    {
        LOCKED;
        LogCall("vnaSetGenerator", handle, port, freq, atten);
        if (Device* d = Find(handle))
        {
            d->genPort = port;
            d->genFreq = freq;
            d->genAtten = atten;
        }
    }

    void vnaSetDataType(int handle, int type, bool port2)
    {
        Set(
            "vnaSetDataType", handle,
            [&](Config& c)
            {
                c.dataType = type == 1 ? 1 : 0;
                c.port2 = port2;
            },
            type, port2);
    }

    void vnaSweepSetPorts(int handle, bool fwd, bool rev)
    {
        Set(
            "vnaSweepSetPorts", handle,
            [&](Config& c)
            {
                c.fwd = fwd;
                c.rev = rev;
            },
            fwd, rev);
    }

    void vnaSweepSetPoints(int handle, int points)
    {
        Set(
            "vnaSweepSetPoints", handle,
            [&](Config& c) { c.points = std::clamp(points, 0, 1 << 20); }, points);
    }

    void vnaSweepSetStartStop(int handle, double start, double stop)
    {
        Set(
            "vnaSweepSetStartStop", handle,
            [&](Config& c)
            {
                c.start = start;
                c.stop = stop;
            },
            start, stop);
    }

    void vnaSweepSetIFBandwidth(int handle, double hz)
    {
        Set(
            "vnaSweepSetIFBandwidth", handle,
            [&](Config& c) { c.ifbw = std::isfinite(hz) && hz > 0 ? hz : 1.0; }, hz);
    }

    void vnaSweepSetRFEnabled(int handle, bool enabled)
    {
        Set(
            "vnaSweepSetRFEnabled", handle, [&](Config& c) { c.rf = enabled; }, enabled);
    }

    void vnaSweepSetAtten(int handle, int db)
    {
        Set(
            "vnaSweepSetAtten", handle,
            [&](Config& c)
            {
                c.atten = std::clamp(db, 0, 70);
                c.levelled = false;
            },
            db);
    }

    void vnaSweepSetLevel(int handle, double dbm)
    {
        Set(
            "vnaSweepSetLevel", handle,
            [&](Config& c)
            {
                c.level = std::isfinite(dbm) ? std::clamp(dbm, -60.0, 10.0) : -20.0;
                c.levelled = true;
            },
            dbm);
    }

    void vnaSweepSetHDR(int handle, bool hdr, bool hdrThru)
    {
        Set(
            "vnaSweepSetHDR", handle,
            [&](Config& c)
            {
                c.hdr = hdr || hdrThru;
                c.hdrThru = hdrThru;
            },
            hdr, hdrThru);
    }

    void vnaSweepSetSOLRModel(int handle, bool solr)
    {
        Set(
            "vnaSweepSetSOLRModel", handle, [&](Config& c) { c.solr = solr; }, solr);
    }

    void vnaForceSpurDodge(int handle, bool dodge)
    {
        Set(
            "vnaForceSpurDodge", handle, [&](Config& c) { c.spurDodge = dodge; }, dodge);
    }

    void vnaReconfigure(int handle)
    {
        LOCKED;
        LogCall("vnaReconfigure", handle);
        if (Device* d = Find(handle))
        {
            d->active = d->pending;
            d->configured = true;
        }
    }

    void vnaBeginSweep(int handle, double* b0, double* b1, double* b2, double* b3, double* b4,
                       double* b5, double* b6, double* b7, double* b8, double* b9, double* b10,
                       double* b11, double* b12, double* b13, double* b14, double* b15)
    {
        {
            LOCKED;
            LogCall("vnaBeginSweep", handle);
        }
        double* const b[16] = {b0, b1, b2,  b3,  b4,  b5,  b6,  b7,
                               b8, b9, b10, b11, b12, b13, b14, b15};
        BeginSweep(handle, b);
    }

    void vnaGetSweep(int handle, double* b0, double* b1, double* b2, double* b3, double* b4,
                     double* b5, double* b6, double* b7, double* b8, double* b9, double* b10,
                     double* b11, double* b12, double* b13, double* b14, double* b15)
    {
        {
            LOCKED;
            LogCall("vnaGetSweep", handle);
        }
        double* const b[16] = {b0, b1, b2,  b3,  b4,  b5,  b6,  b7,
                               b8, b9, b10, b11, b12, b13, b14, b15};
        if (BeginSweep(handle, b))
        {
            if (Device* d = DeviceForSweep(handle))
            {
                Sim::StopSweep(*d, false);
            }
        }
    }

    void vnaGetSweepStatus(int handle, int* fwd, int* rev, double* percent)
    {
        Device* d = nullptr;
        {
            LOCKED;
            LogCall("vnaGetSweepStatus", handle);
            d = Find(handle);
        }
        if (!d)
        {
            return;
        }
        std::lock_guard<std::mutex> lock(d->sweepMutex);
        if (fwd)
        {
            *fwd = d->fwdDone;
        }
        if (rev)
        {
            *rev = d->revDone;
        }
        if (percent)
        {
            const int dirs = int(d->fwdOn) + int(d->revOn);
            *percent = dirs == 0 || d->pointsTotal <= 0
                           ? 100.0
                           : 100.0 * (d->fwdDone + d->revDone) / (double(dirs) * d->pointsTotal);
        }
    }

    void vnaFinishSweep(int handle)
    {
        {
            LOCKED;
            LogCall("vnaFinishSweep", handle);
        }
        if (Device* d = DeviceForSweep(handle))
        {
            Sim::StopSweep(*d, false);
        }
    }

    void vnaAbortSweep(int handle)
    {
        {
            LOCKED;
            LogCall("vnaAbortSweep", handle);
        }
        if (Device* d = DeviceForSweep(handle))
        {
            Sim::StopSweep(*d, true);
        }
    }

    int vnaFactoryCalGetDate(int handle, bool& present, unsigned long& date)
    {
        LOCKED;
        LogCall("vnaFactoryCalGetDate", handle);
        Device* d = FindWithFlash(handle);
        if (!d)
        {
            return -1;
        }
        present = !d->flash.empty();
        date = d->flashDate;
        return 0;
    }

    int vnaFactoryCalRead(int handle, unsigned char* data, int size)
    {
        LOCKED;
        LogCall("vnaFactoryCalRead", handle, size);
        Device* d = FindWithFlash(handle);
        if (!d || !data || size <= 0 || d->flash.empty())
        {
            return -1;
        }
        const size_t n = std::min(size_t(size), d->flash.size());
        std::memcpy(data, d->flash.data(), n);
        std::memset(data + n, 0, size_t(size) - n);
        return 0;
    }

    int vnaFactoryCalWriteData(int handle, std::vector<unsigned char> data)
    {
        LOCKED;
        LogCall("vnaFactoryCalWriteData", handle, data.size());
        Device* d = Find(handle);
        if (!d || data.empty())
        {
            return -1;
        }
        d->flash = std::move(data);
        d->flashDate = static_cast<unsigned long>(std::time(nullptr));
        return 0;
    }

    // --------------------------------------------------------------------------------------
    // Control interface

    int vnaSimCommand(const char* line, char* reply, int replySize)
    {
        const std::string r = HandleCommand(line ? std::string(line) : std::string());
        if (reply && replySize > 0)
        {
            std::snprintf(reply, size_t(replySize), "%s", r.c_str());
        }
        return r.compare(0, 2, "ok") == 0 ? 0 : -1;
    }

    void vnaSimSetNoise(int on)
    {
        LOCKED;
        S().noise = on != 0;
    }

    void vnaSimSetSeed(unsigned long long seed)
    {
        LOCKED;
        S().seeder.seed(seed);
    }

    void vnaSimReset(void)
    {
        for (int h = 1; h <= kDeviceCount; ++h)
        {
            vnaCloseDevice(h);
        }
        LOCKED;
        for (Device& d : S().devices)
        {
            d.pending = d.active = Config();
            d.idle = true;
            d.setpoint = 50.0f;
            d.fanFixed = false;
            d.flash.clear();
            d.flashDate = 0;
            d.factoryFlash = true;
        }
        S().scene = Scene();
        S().noise = true;
        S().crosstalk = true;
        S().seeder.seed(kDefaultSeed);
        S().callLog.clear();
        S().callCounts.clear();
    }

    int vnaSimCallCount(const char* name)
    {
        LOCKED;
        if (!name)
        {
            return 0;
        }
        const auto it = S().callCounts.find(name);
        return it == S().callCounts.end() ? 0 : it->second;
    }

    int vnaSimCallLog(char* buffer, int size)
    {
        LOCKED;
        std::string all;
        for (const std::string& l : S().callLog)
        {
            all += l;
            all += '\n';
        }
        if (buffer && size > 0)
        {
            std::snprintf(buffer, size_t(size), "%s", all.c_str());
        }
        return int(all.size());
    }

    void vnaSimClearCallLog(void)
    {
        LOCKED;
        S().callLog.clear();
        S().callCounts.clear();
    }

    int vnaSimErrorTerms(double f, int hdr, double* terms)
    {
        if (!terms)
        {
            return -1;
        }
        ErrorBoxes b = BoxesAt(f);
        {
            LOCKED;
            if (!S().crosstalk)
            {
                b.leakF = b.leakR = 0.0;
            }
        }
        const Terms12 t = TermsOf(b, hdr != 0);
        const cplx all[12] = {t.edf, t.esf, t.elf, t.erf, t.etf, t.exf,
                              t.edr, t.esr, t.elr, t.err, t.etr, t.exr};
        for (int i = 0; i < 12; ++i)
        {
            Put(terms, i, all[i]);
        }
        return 0;
    }

    int vnaSimErrorBoxes(double f, double* values)
    {
        if (!values)
        {
            return -1;
        }
        const ErrorBoxes b = BoxesAt(f);
        const cplx all[10] = {b.gammaF, b.gammaR, b.e00, b.e11, b.e10,
                              b.e01,    b.e33,    b.e22, b.e23, b.e32};
        for (int i = 0; i < 10; ++i)
        {
            Put(values, i, all[i]);
        }
        return 0;
    }

    int vnaSimSceneS(double f, double* s)
    {
        if (!s)
        {
            return -1;
        }
        SMatrix m;
        {
            LOCKED;
            m = S().scene.At(f);
        }
        Put(s, 0, m.s11);
        Put(s, 1, m.s21);
        Put(s, 2, m.s12);
        Put(s, 3, m.s22);
        return 0;
    }

    int vnaSimGenerateSweep(int handle, double* const buffers[16])
    {
        SweepPlan plan;
        {
            LOCKED;
            Device* d = Find(handle);
            if (!d || !d->configured || !buffers)
            {
                return -1;
            }
            plan.cfg = d->active;
            plan.scene = S().scene;
            plan.noise = S().noise;
            plan.crosstalk = S().crosstalk;
            plan.seed = S().seeder();
        }
        Noise noise(plan.seed);
        for (int dir = 0; dir < 2; ++dir)
        {
            if (!(dir ? plan.cfg.rev : plan.cfg.fwd))
            {
                continue;
            }
            for (int i = 0; i < plan.cfg.points; ++i)
            {
                ComputePoint(plan, i, dir == 1, noise, buffers);
            }
        }
        return 0;
    }

    void vnaSimSetServerPort(int port)
    {
        bool running = false;
        {
            LOCKED;
            S().wantedPort = port < 0 ? -1 : std::min(port, 65535);
            port = S().wantedPort;
        }
        {
            std::lock_guard<std::mutex> lock(S().serverMutex);
            running = S().server != nullptr;
        }
        if (running || port < 0)
        {
            StartServer(port);
        }
    }

    int vnaSimServerPort(void)
    {
        std::lock_guard<std::mutex> lock(S().serverMutex);
        return S().server ? S().server->Port() : 0;
    }
}
