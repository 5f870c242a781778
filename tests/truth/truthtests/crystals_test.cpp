// The simulator: its crystals are what their names say, and their reflections what was asked for.

#include "truth/crystals.h"

#include "geometry/getreciprocallatticevectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numbers>
#include <string>

namespace torvik {

namespace {

struct shape {
    double a, b, c, alpha, beta, gamma; // angles in degrees
};

double angle(const vector3& u, const vector3& v)
{
    const double cosine = dotproduct(u, v) / (vectormagnitude(u) * vectormagnitude(v));
    return std::acos(cosine) * 180.0 / std::numbers::pi;
}

shape shapeof(const matrix3& D)
{
    const vector3 a = rowof(D, 1);
    const vector3 b = rowof(D, 2);
    const vector3 c = rowof(D, 3);
    return {vectormagnitude(a), vectormagnitude(b), vectormagnitude(c),
            angle(b, c),        angle(a, c),        angle(a, b)};
}

experiment usual(const latticetype& lattice)
{
    experiment asked;
    asked.lattice = lattice;
    asked.volume = 700.0;
    return asked;
}

// Half a unit of the last place of a double near 100 is 1e-14; a few operations add up to less.
constexpr double rounding = 1e-9;

void expectshape(const shape& s, const std::string& system)
{
    if (system != "triclinic") {
        EXPECT_NEAR(s.alpha, 90.0, rounding);
        const bool hexagonal = system == "trigonal" || system == "hexagonal";
        EXPECT_NEAR(s.gamma, hexagonal ? 120.0 : 90.0, rounding);
    }
    if (system != "triclinic" && system != "monoclinic")
        EXPECT_NEAR(s.beta, 90.0, rounding);
    else
        EXPECT_GT(std::fabs(s.beta - 90.0), 1e-3) << "an angle that the system leaves free";
    const bool square = system != "triclinic" && system != "monoclinic" && system != "orthorhombic";
    if (square)
        EXPECT_NEAR(s.a, s.b, rounding);
    else
        EXPECT_GT(std::fabs(s.a - s.b), 1e-3);
    if (system == "cubic")
        EXPECT_NEAR(s.a, s.c, rounding);
    else
        EXPECT_GT(std::fabs(s.a - s.c), 1e-3);
    EXPECT_GE(std::min({s.a, s.b, s.c}) * (system == "trigonal" ? 4.0 : 2.0),
              std::max({s.a, s.b, s.c}) - rounding);
}

TEST(ACrystal, HasTheCellOfItsSystem)
{
    randomnumbers random(51);
    for (const latticetype& lattice : latticetypes)
        for (int n = 0; n < 10; ++n) {
            SCOPED_TRACE(lattice.system);
            const sample made = samplefor(usual(lattice), random);
            expectshape(shapeof(made.conventional), lattice.system);
        }
}

// The points of a centring beside the corners, in sixths of the cell edges.
std::vector<vector3> centresof(char centring)
{
    switch (centring) {
    case 'A': return {{{0, 3, 3}}};
    case 'C': return {{{3, 3, 0}}};
    case 'I': return {{{3, 3, 3}}};
    case 'F': return {{{0, 3, 3}}, {{3, 0, 3}}, {{3, 3, 0}}};
    case 'R': return {{{4, 2, 2}}, {{2, 4, 4}}}; // the obverse setting
    default: return {};
    }
}

// With all points of the centred cell in it, and the volume of the cell over their number, the
// primitive lattice is neither too small nor too large.
TEST(ACrystal, HasThePrimitiveLatticeOfItsCentring)
{
    randomnumbers random(52);
    for (const latticetype& lattice : latticetypes) {
        SCOPED_TRACE(std::string(lattice.system) + " " + lattice.centring);
        const sample made = samplefor(usual(lattice), random);
        const matrix3 P = matrixproduct(made.conventional, inverseof(made.truth));
        EXPECT_LT(offwhole(P), rounding) << "the corners";
        const auto centres = centresof(lattice.centring);
        for (const vector3& c : centres)
            for (int k = 1; k <= 3; ++k) {
                const double x = (c(1) * P(1, k) + c(2) * P(2, k) + c(3) * P(3, k)) / 6.0;
                EXPECT_LT(std::fabs(x - nint(x)), rounding) << "a centre";
            }
        EXPECT_NEAR(std::fabs(deter(P)), 1.0 + static_cast<double>(centres.size()), rounding);
        EXPECT_NEAR(std::fabs(deter(made.truth)), 700.0, 1e-6);
    }
}

TEST(ACrystal, IsGivenByABasisWhosePairsCannotBeShortened)
{
    randomnumbers random(53);
    for (int n = 0; n < 200; ++n) {
        const matrix3 D = randombasis(random);
        const matrix3 skew = matrixproduct(randomunimodular(random, 12), D);
        const matrix3 reduced = reducedbasis(skew);
        ASSERT_TRUE(spansamelattice(reduced, D)) << n;
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) {
                const vector3 v = rowof(reduced, i);
                const vector3 u = rowof(reduced, j);
                if (i != j) {
                    ASSERT_LE(2.0 * std::fabs(dotproduct(u, v)), dotproduct(u, u) * (1.0 + 1e-8));
                }
            }
    }
}

TEST(ACrystal, StandsInAnyOrientation)
{
    // Means of 2000 matrices: each element of a rotation has the mean 0 and the mean square 1/3,
    // with standard deviations of a mean of sqrt(1/3/2000) = 0.013 and sqrt((1/5 - 1/9)/2000) =
    // 0.0067. Five times these are allowed.
    randomnumbers random(54);
    matrix3 sum = {};
    matrix3 squares = {};
    for (int n = 0; n < 2000; ++n) {
        const matrix3 Q = randomorientation(random);
        ASSERT_NEAR(deter(Q), 1.0, rounding);
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) {
                ASSERT_NEAR(dotproduct(rowof(Q, i), rowof(Q, j)), i == j ? 1.0 : 0.0, rounding);
                sum(i, j) += Q(i, j) / 2000.0;
                squares(i, j) += Q(i, j) * Q(i, j) / 2000.0;
            }
    }
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) {
            EXPECT_NEAR(sum(i, j), 0.0, 0.065);
            EXPECT_NEAR(squares(i, j), 1.0 / 3.0, 0.034);
        }
}

