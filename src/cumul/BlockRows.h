#pragma once

#include "etabulon/foundation/ERecordBlock.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace etabulon::detail {

/// Some records of a block, and the rows that each of them is folded into: one for each target. The
/// targets of a grid are the cell and its totals.
struct BlockRows {
    /// The rows of one target: that of each of `records`, in their order.
    using RowsOfTarget = std::byte* const*;

    const ERecordBlock* block;
    std::span<const EBlockIndex> records;  // at least one, rising
    // The rows of the first target are the finest: every record of such a row is also folded into
    // the same further rows, as a cell's records are into its totals.
    std::span<const RowsOfTarget> targets;
    // A row that all records are folded into, and that is of no target; null: there is none.
    std::byte* shared = nullptr;
    // The second row of a record is mostly that of the record before (a table in the order of
    // time), and it belongs to no other target.
    bool isSteady = false;
    // The number of the first of `records` among all that were folded.
    std::uint32_t firstNumber = 0;
};

/// Whether some rising records, at least one, leave out none between the first and the last.
[[nodiscard]] inline bool AreConsecutive(std::span<const EBlockIndex> records) noexcept {
    return records.size() == std::size_t{records.back()} - records.front() + 1;
}

/// The words of a column for the records of some rows, in their order and without gaps.
class RowWords {
public:
    RowWords(const BlockRows& rows, const ERecordBlock::Column& column) noexcept {
        const std::size_t count = rows.records.size();
        if (AreConsecutive(rows.records)) {
            first_ = rows.records.front();
            words_ = column.words + first_;
            missing_ = column.missing;
            return;
        }
        for (std::size_t at = 0; at < count; ++at) {
            gathered_[at] = column.words[rows.records[at]];
        }
        words_ = gathered_.data();
        if (column.missing == nullptr) {
            return;
        }
        std::fill_n(gatheredBits_.begin(), (count + 63) / 64, 0);
        for (std::size_t at = 0; at < count; ++at) {
            const std::uint64_t isMissing = column.IsMissingWord(rows.records[at]) ? 1 : 0;
            gatheredBits_[at / 64] |= isMissing << (at % 64);
        }
        missing_ = gatheredBits_.data();
    }
    RowWords(const RowWords&) = delete;
    RowWords& operator=(const RowWords&) = delete;

    [[nodiscard]] const std::uint64_t* Words() const noexcept { return words_; }
    /// A bit for each word; that of the first is at First(). Null: none is missing.
    [[nodiscard]] const std::uint64_t* Missing() const noexcept { return missing_; }
    [[nodiscard]] std::size_t First() const noexcept { return first_; }

private:
    const std::uint64_t* words_ = nullptr;
    const std::uint64_t* missing_ = nullptr;
    std::size_t first_ = 0;
    std::array<std::uint64_t, ERecordBlock::kMostRecords> gathered_;
    std::array<std::uint64_t, ERecordBlock::kMostRecords / 64> gatheredBits_;
};

/// Calls `visit(index of a record, some of its rows)` until every record was visited with all of
/// its rows.
template <class Visit>
void ForEachRecord(const BlockRows& rows, const Visit& visit) {
    std::array<std::byte*, 8> some;
    for (std::size_t at = 0; at < rows.records.size(); ++at) {
        std::size_t count = 0;
        if (rows.shared != nullptr) {
            some[count++] = rows.shared;
        }
        for (const BlockRows::RowsOfTarget target : rows.targets) {
            if (count == some.size()) {
                visit(at, std::span<std::byte* const>(some));
                count = 0;
            }
            some[count++] = target[at];
        }
        visit(at, std::span<std::byte* const>(some).first(count));
    }
}

}  // namespace etabulon::detail
