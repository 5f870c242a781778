#include "search/outcomes.h"

#include "superlattices/matricesforalternativebases.h"

#include <utility>

namespace torvik {

namespace {

// So many offers and triples are held at most: about 100 MB.
constexpr std::size_t roomforoutcomes = 1'000'000;

// Numbers of reflections take ten bits each, and the index, 1 to 16, four.
static_assert(maxreflections < 1024);
static_assert(maxindexofsuperlattice <= 16);

std::uint64_t keyof(const tripleofreflections& what)
{
    auto key = static_cast<std::uint64_t>(what.k - 1);
    for (const int number : what.reflections.element)
        key = key << 10 | static_cast<std::uint64_t>(number);
    for (const int number : what.shortest.element)
        key = key << 10 | static_cast<std::uint64_t>(number);
    return key;
}

} // namespace

tripleoutcomes* recall(outcomememory& memory, const tripleofreflections& what, double volume)
{
    const auto place = memory.triples.find(keyof(what));
    if (place == memory.triples.end()) return nullptr;
    tripleoutcomes& outcomes = place->second;
    if (!endalike(outcomes.half, 0.5 * volume)) return nullptr;
    if (!endalike(outcomes.hundredth, 0.01 * volume)) return nullptr;
    return &outcomes;
}

void remember(outcomememory& memory, const tripleofreflections& what, tripleoutcomes&& outcomes)
{
    const std::size_t added = outcomes.offers.size() + 1;
    if (memory.size + added > roomforoutcomes) memory = {};
    tripleoutcomes& place = memory.triples[keyof(what)];
    memory.size += added;
    if (!place.offers.empty()) memory.size -= place.offers.size() + 1;
    place = std::move(outcomes);
    place.offers.shrink_to_fit();
}

} // namespace torvik
