// An answer of the solver as a file for programs, and as a screenful for people.
#pragma once

#include "solutions/solved.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace torvik::tools {

// NAME.solution.json: docs/solve.md describes each key.
nlohmann::ordered_json solution_json(const solved_measurement& solved);

// The same as text. Names of files are bytes; what is not text in them becomes the replacement character.
std::string solution_text(const solved_measurement& solved);

// What a person wants to know, in a screenful.
std::string screenful(const solved_measurement& solved, bool colourful);

// The remarks of the answer, and what the options of the command can do about them.
std::vector<std::string> remarks_of(const solved_measurement& solved);

// "solved", "ambiguous" or "refused".
std::string word_for(solver::verdict how);

} // namespace torvik::tools
