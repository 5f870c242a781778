// The commands of torvik-tools that the tests of faults call, in one table.
#pragma once

#include "support/runs.h"

#include <string>
#include <vector>

namespace torvik {

// A call in a folder with the inputs of all commands.
struct toolcommand {
    std::string name;
    std::vector<std::string> arguments; // the first file that is read is `input`
    std::string input;
    std::vector<std::string> outputs = {}; // that are written
    bool uses_folder = false;              // for temporary files
    bool prints = true;                    // on the standard output
};

// How a test calls a command by the name that it shows.
inline void PrintTo(const toolcommand& one, std::ostream* out)
{
    *out << one.name;
}

inline std::vector<toolcommand> toolcommands()
{
    const std::string torvik = TORVIK_PROGRAM;
    return {
        {"import", {"import", "a.txt", "-o", "new.idx", "--force"}, "a.txt", {"new.idx"}},
        {"export",
         {"export", "a_idx.res", "--to", "json", "-o", "new.json"},
         "a_idx.res",
         {"new.json"}},
        {"simulate",
         {"simulate", "--cell", "a.cif", "-n", "300", "-o", "new.idx", "--force"},
         "a.cif",
         {"new.idx", "new.truth.json"}},
        {"solve", {"solve", "a.txt", "-o", "new"}, "a.txt", {"new.solution.json"}},
        {"solve_results",
         {"solve", "a.txt", "-o", "new", "--results", "--torvik", torvik},
         "a.txt",
         {"new.solution.json", "new.solution.idx", "new.solution_idx.res"},
         true},
        {"report",
         {"report", "a_idx.res", "-o", "new.html", "--page", "page.html", "--program", torvik},
         "a_idx.res",
         {"new.html"},
         true},
        {"report_data",
         {"report", "--json", "a_idx.res", "--program", torvik},
         "a_idx.res",
         {},
         true},
        {"generate", {"generate", "man", "-o", "new.1"}, "", {"new.1"}, false, false},
        {"cells", {"cells", "a_idx.res"}, "a_idx.res"},
        {"score", {"score", "a_idx.res", "a.truth.json"}, "a_idx.res"},
    };
}

// The inputs of the commands: a crystal of quartz's cell, its measurement, results, truth and the rest.
const namedfiles& toolinputs();

} // namespace torvik
