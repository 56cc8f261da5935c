// Physical model of the simulated instrument, header-only so that tests can use the same closed
// forms as the library. The instrument is an eight-term error model (one error adapter per port)
// with a switch: the port that is not driven is terminated by the switch's load, whose reflection
// is what the switch terms measure. Behind the adapters sit four receivers, each with its own
// path delay, constant phase offset and gain, so raw data look like a real instrument's.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>

namespace vnasim
{
using cplx = std::complex<double>;

constexpr double kTwoPi = 6.283185307179586;

// A two-port as the scene presents it to the ports.
struct SMatrix
{
    cplx s11, s21, s12, s22;
};

// Magnitude, phase in radians and delay in seconds at frequency f: a * exp(j (phase - w tau)).
inline cplx Path(double mag, double phase, double delay, double f)
{
    return std::polar(mag, phase - kTwoPi * f * delay);
}

// Error adapters, switch and receivers at one frequency. Port 1 adapter: e00 directivity, e11
// source match, e10 (receiver plane to port) and e01 (port to receiver plane). Port 2 adapter:
// e33, e22, e23 (receiver plane to port), e32. The adapters are passive and reciprocal, but the
// receiver gains make the effective tracking terms anything but.
struct ErrorBoxes
{
    cplx e00, e11, e10, e01;
    cplx e33, e22, e23, e32;
    cplx gammaF;  // switch termination on port 2 while port 1 drives, at the receiver plane
    cplx gammaR;  // switch termination on port 1 while port 2 drives
    cplx srcMatch1, srcMatch2;  // the driving source's own match (seen only by the a receivers)
    cplx ga1, gb1, ga2, gb2;    // receiver paths, normal
    cplx gb1Hdr, gb2Hdr;        // receiver paths of the high-dynamic-range b receivers
    cplx leakF, leakR;          // crosstalk into the opposite b receiver, relative to a
};

inline ErrorBoxes BoxesAt(double f)
{
    const double x = f / 40e9;
    const double rx = std::sqrt(std::max(x, 0.0));
    ErrorBoxes b;
    b.e00 = Path(0.025 * (1.0 + 0.6 * x), 1.1, 0.55e-9, f);
    b.e11 = Path(0.08 * (1.0 + 0.5 * x), -0.7, 0.21e-9, f);
    b.e10 = b.e01 = Path(std::pow(10.0, -(0.3 + 1.2 * rx) / 20.0), -0.3, 0.40e-9, f);
    b.e33 = Path(0.03 * (1.0 + 0.4 * x), -2.0, 0.62e-9, f);
    b.e22 = Path(0.07 * (1.0 + 0.7 * x), 0.4, 0.18e-9, f);
    b.e23 = b.e32 = Path(std::pow(10.0, -(0.35 + 1.4 * rx) / 20.0), 0.8, 0.45e-9, f);
    b.gammaF = Path(0.12, 0.9, 0.9e-9, f);
    b.gammaR = Path(0.10, -1.3, 1.1e-9, f);
    b.srcMatch1 = Path(0.05, 0.3, 0.7e-9, f);
    b.srcMatch2 = Path(0.06, -0.5, 0.8e-9, f);
    b.ga1 = Path(0.50 * (1.0 - 0.1 * x), 2.1, 3.1e-9, f);
    b.gb1 = Path(0.70 * (1.0 - 0.2 * x), -0.9, 4.7e-9, f);
    b.ga2 = Path(0.55 * (1.0 - 0.1 * x), 0.6, 3.6e-9, f);
    b.gb2 = Path(0.65 * (1.0 - 0.2 * x), -2.4, 5.3e-9, f);
    b.gb1Hdr = b.gb1 * Path(1.05, 0.35, 0.40e-9, f);
    b.gb2Hdr = b.gb2 * Path(0.95, -0.5, 0.45e-9, f);
    b.leakF = Path(std::pow(10.0, -110.0 / 20.0) * (1.0 + 3.0 * x), 0.2, 2.0e-9, f);
    b.leakR = Path(std::pow(10.0, -112.0 / 20.0) * (1.0 + 3.0 * x), -1.0, 2.2e-9, f);
    return b;
}

// The twelve terms the ratio data obey, in the order edf esf elf erf etf exf edr esr elr err etr
// exr.
struct Terms12
{
    cplx edf, esf, elf, erf, etf, exf;
    cplx edr, esr, elr, err, etr, exr;
};

// Closed form of the twelve terms of the ratio data, from the adapters, the switch and the
// receivers. hdr selects the high-dynamic-range b receivers.
inline Terms12 TermsOf(const ErrorBoxes& b, bool hdr)
{
    const cplx gb1 = hdr ? b.gb1Hdr : b.gb1;
    const cplx gb2 = hdr ? b.gb2Hdr : b.gb2;
    Terms12 t;
    t.edf = gb1 / b.ga1 * b.e00;
    t.esf = b.e11;
    t.erf = gb1 / b.ga1 * b.e10 * b.e01;
    t.elf = b.e22 + b.e23 * b.e32 * b.gammaF / (1.0 - b.e33 * b.gammaF);
    t.etf = gb2 / b.ga1 * b.e10 * b.e32 / (1.0 - b.e33 * b.gammaF);
    t.exf = hdr ? b.leakF * (gb2 / b.gb2) : b.leakF;
    t.edr = gb2 / b.ga2 * b.e33;
    t.esr = b.e22;
    t.err = gb2 / b.ga2 * b.e23 * b.e32;
    t.elr = b.e11 + b.e10 * b.e01 * b.gammaR / (1.0 - b.e00 * b.gammaR);
    t.etr = gb1 / b.ga2 * b.e23 * b.e01 / (1.0 - b.e00 * b.gammaR);
    t.exr = hdr ? b.leakR * (gb1 / b.gb1) : b.leakR;
    return t;
}

// Waves at the receivers for one drive direction, before noise: a1, b1, a2, b2, and the
// high-dynamic-range b1 and b2. source is the source wave's amplitude (sqrt of milliwatts).
struct Receivers
{
    cplx a1, b1, a2, b2, b1Hdr, b2Hdr;
};

// Solves the network of adapters, device and switch termination wave by wave. This is the
// simulator's own path to the data; the twelve-term closed form above must agree with it.
inline Receivers Solve(const ErrorBoxes& b, const SMatrix& s, bool reverse, double source)
{
    Receivers r;
    cplx a0, b0, a3, b3;  // waves at the receiver planes of port 1 (0) and port 2 (3)
    if (!reverse)
    {
        // Port 2 is terminated by the switch; seen from the device it is a load gl.
        const cplx gl = b.e22 + b.e23 * b.e32 * b.gammaF / (1.0 - b.e33 * b.gammaF);
        const cplx gin = s.s11 + s.s12 * s.s21 * gl / (1.0 - s.s22 * gl);
        const cplx rho = b.e00 + b.e10 * b.e01 * gin / (1.0 - b.e11 * gin);  // b0 / a0
        a0 = source / (1.0 - b.srcMatch1 * rho);
        b0 = rho * a0;
        const cplx u1 = b.e10 * a0 / (1.0 - b.e11 * gin);  // wave into the device's port 1
        const cplx v2 = s.s21 / (1.0 - s.s22 * gl) * u1;   // wave out of its port 2
        b3 = b.e32 * v2 / (1.0 - b.e33 * b.gammaF);
        a3 = b.gammaF * b3;
    }
    else
    {
        const cplx gl = b.e11 + b.e10 * b.e01 * b.gammaR / (1.0 - b.e00 * b.gammaR);
        const cplx gin = s.s22 + s.s12 * s.s21 * gl / (1.0 - s.s11 * gl);
        const cplx rho = b.e33 + b.e23 * b.e32 * gin / (1.0 - b.e22 * gin);
        a3 = source / (1.0 - b.srcMatch2 * rho);
        b3 = rho * a3;
        const cplx u2 = b.e23 * a3 / (1.0 - b.e22 * gin);
        const cplx v1 = s.s12 / (1.0 - s.s11 * gl) * u2;
        b0 = b.e01 * v1 / (1.0 - b.e00 * b.gammaR);
        a0 = b.gammaR * b0;
    }
    r.a1 = b.ga1 * a0;
    r.a2 = b.ga2 * a3;
    r.b1 = b.gb1 * b0;
    r.b2 = b.gb2 * b3;
    r.b1Hdr = b.gb1Hdr * b0;
    r.b2Hdr = b.gb2Hdr * b3;
    // Crosstalk reaches the far b receiver from inside the instrument, past the port.
    if (!reverse)
    {
        r.b2 += b.leakF * r.a1;
        r.b2Hdr += b.leakF * (b.gb2Hdr / b.gb2) * r.a1;
    }
    else
    {
        r.b1 += b.leakR * r.a2;
        r.b1Hdr += b.leakR * (b.gb1Hdr / b.gb1) * r.a2;
    }
    return r;
}

// --- standards, as a kit describes them ----------------------------------------------------

// Reflection of a load zl behind an offset line of impedance z0, delay d (s), loss a (ohm/s).
inline cplx OffsetReflection(double z0, cplx zl, double d, double a, double f)
{
    const double w = kTwoPi * f;
    const double g = std::sqrt(f / 1e9);
    const double lossTerm = a * g / (2.0 * w);
    const cplx zc(z0 + lossTerm, -lossTerm);
    const double al = a * d * g / (2.0 * z0);
    const cplx gl(al, w * d + al);
    const cplx t = std::tanh(gl);
    const cplx zin = zc * (zl + zc * t) / (zc + zl * t);
    return (zin - z0) / (zin + z0);
}

// A kit standard in the kit's units: delay ps, loss Gohm/s, z0 ohm, C in 1e-15 F, 1e-27 F/Hz,
// 1e-36 F/Hz^2, 1e-45 F/Hz^3, L in 1e-12 H, 1e-24 H/Hz, 1e-33 H/Hz^2, 1e-42 H/Hz^3.
struct KitStandard
{
    enum Kind
    {
        Short,
        Open,
        Load,
        Thru
    };
    Kind kind = Short;
    double delay = 0.0;
    double loss = 0.0;
    double z0 = 50.0;
    double c[4] = {0, 0, 0, 0};
    double l[4] = {0, 0, 0, 0};

