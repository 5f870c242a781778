#include "solver/candidates/direct_vectors.h"

#include "solver/lattice/short_vectors.h"
#include "solver/numeric/functions.h"
#include "solver/numeric/lanes.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace torvik::solver {

namespace {

constexpr std::size_t tolerances = hit_tolerances.size();

// The smallest volume of three unit vectors along the anchors.
constexpr double flattest_anchors = 0.15;

// The size of anchors, against the longest reflection, beyond which longer ones are no better.
constexpr double long_enough = 0.75;

// Vectors that are better by chance as often as this in the ball are of no use.
constexpr double log_most_by_chance = 4.0;

// Where distances from whole products are looked at, more vectors are let in by their hits.
constexpr double log_most_before_distances = 5.5;

// How many are kept, and how many of these in the plane of the two best: with a cell of 4 x 5 x 80
// angstroms a thousand vectors of the short plane are shorter than the third axis, and all of them take
// every reflection.
struct place_limits {
    std::size_t all;
    std::size_t in_plane;
};
constexpr place_limits kept = {40, 12};
constexpr std::size_t very_few_reflections = 12;
constexpr place_limits kept_of_very_few = {60, 20};
constexpr place_limits kept_meanwhile = {200, 60};
constexpr std::size_t most_meanwhile = 400;

// The product of a vector with a reflection as a 16-bit integer: 65536 is one, and whole numbers vanish. The
// products of the dual basis are kept to 32 bits, so that those of its sums are exact to 16.
using phase = std::uint16_t;
using fine_phase = std::uint32_t;
constexpr double phases_in_one = 65536.0;

fine_phase fine_phase_of(double product)
{
    constexpr double in_one = 4294967296.0;
    const double fraction = product - std::floor(product);
    return static_cast<fine_phase>(static_cast<std::uint64_t>(fraction * in_one + 0.5));
}

constexpr phase phase_of(fine_phase fine)
{
    return static_cast<phase>((fine + 0x8000U) >> 16U);
}

constexpr std::array<int, tolerances> phase_tolerances = {
    static_cast<int>(hit_tolerances[0] * phases_in_one),
    static_cast<int>(hit_tolerances[1] * phases_in_one)};

using multiples = std::array<int, 3>; // of the rows of the dual basis

struct survivor {
    multiples n = {};
    double log_chance = 0.0;
};

int determinant_of(const multiples& a, const multiples& b, const multiples& c)
{
    return a[0] * (b[1] * c[2] - b[2] * c[1]) - a[1] * (b[0] * c[2] - b[2] * c[0])
           + a[2] * (b[0] * c[1] - b[1] * c[0]);
}

bool parallel(const multiples& a, const multiples& b)
{
    return a[1] * b[2] == a[2] * b[1] && a[2] * b[0] == a[0] * b[2] && a[0] * b[1] == a[1] * b[0];
}

bool better(const survivor& one, const survivor& other)
{
    // Among equals the order is that of the multiples, so that it does not depend on the sort.
    if (one.log_chance != other.log_chance) return one.log_chance < other.log_chance;
    return one.n < other.n;
}

// Sorts, and keeps the best.
void keep_best(std::vector<survivor>& list, const place_limits& limits)
{
    std::sort(list.begin(), list.end(), better);
    if (list.size() <= limits.in_plane) return;
    const auto second = std::find_if(list.begin(), list.end(), [&](const survivor& one) {
        return !parallel(list.front().n, one.n);
    });
    if (second == list.end()) return;
    const multiples first_axis = list.front().n;
    const multiples second_axis = second->n;
    std::size_t in_plane = 0;
    std::size_t all = 0;
    std::erase_if(list, [&](const survivor& one) {
        if (all == limits.all) return true;
        const bool flat = determinant_of(first_axis, second_axis, one.n) == 0;
        if (flat && in_plane == limits.in_plane) return true;
        if (flat) ++in_plane;
        ++all;
        return false;
    });
}

// For each number of reflections that a vector takes by one of the tolerances: up to which length it is
// rare enough, and how rare.
struct chance_table {
    std::array<double, most_sampled + 1> log_tail = {};
    std::array<double, most_sampled + 1> largest_square = {};

