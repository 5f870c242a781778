#include "details.h"

#include "solver/evidence/free_lattice.h"
#include "solver/lattice/relations.h"

#include <cmath>
#include <cstdio>

namespace torvik::study {

namespace {

template <class... values>
std::string formatted(const char* format, values... v)
{
    char text[256];
    std::snprintf(text, sizeof text, format, v...);
    return text;
}

std::string relation_of(const matrix3& found, const matrix3& truth)
{
    const auto relation = tools::relation_between(found, truth, lattice_tolerance, 100);
    if (!relation) return "unrelated";
    switch (relation->how) {
    case tools::kinship::super: return "supercell of index " + std::to_string(relation->index);
    case tools::kinship::sub: return "subcell of index " + std::to_string(relation->index);
    default: return "the truth";
    }
}

std::string cell_text(const matrix3& basis)
{
    const cell_parameters c = tools::cell_of(basis);
    return formatted("%.2f %.2f %.2f %.1f %.1f %.1f", c[0], c[1], c[2], c[3], c[4], c[5]);
}

std::string text_on_truth(const known_list& list)
{
    if (list.lattices.empty()) return "no lattice";
    std::vector<vector3> vectors;
    for (const solver::vec3& v : list.measured.vectors)
        vectors.push_back(vector3(v[0], v[1], v[2]) - list.shift);
    int inliers = 0;
    for (const int crystal : list.crystals) inliers += crystal > 0 ? 1 : 0;
    const matrix3& truth = list.lattices.front();
    return formatted("%d inliers, span %lld, V %.0f, truth ", inliers,
                     static_cast<long long>(list.span), std::fabs(truth.determinant()))
           + cell_text(truth) + formatted(" E %.1f", tools::assess(vectors, truth).evidence);
}

std::string text_on(const solver::lattice& one, const known_list& list)
{
    const matrix3 basis = matrix_of(one.basis);
    std::string text =
        cell_text(basis) + formatted(" E %.1f, %d indexed", one.evidence, one.indexed);
    for (const matrix3& truth : list.lattices) text += ", " + relation_of(basis, truth);
    if (one.shift != solver::vec3{}) text += ", shifted";
    if (!one.further.empty()) text += formatted(", %zu further crystals", one.further.size());
    return text;
}

} // namespace

std::string line_on(const known_list& list, const solver::answer& found)
{
    const char* verdicts[] = {"solved", "ambiguous", "refused"};
    std::string line = formatted("N %zu, ", list.measured.vectors.size()) + text_on_truth(list)
                       + "; " + verdicts[static_cast<int>(found.how)];
    if (!found.lattices.empty())
        line += ": " + text_on(found.lattices.front(), list);
    else if (!found.candidates.empty())
        line += ": " + text_on(found.candidates.front(), list);
    if (found.competing > 1) line += "; next: " + text_on(found.candidates[1], list);
    return line + formatted("; %zu compete, lead %.1f; ", found.competing, found.lead)
           + found.reason;
}

std::string text_of(const known_list& list)
{
    std::string text;
    for (std::size_t i = 0; i < list.measured.vectors.size(); ++i) {
        const auto& [x, y, z] = list.measured.vectors[i];
        const auto& [h, k, l] = list.indices[i];
        text += formatted("%.12g %.12g %.12g  %d  %d %d %d\n", x, y, z, list.crystals[i], h, k, l);
    }
    return text;
}

} // namespace torvik::study
