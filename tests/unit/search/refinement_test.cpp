#include "search/searchdriver.h"

#include "driver/otherglobalvariables.h"
#include "numeric/nint.h"
#include "search/fitting.h"
#include "search/quality.h"
#include "support/fresh.h"
#include "support/matrices.h"
#include "volumes/estimatedvolumes.h"

#include <random>
#include <vector>

namespace torvik {

namespace {

class SequentialFit : public fresh {};
class ShortestVectors : public fresh {};

const matrix3 identity = diagonal(1.0, 1.0, 1.0);

// Fits a list of vectors, begun with its first three, starting from a basis. Gives the status.
int fitfrom(matrix3& R, std::initializer_list<vector3> vectors, double volume = 1.0)
{
    vectorlist V;
    int n = 0;
    for (const vector3& v : vectors) V(++n) = v;
    estimatedvolumes.currentlyinvestigatedvolume = volume;
    int status = -1;
    sequentialfittingrlbasis(R, n, V, {{1, 2, 3}}, status);
    return status;
}

const vector3 x = {{1.0, 0.0, 0.0}};
const vector3 y = {{0.0, 1.0, 0.0}};
const vector3 z = {{0.0, 0.0, 1.0}};

TEST_F(SequentialFit, OfThreeVectorsLeavesTheBasisAsItIs)
{
    matrix3 R = diagonal(1.02, 1.0, 1.0);
    EXPECT_EQ(fitfrom(R, {x, y, z}), done);
    EXPECT_EQ(difference(R, diagonal(1.02, 1.0, 1.0)), 0.0);
}

TEST_F(SequentialFit, RefusesABasisOfLessThanHalfTheVolumeUnderTest)
{
    matrix3 R = identity;
    EXPECT_EQ(fitfrom(R, {x, y, z}, 2.0), done);
    EXPECT_EQ(fitfrom(R, {x, y, z}, 2.0001), failed);
    EXPECT_EQ(difference(R, identity), 0.0);
}

TEST_F(SequentialFit, TakesVectorsWithinOnePointOneFiveTimesTheCriterion)
{
    // 1.15 * 0.12 = 0.138. The fit along x is (1 + 2 * 2.137) / 5.
    matrix3 R = identity;
    EXPECT_EQ(fitfrom(R, {x, y, z, {{2.137, 0.0, 0.0}}}), done);
    EXPECT_LT(difference(R, diagonal(5.274 / 5.0, 1.0, 1.0)), 1e-15);
    R = identity;
    EXPECT_EQ(fitfrom(R, {x, y, z, {{2.139, 0.0, 0.0}}}), done);
    EXPECT_EQ(difference(R, identity), 0.0);
    // A vector exactly that far off is taken: the index is 0, and along x the fit of y is off.
    const double limit = 1.15 * 0.12;
    EXPECT_EQ(fitfrom(R, {x, y, z, {{limit, 1.0, 0.0}}}), done);
    EXPECT_NEAR(R(2, 1), limit / 2.0, 1e-15);
}

TEST_F(SequentialFit, TakesTheBestIndexedVectorFirst)
{
    // At 2.875 and 2.11 the deviations are 0.125 and 0.11. Taking 2.11 makes the axis
    // (1 + 4.22) / 5 = 1.044 and puts 2.875 at 2.754, out of reach.
    matrix3 R = identity;
    EXPECT_EQ(fitfrom(R, {x, y, z, {{2.875, 0.0, 0.0}}, {{2.11, 0.0, 0.0}}}), done);
    EXPECT_LT(difference(R, diagonal(1.044, 1.0, 1.0)), 1e-15);
}

TEST_F(SequentialFit, TakesTheEarlierOfTwoVectorsIndexedEquallyWell)
{
    // Deviations of 0.125 both; either one taken puts the other out of reach: 2.125 leads to
    // (1 + 4.25) / 5 = 1.05, 2.875 to (1 + 8.625) / 10 = 0.9625.
    matrix3 R = identity;
    EXPECT_EQ(fitfrom(R, {x, y, z, {{2.125, 0.0, 0.0}}, {{2.875, 0.0, 0.0}}}), done);
    EXPECT_LT(difference(R, diagonal(1.05, 1.0, 1.0)), 1e-15);
    R = identity;
    EXPECT_EQ(fitfrom(R, {x, y, z, {{2.875, 0.0, 0.0}}, {{2.125, 0.0, 0.0}}}), done);
    EXPECT_LT(difference(R, diagonal(0.9625, 1.0, 1.0)), 1e-15);
}

TEST_F(SequentialFit, SeesLaterVectorsUnderTheBasisFittedSoFar)
{
    // 10.6 is out of reach at first; 5.13, taken first, makes the axis (1 + 25.65) / 26 = 1.025 and
    // puts 10.2 at 9.951 (index 10): (1 + 25.65 + 102) / (1 + 25 + 100).
    matrix3 R = identity;
    EXPECT_EQ(fitfrom(R, {x, y, z, {{10.2, 0.0, 0.0}}, {{5.13, 0.0, 0.0}}}), done);
    EXPECT_LT(difference(R, diagonal(128.65 / 126.0, 1.0, 1.0)), 1e-14);
}

TEST_F(SequentialFit, DoesNotComputeTheIndicesOfEarlierVectorsAgain)
{
    // The first vector, 1.501, has the index 2. The fourth, 14.13, makes the axis
    // (3.002 + 197.82) / 200 = 1.00411, under which 1.501 would be nearer to 1: were it indexed
    // anew for the fit with the fifth vector, the axis would become 199.321 / 197.
    matrix3 R = identity;
    EXPECT_EQ(fitfrom(R, {{{1.501, 0.0, 0.0}}, y, z, {{14.13, 0.0, 0.0}}, {{0.0, 2.135, 0.0}}}),
              done);
    EXPECT_LT(difference(R, diagonal(200.822 / 200.0, 5.27 / 5.0, 1.0)), 1e-14);
}

TEST_F(SequentialFit, GoesOnWithTheLastBasisAfterARefusedInversion)
{
    // The volume under test is 2, so a fit of a determinant below 1 is refused. 1.98 makes the axis
    // x (1 + 3.96) / 5 = 0.992; the next vector is still found under the unit basis, and makes y
    // (1 + 4.2) / 5 = 1.04, so that the determinant is above 1 again.
    matrix3 R = identity;
    EXPECT_EQ(fitfrom(R, {x, y, z, {{1.98, 0.0, 0.0}}, {{0.0, 2.1, 0.0}}}, 2.0), done);
    EXPECT_LT(difference(R, diagonal(0.992, 1.04, 1.0)), 1e-15);
}

TEST_F(SequentialFit, FailsWhenTheLastInversionIsRefused)
{
    matrix3 R = identity;
    EXPECT_EQ(fitfrom(R, {x, y, z, {{1.98, 0.0, 0.0}}}, 2.0), failed);
    EXPECT_LT(difference(R, diagonal(0.992, 1.0, 1.0)), 1e-15);
}

TEST_F(SequentialFit, StopsAtAFitThatFails)
{
    // The three vectors to begin with lie on a line, so the first fit, with four vectors in a
    // plane, fails. The fifth would have lifted them out of it.
    matrix3 R = identity;
    EXPECT_EQ(
        fitfrom(R,
                {x, {{2.0, 0.0, 0.0}}, {{3.0, 0.0, 0.0}}, {{0.0, 1.05, 0.0}}, {{0.0, 0.0, 1.1}}}),
        failed);
    EXPECT_EQ(difference(R, identity), 0.0);
}

TEST_F(SequentialFit, BeginsWithTheThreeGivenPositions)
{
    // Positions 4, 2, 5 are the unit vectors off by a little along x; positions 1 and 3 are noise.
    vectorlist V;
    V(1) = {{0.5, 0.5, 0.5}};
    V(2) = y;
    V(3) = {{0.4, 0.0, 0.6}};
    V(4) = {{1.0, 0.0, 0.0}};
    V(5) = z;
    V(6) = {{1.1, 0.0, 0.0}};
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    matrix3 R = identity;
    int status = failed;
    sequentialfittingrlbasis(R, 6, V, {{4, 2, 5}}, status);
    EXPECT_EQ(status, done);
    EXPECT_LT(difference(R, diagonal(1.05, 1.0, 1.0)), 1e-15); // (1 + 1.1) / 2
}

// What a wrong reading of the procedure would do.
struct variant {
    bool indicesanew = false;    // all indices computed again after a fit
    bool stopatrefusal = false;  // a refused inversion ends it
    bool firstbasisonly = false; // vectors always chosen under the first basis
};

// The procedure from its definition, on growing lists.
void fitbydefinition(matrix3& R, int n, const vectorlist& V, const numbered<int, 3>& start,
                     int& status, const variant& wrong)
{
    const double bound = 0.5 * estimatedvolumes.currentlyinvestigatedvolume;
    matrix3 G = {};
    invmat(R, G, bound, status);
    if (status != done) return;
    const auto indices = [&](const vector3& v) {
        vector3 f;
        for (int j = 1; j <= 3; ++j) {
            double sum = v(1) * G(1, j);
            sum += v(2) * G(2, j);
            sum += v(3) * G(3, j);
            f(j) = sum;
        }
        return f;
    };
    std::vector<int> members;
    vectorlist A;
    vectorlist H;
    const auto add = [&](int position) {
        members.push_back(position);
        const int m = static_cast<int>(members.size());
        const vector3 f = indices(V(position));
        A(m) = V(position);
        for (int j = 1; j <= 3; ++j) H(m)(j) = std::round(f(j));
    };
    for (int k = 1; k <= 3; ++k) add(start(k));
    while (static_cast<int>(members.size()) < n) {
        int chosen = 0;
        double smallest = 1e300;
        for (int i = 1; i <= n; ++i) {
            bool member = false;
            for (const int position : members) member = member || position == i;
            if (member) continue;
            const vector3 f = indices(V(i));
            double q = 0.0;
            for (int j = 1; j <= 3; ++j) q = std::max(q, std::fabs(f(j) - std::round(f(j))));
            if (q < smallest) {
                smallest = q;
                chosen = i;
            }
        }
        if (smallest > 1.15 * otherglobalvariables.themaincriterion) break;
        add(chosen);
        const int m = static_cast<int>(members.size());
        if (wrong.indicesanew)
            for (int k = 1; k <= m; ++k) H(k) = roundedindices(indices(A(k)));
        just_fit_aaa(m, A, H, R, status);
        if (status != done) break;
        matrix3 inverse = G;
        invmat(R, inverse, bound, status);
        if (status == done && !wrong.firstbasisonly) G = inverse;
        if (status != done && wrong.stopatrefusal) break;
    }
}

// A made lattice with noise: vectors of small whole indices, a fifth of them wrong, and a basis near
// the true one to begin with.
struct latticecase {
    matrix3 R;
    vectorlist V;
    numbered<int, 3> start;
};

constexpr int vectors = 24;

latticecase noisylattice(std::mt19937& random)
{
    const auto unit = [&] { return static_cast<double>(random()) / 4294967296.0; };
    latticecase made;
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j)
            made.R(i, j) = (i == j ? 0.12 + 0.05 * unit() : 0.04 * unit() - 0.02);
    for (int k = 1; k <= vectors; ++k) {
        const bool wrong = k % 5 == 0;
        vector3 h;
        for (int i = 1; i <= 3; ++i) h(i) = nint(12.0 * unit() - 6.0) + (wrong ? unit() : 0.0);
        for (int j = 1; j <= 3; ++j)
            made.V(k)(j) = h(1) * made.R(1, j) + h(2) * made.R(2, j) + h(3) * made.R(3, j)
                           + 0.02 * (unit() - 0.5);
    }
    made.start = {{5, 10, 1}}; // two wrong ones, whose indices are the least certain
    const double volume = std::fabs(deter(made.R));
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) made.R(i, j) *= 1.0 + 0.03 * (unit() - 0.5);
    estimatedvolumes.currentlyinvestigatedvolume = volume * (1.85 + 0.25 * unit());
    return made;
}

