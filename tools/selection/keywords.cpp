#include "selection/keywords.h"

#include "base/failure.h"
#include "numeric/constants.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace torvik::tools {

namespace {

constexpr double anything = std::numeric_limits<double>::max();
constexpr double smallestabovezero = std::numeric_limits<double>::denorm_min();
constexpr std::size_t mostvolumes = 350;

constexpr double leastratio = 1.5;

std::string optionof(const keywordrule& rule)
{
    return std::string("--") + rule.name;
}

[[noreturn]] void refuse(const keywordrule& rule, const std::string& value)
{
    throw failure(optionof(rule) + " is " + value + ", but the program takes " + rule.range + ".");
}

double checkedvalue(const keywordrule& rule, const std::string& text)
{
    if (rule.whole) {
        const auto value = wholein(text);
        if (!value) throw failure(optionof(rule) + " asks for a whole number, not '" + text + "'.");
        if (*value < rule.least || *value > rule.most) refuse(rule, text);
        return *value;
    }
    const auto value = numberin(text);
    if (!value || !std::isfinite(*value))
        throw failure(optionof(rule) + " asks for a number, not '" + text + "'.");
    if (*value < rule.least || *value > rule.most) refuse(rule, text);
    return *value;
}

void checkcount(const keywordrule& rule, std::size_t count)
{
    if (rule.values > 0 && count != static_cast<std::size_t>(rule.values))
        throw failure(optionof(rule) + " asks for " + std::to_string(rule.values)
                      + (rule.values == 1 ? " value." : " values."));
    if (rule.values == 0 && (count < 1 || count > mostvolumes))
        throw failure(optionof(rule) + " asks for 1 to " + std::to_string(mostvolumes)
                      + " values.");
}

void checkspecial(const keywordrule& rule, const std::vector<double>& x)
{
    const std::string name = rule.name;
    if (name == "MinMaxVolumeOfPrimitiveCell") {
        if (x[0] > x[1]) throw failure("The smallest volume is above the largest.");
        if (x[1] / x[0] < leastratio)
            throw failure("The largest volume must be at least 1.5 times the smallest. "
                          "--UserProvidedTestVolumes takes volumes that are known better.");
    }
    if (name == "WeightsForSortingBases" && x[0] + x[1] < machineepsilon)
        throw failure("One of the two weights must be above zero.");
    if (name == "vonMisesTypeFunctionInRanking" && x[0] > 0.0 && x[0] != 10.0)
        refuse(rule, std::to_string(static_cast<int>(x[0])));
}

} // namespace

const std::vector<keywordrule>& keywordrules()
{
    static const std::vector<keywordrule> rules = {
        {"AngleOfKappaAxis", "Angle between the axes of kappa and omega, degrees", 1, false,
         -anything, anything, "any number"},
        {"CreateLogFile", "1: write a log", 1, true, 0, 1, "0 or 1"},
        {"ExtentOfTheSearch", "How thoroughly to search", 1, true, 0, 5, "0 to 5"},
        {"FractionOfSupportingReflections",
         "Fraction of the reflections that are combined to trial bases", 1, false, 1e-7, 1.0,
         "1e-7 to 1"},
        {"MaxAllowedMillerIndex", "Largest index", 1, true, 4, 100, "4 to 100"},
        {"MaxNumberOfSavedBases", "Number of solutions", 1, true, 1, 128, "1 to 128"},
        {"MinMaxVolumeOfPrimitiveCell", "The same as --volume", 2, false, smallestminvolume,
         anything, "volumes of 1.1920928955078125e-07 and more"},
        {"SaveLePage", "Number of solutions in LePage.inp", 1, true, 0, 128, "0 to 128"},
        {"SortSolutionsByQualityVsVolume",
         "0: by quality, 1: by volume, 2: both, 3: both and their relations", 1, true, 0, 3,
         "0 to 3"},
        {"TheMainCriterion", "Largest deviation of an index from a whole number", 1, false, 0.03,
         0.3, "0.03 to 0.3"},
        {"TypeOfPeriodogram",
         "1 folding, 2 Rayleigh, 3 Scargle, 4 Rayleigh x Scargle, 0 by the extent; negative: "
         "periodogram only",
         1, true, -4, 4, "-4 to 4"},
        {"UserProvidedTestVolumes", "Volumes to be tested, in place of a periodogram", 0, false,
         smallestuservolume, anything, "volumes of 1.1920928955078125e-05 and more"},
        {"Wavelength", "Wavelength in angstroms", 1, false, smallestabovezero, 99999999.0,
         "numbers above 0, to 99999999"},
        {"WeightsForSortingBases", "Weights of strictly and of loosely indexed reflections", 2,
         false, 0.0, anything, "numbers that are not negative"},
        {"vonMisesTypeFunctionInRanking", "Curve by which vectors are ranked", 1, true, -9, 10,
         "-9 to 0, and 10"},
    };
    return rules;
}

const keywordrule& rulenamed(const std::string& name)
{
    for (const keywordrule& rule : keywordrules())
        if (name == rule.name) return rule;
    throw failure("There is no keyword '" + name + "'.");
}

keyword checkedkeyword(const keywordrule& rule, const std::vector<std::string>& values)
{
    checkcount(rule, values.size());
    std::vector<double> numbers;
    std::string text = rule.values == 0 ? std::to_string(values.size()) + "\n" : "";
    for (std::size_t i = 0; i < values.size(); ++i) {
        numbers.push_back(checkedvalue(rule, values[i]));
        text += (i == 0 ? "" : " ") + values[i];
    }
    checkspecial(rule, numbers);
    return {std::string("_") + rule.name, text};
}

void checktogether(const std::vector<keyword>& keywords)
{
    const keyword* const type = findkeyword(keywords, "_TypeOfPeriodogram");
    if (type == nullptr || findkeyword(keywords, "_UserProvidedTestVolumes") == nullptr) return;
    if (numberin(trimmed(type->values)) != 0.0)
        throw failure(
            "A type of periodogram other than 0 and volumes to be tested exclude each other.");
}

void setkeyword(std::vector<keyword>& keywords, const keyword& one)
{
    std::erase_if(keywords, [&](const keyword& other) { return other.name == one.name; });
    keywords.push_back(one);
}

const keyword* findkeyword(const std::vector<keyword>& keywords, const std::string& name)
{
    const auto found = std::find_if(keywords.begin(), keywords.end(),
                                    [&](const keyword& one) { return one.name == name; });
    return found == keywords.end() ? nullptr : &*found;
}

} // namespace torvik::tools
