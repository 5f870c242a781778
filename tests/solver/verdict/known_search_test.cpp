#include "solver/verdict/known_search.h"

#include "solver/candidates/orientations.h"
#include "solver/lattice/deformation.h"
#include "solver/lattice/invalid_input.h"
#include "solver/lattice/relations.h"
#include "support/simulated_crystals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <string>
#include <vector>

namespace torvik::solver {

namespace {

const cell_parameters low_cell = {7.0, 8.0, 10.0, 85.0, 100.0, 95.0};
const cell_parameters other_cell = {6.5, 8.9, 9.6, 92.0, 96.0, 98.0}; // of about the same volume

simulated_crystal crystal_of(const cell_parameters& cell, int reflections, int outliers,
                             double noise, std::uint64_t seed)
{
    crystal_request asked;
    asked.cell = cell;
    asked.reflections = reflections;
    asked.outliers = outliers;
    asked.noise = noise;
    asked.seed = seed;
    return simulated(asked);
}

known_result found_in(const std::vector<vector3>& vectors, const std::vector<centred_cell>& cells,
                      double tolerance = 0.02)
{
    known_limits limits;
    limits.tolerance = tolerance;
    return find_known(vectors, {}, cells, limits);
}

// A cell with all lengths multiplied.
cell_parameters times(cell_parameters cell, double factor)
{
    for (std::size_t i = 0; i < 3; ++i) cell[i] *= factor;
    return cell;
}

// Vectors of the same lengths in random directions.
std::vector<vector3> scattered(std::vector<vector3> vectors, std::uint64_t seed)
{
    chance random(seed);
    for (vector3& q : vectors) q = random_rotation(random).multiply(q);
    return vectors;
}

std::vector<vector3> random_vectors(std::size_t count, std::uint64_t seed)
{
    chance random(seed);
    std::vector<vector3> all;
    while (all.size() < count) {
        const vector3 q(random.between(-1, 1), random.between(-1, 1), random.between(-1, 1));
        if (q.length() < 1.0) all.push_back(q);
    }
    return all;
}

TEST(AKnownCell, IsFoundAmongMostlyOutliers)
{
    for (std::uint64_t seed = 1; seed <= 8; ++seed) {
        const simulated_crystal made = crystal_of(low_cell, 20, 12, 0.02, seed);
        const known_result found = found_in(made.vectors, {{low_cell, 'P'}});
        EXPECT_EQ(found.made.how, verdict::solved) << seed << ": " << found.made.reason;
        ASSERT_FALSE(found.made.candidates.empty());
        EXPECT_TRUE(same_lattice(found.made.candidates[0].basis, made.basis)) << seed;
        EXPECT_EQ(found.made.candidates[0].known, 0);
    }
}

TEST(AKnownCell, IsFoundWithFourToSixReflections)
{
    for (const int count : {4, 5, 6})
        for (std::uint64_t seed = 1; seed <= 5; ++seed) {
            const simulated_crystal made = crystal_of(low_cell, count, 0, 0.005, seed);
            const known_result found = found_in(made.vectors, {{low_cell, 'P'}});
            ASSERT_FALSE(found.made.candidates.empty()) << count << " " << seed;
            EXPECT_TRUE(same_lattice(found.made.candidates[0].basis, made.basis))
                << count << " " << seed << ": " << found.made.reason;
            EXPECT_NE(found.made.how, verdict::refused) << count << " " << seed;
        }
    const known_result few = found_in(random_vectors(3, 1), {{low_cell, 'P'}});
    EXPECT_EQ(few.made.how, verdict::refused);
    EXPECT_EQ(few.made.reason,
              "There are 3 reflections; no orientation is certain with fewer than 4.");
}

TEST(AKnownCell, MayBeOffByACommonScaleWithinTheTolerance)
{
    for (const double factor : {0.981, 1.019}) {
        const simulated_crystal made = crystal_of(low_cell, 40, 20, 0.01, 5);
        const known_result found = found_in(made.vectors, {{times(low_cell, factor), 'P'}});
        EXPECT_EQ(found.made.how, verdict::solved) << found.made.reason;
        EXPECT_NEAR(found.scale, 1.0 / factor, 0.002);
        EXPECT_TRUE(same_lattice(found.made.candidates[0].basis, made.basis));
        EXPECT_NE(found.made.reason.find(factor > 1.0 ? "1.9 % shorter than those given"
                                                      : "1.9 % longer than those given"),
                  std::string::npos)
            << found.made.reason;
    }
}

// The same by pairs alone: five reflections are too few for the search without a cell.
TEST(AKnownCell, MayBeOffByACommonScaleWithFewReflections)
{
    const simulated_crystal made = crystal_of(low_cell, 5, 0, 0.002, 2);
    const known_result found = found_in(made.vectors, {{times(low_cell, 1.02), 'P'}});
    EXPECT_TRUE(found.work.pairs);
    ASSERT_FALSE(found.made.candidates.empty());
    EXPECT_TRUE(same_lattice(found.made.candidates[0].basis, made.basis)) << found.made.reason;
    EXPECT_NEAR(found.scale, 1.0 / 1.02, 0.003);
}

TEST(AKnownCell, IsRefusedBeyondTheToleranceOfTheScale)
{
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        const simulated_crystal made = crystal_of(low_cell, 60, 0, 0.01, seed);
        const known_result far = found_in(made.vectors, {{times(low_cell, 1.08), 'P'}});
        EXPECT_EQ(far.made.how, verdict::refused) << seed << ": " << far.made.reason;
        EXPECT_NE(far.made.reason.find("lengths may be off by 2.0 % together"), std::string::npos);
        EXPECT_NE(far.made.reason.find("the cell 7.0"), std::string::npos) << far.made.reason;
        EXPECT_EQ(found_in(made.vectors, {{times(low_cell, 1.08), 'P'}}, 0.1).made.how,
                  verdict::solved);
        EXPECT_EQ(found_in(made.vectors, {{times(low_cell, 1.02), 'P'}}, 0.0).made.how,
                  verdict::refused);
    }
}

TEST(AKnownCell, HasACentring)
{
    struct centred {
        cell_parameters cell;
        char letter;
        double points; // of a conventional cell
    };
    for (const centred& one :
         {centred{{9, 11, 14, 90, 105, 90}, 'C', 2}, centred{{9, 11, 14, 90, 90, 90}, 'I', 2},
          centred{{12, 14, 17, 90, 90, 90}, 'F', 4}, centred{{10, 10, 24, 90, 90, 120}, 'R', 3}}) {
        const matrix3 T = primitive_transformation(one.letter);
        const matrix3 primitive = T.multiply(basis_of(one.cell));
        const simulated_crystal made = crystal_of(cell_of(primitive), 40, 10, 0.01, 3);
        const known_result found = found_in(made.vectors, {{one.cell, one.letter}});
        ASSERT_EQ(found.made.how, verdict::solved) << one.letter << found.made.reason;
        const matrix3& basis = found.made.candidates[0].basis;
        EXPECT_TRUE(same_lattice(basis, made.basis)) << one.letter;
        EXPECT_GT(basis.determinant(), 0.0);
        // The primitive setting of the conventional axes.
        const cell_parameters back = cell_of(T.inverse().multiply(basis));
        for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(back[k] / one.cell[k], 1.0, 0.01);
        for (std::size_t k = 3; k < 6; ++k) EXPECT_NEAR(back[k], one.cell[k], 0.6);
        // Without the letter the cell is too large by that many points.
        EXPECT_NE(found_in(made.vectors, {{one.cell, 'P'}}).made.how, verdict::solved)
            << one.letter;
    }
}

TEST(AKnownCell, IsReportedInTheSettingThatWasGiven)
{
    const simulated_crystal made = crystal_of(low_cell, 30, 6, 0.01, 8);
    const matrix3 skew(1, 0, 0, 2, 1, 0, -1, 1, 1); // of determinant 1: far from reduced
    const cell_parameters given = cell_of(skew.multiply(made.basis));
    const known_result found = found_in(made.vectors, {{given, 'P'}});
    ASSERT_EQ(found.made.how, verdict::solved);
    const cell_parameters cell = cell_of(found.made.candidates[0].basis);
    for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(cell[k] / given[k], 1.0, 0.01);
    for (std::size_t k = 3; k < 6; ++k) EXPECT_NEAR(cell[k], given[k], 0.5);
}

TEST(AKnownCell, IsRefusedForReflectionsOfAnotherCellOrOfNone)
{
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        const simulated_crystal made = crystal_of(low_cell, 20, 0, 0.02, seed);
        const known_result other = found_in(made.vectors, {{other_cell, 'P'}});
        EXPECT_EQ(other.made.how, verdict::refused) << seed << ": " << other.made.reason;
        EXPECT_EQ(found_in(scattered(made.vectors, seed), {{low_cell, 'P'}}).made.how,
                  verdict::refused)
            << seed;
    }
}

