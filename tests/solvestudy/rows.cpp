#include "rows.h"

#include "drawing.h"
#include "judge.h"

#include <cmath>
#include <cstdio>
#include <utility>

namespace torvik::study {

namespace {

using rows = std::vector<study_row>;

std::string percent(double fraction)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g %%", 100.0 * fraction);
    return text;
}

std::string number(double x)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", x);
    return text;
}

study_row lattice_row(const char* group, const std::string& name, int lists,
                      const lattice_request& asked)
{
    return {group, name, lists,
            [asked](std::uint64_t seed, int) { return lattice_list(asked, seed); }, true};
}

lattice_request request(int reflections, double wrong, double noise)
{
    lattice_request asked;
    asked.reflections = reflections;
    asked.wrong = wrong;
    asked.noise = noise;
    return asked;
}

// ------------------------------------------------------------------------------ table

std::string table_name(int reflections, double wrong, double noise)
{
    return "N " + std::to_string(reflections) + ", wrong " + percent(wrong) + ", noise "
           + percent(noise);
}

void add_table_row(rows& all, volume_choice volumes, const lattice_request& asked)
{
    constexpr std::array<double, 3> fixed = {250.0, 1500.0, 6000.0};
    const auto made = [=](std::uint64_t seed, int i) {
        lattice_request one = asked;
        if (volumes == volume_choice::fixed)
            one.smallest_volume = one.largest_volume = fixed[static_cast<std::size_t>(i) % 3];
        return lattice_list(one, seed);
    };
    all.push_back(
        {"table", table_name(asked.reflections, asked.wrong, asked.noise), 30, made, true});
}

void add_table(rows& all, volume_choice volumes)
{
    for (const int reflections : {40, 80, 20, 10})
        for (const double wrong : {0.0, 0.2, 0.5})
            for (const double noise : {0.005, 0.01, 0.02, 0.04})
                add_table_row(all, volumes, request(reflections, wrong, noise));
    for (const int reflections : {8, 7, 6, 5})
        for (const double noise : {0.005, 0.01, 0.02})
            add_table_row(all, volumes, request(reflections, 0.0, noise));
}

// ------------------------------------------------------------------------------ classes

void add_superstructures(rows& all)
{
    for (const int reflections : {40, 80})
        for (const double odd : {0.1, 0.15, 0.2}) {
            lattice_request asked = request(reflections, 0.0, 0.01);
            asked.odd = odd;
            all.push_back(lattice_row("classes",
                                      "superstructure, " + percent(odd) + " odd, N "
                                          + std::to_string(reflections),
                                      24, asked));
        }
    lattice_request asked = request(80, 0.2, 0.01);
    asked.odd = 0.15;
    all.push_back(lattice_row("classes", "superstructure, 15 % odd, N 80, wrong 20 %", 24, asked));
}

void add_pseudosymmetry(rows& all)
{
    for (const int reflections : {20, 40})
        for (const double noise : {0.005, 0.02}) {
            lattice_request asked = request(reflections, 0.2, noise);
            asked.kind = crystal_kind::pseudosymmetric;
            all.push_back(lattice_row("classes",
                                      "pseudo-symmetry, N " + std::to_string(reflections)
                                          + ", wrong 20 %, noise " + percent(noise),
                                      24, asked));
        }
}

void add_shapes(rows& all)
{
    struct shape {
        const char* name;
        cell_parameters cell;
    };
    for (const shape& one : {shape{"long, 4 x 5 x 80", {4.0, 5.0, 80.0, 90.0, 90.0, 90.0}},
                             shape{"flat, 3 x 60 x 60", {3.0, 60.0, 60.0, 90.0, 90.0, 90.0}},
                             shape{"long, oblique", {5.0, 6.0, 70.0, 84.0, 97.0, 105.0}}})
        for (const int reflections : {20, 40})
            for (const double wrong : {0.0, 0.2}) {
                lattice_request asked = request(reflections, wrong, 0.01);
                asked.cell = one.cell;
                all.push_back(lattice_row("classes",
                                          one.name + (", N " + std::to_string(reflections))
                                              + ", wrong " + percent(wrong),
                                          12, asked));
            }
}

