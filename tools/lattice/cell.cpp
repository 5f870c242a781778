#include "lattice/cell.h"

#include "base/failure.h"
#include "base/table.h"
#include "base/textfile.h"
#include "lattice/shortvectors.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace torvik::tools {

namespace {

// The cosine of an angle in degrees, without rounding where cells mean it.
double cosineof(double degrees)
{
    if (degrees == 90.0) return 0.0;
    if (degrees == 60.0) return 0.5;
    if (degrees == 120.0) return -0.5;
    return std::cos(gemmi::rad(degrees));
}

// The angle between two vectors in degrees, as precise near 0 and 180 as near 90.
double angleof(const vector3& u, const vector3& v)
{
    return gemmi::deg(std::atan2(u.cross(v).length(), u.dot(v)));
}

// The square of the volume of a cell of unit lengths.
double unitvolumesquare(const cell6& cell)
{
    const double ca = cosineof(cell[3]);
    const double cb = cosineof(cell[4]);
    const double cg = cosineof(cell[5]);
    return 1.0 - ca * ca - cb * cb - cg * cg + 2.0 * ca * cb * cg;
}

constexpr std::array<const char*, 6> names = {"a", "b", "c", "alpha", "beta", "gamma"};

// ------------------------------------------------------------------------------ reduced bases

// The products by which the conditions are stated, in the letters of the paper.
struct products {
    double A, B, C;       // a.a, b.b, c.c
    double xi, eta, zeta; // 2 b.c, 2 a.c, 2 a.b
};

products productsof(const matrix3& basis)
{
    const vector3 a = rowof(basis, 0);
    const vector3 b = rowof(basis, 1);
    const vector3 c = rowof(basis, 2);
    return {a.length_sq(), b.length_sq(),  c.length_sq(),
            2 * b.dot(c),  2.0 * a.dot(c), 2.0 * a.dot(b)};
}

// Niggli's conditions, as Krivy & Gruber (1976) state them. What is equal within `e` counts as
// equal, and what is to be smaller may be larger by `e`.
class conditions {
public:
    explicit conditions(double e) : e_(e) {}

    [[nodiscard]] bool fulfilled(const products& p) const
    {
        if (above(p.A, p.B) || above(p.B, p.C)) return false;
        const double x = std::fabs(p.xi);
        const double y = std::fabs(p.eta);
        const double z = std::fabs(p.zeta);
        if (above(x, p.B) || above(y, p.A) || above(z, p.A)) return false;
        if (equal(p.A, p.B) && above(x, y)) return false;
        if (equal(p.B, p.C) && above(y, z)) return false;
        return acute(p) ? fulfilledacute(p) : fulfilledobtuse(p);
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

    [[nodiscard]] bool fulfilledacute(const products& p) const
    {
        if (equal(p.xi, p.B) && above(p.zeta, 2.0 * p.eta)) return false;
        if (equal(p.eta, p.A) && above(p.zeta, 2.0 * p.xi)) return false;
        return !(equal(p.zeta, p.A) && above(p.eta, 2.0 * p.xi));
    }

    [[nodiscard]] bool fulfilledobtuse(const products& p) const
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

// A function that differs for bases that differ in shape. The lengths come first; the other factors
// are arbitrary: what matters is that no two shapes have the same value but by chance.
double preference(const products& p)
{
    return p.A + 0.9137 * p.B + 0.8291 * p.C + 0.0719 * p.xi + 0.0533 * p.eta + 0.0391 * p.zeta;
}

// A product of whole matrices, without negative zeros.
matrix3 wholeproduct(const matrix3& S, const matrix3& T)
{
    matrix3 product = S.multiply(T);
    for (auto& row : product.a)
        for (double& x : row) x = std::round(x) + 0.0;
    return product;
}

// How far a matrix is from the identity, then its elements: a smaller one comes first.
std::vector<double> orderof(const matrix3& T)
{
    std::vector<double> order = {0.0};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            order.front() += std::fabs(T[i][j] - (i == j ? 1.0 : 0.0));
            order.push_back(-T[i][j]);
        }
    return order;
}

// Collects bases of a lattice, and keeps the one that is preferred.
class choice {
public:
    // `basis` is the given one, and `shortest` one of shortest vectors of its lattice.
    choice(const matrix3& basis, const shortbasis& shortest, double rounding)
        : basis_(basis), shortest_(shortest), rounding_(rounding)
    {
    }

