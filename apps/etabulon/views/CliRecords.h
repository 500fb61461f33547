#pragma once

#include "apps/etabulon/output/CliWriter.h"
#include "apps/etabulon/request/CliDictionary.h"
#include "apps/etabulon/request/CliFailure.h"
#include "apps/etabulon/request/CliLevels.h"
#include "apps/etabulon/walk/CliWalk.h"

#include <cstdint>
#include <vector>

namespace etabulon {

class CliOutput;

/// Which records are printed, and what of them.
struct CliRecordsRequest {
    static constexpr auto kNoLimit = static_cast<std::uint64_t>(-1);
    const CliLevels& levels;
    const ETabulonTag& tag;
    const std::vector<CliVariable>& values;
    std::uint64_t limit = kNoLimit;
};

/// The columns that are neither levels nor parts of the key, which are printed anyway.
[[nodiscard]] std::vector<CliVariable> AllValues(const CliDictionary& dictionary,
                                                 const ESqlTableInfo& table,
                                                 const CliLevels& levels);

/// Walks the records below a tag and writes a line for each: levels, key, values. `output` is that
/// of the writer.
[[nodiscard]] bool PrintRecords(const CliWalkContext& context, const CliRecordsRequest& request,
                                CliWriter& writer, const CliOutput& output, CliFailure& failure);

}  // namespace etabulon
