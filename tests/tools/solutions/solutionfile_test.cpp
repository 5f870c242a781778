#include "solutions/solutionfile.h"

#include "tools/solutions/examples.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>
#include <string>

namespace torvik::tools {

namespace {

using nlohmann::json;

json parsed(const solved_measurement& solved)
{
    return json::parse(solution_text(solved));
}

TEST(TheSolutionFile, HasACellWithUncertaintiesAndALead)
{
    const solved_measurement solved = solved_of(usual_crystal());
    const json file = parsed(solved);
    EXPECT_EQ(file["verdict"], "solved");
    EXPECT_EQ(file["input"], "a.txt");
    for (const char* name : {"a", "b", "c", "alpha", "beta", "gamma", "volume"}) {
        EXPECT_GT(file["cell"]["uncertainty"][name].get<double>(), 0.0) << name;
        EXPECT_LT(file["cell"]["uncertainty"][name].get<double>(),
                  0.01 * file["cell"][name].get<double>())
            << name;
    }
    EXPECT_EQ(file["lead"].is_null(), !std::isfinite(solved.found.lead));
    EXPECT_TRUE(file["shift"].is_null());
    EXPECT_TRUE(file["run"].is_null());
    EXPECT_FALSE(file.contains("known"));
    EXPECT_FALSE(file.contains("tolerance"));
    EXPECT_EQ(file["reflections"].size(), 24U);
}

TEST(TheSolutionFile, HasNoNumberForALeadWithoutRivals)
{
    solved_measurement solved = solved_of(usual_crystal());
    solved.found.lead = std::numeric_limits<double>::infinity();
    EXPECT_TRUE(parsed(solved)["lead"].is_null());
    solved.found.lead = 7.25;
    EXPECT_EQ(parsed(solved)["lead"], 7.25);
}

// The indices and their errors are those of the vectors less the shift.
TEST(TheSolutionFile, HasTheShiftAndTheErrorsWithoutIt)
{
    solved_measurement solved = solved_of(usual_crystal());
    const json before = parsed(solved);
    const solver::vec3 shift = {0.01, -0.02, 0.03};
    solved.found.lattices[0].shift = shift;
    for (solver::vec3& q : solved.measured.vectors)
        for (std::size_t i = 0; i < 3; ++i) q[i] += shift[i];
    const json file = parsed(solved);
    EXPECT_EQ(file["shift"], json(shift));
    EXPECT_EQ(file["lattices"][0]["shift"], json(shift));
    for (std::size_t i = 0; i < 24; ++i) {
        const json& error = file["reflections"][i]["error"];
        ASSERT_EQ(error.is_null(), before["reflections"][i]["error"].is_null());
        if (error.is_null()) continue;
        EXPECT_NEAR(error.get<double>(), before["reflections"][i]["error"].get<double>(), 1e-9);
    }
    EXPECT_NE(screenful(solved, false).find("Shift     0.01000  -0.02000  0.03000"),
              std::string::npos);
}

TEST(TheSolutionFile, NamesTheFilesOfARunIfThereWasOne)
{
    solved_measurement solved = solved_of(usual_crystal());
    solved.run = {"a.solution.idx", "a.solution_idx.res"};
    EXPECT_EQ(parsed(solved)["run"],
              (json{{"idx", "a.solution.idx"}, {"res", "a.solution_idx.res"}}));
}

TEST(TheSolutionFile, SaysThatTheWorkWasInterrupted)
{
    solver::options how;
    how.budget = std::chrono::milliseconds(0);
    const json file = parsed(solved_of(usual_crystal(), how));
    EXPECT_EQ(file["interrupted"], true);
    EXPECT_NE(file["verdict"], "solved");
}

TEST(TheScreenful, BeginsWithTheVerdictAndHasTheCell)
{
    const std::string page = screenful(solved_of(usual_crystal()), false);
    EXPECT_TRUE(page.starts_with("Solved. ")) << page;
    for (const char* line : {"\n  Cell      7.0", "\n  Lattice   aP ", "\n  Volume    5",
                             "\n  Indexed   20 of 24, to ", "\n  Evidence  e^"})
        EXPECT_NE(page.find(line), std::string::npos) << line << "\n" << page;
}

TEST(TheScreenful, NamesTheCompetitorsAndEndsWithTheRemarks)
{
    solved_measurement solved = solved_of(usual_crystal());
    solver::answer& found = solved.found;
    found.how = verdict::ambiguous;
    found.competing = 2;
    found.remarks = {"A remark."};
    found.candidates.resize(1);
    found.candidates.push_back(found.candidates[0]);
    for (double& x : found.candidates[1].basis[0]) x *= 2.0;
    const std::string page = screenful(solved, false);
    EXPECT_TRUE(page.starts_with("Ambiguous. ")) << page;
    EXPECT_NE(page.find("\n  Competing lattices\n  1  7.0"), std::string::npos) << page;
    EXPECT_NE(page.find("\n     a superlattice's cell, of index 2\n"), std::string::npos) << page;
    EXPECT_TRUE(page.ends_with("\n\nA remark.\n")) << page;
}

TEST(TheScreenful, OfARefusalHasTheBestOfWhatIsNotToBeTrusted)
{
    solved_measurement solved = solved_of(usual_crystal());
    solved.found.how = verdict::refused;
    solved.found.lattices.clear();
    for (solver::assignment& one : solved.found.reflections) one.lattice = 0;
    const std::string page = screenful(solved, false);
    EXPECT_TRUE(page.starts_with("Refused. ")) << page;
    EXPECT_NE(page.find("The best of them, not to be trusted\n     7.0"), std::string::npos);
    const json file = parsed(solved);
    EXPECT_TRUE(file["cell"].is_null());
    EXPECT_TRUE(file["basis"].is_null());
    EXPECT_FALSE(file["candidates"].empty());
}

} // namespace

} // namespace torvik::tools
