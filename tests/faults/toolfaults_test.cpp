// Real faults in the way of torvik-tools: every command of a table meets every fault. Behind each, the files
// with final names are all old or all new, nothing else is left, and a failure has a status and a sentence.

#include "faults/process.h"
#include "faults/toolcommands.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace torvik {

namespace {

namespace fs = std::filesystem;

constexpr auto old = "old\n";

bool isoutput(const toolcommand& one, const std::string& name)
{
    return std::find(one.outputs.begin(), one.outputs.end(), name) != one.outputs.end();
}

// A command in a folder of its own, and another folder for temporary files.
class ToolFaults : public ::testing::TestWithParam<toolcommand> {
protected:
    void SetUp() override
    {
        usersmask = umask(S_IWGRP | S_IWOTH);
        for (const auto& [name, content] : toolinputs()) write(name, content);
        setting.folder = folder.path();
        setting.program = TORVIK_TOOLS;
        setting.arguments = command.arguments;
        setting.before = [this] { prepare(); };
        fs::permissions(temporary.path(), fs::perms(0777));
    }

    void TearDown() override
    {
        umask(usersmask);
        fs::permissions(folder.path(), fs::perms(0777));
    }

    // In a child: what all runs have. Nothing here takes a minute; what hangs is ended.
    void prepare() const
    {
        constexpr unsigned longest = 120; // seconds
        alarm(longest);
        setenv("TMPDIR", temporary.path().c_str(), 1);
    }

    // As `setting`, and stopped at each call of the system.
    processsetting tracedsetting() const
    {
        processsetting traced = setting;
        traced.before = [this] {
            prepare();
            betraced();
        };
        return traced;
    }

    void write(const std::string& name, const std::string& content) const
    {
        writefile(folder.file(name), content);
    }

    void writeold() const
    {
        for (const std::string& name : command.outputs) write(name, old);
    }

    namedfiles maskedfiles() const
    {
        namedfiles files = filesin(folder.path());
        for (auto& [name, content] : files)
            if (isoutput(command, name)) content = masked(content);
        return files;
    }

    // The folder and what is printed when nothing is in the way.
    void learn()
    {
        const ending run = ranprocess(setting);
        ASSERT_EQ(run.status, 0) << run.errors;
        printed = run.output;
        told = run.errors;
        whole = maskedfiles();
        for (const std::string& name : command.outputs) ASSERT_TRUE(whole.contains(name)) << name;
        ASSERT_EQ(whole.size(), toolinputs().size() + command.outputs.size());
    }

    namedfiles oldfiles() const
    {
        namedfiles files = toolinputs();
        for (const std::string& name : command.outputs) files[name] = old;
        return files;
    }

    void expectnothingtemporary() const
    {
        EXPECT_EQ(filesin(temporary.path()), namedfiles());
    }

    // The folder has these files and no other.
    void expectfiles(const namedfiles& expected, const std::string& when = "") const
    {
        const namedfiles found = maskedfiles();
        for (const auto& [name, content] : expected) {
            ASSERT_TRUE(found.contains(name)) << name << " is missing " << when;
            EXPECT_TRUE(found.at(name) == content) << name << " has other bytes " << when;
        }
        for (const auto& [name, content] : found)
            EXPECT_TRUE(expected.contains(name)) << name << " is there " << when;
    }

    // All outputs are old, or all are new if the command succeeded.
    void expectoldornew(int status) const
    {
        expectfiles(status == 0 ? whole : oldfiles(), "status " + std::to_string(status));
        expectnothingtemporary();
    }

    // After a Ctrl-C solve gives the best answer so far, or leaves the run out, and says so.
    bool answeredearly(const ending& run) const
    {
        if (!command.name.starts_with("solve")) return false;
        if (run.errors.find("Note: The run for the results was interrupted") != std::string::npos)
            return true;
        const std::string answer = readfile(folder.file("new.solution.json"));
        return answer.find("\"interrupted\": true") != std::string::npos && answer.ends_with("}\n");
    }

