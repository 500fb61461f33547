#include "apps/etabulon/walk/CliProgress.h"

#include "apps/etabulon/output/CliOutput.h"

#include <fmt/format.h>

namespace etabulon {

CursorStatus CliProgress::OnMove(const ETabulonCursor& /*cursor*/) {
    constexpr std::uint64_t kBetweenLooks = 1024;  // records between two reads of the clock
    if (++count_ % kBetweenLooks == 0) {
        ShowRecords();
    }
    return StatusOk;
}

CursorStatus CliProgress::OnBlock(const ETabulonCursor& /*cursor*/, const ERecordBlock& /*block*/,
                                  std::span<const EBlockIndex> records) {
    count_ += records.size();
    ShowRecords();
    return StatusOk;
}

void CliProgress::ShowRecords() {
    if (IsDue()) {
        Show(fmt::format("\r{} records", count_));
    }
}

void CliProgress::ShowBytes(std::uint64_t read, std::uint64_t of) {
    constexpr double kMegabyte = 1e6;
    if (IsDue()) {
        Show(fmt::format("\r{:.0f} of {:.0f} MB", static_cast<double>(read) / kMegabyte,
                         static_cast<double>(of) / kMegabyte));
    }
}

bool CliProgress::IsDue() {
    constexpr std::chrono::milliseconds kBetweenLines(100);
    return std::chrono::steady_clock::now() - shown_ >= kBetweenLines;
}

void CliProgress::Show(std::string_view text) {
    WriteError(text);
    shown_ = std::chrono::steady_clock::now();
    isOnScreen_ = true;
}

void CliProgress::End() {
    if (isOnScreen_) {
        WriteError("\r\x1B[K");
    }
}

}  // namespace etabulon
