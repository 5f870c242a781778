#include "volumes/phaserows.h"

#include "numeric/kernel.h"
#include "numeric/lanes.h"
#include "numeric/nint.h"
#include "search/tabulcos.h"

#include <algorithm>
#include <cmath>

namespace torvik {

namespace {

constexpr int phasesteps = curvepoints - 1; // Deliberate: the last point of the curve is never read

using eightwords [[gnu::vector_size(32)]] = std::uint32_t;

constexpr int coarsestbits = 16;
constexpr int finestbits = 22;          // 511 steps and 22 bits still fit into 32
constexpr double largestreach = 0x1p35; // 51 - coarsestbits
constexpr double largestcomponent = 1e30;
constexpr double smallestvolume = 1e-200;
constexpr double largestvolume = 1e200;

int wholeblocks(int n)
{
    return (n + atonce - 1) / atonce * atonce;
}

bool allfinite(const trialcolumns& list)
{
    return std::all_of(list.x, list.x + list.n, [](double c) { return std::isfinite(c); })
           && std::all_of(list.y, list.y + list.n, [](double c) { return std::isfinite(c); })
           && std::all_of(list.z, list.z + list.n, [](double c) { return std::isfinite(c); });
}

double largestofall(const trialcolumns& list)
{
    double A = 0.0;
    for (int m = 0; m < list.n; ++m)
        A = std::max({A, std::fabs(list.x[m]), std::fabs(list.y[m]), std::fabs(list.z[m])});
    return A;
}

TORVIK_INLINED lanes absolute(const lanes& x)
{
    wholelanes bits;
    std::memcpy(&bits, &x, sizeof bits);
    bits &= 0x7fffffffffffffff;
    lanes result;
    std::memcpy(&result, &bits, sizeof result);
    return result;
}

// Gives the low words of eight numbers.
TORVIK_INLINED eightwords lowwords(const lanes& a, const lanes& b)
{
    eightwords low;
    eightwords high;
    std::memcpy(&low, &a, sizeof low);
    std::memcpy(&high, &b, sizeof high);
    return __builtin_shufflevector(low, high, 0, 2, 4, 6, 8, 10, 12, 14);
}

// (a x b) / V for one b, in all lanes.
struct rowfactors {
    lanes x, y, z;
};

TORVIK_INLINED rowfactors factorsof(const vector3& a, const trialcolumns& list, int j,
                                    double inverse)
{
    const double x = list.x[j];
    const double y = list.y[j];
    const double z = list.z[j];
    return {fourof((a(2) * z - a(3) * y) * inverse), fourof((a(3) * x - a(1) * z) * inverse),
            fourof((a(1) * y - a(2) * x) * inverse)};
}

TORVIK_INLINED lanes fourproducts(const rowfactors& f, const trialcolumns& list, int k)
{
    return absolute(f.x * fourfrom(list.x + k) + f.y * fourfrom(list.y + k)
                    + f.z * fourfrom(list.z + k));
}

// Rows j and, if there is one more, j + 1: they share what is read of the list.
template <int count>
TORVIK_INLINED void fillrows(const vector3& a, const trialcolumns& list, const phasegrid& grid,
                             int j, phaserows& rows)
{
    rowfactors factors[count];
    std::uint32_t* out[count];
    for (int h = 0; h < count; ++h) {
        factors[h] = factorsof(a, list, j + h, grid.inverse);
        out[h] = rows.row(j + h);
    }
    const lanes cut = fourof(grid.cut);
    const std::uint32_t mask = (1U << grid.bits) - 1;
    for (int k = 0; k < j + count - 1; k += atonce)
        for (int h = 0; h < count; ++h) {
            const lanes low = fourproducts(factors[h], list, k) + cut;
            const lanes high = fourproducts(factors[h], list, k + lanecount) + cut;
            const eightwords fraction = lowwords(low, high) & mask;
            const eightwords phase = (fraction << 9) - fraction + grid.shift; // times 511
            std::memcpy(out[h] + k, &phase, sizeof phase);
        }
}

TORVIK_INLINED void fillphaserows(const vector3& a, const trialcolumns& list, const phasegrid& grid,
                                  phaserows& rows)
{
    int j = rows.first;
    for (; j < rows.last; j += 2) fillrows<2>(a, list, grid, j, rows);
    if (j == rows.last) fillrows<1>(a, list, grid, j, rows);
}

} // namespace

void fillcolumns(trialcolumns& list)
{
    const auto& recorded = recorded_reflections;
    const int n = std::max(recorded.number_of_trial_vectors, 0);
    list.n = n;
    for (int m = 0; m < n; ++m) {
        const vector3& r = recorded.reflections(recorded.list_of_trial_vectors(n - m));
        list.x[m] = r(1);
        list.y[m] = r(2);
        list.z[m] = r(3);
    }
    for (int m = n; m < wholeblocks(n); ++m) list.x[m] = list.y[m] = list.z[m] = 0.0;
}

void removecolumn(trialcolumns& list, int m)
{
    const int n = list.n--;
    std::copy(list.x + m + 1, list.x + n, list.x + m);
    std::copy(list.y + m + 1, list.y + n, list.y + m);
    std::copy(list.z + m + 1, list.z + n, list.z + m);
}

phasegrid makephasegrid(const trialcolumns& list, double V)
{
    phasegrid grid = {phasesteps / V, 1.0 / V, coarsestbits, 0.0, 0, 1U << coarsestbits};
    const double A = largestofall(list);
    const double reach = 7.0 * A * A * A / V; // no y is larger: six products, and their roundings
    const bool tame = allfinite(list) && A <= largestcomponent && smallestvolume <= V
                      && V <= largestvolume && reach < largestreach;
    if (!tame) return grid;
    int exponent = 0; // reach < 2^exponent
    std::frexp(reach, &exponent);
    grid.bits = std::min(finestbits, 51 - exponent);
    const double unit = 1U << grid.bits; // 1/unit is the last bit of y when 1.5 2^52/unit is added
    grid.cut = 0x1.8p52 / unit;
    const double roundings = phasesteps * 15.0 * 0x1p-53 * reach * unit;
    const auto margin = static_cast<std::uint32_t>(phasesteps / 2.0 + roundings) + 2;
    grid.shift = (1U << (grid.bits - 1)) + margin;
    grid.window = 2 * margin + 1;
    return grid;
}

void fillphaserows_anywhere(const vector3& a, const trialcolumns& list, const phasegrid& grid,
                            phaserows& rows)
{
    fillphaserows(a, list, grid, rows);
}

TORVIK_AVX2 void fillphaserows_avx2(const vector3& a, const trialcolumns& list,
                                    const phasegrid& grid, phaserows& rows)
{
    fillphaserows(a, list, grid, rows);
}

void computephaserows(const vector3& a, const trialcolumns& list, const phasegrid& grid, int last,
                      phaserows& rows)
{
    rows.last = last;
    rows.stride = wholeblocks(last);
    rows.first = std::max(1, last + 1 - phaserows::size / rows.stride);
    if (hasavx2())
        fillphaserows_avx2(a, list, grid, rows);
    else
        fillphaserows_anywhere(a, list, grid, rows);
}

int definedstep(const vector3& candidate, const vector3& b, const vector3& c, const phasegrid& grid)
{
    return phaseindex(std::fabs(deter(rowsmatrix(candidate, b, c))), grid.scale);
}

int phaseindex(double d, double scale)
{
    const double steps = d * scale;
    if (steps < largestinteger) return nint(steps) % phasesteps;
    if (!std::isfinite(steps)) return phasesteps / 2;
    return static_cast<int>(std::fmod(std::round(steps), phasesteps));
}

} // namespace torvik
