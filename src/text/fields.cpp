#include "text/fields.h"

#include "numeric/unfused.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <utility>

// A number in any notation is a whole number with a point set into its digits: x with d decimals is
// |x| 10^d, rounded; in scientific and engineering notation it is |x| 10^(d - e), with the exponent
// e chosen such that no more digits come out than the notation has.
//
// A double is m 2^e with whole numbers m and e, so that |x| 10^k = m 5^k 2^(e + k). Nearly all that
// reports and logs print has few decimals, and m 5^k fits into 128 bits: then a shift to the right
// gives the whole part, and the bits shifted out say exactly whether it is to be rounded up. For
// all else the standard library finds the digits.

namespace torvik {

namespace {

__extension__ using wideinteger = unsigned __int128;

// 5^27 is the last power of five below 2^63; times 53 bits of m it has 116.
constexpr int largestpower = 27;
constexpr int mostbits = 116;

constexpr auto powersoffive = [] {
    std::array<std::uint64_t, largestpower + 1> powers = {1};
    for (std::size_t k = 1; k <= largestpower; ++k) powers[k] = 5 * powers[k - 1];
    return powers;
}();

// Right-aligns text in w columns, or gives w asterisks.
std::string rightaligned(int w, std::string text)
{
    const auto width = static_cast<std::size_t>(w);
    if (text.size() > width) return rule(w, '*');
    text.insert(0, width - text.size(), ' ');
    return text;
}

// Gives NaN or Infinity in w columns, shortened to Inf where the word is too long.
std::string notfinite(int w, double x)
{
    if (std::isnan(x)) return rightaligned(w, "NaN");
    const std::string sign = x < 0.0 ? "-" : "";
    const std::string word = sign + (w >= (x < 0.0 ? 9 : 8) ? "Infinity" : "Inf");
    return rightaligned(w, word);
}

std::string digitsof(std::uint64_t n)
{
    std::array<char, 20> text;
    char* end = std::to_chars(text.data(), text.data() + text.size(), n).ptr;
    return {text.data(), end};
}

// Finds |x| 10^k, rounded to a whole number, ties to even, in 128 bits.
//
// Given:     x, k    k not negative
// Returned:  whole   the number; untouched on failure
//            true, or false where 128 bits do not suffice
bool findmultiple(double x, int k, std::uint64_t& whole)
{
    if (k > largestpower) return false;
    int e = 0;
    const auto m = static_cast<std::uint64_t>(std::frexp(std::fabs(x), &e) * 0x1p53);
    const int shift = 53 - e - k; // to the right
    if (shift <= 0) return false;
    if (shift > mostbits) { // less than a half
        whole = 0;
        return true;
    }
    const wideinteger product = wideinteger{m} * powersoffive[static_cast<std::size_t>(k)];
    const wideinteger quotient = product >> shift;
    if (quotient >= UINT64_MAX) return false;
    const wideinteger rest = product - (quotient << shift);
    const wideinteger half = wideinteger{1} << (shift - 1);
    whole = static_cast<std::uint64_t>(quotient);
    if (rest > half || (rest == half && whole % 2 == 1)) ++whole;
    return true;
}

// Gives what the standard library prints of |x|, without the point.
std::string decimals(double x, std::chars_format form, int d)
{
    // The largest double has 309 digits before the point.
    std::string text(static_cast<std::size_t>(d) + 320, ' ');
    const char* end =
        std::to_chars(text.data(), text.data() + text.size(), std::fabs(x), form, d).ptr;
    text.resize(static_cast<std::size_t>(end - text.data()));
    if (const std::size_t point = text.find('.'); point != std::string::npos) text.erase(point, 1);
    return text;
}

// Gives the digits of |x| 10^k for a negative k that leaves one digit at least, or none of a number
// that is rounded up to 10^-k.
std::string leadingdigits(double x, int k)
{
    // With 17 decimals no double rounds up to a power of ten.
    const auto exponentin = [](const std::string& text) {
        return std::atoi(text.c_str() + text.find('e') + 1);
    };
    const int exponent = exponentin(decimals(x, std::chars_format::scientific, 17));
    if (exponent + k < 0) return "1";
    std::string digits = decimals(x, std::chars_format::scientific, exponent + k);
    const bool roundedup = exponentin(digits) > exponent;
    digits.resize(digits.find('e'));
    if (roundedup) digits += '0';
    return digits;
}

// Gives the digits of |x| 10^k, rounded to a whole number, ties to even.
//
// Given:     x   finite
//            k   positive, zero, or as above
// Returned:  the digits without leading zeros; "0" for zero
std::string multiple(double x, int k)
{
    if (k < 0) return leadingdigits(x, k);
    std::uint64_t whole = 0;
    if (findmultiple(x, k, whole)) return digitsof(whole);
    const std::string digits = decimals(x, std::chars_format::fixed, k);
    return digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1));
}

