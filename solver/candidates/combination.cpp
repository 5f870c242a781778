#include "solver/candidates/combination.h"

#include "solver/lattice/short_vectors.h"
#include "solver/numeric/lanes.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace torvik::solver {

namespace {

// Three vectors with a smaller volume than this part of the product of their lengths are taken for flat.
constexpr double flattest = 0.05;

struct triple {
    std::uint64_t hits = 0;
    int count = 0;
    double log_chance = 0.0; // sum over the three vectors
    matrix3 basis;
};

bool better(const triple& one, const triple& other)
{
    if (one.count != other.count) return one.count > other.count;
    return one.log_chance < other.log_chance;
}

// Keeps the best of each set of hits.
class shortlist {
public:
    explicit shortlist(std::size_t most) : most_(most) {}

    [[nodiscard]] bool full() const
    {
        return best_.size() == most_;
    }

    // Whether there is no place for a triple.
    [[nodiscard]] bool refuses(std::uint64_t hits, int count, double log_chance) const
    {
        if (full() && count == best_.back().count && log_chance >= best_.back().log_chance)
            return true;
        return std::any_of(best_.begin(), best_.end(), [&](const triple& other) {
            return other.hits == hits && other.log_chance <= log_chance;
        });
    }

    void keep(const triple& one)
    {
        std::erase_if(best_, [&](const triple& other) { return other.hits == one.hits; });
        best_.insert(std::upper_bound(best_.begin(), best_.end(), one, better), one);
        if (best_.size() > most_) best_.pop_back();
    }

    [[nodiscard]] const std::vector<triple>& triples() const
    {
        return best_;
    }

private:
    std::size_t most_;
    std::vector<triple> best_;
};

// `popcount` counts bits; the compiler makes one instruction of it where the processor has one.
TORVIK_SOLVER_INLINED void find_triples(const std::vector<direct_vector>& vectors, int least,
                                        shortlist& best)
{
    const std::size_t count = vectors.size();
    int needed = least;
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = i + 1; j < count; ++j) {
            const std::uint64_t two = vectors[i].hits & vectors[j].hits;
            if (__builtin_popcountll(two) < needed) continue;
            const vector3 normal = vectors[i].value.cross(vectors[j].value);
            const double product = vectors[i].length * vectors[j].length;
            const double two_chances = vectors[i].log_chance + vectors[j].log_chance;
            for (std::size_t k = j + 1; k < count; ++k) {
                const std::uint64_t hits = two & vectors[k].hits;
                const int common = __builtin_popcountll(hits);
                if (common < needed) continue;
                const double log_chance = two_chances + vectors[k].log_chance;
                if (best.refuses(hits, common, log_chance)) continue;
                const double volume = std::fabs(normal.dot(vectors[k].value));
                if (volume < flattest * product * vectors[k].length) continue;
                best.keep({hits, common, log_chance,
                           from_rows(vectors[i].value, vectors[j].value, vectors[k].value)});
                if (best.full()) needed = best.triples().back().count;
            }
        }
}

#if defined(__x86_64__)
[[gnu::target("popcnt")]] void find_triples_by_popcnt(const std::vector<direct_vector>& vectors,
                                                      int least, shortlist& best)
{
    find_triples(vectors, least, best);
}
#endif

std::vector<triple> best_triples(const std::vector<direct_vector>& vectors, int least,
                                 std::size_t most)
{
    shortlist best(most);
#if defined(__x86_64__)
    if (__builtin_cpu_supports("popcnt")) {
        find_triples_by_popcnt(vectors, least, best);
        return best.triples();
    }
#endif
    find_triples(vectors, least, best);
    return best.triples();
}

// The three shortest independent vectors that share at least three quarters of the hits.
std::optional<matrix3> shortest_sharing(const std::vector<direct_vector>& vectors,
                                        const triple& with)
{
    std::vector<const direct_vector*> sharing;
    for (const direct_vector& one : vectors)
        if (4 * std::popcount(one.hits & with.hits) >= 3 * with.count) sharing.push_back(&one);
    std::stable_sort(sharing.begin(), sharing.end(),
                     [](const direct_vector* one, const direct_vector* two) {
                         return one->length < two->length;
                     });
    std::vector<const direct_vector*> chosen;
    constexpr double straight = 0.02; // sine of the angle to a line or plane
    for (const direct_vector* one : sharing) {
        if (chosen.size() == 1
            && chosen[0]->value.cross(one->value).length()
                   < straight * chosen[0]->length * one->length)
            continue;
        if (chosen.size() == 2) {
            const vector3 normal = chosen[0]->value.cross(chosen[1]->value);
            if (std::fabs(normal.dot(one->value)) < straight * normal.length() * one->length)
                continue;
        }
        chosen.push_back(one);
        if (chosen.size() == 3)
            return from_rows(chosen[0]->value, chosen[1]->value, chosen[2]->value);
    }
    return std::nullopt;
}

} // namespace

std::optional<matrix3> fitted_basis(const matrix3& basis, std::span<const vector3> sample,
                                    std::uint64_t reflections)
{
    matrix3 hh(0.0);
    matrix3 qh(0.0);
    for (std::size_t i = 0; i < sample.size(); ++i) {
        if ((reflections >> i & 1U) == 0) continue;
        const vector3 x = basis.multiply(sample[i]);
        const vector3 h = {std::round(x.x), std::round(x.y), std::round(x.z)};
        add_product(hh, h, h);
        add_product(qh, sample[i], h);
    }
    if (!(hh.determinant() > 0.5)) return std::nullopt;
    const matrix3 UB = qh.multiply(hh.inverse());
    if (!(std::fabs(UB.determinant()) > 0.0)) return std::nullopt;
    return UB.inverse();
}

std::vector<matrix3> combine(const std::vector<direct_vector>& vectors,
                             std::span<const vector3> sample, int least, std::size_t most)
{
    std::vector<matrix3> bases;
    const auto take = [&](const matrix3& basis, std::uint64_t hits) {
        const auto fitted = fitted_basis(basis, sample, hits);
        const auto reduced = try_shortest_basis(fitted ? *fitted : basis);
        if (reduced) bases.push_back(reduced->basis);
    };
    for (const triple& one : best_triples(vectors, least, most)) {
        take(one.basis, one.hits);
        constexpr double smaller = 0.9;
        const auto shorter = shortest_sharing(vectors, one);
        if (shorter
            && std::fabs(shorter->determinant()) < smaller * std::fabs(one.basis.determinant()))
            take(*shorter, one.hits);
    }
    return bases;
}

} // namespace torvik::solver
