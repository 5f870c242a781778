#include "volumes/rankingscores.h"

#include "numeric/lanes.h"
#include "search/quality.h"
#include "support/fresh.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace torvik {

namespace {

class RankingScores : public fresh {
protected:
    std::mt19937 random{72};
    rankingcurve curve = {};
    trialcolumns list;

    RankingScores()
    {
        getavonmisestypefunction(-9, curve);
    }

    // Lists n vectors, with components that are whole multiples of a step, or any.
    void makelist(int n, double step)
    {
        auto& recorded = recorded_reflections;
        recorded.numberofreflections = recorded.number_of_trial_vectors = n;
        for (int i = 1; i <= n; ++i) {
            for (int c = 1; c <= 3; ++c) {
                const double x = static_cast<double>(random() % 8001) / 4000.0 - 1.0;
                recorded.reflections(i)(c) = step > 0.0 ? step * std::round(x / step) : x;
            }
            recorded.list_of_trial_vectors(i) = i;
        }
        fillcolumns(list);
    }

    int step(int candidate, int b, int c, const phasegrid& grid) const
    {
        return definedstep(vectorat(list, candidate), vectorat(list, b), vectorat(list, c), grid);
    }
};

TEST_F(RankingScores, WholeWeightsAreTheCurveInUnitsOfAPowerOfTwo)
{
    for (const int N : {8, 100, 999}) {
        const wholeweights weights = makewholeweights(curve, N);
        ASSERT_TRUE(weights.usable);
        const double largest = *std::max_element(weights.weight, weights.weight + 511);
        // A thousand fit into 32 bits, and no more than three bits are given away.
        EXPECT_LE(largest * (N + 1), 2147483647.0) << N;
        EXPECT_GE(largest * (N + 1), 2147483647.0 / 8) << N;
        const double unit = std::exp2(std::round(std::log2(weights.weight[0] / curve(0))));
        for (int i = 0; i < 511; ++i)
            EXPECT_LE(std::fabs(weights.weight[i] - curve(i) * unit), 0.5) << N << " " << i;
        EXPECT_EQ(weights.weight[511], weights.weight[0]);
    }
}

TEST_F(RankingScores, NoWholeWeightsForVeryFewVectors)
{
    EXPECT_FALSE(makewholeweights(curve, 7).usable);
    EXPECT_TRUE(makewholeweights(curve, 8).usable);
}

TEST_F(RankingScores, NoWholeWeightsForCurvesWithNegativeOrStrangeValues)
{
    for (const double strange : {-1e-9, std::nan(""), 1e201, HUGE_VAL}) {
        rankingcurve other = curve;
        other(510) = strange;
        EXPECT_FALSE(makewholeweights(other, 20).usable) << strange;
        other = curve;
        other(511) = strange; // never read
        EXPECT_TRUE(makewholeweights(other, 20).usable) << strange;
    }
    for (int i = 0; i < curvepoints; ++i) curve(i) = 0.0;
    EXPECT_FALSE(makewholeweights(curve, 20).usable);
}

TEST_F(RankingScores, PairsAddTheWeightOfTheDefinedStepToEachOfTheThree)
{
    // Components in steps of 1/2 and V = 511 * 0.125 / 3.5: a product of an odd number of 0.125 lies
    // half-way between two steps.
    for (const double stepsize : {0.0, 0.5}) {
        makelist(70, stepsize);
        const phasegrid grid = makephasegrid(list, stepsize > 0.0 ? 511.0 * 0.125 / 3.5 : 0.01);
        const wholeweights weights = makewholeweights(curve, 70);
        pairsums sums;
        rankingdecisions decisions;
        addpairs(vectorat(list, 69), list, 69, grid, weights, sums, decisions);
        std::int64_t own = 0;
        std::vector<std::int64_t> of(69, 0);
        for (int j = 1; j < 69; ++j)
            for (int k = 0; k < j; ++k) {
                own += weights.weight[step(69, j, k, grid)];
                of[static_cast<std::size_t>(j)] += weights.weight[step(j, 69, k, grid)];
                of[static_cast<std::size_t>(k)] += weights.weight[step(k, 69, j, grid)];
            }
        EXPECT_EQ(sums.own, own) << stepsize;
        EXPECT_TRUE(std::equal(of.begin(), of.end(), sums.of)) << stepsize;
        EXPECT_GE(decisions.halfways, stepsize > 0.0 ? 100 : 0);
    }
}

TEST_F(RankingScores, RowsAreAddedUpTheSameWithAndWithoutAvx2)
{
    if (!hasavx2()) GTEST_SKIP() << "this processor has no AVX2";
    for (int n = 3; n <= 70; ++n) {
        makelist(n, n % 2 == 0 ? 0.5 : 0.0);
        const phasegrid grid = makephasegrid(list, 511.0 * 0.125 / 3.5);
        const wholeweights weights = makewholeweights(curve, 100);
        phaserows rows;
        computephaserows(vectorat(list, n - 1), list, grid, n - 2, rows);
        rowsums sums = {}, others = {};
        addweights_avx2(rows, grid, weights, sums);
        addweights_anywhere(rows, grid, weights, others);
        for (int j = rows.first; j <= rows.last; ++j) {
            EXPECT_EQ(sums.row[j], others.row[j]) << n << " " << j;
            EXPECT_EQ(sums.column[j], others.column[j]) << n << " " << j;
            // With AVX2 what lies behind the end of the row is seen as well.
            EXPECT_TRUE(sums.near[j] || !others.near[j]) << n << " " << j;
        }
    }
}

TEST_F(RankingScores, DefinedSumAddsPairByPairInTheOrderOfTheList)
{
    for (const double stepsize : {0.0, 0.5}) {
        makelist(40, stepsize);
        const phasegrid grid = makephasegrid(list, 511.0 * 0.125 / 3.5);
        for (const int candidate : {0, 17, 39}) {
            double sum = 0.0;
            for (int i = 39; i >= 0; --i) // the list begins with its last vector
                for (int j = i - 1; j >= 0; --j) {
                    if (i == candidate || j == candidate) continue;
                    sum += curve(step(candidate, i, j, grid));
                }
            EXPECT_EQ(definedsum(candidate, list, grid, curve), sum) << candidate;
        }
    }
}

TEST_F(RankingScores, TieWidthCoversTheRoundingOfTheWeightsAndOfTheSums)
{
    // m = 9 * 8 / 2 = 36 weights, each within half a unit, for two vectors.
    EXPECT_EQ(tiewidth(0, 10), 38);
    EXPECT_EQ(tiewidth(1000000, 10), 38);
    // A sum of 2^50 loses less than 36 * 2^50 * 2^-53, for two vectors; four times that is 72 / 4.
    EXPECT_EQ(tiewidth(1LL << 50, 10), 38 + 18);
}

} // namespace

} // namespace torvik
