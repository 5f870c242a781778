#include "selection/repeats.h"

#include "selection/neighbours.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <utility>

namespace torvik::tools {

namespace {

constexpr double share = 1.0 / 8.0; // of the distance to a neighbour: see the header
constexpr std::size_t mostsampled = 1000;

// Spots by the box of a grid in which they lie: boxes of four times a reach, so that seldom more than one
// or two along an axis are within it. Those of a box are a chain. Boxes may share a chain, since all that
// is found is measured anyway.
class boxes {
public:
    boxes(double reach, std::size_t most) : reach_(reach), width_(4.0 * reach)
    {
        heads_.resize(std::bit_ceil(most + 1), none);
        next_.reserve(most);
    }

    // Puts the next spot, by its number: 0, 1, 2 and so on.
    void put(const vector3& r)
    {
        std::uint32_t& head = headof({boxof(r.x), boxof(r.y), boxof(r.z)});
        next_.push_back(std::exchange(head, static_cast<std::uint32_t>(next_.size())));
    }

    // Calls `use` with the numbers of all spots within reach, and of some others, in any order.
    template <class procedure>
    void around(const vector3& r, const procedure& use)
    {
        const auto [x, X] = span(r.x);
        const auto [y, Y] = span(r.y);
        const auto [z, Z] = span(r.z);
        for (double i = x; i <= X; ++i)
            for (double j = y; j <= Y; ++j)
                for (double k = z; k <= Z; ++k)
                    for (auto at = headof({i, j, k}); at != none; at = next_[at]) use(at);
    }

private:
    static constexpr std::uint32_t none = std::numeric_limits<std::uint32_t>::max();

    // A whole number of any size, never -0.
    [[nodiscard]] double boxof(double x) const
    {
        return std::floor(x / width_) + 0.0;
    }

    // The first and the last box within reach, with room for rounding. Beyond 2^53 boxes a step of one is
    // none: there one is enough.
    [[nodiscard]] std::pair<double, double> span(double x) const
    {
        const double reach = reach_ * 1.000001 + std::fabs(x) * 1e-15;
        const double first = boxof(x - reach);
        const double last = boxof(x + reach);
        return {first, first + 1.0 > first ? last : first};
    }

    std::uint32_t& headof(const std::array<double, 3>& box)
    {
        constexpr std::uint64_t odd = 0x9E3779B97F4A7C15ULL;
        std::uint64_t h = 0;
        for (const double x : box) {
            h = (h ^ std::bit_cast<std::uint64_t>(x)) * odd;
            h ^= h >> 32U;
        }
        return heads_[h & (heads_.size() - 1)];
    }

