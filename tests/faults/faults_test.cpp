// Real faults in the way of whole runs. What holds in all of them: a file that was complete before
// is as it was or is replaced by another complete one, no half-written file bears a final name, and
// the terminal says what happened. (The same for single files: tests/unit/text/units_test.cpp.)

#include "faults/inputs.h"
#include "faults/process.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace torvik {

namespace {

namespace fs = std::filesystem;

// Runs on "a.idx" in a folder of their own.
class Faults : public ::testing::Test {
protected:
    void SetUp() override
    {
        usersmask = umask(S_IWGRP | S_IWOTH); // what a test writes, any user may read
        fs::permissions(folder.path(), fs::perms(0777));
        setting.folder = folder.path();
        setting.arguments = {"a.idx"};
    }

    void TearDown() override
    {
        umask(usersmask);
        fs::permissions(folder.path(), fs::perms(0777)); // else it could not be removed
    }

    void write(const std::string& name, const std::string& content) const
    {
        writefile(folder.file(name), content);
    }

    std::string file(const std::string& name) const
    {
        return readfile(folder.file(name));
    }

    bool exists(const std::string& name) const
    {
        return fs::exists(folder.file(name));
    }

    namedfiles files() const
    {
        return filesin(folder.path());
    }

    // Gives the same files with dates and times masked.
    static namedfiles masked(namedfiles named)
    {
        for (auto& [name, content] : named) content = torvik::masked(content);
        return named;
    }

    static bool endswith(const std::string& text, const std::string& end)
    {
        return text.ends_with(end);
    }

    // Expects that a run stopped because of a file, with a message and behind a pause.
    static void expectstop(const ending& run, const std::string& name)
    {
        EXPECT_EQ(run.status, 0);
        EXPECT_PRED2(endswith, run.output, " Error: Cannot write " + name + ".\n");
        EXPECT_EQ(run.errors, pausetext);
    }

    static constexpr auto pausetext = "Press Enter to close Torvik.\n";
    static constexpr double longenough = 500; // seconds, also on a busy machine

    temporaryfolder folder;
    processsetting setting;
    mode_t usersmask = 0;
};

// Runs of a user who may not do everything.
class OrdinaryUser : public Faults {
protected:
    void SetUp() override
    {
        Faults::SetUp();
        setting.program = program.path();
        setting.before = becomeordinary;
    }

