#include "equivalence/randominputs.h"

#include "truth/crystals.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace torvik {

namespace {

constexpr double wavelength = 0.71073;
constexpr double kappaaxis = 50.0;

bool onein(int n, randomnumbers& random)
{
    return random.whole(1, n) == 1;
}

std::string text(double x)
{
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, " %.17g", x);
    return buffer;
}

std::string keyword(const char* name, int value)
{
    return std::string(name) + "\n" + std::to_string(value) + "\n";
}

std::string keyword(const char* name, double first, double second)
{
    return std::string(name) + "\n" + text(first) + text(second) + "\n";
}

// The reflections of a run and the cell volume to look for.
struct measurement {
    std::vector<vector3> reflections;
    double volume = 100.0;
};

measurement ofacrystal(int n, randomnumbers& random)
{
    experiment asked;
    asked.lattice = latticetypes[static_cast<std::size_t>(random.whole(0, 16))];
    asked.volume = random.between(80.0, 800.0);
    asked.reflections = n;
    asked.noise = onein(3, random) ? 0.0 : random.between(0.0, 0.03);
    asked.wrong = n >= 8 && onein(2, random) ? random.between(0.0, 0.3) : 0.0;
    return {samplefor(asked, random).reflections, asked.volume};
}

// Whole multiples of powers of two: sums and products of them are exact, so that volumes, lengths
// and qualities tie to the bit.
measurement ofanexactlattice(int n, randomnumbers& random)
{
    matrix3 R = identity();
    if (onein(2, random)) R = {{{0.0, 1.0, 1.0}, {1.0, 0.0, 1.0}, {1.0, 1.0, 0.0}}};
    if (onein(3, random)) R(3, 3) *= 0.5;
    const double edge = 0.125;
    measurement made = {{}, 1.0 / (edge * edge * edge * std::fabs(deter(R)))};
    for (int i = 0; i < n; ++i) {
        vector3 v = {};
        for (int k = 1; k <= 3; ++k)
            for (int row = 1; row <= 3; ++row) v(k) += edge * random.whole(-2, 2) * R(row, k);
        made.reflections.push_back(v);
    }
    return made;
}

measurement ofnothing(int n, randomnumbers& random)
{
    measurement made = {{}, random.between(80.0, 800.0)};
    for (int i = 0; i < n; ++i)
        made.reflections.push_back(
            {{random.between(-0.3, 0.3), random.between(-0.3, 0.3), random.between(-0.3, 0.3)}});
    return made;
}

// In one plane, or nearly so: triple products vanish, or are rounding errors.
measurement inaplane(int n, randomnumbers& random)
{
    measurement made = ofacrystal(n, random);
    const bool exactly = onein(2, random);
    for (vector3& v : made.reflections) v(3) = exactly ? 0.0 : v(1) + 0.3 * v(2);
    return made;
}

measurement measured(int n, randomnumbers& random)
{
    switch (random.whole(1, 10)) {
    case 1:
    case 2: return ofanexactlattice(n, random);
    case 3: return ofnothing(n, random);
    case 4: return inaplane(n, random);
    default: return ofacrystal(n, random);
    }
}

// Replaces some reflections by mates of others, or by zero.
void spoil(std::vector<vector3>& reflections, randomnumbers& random)
{
    const int last = static_cast<int>(reflections.size()) - 1;
    for (int many = random.whole(1, 3); many > 0; --many) {
        const vector3 v = reflections[static_cast<std::size_t>(random.whole(0, last))];
        vector3& changed = reflections[static_cast<std::size_t>(random.whole(0, last))];
        switch (random.whole(1, 3)) {
        case 1: changed = v; break;
        case 2: changed = {{-v(1), -v(2), -v(3)}}; break;
        default: changed = {}; break;
        }
    }
}

