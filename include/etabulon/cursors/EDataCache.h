#pragma once

#include "etabulon/cursors/ETabulonCursorCache.h"
#include "etabulon/foundation/ERef.h"

#include <memory>

namespace etabulon {

/// A table over the lines of a cache, in the order of a sort description. A line is filed when it
/// is made, after the lines that compare as equal, and keeps its position whatever changes later.
///
/// ETabulonCursorCache::AllocEData makes it.
///
/// Positions  are the lines' numbers, which one cache never gives twice.
/// Writing    changes the cache, whose Save writes to the source. An update writes the line that
///            has the fields' tag.
/// Session    between BeginDelete and EndDelete a deleted record stays the current one, so that a
///            walk continues after it.
/// Example    tests/cursors/CacheFixture.h
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
    /// Deliberate: writes exactly the line that the table stands on, where Update writes the line
    /// that has the fields' tag and DeleteOne deletes all lines of one tag. If the fields have
    /// another tag than the line, the update is refused with 8: a line's tag never changes.
    /// CursorOnACacheTable holds it.
    EPosition UpdateRecord() override;
    bool DeleteRecord(EPosition where) override;
    void BeginDelete() override { ++deleteDepth_; }
    void EndDelete() override { --deleteDepth_; }
    bool LoadBuffer() override;
    /// The key of the source's record; empty for a line made in memory.
    [[nodiscard]] const EFieldKey& CurKey() override;

    // ------------------------------------------------------------------------- called by the cache
    /// Whether the line may be destroyed: it isn't this table's current record.
    [[nodiscard]] bool CanRemoveLine(const CacheLine& line) const;
    void OnLineAdded(CacheLine& line);
    void OnLineDeleted(const CacheLine& /*line*/) {}
    void OnLineRemoved(const CacheLine& line);
    /// Deliberate: does nothing. A line whose new values would sort elsewhere keeps its position.
    /// FileNewLinesAfterTheirEquals holds it.
    void OnLineChanged(const CacheLine& /*line*/) {}
    /// A dead line came back to life. This table lacks it if it was dead when the table was made.
    void OnLineRevived(CacheLine& line);
    void OnCacheCleared();

private:
    class List;
    enum class Direction : bool { On, Back };

    EPosition Walk(CacheLine* from, Direction direction);
    EPosition StepFrom(Direction direction);
    EPosition LeaveRecord(std::int32_t newStatus);
    [[nodiscard]] bool Shows(const CacheLine& line) const;
    /// Calls `remove` with the line at `where`, which the table first leaves unless in a session.
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