TEST(ANormalDeviate, HasTheMomentsOfTheNormalDistribution)
{
    // 40000 of them: the mean has a standard deviation of 0.005, the mean square (of variance 2)
    // one of 0.0071, the share within 1 (0.6827) one of 0.0023. Five times these are allowed.
    randomnumbers random(55);
    double mean = 0.0;
    double square = 0.0;
    double within = 0.0;
    for (int n = 0; n < 40000; ++n) {
        const double x = normaldeviate(random);
        mean += x / 40000.0;
        square += x * x / 40000.0;
        within += std::fabs(x) < 1.0 ? 1.0 / 40000.0 : 0.0;
    }
    EXPECT_NEAR(mean, 0.0, 0.025);
    EXPECT_NEAR(square, 1.0, 0.036);
    EXPECT_NEAR(within, 0.6827, 0.012);
}

TEST(TheShortestIndices, OfACubeAreItsEdgesItsFaceDiagonalsAndItsBodyDiagonals)
{
    const auto indices = shortestindices(identity(), 13); // 3 + 6 + 4 pairs of opposite ones
    ASSERT_EQ(indices.size(), 13u);
    for (std::size_t n = 0; n < 13; ++n) {
        const double square = n < 3 ? 1.0 : n < 9 ? 2.0 : 3.0;
        EXPECT_EQ(dotproduct(indices[n], indices[n]), square) << n;
        for (std::size_t m = 0; m < n; ++m) {
            const double product = dotproduct(indices[n], indices[m]);
            EXPECT_LT(std::fabs(product), square) << "neither equal nor opposite";
        }
    }
}

TEST(Indices, SpanAllOnlyIfTheirDeterminantsHaveNoCommonDivisor)
{
    EXPECT_TRUE(spanall({{{1, 0, 0}}, {{0, 1, 0}}, {{0, 0, 1}}}));
    EXPECT_FALSE(spanall({{{2, 0, 0}}, {{0, 1, 0}}, {{0, 0, 1}}}));
    EXPECT_FALSE(spanall({{{1, 1, 0}}, {{1, -1, 0}}, {{0, 0, 1}}}));
    EXPECT_TRUE(spanall({{{1, 1, 0}}, {{1, -1, 0}}, {{0, 0, 1}}, {{2, 1, 0}}}));
    EXPECT_TRUE(spanall({{{2, 0, 0}}, {{3, 0, 0}}, {{0, 1, 0}}, {{0, 0, 1}}}));  // 2 and 3
    EXPECT_FALSE(spanall({{{1, 0, 0}}, {{0, 1, 0}}, {{1, 1, 0}}, {{2, 1, 0}}})); // a plane
}

