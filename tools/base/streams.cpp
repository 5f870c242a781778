#include "base/streams.h"

#include <fcntl.h>
#include <unistd.h>

namespace torvik::tools {

void reservestreams()
{
    // The lowest free number is given first: each turn opens the very stream that is missing.
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDONLY | O_CLOEXEC);
}

} // namespace torvik::tools
