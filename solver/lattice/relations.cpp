#include "solver/lattice/relations.h"

#include "solver/lattice/cell.h"
#include "solver/lattice/short_vectors.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace torvik::solver {

namespace {

matrix3 rounded(const matrix3& T)
{
    matrix3 whole;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) whole[i][j] = std::round(T[i][j]) + 0.0;
    return whole;
}

double largest_off_whole(const matrix3& T)
{
    double off = 0.0;
    for (int i = 0; i < 3; ++i) off = std::fmax(off, off_whole(row_of(T, i)));
    return off;
}

// The inverse of an integer matrix of determinant 1 or -1.
matrix3 integer_inverse(const matrix3& T)
{
    return rounded(T.inverse());
}

// The relation of D to E if D is an integer multiple of E, given their reductions.
std::optional<lattice_relation> multiple_of(const reduction& D, const reduction& E,
                                            double tolerance, int largest)
{
    const matrix3 ratio = D.basis.multiply(E.basis.inverse());
    const double off = largest_off_whole(ratio);
    if (!(off <= tolerance)) return std::nullopt;
    const matrix3 whole = rounded(ratio);
    const double index = std::round(std::fabs(whole.determinant()));
    if (index < 1.0 || index > largest) return std::nullopt;
    lattice_relation found;
    found.index = static_cast<int>(index);
    found.how = found.index == 1 ? kinship::same : kinship::super;
    found.T = rounded(integer_inverse(D.T).multiply(whole).multiply(E.T));
    found.misfit = off;
    return found;
}

// Searches the bases of a lattice D for those with the lengths and angles of a cell.
class congruence {
public:
    congruence(const matrix3& D, const matrix3& E, double length, double angle)
        : target_(cell_of(E)), hand_(E.determinant() > 0 ? 1.0 : -1.0),
          shortest_(shortest_basis(D)), length_(length), angle_(gemmi::rad(angle))
    {
    }

    // T with T * D congruent to E, and its misfit.
    std::optional<cell_match> best()
    {
        collect();
        for (const lattice_vector& u : candidates_[0])
            for (const lattice_vector& v : candidates_[1])
                for (const double t : {1.0, -1.0}) {
                    const vector3 b = t * v.value;
                    if (angle_misfit(u.value, b, 5) <= angle_) third(u, v, t);
                }
        return best_;
    }

private:
    [[nodiscard]] double length_misfit(double square, std::size_t i) const
    {
        return std::fabs(std::sqrt(square) / target_[i] - 1.0);
    }

    [[nodiscard]] double angle_misfit(const vector3& u, const vector3& v, std::size_t i) const
    {
        return std::fabs(std::atan2(u.cross(v).length(), u.dot(v)) - gemmi::rad(target_[i]));
    }

    void collect()
    {
        const double longest = *std::max_element(target_.begin(), target_.begin() + 3);
        for (const lattice_vector& one : short_vectors(shortest_.basis, longest * (1.0 + length_)))
            for (std::size_t i = 0; i < 3; ++i)
                if (length_misfit(one.square, i) <= length_) candidates_[i].push_back(one);
    }

    void third(const lattice_vector& u, const lattice_vector& v, double t)
    {
        for (const lattice_vector& w : candidates_[2])
            for (const double s : {1.0, -1.0}) {
                const matrix3 factors = from_rows(u.factors, t * v.factors, s * w.factors);
                if (std::fabs(factors.determinant()) != 1.0) continue;
                const vector3 b = t * v.value;
                const vector3 c = s * w.value;
                const double angles =
                    std::fmax(angle_misfit(b, c, 3),
                              std::fmax(angle_misfit(u.value, c, 4), angle_misfit(u.value, b, 5)));
                if (angles > angle_) continue;
                const double lengths =
                    std::fmax(length_misfit(u.square, 0),
                              std::fmax(length_misfit(v.square, 1), length_misfit(w.square, 2)));
                take(factors, from_rows(u.value, b, c), std::fmax(lengths, angles));
            }
    }

    // Fits equal up to rounding are those of a symmetric lattice: the first is kept.
    void take(const matrix3& factors, const matrix3& basis, double misfit)
    {
        constexpr double rounding = 1e-9;
        if (best_ && misfit > best_->misfit - rounding) return;
        const double sign = basis.determinant() * hand_ > 0 ? 1.0 : -1.0;
        best_ = cell_match{kinship::same, 1, rounded(scaled(factors.multiply(shortest_.T), sign)),
                           misfit};
    }

    cell_parameters target_;
    double hand_;
    short_basis shortest_;
    double length_;
    double angle_;
    std::array<std::vector<lattice_vector>, 3> candidates_;
    std::optional<cell_match> best_;
};

// T of an index with T * D congruent to E: the best fit over all superlattices of D. The search uses a
// reduced basis of E, whose vectors are short.
std::optional<cell_match> congruent(const matrix3& D, const reduction& E, int index, double length,
                                    double angle)
{
    std::optional<cell_match> best;
    for (const matrix3& H : hermite_forms(index)) {
        auto found = congruence(H.multiply(D), E.basis, length, angle).best();
        if (!found || (best && found->misfit >= best->misfit)) continue;
        found->index = index;
        found->T = rounded(integer_inverse(E.T).multiply(found->T).multiply(H));
        best = found;
    }
    return best;
}

} // namespace

std::optional<lattice_relation> relation_between(const matrix3& D, const matrix3& E,
                                                 double tolerance, int largest)
{
    const reduction first = niggli(D);
    const reduction second = niggli(E);
    if (auto found = multiple_of(first, second, tolerance, largest)) return found;
    auto found = multiple_of(second, first, tolerance, largest);
    if (found) found->how = found->index == 1 ? kinship::same : kinship::sub;
    return found;
}

bool same_lattice(const matrix3& D, const matrix3& E, double tolerance)
{
    return relation_between(D, E, tolerance, 1).has_value();
}

std::vector<matrix3> hermite_forms(int index)
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

std::vector<matrix3> finer_forms(int index)
{
    std::vector<matrix3> forms = hermite_forms(index);
    for (matrix3& form : forms) form = form.transpose().inverse();
    return forms;
}

std::optional<cell_match> match_cells(const matrix3& D, const matrix3& E, double length,
                                      double angle, int largest)
{
    // Lengths and angles within their tolerances change the volume by at most about three times both.
    const double slack = 3.0 * (length + gemmi::rad(angle));
    const double ratio = std::fabs(D.determinant() / E.determinant());
    const reduction first = niggli(D);
    const reduction second = niggli(E);
    for (int index = 1; index <= largest; ++index) {
        std::optional<cell_match> up;
        std::optional<cell_match> down;
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

} // namespace torvik::solver
