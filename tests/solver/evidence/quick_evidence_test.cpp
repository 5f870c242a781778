#include "solver/evidence/quick_evidence.h"

#include "solver/evidence/free_lattice.h"
#include "solver/lattice/relations.h"
#include "support/simulated_crystals.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace torvik::solver {

namespace {

constexpr double none = -std::numeric_limits<double>::infinity();

bool same_bits(double x, double y)
{
    return std::memcmp(&x, &y, sizeof x) == 0;
}

bool same_bits(const candidate_lattice& one, const candidate_lattice& other)
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            if (!same_bits(one.basis.a[i][j], other.basis.a[i][j])) return false;
    return same_bits(one.evidence, other.evidence) && same_bits(one.sigma, other.sigma)
           && same_bits(one.outlier_fraction, other.outlier_fraction)
           && same_bits(one.inliers, other.inliers);
}

simulated_crystal crystal(int reflections, int outliers, double noise, std::uint64_t seed)
{
    crystal_request asked;
    asked.reflections = reflections;
    asked.outliers = outliers;
    asked.noise = noise;
    asked.seed = seed;
    return simulated(asked);
}

// Off by about a hundredth of an index for each unit of the indices.
matrix3 disturbed(const matrix3& basis, chance& random, double by)
{
    matrix3 change;
    for (auto& row : change.a)
        for (double& x : row) x += random.between(-by, by);
    return basis.multiply(change);
}

// Whole blocks of eight reflections and all parts of one.
TEST(TheFastKernel, HasTheBitsOfThePlainOneForAllLengthsOfLists)
{
    chance random(1);
    int finite = 0;
    for (int reflections = 4; reflections <= 300; reflections += reflections < 40 ? 1 : 7) {
        const simulated_crystal made =
            crystal(reflections, reflections / 4, 0.01, static_cast<std::uint64_t>(reflections));
        const reflection_list list(made.vectors);
        for (const matrix3& start :
             {made.basis, disturbed(made.basis, random, 0.004), random_basis(random)})
            for (const double least : {none, 0.0, 1e3}) {
                const candidate_lattice fast = quick_assess(list, start, least);
                ASSERT_TRUE(same_bits(fast, plain_quick_assess(list, start, least)))
                    << reflections << " " << least;
                if (std::isfinite(fast.evidence)) ++finite;
            }
    }
    EXPECT_GT(finite, 300);
}

// The errors are those of single precision, and of a refinement that stops at changes of 0.002.
TEST(TheQuickEvidence, IsNearTheExactOne)
{
    chance random(2);
    for (const int reflections : {20, 40, 80, 200})
        for (const double noise : {0.005, 0.01, 0.02})
            for (std::uint64_t seed = 1; seed <= 6; ++seed) {
                const simulated_crystal made =
                    crystal(reflections, static_cast<int>(seed % 3) * reflections / 6, noise, seed);
                const matrix3 start = disturbed(made.basis, random, 0.001);
                const candidate_lattice quick =
                    quick_assess(reflection_list(made.vectors), start, none);
                const assessment exact = assess(made.vectors, start);
                const double tolerance = 0.05 + 0.00075 * reflections; // 0.2 of 200
                EXPECT_NEAR(quick.evidence, exact.evidence, tolerance)
                    << reflections << " " << noise << " " << seed;
                EXPECT_NEAR(quick.sigma / exact.sigma, 1.0, 0.02);
                EXPECT_NEAR(quick.outlier_fraction, exact.outlier_fraction, 0.01);
                EXPECT_TRUE(same_lattice(quick.basis, exact.basis, 0.01));
            }
}

// Lists of several errors, exact ones included, and outliers.
simulated_crystal varied_crystal(std::uint64_t seed)
{
    const double noises[] = {0.0, 0.003, 0.01, 0.03};
    const int reflections = seed % 2 == 0 ? 12 : 40;
    return crystal(reflections, reflections * static_cast<int>(seed % 3) / 4, noises[seed / 2 % 4],
                   seed);
}

struct early_exits {
    int tried = 0;   // lattices with more evidence than the limit
    int dropped = 0; // of these
};

void try_exit(const simulated_crystal& made, const matrix3& start, early_exits& exits)
{
    const reflection_list list(made.vectors);
    const double exact = assess(made.vectors, start).evidence;
    const double full = quick_assess(list, start, none).evidence;
    const double least = exact - 0.2;
    if (!std::isfinite(exact) || full < least) return; // another optimum, without any limit
    ++exits.tried;
    // It may end elsewhere, but not lower.
    if (!(quick_assess(list, start, least).evidence > full - 0.01)) ++exits.dropped;
}

TEST(TheEarlyExit, DropsNoTrueLatticeWhoseExactEvidenceIsAboveTheLimit)
{
    chance random(3);
    early_exits exits;
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
        const simulated_crystal made = varied_crystal(seed);
        try_exit(made, made.basis, exits);
        try_exit(made, disturbed(made.basis, random, 0.002), exits);
    }
    EXPECT_GT(exits.tried, 380);
    EXPECT_EQ(exits.dropped, 0);
}