    // Removes what a call left that was killed: the run that it had started may still be at work there.
    void clearfolders() const
    {
        EXPECT_TRUE(within(60.0, [this] {
            std::error_code busy;
            for (const auto& entry : fs::directory_iterator(temporary.path()))
                fs::remove_all(entry.path(), busy);
            return fs::is_empty(temporary.path());
        }));
    }

    static bool issentence(const std::string& errors)
    {
        const std::vector<std::string> lines = linesof(errors);
        return !lines.empty() && lines.back().starts_with("Error: ") && lines.back().ends_with(".");
    }

    static void expectnoverdict(const ending& run)
    {
        for (const char* verdict : {"Solved.", "Ambiguous.", "Refused."})
            EXPECT_EQ(run.output.find(verdict), std::string::npos) << run.output;
    }

    // A failure with a sentence, and everything as it was.
    void expectfailure(const ending& run) const
    {
        EXPECT_EQ(run.status, 1);
        EXPECT_PRED1(issentence, run.errors);
        EXPECT_EQ(run.errors.find("unforeseen"), std::string::npos) << run.errors;
        expectnoverdict(run);
        expectoldornew(run.status);
    }

    static constexpr auto nooutput = "Error: Cannot write to the standard output.\n";
    const toolcommand& command = GetParam();
    temporaryfolder folder;
    temporaryfolder temporary;
    processsetting setting;
    namedfiles whole;
    std::string printed; // and told on the other stream, with nothing in the way
    std::string told;
    mode_t usersmask = 0;
};

// ------------------------------------------------------------------ disks

// The folder as a small disk that only the run sees; it is listed there.
class ToolsOnASmallDisk : public ToolFaults {
protected:
    void SetUp() override
    {
        ToolFaults::SetUp();
        fs::create_directory(folder.file("disk"));
        if (shell("size=64k", "stat -f -c %T .").output != "tmpfs\n")
            GTEST_SKIP() << "a disk cannot be mounted here";
    }

    ending shell(const std::string& options, const std::string& commands)
    {
        processsetting with = setting;
        with.program = "/bin/sh";
        with.arguments = {"-c", "cd disk; " + commands};
        with.before = [this, options] {
            prepare();
            ownmounts();
            if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) _exit(125);
            if (mount("none", "disk", "tmpfs", 0, options.c_str()) != 0) _exit(125);
        };
        return ranprocess(with);
    }

    // The call, with the inputs and old outputs on the disk.
    std::string prepared() const
    {
        std::string text;
        for (const auto& [name, content] : toolinputs()) text += "cp '../" + name + "' .; ";
        for (const std::string& name : command.outputs) text += "echo old > " + name + "; ";
        return text;
    }
    std::string call() const
    {
        std::string text = "'" TORVIK_TOOLS "'";
        for (const std::string& word : command.arguments) text += " '" + word + "'";
        return text;
    }

    // How many outputs are old, and whether anything is there that was not.
    std::string looked() const
    {
        std::string text = "echo \"status $?\"; old=0; ";
        for (const std::string& name : command.outputs)
            text += "[ \"$(head -c 5 " + name + ")\" = old ] && old=$((old+1)); ";
        return text + "echo $old old; ls -A | grep -c '^[.]'";
    }
};

TEST_P(ToolsOnASmallDisk, ThatIsFullKeepWhatWasThere)
{
    if (command.outputs.empty()) GTEST_SKIP() << "writes no file";
    const ending run = shell("size=4m", prepared() + "cat /dev/zero > fill 2>/dev/null; " + call()
                                            + " > ../printed 2> ../errors; " + looked());
    EXPECT_EQ(run.output, "status 1\n" + std::to_string(command.outputs.size()) + " old\n0\n");
    const std::string errors = readfile(folder.file("errors"));
    EXPECT_TRUE(errors.ends_with("Error: Cannot write " + errors.substr(errors.rfind(' ') + 1)))
        << errors;
    EXPECT_PRED1(issentence, errors);
    EXPECT_EQ(readfile(folder.file("printed")), "");
}

