#include "text/units.h"

#include "text/pause.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace torvik {

namespace {

struct outputfile {
    std::FILE* stream = nullptr;
    std::string name;    // the final name
    std::string written; // the name under which it is being written
};

// The open files, by unit. Nothing outside this file sees them.
std::array<outputfile, logunit + 1> outputfiles;
freeformtext input;

outputfile& fileof(int unit)
{
    return outputfiles[static_cast<std::size_t>(unit)];
}

bool writtenbeside(const outputfile& file)
{
    return file.stream != nullptr && file.written != file.name;
}

// Removes what was written beside: it will never be complete.
void discardunfinished()
{
    for (outputfile& file : outputfiles) {
        if (!writtenbeside(file)) continue;
        std::fclose(file.stream);
        std::remove(file.written.c_str());
        file = {};
    }
}

[[noreturn]] void cannotwrite(const std::string& name)
{
    discardunfinished();
    writefreeline(terminalunit, "Error: Cannot write ", name, ".");
    pauseandstop();
}

bool isfolder(const std::string& name)
{
    std::error_code error;
    return std::filesystem::is_directory(name, error);
}

// Opens the first of name.part, name.part2, ... that does not exist yet, so that two runs in one
// folder never write to the same file.
bool openbeside(outputfile& file)
{
    constexpr int manyruns = 1000;
    for (int k = 1; k < manyruns && file.stream == nullptr; ++k) {
        file.written = file.name + ".part" + (k > 1 ? std::to_string(k) : "");
        std::error_code error;
        if (!std::filesystem::exists(file.written, error))
            file.stream = std::fopen(file.written.c_str(), "wbx");
    }
    return file.stream != nullptr;
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
    file = {std::fopen(name.c_str(), "wb"), name, name};
    if (file.stream == nullptr) cannotwrite(name);
}

void openoutputbeside(int unit, const std::string& name)
{
    outputfile& file = fileof(unit);
    file = {nullptr, name, ""};
    if (isfolder(name) || !openbeside(file)) cannotwrite(name);
}

void closeoutput(int unit)
{
    const outputfile file = fileof(unit);
    fileof(unit) = {};
    const bool complete = std::ferror(file.stream) == 0;
    const bool closed = std::fclose(file.stream) == 0;
    std::error_code error;
    if (complete && closed && file.written != file.name)
        std::filesystem::rename(file.written, file.name, error);
    if (complete && closed && !error) return;
    if (file.written != file.name) std::remove(file.written.c_str());
    cannotwrite(file.name);
}

void writetext(int unit, std::string_view text)
{
    std::FILE* stream = unit == terminalunit ? stdout : fileof(unit).stream;
    const bool complete = std::fwrite(text.data(), 1, text.size(), stream) == text.size();
    if (!complete && unit != terminalunit) {
        const std::string name = fileof(unit).name;
        cannotwrite(name);
    }
}

void showterminal()
{
    std::fflush(stdout);
}

} // namespace torvik
