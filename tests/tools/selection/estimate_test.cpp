#include "selection/estimate.h"
#include "selection/picking.h"
#include "tools/selection/latticepoints.h"

#include <gtest/gtest.h>

namespace torvik::tools {

namespace {

TEST(TheEstimateOfTheVolume, IsTheVolumeWhereAllReflectionsAreThere)
{
    const auto estimate = estimatevolume(disturbed(triclinicpoints(0.6), 0.0002, 1));
    ASSERT_TRUE(estimate);
    EXPECT_NEAR(estimate->low / triclinicvolume, 1.0, 0.02);
    EXPECT_NEAR(estimate->usual / triclinicvolume, 1.0, 0.02);
    EXPECT_NEAR(estimate->high / triclinicvolume, 1.0, 0.02);
}

TEST(TheEstimateOfTheVolume, HoldsForALongCell)
{
    const auto estimate =
        estimatevolume(latticepoints({0.2, 0.0, 0.0}, {0.0, 0.2, 0.0}, {0.0, 0.0, 0.02}, 0.5));
    ASSERT_TRUE(estimate);
    EXPECT_NEAR(estimate->usual, 1250.0, 1.0);
}

TEST(TheEstimateOfTheVolume, IsNotMisledByFriedelMatesThatDifferABit)
{
    std::vector<vector3> vectors = triclinicpoints(0.5);
    for (const vector3& r : disturbed(vectors, 0.001, 3)) vectors.push_back(-r);
    const auto estimate = estimatevolume(vectors);
    ASSERT_TRUE(estimate);
    EXPECT_NEAR(estimate->usual / triclinicvolume, 1.0, 0.05);
}

// Triple products of lattice vectors are multiples of the reciprocal volume.
TEST(TheEstimateOfTheVolume, IsAPartOfTheVolumeWhereReflectionsAreMissing)
{
    const measurement measured = measurementof(triclinicpoints(0.8));
    const auto vectors = vectorsof(measured);
    for (unsigned seed = 1; seed <= 20; ++seed) {
        std::vector<vector3> some;
        for (const std::size_t i : pickspots(measured.spots, vectors, pick::random, 20, seed))
            some.push_back(vectors[i]);
        const auto estimate = estimatevolume(some);
        ASSERT_TRUE(estimate);
        EXPECT_LE(estimate->high, triclinicvolume * 1.000001);
        const volumerange range = rangefrom(*estimate);
        EXPECT_LT(range.least, triclinicvolume);
        EXPECT_GT(range.most, triclinicvolume) << seed;
    }
}

TEST(TheEstimateOfTheVolume, IsMissingForVectorsInAPlane)
{
    EXPECT_FALSE(estimatevolume({{0.1, 0.0, 0.0}, {0.0, 0.1, 0.0}, {0.1, 0.1, 0.0}}));
    EXPECT_FALSE(estimatevolume({}));
}

} // namespace

} // namespace torvik::tools
