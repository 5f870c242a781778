#include "solver/verdict/free_search.h"

#include "solver/evidence/metric_symmetry.h"
#include "solver/evidence/occupation.h"
#include "solver/lattice/short_vectors.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
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

} // namespace

free_search_result find_lattices(const std::vector<vector3>& vectors, const search_limits& limits)
{
    const reflection_list all(vectors);
    const bool sampled = vectors.size() > most_searched;
    search_result found;
    if (sampled) {
        found = search_lattices(reflection_list(sample_of(vectors, limits.seed)), limits);
        found.lattices = verified(found.lattices, all, limits);
    } else {
        found = search_lattices(all, limits);
    }
    free_search_result result;
    result.interrupted = found.interrupted;
    result.rounds = found.rounds;
    for (std::size_t i = 0; i < found.lattices.size(); ++i) {
        const candidate_lattice& one = found.lattices[i];
        if (i >= fewest_kept && one.evidence < found.lattices[0].evidence - competing_depth) break;
        assessment exact = assess(vectors, one.basis);
        if (!std::isfinite(exact.evidence)) continue;
        exact.evidence += occupation_gain(vectors, exact) + symmetry_gain(vectors, exact);
        result.lattices.push_back(exact);
    }
    std::stable_sort(
        result.lattices.begin(), result.lattices.end(),
        [](const assessment& p, const assessment& q) { return p.evidence > q.evidence; });
    return result;
}

} // namespace torvik::solver
