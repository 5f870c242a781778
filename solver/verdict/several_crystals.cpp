#include "solver/verdict/several_crystals.h"

#include "solver/evidence/known_cell.h"
#include "solver/evidence/metric_symmetry.h"
#include "solver/evidence/mixture.h"
#include "solver/evidence/sublattice_hits.h"
#include "solver/lattice/cell.h"
#include "solver/lattice/relations.h"
#include "solver/lattice/short_vectors.h"
#include "solver/numeric/functions.h"
#include "solver/verdict/thresholds.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <numeric>

namespace torvik::solver {

namespace {

constexpr std::size_t most_further = 5; // a sixling has as many
constexpr int largest_index = 24;

// The number of sublattices that chance makes candidates. A low limit saves little time, as assessments are
// fast, and misses twins of few reflections: at 0.002 half of those with 24.
constexpr double most_by_chance = 10.0;

// Sublattices that are assessed on their own reflections, and those for which further crystals are looked for.
constexpr std::size_t most_assessed = 24;
constexpr std::size_t most_tried = 4;

// Reflections that are counted: more would only be slower.
constexpr std::size_t most_counted = 400;

// Sublattices that are looked at for each further crystal.
constexpr std::size_t most_guessed = 6;

// Two crystals have the same cell if lengths and angles agree to this.
constexpr double same_length = 0.03;
constexpr double same_angle = 2.0; // degrees

using places = std::vector<std::size_t>;

std::vector<vector3> those(const std::vector<vector3>& vectors, const places& chosen)
{
    std::vector<vector3> some;
    some.reserve(chosen.size());
    for (const std::size_t i : chosen) some.push_back(vectors[i]);
    return some;
}

// The reflections that are no inliers, of those that were assessed.
places left_of(const places& assessed, const assessment& one)
{
    places left;
    for (std::size_t i = 0; i < assessed.size(); ++i)
        if (!(one.inlier[i] > 0.5)) left.push_back(assessed[i]);
    return left;
}

// The evidence if others indexed all reflections that are left, without any error.
double most_evidence(const assessment& one)
{
    const error_model errors = {one.sigma, 0.0, one.sigma};
    const double hit = errors.peak(std::fabs(one.basis.determinant()));
    const auto left = static_cast<double>(one.inlier.size()) - one.indexed;
    return one.evidence + left * std::max(0.0, logarithm(hit));
}

matrix3 right_handed(const matrix3& basis)
{
    return basis.determinant() < 0.0 ? scaled(basis, -1.0) : basis;
}

// Whether bases of shortest vectors may be of one cell: their lengths are equal, nearly.
bool alike(const matrix3& one, const matrix3& other)
{
    for (int i = 0; i < 3; ++i)
        if (std::fabs(row_of(one, i).length() / row_of(other, i).length() - 1.0) > same_length)
            return false;
    return true;
}

bool more_evident(const assessment& one, const std::optional<assessment>& other)
{
    return std::isfinite(one.evidence) && (!other || one.evidence > other->evidence);
}

// A lattice with its indices of the reflections that it takes.
class holding {
public:
    holding(const std::vector<vector3>& vectors, const assessment& held,
            const std::function<bool()>& over)
        : vectors_(vectors), held_(held), held_gain_(symmetry_gain(vectors, held)), over_(over),
          indices_(vectors.size())
    {
        for (std::size_t i = 0; i < vectors.size(); ++i) {
            if (!(held.inlier[i] > 0.5)) continue;
            taken_.push_back(i);
            indices_[i] = nearest_indices(held.basis.multiply(vectors[i]));
        }
    }

    [[nodiscard]] std::optional<assessment> crystals() const
    {
        const double least = held_.evidence - lead_needed;
        std::optional<assessment> best;
        std::size_t assessed = 0;
        std::size_t tried = 0;
        for (const striking_sublattice& one :
             striking_sublattices(sample(), largest_index, most_by_chance)) {
            if (over_()) return std::nullopt;
            if (assessed == most_assessed || tried == most_tried) break;
            const auto first = first_crystal(one);
            // The reflections of a plane that two crystals share are on many sublattices, which are not
            // assessed: they must not use up the places of others.
            if (!first) continue;
            ++assessed;
            if (!(first->evidence >= evidence_needed) || most_evidence(*first) < least) continue;
            ++tried;
            const assessment all = with_further(*first, one.index);
            if (all.further_crystals.empty() || all.evidence < least) continue;
            if (more_evident(all, best)) best = all;
        }
        if (over_()) return std::nullopt;
        return best;
    }

private:
    [[nodiscard]] std::vector<miller_indices> sample() const
    {
        const std::size_t count = std::min(taken_.size(), most_counted);
        std::vector<miller_indices> some;
        for (std::size_t i = 0; i < count; ++i)
            some.push_back(indices_[taken_[i * taken_.size() / count]]);
        return some;
    }

    // The crystal of a sublattice, assessed on all reflections; nothing if its own do not determine it.
    [[nodiscard]] std::optional<assessment> first_crystal(const striking_sublattice& one) const
    {
        // Few of its own points are of other crystals.
        places own;
        for (const std::size_t i : taken_)
            if (on_sublattice(one.T, indices_[i])) own.push_back(i);
        const auto reduced = try_shortest_basis(one.T.multiply(held_.basis));
        if (!reduced) return std::nullopt;
        const assessment alone = assess(those(vectors_, own), right_handed(reduced->basis));
        if (!std::isfinite(alone.evidence) || !try_shortest_basis(alone.basis)) return std::nullopt;
        if (alone.evidence < evidence_needed) return alone;
        assessment fixed = assess_unrefined(vectors_, alone);
        // The operation that relates the crystals makes the lattice of their coincidence symmetric too, where their own
        // symmetry is known less well: that must not speak for one crystal.
        fixed.evidence += std::max(symmetry_gain(vectors_, fixed), held_gain_);
        return fixed;
    }

