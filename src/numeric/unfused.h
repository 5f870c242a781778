// Tells the compiler to round after every operation.
#pragma once

// Where a processor has an instruction for x * y + z that rounds once, compilers use it unasked, and
// the last digits differ from those of a processor without. The build says -ffp-contract=off; this
// is for those who build without our flags. Every source that calculates includes it,
// mostly by way of the arrays or the constants.
#if defined(__clang__)
#pragma clang fp contract(off)
#else
#pragma GCC optimize("fp-contract=off")
#endif
