#include "solver/verdict/search.h"

#include "solver/candidates/combination.h"
#include "solver/lattice/relations.h"
#include "solver/lattice/short_vectors.h"
#include "solver/numeric/functions.h"
#include "solver/verdict/thresholds.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace torvik::solver {

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();

// The pool: so many nats behind the best a lattice is out, and so many are kept.
constexpr double pool_depth = 14.0;
constexpr std::size_t pool_size = 24;

// Relatives of lattices within this of the best are looked at, and refined if they come this near.
constexpr double relatives_depth = 8.0;
constexpr double near_enough = 10.0;

// Two bases are of one lattice if the matrix between them is whole to this.
constexpr double same_within = 0.15;

bool one_lattice(const matrix3& basis, double volume, const candidate_lattice& other)
{
    const double ratio = volume / std::fabs(other.basis.determinant());
    if (!(ratio > 0.75 && ratio < 1.34)) return false;
    const matrix3 between = basis.multiply(other.basis.inverse());
    for (const auto& row : between.a)
        for (const double x : row)
            if (std::fabs(x - std::round(x)) > same_within) return false;
    return true;
}

const std::vector<matrix3>& steps_to_relatives()
{
    static const std::vector<matrix3> steps = [] {
        std::vector<matrix3> all;
        for (const int index : {2, 3, 5})
            for (const auto& forms : {hermite_forms(index), finer_forms(index)})
                all.insert(all.end(), forms.begin(), forms.end());
        return all;
    }();
    return steps;
}

} // namespace

bool lattice_pool::allowed(const matrix3& basis) const
{
    const double volume = std::fabs(basis.determinant());
    return volume >= limits_.smallest_volume && volume <= limits_.largest_volume
           && row_of(basis, 0).length_sq() >= limits_.shortest_axis * limits_.shortest_axis;
}

double lattice_pool::least() const
{
    // What is so far below an answer is no rival of one. Parts of a large cell, which lead to it, may have little.
    const double floor =
        std::min(evidence_needed_of(list_.size()), 2.0 * evidence_needed) - pool_depth;
    if (entries_.empty()) return floor;
    const double depth = std::max(floor, best() - pool_depth);
    return entries_.size() < pool_size ? depth : std::max(depth, entries_.back().lattice.evidence);
}

std::size_t lattice_pool::place_of(const matrix3& basis) const
{
    const double volume = std::fabs(basis.determinant());
    std::size_t i = 0;
    while (i < entries_.size() && !one_lattice(basis, volume, entries_[i].lattice)) ++i;
    return i;
}

void lattice_pool::insert(const candidate_lattice& one)
{
    if (!std::isfinite(one.evidence) || one.evidence < least()) return;
    pool_entry entry = {one, false, false};
    const std::size_t same = place_of(one.basis);
    if (same < entries_.size()) {
        if (one.evidence <= entries_[same].lattice.evidence) return;
        // The same lattice, refined further: what was done for it need not be done again, unless it
        // has become much better.
        constexpr double much = 2.0;
        if (one.evidence < entries_[same].lattice.evidence + much) {
            entry.relatives_seen = entries_[same].relatives_seen;
            entry.guided = entries_[same].guided;
        }
        entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(same));
    }
    const auto place = std::find_if(entries_.begin(), entries_.end(), [&](const pool_entry& other) {
        return other.lattice.evidence < one.evidence;
    });
    entries_.insert(place, entry);
    const double limit = best() - pool_depth;
    while (entries_.size() > pool_size || entries_.back().lattice.evidence < limit)
        entries_.pop_back();
}

void lattice_pool::offer(const matrix3& basis)
{
    const auto reduced = try_shortest_basis(basis);
    if (!reduced || !allowed(reduced->basis)) return;
    if (place_of(reduced->basis) == entries_.size()) refine(reduced->basis);
}

void lattice_pool::refine(const matrix3& basis)
{
    candidate_lattice refined = quick_assess(list_, basis, least());
    if (!std::isfinite(refined.evidence)) return;
    const auto again = try_shortest_basis(refined.basis);
    if (!again || !allowed(again->basis)) return;
    refined.basis = again->basis;
    insert(refined);
}

