#include "numeric/kernel.h"

#include "numeric/constants.h"
#include "support/fresh.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace torvik {

namespace {

class Kernel : public fresh {};

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr matrix3 identity = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};

// Half of the distance from 1 to the next double: 1 + halfulp is a tie that goes to 1.
constexpr double halfulp = 0x1p-53;
constexpr double afterone = 1.0 + 0x1p-52;

matrix3 diagonal(double x, double y, double z)
{
    return {{{x, 0, 0}, {0, y, 0}, {0, 0, z}}};
}

void expectequal(const matrix3& a, const matrix3& b)
{
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) EXPECT_EQ(a(i, j), b(i, j)) << "element " << i << ", " << j;
}

TEST_F(Kernel, TheLengthOfThreeFourZeroIsFive)
{
    EXPECT_EQ(vectormagnitude({{3.0, 4.0, 0.0}}), 5.0);
    EXPECT_EQ(vectormagnitude({{0.0, -3.0, -4.0}}), 5.0);
    EXPECT_EQ(vectormagnitude({{2.0, 3.0, 6.0}}), 7.0); // 4 + 9 + 36 = 49
    EXPECT_EQ(vectormagnitude({{0.0, 0.0, 0.0}}), 0.0);
}

// The squares are 1 and twice 2.25/4 = 0.5625 of the step behind 1. Added one after the other to 1,
// each rounds up to a whole step, and the root of 1 + 2 steps is 1 + 1 step. Added to each other
// first they are 1.125 steps, and the root of 1 + 1 step is 1.
TEST_F(Kernel, TheLengthSumsItsSquaresInComponentOrder)
{
    const double small = 1.5 * 0x1p-27;
    EXPECT_EQ(vectormagnitude({{1.0, small, small}}), afterone);
    EXPECT_EQ(vectormagnitude({{small, small, 1.0}}), 1.0);
}

// 1 + halfulp is 1, twice; halfulp + halfulp + 1 is the double after 1.
TEST_F(Kernel, ProductsAreSummedInComponentOrder)
{
    const vector3 ones = {{1.0, 1.0, 1.0}};
    const vector3 largefirst = {{1.0, halfulp, halfulp}};
    const vector3 largelast = {{halfulp, halfulp, 1.0}};
    EXPECT_EQ(dotproduct(largefirst, ones), 1.0);
    EXPECT_EQ(dotproduct(largelast, ones), afterone);

    const matrix3 rows = rowsmatrix(largefirst, largelast, ones);
    const vector3 x = transformed(rows, ones);
    EXPECT_EQ(x(1), 1.0);
    EXPECT_EQ(x(2), afterone);
    EXPECT_EQ(x(3), 3.0);

    const matrix3 c = matrixproduct(rows, rowsmatrix(ones, ones, ones));
    for (int j = 1; j <= 3; ++j) {
        EXPECT_EQ(c(1, j), 1.0);
        EXPECT_EQ(c(2, j), afterone);
        EXPECT_EQ(c(3, j), 3.0);
    }
}

TEST_F(Kernel, TheDotProductOfKnownVectors)
{
    EXPECT_EQ(dotproduct({{1, 2, 3}}, {{4, -5, 6}}), 12.0); // 4 - 10 + 18
}

TEST_F(Kernel, DeterminantsByHand)
{
    EXPECT_EQ(deter(identity), 1.0);
    // 1 (1 0 - 4 6) + 2 (4 5 - 0 0) + 3 (0 6 - 1 5) = -24 + 40 - 15
    EXPECT_EQ(deter({{{1, 2, 3}, {0, 1, 4}, {5, 6, 0}}}), 1.0);
    // Rows exchanged: the sign changes.
    EXPECT_EQ(deter({{{0, 1, 4}, {1, 2, 3}, {5, 6, 0}}}), -1.0);
    // 2 (2 5 - 3 4) + (-1) (3 6 - 1 5) + 7 (1 4 - 2 6) = -4 - 13 - 56
    EXPECT_EQ(deter({{{2, -1, 7}, {1, 2, 3}, {6, 4, 5}}}), -73.0);
    // The third row is the sum of the others.
    EXPECT_EQ(deter({{{1, 2, 3}, {4, 5, 6}, {5, 7, 9}}}), 0.0);
}

