#pragma once

#include "cursors/ETabulonCursorCacheTarget.h"
#include "etabulon/foundation/ERef.h"

#include <cstdint>

namespace etabulon::detail {

/// The write side of a cache: the source's updater, moved to the record of the key wherever walks
/// of the source have left it since the fill.
///
/// Ownership  a member of its cache. Like the count of a table cursor, its count never destroys it:
///            the first holder takes the source's updater, and the last releases it.
/// Failure    DataNoSuchPosition if the key finds no record, otherwise the source's status. After a
/// StartUpdate
///            that failed, Save fails with the same status.
class CacheUpdater final : public ETabulonCursor::IUpdater {
public:
    explicit CacheUpdater(ETabulonCursorRelay& cache)
        : source_(*cache.Source()), target_(cache, /*keepsRecords=*/true) {}

    /// Adds a holder; false where the source can't write.
    [[nodiscard]] bool Hold();

    void AddRef() override { static_cast<void>(Hold()); }
    std::int32_t Release() override;
    CursorStatus StartInsert(const ETabulonTag& tag) override;
    CursorStatus StartUpdate(const ETabulonPrimaryKey& key, const ETabulonTag& tag) override;
    CursorStatus Save() override;
    CursorStatus Delete(const ETabulonPrimaryKey& key, const ETabulonTag& tag) override;
    CursorStatus SetValue(const ETabulonVariableID& id, const ETabulonValue& value) override;
    CursorStatus SetBuffer(const EExtract& record) override;

    /// The last cursor's table; null if that cursor isn't one on a table.
    [[nodiscard]] EData* Table() const noexcept { return target_.Table(); }

private:
    ETabulonCursor& source_;
    CacheTarget target_;
    ERef<ETabulonCursor::IUpdater> updater_;  // null without holders
    std::int32_t holders_ = 0;
    CursorStatus started_ = StatusOk;  // the status of the last StartUpdate
};

}  // namespace etabulon::detail