    // A crystal with the further crystals of its cell.
    [[nodiscard]] assessment with_further(assessment one, int index) const
    {
        const given_cell cell(cell_of(one.basis));
        places all(vectors_.size());
        std::iota(all.begin(), all.end(), std::size_t{0});
        places left = left_of(all, one);
        while (one.further_crystals.size() < most_further && !over_()) {
            const auto next = by_sublattices(left, index, one.basis, cell);
            if (!next || next->evidence < evidence_needed_of(left.size())) break;
            one.evidence += next->evidence;
            one.further_crystals.push_back(cell.to_given.multiply(next->basis));
            left = left_of(left, *next);
        }
        return one;
    }

    // The orientation of the cell in which a lattice has it, assessed on the reflections that are left.
    static void offer(const std::vector<vector3>& left, const matrix3& lattice,
                      const matrix3& first, const given_cell& cell, std::optional<assessment>& best)
    {
        if (!try_shortest_basis(lattice)) return;
        const auto match = match_cells(lattice, first, same_length, same_angle, 1);
        if (!match) return;
        const matrix3 basis = right_handed(match->T.multiply(lattice));
        const assessment one = assess_known(left, cell, cell.orientation_of(basis));
        if (more_evident(one, best)) best = one;
    }

    // The best crystal among the other sublattices of the same index.
    [[nodiscard]] std::optional<assessment> by_sublattices(const places& left, int index,
                                                           const matrix3& first,
                                                           const given_cell& cell) const
    {
        std::vector<miller_indices> indices;
        for (const std::size_t i : left)
            if (held_.inlier[i] > 0.5) indices.push_back(indices_[i]);
        const std::vector<vector3> vectors = those(vectors_, left);
        std::optional<assessment> best;
        std::size_t guessed = 0;
        for (const std::size_t place : most_hit(sublattice_hits(indices, index))) {
            const auto reduced =
                try_shortest_basis(finer_form_at(index, place).multiply(held_.basis));
            if (!reduced || !alike(reduced->basis, first)) continue;
            if (guessed++ == most_guessed || over_()) break;
            // The coincidence is not exact: the crystal is found where its own reflections are.
            const assessment refined = assess(vectors, reduced->basis);
            offer(vectors, std::isfinite(refined.evidence) ? refined.basis : reduced->basis, first,
                  cell, best);
        }
        return best;
    }

    // The places of the sublattices with the most hits, first of all those with the most.
    static std::vector<std::size_t> most_hit(const std::vector<int>& hits)
    {
        constexpr std::size_t most = 48;
        constexpr int fewest = 4; // three make a lattice
        std::vector<std::size_t> order;
        for (std::size_t i = 0; i < hits.size(); ++i)
            if (hits[i] >= fewest) order.push_back(i);
        std::stable_sort(order.begin(), order.end(),
                         [&](std::size_t i, std::size_t j) { return hits[i] > hits[j]; });
        order.resize(std::min(order.size(), most));
        return order;
    }

    const std::vector<vector3>& vectors_;
    const assessment& held_;
    double held_gain_; // of its symmetry
    const std::function<bool()>& over_;
    places taken_;                        // the inliers of the lattice
    std::vector<miller_indices> indices_; // of all vectors; 0 0 0 if not taken
};

// Whether a lattice may be the one that holds several crystals: it is among the best. Or these blur the
// crystals into one, with larger errors.
bool may_hold(const assessment& one, const assessment& best)
{
    constexpr double sharper = 0.7;
    constexpr double far_behind = 14.0; // nats
    if (one.evidence > best.evidence - lead_needed) return true;
    return one.evidence > best.evidence - far_behind && one.sigma < sharper * best.sigma;
}

} // namespace

std::optional<assessment> crystals_held_by(const std::vector<vector3>& vectors,
                                           const assessment& held,
                                           const std::function<bool()>& over)
{
    return holding(vectors, held, over).crystals();
}

bool is_one_of(const assessment& lattice, const assessment& crystals)
{
    constexpr double nearly = 0.15;
    const auto same = [&](const matrix3& basis) {
        return same_lattice(lattice.basis, basis, nearly);
    };
    return same(crystals.basis)
           || std::any_of(crystals.further_crystals.begin(), crystals.further_crystals.end(), same);
}

std::vector<assessment> with_several_crystals(const std::vector<vector3>& vectors,
                                              std::vector<assessment> lattices,
                                              const std::function<bool()>& over)
{
    if (lattices.empty() || lattices.front().evidence < evidence_needed) return lattices;
    std::optional<assessment> several;
    for (const assessment& one : lattices) {
        if (!may_hold(one, lattices.front())) continue;
        const auto crystals = crystals_held_by(vectors, one, over);
        if (crystals && more_evident(*crystals, several)) several = crystals;
    }
    if (!several) return lattices;
    std::erase_if(lattices, [&](const assessment& one) { return is_one_of(one, *several); });
    const auto place = std::find_if(lattices.begin(), lattices.end(), [&](const assessment& one) {
        return one.evidence < several->evidence;
    });
    lattices.insert(place, *several);
    return lattices;
}

} // namespace torvik::solver
