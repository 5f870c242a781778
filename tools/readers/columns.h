// Tables in plain text: rows of items, apart by blanks, commas, semicolons or tabs, perhaps named.
#pragma once

#include "base/textfile.h"

#include <array>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What stands behind a '#' is a comment, and so is a line that begins with '!' or '%'. A first line of
// words names the columns; so does, where there is none, the last comment before the rows if it has as
// many words. Decimal commas are read where they cannot be separators: between blanks, semicolons or
// tabs, in a table without decimal points.

namespace torvik::tools {

class columntable {
public:
    struct row {
        std::size_t line = 0;
        std::vector<item> items;
    };

    // Throws badfile if there are no rows, or if they differ in length. A first row of another length
    // than all others, of 6 or 9 numbers, is set aside: it is a cell.
    explicit columntable(const textfile& source);

    [[nodiscard]] const std::vector<row>& rows() const
    {
        return rows_;
    }
    [[nodiscard]] const std::optional<row>& cellrow() const
    {
        return cell_;
    }
    [[nodiscard]] std::size_t columns() const // of a row
    {
        return rows_.front().items.size();
    }
    [[nodiscard]] const std::vector<std::string>& comments() const
    {
        return comments_;
    }
    // Names of the columns, in small letters and without units; none if the table has none.
    [[nodiscard]] const std::vector<std::string>& names() const
    {
        return names_;
    }
    // The line that names the columns, from a row of words rather than a comment; 0 if there is none.
    [[nodiscard]] std::size_t headline() const
    {
        return headline_;
    }
    [[nodiscard]] bool decimalcomma() const
    {
        return decimalcomma_;
    }

    // The column (from 0) that has one of the names.
    [[nodiscard]] std::optional<std::size_t>
    column(std::initializer_list<std::string_view> names) const;

    // The number in a column. Throws badfile if it is none.
    [[nodiscard]] double number(const row& from, std::size_t column) const;
    [[nodiscard]] std::array<int, 3> indices(const row& from,
                                             const std::array<std::size_t, 3>& columns) const;

    // Whether all rows have a whole number in a column.
    [[nodiscard]] bool allwhole(std::size_t column) const;

    [[nodiscard]] const textfile& source() const
    {
        return source_;
    }

private:
    void readlines();
    void findseparator();
    void split();
    void namecolumns();
    [[nodiscard]] std::vector<item> itemsin(std::string_view line) const;
    [[nodiscard]] std::optional<double> valueof(std::string_view text) const;
    [[nodiscard]] const item& at(const row& from, std::size_t column) const;

    const textfile& source_;
    std::vector<std::pair<std::size_t, std::string_view>> lines_; // of data, without comments
    std::vector<std::string> comments_;
    std::string head_; // the line of words, or the last comment before the rows
    std::size_t headline_ = 0;
    char separator_ = ' ';
    bool decimalcomma_ = false;
    std::vector<row> rows_;
    std::optional<row> cell_;
    std::vector<std::string> names_;
};

// Whether the start of a text looks like a table of numbers, or has a first line of words among which
// are all of one of the sets.
bool lookstable(std::string_view start);
bool namescolumns(std::string_view start,
                  std::initializer_list<std::initializer_list<std::string_view>> sets);

// Names in a line, in small letters, without quotes and units.
std::vector<std::string> namesin(std::string_view line, std::string_view separators);

} // namespace torvik::tools
