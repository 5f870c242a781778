#include "base/failure.h"
#include "simulation/ciffile.h"

#include <gtest/gtest.h>

#include <string>

namespace torvik::tools {

namespace {

const std::string cell =
    "data_sugar\n_cell_length_a 10.8633(5)\n_cell_length_b 8.7050\n"
    "_cell_length_c 7.7585\n_cell_angle_alpha 90\n_cell_angle_beta 102.945(6)\n"
    "_cell_angle_gamma 90.\n";
const std::string hexagonal = "data_x\n_cell_length_a 4.99\n_cell_length_b 4.99\n_cell_length_c "
                              "17.06\n_cell_angle_alpha 90\n_cell_angle_beta 90\n"
                              "_cell_angle_gamma 120\n";
const std::string rhombohedral = "data_x\n_cell_length_a 6.37\n_cell_length_b 6.37\n_cell_length_c "
                                 "6.37\n_cell_angle_alpha 46.1\n_cell_angle_beta 46.1\n"
                                 "_cell_angle_gamma 46.1\n";

char centringof(const std::string& text)
{
    return readcifcell(textfile("a.cif", text)).centring;
}

std::string refusalof(const std::string& text)
{
    try {
        readcifcell(textfile("a.cif", text));
    } catch (const failure& why) {
        return why.what();
    }
    return "nothing";
}

TEST(CifFiles, GiveTheCellWithoutItsUncertainties)
{
    const centred_cell found =
        readcifcell(textfile("a.cif", cell + "_space_group_name_H-M_alt 'P 1 21 1'\n"));
    EXPECT_EQ(found.cell, (cell_parameters{10.8633, 8.705, 7.7585, 90.0, 102.945, 90.0}));
    EXPECT_EQ(found.centring, 'P');
}

TEST(CifFiles, GiveTheCentringByNameNumberOrOperations)
{
    EXPECT_EQ(centringof(cell + "_symmetry_space_group_name_H-M 'C 2/c'\n"), 'C');
    EXPECT_EQ(centringof(cell + "_space_group_name_H-M_alt 'I 1 2/a 1'\n"), 'I');
    EXPECT_EQ(centringof(cell + "_space_group_name_H-M_alt ?\n_space_group_IT_number 15\n"), 'C');
    EXPECT_EQ(centringof(cell
                         + "loop_\n_space_group_symop_operation_xyz\n'x, y, z'\n'-x, y, -z'\n"
                           "'x+1/2, y+1/2, z'\n'-x+1/2, y+1/2, -z'\n"),
              'C');
    EXPECT_EQ(centringof("data_first\n_a 1\n" + cell + "_space_group_name_H-M_alt P1\n"), 'P');
}

TEST(CifFiles, OfRhombohedralAxesHaveAPrimitiveCell)
{
    EXPECT_EQ(centringof(hexagonal + "_symmetry_space_group_name_H-M 'R -3 c'\n"), 'R');
    EXPECT_EQ(centringof(rhombohedral + "_symmetry_space_group_name_H-M 'R -3 c'\n"), 'P');
    EXPECT_EQ(centringof(rhombohedral + "_symmetry_space_group_name_H-M 'R -3 c:R'\n"), 'P');
}

TEST(CifFiles, WithATableOfTheMacromolecularDictionaryAreReadToo)
{
    std::string text = cell + "_symmetry.space_group_name_H-M 'C 1 2 1'\n";
    for (std::size_t at = 0; (at = text.find("_cell_", at)) != std::string::npos; ++at)
        text[at + 5] = '.';
    EXPECT_EQ(centringof(text), 'C');
}

TEST(CifFiles, ThatAreNoneOrLackSomethingAreRefused)
{
    EXPECT_EQ(refusalof("7.7 8.6\n"),
              "a.cif, line 1, column 1: this is no CIF: expected block header (data_).");
    EXPECT_EQ(refusalof("data_x\n_a 'open\n"),
              "a.cif, line 2, column 9: this is no CIF: unterminated 'string'.");
    EXPECT_EQ(refusalof("data_x\n_a 1\n"), "a.cif: there is no cell: expected _cell_length_a.");
    EXPECT_EQ(refusalof(cell),
              "a.cif: it names no known space group, and lists no symmetry operations.");
    EXPECT_EQ(refusalof("data_x\n_cell_length_a long\n"),
              "a.cif: expected a number for _cell_length_a, found 'long'.");
    EXPECT_EQ(refusalof("data_x\n_cell_length_a 5\n"),
              "a.cif: there is no value for _cell_length_b.");
}

} // namespace

} // namespace torvik::tools
