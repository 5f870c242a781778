// The instructions of the processor that have no operator, as functions.
#pragma once

#if defined(__x86_64__)

// g++ warns of variables in this header of its own, which are left unset on purpose.
#if !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#if !defined(__clang__)
#pragma GCC diagnostic pop
#endif

namespace torvik {

// How _mm512_reduce_pd and its like round: to the nearest whole number, halves to even.
constexpr int tonearest = 0x08;

// What _mm512_range_pd and its like give: the smaller |x| of two, or the larger one.
constexpr int smallermagnitude = 0x0a;
constexpr int largermagnitude = 0x0b;

} // namespace torvik

#endif
