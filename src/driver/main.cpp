// Torvik indexes single-crystal diffraction data when nothing is known of the crystal.

#include "driver/commandline.h"
#include "text/exit.h"

int main(int count, char* arguments[])
{
    if (count > 1)
        torvik::followcommandline({arguments + 1, static_cast<std::size_t>(count - 1)});
    else
        torvik::followcommandline({});
    torvik::stopprogram();
}
