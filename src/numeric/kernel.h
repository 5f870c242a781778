// Length, determinant and inverse of 3-vectors and 3x3 matrices, in closed form.
#pragma once

#include "numeric/arrays.h"

#include <cmath>

// The order of every sum is fixed: it decides the last bit, and the last bit decides ties.

namespace torvik {

constexpr int done = 0;   // status: the result was computed
constexpr int failed = 1; // status: it was not; the outputs are as their docstring says

// Gives the Euclidean length of a vector.
//
// Given:     v   3 components, any unit
// Returned:  the length, in the unit of v
inline double vectormagnitude(const vector3& v)
{
    return std::sqrt(v(1) * v(1) + v(2) * v(2) + v(3) * v(3));
}

// Gives the dot product of two vectors.
//
// Given:     x, y   3 components each
// Returned:  x.y, summed in component order
inline double dotproduct(const vector3& x, const vector3& y)
{
    return x(1) * y(1) + x(2) * y(2) + x(3) * y(3);
}

// Gives the determinant, expanded along the first row.
//
// Given:     a   3x3
// Returned:  det a; for rows of three vectors the triple product, the signed volume of their cell
inline double deter(const matrix3& a)
{
    return a(1, 1) * (a(2, 2) * a(3, 3) - a(2, 3) * a(3, 2))
           + a(1, 2) * (a(2, 3) * a(3, 1) - a(2, 1) * a(3, 3))
           + a(1, 3) * (a(2, 1) * a(3, 2) - a(2, 2) * a(3, 1));
}

// Inverts a matrix unless it is singular by the caller's measure.
//
// Given:     a          3x3
//            threshold  smallest |det a| that still counts as regular
// Returned:  ainv       3x3 inverse; on failure exactly as it was
// Status:    done or failed (threshold > |det a|, strictly). A NaN determinant passes the test
//            and gives NaN elements, so the status is to be trusted for finite input only.
//
// Each cofactor is divided by the determinant; a product with the reciprocal would round twice.
inline void invmat(const matrix3& a, matrix3& ainv, double threshold, int& status)
{
    const double d = deter(a);
    if (threshold > std::fabs(d)) {
        status = failed;
        return;
    }
    ainv = {
        {{(a(2, 2) * a(3, 3) - a(2, 3) * a(3, 2)) / d, (a(1, 3) * a(3, 2) - a(1, 2) * a(3, 3)) / d,
          (a(1, 2) * a(2, 3) - a(1, 3) * a(2, 2)) / d},
         {(a(2, 3) * a(3, 1) - a(2, 1) * a(3, 3)) / d, (a(1, 1) * a(3, 3) - a(1, 3) * a(3, 1)) / d,
          (a(1, 3) * a(2, 1) - a(1, 1) * a(2, 3)) / d},
         {(a(2, 1) * a(3, 2) - a(2, 2) * a(3, 1)) / d, (a(1, 2) * a(3, 1) - a(1, 1) * a(3, 2)) / d,
          (a(1, 1) * a(2, 2) - a(1, 2) * a(2, 1)) / d}}};
    status = done;
}

// Multiplies two matrices.
//
// Given:     a, b   3x3
// Returned:  a b, each element summed in the order of the inner index
inline matrix3 matrixproduct(const matrix3& a, const matrix3& b)
{
    matrix3 c;
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j)
            c(i, j) = a(i, 1) * b(1, j) + a(i, 2) * b(2, j) + a(i, 3) * b(3, j);
    return c;
}

// Transforms a vector, as a direct basis does with a reflection: x = D r.
//
// Given:     a   3x3
//            v   3 components
// Returned:  a v, each component summed in the order of the columns
inline vector3 transformed(const matrix3& a, const vector3& v)
{
    return {{a(1, 1) * v(1) + a(1, 2) * v(2) + a(1, 3) * v(3),
             a(2, 1) * v(1) + a(2, 2) * v(2) + a(2, 3) * v(3),
             a(3, 1) * v(1) + a(3, 2) * v(2) + a(3, 3) * v(3)}};
}

// Transforms a vector from the other side, as the inverse of a reciprocal basis does: x = v a.
//
// Given:     a   3x3
//            v   3 components
// Returned:  v a, each component summed in the order of the rows
inline vector3 indicesunder(const matrix3& a, const vector3& v)
{
    return {{v(1) * a(1, 1) + v(2) * a(2, 1) + v(3) * a(3, 1),
             v(1) * a(1, 2) + v(2) * a(2, 2) + v(3) * a(3, 2),
             v(1) * a(1, 3) + v(2) * a(2, 3) + v(3) * a(3, 3)}};
}

// Exchanges rows and columns.
inline matrix3 transposed(const matrix3& a)
{
    return {
        {{a(1, 1), a(2, 1), a(3, 1)}, {a(1, 2), a(2, 2), a(3, 2)}, {a(1, 3), a(2, 3), a(3, 3)}}};
}

// Gives one row of a matrix as a vector.
inline vector3 rowof(const matrix3& a, int i)
{
    return {{a(i, 1), a(i, 2), a(i, 3)}};
}

// Puts three vectors into the rows of a matrix.
inline matrix3 rowsmatrix(const vector3& a, const vector3& b, const vector3& c)
{
    return {{{a(1), a(2), a(3)}, {b(1), b(2), b(3)}, {c(1), c(2), c(3)}}};
}

} // namespace torvik
