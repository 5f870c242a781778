#include "solver/kept/kept_lists.h"

#include "solver/builds/fixed_lists.h"

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <functional>

namespace torvik::solver {

namespace {

using builds::fixed_numbers;
using builds::fixed_request;

double length_of(const vec3& x)
{
    return std::sqrt(builds::length_square(x));
}

vec3 scaled_by(double factor, const vec3& x)
{
    return {factor * x[0], factor * x[1], factor * x[2]};
}

bool allowed(char centring, const std::array<int, 3>& h)
{
    const auto even = [](int n) { return n % 2 == 0; };
    switch (centring) {
    case 'A': return even(h[1] + h[2]);
    case 'B': return even(h[0] + h[2]);
    case 'C': return even(h[0] + h[1]);
    case 'I': return even(h[0] + h[1] + h[2]);
    case 'F': return even(h[0] + h[1]) && even(h[1] + h[2]);
    case 'R': return (-h[0] + h[1] + h[2]) % 3 == 0;
    default: return true;
    }
}

// The first reflections of a conventional cell that its centring allows, and other conditions.
measurement lattice_points(const fixed_request& asked, char centring,
                           const std::function<bool(const std::array<int, 3>&)>& also)
{
    fixed_numbers random(asked.seed);
    const mat3 inverse = builds::inverse_of(builds::basis_of(asked, random));
    measurement made;
    while (static_cast<int>(made.vectors.size()) < asked.reflections) {
        const std::array<int, 3> h = {random.whole(-9, 9), random.whole(-9, 9),
                                      random.whole(-9, 9)};
        if (!allowed(centring, h) || !also(h)) continue;
        vec3 q = builds::product(inverse, {static_cast<double>(h[0]), static_cast<double>(h[1]),
                                           static_cast<double>(h[2])});
        const double length = length_of(q);
        if (length > 0.8 || length == 0.0) continue;
        for (double& component : q) component += asked.noise * random.deviate();
        made.vectors.push_back(q);
    }
    return made;
}

bool any(const std::array<int, 3>& /*h*/)
{
    return true;
}

void add_outliers(measurement& made, int count, std::uint64_t seed)
{
    fixed_numbers random(seed);
    for (int i = 0; i < count; ++i)
        made.vectors.push_back(
            {random.between(-0.5, 0.5), random.between(-0.5, 0.5), random.between(-0.5, 0.5)});
}

kept_list of_builds(const fixed_request& asked)
{
    return {asked.name, builds::list_of(asked), builds::options_of(asked)};
}

options unhurried()
{
    return builds::options_of({});
}

void add_centred(std::vector<kept_list>& all)
{
    std::uint64_t seed = 50;
    for (const char centring : {'A', 'B', 'C', 'I', 'F'}) {
        const fixed_request asked = {"", {7.0, 9.0, 12.0}, 0.0, 40, 0, 0.001, 0.0, seed++};
        kept_list one = {std::string("centred ") + centring, lattice_points(asked, centring, any),
                         unhurried()};
        add_outliers(one.measured, 4, seed);
        all.push_back(one);
        one.name += ", known";
        one.how.known = {{{7.0, 9.0, 12.0, 90.0, 90.0, 90.0}, centring}};
        all.push_back(one);
    }
}

void add_known(std::vector<kept_list>& all)
{
    const fixed_request asked = {"", {7.0, 9.0, 12.0}, 0.0, 30, 0, 0.001, 0.0, 60};
    kept_list one = {"", lattice_points(asked, 'P', any), unhurried()};
    add_outliers(one.measured, 6, 61);
    const auto with = [&](const std::string& name, std::vector<known_cell> cells) {
        one.name = name;
        one.how.known = std::move(cells);
        all.push_back(one);
    };
    with("known, one of three", {{{7.0, 9.0, 11.0, 90.0, 90.0, 90.0}, 'P'},
                                 {{7.0, 9.0, 12.0, 90.0, 90.0, 90.0}, 'P'},
                                 {{8.0, 8.0, 12.0, 90.0, 90.0, 90.0}, 'P'}});
    with("known, another scale", {{{7.06, 9.08, 12.1, 90.0, 90.0, 90.0}, 'P'}});
    with("known, twice as large", {{{14.0, 9.0, 12.0, 90.0, 90.0, 90.0}, 'P'}});
    with("known, half of it", {{{7.0, 9.0, 6.0, 90.0, 90.0, 90.0}, 'P'}});
    with("known, nearly tetragonal", {{{9.0, 9.0, 12.0, 90.0, 90.0, 90.0}, 'P'}});
    with("known, another", {{{5.0, 8.0, 10.0, 80.0, 95.0, 105.0}, 'P'}});
    with("known, one and twice",
         {{{7.0, 9.0, 12.0, 90.0, 90.0, 90.0}, 'P'}, {{7.0, 9.0, 24.0, 90.0, 90.0, 90.0}, 'P'}});
    one.how.known_tolerance = 0.005;
    with("known, narrow tolerance", {{{7.06, 9.08, 12.1, 90.0, 90.0, 90.0}, 'P'}});
    const fixed_request cubic = {"", {8.0, 8.0, 8.0}, 0.0, 25, 0, 0.002, 0.0, 62};
    all.push_back({"known, cubic", lattice_points(cubic, 'P', any), unhurried()});
    all.back().how.known = {{{8.0, 8.0, 8.0, 90.0, 90.0, 90.0}, 'P'}};
    add_outliers(all.back().measured, 5, 63);
}

// Cells that are nearly those of a higher symmetry, and lists that take the ways for many reflections.
void add_harder(std::vector<kept_list>& all)
{
    const auto known = [&](const std::string& name, const fixed_request& asked, int outliers) {
        all.push_back({name, lattice_points(asked, 'P', any), unhurried()});
        add_outliers(all.back().measured, outliers, asked.seed + 500);
        const vec3& axes = asked.axes;
        all.back().how.known = {{{axes[0], axes[1], axes[2], 90.0, 90.0, 90.0}, 'P'}};
    };
    known("known, pseudo-cubic", {"", {8.0, 8.1, 8.2}, 0.0, 8, 0, 0.002, 0.0, 110}, 2);
    known("known, pseudo-cubic, coarse", {"", {8.0, 8.1, 8.2}, 0.0, 20, 0, 0.004, 0.0, 111}, 5);
    known("known, pseudo-tetragonal", {"", {7.0, 7.2, 12.0}, 0.0, 12, 0, 0.003, 0.0, 112}, 6);
    known("known, three hundred", {"", {10.0, 12.0, 15.0}, 0.0, 250, 0, 0.001, 0.0, 113}, 50);
    known("known, mostly outliers", {"", {9.0, 10.0, 11.0}, 0.0, 20, 0, 0.001, 0.0, 114}, 40);
    known("known, four", {"", {5.0, 6.0, 9.0}, 0.0, 4, 0, 0.001, 0.0, 115}, 0);
    known("known, long axis", {"", {5.0, 6.0, 40.0}, 0.0, 30, 0, 0.0005, 0.0, 116}, 5);
    const auto free = [&](const fixed_request& asked) { all.push_back(of_builds(asked)); };
    free({"shifted, four hundred", {9.0, 10.0, 12.0}, 0.1, 400, 40, 0.001, 0.02, 120});
    free({"shifted by half a point", {6.0, 7.0, 8.0}, 0.1, 50, 0, 0.001, 0.08, 121});
    free({"twelve, coarse", {5.0, 6.0, 7.0}, 0.1, 12, 0, 0.006, 0.0, 122});
    free({"twenty, coarse, with outliers", {5.0, 7.0, 8.0}, 0.1, 20, 5, 0.005, 0.0, 123});
    free({"a hundred and fifty, mostly outliers", {7.0, 8.0, 9.0}, 0.1, 150, 100, 0.001, 0.0, 124});
    free({"hexagonal, nearly", {7.0, 8.083, 12.0}, 0.5, 40, 4, 0.001, 0.0, 125});
    free({"a large cell", {25.0, 32.0, 41.0}, 0.05, 300, 30, 0.0002, 0.0, 126});
    free({"a needle", {3.0, 3.2, 45.0}, 0.02, 50, 5, 0.0003, 0.0, 127});
    free({"three crystals", {6.0, 7.0, 8.0}, 0.1, 40, 0, 0.0005, 0.0, 128, false, 3, 40});
    free({"two hundred, two lattices",
          {8.0, 9.0, 10.0},
          0.1,
          120,
          10,
          0.0008,
          0.0,
          129,
          false,
          2,
          80,
          false});
}

void add_limited(std::vector<kept_list>& all)
{
    const fixed_request asked = {"", {4.0, 8.0, 9.0}, 0.1, 40, 4, 0.001, 0.0, 70};
    const kept_list one = {"", builds::list_of(asked), unhurried()};
    const auto with = [&](const std::string& name, const std::function<void(options&)>& change) {
        all.push_back(one);
        all.back().name = name;
        change(all.back().how);
    };
    with("volume above", [](options& how) { how.smallest_volume = 400.0; });
    with("volume below", [](options& how) { how.largest_volume = 200.0; });
    with("volume between", [](options& how) {
        how.smallest_volume = 250.0;
        how.largest_volume = 350.0;
    });
    with("axes above", [](options& how) { how.shortest_axis = 5.0; });
    with("another seed", [](options& how) { how.seed = 7; });
    with("three lattices", [](options& how) { how.lattices = 3; });
}

// Reflections between those of a smaller cell: of a superstructure, if they are many.
void add_superstructures(std::vector<kept_list>& all)
{
    const fixed_request asked = {"", {6.0, 8.0, 14.0}, 0.05, 40, 0, 0.0008, 0.0, 80};
    for (const int one_of : {41, 17, 5}) {
        const auto few = [&](const std::array<int, 3>& h) {
            return h[2] % 2 == 0 || (5 * h[0] + 3 * h[1] + h[2]) % one_of == 0;
        };
        all.push_back({"superstructure with 1 of " + std::to_string(one_of),
                       lattice_points(asked, 'P', few), unhurried()});
    }
    const auto third = [](const std::array<int, 3>& h) { return h[2] % 3 == 0 || h[0] == 2; };
    all.push_back({"superstructure of three", lattice_points(asked, 'P', third), unhurried()});
}

void add_twins(std::vector<kept_list>& all)
{
    const fixed_request asked = {"", {6.0, 7.0, 9.0}, 0.08, 40, 0, 0.0008, 0.0, 90};
    measurement first = lattice_points(asked, 'P', any);
    fixed_request another = asked;
    another.reflections = 15;
    fixed_numbers random(91);
    const mat3 turn = builds::rotation(random);
    measurement turned = first;
    for (const vec3& q : lattice_points(another, 'P', any).vectors)
        turned.vectors.push_back(builds::product(turn, q));
    all.push_back({"two orientations", turned, unhurried()});
    all.push_back({"two orientations, two lattices", turned, unhurried()});
    all.back().how.lattices = 2;
    measurement mirrored = first; // by half a turn about x
    for (const vec3& q : lattice_points(another, 'P', any).vectors)
        mirrored.vectors.push_back({q[0], -q[1], -q[2]});
    all.push_back({"twin about x", mirrored, unhurried()});
    all.push_back({"twin about x, known", mirrored, unhurried()});
    all.back().how.known = {{{6.0, 7.02, 9.04, 85.4, 92.3, 85.4}, 'P'}};
    all.back().how.known_tolerance = 0.03;
}

// Errors of other kinds than those of each reflection by itself.
void add_errors(std::vector<kept_list>& all)
{
    const fixed_request asked = {"", {6.0, 8.0, 11.0}, 0.1, 60, 0, 0.0008, 0.0, 100};
    const measurement made = lattice_points(asked, 'P', any);
    kept_list ring = {"ring", made, unhurried()};
    fixed_numbers random(101);
    for (int i = 0; i < 12; ++i) {
        const vec3 q = {random.between(-1.0, 1.0), random.between(-1.0, 1.0),
                        random.between(-1.0, 1.0)};
        ring.measured.vectors.push_back(scaled_by(1.0 / (3.67 * length_of(q)), q));
    }
    all.push_back(ring);
    kept_list bent = {"bent", made, unhurried()};
    for (vec3& q : bent.measured.vectors) q = scaled_by(1.0 + 0.01 * builds::length_square(q), q);
    all.push_back(bent);
    kept_list smeared = {"errors along normals", made, unhurried()};
    for (vec3& q : smeared.measured.vectors) {
        const vec3 beam = {q[0], q[1], q[2] + 1.5};
        const vec3 normal = scaled_by(1.0 / length_of(beam), beam);
        smeared.measured.normals.push_back(normal);
        const double error = 0.006 * random.deviate();
        for (std::size_t i = 0; i < 3; ++i) q[i] += error * normal[i];
    }
    all.push_back(smeared);
    kept_list detailed = {"with intensities and images", made, unhurried()};
    add_outliers(detailed.measured, 15, 102);
    for (std::size_t i = 0; i < detailed.measured.vectors.size(); ++i) {
        detailed.measured.intensities.push_back(1000.0 / static_cast<double>(i + 1));
        detailed.measured.images.push_back(static_cast<int>(i % 7));
    }
    all.push_back(detailed);
    kept_list rows = {"rows", {}, unhurried()};
    for (int i = 1; i <= 6; ++i)
        for (const vec3& step :
             {vec3{0.07, 0.01, 0.0}, vec3{0.0, 0.11, 0.02}, vec3{0.03, 0.0, 0.09}})
            rows.measured.vectors.push_back(scaled_by(i, step));
    all.push_back(rows);
    kept_list flat = {"in a plane", made, unhurried()};
    for (vec3& q : flat.measured.vectors) q[2] = 0.0;
    all.push_back(flat);
}

std::string cells_of(const answer& found)
{
    std::string text;
    for (const lattice& one : found.lattices) {
        char axes[64];
        std::snprintf(axes, sizeof axes, " [%.3f %.3f %.3f]", length_of(one.basis[0]),
                      length_of(one.basis[1]), length_of(one.basis[2]));
        text += axes;
    }
    return text;
}

} // namespace

std::vector<kept_list> kept_lists()
{
    std::vector<kept_list> all;
    for (const fixed_request& asked : builds::fixed_requests()) {
        all.push_back(of_builds(asked));
        if (all.back().name == "triclinic") all.back().name += " " + std::to_string(asked.seed);
    }
    add_centred(all);
    add_known(all);
    add_harder(all);
    add_limited(all);
    add_superstructures(all);
    add_twins(all);
    add_errors(all);
    return all;
}

std::string line_of(const kept_list& asked)
{
    const answer found = solve(asked.measured, asked.how);
    constexpr const char* verdicts[] = {"solved", "ambiguous", "refused"};
    builds::bits_hash all;
    all.add(found);
    for (const lattice& one : found.lattices) all.add(one.sigma_along_normal);
    char numbers[160];
    std::snprintf(numbers, sizeof numbers, "evidence %.4f, lead %.4f, %zu compete, %d indexed",
                  found.lattices.empty() ? 0.0 : found.lattices[0].evidence, found.lead,
                  found.competing, found.lattices.empty() ? 0 : found.lattices[0].indexed);
    char hash[24];
    std::snprintf(hash, sizeof hash, "%016" PRIx64, all.value());
    return asked.name + ": " + verdicts[static_cast<std::size_t>(found.how)] + cells_of(found)
           + ", " + numbers + ", " + hash;
}

} // namespace torvik::solver
