#include "numeric/kernel.h"

#include "numeric/constants.h"

#include <gtest/gtest.h>

namespace torvik {

namespace {

TEST(Kernel, TheLengthOfThreeFourZeroIsFive)
{
    EXPECT_EQ(vectormagnitude({{3.0, 4.0, 0.0}}), 5.0);
}

} // namespace

} // namespace torvik
