#include "solutions/deciding.h"

#include "solver/lattice/cell.h"

#include <gtest/gtest.h>

#include <string>

namespace torvik::tools {

namespace {

solver::lattice latticeof(const matrix3& basis, int known = -1)
{
    solver::lattice one;
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t k = 0; k < 3; ++k) one.basis[i][k] = basis.a[i][k];
    one.known = known;
    return one;
}

TEST(AmbiguousCells, AreToldApartByAReflectionThatOnlyTheLargerOneHas)
{
    const matrix3 small = basis_of({5.0, 7.0, 9.0, 90.0, 101.0, 90.0});
    const matrix3 doubled = matrix3(2, 0, 0, 0, 1, 0, 0, 0, 1).multiply(small);
    const std::string text = deciding_reflection(latticeof(doubled), latticeof(small));
    EXPECT_NE(text.find("Lattice 1 has a cell 2 times as large. Measure its reflection"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("at a spacing of 9.82 angstroms"), std::string::npos) << text; // 10 sin 101
    EXPECT_NE(deciding_reflection(latticeof(small), latticeof(doubled)).find("Lattice 2 has"),
              std::string::npos);
    const matrix3 other = basis_of({6.1, 7.7, 9.3, 90.0, 101.0, 90.0});
    EXPECT_EQ(deciding_reflection(latticeof(small), latticeof(other)), "");
}

TEST(AmbiguousOrientations, OfAKnownCellAreToldApartByAReflectionOfTheFirst)
{
    const matrix3 one = basis_of({5.0, 7.0, 9.0, 90.0, 101.0, 90.0});
    const matrix3 turned = one.multiply(matrix3(0, 1, 0, -1, 0, 0, 0, 0, 1));
    const std::string text = deciding_reflection(latticeof(one, 0), latticeof(turned, 0));
    EXPECT_TRUE(text.starts_with("Measure the reflection ")) << text;
    EXPECT_TRUE(text.ends_with(", of lattice 1: lattice 2 has none there.")) << text;
}

} // namespace

} // namespace torvik::tools
