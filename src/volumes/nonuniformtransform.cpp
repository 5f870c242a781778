#include "volumes/nonuniformtransform.h"

#include "numeric/lanes.h"
#include "volumes/lanesines.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace torvik {

namespace {

constexpr int reach = 16;           // grid points on either side of a wave
constexpr std::size_t margins = 32; // grid points beyond both ends, for waves near them
constexpr int stretch = 32; // grid points; the waves that meet in a point begin in two of them
constexpr double decay = 62.0;
constexpr double lambda = truepi * truepi / decay;

// The weights are exp(-lambda d^2) with d = +-(p + 1/2) - g for p = 0..15, where |g| <= 1/2 is the
// distance from the middle of two grid points: exp(-lambda (p + 1/2)^2) exp(-lambda g^2) e^+-(2p+1),
// e = exp(lambda g). Here are the first factors, for the upper side by p and for the lower by -p.
struct fixedweights {
    double upper[reach];
    double lower[reach];
};

fixedweights newfixedweights()
{
    fixedweights fixed;
    for (int p = 0; p < reach; ++p) {
        fixed.upper[p] = std::exp(-lambda * (p + 0.5) * (p + 0.5));
        fixed.lower[reach - 1 - p] = fixed.upper[p];
    }
    return fixed;
}

// Gives exp(z) for |z| < 0.09: z^10/10! is below 10^-17.
TORVIK_INLINED lanes smallexponential(const lanes& z)
{
    lanes e = fourof(1.0 / 362880.0);
    e = e * z + fourof(1.0 / 40320.0);
    e = e * z + fourof(1.0 / 5040.0);
    e = e * z + fourof(1.0 / 720.0);
    e = e * z + fourof(1.0 / 120.0);
    e = e * z + fourof(1.0 / 24.0);
    e = e * z + fourof(1.0 / 6.0);
    e = e * z + fourof(0.5);
    e = e * z + fourof(1.0);
    return e * z + fourof(1.0);
}

// Four waves, ready to be spread.
struct fourwaves {
    double re[lanecount], im[lanecount];         // strengths, with exp(-lambda g^2)
    std::int64_t place[lanecount];               // the grid point below the wave
    double up[5][lanecount], down[5][lanecount]; // e^1, e^3, e^5, e^7, e^8, and the same of 1/e
};

TORVIK_INLINED void setpowers(const lanes& e, double power[5][lanecount])
{
    const lanes e2 = e * e;
    const lanes e4 = e2 * e2;
    putfour(power[0], e);
    putfour(power[1], e2 * e);
    putfour(power[2], e4 * e);
    putfour(power[3], (e4 * e2) * e);
    putfour(power[4], e4 * e4);
}

TORVIK_INLINED void prepare(const lanes& w, const lanesines& strength, double b, fourwaves& four)
{
    const lanes x = w * fourof(b);
    wholelanes place;
    const lanes below = nearestlanes(x - fourof(0.5), place);
    const lanes g = (x - below) - fourof(0.5);
    const lanes faded = smallexponential(fourof(-lambda) * (g * g));
    putfour(four.re, strength.cosine * faded);
    putfour(four.im, strength.sine * faded);
    std::memcpy(four.place, &place, sizeof place);
    const lanes z = fourof(lambda) * g;
    setpowers(smallexponential(z), four.up);
    setpowers(smallexponential(-z), four.down);
}

TORVIK_INLINED void addtofour(double* place, const lanes& x)
{
    putfour(place, fourfrom(place) + x);
}

TORVIK_INLINED void spread(const fourwaves& four, int j, const fixedweights& fixed, double* re,
                           double* im)
{
    const auto& up = four.up;
    const auto& down = four.down;
    lanes upper = {up[0][j], up[1][j], up[2][j], up[3][j]};
    lanes lower = {down[3][j], down[2][j], down[1][j], down[0][j]};
    const lanes upstep = fourof(up[4][j]);
    const lanes downstep = fourof(down[4][j]);
    const lanes strengthre = fourof(four.re[j]);
    const lanes strengthim = fourof(four.im[j]);
    for (int p = 0; p < reach; p += lanecount) {
        const int above = 1 + p;
        const int below = -3 - p;
        const lanes upweight = upper * fourfrom(fixed.upper + p);
        const lanes downweight = lower * fourfrom(fixed.lower + reach - lanecount - p);
        addtofour(re + above, strengthre * upweight);
        addtofour(im + above, strengthim * upweight);
        addtofour(re + below, strengthre * downweight);
        addtofour(im + below, strengthim * downweight);
        upper = upper * upstep;
        lower = lower * downstep;
    }
}

TORVIK_INLINED lanesines slowsinesof(const lanes& y)
{
    const lanes sine = {std::sin(y[0]), std::sin(y[1]), std::sin(y[2]), std::sin(y[3])};
    const lanes cosine = {std::cos(y[0]), std::cos(y[1]), std::cos(y[2]), std::cos(y[3])};
    return {sine, cosine};
}

TORVIK_INLINED bool withinlimit(const lanes& y)
{
    bool within = true;
    for (int j = 0; j < lanecount; ++j) within = within && std::fabs(y[j]) <= lanesinelimit;
    return within;
}

TORVIK_INLINED void add(wavegrid& grid, const fixedweights& fixed, const double* w, int count,
                        double a, double b)
{
    for (int t = 0; t < count; t += lanecount) {
        const int present = std::min(lanecount, count - t);
        double given[lanecount] = {};
        for (int j = 0; j < present; ++j) given[j] = w[t + j];
        const lanes four = fourfrom(given);
        const lanes y = four * fourof(a);
        fourwaves waves;
        prepare(four, withinlimit(y) ? sinesof(y) : slowsinesof(y), b, waves);
        for (int j = 0; j < present; ++j) {
            const auto place = waves.place[j] & (grid.points - 1);
            ++grid.crowd[static_cast<std::size_t>(place / stretch)];
            spread(waves, j, fixed, grid.re.data() + reach + place, grid.im.data() + reach + place);
        }
    }
}

// The margins belong to the other end of the circle.
void foldmargins(std::vector<double>& x, int points)
{
    const auto n = static_cast<std::size_t>(points);
    for (std::size_t l = 0; l < reach; ++l) {
        x[l + n] += x[l];
        x[l + reach] += x[l + reach + n];
    }
}

// Gives how many waves met in a grid point at most, with one for the margins.
int largestcrowd(const std::vector<int>& crowd)
{
    int most = 0;
    int before = crowd.back();
    for (const int here : crowd) {
        most = std::max(most, before + here);
        before = here;
    }
    return most + 1;
}

} // namespace

