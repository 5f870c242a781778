// What can be said of the lattices of a list of solutions.
#pragma once

#include "base/linear.h"
#include "base/textfile.h"
#include "formats/resultsfile.h"
#include "lattice/score.h"
#include "solver/lattice/bravais.h"
#include "solver/lattice/cell.h"
#include "solver/lattice/relations.h"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace torvik::tools {

// A lattice as it came: a solution, a job of LePage.inp or a cell.
struct givenlattice {
    int number = 0; // from 1
    matrix3 basis;  // of the given axes; of a cell in no particular orientation
    char centring = 'P';
    std::optional<int> indexed;      // reflections of a solution
    std::optional<double> obliquity; // the tolerance that the file asks for
};

struct givenlattices {
    std::string source;    // name of the file; empty for cells
    bool oriented = false; // all in one frame
    std::vector<givenlattice> list;
};

// Solutions of a results file, or jobs of LePage.inp. Throws badfile if a text is neither.
givenlattices latticesin(const textfile& source);

// Of cells as cellfrom reads them.
givenlattices latticesof(const std::vector<centred_cell>& cells);

// A cell with a name, of a file of known cells.
struct knowncell {
    std::string name;
    centred_cell cell;
};

// Reads known cells: on each line six numbers, perhaps a letter of the centring, then perhaps a name;
// "#" begins a comment. Throws badfile where a line is something else.
std::vector<knowncell> readknowncells(const textfile& source);

// A known cell that fits: how the lattice lies to it, and the matrix between them. T has simple
// fractions if a cell is centred: known axes = T * given axes if the lattice is the same or a sub, else
// given axes = T * known axes.
struct knownmatch {
    std::size_t known = 0; // which, from 0
    kinship how = kinship::same;
    int index = 1;
    matrix3 T;
    double misfit = 0.0;
};

struct latticesurvey {
    givenlattice given;
    cell_parameters cell = {}; // of the given axes
    double volume = 0.0;       // of the primitive cell
    reduction niggliform;      // T from the given axes, with fractions if these are centred
    reduction delaunayform;    // right angles are right within the tolerance
    double tolerance = usual_obliquity;   // degrees
    std::vector<bravais_lattice> bravais; // the same
    std::vector<knownmatch> known;        // the best first
};

// The primitive bases of two lattices, by their places in the list: how the first lies to the second.
// First = T * second if the same or a super, else second = T * first: of cells without orientation only
// congruent.
struct kinsmen {
    std::size_t first = 0;
    std::size_t second = 0;
    kinship how = kinship::same;
    int index = 1;
    matrix3 T;
    double misfit = 0.0;
};

struct surveyoptions {
    std::optional<double> obliquity; // else what the file asks for, else the usual
    double limit = 3.0;              // of doubtful ones
    celltolerance tolerance;         // for cells without orientation
    int largest = 6;                 // index of super- and subcells
};

latticesurvey surveyof(const givenlattice& given, const std::vector<knowncell>& known,
                       const surveyoptions& options);

// All pairs that are related, first < second.
std::vector<kinsmen> kinshipsof(const givenlattices& given, const surveyoptions& options);

} // namespace torvik::tools
