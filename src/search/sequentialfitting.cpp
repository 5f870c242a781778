#include "search/sequentialfitting.h"

#include "numeric/constants.h"
#include "search/fitting.h"
#include "search/scanning.h"

#include <algorithm>

namespace torvik {

bool endalike(const inversions& seen, double threshold)
{
    return seen.largestsingular < threshold && threshold <= seen.smallestregular;
}

void addinversions(inversions& seen, const inversions& further)
{
    seen.smallestregular = std::min(seen.smallestregular, further.smallestregular);
    seen.largestsingular = std::max(seen.largestsingular, further.largestsingular);
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

void addtosums(fitsums& sums, const vector3& v, const matrix3& G)
{
    const vector3 h = roundedindices(indicesunder(G, v));
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) {
            sums.P(i, j) += h(i) * v(j);
            sums.Q(i, j) += h(i) * h(j);
        }
}

void sequentialfit(matrix3& R, const vectorcolumns& V, const numbered<int, 3>& start,
                   double threshold, double criterion, int& status, inversions& seen)
{
    // 1.
    matrix3 G = {};
    notedinverse(R, G, threshold, status, seen);
    if (status == failed) return;
    // 2.
    fitsums sums;
    exclusions taken;
    excludenone(taken, V.n);
    const auto take = [&](int number) {
        exclude(taken, number);
        addtosums(sums, vectorof(V, number), G);
    };
    for (int k = 1; k <= 3; ++k) take(start(k));
    // 3.
    const double tol = 1.15 * criterion;
    // 4.
    for (int pass = 1; pass <= V.n - 3; ++pass) {
        const int best = bestindexed(V, taken, G, tol);
        if (best == 0) return;
        take(best);
        fitfromsums(sums.P, sums.Q, R, status);
        if (status == failed) return;
        notedinverse(R, G, threshold, status, seen); // Deliberate: a failure keeps G and goes on
    }
}

} // namespace torvik
