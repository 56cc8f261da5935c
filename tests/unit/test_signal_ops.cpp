#include <QtTest>
#include <cmath>
#include <complex>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "signal_ops.h"

using cplx = std::complex<double>;

class TestSignalOps : public QObject
{
    Q_OBJECT
private slots:
    void dftMatchesDefinition();
    void dftFromSeveralThreads();
    void vectorKernels();
    void productAndQuotientAsTheLibrary();
};

// The transform written out from its definition, for comparison.
static std::vector<cplx> NaiveDft(const std::vector<cplx>& x, int sign)
{
    const int n = int(x.size());
    std::vector<cplx> out(static_cast<size_t>(n));
    for (int k = 0; k < n; ++k)
    {
        cplx s(0, 0);
        for (int i = 0; i < n; ++i)
        {
            s += x[size_t(i)] * std::polar(1.0, sign * 2.0 * M_PI * double(k) * i / n);
        }
        out[size_t(k)] = s;
    }
    return out;
}

void TestSignalOps::dftMatchesDefinition()
{
    std::mt19937 rng(5);
    std::normal_distribution<double> g;
    for (int n : {1, 7, 64, 201, 1009})  // any length, primes included
    {
        std::vector<cplx> x(static_cast<size_t>(n));
        for (cplx& v : x)
        {
            v = cplx(g(rng), g(rng));
        }
        std::vector<cplx> fwd(static_cast<size_t>(n));
        sig::DftForward(x.data(), fwd.data(), n);
        const std::vector<cplx> ref = NaiveDft(x, -1);
        for (int k = 0; k < n; ++k)
        {
            QVERIFY(std::abs(fwd[size_t(k)] - ref[size_t(k)]) < 1e-9 * n);
        }
        // The inverse divides by the length, so the round trip is the identity; in place too.
        sig::DftInverse(fwd.data(), fwd.data(), n);
        for (int i = 0; i < n; ++i)
        {
            QVERIFY(std::abs(fwd[size_t(i)] - x[size_t(i)]) < 1e-12 * n);
        }
    }
}

void TestSignalOps::dftFromSeveralThreads()
{
    // Plans are made under one lock: many threads asking for new lengths at once stay correct.
    std::vector<std::thread> threads;
    std::vector<int> failures(8, 0);
    for (int t = 0; t < 8; ++t)
    {
        threads.emplace_back(
            [t, &failures]
            {
                for (int n = 50 + t; n < 300; n += 8)
                {
                    std::vector<cplx> x(size_t(n), cplx(0, 0));
                    x[1] = cplx(1, 0);  // a unit impulse at 1: the transform is a pure tone
                    std::vector<cplx> y(static_cast<size_t>(n));
                    sig::DftForward(x.data(), y.data(), n);
                    for (int k = 0; k < n; ++k)
                    {
                        if (std::abs(y[size_t(k)] - std::polar(1.0, -2.0 * M_PI * k / n)) > 1e-9)
                        {
                            ++failures[size_t(t)];
                        }
                    }
                }
            });
    }
    for (std::thread& th : threads)
    {
        th.join();
    }
    for (int f : failures)
    {
        QCOMPARE(f, 0);
    }
}

void TestSignalOps::vectorKernels()
{
    const double v[] = {3.0, -1.0, 7.0, -1.0, 2.0};
    double lo = 0, hi = 0;
    int index = -1;
    sig::MinMax(v, 5, lo, hi);
    QCOMPARE(lo, -1.0);
    QCOMPARE(hi, 7.0);
    sig::MinIndx(v, 5, lo, index);
    QCOMPARE(index, 1);  // the first of equal minima
    sig::MaxIndx(v, 5, hi, index);
    QCOMPARE(index, 2);
    QCOMPARE(sig::Sum(v, 5), 10.0);

    cplx a[] = {cplx(1, 2), cplx(3, -1)};
    const cplx b[] = {cplx(2, 0), cplx(0, 1)};
    cplx q[2];
    sig::Div(b, a, q, 2);  // second operand over the first
    QVERIFY(std::abs(q[0] - a[0] / b[0]) < 1e-15 && std::abs(q[1] - a[1] / b[1]) < 1e-15);
    QCOMPARE(sig::DotProd(a, b, 2), a[0] * b[0] + a[1] * b[1]);
    sig::Flip(a, 2);
    QCOMPARE(a[0], cplx(3, -1));

    double phase = 0.25;
    cplx tone[4];
    sig::Tone(tone, 4, 2.0, 0.125, phase);
    QVERIFY(std::abs(tone[3] - std::polar(2.0, 2 * M_PI * 0.125 * 3 + 0.25)) < 1e-12);
    QVERIFY(std::fabs(phase - std::fmod(0.25 + 2 * M_PI * 0.125 * 4, 2 * M_PI)) < 1e-12);

    const double d[] = {1e-50, 0.1};
    float f[2];
    sig::Convert(d, f, 2);
    QCOMPARE(f[0], 0.0f);
    QCOMPARE(f[1], 0.1f);
}

