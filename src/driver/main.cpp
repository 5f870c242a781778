// Torvik indexes single-crystal diffraction data when nothing is known of the crystal.

#include "driver/commandline.h"
#include "text/exit.h"

#include <csignal>

namespace {

// Lets writing fail, and be answered by a message, where the system would end the run: a limit on
// the size of files, or a terminal that nobody reads any more.
void ignorefailuresofwriting()
{
#ifdef SIGXFSZ
    std::signal(SIGXFSZ, SIG_IGN);
#endif
#ifdef SIGPIPE
    std::signal(SIGPIPE, SIG_IGN);
#endif
}

} // namespace

int main(int count, char* arguments[])
{
    ignorefailuresofwriting();
    if (count > 1)
        torvik::followcommandline({arguments + 1, static_cast<std::size_t>(count - 1)});
    else
        torvik::followcommandline({});
    torvik::stopprogram();
}
