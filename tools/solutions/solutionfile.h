// An answer of the solver as a file for programs, and as a screenful for people.
#pragma once

#include "solutions/solved.h"

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace torvik::tools {

// NAME.solution.json: docs/solve.md describes each key.
nlohmann::ordered_json solution_json(const solved_measurement& solved);

// The same as text. Names of files are bytes; what is not text in them becomes the replacement character.
std::string solution_text(const solved_measurement& solved);

// What a person wants to know, in a screenful.
std::string screenful(const solved_measurement& solved, bool colourful);

// "solved", "ambiguous" or "refused".
std::string word_for(solver::verdict how);

} // namespace torvik::tools
