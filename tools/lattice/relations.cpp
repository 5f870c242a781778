#include "lattice/relations.h"

#include "lattice/cell.h"
#include "lattice/shortvectors.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace torvik::tools {

namespace {

matrix3 rounded(const matrix3& T)
{
    matrix3 whole;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) whole[i][j] = std::round(T[i][j]) + 0.0;
    return whole;
}

double largestoff(const matrix3& T)
{
    double off = 0.0;
    for (int i = 0; i < 3; ++i) off = std::fmax(off, offwhole(rowof(T, i)));
    return off;
}

// The inverse of a whole matrix of determinant 1 or -1.
matrix3 wholeinverse(const matrix3& T)
{
    return rounded(T.inverse());
}

// What makes the first of two reduced bases from the second, if it is whole.
std::optional<latticerelation> madefrom(const reduced& D, const reduced& E, double tolerance,
                                        int largest)
{
    const matrix3 ratio = D.basis.multiply(E.basis.inverse());
    const double off = largestoff(ratio);
    if (!(off <= tolerance)) return std::nullopt;
    const matrix3 whole = rounded(ratio);
    const double index = std::round(std::fabs(whole.determinant()));
    if (index < 1.0 || index > largest) return std::nullopt;
    latticerelation found;
    found.index = static_cast<int>(index);
    found.how = found.index == 1 ? kinship::same : kinship::super;
    found.T = rounded(wholeinverse(D.T).multiply(whole).multiply(E.T));
    found.misfit = off;
    return found;
}

// ------------------------------------------------------------------------------ congruent bases

// Looks for bases of a lattice with the lengths and angles of a cell.
class congruence {
public:
    congruence(const matrix3& D, const matrix3& E, double length, double angle)
        : target_(cellof(E)), hand_(E.determinant() > 0 ? 1.0 : -1.0), shortest_(shortestbasis(D)),
          length_(length), angle_(gemmi::rad(angle))
    {
    }

    // T with T * D congruent to E, and how well.
    std::optional<cellmatch> best()
    {
        collect();
        for (const latticevector& u : candidates_[0])
            for (const latticevector& v : candidates_[1])
                for (const double t : {1.0, -1.0}) {
                    const vector3 b = t * v.value;
                    if (misangle(u.value, b, 5) <= angle_) third(u, v, t);
                }
        return best_;
    }

private:
    [[nodiscard]] double mislength(double square, std::size_t i) const
    {
        return std::fabs(std::sqrt(square) / target_[i] - 1.0);
    }

    [[nodiscard]] double misangle(const vector3& u, const vector3& v, std::size_t i) const
    {
        return std::fabs(std::atan2(u.cross(v).length(), u.dot(v)) - gemmi::rad(target_[i]));
    }

    void collect()
    {
        const double longest = *std::max_element(target_.begin(), target_.begin() + 3);
        for (const latticevector& one : shortvectors(shortest_.basis, longest * (1.0 + length_)))
            for (std::size_t i = 0; i < 3; ++i)
                if (mislength(one.square, i) <= length_) candidates_[i].push_back(one);
    }

    void third(const latticevector& u, const latticevector& v, double t)
    {
        for (const latticevector& w : candidates_[2])
            for (const double s : {1.0, -1.0}) {
                const matrix3 factors = fromrows(u.factors, t * v.factors, s * w.factors);
                if (std::fabs(factors.determinant()) != 1.0) continue;
                const vector3 b = t * v.value;
                const vector3 c = s * w.value;
                const double angles = std::fmax(
                    misangle(b, c, 3), std::fmax(misangle(u.value, c, 4), misangle(u.value, b, 5)));
                if (angles > angle_) continue;
                const double lengths =
                    std::fmax(mislength(u.square, 0),
                              std::fmax(mislength(v.square, 1), mislength(w.square, 2)));
                take(factors, fromrows(u.value, b, c), std::fmax(lengths, angles));
            }
    }

    // Fits alike but for rounding are those of a symmetric lattice: the first one stands.
    void take(const matrix3& factors, const matrix3& basis, double misfit)
    {
        constexpr double rounding = 1e-9;
        if (best_ && misfit > best_->misfit - rounding) return;
        const double sign = basis.determinant() * hand_ > 0 ? 1.0 : -1.0;
        best_ = cellmatch{kinship::same, 1, rounded(scaled(factors.multiply(shortest_.T), sign)),
                          misfit};
    }

    cell6 target_;
    double hand_;
    shortbasis shortest_;
    double length_;
    double angle_;
    std::array<std::vector<latticevector>, 3> candidates_;
    std::optional<cellmatch> best_;
};

// T of an index with T * D congruent to E: its best fit over all superlattices of D. The congruence is
// looked for with a reduced basis of E, whose vectors are short.
std::optional<cellmatch> congruent(const matrix3& D, const reduced& E, int index, double length,
                                   double angle)
{
    std::optional<cellmatch> best;
    for (const matrix3& H : hermiteforms(index)) {
        auto found = congruence(H.multiply(D), E.basis, length, angle).best();
        if (!found || (best && found->misfit >= best->misfit)) continue;
        found->index = index;
        found->T = rounded(wholeinverse(E.T).multiply(found->T).multiply(H));
        best = found;
    }
    return best;
}

} // namespace

std::optional<latticerelation> relationbetween(const matrix3& D, const matrix3& E, double tolerance,
                                               int largest)
{
    const reduced first = niggli(D);
    const reduced second = niggli(E);
    if (auto found = madefrom(first, second, tolerance, largest)) return found;
    auto found = madefrom(second, first, tolerance, largest);
    if (found) found->how = found->index == 1 ? kinship::same : kinship::sub;
    return found;
}

bool samelattice(const matrix3& D, const matrix3& E, double tolerance)
{
    return relationbetween(D, E, tolerance, 1).has_value();
}

std::vector<matrix3> hermiteforms(int index)
{
    std::vector<matrix3> forms;
    for (int p = 1; p <= index; ++p)
        for (int q = 1; p * q <= index; ++q) {
            if (index % (p * q) != 0) continue;
            const int r = index / (p * q);
            for (int x = 0; x < q; ++x)
                for (int y = 0; y < r; ++y)
                    for (int z = 0; z < r; ++z) forms.emplace_back(p, x, y, 0, q, z, 0, 0, r);
        }
    return forms;
}

std::vector<matrix3> finerforms(int index)
{
    std::vector<matrix3> forms = hermiteforms(index);
    for (matrix3& form : forms) form = form.transpose().inverse();
    return forms;
}

std::optional<cellmatch> matchcells(const matrix3& D, const matrix3& E, double length, double angle,
                                    int largest)
{
    // Lengths and angles within their tolerances leave the volume within about three times both.
    const double slack = 3.0 * (length + gemmi::rad(angle));
    const double ratio = std::fabs(D.determinant() / E.determinant());
    const reduced first = niggli(D);
    const reduced second = niggli(E);
    for (int index = 1; index <= largest; ++index) {
        std::optional<cellmatch> up;
        std::optional<cellmatch> down;
        if (std::fabs(ratio * index - 1.0) <= slack)
            up = congruent(D, second, index, length, angle);
        if (index > 1 && std::fabs(ratio / index - 1.0) <= slack)
            down = congruent(E, first, index, length, angle);
        if (up) up->how = index == 1 ? kinship::same : kinship::sub;
        if (down) down->how = kinship::super;
        if (up && (!down || up->misfit <= down->misfit)) return up;
        if (down) return down;
    }
    return std::nullopt;
}

} // namespace torvik::tools
