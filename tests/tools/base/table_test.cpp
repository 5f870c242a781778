#include "base/table.h"

#include <gtest/gtest.h>

namespace torvik::tools {

namespace {

TEST(Tables, StandInColumnsWithoutBlanksAtTheEnds)
{
    EXPECT_EQ(tableof({{"name", align::left}, {"value"}, {"note", align::left}},
                      {{"a", "1.00", ""}, {"longer", "22.00", "\xC3\xA5 b"}}),
              "name    value  note\n"
              "a        1.00\n"
              "longer  22.00  \xC3\xA5 b\n");
}

} // namespace

} // namespace torvik::tools
