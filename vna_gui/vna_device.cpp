#include "vna_device.h"

#include <QDebug>
#include <chrono>
#include <cmath>
#include <limits>

#include "touchstone.h"
#include "vna_lib.h"

static void InitResources()
{
    Q_INIT_RESOURCE(resources);
}

VNADevice::VNADevice(const VnaLib* library) : lib(library ? *library : VnaLib::Get()) {}

int64_t VNADevice::NowMs() const
{
    if (demoClock)
    {
        return demoClock();
    }
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

void VNADevice::SetDemoClock(std::function<int64_t()> nowMs)
{
    demoClock = std::move(nowMs);
}

void VNADevice::InterruptWaits()
{
    {
        std::lock_guard<std::mutex> lock(waitMutex);
        interrupted.store(true);
    }
    waitWake.notify_all();
}

void VNADevice::ResumeWaits()
{
    interrupted.store(false);
}

bool VNADevice::DemoWait(int64_t ms)
{
    const int64_t deadline = NowMs() + ms;
    std::unique_lock<std::mutex> lock(waitMutex);
    for (int64_t left = ms; left > 0 && !interrupted.load(); left = deadline - NowMs())
    {
        // In slices, so that a replaced clock is followed too.
        waitWake.wait_for(lock, std::chrono::milliseconds(std::min<int64_t>(left, 10)));
    }
    return !interrupted.load();
}

bool VNADevice::FinishConnect(bool idle)
{
    lib.vnaSetIdleMode(handle, idle);
    lib.vnaSetTempSetpoint(handle, 50.0f);
    connected = true;
    return true;
}

bool VNADevice::Connect()
{
    if (connected)
    {
        return true;
    }
    if (!lib.Available() || lib.vnaOpenDevice(&handle) != 0)
    {
        return false;
    }
    return FinishConnect(true);
}

bool VNADevice::Connect(int serial)
{
    if (connected)
    {
        return true;
    }
    if (!lib.Available() || lib.vnaOpenDeviceBySerial(&handle, serial) != 0)
    {
        return false;
    }
    // Opening a chosen instrument wakes it, unlike the first-found open above.
    return FinishConnect(false);
}

bool VNADevice::ConnectWithHandle(int h)
{
    if (connected)
    {
        return true;
    }
    if (!lib.Available())
    {
        return false;
    }
    handle = h;
    return FinishConnect(false);
}

bool VNADevice::ConnectDemo()
{
    if (connected)
    {
        return true;
    }
    InitResources();
    QVector<double> freqs;
    SParameters data;
    QString error;
    if (!LoadS2PFile(QStringLiteral(":/resources/demo_bandpass.s2p"), false, freqs, data, error))
    {
        qDebug() << "Demo file:" << error;
        return false;
    }
    demoFreqs = freqs;
    demoData = data;
    connected = true;
    demoMode = true;
    return true;
}

bool VNADevice::Disconnect()
{
    if (!connected)
    {
        return true;
    }
    if (demoMode)
    {
        connected = false;
        demoMode = false;
        return true;
    }
    lib.vnaSetIdleMode(handle, true);
    lib.vnaCloseDevice(handle);
    handle = -1;
    connected = false;
    return true;
}

std::vector<int> VNADevice::GetDeviceList() const
{
    std::vector<int> serials(8, 0);
    int count = int(serials.size());
    if (!lib.Available())
    {
        return {};
    }
    lib.vnaGetDeviceList(serials.data(), &count);
    serials.resize(size_t(std::max(count, 0)));
    return serials;
}

QString VNADevice::GetDeviceName() const
{
    return QStringLiteral("NVX400");
}

int VNADevice::QueryInt(void (*query)(int, int*), int demoValue) const
{
    if (!connected)
    {
        return 0;
    }
    if (demoMode)
    {
        return demoValue;
    }
    int value = -1;  // stands when the library leaves it untouched
    query(handle, &value);
    return value;
}

int VNADevice::GetSerialNumber() const
{
    return QueryInt(lib.vnaGetSerial, 20000001);
}

int VNADevice::GetFirmwareVersion() const
{
    return QueryInt(lib.vnaGetFirmwareVersion, 3);
}

QString VNADevice::GetAPIVersion() const
{
    if (!lib.Available())
    {
        return QString();
    }
    const char* v = lib.vnaGetAPIVersion();
    return v ? QString::fromLatin1(v) : QString();
}

void VNADevice::GetDiagnostics(double& power, double& temperature, double& third,
                               unsigned int& fourth) const
{
    if (!connected)
    {
        return;
    }
    if (demoMode)
    {
        power = temperature = third = 0.0;
        return;
    }
    lib.vnaGetDiagnostics(handle, &power, &temperature, &third, &fourth);
}

double VNADevice::GetTemp() const
{
    double power = 0.0, temperature = 0.0, third = 0.0;
    unsigned int fourth = 0;
    GetDiagnostics(power, temperature, third, fourth);
    return temperature;
}

void VNADevice::SetFanSpeed(double percent)
{
    if (!connected || demoMode)
    {
        return;
    }
    qDebug() << "Setting fan speed to " << percent;
    lib.vnaSetFanSpeed(handle, float(percent));
}

void VNADevice::SetTempThreshold(double degrees)
{
    if (!connected || demoMode)
    {
        return;
    }
    qDebug() << "Setting temp setpoint to " << degrees;
    lib.vnaSetTempSetpoint(handle, float(degrees));
}

void VNADevice::SetReference(VNAReference reference)
{
    // Called whatever the connection state; a library must accept the -1 handle.
    if (lib.Available())
    {
        lib.vnaSetReference(handle, int(reference));
    }
}

void VNADevice::SetGenerator(int port, double freq, int atten)
{
    if (demoMode || !lib.Available())
    {
        return;
    }
    lib.vnaSetGenerator(handle, port, freq, atten);
}

bool VNADevice::GetFactoryCalDate(bool& present, unsigned long& date) const
{
    present = false;
    date = 0;
    if (!connected || demoMode)
    {
        return false;
    }
    return lib.vnaFactoryCalGetDate(handle, present, date) == 0;
}

bool VNADevice::ReadFactoryCal(std::vector<unsigned char>& data, int size) const
{
    if (!connected || demoMode || size <= 0)
    {
        return false;
    }
    data.assign(size_t(size), 0);
    return lib.vnaFactoryCalRead(handle, data.data(), size) == 0;
}

bool VNADevice::HasFactoryCalOnFlash() const
{
    bool present = false;
    unsigned long date = 0;
    return GetFactoryCalDate(present, date) && present;
}

bool VNADevice::WriteFactoryCal(const std::vector<unsigned char>& data)
{
    if (!connected || demoMode)
    {
        return false;
    }
    return lib.vnaFactoryCalWriteData(handle, data) == 0;
}

bool VNADevice::Configure(const VNAStimulus& stim, bool rfEnabled, bool fwd, bool rev, bool hdr,
                          bool hdrThru, bool spurDodge)
{
    if (!connected)
    {
        return false;
    }
    if (demoMode)
    {
        DemoConfigure(stim.start, stim.StepSize(), stim.points);
    }
    else
    {
        double atten = 0.0;
        switch (stim.powerConfig)
        {
            case VNAPowerHigh:
                atten = 0.0;
                break;
            case VNAPowerLow:
                atten = 30.0;
                break;
            case VNAPowerManualAtten:
                atten = stim.manualAtten;
                break;
            case VNAPowerManualPower:
                atten = 0.0;
                break;
        }
        lib.vnaSetDataType(handle, 0, false);
        lib.vnaSweepSetPorts(handle, fwd, rev);
        lib.vnaSweepSetPoints(handle, stim.points);
        lib.vnaSweepSetStartStop(handle, stim.start, stim.stop);
        lib.vnaSweepSetIFBandwidth(handle, stim.ifbw);
        lib.vnaSweepSetRFEnabled(handle, rfEnabled);
        if (stim.powerConfig == VNAPowerManualPower)
        {
            lib.vnaSweepSetLevel(handle, stim.manualPower);
        }
        else
        {
            lib.vnaSweepSetAtten(handle, int(atten));
        }
        lib.vnaSweepSetHDR(handle, hdr, hdrThru);
        // The library's SOLR model and the high-dynamic-range path exclude each other.
        const bool solr = !(hdr || hdrThru);
        qDebug() << "Use SOLR Model" << (solr ? "true" : "false");
        lib.vnaSweepSetSOLRModel(handle, solr);
        lib.vnaForceSpurDodge(handle, spurDodge);
        lib.vnaReconfigure(handle);
    }
    stimulus = stim;
    fwdEnabled = fwd;
    revEnabled = rev;
    return true;
}

bool VNADevice::ConfigureRecievers(const VNAStimulus& stim, int port)
{
    if (!connected)
    {
        return false;
    }
    if (demoMode)
    {
        DemoConfigure(stim.start, stim.StepSize(), stim.points);
    }
    else
    {
        double atten = 0.0;
        if (stim.powerConfig == VNAPowerLow)
        {
            atten = 30.0;
        }
        else if (stim.powerConfig == VNAPowerManualAtten)
        {
            atten = stim.manualAtten;
        }
        lib.vnaSetDataType(handle, 1, port == 1);
        lib.vnaSweepSetPorts(handle, port == 0, port == 1);
        lib.vnaSweepSetPoints(handle, stim.points);
        lib.vnaSweepSetStartStop(handle, stim.start, stim.stop);
        lib.vnaSweepSetIFBandwidth(handle, stim.ifbw);
        if (stim.powerConfig == VNAPowerManualPower)
        {
            lib.vnaSweepSetLevel(handle, stim.manualPower);
        }
        else
        {
            lib.vnaSweepSetAtten(handle, int(atten));
        }
        lib.vnaSweepSetHDR(handle, false, false);
        lib.vnaReconfigure(handle);
    }
    stimulus = stim;
    fwdEnabled = port == 0;
    revEnabled = port == 1;
    return true;
}

namespace
{
// Buffer pointer of one record member; detaches first so the library's target never moves.
double* Buf(CplxVector& v)
{
    return reinterpret_cast<double*>(v.data());
}

// The 16 buffers in library order, with nulls for the directions that are off.
void SweepBuffers(SParametersRaw& r, bool fwd, bool rev, double* out[16])
{
    for (int i = 0; i < 16; ++i)
    {
        out[i] = Buf(r.Vector(i));
    }
    if (!fwd)
    {
        out[0] = out[1] = out[4] = out[5] = nullptr;
    }
    if (!rev)
    {
        out[2] = out[3] = out[6] = out[7] = nullptr;
    }
}
}  // namespace

void VNADevice::StartSweep(SParametersRaw& r)
{
    if (!connected)
    {
        return;
    }
    ResumeWaits();
    double* b[16];
    SweepBuffers(r, fwdEnabled, revEnabled, b);
    if (demoMode)
    {
        double* const demo[8] = {b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7]};
        DemoBeginSweep(demo);
        return;
    }
    lib.vnaBeginSweep(handle, b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10],
                      b[11], b[12], b[13], b[14], b[15]);
}

