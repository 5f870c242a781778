// Cells that are known: the statistic, the orientations that pairs suggest, and the answer.
#include "base/failure.h"
#include "lattice/relations.h"
#include "simulation/simulate.h"
#include "solving/crystals.h"
#include "solving/deformation.h"
#include "solving/knowncell.h"
#include "solving/knownsolve.h"
#include "solving/orientations.h"
#include "solving/uncertainty.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

namespace torvik::tools {

namespace {

constexpr double twopi = 2.0 * std::numbers::pi;

const cell6 lowcell = {7.0, 8.0, 10.0, 85.0, 100.0, 95.0};

simulationrequest requestof(const cell6& cell, int reflections, int wrong, double noise,
                            std::uint64_t seed)
{
    simulationrequest asked;
    asked.cell = cell;
    asked.reflections = reflections;
    asked.wrong = wrong;
    asked.noise = noise;
    asked.smallestd = 1.0;
    asked.seed = seed;
    return asked;
}

vectorlist listof(const simulated& made)
{
    vectorlist list;
    list.vectors = made.vectors();
    return list;
}

// The budget is beyond what any machine takes.
solveoptions looking(const std::vector<cell6>& cells)
{
    solveoptions options;
    options.known = cells;
    options.budget = 3600.0;
    return options;
}

answer solved(const vectorlist& list, const std::vector<cell6>& cells)
{
    return solveknown(list, looking(cells));
}

// Reflections of no lattice: each in a direction of its own.
vectorlist scattered(vectorlist list, std::uint64_t seed)
{
    randomnumbers random(seed);
    for (vector3& q : list.vectors) q = randomorientation(random).multiply(q);
    return list;
}

// ------------------------------------------------------------------------------ small changes

nine someof(randomnumbers& random)
{
    nine x;
    for (double& one : x) one = random.between(-1.0, 1.0);
    return x;
}

double lengthsquare(const matrix3& A)
{
    double sum = 0.0;
    for (const auto& row : A.a)
        for (const double x : row) sum += x * x;
    return sum;
}

TEST(SmallChanges, HaveTheirSumsOfSquaresAndProductsAsQuadraticForms)
{
    randomnumbers random(5);
    const nine x = someof(random);
    const matrix3 E = deformationof(x);
    matrix3 G(0.0);
    matrix3 D(0.0);
    double squares = 0.0;
    double products = 0.0;
    for (int n = 0; n < 4; ++n) {
        const vector3 g(random.between(-1, 1), random.between(-1, 1), random.between(-1, 1));
        const vector3 d(random.between(-1, 1), random.between(-1, 1), random.between(-1, 1));
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) {
                G.a[i][j] += g.at(i) * g.at(j);
                D.a[i][j] += d.at(i) * g.at(j);
            }
        squares += E.multiply(g).length_sq();
        products += d.dot(E.multiply(g));
    }
    const ninebynine A = squaresof(G);
    const nine b = productsof(D);
    double form = 0.0;
    double line = 0.0;
    for (std::size_t k = 0; k < 9; ++k) {
        line += b[k] * x[k];
        for (std::size_t l = 0; l < 9; ++l) form += x[k] * A[k][l] * x[l];
    }
    EXPECT_NEAR(form, squares, 1e-12);
    EXPECT_NEAR(line, products, 1e-12);
}

// So no choice of axes is in the prior of the strains.
TEST(SmallChanges, HaveStrainsWithTheLengthOfTheirMatrix)
{
    randomnumbers random(6);
    nine x = someof(random);
    x[0] = x[1] = x[2] = 0.0;
    double sum = 0.0;
    for (const double one : x) sum += one * one;
    EXPECT_NEAR(lengthsquare(deformationof(x)), sum, 1e-12);
    // To the first order (F^T F - 1) / 2 is the strain.
    const matrix3 small = scaled(deformationof(x), 1e-6);
    const matrix3 turned = rotationby({0.3, -1.0, 2.0}).multiply(matrix3() + small);
    EXPECT_NEAR(strainsquare(turned) / (1e-12 * sum), 1.0, 1e-5);
}

TEST(SmallChanges, TurnByRotations)
{
    const vector3 axis = {1.0, 2.0, -2.0}; // of length 3
    const double angle = 0.7;
    const matrix3 R = rotationby(axis * (angle / 3.0));
    EXPECT_NEAR(lengthsquare(R.multiply(R.transpose()) - matrix3()), 0.0, 1e-28);
    EXPECT_NEAR(R.determinant(), 1.0, 1e-14);
    EXPECT_NEAR((R.multiply(axis) - axis).length(), 0.0, 1e-14);
    EXPECT_NEAR(R.a[0][0] + R.a[1][1] + R.a[2][2], 1.0 + 2.0 * std::cos(angle), 1e-14);
    const matrix3 strained = R.multiply(matrix3(1.01, 0.002, 0, 0.002, 0.99, 0.001, 0, 0.001, 1));
    EXPECT_NEAR(lengthsquare(nearestrotation(strained) - R), 0.0, 1e-24);
}

TEST(SmallChanges, AreSolvedForByTriangles)
{
    randomnumbers random(7);
    ninebynine A = {};
    for (int n = 0; n < 12; ++n) {
        const nine x = someof(random);
        for (std::size_t k = 0; k < 9; ++k)
            for (std::size_t l = 0; l < 9; ++l) A[k][l] += x[k] * x[l];
    }
    const auto split = splitmatrix::of(A);
    ASSERT_TRUE(split);
    const nine wanted = someof(random);
    nine b = {};
    for (std::size_t k = 0; k < 9; ++k)
        for (std::size_t l = 0; l < 9; ++l) b[k] += A[k][l] * wanted[l];
    const nine x = split->solve(b);
    const ninebynine inverse = split->inverse();
    for (std::size_t k = 0; k < 9; ++k) {
        EXPECT_NEAR(x[k], wanted[k], 1e-9);
        double y = 0.0;
        for (std::size_t l = 0; l < 9; ++l) y += inverse[k][l] * b[l];
        EXPECT_NEAR(y, wanted[k], 1e-9);
    }
    ninebynine diagonal = {};
    for (std::size_t k = 0; k < 9; ++k) diagonal[k][k] = 2.0;
    EXPECT_NEAR(splitmatrix::of(diagonal)->logdeterminant(), 9.0 * std::log(2.0), 1e-12);
    diagonal[4][4] = 0.0;
    EXPECT_FALSE(splitmatrix::of(diagonal));
}

// ------------------------------------------------------------------------------ the statistic

// The orders of the groups of rotations, as the International Tables have them.
TEST(TheTurnsOfACell, AreTheRotationsOfItsLattice)
{
    const auto turns = [](const cell6& cell) { return givencell(cell).turns.size(); };
    EXPECT_EQ(turns({7, 8, 10, 85, 100, 95}), 1U);
    EXPECT_EQ(turns({7, 8, 10, 90, 100, 90}), 2U);
    EXPECT_EQ(turns({7, 8, 10, 90, 90, 90}), 4U);
    EXPECT_EQ(turns({7, 7, 10, 90, 90, 90}), 8U);
    EXPECT_EQ(turns({7, 7, 10, 90, 90, 120}), 12U);
    EXPECT_EQ(turns({7, 7, 7, 80, 80, 80}), 6U);
    EXPECT_EQ(turns({7, 7, 7, 90, 90, 90}), 24U);
    EXPECT_EQ(turns({7, 7, 7, 60, 60, 60}), 24U); // the primitive cell of F
}

// A cell that is cubic to a few tenths of a per cent has its lattice again nearly so; one that is
// further off has not.
TEST(TheTurnsOfACell, AreAlsoThoseThatItNearlyHas)
{
    EXPECT_EQ(givencell({7.0, 7.01, 7.02, 90.0, 90.0, 90.1}).turns.size(), 24U);
    EXPECT_EQ(givencell({7.0, 7.5, 7.8, 90.0, 90.0, 93.0}).turns.size(), 2U);
}

double likelihoodof(const std::vector<vector3>& vectors, const matrix3& UB, double s, double w)
{
    const matrix3 basis = UB.inverse();
    const double peak = (1.0 - w) / std::fabs(basis.determinant()) / std::pow(twopi * s * s, 1.5);
    double sum = 0.0;
    for (const vector3& q : vectors) {
        const vector3 x = basis.multiply(q);
        const vector3 h = {std::round(x.x), std::round(x.y), std::round(x.z)};
        sum += std::log(peak * std::exp(-(q - UB.multiply(h)).length_sq() / (2.0 * s * s)) + w);
    }
    return sum;
}

// L of a symmetric positive matrix = L L^T, by columns of its definition.
ninebynine triangleof(const ninebynine& A)
{
    ninebynine L = {};
    for (std::size_t j = 0; j < 9; ++j)
        for (std::size_t i = j; i < 9; ++i) {
            double sum = A[i][j];
            for (std::size_t k = 0; k < j; ++k) sum -= L[i][k] * L[j][k];
            L[i][j] = i == j ? std::sqrt(sum) : sum / L[j][j];
        }
    return L;
}

// The logarithm of the integral over turns and strains near a refined lattice, of the likelihood times
// the density of the strain over 8 pi^2: by drawing them from a normal distribution of about the
// right shape, whatever it is, and weighing each by what the distribution is short of the integrand.
double integral(const std::vector<vector3>& vectors, const givencell& cell, const assessment& found)
{
    const matrix3 F = found.basis.inverse().multiply(cell.basis);
    const matrix3 R = nearestrotation(F);
    const matrix3 strain = R.transpose().multiply(F) - matrix3();
    matrix3 gg(0.0);
    for (std::size_t n = 0; n < vectors.size(); ++n) {
        if (found.genuine[n] < 0.5) continue;
        const vector3 g = R.transpose().multiply(vectors[n]);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) gg.a[i][j] += g.at(i) * g.at(j);
    }
    ninebynine M = squaresof(scaled(gg, 1.0 / (found.sigma * found.sigma)));
    addprior(M, usualstrain);
    constexpr double wider = 1.2;
    const ninebynine L = triangleof(splitmatrix::of(M)->inverse());
    double logwidths = 0.0;
    for (std::size_t k = 0; k < 9; ++k) logwidths += std::log(wider * L[k][k]);

