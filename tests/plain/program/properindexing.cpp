// The run driver of torvik_plain: the program with the plain procedures in their places.

#include "driver/properindexing.h"

#include "driver/openlogfile.h"
#include "driver/otherglobalvariables.h"
#include "driver/read_idx_file.h"
#include "driver/write_log_file.h"
#include "plain/plain.h"
#include "report/writebasis.h"
#include "report/writebasis3.h"
#include "store/modofsavedbases.h"
#include "superlattices/hermite.h"
#include "text/clock.h"
#include "text/units.h"

namespace torvik {

namespace {

// Both clocks at the start of the run.
struct startreadings {
    float processor; // seconds
    float wall;      // seconds since midnight
};

// Deliberate: the terminal gets narrow fields, which a run of 10000 seconds fills with asterisks;
// the log gets wide ones, with the elapsed time read afresh and the same processor time.
void writetiming(const startreadings& start)
{
    const int log = write_log_file.log_file_number;
    const float elapsed = elapsedseconds(start.wall, secondssincemidnight());
    writeline(terminalunit, " System time :               ", F(8, 3, elapsed), " seconds");
    const float processor = processorseconds() - start.processor;
    writeline(terminalunit, " CPU time    :               ", F(8, 3, processor), " seconds");
    writeline(terminalunit);
    if (!logging()) return;
    writeline(log);
    writefreeline(log, rule(49, '='));
    const float elapsednow = elapsedseconds(start.wall, secondssincemidnight());
    writeline(log, " System time :               ", F(13, 2, elapsednow), " seconds");
    writeline(log, " CPU time    :               ", F(13, 2, processor), " seconds");
    closeoutput(log);
}

} // namespace

void properindexing(const inputfilename& filename)
{
    const startreadings start = {processorseconds(), secondssincemidnight()};
    fix_defaults();
    read_idx_file(filename);
    getlowindexsuperlattices();
    if (logging()) openlogfile(filename);
    modofsavedbases.numberofsavedbases = 0;
    if (!otherglobalvariables.userprovidedvolumes) {
        plain::initializingvolumes2();
        plain::estimate_true_rvolumes(filename);
    }
    plain::sortthetestvolumes();
    plain::getthebasis();
    writebasis(filename);
    if (otherglobalvariables.isave_lepage > 0) writebasis3();
    writetiming(start);
}

} // namespace torvik
