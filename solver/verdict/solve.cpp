// From measured vectors to an answer: the one function of the public header.
#include "solver/evidence/metric_symmetry.h"
#include "solver/evidence/occupation.h"
#include "solver/evidence/shifted_lattice.h"
#include "solver/evidence/sphere_errors.h"
#include "solver/lattice/cell.h"
#include "solver/lattice/invalid_input.h"
#include "solver/lattice/relations.h"
#include "solver/lattice/short_vectors.h"
#include "solver/lattice/text.h"
#include "solver/numeric/functions.h"
#include "solver/verdict/coincidence.h"
#include "solver/verdict/decision.h"
#include "solver/verdict/free_search.h"
#include "solver/verdict/known_search.h"
#include "solver/verdict/remarks.h"
#include "solver/verdict/several_crystals.h"
#include "solver/verdict/shift_search.h"
#include "solver/verdict/thresholds.h"
#include "torvik/solver.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace torvik::solver {

namespace {

using clock = std::chrono::steady_clock;

vector3 internal(const vec3& v)
{
    return {v[0], v[1], v[2]};
}

mat3 external(const matrix3& A)
{
    mat3 rows;
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) rows[i][j] = A.a[i][j];
    return rows;
}

void check(bool right, const char* sentence)
{
    if (!right) throw invalid_input(sentence);
}

void check(const measurement& measured, const options& how)
{
    const std::size_t count = measured.vectors.size();
    check(count > 0, "There are no reflections.");
    const auto fits = [&](std::size_t size) { return size == 0 || size == count; };
    check(fits(measured.intensities.size()) && fits(measured.images.size())
              && fits(measured.normals.size()),
          "Intensities, images and normals must be as many as the vectors, or none.");
    for (const vec3& v : measured.vectors)
        check(std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]),
              "A vector has a component that is not a finite number.");
    check(!how.smallest_volume || *how.smallest_volume > 0.0,
          "The limits of the volume must be positive, the smaller first.");
    check(!how.largest_volume || *how.largest_volume > how.smallest_volume.value_or(0.0),
          "The limits of the volume must be positive, the smaller first.");
    check(how.lattices >= 1, "At least one lattice must be looked for.");
}

// The covariance of UB: s^2 (H^T H)^-1 for each of its rows if errors are equal in all directions.
std::array<std::array<double, 9>, 9> covariance_of(const std::vector<vector3>& vectors,
                                                   const std::vector<vector3>& normals,
                                                   const assessment& one)
{
    if (one.sigma_along_normal > 0.0) return covariance_on_sphere(vectors, normals, one);
    std::array<std::array<double, 9>, 9> covariance = {};
    matrix3 hh(0.0);
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        const auto h = nearest_indices(one.basis.multiply(vectors[i] - one.shift));
        const vector3 indices(h[0], h[1], h[2]);
        add_product(hh, indices, indices, one.inlier[i]);
    }
    if (!(hh.determinant() > 0.0)) return covariance;
    const matrix3 inverse = scaled(hh.inverse(), one.sigma * one.sigma);
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t j = 0; j < 3; ++j)
            for (std::size_t k = 0; k < 3; ++k)
                covariance[3 * row + j][3 * row + k] = inverse.a[j][k];
    return covariance;
}

// In the reduced setting, right-handed.
assessment reduced_setting(assessment one)
{
    if (one.known < 0) one.basis = niggli(one.basis).basis;
    return one;
}

lattice described(const std::vector<vector3>& vectors, const std::vector<vector3>& normals,
                  const assessment& one)
{
    lattice found;
    found.basis = external(one.basis);
    found.covariance = covariance_of(vectors, normals, one);
    found.evidence = one.evidence;
    found.sigma = one.sigma;
    found.sigma_along_normal = one.sigma_along_normal;
    found.outlier_fraction = one.outlier_fraction;
    found.indexed = one.indexed;
    found.known = one.known;
    found.shift = {one.shift.x, one.shift.y, one.shift.z};
    for (const matrix3& basis : one.further_crystals) found.further.push_back(external(basis));
    return found;
}

// A lattice and a shift are twelve parameters.
constexpr std::size_t fewest_for_shift = 14;

