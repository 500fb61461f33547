#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// The rows of a block's records by the numbers of two columns, for few pairs: the row of a pair
/// and the totals of each number are found without a lookup. Rows are null until they are stored.
class PairRows {
public:
    /// Forgets all rows.
    void Clear() noexcept;
    /// Makes room for numbers below `firstSize` and `secondSize`; false if the table of their pairs
    /// would exceed the second-level cache.
    [[nodiscard]] bool Reserve(std::uint32_t firstSize, std::uint32_t secondSize);

    void Set(std::uint32_t first, std::uint32_t second, std::byte* row) noexcept {
        rows_[(std::size_t{first} << shift_) + second] = row;
    }
    /// The totals by the numbers of a column, 0 or 1.
    [[nodiscard]] std::vector<std::byte*>& Totals(std::size_t column) noexcept {
        return totals_[column];
    }
    /// The row of a pair is at (first << Shift()) + second.
    [[nodiscard]] std::byte* const* Rows() const noexcept { return rows_.data(); }
    [[nodiscard]] unsigned int Shift() const noexcept { return shift_; }

private:
    unsigned int shift_ = 0;
    std::vector<std::byte*> rows_;
    std::vector<std::byte*> totals_[2];
};

}  // namespace etabulon::detail
