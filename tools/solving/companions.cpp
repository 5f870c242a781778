#include "solving/companions.h"

#include "solver/evidence/binomial.h"
#include "solver/evidence/mixture.h"
#include "solver/lattice/cell.h"
#include "solver/lattice/relations.h"
#include "solver/lattice/short_vectors.h"
#include "solving/knownsolve.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace torvik::tools {

namespace {

constexpr std::size_t mostcompanions = 5; // a sixling has as many
constexpr int largestindex = 24;
constexpr std::size_t mosttried = 4; // parts, with all that is left
constexpr double rare = 0.05;        // what chance makes more often is not tried

// A part of the points of a lattice, in terms of its basis: T times that is a basis. And how likely
// chance gives any part of the index as many reflections.
struct latticepart {
    matrix3 T;
    double chance = 1.0;
};

bool has(const matrix3& T, const vector3& h)
{
    constexpr double whole = 0.01; // others are off by 1/24 at least
    return off_whole(T.multiply(h)) < whole;
}

// The indices of the reflections that a lattice takes.
std::vector<vector3> indicesof(const vectorlist& taken, const assessment& one)
{
    std::vector<vector3> indices;
    for (const vector3& q : taken.vectors) indices.push_back(nearest_point(one.basis, q));
    return indices;
}

// The likely parts, the most striking ones first.
std::vector<latticepart> likelyparts(const std::vector<vector3>& indices)
{
    const int count = static_cast<int>(indices.size());
    std::vector<latticepart> found;
    for (int n = 2; n <= largestindex; ++n) {
        const std::vector<matrix3> forms = finer_forms(n);
        for (const matrix3& T : forms) {
            const auto hits = std::count_if(indices.begin(), indices.end(),
                                            [&](const vector3& h) { return has(T, h); });
            if (hits * n <= count) continue;
            const double chance = static_cast<double>(forms.size())
                                  * binomial_tail(static_cast<int>(hits), count, 1.0 / n);
            if (chance < rare) found.push_back({T, chance});
        }
    }
    std::stable_sort(
        found.begin(), found.end(),
        [](const latticepart& one, const latticepart& two) { return one.chance < two.chance; });
    return found;
}

// The reflections that a lattice takes, or those that it leaves.
vectorlist part(const vectorlist& list, const assessment& one, bool taken)
{
    std::vector<std::size_t> chosen;
    for (std::size_t i = 0; i < list.vectors.size(); ++i)
        if ((one.inlier[i] > 0.5) == taken) chosen.push_back(i);
    return those(list, chosen);
}

// The evidence if others took all reflections that are left, without any error.
double most(const assessment& one)
{
    const error_model errors = {one.sigma, 0.0};
    const double hit = errors.peak(std::fabs(one.basis.determinant()));
    const auto left = static_cast<double>(one.inlier.size()) - one.indexed;
    return one.evidence + left * std::max(0.0, std::log(hit));
}

// A lattice with the further crystals of its cell.
assessment joined(const vectorlist& list, assessment one, const std::function<bool()>& over)
{
    solveoptions options;
    options.known = {cell_of(one.basis)};
    vectorlist left = part(list, one, false);
    while (one.further_crystals.size() < mostcompanions && !over()) {
        const answer next = solveknown(left, options);
        if (next.how == verdict::refused) break;
        one.evidence += next.lattices[0].evidence;
        one.further_crystals.push_back(next.lattices[0].basis);
        left = part(left, next.lattices[0], false);
    }
    return one;
}

} // namespace

std::optional<assessment> heldtogether(const vectorlist& list, const assessment& held,
                                       const std::function<bool()>& over)
{
    const double least = held.evidence - leadneeded;
    const vectorlist taken = part(list, held, true);
    const std::vector<vector3> indices = indicesof(taken, held);
    std::size_t tried = 0;
    std::optional<assessment> best;
    for (const latticepart& one : likelyparts(indices)) {
        if (over() || tried == mosttried) break;
        // Few of a part's own points are of other crystals.
        std::vector<vector3> own;
        for (std::size_t i = 0; i < indices.size(); ++i)
            if (has(one.T, indices[i])) own.push_back(taken.vectors[i]);
        const assessment alone = assess(own, shortest_basis(one.T.multiply(held.basis)).basis);
        if (alone.evidence < evidenceneeded) continue;
        const assessment first = assess_unrefined(list.vectors, alone);
        if (first.evidence < evidenceneeded || most(first) < least) continue;
        ++tried;
        const assessment all = joined(list, first, over);
        if (all.further_crystals.empty() || all.evidence < least) continue;
        if (!best || all.evidence > best->evidence) best = all;
    }
    return best;
}

bool among(const assessment& lattice, const assessment& crystals)
{
    constexpr double nearly = 0.15;
    const auto is = [&](const matrix3& basis) {
        return same_lattice(lattice.basis, basis, nearly);
    };
    return is(crystals.basis)
           || std::any_of(crystals.further_crystals.begin(), crystals.further_crystals.end(), is);
}

} // namespace torvik::tools
