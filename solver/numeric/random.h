// Random numbers, the same on every machine.
#pragma once

#include <cstddef>
#include <cstdint>

namespace torvik::solver {

// The generator splitmix64 (Steele, Lea & Flood, 2014): its state is one number, and so cheap to start.
class random_numbers {
public:
    explicit random_numbers(std::uint64_t seed) : state_(seed) {}

    // 64 random bits.
    std::uint64_t bits()
    {
        state_ += 0x9E3779B97F4A7C15ULL;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27U)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31U);
    }

    // A whole number from 0 to below `count`, which is at most 2^32.
    std::size_t below(std::size_t count)
    {
        return static_cast<std::size_t>(((bits() >> 32U) * count) >> 32U);
    }

private:
    std::uint64_t state_;
};

} // namespace torvik::solver
