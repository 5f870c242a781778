#include "solver/verdict/known_search.h"

#include "solver/candidates/orientations.h"
#include "solver/evidence/known_cell.h"
#include "solver/evidence/occupation.h"
#include "solver/lattice/invalid_input.h"
#include "solver/lattice/relations.h"
#include "solver/lattice/short_vectors.h"
#include "solver/lattice/text.h"
#include "solver/numeric/functions.h"
#include "solver/verdict/coincidence.h"
#include "solver/verdict/search.h"
#include "solver/verdict/thresholds.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

namespace torvik::solver {

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();

// Three vectors make an orientation, so a fourth one is the first that can support it.
constexpr std::size_t fewest_vectors = 4;

// The search without the cell takes a sample of long lists, and few rounds; it needs six reflections in common.
constexpr std::size_t most_searched = 400;
constexpr int quick_rounds = 2;
constexpr double most_enumerated = 8e6; // some 30 ms
constexpr std::size_t fewest_searched = 6;

// Refinements: of so many proposals of pairs on the vectors that scored them; on a sample of long lists; of so
// many on all vectors.
constexpr std::size_t most_proposed = 40;
constexpr std::size_t most_sampled_first = 200;
constexpr std::size_t most_on_sample = 8;
constexpr std::size_t most_on_all = 4;

// What the second attempt by pairs may take, in units of the first.
constexpr double patient_effort = 4.0;

// A lattice beyond doubt indexes this part of the vectors at least.
constexpr double least_clear = 0.4;

// Candidates that are named in the end.
constexpr std::size_t most_named = 12;

// Strains of more standard deviations are those of another lattice, and so are scales beyond the tolerance by more
// than three deviations of the isotropic strain.
constexpr double most_deviations = 6.0;

// Lattices of the free search are compared with a cell up to this: it may determine one direction poorly.
constexpr double free_length = 0.05;
constexpr double free_angle = 3.0; // degrees
constexpr int largest_index = 6;

// The prior probability that the crystal has one of the 40 sub- and superlattices of index 2 and 3 of the cell,
// 2 % for all of them together.
constexpr double relative_prior = 0.02 / 40.0;

std::string percent(double part, int decimals = 0)
{
    return fixed(100.0 * part, decimals) + " %";
}

std::string text_of(const cell_parameters& cell)
{
    std::string text;
    for (std::size_t i = 0; i < cell.size(); ++i)
        text += (i > 0 ? " " : "") + fixed(cell[i], i < 3 ? 2 : 1);
    return text;
}

// The cell as its reduced form.
std::string reduced_text(const matrix3& basis)
{
    return text_of(cell_of(niggli(basis).basis));
}

// Known cells, in their primitive settings.
cell_parameters primitive_of(const centred_cell& cell)
{
    return cell_of(primitive_transformation(cell.centring).multiply(basis_of(cell.cell)));
}

// Some vectors of a long list, by chance.
std::vector<vector3> some_of(const std::vector<vector3>& vectors, std::size_t most,
                             std::uint64_t seed)
{
    std::vector<vector3> sample = vectors;
    if (sample.size() <= most) return sample;
    random_numbers random(seed);
    for (std::size_t i = 0; i < most; ++i)
        std::swap(sample[i], sample[i + random.below(sample.size() - i)]);
    sample.resize(most);
    return sample;
}

// The factor of all lengths from a cell to a basis.
double scale_between(const given_cell& cell, const matrix3& basis)
{
    return cube_root(std::fabs(basis.determinant()) / cell.volume);
}

// The largest |log| of a scale that is believed.
double most_log_scale(double tolerance)
{
    return std::log1p(tolerance) + 3.0 * usual_strain / std::sqrt(3.0);
}

// Whether a lattice is a cell up to the strains and the scale that are believed. The basis is that of shortest
// vectors.
bool believable(const given_cell& cell, const matrix3& basis, double tolerance)
{
    const double scale = scale_between(cell, basis);
    if (!(std::fabs(logarithm(scale)) <= most_log_scale(tolerance))) return false;
    const double strain = most_deviations * usual_strain;
    const matrix3 UB = scaled(basis.inverse(), scale);
    return std::any_of(cell.rotations.begin(), cell.rotations.end(), [&](const matrix3& T) {
        return strain_square(UB.multiply(T.inverse()).multiply(cell.basis)) <= strain * strain;
    });
}

// Whether the three shortest lengths of a lattice are about those of a cell.
bool similar_lengths(const matrix3& basis, const given_cell& cell)
{
    for (int i = 0; i < 3; ++i) {
        const double ratio = row_of(basis, i).length() / row_of(cell.basis, i).length();
        if (!(std::fabs(ratio - 1.0) <= free_length)) return false;
    }
    return true;
}

// The orientations of a cell that a lattice, a superlattice or a sublattice of it gives.
std::vector<deformed_cell> orientations_by(const matrix3& lattice, const given_cell& cell,
                                           double tolerance)
{
    std::vector<deformed_cell> found;
    const double ratio = cell.volume / std::fabs(lattice.determinant());
    const auto try_forms = [&](const std::vector<matrix3>& forms, double index) {
        const double scale = cube_root(ratio / index);
        const double room = most_log_scale(tolerance) + free_length;
        if (!(std::fabs(logarithm(scale)) <= room)) return;
        for (const matrix3& form : forms) {
            const auto reduced = try_shortest_basis(scaled(form.multiply(lattice), scale));
            if (!reduced || !similar_lengths(reduced->basis, cell)) continue;
            const auto match = match_cells(reduced->basis, cell.basis, free_length, free_angle, 1);
            if (!match) continue;
            matrix3 basis = scaled(match->T.multiply(reduced->basis), 1.0 / scale);
            if (basis.determinant() < 0.0) basis = scaled(basis, -1.0);
            found.push_back(cell.deformed_as(cell.to_given.multiply(basis)));
        }
    };
    try_forms({matrix3()}, 1.0);
    for (int index = 2; index <= largest_index; ++index) {
        try_forms(hermite_forms(index), index);
        try_forms(finer_forms(index), 1.0 / index);
    }
    return found;
}

matrix3 basis_of(const deformed_cell& one, const given_cell& cell)
{
    return one.R.multiply(matrix3() + one.strain).multiply(cell.UB).inverse();
}

// A candidate while it is refined: its basis is that of shortest vectors.
struct contender {
    deformed_cell start;
    assessment found;
};

void sort_by_evidence(std::vector<contender>& all)
{
    std::stable_sort(all.begin(), all.end(), [](const contender& p, const contender& q) {
        return p.found.evidence > q.found.evidence;
    });
}

class searching_known {
public:
    searching_known(const std::vector<vector3>& vectors, const std::vector<double>& intensities,
                    const std::vector<centred_cell>& given, const known_limits& limits)
        : vectors_(vectors), intensities_(intensities), limits_(limits),
          sample_(some_of(vectors, most_sampled_first, limits.seed + 1)),
          searched_(some_of(vectors, most_searched, limits.seed))
    {
        for (const centred_cell& one : given) {
            check_known(one);
            cells_.emplace_back(primitive_of(one), 0.5 * limits.tolerance);
        }
        count_ = static_cast<int>(cells_.size());
    }