    // The fewest reflections that are enough for a vector whose length squared is at least this.
    [[nodiscard]] int least_at(double square) const
    {
        int hits = static_cast<int>(sampled_) + 1;
        while (hits > 3 && largest_square[static_cast<std::size_t>(hits - 1)] > square) --hits;
        return hits;
    }

    // The anchors hit always; of the others each with the probability 2 tolerance.
    chance_table(std::size_t sampled, double tolerance, double log_density, double log_most)
        : sampled_(sampled)
    {
        const int trials = static_cast<int>(sampled) - 3;
        const double p = 2.0 * tolerance;
        std::array<double, most_sampled + 1> terms = {};
        terms[0] = 1.0;
        for (int i = 0; i < trials; ++i) terms[0] *= 1.0 - p;
        for (int k = 1; k <= trials; ++k)
            terms[static_cast<std::size_t>(k)] =
                terms[static_cast<std::size_t>(k - 1)] * (trials - k + 1) / k * (p / (1.0 - p));
        double tail = 0.0;
        for (int hits = static_cast<int>(sampled); hits >= 3; --hits) {
            const auto i = static_cast<std::size_t>(hits);
            tail += terms[i - 3];
            log_tail[i] = logarithm(tail);
            const double log_cube = log_most - log_tail[i] - log_density;
            largest_square[i] = exponential(std::min(log_cube, 600.0) * (2.0 / 3.0));
        }
    }

private:
    std::size_t sampled_;
};

// Points with n[1] and n[2] the same, along the shortest of the three vectors of the dual basis.
struct row_of_points {
    multiples first = {};
    int count = 0;
    std::array<int, tolerances> least = {}; // points with fewer hits are of no use
};

// The points within the radius, row by row.
class enumeration {
public:
    enumeration(std::span<const vector3> sample, const anchor_places& anchors, const ball& within)
        : sample_(sample), radius_square_(within.radius * within.radius),
          shortest_square_(within.shortest * within.shortest), by_distances_(within.by_distances)
    {
        const matrix3 Q = from_rows(sample[anchors[0]], sample[anchors[1]], sample[anchors[2]]);
        const auto reduced = try_shortest_basis(Q.inverse().transpose());
        if (!reduced) return;
        dual_ = reduced->basis;
        const double density = 2.0 / 3.0 * std::numbers::pi * std::fabs(Q.determinant());
        points_ = density * within.radius * within.radius * within.radius;
        log_density_ = logarithm(density);
        for (const double tolerance : hit_tolerances)
            chances_.emplace_back(sample.size(), tolerance, log_density_,
                                  by_distances_ ? log_most_before_distances : log_most_by_chance);
        if (by_distances_) tabulate_distances();
        for (std::size_t i = 0; i < sample.size(); ++i)
            for (std::size_t k = 0; k < 3; ++k)
                steps_[k][i] = fine_phase_of(row_of(dual_, static_cast<int>(k)).dot(sample[i]));
        for (std::size_t i = sample.size(); i < most_sampled; ++i) filling_[i] = 0x80000000U;
        filled_ = (sample.size() + short_lanes - 1) / short_lanes * short_lanes;
        good_ = true;
    }

    [[nodiscard]] bool good() const
    {
        return good_;
    }
    [[nodiscard]] double points() const
    {
        return points_;
    }

    // Calls use(row) for each row.
    template <class User>
    void for_each_row(const User& use) const
    {
        const vector3 a = row_of(dual_, 0);
        const vector3 b = row_of(dual_, 1);
        const vector3 c = row_of(dual_, 2);
        const double aa = a.length_sq();
        // b and c less their parts along those before them.
        const double b_along = b.dot(a) / aa;
        const vector3 b_rest = b - b_along * a;
        const double bb = b_rest.length_sq();
        const double c_along_a = c.dot(a) / aa;
        const double c_along_b = c.dot(b_rest) / bb;
        const vector3 c_rest = c - c_along_a * a - c_along_b * b_rest;
        const double cc = c_rest.length_sq();
        const int last_c = static_cast<int>(std::sqrt(radius_square_ / cc));
        for (int k = 0; k <= last_c; ++k) {
            const double room_b = std::sqrt(std::max(0.0, radius_square_ - k * k * cc) / bb);
            const int first_b = k == 0 ? 0 : static_cast<int>(std::ceil(-k * c_along_b - room_b));
            const int last_b = static_cast<int>(std::floor(-k * c_along_b + room_b));
            for (int j = first_b; j <= last_b; ++j) {
                const double off_b = j + k * c_along_b;
                const double rest = radius_square_ - k * k * cc - off_b * off_b * bb;
                const double room_a = std::sqrt(std::max(0.0, rest) / aa);
                const double middle = -(k * c_along_a + j * b_along);
                const bool half = k == 0 && j == 0;
                const int first_a = half ? 1 : static_cast<int>(std::ceil(middle - room_a));
                const int last_a = static_cast<int>(std::floor(middle + room_a));
                if (first_a > last_a) continue;
                const double nearest = std::max(radius_square_ - rest, shortest_square_);
                use(row_of_points{{first_a, j, k},
                                  last_a - first_a + 1,
                                  {chances_[0].least_at(nearest), chances_[1].least_at(nearest)}});
            }
        }
    }