// Whether the inliers lie on the points of a sublattice but for a shift: a cell some times too large then takes all
// of them, however small their errors are. Looked at are the differences within some groups of six by chance. If
// there is no shift, one group in fourteen has all in a part of the points of index 3 or more; if there is, all
// groups have that are free of outliers.
bool differences_in_a_part(const std::vector<vector3>& vectors, const assessment& one,
                           random_numbers random)
{
    std::vector<std::array<int, 3>> inliers;
    for (std::size_t i = 0; i < vectors.size(); ++i)
        if (one.inlier[i] > 0.5) inliers.push_back(nearest_indices(one.basis.multiply(vectors[i])));
    constexpr int groups = 12;
    constexpr std::size_t in_group = 6;
    constexpr long smallest_index = 3;
    constexpr int suspicious = 3; // groups
    if (inliers.size() < in_group) return true;
    int in_a_part = 0;
    for (int group = 0; group < groups; ++group) {
        for (std::size_t i = 0; i < in_group; ++i)
            std::swap(inliers[i], inliers[i + random.below(inliers.size() - i)]);
        std::vector<std::array<int, 3>> differences;
        for (std::size_t i = 1; i < in_group; ++i)
            differences.push_back({inliers[i][0] - inliers[0][0], inliers[i][1] - inliers[0][1],
                                   inliers[i][2] - inliers[0][2]});
        const long index = index_of_span(differences);
        if (index == 0 || index >= smallest_index) ++in_a_part;
    }
    return in_a_part >= suspicious;
}

// The rounds of the search for a shift: none if a shift could not explain the vectors better.
int rounds_for_shift(const std::vector<vector3>& vectors, const decision& made, std::uint64_t seed)
{
    constexpr int of_doubt = 3;
    constexpr int of_few_inliers = 2;
    constexpr int enough_inliers = 100; // whatever part they are
    if (made.how != verdict::solved) return of_doubt;
    const assessment& best = made.candidates.front();
    if (!best.further_crystals.empty()) return 0;
    const bool few = best.indexed < fraction_beyond_shift * static_cast<double>(best.inlier.size());
    const double side = cube_root(std::fabs(best.basis.determinant()));
    if (best.evidence < evidence_nearly_beyond_shift * best.indexed
        || best.sigma * side > error_beyond_shift
        || differences_in_a_part(vectors, best, random_numbers(seed + 2)))
        return few ? of_few_inliers : of_doubt;
    if (best.evidence >= evidence_beyond_shift * best.indexed
        && (!few || best.indexed >= enough_inliers))
        return 0;
    return few ? of_few_inliers : 1;
}

// A decision on a lattice beyond doubt, with a small common shift if that explains the vectors better.
decision with_small_shift(const std::vector<vector3>& vectors, const decision& made)
{
    const assessment& best = made.candidates.front();
    if (!best.further_crystals.empty()) return made;
    assessment shifted = assess_shifted(vectors, best.basis, {});
    shifted.evidence += symmetry_gain(vectors, shifted);
    if (!(shifted.evidence > best.evidence)) return made;
    std::vector<assessment> candidates = made.candidates;
    candidates.front() = shifted;
    return decide(vectors, candidates, made.interrupted);
}

// Whether a part of the cell explains the vectors better and is left out only because an axis of it is too short:
// the vectors may be in other units than they are taken for.
bool hidden_by_axis_limit(const std::vector<vector3>& vectors, const assessment& best,
                          double shortest_axis)
{
    const reflection_list list(vectors);
    candidate_lattice like;
    like.sigma = best.sigma;
    like.outlier_fraction = best.outlier_fraction;
    const double compared = quick_glance(list, best.basis, like).evidence;
    for (const int index : {2, 3, 5, 7})
        for (const matrix3& form : finer_forms(index)) {
            const auto part = try_shortest_basis(form.multiply(best.basis));
            if (!part || row_of(part->basis, 0).length() >= shortest_axis) continue;
            if (quick_glance(list, part->basis, like).evidence > compared + lead_needed)
                return true;
        }
    return false;
}

// A solved lattice, unless it is hidden_by_axis_limit.
decision with_axis_check(const std::vector<vector3>& vectors, decision made, double shortest_axis)
{
    if (made.how != verdict::solved || !made.candidates.front().further_crystals.empty())
        return made;
    if (!hidden_by_axis_limit(vectors, made.candidates.front(), shortest_axis)) return made;
    made.how = verdict::ambiguous;
    made.reason = "A cell with an axis below " + fixed(shortest_axis, 2)
                  + " angstroms explains the reflections better: check the units of the vectors.";
    return made;
}

