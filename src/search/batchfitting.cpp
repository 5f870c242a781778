#include "search/batchfitting.h"

#include "numeric/constants.h"
#include "numeric/intrinsics.h"
#include "search/scanning.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace torvik {

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr float infinitepenalty = std::numeric_limits<float>::infinity();

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

    numbers lowest;                                       // the qualities of the vectors found
    wholes best;                                          // and their numbers
    numbers passes;                                       // how many vectors were taken in
    wholes busy;                                          // mask: a fit is under way
    wholes ending;                                        // mask: and is at its end
    int task[width];                                      // number of the fit, or -1
    alignas(64) float penalty[maxreflections + 1][width]; // infinite for the vectors taken already
};

// The scan is done in single precision first. An index is a sum of three products of a component and
// an element of G, all rounded: with v = 2^-24, L the largest |component|, and S the sum of the
// |elements| of G, it is wrong by no more than 5.1 v L S, and so are its distance from the nearest whole
// number, which is exact, and the largest of three such distances. Taken is 6 v L S, and 1e-9 for what
// underflows. (L S is below 2e9, so nothing overflows as long as L is between 1e-20 and 1e20; otherwise
// nothing is known.) So the lowest quality tells if it is further than that from the tolerance; and if
// it is within, it tells the vector if no other is so near that both errors could turn them. Where it
// does not tell, in any lane, the scan in double precision follows.
constexpr double roughspread = 0x1.8p-22;
constexpr double roughrest = 1e-9;
constexpr double smallestlargest = 1e-20;

// The vectors in single precision, each component once for every lane, and a zero behind them.
struct roughcolumns {
    double spread;             // times S: how far indices may be off
    int scans = 0, unsure = 0; // how many were done, and how many of them did not tell
    alignas(64) float x[maxreflections + 1][8];
    alignas(64) float y[maxreflections + 1][8];
    alignas(64) float z[maxreflections + 1][8];
};

// What the fits have in common.
struct fitconditions {
    const vectorcolumns& V;
    double threshold;
    double criterion;
    double tol; // how far an index may be off
};

template <int width>
TORVIK_INLINED typename side<width>::numbers penaltiesof(const fitlanes<width>& lane, int i)
{
    // NOLINTNEXTLINE(modernize-use-using)
    typedef float singles __attribute__((vector_size(4 * width)));
    singles penalty;
    std::memcpy(&penalty, lane.penalty[i], sizeof penalty);
    return __builtin_convertvector(penalty, typename side<width>::numbers);
}

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
        const numbers q = (ab < dc ? dc : ab) + penaltiesof<width>(lane, i);
        const wholes number = wholes{} + (i + 1);
        best = q < lowest ? number : best;
        lowest = q < lowest ? q : lowest;
    }
    lane.lowest = lowest;
    lane.best = best;
}

// After the scan: what was found is taken next, unless it is too far off.
template <int width>
TORVIK_INLINED void takebest(fitlanes<width>& lane, const fitconditions& given)
{
    using numbers = typename side<width>::numbers;
    lane.ending = lane.busy & maskbelow(numbers{} + given.tol, lane.lowest);
    for (int k = 0; k < width; ++k) {
        const auto taken = std::max<std::int64_t>(lane.best[k] - 1, 0);
        lane.x[k] = given.V.x[taken];
        lane.y[k] = given.V.y[taken];
        lane.z[k] = given.V.z[taken];
        lane.penalty[taken][k] = infinitepenalty;
    }
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

// Takes a vector into the fit of each lane: sums, basis, inverse. It ends where that fails, where
// indices may become large, and with the last vector.
template <int width>
TORVIK_INLINED void grow(fitlanes<width>& lane, const fitconditions& given)
{
    using numbers = typename side<width>::numbers;
    addvectors<width>(lane);
    solve<width>(lane);
    invert<width>(lane, given.threshold);
    lane.passes = lane.passes + 1.0;
    const auto small = maskbelow(lane.size * given.V.largest, numbers{} + safeindex);
    const auto unfinished = maskbelow(lane.passes, numbers{} + (given.V.n - 3));
    lane.ending = lane.busy & (lane.unfitted | ~small | ~unfinished);
}

#if defined(__x86_64__)
// The scan with two instructions for what takes fourteen otherwise: one gives the distance from the
// nearest whole number, the other the larger |x| of two.
TORVIK_AVX512 void scan_avx512(fitlanes<8>& lane, const vectorcolumns& V)
{
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
        const __m512d q = _mm512_range_pd(ab, c, largermagnitude)
                          + _mm512_cvtps_pd(_mm256_loadu_ps(lane.penalty[i]));
        const __mmask8 better = _mm512_cmp_pd_mask(q, lowest, _CMP_LT_OQ);
        best = _mm512_mask_set1_epi64(best, better, i + 1);
        lowest = _mm512_mask_mov_pd(lowest, better, q);
    }
    _mm512_storeu_pd(&lane.lowest, lowest);
    _mm512_storeu_si512(&lane.best, best);
}

