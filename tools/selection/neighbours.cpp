#include "selection/neighbours.h"

#include <algorithm>
#include <numeric>

namespace torvik::tools {

sortedpoints::sortedpoints(const std::vector<vector3>& points)
    : points_(points), order_(points.size())
{
    std::iota(order_.begin(), order_.end(), 0U);
    double widest = -1.0;
    for (int axis = 0; axis < 3 && !points.empty(); ++axis) {
        const auto [least, most] =
            std::minmax_element(points.begin(), points.end(), [&](const auto& a, const auto& b) {
                return a.at(axis) < b.at(axis);
            });
        const double width = most->at(axis) - least->at(axis);
        if (width <= widest) continue;
        widest = width;
        axis_ = axis;
    }
    std::sort(order_.begin(), order_.end(),
              [&](std::size_t a, std::size_t b) { return along(points_[a]) < along(points_[b]); });
    coordinates_.reserve(order_.size());
    for (const std::size_t number : order_) coordinates_.push_back(along(points_[number]));
}

std::size_t sortedpoints::firstabove(const vector3& place) const
{
    const auto first = std::lower_bound(coordinates_.begin(), coordinates_.end(), along(place));
    return static_cast<std::size_t>(first - coordinates_.begin());
}

} // namespace torvik::tools
