#pragma once

#include "etabulon/foundation/ERecordBlock.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace etabulon::detail {

/// Some records of a block, and the rows that each of them is folded into.
struct BlockRows {
    /// The row of each of `records`, in their order.
    using Place = std::byte* const*;

    const ERecordBlock* block;
    std::span<const EBlockIndex> records;
    std::span<const Place> places;
    // A row that all records are folded into, and that no place names; null: there is none.
    std::byte* shared = nullptr;
    // Most records have the row of the record before in the second place, as in a table in the
    // order of time, and no other place names a row of it.
    bool isSteady = false;
    // The number of the first of `records` among all that were folded.
    std::uint32_t firstNumber = 0;
};

/// Calls `visit(place in records, some rows of the record)` until each record of the block had all
/// its rows.
template <class Visit>
void ForEachRecord(const BlockRows& rows, const Visit& visit) {
    std::array<std::byte*, 8> some;
    for (std::size_t at = 0; at < rows.records.size(); ++at) {
        std::size_t count = 0;
        if (rows.shared != nullptr) {
            some[count++] = rows.shared;
        }
        for (const BlockRows::Place place : rows.places) {
            if (count == some.size()) {
                visit(at, std::span<std::byte* const>(some));
                count = 0;
            }
            some[count++] = place[at];
        }
        visit(at, std::span<std::byte* const>(some).first(count));
    }
}

}  // namespace etabulon::detail