// There is room for some of the files, or for none.
TEST_P(ToolsOnASmallDisk, WithAnyRoomHaveAllFilesOrNone)
{
    if (command.outputs.empty()) GTEST_SKIP() << "writes no file";
    const std::string none = "0 old\n0\n";
    const std::string all = std::to_string(command.outputs.size()) + " old\n0\n";
    int failed = 0;
    int finished = 0;
    for (const int room : {1, 2, 3, 4, 6, 8, 12, 16, 24, 32, 48, 64, 128}) { // blocks of 4 KiB
        const ending run =
            shell("size=4m", prepared() + "cat /dev/zero > fill 2>/dev/null; truncate -s -"
                                 + std::to_string(room * 4096) + " fill; " + call()
                                 + " > ../printed 2> ../errors; " + looked());
        const bool good = run.output.starts_with("status 0\n");
        EXPECT_EQ(run.output, (good ? "status 0\n" + none : "status 1\n" + all));
        (good ? finished : failed) += 1;
    }
    EXPECT_GT(finished, 0);
    EXPECT_TRUE(failed > 0 || command.outputs.size() == 1);
}

TEST_P(ToolsOnASmallDisk, MountedForReadingOnlyKeepWhatWasThere)
{
    if (command.outputs.empty()) GTEST_SKIP() << "writes no file";
    const ending run =
        shell("size=4m", prepared() + "mount -o remount,ro . || mount -o remount,ro none .; "
                             + call() + " > ../printed 2> ../errors; " + looked());
    EXPECT_EQ(run.output, "status 1\n" + std::to_string(command.outputs.size()) + " old\n0\n");
    EXPECT_PRED1(issentence, readfile(folder.file("errors")));
}

// What the run of Torvik is about is written there.
TEST_P(ToolsOnASmallDisk, ForTemporaryFilesThatIsFullGiveNoVerdict)
{
    if (command.name != "solve_results") GTEST_SKIP() << "has no run whose results it needs";
    writeold();
    const ending run = shell("size=16k", "cat /dev/zero > fill 2>/dev/null; export TMPDIR=$PWD; cd "
                                         "..; "
                                             + call() + "; echo \"status $?\"; ls disk");
    EXPECT_EQ(run.output, "status 1\nfill\n");
    EXPECT_PRED1(issentence, run.errors);
    fs::remove(folder.file("disk"));
    expectfiles(oldfiles());
}

// ------------------------------------------------------------------ limits

TEST_P(ToolFaults, ALimitOnTheSizeOfFilesIsASentence)
{
    learn();
    writeold();
    setting.before = [this] {
        prepare();
        const rlimit limit = {200, 200}; // bytes
        setrlimit(RLIMIT_FSIZE, &limit);
    };
    const ending run = ranprocess(setting);
    if (command.outputs.empty() && !command.uses_folder)
        EXPECT_EQ(run.output, printed);
    else if (command.name != "report_data")
        expectfailure(run);
}

TEST_P(ToolFaults, TooLittleMemoryGivesNoVerdict)
{
    learn();
    int failed = 0;
    for (const rlim_t megabytes : {8, 12, 16, 20, 24, 28, 32, 40, 50, 60, 80, 100, 150, 250}) {
        writeold();
        setting.before = [this, megabytes] {
            prepare();
            const rlimit limit = {megabytes << 20U, megabytes << 20U};
            setrlimit(RLIMIT_AS, &limit);
        };
        const ending run = ranprocess(setting);
        if (run.status != 0) expectnoverdict(run);
        failed += run.status == 0 ? 0 : 1;
        // The page of a report says that its run failed, and shows the rest.
        if (run.errors.find("Note: The periodogram could not be made") == std::string::npos)
            expectoldornew(run.status);
    }
    EXPECT_GT(failed, 0);
}

TEST_P(ToolFaults, AMissingFolderForTemporaryFilesIsASentence)
{
    if (!command.uses_folder) GTEST_SKIP() << "needs none";
    writeold();
    setting.before = [this] {
        prepare();
        setenv("TMPDIR", "/no/such/folder", 1);
    };
    const ending run = ranprocess(setting);
    expectfailure(run);
    EXPECT_EQ(run.errors, "Error: Cannot make a folder for temporary files in /no/such/folder; "
                          "TMPDIR names another place.\n");
}

// ------------------------------------------------------------------ streams