namespace
{
// Same bits, or NaN where the library gives NaN (its payload and sign are not a result).
bool SameBits(double x, double y)
{
    if (std::isnan(x) || std::isnan(y))
    {
        return std::isnan(x) && std::isnan(y);
    }
    return std::memcmp(&x, &y, sizeof x) == 0;
}

// Parts across the whole range of doubles, with zeros of both signs, infinities, NaN and
// subnormals among them.
double WildPart(std::mt19937_64& rng)
{
    const double special[] = {0.0,    -0.0,      INFINITY, -INFINITY, NAN,
                              5e-324, -2.2e-308, 0x1p-300, 0x1p300,   0x1.fffffffffffffp-301,
                              0x1p301};
    switch (rng() % 4)
    {
        case 0:
            return special[rng() % 11];
        case 1:
            return std::ldexp(std::uniform_real_distribution<double>(-1, 1)(rng),
                              int(rng() % 2100) - 1075);
        default:
            return std::uniform_real_distribution<double>(-4, 4)(rng);
    }
}
}  // namespace

void TestSignalOps::productAndQuotientAsTheLibrary()
{
    // The vector kernels must give what the complex operators give, bit for bit, so that an
    // expression evaluates the same in a kernel or point by point.
    std::mt19937_64 rng(99);
    for (int round = 0; round < 200; ++round)
    {
        const int n = 1 + int(rng() % 301);
        std::vector<cplx> a(static_cast<size_t>(n)), b(a), out(a);
        for (int i = 0; i < n; ++i)
        {
            a[size_t(i)] = {WildPart(rng), WildPart(rng)};
            do
            {
                b[size_t(i)] = {WildPart(rng), WildPart(rng)};
            } while (b[size_t(i)] == cplx(0.0, 0.0));
        }
        sig::Mul(a.data(), b.data(), out.data(), n);
        for (int i = 0; i < n; ++i)
        {
            const cplx want = a[size_t(i)] * b[size_t(i)];
            QVERIFY(SameBits(out[size_t(i)].real(), want.real()));
            QVERIFY(SameBits(out[size_t(i)].imag(), want.imag()));
        }
        QCOMPARE(sig::DivUntilZero(a.data(), b.data(), out.data(), n), -1);
        for (int i = 0; i < n; ++i)
        {
            const cplx want = a[size_t(i)] / b[size_t(i)];
            if (!SameBits(out[size_t(i)].real(), want.real()) ||
                !SameBits(out[size_t(i)].imag(), want.imag()))
            {
                QFAIL(qPrintable(QString("(%1, %2) / (%3, %4)")
                                     .arg(a[size_t(i)].real(), 0, 'g', 17)
                                     .arg(a[size_t(i)].imag(), 0, 'g', 17)
                                     .arg(b[size_t(i)].real(), 0, 'g', 17)
                                     .arg(b[size_t(i)].imag(), 0, 'g', 17)));
            }
        }
        // In place, and stopped by an exact zero (of either sign) with the rest left alone.
        const int zero = int(rng() % uint64_t(n));
        b[size_t(zero)] = {-0.0, 0.0};
        std::vector<cplx> inPlace = a;
        QCOMPARE(sig::DivUntilZero(inPlace.data(), b.data(), inPlace.data(), n), zero);
        for (int i = 0; i < n; ++i)
        {
            const cplx want = i < zero ? a[size_t(i)] / b[size_t(i)] : a[size_t(i)];
            QVERIFY(SameBits(inPlace[size_t(i)].real(), want.real()));
            QVERIFY(SameBits(inPlace[size_t(i)].imag(), want.imag()));
        }
    }
}

QTEST_GUILESS_MAIN(TestSignalOps)
#include "test_signal_ops.moc"
