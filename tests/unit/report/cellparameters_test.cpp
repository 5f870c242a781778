#include "report/cellparameters.h"

#include <gtest/gtest.h>

#include <cmath>

namespace torvik {

namespace {

TEST(CellParameters, OfAnOrthogonalBasisAreItsEdgesAndExactRightAngles)
{
    const auto [length, angle] = cellofbasis({{{3.0, 0.0, 0.0}, {0.0, 4.0, 0.0}, {0.0, 0.0, 5.0}}});
    EXPECT_EQ(length(1), 3.0);
    EXPECT_EQ(length(2), 4.0);
    EXPECT_EQ(length(3), 5.0);
    // acos(0) is the double nearest to pi/2, and 180/pi times it rounds to 90 exactly.
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(angle(i), 90.0) << i;
}

TEST(CellParameters, CallAlphaTheAngleOfBAndCAndBetaThatOfCAndAAndGammaThatOfAAndB)
{
    // a = (1,0,0), b = (1/2, sqrt(3)/2, 0), c = (0,1,1): gamma = 60 by the hexagonal net, beta = 90
    // as c.a = 0, and cos alpha = (sqrt(3)/2) / sqrt(2) = sqrt(6)/4, alpha = 52.238756 degrees.
    const auto [length, angle] =
        cellofbasis({{{1.0, 0.0, 0.0}, {0.5, std::sqrt(3.0) / 2.0, 0.0}, {0.0, 1.0, 1.0}}});
    EXPECT_NEAR(length(2), 1.0, 1e-15);
    EXPECT_NEAR(length(3), 1.4142135623730951, 1e-15);
    EXPECT_NEAR(angle(1), 52.238756092982, 1e-10);
    EXPECT_EQ(angle(2), 90.0);
    EXPECT_NEAR(angle(3), 60.0, 1e-13);
}

TEST(CellParameters, UseTheExactFactorForDegreesAndNotTheSinglePrecisionOne)
{
    // An angle of 180 degrees comes out as 180; the single-precision factor would give 179.99999.
    const auto cell = cellofbasis({{{1.0, 0.0, 0.0}, {-1.0, 0.0, 0.0}, {0.0, 0.0, 1.0}}});
    EXPECT_EQ(cell.angle(3), 180.0);
}

TEST(CellParameters, OfAVectorOfLengthZeroHaveNoAngles)
{
    const auto cell = cellofbasis({{{0.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}});
    EXPECT_EQ(cell.angle(1), 90.0);
    EXPECT_TRUE(std::isnan(cell.angle(2)));
    EXPECT_TRUE(std::isnan(cell.angle(3)));
}

} // namespace

} // namespace torvik
