#include "property/randomlattices.h"
#include "superlattices/hermite.h"
#include "support/cases.h"
#include "support/fresh.h"

namespace torvik {

namespace {

// Sixteen is the largest index, so elements of the products below are whole numbers over 16 at the
// finest: a deviation under 1e-9 is rounding, one of 1/16 is not.
constexpr double rounding = 1e-9;

class HermiteTables : public fresh {
protected:
    HermiteTables()
    {
        getlowindexsuperlattices();
    }

    static int countof(int n)
    {
        return matricesforalternativebases.icounterofhnf(n);
    }
};

TEST_F(HermiteTables, HoldAsManyMatricesAsThereAreSuperlattices)
{
    for (int n = 1; n <= 16; ++n) {
        int lattices = 0; // the sum of d1^2 d2 over all ordered factorizations
        for (int d1 = 1; d1 <= n; ++d1)
            for (int d2 = 1; d1 * d2 <= n; ++d2)
                if (n % (d1 * d2) == 0) lattices += d1 * d1 * d2;
        EXPECT_EQ(countof(n), lattices) << n;
    }
}

TEST_F(HermiteTables, HoldEachSuperlatticeOnlyOnce)
{
    // Two bases span one lattice if the one is a whole matrix times the other; their determinants
    // agree, so it is then unimodular.
    for (int n = 1; n <= 16; ++n) {
        const matrix3* S = superlatticetable(n);
        for (int k = 0; k < countof(n); ++k) {
            const matrix3 M = inverseof(S[k]);
            for (int l = k + 1; l < countof(n); ++l)
                ASSERT_GT(offwhole(matrixproduct(S[l], M)), rounding)
                    << "matrices " << k + 1 << " and " << l + 1 << " of determinant " << n;
        }
    }
}

TEST_F(HermiteTables, HoldOnlyLatticesOfTheRightIndex)
{
    for (int n = 1; n <= 16; ++n)
        for (int k = 0; k < countof(n); ++k) {
            const matrix3 M = inverseof(superlatticetable(n)[k]);
            ASSERT_LT(offwhole(M), rounding) << n << ' ' << k + 1;
            ASSERT_NEAR(deter(M), n, rounding) << n << ' ' << k + 1;
        }
}

TEST_F(HermiteTables, HoldEverySuperlatticeThatAnIntegerMatrixMakes)
{
    // The rows of the inverse of a whole matrix W of determinant +-n span a lattice that contains
    // the unit lattice with index n. It stands in the table exactly once.
    randomnumbers random(21);
    for (int matrices = cases(3000, 300000); matrices > 0;) {
        matrix3 W = {};
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) W(i, j) = random.whole(-4, 4);
        const int n = std::abs(nint(deter(W)));
        if (n < 1 || n > 16) continue;
        --matrices;
        int found = 0;
        for (int k = 0; k < countof(n); ++k)
            if (offwhole(matrixproduct(superlatticetable(n)[k], W)) < rounding) ++found;
        ASSERT_EQ(found, 1) << "determinant " << n;
    }
}

TEST_F(HermiteTables, ExpandABasisIntoLatticesThatContainIt)
{
    randomnumbers random(22);
    static alternativebases bases;
    for (int m = cases(50, 5000); m > 0; --m)
        for (int n = 1; n <= 16; ++n) {
            const matrix3 M = randombasis(random);
            int count = 0;
            getalternativerlbases(n, M, count, bases);
            ASSERT_EQ(count, countof(n));
            for (int k = 1; k <= count; ++k) {
                ASSERT_NEAR(deter(bases(k)) * n, deter(M), 1e-12);
                ASSERT_LT(offwhole(matrixproduct(M, inverseof(bases(k)))), rounding);
            }
        }
}

} // namespace

} // namespace torvik
