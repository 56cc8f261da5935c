// Small dense matrix helpers of the error-term solvers.
#pragma once

#include <QtGlobal>
#include <complex>

// a / b. Ordinary divisors take the short road; zero, infinite, not-a-number and extreme ones
// go through the library's division with its handling of infinities.
inline std::complex<double> CplxDiv(std::complex<double> a, std::complex<double> b)
{
    const double d = b.real() * b.real() + b.imag() * b.imag();
    if (d > 1e-290 && d < 1e290)
    {
        const double r = 1.0 / d;
        return std::complex<double>((a.real() * b.real() + a.imag() * b.imag()) * r,
                                    (a.imag() * b.real() - a.real() * b.imag()) * r);
    }
    return a / b;
}

// a b. Complex products skip the library's recovery of infinities from not-a-number results:
// the solvers multiply finite values, and non-finite input stays non-finite.
template <typename T>
T Mul(const T& a, const T& b)
{
    return a * b;
}

inline std::complex<double> Mul(const std::complex<double>& a, const std::complex<double>& b)
{
    return std::complex<double>(a.real() * b.real() - a.imag() * b.imag(),
                                a.real() * b.imag() + a.imag() * b.real());
}

template <typename T>
T Reciprocal(const T& x)
{
    return T(1) / x;
}

inline std::complex<double> Reciprocal(const std::complex<double>& x)
{
    return CplxDiv(1.0, x);
}

// Inverse of a row-major 3 by 3 matrix by the adjugate over the determinant (expanded along the
// first row). Two standards with the same ideal reflection at a point make the system singular:
// debug builds stop on that; release builds go on and the inverse becomes non-finite.
template <typename T>
bool InvertMatrix_3x3(const T* in, T* out)
{
    const T& a = in[0];
    const T& b = in[1];
    const T& c = in[2];
    const T& d = in[3];
    const T& e = in[4];
    const T& f = in[5];
    const T& g = in[6];
    const T& h = in[7];
    const T& k = in[8];

    const T A = Mul(e, k) - Mul(f, h);
    const T B = -(Mul(d, k) - Mul(f, g));
    const T C = Mul(d, h) - Mul(e, g);
    const T det = Mul(a, A) + Mul(b, B) + Mul(c, C);
    if (det == T(0))
    {
        Q_ASSERT(false);
    }
    const T r = Reciprocal(det);

    out[0] = Mul(A, r);
    out[1] = Mul(-(Mul(b, k) - Mul(c, h)), r);
    out[2] = Mul(Mul(b, f) - Mul(c, e), r);
    out[3] = Mul(B, r);
    out[4] = Mul(Mul(a, k) - Mul(c, g), r);
    out[5] = Mul(-(Mul(a, f) - Mul(c, d)), r);
    out[6] = Mul(C, r);
    out[7] = Mul(-(Mul(a, h) - Mul(b, g)), r);
    out[8] = Mul(Mul(a, e) - Mul(b, d), r);
    return true;
}

// c = a b for row-major 2 by 2 complex matrices. c may not alias a or b.
void Mat2x2_mult(const std::complex<double>* a, const std::complex<double>* b,
                 std::complex<double>* c);
