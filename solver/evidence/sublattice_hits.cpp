#include "solver/evidence/sublattice_hits.h"

#include "solver/evidence/binomial.h"
#include "solver/lattice/relations.h"
#include "solver/numeric/functions.h"
#include "solver/numeric/lanes.h"

#include <algorithm>
#include <cstdint>

namespace torvik::solver {

namespace {

// One lane for each value of an element of a Hermite form.
constexpr std::size_t lanes = 2 * byte_lanes;
using lane_values = std::array<std::uint8_t, lanes>;

// Reflections that are counted together, so that no count exceeds a byte.
constexpr std::size_t most_together = 255;

int remainder(int h, int n)
{
    const int rest = h % n;
    return rest < 0 ? rest + n : rest;
}

// Reflections that the upper two rows of a Hermite form
//
//     p x y
//     0 q z
//     0 0 r
//
// allow: h = p k, k = x h' + q m for whole k and m. Those with l = y k + z m modulo r lie on the sublattice.
struct members {
    std::array<std::uint8_t, most_together> k; // all modulo r
    std::array<std::uint8_t, most_together> m;
    std::array<std::uint8_t, most_together> l;
    std::size_t count = 0;
};

// Hermite forms that differ in y and z alone.
struct upper_rows {
    int p = 1;
    int x = 0;
    int q = 1;
    int r = 1;
};

members members_of(std::span<const miller_indices> indices, const upper_rows& H)
{
    members those;
    for (const auto& [h, k, l] : indices) {
        if (h % H.p != 0) continue;
        const int first = h / H.p;
        // Reduced before they are multiplied: the product stays small, and m modulo r needs k modulo q r.
        const int n = H.q * H.r;
        const int rest = remainder(remainder(k, n) - remainder(first, n) * H.x, n);
        if (rest % H.q != 0) continue;
        those.k[those.count] = static_cast<std::uint8_t>(remainder(first, H.r));
        those.m[those.count] = static_cast<std::uint8_t>(remainder(rest / H.q, H.r));
        those.l[those.count] = static_cast<std::uint8_t>(remainder(l, H.r));
        ++those.count;
    }
    return those;
}

// For each m the multiples 0, m, 2 m, ... modulo r: where they are l, the last row allows it.
using multiples = std::array<lane_values, lanes>;

multiples multiples_modulo(int r)
{
    multiples table = {};
    for (int m = 0; m < r; ++m) {
        int value = 0;
        for (int z = 0; z < r; ++z) {
            table[static_cast<std::size_t>(m)][static_cast<std::size_t>(z)] =
                static_cast<std::uint8_t>(value);
            value += m;
            if (value >= r) value -= r;
        }
    }
    return table;
}

// Adds the counts of the forms with the given upper rows and y, by z.
void count_row(const members& those, const std::array<std::uint8_t, most_together>& left,
               const multiples& table, std::span<int> hits)
{
    for (std::size_t first = 0; first < hits.size(); first += byte_lanes) {
        bytes sums = {};
        for (std::size_t i = 0; i < those.count; ++i) {
            const auto of_m = load<bytes>(table[those.m[i]].data() + first);
            sums -= bits_as<bytes>(of_m == left[i]); // a lane of a comparison is 0 or -1
        }
        std::array<std::uint8_t, byte_lanes> counts;
        store(counts.data(), sums);
        const std::size_t last = std::min(byte_lanes, hits.size() - first);
        for (std::size_t z = 0; z < last; ++z) hits[first + z] += counts[z];
    }
}

// The same for all y.
void count(const members& those, const upper_rows& H, const multiples& table, std::span<int> hits)
{
    const auto r = static_cast<std::size_t>(H.r);
    std::array<std::uint8_t, most_together> left = those.l; // l - y k
    for (std::size_t y = 0; y < r; ++y) {
        count_row(those, left, table, hits.subspan(y * r, r));
        for (std::size_t i = 0; i < those.count; ++i) {
            const int next = left[i] - those.k[i];
            left[i] = static_cast<std::uint8_t>(next < 0 ? next + H.r : next);
        }
    }
}

// Calls use(upper rows) in the order of hermite_forms.
template <class User>
void for_each_upper_rows(int index, const User& use)
{
    for (int p = 1; p <= index; ++p)
        for (int q = 1; p * q <= index; ++q) {
            if (index % (p * q) != 0) continue;
            for (int x = 0; x < q; ++x) use(upper_rows{p, x, q, index / (p * q)});
        }
}

std::size_t square(int r)
{
    return static_cast<std::size_t>(r) * static_cast<std::size_t>(r);
}

std::size_t form_count(int index)
{
    std::size_t forms = 0;
    for_each_upper_rows(index, [&](const upper_rows& H) { forms += square(H.r); });
    return forms;
}

// The tables of all r that divide an index.
std::vector<multiples> tables_of(int index)
{
    std::vector<multiples> tables(static_cast<std::size_t>(index) + 1);
    for (int r = 1; r <= index; ++r)
        if (index % r == 0) tables[static_cast<std::size_t>(r)] = multiples_modulo(r);
    return tables;
}

void add_hits(std::span<const miller_indices> indices, int index,
              const std::vector<multiples>& tables, std::span<int> hits)
{
    std::size_t place = 0;
    for_each_upper_rows(index, [&](const upper_rows& H) {
        const std::size_t forms = square(H.r);
        count(members_of(indices, H), H, tables[static_cast<std::size_t>(H.r)],
              hits.subspan(place, forms));
        place += forms;
    });
}

// The fewest of the reflections that are striking on a sublattice; one more than there are if none is.
int fewest_striking(int reflections, int index, double log_tail)
{
    int low = reflections / index + 1;
    int high = reflections + 1;
    while (low < high) {
        const int middle = (low + high) / 2;
        if (log_binomial_tail(middle, reflections, 1.0 / index) < log_tail)
            high = middle;
        else
            low = middle + 1;
    }
    return low;
}

} // namespace

bool on_sublattice(const matrix3& T, const miller_indices& h)
{
    constexpr double whole = 0.01; // others are off by 1 / index at least
    return off_whole(T.multiply(vector3(h[0], h[1], h[2]))) < whole;
}

std::vector<int> sublattice_hits(std::span<const miller_indices> indices, int index)
{
    std::vector<int> hits(form_count(index), 0);
    const std::vector<multiples> tables = tables_of(index);
    for (std::size_t i = 0; i < indices.size(); i += most_together)
        add_hits(indices.subspan(i, std::min(most_together, indices.size() - i)), index, tables,
                 hits);
    return hits;
}

std::vector<int> plain_sublattice_hits(std::span<const miller_indices> indices, int index)
{
    std::vector<int> hits;
    for (const matrix3& T : finer_forms(index))
        hits.push_back(static_cast<int>(
            std::count_if(indices.begin(), indices.end(),
                          [&](const miller_indices& h) { return on_sublattice(T, h); })));
    return hits;
}

matrix3 finer_form_at(int index, std::size_t place)
{
    matrix3 form;
    std::size_t first = 0;
    for_each_upper_rows(index, [&](const upper_rows& H) {
        const std::size_t forms = square(H.r);
        if (place >= first && place < first + forms) {
            const int within = static_cast<int>(place - first);
            const int y = within / H.r;
            const int z = within % H.r;
            form = matrix3(H.p, H.x, y, 0, H.q, z, 0, 0, H.r);
        }
        first += forms;
    });
    return form.transpose().inverse();
}

std::vector<striking_sublattice> striking_sublattices(std::span<const miller_indices> indices,
                                                      int largest, double expected)
{
    const int reflections = static_cast<int>(indices.size());
    std::vector<striking_sublattice> found;
    for (int n = 2; n <= largest; ++n) {
        const double trials = static_cast<double>(form_count(n)) * (largest - 1);
        const int fewest = fewest_striking(reflections, n, logarithm(expected / trials));
        if (fewest > reflections) continue;
        const std::vector<int> hits = sublattice_hits(indices, n);
        for (std::size_t place = 0; place < hits.size(); ++place) {
            if (hits[place] < fewest) continue;
            const double tail = log_binomial_tail(hits[place], reflections, 1.0 / n);
            found.push_back({finer_form_at(n, place), n, hits[place], tail + logarithm(trials)});
        }
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const striking_sublattice& one, const striking_sublattice& other) {
                         return one.log_expected < other.log_expected;
                     });
    return found;
}

} // namespace torvik::solver
