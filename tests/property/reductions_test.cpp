#include "property/randomlattices.h"
#include "search/fitting.h"
#include "search/reduction.h"
#include "support/fresh.h"

#include <limits>

namespace torvik {

namespace {

using reduction = void (*)(matrix3&);

constexpr reduction bothreductions[] = {buergerreduction, simplereduction};

double squareofrow(const matrix3& M, int i)
{
    return dotproduct(rowof(M, i), rowof(M, i));
}

class DualBasis : public fresh {};

TEST_F(DualBasis, OfTheDualBasisIsTheBasis)
{
    // The elements of the inverse are at most 40, so the condition is of the order of 100, and two
    // inversions lose four digits of sixteen at the worst.
    randomnumbers random(1);
    for (int n = 0; n < 1000; ++n) {
        const matrix3 M = randombasis(random);
        matrix3 dual = {};
        matrix3 dualofdual = {};
        int status = failed;
        getreciprocalbasis(M, dual, 1e-3, status);
        ASSERT_EQ(status, done);
        getreciprocalbasis(dual, dualofdual, 1e-3, status);
        ASSERT_EQ(status, done);
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j)
                ASSERT_NEAR(dualofdual(i, j), M(i, j), 1e-11) << "case " << n;
    }
}

TEST_F(DualBasis, HasUnitProductsWithItsBasis)
{
    randomnumbers random(2);
    for (int n = 0; n < 1000; ++n) {
        const matrix3 M = randombasis(random);
        matrix3 dual = {};
        int status = failed;
        getreciprocalbasis(M, dual, 1e-3, status);
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j)
                ASSERT_NEAR(dotproduct(rowof(M, i), rowof(dual, j)), i == j ? 1.0 : 0.0, 1e-12);
        ASSERT_NEAR(deter(dual) * deter(M), 1.0, 1e-11);
    }
}

class Reductions : public fresh {};

TEST_F(Reductions, KeepTheLattice)
{
    randomnumbers random(3);
    for (int n = 0; n < 1000; ++n) {
        const matrix3 skewed =
            matrixproduct(randomunimodular(random, random.whole(0, 12)), randombasis(random));
        for (const reduction reduce : bothreductions) {
            matrix3 M = skewed;
            reduce(M);
            ASSERT_TRUE(spansamelattice(M, skewed)) << "case " << n;
        }
    }
}

TEST_F(Reductions, KeepTheVolumeOfAnIntegerBasisToTheBit)
{
    // Whole numbers this small make every step exact, also for flat bases of volume 0, for equal
    // lengths, and where a reduction never comes to rest and is ended by the guard.
    randomnumbers random(4);
    for (int n = 0; n < 1000; ++n) {
        matrix3 start = {};
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) start(i, j) = random.whole(-3, 3);
        for (const reduction reduce : bothreductions) {
            matrix3 M = start;
            reduce(M);
            ASSERT_EQ(std::fabs(deter(M)), std::fabs(deter(start))) << "case " << n;
            for (int i = 1; i <= 3; ++i)
                for (int j = 1; j <= 3; ++j) ASSERT_EQ(M(i, j), nint(M(i, j)));
        }
    }
}

TEST_F(Reductions, EndOnAnyFiniteInput)
{
    // Squares that overflow or vanish, flat bases, zero vectors, tiny beside huge: whatever comes
    // out, it comes. A reduction that looped for ever would stop this test at its time limit.
    randomnumbers random(5);
    const double magnitudes[] = {0.0,       1.0,
                                 1e-300,    4.9406564584124654e-324,
                                 1e-160,    1e150,
                                 1e155,     1e300,
                                 1.0 / 3.0, 1.0 + 1e-15,
                                 1e16,      1e-16,
                                 -1.0,      std::numeric_limits<double>::max()};
    for (int n = 0; n < 300; ++n) {
        matrix3 start = {};
        const bool wild = n % 2 == 0;
        const double common = magnitudes[random.whole(0, 13)];
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j)
                start(i, j) = (wild ? magnitudes[random.whole(0, 13)] : common)
                              * (random.whole(0, 3) == 0 ? -1.0 : 1.0);
        for (const reduction reduce : bothreductions) {
            matrix3 M = start;
            reduce(M);
            SUCCEED();
        }
    }
}

