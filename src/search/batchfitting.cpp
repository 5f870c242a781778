#include "search/batchfitting.h"

#include "numeric/constants.h"
#include "search/scanning.h"

#include <algorithm>
#include <limits>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace torvik {

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();

// Fits, one in each lane. Matrices stand with their nine elements in the order of rows.
template <int width>
struct fitstate {
    using numbers = typename side<width>::numbers;
    using wholes = typename side<width>::wholes;

    numbers R[9], G[9], P[9], Q[6];
    numbers smallestregular, largestsingular; // see inversions
    numbers x, y, z;                          // the vectors that are taken in
    wholes unfitted;                          // mask: the sums gave no basis
    wholes singular;                          // mask: the basis was not inverted
    numbers size;                             // sum of the |elements| of G
};

// Those that are under way.
template <int width>
struct fitlanes : fitstate<width> {
    using numbers = typename side<width>::numbers;
    using wholes = typename side<width>::wholes;

    numbers lowest;                  // the qualities of the vectors found
    wholes best;                     // and their numbers
    numbers penalty[maxreflections]; // infinite for the vectors taken already
    int task[width];                 // number of the fit, or -1
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
TORVIK_INLINED void addvectors(fitstate<width>& lane)
{
    using numbers = typename side<width>::numbers;
    const numbers v[3] = {lane.x, lane.y, lane.z};
    numbers h[3];
    for (int j = 0; j < 3; ++j) {
        const numbers x = v[0] * lane.G[j] + v[1] * lane.G[3 + j] + v[2] * lane.G[6 + j];
        h[j] = nearestinteger(x);
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
TORVIK_INLINED void solve(fitstate<width>& lane)
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
    lane.unfitted = maskbelow(magnitude(d), numbers{} + machineepsilon);
    numbers R[9];
    for (int j = 0; j < 3; ++j) {
        const numbers p1 = lane.P[j];
        const numbers p2 = lane.P[3 + j];
        const numbers p3 = lane.P[6 + j];
        R[j] = i11 * p1 + i12 * p2 + i13 * p3;
        R[3 + j] = i12 * p1 + i22 * p2 + i23 * p3;
        R[6 + j] = i13 * p1 + i23 * p2 + i33 * p3;
    }
    for (int e = 0; e < 9; ++e) lane.R[e] = chosen(lane.unfitted, lane.R[e], R[e]);
}

// Inverts the basis of each lane and takes note of the outcome, as notedinverse does.
template <int width>
TORVIK_INLINED void invert(fitstate<width>& lane, double threshold)
{
    using numbers = typename side<width>::numbers;
    const numbers nowhere = numbers{} + inversions::largestdeterminant;
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
    lane.singular = maskbelow(volume, numbers{} + threshold);
    numbers size = {};
    for (int e = 0; e < 9; ++e) {
        lane.G[e] = chosen(lane.singular, lane.G[e], G[e]); // Deliberate: a failure keeps G
        size += magnitude(lane.G[e]);
    }
    lane.size = size;
    // What did not end in this way is put where it changes nothing.
    const numbers regular = chosen(lane.unfitted | lane.singular, nowhere, volume);
    const numbers singular = chosen(~lane.unfitted & lane.singular, volume, -nowhere);
    lane.smallestregular = regular < lane.smallestregular ? regular : lane.smallestregular;
    lane.largestsingular = singular > lane.largestsingular ? singular : lane.largestsingular;
}

// Begins fits: the inverse of each basis, and the sums over the three vectors that come first.
template <int width>
TORVIK_INLINED void beginfits(fitstate<width>& lane, const fitting* const* fits,
                              const vectorcolumns& V, double threshold)
{
    lane = fitstate<width>{};
    for (int k = 0; k < width; ++k)
        for (int e = 0; e < 9; ++e) lane.R[e][k] = fits[k]->R.element[e / 3][e % 3];
    lane.smallestregular = lane.smallestregular + inversions::largestdeterminant;
    lane.largestsingular = -lane.smallestregular;
    invert(lane, threshold);
    for (int j = 0; j < 3; ++j) {
        for (int k = 0; k < width; ++k) {
            const int taken = fits[k]->start.element[j] - 1;
            lane.x[k] = V.x[taken];
            lane.y[k] = V.y[taken];
            lane.z[k] = V.z[taken];
        }
        addvectors(lane);
    }
}

// Takes a vector into the fit of each lane: sums, basis, inverse.
template <int width>
TORVIK_INLINED void grow(fitstate<width>& lane, double threshold)
{
    addvectors(lane);
    solve(lane);
    invert(lane, threshold);
}

#if defined(__x86_64__)
// The same with two instructions for what takes fourteen otherwise: one gives the distance from the
// nearest whole number, the other the larger |x| of two.
TORVIK_AVX512 void scan_avx512(fitlanes<8>& lane, const vectorcolumns& V)
{
    constexpr int tonearest = 0x08;
    constexpr int largermagnitude = 0x0b;
    __m512d G[9];
    for (int e = 0; e < 9; ++e) G[e] = _mm512_loadu_pd(&lane.G[e]);
    __m512d lowest = _mm512_set1_pd(largestdouble);
    __m512i best = _mm512_setzero_si512();
    for (int i = 0; i < V.n; ++i) {
        const __m512d x = _mm512_set1_pd(V.x[i]);
        const __m512d y = _mm512_set1_pd(V.y[i]);
        const __m512d z = _mm512_set1_pd(V.z[i]);
        const __m512d a = _mm512_reduce_pd(x * G[0] + y * G[3] + z * G[6], tonearest);
        const __m512d b = _mm512_reduce_pd(x * G[1] + y * G[4] + z * G[7], tonearest);
        const __m512d c = _mm512_reduce_pd(x * G[2] + y * G[5] + z * G[8], tonearest);
        const __m512d ab = _mm512_range_pd(a, b, largermagnitude);
        const __m512d q =
            _mm512_range_pd(ab, c, largermagnitude) + _mm512_loadu_pd(&lane.penalty[i]);
        const __mmask8 better = _mm512_cmp_pd_mask(q, lowest, _CMP_LT_OQ);
        best = _mm512_mask_set1_epi64(best, better, i + 1);
        lowest = _mm512_mask_mov_pd(lowest, better, q);
    }
    _mm512_storeu_pd(&lane.lowest, lowest);
    _mm512_storeu_si512(&lane.best, best);
}
#else
void scan_avx512(fitlanes<8>& lane, const vectorcolumns& V)
{
    scan<8>(lane, V);
}
#endif

struct anywhere {
    static constexpr int width = 4;
    static void scanlanes(fitlanes<width>& lane, const vectorcolumns& V)
    {
        scan<width>(lane, V);
    }
    static void beginlanes(fitstate<width>& lane, const fitting* const* fits,
                           const vectorcolumns& V, double threshold)
    {
        beginfits<width>(lane, fits, V, threshold);
    }
    static void growlanes(fitstate<width>& lane, double threshold)
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
    TORVIK_AVX2 static void beginlanes(fitstate<width>& lane, const fitting* const* fits,
                                       const vectorcolumns& V, double threshold)
    {
        beginfits<width>(lane, fits, V, threshold);
    }
    TORVIK_AVX2 static void growlanes(fitstate<width>& lane, double threshold)
    {
        grow<width>(lane, threshold);
    }
};

struct withavx512 {
    static constexpr int width = 8;
    TORVIK_AVX512 static void scanlanes(fitlanes<width>& lane, const vectorcolumns& V)
    {
        scan_avx512(lane, V);
    }
    TORVIK_AVX512 static void beginlanes(fitstate<width>& lane, const fitting* const* fits,
                                         const vectorcolumns& V, double threshold)
    {
        beginfits<width>(lane, fits, V, threshold);
    }
    TORVIK_AVX512 static void growlanes(fitstate<width>& lane, double threshold)
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

// The next fits, begun, as many as there are lanes or fewer.
template <int width>
struct begunfits {
    fitstate<width> lane;
    int first = 0; // number of the first of them
    int count = 0;
    int next = 0; // number of the first that has no lane yet
};

template <class Kind>
void beginnext(begunfits<Kind::width>& begun, const std::vector<fitting>& fits,
               const fitconditions& given)
{
    begun.first += begun.count;
    begun.count = std::min(Kind::width, static_cast<int>(fits.size()) - begun.first);
    const fitting* places[Kind::width];
    for (int k = 0; k < Kind::width; ++k)
        places[k] = fits.data() + begun.first + std::min(k, begun.count - 1);
    Kind::beginlanes(begun.lane, places, given.V, given.threshold);
}

template <int width>
void copylane(const fitstate<width>& from, int j, fitstate<width>& lane, int k)
{
    for (int e = 0; e < 9; ++e) {
        lane.R[e][k] = from.R[e][j];
        lane.G[e][k] = from.G[e][j];
        lane.P[e][k] = from.P[e][j];
    }
    for (int e = 0; e < 6; ++e) lane.Q[e][k] = from.Q[e][j];
    lane.smallestregular[k] = from.smallestregular[j];
    lane.largestsingular[k] = from.largestsingular[j];
}

// Lays the next begun fit into a lane, unless it is done then.
template <int width>
void begin(fitlanes<width>& lane, int k, const begunfits<width>& begun, fitting& fit,
           const fitconditions& given)
{
    const int j = begun.next - begun.first;
    fit.status = begun.lane.singular[j] != 0 ? failed : done;
    if (fit.status == failed || given.V.n <= 3) {
        fit.seen = {begun.lane.smallestregular[j], begun.lane.largestsingular[j]};
        return;
    }
    if (!(begun.lane.size[j] * given.V.largest < safeindex)) {
        fitalone(fit, given);
        return;
    }
    copylane<width>(begun.lane, j, lane, k);
    for (int i = 0; i < given.V.n; ++i) lane.penalty[i][k] = 0.0;
    for (const int taken : fit.start.element) lane.penalty[taken - 1][k] = infinite;
    lane.task[k] = begun.next;
    lane.passes[k] = 0;
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
    if (lane.unfitted[k] != 0) {
        finish(lane, k, fit, failed);
        return;
    }
    if (!(lane.size[k] * given.V.largest < safeindex)) {
        fitalone(fit, given);
        lane.task[k] = -1;
        return;
    }
    fit.status = lane.singular[k] != 0 ? failed : done;
    ++lane.passes[k];
    if (lane.passes[k] == given.V.n - 3) finish(lane, k, fit, fit.status);
}

template <int width>
void clearlanes(fitlanes<width>& lane, int n)
{
    static_cast<fitstate<width>&>(lane) = fitstate<width>{};
    for (int i = 0; i < n; ++i) lane.penalty[i] = typename side<width>::numbers{};
    for (int& task : lane.task) task = -1;
}

// Gives free lanes to the fits that follow, and says whether any lane has one.
template <class Kind>
bool filllanes(fitlanes<Kind::width>& lane, begunfits<Kind::width>& begun,
               std::vector<fitting>& fits, const fitconditions& given)
{
    const int count = static_cast<int>(fits.size());
    bool busy = false;
    for (int k = 0; k < Kind::width; ++k) {
        for (; lane.task[k] < 0 && begun.next < count; ++begun.next) {
            if (begun.next == begun.first + begun.count) beginnext<Kind>(begun, fits, given);
            begin(lane, k, begun, fits[static_cast<std::size_t>(begun.next)], given);
        }
        busy = busy || lane.task[k] >= 0;
    }
    return busy;
}

template <class Kind>
void fitinlanes(std::vector<fitting>& fits, const fitconditions& given)
{
    constexpr int width = Kind::width;
    const double tol = 1.15 * given.criterion;
    const auto fitof = [&](int task) -> fitting& { return fits[static_cast<std::size_t>(task)]; };
    fitlanes<width> lane;
    clearlanes(lane, given.V.n);
    begunfits<width> begun;
    while (filllanes<Kind>(lane, begun, fits, given)) {
        Kind::scanlanes(lane, given.V);
        for (int k = 0; k < width; ++k)
            if (lane.task[k] >= 0) takebest(lane, k, fitof(lane.task[k]), given, tol);
        Kind::growlanes(lane, given.threshold);
        for (int k = 0; k < width; ++k)
            if (lane.task[k] >= 0) endpass(lane, k, fitof(lane.task[k]), given);
    }
}

} // namespace

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
