#include "fuzz/harness.h"

#include "driver/properindexing.h"
#include "driver/read_idx_file.h"
#include "fuzz/documented.h"
#include "fuzz/work.h"
#include "support/fresh.h"
#include "support/runs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <functional>
#include <stdexcept>

namespace torvik {

namespace {

namespace fs = std::filesystem;

constexpr double longestrun = 10.0; // seconds, in a build with sanitizers

double processortime()
{
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

// Removes a file of a run. Says whether it was there and not empty.
bool takefile(const char* name)
{
    struct stat status;
    const bool there = stat(name, &status) == 0 && status.st_size > 0;
    unlink(name);
    return there;
}

ssize_t append(void* text, const char* bytes, std::size_t count)
{
    static_cast<std::string*>(text)->append(bytes, count);
    return static_cast<ssize_t>(count);
}

enum class ending { returned, stopped, stoppedafterpause };

// Carries out a step with the terminal caught in a string.
ending caught(const std::function<void()>& step, std::string& terminal)
{
    static std::string text;
    static std::FILE* const stream =
        fopencookie(&text, "w", {nullptr, append, nullptr, nullptr}); // never closed
    text.clear();
    std::FILE* const real = stdout;
    stdout = stream;
    ending how = ending::returned;
    try {
        step();
    } catch (const programstopped& stop) {
        how = stop.afterpause ? ending::stoppedafterpause : ending::stopped;
    }
    std::fflush(stream);
    stdout = real;
    terminal = std::move(text);
    return how;
}

// Resets what reading sets. The tables of superlattices, which take long, are not among it.
void resetreading()
{
    recorded_reflections = {};
    otherglobalvariables = {};
    write_log_file = {};
    estimatedvolumes = {};
    modofsavedbases.maxnumberofsavedbases = defaultnumberofsavedbases;
    modofsavedbases.weightsforsortingbases = defaultweights;
}

void provide(int input, std::string_view bytes)
{
    const bool written =
        pwrite(input, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size())
        && ftruncate(input, static_cast<off_t>(bytes.size())) == 0;
    if (!written) throw std::runtime_error("the input cannot be laid into its folder");
}

const inputfilename& inputname()
{
    static const inputfilename name = makefilename("a.idx");
    return name;
}

// The outcome of an action that ended with a terminal text, "read" if it returned.
std::string outcomeofreading(ending how, std::string terminal)
{
    std::string outcome = "read";
    if (how == ending::returned)
        checkparameters();
    else
        outcome = takemessage(terminal);
    demand(how != ending::stopped, "a stop without a pause");
    checkechoes(terminal);
    return outcome;
}

std::string outcomeofrun(ending how, std::string terminal)
{
    const bool results = takefile("a_idx.res");
    const bool periodogram = takefile("a_periodogram.res");
    const bool lepage = unlink("LePage.inp") == 0; // empty without solutions
    const bool log = takefile("a_idx.log");
    demand(unlink("Torvik.part") != 0, "an unfinished file is left");
    if (how == ending::stoppedafterpause) {
        const std::string outcome = takemessage(terminal);
        checkechoes(terminal);
        demand(!results && !periodogram && !lepage && !log, "files beside a message");
        return outcome;
    }
    checkstages(terminal);
    demand(log == (write_log_file.log_file_level == 1), "the log");
    if (how == ending::stopped) {
        demand(otherglobalvariables.itypeofperiodogram < 0, "a stop without a reason");
        demand(periodogram && !results && !lepage, "the files of a periodogram");
        return "periodogram";
    }
    demand(results && !periodogram, "the files of a run");
    demand(lepage == (otherglobalvariables.isave_lepage > 0), "LePage.inp");
    demand(terminal.find(" Results saved in file : a_idx.res\n") != std::string::npos
               && terminal.ends_with(" seconds\n\n"),
           "the end of a run");
    return "results";
}

} // namespace

harness::harness()
{
    // In memory, where that is allowed.
    for (const fs::path& place : {fs::path("/dev/shm"), fs::temp_directory_path()}) {
        std::string name = (place / "torvik_fuzz_XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) continue;
        folder_ = name;
        break;
    }
    if (folder_.empty() || chdir(folder_.c_str()) != 0)
        throw std::runtime_error("no folder for the runs");
    input_ = open("a.idx", O_RDWR | O_CREAT, 0600);
}

harness::~harness()
{
    close(input_);
    std::error_code error;
    fs::remove_all(folder_, error);
}

std::string harness::readonly(std::string_view bytes)
{
    provide(input_, bytes);
    resetreading();
    std::string terminal;
    const ending how = caught([] { read_idx_file(inputname()); }, terminal);
    const std::string outcome = outcomeofreading(how, std::move(terminal));
    ++outcomes[outcome];
    return outcome;
}

std::string harness::wholerun(std::string_view bytes)
{
    // Read it once to see what it asks for.
    provide(input_, bytes);
    resetreading();
    std::string terminal;
    const ending reading = caught([] { read_idx_file(inputname()); }, terminal);
    if (reading == ending::returned && workofrun() > workadmitted) {
        ++outcomes["too much work"];
        return "too much work";
    }
    resetgroups();
    const double start = processortime();
    const ending how = caught([] { properindexing(inputname()); }, terminal);
    const double seconds = processortime() - start;
    longest = std::max(longest, seconds);
    demand(seconds < longestrun, "a run that takes too long");
    const std::string outcome = outcomeofrun(how, std::move(terminal));
    ++outcomes[outcome];
    return outcome;
}

std::string summaryof(const harness& seen)
{
    std::string text;
    for (const auto& [outcome, count] : seen.outcomes)
        text += std::to_string(count) + "  " + outcome + "\n";
    return text + "Longest run: " + std::to_string(seen.longest) + " seconds\n";
}

} // namespace torvik
