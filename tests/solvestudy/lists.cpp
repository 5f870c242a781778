#include "lists.h"

#include "drawing.h"
#include "solver/lattice/deformation.h"
#include "solver/lattice/relations.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace torvik::study {

namespace {

matrix3 pseudosymmetric_crystal(double volume, randomnumbers& random)
{
    std::array<double, 6> cell = {};
    for (std::size_t i = 0; i < 3; ++i) cell[i] = 1.0 + random.between(0.0, 0.01);
    for (std::size_t i = 3; i < 6; ++i) cell[i] = 90.0 + random.between(-1.0, 1.0);
    // Half of them nearly tetragonal or orthorhombic, the others nearly cubic.
    if (random.whole(0, 1) == 1) cell[2] *= random.between(1.2, 2.0);
    const matrix3 basis = tools::uprightbasis(cell[0], cell[1], cell[2], cell[3], cell[4], cell[5])
                              .multiply(tools::randomorientation(random));
    return tools::reducedbasis(
        tools::scaled(basis, tools::cuberoot(volume / std::fabs(basis.determinant()))));
}

matrix3 crystal_of(const lattice_request& asked, randomnumbers& random)
{
    if (asked.cell) {
        const auto& [a, b, c, alpha, beta, gamma] = *asked.cell;
        return tools::reducedbasis(tools::uprightbasis(a, b, c, alpha, beta, gamma)
                                       .multiply(tools::randomorientation(random)));
    }
    const double volume = log_uniform(asked.smallest_volume, asked.largest_volume, random);
    return asked.kind == crystal_kind::bravais ? bravais_crystal(volume, random)
                                               : pseudosymmetric_crystal(volume, random);
}

// The subcell of a superstructure: a basis of one of the seven lattices that have the crystal's as a
// superlattice of index 2.
matrix3 subcell_of(const matrix3& basis, randomnumbers& random)
{
    const auto forms = tools::finer_forms(2);
    const int which = random.whole(0, static_cast<int>(forms.size()) - 1);
    return forms[static_cast<std::size_t>(which)].multiply(basis);
}

std::vector<millerindices> inliers_of(const lattice_request& asked, const matrix3& basis, int count,
                                      randomnumbers& random)
{
    if (asked.odd <= 0.0)
        return draw_indices(
            basis, asked.smallest_d, count, [](const millerindices&) { return true; }, random);
    const matrix3 T = subcell_of(basis, random).multiply(basis.inverse());
    const auto main = [&](const millerindices& hkl) {
        return tools::off_whole(T.multiply(vector3(hkl))) < 0.1;
    };
    const int odd = std::max(1, static_cast<int>(std::lround(asked.odd * count)));
    auto all = draw_indices(basis, asked.smallest_d, count - odd, main, random);
    const auto others = draw_indices(
        basis, asked.smallest_d, odd, [&](const millerindices& hkl) { return !main(hkl); }, random);
    all.insert(all.end(), others.begin(), others.end());
    return all;
}

struct shell {
    double shortest = 1e30;
    double longest = 0.0;
};

// Measured inliers, and the shell that they fill.
std::vector<drawn> measured(const lattice_request& asked, const known_list& list, int count,
                            shell& filled, randomnumbers& random)
{
    const matrix3& basis = list.lattices.front();
    const matrix3 R = tools::reciprocalof(basis);
    const vector3 worst = random_direction(random);
    std::vector<drawn> reflections;
    for (const millerindices& hkl : inliers_of(asked, basis, count, random)) {
        const vector3 exact = tools::vectorof(hkl, R);
        filled.shortest = std::min(filled.shortest, exact.length());
        filled.longest = std::max(filled.longest, exact.length());
        const vector3 e = normal_vector(random);
        const vector3 error = e + (asked.anisotropy - 1.0) * e.dot(worst) * worst;
        reflections.push_back({exact + list.noise * error + list.shift, hkl, 1, 0, {}});
    }
    return reflections;
}

template <class item>
item& any_of(std::vector<item>& items, randomnumbers& random)
{
    return items[static_cast<std::size_t>(random.whole(0, static_cast<int>(items.size()) - 1))];
}

std::vector<vector3> on_rings(int count, randomnumbers& random)
{
    std::vector<double> lengths;
    for (int i = 0; i < 4; ++i) lengths.push_back(random.between(0.2, 1.0));
    std::vector<vector3> vectors;
    for (int i = 0; i < count; ++i)
        vectors.push_back((any_of(lengths, random) * (1.0 + 0.003 * tools::normaldeviate(random)))
                          * random_direction(random));
    return vectors;
}

// Rows through the origin would be rows of a lattice, and so would any two long ones: four points each.
std::vector<vector3> on_rows(int count, randomnumbers& random)
{
    const int rows = std::max(4, (count + 3) / 4);
    std::vector<vector3> vectors;
    for (int r = 0; r < rows; ++r) {
        const vector3 origin = uniform_in_shell(0.2, 0.8, random);
        const vector3 step = random.between(0.05, 0.15) * random_direction(random);
        for (int i = r; i < count; i += rows)
            vectors.push_back(origin + static_cast<double>(i / rows) * step
                              + 0.001 * normal_vector(random));
    }
    return vectors;
}

std::vector<vector3> without_lattice(chance_kind kind, int count, std::uint64_t seed)
{
    randomnumbers random(seed);
    if (kind == chance_kind::rings) return on_rings(count, random);
    if (kind == chance_kind::rows) return on_rows(count, random);
    std::vector<vector3> vectors;
    for (int i = 0; i < count; ++i) vectors.push_back(uniform_in_shell(0.0, 1.0, random));
    return vectors;
}

// A direct basis of the crystal as another has it: strained at random.
matrix3 strained(const matrix3& basis, randomnumbers& random)
{
    constexpr double usual_strain = 0.003;
    tools::nine strain = {};
    for (std::size_t k = 3; k < strain.size(); ++k)
        strain[k] = usual_strain * tools::normaldeviate(random);
    return basis.multiply(matrix3() + tools::deformation_of(strain));
}

matrix3 another_cell(const matrix3& basis, randomnumbers& random)
{
    const matrix3 cell = tools::randomcell(random, tools::latticetypes[0]);
    return tools::scaled(
        cell, tools::cuberoot(std::fabs(basis.determinant()) / std::fabs(cell.determinant())));
}

cell_parameters cell_believed(const matrix3& basis, belief what, randomnumbers& random)
{
    const auto one_of_seven = static_cast<std::size_t>(random.whole(0, 6));
    const auto edge = static_cast<std::size_t>(random.whole(0, 2));
    const matrix3 near = strained(basis, random);
    cell_parameters cell = tools::cell_of(near);
    switch (what) {
    case belief::right: break;
    case belief::another: return tools::cell_of(another_cell(basis, random));
    case belief::one_edge: cell[edge] *= 1.05; break;
    case belief::all_edges:
        for (std::size_t i = 0; i < 3; ++i) cell[i] *= 1.02;
        break;
    case belief::supercell:
        return tools::cell_of(tools::hermite_forms(2)[one_of_seven].multiply(near));
    case belief::subcell: return tools::cell_of(tools::finer_forms(2)[one_of_seven].multiply(near));
    }
    return cell;
}

} // namespace

