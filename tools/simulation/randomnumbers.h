// Random numbers, the same on every machine.
#pragma once

#include <cstdint>
#include <random>

namespace torvik::tools {

// The engine is fixed by the C++ standard; the distributions of the standard library are not, so
// these are its own.
class randomnumbers {
public:
    explicit randomnumbers(std::uint64_t seed) : engine_(seed) {}

    // A number in low..high, with 53 random bits.
    double between(double low, double high)
    {
        return low + (high - low) * (static_cast<double>(engine_() >> 11) / 9007199254740992.0);
    }

    // A whole number in low..high, both included.
    int whole(int low, int high)
    {
        const std::uint64_t range = static_cast<std::uint64_t>(high - low) + 1;
        return low + static_cast<int>(engine_() % range);
    }

    // 64 random bits.
    std::uint64_t bits()
    {
        return engine_();
    }

private:
    std::mt19937_64 engine_;
};

} // namespace torvik::tools
