#include "volumes/nearsums.h"

#include "numeric/constants.h"
#include "numeric/kernel.h"
#include "volumes/lanesines.h"

#include <algorithm>
#include <cmath>

namespace torvik {

namespace {

TORVIK_INLINED void add(const double* t, int count, const double* periods, runningsums& sums)
{
    const lanes P = fourfrom(periods);
    lanes S = fourfrom(sums.S);
    lanes C = fourfrom(sums.C);
    lanes wayofS = fourfrom(sums.wayofS);
    lanes wayofC = fourfrom(sums.wayofC);
    for (int e = 0; e < count; ++e) {
        const lanesines term = sinesof(fourof(t[e] * twopi) / P);
        S += term.sine;
        C += term.cosine;
        wayofS += magnitude(S);
        wayofC += magnitude(C);
    }
    putfour(sums.S, S);
    putfour(sums.C, C);
    putfour(sums.wayofS, wayofS);
    putfour(sums.wayofC, wayofC);
}

} // namespace

void addnearsums_anywhere(const double* t, int count, const double P[4], runningsums& sums)
{
    add(t, count, P, sums);
}

TORVIK_AVX2 void addnearsums_avx2(const double* t, int count, const double P[4], runningsums& sums)
{
    add(t, count, P, sums);
}

void nearrayleighsums(const tripleproducts& products, const double P[4], nearsum sums[4],
                      int& status)
{
    const bool fit = products.largest * twopi / *std::min_element(P, P + 4) <= lanesinelimit;
    status = fit ? done : failed;
    if (status == failed) return;
    runningsums running = {};
    foreachbatch(products, [&](const double* t, int count) {
        if (hasavx2())
            addnearsums_avx2(t, count, P, running);
        else
            addnearsums_anywhere(t, count, P, running);
    });
    const double n = products.number;
    for (int j = 0; j < 4; ++j) {
        const double way =
            std::hypot(6.0 * n + 2.0 * running.wayofS[j], 6.0 * n + 2.0 * running.wayofC[j]);
        sums[j] = {running.S[j], running.C[j], way * 0x1p-53 * (1.0 + 0x1p-20)};
    }
}

} // namespace torvik
