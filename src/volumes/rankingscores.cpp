#include "volumes/rankingscores.h"

#include "numeric/lanes.h"

#include <algorithm>
#include <cmath>
#include <limits>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace torvik {

namespace {

constexpr int wholeturn = curvepoints - 1; // the step of a phase that was rounded up to 1: as 0

// With fewer vectors the sums themselves are quicker than the whole weights are made.
constexpr int leastvectors = 8;

// Beyond these the sums could overflow or lose bits.
constexpr double smallestweight = 1e-200, largestweight = 1e200;

// Gives the weight of a step, 0..511.
double weightof(const rankingcurve& curve, int step)
{
    return curve(step == wholeturn ? 0 : step);
}

// Evaluates a triple for each of its vectors, and puts that in the place of its weight.
void settle(const vector3& a, const trialcolumns& list, int j, int k, const phasegrid& grid,
            const wholeweights& weights, std::int32_t taken, pairsums& sums)
{
    const vector3 b = vectorat(list, j), c = vectorat(list, k);
    sums.own += weights.weight[definedstep(a, b, c, grid)] - taken;
    sums.of[j] += weights.weight[definedstep(b, a, c, grid)] - taken;
    sums.of[k] += weights.weight[definedstep(c, a, b, grid)] - taken;
}

void settlerow(const vector3& a, const trialcolumns& list, int j, const phaserows& rows,
               const phasegrid& grid, const wholeweights& weights, pairsums& sums,
               rankingdecisions& decisions)
{
    const std::uint32_t* const phase = rows.row(j);
    for (int k = 0; k < j; ++k) {
        if (!nearhalfway(phase[k], grid)) continue;
        settle(a, list, j, k, grid, weights, weights.weight[stepof(phase[k], grid)], sums);
        ++decisions.halfways;
    }
}

void addweights(const phaserows& rows, const phasegrid& grid, const wholeweights& weights,
                rowsums& sums)
{
    if (hasavx2())
        addweights_avx2(rows, grid, weights, sums);
    else
        addweights_anywhere(rows, grid, weights, sums);
}

} // namespace

wholeweights makewholeweights(const rankingcurve& curve, int N)
{
    wholeweights weights;
    double most = 0.0;
    weights.usable = N >= leastvectors;
    for (int i = 0; weights.usable && i < wholeturn; ++i) {
        weights.usable = 0.0 <= curve(i) && curve(i) <= largestweight;
        most = std::max(most, curve(i));
    }
    weights.usable = weights.usable && most >= smallestweight;
    if (!weights.usable) return weights;
    // The largest is below 2^exponent, and becomes no more than 2^31 / (N + 1).
    int exponent = 0, room = 0;
    std::frexp(most, &exponent);
    std::frexp(std::numeric_limits<std::int32_t>::max() / (N + 1), &room);
    const double unit = std::ldexp(1.0, room - 1 - exponent);
    for (int i = 0; i < wholeturn; ++i)
        weights.weight[i] = static_cast<std::int32_t>(curve(i) * unit + 0.5);
    weights.weight[wholeturn] = weights.weight[0];
    return weights;
}

void addweights_anywhere(const phaserows& rows, const phasegrid& grid, const wholeweights& weights,
                         rowsums& sums)
{
    for (int j = rows.first; j <= rows.last; ++j) {
        const std::uint32_t* const phase = rows.row(j);
        std::int32_t sum = 0;
        bool near = false;
        for (int k = 0; k < j; ++k) {
            const std::int32_t w = weights.weight[stepof(phase[k], grid)];
            sums.column[k] += w;
            sum += w;
            near |= nearhalfway(phase[k], grid);
        }
        sums.row[j] = sum;
        sums.near[j] = near;
    }
}

#if defined(__x86_64__)

namespace {

// Ones and zeros: eight words from place 8 - n on keep the first n.
alignas(32) constexpr std::int32_t keep[16] = {-1, -1, -1, -1, -1, -1, -1, -1};

TORVIK_AVX2 inline std::int32_t sumofeight(__m256i w)
{
    __m128i sum = _mm_add_epi32(_mm256_castsi256_si128(w), _mm256_extracti128_si256(w, 1));
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, 0x4e));
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, 0xb1));
    return _mm_cvtsi128_si32(sum);
}

} // namespace

