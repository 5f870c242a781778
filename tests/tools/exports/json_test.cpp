// The complete export: held against its description in docs/results.schema.json, and the results.
#include "kept.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace torvik::tools {

namespace {

using nlohmann::json;

// A check against as much of JSON Schema as the description uses; whatever else it used would be a
// fault of the test, and is one.
class schemacheck {
public:
    explicit schemacheck(json schema) : schema_(std::move(schema)) {}

    std::vector<std::string> faultsof(const json& value)
    {
        faults_.clear();
        check(value, schema_, "");
        return faults_;
    }

private:
    static bool istype(const json& value, const std::string& type)
    {
        if (type == "integer") return value.is_number_integer();
        if (type == "number") return value.is_number();
        return type == value.type_name();
    }

    void fault(const std::string& where, const std::string& what)
    {
        faults_.push_back(where + ": " + what);
    }

    void check(const json& value, const json& rules, const std::string& where)
    {
        for (const auto& [name, rule] : rules.items()) checkrule(value, rules, name, rule, where);
    }

    void checkrule(const json& value, const json& rules, const std::string& name, const json& rule,
                   const std::string& where)
    {
        if (name == "type") {
            const json types = rule.is_array() ? rule : json::array({rule});
            if (std::none_of(types.begin(), types.end(),
                             [&](const json& type) { return istype(value, type); }))
                fault(where, "is of type " + std::string(value.type_name()));
        } else if (name == "enum") {
            if (std::find(rule.begin(), rule.end(), value) == rule.end())
                fault(where, "is " + value.dump());
        } else if (name == "minimum") {
            if (value.is_number() && value < rule) fault(where, "is less than " + rule.dump());
        } else if (name == "minItems") {
            if (value.is_array() && value.size() < rule) fault(where, "is too short");
        } else if (name == "maxItems") {
            if (value.is_array() && value.size() > rule) fault(where, "is too long");
        } else if (name == "items") {
            if (value.is_array())
                for (std::size_t i = 0; i < value.size(); ++i)
                    check(value[i], rule, where + "/" + std::to_string(i));
        } else if (name == "required") {
            for (const std::string key : rule)
                if (value.is_object() && !value.contains(key)) fault(where, "lacks " + key);
        } else if (name == "properties" || name == "additionalProperties") {
            if (value.is_object() && name == "properties") checkproperties(value, rules, where);
            if (value.is_object() && !rules.contains("properties"))
                for (const auto& [key, one] : value.items()) check(one, rule, where + "/" + key);
        } else if (name == "$ref") {
            check(value, schema_.at(json::json_pointer(rule.get<std::string>().substr(1))), where);
        } else if (name != "$schema" && name != "title" && name != "description"
                   && name != "definitions") {
            fault(where, "this check does not know the rule " + name);
        }
    }

    void checkproperties(const json& value, const json& rules, const std::string& where)
    {
        const json& known = rules.at("properties");
        for (const auto& [key, one] : value.items()) {
            if (known.contains(key))
                check(one, known.at(key), where + "/" + key);
            else if (rules.value("additionalProperties", json(true)) == json(false))
                fault(where, "has an unknown " + key);
        }
    }

