// Replaces BrowseTerminal.cpp in a build without ncurses.

#include "apps/etabulon/browse/BrowseTerminal.h"

namespace etabulon {

CliResult<std::unique_ptr<BrowseTerminal>> BrowseTerminal::Open(bool /*hasColours*/) {
    return CliFailure{CliExit::Usage, "browse needs ncurses, which this program was built without"};
}

}  // namespace etabulon
