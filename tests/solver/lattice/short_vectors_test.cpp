#include "solver/lattice/short_vectors.h"

#include "solver/lattice/invalid_input.h"
#include "support/random_bases.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace torvik::solver {

namespace {

TEST(ShortestBases, AreNoLongerThanAnyOtherBasis)
{
    chance random(1905);
    for (int n = 0; n < 200; ++n) {
        const matrix3 basis = random_unimodular(random, 8).multiply(random_basis(random));
        const short_basis found = shortest_basis(basis);
        EXPECT_TRUE(found.T.multiply(basis).approx(found.basis, 1e-9));
        EXPECT_EQ(std::fabs(found.T.determinant()), 1.0);
        // By definition (Minkowski): the first row is a shortest vector, the others the shortest that
        // complete it.
        const double first = row_of(found.basis, 0).length_sq();
        for (const lattice_vector& one :
             short_vectors(found.basis, row_of(found.basis, 2).length()))
            EXPECT_GE(one.square, first * (1.0 - 1e-9));
        for (int i = 0; i < 2; ++i)
            EXPECT_LE(row_of(found.basis, i).length(), row_of(found.basis, i + 1).length());
    }
}

TEST(ShortestBases, OfRowsInAPlaneDoNotExist)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const matrix3& basis :
         {matrix3(1, 2, 3, 4, 5, 6, 7, 8, 9), matrix3(0, 0, 0, 4, 5, 6, 7, 8, 9),
          matrix3(1, 0, 0, 0, 1, 0, 0, 0, nan)}) {
        EXPECT_FALSE(try_shortest_basis(basis));
        EXPECT_THROW(shortest_basis(basis), invalid_input);
    }
    EXPECT_TRUE(try_shortest_basis(matrix3(1, 0, 0, 0, 1, 0, 0, 0, 1)));
}

} // namespace

} // namespace torvik::solver
