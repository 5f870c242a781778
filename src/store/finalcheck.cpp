#include "store/finalcheck.h"

#include "driver/otherglobalvariables.h"
#include "driver/write_log_file.h"
#include "numeric/constants.h"
#include "search/fitting.h"
#include "store/savedbases.h"
#include "store/similarity.h"
#include "text/units.h"

#include <utility>

namespace torvik {

namespace {

double quality(int slot)
{
    return modofsavedbases.aqualityofsavedbases(slot);
}

double volume(int slot)
{
    return std::fabs(deter(modofsavedbases.savedbases(slot)));
}

// Refits the basis of a slot with one tolerance and keeps the result if it is better.
void refit(int slot, double threshold)
{
    matrix3 D = modofsavedbases.savedbases(slot);
    int status = done;
    fittingabovethreshold(threshold, D, status);
    if (status == failed) return;
    indexcounts counts;
    double q = 0.0;
    basisquality(D, counts, q);
    if (q > quality(slot)) fillslot(slot, D, counts, q);
}

void refitall()
{
    const double c = otherglobalvariables.themaincriterion;
    for (int n = 1; n <= modofsavedbases.numberofsavedbases; ++n)
        for (int k = 8; k >= 1; --k) refit(n, k * c / 4.0);
}

// Says whether slots j and j + 1 change places. Deliberate: they do when equal in both keys; a
// not-a-number key keeps them where they are.
bool wrongorder(int mode, int j)
{
    if (mode == 0) {
        if (!(quality(j + 1) >= quality(j))) return false;
        return !(quality(j + 1) == quality(j) && volume(j + 1) > volume(j));
    }
    if (!(volume(j + 1) <= volume(j))) return false;
    return !(volume(j + 1) == volume(j) && quality(j) > quality(j + 1));
}

void exchangeslots(int j, int k)
{
    auto& store = modofsavedbases;
    std::swap(store.savedbases(j), store.savedbases(k));
    std::swap(store.iqualityofsavedbases(j), store.iqualityofsavedbases(k));
    std::swap(store.aqualityofsavedbases(j), store.aqualityofsavedbases(k));
}

// Removes the first later slot that repeats an earlier one. Gives false when there is none.
// Deliberate: a singular basis leaves the inverse before it in use.
bool removeduplicate(matrix3& Ainv)
{
    const auto& store = modofsavedbases;
    int status = done;
    for (int n = 1; n <= store.numberofsavedbases - 1; ++n) {
        invmat(store.savedbases(n), Ainv, hundredtimestiny, status);
        for (int m = n + 1; m <= store.numberofsavedbases; ++m)
            if (samelattice(store.savedbases(m), Ainv)) {
                eliminatebasis(m);
                return true;
            }
    }
    return false;
}

} // namespace

void sortsavedbases3(int mode)
{
    refitall();
    for (int i = modofsavedbases.numberofsavedbases; i >= 2; --i)
        for (int j = 1; j <= i - 1; ++j)
            if (wrongorder(mode, j)) exchangeslots(j, j + 1);
    if (logging())
        writeline(write_log_file.log_file_number, X(1), "Sorting solutions by ",
                  mode == 0 ? "quality" : "volume");
}

void finalcheckofsimilarity()
{
    matrix3 Ainv = {};
    while (removeduplicate(Ainv)) {}
}

void eliminatebasis(int k)
{
    auto& store = modofsavedbases;
    for (int j = k; j <= store.numberofsavedbases - 1; ++j)
        fillslot(j, store.savedbases(j + 1), store.iqualityofsavedbases(j + 1),
                 store.aqualityofsavedbases(j + 1));
    --store.numberofsavedbases;
}

} // namespace torvik
