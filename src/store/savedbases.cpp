#include "store/savedbases.h"

#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "driver/write_log_file.h"
#include "numeric/constants.h"
#include "search/fitting.h"
#include "search/reduction.h"
#include "search/scanning.h"
#include "text/units.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace torvik {

namespace {

// What divides all indices of a column, as a greatest common divisor: 0 if they are all 0.
int commondivisor(const double* column, int n)
{
    int divisor = 0;
    for (int k = 0; k < n && divisor != 1; ++k) {
        const int index = static_cast<int>(column[k]);
        if (divisor == 0 || index % divisor != 0) divisor = std::gcd(divisor, index);
    }
    return divisor;
}

// The greatest common divisors of the three indices over the reflections that a basis indexes.
numbered<int, 3> commondivisors(const vectorcolumns& reflections, const matrix3& D)
{
    const auto& parameters = otherglobalvariables;
    wholeindices indices;
    indexwhole(reflections, D, parameters.themaincriterion, parameters.maxallowedmillerindex,
               indices);
    const auto ofcolumn = [&](int i) {
        return indices.unit[i - 1] ? 1 : commondivisor(indices.h[i - 1], reflections.n);
    };
    return {{ofcolumn(1), ofcolumn(2), ofcolumn(3)}};
}

void dividecolumn(matrix3& D, int column, int divisor)
{
    for (int j = 1; j <= 3; ++j) D(column, j) = D(column, j) / divisor;
    if (logging())
        writeline(write_log_file.log_file_number, X(1), "  Indices in column", I(2, column),
                  " divided by", I(2, divisor));
}

// Gives the lowest of n numbers, of which none is NaN. Four running minima do not wait for each
// other as one would.
double lowestof(const double* numbers, int n)
{
    double lowest[4] = {numbers[0], numbers[0], numbers[0], numbers[0]};
    int i = 0;
    for (; i + 4 <= n; i += 4)
        for (int j = 0; j < 4; ++j) lowest[j] = std::min(lowest[j], numbers[i + j]);
    for (; i < n; ++i) lowest[0] = std::min(lowest[0], numbers[i]);
    return std::min({lowest[0], lowest[1], lowest[2], lowest[3]});
}

void logsavedbasis(int slot, const indexcounts& counts, double quality)
{
    if (!logging()) return;
    const int log = write_log_file.log_file_number;
    writeline(log, X(1), "--> Basis saved as no", I(4, slot));
    writeline(log, X(2), I(4, counts.h), "h", " and", I(4, counts.H), "H ",
              "vectors, quality :", F(13, 3, quality));
}

void putintoslot(int slot, const matrix3& D, const indexcounts& counts, double quality,
                 storeknowledge& known)
{
    fillslot(slot, D, counts, quality);
    noteslot(known.slots, slot);
}

// Looks for a basis of the same lattice, and replaces it by the candidate unless it is better. Gives
// false if there is none. A change of a quality makes the worst slot unknown.
bool meetssimilar(const soughtlattice& lattice, const matrix3& D, const indexcounts& counts,
                  double quality, storeknowledge& known)
{
    const int k = firstsimilarslot(known.slots, lattice);
    if (k == 0) return false;
    const int log = write_log_file.log_file_number;
    if (logging()) writeline(log, X(1), "  Similar to solution", I(4, k));
    const double saved = modofsavedbases.aqualityofsavedbases(k);
    if (quality < saved) return true;
    // Deliberate: an equal quality replaces.
    if (logging()) writeline(log, X(1), "    and replaced it");
    putintoslot(k, D, counts, quality, known);
    if (quality != saved) known.worstknown = false;
    return true;
}

} // namespace

void fillslot(int slot, const matrix3& D, const indexcounts& counts, double quality)
{
    modofsavedbases.savedbases(slot) = D;
    modofsavedbases.iqualityofsavedbases(slot) = counts;
    modofsavedbases.aqualityofsavedbases(slot) = quality;
}

