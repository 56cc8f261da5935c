// The emulated uCal module's own characterisation: smooth, physical models of its switched
// states, sampled on a frequency grid, and the forms it hands them out in (the binary factory
// blocks of the serial protocol, Touchstone files for the instrument simulator's scene).
//
// Each module port reaches its switches through a short lossy line (skin-effect loss, a
// characteristic impedance a little off 50 ohm). At the line's end a state is a network of
// lumped parts: the short an on-resistance with its inductance, the open the off-state
// capacitance with a leakage resistance, the load a resistor with series inductance and shunt
// capacitance. The thru joins both ports' lines through the on-resistance and a shunt
// capacitance. Everything is computed as chain matrices, so the thru is reciprocal and passive.
#pragma once

#include <complex>
#include <string>
#include <vector>

namespace ucalemu
{
using cplx = std::complex<double>;

struct TwoPort
{
    cplx s11, s21, s12, s22;
};

enum Reflect
{
    kShort = 0,
    kOpen = 1,
    kLoad = 2
};

struct Characterisation
{
    std::vector<double> freqs;
    std::vector<cplx> reflect[2][3];  // [module port A, B][short, open, load]
    std::vector<TwoPort> thru;        // port A is the thru's port 1
};

// The models on `points` frequencies from start to stop (Hz), evenly spaced.
Characterisation Characterise(int points, double start, double stop);

// Factory block `index` (0..3): little-endian int32 n, n doubles, int32 p, then p lists of n
// (re, im) doubles. Blocks 0..2 carry the short, open and load of port A then port B; block 3
// the thru's S11, S21, S12, S22.
std::string FactoryBlock(const Characterisation& c, int index);
// A block whose parameter lists are given explicitly (the faults build broken ones with it).
std::string EncodeBlock(const std::vector<double>& freqs,
                        const std::vector<std::vector<cplx>>& params);

// Touchstone files at full precision in hertz, real and imaginary parts, so that the scene
// shows exactly the values of the blocks. The thru can be written with its ports swapped.
bool WriteReflectFile(const std::string& path, const std::vector<double>& freqs,
                      const std::vector<cplx>& s11);
bool WriteThruFile(const std::string& path, const Characterisation& c, bool swapped);
}  // namespace ucalemu
