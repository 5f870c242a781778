#include "solver/evidence/reflections.h"

#include "solver/numeric/lanes.h"

#include <algorithm>
#include <cmath>

namespace torvik::solver {

reflection_list::reflection_list(const std::vector<vector3>& measured) : vectors(measured)
{
    const std::size_t filled = (measured.size() + float_lanes - 1) / float_lanes * float_lanes;
    for (std::vector<float>* each : {&x, &y, &z, &counts}) each->assign(filled, 0.0F);
    double squares = 0.0;
    for (std::size_t i = 0; i < measured.size(); ++i) {
        const vector3& q = measured[i];
        x[i] = static_cast<float>(q.x);
        y[i] = static_cast<float>(q.y);
        z[i] = static_cast<float>(q.z);
        counts[i] = 1.0F;
        squares += q.length_sq();
        longest = std::max(longest, q.length_sq());
    }
    longest = std::sqrt(longest);
    least_sigma =
        1e-4 * std::sqrt(squares / static_cast<double>(std::max<std::size_t>(1, measured.size())));
}

} // namespace torvik::solver
