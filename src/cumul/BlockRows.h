#pragma once

#include "etabulon/foundation/ERecordBlock.h"

#include <algorithm>
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
    std::span<const EBlockIndex> records;  // at least one, rising
    // All records that a row of the first place has are in each other row of such a record too, as
    // those of a cell are in its totals.
    std::span<const Place> places;
    // A row that all records are folded into, and that no place names; null: there is none.
    std::byte* shared = nullptr;
    // Most records have the row of the record before in the second place, as in a table in the
    // order of time, and no other place names a row of it.
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
    /// The bit of a word is at First() behind its place. Null: none is missing.
    [[nodiscard]] const std::uint64_t* Missing() const noexcept { return missing_; }
    [[nodiscard]] std::size_t First() const noexcept { return first_; }

private:
    const std::uint64_t* words_ = nullptr;
    const std::uint64_t* missing_ = nullptr;
    std::size_t first_ = 0;
    std::array<std::uint64_t, ERecordBlock::kMostRecords> gathered_;
    std::array<std::uint64_t, ERecordBlock::kMostRecords / 64> gatheredBits_;
};

/// Calls `visit(place of a record among them, some rows of the record)` until each had all its
/// rows.
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
