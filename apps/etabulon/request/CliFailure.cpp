#include "apps/etabulon/request/CliFailure.h"

#include "apps/etabulon/output/CliOutput.h"
#include "apps/etabulon/output/CliUtf8.h"

namespace etabulon {

void TellUser(std::string_view text) {
    std::string shown = "etabulon: ";
    AppendShown(shown, text);
    shown += '\n';
    WriteError(shown);  // in one write, so that lines of several processes don't mix
}

}  // namespace etabulon
