// torvik-tools import as a user calls it.
#include "formats/resultsfile.h"
#include "readers/reader.h"
#include "solver/lattice/cell.h"

#include "support/runs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace torvik::tools {

namespace {

namespace fs = std::filesystem;

// Runs import in a folder with some files; gives what it says and what is there then.
runresult import(const std::vector<std::string>& arguments, const namedfiles& files)
{
    std::vector<std::string> all = {"import"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return runtorvik({.arguments = all, .input = "", .files = files, .program = TORVIK_TOOLS});
}

// Vectors of a cell of 5, 6 and 7 angstroms, and their intensities.
std::string spots(int most = 3)
{
    std::string text = "x,y,z,intensity\n";
    for (int h = -most; h <= most; ++h)
        for (int k = -most; k <= most; ++k)
            for (int l = 0; l <= most; ++l)
                if (h != 0 || k != 0 || l != 0)
                    text += std::to_string(h / 5.0) + "," + std::to_string(k / 6.0) + ","
                            + std::to_string(l / 7.0) + ","
                            + std::to_string(100 + (7 * h + 11 * k + 13 * l + 200) % 37) + "\n";
    return text;
}

bool holds(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

// A line end in a name would make a keyword of what follows it.
TEST(Import, WritesNoKeywordThatANameHolds)
{
    const std::string name = "a\n_TheMainCriterion\n0.3\n.csv";
    const runresult run = import({name, "-o", "b.idx"}, {{name, spots()}});
    EXPECT_EQ(run.status, 0) << run.errors;
    const std::string& idx = run.files.at("b.idx");
    EXPECT_TRUE(
        idx.starts_with("# From a\\n_TheMainCriterion\\n0.3\\n.csv, by torvik-tools import.\n"))
        << idx;
    EXPECT_FALSE(holds(idx, "\n_TheMainCriterion"));
    EXPECT_TRUE(holds(runtorvik(idx).output, "Cell volume :                      210.00"));
}

// Messages stay on their line, and send nothing to the terminal that it would obey.
TEST(Import, EscapesTheControlCharactersOfANameInMessages)
{
    const std::string name = "a\n\x1B[2J.csv";
    EXPECT_EQ(import({name}, {{name, "word\n"}}).errors.substr(0, 40),
              "Error: a\\n\\x1B[2J.csv looks like none of");
}

TEST(Import, WritesAnInputFileBesideTheMeasurement)
{
    const runresult run = import({"spots.csv"}, {{"spots.csv", spots()}});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(run.output, "spots.csv: 40 of 195 reflections, the strongest of the shorter half. "
                          "Written to spots.idx.\n");
    ASSERT_EQ(run.files.size(), 1U);
    const std::string& idx = run.files.at("spots.idx");
    EXPECT_TRUE(holds(idx, "# From spots.csv"));
    EXPECT_TRUE(holds(idx, "_NumberOfReflections\n40\n_Reflections\n"));
    const runresult torvik = runtorvik(idx);
    EXPECT_TRUE(holds(torvik.output, "Cell volume :                      210.00")) << torvik.output;
}

TEST(Import, WritesToTheStandardOutputWhatIsAskedForThere)
{
    const runresult run = import({"spots.csv", "-o", "-"}, {{"spots.csv", spots()}});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.output.starts_with("# From spots.csv")) << run.output;
    EXPECT_EQ(run.errors, "spots.csv: 40 of 195 reflections, the strongest of the shorter half.\n");
    EXPECT_TRUE(run.files.empty());
}

TEST(Import, WritesKeywordsByTheirNames)
{
    const runresult run =
        import({"spots.csv", "--TheMainCriterion", "0.1", "--vonMisesTypeFunctionInRanking", "-3",
                "--volume", "100", "400", "--WeightsForSortingBases", "0.5", "0.5",
                "--max-reflections", "20", "--FractionOfSupportingReflections", "0.4"},
               {{"spots.csv", spots()}});
    EXPECT_EQ(run.status, 0) << run.errors;
    const std::string& idx = run.files.at("spots.idx");
    EXPECT_TRUE(holds(idx, "_TheMainCriterion\n0.1\n"));
    EXPECT_TRUE(holds(idx, "_vonMisesTypeFunctionInRanking\n-3\n"));
    EXPECT_TRUE(holds(idx, "_MinMaxVolumeOfPrimitiveCell\n100 400\n"));
    EXPECT_TRUE(holds(idx, "_WeightsForSortingBases\n0.5 0.5\n"));
    EXPECT_TRUE(holds(idx, "20\n_FractionOfSupportingReflections\n0.4\n"));
    EXPECT_FALSE(holds(runtorvik(idx).output, "Error"));
}

TEST(Import, RefusesValuesThatTheProgramWouldRefuse)
{
    const runresult run =
        import({"spots.csv", "--TheMainCriterion", "0.5"}, {{"spots.csv", spots()}});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "Error: --TheMainCriterion is 0.5, but the program takes 0.03 to 0.3.\n");
    EXPECT_TRUE(run.files.empty());
}

TEST(Import, EndsWithTwoWhenItIsCalledInAWrongWay)
{
    const namedfiles files = {{"spots.csv", spots()}};
    EXPECT_EQ(import({}, {}).status, 2);
    EXPECT_EQ(import({"spots.csv", "--max-reflections", "1000"}, files).status, 2);
    EXPECT_EQ(import({"spots.csv", "--pick", "best"}, files).status, 2);
    EXPECT_EQ(import({"spots.csv", "--cell-max", "20", "--volume", "1", "9"}, files).status, 2);
    EXPECT_EQ(import({"spots.csv", "--nosuchkeyword", "20"}, files).status, 2);
}

TEST(Import, NamesThePlaceOfAFaultAndWritesNothing)
{
    std::string text = spots();
    text.replace(text.find("\n0.200000"), 9, "\n0.2x0000");
    const runresult run = import({"spots.csv"}, {{"spots.csv", text}});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.errors.starts_with("Error: spots.csv, line ")) << run.errors;
    EXPECT_TRUE(holds(run.errors, "found '0.2x0000'")) << run.errors;
    EXPECT_TRUE(run.files.empty());
}

