#pragma once

#include "cross/CrossLookup.h"
#include "cumul/CumulCells.h"

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

namespace etabulon::detail {

/// The cells of others: each is merged from the states of the cells that it stands for, when it is
/// first read, so that it is what folding their records would have given.
///
/// Threads  one at a time. Valid until a record is added.
class CrossOthers {
public:
    explicit CrossOthers(const CrossLookup& lookup)
        : lookup_(lookup), rows_(lookup.Cells().Desc().Calculations()) {}

    /// Some nodes of one depth.
    struct Nodes {
        std::uint32_t depth;
        std::span<const std::uint32_t> nodes;
    };
    /// Reads the result of all cells of these lines and columns; ValNull without records, and for
    /// functions of an application, whose states can't be merged. `key` tells the cell from others.
    void Read(std::uint64_t key, const Nodes& lines, const Nodes& columns, unsigned int calculation,
              ETabulonValue& result);

private:
    [[nodiscard]] std::uint32_t MakeRow(const Nodes& lines, const Nodes& columns);

    const CrossLookup& lookup_;
    CumulCells rows_;
    std::unordered_map<std::uint64_t, std::uint32_t> known_;  // by key; kNone without records
};

}  // namespace etabulon::detail
