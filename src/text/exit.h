// The one exit of the program.
#pragma once

namespace torvik {

// Ends the program with exit status 0, which it has in every case: a faulty input is answered by a
// message, not by a status. Never returns.
[[noreturn]] void stopprogram();

} // namespace torvik
