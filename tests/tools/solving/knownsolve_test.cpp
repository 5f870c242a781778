// Cells that are known: the orientations that pairs suggest, and the answer.
#include "simulation/simulate.h"
#include "solver/lattice/deformation.h"
#include "solver/lattice/relations.h"
#include "solving/crystals.h"
#include "solving/knownsolve.h"
#include "solving/orientations.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <exception>
#include <string>
#include <vector>

namespace torvik::tools {

namespace {

const cell_parameters lowcell = {7.0, 8.0, 10.0, 85.0, 100.0, 95.0};

simulationrequest requestof(const cell_parameters& cell, int reflections, int wrong, double noise,
                            std::uint64_t seed)
{
    simulationrequest asked;
    asked.cell = cell;
    asked.reflections = reflections;
    asked.wrong = wrong;
    asked.noise = noise;
    asked.smallestd = 1.0;
    asked.seed = seed;
    return asked;
}

vectorlist listof(const simulated& made)
{
    vectorlist list;
    list.vectors = made.vectors();
    return list;
}

// The budget is beyond what any machine takes.
solveoptions looking(const std::vector<cell_parameters>& cells)
{
    solveoptions options;
    options.known = cells;
    options.budget = 3600.0;
    return options;
}

answer solved(const vectorlist& list, const std::vector<cell_parameters>& cells)
{
    return solveknown(list, looking(cells));
}

// Reflections of no lattice: each in a direction of its own.
vectorlist scattered(vectorlist list, std::uint64_t seed)
{
    randomnumbers random(seed);
    for (vector3& q : list.vectors) q = randomorientation(random).multiply(q);
    return list;
}

TEST(AKnownCell, IsFoundAmongMostlyWrongReflections)
{
    for (std::uint64_t seed = 1; seed <= 12; ++seed) {
        const simulated made = simulate(requestof(lowcell, 20, 12, 0.02, seed));
        const answer found = solved(listof(made), {lowcell});
        EXPECT_EQ(found.how, verdict::solved) << seed << ": " << found.reason;
        EXPECT_TRUE(same_lattice(found.lattices[0].basis, made.truth().primitive)) << seed;
        EXPECT_EQ(found.lattices[0].known, 0);
        EXPECT_TRUE(found.runs.empty());
    }
}

TEST(AKnownCell, IsFoundInAnyLatticeSystem)
{
    int trials = 0;
    for (const latticetype& type : latticetypes) {
        simulationrequest asked = requestof(lowcell, 20, 8, 0.02, 7);
        asked.cell.reset();
        asked.system = type.system;
        asked.centring = type.centring;
        asked.volume = 1500.0;
        const simulated made = simulate(asked);
        const answer found = solved(listof(made), {cell_of(made.truth().primitive)});
        EXPECT_EQ(found.how, verdict::solved) << type.system << " " << type.centring;
        EXPECT_TRUE(same_lattice(found.lattices[0].basis, made.truth().primitive))
            << type.system << " " << type.centring;
        ++trials;
    }
    EXPECT_EQ(trials, 17);
}

TEST(AKnownCell, IsReportedInTheSettingThatWasGiven)
{
    const simulated made = simulate(requestof(lowcell, 30, 6, 0.01, 8));
    const matrix3 skew(1, 0, 0, 2, 1, 0, -1, 1, 1); // of determinant 1: far from reduced
    const cell_parameters given = cell_of(skew.multiply(made.truth().conventional));
    const answer found = solved(listof(made), {given});
    ASSERT_EQ(found.how, verdict::solved);
    EXPECT_GT(found.lattices[0].basis.determinant(), 0.0);
    const cell_parameters cell = cell_of(found.lattices[0].basis);
    for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(cell[k] / given[k], 1.0, 0.005);
    for (std::size_t k = 3; k < 6; ++k) EXPECT_NEAR(cell[k], given[k], 0.4);
    EXPECT_TRUE(same_lattice(found.lattices[0].basis, made.truth().primitive));
}

TEST(AKnownCell, IsTheSameForReflectionsThatAreNegatedOrInAnotherOrder)
{
    const simulated made = simulate(requestof(lowcell, 20, 10, 0.02, 9));
    vectorlist list = listof(made);
    const answer one = solved(list, {lowcell});
    for (std::size_t i = 0; i < list.vectors.size(); i += 2) list.vectors[i] *= -1.0;
    std::swap(list.vectors[0], list.vectors[7]);
    const answer other = solved(list, {lowcell});
    EXPECT_EQ(other.how, verdict::solved);
    EXPECT_NEAR(other.lattices[0].evidence, one.lattices[0].evidence, 1e-3);
    EXPECT_TRUE(same_lattice(one.lattices[0].basis, other.lattices[0].basis));
}

TEST(AKnownCell, IsRefusedForReflectionsOfAnotherCellOrOfNone)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        const simulated made = simulate(requestof(lowcell, 20, 0, 0.02, seed));
        const vectorlist list = listof(made);
        // Of the same volume within a per cent.
        const answer other = solved(list, {{6.5, 8.9, 9.6, 92.0, 96.0, 98.0}});
        EXPECT_EQ(other.how, verdict::refused) << seed << ": " << other.reason;
        EXPECT_EQ(solved(scattered(list, seed), {lowcell}).how, verdict::refused) << seed;
    }
}

