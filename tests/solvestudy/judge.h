// Whether an answer is right, and what it took.
#pragma once

#include "lists.h"

#include <torvik/solver.h>

#include <cstdint>
#include <optional>
#include <string>

namespace torvik::study {

// Elements of the matrix between the reduced bases of one lattice may be off whole numbers by so much.
constexpr double lattice_tolerance = 0.15;

enum class outcome { right, wrong, ambiguous, refused };

struct judgement {
    outcome how =
        outcome::refused;   // right: solved, and a lattice of the list; wrong: solved, and none
    bool competes = false;  // ambiguous, and a true lattice is among those that compete
    bool first = false;     // the best lattice is a true one, whatever the verdict
    bool determined = true; // the inliers span the lattice
    bool spanned = false;   // solved as the lattice that the inliers span, if they do not
    bool interrupted = false;
    bool failed = false;       // an exception, or an answer that contradicts itself
    std::string failure;       // its sentence
    double milliseconds = 0.0; // processor time of the calling thread
    // Of the answer's lattice, if it is right: the rms deviation of the true inliers' lattice points from
    // their true places, over that of a least-squares fit with the true indices of the true inliers. No
    // value for exact vectors.
    std::optional<double> error_ratio;
    std::uint64_t hash = 0; // of the answer
};

matrix3 matrix_of(const solver::mat3& A);

// Processor time of the calling thread.
double thread_milliseconds();

// Judges an answer; knows nothing of the time.
judgement judged(const known_list& list, const solver::answer& found);

// Solves a list with the cells that it gives, and judges.
judgement judged_run(const known_list& list, solver::options options);

// A contradiction within an answer, in a sentence: lengths, indices, verdict; empty if there is none.
std::string contradiction_in(const solver::answer& found, std::size_t reflections);

// FNV-1a (Fowler, Noll & Vo) of numbers in turn.
class hasher {
public:
    void add(std::uint64_t word);
    void add(double x);
    void add(const std::string& text);
    [[nodiscard]] std::uint64_t value() const
    {
        return hash_;
    }

private:
    std::uint64_t hash_ = 14695981039346656037ULL; // the offset basis of the 64-bit FNV-1a
};

// A hash of the verdict, the bases rounded to 1e-9, the evidence bit by bit, and the indices. Equal hashes
// of all answers show that a change of the solver changed none.
std::uint64_t hash_of(const solver::answer& found);

// Limits, as fractions, that hold a probability with 95 % confidence after so many successes (Wilson,
// 1927).
struct limits {
    double low = 0.0;
    double high = 1.0;
};
limits wilson(int successes, int trials);

} // namespace torvik::study
