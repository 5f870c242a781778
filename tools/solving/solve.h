// From measured vectors to a trusted answer, by as many runs of the program as it takes.
#pragma once

#include "base/linear.h"
#include "solver/evidence/free_lattice.h"
#include "solver/lattice/cell.h"
#include "solving/ladder.h"

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace torvik::tools {

struct solveoptions {
    ladderoptions ladder;
    std::vector<cell_parameters>
        known;                     // the cells that the crystal may have; empty if none is known
    double budget = 60.0;          // seconds
    int jobs = 1;                  // runs at a time
    std::filesystem::path program; // Torvik
    const std::atomic<bool>* stop =
        nullptr; // ends the runs when set; the best so far is the answer
    std::function<void(const std::string&)> progress; // a line as work goes on; may be empty
};

enum class verdict { solved, ambiguous, refused };

// A run that was made: its files are in `folder` until the end of the work.
struct runmade {
    rung what;
    std::string input;   // text of the input file
    std::string results; // text of the results file; empty if the run was not finished
    bool cut = false;    // ended because it was stopped, or out of time
};

struct answer {
    verdict how = verdict::refused;
    std::string reason;               // a sentence
    std::vector<assessment> lattices; // reduced bases, right-handed; the most evident first
    std::size_t competing = 0;        // how many of them cannot be told apart; 1 if solved
    std::vector<runmade> runs;        // in the order of the ladder
    int winner = -1;                  // the run that led to the best lattice
    bool interrupted = false;         // stopped, or out of time
    int given = 0;                    // how many cells were known
};

// An answer needs this evidence (natural logarithm), and this lead on the next lattice; see
// docs/solve.md for the rates of success and error at these limits.
constexpr double evidenceneeded = 12.0;
constexpr double leadneeded = 3.5;

// Counts the lattices of an answer that cannot be told from the first: no less evident but for the lead
// that is needed. They come behind it; those that are there beside it, as another crystal, come last.
//
// Given:     besides  says of a lattice whether it is one of these
// Returned:  whether any is
bool countcompeting(answer& found, const std::function<bool(const assessment&)>& besides);

// Solves for one lattice. Runs are made in the order of the ladder, `jobs` at a time, and looked at in
// that order, so the answer does not depend on how many go at a time. It ends when the answer is
// sure, when the ladder or the budget is at its end, or when it is told to.
answer solve(const vectorlist& list, const solveoptions& options);

// Says whether the vectors lie on one sphere through the origin, to a part of their length: those of a
// single still image do, and so fix the lattice badly in one direction. A cell that is far too long in
// that direction then fits as well as the true one.
bool ofonestill(const std::vector<vector3>& vectors);

// Why there can be no answer at all, as a sentence; empty if there can.
std::string hindrance(const std::vector<vector3>& vectors);

} // namespace torvik::tools
