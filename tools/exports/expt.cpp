// DIALS: an experiment list with a crystal.

#include "exports/exporter.h"

#include <nlohmann/json.hpp>

namespace torvik::tools {

namespace {

nlohmann::ordered_json vectorof(const vector3& x)
{
    return {x.x, x.y, x.z};
}

} // namespace

// The real-space vectors a, b, c in angstroms, in the laboratory frame with all rotations at zero:
// the frame in which the import of a .refl and its .expt leaves the reflection vectors. The list has
// all the parts that a reader asks for, but only the crystal is filled.
std::string expttext(const exportinput& input)
{
    using json = nlohmann::ordered_json;
    json experiment = {{"__id__", "Experiment"}, {"identifier", ""}, {"crystal", 0}};
    json crystal = {{"__id__", "crystal"},
                    {"real_space_a", vectorof(row_of(input.crystal.basis, 0))},
                    {"real_space_b", vectorof(row_of(input.crystal.basis, 1))},
                    {"real_space_c", vectorof(row_of(input.crystal.basis, 2))},
                    {"space_group_hall_symbol", " P 1"}};
    json list;
    list["__id__"] = "ExperimentList";
    list["experiment"] = json::array({experiment});
    for (const char* part : {"imageset", "beam", "detector", "goniometer", "scan"})
        list[part] = json::array();
    list["crystal"] = json::array({crystal});
    for (const char* part : {"profile", "scaling_model"}) list[part] = json::array();
    return list.dump(2) + "\n";
}

} // namespace torvik::tools
