#include "solver/verdict/decision.h"

#include "solver/evidence/independent.h"
#include "solver/evidence/shifted_lattice.h"
#include "solver/lattice/text.h"
#include "solver/numeric/functions.h"
#include "solver/verdict/free_search.h"
#include "solver/verdict/thresholds.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace torvik::solver {

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();

std::string percent(double part)
{
    return fixed(100.0 * part, 0) + " %";
}

double fraction_of(const assessment& one)
{
    return static_cast<double>(one.indexed) / static_cast<double>(one.inlier.size());
}

bool shifted(const assessment& one)
{
    return one.shift.length_sq() > 0.0;
}

// Whether a lattice is that of another crystal beside the best: it indexes what that leaves.
bool of_another_crystal(const std::vector<vector3>& vectors, const assessment& best,
                        const assessment& other)
{
    if (!best.further_crystals.empty() || !other.further_crystals.empty()) return false;
    if (shifted(best) || shifted(other)) return false;
    int shared = 0;
    for (std::size_t i = 0; i < vectors.size(); ++i)
        if (best.inlier[i] > 0.5 && other.inlier[i] > 0.5) ++shared;
    if (2 * shared >= std::min(best.indexed, other.indexed)) return false;
    const std::vector<vector3> left = unindexed_by(vectors, best);
    return assess(left, other.basis).evidence >= evidence_needed_of(left.size());
}

// The logarithm of the sum of the odds of candidates from `first` to `last`, with the credit of those that index
// more than the first of all, unless that has further crystals for the others.
double log_odds(const std::vector<assessment>& candidates, std::size_t first, std::size_t last)
{
    double sum = -infinite;
    for (std::size_t i = first; i < last; ++i) {
        const bool more = candidates.front().further_crystals.empty()
                          && candidates[i].indexed > candidates.front().indexed;
        sum = log_sum(sum, candidates[i].evidence + (more ? credit_for_indexing_more : 0.0));
    }
    return sum;
}

// How many of the first candidates hold, together, the odds that an answer needs against the rest.
std::size_t competing_among(const std::vector<assessment>& candidates, std::size_t rivals)
{
    std::size_t count = 1;
    while (count < rivals
           && log_odds(candidates, 0, count) - log_odds(candidates, count, rivals) < lead_needed)
        ++count;
    return count;
}

// Whether the evidence is that of rows of equally spaced reflections, and not of a lattice.
bool rests_on_rows(const std::vector<vector3>& vectors, const assessment& best)
{
    if (vectors.size() > most_checked_for_rows || !best.further_crystals.empty()) return false;
    constexpr double within = 4.0; // the sum of three errors, one of them twice: 2.4 times as large
    const auto places = independent_places(vectors, within * best.sigma);
    if (places.size() == vectors.size()) return false;
    std::vector<vector3> independent;
    for (const std::size_t i : places) independent.push_back(vectors[i]);
    const assessment kept = shifted(best) ? assess_shifted(independent, best.basis, best.shift)
                                          : assess(independent, best.basis);
    return kept.evidence < evidence_needed_of(independent.size());
}

std::string reason_for(const decision& of, bool another)
{
    const assessment& best = of.candidates.front();
    if (of.interrupted) return "The search was interrupted: this is the best lattice so far.";
    if (of.competing > 1)
        return std::to_string(of.competing) + " lattices explain the reflections equally well.";
    if (of.how == verdict::ambiguous && of.on_rows)
        return "The best lattice explains rows of equally spaced reflections, and little beyond "
               "them.";
    if (of.how == verdict::ambiguous)
        return "The best lattice indexes only " + percent(fraction_of(best))
               + " of the reflections.";
    if (!best.further_crystals.empty())
        return std::to_string(1 + best.further_crystals.size())
               + " crystals of one cell explain the reflections, and no other lattice comes near. "
                 "The "
                 "first one indexes "
               + percent(fraction_of(best)) + " of them.";
    return "One lattice"
           + (shifted(best) ? ", shifted by " + fixed(best.shift.length(), 4) + " 1/angstrom," : "")
           + " indexes " + percent(fraction_of(best)) + " of the reflections"
           + (another ? "; another crystal indexes others." : ", and no other comes near.");
}

} // namespace

std::string precondition_failed(const std::vector<vector3>& vectors)
{
    constexpr std::size_t fewest_searched = 4;
    if (vectors.size() < fewest_searched)
        return "There are " + std::to_string(vectors.size())
               + " reflections; a lattice needs at least " + std::to_string(fewest_reflections)
               + ".";
    matrix3 sum(0.0);
    for (const vector3& q : vectors) add_product(sum, q, q);
    const double trace = sum.a[0][0] + sum.a[1][1] + sum.a[2][2];
    // The determinant is the product of the three spreads: a flat one is far below their mean.
    constexpr double flat = 1e-7;
    if (!(sum.determinant() > flat * trace * trace * trace / 27.0))
        return "The reflections lie in a plane, or nearly: measure some out of it.";
    return "";
}

decision decide(const std::vector<vector3>& vectors, std::vector<assessment> candidates,
                bool interrupted)
{
    decision made;
    made.interrupted = interrupted;
    sort_by_evidence(candidates);
    made.candidates = std::move(candidates);
    const double needed = evidence_needed_of(vectors.size());
    if (made.candidates.empty()) {
        made.reason = interrupted ? "The search was interrupted before a lattice was found."
                                  : "No lattice was found.";
        return made;
    }
    const assessment best = made.candidates.front();
    const auto others = std::stable_partition(
        made.candidates.begin() + 1, made.candidates.end(),
        [&](const assessment& one) { return !of_another_crystal(vectors, best, one); });
    const auto rivals = static_cast<std::size_t>(others - made.candidates.begin());
    const bool another = others != made.candidates.end();
    made.competing = competing_among(made.candidates, rivals);
    made.lead = best.evidence - log_odds(made.candidates, 1, rivals);
    if (interrupted) {
        made.how = verdict::ambiguous;
    } else if (best.evidence < needed || vectors.size() < fewest_reflections) {
        made.how = verdict::refused;
        made.reason = vectors.size() < fewest_reflections
                          ? "There are " + std::to_string(vectors.size())
                                + " reflections; no lattice is certain with fewer than "
                                + std::to_string(fewest_reflections) + "."
                          : "The best lattice is no better than chance could make one.";
        return made;
    } else if (made.competing == 1 && rests_on_rows(vectors, best)) {
        made.how = verdict::ambiguous;
        made.on_rows = true;
    } else if (made.competing > 1
               || fraction_of(best)
                      < (shifted(best) ? fraction_needed_with_shift : fraction_needed)) {
        made.how = verdict::ambiguous;
    } else {
        made.how = verdict::solved;
    }
    made.reason = reason_for(made, another);
    return made;
}

} // namespace torvik::solver
