// torvik-tools: brings measurements in, takes answers out.

#include "base/failure.h"
#include "base/signals.h"
#include "base/streams.h"
#include "base/terminal.h"
#include "commands/command.h"
#include "solver/lattice/invalid_input.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>
#include <new>
#include <string>
#include <system_error>
#include <vector>

namespace {

constexpr int done = 0;
constexpr int failed = 1;
constexpr int misused = 2;

int report(const std::string& sentence)
{
    using namespace torvik::tools;
    std::cerr << red("Error:", errorcolourful()) << " " << sentence << "\n";
    return failed;
}

// The arguments as CLI11 takes them: in reverse order.
std::vector<std::string> wordsof(int argc, char** argv)
{
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    if (!words.empty() && words[0] == "solve") words = torvik::tools::withcellsinoneword(words);
    std::reverse(words.begin(), words.end());
    return words;
}

void addcommands(CLI::App& program)
{
    torvik::tools::addimport(program);
    torvik::tools::addexport(program);
    torvik::tools::addcells(program);
    torvik::tools::addscore(program);
    torvik::tools::addsimulate(program);
    torvik::tools::addreport(program);
    torvik::tools::addgenerate(program);
    torvik::tools::addsolve(program);
    torvik::tools::addbatch(program);
}

// Runs the command, and says what went wrong.
int carriedout(CLI::App& program, int argc, char** argv)
{
    try {
        addcommands(program);
        program.parse(wordsof(argc, argv));
        return done;
    } catch (const CLI::RuntimeError& stop) { // the command has said what there is to say
        return stop.get_exit_code();
    } catch (const CLI::ParseError& stop) {
        return program.exit(stop) == done ? done : misused;
    } catch (const torvik::tools::failure& why) {
        return report(why.what());
    } catch (const torvik::solver::invalid_input& why) {
        return report(why.what());
    } catch (const std::bad_alloc&) {
        return report("There is not enough memory.");
    } catch (const std::filesystem::filesystem_error& why) {
        return report("Cannot look at " + why.path1().string() + ": " + why.code().message() + ".");
    } catch (const std::system_error& why) {
        return report("The system refuses what is needed: " + why.code().message() + ".");
    } catch (const std::exception& why) {
        return report(std::string("Something unforeseen happened: ") + why.what() + ".");
    }
}

} // namespace

int main(int argc, char** argv)
{
    torvik::tools::reservestreams();
    torvik::tools::failatwrites();
    CLI::App program("Brings measurements to Torvik, and takes its answers to other programs.",
                     "torvik-tools");
    program.set_version_flag("--version", "torvik-tools " TORVIK_VERSION);
    program.require_subcommand(1);
    program.footer("torvik-tools COMMAND --help tells of a command, with an example.");
    const int status = carriedout(program, argc, argv);
    if (!std::cout.flush() && status == done) return report("Cannot write to the standard output.");
    return status;
}
