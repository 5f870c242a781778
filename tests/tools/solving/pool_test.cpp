#include "solving/pool.h"

#include "simulation/simulate.h"
#include "solver/lattice/relations.h"

#include <gtest/gtest.h>

#include <vector>

namespace torvik::tools {

namespace {

simulationrequest half(std::uint64_t seed)
{
    simulationrequest asked;
    asked.volume = 700.0;
    asked.reflections = 20;
    asked.wrong = 10;
    asked.smallestd = 1.0;
    asked.noise = 0.01;
    asked.seed = seed;
    return asked;
}

bool finds(const pool& candidates, const matrix3& truth)
{
    if (candidates.lattices().empty()) return false;
    return same_lattice(candidates.lattices()[0].basis, truth, 0.15);
}

TEST(ThePool, FindsTheLatticeFromItsMultiplesAndItsParts)
{
    int starts = 0;
    for (const int index : {2, 3, 4, 5, 6}) {
        const simulated made = simulate(half(10 + static_cast<std::uint64_t>(index)));
        const auto vectors = made.vectors();
        const matrix3 truth = made.truth().primitive;
        for (const matrix3& T : {hermite_forms(index).front(), hermite_forms(index).back()}) {
            pool candidates(vectors);
            candidates.add({T.multiply(truth)});
            candidates.explore();
            EXPECT_TRUE(finds(candidates, truth)) << index;
            ++starts;
        }
    }
    EXPECT_EQ(starts, 10);
}

TEST(ThePool, HoldsEachLatticeOnceTheMostEvidentFirst)
{
    const simulated made = simulate(half(4));
    const auto vectors = made.vectors();
    const matrix3 truth = made.truth().primitive;
    pool candidates(vectors);
    const matrix3 another(1, 1, 0, 0, 1, 0, 0, 1, 1); // of determinant 1
    candidates.add({another.multiply(truth), truth, scaled(truth, -1.0)});
    EXPECT_EQ(candidates.lattices().size(), 1U);
    candidates.explore();
    for (std::size_t i = 1; i < candidates.lattices().size(); ++i)
        EXPECT_GE(candidates.lattices()[i - 1].evidence, candidates.lattices()[i].evidence);
    EXPECT_TRUE(finds(candidates, truth));
}

} // namespace

} // namespace torvik::tools
