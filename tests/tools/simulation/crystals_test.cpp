// Crystals made by chance are what their names say.

#include "simulation/crystals.h"
#include "simulation/goniometer.h"
#include "solver/lattice/cell.h"

#include "geometry/getreciprocallatticevectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace torvik::tools {

namespace {

// Half a unit of the last place of a double near 100 is 1e-14; a few operations add up to less.
constexpr double rounding = 1e-9;

struct shape {
    double a, b, c, alpha, beta, gamma; // angles in degrees
};

shape shapeof(const matrix3& D)
{
    const vector3 a = row_of(D, 0);
    const vector3 b = row_of(D, 1);
    const vector3 c = row_of(D, 2);
    return {a.length(),
            b.length(),
            c.length(),
            gemmi::deg(b.angle(c)),
            gemmi::deg(a.angle(c)),
            gemmi::deg(a.angle(b))};
}

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

matrix3 randombasis(randomnumbers& random)
{
    for (;;) {
        matrix3 M;
        for (auto& row : M.a)
            for (double& x : row) x = random.between(-1.0, 1.0);
        if (std::fabs(M.determinant()) >= 0.05) return M;
    }
}

// The whole matrix between two bases of one lattice; fails if there is none.
void expectsamelattice(const matrix3& D, const matrix3& E)
{
    const matrix3 T = D.multiply(E.inverse());
    for (int i = 0; i < 3; ++i) EXPECT_LT(off_whole(row_of(T, i)), 1e-6);
    EXPECT_NEAR(std::fabs(T.determinant()), 1.0, 1e-6);
}

TEST(ACrystal, HasTheCellOfItsSystem)
{
    randomnumbers random(51);
    for (const latticetype& lattice : latticetypes)
        for (int n = 0; n < 10; ++n) {
            SCOPED_TRACE(lattice.system);
            const matrix3 cell = randomcell(random, lattice);
            expectshape(shapeof(cell.multiply(randomorientation(random))), lattice.system);
        }
}

// The points of a centring beside the corners, in sixths of the cell edges.
std::vector<vector3> centresof(char centring)
{
    switch (centring) {
    case 'A': return {{0, 3, 3}};
    case 'B': return {{3, 0, 3}};
    case 'C': return {{3, 3, 0}};
    case 'I': return {{3, 3, 3}};
    case 'F': return {{0, 3, 3}, {3, 0, 3}, {3, 3, 0}};
    case 'R': return {{4, 2, 2}, {2, 4, 4}}; // the obverse setting
    default: return {};
    }
}

// With all points of the centred cell in it, and the volume of the cell over their number, the
// primitive lattice is neither too small nor too large.
TEST(ACrystal, HasThePrimitiveLatticeOfItsCentring)
{
    randomnumbers random(52);
    for (const char centring : {'P', 'A', 'B', 'C', 'I', 'F', 'R'}) {
        SCOPED_TRACE(centring);
        const matrix3 conventional = randombasis(random);
        const matrix3 primitive =
            reducedbasis(primitive_transformation(centring).multiply(conventional));
        const matrix3 P = conventional.multiply(primitive.inverse());
        for (int i = 0; i < 3; ++i) EXPECT_LT(off_whole(row_of(P, i)), rounding) << "a corner";
        const auto centres = centresof(centring);
        for (const vector3& c : centres)
            EXPECT_LT(off_whole(P.left_multiply(c / 6.0)), rounding) << "a centre";
        EXPECT_NEAR(P.determinant(), 1.0 + static_cast<double>(centres.size()), rounding);
    }
}

TEST(ACrystal, IsGivenByABasisWhosePairsCannotBeShortened)
{
    randomnumbers random(53);
    for (int n = 0; n < 200; ++n) {
        const matrix3 D = randombasis(random);
        const matrix3 skew =
            matrix3(1, random.whole(-4, 4), random.whole(-4, 4), 0, 1, random.whole(-4, 4), 0, 0, 1)
                .multiply(D);
        const matrix3 reduced = reducedbasis(skew);
        expectsamelattice(reduced, D);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) {
                const vector3 v = row_of(reduced, i);
                const vector3 u = row_of(reduced, j);
                if (i != j) {
                    ASSERT_LE(2.0 * std::fabs(u.dot(v)), u.dot(u) * (1.0 + 1e-8));
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
    matrix3 sum(0.0);
    matrix3 squares(0.0);
    for (int n = 0; n < 2000; ++n) {
        const matrix3 Q = randomorientation(random);
        ASSERT_NEAR(Q.determinant(), 1.0, rounding);
        ASSERT_TRUE(Q.multiply(Q.transpose()).approx(matrix3(), rounding));
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) {
                sum[i][j] += Q[i][j] / 2000.0;
                squares[i][j] += Q[i][j] * Q[i][j] / 2000.0;
            }
    }
    EXPECT_TRUE(sum.approx(matrix3(0.0), 0.065));
    EXPECT_TRUE(squares.approx(matrix3(1.0 / 3.0), 0.034));
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

TEST(TheReciprocalBasis, IsTheTransposeOfTheInverse)
{
    randomnumbers random(59);
    for (int n = 0; n < 20; ++n) {
        const matrix3 D = randombasis(random);
        EXPECT_TRUE(D.multiply(reciprocalof(D).transpose()).approx(matrix3(), 1e-12));
    }
}

TEST(TheShortestIndices, OfACubeAreItsEdgesItsFaceDiagonalsAndItsBodyDiagonals)
{
    const auto indices = shortestindices(matrix3(), 13); // 3 + 6 + 4 pairs of opposite ones
    ASSERT_EQ(indices.size(), 13U);
    for (std::size_t n = 0; n < 13; ++n) {
        const vector3 v(indices[n]);
        const double square = n < 3 ? 1.0 : n < 9 ? 2.0 : 3.0;
        EXPECT_EQ(v.length_sq(), square) << n;
        for (std::size_t m = 0; m < n; ++m)
            EXPECT_LT(std::fabs(v.dot(vector3(indices[m]))), square)
                << "neither equal nor opposite";
    }
}

TEST(Indices, SpanAllOnlyIfTheirDeterminantsHaveNoCommonDivisor)
{
    EXPECT_TRUE(spanall({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}));
    EXPECT_FALSE(spanall({{2, 0, 0}, {0, 1, 0}, {0, 0, 1}}));
    EXPECT_FALSE(spanall({{1, 1, 0}, {1, -1, 0}, {0, 0, 1}}));
    EXPECT_TRUE(spanall({{1, 1, 0}, {1, -1, 0}, {0, 0, 1}, {2, 1, 0}}));
    EXPECT_TRUE(spanall({{2, 0, 0}, {3, 0, 0}, {0, 1, 0}, {0, 0, 1}}));  // 2 and 3
    EXPECT_FALSE(spanall({{1, 0, 0}, {0, 1, 0}, {1, 1, 0}, {2, 1, 0}})); // a plane
}

TEST(TheAngles, AreThoseFromWhichTheProgramMakesTheSameVector)
{
    // The program's factor from degrees to radians is of single precision, of which a few 1e-8
    // remain.
    randomnumbers random(58);
    for (int n = 0; n < 200; ++n) {
        const vector3 v(random.between(-1.0, 1.0), random.between(-1.0, 1.0),
                        random.between(-1.0, 1.0));
        auto [theta, phi, chi] = eulerianangles(v, 0.71073);
        torvik::vector3 back = {};
        duisenberg(0.71073, theta, phi, chi, back);
        for (int k = 0; k < 3; ++k) ASSERT_NEAR(back(k + 1), v.at(k), 1e-6) << n;
        auto [omega, first, kappa] = kappaangles(v, 0.71073, 50.0);
        rlvfromkappageometry(0.71073, 50.0, omega, first, kappa, back);
        for (int k = 0; k < 3; ++k) ASSERT_NEAR(back(k + 1), v.at(k), 1e-6) << n;
    }
}

} // namespace

} // namespace torvik::tools
