#pragma once

#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/foundation/ERef.h"

#include <memory>

namespace etabulon {

/// A table over the lines of a cache, in the order of a sort description. A line goes behind those
/// with an equal place, where it is filed when it is made, and stays there whatever changes.
///
/// Made by ETabulonCursorCache::AllocEData.
///
/// Positions  are the lines' numbers: never an address, and never given twice by one cache.
/// Writing    goes to the cache, and is saved by it. An update writes the line that has the
///            fields' tag.
/// Session    between BeginDelete and EndDelete a deleted record stays the current one, so that a
///            walk goes on behind it.
class ETABULON_API ETabulonCursorCache::EDataCache : public EData {
public:
    EDataCache(ETabulonCursorCache* cache, const ETabulonTag& root, ETabulonSortDesc* sortDesc);
    ~EDataCache() override;

    EPosition GetFirst() override;
    EPosition GetLast() override;
    EPosition GetNext() override;
    EPosition GetPrevious() override;
    EPosition RePos(EPosition where, bool flag) override;
    /// A failure leaves no current record.
    EPosition Insert() override;
    EPosition Update(EPosition where) override;
    bool DeleteOne(EPosition where) override;
    bool DeleteLoop() override;
    /// Deliberate: the line that the table stands on and no other, where Update writes the one that
    /// has the fields' tag and DeleteOne deletes all lines of one tag. A record whose fields have
    /// another tag than its line is refused with 8: a line's tag never changes.
    /// CursorOnACacheTable holds it.
    EPosition UpdateRecord() override;
    bool DeleteRecord(EPosition where) override;
    void BeginDelete() override { ++deleteDepth_; }
    void EndDelete() override { --deleteDepth_; }
    bool LoadBuffer() override;
    /// The key of the source's record; empty for a line made in memory.
    [[nodiscard]] const EFieldKey& CurKey() override;

    // --- what the cache asks and tells ---
    /// It isn't this table's current record.
    [[nodiscard]] bool CanRemoveLine(const CacheLine& line) const;
    void OnLineAdded(CacheLine& line);
    void OnLineDeleted(const CacheLine& /*line*/) {}
    void OnLineRemoved(const CacheLine& line);
    /// Deliberate: nothing. A line whose values would put it elsewhere keeps its place in the list.
    /// FileNewLinesBehindTheirEquals holds it.
    void OnLineChanged(const CacheLine& /*line*/) {}
    /// A dead line came back: it may have been dead when this table was made.
    void OnLineRevived(CacheLine& line);
    void OnCacheCleared();

private:
    class List;
    enum class Direction : bool { On, Back };

    EPosition Walk(CacheLine* from, Direction direction);
    EPosition StepFrom(Direction direction);
    EPosition LeaveRecord(std::int32_t newStatus);
    [[nodiscard]] bool Shows(const CacheLine& line) const;
    /// Calls `remove` with the line at `where`, as a deletion that leaves it unless in a session.
    template <class Remove>
    bool DeleteAt(EPosition where, const Remove& remove);

    ETabulonCursorCache* cache_;
    ERef<ETabulonSortDesc> sortDesc_;
    ETabulonTag root_;
    ERecordBuffer record_;
    std::unique_ptr<List> list_;
    int deleteDepth_ = 0;
};

}  // namespace etabulon
