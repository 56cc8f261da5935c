#include "matrix.h"

void Mat2x2_mult(const std::complex<double>* a, const std::complex<double>* b,
                 std::complex<double>* c)
{
    c[0] = a[0] * b[0] + a[1] * b[2];
    c[1] = a[0] * b[1] + a[1] * b[3];
    c[2] = a[2] * b[0] + a[3] * b[2];
    c[3] = a[2] * b[1] + a[3] * b[3];
}
