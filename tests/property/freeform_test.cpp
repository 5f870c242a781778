// Values written in any legal spelling and layout are read back; what is not legal is refused.

#include "text/freeform.h"

#include "property/decimals.h"
#include "property/randomlattices.h"
#include "support/cases.h"
#include "support/fresh.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <regex>
#include <vector>

namespace torvik {

namespace {

class FreeFormReading : public fresh {};

constexpr double kept = -77.0; // what a place holds before it is read

// Writes values in any spelling that the rules allow.
class speller {
public:
    explicit speller(std::uint64_t seed) : random_(seed) {}

    bool chance(int outof)
    {
        return random_.whole(1, outof) == 1;
    }

    int whole(int low, int high)
    {
        return random_.whole(low, high);
    }

    double anyreal()
    {
        if (chance(4)) return whole(-1000, 1000);
        if (chance(3)) return std::ldexp(whole(-50000, 50000), -whole(0, 20));
        for (;;) {
            const double x = std::bit_cast<double>(random_.bits());
            if (std::isfinite(x)) return x;
        }
    }

    int anyinteger()
    {
        return static_cast<int>(static_cast<std::uint32_t>(random_.bits())) >> whole(0, 31);
    }

    // Spells a real that is read back to the last bit: by the shortest digits that do so, by
    // seventeen, or by all of its exact value; with the point anywhere among or around them and the
    // exponent that makes up for it.
    std::string real(double x)
    {
        decimal spelt = exactdecimal(x);
        if (!spelt.digits.empty() && chance(2)) spelt = roundedto(spelt, 17);
        if (!spelt.digits.empty() && chance(2)) spelt = shortest(x);
        std::string digits = spelt.digits;
        int before = spelt.point; // digits before the point
        if (std::abs(before) > 30 || chance(3))
            before = whole(-3, static_cast<int>(digits.size()) + 3);
        const int exponent = digits.empty() ? whole(-400, 400) : spelt.point - before;
        if (before < 0) digits.insert(0, static_cast<std::size_t>(-before), '0');
        const auto point = static_cast<std::size_t>(std::max(before, 0));
        if (digits.size() < point) digits.resize(point, '0');
        std::string front = zeros() + digits.substr(0, point);
        std::string back = digits.substr(point) + zeros();
        if (front.empty() && back.empty()) front = "0";
        const bool pointless = back.empty() && chance(2);
        return sign(spelt.negative) + front + (pointless ? "" : ".") + back + power(exponent);
    }

    std::string integer(int n)
    {
        const std::string digits = std::to_string(n);
        return sign(n < 0) + zeros() + digits.substr(n < 0 ? 1 : 0);
    }

    // Any bytes but line ends.
    std::string anyword()
    {
        std::string word;
        for (int n = whole(0, 12); n > 0; --n) {
            const char c =
                chance(3) ? static_cast<char>(whole(-128, 127)) : "ab'\"/,* \t19_.#"[whole(0, 13)];
            if (c != '\n' && c != '\r') word += c;
        }
        return word;
    }

    std::string word(const std::string& text)
    {
        const bool plain = !text.empty() && text.find_first_of(" \t,/") == std::string::npos
                           && text[0] != '\'' && text[0] != '"' && !looksrepeated(text);
        if (plain && chance(2)) return text;
        const char quote = chance(2) ? '\'' : '"';
        std::string quoted(1, quote);
        for (const char c : text) {
            if (chance(10)) quoted += lineend();
            quoted += c;
            if (c == quote) quoted += quote;
        }
        if (chance(10)) quoted += lineend();
        return quoted + quote;
    }

    std::string lineend()
    {
        return chance(2) ? "\n" : "\r\n";
    }

    std::string blanks(int least, int most)
    {
        std::string text;
        for (int n = whole(least, most); n > 0; --n) {
            switch (whole(0, 3)) {
            case 0: text += lineend(); break;
            case 1: text += '\t'; break;
            default: text += ' ';
            }
        }
        return text;
    }

    std::string comma()
    {
        return blanks(0, 2) + "," + blanks(0, 2);
    }

private:
    static bool looksrepeated(const std::string& text)
    {
        const std::size_t end = text.find_first_not_of("0123456789");
        return end != std::string::npos && end > 0 && text[end] == '*';
    }

    static decimal shortest(double x)
    {
        char text[40];
        const auto form = std::chars_format::scientific;
        const auto end = std::to_chars(text, text + sizeof text, std::fabs(x), form).ptr;
        const std::string spelt(text, end);
        const std::size_t e = spelt.find('e');
        std::string digits = spelt.substr(0, e);
        std::erase(digits, '.');
        return {std::signbit(x), digits, std::stoi(spelt.substr(e + 1)) + 1};
    }

