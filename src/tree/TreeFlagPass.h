#pragma once

#include "etabulon/cursors/ETabulonCursor.h"

#include <cstddef>

namespace etabulon::detail {

/// A pass that sets the flags of many nodes. It counts them, and ends when its thread is cancelled.
class TreeFlagPass {
public:
    /// The thread may be null, and isn't owned.
    explicit TreeFlagPass(ICancellableThread* thread) noexcept : thread_(thread) {}

    /// The flags of so many more nodes are set. False if the pass has to end.
    [[nodiscard]] bool Count(std::size_t nodes) {
        count_ += nodes;
        if (count_ < nextTest_ || thread_ == nullptr) {
            return true;
        }
        nextTest_ = count_ + kBetweenTests;
        return !thread_->IsCancelled();
    }
    [[nodiscard]] std::size_t Nodes() const noexcept { return count_; }

private:
    static constexpr std::size_t kBetweenTests = 1024;  // they take less than a millisecond

    ICancellableThread* thread_;
    std::size_t count_ = 0;
    std::size_t nextTest_ = 0;
};

}  // namespace etabulon::detail
