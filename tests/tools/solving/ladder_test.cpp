#include "base/failure.h"
#include "base/process.h"
#include "simulation/simulate.h"
#include "solving/ladder.h"
#include "solving/solve.h"

#include "support/runs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <set>
#include <vector>

namespace torvik::tools {

namespace {

constexpr double hour = 3600.0; // seconds: longer than anything here takes on any machine

vectorlist some(int count, int wrong = 0, std::uint64_t seed = 1)
{
    simulationrequest asked;
    asked.volume = 500.0;
    asked.reflections = count;
    asked.wrong = wrong;
    asked.noise = 0.005;
    asked.seed = seed;
    vectorlist list;
    list.vectors = simulate(asked).vectors();
    return list;
}

TEST(TheLadder, HasWindowsThatOverlapAndHoldTheLikelyVolumes)
{
    const vectorlist list = some(20);
    const volumelimits limits = likelyvolumes(list.vectors);
    EXPECT_LT(limits.smallest, 500.0 / 10);
    EXPECT_GT(limits.largest, 500.0 * 10);
    const auto ladder = ladderfor(list, {});
    double reached = limits.smallest;
    for (const rung& one : ladder) {
        if (one.smallest < reached / 4) break; // the next subset begins
        EXPECT_LE(one.smallest, reached * 1.0001);
        EXPECT_GE(one.largest / one.smallest, 1.5); // the program asks for it
        reached = one.largest;
    }
    EXPECT_GT(reached, limits.largest * 0.0999);
}

TEST(TheLadder, GivesNoRunMoreReflectionsThanThePeriodogramBears)
{
    for (const int count : {6, 20, 41, 300}) {
        vectorlist list = some(count);
        for (int i = 0; i < count; ++i) list.intensities.push_back(i % 7);
        for (const rung& one : ladderfor(list, {})) {
            EXPECT_LE(one.reflections.size(), 66U);
            EXPECT_GE(one.reflections.size(), 4U);
            const std::set<std::size_t> different(one.reflections.begin(), one.reflections.end());
            EXPECT_EQ(different.size(), one.reflections.size());
            EXPECT_LT(*different.rbegin(), list.vectors.size());
        }
    }
}

TEST(TheLadder, KeepsToTheLimitsThatTheUserGives)
{
    ladderoptions options;
    options.smallestvolume = 300.0;
    options.largestvolume = 900.0;
    for (const rung& one : ladderfor(some(20), options)) {
        EXPECT_GE(one.smallest, 300.0);
        EXPECT_LE(one.smallest, 900.0);
        EXPECT_LE(one.largest, 900.0 * 1.6);
    }
}

TEST(TheLadder, EndsWithMoreAndThenFewerReflectionsLeftForTheSearch)
{
    // Of 30 reflections the program leaves two fifths.
    const auto ladder = ladderfor(some(30), {});
    EXPECT_FALSE(ladder.front().supporting);
    ASSERT_TRUE(ladder.back().supporting);
    EXPECT_NEAR(*ladder.back().supporting, 0.24, 1e-12);
    const auto first = std::find_if(ladder.begin(), ladder.end(),
                                    [](const rung& one) { return one.supporting.has_value(); });
    EXPECT_NEAR(*first->supporting, 0.64, 1e-12);
    for (auto one = first; one != ladder.end(); ++one) EXPECT_TRUE(one->supporting);
    EXPECT_NE(inputof(*first, some(30).vectors).find("_FractionOfSupportingReflections\n0.6400"),
              std::string::npos);
}

TEST(Processes, EndAsTheyDoOrAreEnded)
{
    std::atomic<bool> stop{false};
    const temporarydirectory folder;
    EXPECT_EQ(runprocess("/bin/true", {}, folder.path(), hour, stop), ending::finished);
    EXPECT_EQ(runprocess("/bin/false", {}, folder.path(), hour, stop), ending::failed);
    EXPECT_EQ(runprocess("/bin/sleep", {"3600"}, folder.path(), 0.1, stop), ending::outoftime);
    stop = true;
    EXPECT_EQ(runprocess("/bin/sleep", {"3600"}, folder.path(), hour, stop), ending::stopped);
    EXPECT_THROW(runprocess("/no/such/program", {}, folder.path(), 1.0, stop), failure);
}

TEST(Programs, AreFoundByAPathOrByANameOnThePath)
{
    EXPECT_EQ(torvikprogram("/bin/sh"), "/bin/sh");
    EXPECT_EQ(torvikprogram("a/b"), std::filesystem::current_path() / "a/b");
    EXPECT_TRUE(std::filesystem::exists(torvikprogram("sh")));
    EXPECT_EQ(torvikprogram("sh").filename(), "sh");
    EXPECT_THROW(torvikprogram("no-such-program-anywhere"), failure);
}

solveoptions quick()
{
    solveoptions options;
    options.program = TORVIK_PROGRAM;
    options.budget = hour;
    options.ladder.smallestvolume = 200.0;
    options.ladder.largestvolume = 1200.0;
    return options;
}

TEST(Solving, GivesTheSameAnswerHoweverManyRunsGoAtATime)
{
    const vectorlist list = some(24, 4, 3);
    solveoptions options = quick();
    const answer one = solve(list, options);
    options.jobs = 3;
    const answer three = solve(list, options);
    EXPECT_EQ(one.how, verdict::solved);
    EXPECT_EQ(three.how, one.how);
    EXPECT_EQ(three.runs.size(), one.runs.size());
    EXPECT_EQ(three.winner, one.winner);
    EXPECT_EQ(three.lattices[0].evidence, one.lattices[0].evidence);
}

TEST(Solving, RefusesReflectionsOfNoLattice)
{
    vectorlist list = some(16, 0, 5);
    // The same lengths, in directions that have nothing to do with each other.
    randomnumbers random(77);
    for (vector3& q : list.vectors) {
        const matrix3 R = from_rows({0.36, 0.48, -0.8}, {-0.8, 0.6, 0}, {0.48, 0.64, 0.6});
        const int turns = random.whole(1, 97);
        for (int i = 0; i < turns; ++i) q = R.multiply(q);
    }
    const answer found = solve(list, quick());
    EXPECT_EQ(found.how, verdict::refused) << found.lattices[0].evidence;
}

TEST(Solving, RefusesTooFewReflectionsAndThoseInAPlane)
{
    EXPECT_EQ(solve(some(5), quick()).reason,
              "There are 5 reflections; no lattice is sure with fewer than 6.");
    vectorlist flat = some(20);
    for (vector3& q : flat.vectors) q.z = 0.0;
    EXPECT_EQ(solve(flat, quick()).reason,
              "The reflections lie in a plane, or nearly: measure some out of it.");
}

// Its runs would never end.
TEST(Solving, EndsInTimeAndWhenItIsTold)
{
    const temporaryfolder folder;
    writefile(folder.file("endless"), "#!/bin/sh\nexec sleep 3600\n");
    std::filesystem::permissions(folder.file("endless"), std::filesystem::perms(0755));
    const vectorlist list = some(40, 37, 9);
    solveoptions options = quick();
    options.program = folder.file("endless");
    options.budget = 0.3;
    EXPECT_TRUE(solve(list, options).interrupted);
    options.jobs = 1000; // all of them at a time
    EXPECT_TRUE(solve(list, options).interrupted);
    std::atomic<bool> stop{true};
    options.budget = hour;
    options.stop = &stop;
    EXPECT_TRUE(solve(list, options).interrupted);
}

} // namespace

} // namespace torvik::tools
