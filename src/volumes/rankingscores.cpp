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

using fourintegers [[gnu::vector_size(16)]] = std::int32_t;

// With fewer vectors the sums themselves are quicker than the whole weights are made.
constexpr int leastvectors = 8;

// Beyond these the sums could overflow or lose bits.
constexpr double smallestweight = 1e-200;
constexpr double largestweight = 1e200;

// Calls visit(i) for fours of points of the curve, from i on, that cover all but the last point.
template <class Visit>
TORVIK_INLINED void foreachfour(Visit visit)
{
    for (int i = 0; i < wholeturn - lanecount; i += lanecount) visit(i);
    visit(wholeturn - lanecount);
}

// Gives the largest weight of a curve; 0 if one of them is negative, too large or no number.
double largestoftame(const rankingcurve& curve)
{
    double most[lanecount] = {}; // four at work, since each waits for the one before
    bool tame = true;
    foreachfour([&](int i) {
        for (int l = 0; l < lanecount; ++l) {
            const double w = curve(i + l);
            tame = tame && w >= 0.0 && w <= largestweight;
            most[l] = std::max(most[l], w);
        }
    });
    return tame ? *std::max_element(most, most + lanecount) : 0.0;
}

// Gives the weight of a step, 0..511.
double weightof(const rankingcurve& curve, int step)
{
    return curve(step == wholeturn ? 0 : step);
}

// Evaluates a triple for each of its vectors, and puts that in the place of its weight.
void settle(const vector3& a, const trialcolumns& list, int j, int k, const phasegrid& grid,
            const wholeweights& weights, std::int32_t taken, pairsums& sums)
{
    const vector3 b = vectorat(list, j);
    const vector3 c = vectorat(list, k);
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
    const double most = N >= leastvectors ? largestoftame(curve) : 0.0;
    weights.usable = most >= smallestweight;
    if (!weights.usable) return weights;
    // The largest is below 2^exponent, and becomes no more than 2^31 / (N + 1).
    int exponent = 0;
    int room = 0;
    std::frexp(most, &exponent);
    std::frexp(std::numeric_limits<std::int32_t>::max() / (N + 1), &room);
    const double unit = std::ldexp(1.0, room - 1 - exponent);
    foreachfour([&](int i) {
        const lanes units = fourfrom(curve.element + i) * unit + 0.5;
        const auto whole = __builtin_convertvector(units, fourintegers);
        std::memcpy(weights.weight + i, &whole, sizeof whole);
    });
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

using eightintegers [[gnu::vector_size(32)]] = std::int32_t;
using eightwords [[gnu::vector_size(32)]] = std::uint32_t;

// Eight of them from place 8 - n on keep the first n of eight words.
alignas(32) constexpr std::int32_t keep[16] = {-1, -1, -1, -1, -1, -1, -1, -1};

template <class Eight>
TORVIK_AVX2 inline Eight eightfrom(const void* place)
{
    Eight x;
    std::memcpy(&x, place, sizeof x);
    return x;
}

TORVIK_AVX2 inline eightintegers lookup(const std::int32_t* weight, const eightwords& step)
{
    return reinterpret_cast<eightintegers>(
        _mm256_i32gather_epi32(weight, reinterpret_cast<__m256i>(step), 4));
}

TORVIK_AVX2 inline std::int32_t sumof(const eightintegers& w)
{
    const eightintegers four = w + __builtin_shufflevector(w, w, 4, 5, 6, 7, 0, 1, 2, 3);
    const eightintegers two = four + __builtin_shufflevector(four, four, 2, 3, 0, 1, 6, 7, 4, 5);
    return two[0] + two[1];
}

} // namespace

TORVIK_AVX2 void addweights_avx2(const phaserows& rows, const phasegrid& grid,
                                 const wholeweights& weights, rowsums& sums)
{
    const std::uint32_t mask = (1U << grid.bits) - 1;
    for (int j = rows.first; j <= rows.last; ++j) {
        const std::uint32_t* const phase = rows.row(j);
        eightintegers sum = {};
        eightintegers near = {};
        for (int k = 0; k < j; k += atonce) {
            const auto p = eightfrom<eightwords>(phase + k);
            near |= (p & mask) < grid.window;
            eightintegers w = lookup(weights.weight, p >> grid.bits);
            if (j - k < atonce) w &= eightfrom<eightintegers>(keep + atonce - (j - k));
            const eightintegers column = eightfrom<eightintegers>(sums.column + k) + w;
            std::memcpy(sums.column + k, &column, sizeof column);
            sum += w;
        }
        sums.row[j] = sumof(sum);
        sums.near[j] = sumof(near) != 0;
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