TEST_F(SequentialFit, EqualsItsDefinitionBitForBit)
{
    const variant variants[] = {
        {}, {true, false, false}, {false, true, false}, {false, false, true}};
    int differing[4] = {};
    otherglobalvariables.themaincriterion = 0.25;
    std::mt19937 random(19960229);
    for (int trial = 1; trial <= 400; ++trial) {
        const latticecase made = noisylattice(random);
        matrix3 R = made.R;
        int status = -1;
        sequentialfittingrlbasis(R, vectors, made.V, made.start, status);
        for (int k = 0; k < 4; ++k) {
            matrix3 expected = made.R;
            int expectedstatus = -1;
            fitbydefinition(expected, vectors, made.V, made.start, expectedstatus, variants[k]);
            const bool same = bitsof(R) == bitsof(expected) && status == expectedstatus;
            ASSERT_TRUE(same || k > 0) << "trial " << trial;
            if (!same) ++differing[k];
        }
    }
    // Each wrong reading shows on these data.
    for (int k = 1; k < 4; ++k) EXPECT_GT(differing[k], 0) << "variant " << k;
}

// Rebuilds a basis on the shortest vectors of a list. Gives the status.
int rebuilt(matrix3& R, std::initializer_list<vector3> list, double volume = 1.0)
{
    vectorlist V;
    int n = 0;
    for (const vector3& v : list) V(++n) = v;
    estimatedvolumes.currentlyinvestigatedvolume = volume;
    int status = -1;
    rlbasisfromshortesthighqualityvectors(R, n, V, status);
    return status;
}

