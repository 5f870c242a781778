// One list in full: the truth, the answer, and the evidence of both.
#pragma once

#include "judge.h"

#include <string>

namespace torvik::study {

// A line on a list and its answer: reflections, volume, verdict; the index of the answer's cell in that of
// the truth, if they are related; the evidence of both.
std::string line_on(const known_list& list, const solver::answer& found);

// A list as text: a line for each reflection, x y z, the crystal, h k l.
std::string text_of(const known_list& list);

} // namespace torvik::study
