// The limits of docs/limits.md: memory, the time that reading takes, and the first sign of work.
// limits.py measures what these tests bound.

#include "faults/inputs.h"
#include "faults/process.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <string>

namespace torvik {

namespace {

#if defined(__SANITIZE_ADDRESS__)
#define TORVIK_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TORVIK_SANITIZED 1
#endif
#endif
#ifdef TORVIK_SANITIZED
constexpr bool sanitized = true; // memory and time are those of the sanitizer then
#else
constexpr bool sanitized = false;
#endif

constexpr double longenough = 500; // seconds, also on a busy machine
constexpr double megabyte = 1e6;

class Limits : public ::testing::Test {
protected:
    void SetUp() override
    {
        setting.folder = folder.path();
        setting.arguments = {"a.idx"};
    }

    ending ran(const std::string& idx) const
    {
        writefile(folder.file("a.idx"), idx);
        return ranprocess(setting);
    }

    // Expects a run to show a text through a pipe while it goes on, and gives how it was ended.
    ending expectshown(const std::string& idx, const std::string& text) const
    {
        writefile(folder.file("a.idx"), idx);
        process run(setting);
        EXPECT_TRUE(run.shows(text, longenough)) << text;
        run.send(SIGTERM);
        const ending end = run.wait();
        EXPECT_EQ(end.status, 128 + SIGTERM); // it was not over
        return end;
    }

    // Gives the highest number of a test period that a run told.
    static double periodsof(const ending& run)
    {
        const std::string label = " Number of test periods :";
        return std::stod(run.output.substr(run.output.find(label) + label.size()));
    }

    temporaryfolder folder;
    processsetting setting;
};

const std::string fulltable = "_MinMaxVolumeOfPrimitiveCell\n10 1e9\n";
const std::string uservolumes = "_UserProvidedTestVolumes\n350 350*125.0\n";

// The search of 999 reflections takes days; the progress line does not wait for it.
TEST_F(Limits, ASearchShowsItsProgressFromTheStartEvenThroughAPipe)
{
    expectshown(uservolumes + cubicreflections(999),
                "\r Progress :                                1 -->   350  ");
}

TEST_F(Limits, APeriodogramIsAnnouncedBeforeItIsCalculatedEvenThroughAPipe)
{
    const std::string names[] = {"folding", "Rayleigh", "Scargle", "Rayleigh x Scargle"};
    for (int kind = 1; kind <= 4; ++kind)
        for (const char* sign : {"", "-"})
            expectshown("_TypeOfPeriodogram\n" + (sign + std::to_string(kind)) + "\n" + fulltable
                            + cubicreflections(100),
                        " Calculating " + names[kind - 1] + " periodogram\n");
}

TEST_F(Limits, NineHundredNinetyNineReflectionsAndThreeHundredFiftyVolumesTakeLittleMemory)
{
    if (sanitized) GTEST_SKIP();
    writefile(folder.file("a.idx"), uservolumes + cubicreflections(999));
    process run(setting);
    ASSERT_TRUE(run.shows("Progress", longenough));
    usleep(300000);
    run.send(SIGTERM);
    EXPECT_LT(run.wait().peakmegabytes, 8.0); // 4 were measured
}

TEST_F(Limits, AnEmptyInputTakesLittleMemory)
{
    if (sanitized) GTEST_SKIP();
    EXPECT_LT(ran("").peakmegabytes, 8.0); // 4.3 were measured
}

// A period takes 8 bytes in the table and 8 in the periodogram.
TEST_F(Limits, AFullTableOfPeriodsTakesTheMemoryOfItsNumbers)
{
    if (sanitized) GTEST_SKIP();
    const ending run = ran("_TypeOfPeriodogram\n1\n" + fulltable + cubicreflections(4));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(periodsof(run), 8388607);
    // The periods, and the two bounds on each value.
    EXPECT_LT(run.peakmegabytes, 3 * 8388608 * 8 / megabyte + 8);
}

// The most is needed by the product: the values and bounds of two periodograms and their phases,
// beside the table of periods. A log, twice as long as any other, does not add to that.
TEST_F(Limits, NoPeriodogramAndNoLogTakesMoreThanNineNumbersForAPeriod)
{
    if (sanitized) GTEST_SKIP();
    const ending run =
        ran(withlog + "_TypeOfPeriodogram\n-4\n_MinMaxVolumeOfPrimitiveCell\n10 1.6e5\n"
            + cubicreflections(4));
    EXPECT_EQ(run.status, 0);
    const double periods = periodsof(run);
    EXPECT_GT(periods, 500000);
    EXPECT_LT(run.peakmegabytes, 9 * periods * 8 / megabyte + 8);
}

std::string repeated(const std::string& text, int times)
{
    std::string all;
    for (int k = 0; k < times; ++k) all += text;
    return all;
}

// Reading that takes time by the square of the length would need minutes for these inputs; linear
// reading needs half a second at most.
class LinearReading : public Limits {
protected:
    void SetUp() override
    {
        Limits::SetUp();
        setting.before = [] {
            const rlimit seconds = {20, 20};
            setrlimit(RLIMIT_CPU, &seconds);
        };
    }

    // Expects an input to be read up to a keyword that is unknown, or up to its error.
    void expectreaderror(const std::string& idx) const
    {
        const ending run = ran(idx);
        EXPECT_EQ(run.status, 0);
        EXPECT_TRUE(run.output.ends_with(" Error reading a.idx.\n"));
    }

    static constexpr int many = 1000000;
};

TEST_F(LinearReading, OfLinesWithoutValues)
{
    for (const char* line : {"# a comment\n", "a word\n", "\n", ",\n", "/\n", "2000000000*\n"})
        expectreaderror(repeated(line, many) + "_end\n");
}

TEST_F(LinearReading, OfLongLines)
{
    expectreaderror("#" + repeated("0123456789", many) + "\n_end\n");
    expectreaderror("\"" + repeated("012345678\n", many) + "\"\n_end\n");
    expectreaderror("_" + repeated("0123456789", many) + "\n");
    expectreaderror("_Wavelength\n1." + repeated("0123456789", many) + "\n_end\n");
    expectreaderror("_Wavelength\n" + repeated(" ", 10 * many) + "1\n_end\n");
}

TEST_F(LinearReading, OfKeywords)
{
    expectreaderror(repeated("_Wavelength\n1.5\n", many) + "_end\n");
    expectreaderror(repeated("_NumberOfReflections\n4\n", many / 10) + "_end\n");
}

TEST_F(LinearReading, OfListsOfOddSpelling)
{
    const std::string list =
        "_NumberOfReflections\n999\n_Reflections\n" + repeated("1d-1,+.1E0\n\t3*-1.e-01\n", 999);
    expectreaderror(repeated(list, many / 999) + "_end\n");
}

TEST_F(LinearReading, OfValuesThatAreFarTooMany)
{
    expectreaderror("_UserProvidedTestVolumes\n2000000000 " + repeated("1.0 ", many) + "\n");
    const ending run = ran("_UserProvidedTestVolumes\n2000000000 2000000000*1.0\n");
    EXPECT_NE(run.output.find("The number of UserProvidedTestVolumes is too large."),
              std::string::npos);
}

TEST_F(LinearReading, OfEmptyLinesAtThePrompt)
{
    setting.arguments = {};
    setting.input = repeated("\n", many) + "missing.idx\n";
    const ending run = ranprocess(setting);
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.output.ends_with(" Error: Cannot open missing.idx.\n"));
}

} // namespace

} // namespace torvik
