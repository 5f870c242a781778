#include "solver/evidence/known_cell.h"

#include "solver/lattice/deformation.h"
#include "support/simulated_crystals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace torvik::solver {

namespace {

constexpr double two_pi = 2.0 * std::numbers::pi;

const cell_parameters low_cell = {7.0, 8.0, 10.0, 85.0, 100.0, 95.0};

crystal_request request_of(const cell_parameters& cell, int reflections, int outliers, double noise,
                           std::uint64_t seed)
{
    crystal_request asked;
    asked.cell = cell;
    asked.reflections = reflections;
    asked.outliers = outliers;
    asked.noise = noise;
    asked.seed = seed;
    return asked;
}

double square_sum(const matrix3& A)
{
    double sum = 0.0;
    for (const auto& row : A.a)
        for (const double x : row) sum += x * x;
    return sum;
}

// The orders of the groups of rotations, as the International Tables have them.
TEST(TheRotationsOfACell, AreThoseOfItsLattice)
{
    const auto order = [](const cell_parameters& cell) {
        return given_cell(cell).rotations.size();
    };
    EXPECT_EQ(order({7, 8, 10, 85, 100, 95}), 1U);
    EXPECT_EQ(order({7, 8, 10, 90, 100, 90}), 2U);
    EXPECT_EQ(order({7, 8, 10, 90, 90, 90}), 4U);
    EXPECT_EQ(order({7, 7, 10, 90, 90, 90}), 8U);
    EXPECT_EQ(order({7, 7, 10, 90, 90, 120}), 12U);
    EXPECT_EQ(order({7, 7, 7, 80, 80, 80}), 6U);
    EXPECT_EQ(order({7, 7, 7, 90, 90, 90}), 24U);
    EXPECT_EQ(order({7, 7, 7, 60, 60, 60}), 24U); // the primitive cell of F
}

// A cell that is cubic within a few tenths of a per cent has all rotations of a cube approximately.
TEST(TheRotationsOfACell, IncludeApproximateOnes)
{
    EXPECT_EQ(given_cell({7.0, 7.01, 7.02, 90.0, 90.0, 90.1}).rotations.size(), 24U);
    EXPECT_EQ(given_cell({7.0, 7.5, 7.8, 90.0, 90.0, 93.0}).rotations.size(), 2U);
}

double likelihood_of(const std::vector<vector3>& vectors, const matrix3& UB, double s, double w)
{
    const matrix3 basis = UB.inverse();
    const double peak = (1.0 - w) / std::fabs(basis.determinant()) / std::pow(two_pi * s * s, 1.5);
    double sum = 0.0;
    for (const vector3& q : vectors) {
        const vector3 x = basis.multiply(q);
        const vector3 h = {std::round(x.x), std::round(x.y), std::round(x.z)};
        sum += std::log(peak * std::exp(-(q - UB.multiply(h)).length_sq() / (2.0 * s * s)) + w);
    }
    return sum;
}

// The square of a strain over its variances: of the deviatoric and of the isotropic part.
double penalty(const matrix3& e, const strain_prior& prior)
{
    const double mean = e.trace() / 3.0;
    const matrix3 deviatoric = e - scaled(matrix3(), mean);
    const double t = prior.deviation * prior.deviation;
    return square_sum(deviatoric) / t
           + 3.0 * mean * mean / (t + 3.0 * prior.scale_deviation * prior.scale_deviation);
}

// L of a symmetric positive matrix = L L^T, by columns of its definition.
nine_by_nine triangle_of(const nine_by_nine& A)
{
    nine_by_nine L = {};
    for (std::size_t j = 0; j < 9; ++j)
        for (std::size_t i = j; i < 9; ++i) {
            double sum = A[i][j];
            for (std::size_t k = 0; k < j; ++k) sum -= L[i][k] * L[j][k];
            L[i][j] = i == j ? std::sqrt(sum) : sum / L[j][j];
        }
    return L;
}

// The logarithm of the integral over rotations and strains near a refined lattice, of the likelihood
// times the density of the strain over 8 pi^2, by importance sampling: they are drawn from a normal
// distribution of about the right shape, and weighted by the ratio of the integrand to its density.
double integral(const std::vector<vector3>& vectors, const given_cell& cell,
                const assessment& found)
{
    const matrix3 F = found.basis.inverse().multiply(cell.basis);
    const matrix3 R = nearest_rotation(F);
    const matrix3 strain = R.transpose().multiply(F) - matrix3();
    matrix3 gg(0.0);
    for (std::size_t n = 0; n < vectors.size(); ++n) {
        if (found.inlier[n] < 0.5) continue;
        const vector3 g = R.transpose().multiply(vectors[n]);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) gg.a[i][j] += g.at(i) * g.at(j);
    }
    nine_by_nine M = squares_of(scaled(gg, 1.0 / (found.sigma * found.sigma)));
    cell.prior.add_to(M);
    constexpr double wider = 1.2;
    const nine_by_nine L = triangle_of(cholesky::of(M)->inverse());
    double logwidths = 0.0;
    for (std::size_t k = 0; k < 9; ++k) logwidths += std::log(wider * L[k][k]);

