// What torvik-tools takes in time and memory for files that are large, or made to take much.

#include "faults/process.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <sstream>
#include <string>

namespace torvik {

namespace {

class ToolLimits : public ::testing::Test {
protected:
    // The end of a call with files in the folder; anything that takes longer than this is killed.
    ending run(const std::vector<std::string>& arguments)
    {
        processsetting setting;
        setting.folder = folder.path();
        setting.program = TORVIK_TOOLS;
        setting.arguments = arguments;
        return ranprocess(setting);
    }

    double megabytesof(const std::string& name) const
    {
        return static_cast<double>(std::filesystem::file_size(folder.file(name))) / 1e6;
    }

    temporaryfolder folder;
};

const std::string table = std::string("\x93\xBB") + "dials::af::reflection_table\x01";

std::string repeated(const std::string& text, int times)
{
    std::string all;
    all.reserve(text.size() * static_cast<std::size_t>(times));
    for (int i = 0; i < times; ++i) all += text;
    return all;
}

// Twenty megabytes of nothing, in lists of a hundred thousand.
TEST_F(ToolLimits, ATableOfNilsTakesLittleMemory)
{
    const std::string list = std::string("\xDD\x00\x01\x86\xA0", 5) + std::string(100'000, '\xC0');
    writefile(folder.file("a.refl"), table
                                         + "\x82\xA5nrows\x05\xA4"
                                           "data\x81\xA2id"
                                         + std::string("\xDD\x00\x00\x00\xC8", 5)
                                         + repeated(list, 200));
    const ending end = run({"import", "a.refl"});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.errors,
              "Error: a.refl: expected a table of reflections of DIALS, found more than a "
              "million values.\n");
    EXPECT_LT(end.peakmegabytes, 3.0 * megabytesof("a.refl") + 30.0);
}

TEST_F(ToolLimits, ListsInListsTakeLittleMemory)
{
    writefile(folder.file("a.refl"), table + "\x82\xA5nrows" + std::string(1, '\0')
                                         + "\xA4"
                                           "data\x80");
    for (const std::string& text :
         {std::string(10'000'000, '['), "[" + repeated("[],", 5'000'000)}) {
        writefile(folder.file("a.expt"), text);
        const ending end = run({"import", "a.refl", "a.expt"});
        EXPECT_EQ(end.status, 1);
        EXPECT_NE(end.errors.find("more than "), std::string::npos) << end.errors;
        EXPECT_LT(end.peakmegabytes, 3.0 * megabytesof("a.expt") + 30.0);
    }
}

TEST_F(ToolLimits, EmptyLinesTakeLittleMemory)
{
    writefile(folder.file("a.csv"), "1 2 3\n" + std::string(10'000'000, '\n') + "4 5 6\n");
    const ending end = run({"import", "a.csv"});
    EXPECT_EQ(end.errors,
              "Error: Only 2 reflections can be taken; the program needs four at least.\n");
    EXPECT_LT(end.peakmegabytes, 10.0 * megabytesof("a.csv") + 30.0);
}

// Spots of a large crystal, some of them repeatedly, with intensities.
std::string manyspots(int count)
{
    std::mt19937 chance(7);
    const auto index = [&] { return static_cast<double>(chance() % 81) - 40.0; };
    const auto error = [&] { return (static_cast<double>(chance() % 2001) - 1000.0) * 3e-7; };
    std::ostringstream text;
    text << "x,y,z,intensity\n";
    for (int i = 0; i < count; ++i) {
        const double h = index();
        const double k = index();
        const double l = index();
        text << 0.01 * h + 0.002 * k + 0.001 * l + error() << ','
             << 0.0105 * k - 0.002 * l + error() << ',' << 0.0086 * l + error() << ','
             << chance() % 10'000 << '\n';
    }
    return text.str();
}

// Four times the spots take about four times as long, where all pairs would take sixteen times.
TEST_F(ToolLimits, TheTimeOfAnImportGrowsAsTheNumberOfSpots)
{
    constexpr int few = 100'000;
    writefile(folder.file("few.csv"), manyspots(few));
    writefile(folder.file("many.csv"), manyspots(4 * few));
    const ending first = run({"import", "few.csv"});
    const ending second = run({"import", "many.csv"});
    EXPECT_EQ(first.status, 0) << first.errors;
    EXPECT_EQ(second.status, 0) << second.errors;
    EXPECT_LT(second.cpuseconds, 9.0 * first.cpuseconds);
    EXPECT_LT(second.peakmegabytes, 20.0 * megabytesof("many.csv") + 30.0);
}

} // namespace

} // namespace torvik
