#include "limit_reference.h"

#include <algorithm>

namespace testfx
{
// The line as defined: fraction and its complement in single precision, products in double.
double RefLine(const VNALimitRange& r, double x)
{
    const float t = float((x - r.startFreq) / (r.stopFreq - r.startFreq));
    if (t == 0.0f)
    {
        return r.startOffset;
    }
    if (t == 1.0f)
    {
        return r.stopOffset;
    }
    const float rest = 1.0f - t;
    return double(rest) * r.startOffset + double(t) * r.stopOffset;
}

// Every range against every point, no shortcut.
bool RefLimitPass(const QVector<VNALimitRange>& ranges, const QVector<double>& x,
                  const QVector<double>& y)
{
    bool pass = true;
    for (const VNALimitRange& r : ranges)
    {
        for (int i = 0; i < x.size(); ++i)
        {
            if (r.type == LimitOff || x[i] < r.startFreq || x[i] > r.stopFreq)
            {
                continue;
            }
            const double l = RefLine(r, x[i]);
            if ((r.type == LimitMin && l > y[i]) || (r.type == LimitMax && y[i] > l))
            {
                pass = false;
            }
        }
    }
    return pass;
}

// The ripple scan point by point, as defined.
bool RefRipple(const QVector<VNARippleLimitRange>& ranges, QVector<VNARippleMeas>& meas,
               const QVector<double>& x, const QVector<double>& y)
{
    bool pass = true;
    for (int k = 0; k < ranges.size(); ++k)
    {
        const VNARippleLimitRange& r = ranges[k];
        if (r.type == RippleOff)
        {
            continue;
        }
        VNARippleMeas& m = meas[k];
        m.pass = true;
        bool started = false;
        for (int i = 0; i < x.size(); ++i)
        {
            const bool inside = x[i] >= r.startFreq && x[i] <= r.stopFreq && i != x.size() - 1;
            if (inside && !started)
            {
                m.min = m.max = y[i];
                started = true;
            }
            else if (inside)
            {
                m.max = std::max(m.max, y[i]);
                m.min = std::min(m.min, y[i]);
            }
            else if (started)
            {
                if (m.max - m.min > r.maxRipple)
                {
                    m.pass = pass = false;
                }
                break;
            }
        }
    }
    return pass;
}
}  // namespace testfx
