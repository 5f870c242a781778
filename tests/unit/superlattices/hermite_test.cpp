#include "superlattices/hermite.h"

#include "support/fresh.h"
#include "support/matrices.h"

#include <cmath>
#include <set>
#include <sstream>
#include <string>

namespace torvik {

namespace {

// The tables are built for every test.
class HermiteTables : public fresh {
protected:
    HermiteTables()
    {
        getlowindexsuperlattices();
    }
};

class AlternativeBases : public HermiteTables {};

int counter(int n)
{
    return matricesforalternativebases.icounterofhnf(n);
}

// Gives entry k of table n.
matrix3 entry(int n, int k)
{
    return superlatticetable(n)[k - 1];
}

// The number of sublattices of index 1..16 of a three-dimensional lattice.
constexpr int sublattices[] = {1,   7,   13,  35,  31,  91,  57,  155,
                               130, 217, 133, 455, 183, 399, 403, 651};

// The ordered factorizations d1,d2,d3 of 1..16 in the order of the tables.
const char* const diagonals[] = {
    "1,1,1",
    "1,1,2 1,2,1 2,1,1",
    "1,1,3 1,3,1 3,1,1",
    "1,1,4 1,4,1 4,1,1 1,2,2 2,1,2 2,2,1",
    "1,1,5 1,5,1 5,1,1",
    "1,1,6 1,6,1 6,1,1 1,2,3 2,1,3 1,3,2 2,3,1 3,1,2 3,2,1",
    "1,1,7 1,7,1 7,1,1",
    "1,1,8 1,8,1 8,1,1 1,2,4 2,1,4 1,4,2 2,4,1 4,1,2 4,2,1 2,2,2",
    "1,1,9 1,9,1 9,1,1 1,3,3 3,1,3 3,3,1",
    "1,1,10 1,10,1 10,1,1 1,2,5 2,1,5 1,5,2 2,5,1 5,1,2 5,2,1",
    "1,1,11 1,11,1 11,1,1",
    "1,1,12 1,12,1 12,1,1 1,2,6 2,1,6 1,6,2 2,6,1 6,1,2 6,2,1 1,3,4 3,1,4 1,4,3 3,4,1 4,1,3 4,3,1 "
    "2,2,3 2,3,2 3,2,2",
    "1,1,13 1,13,1 13,1,1",
    "1,1,14 1,14,1 14,1,1 1,2,7 2,1,7 1,7,2 2,7,1 7,1,2 7,2,1",
    "1,1,15 1,15,1 15,1,1 1,3,5 3,1,5 1,5,3 3,5,1 5,1,3 5,3,1",
    "1,1,16 1,16,1 16,1,1 1,2,8 2,1,8 1,8,2 2,8,1 8,1,2 8,2,1 1,4,4 4,1,4 4,4,1 4,2,2 2,4,2 2,2,4",
};

TEST_F(HermiteTables, CountAsManyMatricesAsThereAreSublattices)
{
    for (int n = 1; n <= 16; ++n) EXPECT_EQ(counter(n), sublattices[n - 1]) << n;
}

TEST_F(HermiteTables, OfIndexOneHoldTheIdentityAlone)
{
    EXPECT_EQ(counter(1), 1);
    EXPECT_EQ(difference(entry(1, 1), diagonal(1.0, 1.0, 1.0)), 0.0);
}

TEST_F(HermiteTables, OfIndexTwoHoldSevenInversesInOrder)
{
    // By hand: the diagonals (1,1,2), (1,2,1) with r = 0, 1, (2,1,1) with q = 0, 1 inside p = 0, 1.
    const matrix3 expected[] = {
        {{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 0.5}}},
        {{{1.0, 0.0, 0.0}, {0.0, 0.5, 0.0}, {0.0, 0.0, 1.0}}},
        {{{1.0, 0.0, 0.0}, {0.0, 0.5, -0.5}, {0.0, 0.0, 1.0}}},
        {{{0.5, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}},
        {{{0.5, 0.0, -0.5}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}},
        {{{0.5, -0.5, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}},
        {{{0.5, -0.5, -0.5}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}},
    };
    for (int k = 1; k <= 7; ++k) EXPECT_EQ(difference(entry(2, k), expected[k - 1]), 0.0) << k;
}

TEST_F(HermiteTables, OfIndexTwoAddEachHalfVectorOnce)
{
    // Each lattice is that of the integers with one half-vector (e, f, g)/2: the rows of S that are
    // not whole all differ from it by whole vectors.
    std::set<std::string> halves;
    for (int k = 1; k <= 7; ++k) {
        const matrix3 S = entry(2, k);
        std::set<std::string> fractions;
        for (int i = 1; i <= 3; ++i) {
            std::string fraction;
            for (int j = 1; j <= 3; ++j) {
                const double part = S(i, j) - std::floor(S(i, j));
                ASSERT_TRUE(part == 0.0 || part == 0.5);
                fraction += part == 0.5 ? '1' : '0';
            }
            if (fraction != "000") fractions.insert(fraction);
        }
        ASSERT_EQ(fractions.size(), 1U) << k;
        halves.insert(*fractions.begin());
        EXPECT_EQ(std::fabs(deter(S)), 0.5) << k;
    }
    EXPECT_EQ(halves, (std::set<std::string>{"001", "010", "011", "100", "101", "110", "111"}));
}

TEST_F(HermiteTables, BeginWithTheThirdVectorDivided)
{
    for (int n = 1; n <= 16; ++n)
        EXPECT_EQ(difference(entry(n, 1), diagonal(1.0, 1.0, 1.0 / n)), 0.0) << n;
}

TEST_F(HermiteTables, OfIndexSixteenEndWithTheLastOffDiagonalsOfTheLastDiagonal)
{
    // The inverse of [[2, 1, 1], [0, 2, 1], [0, 0, 4]], by hand: 1/2, -1/4, (1 - 2)/16; 1/2, -1/8;
    // 1/4.
    EXPECT_EQ(counter(16), 651);
    EXPECT_EQ(
        difference(entry(16, 651), {{{0.5, -0.25, -0.0625}, {0.0, 0.5, -0.125}, {0.0, 0.0, 0.25}}}),
        0.0);
}

// Gives the inverse of [[d1, p, q], [0, d2, r], [0, 0, d3]], each element one quotient of integers.
matrix3 inverseofhermite(int d1, int d2, int d3, int p, int q, int r)
{
    const double n = d1 * d2 * d3;
    return {{{d2 * d3 / n, -p * d3 / n, (p * r - q * d2) / n},
             {0.0, d1 * d3 / n, -d1 * r / n},
             {0.0, 0.0, d1 * d2 / n}}};
}

TEST_F(HermiteTables, FollowTheOrderOfFactorizationsWithTheLastEntryRunningFastest)
{
    for (int n = 1; n <= 16; ++n) {
        std::istringstream list(diagonals[n - 1]);
        int k = 0;
        int d1 = 0;
        int d2 = 0;
        int d3 = 0;
        for (char comma = ' '; list >> d1 >> comma >> d2 >> comma >> d3;) {
            ASSERT_EQ(d1 * d2 * d3, n);
            for (int p = 0; p < d1; ++p)
                for (int q = 0; q < d1; ++q)
                    for (int r = 0; r < d2; ++r) {
                        ++k;
                        ASSERT_LE(k, counter(n));
                        ASSERT_EQ(difference(entry(n, k), inverseofhermite(d1, d2, d3, p, q, r)),
                                  0.0)
                            << "matrix " << k << " of determinant " << n;
                    }
        }
        EXPECT_EQ(k, counter(n)) << n;
    }
}

TEST_F(HermiteTables, AreTheSameAfterASecondBuild)
{
    const matrix3 last = entry(16, 651);
    getlowindexsuperlattices();
    for (int n = 1; n <= 16; ++n) EXPECT_EQ(counter(n), sublattices[n - 1]) << n;
    EXPECT_EQ(bitsof(entry(16, 651)), bitsof(last));
    EXPECT_EQ(difference(entry(12, 1), diagonal(1.0, 1.0, 1.0 / 12.0)), 0.0);
}

TEST_F(HermiteTables, GrowByTheMatricesOfOneDiagonal)
{
    matricesforalternativebases = {};
    generatehermitenormalforms(12, 2, 3, 2);
    EXPECT_EQ(counter(12), 12); // 2^2 * 3
    generatehermitenormalforms(12, 1, 1, 12);
    EXPECT_EQ(counter(12), 13);
    EXPECT_EQ(difference(entry(12, 1), diagonal(0.5, 1.0 / 3.0, 0.5)), 0.0);
    EXPECT_EQ(difference(entry(12, 12), inverseofhermite(2, 3, 2, 1, 1, 2)), 0.0);
    EXPECT_EQ(difference(entry(12, 13), diagonal(1.0, 1.0, 1.0 / 12.0)), 0.0);
    EXPECT_EQ(counter(11), 0);
}

const matrix3 skew = {{{0.11, 0.02, -0.03}, {0.01, 0.13, 0.04}, {-0.02, 0.05, 0.17}}};

TEST_F(AlternativeBases, OfIndexOneAreTheBasisItself)
{
    alternativebases bases;
    int count = 0;
    const matrix3 M = {{{0.1, -0.0, 0.0}, {0.0, 0.2, -0.0}, {-0.0, 0.1, 0.3}}};
    getalternativerlbases(1, M, count, bases);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(bitsof(bases(1)), bitsof(M)); // copied: a product would lose the signs of the zeros
}

TEST_F(AlternativeBases, OfIndexTwoOfTheUnitVectorsAreSeven)
{
    alternativebases bases;
    int count = 0;
    getalternativerlbases(2, diagonal(1.0, 1.0, 1.0), count, bases);
    EXPECT_EQ(count, 7);
    EXPECT_EQ(difference(bases(1), diagonal(1.0, 1.0, 0.5)), 0.0);
    for (int k = 1; k <= 7; ++k) EXPECT_EQ(difference(bases(k), entry(2, k)), 0.0) << k;
}

TEST_F(AlternativeBases, OfIndexSixteenFillTheTable)
{
    alternativebases bases;
    for (int k = 1; k <= maxalternativebases; ++k) bases(k) = diagonal(-7.0, -7.0, -7.0);
    int count = 0;
    getalternativerlbases(16, skew, count, bases);
    EXPECT_EQ(count, 651);
    for (int k = 1; k <= 651; ++k)
        ASSERT_NEAR(std::fabs(deter(bases(k))), deter(skew) / 16.0, 1e-16) << k;
}

TEST_F(AlternativeBases, LeaveTheLaterEntriesAsTheyWere)
{
    alternativebases bases;
    for (int k = 1; k <= maxalternativebases; ++k) bases(k) = diagonal(-7.0, -7.0, -7.0);
    int count = 0;
    getalternativerlbases(3, skew, count, bases);
    EXPECT_EQ(count, 13);
    EXPECT_EQ(bases(14)(1, 1), -7.0);
    EXPECT_EQ(bases(651)(3, 3), -7.0);
    EXPECT_NE(bases(13)(1, 1), -7.0);
}

TEST_F(AlternativeBases, AreTheTabulatedMatricesTimesTheBasisInTableOrder)
{
    // Row i of the product is the sum over j of S(i, j) times row j of the basis, in order.
    alternativebases bases;
    for (int n = 2; n <= 16; ++n) {
        int count = 0;
        getalternativerlbases(n, skew, count, bases);
        ASSERT_EQ(count, sublattices[n - 1]);
        for (int k = 1; k <= count; ++k) {
            const matrix3 S = entry(n, k);
            matrix3 expected;
            for (int i = 1; i <= 3; ++i)
                for (int j = 1; j <= 3; ++j) {
                    double sum = S(i, 1) * skew(1, j);
                    sum = sum + S(i, 2) * skew(2, j);
                    sum = sum + S(i, 3) * skew(3, j);
                    expected(i, j) = sum;
                }
            ASSERT_EQ(bitsof(bases(k)), bitsof(expected)) << n << ' ' << k;
        }
    }
}

TEST_F(AlternativeBases, ContainTheLatticeThatTheyComeFrom)
{
    // M = T B with a whole matrix T of determinant n.
    alternativebases bases;
    int count = 0;
    getalternativerlbases(6, skew, count, bases);
    for (int k = 1; k <= count; ++k) {
        matrix3 inverse = {};
        int status = failed;
        invmat(bases(k), inverse, 1e-9, status);
        ASSERT_EQ(status, done);
        const matrix3 T = matrixproduct(skew, inverse);
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) ASSERT_NEAR(T(i, j), std::round(T(i, j)), 1e-12) << k;
        ASSERT_NEAR(deter(T), 6.0, 1e-12) << k;
    }
}

} // namespace

} // namespace torvik
