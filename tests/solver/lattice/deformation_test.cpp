#include "solver/lattice/deformation.h"

#include "support/random_bases.h"

#include <gtest/gtest.h>

#include <cmath>

namespace torvik::solver {

namespace {

nine random_nine(chance& random)
{
    nine x;
    for (double& one : x) one = random.between(-1.0, 1.0);
    return x;
}

double square_sum(const matrix3& A)
{
    double sum = 0.0;
    for (const auto& row : A.a)
        for (const double x : row) sum += x * x;
    return sum;
}

TEST(SmallChanges, HaveTheirSumsOfSquaresAndProductsAsQuadraticForms)
{
    chance random(5);
    const nine x = random_nine(random);
    const matrix3 E = deformation_of(x);
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
    const nine_by_nine A = squares_of(G);
    const nine b = products_of(D);
    double form = 0.0;
    double line = 0.0;
    for (std::size_t k = 0; k < 9; ++k) {
        line += b[k] * x[k];
        for (std::size_t l = 0; l < 9; ++l) form += x[k] * A[k][l] * x[l];
    }
    EXPECT_NEAR(form, squares, 1e-12);
    EXPECT_NEAR(line, products, 1e-12);
}

// So the prior of the strains does not depend on the choice of axes.
TEST(SmallChanges, HaveStrainsWithTheLengthOfTheirMatrix)
{
    chance random(6);
    nine x = random_nine(random);
    x[0] = x[1] = x[2] = 0.0;
    double sum = 0.0;
    for (const double one : x) sum += one * one;
    EXPECT_NEAR(square_sum(deformation_of(x)), sum, 1e-12);
    // To the first order (F^T F - 1) / 2 is the strain.
    const matrix3 small = scaled(deformation_of(x), 1e-6);
    const matrix3 rotated = rotation_by({0.3, -1.0, 2.0}).multiply(matrix3() + small);
    EXPECT_NEAR(strain_square(rotated) / (1e-12 * sum), 1.0, 1e-5);
}

TEST(SmallChanges, RotateByRotationVectors)
{
    const vector3 axis = {1.0, 2.0, -2.0}; // of length 3
    const double angle = 0.7;
    const matrix3 R = rotation_by(axis * (angle / 3.0));
    EXPECT_NEAR(square_sum(R.multiply(R.transpose()) - matrix3()), 0.0, 1e-28);
    EXPECT_NEAR(R.determinant(), 1.0, 1e-14);
    EXPECT_NEAR((R.multiply(axis) - axis).length(), 0.0, 1e-14);
    EXPECT_NEAR(R.a[0][0] + R.a[1][1] + R.a[2][2], 1.0 + 2.0 * std::cos(angle), 1e-14);
    const matrix3 strained = R.multiply(matrix3(1.01, 0.002, 0, 0.002, 0.99, 0.001, 0, 0.001, 1));
    EXPECT_NEAR(square_sum(nearest_rotation(strained) - R), 0.0, 1e-24);
}

TEST(SmallChanges, AreSolvedForByACholeskyFactorisation)
{
    chance random(7);
    nine_by_nine A = {};
    for (int n = 0; n < 12; ++n) {
        const nine x = random_nine(random);
        for (std::size_t k = 0; k < 9; ++k)
            for (std::size_t l = 0; l < 9; ++l) A[k][l] += x[k] * x[l];
    }
    const auto factored = cholesky::of(A);
    ASSERT_TRUE(factored);
    const nine wanted = random_nine(random);
    nine b = {};
    for (std::size_t k = 0; k < 9; ++k)
        for (std::size_t l = 0; l < 9; ++l) b[k] += A[k][l] * wanted[l];
    const nine x = factored->solve(b);
    const nine_by_nine inverse = factored->inverse();
    for (std::size_t k = 0; k < 9; ++k) {
        EXPECT_NEAR(x[k], wanted[k], 1e-9);
        double y = 0.0;
        for (std::size_t l = 0; l < 9; ++l) y += inverse[k][l] * b[l];
        EXPECT_NEAR(y, wanted[k], 1e-9);
    }
    nine_by_nine diagonal = {};
    for (std::size_t k = 0; k < 9; ++k) diagonal[k][k] = 2.0;
    EXPECT_NEAR(cholesky::of(diagonal)->log_determinant(), 9.0 * std::log(2.0), 1e-12);
    diagonal[4][4] = 0.0;
    EXPECT_FALSE(cholesky::of(diagonal));
}

} // namespace

} // namespace torvik::solver
