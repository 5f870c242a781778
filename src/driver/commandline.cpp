#include "driver/commandline.h"

#include "driver/properindexing.h"
#include "text/names.h"
#include "text/pause.h"
#include "text/units.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace torvik {

namespace {

// clang-format off
constexpr std::string_view logo[] = {
    "### ##  ###  #   # # #  #",
    " # #  # #  # #   # # # # ",
    " # #  # ###   # #  # ##  ",
    " # #  # # #   # #  # # # ",
    " #  ##  #  #   #   # #  #",
};
// clang-format on

bool ishelpword(const std::string& word)
{
    return word == "-h" || word == "--help" || word == "-help" || word == "help" || word == "h";
}

[[noreturn]] void showhelp()
{
    writeline(terminalunit);
    writefreeline(terminalunit, "This is a program for indexing of single crystal data.");
    writefreeline(terminalunit, "For a description see the Torvik.pdf file.");
    writeline(terminalunit);
    pauseandstop();
}

[[noreturn]] void refusearguments()
{
    writefreeline(terminalunit, "Error: Too many command line arguments.");
    writefreeline(terminalunit, "       use    Torvik");
    writefreeline(terminalunit, "       or     Torvik -h");
    writefreeline(terminalunit, "       or     Torvik filename.idx");
    pauseandstop();
}

// Appends a line of standard input to a text. Gives false at the end of the input.
bool appendline(std::string& text)
{
    const std::size_t before = text.size();
    for (int c = std::getchar(); c != EOF; c = std::getchar()) {
        text += static_cast<char>(c);
        if (c == '\n') return true;
    }
    return text.size() > before;
}

// Asks for the name of the input file: the first item that is typed, in free form. The end of the
// input gives an empty name.
std::string askforname()
{
    writetext(terminalunit, " Enter filename : ");
    showterminal();
    freeformtext typed;
    while (appendline(typed.text)) {
        std::string name;
        typed.position = 0;
        if (readword(typed, name) != readended) return name;
        typed.position = 0;
        if (onlyblanksleft(typed)) typed.text.clear(); // empty lines must not pile up
    }
    return "";
}

} // namespace

void followcommandline(std::span<char* const> arguments)
{
    if (arguments.size() > 1) refusearguments();
    if (arguments.empty()) { // Deliberate: only the interactive start shows the banner
        winieta();
        properindexing(makefilename(askforname()));
        return;
    }
    const inputfilename argument = makefilename(arguments[0]);
    if (ishelpword(trimmedname(argument))) showhelp();
    properindexing(argument);
}

void winieta()
{
    for (int k = 1; k <= 11; ++k) writeline(terminalunit);
    for (const std::string_view line : logo) writefreeline(terminalunit, X(24) + std::string(line));
    writefreeline(terminalunit, "                       __________________________ v.1.0");
    writeline(terminalunit);
    writefreeline(terminalunit, "                    Indexing of diffraction patterns ");
    writeline(terminalunit);
}

} // namespace torvik
