#pragma once

#include "apps/etabulon/request/CliOptions.h"
#include "apps/etabulon/request/CliSource.h"

namespace etabulon {

class CliInterrupt;

/// Opens SOURCE. The first SIGINT ends the reading of a table of text, which then fails with
/// the exit status of a cancelled program and no text. With `showsProgress` stderr shows how far it
/// is.
[[nodiscard]] CliResult<std::unique_ptr<CliTables>> ReadSource(const CliSourceOptions& source,
                                                               ESqlOpenMode mode,
                                                               CliInterrupt& interrupt,
                                                               bool showsProgress = false);
/// Opens SOURCE in this way for reading only, and finds TABLE.
[[nodiscard]] CliResult<CliOpenTable> ReadTable(const CliSourceOptions& source,
                                                CliInterrupt& interrupt,
                                                bool showsProgress = false);

}  // namespace etabulon
