#pragma once

#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/cursors/fwd.h"
#include "etabulon/pending/fwd.h"

namespace etabulon {

/// Applies a script of pending changes to the table through a cursor's updater: first updates and
/// deletes by a walk under a tag, in the order of the records; then inserts, in the order of the
/// script.
///
/// Ownership  the cursor and the levels are not owned, and must outlive this object. It holds the
///            updater from construction to destruction, and with it the table's write session.
/// Threads    Run holds the cursor's lock and works on copies of the changes. A Cancel from another
///            thread ends its walk.
/// Failure    no transaction: records written before a failure stay written, and the script stays
///            unchanged, so that a second Run writes them again.
/// Example    examples/pending.cpp
class ETABULON_API ETabulonSavePending {
public:
    /// Requires a cursor that offers an updater.
    ETabulonSavePending(ETabulonCursor* cursor, const ETabulonLevels& levels);
    /// Saves through the source of `cursor`, which shows the table without the script.
    ETabulonSavePending(ETabulonCursorPending* cursor, const ETabulonLevels& levels);
    /// Deliberate: the copy adds no reference to the updater, though original and copy each release
    /// one in their destructors. The first destructor ends the write session; a caller that copies
    /// adds a reference if the other object is to write afterwards.
    /// CopyTakesNoReferenceToTheUpdater holds it.
    ETabulonSavePending(const ETabulonSavePending& other) = default;
    ETabulonSavePending& operator=(const ETabulonSavePending&) = delete;
    virtual ~ETabulonSavePending();

    /// Applies the updates and deletes at and below `tag`, and all inserts. Returns the status of
    /// the last record that the walk wrote if that isn't StatusOk, StatusCancelled for a cancelled
    /// walk, otherwise the status of the first insert that failed, or StatusOk. The caller resets
    /// the script after a success.
    [[nodiscard]] CursorStatus Run(const ETabulonPendingChanges* changes, const ETabulonTag& tag);

    [[nodiscard]] const ETabulonLevels& Levels() const noexcept { return levels_; }

private:
    class Matching;
    class CUpdateNotifier;
    struct Snapshot;

    [[nodiscard]] CursorStatus SaveRecords(Snapshot& snapshot, const ETabulonTag& tag);
    [[nodiscard]] CursorStatus SaveInserts(Snapshot& snapshot);

    const ETabulonLevels& levels_;       // not owned
    ETabulonCursor* cursor_;             // not owned
    ETabulonCursor::IUpdater* updater_;  // released by the destructor
};

}  // namespace etabulon
