#include "error_model.h"

#include <QTemporaryDir>
#include <algorithm>
#include <cmath>
#include <random>

#include "test_fixtures.h"

namespace testfx
{
namespace
{
constexpr double kTwoPi = 6.283185307179586;
}

cplx ErrorModel::Term::At(double f) const
{
    const double g = std::sqrt(f / 1e9);
    const double m = mag * (1.0 - rolloff * g) * (1.0 + ripple * std::sin(f / 0.7e9));
    return std::polar(m, phase - kTwoPi * f * delay);
}

ErrorModel ErrorModel::Random(uint32_t seed, double leakage, double switchMatch)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> ph(-M_PI, M_PI);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    ErrorModel m;
    // Port 1 cable about 1.1 ns, port 2 about 0.9 ns; directivity and match are short paths.
    const double t1 = 1.0e-9 + 0.2e-9 * u(rng);
    const double t2 = 0.8e-9 + 0.2e-9 * u(rng);
    m.e00 = {0.03 + 0.02 * u(rng), ph(rng), 0.25e-9, 0.0, 0.2};
    m.e11 = {0.08 + 0.05 * u(rng), ph(rng), 0.15e-9, 0.0, 0.3};
    m.e10e01 = {0.7 + 0.2 * u(rng), ph(rng), 2.0 * t1, 0.02, 0.01};
    m.e33 = {0.03 + 0.02 * u(rng), ph(rng), 0.3e-9, 0.0, 0.2};
    m.e22 = {0.08 + 0.05 * u(rng), ph(rng), 0.12e-9, 0.0, 0.3};
    m.e23e32 = {0.7 + 0.2 * u(rng), ph(rng), 2.0 * t2, 0.02, 0.01};
    m.e10e32 = {0.6 + 0.2 * u(rng), ph(rng), t1 + t2, 0.02, 0.01};
    m.e30 = {leakage, ph(rng), 0.5e-9, 0.0, 0.1};
    m.e03 = {leakage, ph(rng), 0.5e-9, 0.0, 0.1};
    m.gF = {switchMatch, ph(rng), 0.1e-9, 0.0, 0.2};
    m.gR = {switchMatch, ph(rng), 0.1e-9, 0.0, 0.2};
    return m;
}

ErrorModel ErrorModel::Ideal()
{
    ErrorModel m;
    m.e10e01 = m.e23e32 = m.e10e32 = {1.0, 0.0, 0.0, 0.0, 0.0};
    return m;
}

ErrorTerms ErrorModel::At(double f) const
{
    ErrorTerms t;
    t.e00 = e00.At(f);
    t.e11 = e11.At(f);
    t.e10e01 = e10e01.At(f);
    t.e33 = e33.At(f);
    t.e22 = e22.At(f);
    t.e23e32 = e23e32.At(f);
    t.e10e32 = flip ? -e10e32.At(f) : e10e32.At(f);
    t.e30 = e30.At(f);
    t.e03 = e03.At(f);
    t.gammaF = gF.At(f);
    t.gammaR = gR.At(f);
    return t;
}

Waves ErrorModel::Forward(double f, const cplx s[4]) const
{
    const ErrorTerms t = At(f);
    // Port 2 seen from the device: its box closed by the switch's termination.
    const cplx gl = t.e22 + t.e23e32 * t.gammaF / (1.0 - t.e33 * t.gammaF);
    const cplx gin = s[0] + s[1] * s[2] * gl / (1.0 - s[3] * gl);
    Waves w;
    w.a1 = 1.0;
    w.b1 = t.e00 + t.e10e01 * gin / (1.0 - t.e11 * gin);
    // Incident at device port 1, out of device port 2, then through box 2 to its receiver, with
    // the bounces between box 2 and the termination.
    const cplx aDut1 = 1.0 / (1.0 - t.e11 * gin);
    const cplx bDut2 = s[1] * aDut1 / (1.0 - s[3] * gl);
    const cplx b2Port = t.e10e32 * bDut2 / (1.0 - t.e33 * t.gammaF);
    w.a2 = t.gammaF * b2Port;
    // Leakage reaches the receiver directly, not through the port.
    w.b2 = b2Port + t.e30;
    return w;
}

Waves ErrorModel::Reverse(double f, const cplx s[4]) const
{
    const ErrorTerms t = At(f);
    const cplx gl = t.e11 + t.e10e01 * t.gammaR / (1.0 - t.e00 * t.gammaR);
    const cplx gin = s[3] + s[2] * s[1] * gl / (1.0 - s[0] * gl);
    Waves w;
    w.a2 = 1.0;
    w.b2 = t.e33 + t.e23e32 * gin / (1.0 - t.e22 * gin);
    const cplx aDut2 = 1.0 / (1.0 - t.e22 * gin);
    const cplx bDut1 = s[2] * aDut2 / (1.0 - s[0] * gl);
    const cplx b1Port = t.e23e01() * bDut1 / (1.0 - t.e00 * t.gammaR);
    w.a1 = t.gammaR * b1Port;
    w.b1 = b1Port + t.e03;
    return w;
}

