#include "text/units.h"

#include "support/fresh.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>

namespace torvik {

namespace {

namespace fs = std::filesystem;
using testing::ExitedWithCode;

// Units that write to a folder of their own. In a child of EXPECT_EXIT, standard output becomes the
// error stream, where its message can be seen.
class Units : public fresh {
protected:
    static void showoutputaserrors()
    {
        dup2(STDERR_FILENO, STDOUT_FILENO);
    }

    // Root may do everything; another user meets the protection of files.
    static void becomeordinary()
    {
        constexpr uid_t nobody = 65534;
        if (geteuid() == 0 && setuid(nobody) != 0) _exit(2);
    }

    std::string name(const std::string& file) const
    {
        return folder.file(file);
    }

    bool exists(const std::string& file) const
    {
        return fs::exists(name(file));
    }

    std::size_t filecount() const
    {
        const fs::directory_iterator files(folder.path());
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    temporaryfolder folder;
};

TEST_F(Units, ALineHoldsItsFieldsAndALineEnd)
{
    const std::string text = writtenby(logunit, [] {
        writeline(logunit, X(2), "n =", I(4, 12), ".");
        writeline(logunit);
    });
    EXPECT_EQ(text, "  n =  12.\n\n");
}

TEST_F(Units, AFreeFormatLineBeginsWithABlankUnlessItIsEmpty)
{
    const std::string text = writtenby(logunit, [] {
        writefreeline(logunit, "a", "b", 3);
        writefreeline(logunit);
    });
    EXPECT_EQ(text, " ab           3\n\n");
}

TEST_F(Units, ATextIsWrittenAsItStands)
{
    const std::string bytes("a\r\0\n\xFF", 5);
    EXPECT_EQ(writtenby(resultsunit, [&] { writetext(resultsunit, bytes); }), bytes);
}

TEST_F(Units, TheTerminalIsAlwaysOpen)
{
    const std::string text = printedby([] {
        writetext(terminalunit, "no line end");
        showterminal();
        writeline(terminalunit, "!");
    });
    EXPECT_EQ(text, "no line end!\n");
}

TEST_F(Units, SeveralFilesMayBeOpenAtOnce)
{
    openoutput(logunit, name("log"));
    openoutputbeside(resultsunit, name("results"));
    openoutputbeside(periodogramunit, name("periodogram"));
    writeline(logunit, "1");
    writeline(periodogramunit, "2");
    writeline(resultsunit, "3");
    closeoutput(resultsunit);
    closeoutput(periodogramunit);
    closeoutput(logunit);
    EXPECT_EQ(readfile(name("log")), "1\n");
    EXPECT_EQ(readfile(name("periodogram")), "2\n");
    EXPECT_EQ(readfile(name("results")), "3\n");
    EXPECT_EQ(filecount(), 3U);
}

TEST_F(Units, AFileWrittenInPlaceReplacesAnExistingOne)
{
    writefile(name("log"), "an old and longer text\n");
    openoutput(logunit, name("log"));
    writeline(logunit, "new");
    closeoutput(logunit);
    EXPECT_EQ(readfile(name("log")), "new\n");
}

TEST_F(Units, AFileWrittenInPlaceBearsItsNameFromTheStart)
{
    openoutput(logunit, name("log"));
    EXPECT_TRUE(exists("log"));
    closeoutput(logunit);
    EXPECT_EQ(filecount(), 1U);
}

TEST_F(Units, AFileWrittenBesideTakesItsNameWhenItIsClosed)
{
    openoutputbeside(resultsunit, name("results"));
    writetext(resultsunit, std::string(100000, 'x'));
    EXPECT_FALSE(exists("results"));
    EXPECT_TRUE(exists("Torvik.part"));
    closeoutput(resultsunit);
    EXPECT_EQ(readfile(name("results")), std::string(100000, 'x'));
    EXPECT_FALSE(exists("Torvik.part"));
}

TEST_F(Units, AnOldFileStandsUntilTheNewOneIsComplete)
{
    writefile(name("results"), "old");
    openoutputbeside(resultsunit, name("results"));
    writetext(resultsunit, "new");
    EXPECT_EQ(readfile(name("results")), "old");
    closeoutput(resultsunit);
    EXPECT_EQ(readfile(name("results")), "new");
    EXPECT_EQ(filecount(), 1U);
}

TEST_F(Units, AnUnfinishedFileOfAnotherRunIsLeftAlone)
{
    writefile(name("Torvik.part"), "of another run");
    openoutputbeside(resultsunit, name("results"));
    writetext(resultsunit, "mine");
    closeoutput(resultsunit);
    EXPECT_EQ(readfile(name("results")), "mine");
    EXPECT_EQ(readfile(name("Torvik.part")), "of another run");
    EXPECT_EQ(filecount(), 2U);
}

TEST_F(Units, UnfinishedFilesAreNumberedFromTheSecondOn)
{
    writefile(name("Torvik.part"), "of another run");
    openoutputbeside(resultsunit, name("results"));
    EXPECT_TRUE(exists("Torvik.part2"));
    openoutputbeside(lepageunit, name("LePage.inp"));
    EXPECT_TRUE(exists("Torvik.part3"));
    EXPECT_EQ(filecount(), 3U);
    closeoutput(resultsunit);
    closeoutput(lepageunit);
}

TEST_F(Units, TheTerminalShowsATextWithoutALineEndWhenItIsToldTo)
{
    std::fflush(stdout);
    const int terminal = dup(STDOUT_FILENO);
    const int file = open(name("terminal").c_str(), O_WRONLY | O_CREAT, 0600);
    dup2(file, STDOUT_FILENO);
    writetext(terminalunit, "1 -->");
    showterminal();
    const std::string shown = readfile(name("terminal"));
    writeline(terminalunit);
    showterminal();
    dup2(terminal, STDOUT_FILENO);
    close(terminal);
    close(file);
    EXPECT_EQ(shown, "1 -->");
}

TEST_F(Units, TwoWritersOfOneNameDoNotMixAndTheLastToCloseWins)
{
    openoutputbeside(resultsunit, name("results"));
    openoutputbeside(lepageunit, name("results"));
    writetext(resultsunit, "first");
    writetext(lepageunit, "second");
    closeoutput(resultsunit);
    EXPECT_EQ(readfile(name("results")), "first");
    closeoutput(lepageunit);
    EXPECT_EQ(readfile(name("results")), "second");
    EXPECT_EQ(filecount(), 1U);
}

TEST_F(Units, AFileBehindALinkIsReplacedAndTheLinkStays)
{
    fs::create_directory(name("archive"));
    writefile(name("archive/old"), "old");
    fs::create_symlink("archive/old", name("results"));
    openoutputbeside(resultsunit, name("results"));
    writetext(resultsunit, "new");
    EXPECT_EQ(readfile(name("archive/old")), "old");
    closeoutput(resultsunit);
    EXPECT_TRUE(fs::is_symlink(name("results")));
    EXPECT_EQ(readfile(name("archive/old")), "new");
    EXPECT_EQ(filecount(), 2U); // the folder and the link
    EXPECT_FALSE(exists("archive/Torvik.part"));
}

// 255 characters are the most that a file system takes; a name beside must not need more.
TEST_F(Units, TheLongestFileNamesCanBeWrittenBeside)
{
    const std::string longest(255, 'n');
    openoutputbeside(resultsunit, name(longest));
    writetext(resultsunit, "text");
    closeoutput(resultsunit);
    EXPECT_EQ(readfile(name(longest)), "text");
    EXPECT_EQ(filecount(), 1U);
}

// A pipe stands for all that is no file; unlike a device it may be lost if the test fails.
TEST_F(Units, WhatIsNoFileIsWrittenInPlace)
{
    ASSERT_EQ(mkfifo(name("results").c_str(), 0600), 0);
    const int reader = open(name("results").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    openoutputbeside(resultsunit, name("results"));
    writetext(resultsunit, "text");
    closeoutput(resultsunit);
    char text[8] = {};
    EXPECT_EQ(read(reader, text, sizeof text), 4);
    EXPECT_STREQ(text, "text");
    close(reader);
    EXPECT_TRUE(fs::is_fifo(name("results")));
    EXPECT_EQ(filecount(), 1U);
}

TEST_F(Units, AProtectedFileIsNotReplaced)
{
    writefile(name("results"), "old");
    fs::permissions(name("results"), fs::perms(0444));
    fs::permissions(folder.path(), fs::perms(0777));
    const auto openresults = [&] {
        showoutputaserrors();
        becomeordinary();
        openoutputbeside(resultsunit, name("results"));
        _exit(1);
    };
    EXPECT_EXIT(openresults(), ExitedWithCode(0), "^ Error: Cannot write .*/results.\n");
    EXPECT_EQ(readfile(name("results")), "old");
    EXPECT_EQ(filecount(), 1U);
}

TEST_F(Units, AProtectedFolderCannotBeWrittenTo)
{
    const auto openfile = [&](bool beside) {
        showoutputaserrors();
        becomeordinary();
        if (beside)
            openoutputbeside(resultsunit, name("results"));
        else
            openoutput(logunit, name("log"));
        _exit(1);
    };
    fs::permissions(folder.path(), fs::perms(0555));
    EXPECT_EXIT(openfile(true), ExitedWithCode(0), "^ Error: Cannot write .*/results.\n");
    EXPECT_EXIT(openfile(false), ExitedWithCode(0), "^ Error: Cannot write .*/log.\n");
    fs::permissions(folder.path(), fs::perms(0755));
    EXPECT_EQ(filecount(), 0U);
}

TEST_F(Units, AnInputThatMayNotBeReadCannotBeOpened)
{
    writefile(name("a.idx"), "_Wavelength\n1.5\n");
    fs::permissions(folder.path(), fs::perms(0755));
    fs::permissions(name("a.idx"), fs::perms::none);
    const auto open = [&] {
        becomeordinary();
        _exit(openinput(name("a.idx")) ? 1 : 0);
    };
    EXPECT_EXIT(open(), ExitedWithCode(0), "");
}

TEST_F(Units, AnOpenLineOfTheTerminalIsEndedBeforeTheMessage)
{
    const auto failafter = [](const std::string& progress) {
        showoutputaserrors();
        writetext(terminalunit, progress);
        openoutput(logunit, "missing/log");
    };
    EXPECT_EXIT(failafter("progress  "), ExitedWithCode(0),
                "^progress  \n Error: Cannot write missing/log.\nPress Enter");
    EXPECT_EXIT(failafter("progress\n"), ExitedWithCode(0),
                "^progress\n Error: Cannot write missing/log.\nPress Enter");
    EXPECT_EXIT(failafter(""), ExitedWithCode(0),
                "^ Error: Cannot write missing/log.\nPress Enter");
}

TEST_F(Units, AMissingFolderCannotBeWrittenTo)
{
    const auto openlog = [&] {
        showoutputaserrors();
        openoutput(logunit, "missing/a_idx.log");
    };
    const auto openresults = [&] {
        showoutputaserrors();
        openoutputbeside(resultsunit, "missing/a_idx.res");
    };
    EXPECT_EXIT(openlog(), ExitedWithCode(0),
                "^ Error: Cannot write missing/a_idx.log.\nPress Enter");
    EXPECT_EXIT(openresults(), ExitedWithCode(0),
                "^ Error: Cannot write missing/a_idx.res.\nPress Enter");
}

TEST_F(Units, AFolderInTheWayCannotBeReplaced)
{
    fs::create_directory(name("a_idx.log"));
    fs::create_directory(name("a_idx.res"));
    const auto openlog = [&] {
        showoutputaserrors();
        openoutput(logunit, name("a_idx.log"));
    };
    const auto openresults = [&] {
        showoutputaserrors();
        openoutputbeside(resultsunit, name("a_idx.res"));
    };
    EXPECT_EXIT(openlog(), ExitedWithCode(0), "^ Error: Cannot write .*/a_idx.log.\n");
    EXPECT_EXIT(openresults(), ExitedWithCode(0), "^ Error: Cannot write .*/a_idx.res.\n");
    EXPECT_EQ(filecount(), 2U);
}

TEST_F(Units, AFolderThatAppearsDuringTheRunIsNotReplaced)
{
    const auto obstruct = [&] {
        showoutputaserrors();
        openoutputbeside(resultsunit, name("results"));
        writetext(resultsunit, "text");
        fs::create_directories(name("results/inside"));
        closeoutput(resultsunit);
    };
    EXPECT_EXIT(obstruct(), ExitedWithCode(0), "^ Error: Cannot write .*/results.\n");
    EXPECT_TRUE(fs::is_directory(name("results/inside")));
    EXPECT_FALSE(exists("Torvik.part"));
}

TEST_F(Units, AFailureRemovesTheUnfinishedFilesOfTheRun)
{
    const auto failinbetween = [&] {
        showoutputaserrors();
        openoutputbeside(resultsunit, name("results"));
        openoutputbeside(lepageunit, name("lepage"));
        writetext(resultsunit, "half");
        openoutput(logunit, name("missing/log"));
    };
    EXPECT_EXIT(failinbetween(), ExitedWithCode(0), "^ Error: Cannot write .*/missing/log.\n");
    EXPECT_EQ(filecount(), 0U);
}

// Lets a child write no file longer than this, as on a disk with so little room left.
void limitfiles(rlim_t bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
}

TEST_F(Units, AFullDiskIsNoticedWhileWriting)
{
    const auto writemuch = [&] {
        showoutputaserrors();
        limitfiles(1000);
        openoutput(logunit, name("log"));
        for (int k = 0; k < 100000; ++k) writeline(logunit, "a line that fills the disk");
        _exit(1); // not reached
    };
    EXPECT_EXIT(writemuch(), ExitedWithCode(0), "^ Error: Cannot write .*/log.\n");
}

TEST_F(Units, AFullDiskIsNoticedOnClosing)
{
    const auto writelittle = [&] {
        showoutputaserrors();
        limitfiles(1000);
        openoutput(logunit, name("log"));
        writeline(logunit, rule(1000, '-'));
        closeoutput(logunit);
        _exit(1); // not reached
    };
    EXPECT_EXIT(writelittle(), ExitedWithCode(0), "^ Error: Cannot write .*/log.\n");
}

TEST_F(Units, AHalfWrittenFileNeverBearsTheFinalName)
{
    writefile(name("results"), "old");
    const auto outgrow = [&](std::size_t size) {
        showoutputaserrors();
        limitfiles(1000);
        openoutputbeside(resultsunit, name("results"));
        writetext(resultsunit, std::string(size, 'x'));
        closeoutput(resultsunit);
        _exit(1);
    };
    for (const std::size_t size : {1001U, 100000U}) { // noticed on closing, and while writing
        EXPECT_EXIT(outgrow(size), ExitedWithCode(0), "^ Error: Cannot write .*/results.\n");
        EXPECT_EQ(readfile(name("results")), "old");
        EXPECT_EQ(filecount(), 1U);
    }
    EXPECT_EXIT(outgrow(1000), ExitedWithCode(1), "");
    EXPECT_EQ(readfile(name("results")), std::string(1000, 'x'));
}

TEST_F(Units, TheInputIsReadWhole)
{
    const std::string content = "_Wavelength\r\n1.5\n\n# no line end" + std::string(200000, 'x');
    writefile(name("a.idx"), content);
    ASSERT_TRUE(openinput(name("a.idx")));
    EXPECT_EQ(inputlines().text, content);
    EXPECT_EQ(inputlines().position, 0U);
    closeinput();
    EXPECT_TRUE(inputlines().text.empty());
}

TEST_F(Units, TheInputBeginsAtItsFirstLineWheneverItIsOpened)
{
    writefile(name("a.idx"), "first\nsecond\n");
    std::string word;
    for (int k = 0; k < 2; ++k) {
        ASSERT_TRUE(openinput(name("a.idx")));
        EXPECT_EQ(readword(inputlines(), word), readdone);
        EXPECT_EQ(word, "first");
    }
    closeinput();
}

TEST_F(Units, AnEmptyInputIsAnInput)
{
    writefile(name("a.idx"), "");
    EXPECT_TRUE(openinput(name("a.idx")));
    EXPECT_TRUE(inputlines().text.empty());
}

TEST_F(Units, AByteOrderMarkAtTheStartOfTheInputIsSkipped)
{
    writefile(name("a.idx"), "\xEF\xBB\xBF_Wavelength\n");
    ASSERT_TRUE(openinput(name("a.idx")));
    EXPECT_EQ(inputlines().text, "_Wavelength\n");
    writefile(name("a.idx"), "a\xEF\xBB\xBF");
    ASSERT_TRUE(openinput(name("a.idx")));
    EXPECT_EQ(inputlines().text, "a\xEF\xBB\xBF");
    closeinput();
}

TEST_F(Units, AMissingInputAFolderAndAnUnreadableFileCannotBeOpened)
{
    fs::create_directory(name("folder.idx"));
    EXPECT_FALSE(openinput(name("missing.idx")));
    EXPECT_FALSE(openinput(name("missing/a.idx")));
    EXPECT_FALSE(openinput(name("folder.idx")));
    EXPECT_FALSE(openinput("/proc/self/mem")); // opens, but its first page cannot be read
}

// Ten reflections of a primitive cubic cell of edge 5, of volume 125.
const std::string cubic = "_ExtentOfTheSearch\n0\n_UserProvidedTestVolumes\n1 125.0\n"
                          "_NumberOfReflections\n10\n_Reflections\n"
                          "-0.2 -0.2 0.2\n-0.6 0.2 -0.4\n0.0 0.0 0.6\n0.6 -0.4 0.0\n-0.2 0.0 0.0\n"
                          "-0.6 -0.6 -0.4\n0.2 -0.6 -0.4\n0.6 -0.4 -0.2\n0.2 0.0 0.0\n"
                          "0.4 -0.2 0.4\n";
const std::string withlog = "_CreateLogFile\n1\n" + cubic;
const std::string withlepage = "_SaveLePage\n3\n" + cubic;
const std::string withperiodogram = "_TypeOfPeriodogram\n-1\n" + cubic.substr(cubic.find("_Num"));

// Whole runs on "a.idx", where something stands in the way of their files.
class OutputFiles : public fresh {
protected:
    // Runs the program through a shell, which may prepare its folder and limits first.
    static runresult shell(const std::string& idx, const std::string& commands)
    {
        runsetting setting;
        setting.program = "/bin/sh";
        setting.arguments = {"-c", "T='" TORVIK_PROGRAM "'; " + commands};
        setting.files = {{"a.idx", idx}};
        return runtorvik(setting);
    }

    static bool endswith(const std::string& text, const std::string& end)
    {
        return text.ends_with(end);
    }

    static std::string cannotwrite(const std::string& name)
    {
        return " Error: Cannot write " + name + ".\n";
    }

    // Expects that the run stopped because of this file, behind a pause.
    static void expectstop(const runresult& run, const std::string& name)
    {
        EXPECT_EQ(run.status, 0);
        EXPECT_PRED2(endswith, run.output, cannotwrite(name));
        EXPECT_EQ(linesof(run.errors).size(), 1U) << run.errors;
    }
};

TEST_F(OutputFiles, StandBesideTheInputWhenTheRunIsOver)
{
    const runresult run = runtorvik(withlog);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.files.size(), 2U);
    EXPECT_TRUE(run.files.contains("a_idx.log"));
    EXPECT_TRUE(run.files.contains("a_idx.res"));
}

TEST_F(OutputFiles, AFolderInTheWayOfTheResultsStopsTheRun)
{
    const runresult run = shell(cubic, "mkdir a_idx.res; $T a.idx");
    expectstop(run, "a_idx.res");
    EXPECT_TRUE(run.files.empty());
}

TEST_F(OutputFiles, AFolderInTheWayOfTheLogStopsTheRunBeforeTheSearch)
{
    const runresult run = shell(withlog, "mkdir a_idx.log; $T a.idx");
    expectstop(run, "a_idx.log");
    EXPECT_EQ(run.output.find("Progress"), std::string::npos);
    EXPECT_TRUE(run.files.empty());
}

TEST_F(OutputFiles, AFolderInTheWayOfTheLePageInputStopsTheRunBehindTheResults)
{
    const runresult run = shell(withlepage, "mkdir LePage.inp; $T a.idx");
    expectstop(run, "LePage.inp");
    EXPECT_EQ(run.files.size(), 1U);
    EXPECT_TRUE(run.files.contains("a_idx.res"));
}

TEST_F(OutputFiles, AFolderInTheWayOfThePeriodogramStopsTheRun)
{
    const runresult run = shell(withperiodogram, "mkdir a_periodogram.res; $T a.idx");
    expectstop(run, "a_periodogram.res");
    EXPECT_TRUE(run.files.empty());
}

TEST_F(OutputFiles, TheReplyGoDoesNotResumeARunThatCannotWrite)
{
    const runresult run = shell(cubic, "mkdir a_idx.res; echo go | $T a.idx");
    expectstop(run, "a_idx.res");
    EXPECT_EQ(run.output.find("System time"), std::string::npos);
}

TEST_F(OutputFiles, AFullDiskLeavesNoHalfWrittenResults)
{
    // 1 KiB; the results have more.
    const runresult run = shell(cubic, "trap '' XFSZ; ulimit -f 2; $T a.idx");
    expectstop(run, "a_idx.res");
    EXPECT_TRUE(run.files.empty());
}

TEST_F(OutputFiles, AFullDiskLeavesTheResultsOfTheRunBefore)
{
    const runresult run = shell(cubic, "echo old > a_idx.res; trap '' XFSZ; ulimit -f 2; $T a.idx");
    expectstop(run, "a_idx.res");
    EXPECT_EQ(run.files, (namedfiles{{"a_idx.res", "old\n"}}));
}

// 3 KiB, where the results have about 2.5 and the log 3.5.
TEST_F(OutputFiles, AFullDiskIsNoticedWhenTheLogIsClosed)
{
    const runresult run = shell(withlog, "trap '' XFSZ; ulimit -f 6; $T a.idx");
    expectstop(run, "a_idx.log");
    EXPECT_EQ(run.files.size(), 2U); // the log as far as it came
    EXPECT_EQ(masked(run.files.at("a_idx.res")), masked(runtorvik(withlog).files.at("a_idx.res")));
}

// The log lists every period, so that it fills the disk first.
TEST_F(OutputFiles, AFullDiskIsNoticedByTheLogOfARunThatEndsWithThePeriodogram)
{
    const runresult run =
        shell("_CreateLogFile\n1\n" + withperiodogram, "trap '' XFSZ; ulimit -f 6; $T a.idx");
    expectstop(run, "a_idx.log");
    EXPECT_EQ(run.files.size(), 1U); // no periodogram
}

TEST_F(OutputFiles, AnUnfinishedFileOfAKilledRunIsLeftAlone)
{
    const runresult run = shell(cubic, "echo killed > Torvik.part; $T a.idx");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.files.size(), 2U);
    EXPECT_EQ(run.files.at("Torvik.part"), "killed\n");
    EXPECT_EQ(masked(run.files.at("a_idx.res")), masked(runtorvik(cubic).files.at("a_idx.res")));
}

TEST_F(OutputFiles, TwoRunsAtOnceLeaveOneWholeResultsFile)
{
    const std::string expected = masked(runtorvik(cubic).files.at("a_idx.res"));
    for (int k = 0; k < 5; ++k) {
        const runresult run = shell(cubic, "$T a.idx > one & $T a.idx > two & wait; echo ended");
        EXPECT_EQ(run.output, "ended\n");
        EXPECT_EQ(run.errors, "");
        EXPECT_EQ(run.files.size(), 3U);
        EXPECT_EQ(masked(run.files.at("a_idx.res")), expected);
        EXPECT_EQ(masked(run.files.at("one")), masked(run.files.at("two")));
    }
}

TEST_F(OutputFiles, AFolderForTheInputCannotBeOpened)
{
    runsetting setting;
    setting.arguments = {"a.idx"};
    setting.files = {{"a.idx/inside", ""}};
    const runresult run = runtorvik(setting);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, " Error: Cannot open a.idx.\n");
    EXPECT_TRUE(run.files.empty());
}

TEST_F(OutputFiles, AnUnreadableInputCannotBeOpened)
{
    const runresult run = shell("", "ln -s /proc/self/mem b.idx; $T b.idx");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, " Error: Cannot open b.idx.\n");
}

TEST_F(OutputFiles, CarriageReturnsAByteOrderMarkAndAMissingLastLineEndChangeNothing)
{
    std::string other = "\xEF\xBB\xBF";
    for (const char c : cubic) other += c == '\n' ? std::string("\r\n") : std::string(1, c);
    other.resize(other.size() - 2);
    const runresult run = runtorvik(cubic);
    const runresult otherrun = runtorvik(other);
    EXPECT_EQ(masked(otherrun.output), masked(run.output));
    EXPECT_EQ(masked(otherrun.files.at("a_idx.res")), masked(run.files.at("a_idx.res")));
}

} // namespace

} // namespace torvik
