// The state of the program as it is before a run, for every test.
#pragma once

#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "driver/write_log_file.h"
#include "numeric/kernel.h"
#include "search/tabulcos.h"
#include "store/modofsavedbases.h"
#include "superlattices/matricesforalternativebases.h"
#include "text/units.h"
#include "volumes/estimatedvolumes.h"
#include "volumes/testperiods.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace torvik {

// Gives every data group its defaults. The table of test periods keeps its old values, out of use:
// it is too large to be cleared for every test.
void resetgroups();

// Makes the reflections of a run from vectors, with their magnitudes and the full trial list.
void setreflections(std::initializer_list<vector3> vectors);

// The base of all test suites: a test begins with reset groups.
class fresh : public ::testing::Test {
protected:
    fresh()
    {
        resetgroups();
        endterminalline();
    }
};

} // namespace torvik
