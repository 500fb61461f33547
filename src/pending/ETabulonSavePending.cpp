#include "etabulon/pending/ETabulonSavePending.h"

#include "cursors/ETabulonCursorCacheTarget.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/cursors/ETabulonCursorPending.h"
#include "etabulon/foundation/EExpects.h"
#include "pending/PendingIndex.h"

#include <algorithm>
#include <utility>

namespace etabulon {

using Change = ETabulonPendingChanges::Change;

/// The changes of one type, indexed to find those that apply at a tag.
class ETabulonSavePending::Matching {
public:
    void Add(Change&& change) { changes_.Add(std::move(change)); }
    /// Requires that all changes were added.
    void Prepare() { index_.AdoptScript(); }
    [[nodiscard]] bool IsEmpty() const noexcept { return changes_.Size() == 0; }

    /// The changes that apply at `tag`, in order; valid until the next call.
    [[nodiscard]] const std::vector<const Change*>& At(const ETabulonTag& tag) {
        arrivals_.clear();
        index_.ForEach(type_, Index::Side::Above, tag, nullptr, [&](const auto& found) {
            for (const Index::Arrival arrival : found) {
                if (index_.ChangeOf(arrival).Matches(tag)) {
                    arrivals_.push_back(arrival);
                }
            }
        });
        std::sort(arrivals_.begin(), arrivals_.end());
        matches_.clear();
        for (const Index::Arrival arrival : arrivals_) {
            matches_.push_back(&index_.ChangeOf(arrival));
        }
        return matches_;
    }

    explicit Matching(ETabulonPendingChanges::ChangeType type) : type_(type) {}
    Matching(const Matching&) = delete;
    Matching& operator=(const Matching&) = delete;

private:
    using Index = ETabulonPendingChanges::Index;

    ETabulonPendingChanges::ChangeType type_;
    PTableau<Change> changes_;
    Index index_{changes_};
    Index::Arrivals arrivals_;
    std::vector<const Change*> matches_;
};

/// The script as of the start of Run.
struct ETabulonSavePending::Snapshot {
    explicit Snapshot(PTableau<Change> script) {
        for (Change& change : script) {
            switch (change.Type()) {
                case ETabulonPendingChanges::Update:
                    updates.Add(std::move(change));
                    break;
                case ETabulonPendingChanges::Insert:
                    inserts.Add(std::move(change));
                    break;
                case ETabulonPendingChanges::Delete:
                    deletes.Add(std::move(change));
                    break;
            }
        }
        updates.Prepare();
        deletes.Prepare();
    }

    PTableau<Change> inserts;
    Matching updates{ETabulonPendingChanges::Update};
    Matching deletes{ETabulonPendingChanges::Delete};
};

namespace {

void SetValues(ETabulonCursor::IUpdater& updater, const std::vector<const Change*>& updates) {
    for (const Change* update : updates) {
        static_cast<void>(updater.SetValue(
            update->VarDataID(), ETabulonValue(update->Value(), Chaine(), /*modified=*/false)));
    }
}

}  // namespace

/// Writes the records that the walk shows. It lives on the stack.
class ETabulonSavePending::CUpdateNotifier final : public ECursorListener {
public:
    CUpdateNotifier(ETabulonCursor& cursor, ETabulonCursor::IUpdater& updater, Matching& updates,
                    Matching& deletes)
        : target_(cursor, /*keepsRecords=*/false),
          updater_(updater),
          updates_(updates),
          deletes_(deletes) {}

    /// The status of the last record that the walk wrote.
    [[nodiscard]] CursorStatus Status() const noexcept { return status_; }

    CursorStatus OnMove(const ETabulonCursor& cursor) override {
        // Deliberate: a write that fails doesn't end the walk, and the status of the next record
        // that is written replaces its status: an earlier failure is lost.
        // LosesAFailureThatASuccessFollows holds it.
        if (!deletes_.At(cursor.CurrentTag()).empty()) {
            const Position at(cursor);
            status_ = target_.MoveForDelete(at.key, at.tag);
            if (status_ == StatusOk) {
                status_ = updater_.Delete(at.key, at.tag);
            }
            return StatusOk;
        }
        const std::vector<const Change*>& updates = updates_.At(cursor.CurrentTag());
        if (!updates.empty()) {
            const Position at(cursor);
            status_ = target_.MoveForUpdate(at.key, at.tag);
            if (status_ != StatusOk) {
                return StatusOk;
            }
            // Deliberate: the status of StartUpdate is ignored. The Save that follows reports the
            // failure if the table does. SavesWhatCouldNotBeStarted holds it.
            static_cast<void>(updater_.StartUpdate(at.key, at.tag));
            SetValues(updater_, updates);
            status_ = updater_.Save();
        }
        return StatusOk;
    }

private:
    /// Copies of the record's tag and key: writing into the cursor's fields changes the cursor's.
    struct Position {
        explicit Position(const ETabulonCursor& cursor)
            : tag(cursor.CurrentTag()), key(cursor.PrimaryKey()) {}
        ETabulonTag tag;
        ETabulonPrimaryKey key;
    };

    CursorStatus status_ = StatusOk;
    detail::CacheTarget target_;
    ETabulonCursor::IUpdater& updater_;
    Matching& updates_;
    Matching& deletes_;
};

ETabulonSavePending::ETabulonSavePending(ETabulonCursor* cursor, const ETabulonLevels& levels)
    : levels_(levels), cursor_(cursor), updater_(cursor->Updater()) {
    E_EXPECTS(updater_ != nullptr);
}

ETabulonSavePending::ETabulonSavePending(ETabulonCursorPending* cursor,
                                         const ETabulonLevels& levels)
    : ETabulonSavePending(cursor->Source(), levels) {}

ETabulonSavePending::~ETabulonSavePending() { updater_->Release(); }

CursorStatus ETabulonSavePending::Run(const ETabulonPendingChanges* changes,
                                      const ETabulonTag& tag) {
    const ECursorExclusive exclusive(*cursor_);
    Snapshot snapshot(changes->ScriptCopy());
    const CursorStatus status = SaveRecords(snapshot, tag);
    return status != StatusOk ? status : SaveInserts(snapshot);
}

CursorStatus ETabulonSavePending::SaveRecords(Snapshot& snapshot, const ETabulonTag& tag) {
    if (snapshot.updates.IsEmpty() && snapshot.deletes.IsEmpty()) {
        return StatusOk;
    }
    CUpdateNotifier notifier(*cursor_, *updater_, snapshot.updates, snapshot.deletes);
    CursorStatus walk = StatusOk;
    {
        const ECursorListening listening(*cursor_, notifier);
        walk = cursor_->Browse(tag);
    }
    if (notifier.Status() != StatusOk) {
        return notifier.Status();
    }
    // Deliberate: of the statuses of a walk that ended early only StatusCancelled is returned.
    // After a failure the inserts are written all the same, and Run returns their status.
    // WritesTheInsertsAfterAWalkThatFailed holds it.
    return walk == StatusCancelled ? walk : StatusOk;
}

CursorStatus ETabulonSavePending::SaveInserts(Snapshot& snapshot) {
    for (const Change& insert : snapshot.inserts) {
        CursorStatus status = updater_->StartInsert(insert.Selection());
        if (status != StatusOk) {
            return status;
        }
        SetValues(*updater_, snapshot.updates.At(insert.Selection()));
        status = updater_->Save();
        if (status != StatusOk) {
            return status;
        }
    }
    return StatusOk;
}

}  // namespace etabulon