    known_result run()
    {
        if (vectors_.size() < fewest_vectors) {
            result_.made.reason = "There are " + std::to_string(vectors_.size())
                                  + " reflections; no orientation is certain with fewer than "
                                  + std::to_string(fewest_vectors) + ".";
            return result_;
        }
        search_without_cells(quick_rounds);
        for (std::size_t i = 0; i < cells_.size(); ++i) take(i, from_free_lattices(cells_[i]));
        if (settled()) {
            look_beside();
        } else {
            result_.work.pairs = true;
            for (std::size_t i = 0; i < cells_.size() && !over(); ++i)
                take(i, from_pairs(cells_[i], 1.0));
            // Large cells with many outliers need more, and only these.
            const bool enough =
                another_lattice_is_clear()
                || (!found_.empty() && found_[0].evidence >= evidence_needed_of(vectors_.size()));
            for (std::size_t i = 0; i < cells_.size() && !enough && !over(); ++i)
                take(i, from_pairs(cells_[i], patient_effort));
        }
        take_near_symmetries();
        decide();
        return result_;
    }

private:
    [[nodiscard]] bool over()
    {
        if (!interrupted_) interrupted_ = limits_.over && limits_.over();
        return interrupted_;
    }

    void search_without_cells(int rounds)
    {
        free_.clear();
        if (searched_.size() < fewest_searched || over()) return;
        search_limits limits;
        limits.seed = limits_.seed;
        limits.over = [this] { return over(); };
        limits.rounds = rounds;
        limits.most_points = most_enumerated;
        for (const given_cell& cell : cells_)
            limits.shortest_axis =
                std::min(limits.shortest_axis, 0.9 * row_of(cell.basis, 0).length());
        free_ = search_lattices(searched_, limits).lattices;
    }

