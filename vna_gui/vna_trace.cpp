#include "vna_trace.h"

#include <cmath>

QString VNATraceMeasToStr(VNATraceMeas meas)
{
    switch (meas)
    {
        case S11:
            return QStringLiteral("S11");
        case S21:
            return QStringLiteral("S21");
        case S12:
            return QStringLiteral("S12");
        case S22:
            return QStringLiteral("S22");
    }
    return QString();
}

bool VNATraceIsPort1(VNATraceMeas meas)
{
    return meas == S11 || meas == S21;
}

void VNATrace::Calculate(const SParameters& processed, double f0, double df)
{
    const CplxVector& d = processed.GetSParam(meas);
    const int n = d.size();
    x.resize(n);
    y.resize(n);
    for (int i = 0; i < n; ++i)
    {
        x[i] = i * df + f0;
        const double p = std::norm(d[i]);
        y[i] = p == 0.0 ? -200.0 : 10.0 * std::log10(p);
    }
    holdRestart = false;
}