    // The phases of a point for all reflections. Those that fill up the lanes hit never.
    [[nodiscard]] std::array<phase, most_sampled> phases_at(const multiples& n) const
    {
        const auto a = static_cast<fine_phase>(n[0]);
        const auto b = static_cast<fine_phase>(n[1]);
        const auto c = static_cast<fine_phase>(n[2]);
        std::array<phase, most_sampled> phases;
        for (std::size_t i = 0; i < filled_; ++i)
            phases[i] =
                phase_of(filling_[i] + a * steps_[0][i] + b * steps_[1][i] + c * steps_[2][i]);
        return phases;
    }

    // Those of a step along a row.
    [[nodiscard]] std::array<phase, most_sampled> step_phases() const
    {
        std::array<phase, most_sampled> phases = {};
        for (std::size_t i = 0; i < sample_.size(); ++i) phases[i] = phase_of(steps_[0][i]);
        return phases;
    }

    [[nodiscard]] vector3 vector_at(const multiples& n) const
    {
        return dual_.left_multiply(vector3(n[0], n[1], n[2]));
    }

    // Takes a point with so many hits among the survivors, if it is rare enough.
    void offer(const multiples& n, const std::array<int, tolerances>& hits,
               std::array<std::vector<survivor>, tolerances>& survivors) const
    {
        const double square = vector_at(n).length_sq();
        if (square < shortest_square_) return;
        for (std::size_t k = 0; k < tolerances; ++k) {
            const auto count = static_cast<std::size_t>(hits[k]);
            if (square > chances_[k].largest_square[count]) continue;
            double log_tail = chances_[k].log_tail[count];
            if (by_distances_) log_tail = std::min(log_tail, log_tail_by_distances(n, k));
            const double log_chance = log_tail + log_density_ + 1.5 * quick_logarithm(square);
            if (log_chance > log_most_by_chance) continue;
            survivors[k].push_back({n, log_chance});
            if (survivors[k].size() >= most_meanwhile) keep_best(survivors[k], kept_meanwhile);
        }
    }

    // How likely chance puts so many products so near to whole numbers: the sum of the squares of c distances
    // is below S as often as c numbers from -1/2 to 1/2 lie in a ball, for any c of them.
    [[nodiscard]] double log_tail_by_distances(const multiples& n, std::size_t tolerance) const
    {
        const auto phases = phases_at(n);
        int hits = -3; // the anchors hit exactly
        double squares = 0.0;
        for (std::size_t i = 0; i < sample_.size(); ++i) {
            const int off = static_cast<std::int16_t>(phases[i]);
            if (std::abs(off) > phase_tolerances[tolerance]) continue;
            ++hits;
            squares += static_cast<double>(off * off);
        }
        const auto least = static_cast<double>(sample_.size()); // of the rounding to 16 bits
        return log_factors_[static_cast<std::size_t>(hits)]
               + 0.5 * hits * quick_logarithm(squares + least);
    }

    // What log_tail_by_distances takes, for each number of hits beside the anchors.
    void tabulate_distances()
    {
        const auto others = static_cast<double>(sample_.size() - 3);
        const double log_unit = logarithm(std::numbers::pi / (phases_in_one * phases_in_one));
        for (std::size_t hits = 0; hits + 3 <= sample_.size(); ++hits) {
            const auto c = static_cast<double>(hits);
            log_factors_[hits] = log_gamma(others + 1.0) - log_gamma(c + 1.0)
                                 - log_gamma(others - c + 1.0) + 0.5 * c * log_unit
                                 - log_gamma(0.5 * c + 1.0);
        }
    }

