#include "property/randomlattices.h"
#include "search/fitting.h"
#include "search/reduction.h"
#include "support/cases.h"
#include "support/fresh.h"
#include "support/matrices.h"

#include <sys/time.h>

#include <array>
#include <bit>
#include <limits>

namespace torvik {

namespace {

using reduction = void (*)(matrix3&);

constexpr reduction bothreductions[] = {buergerreduction, simplereduction};

double squareofrow(const matrix3& M, int i)
{
    return dotproduct(rowof(M, i), rowof(M, i));
}

// A random basis, skewed: as many steps of adding its vectors to each other.
matrix3 skewedbasis(randomnumbers& random, int steps)
{
    return matrixproduct(randomunimodular(random, steps), randombasis(random));
}

matrix3 dualof(const matrix3& M)
{
    matrix3 dual = {};
    int status = failed;
    getreciprocalbasis(M, dual, 1e-3, status);
    EXPECT_EQ(status, done);
    return dual;
}

class DualBasis : public fresh {};

TEST_F(DualBasis, OfTheDualBasisIsTheBasis)
{
    // The elements of the inverse are at most 40, so the condition is of the order of 100, and two
    // inversions lose four digits of sixteen at the worst.
    randomnumbers random(1);
    for (int n = cases(5000, 5000000); n > 0; --n) {
        const matrix3 M = randombasis(random);
        ASSERT_LT(difference(dualof(dualof(M)), M), 1e-11) << n << " cases to go";
    }
}

TEST_F(DualBasis, OfTheDualBasisIsTheBasisToTheBitForWholeUnimodularBases)
{
    // All products are whole numbers far below 2^53, and the determinant divides exactly.
    randomnumbers random(12);
    for (int n = cases(5000, 5000000); n > 0; --n) {
        const matrix3 U = randomunimodular(random, random.whole(0, 20));
        ASSERT_EQ(difference(dualof(dualof(U)), U), 0.0) << n << " cases to go";
    }
}

TEST_F(DualBasis, GoesTheOtherWayWhenVectorsAreCombined)
{
    // The dual of U M is U^-T times that of M, and U^-T is the dual of U. U stays small: a step
    // doubles its elements at most.
    randomnumbers random(13);
    for (int n = cases(5000, 5000000); n > 0; --n) {
        const matrix3 M = randombasis(random);
        const matrix3 U = randomunimodular(random, random.whole(0, 4));
        const matrix3 expected = matrixproduct(dualof(U), dualof(M));
        ASSERT_LT(difference(dualof(matrixproduct(U, M)), expected), 1e-8) << n << " cases to go";
    }
}

TEST_F(DualBasis, HasUnitProductsWithItsBasis)
{
    randomnumbers random(2);
    for (int n = cases(5000, 5000000); n > 0; --n) {
        const matrix3 M = randombasis(random);
        const matrix3 dual = dualof(M);
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j)
                ASSERT_NEAR(dotproduct(rowof(M, i), rowof(dual, j)), i == j ? 1.0 : 0.0, 1e-12);
        ASSERT_NEAR(deter(dual) * deter(M), 1.0, 1e-11);
    }
}

// Whole numbers this small make every step of a reduction exact, and so the proof that it keeps the
// lattice: also for flat bases, for equal lengths, and where a reduction never comes to rest and is
// ended by the guard.

using wholerow = std::array<long long, 3>;
using wholebasis = std::array<wholerow, 3>;

wholebasis wholenumbers(const matrix3& M)
{
    wholebasis W = {};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            W[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)] =
                static_cast<long long>(M(i + 1, j + 1));
            EXPECT_EQ(M(i + 1, j + 1), std::trunc(M(i + 1, j + 1)));
        }
    return W;
}

// Gives the one basis in Hermite normal form of the lattice that whole vectors span, flat or not:
// two bases span the same lattice if, and only if, these agree.
wholebasis hermiteform(wholebasis W)
{
    std::size_t rank = 0;
    const auto subtract = [](wholerow& from, const wholerow& row, long long times) {
        for (std::size_t j = 0; j < 3; ++j) from[j] -= times * row[j];
    };
    for (std::size_t j = 0; j < 3 && rank < 3; ++j) {
        for (std::size_t i = rank + 1; i < 3; ++i)
            while (W[i][j] != 0) { // Euclid
                subtract(W[rank], W[i], W[rank][j] / W[i][j]);
                std::swap(W[rank], W[i]);
            }
        if (W[rank][j] == 0) continue;
        if (W[rank][j] < 0)
            for (long long& element : W[rank]) element = -element;
        for (std::size_t i = 0; i < rank; ++i) {
            long long times = W[i][j] / W[rank][j];
            if (W[i][j] - times * W[rank][j] < 0) --times;
            subtract(W[i], W[rank], times);
        }
        ++rank;
    }
    return W;
}