    cplx Reflection(double f) const
    {
        const double w = kTwoPi * f;
        switch (kind)
        {
            case Short:
            {
                const double ind = 1e-12 * l[0] + 1e-24 * l[1] * f + 1e-33 * l[2] * f * f +
                                   1e-42 * l[3] * f * f * f;
                return OffsetReflection(z0, cplx(0.0, w * ind), 1e-12 * delay, 1e9 * loss, f);
            }
            case Open:
            {
                const double cap = 1e-15 * c[0] + 1e-27 * c[1] * f + 1e-36 * c[2] * f * f +
                                   1e-45 * c[3] * f * f * f;
                return OffsetReflection(z0, 1.0 / cplx(0.0, w * cap), 1e-12 * delay, 1e9 * loss, f);
            }
            default:
                return 0.0;
        }
    }

    // The thru as the kit models it; the calibration compares against exactly this form.
    SMatrix ThruMatrix(double f) const
    {
        const double w = kTwoPi * f;
        const double a = 1e9 * loss;
        const double d = 1e-12 * delay;
        const double g = std::sqrt(f / 1e9);
        const double lossTerm = a * g / (2.0 * w);
        const cplx zc(z0 + lossTerm, -lossTerm);
        const double al = a * d * g / (2.0 * z0);
        const cplx gl(al, w * d + al);
        const cplx p = std::exp(-gl);
        const cplx gc = (zc - 50.0) / (zc + 50.0);
        SMatrix s;
        s.s11 = s.s22 = gc * (p * p - 1.0) / (gc * gc * p * p - 1.0);
        s.s21 = s.s12 = p * (gc * gc - 1.0) / (gc * gc * p - 1.0);
        return s;
    }
};

}  // namespace vnasim
