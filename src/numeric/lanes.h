// Four doubles worked on at once.
#pragma once

#include "numeric/unfused.h"

#include <cstdint>
#include <cstring>

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

// Takes four numbers from memory, and puts them there. The place need not be aligned.
TORVIK_INLINED lanes fourfrom(const double* place)
{
    lanes x;
    std::memcpy(&x, place, sizeof x);
    return x;
}

TORVIK_INLINED void putfour(double* place, const lanes& x)
{
    std::memcpy(place, &x, sizeof x);
}

// Gives |x| in each lane, of any number of lanes.
template <class Lanes>
TORVIK_INLINED Lanes magnitude(const Lanes& x)
{
    return x < 0.0 ? -x : x;
}

// Rounds each lane to a whole number, halves to even, by adding a number so large that fractions
// are rounded away. For |x| up to 2^51.
template <class Lanes>
TORVIK_INLINED Lanes nearestwhole(const Lanes& x)
{
    constexpr double roundingaway = 0x1.8p52;
    return (x + roundingaway) - roundingaway;
}

// Gives the same number in all lanes.
TORVIK_INLINED lanes fourof(double x)
{
    return lanes{x, x, x, x};
}

} // namespace torvik
