#include "solutions/solved.h"

#include <algorithm>
#include <array>
#include <set>

namespace torvik::tools {

solver::measurement measurement_of(const measurement& spots, double unit)
{
    solver::measurement list;
    for (const vector3& q : vectorsof(spots))
        list.vectors.push_back({unit * q.x, unit * q.y, unit * q.z});
    const auto& all = spots.spots;
    if (std::all_of(all.begin(), all.end(), [](const spot& one) { return one.intensity; }))
        for (const spot& one : all) list.intensities.push_back(*one.intensity);
    if (std::all_of(all.begin(), all.end(), [](const spot& one) { return one.image; }))
        for (const spot& one : all) list.images.push_back(*one.image);
    if (std::all_of(all.begin(), all.end(), [](const spot& one) { return one.normal; }))
        for (const spot& one : all)
            list.normals.push_back({one.normal->x, one.normal->y, one.normal->z});
    return list;
}

spot_count count_of(const solver::answer& found)
{
    spot_count count;
    std::set<std::array<int, 4>> different;
    for (const solver::assignment& one : found.reflections) {
        if (one.lattice == 0) continue;
        ++count.spots;
        different.insert({one.lattice, one.hkl[0], one.hkl[1], one.hkl[2]});
    }
    count.reflections = static_cast<int>(different.size());
    return count;
}

matrix3 direct_basis(const solver::lattice& one)
{
    const auto row = [&](std::size_t i) {
        return vector3(one.basis[i][0], one.basis[i][1], one.basis[i][2]);
    };
    return from_rows(row(0), row(1), row(2));
}

vector3 unshifted(const solver::vec3& vector, const solver::lattice& one)
{
    return {vector[0] - one.shift[0], vector[1] - one.shift[1], vector[2] - one.shift[2]};
}

bool is_shifted(const solver::lattice& one)
{
    return one.shift != solver::vec3{};
}

} // namespace torvik::tools
