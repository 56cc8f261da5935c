#include "gate_reference.h"

#include <cmath>
#include <limits>
#include <vector>

#include "signal_ops.h"
#include "time_domain.h"

namespace testfx
{
namespace
{
using cplx = std::complex<double>;

// Steps 1 to 5: gate on the time axis, kernel A reversed and ready for the dot products.
std::vector<cplx> LiteralKernel(int n, double fStart, double fStep, double gateStart,
                                double gateStop, VNAGateType type, VNAGateShape shape)
{
    const double span = ((n - 1) * fStep + fStart) - fStart;
    const double dt = 1.0 / span;
    const double t0 = -(n / 2) * dt;
    std::vector<cplx> g(static_cast<size_t>(n), cplx(1.0, 0.0));
    for (int i = 0; i < n; ++i)
    {
        const double t = i * dt + t0;
        const bool removed =
            type == GateNotch ? (gateStart <= t && t <= gateStop) : (t < gateStart || t > gateStop);
        if (removed)
        {
            g[i] = 0.0;
        }
    }
    std::vector<cplx> inv(static_cast<size_t>(n)), a(static_cast<size_t>(n));
    sig::DftInverse(g.data(), inv.data(), n);
    FFTShift(inv.data(), a.data(), n);
    std::vector<double> w(static_cast<size_t>(n));
    GetKaiserWindow_64f(w.data(), n, WindowBetaFromGateShape(shape));
    for (int i = 0; i < n; ++i)
    {
        // Alternating sign counted from the centre tap n / 2.
        const double sign = std::abs(i - n / 2) % 2 == 0 ? 1.0 : -1.0;
        a[i] = std::conj(a[i]) * w[i] * sign;
    }
    std::vector<cplx> reversed(a.rbegin(), a.rend());
    return reversed;
}
}  // namespace

void GateSParamLiteral(CplxVector& s, double fStart, double fStep, double gateStart,
                       double gateStop, VNAGateType type, VNAGateShape shape)
{
    const int n = s.size();
    if (n == 0)
    {
        return;
    }
    const std::vector<cplx> a = LiteralKernel(n, fStart, fStep, gateStart, gateStop, type, shape);
    // Step 6: the data padded with n - 1 zeros on each side.
    std::vector<cplx> p(static_cast<size_t>(3 * n - 2));
    for (int i = 0; i < n; ++i)
    {
        p[n - 1 + i] = s[i];
    }
    std::vector<double> ar(static_cast<size_t>(n)), ai(static_cast<size_t>(n));
    std::vector<double> absA(static_cast<size_t>(n));
    double total = 0.0;
    for (int i = 0; i < n; ++i)
    {
        ar[i] = a[i].real();
        ai[i] = a[i].imag();
        absA[i] = std::abs(a[i]);
        total += absA[i];
    }
    // Steps 7 to 9 for the rows that step 9 keeps, j = n / 2 .. n / 2 + n - 1. The products are
    // written out in real arithmetic: the library's complex product checks every result for
    // infinities, which makes the reference many times slower and changes nothing here.
    CplxVector out(n);
    for (int r = 0; r < n; ++r)
    {
        const int j = n / 2 + r;
        double sr = 0.0, si = 0.0, hidden = 0.0;
        for (int i = 0; i < n; ++i)
        {
            const double pr = p[j + i].real(), pi = p[j + i].imag();
            sr += pr * ar[i] - pi * ai[i];
            si += pr * ai[i] + pi * ar[i];
            if (pr == 0.0 && pi == 0.0)
            {
                hidden += absA[i];
            }
        }
        const double f = (total - hidden) / total;
        out[r] = cplx(sr, si) * (1.0 / f);
    }
    s = out;
}
}  // namespace testfx
