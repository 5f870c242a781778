// The public function as its callers use it.
#include "solver/lattice/relations.h"
#include "solver/lattice/text.h"
#include "support/simulated_twins.h"
#include "torvik/solver.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <ctime>
#include <limits>
#include <thread>

namespace torvik::solver {

namespace {

using namespace std::chrono_literals;

measurement measured(const std::vector<vector3>& vectors)
{
    measurement made;
    for (const vector3& q : vectors) made.vectors.push_back({q.x, q.y, q.z});
    return made;
}

matrix3 internal(const mat3& A)
{
    return {A[0][0], A[0][1], A[0][2], A[1][0], A[1][1], A[1][2], A[2][0], A[2][1], A[2][2]};
}

crystal_request request(std::uint64_t seed, int reflections = 40, int outliers = 8)
{
    crystal_request asked;
    asked.reflections = reflections;
    asked.outliers = outliers;
    asked.noise = 0.01;
    asked.seed = seed;
    return asked;
}

bool is_of(const lattice& found, const matrix3& basis, double within = 0.1)
{
    return same_lattice(internal(found.basis), basis, within);
}

void expect_same(const answer& one, const answer& other)
{
    EXPECT_EQ(one.how, other.how);
    EXPECT_EQ(one.reason, other.reason);
    EXPECT_EQ(one.competing, other.competing);
    EXPECT_EQ(one.lead, other.lead);
    EXPECT_EQ(one.remarks, other.remarks);
    ASSERT_EQ(one.lattices.size(), other.lattices.size());
    ASSERT_EQ(one.candidates.size(), other.candidates.size());
    for (std::size_t i = 0; i < one.lattices.size(); ++i) {
        EXPECT_EQ(one.lattices[i].basis, other.lattices[i].basis);
        EXPECT_EQ(one.lattices[i].covariance, other.lattices[i].covariance);
        EXPECT_EQ(one.lattices[i].evidence, other.lattices[i].evidence);
    }
    ASSERT_EQ(one.reflections.size(), other.reflections.size());
    for (std::size_t i = 0; i < one.reflections.size(); ++i) {
        EXPECT_EQ(one.reflections[i].hkl, other.reflections[i].hkl);
        EXPECT_EQ(one.reflections[i].inlier, other.reflections[i].inlier);
    }
}

TEST(Solving, FindsTheLatticeAndTheIndices)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        const simulated_crystal made = simulated(request(seed));
        const answer found = solve(measured(made.vectors));
        ASSERT_EQ(found.how, verdict::solved) << seed;
        ASSERT_EQ(found.lattices.size(), 1U);
        EXPECT_TRUE(is_of(found.lattices[0], made.basis));
        EXPECT_EQ(found.competing, 1U);
        EXPECT_FALSE(found.interrupted);
        // hkl is right if the basis times it gives the vector again.
        const matrix3 UB = internal(found.lattices[0].basis).inverse();
        ASSERT_EQ(found.reflections.size(), made.vectors.size());
        int indexed = 0;
        for (std::size_t i = 0; i < made.vectors.size(); ++i) {
            const assignment& of = found.reflections[i];
            EXPECT_EQ(of.lattice == 1, of.inlier > 0.5);
            if (of.lattice == 0) {
                EXPECT_EQ(of.hkl, (std::array{0, 0, 0}));
                continue;
            }
            ++indexed;
            const vector3 h(of.hkl[0], of.hkl[1], of.hkl[2]);
            EXPECT_LT((UB.multiply(h) - made.vectors[i]).length(), 6.0 * made.sigma);
        }
        EXPECT_EQ(indexed, found.lattices[0].indexed);
        EXPECT_GE(indexed, 31);
    }
}

TEST(Solving, GivesAReducedRightHandedBasis)
{
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        const answer found = solve(measured(simulated(request(seed)).vectors));
        const matrix3 D = internal(found.lattices.at(0).basis);
        EXPECT_GT(D.determinant(), 0.0);
        EXPECT_LE(row_of(D, 0).length(), row_of(D, 1).length() * (1.0 + 1e-6));
        EXPECT_LE(row_of(D, 1).length(), row_of(D, 2).length() * (1.0 + 1e-6));
    }
}

