// Whole runs whose outputs are kept: the project's own, and the reference collection.
#pragma once

#include "support/runs.h"

#include <ostream>
#include <string>
#include <vector>

// A case of the project's own is a folder in tests/golden with
//     why.txt     a line on why it exists
//     arguments   the command line, an argument a line
//     stdin       what is typed (an empty line if there is no such file)
//     input/      the files laid into the working folder
//     expected/   the files that the run leaves, and "stdout"
// Dates and timing figures are masked. The reference cases are a collection outside the project,
// read where it lies beside it.

namespace torvik {

struct keptcase {
    std::string name;
    runsetting setting;
    namedfiles expected; // by name; "stdout" is the terminal
    bool onlyterminates = false;
};

std::vector<keptcase> owncases();

// Gives none where the collection is missing.
std::vector<keptcase> referencecases();

// How GoogleTest shows a case.
void PrintTo(const keptcase& c, std::ostream* stream);

} // namespace torvik
