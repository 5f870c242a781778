#include "base/textfile.h"

#include "base/failure.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
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
    std::string_view rest = text_;
    if (rest.starts_with(byteordermark)) rest.remove_prefix(byteordermark.size());
    while (!rest.empty()) {
        const std::size_t end = rest.find_first_of("\r\n");
        lines_.push_back(rest.substr(0, end));
        if (end == std::string_view::npos) break;
        const bool both = rest[end] == '\r' && end + 1 < rest.size() && rest[end + 1] == '\n';
        rest.remove_prefix(end + (both ? 2 : 1));
    }
}

textfile textfile::read(const std::filesystem::path& path)
{
    std::error_code none;
    const std::string name = path.string();
    if (std::filesystem::is_directory(path, none))
        throw failure(name + " is a folder, not a file.");
    std::ifstream in(path, std::ios::binary);
    if (!in) throw failure("Cannot open " + name + ".");
    if (std::filesystem::is_regular_file(path, none)
        && std::filesystem::file_size(path, none) > largest)
        throw failure(name + " is too long: more than a gigabyte.");
    std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (in.bad()) throw failure("Cannot read " + name + ".");
    return {name, std::move(text)};
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

void writewhole(const std::filesystem::path& path, std::string_view text)
{
    if (path == "-") {
        std::cout << text << std::flush;
        if (!std::cout) throw failure("Cannot write to the standard output.");
        return;
    }
    writetogether({{path, std::string(text)}});
}

void writetogether(const std::vector<namedtext>& files)
{
    const auto beside = [](const std::filesystem::path& path) {
        std::filesystem::path part = path;
        part += ".part";
        return part;
    };
    const auto give_up = [&](const namedtext& one) {
        std::error_code ignored;
        for (const namedtext& file : files) std::filesystem::remove(beside(file.path), ignored);
        throw failure("Cannot write " + one.path.string() + ".");
    };
    for (const namedtext& file : files) {
        std::error_code none;
        std::ofstream out(beside(file.path), std::ios::binary | std::ios::trunc);
        out << file.text;
        out.close();
        // A folder of the name would keep the last step from being done.
        if (!out || std::filesystem::is_directory(file.path, none)) give_up(file);
    }
    for (const namedtext& file : files) {
        std::error_code error;
        std::filesystem::rename(beside(file.path), file.path, error);
        if (error) give_up(file);
    }
}

} // namespace torvik::tools
