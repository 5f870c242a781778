#include "shares.h"

#include "driver/recorded_reflections.h"
#include "numeric/lanes.h"
#include "volumes/testperiods.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace torvik {

namespace {

constexpr int rounds = 20000000;

// Enough chains of operations at once that no result is waited for.
TORVIK_INLINED double productsandsums(int n)
{
    lanes a[6];
    lanes b[6];
    for (int k = 0; k < 6; ++k) {
        a[k] = fourof(1.0 + k);
        b[k] = fourof(k);
    }
    const lanes factor = fourof(0.999999999);
    const lanes term = fourof(1e-9);
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < 6; ++k) {
            a[k] = a[k] * factor;
            b[k] = b[k] + term;
        }
    double sum = 0.0;
    for (int k = 0; k < 6; ++k) sum += a[k][0] + b[k][0];
    return sum;
}

TORVIK_INLINED double quotients(int n)
{
    lanes a[6];
    for (int k = 0; k < 6; ++k) a[k] = fourof(1.0 + k);
    const lanes divisor = fourof(1.000000001);
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < 6; ++k) a[k] = a[k] / divisor;
    double sum = 0.0;
    for (int k = 0; k < 6; ++k) sum += a[k][0];
    return sum;
}

double productsandsums_anywhere(int n)
{
    return productsandsums(n);
}
TORVIK_AVX2 double productsandsums_avx2(int n)
{
    return productsandsums(n);
}
double quotients_anywhere(int n)
{
    return quotients(n);
}
TORVIK_AVX2 double quotients_avx2(int n)
{
    return quotients(n);
}

// The best of some tries: the machine may do other things as well.
double bestrate(double (*loop)(int), int n, double operations)
{
    double best = 0.0;
    volatile double sink = 0.0;
    for (int attempt = 0; attempt < 5; ++attempt) {
        const double start = processortime();
        sink = sink + loop(n);
        best = std::max(best, n * operations / (processortime() - start));
    }
    return best;
}

double choose3(double n)
{
    return n * (n - 1.0) * (n - 2.0) / 6.0;
}

} // namespace

double arithmeticpeak()
{
    return bestrate(hasavx2() ? productsandsums_avx2 : productsandsums_anywhere, rounds,
                    12.0 * lanecount);
}

double divisionpeak()
{
    return bestrate(hasavx2() ? quotients_avx2 : quotients_anywhere, rounds / 10, 6.0 * lanecount);
}

necessarywork workof(const stage& done)
{
    const double N = recorded_reflections.numberofreflections;
    const double periods = testperiods.number_of_test_periods + 1.0;
    if (done.name == "folding, with a log") // t/P; the rest is done in the meantime
        return {"terms", choose3(N) * periods, 1.0, true};
    if (done.name == "Rayleigh, test volumes") {
        // A product on 14 points of a grid, real and imaginary, a product and a sum each; the
        // transform of a grid of twice the periods, 5 M log2 M.
        const double M = 2.0 * periods;
        return {"terms", choose3(N) * periods,
                (56.0 * choose3(N) + 5.0 * M * std::log2(M)) / (choose3(N) * periods)};
    }
    if (done.name == "ranking") {
        // Every triple once, and those of each dropped vector again: three products and two sums,
        // the absolute value, the phase in steps 1, its rounding and remainder 4.
        const double values = std::atoi(done.size.c_str());
        const double kept = N - (N - std::min(12.0, std::floor(N / 2.0)));
        return {"triples", values * (2.0 * choose3(N) - choose3(kept)), 11.0};
    }
    if (done.name == "score") // indices 15, roundings 6, deviations 6, largest 4, comparisons 4
        return {"vectors", N * std::atoi(done.size.c_str()), 35.0};
    return {};
}

} // namespace torvik
