#include "signal_ops.h"

#include <fftw3.h>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

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

#if defined(__x86_64__)
namespace
{
// The four-point kernels need AVX, which the build does not assume.
bool HasAvx()
{
    static const bool avx = __builtin_cpu_supports("avx");
    return avx;
}

// Four points of a complex vector: real parts in re, imaginary parts in im. Unpacked within each
// half of the register, so the lanes hold points 0 2 1 3: alike for every operand, and undone
// by StoreQuad.
__attribute__((target("avx"))) void LoadQuad(const cplx* p, __m256d& re, __m256d& im)
{
    const double* d = reinterpret_cast<const double*>(p);
    const __m256d p0 = _mm256_loadu_pd(d), p1 = _mm256_loadu_pd(d + 4);
    re = _mm256_unpacklo_pd(p0, p1);
    im = _mm256_unpackhi_pd(p0, p1);
}

__attribute__((target("avx"))) void StoreQuad(cplx* p, __m256d re, __m256d im)
{
    double* d = reinterpret_cast<double*>(p);
    _mm256_storeu_pd(d, _mm256_unpacklo_pd(re, im));
    _mm256_storeu_pd(d + 4, _mm256_unpackhi_pd(re, im));
}

// Zero, or a magnitude in [2^-300, 2^300]: the range in which every step of Smith's division
// stays a normal number, so that the library's rescaling could change nothing.
__attribute__((target("avx"))) __m256d Tame(__m256d v)
{
    const __m256d magnitude = _mm256_andnot_pd(_mm256_set1_pd(-0.0), v);
    const __m256d inRange =
        _mm256_and_pd(_mm256_cmp_pd(magnitude, _mm256_set1_pd(0x1p-300), _CMP_GE_OQ),
                      _mm256_cmp_pd(magnitude, _mm256_set1_pd(0x1p300), _CMP_LE_OQ));
    return _mm256_or_pd(inRange, _mm256_cmp_pd(magnitude, _mm256_setzero_pd(), _CMP_EQ_OQ));
}

// The plain products, as the compiler forms them for a complex multiply, four points at a time;
// where both parts come out NaN the library's product recovers the infinities. Returns the
// points done.
__attribute__((target("avx"))) int MulQuads(const cplx* a, const cplx* b, cplx* dst, int n)
{
    int i = 0;
    for (; i + 4 <= n; i += 4)
    {
        __m256d xr, xi, yr, yi;
        LoadQuad(a + i, xr, xi);
        LoadQuad(b + i, yr, yi);
        const __m256d re = _mm256_sub_pd(_mm256_mul_pd(xr, yr), _mm256_mul_pd(xi, yi));
        const __m256d im = _mm256_add_pd(_mm256_mul_pd(xr, yi), _mm256_mul_pd(xi, yr));
        const __m256d nan =
            _mm256_and_pd(_mm256_cmp_pd(re, re, _CMP_UNORD_Q), _mm256_cmp_pd(im, im, _CMP_UNORD_Q));
        if (_mm256_movemask_pd(nan))
        {
            for (int k = i; k < i + 4; ++k)
            {
                dst[k] = a[k] * b[k];
            }
            continue;
        }
        StoreQuad(dst + i, re, im);
    }
    return i;
}

// Smith's division, step for step as the library performs it, four points at a time where all
// parts are tame; the library itself for the others. Returns the points done, or stops at a
// zero divisor and gives its index in zero.
__attribute__((target("avx"))) int DivQuads(const cplx* a, const cplx* b, cplx* dst, int n,
                                            int& zero)
{
    int i = 0;
    for (; i + 4 <= n; i += 4)
    {
        __m256d xr, xi, yr, yi;
        LoadQuad(a + i, xr, xi);
        LoadQuad(b + i, yr, yi);
        const __m256d sign = _mm256_set1_pd(-0.0);
        const __m256d ayr = _mm256_andnot_pd(sign, yr), ayi = _mm256_andnot_pd(sign, yi);
        const __m256d nonzero =
            _mm256_cmp_pd(_mm256_max_pd(ayr, ayi), _mm256_setzero_pd(), _CMP_GT_OQ);
        const __m256d ok = _mm256_and_pd(_mm256_and_pd(Tame(xr), Tame(xi)),
                                         _mm256_and_pd(_mm256_and_pd(Tame(yr), Tame(yi)), nonzero));
        if (_mm256_movemask_pd(ok) != 15)
        {
            for (int k = i; k < i + 4; ++k)
            {
                if (b[k].real() == 0.0 && b[k].imag() == 0.0)
                {
                    zero = k;
                    return k;
                }
                dst[k] = a[k] / b[k];
            }
            continue;
        }
        const __m256d imagBigger = _mm256_cmp_pd(ayr, ayi, _CMP_LT_OQ);
        const __m256d big = _mm256_blendv_pd(yr, yi, imagBigger);
        const __m256d small = _mm256_blendv_pd(yi, yr, imagBigger);
        const __m256d ratio = _mm256_div_pd(small, big);
        const __m256d denom = _mm256_add_pd(_mm256_mul_pd(small, ratio), big);
        const __m256d ar = _mm256_mul_pd(xr, ratio), br = _mm256_mul_pd(xi, ratio);
        const __m256d re =
            _mm256_blendv_pd(_mm256_add_pd(br, xr), _mm256_add_pd(ar, xi), imagBigger);
        const __m256d im =
            _mm256_blendv_pd(_mm256_sub_pd(xi, ar), _mm256_sub_pd(br, xr), imagBigger);
        StoreQuad(dst + i, _mm256_div_pd(re, denom), _mm256_div_pd(im, denom));
    }
    return i;
}
}  // namespace
#endif

void Mul(const cplx* a, const cplx* b, cplx* dst, int n)
{
    int i = 0;
#if defined(__x86_64__)
    if (HasAvx())
    {
        i = MulQuads(a, b, dst, n);
    }
#endif
    for (; i < n; ++i)
    {
        dst[i] = a[i] * b[i];
    }
}

int DivUntilZero(const cplx* a, const cplx* b, cplx* dst, int n)
{
    int i = 0;
#if defined(__x86_64__)
    if (HasAvx())
    {
        int zero = -1;
        i = DivQuads(a, b, dst, n, zero);
        if (zero >= 0)
        {
            return zero;
        }
    }
#endif
    for (; i < n; ++i)
    {
        if (b[i].real() == 0.0 && b[i].imag() == 0.0)
        {
            return i;
        }
        dst[i] = a[i] / b[i];
    }
    return -1;
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
