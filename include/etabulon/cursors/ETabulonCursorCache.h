#pragma once

#include "etabulon/cursors/ETabulonCursorRelay.h"
#include "etabulon/foundation/EData.h"
#include "etabulon/foundation/PTableau.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/sort/fwd.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace etabulon {

namespace detail {
class CacheUpdater;
}

/// Reads its source once, as a whole, and then holds the data itself: walks don't touch the table,
/// edits happen in memory, and one Save writes them back. Tables made by AllocEData show the same
/// lines, each in its own order.
///
/// Use        Browse as any cursor: the first reset reads the source. Edit, Save, ClearCache.
/// Ownership  the source is not owned. The callers own the tables, which must go before the cache.
///            The cache holds one reference for each entry of its notifiers.
/// Threads    edits hold the chain's lock; walks take none.
/// Failure    the source's statuses, and: DataGone if there was nothing to delete, DataDuplicate
///            if a line has that tag already, DataNoCurrent without a live line to update. A memory
///            exception of an edit leaves every line whole, and the lock free.
/// Cost       a walk allocates nothing per record. Edits find their lines by an index of the tags.
///            A tag stays in memory until the cache is cleared, even after its last line went.
/// Example    tests/cursors/CacheFixture.h
class ETABULON_API ETabulonCursorCache : public ETabulonCursorRelay {
public:
    /// What Save does with a line. Lines in the last two states are dead: walks skip them.
    enum LineState : std::int32_t {
        LineClean = 0,         // as in the source
        LineModified = 1,      // updates the record
        LineAdded = 2,         // inserts a record
        LineDeleted = 3,       // deletes the record
        LineAddedDeleted = 4,  // nothing
    };

    /// A listener of edits. Each event runs under the cursor's lock; a listener may edit the cache.
    class ETABULON_API ICacheNotifier : public virtual EUnknown {
    public:
        virtual void OnCacheCleared() = 0;
        /// Called before the line is made; the listener may fill `fields`. Also called where a line
        /// has the tag already.
        virtual void OnLineAppended(const ETabulonTag& tag, EFieldSet& fields) = 0;
        virtual void OnLineDeleted(const ETabulonTag& tag) = 0;
        virtual void OnValueUpdated(const ETabulonTag& tag, const ETabulonVariableID& id,
                                    EFieldSet& fields) = 0;
        virtual void OnLineUpdated(const ETabulonTag& tag, EFieldSet& fields) = 0;
    };

    class EDataCache;  // in EDataCache.h
    class CacheLine;

    explicit ETabulonCursorCache(ETabulonCursor* source);
    ~ETabulonCursorCache() override;

    /// The line's own tag, valid until the cache is cleared twice.
    [[nodiscard]] const ETabulonTag& CurrentTag() const override;
    /// Bypasses the lines: writes the source's records by their keys, wherever the source stands.
    [[nodiscard]] IUpdater* Updater() override;
    [[nodiscard]] std::uint64_t TagGeneration() const noexcept override;

    /// Appends a record with the tag's values and those of the updates made on its branch. Requires
    /// a value for each level.
    CursorStatus Append(const ETabulonTag& tag);
    CursorStatus Append(const EFieldSet& fields);
    /// Updates the records at the tag and below it, and those appended there later. StatusOk also
    /// if there is none yet.
    CursorStatus Update(const ETabulonTag& tag, const ETabulonVariableID& id,
                        const EVariant& value);
    /// Updates the line that has the fields' tag.
    CursorStatus Update(const EFieldSet& fields);
    /// Deletes the records at the tag and below it.
    CursorStatus Delete(const ETabulonTag& tag);
    /// Cancels a running walk and writes the changed lines. It ends at the first failure, and every
    /// line then stays marked as changed, also those already written. Clear the cache after a
    /// success: until then deleted lines count as clean lines again.
    /// Writes to the table, past a cache below this one: a line that only the lower cache holds has
    /// no record until that cache is saved, and fails with DataNoSuchPosition.
    CursorStatus Save();
    void ClearCache();

    /// Whether any line isn't LineClean, those in LineAddedDeleted included.
    [[nodiscard]] bool IsDirty() const noexcept;
    /// Whether no line is alive.
    [[nodiscard]] bool IsEmpty() const noexcept;
    /// Whether no line at the tag or below it is alive.
    [[nodiscard]] bool IsEmpty(const ETabulonTag& tag) const;
    /// Fills `fields` as a new record at the tag, as Append does.
    void InitBuffer(EFieldSet& fields, const ETabulonTag& tag) const;

    /// A table on the lines at and below `root`, in the order of `sortDesc`, to which it adds a
    /// reference. The caller owns the table, which must go before the cache.
    [[nodiscard]] EData* AllocEData(const ETabulonTag& root, ETabulonSortDesc* sortDesc);

    void AddCacheNotifier(ICacheNotifier* notifier);
    /// Removes every entry of this notifier.
    void RemCacheNotifier(ICacheNotifier* notifier);
    void AddCacheNotifiers(const PTableau<ICacheNotifier*>& notifiers);
    void RemCacheNotifiers(const PTableau<ICacheNotifier*>& notifiers);
    [[nodiscard]] const PTableau<ICacheNotifier*>& CacheNotifiers() const noexcept {
        return cacheNotifiers_;
    }

protected:
    CursorStatus Reset(const ETabulonTag& tag) override;
    CursorStatus GetNext() override;
    [[nodiscard]] bool IsInFilter() const override;
    void ExtractCurrentTag(ETabulonTag& tag) const override;
    void ExtractPrimaryKey(ETabulonPrimaryKey& key) const override;
    /// Makes a line from the record that the source stands on.
    void AppendCurrentToCache();

private:
    class CacheFiller;
    class Lines;
    class Saving;
    struct LineHandle;

    CursorStatus AppendLine(const EFieldSet& fields, CacheLine*& line);
    CacheLine& AddLine(const ETabulonTag& tag);
    CursorStatus Fill();
    /// Copies the fields into the source's record, and returns their tag.
    [[nodiscard]] ETabulonTag TakeFields(const EFieldSet& fields);
    /// Updates exactly that line; DataNoCurrent if the fields have another tag.
    CursorStatus UpdateLine(CacheLine& line, const EFieldSet& fields);
    CursorStatus StoreFields(CacheLine& line, const EFieldSet& fields);
    CursorStatus DeleteLine(CacheLine& line);
    /// `at` receives the line's tag; its storage is reused from line to line.
    void DeleteAt(const LineHandle& handle, ETabulonTag& at);
    void SendTagToFields(const ETabulonTag& tag) { SendTagToFields(tag, iFields()); }
    void SendTagToFields(const ETabulonTag& tag, EFieldSet& fields) const;
    template <class Call>
    void CallNotifiers(Call call);
    template <class Call>
    void CallTables(Call call);

    std::unique_ptr<detail::CacheUpdater> updater_;
    std::unique_ptr<Lines> lines_;  // with their index by tag, and the current line
    bool mustFill_ = true;          // the next reset reads the source
    std::uint64_t tagGeneration_;   // a new number after each clearing of the lines
    ETabulonTag filterTag_;
    std::vector<EDataCache*> dataCaches_;       // not owned
    ETabulonPendingChanges changes_;            // updates of branches, for records appended later
    PTableau<ICacheNotifier*> cacheNotifiers_;  // one reference each
};

}  // namespace etabulon
