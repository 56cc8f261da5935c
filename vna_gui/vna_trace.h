// One displayed curve: an S-parameter of a channel carried through the calculation chain.
#pragma once

#include <QString>
#include <QVector>
#include <cstdint>

#include "network_parameters.h"

enum VNATraceFormat : int32_t
{
    LinMag = 0,
    LogMag = 1,
    PhaseRad = 2,
    PhaseDeg = 3,
    UnwrappedPhase = 4,
    SWR = 5,
    SmithRI = 6,
    SmithGB = 7,
    Real = 8,
    Imag = 9,
    GroupDelay = 10
};

QString VNATraceMeasToStr(VNATraceMeas meas);
bool VNATraceIsPort1(VNATraceMeas meas);

class VNATrace
{
public:
    void SetChannel(int c)
    {
        channel = c;
        holdRestart = true;
    }
    void SetMeas(VNATraceMeas m)
    {
        meas = m;
        holdRestart = true;
    }
    void SetPlot(int p) { plot = p; }
    void SetFormat(VNATraceFormat f)
    {
        format = f;
        holdRestart = true;
    }
    void HoldRestart() { holdRestart = true; }
    QString GetNameString() const { return VNATraceMeasToStr(meas); }

    // Runs the per-trace part of the chain on the channel's processed data.
    void Calculate(const SParameters& processed, double f0, double df);

    QVector<double> x, y;
    int channel = 0;
    int plot = 0;
    VNATraceMeas meas = S11;
    VNATraceFormat format = LogMag;
    bool holdRestart = true;
};
