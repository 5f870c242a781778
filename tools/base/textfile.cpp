#include "base/textfile.h"

#include "base/failure.h"
#include "base/reading.h"

#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

namespace torvik::tools {

namespace {

constexpr std::string_view byteordermark = "\xEF\xBB\xBF";

std::string quoted(std::string_view text)
{
    constexpr std::size_t longest = 40;
    if (text.empty()) return "nothing";
    std::string shown = "'";
    for (const char c : text.substr(0, longest))
        shown += static_cast<unsigned char>(c) < ' ' ? '?' : c;
    return shown + (text.size() > longest ? "...'" : "'");
}

} // namespace

textfile::textfile(std::string name, std::string text)
    : name_(std::move(name)), text_(std::move(text))
{
    const std::string_view all = text_;
    std::size_t start = all.starts_with(byteordermark) ? byteordermark.size() : 0;
    while (start < all.size()) {
        starts_.push_back(static_cast<std::uint32_t>(start));
        const std::size_t end = all.find_first_of("\r\n", start);
        if (end == std::string_view::npos) break;
        const bool both = all.substr(end, 2) == "\r\n";
        start = end + (both ? 2 : 1);
    }
}

textfile textfile::read(const std::filesystem::path& path)
{
    std::error_code none;
    const std::string name = path.string();
    const auto checklength = [&](std::uintmax_t length) {
        if (length > largest) throw failure(name + " is too long: more than a gigabyte.");
    };
    if (std::filesystem::is_regular_file(path, none))
        checklength(std::filesystem::file_size(path, none));
    std::string text = bytesof(path, largest + 1);
    checklength(text.size());
    return {name, std::move(text)};
}

std::string_view textfile::line(std::size_t number) const
{
    if (number < 1 || number > starts_.size()) return {};
    const std::string_view rest = std::string_view(text_).substr(starts_[number - 1]);
    return rest.substr(0, rest.find_first_of("\r\n"));
}

void textfile::fail(std::size_t line, std::size_t column, const std::string& what) const
{
    throw badfile(name_, line, column, what);
}

double textfile::number(const item& found, std::size_t line, const std::string& what) const
{
    const std::optional<double> value = numberin(found.text);
    if (!value || !std::isfinite(*value))
        fail(line, found.column, "expected " + what + ", found " + quoted(found.text));
    return *value;
}

int textfile::whole(const item& found, std::size_t line, const std::string& what) const
{
    const std::optional<int> value = wholein(found.text);
    if (!value) fail(line, found.column, "expected " + what + ", found " + quoted(found.text));
    return *value;
}

std::vector<item> itemsof(std::string_view line, std::string_view separators)
{
    std::vector<item> found;
    std::size_t start = line.find_first_not_of(separators);
    while (start != std::string_view::npos) {
        const std::size_t end = line.find_first_of(separators, start);
        found.push_back({line.substr(start, end - start), start + 1});
        start = line.find_first_not_of(separators, end);
    }
    return found;
}

item columnsof(std::string_view line, std::size_t first, std::size_t last)
{
    if (line.size() < first) return {{}, first};
    const std::string_view field = line.substr(first - 1, last - first + 1);
    const std::size_t blanks = field.find_first_not_of(" \t");
    if (blanks == std::string_view::npos) return {{}, first};
    return {trimmed(field), first + blanks};
}

std::optional<double> numberin(std::string_view text)
{
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) return std::nullopt;
    }
    std::string plain(text);
    for (char& c : plain)
        if (c == 'd' || c == 'D') c = 'e';
    double value = 0.0;
    const char* end = plain.data() + plain.size();
    const auto [last, error] = std::from_chars(plain.data(), end, value);
    if (error != std::errc{} || last != end) return std::nullopt;
    return value;
}

std::optional<int> wholein(std::string_view text)
{
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) return std::nullopt;
    }
    int value = 0;
    const char* end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || last != end) return std::nullopt;
    return value;
}

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string lowered(std::string_view text)
{
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

} // namespace torvik::tools
