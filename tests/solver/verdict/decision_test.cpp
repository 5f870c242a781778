// Verdicts on candidates whose evidence is made up, so that each rule is tried alone.
#include "solver/verdict/decision.h"

#include "solver/verdict/thresholds.h"
#include "support/simulated_crystals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace torvik::solver {

namespace {

simulated_crystal forty(std::uint64_t seed)
{
    crystal_request asked;
    asked.reflections = 40;
    asked.noise = 0.005;
    asked.seed = seed;
    return simulated(asked);
}

// The lattice of a crystal with another evidence, taking the first reflections.
assessment candidate(const simulated_crystal& made, double evidence, int indexed)
{
    assessment one = assess(made.vectors, made.basis);
    one.evidence = evidence;
    one.indexed = indexed;
    for (std::size_t i = 0; i < one.inlier.size(); ++i)
        one.inlier[i] = static_cast<int>(i) < indexed ? 1.0 : 0.0;
    return one;
}

TEST(ADecision, IsSolvedForOneLatticeWithEvidenceAndReflections)
{
    const simulated_crystal made = forty(1);
    const decision of = decide(made.vectors, {candidate(made, 100.0, 40)}, false);
    EXPECT_EQ(of.how, verdict::solved);
    EXPECT_EQ(of.competing, 1U);
    EXPECT_TRUE(std::isinf(of.lead) && of.lead > 0.0);
    EXPECT_EQ(of.reason, "One lattice indexes 100 % of the reflections, and no other comes near.");
}

// 4 nats behind are enough, but not for a rival that indexes more.
TEST(ADecision, AsksAGreaterLeadOnARivalThatIndexesMore)
{
    const simulated_crystal made = forty(1);
    const assessment best = candidate(made, 100.0, 36);
    EXPECT_EQ(decide(made.vectors, {best, candidate(made, 96.0, 36)}, false).how, verdict::solved);
    const decision of = decide(made.vectors, {best, candidate(made, 96.0, 37)}, false);
    EXPECT_EQ(of.how, verdict::ambiguous);
    EXPECT_NEAR(of.lead, 4.0 - credit_for_indexing_more, 1e-12);
    EXPECT_EQ(of.candidates.front().evidence, 100.0);
    EXPECT_EQ(decide(made.vectors, {best, candidate(made, 95.0, 37)}, false).how, verdict::solved);
}

// Seven rivals, each 4.2 behind: exp(4.2) / 7 = 9.5 to one, a lead of 4.2 - log 7 = 2.254.
TEST(ADecision, TakesTheLeadAgainstTheSumOfAllRivals)
{
    const simulated_crystal made = forty(1);
    std::vector<assessment> candidates(7, candidate(made, 95.8, 40));
    candidates.push_back(candidate(made, 100.0, 40));
    decision of = decide(made.vectors, candidates, false);
    EXPECT_EQ(of.candidates.front().evidence, 100.0);
    EXPECT_NEAR(of.lead, 4.2 - std::log(7.0), 1e-12);
    EXPECT_EQ(of.how, verdict::ambiguous);
    EXPECT_GT(of.competing, 1U);
    // Two of them only: 4.2 - log 2 = 3.507.
    candidates.erase(candidates.begin(), candidates.begin() + 5);
    of = decide(made.vectors, candidates, false);
    EXPECT_NEAR(of.lead, 4.2 - std::log(2.0), 1e-12);
    EXPECT_EQ(of.how, verdict::solved);
    EXPECT_EQ(of.competing, 1U);
}

TEST(ADecision, CountsTheRivalsThatCannotBeToldApart)
{
    const simulated_crystal made = forty(1);
    const decision of = decide(made.vectors,
                               {candidate(made, 99.0, 40), candidate(made, 60.0, 40),
                                candidate(made, 100.0, 40), candidate(made, 98.5, 40)},
                               false);
    EXPECT_EQ(of.competing, 3U);
    EXPECT_EQ(of.how, verdict::ambiguous);
    EXPECT_EQ(of.reason, "3 lattices explain the reflections equally well.");
    EXPECT_NEAR(of.lead, 100.0 - std::log(std::exp(99.0) + std::exp(98.5) + std::exp(60.0)), 1e-9);
}

TEST(ADecision, IsAmbiguousForALatticeThatIndexesASmallFraction)
{
    const simulated_crystal made = forty(1);
    EXPECT_EQ(decide(made.vectors, {candidate(made, 100.0, 10)}, false).how, verdict::solved);
    const decision of = decide(made.vectors, {candidate(made, 100.0, 9)}, false); // 22.5 %
    EXPECT_EQ(of.how, verdict::ambiguous);
    EXPECT_EQ(of.competing, 1U);
    EXPECT_NE(of.reason.find("indexes only 2"), std::string::npos) << of.reason;
}

TEST(ADecision, AsksForMoreReflectionsOfALatticeWithAShift)
{
    const simulated_crystal made = forty(1);
    for (const auto& [indexed, expected] :
         {std::pair(40, verdict::solved), std::pair(24, verdict::solved),
          std::pair(23, verdict::ambiguous), std::pair(10, verdict::ambiguous)}) {
        assessment one = candidate(made, 100.0, indexed);
        one.shift = {0.01, 0.0, 0.0};
        EXPECT_EQ(decide(made.vectors, {one}, false).how, expected) << indexed;
    }
}

TEST(ADecision, IsRefusedForTooLittleEvidence)
{
    const simulated_crystal made = forty(1);
    const double needed = evidence_needed_of(40);
    EXPECT_EQ(decide(made.vectors, {candidate(made, needed + 0.01, 40)}, false).how,
              verdict::solved);
    const decision of = decide(made.vectors, {candidate(made, needed - 0.01, 40)}, false);
    EXPECT_EQ(of.how, verdict::refused);
    EXPECT_EQ(of.reason, "The best lattice is no better than chance could make one.");
    EXPECT_EQ(of.candidates.size(), 1U);
}

TEST(ADecision, WithoutCandidatesIsRefused)
{
    const simulated_crystal made = forty(1);
    EXPECT_EQ(decide(made.vectors, {}, false).how, verdict::refused);
    EXPECT_EQ(decide(made.vectors, {}, false).reason, "No lattice was found.");
    const decision of = decide(made.vectors, {}, true);
    EXPECT_EQ(of.how, verdict::refused);
    EXPECT_TRUE(of.interrupted);
    EXPECT_EQ(of.reason, "The search was interrupted before a lattice was found.");
}

TEST(ADecision, OfAnInterruptedSearchIsNeverSolved)
{
    const simulated_crystal made = forty(1);
    for (const double evidence : {1.0, 20.0, 1000.0}) {
        const decision of = decide(made.vectors, {candidate(made, evidence, 40)}, true);
        EXPECT_NE(of.how, verdict::solved);
        EXPECT_TRUE(of.interrupted);
    }
}

TEST(ADecision, OnFewerThanSixReflectionsIsRefusedWhateverTheEvidence)
{
    simulated_crystal made = forty(1);
    made.vectors.resize(5);
    const decision of = decide(made.vectors, {candidate(made, 1000.0, 5)}, false);
    EXPECT_EQ(of.how, verdict::refused);
    EXPECT_NE(of.reason.find("fewer than 6"), std::string::npos);
    made.vectors = forty(1).vectors;
    made.vectors.resize(6);
    EXPECT_EQ(decide(made.vectors, {candidate(made, 1000.0, 6)}, false).how, verdict::solved);
}

// Two crystals with half of the reflections each: neither lattice explains what the other does.
TEST(LatticesOfOtherCrystals, AreNoRivals)
{
    const simulated_crystal one = forty(1);
    const simulated_crystal other = forty(2); // another orientation
    std::vector<vector3> both = one.vectors;
    both.insert(both.end(), other.vectors.begin(), other.vectors.end());
    const assessment first = assess(both, one.basis);
    const assessment second = assess(both, other.basis);
    ASSERT_GE(first.indexed, 36);
    ASSERT_GE(second.indexed, 36);
    const decision of = decide(both, {first, second}, false);
    EXPECT_EQ(of.how, verdict::solved);
    EXPECT_EQ(of.competing, 1U);
    EXPECT_TRUE(std::isinf(of.lead));
    EXPECT_EQ(of.candidates.size(), 2U);
    EXPECT_NE(of.reason.find("another crystal indexes others"), std::string::npos) << of.reason;
    // The same lattices with the same reflections are rivals.
    EXPECT_EQ(decide(both, {first, first}, false).how, verdict::ambiguous);
}

TEST(ThePreconditions, AreFourReflectionsOutOfAPlane)
{
    const std::vector<vector3> three = {{0.1, 0, 0}, {0, 0.1, 0}, {0, 0, 0.1}};
    EXPECT_EQ(precondition_failed(three), "There are 3 reflections; a lattice needs at least 6.");
    const std::vector<vector3> flat = {{0.1, 0, 0}, {0, 0.1, 0}, {0.1, 0.1, 0}, {0.2, 0.1, 1e-6}};
    EXPECT_EQ(precondition_failed(flat),
              "The reflections lie in a plane, or nearly: measure some out of it.");
    EXPECT_EQ(precondition_failed(forty(1).vectors), "");
    // In other units.
    std::vector<vector3> small;
    for (const vector3& q : forty(1).vectors) small.push_back(q * 1e-4);
    EXPECT_EQ(precondition_failed(small), "");
}

TEST(TheEvidenceNeeded, GrowsWithTheReflectionsBeyondTwenty)
{
    EXPECT_EQ(evidence_needed_of(4), evidence_needed);
    EXPECT_EQ(evidence_needed_of(20), evidence_needed);
    EXPECT_DOUBLE_EQ(evidence_needed_of(100), 5.0 * evidence_needed);
    for (std::size_t n = 1; n < 500; ++n)
        EXPECT_LE(evidence_needed_of(n), evidence_needed_of(n + 1));
}

TEST(ADecision, CountsTheCrystalsOfTheCellInItsReason)
{
    const simulated_crystal made = forty(1);
    assessment best = candidate(made, 100.0, 30);
    best.further_crystals = {made.basis, made.basis};
    const decision of = decide(made.vectors, {best}, false);
    EXPECT_EQ(of.how, verdict::solved);
    EXPECT_EQ(of.reason,
              "3 crystals of one cell explain the reflections, and no other lattice comes "
              "near. The first one indexes 75 % of them.");
}

TEST(ADecision, OnFewIndexedReflectionsDoesNotSpeakOfRows)
{
    const simulated_crystal made = forty(1);
    const decision of = decide(made.vectors, {candidate(made, 100.0, 8)}, false);
    EXPECT_EQ(of.how, verdict::ambiguous);
    EXPECT_EQ(of.reason, "The best lattice indexes only 20 % of the reflections.");
}

} // namespace

} // namespace torvik::solver
