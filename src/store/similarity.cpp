#include "store/similarity.h"

#include "numeric/kernel.h"
#include "numeric/lanes.h"
#include "numeric/nint.h"
#include "store/modofsavedbases.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace torvik {

namespace {

// The deviations of two bases of one lattice add up to less.
constexpr double similaritylimit = 0.15;

// So near to 1 must their determinant be.
constexpr double determinantlimit = 0.05;

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double safesize = 1e50;

// Below it indices are rounded alike by nint and by lanes, but for halves.
constexpr double safeindex = 2e9;

// A lattice that is looked for.
struct soughtlattice {
    matrix3 inverse;
    double volume;    // |det inverse|
    double uncertain; // times the size of a slot: how far volumes may be off
};

soughtlattice soughtby(const matrix3& inverse)
{
    double s = 0.0;
    for (const auto& row : inverse.element)
        for (const double element : row) s = std::max(s, std::fabs(element));
    return {inverse, std::fabs(deter(inverse)), s <= safesize ? 0x1p-42 * s * s * s : infinite};
}

// So many slots are compared at a time; the bits of a mask say which of them pass.
constexpr int atatime = 32;
static_assert(maxsavedbases % atatime == 0);

// Gives the mask of the slots from place on whose first vectors pass.
template <int width>
TORVIK_INLINED std::uint32_t nearslots(const slotcolumns& slots, int place,
                                       const soughtlattice& sought)
{
    using numbers = typename side<width>::numbers;
    const matrix3& inverse = sought.inverse;
    typename side<width>::wholes bit;
    for (int k = 0; k < width; ++k) bit[k] = std::int64_t{1} << k;
    typename side<width>::wholes near = {};
    for (int i = place; i < place + atatime; i += width) {
        const auto x = numbersfrom<width>(slots.x + i);
        const auto y = numbersfrom<width>(slots.y + i);
        const auto z = numbersfrom<width>(slots.z + i);
        const numbers T1 = x * inverse(1, 1) + y * inverse(2, 1) + z * inverse(3, 1);
        const numbers T2 = x * inverse(1, 2) + y * inverse(2, 2) + z * inverse(3, 2);
        const numbers T3 = x * inverse(1, 3) + y * inverse(2, 3) + z * inverse(3, 3);
        const numbers dev = magnitude(T1 - nearestwhole(T1)) + magnitude(T2 - nearestwhole(T2))
                            + magnitude(T3 - nearestwhole(T3));
        const numbers off = magnitude(numbersfrom<width>(slots.volume + i) * sought.volume - 1.0);
        const numbers least = off - numbersfrom<width>(slots.size + i) * sought.uncertain;
        const numbers limit = numbers{} + similaritylimit;
        near |= bit & maskbelow(dev, limit) & ~maskbelow(numbers{} + determinantlimit, least);
        bit = bit << width;
    }
    return static_cast<std::uint32_t>(unionof<width>(near));
}

// How far a sum of nine deviations below 1 may be off if they are added in another order, and more.
constexpr double margin = 1e-12;

enum class verdict { same, different, unsure };

// Compares the lattice of a slot with the one that is looked for.
TORVIK_INLINED verdict compare(const slotcolumns& slots, int place, const soughtlattice& sought)
{
    const matrix3& inverse = sought.inverse;
    const lanes row1 = {inverse(1, 1), inverse(1, 2), inverse(1, 3), 0.0};
    const lanes row2 = {inverse(2, 1), inverse(2, 2), inverse(2, 3), 0.0};
    const lanes row3 = {inverse(3, 1), inverse(3, 2), inverse(3, 3), 0.0};
    lanes devs = {};
    lanes largest = {};
    for (const auto& vector : modofsavedbases.savedbases(place + 1).element) {
        const lanes T = vector[0] * row1 + vector[1] * row2 + vector[2] * row3;
        devs += magnitude(T - nearestwhole(T));
        largest += magnitude(T);
    }
    const double dev = devs[0] + devs[1] + devs[2];
    if (dev >= similaritylimit + margin) return verdict::different;
    const double off = std::fabs(slots.volume[place] * sought.volume - 1.0);
    const bool surely = dev < similaritylimit - margin
                        && off + slots.size[place] * sought.uncertain < determinantlimit
                        && largest[0] + largest[1] + largest[2] < safeindex;
    return surely ? verdict::same : verdict::unsure;
}

// See firstsimilarslot.
template <int width>
TORVIK_INLINED int firstsimilar(const slotcolumns& slots, int n, const soughtlattice& sought)
{
    for (int place = 0; place < n; place += atatime) {
        std::uint32_t near = nearslots<width>(slots, place, sought);
        for (; near != 0; near &= near - 1) {
            const int candidate = place + std::countr_zero(near);
            if (candidate >= n) return 0;
            const verdict found = compare(slots, candidate, sought);
            if (found == verdict::different) continue;
            const int slot = candidate + 1;
            if (found == verdict::same
                || samelattice(modofsavedbases.savedbases(slot), sought.inverse))
                return slot;
        }
    }
    return 0;
}

int firstsimilar_anywhere(const slotcolumns& slots, int n, const soughtlattice& sought)
{
    return firstsimilar<4>(slots, n, sought);
}

TORVIK_AVX2 int firstsimilar_avx2(const slotcolumns& slots, int n, const soughtlattice& sought)
{
    return firstsimilar<4>(slots, n, sought);
}

TORVIK_AVX512 int firstsimilar_avx512(const slotcolumns& slots, int n, const soughtlattice& sought)
{
    return firstsimilar<8>(slots, n, sought);
}

} // namespace

bool samelattice(const matrix3& M, const matrix3& inverse)
{
    const matrix3 T = matrixproduct(M, inverse);
    const double d = std::fabs(deter(T));
    double dev = 0.0;
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) dev += std::fabs(T(i, j) - nint(T(i, j)));
    return std::fabs(d - 1.0) < determinantlimit && dev < similaritylimit;
}

void noteslot(slotcolumns& slots, int slot)
{
    const matrix3& D = modofsavedbases.savedbases(slot);
    const int place = slot - 1;
    slots.x[place] = D(1, 1);
    slots.y[place] = D(1, 2);
    slots.z[place] = D(1, 3);
    slots.volume[place] = std::fabs(deter(D));
    slots.size[place] = 1.0;
    for (int i = 1; i <= 3; ++i) {
        const double r = std::fabs(D(i, 1)) + std::fabs(D(i, 2)) + std::fabs(D(i, 3));
        slots.size[place] *= r <= safesize ? r : infinite;
    }
}

int firstsimilarslot(const slotcolumns& slots, const matrix3& inverse)
{
    return firstsimilarslotin(bestlanes(), slots, inverse);
}

int firstsimilarslotin(int whichlanes, const slotcolumns& slots, const matrix3& inverse)
{
    const int n = modofsavedbases.numberofsavedbases;
    const soughtlattice sought = soughtby(inverse);
    if (whichlanes == lanesofavx512) return firstsimilar_avx512(slots, n, sought);
    if (whichlanes == lanesofavx2) return firstsimilar_avx2(slots, n, sought);
    return firstsimilar_anywhere(slots, n, sought);
}

} // namespace torvik
