#include "shell/commandtree.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>

namespace torvik::tools {

namespace {

// "TEXT:{a,b}" has the choices a and b, and so has "TEXT:value in {a->0,b->1}".
std::vector<std::string> choicesin(const std::string& type)
{
    std::vector<std::string> choices;
    const std::size_t open = type.find('{');
    const std::size_t close = type.find('}', open);
    if (open == std::string::npos || close == std::string::npos) return choices;
    std::string one;
    for (const char c : type.substr(open + 1, close - open)) {
        if (c != ',' && c != '}') {
            one += c;
            continue;
        }
        choices.push_back(one.substr(0, one.find("->")));
        one.clear();
    }
    return choices;
}

std::string wordfor(const std::string& type)
{
    if (type.starts_with("INT") || type.starts_with("UINT") || type.starts_with("FLOAT"))
        return "number";
    return "text";
}

std::string valueof(const CLI::Option& option)
{
    if (option.get_items_expected_max() == 0) return "";
    const std::string word = wordfor(option.get_type_name());
    std::string value = word;
    for (int i = 1; i < std::min(option.get_items_expected_min(), 3); ++i) value += " " + word;
    const bool more =
        option.get_items_expected_max() > std::min(option.get_items_expected_min(), 3);
    return more ? value + " ..." : value;
}

optionentry entryof(const CLI::Option& option)
{
    optionentry entry;
    for (const std::string& name : option.get_snames()) entry.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) entry.names.push_back("--" + name);
    if (entry.names.empty()) entry.names.push_back(option.get_name(true));
    entry.value = valueof(option);
    entry.choices = choicesin(option.get_type_name());
    entry.standard = option.get_default_str();
    entry.meaning = option.get_description();
    if (option.get_group() != "Options") entry.group = option.get_group();
    entry.required = option.get_required();
    entry.repeated = option.get_items_expected_max() > 1;
    return entry;
}

std::vector<optionentry> optionsof(const CLI::App& command, bool arguments)
{
    std::vector<optionentry> entries;
    for (const CLI::Option* option : command.get_options([&](const CLI::Option* one) {
             return !one->get_group().empty() && one->nonpositional() != arguments;
         }))
        entries.push_back(entryof(*option));
    std::stable_sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) {
        return a.group.empty() > b.group.empty();
    });
    return entries;
}

} // namespace

commandtree treeof(const CLI::App& program)
{
    commandtree tree{program.get_name(), program.get_description(), optionsof(program, false), {}};
    for (const CLI::App* command :
         program.get_subcommands([](const CLI::App* one) { return !one->get_group().empty(); }))
        tree.commands.push_back({command->get_name(), command->get_description(),
                                 optionsof(*command, true), optionsof(*command, false),
                                 command->get_footer()});
    return tree;
}

} // namespace torvik::tools
