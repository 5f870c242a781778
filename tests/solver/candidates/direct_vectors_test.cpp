#include "solver/candidates/direct_vectors.h"

#include "support/simulated_crystals.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>

namespace torvik::solver {

namespace {

std::vector<std::size_t> places_of(const std::vector<vector3>& sample)
{
    std::vector<std::size_t> places(sample.size());
    std::iota(places.begin(), places.end(), std::size_t{0});
    return places;
}

double longest_of(const std::vector<vector3>& sample)
{
    double longest = 0.0;
    for (const vector3& q : sample) longest = std::max(longest, q.length());
    return longest;
}

std::optional<anchor_places> drawn(const std::vector<vector3>& sample, std::uint64_t seed)
{
    random_numbers random(seed);
    return draw_anchors(sample, places_of(sample), longest_of(sample), 20, random);
}

bool same_bits(double x, double y)
{
    return std::memcmp(&x, &y, sizeof x) == 0;
}

bool same(const direct_vector& one, const direct_vector& other)
{
    return same_bits(one.value.x, other.value.x) && same_bits(one.value.y, other.value.y)
           && same_bits(one.value.z, other.value.z) && same_bits(one.length, other.length)
           && one.hits == other.hits && same_bits(one.log_chance, other.log_chance);
}

bool same(const direct_vectors& one, const direct_vectors& other)
{
    if (one.points != other.points) return false;
    for (std::size_t k = 0; k < hit_tolerances.size(); ++k)
        if (!std::equal(one.by_tolerance[k].begin(), one.by_tolerance[k].end(),
                        other.by_tolerance[k].begin(), other.by_tolerance[k].end(),
                        [](const direct_vector& p, const direct_vector& q) { return same(p, q); }))
            return false;
    return true;
}

crystal_request small_crystal(int reflections, std::uint64_t seed)
{
    crystal_request asked;
    asked.cell = {5.0, 6.0, 7.0, 85.0, 95.0, 100.0};
    asked.reflections = reflections;
    asked.noise = 0.01;
    asked.seed = seed;
    return asked;
}

// All sample sizes, and so all numbers of blocks of 16 reflections, with every part of the last one filled.
TEST(TheFastEnumeration, HasTheBitsOfThePlainOne)
{
    std::size_t kept = 0;
    int compared = 0;
    for (int reflections = 3; reflections <= 64; ++reflections)
        for (const bool by_distances : {false, true}) {
            crystal_request asked =
                small_crystal(reflections, static_cast<std::uint64_t>(reflections));
            asked.outliers = reflections / 4;
            const auto sample = simulated(asked).vectors;
            const auto anchors = drawn(sample, asked.seed);
            if (!anchors) continue;
            for (const double radius : {4.0, 12.7, 31.0}) {
                ball within;
                within.shortest = reflections % 2 == 0 ? 0.0 : 2.5;
                within.radius = radius;
                within.by_distances = by_distances;
                const direct_vectors fast = enumerate_direct_vectors(sample, *anchors, within);
                ASSERT_TRUE(same(fast, plain_direct_vectors(sample, *anchors, within)))
                    << reflections << " " << radius;
                kept += fast.by_tolerance[0].size() + fast.by_tolerance[1].size();
                ++compared;
            }
        }
    // Few triples of so small samples are flat, and the larger ones keep their 40 vectors.
    EXPECT_GT(compared, 330);
    EXPECT_GT(kept, 4000U);
}

TEST(TheFastEnumeration, HasTheBitsOfThePlainOneForUnrelatedVectors)
{
    chance random(11);
    for (const int reflections : {5, 16, 17, 40, 64}) {
        std::vector<vector3> sample;
        for (int i = 0; i < reflections; ++i) sample.push_back(normal_vector(random) * 0.4);
        const auto anchors = drawn(sample, 3);
        ASSERT_TRUE(anchors);
        for (const bool by_distances : {false, true}) {
            const ball within = {0.0, 30.0, 1e7, by_distances};
            ASSERT_TRUE(same(enumerate_direct_vectors(sample, *anchors, within),
                             plain_direct_vectors(sample, *anchors, within)))
                << reflections;
        }
    }
}

// The vectors of a direct lattice up to a length, one of each pair.
std::vector<vector3> lattice_vectors(const matrix3& basis, double longest)
{
    return reciprocal_vectors(basis.inverse().transpose(), longest);
}

bool contains(const std::vector<direct_vector>& vectors, const vector3& t, double within)
{
    return std::any_of(vectors.begin(), vectors.end(), [&](const direct_vector& one) {
        return (one.value - t).length() < within || (one.value + t).length() < within;
    });
}

// Fewer than a dozen of them, so that none has to give way to others.
TEST(OfExactReflections, EveryLatticeVectorInTheBallIsKeptAndTakesThemAll)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        crystal_request asked = small_crystal(seed % 2 == 0 ? 20 : 50, seed);
        asked.noise = 0.0;
        const simulated_crystal made = simulated(asked);
        const auto anchors = drawn(made.vectors, seed);
        ASSERT_TRUE(anchors);
        ball within;
        within.radius = 8.5;
        within.by_distances = seed % 4 < 2;
        const auto true_vectors = lattice_vectors(made.basis, within.radius);
        ASSERT_GE(true_vectors.size(), 4U);
        ASSERT_LE(true_vectors.size(), 12U);
        const direct_vectors found = enumerate_direct_vectors(made.vectors, *anchors, within);
        const std::uint64_t all =
            (std::uint64_t{1} << made.vectors.size()) - 1; // of 20 or 50 reflections
        for (const auto& vectors : found.by_tolerance) {
            for (const vector3& t : true_vectors) EXPECT_TRUE(contains(vectors, t, 1e-6)) << seed;
            for (const direct_vector& one : vectors) {
                EXPECT_LE(one.length, within.radius * (1.0 + 1e-12));
                for (const vector3& t : true_vectors)
                    if (contains({one}, t, 1e-6)) {
                        EXPECT_EQ(one.hits, all);
                    }
            }
        }
    }
}