TEST(Solving, GivesTheSameAnswerTwiceAndInTwoThreads)
{
    const measurement one = measured(simulated(request(3)).vectors);
    const measurement other = measured(simulated(request(4, 60, 20)).vectors);
    const answer first = solve(one);
    const answer second = solve(other);
    answer in_thread;
    answer in_another;
    std::jthread thread([&] { in_thread = solve(one); });
    std::jthread another([&] { in_another = solve(other); });
    thread.join();
    another.join();
    expect_same(first, solve(one));
    expect_same(first, in_thread);
    expect_same(second, in_another);
}

TEST(TheLattice, DoesNotDependOnTheOrderTheSignsOrTheOrientation)
{
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        chance random(seed);
        const simulated_crystal made = simulated(request(seed));
        const answer found = solve(measured(made.vectors));
        ASSERT_EQ(found.how, verdict::solved);
        std::vector<vector3> permuted = made.vectors;
        for (std::size_t i = permuted.size() - 1; i > 0; --i)
            std::swap(permuted[i],
                      permuted[static_cast<std::size_t>(random.whole(0, static_cast<int>(i)))]);
        std::vector<vector3> negated = made.vectors;
        for (vector3& q : negated)
            if (random.whole(0, 1) == 1) q = -1.0 * q;
        const matrix3 rotation = random_rotation(random);
        std::vector<vector3> rotated;
        for (const vector3& q : made.vectors) rotated.push_back(rotation.multiply(q));
        const auto same = [&](const std::vector<vector3>& vectors, const matrix3& basis) {
            const answer other = solve(measured(vectors));
            EXPECT_EQ(other.how, verdict::solved) << seed;
            ASSERT_FALSE(other.lattices.empty());
            EXPECT_TRUE(is_of(other.lattices[0], basis)) << seed;
            // Both refinements end within 1e-4 of the best.
            EXPECT_NEAR(other.lattices[0].evidence, found.lattices[0].evidence, 0.01);
        };
        same(permuted, made.basis);
        same(negated, made.basis);
        same(rotated, made.basis.multiply(rotation.transpose()));
    }
}

TEST(TheLattice, ScalesWithTheUnits)
{
    const simulated_crystal made = simulated(request(6));
    const answer found = solve(measured(made.vectors));
    ASSERT_EQ(found.how, verdict::solved);
    for (const double factor : {0.5, 0.1, 0.01}) { // longer axes: none is below 2.5 angstroms
        std::vector<vector3> scaled_vectors;
        for (const vector3& q : made.vectors) scaled_vectors.push_back(q * factor);
        const answer other = solve(measured(scaled_vectors));
        ASSERT_EQ(other.how, verdict::solved) << factor;
        EXPECT_TRUE(is_of(other.lattices[0], scaled(made.basis, 1.0 / factor)));
        EXPECT_NEAR(other.lattices[0].evidence, found.lattices[0].evidence, 0.01);
        EXPECT_NEAR(other.lattices[0].sigma / factor / found.lattices[0].sigma, 1.0, 1e-3);
        EXPECT_NEAR(other.lattices[0].covariance[4][4] / (factor * factor)
                        / found.lattices[0].covariance[4][4],
                    1.0, 0.01);
    }
}

TEST(AShortAxis, IsBelievedIfTheCallerAllowsIt)
{
    const simulated_crystal made = simulated(request(6));
    std::vector<vector3> nanometres;
    for (const vector3& q : made.vectors) nanometres.push_back(q * 10.0);
    options how;
    for (const lattice& one : solve(measured(nanometres), how).candidates)
        EXPECT_GE(row_of(internal(one.basis), 0).length(), 0.99 * how.shortest_axis);
    how.shortest_axis = 0.25;
    const answer found = solve(measured(nanometres), how);
    EXPECT_EQ(found.how, verdict::solved);
    EXPECT_TRUE(is_of(found.lattices.at(0), scaled(made.basis, 0.1)));
}