// Crystals and cells by chance, one volume for both. In some of these a fit with errors of an eighth of
// the distance of points, or six or seven reflections on every sixth or twelfth point, were better than
// reflections by chance make them.
TEST(AKnownCell, IsRefusedForCellsThatAreSimilarOrShareAPartOfTheirPoints)
{
    for (const int i : {24, 26, 85, 93}) {
        simulationrequest asked = requestof(lowcell, 20, 0, 0.01, 5000U + static_cast<unsigned>(i));
        asked.cell.reset();
        asked.volume = 200.0 * std::pow(50.0, (i + 0.5) / 150.0);
        const simulated made = simulate(asked);
        randomnumbers random(77U + static_cast<unsigned>(i));
        const matrix3 other = randomcell(random, latticetypes[0]);
        const double ratio = std::fabs(made.truth().primitive.determinant() / other.determinant());
        const cell_parameters cell = cell_of(scaled(other, std::cbrt(ratio)));
        const answer found = solved(listof(made), {cell});
        EXPECT_EQ(found.how, verdict::refused) << i << ": " << found.reason;
    }
}

// By more than a cell may differ from another crystal's; its orientation is right.
TEST(AKnownCell, IsRefusedWhereOneLikeItExplainsTheReflections)
{
    const simulated made = simulate(requestof(lowcell, 30, 0, 0.01, 4));
    cell_parameters longer = lowcell;
    longer[0] *= 1.03;
    const answer found = solved(listof(made), {longer});
    EXPECT_EQ(found.how, verdict::refused);
    EXPECT_TRUE(found.reason.starts_with("Not the known cell, but one like it explains the "
                                         "reflections: 7.0"))
        << found.reason;
}

// The plane h k 0 is one of both lattices: what lies in it is not evidence of the third axis.
TEST(AKnownCell, IsRefusedWhereItSharesAPlaneOfPointsAlone)
{
    const matrix3 UB = basis_of(lowcell).inverse();
    vectorlist list;
    for (const int l : {0, 1, 2})
        for (int h = 0; h <= 2; ++h)
            for (int k = h == 0 && l == 0 ? 1 : -2; k <= 2; ++k)
                list.vectors.push_back(UB.multiply(vector3(h, k, l)));
    matrix3 other = UB;
    for (int i = 0; i < 3; ++i) other.a[i][2] = 1.31 * UB.a[i][2] + 0.37 * UB.a[i][0];
    const answer found = solved(list, {cell_of(other.inverse())});
    EXPECT_EQ(found.how, verdict::refused) << found.reason;
}

TEST(AKnownCell, IsRefusedForFewerThanFourReflections)
{
    vectorlist list = listof(simulate(requestof(lowcell, 20, 0, 0.0, 1)));
    list.vectors.resize(3);
    const answer found = solved(list, {lowcell});
    EXPECT_EQ(found.how, verdict::refused);
    EXPECT_EQ(found.reason, "There are 3 reflections; no orientation is sure with fewer than 4.");
}

// The origin has no direction, and one vector twice makes no plane.
TEST(AKnownCell, IsNotLedAstrayByTheOriginOrByVectorsThatAreThereTwice)
{
    const simulated made = simulate(requestof(lowcell, 20, 8, 0.02, 2));
    vectorlist list = listof(made);
    list.vectors.emplace_back(0.0, 0.0, 0.0);
    list.vectors.push_back(list.vectors[3]);
    const answer found = solved(list, {lowcell});
    EXPECT_EQ(found.how, verdict::solved);
    EXPECT_TRUE(same_lattice(found.lattices[0].basis, made.truth().primitive));
    EXPECT_EQ(found.lattices[0].inlier[20], 0.0);
    list.vectors.assign(8, vector3(0.1, 0.2, 0.3));
    EXPECT_EQ(solved(list, {lowcell}).how, verdict::refused);
    list.vectors.assign(8, vector3(0.0, 0.0, 0.0));
    EXPECT_EQ(solved(list, {lowcell}).how, verdict::refused);
    // Far shorter than all points, and far longer than those that are listed.
    for (const double factor : {1e-6, 1e6}) {
        vectorlist scaledlist = listof(made);
        for (vector3& q : scaledlist.vectors) q *= factor;
        EXPECT_EQ(solved(scaledlist, {lowcell}).how, verdict::refused);
    }
}

