#include "search/quality.h"

#include "numeric/constants.h"
#include "numeric/functions.h"

namespace torvik {

double vonmises(double kappa, double x)
{
    return (exponential(kappa * cosine(twopi * x)) - exponential(-kappa))
           / (exponential(kappa) - exponential(-kappa));
}

void getavonmisestypefunction(int itype, rankingcurve& table)
{
    constexpr int last = curvepoints - 1;
    const double kappa = itype == 0 ? 0.01 : itype;
    const bool single = -9 <= itype && itype <= 9;
    for (int i = 0; i <= last; ++i) {
        const double x = i / 511.0;
        table(i) = single ? vonmises(kappa, x)
                          : (vonmises(-3.0, x) + vonmises(0.01, x)) + vonmises(3.0, x);
    }
    double s = 0.0;
    for (int i = 0; i <= last; ++i) s += table(i);
    for (int i = 0; i <= last; ++i) table(i) /= s;
}

} // namespace torvik