TEST(TheLimitsOfTheVolume, AreRespected)
{
    const simulated_crystal made = simulated(request(7));
    const double volume = std::fabs(made.basis.determinant());
    options how;
    how.smallest_volume = 0.9 * volume;
    how.largest_volume = 1.1 * volume;
    const answer found = solve(measured(made.vectors), how);
    EXPECT_EQ(found.how, verdict::solved);
    how.smallest_volume = 1.5 * volume;
    how.largest_volume.reset();
    for (const lattice& one : solve(measured(made.vectors), how).candidates)
        EXPECT_GE(std::fabs(internal(one.basis).determinant()), 1.4 * volume);
}

// Ten times too long, as vectors in 1/nanometre are: every cell of the crystal has axes below the limit, and only
// cells some twenty times as large are left.
TEST(Solve, DoesNotBelieveASupercellOfACellWithAxesBelowTheLimit)
{
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        std::vector<vector3> vectors = simulated(request(seed)).vectors;
        for (vector3& q : vectors) q *= 10.0;
        EXPECT_NE(solve(measured(vectors)).how, verdict::solved) << seed;
    }
}

void expect_refusal(const measurement& wrong, const options& how, const char* sentence)
{
    try {
        (void)solve(wrong, how);
        FAIL() << "no exception: " << sentence;
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), sentence);
    }
}

TEST(InvalidInput, IsRefusedWithASentence)
{
    const measurement good = measured(simulated(request(1)).vectors);
    expect_refusal({}, {}, "There are no reflections.");
    const char* lengths =
        "Intensities, images and normals must be as many as the vectors, or none.";
    measurement wrong = good;
    wrong.intensities.assign(3, 1.0);
    expect_refusal(wrong, {}, lengths);
    wrong = good;
    wrong.images.assign(41, 1);
    expect_refusal(wrong, {}, lengths);
    wrong = good;
    wrong.normals.assign(39, {1.0, 0.0, 0.0});
    expect_refusal(wrong, {}, lengths);
    for (const double bad : {std::nan(""), HUGE_VAL, -HUGE_VAL})
        for (std::size_t i = 0; i < 3; ++i) {
            wrong = good;
            wrong.vectors[17][i] = bad;
            expect_refusal(wrong, {}, "A vector has a component that is not a finite number.");
        }
    const char* volumes = "The limits of the volume must be positive, the smaller first.";
    options how;
    how.smallest_volume = 0.0;
    expect_refusal(good, how, volumes);
    how.smallest_volume = std::nan("");
    expect_refusal(good, how, volumes);
    how.smallest_volume = 200.0;
    how.largest_volume = 100.0;
    expect_refusal(good, how, volumes);
    how = {};
    how.lattices = 0;
    expect_refusal(good, how, "At least one lattice must be looked for.");
}

