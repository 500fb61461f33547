#include "ESqlKeyList.h"

#include <algorithm>
#include <functional>

namespace etabulon {

void ESqlKeyList::Clear() noexcept {
    positions_.clear();
    indexes_.clear();
    occupied_.clear();
    at_ = 0;
    isWhole_ = false;
}

EPosition ESqlKeyList::FindTwice() const {
    if (std::is_sorted(positions_.begin(), positions_.end(), std::less_equal<>())) {
        return kNoPosition;  // each above the one before, as mostly
    }
    std::vector<EPosition> sorted = positions_;
    std::sort(sorted.begin(), sorted.end());
    const auto twice = std::adjacent_find(sorted.begin(), sorted.end());
    return twice != sorted.end() ? *twice : kNoPosition;
}

bool ESqlKeyList::GoTo(EPosition position) {
    if (indexes_.empty()) {
        indexes_.reserve(positions_.size());
        for (std::size_t index = 0; index < positions_.size(); ++index) {
            indexes_.emplace(positions_[index], index);
        }
    }
    const auto found = indexes_.find(position);
    if (found == indexes_.end()) {
        return false;
    }
    at_ = static_cast<std::int64_t>(found->second);
    return true;
}

bool ESqlKeyList::Step(bool forward) noexcept {
    at_ = std::clamp<std::int64_t>(at_ + (forward ? 1 : -1), -1, Size());
    return !IsBefore() && !IsAfterLast();
}

}  // namespace etabulon