bool withinvolumelimits(const vectorcolumns& reflections, matrix3& D, indexcounts& counts,
                        double& quality)
{
    const auto& parameters = otherglobalvariables;
    if (!parameters.limitsonvolumeofprimitivecell) return true;
    double volume = std::fabs(deter(D));
    if (volume < parameters.minvolumeofprimitivecell) return false;
    if (volume > parameters.maxvolumeofprimitivecell) return false;
    if (!(volume / 2.0 > parameters.minvolumeofprimitivecell)) return true;
    int changed = 0;
    checkindexdivisibility(reflections, D, volume, changed);
    if (changed == 1) {
        buergerreduction(D);
        basisquality(reflections, D, counts, quality);
    }
    return true;
}

void savethebasis(matrix3& D, indexcounts& counts, double& quality)
{
    vectorcolumns reflections;
    setcolumns(reflections, recorded_reflections.numberofreflections,
               recorded_reflections.reflections);
    if (!withinvolumelimits(reflections, D, counts, quality)) return;
    storeknowledge known = knowledgeofstore();
    offerbasis(D, counts, quality, known);
}

storeknowledge knowledgeofstore()
{
    storeknowledge known;
    for (int k = 1; k <= modofsavedbases.numberofsavedbases; ++k) noteslot(known.slots, k);
    return known;
}

bool tooweak(double quality, storeknowledge& known)
{
    const auto& store = modofsavedbases;
    // Deliberate: the store holds 128 bases, however many are to be reported.
    if (store.numberofsavedbases < maxsavedbases) return false;
    if (!known.worstknown) indicatecurrentlyworstsavedbasis();
    known.worstknown = true;
    // Deliberate: an equal one goes on.
    return store.aqualityofsavedbases(store.icurrentlyworstsavedbasis) > quality;
}

void offerbasis(const matrix3& D, const indexcounts& counts, double quality, storeknowledge& known)
{
    soughtlattice lattice = {};
    setlattice(lattice, D);
    offerbasis(lattice, D, counts, quality, known);
}

void offerbasis(const soughtlattice& lattice, const matrix3& D, const indexcounts& counts,
                double quality, storeknowledge& known)
{
    auto& store = modofsavedbases;
    // 4.
    if (tooweak(quality, known) || meetssimilar(lattice, D, counts, quality, known)) return;
    const int slot = store.numberofsavedbases < maxsavedbases ? ++store.numberofsavedbases
                                                              : store.icurrentlyworstsavedbasis;
    // 5., 6.
    putintoslot(slot, D, counts, quality, known);
    logsavedbasis(slot, counts, quality);
    known.worstknown = false;
}

int itissimilartoalreadysaved(const matrix3& D, const indexcounts& counts, double quality)
{
    storeknowledge known = knowledgeofstore();
    soughtlattice lattice = {};
    setlattice(lattice, D);
    return meetssimilar(lattice, D, counts, quality, known) ? 1 : 0;
}

void indicatecurrentlyworstsavedbasis()
{
    auto& store = modofsavedbases;
    const auto& quality = store.aqualityofsavedbases;
    const int n = store.numberofsavedbases;
    if (n < 1) return;
    // A slot that is worse than all before it, or equal, is the worst so far: in the end, it is the
    // last of the lowest quality.
    const double lowest = lowestof(quality.element, n);
    int k = n;
    while (k > 1 && quality(k) > lowest) --k;
    store.icurrentlyworstsavedbasis = k;
}

void checkindexdivisibility(matrix3& D, double& volume, int& changed)
{
    vectorcolumns reflections;
    setcolumns(reflections, recorded_reflections.numberofreflections,
               recorded_reflections.reflections);
    checkindexdivisibility(reflections, D, volume, changed);
}

void checkindexdivisibility(const vectorcolumns& reflections, matrix3& D, double& volume,
                            int& changed)
{
    const double smallest = otherglobalvariables.minvolumeofprimitivecell;
    // All indices of a column are divisible by d just if their greatest common divisor is; without
    // any it is 0, which everything divides.
    numbered<int, 3> divisors = commondivisors(reflections, D);
    changed = 0;
    for (int d = 5; d >= 2; --d)
        for (int i = 1; i <= 3 && !(volume / d < smallest); ++i) {
            if (divisors(i) % d != 0) continue;
            dividecolumn(D, i, d);
            divisors(i) /= d;
            volume = volume / d;
            changed = 1;
        }
}

} // namespace torvik
