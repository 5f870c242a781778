#include "store/similarity.h"

#include "numeric/constants.h"
#include "numeric/intrinsics.h"
#include "numeric/kernel.h"
#include "numeric/lanes.h"
#include "numeric/nint.h"
#include "store/modofsavedbases.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace torvik {

namespace {

// The deviations of two bases of one lattice add up to less.
constexpr double similaritylimit = 0.15;

// So near to 1 must their determinant be.
constexpr double determinantlimit = 0.05;

constexpr double nolimit = std::numeric_limits<double>::infinity();
constexpr double safesize = 1e50;

// Cells whose volumes may be compared in single precision: so much larger at most are the product of
// their |rows|, or the cube of the largest element of an inverse.
constexpr double mostskew = 1e2;
constexpr double mostskewinverse = 1e5;

// Their volumes; what is not a number stands for the others.
constexpr float norough = std::numeric_limits<float>::quiet_NaN();
float roughly(double volume)
{
    return 1e-30 < volume && volume < 1e30 ? static_cast<float>(volume) : norough;
}

// Below it indices are rounded alike by nint and by lanes, but for halves.
constexpr double alikebelow = 2e9;

// Single-precision numbers, and masks, one in each lane.
template <int width>
struct singles {
    // NOLINTBEGIN(modernize-use-using)
    typedef float numbers __attribute__((vector_size(4 * width)));
    typedef std::uint32_t masks __attribute__((vector_size(4 * width)));
    // NOLINTEND(modernize-use-using)
};

template <int width>
TORVIK_INLINED typename singles<width>::numbers singlesfrom(const float* place)
{
    typename singles<width>::numbers x;
    std::memcpy(&x, place, sizeof x);
    return x;
}

// The distance from the nearest whole number, of numbers below 2^22.
template <int width>
TORVIK_INLINED typename singles<width>::numbers distance(const typename singles<width>::numbers& x)
{
    using numbers = typename singles<width>::numbers;
    using masks = typename singles<width>::masks;
    constexpr float roundingaway = 0x1.8p23F;
    const numbers whole = (x + roundingaway) - roundingaway;
    return bitsas<numbers>(bitsas<masks>(x - whole) & 0x7fffffffU);
}

// The limit of the deviations in single precision, without what depends on the slot.
constexpr float roundedlimit = 0.15F + 1e-5F;

// How far a product of volumes may be off 1 in single precision.
constexpr float roughlimit = 0.05F + 1e-5F;

// So many slots are compared at a time; the bits of a mask say which of them pass.
constexpr int atatime = 32;
static_assert(maxsavedbases % atatime == 0);

// Gives the mask of the slots from place on whose first two vectors pass.
template <int width>
TORVIK_INLINED std::uint32_t nearslots(const slotcolumns& slots, int place,
                                       const soughtlattice& sought)
{
    using numbers = typename singles<width>::numbers;
    using masks = typename singles<width>::masks;
    const auto& G = sought.rounded;
    masks bit;
    for (int k = 0; k < width; ++k) bit[k] = 1U << k;
    masks far = {};
    for (int i = place; i < place + atatime; i += width) {
        numbers dev = {};
        for (int v = 0; v < 6; v += 3) {
            const numbers x = singlesfrom<width>(slots.vectors[v] + i);
            const numbers y = singlesfrom<width>(slots.vectors[v + 1] + i);
            const numbers z = singlesfrom<width>(slots.vectors[v + 2] + i);
            dev += distance<width>(x * G[0][0] + y * G[1][0] + z * G[2][0])
                   + distance<width>(x * G[0][1] + y * G[1][1] + z * G[2][1])
                   + distance<width>(x * G[0][2] + y * G[1][2] + z * G[2][2]);
        }
        const numbers limit = singlesfrom<width>(slots.reach + i) * sought.spread + roundedlimit;
        const auto above = bitsas<numbers>(bit);
        far |= bitsas<masks>(limit < dev ? above : numbers{});
        bit = bit << width;
    }
    const auto all = static_cast<std::uint64_t>(
        unionof<width / 2>(bitsas<typename side<width / 2>::wholes>(far)));
    return ~static_cast<std::uint32_t>(all | all >> 32);
}

// How far a sum of nine deviations below 1 may be off if they are added in another order, and more.
constexpr double ordermargin = 1e-12;

enum class verdict { same, different, unsure };

// Compares the lattice of a slot with the one that is looked for.
TORVIK_INLINED verdict compare(const slotcolumns& slots, int place, const soughtlattice& sought)
{
    const double off = std::fabs(slots.volume[place] * sought.volume - 1.0);
    const double wrong = slots.size[place] * sought.uncertain;
    if (off - wrong >= determinantlimit) return verdict::different;
    const lanes row1 = fourfrom(sought.row[0]);
    const lanes row2 = fourfrom(sought.row[1]);
    const lanes row3 = fourfrom(sought.row[2]);
    lanes devs = {};
    lanes largest = {};
    for (const auto& vector : modofsavedbases.savedbases(place + 1).element) {
        const lanes T = vector[0] * row1 + vector[1] * row2 + vector[2] * row3;
        devs += magnitude(T - nearestwhole(T));
        largest += magnitude(T);
    }
    const double dev = devs[0] + devs[1] + devs[2];
    if (dev >= similaritylimit + ordermargin) return verdict::different;
    const bool surely = dev < similaritylimit - ordermargin && off + wrong < determinantlimit
                        && largest[0] + largest[1] + largest[2] < alikebelow;
    return surely ? verdict::same : verdict::unsure;
}

#if defined(__x86_64__)
// Gives the deviations of one vector of sixteen slots.
TORVIK_AVX512 inline __m512 deviations_avx512(const float (*vector)[maxsavedbases], int place,
                                              const float (&G)[3][4])
{
    const __m512 x = _mm512_loadu_ps(vector[0] + place);
    const __m512 y = _mm512_loadu_ps(vector[1] + place);
    const __m512 z = _mm512_loadu_ps(vector[2] + place);
    const __m512 a = _mm512_reduce_ps(x * G[0][0] + y * G[1][0] + z * G[2][0], tonearest);
    const __m512 b = _mm512_reduce_ps(x * G[0][1] + y * G[1][1] + z * G[2][1], tonearest);
    const __m512 c = _mm512_reduce_ps(x * G[0][2] + y * G[1][2] + z * G[2][2], tonearest);
    return _mm512_abs_ps(a) + _mm512_abs_ps(b) + _mm512_abs_ps(c);
}

// The same for sixteen slots, and by their volumes as well: an instruction gives the distance from the
// nearest whole number.
TORVIK_AVX512 std::uint32_t nearslots_avx512(const slotcolumns& slots, int place,
                                             const soughtlattice& sought)
{
    const __m512 dev = deviations_avx512(slots.vectors, place, sought.rounded)
                       + deviations_avx512(slots.vectors + 3, place, sought.rounded);
    const __m512 limit = _mm512_loadu_ps(slots.reach + place) * sought.spread + roundedlimit;
    const __m512 off = _mm512_loadu_ps(slots.roughvolume + place) * sought.roughvolume - 1.0F;
    return _mm512_cmp_ps_mask(limit, dev, _CMP_NLT_UQ)
           & _mm512_cmp_ps_mask(_mm512_abs_ps(off), _mm512_set1_ps(roughlimit), _CMP_NGT_UQ);
}
#endif

// See firstsimilarslot. So many slots are compared at a time.
template <int atatime, class Nearslots>
TORVIK_INLINED int firstsimilar(const slotcolumns& slots, int n, const soughtlattice& sought,
                                Nearslots nearslots)
{
    static_assert(maxsavedbases % atatime == 0);
    for (int place = 0; place < n; place += atatime) {
        std::uint32_t near = nearslots(slots, place, sought);
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

std::uint32_t nearslots_anywhere(const slotcolumns& slots, int place, const soughtlattice& sought)
{
    return nearslots<8>(slots, place, sought);
}

TORVIK_AVX2 std::uint32_t nearslots_avx2(const slotcolumns& slots, int place,
                                         const soughtlattice& sought)
{
    return nearslots<8>(slots, place, sought);
}

int firstsimilar_anywhere(const slotcolumns& slots, int n, const soughtlattice& sought)
{
    return firstsimilar<32>(slots, n, sought, nearslots_anywhere);
}

TORVIK_AVX2 int firstsimilar_avx2(const slotcolumns& slots, int n, const soughtlattice& sought)
{
    return firstsimilar<32>(slots, n, sought, nearslots_avx2);
}

#if defined(__x86_64__)
TORVIK_AVX512 int firstsimilar_avx512(const slotcolumns& slots, int n, const soughtlattice& sought)
{
    return firstsimilar<16>(slots, n, sought, nearslots_avx512);
}
#else
int firstsimilar_avx512(const slotcolumns& slots, int n, const soughtlattice& sought)
{
    return firstsimilar_anywhere(slots, n, sought);
}
#endif

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

void setlattice(soughtlattice& sought, const matrix3& D)
{
    int status = done;
    sought.inverse = {};
    invmat(D, sought.inverse, hundredtimestiny, status);
    sought.regular = status == done;
    setfrominverse(sought);
}

void setfrominverse(soughtlattice& sought)
{
    const auto& element = sought.inverse.element;
    double largest[3] = {};
    for (int j = 0; j < 3; ++j)
        for (int i = 0; i < 3; ++i) {
            sought.row[i][j] = element[i][j];
            sought.rounded[i][j] = static_cast<float>(element[i][j]);
            largest[j] = std::max(largest[j], std::fabs(element[i][j]));
        }
    const double s = std::max(std::max(largest[0], largest[1]), largest[2]);
    const double cube = s * s * s;
    sought.volume = std::fabs(deter(sought.inverse));
    sought.uncertain = s <= safesize ? 0x1p-42 * cube : nolimit;
    sought.spread = static_cast<float>(0x1.9p-20 * s);
    const bool regular = cube <= mostskewinverse * sought.volume;
    sought.roughvolume = regular ? roughly(sought.volume) : norough;
}

void noteslot(slotcolumns& slots, int slot)
{
    const matrix3& D = modofsavedbases.savedbases(slot);
    const int place = slot - 1;
    double reach = 0.0;
    for (int v = 0; v < 6; ++v) {
        const double component = D.element[v / 3][v % 3];
        slots.vectors[v][place] = static_cast<float>(component);
        reach += std::fabs(component);
    }
    slots.reach[place] = static_cast<float>(reach);
    slots.volume[place] = std::fabs(deter(D));
    slots.size[place] = 1.0;
    for (int i = 1; i <= 3; ++i) {
        const double r = std::fabs(D(i, 1)) + std::fabs(D(i, 2)) + std::fabs(D(i, 3));
        slots.size[place] *= r <= safesize ? r : nolimit;
    }
    const bool regular = slots.size[place] <= mostskew * slots.volume[place];
    slots.roughvolume[place] = regular ? roughly(slots.volume[place]) : norough;
}

int firstsimilarslot(const slotcolumns& slots, const soughtlattice& sought)
{
    return firstsimilarslotin(bestlanes(), slots, sought);
}

int firstsimilarslotin(int whichlanes, const slotcolumns& slots, const soughtlattice& sought)
{
    if (!sought.regular) return 0;
    const int n = modofsavedbases.numberofsavedbases;
    if (whichlanes == lanesofavx512) return firstsimilar_avx512(slots, n, sought);
    if (whichlanes == lanesofavx2) return firstsimilar_avx2(slots, n, sought);
    return firstsimilar_anywhere(slots, n, sought);
}

} // namespace torvik
