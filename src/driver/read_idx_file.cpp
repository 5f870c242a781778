#include "driver/read_idx_file.h"

#include "driver/fix_parameter.h"
#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "driver/write_log_file.h"
#include "search/quality.h"
#include "store/modofsavedbases.h"
#include "text/pause.h"
#include "text/units.h"

namespace torvik {

namespace {

constexpr int defaultrankingfunction = -9;

[[noreturn]] void stopwith(const std::string& message)
{
    writefreeline(terminalunit, message);
    pauseandstop();
}

} // namespace

void fix_defaults()
{
    otherglobalvariables = {};
    recorded_reflections = {};
    modofsavedbases.maxnumberofsavedbases = defaultnumberofsavedbases;
    modofsavedbases.weightsforsortingbases = defaultweights;
    write_log_file.log_file_level = 0;
    getavonmisestypefunction(defaultrankingfunction, tabulcos.vonmisesfunctinranking);
}

void read_idx_file(const inputfilename& filename)
{
    // Name and opening, 1. to 3.
    const std::string name = trimmedname(filename);
    if (name.size() <= 4 || !name.ends_with(".idx"))
        stopwith("Error: Extention of filename is not .idx."); // Deliberate: the spelling
    if (!openinput(name)) stopwith("Error: Cannot open " + name + ".");
    // Lines, 1. to 6. A line that begins with anything but a keyword is passed over.
    while (!onlyblanksleft(inputlines())) {
        std::string first;
        int flag = 0;
        const bool read = readword(inputlines(), first) == readdone;
        if (read && first.starts_with('_')) fix_parameter(flag);
        if (!read || flag == 1) stopwith("Error reading " + name + ".");
    }
    closeinput();
}

} // namespace torvik
