// What chance makes.
#pragma once

namespace torvik::tools {

// The probability of `hits` or more among `trials`, each with the chance p: the tail of the binomial
// distribution.
double atleast(int hits, int trials, double p);

} // namespace torvik::tools
