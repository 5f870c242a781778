#include "solver/verdict/coincidence.h"

#include <cstddef>
#include <cstdlib>
#include <utility>

namespace torvik::solver {

namespace {

using integers = std::array<long, 3>;

// A triangular basis of the lattice of the integers that were added.
class integer_span {
public:
    void add(integers v)
    {
        for (std::size_t i = 0; i < 3; ++i) {
            // Euclid's algorithm on the leading elements of the two rows.
            while (v[i] != 0) {
                const long times = rows_[i][i] / v[i];
                for (std::size_t j = i; j < 3; ++j) rows_[i][j] -= times * v[j];
                std::swap(rows_[i], v);
            }
            shorten(i);
        }
    }

    [[nodiscard]] long index() const
    {
        return std::labs(rows_[0][0] * rows_[1][1] * rows_[2][2]);
    }

private:
    // Keeps the elements right of a diagonal below the diagonals of their columns.
    void shorten(std::size_t i)
    {
        for (std::size_t j = i + 1; j < 3; ++j) {
            if (rows_[j][j] == 0) continue;
            const long times = rows_[i][j] / rows_[j][j];
            for (std::size_t k = j; k < 3; ++k) rows_[i][k] -= times * rows_[j][k];
        }
    }

    std::array<integers, 3> rows_ = {};
};

integers cross(const integers& a, const integers& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

long dot(const integers& a, const integers& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

std::vector<integers> widened(const std::vector<std::array<int, 3>>& indices)
{
    std::vector<integers> wide;
    for (const auto& h : indices) wide.push_back({h[0], h[1], h[2]});
    return wide;
}

std::size_t count_off(const std::vector<integers>& all, const integers& normal)
{
    std::size_t count = 0;
    for (const integers& h : all)
        if (dot(normal, h) != 0) ++count;
    return count;
}

} // namespace

long index_of_span(const std::vector<std::array<int, 3>>& indices)
{
    integer_span span;
    for (const integers& h : widened(indices)) {
        span.add(h);
        if (span.index() == 1) return 1;
    }
    return span.index();
}

bool nearly_in_a_plane(const std::vector<std::array<int, 3>>& indices)
{
    if (indices.size() < 4) return true;
    const std::vector<integers> all = widened(indices);
    // Three independent ones: of these at most one is outside such a plane, so two of them span it.
    std::vector<integers> three;
    for (const integers& h : all) {
        const bool independent = three.empty()       ? dot(h, h) != 0
                                 : three.size() == 1 ? cross(three[0], h) != integers{0, 0, 0}
                                                     : dot(cross(three[0], three[1]), h) != 0;
        if (independent) three.push_back(h);
        if (three.size() == 3) break;
    }
    if (three.size() < 3) return true;
    for (std::size_t left = 0; left < 3; ++left)
        if (count_off(all, cross(three[(left + 1) % 3], three[(left + 2) % 3])) <= 1) return true;
    return false;
}

bool may_be_coincidence(const std::vector<vector3>& vectors, const assessment& one)
{
    constexpr double most = 2.0 / 3.0;
    constexpr long largest = 2;
    if (one.indexed >= most * static_cast<double>(vectors.size())) return false;
    std::vector<std::array<int, 3>> hits;
    for (std::size_t i = 0; i < vectors.size(); ++i)
        if (one.inlier[i] > 0.5) hits.push_back(nearest_indices(one.basis.multiply(vectors[i])));
    const long index = index_of_span(hits);
    return index < 1 || index > largest || nearly_in_a_plane(hits);
}

} // namespace torvik::solver
