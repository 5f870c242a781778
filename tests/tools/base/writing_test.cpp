#include "base/failure.h"
#include "base/signals.h"
#include "base/writing.h"

#include "support/child.h"
#include "support/runs.h"
#include "tools/base/messages.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

namespace torvik::tools {

namespace {

namespace fs = std::filesystem;

std::vector<std::string> namesin(const temporaryfolder& folder)
{
    std::vector<std::string> names;
    for (const auto& one : fs::directory_iterator(folder.path()))
        names.push_back(one.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(WritingWhole, ReplacesAFileAndLeavesNothingBeside)
{
    const temporaryfolder folder;
    writefile(folder.file("a.txt"), "old");
    writewhole(folder.file("a.txt"), "new");
    EXPECT_EQ(readfile(folder.file("a.txt")), "new");
    EXPECT_EQ(namesin(folder), std::vector<std::string>{"a.txt"});
}

TEST(WritingWhole, LeavesWhatWasThereWhenItCannot)
{
    const temporaryfolder folder;
    fs::create_directories(folder.file("a.txt/b"));
    EXPECT_EQ(messageof([&] { writewhole(folder.file("a.txt"), "new"); }),
              "Cannot write " + folder.file("a.txt") + ".");
    EXPECT_TRUE(fs::exists(folder.file("a.txt/b")));
    EXPECT_EQ(namesin(folder), std::vector<std::string>{"a.txt"});
}

TEST(WritingWhole, GivesAFileTheUsualPermissionsAndKeepsThoseOfTheOldOne)
{
    const temporaryfolder folder;
    const mode_t before = umask(0027);
    writewhole(folder.file("a.txt"), "new");
    EXPECT_EQ(fs::status(folder.file("a.txt")).permissions(), fs::perms(0640));
    fs::permissions(folder.file("a.txt"), fs::perms(0604));
    writewhole(folder.file("a.txt"), "newer");
    EXPECT_EQ(fs::status(folder.file("a.txt")).permissions(), fs::perms(0604));
    umask(before);
}

TEST(WritingWhole, KeepsTheOwnerOfTheOldFile)
{
    if (geteuid() != 0) GTEST_SKIP() << "files of others are made by root alone";
    constexpr uid_t other = 12345;
    const temporaryfolder folder;
    writefile(folder.file("a.txt"), "old");
    ASSERT_EQ(chown(folder.file("a.txt").c_str(), other, other), 0);
    writewhole(folder.file("a.txt"), "new");
    struct stat found = {};
    stat(folder.file("a.txt").c_str(), &found);
    EXPECT_EQ(found.st_uid, other);
    EXPECT_EQ(found.st_gid, other);
}

TEST(WritingWhole, FollowsLinksAndRefusesThoseThatGoRound)
{
    const temporaryfolder folder;
    fs::create_symlink("b", folder.file("a"));
    fs::create_symlink("c", folder.file("b"));
    writewhole(folder.file("a"), "new");
    EXPECT_EQ(readfile(folder.file("c")), "new");
    EXPECT_TRUE(fs::is_symlink(folder.file("a")));
    fs::remove(folder.file("c"));
    fs::create_symlink("a", folder.file("c"));
    EXPECT_EQ(messageof([&] { writewhole(folder.file("a"), "new"); }),
              "Cannot write " + folder.file("a") + ".");
    EXPECT_EQ(namesin(folder), (std::vector<std::string>{"a", "b", "c"}));
}

TEST(WritingWhole, WritesToAnOpenFileByItsName)
{
    const childresult run = inchild([] { writewhole("/dev/stdout", "through the name"); });
    EXPECT_EQ(run.output, "through the name");
}

TEST(WritingTogether, WritesAllFilesOrNone)
{
    const temporaryfolder folder;
    writefile(folder.file("a.txt"), "old");
    writetogether({{folder.file("a.txt"), "new"}, {folder.file("b.txt"), "other"}});
    EXPECT_EQ(readfile(folder.file("a.txt")), "new");
    EXPECT_EQ(readfile(folder.file("b.txt")), "other");
    // The second one cannot be written: by its folder, and by what bears its name.
    fs::create_directory(folder.file("d"));
    for (const char* second : {"none/c.txt", "d"}) {
        EXPECT_EQ(messageof([&] {
                      writetogether({{folder.file("a.txt"), "newer"}, {folder.file(second), "c"}});
                  }),
                  "Cannot write " + folder.file(second) + ".");
        EXPECT_EQ(readfile(folder.file("a.txt")), "new");
        EXPECT_EQ(namesin(folder), (std::vector<std::string>{"a.txt", "b.txt", "d"}));
    }
}

// The second name is refused only when the first was given: both have the same folder, but one has no
// name beside it that could be a file.
TEST(WritingTogether, TakesBackTheFirstNameIfTheSecondIsRefused)
{
    const temporaryfolder folder;
    const std::string second = folder.file("b/..");
    fs::create_directory(folder.file("b"));
    for (const bool exists : {true, false}) {
        fs::remove(folder.file("a.txt"));
        if (exists) writefile(folder.file("a.txt"), "old");
        EXPECT_NE(messageof([&] {
                      writetogether({{folder.file("a.txt"), "new"}, {second, "c"}});
                  }),
                  "nothing");
        EXPECT_EQ(fs::exists(folder.file("a.txt")), exists);
        EXPECT_TRUE(!exists || readfile(folder.file("a.txt")) == "old");
    }
}

TEST(HeldSignals, ActAtTheEnd)
{
    const childresult run = inchild([] {
        {
            const heldsignals held;
            raise(SIGTERM);
            std::cout << heldsignals::waiting() << std::flush;
        }
        std::cout << "not reached" << std::flush;
    });
    EXPECT_EQ(run.output, "1");
    EXPECT_EQ(run.status, 128 + SIGTERM);
}

TEST(HeldSignals, ThatAreIgnoredDoNotCount)
{
    const childresult run = inchild([] {
        std::signal(SIGHUP, SIG_IGN);
        const heldsignals held;
        raise(SIGHUP);
        std::cout << heldsignals::waiting() << std::flush;
    });
    EXPECT_EQ(run.output, "0");
    EXPECT_EQ(run.status, stepreturned);
}

} // namespace

} // namespace torvik::tools