    publicprogram program;
};

TEST_F(OrdinaryUser, GetsTheSameFilesAsRoot)
{
    write("a.idx", withlog + withlepage + quickinput());
    ranprocess(setting);
    const namedfiles ordinary = masked(files());
    for (const char* name : {"a_idx.log", "a_idx.res", "LePage.inp"}) fs::remove(folder.file(name));
    setting.before = [] {};
    ranprocess(setting);
    EXPECT_EQ(masked(files()), ordinary);
    EXPECT_EQ(ordinary.size(), 4U);
}

TEST_F(OrdinaryUser, IsToldThatAFolderIsProtectedAndLosesNothing)
{
    write("a.idx", quickinput());
    write("a_idx.res", "old");
    write("Torvik.part", "of another run");
    fs::permissions(folder.file("a_idx.res"), fs::perms(0666));
    const namedfiles before = files();
    fs::permissions(folder.path(), fs::perms(0555));
    const ending run = ranprocess(setting);
    expectstop(run, "a_idx.res");
    EXPECT_EQ(files(), before);
}

TEST_F(OrdinaryUser, IsToldBeforeTheSearchThatALogCannotBeWritten)
{
    write("a.idx", withlog + quickinput());
    fs::permissions(folder.path(), fs::perms(0555));
    const ending run = ranprocess(setting);
    expectstop(run, "a_idx.log");
    EXPECT_EQ(run.output.find("Progress"), std::string::npos);
    EXPECT_EQ(files().size(), 1U);
}

TEST_F(OrdinaryUser, KeepsFilesThatAreProtected)
{
    const std::string idx = withlog + withlepage + quickinput();
    for (const std::string name : {"a_idx.log", "a_idx.res", "LePage.inp"}) {
        fs::remove_all(folder.path());
        fs::create_directory(folder.path());
        fs::permissions(folder.path(), fs::perms(0777));
        write("a.idx", idx);
        write(name, "old and protected");
        fs::permissions(folder.file(name), fs::perms(0444));
        expectstop(ranprocess(setting), name);
        EXPECT_EQ(file(name), "old and protected");
        EXPECT_FALSE(exists("Torvik.part"));
    }
}

TEST_F(OrdinaryUser, KeepsAProtectedPeriodogramAndIsToldBeforeItIsCalculated)
{
    write("a.idx", "_TypeOfPeriodogram\n-2\n" + longperiodogram());
    write("a_periodogram.res", "old and protected");
    fs::permissions(folder.file("a_periodogram.res"), fs::perms(0444));
    const ending run = ranprocess(setting);
    expectstop(run, "a_periodogram.res");
    EXPECT_EQ(run.output.find("Calculating"), std::string::npos);
    EXPECT_EQ(file("a_periodogram.res"), "old and protected");
}

TEST_F(OrdinaryUser, IsToldThatTheInputMayNotBeRead)
{
    write("a.idx", quickinput());
    fs::permissions(folder.file("a.idx"), fs::perms::none);
    const ending run = ranprocess(setting);
    EXPECT_EQ(run.output, " Error: Cannot open a.idx.\n");
    EXPECT_EQ(run.errors, pausetext);
    EXPECT_EQ(run.status, 0);
}

TEST_F(OrdinaryUser, IsToldThatTheFolderOfTheInputMayNotBeEntered)
{
    write("closed/a.idx", quickinput());
    fs::permissions(folder.file("closed"), fs::perms(0600));
    setting.arguments = {"closed/a.idx"};
    const ending run = ranprocess(setting);
    EXPECT_EQ(run.output, " Error: Cannot open closed/a.idx.\n");
    fs::permissions(folder.file("closed"), fs::perms(0700));
}

// The results stand beside the input, LePage.inp does not.
TEST_F(OrdinaryUser, KeepsTheResultsWhenTheWorkingDirectoryIsProtected)
{
    write("data/a.idx", withlepage + quickinput());
    fs::permissions(folder.file("data"), fs::perms(0777));
    fs::permissions(folder.path(), fs::perms(0555));
    setting.arguments = {"data/a.idx"};
    expectstop(ranprocess(setting), "LePage.inp");
    EXPECT_EQ(files(), (namedfiles{{"data", "folder"}}));
    const namedfiles data = filesin(folder.file("data"));
    EXPECT_EQ(data.size(), 2U);
    EXPECT_TRUE(data.contains("a_idx.res"));
}

TEST_F(Faults, AFolderThatIsMissingHasNoInput)
{
    setting.arguments = {"missing/a.idx"};
    EXPECT_EQ(ranprocess(setting).output, " Error: Cannot open missing/a.idx.\n");
    EXPECT_TRUE(files().empty());
}

// The run waits for its terminal until the folder is gone, so that it meets that at the end.
TEST_F(Faults, AFolderThatIsRemovedDuringTheRunStopsItAtTheEnd)
{
    write("data/a.idx", muchtowrite());
    setting.arguments = {"data/a.idx"};
    setting.piecewise = true;
    process run(setting);
    ASSERT_TRUE(run.shows("Progress", longenough));
    fs::rename(folder.file("data"), folder.file("moved"));
    const ending end = run.wait();
    expectstop(end, "data/a_idx.res");
    EXPECT_EQ(files(), (namedfiles{{"moved", "folder"}}));
    EXPECT_EQ(filesin(folder.file("moved")).size(), 1U);
}

// A small disk of its own for each run: a file system in memory, mounted on "disk" in the folder,
// where only the run sees it. The run is a line of shell commands that tells what is left.
class SmallDisk : public Faults {
protected:
    void SetUp() override
    {
        Faults::SetUp();
        fs::create_directory(folder.file("disk"));
        const ending attempt = shell("size=16k", "echo > file; ls; stat -f -c %T .");
        if (attempt.output != "file\ntmpfs\n") GTEST_SKIP() << "a disk cannot be mounted here";
    }

