#include "search/scanning.h"

#include "numeric/constants.h"
#include "numeric/intrinsics.h"
#include "search/quality.h"

#include <bit>
#include <limits>

namespace torvik {

namespace {

// A basis with each element in all lanes, by the component that it multiplies.
struct basislanes {
    lanes x[3], y[3], z[3];
};

TORVIK_INLINED basislanes rowsaslanes(const matrix3& D)
{
    return {{fourof(D(1, 1)), fourof(D(2, 1)), fourof(D(3, 1))},
            {fourof(D(1, 2)), fourof(D(2, 2)), fourof(D(3, 2))},
            {fourof(D(1, 3)), fourof(D(2, 3)), fourof(D(3, 3))}};
}

TORVIK_INLINED basislanes columnsaslanes(const matrix3& G)
{
    return {{fourof(G(1, 1)), fourof(G(1, 2)), fourof(G(1, 3))},
            {fourof(G(2, 1)), fourof(G(2, 2)), fourof(G(2, 3))},
            {fourof(G(3, 1)), fourof(G(3, 2)), fourof(G(3, 3))}};
}

// The largest of three, as std::max takes it.
TORVIK_INLINED lanes largestof(const lanes& a, const lanes& b, const lanes& c)
{
    const lanes ab = a < b ? b : a;
    return ab < c ? c : ab;
}

TORVIK_INLINED lanes indexalong(int j, const basislanes& B, const lanes& x, const lanes& y,
                                const lanes& z)
{
    return x * B.x[j] + y * B.y[j] + z * B.z[j];
}

// The four indices of a column, and how far they are from whole ones.
TORVIK_INLINED lanes qualityfrom(const lanes& a, const lanes& b, const lanes& c)
{
    return largestof(magnitude(a - nearestwhole(a)), magnitude(b - nearestwhole(b)),
                     magnitude(c - nearestwhole(c)));
}

TORVIK_INLINED int findbest(const vectorcolumns& V, const exclusions& excluded, const matrix3& G,
                            double tol)
{
    const basislanes B = columnsaslanes(G);
    lanes lowest = fourof(largestdouble);
    wholelanes best = {0, 0, 0, 0};
    wholelanes number = {1, 2, 3, 4};
    for (int i = 0; i < V.n; i += lanecount) {
        const lanes x = fourfrom(V.x + i);
        const lanes y = fourfrom(V.y + i);
        const lanes z = fourfrom(V.z + i);
        const lanes q = qualityfrom(indexalong(0, B, x, y, z), indexalong(1, B, x, y, z),
                                    indexalong(2, B, x, y, z))
                        + fourfrom(excluded.penalty + i);
        const auto better = q < lowest;
        lowest = better ? q : lowest;
        best = better ? number : best;
        number += lanecount;
    }
    // Each lane holds its first lowest quality; the first of equals among them is the lowest number.
    double q = lowest[0];
    auto found = best[0];
    for (int k = 1; k < lanecount; ++k) {
        const bool same = lowest[k] == q && best[k] < found;
        if (!(lowest[k] < q) && !same) continue;
        q = lowest[k];
        found = best[k];
    }
    return q > tol ? 0 : static_cast<int>(found);
}

int findbest_anywhere(const vectorcolumns& V, const exclusions& excluded, const matrix3& G,
                      double tol)
{
    return findbest(V, excluded, G, tol);
}

TORVIK_AVX2 int findbest_avx2(const vectorcolumns& V, const exclusions& excluded, const matrix3& G,
                              double tol)
{
    return findbest(V, excluded, G, tol);
}

TORVIK_INLINED indexcounts count(const vectorcolumns& V, const matrix3& D, double c, int largest)
{
    const basislanes B = rowsaslanes(D);
    const double half = 0.5 * c;
    const double limit = largest;
    wholelanes within = {0, 0, 0, 0};
    wholelanes withinhalf = {0, 0, 0, 0};
    wholelanes number = {1, 2, 3, 4};
    for (int i = 0; i < V.n; i += lanecount) {
        const lanes x = fourfrom(V.x + i);
        const lanes y = fourfrom(V.y + i);
        const lanes z = fourfrom(V.z + i);
        const lanes a = indexalong(0, B, x, y, z);
        const lanes b = indexalong(1, B, x, y, z);
        const lanes e = indexalong(2, B, x, y, z);
        const lanes wa = nearestwhole(a);
        const lanes wb = nearestwhole(b);
        const lanes we = nearestwhole(e);
        const lanes q = largestof(magnitude(a - wa), magnitude(b - wb), magnitude(e - we));
        const auto counted =
            (largestof(magnitude(wa), magnitude(wb), magnitude(we)) <= limit) & (number <= V.n);
        within -= counted & (q <= c);
        withinhalf -= counted & (q <= half);
        number += lanecount;
    }
    return {static_cast<int>(withinhalf[0] + withinhalf[1] + withinhalf[2] + withinhalf[3]),
            static_cast<int>(within[0] + within[1] + within[2] + within[3])};
}

TORVIK_INLINED void roundcounted(const vectorcolumns& V, const matrix3& D, double c, int largest,
                                 wholeindices& indices)
{
    const basislanes B = rowsaslanes(D);
    const double limit = largest;
    wholelanes units[3] = {};
    for (int i = 0; i < V.n; i += lanecount) {
        const lanes x = fourfrom(V.x + i);
        const lanes y = fourfrom(V.y + i);
        const lanes z = fourfrom(V.z + i);
        lanes index[3];
        lanes whole[3];
        for (int j = 0; j < 3; ++j) {
            index[j] = indexalong(j, B, x, y, z);
            whole[j] = nearestwhole(index[j]);
        }
        const lanes q = largestof(magnitude(index[0] - whole[0]), magnitude(index[1] - whole[1]),
                                  magnitude(index[2] - whole[2]));
        const auto counted =
            (largestof(magnitude(whole[0]), magnitude(whole[1]), magnitude(whole[2])) <= limit)
            & (q <= c);
        for (int j = 0; j < 3; ++j) {
            const lanes kept = counted ? whole[j] : lanes{};
            units[j] |= magnitude(kept) == 1.0;
            putfour(indices.h[j] + i, kept);
        }
    }
    for (int j = 0; j < 3; ++j) indices.unit[j] = unionof<lanecount>(units[j]) != 0;
}

void roundcounted_anywhere(const vectorcolumns& V, const matrix3& D, double c, int largest,
                           wholeindices& indices)
{
    roundcounted(V, D, c, largest, indices);
}

TORVIK_AVX2 void roundcounted_avx2(const vectorcolumns& V, const matrix3& D, double c, int largest,
                                   wholeindices& indices)
{
    roundcounted(V, D, c, largest, indices);
}

void roundcountedonebyone(const vectorcolumns& V, const matrix3& D, double c, int largest,
                          wholeindices& indices)
{
    for (bool& unit : indices.unit) unit = false;
    for (int k = 1; k <= V.n; ++k) {
        const vector3 x = transformed(D, vectorof(V, k));
        const bool counted = largestindex(x) <= largest && reflexquality222(x) <= c;
        for (int j = 1; j <= 3; ++j) {
            const int index = counted ? nint(x(j)) : 0;
            indices.h[j - 1][k - 1] = index;
            if (index == 1 || index == -1) indices.unit[j - 1] = true;
        }
    }
}

indexcounts count_anywhere(const vectorcolumns& V, const matrix3& D, double c, int largest)
{
    return count(V, D, c, largest);
}

TORVIK_AVX2 indexcounts count_avx2(const vectorcolumns& V, const matrix3& D, double c, int largest)
{
    return count(V, D, c, largest);
}

#if defined(__x86_64__)
// Eight vectors under a direct basis: their whole indices, how far off they are, and which have small
// ones. One instruction gives the larger |x| of two.
struct eightindexed {
    __m512d whole[3];
    __m512d off;
    __mmask8 counted;
};

TORVIK_AVX512 inline eightindexed indexeight(const vectorcolumns& V, int i, const matrix3& D,
                                             double largest)
{
    const int left = V.n - i;
    const auto here = static_cast<__mmask8>(left < 8 ? (1 << left) - 1 : 0xff);
    const __m512d x = _mm512_maskz_loadu_pd(here, V.x + i);
    const __m512d y = _mm512_maskz_loadu_pd(here, V.y + i);
    const __m512d z = _mm512_maskz_loadu_pd(here, V.z + i);
    const auto& B = D.element;
    const __m512d a = x * B[0][0] + y * B[0][1] + z * B[0][2];
    const __m512d b = x * B[1][0] + y * B[1][1] + z * B[1][2];
    const __m512d c = x * B[2][0] + y * B[2][1] + z * B[2][2];
    eightindexed found;
    found.whole[0] = _mm512_roundscale_pd(a, tonearest);
    found.whole[1] = _mm512_roundscale_pd(b, tonearest);
    found.whole[2] = _mm512_roundscale_pd(c, tonearest);
    const __m512d ab = _mm512_range_pd(a - found.whole[0], b - found.whole[1], largermagnitude);
    found.off = _mm512_range_pd(ab, c - found.whole[2], largermagnitude);
    const __m512d highest =
        _mm512_range_pd(_mm512_range_pd(found.whole[0], found.whole[1], largermagnitude),
                        found.whole[2], largermagnitude);
    found.counted = _mm512_mask_cmp_pd_mask(here, highest, _mm512_set1_pd(largest), _CMP_LE_OQ);
    return found;
}

// Gives which of them are no further off.
TORVIK_AVX512 inline __mmask8 countedwithin(const eightindexed& found, double c)
{
    return _mm512_mask_cmp_pd_mask(found.counted, found.off, _mm512_set1_pd(c), _CMP_LE_OQ);
}

TORVIK_AVX512 indexcounts count_avx512(const vectorcolumns& V, const matrix3& D, double c,
                                       int largest)
{
    indexcounts counts;
    for (int i = 0; i < V.n; i += 8) {
        const eightindexed found = indexeight(V, i, D, largest);
        counts.h += std::popcount(static_cast<unsigned>(countedwithin(found, 0.5 * c)));
        counts.H += std::popcount(static_cast<unsigned>(countedwithin(found, c)));
    }
    return counts;
}

TORVIK_AVX512 void roundcounted_avx512(const vectorcolumns& V, const matrix3& D, double c,
                                       int largest, wholeindices& indices)
{
    static_assert(maxcolumn % 8 == 0);
    const __m512d one = _mm512_set1_pd(1.0);
    unsigned units[3] = {};
    for (int i = 0; i < V.n; i += 8) {
        const eightindexed found = indexeight(V, i, D, largest);
        const __mmask8 kept = countedwithin(found, c);
        for (int j = 0; j < 3; ++j) {
            const __m512d index = _mm512_maskz_mov_pd(kept, found.whole[j]);
            units[j] |= _mm512_cmp_pd_mask(_mm512_abs_pd(index), one, _CMP_EQ_OQ);
            _mm512_storeu_pd(indices.h[j] + i, index);
        }
    }
    for (int j = 0; j < 3; ++j) indices.unit[j] = units[j] != 0;
}
#else
indexcounts count_avx512(const vectorcolumns& V, const matrix3& D, double c, int largest)
{
    return count(V, D, c, largest);
}

void roundcounted_avx512(const vectorcolumns& V, const matrix3& D, double c, int largest,
                         wholeindices& indices)
{
    roundcounted(V, D, c, largest, indices);
}
#endif

int findbestonebyone(const vectorcolumns& V, const exclusions& excluded, const matrix3& G,
                     double tol)
{
    int best = 0;
    double lowest = largestdouble;
    for (int i = 1; i <= V.n; ++i) {
        if (excluded.penalty[i - 1] != 0.0) continue;
        const double q = reflexquality222(indicesunder(G, vectorof(V, i)));
        if (!(q < lowest)) continue;
        lowest = q;
        best = i;
    }
    return lowest > tol ? 0 : best;
}

indexcounts countonebyone(const vectorcolumns& V, const matrix3& D, double c, int largest)
{
    indexcounts counts;
    for (int k = 1; k <= V.n; ++k) {
        const vector3 x = transformed(D, vectorof(V, k));
        if (largestindex(x) > largest) continue;
        const double q = reflexquality222(x);
        if (q <= 0.5 * c) ++counts.h; // Deliberate: both limits count here, not in the report
        if (q <= c) ++counts.H;
    }
    return counts;
}

} // namespace

bool surelysmall(const vectorcolumns& V, const matrix3& M)
{
    double sum = 0.0;
    for (const auto& row : M.element)
        for (const double element : row) sum += std::fabs(element);
    return sum * V.largest < safeindex;
}

void excludenone(exclusions& excluded, int n)
{
    for (int i = 0; i < paddedlength(n); ++i)
        excluded.penalty[i] = i < n ? 0.0 : std::numeric_limits<double>::infinity();
}

void exclude(exclusions& excluded, int i)
{
    excluded.penalty[i - 1] = std::numeric_limits<double>::infinity();
}

int bestindexed(const vectorcolumns& V, const exclusions& excluded, const matrix3& G, double tol)
{
    if (!surelysmall(V, G)) return findbestonebyone(V, excluded, G, tol);
    return hasavx2() ? findbest_avx2(V, excluded, G, tol) : findbest_anywhere(V, excluded, G, tol);
}

indexcounts countindexed(const vectorcolumns& V, const matrix3& D, double c, int largest)
{
    return countindexedin(bestlanes(), V, D, c, largest);
}

indexcounts countindexedin(int whichlanes, const vectorcolumns& V, const matrix3& D, double c,
                           int largest)
{
    // From a half on, a tolerance would tell the two ways of rounding apart.
    if (!surelysmall(V, D) || !(c < 0.5)) return countonebyone(V, D, c, largest);
    if (whichlanes == lanesofavx512) return count_avx512(V, D, c, largest);
    if (whichlanes == lanesofavx2) return count_avx2(V, D, c, largest);
    return count_anywhere(V, D, c, largest);
}

void indexwhole(const vectorcolumns& V, const matrix3& D, double c, int largest,
                wholeindices& indices)
{
    indexwholein(bestlanes(), V, D, c, largest, indices);
}

void indexwholein(int whichlanes, const vectorcolumns& V, const matrix3& D, double c, int largest,
                  wholeindices& indices)
{
    if (!surelysmall(V, D) || !(c < 0.5))
        roundcountedonebyone(V, D, c, largest, indices);
    else if (whichlanes == lanesofavx512)
        roundcounted_avx512(V, D, c, largest, indices);
    else if (whichlanes == lanesofavx2)
        roundcounted_avx2(V, D, c, largest, indices);
    else
        roundcounted_anywhere(V, D, c, largest, indices);
}

} // namespace torvik
