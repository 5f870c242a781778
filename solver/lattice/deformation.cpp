#include "solver/lattice/deformation.h"

#include "solver/lattice/short_vectors.h"
#include "solver/numeric/functions.h"

#include <cmath>
#include <cstddef>
#include <numbers>

namespace torvik::solver {

namespace {

constexpr std::size_t size = 9;
constexpr double half = std::numbers::sqrt2 / 2.0;

// The matrix E of each of the nine components.
const std::array<matrix3, size>& units()
{
    static const std::array<matrix3, size> all = {{
        {0, 0, 0, 0, 0, -1, 0, 1, 0},
        {0, 0, 1, 0, 0, 0, -1, 0, 0},
        {0, -1, 0, 1, 0, 0, 0, 0, 0},
        {1, 0, 0, 0, 0, 0, 0, 0, 0},
        {0, 0, 0, 0, 1, 0, 0, 0, 0},
        {0, 0, 0, 0, 0, 0, 0, 0, 1},
        {0, 0, 0, 0, 0, half, 0, half, 0},
        {0, 0, half, 0, 0, 0, half, 0, 0},
        {0, half, 0, half, 0, 0, 0, 0, 0},
    }};
    return all;
}

// The sum of the products of corresponding elements.
double inner(const matrix3& A, const matrix3& B)
{
    double sum = 0.0;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) sum += A.a[i][j] * B.a[i][j];
    return sum;
}

} // namespace

matrix3 deformation_of(const nine& x)
{
    matrix3 E(0.0);
    for (std::size_t k = 0; k < size; ++k) E = E + scaled(units()[k], x[k]);
    return E;
}

nine_by_nine squares_of(const matrix3& G)
{
    nine_by_nine A;
    for (std::size_t k = 0; k < size; ++k) {
        const matrix3 product = units()[k].multiply(G);
        for (std::size_t l = 0; l < size; ++l) A[k][l] = inner(product, units()[l]);
    }
    return A;
}

nine products_of(const matrix3& D)
{
    nine b;
    for (std::size_t k = 0; k < size; ++k) b[k] = inner(units()[k], D);
    return b;
}

double strain_prior::isotropic_variance() const
{
    return deviation * deviation + 3.0 * scale_deviation * scale_deviation;
}

void strain_prior::add_to(nine_by_nine& A) const
{
    nine unit = {};
    for (std::size_t k = 3; k < size; ++k) {
        unit[k] = 1.0;
        const nine column = times(unit);
        for (std::size_t l = 3; l < size; ++l) A[l][k] += column[l];
        unit[k] = 0.0;
    }
}

nine strain_prior::times(const nine& x) const
{
    const double precision = 1.0 / (deviation * deviation);
    const double mean = (x[3] + x[4] + x[5]) / 3.0;
    const double excess = precision - 1.0 / isotropic_variance();
    nine result = {};
    for (std::size_t k = 3; k < size; ++k)
        result[k] = precision * x[k] - (k < 6 ? excess * mean : 0.0);
    return result;
}

double strain_prior::square(const matrix3& strain) const
{
    const double isotropic = strain.trace() * strain.trace() / 3.0;
    return (inner(strain, strain) - isotropic) / (deviation * deviation)
           + isotropic / isotropic_variance();
}

double strain_prior::log_determinant() const
{
    return 5.0 * logarithm(deviation * deviation) + logarithm(isotropic_variance());
}

std::optional<cholesky> cholesky::of(const nine_by_nine& A)
{
    constexpr double rounding = 1e-12;
    nine_by_nine L = {};
    for (std::size_t i = 0; i < size; ++i)
        for (std::size_t j = 0; j <= i; ++j) {
            double sum = A[i][j];
            for (std::size_t k = 0; k < j; ++k) sum -= L[i][k] * L[j][k];
            if (i != j) {
                L[i][j] = sum / L[j][j];
                continue;
            }
            if (!(sum > rounding * A[i][i])) return std::nullopt;
            L[i][i] = std::sqrt(sum);
        }
    return cholesky(L);
}

double cholesky::log_determinant() const
{
    double sum = 0.0;
    for (std::size_t i = 0; i < size; ++i) sum += 2.0 * logarithm(L_[i][i]);
    return sum;
}

nine cholesky::solve(const nine& b) const
{
    nine x = b;
    for (std::size_t i = 0; i < size; ++i) {
        for (std::size_t k = 0; k < i; ++k) x[i] -= L_[i][k] * x[k];
        x[i] /= L_[i][i];
    }
    for (std::size_t i = size; i-- > 0;) {
        for (std::size_t k = i + 1; k < size; ++k) x[i] -= L_[k][i] * x[k];
        x[i] /= L_[i][i];
    }
    return x;
}

nine_by_nine cholesky::inverse() const
{
    nine_by_nine result;
    for (std::size_t k = 0; k < size; ++k) {
        nine unit = {};
        unit[k] = 1.0;
        result[k] = solve(unit);
    }
    return result;
}

matrix3 strain_of(const matrix3& F)
{
    return scaled(F.transpose().multiply(F) - matrix3(), 0.5);
}

double strain_square(const matrix3& F)
{
    const matrix3 strain = strain_of(F);
    return inner(strain, strain);
}

std::vector<matrix3> rotations_of(const matrix3& basis, double strain)
{
    std::array<std::vector<lattice_vector>, 3> rows;
    const double length = row_of(basis, 2).length() * (1.0 + strain);
    for (const lattice_vector& one : short_vectors(basis, length))
        for (std::size_t i = 0; i < 3; ++i) {
            const double square = row_of(basis, static_cast<int>(i)).length_sq();
            if (std::fabs(one.square / square - 1.0) > 2.0 * strain) continue;
            rows[i].push_back(one);
            rows[i].push_back({one.factors * -1.0, one.value * -1.0, one.square});
        }
    std::vector<matrix3> rotations;
    const matrix3 UB = basis.inverse();
    for (const lattice_vector& a : rows[0])
        for (const lattice_vector& b : rows[1])
            for (const lattice_vector& c : rows[2]) {
                const matrix3 T = from_rows(a.factors, b.factors, c.factors);
                if (std::round(T.determinant()) != 1.0) continue;
                const matrix3 F = UB.multiply(from_rows(a.value, b.value, c.value));
                if (strain_square(F) < strain * strain) rotations.push_back(T);
            }
    return rotations;
}

matrix3 nearest_rotation(matrix3 R)
{
    constexpr int steps = 12;
    for (int i = 0; i < steps; ++i) R = scaled(R + R.inverse().transpose(), 0.5);
    return R;
}

matrix3 rotation_by(const vector3& w)
{
    const double angle = w.length();
    const double first = angle > 1e-8 ? sine(angle) / angle : 1.0;
    const double second = angle > 1e-8 ? (1.0 - cosine(angle)) / (angle * angle) : 0.5;
    const matrix3 K = deformation_of({w.x, w.y, w.z, 0, 0, 0, 0, 0, 0});
    return matrix3() + scaled(K, first) + scaled(K.multiply(K), second);
}

} // namespace torvik::solver
