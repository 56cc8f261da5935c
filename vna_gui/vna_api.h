// The instrument library's 33 operations as the program calls them. The library is loaded at run
// time (vna_lib); this header is the contract any implementation of libvna_api has to meet.
// Unless marked otherwise each takes the device handle first; where a result is used 0 = success.
#pragma once

#include <vector>

#if defined(_WIN32)
#define VNA_API_EXPORT __declspec(dllexport)
#else
#define VNA_API_EXPORT __attribute__((visibility("default")))
#endif

// The 16 sweep buffers, in this order, each interleaved real/imaginary doubles:
// S11 S21 S12 S22, S11HDR S21HDR S12HDR S22HDR, a1Fwd a2Fwd b1Fwd b2Fwd, a1Rev a2Rev b1Rev b2Rev.
// A null pointer means the caller does not want that vector.
// clang-format off
#define VNA_API_FUNCTIONS(X)                                                                 \
    X(int, vnaOpenDevice, (int* handle))                                                     \
    X(int, vnaOpenDeviceBySerial, (int* handle, int serial))                                 \
    X(void, vnaCloseDevice, (int handle))                                                    \
    X(void, vnaGetDeviceList, (int* serials, int* count))                                    \
    X(const char*, vnaGetAPIVersion, ())                                                     \
    X(void, vnaGetSerial, (int handle, int* serial))                                         \
    X(void, vnaGetFirmwareVersion, (int handle, int* version))                               \
    X(void, vnaGetDiagnostics,                                                               \
      (int handle, double* power, double* temperature, double* third, unsigned* fourth))     \
    X(void, vnaSetIdleMode, (int handle, bool idle))                                         \
    X(void, vnaSetTempSetpoint, (int handle, float degrees))                                 \
    X(void, vnaSetFanSpeed, (int handle, float percent))                                     \
    X(void, vnaSetReference, (int handle, int reference))                                    \
    X(void, vnaSetGenerator, (int handle, int port, double freq, int atten))                 \
    X(void, vnaSetDataType, (int handle, int type, bool port2))                              \
    X(void, vnaSweepSetPorts, (int handle, bool fwd, bool rev))                              \
    X(void, vnaSweepSetPoints, (int handle, int points))                                     \
    X(void, vnaSweepSetStartStop, (int handle, double start, double stop))                   \
    X(void, vnaSweepSetIFBandwidth, (int handle, double hz))                                 \
    X(void, vnaSweepSetRFEnabled, (int handle, bool enabled))                                \
    X(void, vnaSweepSetAtten, (int handle, int db))                                          \
    X(void, vnaSweepSetLevel, (int handle, double dbm))                                      \
    X(void, vnaSweepSetHDR, (int handle, bool hdr, bool hdrThru))                            \
    X(void, vnaSweepSetSOLRModel, (int handle, bool solr))                                   \
    X(void, vnaForceSpurDodge, (int handle, bool dodge))                                     \
    X(void, vnaReconfigure, (int handle))                                                    \
    X(void, vnaBeginSweep,                                                                   \
      (int handle, double* b0, double* b1, double* b2, double* b3, double* b4, double* b5,    \
       double* b6, double* b7, double* b8, double* b9, double* b10, double* b11, double* b12, \
       double* b13, double* b14, double* b15))                                               \
    X(void, vnaGetSweep,                                                                     \
      (int handle, double* b0, double* b1, double* b2, double* b3, double* b4, double* b5,    \
       double* b6, double* b7, double* b8, double* b9, double* b10, double* b11, double* b12, \
       double* b13, double* b14, double* b15))                                               \
    X(void, vnaGetSweepStatus, (int handle, int* fwd, int* rev, double* percent))            \
    X(void, vnaFinishSweep, (int handle))                                                    \
    X(void, vnaAbortSweep, (int handle))                                                     \
    X(int, vnaFactoryCalGetDate, (int handle, bool& present, unsigned long& date))           \
    X(int, vnaFactoryCalRead, (int handle, unsigned char* data, int size))                   \
    X(int, vnaFactoryCalWriteData, (int handle, std::vector<unsigned char> data))

// clang-format on

#define VNA_API_DECLARE(ret, name, args) VNA_API_EXPORT ret name args;
extern "C"
{
    VNA_API_FUNCTIONS(VNA_API_DECLARE)
}
#undef VNA_API_DECLARE
