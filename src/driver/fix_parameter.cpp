#include "driver/fix_parameter.h"

#include "driver/otherglobalvariables.h"
#include "driver/print_stop.h"
#include "driver/recorded_reflections.h"
#include "driver/write_log_file.h"
#include "geometry/getreciprocallatticevectors.h"
#include "numeric/constants.h"
#include "numeric/kernel.h"
#include "search/quality.h"
#include "store/modofsavedbases.h"
#include "text/units.h"
#include "volumes/estimatedvolumes.h"

#include <algorithm>
#include <string>

// Each keyword has a procedure that reads its values, checks them in order (the first that fails
// stops the program), stores them, computes what follows from them and prints the echo line. It
// gives false if the values cannot be read. A null value keeps what was set before; in a list of
// angles it stands for 0.

namespace torvik {

namespace {

bool readone(int& value)
{
    return readinteger(inputlines(), value) == readdone;
}

bool readone(double& value)
{
    return readreals(inputlines(), {&value, 1}) == readdone;
}

bool readtwo(numbered<double, 2>& values)
{
    return readreals(inputlines(), values.element) == readdone;
}

template <class... Fields>
void echo(const Fields&... fields)
{
    writeline(terminalunit, fields...);
}

bool fixangleofkappaaxis()
{
    double angle = otherglobalvariables.angleofkappaaxis;
    if (!readone(angle)) return false;
    otherglobalvariables.angleofkappaaxis = angle;
    echo(" Angle of kappa axis : ", X(30), F(9, 2, angle));
    return true;
}

bool fixlogfile()
{
    int level = write_log_file.log_file_level;
    if (!readone(level)) return false;
    if (level >= 2) print_stop(logtoolarge);
    if (level < 0) print_stop(logtoosmall);
    write_log_file.log_file_level = level;
    echo(" Log file : ", X(47), I(3, level));
    return true;
}

bool fixextent()
{
    int extent = otherglobalvariables.iextentofthesearch;
    if (!readone(extent)) return false;
    if (extent >= 6) print_stop(extenttoolarge);
    if (extent < 0) print_stop(extenttoosmall);
    otherglobalvariables.iextentofthesearch = extent;
    echo(" Extent of search : ", X(40), I(2, extent));
    return true;
}

bool fixfraction()
{
    double fraction = otherglobalvariables.fractionofsupportingreflections;
    if (!readone(fraction)) return false;
    if (fraction > 1.0) print_stop(fractiontoolarge);
    if (fraction < 1e-7) print_stop(fractiontoosmall);
    otherglobalvariables.fractionofsupportingreflections = fraction;
    echo(" Supporting reflections (fraction) : ", X(20), F(5, 3, fraction));
    return true;
}

bool fixmillerindex()
{
    int index = otherglobalvariables.maxallowedmillerindex;
    if (!readone(index)) return false;
    if (index < 4 || index > 100) print_stop(millerindexoutofbounds);
    otherglobalvariables.maxallowedmillerindex = index;
    echo(" The largest allowed Miller index : ", X(23), I(3, index));
    return true;
}

bool fixsavedbases()
{
    int number = modofsavedbases.maxnumberofsavedbases;
    if (!readone(number)) return false;
    if (number >= 129) print_stop(savedbasestoomany);
    if (number < 1) print_stop(savedbasestoofew);
    modofsavedbases.maxnumberofsavedbases = number;
    echo(" Number of solutions to be saved  : ", X(23), I(3, number));
    return true;
}

bool fixvolumelimits()
{
    auto& parameters = otherglobalvariables;
    numbered<double, 2> limits = {
        {parameters.minvolumeofprimitivecell, parameters.maxvolumeofprimitivecell}};
    if (!readtwo(limits)) return false;
    if (limits(1) < smallestminvolume) print_stop(minvolumetoosmall);
    if (limits(1) > limits(2)) print_stop(minvolumeabovemaxvolume);
    if (limits(2) / limits(1) < 1.5) print_stop(volumeratiotoosmall);
    parameters.minvolumeofprimitivecell = limits(1);
    parameters.maxvolumeofprimitivecell = limits(2);
    parameters.limitsonvolumeofprimitivecell = true;
    echo(" Limits on volume of primitive cell :", F(12, 1, limits(1)), ",", F(12, 1, limits(2)));
    return true;
}

// Keeps the reflections beyond the count zero vectors when a smaller one is given.
void forgetreflectionsbeyond(int N)
{
    for (int i = N + 1; i <= maxreflections; ++i) {
        recorded_reflections.reflections(i) = {};
        recorded_reflections.reflectionmagnitudes(i) = 0.0;
    }
}

bool fixnumberofreflections()
{
    int N = recorded_reflections.numberofreflections;
    if (!readone(N)) return false;
    if (N > maxreflections) print_stop(toomanyreflections);
    if (N < 4) print_stop(toofewreflections);
    recorded_reflections.numberofreflections = N;
    // Deliberate: a fraction that was given before is overwritten.
    otherglobalvariables.fractionofsupportingreflections = std::min(0.5, 12.0 / N);
    forgetreflectionsbeyond(N);
    echo(" Number of reflections : ", X(31), I(6, N));
    return true;
}

enum class goniometer { none, eulerian, kappa };

// Turns three numbers of a list into the vector of reflection i.
void storereflection(goniometer kind, int i, const vector3& numbers)
{
    const auto& parameters = otherglobalvariables;
    vector3& vector = recorded_reflections.reflections(i);
    vector3 angles = numbers; // converted to radians on the way
    switch (kind) {
    case goniometer::none: vector = numbers; break;
    case goniometer::eulerian:
        duisenberg(parameters.wavelength, angles(1), angles(2), angles(3), vector);
        break;
    case goniometer::kappa:
        rlvfromkappageometry(parameters.wavelength, parameters.angleofkappaaxis, angles(1),
                             angles(2), angles(3), vector);
        break;
    }
    recorded_reflections.reflectionmagnitudes(i) = vectormagnitude(vector);
}

// Reads as many reflections as were announced: none if no number was given yet.
bool fixreflections(goniometer kind)
{
    auto& recorded = recorded_reflections;
    if (kind != goniometer::none && otherglobalvariables.wavelength <= 0.0)
        print_stop(wavelengthoutofbounds);
    for (int i = 1; i <= recorded.numberofreflections; ++i) {
        vector3 numbers = {};
        if (kind == goniometer::none) numbers = recorded.reflections(i);
        if (readreals(inputlines(), numbers.element) != readdone) return false;
        storereflection(kind, i, numbers);
    }
    recorded.number_of_trial_vectors = recorded.numberofreflections;
    for (int i = 1; i <= recorded.numberofreflections; ++i) recorded.list_of_trial_vectors(i) = i;
    return true;
}

bool fixlepage()
{
    int number = otherglobalvariables.isave_lepage;
    if (!readone(number)) return false;
    if (number >= 129) print_stop(lepagetoolarge);
    if (number < 0) print_stop(lepagetoosmall);
    otherglobalvariables.isave_lepage = number;
    echo(" Save in LePage.inp : ", X(37), I(3, number));
    return true;
}

bool fixsorting()
{
    int way = otherglobalvariables.sortsolutionsbyqualityvsvolume;
    if (!readone(way)) return false;
    if (way >= 4) print_stop(sortingtoolarge);
    if (way < 0) print_stop(sortingtoosmall);
    otherglobalvariables.sortsolutionsbyqualityvsvolume = way;
    echo(" The way of sorting solutions in output file : ", X(14), I(1, way));
    return true;
}

bool fixmaincriterion()
{
    double criterion = otherglobalvariables.themaincriterion;
    if (!readone(criterion)) return false;
    if (criterion > 0.3) print_stop(criteriontoolarge);
    if (criterion < 0.03) print_stop(criteriontoosmall);
    otherglobalvariables.themaincriterion = criterion;
    echo(" Limit on deviation from integer Miller indices : ", X(7), F(5, 3, criterion));
    return true;
}

bool fixperiodogram()
{
    int type = otherglobalvariables.itypeofperiodogram;
    if (!readone(type)) return false;
    if (type < -4 || type > 4) print_stop(periodogramtypeoutofbounds);
    // Deliberate: a positive type is refused as well.
    if (type != 0 && otherglobalvariables.userprovidedvolumes)
        print_stop(periodogramtypewithuservolumes);
    otherglobalvariables.itypeofperiodogram = type;
    echo(" The parameter TypeOfPeriodogram : ", X(24), I(3, type));
    return true;
}

bool fixtestvolumes()
{
    auto& volume = estimatedvolumes.table_of_estimatedvolumes;
    int& n = estimatedvolumes.number_of_estimatedvolumes;
    // Deliberate: refused before anything is read.
    if (otherglobalvariables.itypeofperiodogram != 0) print_stop(periodogramtypewithuservolumes);
    // Deliberate: count and volumes are one read, so that missing volumes are noticed before a
    // wrong count. Given a second time, the table holds reciprocals, and a null volume keeps one.
    if (readcountandreals(inputlines(), n, volume.element) != readdone) return false;
    if (n <= 0) print_stop(uservolumestoofew);
    if (n > maxestimatedvolumes) print_stop(uservolumestoomany);
    for (int i = 1; i <= n; ++i)
        if (volume(i) < smallestuservolume) print_stop(uservolumetoosmall);
    for (int i = 1; i <= n; ++i) volume(i) = 1.0 / volume(i);
    otherglobalvariables.userprovidedvolumes = true;
    echo(" User provided volumes : ", X(36), L(1, true));
    return true;
}

bool fixwavelength()
{
    double wavelength = otherglobalvariables.wavelength;
    if (!readone(wavelength)) return false;
    if (wavelength > 99999999.0) print_stop(wavelengthoutofbounds);
    if (wavelength <= 0.0) print_stop(wavelengthoutofbounds);
    otherglobalvariables.wavelength = wavelength;
    echo(" Wavelength : ", X(34), F(14, 6, wavelength));
    return true;
}

bool fixweights()
{
    numbered<double, 2> weights = modofsavedbases.weightsforsortingbases;
    if (!readtwo(weights)) return false;
    if (weights(1) < 0.0) print_stop(firstweightnegative);
    if (weights(2) < 0.0) print_stop(secondweightnegative);
    if (weights(1) + weights(2) < machineepsilon) print_stop(weightstoosmall);
    modofsavedbases.weightsforsortingbases = weights;
    echo(" Weights for sorting the bases : ", X(14), F(7, 3, weights(1)), ",", F(7, 3, weights(2)));
    return true;
}

bool fixrankingfunction()
{
    int k = -9; // a null value stands for the default: the type itself is not kept
    if (!readone(k)) return false;
    if (!((-9 <= k && k <= 0) || k == 10)) print_stop(rankingfunctionoutofrange);
    getavonmisestypefunction(k, tabulcos.vonmisesfunctinranking);
    echo(" Type of function for ranking reflections : ", X(15), I(3, k));
    return true;
}

// Gives false for an unknown keyword and for values that cannot be read.
bool fixkeyword(const std::string& keyword)
{
    if (keyword == "_AngleOfKappaAxis") return fixangleofkappaaxis();
    if (keyword == "_CreateLogFile") return fixlogfile();
    if (keyword == "_ExtentOfTheSearch") return fixextent();
    if (keyword == "_FractionOfSupportingReflections") return fixfraction();
    if (keyword == "_MaxAllowedMillerIndex") return fixmillerindex();
    if (keyword == "_MaxNumberOfSavedBases") return fixsavedbases();
    if (keyword == "_MinMaxVolumeOfPrimitiveCell") return fixvolumelimits();
    if (keyword == "_NumberOfReflections") return fixnumberofreflections();
    if (keyword == "_Reflections") return fixreflections(goniometer::none);
    if (keyword == "_ReflectionsThetaPhiChi") return fixreflections(goniometer::eulerian);
    if (keyword == "_ReflectionsThetaPhiKappa") return fixreflections(goniometer::kappa);
    if (keyword == "_SaveLePage") return fixlepage();
    if (keyword == "_SortSolutionsByQualityVsVolume") return fixsorting();
    if (keyword == "_TheMainCriterion") return fixmaincriterion();
    if (keyword == "_TypeOfPeriodogram") return fixperiodogram();
    if (keyword == "_UserProvidedTestVolumes") return fixtestvolumes();
    if (keyword == "_Wavelength") return fixwavelength();
    if (keyword == "_WeightsForSortingBases") return fixweights();
    if (keyword == "_vonMisesTypeFunctionInRanking") return fixrankingfunction();
    return false;
}

// Removes leading and trailing blanks of a keyword of at most 128 characters.
std::string trimmedkeyword(const std::string& text)
{
    const std::string keyword = text.substr(0, 128);
    const std::size_t first = keyword.find_first_not_of(' ');
    if (first == std::string::npos) return "";
    return keyword.substr(first, keyword.find_last_not_of(' ') - first + 1);
}

} // namespace

void fix_parameter(int& flag)
{
    flag = 0;
    // 1., 2.
    stepback(inputlines());
    std::string keyword;
    const bool read = readword(inputlines(), keyword) == readdone;
    // 3. to 6.
    if (!read || !fixkeyword(trimmedkeyword(keyword))) flag = 1;
}

} // namespace torvik
