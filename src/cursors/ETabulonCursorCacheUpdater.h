#pragma once

#include "cursors/ETabulonCursorCacheTarget.h"
#include "etabulon/foundation/ERef.h"

#include <cstdint>

namespace etabulon::detail {

/// The write side of a cache: the source's updater, which reaches the record of the key whatever
/// the source was walked to since the cache was filled.
///
/// Ownership  a member of its cache. Like the count of a table cursor its own never destroys it:
///            the first holder takes the source's updater, and the last gives it back.
/// Failure    43 where no record can be found by the key, and otherwise the source's own. A Save
///            behind a StartUpdate that failed fails alike.
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

    /// Of the last cursor; null where that isn't a table's.
    [[nodiscard]] EData* Table() const noexcept { return target_.Table(); }

private:
    ETabulonCursor& source_;
    CacheTarget target_;
    ERef<ETabulonCursor::IUpdater> updater_;  // while there are holders
    std::int32_t holders_ = 0;
    CursorStatus started_ = StatusOk;  // what came of the last StartUpdate
};

}  // namespace etabulon::detail
