// The discrete Fourier transform, for lengths that are powers of two.
#pragma once

#include <vector>

namespace torvik {

// The factors of a transform of a given length.
struct fouriertable {
    int length;                       // a power of two, 16 or more
    std::vector<double> cosine, sine; // of 2 pi p / length, for p below three quarters of it
};

// Makes the factors. Each is off by less than 2^-50.
fouriertable newfouriertable(int length);

// Transforms complex numbers: X(k) = the sum over l of x(l) exp(2 pi i k l / length).
//
// Given:               table          for this length
// Given and returned:  re, im         x(0), x(1), ...; returned as X(0), X(1), ...
// Returned:            workre, workim  of no meaning
//
// Each X(k) is off by less than fouriererror(length) times the sum of all |x(l)|: it is a sum in
// which each x(l) has passed log2(length) levels. Two levels add twice, which rounds by a unit
// (2^-53) each, and multiply once, by a factor that is off by less than 9 units, which rounds by
// less than 3 [Brent, Percival & Zimmermann 2007]: 14 units, for which 16 are reckoned.
void fouriertransform(const fouriertable& table, double* re, double* im, double* workre,
                      double* workim);

// The same for any processor, and for one with AVX2.
void fouriertransform_anywhere(const fouriertable& table, double* re, double* im, double* workre,
                               double* workim);
void fouriertransform_avx2(const fouriertable& table, double* re, double* im, double* workre,
                           double* workim);

// Gives the bound on the error of a transform.
double fouriererror(int length);

} // namespace torvik
