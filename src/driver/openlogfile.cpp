#include "driver/openlogfile.h"

#include "driver/auxwritingparam.h"
#include "driver/write_log_file.h"
#include "text/units.h"

namespace torvik {

void openlogfile(const inputfilename& filename)
{
    openoutput(logunit, outputname(filename, "_idx.log"));
    write_log_file.log_file_number = logunit;
    const int log = logunit;
    writefreeline(log, rule(56, '='));
    writefreeline(log, rule(56, '-'));
    writeline(log);
    writefreeline(log, "          Report created by Torvik_03.exe (v. 1.0)");
    writefreeline(log, "          for ", trimmedname(filename));
    writeline(log);
    writefreeline(log, rule(56, '-'));
    writefreeline(log, rule(56, '='));
    auxwritingparam(log);
}

} // namespace torvik
