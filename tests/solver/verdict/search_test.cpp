#include "solver/verdict/search.h"

#include "solver/lattice/relations.h"
#include "solver/verdict/free_search.h"
#include "support/simulated_crystals.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>

namespace torvik::solver {

namespace {

bool never()
{
    return false;
}

search_limits without_end()
{
    search_limits limits;
    limits.over = never;
    return limits;
}

simulated_crystal crystal(int reflections, int outliers, std::uint64_t seed)
{
    crystal_request asked;
    asked.reflections = reflections;
    asked.outliers = outliers;
    asked.noise = 0.01;
    asked.seed = seed;
    return simulated(asked);
}

// Lists without a lattice: a ball filled evenly.
std::vector<vector3> no_lattice(int reflections, std::uint64_t seed)
{
    crystal_request asked;
    asked.reflections = reflections;
    asked.outliers = reflections;
    asked.seed = seed;
    return simulated(asked).vectors;
}

double processor_seconds()
{
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

TEST(TheSearch, FindsTheLatticeAndIsClearAboutIt)
{
    for (const auto& [reflections, outliers] :
         {std::pair(12, 0), std::pair(20, 4), std::pair(40, 12), std::pair(80, 20)})
        for (std::uint64_t seed = 1; seed <= 8; ++seed) {
            const simulated_crystal made = crystal(reflections, outliers, seed);
            const search_result found =
                search_lattices(reflection_list(made.vectors), without_end());
            ASSERT_FALSE(found.lattices.empty());
            EXPECT_TRUE(same_lattice(found.lattices[0].basis, made.basis, 0.1))
                << reflections << " " << seed;
            EXPECT_FALSE(found.interrupted);
            if (reflections >= 40) {
                EXPECT_TRUE(found.clear) << reflections << " " << seed;
            }
            for (std::size_t i = 1; i < found.lattices.size(); ++i)
                EXPECT_LE(found.lattices[i].evidence, found.lattices[i - 1].evidence);
        }
}

TEST(TheSearch, IsTheSameEveryTimeAndDependsOnTheSeedInItsWayAlone)
{
    const simulated_crystal made = crystal(30, 6, 3);
    const reflection_list list(made.vectors);
    search_limits limits = without_end();
    const search_result one = search_lattices(list, limits);
    const search_result other = search_lattices(list, limits);
    ASSERT_EQ(one.lattices.size(), other.lattices.size());
    for (std::size_t i = 0; i < one.lattices.size(); ++i)
        EXPECT_EQ(one.lattices[i].evidence, other.lattices[i].evidence);
    for (limits.seed = 2; limits.seed < 8; ++limits.seed)
        EXPECT_TRUE(
            same_lattice(search_lattices(list, limits).lattices.at(0).basis, made.basis, 0.1));
}

TEST(TheSearch, RespectsTheLimitsOfTheVolume)
{
    const simulated_crystal made = crystal(40, 4, 2);
    const double volume = std::fabs(made.basis.determinant());
    const reflection_list list(made.vectors);
    search_limits limits = without_end();
    limits.rounds = 3;
    limits.smallest_volume = 1.5 * volume;
    for (const candidate_lattice& one : search_lattices(list, limits).lattices)
        EXPECT_GE(std::fabs(one.basis.determinant()), limits.smallest_volume);
    limits.smallest_volume = 0.0;
    limits.largest_volume = 0.7 * volume;
    for (const candidate_lattice& one : search_lattices(list, limits).lattices)
        EXPECT_LE(std::fabs(one.basis.determinant()), limits.largest_volume);
    limits.smallest_volume = 0.9 * volume;
    limits.largest_volume = 1.1 * volume;
    const search_result found = search_lattices(list, limits);
    ASSERT_FALSE(found.lattices.empty());
    EXPECT_TRUE(same_lattice(found.lattices[0].basis, made.basis, 0.1));
}

TEST(TheSearch, BelievesInNoAxisBelowTheShortest)
{
    const simulated_crystal made = crystal(40, 0, 4); // its shortest axis is 7.5 angstroms
    search_limits limits = without_end();
    limits.rounds = 3;
    limits.shortest_axis = 7.8;
    for (const candidate_lattice& one :
         search_lattices(reflection_list(made.vectors), limits).lattices) {
        EXPECT_GE(row_of(one.basis, 0).length(), limits.shortest_axis);
        EXPECT_FALSE(same_lattice(one.basis, made.basis, 0.1));
    }
}

TEST(TheSearch, OfNoLatticeIsNotClear)
{
    for (const int reflections : {10, 20, 40}) {
        search_limits limits = without_end();
        limits.rounds = 3;
        const search_result found =
            search_lattices(reflection_list(no_lattice(reflections, 5)), limits);
        EXPECT_FALSE(found.clear);
        EXPECT_EQ(found.rounds, 3);
    }
}

// Lists that are not solved, so that all rounds are due. The time of the processor is measured, since a machine
// with other work may take long for little; 0.3 s in place of 0.05 s leaves room for checks built in.
TEST(TheSearch, EndsSoonAfterItIsOver)
{
    for (const int reflections : {10, 20, 64, 300})
        for (const int after : {0, 1, 7, 40}) { // milliseconds
            const std::vector<vector3> vectors = no_lattice(reflections, 7);
            const double start = processor_seconds();
            double end = 0.0;
            search_limits limits;
            limits.rounds = 5;
            limits.over = [&] {
                const double now = processor_seconds();
                if (end == 0.0 && now - start >= 1e-3 * after) end = now;
                return end != 0.0;
            };
            const search_result found = search_lattices(reflection_list(vectors), limits);
            EXPECT_TRUE(found.interrupted);
            EXPECT_FALSE(found.clear);
            EXPECT_LT(processor_seconds() - start - 1e-3 * after, 0.3)
                << reflections << " " << after;
        }
}

TEST(TheFreeSearch, OfManyReflectionsSearchesASampleAndRefinesOnAll)
{
    crystal_request asked;
    asked.reflections = 700;
    asked.outliers = 150;
    asked.smallest_d = 0.9;
    asked.noise = 0.01;
    asked.seed = 3;
    const simulated_crystal made = simulated(asked);
    const free_search_result found = find_lattices(made.vectors, without_end());
    ASSERT_FALSE(found.lattices.empty());
    const assessment& best = found.lattices[0];
    EXPECT_TRUE(same_lattice(best.basis, made.basis, 0.05));
    EXPECT_EQ(best.inlier.size(), 700U);
    EXPECT_GT(best.indexed, 530);
}

TEST(ThePool, KeepsEachLatticeOnceTheBestFirst)
{
    const simulated_crystal made = crystal(40, 0, 6);
    const reflection_list list(made.vectors);
    const search_limits limits = without_end();
    lattice_pool pool(list, limits);
    chance random(1);
    for (int i = 0; i < 10; ++i) pool.offer(random_unimodular(random, 5).multiply(made.basis));
    EXPECT_EQ(pool.entries().size(), 1U);
    for (const matrix3& step : hermite_forms(2)) pool.offer(step.multiply(made.basis));
    // 40 log 2 behind: out of the pool.
    EXPECT_EQ(pool.entries().size(), 1U);
    EXPECT_NEAR(pool.least(), pool.best() - 14.0, 1e-12);
}

TEST(ThePool, ReachesALatticeFromItsSubAndSuperlattices)
{
    const simulated_crystal made = crystal(40, 0, 6);
    const reflection_list list(made.vectors);
    const search_limits limits = without_end();
    for (const int index : {2, 3, 5}) {
        lattice_pool pool(list, limits);
        pool.offer(hermite_forms(index)[1].multiply(made.basis));
        ASSERT_EQ(pool.entries().size(), 1U);
        pool.look_at_relatives();
        EXPECT_TRUE(same_lattice(pool.entries()[0].lattice.basis, made.basis, 0.05)) << index;
    }
}

} // namespace

} // namespace torvik::solver
