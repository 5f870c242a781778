#include "base/failure.h"
#include "base/interruption.h"
#include "base/process.h"

#include "support/child.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <thread>

namespace torvik::tools {

namespace {

constexpr double hour = 3600.0; // seconds: longer than anything here takes on any machine

TEST(Processes, EndAsTheyDoOrAreEnded)
{
    std::atomic<bool> stop{false};
    const temporarydirectory folder;
    EXPECT_EQ(runprocess("/bin/true", {}, folder.path(), hour, stop), ending::finished);
    EXPECT_EQ(runprocess("/bin/false", {}, folder.path(), hour, stop), ending::failed);
    EXPECT_EQ(runprocess("/bin/sleep", {"3600"}, folder.path(), 0.1, stop), ending::outoftime);
    stop = true;
    EXPECT_EQ(runprocess("/bin/sleep", {"3600"}, folder.path(), hour, stop), ending::stopped);
    EXPECT_THROW(runprocess("/no/such/program", {}, folder.path(), 1.0, stop), failure);
}

TEST(Programs, AreFoundByAPathOrByANameOnThePath)
{
    EXPECT_EQ(torvikprogram("/bin/sh"), "/bin/sh");
    EXPECT_EQ(torvikprogram("a/b"), std::filesystem::current_path() / "a/b");
    EXPECT_TRUE(std::filesystem::exists(torvikprogram("sh")));
    EXPECT_EQ(torvikprogram("sh").filename(), "sh");
    EXPECT_THROW(torvikprogram("no-such-program-anywhere"), failure);
}

TEST(AnInterruption, RequestsAStopAndTheNextOneEndsTheProgram)
{
    const childresult ended = inchild([] {
        const interruption stop;
        std::cout << stop.token().stop_requested() << std::flush;
        raise(SIGINT);
        while (!stop.token().stop_requested()) std::this_thread::yield();
        std::cout << stop.token().stop_requested() << stop.requested() << std::flush;
        raise(SIGINT);
    });
    EXPECT_EQ(ended.output, "011");
    EXPECT_EQ(ended.status, 128 + SIGINT);
}

TEST(AnInterruption, LeavesTheSignalAsItWas)
{
    const childresult ended = inchild([] {
        for (int i = 0; i < 3; ++i) const interruption stop;
        raise(SIGINT);
    });
    EXPECT_EQ(ended.status, 128 + SIGINT);
}

} // namespace

} // namespace torvik::tools
