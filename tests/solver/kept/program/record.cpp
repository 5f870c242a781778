// Prints the answers that are kept. After a change that is meant to change answers, from the project's folder:
//
//   build/tests/tests/torvik_kept_answers > tests/solver/kept/answers.txt
//
// The difference is read line by line before it is committed.
#include "solver/kept/kept_lists.h"

#include <cstdio>

int main()
{
    for (const torvik::solver::kept_list& one : torvik::solver::kept_lists())
        std::printf("%s\n", torvik::solver::line_of(one).c_str());
}
