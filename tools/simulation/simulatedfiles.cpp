#include "simulation/simulatedfiles.h"

#include "base/failure.h"
#include "base/table.h"
#include "numeric/functions.h"
#include "simulation/goniometer.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>

namespace torvik::tools {

namespace {

using json = nlohmann::ordered_json;

// A number as short as it can be told: "0.02".
std::string brief(double x)
{
    return json(x).dump();
}

std::string counted(int count, const std::string& one)
{
    return std::to_string(count) + " " + one + (count == 1 ? "" : "s");
}

// ------------------------------------------------------------------------------ the input

std::array<double, 3> numbersof(const simulationrequest& asked, const vector3& v)
{
    if (asked.kind == listkind::vectors) return {v.x, v.y, v.z};
    if (asked.wavelength * v.length() > 2.0)
        throw failure("A reflection of d = " + fixed(1.0 / v.length(), 3)
                      + " angstroms cannot be measured with a wavelength of "
                      + brief(asked.wavelength) + ".");
    if (asked.kind == listkind::thetaphichi) return eulerianangles(v, asked.wavelength);
    const auto angles = kappaangles(v, asked.wavelength, asked.kappaaxis);
    if (!std::isfinite(angles[2]))
        throw failure("A kappa axis at " + brief(asked.kappaaxis)
                      + " degrees does not reach all reflections; one at 45 degrees or more does.");
    return angles;
}

std::string noisetext(const simulationrequest& asked)
{
    if (asked.noise == 0.0 && asked.noiselength == 0.0) return "no noise";
    std::string text = "noise ";
    if (asked.noise > 0.0) text += brief(asked.noise) + " of the shortest reciprocal vector";
    if (asked.noise > 0.0 && asked.noiselength > 0.0) text += " and ";
    if (asked.noiselength > 0.0) text += brief(asked.noiselength) + " per angstrom";
    return text;
}

std::vector<std::string> commentsof(const simulationrequest& asked, const simulated& made)
{
    const matrix3& D = made.truth().primitive;
    std::vector<std::string> lines = {nameof(asked)};
    lines.push_back("Volume of the primitive cell: " + fixed(D.determinant(), 2)
                    + "; its direct basis a, b, c:");
    for (const auto& row : D.a)
        lines.push_back("  " + fixed(row[0], 6) + " " + fixed(row[1], 6) + " " + fixed(row[2], 6));
    lines.push_back(counted(asked.reflections, "reflection") + " of "
                    + counted(asked.lattices, "lattice") + ", " + std::to_string(asked.wrong)
                    + " of them wrong; " + noisetext(asked));
    if (asked.scale != 1.0 || asked.offset.length() > 0.0)
        lines.push_back("All vectors times " + brief(asked.scale) + ", and moved by "
                        + brief(asked.offset.x) + " " + brief(asked.offset.y) + " "
                        + brief(asked.offset.z) + " per angstrom");
    return lines;
}

// ------------------------------------------------------------------------------ the truth

double rounded(double x, double unit)
{
    return std::round(x * unit) / unit + 0.0; // never a negative zero
}

json jsonof(const vector3& v)
{
    constexpr double unit = 1e8;
    return {rounded(v.x, unit), rounded(v.y, unit), rounded(v.z, unit)};
}

json jsonof(const matrix3& rows)
{
    return {jsonof(row_of(rows, 0)), jsonof(row_of(rows, 1)), jsonof(row_of(rows, 2))};
}

double degreesbetween(const vector3& u, const vector3& v)
{
    return gemmi::deg(arccosine(u.dot(v) / (u.length() * v.length())));
}

json cellof(const simulationrequest& asked, const matrix3& conventional)
{
    if (asked.cell) return *asked.cell;
    constexpr double unit = 1e4;
    const vector3 a = row_of(conventional, 0);
    const vector3 b = row_of(conventional, 1);
    const vector3 c = row_of(conventional, 2);
    json cell = json::array();
    for (const double x : {a.length(), b.length(), c.length(), degreesbetween(b, c),
                           degreesbetween(a, c), degreesbetween(a, b)})
        cell.push_back(rounded(x, unit));
    return cell;
}

json jsonof(const simulatedlattice& one)
{
    json entry;
    entry["direct_basis_rows"] = jsonof(one.primitive);
    entry["conventional_basis_rows"] = jsonof(one.conventional);
    entry["reflections"] = one.reflections;
    return entry;
}

json jsonof(const simulatedreflection& one, std::size_t number, const simulated& made)
{
    json entry;
    entry["number"] = number;
    entry["genuine"] = one.genuine();
    if (one.genuine()) {
        const matrix3& D = made.lattices[static_cast<std::size_t>(one.lattice) - 1].conventional;
        entry["lattice"] = one.lattice;
        entry["hkl"] = one.hkl;
        entry["conventional_hkl"] = nearest_indices(D.multiply(one.exact));
    }
    entry["exact"] = jsonof(one.exact);
    return entry;
}

std::string nameof(listkind kind)
{
    switch (kind) {
    case listkind::thetaphichi: return "eulerian";
    case listkind::thetaphikappa: return "kappa";
    default: return "vectors";
    }
}

template <class value>
json given(const std::optional<value>& one)
{
    return one ? json(*one) : json();
}

// Everything that was asked for, so that the same can be asked for again.
json parametersof(const simulationrequest& asked)
{
    json all;
    all["seed"] = asked.seed;
    all["system"] = asked.cell ? json() : json(asked.system);
    all["cell"] = given(asked.cell);
    all["centring"] = std::string(1, asked.centring);
    all["volume"] = asked.cell ? json() : json(asked.volume);
    all["orientation"] = asked.orientation ? jsonof(*asked.orientation) : json();
    all["reflections"] = asked.reflections;
    all["pool"] = asked.pool;
    all["d_min"] = given(asked.smallestd);
    all["h_max"] = given(asked.largestindex);
    all["noise"] = asked.noise;
    all["noise_length"] = asked.noiselength;
    all["wrong"] = asked.wrong;
    all["scale"] = asked.scale;
    all["offset"] = {asked.offset.x, asked.offset.y, asked.offset.z};
    all["lattices"] = asked.lattices;
    all["parts"] = asked.parts;
    all["twin"] = json();
    if (asked.twin)
        all["twin"] = {{"angle", asked.twin->angle},
                       {asked.twin->normal ? "normal" : "direction", asked.twin->axis}};
    all["kind"] = nameof(asked.kind);
    all["wavelength"] = asked.wavelength;
    all["kappa_axis"] = asked.kappaaxis;
    all["guess_error"] = asked.guesserror;
    all["volume_factor"] = asked.volumefactor;
    return all;
}

// One line for each key, and for each element of a list of lists or objects.
std::string laidout(const json& document)
{
    std::string text = "{";
    for (const auto& [key, value] : document.items()) {
        text += (text.size() > 1 ? ",\n " : "\n ") + json(key).dump() + ": ";
        const bool list = value.is_array() && !value.empty() && value.front().is_structured();
        if (!list) {
            text += value.dump();
            continue;
        }
        std::string lines;
        for (const json& element : value)
            lines += (lines.empty() ? "\n  " : ",\n  ") + element.dump();
        text += "[" + lines + "\n ]";
    }
    return text + "\n}\n";
}

} // namespace

std::string nameof(const simulationrequest& asked)
{
    std::string name = asked.cell ? "cell" : asked.system;
    if (asked.cell)
        for (const double x : *asked.cell) name += " " + brief(x);
    return name + " " + asked.centring + ", simulated, seed " + std::to_string(asked.seed);
}

std::vector<std::array<double, 3>> listof(const simulationrequest& asked, const simulated& made)
{
    std::vector<std::array<double, 3>> list;
    list.reserve(made.reflections.size());
    for (const simulatedreflection& one : made.reflections)
        list.push_back(numbersof(asked, one.measured));
    return list;
}

idxfile inputof(const simulationrequest& asked, const simulated& made)
{
    idxfile file;
    file.comments = commentsof(asked, made);
    if (asked.volumefactor > 0.0)
        file.keywords.push_back(
            {"_MinMaxVolumeOfPrimitiveCell",
             fixed(made.smallestvolume, 2) + " " + fixed(made.largestvolume, 2)});
    if (asked.kind != listkind::vectors)
        file.keywords.push_back({"_Wavelength", brief(asked.wavelength)});
    if (asked.kind == listkind::thetaphikappa)
        file.keywords.push_back({"_AngleOfKappaAxis", brief(asked.kappaaxis)});
    file.kind = asked.kind;
    file.reflections = listof(asked, made);
    return file;
}

std::string inputtextof(const simulationrequest& asked, const simulated& made)
{
    return textof(inputof(asked, made), asked.kind == listkind::vectors ? 6 : 4);
}

std::string truthtextof(const simulationrequest& asked, const simulated& made)
{
    json document;
    document["crystal"] = nameof(asked);
    document["reference"] = "torvik-tools simulate";
    document["conventional_cell"] = cellof(asked, made.truth().conventional);
    document["centring"] = std::string(1, asked.centring);
    document["primitive_volume"] = rounded(made.truth().primitive.determinant(), 1e4);
    document["direct_basis_rows"] = jsonof(made.truth().primitive);
    document["conventional_basis_rows"] = jsonof(made.truth().conventional);
    document["shortest_reciprocal_vector"] = rounded(made.shortest, 1e8);
    document["noise"] = rounded(made.noise, 1e8);
    document["lattices"] = json::array();
    for (const simulatedlattice& one : made.lattices) document["lattices"].push_back(jsonof(one));
    document["parameters"] = parametersof(asked);
    document["reflections"] = json::array();
    for (std::size_t n = 0; n < made.reflections.size(); ++n)
        document["reflections"].push_back(jsonof(made.reflections[n], n + 1, made));
    return laidout(document);
}

} // namespace torvik::tools