    // The orientations that the lattices of the free search give.
    std::vector<contender> from_free_lattices(const given_cell& cell)
    {
        std::vector<deformed_cell> starts;
        for (const candidate_lattice& one : free_) {
            if (over()) break;
            const auto more = orientations_by(one.basis, cell, limits_.tolerance);
            starts.insert(starts.end(), more.begin(), more.end());
        }
        return refined(cell, different(cell, starts));
    }

    std::vector<contender> from_pairs(const given_cell& cell, double effort)
    {
        const proposed_orientations proposed = propose_orientations(
            vectors_, intensities_, cell,
            {limits_.tolerance, most_proposed, effort * most_choices, effort * most_orientations},
            [this] { return over(); });
        result_.work.choices += proposed.choices;
        result_.work.orientations += proposed.orientations;
        std::vector<deformed_cell> starts;
        for (const proposed_orientation& one : proposed.best) starts.push_back(one.cell);
        if (vectors_.size() <= most_scoring_vectors) return refined(cell, starts);
        std::vector<contender> first =
            assessed(representative(vectors_, intensities_, most_scoring_vectors), cell, starts);
        sort_by_evidence(first);
        first.resize(std::min(first.size(), most_on_sample));
        starts.clear();
        for (const contender& one : first)
            starts.push_back(cell.deformed_as(cell.to_given.multiply(one.found.basis)));
        return refined(cell, starts);
    }

    static std::vector<deformed_cell> different(const given_cell& cell,
                                                const std::vector<deformed_cell>& starts)
    {
        std::vector<deformed_cell> few;
        std::vector<matrix3> bases;
        for (const deformed_cell& one : starts) {
            const matrix3 basis = basis_of(one, cell);
            if (std::any_of(bases.begin(), bases.end(),
                            [&](const matrix3& other) { return same_orientation(other, basis); }))
                continue;
            few.push_back(one);
            bases.push_back(basis);
        }
        return few;
    }

    std::vector<contender> assessed(const std::vector<vector3>& vectors, const given_cell& cell,
                                    const std::vector<deformed_cell>& starts)
    {
        std::vector<contender> all;
        for (const deformed_cell& start : starts) {
            if (over()) break;
            ++result_.work.refined;
            contender one = {start, assess_known(vectors, cell, start, count_)};
            if (std::isfinite(one.found.evidence)) all.push_back(one);
        }
        return all;
    }

    // On a sample first if there are many vectors, then on all of them.
    std::vector<contender> refined(const given_cell& cell, std::vector<deformed_cell> starts)
    {
        if (sample_.size() < vectors_.size()) {
            std::vector<contender> first = assessed(sample_, cell, starts);
            sort_by_evidence(first);
            starts.clear();
            for (const contender& one : first)
                starts.push_back(cell.deformed_as(cell.to_given.multiply(one.found.basis)));
            starts = different(cell, starts);
            starts.resize(std::min(starts.size(), most_on_all));
        }
        return assessed(vectors_, cell, starts);
    }

