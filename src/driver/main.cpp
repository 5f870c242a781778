// Torvik indexes single-crystal diffraction data when nothing is known of the crystal.

#include "driver/commandline.h"
#include "text/exit.h"

#include <csignal>

#if __has_include(<fcntl.h>) && __has_include(<unistd.h>)
#include <fcntl.h>
#include <unistd.h>
#define TORVIK_HAS_DESCRIPTORS
#endif
#ifdef _WIN32
#include <cstdio>
#include <io.h>
#endif

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

// Fills the places of standard streams that were closed before the start. A file that the run opens
// would take them, and get what is meant for the terminal. The root folder always exists, and
// neither gives nor takes anything as a stream.
void fillclosedstreams()
{
#ifdef TORVIK_HAS_DESCRIPTORS
    int descriptor = 0;
    do descriptor = open("/", O_RDONLY);
    while (0 <= descriptor && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO) close(descriptor);
#endif
}

// Keeps the system from ending lines in its own way: what is printed is the same bytes everywhere,
// as in all files.
void endlinesalike()
{
#ifdef _WIN32
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
#endif
}

} // namespace

int main(int count, char* arguments[])
{
    fillclosedstreams();
    ignorefailuresofwriting();
    endlinesalike();
    if (count > 1)
        torvik::followcommandline({arguments + 1, static_cast<std::size_t>(count - 1)});
    else
        torvik::followcommandline({});
    torvik::stopprogram();
}
