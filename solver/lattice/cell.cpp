#include "solver/lattice/cell.h"

#include "solver/lattice/invalid_input.h"
#include "solver/lattice/short_vectors.h"
#include "solver/lattice/text.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace torvik::solver {

namespace {

// The cosine of an angle in degrees, exact for the angles of symmetric cells.
double cosine_of(double degrees)
{
    if (degrees == 90.0) return 0.0;
    if (degrees == 60.0) return 0.5;
    if (degrees == 120.0) return -0.5;
    return std::cos(gemmi::rad(degrees));
}

// The angle between two vectors in degrees, as precise near 0 and 180 as near 90.
double angle_of(const vector3& u, const vector3& v)
{
    return gemmi::deg(std::atan2(u.cross(v).length(), u.dot(v)));
}

// The square of the volume of a cell of unit lengths.
double unit_volume_square(const cell_parameters& cell)
{
    const double ca = cosine_of(cell[3]);
    const double cb = cosine_of(cell[4]);
    const double cg = cosine_of(cell[5]);
    return 1.0 - ca * ca - cb * cb - cg * cg + 2.0 * ca * cb * cg;
}

constexpr std::array<const char*, 6> names = {"a", "b", "c", "alpha", "beta", "gamma"};

// The scalar products of the conditions, in the letters of the paper.
struct products {
    double A, B, C;       // a.a, b.b, c.c
    double xi, eta, zeta; // 2 b.c, 2 a.c, 2 a.b
};

products products_of(const matrix3& basis)
{
    const vector3 a = row_of(basis, 0);
    const vector3 b = row_of(basis, 1);
    const vector3 c = row_of(basis, 2);
    return {a.length_sq(), b.length_sq(),  c.length_sq(),
            2 * b.dot(c),  2.0 * a.dot(c), 2.0 * a.dot(b)};
}

// Niggli's conditions after Krivy & Gruber (1976). Values count as equal within `e`, and a smaller one
// may exceed a larger one by `e`.
class niggli_conditions {
public:
    explicit niggli_conditions(double e) : e_(e) {}

    [[nodiscard]] bool fulfilled(const products& p) const
    {
        if (above(p.A, p.B) || above(p.B, p.C)) return false;
        const double x = std::fabs(p.xi);
        const double y = std::fabs(p.eta);
        const double z = std::fabs(p.zeta);
        if (above(x, p.B) || above(y, p.A) || above(z, p.A)) return false;
        if (equal(p.A, p.B) && above(x, y)) return false;
        if (equal(p.B, p.C) && above(y, z)) return false;
        return acute(p) ? fulfilled_acute(p) : fulfilled_obtuse(p);
    }

private:
    [[nodiscard]] bool above(double x, double y) const
    {
        return x > y + e_;
    }
    [[nodiscard]] bool equal(double x, double y) const
    {
        return std::fabs(x - y) <= e_;
    }
    [[nodiscard]] bool acute(const products& p) const
    {
        return p.xi > e_ && p.eta > e_ && p.zeta > e_;
    }

    [[nodiscard]] bool fulfilled_acute(const products& p) const
    {
        if (equal(p.xi, p.B) && above(p.zeta, 2.0 * p.eta)) return false;
        if (equal(p.eta, p.A) && above(p.zeta, 2.0 * p.xi)) return false;
        return !(equal(p.zeta, p.A) && above(p.eta, 2.0 * p.xi));
    }

    [[nodiscard]] bool fulfilled_obtuse(const products& p) const
    {
        if (above(p.xi, 0.0) || above(p.eta, 0.0) || above(p.zeta, 0.0)) return false;
        if (equal(-p.xi, p.B) && !equal(p.zeta, 0.0)) return false;
        if (equal(-p.eta, p.A) && !equal(p.zeta, 0.0)) return false;
        if (equal(-p.zeta, p.A) && !equal(p.eta, 0.0)) return false;
        const double sum = p.xi + p.eta + p.zeta + p.A + p.B;
        if (above(0.0, sum)) return false;
        return !(equal(sum, 0.0) && above(2.0 * (p.A + p.eta) + p.zeta, 0.0));
    }