TEST_P(ToolFaults, StreamsThatWereClosedBeforeTheStartChangeNoFile)
{
    learn();
    for (int which = 1; which < 8; ++which) { // bits: standard input, output and error
        writeold();
        setting.before = [this, which] {
            prepare();
            for (int stream = 0; stream <= 2; ++stream)
                if ((which & (1 << stream)) != 0) close(stream);
        };
        const ending run = ranprocess(setting);
        const bool outputclosed = (which & 2) != 0;
        EXPECT_EQ(run.status, outputclosed && command.prints ? 1 : 0) << which;
        expectfiles(whole);
        EXPECT_EQ(run.output, outputclosed ? "" : printed) << which;
        const bool failed = outputclosed && command.prints;
        const std::string expected = told + (failed ? nooutput : "");
        EXPECT_EQ(run.errors, (which & 4) == 0 ? expected : "") << which;
    }
}

TEST_P(ToolFaults, OutputThatGoesToAFullDiskIsAnErrorAndChangesNoFile)
{
    if (!command.prints) GTEST_SKIP() << "prints nothing";
    learn();
    setting.before = [this] {
        prepare();
        dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO);
    };
    const ending run = ranprocess(setting);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, told + nooutput);
    expectfiles(whole);
}

TEST_P(ToolFaults, OutputThatNobodyReadsIsAnErrorAndChangesNoFile)
{
    if (!command.prints) GTEST_SKIP() << "prints nothing";
    learn();
    process run(setting);
    run.stopreading();
    const ending end = run.wait();
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.errors, told + nooutput);
    expectfiles(whole);
}

// ------------------------------------------------------------------ users

TEST_P(ToolFaults, AFolderThatIsProtectedKeepsWhatIsThere)
{
    if (command.outputs.empty()) GTEST_SKIP() << "writes no file";
    const publicprogram tools(TORVIK_TOOLS);
    writeold();
    for (const std::string& name : command.outputs)
        fs::permissions(folder.file(name), fs::perms(0666));
    fs::permissions(folder.path(), fs::perms(0555));
    setting.program = tools.path();
    setting.before = [this] {
        prepare();
        becomeordinary();
    };
    expectfailure(ranprocess(setting));
}

TEST_P(ToolFaults, FilesThatAreProtectedAreKept)
{
    if (command.outputs.empty()) GTEST_SKIP() << "writes no file";
    const publicprogram tools(TORVIK_TOOLS);
    fs::permissions(folder.path(), fs::perms(0777));
    setting.program = tools.path();
    setting.before = [this] {
        prepare();
        becomeordinary();
    };
    for (const std::string& name : command.outputs) {
        for (const std::string& other : command.outputs) {
            fs::remove(folder.file(other));
            write(other, old);
            fs::permissions(folder.file(other), fs::perms(other == name ? 0444 : 0666));
        }
        const ending run = ranprocess(setting);
        expectfailure(run);
        EXPECT_TRUE(run.errors.ends_with("Error: Cannot write " + name + ".\n")) << run.errors;
    }
}

// A folder as /tmp: a file there is replaced by its owner alone, though others may write it.
TEST_P(ToolFaults, FilesThatOnlyTheirOwnerMayReplaceAreKeptWithThoseBesideThem)
{
    if (command.outputs.empty()) GTEST_SKIP() << "writes no file";
    if (geteuid() != 0) GTEST_SKIP() << "needs files of two users";
    const publicprogram tools(TORVIK_TOOLS);
    writeold();
    for (const std::string& name : command.outputs)
        fs::permissions(folder.file(name), fs::perms(0666));
    constexpr uid_t nobody = 65534;
    ASSERT_EQ(chown(folder.file(command.outputs.front()).c_str(), nobody, nobody), 0);
    fs::permissions(folder.path(), fs::perms(01777));
    setting.program = tools.path();
    setting.before = [this] {
        prepare();
        becomeordinary();
    };
    if (command.outputs.size() > 1)
        expectfailure(ranprocess(setting));
    else
        EXPECT_EQ(ranprocess(setting).status, 0);
}

