#include "lattice/survey.h"

#include "base/failure.h"
#include "lattice/notation.h"
#include "support/random_bases.h"

#include <gtest/gtest.h>

#include <string>

namespace torvik::tools {

namespace {

std::string messageof(const std::string& text)
{
    try {
        readknowncells(textfile("cells.txt", text));
    } catch (const failure& why) {
        return why.what();
    }
    return "nothing";
}

TEST(KnownCells, AreReadWithLettersAndNames)
{
    const auto known =
        readknowncells(textfile("cells.txt", "# mine\n5 5 5 90 90 90 F sodium chloride # cubic\n\n"
                                             "4.9,4.9,5.4,90,90,120, quartz\n7 8 9 90 100 90\n"));
    ASSERT_EQ(known.size(), 3U);
    EXPECT_EQ(known[0].name, "sodium chloride");
    EXPECT_EQ(known[0].cell.centring, 'F');
    EXPECT_EQ(known[1].name, "quartz");
    EXPECT_EQ(known[1].cell.centring, 'P');
    EXPECT_EQ(known[2].name, "line 5");
}

TEST(KnownCells, WithFaultsAreRefusedWithTheirPlace)
{
    EXPECT_EQ(messageof("1 2 3\n"),
              "cells.txt, line 1: expected six numbers: a, b, c, alpha, beta, gamma.");
    EXPECT_EQ(messageof("# one\n1 2 3 90 x 90\n"),
              "cells.txt, line 2, column 10: expected a length or an angle, found 'x'.");
    EXPECT_EQ(messageof("1 2 3 90 200 90\n"),
              "cells.txt, line 1, column 1: The cell has beta = 200.0000: an angle must be above 0 "
              "and below 180 degrees.");
    EXPECT_EQ(messageof("# none\n"), "cells.txt: there are no known cells in it.");
}

// All matrices make from the given axes what they say, centred or not.
TEST(Surveys, GiveMatricesFromTheGivenAxes)
{
    for (const centred_cell& one : bravais_cells()) {
        const givenlattices given = latticesof({one});
        const latticesurvey made = surveyof(given.list[0], {{"the same", one}}, surveyoptions());
        const matrix3& axes = given.list[0].basis;
        const auto expect = [&](const matrix3& T, const cell_parameters& cell) {
            const cell_parameters found = cell_of(T.multiply(axes));
            for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(found[i], cell[i], 1e-9 * cell[i]);
        };
        expect(made.niggliform.T, cell_of(made.niggliform.basis));
        expect(made.delaunayform.T, cell_of(made.delaunayform.basis));
        for (const bravais_lattice& lattice : made.bravais)
            for (const setting& each : lattice.settings) expect(each.T, each.cell);
        ASSERT_EQ(made.known.size(), 1U);
        EXPECT_EQ(made.known[0].how, kinship::same);
        expect(made.known[0].T, one.cell);
    }
}

TEST(Surveys, FindKnownCellsThatAreMultiplesOrParts)
{
    const std::vector<knowncell> known = {{"half", {{5, 6, 7, 80, 95, 100}, 'P'}},
                                          {"double", {{5, 6, 28, 80, 95, 100}, 'P'}},
                                          {"strange", {{5, 6, 9, 80, 95, 100}, 'P'}}};
    const givenlattices given = latticesof({{{5, 6, 14, 80, 95, 100}, 'P'}});
    const latticesurvey made = surveyof(given.list[0], known, surveyoptions());
    ASSERT_EQ(made.known.size(), 2U);
    for (const knownmatch& match : made.known) {
        EXPECT_EQ(match.index, 2);
        EXPECT_EQ(match.how, match.known == 0 ? kinship::super : kinship::sub);
    }
}

// Of solutions in one frame, and of cells without.
TEST(Surveys, TellWhichLatticesArePartsOfWhich)
{
    const centred_cell one = {{5, 6, 7, 80, 95, 100}, 'P'};
    const centred_cell two = {{5, 6, 14, 80, 95, 100}, 'P'};
    givenlattices given = latticesof({two, one, {{5, 6.9, 8.9, 80, 95, 100}, 'P'}});
    for (const bool oriented : {false, true}) {
        given.oriented = oriented;
        const auto pairs = kinshipsof(given, surveyoptions());
        ASSERT_EQ(pairs.size(), 1U);
        EXPECT_EQ(pairs[0].first, 0U);
        EXPECT_EQ(pairs[0].second, 1U);
        EXPECT_EQ(pairs[0].how, kinship::super);
        EXPECT_EQ(pairs[0].index, 2);
    }
}

TEST(Surveys, TakeTheToleranceThatTheFileAsksForUnlessTheUserDoes)
{
    givenlattice given = latticesof({{{5, 6, 7, 90, 90, 90.5}, 'P'}}).list[0];
    EXPECT_EQ(surveyof(given, {}, surveyoptions()).bravais[0].symbol, "mP");
    given.obliquity = 1.0;
    EXPECT_EQ(surveyof(given, {}, surveyoptions()).bravais[0].symbol, "oP");
    surveyoptions asked;
    asked.obliquity = 0.1;
    EXPECT_EQ(surveyof(given, {}, asked).bravais[0].symbol, "mP");
}

TEST(Notation, OfMatricesIsThatOfAxes)
{
    EXPECT_EQ(axestext(matrix3(1, 0, 0, -0.5, 0.5, 0, 0, -1, 2)), "a, -1/2a+1/2b, -b+2c");
    EXPECT_EQ(axestext(matrix3(2.0 / 3, 1.0 / 3, 0, 0, 0.123, 0, 0, 0, 0)), "2/3a+1/3b, 0.123b, 0");
    EXPECT_EQ(rowstext(matrix3(1, 0, 0, -0.5, 0.5, 0, 0, -1, 2)), "1 0 0 | -1/2 1/2 0 | 0 -1 2");
    EXPECT_EQ(celltext({5, 6, 7.123, 90, 95.55, 120}, 2, 1), "5.00 6.00 7.12 90.0 95.5 120.0");
}

} // namespace

} // namespace torvik::tools