void lattice_pool::look_at_relatives()
{
    constexpr int most_looked = 24;
    for (int looked = 0; looked < most_looked; ++looked) {
        const auto next =
            std::find_if(entries_.begin(), entries_.end(), [&](const pool_entry& one) {
                return !one.relatives_seen && one.lattice.evidence > best() - relatives_depth;
            });
        if (next == entries_.end() || limits_.over()) return;
        next->relatives_seen = true;
        const candidate_lattice from = next->lattice;
        for (const matrix3& step : steps_to_relatives()) {
            const auto reduced = try_shortest_basis(step.multiply(from.basis));
            if (!reduced || !allowed(reduced->basis)) continue;
            const candidate_lattice glance = quick_glance(list_, reduced->basis, from);
            if (glance.evidence <= best() - near_enough) continue;
            // One that nearly has the same basis, but got stuck with less evidence, is no reason to leave it out.
            const std::size_t same = place_of(reduced->basis);
            if (same == entries_.size() || entries_[same].lattice.evidence < glance.evidence)
                refine(reduced->basis);
        }
    }
}

namespace {

// Balls of direct space that are enumerated: cells up to so many times 1 / |q|max^3, if they are not more
// elongated than this factor allows.
constexpr std::array<double, 6> ball_volumes = {350.0, 1750.0, 8000.0, 4e4, 2e5, 1e6};
constexpr double elongation = 1.8;

// How many enumerations each ball gets in each round.
struct round_plan {
    std::array<int, ball_volumes.size()> enumerations;
    double extra_evidence; // that it takes in this round, over what it takes in the end
};
constexpr std::array<round_plan, 5> rounds = {{
    {{1, 1, 1, 0, 0, 0}, 8.0},
    {{2, 2, 1, 0, 0, 0}, 8.0},
    {{8, 8, 8, 1, 1, 0}, 4.0},
    {{30, 30, 30, 3, 1, 1}, 0.0},
    {{120, 120, 120, 8, 3, 2}, 0.0},
}};

class searching {
public:
    searching(const reflection_list& list, const search_limits& limits,
              const second_opinion& opinion)
        : list_(list), limits_(limits), opinion_(opinion), pool_(list, limits), random_(limits.seed)
    {
    }

    search_result run()
    {
        search_result found;
        for (const round_plan& plan : rounds) {
            round_ = ++found.rounds;
            for (std::size_t ball = 0; ball < balls(); ++ball)
                for (int i = 0; i < plan.enumerations[ball] && !limits_.over(); ++i)
                    enumerate_freely(radius_of(ball));
            settle();
            found.interrupted = limits_.over();
            if (found.interrupted) break;
            if (clear(plan.extra_evidence, found.rounds) || clear_by_opinion()) {
                found.clear = true;
                break;
            }
            if (found.rounds >= limits_.rounds) break;
        }
        found.lattices = lattices();
        return found;
    }

private:
    static constexpr int quick_rounds = 2;
    static constexpr int rounds_before_opinion = 3;
    static constexpr std::size_t few_reflections = 24;
    static constexpr std::size_t very_few_reflections = 12;

    // The largest ball has ten million points: it is left to long lists, which large cells have.
    [[nodiscard]] std::size_t balls() const
    {
        return list_.size() > most_sampled ? ball_volumes.size() : ball_volumes.size() - 1;
    }

    [[nodiscard]] double radius_of(std::size_t ball) const
    {
        return elongation * cube_root(ball_volumes[ball]) / list_.longest;
    }

    // 64 of the reflections, others each time.
    void draw_sample()
    {
        sample_.clear();
        if (list_.size() <= most_sampled) {
            sample_ = list_.vectors;
            return;
        }
        std::vector<std::size_t> places(list_.size());
        std::iota(places.begin(), places.end(), std::size_t{0});
        for (std::size_t i = 0; i < most_sampled; ++i) {
            std::swap(places[i], places[i + random_.below(places.size() - i)]);
            sample_.push_back(list_.vectors[places[i]]);
        }
    }

