// Text files, read by lines and items that know where they stand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace torvik::tools {

// A piece of a line.
struct item {
    std::string_view text;
    std::size_t column = 0; // of its first character, from 1
};

// A text with the name by which messages call it. Lines end in the manner of Unix, Windows or old
// Macs; a byte order mark at the start is no part of the text.
class textfile {
public:
    // Reads a file. Throws a failure if it is none, cannot be read or is longer than `largest` bytes.
    static textfile read(const std::filesystem::path& path);
    static constexpr std::size_t largest = std::size_t{1} << 30;

    textfile(std::string name, std::string text);
    textfile(const textfile&) = delete;
    textfile& operator=(const textfile&) = delete;
    textfile(textfile&&) = delete;
    textfile& operator=(textfile&&) = delete;
    ~textfile() = default;

    [[nodiscard]] const std::string& name() const
    {
        return name_;
    }
    [[nodiscard]] const std::string& text() const
    {
        return text_;
    }
    [[nodiscard]] std::size_t lines() const
    {
        return starts_.size();
    }
    [[nodiscard]] std::string_view line(std::size_t number) const; // from 1; empty past the end

    // Throws badfile for a place in this file.
    [[noreturn]] void fail(std::size_t line, std::size_t column, const std::string& what) const;

    // The number that an item is. Throws badfile if it is none or not finite: "expected WHAT, found
    // 'x'". The decimal point is a point, whatever the locale; an exponent may be e, E, d or D.
    [[nodiscard]] double number(const item& found, std::size_t line, const std::string& what) const;
    [[nodiscard]] int whole(const item& found, std::size_t line, const std::string& what) const;

private:
    std::string name_;
    std::string text_;
    std::vector<std::uint32_t> starts_; // of the lines: a file of empty ones has as many as bytes
};

// The pieces of a line between blanks, or between any of the separators.
std::vector<item> itemsof(std::string_view line, std::string_view separators = " \t");

// The characters from `first` (from 1) to `last` of a line with fixed columns, without blanks around;
// what the line lacks is empty.
item columnsof(std::string_view line, std::size_t first, std::size_t last);

// A number to its last character, or nothing.
std::optional<double> numberin(std::string_view text);
std::optional<int> wholein(std::string_view text);

std::string_view trimmed(std::string_view text);
std::string lowered(std::string_view text);

} // namespace torvik::tools