void VNADevice::BlockingSweep(SParametersRaw& r)
{
    if (!connected)
    {
        return;
    }
    ResumeWaits();
    double* b[16];
    SweepBuffers(r, fwdEnabled, revEnabled, b);
    if (demoMode)
    {
        double* const demo[8] = {b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7]};
        DemoGetSweep(demo);
        return;
    }
    lib.vnaGetSweep(handle, b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10],
                    b[11], b[12], b[13], b[14], b[15]);
}

void VNADevice::GetSweep(SParametersRaw& r)
{
    r.Resize(stimulus.points);
    r.positionStart = r.positionEnd = stimulus.points;
    BlockingSweep(r);
}

SParametersRaw VNADevice::GetSweep()
{
    // A fresh record: its positions stay at 0.
    SParametersRaw r;
    r.Resize(stimulus.points);
    BlockingSweep(r);
    return r;
}

void VNADevice::GetRecievers(SParametersRaw& r)
{
    if (!connected)
    {
        return;
    }
    // In receiver mode the library writes the receivers into the first eight buffers.
    double* b[8];
    for (int i = 0; i < 8; ++i)
    {
        b[i] = Buf(r.Vector(i));
    }
    if (demoMode)
    {
        DemoGetSweep(b);
        return;
    }
    lib.vnaGetSweep(handle, b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], nullptr, nullptr,
                    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
}