    // Takes candidates of a cell, the best first, each lattice once: of two cells that are nearly the same the
    // better one counts.
    void take(std::size_t number, const std::vector<contender>& all)
    {
        const given_cell& cell = cells_[number];
        for (const contender& each : all) {
            assessment one = each.found;
            if (!believable(cell, one.basis, limits_.tolerance)) continue;
            if (may_be_coincidence(vectors_, one)) continue;
            one.known = static_cast<int>(number);
            insert(one);
        }
    }

    void insert(const assessment& one)
    {
        const auto same = std::find_if(found_.begin(), found_.end(), [&](const assessment& other) {
            return same_orientation(other.basis, one.basis)
                   && same_orientation(one.basis, other.basis);
        });
        if (same != found_.end() && same->evidence >= one.evidence) return;
        if (same != found_.end()) found_.erase(same);
        const auto place = std::find_if(found_.begin(), found_.end(), [&](const assessment& other) {
            return other.evidence < one.evidence;
        });
        found_.insert(place, one);
        if (found_.size() > most_named) found_.pop_back();
    }

    // Whether the free search has found a lattice beyond doubt that no candidate is.
    [[nodiscard]] bool another_lattice_is_clear() const
    {
        if (free_.empty()) return false;
        const auto count = static_cast<double>(searched_.size());
        return free_[0].evidence >= 20.0 + 0.1 * count && free_[0].inliers >= least_clear * count;
    }

    // Whether the free search has found a cell beyond doubt. The limits are those of its first rounds.
    [[nodiscard]] bool settled() const
    {
        if (found_.empty()) return false;
        const auto count = static_cast<double>(vectors_.size());
        return found_[0].evidence >= 20.0 + 0.1 * count && found_[0].indexed >= least_clear * count;
    }

    // Looks for another crystal of the cell in what the best candidate leaves.
    void look_beside()
    {
        constexpr std::size_t fewest = 8;
        constexpr double most_indexed = 0.75;
        const assessment best = found_[0];
        if (best.indexed > most_indexed * static_cast<double>(vectors_.size())) return;
        const std::vector<vector3> left = unindexed_by(vectors_, best);
        if (left.size() < fewest || over()) return;
        searched_ = reflection_list(some_of(left, most_searched, limits_.seed));
        const std::vector<candidate_lattice> all = free_;
        search_without_cells(1);
        const auto number = static_cast<std::size_t>(best.known);
        take(number, from_free_lattices(cells_[number]));
        searched_ = reflection_list(some_of(vectors_, most_searched, limits_.seed));
        free_ = all;
    }

    // The orientations that a rotation which is nearly one of the lattice gives compete with the best.
    void take_near_symmetries()
    {
        constexpr double near = 0.06;
        if (found_.empty()) return;
        const assessment best = found_[0];
        const auto number = static_cast<std::size_t>(best.known);
        const given_cell& cell = cells_[number];
        const deformed_cell start = cell.deformed_as(cell.to_given.multiply(best.basis));
        std::vector<deformed_cell> starts;
        for (const matrix3& T : rotations_of(cell.basis, near)) {
            const matrix3 turn = nearest_rotation(cell.UB.multiply(T).multiply(cell.basis));
            starts.push_back({start.R.multiply(turn), start.strain});
        }
        starts = different(cell, starts);
        // The first is the identity: the best itself.
        const matrix3 own = basis_of(start, cell);
        std::erase_if(starts, [&](const deformed_cell& one) {
            return same_orientation(basis_of(one, cell), own);
        });
        take(number, refined(cell, starts));
    }

    // THE VERDICT.

    [[nodiscard]] const given_cell& cell_of_candidate(const assessment& one) const
    {
        return cells_[static_cast<std::size_t>(one.known)];
    }

