#include "selection/picking.h"

#include "base/failure.h"
#include "selection/repeats.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <utility>

namespace torvik::tools {

namespace {

using numbers = std::vector<std::size_t>;

numbers allof(std::size_t count)
{
    numbers all(count);
    std::iota(all.begin(), all.end(), 0U);
    return all;
}

numbers shortestfirst(const std::vector<vector3>& vectors)
{
    numbers order = allof(vectors.size());
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return vectors[a].length_sq() < vectors[b].length_sq();
    });
    return order;
}

// A number below `end`, each as likely as the others. The distributions of the standard library are
// not the same everywhere.
std::size_t below(std::size_t end, std::mt19937_64& chance)
{
    const std::uint64_t whole = std::numeric_limits<std::uint64_t>::max() / end * end;
    std::uint64_t drawn = chance();
    while (drawn >= whole) drawn = chance();
    return static_cast<std::size_t>(drawn % end);
}

numbers shuffled(std::size_t size, std::uint64_t seed)
{
    std::mt19937_64 chance(seed);
    numbers order = allof(size);
    for (std::size_t i = 0; i + 1 < size; ++i)
        std::swap(order[i], order[i + below(size - i, chance)]);
    return order;
}

// The first of an order, but the mates of those that were taken after all others.
numbers withoutmates(const numbers& order, const std::vector<vector3>& vectors, std::size_t count)
{
    const double tolerance = usualtolerance(vectors);
    numbers taken;
    numbers mates;
    for (const std::size_t i : order) {
        if (taken.size() == count) return taken;
        const bool mate = std::any_of(taken.begin(), taken.end(), [&](std::size_t j) {
            return (vectors[i] + vectors[j]).length() <= tolerance;
        });
        (mate ? mates : taken).push_back(i);
    }
    taken.insert(taken.end(), mates.begin(),
                 mates.begin() + static_cast<std::ptrdiff_t>(count - taken.size()));
    return taken;
}

// The strongest of the shorter half, then those of the other.
numbers innerfirst(const std::vector<spot>& spots, const std::vector<vector3>& vectors)
{
    const numbers byrank = shortestfirst(vectors);
    std::vector<bool> inner(spots.size(), false);
    for (std::size_t i = 0; i < (byrank.size() + 1) / 2; ++i) inner[byrank[i]] = true;
    numbers order = strongestfirst(spots);
    std::stable_partition(order.begin(), order.end(), [&](std::size_t i) { return inner[i]; });
    return order;
}

struct place {
    vector3 direction;
    double rank = 0.0; // among the lengths, 0 to 1
};

double squareddistance(const place& a, const place& b)
{
    const double cosine = std::fmin(1.0, std::fabs(a.direction.dot(b.direction)));
    const double angle = std::acos(cosine) / (gemmi::pi() / 2.0);
    const double step = a.rank - b.rank;
    return angle * angle + step * step;
}

numbers spreadout(const std::vector<vector3>& vectors, std::size_t count)
{
    const numbers byrank = shortestfirst(vectors);
    std::vector<place> places(vectors.size());
    for (std::size_t i = 0; i < byrank.size(); ++i)
        places[byrank[i]] = {vectors[byrank[i]].normalized(),
                             static_cast<double>(i) / static_cast<double>(byrank.size())};
    std::vector<double> away(vectors.size(), std::numeric_limits<double>::infinity());
    numbers taken;
    std::size_t next = byrank.front();
    while (taken.size() < count) {
        taken.push_back(next);
        for (std::size_t i = 0; i < places.size(); ++i)
            away[i] = std::fmin(away[i], squareddistance(places[i], places[next]));
        for (const std::size_t i : taken) away[i] = -1.0;
        next = static_cast<std::size_t>(std::max_element(away.begin(), away.end()) - away.begin());
    }
    return taken;
}

numbers picked(const std::vector<spot>& spots, const std::vector<vector3>& vectors, pick how,
               std::size_t count, std::uint64_t seed)
{
    const auto first = [&](const numbers& order) { return withoutmates(order, vectors, count); };
    switch (meantby(how, spots)) {
    case pick::usual: return first(innerfirst(spots, vectors));
    case pick::strongest: return first(strongestfirst(spots));
    case pick::random: return first(shuffled(spots.size(), seed));
    case pick::spread: return spreadout(vectors, count);
    default: return first(shortestfirst(vectors));
    }
}

} // namespace

const std::vector<std::string>& picknames()
{
    static const std::vector<std::string> names = {"usual", "strongest", "shortest", "random",
                                                   "spread"};
    return names;
}

pick picknamed(const std::string& name)
{
    const auto& names = picknames();
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) throw failure("There is no way '" + name + "' to pick reflections.");
    return static_cast<pick>(found - names.begin());
}

std::string nameof(pick how)
{
    return picknames().at(static_cast<std::size_t>(how));
}

pick meantby(pick how, const std::vector<spot>& spots)
{
    if (how != pick::usual) return how;
    constexpr double nearlyall = 0.9; // a reader may fail to tell some, as of spots too strong
    return intensitiesdiffer(spots, nearlyall) ? pick::usual : pick::shortest;
}

std::vector<std::size_t> pickspots(const std::vector<spot>& spots,
                                   const std::vector<vector3>& vectors, pick how, std::size_t count,
                                   std::uint64_t seed)
{
    if (spots.size() <= count) return allof(spots.size());
    if (how == pick::strongest && !intensitiesdiffer(spots, 0.0))
        throw failure("The strongest reflections cannot be picked: the file has no intensities, or "
                      "only one and the same. --pick shortest, random or spread need none.");
    numbers taken = picked(spots, vectors, how, count, seed);
    std::sort(taken.begin(), taken.end());
    return taken;
}

} // namespace torvik::tools