// The lowest qualities, two for each fit, with the numbers of their vectors, and the second lowest.
struct roughlowest {
    __m512 lowest, second;
    __m512i best;
};

// Looks for them in single precision: among the vectors 1, 3, 5 and so on in the lower half, among those
// that follow each of these in the upper one.
TORVIK_AVX512 inline roughlowest roughlylowest(const fitlanes<8>& lane, const roughcolumns& V,
                                               int n)
{
    __m512 G[9];
    for (int e = 0; e < 9; ++e)
        G[e] = _mm512_broadcast_f32x8(_mm512_cvtpd_ps(_mm512_loadu_pd(&lane.G[e])));
    const __m512 nothing = _mm512_set1_ps(std::numeric_limits<float>::max());
    roughlowest found = {nothing, nothing, _mm512_setzero_si512()};
    for (int i = 0; i < n; i += 2) {
        const __m512 x = _mm512_loadu_ps(V.x[i]);
        const __m512 y = _mm512_loadu_ps(V.y[i]);
        const __m512 z = _mm512_loadu_ps(V.z[i]);
        const __m512 a = _mm512_reduce_ps(x * G[0] + y * G[3] + z * G[6], tonearest);
        const __m512 b = _mm512_reduce_ps(x * G[1] + y * G[4] + z * G[7], tonearest);
        const __m512 c = _mm512_reduce_ps(x * G[2] + y * G[5] + z * G[8], tonearest);
        const __m512 ab = _mm512_range_ps(a, b, largermagnitude);
        const __m512 q = _mm512_range_ps(ab, c, largermagnitude) + _mm512_loadu_ps(lane.penalty[i]);
        const __mmask16 better = _mm512_cmp_ps_mask(q, found.lowest, _CMP_LT_OQ);
        found.best = _mm512_mask_set1_epi32(found.best, better, i + 1);
        const __m512 other = _mm512_range_ps(found.lowest, q, largermagnitude);
        found.second = _mm512_range_ps(found.second, other, smallermagnitude);
        found.lowest = _mm512_range_ps(found.lowest, q, smallermagnitude);
    }
    return found;
}

