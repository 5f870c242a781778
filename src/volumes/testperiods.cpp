#include "volumes/testperiods.h"

namespace torvik {

testperiods_group testperiods;

} // namespace torvik
