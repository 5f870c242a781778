#include "solver/verdict/free_search.h"

#include "solver/evidence/metric_symmetry.h"
#include "solver/evidence/occupation.h"
#include "solver/lattice/short_vectors.h"
#include "solver/numeric/functions.h"
#include "solver/verdict/thresholds.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>

namespace torvik::solver {

namespace {

// Lists up to this length are searched as they are.
constexpr std::size_t most_searched = 400;

// Lattices so far behind the best by quick evidence do not compete for the first place.
constexpr double competing_depth = 9.0;
constexpr std::size_t fewest_kept = 2;

std::vector<vector3> sample_of(const std::vector<vector3>& vectors, std::uint64_t seed)
{
    std::vector<vector3> sample = vectors;
    random_numbers random(seed);
    for (std::size_t i = 0; i < most_searched; ++i)
        std::swap(sample[i], sample[i + random.below(sample.size() - i)]);
    sample.resize(most_searched);
    return sample;
}

// The lattices of a sample, refined on all vectors, with their relatives.
std::vector<candidate_lattice> verified(const std::vector<candidate_lattice>& found,
                                        const reflection_list& all, const search_limits& limits)
{
    lattice_pool pool(all, limits);
    for (const candidate_lattice& one : found) {
        if (limits.over()) break;
        pool.offer(one.basis);
    }
    pool.look_at_relatives();
    std::vector<candidate_lattice> lattices;
    for (const pool_entry& one : pool.entries()) lattices.push_back(one.lattice);
    return lattices;
}

// Those that compete, with their exact evidence, the best first.
std::vector<assessment> exactly(const std::vector<candidate_lattice>& found,
                                const std::vector<vector3>& vectors)
{
    std::vector<assessment> lattices;
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (i >= fewest_kept && found[i].evidence < found[0].evidence - competing_depth) break;
        const assessment exact = assess_with_priors(vectors, found[i].basis);
        if (std::isfinite(exact.evidence)) lattices.push_back(exact);
    }
    sort_by_evidence(lattices);
    return lattices;
}

// Whether the first has more evidence than it needs, and the lead.
bool beyond_doubt(const std::vector<assessment>& lattices)
{
    constexpr double extra_evidence = 4.0;
    if (lattices.empty()) return false;
    const assessment& best = lattices.front();
    double rivals = -std::numeric_limits<double>::infinity();
    for (std::size_t i = 1; i < lattices.size(); ++i)
        rivals = log_sum(rivals, lattices[i].evidence);
    const std::size_t count = best.inlier.size();
    return best.evidence >= evidence_needed_of(count) + extra_evidence
           && best.evidence - rivals >= lead_needed
           && best.indexed >= fraction_needed * static_cast<double>(count);
}

} // namespace

assessment assess_with_priors(const std::vector<vector3>& vectors, const matrix3& start)
{
    assessment one = assess(vectors, start);
    if (std::isfinite(one.evidence))
        one.evidence += occupation_gain(vectors, one) + symmetry_gain(vectors, one);
    return one;
}

void sort_by_evidence(std::vector<assessment>& lattices)
{
    std::stable_sort(
        lattices.begin(), lattices.end(),
        [](const assessment& p, const assessment& q) { return p.evidence > q.evidence; });
}

free_search_result find_lattices(const std::vector<vector3>& vectors, const search_limits& limits)
{
    const reflection_list all(vectors);
    const bool sampled = vectors.size() > most_searched;
    search_result found;
    if (sampled) {
        found = search_lattices(reflection_list(sample_of(vectors, limits.seed)), limits);
        found.lattices = verified(found.lattices, all, limits);
    } else {
        found = search_lattices(all, limits, [&](const std::vector<candidate_lattice>& lattices) {
            return beyond_doubt(exactly(lattices, vectors));
        });
    }
    return {exactly(found.lattices, vectors), found.interrupted, found.rounds};
}

} // namespace torvik::solver