// Of these the exit is no proof: it drops some whose errors shrink late, nearly all of them subcells that take a
// third of the reflections of an exact list, far below the truth.
TEST(TheEarlyExit, DropsFewOtherLatticesWhoseExactEvidenceIsAboveTheLimit)
{
    chance random(3);
    early_exits larger;
    early_exits smaller;
    early_exits others;
    for (std::uint64_t seed = 1; seed <= 100; ++seed) {
        const simulated_crystal made = varied_crystal(seed);
        for (const matrix3& step : hermite_forms(2))
            try_exit(made, disturbed(step.multiply(made.basis), random, 0.002), larger);
        for (const matrix3& step : finer_forms(3))
            try_exit(made, disturbed(step.multiply(made.basis), random, 0.002), smaller);
        for (int i = 0; i < 10; ++i) try_exit(made, random_basis(random), others);
    }
    EXPECT_GT(larger.tried, 600);
    EXPECT_LE(larger.dropped, larger.tried / 200);
    EXPECT_GT(smaller.tried, 900);
    EXPECT_LE(smaller.dropped, smaller.tried / 25);
    EXPECT_GT(others.tried, 50);
    EXPECT_LE(others.dropped, others.tried / 30);
}

// The errors of an exact list shrink to those of its digits while it is refined: the evidence rises by far more
// than it lacked at first.
TEST(TheEarlyExit, CountsThatTheErrorsMayStillShrink)
{
    chance random(4);
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        const simulated_crystal made = crystal(seed % 2 == 0 ? 20 : 60, 0, 0.0, seed);
        const matrix3 start = disturbed(made.basis, random, 0.003);
        const double exact = assess(made.vectors, start).evidence;
        ASSERT_GT(exact, 60.0);
        const candidate_lattice quick =
            quick_assess(reflection_list(made.vectors), start, exact - 1.0);
        EXPECT_NEAR(quick.evidence, exact, 1.0) << seed;
    }
}

TEST(TheEarlyExit, DropsWhatIsFarBelowTheLimit)
{
    const simulated_crystal made = crystal(40, 0, 0.01, 1);
    chance random(5);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(quick_assess(reflection_list(made.vectors), random_basis(random), 1e4).evidence,
                  none);
}

TEST(TheQuickEvidence, IsNoneForVectorsInAPlaneOrABasisOfNoVolume)
{
    const reflection_list flat({{0.1, 0, 0}, {0, 0.1, 0}, {0.1, 0.1, 0}, {0.2, 0.1, 0}});
    const matrix3 cube(10, 0, 0, 0, 10, 0, 0, 0, 10);
    EXPECT_EQ(quick_assess(flat, cube, none).evidence, none);
    EXPECT_EQ(quick_assess(flat, matrix3(0.0), none).evidence, none);
    EXPECT_EQ(quick_assess(reflection_list({}), cube, none).evidence, none);
    const simulated_crystal made = crystal(20, 0, 0.01, 2);
    // Points so dense that any vector is on one within its rounding error.
    EXPECT_EQ(quick_assess(reflection_list(made.vectors), scaled(made.basis, 1e7), none).evidence,
              none);
}

TEST(AGlance, AtARefinedLatticeGivesItsEvidence)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        const simulated_crystal made = crystal(40, 8, 0.01, seed);
        const reflection_list list(made.vectors);
        const candidate_lattice refined = quick_assess(list, made.basis, none);
        const candidate_lattice glance = quick_glance(list, refined.basis, refined);
        EXPECT_NEAR(glance.evidence, refined.evidence, 0.05) << seed;
        // A supercell of index 2 pays log 2 for each inlier, as it does when it is refined.
        const matrix3 larger = hermite_forms(2)[0].multiply(refined.basis);
        EXPECT_NEAR(quick_glance(list, larger, refined).evidence,
                    quick_assess(list, larger, none).evidence, 3.0)
            << seed;
    }
}

TEST(AListOfReflections, IsFilledUpToWholeVectorsOfLanes)
{
    const std::vector<vector3> vectors = {{3, 0, 4}, {0, 1, 0}, {1, 2, 2}};
    const reflection_list list(vectors);
    EXPECT_EQ(list.size(), 3U);
    ASSERT_EQ(list.x.size(), 8U);
    EXPECT_EQ(list.z[0], 4.0F);
    EXPECT_EQ(list.counts[2], 1.0F);
    for (std::size_t i = 3; i < 8; ++i) EXPECT_EQ(list.x[i] + list.counts[i], 0.0F);
    EXPECT_DOUBLE_EQ(list.longest, 5.0);
    EXPECT_DOUBLE_EQ(list.least_sigma,
                     1e-4 * std::sqrt(35.0 / 3.0)); // 1e-4 of the root mean square
}

} // namespace

} // namespace torvik::solver
