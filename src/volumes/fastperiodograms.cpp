#include "volumes/fastperiodograms.h"

#include "numeric/constants.h"
#include "numeric/kernel.h"
#include "volumes/evenspacing.h"
#include "volumes/lanesines.h"
#include "volumes/nonuniformtransform.h"
#include "volumes/plainsums.h"
#include "volumes/wholephases.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace torvik {

namespace {

constexpr double unit = 0x1p-53;
constexpr double unbounded = std::numeric_limits<double>::infinity();

// What all sums share.
struct sumofall {
    double n;       // triples
    double W;       // sum of the frequencies, rounded up
    double largest; // frequency
};

sumofall addup(const tripleproducts& products)
{
    sumofall all = {static_cast<double>(products.number), 0.0, products.largest * twopi};
    foreachbatch(products, [&](const double* t, int count) {
        double W = 0.0;
        for (int e = 0; e < count; ++e) W += t[e] * twopi;
        all.W += W;
    });
    all.W *= 1.0 + 0x1p-20; // the roundings of these sums are far below
    return all;
}

// Gives the number of grid points with the least cost: a wave takes 20 ns and a grid point 0.05 ns
// times the root of their number, as caches go.
int bestnumberofpoints(double triples, std::size_t periods)
{
    int best = 0;
    double least = unbounded;
    for (int points = 256; points <= 1 << 20; points *= 2) {
        const double blocks = std::ceil(2.0 * static_cast<double>(periods) / points);
        const double cost = blocks * (20.0 * triples + 0.05 * points * std::sqrt(points));
        if (cost < least) {
            least = cost;
            best = points;
        }
    }
    return best;
}

// Gives F(k) with the bound B, for the phase times 1 or 2.
boundedsum sumat(const wavegrid& grid, const evenspacing& block, const sumofall& all, int k,
                 double times, double roundings)
{
    const fieldvalue F = fieldat(grid, k, roundings);
    const double addition = 1.4143 * unit * all.n * (2.0 + 0.5 * (all.n + 1.0));
    const double B = all.n * F.waveerror + times * all.W * block.error + addition;
    return {F.im, F.re, B * (1.0 + 0x1p-20)};
}

interval scarglebounds(const boundedsum& F1, const boundedsum& F2, double n, double W,
                       double largestinverse)
{
    const double square = F1.C * F1.C + F1.S * F1.S;
    const double length1 = std::sqrt(square);
    const double length2 = std::sqrt(F2.C * F2.C + F2.S * F2.S);
    const double B1 = F1.bound + 3.0 * unit * (W * largestinverse + 2.0 * n);
    const double B2 = F2.bound + 16.0 * unit * n;
    const double E = 2.0 * (B1 + B2);
    const double m = 0.5 * (n - length2) - E;
    if (!(m > E)) return {-unbounded, unbounded};
    const double squared = (F1.C * F1.C - F1.S * F1.S) * F2.C + 2.0 * F1.C * F1.S * F2.S;
    const double numerator = n * square - squared;
    const double slack = square * (2.0 * B2 + 16.0 * unit * n);
    const double shortest = length2 - 4.0 * unit * n;
    const double longest = length2 + 4.0 * unit * n;
    const double least = 2.0 * (numerator - slack) / ((n - shortest) * (n + shortest) + B2 * B2);
    const double most = 2.0 * (numerator + slack) / ((n - longest) * (n + longest));
    const double change = 2.0 * (2.0 * length1 * B1 + B1 * B1 + most * E) / m;
    return {std::max(0.0, least - change) / n * (1.0 - 16.0 * unit),
            (most + change) / n * (1.0 + 16.0 * unit)};
}

interval productof(const interval& x, const interval& y)
{
    const double a = x.least * y.least;
    const double b = x.least * y.most;
    const double c = x.most * y.least;
    const double d = x.most * y.most;
    if (std::isnan(a + b + c + d)) return {-unbounded, unbounded};
    return {std::min(std::min(a, b), std::min(c, d)), std::max(std::max(a, b), std::max(c, d))};
}

// Gives the b of nonuniformtransform.h.
double placestep(double s, int points)
{
    return s * points / (2.0 * truepi);
}

// Puts the waves of all triples on the grid, with their phase times 1 or 2, and transforms it.
double fillgrid(const tripleproducts& products, const evenspacing& block, double times,
                wavegrid& grid)
{
    cleargrid(grid);
    const double b = placestep(block.s, grid.points);
    std::vector<double> w(triplesatonce);
    foreachbatch(products, [&](const double* t, int count) {
        for (int e = 0; e < count; ++e) w[static_cast<std::size_t>(e)] = times * (t[e] * twopi);
        addwaves(grid, w.data(), count, block.a, b);
    });
    return transformgrid(grid);
}

// What the bounds of a block are computed from.
struct transformedblock {
    evenspacing block;
    wavegrid single, twice;
    double roundings, roundingstwice;
};

void resize(periodogrambounds& bounds, std::size_t periods)
{
    bounds.least.resize(periods);
    bounds.most.resize(periods);
}

interval halved(const interval& x)
{
    return {0.5 * x.least, 0.5 * x.most};
}

// The bounds of one period.
struct valueandangle {
    interval value, angle;
};

valueandangle boundsat(const transformedblock& sums, const sumofall& all, int kind, std::size_t i,
                       bool anglewanted)
{
    const evenspacing& block = sums.block;
    const int k = static_cast<int>(i) - middleof(block);
    const boundedsum F1 = sumat(sums.single, block, all, k, 1.0, sums.roundings);
    const interval first = rayleighbounds(F1, wrappedsquare(static_cast<int>(all.n)));
    if (kind == rayleigh) return {first, anglewanted ? anglebounds(F1) : interval{}};
    const boundedsum F2 = sumat(sums.twice, block, all, k, 2.0, sums.roundingstwice);
    const interval second = scarglebounds(F1, F2, all.n, all.W, block.largestinverse);
    if (kind == rayleighxscargle) return {productof(first, second), {}};
    return {second, anglewanted ? halved(anglebounds(F2)) : interval{}};
}

// Says whether all numbers are such that nothing overflows, and the places on the grid are exact.
bool inrange(const sumofall& all, const double* P, std::size_t periods, double b)
{
    const auto tame = [](double x) { return x > 0x1p-500 && x < 0x1p500; };
    return std::all_of(P, P + periods, tame) && tame(all.W) && all.largest * std::fabs(b) < 0x1p49;
}

} // namespace