TEST_F(ShortestVectors, TakeTheirWholeIndicesExactly)
{
    // Under the unit basis the indices are 1 0 0, 0 1 0 and 0 1 1, so that the third vector of the
    // basis is (0.05, 0.1, 1.1) - (0.1, 0.9, 0).
    matrix3 R = identity;
    EXPECT_EQ(rebuilt(R, {{{4.0, 1.0, 0.0}},
                          {{0.05, 0.95, 1.1}},
                          {{0.1, 0.9, 0.0}},
                          {{1.1, 0.0, 0.1}},
                          {{3.0, 0.0, 0.0}}}),
              done);
    const matrix3 expected = {{{1.1, 0.0, 0.1}, {0.1, 0.9, 0.0}, {-0.05, 0.05, 1.1}}};
    EXPECT_LT(difference(R, expected), 1e-14);
}

TEST_F(ShortestVectors, OfEqualLengthAreTakenInListOrder)
{
    // The third place is between (0, 0.75, 1), of the indices 0 1 1, and (0, 0, 1.25), of 0 0 1,
    // both of length 1.25.
    const vector3 slanted = {{0.0, 0.75, 1.0}};
    const vector3 upright = {{0.0, 0.0, 1.25}};
    matrix3 R = identity;
    EXPECT_EQ(rebuilt(R, {x, y, slanted, upright}), done);
    EXPECT_EQ(difference(R, {{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, -0.25, 1.0}}}), 0.0);
    R = identity;
    EXPECT_EQ(rebuilt(R, {upright, x, slanted, y}), done);
    EXPECT_EQ(difference(R, diagonal(1.0, 1.0, 1.25)), 0.0);
}