    [[nodiscard]] direct_vector described(const survivor& one, std::size_t tolerance) const
    {
        direct_vector found;
        found.value = vector_at(one.n);
        found.length = found.value.length();
        found.log_chance = one.log_chance;
        const auto phases = phases_at(one.n);
        for (std::size_t i = 0; i < sample_.size(); ++i)
            if (std::abs(static_cast<std::int16_t>(phases[i])) <= phase_tolerances[tolerance])
                found.hits |= std::uint64_t{1} << i;
        return found;
    }

private:
    std::span<const vector3> sample_;
    double radius_square_;
    double shortest_square_;
    bool by_distances_;
    matrix3 dual_;
    double points_ = 0.0;
    double log_density_ = 0.0;
    std::vector<chance_table> chances_;
    std::array<double, most_sampled> log_factors_ = {};
    using fine_phases = std::array<fine_phase, most_sampled>;
    std::array<fine_phases, 3> steps_ = {};
    fine_phases filling_ = {};
    std::size_t filled_ = 0;
    bool good_ = false;
};

using survivors_of = std::array<std::vector<survivor>, tolerances>;

// Counts the hits of 16 reflections at a time: the count by the narrow tolerance in the low half of each
// lane, that by the wide one in the high half.
template <std::size_t blocks>
TORVIK_SOLVER_INLINED void scan_row(const enumeration& of, const row_of_points& row,
                                    const phase* start, const phase* step, survivors_of& found)
{
    multiples n = row.first;
    using unsigned_longs = std::uint64_t __attribute__((vector_size(32)));
    using unsigned_shorts = std::uint16_t __attribute__((vector_size(32)));
    // Phases are moved so that hits by the wide tolerance are the smallest signed numbers.
    constexpr int wide = phase_tolerances[1];
    constexpr int narrow = phase_tolerances[0];
    constexpr auto offset = static_cast<std::uint16_t>(wide + 0x8000);
    constexpr auto wide_end = static_cast<std::int16_t>(2 * wide + 1 - 0x8000);
    constexpr auto shift = static_cast<std::uint16_t>(wide - narrow);
    constexpr auto narrow_end = static_cast<std::int16_t>(2 * narrow + 1 - 0x8000);
    unsigned_shorts phases[blocks];
    unsigned_shorts steps[blocks];
    for (std::size_t b = 0; b < blocks; ++b) {
        phases[b] = load<unsigned_shorts>(start + b * short_lanes) + offset;
        steps[b] = load<unsigned_shorts>(step + b * short_lanes);
    }
    const int least_narrow = row.least[0];
    const int least_wide = row.least[1];
    for (int i = 0; i < row.count; ++i, ++n[0]) {
        shorts sums = {};
        for (std::size_t b = 0; b < blocks; ++b) {
            const shorts hits_wide = bits_as<shorts>(phases[b]) < wide_end;
            const shorts hits_narrow = bits_as<shorts>(phases[b] - shift) < narrow_end;
            sums -= hits_narrow;
            sums += hits_wide & std::int16_t{256};
            phases[b] += steps[b];
        }
        // The sum of the lanes: first of four at a time, which 16 bits hold, then of these four.
        const auto parts = bits_as<unsigned_longs>(sums);
        const std::uint64_t four = (parts[0] + parts[2]) + (parts[1] + parts[3]);
        const auto total = static_cast<int>((four * 0x0001000100010001ULL) >> 48U);
        const int narrow_hits = total & 0xFF;
        const int wide_hits = total >> 8;
        if (narrow_hits < least_narrow && wide_hits < least_wide) continue;
        of.offer(n, {narrow_hits, wide_hits}, found);
    }
}

TORVIK_SOLVER_INLINED void scan_row_of_any(const enumeration& of, const row_of_points& row,
                                           const phase* start, const phase* step,
                                           std::size_t blocks, survivors_of& found)
{
    switch (blocks) {
    case 1: return scan_row<1>(of, row, start, step, found);
    case 2: return scan_row<2>(of, row, start, step, found);
    case 3: return scan_row<3>(of, row, start, step, found);
    default: return scan_row<4>(of, row, start, step, found);
    }
}

using row_scanner = void (*)(const enumeration&, const row_of_points&, const phase*, const phase*,
                             std::size_t, survivors_of&);

void scan_row_anywhere(const enumeration& of, const row_of_points& row, const phase* start,
                       const phase* step, std::size_t blocks, survivors_of& found)
{
    scan_row_of_any(of, row, start, step, blocks, found);
}

TORVIK_SOLVER_AVX2 void scan_row_avx2(const enumeration& of, const row_of_points& row,
                                      const phase* start, const phase* step, std::size_t blocks,
                                      survivors_of& found)
{
    scan_row_of_any(of, row, start, step, blocks, found);
}

// One point and one reflection after the other.
void scan_row_plainly(const enumeration& of, const row_of_points& row, const phase* start,
                      const phase* step, std::size_t blocks, survivors_of& found)
{
    multiples n = row.first;
    for (int i = 0; i < row.count; ++i, ++n[0]) {
        std::array<int, tolerances> hits = {};
        for (std::size_t r = 0; r < blocks * short_lanes; ++r) {
            const auto off = static_cast<std::int16_t>(static_cast<phase>(start[r] + i * step[r]));
            for (std::size_t k = 0; k < tolerances; ++k)
                if (std::abs(int{off}) <= phase_tolerances[k]) ++hits[k];
        }
        of.offer(n, hits, found);
    }
}

direct_vectors enumerate_by(row_scanner scan, std::span<const vector3> sample,
                            const anchor_places& anchors, const ball& within)
{
    direct_vectors found;
    const enumeration points(sample, anchors, within);
    if (!points.good() || points.points() > within.most) return found;
    found.points = static_cast<std::size_t>(points.points());
    const std::size_t blocks = (sample.size() + short_lanes - 1) / short_lanes;
    const auto step = points.step_phases();
    survivors_of survivors;
    points.for_each_row([&](const row_of_points& row) {
        const auto start = points.phases_at(row.first);
        scan(points, row, start.data(), step.data(), blocks, survivors);
    });
    for (std::size_t k = 0; k < tolerances; ++k) {
        keep_best(survivors[k], sample.size() <= very_few_reflections ? kept_of_very_few : kept);
        for (const survivor& one : survivors[k])
            found.by_tolerance[k].push_back(points.described(one, k));
    }
    return found;
}

} // namespace