    const double variance = usualstrain * usualstrain;
    const double best = likelihoodof(vectors, found.basis.inverse(), found.sigma, found.wrong);
    randomnumbers random(11);
    double sum = 0.0;
    constexpr int draws = 40000;
    for (int n = 0; n < draws; ++n) {
        nine z;
        double squares = 0.0;
        for (double& one : z) {
            one = normaldeviate(random);
            squares += one * one;
        }
        nine x = {};
        for (std::size_t i = 0; i < 9; ++i)
            for (std::size_t k = 0; k <= i; ++k) x[i] += wider * L[i][k] * z[k];
        const vector3 w = {x[0], x[1], x[2]};
        x[0] = x[1] = x[2] = 0.0;
        const matrix3 e = strain + deformationof(x);
        const matrix3 UB = R.multiply(rotationby(w)).multiply(matrix3() + e).multiply(cell.UB);
        const double integrand = likelihoodof(vectors, UB, found.sigma, found.wrong) - best
                                 - 0.5 * lengthsquare(e) / variance;
        sum += std::exp(integrand + 0.5 * squares);
    }
    return best + std::log(sum / draws) + logwidths + 4.5 * std::log(twopi)
           - std::log(2.0 * twopi * twopi) - 3.0 * std::log(twopi * variance);
}

