#include "driver/print_stop.h"

#include "text/pause.h"
#include "text/units.h"

#include <string_view>

namespace torvik {

namespace {

// Deliberate: the messages call some parameters otherwise than their keywords do, and the fourth
// speaks of a non-negative type where a non-zero one is refused.
constexpr std::string_view messages[] = {
    "The number of reflections exceeds the upper limit.",
    "The number of reflections is smaller than the limit of 4.",
    "The parameter TypeOfPeriodogram out of the bounds [-4,4].",
    "The parameter TypeOfPeriodogram must be non-negative when TestVolumes are UserProvided.",
    "The largest allowed Miller index out of the bounds [4,100].",
    "MinVolumeOfPrimitiveCell is too small.",
    "MinVolumeOfPrimitiveCell is larger than MaxVolumeOfPrimitiveCell.",
    "The ratio (MaxVolumeOfPrimitiveCell/MinVolumeOfPrimitiveCell) is too small.",
    "FractionOfSupportingReflections is too large.",
    "FractionOfSupportingReflections is too small.",
    "Integer for von Mises-type function in ranking is out of range.",
    "Integer for ExtentOfTheSearch is too large.",
    "Integer for ExtentOfTheSearch is too small.",
    "TheMainCriterion is too large.",
    "TheMainCriterion is too small.",
    "WeightsForSortingBases_1 is negative.",
    "WeightsForSortingBases_2 is negative.",
    "WeightsForSortingBases are too small.",
    "Integer for MaxNumberOfSavedBases is too large.",
    "Integer for MaxNumberOfSavedBases is too small.",
    "Integer for SortSolutionsByQualityVsVolume is too large.",
    "Integer for SortSolutionsByQualityVsVolume is too small.",
    "Integer for Save_LePage is too large.",
    "Integer for Save_LePage is too small.",
    "Integer for CreateLogFile is too large.",
    "Integer for CreateLogFile is too small.",
    "The parameter Wavelength out of the bounds.",
    "The number of UserProvidedTestVolumes is too small.",
    "The number of UserProvidedTestVolumes is too large.",
    "Some of UserProvidedTestVolumes are too small.",
};
static_assert(std::size(messages) == uservolumetoosmall);

} // namespace

void print_stop(int code)
{
    writeline(terminalunit);
    writeline(terminalunit);
    writefreeline(terminalunit, "Error: ", messages[code - 1]);
    writeline(terminalunit);
    writeline(terminalunit);
    pauseandstop();
}

} // namespace torvik
