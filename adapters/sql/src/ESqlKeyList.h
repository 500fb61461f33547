#pragma once

#include "etabulon/foundation/EData.h"

#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace etabulon {

/// The keys of a walk, read before its records, and the walk's place in this list: at a key, before
/// the first or after the last.
class ESqlKeyList {
public:
    /// Removes the keys. The walk's place is the key that is appended next.
    void Clear() noexcept;
    void Append(EPosition position) { positions_.push_back(position); }
    [[nodiscard]] bool IsEmpty() const noexcept { return positions_.empty(); }
    /// True for an empty list.
    [[nodiscard]] bool IsAboveLast(EPosition position) const noexcept {
        return positions_.empty() || position > positions_.back();
    }
    /// A position that is listed twice; kNoPosition if there is none.
    [[nodiscard]] EPosition FindTwice() const;

    void GoBefore() noexcept { at_ = -1; }
    void GoAfterLast() noexcept { at_ = Size(); }
    /// False if the position isn't listed; the place then stays.
    [[nodiscard]] bool GoTo(EPosition position);
    [[nodiscard]] bool IsBefore() const noexcept { return at_ < 0; }
    [[nodiscard]] bool IsAfterLast() const noexcept { return at_ >= Size(); }
    /// Moves by one key; false before the first and after the last.
    [[nodiscard]] bool Step(bool forward) noexcept;
    /// Requires a place at a key.
    [[nodiscard]] EPosition Current() const noexcept {
        return positions_[static_cast<std::size_t>(at_)];
    }

    /// Whether the list has the keys of the whole range, in the state that the walk reads;
    /// otherwise a walk that turns back lists them again.
    [[nodiscard]] bool IsWhole() const noexcept { return isWhole_; }
    void SetWhole(bool isWhole) noexcept { isWhole_ = isWhole; }
    /// A write during the walk moved a record to this position. If the walk reaches it later, the
    /// position's own record is gone, and the record there was met before or is new.
    void Occupy(EPosition position) { occupied_.insert(position); }
    [[nodiscard]] bool IsOccupied(EPosition position) const {
        return !occupied_.empty() && occupied_.count(position) != 0;
    }

private:
    [[nodiscard]] std::int64_t Size() const noexcept {
        return static_cast<std::int64_t>(positions_.size());
    }

    std::vector<EPosition> positions_;
    std::unordered_map<EPosition, std::size_t> indexes_;  // made when first needed
    std::unordered_set<EPosition> occupied_;
    std::int64_t at_ = 0;  // -1 or the size beyond the ends
    bool isWhole_ = false;
};

}  // namespace etabulon