// The second and third row have the cross product (1, 1, 1), so the terms are those of the first
// row; its exact sum 1 + 2 halfulp is a double in every case, but is met only from the small end.
TEST_F(Kernel, TheDeterminantIsExpandedAlongTheFirstRowInOrder)
{
    const vector3 second = {{1, -1, 0}};
    const vector3 third = {{0, 1, -1}};
    EXPECT_EQ(deter(rowsmatrix({{1.0, halfulp, halfulp}}, second, third)), 1.0);
    EXPECT_EQ(deter(rowsmatrix({{halfulp, 1.0, halfulp}}, second, third)), 1.0);
    EXPECT_EQ(deter(rowsmatrix({{halfulp, halfulp, 1.0}}, second, third)), afterone);
}

TEST_F(Kernel, TheDeterminantDoesNotRoundLessThanPlainArithmetic)
{
    // (1 + e)(1 - e) = 1 - e e rounds to 1 for e = 2^-27, so the difference to 1 1 is zero; a fused
    // multiply-add would keep e e.
    const double e = 0x1p-27;
    EXPECT_EQ(deter({{{1, 0, 0}, {0, 1 + e, 1}, {0, 1, 1 - e}}}), 0.0);
}

TEST_F(Kernel, TheInverseOfTheIdentityIsTheIdentity)
{
    matrix3 inverse = {};
    int status = failed;
    invmat(identity, inverse, machineepsilon, status);
    EXPECT_EQ(status, done);
    expectequal(inverse, identity);
}

TEST_F(Kernel, TheInverseByHand)
{
    // Each cofactor of the transposed matrix, by hand; the determinant is 1.
    matrix3 inverse = {};
    int status = failed;
    invmat({{{1, 2, 3}, {0, 1, 4}, {5, 6, 0}}}, inverse, machineepsilon, status);
    EXPECT_EQ(status, done);
    expectequal(inverse, {{{-24, 18, 5}, {20, -15, -4}, {-5, 4, 1}}});
}

TEST_F(Kernel, AMatrixAndItsInverseGiveTheIdentity)
{
    std::mt19937 random(31);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    for (int k = 0; k < 1000; ++k) {
        matrix3 a;
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) a(i, j) = uniform(random);
        matrix3 inverse = {};
        int status = failed;
        invmat(a, inverse, 0.1, status);
        if (std::fabs(deter(a)) < 0.1) {
            ASSERT_EQ(status, failed);
            continue;
        }
        ASSERT_EQ(status, done);
        // Elements of the inverse are at most 2/0.1; a handful of roundings each.
        const matrix3 c = matrixproduct(a, inverse);
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) ASSERT_NEAR(c(i, j), identity(i, j), 1e-13);
    }
}

// 49 times the double next to 1/49 is the double before 1: a product with the reciprocal would
// show here.
TEST_F(Kernel, EachCofactorIsDividedByTheDeterminant)
{
    const double reciprocal = 1.0 / 49.0;
    ASSERT_NE(49.0 * reciprocal, 1.0);
    matrix3 inverse = {};
    int status = failed;
    for (const matrix3& a : {diagonal(49, 1, 1), diagonal(1, 49, 1), diagonal(1, 1, 49)}) {
        invmat(a, inverse, machineepsilon, status);
        EXPECT_EQ(status, done);
        for (int i = 1; i <= 3; ++i) EXPECT_EQ(inverse(i, i), a(i, i) == 1.0 ? 1.0 : reciprocal);
    }
}

// The transposed cofactors by hand; the determinant is 0 - 5 (20 - 0) + 5 (-10 - 12) = -210. For
// none of the nine does a product with the reciprocal round to the quotient.
TEST_F(Kernel, NoElementIsAProductWithTheReciprocal)
{
    const matrix3 a = {{{0, -5, 5}, {-5, 3, 5}, {4, 2, 0}}};
    const matrix3 cofactors = {{{-10, 10, -40}, {20, -20, -25}, {-22, -20, -25}}};
    matrix3 inverse = {};
    int status = failed;
    invmat(a, inverse, machineepsilon, status);
    EXPECT_EQ(status, done);
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) {
            ASSERT_NE(cofactors(i, j) * (1.0 / -210.0), cofactors(i, j) / -210.0);
            EXPECT_EQ(inverse(i, j), cofactors(i, j) / -210.0);
        }
}

TEST_F(Kernel, ADeterminantEqualToTheThresholdIsInverted)
{
    matrix3 inverse = {};
    int status = failed;
    invmat(diagonal(2.0, 1.0, 0.25), inverse, 0.5, status);
    EXPECT_EQ(status, done);
    expectequal(inverse, diagonal(0.5, 1.0, 4.0));
    status = failed;
    invmat(diagonal(-2.0, 1.0, 0.25), inverse, 0.5, status);
    EXPECT_EQ(status, done);
    expectequal(inverse, diagonal(-0.5, 1.0, 4.0));
    invmat(diagonal(2.0, 1.0, 0.25), inverse, std::nextafter(0.5, 1.0), status);
    EXPECT_EQ(status, failed);
    invmat(diagonal(-2.0, 1.0, 0.25), inverse, std::nextafter(0.5, 1.0), status);
    EXPECT_EQ(status, failed);
}