void add_resolution(rows& all)
{
    for (const int reflections : {20, 40}) {
        lattice_request asked = request(reflections, 0.2, 0.01);
        asked.smallest_d = 3.0;
        asked.smallest_volume = 1500.0; // has 116 reflections with d above 3
        all.push_back(lattice_row(
            "classes", "low resolution, d > 3, N " + std::to_string(reflections) + ", wrong 20 %",
            24, asked));
    }
}

void add_errors(rows& all)
{
    for (const int reflections : {20, 40})
        for (const double wrong : {0.0, 0.2}) {
            lattice_request asked = request(reflections, wrong, 0.01);
            asked.anisotropy = 3.0;
            all.push_back(lattice_row("classes",
                                      "anisotropic errors, 1 to 3 %, N "
                                          + std::to_string(reflections) + ", wrong "
                                          + percent(wrong),
                                      24, asked));
        }
}

tools::simulationrequest random_crystal(randomnumbers& random)
{
    // Of latticetypes, triclinic P, monoclinic C, orthorhombic P, F, tetragonal I, R and cubic P.
    constexpr std::array<std::size_t, 7> types = {0, 3, 5, 9, 11, 12, 14};
    const auto which = static_cast<std::size_t>(random.whole(0, 6));
    tools::simulationrequest asked;
    asked.system = tools::latticetypes[types[which]].system;
    asked.centring = tools::latticetypes[types[which]].centring;
    asked.volume = log_uniform(200.0, 10000.0, random);
    asked.seed = random.bits();
    return asked;
}

// Low-order reflections that are known to span the lattice: a random third of the shortest.
void add_spanning(rows& all)
{
    for (const int reflections : {12, 20, 40})
        all.push_back(
            {"classes",
             "of the 3 N shortest, spanning, N " + std::to_string(reflections) + ", wrong 20 %", 24,
             [=](std::uint64_t seed, int) {
                 randomnumbers random(seed);
                 auto asked = random_crystal(random);
                 asked.reflections = reflections;
                 asked.wrong = reflections / 5;
                 asked.noise = 0.01;
                 return simulated_list(asked);
             },
             true});
}

void add_two_crystals(rows& all)
{
    struct share {
        const char* name;
        std::vector<double> parts;
    };
    for (const int reflections : {40, 80})
        for (const share& one : {share{"half and half", {1.0, 1.0}}, share{"70 : 30", {7.0, 3.0}}})
            all.push_back(
                {"classes",
                 "two crystals, " + std::string(one.name) + ", N " + std::to_string(reflections),
                 24,
                 [=](std::uint64_t seed, int) {
                     randomnumbers random(seed);
                     auto asked = random_crystal(random);
                     asked.reflections = reflections;
                     asked.smallestd = 1.0;
                     asked.noise = 0.01;
                     asked.lattices = 2;
                     asked.parts = one.parts;
                     return simulated_list(asked);
                 },
                 true});
}

void add_classes(rows& all)
{
    all.push_back({"classes", "plain, N 5 to 300, wrong 0 to 80 %, noise 0 to 4 %", 200,
                   [](std::uint64_t seed, int) { return plain_list(seed); }, true});
    all.push_back(
        lattice_row("classes", "N 100, wrong 80 %, noise 0.5 %", 24, request(100, 0.8, 0.005)));
    all.push_back(
        lattice_row("classes", "N 300, wrong 80 %, noise 1 %", 24, request(300, 0.8, 0.01)));
    all.push_back(lattice_row("classes", "N 40, exact", 24, request(40, 0.0, 0.0)));
    all.push_back(lattice_row("classes", "N 20, wrong 50 %, exact", 24, request(20, 0.5, 0.0)));
    add_superstructures(all);
    add_pseudosymmetry(all);
    add_shapes(all);
    add_resolution(all);
    add_errors(all);
    add_spanning(all);
    add_two_crystals(all);
}

