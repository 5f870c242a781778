#include "solver/numeric/random.h"

#include <gtest/gtest.h>

#include <array>

namespace torvik::solver {

namespace {

// The first outputs of splitmix64 for the seed 1234567, widely published as a check of implementations.
TEST(RandomNumbers, AreThoseOfSplitmix64)
{
    random_numbers random(1234567);
    for (const std::uint64_t expected :
         {6457827717110365317ULL, 3203168211198807973ULL, 9817491932198370423ULL,
          4593380528125082431ULL, 16408922859458223821ULL})
        EXPECT_EQ(random.bits(), expected);
}

TEST(RandomNumbers, BelowACountAreInRangeAndEvenlySpread)
{
    random_numbers random(7);
    for (const std::size_t count : {std::size_t{1}, std::size_t{2}, std::size_t{7},
                                    std::size_t{1000}, std::size_t{4294967296ULL}})
        for (int i = 0; i < 2000; ++i) EXPECT_LT(random.below(count), count);
    std::array<int, 7> drawn = {};
    for (int i = 0; i < 7000; ++i) ++drawn[random.below(7)];
    // The standard deviation of each is 29.
    for (const int times : drawn) EXPECT_NEAR(times, 1000, 150);
}

TEST(RandomNumbers, AreTheSameFromTheSameSeed)
{
    random_numbers one(3);
    random_numbers other(3);
    random_numbers another(4);
    int equal = 0;
    for (int i = 0; i < 100; ++i) {
        const std::uint64_t bits = one.bits();
        EXPECT_EQ(bits, other.bits());
        if (bits == another.bits()) ++equal;
    }
    EXPECT_EQ(equal, 0);
}

} // namespace

} // namespace torvik::solver
