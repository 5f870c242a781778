#include "selection/repeats.h"

#include "selection/neighbours.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <unordered_map>

namespace torvik::tools {

namespace {

constexpr double share = 1.0 / 8.0; // of the distance to a neighbour: see the header
constexpr std::size_t mostsampled = 1000;

// Spots by the box of a grid in which they lie.
class boxes {
public:
    explicit boxes(double width) : width_(width) {}

    void put(const vector3& r, std::size_t number)
    {
        held_[boxof(r)].push_back(number);
    }

    // Calls `use` with the numbers of all spots in the box of r and in those around it.
    void around(const vector3& r, const std::function<void(std::size_t)>& use) const
    {
        const box centre = boxof(r);
        for (int i = -1; i <= 1; ++i)
            for (int j = -1; j <= 1; ++j)
                for (int k = -1; k <= 1; ++k) {
                    const auto found = held_.find({centre[0] + i, centre[1] + j, centre[2] + k});
                    if (found == held_.end()) continue;
                    for (const std::size_t number : found->second) use(number);
                }
    }

private:
    using box = std::array<double, 3>; // whole numbers, of any size

    struct hash {
        std::size_t operator()(const box& b) const
        {
            constexpr std::size_t odd = 0x9E3779B97F4A7C15ULL;
            std::size_t h = 0;
            for (const double x : b) h = (h ^ std::hash<double>{}(x)) * odd;
            return h ^ (h >> 32U);
        }
    };

    [[nodiscard]] box boxof(const vector3& r) const
    {
        return {std::floor(r.x / width_), std::floor(r.y / width_), std::floor(r.z / width_)};
    }

    double width_;
    std::unordered_map<box, std::vector<std::size_t>, hash> held_;
};

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
    for (const auto& group : groupsof(vectors, sequence, tolerance))
        first.push_back(vectors[group.front()]);
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
    boxes begun(tolerance);
    for (const std::size_t i : sequence) {
        std::size_t nearest = groups.size();
        double distance = tolerance;
        begun.around(vectors[i], [&](std::size_t g) {
            const double d = (vectors[groups[g].front()] - vectors[i]).length();
            if (d > distance || (d == distance && nearest < g)) return;
            nearest = g;
            distance = d;
        });
        if (nearest < groups.size()) {
            groups[nearest].push_back(i);
            continue;
        }
        begun.put(vectors[i], groups.size());
        groups.push_back({i});
    }
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
