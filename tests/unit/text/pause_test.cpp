#include "text/pause.h"

#include "support/fresh.h"
#include "support/runs.h"
#include "text/exit.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace torvik {

namespace {

using testing::ExitedWithCode;

constexpr int resumed = 42; // exit status of a child that went on behind the pause

class Pause : public fresh {
protected:
    // Becomes the standard input of the process; called in a child only.
    void answerwith(const std::string& reply) const
    {
        writefile(folder.file("reply"), reply);
        if (std::freopen(folder.file("reply").c_str(), "rb", stdin) == nullptr) std::abort();
    }

    [[noreturn]] void pauseandgoon(const std::string& reply) const
    {
        answerwith(reply);
        pauseprogram();
        std::_Exit(resumed);
    }

    temporaryfolder folder;
};

TEST_F(Pause, WritesItsNoticeToTheErrorStream)
{
    EXPECT_EXIT(pauseandgoon("\n"), ExitedWithCode(0), "paused.*type go and press Enter");
}

TEST_F(Pause, ReplyGoResumesTheProgram)
{
    EXPECT_EXIT(pauseandgoon("go\n"), ExitedWithCode(resumed), "paused");
}

TEST_F(Pause, ReplyGoCountsWithEitherLineEndOrNone)
{
    EXPECT_EXIT(pauseandgoon("go\r\n"), ExitedWithCode(resumed), "");
    EXPECT_EXIT(pauseandgoon("go"), ExitedWithCode(resumed), "");
}

TEST_F(Pause, AnyOtherReplyEndsTheProgramWithStatusZero)
{
    for (const char* reply : {"\n", "stop\n", "GO\n", " go\n", "go on\n", "g\n", "\ngo\n"})
        EXPECT_EXIT(pauseandgoon(reply), ExitedWithCode(0), "paused") << reply;
}

TEST_F(Pause, TheEndOfTheInputEndsTheProgramWithStatusZero)
{
    EXPECT_EXIT(pauseandgoon(""), ExitedWithCode(0), "paused");
}

TEST_F(Pause, OneLineIsReadForOnePause)
{
    const auto pausetwice = [this](const std::string& reply) {
        answerwith(reply);
        pauseprogram();
        pauseprogram();
        std::_Exit(resumed);
    };
    EXPECT_EXIT(pausetwice("go\ngo\n"), ExitedWithCode(resumed), "");
    EXPECT_EXIT(pausetwice("go\n"), ExitedWithCode(0), "");
}

TEST_F(Pause, AStopFollowsWhateverTheReply)
{
    const auto stopafter = [this](const std::string& reply) {
        answerwith(reply);
        pauseandstop();
    };
    for (const char* reply : {"go\n", "\n", ""})
        EXPECT_EXIT(stopafter(reply), ExitedWithCode(0), "Press Enter to close Torvik") << reply;
}

// A reply "go" would resume nothing there.
TEST_F(Pause, BeforeAStopOffersNoResumption)
{
    runsetting setting;
    setting.arguments = {"missing.idx"};
    EXPECT_EQ(runtorvik(setting).errors, "Press Enter to close Torvik.\n");
}

TEST_F(Pause, WhatWasPrintedBeforeIsShownBeforeTheNotice)
{
    runsetting setting;
    setting.program = "/bin/sh";
    setting.arguments = {"-c", "'" TORVIK_PROGRAM "' missing.idx 2>&1"};
    const runresult run = runtorvik(setting);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output.find(" Error: Cannot open missing.idx.\nPress Enter to close Torvik."),
              0U);
}

TEST_F(Pause, AFaultyInputStopsWithStatusZeroEvenIfTheReplyIsGo)
{
    runsetting setting;
    setting.arguments = {"missing.idx"};
    setting.input = "go\n";
    const runresult run = runtorvik(setting);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, " Error: Cannot open missing.idx.\n");
    EXPECT_EQ(linesof(run.errors).size(), 1U);
    EXPECT_TRUE(run.files.empty());
}

class Exit : public fresh {};

TEST_F(Exit, TheProgramEndsWithStatusZero)
{
    EXPECT_EXIT(stopprogram(), ExitedWithCode(0), "");
}

TEST_F(Exit, WhatWasPrintedIsNotLost)
{
    const temporaryfolder folder;
    const auto printandstop = [&] {
        if (std::freopen(folder.file("printed").c_str(), "wb", stdout) == nullptr) std::abort();
        std::fputs("last words", stdout);
        stopprogram();
    };
    EXPECT_EXIT(printandstop(), ExitedWithCode(0), "");
    EXPECT_EQ(readfile(folder.file("printed")), "last words");
}

} // namespace

} // namespace torvik
