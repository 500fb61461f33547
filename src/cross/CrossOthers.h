#pragma once

#include "cross/CrossLookup.h"
#include "cumul/CumulCells.h"

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

namespace etabulon::detail {

/// Cells of lines or columns that are put together as "others". The first read merges the states of
/// the cells that such a cell stands for, which gives the same result as folding their records.
///
/// Threads  one at a time. Valid until a record is added.
class CrossOthers {
public:
    explicit CrossOthers(const CrossLookup& lookup)
        : lookup_(lookup), rows_(lookup.Cells().Desc().Calculations()) {}

    /// Nodes of one depth, by their indexes.
    struct Nodes {
        std::uint32_t depth;
        std::span<const std::uint32_t> nodes;
    };
    /// Reads the result of all cells of these lines and columns; ValNull without records, and for
    /// functions of an application, whose states can't be merged. `key` is unique for the cell.
    void Read(std::uint64_t key, const Nodes& lines, const Nodes& columns, unsigned int calculation,
              ETabulonValue& result);

private:
    [[nodiscard]] std::uint32_t MakeRow(const Nodes& lines, const Nodes& columns);

    const CrossLookup& lookup_;
    CumulCells rows_;
    std::unordered_map<std::uint64_t, std::uint32_t> known_;  // by key; kNone without records
};

}  // namespace etabulon::detail
