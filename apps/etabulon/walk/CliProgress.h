#pragma once

#include "etabulon/cursors/IBlockNotifier.h"

#include <chrono>
#include <cstdint>
#include <span>
#include <string_view>

namespace etabulon {

/// Shows on stderr how many records the walk has read, or how much of a file.
class CliProgress final : public EBlockListener {
public:
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
    void Show(std::string_view text);

    std::uint64_t count_ = 0;
    std::chrono::steady_clock::time_point shown_ = std::chrono::steady_clock::now();
    bool isOnScreen_ = false;
};

}  // namespace etabulon
