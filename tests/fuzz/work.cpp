#include "fuzz/work.h"

#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "numeric/constants.h"
#include "numeric/nint.h"
#include "volumes/estimatedvolumes.h"
#include "volumes/triples.h"

#include <algorithm>
#include <cmath>

namespace torvik {

namespace {

constexpr int mostreflections = 12;
constexpr int mostperiods = 4000;
constexpr int steps[] = {7, 11, 21, 51, 121, 201}; // at a test volume, by the extent of the search

// The number of test periods that a run without user-given volumes asks for.
double periodsneeded()
{
    const auto& set = otherglobalvariables;
    double range = set.maxvolumeofprimitivecell - set.minvolumeofprimitivecell;
    if (!set.limitsonvolumeofprimitivecell) {
        double m = largestdouble;
        for (int i = 1; i <= recorded_reflections.numberofreflections; ++i)
            m = std::min(m, recorded_reflections.reflectionmagnitudes(i));
        range = 10000.0 / (m * m * m) - 1.0 / (m * m * m);
    }
    double largest = 0.0;
    foreachtripleproduct([&](double t) { largest = std::max(largest, t); });
    const double periods = range * largest * (2 * set.iextentofthesearch + 2);
    return periods >= 0.0 ? periods : 0.0;
}

// How many bases one triple is expanded into, by its index: the sum of d1 d1 d2 over d1 d2 d3 = k.
double basesofindex(int k)
{
    double sum = 0.0;
    for (int d1 = 1; d1 <= k; ++d1)
        for (int d2 = 1; d1 * d2 <= k; ++d2)
            if (k % (d1 * d2) == 0) sum += d1 * d1 * d2;
    return sum;
}

// Estimates the microseconds that a basis takes, in a build with sanitizers: nine of ten bases take
// less. Where lengths differ by many orders of magnitude, its reduction can take many passes, for
// some up to 5000 microseconds.
double workofbasis()
{
    double largest = 0.0;
    double smallest = largestdouble;
    for (int i = 1; i <= recorded_reflections.numberofreflections; ++i)
        for (const double x : recorded_reflections.reflections(i).element) {
            largest = std::max(largest, std::fabs(x));
            if (x != 0.0) smallest = std::min(smallest, std::fabs(x));
        }
    const double N = recorded_reflections.numberofreflections;
    return largest > 1e4 * smallest ? 600.0 : 1.0 + N * N / 20.0;
}

// Estimates the microseconds that the choice of triples takes at a test value.
double workoftriples()
{
    const double N = recorded_reflections.numberofreflections;
    return N * N * N * N / 100.0 + 1.0;
}

// Estimates the microseconds of the search at the test volumes of the input, without ranking.
double workatvolumes()
{
    constexpr double range[] = {0.0045, 0.006, 0.009, 0.015, 0.024, 0.03};
    constexpr int largestindexes[] = {3, 5, 7, 10, 13, 16};
    const int extent = otherglobalvariables.iextentofthesearch;
    const double volumes = estimatedvolumes.number_of_estimatedvolumes;
    double work = volumes * steps[extent] * workoftriples();
    if (work > 1e9) return work;
    const double each = workofbasis();
    for (int t = 1; t <= estimatedvolumes.number_of_estimatedvolumes; ++t)
        foreachtripleproduct([&](double product) {
            for (const double end : {-range[extent], 0.0, range[extent]}) {
                const double V = estimatedvolumes.table_of_estimatedvolumes(t) * (1.0 + end);
                const int k = nint(product / V);
                if (k < 1 || k > largestindexes[extent] || std::fabs(k - product / V) > 0.35)
                    continue;
                work += steps[extent] / 3.0 * basesofindex(k) * each;
            }
        });
    return work;
}

} // namespace

double workofrun()
{
    const auto& set = otherglobalvariables;
    const double N = recorded_reflections.numberofreflections;
    if (N > mostreflections) return largestdouble;
    if (set.userprovidedvolumes) return workatvolumes();
    const double periods = periodsneeded();
    if (periods > mostperiods) return largestdouble;
    const double triples = N * N * N / 6.0;
    const double periodograms = (periods + 1.0) * triples * 0.2;
    if (set.itypeofperiodogram < 0) return periodograms;
    // The volumes come from the periodogram: at each of them about as many triples pass.
    constexpr int peaks[] = {4, 9, 14, 17, 20, 23};
    constexpr double bases[] = {5, 12, 20, 30, 50, 80};
    const int extent = set.iextentofthesearch;
    const double volumes = std::min<double>(2.0 * peaks[extent], periods / (3 * extent + 3) + 1.0);
    return periodograms
           + volumes * steps[extent]
                 * (workoftriples() + triples * bases[extent] * workofbasis() * 0.3);
}

} // namespace torvik
