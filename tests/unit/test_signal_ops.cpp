#include <QtTest>
#include <cmath>
#include <complex>
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

QTEST_GUILESS_MAIN(TestSignalOps)
#include "test_signal_ops.moc"