TEST(AKnownCell, IsRefusedIfOneEdgeIsFivePerCentTooLong)
{
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        const simulated_crystal made = crystal_of(low_cell, 40, 0, 0.01, seed);
        cell_parameters longer = low_cell;
        longer[seed % 3] *= 1.05;
        const known_result found = found_in(made.vectors, {{longer, 'P'}});
        EXPECT_EQ(found.made.how, verdict::refused) << seed << ": " << found.made.reason;
    }
}

TEST(AKnownCell, IsRefusedIfItIsTwiceOrHalfTheTrueOne)
{
    const matrix3 basis = basis_of(low_cell);
    const simulated_crystal made = crystal_of(low_cell, 30, 3, 0.01, 3);
    for (const matrix3& form : hermite_forms(2)) {
        const known_result twice = found_in(made.vectors, {{cell_of(form.multiply(basis)), 'P'}});
        EXPECT_EQ(twice.made.how, verdict::refused) << twice.made.reason;
        EXPECT_TRUE(twice.made.reason.find("cell of half the volume") != std::string::npos
                    || twice.made.reason.find("explains the reflections") != std::string::npos)
            << twice.made.reason;
    }
    for (const matrix3& form : finer_forms(2)) {
        const known_result half = found_in(made.vectors, {{cell_of(form.multiply(basis)), 'P'}});
        EXPECT_EQ(half.made.how, verdict::refused) << half.made.reason;
    }
}