    double reach_;
    double width_;
    std::vector<std::uint32_t> heads_;
    std::vector<std::uint32_t> next_;
};

// Calls `use` with each spot and the number of the group it belongs to: see groupsof(). Gives the spots that
// began the groups.
template <class procedure>
std::vector<std::size_t> begun(const std::vector<vector3>& vectors,
                               const std::vector<std::size_t>& sequence, double tolerance,
                               const procedure& use)
{
    std::vector<std::size_t> first;
    boxes grid(tolerance, sequence.size());
    for (const std::size_t i : sequence) {
        std::size_t nearest = first.size();
        double distance = tolerance;
        grid.around(vectors[i], [&](std::size_t g) {
            const double d = (vectors[first[g]] - vectors[i]).length();
            if (d > distance || (d == distance && nearest < g)) return;
            nearest = g;
            distance = d;
        });
        if (nearest == first.size()) {
            grid.put(vectors[i]);
            first.push_back(i);
        }
        use(i, nearest);
    }
    return first;
}

// The distance that nine tenths of the spots, of which there are two at least, have to their nearest
// neighbour. Of many spots a part is asked, evenly taken.
double usualdistance(const std::vector<vector3>& vectors)
{
    const std::size_t step = vectors.size() / mostsampled + 1;
    const sortedpoints points(vectors);
    std::vector<double> nearest;
    for (std::size_t i = 0; i < vectors.size(); i += step) {
        const auto next = points.nearest(vectors[i], [&](std::size_t other) { return other != i; });
        nearest.push_back((vectors[*next] - vectors[i]).length());
    }
    const auto tenth = nearest.begin() + static_cast<std::ptrdiff_t>((nearest.size() - 1) / 10);
    std::nth_element(nearest.begin(), tenth, nearest.end());
    return *tenth;
}

std::vector<vector3> firstofgroups(const std::vector<vector3>& vectors, double tolerance)
{
    std::vector<std::size_t> sequence(vectors.size());
    std::iota(sequence.begin(), sequence.end(), 0U);
    std::vector<vector3> first;
    for (const std::size_t i : begun(vectors, sequence, tolerance, [](std::size_t, std::size_t) {}))
        first.push_back(vectors[i]);
    return first;
}

bool allpositive(const std::vector<spot>& spots, const std::vector<std::size_t>& group)
{
    return std::all_of(group.begin(), group.end(),
                       [&](std::size_t i) { return spots[i].intensity.value_or(0.0) > 0.0; });
}

std::array<double, 3> meanof(const std::vector<spot>& spots, const std::vector<std::size_t>& group)
{
    const bool weighted = allpositive(spots, group);
    double largest = 1.0;
    for (const std::size_t i : group)
        if (weighted) largest = std::fmax(largest, *spots[i].intensity);
    std::array<double, 3> sum = {};
    double weights = 0.0;
    for (const std::size_t i : group) {
        const double weight = weighted ? *spots[i].intensity / largest : 1.0;
        weights += weight;
        for (std::size_t k = 0; k < 3; ++k) sum[k] += weight * spots[i].value[k];
    }
    for (double& x : sum) x /= weights;
    return sum;
}

spot mergedspot(const measurement& measured, const std::vector<std::size_t>& group)
{
    spot one = measured.spots[group.front()];
    if (group.size() == 1) return one;
    if (measured.kind == listkind::vectors) one.value = meanof(measured.spots, group);
    for (const std::size_t i : group) {
        const spot& other = measured.spots[i];
        if (other.intensity)
            one.intensity = std::fmax(one.intensity.value_or(0.0), *other.intensity);
        if (one.hkl != other.hkl) one.hkl.reset();
    }
    one.where += " and " + std::to_string(group.size() - 1) + " more";
    return one;
}

} // namespace

double usualtolerance(const std::vector<vector3>& vectors)
{
    double tolerance = std::numeric_limits<double>::infinity();
    for (const vector3& r : vectors) tolerance = std::fmin(tolerance, share * r.length());
    if (vectors.size() < 2) return 0.0;
    // What is merged decides on the distances, and these on what is merged: from above until it stays.
    constexpr int mostrounds = 50;
    for (int round = 0; round < mostrounds && tolerance > 0.0; ++round) {
        const std::vector<vector3> apart = firstofgroups(vectors, tolerance);
        const double next = apart.size() < 2 ? tolerance / 2.0 : share * usualdistance(apart);
        if (next >= tolerance) break;
        tolerance = next;
    }
    return tolerance;
}

std::vector<std::vector<std::size_t>> groupsof(const std::vector<vector3>& vectors,
                                               const std::vector<std::size_t>& sequence,
                                               double tolerance)
{
    std::vector<std::vector<std::size_t>> groups;
    if (!(tolerance > 0.0)) {
        for (const std::size_t i : sequence) groups.push_back({i});
        return groups;
    }
    begun(vectors, sequence, tolerance, [&](std::size_t i, std::size_t group) {
        if (group == groups.size()) groups.emplace_back();
        groups[group].push_back(i);
    });
    return groups;
}

measurement mergerepeats(const measurement& measured, const std::vector<vector3>& vectors,
                         double tolerance)
{
    std::vector<std::vector<std::size_t>> groups =
        groupsof(vectors, strongestfirst(measured.spots), tolerance);
    std::sort(groups.begin(), groups.end(),
              [](const auto& a, const auto& b) { return a.front() < b.front(); });
    measurement merged = measured;
    merged.spots.clear();
    for (const auto& group : groups) merged.spots.push_back(mergedspot(measured, group));
    return merged;
}

std::vector<std::size_t> strongestfirst(const std::vector<spot>& spots)
{
    std::vector<std::size_t> sequence(spots.size());
    std::iota(sequence.begin(), sequence.end(), 0U);
    const auto unknown = -std::numeric_limits<double>::infinity();
    std::stable_sort(sequence.begin(), sequence.end(), [&](std::size_t a, std::size_t b) {
        return spots[a].intensity.value_or(unknown) > spots[b].intensity.value_or(unknown);
    });
    return sequence;
}

bool intensitiesdiffer(const std::vector<spot>& spots, double part)
{
    std::vector<double> known;
    for (const spot& one : spots)
        if (one.intensity) known.push_back(*one.intensity);
    return static_cast<double>(known.size()) >= part * static_cast<double>(spots.size())
           && std::any_of(known.begin(), known.end(), [&](double x) { return x != known.front(); });
}

} // namespace torvik::tools
