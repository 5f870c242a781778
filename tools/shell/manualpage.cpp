#include "shell/commandtree.h"

#include <sstream>

namespace torvik::tools {

namespace {

// Text that no line of which is taken for a request, and no backslash for an escape.
std::string plain(const std::string& text)
{
    std::string safe;
    bool start = true;
    for (const char c : text) {
        if (start && (c == '.' || c == '\'')) safe += "\\&";
        if (c == '\\')
            safe += "\\e";
        else
            safe += c;
        start = c == '\n';
    }
    return safe;
}

// Words behind a macro, none of which is taken for a macro itself.
std::string quoted(const std::string& words)
{
    std::string safe;
    for (const char c : plain(words)) safe += c == '"' ? std::string("\\(dq") : std::string(1, c);
    return "\"" + safe + "\"";
}

// "Fl o , Fl -output Ar text": the macro puts the first hyphen.
std::string tagof(const optionentry& option)
{
    std::string tag;
    for (const std::string& name : option.names) {
        if (!tag.empty()) tag += " , ";
        tag += name.starts_with('-') ? "Fl " + name.substr(1) : "Ar " + quoted(name);
    }
    if (!option.value.empty() && option.names.front().starts_with('-'))
        tag += " Ar " + quoted(option.value);
    return tag;
}

std::string sentence(const std::string& text)
{
    if (text.empty() || std::string_view(".:!?").find(text.back()) != std::string_view::npos)
        return text;
    return text + ".";
}

std::string choicesof(const optionentry& option)
{
    std::string all;
    for (const std::string& one : option.choices) all += (all.empty() ? "" : ", ") + one;
    return all;
}

std::string listof(const std::vector<optionentry>& options)
{
    std::string list;
    std::string group = "?";
    for (const optionentry& option : options) {
        if (option.group != group) {
            if (!list.empty()) list += ".El\n";
            if (!option.group.empty()) list += ".Pp\n" + plain(option.group) + ":\n";
            list += ".Bl -tag -width Ds\n";
            group = option.group;
        }
        list += ".It " + tagof(option) + "\n" + plain(sentence(option.meaning)) + "\n";
        if (!option.choices.empty()) list += plain("One of " + choicesof(option) + ".") + "\n";
        if (!option.standard.empty()) list += plain("By default " + option.standard + ".") + "\n";
    }
    return list.empty() ? list : list + ".El\n";
}

std::string callof(const commandtree& program, const commandentry& command)
{
    std::string call = ".Nm " + program.name + "\n.Cm " + command.name + "\n.Op Ar options\n";
    for (const optionentry& argument : command.arguments) {
        const std::string name =
            "Ar " + quoted(argument.names.front()) + (argument.repeated ? " ..." : "");
        call += argument.required ? "." + name + "\n" : ".Op " + name + "\n";
    }
    return call;
}

std::string sectionof(const commandtree& program, const commandentry& command)
{
    std::string page = ".Ss " + command.name + "\n" + callof(program, command) + ".Pp\n"
                       + plain(sentence(command.meaning)) + "\n";
    page += listof(command.arguments) + listof(command.options);
    if (!command.footer.empty()) page += ".Bd -literal\n" + plain(command.footer) + "\n.Ed\n";
    return page;
}

} // namespace

std::string manualpage(const commandtree& program)
{
    std::string page =
        ".Dd November 21, 2026\n.Dt TORVIK-TOOLS 1\n.Os\n.Sh NAME\n.Nm torvik-tools\n"
        ".Nd bring measurements to Torvik, and its answers to other programs\n"
        ".Sh SYNOPSIS\n";
    for (const commandentry& command : program.commands) page += callof(program, command);
    page += ".Sh DESCRIPTION\n.Nm torvik-tools\nis a companion of\n.Xr Torvik 1 ,\n"
            "which indexes single-crystal diffraction data.\n"
            + listof(program.options) + ".Sh COMMANDS\n";
    for (const commandentry& command : program.commands) page += sectionof(program, command);
    page +=
        ".Sh ENVIRONMENT\n.Bl -tag -width Ds\n.It Ev NO_COLOR\nIf it is set, nothing is coloured.\n"
        ".It Ev TERM\nIf it is\n.Ql dumb ,\nnothing is coloured.\n.El\n"
        ".Sh EXIT STATUS\n0 if all went well, 1 after a message on the error stream, 2 if the\n"
        "command line is wrong.\n.Sh SEE ALSO\n.Xr Torvik 1\n";
    return page;
}

} // namespace torvik::tools
