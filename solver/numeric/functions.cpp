#include "solver/numeric/functions.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <utility>

namespace torvik::solver {

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();

// ln 2 in two parts: multiples of the first by up to 2^20 are exact.
constexpr double ln2_high = 0x1.62e42feep-1;
constexpr double ln2_low = 0x1.a39ef35793c76p-33;

// The arc tangent of 0 to tan(pi/12), by its series: the terms fall by 14 each.
double small_arctangent(double x)
{
    const double z = x * x;
    double sum = 0.0;
    for (int k = 13; k >= 0; --k) sum = 1.0 / (2.0 * k + 1.0) - z * sum;
    return x * sum;
}

// The arc tangent of 0 to 1: beyond tan(pi/12), pi/6 and that of (x - tan(pi/6)) / (1 + x tan(pi/6)).
double unit_arctangent(double x)
{
    constexpr double tan_twelfth = 0.26794919243112270;
    constexpr double tan_sixth = 0.57735026918962576;
    if (x <= tan_twelfth) return small_arctangent(x);
    const double rest = (x - tan_sixth) / (1.0 + x * tan_sixth);
    const double part = rest < 0.0 ? -small_arctangent(-rest) : small_arctangent(rest);
    return std::numbers::pi / 6.0 + part;
}

// Sine and cosine up to pi/4 in magnitude.
double small_sine(double x)
{
    const double z = x * x;
    double sum = 1.0;
    for (int k = 17; k >= 3; k -= 2) sum = 1.0 - z / (k * (k - 1.0)) * sum;
    return x * sum;
}

double small_cosine(double x)
{
    const double z = x * x;
    double sum = 1.0;
    for (int k = 18; k >= 2; k -= 2) sum = 1.0 - z / (k * (k - 1.0)) * sum;
    return sum;
}

// x less the nearest multiple of pi/2, and which multiple that is, of the four in a turn.
std::pair<double, int> quarter_turns(double x)
{
    constexpr double half_pi_high = 0x1.921fb544p0; // few bits: its multiples are exact
    constexpr double half_pi_low = 0x1.0b4611a626331p-34;
    const double n = std::round(x * (2.0 / std::numbers::pi));
    const auto quarter = static_cast<std::int64_t>(n);
    return {(x - n * half_pi_high) - n * half_pi_low, static_cast<int>(quarter & 3)};
}

} // namespace

double exponential(double x)
{
    if (!(x > -745.0)) return x <= -745.0 ? 0.0 : x;
    if (x > 709.0) return infinite;
    const double n = std::round(x * std::numbers::log2e);
    const double r = (x - n * ln2_high) - n * ln2_low;
    constexpr double inverse_factorials[] = {1.0,
                                             1.0,
                                             1.0 / 2,
                                             1.0 / 6,
                                             1.0 / 24,
                                             1.0 / 120,
                                             1.0 / 720,
                                             1.0 / 5040,
                                             1.0 / 40320,
                                             1.0 / 362880,
                                             1.0 / 3628800,
                                             1.0 / 39916800,
                                             1.0 / 479001600,
                                             1.0 / 6227020800.0};
    double sum = inverse_factorials[13];
    for (int k = 12; k >= 0; --k) sum = sum * r + inverse_factorials[k];
    // Two factors, since the result may lie below the normal numbers.
    const auto exponent = static_cast<std::int64_t>(n);
    const std::int64_t half = exponent / 2;
    const auto power = [](std::int64_t e) {
        return std::bit_cast<double>(static_cast<std::uint64_t>(e + 1023) << 52U);
    };
    return sum * power(half) * power(exponent - half);
}

