#include "ucal_model.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace ucalemu
{
namespace
{
constexpr double kTwoPi = 6.283185307179586;
constexpr double kZ0 = 50.0;

// Chain (ABCD) matrix of a two-port.
struct Chain
{
    cplx a, b, c, d;
};

Chain operator*(const Chain& x, const Chain& y)
{
    return {x.a * y.a + x.b * y.c, x.a * y.b + x.b * y.d, x.c * y.a + x.d * y.c,
            x.c * y.b + x.d * y.d};
}

// One module port's path from its connector to the switches.
struct PortLine
{
    double zc;      // ohm
    double delay;   // s, one way
    double loss1G;  // nepers at 1 GHz, growing with the root of frequency
    double rOn;     // short: on-resistance, ohm
    double lOn;     // short: inductance, H
    double cOff;    // open: off capacitance, F
    double rLeak;   // open: leakage, ohm
    double rLoad;   // load resistor, ohm
    double lLoad;   // load series inductance, H
    double cLoad;   // load shunt capacitance, F
};

const PortLine kPorts[2] = {
    {49.3, 38e-12, 0.0045, 1.1, 7e-12, 17e-15, 6000.0, 50.6, 14e-12, 9e-15},
    {50.8, 44e-12, 0.0052, 1.4, 9e-12, 21e-15, 5000.0, 49.5, 11e-12, 7e-15}};

// The thru path's switch between the two lines.
constexpr double kThruROn = 2.2;
constexpr double kThruLOn = 25e-12;
constexpr double kThruShuntC = 14e-15;

Chain Line(const PortLine& p, double f)
{
    // Skin effect: the loss and the phase it adds both grow with the root of frequency.
    const double alpha = p.loss1G * std::sqrt(f / 1e9);
    const cplx gl(alpha, kTwoPi * f * p.delay + alpha);
    return {std::cosh(gl), p.zc * std::sinh(gl), std::sinh(gl) / p.zc, std::cosh(gl)};
}

// Reflection (to 50 ohm) of a chain terminated in admittance y.
cplx TerminatedBy(const Chain& m, cplx y)
{
    const cplx zin = (m.a + m.b * y) / (m.c + m.d * y);
    return (zin - kZ0) / (zin + kZ0);
}

cplx ReflectAt(const PortLine& p, Reflect which, double f)
{
    const double w = kTwoPi * f;
    cplx y;
    switch (which)
    {
        case kShort:
            y = 1.0 / cplx(p.rOn, w * p.lOn);
            break;
        case kOpen:
            y = cplx(1.0 / p.rLeak, w * p.cOff);
            break;
        case kLoad:
        default:
            y = cplx(0.0, w * p.cLoad) + 1.0 / cplx(p.rLoad, w * p.lLoad);
            break;
    }
    return TerminatedBy(Line(p, f), y);
}

TwoPort ThruAt(double f)
{
    const double w = kTwoPi * f;
    const Chain series{1.0, cplx(kThruROn, w * kThruLOn), 0.0, 1.0};
    const Chain shunt{1.0, 0.0, cplx(0.0, w * kThruShuntC), 1.0};
    const Chain m = Line(kPorts[0], f) * series * shunt * Line(kPorts[1], f);
    const cplx delta = m.a + m.b / kZ0 + m.c * kZ0 + m.d;
    TwoPort t;
    t.s11 = (m.a + m.b / kZ0 - m.c * kZ0 - m.d) / delta;
    t.s21 = 2.0 / delta;
    t.s12 = 2.0 * (m.a * m.d - m.b * m.c) / delta;
    t.s22 = (-m.a + m.b / kZ0 - m.c * kZ0 + m.d) / delta;
    return t;
}

void AppendInt32(std::string& out, int32_t v)
{
    uint32_t u;
    std::memcpy(&u, &v, 4);
    for (int i = 0; i < 4; ++i)
    {
        out.push_back(char((u >> (8 * i)) & 0xff));
    }
}

void AppendDouble(std::string& out, double v)
{
    uint64_t u;
    std::memcpy(&u, &v, 8);
    for (int i = 0; i < 8; ++i)
    {
        out.push_back(char((u >> (8 * i)) & 0xff));
    }
}

std::string Number(double v)
{
    char text[40];
    std::snprintf(text, sizeof(text), "%.17g", v);
    return text;
}

bool WriteText(const std::string& path, const std::string& text)
{
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f)
    {
        return false;
    }
    const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    return std::fclose(f) == 0 && ok;
}

std::string Pair(cplx v)
{
    return ' ' + Number(v.real()) + ' ' + Number(v.imag());
}
}  // namespace

Characterisation Characterise(int points, double start, double stop)
{
    Characterisation c;
    for (int i = 0; i < points; ++i)
    {
        const double f = points > 1 ? start + (stop - start) * i / (points - 1) : start;
        c.freqs.push_back(f);
        for (int port = 0; port < 2; ++port)
        {
            for (int r = 0; r < 3; ++r)
            {
                c.reflect[port][r].push_back(ReflectAt(kPorts[port], Reflect(r), f));
            }
        }
        c.thru.push_back(ThruAt(f));
    }
    return c;
}

std::string EncodeBlock(const std::vector<double>& freqs,
                        const std::vector<std::vector<cplx>>& params)
{
    std::string out;
    AppendInt32(out, int32_t(freqs.size()));
    for (double f : freqs)
    {
        AppendDouble(out, f);
    }
    AppendInt32(out, int32_t(params.size()));
    for (const std::vector<cplx>& p : params)
    {
        for (const cplx& v : p)
        {
            AppendDouble(out, v.real());
            AppendDouble(out, v.imag());
        }
    }
    return out;
}

std::string FactoryBlock(const Characterisation& c, int index)
{
    if (index >= 0 && index < 3)
    {
        return EncodeBlock(c.freqs, {c.reflect[0][index], c.reflect[1][index]});
    }
    std::vector<std::vector<cplx>> thru(4);
    for (const TwoPort& t : c.thru)
    {
        thru[0].push_back(t.s11);
        thru[1].push_back(t.s21);
        thru[2].push_back(t.s12);
        thru[3].push_back(t.s22);
    }
    return EncodeBlock(c.freqs, thru);
}

bool WriteReflectFile(const std::string& path, const std::vector<double>& freqs,
                      const std::vector<cplx>& s11)
{
    std::string text = "! uCal emulator state\n# Hz S RI R 50\n";
    for (size_t i = 0; i < freqs.size(); ++i)
    {
        text += Number(freqs[i]) + Pair(s11[i]) + '\n';
    }
    return WriteText(path, text);
}

bool WriteThruFile(const std::string& path, const Characterisation& c, bool swapped)
{
    std::string text = "! uCal emulator thru\n# Hz S RI R 50\n";
    for (size_t i = 0; i < c.freqs.size(); ++i)
    {
        const TwoPort& t = c.thru[i];
        text += Number(c.freqs[i]);
        text += swapped ? Pair(t.s22) + Pair(t.s12) + Pair(t.s21) + Pair(t.s11)
                        : Pair(t.s11) + Pair(t.s21) + Pair(t.s12) + Pair(t.s22);
        text += '\n';
    }
    return WriteText(path, text);
}
}  // namespace ucalemu
