#pragma once

#include "apps/etabulon/walk/CliWalk.h"

#include <atomic>
#include <cstdint>

namespace etabulon {

/// The cursor of a browsed table. It walks only below a place and counts the records of a walk;
/// after Stop no walk runs until Allow.
///
/// Threads    as its base; Stop, Allow and Count may be called from any thread.
class BrowseCursor final : public CliCursor {
public:
    using CliCursor::CliCursor;

    /// To be called before the first walk.
    void SetPlace(const ETabulonTag& place) { place_ = place; }

    /// Ends every walk, also one that is about to begin: the reset at its start, which clears the
    /// cancel flag, sets the flag again.
    void Stop();
    /// Lets walks run again, and sets the count to 0.
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