TEST(AMeasurement, HasTheReflectionsThatWereAskedFor)
{
    randomnumbers random(56);
    experiment asked = usual({"monoclinic", 'C'});
    for (const double wrong : {0.0, 0.1, 0.2, 0.3})
        for (const int N : {8, 20, 60}) {
            asked.wrong = wrong;
            asked.reflections = N;
            const sample made = samplefor(asked, random);
            ASSERT_EQ(made.reflections.size(), static_cast<std::size_t>(N));
            ASSERT_EQ(made.genuine.size(), static_cast<std::size_t>(N));
            EXPECT_EQ(std::count(made.genuine.begin(), made.genuine.end(), false), nint(wrong * N));
            std::vector<vector3> indices;
            double nearest = 1e30;
            double farthest = 0.0;
            for (std::size_t n = 0; n < made.reflections.size(); ++n) {
                const vector3 x = transformed(made.truth, made.reflections[n]);
                const vector3 hkl = {{std::round(x(1)), std::round(x(2)), std::round(x(3))}};
                const double off =
                    std::fabs(x(1) - hkl(1)) + std::fabs(x(2) - hkl(2)) + std::fabs(x(3) - hkl(3));
                // A wrong one on the lattice by chance, to nine digits, there is none.
                EXPECT_EQ(off < 1e-9, static_cast<bool>(made.genuine[n]));
                if (!made.genuine[n]) continue;
                indices.push_back(hkl);
                nearest = std::min(nearest, vectormagnitude(made.reflections[n]));
                farthest = std::max(farthest, vectormagnitude(made.reflections[n]));
            }
            EXPECT_TRUE(spanall(indices));
            EXPECT_LE(made.shortest, nearest * (1.0 + rounding));
            for (const vector3& v : made.reflections) {
                EXPECT_GE(vectormagnitude(v), nearest * (1.0 - rounding));
                EXPECT_LE(vectormagnitude(v), farthest * (1.0 + rounding));
            }
        }
}

TEST(AMeasurement, HasErrorsInPartsOfTheShortestReciprocalVector)
{
    // 600 components of 10 crystals; the relative standard deviation of their root mean square is
    // 1/sqrt(1200) = 0.029, and five times that are allowed. The errors are compared to the same
    // crystals without: they take as many random numbers.
    experiment asked = usual({"triclinic", 'P'});
    double square = 0.0;
    for (std::uint64_t seed = 0; seed < 10; ++seed) {
        randomnumbers one(seed);
        randomnumbers other(seed);
        asked.noise = 0.0;
        const sample exact = samplefor(asked, one);
        asked.noise = 0.03;
        const sample made = samplefor(asked, other);
        for (std::size_t n = 0; n < 20; ++n)
            for (int k = 1; k <= 3; ++k) {
                const double error = made.reflections[n](k) - exact.reflections[n](k);
                square += error * error / (made.shortest * made.shortest) / 600.0;
            }
    }
    EXPECT_NEAR(std::sqrt(square), 0.03, 0.03 * 0.145);
}

TEST(AMeasurement, HasLimitsOfTheVolumeFromARoughGuess)
{
    randomnumbers random(57);
    double lowest = 1e30;
    double highest = 0.0;
    for (int n = 0; n < 100; ++n) {
        const sample made = samplefor(usual({"triclinic", 'P'}), random);
        EXPECT_NEAR(made.largestvolume / made.smallestvolume, 9.0, rounding);
        lowest = std::min(lowest, made.smallestvolume);
        highest = std::max(highest, made.smallestvolume);
    }
    // A third of 700 / 1.5 and of 700 * 1.5, and a hundred even draws come near both.
    EXPECT_GE(lowest, 155.5);
    EXPECT_LE(lowest, 165.0);
    EXPECT_GE(highest, 335.0);
    EXPECT_LE(highest, 350.1);
}

TEST(TheAngles, AreThoseFromWhichTheProgramMakesTheSameVector)
{
    // The program's factor from degrees to radians is of single precision, of which a few 1e-8
    // remain.
    randomnumbers random(58);
    for (int n = 0; n < 200; ++n) {
        const vector3 v = {
            {random.between(-1.0, 1.0), random.between(-1.0, 1.0), random.between(-1.0, 1.0)}};
        vector3 angles = eulerianangles(v, 0.71073);
        vector3 back = {};
        duisenberg(0.71073, angles(1), angles(2), angles(3), back);
        for (int k = 1; k <= 3; ++k) ASSERT_NEAR(back(k), v(k), 1e-6) << n;
        angles = kappaangles(v, 0.71073, 50.0);
        rlvfromkappageometry(0.71073, 50.0, angles(1), angles(2), angles(3), back);
        for (int k = 1; k <= 3; ++k) ASSERT_NEAR(back(k), v(k), 1e-6) << n;
    }
}

} // namespace

} // namespace torvik
