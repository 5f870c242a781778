#include "solver/verdict/remarks.h"

#include "solver/verdict/several_crystals.h"
#include "support/simulated_twins.h"

#include <gtest/gtest.h>

#include <string>

namespace torvik::solver {

namespace {

std::string together(const std::vector<std::string>& sentences)
{
    std::string all;
    for (const std::string& one : sentences) all += one + "\n";
    return all;
}

TEST(AmbiguousCells, AreToldApartByAReflectionThatOnlyTheLargerOneHas)
{
    const matrix3 small = basis_of({5.0, 7.0, 9.0, 90.0, 101.0, 90.0});
    const matrix3 doubled = matrix3(2, 0, 0, 0, 1, 0, 0, 0, 1).multiply(small);
    // 10 sin 101 is 9.82.
    EXPECT_EQ(what_decides(doubled, small),
              "The cell of lattice 1 is 2 times as large. Measure its reflection 1 0 0 (d = 9.82 "
              "angstroms): lattice 2 has none there.");
    EXPECT_EQ(what_decides(small, doubled),
              "The cell of lattice 2 is 2 times as large. Measure its reflection 1 0 0 (d = 9.82 "
              "angstroms): lattice 1 has none there.");
    EXPECT_EQ(what_decides(small, small), "");
    EXPECT_EQ(what_decides(small, basis_of({6.1, 7.7, 9.3, 90.0, 101.0, 90.0})), "");
}

TEST(OrientationsOfAKnownCell, AreToldApartByAReflectionOfTheFirst)
{
    const matrix3 cell = basis_of({5.0, 7.0, 9.0, 90.0, 90.0, 90.0});
    const matrix3 turned = from_rows(row_of(cell, 0), {0.0, 0.0, 7.0}, {0.0, -9.0, 0.0});
    // 0 0 1 has the indices 0 7/9 0 in the other orientation.
    EXPECT_EQ(what_decides_of_known(cell, turned),
              "Measure the reflection 0 0 1 (d = 9.00 angstroms) of lattice 1: lattice 2 has none "
              "there.");
    EXPECT_EQ(what_decides_of_known(cell, cell), "");
    const matrix3 doubled = matrix3(2, 0, 0, 0, 1, 0, 0, 0, 1).multiply(cell);
    EXPECT_EQ(what_decides_of_known(doubled, cell), what_decides(doubled, cell));
}

TEST(FurtherCrystals, AreNamedWithTheirMisorientation)
{
    const simulated_twin made = simulated(twin_request{95.0, 60, 0, 0.002, 1});
    assessment best = assess(made.vectors, made.bases[0]);
    best.basis = made.bases[0];
    best.further_crystals = {made.bases[1]};
    const std::string turned = "A further crystal has the same cell, turned by 180.0 degrees about "
                               "[1 0 0]: a likely twin law.\n";
    EXPECT_EQ(together(remarks_on_further_crystals(best, 1)),
              turned + "Ask for 2 lattices to index all these crystals.\n");
    EXPECT_EQ(together(remarks_on_further_crystals(best, 2)), turned);
    // Nothing is said of the reflections that the first one leaves.
    EXPECT_EQ(together(remarks_on(made.vectors, {best}, 1, false, 2)), turned);
}

TEST(TheRemarks, SayWhatDecidesOnlyIfLatticesCompete)
{
    crystal_request asked;
    asked.reflections = 60;
    asked.smallest_d = 2.0;
    asked.noise = 0.005;
    const simulated_crystal made = simulated(asked);
    const assessment first = assess(made.vectors, made.basis);
    const assessment second =
        assess(made.vectors, matrix3(1, 0, 0, 0, 1, 0, 0, 0, 2).multiply(made.basis));
    EXPECT_EQ(together(remarks_on(made.vectors, {first, second}, 1, false, 1)), "");
    EXPECT_EQ(together(remarks_on(made.vectors, {first, second}, 2, false, 1)),
              what_decides(first.basis, second.basis) + "\n");
    EXPECT_NE(what_decides(first.basis, second.basis), "");
}

// Errors of sigma in the rows of UB, of which the one along z is larger.
lattice cube_with(double along_z)
{
    lattice found;
    found.basis = {{{10, 0, 0}, {0, 10, 0}, {0, 0, 10}}};
    for (std::size_t i = 0; i < 9; ++i) found.covariance[i][i] = 1e-8;
    found.covariance[8][8] = along_z * along_z;
    return found;
}

// A relative error of c* is that of c.
TEST(ARemark, NamesAxesThatAreKnownToWorseThanTwoPerCent)
{
    EXPECT_EQ(remark_on_precision(cube_with(0.1 * 0.019)), "");
    EXPECT_EQ(remark_on_precision(cube_with(0.1 * 0.03)),
              "Poorly determined: c to 3 %. Reflections in other orientations would determine the "
              "cell.");
    lattice none = cube_with(0.0);
    none.covariance = {};
    EXPECT_EQ(remark_on_precision(none), "Poorly determined: a, b, c. Reflections in other "
                                         "orientations would determine the cell.");
}

} // namespace

} // namespace torvik::solver