// Six reflections of the true cell lie on every second point of the doubled one: no more can be known.
TEST(AKnownCell, IsAmbiguousIfFewReflectionsLieOnAPartOfItsPoints)
{
    cell_parameters doubled = low_cell;
    doubled[0] *= 2.0;
    const simulated_crystal made = crystal_of(low_cell, 6, 0, 0.005, 1);
    const known_result found = found_in(made.vectors, {{doubled, 'P'}});
    EXPECT_EQ(found.made.how, verdict::ambiguous) << found.made.reason;
    EXPECT_NE(found.made.reason.find("as well."), std::string::npos) << found.made.reason;
}

TEST(AKnownCell, IsFoundAmongOutliersIfItIsLarge)
{
    int right = 0;
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        const cell_parameters cell = {16.0, 17.5, 20.0, 85.0, 100.0, 95.0};
        const simulated_crystal made = crystal_of(cell, 20, 8, 0.02, seed);
        const known_result found = found_in(made.vectors, {{cell, 'P'}});
        if (found.made.how == verdict::solved
            && same_lattice(found.made.candidates[0].basis, made.basis))
            ++right;
    }
    EXPECT_GE(right, 5);
}

TEST(AKnownCell, IsNamedAmongSeveral)
{
    const simulated_crystal made = crystal_of(low_cell, 20, 8, 0.02, 2);
    cell_parameters longer = low_cell;
    longer[0] = 7.5;
    const known_result found =
        found_in(made.vectors, {{other_cell, 'P'}, {longer, 'P'}, {low_cell, 'P'}});
    EXPECT_EQ(found.made.how, verdict::solved) << found.made.reason;
    EXPECT_EQ(found.made.candidates[0].known, 2);
    EXPECT_TRUE(found.made.reason.starts_with("One orientation of known cell 3 indexes "));
}

// A plane of reflections does not distinguish a lattice from its mirror image in the plane.
TEST(AKnownCell, IsAmbiguousForReflectionsInAPlane)
{
    const matrix3 UB = basis_of(low_cell).inverse();
    std::vector<vector3> vectors;
    for (int h = 0; h <= 3; ++h)
        for (int k = h == 0 ? 1 : -3; k <= 3; ++k) vectors.push_back(UB.multiply(vector3(h, k, 0)));
    const known_result found = found_in(vectors, {{low_cell, 'P'}});
    EXPECT_EQ(found.made.how, verdict::ambiguous) << found.made.reason;
    EXPECT_EQ(found.made.competing, 2U);
}

// The second crystal is the first one rotated, with the same reflections: both are as evident.
TEST(AKnownCell, IsNotInDoubtBecauseOfACrystalThatIsAsEvident)
{
    std::vector<vector3> vectors = crystal_of(low_cell, 20, 0, 0.01, 6).vectors;
    for (std::size_t i = 0; i < 20; ++i)
        vectors.push_back(rotation_by({1.0, 0.3, -0.5}).multiply(vectors[i]));
    const known_result found = found_in(vectors, {{low_cell, 'P'}});
    EXPECT_EQ(found.made.how, verdict::solved) << found.made.reason;
    EXPECT_NE(found.made.reason.find("another crystal indexes others."), std::string::npos)
        << found.made.reason;
    ASSERT_GE(found.made.candidates.size(), 2U);
    EXPECT_NEAR(found.made.candidates.back().evidence, found.made.candidates[0].evidence, 1.0);
}

