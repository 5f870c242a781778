#include "plain/fields.h"

#include "text/fields.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

namespace torvik::plain {

namespace {

// Right-aligns text in w columns, or gives w asterisks.
std::string rightaligned(int w, const std::string& text)
{
    const auto width = static_cast<std::size_t>(w);
    if (text.size() > width) return rule(w, '*');
    return std::string(width - text.size(), ' ') + text;
}

// Gives NaN or Infinity in w columns, shortened to Inf where the word is too long.
std::string notfinite(int w, double x)
{
    if (std::isnan(x)) return rightaligned(w, "NaN");
    const std::string sign = x < 0.0 ? "-" : "";
    const std::string word = sign + (w >= (x < 0.0 ? 9 : 8) ? "Infinity" : "Inf");
    return rightaligned(w, word);
}

// Gives x as a decimal with d digits after the point.
std::string decimals(double x, std::chars_format form, int d)
{
    // Room for the largest double: 309 digits, a point and a sign.
    std::string text(static_cast<std::size_t>(d) + 320, ' ');
    const char* end = std::to_chars(text.data(), text.data() + text.size(), x, form, d).ptr;
    text.resize(static_cast<std::size_t>(end - text.data()));
    return text;
}

struct scientific {
    std::string digits; // sign, one digit, the rest without a point
    int exponent;       // of the first digit
};

// Gives x rounded to one digit before the point and d after it.
scientific scientificdigits(double x, int d)
{
    const std::string text = decimals(x, std::chars_format::scientific, d);
    const std::size_t e = text.find('e');
    std::string digits = text.substr(0, e);
    if (const std::size_t point = digits.find('.'); point != std::string::npos)
        digits.erase(point, 1);
    return {digits, std::atoi(text.c_str() + e + 1)};
}

// Gives E+00, or +000 where two digits do not suffice.
std::string exponentpart(int exponent)
{
    const int magnitude = std::abs(exponent);
    const std::string sign = exponent < 0 ? "-" : "+";
    const std::string digits = std::to_string(magnitude);
    if (magnitude > 99) return sign + digits;
    return "E" + sign + (magnitude < 10 ? "0" : "") + digits;
}

// Gives how many digits stand before the point of an engineering number: 1 to 3.
int leadingdigits(int exponent)
{
    return (exponent % 3 + 3) % 3 + 1;
}

} // namespace

std::string F(int w, int d, double x)
{
    if (!std::isfinite(x)) return notfinite(w, x);
    std::string text = decimals(x, std::chars_format::fixed, d);
    if (d == 0) text += '.';
    const std::size_t zero = text[0] == '-' ? 1 : 0;
    const bool onecolumnshort = text.size() == static_cast<std::size_t>(w) + 1;
    if (onecolumnshort && d > 0 && text[zero] == '0') text.erase(zero, 1);
    return rightaligned(w, text);
}

std::string ES(int w, int d, double x)
{
    if (!std::isfinite(x)) return notfinite(w, x);
    scientific s = scientificdigits(x, d);
    s.digits.insert(s.digits[0] == '-' ? 2 : 1, 1, '.');
    return rightaligned(w, s.digits + exponentpart(s.exponent));
}

std::string EN(int w, int d, double x)
{
    if (!std::isfinite(x)) return notfinite(w, x);
    int before = leadingdigits(scientificdigits(x, 17).exponent);
    scientific s = scientificdigits(x, d + before - 1);
    const std::size_t sign = s.digits[0] == '-' ? 1 : 0;
    if (leadingdigits(s.exponent) != before) {
        // Rounded up to a power of ten: one more digit before the point, or a higher exponent.
        // All digits behind the leading 1 are zero, so only their number changes.
        before = leadingdigits(s.exponent);
        s.digits.resize(sign + static_cast<std::size_t>(d + before), '0');
    }
    s.digits.insert(sign + static_cast<std::size_t>(before), 1, '.');
    return rightaligned(w, s.digits + exponentpart(s.exponent - (before - 1)));
}

} // namespace torvik::plain
