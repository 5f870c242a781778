#include "readers/columns.h"

#include "base/failure.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace torvik::tools {

namespace {

constexpr std::string_view anyseparator = " \t,;\"'";
constexpr std::size_t coordinates = 3;

std::string_view withoutquotes(std::string_view text)
{
    text = trimmed(text);
    if (text.size() >= 2 && (text.front() == '"' || text.front() == '\'')
        && text.back() == text.front())
        text = trimmed(text.substr(1, text.size() - 2));
    return text;
}

bool isletter(char c)
{
    return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z');
}

// A line of words: no item of it is a number.
bool isheader(std::string_view line)
{
    if (std::none_of(line.begin(), line.end(), isletter)) return false;
    const std::vector<item> items = itemsof(line, anyseparator);
    return std::none_of(items.begin(), items.end(),
                        [](const item& one) { return numberin(one.text).has_value(); });
}

// The line without a comment, and the comment.
std::pair<std::string_view, std::string_view> parted(std::string_view line)
{
    const std::string_view start = trimmed(line);
    if (start.starts_with('!') || start.starts_with('%')) return {{}, trimmed(start.substr(1))};
    const std::size_t sign = line.find('#');
    if (sign == std::string_view::npos) return {line, {}};
    return {line.substr(0, sign), trimmed(line.substr(sign + 1))};
}

// "0,25": one comma between or beside digits and no point.
bool isdecimalcomma(std::string_view text)
{
    const std::size_t comma = text.find(',');
    if (comma == std::string_view::npos || text.find('.') != std::string_view::npos) return false;
    std::string plain(text);
    plain[comma] = '.';
    const bool beside = comma + 1 < text.size() && comma > 0;
    return beside && numberin(plain).has_value();
}

} // namespace

std::vector<std::string> namesin(std::string_view line, std::string_view separators)
{
    std::vector<std::string> names;
    for (const item& one : itemsof(line, separators)) {
        std::string_view name = withoutquotes(one.text);
        if (name.starts_with('(') || name.starts_with('[')) continue; // a unit behind a blank
        name = trimmed(name.substr(0, name.find_first_of("([")));
        names.push_back(lowered(name));
    }
    return names;
}

columntable::columntable(const textfile& source) : source_(source)
{
    readlines();
    findseparator();
    split();
    namecolumns();
}

void columntable::readlines()
{
    for (std::size_t i = 1; i <= source_.lines(); ++i) {
        const auto [line, comment] = parted(source_.line(i));
        if (!comment.empty()) comments_.emplace_back(comment);
        if (trimmed(line).empty()) {
            if (lines_.empty() && headline_ == 0 && !comment.empty()) head_ = comment;
            continue;
        }
        if (lines_.empty() && headline_ == 0 && isheader(line)) {
            head_ = line;
            headline_ = i;
            continue;
        }
        lines_.emplace_back(i, line);
    }
    if (lines_.empty()) source_.fail(0, 0, "the file has no rows of numbers");
}

void columntable::findseparator()
{
    const auto any = [&](char c) {
        return std::any_of(lines_.begin(), lines_.end(), [&](const auto& one) {
            return one.second.find(c) != std::string_view::npos;
        });
    };
    const bool points = any('.');
    const bool commas = any(',');
    const std::string_view first = lines_.front().second;
    // Tabs may also be the blanks that stand before the first column.
    const bool tabs = std::count(first.begin(), first.end(), '\t') >= 2
                      && std::none_of(lines_.begin(), lines_.end(),
                                      [](const auto& one) { return one.second.starts_with('\t'); });
    if (any(';')) {
        separator_ = ';';
        decimalcomma_ = commas && !points;
    } else if (tabs) {
        separator_ = '\t';
        decimalcomma_ = commas && !points;
    } else if (commas) {
        // Between blanks every comma has digits on both sides, and all items are such numbers.
        decimalcomma_ = !points && std::all_of(lines_.begin(), lines_.end(), [](const auto& one) {
            const std::vector<item> items = itemsof(one.second);
            return items.size() >= coordinates
                   && std::all_of(items.begin(), items.end(), [](const item& found) {
                          return isdecimalcomma(found.text) || numberin(found.text).has_value();
                      });
        });
        separator_ = decimalcomma_ ? ' ' : ',';
    }
}

std::vector<item> columntable::itemsin(std::string_view line) const
{
    if (separator_ == ' ') return itemsof(line);
    std::vector<item> items;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = line.find(separator_, start);
        const std::string_view field = line.substr(start, end - start);
        const std::size_t blanks = field.find_first_not_of(" \t\"'");
        items.push_back(
            {withoutquotes(field), start + 1 + (blanks == std::string_view::npos ? 0 : blanks)});
        if (end == std::string_view::npos) break;
        start = end + 1;
    }
    while (items.size() > 1 && items.back().text.empty()) items.pop_back(); // "1,2,3,"
    return items;
}

