#include "text/exit.h"

#include <cstdlib>

namespace torvik {

void stopprogram()
{
    std::exit(0);
}

} // namespace torvik
