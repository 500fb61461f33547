#pragma once

#include "etabulon/cursors/IBlockNotifier.h"

#include <span>

namespace etabulon {

/// Keeps a walk going for the fillers that listen beside it, and notes whether there was a record.
class CliBystander final : public EBlockListener {
public:
    CursorStatus OnMove(const ETabulonCursor& /*cursor*/) override {
        hasRecords_ = true;
        return StatusOk;
    }
    bool WantBlocks(const ETabulonCursor& /*cursor*/, EBlockRequest& /*request*/) override {
        return true;
    }
    CursorStatus OnBlock(const ETabulonCursor& cursor, const ERecordBlock& /*block*/,
                         std::span<const EBlockIndex> /*records*/) override {
        return OnMove(cursor);
    }
    [[nodiscard]] bool HasRecords() const noexcept { return hasRecords_; }

private:
    bool hasRecords_ = false;
};

}  // namespace etabulon
