#include "numeric/kernel.h"

namespace torvik {

void invmat(const matrix3& a, matrix3& ainv, double threshold, int& status)
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

matrix3 matrixproduct(const matrix3& a, const matrix3& b)
{
    matrix3 c;
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j)
            c(i, j) = a(i, 1) * b(1, j) + a(i, 2) * b(2, j) + a(i, 3) * b(3, j);
    return c;
}

} // namespace torvik