    // The evidence of a candidate in what a lattice leaves; 0 if that is not enough for a crystal.
    double evidence_beside(const assessment& lattice, const assessment& other)
    {
        const std::vector<vector3> left = unindexed_by(vectors_, lattice);
        if (left.size() < fewest_vectors) return 0.0;
        const given_cell& cell = cell_of_candidate(other);
        const double evidence =
            assess_known(left, cell, cell.deformed_as(cell.to_given.multiply(other.basis)), count_)
                .evidence;
        return evidence >= evidence_needed_of(left.size()) ? evidence : 0.0;
    }

    // Whether the inliers of two lattices are mostly different ones.
    [[nodiscard]] static bool apart(const assessment& one, const assessment& other)
    {
        int shared = 0;
        for (std::size_t i = 0; i < one.inlier.size(); ++i)
            if (one.inlier[i] > 0.5 && other.inlier[i] > 0.5) ++shared;
        return 2 * shared < std::min(one.indexed, other.indexed);
    }

    // Puts the crystals beside the best last; returns their evidence in what it leaves.
    double part_crystals()
    {
        double beside = 0.0;
        const assessment best = found_[0];
        std::vector<assessment> others;
        for (auto one = found_.begin() + 1; one != found_.end();) {
            const double evidence =
                !over() && apart(best, *one) ? evidence_beside(best, *one) : 0.0;
            beside = std::max(beside, evidence);
            if (evidence > 0.0) others.push_back(*one);
            one = evidence > 0.0 ? found_.erase(one) : one + 1;
        }
        rivals_ = found_.size();
        found_.insert(found_.end(), others.begin(), others.end());
        return beside;
    }

    [[nodiscard]] std::string cell_name(const assessment& one) const
    {
        return count_ > 1 ? "known cell " + std::to_string(one.known + 1)
                          : std::string("the known cell");
    }

    [[nodiscard]] std::string tolerance_text() const
    {
        return " (lengths may be off by " + percent(limits_.tolerance, 1) + " together, and by "
               + percent(usual_strain, 1) + " each)";
    }

    void refuse(const std::string& reason)
    {
        result_.made.how = verdict::refused;
        result_.made.reason = reason;
    }

    // The best lattice of the free search that is not the best candidate, on all vectors.
    std::optional<assessment> free_rival()
    {
        for (const candidate_lattice& one : free_) {
            if (over()) break;
            if (!found_.empty()) {
                const double ratio =
                    std::fabs(one.basis.determinant() / found_[0].basis.determinant());
                if (ratio > 0.75 && ratio < 1.34
                    && same_orientation_loosely(one.basis, found_[0].basis))
                    continue;
            }
            assessment exact = assess(vectors_, one.basis);
            if (!std::isfinite(exact.evidence)) return std::nullopt;
            exact.evidence += occupation_gain(vectors_, exact);
            return exact;
        }
        return std::nullopt;
    }

    static bool same_orientation_loosely(const matrix3& D, const matrix3& E)
    {
        constexpr double within = 0.15;
        const matrix3 between = D.multiply(E.inverse());
        for (int i = 0; i < 3; ++i)
            if (off_whole(row_of(between, i)) > within) return false;
        return true;
    }

    // The relatives of index 2 and 3 against the best candidate. The difference of evidence of two related
    // lattices that are free to vary is that of their likelihoods: the priors differ by the same factors.
    struct related {
        double log_odds = -infinite; // of all of them together
        double best = -infinite;
        matrix3 basis; // of the best
        int index = 1;
        bool finer = false;
    };

    [[nodiscard]] related relatives_of(const assessment& best) const
    {
        related of;
        const candidate_lattice like = {best.basis, best.evidence, best.sigma,
                                        best.outlier_fraction, static_cast<double>(best.indexed)};
        const double own = quick_glance(searched_, best.basis, like).evidence;
        const auto look = [&](const std::vector<matrix3>& forms, int index, bool finer) {
            for (const matrix3& form : forms) {
                const auto reduced = try_shortest_basis(form.multiply(best.basis));
                if (!reduced) continue;
                const double gain = quick_glance(searched_, reduced->basis, like).evidence - own;
                if (!std::isfinite(gain)) continue;
                of.log_odds = log_sum(of.log_odds, gain + logarithm(relative_prior));
                if (gain <= of.best) continue;
                of.best = gain;
                of.basis = reduced->basis;
                of.index = index;
                of.finer = finer;
            }
        };
        for (const int index : {2, 3}) {
            look(finer_forms(index), index, true);
            look(hermite_forms(index), index, false);
        }
        return of;
    }