    std::string zeros()
    {
        return std::string(chance(3) ? static_cast<std::size_t>(whole(0, 3)) : 0, '0');
    }

    std::string sign(bool negative)
    {
        return negative ? "-" : chance(4) ? "+" : "";
    }

    std::string power(int exponent)
    {
        if (exponent == 0 && chance(2)) return "";
        const std::string letter(1, "eEdD"[whole(0, 3)]);
        return letter + sign(exponent < 0) + zeros() + std::to_string(std::abs(exponent));
    }

    randomnumbers random_;
};

// One read as it is written. Places are filled by groups of equal items.
class layout {
public:
    explicit layout(speller& write) : write_(write), text_(write.blanks(0, 2)) {}

    // Adds a spelt item for several places.
    void add(int repeat, const std::string& spelt)
    {
        separate();
        const bool counted = repeat > 1 || write_.chance(10);
        text_ += (counted ? count(repeat) : "") + spelt;
        last_ = item;
    }

    // Adds null items: as a repeat count alone, or as nothing before a comma.
    void addnulls(int repeat)
    {
        if (write_.chance(2)) {
            separate();
            text_ += count(repeat);
            last_ = item;
            return;
        }
        if (last_ == item) text_ += write_.comma();
        for (; repeat > 0; --repeat) text_ += write_.blanks(0, 1) + ",";
        last_ = nothing;
    }

    void addslash()
    {
        if (last_ == item && write_.chance(2)) separate();
        text_ += "/";
        last_ = nothing;
    }

    // Gives the text with an end of its last line, which may hold remarks.
    std::string finished()
    {
        if (write_.chance(2)) return text_ + write_.lineend();
        return text_ + (last_ == item ? " 5,, 'remark / 3*" : "remark,\t6") + write_.lineend();
    }

    // Gives the text with nothing more than separators.
    std::string unfinished()
    {
        separate();
        return text_;
    }

private:
    enum kind { nothing, item };

    std::string count(int repeat)
    {
        return write_.chance(3) ? "0" + std::to_string(repeat) + "*" : std::to_string(repeat) + "*";
    }

    void separate()
    {
        if (last_ == item) text_ += write_.chance(2) ? write_.comma() : write_.blanks(1, 3);
        if (last_ == nothing) text_ += write_.blanks(0, 2);
    }

