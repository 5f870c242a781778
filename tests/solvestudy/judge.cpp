#include "judge.h"

#include "solver/lattice/relations.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <ctime>
#include <exception>
#include <utility>
#include <vector>

namespace torvik::study {

namespace {

vector3 vector_of(const solver::vec3& v)
{
    return {v[0], v[1], v[2]};
}

bool same(const solver::lattice& found, const matrix3& truth)
{
    return tools::same_lattice(matrix_of(found.basis), truth, lattice_tolerance);
}

bool any_true(const solver::lattice& found, const known_list& list)
{
    return std::any_of(list.lattices.begin(), list.lattices.end(),
                       [&](const matrix3& truth) { return same(found, truth); });
}

const solver::lattice* best_of(const solver::answer& found)
{
    if (!found.lattices.empty()) return &found.lattices.front();
    return found.candidates.empty() ? nullptr : &found.candidates.front();
}

bool truth_competes(const solver::answer& found, const known_list& list)
{
    const std::size_t count = std::min(found.competing, found.candidates.size());
    return std::any_of(found.candidates.begin(),
                       found.candidates.begin() + static_cast<std::ptrdiff_t>(count),
                       [&](const solver::lattice& one) { return any_true(one, list); });
}

outcome outcome_of(const solver::answer& found, const known_list& list)
{
    switch (found.how) {
    case solver::verdict::ambiguous: return outcome::ambiguous;
    case solver::verdict::refused: return outcome::refused;
    case solver::verdict::solved: break;
    }
    const solver::lattice* best = best_of(found);
    if (best == nullptr || !any_true(*best, list)) return outcome::wrong;
    // A cell that the crystal does not have must not be taken for its own.
    return best->known >= 0 && !list.cells_are_true ? outcome::wrong : outcome::right;
}

// ------------------------------------------------------------------------------ the error of a cell

using equations = std::array<std::array<double, 5>, 4>; // four unknowns, and the right side

// Gaussian elimination with the largest pivots; of the first `n` unknowns.
std::array<double, 4> solved(equations A, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i) {
        std::size_t pivot = i;
        for (std::size_t j = i + 1; j < n; ++j)
            if (std::fabs(A[j][i]) > std::fabs(A[pivot][i])) pivot = j;
        std::swap(A[i], A[pivot]);
        for (std::size_t j = 0; j < n; ++j) {
            if (j == i) continue;
            const double factor = A[j][i] / A[i][i];
            for (std::size_t k = i; k < 5; ++k) A[j][k] -= factor * A[i][k];
        }
    }
    std::array<double, 4> x = {};
    for (std::size_t i = 0; i < n; ++i) x[i] = A[i][4] / A[i][i];
    return x;
}

struct inlier {
    vector3 measured;
    vector3 hkl;
};

std::vector<inlier> inliers_of(const known_list& list, int crystal)
{
    std::vector<inlier> inliers;
    for (std::size_t i = 0; i < list.crystals.size(); ++i)
        if (list.crystals[i] == crystal)
            inliers.push_back({vector_of(list.measured.vectors[i]), vector3(list.indices[i])});
    return inliers;
}

// UB by least squares, with true indices; with a common shift as fourth column if there is one.
matrix3 least_squares(const std::vector<inlier>& inliers, bool shifted)
{
    matrix3 UB;
    for (int row = 0; row < 3; ++row) {
        equations normal = {};
        for (const inlier& one : inliers) {
            const std::array<double, 4> h = {one.hkl.x, one.hkl.y, one.hkl.z, 1.0};
            for (std::size_t i = 0; i < 4; ++i) {
                for (std::size_t k = 0; k < 4; ++k) normal[i][k] += h[i] * h[k];
                normal[i][4] += h[i] * one.measured.at(row);
            }
        }
        const auto x = solved(normal, shifted ? 4 : 3);
        for (int k = 0; k < 3; ++k) UB[row][k] = x[static_cast<std::size_t>(k)];
    }
    return UB;
}

double rms_deviation(const std::vector<inlier>& inliers, const matrix3& UB, const matrix3& truth)
{
    double sum = 0.0;
    for (const inlier& one : inliers)
        sum += (UB.multiply(one.hkl) - truth.multiply(one.hkl)).length_sq();
    return std::sqrt(sum / static_cast<double>(inliers.size()));
}

std::optional<double> error_ratio(const solver::lattice& found, const known_list& list)
{
    for (std::size_t n = 0; n < list.lattices.size(); ++n) {
        const auto relation =
            tools::relation_between(list.lattices[n], matrix_of(found.basis), lattice_tolerance, 1);
        if (!relation) continue;
        const bool shifted = list.shift.length() > 0.0;
        const auto inliers = inliers_of(list, static_cast<int>(n) + 1);
        if (inliers.size() < (shifted ? 5U : 4U)) return {};
        const matrix3 truth = list.lattices[n].inverse();
        const matrix3 named = relation->T.multiply(matrix_of(found.basis)); // in the true setting
        const double ideal = rms_deviation(inliers, least_squares(inliers, shifted), truth);
        const double ratio = rms_deviation(inliers, named.inverse(), truth) / ideal;
        // Exact vectors, or inliers in a plane.
        if (!(ideal > 1e-9 * truth.column_copy(0).length()) || !std::isfinite(ratio)) return {};
        return ratio;
    }
    return {};
}

void add(hasher& hash, const solver::lattice& one)
{
    for (const solver::vec3& row : one.basis)
        for (const double x : row) hash.add(static_cast<std::uint64_t>(std::llround(1e9 * x)));
    hash.add(one.evidence);
    hash.add(static_cast<std::uint64_t>(one.indexed));
    hash.add(static_cast<std::uint64_t>(one.known));
}

} // namespace

