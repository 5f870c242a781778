#include "shell/commandtree.h"

#include <algorithm>
#include <string_view>

namespace torvik::tools {

namespace {

std::string joined(const std::vector<std::string>& words, const std::string& between = " ")
{
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
    return text;
}

// Between apostrophes, as all three shells take it.
std::string quoted(const std::string& text)
{
    std::string safe = "'";
    for (const char c : text) safe += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return safe + "'";
}

std::vector<std::string> allnames(const std::vector<optionentry>& options)
{
    std::vector<std::string> names;
    for (const optionentry& option : options)
        for (const std::string& name : option.names) names.push_back(name);
    return names;
}

std::vector<std::string> commandnames(const commandtree& program)
{
    std::vector<std::string> names;
    for (const commandentry& command : program.commands) names.push_back(command.name);
    return names;
}

// The first clause: a line of a menu is short. A point within a word, as in NAME.idx, ends none.
std::string brief(const std::string& meaning)
{
    std::size_t end = meaning.find_first_of(":;(", 1);
    end = std::min(end, meaning.find(". "));
    std::string text = meaning.substr(0, end);
    text.erase(text.find_last_not_of(" .") + 1);
    return text;
}

// ------------------------------------------------------------------------------ zsh

// One of the specifications of _arguments, where : [ ] and \ have meanings.
std::string zshescaped(const std::string& text)
{
    std::string safe;
    for (const char c : text) {
        if (std::string_view(":[]\\").find(c) != std::string_view::npos) safe += '\\';
        safe += c;
    }
    return safe;
}

std::string zshargument(const optionentry& option, const std::string& name)
{
    std::string text = name + "[" + zshescaped(brief(option.meaning)) + "]";
    if (option.value.empty()) return text;
    text += ":" + zshescaped(option.value) + ":";
    if (!option.choices.empty()) return text + "(" + joined(option.choices) + ")";
    return text + (option.value.starts_with("number") ? " " : "_files");
}

} // namespace

std::string bashcompletion(const commandtree& program)
{
    std::string cases;
    std::string options;
    for (const commandentry& command : program.commands) {
        options +=
            "        " + command.name + ") words='" + joined(allnames(command.options)) + "' ;;\n";
        for (const optionentry& option : command.options)
            for (const std::string& name : option.names)
                if (!option.choices.empty())
                    cases += "        '" + command.name + " " + name + "') words='"
                             + joined(option.choices) + "' ;;\n";
    }
    return "# Completion of torvik-tools in bash.\n"
           "_torvik_tools()\n"
           "{\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} words=\n"
           "    COMPREPLY=()\n"
           "    if ((COMP_CWORD == 1)); then\n"
           "        COMPREPLY=($(compgen -W '"
           + joined(commandnames(program)) + " " + joined(allnames(program.options))
           + "' -- \"$current\"))\n"
             "        return\n"
             "    fi\n"
             "    case \"$command ${COMP_WORDS[COMP_CWORD - 1]}\" in\n"
           + cases
           + "    esac\n"
             "    [[ $words || $current != -* ]] || case $command in\n"
           + options
           + "    esac\n"
             "    COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n"
             "}\n"
             "complete -o default -F _torvik_tools torvik-tools\n";
}

std::string zshcompletion(const commandtree& program)
{
    std::string menu;
    std::string cases;
    for (const commandentry& command : program.commands) {
        menu += "        " + quoted(zshescaped(command.name) + ":" + brief(command.meaning)) + "\n";
        cases += "        " + command.name + ")\n            _arguments \\\n";
        for (const optionentry& option : command.options)
            for (const std::string& name : option.names)
                cases += "                " + quoted(zshargument(option, name)) + " \\\n";
        cases += "                '*:file:_files' ;;\n";
    }
    return "#compdef torvik-tools\n"
           "# Completion of torvik-tools in zsh.\n"
           "_torvik_tools()\n"
           "{\n"
           "    local -a commands\n"
           "    commands=(\n"
           + menu
           + "    )\n"
             "    if ((CURRENT == 2)); then\n"
             "        _describe command commands\n"
             "        return\n"
             "    fi\n"
             "    local command=$words[2]\n"
             "    shift words\n"
             "    ((CURRENT--))\n"
             "    case $command in\n"
           + cases
           + "    esac\n"
             "}\n"
             "_torvik_tools \"$@\"\n";
}

std::string fishcompletion(const commandtree& program)
{
    const std::string names = joined(commandnames(program));
    std::string text = "# Completion of torvik-tools in fish.\n";
    for (const commandentry& command : program.commands)
        text += "complete -c torvik-tools -f -n 'not __fish_seen_subcommand_from " + names + "' -a "
                + command.name + " -d " + quoted(brief(command.meaning)) + "\n";
    for (const commandentry& command : program.commands)
        for (const optionentry& option : command.options) {
            text +=
                "complete -c torvik-tools -n '__fish_seen_subcommand_from " + command.name + "'";
            for (const std::string& name : option.names)
                text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
            if (!option.value.empty()) text += " -r";
            if (!option.choices.empty()) text += " -f -a " + quoted(joined(option.choices));
            text += " -d " + quoted(brief(option.meaning)) + "\n";
        }
    return text;
}

} // namespace torvik::tools
