#include "solver/evidence/metric_symmetry.h"

#include "solver/evidence/lattice_prior.h"
#include "support/random_bases.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>

namespace torvik::solver {

namespace {

struct measured_lattice {
    std::vector<vector3> vectors;
    assessment lattice;
};

// Exact reflections with indices from -2 to 2 that are taken with errors.
measured_lattice measured(const matrix3& basis, double sigma)
{
    measured_lattice made;
    made.lattice.basis = basis;
    made.lattice.sigma = sigma;
    const matrix3 UB = basis.inverse();
    for (int h = -2; h <= 2; ++h)
        for (int k = -2; k <= 2; ++k)
            for (int l = -2; l <= 2; ++l)
                if (h != 0 || k != 0 || l != 0)
                    made.vectors.push_back(UB.multiply(vector3(h, k, l)));
    made.lattice.inlier.assign(made.vectors.size(), 1.0);
    return made;
}

double gain(const matrix3& basis, double sigma)
{
    const measured_lattice made = measured(basis, sigma);
    return symmetry_gain(made.vectors, made.lattice);
}

constexpr double sigma = 0.0003;

TEST(TheGainOfSymmetry, IsTheShareOfTriclinicLatticesWithoutAny)
{
    const matrix3 basis(7.0, 0.3, -0.4, 1.1, 8.3, 0.7, -0.6, 2.1, 9.9);
    EXPECT_NEAR(gain(basis, sigma), std::log(triclinic_prior), 1e-9);
}

// The sum over the points of g g^T is S times the unit matrix, so that each strain has the variance sigma^2 / S.
TEST(TheGainOfSymmetry, IsThatOfItsDefinitionForACube)
{
    const measured_lattice made = measured(matrix3(10, 0, 0, 0, 10, 0, 0, 0, 10), sigma);
    double S = 0.0;
    for (const vector3& g : made.vectors) S += g.x * g.x;
    const double pi = std::numbers::pi;
    const double variance = sigma * sigma / S + 0.002 * 0.002;
    const double cubic = std::log(24.0 / (8.0 * pi * pi)) + 0.5 * std::log(3.0)
                         - 1.5 * std::log(2.0) + std::log(measure_of_lattices)
                         - 2.5 * std::log(2.0 * pi * variance);
    const double least = std::log(0.07 / 3.0) + cubic;
    EXPECT_NEAR(symmetry_gain(made.vectors, made.lattice), least, 1e-6);
    EXPECT_GT(least, 15.0);
}

TEST(TheGainOfSymmetry, RisesWithTheSymmetryAndFallsWithTheErrors)
{
    const matrix3 monoclinic(7, 0, 0, 0, 9, 0, -2.2, 0, 11);
    const matrix3 orthorhombic(7, 0, 0, 0, 9, 0, 0, 0, 11);
    const matrix3 tetragonal(7, 0, 0, 0, 7, 0, 0, 0, 11);
    const matrix3 cubic(7, 0, 0, 0, 7, 0, 0, 0, 7);
    double before = 0.0;
    for (const matrix3& basis : {monoclinic, orthorhombic, tetragonal, cubic}) {
        EXPECT_GT(gain(basis, sigma), before + 2.0);
        before = gain(basis, sigma);
        EXPECT_LT(gain(basis, 60.0 * sigma), before - 2.0);
    }
}

TEST(TheGainOfSymmetry, DoesNotDependOnTheBasisOrTheOrientation)
{
    chance random(4);
    const matrix3 rhombohedral(6, 1.5, 1.5, 1.5, 6, 1.5, 1.5, 1.5, 6);
    const double expected = gain(rhombohedral, sigma);
    EXPECT_GT(expected, 8.0);
    for (int i = 0; i < 20; ++i) {
        const measured_lattice made =
            measured(rhombohedral.multiply(random_rotation(random)), sigma);
        measured_lattice other = made;
        other.lattice.basis = matrix3(1, 0, 0, 1, 1, 0, 0, -1, 1).multiply(made.lattice.basis);
        EXPECT_NEAR(symmetry_gain(made.vectors, made.lattice), expected, 1e-6);
        EXPECT_NEAR(symmetry_gain(other.vectors, other.lattice), expected, 1e-6);
    }
}

// A strain of several standard deviations leaves no symmetry; one of half a deviation nearly all.
TEST(TheGainOfSymmetry, IsLostByAStrainBeyondTheErrors)
{
    const double whole = gain(matrix3(10, 0, 0, 0, 10, 0, 0, 0, 10), sigma);
    const double nearly = gain(matrix3(10, 0, 0, 0, 10, 0, 0, 0, 10.01), sigma);
    const double tetragonal = gain(matrix3(10, 0, 0, 0, 10, 0, 0, 0, 10.2), sigma);
    EXPECT_NEAR(nearly, whole, 0.5);
    EXPECT_LT(tetragonal, whole - 2.0);
    EXPECT_NEAR(tetragonal, gain(matrix3(10, 0, 0, 0, 10, 0, 0, 0, 13), sigma), 1.0);
}

// Of lattices without symmetry one in e^3 or less may gain 3 nats, since the mean of the odds is 1 at most.
TEST(TheGainOfSymmetry, IsSeldomThatOfChance)
{
    chance random(11);
    int high = 0;
    constexpr int lattices = 1000;
    for (int i = 0; i < lattices; ++i)
        if (gain(random_basis(random), 0.002) > 3.0) ++high;
    EXPECT_LE(high, lattices / 20);
}

} // namespace

} // namespace torvik::solver