TEST(TheEvidenceOfAKnownCell, IsTheLikelihoodAveragedOverRotationsAndStrains)
{
    for (const cell6& cell : {lowcell, cell6{9.0, 9.0, 9.0, 90.0, 90.0, 90.0}}) {
        const simulated made = simulate(requestof(cell, 24, 4, 0.02, 3));
        const std::vector<vector3> vectors = listof(made).vectors;
        const givencell given(cell);
        const matrix3 R = given.orientationof(made.truth().conventional);
        const assessment found = assessknown(vectors, given, R);
        // A symmetric cell has as many peaks alike as it has turns.
        const double alike = std::log(static_cast<double>(given.turns.size()));
        EXPECT_NEAR(found.evidence, integral(vectors, given, found) + alike, 0.3);
        // The cells that are given share what is believed beforehand.
        EXPECT_NEAR(assessknown(vectors, given, R, 3).evidence, found.evidence - std::log(3.0),
                    1e-9);
    }
}

TEST(TheEvidenceOfAKnownCell, RisesFromADisturbedStart)
{
    const simulated made = simulate(requestof(lowcell, 20, 10, 0.02, 4));
    const std::vector<vector3> vectors = listof(made).vectors;
    const givencell given(lowcell);
    const matrix3 R = given.orientationof(made.truth().conventional);
    const double wanted = assessknown(vectors, given, R).evidence;
    for (const vector3& w : {vector3(0.01, 0, 0), vector3(0, -0.01, 0.005)})
        EXPECT_NEAR(assessknown(vectors, given, R.multiply(rotationby(w))).evidence, wanted, 1e-2);
}

