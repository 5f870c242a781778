#include "solver/evidence/binomial.h"

#include <gtest/gtest.h>

namespace torvik::solver {

namespace {

// By hand: 3/8 + 1/8, and 0.1^3.
TEST(BinomialTails, AreTheProbabilitiesOfAtLeastSoManySuccesses)
{
    EXPECT_NEAR(binomial_tail(2, 3, 0.5), 0.5, 1e-12);
    EXPECT_NEAR(binomial_tail(3, 3, 0.1), 0.001, 1e-12);
    EXPECT_EQ(binomial_tail(0, 3, 0.1), 1.0);
    EXPECT_EQ(binomial_tail(4, 3, 0.1), 0.0);
}

} // namespace

} // namespace torvik::solver
