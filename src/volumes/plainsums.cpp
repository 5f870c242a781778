#include "volumes/plainsums.h"

#include "numeric/constants.h"
#include "numeric/functions.h"
#include "numeric/lanes.h"
#include "numeric/nint.h"
#include "volumes/lanesines.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace torvik {

namespace {

// The offsets of the Scargle periodogram.
void sumoffsets(const tripleproducts& products, const double* P, std::size_t periods, double* tau)
{
    std::vector<double> A(periods, 0.0);
    std::vector<double> B(periods, 0.0);
    foreachbatch(products, [&](const double* t, int count) {
        for (int e = 0; e < count; ++e)
            for (std::size_t i = 0; i < periods; ++i) {
                const double theta = (t[e] * fourpi) / P[i];
                A[i] += quicksine(theta);
                B[i] += quickcosine(theta);
            }
    });
    for (std::size_t i = 0; i < periods; ++i) {
        const bool vanish =
            std::fabs(A[i]) <= hundredtimestiny && std::fabs(B[i]) <= hundredtimestiny;
        tau[i] = vanish ? 0.0 : std::atan2(A[i], B[i]) / fourpi;
    }
}

void foldone(const double* t, int count, double P, double& out)
{
    for (int e = 0; e < count; ++e) {
        const double x = t[e] / P;
        const double f = x - truncated(x);
        out += std::fabs(2.0 * f - 1.0);
    }
}

// Gives |2f - 1| of the fractional part f of t/P.
TORVIK_INLINED lanes fold(const lanes& t, const lanes& P)
{
    const lanes x = t / P;
    const lanes whole = wholepart(x);
    return magnitude(fourof(2.0) * (x - whole) - fourof(1.0));
}

// Sixteen periods are enough sums to hide the time that one takes.
TORVIK_INLINED void foldmany(const double* t, int count, const double* P, double* out)
{
    const lanes P0 = fourfrom(P);
    const lanes P1 = fourfrom(P + 4);
    const lanes P2 = fourfrom(P + 8);
    const lanes P3 = fourfrom(P + 12);
    lanes out0 = fourfrom(out);
    lanes out1 = fourfrom(out + 4);
    lanes out2 = fourfrom(out + 8);
    lanes out3 = fourfrom(out + 12);
    for (int e = 0; e < count; ++e) {
        const lanes product = fourof(t[e]);
        out0 += fold(product, P0);
        out1 += fold(product, P1);
        out2 += fold(product, P2);
        out3 += fold(product, P3);
    }
    putfour(out, out0);
    putfour(out + 4, out1);
    putfour(out + 8, out2);
    putfour(out + 12, out3);
}

// Says whether all t/P are positive numbers below 2^30.
bool quotientsaretame(const double* t, int count, const double* P, std::size_t periods)
{
    const auto tame = [](double x) { return x >= 0.0 && x <= largestdouble; };
    return std::all_of(t, t + count, tame) && std::all_of(P, P + periods, tame)
           && *std::max_element(t, t + count) / *std::min_element(P, P + periods) <= 0x1p30;
}

} // namespace

double wrappedsquare(int n)
{
    const auto u = static_cast<std::uint32_t>(n);
    return static_cast<std::int32_t>(u * u);
}

void rayleighsums(const tripleproducts& products, const double* P, std::size_t periods, double* out,
                  double* S, double* C)
{
    // 1.
    std::fill(S, S + periods, 0.0);
    std::fill(C, C + periods, 0.0);
    foreachbatch(products, [&](const double* t, int count) {
        for (int e = 0; e < count; ++e)
            for (std::size_t i = 0; i < periods; ++i) {
                const double theta = (t[e] * twopi) / P[i];
                S[i] += quicksine(theta);
                C[i] += quickcosine(theta);
            }
    });
    // 2. Deliberate: the divisor wraps around.
    const double D = wrappedsquare(std::max(products.number, 1));
    for (std::size_t i = 0; i < periods; ++i) out[i] = (C[i] * C[i] + S[i] * S[i]) / D;
}

void scarglesums(const tripleproducts& products, const double* P, std::size_t periods, double* out,
                 double* tau)
{
    // 1., 2.
    sumoffsets(products, P, periods, tau);
    // 3. Deliberate: the phase is grouped otherwise than in the first pass.
    std::vector<double> s(periods, 0.0);
    std::vector<double> c(periods, 0.0);
    std::vector<double> ss(periods, 0.0);
    std::vector<double> cc(periods, 0.0);
    foreachbatch(products, [&](const double* t, int count) {
        for (int e = 0; e < count; ++e)
            for (std::size_t i = 0; i < periods; ++i) {
                const double phi = ((t[e] / P[i]) - tau[i]) * twopi;
                const double sine = quicksine(phi);
                const double cosine = quickcosine(phi);
                s[i] += sine;
                c[i] += cosine;
                ss[i] += sine * sine;
                cc[i] += cosine * cosine;
            }
    });
    // 4.
    const double triples = std::max(products.number, 1);
    for (std::size_t i = 0; i < periods; ++i)
        out[i] = ((s[i] * s[i]) / ss[i] + (c[i] * c[i]) / cc[i]) / triples;
}

void addfoldings_anywhere(const double* t, int count, const double* P, double* out)
{
    foldmany(t, count, P, out);
}

TORVIK_AVX2 void addfoldings_avx2(const double* t, int count, const double* P, double* out)
{
    foldmany(t, count, P, out);
}

void foldingsums(const tripleproducts& products, const double* P, std::size_t periods, double* out)
{
    // 1.
    std::fill(out, out + periods, 0.0);
    foreachbatch(products, [&](const double* t, int count) {
        std::size_t i = 0;
        if (quotientsaretame(t, count, P, periods)) {
            for (; i + periodsatonce <= periods; i += periodsatonce) {
                if (hasavx2())
                    addfoldings_avx2(t, count, P + i, out + i);
                else
                    addfoldings_anywhere(t, count, P + i, out + i);
            }
        }
        for (; i < periods; ++i) foldone(t, count, P[i], out[i]);
    });
    // 2.
    const double triples = std::max(products.number, 1);
    for (std::size_t i = 0; i < periods; ++i) out[i] = out[i] / triples;
}

} // namespace torvik
