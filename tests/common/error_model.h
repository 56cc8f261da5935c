// A synthetic two-port instrument for calibration tests: given known error terms, it produces the
// raw ratios and receiver waves the instrument would measure for any device. The forward model is
// the signal-flow graph of two error adapters (port 1 box and port 2 box) around the device, with
// the unterminated port's switch reflection and a leakage path per direction; nothing here inverts
// a solver. Reusable by any test that needs measured standards or a measured device.
#pragma once

#include <QString>
#include <QVector>
#include <complex>
#include <cstdint>
#include <functional>

#include "network_parameters.h"

class QTemporaryDir;

namespace testfx
{
using cplx = std::complex<double>;

// A two-port device as a function of frequency (Hz): writes S11, S21, S12, S22.
using TwoPortFn = std::function<void(double f, cplx s[4])>;

// The error terms at one frequency. Port 1 box: e00 directivity, e11 source match, e10e01
// reflection tracking. Port 2 box: e33 directivity, e22 source match, e23e32 reflection tracking.
// e10e32 forward transmission product (e23e01 follows from the three products). e30 and e03 are
// the forward and reverse leakage. gammaF is the reflection of port 2's termination at its
// receiver plane while port 1 drives; gammaR that of port 1 while port 2 drives.
struct ErrorTerms
{
    cplx e00, e11, e10e01;
    cplx e33, e22, e23e32;
    cplx e10e32;
    cplx e30, e03;
    cplx gammaF, gammaR;

    cplx e23e01() const { return e10e01 * e23e32 / e10e32; }
    // The twelve-term equivalents of the switched instrument.
    cplx elf() const { return e22 + e23e32 * gammaF / (1.0 - e33 * gammaF); }
    cplx elr() const { return e11 + e10e01 * gammaR / (1.0 - e00 * gammaR); }
    cplx etf() const { return e10e32 / (1.0 - e33 * gammaF); }
    cplx etr() const { return e23e01() / (1.0 - e00 * gammaR); }
};

// Receiver waves of one drive direction, each relative to the drive's incident reference wave.
struct Waves
{
    cplx a1, b1, b2, a2;
};

class ErrorModel
{
public:
    // Error terms with arbitrary (seeded) phases, cable delays of about a nanosecond, skin-effect
    // roll-off and ripple. leakage scales the isolation terms (0 gives none); switchMatch scales
    // the switch reflections.
    static ErrorModel Random(uint32_t seed, double leakage = 1e-4, double switchMatch = 0.15);
    // A perfect instrument: unit tracking, no directivity, match, leakage or switch reflection.
    static ErrorModel Ideal();

    ErrorTerms At(double f) const;
    // Negates the forward (and so the reverse) transmission product: the same reflect terms and
    // the same ratio e23e01 / e10e32, but the other sign of the transmission path.
    void FlipTransmission() { flip = !flip; }

    Waves Forward(double f, const cplx s[4]) const;
    Waves Reverse(double f, const cplx s[4]) const;
    // Raw ratios b1/a1, b2/a1 (forward) and b1/a2, b2/a2 (reverse), in S11, S21, S12, S22 order.
    void Ratios(double f, const cplx s[4], cplx m[4]) const;

private:
    struct Term
    {
        double mag = 0.0;
        double phase = 0.0;
        double delay = 0.0;    // seconds
        double rolloff = 0.0;  // relative loss per sqrt(GHz)
        double ripple = 0.0;   // relative ripple amplitude
        cplx At(double f) const;
    };
    Term e00, e11, e10e01, e33, e22, e23e32, e10e32, e30, e03, gF, gR;
    bool flip = false;
};

// A raw sweep of the device through `normal`, with the HDR fields through `hdr` (which may be the
// same model), on the frequency list.
SParametersRaw MeasureRaw(const ErrorModel& normal, const ErrorModel& hdr,
                          const QVector<double>& freqs, const TwoPortFn& device);

// Receiver sweep in the slot layout of the device library: S11 = a1, S21 = b1, S12 = b2,
// S22 = a2. direction 0 drives port 1, 1 drives port 2.
SParametersRaw MeasureReceivers(const ErrorModel& model, const QVector<double>& freqs,
                                const TwoPortFn& device, int direction);

// Two one-port standards, one on each port, with nothing between the ports.
TwoPortFn Reflects(std::function<cplx(double)> port1, std::function<cplx(double)> port2);
// A two-port given on the same frequency list as it will be measured.
TwoPortFn Tabulated(const QVector<double>& freqs, const SParameters& s);
// A uniform lossy line: impedance z0 (ohm), delay (s), skin loss (ohm/s, the kits' offset loss),
// in a 50 ohm system, from the telegrapher's solution of the line.
TwoPortFn Line(double z0, double delay, double loss);
void LineParams(double z0, double delay, double loss, double f, cplx s[4]);

// A two-port written as a Touchstone file at full precision on exactly the given points, so that
// a reader (or the simulator's scene) takes these values unchanged; returns its path in dir.
QString WriteExact(const QTemporaryDir& dir, const QString& name, const QVector<double>& f,
                   const TwoPortFn& device);
}  // namespace testfx
