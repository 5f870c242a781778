#include "solver/lattice/short_vectors.h"

#include "solver/lattice/invalid_input.h"

#include <array>
#include <cstddef>
#include <utility>

namespace torvik::solver {

namespace {

// A vector replaces another only if its square is smaller by more than the rounding error.
constexpr double shorter = 1.0 - 1e-12;

class reducer {
public:
    explicit reducer(const matrix3& basis)
    {
        for (std::size_t i = 0; i < 3; ++i) {
            row_[i] = row_of(basis, static_cast<int>(i));
            T_[i] = row_of(matrix3(), static_cast<int>(i));
        }
    }

    std::optional<short_basis> reduce()
    {
        constexpr int most =
            10000; // each step shortens a vector; far more than any finite basis takes
        for (int step = 0; step < most; ++step) {
            sort();
            if (!shorten_second() && !shorten_third()) return finished();
        }
        return std::nullopt;
    }

private:
    [[nodiscard]] double square(std::size_t i) const
    {
        return row_[i].length_sq();
    }

    void sort()
    {
        for (const std::size_t i : {std::size_t{0}, std::size_t{1}, std::size_t{0}})
            if (square(i + 1) < square(i)) {
                std::swap(row_[i], row_[i + 1]);
                std::swap(T_[i], T_[i + 1]);
            }
    }

    // Subtracts a multiple of row j from row i.
    void subtract(std::size_t i, std::size_t j, double times)
    {
        row_[i] -= times * row_[j];
        T_[i] -= times * T_[j];
    }

    // Subtracts from b the multiple of a that leaves it shortest; returns whether b is shorter.
    bool shorten_second()
    {
        const double before = square(1);
        const double times = std::round(row_[1].dot(row_[0]) / square(0));
        if (times == 0.0) return false;
        if ((row_[1] - times * row_[0]).length_sq() >= before * shorter) return false;
        subtract(1, 0, times);
        return true;
    }

    // Subtracts from c the vector of the net of a and b that leaves it shortest: a corner of the mesh
    // that contains the projection of c. Returns whether c is shorter.
    bool shorten_third()
    {
        const double ab = row_[0].dot(row_[1]);
        const double ac = row_[0].dot(row_[2]);
        const double bc = row_[1].dot(row_[2]);
        const double area = square(0) * square(1) - ab * ab;
        const double x = std::floor((ac * square(1) - bc * ab) / area);
        const double y = std::floor((bc * square(0) - ac * ab) / area);
        double best = square(2) * shorter;
        std::array<double, 2> chosen = {0.0, 0.0};
        for (const double p : {x, x + 1.0})
            for (const double q : {y, y + 1.0}) {
                const double rest = (row_[2] - p * row_[0] - q * row_[1]).length_sq();
                if (rest >= best) continue;
                best = rest;
                chosen = {p, q};
            }
        if (chosen == std::array<double, 2>{0.0, 0.0}) return false;
        subtract(2, 0, chosen[0]);
        subtract(2, 1, chosen[1]);
        return true;
    }

    // The volume of a reduced basis is more than half of the product of its lengths.
    [[nodiscard]] std::optional<short_basis> finished() const
    {
        const matrix3 basis = from_rows(row_[0], row_[1], row_[2]);
        const double volume = std::fabs(basis.determinant());
        const double product = row_[0].length() * row_[1].length() * row_[2].length();
        if (!(volume > 0.1 * product) || !std::isfinite(product)) return std::nullopt;
        return short_basis{basis, from_rows(T_[0], T_[1], T_[2])};
    }

    std::array<vector3, 3> row_;
    std::array<vector3, 3> T_;
};

// Whether the first factor from the end that is not 0 is positive.
bool leads(const std::array<int, 3>& n)
{
    for (const std::size_t i : {std::size_t{2}, std::size_t{1}})
        if (n[i] != 0) return n[i] > 0;
    return n[0] > 0;
}

} // namespace

std::optional<short_basis> try_shortest_basis(const matrix3& basis)
{
    return reducer(basis).reduce();
}

short_basis shortest_basis(const matrix3& basis)
{
    if (const auto reduced = try_shortest_basis(basis)) return *reduced;
    throw invalid_input("The three vectors of the basis lie in a plane, or are not numbers.");
}

std::vector<lattice_vector> short_vectors(const matrix3& shortest, double length)
{
    constexpr int most = 4;
    std::vector<lattice_vector> found;
    const double limit = length * length;
    for (int k = 0; k <= most; ++k)
        for (int j = -most; j <= most; ++j)
            for (int i = -most; i <= most; ++i) {
                if (!leads({i, j, k})) continue;
                const vector3 factors(i, j, k);
                const vector3 value = shortest.left_multiply(factors);
                const double square = value.length_sq();
                if (square <= limit) found.push_back({factors, value, square});
            }
    return found;
}

} // namespace torvik::solver
