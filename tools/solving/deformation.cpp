#include "solving/deformation.h"

#include "lattice/shortvectors.h"

#include <cmath>
#include <cstddef>
#include <numbers>

namespace torvik::tools {

namespace {

constexpr std::size_t size = 9;
constexpr double half = std::numbers::sqrt2 / 2.0;

// The change that each of the nine components stands for.
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

matrix3 deformationof(const nine& x)
{
    matrix3 E(0.0);
    for (std::size_t k = 0; k < size; ++k) E = E + scaled(units()[k], x[k]);
    return E;
}

ninebynine squaresof(const matrix3& G)
{
    ninebynine A;
    for (std::size_t k = 0; k < size; ++k) {
        const matrix3 product = units()[k].multiply(G);
        for (std::size_t l = 0; l < size; ++l) A[k][l] = inner(product, units()[l]);
    }
    return A;
}

nine productsof(const matrix3& D)
{
    nine b;
    for (std::size_t k = 0; k < size; ++k) b[k] = inner(units()[k], D);
    return b;
}

void addprior(ninebynine& A, double deviation)
{
    for (std::size_t k = 3; k < size; ++k) A[k][k] += 1.0 / (deviation * deviation);
}

std::optional<splitmatrix> splitmatrix::of(const ninebynine& A)
{
    constexpr double rounding = 1e-12;
    ninebynine L = {};
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
    return splitmatrix(L);
}

double splitmatrix::logdeterminant() const
{
    double sum = 0.0;
    for (std::size_t i = 0; i < size; ++i) sum += 2.0 * std::log(L_[i][i]);
    return sum;
}

nine splitmatrix::solve(const nine& b) const
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

ninebynine splitmatrix::inverse() const
{
    ninebynine result;
    for (std::size_t k = 0; k < size; ++k) {
        nine unit = {};
        unit[k] = 1.0;
        result[k] = solve(unit);
    }
    return result;
}

double strainsquare(const matrix3& F)
{
    const matrix3 strain = scaled(F.transpose().multiply(F) - matrix3(), 0.5);
    return inner(strain, strain);
}

// Newton's iteration to the orthogonal factor (Higham, 1986).
std::vector<matrix3> turnsof(const matrix3& basis, double strain)
{
    std::array<std::vector<latticevector>, 3> rows;
    const double length = rowof(basis, 2).length() * (1.0 + strain);
    for (const latticevector& one : shortvectors(basis, length))
        for (std::size_t i = 0; i < 3; ++i) {
            const double square = rowof(basis, static_cast<int>(i)).length_sq();
            if (std::fabs(one.square / square - 1.0) > 2.0 * strain) continue;
            rows[i].push_back(one);
            rows[i].push_back({one.factors * -1.0, one.value * -1.0, one.square});
        }
    std::vector<matrix3> turns;
    const matrix3 UB = basis.inverse();
    for (const latticevector& a : rows[0])
        for (const latticevector& b : rows[1])
            for (const latticevector& c : rows[2]) {
                const matrix3 T = fromrows(a.factors, b.factors, c.factors);
                if (std::round(T.determinant()) != 1.0) continue;
                const matrix3 F = UB.multiply(fromrows(a.value, b.value, c.value));
                if (strainsquare(F) < strain * strain) turns.push_back(T);
            }
    return turns;
}

matrix3 nearestrotation(matrix3 R)
{
    constexpr int steps = 12;
    for (int i = 0; i < steps; ++i) R = scaled(R + R.inverse().transpose(), 0.5);
    return R;
}

// Rodrigues' formula.
matrix3 rotationby(const vector3& w)
{
    const double angle = w.length();
    const double first = angle > 1e-8 ? std::sin(angle) / angle : 1.0;
    const double second = angle > 1e-8 ? (1.0 - std::cos(angle)) / (angle * angle) : 0.5;
    const matrix3 K = deformationof({w.x, w.y, w.z, 0, 0, 0, 0, 0, 0});
    return matrix3() + scaled(K, first) + scaled(K.multiply(K), second);
}

} // namespace torvik::tools
