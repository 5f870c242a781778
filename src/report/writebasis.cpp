#include "report/writebasis.h"

#include "driver/auxwritingparam.h"
#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "driver/write_log_file.h"
#include "numeric/constants.h"
#include "report/cellparameters.h"
#include "search/quality.h"
#include "store/finalcheck.h"
#include "store/modofsavedbases.h"
#include "text/units.h"

#include <algorithm>
#include <cmath>

namespace torvik {

namespace {

// How the table of reflections shows one of them.
enum class fit { none, poor, loose, strict };

// One reflection under one solution.
struct indexedreflection {
    vector3 x;    // fractional indices
    double error; // length of the deviation vector
    fit how;
};

// Deliberate: here all limits are excluded, while basisquality includes them.
indexedreflection indexreflection(const matrix3& A, int j)
{
    const auto& parameters = otherglobalvariables;
    const double c = parameters.themaincriterion;
    const vector3 x = transformed(A, recorded_reflections.reflections(j));
    const double q = reflexquality222(x);
    const bool allowed = largestindex(x) <= parameters.maxallowedmillerindex;
    fit how = fit::poor;
    if (!(q < c + c))
        how = fit::none;
    else if (q < 0.5 * c && allowed)
        how = fit::strict;
    else if (q < c && allowed)
        how = fit::loose;
    return {x, reflexquality333(x), how};
}

void writereflection(int j, const indexedreflection& r)
{
    const int unit = resultsunit;
    if (r.how == fit::none) {
        writeline(unit, I(4, j));
        return;
    }
    const vector3& x = r.x;
    const std::string measured =
        joined("|", F(7, 2, x(1)), F(7, 2, x(2)), F(7, 2, x(3)), X(2), "|", X(2), F(5, 3, r.error));
    if (r.how == fit::poor) {
        writeline(unit, I(4, j), X(5), "|", X(13), measured);
        return;
    }
    writeline(unit, I(4, j), X(2), r.how == fit::strict ? "H-" : "-h", X(1), "|", I(4, nint(x(1))),
              I(4, nint(x(2))), I(4, nint(x(3))), X(1), measured);
}

// The letters are those of the results file: h counts the loose fits, H the strict ones.
// Deliberate: the search and the log use them the other way round.
struct supportcounts {
    int h = 0;
    int H = 0;
};

supportcounts writereflections(const matrix3& A)
{
    supportcounts counts;
    for (int j = 1; j <= recorded_reflections.numberofreflections; ++j) {
        const indexedreflection r = indexreflection(A, j);
        if (r.how == fit::strict || r.how == fit::loose) ++counts.h;
        if (r.how == fit::strict) ++counts.H;
        writereflection(j, r);
    }
    return counts;
}

void writebasisvectors(const matrix3& A)
{
    const int unit = resultsunit;
    writefreeline(unit, "  Direct basis vectors (in rows) = inverse of UB matrix;");
    writefreeline(unit, "  transforms RL vectors to Miller indices :");
    for (int i = 1; i <= 3; ++i)
        writeline(unit, X(10), F(14, 8, A(i, 1)), F(14, 8, A(i, 2)), F(14, 8, A(i, 3)));
    writeline(unit);
}

void writecounts(int solution, const supportcounts& counts)
{
    const int N = recorded_reflections.numberofreflections;
    const auto& weights = modofsavedbases.weightsforsortingbases;
    const double quality =
        modofsavedbases.aqualityofsavedbases(solution) / (N * (weights(1) + weights(2)));
    writeline(resultsunit, X(1), I(4, counts.h), "h", " and", I(4, counts.H), "H ",
              "vectors out of", X(1), I(3, N), ".", X(4), "Quality :", F(6, 3, quality));
    writeline(resultsunit);
}

void writecell(const matrix3& A, double volume)
{
    const int unit = resultsunit;
    const auto [length, angle] = cellofbasis(A);
    writeline(unit, X(2), "Primitive cell :");
    writeline(unit, X(23), F(9, 3, length(1)), F(9, 3, length(2)), F(9, 3, length(3)));
    writeline(unit, X(22), F(9, 2, angle(1)), F(9, 2, angle(2)), F(9, 2, angle(3)));
    writeline(unit);
    writeline(unit, X(2), "Volume of the cell  :", F(12, 2, volume));
    writeline(unit);
}

void showfirstsolution(double volume, const supportcounts& counts)
{
    const int unit = terminalunit;
    writeline(unit, X(1), "The first solution :");
    writeline(unit, X(1), "   Cell volume :", X(16), F(12, 2, volume));
    writeline(unit, X(1), "   Supporting reflections : h -", I(4, counts.h), ", H -",
              I(4, counts.H));
    writeline(unit);
}

void writesolution(int i, bool ontheterminal)
{
    const int unit = resultsunit;
    const matrix3& A = modofsavedbases.savedbases(i);
    // 1.
    writefreeline(unit, rule(56, '-'));
    writeline(unit, X(2), "Solution nr ", I(3, i), " out of ",
              I(3, modofsavedbases.numberofsavedbases), ".");
    writeline(unit);
    // 2., 3.
    writebasisvectors(A);
    writefreeline(unit, "        |   h   k   l |      Real (hkl)       |  Error");
    writefreeline(unit, rule(56, '-'));
    // 4., 5.
    const supportcounts counts = writereflections(A);
    writefreeline(unit, rule(56, '-'));
    writecounts(i, counts);
    // 6., 7.
    const double volume = std::fabs(deter(A));
    writecell(A, volume);
    // 8.
    if (ontheterminal) showfirstsolution(volume, counts);
}

// Writes the pair whose larger cell belongs to solution `large`; equal volumes give either name.
void writerelationship(int small, int large)
{
    const int unit = resultsunit;
    const matrix3& As = modofsavedbases.savedbases(small);
    const matrix3& Al = modofsavedbases.savedbases(large);
    matrix3 inverse = {};
    int status = done;
    invmat(As, inverse, hundredtimestiny, status);
    const matrix3 T = matrixproduct(Al, inverse);
    const double ratio = std::fabs(deter(Al)) / std::fabs(deter(As));
    writeline(unit, X(2), "Basis ", I(3, small), " => Basis ", I(3, large), " = T * Basis ",
              I(3, small), ".");
    writeline(unit, X(2), "Transformation matrix T:");
    for (int i = 1; i <= 3; ++i)
        writeline(unit, X(10), F(8, 2, T(i, 1)), F(8, 2, T(i, 2)), F(8, 2, T(i, 3)));
    writeline(unit);
    writeline(unit, X(2), "Volume ratio :", F(10, 2, ratio));
    writeline(unit);
}

void writepair(int i, int j)
{
    const int unit = resultsunit;
    writefreeline(unit, rule(56, '-'));
    writeline(unit, X(2), I(3, i), " <=> ", I(3, j));
    writeline(unit);
    const double Vi = std::fabs(deter(modofsavedbases.savedbases(i)));
    const double Vj = std::fabs(deter(modofsavedbases.savedbases(j)));
    if (Vi >= Vj) // Deliberate: equal volumes take this branch
        writerelationship(j, i);
    else
        writerelationship(i, j);
}

void writequalitytitle()
{
    writefreeline(resultsunit, "            Solutions ordered by quality                ");
}

void writevolumetitle()
{
    writefreeline(resultsunit, "          Solutions ordered by cell volume              ");
}

void writesectionbreak()
{
    writeline(resultsunit);
    writeline(resultsunit);
    writefreeline(resultsunit, rule(56, '='));
}

// Writes both orders, then the relationships if they are wanted. The store is left by quality.
void writebothorders(bool relationships)
{
    writequalitytitle();
    writebasis2(1);
    writesectionbreak();
    writevolumetitle();
    sortsavedbases3(1);
    writebasis2(0);
    if (relationships) {
        writesectionbreak();
        writefreeline(resultsunit, "           Relationships (volume based numbering)");
        writebasisrelationships();
    }
    sortsavedbases3(0);
}

void logsaving()
{
    const int log = write_log_file.log_file_number;
    writeline(log);
    writefreeline(log, rule(50, '='));
    writefreeline(log, "Saving results");
    writeline(log);
}

} // namespace

void writebasis(const inputfilename& filename)
{
    auto& store = modofsavedbases;
    // 1. to 4. Deliberate: the solutions beyond the number to be reported are given up for good.
    if (logging()) logsaving();
    sortsavedbases3(0);
    finalcheckofsimilarity();
    store.numberofsavedbases = std::min(store.numberofsavedbases, store.maxnumberofsavedbases);
    openresfile(filename);
    // 5.
    switch (otherglobalvariables.sortsolutionsbyqualityvsvolume) {
    case 0:
        writequalitytitle();
        writebasis2(1);
        break;
    case 1:
        sortsavedbases3(1);
        writevolumetitle();
        writebasis2(1);
        break;
    case 2: writebothorders(false); break;
    case 3: writebothorders(true); break;
    default: break;
    }
    // 6.
    closeoutput(resultsunit);
}

std::string resultsfilename(const inputfilename& filename)
{
    const std::size_t L = trimmedname(filename).size();
    return outputname(filename, "_idx.res").substr(0, L + 4);
}

void openresfile(const inputfilename& filename)
{
    const int unit = resultsunit;
    // 1., 2.
    const std::string name = resultsfilename(filename);
    writefreeline(terminalunit, "Results saved in file : ", name);
    // 3.
    openoutputbeside(unit, name);
    writefreeline(unit, rule(56, '='));
    writefreeline(unit, rule(56, '-'));
    writeline(unit);
    writefreeline(unit, "Torvik (v. 1.0): Solutions for ", trimmedname(filename));
    writeline(unit);
    writefreeline(unit, rule(56, '-'));
    writefreeline(unit, rule(56, '='));
    // 4.
    auxwritingparam(unit);
}

void writebasis2(int first)
{
    for (int i = 1; i <= modofsavedbases.numberofsavedbases; ++i)
        writesolution(i, first == 1 && i == 1);
}

void writebasisrelationships()
{
    const int N = modofsavedbases.numberofsavedbases;
    for (int i = 1; i <= N - 1; ++i)
        for (int j = i + 1; j <= N; ++j) writepair(i, j);
    writefreeline(resultsunit, rule(56, '-'));
}

} // namespace torvik
