// Conversions between remote parameter texts and program values: numbers, frequencies, times,
// file names, binary blocks and the word tables of the enumerations.
#pragma once

#include <QString>
#include <vector>

#include "network_parameters.h"
#include "scpi_def.h"
#include "vna_device.h"
#include "vna_meas.h"
#include "vna_stimulus.h"
#include "vna_trace.h"

class Scpi;

// Plain values. Each returns the value and sets ok; on failure the value is 0 (or empty).
int scpiParameterToInt(const QString& text, bool& ok);
bool scpiParameterToBool(const QString& text, bool& ok);
double scpiParameterToDouble(const QString& text, bool& ok);
// Hz; accepts an optional h/hz, k/kh/khz, m/mh/mhz, g/gh/ghz unit. The number pattern is
// deliberately narrow (one unsigned exponent digit) and clients rely on exactly this.
double scpiParameterToFreq(const QString& text, bool& ok);
// Removes the surrounding double quotes, which are required.
QString scpiParameterToFileName(const QString& text, bool& ok);
// A definite-length block "#<n><n digits of count><count bytes>".
bool scpiParameterToBinary(const QString& text, std::vector<unsigned char>& data);
// A number with an optional unit s, ms, us, ns or ps; seconds.
bool isValidTimeString(const QString& text, double& seconds);

// Word tables. stringToX matches the exact lower-case word; scpiParameterToX reads one
// parameter, queues -2 with the table's message on failure and consumes the parameter either
// way; xToText gives the reply form (the long word).
bool stringToSweepMode(const QString& text, VNASweepMode::Mode& mode);
bool scpiParameterToSweepMode(Scpi* scpi, VNASweepMode::Mode& mode);
QString sweepModeToText(VNASweepMode::Mode mode);

// Marker coupling: 0 off, 1 channel, 2 all (values of MarkerCouplingMethod).
bool stringToMarkerCouplingMethod(const QString& text, int& method);
bool scpiParameterToMarkerCouplingMethod(Scpi* scpi, int& method);
QString markerCouplingMethodToString(int method);

bool stringToMeas(const QString& text, VNATraceMeas& meas);
bool scpiParameterToMeas(Scpi* scpi, VNATraceMeas& meas);
// measToText: see vna_trace.h

bool stringToTraceFormat(const QString& text, VNATraceFormat& format);
bool scpiParameterToTraceFormat(Scpi* scpi, VNATraceFormat& format);
// traceFormatToText: see trace_formats.h

// Trace hold: 0 off, 1 minimum, 2 maximum (values of VNATraceHold).
bool stringToTraceHoldType(const QString& text, int& hold);
bool scpiParameterToTraceHoldType(Scpi* scpi, int& hold);
// traceHoldTypeToText: see vna_trace.h

// Trace math: 0 normal, 1 divide, 2 subtract, 3 add, 4 multiply, 5 data (values of
// VNATraceMathOp).
bool stringToTraceMathOp(const QString& text, int& op);
bool scpiParameterToTraceMathOp(Scpi* scpi, int& op);
// traceMathOpToText: see vna_trace.h

bool stringToReference(const QString& text, VNAReference& reference);
bool scpiParameterToReference(Scpi* scpi, VNAReference& reference);
QString referenceToText(VNAReference reference);

// Marker type: true for a fixed marker.
bool stringToMarkerType(const QString& text, bool& fixed);
bool scpiParameterToMarkerType(Scpi* scpi, bool& fixed);
QString markerTypeToText(bool fixed);

// Marker search: 0 maximum, 1 minimum, 2 right peak, 3 left peak, 4 next peak (values of
// VNAMarkerFunction).
bool stringToMarkerFunction(const QString& text, int& function);
bool scpiParameterToMarkerFunction(Scpi* scpi, int& function);
QString markerFunctionToText(int function);