void VNADevice::GetSweepUpdate(int& fwdPoints, int& revPoints, double& percent)
{
    if (connected)
    {
        if (demoMode)
        {
            DemoGetSweepStatus(&fwdPoints, &revPoints);
        }
        else
        {
            lib.vnaGetSweepStatus(handle, &fwdPoints, &revPoints, &percent);
        }
    }
    const double n = stimulus.points;
    if (fwdEnabled && revEnabled)
    {
        percent = (fwdPoints / n * 0.5 + revPoints / n * 0.5) * 100.0;
    }
    else if (fwdEnabled)
    {
        revPoints = stimulus.points;
        percent = fwdPoints / n * 100.0;
    }
    else if (revEnabled)
    {
        fwdPoints = stimulus.points;
        percent = revPoints / n * 100.0;
    }
    else
    {
        fwdPoints = revPoints = stimulus.points;
        percent = 100.0;
    }
}

void VNADevice::FinishSweep()
{
    if (!connected)
    {
        return;
    }
    if (demoMode)
    {
        DemoFinishSweep();
        return;
    }
    lib.vnaFinishSweep(handle);
}

void VNADevice::AbortSweep()
{
    if (!connected || demoMode)
    {
        return;
    }
    lib.vnaAbortSweep(handle);
}

int VNADevice::DemoSweepTime(int points)
{
    return int(points * 70.0 / 201.0);
}