// ------------------------------------------------------------------------------ large, shift

void add_large(rows& all)
{
    for (const double volume : {2e4, 1e5, 1e6})
        for (const int reflections : {100, 300})
            for (const double wrong : {0.0, 0.2}) {
                lattice_request asked = request(reflections, wrong, 0.01);
                asked.smallest_volume = asked.largest_volume = volume;
                asked.smallest_d = 1.5;
                all.push_back(lattice_row("large",
                                          "V " + number(volume) + ", N "
                                              + std::to_string(reflections) + ", wrong "
                                              + percent(wrong),
                                          10, asked));
            }
}

void add_shift(rows& all)
{
    for (const double shift : {0.05, 0.1, 0.2, 0.3})
        for (const int reflections : {20, 40})
            for (const double wrong : {0.0, 0.2}) {
                lattice_request asked = request(reflections, wrong, 0.01);
                asked.shift = shift;
                all.push_back(lattice_row("shift",
                                          "shift " + number(shift) + " a*, N "
                                              + std::to_string(reflections) + ", wrong "
                                              + percent(wrong),
                                          24, asked));
            }
}

// ------------------------------------------------------------------------------ nolattice

void add_no_lattice(rows& all)
{
    struct kind {
        const char* name;
        chance_kind what;
    };
    for (const kind& one : {kind{"ball", chance_kind::ball}, kind{"rings", chance_kind::rings},
                            kind{"rows", chance_kind::rows}, kind{"turned", chance_kind::turned}})
        for (const int reflections : {10, 20, 40, 100})
            all.push_back(
                {"nolattice", one.name + (", N " + std::to_string(reflections)), 20,
                 [=](std::uint64_t seed, int) { return chance_list(one.what, reflections, seed); },
                 false});
}

// ------------------------------------------------------------------------------ wedges

study_row exposure_row(const std::string& name, const exposure_request& asked)
{
    return {"wedges",
            name + ", wrong " + percent(asked.wrong)
                + (asked.geometry ? ", with images and normals" : ""),
            12, [asked](std::uint64_t seed, int) { return exposure_list(asked, seed); }, true};
}

void add_wedges(rows& all)
{
    for (const bool geometry : {false, true})
        for (const double wrong : {0.05, 0.2, 0.5}) {
            exposure_request asked;
            asked.geometry = geometry;
            asked.wrong = wrong;
            for (const double wedge : {1.0, 3.0, 10.0, 30.0}) {
                asked.wedge = wedge;
                all.push_back(exposure_row("wedge of " + number(wedge) + " degrees", asked));
            }
            asked.wedge = 0.0;
            for (const double width : {0.002, 0.005}) {
                asked.width = width;
                all.push_back(exposure_row("still, width " + number(width), asked));
            }
        }
}

// ------------------------------------------------------------------------------ cell

tools::simulationrequest known_cell_request(int reflections, int wrong, double noise,
                                            randomnumbers& random)
{
    tools::simulationrequest asked;
    asked.volume = log_uniform(200.0, 10000.0, random);
    asked.reflections = reflections;
    asked.wrong = wrong;
    asked.noise = noise;
    asked.smallestd = 1.0;
    asked.seed = random.bits();
    return asked;
}

std::string counts(int reflections, int wrong, double noise)
{
    return "N " + std::to_string(reflections) + ", wrong " + std::to_string(wrong) + ", noise "
           + percent(noise);
}

study_row cell_row(const char* given, belief what, int reflections, int wrong, double noise)
{
    return {"cell", given + (", " + counts(reflections, wrong, noise)), 12,
            [=](std::uint64_t seed, int) {
                randomnumbers random(seed);
                known_list list =
                    simulated_list(known_cell_request(reflections, wrong, noise, random));
                believe(list, what, random.bits());
                return list;
            },
            true};
}