TEST(TheHitsOfADirectVector, AreThoseOfItsProductsInDoublePrecision)
{
    crystal_request asked = small_crystal(60, 8);
    asked.outliers = 25;
    const auto sample = simulated(asked).vectors;
    const auto anchors = drawn(sample, 8);
    ASSERT_TRUE(anchors);
    const auto found = enumerate_direct_vectors(sample, *anchors, {0.0, 40.0, 1e7, false});
    constexpr double rounding = 1.0 / 65536.0; // of products to 16 bits
    for (std::size_t k = 0; k < hit_tolerances.size(); ++k) {
        EXPECT_GT(found.by_tolerance[k].size(), 10U);
        for (const direct_vector& one : found.by_tolerance[k])
            for (std::size_t i = 0; i < sample.size(); ++i) {
                const double product = one.value.dot(sample[i]);
                const double off = std::fabs(product - std::round(product)) - hit_tolerances[k];
                if (std::fabs(off) < rounding) continue;
                EXPECT_EQ((one.hits >> i & 1U) != 0, off < 0.0) << i << " " << off;
            }
    }
}

// There are (2 pi / 3) T^3 |det Q| points in a ball, up to their sign.
TEST(ABall, HoldsAsManyPointsAsItsVolumeGivesAndNoneBeyondTheLimit)
{
    const auto sample = simulated(small_crystal(30, 2)).vectors;
    const auto anchors = drawn(sample, 2);
    ASSERT_TRUE(anchors);
    const auto [i, j, k] = *anchors;
    const double determinant = std::fabs(from_rows(sample[i], sample[j], sample[k]).determinant());
    ball within;
    within.radius = 25.0;
    const double expected =
        2.0 / 3.0 * std::numbers::pi * std::pow(within.radius, 3.0) * determinant;
    const direct_vectors found = enumerate_direct_vectors(sample, *anchors, within);
    EXPECT_EQ(found.points, static_cast<std::size_t>(expected));
    within.most = expected - 1.0;
    const direct_vectors none = enumerate_direct_vectors(sample, *anchors, within);
    EXPECT_EQ(none.points, 0U);
    EXPECT_TRUE(none.by_tolerance[0].empty() && none.by_tolerance[1].empty());
}

