// The keywords of the program as options, with the values that it takes.
#pragma once

#include "formats/idxfile.h"

#include <string>
#include <vector>

namespace torvik::tools {

struct keywordrule {
    const char* name;    // without its underscore: "TheMainCriterion"
    const char* meaning; // a line for the help
    int values;          // how many; 0: a list of one or more
    bool whole;          // numbers without a point
    double least;
    double most;
    const char* range; // in words: "0.03 to 0.3"
};

// All but the lists of reflections and their number, in alphabetic order.
const std::vector<keywordrule>& keywordrules();
const keywordrule& rulenamed(const std::string& name);

// The keyword of a rule with its values as they stand in an input file. Throws a failure that names the
// option and the legal range for values that the program would refuse.
keyword checkedkeyword(const keywordrule& rule, const std::vector<std::string>& values);

// Throws a failure for keywords that the program takes only one of.
void checktogether(const std::vector<keyword>& keywords);

// Puts a keyword into a list in place of those with its name.
void setkeyword(std::vector<keyword>& keywords, const keyword& one);

const keyword* findkeyword(const std::vector<keyword>& keywords, const std::string& name);

} // namespace torvik::tools
