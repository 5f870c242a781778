#include "lattice/readcell.h"

#include "base/failure.h"

#include <gtest/gtest.h>

#include <string>

namespace torvik::tools {

namespace {

std::string messageof(const std::string& text)
{
    try {
        cellfrom(text);
    } catch (const failure& why) {
        return why.what();
    }
    return "nothing";
}

TEST(WrittenCells, AreReadWithBlanksOrCommasAndALetter)
{
    EXPECT_EQ(cellfrom("7.71 8.66 10.81 90 102.96 90").cell,
              (cell_parameters{7.71, 8.66, 10.81, 90, 102.96, 90}));
    EXPECT_EQ(cellfrom("7.71 8.66 10.81 90 102.96 90").centring, 'P');
    EXPECT_EQ(cellfrom(" 5,5, 5, 90 90,90 F").centring, 'F');
}

TEST(WrittenCells, WithFaultsAreRefusedWithASentence)
{
    EXPECT_EQ(messageof("1 2 3"),
              "A cell is six numbers a, b, c, alpha, beta, gamma, and perhaps a letter of the "
              "centring; '1 2 3' has 3 items.");
    EXPECT_EQ(messageof("1 2 x 90 90 90"),
              "The cell '1 2 x 90 90 90' has 'x' where a number is expected for c.");
    EXPECT_EQ(messageof("1 2 3 90 90 90 X"), "The centring 'X' is none of P, A, B, C, I, F and R.");
    EXPECT_EQ(messageof("1 -2 3 90 90 90"), "The cell has b = -2.0000: a length must be above 0.");
    EXPECT_EQ(messageof("nan 2 3 90 90 90").substr(0, 14), "The cell has a");
}

} // namespace

} // namespace torvik::tools