TEST_F(ShortestVectors, LyingInAPlaneFail)
{
    // Four vectors of one length: the first three in the list decide.
    const vector3 minusx = {{-1.0, 0.0, 0.0}};
    matrix3 R = diagonal(1.01, 1.0, 1.0);
    EXPECT_EQ(rebuilt(R, {x, y, minusx, z}), failed);
    EXPECT_EQ(difference(R, diagonal(1.01, 1.0, 1.0)), 0.0);
    EXPECT_EQ(rebuilt(R, {x, y, z, minusx}), done);
    EXPECT_EQ(difference(R, identity), 0.0);
}

TEST_F(ShortestVectors, FurtherThanAQuarterFromWholeIndicesFail)
{
    // A deviation of exactly 0.25 is allowed; see the equal lengths, too.
    matrix3 R = identity;
    EXPECT_EQ(rebuilt(R, {x, y, {{0.0, 0.0, 1.25}}}), done);
    EXPECT_EQ(R(3, 3), 1.25);
    R = identity;
    EXPECT_EQ(rebuilt(R, {x, y, {{0.0, 0.0, 1.2501}}}), failed);
    EXPECT_EQ(difference(R, identity), 0.0);
    // However badly a longer vector is indexed, it has no say.
    EXPECT_EQ(rebuilt(R, {x, y, {{0.0, 0.0, 1.25}}, {{0.0, 0.0, 1.5}}}), done);
}

