#include "solutions/resultsrun.h"

#include "base/failure.h"
#include "formats/idxfile.h"
#include "formats/resultsfile.h"
#include "solver/lattice/relations.h"
#include "tools/solutions/examples.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>

namespace torvik::tools {

namespace {

const std::atomic<bool> never{false};

std::optional<results_run> runabout(const solved_measurement& solved)
{
    return run_about(solved, TORVIK_PROGRAM, "a.solution", never);
}

bool haslattice(const results_run& run, const matrix3& basis)
{
    const resultsfile results = readresults(textfile("a.solution_idx.res", run.results));
    const auto& all = results.solutions();
    return std::any_of(all.begin(), all.end(),
                       [&](const solution& one) { return same_lattice(one.basis, basis, 0.15); });
}

TEST(ARunAboutTheAnswer, HasItsLatticeAmongTheSolutions)
{
    for (std::uint64_t seed = 1; seed <= 8; ++seed) {
        simulationrequest asked = usual_crystal();
        asked.seed = seed;
        asked.cell.reset();
        asked.volume = 200.0 * static_cast<double>(seed);
        asked.reflections = seed % 2 == 0 ? 20 : 120;
        const solved_measurement solved = solved_of(asked);
        ASSERT_EQ(solved.found.how, verdict::solved) << seed;
        const auto run = runabout(solved);
        ASSERT_TRUE(run);
        EXPECT_TRUE(run->confirmed) << seed;
        EXPECT_TRUE(haslattice(*run, direct_basis(solved.found.lattices[0]))) << seed;
        EXPECT_NE(run->results.find("Solutions for a.solution.idx"), std::string::npos);
    }
}

TEST(ARunAboutTheAnswer, TakesReflectionsThatTheLatticeIndexesAndNotTooMany)
{
    simulationrequest asked = usual_crystal();
    asked.reflections = 300;
    asked.wrong = 150;
    const solved_measurement solved = solved_of(asked);
    ASSERT_EQ(solved.found.how, verdict::solved);
    const auto run = runabout(solved);
    ASSERT_TRUE(run);
    const idxfile input = readidx(textfile("a.idx", run->input));
    EXPECT_LE(input.reflections.size(), 66U);
    const matrix3 basis = direct_basis(solved.found.lattices[0]);
    for (const vector3& q : vectorsof(input)) EXPECT_LT(off_whole(basis.multiply(q)), 0.25);
}

TEST(ARunAboutTheAnswer, OfAShiftedMeasurementIsMadeWithoutTheShift)
{
    solved_measurement solved = solved_of(usual_crystal());
    const solver::vec3 shift = {0.01, -0.02, 0.03};
    solved.found.lattices[0].shift = shift;
    for (solver::vec3& q : solved.measured.vectors)
        for (std::size_t i = 0; i < 3; ++i) q[i] += shift[i];
    const auto run = runabout(solved);
    ASSERT_TRUE(run);
    EXPECT_TRUE(run->confirmed);
    EXPECT_NE(run->input.find("The common shift of the solution is subtracted."),
              std::string::npos);
}

// A lattice that none of the reflections is of.
TEST(ARunAboutTheAnswer, SaysWhenItsLatticeIsNotAmongTheSolutions)
{
    solved_measurement solved = solved_of(usual_crystal());
    solved.found.lattices[0].basis = {{{9.1, 0.3, 0.0}, {0.0, 6.3, 0.4}, {0.7, 0.0, 8.7}}};
    const auto run = runabout(solved);
    ASSERT_TRUE(run);
    EXPECT_FALSE(run->confirmed);
}

TEST(ARunAboutTheAnswer, EndsWhenItIsAskedToAndFailsWithAProgramThatDoes)
{
    const solved_measurement solved = solved_of(usual_crystal());
    const std::atomic<bool> stop{true};
    EXPECT_FALSE(run_about(solved, "/bin/false", "a", stop));
    EXPECT_THROW(run_about(solved, "/bin/false", "a", never), failure);
    EXPECT_THROW(run_about(solved, "/no/such/program", "a", never), failure);
}

} // namespace

} // namespace torvik::tools
