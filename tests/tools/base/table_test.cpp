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

TEST(FixedNumbers, HaveNoNegativeZero)
{
    EXPECT_EQ(fixed(-0.001, 2), "0.00");
    EXPECT_EQ(fixed(-0.005001, 2), "-0.01");
    EXPECT_EQ(fixed(1234.5, 1), "1234.5");
}

} // namespace

} // namespace torvik::tools
