// The commands of the program as its manual page and the completion of shells need them.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace torvik::tools {

struct optionentry {
    std::vector<std::string>
        names;         // "-o", "--output"; of an argument without a name its own: "FILE"
    std::string value; // what follows it: "text", "number number"; empty for a flag
    std::vector<std::string> choices; // if only these are taken
    std::string standard;             // value that it has by default, or empty
    std::string meaning;
    std::string group; // heading under which the help lists it; empty if it is the usual one
    bool required = false;
    bool repeated = false; // takes several
};

struct commandentry {
    std::string name;
    std::string meaning;
    std::vector<optionentry> arguments;
    std::vector<optionentry> options;
    std::string footer; // with its examples
};

struct commandtree {
    std::string name;
    std::string meaning;
    std::vector<optionentry> options;
    std::vector<commandentry> commands;
};

// What the help shows: hidden commands and options are left out.
commandtree treeof(const CLI::App& program);

// The manual page, in mdoc.
std::string manualpage(const commandtree& program);

// Scripts that complete commands, options and their choices; file names for all else.
std::string bashcompletion(const commandtree& program);
std::string zshcompletion(const commandtree& program);
std::string fishcompletion(const commandtree& program);

} // namespace torvik::tools