known_list lattice_list(const lattice_request& asked, std::uint64_t seed)
{
    randomnumbers random(seed);
    known_list list;
    list.lattices.push_back(crystal_of(asked, random));
    const double unit = shortest_reciprocal(list.lattices.front());
    list.noise = asked.noise * unit;
    list.shift = asked.shift * unit * random_direction(random);
    const int wrong = static_cast<int>(std::lround(asked.wrong * asked.reflections));
    shell filled;
    auto reflections = measured(asked, list, asked.reflections - wrong, filled, random);
    for (int i = 0; i < wrong; ++i)
        reflections.push_back(
            {uniform_in_shell(filled.shortest, filled.longest, random) + list.shift, {}, 0, 0, {}});
    put(std::move(reflections), false, list, random);
    return list;
}

known_list plain_list(std::uint64_t seed)
{
    randomnumbers random(seed);
    lattice_request asked;
    asked.reflections = static_cast<int>(std::lround(log_uniform(5.0, 300.0, random)));
    // Three inliers at least.
    const double most = std::min(0.8, 1.0 - 3.0 / asked.reflections);
    asked.wrong = random.between(0.0, most);
    asked.noise = random.between(0.0, 0.04);
    return lattice_list(asked, random.bits());
}

known_list simulated_list(const tools::simulationrequest& asked)
{
    const tools::simulated made = tools::simulate(asked);
    known_list list;
    for (const auto& lattice : made.lattices) list.lattices.push_back(lattice.primitive);
    list.noise = made.noise;
    list.shift = asked.offset;
    std::vector<drawn> reflections;
    for (const auto& one : made.reflections)
        reflections.push_back({one.measured, one.hkl, one.lattice, 0, {}});
    randomnumbers random(asked.seed);
    put(std::move(reflections), false, list, random);
    return list;
}

known_list chance_list(chance_kind kind, int reflections, std::uint64_t seed)
{
    if (kind == chance_kind::turned) {
        lattice_request asked;
        asked.reflections = reflections;
        randomnumbers random(seed);
        known_list list = lattice_list(asked, random.bits());
        scramble(list, random.bits());
        return list;
    }
    known_list list;
    for (const vector3& v : without_lattice(kind, reflections, seed))
        list.measured.vectors.push_back(for_solver(v));
    list.crystals.assign(list.measured.vectors.size(), 0);
    list.indices.assign(list.measured.vectors.size(), {});
    return list;
}

void scramble(known_list& list, std::uint64_t seed)
{
    randomnumbers random(seed);
    for (solver::vec3& q : list.measured.vectors)
        q = for_solver(tools::randomorientation(random).multiply(vector3(q[0], q[1], q[2])));
    list.lattices.clear();
    list.crystals.assign(list.measured.vectors.size(), 0);
    list.indices.assign(list.measured.vectors.size(), {});
    list.span = 1;
    list.spanned.reset();
    list.cells_are_true = false;
}

void believe(known_list& list, belief what, std::uint64_t seed)
{
    randomnumbers random(seed);
    list.cells = {{cell_believed(list.lattices.front(), what, random), 'P'}};
    list.cells_are_true = what == belief::right;
}

} // namespace torvik::study