double anchor_quality(const std::array<vector3, 3>& anchors, double longest)
{
    const double volume = std::fabs(anchors[0].dot(anchors[1].cross(anchors[2])));
    const double product =
        std::sqrt(anchors[0].length_sq() * anchors[1].length_sq() * anchors[2].length_sq());
    if (!(volume >= flattest_anchors * product) || product == 0.0) return 0.0;
    const double size = std::min(long_enough, cube_root(product) / longest);
    return volume / product * size;
}

std::optional<anchor_places> draw_anchors(std::span<const vector3> sample,
                                          std::span<const std::size_t> among, double longest,
                                          int draws, random_numbers& random)
{
    std::optional<anchor_places> best;
    double best_quality = 0.0;
    if (among.size() < 3) return best;
    for (int draw = 0; draw < draws; ++draw) {
        anchor_places places;
        places[0] = random.below(among.size());
        do places[1] = random.below(among.size());
        while (places[1] == places[0]);
        do places[2] = random.below(among.size());
        while (places[2] == places[0] || places[2] == places[1]);
        for (std::size_t& place : places) place = among[place];
        const double quality =
            anchor_quality({sample[places[0]], sample[places[1]], sample[places[2]]}, longest);
        if (quality <= best_quality) continue;
        best_quality = quality;
        best = places;
    }
    return best;
}

direct_vectors enumerate_direct_vectors(std::span<const vector3> sample,
                                        const anchor_places& anchors, const ball& within)
{
    return enumerate_by(has_avx2() ? scan_row_avx2 : scan_row_anywhere, sample, anchors, within);
}

direct_vectors plain_direct_vectors(std::span<const vector3> sample, const anchor_places& anchors,
                                    const ball& within)
{
    return enumerate_by(scan_row_plainly, sample, anchors, within);
}

} // namespace torvik::solver
