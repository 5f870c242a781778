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

badfile::badfile(const std::string& name, std::size_t line, std::size_t column,
                 const std::string& what)
    : failure(located(name, line, column, what))
{
}

} // namespace torvik::tools
