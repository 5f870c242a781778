#include "solver/evidence/independent.h"

#include <algorithm>

namespace torvik::solver {

std::vector<std::size_t> independent_places(const std::vector<vector3>& vectors, double tolerance)
{
    std::vector<std::size_t> chosen;
    const double square = tolerance * tolerance;
    const auto predicted = [&](const vector3& q) {
        for (std::size_t j = 1; j < chosen.size(); ++j)
            for (std::size_t k = 0; k < j; ++k) {
                const vector3& r = vectors[chosen[j]];
                const vector3& s = vectors[chosen[k]];
                if ((q + s - r - r).length_sq() < square || (q + r - s - s).length_sq() < square
                    || (r + s - q - q).length_sq() < square)
                    return true;
            }
        return false;
    };
    for (std::size_t i = 0; i < vectors.size(); ++i)
        if (!predicted(vectors[i])) chosen.push_back(i);
    return chosen;
}

} // namespace torvik::solver
