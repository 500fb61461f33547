// Takes the place of BrowseTerminal.cpp where there is no ncurses.

#include "apps/etabulon/browse/BrowseTerminal.h"

namespace etabulon {

std::unique_ptr<BrowseTerminal> BrowseTerminal::Open(bool /*hasColours*/, CliFailure& failure) {
    failure.Set(CliExit::Usage, "browse needs ncurses, which this program was built without");
    return nullptr;
}

}  // namespace etabulon
