#include "grid/PairRows.h"

#include <algorithm>
#include <bit>

namespace etabulon::detail {

namespace {

constexpr std::size_t kMostPairs = 32768;  // 256 KiB of pointers

}  // namespace

void PairRows::Clear() noexcept {
    shift_ = 0;
    rows_.clear();
    for (auto& totals : totals_) {
        totals.clear();
    }
}

bool PairRows::Reserve(std::uint32_t firstSize, std::uint32_t secondSize) {
    const auto bits = static_cast<unsigned int>(std::bit_width(secondSize - 1));
    const unsigned int shift = std::max(shift_, bits);
    const std::size_t lines = std::bit_ceil(firstSize);
    if (lines << shift > kMostPairs) {
        return false;
    }
    if (shift != shift_) {
        std::vector<std::byte*> rows(lines << shift);
        for (std::size_t at = 0; at < rows_.size(); ++at) {
            const std::size_t first = at >> shift_;
            rows[(first << shift) + (at - (first << shift_))] = rows_[at];
        }
        rows_.swap(rows);
        shift_ = shift;
    } else if (rows_.size() < lines << shift) {
        rows_.resize(lines << shift);
    }
    totals_[0].resize(std::max<std::size_t>(totals_[0].size(), firstSize));
    totals_[1].resize(std::max<std::size_t>(totals_[1].size(), secondSize));
    return true;
}

}  // namespace etabulon::detail
