#include "apps/etabulon/browse/BrowseCursor.h"

namespace etabulon {

void BrowseCursor::Stop() {
    isStopped_.store(true);
    Cancel();
}

void BrowseCursor::Allow() noexcept {
    isStopped_.store(false);
    count_.store(0);
}

void BrowseCursor::ResetCancel() {
    CliCursor::ResetCancel();
    if (isStopped_.load()) {
        Cancel();
    }
}

CursorStatus BrowseCursor::SetKeyRange(const ETabulonTag& tag, EData* table) const {
    ETabulonTag below = place_;
    for (unsigned int place = 0; place < tag.KnownLevelsCount(); ++place) {
        below.SetValue(tag.LevelAt(place), tag.ValueAt(place));
    }
    return CliCursor::SetKeyRange(below, table);
}

bool BrowseCursor::IsInFilter() const {
    return CliCursor::IsInFilter() && (place_.IsRoot() || CurrentTag().IsAtOrBelow(place_));
}

CursorStatus BrowseCursor::OnAcceptedByFilter() {
    count_.store(count_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    return CliCursor::OnAcceptedByFilter();
}

}  // namespace etabulon
