#include "text/units.h"

#include "text/paths.h"
#include "text/pause.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace torvik {

namespace {

namespace fs = std::filesystem;

struct outputfile {
    std::FILE* stream = nullptr;
    std::string name; // the final name, as it was asked for
    fs::path final;   // the final name with links followed
    fs::path written; // the name under which it is being written
};

// The open files, by unit. Nothing outside this file sees them.
std::array<outputfile, logunit + 1> outputfiles;
freeformtext input;

// The last text on the terminal did not end its line.
bool terminallineopen = false;

outputfile& fileof(int unit)
{
    return outputfiles[static_cast<std::size_t>(unit)];
}

bool writtenbeside(const outputfile& file)
{
    return file.stream != nullptr && file.written != file.final;
}

// Removes what was written beside: it will never be complete.
void discardunfinished()
{
    std::error_code error;
    for (outputfile& file : outputfiles) {
        if (!writtenbeside(file)) continue;
        std::fclose(file.stream);
        fs::remove(file.written, error);
        file = {};
    }
}

// Tells that a file cannot be written, on a line of its own, and stops.
[[noreturn]] void cannotwrite(const std::string& name)
{
    discardunfinished();
    endterminalline();
    writefreeline(terminalunit, "Error: Cannot write ", name, ".");
    pauseandstop();
}

// Says whether an existing file may be replaced: its own protection counts, not only its folder's.
bool replaceable(const fs::path& name)
{
    std::error_code error;
    if (!fs::exists(name, error)) return true;
    std::FILE* stream = opentochange(name);
    if (stream == nullptr) return false;
    std::fclose(stream);
    return true;
}

// Opens the first of Torvik.part, Torvik.part2, ... in the folder that does not exist yet, so that
// two runs in one folder never write to the same file.
void openbeside(outputfile& file)
{
    constexpr int manyruns = 1000;
    const fs::path part = fs::path(file.final).replace_filename("Torvik.part");
    for (int k = 1; k < manyruns && file.stream == nullptr; ++k) {
        file.written = part;
        if (k > 1) file.written += std::to_string(k);
        std::error_code error;
        if (!fs::exists(file.written, error)) file.stream = createfile(file.written);
    }
}

// Gives the whole content of a stream, or false on a read error.
bool readall(std::FILE* stream, std::string& content)
{
    std::array<char, 65536> block;
    std::size_t count = 0;
    while ((count = std::fread(block.data(), 1, block.size(), stream)) > 0)
        content.append(block.data(), count);
    return std::ferror(stream) == 0;
}

} // namespace

bool openinput(const std::string& name)
{
    std::FILE* stream = std::fopen(name.c_str(), "rb");
    if (stream == nullptr) return false;
    input = {};
    const bool readable = readall(stream, input.text);
    std::fclose(stream);
    constexpr std::string_view byteordermark = "\xEF\xBB\xBF";
    if (input.text.starts_with(byteordermark)) input.text.erase(0, byteordermark.size());
    return readable;
}

freeformtext& inputlines()
{
    return input;
}

void closeinput()
{
    input = {};
}

void openoutput(int unit, const std::string& name)
{
    outputfile& file = fileof(unit);
    file = {std::fopen(name.c_str(), "wb"), name, pathof(name), pathof(name)};
    if (file.stream == nullptr) cannotwrite(name);
}

void openoutputbeside(int unit, const std::string& name)
{
    std::error_code error;
    const fs::path path = pathof(name);
    if (fs::is_other(path, error)) {
        openoutput(unit, name);
        return;
    }
    outputfile& file = fileof(unit);
    file = {nullptr, name, fs::weakly_canonical(path, error), {}};
    if (error) file.final = path;
    if (replaceable(file.final)) openbeside(file);
    if (file.stream == nullptr) cannotwrite(name);
}

void closeoutput(int unit)
{
    const outputfile file = fileof(unit);
    fileof(unit) = {};
    const bool complete = std::ferror(file.stream) == 0;
    const bool closed = std::fclose(file.stream) == 0;
    std::error_code error;
    if (complete && closed && file.written != file.final)
        fs::rename(file.written, file.final, error);
    if (complete && closed && !error) return;
    if (file.written != file.final) fs::remove(file.written, error);
    cannotwrite(file.name);
}

void writetext(int unit, std::string_view text)
{
    if (unit == terminalunit) {
        std::fwrite(text.data(), 1, text.size(), stdout);
        if (!text.empty()) terminallineopen = text.back() != '\n';
        return;
    }
    std::FILE* stream = fileof(unit).stream;
    if (std::fwrite(text.data(), 1, text.size(), stream) < text.size())
        cannotwrite(std::string(fileof(unit).name));
}

void endterminalline()
{
    if (terminallineopen) writeline(terminalunit);
}

void showterminal()
{
    std::fflush(stdout);
}

} // namespace torvik
