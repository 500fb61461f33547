#pragma once

#include "etabulon/foundation/ERecordBlock.h"

#include <cstddef>
#include <span>

namespace etabulon::detail {

/// Some records of a block, and for each of them the rows that it is folded into.
struct BlockRows {
    const ERecordBlock* block;
    std::span<const EBlockIndex> records;
    std::span<std::byte* const> rows;  // `perRecord` for each of `records`, in their order
    std::size_t perRecord;
};

/// Calls `visit(record, rows of the record)` for each record of the block.
template <std::size_t PerRecord, class Visit>
void ForEachRecordOf(const BlockRows& rows, const Visit& visit) {
    std::byte* const* at = rows.rows.data();
    for (const EBlockIndex record : rows.records) {
        visit(record, std::span<std::byte* const, PerRecord>(at, PerRecord));
        at += PerRecord;
    }
}
template <class Visit>
void ForEachRecord(const BlockRows& rows, const Visit& visit) {
    switch (rows.perRecord) {
        case 2:  // a score: the line and the total
            return ForEachRecordOf<2>(rows, visit);
        case 4:  // a grid of two axes: the cell and three totals
            return ForEachRecordOf<4>(rows, visit);
        default:
            break;
    }
    std::byte* const* at = rows.rows.data();
    for (const EBlockIndex record : rows.records) {
        visit(record, std::span<std::byte* const>(at, rows.perRecord));
        at += rows.perRecord;
    }
}

}  // namespace etabulon::detail
