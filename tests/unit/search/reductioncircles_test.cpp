// Reductions whose passes go in a circle up to the guard.

#include "search/reduction.h"
#include "support/fresh.h"
#include "support/matrices.h"

#include <ctime>

namespace torvik {

namespace {

class ReductionCircle : public fresh {};

// Its reduction comes to a circle of six passes, by rounding: the two short vectors, equal up to
// the last place, change places and signs for ever.
const matrix3 incircles = {
    {{3 * 0.2, -3 * 0.2, 4 * 0.2}, {4 * 0.2, 2 * 0.2, 0.0}, {0.0, -3 * 0.2, 3 * 0.2}}};

// The third vector loses one first vector in each pass: a million passes, all different.
const matrix3 creeping = {{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {1e6 + 0.25, 0.0, 1.0}}};

// The processor time of twenty reductions.
double timeof(const matrix3& M)
{
    const std::clock_t start = std::clock();
    for (int i = 1; i <= 20; ++i) {
        matrix3 basis = M;
        buergerreduction(basis);
    }
    return static_cast<double>(std::clock() - start);
}

} // namespace

TEST_F(ReductionCircle, EndsWithTheBasisOfTheLastPassThatTheGuardAllows)
{
    // Found by carrying out all hundred thousand passes. A round of six shows a pass too few or
    // too many: 100000 = 6 x 16666 + 4.
    matrix3 M = incircles;
    buergerreduction(M);
    const matrix3 expected = {{{0x1.99999999999ap-3, -0x1.9999999999998p-3, -0x1p-52},
                               {-0x1p-52, -0x1p-53, 0x1.99999999999ap-2},
                               {0x1.9999999999998p-2, 0x1.9999999999998p-3, 0x1.99999999999ap-3}}};
    EXPECT_EQ(bitsof(M), bitsof(expected));
}

TEST_F(ReductionCircle, DoesNotCarryOutTheRoundsOfACircle)
{
    // At most a hundredth of the passes is carried out, against all of them.
    EXPECT_LT(timeof(incircles), 0.2 * timeof(creeping));
}

} // namespace torvik
