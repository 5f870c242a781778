#include "text/paths.h"

#include "support/fresh.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace torvik {

namespace {

class Paths : public fresh {};

TEST_F(Paths, AreMadeOfTheBytesOfAName)
{
    EXPECT_EQ(pathof("a folder/k\xC3\xA4lte.idx").native(), "a folder/k\xC3\xA4lte.idx");
}

TEST_F(Paths, OfFilesThatExistAreNotTakenForNewOnes)
{
    const temporaryfolder folder;
    writefile(folder.file("old"), "kept");
    EXPECT_EQ(createfile(folder.file("old")), nullptr);
    EXPECT_EQ(readfile(folder.file("old")), "kept");
    std::FILE* stream = createfile(folder.file("new"));
    ASSERT_NE(stream, nullptr);
    std::fputs("written", stream);
    std::fclose(stream);
    EXPECT_EQ(readfile(folder.file("new")), "written");
}

TEST_F(Paths, OpenedToChangeAFileLeaveItAsItIs)
{
    const temporaryfolder folder;
    EXPECT_EQ(opentochange(folder.file("none")), nullptr);
    writefile(folder.file("old"), "kept");
    std::FILE* stream = opentochange(folder.file("old"));
    ASSERT_NE(stream, nullptr);
    std::fclose(stream);
    EXPECT_EQ(readfile(folder.file("old")), "kept");
}

} // namespace

} // namespace torvik
