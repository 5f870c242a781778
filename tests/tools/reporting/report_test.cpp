// What the page of a run is filled with.
#include "base/failure.h"
#include "base/textfile.h"
#include "formats/idxfile.h"
#include "formats/resultsfile.h"
#include "reporting/periodogram.h"
#include "reporting/report.h"

#include "support/runs.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <string>

namespace torvik::tools {

namespace {

using nlohmann::json;

std::string example(const std::string& name)
{
    return readfile(std::string(TORVIK_SOURCE_DIR) + "/examples/" + name);
}

// A folder with an input and what the program makes of it.
class workedfolder {
public:
    explicit workedfolder(const std::string& input)
    {
        writefile(folder_.file("a.idx"), input);
        for (const auto& [name, content] : runtorvik(input).files)
            writefile(folder_.file(name), content);
    }

    [[nodiscard]] reportoptions options() const
    {
        reportoptions given;
        given.file = folder_.file("a_idx.res");
        given.program = TORVIK_PROGRAM;
        return given;
    }
    [[nodiscard]] std::string file(const std::string& name) const
    {
        return folder_.file(name);
    }
    [[nodiscard]] json data() const
    {
        return json::parse(reportdata(options()));
    }

private:
    temporaryfolder folder_;
};

std::string messageof(const reportoptions& options)
{
    try {
        writereport(options);
    } catch (const failure& why) {
        return why.what();
    }
    return "nothing";
}

class AReport : public testing::Test {
protected:
    static const workedfolder& kyanite()
    {
        static const workedfolder folder(example("5_kyanite_difficult.idx")
                                         + "_CreateLogFile\n1\n");
        return folder;
    }
};

TEST_F(AReport, HasTheSolutionsOfTheFile)
{
    const json data = kyanite().data();
    const resultsfile results = readresults(textfile::read(kyanite().file("a_idx.res")));
    ASSERT_EQ(data["solutions"].size(), results.solutions().size());
    for (std::size_t i = 0; i < results.solutions().size(); ++i) {
        const json& shown = data["solutions"][i];
        const solution& one = results.solutions()[i];
        EXPECT_EQ(shown["cell"], json(one.cell));
        EXPECT_EQ(shown["volume"], one.volume);
        EXPECT_EQ(shown["h"], one.h);
        EXPECT_EQ(shown["H"], one.H);
        EXPECT_EQ(shown["basis"][5], one.basis[1][2]);
        const std::string fits = shown["fits"];
        EXPECT_EQ(std::count(fits.begin(), fits.end(), 'H'), one.H);
        EXPECT_EQ(std::count(fits.begin(), fits.end(), '.'), 40 - one.h);
    }
}

TEST_F(AReport, HasTheVectorsOfTheInput)
{
    const json data = kyanite().data();
    const auto vectors = vectorsof(readidx(textfile::read(kyanite().file("a.idx"))));
    ASSERT_EQ(data["vectors"].size(), 40U);
    EXPECT_EQ(data["vectors"][0], (json{-0.41958, -0.18758, 0.39972})); // the first of the example
    EXPECT_EQ(data["vectors"][39][2], vectors[39].z);
}

// Kyanite's first solution has twice the volume of the true cell: docs of the example.
TEST_F(AReport, TellsWhichSolutionsAreSuperlattices)
{
    const json data = kyanite().data();
    bool doubled = false;
    for (const json& pair : data["relations"]) {
        const double large = data["solutions"][pair[0].get<std::size_t>() - 1]["volume"];
        const double small = data["solutions"][pair[1].get<std::size_t>() - 1]["volume"];
        EXPECT_NEAR(large / small, pair[2].get<double>(), 0.05 * pair[2].get<double>());
        doubled = doubled || (pair[0] == 1 && pair[2] == 2);
    }
    EXPECT_TRUE(doubled) << data["relations"];
}

// Calcite is rhombohedral, with hexagonal axes of 4.99 and 17.06 angstroms: the head of the example.
TEST_F(AReport, HasTheConventionalCellOfEachSolution)
{
    const workedfolder folder(example("4_calcite_volumes.idx"));
    const json data = folder.data();
    const json lattice = data["solutions"][0]["lattice"];
    EXPECT_EQ(lattice["symbol"], "hR");
    EXPECT_NEAR(lattice["cell"][0].get<double>(), 4.99, 0.01);
    EXPECT_NEAR(lattice["cell"][2].get<double>(), 17.06, 0.03);
    EXPECT_NEAR(lattice["cell"][5].get<double>(), 120.0, 0.3); // the tolerance
}

TEST_F(AReport, IsWrittenAsOnePageWithTheDataInItsPlace)
{
    const temporaryfolder folder;
    writefile(folder.file("page.html"), "<p>before</p><!--data--><p>after</p>");
    reportoptions options = kyanite().options();
    options.page = folder.file("page.html");
    options.output = folder.file("report.html");
    EXPECT_EQ(writereport(options), options.output);
    const std::string written = readfile(folder.file("report.html"));
    EXPECT_TRUE(written.starts_with("<p>before</p>{"));
    EXPECT_TRUE(written.ends_with("}<p>after</p>"));
}

TEST_F(AReport, WithoutItsInputIsRefused)
{
    reportoptions options = kyanite().options();
    options.page = kyanite().file("a.idx"); // never reached
    options.input = kyanite().file("b.idx");
    EXPECT_NE(messageof(options).find("b.idx: --input names it."), std::string::npos);
}

TEST_F(AReport, OfResultsAndAnotherInputIsRefused)
{
    const temporaryfolder folder;
    reportoptions options = kyanite().options();
    options.page = kyanite().file("a.idx");
    options.input = folder.file("b.idx");
    writefile(folder.file("b.idx"), example("1_quartz_vectors.idx"));
    EXPECT_EQ(messageof(options),
              "b.idx is not the input of a_idx.res: reflection 1 has other indices in solution 1. "
              "--input names the right one.");
    writefile(folder.file("b.idx"), example("4_calcite_volumes.idx"));
    EXPECT_EQ(messageof(options), "b.idx is not the input of a_idx.res: the results have 40 "
                                  "reflections, and it has 30. --input names the right one.");
}

TEST_F(AReport, WithoutAProgramToRunHasNoPeriodogramAndSaysSo)
{
    const workedfolder folder(example("1_quartz_vectors.idx"));
    reportoptions options = folder.options();
    options.program = "/no/such/program";
    const json data = json::parse(reportdata(options));
    EXPECT_FALSE(data.contains("periodogram"));
    EXPECT_TRUE(data["noperiodogram"].get<std::string>().starts_with("The periodogram could not"));
    EXPECT_EQ(data["solutions"].size(), 16U);
}

TEST_F(AReport, OfGivenVolumesShowsThese)
{
    const workedfolder folder(example("4_calcite_volumes.idx"));
    const json shown = folder.data()["periodogram"];
    EXPECT_EQ(shown["volumes"], (json{{367.9, nullptr}, {183.9, nullptr}, {122.6, nullptr}}));
    EXPECT_TRUE(shown["curve"].empty());
}

// A log of a later run is not that of the results.
TEST_F(AReport, TakesNoLogOfAnotherRun)
{
    const workedfolder folder(example("5_kyanite_difficult.idx") + "_CreateLogFile\n1\n");
    EXPECT_NE(folder.data()["periodogram"]["note"].get<std::string>().find("from a_idx.log"),
              std::string::npos);
    std::string log = readfile(folder.file("a_idx.log"));
    log.replace(log.find("Date : 2"), 8, "Date : 9");
    writefile(folder.file("a_idx.log"), log);
    EXPECT_NE(folder.data()["periodogram"]["note"].get<std::string>().find("a run made for this"),
              std::string::npos);
}

TEST_F(AReport, OfAnglesHasTheVectorsThatTheIndicesAreOf)
{
    for (const char* name : {"2_sucrose_euler.idx", "3_diopside_kappa.idx"}) {
        const workedfolder folder(example(name));
        EXPECT_FALSE(folder.data()["solutions"].empty()) << name; // refused if they did not agree
    }
}

TEST_F(AReport, OfASolutionHasTheAnswerFirstAndItsCandidates)
{
    const temporaryfolder folder;
    json given = {{"program", "Torvik"},
                  {"input", "crystal.p4p"},
                  {"verdict", "solved"},
                  {"basis", {{5.0, 0.0, 0.0}, {0.0, 6.0, 0.0}, {0.0, 0.0, 7.0}}},
                  {"candidates", json::array()},
                  {"reflections", json::array()}};
    given["candidates"].push_back(
        {{"basis", {{10.0, 0.0, 0.0}, {0.0, 6.0, 0.0}, {0.0, 0.0, 7.0}}}, {"evidence", 3.5}});
    given["candidates"].push_back({{"basis", given["basis"]}, {"evidence", 8.5}});
    for (const double h : {1.0, 2.0, 2.5})
        given["reflections"].push_back({{"vector", {h / 5.0, 1.0 / 6.0, -1.0 / 7.0}},
                                        {"hkl", nullptr},
                                        {"genuine", 0.9},
                                        {"lattice", h < 2.5 ? json(1) : json()}});
    writefile(folder.file("crystal.solution.json"), given.dump());
    reportoptions options;
    options.file = folder.file("crystal.solution.json");
    const json data = json::parse(reportdata(options));
    ASSERT_EQ(data["solutions"].size(), 2U);
    EXPECT_NEAR(data["solutions"][0]["volume"].get<double>(), 210.0, 1e-9);
    EXPECT_EQ(data["solutions"][0]["evidence"], 8.5);
    EXPECT_EQ(data["solutions"][0]["indexed"], 2);
    EXPECT_EQ(data["solutions"][1]["indexed"], 3);
    EXPECT_EQ(data["relations"], (json{{2, 1, 2}}));
    EXPECT_EQ(data["lattices"], (json{1, 1, 0}));
    EXPECT_EQ(data["verdict"], "solved");
    writefile(folder.file("crystal.solution.json"), "{}");
    EXPECT_THROW(reportdata(options), badfile);
}

// As solve writes it without --results, and with a shift.
TEST_F(AReport, OfASolutionNeedsNoRunAndShowsVectorsLessTheShift)
{
    const temporaryfolder folder;
    json given = {{"basis", {{5.0, 0.0, 0.0}, {0.0, 6.0, 0.0}, {0.0, 0.0, 7.0}}},
                  {"shift", {0.01, 0.0, -0.02}},
                  {"run", nullptr},
                  {"reflections", json::array()}};
    given["reflections"].push_back({{"vector", {0.21, 0.0, -0.02}}, {"lattice", 1}});
    writefile(folder.file("crystal.solution.json"), given.dump());
    reportoptions options;
    options.file = folder.file("crystal.solution.json");
    const json data = json::parse(reportdata(options));
    EXPECT_FALSE(data.contains("periodogram"));
    EXPECT_TRUE(data.contains("noperiodogram"));
    EXPECT_NEAR(data["vectors"][0][0].get<double>(), 0.2, 1e-12);
    EXPECT_NEAR(data["vectors"][0][2].get<double>(), 0.0, 1e-12);
    EXPECT_EQ(data["solutions"][0]["indexed"], 1);
}

// What a solution names is beside it: a file from elsewhere may hold any path.
TEST_F(AReport, OfASolutionReadsNoFileOutsideItsFolder)
{
    const temporaryfolder folder;
    std::filesystem::create_directory(folder.file("inner"));
    writefile(folder.file("outer.idx"), example("1_quartz_vectors.idx"));
    reportoptions options;
    options.file = folder.file("inner/crystal.solution.json");
    const auto messageof = [&](const std::string& key, const std::string& name) {
        const json given = {{"run", {{key, name}}}, {"reflections", json::array()}};
        writefile(options.file.string(), given.dump());
        try {
            reportdata(options);
        } catch (const failure& why) {
            return std::string(why.what()).substr(options.file.string().size());
        }
        return std::string("nothing");
    };
    const std::vector<std::string> names = {"../outer.idx", folder.file("outer.idx"), "..", ".",
                                            ""};
    for (const std::string& name : names)
        for (const char* key : {"idx", "res"})
            EXPECT_EQ(messageof(key, name), ": expected the name of a file beside it in '"
                                                + std::string(key) + "' of its run, found '" + name
                                                + "'.");
    EXPECT_EQ(messageof("idx", "nosuch.idx"), "nothing");
}

TEST(ThePage, HoldsNoSignThatCouldEndTheData)
{
    EXPECT_EQ(filledpage("a<!--data-->b", R"({"x":"</script>"})"), R"(a{"x":"\u003c/script>"}b)");
    EXPECT_THROW(filledpage("ab", "{}"), failure);
    EXPECT_THROW(filledpage("<!--data--><!--data-->", "{}"), failure);
}

TEST(ThePage, ThatWasNotBuiltIsSaidToBeMissing)
{
    try {
        pagetofill("");
        FAIL() << "beside the tests lies no page";
    } catch (const failure& why) {
        EXPECT_NE(std::string(why.what()).find("scripts/report-page.sh FILE makes it"),
                  std::string::npos);
    }
}

// The values of a log against those of the periodogram file.
TEST(ALog, GivesTheValuesOfEveryTypeOfPeriodogram)
{
    for (const int type : {1, 2, 3, 4}) {
        const std::string input =
            example("1_quartz_vectors.idx") + "_FractionOfSupportingReflections\n1e-7\n";
        const std::string number = std::to_string(type) + "\n";
        const temporaryfolder folder;
        writefile(folder.file("a_idx.log"),
                  runtorvik(input + "_CreateLogFile\n1\n_TypeOfPeriodogram\n" + number)
                      .files.at("a_idx.log"));
        const auto log = readlog(folder.file("a_idx.log"));
        ASSERT_TRUE(log);
        const textfile file(
            "a_periodogram.res",
            runtorvik(input + "_TypeOfPeriodogram\n-" + number).files.at("a_periodogram.res"));
        const auto& curve = log->periodogram.curve;
        ASSERT_EQ(curve.size(), 951U); // as docs/formats.md shows the file
        for (std::size_t i = 0; i < curve.size(); ++i) {
            const auto items = itemsof(file.line(i + 4));
            const double value = *numberin(items[1].text);
            EXPECT_NEAR(curve[i].first, *numberin(items[0].text), 0.006);
            EXPECT_NEAR(curve[i].second, value, 2e-5 * std::fabs(value)) << type << " " << i;
        }
    }
}

TEST(ALog, ThatEndsBeforeItsTestVolumesGivesNothing)
{
    const workedfolder folder(example("1_quartz_vectors.idx") + "_CreateLogFile\n1\n");
    const std::string log = readfile(folder.file("a_idx.log"));
    const auto found = readlog(folder.file("a_idx.log"));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->periodogram.volumes.size(), 18U); // as docs/method.md shows them
    EXPECT_EQ(found->periodogram.volumes[9].volume, 113.138);
    writefile(folder.file("b.log"), log.substr(0, log.find("The final list")));
    EXPECT_FALSE(readlog(folder.file("b.log")));
    EXPECT_FALSE(readlog(folder.file("nosuch.log")));
}

TEST(AThinnedCurve, KeepsTheHighestAndTheLowestPointOfEachStretch)
{
    std::vector<std::pair<double, double>> curve;
    for (int i = 0; i < 1000; ++i) curve.emplace_back(i, i == 333 ? 9.0 : i == 337 ? -9.0 : i % 7);
    const auto kept = thinned(curve, 10);
    EXPECT_EQ(kept.size(), 20U);
    EXPECT_TRUE(std::is_sorted(kept.begin(), kept.end()));
    EXPECT_NE(std::find(kept.begin(), kept.end(), std::pair(333.0, 9.0)), kept.end());
    EXPECT_NE(std::find(kept.begin(), kept.end(), std::pair(337.0, -9.0)), kept.end());
    EXPECT_EQ(thinned(curve, 500), curve);
}

} // namespace

} // namespace torvik::tools