    ending shell(const std::string& options, const std::string& commands)
    {
        setting.program = "/bin/sh";
        setting.arguments = {"-c", "cd disk; T='" TORVIK_PROGRAM "'; " + commands};
        setting.before = [options] {
            ownmounts();
            if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) _exit(125);
            if (mount("none", "disk", "tmpfs", 0, options.c_str()) != 0) _exit(125);
        };
        return ranprocess(setting);
    }

    static constexpr auto left = "; echo left:; ls; cat a_idx.res 2>/dev/null";
};

// 16 KiB, the results need more than a megabyte.
TEST_F(SmallDisk, ThatIsFullKeepsTheOldResultsAndNothingHalfWritten)
{
    write("a.idx", muchtowrite());
    const ending run =
        shell("size=16k", "cp ../a.idx .; echo old > a_idx.res; $T a.idx" + std::string(left));
    EXPECT_PRED2(endswith, run.output,
                 " Error: Cannot write a_idx.res.\nleft:\na.idx\na_idx.res\nold\n");
    EXPECT_EQ(run.errors, pausetext);
}

TEST_F(SmallDisk, ThatTheLogFillsStopsTheRunWithAWordOnTheLog)
{
    write("a.idx", withlog + muchtowrite());
    const ending run =
        shell("size=64k", "cp ../a.idx .; echo old > a_idx.res; $T a.idx" + std::string(left));
    EXPECT_PRED2(endswith, run.output,
                 " Error: Cannot write a_idx.log.\nleft:\na.idx\na_idx.log\na_idx.res\nold\n");
}

TEST_F(SmallDisk, WithoutRoomForOneMoreFileKeepsTheOldResults)
{
    write("a.idx", quickinput());
    // Three files: the folder itself, the input and the old results.
    const ending run = shell("size=64k,nr_inodes=3",
                             "cp ../a.idx .; echo old > a_idx.res; $T a.idx" + std::string(left));
    EXPECT_PRED2(endswith, run.output,
                 " Error: Cannot write a_idx.res.\nleft:\na.idx\na_idx.res\nold\n");
}

TEST_F(SmallDisk, MountedForReadingOnlyKeepsTheOldResults)
{
    write("a.idx", quickinput());
    const ending run =
        shell("size=64k", "cp ../a.idx .; echo old > a_idx.res; mount -o remount,ro . || "
                          "mount -o remount,ro none .; $T a.idx"
                              + std::string(left));
    EXPECT_PRED2(endswith, run.output,
                 " Error: Cannot write a_idx.res.\nleft:\na.idx\na_idx.res\nold\n");
}

TEST_F(SmallDisk, ThatTakesNoTerminalOutputDoesNotStopTheRun)
{
    write("a.idx", muchtowrite());
    const ending run =
        shell("size=16k", "cat ../a.idx ../a.idx ../a.idx > fill; cat fill fill > rest 2>&1; "
                          "cd ..; $T a.idx > disk/out; echo $?");
    EXPECT_EQ(run.output, "0\n");
    ASSERT_TRUE(exists("a_idx.res"));
    const std::string results = torvik::masked(file("a_idx.res"));
    setting = {};
    setting.folder = folder.path();
    setting.arguments = {"a.idx"};
    ranprocess(setting);
    EXPECT_EQ(torvik::masked(file("a_idx.res")), results);
}

// Streams that were closed before the start.
class ClosedStreams : public Faults, public ::testing::WithParamInterface<int> {
protected:
    // Bits 0, 1 and 2: standard input, output and error.
    static void closestreams(int which)
    {
        for (int descriptor = 0; descriptor <= 2; ++descriptor)
            if ((which & (1 << descriptor)) != 0) close(descriptor);
    }
};

