#include "driver/read_idx_file.h"
#include "search/quality.h"
#include "support/fresh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace torvik {

namespace {

// Gives every parameter a value that is not its default, and calls fix_defaults.
class Defaults : public fresh {
protected:
    Defaults()
    {
        otherglobalvariables = {1.0, 60.0, -4, 4, true, 1.0, 2.0, true, 1.0, 5, 0.3, 3, 128};
        setreflections({{{1.0, 2.0, 3.0}}, {{4.0, 5.0, 6.0}}});
        modofsavedbases.maxnumberofsavedbases = 128;
        modofsavedbases.weightsforsortingbases = {{5.0, 6.0}};
        modofsavedbases.numberofsavedbases = 9;
        write_log_file.log_file_level = 1;
        estimatedvolumes.number_of_estimatedvolumes = 2;
        estimatedvolumes.table_of_estimatedvolumes(1) = 0.25;
        fix_defaults();
    }
};

// The first value is the single-precision number next to 1.54056, the limits are 2 to the power -23
// and the largest single-precision number, as doubles.
TEST_F(Defaults, AreTheTabulatedValues)
{
    const auto& parameters = otherglobalvariables;
    EXPECT_EQ(parameters.wavelength, 1.540560007095337);
    EXPECT_EQ(parameters.wavelength, static_cast<double>(1.54056F));
    EXPECT_EQ(parameters.angleofkappaaxis, 50.0);
    EXPECT_EQ(parameters.itypeofperiodogram, 0);
    EXPECT_EQ(parameters.maxallowedmillerindex, 100);
    EXPECT_FALSE(parameters.limitsonvolumeofprimitivecell);
    EXPECT_EQ(parameters.minvolumeofprimitivecell, 1.0 / 8388608.0);
    EXPECT_EQ(parameters.maxvolumeofprimitivecell,
              static_cast<double>(std::numeric_limits<float>::max()));
    EXPECT_FALSE(parameters.userprovidedvolumes);
    EXPECT_EQ(parameters.fractionofsupportingreflections, 0.5);
    EXPECT_EQ(parameters.iextentofthesearch, 2);
    EXPECT_EQ(parameters.themaincriterion, 0.12);
    EXPECT_EQ(parameters.sortsolutionsbyqualityvsvolume, 0);
    EXPECT_EQ(parameters.isave_lepage, 0);
    EXPECT_EQ(modofsavedbases.maxnumberofsavedbases, 16);
    EXPECT_EQ(modofsavedbases.weightsforsortingbases(1), 0.3);
    EXPECT_EQ(modofsavedbases.weightsforsortingbases(2), 0.7);
    EXPECT_EQ(write_log_file.log_file_level, 0);
}

TEST_F(Defaults, ForgetAllReflections)
{
    const auto& recorded = recorded_reflections;
    EXPECT_EQ(recorded.numberofreflections, 0);
    EXPECT_EQ(recorded.number_of_trial_vectors, 0);
    for (int i = 1; i <= maxreflections; ++i) {
        EXPECT_EQ(recorded.reflectionmagnitudes(i), 0.0) << i;
        for (int j = 1; j <= 3; ++j) EXPECT_EQ(recorded.reflections(i)(j), 0.0) << i;
    }
}

TEST_F(Defaults, LeaveTheTestVolumesUntouched)
{
    EXPECT_EQ(estimatedvolumes.number_of_estimatedvolumes, 2);
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(1), 0.25);
}

// A curve with kappa = -9 is a plateau of nearly 1 that falls to 0 at the phase 0.5; a curve with
// kappa = 9 would be a narrow peak instead, whose weight at a quarter is below a thousandth of the
// largest.
TEST_F(Defaults, TabulateTheRankingCurveOfTypeMinusNine)
{
    const auto& curve = tabulcos.vonmisesfunctinranking;
    rankingcurve expected = {};
    getavonmisestypefunction(-9, expected);
    EXPECT_TRUE(std::ranges::equal(curve.element, expected.element));
    EXPECT_GT(curve(127), 0.99 * curve(0));
}

} // namespace

} // namespace torvik