wavegrid newwavegrid(int points)
{
    const auto n = static_cast<std::size_t>(points);
    wavegrid grid;
    grid.points = points;
    grid.table = newfouriertable(points);
    grid.workre.resize(n);
    grid.workim.resize(n);
    for (int k = 0; k <= points / 4; ++k) {
        const double part = static_cast<double>(k) / points;
        grid.divisor.push_back(std::sqrt(lambda / truepi) * std::exp(decay * part * part));
    }
    cleargrid(grid);
    return grid;
}

void cleargrid(wavegrid& grid)
{
    const auto n = static_cast<std::size_t>(grid.points);
    grid.re.assign(n + margins, 0.0);
    grid.im.assign(n + margins, 0.0);
    grid.crowd.assign(n / stretch, 0);
}

void addwaves_anywhere(wavegrid& grid, const double* w, int count, double a, double b)
{
    add(grid, newfixedweights(), w, count, a, b);
}

TORVIK_AVX2 void addwaves_avx2(wavegrid& grid, const double* w, int count, double a, double b)
{
    add(grid, newfixedweights(), w, count, a, b);
}

void addwaves(wavegrid& grid, const double* w, int count, double a, double b)
{
    if (hasavx2())
        addwaves_avx2(grid, w, count, a, b);
    else
        addwaves_anywhere(grid, w, count, a, b);
}

double transformgrid(wavegrid& grid)
{
    foldmargins(grid.re, grid.points);
    foldmargins(grid.im, grid.points);
    fouriertransform(grid.table, grid.re.data() + reach, grid.im.data() + reach, grid.workre.data(),
                     grid.workim.data());
    return (64.0 + largestcrowd(grid.crowd)) * 0x1p-53 + fouriererror(grid.points);
}

fieldvalue fieldat(const wavegrid& grid, int k, double roundings)
{
    const int point = k & (grid.points - 1);
    const auto place = static_cast<std::size_t>(point) + reach;
    const double divisor = grid.divisor[static_cast<std::size_t>(std::abs(k))];
    constexpr double others = 3.5e-14;     // exp(-31) = 3.44e-14
    constexpr double sumofweights = 4.445; // sqrt(pi / lambda) = 4.4422
    return {grid.re[place] * divisor, grid.im[place] * divisor,
            others + sumofweights * divisor * roundings};
}

} // namespace torvik
