#include "volumes/testvolumes.h"

#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "driver/write_log_file.h"
#include "numeric/constants.h"
#include "numeric/nint.h"
#include "text/units.h"
#include "volumes/estimatedvolumes.h"
#include "volumes/peaks.h"
#include "volumes/periodograms.h"
#include "volumes/testperiods.h"
#include "volumes/triples.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

namespace torvik {

namespace {

// How many peaks are taken from a fragment at most, by the extent of the search.
constexpr fromzero<int, 6> maxnumbervolumesperfragment = {{4, 9, 14, 17, 20, 23}};

constexpr int maxfragments = 16;

// A stretch of the periodogram, both ends included.
struct fragment {
    int lo, hi;
};

struct fragmentation {
    int count; // 1..16
    numbered<fragment, maxfragments> part;
};

double smallestmagnitude()
{
    double m = largestdouble;
    for (int i = 1; i <= recorded_reflections.numberofreflections; ++i)
        m = std::min(m, recorded_reflections.reflectionmagnitudes(i));
    return m;
}

// Determines the volume range if the user gave none. Gives the smallest RS volume.
double setvolumerange()
{
    auto& parameters = otherglobalvariables;
    if (parameters.limitsonvolumeofprimitivecell) return 1.0 / parameters.maxvolumeofprimitivecell;
    const double m = smallestmagnitude();
    const double cube = m * m * m;
    parameters.minvolumeofprimitivecell = 1.0 / cube;
    parameters.maxvolumeofprimitivecell = 10000.0 / cube;
    return cube / 10000.0;
}

// Gives the highest index of the test periods. More than the table holds, and no number at all, are
// settled by the saturating conversion.
int numberoftestperiods(double Tmax, double q)
{
    const auto& parameters = otherglobalvariables;
    const double range = parameters.maxvolumeofprimitivecell - parameters.minvolumeofprimitivecell;
    return std::clamp(truncated(range * Tmax / q), 0, lasttestperiod);
}

void logvolumerange(double q)
{
    const auto& parameters = otherglobalvariables;
    const int log = write_log_file.log_file_number;
    // Deliberate: the highest index, one less than there are.
    const int N = testperiods.number_of_test_periods;
    writefreeline(log, "The total number of test volumes :          ", N);
    writeline(log);
    writeline(log, X(1),
              "The volumes are in the range :", F(13, 1, parameters.minvolumeofprimitivecell),
              F(13, 1, parameters.maxvolumeofprimitivecell));
    if (!parameters.limitsonvolumeofprimitivecell)
        writefreeline(log, "Warning: the range was determined automatically");
    writeline(log);
    writeline(log, X(1), "The values of q and 1/q :", F(7, 4, q), I(4, nint(1.0 / q)));
    writeline(log);
}

// Gives how far a peak and the overlap of two fragments reach, in periods.
int margin()
{
    return 3 * (otherglobalvariables.iextentofthesearch + 1);
}

fragmentation splitperiodogram()
{
    const int N = testperiods.number_of_test_periods;
    fragmentation fragments;
    fragments.count = std::clamp(nint(loga(4.0, N / 100.0)), 1, maxfragments);
    // Deliberate: the length is a single-precision quotient.
    const double L = static_cast<float>(N) / static_cast<float>(fragments.count);
    for (int f = 1; f <= fragments.count; ++f)
        fragments.part(f) = {std::max(0, nint((f - 1) * L) - margin()),
                             std::min(N, nint(f * L) + margin())};
    return fragments;
}

int peaksperfragment(int numberoffragments)
{
    // Deliberate: a single-precision quotient.
    const int share = nint(350.0F / static_cast<float>(numberoffragments));
    return std::min(share, maxnumbervolumesperfragment(otherglobalvariables.iextentofthesearch));
}

// Clears a peak with its flanks. Deliberate: also where they reach into a neighbouring fragment,
// so that it is not taken twice.
void clearpeak(periodogrambounds& values, int w)
{
    const int end = std::min(testperiods.number_of_test_periods, w + margin());
    for (int i = std::max(0, w - margin()); i <= end; ++i)
        setvalue(values, static_cast<std::size_t>(i), 0.0);
}

void takepeaks(const tripleproducts& products, periodogrambounds& values, const fragment& part,
               int kmax)
{
    const auto valueof = [&](int i) { return periodogramvalue(products, i); };
    int& count = estimatedvolumes.number_of_estimatedvolumes;
    for (int k = 1; k <= kmax && count < maxestimatedvolumes; ++k) {
        const int w = largestin(values, part.lo, part.hi, valueof);
        if (w < 0) return;
        ++count;
        estimatedvolumes.table_of_estimatedvolumes(count) = testperiods.tableoftestperiods(w);
        clearpeak(values, w);
    }
}

void logfragment(int f, const fragment& part)
{
    const int log = write_log_file.log_file_number;
    const double low = testperiods.tableoftestperiods(part.lo);
    const double high = testperiods.tableoftestperiods(part.hi);
    writefreeline(log, f, "   ", part.lo, "   ", part.hi);
    writeline(log, X(4), "DS vol :", F(15, 3, 1.0 / low), F(15, 3, 1.0 / high));
    writeline(log, X(4), "RS vol :", ES(15, 5, low), ES(15, 5, high));
}

void logtestvolumes(const fragmentation& fragments)
{
    const int log = write_log_file.log_file_number;
    writefreeline(log, rule(59, '='));
    writefreeline(log, "Searching for peaks in following fragments of periodogram : ");
    writefreeline(log, "         No          Start            End");
    for (int f = 1; f <= fragments.count; ++f) logfragment(f, fragments.part(f));
    writefreeline(log, rule(57, '-'));
    writefreeline(log, "The final list of test volumes :");
    writefreeline(log, "   No      RS volume      DS volume");
    for (int i = 1; i <= estimatedvolumes.number_of_estimatedvolumes; ++i) {
        const double V = estimatedvolumes.table_of_estimatedvolumes(i);
        writeline(log, X(1), I(5, i), ES(15, 5, V), F(15, 3, 1.0 / V));
    }
    writefreeline(log, rule(59, '='));
    writeline(log);
}

} // namespace

double maxrlvolumeinperiodogram()
{
    return alltripleproducts().largest;
}

void initializingvolumes2()
{
    // 1. to 4.
    const double Rmin = setvolumerange();
    const double Tmax = maxrlvolumeinperiodogram();
    const double q = 1.0 / (2 * otherglobalvariables.iextentofthesearch + 2);
    const int N = numberoftestperiods(Tmax, q);
    testperiods.number_of_test_periods = N;
    // 5.
    writeline(terminalunit);
    writeline(terminalunit, " Number of test periods : ", X(26), I(10, N));
    // 6.
    const double d = q * Rmin / Tmax;
    for (int i = 0; i <= N; ++i) testperiods.tableoftestperiods(i) = Rmin / (1.0 - i * d);
    // 7.
    if (logging()) logvolumerange(q);
}

void estimate_true_rvolumes(const inputfilename& filename)
{
    // 1.
    const tripleproducts products = alltripleproducts();
    periodogrambounds values;
    computeperiodogram(filename, products, values);
    // 2. to 5.
    const fragmentation fragments = splitperiodogram();
    const int kmax = peaksperfragment(fragments.count);
    // 6.
    estimatedvolumes.number_of_estimatedvolumes = 0;
    for (int f = 1; f <= fragments.count; ++f) takepeaks(products, values, fragments.part(f), kmax);
    // 7. Deliberate: before the list is sorted, so it shows the order of the fragments.
    if (logging()) logtestvolumes(fragments);
}

void sortthetestvolumes()
{
    auto& volume = estimatedvolumes.table_of_estimatedvolumes;
    for (int i = estimatedvolumes.number_of_estimatedvolumes; i >= 2; --i)
        for (int j = 1; j <= i - 1; ++j)
            if (volume(j + 1) > volume(j)) std::swap(volume(j), volume(j + 1));
}

} // namespace torvik
