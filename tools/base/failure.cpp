#include "base/failure.h"

namespace torvik::tools {

namespace {

std::string located(const std::string& name, std::size_t line, std::size_t column,
                    const std::string& what)
{
    std::string text = name;
    if (line > 0) text += ", line " + std::to_string(line);
    if (column > 0) text += ", column " + std::to_string(column);
    text += ": " + what + ".";
    // What is quoted from a file may hold anything.
    for (char& c : text)
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7F') c = '?';
    return text;
}

} // namespace

failure::failure(const std::string& sentence) : std::runtime_error(online(sentence)) {}

std::string online(std::string_view text)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string line;
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (c == '\n')
            line += "\\n";
        else if ((code < ' ' && c != '\t') || c == '\x7F')
            line += {'\\', 'x', digits[code / digits.size()], digits[code % digits.size()]};
        else
            line += c;
    }
    return line;
}

badfile::badfile(const std::string& name, std::size_t line, std::size_t column,
                 const std::string& what)
    : failure(located(name, line, column, what))
{
}

} // namespace torvik::tools
