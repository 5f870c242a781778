// Faults that are compiled in: at most one of them acts, and the environment says which.
#pragma once

// This file is included ahead of every source. TORVIK_FAULT holds the number of the fault that acts.
// With TORVIK_FAULTS_REACHED, the name of a file, none acts: each fault that the run comes by sets the
// byte of its number there, in child processes too.

extern "C" {
extern int torvik_acting_fault; // 0: none; -1: those that are reached are noted
void torvik_note_fault(int number);
}

inline bool torvik_planted(int number)
{
    if (__builtin_expect(torvik_acting_fault < 0, 0)) torvik_note_fault(number);
    return torvik_acting_fault == number;
}

// In constexpr functions: what the compiler evaluates has no fault.
constexpr bool torvik_planted_at_run_time(int number)
{
    return !__builtin_is_constant_evaluated() && torvik_planted(number);
}