// Scans in single precision. Gives whether that tells, in each lane, the vector or the end of the fit.
TORVIK_AVX512 bool roughscan_avx512(fitlanes<8>& lane, const roughcolumns& V,
                                    const fitconditions& given)
{
    const roughlowest found = roughlylowest(lane, V, given.V.n);
    const __m256 lower = _mm512_castps512_ps256(found.lowest);
    const __m256 upper = _mm512_extractf32x8_ps(found.lowest, 1);
    const __m256 other = _mm256_range_ps(lower, upper, largermagnitude);
    const __m256 others =
        _mm256_range_ps(_mm512_castps512_ps256(found.second),
                        _mm512_extractf32x8_ps(found.second, 1), smallermagnitude);
    const __m512d second = _mm512_cvtps_pd(_mm256_range_ps(others, other, smallermagnitude));
    const __m512d lowest = _mm512_cvtps_pd(_mm256_range_ps(lower, upper, smallermagnitude));
    const __mmask8 inupper = _mm256_cmp_ps_mask(upper, lower, _CMP_LT_OQ);
    const __m256i best = _mm256_mask_mov_epi32(_mm512_castsi512_si256(found.best), inupper,
                                               _mm512_extracti32x8_epi32(found.best, 1));
    _mm512_storeu_pd(&lane.lowest, lowest);
    // Those in the upper half follow.
    _mm512_storeu_si512(&lane.best, _mm512_cvtepi32_epi64(best) - _mm512_movm_epi64(inupper));

    const __m512d off = _mm512_loadu_pd(&lane.size) * V.spread + roughrest;
    const __m512d tol = _mm512_set1_pd(given.tol);
    const int none = _mm512_cmp_pd_mask(lowest - off, tol, _CMP_GT_OQ);
    const int within = _mm512_cmp_pd_mask(lowest + off, tol, _CMP_LE_OQ);
    const int apart = _mm512_cmp_pd_mask(second - lowest, 2.0 * off, _CMP_GT_OQ);
    const int busy = _mm512_movepi64_mask(_mm512_loadu_si512(&lane.busy));
    return (busy & ~(none | (within & apart))) == 0;
}
#else
void scan_avx512(fitlanes<8>& lane, const vectorcolumns& V)
{
    scan<8>(lane, V);
}

bool roughscan_avx512(fitlanes<8>& /*lane*/, const roughcolumns& /*V*/,
                      const fitconditions& /*given*/)
{
    return false;
}
#endif

// Scans in single precision first, as long as that tells more often than not.
void scantwice_avx512(fitlanes<8>& lane, roughcolumns& V, const fitconditions& given)
{
    if (2 * V.unsure <= V.scans + 16) {
        ++V.scans;
        if (roughscan_avx512(lane, V, given)) return;
        ++V.unsure;
    }
    scan_avx512(lane, given.V);
}

struct anywhere {
    static constexpr int width = 4;
    static constexpr bool scansroughly = false;
    static void scanlanes(fitlanes<width>& lane, roughcolumns& /*V*/, const fitconditions& given)
    {
        scan<width>(lane, given.V);
        takebest<width>(lane, given);
    }
    static void beginlanes(fitstate<width>& lane, const fitting* const* fits,
                           const vectorcolumns& V, double threshold)
    {
        beginfits<width>(lane, fits, V, threshold);
    }
    static void growlanes(fitlanes<width>& lane, const fitconditions& given)
    {
        grow<width>(lane, given);
    }
};

struct withavx2 {
    static constexpr int width = 4;
    static constexpr bool scansroughly = false;
    TORVIK_AVX2 static void scanlanes(fitlanes<width>& lane, roughcolumns& /*V*/,
                                      const fitconditions& given)
    {
        scan<width>(lane, given.V);
        takebest<width>(lane, given);
    }
    TORVIK_AVX2 static void beginlanes(fitstate<width>& lane, const fitting* const* fits,
                                       const vectorcolumns& V, double threshold)
    {
        beginfits<width>(lane, fits, V, threshold);
    }
    TORVIK_AVX2 static void growlanes(fitlanes<width>& lane, const fitconditions& given)
    {
        grow<width>(lane, given);
    }
};

