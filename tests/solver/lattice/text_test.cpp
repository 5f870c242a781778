#include "solver/lattice/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace torvik::solver {

namespace {

TEST(FixedNumbers, HaveNoNegativeZero)
{
    EXPECT_EQ(fixed(-0.001, 2), "0.00");
    EXPECT_EQ(fixed(-0.005001, 2), "-0.01");
    EXPECT_EQ(fixed(1234.5, 1), "1234.5");
}

// 0.125 and 2.5 are exact in binary: ties go to the even digit. 1e300 needs all its digits.
TEST(FixedNumbers, AreRoundedExactly)
{
    EXPECT_EQ(fixed(0.125, 2), "0.12");
    EXPECT_EQ(fixed(2.5, 0), "2");
    EXPECT_EQ(fixed(3.5, 0), "4");
    EXPECT_EQ(fixed(1e300, 3).size(), 305U);
    EXPECT_EQ(fixed(std::numeric_limits<double>::infinity(), 3), "inf");
    EXPECT_EQ(fixed(-std::numeric_limits<double>::infinity(), 3), "-inf");
    EXPECT_EQ(fixed(std::nan(""), 3), "nan");
}

} // namespace

} // namespace torvik::solver
