// Control interface of the instrument simulator, for tests, benchmarks and scripts. The simulator
// is a drop-in libvna_api: the program drives it through the device operations of vna_api.h,
// and this interface sets up what the instrument "sees" and exposes its model.
#pragma once

#include "vna_api.h"

#define VNA_SIM_EXPORT __attribute__((visibility("default")))

extern "C"
{
    // Runs one scene command ("connect port 1 short", "noise off", ...), the same language the
    // loopback port speaks. The reply ("ok", "ok <text>" or "error: <text>") is copied into reply
    // (always terminated) when reply is not null. Returns 0 on success, -1 on error.
    VNA_SIM_EXPORT int vnaSimCommand(const char* line, char* reply, int replySize);

    // Trace noise and spurs on (1) or off (0); off makes every sweep exact and repeatable.
    VNA_SIM_EXPORT void vnaSimSetNoise(int on);
    VNA_SIM_EXPORT void vnaSimSetSeed(unsigned long long seed);
    // Closes every device, clears the scene (nothing on both ports), the call log and the
    // settings, and puts the shipped factory calibration back on the flash; noise back on with
    // the default seed. The loopback port stays as it is.
    VNA_SIM_EXPORT void vnaSimReset(void);

    // Calls of the device operations. The log holds one line per call, "name(arg,arg,...)",
    // booleans as 0 and 1 and doubles with %.17g, for the latest 20000 calls. vnaSimCallLog
    // copies as much as fits and returns the full length.
    VNA_SIM_EXPORT int vnaSimCallCount(const char* name);
    VNA_SIM_EXPORT int vnaSimCallLog(char* buffer, int size);
    VNA_SIM_EXPORT void vnaSimClearCallLog(void);

    // The twelve error terms the ratio data obey at frequency f, as 12 complex values (24
    // doubles, interleaved) in the order edf esf elf erf etf exf edr esr elr err etr exr; hdr 1
    // gives those of the high-dynamic-range data. Returns 0.
    VNA_SIM_EXPORT int vnaSimErrorTerms(double f, int hdr, double* terms);
    // The switch terminations at the receiver planes and the physical adapters at f, as complex
    // values: gammaF gammaR e00 e11 e10 e01 e33 e22 e23 e32 (20 doubles). Returns 0.
    VNA_SIM_EXPORT int vnaSimErrorBoxes(double f, double* values);
    // The S-parameters the present scene shows at f: S11 S21 S12 S22 (8 doubles). Returns 0.
    VNA_SIM_EXPORT int vnaSimSceneS(double f, double* s);

    // Computes the configured sweep of an open device at once, without the instrument's
    // pacing, into the 16 buffers of vnaBeginSweep (nulls allowed). Returns 0, or -1 when the
    // handle is not open or the device was never reconfigured.
    VNA_SIM_EXPORT int vnaSimGenerateSweep(int handle, double* const buffers[16]);

    // Loopback port for scene commands: < 0 off, 0 any free port, otherwise that port. The
    // default is 5027, or VNA_SIM_PORT from the environment. A running listener restarts on
    // the new port; otherwise it starts with the first vnaOpenDevice.
    VNA_SIM_EXPORT void vnaSimSetServerPort(int port);
    // The port the listener is bound to, or 0 when it is not running.
    VNA_SIM_EXPORT int vnaSimServerPort(void);
}
