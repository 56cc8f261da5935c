#include "signal_ops.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <mutex>
#include <vector>

namespace sig
{
void Copy(const cplx* src, cplx* dst, int n)
{
    if (n > 0 && src != dst)
    {
        std::memmove(static_cast<void*>(dst), src, size_t(n) * sizeof(cplx));
    }
}

void Flip(const cplx* src, cplx* dst, int n)
{
    if (src == dst)
    {
        Flip(dst, n);
        return;
    }
    for (int i = 0; i < n; ++i)
    {
        dst[i] = src[n - 1 - i];
    }
}

void Flip(cplx* data, int n)
{
    std::reverse(data, data + std::max(n, 0));
}

void Conj(const cplx* src, cplx* dst, int n)
{
    for (int i = 0; i < n; ++i)
    {
        dst[i] = std::conj(src[i]);
    }
}

void Mul(const cplx* a, const cplx* b, cplx* dst, int n)
{
    for (int i = 0; i < n; ++i)
    {
        dst[i] = a[i] * b[i];
    }
}

void Div(const cplx* a, const cplx* b, cplx* dst, int n)
{
    for (int i = 0; i < n; ++i)
    {
        dst[i] = b[i] / a[i];
    }
}

double Sum(const double* src, int n)
{
    double s = 0.0;
    for (int i = 0; i < n; ++i)
    {
        s += src[i];
    }
    return s;
}

void MulC(const double* src, double c, double* dst, int n)
{
    for (int i = 0; i < n; ++i)
    {
        dst[i] = src[i] * c;
    }
}

void MinMax(const double* src, int n, double& min, double& max)
{
    if (n <= 0)
    {
        return;
    }
    // Four lanes, each started from src[0], so the loop is not bound by the latency of one
    // chain. The result is the sequential one: a NaN first element stays (every lane holds it),
    // any later NaN is passed over, as std::min and std::max treat their second argument.
    double lo[4] = {src[0], src[0], src[0], src[0]};
    double hi[4] = {src[0], src[0], src[0], src[0]};
    int i = 1;
    for (; i + 4 <= n; i += 4)
    {
        for (int k = 0; k < 4; ++k)
        {
            lo[k] = std::min(lo[k], src[i + k]);
            hi[k] = std::max(hi[k], src[i + k]);
        }
    }
    for (; i < n; ++i)
    {
        lo[0] = std::min(lo[0], src[i]);
        hi[0] = std::max(hi[0], src[i]);
    }
    min = std::min(std::min(lo[0], lo[1]), std::min(lo[2], lo[3]));
    max = std::max(std::max(hi[0], hi[1]), std::max(hi[2], hi[3]));
}

void MinEvery(const double* a, const double* b, double* dst, int n)
{
    for (int i = 0; i < n; ++i)
    {
        dst[i] = std::min(a[i], b[i]);
    }
}

void MaxEvery(const double* a, const double* b, double* dst, int n)
{
    for (int i = 0; i < n; ++i)
    {
        dst[i] = std::max(a[i], b[i]);
    }
}

void MinIndx(const double* src, int n, double& min, int& index)
{
    if (n <= 0)
    {
        return;
    }
    index = 0;
    for (int i = 1; i < n; ++i)
    {
        if (src[i] < src[index])
        {
            index = i;
        }
    }
    min = src[index];
}

void MaxIndx(const double* src, int n, double& max, int& index)
{
    if (n <= 0)
    {
        return;
    }
    index = 0;
    for (int i = 1; i < n; ++i)
    {
        if (src[i] > src[index])
        {
            index = i;
        }
    }
    max = src[index];
}

void Tone(cplx* dst, int n, double magnitude, double rFreq, double& phase)
{
    const double twoPi = 2.0 * M_PI;
    for (int i = 0; i < n; ++i)
    {
        dst[i] = std::polar(magnitude, twoPi * rFreq * i + phase);
    }
    phase = std::fmod(phase + twoPi * rFreq * n, twoPi);
}

cplx DotProd(const cplx* a, const cplx* b, int n)
{
    cplx s(0.0, 0.0);
    for (int i = 0; i < n; ++i)
    {
        s += a[i] * b[i];
    }
    return s;
}

void Convert(const double* src, float* dst, int n)
{
    for (int i = 0; i < n; ++i)
    {
        dst[i] = float(src[i]);
    }
}

void Convert(const float* src, double* dst, int n)
{
    for (int i = 0; i < n; ++i)
    {
        dst[i] = double(src[i]);
    }
}

namespace
{
// Plans are created once per (length, direction) and reused through the new-array execute
// interface, which is thread-safe; planning itself is not, hence the lock.
// Plans by (length, sign), destroyed when the program ends so that nothing FFTW holds is left
// behind (a leak checker would report every cached plan).
struct PlanCache
{
    ~PlanCache()
    {
        for (auto& entry : byKey)
        {
            fftw_destroy_plan(entry.second);
        }
    }
    std::map<std::pair<int, int>, fftw_plan> byKey;
};
// Guards plans.
std::mutex planMutex;
PlanCache plans;

fftw_plan GetPlan(int n, int sign)
{
    std::lock_guard<std::mutex> lock(planMutex);
    auto it = plans.byKey.find({n, sign});
    if (it != plans.byKey.end())
    {
        return it->second;
    }
    // Unaligned plan so that any QVector storage can be passed at execution.
    fftw_complex* in = fftw_alloc_complex(size_t(n));
    fftw_complex* out = fftw_alloc_complex(size_t(n));
    fftw_plan p = fftw_plan_dft_1d(n, in, out, sign, FFTW_ESTIMATE | FFTW_UNALIGNED);
    fftw_free(in);
    fftw_free(out);
    plans.byKey[{n, sign}] = p;
    return p;
}

void Execute(const cplx* src, cplx* dst, int n, int sign)
{
    if (n <= 0)
    {
        return;
    }
    fftw_plan p = GetPlan(n, sign);
    if (src == dst)
    {
        std::vector<cplx> tmp(src, src + n);
        fftw_execute_dft(p, reinterpret_cast<fftw_complex*>(tmp.data()),
                         reinterpret_cast<fftw_complex*>(dst));
    }
    else
    {
        fftw_execute_dft(p, reinterpret_cast<fftw_complex*>(const_cast<cplx*>(src)),
                         reinterpret_cast<fftw_complex*>(dst));
    }
}
}  // namespace

void DftForward(const cplx* src, cplx* dst, int n)
{
    Execute(src, dst, n, FFTW_FORWARD);
}

void DftInverse(const cplx* src, cplx* dst, int n)
{
    Execute(src, dst, n, FFTW_BACKWARD);
    const double scale = 1.0 / n;
    for (int i = 0; i < n; ++i)
    {
        dst[i] *= scale;
    }
}
}  // namespace sig
