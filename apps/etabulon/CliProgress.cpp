#include "apps/etabulon/CliProgress.h"

#include <fmt/format.h>

#include <cstdio>

namespace etabulon {

CursorStatus CliProgress::OnMove(const ETabulonCursor& /*cursor*/) {
    constexpr std::uint64_t kBetweenLooks = 1024;  // at the clock
    constexpr std::chrono::milliseconds kBetweenLines(100);
    if (++count_ % kBetweenLooks != 0) {
        return StatusOk;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now - shown_ >= kBetweenLines) {
        fmt::print(stderr, "\r{} records", count_);
        std::fflush(stderr);
        shown_ = now;
        isOnScreen_ = true;
    }
    return StatusOk;
}

void CliProgress::End() {
    if (isOnScreen_) {
        std::fputs("\r\x1B[K", stderr);
        std::fflush(stderr);
    }
}

}  // namespace etabulon
