// Scans over all vectors under one basis: the best indexed one, and how many are indexed.
#pragma once

#include "numeric/columns.h"
#include "numeric/kernel.h"
#include "store/modofsavedbases.h"

// A scan does the same to every vector, so it works on four or eight at a time. Its answer is that of
// the loop over single vectors: each vector goes through the same products and sums in the same order,
// and only the rounding of an index is done otherwise. There, x - nint(x) is exact, and so is the
// same with halves rounded to even; the two differ in no more than the sign of a half. That holds
// below 2^31; where a bound on the indices, or a number that is not finite, does not exclude more,
// the vectors are taken one by one.

namespace torvik {

// Gives vector i.
inline vector3 vectorof(const vectorcolumns& V, int i)
{
    return {{V.x[i - 1], V.y[i - 1], V.z[i - 1]}};
}

// Indices below this limit are rounded by adding a number so large that fractions are rounded away.
constexpr double safeindex = 2e9;

// Says whether the indices of all vectors are surely below that limit: each is a sum of three
// products of a component and an element of M.
bool surelysmall(const vectorcolumns& V, const matrix3& M);

// What is added to the quality of a vector that is not to be considered; otherwise 0.
struct exclusions {
    alignas(sizeof(lanes)) double penalty[maxcolumn];
};

// Excludes nothing but the places behind the last vector.
void excludenone(exclusions& excluded, int n);

// Excludes the vector i.
void exclude(exclusions& excluded, int i);

// Finds the best indexed vector that is not excluded.
//
// Given:     V         the vectors v
//            excluded  those that are not considered
//            G         inverse of a reciprocal basis; the indices of v are v G
//            tol       largest reflexquality222 to be found
// Returned:  its number, the first of equals; 0 if none is within tol
int bestindexed(const vectorcolumns& V, const exclusions& excluded, const matrix3& G, double tol);

// Counts the vectors that a direct basis indexes.
//
// Given:     V        the vectors v; their indices are D v
//            c        largest reflexquality222 of the loose count, half of it of the strict one
//            largest  vectors with a larger index count nowhere
indexcounts countindexed(const vectorcolumns& V, const matrix3& D, double c, int largest);

// The same in certain lanes, which the processor must have.
indexcounts countindexedin(int whichlanes, const vectorcolumns& V, const matrix3& D, double c,
                           int largest);

// Whole indices of vectors, component by component; 0 0 0 for a vector that does not count.
struct wholeindices {
    alignas(sizeof(lanes)) double h[3][maxcolumn];
    bool unit[3]; // whether one of the component is 1 or -1
};

// Rounds the indices of the vectors that countindexed counts loosely.
void indexwhole(const vectorcolumns& V, const matrix3& D, double c, int largest,
                wholeindices& indices);

// The same in certain lanes, which the processor must have.
void indexwholein(int whichlanes, const vectorcolumns& V, const matrix3& D, double c, int largest,
                  wholeindices& indices);

} // namespace torvik
