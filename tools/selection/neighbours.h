// Points in the order of one coordinate, for the nearest of them.
#pragma once

#include "base/linear.h"

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace torvik::tools {

// Points that lie in space as those of a lattice do are found among few: those that are nearer along one
// axis than the nearest one that is known. If all lie in a plane across that axis, all are looked at.
class sortedpoints {
public:
    explicit sortedpoints(const std::vector<vector3>& points);

    // The point that is nearest to a place among those that suit, the first of equals: its number, which
    // `suits` is called with too. Nothing if none does.
    template <class Condition>
    [[nodiscard]] std::optional<std::size_t> nearest(const vector3& place, Condition suits) const
    {
        std::optional<std::size_t> best;
        double least = 0.0; // squared distance of the best
        std::size_t above = firstabove(place);
        std::size_t below = above;
        for (;;) {
            const bool up = isnearerabove(place, below, above);
            if (up ? above == order_.size() : below == 0) return best;
            const std::size_t rank = up ? above++ : --below;
            const double apart = coordinates_[rank] - along(place);
            if (best && apart * apart > least) return best;
            const std::size_t number = order_[rank];
            const double squared = (points_[number] - place).length_sq();
            const bool nearer = !best || squared < least || (squared == least && number < *best);
            if (!nearer || !suits(number)) continue;
            best = number;
            least = squared;
        }
    }

private:
    [[nodiscard]] double along(const vector3& place) const
    {
        return axis_ == 0 ? place.x : axis_ == 1 ? place.y : place.z;
    }
    [[nodiscard]] std::size_t firstabove(const vector3& place) const;

    // Whether the next point above a place is nearer along the axis than the next one below.
    [[nodiscard]] bool isnearerabove(const vector3& place, std::size_t below,
                                     std::size_t above) const
    {
        if (below == 0 || above == order_.size()) return below == 0;
        return coordinates_[above] - along(place) < along(place) - coordinates_[below - 1];
    }

    const std::vector<vector3>& points_;
    std::vector<std::size_t> order_;  // numbers of the points by their coordinate
    std::vector<double> coordinates_; // in this order
    int axis_ = 0;                    // along which the points lie farthest apart
};

} // namespace torvik::tools