TEST_F(ShortestVectors, AreRefusedForABasisBelowAHundredthOfTheVolumeUnderTest)
{
    matrix3 R = identity;
    EXPECT_EQ(rebuilt(R, {x, y, {{0.0, 0.0, 1.1}}}, 100.0), done);
    R = identity;
    EXPECT_EQ(rebuilt(R, {x, y, {{0.0, 0.0, 1.1}}}, 100.1), failed);
    EXPECT_EQ(difference(R, identity), 0.0);
}

TEST_F(ShortestVectors, FailWithFewerThanThree)
{
    matrix3 R = identity;
    EXPECT_EQ(rebuilt(R, {x, y}), failed);
    EXPECT_EQ(rebuilt(R, {}), failed);
    EXPECT_EQ(difference(R, identity), 0.0);
}

// The procedure from its definition: a list of positions sorted by length, equal ones in order.
void rebuildbydefinition(matrix3& R, int n, const vectorlist& V, int& status)
{
    matrix3 G = {};
    invmat(R, G, 0.01 * estimatedvolumes.currentlyinvestigatedvolume, status);
    if (status != done) return;
    std::vector<int> order;
    for (int i = 1; i <= n; ++i) order.push_back(i);
    std::stable_sort(order.begin(), order.end(),
                     [&](int i, int j) { return vectormagnitude(V(i)) < vectormagnitude(V(j)); });
    vectorlist A;
    vectorlist H;
    for (int k = 1; k <= 3; ++k) {
        A(k) = V(order[static_cast<std::size_t>(k - 1)]);
        for (int j = 1; j <= 3; ++j) {
            double sum = A(k)(1) * G(1, j);
            sum += A(k)(2) * G(2, j);
            sum += A(k)(3) * G(3, j);
            H(k)(j) = std::round(sum);
            if (std::fabs(sum - H(k)(j)) > 0.25) status = failed;
        }
    }
    if (status == done) just_fit_aaa(3, A, H, R, status);
}

TEST_F(ShortestVectors, EqualTheirDefinitionBitForBit)
{
    std::mt19937 random(20010314);
    int succeeded = 0;
    for (int trial = 1; trial <= 400; ++trial) {
        const latticecase made = noisylattice(random);
        matrix3 R = made.R;
        matrix3 expected = made.R;
        int status = -1;
        int expectedstatus = -1;
        rlbasisfromshortesthighqualityvectors(R, vectors, made.V, status);
        rebuildbydefinition(expected, vectors, made.V, expectedstatus);
        ASSERT_EQ(bitsof(R), bitsof(expected)) << "trial " << trial;
        ASSERT_EQ(status, expectedstatus) << "trial " << trial;
        if (status == done) ++succeeded;
    }
    EXPECT_GT(succeeded, 20);
    EXPECT_LT(succeeded, 380);
}

} // namespace

} // namespace torvik
