#include "foundation/EColumnRecords.h"

#include <algorithm>
#include <numeric>

namespace etabulon {

void EColumnRecords::AppendPosition(EPosition position) {
    if (count_ == 0) {
        first_ = position;
    } else if (positions_.empty() && position != first_ + static_cast<EPosition>(count_)) {
        positions_.resize(count_);
        std::iota(positions_.begin(), positions_.end(), first_);
    }
    if (!positions_.empty()) {
        areRising_ = areRising_ && positions_.back() < position;
        positions_.push_back(position);
    }
    ++count_;
}

std::size_t EColumnRecords::Find(EPosition position) const {
    if (positions_.empty()) {
        const auto record = static_cast<std::size_t>(position - first_);
        return position >= first_ && record < count_ ? record : kNone;
    }
    if (areRising_) {
        const auto found = std::lower_bound(positions_.begin(), positions_.end(), position);
        return found != positions_.end() && *found == position
                   ? static_cast<std::size_t>(found - positions_.begin())
                   : kNone;
    }
    std::call_once(ordering_, [this] {
        order_.resize(count_);
        std::iota(order_.begin(), order_.end(), std::size_t{0});
        std::sort(order_.begin(), order_.end(), [this](std::size_t left, std::size_t right) {
            return positions_[left] < positions_[right];
        });
    });
    const auto found = std::lower_bound(
        order_.begin(), order_.end(), position,
        [this](std::size_t record, EPosition wanted) { return positions_[record] < wanted; });
    return found != order_.end() && positions_[*found] == position ? *found : kNone;
}

void EColumnRecords::End() { positions_.shrink_to_fit(); }

std::size_t EColumnRecords::Bytes() const noexcept {
    std::size_t bytes = sizeof *this + positions_.capacity() * sizeof(EPosition) +
                        order_.capacity() * sizeof(std::size_t);
    for (const auto& column : columns) {
        bytes += column->Bytes();
    }
    return bytes;
}

}  // namespace etabulon