    speller& write_;
    std::string text_;
    kind last_ = nothing;
};

enum class readkind { word, integer, reals, counted };

// What a read is written as, what it finds before, and what it leaves.
struct writtenread {
    readkind kind = readkind::word;
    std::string text;
    std::string word = "kept";
    int before = -77; // of the integer
    int integer = -77;
    std::vector<double> values;
};

// Writes the items of several reals. The places behind a slash stay as they were.
void writereals(layout& line, speller& write, std::vector<double>& values, std::size_t first)
{
    while (first < values.size()) {
        if (write.chance(25)) return line.addslash();
        const auto left = static_cast<int>(values.size() - first);
        // The last item may be repeated beyond the places; what is left of it is forgotten.
        const int repeat = write.chance(4) ? write.whole(1, left + 2) : 1;
        const auto run = static_cast<std::size_t>(std::min(repeat, left));
        if (write.chance(8)) {
            line.addnulls(static_cast<int>(run));
        } else {
            const double x = write.anyreal();
            line.add(repeat, write.real(x));
            std::fill_n(values.begin() + static_cast<std::ptrdiff_t>(first), run, x);
        }
        first += run;
    }
}

void writecounted(layout& line, speller& write, writtenread& read)
{
    const int n = write.whole(-1, 9);
    read.values.assign(static_cast<std::size_t>(std::max(n, 0)), kept);
    std::size_t first = 0;
    if (write.chance(20)) {
        line.addslash(); // in the place of the count
        return;
    }
    read.integer = n;
    if (write.chance(8)) {
        read.before = n;
        line.addnulls(1);
    } else if (n > 0 && write.chance(6)) {
        // One item for the count and for the first of its reals.
        first = static_cast<std::size_t>(write.whole(1, n));
        line.add(static_cast<int>(first) + 1, write.integer(n));
        std::fill_n(read.values.begin(), first, n);
    } else {
        line.add(1, write.integer(n));
    }
    writereals(line, write, read.values, first);
}

writtenread writeread(speller& write)
{
    writtenread read;
    layout line(write);
    read.kind = static_cast<readkind>(write.whole(0, 3));
    const int fate = write.whole(1, 12); // of a read of one place
    if (read.kind == readkind::counted) {
        writecounted(line, write, read);
    } else if (read.kind == readkind::reals) {
        read.values.assign(static_cast<std::size_t>(write.whole(1, 12)), kept);
        writereals(line, write, read.values, 0);
    } else if (fate == 1) {
        line.addslash();
    } else if (fate == 2) {
        line.addnulls(1);
    } else if (read.kind == readkind::integer) {
        read.integer = write.anyinteger();
        line.add(write.whole(1, 2), write.integer(read.integer));
    } else {
        read.word = write.anyword();
        line.add(write.whole(1, 2), write.word(read.word));
    }
    read.text = line.finished();
    return read;
}

void expectreadback(freeformtext& source, const writtenread& written)
{
    const std::size_t end = source.position + written.text.size();
    std::string word = "kept";
    int n = written.before;
    std::vector<double> values(written.values.size(), kept);
    int status = readfailed;
    switch (written.kind) {
    case readkind::word: status = readword(source, word); break;
    case readkind::integer: status = readinteger(source, n); break;
    case readkind::reals: status = readreals(source, values); break;
    case readkind::counted: status = readcountandreals(source, n, values); break;
    }
    ASSERT_EQ(status, readdone) << written.text;
    ASSERT_EQ(word, written.word) << written.text;
    ASSERT_EQ(n, written.integer) << written.text;
    ASSERT_EQ(values, written.values) << written.text;
    ASSERT_EQ(source.position, end) << written.text;
}

TEST_F(FreeFormReading, GivesBackAnyNumberInAnyLegalSpellingToTheLastBit)
{
    speller write(4711);
    for (int n = cases(20000, 2000000); n > 0; --n) {
        const double x = write.anyreal();
        freeformtext source = {write.real(x), 0};
        double value = kept;
        ASSERT_EQ(readreals(source, {&value, 1}), readdone) << source.text;
        ASSERT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(x))
            << source.text;
    }
}

TEST_F(FreeFormReading, GivesBackAnyValuesInAnyLegalLayoutAndTheNextReadBeginsBehindThem)
{
    speller write(1234);
    for (int n = cases(3000, 300000); n > 0; --n) {
        std::vector<writtenread> reads;
        freeformtext source;
        for (int r = 0; r < 5; ++r) {
            reads.push_back(writeread(write));
            source.text += reads.back().text;
        }
        for (const writtenread& read : reads) ASSERT_NO_FATAL_FAILURE(expectreadback(source, read));
        ASSERT_EQ(source.position, source.text.size());
    }
}

TEST_F(FreeFormReading, HasEndedWhereATextEndsBeforeItsPlaces)
{
    speller write(1235);
    for (int n = cases(3000, 300000); n > 0; --n) {
        std::vector<double> values(static_cast<std::size_t>(write.whole(1, 12)), kept);
        std::vector<double> expected = values;
        layout line(write);
        for (int k = 0, last = write.whole(0, static_cast<int>(values.size()) - 1); k < last; ++k) {
            const double x = expected[static_cast<std::size_t>(k)] = write.anyreal();
            line.add(1, write.real(x));
        }
        freeformtext source = {line.unfinished(), 0};
        ASSERT_EQ(readreals(source, values), readended) << source.text;
        ASSERT_EQ(values, expected) << source.text;
        ASSERT_EQ(source.position, source.text.size());
        ASSERT_EQ(readreals(source, values), readended); // and so does every read after it
    }
}

TEST_F(FreeFormReading, TakesForANumberWhatIsOneToItsLastCharacterAndNothingElse)
{
    const std::regex real("[+-]?([0-9]+[.]?[0-9]*|[.][0-9]+)([eEdD][+-]?[0-9]+)?");
    const std::regex integer("[+-]?[0-9]+");
    speller write(1236);
    int reals = 0;
    int integers = 0;
    const int all = cases(20000, 2000000);
    for (int n = 0; n < all; ++n) {
        std::string token;
        for (int k = write.whole(1, 7); k > 0; --k)
            token += "0123456789012345+-..eEdDx#_'n;"[write.whole(0, 29)];
        if (token[0] == '\'') continue;
        double value = kept;
        int number = -77;
        freeformtext source = {token, 0};
        const bool isreal = std::regex_match(token, real);
        reals += isreal;
        ASSERT_EQ(readreals(source, {&value, 1}), isreal ? readdone : readfailed) << token;
        if (isreal) { // of few digits: the C library reads it exactly too, with an e for the d
            std::string plain = token;
            std::ranges::replace_if(
                plain, [](char c) { return c == 'd' || c == 'D'; }, 'e');
            ASSERT_EQ(value, std::strtod(plain.c_str(), nullptr)) << token;
        }
        source.position = 0;
        const bool isinteger = std::regex_match(token, integer);
        integers += isinteger;
        ASSERT_EQ(readinteger(source, number), isinteger ? readdone : readfailed) << token;
        ASSERT_EQ(number, isinteger ? std::atoi(token.c_str()) : -77) << token;
    }
    ASSERT_GT(reals, all / 20); // both kinds come up
    ASSERT_GT(integers, all / 50);
}

TEST_F(FreeFormReading, RefusesAnyNumberInQuotes)
{
    speller write(1239);
    for (int n = cases(3000, 300000); n > 0; --n) {
        const bool whole = write.chance(2);
        const std::string quote = write.chance(2) ? "'" : "\"";
        const std::string count = write.chance(4) ? "2*" : "";
        const std::string number =
            whole ? write.integer(write.anyinteger()) : write.real(write.anyreal());
        freeformtext source = {count + quote + number + quote + "\n", 0};
        double value = kept;
        ASSERT_EQ(readreals(source, {&value, 1}), readfailed) << source.text;
        source.position = 0;
        int read = -77;
        ASSERT_EQ(readinteger(source, read), readfailed) << source.text;
        source.position = 0;
        std::string word;
        ASSERT_EQ(readword(source, word), readdone) << source.text;
        ASSERT_EQ(word, number);
    }
}

TEST_F(FreeFormReading, RefusesIntegersBeyond32BitsHoweverLong)
{
    speller write(1237);
    for (int n = cases(5000, 500000); n > 0; --n) {
        // Around the bounds, and far beyond them.
        long long value = write.chance(2) ? 2147483647LL : -2147483648LL;
        value += write.whole(-3, 3);
        std::string digits = std::to_string(value);
        bool fits = -2147483648LL <= value && value <= 2147483647LL;
        if (write.chance(3)) {
            digits += std::to_string(write.whole(0, 999999999));
            fits = false;
        }
        freeformtext source = {digits, 0};
        int read = -77;
        ASSERT_EQ(readinteger(source, read), fits ? readdone : readfailed) << digits;
        ASSERT_EQ(read, fits ? value : -77) << digits;
    }
}

TEST_F(FreeFormReading, StepsBackOverAnyTextLineByLine)
{
    speller write(1238);
    for (int n = cases(3000, 300000); n > 0; --n) {
        freeformtext source;
        std::vector<std::size_t> starts;
        for (int lines = write.whole(1, 5); lines > 0; --lines) {
            starts.push_back(source.text.size());
            source.text += write.anyword() + write.lineend();
        }
        if (write.chance(2)) source.text += "x"; // a last line without its end
        const bool unfinished = source.text.back() == 'x';
        if (unfinished) starts.push_back(source.text.size() - 1);
        source.position = source.text.size();
        for (std::size_t k = starts.size(); k-- > 0;) {
            stepback(source);
            ASSERT_EQ(source.position, starts[k]) << source.text;
        }
        stepback(source);
        ASSERT_EQ(source.position, 0U);
    }
}

TEST_F(FreeFormReading, TakesAnyBytesWithoutHarm)
{
    speller write(99);
    static constexpr char letters[] = {'1',  '0', '*', ',', '/', '\'', '"', ' ',  '\n', '\r',
                                       '\t', 'e', 'D', '.', '-', '+',  '_', '\0', '#',  '\xFF'};
    for (int k = cases(40000, 4000000); k > 0; --k) {
        freeformtext source;
        for (int length = write.whole(0, 23); length > 0; --length)
            source.text += letters[write.whole(0, 19)];
        const bool whole = source.text.empty();
        std::string name;
        int n = 0;
        std::array<double, 4> guarded = {kept, kept, kept, kept};
        const std::span<double> values = std::span(guarded).subspan(1, 2);
        int status = readdone;
        switch (k % 4) {
        case 0: status = readword(source, name); break;
        case 1: status = readinteger(source, n); break;
        case 2: status = readreals(source, values); break;
        default: status = readcountandreals(source, n, values); break;
        }
        ASSERT_TRUE(status == readdone || status == readended || status == readfailed);
        ASSERT_LE(source.position, source.text.size());
        ASSERT_TRUE(whole || source.position > 0);
        ASSERT_TRUE(source.position == source.text.size()
                    || source.text[source.position - 1] == '\n');
        ASSERT_EQ(guarded.front(), kept);
        ASSERT_EQ(guarded.back(), kept);
    }
}

} // namespace

} // namespace torvik
