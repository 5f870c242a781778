// A run of Torvik about an answer, for programs and people that use its classic files.
#pragma once

#include "solutions/solved.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace torvik::tools {

struct results_run {
    std::string input;      // text of the input file
    std::string results;    // text of the results file
    bool confirmed = false; // whether the lattice of the answer is among the solutions
};

// Runs Torvik on reflections that the first lattice indexes, at the volume of that lattice alone. With up to
// 40 of them at extent 0 this takes milliseconds. If the lattice is not among the solutions, other
// reflections, larger extents and more of them are tried; the last run is given if all fail.
//
// Given:     solved   with at least one lattice
//            program  Torvik
//            name     of the input file, which the results mention
//            stop     ends the run
// Returned:  nothing if it was stopped
// Throws:    failure if Torvik cannot be started or fails
std::optional<results_run> run_about(const solved_measurement& solved,
                                     const std::filesystem::path& program, const std::string& name,
                                     const std::atomic<bool>& stop);

} // namespace torvik::tools
