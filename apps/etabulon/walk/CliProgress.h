#pragma once

#include "apps/etabulon/output/CliOutput.h"
#include "etabulon/cursors/IBlockNotifier.h"

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace etabulon {

/// Shows on stderr how many records the walk has read, or how much of a file, how fast, and, where
/// it is known how many there are, the time that is left. Requires that stderr is a terminal.
class CliProgress final : public EBlockListener {
public:
    using Moment = std::chrono::steady_clock::time_point;
    using Clock = Moment (*)();
    using Write = void (*)(std::string_view text) noexcept;

    using Columns = std::size_t (*)();

    CliProgress() : CliProgress(&std::chrono::steady_clock::now, &WriteError, &ErrorColumns) {}
    /// For tests, with the columns of the terminal, 0 if unknown.
    CliProgress(Clock clock, Write write, Columns columns)
        : clock_(clock), write_(write), columns_(columns), begun_(clock()), shown_(begun_) {}

    /// Tells how many records there are.
    void ExpectRecords(std::uint64_t all) noexcept { all_ = all; }
    CursorStatus OnMove(const ETabulonCursor& cursor) override;
    bool WantBlocks(const ETabulonCursor& /*cursor*/, EBlockRequest& /*request*/) override {
        return true;
    }
    CursorStatus OnBlock(const ETabulonCursor& cursor, const ERecordBlock& block,
                         std::span<const EBlockIndex> records) override;
    /// Shows how far a file has been read.
    void ShowBytes(std::uint64_t read, std::uint64_t of);
    /// Clears the line.
    void End();

private:
    void ShowRecords();
    [[nodiscard]] bool IsDue();
    [[nodiscard]] std::string RateOf(double done, double all, std::string_view unit) const;
    void Show(std::string_view text);
    [[nodiscard]] static std::size_t ErrorColumns();

    Clock clock_;
    Write write_;
    Columns columns_;
    std::uint64_t count_ = 0;
    std::uint64_t all_ = 0;  // 0: unknown
    Moment begun_;
    Moment shown_;
    Moment looked_;  // when the clock was last read
    bool isOnScreen_ = false;
};

}  // namespace etabulon
