// Every field against arithmetic on all digits of the exact decimal value.

#include "text/fields.h"

#include "property/decimals.h"
#include "property/randomlattices.h"
#include "support/cases.h"
#include "support/fresh.h"
#include "text/freeform.h"

#include <bit>
#include <cfloat>
#include <limits>
#include <variant>
#include <vector>

namespace torvik {

namespace {

class FieldsOfAnyValue : public fresh {};

std::string blanks(std::size_t n)
{
    std::string text;
    while (text.size() < n) text += ' ';
    return text;
}

// The rule that all fields of numbers share.
std::string setright(int w, const std::string& text)
{
    const auto width = static_cast<std::size_t>(w);
    if (text.size() > width) return std::string(width, '*');
    return blanks(width - text.size()) + text;
}

std::string exactF(int w, int d, double x)
{
    const decimal exact = exactdecimal(x);
    const auto behind = static_cast<std::size_t>(d);
    std::string digits = roundedmultiple(exact, d);
    if (digits.size() < behind + 1) digits.insert(0, behind + 1 - digits.size(), '0');
    const std::string before = digits.substr(0, digits.size() - behind);
    const std::string after = "." + digits.substr(digits.size() - behind);
    const std::string sign = exact.negative ? "-" : "";
    const std::string full = sign + before + after;
    const bool fits = full.size() <= static_cast<std::size_t>(w);
    return setright(w, fits || before != "0" || d == 0 ? full : sign + after);
}

std::string withexponent(const std::string& mantissa, int exponent)
{
    const std::string sign = exponent < 0 ? "-" : "+";
    const std::string digits = std::to_string(std::abs(exponent));
    if (digits.size() == 3) return mantissa + sign + digits;
    return mantissa + "E" + sign + (digits.size() == 1 ? "0" : "") + digits;
}

std::string zerowithexponent(bool negative, int d)
{
    return (negative ? "-0." : "0.") + std::string(static_cast<std::size_t>(d), '0') + "E+00";
}

// A mantissa with its first digits before the point.
std::string mantissa(const decimal& rounded, int before)
{
    std::string text = rounded.digits;
    text.insert(static_cast<std::size_t>(before), 1, '.');
    return (rounded.negative ? "-" : "") + text;
}

std::string exactES(int w, int d, double x)
{
    const decimal exact = exactdecimal(x);
    if (exact.digits.empty()) return setright(w, zerowithexponent(exact.negative, d));
    const decimal rounded = roundedto(exact, d + 1);
    return setright(w, withexponent(mantissa(rounded, 1), rounded.point - 1));
}

// The number of digits before the point follows from the exact value, and where rounding reaches
// the next power of ten, from the rounded one.
std::string exactEN(int w, int d, double x)
{
    const decimal exact = exactdecimal(x);
    if (exact.digits.empty()) return setright(w, zerowithexponent(exact.negative, d));
    const auto exponentof = [](const decimal& value) {
        int exponent = value.point - 1;
        while (exponent % 3 != 0) --exponent;
        return exponent;
    };
    decimal rounded = roundedto(exact, exact.point - exponentof(exact) + d);
    const int exponent = exponentof(rounded);
    rounded.digits.resize(static_cast<std::size_t>(rounded.point - exponent + d), '0');
    return setright(w, withexponent(mantissa(rounded, rounded.point - exponent), exponent));
}

std::string exactword(int w, double x)
{
    if (std::isnan(x)) return setright(w, "NaN");
    const std::string sign = std::signbit(x) ? "-" : "";
    const std::string word = sign + "Infinity";
    return setright(w, word.size() <= static_cast<std::size_t>(w) ? word : sign + "Inf");
}

double neighbour(double x, int steps)
{
    const double end = steps < 0 ? -DBL_MAX : DBL_MAX;
    for (; steps != 0; steps += steps < 0 ? 1 : -1) x = std::nextafter(x, end);
    return x;
}

double poweroften(int n)
{
    return std::strtod(("1e" + std::to_string(n)).c_str(), nullptr);
}

// Numbers for a field of d decimals: of every magnitude, of the size that reports print, exact
// ties, near-ties, powers of ten and their neighbours, subnormal numbers, no numbers.
double awkwardnumber(randomnumbers& random, int d)
{
    const double sign = random.whole(0, 1) == 0 ? 1.0 : -1.0;
    const int nudge = random.whole(-2, 2);
    switch (random.whole(0, 9)) {
    case 0: return std::bit_cast<double>(random.bits());
    case 1: return random.between(-2000.0, 2000.0);
    case 2: return random.between(-1.5, 1.5);
    case 3: return sign * std::ldexp(random.whole(0, 40000), -random.whole(0, 8));
    case 4: return sign * neighbour(poweroften(random.whole(-323, 308)), nudge);
    case 5: return sign * neighbour(poweroften(random.whole(-6, 12)), nudge);
    case 6: { // a half in the last place, as near as a double comes
        const double half = (random.whole(0, 99999) + 0.5) / poweroften(d);
        return sign * neighbour(half, nudge);
    }
    case 7: { // just what rounds up to a power of ten, or does not
        const int n = random.whole(-3, 6);
        return sign * neighbour(poweroften(n) - 0.5 * poweroften(random.whole(-d - 1, -d)), nudge);
    }
    case 8: return std::bit_cast<double>(random.bits() & 0x800FFFFFFFFFFFFF);
    default: {
        const double ends[] = {0.0,          DBL_MAX,     DBL_MIN,
                               DBL_TRUE_MIN, DBL_EPSILON, std::numeric_limits<double>::infinity()};
        return sign * ends[random.whole(0, 5)];
    }
    }
}

// A width for a text: what it needs, one or two columns more or less, far too few, far too many.
int awkwardwidth(randomnumbers& random, const std::string& text)
{
    const auto needed = static_cast<int>(text.size() - text.find_first_not_of(' '));
    const int spare[] = {0, 0, -1, -1, 1, 2, -2, -needed / 2, random.whole(0, 20), -needed + 1};
    return std::max(1, needed + spare[random.whole(0, 9)]);
}

using numberfield = std::string (*)(int, int, double);

void expectexact(numberfield field, numberfield exact, int mostdecimals, const char* name)
{
    randomnumbers random(61);
    for (int n = cases(20000, 500000); n > 0; --n) {
        const int d = random.whole(0, mostdecimals);
        const double x = awkwardnumber(random, d);
        const bool finite = std::isfinite(x);
        const auto expected = [&](int w) { return finite ? exact(w, d, x) : exactword(w, x); };
        const int w = awkwardwidth(random, expected(340));
        ASSERT_EQ(field(w, d, x), expected(w))
            << std::hexfloat << x << std::defaultfloat << " in " << name << w << '.' << d;
    }
}

TEST_F(FieldsOfAnyValue, HoldFixedPointNumbersThatAreExactToTheLastDigit)
{
    expectexact(F, exactF, 16, "F");
}

TEST_F(FieldsOfAnyValue, HoldScientificNumbersThatAreExactToTheLastDigit)
{
    expectexact(ES, exactES, 20, "ES");
}

TEST_F(FieldsOfAnyValue, HoldEngineeringNumbersThatAreExactToTheLastDigit)
{
    expectexact(EN, exactEN, 15, "EN");
}

TEST_F(FieldsOfAnyValue, HoldIntegersThatAreExact)
{
    randomnumbers random(62);
    for (int n = cases(20000, 2000000); n > 0; --n) {
        auto i = static_cast<int>(static_cast<std::uint32_t>(random.bits()));
        i >>= random.whole(0, 31);
        if (random.whole(0, 3) == 0) {
            i = static_cast<int>(poweroften(random.whole(0, 9))) - random.whole(0, 1);
            if (random.whole(0, 1) == 0) i = -i;
        }
        std::string digits; // from the last one on
        for (long long rest = std::llabs(i); rest > 0 || digits.empty(); rest /= 10)
            digits.insert(0, 1, "0123456789"[rest % 10]);
        const std::string text = (i < 0 ? "-" : "") + digits;
        const int w = awkwardwidth(random, text);
        ASSERT_EQ(I(w, i), setright(w, text)) << i << " in I" << w;
    }
}

std::string randomtext(randomnumbers& random, int longest)
{
    std::string text;
    for (int n = random.whole(0, longest); n > 0; --n)
        text += static_cast<char>(random.whole(0, 2) == 0 ? random.whole(0, 255) - 128 : 'x');
    return text;
}

TEST_F(FieldsOfAnyValue, HoldTextsBlanksAndLogicalsColumnByColumn)
{
    randomnumbers random(63);
    for (int n = cases(5000, 500000); n > 0; --n) {
        const std::string text = randomtext(random, 30);
        const int w = random.whole(0, 40);
        const auto width = static_cast<std::size_t>(w);
        const std::string field = A(w, text);
        ASSERT_EQ(field.size(), width);
        const std::size_t shown = std::min(text.size(), width);
        for (std::size_t i = 0; i < width; ++i)
            ASSERT_EQ(field[i], i < width - shown ? ' ' : text[i - (width - shown)]);

        const char c = static_cast<char>(random.whole(0, 255) - 128);
        ASSERT_EQ(X(w), blanks(width));
        const std::string line = rule(w, c);
        ASSERT_EQ(line.size(), width);
        for (const char each : line) ASSERT_EQ(each, c);

        const bool value = random.whole(0, 1) == 1;
        const std::string letter = value ? "T" : "F";
        if (w > 0) {
            ASSERT_EQ(L(w, value), blanks(width - 1) + letter);
        }
        ASSERT_EQ(joined(field, X(w), line), field + blanks(width) + line);
    }
}

using item = std::variant<int, std::string>;

// The line in other words: an integer is 12 columns, a text is itself, and one blank more stands
// where the line begins with a text or a text comes after an integer.
std::string plainline(const std::vector<item>& items)
{
    std::string line;
    for (std::size_t k = 0; k < items.size(); ++k) {
        if (std::holds_alternative<int>(items[k])) {
            line += setright(12, std::to_string(std::get<int>(items[k])));
            continue;
        }
        if (k == 0 || std::holds_alternative<int>(items[k - 1])) line += ' ';
        line += std::get<std::string>(items[k]);
    }
    return line;
}

// Adds random items to a line, up to six.
template <class... Items>
void expectplainline(randomnumbers& random, std::vector<item>& so, const Items&... items)
{
    ASSERT_EQ(freeline(items...), plainline(so));
    if constexpr (sizeof...(Items) < 6) {
        if (random.whole(0, 1) == 0) {
            const auto i = static_cast<int>(static_cast<std::uint32_t>(random.bits()));
            const int shorter = i >> random.whole(0, 31);
            so.emplace_back(shorter);
            expectplainline(random, so, items..., shorter);
        } else {
            const std::string text = randomtext(random, 5);
            so.emplace_back(text);
            expectplainline(random, so, items..., text);
        }
    }
}

TEST_F(FieldsOfAnyValue, MakeUpFreeFormatLines)
{
    randomnumbers random(64);
    for (int n = cases(3000, 300000); n > 0; --n) {
        std::vector<item> none;
        ASSERT_NO_FATAL_FAILURE(expectplainline(random, none));
    }
}

TEST_F(FieldsOfAnyValue, AreReadBackToTheLastBitWithSeventeenDigits)
{
    // An exponent without its letter is a malformed number for the reader, so below 1e100.
    randomnumbers random(65);
    for (int n = cases(5000, 500000); n > 0; --n) {
        const double x = awkwardnumber(random, 16);
        if (!(std::fabs(x) < 9e99) || (std::fabs(x) < 2e-99 && x != 0.0)) continue;
        const std::string text = ES(26, 16, x);
        freeformtext source = {text + "\n", 0};
        double value = 1.5;
        ASSERT_EQ(readreals(source, {&value, 1}), readdone) << text;
        ASSERT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(x)) << text;
    }
}

} // namespace

} // namespace torvik
