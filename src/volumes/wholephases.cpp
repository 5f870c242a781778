#include "volumes/wholephases.h"

#include "numeric/kernel.h"
#include "numeric/lanes.h"
#include "volumes/evenspacing.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace torvik {

namespace {

using phases = std::uint32_t __attribute__((vector_size(32)));      // eight phases
using signedphases = std::int32_t __attribute__((vector_size(32))); // the same with a sign

constexpr int phasecount = 8;
constexpr int below = phasesatonce / 2 - 1; // periods before the middle of a block
constexpr std::uint32_t half = 0x80000000U; // half a cycle
constexpr double cycle = 4294967296.0;

// Gives the fraction of a number of cycles, rounded to a phase.
TORVIK_INLINED std::uint32_t phaseof(double cycles)
{
    const double fraction = cycles - std::floor(cycles);
    return static_cast<std::uint32_t>(
        static_cast<std::int64_t>(std::floor(fraction * cycle + 0.5)));
}

// Adds the 23-bit magnitudes of phases less half a cycle.
TORVIK_INLINED void addmagnitudes(const phases& p, std::uint32_t* sums)
{
    const auto x = (signedphases)p;
    const phases magnitude = (phases)(x ^ (x < 0)) >> 8; // the comparison gives ones where it holds
    phases sum;
    std::memcpy(&sum, sums, sizeof sum);
    sum += magnitude;
    std::memcpy(sums, &sum, sizeof sum);
}

TORVIK_INLINED void add(const double* t, int count, double a, double s, std::uint32_t* sums)
{
    for (int e = 0; e < count; ++e) {
        const std::uint32_t step = phaseof(t[e] * s);
        const std::uint32_t first = phaseof(t[e] * a) - half - below * step;
        const phases numbers = {0, 1, 2, 3, 4, 5, 6, 7};
        phases p = first + step * numbers;
        for (int k = 0; k < phasesatonce; k += phasecount) {
            addmagnitudes(p, sums + k);
            p += phasecount * step;
        }
    }
}

// Adds up all terms for a block of periods.
std::vector<std::uint64_t> sumsofblock(const tripleproducts& products, const evenspacing& block)
{
    std::vector<std::uint64_t> total(phasesatonce, 0);
    foreachbatch(products, [&](const double* t, int count) {
        for (int first = 0; first < count; first += termsatonce) {
            std::uint32_t sums[phasesatonce] = {};
            addwholephases(t + first, std::min(termsatonce, count - first), block.a, block.s, sums);
            for (std::size_t k = 0; k < phasesatonce; ++k) total[k] += sums[k];
        }
    });
    return total;
}

double sumof(const tripleproducts& products)
{
    double sum = 0.0;
    foreachbatch(products, [&](const double* t, int count) {
        for (int e = 0; e < count; ++e) sum += t[e];
    });
    return sum * (1.0 + 0x1p-20); // the roundings are far below
}

} // namespace

void addwholephases_anywhere(const double* t, int count, double a, double s, std::uint32_t* sums)
{
    add(t, count, a, s, sums);
}

TORVIK_AVX2 void addwholephases_avx2(const double* t, int count, double a, double s,
                                     std::uint32_t* sums)
{
    add(t, count, a, s, sums);
}

void addwholephases(const double* t, int count, double a, double s, std::uint32_t* sums)
{
    if (hasavx2())
        addwholephases_avx2(t, count, a, s, sums);
    else
        addwholephases_anywhere(t, count, a, s, sums);
}

void boundfolding(const tripleproducts& products, const double* P, std::size_t periods,
                  double* least, double* most, int& status)
{
    // 1. Whether all quotients are positive and below 2^30.
    const double sumofproducts = sumof(products);
    const double smallest = *std::min_element(P, P + periods);
    const auto tame = [](double x) { return x > 0x1p-500 && x < 0x1p500; };
    const bool fit = std::all_of(P, P + periods, tame) && tame(sumofproducts)
                     && products.largest / smallest < 0x1p30;
    status = fit ? done : failed;
    if (status == failed) return;
    // 2. Block by block.
    const double s = stepofinverse(P, periods);
    const double n = products.number;
    for (std::size_t first = 0; first < periods; first += phasesatonce) {
        const std::size_t last = std::min(first + phasesatonce, periods) - 1;
        const evenspacing block = measured(first, last, P, s);
        const std::vector<std::uint64_t> sums = sumsofblock(products, block);
        const double error =
            2.0 * sumofproducts / n * block.error + 0x1p-25 + 0x1p-30 + 0x1p-53 * (4.0 + n);
        for (std::size_t i = first; i <= last; ++i) {
            const int k = static_cast<int>(i) - middleof(block);
            const int place = k + below;
            const double mean =
                static_cast<double>(sums[static_cast<std::size_t>(place)]) / (n * 0x1p23);
            least[i] = mean - error;
            most[i] = mean + 0x1p-23 + error;
        }
    }
}

} // namespace torvik
