#include "solver/verdict/remarks.h"

#include "solver/lattice/misorientation.h"
#include "solver/lattice/relations.h"
#include "solver/lattice/text.h"
#include "solver/verdict/diagnosis.h"
#include "solver/verdict/uncertainty.h"

#include <cmath>
#include <limits>

namespace torvik::solver {

namespace {

// The shortest reflection of a lattice that lies between the points of another, as "1 0 2 (d = 5.31
// angstroms)"; empty if there is none with low indices.
std::string only_in(const matrix3& basis, const matrix3& other)
{
    constexpr int most = 3;
    constexpr double nearly_whole = 0.15;
    const matrix3 UB = basis.inverse();
    std::string deciding;
    double shortest = std::numeric_limits<double>::infinity();
    for (int h = 0; h <= most; ++h)
        for (int k = h > 0 ? -most : 0; k <= most; ++k)
            for (int l = h > 0 || k > 0 ? -most : 1; l <= most; ++l) {
                const vector3 q = UB.multiply(vector3(h, k, l));
                if (off_whole(other.multiply(q)) < nearly_whole || q.length() >= shortest) continue;
                shortest = q.length();
                deciding = std::to_string(h) + " " + std::to_string(k) + " " + std::to_string(l)
                           + " (d = " + fixed(1.0 / shortest, 2) + " angstroms)";
            }
    return deciding;
}

} // namespace

std::string what_decides(const matrix3& first, const matrix3& second)
{
    constexpr double tolerance = 0.2;
    constexpr int largest_index = 12;
    const auto related = relation_between(first, second, tolerance, largest_index);
    if (!related || related->how == kinship::same) return "";
    const bool first_is_larger = related->how == kinship::super;
    const std::string deciding = first_is_larger ? only_in(first, second) : only_in(second, first);
    if (deciding.empty()) return "";
    return "The cell of lattice " + std::string(first_is_larger ? "1" : "2") + " is "
           + std::to_string(related->index) + " times as large. Measure its reflection " + deciding
           + ": lattice " + (first_is_larger ? "2" : "1") + " has none there.";
}

std::string what_decides_of_known(const matrix3& first, const matrix3& second)
{
    std::string related = what_decides(first, second);
    if (!related.empty()) return related;
    const std::string deciding = only_in(first, second);
    if (deciding.empty()) return "";
    return "Measure the reflection " + deciding + " of lattice 1: lattice 2 has none there.";
}

std::vector<std::string> remarks_on_further_crystals(const assessment& best, int lattices)
{
    std::vector<std::string> said;
    for (const matrix3& basis : best.further_crystals)
        if (const auto turn = misorientation_of(best.basis, basis))
            said.push_back("A further crystal has the same cell, " + sentence_of(*turn) + ".");
    const int count = 1 + static_cast<int>(best.further_crystals.size());
    if (lattices < count)
        said.push_back("Ask for " + std::to_string(count)
                       + " lattices to index all these crystals.");
    return said;
}

std::string remark_on_precision(const lattice& found)
{
    constexpr double poor = 0.02;
    const uncertain_cell cell = uncertainty_of(found);
    std::string said;
    for (std::size_t i = 0; i < 3; ++i) {
        const double part = cell.error[i] / cell.cell[i];
        if (part <= poor) continue;
        said += said.empty() ? "Poorly determined: " : ", ";
        said += "abc"[i];
        if (std::isfinite(part)) said += " to " + fixed(100.0 * part, 0) + " %";
    }
    return said.empty() ? said
                        : said + ". Reflections in other orientations would determine the cell.";
}

std::vector<std::string> remarks_on(const std::vector<vector3>& vectors,
                                    const std::vector<assessment>& candidates,
                                    std::size_t competing, bool known, int lattices)
{
    const assessment& best = candidates.front();
    std::vector<std::string> said = best.further_crystals.empty()
                                        ? diagnose(vectors, best)
                                        : remarks_on_further_crystals(best, lattices);
    if (competing > 1 && candidates.size() > 1) {
        const matrix3& other = candidates[1].basis;
        said.push_back(known ? what_decides_of_known(best.basis, other)
                             : what_decides(best.basis, other));
    }
    std::erase(said, std::string());
    return said;
}

} // namespace torvik::solver
