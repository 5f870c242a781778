// Vectors of eight floats, sixteen short integers or sixteen bytes, with the same results on every processor.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

// A kernel is written once with these types, as an inline function marked TORVIK_SOLVER_INLINED, and compiled
// twice: for any processor, and (TORVIK_SOLVER_AVX2) for one with AVX2, which is chosen at run time. Every
// lane is rounded after each operation, products and sums are never fused, and sums over lanes are taken in
// one order, so both give the same bits. TORVIK_SOLVER_WITHOUT_AVX2 leaves the second out.

// A compiler warns that such vectors are passed differently to functions with AVX than to others. None is
// passed: all that takes or returns them is inlined.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace torvik::solver {

#if defined(__x86_64__) && !defined(TORVIK_SOLVER_WITHOUT_AVX2)                                    \
    && (!defined(_WIN32) || defined(__clang__) || defined(TORVIK_UNALIGNED_MOVES))
#define TORVIK_SOLVER_AVX2 __attribute__((target("avx2")))
#define TORVIK_SOLVER_MAY_USE_AVX2
#else
#define TORVIK_SOLVER_AVX2
#endif
#define TORVIK_SOLVER_INLINED [[gnu::always_inline]] inline

constexpr std::size_t float_lanes = 8;
constexpr std::size_t short_lanes = 16;
constexpr std::size_t byte_lanes = 16;
using floats = float __attribute__((vector_size(32)));
using ints = std::int32_t __attribute__((vector_size(32)));
using shorts = std::int16_t __attribute__((vector_size(32)));
using longs = std::int64_t __attribute__((vector_size(32)));
// Every processor has these: they need no second kernel.
using bytes = std::uint8_t __attribute__((vector_size(16)));

// Whether this processor has AVX2.
inline bool has_avx2()
{
#if defined(TORVIK_SOLVER_MAY_USE_AVX2)
    return static_cast<bool>(__builtin_cpu_supports("avx2"));
#else
    return false;
#endif
}

// Loads a vector from memory, which need not be aligned; stores it there.
template <class Vector, class Element>
TORVIK_SOLVER_INLINED Vector load(const Element* place)
{
    Vector x;
    std::memcpy(&x, place, sizeof x);
    return x;
}

template <class Vector, class Element>
TORVIK_SOLVER_INLINED void store(Element* place, const Vector& x)
{
    std::memcpy(place, &x, sizeof x);
}

template <class To, class From>
TORVIK_SOLVER_INLINED To bits_as(const From& x)
{
    return __builtin_bit_cast(To, x);
}

TORVIK_SOLVER_INLINED floats all_lanes(float x)
{
    return floats{x, x, x, x, x, x, x, x};
}

// The sum over the lanes, always in this order.
TORVIK_SOLVER_INLINED float sum_of(const floats& x)
{
    return ((x[0] + x[4]) + (x[2] + x[6])) + ((x[1] + x[5]) + (x[3] + x[7]));
}

// Rounds to whole numbers, halves to even; for |x| below 2^22.
TORVIK_SOLVER_INLINED floats nearest_whole(const floats& x)
{
    constexpr float rounding_away = 0x1.8p23F;
    return (x + rounding_away) - rounding_away;
}

// The exponential of numbers up to 80, with a relative error below 3e-7. What is below -80 counts as -80.
TORVIK_SOLVER_INLINED floats exponential(const floats& exponent)
{
    constexpr float log2_of_e = 1.44269504F;
    constexpr float ln2_high = 0x1.62ep-1F; // few bits: its multiples are exact
    constexpr float ln2_low = 3.19461849e-5F;
    const floats least = all_lanes(-80.0F);
    const floats x = exponent < least ? least : exponent;
    const floats n = nearest_whole(x * log2_of_e);
    const floats r = (x - n * ln2_high) - n * ln2_low;
    floats p = r * (1.0F / 720.0F) + (1.0F / 120.0F);
    p = p * r + (1.0F / 24.0F);
    p = p * r + (1.0F / 6.0F);
    p = p * r + 0.5F;
    p = p * r + 1.0F;
    p = p * r + 1.0F;
    const ints scale = (__builtin_convertvector(n, ints) + 127) << 23;
    return p * bits_as<floats>(scale);
}

// The natural logarithm of positive normal numbers, with an absolute error below 2e-7 + 1.3e-7 |log x|.
TORVIK_SOLVER_INLINED floats logarithm(const floats& x)
{
    constexpr float ln2 = 0.693147181F;
    constexpr std::int32_t root_half = 0x3f3504f3; // bits of sqrt(1/2)
    const ints bits = bits_as<ints>(x);
    const ints exponent = (bits - root_half) >> 23;
    const floats m = bits_as<floats>(bits - (exponent << 23)); // sqrt(1/2) to sqrt(2)
    const floats s = (m - 1.0F) / (m + 1.0F);
    const floats z = s * s;
    floats p = z * (1.0F / 9.0F) + (1.0F / 7.0F);
    p = p * z + (1.0F / 5.0F);
    p = p * z + (1.0F / 3.0F);
    p = p * z + 1.0F;
    return __builtin_convertvector(exponent, floats) * ln2 + 2.0F * s * p;
}

} // namespace torvik::solver
