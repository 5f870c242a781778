#include "property/decimals.h"

#include <bit>
#include <cstdint>
#include <vector>

namespace torvik {

namespace {

// A whole number, nine decimal digits to a limb, the lowest first.
using natural = std::vector<std::uint32_t>;

constexpr std::uint32_t limbend = 1000000000;

void multiply(natural& n, std::uint32_t factor)
{
    std::uint64_t carry = 0;
    for (std::uint32_t& limb : n) {
        carry += std::uint64_t{limb} * factor;
        limb = static_cast<std::uint32_t>(carry % limbend);
        carry /= limbend;
    }
    if (carry > 0) n.push_back(static_cast<std::uint32_t>(carry));
}

void multiplybypower(natural& n, std::uint32_t base, int exponent)
{
    for (; exponent > 0; --exponent) {
        std::uint32_t factor = base; // as many at once as fit
        while (exponent > 1 && factor <= limbend / base) {
            factor *= base;
            --exponent;
        }
        multiply(n, factor);
    }
}

std::string digitsof(const natural& n)
{
    std::string digits;
    for (std::size_t k = n.size(); k-- > 0;) {
        std::string limb = std::to_string(n[k]);
        digits += std::string(9 - limb.size(), '0') + limb;
    }
    return digits;
}

// Adds one in the last place.
std::string incremented(std::string digits)
{
    for (std::size_t i = digits.size(); i-- > 0;) {
        if (digits[i] != '9') {
            ++digits[i];
            return digits;
        }
        digits[i] = '0';
    }
    return "1" + digits;
}

// Keeps the first n digits, rounded by the others.
std::string keptdigits(const std::string& digits, std::size_t n)
{
    std::string kept = digits.substr(0, n);
    const std::string rest = digits.substr(n);
    const std::string half = "5" + std::string(rest.empty() ? 0 : rest.size() - 1, '0');
    const bool odd = !kept.empty() && (kept.back() - '0') % 2 == 1;
    const bool up = !rest.empty() && (rest > half || (rest == half && odd));
    return up ? incremented(kept) : kept;
}

} // namespace

decimal exactdecimal(double x)
{
    const auto bits = std::bit_cast<std::uint64_t>(x);
    const auto field = static_cast<int>(bits >> 52 & 2047);
    std::uint64_t mantissa = bits & ((std::uint64_t{1} << 52) - 1);
    if (field > 0) mantissa += std::uint64_t{1} << 52;
    const int exponent = (field > 0 ? field : 1) - 1075; // x = mantissa 2^exponent

    natural n;
    for (; mantissa > 0; mantissa /= limbend)
        n.push_back(static_cast<std::uint32_t>(mantissa % limbend));
    // m 2^-e = m 5^e 10^-e
    multiplybypower(n, exponent < 0 ? 5 : 2, exponent < 0 ? -exponent : exponent);

    decimal value;
    value.negative = bits >> 63 != 0;
    value.digits = digitsof(n);
    value.point = static_cast<int>(value.digits.size()) + (exponent < 0 ? exponent : 0);
    const std::size_t first = value.digits.find_first_not_of('0');
    if (first == std::string::npos) return {value.negative, "", 0};
    value.digits = value.digits.substr(first, value.digits.find_last_not_of('0') + 1 - first);
    value.point -= static_cast<int>(first);
    return value;
}

std::string roundedmultiple(const decimal& x, int d)
{
    const int kept = x.point + d; // how many digits stand above the last place
    if (x.digits.empty() || kept < 0) return "0";
    std::string digits = x.digits;
    if (digits.size() < static_cast<std::size_t>(kept))
        digits.resize(static_cast<std::size_t>(kept), '0');
    const std::string rounded = keptdigits(digits, static_cast<std::size_t>(kept));
    return rounded.empty() ? "0" : rounded;
}

decimal roundedto(const decimal& x, int n)
{
    const auto size = static_cast<std::size_t>(n);
    std::string digits = x.digits;
    if (digits.size() < size) digits.resize(size, '0');
    decimal rounded = {x.negative, keptdigits(digits, size), x.point};
    if (rounded.digits.size() > size) {
        rounded.digits.pop_back(); // rounded up to a power of ten
        ++rounded.point;
    }
    return rounded;
}

} // namespace torvik
