#pragma once

#include "apps/etabulon/request/CliEdits.h"
#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/walk/CliWalk.h"

#include <cstdint>

namespace etabulon {

/// How many records a save has written.
struct CliSaved {
    std::uint64_t updated = 0;
    std::uint64_t inserted = 0;
    std::uint64_t deleted = 0;
    std::uint64_t gone = 0;  // not written: the database removed them or changed their keys
};

/// Writes the edits into their table: all of them, or none. Up to the commit SIGINT and SIGTERM
/// roll the edits back; from the commit on they are ignored. Requires a source that was opened for
/// writing.
[[nodiscard]] CliResult<CliSaved> SaveEdits(const CliWalkContext& context, const CliEdits& edits);

}  // namespace etabulon