TEST(TheEvidenceOfAKnownCell, IsFarBeyondThatOfALatticeThatIsNotKnown)
{
    const simulated made = simulate(requestof(lowcell, 20, 12, 0.02, 5));
    const std::vector<vector3> vectors = listof(made).vectors;
    const givencell given(lowcell);
    const matrix3 R = given.orientationof(made.truth().conventional);
    EXPECT_GT(assessknown(vectors, given, R).evidence, evidenceneeded);
    EXPECT_LT(assess(vectors, made.truth().primitive).evidence, evidenceneeded);
}

// The pulls of many fits: differences from the truth over their uncertainties. The cells that are
// given are off as their prior has it.
TEST(TheUncertaintiesOfAKnownCell, AreThoseOfRepeatedMeasurements)
{
    double squares = 0.0;
    int pulls = 0;
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        const simulated made = simulate(requestof(lowcell, 14, 0, 0.03, seed));
        randomnumbers random(seed);
        nine strain = {};
        for (std::size_t k = 3; k < 9; ++k) strain[k] = usualstrain * normaldeviate(random);
        const matrix3 off = matrix3() + deformationof(strain);
        const givencell given(cellof(made.truth().conventional.multiply(off)));
        assessment found = assessknown(listof(made).vectors, given,
                                       given.orientationof(made.truth().conventional));
        found.basis = given.back.multiply(found.basis);
        found.known = 0;
        const uncertaincell cell = uncertaintyof(listof(made).vectors, found);
        for (std::size_t k = 0; k < 6; ++k) {
            const double pull = (cell.cell[k] - lowcell[k]) / cell.error[k];
            squares += pull * pull;
            ++pulls;
        }
    }
    // 360 pulls, six of each fit correlated: the mean of their squares is 1 within some 10 %.
    EXPECT_NEAR(squares / pulls, 1.0, 0.25);
}

// ------------------------------------------------------------------------------ the answer

TEST(AKnownCell, IsFoundAmongMostlyWrongReflections)
{
    for (std::uint64_t seed = 1; seed <= 12; ++seed) {
        const simulated made = simulate(requestof(lowcell, 20, 12, 0.02, seed));
        const answer found = solved(listof(made), {lowcell});
        EXPECT_EQ(found.how, verdict::solved) << seed << ": " << found.reason;
        EXPECT_TRUE(samelattice(found.lattices[0].basis, made.truth().primitive)) << seed;
        EXPECT_EQ(found.lattices[0].known, 0);
        EXPECT_TRUE(found.runs.empty());
    }
}

TEST(AKnownCell, IsFoundInAnyLatticeSystem)
{
    int trials = 0;
    for (const latticetype& type : latticetypes) {
        simulationrequest asked = requestof(lowcell, 20, 8, 0.02, 7);
        asked.cell.reset();
        asked.system = type.system;
        asked.centring = type.centring;
        asked.volume = 1500.0;
        const simulated made = simulate(asked);
        const answer found = solved(listof(made), {cellof(made.truth().primitive)});
        EXPECT_EQ(found.how, verdict::solved) << type.system << " " << type.centring;
        EXPECT_TRUE(samelattice(found.lattices[0].basis, made.truth().primitive))
            << type.system << " " << type.centring;
        ++trials;
    }
    EXPECT_EQ(trials, 17);
}

