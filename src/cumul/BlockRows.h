#pragma once

#include "etabulon/foundation/ERecordBlock.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace etabulon::detail {

/// The rows of records by the numbers of their values, in place of an array of rows: a row of each
/// pair of numbers, and the totals of each number and of all. Each row is in one of the tables
/// only.
struct RowTables {
    const std::uint32_t* first;   // the numbers, by record
    const std::uint32_t* second;  // null: the rows are those of the first number, without totals
    std::size_t stride;
    std::byte* const* rows;          // by first * stride + second
    std::byte* const* firstTotals;   // by first
    std::byte* const* secondTotals;  // by second
    std::byte* grandTotal;
    // Most records have the first number of the record before, as in a table in the order of time.
    bool isFirstSteady = false;

    template <std::size_t Count>
    [[nodiscard]] std::array<std::byte*, Count> Of(EBlockIndex record) const noexcept {
        if constexpr (Count == 1) {
            return {rows[first[record]]};
        } else {
            const std::uint32_t a = first[record];
            const std::uint32_t b = second[record];
            return {rows[a * stride + b], firstTotals[a], secondTotals[b]};
        }
    }
};

/// Some records of a block, and for each of them the rows that it is folded into.
struct BlockRows {
    const ERecordBlock* block;
    std::span<const EBlockIndex> records;
    std::span<std::byte* const> rows;  // `perRecord` for each of `records`, in their order
    std::size_t perRecord;
    const RowTables* tables = nullptr;  // in place of `rows`
};

/// Calls `visit(record, rows of the record)` for each record of a block with tables; the rows
/// without the grand total.
template <class Visit>
void ForEachTabled(const BlockRows& rows, const Visit& visit) {
    const RowTables tables = *rows.tables;
    if (tables.second == nullptr) {
        for (const EBlockIndex record : rows.records) {
            visit(record, tables.Of<1>(record));
        }
    } else {
        for (const EBlockIndex record : rows.records) {
            visit(record, tables.Of<3>(record));
        }
    }
}

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
    if (rows.tables != nullptr) {
        return ForEachTabled(rows, [&](EBlockIndex record, const auto& some) {
            visit(record, std::span<std::byte* const>(some));
            visit(record, std::span<std::byte* const>(&rows.tables->grandTotal, 1));
        });
    }
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
