#include "search/batchfitting.h"

#include "numeric/constants.h"
#include "search/scanning.h"

#include <limits>

namespace torvik {

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();

// So many numbers, one in each lane. (In a template, only typedef keeps the attribute with gcc.)
template <int width>
struct side {
    // NOLINTBEGIN(modernize-use-using)
    typedef double numbers __attribute__((vector_size(8 * width)));
    typedef std::int64_t wholes __attribute__((vector_size(8 * width)));
    // NOLINTEND(modernize-use-using)
};

// The fits that are under way. Matrices stand with their nine elements in the order of rows.
template <int width>
struct fitlanes {
    using numbers = typename side<width>::numbers;
    using wholes = typename side<width>::wholes;

    numbers R[9], G[9], P[9], Q[6];
    numbers smallestregular, largestsingular; // see inversions
    numbers x, y, z;                          // the vectors that are taken in
    numbers lowest;                           // the qualities of those
    wholes best;                              // and their numbers
    wholes fitted;                            // the sums gave a basis
    wholes regular;                           // and it could be inverted
    numbers size;                             // sum of the |elements| of G
    numbers penalty[maxreflections];          // infinite for the vectors taken already
    int task[width];                          // number of the fit, or -1
    int passes[width];
};

// Finds in each lane the best indexed vector that is not taken.
template <int width>
TORVIK_INLINED void scan(fitlanes<width>& lane, const vectorcolumns& V)
{
    using numbers = typename side<width>::numbers;
    using wholes = typename side<width>::wholes;
    numbers G[9];
    for (int e = 0; e < 9; ++e) G[e] = lane.G[e];
    numbers lowest = numbers{} + largestdouble;
    wholes best = {};
    for (int i = 0; i < V.n; ++i) {
        const double x = V.x[i];
        const double y = V.y[i];
        const double z = V.z[i];
        const numbers a = x * G[0] + y * G[3] + z * G[6];
        const numbers b = x * G[1] + y * G[4] + z * G[7];
        const numbers c = x * G[2] + y * G[5] + z * G[8];
        const numbers da = magnitude(a - nearestwhole(a));
        const numbers db = magnitude(b - nearestwhole(b));
        const numbers dc = magnitude(c - nearestwhole(c));
        const numbers ab = da < db ? db : da;
        const numbers q = (ab < dc ? dc : ab) + lane.penalty[i];
        const wholes number = wholes{} + (i + 1);
        best = q < lowest ? number : best;
        lowest = q < lowest ? q : lowest;
    }
    lane.lowest = lowest;
    lane.best = best;
}

// Takes a vector into the sums of each lane.
template <int width>
TORVIK_INLINED void addvectors(fitlanes<width>& lane)
{
    using numbers = typename side<width>::numbers;
    const numbers v[3] = {lane.x, lane.y, lane.z};
    numbers h[3];
    for (int j = 0; j < 3; ++j) {
        const numbers x = v[0] * lane.G[j] + v[1] * lane.G[3 + j] + v[2] * lane.G[6 + j];
        h[j] = nearestwhole(x); // within the tolerance: no halves
    }
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) lane.P[3 * i + j] = lane.P[3 * i + j] + h[i] * v[j];
    int e = 0;
    for (int i = 0; i < 3; ++i)
        for (int j = i; j < 3; ++j, ++e) lane.Q[e] = lane.Q[e] + h[i] * h[j];
}

// Solves the sums of each lane for its basis, as fitfromsums does. Q is symmetric, to the bit, and
// so is its inverse. Where Q is singular, the basis stays.
template <int width>
TORVIK_INLINED void solve(fitlanes<width>& lane)
{
    using numbers = typename side<width>::numbers;
    const numbers q11 = lane.Q[0];
    const numbers q12 = lane.Q[1];
    const numbers q13 = lane.Q[2];
    const numbers q22 = lane.Q[3];
    const numbers q23 = lane.Q[4];
    const numbers q33 = lane.Q[5];
    const numbers c11 = q22 * q33 - q23 * q23;
    const numbers c12 = q23 * q13 - q12 * q33;
    const numbers c13 = q12 * q23 - q22 * q13;
    const numbers d = q11 * c11 + q12 * c12 + q13 * c13;
    const numbers i11 = c11 / d;
    const numbers i12 = (q13 * q23 - q12 * q33) / d;
    const numbers i13 = (q12 * q23 - q13 * q22) / d;
    const numbers i22 = (q11 * q33 - q13 * q13) / d;
    const numbers i23 = (q13 * q12 - q11 * q23) / d;
    const numbers i33 = (q11 * q22 - q12 * q12) / d;
    const auto singular = machineepsilon > magnitude(d);
    numbers R[9];
    for (int j = 0; j < 3; ++j) {
        const numbers p1 = lane.P[j];
        const numbers p2 = lane.P[3 + j];
        const numbers p3 = lane.P[6 + j];
        R[j] = i11 * p1 + i12 * p2 + i13 * p3;
        R[3 + j] = i12 * p1 + i22 * p2 + i23 * p3;
        R[6 + j] = i13 * p1 + i23 * p2 + i33 * p3;
    }
    for (int e = 0; e < 9; ++e) lane.R[e] = singular ? lane.R[e] : R[e];
    lane.fitted = ~singular;
}