TEST(AKnownCell, IsReportedInTheSettingThatWasGiven)
{
    const simulated made = simulate(requestof(lowcell, 30, 6, 0.01, 8));
    const matrix3 skew(1, 0, 0, 2, 1, 0, -1, 1, 1); // of determinant 1: far from reduced
    const cell6 given = cellof(skew.multiply(made.truth().conventional));
    const answer found = solved(listof(made), {given});
    ASSERT_EQ(found.how, verdict::solved);
    EXPECT_GT(found.lattices[0].basis.determinant(), 0.0);
    const cell6 cell = cellof(found.lattices[0].basis);
    for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(cell[k] / given[k], 1.0, 0.005);
    for (std::size_t k = 3; k < 6; ++k) EXPECT_NEAR(cell[k], given[k], 0.4);
    EXPECT_TRUE(samelattice(found.lattices[0].basis, made.truth().primitive));
}

TEST(AKnownCell, IsTheSameForReflectionsThatAreNegatedOrInAnotherOrder)
{
    const simulated made = simulate(requestof(lowcell, 20, 10, 0.02, 9));
    vectorlist list = listof(made);
    const answer one = solved(list, {lowcell});
    for (std::size_t i = 0; i < list.vectors.size(); i += 2) list.vectors[i] *= -1.0;
    std::swap(list.vectors[0], list.vectors[7]);
    const answer other = solved(list, {lowcell});
    EXPECT_EQ(other.how, verdict::solved);
    EXPECT_NEAR(other.lattices[0].evidence, one.lattices[0].evidence, 1e-3);
    EXPECT_TRUE(samelattice(one.lattices[0].basis, other.lattices[0].basis));
}

TEST(AKnownCell, IsRefusedForReflectionsOfAnotherCellOrOfNone)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        const simulated made = simulate(requestof(lowcell, 20, 0, 0.02, seed));
        const vectorlist list = listof(made);
        // Of the same volume within a per cent.
        const answer other = solved(list, {{6.5, 8.9, 9.6, 92.0, 96.0, 98.0}});
        EXPECT_EQ(other.how, verdict::refused) << seed << ": " << other.reason;
        EXPECT_EQ(solved(scattered(list, seed), {lowcell}).how, verdict::refused) << seed;
    }
}

// Crystals and cells by chance, one volume for both. In some of these a fit with errors of an eighth of
// the distance of points, or six or seven reflections on every sixth or twelfth point, were better than
// reflections by chance make them.
TEST(AKnownCell, IsRefusedForCellsThatAreSimilarOrShareAPartOfTheirPoints)
{
    for (const int i : {24, 26, 85, 93}) {
        simulationrequest asked = requestof(lowcell, 20, 0, 0.01, 5000U + static_cast<unsigned>(i));
        asked.cell.reset();
        asked.volume = 200.0 * std::pow(50.0, (i + 0.5) / 150.0);
        const simulated made = simulate(asked);
        randomnumbers random(77U + static_cast<unsigned>(i));
        const matrix3 other = randomcell(random, latticetypes[0]);
        const double ratio = std::fabs(made.truth().primitive.determinant() / other.determinant());
        const cell6 cell = cellof(scaled(other, std::cbrt(ratio)));
        const answer found = solved(listof(made), {cell});
        EXPECT_EQ(found.how, verdict::refused) << i << ": " << found.reason;
    }
}

// By more than a cell may differ from another crystal's; its orientation is right.
TEST(AKnownCell, IsRefusedWhereOneLikeItExplainsTheReflections)
{
    const simulated made = simulate(requestof(lowcell, 30, 0, 0.01, 4));
    cell6 longer = lowcell;
    longer[0] *= 1.03;
    const answer found = solved(listof(made), {longer});
    EXPECT_EQ(found.how, verdict::refused);
    EXPECT_TRUE(found.reason.starts_with("Not the known cell, but one like it explains the "
                                         "reflections: 7.0"))
        << found.reason;
}

