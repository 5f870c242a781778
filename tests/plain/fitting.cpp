#include "plain/plain.h"

#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "numeric/constants.h"
#include "search/quality.h"

namespace torvik::plain {

namespace {

// Gives transpose(H) A, each element summed over rows 1..m in order.
matrix3 productsum(int m, const vectorlist& H, const vectorlist& A)
{
    matrix3 P = {};
    for (int k = 1; k <= m; ++k)
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) P(i, j) += H(k)(i) * A(k)(j);
    return P;
}

// Gives how many reflections a refit must exceed. Deliberate: the quarter is taken in single
// precision.
int supportlimit(int n)
{
    return std::max(nint(static_cast<float>(n) / 4.0F), 4);
}

} // namespace

vector3 roundedindices(const vector3& x)
{
    return {{double(nint(x(1))), double(nint(x(2))), double(nint(x(3)))}};
}

void basisquality(const matrix3& D, indexcounts& counts, double& quality)
{
    const auto& parameters = otherglobalvariables;
    const auto& weights = modofsavedbases.weightsforsortingbases;
    const double c = parameters.themaincriterion;
    counts = {};
    for (int k = 1; k <= recorded_reflections.numberofreflections; ++k) {
        const vector3 x = transformed(D, recorded_reflections.reflections(k));
        if (largestindex(x) > parameters.maxallowedmillerindex) continue;
        const double q = reflexquality222(x);
        if (q <= 0.5 * c) ++counts.h; // Deliberate: both limits count here, not in the report
        if (q <= c) ++counts.H;
    }
    quality = weights(1) * counts.h + weights(2) * counts.H;
}

void getreciprocalbasis(const matrix3& M, matrix3& N, double threshold, int& status)
{
    invmat(M, N, threshold, status);
    N = transposed(N); // Deliberate: whatever the status
}

void just_fit_aaa(int m, const vectorlist& A, const vectorlist& H, matrix3& R, int& status)
{
    const matrix3 P = productsum(m, H, A);
    const matrix3 Q = productsum(m, H, H);
    matrix3 Qinv = {};
    invmat(Q, Qinv, machineepsilon, status);
    if (status == failed) return;
    R = matrixproduct(Qinv, P);
}

void fittingabovethreshold(double threshold, matrix3& D, int& status)
{
    const int n = recorded_reflections.numberofreflections;
    vectorlist A;
    vectorlist H;
    int m = 0;
    for (int k = 1; k <= n; ++k) {
        const vector3& r = recorded_reflections.reflections(k);
        const vector3 x = transformed(D, r);
        if (!(reflexquality222(x) <= threshold)) continue;
        if (largestindex(x) > otherglobalvariables.maxallowedmillerindex) continue;
        ++m;
        A(m) = r;
        H(m) = plain::roundedindices(x);
    }
    status = failed;
    if (m <= supportlimit(n)) return;
    matrix3 R = {};
    plain::just_fit_aaa(m, A, H, R, status);
    if (status == failed) return;
    matrix3 dual = {};
    plain::getreciprocalbasis(R, dual, hundredtimestiny, status);
    if (status == done) D = dual;
}

} // namespace torvik::plain
