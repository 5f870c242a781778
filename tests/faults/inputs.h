// Input files for runs under faults.
#pragma once

#include <random>
#include <string>

namespace torvik {

// Gives the list of N reflections of a primitive cubic cell of edge 5: indices from -6 to 6, each
// component wrong by up to 0.02. Seeded by N.
inline std::string cubicreflections(int N)
{
    std::mt19937 generator(static_cast<unsigned>(N));
    const auto draw = [&](int n) {
        return static_cast<int>(generator() % static_cast<unsigned>(2 * n + 1)) - n;
    };
    const auto component = [&] {
        const double exact = draw(6) * 0.2;
        return std::to_string(exact + draw(20) * 0.001) + " ";
    };
    std::string text = "_NumberOfReflections\n" + std::to_string(N) + "\n_Reflections\n";
    for (int i = 0; i < N; ++i) {
        const std::string h = component();
        const std::string k = component();
        text += h + k + component() + "\n";
    }
    return text;
}

// Ends within some milliseconds.
inline std::string quickinput()
{
    return "_ExtentOfTheSearch\n0\n_UserProvidedTestVolumes\n1 125.0\n" + cubicreflections(10);
}

// Would take many minutes: ranking and search go on and on. The first progress line comes at once.
inline std::string longinput()
{
    return "_UserProvidedTestVolumes\n350 350*125.0\n" + cubicreflections(60);
}

// Would take hours, in the periodogram.
inline std::string longperiodogram()
{
    return "_MinMaxVolumeOfPrimitiveCell\n10 1e9\n" + cubicreflections(40);
}

// Gives 128 solutions and their relations, results of more than a megabyte, within 0.2 seconds.
inline std::string muchtowrite()
{
    return "_ExtentOfTheSearch\n2\n_MaxNumberOfSavedBases\n128\n_SaveLePage\n128\n"
           "_SortSolutionsByQualityVsVolume\n3\n_TheMainCriterion\n0.3\n"
           "_UserProvidedTestVolumes\n3 125 375 625\n"
           + cubicreflections(16);
}

inline const std::string withlog = "_CreateLogFile\n1\n";
inline const std::string withlepage = "_SaveLePage\n3\n";

} // namespace torvik
