#include "apps/etabulon/walk/CliReading.h"

#include "apps/etabulon/walk/CliInterrupt.h"
#include "apps/etabulon/walk/CliProgress.h"

#include <optional>
#include <utility>

namespace etabulon {

CliResult<std::unique_ptr<CliTables>> ReadSource(const CliSourceOptions& source, ESqlOpenMode mode,
                                                 CliInterrupt& interrupt, bool showsProgress) {
    CliProgress progress;
    // A database is opened without being asked for: there the first signal ends the process.
    std::optional<CliInterrupt::Asking> asking;
    auto tables = source.Open(mode, [&](std::uint64_t read, std::uint64_t of) {
        if (!asking.has_value()) {
            asking.emplace(interrupt);
        }
        if (showsProgress) {
            progress.ShowBytes(read, of);
        }
        return !interrupt.IsRaised();
    });
    asking.reset();
    progress.End();
    if (interrupt.IsRaised()) {
        return CliFailure{interrupt.Exit(), {}};
    }
    return tables;
}

CliResult<CliOpenTable> ReadTable(const CliSourceOptions& source, CliInterrupt& interrupt,
                                  bool showsProgress) {
    auto tables = ReadSource(source, ESqlOpenMode::ReadOnly, interrupt, showsProgress);
    return tables ? FindTableIn(std::move(*tables), source.table) : tables.Failure();
}

}  // namespace etabulon