TEST(TheOriginAndRepeatedVectors, DoNotMisleadTheSearch)
{
    std::vector<vector3> vectors = crystal_of(low_cell, 20, 8, 0.02, 2).vectors;
    vectors.emplace_back(0.0, 0.0, 0.0);
    vectors.push_back(vectors[3]);
    EXPECT_EQ(found_in(vectors, {{low_cell, 'P'}}).made.how, verdict::solved);
    vectors.assign(8, vector3(0.1, 0.2, 0.3));
    EXPECT_EQ(found_in(vectors, {{low_cell, 'P'}}).made.how, verdict::refused);
    vectors.assign(8, vector3(0.0, 0.0, 0.0));
    EXPECT_EQ(found_in(vectors, {{low_cell, 'P'}}).made.how, verdict::refused);
    // Far shorter than all points, and far longer than those that are listed.
    for (const double factor : {1e-6, 1e6}) {
        std::vector<vector3> all = crystal_of(low_cell, 20, 0, 0.01, 2).vectors;
        for (vector3& q : all) q *= factor;
        EXPECT_EQ(found_in(all, {{low_cell, 'P'}}).made.how, verdict::refused);
    }
}

TEST(TheWorkOfTheSearch, IsBoundedForAnyListAndCell)
{
    for (const double side : {5.0, 30.0, 150.0})
        for (const std::size_t count : {40U, 2000U}) {
            const cell_parameters cell = {side, 1.1 * side, 1.3 * side, 85.0, 100.0, 95.0};
            const known_result found = found_in(random_vectors(count, count), {{cell, 'P'}});
            EXPECT_EQ(found.made.how, verdict::refused);
            // Twice, the second time with four times as much.
            EXPECT_LE(found.work.choices, 5.0 * most_choices);
            EXPECT_LE(found.work.orientations, 5.0 * most_orientations);
            EXPECT_LE(found.work.refined, 150U);
        }
}

// A list that the search without a cell can solve needs no pairs.
TEST(TheWorkOfTheSearch, IsThatOfTheSearchWithoutACellWhereThatSettlesIt)
{
    const simulated_crystal made = crystal_of({36, 40, 44, 90, 95, 90}, 500, 100, 0.01, 1);
    const known_result found = found_in(made.vectors, {{{36, 40, 44, 90, 95, 90}, 'P'}});
    EXPECT_EQ(found.made.how, verdict::solved) << found.made.reason;
    EXPECT_FALSE(found.work.pairs);
    EXPECT_LE(found.work.refined, 20U);
}

TEST(TheSearch, AsksWhetherToStopAndObeys)
{
    const std::vector<vector3> vectors = random_vectors(2000, 7);
    known_limits limits;
    int asked = 0;
    limits.over = [&] {
        ++asked;
        return false;
    };
    const centred_cell cell = {{36.9, 78.95, 78.95, 90, 90, 90}, 'P'};
    EXPECT_FALSE(find_known(vectors, {}, {cell}, limits).made.interrupted);
    EXPECT_GT(asked, 50);
    for (const int allowed : {0, 1, asked / 4, asked / 2, 3 * asked / 4}) {
        int left = allowed;
        std::clock_t stopped = 0;
        limits.over = [&] {
            if (left-- > 0) return false;
            if (left == -1) stopped = std::clock();
            return true;
        };
        const known_result found = find_known(vectors, {}, {cell}, limits);
        const double after = 1e3 * static_cast<double>(std::clock() - stopped) / CLOCKS_PER_SEC;
        EXPECT_TRUE(found.made.interrupted) << allowed;
        EXPECT_NE(found.made.how, verdict::solved) << allowed;
        EXPECT_LT(after, 50.0) << allowed;
    }
}

TEST(TheSearch, GivesTheSameAnswerTwice)
{
    const simulated_crystal made = crystal_of(low_cell, 300, 200, 0.02, 4);
    const known_result one = found_in(made.vectors, {{low_cell, 'P'}});
    const known_result other = found_in(made.vectors, {{low_cell, 'P'}});
    ASSERT_FALSE(one.made.candidates.empty());
    EXPECT_EQ(one.made.candidates[0].evidence, other.made.candidates[0].evidence);
    EXPECT_EQ(one.made.reason, other.made.reason);
}

std::string complaint_of(const centred_cell& cell)
{
    try {
        check_known(cell);
    } catch (const invalid_input& why) {
        return why.what();
    }
    return "";
}

TEST(AKnownCell, MustBeThatOfACrystal)
{
    EXPECT_EQ(complaint_of({low_cell, 'P'}), "");
    EXPECT_NE(complaint_of({{-7, 8, 10, 85, 100, 95}, 'P'}), "");
    EXPECT_NE(complaint_of({low_cell, 'X'}), "");
    EXPECT_NE(complaint_of({{0.7, 8, 10, 85, 100, 95}, 'P'}).find("an axis of 0.7000 angstroms"),
              std::string::npos);
    EXPECT_NE(complaint_of({{7, 8, 1e9, 85, 100, 95}, 'P'}).find("1 to 10000"), std::string::npos);
}

} // namespace

} // namespace torvik::solver