    // A basis in whole multiples of the shortest one.
    void offer(const matrix3& factors, const products& p)
    {
        const double value = preference(p);
        if (chosen_ && value > value_ + rounding_) return;
        const matrix3 T = wholeproduct(factors, shortest_.T);
        if (chosen_ && value > value_ - rounding_ && orderof(*chosen_) <= orderof(T)) return;
        if (!chosen_ || value < value_) value_ = value;
        chosen_ = T;
    }

    [[nodiscard]] bool empty() const
    {
        return !chosen_;
    }

    [[nodiscard]] reduced result() const
    {
        return {chosen_->multiply(basis_), *chosen_};
    }

private:
    matrix3 basis_;
    shortbasis shortest_;
    double rounding_;
    double value_ = 0.0;
    std::optional<matrix3> chosen_;
};

// Two preferences nearer than this part of the tolerance are those of bases alike but for rounding.
constexpr double roundingpart = 1e-6;

double scaleof(const matrix3& basis)
{
    return std::cbrt(basis.determinant() * basis.determinant());
}

// Calls `take` with every right-handed basis of three of the vectors in the given ranges of length,
// each with both signs as the hand allows, and with its whole factors.
template <typename function>
void everybasis(const std::array<std::vector<latticevector>, 3>& vectors, const function& take)
{
    for (const latticevector& u : vectors[0])
        for (const latticevector& v : vectors[1])
            for (const latticevector& w : vectors[2]) {
                const double d = fromrows(u.factors, v.factors, w.factors).determinant();
                if (std::fabs(d) != 1.0) continue;
                const double hand = fromrows(u.value, v.value, w.value).determinant() > 0 ? 1 : -1;
                for (const double s : {1.0, -1.0})
                    for (const double t : {1.0, -1.0})
                        take(fromrows(s * u.factors, t * v.factors, (hand * s * t) * w.factors),
                             fromrows(s * u.value, t * v.value, (hand * s * t) * w.value));
            }
}

// The vectors whose squares of length are at most those of the basis, one after the other.
std::array<std::vector<latticevector>, 3> nolonger(const matrix3& shortest, double e)
{
    const double longest = rowof(shortest, 2).length_sq() + e;
    std::array<std::vector<latticevector>, 3> vectors;
    for (const latticevector& one : shortvectors(shortest, std::sqrt(longest)))
        for (int i = 0; i < 3; ++i)
            if (one.square <= rowof(shortest, i).length_sq() + e)
                vectors[static_cast<std::size_t>(i)].push_back(one);
    return vectors;
}

bool obtuse(const matrix3& basis, double e)
{
    const vector3 a = rowof(basis, 0);
    const vector3 b = rowof(basis, 1);
    const vector3 c = rowof(basis, 2);
    const vector3 d = -(a + b + c);
    return a.dot(b) <= e && a.dot(c) <= e && b.dot(c) <= e && a.dot(d) <= e && b.dot(d) <= e
           && c.dot(d) <= e && a.length_sq() <= b.length_sq() + e
           && b.length_sq() <= c.length_sq() + e && c.length_sq() <= d.length_sq() + e;
}

} // namespace

// ------------------------------------------------------------------------------ cells

cell6 cellof(const matrix3& basis)
{
    const vector3 a = rowof(basis, 0);
    const vector3 b = rowof(basis, 1);
    const vector3 c = rowof(basis, 2);
    return {a.length(), b.length(), c.length(), angleof(b, c), angleof(a, c), angleof(a, b)};
}

matrix3 basisof(const cell6& cell)
{
    checkcell(cell);
    const double ca = cosineof(cell[3]);
    const double cb = cosineof(cell[4]);
    const double cg = cosineof(cell[5]);
    const double sg = std::sqrt(1.0 - cg * cg);
    const double y = (ca - cb * cg) / sg;
    const double z = std::sqrt(unitvolumesquare(cell)) / sg;
    return {cell[0], 0.0,          0.0,         cell[1] * cg, cell[1] * sg,
            0.0,     cell[2] * cb, cell[2] * y, cell[2] * z};
}

double volumeof(const cell6& cell)
{
    return cell[0] * cell[1] * cell[2] * std::sqrt(std::max(0.0, unitvolumesquare(cell)));
}

void checkcell(const cell6& cell)
{
    constexpr double flattest = 1e-8; // the square of the volume of a cell of unit lengths
    for (std::size_t i = 0; i < 6; ++i) {
        const bool length = i < 3;
        if (std::isfinite(cell[i]) && cell[i] > 0.0 && (length || cell[i] < 180.0)) continue;
        throw failure(std::string("The cell has ") + names[i] + " = " + fixed(cell[i], 4)
                      + (length ? ": a length must be above 0."
                                : ": an angle must be above 0 and below 180 degrees."));
    }
    if (cell[3] + cell[4] + cell[5] >= 360.0 || !(unitvolumesquare(cell) > flattest))
        throw failure("The angles " + fixed(cell[3], 3) + ", " + fixed(cell[4], 3) + " and "
                      + fixed(cell[5], 3) + " belong to no cell: its three axes lie in a plane, "
                      + "or cannot meet.");
}

centredcell cellfrom(const std::string& text)
{
    constexpr std::string_view centrings = "PABCIFR";
    centredcell found;
    const std::vector<item> items = itemsof(text, " \t,;");
    if (items.size() < 6 || items.size() > 7)
        throw failure(
            "A cell is six numbers a, b, c, alpha, beta, gamma, and perhaps a letter of the "
            "centring; '"
            + text + "' has " + std::to_string(items.size()) + " items.");
    for (std::size_t i = 0; i < 6; ++i) {
        const std::optional<double> value = numberin(items[i].text);
        if (!value)
            throw failure("The cell '" + text + "' has '" + std::string(items[i].text)
                          + "' where a number is expected for " + names[i] + ".");
        found.cell[i] = *value;
    }
    if (items.size() == 7) {
        const std::string_view letter = items[6].text;
        if (letter.size() != 1 || centrings.find(letter[0]) == std::string_view::npos)
            throw failure("The centring '" + std::string(letter)
                          + "' is none of P, A, B, C, I, F and R.");
        found.centring = letter[0];
    }
    checkcell(found.cell);
    return found;
}

matrix3 primitivetransformation(char centring)
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
    default: throw failure(std::string("There is no centring '") + centring + "'.");
    }
}

