// Several crystals of one cell, against one lattice that would hold them all.
#include "solver/verdict/several_crystals.h"

#include "solver/evidence/free_lattice.h"
#include "solver/lattice/relations.h"
#include "solver/verdict/free_search.h"
#include "solver/verdict/thresholds.h"
#include "support/simulated_twins.h"

#include <gtest/gtest.h>

#include <chrono>

namespace torvik::solver {

namespace {

bool never()
{
    return false;
}

bool is_one(const matrix3& basis, const simulated_twin& made)
{
    return std::any_of(made.bases.begin(), made.bases.end(),
                       [&](const matrix3& one) { return same_lattice(basis, one, 0.15); });
}

std::vector<assessment> solved(const simulated_twin& made)
{
    search_limits limits;
    limits.over = never;
    return with_several_crystals(made.vectors, find_lattices(made.vectors, limits).lattices, never);
}

// The reflections of a twin lie near one lattice with 10 c of the first crystal: 10 c of the second lies
// near to -10 c - 3 a of the first, as 20 c cos(95) is -2.995 a.
assessment coincidence_lattice(const simulated_twin& made)
{
    return assess(made.vectors, matrix3(1, 0, 0, 0, 1, 0, 0, 0, 10).multiply(made.bases[0]));
}

TEST(Twins, AreTwoCrystalsOfASmallCellAndNotOneOfALargeCell)
{
    for (const double beta : {93.0, 95.0, 100.0})
        for (const int reflections : {24, 60})
            for (std::uint64_t seed = 1; seed <= 4; ++seed) {
                const simulated_twin made =
                    simulated(twin_request{beta, reflections, 0, 0.01, seed});
                const std::vector<assessment> found = solved(made);
                ASSERT_FALSE(found.empty());
                const assessment& best = found.front();
                ASSERT_TRUE(is_one(best.basis, made)) << beta << " " << reflections << " " << seed;
                ASSERT_EQ(best.further_crystals.size(), 1U);
                EXPECT_TRUE(is_one(best.further_crystals[0], made));
                EXPECT_FALSE(same_lattice(best.further_crystals[0], best.basis, 0.05));
                for (std::size_t i = 1; i < found.size(); ++i)
                    EXPECT_FALSE(is_one_of(found[i], best));
            }
}

TEST(Twins, ThatNearlyCoincideAreFoundAsOneOfTheCrystals)
{
    for (const double beta : {91.0, 92.0})
        for (const int reflections : {24, 60})
            for (std::uint64_t seed = 1; seed <= 3; ++seed) {
                const simulated_twin made =
                    simulated(twin_request{beta, reflections, 0, 0.01, seed});
                const std::vector<assessment> found = solved(made);
                ASSERT_FALSE(found.empty());
                EXPECT_TRUE(is_one(found.front().basis, made)) << beta << " " << seed;
            }
}

TEST(Twins, AreFoundAmongOutliers)
{
    for (std::uint64_t seed = 1; seed <= 4; ++seed) {
        const simulated_twin made = simulated(twin_request{95.0, 48, 12, 0.01, seed});
        const std::vector<assessment> found = solved(made);
        ASSERT_FALSE(found.empty());
        ASSERT_TRUE(is_one(found.front().basis, made)) << seed;
        EXPECT_EQ(found.front().further_crystals.size(), 1U);
    }
}

TEST(TwoCrystals, AreFoundInTheLatticeThatHoldsThemTogether)
{
    const simulated_twin made = simulated(twin_request{});
    const assessment held = coincidence_lattice(made);
    EXPECT_EQ(held.indexed, 60);
    const auto found = crystals_held_by(made.vectors, held, never);
    ASSERT_TRUE(found);
    EXPECT_GT(found->evidence, held.evidence + lead_needed);
    EXPECT_TRUE(is_one(found->basis, made));
    ASSERT_EQ(found->further_crystals.size(), 1U);
    EXPECT_TRUE(is_one(found->further_crystals[0], made));
    EXPECT_FALSE(same_lattice(found->basis, found->further_crystals[0], 0.05));
    // Bases of one hand, in one setting of the cell.
    EXPECT_NEAR(found->further_crystals[0].determinant() / found->basis.determinant(), 1.0, 0.02);
}

TEST(TheSearchForSeveralCrystals, EndsAtOnceIfItIsOver)
{
    const simulated_twin made = simulated(twin_request{});
    EXPECT_FALSE(crystals_held_by(made.vectors, coincidence_lattice(made), [] { return true; }));
}

TEST(TheSearchForSeveralCrystals, AsksOftenWhetherItIsOver)
{
    using clock = std::chrono::steady_clock;
    const simulated_twin made = simulated(twin_request{95.0, 400, 50, 0.01, 1});
    const assessment held = coincidence_lattice(made);
    auto asked = clock::now();
    clock::duration longest{0};
    const auto found = crystals_held_by(made.vectors, held, [&] {
        longest = std::max(longest, clock::now() - asked);
        asked = clock::now();
        return false;
    });
    EXPECT_TRUE(found);
    // 50 milliseconds, and room for a machine with other work or with checks on.
    EXPECT_LT(std::chrono::duration<double>(longest).count(), 1.0);
}

// Reflections of a cell of 700 cubic angstroms, of which two thirds have an even last index.
std::vector<vector3> superstructure(std::uint64_t seed, matrix3& basis)
{
    crystal_request asked;
    asked.reflections = 300;
    asked.smallest_d = 1.2;
    asked.noise = 0.01;
    asked.seed = seed;
    const simulated_crystal made = simulated(asked);
    basis = made.basis;
    std::vector<vector3> chosen;
    int even = 0;
    int odd = 0;
    for (const vector3& q : made.vectors)
        if (nearest_indices(basis.multiply(q))[2] % 2 == 0 ? ++even <= 40 : ++odd <= 20)
            chosen.push_back(q);
    return chosen;
}

TEST(ASuperstructure, IsNotTakenForSeveralCrystals)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        matrix3 basis;
        const std::vector<vector3> vectors = superstructure(seed, basis);
        ASSERT_EQ(vectors.size(), 60U);
        const assessment whole = assess(vectors, basis);
        const matrix3 halved = matrix3(1, 0, 0, 0, 1, 0, 0, 0, 0.5).multiply(basis);
        ASSERT_GE(whole.indexed, 58) << seed;
        ASSERT_GE(assess(vectors, halved).indexed, 38) << seed;
        EXPECT_FALSE(crystals_held_by(vectors, whole, never)) << seed;
    }
}

TEST(ALattice, OfOneCrystalHoldsNoOthers)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        crystal_request asked;
        asked.reflections = seed % 2 == 0 ? 40 : 20;
        asked.outliers = asked.reflections / 5;
        asked.smallest_d = 1.5;
        asked.noise = 0.01;
        asked.seed = seed;
        const simulated_crystal made = simulated(asked);
        EXPECT_FALSE(crystals_held_by(made.vectors, assess(made.vectors, made.basis), never));
    }
}

} // namespace

} // namespace torvik::solver
