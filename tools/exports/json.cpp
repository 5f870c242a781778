// JSON: everything that the results hold. docs/results.schema.json describes it.

#include "exports/exporter.h"

#include "base/failure.h"

#include <nlohmann/json.hpp>

namespace torvik::tools {

namespace {

using json = nlohmann::ordered_json;

double nonegativezero(double x)
{
    return x + 0.0; // the sum of -0 and 0 is 0
}

json listof(const vector3& x)
{
    return {nonegativezero(x.x), nonegativezero(x.y), nonegativezero(x.z)};
}

json rowsof(const matrix3& A)
{
    return {listof(row_of(A, 0)), listof(row_of(A, 1)), listof(row_of(A, 2))};
}

const char* nameof(fit how)
{
    switch (how) {
    case fit::strict: return "strict";
    case fit::loose: return "loose";
    case fit::poor: return "poor";
    default: return "none";
    }
}

// Indices are those of the right-handed basis. Real ones come from the vector if it is known, else
// from the results, which print two decimals, and none if all are far off.
json reflectionof(const exportinput& input, const orientation& crystal, const reflectionline& line)
{
    const int sign = crystal.turned ? -1 : 1;
    json one;
    one["number"] = line.number;
    one["fit"] = nameof(line.how);
    one["hkl"] = nullptr;
    if (line.how == fit::strict || line.how == fit::loose)
        one["hkl"] = {sign * line.hkl[0], sign * line.hkl[1], sign * line.hkl[2]};
    one["real"] = nullptr;
    const auto at = static_cast<std::size_t>(line.number - 1);
    if (at < input.vectors.size())
        one["real"] = listof(crystal.basis.multiply(input.vectors[at]));
    else if (line.how != fit::none)
        one["real"] = listof(vector3(line.real[0], line.real[1], line.real[2]) * double(sign));
    one["error"] = nullptr;
    if (line.how != fit::none) one["error"] = line.error;
    return one;
}

json solutionof(const exportinput& input, const solution& found)
{
    const orientation crystal = orientationof(found);
    json one;
    one["number"] = found.number;
    one["turned"] = crystal.turned;
    one["h"] = found.h;
    one["H"] = found.H;
    one["quality"] = found.quality;
    one["volume"] = crystal.volume;
    one["cell"] = crystal.cell;
    one["basis"] = rowsof(crystal.basis);
    one["UB"] = rowsof(crystal.UB);
    one["reflections"] = json::array();
    for (const reflectionline& line : found.reflections)
        one["reflections"].push_back(reflectionof(input, crystal, line));
    return one;
}

// The solution of the first list that has a number in the list by volume: the one with its basis.
const solution& solutionbyvolume(const resultsfile& results, int number)
{
    if (number >= 1 && static_cast<std::size_t>(number) <= results.byvolume.size()) {
        const solution& wanted = results.byvolume[static_cast<std::size_t>(number) - 1];
        for (const solution& one : results.solutions())
            if (one.basis.approx(wanted.basis, 0.0)) return one;
    }
    throw failure("The relations of the results name a solution " + std::to_string(number)
                  + ", which is not in both lists.");
}

json relationof(const resultsfile& results, const relation& between)
{
    const solution& first = solutionbyvolume(results, between.first);
    const solution& second = solutionbyvolume(results, between.second);
    const bool turned = orientationof(first).turned != orientationof(second).turned;
    json one;
    one["first"] = first.number;
    one["second"] = second.number;
    one["T"] = rowsof(turned ? scaled(between.T, -1.0) : between.T);
    one["ratio"] = between.ratio;
    return one;
}

// An input's name may hold any bytes: those that are no UTF-8 are replaced.
std::string compact(const json& value)
{
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

// What fits on a line stands on one, so that a reflection is a line; the rest is laid out.
void append(std::string& text, const json& value, const std::string& indent)
{
    constexpr std::size_t longest = 100;
    const std::string line = compact(value);
    if (value.is_primitive() || line.size() <= longest) {
        text += line;
        return;
    }
    const std::string deeper = indent + " ";
    text += value.is_array() ? "[" : "{";
    bool first = true;
    for (const auto& [name, part] : value.items()) {
        text += (first ? "\n" : ",\n") + deeper;
        if (value.is_object()) text += compact(name) + ": ";
        append(text, part, deeper);
        first = false;
    }
    text += "\n" + indent + (value.is_array() ? "]" : "}");
}

} // namespace

std::string jsontext(const exportinput& input)
{
    const resultsfile& results = input.results;
    json file;
    file["format"] = "torvik-results";
    file["version"] = 1;
    file["program"] = results.program;
    file["input"] = results.input;
    file["date"] = results.date;
    file["time"] = results.time;
    file["parameters"] = json::object();
    for (const auto& [name, value] : results.parameters) file["parameters"][name] = value;
    file["criterion"] = results.criterion;
    file["order"] = results.byquality.empty() ? "volume" : "quality";
    file["chosen"] = input.chosen;
    file["wavelength"] = nullptr;
    if (input.wavelength) file["wavelength"] = *input.wavelength;
    file["vectors"] = nullptr;
    if (!input.vectors.empty()) file["vectors"] = json::array();
    for (const vector3& x : input.vectors) file["vectors"].push_back(listof(x));
    file["solutions"] = json::array();
    for (const solution& found : results.solutions())
        file["solutions"].push_back(solutionof(input, found));
    file["relations"] = json::array();
    for (const relation& between : results.relations)
        file["relations"].push_back(relationof(results, between));
    std::string text;
    append(text, file, "");
    return text + "\n";
}

} // namespace torvik::tools
