#include "grid/PairRows.h"

#include <algorithm>
#include <bit>

namespace etabulon::detail {

namespace {

constexpr std::size_t kMostPairs = 32768;  // 256 KiB of pointers

}  // namespace

void PairRows::Clear() noexcept {
    stride_ = 0;
    rows_.clear();
    for (auto& totals : totals_) {
        totals.clear();
    }
}

bool PairRows::Reserve(std::uint32_t firstSize, std::uint32_t secondSize) {
    const std::size_t stride = std::max<std::size_t>(stride_, std::bit_ceil(secondSize));
    const std::size_t lines = std::bit_ceil(firstSize);
    if (lines * stride > kMostPairs) {
        return false;
    }
    if (stride != stride_) {
        std::vector<std::byte*> rows(lines * stride);
        for (std::size_t at = 0; at < rows_.size(); ++at) {
            rows[at / stride_ * stride + at % stride_] = rows_[at];
        }
        rows_.swap(rows);
        stride_ = stride;
    } else if (rows_.size() < lines * stride) {
        rows_.resize(lines * stride);
    }
    totals_[0].resize(std::max<std::size_t>(totals_[0].size(), firstSize));
    totals_[1].resize(std::max<std::size_t>(totals_[1].size(), secondSize));
    return true;
}

}  // namespace etabulon::detail
