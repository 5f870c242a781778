#include "text/freeform.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <string_view>

namespace torvik {

namespace {

constexpr std::size_t longest = 2147483647; // of a repeat count

enum class itemkind { value, null, slash, endoftext, malformed };

struct item {
    itemkind kind = itemkind::null;
    std::string text;       // of a value
    bool quoted = false;    // the value stood in quotes
    std::size_t repeat = 0; // how many places it still fills
};

// The progress of one read through the text.
struct reading {
    explicit reading(freeformtext& text) : source(text) {}

    freeformtext& source;
    bool afteritem = false; // a comma would only end the item before
    item current;           // the item being handed out
};

item ofkind(itemkind kind)
{
    item plain;
    plain.kind = kind;
    plain.repeat = 1;
    return plain;
}

bool isblank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool isseparator(char c)
{
    return isblank(c) || c == ',' || c == '/';
}

bool isdigit(char c)
{
    return '0' <= c && c <= '9';
}

bool atend(const freeformtext& source)
{
    return source.position >= source.text.size();
}

char character(const freeformtext& source)
{
    return source.text[source.position];
}

void skipblanks(freeformtext& source)
{
    while (!atend(source) && isblank(character(source))) ++source.position;
}

void skiprestofline(freeformtext& source)
{
    const std::size_t lineend = source.text.find('\n', source.position);
    source.position = lineend == std::string::npos ? source.text.size() : lineend + 1;
}

// Takes a repeat count and its asterisk if they stand here. Gives false for a count of zero or
// beyond 32 bits.
bool takerepeat(freeformtext& source, std::size_t& repeat)
{
    const std::string& text = source.text;
    std::size_t end = source.position;
    while (end < text.size() && isdigit(text[end])) ++end;
    if (end == source.position || end == text.size() || text[end] != '*') return true;
    const auto [stop, error] =
        std::from_chars(text.data() + source.position, text.data() + end, repeat);
    source.position = end + 1;
    return error == std::errc() && repeat >= 1 && repeat <= longest;
}

// Takes a quoted word. It may run on over line ends, which do not belong to it; without its closing
// quote the text ends.
item takequoted(freeformtext& source)
{
    const char quote = character(source);
    item word = ofkind(itemkind::value);
    word.quoted = true;
    for (++source.position; !atend(source); ++source.position) {
        if (character(source) == '\n') {
            if (word.text.ends_with('\r')) word.text.pop_back();
            continue;
        }
        if (character(source) != quote) {
            word.text += character(source);
            continue;
        }
        ++source.position;
        if (atend(source) || character(source) != quote) return word;
        word.text += quote;
    }
    return ofkind(itemkind::endoftext);
}

// Takes characters up to a separator.
item taketoken(freeformtext& source)
{
    const std::size_t start = source.position;
    while (!atend(source) && !isseparator(character(source))) ++source.position;
    item token = ofkind(itemkind::value);
    token.text = source.text.substr(start, source.position - start);
    return token;
}

// Takes the next item with its repeat count.
item takeitem(reading& read)
{
    freeformtext& source = read.source;
    skipblanks(source);
    if (read.afteritem && !atend(source) && character(source) == ',') {
        ++source.position;
        skipblanks(source);
    }
    read.afteritem = true;
    if (atend(source)) return ofkind(itemkind::endoftext);
    if (character(source) == '/') return ofkind(itemkind::slash);
    if (character(source) == ',') {
        ++source.position; // it ends the null item, so the next comma means another one
        read.afteritem = false;
        return ofkind(itemkind::null);
    }

    std::size_t repeat = 1;
    if (!takerepeat(source, repeat)) return ofkind(itemkind::malformed);
    item taken = ofkind(itemkind::null);
    if (!atend(source) && !isseparator(character(source))) {
        const char first = character(source);
        taken = first == '\'' || first == '"' ? takequoted(source) : taketoken(source);
    }
    taken.repeat = repeat;
    return taken;
}

// Fills `count` places through store(place, item, run), where the item fills `run` places from that
// one on; it gives false for an item that does not fit.
template <class Store>
int readplaces(reading& read, std::size_t count, Store store)
{
    for (std::size_t place = 0; place < count;) {
        if (read.current.repeat == 0) read.current = takeitem(read);
        const item& next = read.current;
        if (next.kind == itemkind::endoftext) return readended;
        if (next.kind == itemkind::malformed) return readfailed;
        if (next.kind == itemkind::slash) return readdone;
        const std::size_t run = std::min(next.repeat, count - place);
        if (next.kind == itemkind::value && !store(place, next, run)) return readfailed;
        read.current.repeat -= run;
        place += run;
    }
    return readdone;
}

// Reads an integer of 32 bits that fills the whole text.
bool tointeger(std::string_view text, int& value)
{
    if (text.size() > 1 && text[0] == '+' && isdigit(text[1])) text.remove_prefix(1);
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return false;
    value = number;
    return true;
}

// Says whether the text is a decimal number: digits with at most one point among or around them,
// then perhaps an exponent.
bool isdecimal(std::string_view text)
{
    std::size_t i = 0;
    const auto sign = [&] {
        if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    };
    const auto digits = [&] {
        const std::size_t start = i;
        while (i < text.size() && isdigit(text[i])) ++i;
        return i - start;
    };
    sign();
    std::size_t mantissa = digits();
    if (i < text.size() && text[i] == '.') {
        ++i;
        mantissa += digits();
    }
    if (mantissa == 0) return false;
    if (i == text.size()) return true;
    if (std::string_view("eEdD").find(text[i]) == std::string_view::npos) return false;
    ++i;
    sign();
    return digits() > 0 && i == text.size();
}

// Reads a decimal number that fills the whole text, correctly rounded.
bool toreal(const std::string& text, double& value)
{
    if (!isdecimal(text)) return false;
    std::string number = text[0] == '+' ? text.substr(1) : text;
    std::replace_if(
        number.begin(), number.end(), [](char c) { return c == 'd' || c == 'D'; }, 'e');
    const auto error = std::from_chars(number.data(), number.data() + number.size(), value).ec;
    if (error == std::errc::result_out_of_range) value = std::strtod(number.c_str(), nullptr);
    return true;
}

int readintegerfrom(reading& read, int& value)
{
    return readplaces(read, 1, [&](std::size_t, const item& next, std::size_t) {
        return !next.quoted && tointeger(next.text, value);
    });
}

int readrealsfrom(reading& read, std::size_t count, std::span<double> values)
{
    return readplaces(read, count, [&](std::size_t place, const item& next, std::size_t run) {
        double value = 0.0;
        if (next.quoted || !toreal(next.text, value)) return false;
        const std::size_t end = std::min(place + run, values.size());
        for (std::size_t k = place; k < end; ++k) values[k] = value;
        return true;
    });
}

} // namespace

void stepback(freeformtext& source)
{
    std::size_t end = source.position;
    if (end > 0 && source.text[end - 1] == '\n') --end;
    while (end > 0 && source.text[end - 1] != '\n') --end;
    source.position = end;
}

bool onlyblanksleft(const freeformtext& source)
{
    return source.text.find_first_not_of(" \t\r\n", source.position) == std::string::npos;
}

int readword(freeformtext& source, std::string& word)
{
    reading read(source);
    const int status = readplaces(read, 1, [&](std::size_t, const item& next, std::size_t) {
        word = next.text;
        return true;
    });
    skiprestofline(source);
    return status;
}

int readinteger(freeformtext& source, int& value)
{
    reading read(source);
    const int status = readintegerfrom(read, value);
    skiprestofline(source);
    return status;
}

int readreals(freeformtext& source, std::span<double> values)
{
    reading read(source);
    const int status = readrealsfrom(read, values.size(), values);
    skiprestofline(source);
    return status;
}

int readcountandreals(freeformtext& source, int& n, std::span<double> values)
{
    reading read(source);
    int status = readintegerfrom(read, n);
    if (status == readdone && n > 0) // a slash for the count still stands there
        status = readrealsfrom(read, static_cast<std::size_t>(n), values);
    skiprestofline(source);
    return status;
}

} // namespace torvik
