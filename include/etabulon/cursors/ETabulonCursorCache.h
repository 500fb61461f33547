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

/// Reads its source once, whole, and is from then on itself the data: walked without touching the
/// table, edited in memory, and written back by one Save. Tables of its own (AllocEData) show the
/// same lines, each in an order of its own.
///
/// Use        Browse as any cursor: the first reset reads the source. Edit, Save, ClearCache.
/// Ownership  the source is not owned. The tables are their callers' and must go before this. Holds
///            one reference for each entry of its notifiers.
/// Threads    edits hold the chain's lock; walks take none.
/// Failure    beside those of the source: 4 nothing to delete, 5 a line has that tag already, 8 no
///            live line to update. A memory exception of an edit leaves every line whole, and the
///            lock free.
/// Cost       a walk allocates nothing per record. Edits find their lines by an index of the tags.
///            Tags that were used once are kept until the cache is cleared.
class ETABULON_API ETabulonCursorCache : public ETabulonCursorRelay {
public:
    /// What Save does with a line. Lines in the last two states are dead: no walk shows them.
    enum LineState : std::int32_t {
        LineClean = 0,         // as in the source
        LineModified = 1,      // updates the record
        LineAdded = 2,         // inserts a record
        LineDeleted = 3,       // deletes the record
        LineAddedDeleted = 4,  // nothing
    };

    /// Hears of edits. Each runs under the cursor's lock; it may edit the cache itself.
    class ETABULON_API ICacheNotifier : public virtual EUnknown {
    public:
        virtual void OnCacheCleared() = 0;
        /// Before the line is made; `fields` may still be filled. Also where a line has the tag.
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

    /// The line's own, good until the cache is cleared twice.
    [[nodiscard]] const ETabulonTag& CurrentTag() const override;
    /// Writes past the lines, to the records of their keys wherever the source stands.
    [[nodiscard]] IUpdater* Updater() override;
    [[nodiscard]] std::uint64_t TagGeneration() const noexcept override;

    /// A record that has the tag's values, and those of the updates made on its branch. Requires a
    /// value for each level.
    CursorStatus Append(const ETabulonTag& tag);
    CursorStatus Append(const EFieldSet& fields);
    /// At the tag and below it; of later records too. No match is no failure.
    CursorStatus Update(const ETabulonTag& tag, const ETabulonVariableID& id,
                        const EVariant& value);
    /// Of the one line that has the fields' tag.
    CursorStatus Update(const EFieldSet& fields);
    /// At the tag and below it.
    CursorStatus Delete(const ETabulonTag& tag);
    /// Stops a walk and writes what was changed. At the first failure it ends and every line stays
    /// marked, those already written too. After a success clear the cache: lines that were deleted
    /// are clean lines again until then.
    CursorStatus Save();
    void ClearCache();

    /// Any line isn't as in the source, those that Save has nothing to do for included.
    [[nodiscard]] bool IsDirty() const noexcept;
    /// No line is alive.
    [[nodiscard]] bool IsEmpty() const noexcept;
    /// None at the tag or below it.
    [[nodiscard]] bool IsEmpty(const ETabulonTag& tag) const;
    /// Makes `fields` a new record at the tag, as Append does.
    void InitBuffer(EFieldSet& fields, const ETabulonTag& tag) const;

    /// A table on the lines at and below `root`, in the order of `sortDesc`, which it references.
    /// The caller owns it; it must go before this.
    [[nodiscard]] EData* AllocEData(const ETabulonTag& root, ETabulonSortDesc* sortDesc);

    void AddCacheNotifier(ICacheNotifier* notifier);
    /// Takes out every entry of it.
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
    /// Makes a line of the record that the source stands on.
    void AppendCurrentToCache();

private:
    class CacheFiller;
    class Lines;
    class Saving;
    struct LinePlace;

    CursorStatus AppendLine(const EFieldSet& fields, CacheLine*& line);
    CacheLine& AddLine(const ETabulonTag& tag);
    CursorStatus Fill();
    /// Takes over the fields, and gives their tag.
    [[nodiscard]] ETabulonTag TakeFields(const EFieldSet& fields);
    /// Of that line and no other; 8 if the fields have another tag.
    CursorStatus UpdateLine(CacheLine& line, const EFieldSet& fields);
    CursorStatus StoreFields(CacheLine& line, const EFieldSet& fields);
    CursorStatus DeleteLine(CacheLine& line);
    /// `at` is for the line's tag, in the storage that it has.
    void DeleteAt(const LinePlace& place, ETabulonTag& at);
    void SendTagToFields(const ETabulonTag& tag) { SendTagToFields(tag, iFields()); }
    void SendTagToFields(const ETabulonTag& tag, EFieldSet& fields) const;
    template <class Call>
    void TellNotifiers(Call call);
    template <class Call>
    void TellTables(Call call);

    std::unique_ptr<detail::CacheUpdater> updater_;
    std::unique_ptr<Lines> lines_;  // with their index by tag, and the current line
    bool mustFill_ = true;          // the next reset reads the source
    std::uint64_t tagGeneration_;   // another one after each clearing of the lines
    ETabulonTag filterTag_;
    std::vector<EDataCache*> dataCaches_;  // not owned
    ETabulonPendingChanges changes_;       // the updates of branches, for records appended later
    PTableau<ICacheNotifier*> cacheNotifiers_;  // one reference each
};

}  // namespace etabulon