// Without care the log would take the place of a closed stream, and what is meant for the terminal
// would go to the log.
TEST_P(ClosedStreams, ChangeNoFile)
{
    write("a.idx", withlog + withlepage + quickinput());
    const ending open = ranprocess(setting);
    const namedfiles expected = masked(files());
    ASSERT_EQ(expected.size(), 4U);
    for (const char* name : {"a_idx.log", "a_idx.res", "LePage.inp"}) fs::remove(folder.file(name));
    setting.before = [] { closestreams(GetParam()); };
    const ending closed = ranprocess(setting);
    EXPECT_EQ(closed.status, 0);
    EXPECT_EQ(masked(files()), expected);
    const bool outputclosed = (GetParam() & 2) != 0;
    EXPECT_EQ(torvik::masked(closed.output), outputclosed ? "" : torvik::masked(open.output));
}

// Neither message nor pause goes astray into the log.
TEST_P(ClosedStreams, DoNotLeadTheMessagesOfAStopIntoTheLog)
{
    write("a.idx", withlog + quickinput());
    fs::create_directory(folder.file("a_idx.res"));
    const ending open = ranprocess(setting);
    expectstop(open, "a_idx.res");
    const std::string expected = torvik::masked(file("a_idx.log"));
    setting.before = [] { closestreams(GetParam()); };
    const ending closed = ranprocess(setting);
    EXPECT_EQ(closed.status, 0);
    EXPECT_EQ(torvik::masked(file("a_idx.log")), expected);
    EXPECT_EQ(closed.errors, (GetParam() & 4) != 0 ? "" : pausetext);
    EXPECT_EQ(files().size(), 3U);
}

INSTANTIATE_TEST_SUITE_P(InAllCombinations, ClosedStreams, ::testing::Range(1, 8));

TEST_F(Faults, APromptWithoutStandardInputGetsAnEmptyName)
{
    setting.arguments = {};
    setting.before = [] { close(STDIN_FILENO); };
    const ending run = ranprocess(setting);
    EXPECT_EQ(run.status, 0);
    EXPECT_PRED2(endswith, run.output,
                 " Enter filename :  Error: Extention of filename is not .idx.\n");
}

TEST_F(Faults, AFolderAsStandardInputIsAnEmptyOne)
{
    setting.arguments = {};
    setting.before = [] { dup2(open("/", O_RDONLY), STDIN_FILENO); };
    const ending run = ranprocess(setting);
    EXPECT_EQ(run.status, 0);
    EXPECT_PRED2(endswith, run.output, " Error: Extention of filename is not .idx.\n");
}

TEST_F(Faults, ATerminalThatNobodyReadsDoesNotStopTheRun)
{
    write("a.idx", withlog + withlepage + muchtowrite());
    ranprocess(setting);
    const namedfiles expected = masked(files());
    process run(setting);
    run.stopreading();
    EXPECT_EQ(run.wait().status, 0);
    EXPECT_EQ(masked(files()), expected);
}

// A reader that leaves in the middle, as `head` does.
TEST_F(Faults, ATerminalThatIsClosedInMidRunDoesNotStopTheRun)
{
    write("a.idx", muchtowrite());
    setting.piecewise = true;
    process run(setting);
    ASSERT_TRUE(run.shows("Progress", longenough));
    run.stopreading();
    EXPECT_EQ(run.wait().status, 0);
    EXPECT_TRUE(exists("a_idx.res"));
}

// Signals that end a run.
class Killed : public Faults, public ::testing::WithParamInterface<int> {};

const auto signals = ::testing::Values(SIGINT, SIGTERM, SIGHUP, SIGKILL);

TEST_P(Killed, InTheSearchARunLeavesAllFilesAsTheyWere)
{
    write("a.idx", withlepage + longinput());
    for (const char* name : {"a_idx.res", "a_idx.log", "LePage.inp", "b_idx.res", "b_idx.log"})
        write(name, std::string("old ") + name);
    const namedfiles before = files();
    process run(setting);
    ASSERT_TRUE(run.shows("Progress", longenough));
    run.send(GetParam());
    EXPECT_EQ(run.wait().status, 128 + GetParam());
    EXPECT_EQ(files(), before);
}