study_row scrambled_row(int reflections)
{
    return {"cell", "right cell, no lattice, N " + std::to_string(reflections), 12,
            [=](std::uint64_t seed, int) {
                randomnumbers random(seed);
                known_list list = simulated_list(known_cell_request(reflections, 0, 0.01, random));
                believe(list, belief::right, random.bits());
                scramble(list, random.bits());
                return list;
            },
            false};
}

void add_cells(rows& all)
{
    struct kind {
        int reflections;
        int wrong;
        double noise;
    };
    for (const kind& one : {kind{6, 0, 0.01},
                            {6, 0, 0.04},
                            {8, 0, 0.02},
                            {12, 6, 0.01},
                            {12, 6, 0.04},
                            {20, 10, 0.02},
                            {20, 14, 0.01},
                            {20, 14, 0.04},
                            {40, 30, 0.02},
                            {100, 80, 0.02},
                            {300, 150, 0.02}})
        all.push_back(cell_row("right cell", belief::right, one.reflections, one.wrong, one.noise));
    struct lie {
        const char* name;
        belief what;
    };
    for (const lie& told : {lie{"another cell", belief::another},
                            {"one edge 5 % longer", belief::one_edge},
                            {"all edges 2 % longer", belief::all_edges},
                            {"supercell of index 2", belief::supercell},
                            {"subcell of index 2", belief::subcell}})
        for (const kind& one : {kind{12, 0, 0.01}, {20, 10, 0.02}, {100, 0, 0.01}})
            all.push_back(cell_row(told.name, told.what, one.reflections, one.wrong, one.noise));
    for (const int reflections : {12, 20, 100}) all.push_back(scrambled_row(reflections));
}

// ------------------------------------------------------------------------------ twins

// Monoclinic crystals, the second rotated by 180 degrees about a: the nearer beta is to a right angle, the
// nearer are the points of the two.
void add_twins(rows& all)
{
    for (const auto& [reflections, wrong] : {std::pair{24, 0}, {60, 0}, {60, 12}})
        for (const double beta : {91.0, 92.0, 93.0, 95.0, 100.0})
            all.push_back({"twins",
                           "beta " + number(beta) + ", N " + std::to_string(reflections)
                               + ", wrong " + std::to_string(wrong),
                           12,
                           [=, N = reflections, w = wrong](std::uint64_t seed, int) {
                               tools::simulationrequest asked;
                               asked.seed = seed;
                               asked.cell = cell_parameters{7.1, 9.3, 12.2, 90.0, beta, 90.0};
                               asked.reflections = N;
                               asked.wrong = w;
                               asked.noise = 0.01;
                               asked.lattices = 2;
                               asked.twin = tools::twinlaw{180.0, {1.0, 0.0, 0.0}};
                               return simulated_list(asked);
                           },
                           true});
}

} // namespace

std::uint64_t seed_of(seed_set set, const std::string& row, int number)
{
    hasher hash;
    hash.add(row);
    constexpr std::uint64_t middle = (1ULL << 46) - 1;
    return (static_cast<std::uint64_t>(set) << 62) | ((hash.value() & middle) << 16)
           | static_cast<std::uint64_t>(number & 0xffff);
}

const std::vector<std::string>& group_names()
{
    static const std::vector<std::string> names = {"table",     "classes", "large", "shift",
                                                   "nolattice", "wedges",  "cell",  "twins"};
    return names;
}

std::vector<study_row> all_rows(volume_choice volumes)
{
    rows all;
    add_table(all, volumes);
    add_classes(all);
    add_large(all);
    add_shift(all);
    add_no_lattice(all);
    add_wedges(all);
    add_cells(all);
    add_twins(all);
    return all;
}

} // namespace torvik::study
