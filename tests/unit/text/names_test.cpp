#include "text/names.h"

#include "support/fresh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace torvik {

namespace {

class Names : public fresh {};

TEST_F(Names, ANameIsPaddedWithBlanksTo1024Characters)
{
    const inputfilename name = makefilename("crystal.idx");
    EXPECT_EQ(name.size(), 1024U);
    EXPECT_EQ(std::string(name.begin(), name.begin() + 11), "crystal.idx");
    EXPECT_EQ(std::count(name.begin() + 11, name.end(), ' '), 1013);
}

TEST_F(Names, ANameIsKeptWithItsLeadingBlanks)
{
    const inputfilename name = makefilename("  data.idx");
    EXPECT_EQ(std::string(name.begin(), name.begin() + 10), "  data.idx");
}

TEST_F(Names, ANameOf1024CharactersIsWholeAndALongerOneIsCut)
{
    const std::string whole = std::string(1020, 'a') + ".idx";
    EXPECT_EQ(trimmedname(makefilename(whole)), whole);
    EXPECT_EQ(trimmedname(makefilename(whole + "more")), whole);
    EXPECT_EQ(trimmedname(makefilename("a" + whole)), std::string(1021, 'a') + ".id");
}

TEST_F(Names, TrimmingTakesLeadingAndTrailingBlanksOnly)
{
    EXPECT_EQ(trimmedname(makefilename("  my data.idx  ")), "my data.idx");
    EXPECT_EQ(trimmedname(makefilename("\tdata.idx")), "\tdata.idx");
    EXPECT_EQ(trimmedname(makefilename("")), "");
    EXPECT_EQ(trimmedname(makefilename("    ")), "");
}

TEST_F(Names, AnOutputNameReplacesTheExtension)
{
    EXPECT_EQ(outputname(makefilename("crystal.idx"), "_idx.log"), "crystal_idx.log");
    EXPECT_EQ(outputname(makefilename("  data.idx "), "_idx.log"), "data_idx.log");
    EXPECT_EQ(outputname(makefilename("a/b.c/data.idx"), "_idx.res"), "a/b.c/data_idx.res");
}

TEST_F(Names, TheLastFourCharactersAreCutWhateverTheyAre)
{
    EXPECT_EQ(outputname(makefilename("crystal"), "_idx.log"), "cry_idx.log");
}

TEST_F(Names, AShortNameLeavesTheSuffixAlone)
{
    EXPECT_EQ(outputname(makefilename("a.idx"), "_idx.log"), "a_idx.log");
    EXPECT_EQ(outputname(makefilename(".idx"), "_idx.log"), "_idx.log");
    EXPECT_EQ(outputname(makefilename("abc"), "_idx.log"), "_idx.log");
    EXPECT_EQ(outputname(makefilename(""), "_idx.log"), "_idx.log");
}

} // namespace

} // namespace torvik
