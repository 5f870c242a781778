#include "lattice/score.h"

#include "base/failure.h"
#include "support/random_bases.h"

#include <gtest/gtest.h>

#include <string>

namespace torvik::tools {

namespace {

std::string messageof(const std::string& text)
{
    try {
        readtruth(textfile("a.truth.json", text));
    } catch (const failure& why) {
        return why.what();
    }
    return "nothing";
}

TEST(TruthFiles, GiveTheBasisInTheFrameOfTheReflections)
{
    const truth known =
        readtruth(textfile("a.truth.json", R"({"conventional_cell": [1, 2, 3, 90, 90, 90],
                            "direct_basis_rows": [[1, 0, 0], [0, 2, 0], [0, 0, 3.5]]})"));
    ASSERT_EQ(known.bases.size(), 1U);
    EXPECT_TRUE(known.cells.empty());
    EXPECT_TRUE(known.bases[0].approx(matrix3(1, 0, 0, 0, 2, 0, 0, 0, 3.5), 0.0));
}

TEST(TruthFiles, WithoutABasisGiveTheCell)
{
    const truth known = readtruth(textfile(
        "a.truth.json", R"({"conventional_cell": [5, 6, 7, 90, 100, 90], "centring": "C"})"));
    ASSERT_EQ(known.cells.size(), 1U);
    EXPECT_EQ(known.cells[0].centring, 'C');
    EXPECT_EQ(known.cells[0].cell[4], 100.0);
}

TEST(TruthFiles, OfSeveralLatticesGiveThemAll)
{
    const truth known = readtruth(
        textfile("a.truth.json", R"({"lattices": [{"direct_basis_rows": [[1,0,0],[0,1,0],[0,0,1]]},
                                    {"direct_basis_rows": [[2,0,0],[0,2,0],[0,0,2]]}]})"));
    EXPECT_EQ(known.bases.size(), 2U);
    EXPECT_EQ(scoreof(matrix3(0, 2, 0, 0, 0, 2, 2, 0, 0), known).lattice, 2U);
}

TEST(TruthFiles, WithFaultsAreRefusedWithTheirPlace)
{
    EXPECT_EQ(messageof("{\n \"a\": x}"), "a.truth.json, line 2, column 7: expected JSON.");
    EXPECT_EQ(messageof("[1e999]"),
              "a.truth.json: expected JSON, found a number that is too large.");
    EXPECT_EQ(messageof("[]"), "a.truth.json: expected a JSON object with the known lattice.");
    EXPECT_EQ(messageof("{}"), "a.truth.json: expected \"direct_basis_rows\", or "
                               "\"conventional_cell\" with six numbers.");
    EXPECT_EQ(messageof(R"({"direct_basis_rows": [[1, 2], [3, 4], [5, 6]]})"),
              "a.truth.json: \"direct_basis_rows\" must be three rows of three numbers.");
    EXPECT_EQ(messageof(R"({"direct_basis_rows": [[1, 2, 3], [4, 5, 6], [5, 7, 9]]})"),
              "a.truth.json: the rows of \"direct_basis_rows\" lie in a plane.");
    EXPECT_EQ(messageof(R"({"conventional_cell": [1, 2, 3, 90, 90, 0]})"),
              "a.truth.json: The cell has gamma = 0.0000: an angle must be above 0 and below 180 "
              "degrees.");
    EXPECT_EQ(messageof(R"({"conventional_cell": [1, 2, 3, 90, 90, 90], "centring": "Q"})"),
              "a.truth.json: There is no centring 'Q'.");
}

void expectmakes(const matrix3& T, const matrix3& from, const matrix3& to)
{
    EXPECT_TRUE(T.multiply(from).approx(to, 1e-9));
}

TEST(Scores, TellRightFromMultiplesPartsAndWrong)
{
    chance random(21);
    for (int n = 0; n < 50; ++n) {
        const matrix3 E = random_basis(random);
        const truth known{{E}, {}};
        const matrix3 same = random_unimodular(random, 5).multiply(E);
        const score right = scoreof(same, known);
        EXPECT_EQ(right.how, verdict::right);
        EXPECT_EQ(right.lattice, 1U);
        expectmakes(right.T, same, E);

        const int index = random.whole(2, 6);
        const matrix3 H = hermite_forms(index)[static_cast<std::size_t>(random.whole(0, 6))];
        const matrix3 twice = random_unimodular(random, 3).multiply(H).multiply(E);
        const score above = scoreof(twice, known);
        EXPECT_EQ(above.how, verdict::supercell);
        EXPECT_EQ(above.index, index);
        expectmakes(above.T, E, twice);

        const score below = scoreof(E, truth{{twice}, {}});
        EXPECT_EQ(below.how, verdict::subcell);
        EXPECT_EQ(below.index, index);
        expectmakes(below.T, E, twice);

        EXPECT_EQ(scoreof(random_basis(random), known).how, verdict::wrong);
        EXPECT_EQ(scoreof(same.multiply(random_rotation(random)), known).how, verdict::wrong);
    }
}

// The orientation does not count, and the centred cell stands for its primitive one.
TEST(Scores, AgainstACellAloneAreTakenInAnyOrientation)
{
    chance random(22);
    for (const centred_cell& one : bravais_cells()) {
        const matrix3 D = random_unimodular(random, 5)
                              .multiply(primitive_basis(one))
                              .multiply(random_rotation(random));
        EXPECT_EQ(scoreof(D, truthof(one)).how, verdict::right) << one.centring;
        if (one.centring == 'P') continue;
        const score above = scoreof(basis_of(one.cell), truthof(one));
        EXPECT_EQ(above.how, verdict::supercell);
        EXPECT_EQ(above.index,
                  gemmi::iround(1.0 / primitive_transformation(one.centring).determinant()));
    }
}

TEST(Scores, OfSeveralLatticesTakeTheBestOne)
{
    const truth known{{matrix3(7, 0, 0, 0, 8, 0, 0, 0, 9), matrix3(14, 0, 0, 0, 8, 0, 0, 0, 9)},
                      {}};
    const score found = scoreof(matrix3(14, 0, 0, 0, 8, 0, 0, 0, 9), known);
    EXPECT_EQ(found.how, verdict::right);
    EXPECT_EQ(found.lattice, 2U);
}

} // namespace

} // namespace torvik::tools