TEST(DirectVectors, ShorterThanTheShortestAxisAreLeftOut)
{
    const simulated_crystal made = simulated(small_crystal(30, 4));
    const auto anchors = drawn(made.vectors, 4);
    ASSERT_TRUE(anchors);
    ball within;
    within.radius = 20.0;
    within.shortest = 5.5; // longer than a
    for (const auto& vectors :
         enumerate_direct_vectors(made.vectors, *anchors, within).by_tolerance) {
        EXPECT_FALSE(vectors.empty());
        for (const direct_vector& one : vectors) EXPECT_GE(one.length, within.shortest);
    }
}

// More than a thousand vectors of the plane of a and b are shorter than c, and take every reflection.
TEST(DirectVectors, OfAShortPlaneLeavePlacesToOthers)
{
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        crystal_request asked;
        asked.cell = {4.0, 5.0, 80.0, 90.0, 90.0, 90.0};
        asked.reflections = 40;
        asked.noise = 0.005;
        asked.seed = seed;
        const simulated_crystal made = simulated(asked);
        const auto anchors = drawn(made.vectors, seed);
        ASSERT_TRUE(anchors);
        ball within;
        within.radius = 85.0;
        const vector3 along_c = row_of(made.basis.inverse().transpose(), 2); // c*
        const auto found = enumerate_direct_vectors(made.vectors, *anchors, within);
        for (const auto& vectors : found.by_tolerance) {
            const auto in_plane =
                std::count_if(vectors.begin(), vectors.end(), [&](const direct_vector& one) {
                    return std::fabs(one.value.dot(along_c)) < 0.5;
                });
            EXPECT_LE(in_plane, 12) << seed; // the limit of those in the plane of the two best
            EXPECT_GT(static_cast<std::ptrdiff_t>(vectors.size()), in_plane) << seed;
        }
        EXPECT_TRUE(contains(found.by_tolerance[1], row_of(made.basis, 2), 2.5)
                    || contains(found.by_tolerance[0], row_of(made.basis, 2), 2.5))
            << seed;
    }
}

TEST(Anchors, AreBestAtRightAnglesAndLong)
{
    const vector3 a(1, 0, 0);
    const vector3 b(0, 1, 0);
    const vector3 c(0, 0, 1);
    EXPECT_NEAR(anchor_quality({a, b, c}, 1.0), 0.75, 1e-15); // longer than this is no better
    EXPECT_NEAR(anchor_quality({a * 0.5, b * 0.5, c * 0.5}, 1.0), 0.5, 1e-15);
    const vector3 tilted = vector3(0.6, 0.0, 0.8);
    EXPECT_NEAR(anchor_quality({a, b, tilted}, 1.0), 0.8 * 0.75, 1e-15);
}

TEST(Anchors, ThatAreFlatAreRefused)
{
    const vector3 a(1, 0, 0);
    const vector3 b(0, 1, 0);
    EXPECT_EQ(anchor_quality({a, b, vector3(1, 1, 0)}, 1.0), 0.0);
    EXPECT_EQ(anchor_quality({a, b, vector3(0.99, 0, 0.14)}, 1.0), 0.0); // below 0.15
    EXPECT_GT(anchor_quality({a, b, vector3(0.98, 0, 0.16)}, 1.0), 0.0);
    EXPECT_EQ(anchor_quality({a, b, vector3(0, 0, 0)}, 1.0), 0.0);
    const std::vector<vector3> flat = {a, b, a + b, a - b, 2.0 * a + b};
    EXPECT_FALSE(drawn(flat, 1));
    EXPECT_FALSE(drawn({a, b}, 1));
}

TEST(Anchors, AreDrawnFromAmongTheGivenPlacesEachOnce)
{
    const auto sample = simulated(small_crystal(30, 6)).vectors;
    const std::vector<std::size_t> among = {2, 3, 5, 7, 11, 13, 17, 19};
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        random_numbers random(seed);
        const auto anchors = draw_anchors(sample, among, longest_of(sample), 6, random);
        if (!anchors) continue;
        const auto [i, j, k] = *anchors;
        EXPECT_TRUE(i != j && j != k && i != k);
        for (const std::size_t place : *anchors)
            EXPECT_TRUE(std::find(among.begin(), among.end(), place) != among.end());
    }
}

} // namespace

} // namespace torvik::solver
