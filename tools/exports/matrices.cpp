// Formats that are a matrix and a cell, in lines of plain text.

#include "exports/exporter.h"

#include "base/table.h"

#include <cstdio>

namespace torvik::tools {

namespace {

// A number at the right end of a field, behind one blank at least.
std::string field(const std::string& number, std::size_t width)
{
    return number.size() < width ? std::string(width - number.size(), ' ') + number : " " + number;
}

std::string field(double value, int decimals, std::size_t width)
{
    return field(fixed(value, decimals), width);
}

std::string rowtext(const vector3& row, int decimals, std::size_t width)
{
    return field(row.x, decimals, width) + field(row.y, decimals, width)
           + field(row.z, decimals, width) + "\n";
}

std::string rowstext(const matrix3& A, int decimals, std::size_t width)
{
    std::string text;
    for (int i = 0; i < 3; ++i) text += rowtext(row_of(A, i), decimals, width);
    return text;
}

std::string celltext(const orientation& crystal, int decimals, std::size_t width)
{
    std::string text;
    for (const double value : crystal.cell) text += field(value, decimals, width);
    return text;
}

std::string exponential(double value)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.9e", value);
    return text;
}

std::string withsign(double value)
{
    return (value < 0.0 ? "" : "+") + fixed(value, 7);
}

std::string origin(const exportinput& input)
{
    return "solution " + std::to_string(input.chosen) + " of " + input.results.input;
}

} // namespace

// ImageD11's matrix (UB)^-1: the real-space vectors a, b, c in rows, in angstroms, so that ubi * g
// gives h k l for a g-vector in 1/angstrom without 2 pi. Three lines for a grain, an empty one behind.
std::string ubitext(const exportinput& input)
{
    return rowstext(input.crystal.basis, 8, 14) + "\n";
}

// The matrix that makes reflection vectors of h k l, row by row: a*, b*, c* stand in its columns, in
// 1/angstrom without 2 pi. The letter is the centring of the cell.
std::string rmattext(const exportinput& input)
{
    return "RMAT P\n" + rowstext(input.crystal.UB, 9, 14) + "CELL " + celltext(input.crystal, 5, 11)
           + field(input.crystal.volume, 3, 12) + "\n";
}

// ISAW's: the transpose of UB, so a*, b*, c* in rows, in 1/angstrom without 2 pi; then the cell with
// its volume, then their standard uncertainties, which are not known: zeros. Its axes are x along the
// beam and z upward, while the peaks of the same instrument, as they are imported, have z along the
// beam and y upward: the components stand in the order z, x, y.
std::string mattext(const exportinput& input)
{
    std::string text;
    for (int i = 0; i < 3; ++i) {
        const vector3 star = input.crystal.UB.column_copy(i);
        text += rowtext({star.z, star.x, star.y}, 8, 12);
    }
    text += celltext(input.crystal, 4, 12) + field(input.crystal.volume, 4, 12) + "\n";
    for (int i = 0; i < 7; ++i) text += field(0.0, 4, 12);
    return text
           + "\n\n\nThe matrix above is the transpose of UB. UB maps the column (h,k,l) to the "
             "column\n"
             "(q'x,q'y,q'z). |Q'| = 1/dspacing, and its coordinates are a right-handed system\n"
             "where x is the beam direction and z is vertically upward, if z was along the beam\n"
             "and y upward in the reflection vectors.\n";
}

// SAINT's: ORT1 to ORT3 are the rows of UB, in 1/angstrom without 2 pi, in the frame in which the
// last triple of numbers of a REF line stands; the seventh number of CELL is the volume.
std::string p4ptext(const exportinput& input)
{
    std::string text = "TITLE  Torvik, " + origin(input) + "\n";
    text += "CELL  " + celltext(input.crystal, 4, 10) + field(input.crystal.volume, 3, 11) + "\n";
    for (int i = 0; i < 3; ++i) {
        const vector3 row = row_of(input.crystal.UB, i);
        text += "ORT" + std::to_string(i + 1);
        for (const double x : {row.x, row.y, row.z}) text += field(exponential(x), 18);
        text += "\n";
    }
    return text + "BRAVAIS Triclinic  P\n";
}

// What CrystFEL writes of a crystal: lengths in nanometres, a*, b*, c* in 1/nm without 2 pi.
std::string crystfeltext(const exportinput& input)
{
    constexpr double nanometre = 10.0; // angstroms
    const cell_parameters& cell = input.crystal.cell;
    std::string text = "--- Begin crystal\nCell parameters";
    for (std::size_t i = 0; i < 3; ++i) text += " " + fixed(cell[i] / nanometre, 6);
    text += " nm,";
    for (std::size_t i = 3; i < 6; ++i) text += " " + fixed(cell[i], 5);
    text += " deg\n";
    for (int i = 0; i < 3; ++i) {
        const vector3 star = input.crystal.UB.column_copy(i) * nanometre;
        text += std::string(1, "abc"[i]) + "star = " + withsign(star.x) + " " + withsign(star.y)
                + " " + withsign(star.z) + " nm^-1\n";
    }
    return text + "lattice_type = triclinic\ncentering = P\n--- End crystal\n";
}

} // namespace torvik::tools