void VNADevice::DemoConfigure(double start, double step, int points)
{
    ResumeWaits();
    demoSweep.Resize(points);
    for (int i = 0; i < points; ++i)
    {
        // Tens of milliseconds at the largest sweeps: a stop need not wait for the rest, since
        // the next Configure computes it again.
        if ((i & 1023) == 1023 && interrupted.load())
        {
            return;
        }
        const double f = i * step + start;
        demoSweep.S11[i] = InterpolateArray(demoFreqs, demoData.S11, f);
        demoSweep.S21[i] = InterpolateArray(demoFreqs, demoData.S21, f);
        demoSweep.S12[i] = InterpolateArray(demoFreqs, demoData.S12, f);
        demoSweep.S22[i] = InterpolateArray(demoFreqs, demoData.S22, f);
        demoSweep.S11HDR[i] = demoSweep.S11[i];
        demoSweep.S21HDR[i] = demoSweep.S21[i];
        demoSweep.S12HDR[i] = demoSweep.S12[i];
        demoSweep.S22HDR[i] = demoSweep.S22[i];
    }
}

void VNADevice::DemoGetSweep(double* const b[8])
{
    const int n = std::min(stimulus.points, demoSweep.Size());
    const size_t bytes = size_t(std::max(n, 0)) * sizeof(std::complex<double>);
    auto put = [&](double* dst, const CplxVector& src)
    {
        if (dst && bytes)
        {
            memcpy(dst, src.constData(), bytes);
        }
    };
    if (fwdEnabled)
    {
        put(b[0], demoSweep.S11);
        put(b[4], demoSweep.S11HDR);
        put(b[1], demoSweep.S21);
        put(b[5], demoSweep.S21HDR);
    }
    if (revEnabled)
    {
        put(b[2], demoSweep.S12);
        put(b[6], demoSweep.S12HDR);
        put(b[3], demoSweep.S22);
        put(b[7], demoSweep.S22HDR);
    }
}

void VNADevice::DemoBeginSweep(double* const b[8])
{
    // All data is in place at once; only the reported position advances with time.
    DemoGetSweep(b);
    demoStartMs = NowMs();
    demoFirstPhase = true;
}

void VNADevice::DemoGetSweepStatus(int* fwd, int* rev)
{
    const int points = stimulus.points;
    const double t = DemoSweepTime(points);
    const double ratio = double(NowMs() - demoStartMs) / t * points;
    int p = 0;
    if (std::isfinite(ratio) && ratio > 0.0 && ratio < double(std::numeric_limits<int>::max()))
    {
        p = int(ratio);
    }
    p = std::min(p, points);
    if (demoFirstPhase)
    {
        *fwd = p;
        *rev = 0;
        if (p >= points)
        {
            demoFirstPhase = false;
            demoStartMs = NowMs();
        }
    }
    else
    {
        *fwd = points;
        *rev = p;
    }
}

void VNADevice::DemoFinishSweep()
{
    const int64_t t = DemoSweepTime(stimulus.points);
    const int64_t remaining = t - (NowMs() - demoStartMs);
    if (remaining <= 0 || !DemoWait(remaining))
    {
        return;
    }
    // The forward phase ended while waiting: the reverse phase is timed as well.
    if (demoFirstPhase && DemoWait(t))
    {
        demoFirstPhase = false;
    }
}
