// Vectors and matrices of three dimensions.
#pragma once

#include <gemmi/math.hpp>

#include <array>
#include <cmath>

// Indices count from 0, as in gemmi. The rows of a direct basis are a, b and c in the frame of the
// reflection vectors; the basis times a reflection vector gives the indices h k l. The inverse of the
// basis is the matrix UB, with a*, b* and c* in its columns. Lengths are in angstroms, reflection
// vectors in 1/angstrom without the factor 2 pi.

namespace torvik::solver {

using vector3 = gemmi::Vec3;
using matrix3 = gemmi::Mat33;

inline vector3 row_of(const matrix3& A, int i)
{
    return A.row_copy(i);
}

inline matrix3 from_rows(const vector3& a, const vector3& b, const vector3& c)
{
    return {a.x, a.y, a.z, b.x, b.y, b.z, c.x, c.y, c.z};
}

inline matrix3 scaled(const matrix3& A, double factor)
{
    return A.multiply_by_diagonal({factor, factor, factor});
}

// Adds weight x y^T.
inline void add_product(matrix3& sum, const vector3& x, const vector3& y, double weight = 1.0)
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) sum.a[i][j] += weight * x.at(i) * y.at(j);
}

// The integers nearest to the components.
inline std::array<int, 3> nearest_indices(const vector3& x)
{
    return {gemmi::iround(x.x), gemmi::iround(x.y), gemmi::iround(x.z)};
}

// The largest distance of a component from an integer: at most 1/2.
inline double off_whole(const vector3& x)
{
    const auto off = [](double u) { return std::fabs(u - std::round(u)); };
    return std::fmax(off(x.x), std::fmax(off(x.y), off(x.z)));
}

} // namespace torvik::solver
