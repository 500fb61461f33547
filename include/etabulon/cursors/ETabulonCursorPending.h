#pragma once

#include "etabulon/cursors/ETabulonCursorRelay.h"
#include "etabulon/pending/ETabulonPendingChanges.h"

#include <cstdint>
#include <memory>

namespace etabulon {

/// Shows its source as it would look once the pending changes were saved: deleted records are
/// passed over, updated ones show their new values, inserts come behind the source's last record.
///
/// Use        give it levels by `Init(source->Levels())`; then it is used as any cursor.
/// Ownership  neither the source nor the changes are owned, and both must outlive this.
/// Threads    changes may be appended by another thread while this walks: a record meets the script
///            as it is then, the inserts are those of the reset.
/// Failure    a source that fails or is cancelled ends the walk; the inserts aren't met then.
class ETABULON_API ETabulonCursorPending : public ETabulonCursorRelay {
public:
    /// Not owned, must outlive this.
    ETabulonCursorPending(ETabulonCursor* source, const ETabulonPendingChanges* changes);
    ~ETabulonCursorPending() override;

protected:
    EFieldSet& iFields() override;
    CursorStatus Reset(const ETabulonTag& tag) override;
    CursorStatus GetNext() override;
    void CalcFields() override;
    [[nodiscard]] bool IsInFilter() const override;
    void ExtractCurrentTag(ETabulonTag& tag) const override;
    void ExtractPrimaryKey(ETabulonPrimaryKey& key) const override;

private:
    CursorStatus ShowInsert();

    bool inInserts_ = false;  // the walk has left the source's records
    const ETabulonPendingChanges* changes_;
    PTableau<ETabulonPendingChanges::Change> inserts_;  // of the walk
    std::int32_t insertIndex_ = -1;
    std::unique_ptr<detail::PendingFilter> filter_;  // a copy of the script's
    std::uint64_t filterVersion_ = 0;
    bool mayBeDeleted_ = true;  // the current record, with the tag that it has
};

}  // namespace etabulon
