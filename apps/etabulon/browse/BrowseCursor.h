#pragma once

#include "apps/etabulon/walk/CliWalk.h"

#include <atomic>
#include <cstdint>

namespace etabulon {

/// The cursor of a browsed table: walks only below a place, counts the records that it meets, and
/// stops for good when it is told to.
///
/// Threads    as its base; Stop, Allow and Count may be called from any.
class BrowseCursor final : public CliCursor {
public:
    using CliCursor::CliCursor;

    /// Belongs before the first walk.
    void SetPlace(const ETabulonTag& place) { place_ = place; }

    /// Every walk ends, one that is about to begin too: the reset that begins a walk would
    /// otherwise forget a cancel that came just before.
    void Stop();
    /// Walks may run, and records are counted anew.
    void Allow() noexcept;
    /// The records met since Allow.
    [[nodiscard]] std::uint64_t Count() const noexcept { return count_.load(); }

    CursorStatus SetKeyRange(const ETabulonTag& tag, EData* table) const override;

protected:
    [[nodiscard]] bool IsInFilter() const override;
    CursorStatus OnAcceptedByFilter() override;
    void ResetCancel() override;

private:
    ETabulonTag place_;
    std::atomic<bool> isStopped_{false};
    std::atomic<std::uint64_t> count_{0};
};

}  // namespace etabulon
