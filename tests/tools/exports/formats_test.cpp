// Every format, read back by a reader of the test's own and put to the reflections once more.
#include "kept.h"

#include "base/failure.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <set>

namespace torvik::tools {

namespace {

// The numbers of a text from a place on; words in between end them.
std::vector<double> numbersbehind(const std::string& text, const std::string& word)
{
    const std::size_t at = text.find(word);
    EXPECT_NE(at, std::string::npos) << word;
    std::istringstream rest(text.substr(at == std::string::npos ? text.size() : at + word.size()));
    std::vector<double> numbers;
    for (double x = 0.0; rest >> x;) numbers.push_back(x);
    return numbers;
}

matrix3 matrixof(const std::vector<double>& x)
{
    EXPECT_GE(x.size(), 9U);
    if (x.size() < 9) return {};
    return {x[0], x[1], x[2], x[3], x[4], x[5], x[6], x[7], x[8]};
}

std::vector<double> joined(std::vector<double> first, const std::vector<double>& second,
                           const std::vector<double>& third)
{
    first.resize(3);
    first.insert(first.end(), second.begin(), second.begin() + 3);
    first.insert(first.end(), third.begin(), third.begin() + 3);
    return first;
}

// Each gives the direct basis, in angstroms and rows, that a file means.

matrix3 ofubi(const std::string& text)
{
    return matrixof(numbersbehind(text, ""));
}

matrix3 ofrmat(const std::string& text)
{
    return matrixof(numbersbehind(text, "RMAT P")).inverse();
}

matrix3 ofmat(const std::string& text)
{
    const matrix3 beamalongx = matrixof(numbersbehind(text, "")).transpose();
    return from_rows(row_of(beamalongx, 1), row_of(beamalongx, 2), row_of(beamalongx, 0)).inverse();
}

matrix3 ofp4p(const std::string& text)
{
    return matrixof(joined(numbersbehind(text, "\nORT1"), numbersbehind(text, "\nORT2"),
                           numbersbehind(text, "\nORT3")))
        .inverse();
}

matrix3 ofexpt(const std::string& text)
{
    const auto list = nlohmann::json::parse(text);
    const std::size_t number = list.at("experiment").at(0).at("crystal");
    const auto& crystal = list.at("crystal").at(number);
    std::vector<double> x;
    for (const char* name : {"real_space_a", "real_space_b", "real_space_c"})
        for (const double component : crystal.at(name)) x.push_back(component);
    return matrixof(x);
}

matrix3 ofcrystfel(const std::string& text)
{
    const matrix3 stars =
        matrixof(joined(numbersbehind(text, "astar ="), numbersbehind(text, "bstar ="),
                        numbersbehind(text, "cstar =")));
    return scaled(stars, 0.1).transpose().inverse();
}

matrix3 ofcif(const std::string& text)
{
    std::vector<double> x;
    for (const char* place : {"11", "12", "13", "21", "22", "23", "31", "32", "33"})
        x.push_back(numbersbehind(text, std::string("_diffrn_orient_matrix_UB_") + place).at(0));
    return matrixof(x).inverse();
}

matrix3 ofjson(const std::string& text)
{
    const auto file = nlohmann::json::parse(text);
    const std::size_t chosen = file.at("chosen");
    std::vector<double> x;
    for (const auto& row : file.at("solutions").at(chosen - 1).at("UB"))
        for (const double element : row) x.push_back(element);
    return matrixof(x).inverse();
}

struct known {
    const char* name;
    matrix3 (*basisof)(const std::string&);
    double tolerance; // of an index: what the last digit of the file is worth
};

const known formats[] = {
    {"ubi", ofubi, 1e-6}, {"rmat", ofrmat, 1e-5}, {"mat", ofmat, 1e-5},
    {"p4p", ofp4p, 1e-6}, {"expt", ofexpt, 1e-6}, {"crystfel", ofcrystfel, 1e-5},
    {"cif", ofcif, 1e-5}, {"json", ofjson, 1e-6},
};

TEST(AnExport, HasATestForEveryFormat)
{
    ASSERT_EQ(exportformats().size(), std::size(formats));
    for (std::size_t i = 0; i < std::size(formats); ++i)
        EXPECT_STREQ(exportformats()[i].name, formats[i].name);
}

// The indices are the printed ones, all with the other sign if the basis is left-handed there.
TEST(AnExport, InEveryFormatIndexesTheReflectionsAsTheResultsDo)
{
    int turned = 0;
    int straight = 0;
    for (const known& format : formats)
        for (const solution& found : kept().results.solutions()) {
            SCOPED_TRACE(std::string(format.name) + " " + std::to_string(found.number));
            const bool left = found.basis.determinant() < 0.0;
            (left ? turned : straight) += 1;
            const std::string text = exportformatof(format.name).textof(keptinput(found.number));
            const matrix3 basis = format.basisof(text);
            EXPECT_GT(basis.determinant(), 0.0);
            for (const reflectionline& line : found.reflections) {
                const vector3 x = kept().vectors.at(static_cast<std::size_t>(line.number - 1));
                const vector3 hkl = basis.multiply(x) * (left ? -1.0 : 1.0);
                EXPECT_TRUE(hkl.approx(found.basis.multiply(x), format.tolerance)) << line.number;
                if (line.how == fit::strict || line.how == fit::loose) {
                    EXPECT_EQ(nearest_indices(hkl), line.hkl) << line.number;
                }
            }
        }
    EXPECT_GT(turned, 0);
    EXPECT_GT(straight, 0);
}

// a, b and c are 3, 4 and 5 angstroms along y, x and z: negated, they are right-handed.
TEST(AnExport, OfALeftHandedBasisNegatesAllThreeVectors)
{
    const orientation crystal = plaininput().crystal;
    EXPECT_TRUE(crystal.turned);
    EXPECT_TRUE(crystal.basis.approx({0, -3, 0, -4, 0, 0, 0, 0, -5}, 0.0));
    EXPECT_TRUE(crystal.UB.approx({0, -0.25, 0, -1.0 / 3, 0, 0, 0, 0, -0.2}, 1e-15));
    EXPECT_EQ(crystal.volume, 60.0);
    const cell_parameters expected = {3, 4, 5, 90, 90, 90};
    for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(crystal.cell[i], expected[i], 1e-12);
}

TEST(AnExport, WritesRowsAndColumnsAsEachProgramHasThem)
{
    EXPECT_EQ(ubitext(plaininput()), "    0.00000000   -3.00000000    0.00000000\n"
                                     "   -4.00000000    0.00000000    0.00000000\n"
                                     "    0.00000000    0.00000000   -5.00000000\n"
                                     "\n");
    EXPECT_EQ(rmattext(plaininput()),
              "RMAT P\n"
              "   0.000000000  -0.250000000   0.000000000\n"
              "  -0.333333333   0.000000000   0.000000000\n"
              "   0.000000000   0.000000000  -0.200000000\n"
              "CELL     3.00000    4.00000    5.00000   90.00000   90.00000   90.00000"
              "      60.000\n");
    const std::string mat =
        "  0.00000000  0.00000000 -0.33333333\n" // a* along -y, which is -z there
        "  0.00000000 -0.25000000  0.00000000\n"
        " -0.20000000  0.00000000  0.00000000\n"
        "      3.0000      4.0000      5.0000     90.0000     90.0000"
        "     90.0000     60.0000\n";
    EXPECT_EQ(mattext(plaininput()).substr(0, mat.size()), mat);
    EXPECT_EQ(p4ptext(plaininput()),
              "TITLE  Torvik, solution 1 of plain crystal.idx\n"
              "CELL      3.0000    4.0000    5.0000   90.0000   90.0000   90.0000     60.000\n"
              "ORT1   0.000000000e+00  -2.500000000e-01   0.000000000e+00\n"
              "ORT2  -3.333333333e-01   0.000000000e+00   0.000000000e+00\n"
              "ORT3   0.000000000e+00   0.000000000e+00  -2.000000000e-01\n"
              "BRAVAIS Triclinic  P\n");
    EXPECT_EQ(crystfeltext(plaininput()),
              "--- Begin crystal\n"
              "Cell parameters 0.300000 0.400000 0.500000 nm, 90.00000 90.00000 90.00000 deg\n"
              "astar = +0.0000000 -3.3333333 +0.0000000 nm^-1\n"
              "bstar = -2.5000000 +0.0000000 +0.0000000 nm^-1\n"
              "cstar = +0.0000000 +0.0000000 -2.0000000 nm^-1\n"
              "lattice_type = triclinic\n"
              "centering = P\n"
              "--- End crystal\n");
    const std::string cif = ciftext(plaininput());
    EXPECT_TRUE(cif.starts_with("data_plain_crystal\n")) << cif;
    EXPECT_EQ(numbersbehind(cif, "_cell_length_b").at(0), 4.0);
    EXPECT_EQ(numbersbehind(cif, "_cell_angle_gamma").at(0), 90.0);
    EXPECT_EQ(numbersbehind(cif, "_cell_volume").at(0), 60.0);
    EXPECT_EQ(numbersbehind(cif, "_diffrn_orient_matrix_UB_21").at(0), -0.333333333);
    EXPECT_EQ(cif.find("wavelength"), std::string::npos);
}

// What a reader of CIF makes of it: names with one value each, that is a word, or stands between
// apostrophes, or on lines between semicolons.
TEST(AnExport, ToCifIsABlockOfNamesWithAValueEach)
{
    const std::vector<std::string> lines = linesof(ciftext(keptinput(1)));
    ASSERT_EQ(lines.at(0), "data_a");
    std::set<std::string> names;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        EXPECT_LE(lines[i].size(), 80U);
        std::istringstream line(lines[i]);
        std::string name;
        std::string value;
        line >> name >> std::ws;
        std::getline(line, value);
        ASSERT_TRUE(name.starts_with('_')) << lines[i];
        EXPECT_TRUE(names.insert(name).second) << name << " is there twice";
        if (value.empty()) {
            ASSERT_EQ(lines.at(i + 1), ";");
            for (i += 2; lines.at(i) != ";"; ++i) EXPECT_FALSE(lines.at(i).starts_with(';'));
        } else if (value.starts_with('\'')) {
            EXPECT_EQ(value.find('\'', 1), value.size() - 1);
        } else {
            EXPECT_EQ(value.find(' '), std::string::npos) << lines[i];
        }
    }
    EXPECT_EQ(names.size(), 18U);
}

TEST(AnExport, ToCifHasTheWavelengthIfItIsKnown)
{
    exportinput input = plaininput();
    input.wavelength = 0.71073;
    EXPECT_EQ(numbersbehind(ciftext(input), "_diffrn_radiation_wavelength").at(0), 0.71073);
}

TEST(AnExport, ToDialsIsAListOfOneExperimentWithACrystalAlone)
{
    const auto list = nlohmann::json::parse(expttext(plaininput()));
    EXPECT_EQ(list.at("__id__"), "ExperimentList");
    EXPECT_EQ(list.at("experiment").size(), 1U);
    EXPECT_EQ(list.at("crystal").at(0).at("space_group_hall_symbol"), " P 1");
    for (const char* part : {"imageset", "beam", "detector", "goniometer", "scan"})
        EXPECT_TRUE(list.at(part).empty()) << part;
}

TEST(AnExport, OfABasisWithoutVolumeIsRefused)
{
    solution flat;
    flat.number = 3;
    flat.basis = {1, 0, 0, 0, 1, 0, 1, 1, 0};
    EXPECT_THROW(orientationof(flat), failure);
}

TEST(AnExport, ToAFormatThatThereIsNotIsRefused)
{
    try {
        exportformatof("hkl");
        FAIL();
    } catch (const failure& why) {
        EXPECT_STREQ(why.what(), "There is no format 'hkl': the known ones are ubi, rmat, mat, "
                                 "p4p, expt, crystfel, cif, json.");
    }
}

} // namespace

} // namespace torvik::tools
