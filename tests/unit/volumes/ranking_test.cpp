#include "volumes/phaserows.h"
#include "volumes/ranking.h"

#include "search/quality.h"
#include "support/fresh.h"
#include "support/runs.h"
#include "text/units.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace torvik {

namespace {

class Ranking : public fresh {
protected:
    Ranking()
    {
        getavonmisestypefunction(-9, tabulcos.vonmisesfunctinranking);
        estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    }
};

std::vector<int> triallist()
{
    const auto& recorded = recorded_reflections;
    return {recorded.list_of_trial_vectors.element,
            recorded.list_of_trial_vectors.element + recorded.number_of_trial_vectors};
}

void addreflection(const vector3& v)
{
    auto& recorded = recorded_reflections;
    const int i = ++recorded.numberofreflections;
    recorded.reflections(i) = v;
    recorded.reflectionmagnitudes(i) = vectormagnitude(v);
    recorded.list_of_trial_vectors(i) = i;
    recorded.number_of_trial_vectors = i;
}

// Gives count reflections with components spread over -2..2.
void setrandomreflections(unsigned seed, int count)
{
    resetgroups();
    getavonmisestypefunction(-9, tabulcos.vonmisesfunctinranking);
    std::mt19937 random(seed);
    const auto component = [&] { return static_cast<double>(random() % 4000) / 1000.0 - 2.0; };
    for (int i = 0; i < count; ++i) {
        const double x = component(), y = component(), z = component();
        addreflection({{x, y, z}});
    }
}

// The ranking read literally: three loops over reflection numbers, nothing shared with the program
// but the determinant and the curve.
std::vector<int> plainranking(int nremove, double V, bool lastofequals = false)
{
    const auto& r = recorded_reflections.reflections;
    std::vector<int> list = triallist();
    for (int pass = 0; pass < nremove; ++pass) {
        std::size_t w = 0;
        double lowest = std::numeric_limits<double>::infinity();
        for (std::size_t c = 0; c < list.size(); ++c) {
            double score = 0.0;
            for (std::size_t i = 0; i < list.size(); ++i) {
                for (std::size_t j = i + 1; j < list.size(); ++j) {
                    if (i == c || j == c) continue;
                    const double d =
                        std::fabs(deter(rowsmatrix(r(list[c]), r(list[i]), r(list[j]))));
                    const long long steps = std::llround(d * (511.0 / V));
                    score += tabulcos.vonmisesfunctinranking.element[steps % 511];
                }
            }
            if (score < lowest || (lastofequals && score == lowest)) {
                lowest = score;
                w = c;
            }
        }
        list.erase(list.begin() + static_cast<std::ptrdiff_t>(w));
    }
    return list;
}

TEST_F(Ranking, AgreesWithThePlainLoopsForEveryNumberOfRemovals)
{
    for (unsigned seed = 1; seed <= 6; ++seed) {
        for (int nremove = 1; nremove <= 7; ++nremove) {
            setrandomreflections(seed, 10);
            const double V = 0.37 + 0.11 * seed;
            estimatedvolumes.currentlyinvestigatedvolume = V;
            const std::vector<int> expected = plainranking(nremove, V);
            rank_trial_vectors(nremove);
            EXPECT_EQ(triallist(), expected) << seed << " " << nremove;
        }
    }
}

TEST_F(Ranking, AgreesWithThePlainLoopsWhereLatticePointsTie)
{
    for (unsigned seed = 1; seed <= 6; ++seed) {
        resetgroups();
        getavonmisestypefunction(-9, tabulcos.vonmisesfunctinranking);
        std::mt19937 random(seed);
        for (int i = 0; i < 9; ++i) {
            const auto index = [&] { return static_cast<double>(random() % 3); };
            const double x = index(), y = index(), z = index();
            addreflection({{x, y, z}});
        }
        // With V = 2 the odd triple products lie half-way: scores are sums of two values only.
        estimatedvolumes.currentlyinvestigatedvolume = 2.0;
        const std::vector<int> expected = plainranking(5, 2.0);
        rank_trial_vectors(5);
        EXPECT_EQ(triallist(), expected) << seed;
    }
}

TEST_F(Ranking, RemovesTheReflectionThatDisagreesWithTheVolume)
{
    // Seven points of the unit lattice and a stranger at position 4, whose triple products are no
    // whole numbers.
    setreflections({{{1, 0, 0}},
                    {{0, 1, 0}},
                    {{0, 0, 1}},
                    {{0.37, 0.61, 0.43}},
                    {{1, 1, 0}},
                    {{1, 0, 1}},
                    {{0, 1, 1}},
                    {{1, 1, 1}}});
    rank_trial_vectors(1);
    EXPECT_EQ(triallist(), (std::vector<int>{1, 2, 3, 5, 6, 7, 8}));
}

TEST_F(Ranking, RemovesTheEarlierOfTwoCandidatesThatTie)
{
    // In a plane every triple product is 0 and every score the same.
    setreflections({{{1, 0, 0}}, {{0, 1, 0}}, {{1, 1, 0}}, {{2, 1, 0}}, {{1, 2, 0}}, {{1, 3, 0}}});
    rank_trial_vectors(1);
    EXPECT_EQ(triallist(), (std::vector<int>{2, 3, 4, 5, 6}));
    rank_trial_vectors(2);
    EXPECT_EQ(triallist(), (std::vector<int>{4, 5, 6}));
}

TEST_F(Ranking, RemovesTheEarlierOfTwoEqualStrangers)
{
    // The same stranger stands at positions 3 and 6. Weights that are whole numbers make the sums
    // exact, so that the two copies tie whatever the order of their pairs.
    for (int i = 0; i <= 510; ++i) tabulcos.vonmisesfunctinranking(i) = std::abs(i - 255);
    const vector3 stranger = {{0.37, 0.61, 0.43}};
    setreflections({{{1, 0, 0}},
                    {{0, 1, 0}},
                    stranger,
                    {{0, 0, 1}},
                    {{1, 1, 0}},
                    stranger,
                    {{1, 0, 1}},
                    {{0, 1, 1}}});
    ASSERT_NE(plainranking(1, 1.0), plainranking(1, 1.0, true)); // the two do tie
    rank_trial_vectors(1);
    EXPECT_EQ(triallist(), (std::vector<int>{1, 2, 4, 5, 6, 7, 8}));
}

TEST_F(Ranking, RemovingNoneLeavesAllReflectionsInInputOrderAndStillLogsThem)
{
    setrandomreflections(3, 4);
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    write_log_file = {1, logunit};
    const std::string log = writtenby(logunit, [] { rank_trial_vectors(0); });
    EXPECT_EQ(triallist(), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(log, " - - - - - - - - - - - - - - - - - - - - - - - -\n"
                   " List of prominent reflections :\n"
                   "     1    1\n"
                   "     2    2\n"
                   "     3    3\n"
                   "     4    4\n"
                   "\n");
}

TEST_F(Ranking, NegativeNumberRemovesNone)
{
    setrandomreflections(3, 5);
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    rank_trial_vectors(-2);
    EXPECT_EQ(triallist(), (std::vector<int>{1, 2, 3, 4, 5}));
}

TEST_F(Ranking, LogListsTheSurvivorsWithTheirReflectionNumbers)
{
    for (int i = 1; i <= 12; ++i) addreflection({{1.0 * i, 1.0, 0.0}}); // in a plane: all tie
    write_log_file = {1, logunit};
    const std::string log = writtenby(logunit, [] { rank_trial_vectors(9); });
    EXPECT_EQ(log, " - - - - - - - - - - - - - - - - - - - - - - - -\n"
                   " List of prominent reflections :\n"
                   "     1   10\n"
                   "     2   11\n"
                   "     3   12\n"
                   "\n");
}

TEST_F(Ranking, WritesNothingToTheTerminalNorWithoutALog)
{
    setrandomreflections(3, 6);
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    EXPECT_EQ(printedby([] { rank_trial_vectors(2); }), "");
    EXPECT_EQ(writtenby(logunit, [] { rank_trial_vectors(1); }), "");
}

TEST_F(Ranking, SurvivorsKeepTheIncreasingOrderOfTheirNumbers)
{
    for (unsigned seed = 11; seed <= 20; ++seed) {
        setrandomreflections(seed, 12);
        estimatedvolumes.currentlyinvestigatedvolume = 0.8;
        rank_trial_vectors(8);
        const std::vector<int> survivors = triallist();
        ASSERT_EQ(survivors.size(), 4U);
        EXPECT_GE(survivors[0], 1);
        EXPECT_LE(survivors[3], 12);
        for (std::size_t m = 1; m < 4; ++m) EXPECT_LT(survivors[m - 1], survivors[m]) << seed;
    }
}

TEST_F(Ranking, OneCallRemovesWhatSingleCallsRemove)
{
    // Every score is computed afresh after a removal, so nothing is carried from pass to pass.
    setrandomreflections(21, 9);
    estimatedvolumes.currentlyinvestigatedvolume = 0.6;
    rank_trial_vectors(4);
    const std::vector<int> together = triallist();
    setrandomreflections(21, 9);
    estimatedvolumes.currentlyinvestigatedvolume = 0.6;
    for (int k = 1; k <= 4; ++k) rank_trial_vectors(1);
    EXPECT_EQ(triallist(), together);
}

TEST_F(Ranking, RemovesAllButTwoWithoutReadingBeyondTheList)
{
    // Three vectors have one pair for each candidate, all with the same product: the first goes.
    setrandomreflections(5, 3);
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    rank_trial_vectors(1);
    EXPECT_EQ(triallist(), (std::vector<int>{2, 3}));
}

TEST_F(Ranking, LastPointOfTheCurveIsNeverRead)
{
    setrandomreflections(8, 10);
    estimatedvolumes.currentlyinvestigatedvolume = 0.01; // phases all over the curve
    const std::vector<int> expected = plainranking(6, 0.01);
    tabulcos.vonmisesfunctinranking(511) = -1e300;
    rank_trial_vectors(6);
    EXPECT_EQ(triallist(), expected);
}

TEST_F(Ranking, PhaseIndexRoundsHalvesUp)
{
    EXPECT_EQ(phaseindex(0.5, 1.0), 1);
    EXPECT_EQ(phaseindex(255.5, 1.0), 256);
    EXPECT_EQ(phaseindex(0.49999999999999994, 1.0), 0); // the double below one half
    EXPECT_EQ(phaseindex(255.49999999999997, 1.0), 255);
    EXPECT_EQ(phaseindex(0.0, 511.0), 0);
}

TEST_F(Ranking, PhaseIndexOfAWholeMultipleIsZero)
{
    const double scale = 511.0 / 0.25; // exact, V = 0.25
    for (const double multiple : {0.0, 1.0, 2.0, 7.0, 1000.0, 1048576.0})
        EXPECT_EQ(phaseindex(0.25 * multiple, scale), 0) << multiple;
}

TEST_F(Ranking, PhaseIndexHalfWayBetweenTwoMultiplesIsTheMiddleOfTheCurve)
{
    const double scale = 511.0 / 0.25;
    // An even multiple and a half: 255.5 rounds to 256. An odd one: 766.5 rounds to 767 = 511 +
    // 256.
    EXPECT_EQ(phaseindex(0.125, scale), 256);
    EXPECT_EQ(phaseindex(0.375, scale), 256);
    const auto& curve = tabulcos.vonmisesfunctinranking;
    for (int i = 0; i <= 510; ++i) {
        EXPECT_LE(curve(i), curve(0)) << i;
        EXPECT_GE(curve(i), std::min(curve(255), curve(256))) << i;
    }
}

TEST_F(Ranking, PhaseIndexWrapsBeforeTheLastPoint)
{
    EXPECT_EQ(phaseindex(510.0, 1.0), 510);
    EXPECT_EQ(phaseindex(510.49, 1.0), 510);
    EXPECT_EQ(phaseindex(510.5, 1.0), 0);
    EXPECT_EQ(phaseindex(511.0, 1.0), 0);
    EXPECT_EQ(phaseindex(1022.6, 1.0), 1);
}

TEST_F(Ranking, PhaseIndexOfHugeProductsIsTheExactRemainder)
{
    // 2^9 = 512 = 1 (mod 511), so 2^k = 2^(k mod 9).
    for (const int k : {29, 30, 31, 32, 33, 52, 53, 62, 63, 64, 100, 1000})
        EXPECT_EQ(phaseindex(std::ldexp(1.0, k), 1.0), 1 << (k % 9)) << k;
    // Around the largest 32-bit integer, 2^31 - 1 = 16 - 1 (mod 511).
    EXPECT_EQ(phaseindex(2147483646.0, 1.0), 14);
    EXPECT_EQ(phaseindex(2147483646.5, 1.0), 15);
    EXPECT_EQ(phaseindex(2147483647.0, 1.0), 15);
    EXPECT_EQ(phaseindex(2147483647.5, 1.0), 16);
    EXPECT_EQ(phaseindex(2147483648.0, 1.0), 16);
}

TEST_F(Ranking, PhaseIndexOfAProductThatIsNotFiniteIsTheMiddleOfTheCurve)
{
    EXPECT_EQ(phaseindex(std::numeric_limits<double>::infinity(), 1.0), 255);
    EXPECT_EQ(phaseindex(1e300, 1e300), 255);
    EXPECT_EQ(phaseindex(std::nan(""), 1.0), 255);
    EXPECT_EQ(phaseindex(0.0, std::numeric_limits<double>::infinity()), 255); // a volume of 0
}

TEST_F(Ranking, HugeTripleProductsAreRankedWithinTheCurve)
{
    setrandomreflections(9, 8);
    estimatedvolumes.currentlyinvestigatedvolume = 1e-12; // d / V far beyond 32 bits
    const std::vector<int> expected = plainranking(4, 1e-12);
    rank_trial_vectors(4);
    EXPECT_EQ(triallist(), expected);
}

} // namespace

} // namespace torvik
