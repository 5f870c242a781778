// What goes from a measurement to the solver, and what its answers are like.
#include "solutions/solved.h"

#include "simulation/randomnumbers.h"
#include "solver/lattice/relations.h"
#include "tools/solutions/examples.h"

#include <gtest/gtest.h>

#include <stop_token>
#include <vector>

namespace torvik::tools {

namespace {

TEST(AMeasurement, GoesToTheSolverWithAllThatItsSpotsHave)
{
    measurement spots;
    spots.spots = {{{1.0, 2.0, 3.0}, 5.0, {}, "", 7}, {{4.0, 5.0, 6.0}, 6.0, {}, "", 8}};
    const solver::measurement all = measurement_of(spots, 0.5);
    EXPECT_EQ(all.vectors, (std::vector<solver::vec3>{{0.5, 1.0, 1.5}, {2.0, 2.5, 3.0}}));
    EXPECT_EQ(all.intensities, (std::vector<double>{5.0, 6.0}));
    EXPECT_EQ(all.images, (std::vector<int>{7, 8}));
    EXPECT_TRUE(all.normals.empty());
    spots.spots[1].intensity.reset();
    spots.spots[0].image.reset();
    const solver::measurement part = measurement_of(spots, 1.0);
    EXPECT_TRUE(part.intensities.empty());
    EXPECT_TRUE(part.images.empty());
    spots.spots[0].normal = vector3(0.0, 0.6, 0.8);
    EXPECT_TRUE(measurement_of(spots, 1.0).normals.empty());
    spots.spots[1].normal = vector3(1.0, 0.0, 0.0);
    EXPECT_EQ(measurement_of(spots, 0.5).normals,
              (std::vector<solver::vec3>{{0.0, 0.6, 0.8}, {1.0, 0.0, 0.0}}));
}

// Orders along an axis of 80 angstroms are nearer to each other than an eighth of what most spots have
// between them.
TEST(AMeasurement, OfALongAxisKeepsItsNeighboursApart)
{
    simulationrequest asked = usual_crystal();
    asked.cell = cell_parameters{4.0, 5.0, 80.0, 90.0, 90.0, 90.0};
    asked.reflections = 60;
    asked.wrong = 0;
    asked.smallestd = 1.0;
    asked.noise = 0.005;
    const simulated made = simulate(asked);
    const solved_measurement solved = solved_of(vectors_of(made.vectors()));
    ASSERT_EQ(solved.found.how, verdict::solved);
    EXPECT_TRUE(same_lattice(direct_basis(solved.found.lattices[0]), made.truth().primitive));
    EXPECT_EQ(count_of(solved.found).reflections, count_of(solved.found).spots);
}

TEST(Repeats, AreCountedAsOneReflection)
{
    solver::measurement list = vectors_of(simulate(usual_crystal()).vectors());
    const solver::answer once = solver::solve(list, patient());
    for (std::size_t i = 0; i < 5; ++i)
        for (const double off : {1.0, -1.0}) {
            list.vectors.push_back(list.vectors[i]);
            list.vectors.back()[0] += 1e-4 * off;
        }
    const solver::answer found = solver::solve(list, patient());
    int repeated = 0;
    for (std::size_t i = 0; i < 5; ++i) repeated += once.reflections[i].lattice;
    EXPECT_EQ(count_of(found).spots, count_of(once).spots + 2 * repeated);
    EXPECT_EQ(count_of(found).reflections, count_of(once).reflections);
    EXPECT_GT(repeated, 0);
}

TEST(Solving, RefusesReflectionsOfNoLattice)
{
    simulationrequest asked = usual_crystal();
    asked.reflections = 16;
    asked.wrong = 0;
    std::vector<vector3> vectors = simulate(asked).vectors();
    // The same lengths, in directions that have nothing to do with each other.
    randomnumbers random(77);
    for (vector3& q : vectors) q = randomorientation(random).multiply(q);
    EXPECT_EQ(solved_of(vectors_of(vectors)).found.how, verdict::refused);
}

TEST(Solving, RefusesTooFewReflectionsAndThoseInAPlane)
{
    std::vector<vector3> vectors = simulate(usual_crystal()).vectors();
    const std::vector<vector3> few(vectors.begin(), vectors.begin() + 5);
    const solver::answer found = solved_of(vectors_of(few)).found;
    EXPECT_EQ(found.how, verdict::refused);
    EXPECT_TRUE(found.reason.starts_with("There are 5 reflections; no lattice is certain"))
        << found.reason;
    for (vector3& q : vectors) q.z = 0.0;
    EXPECT_EQ(solved_of(vectors_of(vectors)).found.reason,
              "The reflections lie in a plane, or nearly: measure some out of it.");
}

TEST(Solving, EndsInTimeAndWhenItIsAskedTo)
{
    const solver::measurement list = vectors_of(simulate(usual_crystal()).vectors());
    solver::options how = patient();
    EXPECT_EQ(solver::solve(list, how).how, verdict::solved);
    how.budget = std::chrono::milliseconds(0);
    const solver::answer late = solver::solve(list, how);
    EXPECT_TRUE(late.interrupted);
    EXPECT_NE(late.how, verdict::solved);
    std::stop_source stop;
    stop.request_stop();
    const solver::answer stopped = solver::solve(list, patient(), {}, stop.get_token());
    EXPECT_TRUE(stopped.interrupted);
    EXPECT_NE(stopped.how, verdict::solved);
}

TEST(Solving, GivesTheSameAnswerAgain)
{
    const solver::answer one = solved_of(usual_crystal()).found;
    const solver::answer other = solved_of(usual_crystal()).found;
    ASSERT_EQ(one.how, verdict::solved);
    EXPECT_EQ(one.lattices[0].basis, other.lattices[0].basis);
    EXPECT_EQ(one.lattices[0].evidence, other.lattices[0].evidence);
    EXPECT_EQ(one.candidates.size(), other.candidates.size());
}

} // namespace

} // namespace torvik::tools
