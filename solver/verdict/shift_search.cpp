#include "solver/verdict/shift_search.h"

#include "solver/evidence/metric_symmetry.h"
#include "solver/evidence/shifted_lattice.h"
#include "solver/lattice/relations.h"
#include "solver/lattice/short_vectors.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>

namespace torvik::solver {

namespace {

// Reflections from which differences are taken. If one is an outlier, the differences have a shift of their own. So they
// are drawn from the inliers of the best lattice if it indexes most reflections; else it takes more of them.
constexpr int references_among_inliers = 3;
constexpr int references_among_all = 4;
constexpr std::size_t most_differences = 300;
constexpr std::size_t most_refined = 4; // lattices of each reference
constexpr std::size_t most_judging = 400;

// Two lattices with a shift are one if their matrix is whole to this.
constexpr double same_within = 0.15;

void insert(assessment one, const std::vector<vector3>& vectors, std::vector<assessment>& all)
{
    if (!std::isfinite(one.evidence)) return;
    one.evidence += symmetry_gain(vectors, one);
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
            return std::abs(images[i] - images[reference])
                   < std::abs(images[j] - images[reference]);
        });
    if (places.size() > most_differences) places.resize(most_differences);
    std::vector<vector3> differences;
    differences.reserve(places.size());
    for (const std::size_t i : places) differences.push_back(vectors[i] - vectors[reference]);
    return differences;
}

// The places that references are drawn from.
std::vector<std::size_t> reference_places(std::size_t count, const std::vector<assessment>& found)
{
    std::vector<std::size_t> places;
    if (!found.empty() && 2 * static_cast<std::size_t>(found.front().indexed) > count)
        for (std::size_t i = 0; i < count; ++i)
            if (found.front().inlier[i] > 0.5) places.push_back(i);
    if (!places.empty()) return places;
    places.resize(count);
    std::iota(places.begin(), places.end(), std::size_t{0});
    return places;
}

// Places of the vectors that lattices are refined on: all, or some of many by chance.
std::vector<std::size_t> judging_places(std::size_t count, random_numbers& random)
{
    std::vector<std::size_t> places(count);
    std::iota(places.begin(), places.end(), std::size_t{0});
    if (count <= most_judging) return places;
    for (std::size_t i = 0; i < most_judging; ++i)
        std::swap(places[i], places[i + random.below(count - i)]);
    places.resize(most_judging);
    return places;
}

} // namespace

std::vector<assessment> find_shifted_lattices(const std::vector<vector3>& vectors,
                                              const std::vector<int>& images,
                                              const std::vector<assessment>& found, int rounds,
                                              const search_limits& limits)
{
    search_limits quick = limits;
    quick.rounds = rounds;
    random_numbers random(limits.seed + 1);
    const std::vector<std::size_t> judging = judging_places(vectors.size(), random);
    std::vector<vector3> sample;
    for (const std::size_t i : judging) sample.push_back(vectors[i]);
    std::vector<assessment> all;
    double unshifted = -std::numeric_limits<double>::infinity();
    for (const assessment& one : found) {
        if (limits.over()) return {};
        insert(assess_shifted(sample, one.basis, {}), sample, all);
        const assessment exact = assess(sample, one.basis);
        unshifted = std::max(unshifted, exact.evidence + symmetry_gain(sample, exact));
    }
    std::vector<std::size_t> places = reference_places(vectors.size(), found);
    const std::size_t references =
        places.size() < vectors.size() ? references_among_inliers : references_among_all;
    for (std::size_t i = 0; i < references && !limits.over(); ++i) {
        std::swap(places[i], places[i + random.below(places.size() - i)]);
        const std::size_t reference = places[i];
        const reflection_list list(differences_from(reference, vectors, images));
        const search_result searched = search_lattices(list, quick);
        for (std::size_t k = 0; k < std::min(most_refined, searched.lattices.size()); ++k) {
            if (limits.over()) break;
            insert(assess_shifted(sample, searched.lattices[k].basis, vectors[reference]), sample,
                   all);
        }
    }
    constexpr double competing_depth = 9.0;
    std::erase_if(
        all, [&](const assessment& one) { return one.evidence < unshifted - competing_depth; });
    if (sample.size() < vectors.size())
        for (assessment& one : all) {
            one = assess_shifted(vectors, one.basis, one.shift);
            one.evidence += symmetry_gain(vectors, one);
        }
    return all;
}

} // namespace torvik::solver