// Marker tracking: 0 off, 1 maximum (values of VNAMarkerTrackingFunction).
bool stringToMarkerTrackingFunction(const QString& text, int& function);
bool scpiParameterToMarkerTrackingFunction(Scpi* scpi, int& function);
QString markerTrackingFunctionToText(int function);

// Time transform: 0 band-pass, 1 low-pass step, 2 low-pass impulse (values of
// VNATransformType).
bool stringToTransformType(const QString& text, int& type);
bool scpiParameterToTransformType(Scpi* scpi, int& type);
QString transformTypeToText(int type);

// Transform window: 0 minimum, 1 normal, 2 maximum, 3 custom (values of VNATransformWindow).
bool stringToTransformWindow(const QString& text, int& window);
bool scpiParameterToTransformWindow(Scpi* scpi, int& window);
QString transformWindowToText(int window);

// Transform marker mode: 0 auto, 1 reflection, 2 transmission (VNATransformMarkerMode).
bool stringToTransformMarkerMode(const QString& text, int& mode);
bool scpiParameterToTransformMarkerMode(Scpi* scpi, int& mode);
QString transformMarkerModeToText(int mode);

// Transform units: 0 time, 1 metres, 2 feet, 3 inches (values of VNATransformUnits).
bool stringToTransformUnits(const QString& text, int& units);
bool scpiParameterToTransformUnits(Scpi* scpi, int& units);
QString transformUnitsToText(int units);

// Gate: 0 band-pass, 1 notch (values of VNAGateType).
bool stringToGateType(const QString& text, int& type);
bool scpiParameterToGateType(Scpi* scpi, int& type);
QString gateTypeToText(int type);

// Gate shape: 0 minimum, 1 normal, 2 wide, 3 maximum (values of VNAGateShape).
bool stringToGateShape(const QString& text, int& shape);
bool scpiParameterToGateShape(Scpi* scpi, int& shape);
QString gateShapeToText(int shape);

bool stringToPowerConfig(const QString& text, VNAPowerConfig& config);
bool scpiParameterToPowerConfig(Scpi* scpi, VNAPowerConfig& config);
QString powerConfigToText(VNAPowerConfig config);

bool stringToSweepType(const QString& text, VNASweepType& type);
bool scpiParameterToSweepType(Scpi* scpi, VNASweepType& type);
QString sweepTypeToText(VNASweepType type);

// Trigger scope: true for all channels, false for the active one.
bool stringToTriggerScope(const QString& text, bool& allChannels);
bool scpiParameterToTriggerScope(Scpi* scpi, bool& allChannels);
QString triggerScopeToText(bool allChannels);

// Scale coupling: 0 off, 1 plot, 2 all (values of VNATraceScaleCoupling).
bool stringToTraceScaleCoupling(const QString& text, int& coupling);
bool scpiParameterToTraceScaleCoupling(Scpi* scpi, int& coupling);
// traceScaleCouplingToText: see trace_formats.h

// The twelve error-term names edf, esf, erf, elf, etf, exf, edr, esr, err, elr, etr, exr, in
// this order, to the calibration's error-term index (CalSetErrTerm). ok false for anything else.
int ScpiParamToErrTerm(const QString& text, bool& ok);

// Data format of the data queries: "asc"/"ascii" (an optional length is ignored), or "real"
// with the length 32 or 64 (64 when none is given) as the next parameter. The reply forms are
// "ascii", "real,32" and "real,64".
bool stringToDataFormat(const QString& word, const QString& length, ScpiDataFormat& format);
bool scpiParameterToDataFormat(Scpi* scpi, ScpiDataFormat& format);
QString dataFormatToText(ScpiDataFormat format);

// Byte order of the binary blocks: "norm"/"normal" big-endian, "swap"/"swapped" little-endian.
bool stringToByteOrder(const QString& text, bool& swapped);
bool scpiParameterToByteOrder(Scpi* scpi, bool& swapped);
QString byteOrderToText(bool swapped);
