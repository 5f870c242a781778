#include "volumes/evenspacing.h"

#include "numeric/unfused.h"

#include <algorithm>
#include <cmath>

namespace torvik {

evenspacing measured(std::size_t first, std::size_t last, const double* P, double s)
{
    evenspacing block = {first, last, 0.0, s, 0.0, 0.0};
    const int middle = middleof(block);
    block.a = 1.0 / P[middle];
    double departure = 0.0;
    for (std::size_t i = first; i <= last; ++i) {
        const double inverse = 1.0 / P[i];
        const double k = static_cast<int>(i) - middle;
        departure = std::max(departure, std::fabs(inverse - (block.a + s * k)));
        block.largestinverse = std::max(block.largestinverse, inverse);
    }
    const double farthest = std::fabs(s) * (0.5 * static_cast<double>(last - first) + 1.0);
    block.error = departure + 0x1p-53 * (4.0 * block.largestinverse + 5.0 * farthest);
    return block;
}

double stepofinverse(const double* P, std::size_t periods)
{
    return (1.0 / P[periods - 1] - 1.0 / P[0]) / static_cast<double>(periods - 1);
}

} // namespace torvik
