#pragma once

#include "etabulon/foundation/detail/HashIndex.h"

#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// Numbers the different pairs of numbers, from 0 in the order in which they are met.
///
/// Pairs that fill a fair part of all that are possible are found in a table of these, others by
/// hash.
class PairNumbers {
public:
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    [[nodiscard]] std::uint32_t Find(std::uint32_t first, std::uint32_t second) const {
        if (table_.empty()) {
            return FindByHash(first, second);
        }
        const Place place = PlaceOf(first, second);
        return place.row < rows_ && place.column < columns_ ? table_[Offset(place)] - 1 : kNone;
    }
    [[nodiscard]] std::uint32_t FindOrAdd(std::uint32_t first, std::uint32_t second) {
        const std::uint32_t found = Find(first, second);
        return found != kNone ? found : Add(first, second);
    }
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
    struct Place {
        std::uint32_t row;
        std::uint32_t column;
    };
    // kNone, which stands for no value, comes first: one more than it is 0.
    [[nodiscard]] static Place PlaceOf(std::uint32_t first, std::uint32_t second) noexcept {
        return {first + 1, second + 1};
    }
    [[nodiscard]] std::size_t Offset(Place place) const noexcept {
        return std::size_t{place.row} * columns_ + place.column;
    }
    [[nodiscard]] std::uint32_t FindByHash(std::uint32_t first, std::uint32_t second) const;
    [[nodiscard]] std::uint32_t Add(std::uint32_t first, std::uint32_t second);
    void Choose();
    void FillTable();
    void FillIndex();

    std::vector<std::uint64_t> pairs_;
    std::vector<std::uint32_t> table_;  // one more than the number, 0 for none; empty: by hash
    std::uint32_t rows_ = 0;            // of the table
    std::uint32_t columns_ = 0;
    std::uint32_t neededRows_ = 0;  // by all pairs
    std::uint32_t neededColumns_ = 0;
    HashIndex index_;
    std::uint32_t nextChoice_ = 1;  // the size at which to think again
};

}  // namespace etabulon::detail