matrix3 wholebasisupto(randomnumbers& random, int largest)
{
    matrix3 M = {};
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) M(i, j) = random.whole(-largest, largest);
    return M;
}

class Reductions : public fresh {};

TEST_F(Reductions, KeepTheLatticeOfWholeVectorsExactly)
{
    randomnumbers random(4);
    constexpr int sizes[] = {1, 3, 30, 300};
    for (int n = cases(5000, 500000); n > 0; --n) {
        matrix3 start = wholebasisupto(random, sizes[random.whole(0, 3)]);
        if (random.whole(0, 3) == 0) // in a plane
            for (int j = 1; j <= 3; ++j) start(3, j) = 2.0 * start(1, j) - 3.0 * start(2, j);
        const wholebasis lattice = hermiteform(wholenumbers(start));
        for (const reduction reduce : bothreductions) {
            matrix3 M = start;
            reduce(M);
            ASSERT_EQ(hermiteform(wholenumbers(M)), lattice) << n << " cases to go";
        }
    }
}

TEST_F(Reductions, KeepTheLattice)
{
    // What comes out is a unimodular matrix of whole numbers times what went in.
    randomnumbers random(3);
    for (int n = cases(5000, 1000000); n > 0; --n) {
        const matrix3 skewed = skewedbasis(random, random.whole(0, 12));
        for (const reduction reduce : bothreductions) {
            matrix3 M = skewed;
            reduce(M);
            ASSERT_TRUE(spansamelattice(M, skewed)) << n << " cases to go";
        }
    }
}

// Ends the test by a signal when it has taken too much processor time, long before the limit that
// holds for every test.
class processortime {
public:
    explicit processortime(int seconds)
    {
        const itimerval limit = {{0, 0}, {seconds, 0}};
        setitimer(ITIMER_VIRTUAL, &limit, nullptr);
    }
    ~processortime()
    {
        const itimerval none = {};
        setitimer(ITIMER_VIRTUAL, &none, nullptr);
    }
    processortime(const processortime&) = delete;
    processortime& operator=(const processortime&) = delete;
};

// Finite numbers of every size, some of them equal.
double anyfinite(randomnumbers& random)
{
    constexpr double largest = std::numeric_limits<double>::max();
    constexpr double some[] = {0.0,   1.0,   -1.0,    1e-300,     4.9406564584124654e-324,
                               1e150, 1e155, 1e300,   1e-160,     1.0 / 3.0,
                               1e16,  1e-16, largest, 1.0 + 1e-15};
    if (random.whole(0, 1) == 0) return some[random.whole(0, 13)];
    for (;;) {
        const double x = std::bit_cast<double>(random.bits());
        if (std::isfinite(x)) return x;
    }
}

TEST_F(Reductions, EndOnAnyFiniteInput)
{
    // Squares that overflow or vanish, flat bases, zero vectors, tiny beside huge: whatever comes
    // out, it comes. Most cases end at once; a hundred thousand passes, the most that one may take,
    // are some milliseconds.
    randomnumbers random(5);
    const int all = cases(1500, 50000);
    for (int n = 0; n < all; ++n) {
        const processortime limit(10);
        matrix3 start = {};
        const int kind = random.whole(0, 2);
        const double common = anyfinite(random);
        const double size = std::ldexp(1.0, random.whole(-900, 900));
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) {
                const double sign = random.whole(0, 3) == 0 ? -1.0 : 1.0;
                if (kind == 0) start(i, j) = anyfinite(random);
                if (kind == 1) start(i, j) = common * sign;
                if (kind == 2) start(i, j) = random.whole(-2, 2) * size;
            }
        for (const reduction reduce : bothreductions) {
            matrix3 M = start;
            reduce(M);
            // Sorted and reduced or not, no vector of a basis of moderate size is lost.
            if (kind == 2 && std::fabs(std::log2(size)) < 300.0) {
                ASSERT_EQ(std::fabs(deter(M)), std::fabs(deter(start))) << "case " << n;
            }
        }
    }
}