matrix3 matrix_of(const solver::mat3& A)
{
    return {A[0][0], A[0][1], A[0][2], A[1][0], A[1][1], A[1][2], A[2][0], A[2][1], A[2][2]};
}

double thread_milliseconds()
{
    std::timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return 1e3 * static_cast<double>(now.tv_sec) + 1e-6 * static_cast<double>(now.tv_nsec);
}

void hasher::add(std::uint64_t word)
{
    for (int byte = 0; byte < 8; ++byte) {
        hash_ ^= (word >> (8 * byte)) & 0xff;
        hash_ *= 1099511628211ULL; // the prime of the 64-bit FNV-1a
    }
}

void hasher::add(double x)
{
    add(std::bit_cast<std::uint64_t>(x));
}

void hasher::add(const std::string& text)
{
    for (const char c : text) add(static_cast<std::uint64_t>(static_cast<unsigned char>(c)));
}

std::uint64_t hash_of(const solver::answer& found)
{
    hasher hash;
    hash.add(static_cast<std::uint64_t>(found.how));
    hash.add(static_cast<std::uint64_t>(found.competing));
    for (const auto* lattices : {&found.lattices, &found.candidates}) {
        hash.add(static_cast<std::uint64_t>(lattices->size()));
        for (const solver::lattice& one : *lattices) add(hash, one);
    }
    for (const solver::assignment& one : found.reflections) {
        hash.add(static_cast<std::uint64_t>(one.lattice));
        for (const int index : one.hkl) hash.add(static_cast<std::uint64_t>(index));
    }
    return hash.value();
}

std::string contradiction_in(const solver::answer& found, std::size_t reflections)
{
    if (found.reflections.size() != reflections) return "not every reflection has an assignment";
    const bool solved = found.how == solver::verdict::solved;
    if (solved && found.lattices.empty()) return "solved without a lattice";
    if (solved && found.interrupted) return "interrupted, and solved";
    if (found.competing > found.candidates.size()) return "more compete than there are candidates";
    if (solved && found.competing != 1) return "solved, and not one lattice competes";
    for (const solver::lattice& one : found.lattices) {
        if (!(matrix_of(one.basis).determinant() > 0.0)) return "a basis that is not right-handed";
        if (!std::isfinite(one.evidence)) return "evidence that is no finite number";
    }
    for (const solver::assignment& one : found.reflections) {
        const auto last = static_cast<int>(found.lattices.size());
        if (one.lattice < 0 || one.lattice > last) return "a reflection of a lattice that is none";
        if (!(one.inlier >= 0.0 && one.inlier <= 1.0)) return "an inlier probability outside 0..1";
    }
    return {};
}

judgement judged(const known_list& list, const solver::answer& found)
{
    judgement one;
    one.how = outcome_of(found, list);
    one.competes = one.how == outcome::ambiguous && truth_competes(found, list);
    const solver::lattice* best = best_of(found);
    one.first = best != nullptr && any_true(*best, list);
    one.determined = list.span == 1;
    one.spanned = found.how == solver::verdict::solved && list.spanned && best != nullptr
                  && same(*best, *list.spanned);
    one.interrupted = found.interrupted;
    one.failure = contradiction_in(found, list.measured.vectors.size());
    one.failed = !one.failure.empty();
    if (one.how == outcome::right) one.error_ratio = error_ratio(*best, list);
    one.hash = hash_of(found);
    return one;
}

judgement judged_run(const known_list& list, solver::options options)
{
    options.known = list.cells;
    try {
        const double start = thread_milliseconds();
        const solver::answer found = solver::solve(list.measured, options);
        const double end = thread_milliseconds();
        judgement one = judged(list, found);
        one.milliseconds = end - start;
        return one;
    } catch (const std::exception& error) {
        judgement one;
        one.failed = true;
        one.failure = error.what();
        return one;
    }
}

limits wilson(int successes, int trials)
{
    if (trials == 0) return {};
    constexpr double z = 1.959963984540054; // of the normal distribution, 2.5 % on either side
    const double n = trials;
    const double p = successes / n;
    const double middle = p + z * z / (2.0 * n);
    const double half = z * std::sqrt(p * (1.0 - p) / n + z * z / (4.0 * n * n));
    const double scale = 1.0 + z * z / n;
    return {std::max(0.0, (middle - half) / scale), std::min(1.0, (middle + half) / scale)};
}

} // namespace torvik::study
