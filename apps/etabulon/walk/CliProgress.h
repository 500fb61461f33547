#pragma once

#include "etabulon/cursors/IBlockNotifier.h"

#include <chrono>
#include <cstdint>
#include <span>

namespace etabulon {

/// Shows on stderr how many records the walk has read.
class CliProgress final : public EBlockListener {
public:
    CursorStatus OnMove(const ETabulonCursor& cursor) override;
    bool WantBlocks(const ETabulonCursor& /*cursor*/, EBlockRequest& /*request*/) override {
        return true;
    }
    CursorStatus OnBlock(const ETabulonCursor& cursor, const ERecordBlock& block,
                         std::span<const EBlockIndex> records) override;
    /// Clears the line.
    void End();

private:
    void Show();

    std::uint64_t count_ = 0;
    std::chrono::steady_clock::time_point shown_ = std::chrono::steady_clock::now();
    bool isOnScreen_ = false;
};

}  // namespace etabulon