    static std::string text_of_relative(const related& of)
    {
        const std::string part = of.index == 2 ? "half" : "a third of";
        const std::string multiple = of.index == 2 ? "twice" : "three times";
        return of.finer
                   ? "The reflections lie on every "
                         + std::string(of.index == 2 ? "second" : "third")
                         + " point of the known lattice: a cell of " + part + " the volume, "
                         + reduced_text(of.basis) + ", explains them"
                   : "Reflections lie between the points of the known lattice: a cell of "
                         + multiple + " the volume, " + reduced_text(of.basis) + ", explains them";
    }

    void decide()
    {
        decision& made = result_.made;
        const double needed = evidence_needed_of(vectors_.size());
        if (found_.empty() || found_[0].evidence < needed) {
            refuse_for_evidence(needed);
        } else {
            const double beside = part_crystals();
            if (!refuse_for_another(beside)) compare(beside);
        }
        finish(made);
    }

    void refuse_for_evidence(double needed)
    {
        std::string reason = count_ > 1 ? "None of the known cells has an orientation that is "
                                          "better than chance could make one"
                                        : "The known cell has no orientation that is better than "
                                          "chance could make one";
        reason += tolerance_text();
        const auto other = free_rival();
        if (other && other->evidence >= needed)
            reason += "; without it, the cell " + reduced_text(other->basis)
                      + " explains the reflections";
        refuse(reason + ".");
        rivals_ = found_.size();
    }

    // A lattice that is free to differ has less evidence than a known one, unless it is not that one.
    bool refuse_for_another(double beside)
    {
        const assessment best = found_[0];
        const assessment loose = assess(vectors_, best.basis);
        if (loose.evidence > best.evidence + lead_needed) {
            refuse("Not " + cell_name(best) + tolerance_text()
                   + ", but one like it explains the reflections: " + reduced_text(loose.basis)
                   + ".");
            return true;
        }
        const auto other = free_rival();
        if (!other || other->evidence <= best.evidence + beside + lead_needed) return false;
        if (evidence_beside(*other, best) > 0.0) return false;
        refuse("Not " + cell_name(best) + tolerance_text() + ": the cell "
               + reduced_text(other->basis) + " explains the reflections better.");
        return true;
    }

    void compare(double beside)
    {
        decision& made = result_.made;
        const assessment best = found_[0];
        double others = -infinite;
        for (std::size_t i = 1; i < rivals_; ++i) others = log_sum(others, found_[i].evidence);
        made.lead = best.evidence - others;
        made.competing = 1;
        double rest = others;
        // As many as hold, together, the odds that an answer needs against the rest.
        double first = best.evidence;
        while (made.competing < rivals_ && first - rest < lead_needed) {
            first = log_sum(first, found_[made.competing].evidence);
            rest = -infinite;
            for (std::size_t i = ++made.competing; i < rivals_; ++i)
                rest = log_sum(rest, found_[i].evidence);
        }
        if (made.competing > 1) {
            made.how = verdict::ambiguous;
            made.reason = std::to_string(made.competing)
                          + (count_ > 1 ? " orientations of the known cells"
                                        : " orientations of the known cell")
                          + " explain the reflections equally well.";
            return;
        }
        related of = relatives_of(best);
        // What another crystal explains is no evidence of a superlattice.
        if (!of.finer) of.log_odds -= beside;
        if (of.log_odds > lead_needed) {
            refuse(text_of_relative(of) + ".");
            return;
        }
        made.lead = std::min(made.lead, -of.log_odds);
        const bool spanned = spans_all(best);
        made.how = made.lead < lead_needed || !spanned ? verdict::ambiguous : verdict::solved;
        made.reason =
            made.how == verdict::ambiguous ? text_of_relative(of) + " as well." : reason_of(best);
    }