    double e_;
};

// A function that has different values for bases of different shape. Lengths weigh most; the factors
// are arbitrary, chosen so that two shapes have the same value only by coincidence.
double preference(const products& p)
{
    return p.A + 0.9137 * p.B + 0.8291 * p.C + 0.0719 * p.xi + 0.0533 * p.eta + 0.0391 * p.zeta;
}

// A product of integer matrices, without negative zeros.
matrix3 integer_product(const matrix3& S, const matrix3& T)
{
    matrix3 product = S.multiply(T);
    for (auto& row : product.a)
        for (double& x : row) x = std::round(x) + 0.0;
    return product;
}

// The distance of a matrix from the identity, then its elements: the smaller list is preferred.
std::vector<double> order_of(const matrix3& T)
{
    std::vector<double> order = {0.0};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            order.front() += std::fabs(T[i][j] - (i == j ? 1.0 : 0.0));
            order.push_back(-T[i][j]);
        }
    return order;
}

// Collects bases of a lattice and keeps the preferred one.
class choice {
public:
    // `basis` is the given basis, `shortest` one of shortest vectors of its lattice.
    choice(const matrix3& basis, const short_basis& shortest, double rounding)
        : basis_(basis), shortest_(shortest), rounding_(rounding)
    {
    }

    // Considers a basis, given in integer multiples of the shortest one.
    void offer(const matrix3& factors, const products& p)
    {
        const double value = preference(p);
        if (chosen_ && value > value_ + rounding_) return;
        const matrix3 T = integer_product(factors, shortest_.T);
        if (chosen_ && value > value_ - rounding_ && order_of(*chosen_) <= order_of(T)) return;
        if (!chosen_ || value < value_) value_ = value;
        chosen_ = T;
    }

    [[nodiscard]] bool empty() const
    {
        return !chosen_;
    }

    [[nodiscard]] reduction result() const
    {
        return {chosen_->multiply(basis_), *chosen_};
    }

private:
    matrix3 basis_;
    short_basis shortest_;
    double rounding_;
    double value_ = 0.0;
    std::optional<matrix3> chosen_;
};

// Preferences that differ by less than this fraction of the tolerance are equal up to rounding.
constexpr double rounding_part = 1e-6;

double scale_of(const matrix3& basis)
{
    return std::cbrt(basis.determinant() * basis.determinant());
}

// Calls `take` with the integer factors and the rows of every right-handed basis of one vector from each
// list, with all signs that keep the hand.
template <typename function>
void for_each_basis(const std::array<std::vector<lattice_vector>, 3>& vectors, const function& take)
{
    for (const lattice_vector& u : vectors[0])
        for (const lattice_vector& v : vectors[1])
            for (const lattice_vector& w : vectors[2]) {
                const double d = from_rows(u.factors, v.factors, w.factors).determinant();
                if (std::fabs(d) != 1.0) continue;
                const double hand = from_rows(u.value, v.value, w.value).determinant() > 0 ? 1 : -1;
                for (const double s : {1.0, -1.0})
                    for (const double t : {1.0, -1.0})
                        take(from_rows(s * u.factors, t * v.factors, (hand * s * t) * w.factors),
                             from_rows(s * u.value, t * v.value, (hand * s * t) * w.value));
            }
}

// For each row of the basis, the lattice vectors that are no longer than it.
std::array<std::vector<lattice_vector>, 3> vectors_no_longer(const matrix3& shortest, double e)
{
    const double longest = row_of(shortest, 2).length_sq() + e;
    std::array<std::vector<lattice_vector>, 3> vectors;
    for (const lattice_vector& one : short_vectors(shortest, std::sqrt(longest)))
        for (int i = 0; i < 3; ++i)
            if (one.square <= row_of(shortest, i).length_sq() + e)
                vectors[static_cast<std::size_t>(i)].push_back(one);
    return vectors;
}

bool obtuse(const matrix3& basis, double e)
{
    const vector3 a = row_of(basis, 0);
    const vector3 b = row_of(basis, 1);
    const vector3 c = row_of(basis, 2);
    const vector3 d = -(a + b + c);
    return a.dot(b) <= e && a.dot(c) <= e && b.dot(c) <= e && a.dot(d) <= e && b.dot(d) <= e
           && c.dot(d) <= e && a.length_sq() <= b.length_sq() + e
           && b.length_sq() <= c.length_sq() + e && c.length_sq() <= d.length_sq() + e;
}

} // namespace

cell_parameters cell_of(const matrix3& basis)
{
    const vector3 a = row_of(basis, 0);
    const vector3 b = row_of(basis, 1);
    const vector3 c = row_of(basis, 2);
    return {a.length(), b.length(), c.length(), angle_of(b, c), angle_of(a, c), angle_of(a, b)};
}

