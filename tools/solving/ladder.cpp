#include "solving/ladder.h"

#include "base/table.h"
#include "formats/idxfile.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>
#include <random>

namespace torvik::tools {

namespace {

constexpr std::size_t most = 40;  // reflections of a run: more take longer and hardly find more
constexpr std::size_t fewest = 8; // of a part

using indices = std::vector<std::size_t>;

indices all(std::size_t count)
{
    indices found(count);
    std::iota(found.begin(), found.end(), std::size_t{0});
    return found;
}

// The first `count` by a key; of equals the earlier one. In the order of the list.
template <typename key>
indices firstby(const indices& from, std::size_t count, const key& keyof)
{
    indices found = from;
    std::stable_sort(found.begin(), found.end(),
                     [&](std::size_t i, std::size_t j) { return keyof(i) < keyof(j); });
    found.resize(std::min(count, found.size()));
    std::sort(found.begin(), found.end());
    return found;
}

indices bychance(const indices& from, std::size_t count, std::mt19937_64& random)
{
    indices found = from;
    for (std::size_t i = found.size(); i > 1; --i) std::swap(found[i - 1], found[random() % i]);
    found.resize(std::min(count, found.size()));
    std::sort(found.begin(), found.end());
    return found;
}

struct subset {
    std::string name;
    indices reflections;
};

// Everything, if it is not too much; else a fair choice of it: by chance, since strong ones and short
// ones follow, and since these may all lie in a part of the lattice.
std::vector<subset> subsetsof(const vectorlist& list, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    const std::size_t count = list.vectors.size();
    const indices every = all(count);
    const bool many = count > most;
    std::vector<subset> found;
    const auto length = [&](std::size_t i) { return list.vectors[i].length_sq(); };
    const auto strength = [&](std::size_t i) { return -list.intensities[i]; };
    if (!many) found.push_back({"all reflections", every});
    if (many && !list.intensities.empty())
        found.push_back({"the strongest", firstby(every, most, strength)});
    if (many) found.push_back({"some by chance", bychance(every, most, random)});
    const std::size_t part = many ? most : std::max(fewest, count * 3 / 4);
    if (many || part < count) found.push_back({"the shortest", firstby(every, part, length)});
    if (!many && part < count && !list.intensities.empty())
        found.push_back({"the strongest", firstby(every, part, strength)});
    constexpr int more = 6;
    for (int i = 0; i < more && (many || part < count); ++i)
        found.push_back({"others by chance", bychance(every, part, random)});
    return found;
}

constexpr double step = 3.0;
constexpr double width = 3.6;
constexpr double narrowest = 1.6; // the program takes no less than 1.5

// The fraction of its reflections that the program leaves for the search if nothing else is said.
double usualfraction(std::size_t count)
{
    return std::min(0.5, 12.0 / static_cast<double>(count));
}

// `keeping` is that fraction as a part of the usual one.
void addwindows(std::vector<rung>& ladder, const subset& chosen, int extent,
                const volumelimits& limits, double keeping = 1.0)
{
    for (double volume = limits.smallest; volume < limits.largest; volume *= step) {
        rung one;
        one.smallest = volume;
        one.largest = std::min(volume * width, std::max(limits.largest, volume * narrowest));
        one.extent = extent;
        one.reflections = chosen.reflections;
        if (keeping != 1.0)
            one.supporting = std::min(1.0, keeping * usualfraction(chosen.reflections.size()));
        one.name = "volumes " + fixed(one.smallest, 0) + " to " + fixed(one.largest, 0) + ", "
                   + chosen.name + (extent == 2 ? "" : ", extent " + std::to_string(extent))
                   + (keeping == 1.0  ? ""
                      : keeping > 1.0 ? ", more of them"
                                      : ", fewer of them");
        ladder.push_back(one);
    }
}

} // namespace

vectorlist those(const vectorlist& list, const std::vector<std::size_t>& chosen)
{
    vectorlist part;
    for (const std::size_t i : chosen) {
        part.vectors.push_back(list.vectors[i]);
        if (!list.intensities.empty()) part.intensities.push_back(list.intensities[i]);
    }
    return part;
}

volumelimits likelyvolumes(const std::vector<vector3>& vectors)
{
    double shortest = std::numeric_limits<double>::infinity();
    double longest = 0.0;
    for (const vector3& q : vectors) {
        const double length = q.length();
        if (length > 0.0) shortest = std::min(shortest, length);
        longest = std::max(longest, length);
    }
    const double sphere = 4.0 / 3.0 * std::numbers::pi * longest * longest * longest;
    const double bycount = 0.4 * static_cast<double>(vectors.size()) / sphere;
    const double cube = 1.0 / (shortest * shortest * shortest);
    return {std::max(bycount, cube / 300.0), 1e4 * cube};
}

std::vector<rung> ladderfor(const vectorlist& list, const ladderoptions& options)
{
    volumelimits limits = likelyvolumes(list.vectors);
    if (options.smallestvolume) limits.smallest = *options.smallestvolume;
    if (options.largestvolume) limits.largest = *options.largestvolume;
    // The largest tenth of the range is rarely right and takes longest: it comes after all else.
    const double edge = std::max(limits.smallest, limits.largest / 10.0);
    const volumelimits likely = {limits.smallest, edge};
    const volumelimits large = {edge, limits.largest};
    const std::vector<subset> subsets = subsetsof(list, options.seed);
    std::vector<rung> ladder;
    constexpr int usual = 2;
    constexpr int thorough = 3;
    for (const subset& one : subsets) addwindows(ladder, one, usual, likely);
    addwindows(ladder, subsets[0], usual, large);
    for (const subset& one : subsets) addwindows(ladder, one, thorough, likely);
    addwindows(ladder, subsets[0], thorough, large);
    for (const double keeping : {1.6, 0.6}) addwindows(ladder, subsets[0], usual, likely, keeping);
    return ladder;
}

std::string inputof(const rung& one, const std::vector<vector3>& vectors)
{
    idxfile file;
    file.keywords = {
        {"_MinMaxVolumeOfPrimitiveCell", fixed(one.smallest, 4) + " " + fixed(one.largest, 4)},
        {"_ExtentOfTheSearch", std::to_string(one.extent)},
        {"_MaxNumberOfSavedBases", "128"}};
    if (one.supporting)
        file.keywords.push_back({"_FractionOfSupportingReflections", fixed(*one.supporting, 4)});
    for (const std::size_t i : one.reflections)
        file.reflections.push_back({vectors[i].x, vectors[i].y, vectors[i].z});
    constexpr int decimals = 7;
    return textof(file, decimals);
}

} // namespace torvik::tools