TORVIK_AVX2 void addweights_avx2(const phaserows& rows, const phasegrid& grid,
                                 const wholeweights& weights, rowsums& sums)
{
    const __m128i bits = _mm_cvtsi32_si128(grid.bits);
    const __m256i mask = _mm256_set1_epi32((1 << grid.bits) - 1);
    const __m256i window = _mm256_set1_epi32(static_cast<int>(grid.window));
    for (int j = rows.first; j <= rows.last; ++j) {
        const std::uint32_t* const phase = rows.row(j);
        __m256i sum = _mm256_setzero_si256(), near = sum;
        for (int k = 0; k < j; k += atonce) {
            const __m256i p = _mm256_load_si256(reinterpret_cast<const __m256i*>(phase + k));
            near = _mm256_or_si256(near, _mm256_cmpgt_epi32(window, _mm256_and_si256(p, mask)));
            __m256i w = _mm256_i32gather_epi32(weights.weight, _mm256_srl_epi32(p, bits), 4);
            if (j - k < atonce)
                w = _mm256_and_si256(w, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(
                                            keep + atonce - (j - k))));
            auto* const column = reinterpret_cast<__m256i*>(sums.column + k);
            _mm256_store_si256(column, _mm256_add_epi32(_mm256_load_si256(column), w));
            sum = _mm256_add_epi32(sum, w);
        }
        sums.row[j] = sumofeight(sum);
        sums.near[j] = _mm256_testz_si256(near, near) == 0;
    }
}

#else

void addweights_avx2(const phaserows& rows, const phasegrid& grid, const wholeweights& weights,
                     rowsums& sums)
{
    addweights_anywhere(rows, grid, weights, sums);
}

#endif

void addpairs(const vector3& a, const trialcolumns& list, int n, const phasegrid& grid,
              const wholeweights& weights, pairsums& sums, rankingdecisions& decisions)
{
    sums.own = 0;
    std::fill(sums.of, sums.of + n, 0);
    phaserows rows;
    rowsums parts;
    std::fill(parts.column, parts.column + std::min(n + atonce, columnlength), 0);
    for (int last = n - 1; last >= 1; last = rows.first - 1) {
        computephaserows(a, list, grid, last, rows);
        addweights(rows, grid, weights, parts);
        for (int j = rows.first; j <= rows.last; ++j) {
            sums.own += parts.row[j];
            sums.of[j] += parts.row[j];
            if (parts.near[j]) settlerow(a, list, j, rows, grid, weights, sums, decisions);
        }
    }
    for (int k = 0; k < n; ++k) sums.of[k] += parts.column[k];
}

double definedsum(int candidate, const trialcolumns& list, const phasegrid& grid,
                  const rankingcurve& curve)
{
    // The list is numbered from its end: the first pairs are those of the last row.
    const vector3 c = vectorat(list, candidate);
    phaserows rows;
    double sum = 0.0;
    for (int last = list.n - 1; last >= 1; last = rows.first - 1) {
        computephaserows(c, list, grid, last, rows);
        for (int i = rows.last; i >= rows.first; --i) {
            if (i == candidate) continue;
            const std::uint32_t* const phase = rows.row(i);
            for (int j = i - 1; j >= 0; --j) {
                if (j == candidate) continue;
                const int step = nearhalfway(phase[j], grid)
                                     ? definedstep(c, vectorat(list, i), vectorat(list, j), grid)
                                     : stepof(phase[j], grid);
                sum += weightof(curve, step);
            }
        }
    }
    return sum;
}

std::int64_t tiewidth(std::int64_t lowest, int T)
{
    const std::int64_t m = static_cast<std::int64_t>(T - 1) * (T - 2) / 2;
    const double rounding = std::ldexp(static_cast<double>(m) * static_cast<double>(lowest), -51);
    return m + 2 + static_cast<std::int64_t>(rounding);
}

} // namespace torvik