matrix3 basis_of(const cell_parameters& cell)
{
    check_cell(cell);
    const double ca = cosine_of(cell[3]);
    const double cb = cosine_of(cell[4]);
    const double cg = cosine_of(cell[5]);
    const double sg = std::sqrt(1.0 - cg * cg);
    const double y = (ca - cb * cg) / sg;
    const double z = std::sqrt(unit_volume_square(cell)) / sg;
    return {cell[0], 0.0,          0.0,         cell[1] * cg, cell[1] * sg,
            0.0,     cell[2] * cb, cell[2] * y, cell[2] * z};
}

double volume_of(const cell_parameters& cell)
{
    return cell[0] * cell[1] * cell[2] * std::sqrt(std::max(0.0, unit_volume_square(cell)));
}

void check_cell(const cell_parameters& cell)
{
    constexpr double flattest = 1e-8; // the square of the volume of a cell of unit lengths
    for (std::size_t i = 0; i < 6; ++i) {
        const bool length = i < 3;
        if (std::isfinite(cell[i]) && cell[i] > 0.0 && (length || cell[i] < 180.0)) continue;
        throw invalid_input(std::string("The cell has ") + names[i] + " = " + fixed(cell[i], 4)
                            + (length ? ": a length must be above 0."
                                      : ": an angle must be above 0 and below 180 degrees."));
    }
    if (cell[3] + cell[4] + cell[5] >= 360.0 || !(unit_volume_square(cell) > flattest))
        throw invalid_input("The angles " + fixed(cell[3], 3) + ", " + fixed(cell[4], 3) + " and "
                            + fixed(cell[5], 3)
                            + " belong to no cell: its three axes lie in a plane, "
                            + "or cannot meet.");
}

matrix3 primitive_transformation(char centring)
{
    constexpr double h = 0.5;
    constexpr double t = 1.0 / 3.0;
    switch (centring) {
    case 'P': return {};
    case 'A': return {1, 0, 0, 0, h, h, 0, -h, h};
    case 'B': return {h, 0, h, 0, 1, 0, -h, 0, h};
    case 'C': return {h, h, 0, -h, h, 0, 0, 0, 1};
    case 'I': return {-h, h, h, h, -h, h, h, h, -h};
    case 'F': return {0, h, h, h, 0, h, h, h, 0};
    case 'R': return {2 * t, t, t, -t, t, t, -t, -2 * t, t};
    default: throw invalid_input(std::string("There is no centring '") + centring + "'.");
    }
}

reduction niggli(const matrix3& basis, double tolerance)
{
    const short_basis shortest = shortest_basis(basis);
    const double e = tolerance * scale_of(shortest.basis);
    const auto vectors = vectors_no_longer(shortest.basis, e);
    const niggli_conditions strict(e);
    choice good(basis, shortest, e * rounding_part);
    choice any(basis, shortest, e * rounding_part);
    for_each_basis(vectors, [&](const matrix3& factors, const matrix3& candidate) {
        const products p = products_of(candidate);
        if (strict.fulfilled(p))
            good.offer(factors, p);
        else if (good.empty())
            any.offer(factors, p);
    });
    // No basis fulfils the conditions only if several of them are violated by about the tolerance; then
    // a basis of shortest vectors is returned.
    return good.empty() ? any.result() : good.result();
}

reduction delaunay(const matrix3& basis, double tolerance)
{
    const short_basis shortest = shortest_basis(basis);
    const double e = tolerance * scale_of(shortest.basis);
    // Each of the four vectors is a sum of vectors of a shortest basis, each used at most once.
    const double longest = row_of(shortest.basis, 0).length() + row_of(shortest.basis, 1).length()
                           + row_of(shortest.basis, 2).length();
    std::vector<lattice_vector> sums;
    for (const lattice_vector& one : short_vectors(shortest.basis, longest))
        if (std::fabs(one.factors.x) <= 1 && std::fabs(one.factors.y) <= 1
            && std::fabs(one.factors.z) <= 1)
            sums.push_back(one);
    choice chosen(basis, shortest, e * rounding_part);
    for_each_basis({sums, sums, sums}, [&](const matrix3& factors, const matrix3& candidate) {
        if (obtuse(candidate, e)) chosen.offer(factors, products_of(candidate));
    });
    if (chosen.empty()) throw invalid_input("The basis has no Delaunay form within the tolerance.");
    return chosen.result();
}

} // namespace torvik::solver
