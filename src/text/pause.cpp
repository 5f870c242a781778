#include "text/pause.h"

#include "text/exit.h"

#include <cstdio>
#include <string>

namespace torvik {

namespace {

// Reads the rest of a line, without its end. Gives an empty text at the end of the input.
std::string answer()
{
    std::string line;
    for (int c = std::getchar(); c != EOF && c != '\n'; c = std::getchar())
        line += static_cast<char>(c);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

// Writes a notice below what was printed so far, and waits for the answer to it.
std::string answerto(const char* notice)
{
    std::fflush(stdout);
    std::fputs(notice, stderr);
    return answer();
}

} // namespace

void pauseprogram()
{
    if (answerto("Torvik is paused. To resume it, type go and press Enter; "
                 "any other line ends it.\n")
        != "go")
        stopprogram();
}

void pauseandstop()
{
    answerto("Press Enter to close Torvik.\n");
    stopprogram();
}

} // namespace torvik
