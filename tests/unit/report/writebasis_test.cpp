#include "report/writebasis.h"
#include "text/units.h"
#include "unit/report/reportfolder.h"

#include <string>
#include <vector>

namespace torvik {

namespace {

const std::string byquality = "             Solutions ordered by quality                ";
const std::string byvolume = "           Solutions ordered by cell volume              ";
const std::string relationships = "            Relationships (volume based numbering)";

// The head of the results file of two reflections, with the number of solutions and the way of
// sorting, each in its columns.
std::string head(const std::string& way, const std::string& solutions)
{
    return E + D + "\n" + " Torvik (v. 1.0): Solutions for run.idx\n" + "\n" + D + E
           + " Date : <date>\n" + D
           + " Number of reflections :                                2\n"
             " Min. volume of primitive cell :                      0.0\n"
             " Max. volume of primitive cell :              3.40282E+38\n"
             " User provided volumes :                                F\n"
             " Max. allowed Miller index :                          100\n"
             " Allowed deviation from integer index :             0.120\n"
             " Weights for sorting solutions :               0.30  0.70\n"
             " Extent of the search :                                 2\n"
             " Fraction of supporting reflections :                0.50\n"
             " Max. number of saved solutions :                      16\n"
             " Method of sorting in output file :                    "
           + way + "\n" + " Number of solutions:                                 " + solutions
           + "\n" + D + "\n";
}

// Two reflections, (1,0,0) and (0,1,0): too few for a refit, so that the store keeps its bases.
class ResultsFile : public fresh {
protected:
    workingfolder folder;

    ResultsFile()
    {
        setreflections({{{1.0, 0.0, 0.0}}, {{0.0, 1.0, 0.0}}});
    }

    // Lets the results be written, with a way of sorting; gives what the terminal shows.
    std::string write(int way, const std::string& name = "run.idx")
    {
        otherglobalvariables.sortsolutionsbyqualityvsvolume = way;
        return printedby([&] { writebasis(makefilename(name)); });
    }

    std::string results() const
    {
        return masked(folder.read("run_idx.res"));
    }

    // The titles of the sections and the volumes of the solutions, as they come in the file.
    std::vector<std::string> sequence() const
    {
        std::vector<std::string> found;
        for (const std::string& line : linesof(results())) {
            if (line == byquality || line == byvolume || line == relationships)
                found.push_back(line);
            else if (line.starts_with("  Volume of the cell  :"))
                found.push_back(line.substr(line.find_last_of(' ') + 1));
            else if (line.find("<=>") != std::string::npos)
                found.push_back("pair");
        }
        return found;
    }

    static std::vector<double> storedvolumes()
    {
        std::vector<double> volumes;
        for (int k = 1; k <= modofsavedbases.numberofsavedbases; ++k)
            volumes.push_back(std::fabs(deter(modofsavedbases.savedbases(k))));
        return volumes;
    }