struct withavx512 {
    static constexpr int width = 8;
    static constexpr bool scansroughly = true;
    TORVIK_AVX512 static void scanlanes(fitlanes<width>& lane, roughcolumns& V,
                                        const fitconditions& given)
    {
        scantwice_avx512(lane, V, given);
        takebest<width>(lane, given);
    }
    TORVIK_AVX512 static void beginlanes(fitstate<width>& lane, const fitting* const* fits,
                                         const vectorcolumns& V, double threshold)
    {
        beginfits<width>(lane, fits, V, threshold);
    }
    TORVIK_AVX512 static void growlanes(fitlanes<width>& lane, const fitconditions& given)
    {
        grow<width>(lane, given);
    }
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
    lane.size[k] = from.size[j];
    lane.unfitted[k] = 0;
    lane.singular[k] = 0;
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
    for (int i = 0; i < given.V.n; ++i) lane.penalty[i][k] = 0.0F;
    for (const int taken : fit.start.element) lane.penalty[taken - 1][k] = infinitepenalty;
    lane.task[k] = begun.next;
    lane.busy[k] = -1;
    lane.passes[k] = 0.0;
}

template <int width>
void finish(const fitlanes<width>& lane, int k, fitting& fit)
{
    for (int e = 0; e < 9; ++e) fit.R.element[e / 3][e % 3] = lane.R[e][k];
    fit.seen.smallestregular = lane.smallestregular[k];
    fit.seen.largestsingular = lane.largestsingular[k];
    fit.status = lane.unfitted[k] != 0 || lane.singular[k] != 0 ? failed : done;
}

// Ends the fits that are at their end. Gives whether there are any.
template <int width>
bool endfits(fitlanes<width>& lane, std::vector<fitting>& fits, const fitconditions& given)
{
    if (unionof<width>(lane.ending) == 0) return false;
    for (int k = 0; k < width; ++k) {
        if (lane.ending[k] == 0) continue;
        fitting& fit = fits[static_cast<std::size_t>(lane.task[k])];
        if (lane.unfitted[k] == 0 && !(lane.size[k] * given.V.largest < safeindex))
            fitalone(fit, given);
        else
            finish(lane, k, fit);
        lane.task[k] = -1;
        lane.busy[k] = 0;
    }
    return true;
}

template <int width>
void clearlanes(fitlanes<width>& lane, int n)
{
    static_cast<fitstate<width>&>(lane) = fitstate<width>{};
    lane.passes = lane.size;
    lane.busy = lane.unfitted;
    for (int k = 0; k < width; ++k) {
        lane.task[k] = -1;
        for (int i = 0; i < n; ++i) lane.penalty[i][k] = 0.0F;
        lane.penalty[n][k] = infinitepenalty;
    }
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

void setrough(roughcolumns& rough, const vectorcolumns& V)
{
    rough.spread = smallestlargest < V.largest && V.largest < 1.0 / smallestlargest
                       ? roughspread * V.largest
                       : infinite;
    for (int i = 0; i <= V.n; ++i)
        for (int k = 0; k < 8; ++k) {
            rough.x[i][k] = i < V.n ? static_cast<float>(V.x[i]) : 0.0F;
            rough.y[i][k] = i < V.n ? static_cast<float>(V.y[i]) : 0.0F;
            rough.z[i][k] = i < V.n ? static_cast<float>(V.z[i]) : 0.0F;
        }
}

template <class Kind>
void fitinlanes(std::vector<fitting>& fits, const fitconditions& given)
{
    fitlanes<Kind::width> lane;
    clearlanes(lane, given.V.n);
    roughcolumns rough;
    if (Kind::scansroughly) setrough(rough, given.V);
    begunfits<Kind::width> begun;
    bool busy = filllanes<Kind>(lane, begun, fits, given);
    while (busy) {
        Kind::scanlanes(lane, rough, given);
        const bool endedbefore = endfits(lane, fits, given);
        Kind::growlanes(lane, given);
        const bool endedafter = endfits(lane, fits, given);
        if (endedbefore || endedafter) busy = filllanes<Kind>(lane, begun, fits, given);
    }
}

} // namespace

void sequentialfitsin(int whichlanes, std::vector<fitting>& fits, const vectorcolumns& V,
                      double threshold, double criterion)
{
    const fitconditions given = {V, threshold, criterion, 1.15 * criterion};
    // From a tolerance of a half on, an index may be a half, which lanes round in another way.
    if (!(given.tol < 0.5) || fits.size() < 3)
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