    // Whether the inliers span the lattice. If they do not, as six of a genuine lattice may by chance, a smaller
    // cell indexes them too, and the given one is confirmed by nothing. Of those in a plane this is not asked.
    [[nodiscard]] bool spans_all(const assessment& best) const
    {
        std::vector<std::array<int, 3>> hits;
        for (std::size_t i = 0; i < vectors_.size(); ++i)
            if (best.inlier[i] > 0.5)
                hits.push_back(nearest_indices(best.basis.multiply(vectors_[i])));
        return index_of_span(hits) <= 1;
    }

    [[nodiscard]] std::string reason_of(const assessment& best) const
    {
        constexpr double worth_telling = 0.005;
        const double part =
            static_cast<double>(best.indexed) / static_cast<double>(best.inlier.size());
        std::string reason = "One orientation of " + cell_name(best) + " indexes " + percent(part)
                             + " of the reflections"
                             + (rivals_ < found_.size() ? "; another crystal indexes others."
                                                        : ", and no other comes near.");
        const double scale = scale_between(cell_of_candidate(best), best.basis);
        if (std::fabs(scale - 1.0) >= worth_telling)
            reason += " All its lengths are " + percent(std::fabs(scale - 1.0), 1)
                      + (scale > 1.0 ? " longer" : " shorter") + " than those given, within the "
                      + percent(limits_.tolerance, 1) + " allowed.";
        return reason;
    }

    // Interrupted, an answer is not certain: rivals may not have been looked at.
    void finish(decision& made)
    {
        made.interrupted = interrupted_;
        if (interrupted_ && made.how == verdict::solved) {
            made.how = verdict::ambiguous;
            made.reason = "The search was interrupted: this is the best orientation so far.";
        }
        if (interrupted_ && made.how == verdict::refused && found_.empty())
            made.reason = "The search was interrupted before an orientation was found.";
        for (assessment& one : found_) {
            const given_cell& cell = cell_of_candidate(one);
            one.basis = cell.to_given.multiply(one.basis);
        }
        if (!found_.empty())
            result_.scale = scale_between(cell_of_candidate(found_[0]), found_[0].basis);
        made.candidates = found_;
    }

    const std::vector<vector3>& vectors_;
    const std::vector<double>& intensities_;
    const known_limits& limits_;
    std::vector<vector3> sample_;
    reflection_list searched_; // by the search without the cells
    std::vector<given_cell> cells_;
    int count_ = 0;
    std::vector<candidate_lattice> free_; // of the search without the cells
    std::vector<assessment> found_;       // candidates with shortest bases, the best first
    std::size_t rivals_ = 0;              // of the candidates, those that are not of other crystals
    bool interrupted_ = false;
    known_result result_;
};

} // namespace

void check_known(const centred_cell& cell)
{
    constexpr double least = 1.0;
    constexpr double most = 10000.0;
    const matrix3 conventional = basis_of(cell.cell);
    const matrix3 given = primitive_transformation(cell.centring).multiply(conventional);
    const matrix3 shortest = shortest_basis(given).basis;
    for (int i = 0; i < 3; ++i) {
        const double length = row_of(shortest, i).length();
        if (length >= least && length <= most) continue;
        throw invalid_input("The cell " + text_of(cell.cell) + " has an axis of " + fixed(length, 4)
                            + " angstroms, or may be described by one: a crystal can have 1 to "
                              "10000.");
    }
}

known_result find_known(const std::vector<vector3>& vectors, const std::vector<double>& intensities,
                        const std::vector<centred_cell>& cells, const known_limits& limits)
{
    return searching_known(vectors, intensities, cells, limits).run();
}

} // namespace torvik::solver
