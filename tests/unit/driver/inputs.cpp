#include "unit/driver/inputs.h"

#include "driver/fix_parameter.h"
#include "driver/read_idx_file.h"
#include "text/units.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace torvik {

namespace {

bool mustreturn = false;

void refuseexit()
{
    if (!mustreturn) return;
    std::fputs("The program stopped inside a test in which it has to go on.\n", stderr);
    _exit(1);
}

} // namespace

const std::string pausenotice = "Press Enter to close Torvik.\n";

const std::string sixreflections = "_NumberOfReflections\n"
                                   "6\n"
                                   "_Reflections\n"
                                   "0.1 0 0\n"
                                   "0.013 0.12 0\n"
                                   "0.021 0.034 0.131\n"
                                   "0.113 0.12 0\n"
                                   "0.121 0.034 0.131\n"
                                   "0.034 0.154 0.131\n";

const std::string solvedinput = sixreflections
                                + "_UserProvidedTestVolumes\n"
                                  "1\n"
                                  "636.13\n";

std::string parametererrorlines(const std::string& message)
{
    return "\n\n Error: " + message + "\n\n\n";
}

std::string printedbyreturning(const std::function<void()>& action)
{
    static const bool registered = std::atexit(refuseexit) == 0;
    if (!registered) std::abort();
    mustreturn = true;
    const std::string printed = printedby(action);
    mustreturn = false;
    return printed;
}

keywordresult fixed(const std::string& lines)
{
    const temporaryfolder folder;
    writefile(folder.file("lines"), lines);
    EXPECT_TRUE(openinput(folder.file("lines")));
    keywordresult result = {-1, ""};
    result.printed = printedbyreturning([&] {
        std::string first;
        EXPECT_EQ(readword(inputlines(), first), readdone);
        fix_parameter(result.flag);
    });
    closeinput();
    return result;
}

std::string readinput(const std::string& idx)
{
    const temporaryfolder folder;
    writefile(folder.file("a.idx"), idx);
    return printedbyreturning([&] {
        fix_defaults();
        read_idx_file(makefilename(folder.file("a.idx")));
    });
}

void expectstopped(const runresult& run, const std::string& output)
{
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, output);
    EXPECT_EQ(run.errors, pausenotice);
    EXPECT_TRUE(run.files.empty()) << "the run left a file " << run.files.begin()->first;
}

} // namespace torvik
