#include "search/sequentialfitting.h"

#include "numeric/constants.h"
#include "search/fitting.h"
#include "search/scanning.h"

#include <algorithm>

namespace torvik {

namespace {

// The sums transpose(H) A and transpose(H) H over the rows of indices H and vectors A, and which
// vectors they hold.
struct growingfit {
    matrix3 P = {};
    matrix3 Q = {};
    exclusions taken;
};

void take(growingfit& fit, int number, const vectorcolumns& V, const matrix3& G)
{
    exclude(fit.taken, number);
    const vector3 v = vectorof(V, number);
    const vector3 h = roundedindices(indicesunder(G, v));
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) {
            fit.P(i, j) += h(i) * v(j);
            fit.Q(i, j) += h(i) * h(j);
        }
}

} // namespace

bool endalike(const inversions& seen, double threshold)
{
    return seen.largestsingular < threshold && threshold <= seen.smallestregular;
}

void notedinverse(const matrix3& a, matrix3& ainv, double threshold, int& status, inversions& seen)
{
    invmat(a, ainv, threshold, status);
    const double d = std::fabs(deter(a));
    if (status == failed)
        seen.largestsingular = std::max(seen.largestsingular, d);
    else if (d < seen.smallestregular) // not a number: regular by any threshold
        seen.smallestregular = d;
}

void sequentialfit(matrix3& R, const vectorcolumns& V, const numbered<int, 3>& start,
                   double threshold, double criterion, int& status, inversions& seen)
{
    // 1.
    matrix3 G = {};
    notedinverse(R, G, threshold, status, seen);
    if (status == failed) return;
    // 2.
    growingfit fit;
    excludenone(fit.taken, V.n);
    for (int k = 1; k <= 3; ++k) take(fit, start(k), V, G);
    // 3.
    const double tol = 1.15 * criterion;
    // 4.
    for (int pass = 1; pass <= V.n - 3; ++pass) {
        const int best = bestindexed(V, fit.taken, G, tol);
        if (best == 0) return;
        take(fit, best, V, G);
        fitfromsums(fit.P, fit.Q, R, status);
        if (status == failed) return;
        notedinverse(R, G, threshold, status, seen); // Deliberate: a failure keeps G and goes on
    }
}

} // namespace torvik