// Inverts the basis of each lane and takes note of the outcome, as notedinverse does.
template <int width>
TORVIK_INLINED void invert(fitlanes<width>& lane, double threshold)
{
    using numbers = typename side<width>::numbers;
    numbers R[9];
    for (int e = 0; e < 9; ++e) R[e] = lane.R[e];
    const numbers c1 = R[4] * R[8] - R[5] * R[7];
    const numbers c2 = R[5] * R[6] - R[3] * R[8];
    const numbers c3 = R[3] * R[7] - R[4] * R[6];
    const numbers d = R[0] * c1 + R[1] * c2 + R[2] * c3;
    const numbers G[9] = {c1 / d, (R[2] * R[7] - R[1] * R[8]) / d, (R[1] * R[5] - R[2] * R[4]) / d,
                          c2 / d, (R[0] * R[8] - R[2] * R[6]) / d, (R[2] * R[3] - R[0] * R[5]) / d,
                          c3 / d, (R[1] * R[6] - R[0] * R[7]) / d, (R[0] * R[4] - R[1] * R[3]) / d};
    const numbers volume = magnitude(d);
    const auto singular = threshold > volume;
    numbers size = {};
    for (int e = 0; e < 9; ++e) {
        lane.G[e] = singular ? lane.G[e] : G[e]; // Deliberate: a failure keeps G
        size += magnitude(lane.G[e]);
    }
    lane.size = size;
    lane.regular = ~singular;
    const auto smaller = lane.fitted & ~singular & (volume < lane.smallestregular);
    const auto larger = lane.fitted & singular & (volume > lane.largestsingular);
    lane.smallestregular = smaller ? volume : lane.smallestregular;
    lane.largestsingular = larger ? volume : lane.largestsingular;
}

// Takes a vector into the fit of each lane: sums, basis, inverse.
template <int width>
TORVIK_INLINED void grow(fitlanes<width>& lane, double threshold)
{
    addvectors(lane);
    solve(lane);
    invert(lane, threshold);
}

struct anywhere {
    static constexpr int width = 4;
    static void scanlanes(fitlanes<width>& lane, const vectorcolumns& V)
    {
        scan<width>(lane, V);
    }
    static void growlanes(fitlanes<width>& lane, double threshold)
    {
        grow<width>(lane, threshold);
    }
};

struct withavx2 {
    static constexpr int width = 4;
    TORVIK_AVX2 static void scanlanes(fitlanes<width>& lane, const vectorcolumns& V)
    {
        scan<width>(lane, V);
    }
    TORVIK_AVX2 static void growlanes(fitlanes<width>& lane, double threshold)
    {
        grow<width>(lane, threshold);
    }
};

struct withavx512 {
    static constexpr int width = 8;
    TORVIK_AVX512 static void scanlanes(fitlanes<width>& lane, const vectorcolumns& V)
    {
        scan<width>(lane, V);
    }
    TORVIK_AVX512 static void growlanes(fitlanes<width>& lane, double threshold)
    {
        grow<width>(lane, threshold);
    }
};

// What the fits have in common.
struct fitconditions {
    const vectorcolumns& V;
    double threshold;
    double criterion;
};

void fitalone(fitting& fit, const fitconditions& given)
{
    fit.seen = {};
    sequentialfit(fit.R, given.V, fit.start, given.threshold, given.criterion, fit.status,
                  fit.seen);
}