double processor_seconds()
{
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

// 0.4 s in place of 0.05 s: the machine may have other work, and checks may be built in.
constexpr double soon = 0.4;

TEST(Solving, EndsSoonAfterItsBudgetIsOverAndIsNotSolvedThen)
{
    for (const auto& [reflections, outliers] :
         {std::pair(15, 15), std::pair(64, 60), std::pair(300, 290), std::pair(1500, 1500)}) {
        options how;
        how.budget = 1ms;
        const measurement list = measured(simulated(request(8, reflections, outliers)).vectors);
        const double start = processor_seconds();
        const answer found = solve(list, how);
        EXPECT_LT(processor_seconds() - start, soon) << reflections;
        EXPECT_NE(found.how, verdict::solved) << reflections;
        EXPECT_TRUE(found.interrupted) << reflections;
    }
}

TEST(Solving, EndsSoonAfterAStopIsRequestedAndIsNotSolvedThen)
{
    const measurement list = measured(simulated(request(8, 40, 40)).vectors);
    std::stop_source before;
    before.request_stop();
    const answer at_once = solve(list, {}, {}, before.get_token());
    EXPECT_NE(at_once.how, verdict::solved);
    EXPECT_TRUE(at_once.interrupted);
    std::stop_source later;
    double requested = 0.0;
    std::jthread stopping([&] {
        std::this_thread::sleep_for(20ms);
        requested = processor_seconds();
        later.request_stop();
    });
    const answer found = solve(list, {}, {}, later.get_token());
    const double end = processor_seconds();
    stopping.join();
    EXPECT_LT(end - requested, soon);
    EXPECT_NE(found.how, verdict::solved);
}

// s^2 (H^T H)^-1: ten times the errors give a hundred times the covariance, and the pulls of the elements of UB
// are those of a normal distribution.
TEST(TheCovariance, GrowsWithTheSquareOfTheErrorsAndCoversTheTruth)
{
    crystal_request asked = request(9, 60, 0);
    double before = 0.0;
    for (const double noise : {0.001, 0.01}) {
        asked.noise = noise;
        const answer found = solve(measured(simulated(asked).vectors));
        ASSERT_EQ(found.how, verdict::solved);
        double trace = 0.0;
        for (std::size_t k = 0; k < 9; ++k) {
            EXPECT_GT(found.lattices[0].covariance[k][k], 0.0);
            trace += found.lattices[0].covariance[k][k];
        }
        if (before > 0.0) {
            EXPECT_NEAR(trace / before / 100.0, 1.0, 0.05);
        }
        before = trace;
    }
    double squares = 0.0;
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        asked = request(seed, 40, 0);
        const simulated_crystal made = simulated(asked);
        const answer found = solve(measured(made.vectors));
        ASSERT_EQ(found.how, verdict::solved);
        const lattice& one = found.lattices[0];
        // The true basis in the same setting.
        const matrix3 D = internal(one.basis);
        matrix3 between = D.multiply(made.basis.inverse());
        for (auto& row : between.a)
            for (double& x : row) x = std::round(x);
        const matrix3 off = D.inverse() - between.multiply(made.basis).inverse();
        for (std::size_t k = 0; k < 9; ++k)
            squares += std::pow(off.a[k / 3][k % 3], 2.0) / one.covariance[k][k];
    }
    EXPECT_NEAR(squares / (20 * 9), 1.0, 0.35); // the standard deviation is 0.105
}

TEST(SeveralLattices, AreFoundOneAfterTheOther)
{
    const simulated_crystal first = simulated(request(11, 50, 0));
    crystal_request asked = request(12, 30, 0);
    asked.cell = {6.0, 8.5, 10.0, 95.0, 92.0, 99.0};
    const simulated_crystal second = simulated(asked);
    std::vector<vector3> both = first.vectors;
    both.insert(both.end(), second.vectors.begin(), second.vectors.end());
    options how;
    how.lattices = 3;
    const answer found = solve(measured(both), how);
    ASSERT_EQ(found.how, verdict::solved);
    ASSERT_EQ(found.lattices.size(), 2U);
    EXPECT_TRUE(is_of(found.lattices[0], first.basis));
    EXPECT_TRUE(is_of(found.lattices[1], second.basis));
    int of_first = 0;
    int of_second = 0;
    for (std::size_t i = 0; i < both.size(); ++i) {
        const assignment& of = found.reflections[i];
        if (i < 50 && of.lattice == 1) ++of_first;
        if (i >= 50 && of.lattice == 2) ++of_second;
        if (of.lattice == 0) continue;
        const matrix3 UB =
            internal(found.lattices[static_cast<std::size_t>(of.lattice - 1)].basis).inverse();
        const vector3 h(of.hkl[0], of.hkl[1], of.hkl[2]);
        EXPECT_LT((UB.multiply(h) - both[i]).length(), 0.01);
    }
    EXPECT_GE(of_first, 48);
    EXPECT_GE(of_second, 26);
}