TEST_P(ToolFaults, PermissionsOfAFileThatIsReplacedAreKept)
{
    learn();
    for (const std::string& name : command.outputs) {
        struct stat made = {};
        stat(folder.file(name).c_str(), &made);
        EXPECT_EQ(made.st_mode & 0777U, 0644U) << name;
        fs::permissions(folder.file(name), fs::perms(0640));
    }
    EXPECT_EQ(ranprocess(setting).status, 0);
    for (const std::string& name : command.outputs)
        EXPECT_EQ(fs::status(folder.file(name)).permissions(), fs::perms(0640)) << name;
}

// ------------------------------------------------------------------ names

// A link of the usual name of an unfinished file leads to a victim; what is written goes around it.
TEST_P(ToolFaults, FilesAndLinksBesideAreNotTouched)
{
    learn();
    write("victim", "mine\n");
    for (const std::string& name : command.outputs) {
        write(name + ".tmp", "mine\n");
        fs::create_symlink("victim", folder.file(name + ".part"));
    }
    EXPECT_EQ(ranprocess(setting).status, 0);
    EXPECT_EQ(readfile(folder.file("victim")), "mine\n");
    for (const std::string& name : command.outputs) {
        EXPECT_EQ(readfile(folder.file(name + ".tmp")), "mine\n");
        EXPECT_TRUE(fs::is_symlink(folder.file(name + ".part")));
    }
}

TEST_P(ToolFaults, WhatALinkLeadsToIsReplacedAndTheLinkIsKept)
{
    learn();
    fs::create_directory(folder.file("far"));
    for (const std::string& name : command.outputs) {
        fs::remove(folder.file(name));
        fs::create_symlink("far/" + name, folder.file(name)); // leads to nothing at first
    }
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ranprocess(setting).status, 0);
        for (const std::string& name : command.outputs) {
            EXPECT_TRUE(fs::is_symlink(folder.file(name)));
            EXPECT_EQ(masked(readfile(folder.file("far/" + name))), whole.at(name));
        }
    }
}

TEST_P(ToolFaults, DevicesAreWrittenToAndStay)
{
    if (command.outputs.size() != 1) GTEST_SKIP() << "one name alone";
    const std::string name = command.outputs.front();
    if (mknod(folder.file(name).c_str(), S_IFCHR | 0666, (1U << 8U) | 3U) != 0) // null
        GTEST_SKIP() << "a device cannot be made here";
    EXPECT_EQ(ranprocess(setting).status, 0);
    EXPECT_TRUE(fs::is_character_file(folder.file(name)));
    fs::remove(folder.file(name));
    ASSERT_EQ(mknod(folder.file(name).c_str(), S_IFCHR | 0666, (1U << 8U) | 7U), 0); // full
    EXPECT_TRUE(ranprocess(setting).errors.ends_with("Error: Cannot write " + name + ".\n"));
    EXPECT_TRUE(fs::is_character_file(folder.file(name)));
}

TEST_P(ToolFaults, PipesAreWrittenTo)
{
    if (command.outputs.size() != 1) GTEST_SKIP() << "one name alone";
    learn();
    const std::string name = command.outputs.front();
    fs::remove(folder.file(name));
    ASSERT_EQ(mkfifo(folder.file(name).c_str(), 0666), 0);
    processsetting reading = setting;
    reading.program = "/bin/cat";
    reading.arguments = {name};
    process reader(reading);
    EXPECT_EQ(ranprocess(setting).status, 0);
    EXPECT_EQ(masked(reader.wait().output), whole.at(name));
    EXPECT_TRUE(fs::is_fifo(folder.file(name)));
}

// None of these comes to an end, or begins.
TEST_P(ToolFaults, OnlyFilesAreRead)
{
    if (command.input.empty()) GTEST_SKIP() << "reads no file";
    writeold();
    const std::string input = folder.file(command.input);
    const auto expectrefusal = [&](const std::string& kind) {
        const ending run = ranprocess(setting);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.errors, "Error: " + command.input + " is " + kind + ", not a file.\n");
        fs::remove(input);
    };
    fs::remove(input);
    ASSERT_EQ(mkfifo(input.c_str(), 0666), 0);
    expectrefusal("a pipe");
    fs::create_directory(input);
    expectrefusal("a folder");
    fs::create_symlink("/dev/zero", input);
    expectrefusal("a device");
    const int socketofunix = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    input.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(socketofunix, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    expectrefusal("a socket");
    close(socketofunix);
}

