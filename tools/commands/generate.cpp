// torvik-tools generate: what is installed beside the program, made of its own commands and options.
// It stands in no help: who installs the program has its output.

#include "base/writing.h"
#include "commands/command.h"
#include "shell/commandtree.h"

namespace torvik::tools {

namespace {

struct generateoptions {
    std::string kind;
    std::string output = "-";
};

std::string generated(const std::string& kind, const commandtree& program)
{
    if (kind == "man") return manualpage(program);
    if (kind == "bash") return bashcompletion(program);
    if (kind == "zsh") return zshcompletion(program);
    return fishcompletion(program);
}

} // namespace

void addgenerate(CLI::App& program)
{
    auto [command, options] = newcommand<generateoptions>(
        program, "generate", "Prints the manual page, or the completion of a shell");
    command->group(""); // hidden
    command->add_option("KIND", options->kind, "What to print")
        ->required()
        ->check(CLI::IsMember({"man", "bash", "zsh", "fish"}));
    command->add_option("-o,--output", options->output, "File to be written")
        ->capture_default_str();
    command->callback([options = options, &program] {
        writewhole(options->output, generated(options->kind, treeof(program)));
    });
}

} // namespace torvik::tools
