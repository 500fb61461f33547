#pragma once

#include "etabulon/cursors/ECursorListener.h"

#include <chrono>
#include <cstdint>

namespace etabulon {

/// Shows on stderr how many records the walk has read.
class CliProgress final : public ECursorListener {
public:
    CursorStatus OnMove(const ETabulonCursor& cursor) override;
    /// Clears the line.
    void End();

private:
    std::uint64_t count_ = 0;
    std::chrono::steady_clock::time_point shown_ = std::chrono::steady_clock::now();
    bool isOnScreen_ = false;
};

}  // namespace etabulon
