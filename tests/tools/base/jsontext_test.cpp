#include "base/failure.h"
#include "base/jsontext.h"

#include <gtest/gtest.h>

#include <string>

namespace torvik::tools {

namespace {

std::string messageof(const std::string& text, std::size_t most = usualjsonvalues)
{
    try {
        jsonin(textfile("a.json", text), most);
    } catch (const failure& why) {
        return why.what();
    }
    return "nothing";
}

TEST(Json, IsReadWithinLimits)
{
    EXPECT_EQ(jsonin(textfile("a.json", R"({"a": ["[[[", "\\\"[", 3]})"))["a"][2], 3);
    EXPECT_EQ(messageof("{\n \"a\": [1,]\n}"), "a.json, line 2, column 10: expected JSON.");
    EXPECT_EQ(messageof("[1e999]"), "a.json: expected JSON, found a number that is too large.");
    EXPECT_EQ(messageof("[1,2,3]", 4), "nothing");
    EXPECT_EQ(messageof("[1,2,3,4,5]", 4), "a.json, line 1, column 7: more than 4 values.");
}

TEST(Json, OfListsInListsIsRefusedBeforeItTakesMemory)
{
    const std::string deep = std::string(1000, '[') + std::string(1000, ']');
    EXPECT_EQ(messageof(deep), "nothing");
    EXPECT_EQ(messageof("[" + deep + "]"),
              "a.json, line 1, column 1001: more than 1000 lists in one another.");
}

} // namespace

} // namespace torvik::tools
