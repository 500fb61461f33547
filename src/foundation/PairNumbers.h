#pragma once

#include "etabulon/foundation/detail/EPrefetch.h"
#include "etabulon/foundation/detail/HashIndex.h"
#include "foundation/LargeVector.h"

#include <cstdint>
#include <span>

namespace etabulon::detail {

/// Numbers distinct pairs of numbers, from 0 in order of arrival.
///
/// Lookup by density: pairs that fill a good part of the possible ones use a two-dimensional table,
/// others a hash index.
class PairNumbers {
public:
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    [[nodiscard]] std::uint32_t Find(std::uint32_t first, std::uint32_t second) const {
        if (table_.empty()) {
            return FindByHash(first, second);
        }
        const Cell cell = CellOf(first, second);
        return cell.row < rows_ && cell.column < columns_ ? table_[Offset(cell)] - 1 : kNone;
    }
    /// Prefetches what Find reads first.
    void Prefetch(std::uint32_t first, std::uint32_t second) const noexcept {
        if (table_.empty()) {
            PrefetchByHash(first, second);
            return;
        }
        const Cell cell = CellOf(first, second);
        if (cell.row < rows_ && cell.column < columns_) {
            PrefetchToRead(&table_[Offset(cell)]);
        }
    }
    [[nodiscard]] std::uint32_t FindOrAdd(std::uint32_t first, std::uint32_t second) {
        const std::uint32_t found = Find(first, second);
        return found != kNone ? found : Add(first, second);
    }
    /// The number of a new pair: Find gives kNone.
    [[nodiscard]] std::uint32_t Add(std::uint32_t first, std::uint32_t second) {
        const Cell cell = CellOf(first, second);
        if (table_.empty() || cell.row >= rows_ || cell.column >= columns_) {
            return AddOutside(first, second);
        }
        pairs_.push_back(PairOf(first, second));
        table_[Offset(cell)] = Size();
        return Size() - 1;
    }
    /// The numbers of many pairs, as FindOrAdd gives them one after the other. False, and nothing
    /// happened, if one may lie outside of the table: the largest of each side are given. Requires
    /// that no side is kNone.
    [[nodiscard]] bool FindOrAddAll(std::span<const std::uint32_t> first,
                                    std::span<const std::uint32_t> second,
                                    std::uint32_t largestFirst, std::uint32_t largestSecond,
                                    std::uint32_t* numbers);
    [[nodiscard]] std::uint32_t Size() const noexcept {
        return static_cast<std::uint32_t>(pairs_.size());
    }
    [[nodiscard]] std::uint32_t FirstOf(std::uint32_t pair) const noexcept {
        return static_cast<std::uint32_t>(pairs_[pair] >> 32);
    }
    [[nodiscard]] std::uint32_t SecondOf(std::uint32_t pair) const noexcept {
        return static_cast<std::uint32_t>(pairs_[pair]);
    }

private:
    struct Cell {
        std::uint32_t row;
        std::uint32_t column;
    };
    // kNone, which means no value, gets row or column 0: it wraps around to 0.
    [[nodiscard]] static Cell CellOf(std::uint32_t first, std::uint32_t second) noexcept {
        return {first + 1, second + 1};
    }
    [[nodiscard]] std::size_t Offset(Cell cell) const noexcept {
        return std::size_t{cell.row} * columns_ + cell.column;
    }
    void PrefetchByHash(std::uint32_t first, std::uint32_t second) const noexcept;
    [[nodiscard]] std::uint32_t FindByHash(std::uint32_t first, std::uint32_t second) const;
    [[nodiscard]] static std::uint64_t PairOf(std::uint32_t first, std::uint32_t second) noexcept {
        return std::uint64_t{first} << 32 | second;
    }
    [[nodiscard]] std::uint32_t AddOutside(std::uint32_t first, std::uint32_t second);
    void ChooseForm();
    void FillTable();
    void FillIndex();

    LargeVector<std::uint64_t> pairs_;
    LargeVector<std::uint32_t> table_;  // the number + 1, 0 for none; empty: a hash index is used
    std::uint32_t rows_ = 0;            // of the table
    std::uint32_t columns_ = 0;
    std::uint32_t neededRows_ = 0;  // of a table of all pairs
    std::uint32_t neededColumns_ = 0;
    HashIndex index_;
    std::uint32_t nextChoiceSize_ = 1;  // the number of pairs at which ChooseForm runs again
};

}  // namespace etabulon::detail
