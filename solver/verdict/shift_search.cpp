#include "solver/verdict/shift_search.h"

#include "solver/evidence/shifted_lattice.h"
#include "solver/lattice/relations.h"
#include "solver/lattice/short_vectors.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace torvik::solver {

namespace {

constexpr int references = 3;
constexpr std::size_t most_differences = 300;
constexpr std::size_t most_refined = 4; // lattices of each reference

// Two lattices with a shift are one if their matrix is whole to this.
constexpr double same_within = 0.15;

void insert(const assessment& one, std::vector<assessment>& all)
{
    if (!std::isfinite(one.evidence)) return;
    const auto same = std::find_if(all.begin(), all.end(), [&](const assessment& other) {
        return same_lattice(other.basis, one.basis, same_within);
    });
    if (same != all.end()) {
        if (same->evidence >= one.evidence) return;
        all.erase(same);
    }
    const auto place = std::find_if(all.begin(), all.end(), [&](const assessment& other) {
        return other.evidence < one.evidence;
    });
    all.insert(place, one);
}

// The differences of the vectors from one of them: from all, or from those of the nearest images.
std::vector<vector3> differences_from(std::size_t reference, const std::vector<vector3>& vectors,
                                      const std::vector<int>& images)
{
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < vectors.size(); ++i)
        if (i != reference) places.push_back(i);
    if (!images.empty() && places.size() > most_differences)
        std::stable_sort(places.begin(), places.end(), [&](std::size_t i, std::size_t j) {
            return std::abs(images[i] - images[reference]) < std::abs(images[j] - images[reference]);
        });
    if (places.size() > most_differences) places.resize(most_differences);
    std::vector<vector3> differences;
    differences.reserve(places.size());
    for (const std::size_t i : places) differences.push_back(vectors[i] - vectors[reference]);
    return differences;
}

} // namespace

std::vector<assessment> find_shifted_lattices(const std::vector<vector3>& vectors,
                                              const std::vector<int>& images,
                                              const std::vector<assessment>& found,
                                              const search_limits& limits)
{
    std::vector<assessment> all;
    for (const assessment& one : found) insert(assess_shifted(vectors, one.basis, {}), all);
    random_numbers random(limits.seed + 1);
    for (int i = 0; i < references && !limits.over(); ++i) {
        const std::size_t reference = random.below(vectors.size());
        const reflection_list list(differences_from(reference, vectors, images));
        const search_result searched = search_lattices(list, limits);
        for (std::size_t k = 0; k < std::min(most_refined, searched.lattices.size()); ++k) {
            if (limits.over()) break;
            insert(assess_shifted(vectors, searched.lattices[k].basis, vectors[reference]), all);
        }
    }
    return all;
}

} // namespace torvik::solver