TEST(AShift, IsFoundWithTheLattice)
{
    for (std::uint64_t seed = 1; seed <= 4; ++seed) {
        crystal_request asked = request(seed, 80, 8);
        const matrix3 basis = simulated(asked).basis; // the seed alone decides
        asked.offset = basis.inverse().multiply(vector3(0.2, 0.1, -0.1));
        const simulated_crystal made = simulated(asked);
        const answer found = solve(measured(made.vectors));
        ASSERT_EQ(found.how, verdict::solved) << seed;
        EXPECT_TRUE(is_of(found.lattices[0], made.basis));
        const vec3& shift = found.lattices[0].shift;
        EXPECT_LT((vector3(shift[0], shift[1], shift[2]) - asked.offset).length(), made.sigma)
            << seed;
        // The indices are those of what is left without the shift.
        const matrix3 UB = internal(found.lattices[0].basis).inverse();
        for (std::size_t i = 0; i < made.vectors.size(); ++i) {
            const assignment& of = found.reflections[i];
            if (of.lattice == 0) continue;
            const vector3 h(of.hkl[0], of.hkl[1], of.hkl[2]);
            EXPECT_LT((UB.multiply(h) + asked.offset - made.vectors[i]).length(), 8.0 * made.sigma);
        }
    }
}

TEST(NoLattice, IsRefused)
{
    for (const int reflections : {10, 20, 40, 100}) {
        const answer found =
            solve(measured(simulated(request(21, reflections, reflections)).vectors));
        EXPECT_EQ(found.how, verdict::refused) << reflections;
        EXPECT_TRUE(found.lattices.empty());
        EXPECT_FALSE(found.reason.empty());
        for (const assignment& of : found.reflections) EXPECT_EQ(of.lattice, 0);
    }
}

TEST(TooFewReflections, AreRefused)
{
    for (const int reflections : {1, 3, 4, 5}) {
        const answer found = solve(measured(simulated(request(22, reflections, 0)).vectors));
        EXPECT_EQ(found.how, verdict::refused) << reflections;
        EXPECT_NE(found.reason.find("reflections"), std::string::npos);
    }
}

TEST(Degenerate, ListsHaveAnAnswerToo)
{
    measurement list;
    list.vectors.assign(20, {0.0, 0.0, 0.0});
    EXPECT_EQ(solve(list).how, verdict::refused);
    list.vectors.assign(20, {0.1, 0.2, 0.3});
    EXPECT_EQ(solve(list).how, verdict::refused);
    for (std::size_t i = 0; i < 20; ++i) list.vectors[i] = {0.1 * static_cast<double>(i), 0.2, 0.0};
    EXPECT_EQ(solve(list).how, verdict::refused);
    for (const double size : {1e-12, 1e12, 1e-150, 1e150}) {
        list = measured(simulated(request(23)).vectors);
        for (vec3& q : list.vectors)
            for (double& x : q) x *= size;
        options how;
        how.budget = 200ms;
        EXPECT_NO_THROW((void)solve(list, how)) << size;
    }
}

TEST(Progress, IsReportedInSentences)
{
    std::vector<std::string> sentences;
    const measurement list = measured(simulated(request(1)).vectors);
    (void)solve(list, {}, [&](const std::string& text) { sentences.push_back(text); });
    ASSERT_FALSE(sentences.empty());
    for (const std::string& text : sentences) EXPECT_EQ(text.back(), '.');
}

TEST(TheCrystalsOfATwin, AreCountedInTheEvidence)
{
    twin_request asked;
    asked.seed = 2;
    const simulated_twin made = simulated(asked);
    const answer found = solve(measured(made.vectors));
    ASSERT_EQ(found.how, verdict::solved);
    ASSERT_EQ(found.lattices[0].further.size(), 1U);
    for (const matrix3& basis : made.bases)
        EXPECT_TRUE(is_of(found.lattices[0], basis, 0.15)
                    || same_lattice(internal(found.lattices[0].further[0]), basis, 0.15));
}

} // namespace

} // namespace torvik::solver
