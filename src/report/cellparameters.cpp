#include "report/cellparameters.h"

#include "numeric/constants.h"
#include "numeric/functions.h"

namespace torvik {

cellparameters cellofbasis(const matrix3& D)
{
    const vector3 a = rowof(D, 1);
    const vector3 b = rowof(D, 2);
    const vector3 c = rowof(D, 3);
    const vector3 length = {{vectormagnitude(a), vectormagnitude(b), vectormagnitude(c)}};
    const double alpha = arccosine(dotproduct(b, c) / (length(2) * length(3)));
    const double beta = arccosine(dotproduct(c, a) / (length(3) * length(1)));
    const double gamma = arccosine(dotproduct(a, b) / (length(1) * length(2)));
    return {length,
            {{alpha * cellangledegrees, beta * cellangledegrees, gamma * cellangledegrees}}};
}

} // namespace torvik
