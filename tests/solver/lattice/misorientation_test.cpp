#include "solver/lattice/misorientation.h"

#include "solver/lattice/cell.h"

#include <gtest/gtest.h>

#include <cmath>

namespace torvik::solver {

namespace {

TEST(Misorientations, NameTheTwinLaw)
{
    const matrix3 first = basis_of({5.0, 7.0, 9.0, 90.0, 101.0, 90.0});
    // A rotation by 180 degrees about a, the first row, which is along x.
    const matrix3 turn(1, 0, 0, 0, -1, 0, 0, 0, -1);
    const auto found = misorientation_of(first, first.multiply(turn));
    ASSERT_TRUE(found);
    EXPECT_NEAR(found->angle, 180.0, 1e-3);
    ASSERT_TRUE(found->direct);
    EXPECT_TRUE(found->twin);
    EXPECT_NEAR(std::fabs(found->axis.x), 1.0, 1e-6);
    EXPECT_FALSE(misorientation_of(first, basis_of({5.0, 7.0, 11.0, 90.0, 101.0, 90.0})));
}

TEST(Misorientations, PreferATwinLawAmongTheEquivalentRotations)
{
    // With a two-fold axis along b, a rotation by 180 degrees about a is equivalent to one about c*, which
    // is no row.
    const matrix3 first = basis_of({7.1, 9.3, 12.2, 90.0, 95.0, 90.0});
    const matrix3 halfturn(1, 0, 0, 0, -1, 0, 0, 0, -1); // rows: about x, which is a
    const matrix3 aboutb(-1, 0, 0, 0, 1, 0, 0, 0, -1);
    const matrix3 second = first.multiply(halfturn);
    for (const matrix3& setting : {matrix3(), aboutb, scaled(matrix3(), -1.0)}) {
        const auto turn = misorientation_of(first, setting.multiply(second));
        ASSERT_TRUE(turn);
        EXPECT_TRUE(turn->twin);
        ASSERT_TRUE(turn->direct);
        EXPECT_EQ(*turn->direct, (std::array<int, 3>{1, 0, 0}));
        EXPECT_NEAR(turn->angle, 180.0, 1e-3);
    }
}

} // namespace

} // namespace torvik::solver
