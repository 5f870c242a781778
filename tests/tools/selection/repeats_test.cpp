#include "selection/repeats.h"
#include "tools/selection/latticepoints.h"

#include <gtest/gtest.h>

namespace torvik::tools {

namespace {

// Each point and, near it, `more` others.
std::vector<vector3> repeated(const std::vector<vector3>& points, int more, double error)
{
    std::vector<vector3> all;
    for (int i = 0; i <= more; ++i)
        for (const vector3& r : disturbed(points, error, static_cast<unsigned>(i) + 1))
            all.push_back(r);
    return all;
}

// The shortest vectors of the lattice are 0.09 long, and so are the distances of neighbours.
TEST(TheToleranceForRepeats, IsAnEighthOfTheDistanceOfNeighbours)
{
    EXPECT_NEAR(usualtolerance(triclinicpoints(0.5)), 0.0889 / 8.0, 0.0002);
}

TEST(TheToleranceForRepeats, IsTheSameWhenEverySpotIsThereFourTimes)
{
    EXPECT_NEAR(usualtolerance(repeated(triclinicpoints(0.5), 3, 0.001)), 0.0889 / 8.0, 0.001);
}

// Where the beam stop hides the innermost vectors, the shortest one says little.
TEST(TheToleranceForRepeats, DoesNotGrowWithALongShortestVector)
{
    std::vector<vector3> outer = triclinicpoints(0.6);
    std::erase_if(outer, [](const vector3& r) { return r.length() < 0.5; });
    ASSERT_GT(outer.size(), 100U);
    EXPECT_NEAR(usualtolerance(outer), 0.0889 / 8.0, 0.0002);
}

TEST(TheToleranceForRepeats, IsZeroForLessThanTwoSpots)
{
    EXPECT_EQ(usualtolerance({}), 0.0);
    EXPECT_EQ(usualtolerance({{0.1, 0.0, 0.0}}), 0.0);
}

TEST(RepeatedSpots, BecomeOneAtTheirMeanWeightedByIntensity)
{
    measurement measured = measurementof({{0.1, 0.0, 0.0}, {0.104, 0.0, 0.0}, {0.2, 0.0, 0.0}});
    measured.spots[0].intensity = 10.0;
    measured.spots[1].intensity = 30.0;
    measured.spots[2].intensity = 5.0;
    const measurement merged = mergerepeats(measured, vectorsof(measured), 0.01);
    ASSERT_EQ(merged.spots.size(), 2U);
    EXPECT_NEAR(merged.spots[0].value[0], 0.103, 1e-12);
    EXPECT_EQ(merged.spots[0].intensity, 30.0);
    EXPECT_EQ(merged.spots[0].where, "line 2 and 1 more");
    EXPECT_EQ(merged.spots[1].where, "line 3");
}

TEST(RepeatedSpots, KeepIndicesOnWhichTheyAgree)
{
    measurement measured =
        measurementof({{0.1, 0.0, 0.0}, {0.101, 0.0, 0.0}, {0.0, 0.1, 0.0}, {0.0, 0.101, 0.0}});
    measured.spots[0].hkl = measured.spots[1].hkl = {1, 0, 0};
    measured.spots[2].hkl = {0, 1, 0};
    measured.spots[3].hkl = {0, 1, 1};
    const measurement merged = mergerepeats(measured, vectorsof(measured), 0.01);
    ASSERT_EQ(merged.spots.size(), 2U);
    EXPECT_EQ(merged.spots[0].hkl, (std::array<int, 3>{1, 0, 0}));
    EXPECT_FALSE(merged.spots[1].hkl.has_value());
}

TEST(FriedelMates, AreNoRepeats)
{
    const measurement measured = measurementof({{0.1, 0.0, 0.0}, {-0.1, 0.0, 0.0}});
    EXPECT_EQ(mergerepeats(measured, vectorsof(measured), 0.05).spots.size(), 2U);
}

TEST(RepeatedAngles, AreNotAveragedButTheStrongestStands)
{
    measurement measured;
    measured.kind = listkind::thetaphichi;
    measured.wavelength = 1.0;
    measured.spots = {{{10.0, 20.0, 30.0}, 1.0, {}, "line 1"},
                      {{10.1, 20.0, 30.0}, 2.0, {}, "line 2"}};
    const measurement merged = mergerepeats(measured, vectorsof(measured), 0.02);
    ASSERT_EQ(merged.spots.size(), 1U);
    EXPECT_EQ(merged.spots[0].value, (std::array<double, 3>{10.1, 20.0, 30.0}));
}

TEST(AToleranceOfZero, MergesNothing)
{
    const measurement measured = measurementof({{0.1, 0.0, 0.0}, {0.1, 0.0, 0.0}});
    EXPECT_EQ(mergerepeats(measured, vectorsof(measured), 0.0).spots.size(), 2U);
}

// A chain of spots, each within the tolerance of the next, would otherwise swallow a whole row.
TEST(GroupsOfRepeats, AreNotChains)
{
    std::vector<vector3> row;
    std::vector<std::size_t> sequence;
    for (std::size_t i = 0; i < 10; ++i) {
        row.emplace_back(0.1 + 0.006 * static_cast<double>(i), 0.0, 0.0);
        sequence.push_back(i);
    }
    EXPECT_EQ(groupsof(row, sequence, 0.01).size(), 5U);
}

TEST(GroupsOfRepeats, AreAllFoundAmongManySpots)
{
    const std::vector<vector3> points = triclinicpoints(1.0);
    const std::vector<vector3> all = repeated(points, 2, 0.001);
    const measurement measured = measurementof(all);
    EXPECT_EQ(mergerepeats(measured, all, usualtolerance(all)).spots.size(), points.size());
}

} // namespace

} // namespace torvik::tools
