#include "solving/crystals.h"

#include "base/table.h"
#include "solver/lattice/relations.h"
#include "solving/knownsolve.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

namespace torvik::tools {

namespace {

using clock = std::chrono::steady_clock;

// Too few are left for another lattice: the evidence would not do.
constexpr std::size_t worthtrying = 8;

crystal crystalof(const vectorlist& list, const std::vector<std::size_t>& positions,
                  const answer& found)
{
    crystal one;
    one.found = found;
    one.cell = uncertainty_of(list.vectors, found.lattices[0]);
    for (std::size_t i = 0; i < positions.size(); ++i)
        if (found.lattices[0].inlier[i] > 0.5) one.members.push_back(positions[i]);
    return one;
}

// The shortest reflection of a lattice that lies between the points of another, as "1 0 2, at a
// spacing of 5.31 angstroms"; empty if there is none with low indices.
std::string onlyin(const matrix3& basis, const matrix3& other)
{
    const matrix3 UB = basis.inverse();
    std::string deciding;
    double shortest = std::numeric_limits<double>::infinity();
    constexpr int most = 3;
    for (int h = 0; h <= most; ++h)
        for (int k = h > 0 ? -most : 0; k <= most; ++k)
            for (int l = h > 0 || k > 0 ? -most : 1; l <= most; ++l) {
                const vector3 q = UB.multiply(vector3(h, k, l));
                constexpr double whole = 0.15;
                if (off_whole(other.multiply(q)) < whole || q.length() >= shortest) continue;
                shortest = q.length();
                deciding = std::to_string(h) + " " + std::to_string(k) + " " + std::to_string(l)
                           + ", at a spacing of " + fixed(1.0 / shortest, 2) + " angstroms";
            }
    return deciding;
}

} // namespace

std::string whatdecides(const matrix3& first, const matrix3& second)
{
    const auto related = relation_between(first, second, 0.2, 12);
    if (!related || related->how == kinship::same) return "";
    const bool firstlarger = related->how == kinship::super;
    const std::string deciding = firstlarger ? onlyin(first, second) : onlyin(second, first);
    if (deciding.empty()) return "";
    return "Lattice " + std::string(firstlarger ? "1 has a cell " : "2 has a cell ")
           + std::to_string(related->index) + " times as large. Measure its reflection " + deciding
           + ": only it has one there.";
}

std::string whatdecidesofknown(const matrix3& first, const matrix3& second)
{
    std::string related = whatdecides(first, second);
    if (!related.empty()) return related;
    const std::string deciding = onlyin(first, second);
    if (deciding.empty()) return "";
    return "Measure the reflection " + deciding + ", of lattice 1: lattice 2 has none there.";
}

namespace {

// On the further crystals of the cell. That the first does not take their reflections is no news.
std::vector<std::string> remarksoncompanions(const assessment& best, int lattices)
{
    std::vector<std::string> said;
    for (const matrix3& basis : best.further_crystals)
        if (const auto turn = misorientation_of(best.basis, basis))
            said.push_back("There is a further crystal of this cell, " + sentence_of(*turn) + ".");
    const int count = 1 + static_cast<int>(best.further_crystals.size());
    if (lattices < count)
        said.push_back("With --lattices " + std::to_string(count)
                       + " all these crystals are indexed.");
    return said;
}

std::vector<std::string> remarkson(const std::vector<vector3>& vectors, const answer& found,
                                   int lattices)
{
    const assessment& best = found.lattices[0];
    std::vector<std::string> said = best.further_crystals.empty()
                                        ? diagnose(vectors, best)
                                        : remarksoncompanions(best, lattices);
    if (found.given > 0) said.push_back(pointsneverhit(vectors, found));
    const auto decide = found.given > 0 ? whatdecidesofknown : whatdecides;
    if (found.competing > 1)
        said.push_back(decide(found.lattices[0].basis, found.lattices[1].basis));
    std::erase(said, std::string());
    return said;
}

} // namespace

crystals solveall(const vectorlist& list, const solveoptions& options, int lattices)
{
    const auto start = clock::now();
    crystals all;
    all.latticeof.assign(list.vectors.size(), 0);
    std::vector<std::size_t> left(list.vectors.size());
    for (std::size_t i = 0; i < left.size(); ++i) left[i] = i;
    for (int number = 1; number <= std::max(lattices, 1); ++number) {
        solveoptions now = options;
        now.budget -= std::chrono::duration<double>(clock::now() - start).count();
        const vectorlist part = those(list, left);
        if (number > 1 && (part.vectors.size() < worthtrying || now.budget <= 0.0)) break;
        const answer found = now.known.empty() ? solve(part, now) : solveknown(part, now);
        if (number == 1) all.first = found;
        if (found.how == verdict::refused) break;
        crystal one = crystalof(part, left, found);
        for (const std::size_t i : one.members) all.latticeof[i] = number;
        if (number > 1)
            one.turn =
                misorientation_of(all.each[0].found.lattices[0].basis, found.lattices[0].basis);
        if (number == 1) all.remarks = remarkson(list.vectors, found, lattices);
        std::erase_if(left, [&](std::size_t i) { return all.latticeof[i] != 0; });
        all.each.push_back(one);
    }
    return all;
}

} // namespace torvik::tools