TEST_F(Reductions, LeaveTheVectorsInOrderOfLength)
{
    randomnumbers random(6);
    for (int n = cases(5000, 1000000); n > 0; --n) {
        const matrix3 start = skewedbasis(random, 8);
        for (const reduction reduce : bothreductions) {
            matrix3 M = start;
            reduce(M);
            // The cheaper reduction orders by lengths that it carries along, hence the tolerance.
            ASSERT_LE(squareofrow(M, 1), squareofrow(M, 2) * (1.0 + 1e-9)) << n << " cases to go";
            ASSERT_LE(squareofrow(M, 2), squareofrow(M, 3) * (1.0 + 1e-9)) << n << " cases to go";
        }
    }
}

TEST_F(Reductions, NeverLengthenABasis)
{
    randomnumbers random(7);
    const auto total = [](const matrix3& M) {
        return squareofrow(M, 1) + squareofrow(M, 2) + squareofrow(M, 3);
    };
    for (int n = cases(5000, 1000000); n > 0; --n) {
        const matrix3 start = skewedbasis(random, 8);
        for (const reduction reduce : bothreductions) {
            matrix3 M = start;
            reduce(M);
            ASSERT_LE(total(M), total(start) * (1.0 + 1e-12)) << n << " cases to go";
        }
    }
}

class ABuergerReducedBasis : public fresh {
protected:
    // Expects that c is the shortest vector out of the plane of a and b, b the shortest in that
    // plane beside the multiples of a, and a the shortest of all. Coefficients of -2..2 contain
    // every candidate: a reduced basis is beaten, if at all, by one with coefficients of -1..1.
    static void expectnoshorterneighbour(const matrix3& M, double tolerance)
    {
        for (int i = -2; i <= 2; ++i)
            for (int j = -2; j <= 2; ++j)
                for (int k = -2; k <= 2; ++k) {
                    if (i == 0 && j == 0 && k == 0) continue;
                    vector3 v = {};
                    for (int x = 1; x <= 3; ++x) v(x) = i * M(1, x) + j * M(2, x) + k * M(3, x);
                    const int rival = k != 0 ? 3 : j != 0 ? 2 : 1;
                    ASSERT_GE(dotproduct(v, v), squareofrow(M, rival) * (1.0 - tolerance))
                        << i << ' ' << j << ' ' << k;
                }
    }
};

TEST_F(ABuergerReducedBasis, HasNoShorterNeighbour)
{
    randomnumbers random(8);
    for (int n = cases(5000, 500000); n > 0; --n) {
        matrix3 M = skewedbasis(random, 10);
        buergerreduction(M);
        // The basis carries the rounding of its steps.
        ASSERT_NO_FATAL_FAILURE(expectnoshorterneighbour(M, 1e-9)) << n << " cases to go";
    }
}

TEST_F(ABuergerReducedBasis, OfWholeVectorsHasNoShorterNeighbourAtAll)
{
    // Many vectors of equal length, and exact.
    randomnumbers random(14);
    for (int n = cases(5000, 500000); n > 0; --n) {
        matrix3 M = wholebasisupto(random, random.whole(1, 9));
        if (deter(M) == 0.0) continue;
        buergerreduction(M);
        ASSERT_NO_FATAL_FAILURE(expectnoshorterneighbour(M, 0.0)) << n << " cases to go";
    }
}

TEST_F(ABuergerReducedBasis, IsLeftToTheBitByAnotherReduction)
{
    // Random vectors are never of equal length, so the order is settled; exchanges and signs are
    // exact, so the second reduction sees the very numbers on which the first one left.
    randomnumbers random(9);
    for (int n = cases(5000, 1000000); n > 0; --n) {
        matrix3 M = skewedbasis(random, 10);
        buergerreduction(M);
        const matrix3 once = M;
        buergerreduction(M);
        ASSERT_EQ(difference(M, once), 0.0) << n << " cases to go";
    }
}

TEST_F(ABuergerReducedBasis, HasMixedProductsOfOneSign)
{
    randomnumbers random(10);
    for (int n = cases(5000, 1000000); n > 0; --n) {
        matrix3 M = skewedbasis(random, 10);
        buergerreduction(M);
        const double ab = dotproduct(rowof(M, 1), rowof(M, 2));
        const double bc = dotproduct(rowof(M, 2), rowof(M, 3));
        const double ac = dotproduct(rowof(M, 1), rowof(M, 3));
        ASSERT_TRUE((ab > 0.0 && bc > 0.0 && ac > 0.0) || (ab <= 0.0 && bc <= 0.0 && ac <= 0.0))
            << n << " cases to go";
    }
}

} // namespace

} // namespace torvik
