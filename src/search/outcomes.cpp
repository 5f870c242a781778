#include "search/outcomes.h"

#include <algorithm>
#include <utility>

namespace torvik {

namespace {

// So many offers and triples are held at most: about 100 MB.
constexpr std::size_t roomforoutcomes = 1'000'000;

std::uint64_t keyof(const numbered<int, 3>& reflections, int k)
{
    std::uint64_t key = 0;
    for (const int reflection : reflections.element)
        key = key * (maxreflections + 1) + static_cast<std::uint64_t>(reflection);
    return key * 32 + static_cast<std::uint64_t>(k);
}

} // namespace

const tripleoutcomes* recall(const outcomememory& memory, const numbered<int, 3>& reflections,
                             int k, const numbered<int, 3>& shortest, double volume)
{
    const auto place = memory.triples.find(keyof(reflections, k));
    if (place == memory.triples.end()) return nullptr;
    const tripleoutcomes& outcomes = place->second;
    if (!std::equal(std::begin(shortest.element), std::end(shortest.element),
                    outcomes.shortest.element))
        return nullptr;
    if (!endalike(outcomes.half, 0.5 * volume)) return nullptr;
    if (!endalike(outcomes.hundredth, 0.01 * volume)) return nullptr;
    return &outcomes;
}

void remember(outcomememory& memory, const numbered<int, 3>& reflections, int k,
              tripleoutcomes&& outcomes)
{
    const std::size_t added = outcomes.offers.size() + 1;
    if (memory.size + added > roomforoutcomes) memory = {};
    tripleoutcomes& place = memory.triples[keyof(reflections, k)];
    memory.size += added;
    if (!place.offers.empty()) memory.size -= place.offers.size() + 1;
    place = std::move(outcomes);
}

} // namespace torvik