// The plane h k 0 is one of both lattices: what lies in it is not evidence of the third axis.
TEST(AKnownCell, IsRefusedWhereItSharesAPlaneOfPointsAlone)
{
    const matrix3 UB = basisof(lowcell).inverse();
    vectorlist list;
    for (const int l : {0, 1, 2})
        for (int h = 0; h <= 2; ++h)
            for (int k = h == 0 && l == 0 ? 1 : -2; k <= 2; ++k)
                list.vectors.push_back(UB.multiply(vector3(h, k, l)));
    matrix3 other = UB;
    for (int i = 0; i < 3; ++i) other.a[i][2] = 1.31 * UB.a[i][2] + 0.37 * UB.a[i][0];
    const answer found = solved(list, {cellof(other.inverse())});
    EXPECT_EQ(found.how, verdict::refused) << found.reason;
}

TEST(AKnownCell, IsRefusedForFewerThanFourReflections)
{
    vectorlist list = listof(simulate(requestof(lowcell, 20, 0, 0.0, 1)));
    list.vectors.resize(3);
    const answer found = solved(list, {lowcell});
    EXPECT_EQ(found.how, verdict::refused);
    EXPECT_EQ(found.reason, "There are 3 reflections; no orientation is sure with fewer than 4.");
}

// The origin has no direction, and one vector twice makes no plane.
TEST(AKnownCell, IsNotLedAstrayByTheOriginOrByVectorsThatAreThereTwice)
{
    const simulated made = simulate(requestof(lowcell, 20, 8, 0.02, 2));
    vectorlist list = listof(made);
    list.vectors.emplace_back(0.0, 0.0, 0.0);
    list.vectors.push_back(list.vectors[3]);
    const answer found = solved(list, {lowcell});
    EXPECT_EQ(found.how, verdict::solved);
    EXPECT_TRUE(samelattice(found.lattices[0].basis, made.truth().primitive));
    EXPECT_EQ(found.lattices[0].genuine[20], 0.0);
    list.vectors.assign(8, vector3(0.1, 0.2, 0.3));
    EXPECT_EQ(solved(list, {lowcell}).how, verdict::refused);
    list.vectors.assign(8, vector3(0.0, 0.0, 0.0));
    EXPECT_EQ(solved(list, {lowcell}).how, verdict::refused);
    // Far shorter than all points, and far longer than those that are listed.
    for (const double factor : {1e-6, 1e6}) {
        vectorlist scaledlist = listof(made);
        for (vector3& q : scaledlist.vectors) q *= factor;
        EXPECT_EQ(solved(scaledlist, {lowcell}).how, verdict::refused);
    }
}

TEST(AKnownCell, IsNamedAmongSeveral)
{
    const simulated made = simulate(requestof(lowcell, 20, 8, 0.02, 2));
    const cell6 other = {6.5, 8.9, 9.6, 92.0, 96.0, 98.0};
    const cell6 longer = {7.3, 8.0, 10.0, 85.0, 100.0, 95.0};
    const answer found = solved(listof(made), {other, longer, lowcell});
    EXPECT_EQ(found.how, verdict::solved) << found.reason;
    EXPECT_EQ(found.lattices[0].known, 2);
    EXPECT_EQ(found.given, 3);
    EXPECT_EQ(found.reason.substr(0, 35), "One orientation of known cell 3 tak");
}

// Two that differ by less than they may be off do not compete.
TEST(AKnownCell, MayBeGivenTwiceAsTwoCrystalsHadIt)
{
    const simulated made = simulate(requestof(lowcell, 20, 8, 0.02, 2));
    cell6 nearly = lowcell;
    nearly[1] *= 1.002;
    const answer found = solved(listof(made), {lowcell, nearly});
    EXPECT_EQ(found.how, verdict::solved) << found.reason;
}