void ErrorModel::Ratios(double f, const cplx s[4], cplx m[4]) const
{
    const Waves fw = Forward(f, s);
    const Waves rv = Reverse(f, s);
    m[0] = fw.b1 / fw.a1;
    m[1] = fw.b2 / fw.a1;
    m[2] = rv.b1 / rv.a2;
    m[3] = rv.b2 / rv.a2;
}

SParametersRaw MeasureRaw(const ErrorModel& normal, const ErrorModel& hdr,
                          const QVector<double>& freqs, const TwoPortFn& device)
{
    SParametersRaw raw;
    raw.Resize(freqs.size());
    for (int i = 0; i < freqs.size(); ++i)
    {
        cplx s[4];
        device(freqs[i], s);
        cplx m[4];
        normal.Ratios(freqs[i], s, m);
        raw.S11[i] = m[0];
        raw.S21[i] = m[1];
        raw.S12[i] = m[2];
        raw.S22[i] = m[3];
        hdr.Ratios(freqs[i], s, m);
        raw.S11HDR[i] = m[0];
        raw.S21HDR[i] = m[1];
        raw.S12HDR[i] = m[2];
        raw.S22HDR[i] = m[3];
    }
    return raw;
}

SParametersRaw MeasureReceivers(const ErrorModel& model, const QVector<double>& freqs,
                                const TwoPortFn& device, int direction)
{
    SParametersRaw raw;
    raw.Resize(freqs.size());
    for (int i = 0; i < freqs.size(); ++i)
    {
        cplx s[4];
        device(freqs[i], s);
        const Waves w = direction == 0 ? model.Forward(freqs[i], s) : model.Reverse(freqs[i], s);
        raw.S11[i] = w.a1;
        raw.S21[i] = w.b1;
        raw.S12[i] = w.b2;
        raw.S22[i] = w.a2;
    }
    return raw;
}

TwoPortFn Reflects(std::function<cplx(double)> port1, std::function<cplx(double)> port2)
{
    return [port1, port2](double f, cplx s[4])
    {
        s[0] = port1(f);
        s[1] = s[2] = 0.0;
        s[3] = port2(f);
    };
}

TwoPortFn Tabulated(const QVector<double>& freqs, const SParameters& sp)
{
    return [freqs, sp](double f, cplx s[4])
    {
        // The first tabulated frequency at or above f (the last beyond the list).
        int i = int(std::lower_bound(freqs.constBegin(), freqs.constEnd(), f) - freqs.constBegin());
        i = std::min(i, freqs.size() - 1);
        s[0] = sp.S11[i];
        s[1] = sp.S21[i];
        s[2] = sp.S12[i];
        s[3] = sp.S22[i];
    };
}

void LineParams(double z0, double delay, double loss, double f, cplx s[4])
{
    // Skin-effect line: R' grows with sqrt(f); Zc = Z0 (1 + (1 - j) R'/(2 w L')) and
    // gamma l = (R' l / (2 Z0)) (1 + j) + j w delay, with R' l = loss * delay * sqrt(f / 1 GHz).
    const double w = kTwoPi * f;
    const double rl = loss * delay * std::sqrt(f / 1e9);
    const double x = loss * std::sqrt(f / 1e9) / (2.0 * w);
    const cplx zc = cplx(z0 + x, -x);
    const cplx gl = cplx(rl / (2.0 * z0), w * delay + rl / (2.0 * z0));
    const cplx p = std::exp(-gl);
    const cplx g = (zc - 50.0) / (zc + 50.0);
    const cplx den = 1.0 - g * g * p * p;
    s[0] = s[3] = g * (1.0 - p * p) / den;
    s[1] = s[2] = p * (1.0 - g * g) / den;
}

TwoPortFn Line(double z0, double delay, double loss)
{
    return [z0, delay, loss](double f, cplx s[4]) { LineParams(z0, delay, loss, f, s); };
}

QString WriteExact(const QTemporaryDir& dir, const QString& name, const QVector<double>& f,
                   const TwoPortFn& device)
{
    QByteArray text = "# Hz S RI R 50\n";
    for (double fq : f)
    {
        cplx s[4];
        device(fq, s);
        text += QByteArray::number(fq, 'g', 17);
        for (int k = 0; k < 4; ++k)
        {
            text += ' ' + QByteArray::number(s[k].real(), 'g', 17) + ' ' +
                    QByteArray::number(s[k].imag(), 'g', 17);
        }
        text += '\n';
    }
    return WriteFile(dir, name, text);
}
}  // namespace testfx