    // The larger the cell, the better: volumes 1, 2 and 3 with qualities 0.5, 1 and 1.5. None of
    // them is a lattice of another.
    static void saveworstfirst()
    {
        fillstore({{diagonal(1.0, 1.0, 1.0), 0.5},
                   {diagonal(1.0, 1.0, 2.0), 1.0},
                   {diagonal(1.0, 1.0, 3.0), 1.5}});
    }
};

using sequenceofthings = std::vector<std::string>;
using volumes = std::vector<double>;

TEST_F(ResultsFile, IsLaidOutWithBothOrdersAndTheRelationships)
{
    // By quality the cell of volume 2 comes first, by volume the cell of volume 1. Both index both
    // reflections; qualities 2 / (2 x 1) and 1 / (2 x 1).
    fillstore({{diagonal(1.0, 1.0, 1.0), 1.0}, {diagonal(1.0, 1.0, 2.0), 2.0}});
    const std::string shown = write(3);
    const std::string opening = "\n"
                                "   Direct basis vectors (in rows) = inverse of UB matrix;\n"
                                "   transforms RL vectors to Miller indices :\n"
                                "              1.00000000    0.00000000    0.00000000\n"
                                "              0.00000000    1.00000000    0.00000000\n";
    const std::string table = "\n"
                              "         |   h   k   l |      Real (hkl)       |  Error\n"
                              + D
                              + "   1  H- |   1   0   0 |   1.00   0.00   0.00  |  0.000\n"
                                "   2  H- |   0   1   0 |   0.00   1.00   0.00  |  0.000\n"
                              + D;
    const std::string ofvolume1 = opening + "              0.00000000    0.00000000    1.00000000\n"
                                  + table
                                  + "    2h and   2H vectors out of   2.    Quality : 0.500\n"
                                    "\n"
                                    "  Primitive cell :\n"
                                    "                           1.000    1.000    1.000\n"
                                    "                          90.00    90.00    90.00\n"
                                    "\n"
                                    "  Volume of the cell  :        1.00\n"
                                    "\n";
    const std::string ofvolume2 = opening + "              0.00000000    0.00000000    2.00000000\n"
                                  + table
                                  + "    2h and   2H vectors out of   2.    Quality : 1.000\n"
                                    "\n"
                                    "  Primitive cell :\n"
                                    "                           1.000    1.000    2.000\n"
                                    "                          90.00    90.00    90.00\n"
                                    "\n"
                                    "  Volume of the cell  :        2.00\n"
                                    "\n";
    EXPECT_EQ(results(), head(" 3", "  2") + byquality + "\n" + D
                             + "  Solution nr   1 out of   2.\n" + ofvolume2 + D
                             + "  Solution nr   2 out of   2.\n" + ofvolume1 + "\n\n" + E + byvolume
                             + "\n" + D + "  Solution nr   1 out of   2.\n" + ofvolume1 + D
                             + "  Solution nr   2 out of   2.\n" + ofvolume2 + "\n\n" + E
                             + relationships + "\n" + D
                             + "    1 <=>   2\n"
                               "\n"
                               "  Basis   1 => Basis   2 = T * Basis   1.\n"
                               "  Transformation matrix T:\n"
                               "              1.00    0.00    0.00\n"
                               "              0.00    1.00    0.00\n"
                               "              0.00    0.00    2.00\n"
                               "\n"
                               "  Volume ratio :      2.00\n"
                               "\n"
                             + D);
    EXPECT_EQ(shown, " Results saved in file : run_idx.res\n"
                     " The first solution :\n"
                     "    Cell volume :                        2.00\n"
                     "    Supporting reflections : h -   2, H -   2\n"
                     "\n");
}

TEST_F(ResultsFile, TitlesEachOrderInFiftySixColumns)
{
    EXPECT_EQ(byquality.size(), 57U); // with the blank that begins a free-format line
    EXPECT_EQ(byvolume.size(), 57U);
    EXPECT_EQ(D.size(), 58U); // a blank, 56 characters and the line end
    EXPECT_EQ(E.size(), 58U);
}

TEST_F(ResultsFile, InWayZeroListsByQuality)
{
    saveworstfirst();
    const std::string shown = write(0);
    EXPECT_EQ(sequence(), (sequenceofthings{byquality, "3.00", "2.00", "1.00"}));
    EXPECT_EQ(storedvolumes(), (volumes{3.0, 2.0, 1.0}));
    EXPECT_EQ(linesof(shown)[2], "    Cell volume :                        3.00");
}

TEST_F(ResultsFile, InWayOneListsByVolumeAndLeavesTheStoreSo)
{
    saveworstfirst();
    const std::string shown = write(1);
    EXPECT_EQ(sequence(), (sequenceofthings{byvolume, "1.00", "2.00", "3.00"}));
    EXPECT_EQ(storedvolumes(), (volumes{1.0, 2.0, 3.0}));
    EXPECT_EQ(linesof(shown)[2], "    Cell volume :                        1.00");
}

TEST_F(ResultsFile, InWayTwoListsByBothAndLeavesTheStoreByQuality)
{
    saveworstfirst();
    const std::string shown = write(2);
    EXPECT_EQ(sequence(), (sequenceofthings{byquality, "3.00", "2.00", "1.00", byvolume, "1.00",
                                            "2.00", "3.00"}));
    EXPECT_EQ(storedvolumes(), (volumes{3.0, 2.0, 1.0}));
    EXPECT_EQ(linesof(shown)[2], "    Cell volume :                        3.00");
}

TEST_F(ResultsFile, InWayThreeAddsTheRelationshipsAndLeavesTheStoreByQuality)
{
    saveworstfirst();
    const std::string shown = write(3);
    EXPECT_EQ(sequence(),
              (sequenceofthings{byquality, "3.00", "2.00", "1.00", byvolume, "1.00", "2.00", "3.00",
                                relationships, "pair", "pair", "pair"}));
    EXPECT_EQ(storedvolumes(), (volumes{3.0, 2.0, 1.0}));
    EXPECT_EQ(linesof(shown)[2], "    Cell volume :                        3.00");
}

TEST_F(ResultsFile, NumbersTheRelationshipsByVolume)
{
    saveworstfirst();
    write(3);
    const std::string file = results();
    const std::string pairs = file.substr(file.find(relationships));
    // 1 is the cell of volume 1 and 3 that of volume 3, whatever their qualities.
    const auto lines = linesof(pairs);
    EXPECT_EQ(lines[13], "    1 <=>   3");
    EXPECT_EQ(lines[15], "  Basis   1 => Basis   3 = T * Basis   1.");
    EXPECT_EQ(lines[21], "  Volume ratio :      3.00");
}

TEST_F(ResultsFile, ShowsOneSummaryOnTheTerminalInEveryWay)
{
    for (int way = 0; way <= 3; ++way) {
        saveworstfirst();
        EXPECT_EQ(linesof(write(way)).size(), 5U) << way;
    }
}

TEST_F(ResultsFile, HoldsOnlyItsHeadForAWayThatDoesNotExist)
{
    saveworstfirst();
    write(4);
    EXPECT_EQ(results(), head(" 4", "  3"));
}

TEST_F(ResultsFile, ExchangesTwoEqualSolutionsAtEverySort)
{
    // Volume 24 and quality 1 both, yet two lattices: T = diag(1, 2/3, 3/2). One sort in way 0,
    // two in way 1, three in ways 2 and 3.
    const matrix3 first = diagonal(2.0, 3.0, 4.0);
    const matrix3 second = diagonal(2.0, 2.0, 6.0);
    const int sorts[] = {1, 2, 3, 3};
    for (int way = 0; way <= 3; ++way) {
        fillstore({{first, 1.0}, {second, 1.0}});
        write(way);
        const bool exchanged = modofsavedbases.savedbases(1)(2, 2) == 2.0;
        EXPECT_EQ(exchanged, sorts[way] % 2 == 1) << way;
    }
}

TEST_F(ResultsFile, ListsTheSmallerOfTwoCellsOfEqualQualityFirst)
{
    fillstore({{diagonal(1.0, 1.0, 3.0), 1.0}, {diagonal(1.0, 1.0, 2.0), 1.0}});
    write(0);
    EXPECT_EQ(sequence(), (sequenceofthings{byquality, "2.00", "3.00"}));
}

TEST_F(ResultsFile, CutsTheStoreToTheNumberOfSolutionsWanted)
{
    saveworstfirst();
    modofsavedbases.maxnumberofsavedbases = 2;
    write(2);
    EXPECT_EQ(sequence(), (sequenceofthings{byquality, "3.00", "2.00", byvolume, "2.00", "3.00"}));
    EXPECT_EQ(modofsavedbases.numberofsavedbases, 2);
    EXPECT_EQ(storedvolumes(), (volumes{3.0, 2.0}));
}

TEST_F(ResultsFile, CutsByQualityEvenWhenItListsByVolume)
{
    saveworstfirst();
    modofsavedbases.maxnumberofsavedbases = 1;
    write(1);
    EXPECT_EQ(sequence(), (sequenceofthings{byvolume, "3.00"})); // not the smallest, but the best
}

TEST_F(ResultsFile, TellsTheNumberOfSolutionsAfterTheCut)
{
    saveworstfirst();
    modofsavedbases.maxnumberofsavedbases = 2;
    write(0);
    const auto lines = linesof(results());
    EXPECT_EQ(lines[18], " Max. number of saved solutions :                       2");
    EXPECT_EQ(lines[20], " Number of solutions:                                   2");
    EXPECT_EQ(lines[25], "  Solution nr   1 out of   2.");
}

TEST_F(ResultsFile, KeepsTheBetterOfTwoDuplicates)
{
    // They are sorted before the later one is left out.
    fillstore({{diagonal(5.0, 6.0, 7.0), 1.0}, {diagonal(-5.0, 6.0, 7.0), 2.0}});
    write(0);
    ASSERT_EQ(modofsavedbases.numberofsavedbases, 1);
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(1), 2.0);
}

TEST_F(ResultsFile, LeavesOutDuplicatesBeforeTheCut)
{
    // The two best are one lattice (the second has its first vector replaced by a + b), so the
    // third is still among two.
    fillstore({{diagonal(1.0, 1.0, 1.0), 3.0},
               {{{{1.0, 1.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}}, 2.0},
               {diagonal(1.0, 1.0, 2.0), 1.0}});
    modofsavedbases.maxnumberofsavedbases = 2;
    write(0);
    EXPECT_EQ(sequence(), (sequenceofthings{byquality, "1.00", "2.00"}));
}

TEST_F(ResultsFile, RefitsTheSolutionsBeforeItListsThem)
{
    // Eight reflections of a cubic cell of edge 2. The stored cell has the edge 2.04 along a, so
    // that indices of 4 and 5 are off by 0.08 and 0.1: within the criterion, not within its half.
    // Noise-free data give the true edge back, to rounding.
    setreflections({{{0.5, 0.0, 0.0}},
                    {{0.0, 0.5, 0.0}},
                    {{0.0, 0.0, 0.5}},
                    {{1.0, 0.5, 0.0}},
                    {{1.5, 0.0, 0.5}},
                    {{2.0, 0.5, 0.5}},
                    {{2.5, 0.5, 1.0}},
                    {{1.0, 1.0, 1.0}}});
    fillstore({{diagonal(2.04, 2.0, 2.0), 0.0}});
    write(0);
    EXPECT_NEAR(modofsavedbases.savedbases(1)(1, 1), 2.0, 1e-14);
    EXPECT_NE(results().find("    8h and   8H vectors out of   8.    Quality : 1.000\n"),
              std::string::npos);
}

TEST_F(ResultsFile, OfNoSolutionIsItsHeadAndTheTitles)
{
    EXPECT_EQ(write(0), " Results saved in file : run_idx.res\n");
    EXPECT_EQ(results(), head(" 0", "  0") + byquality + "\n");
    EXPECT_EQ(write(1), " Results saved in file : run_idx.res\n");
    EXPECT_EQ(results(), head(" 1", "  0") + byvolume + "\n");
    EXPECT_EQ(write(2), " Results saved in file : run_idx.res\n");
    EXPECT_EQ(results(), head(" 2", "  0") + byquality + "\n\n\n" + E + byvolume + "\n");
    EXPECT_EQ(write(3), " Results saved in file : run_idx.res\n");
    EXPECT_EQ(results(), head(" 3", "  0") + byquality + "\n\n\n" + E + byvolume + "\n\n\n" + E
                             + relationships + "\n" + D);
}

TEST_F(ResultsFile, OfOneSolutionEndsWithARuleInsteadOfPairs)
{
    fillstore({{diagonal(1.0, 1.0, 1.0), 1.0}});
    write(3);
    EXPECT_TRUE(results().ends_with("\n" + E + relationships + "\n" + D));
    EXPECT_EQ(sequence(), (sequenceofthings{byquality, "1.00", byvolume, "1.00", relationships}));
}

TEST_F(ResultsFile, ReplacesAnEarlierOneAndLeavesNothingBesideIt)
{
    saveworstfirst();
    write(3);
    modofsavedbases.numberofsavedbases = 0;
    write(0);
    EXPECT_EQ(results(), head(" 0", "  0") + byquality + "\n");
    EXPECT_EQ(folder.count(), 1);
}

TEST_F(ResultsFile, IsNamedAfterTheInput)
{
    EXPECT_EQ(resultsfilename(makefilename("run.idx")), "run_idx.res");
    EXPECT_EQ(resultsfilename(makefilename("sub/run.idx")), "sub/run_idx.res");
    EXPECT_EQ(resultsfilename(makefilename("  run.idx  ")), "run_idx.res");
    EXPECT_EQ(resultsfilename(makefilename("my run.idx")), "my run_idx.res");
    EXPECT_EQ(resultsfilename(makefilename("a.idx")), "a_idx.res");
    // The last four characters go, whatever they are.
    EXPECT_EQ(resultsfilename(makefilename("crystal")), "cry_idx.res");
}

TEST_F(ResultsFile, HasANameFourCharactersLongerThanTheInputs)
{
    EXPECT_EQ(resultsfilename(makefilename("abcd")), "_idx.res");
    EXPECT_EQ(resultsfilename(makefilename("abc")), "_idx.re");
    EXPECT_EQ(resultsfilename(makefilename("ab")), "_idx.r");
    EXPECT_EQ(resultsfilename(makefilename("a")), "_idx.");
    EXPECT_EQ(resultsfilename(makefilename("")), "_idx");
}

TEST_F(ResultsFile, OfANameOfThreeCharactersIsCutToItsLength)
{
    EXPECT_EQ(write(0, "abc"), " Results saved in file : _idx.re\n");
    EXPECT_TRUE(folder.holds("_idx.re"));
    EXPECT_EQ(folder.count(), 1);
    EXPECT_EQ(linesof(folder.read("_idx.re"))[3], " Torvik (v. 1.0): Solutions for abc");
}

TEST_F(ResultsFile, NamesTheInputWithoutItsBlanks)
{
    EXPECT_EQ(write(0, "   run.idx"), " Results saved in file : run_idx.res\n");
    EXPECT_EQ(linesof(results())[3], " Torvik (v. 1.0): Solutions for run.idx");
}

class LogOfTheResults : public ResultsFile {
protected:
    // What writebasis adds to the log.
    std::string logged(int way)
    {
        write_log_file.log_file_level = 1;
        write_log_file.log_file_number = logunit;
        return writtenby(logunit, [&] { write(way); });
    }
};

TEST_F(LogOfTheResults, AnnouncesTheSavingAndTellsEverySort)
{
    const std::string saving = "\n"
                               " ==================================================\n"
                               " Saving results\n"
                               "\n";
    const std::string quality = " Sorting solutions by quality\n";
    const std::string volume = " Sorting solutions by volume\n";
    saveworstfirst();
    EXPECT_EQ(logged(0), saving + quality);
    EXPECT_EQ(logged(1), saving + quality + volume);
    EXPECT_EQ(logged(2), saving + quality + volume + quality);
    EXPECT_EQ(logged(3), saving + quality + volume + quality);
}

TEST_F(LogOfTheResults, TellsTheSortsOfAnEmptyStoreToo)
{
    EXPECT_EQ(linesof(logged(2)).size(), 7U);
}

TEST_F(LogOfTheResults, DoesNotStopTheResultsFromTellingTheNumberOfSolutions)
{
    saveworstfirst();
    logged(0);
    EXPECT_EQ(linesof(results())[20], " Number of solutions:                                   3");
}

} // namespace

} // namespace torvik
