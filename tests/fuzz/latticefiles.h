// The files of cells and solutions that torvik-tools reads, on bytes: for the fuzzer and the replay.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace torvik {

// Results files, jobs of LePage.inp, known cells, what is known of a simulated crystal, cells of
// structures; and the survey of known cells, which is calculated.
const std::vector<std::string>& fuzzedlatticefiles();

// Feeds bytes to the reader of one of these. Throws misbehaviour for a cell that is none, for numbers
// that are not finite, and for lists that contradict each other; and, as every failure does, the
// reader's own if it refuses.
void readlatticefile(const std::string& format, std::string_view bytes);

} // namespace torvik