TEST_P(Killed, InTheSearchARunWithALogLeavesThatLogAsFarAsItCame)
{
    write("a.idx", withlog + longinput());
    write("a_idx.res", "old");
    process run(setting);
    ASSERT_TRUE(within(longenough, [&] {
        return exists("a_idx.log") && fs::file_size(folder.file("a_idx.log")) > 4000;
    }));
    run.send(GetParam());
    run.wait();
    EXPECT_EQ(files().size(), 3U);
    EXPECT_EQ(file("a_idx.res"), "old");
    EXPECT_NE(file("a_idx.log").find("Testing near volume    1 :         125.000"),
              std::string::npos);
}

// The file beside stands from the start, so that it is known that the folder takes it.
TEST_P(Killed, InThePeriodogramARunLeavesTheOldFileAndAnUnfinishedOneBeside)
{
    write("a.idx", "_TypeOfPeriodogram\n-2\n" + longperiodogram());
    write("a_periodogram.res", "old");
    process run(setting);
    ASSERT_TRUE(run.shows("Calculating Rayleigh periodogram\n", longenough));
    run.send(GetParam());
    EXPECT_EQ(run.wait().status, 128 + GetParam());
    EXPECT_EQ(files().size(), 3U);
    EXPECT_EQ(file("a_periodogram.res"), "old");
    EXPECT_TRUE(exists("Torvik.part"));
}

INSTANTIATE_TEST_SUITE_P(ByASignal, Killed, signals);

// What "a.idx" with much to write leaves, undisturbed. Runs are killed at one of their calls of the
// system, which are the same in each.
class KilledInWriting : public Faults {
protected:
    void SetUp() override
    {
        Faults::SetUp();
        if (!tracingworks()) GTEST_SKIP() << "a process cannot be traced here";
        write("a.idx", muchtowrite());
        ranprocess(setting);
        whole = masked(files());
        ASSERT_EQ(whole.size(), 3U);
        ASSERT_GT(whole.at("a_idx.res").size(), 1000000U);
        traced = setting;
        traced.before = betraced;
    }

    void writeold() const
    {
        write("a_idx.res", "old results");
        write("LePage.inp", "old jobs");
        fs::remove(folder.file("Torvik.part"));
    }

    // Says whether a run has begun to write its results, and has written so many bytes.
    bool writing(std::uintmax_t bytes = 0) const
    {
        return exists("Torvik.part") && fs::file_size(folder.file("Torvik.part")) >= bytes;
    }

    // Expects each file with a final name to be the old or the new one, whole.
    void expectwholefiles() const
    {
        const namedfiles now = masked(files());
        for (const auto& [name, content] : now) {
            if (name == "Torvik.part") continue;
            ASSERT_TRUE(whole.contains(name)) << name;
            EXPECT_TRUE(content == whole.at(name) || content.starts_with("old ")) << name;
        }
        EXPECT_GE(now.size(), whole.size());
    }

    namedfiles whole;
    processsetting traced;
};

TEST_F(KilledInWriting, TheOldResultsStandAndTheNextRunIsNotHindered)
{
    for (const std::uintmax_t bytes : {0U, 1U, 1000000U}) {
        writeold();
        process run(traced);
        ASSERT_TRUE(run.killonce([&] { return writing(bytes); }));
        run.wait();
        expectwholefiles();
        EXPECT_EQ(file("a_idx.res"), "old results");
        EXPECT_TRUE(writing(bytes));
    }
    writeold();
    write("Torvik.part", "half"); // as such a run leaves it
    EXPECT_EQ(ranprocess(setting).status, 0);
    namedfiles expected = whole;
    expected["Torvik.part"] = "half";
    EXPECT_EQ(masked(files()), expected);
}

