#pragma once

#include "etabulon/cursors/ETabulonCursor.h"

namespace etabulon {

class ETabulonCursorPending;
class ETabulonPendingChanges;

/// Plays a script of pending changes against the table, through a cursor's updater: updates and
/// deletes by a walk under a tag, in the order of the records; then the inserts, in that of the
/// script.
///
/// Ownership  neither the cursor nor the levels are owned, and both must outlive this. The updater
///            is held for the life of this, and with it the write session of the table.
/// Threads    Run holds the cursor's lock and works on copies of the changes. A Cancel from another
///            thread ends its walk.
/// Failure    there is no transaction here. What was written before a failure stays written, and
///            the script stays whole: a second Run writes again what was written.
class ETABULON_API ETabulonSavePending {
public:
    /// Requires a cursor that offers an updater.
    ETabulonSavePending(ETabulonCursor* cursor, const ETabulonLevels& levels);
    /// Saves through the overlay's source: the table as it is, not as the script would make it.
    ETabulonSavePending(ETabulonCursorPending* cursor, const ETabulonLevels& levels);
    /// Deliberate: takes no reference to the updater, though each of the two gives one back when it
    /// goes. The first to go ends the write session; whoever copies adds a reference to the updater
    /// if the other is to write afterwards. CopyTakesNoReferenceToTheUpdater holds it.
    ETabulonSavePending(const ETabulonSavePending& other) = default;
    ETabulonSavePending& operator=(const ETabulonSavePending&) = delete;
    virtual ~ETabulonSavePending();

    /// Updates and deletes below `tag`, and all inserts. StatusOk, the status of the last record
    /// that the walk wrote, or that of the first insert that failed; StatusCancelled if the walk
    /// was. The script isn't cleared: that is for the caller, after a success.
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
