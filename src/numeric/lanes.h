// Four doubles worked on at once.
#pragma once

#include "numeric/nint.h"
#include "numeric/unfused.h"

#include <cstdint>
#include <cstring>
#include <limits>

// A kernel that does the same to many numbers is written once, with these types, as an inline
// function marked TORVIK_INLINED, and compiled twice: for any processor, and (marked TORVIK_AVX2)
// for one with AVX2, which is asked for when the program runs:
//
//     TORVIK_INLINED void scan(const double* x, int n, double* y) { ... lanes ... }
//     void scan_anywhere(const double* x, int n, double* y) { scan(x, n, y); }
//     TORVIK_AVX2 void scan_avx2(const double* x, int n, double* y) { scan(x, n, y); }
//     ... hasavx2() ? scan_avx2(x, n, y) : scan_anywhere(x, n, y);
//
// Both give the same bits: each lane is an ordinary double, rounded after every operation. Products
// and sums are never fused.

// The compilers warn that such numbers are passed in another way to functions with AVX than without.
// None is: what takes or gives them is inlined.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace torvik {

#if defined(__x86_64__)
#define TORVIK_AVX2 __attribute__((target("avx2")))
#define TORVIK_AVX512 __attribute__((target("avx512f,avx512dq,avx512vl")))
#else
#define TORVIK_AVX2
#define TORVIK_AVX512
#endif
#define TORVIK_INLINED [[gnu::always_inline]] inline

constexpr int lanecount = 4;
using lanes = double __attribute__((vector_size(32)));            // four numbers
using wholelanes = std::int64_t __attribute__((vector_size(32))); // four integers, or four masks

// On Windows the stack is aligned to 16 bytes alone, and g++ as it comes moves lanes there as if it
// were to 32. Such a build keeps to what any processor has, unless its assembler is told (as our
// CMakeLists.txt does) to write moves that ask for no alignment.
#if defined(__x86_64__)                                                                            \
    && (!defined(_WIN32) || defined(__clang__) || defined(TORVIK_UNALIGNED_MOVES))
#define TORVIK_MAY_USE_AVX
#endif

// Says whether this processor has AVX2.
inline bool hasavx2()
{
#if defined(TORVIK_MAY_USE_AVX)
    return static_cast<bool>(__builtin_cpu_supports("avx2"));
#else
    return false;
#endif
}

// Says whether this processor has AVX-512, which works on eight numbers at once.
inline bool hasavx512()
{
#if defined(TORVIK_MAY_USE_AVX)
    return static_cast<bool>(__builtin_cpu_supports("avx512f"))
           && static_cast<bool>(__builtin_cpu_supports("avx512dq"))
           && static_cast<bool>(__builtin_cpu_supports("avx512vl"));
#else
    return false;
#endif
}

// What lanes a processor has: any processor, those with AVX2, those with AVX-512.
constexpr int lanesanywhere = 1, lanesofavx2 = 2, lanesofavx512 = 3;

// Gives the best lanes of this processor.
inline int bestlanes()
{
    if (hasavx512()) return lanesofavx512;
    return hasavx2() ? lanesofavx2 : lanesanywhere;
}

// So many numbers, or integers or masks, one in each lane. (In a template, only typedef keeps the
// attribute with gcc.)
template <int width>
struct side {
    // NOLINTBEGIN(modernize-use-using)
    typedef double numbers __attribute__((vector_size(8 * width)));
    typedef std::int64_t wholes __attribute__((vector_size(8 * width)));
    // NOLINTEND(modernize-use-using)
};

// Takes four numbers from memory, or so many, and puts them there. The place need not be aligned.
TORVIK_INLINED lanes fourfrom(const double* place)
{
    lanes x;
    std::memcpy(&x, place, sizeof x);
    return x;
}

template <int width>
TORVIK_INLINED typename side<width>::numbers numbersfrom(const double* place)
{
    typename side<width>::numbers x;
    std::memcpy(&x, place, sizeof x);
    return x;
}

TORVIK_INLINED void putfour(double* place, const lanes& x)
{
    std::memcpy(place, &x, sizeof x);
}

// Gives the bits of lanes as lanes of another kind. std::bit_cast is a function of its own where nothing is
// optimised, compiled for any processor: it would hand vectors over in another way than its caller
// expects, which is compiled for one that has such vectors.
template <class To, class From>
TORVIK_INLINED To bitsas(const From& x)
{
    return __builtin_bit_cast(To, x);
}

// Gives |x| in each lane, of any number of lanes: x without its sign bit.
template <class Lanes>
TORVIK_INLINED Lanes magnitude(const Lanes& x)
{
    using bits = decltype(x < 0.0);
    const bits magnitudebits = bitsas<bits>(x) & std::int64_t{0x7fffffffffffffff};
    return bitsas<Lanes>(magnitudebits);
}

// Gives |x| with the sign of y.
constexpr std::int64_t signbit = std::numeric_limits<std::int64_t>::min();
template <class Lanes>
TORVIK_INLINED Lanes withsign(const Lanes& x, const Lanes& y)
{
    using bits = decltype(x < 0.0);
    const bits sign = bitsas<bits>(y) & signbit;
    return bitsas<Lanes>(bitsas<bits>(magnitude(x)) | sign);
}

// Rounds each lane to a whole number, halves to even, by adding a number so large that fractions
// are rounded away. For |x| up to 2^51.
template <class Lanes>
TORVIK_INLINED Lanes nearestwhole(const Lanes& x)
{
    constexpr double roundingaway = 0x1.8p52;
    return (x + roundingaway) - roundingaway;
}

// Gives a mask: all bits of the lanes in which a < b, none of the others. With AVX-512, g++ takes
// lanes apart to use one comparison for several choices; these it does not.
template <class Lanes>
TORVIK_INLINED auto maskbelow(const Lanes& a, const Lanes& b)
{
    using mask = decltype(a < b);
    const auto all = bitsas<Lanes>(mask{} - 1);
    return bitsas<mask>(a < b ? all : Lanes{});
}

// Gives x in the lanes of a mask, y in the others.
template <class Mask, class Lanes>
TORVIK_INLINED Lanes chosen(const Mask& where, const Lanes& x, const Lanes& y)
{
    return bitsas<Lanes>((bitsas<Mask>(x) & where) | (bitsas<Mask>(y) & ~where));
}

// Gives the bits that are set in any lane.
template <int width>
TORVIK_INLINED std::int64_t unionof(const typename side<width>::wholes& bits)
{
    if constexpr (width == 2) {
        return bits[0] | bits[1];
    } else {
        typename side<width / 2>::wholes halves[2];
        std::memcpy(halves, &bits, sizeof bits);
        return unionof<width / 2>(halves[0] | halves[1]);
    }
}

// Rounds each lane as nint does: halves away from zero, to no more than its limit.
template <class Lanes>
TORVIK_INLINED Lanes nearestinteger(const Lanes& x)
{
    const Lanes limit = Lanes{} + largestinteger;
    const Lanes size = magnitude(x);
    Lanes whole = nearestwhole(size);
    whole = size - whole >= 0.5 ? whole + 1.0 : whole;
    whole = whole < limit ? whole : limit;
    return withsign(whole, x);
}

// Gives the same number in all lanes.
TORVIK_INLINED lanes fourof(double x)
{
    return lanes{x, x, x, x};
}

} // namespace torvik
