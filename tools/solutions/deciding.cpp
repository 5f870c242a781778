#include "solutions/deciding.h"

#include "base/table.h"
#include "solutions/solved.h"
#include "solver/lattice/relations.h"

#include <limits>

namespace torvik::tools {

namespace {

// The shortest reflection of a lattice that is between the points of another, as "1 0 2, at a spacing of
// 5.31 angstroms"; empty if there is none with low indices.
std::string only_in(const matrix3& basis, const matrix3& other)
{
    const matrix3 UB = basis.inverse();
    std::string deciding;
    double shortest = std::numeric_limits<double>::infinity();
    constexpr int most = 3;
    constexpr double whole = 0.15;
    for (int h = 0; h <= most; ++h)
        for (int k = h > 0 ? -most : 0; k <= most; ++k)
            for (int l = h > 0 || k > 0 ? -most : 1; l <= most; ++l) {
                const vector3 q = UB.multiply(vector3(h, k, l));
                if (off_whole(other.multiply(q)) < whole || q.length() >= shortest) continue;
                shortest = q.length();
                deciding = std::to_string(h) + " " + std::to_string(k) + " " + std::to_string(l)
                           + ", at a spacing of " + fixed(1.0 / shortest, 2) + " angstroms";
            }
    return deciding;
}

} // namespace

std::string deciding_reflection(const solver::lattice& first, const solver::lattice& second)
{
    const matrix3 D = direct_basis(first);
    const matrix3 E = direct_basis(second);
    constexpr double tolerance = 0.2;
    constexpr int largest = 12;
    const auto related = relation_between(D, E, tolerance, largest);
    if (related && related->how != kinship::same) {
        const bool larger = related->how == kinship::super;
        const std::string deciding = larger ? only_in(D, E) : only_in(E, D);
        if (!deciding.empty())
            return "Lattice " + std::string(larger ? "1" : "2") + " has a cell "
                   + std::to_string(related->index) + " times as large. Measure its reflection "
                   + deciding + ": only it has one there.";
    }
    if (first.known < 0 || second.known < 0) return "";
    const std::string deciding = only_in(D, E);
    if (deciding.empty()) return "";
    return "Measure the reflection " + deciding + ", of lattice 1: lattice 2 has none there.";
}

} // namespace torvik::tools