TEST(Import, TellsOfFilesThatAreNotThere)
{
    const runresult run = import({"nosuch.p4p"}, {});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "Error: Cannot open nosuch.p4p.\n");
}

TEST(Import, KeepsAnExistingFileUnlessForced)
{
    const namedfiles files = {{"spots.csv", spots()}, {"spots.idx", "mine\n"}};
    runresult run = import({"spots.csv"}, files);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "Error: spots.idx exists; --force replaces it.\n");
    run = import({"spots.csv", "--force"}, files);
    EXPECT_EQ(run.status, 0) << run.errors;
}

TEST(Import, NeverOverwritesAnInput)
{
    const std::string idx = "_NumberOfReflections\n4\n_Reflections\n1 0 0\n0 1 0\n0 0 1\n1 1 1\n";
    runresult run = import({"a.idx", "--force", "-o", "./a.idx"}, {{"a.idx", idx}});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "Error: ./a.idx is an input and is not overwritten.\n");
    run = import({"a.idx"}, {{"a.idx", idx}});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.files.count("a_import.idx"), 1U);
}

TEST(Import, AsksForANameThatTheProgramTakes)
{
    const runresult run = import({"spots.csv", "-o", "spots.txt"}, {{"spots.csv", spots()}});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors,
              "Error: The name spots.txt does not end in .idx, as the program asks for.\n");
}

TEST(Import, TakesSeveralFilesAndABadOneDoesNotKeepTheOthers)
{
    const runresult run =
        import({"a.csv", "bad.csv", "b.csv"},
               {{"a.csv", spots()}, {"bad.csv", "1 2 3\n1 2 x\n"}, {"b.csv", spots(2)}});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.files.count("a.idx"), 1U);
    EXPECT_EQ(run.files.count("b.idx"), 1U);
    EXPECT_EQ(run.files.count("bad.idx"), 0U);
    EXPECT_TRUE(holds(run.errors, "Error: bad.csv, line 2")) << run.errors;
    EXPECT_TRUE(holds(run.errors, "1 of 3 files could not be imported.")) << run.errors;
}

TEST(Import, KeepsSeveralFilesApart)
{
    const namedfiles files = {{"a.csv", spots()}, {"a.txt", spots()}};
    const runresult run = import({"a.csv", "a.txt"}, files);
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(holds(run.errors, "a.csv and a.txt would both become a.idx")) << run.errors;
    EXPECT_EQ(import({"a.csv", "a.txt", "-o", "x.idx"}, files).status, 1);
}

TEST(Import, WarnsOfARunThatWillFail)
{
    runresult run = import({"spots.csv", "--max-reflections", "67"}, {{"spots.csv", spots()}});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(holds(run.errors, "Warning: spots.csv: With 67 reflections")) << run.errors;
    EXPECT_TRUE(holds(run.errors, "--max-reflections 66")) << run.errors;
    // and so it does
    const runresult torvik = runtorvik(run.files.at("spots.idx"));
    EXPECT_TRUE(
        holds(torvik.output, "Number of volumes to be tested :                            0"))
        << torvik.output;
    run = import({"spots.csv", "--max-reflections", "66"}, {{"spots.csv", spots()}});
    EXPECT_EQ(run.errors, "");
}

