#include "search/fitting.h"

#include "driver/otherglobalvariables.h"
#include "numeric/constants.h"
#include "numeric/nint.h"
#include "support/fresh.h"
#include "support/matrices.h"

#include <random>

namespace torvik {

namespace {

class BasisQuality : public fresh {};
class DualBasis : public fresh {};
class LeastSquares : public fresh {};
class Refit : public fresh {};

const matrix3 identity = diagonal(1.0, 1.0, 1.0);

indexcounts countsof(const matrix3& D)
{
    indexcounts counts = {-1, -1};
    double quality = 0.0;
    basisquality(D, counts, quality);
    return counts;
}

TEST_F(BasisQuality, CountsAReflectionExactlyAtTheCriterionAsLoose)
{
    otherglobalvariables.themaincriterion = 0.125; // a binary fraction, so that 3.125 is exact
    setreflections({{{3.125, 0.0, 0.0}}});
    EXPECT_EQ(countsof(identity), (indexcounts{0, 1}));
}

TEST_F(BasisQuality, CountsAReflectionExactlyAtHalfTheCriterionAsStrictAndLoose)
{
    otherglobalvariables.themaincriterion = 0.125;
    setreflections({{{0.0, 3.0625, 0.0}}});
    EXPECT_EQ(countsof(identity), (indexcounts{1, 1}));
}

TEST_F(BasisQuality, DoesNotCountAReflectionJustBeyondALimit)
{
    otherglobalvariables.themaincriterion = 0.125;
    const double ulp = 4.440892098500626e-16; // of 3
    setreflections({{{3.125 + ulp, 0.0, 0.0}}, {{3.0625 + ulp, 0.0, 0.0}}});
    EXPECT_EQ(countsof(identity), (indexcounts{0, 1}));
}

TEST_F(BasisQuality, CountsNowhereAReflectionWithAnIndexBeyondTheLargest)
{
    setreflections({{{101.0, 0.0, 0.0}}, {{0.0, -101.0, 0.0}}, {{0.0, 0.0, 100.6}}});
    EXPECT_EQ(countsof(identity), (indexcounts{0, 0}));
}

TEST_F(BasisQuality, CountsAReflectionWhoseIndexIsTheLargestAllowed)
{
    setreflections({{{100.0, 0.0, 0.0}}, {{0.0, 0.0, -100.01}}});
    EXPECT_EQ(countsof(identity), (indexcounts{2, 2}));
    otherglobalvariables.maxallowedmillerindex = 99;
    EXPECT_EQ(countsof(identity), (indexcounts{0, 0}));
}

TEST_F(BasisQuality, WeighsTheStrictAndTheLooseCount)
{
    // Deviations 0, 0.05, 0.10 and 0.20 against limits of 0.06 and 0.12.
    setreflections({{{1.0, 0.0, 0.0}}, {{1.0, 2.05, 0.0}}, {{0.0, 0.0, 3.1}}, {{0.2, 0.0, 0.0}}});
    indexcounts counts;
    double quality = 0.0;
    basisquality(identity, counts, quality);
    EXPECT_EQ(counts, (indexcounts{2, 3}));
    EXPECT_EQ(quality, 0.3 * 2 + 0.7 * 3);
    modofsavedbases.weightsforsortingbases = {{2.0, 0.5}};
    basisquality(identity, counts, quality);
    EXPECT_EQ(quality, 5.5);
}

TEST_F(BasisQuality, TakesTheScalarProductsWithTheRowsForIndices)
{
    // x = D r: rows (2, 1, 0), (0, 1, 0), (0, 0, 1) on (0.5, 1, 1) give (2, 1, 1); the transpose
    // would give 0.5 * 2 = 1, 1.5, 1.
    setreflections({{{0.5, 1.0, 1.0}}});
    EXPECT_EQ(countsof({{{2.0, 1.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}}), (indexcounts{1, 1}));
}

TEST_F(BasisQuality, IsNoneWithoutReflections)
{
    indexcounts counts = {5, 5};
    double quality = 5.0;
    basisquality(identity, counts, quality);
    EXPECT_EQ(counts, (indexcounts{0, 0}));
    EXPECT_EQ(quality, 0.0);
}

TEST_F(DualBasis, IsTheTransposedInverse)
{
    // [[2, 1, 0], [0, 1, 0], [0, 0, 4]] has the inverse [[1/2, -1/2, 0], [0, 1, 0], [0, 0, 1/4]].
    const matrix3 M = {{{2.0, 1.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 4.0}}};
    const matrix3 expected = {{{0.5, 0.0, 0.0}, {-0.5, 1.0, 0.0}, {0.0, 0.0, 0.25}}};
    matrix3 N = {};
    int status = failed;
    getreciprocalbasis(M, N, 1e-3, status);
    EXPECT_EQ(status, done);
    EXPECT_EQ(difference(N, expected), 0.0);
}

TEST_F(DualBasis, OfTheDualIsTheBasisItself)
{
    const matrix3 M = {{{5.1, 0.3, -0.2}, {1.7, 6.4, 0.9}, {-0.8, 2.2, 9.3}}};
    matrix3 N = {};
    matrix3 back = {};
    int status = failed;
    getreciprocalbasis(M, N, hundredtimestiny, status);
    ASSERT_EQ(status, done);
    getreciprocalbasis(N, back, hundredtimestiny, status);
    ASSERT_EQ(status, done);
    EXPECT_LT(difference(back, M), 1e-14);
}

TEST_F(DualBasis, TransposesWhatWasThereWhenTheBasisIsSingular)
{
    matrix3 N = {{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0}}};
    const matrix3 transposed = {{{1.0, 4.0, 7.0}, {2.0, 5.0, 8.0}, {3.0, 6.0, 9.0}}};
    int status = done;
    getreciprocalbasis(diagonal(1.0, 1.0, 0.0), N, 1e-3, status);
    EXPECT_EQ(status, failed);
    EXPECT_EQ(difference(N, transposed), 0.0);
}

TEST_F(DualBasis, IsRefusedOnlyBelowTheThreshold)
{
    matrix3 N = {};
    int status = done;
    getreciprocalbasis(diagonal(2.0, 2.0, 2.0), N, 8.0, status);
    EXPECT_EQ(status, done);
    getreciprocalbasis(diagonal(2.0, 2.0, 2.0), N, 8.000001, status);
    EXPECT_EQ(status, failed);
}

TEST_F(LeastSquares, SolvesThreeRowsExactly)
{
    // A = H R with R = [[1, 2, 0], [0, 4, 1], [2, 0, 8]], by hand.
    vectorlist A;
    vectorlist H;
    H(1) = {{1.0, 0.0, 0.0}};
    H(2) = {{1.0, 1.0, 0.0}};
    H(3) = {{0.0, 1.0, 1.0}};
    A(1) = {{1.0, 2.0, 0.0}};
    A(2) = {{1.0, 6.0, 1.0}};
    A(3) = {{2.0, 4.0, 9.0}};
    matrix3 R = {};
    int status = failed;
    just_fit_aaa(3, A, H, R, status);
    EXPECT_EQ(status, done);
    EXPECT_LT(difference(R, {{{1.0, 2.0, 0.0}, {0.0, 4.0, 1.0}, {2.0, 0.0, 8.0}}}), 1e-14);
}

TEST_F(LeastSquares, WeighsEachReflectionByItsIndex)
{
    // Along one axis the fit is sum(h a) / sum(h^2): (1 * 1 + 2 * 2.5) / (1 + 4) = 1.2.
    vectorlist A;
    vectorlist H;
    H(1) = A(1) = {{1.0, 0.0, 0.0}};
    H(2) = A(2) = {{0.0, 1.0, 0.0}};
    H(3) = A(3) = {{0.0, 0.0, 1.0}};
    H(4) = {{2.0, 0.0, 0.0}};
    A(4) = {{2.5, 0.0, 0.0}};
    matrix3 R = {};
    int status = failed;
    just_fit_aaa(4, A, H, R, status);
    EXPECT_EQ(status, done);
    EXPECT_LT(difference(R, diagonal(1.2, 1.0, 1.0)), 1e-15);
}

TEST_F(LeastSquares, UsesOnlyTheRowsThatItIsGiven)
{
    vectorlist A;
    vectorlist H;
    for (int k = 1; k <= 3; ++k)
        H(k) = A(k) = {{k == 1 ? 1.0 : 0.0, k == 2 ? 1.0 : 0.0, k == 3 ? 1.0 : 0.0}};
    H(4) = {{1.0, 0.0, 0.0}};
    A(4) = {{99.0, 99.0, 99.0}};
    matrix3 R = {};
    int status = failed;
    just_fit_aaa(3, A, H, R, status);
    EXPECT_EQ(difference(R, identity), 0.0);
}

TEST_F(LeastSquares, LeavesTheBasisUntouchedWhenTheIndicesLieInAPlane)
{
    vectorlist A;
    vectorlist H;
    for (int k = 1; k <= 5; ++k) {
        H(k) = {{double(k), double(k * k), 0.0}};
        A(k) = {{double(k), double(k * k), 0.5}};
    }
    matrix3 R = {{{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 10.0}}};
    const std::string before = bitsof(R);
    int status = done;
    just_fit_aaa(5, A, H, R, status);
    EXPECT_EQ(status, failed);
    EXPECT_EQ(bitsof(R), before);
}

// The fit from its definition on plain arrays: P = transpose(H) A, Q = transpose(H) H, R = Q^-1 P,
// every sum in increasing order.
matrix3 fitbydefinition(int m, const vectorlist& A, const vectorlist& H)
{
    double P[3][3];
    double Q[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double p = 0.0;
            double q = 0.0;
            for (int k = 1; k <= m; ++k) {
                p = p + H(k).element[i] * A(k).element[j];
                q = q + H(k).element[i] * H(k).element[j];
            }
            P[i][j] = p;
            Q[i][j] = q;
        }
    const double det = Q[0][0] * (Q[1][1] * Q[2][2] - Q[1][2] * Q[2][1])
                       + Q[0][1] * (Q[1][2] * Q[2][0] - Q[1][0] * Q[2][2])
                       + Q[0][2] * (Q[1][0] * Q[2][1] - Q[1][1] * Q[2][0]);
    double inverse[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            const int r = (j + 1) % 3;
            const int s = (j + 2) % 3;
            const int u = (i + 1) % 3;
            const int v = (i + 2) % 3;
            inverse[i][j] = (Q[r][u] * Q[s][v] - Q[r][v] * Q[s][u]) / det;
        }
    matrix3 R;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            R.element[i][j] =
                inverse[i][0] * P[0][j] + inverse[i][1] * P[1][j] + inverse[i][2] * P[2][j];
    return R;
}

TEST_F(LeastSquares, EqualsItsDefinitionBitForBit)
{
    std::mt19937 random(20240511);
    const auto unit = [&] { return static_cast<double>(random()) / 4294967296.0; };
    for (int trial = 1; trial <= 200; ++trial) {
        const int m = 3 + trial % 20;
        vectorlist A;
        vectorlist H;
        for (int k = 1; k <= m; ++k)
            for (int i = 1; i <= 3; ++i) {
                H(k)(i) = nint(20.0 * unit() - 10.0);
                A(k)(i) = 0.13 * H(k)(i) + 0.01 * unit();
            }
        matrix3 R = {};
        int status = failed;
        just_fit_aaa(m, A, H, R, status);
        if (status == failed) continue; // three index triples may lie in a plane by chance
        ASSERT_EQ(bitsof(R), bitsof(fitbydefinition(m, A, H))) << "trial " << trial;
    }
}

// Fills a list of n reflections: the first `good` lie on the integer lattice, not in a plane; the
// others are half-way between its points.
void setgoodreflections(int n, int good)
{
    auto& recorded = recorded_reflections;
    recorded.numberofreflections = n;
    for (int k = 1; k <= n; ++k) {
        const double shift = k <= good ? 0.0 : 0.5;
        recorded.reflections(k) = {{k % 3 + shift, k % 5 + shift, k % 7 + shift}};
    }
}

int refitstatus(int n, int good)
{
    setgoodreflections(n, good);
    matrix3 D = identity;
    int status = -1;
    fittingabovethreshold(0.12, D, status);
    return status;
}

TEST_F(Refit, NeedsMoreThanAQuarterOfTheReflections)
{
    EXPECT_EQ(refitstatus(40, 10), failed); // the limit is 40 / 4 = 10
    EXPECT_EQ(refitstatus(40, 11), done);
}

TEST_F(Refit, NeedsFiveReflectionsOfTwelve)
{
    EXPECT_EQ(refitstatus(12, 4), failed); // 12 / 4 = 3, raised to 4
    EXPECT_EQ(refitstatus(12, 5), done);
}

TEST_F(Refit, RoundsTheQuarterWithHalvesUp)
{
    EXPECT_EQ(refitstatus(42, 11), failed); // 10.5 gives 11
    EXPECT_EQ(refitstatus(42, 12), done);
    EXPECT_EQ(refitstatus(41, 10), failed); // 10.25 gives 10
    EXPECT_EQ(refitstatus(41, 11), done);
    EXPECT_EQ(refitstatus(43, 11), failed); // 10.75 gives 11
    EXPECT_EQ(refitstatus(43, 12), done);
}

TEST_F(Refit, LeavesTheBasisAsItWasWithTooFewReflections)
{
    setgoodreflections(12, 4);
    matrix3 D = diagonal(1.001, 0.999, 1.0);
    const std::string before = bitsof(D);
    int status = done;
    fittingabovethreshold(0.12, D, status);
    EXPECT_EQ(status, failed);
    EXPECT_EQ(bitsof(D), before);
}

TEST_F(Refit, LeavesTheBasisAsItWasWhenTheIndicesLieInAPlane)
{
    setreflections({{{1.0, 0.0, 0.0}},
                    {{0.0, 1.0, 0.0}},
                    {{1.0, 1.0, 0.0}},
                    {{2.0, 1.0, 0.0}},
                    {{1.0, 2.0, 0.0}},
                    {{3.0, 1.0, 0.0}}});
    matrix3 D = diagonal(1.001, 0.999, 1.25);
    const std::string before = bitsof(D);
    int status = done;
    fittingabovethreshold(0.12, D, status);
    EXPECT_EQ(status, failed);
    EXPECT_EQ(bitsof(D), before);
}

TEST_F(Refit, LeavesTheBasisAsItWasWhenTheFittedVectorsLieInAPlane)
{
    // All reflections have z = 0. The third indices, 0.3 times the first, are rounded to 0 and, for
    // 3 0 0, to 1: so the indices lie in no plane, while the fitted reciprocal vectors do.
    setreflections({{{1.0, 0.0, 0.0}},
                    {{3.0, 0.0, 0.0}},
                    {{-3.0, 0.0, 0.0}},
                    {{0.0, 1.0, 0.0}},
                    {{0.0, 2.0, 0.0}},
                    {{1.0, 1.0, 0.0}}});
    matrix3 D = {{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.3, 0.0, 1.0}}};
    const std::string before = bitsof(D);
    int status = done;
    fittingabovethreshold(0.35, D, status);
    EXPECT_EQ(status, failed);
    EXPECT_EQ(bitsof(D), before);
}

TEST_F(Refit, BringsABasisOntoTheLatticeOfItsReflections)
{
    setgoodreflections(20, 15);
    matrix3 D = {{{1.01, 0.005, 0.0}, {-0.005, 0.99, 0.005}, {0.0, 0.0, 1.01}}};
    int status = failed;
    fittingabovethreshold(0.2, D, status);
    EXPECT_EQ(status, done);
    EXPECT_LT(difference(D, identity), 1e-14);
}

TEST_F(Refit, TakesCellsOfAnySize)
{
    // Vectors in another unit: 1e-6 of the lengths is 1e-18 of the reciprocal volume.
    setgoodreflections(20, 15);
    for (int k = 1; k <= 20; ++k)
        for (int j = 1; j <= 3; ++j) recorded_reflections.reflections(k)(j) *= 1e-6;
    matrix3 D = diagonal(1.01e6, 0.99e6, 1.01e6);
    int status = failed;
    fittingabovethreshold(0.2, D, status);
    EXPECT_EQ(status, done);
    EXPECT_LT(difference(D, diagonal(1e6, 1e6, 1e6)), 1e-8);
}

TEST_F(Refit, AcceptsAReflectionExactlyAtTheThreshold)
{
    // Along the first axis: five reflections 1 0 0 and others; one at 2.125 with threshold 0.125.
    // The fit is (1 + 2 * 2.125) / (1 + 4) = 1.05, so the direct axis becomes 1 / 1.05.
    setreflections({{{1.0, 0.0, 0.0}},
                    {{0.0, 1.0, 0.0}},
                    {{0.0, 0.0, 1.0}},
                    {{0.0, 2.0, 0.0}},
                    {{2.125, 0.0, 0.0}}});
    matrix3 D = identity;
    int status = failed;
    fittingabovethreshold(0.125, D, status);
    EXPECT_EQ(status, done);
    EXPECT_LT(difference(D, diagonal(1.0 / 1.05, 1.0, 1.0)), 1e-15);
    D = identity;
    fittingabovethreshold(0.124, D, status); // four are left: too few
    EXPECT_EQ(status, failed);
}

TEST_F(Refit, LeavesOutReflectionsWithAnIndexBeyondTheLargest)
{
    setreflections({{{1.0, 0.0, 0.0}},
                    {{0.0, 1.0, 0.0}},
                    {{0.0, 0.0, 1.0}},
                    {{0.0, 2.0, 0.0}},
                    {{101.0, 0.0, 0.0}}});
    matrix3 D = identity;
    int status = done;
    fittingabovethreshold(0.12, D, status);
    EXPECT_EQ(status, failed);
    recorded_reflections.reflections(5) = {{-100.0, 0.0, 0.0}}; // the largest itself is allowed
    fittingabovethreshold(0.12, D, status);
    EXPECT_EQ(status, done);
    setgoodreflections(5, 5);
    fittingabovethreshold(0.12, D, status);
    EXPECT_EQ(status, done);
}

} // namespace

} // namespace torvik
