#include "lattice/librarysteps.h"

#include <gemmi/cellred.hpp>
#include <gemmi/twin.hpp>

namespace torvik::tools {

namespace {

constexpr int most = 10000; // steps: far more than any basis of sound numbers takes

} // namespace

std::vector<wholematrix> twofoldaxes(const cell6& reduced, double limit)
{
    std::vector<wholematrix> found;
    for (const auto& [operation, obliquity] :
         gemmi::find_lattice_2fold_ops(gemmi::UnitCell(reduced), limit)) {
        wholematrix W = operation.rot;
        for (auto& row : W)
            for (int& x : row) x /= gemmi::Op::DEN;
        found.push_back(W);
    }
    return found;
}

double obliquityof(const cell6& reduced, const vector3& direction, const vector3& normal)
{
    return gemmi::deg(
        std::acos(gemmi::calculate_cos_obliquity(gemmi::UnitCell(reduced), direction, normal)));
}

std::size_t rotationsof(const cell6& reduced, double limit)
{
    return gemmi::find_lattice_symmetry_r(gemmi::UnitCell(reduced), limit).sym_ops.size();
}

cell6 nigglibysteps(const matrix3& basis, double tolerance)
{
    gemmi::GruberVector vector(basis.transpose());
    vector.niggli_reduce(tolerance, most);
    return vector.cell_parameters();
}

cell6 delaunaybysteps(const matrix3& basis, double tolerance)
{
    gemmi::SellingVector vector(basis.transpose());
    vector.reduce(tolerance, most);
    vector.sort();
    return vector.cell_parameters();
}

} // namespace torvik::tools
