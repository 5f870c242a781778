#include "sources.h"

#include "support/runs.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>

namespace torvik {

namespace {

// All that the core library can change between two calls: the eight data groups, the open files,
// the positions of the two enumerators and the note that the guard of the reductions has spoken.
const std::set<std::string> writablestate = {
    "torvik::recorded_reflections",
    "torvik::otherglobalvariables",
    "torvik::write_log_file",
    "torvik::estimatedvolumes",
    "torvik::testperiods",
    "torvik::tabulcos",
    "torvik::modofsavedbases",
    "torvik::matricesforalternativebases",
    "torvik::(anonymous namespace)::input",
    "torvik::(anonymous namespace)::outputfiles",
    "torvik::(anonymous namespace)::terminallineopen",
    "torvik::(anonymous namespace)::positionofknatorx",
    "torvik::(anonymous namespace)::positionofknatory",
    "torvik::(anonymous namespace)::guardreported",
};

TEST(Census, OfWritableSymbolsFindsTheKnownStateAndNothingElse)
{
    if (printedbycommand("command -v objdump").empty()) GTEST_SKIP() << "objdump is not installed";
    const std::string symbols = printedbycommand("objdump -tC '" TORVIK_CORE_LIBRARY "'");
    // Address, flags, section, size, perhaps a visibility, name.
    static const std::regex object(
        R"(\w+ .{7} \.(data|bss)(\.\S+)?\t\w+ +(\.hidden )?(torvik::.*))");
    std::set<std::string> found;
    for (const std::string& line : linesof(symbols)) {
        std::smatch match;
        if (!std::regex_match(line, match, object)) continue;
        if (match[2].str().starts_with(".rel.ro")) continue; // constants that hold addresses
        found.insert(match[4]);
    }
    EXPECT_EQ(found, writablestate);
}

} // namespace

} // namespace torvik
