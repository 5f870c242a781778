#include "solver/lattice/misorientation.h"

#include "solver/lattice/cell.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace torvik::solver {

namespace {

// Rodrigues' formula.
matrix3 rotation(const vector3& about, double degrees)
{
    const vector3 n = about.normalized();
    const double phi = degrees * std::numbers::pi / 180.0;
    const matrix3 cross(0, -n.z, n.y, n.z, 0, -n.x, -n.y, n.x, 0);
    const matrix3 square = cross.multiply(cross);
    matrix3 R;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            R.a[i][j] += std::sin(phi) * cross.a[i][j] + (1.0 - std::cos(phi)) * square.a[i][j];
    return R;
}

const matrix3 triclinic = basis_of({6.1, 7.7, 9.4, 82.0, 97.0, 105.0});

// The misorientation of the triclinic cell and itself, turned.
misorientation turned_by(const vector3& axis, double degrees)
{
    const auto found =
        misorientation_of(triclinic, triclinic.multiply(rotation(axis, degrees).transpose()));
    EXPECT_TRUE(found);
    return found.value_or(misorientation{});
}

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

TEST(Misorientations, HaveTheAngleAndTheAxisOfTheRotation)
{
    for (const vector3& axis : {vector3(1, 0, 0), vector3(0, 1, 0), vector3(0, 0, 1),
                                vector3(1, 2, 3), vector3(-3, 1, 0.5), vector3(0.2, -1, 4)})
        for (const double angle : {3.0, 50.0, 90.0, 131.0, 179.0}) {
            const misorientation turn = turned_by(axis, angle);
            EXPECT_NEAR(turn.angle, angle, 1e-6);
            EXPECT_NEAR(std::fabs(turn.axis.dot(axis.normalized())), 1.0, 1e-9) << angle;
        }
}

TEST(Misorientations, OfALatticeAndItselfAreZero)
{
    const auto found = misorientation_of(triclinic, triclinic);
    ASSERT_TRUE(found);
    EXPECT_NEAR(found->angle, 0.0, 1e-4);
    EXPECT_FALSE(found->twin);
    EXPECT_NEAR(found->axis.length(), 1.0, 1e-9);
}

// All lattices have a centre of symmetry.
TEST(Misorientations, OfAMirrorImageAreThoseOfItsInverse)
{
    const matrix3 mirror(1, 0, 0, 0, 1, 0, 0, 0, -1);
    const auto found = misorientation_of(triclinic, triclinic.multiply(mirror));
    ASSERT_TRUE(found);
    EXPECT_NEAR(found->angle, 180.0, 1e-4);
    EXPECT_NEAR(std::fabs(found->axis.z), 1.0, 1e-9);
}

TEST(Misorientations, AreTwinLawsOnlyByTheAnglesOfLawsAboutARow)
{
    const vector3 row = row_of(triclinic, 0) - row_of(triclinic, 2) * 2.0;
    for (const double law : {180.0, 120.0, 90.0, 60.0}) {
        EXPECT_TRUE(turned_by(row, law - 0.9).twin) << law;
        EXPECT_FALSE(turned_by(row, law - 1.1).twin) << law;
    }
    EXPECT_TRUE(turned_by(row, 60.9).twin);
    EXPECT_FALSE(turned_by(row, 61.1).twin);
    EXPECT_FALSE(turned_by(row, 45.0).twin);
}

TEST(Misorientations, NameARowWithinTwoDegreesAndATwinAxisWithinOne)
{
    const vector3 row = row_of(triclinic, 0) - row_of(triclinic, 2) * 2.0;
    const vector3 across = row.cross(vector3(0.3, 1.0, 0.2)).normalized() * row.length();
    const auto off_by = [&](double degrees) {
        return turned_by(row + across * std::tan(degrees * std::numbers::pi / 180.0), 90.0);
    };
    for (const double off : {0.0, 0.5, 0.9, 1.1, 1.5}) {
        const misorientation turn = off_by(off);
        ASSERT_TRUE(turn.direct) << off;
        EXPECT_EQ(*turn.direct, (std::array<int, 3>{1, 0, -2}));
        EXPECT_NEAR(turn.off, off, 1e-5);
        EXPECT_EQ(turn.twin, off < 1.0);
    }
    EXPECT_FALSE(turned_by(vector3(0.33, 1.0, -0.71), 90.0).twin);
}

TEST(Misorientations, NameRowsWithIndicesUpToThree)
{
    using indices = std::array<int, 3>;
    for (const indices& row : {indices{0, 1, 3}, indices{0, 1, -3}, indices{3, -1, 2},
                               indices{1, 3, 0}, indices{1, -3, 0}, indices{0, 0, 1}}) {
        const vector3 along = triclinic.left_multiply(vector3(row[0], row[1], row[2]));
        const misorientation turn = turned_by(along, 90.0);
        ASSERT_TRUE(turn.direct);
        EXPECT_EQ(*turn.direct, row);
        EXPECT_TRUE(turn.twin);
    }
}

TEST(Misorientations, OfASymmetricCellAreTheSmallestOfTheEquivalentOnes)
{
    const matrix3 cubic = basis_of({8.0, 8.0, 8.0, 90.0, 90.0, 90.0});
    const auto found =
        misorientation_of(cubic, cubic.multiply(rotation(vector3(0, 0, 1), 83.0).transpose()));
    ASSERT_TRUE(found);
    EXPECT_NEAR(found->angle, 7.0, 1e-6); // less a fourfold rotation
    ASSERT_TRUE(found->direct);
    EXPECT_EQ(*found->direct, (std::array<int, 3>{0, 0, 1}));
    EXPECT_FALSE(found->twin);
}

} // namespace

} // namespace torvik::solver
