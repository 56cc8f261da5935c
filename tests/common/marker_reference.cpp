#include "marker_reference.h"

#include <cmath>

namespace testfx
{
QVector<int> WalkPeaks(const QVector<double>& y, double threshold, double excursion)
{
    QVector<int> out;
    const int n = y.size();
    for (int p = 1; p < n - 1; ++p)
    {
        if (!(y[p] >= y[p - 1] && y[p] >= y[p + 1] && y[p] > threshold))
        {
            continue;
        }
        bool sides[2] = {false, false};
        for (int s = 0; s < 2; ++s)
        {
            const int step = s == 0 ? -1 : 1;
            const int end = s == 0 ? 0 : n - 1;
            for (int k = p;; k += step)
            {
                if (y[p] - y[k] >= excursion)
                {
                    sides[s] = true;
                    break;
                }
                if (k == end || y[k + step] > y[p])
                {
                    break;
                }
            }
        }
        if (sides[0] && sides[1])
        {
            out.append(p);
        }
    }
    return out;
}

int NearestIndex(const QVector<double>& v, double pos)
{
    int best = 0;
    for (int i = 1; i < v.size(); ++i)
    {
        if (std::fabs(v[i] - pos) < std::fabs(v[best] - pos))
        {
            best = i;
        }
    }
    return best;
}

int ExtremeIndex(const QVector<double>& v, bool maximum)
{
    int best = 0;
    for (int i = 1; i < v.size(); ++i)
    {
        if (maximum ? v[i] > v[best] : v[i] < v[best])
        {
            best = i;
        }
    }
    return best;
}

bool BandEdges(const QVector<double>& x, const QVector<double>& y, int peak, double limit,
               double& low, double& high)
{
    const double level = y[peak] + limit;
    int i = peak;
    while (i > 0 && y[i] > level)
    {
        --i;
    }
    int j = peak;
    while (j < y.size() - 1 && y[j] > level)
    {
        ++j;
    }
    if (y[i] > level || y[j] > level)
    {
        return false;
    }
    // Straight lines between the neighbours that straddle the level.
    low = x[i] + (x[i + 1] - x[i]) * (level - y[i]) / (y[i + 1] - y[i]);
    high = x[j - 1] + (x[j] - x[j - 1]) * (level - y[j - 1]) / (y[j] - y[j - 1]);
    return true;
}
}  // namespace testfx
