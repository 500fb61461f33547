#include "apps/etabulon/walk/CliProgress.h"

#include "apps/etabulon/output/CliOutput.h"

#include <fmt/format.h>

#include <array>

namespace etabulon {

CursorStatus CliProgress::OnMove(const ETabulonCursor& /*cursor*/) {
    constexpr std::uint64_t kBetweenLooks = 1024;  // records between two reads of the clock
    if (++count_ % kBetweenLooks == 0) {
        Show();
    }
    return StatusOk;
}

CursorStatus CliProgress::OnBlock(const ETabulonCursor& /*cursor*/, const ERecordBlock& /*block*/,
                                  std::span<const EBlockIndex> records) {
    count_ += records.size();
    Show();
    return StatusOk;
}

void CliProgress::Show() {
    constexpr std::chrono::milliseconds kBetweenLines(100);
    const auto now = std::chrono::steady_clock::now();
    if (now - shown_ >= kBetweenLines) {
        std::array<char, 48> text{};
        const auto end = fmt::format_to_n(text.data(), text.size(), "\r{} records", count_).out;
        WriteError({text.data(), static_cast<std::size_t>(end - text.data())});
        shown_ = now;
        isOnScreen_ = true;
    }
}

void CliProgress::End() {
    if (isOnScreen_) {
        WriteError("\r\x1B[K");
    }
}

}  // namespace etabulon