// ------------------------------------------------------------------------------ reduction

reduced niggli(const matrix3& basis, double tolerance)
{
    const shortbasis shortest = shortestbasis(basis);
    const double e = tolerance * scaleof(shortest.basis);
    const auto vectors = nolonger(shortest.basis, e);
    const conditions strict(e);
    choice good(basis, shortest, e * roundingpart);
    choice any(basis, shortest, e * roundingpart);
    everybasis(vectors, [&](const matrix3& factors, const matrix3& candidate) {
        const products p = productsof(candidate);
        if (strict.fulfilled(p))
            good.offer(factors, p);
        else if (good.empty())
            any.offer(factors, p);
    });
    // That no basis fulfils the conditions takes errors as large as the tolerance in several of
    // them; then shortest vectors must do.
    return good.empty() ? any.result() : good.result();
}

reduced delaunay(const matrix3& basis, double tolerance)
{
    const shortbasis shortest = shortestbasis(basis);
    const double e = tolerance * scaleof(shortest.basis);
    // Each vector of four is a sum of vectors of a shortest basis, each at most once.
    const double longest = rowof(shortest.basis, 0).length() + rowof(shortest.basis, 1).length()
                           + rowof(shortest.basis, 2).length();
    std::vector<latticevector> sums;
    for (const latticevector& one : shortvectors(shortest.basis, longest))
        if (std::fabs(one.factors.x) <= 1 && std::fabs(one.factors.y) <= 1
            && std::fabs(one.factors.z) <= 1)
            sums.push_back(one);
    choice chosen(basis, shortest, e * roundingpart);
    everybasis({sums, sums, sums}, [&](const matrix3& factors, const matrix3& candidate) {
        if (obtuse(candidate, e)) chosen.offer(factors, productsof(candidate));
    });
    if (chosen.empty()) throw failure("The basis has no Delaunay form within the tolerance.");
    return chosen.result();
}

} // namespace torvik::tools