void columntable::split()
{
    constexpr std::size_t sixnumbers = 6;
    constexpr std::size_t ninenumbers = 9;
    for (const auto& [number, line] : lines_) {
        row next{number, itemsin(line)};
        const bool second = rows_.size() == 1 && !cell_ && headline_ == 0;
        if (second && next.items.size() != rows_[0].items.size()
            && (rows_[0].items.size() == sixnumbers || rows_[0].items.size() == ninenumbers)) {
            cell_ = rows_[0];
            rows_.clear();
        }
        if (!rows_.empty() && next.items.size() != columns())
            source_.fail(number, 0,
                         "expected " + std::to_string(columns()) + " columns, as in line "
                             + std::to_string(rows_[0].line) + ", found "
                             + std::to_string(next.items.size()));
        rows_.push_back(std::move(next));
    }
}

void columntable::namecolumns()
{
    if (head_.empty()) return;
    const std::string separators =
        separator_ == ' ' ? std::string(anyseparator) : std::string(1, separator_);
    names_ = namesin(head_, separators);
    if (headline_ == 0 && names_.size() != columns()) names_.clear();
    if (headline_ > 0 && names_.size() < columns())
        source_.fail(headline_, 0,
                     std::to_string(names_.size()) + " columns are named, and line "
                         + std::to_string(rows_[0].line) + " has " + std::to_string(columns()));
}

std::optional<std::size_t> columntable::column(std::initializer_list<std::string_view> names) const
{
    for (const std::string_view name : names) {
        const auto found = std::find(names_.begin(), names_.end(), name);
        if (found != names_.end()) return static_cast<std::size_t>(found - names_.begin());
    }
    return std::nullopt;
}

std::optional<double> columntable::valueof(std::string_view text) const
{
    if (!decimalcomma_) return numberin(text);
    std::string plain(text);
    std::replace(plain.begin(), plain.end(), ',', '.');
    return numberin(plain);
}

// More columns may be named than a row has: those at its end can be empty.
const item& columntable::at(const row& from, std::size_t column) const
{
    if (column >= from.items.size())
        source_.fail(from.line, 0,
                     "expected " + std::to_string(column + 1) + " columns, found "
                         + std::to_string(from.items.size()));
    return from.items[column];
}

std::array<int, 3> columntable::indices(const row& from,
                                        const std::array<std::size_t, 3>& columns) const
{
    std::array<int, 3> hkl = {};
    for (std::size_t i = 0; i < hkl.size(); ++i)
        hkl[i] = source_.whole(at(from, columns[i]), from.line, "an index");
    return hkl;
}

double columntable::number(const row& from, std::size_t column) const
{
    const item& found = at(from, column);
    const std::optional<double> value = valueof(found.text);
    if (value && std::isfinite(*value)) return *value;
    return source_.number(found, from.line, "a number");
}

bool columntable::allwhole(std::size_t column) const
{
    return std::all_of(rows_.begin(), rows_.end(), [&](const row& one) {
        return column < one.items.size() && wholein(one.items[column].text).has_value();
    });
}

namespace {

constexpr std::size_t linestolook = 5;

// The first lines that are neither empty nor comments.
std::vector<std::string_view> firstlines(std::string_view start)
{
    std::vector<std::string_view> lines;
    while (!start.empty() && lines.size() < linestolook) {
        const std::size_t end = start.find_first_of("\r\n");
        const std::string_view line = parted(start.substr(0, end)).first;
        if (!trimmed(line).empty()) lines.push_back(line);
        if (end == std::string_view::npos) break;
        start.remove_prefix(end + 1);
    }
    return lines;
}

} // namespace

bool lookstable(std::string_view start)
{
    if (start.find('\0') != std::string_view::npos) return false;
    const std::vector<std::string_view> lines = firstlines(start);
    return std::any_of(lines.begin(), lines.end(), [](std::string_view line) {
        const std::vector<item> items = itemsof(line, anyseparator);
        return items.size() >= coordinates
               && std::all_of(items.begin(), items.end(),
                              [](const item& one) { return numberin(one.text).has_value(); });
    });
}

bool namescolumns(std::string_view start,
                  std::initializer_list<std::initializer_list<std::string_view>> sets)
{
    if (start.find('\0') != std::string_view::npos) return false;
    // Names stand in the first line of words, or in a comment before the first line of numbers.
    while (!start.empty()) {
        const std::size_t end = start.find_first_of("\r\n");
        const auto [line, comment] = parted(start.substr(0, end));
        const bool words = isheader(line);
        const std::vector<std::string> names = namesin(words ? line : comment, anyseparator);
        for (const auto& set : sets)
            if (std::all_of(set.begin(), set.end(), [&](std::string_view name) {
                    return std::find(names.begin(), names.end(), name) != names.end();
                }))
                return true;
        if (words || !trimmed(line).empty() || end == std::string_view::npos) return false;
        start.remove_prefix(end + 1);
    }
    return false;
}

} // namespace torvik::tools