constexpr double same_within = 0.15; // of whole numbers, the matrix between two bases

bool contains(const std::vector<assessment>& lattices, const matrix3& basis)
{
    return std::any_of(lattices.begin(), lattices.end(), [&](const assessment& one) {
        return same_lattice(one.basis, basis, same_within);
    });
}

// Whether a shift is beyond its error.
bool significant(const assessment& shifted)
{
    constexpr double deviations = 5.0;
    return shifted.shift.length()
           > deviations * shifted.sigma / std::sqrt(std::max(1, shifted.indexed));
}

// Takes the lattices whose shift is no more than its error out of those with a shift. Gives them without one, but for
// those that are known.
std::vector<assessment> without_shift(const std::vector<vector3>& vectors,
                                      const std::vector<assessment>& known,
                                      std::vector<assessment>& shifted)
{
    std::vector<assessment> lattices;
    std::erase_if(shifted, [&](const assessment& one) {
        if (significant(one)) return false;
        if (contains(known, one.basis)) return true;
        const assessment exact = assess_with_priors(vectors, one.basis);
        if (std::isfinite(exact.evidence)) lattices.push_back(exact);
        return true;
    });
    return lattices;
}

// Lattices without and with a shift; of one lattice the more evident.
std::vector<assessment> merged(const std::vector<assessment>& unshifted,
                               std::vector<assessment> shifted)
{
    for (const assessment& one : unshifted) {
        const auto same =
            std::find_if(shifted.begin(), shifted.end(), [&](const assessment& other) {
                return same_lattice(one.basis, other.basis, same_within);
            });
        if (same == shifted.end())
            shifted.push_back(one);
        else if (same->evidence <= one.evidence)
            *same = one;
    }
    return shifted;
}

class solving {
public:
    solving(const measurement& measured, const options& how, const progress& report,
            std::stop_token stop)
        : how_(how), report_(report), stop_(std::move(stop)), end_(clock::now() + how.budget)
    {
        for (const vec3& v : measured.vectors) vectors_.push_back(internal(v));
        for (const vec3& v : measured.normals) normals_.push_back(internal(v));
        images_ = measured.images;
        intensities_ = measured.intensities;
        left_.resize(vectors_.size());
        std::iota(left_.begin(), left_.end(), std::size_t{0});
        found_.reflections.resize(vectors_.size());
    }

    answer run()
    {
        for (int number = 1; number <= how_.lattices; ++number) {
            const std::vector<vector3> part = those_left();
            if (number > 1 && (part.size() < worth_trying || over())) break;
            if (report_) report_("Looking for lattice " + std::to_string(number) + ".");
            decision made = decide_on(part);
            for (assessment& one : made.candidates) one = reduced_setting(one);
            if (number == 1) first(part, made);
            if (made.how == verdict::refused) break;
            take(part, made.candidates.front(), number);
        }
        return found_;
    }

private:
    // Too few are left for another lattice: the evidence would not do.
    static constexpr std::size_t worth_trying = 8;

    [[nodiscard]] bool over() const
    {
        return stop_.stop_requested() || clock::now() >= end_;
    }

    [[nodiscard]] std::vector<vector3> those_left() const
    {
        std::vector<vector3> part;
        for (const std::size_t i : left_) part.push_back(vectors_[i]);
        return part;
    }

    [[nodiscard]] std::vector<vector3> normals_left() const
    {
        std::vector<vector3> normals;
        if (normals_.empty()) return normals;
        for (const std::size_t i : left_) normals.push_back(normals_[i]);
        return normals;
    }

    // Lets errors along the normals of the Ewald sphere differ where that explains the vectors better.
    void refine_on_sphere(const std::vector<vector3>& part, std::vector<assessment>& lattices) const
    {
        const std::vector<vector3> normals = normals_left();
        for (assessment& one : lattices) {
            if (over()) return;
            assessment refined = assess_on_sphere(part, normals, one);
            if (!std::isfinite(refined.evidence)) continue;
            refined.evidence += occupation_gain(part, refined) + symmetry_gain(part, refined);
            if (refined.evidence > one.evidence) one = refined;
        }
        sort_by_evidence(lattices);
    }

    [[nodiscard]] std::vector<int> images_left() const
    {
        std::vector<int> images;
        if (images_.empty()) return images;
        for (const std::size_t i : left_) images.push_back(images_[i]);
        return images;
    }

