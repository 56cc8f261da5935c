// Small vector kernels used across the trace chain, calibration and transforms, and a cached FFTW
// DFT of any length. Each function has the plain element-wise meaning its name says.
#pragma once

#include <complex>
#include <cstddef>

namespace sig
{
using cplx = std::complex<double>;

void Copy(const cplx* src, cplx* dst, int n);
void Flip(const cplx* src, cplx* dst, int n);
void Flip(cplx* data, int n);
void Conj(const cplx* src, cplx* dst, int n);
void Mul(const cplx* a, const cplx* b, cplx* dst, int n);
// dst = b / a, as the library convention divides the second operand by the first.
void Div(const cplx* a, const cplx* b, cplx* dst, int n);
// dst = a / b up to the first b that is exactly zero, whose index is returned (-1 if none);
// points from there on are left alone. Bit for bit the library's complex division.
int DivUntilZero(const cplx* a, const cplx* b, cplx* dst, int n);
double Sum(const double* src, int n);
void MulC(const double* src, double c, double* dst, int n);
void MinMax(const double* src, int n, double& min, double& max);
void MinEvery(const double* a, const double* b, double* dst, int n);
void MaxEvery(const double* a, const double* b, double* dst, int n);
void MinIndx(const double* src, int n, double& min, int& index);
void MaxIndx(const double* src, int n, double& max, int& index);
// dst[i] = magnitude * exp(j * (2 pi rFreq i + phase)), rFreq in cycles per sample.
void Tone(cplx* dst, int n, double magnitude, double rFreq, double& phase);
cplx DotProd(const cplx* a, const cplx* b, int n);
void Convert(const double* src, float* dst, int n);
void Convert(const float* src, double* dst, int n);

// Unnormalised forward DFT, and the inverse divided by the length. In-place is allowed.
void DftForward(const cplx* src, cplx* dst, int n);
void DftInverse(const cplx* src, cplx* dst, int n);
}  // namespace sig