TEST_F(Kernel, ASingularMatrixLeavesTheOutputAsItWas)
{
    const matrix3 before = {{{1.5, -2, 3}, {4, 5, -6.25}, {7, 8, 9}}};
    const matrix3 singular = {{{1, 2, 3}, {4, 5, 6}, {5, 7, 9}}};
    for (const double threshold : {machineepsilon, hundredtimestiny, 0.5}) {
        matrix3 inverse = before;
        int status = done;
        invmat(singular, inverse, threshold, status);
        EXPECT_EQ(status, failed);
        expectequal(inverse, before);
    }
}

TEST_F(Kernel, AMatrixMayBeInvertedInPlace)
{
    matrix3 a = {{{1, 2, 3}, {0, 1, 4}, {5, 6, 0}}};
    int status = failed;
    invmat(a, a, machineepsilon, status);
    EXPECT_EQ(status, done);
    expectequal(a, {{{-24, 18, 5}, {20, -15, -4}, {-5, 4, 1}}});
}

TEST_F(Kernel, ANotANumberDeterminantPassesAndGivesNotANumberElements)
{
    matrix3 inverse = identity;
    int status = failed;
    invmat({{{nan, 0, 0}, {0, 1, 0}, {0, 0, 1}}}, inverse, 0.5, status);
    EXPECT_EQ(status, done);
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) EXPECT_TRUE(std::isnan(inverse(i, j)));
}

TEST_F(Kernel, ANotANumberGoesThroughLengthAndDeterminant)
{
    for (int k = 1; k <= 3; ++k) {
        vector3 v = {{1, 2, 3}};
        v(k) = nan;
        EXPECT_TRUE(std::isnan(vectormagnitude(v)));
        for (int i = 1; i <= 3; ++i) {
            matrix3 a = identity;
            a(i, k) = nan;
            EXPECT_TRUE(std::isnan(deter(a)));
        }
    }
}

TEST_F(Kernel, ProductsOfMatricesByHand)
{
    const matrix3 a = {{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}};
    const matrix3 b = {{{1, 0, 2}, {0, 1, 0}, {-1, 0, 1}}};
    expectequal(matrixproduct(a, b), {{{-2, 2, 5}, {-2, 5, 14}, {-2, 8, 23}}});
    expectequal(matrixproduct(a, identity), a);
    expectequal(matrixproduct(identity, a), a);
}

TEST_F(Kernel, AVectorIsTransformedByTheRowsOfTheMatrix)
{
    const vector3 x = transformed({{{1, 2, 3}, {4, 5, 6}, {7, 8, 10}}}, {{1, -1, 2}});
    EXPECT_EQ(x(1), 5.0);  // 1 - 2 + 6
    EXPECT_EQ(x(2), 11.0); // 4 - 5 + 12
    EXPECT_EQ(x(3), 19.0); // 7 - 8 + 20
}

TEST_F(Kernel, AVectorIsTransformedFromTheOtherSideByTheColumnsOfTheMatrix)
{
    const vector3 x = indicesunder({{{1, 2, 3}, {4, 5, 6}, {7, 8, 10}}}, {{1, -1, 2}});
    EXPECT_EQ(x(1), 11.0); // 1 - 4 + 14
    EXPECT_EQ(x(2), 13.0); // 2 - 5 + 16
    EXPECT_EQ(x(3), 17.0); // 3 - 6 + 20
}

TEST_F(Kernel, ATransposedMatrixHasItsRowsInColumns)
{
    expectequal(transposed({{{1, 2, 3}, {4, 5, 6}, {7, 8, 10}}}),
                {{{1, 4, 7}, {2, 5, 8}, {3, 6, 10}}});
}

TEST_F(Kernel, RowsGoIntoAMatrixAndComeBack)
{
    const matrix3 a = rowsmatrix({{1, 2, 3}}, {{4, 5, 6}}, {{7, 8, 9}});
    expectequal(a, {{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}});
    const vector3 second = rowof(a, 2);
    EXPECT_EQ(second(1), 4.0);
    EXPECT_EQ(second(2), 5.0);
    EXPECT_EQ(second(3), 6.0);
}

} // namespace

} // namespace torvik
