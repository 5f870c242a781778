#include "solver/verdict/coincidence.h"

#include "support/random_bases.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <numeric>
#include <vector>

namespace torvik::solver {

namespace {

using indices = std::vector<std::array<int, 3>>;

// The greatest common divisor of all determinants, as it is defined.
long divisor_of_determinants(const indices& all)
{
    long common = 0;
    for (const auto& a : all)
        for (const auto& b : all)
            for (const auto& c : all)
                common = std::gcd(common, static_cast<long>(a[0] * (b[1] * c[2] - b[2] * c[1])
                                                            - a[1] * (b[0] * c[2] - b[2] * c[0])
                                                            + a[2] * (b[0] * c[1] - b[1] * c[0])));
    return common;
}

// Whether some index can be left out such that no three of the others are independent.
bool in_a_plane_but_for_one(const indices& all)
{
    for (std::size_t i = 0; i < all.size(); ++i) {
        indices others = all;
        others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
        if (divisor_of_determinants(others) == 0) return true;
    }
    return all.size() < 4;
}

TEST(TheSpanOfIndices, HasTheIndexThatTheirDeterminantsHaveInCommon)
{
    chance random(5);
    for (int trial = 0; trial < 300; ++trial) {
        indices all;
        const int step = random.whole(1, 3);
        for (int i = random.whole(2, 8); i > 0; --i)
            all.push_back(
                {step * random.whole(-6, 6), random.whole(-6, 6), 2 * random.whole(-3, 3)});
        EXPECT_EQ(index_of_span(all), divisor_of_determinants(all)) << trial;
    }
}

TEST(TheSpanOfIndices, IsFoundInOnePassOfALongList)
{
    indices plane(100000, {1, 2, 0}); // all triples of them would be 10^15
    plane.push_back({3, 1, 0});
    EXPECT_EQ(index_of_span(plane), 0);
    plane.push_back({0, 0, 3});
    EXPECT_EQ(index_of_span(plane), 15);
    EXPECT_TRUE(nearly_in_a_plane(plane));
    plane.push_back({0, 0, 6});
    EXPECT_TRUE(nearly_in_a_plane(plane)); // but for 3 1 0
    plane.push_back({5, 1, 0});
    EXPECT_FALSE(nearly_in_a_plane(plane));
}

TEST(IndicesNearlyInAPlane, AreThoseThatLieInOneButForOne)
{
    chance random(6);
    for (int trial = 0; trial < 300; ++trial) {
        indices all;
        for (int i = random.whole(3, 7); i > 0; --i)
            all.push_back(
                {random.whole(-2, 2), random.whole(-2, 2), random.whole(0, 3) == 0 ? 1 : 0});
        EXPECT_EQ(nearly_in_a_plane(all), in_a_plane_but_for_one(all)) << trial;
    }
}

} // namespace

} // namespace torvik::solver