TEST_F(Reductions, LeaveTheVectorsInOrderOfLength)
{
    randomnumbers random(6);
    for (int n = 0; n < 1000; ++n) {
        const matrix3 start = matrixproduct(randomunimodular(random, 8), randombasis(random));
        for (const reduction reduce : bothreductions) {
            matrix3 M = start;
            reduce(M);
            // The cheaper reduction orders by lengths that it carries along, hence the tolerance.
            ASSERT_LE(squareofrow(M, 1), squareofrow(M, 2) * (1.0 + 1e-9)) << "case " << n;
            ASSERT_LE(squareofrow(M, 2), squareofrow(M, 3) * (1.0 + 1e-9)) << "case " << n;
        }
    }
}

TEST_F(Reductions, NeverLengthenABasis)
{
    randomnumbers random(7);
    const auto total = [](const matrix3& M) {
        return squareofrow(M, 1) + squareofrow(M, 2) + squareofrow(M, 3);
    };
    for (int n = 0; n < 1000; ++n) {
        const matrix3 start = matrixproduct(randomunimodular(random, 8), randombasis(random));
        for (const reduction reduce : bothreductions) {
            matrix3 M = start;
            reduce(M);
            ASSERT_LE(total(M), total(start) * (1.0 + 1e-12)) << "case " << n;
        }
    }
}

class ABuergerReducedBasis : public fresh {};

TEST_F(ABuergerReducedBasis, HasNoShorterNeighbour)
{
    // c is the shortest vector out of the plane of a and b, b the shortest in that plane beside the
    // multiples of a, and a the shortest of all. Coefficients of -2..2 contain every candidate: a
    // reduced basis is beaten, if at all, by one with coefficients of -1..1.
    randomnumbers random(8);
    for (int n = 0; n < 1000; ++n) {
        matrix3 M = matrixproduct(randomunimodular(random, 10), randombasis(random));
        buergerreduction(M);
        const double tolerance = 1.0 - 1e-9; // the basis carries the rounding of its steps
        for (int i = -2; i <= 2; ++i)
            for (int j = -2; j <= 2; ++j)
                for (int k = -2; k <= 2; ++k) {
                    if (i == 0 && j == 0 && k == 0) continue;
                    vector3 v = {};
                    for (int x = 1; x <= 3; ++x) v(x) = i * M(1, x) + j * M(2, x) + k * M(3, x);
                    const int rival = k != 0 ? 3 : j != 0 ? 2 : 1;
                    ASSERT_GE(dotproduct(v, v), squareofrow(M, rival) * tolerance)
                        << "case " << n << ": " << i << ' ' << j << ' ' << k;
                }
    }
}

TEST_F(ABuergerReducedBasis, IsLeftToTheBitByAnotherReduction)
{
    // Random vectors are never of equal length, so the order is settled; exchanges and signs are
    // exact, so the second reduction sees the very numbers on which the first one left.
    randomnumbers random(9);
    for (int n = 0; n < 1000; ++n) {
        matrix3 M = matrixproduct(randomunimodular(random, 10), randombasis(random));
        buergerreduction(M);
        const matrix3 once = M;
        buergerreduction(M);
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) ASSERT_EQ(M(i, j), once(i, j)) << "case " << n;
    }
}

TEST_F(ABuergerReducedBasis, HasMixedProductsOfOneSign)
{
    randomnumbers random(10);
    for (int n = 0; n < 1000; ++n) {
        matrix3 M = matrixproduct(randomunimodular(random, 10), randombasis(random));
        buergerreduction(M);
        const double ab = dotproduct(rowof(M, 1), rowof(M, 2));
        const double bc = dotproduct(rowof(M, 2), rowof(M, 3));
        const double ac = dotproduct(rowof(M, 1), rowof(M, 3));
        ASSERT_TRUE((ab > 0.0 && bc > 0.0 && ac > 0.0) || (ab <= 0.0 && bc <= 0.0 && ac <= 0.0))
            << "case " << n;
    }
}

} // namespace

} // namespace torvik