    [[nodiscard]] decision decide_on_known(const std::vector<vector3>& part) const
    {
        std::vector<centred_cell> cells;
        for (const known_cell& one : how_.known) cells.push_back({one.cell, one.centring});
        std::vector<double> intensities;
        if (!intensities_.empty())
            for (const std::size_t i : left_) intensities.push_back(intensities_[i]);
        known_limits limits;
        limits.tolerance = how_.known_tolerance;
        limits.seed = how_.seed;
        limits.over = [this] { return over(); };
        return find_known(part, intensities, cells, limits).made;
    }

    [[nodiscard]] decision decide_on(const std::vector<vector3>& part) const
    {
        if (!how_.known.empty()) return decide_on_known(part);
        decision made;
        made.reason = precondition_failed(part);
        if (!made.reason.empty()) return made;
        search_limits limits;
        limits.smallest_volume = how_.smallest_volume.value_or(0.0);
        if (how_.largest_volume) limits.largest_volume = *how_.largest_volume;
        limits.shortest_axis = how_.shortest_axis;
        limits.seed = how_.seed;
        limits.over = [this] { return over(); };
        free_search_result searched = find_lattices(part, limits);
        if (!normals_.empty()) refine_on_sphere(part, searched.lattices);
        searched.lattices = with_several_crystals(part, std::move(searched.lattices), limits.over);
        const decision unchecked = decide(part, searched.lattices, searched.interrupted);
        made = with_axis_check(part, unchecked, how_.shortest_axis);
        if (made.how != unchecked.how) return made;
        if (over() || part.size() < fewest_for_shift) return made;
        const int rounds = rounds_for_shift(part, made, how_.seed);
        if (rounds == 0) return with_small_shift(part, made);
        std::vector<assessment> rivals =
            find_shifted_lattices(part, images_left(), searched.lattices, rounds, limits);
        std::vector<assessment>& lattices = searched.lattices;
        const std::vector<assessment> further = without_shift(part, lattices, rivals);
        if (!further.empty()) {
            lattices.insert(lattices.end(), further.begin(), further.end());
            sort_by_evidence(lattices);
            lattices = with_several_crystals(part, std::move(lattices), limits.over);
        }
        return decide(part, merged(lattices, std::move(rivals)), searched.interrupted || over());
    }

    void first(const std::vector<vector3>& part, const decision& made)
    {
        found_.how = made.how;
        found_.reason = made.reason;
        found_.competing = made.competing;
        found_.lead = made.lead;
        found_.interrupted = made.interrupted;
        for (const assessment& one : made.candidates)
            found_.candidates.push_back(described(part, normals_left(), one));
        if (made.how != verdict::refused) add_remarks(part, made);
    }

    void add_remarks(const std::vector<vector3>& part, const decision& made)
    {
        const bool known = !how_.known.empty();
        found_.remarks = remarks_on(part, made.candidates, made.competing, known, how_.lattices);
        if (known) return; // the cell is known better than the reflections determine it
        const std::string precision = remark_on_precision(found_.candidates.front());
        if (!precision.empty()) found_.remarks.push_back(precision);
    }

    // Takes the reflections of a lattice from those that are left.
    void take(const std::vector<vector3>& part, const assessment& one, int number)
    {
        found_.lattices.push_back(described(part, normals_left(), one));
        std::vector<std::size_t> others;
        for (std::size_t i = 0; i < left_.size(); ++i) {
            assignment& of = found_.reflections[left_[i]];
            if (one.inlier[i] > 0.5) {
                of.lattice = number;
                of.hkl = nearest_indices(one.basis.multiply(part[i] - one.shift));
                of.inlier = one.inlier[i];
            } else {
                if (number == 1) of.inlier = one.inlier[i];
                others.push_back(left_[i]);
            }
        }
        left_ = others;
    }

    const options& how_;
    const progress& report_;
    std::stop_token stop_;
    clock::time_point end_;
    std::vector<vector3> vectors_;
    std::vector<std::size_t> left_; // places of the reflections that no lattice has taken yet
    std::vector<vector3> normals_;
    std::vector<int> images_;
    std::vector<double> intensities_;
    answer found_;
};

} // namespace

answer solve(const measurement& measured, const options& how, const progress& report,
             std::stop_token stop)
{
    check(measured, how);
    return solving(measured, how, report, std::move(stop)).run();
}

} // namespace torvik::solver
