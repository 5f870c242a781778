#include "judge.h"
#include "lists.h"
#include "tally.h"

#include "base/linear.h"

#include <gtest/gtest.h>

namespace torvik::study {

namespace {

solver::mat3 for_solver(const matrix3& A)
{
    solver::mat3 rows = {};
    for (int i = 0; i < 3; ++i)
        for (int k = 0; k < 3; ++k)
            rows[static_cast<std::size_t>(i)][static_cast<std::size_t>(k)] = A[i][k];
    return rows;
}

matrix3 right_handed(const matrix3& A)
{
    return A.determinant() > 0.0 ? A : tools::scaled(A, -1.0);
}

// An answer of one lattice.
solver::answer answer_of(solver::verdict how, const matrix3& basis, const known_list& list)
{
    solver::answer found;
    found.how = how;
    solver::lattice one;
    one.basis = for_solver(right_handed(basis));
    one.evidence = 30.0;
    found.lattices = {one};
    found.candidates = {one};
    found.competing = 1;
    found.reflections.resize(list.measured.vectors.size());
    return found;
}

class Judge : public testing::Test {
protected:
    known_list list_ = lattice_list({}, 17);
    matrix3 truth_ = list_.lattices.front();
};

TEST_F(Judge, TakesAnyBasisOfTheTrueLatticeForRight)
{
    const matrix3 T = {1, 2, 0, 0, 1, -1, 0, 0, 1};
    const judgement one =
        judged(list_, answer_of(solver::verdict::solved, T.multiply(truth_), list_));
    EXPECT_EQ(one.how, outcome::right);
    EXPECT_TRUE(one.first);
    EXPECT_TRUE(one.determined);
    EXPECT_EQ(one.failure, "");
}

TEST_F(Judge, TakesSupercellsAndSubcellsForWrong)
{
    for (const matrix3& T :
         {matrix3(2, 0, 0, 0, 1, 0, 0, 0, 1), matrix3(1, 0, 0, 0, 1, 0, 0, 0, 0.5),
          matrix3(1, 0, 0, 0, 1.2, 0, 0, 0, 1)}) {
        const judgement one =
            judged(list_, answer_of(solver::verdict::solved, T.multiply(truth_), list_));
        EXPECT_EQ(one.how, outcome::wrong);
        EXPECT_FALSE(one.first);
    }
}

TEST_F(Judge, SeesWhetherTheTruthIsAmongThoseThatCompete)
{
    const matrix3 other = tools::scaled(truth_, 1.3);
    solver::answer found = answer_of(solver::verdict::ambiguous, other, list_);
    EXPECT_FALSE(judged(list_, found).competes);
    found.candidates.push_back(answer_of(solver::verdict::solved, truth_, list_).lattices.front());
    EXPECT_FALSE(judged(list_, found).competes); // the second does not compete
    found.competing = 2;
    EXPECT_TRUE(judged(list_, found).competes);
    EXPECT_EQ(judged(list_, found).how, outcome::ambiguous);
    EXPECT_FALSE(judged(list_, found).first);
}

TEST_F(Judge, TakesTheLatticeOfEitherCrystalForRight)
{
    list_.lattices.push_back(truth_.multiply(matrix3(0, 1, 0, -1, 0, 0, 0, 0, 1)));
    for (const matrix3& lattice : list_.lattices)
        EXPECT_EQ(judged(list_, answer_of(solver::verdict::solved, lattice, list_)).how,
                  outcome::right);
}

TEST_F(Judge, TakesAFalseCellThatIsAcceptedForWrong)
{
    solver::answer found = answer_of(solver::verdict::solved, truth_, list_);
    list_.cells_are_true = false;
    EXPECT_EQ(judged(list_, found).how, outcome::right);
    found.lattices.front().known = 0;
    EXPECT_EQ(judged(list_, found).how, outcome::wrong);
}

TEST_F(Judge, CountsUndeterminedListsApart)
{
    list_.span = 2;
    list_.spanned = matrix3(1, 0, 0, 0, 1, 0, 0, 0, 0.5).multiply(truth_);
    tally sums;
    for (const matrix3& lattice : {truth_, *list_.spanned, tools::scaled(truth_, 1.3)})
        sums.add(judged(list_, answer_of(solver::verdict::solved, lattice, list_)));
    EXPECT_EQ(sums.lists, 3);
    EXPECT_EQ(sums.undetermined, 3);
    EXPECT_EQ(sums.undetermined_true, 1);
    EXPECT_EQ(sums.undetermined_spanned, 1);
    EXPECT_EQ(sums.undetermined_wrong, 1);
    EXPECT_EQ(sums.right + sums.wrong + sums.ambiguous + sums.refused, 0);
}

TEST_F(Judge, ComparesTheErrorOfACellToThatOfLeastSquares)
{
    // Least squares with true indices by an independent way: UB = (sum q h^T) (sum h h^T)^-1.
    matrix3 qh = tools::scaled(matrix3(), 0.0);
    matrix3 hh = tools::scaled(matrix3(), 0.0);
    for (std::size_t i = 0; i < list_.crystals.size(); ++i) {
        const auto& [x, y, z] = list_.measured.vectors[i];
        tools::add_product(qh, {x, y, z}, vector3(list_.indices[i]));
        tools::add_product(hh, vector3(list_.indices[i]), vector3(list_.indices[i]));
    }
    const matrix3 fitted = qh.multiply(hh.inverse());
    const matrix3 T = {1, 0, 0, 1, 1, 0, 0, -1, 1};
    const auto ratio = [&](const matrix3& basis) {
        return judged(list_, answer_of(solver::verdict::solved, basis, list_)).error_ratio;
    };
    EXPECT_NEAR(ratio(T.multiply(fitted.inverse())).value(), 1.0, 1e-6);
    EXPECT_NEAR(ratio(truth_).value(), 0.0, 1e-6);
    // Twice as far from the truth.
    const matrix3 U = truth_.inverse();
    const matrix3 far = U + tools::scaled(fitted - U, 2.0);
    EXPECT_NEAR(ratio(far.inverse()).value(), 2.0, 1e-6);
}

TEST_F(Judge, NamesContradictions)
{
    solver::answer found = answer_of(solver::verdict::solved, truth_, list_);
    EXPECT_EQ(contradiction_in(found, 40), "");
    EXPECT_NE(contradiction_in(found, 41), "");
    found.interrupted = true;
    EXPECT_NE(contradiction_in(found, 40), "");
    found.interrupted = false;
    found.competing = 2;
    EXPECT_NE(contradiction_in(found, 40), "");
    found.competing = 1;
    found.reflections.front().lattice = 2;
    EXPECT_NE(contradiction_in(found, 40), "");
    found.reflections.front().lattice = 1;
    found.lattices.front().basis[0] = {0.0, 0.0, 0.0};
    EXPECT_NE(contradiction_in(found, 40), "");
}

TEST_F(Judge, HashesWhatAnAnswerSays)
{
    const solver::answer found = answer_of(solver::verdict::solved, truth_, list_);
    solver::answer other = found;
    EXPECT_EQ(hash_of(found), hash_of(other));
    other.reason = "Words do not count.";
    other.lattices.front().basis[1][1] += 1e-12;
    EXPECT_EQ(hash_of(found), hash_of(other));
    other.lattices.front().evidence = std::nextafter(30.0, 31.0);
    EXPECT_NE(hash_of(found), hash_of(other));
    other = found;
    other.reflections.back().hkl = {0, 0, 1};
    EXPECT_NE(hash_of(found), hash_of(other));
    other = found;
    other.how = solver::verdict::refused;
    EXPECT_NE(hash_of(found), hash_of(other));
}

TEST(Hash, IsTheFnv1aOfTheBytes)
{
    // Of eight bytes 0: 14695981039346656037 * 1099511628211^8 modulo 2^64.
    hasher hash;
    hash.add(std::uint64_t{0});
    std::uint64_t product = 14695981039346656037ULL;
    for (int i = 0; i < 8; ++i) product *= 1099511628211ULL;
    EXPECT_EQ(hash.value(), product);
}

TEST(Limits, AreThoseOfWilson)
{
    // At 0 of n the upper limit is z^2 / (n + z^2), z = 1.96: 3.8415 / 13.8415.
    EXPECT_NEAR(wilson(0, 10).high, 0.27753, 1e-4);
    EXPECT_NEAR(wilson(0, 10).low, 0.0, 1e-12);
    EXPECT_NEAR(wilson(10, 10).low, 1.0 - 0.27753, 1e-4);
    // At half of n they are 1/2 -+ z / (2 sqrt(n + z^2)).
    EXPECT_NEAR(wilson(10, 20).low, 0.29930, 1e-4);
    EXPECT_NEAR(wilson(10, 20).high, 0.70070, 1e-4);
}

TEST(Quantiles, AreValuesOfTheList)
{
    EXPECT_EQ(quantile({}, 0.5), 0.0);
    EXPECT_EQ(quantile({3.0}, 0.95), 3.0);
    EXPECT_EQ(quantile({5.0, 1.0, 4.0, 2.0, 3.0}, 0.5), 3.0);
    EXPECT_EQ(quantile({5.0, 1.0, 4.0, 2.0, 3.0}, 1.0), 5.0);
}

} // namespace

} // namespace torvik::study
