#pragma once

#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/foundation/EBlockSource.h"
#include "etabulon/foundation/ERecordBlock.h"

#include <span>

namespace etabulon {

/// A listener that can take a block of records where it would get OnMove for each of them.
///
/// Browse walks by blocks if every listener wants them, the cursor's records come in blocks and no
/// part of the cursor looks at single records. The first record comes by OnMove even then, and any
/// later record may. Both ways must have the same result. The other events stay as they are, and
/// come in the same order.
///
/// A block holds up to ERecordBlock::kMostRecords records. The cancel flag is tested before each,
/// so that a cancelled walk ends with a whole block.
/// Example    apps/etabulon/walk/CliProgress.h
class ETABULON_API IBlockNotifier : public ETabulonCursor::INotifier {
public:
    /// Called within Browse, after OnReset. The listener adds the columns that it reads, and keeps
    /// their indexes until the next call. False: this walk comes by OnMove alone. It may be called
    /// several times for one walk, and doesn't mean that blocks follow.
    [[nodiscard]] virtual bool WantBlocks(const ETabulonCursor& cursor, EBlockRequest& request) = 0;
    /// In place of OnMove for each of these records of the block, in this order. They are those
    /// that the filter accepts, at least one. Neither the cursor's record nor its table stand on
    /// one of them. A nonzero answer ends the walk after the block.
    /// Requires that the listener leaves table, fields and listeners of the cursor as they are.
    virtual CursorStatus OnBlock(const ETabulonCursor& cursor, const ERecordBlock& block,
                                 std::span<const EBlockIndex> records) = 0;
};

/// A listener of blocks that accepts every reset and ignores the other events; see ECursorListener.
/// Example    apps/etabulon/walk/CliProgress.h
class ETABULON_API EBlockListener : public IBlockNotifier, public virtual ECountedUnknown {
public:
    CursorStatus OnReset(const ETabulonTag& /*tag*/, const ETabulonCursor& /*cursor*/) override {
        return StatusOk;
    }
    void OnDone(const ETabulonCursor& /*cursor*/) override {}
    void OnCancel(const ETabulonCursor& /*cursor*/) override {}
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus /*status*/) override {}
};

}  // namespace etabulon
