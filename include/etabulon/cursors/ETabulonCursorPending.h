#pragma once

#include "etabulon/cursors/ETabulonCursorRelay.h"
#include "etabulon/pending/ETabulonPendingChanges.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace etabulon {

namespace detail {
class PendingBlocks;
enum class PendingVerdict : std::uint8_t;
}  // namespace detail

/// Shows its source as it would look once the pending changes were saved: the walk skips deleted
/// records, updated records show their new values, and inserts follow the source's last record.
///
/// Use        give it levels by `Init(source->Levels())`; then it is used as any cursor.
/// Ownership  the source and the changes are not owned, and must outlive this cursor.
/// Threads    another thread may append changes during a walk: each record shows the script as it
///            is at that moment; the inserts are those present at the reset.
/// Failure    a source that fails or is cancelled ends the walk before the inserts.
/// Example    examples/pending.cpp
class ETABULON_API ETabulonCursorPending : public ETabulonCursorRelay {
public:
    /// Both are not owned, and must outlive this cursor.
    ETabulonCursorPending(ETabulonCursor* source, const ETabulonPendingChanges* changes);
    ~ETabulonCursorPending() override;

    /// Shows inserted records from the next reset on under the tag of their fields, as if they were
    /// stored, and filters them by it. Otherwise they have the tag of their insert, which may lack
    /// levels of this cursor.
    void ShowInsertsByTheirFields() noexcept { areInsertsByFields_ = true; }

protected:
    EFieldSet& iFields() override;
    CursorStatus Reset(const ETabulonTag& tag) override;
    CursorStatus GetNext() override;
    void ExpectBlocks() override { CallExpectBlocks(); }
    /// Reads the source's blocks if the source is no relay itself, and has the same levels and no
    /// listeners. Deleted records are left out of a part, and updated ones show their new values.
    [[nodiscard]] bool BeginBlocks(const EBlockRequest& request) override;
    CursorStatus GetNextBlock(const ERecordBlock*& block) override;
    void EndBlocks() noexcept override;
    [[nodiscard]] BlockPart TakePart(const ERecordBlock& block,
                                     std::span<const EBlockIndex> records) override;
    CursorStatus StandInBlock(const ERecordBlock& block, EBlockIndex record, bool isWhole) override;
    void CalcFields() override;
    [[nodiscard]] bool IsInFilter() const override;
    void ExtractCurrentTag(ETabulonTag& tag) const override;
    void ExtractPrimaryKey(ETabulonPrimaryKey& key) const override;

private:
    CursorStatus ShowInsert();
    /// The insert that is shown; null after the last one and before the first.
    [[nodiscard]] const ETabulonPendingChanges::Change* ShownInsert() const;
    [[nodiscard]] detail::PendingVerdict Judge(const ERecordBlock& block, EBlockIndex record);

    bool inInserts_ = false;  // the walk is past the source's last record
    bool areInsertsByFields_ = false;
    const ETabulonPendingChanges* changes_;
    PTableau<ETabulonPendingChanges::Change> inserts_;  // of the running walk
    std::int32_t insertIndex_ = -1;
    std::unique_ptr<detail::PendingFilter> filter_;  // a copy of the script's
    std::uint64_t filterVersion_ = 0;
    bool mayBeDeleted_ = true;  // the filter's answer for the current record's tag
    std::unique_ptr<detail::PendingBlocks> blocks_;  // of a walk by blocks
    std::uint64_t markedVersion_ = 0;     // of the filter that marked the last block; 0: none
    std::vector<EBlockIndex> shown_;      // of the last part
    std::vector<const EField*> updated_;  // of the current record
};

}  // namespace etabulon