double logarithm(double x)
{
    if (!(x > 0.0)) return x == 0.0 ? -infinite : std::numeric_limits<double>::quiet_NaN();
    if (x == infinite) return x;
    double scale = 0.0;
    if (x < std::numeric_limits<double>::min()) { // to a normal number
        x *= 0x1p54;
        scale = -54.0;
    }
    constexpr std::uint64_t root_half = 0x3fe6a09e667f3bcdULL; // bits of sqrt(1/2)
    const auto bits = std::bit_cast<std::uint64_t>(x);
    const auto power = static_cast<std::int64_t>(bits - root_half) >> 52;
    const auto m = std::bit_cast<double>(bits - (static_cast<std::uint64_t>(power) << 52U));
    const double exponent = static_cast<double>(power) + scale;
    const double s = (m - 1.0) / (m + 1.0);
    const double z = s * s;
    constexpr double terms[] = {1.0 / 3,  1.0 / 5,  1.0 / 7,  1.0 / 9,  1.0 / 11,
                                1.0 / 13, 1.0 / 15, 1.0 / 17, 1.0 / 19, 1.0 / 21};
    double sum = 0.0;
    for (int k = 9; k >= 0; --k) sum = (sum + terms[k]) * z;
    return exponent * ln2_high + (exponent * ln2_low + 2.0 * (s + s * sum));
}

float quick_logarithm(double x)
{
    constexpr float ln2 = 0.693147181F;
    constexpr std::int32_t root_half = 0x3f3504f3; // bits of sqrt(1/2)
    const auto bits = std::bit_cast<std::int32_t>(static_cast<float>(x));
    const std::int32_t exponent = (bits - root_half) >> 23;
    const auto m = std::bit_cast<float>(bits - exponent * (1 << 23));
    const float s = (m - 1.0F) / (m + 1.0F);
    const float z = s * s;
    const float p = ((z * (1.0F / 7.0F) + 0.2F) * z + (1.0F / 3.0F)) * z + 1.0F;
    return static_cast<float>(exponent) * ln2 + 2.0F * s * p;
}

double cube_root(double x)
{
    if (!(x > 0.0) || x == infinite) return x;
    if (x < std::numeric_limits<double>::min()) return cube_root(x * 0x1p54) * 0x1p-18;
    double root = exponential(logarithm(x) / 3.0);
    root -= (root * root * root - x) / (3.0 * root * root);
    return root;
}

double sine(double x)
{
    const auto [rest, quarter] = quarter_turns(x);
    const double value = (quarter & 1) != 0 ? small_cosine(rest) : small_sine(rest);
    return quarter >= 2 ? -value : value;
}

double cosine(double x)
{
    const auto [rest, quarter] = quarter_turns(x);
    const double value = (quarter & 1) != 0 ? small_sine(rest) : small_cosine(rest);
    return quarter == 1 || quarter == 2 ? -value : value;
}

double arctangent(double y, double x)
{
    const double across = std::fabs(y);
    const double along = std::fabs(x);
    double angle = 0.0;
    if (across <= along)
        angle = along > 0.0 ? unit_arctangent(across / along) : 0.0;
    else
        angle = std::numbers::pi / 2.0 - unit_arctangent(along / across);
    if (std::signbit(x)) angle = std::numbers::pi - angle;
    return std::copysign(angle, y);
}

double arccosine(double x)
{
    if (x >= 1.0) return 0.0;
    if (x <= -1.0) return std::numbers::pi;
    return arctangent(std::sqrt((1.0 - x) * (1.0 + x)), x);
}

// Stirling's series, from 8 on.
double log_gamma(double x)
{
    double shift = 0.0;
    while (x < 8.0) {
        shift += logarithm(x);
        x += 1.0;
    }
    const double z = 1.0 / (x * x);
    const double series =
        (1.0 / 12.0 - z * (1.0 / 360.0 - z * (1.0 / 1260.0 - z * (1.0 / 1680.0 - z / 1188.0)))) / x;
    constexpr double half_log_two_pi = 0.91893853320467274;
    return (x - 0.5) * logarithm(x) - x + half_log_two_pi + series - shift;
}

double log_sum(double x, double y)
{
    const double larger = std::fmax(x, y);
    if (larger == -infinite) return larger;
    return larger + logarithm(1.0 + exponential(std::fmin(x, y) - larger));
}

} // namespace torvik::solver