std::string listed(const std::vector<vector3>& reflections, randomnumbers& random)
{
    const int kind = random.whole(1, 4); // as angles in half of the inputs
    std::string list = "_Wavelength\n" + text(wavelength) + "\n";
    list += "_AngleOfKappaAxis\n" + text(kappaaxis) + "\n";
    list += keyword("_NumberOfReflections", static_cast<int>(reflections.size()));
    list += kind == 1   ? "_ReflectionsThetaPhiChi\n"
            : kind == 2 ? "_ReflectionsThetaPhiKappa\n"
                        : "_Reflections\n";
    for (const vector3& v : reflections) {
        const bool zero = vectormagnitude(v) == 0.0; // has no angles but theta
        vector3 line = v;
        if (kind == 1 && !zero) line = eulerianangles(v, wavelength);
        if (kind == 2 && !zero) line = kappaangles(v, wavelength, kappaaxis);
        for (int k = 1; k <= 3; ++k)
            list += text(std::isfinite(line(k)) ? line(k) : 10.0); // beyond the reach of kappa
        list += "\n";
    }
    return list;
}

std::string uservolumes(int many, double volume, randomnumbers& random)
{
    std::string list = "_UserProvidedTestVolumes\n" + std::to_string(many);
    for (int i = 0; i < many; ++i)
        list += text(volume * (i == 0 ? random.between(0.99, 1.01) : random.between(0.5, 2.0)));
    return list + "\n";
}

// Limits for a periodogram: wide ones where it ends the run, and where the search behind it does not
// take long for so many reflections.
std::string limits(int extent, int n, double volume, randomnumbers& random)
{
    constexpr double widest[6] = {30.0, 20.0, 10.0, 2.0, 1.6, 1.6};
    const bool search = extent <= 3 ? !onein(6, random) : onein(4, random);
    const double most = !search ? 100.0 : n <= 9 ? widest[extent] : 1.6;
    const double ratio = std::exp(random.between(std::log(1.51), std::log(most)));
    const double smallest = volume * random.between(0.99 / std::sqrt(ratio), 0.99);
    std::string range = keyword("_MinMaxVolumeOfPrimitiveCell", smallest, ratio * smallest);
    if (!search || onein(2, random))
        range += keyword("_TypeOfPeriodogram", search ? random.whole(0, 4) : random.whole(-4, -1));
    return range;
}

std::string volumes(int extent, int n, double volume, randomnumbers& random)
{
    if (onein(4, random)) return uservolumes(extent >= 4 ? 1 : random.whole(1, 3), volume, random);
    return limits(extent, n, volume, random);
}

std::string otherkeywords(int n, randomnumbers& random)
{
    std::string keywords = keyword("_CreateLogFile", random.whole(0, 1));
    keywords += keyword("_SortSolutionsByQualityVsVolume", random.whole(0, 3));
    if (onein(2, random)) keywords += keyword("_SaveLePage", random.whole(0, 12));
    if (onein(2, random)) keywords += keyword("_MaxNumberOfSavedBases", random.whole(1, 128));
    if (onein(3, random)) keywords += keyword("_MaxAllowedMillerIndex", random.whole(4, 100));
    if (onein(3, random))
        keywords += "_TheMainCriterion\n" + text(random.between(0.03, 0.3)) + "\n";
    if (onein(3, random))
        keywords += keyword("_WeightsForSortingBases", random.whole(0, 4) / 4.0, 0.5);
    if (onein(3, random))
        keywords += "_FractionOfSupportingReflections\n"
                    + text(random.between(4.0 / n, std::min(1.0, 12.0 / n))) + "\n";
    if (onein(2, random)) {
        const int type = random.whole(-9, 1);
        keywords += keyword("_vonMisesTypeFunctionInRanking", type == 1 ? 10 : type);
    }
    return keywords;
}

} // namespace

std::string randominput(int extent, int number)
{
    randomnumbers random(static_cast<std::uint64_t>(1000 * extent + number));
    constexpr int most[6] = {40, 30, 20, 14, 9, 8};
    // Few reflections are as many cases as many of them, and cost less.
    const int n = onein(3, random) ? random.whole(4, most[extent]) : random.whole(4, 9);
    measurement made = measured(n, random);
    if (onein(3, random)) spoil(made.reflections, random);
    return keyword("_ExtentOfTheSearch", extent) + listed(made.reflections, random)
           + otherkeywords(n, random) + volumes(extent, n, made.volume, random);
}

} // namespace torvik