TEST_F(KilledInWriting, AtAnyMomentAllFilesAreWhole)
{
    int all = 0;
    EXPECT_FALSE(process(traced).killonce([&] { return ++all < 0; }));
    ASSERT_GT(all, 500); // some hundred blocks are written
    // Moments of the whole run, and all of its end, where files get their final names.
    constexpr int moments = 20;
    constexpr int end = 45;
    for (int k = 0; k < moments + end; ++k) {
        writeold();
        const int last = k < moments ? (all - end) * k / moments : all - (moments + end) + k;
        int seen = 0;
        process run(traced);
        ASSERT_TRUE(run.killonce([&] { return seen++ == last; })) << last << " of " << all;
        run.wait();
        expectwholefiles();
    }
    EXPECT_EQ(masked(files()), whole);
}

TEST_F(KilledInWriting, ARunBesideOneThatIsKilledIsNotHarmed)
{
    writeold();
    process killed(traced);
    std::unique_ptr<process> other;
    ASSERT_TRUE(killed.killonce([&] {
        if (!writing(1)) return false;
        other = std::make_unique<process>(setting);
        return within(longenough, [&] {
            return exists("Torvik.part2") || fs::file_size(folder.file("a_idx.res")) > 1000;
        });
    }));
    killed.wait();
    EXPECT_EQ(other->wait().status, 0);
    for (const auto& [name, content] : whole)
        EXPECT_EQ(torvik::masked(file(name)), content) << name;
}

TEST_F(Faults, ARunThatIsHeldAndResumedGivesTheSameFiles)
{
    write("a.idx", withlog + withlepage + muchtowrite());
    ranprocess(setting);
    const namedfiles expected = masked(files());
    setting.piecewise = true;
    process run(setting);
    for (const char* progress : {" 1 -->     3", " 2 -->     3", " 3 -->     3"}) {
        ASSERT_TRUE(run.shows(progress, longenough));
        run.send(SIGSTOP);
        usleep(2000);
        run.send(SIGCONT);
    }
    EXPECT_EQ(run.wait().status, 0);
    EXPECT_EQ(masked(files()), expected);
}

// Two runs of one program on one input write the same to the log, each from the start.
TEST_F(Faults, TwoRunsAtOnceOnOneInputLeaveAWholeLogWholeResultsAndWholeJobs)
{
    write("a.idx", withlog + muchtowrite());
    ranprocess(setting);
    const namedfiles expected = masked(files());
    for (int k = 0; k < 5; ++k) {
        process first(setting);
        process second(setting);
        EXPECT_EQ(first.wait().status, 0);
        EXPECT_EQ(second.wait().status, 0);
        EXPECT_EQ(masked(files()), expected);
    }
}

TEST_F(Faults, ManyRunsAtOnceOnDifferentInputsDoNotMixTheirFiles)
{
    constexpr int runs = 6;
    const auto name = [](int k) { return std::string(1, static_cast<char>('a' + k)); };
    std::vector<std::string> jobs;
    for (int k = 0; k < runs; ++k) {
        write(name(k) + ".idx", withlog + muchtowrite() + "_MaxNumberOfSavedBases\n"
                                    + std::to_string(128 - k) + "\n");
        setting.arguments = {name(k) + ".idx"};
        ranprocess(setting);
        jobs.push_back(file("LePage.inp"));
    }
    namedfiles expected = masked(files());
    expected.erase("LePage.inp");
    std::vector<std::unique_ptr<process>> started;
    for (int k = 0; k < runs; ++k) {
        setting.arguments = {name(k) + ".idx"};
        started.push_back(std::make_unique<process>(setting));
    }
    for (const auto& run : started) EXPECT_EQ(run->wait().status, 0);
    namedfiles left = masked(files());
    EXPECT_NE(std::find(jobs.begin(), jobs.end(), left.at("LePage.inp")), jobs.end());
    left.erase("LePage.inp");
    EXPECT_EQ(left, expected);
}

} // namespace

} // namespace torvik
