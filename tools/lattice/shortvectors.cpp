#include "lattice/shortvectors.h"

#include "base/failure.h"

#include <array>
#include <cstddef>
#include <utility>

namespace torvik::tools {

namespace {

// A vector replaces another only if its square is smaller by more than rounding.
constexpr double shorter = 1.0 - 1e-12;

class reduction {
public:
    explicit reduction(const matrix3& basis)
    {
        for (std::size_t i = 0; i < 3; ++i) {
            row_[i] = rowof(basis, static_cast<int>(i));
            T_[i] = rowof(matrix3(), static_cast<int>(i));
        }
    }

    shortbasis reduce()
    {
        constexpr int most = 10000; // each step shortens; far more than any basis of numbers takes
        for (int step = 0; step < most; ++step) {
            sort();
            if (!shortensecond() && !shortenthird()) return finished();
        }
        throw failure("The basis cannot be reduced: its vectors are not those of a lattice.");
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

    // Takes away from row i a multiple of row j.
    void subtract(std::size_t i, std::size_t j, double times)
    {
        row_[i] -= times * row_[j];
        T_[i] -= times * T_[j];
    }

    // Takes from b the multiple of a that leaves it shortest.
    bool shortensecond()
    {
        const double before = square(1);
        const double times = std::round(row_[1].dot(row_[0]) / square(0));
        if (times == 0.0) return false;
        if ((row_[1] - times * row_[0]).length_sq() >= before * shorter) return false;
        subtract(1, 0, times);
        return true;
    }

    // Takes from c the vector of the net of a and b that leaves it shortest: it is a corner of the
    // mesh, of sides a and b, in which the foot of c lies.
    bool shortenthird()
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
                const double left = (row_[2] - p * row_[0] - q * row_[1]).length_sq();
                if (left >= best) continue;
                best = left;
                chosen = {p, q};
            }
        if (chosen == std::array<double, 2>{0.0, 0.0}) return false;
        subtract(2, 0, chosen[0]);
        subtract(2, 1, chosen[1]);
        return true;
    }

    // A reduced basis is never flat: its volume is more than half of the product of its lengths.
    [[nodiscard]] shortbasis finished() const
    {
        const matrix3 basis = fromrows(row_[0], row_[1], row_[2]);
        const double volume = std::fabs(basis.determinant());
        const double product = row_[0].length() * row_[1].length() * row_[2].length();
        if (!(volume > 0.1 * product) || !std::isfinite(product))
            throw failure("The three vectors of the basis lie in a plane, or are not numbers.");
        return {basis, fromrows(T_[0], T_[1], T_[2])};
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

shortbasis shortestbasis(const matrix3& basis)
{
    return reduction(basis).reduce();
}

std::vector<latticevector> shortvectors(const matrix3& shortest, double length)
{
    constexpr int most = 4;
    std::vector<latticevector> found;
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

} // namespace torvik::tools
