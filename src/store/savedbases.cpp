#include "store/savedbases.h"

#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "driver/write_log_file.h"
#include "numeric/constants.h"
#include "search/fitting.h"
#include "search/quality.h"
#include "search/reduction.h"
#include "store/similarity.h"
#include "text/units.h"

#include <cmath>
#include <limits>

namespace torvik {

namespace {

// The rounded indices of the reflections that a basis indexes: rows 1..count.
struct indextable {
    int count = 0;
    numbered<numbered<int, 3>, maxreflections> row;
};

void tabulateindices(const matrix3& D, indextable& indices)
{
    const auto& parameters = otherglobalvariables;
    for (int k = 1; k <= recorded_reflections.numberofreflections; ++k) {
        const vector3 x = transformed(D, recorded_reflections.reflections(k));
        if (largestindex(x) > parameters.maxallowedmillerindex) continue;
        if (!(reflexquality222(x) <= parameters.themaincriterion)) continue;
        ++indices.count;
        indices.row(indices.count) = {{nint(x(1)), nint(x(2)), nint(x(3))}};
    }
}

bool divisible(const indextable& indices, int column, int divisor)
{
    for (int k = 1; k <= indices.count; ++k)
        if (indices.row(k)(column) % divisor != 0) return false;
    return true;
}

void dividecolumn(matrix3& D, indextable& indices, int column, int divisor)
{
    for (int j = 1; j <= 3; ++j) D(column, j) = D(column, j) / divisor;
    for (int k = 1; k <= indices.count; ++k) indices.row(k)(column) /= divisor;
    if (logging())
        writeline(write_log_file.log_file_number, X(1), "  Indices in column", I(2, column),
                  " divided by", I(2, divisor));
}

// Gives the first slot that holds the lattice of D, or 0.
int similarslot(const matrix3& D)
{
    matrix3 Dinv = {};
    int status = done;
    invmat(D, Dinv, hundredtimestiny, status);
    if (status == failed) return 0;
    return firstsimilarslot(Dinv);
}

void logsavedbasis(int slot, const indexcounts& counts, double quality)
{
    if (!logging()) return;
    const int log = write_log_file.log_file_number;
    writeline(log, X(1), "--> Basis saved as no", I(4, slot));
    writeline(log, X(2), I(4, counts.h), "h", " and", I(4, counts.H), "H ",
              "vectors, quality :", F(13, 3, quality));
}

} // namespace

void fillslot(int slot, const matrix3& D, const indexcounts& counts, double quality)
{
    modofsavedbases.savedbases(slot) = D;
    modofsavedbases.iqualityofsavedbases(slot) = counts;
    modofsavedbases.aqualityofsavedbases(slot) = quality;
}

bool withinvolumelimits(matrix3& D, indexcounts& counts, double& quality)
{
    const auto& parameters = otherglobalvariables;
    if (!parameters.limitsonvolumeofprimitivecell) return true;
    double volume = std::fabs(deter(D));
    if (volume < parameters.minvolumeofprimitivecell) return false;
    if (volume > parameters.maxvolumeofprimitivecell) return false;
    if (!(volume / 2.0 > parameters.minvolumeofprimitivecell)) return true;
    int changed = 0;
    checkindexdivisibility(D, volume, changed);
    if (changed == 1) {
        buergerreduction(D);
        basisquality(D, counts, quality);
    }
    return true;
}

void savethebasis(matrix3& D, indexcounts& counts, double& quality)
{
    if (withinvolumelimits(D, counts, quality)) offerbasis(D, counts, quality);
}

void offerbasis(const matrix3& D, const indexcounts& counts, double quality)
{
    auto& store = modofsavedbases;
    // 4. Deliberate: the store holds 128 bases, however many are to be reported.
    int slot = 0;
    if (store.numberofsavedbases >= maxsavedbases) {
        indicatecurrentlyworstsavedbasis();
        slot = store.icurrentlyworstsavedbasis;
        if (store.aqualityofsavedbases(slot) > quality) return; // Deliberate: an equal one goes on
        if (itissimilartoalreadysaved(D, counts, quality) == 1) return;
    } else {
        if (itissimilartoalreadysaved(D, counts, quality) == 1) return;
        ++store.numberofsavedbases;
        slot = store.numberofsavedbases;
    }
    // 5., 6.
    fillslot(slot, D, counts, quality);
    logsavedbasis(slot, counts, quality);
}

int itissimilartoalreadysaved(const matrix3& D, const indexcounts& counts, double quality)
{
    const int k = similarslot(D);
    if (k == 0) return 0;
    const int log = write_log_file.log_file_number;
    if (logging()) writeline(log, X(1), "  Similar to solution", I(4, k));
    if (quality < modofsavedbases.aqualityofsavedbases(k)) return 1;
    // Deliberate: an equal quality replaces.
    if (logging()) writeline(log, X(1), "    and replaced it");
    fillslot(k, D, counts, quality);
    return 1;
}

void indicatecurrentlyworstsavedbasis()
{
    auto& store = modofsavedbases;
    // From infinity, since weights of any size are allowed: some slot is always chosen.
    double lowest = std::numeric_limits<double>::infinity();
    for (int k = 1; k <= store.numberofsavedbases; ++k) {
        if (store.aqualityofsavedbases(k) > lowest) continue; // Deliberate: an equal one is worse
        store.icurrentlyworstsavedbasis = k;
        lowest = store.aqualityofsavedbases(k);
    }
}

void checkindexdivisibility(matrix3& D, double& volume, int& changed)
{
    const double smallest = otherglobalvariables.minvolumeofprimitivecell;
    indextable indices;
    tabulateindices(D, indices);
    changed = 0;
    for (int d = 5; d >= 2; --d)
        for (int i = 1; i <= 3 && !(volume / d < smallest); ++i) {
            if (!divisible(indices, i, d)) continue;
            dividecolumn(D, indices, i, d);
            volume = volume / d;
            changed = 1;
        }
}

} // namespace torvik