// Lays the start of a fit into a lane. Gives false if the fit is done then.
template <int width>
bool begin(fitlanes<width>& lane, int k, int number, fitting& fit, const fitconditions& given)
{
    const vectorcolumns& V = given.V;
    fit.seen = {};
    matrix3 G = {};
    notedinverse(fit.R, G, given.threshold, fit.status, fit.seen);
    if (fit.status == failed || V.n <= 3) return false;
    if (!surelysmall(V, G)) {
        fitalone(fit, given);
        return false;
    }
    fitsums sums;
    for (int i = 0; i < V.n; ++i) lane.penalty[i][k] = 0.0;
    for (const int taken : fit.start.element) {
        lane.penalty[taken - 1][k] = infinite;
        addtosums(sums, vectorof(V, taken), G);
    }
    for (int e = 0; e < 9; ++e) {
        lane.R[e][k] = fit.R.element[e / 3][e % 3];
        lane.G[e][k] = G.element[e / 3][e % 3];
        lane.P[e][k] = sums.P.element[e / 3][e % 3];
    }
    const matrix3& Q = sums.Q;
    const double upper[6] = {Q(1, 1), Q(1, 2), Q(1, 3), Q(2, 2), Q(2, 3), Q(3, 3)};
    for (int e = 0; e < 6; ++e) lane.Q[e][k] = upper[e];
    lane.smallestregular[k] = fit.seen.smallestregular;
    lane.largestsingular[k] = fit.seen.largestsingular;
    lane.task[k] = number;
    lane.passes[k] = 0;
    return true;
}

template <int width>
void finish(fitlanes<width>& lane, int k, fitting& fit, int status)
{
    for (int e = 0; e < 9; ++e) fit.R.element[e / 3][e % 3] = lane.R[e][k];
    fit.seen.smallestregular = lane.smallestregular[k];
    fit.seen.largestsingular = lane.largestsingular[k];
    fit.status = status;
    lane.task[k] = -1;
}

// After the scan: takes the vector that was found, or ends the fit.
template <int width>
void takebest(fitlanes<width>& lane, int k, fitting& fit, const fitconditions& given, double tol)
{
    const auto best = lane.best[k];
    if (best == 0 || lane.lowest[k] > tol) {
        finish(lane, k, fit, fit.status);
        return;
    }
    const vector3 v = vectorof(given.V, static_cast<int>(best));
    lane.x[k] = v(1);
    lane.y[k] = v(2);
    lane.z[k] = v(3);
    lane.penalty[best - 1][k] = infinite;
}

// After the growth: ends the fit where it failed or has gone through all vectors.
template <int width>
void endpass(fitlanes<width>& lane, int k, fitting& fit, const fitconditions& given)
{
    if (lane.fitted[k] == 0) {
        finish(lane, k, fit, failed);
        return;
    }
    if (!(lane.size[k] * given.V.largest < safeindex)) {
        fitalone(fit, given);
        lane.task[k] = -1;
        return;
    }
    fit.status = lane.regular[k] != 0 ? done : failed;
    ++lane.passes[k];
    if (lane.passes[k] == given.V.n - 3) finish(lane, k, fit, fit.status);
}

template <class Kind>
void fitinlanes(std::vector<fitting>& fits, const fitconditions& given)
{
    constexpr int width = Kind::width;
    const double tol = 1.15 * given.criterion;
    const int count = static_cast<int>(fits.size());
    fitlanes<width> lane = {};
    for (int& task : lane.task) task = -1;
    int next = 0;
    for (;;) {
        int busy = 0;
        for (int k = 0; k < width; ++k) {
            while (lane.task[k] < 0 && next < count) {
                begin(lane, k, next, fits[static_cast<std::size_t>(next)], given);
                ++next;
            }
            if (lane.task[k] >= 0) ++busy;
        }
        if (busy == 0) return;
        const auto fitof = [&](int k) -> fitting& {
            return fits[static_cast<std::size_t>(lane.task[k])];
        };
        Kind::scanlanes(lane, given.V);
        for (int k = 0; k < width; ++k)
            if (lane.task[k] >= 0) takebest(lane, k, fitof(k), given, tol);
        Kind::growlanes(lane, given.threshold);
        for (int k = 0; k < width; ++k)
            if (lane.task[k] >= 0) endpass(lane, k, fitof(k), given);
    }
}

} // namespace

int bestlanes()
{
    if (hasavx512()) return lanesofavx512;
    return hasavx2() ? lanesofavx2 : lanesanywhere;
}

void sequentialfitsin(int whichlanes, std::vector<fitting>& fits, const vectorcolumns& V,
                      double threshold, double criterion)
{
    const fitconditions given = {V, threshold, criterion};
    // From a tolerance of a half on, an index may be a half, which lanes round in another way.
    if (!(1.15 * criterion < 0.5) || fits.size() < 3)
        for (fitting& fit : fits) fitalone(fit, given);
    else if (whichlanes == lanesofavx512)
        fitinlanes<withavx512>(fits, given);
    else if (whichlanes == lanesofavx2)
        fitinlanes<withavx2>(fits, given);
    else
        fitinlanes<anywhere>(fits, given);
}

void sequentialfits(std::vector<fitting>& fits, const vectorcolumns& V, double threshold,
                    double criterion)
{
    sequentialfitsin(bestlanes(), fits, V, threshold, criterion);
}

} // namespace torvik
