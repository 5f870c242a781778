// Whether long doubles can judge doubles.
#pragma once

namespace torvik {

// Says whether long doubles have 64 bits, which valgrind, for one, does not give them.
inline bool longdoublesarelonger()
{
    volatile long double one = 1.0L;
    return one + 0x1p-63L != one;
}

constexpr const char* shortlongdoubles = "long doubles are no longer than doubles here";

} // namespace torvik