TEST(AKnownCell, IsNamedAmongSeveral)
{
    const simulated made = simulate(requestof(lowcell, 20, 8, 0.02, 2));
    const cell_parameters other = {6.5, 8.9, 9.6, 92.0, 96.0, 98.0};
    const cell_parameters longer = {7.3, 8.0, 10.0, 85.0, 100.0, 95.0};
    const answer found = solved(listof(made), {other, longer, lowcell});
    EXPECT_EQ(found.how, verdict::solved) << found.reason;
    EXPECT_EQ(found.lattices[0].known, 2);
    EXPECT_EQ(found.given, 3);
    EXPECT_EQ(found.reason.substr(0, 35), "One orientation of known cell 3 tak");
}

// Two that differ by less than they may be off do not compete.
TEST(AKnownCell, MayBeGivenTwiceAsTwoCrystalsHadIt)
{
    const simulated made = simulate(requestof(lowcell, 20, 8, 0.02, 2));
    cell_parameters nearly = lowcell;
    nearly[1] *= 1.002;
    const answer found = solved(listof(made), {lowcell, nearly});
    EXPECT_EQ(found.how, verdict::solved) << found.reason;
}

TEST(AKnownCell, IsAcceptedWithARemarkIfItIsTwiceAsLargeAsItNeedBe)
{
    const simulated made = simulate(requestof(lowcell, 30, 6, 0.01, 3));
    const crystals all = solveall(listof(made), looking({{14.0, 8.0, 10.0, 85.0, 100.0, 95.0}}), 1);
    EXPECT_EQ(all.first.how, verdict::solved);
    ASSERT_EQ(all.remarks.size(), 1U);
    EXPECT_TRUE(all.remarks[0].starts_with("The reflections lie on every second point of the known "
                                           "lattice: a cell of half the volume, 7.0"))
        << all.remarks[0];
    EXPECT_TRUE(solveall(listof(made), looking({lowcell}), 1).remarks.empty());
}

TEST(AKnownCell, IsSaidToBeHalfOfTheTrueOneIfItIs)
{
    const simulated made = simulate(requestof(lowcell, 60, 0, 0.01, 3));
    const crystals all = solveall(listof(made), looking({{3.5, 8.0, 10.0, 85.0, 100.0, 95.0}}), 1);
    EXPECT_EQ(all.first.how, verdict::solved);
    ASSERT_EQ(all.remarks.size(), 1U);
    EXPECT_NE(all.remarks[0].find("have indices in halves"), std::string::npos) << all.remarks[0];
}

// A plane of reflections does not tell a lattice from its mirror image in the plane.
TEST(AKnownCell, IsAmbiguousForReflectionsInAPlane)
{
    const matrix3 UB = basis_of(lowcell).inverse();
    vectorlist list;
    for (int h = 0; h <= 3; ++h)
        for (int k = h == 0 ? 1 : -3; k <= 3; ++k)
            list.vectors.push_back(UB.multiply(vector3(h, k, 0)));
    const answer found = solved(list, {lowcell});
    EXPECT_EQ(found.how, verdict::ambiguous);
    EXPECT_EQ(found.competing, 2U) << found.reason;
    const std::string deciding =
        whatdecidesofknown(found.lattices[0].basis, found.lattices[1].basis);
    EXPECT_TRUE(deciding.starts_with("Measure the reflection ")) << deciding;
    // 0 0 1, or another one out of the plane, of lattice 1.
    EXPECT_TRUE(deciding.ends_with(" angstroms, of lattice 1: lattice 2 has none there."));
    // The plane of a monoclinic cell at right angles to its axis is a mirror of the lattice.
    const cell_parameters monoclinic = {7.0, 8.0, 10.0, 90.0, 100.0, 90.0};
    const matrix3 own = basis_of(monoclinic).inverse();
    list.vectors.clear();
    for (int h = 0; h <= 3; ++h)
        for (int l = h == 0 ? 1 : -3; l <= 3; ++l)
            list.vectors.push_back(own.multiply(vector3(h, 0, l)));
    EXPECT_EQ(solved(list, {monoclinic}).how, verdict::solved);
}

// Those of two crystals of one cell: neither orientation is in doubt because of the other.
TEST(AKnownCell, IsFoundForEachOfTwoCrystals)
{
    simulationrequest asked = requestof(lowcell, 40, 0, 0.01, 6);
    asked.lattices = 2;
    const simulated made = simulate(asked);
    const crystals all = solveall(listof(made), looking({lowcell}), 2);
    EXPECT_EQ(all.first.how, verdict::solved) << all.first.reason;
    ASSERT_EQ(all.each.size(), 2U);
    EXPECT_EQ(all.each[1].found.how, verdict::solved);
    ASSERT_TRUE(all.each[1].turn);
    for (const crystal& one : all.each) {
        const matrix3& basis = one.found.lattices[0].basis;
        EXPECT_TRUE(same_lattice(basis, made.lattices[0].primitive)
                    || same_lattice(basis, made.lattices[1].primitive));
    }
}

