#include "fuzz/documented.h"

#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "driver/write_log_file.h"
#include "numeric/constants.h"
#include "store/modofsavedbases.h"
#include "support/runs.h"
#include "volumes/estimatedvolumes.h"

#include <algorithm>
#include <set>

namespace torvik {

namespace {

// The messages for values out of bounds, from the table in docs/formats.md.
std::set<std::string> documentedmessages()
{
    std::set<std::string> messages;
    for (const std::string& line : linesof(readfile(TORVIK_SOURCE_DIR "/docs/formats.md"))) {
        if (line.size() < 4 || line[0] != '|' || line[2] < '0' || line[2] > '9') continue;
        const std::size_t start = line.find("| ", 2) + 2;
        const std::string message = line.substr(start, line.find(" |", start) - start);
        if (message.ends_with('.')) messages.insert(message); // other tables hold figures
    }
    demand(messages.size() >= 30, "docs/formats.md does not list the messages");
    return messages;
}

// How the lines of the terminal begin while the input is read, and from then on.
constexpr std::string_view echoes[] = {
    " Angle of kappa axis : ",
    " Log file : ",
    " Extent of search : ",
    " Supporting reflections (fraction) : ",
    " The largest allowed Miller index : ",
    " Number of solutions to be saved  : ",
    " Limits on volume of primitive cell :",
    " Number of reflections : ",
    " Save in LePage.inp : ",
    " The way of sorting solutions in output file : ",
    " Limit on deviation from integer Miller indices : ",
    " The parameter TypeOfPeriodogram : ",
    " User provided volumes : ",
    " Wavelength : ",
    " Weights for sorting the bases : ",
    " Type of function for ranking reflections : ",
};
constexpr std::string_view stages[] = {
    " Number of test periods : ",
    " Calculating folding periodogram",
    " Calculating Rayleigh periodogram",
    " Calculating Scargle periodogram",
    " Calculating Rayleigh x Scargle periodogram",
    " Number of volumes to be tested : ",
    "\r Progress : ",
    "+ Progress : ",
    " Results saved in file : a_idx.res",
    " The first solution :",
    "    Cell volume :",
    "    Supporting reflections : h -",
    " System time :",
    " CPU time    :",
};

template <class Starts>
bool beginslike(std::string_view line, const Starts& starts)
{
    return std::any_of(std::begin(starts), std::end(starts),
                       [&](std::string_view start) { return line.starts_with(start); });
}

// Throws unless the text consists of whole lines that satisfy the condition.
template <class Condition>
void checklines(std::string_view text, Condition good)
{
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        if (end == std::string_view::npos || !good(line))
            throw misbehaviour("an odd line on the terminal: " + std::string(line));
        text.remove_prefix(end + 1);
    }
}

} // namespace

void demand(bool met, const char* what)
{
    if (!met) throw misbehaviour(what);
}

std::string takemessage(std::string& terminal)
{
    static const std::set<std::string> messages = documentedmessages();
    const std::size_t start = terminal.rfind(" Error");
    demand(start != std::string::npos, "a stop without a message");
    std::string message = terminal.substr(start);
    terminal.resize(start);
    if (message == " Error reading a.idx.\n") return "Error reading a.idx.";
    demand(message.starts_with(" Error: ") && message.ends_with(".\n\n\n"), "an odd message");
    demand(terminal.ends_with("\n\n") || terminal == "\n\n", "a message without a frame");
    terminal.resize(terminal.size() - 2);
    message = message.substr(8, message.size() - 11);
    if (!messages.contains(message)) throw misbehaviour("no documented message: " + message);
    return message;
}

void checkechoes(std::string_view terminal)
{
    checklines(terminal, [](std::string_view line) { return beginslike(line, echoes); });
}

void checkstages(std::string_view terminal)
{
    checklines(terminal, [](std::string_view line) {
        return line.empty() || beginslike(line, echoes) || beginslike(line, stages);
    });
}

void checkparameters()
{
    const auto& set = otherglobalvariables;
    const auto& store = modofsavedbases;
    const int N = recorded_reflections.numberofreflections;
    const int volumes = estimatedvolumes.number_of_estimatedvolumes;
    demand(N == 0 || (4 <= N && N <= 999), "number of reflections");
    demand(recorded_reflections.number_of_trial_vectors <= 999, "number of trial vectors");
    demand(0 <= set.iextentofthesearch && set.iextentofthesearch <= 5, "extent");
    demand(4 <= set.maxallowedmillerindex && set.maxallowedmillerindex <= 100, "Miller index");
    demand(1e-7 <= set.fractionofsupportingreflections
               && set.fractionofsupportingreflections <= 1.0,
           "fraction");
    demand(0.03 <= set.themaincriterion && set.themaincriterion <= 0.3, "criterion");
    demand(set.wavelength > 0.0 && set.wavelength <= 99999999.0, "wavelength");
    demand(-4 <= set.itypeofperiodogram && set.itypeofperiodogram <= 4, "type of periodogram");
    demand(set.itypeofperiodogram == 0 || !set.userprovidedvolumes, "type with user volumes");
    demand(0 <= set.sortsolutionsbyqualityvsvolume && set.sortsolutionsbyqualityvsvolume <= 3,
           "order of solutions");
    demand(0 <= set.isave_lepage && set.isave_lepage <= 128, "LePage");
    demand(1 <= store.maxnumberofsavedbases && store.maxnumberofsavedbases <= 128, "saved bases");
    demand(store.weightsforsortingbases(1) >= 0.0 && store.weightsforsortingbases(2) >= 0.0,
           "weights");
    demand(store.weightsforsortingbases(1) + store.weightsforsortingbases(2) >= machineepsilon,
           "sum of weights");
    demand(write_log_file.log_file_level == 0 || write_log_file.log_file_level == 1, "log level");
    if (set.limitsonvolumeofprimitivecell)
        demand(set.minvolumeofprimitivecell >= smallestminvolume
                   && set.minvolumeofprimitivecell <= set.maxvolumeofprimitivecell,
               "volume limits");
    demand(set.userprovidedvolumes ? 1 <= volumes && volumes <= 350 : volumes == 0,
           "number of volumes");
    for (int i = 1; i <= volumes; ++i) {
        const double V = estimatedvolumes.table_of_estimatedvolumes(i);
        demand(V >= 0.0 && V <= 1.0 / smallestuservolume, "a volume");
    }
}

} // namespace torvik