TEST(Import, KeepsAllReflectionsOfAnInputFileAndItsKeywords)
{
    const std::string examples = std::string(TORVIK_SOURCE_DIR) + "/examples/";
    const runresult run = import({"e.idx", "-o", "f.idx"},
                                 {{"e.idx", readfile(examples + "5_kyanite_difficult.idx")}});
    EXPECT_EQ(run.status, 0) << run.errors;
    const std::string& idx = run.files.at("f.idx");
    EXPECT_TRUE(holds(idx, "_NumberOfReflections\n40\n")) << idx;
    EXPECT_TRUE(holds(idx, "_MaxNumberOfSavedBases\n8\n")) << idx;
}

// Of all examples the program finds the same solutions after the import as before.
TEST(ImportedExamples, LeadToTheSameFirstSolution)
{
    const auto volume = [](const std::string& output) {
        const std::string mark = "Cell volume :";
        const std::size_t at = output.find(mark);
        EXPECT_NE(at, std::string::npos) << output;
        return std::stod(output.substr(at + mark.size()));
    };
    for (const char* name : {"1_quartz_vectors", "2_sucrose_euler", "3_diopside_kappa"}) {
        const std::string text =
            readfile(std::string(TORVIK_SOURCE_DIR) + "/examples/" + name + ".idx");
        const runresult run = import({"e.idx", "-o", "f.idx"}, {{"e.idx", text}});
        ASSERT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(volume(runtorvik(run.files.at("f.idx")).output), volume(runtorvik(text).output))
            << name;
    }
}

// Imports a real measurement with the usual choices, runs the program on it, and gives the reduced
// cell of the first solution. The first file is the measurement.
cell_parameters cellfound(const std::vector<std::string>& names,
                          const std::vector<std::string>& options)
{
    namedfiles files;
    for (const std::string& name : names)
        files[name] = readfile(std::string(TORVIK_SHARED_DATA) + "/" + name);
    std::vector<std::string> arguments = names;
    arguments.insert(arguments.end(), {"-o", "a.idx"});
    arguments.insert(arguments.end(), options.begin(), options.end());
    const runresult run = import(arguments, files);
    EXPECT_EQ(run.status, 0) << run.errors;
    const auto written = runtorvik(run.files.at("a.idx")).files;
    const resultsfile results = readresults(textfile("a_idx.res", written.at("a_idx.res")));
    return cell_of(niggli(solutionof(results, 1).basis).basis);
}

void expectcell(const std::vector<std::string>& names, const cell_parameters& known,
                double tolerance, const std::vector<std::string>& options = {})
{
    if (!fs::exists(std::string(TORVIK_SHARED_DATA) + "/" + names.front()))
        GTEST_SKIP() << "there is no file " << names.front();
    const cell_parameters found = cellfound(names, options);
    for (std::size_t i = 0; i < 6; ++i)
        EXPECT_NEAR(found[i] / known[i], 1.0, tolerance) << "parameter " << i + 1;
}

// The known cells are those of the publications, or of their data; all are reduced as they stand.
TEST(ARealMeasurement, OfSucroseLeadsToItsCell)
{
    expectcell({"sucrose.p4p"}, {7.7133, 8.6559, 10.8082, 90.0, 102.963, 90.0}, 0.005);
}

TEST(ARealMeasurement, WithOutliersLeadsToItsCell)
{
    expectcell({"c15h8o4.p4p"}, {9.2063, 9.5319, 12.5548, 90.0, 90.0, 99.005}, 0.005);
}

TEST(ARealMeasurement, OfACubicGrainLeadsToItsCell)
{
    expectcell({"g3.gve"}, {4.157, 4.157, 4.157, 90.0, 90.0, 90.0}, 0.005);
}

// One frame tells the direction along the beam worse than the others.
TEST(ARealMeasurement, OfAStillOfLysozymeLeadsToItsCell)
{
    expectcell({"lysozyme_still.txt"}, {36.9, 78.95, 78.95, 90.0, 90.0, 90.0}, 0.02);
}

// The distance and the wavelength are those of the files, unrefined.
TEST(ARealMeasurement, OfAProteinByRotationLeadsToItsCellWithTheRightCentre)
{
    expectcell({"SPOT.XDS", "XDS.INP"}, {39.80, 42.45, 42.45, 90.0, 90.0, 90.0}, 0.012,
               {"--centre", "1235.3", "1279.1"});
}

// In the reduced cell gamma is 60 or 120 degrees, as the errors of the other two angles have it.
TEST(ARealMeasurement, OfQuartzByElectronsLeadsToItsCell)
{
    expectcell({"quartz_strong.refl", "quartz_imported.expt"}, {4.91, 4.91, 5.40, 90.0, 90.0, 60.0},
               0.01);
}

TEST(Import, TellsOfGeometryWithoutAMeasurement)
{
    const runresult run = import({"XDS.INP"}, {{"XDS.INP", "NX=1\n"}});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "Error: There is no measurement among the files, only their geometry.\n");
}

} // namespace

} // namespace torvik::tools
