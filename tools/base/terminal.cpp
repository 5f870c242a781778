#include "base/terminal.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string_view>
#include <utility>

namespace torvik::tools {

namespace {

bool terminal(int stream)
{
    return isatty(stream) == 1;
}

bool colourful(int stream)
{
    const char* kind = std::getenv("TERM");
    const char* none = std::getenv("NO_COLOR");
    return terminal(stream) && (none == nullptr || *none == '\0') && kind != nullptr
           && std::string_view(kind) != "dumb";
}

std::string inside(const char* code, const std::string& text, bool wanted)
{
    return wanted ? std::string("\x1b[") + code + "m" + text + "\x1b[0m" : text;
}

} // namespace

bool outputcolourful()
{
    return colourful(STDOUT_FILENO);
}

bool errorcolourful()
{
    return colourful(STDERR_FILENO);
}

std::string bold(const std::string& text, bool wanted)
{
    return inside("1", text, wanted);
}

std::string green(const std::string& text, bool wanted)
{
    return inside("32", text, wanted);
}

std::string yellow(const std::string& text, bool wanted)
{
    return inside("33", text, wanted);
}

std::string red(const std::string& text, bool wanted)
{
    return inside("31", text, wanted);
}

void note(const std::string& sentence)
{
    std::cerr << yellow("Note:", errorcolourful()) << " " << sentence << "\n";
}

progress::progress(std::string what, std::size_t total)
    : what_(std::move(what)), total_(total), shown_(terminal(STDERR_FILENO))
{
    advance(0);
}

progress::~progress()
{
    if (shown_) std::cerr << "\r\x1b[K" << std::flush;
}

void progress::advance(std::size_t done)
{
    show(what_ + " " + std::to_string(done) + " of " + std::to_string(total_));
}

void progress::show(const std::string& line)
{
    if (shown_) std::cerr << "\r\x1b[K" << line << std::flush;
}

} // namespace torvik::tools
