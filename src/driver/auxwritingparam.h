// The echo of the run parameters in the log and in the results file.
#pragma once

namespace torvik {

// Writes the date and the run parameters.
//
// Given:     unit   of the log or of the results file; the latter also gets the number of solutions
void auxwritingparam(int unit);

} // namespace torvik