    const double best =
        likelihood_of(vectors, found.basis.inverse(), found.sigma, found.outlier_fraction);
    chance random(11);
    double sum = 0.0;
    constexpr int draws = 40000;
    for (int n = 0; n < draws; ++n) {
        nine z;
        double squares = 0.0;
        for (double& one : z) {
            one = normal_deviate(random);
            squares += one * one;
        }
        nine x = {};
        for (std::size_t i = 0; i < 9; ++i)
            for (std::size_t k = 0; k <= i; ++k) x[i] += wider * L[i][k] * z[k];
        const vector3 w = {x[0], x[1], x[2]};
        x[0] = x[1] = x[2] = 0.0;
        const matrix3 e = strain + deformation_of(x);
        const matrix3 UB = R.multiply(rotation_by(w)).multiply(matrix3() + e).multiply(cell.UB);
        const double integrand = likelihood_of(vectors, UB, found.sigma, found.outlier_fraction)
                                 - best - 0.5 * penalty(e, cell.prior);
        sum += std::exp(integrand + 0.5 * squares);
    }
    return best + std::log(sum / draws) + logwidths + 4.5 * std::log(two_pi)
           - std::log(2.0 * two_pi * two_pi) - 3.0 * std::log(two_pi)
           - 0.5
                 * std::log(std::pow(usual_strain, 10.0)
                            * (usual_strain * usual_strain
                               + 3.0 * cell.prior.scale_deviation * cell.prior.scale_deviation));
}

TEST(TheEvidenceOfAKnownCell, IsTheLikelihoodAveragedOverRotationsAndStrains)
{
    for (const cell_parameters& cell :
         {low_cell, cell_parameters{9.0, 9.0, 9.0, 90.0, 90.0, 90.0}}) {
        const simulated_crystal made = simulated(request_of(cell, 24, 4, 0.02, 3));
        const std::vector<vector3>& vectors = made.vectors;
        const given_cell given(cell);
        const matrix3 R = given.orientation_of(made.basis);
        const assessment found = assess_known(vectors, given, R);
        // A symmetric cell has as many equal peaks as it has rotations.
        const double alike = std::log(static_cast<double>(given.rotations.size()));
        EXPECT_NEAR(found.evidence, integral(vectors, given, found) + alike, 0.3);
        // The given cells share the prior probability.
        EXPECT_NEAR(assess_known(vectors, given, R, 3).evidence, found.evidence - std::log(3.0),
                    1e-9);
    }
}

TEST(TheEvidenceOfAKnownCell, IsAveragedOverAFreeScaleToo)
{
    const simulated_crystal made = simulated(request_of(low_cell, 24, 4, 0.02, 3));
    cell_parameters longer = low_cell;
    for (std::size_t i = 0; i < 3; ++i) longer[i] *= 1.015;
    const given_cell given(longer, 0.01);
    const assessment found = assess_known(made.vectors, given, given.deformed_as(made.basis));
    EXPECT_NEAR(found.evidence, integral(made.vectors, given, found), 0.3);
    EXPECT_NEAR(std::cbrt(found.basis.determinant() / given.volume), 1.0 / 1.015, 0.003);
    // Without the freedom of the scale the strain is that of another crystal, at 1.5 % in three directions.
    const given_cell rigid(longer);
    EXPECT_LT(assess_known(made.vectors, rigid, rigid.deformed_as(made.basis)).evidence,
              found.evidence - 10.0);
}

// A scale that is right and determined costs the Occam factor of its prior.
TEST(TheEvidenceOfAKnownCell, PaysForAScaleThatItDetermines)
{
    const simulated_crystal made = simulated(request_of(low_cell, 60, 0, 0.005, 3));
    const given_cell rigid(low_cell);
    const given_cell free(low_cell, 0.01);
    const matrix3 R = rigid.orientation_of(made.basis);
    EXPECT_NEAR(assess_known(made.vectors, rigid, R).evidence
                    - assess_known(made.vectors, free, R).evidence,
                0.5 * std::log(1.0 + 3.0 * std::pow(0.01 / usual_strain, 2.0)), 0.3);
}

TEST(TheEvidenceOfAKnownCell, RisesFromADisturbedStart)
{
    const simulated_crystal made = simulated(request_of(low_cell, 20, 10, 0.02, 4));
    const std::vector<vector3>& vectors = made.vectors;
    const given_cell given(low_cell);
    const matrix3 R = given.orientation_of(made.basis);
    const double wanted = assess_known(vectors, given, R).evidence;
    for (const vector3& w : {vector3(0.01, 0, 0), vector3(0, -0.01, 0.005)})
        EXPECT_NEAR(assess_known(vectors, given, R.multiply(rotation_by(w))).evidence, wanted,
                    1e-2);
}

TEST(TheEvidenceOfAKnownCell, IsFarHigherThanThatOfAFreeLattice)
{
    const simulated_crystal made = simulated(request_of(low_cell, 20, 12, 0.02, 5));
    const std::vector<vector3>& vectors = made.vectors;
    const given_cell given(low_cell);
    const matrix3 R = given.orientation_of(made.basis);
    constexpr double needed = 12.0; // nats: far beyond what chance gives
    EXPECT_GT(assess_known(vectors, given, R).evidence, needed);
    EXPECT_LT(assess(vectors, made.basis).evidence, needed);
}

} // namespace

} // namespace torvik::solver