TEST(AKnownCell, IsAcceptedWithARemarkIfItIsTwiceAsLargeAsItNeedBe)
{
    const simulated made = simulate(requestof(lowcell, 30, 6, 0.01, 3));
    const crystals all = solveall(listof(made), looking({{14.0, 8.0, 10.0, 85.0, 100.0, 95.0}}), 1);
    EXPECT_EQ(all.first.how, verdict::solved);
    ASSERT_EQ(all.remarks.size(), 1U);
    EXPECT_TRUE(all.remarks[0].starts_with("The reflections lie on every second point of the known "
                                           "lattice: a cell of half the volume, 7.0"))
        << all.remarks[0];
    EXPECT_TRUE(solveall(listof(made), looking({lowcell}), 1).remarks.empty());
}

TEST(AKnownCell, IsSaidToBeHalfOfTheTrueOneIfItIs)
{
    const simulated made = simulate(requestof(lowcell, 60, 0, 0.01, 3));
    const crystals all = solveall(listof(made), looking({{3.5, 8.0, 10.0, 85.0, 100.0, 95.0}}), 1);
    EXPECT_EQ(all.first.how, verdict::solved);
    ASSERT_EQ(all.remarks.size(), 1U);
    EXPECT_NE(all.remarks[0].find("have indices in halves"), std::string::npos) << all.remarks[0];
}

// A plane of reflections does not tell a lattice from its mirror image in the plane.
TEST(AKnownCell, IsAmbiguousForReflectionsInAPlane)
{
    const matrix3 UB = basisof(lowcell).inverse();
    vectorlist list;
    for (int h = 0; h <= 3; ++h)
        for (int k = h == 0 ? 1 : -3; k <= 3; ++k)
            list.vectors.push_back(UB.multiply(vector3(h, k, 0)));
    const answer found = solved(list, {lowcell});
    EXPECT_EQ(found.how, verdict::ambiguous);
    EXPECT_EQ(found.competing, 2U) << found.reason;
    const std::string deciding =
        whatdecidesofknown(found.lattices[0].basis, found.lattices[1].basis);
    EXPECT_TRUE(deciding.starts_with("Measure the reflection ")) << deciding;
    // 0 0 1, or another one out of the plane, of lattice 1.
    EXPECT_TRUE(deciding.ends_with(" angstroms, of lattice 1: lattice 2 has none there."));
    // The plane of a monoclinic cell at right angles to its axis is a mirror of the lattice.
    const cell6 monoclinic = {7.0, 8.0, 10.0, 90.0, 100.0, 90.0};
    const matrix3 own = basisof(monoclinic).inverse();
    list.vectors.clear();
    for (int h = 0; h <= 3; ++h)
        for (int l = h == 0 ? 1 : -3; l <= 3; ++l)
            list.vectors.push_back(own.multiply(vector3(h, 0, l)));
    EXPECT_EQ(solved(list, {monoclinic}).how, verdict::solved);
}

// Those of two crystals of one cell: neither orientation is in doubt because of the other.
TEST(AKnownCell, IsFoundForEachOfTwoCrystals)
{
    simulationrequest asked = requestof(lowcell, 40, 0, 0.01, 6);
    asked.lattices = 2;
    const simulated made = simulate(asked);
    const crystals all = solveall(listof(made), looking({lowcell}), 2);
    EXPECT_EQ(all.first.how, verdict::solved) << all.first.reason;
    ASSERT_EQ(all.each.size(), 2U);
    EXPECT_EQ(all.each[1].found.how, verdict::solved);
    ASSERT_TRUE(all.each[1].turn);
    for (const crystal& one : all.each) {
        const matrix3& basis = one.found.lattices[0].basis;
        EXPECT_TRUE(samelattice(basis, made.lattices[0].primitive)
                    || samelattice(basis, made.lattices[1].primitive));
    }
}

