#include "solver/lattice/library_steps.h"

#include <gemmi/cellred.hpp>
#include <gemmi/twin.hpp>

namespace torvik::solver {

namespace {

constexpr int most = 10000; // steps: far more than any finite basis takes

} // namespace

std::vector<integer_matrix> two_fold_axes(const cell_parameters& reduced, double limit)
{
    std::vector<integer_matrix> found;
    for (const auto& [operation, obliquity] :
         gemmi::find_lattice_2fold_ops(gemmi::UnitCell(reduced), limit)) {
        integer_matrix W = operation.rot;
        for (auto& row : W)
            for (int& x : row) x /= gemmi::Op::DEN;
        found.push_back(W);
    }
    return found;
}

double obliquity_of(const cell_parameters& reduced, const vector3& direction, const vector3& normal)
{
    return gemmi::deg(
        std::acos(gemmi::calculate_cos_obliquity(gemmi::UnitCell(reduced), direction, normal)));
}

std::size_t rotation_count(const cell_parameters& reduced, double limit)
{
    return gemmi::find_lattice_symmetry_r(gemmi::UnitCell(reduced), limit).sym_ops.size();
}

cell_parameters niggli_by_steps(const matrix3& basis, double tolerance)
{
    gemmi::GruberVector vector(basis.transpose());
    vector.niggli_reduce(tolerance, most);
    return vector.cell_parameters();
}

cell_parameters delaunay_by_steps(const matrix3& basis, double tolerance)
{
    gemmi::SellingVector vector(basis.transpose());
    vector.reduce(tolerance, most);
    vector.sort();
    return vector.cell_parameters();
}

} // namespace torvik::solver
