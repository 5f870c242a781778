#include "volumes/phaserows.h"

#include "numeric/kernel.h"
#include "numeric/lanes.h"
#include "support/cases.h"
#include "support/fresh.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace torvik {

namespace {

class PhaseRows : public fresh {
protected:
    std::mt19937 random{71};

    double uniform(double low, double high)
    {
        return low + (high - low) * static_cast<double>(random()) / 4294967296.0;
    }

    // Lists n vectors with components in -size..size.
    trialcolumns anylist(int n, double size = 1.0)
    {
        auto& recorded = recorded_reflections;
        recorded.numberofreflections = recorded.number_of_trial_vectors = n;
        for (int i = 1; i <= n; ++i) {
            for (int c = 1; c <= 3; ++c) recorded.reflections(i)(c) = uniform(-size, size);
            recorded.list_of_trial_vectors(i) = i;
        }
        trialcolumns list;
        fillcolumns(list);
        return list;
    }
};

// The three steps of a triple as they are defined, for each of its vectors first.
struct threesteps {
    int step[3];
    bool same() const
    {
        return step[0] == step[1] && step[1] == step[2];
    }
};

threesteps definedsteps(const vector3& a, const vector3& b, const vector3& c, const phasegrid& grid)
{
    return {{definedstep(a, b, c, grid), definedstep(b, a, c, grid), definedstep(c, a, b, grid)}};
}

TEST_F(PhaseRows, ListBeginsWithTheLastVector)
{
    setreflections({{{1, 2, 3}}, {{4, 5, 6}}, {{7, 8, 9}}});
    trialcolumns list;
    fillcolumns(list);
    EXPECT_EQ(list.n, 3);
    EXPECT_EQ(list.x[0], 7.0);
    EXPECT_EQ(list.y[2], 2.0);
    removecolumn(list, 1);
    EXPECT_EQ(list.n, 2);
    EXPECT_EQ(list.z[0], 9.0);
    EXPECT_EQ(list.x[1], 1.0);
    EXPECT_EQ(list.y[1], 2.0);
    EXPECT_EQ(list.z[1], 3.0);
}

TEST_F(PhaseRows, HoldTheDefinedStepForEveryOrderOfATripleUnlessNearToAHalfWayPoint)
{
    phaserows rows;
    int sure = 0, near = 0, split = 0;
    for (int c = 0; c < cases(150, 3000); ++c) {
        const int n = 3 + static_cast<int>(random() % 30);
        trialcolumns list = anylist(n);
        // Each third time on a grid of points of which many products are half-way, but for rounding.
        const double cell = uniform(0.1, 1.0);
        if (c % 3 == 0)
            for (auto* const column : {list.x, list.y, list.z})
                for (int m = 0; m < n; ++m) column[m] = cell * std::round(3.0 * column[m]);
        // Up to where roundings count for as much as the grid.
        const double power = c % 2 == 0 ? uniform(0.0, 10.0) : uniform(28.0, 36.0);
        const double halfway = std::floor(std::exp2(power)) + 0.5;
        const double V =
            c % 3 == 0 ? 511.0 * cell * cell * cell / halfway : std::exp(uniform(-20.0, 1.0));
        const phasegrid grid = makephasegrid(list, V);
        ASSERT_LT(grid.window, 1U << grid.bits);
        const vector3 a = vectorat(list, n - 1);
        for (int last = n - 2; last >= 1; last = rows.first - 1) {
            computephaserows(a, list, grid, last, rows);
            ASSERT_EQ(rows.last, last);
            for (int j = rows.first; j <= rows.last; ++j)
                for (int k = 0; k < j; ++k) {
                    const threesteps defined =
                        definedsteps(a, vectorat(list, j), vectorat(list, k), grid);
                    const std::uint32_t phase = rows.row(j)[k];
                    if (nearhalfway(phase, grid)) {
                        ++near;
                        split += !defined.same();
                        continue;
                    }
                    ++sure;
                    ASSERT_TRUE(defined.same()) << c << " " << j << " " << k;
                    ASSERT_EQ(stepof(phase, grid) % 511, defined.step[0])
                        << c << " " << j << " " << k;
                }
        }
    }
    EXPECT_GT(sure, 10000);
    EXPECT_GT(near, 1000);
    EXPECT_GT(split, 10); // so that the order of the rows does decide
}

TEST_F(PhaseRows, AreTheSameBitsWithAndWithoutAvx2)
{
    if (!hasavx2()) GTEST_SKIP() << "this processor has no AVX2";
    phaserows rows, others;
    for (int c = 0; c < 50; ++c) {
        const int n = 3 + static_cast<int>(random() % 60);
        const trialcolumns list = anylist(n);
        const phasegrid grid = makephasegrid(list, std::exp(uniform(-20.0, 1.0)));
        const vector3 a = vectorat(list, n - 1);
        rows.first = others.first = 1;
        rows.last = others.last = n - 2;
        rows.stride = others.stride = (n + 5) / 8 * 8;
        fillphaserows_avx2(a, list, grid, rows);
        fillphaserows_anywhere(a, list, grid, others);
        for (int j = 1; j <= n - 2; ++j)
            EXPECT_TRUE(std::equal(rows.row(j), rows.row(j) + j, others.row(j))) << c << " " << j;
    }
}

TEST_F(PhaseRows, OfManyVectorsComeInSeveralTables)
{
    phaserows rows;
    const trialcolumns list = anylist(999);
    const phasegrid grid = makephasegrid(list, 0.1);
    int expected = 998, tables = 0;
    for (int last = 998; last >= 1; last = rows.first - 1) {
        computephaserows(vectorat(list, 0), list, grid, last, rows);
        EXPECT_EQ(rows.last, expected);
        EXPECT_GE(rows.first, 1);
        EXPECT_GE(rows.stride, rows.last);
        EXPECT_LE((rows.last - rows.first + 1) * rows.stride, phaserows::size);
        expected = rows.first - 1;
        ++tables;
    }
    EXPECT_EQ(expected, 0);
    EXPECT_GT(tables, 100);
}

TEST_F(PhaseRows, GridIsAsFineAsTheProductsAllow)
{
    trialcolumns list = anylist(4);
    list.x[0] = 1.0; // the largest component
    EXPECT_EQ(makephasegrid(list, 1.0).bits, 22);
    // No product over the volume exceeds 7/V, which must stay below 2^(51 - bits).
    EXPECT_EQ(makephasegrid(list, 7.0 * std::ldexp(1.001, -29)).bits, 22);
    EXPECT_EQ(makephasegrid(list, 7.0 * std::ldexp(0.999, -29)).bits, 21);
    EXPECT_EQ(makephasegrid(list, 7.0 * std::ldexp(1.001, -35)).bits, 16);
}

TEST_F(PhaseRows, EveryPhaseCountsAsNearWhereTheGridCannotHoldThem)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinite = std::numeric_limits<double>::infinity();
    trialcolumns list = anylist(4);
    list.x[0] = 1.0;
    const auto hopeless = [&](double V) {
        const phasegrid grid = makephasegrid(list, V);
        return grid.window > (1U << grid.bits) - 1;
    };
    EXPECT_FALSE(hopeless(1.0));
    for (const double V : {7.0 * std::ldexp(0.999, -35), 0.0, -1.0, 1e201, 1e-201, nan, infinite})
        EXPECT_TRUE(hopeless(V)) << V;
    for (const double strange : {nan, infinite, -infinite, 1e31, -1e31}) {
        for (auto* const column : {list.x, list.y, list.z}) {
            const double kept = column[2];
            column[2] = strange;
            EXPECT_TRUE(hopeless(1e90)) << strange;
            column[2] = kept;
        }
    }
}

TEST_F(PhaseRows, DefinedStepDependsOnTheCandidateAndNotOnTheOrderOfThePair)
{
    int turned = 0;
    for (int c = 0; c < 1000; ++c) {
        const trialcolumns list = anylist(3);
        const vector3 x = vectorat(list, 0), y = vectorat(list, 1), z = vectorat(list, 2);
        const double d = std::fabs(deter(rowsmatrix(x, y, z)));
        phasegrid grid = makephasegrid(list, 1.0);
        grid.scale = 0.5 / d; // the smallest that rounds up, so that the last bit of d decides
        EXPECT_EQ(definedstep(x, y, z, grid), phaseindex(d, grid.scale));
        EXPECT_EQ(definedstep(x, z, y, grid), phaseindex(d, grid.scale));
        turned += definedstep(y, x, z, grid) != definedstep(x, y, z, grid);
    }
    EXPECT_GT(turned, 0);
}

} // namespace

} // namespace torvik
