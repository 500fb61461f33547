#include "apps/etabulon/walk/CliProgress.h"

#include "etabulon/report/EReportWidth.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cmath>

namespace etabulon {
namespace {

constexpr double kMegabyte = 1e6;

/// What is left, in the largest unit that it has.
std::string ShownTime(double seconds) {
    constexpr std::uint64_t kUnit = 60;
    const auto whole = static_cast<std::uint64_t>(std::ceil(seconds));
    if (whole < kUnit) {
        return fmt::format("{} s", whole);
    }
    return whole < kUnit * kUnit
               ? fmt::format("{}:{:02} min", whole / kUnit, whole % kUnit)
               : fmt::format("{}:{:02} h", whole / kUnit / kUnit, whole / kUnit % kUnit);
}

}  // namespace

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
    if (!IsDue()) {
        return;
    }
    // There may be more of them meanwhile.
    const std::uint64_t all = count_ <= all_ ? all_ : 0;
    const std::string of = all == 0 ? "" : fmt::format(" of {}", all);
    const auto done = static_cast<double>(count_);
    const auto whole = static_cast<double>(all);
    const std::string share =
        all == 0 ? "" : fmt::format(", {} %", static_cast<std::uint64_t>(100 * done / whole));
    Show(fmt::format("{}{} records{}{}", count_, of, share, RateOf(done, whole, "")));
}

void CliProgress::ShowBytes(std::uint64_t read, std::uint64_t of) {
    if (IsDue()) {
        const double done = static_cast<double>(read) / kMegabyte;
        const double all = static_cast<double>(of) / kMegabyte;
        Show(fmt::format("{:.0f} of {:.0f} MB{}", done, all, RateOf(done, all, "MB ")));
    }
}

/// What was done in a second, and the time that the rest takes at this rate. Nothing is said of the
/// rest if `all` is 0.
std::string CliProgress::RateOf(double done, double all, std::string_view unit) const {
    const std::chrono::duration<double> elapsed = looked_ - begun_;
    const double rate = done / elapsed.count();
    if (!(rate > 0) || !std::isfinite(rate)) {
        return {};
    }
    const std::string left = all > done ? ", " + ShownTime((all - done) / rate) + " left" : "";
    return fmt::format(", {:.0f} {}a second{}", rate, unit, left);
}

bool CliProgress::IsDue() {
    constexpr std::chrono::milliseconds kBetweenLines(100);
    looked_ = clock_();
    return looked_ - shown_ >= kBetweenLines;
}

std::size_t CliProgress::ErrorColumns() {
    struct winsize size {};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

void CliProgress::Show(std::string_view text) {
    // A line that is wrapped couldn't be erased.
    if (const std::size_t columns = columns_(); columns != 0) {
        text = text.substr(0, FrontOfWidth(text, columns - 1).length);
    }
    write_(fmt::format("\r{}\x1B[K", text));
    shown_ = looked_;
    isOnScreen_ = true;
}

void CliProgress::End() {
    if (isOnScreen_) {
        write_("\r\x1B[K");
        isOnScreen_ = false;
    }
}

}  // namespace etabulon
