#include "store/similarity.h"

#include "numeric/kernel.h"
#include "numeric/lanes.h"
#include "numeric/nint.h"
#include "store/modofsavedbases.h"

#include <cmath>

namespace torvik {

namespace {

// The deviations of two bases of one lattice add up to less.
constexpr double similaritylimit = 0.15;

TORVIK_INLINED int firstnear(int first, const matrix3& inverse)
{
    const lanes row1 = {inverse(1, 1), inverse(1, 2), inverse(1, 3), 0.0};
    const lanes row2 = {inverse(2, 1), inverse(2, 2), inverse(2, 3), 0.0};
    const lanes row3 = {inverse(3, 1), inverse(3, 2), inverse(3, 3), 0.0};
    for (int k = first; k <= modofsavedbases.numberofsavedbases; ++k) {
        double dev = 0.0;
        for (const auto& vector : modofsavedbases.savedbases(k).element) {
            const lanes T = vector[0] * row1 + vector[1] * row2 + vector[2] * row3;
            const lanes deviation = magnitude(T - nearestwhole(T));
            dev += deviation[0];
            dev += deviation[1];
            dev += deviation[2];
            if (dev >= similaritylimit) break;
        }
        if (!(dev >= similaritylimit)) return k;
    }
    return 0;
}

int firstnear_anywhere(int first, const matrix3& inverse)
{
    return firstnear(first, inverse);
}

TORVIK_AVX2 int firstnear_avx2(int first, const matrix3& inverse)
{
    return firstnear(first, inverse);
}

} // namespace

bool samelattice(const matrix3& M, const matrix3& inverse)
{
    const matrix3 T = matrixproduct(M, inverse);
    const double d = std::fabs(deter(T));
    double dev = 0.0;
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) dev += std::fabs(T(i, j) - nint(T(i, j)));
    return std::fabs(d - 1.0) < 0.05 && dev < similaritylimit;
}

int firstsimilarslot(const matrix3& inverse)
{
    const auto firstnearslot = hasavx2() ? firstnear_avx2 : firstnear_anywhere;
    int k = firstnearslot(1, inverse);
    while (k > 0 && !samelattice(modofsavedbases.savedbases(k), inverse))
        k = firstnearslot(k + 1, inverse);
    return k;
}

} // namespace torvik