// ------------------------------------------------------------------ signals

TEST_P(ToolFaults, ASignalAtAnyMomentLeavesAllFilesOldOrAllNew)
{
    if (!tracingworks()) GTEST_SKIP() << "a process cannot be traced here";
    learn();
    const processsetting traced = tracedsetting();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGKILL}) {
        int all = 0;
        EXPECT_FALSE(process(traced).killonce([&] { return ++all < 0; }));
        constexpr int moments = 8; // of the whole run, and its end, where files are written
        constexpr int end = 32;
        ASSERT_GT(all, moments + end);
        for (int k = 0; k < moments + end; ++k) {
            writeold();
            const int last = k < moments ? (all - end) * k / moments : all - (moments + end) + k;
            int seen = 0;
            process run(traced);
            if (!run.signalonce(signal, [&] { return seen++ == last; })) continue; // a shorter run
            const ending ended = run.wait();
            const int status = ended.status;
            if (signal == SIGINT && answeredearly(ended)) {
                expectnothingtemporary();
                continue;
            }
            if (signal != SIGKILL) {
                const bool answered = status == 0 || maskedfiles() == whole;
                expectoldornew(answered ? 0 : status);
                continue;
            }
            for (const std::string& name : command.outputs) {
                const std::string content = masked(readfile(folder.file(name)));
                EXPECT_TRUE(content == old || content == whole.at(name)) << name;
            }
            for (const auto& [name, content] : filesin(folder.path()))
                if (name.starts_with(".torvik-")) fs::remove(folder.file(name));
            clearfolders();
        }
    }
}

TEST_P(ToolFaults, ARunThatIsHeldAndResumedGivesTheSameFiles)
{
    if (!tracingworks()) GTEST_SKIP() << "a process cannot be traced here";
    learn();
    const processsetting traced = tracedsetting();
    int all = 0;
    EXPECT_FALSE(process(traced).killonce([&] { return ++all < 0; }));
    for (int k = 1; k < 8; ++k) {
        writeold();
        int seen = 0;
        process run(traced);
        if (!run.signalonce(SIGSTOP, [&] { return seen++ == all * k / 8; })) continue;
        usleep(2000);
        run.send(SIGCONT);
        EXPECT_EQ(run.wait().status, 0);
        expectoldornew(0);
    }
}

TEST_P(ToolFaults, TwoCallsAtOnceOnOneInputLeaveWholeFiles)
{
    learn();
    for (int k = 0; k < 5; ++k) {
        writeold();
        process first(setting);
        process second(setting);
        EXPECT_EQ(first.wait().status, 0);
        EXPECT_EQ(second.wait().status, 0);
        expectoldornew(0);
    }
}

// ------------------------------------------------------------------ another program

TEST_P(ToolFaults, ARunThatFailsGivesNoVerdict)
{
    if (command.name != "solve_results") GTEST_SKIP() << "has no run whose results it needs";
    writeold();
    for (const char* script :
         {"exit 0", "exit 3", "kill -9 $$", "kill -11 $$", "echo > a; exit 0"}) {
        write("bad", std::string("#!/bin/sh\n") + script + "\n");
        fs::permissions(folder.file("bad"), fs::perms(0755));
        setting.arguments.back() = "./bad";
        const ending run = ranprocess(setting);
        fs::remove(folder.file("bad"));
        expectfailure(run);
        EXPECT_TRUE(run.errors.ends_with("/bad for the results failed.\n")) << run.errors;
    }
}

const auto nameofcommand = [](const auto& info) { return info.param.name; };
INSTANTIATE_TEST_SUITE_P(Of, ToolFaults, ::testing::ValuesIn(toolcommands()), nameofcommand);
INSTANTIATE_TEST_SUITE_P(Of, ToolsOnASmallDisk, ::testing::ValuesIn(toolcommands()), nameofcommand);

} // namespace

} // namespace torvik