    void enumerate_with(const anchor_places& anchors, double radius)
    {
        const bool patient = round_ > quick_rounds;
        ball within;
        within.shortest = limits_.shortest_axis;
        within.radius = radius;
        within.most = limits_.most_points;
        within.by_distances = list_.size() <= (patient ? few_reflections : very_few_reflections);
        const direct_vectors found = enumerate_direct_vectors(sample_, anchors, within);
        const int least = std::min<int>(6, std::max<int>(4, static_cast<int>(sample_.size()) - 1));
        const bool many = list_.size() > (patient ? few_reflections : very_few_reflections);
        const std::size_t most = many ? 6 : 24;
        for (const auto& vectors : found.by_tolerance)
            for (const matrix3& basis : combine(vectors, sample_, least, most)) pool_.offer(basis);
    }

    void enumerate_freely(double radius)
    {
        draw_sample();
        std::vector<std::size_t> all(sample_.size());
        std::iota(all.begin(), all.end(), std::size_t{0});
        const int draws = list_.size() < 12 ? 2 : 6;
        const auto anchors = draw_anchors(sample_, all, list_.longest, draws, random_);
        if (anchors) enumerate_with(*anchors, radius);
        if (radius > searched_) searched_ = radius;
    }

    // Enumerations with anchors among the reflections of a lattice.
    void guide(const candidate_lattice& by)
    {
        const double volume = std::fabs(by.basis.determinant());
        const double side = cube_root(volume);
        for (const double radius : {1.15 * row_of(by.basis, 2).length(), 1.1 * side, 0.7 * side}) {
            if (limits_.over()) return;
            draw_sample();
            std::vector<std::size_t> own;
            for (std::size_t i = 0; i < sample_.size(); ++i) {
                const vector3 x = by.basis.multiply(sample_[i]);
                const vector3 off = {x.x - std::round(x.x), x.y - std::round(x.y),
                                     x.z - std::round(x.z)};
                if (off.length_sq() < 0.15 * 0.15) own.push_back(i);
            }
            const auto anchors = draw_anchors(sample_, own, list_.longest, 6, random_);
            if (anchors) enumerate_with(*anchors, radius);
        }
    }

    // Relatives and guided enumerations, until nothing better comes.
    void settle()
    {
        constexpr int most_guided = 6;
        pool_.look_at_relatives();
        for (int i = 0; i < most_guided && !limits_.over(); ++i) {
            if (pool_.entries().empty()) return;
            pool_entry& first = pool_.entries().front();
            if (first.guided || first.lattice.evidence < 4.0) return;
            first.guided = true;
            guide(candidate_lattice(first.lattice));
            pool_.look_at_relatives();
        }
    }

    [[nodiscard]] std::vector<candidate_lattice> lattices() const
    {
        std::vector<candidate_lattice> all;
        for (const pool_entry& one : pool_.entries()) all.push_back(one.lattice);
        return all;
    }

    [[nodiscard]] bool clear_by_opinion() const
    {
        return opinion_ && round_ == rounds_before_opinion && !pool_.entries().empty()
               && row_of(pool_.entries()[0].lattice.basis, 2).length() <= searched_
               && opinion_(lattices());
    }

    [[nodiscard]] bool clear(double extra, int round) const
    {
        if (pool_.entries().empty()) return false;
        const candidate_lattice& best = pool_.entries()[0].lattice;
        const auto count = static_cast<double>(list_.size());
        if (row_of(best.basis, 2).length() > searched_) return false;
        double rivals = -infinite;
        for (std::size_t i = 1; i < pool_.entries().size(); ++i)
            rivals = log_sum(rivals, pool_.entries()[i].lattice.evidence);
        const double lead = best.evidence - rivals;
        if (lead < lead_needed) return false;
        if (best.evidence >= 20.0 + 0.1 * count
            && best.inliers >= (round <= 2 ? 0.75 : 0.4) * count)
            return true;
        return best.evidence >= evidence_needed_of(list_.size()) + extra
               && best.inliers >= fraction_needed * count && round >= 3;
    }

    const reflection_list& list_;
    const search_limits& limits_;
    const second_opinion& opinion_;
    lattice_pool pool_;
    random_numbers random_;
    std::vector<vector3> sample_;
    double searched_ = 0.0;
    int round_ = 0;
};

} // namespace

search_result search_lattices(const reflection_list& list, const search_limits& limits,
                              const second_opinion& clear)
{
    return searching(list, limits, clear).run();
}

} // namespace torvik::solver
