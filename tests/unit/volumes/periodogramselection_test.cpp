#include "support/child.h"
#include "support/runs.h"
#include "text/units.h"
#include "unit/volumes/periodogramcases.h"
#include "volumes/periodograms.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

namespace torvik {

namespace {

class PeriodogramSelection : public fresh {
protected:
    PeriodogramSelection()
    {
        setfourproducts(2.3, 3.4, 5.7);
        setperiods({0.4, 0.5, 0.7, 0.8, 1.0});
    }
};
class PeriodogramFile : public PeriodogramSelection {};

periodogram empty()
{
    return periodogram(static_cast<std::size_t>(testperiods.number_of_test_periods) + 1, 0.0);
}

periodogram foldings()
{
    periodogram out = empty();
    folding_periodogram(out);
    return out;
}

periodogram rayleighs()
{
    periodogram out = empty();
    rayleigh_periodogram(out);
    return out;
}

periodogram scargles()
{
    periodogram out = empty();
    scargle_periodogram(out);
    return out;
}

periodogram productsofboth()
{
    const periodogram first = rayleighs();
    periodogram out = scargles();
    for (std::size_t i = 0; i < out.size(); ++i) out[i] = first[i] * out[i];
    return out;
}

// Computes the selected periodogram, of which all values are known for so few reflections.
void compute(const std::string& name, periodogram& out)
{
    periodogrambounds bounds;
    computeperiodogram(makefilename(name), alltripleproducts(), bounds);
    out = bounds.least;
}

struct selection {
    std::string line; // what the terminal shows
    periodogram out;
};

selection selected(int type, int extent)
{
    otherglobalvariables.itypeofperiodogram = type;
    otherglobalvariables.iextentofthesearch = extent;
    periodogram out = empty();
    std::string line = printedby([&] { compute("a.idx", out); });
    return {line, out};
}

constexpr const char* foldingline = " Calculating folding periodogram\n";
constexpr const char* rayleighline = " Calculating Rayleigh periodogram\n";
constexpr const char* scargleline = " Calculating Scargle periodogram\n";
constexpr const char* productline = " Calculating Rayleigh x Scargle periodogram\n";

TEST_F(PeriodogramSelection, TypeOneIsFoldingAtEveryExtent)
{
    for (int extent = 0; extent <= 5; ++extent) {
        const selection chosen = selected(1, extent);
        EXPECT_EQ(chosen.line, foldingline) << extent;
        EXPECT_EQ(chosen.out, foldings()) << extent;
    }
}

TEST_F(PeriodogramSelection, TypeTwoIsRayleighAtEveryExtent)
{
    for (int extent = 0; extent <= 5; ++extent) {
        const selection chosen = selected(2, extent);
        EXPECT_EQ(chosen.line, rayleighline) << extent;
        EXPECT_EQ(chosen.out, rayleighs()) << extent;
    }
}

TEST_F(PeriodogramSelection, TypeThreeIsScargleAtEveryExtent)
{
    for (int extent = 0; extent <= 5; ++extent) {
        const selection chosen = selected(3, extent);
        EXPECT_EQ(chosen.line, scargleline) << extent;
        EXPECT_EQ(chosen.out, scargles()) << extent;
    }
}

TEST_F(PeriodogramSelection, TypeFourIsTheProductOfRayleighAndScargleAtEveryExtent)
{
    for (int extent = 0; extent <= 5; ++extent) {
        const selection chosen = selected(4, extent);
        EXPECT_EQ(chosen.line, productline) << extent;
        EXPECT_EQ(chosen.out, productsofboth()) << extent;
    }
}

TEST_F(PeriodogramSelection, TypeZeroWithExtentZeroIsFolding)
{
    const selection chosen = selected(0, 0);
    EXPECT_EQ(chosen.line, foldingline);
    EXPECT_EQ(chosen.out, foldings());
}

TEST_F(PeriodogramSelection, TypeZeroWithExtentOneToFourIsRayleigh)
{
    for (int extent = 1; extent <= 4; ++extent) {
        const selection chosen = selected(0, extent);
        EXPECT_EQ(chosen.line, rayleighline) << extent;
        EXPECT_EQ(chosen.out, rayleighs()) << extent;
    }
}

TEST_F(PeriodogramSelection, TypeZeroWithExtentFiveIsTheProduct)
{
    const selection chosen = selected(0, 5);
    EXPECT_EQ(chosen.line, productline);
    EXPECT_EQ(chosen.out, productsofboth());
}

TEST_F(PeriodogramSelection, TypeAboveFourIsChosenByTheExtentLikeZero)
{
    EXPECT_EQ(selected(5, 0).line, foldingline);
    EXPECT_EQ(selected(9, 2).line, rayleighline);
    EXPECT_EQ(selected(5, 5).line, productline);
}

TEST_F(PeriodogramSelection, FourPeriodogramsDiffer)
{
    // Otherwise the tests above could not tell which one was chosen.
    const std::vector<periodogram> all = {foldings(), rayleighs(), scargles(), productsofboth()};
    for (std::size_t a = 0; a < all.size(); ++a)
        for (std::size_t b = a + 1; b < all.size(); ++b) EXPECT_NE(all[a], all[b]) << a << b;
}

TEST_F(PeriodogramSelection, ProductLogsRayleighBeforeScargle)
{
    write_log_file = {1, logunit};
    const std::string both = writtenby(logunit, [] { selected(4, 2); });
    const std::string first = writtenby(logunit, [] { rayleighs(); });
    const std::string second = writtenby(logunit, [] { scargles(); });
    EXPECT_EQ(both, first + second);
    EXPECT_TRUE(first.starts_with(" Rayleigh periodogram :\n"));
    EXPECT_TRUE(second.starts_with(" Scargle periodogram :\n"));
}

// Computes a periodogram of a negative type in a child, which it ends. Gives the file that it left.
struct filerun {
    childresult child;
    std::string file;
};

filerun fileof(int type, int extent = 2)
{
    const temporaryfolder folder;
    const std::string name = folder.file("crystal.idx");
    filerun run;
    run.child = inchild([&] {
        otherglobalvariables.itypeofperiodogram = type;
        otherglobalvariables.iextentofthesearch = extent;
        periodogram out = empty();
        compute(name, out);
    });
    run.file = readfile(folder.file("crystal_periodogram.res"));
    return run;
}

// The rows of a file for values that the procedures gave.
std::string rowsof(const periodogram& values)
{
    std::string rows;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double P = testperiods.tableoftestperiods(static_cast<int>(i));
        rows += X(1) + F(14, 2, 1.0 / P) + X(2) + EN(15, 5, values[i]) + "\n";
    }
    return rows;
}

constexpr const char* headings = "   Number of periods :           5\n"
                                 "   Cell volume            Periodogram\n";

void expectfile(int type, const char* line, const std::string& title, const periodogram& values)
{
    for (int extent = 0; extent <= 5; ++extent) {
        const filerun run = fileof(type, extent);
        EXPECT_EQ(run.child.status, 0) << extent; // ended, not returned
        EXPECT_EQ(run.child.output, line) << extent;
        EXPECT_EQ(run.child.errors, "") << extent; // no pause
        EXPECT_EQ(run.file, title + headings + rowsof(values)) << extent;
    }
}

TEST_F(PeriodogramFile, TypeMinusOneHoldsTheFoldingPeriodogramAtEveryExtent)
{
    expectfile(-1, foldingline, "        Folding periodogram created by Torvik_03.exe\n",
               foldings());
}

TEST_F(PeriodogramFile, TypeMinusTwoHoldsTheRayleighPeriodogramAtEveryExtent)
{
    expectfile(-2, rayleighline, "        Rayleigh periodogram created by Torvik_03.exe\n",
               rayleighs());
}

TEST_F(PeriodogramFile, TypeMinusThreeHoldsTheScarglePeriodogramAtEveryExtent)
{
    expectfile(-3, scargleline, "        Scargle periodogram created by Torvik_03.exe\n",
               scargles());
}

TEST_F(PeriodogramFile, TypeMinusFourHoldsTheProductAtEveryExtent)
{
    expectfile(-4, productline, "        Rayleigh x Scargle periodogram created by Torvik_03.exe\n",
               productsofboth());
}

TEST_F(PeriodogramFile, RowsShowTheCellVolumeAndTheValue)
{
    setoneproduct(15.0);
    setperiods({0.001, 4.0, 12.0, 24.0, 30.0}); // folded: 1, 0.5, 0.5, 0.25, 0
    EXPECT_EQ(fileof(-1).file, "        Folding periodogram created by Torvik_03.exe\n"
                               "   Number of periods :           5\n"
                               "   Cell volume            Periodogram\n"
                               "        1000.00      1.00000E+00\n"
                               "           0.25    500.00000E-03\n"
                               "           0.08    500.00000E-03\n"
                               "           0.04    250.00000E-03\n"
                               "           0.03      0.00000E+00\n");
}

TEST_F(PeriodogramFile, ExistingFileIsReplaced)
{
    const temporaryfolder folder;
    writefile(folder.file("a_periodogram.res"), std::string(5000, 'x'));
    otherglobalvariables.itypeofperiodogram = -1;
    inchild([&] {
        periodogram out = empty();
        compute("  " + folder.file("a.idx"), out);
    });
    EXPECT_EQ(linesof(readfile(folder.file("a_periodogram.res"))).size(), 8U); // 5 + 3
}

TEST_F(PeriodogramFile, ShortNameLeavesTheSuffixAlone)
{
    const temporaryfolder folder;
    otherglobalvariables.itypeofperiodogram = -1;
    const childresult result = inchild([&] {
        if (chdir(folder.path().c_str()) != 0) std::abort();
        periodogram out = empty();
        compute(" abcd ", out);
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(linesof(readfile(folder.file("_periodogram.res"))).size(), 8U);
}

TEST_F(PeriodogramFile, IsOpenedBeforeThePeriodogramIsComputed)
{
    // A file that cannot be created ends the run before the line of the computation appears.
    otherglobalvariables.itypeofperiodogram = -2;
    const childresult result = inchild([&] {
        periodogram out = empty();
        compute("no_such_folder/a.idx", out);
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, " Error: Cannot write no_such_folder/a_periodogram.res.\n");
}

TEST_F(PeriodogramFile, IsWrittenForTheFourNegativeTypesOnly)
{
    // The types beyond -4..4 cannot come from an input file; they count as 0.
    for (const int type : {0, 1, 4, 5, -5, std::numeric_limits<int>::min()}) {
        const temporaryfolder folder;
        otherglobalvariables.itypeofperiodogram = type;
        const childresult result = inchild([&] {
            periodogram out = empty();
            compute(folder.file("a.idx"), out);
        });
        EXPECT_EQ(result.status, stepreturned) << type;
        EXPECT_NE(access(folder.file("a_periodogram.res").c_str(), F_OK), 0) << type;
    }
}

// A run whose largest triple product is 5. With extent 0 the step q is 0.5, so the DS volumes 1..2
// are covered by N = 1 x 5 / 0.5 = 10 steps of 0.1.
std::string input(int type, const std::string& more = "")
{
    return "_NumberOfReflections\n4\n_Reflections\n1 0 0\n0 1 0\n0 0 1\n5 3 2\n"
           "_MinMaxVolumeOfPrimitiveCell\n1 2\n_ExtentOfTheSearch\n0\n_TypeOfPeriodogram\n"
           + std::to_string(type) + "\n" + more;
}

TEST_F(PeriodogramFile, NegativeTypeEndsTheRunWithTheFileAlone)
{
    const runresult run = runtorvik(input(-1));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    ASSERT_EQ(run.files.size(), 1U); // neither log nor results
    ASSERT_TRUE(run.files.contains("a_periodogram.res"));
    const std::string end = "\n Number of test periods :                                   10\n"
                            " Calculating folding periodogram\n";
    EXPECT_TRUE(run.output.ends_with(end)) << run.output;
}

TEST_F(PeriodogramFile, HasThreeLinesMoreThanPeriods)
{
    const runresult run = runtorvik(input(-1));
    const std::string& file = run.files.at("a_periodogram.res");
    const std::vector<std::string> lines = linesof(file);
    ASSERT_EQ(lines.size(), 14U); // N + 4
    EXPECT_TRUE(file.ends_with("\n"));
    EXPECT_EQ(lines[0], "        Folding periodogram created by Torvik_03.exe");
    EXPECT_EQ(lines[1], "   Number of periods :          11");
    EXPECT_EQ(lines[2], "   Cell volume            Periodogram");
    // 2 t, 1.5 t and t for t = 1, 2, 3, 5: all whole; 1.5, 3, 4.5, 7.5 of which one; all whole.
    EXPECT_EQ(lines[3], "           2.00      1.00000E+00");
    EXPECT_EQ(lines[8], "           1.50    250.00000E-03");
    EXPECT_EQ(lines[13], "           1.00      1.00000E+00");
    const std::vector<std::string> volumes = {"2.00", "1.90", "1.80", "1.70", "1.60", "1.50",
                                              "1.40", "1.30", "1.20", "1.10", "1.00"};
    for (std::size_t i = 0; i < volumes.size(); ++i)
        EXPECT_EQ(lines[3 + i].substr(0, 15), "           " + volumes[i]) << i;
}

TEST_F(PeriodogramFile, LogOfTheEndedRunIsCompleteWithoutTheTrailer)
{
    const runresult run = runtorvik(input(-4, "_CreateLogFile\n1\n"));
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(run.files.size(), 2U);
    const std::string& log = run.files.at("a_idx.log");
    const std::size_t rayleigh = log.find("\n Rayleigh periodogram :\n");
    const std::size_t scargle = log.find("\n\n Scargle periodogram :\n");
    ASSERT_NE(rayleigh, std::string::npos);
    ASSERT_NE(scargle, std::string::npos);
    EXPECT_LT(rayleigh, scargle);
    // The Scargle table is the log's last: title, heading, 11 rows, an empty line.
    EXPECT_EQ(std::count(log.begin() + static_cast<std::ptrdiff_t>(scargle) + 2, log.end(), '\n'),
              14);
    EXPECT_TRUE(log.ends_with("\n\n"));
    EXPECT_EQ(log.find("System time"), std::string::npos);
    EXPECT_EQ(run.output.find("System time"), std::string::npos);
    EXPECT_EQ(log.find("Searching for peaks"), std::string::npos);
}

TEST_F(PeriodogramFile, RunWithoutReflectionsLeavesAFileOfOnePeriod)
{
    // Neither the only period nor its cell volume is a number then; the folding value is 0.
    const runresult run = runtorvik("_TypeOfPeriodogram\n-1\n");
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(run.files.size(), 1U);
    EXPECT_EQ(run.files.at("a_periodogram.res"),
              "        Folding periodogram created by Torvik_03.exe\n"
              "   Number of periods :           1\n"
              "   Cell volume            Periodogram\n"
              "            NaN      0.00000E+00\n");
}

TEST_F(PeriodogramFile, PositiveTypeLetsTheRunGoOn)
{
    const runresult run = runtorvik(input(1));
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(run.files.size(), 1U);
    EXPECT_TRUE(run.files.contains("a_idx.res"));
    EXPECT_NE(run.output.find(foldingline), std::string::npos);
    EXPECT_NE(run.output.find("System time"), std::string::npos);
}

} // namespace

} // namespace torvik
