// In place of src/text/exit.cpp and src/text/pause.cpp: the program ends by an exception, so that
// it can be run many times in one process.

#include "fuzz/harness.h"
#include "text/exit.h"
#include "text/pause.h"

namespace torvik {

void stopprogram()
{
    throw programstopped{false};
}

void pauseprogram()
{
    throw programstopped{true};
}

void pauseandstop()
{
    throw programstopped{true};
}

} // namespace torvik
