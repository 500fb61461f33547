#pragma once

#include "apps/etabulon/output/CliWriter.h"
#include "apps/etabulon/request/CliLevels.h"
#include "apps/etabulon/request/CliLimit.h"
#include "apps/etabulon/request/CliResult.h"
#include "apps/etabulon/walk/CliWalk.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace etabulon {

class ECrossSelection;

/// A column that records are sorted by.
struct CliRecordKey {
    CliVariable variable;
    bool isFalling = false;
};

/// Which records are printed, and which of their values.
struct CliRecordsRequest {
    const CliLevels& levels;
    const ETabulonTag& tag;
    const std::vector<CliVariable>& values;
    std::uint64_t limit = CliLimit::kNone;
    std::vector<CliRecordKey> order = {};        // empty: in the order of the walk
    const ECrossSelection* selection = nullptr;  // only its records; null: all below the tag
    /// The values before which the number of the record is printed, by position, rising. A table
    /// without a key has such numbers.
    std::vector<std::size_t> rowNumbers = {};
};

/// The name of the number that the records of a table have instead of a key; empty for a table with
/// a key, and for a view.
[[nodiscard]] std::string_view RowNumberName(const ESqlTableInfo& table);

/// The columns that are neither levels nor parts of the key. Levels and key are always printed.
[[nodiscard]] std::vector<CliVariable> AllValues(const CliLevels& levels);

/// Walks the records below a tag and writes a line for each: levels, key, values. Fails if that are
/// no columns.
[[nodiscard]] CliResult<> PrintRecords(const CliWalkContext& context,
                                       const CliRecordsRequest& request,
                                       const CliPrinting& printing);

}  // namespace etabulon
