// The only class that talks to the instrument: the run-time bound library, or the demo device
// that replays a Touchstone file with the instrument's timing.
#pragma once

#include <QString>
#include <QVector>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "network_parameters.h"
#include "vna_stimulus.h"

class VnaLib;

enum VNAReference : int32_t
{
    VNAReferenceInternal = 0,
    VNAReferenceExternal = 1
};

class VNADevice
{
public:
    explicit VNADevice(const VnaLib* library = nullptr);

    bool Connect();
    bool Connect(int serial);
    bool ConnectWithHandle(int handle);
    bool ConnectDemo();
    bool Disconnect();
    std::vector<int> GetDeviceList() const;

    bool Connected() const { return connected; }
    bool IsDemoMode() const { return demoMode; }
    int Handle() const { return handle; }

    QString GetDeviceName() const;
    int GetSerialNumber() const;
    int GetFirmwareVersion() const;
    QString GetAPIVersion() const;
    void GetDiagnostics(double& power, double& temperature, double& third,
                        unsigned int& fourth) const;
    double GetTemp() const;
    void SetFanSpeed(double percent);
    void SetTempThreshold(double degrees);
    void SetReference(VNAReference reference);
    void SetGenerator(int port, double freq, int atten);
    int GetStartFreq() const { return 1; }
    int GetSweepPoints() const { return 0; }

    bool GetFactoryCalDate(bool& present, unsigned long& date) const;
    bool ReadFactoryCal(std::vector<unsigned char>& data, int size) const;
    bool HasFactoryCalOnFlash() const;
    bool WriteFactoryCal(const std::vector<unsigned char>& data);

    bool Configure(const VNAStimulus& stimulus, bool rfEnabled, bool fwd, bool rev, bool hdr,
                   bool hdrThru, bool spurDodge);
    bool ConfigureRecievers(const VNAStimulus& stimulus, int port);
    void StartSweep(SParametersRaw& record);
    void GetSweep(SParametersRaw& record);
    SParametersRaw GetSweep();
    void GetRecievers(SParametersRaw& record);
    void GetSweepUpdate(int& fwdPoints, int& revPoints, double& percent);
    void FinishSweep();
    void AbortSweep();
    // Ends at once what the device is waiting for or working on (the demo's timing in
    // FinishSweep, the demo's resampling in Configure), and any such wait until the next
    // Configure, StartSweep or GetSweep. Safe from any thread: the measurement loop's owner
    // calls it to stop the loop without waiting out a sweep. The caller then checks its own
    // reason to stop after each device call.
    void InterruptWaits();

    const VNAStimulus& Stimulus() const { return stimulus; }
    bool FwdEnabled() const { return fwdEnabled; }
    bool RevEnabled() const { return revEnabled; }

    // One direction of a demo sweep, in whole milliseconds: 201 points take 70 ms.
    static int DemoSweepTime(int points);
    // The demo's time source in milliseconds, a steady clock unless replaced: tests and
    // benchmarks step the timing model with their own. An empty function restores the default.
    void SetDemoClock(std::function<int64_t()> nowMs);

private:
    // Idle mode, fan setpoint and the connected flag, once a handle is open.
    bool FinishConnect(bool idle);
    int QueryInt(void (*query)(int, int*), int demoValue) const;
    // One sweep that returns when the record's buffers are full.
    void BlockingSweep(SParametersRaw& record);
    void DemoConfigure(double start, double step, int points);
    void DemoGetSweep(double* const buffers[8]);
    void DemoBeginSweep(double* const buffers[8]);
    void DemoGetSweepStatus(int* fwd, int* rev);
    void DemoFinishSweep();
    // Waits until the demo clock has advanced by ms; false when interrupted first.
    bool DemoWait(int64_t ms);
    void ResumeWaits();
    int64_t NowMs() const;

    const VnaLib& lib;
    bool connected = false;
    int32_t handle = -1;
    VNAStimulus stimulus;
    bool fwdEnabled = true;
    bool revEnabled = false;
    bool demoMode = false;
    QVector<double> demoFreqs;
    SParameters demoData;
    SParametersRaw demoSweep;
    int64_t demoStartMs = 0;
    bool demoFirstPhase = false;
    std::function<int64_t()> demoClock;

    // Orders an interruption against a wait's check of `interrupted` and its sleep.
    std::mutex waitMutex;
    std::atomic<bool> interrupted{false};
    std::condition_variable waitWake;
};
