// What goes to a person at a terminal: colour, and the progress of long work.
#pragma once

#include <cstddef>
#include <string>

namespace torvik::tools {

// Whether the standard output, or the error stream, is a terminal that takes colour: NO_COLOR is
// not set, TERM is not "dumb".
bool outputcolourful();
bool errorcolourful();

// Text in bold, green, yellow or red if `colourful`, else as it is.
std::string bold(const std::string& text, bool colourful);
std::string green(const std::string& text, bool colourful);
std::string yellow(const std::string& text, bool colourful);
std::string red(const std::string& text, bool colourful);

// Prints "Note: ..." to the error stream.
void note(const std::string& sentence);

// A line on the error stream, overwritten as work goes on; nothing if that is no terminal.
class progress {
public:
    progress(std::string what, std::size_t total);
    progress(const progress&) = delete;
    progress& operator=(const progress&) = delete;
    progress(progress&&) = delete;
    progress& operator=(progress&&) = delete;
    ~progress(); // wipes the line

    void advance(std::size_t done);
    void show(const std::string& line);

private:
    std::string what_;
    std::size_t total_;
    bool shown_;
};

} // namespace torvik::tools