// The second crystal is the first one turned, with the same reflections: both are as evident.
TEST(AKnownCell, IsNotInDoubtBecauseOfACrystalThatIsAsEvident)
{
    vectorlist list = listof(simulate(requestof(lowcell, 16, 0, 0.01, 6)));
    for (std::size_t i = 0; i < 16; ++i)
        list.vectors.push_back(rotationby({1.0, 0.3, -0.5}).multiply(list.vectors[i]));
    const answer found = solved(list, {lowcell});
    EXPECT_EQ(found.how, verdict::solved);
    EXPECT_EQ(found.reason, "One orientation of the known cell takes 50 % of the reflections; "
                            "another crystal takes others.");
    // The other crystal competes with none of those that follow the first, and comes last.
    EXPECT_NEAR(found.lattices.back().evidence, found.lattices[0].evidence, 1.0);
    EXPECT_LT(found.lattices[1].evidence, found.lattices[0].evidence - leadneeded);
}

TEST(AKnownCell, IsOrientedByASingleStill)
{
    const matrix3 UB =
        rotationby({0.4, -1.1, 0.7}).multiply(basisof({30, 40, 50, 90, 95, 90}).inverse());
    vectorlist list;
    const vector3 k(0, 0, 1.0); // wavelength 1
    for (int h = -20; h <= 20; ++h)
        for (int i = -20; i <= 20; ++i)
            for (int l = -30; l <= 30; ++l) {
                const vector3 q = UB.multiply(vector3(h, i, l));
                const double off = (q - k).length() - 1.0;
                if (q.length() > 0.05 && q.length() < 0.5 && std::fabs(off) < 2e-4)
                    list.vectors.push_back(q);
            }
    ASSERT_GE(list.vectors.size(), 20U);
    EXPECT_TRUE(ofonestill(list.vectors));
    const answer found = solved(list, {{30, 40, 50, 90, 95, 90}});
    EXPECT_EQ(found.how, verdict::solved) << found.reason;
    EXPECT_TRUE(samelattice(found.lattices[0].basis, UB.inverse()));
}

TEST(AKnownCell, EndsInTimeAndWhenItIsTold)
{
    const vectorlist list = listof(simulate(requestof({21, 22, 23, 88, 95, 92}, 100, 50, 0.02, 1)));
    solveoptions options = looking({{21, 22, 23, 88, 95, 92}});
    const double enough = options.budget;
    options.budget = 1e-9; // no machine does anything in that time
    const answer late = solveknown(list, options);
    EXPECT_TRUE(late.interrupted);
    EXPECT_EQ(late.how, verdict::refused);
    const std::atomic<bool> stop{true};
    options.budget = enough;
    options.stop = &stop;
    EXPECT_TRUE(solveknown(list, options).interrupted);
    options.stop = nullptr;
    const answer found = solveknown(list, options);
    EXPECT_FALSE(found.interrupted);
    EXPECT_EQ(found.how, verdict::solved);
}

TEST(AKnownCell, IsFoundByTheLimitOfReflectionsInALargeCell)
{
    const simulated made = simulate(requestof({21, 22, 23, 88, 95, 92}, 999, 500, 0.02, 1));
    EXPECT_EQ(solved(listof(made), {{21, 22, 23, 88, 95, 92}}).how, verdict::solved);
}

std::string complaintof(const cell6& cell)
{
    try {
        checkknown(cell);
    } catch (const failure& why) {
        return why.what();
    }
    return "";
}

TEST(AKnownCell, MustBeThatOfACrystal)
{
    EXPECT_EQ(complaintof(lowcell), "");
    EXPECT_EQ(complaintof({-7, 8, 10, 85, 100, 95}),
              "The cell has a = -7.0000: a length must be above 0.");
    EXPECT_NE(complaintof({7, 8, 10, 30, 40, 90}).find("belong to no cell"), std::string::npos);
    EXPECT_NE(complaintof({0.7, 8, 10, 85, 100, 95}).find("an axis of 0.7000 angstroms"),
              std::string::npos);
    EXPECT_NE(complaintof({7, 8, 1e9, 85, 100, 95}).find("from 1 to 10000"), std::string::npos);
    // All axes are long, but differences of them are short.
    EXPECT_NE(complaintof({10, 10, 10, 1, 1, 1}).find("an axis of 0.17"), std::string::npos);
}

} // namespace

} // namespace torvik::tools