    json schema_;
    std::vector<std::string> faults_;
};

schemacheck described()
{
    return schemacheck(
        json::parse(readfile(std::string(TORVIK_SOURCE_DIR) + "/docs/results.schema.json")));
}

TEST(TheJson, IsWhatItsDescriptionSays)
{
    for (const bool withvectors : {false, true}) {
        exportinput input = keptinput(2, withvectors);
        if (withvectors) input.wavelength = 0.7;
        EXPECT_EQ(described().faultsof(json::parse(jsontext(input))), std::vector<std::string>{});
    }
}

TEST(TheJson, ThatIsWrongDoesNotPassTheCheck)
{
    const json right = json::parse(jsontext(keptinput(1, true)));
    const auto faults = [&](const char* place, const json& value) {
        json wrong = right;
        wrong[json::json_pointer(place)] = value;
        return described().faultsof(wrong).size();
    };
    EXPECT_EQ(faults("/version", 1), 0U);
    EXPECT_EQ(faults("/version", 2), 1U);
    EXPECT_EQ(faults("/more", 1), 1U);
    EXPECT_EQ(faults("/wavelength", -1), 1U);
    EXPECT_EQ(faults("/vectors/3", {1, 2}), 1U);
    EXPECT_EQ(faults("/solutions/0/cell", {1, 2, 3, 4, 5, 6, 7}), 1U);
    EXPECT_EQ(faults("/solutions/0/reflections/0/hkl", {0.5, 1, 2}), 1U);
    EXPECT_EQ(faults("/solutions/0/reflections/0", json::object()), 5U);
    EXPECT_EQ(faults("/parameters/c", 0.12), 1U);
}

TEST(TheJson, HoldsAllParametersSolutionsAndIndices)
{
    const json file = json::parse(jsontext(keptinput(1)));
    const resultsfile& results = kept().results;
    EXPECT_EQ(file.at("parameters").size(), results.parameters.size());
    EXPECT_EQ(file.at("parameters").at("Number of reflections"), "40");
    EXPECT_EQ(file.at("input"), "a.idx");
    EXPECT_TRUE(file.at("vectors").is_null());
    ASSERT_EQ(file.at("solutions").size(), results.byquality.size());
    for (std::size_t k = 0; k < results.byquality.size(); ++k) {
        const json& one = file.at("solutions").at(k);
        const solution& printed = results.byquality[k];
        EXPECT_EQ(one.at("h"), printed.h);
        EXPECT_EQ(one.at("H"), printed.H);
        EXPECT_EQ(one.at("quality"), printed.quality);
        EXPECT_NEAR(one.at("volume").get<double>(), printed.volume, 0.005001);
        for (std::size_t i = 0; i < 6; ++i)
            EXPECT_NEAR(one.at("cell").at(i).get<double>(), printed.cell[i],
                        i < 3 ? 5.1e-4 : 5.1e-3);
        ASSERT_EQ(one.at("reflections").size(), 40U);
        const int sign = one.at("turned").get<bool>() ? -1 : 1;
        for (std::size_t n = 0; n < 40; ++n) {
            const json& line = one.at("reflections").at(n);
            const reflectionline& wanted = printed.reflections[n];
            const bool indexed = wanted.how == fit::strict || wanted.how == fit::loose;
            EXPECT_EQ(line.at("hkl").is_null(), !indexed);
            for (std::size_t i = 0; indexed && i < 3; ++i)
                EXPECT_EQ(line.at("hkl").at(i), sign * wanted.hkl[i]);
            EXPECT_EQ(line.at("real").is_null(), wanted.how == fit::none);
        }
    }
}

TEST(TheJson, HasExactIndicesWhereTheVectorsAreKnown)
{
    const json file = json::parse(jsontext(keptinput(1, true)));
    ASSERT_EQ(file.at("vectors").size(), 40U);
    EXPECT_EQ(file.at("vectors").at(39).at(2), kept().vectors.at(39).z);
    for (const json& one : file.at("solutions"))
        for (const json& line : one.at("reflections")) {
            ASSERT_TRUE(line.at("real").is_array());
            if (!line.at("hkl").is_array()) continue;
            double square = 0.0;
            for (std::size_t i = 0; i < 3; ++i) {
                const double off =
                    line.at("real").at(i).get<double>() - line.at("hkl").at(i).get<double>();
                square += off * off;
            }
            EXPECT_NEAR(std::sqrt(square), line.at("error").get<double>(), 5.1e-4);
        }
}

// The matrices are printed to two decimals, and lead from one right-handed basis to the other. The
// numbers of the solutions are those of the list by quality.
TEST(TheJson, RelatesTheSolutionsByTheirNumbersInItsOwnList)
{
    const json file = json::parse(jsontext(keptinput(1)));
    ASSERT_EQ(file.at("relations").size(), kept().results.relations.size());
    ASSERT_GT(file.at("relations").size(), 0U);
    const auto matrixof = [](const json& rows) {
        matrix3 A;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                A[i][j] = rows.at(static_cast<std::size_t>(i)).at(static_cast<std::size_t>(j));
        return A;
    };
    const auto basis = [&](const json& number) {
        return matrixof(file.at("solutions").at(number.get<std::size_t>() - 1).at("basis"));
    };
    for (const json& one : file.at("relations")) {
        const matrix3 T = basis(one.at("second")).multiply(basis(one.at("first")).inverse());
        EXPECT_TRUE(T.approx(matrixof(one.at("T")), 0.00501)) << one.dump();
        EXPECT_NEAR(T.determinant(), one.at("ratio").get<double>(), 0.00501);
    }
}

TEST(TheJson, OfAnInputWhoseNameIsNoUtf8IsStillJson)
{
    exportinput input = plaininput();
    input.results.input = "a\xFF.idx";
    EXPECT_EQ(json::parse(jsontext(input)).at("input"), "a\xEF\xBF\xBD.idx");
}

} // namespace

} // namespace torvik::tools