interval rayleighbounds(const boundedsum& F, double D)
{
    const double length = std::sqrt(F.C * F.C + F.S * F.S);
    const double shortest = std::max(0.0, length - F.bound - 4.0 * unit * length);
    const double longest = length + F.bound + 4.0 * unit * length;
    const double a = shortest * shortest * (1.0 - 8.0 * unit) / D;
    const double b = longest * longest * (1.0 + 8.0 * unit) / D;
    if (std::isnan(a + b)) return {-unbounded, unbounded};
    return {std::min(a, b), std::max(a, b)};
}

interval anglebounds(const boundedsum& F)
{
    const double length = std::sqrt(F.S * F.S + F.C * F.C);
    if (!(F.bound < 0.9 * length)) return {-unbounded, unbounded};
    // The arc sine is below pi/2 times its argument.
    const double change = 1.6 * F.bound / length + 32.0 * unit;
    const double angle = std::atan2(F.S, F.C);
    if (!(std::fabs(angle) + change < truepi)) return {-unbounded, unbounded};
    return {(angle - change) * 180.0 / pisingle, (angle + change) * 180.0 / pisingle};
}

void multiply(periodogrambounds& bounds, const periodogrambounds& others)
{
    for (std::size_t i = 0; i < bounds.least.size(); ++i)
        setbounds(bounds, i,
                  productof({bounds.least[i], bounds.most[i]}, {others.least[i], others.most[i]}));
}

void boundperiodogram(const tripleproducts& products, int kind, const double* P,
                      std::size_t periods, periodogrambounds& bounds, int& status,
                      periodogrambounds* angles)
{
    resize(bounds, periods);
    if (angles != nullptr) resize(*angles, periods);
    if (kind == folding) {
        boundfolding(products, P, periods, bounds.least.data(), bounds.most.data(), status);
        return;
    }
    // 1. The size of a block, and the even spacing.
    const sumofall all = addup(products);
    const int points = bestnumberofpoints(all.n, periods);
    const double s = stepofinverse(P, periods);
    status = inrange(all, P, periods, placestep(s, points)) ? done : failed;
    if (status == failed) return;
    // 2. Block by block.
    const bool both = kind != rayleigh;
    transformedblock sums = {{}, newwavegrid(points), newwavegrid(both ? points : 256), 0.0, 0.0};
    const auto length = static_cast<std::size_t>(points / 2);
    for (std::size_t first = 0; first < periods; first += length) {
        sums.block = measured(first, std::min(first + length, periods) - 1, P, s);
        sums.roundings = fillgrid(products, sums.block, 1.0, sums.single);
        if (both) sums.roundingstwice = fillgrid(products, sums.block, 2.0, sums.twice);
        for (std::size_t i = first; i <= sums.block.last; ++i) {
            const valueandangle found = boundsat(sums, all, kind, i, angles != nullptr);
            setbounds(bounds, i, found.value);
            if (angles != nullptr) setbounds(*angles, i, found.angle);
        }
    }
}

} // namespace torvik
