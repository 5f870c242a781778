// Several crystals of one cell, against one lattice that would hold them all.
#include "simulation/simulate.h"
#include "solver/lattice/relations.h"
#include "solving/companions.h"
#include "solving/crystals.h"
#include "solving/solve.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace torvik::tools {

namespace {

constexpr double nearly = 0.15;

simulationrequest twin(double beta, std::uint64_t seed)
{
    simulationrequest asked;
    asked.cell = cell_parameters{7.1, 9.3, 12.2, 90.0, beta, 90.0};
    asked.reflections = 60;
    asked.noise = 0.01;
    asked.lattices = 2;
    asked.twin = twinlaw{180.0, {1.0, 0.0, 0.0}};
    asked.seed = seed;
    return asked;
}

crystals solved(const simulated& made, int lattices = 1)
{
    solveoptions options;
    options.program = TORVIK_PROGRAM;
    options.budget = 1e6; // which no machine is too slow for
    vectorlist list;
    list.vectors = made.vectors();
    return solveall(list, options, lattices);
}

bool isone(const matrix3& basis, const simulated& made)
{
    return std::any_of(made.lattices.begin(), made.lattices.end(), [&](const auto& lattice) {
        return same_lattice(basis, lattice.primitive, nearly);
    });
}

std::string together(const std::vector<std::string>& sentences)
{
    std::string all;
    for (const std::string& one : sentences) all += one + "\n";
    return all;
}

bool never()
{
    return false;
}

TEST(Twins, AreTwoCrystalsOfASmallCellAndNotOneOfALargeCell)
{
    for (const double beta : {92.0, 95.0}) {
        const simulated made = simulate(twin(beta, 4));
        const crystals all = solved(made);
        ASSERT_EQ(all.first.how, verdict::solved);
        const assessment& best = all.first.lattices[0];
        EXPECT_TRUE(isone(best.basis, made)) << beta;
        ASSERT_EQ(best.further_crystals.size(), 1U);
        EXPECT_TRUE(isone(best.further_crystals[0], made));
        EXPECT_FALSE(same_lattice(best.further_crystals[0], best.basis, 0.05));
        EXPECT_EQ(
            all.first.reason.substr(0, 90),
            "2 crystals of one cell explain the reflections, and no other lattice comes near. "
            "The first");
        // The lattice that takes all is known, and was found less evident.
        const double several = 5.0 * std::fabs(best.basis.determinant());
        EXPECT_TRUE(std::any_of(
            all.first.lattices.begin(), all.first.lattices.end(), [&](const assessment& one) {
                return std::fabs(one.basis.determinant()) > several && one.indexed >= 58;
            }));
        const std::string remarks = together(all.remarks);
        EXPECT_NE(remarks.find("There is a further crystal of this cell, turned by 1"),
                  std::string::npos);
        EXPECT_NE(remarks.find("about [1 0 0]: a likely twin law.\nWith --lattices 2 all"),
                  std::string::npos)
            << remarks;
    }
}

TEST(Twins, AreIndexedBothIfTwoLatticesAreAskedFor)
{
    const simulated made = simulate(twin(95.0, 1));
    const crystals all = solved(made, 2);
    ASSERT_EQ(all.each.size(), 2U);
    EXPECT_TRUE(isone(all.each[1].found.lattices[0].basis, made));
    ASSERT_TRUE(all.each[1].turn);
    EXPECT_TRUE(all.each[1].turn->twin);
    EXPECT_GE(all.each[0].members.size() + all.each[1].members.size(), 58U);
    EXPECT_EQ(together(all.remarks).find("--lattices"), std::string::npos);
}

TEST(TwoCrystals, ThatAreAsEvidentAreNoRivals)
{
    simulationrequest asked;
    asked.cell = cell_parameters{7.1, 9.3, 12.2, 84.0, 93.0, 99.0};
    asked.reflections = 60;
    asked.noise = 0.01;
    asked.lattices = 2;
    const simulated made = simulate(asked);
    const crystals all = solved(made);
    EXPECT_EQ(all.first.how, verdict::solved);
    EXPECT_EQ(all.first.reason,
              "One lattice takes 50 % of the reflections; another crystal takes others.");
    EXPECT_TRUE(isone(all.first.lattices[0].basis, made));
    EXPECT_TRUE(isone(all.first.lattices.back().basis, made));
}

// Reflections of a cell of 700, of which two thirds have an even last index.
vectorlist superstructure(std::uint64_t seed, matrix3& basis)
{
    simulationrequest asked;
    asked.volume = 700.0;
    asked.reflections = 90;
    asked.noise = 0.01;
    asked.seed = seed;
    const simulated made = simulate(asked);
    basis = made.truth().primitive;
    vectorlist list;
    int even = 0;
    int odd = 0;
    for (const simulatedreflection& one : made.reflections)
        if ((one.hkl[2] % 2 == 0 ? ++even : 2 * ++odd) <= 40) list.vectors.push_back(one.measured);
    return list;
}

TEST(ASuperstructure, IsNotTakenForSeveralCrystals)
{
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        matrix3 basis;
        const vectorlist list = superstructure(seed, basis);
        const assessment whole = assess(list.vectors, basis);
        const assessment half =
            assess(list.vectors, matrix3(1, 0, 0, 0, 1, 0, 0, 0, 0.5).multiply(basis));
        ASSERT_GE(whole.indexed, 58) << seed;
        ASSERT_GE(half.indexed, 38) << seed;
        EXPECT_FALSE(heldtogether(list, whole, never)) << seed;
    }
}

TEST(TwoCrystals, AreFoundInTheLatticeThatHoldsThemTogether)
{
    const simulated made = simulate(twin(95.0, 4));
    vectorlist list;
    list.vectors = made.vectors();
    // 10 c of the second crystal lies near to -10 c - 3 a of the first: 20 c cos(95) is -2.995 a.
    const matrix3 ofboth = matrix3(1, 0, 0, 0, 1, 0, 0, 0, 10).multiply(made.truth().conventional);
    const assessment held = assess(list.vectors, ofboth);
    EXPECT_EQ(held.indexed, 60);
    const auto found = heldtogether(list, held, never);
    ASSERT_TRUE(found);
    EXPECT_GT(found->evidence, held.evidence + leadneeded);
    EXPECT_TRUE(isone(found->basis, made));
    ASSERT_EQ(found->further_crystals.size(), 1U);
    EXPECT_TRUE(isone(found->further_crystals[0], made));
    EXPECT_FALSE(heldtogether(list, held, [] { return true; }));
}

TEST(ALattice, OfOneCrystalHoldsNoOthers)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        simulationrequest asked;
        asked.volume = 900.0;
        asked.reflections = 40;
        asked.wrong = 8;
        asked.noise = 0.01;
        asked.seed = seed;
        const simulated made = simulate(asked);
        vectorlist list;
        list.vectors = made.vectors();
        EXPECT_FALSE(heldtogether(list, assess(list.vectors, made.truth().primitive), never));
    }
}

} // namespace

} // namespace torvik::tools
