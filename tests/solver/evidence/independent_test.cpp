#include "solver/evidence/independent.h"

#include <gtest/gtest.h>

#include <vector>

namespace torvik::solver {

namespace {

using places = std::vector<std::size_t>;

const vector3 step(0.03, -0.05, 0.02);
const vector3 origin(0.2, 0.1, 0.4); // the row does not pass through zero

vector3 on_the_row(double n)
{
    return origin + step * n;
}

TEST(IndependentPlaces, LeaveOutThePointBetweenTwoOthers)
{
    EXPECT_EQ(independent_places({on_the_row(0), on_the_row(2), on_the_row(1)}, 1e-6),
              (places{0, 1}));
    EXPECT_EQ(independent_places({on_the_row(2), on_the_row(0), on_the_row(1)}, 1e-6),
              (places{0, 1}));
}

TEST(IndependentPlaces, LeaveOutThePointBeyondTwoOthersInBothDirections)
{
    EXPECT_EQ(independent_places({on_the_row(0), on_the_row(1), on_the_row(2)}, 1e-6),
              (places{0, 1}));
    EXPECT_EQ(independent_places({on_the_row(0), on_the_row(1), on_the_row(-1)}, 1e-6),
              (places{0, 1}));
}

TEST(IndependentPlaces, KeepWhatIsNotEquallySpaced)
{
    EXPECT_EQ(independent_places({on_the_row(0), on_the_row(1), on_the_row(3)}, 1e-6),
              (places{0, 1, 2}));
    EXPECT_EQ(
        independent_places({on_the_row(0), on_the_row(1), on_the_row(3), on_the_row(5)}, 1e-6),
        (places{0, 1, 2})); // 5 = 2 * 3 - 1
    EXPECT_EQ(independent_places({}, 1e-6), places{});
}

TEST(IndependentPlaces, TakeATolerance)
{
    const vector3 off(0.0, 0.0, 1e-3);
    const std::vector<vector3> row = {on_the_row(0), on_the_row(1), on_the_row(2) + off};
    EXPECT_EQ(independent_places(row, 0.9e-3), (places{0, 1, 2}));
    EXPECT_EQ(independent_places(row, 1.1e-3), (places{0, 1}));
}

TEST(IndependentPlaces, AreNotJudgedByPointsThatWereLeftOut)
{
    // The third is left out; by it and the second the fourth would be predicted: 2 * 2 - 1 = 3.
    const std::vector<vector3> row = {on_the_row(0), on_the_row(1), on_the_row(2), on_the_row(3)};
    EXPECT_EQ(independent_places(row, 1e-6), (places{0, 1, 3}));
}

} // namespace

} // namespace torvik::solver
