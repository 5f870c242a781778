// Matrices in tests: made from few numbers, compared by value and by bits.
#pragma once

#include "numeric/kernel.h"

#include <cmath>
#include <cstdio>
#include <string>

namespace torvik {

inline matrix3 diagonal(double a, double b, double c)
{
    return {{{a, 0.0, 0.0}, {0.0, b, 0.0}, {0.0, 0.0, c}}};
}

// Writes a number so that every bit of it shows, the sign of zero too.
inline std::string bitsof(double x)
{
    char text[40];
    std::snprintf(text, sizeof text, "%a ", x);
    return text;
}

inline std::string bitsof(const matrix3& a)
{
    std::string text;
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) text += bitsof(a(i, j));
    return text;
}

// Gives the largest difference between two elements in the same place; NaN if one is not a number.
inline double difference(const matrix3& a, const matrix3& b)
{
    double largest = 0.0;
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) {
            const double d = std::fabs(a(i, j) - b(i, j));
            if (!(d <= largest)) largest = d;
        }
    return largest;
}

} // namespace torvik
