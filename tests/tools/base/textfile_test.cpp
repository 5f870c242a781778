#include "base/failure.h"
#include "base/textfile.h"

#include "tools/base/messages.h"

#include <gtest/gtest.h>

#include <string>

namespace torvik::tools {

namespace {

TEST(TextFiles, HaveLinesThatEndInTheMannerOfUnixWindowsOrOldMacs)
{
    const textfile source("a.txt", "one\ntwo\r\n\rfour");
    ASSERT_EQ(source.lines(), 4U);
    EXPECT_EQ(source.line(1), "one");
    EXPECT_EQ(source.line(2), "two");
    EXPECT_EQ(source.line(3), "");
    EXPECT_EQ(source.line(4), "four");
    EXPECT_EQ(source.line(5), "");
}

TEST(TextFiles, HaveNoByteOrderMark)
{
    EXPECT_EQ(textfile("a.txt", "\xEF\xBB\xBF"
                                "7")
                  .line(1),
              "7");
}

TEST(TextFiles, NameTheLineAndTheColumnOfAWrongNumber)
{
    const textfile source("a.txt", "1 2\n3 4x");
    const item wrong = itemsof(source.line(2))[1];
    EXPECT_EQ(messageof([&] { static_cast<void>(source.number(wrong, 2, "a number")); }),
              "a.txt, line 2, column 3: expected a number, found '4x'.");
}

TEST(TextFiles, ThatDoNotExistAreAFailure)
{
    EXPECT_EQ(messageof([] { textfile::read("/no/such.file"); }), "Cannot open /no/such.file.");
    EXPECT_EQ(messageof([] { textfile::read("/"); }), "/ is a folder, not a file.");
}

TEST(TextFiles, OfEmptyLinesTakeLittleMoreMemoryThanTheirBytes)
{
    constexpr std::size_t many = 1000;
    const textfile source("a.txt", std::string(many, '\n') + "end");
    EXPECT_EQ(source.lines(), many + 1);
    EXPECT_EQ(source.line(many), "");
    EXPECT_EQ(source.line(many + 1), "end");
}

TEST(Items, AreApartByBlanksOrByTheSeparatorsAskedFor)
{
    const auto blanks = itemsof("  1\t22 ");
    ASSERT_EQ(blanks.size(), 2U);
    EXPECT_EQ(blanks[0].column, 3U);
    EXPECT_EQ(blanks[1].text, "22");
    EXPECT_EQ(itemsof("1,2;3", ",;").size(), 3U);
    EXPECT_TRUE(itemsof("").empty());
}

TEST(Items, OfFixedColumnsStandWithoutTheBlanksAround)
{
    const item found = columnsof("ab  12 cd", 3, 7);
    EXPECT_EQ(found.text, "12");
    EXPECT_EQ(found.column, 5U);
    EXPECT_EQ(columnsof("ab", 5, 7).text, "");
    EXPECT_EQ(columnsof("ab      ", 4, 7).text, "");
}

TEST(Numbers, AreReadToTheirLastCharacter)
{
    EXPECT_EQ(numberin("-1.5e2"), -150.0);
    EXPECT_EQ(numberin("+1.5D+2"), 150.0);
    EXPECT_FALSE(numberin("1.5x"));
    EXPECT_FALSE(numberin("+-1"));
    EXPECT_FALSE(numberin(""));
    EXPECT_FALSE(numberin("1,5"));
    EXPECT_EQ(wholein("+12"), 12);
    EXPECT_FALSE(wholein("12.0"));
    EXPECT_FALSE(wholein("99999999999"));
}

} // namespace

} // namespace torvik::tools