// The second crystal is the first one turned, with the same reflections: both are as evident.
TEST(AKnownCell, IsNotInDoubtBecauseOfACrystalThatIsAsEvident)
{
    vectorlist list = listof(simulate(requestof(lowcell, 16, 0, 0.01, 6)));
    for (std::size_t i = 0; i < 16; ++i)
        list.vectors.push_back(rotation_by({1.0, 0.3, -0.5}).multiply(list.vectors[i]));
    const answer found = solved(list, {lowcell});
    EXPECT_EQ(found.how, verdict::solved);
    EXPECT_EQ(found.reason, "One orientation of the known cell takes 50 % of the reflections; "
                            "another crystal takes others.");
    // The other crystal competes with none of those that follow the first, and comes last.
    EXPECT_NEAR(found.lattices.back().evidence, found.lattices[0].evidence, 1.0);
    EXPECT_LT(found.lattices[1].evidence, found.lattices[0].evidence - leadneeded);
}

TEST(AKnownCell, IsOrientedByASingleStill)
{
    const matrix3 UB =
        rotation_by({0.4, -1.1, 0.7}).multiply(basis_of({30, 40, 50, 90, 95, 90}).inverse());
    vectorlist list;
    const vector3 k(0, 0, 1.0); // wavelength 1
    for (int h = -20; h <= 20; ++h)
        for (int i = -20; i <= 20; ++i)
            for (int l = -30; l <= 30; ++l) {
                const vector3 q = UB.multiply(vector3(h, i, l));
                const double off = (q - k).length() - 1.0;
                if (q.length() > 0.05 && q.length() < 0.5 && std::fabs(off) < 2e-4)
                    list.vectors.push_back(q);
            }
    ASSERT_GE(list.vectors.size(), 20U);
    EXPECT_TRUE(ofonestill(list.vectors));
    const answer found = solved(list, {{30, 40, 50, 90, 95, 90}});
    EXPECT_EQ(found.how, verdict::solved) << found.reason;
    EXPECT_TRUE(same_lattice(found.lattices[0].basis, UB.inverse()));
}

TEST(AKnownCell, EndsInTimeAndWhenItIsTold)
{
    const vectorlist list = listof(simulate(requestof({21, 22, 23, 88, 95, 92}, 100, 50, 0.02, 1)));
    solveoptions options = looking({{21, 22, 23, 88, 95, 92}});
    const double enough = options.budget;
    options.budget = 1e-9; // no machine does anything in that time
    const answer late = solveknown(list, options);
    EXPECT_TRUE(late.interrupted);
    EXPECT_EQ(late.how, verdict::refused);
    const std::atomic<bool> stop{true};
    options.budget = enough;
    options.stop = &stop;
    EXPECT_TRUE(solveknown(list, options).interrupted);
    options.stop = nullptr;
    const answer found = solveknown(list, options);
    EXPECT_FALSE(found.interrupted);
    EXPECT_EQ(found.how, verdict::solved);
}

TEST(AKnownCell, IsFoundByTheLimitOfReflectionsInALargeCell)
{
    const simulated made = simulate(requestof({21, 22, 23, 88, 95, 92}, 999, 500, 0.02, 1));
    EXPECT_EQ(solved(listof(made), {{21, 22, 23, 88, 95, 92}}).how, verdict::solved);
}

std::string complaintof(const cell_parameters& cell)
{
    try {
        checkknown(cell);
    } catch (const std::exception& why) {
        return why.what();
    }
    return "";
}

TEST(AKnownCell, MustBeThatOfACrystal)
{
    EXPECT_EQ(complaintof(lowcell), "");
    EXPECT_EQ(complaintof({-7, 8, 10, 85, 100, 95}),
              "The cell has a = -7.0000: a length must be above 0.");
    EXPECT_NE(complaintof({7, 8, 10, 30, 40, 90}).find("belong to no cell"), std::string::npos);
    EXPECT_NE(complaintof({0.7, 8, 10, 85, 100, 95}).find("an axis of 0.7000 angstroms"),
              std::string::npos);
    EXPECT_NE(complaintof({7, 8, 1e9, 85, 100, 95}).find("from 1 to 10000"), std::string::npos);
    // All axes are long, but differences of them are short.
    EXPECT_NE(complaintof({10, 10, 10, 1, 1, 1}).find("an axis of 0.17"), std::string::npos);
}

} // namespace

} // namespace torvik::tools