// Gives at least n digits, with zeros in front.
std::string padded(std::string digits, int n)
{
    const auto columns = static_cast<std::size_t>(n);
    if (digits.size() < columns) digits.insert(0, columns - digits.size(), '0');
    return digits;
}

// Sets the sign of x, digits with a point before the last d of them, and an exponent in w columns.
std::string set(int w, double x, const std::string& digits, int d, const std::string& exponent)
{
    const auto width = static_cast<std::size_t>(w);
    const std::size_t sign = std::signbit(x) ? 1 : 0;
    const std::size_t columns = sign + digits.size() + 1 + exponent.size();
    if (columns > width) return rule(w, '*');
    std::string field(width, ' ');
    auto place = field.end() - static_cast<std::ptrdiff_t>(columns);
    if (sign == 1) *place++ = '-';
    place = std::copy(digits.begin(), digits.end() - d, place);
    *place++ = '.';
    place = std::copy(digits.end() - d, digits.end(), place);
    std::copy(exponent.begin(), exponent.end(), place);
    return field;
}

// Gives E+00, or +000 where two digits do not suffice.
std::string exponentpart(int exponent)
{
    const int magnitude = std::abs(exponent);
    const char sign = exponent < 0 ? '-' : '+';
    const auto digit = [&](int unit) { return static_cast<char>('0' + magnitude / unit % 10); };
    return {magnitude > 99 ? sign : 'E', magnitude > 99 ? digit(100) : sign, digit(10), digit(1)};
}

// Gives the exponent of the first digit of x in decimals, or, rarely, one less; 0 for zero.
int exponentbelow(double x)
{
    if (x == 0.0) return 0;
    int e = 0;
    const double f = std::frexp(std::fabs(x), &e);
    // |x| = f 2^e, and for f in 0.5..1 the logarithm lies above its chord.
    constexpr double log10of2 = 0.30102999566398120;
    return static_cast<int>(std::floor(log10of2 * (e + (2.0 * f - 2.0))));
}

// Sets a number with an exponent that is a multiple of step, and up to that many digits before the
// point.
std::string withexponent(int w, int d, double x, int step)
{
    if (!std::isfinite(x)) return notfinite(w, x);
    const int below = exponentbelow(x);
    int exponent = below - (below % step + step) % step;
    std::string digits = multiple(x, d - exponent);
    // The next exponent, if the one from below was not it or x rounds up to a power of ten.
    if (static_cast<int>(digits.size()) > d + step) {
        exponent += step;
        digits = multiple(x, d - exponent);
    }
    return set(w, x, padded(digits, d + 1), d, exponentpart(exponent));
}

} // namespace

std::string I(int w, int n)
{
    return rightaligned(w, std::to_string(n));
}

std::string F(int w, int d, double x)
{
    if (!std::isfinite(x)) return notfinite(w, x);
    std::string digits = padded(multiple(x, d), d + 1);
    const int columns = static_cast<int>(digits.size()) + (std::signbit(x) ? 2 : 1);
    if (columns == w + 1 && d > 0 && digits[0] == '0') digits.erase(0, 1);
    return set(w, x, digits, d, "");
}

std::string ES(int w, int d, double x)
{
    return withexponent(w, d, x, 1);
}

std::string EN(int w, int d, double x)
{
    return withexponent(w, d, x, 3);
}

std::string L(int w, bool value)
{
    return rightaligned(w, value ? "T" : "F");
}

std::string A(int w, std::string_view text)
{
    const auto width = static_cast<std::size_t>(w);
    return rightaligned(w, std::string(text.substr(0, width)));
}

std::string X(int n)
{
    return rule(n, ' ');
}

std::string rule(int n, char c)
{
    return std::string(static_cast<std::size_t>(n), c);
}

} // namespace torvik
