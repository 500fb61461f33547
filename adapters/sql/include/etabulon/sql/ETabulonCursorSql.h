#pragma once

#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/sql/ESqlTable.h"

#include <atomic>
#include <thread>

namespace etabulon {

/// The table cursor over an ESqlTable: it narrows the table to the tag and the filter, a cancel
/// interrupts a long statement, and writes reach the record of the key. A cancelled walk can't
/// continue: the walking thread releases the table's read lock as soon as it sees the cancel.
/// Example    examples/database.cpp
class ETABULON_API ETabulonCursorSql : public ETabulonCursorEData {
public:
    ETabulonCursorSql() = default;
    ~ETabulonCursorSql() override;

    /// On a table that is no ESqlTable the cursor does what its base does.
    void Init(const ETabulonLevels& levels, EData* table, bool ownsTable);
    /// Null on a table that is no ESqlTable.
    [[nodiscard]] ESqlTable* Table() const noexcept { return table_; }

    [[nodiscard]] bool IsCancelled() override;
    void Cancel() override;
    CursorStatus SetKeyRange(const ETabulonTag& tag, EData* table) const override;
    void PushFilter(const EFilter& filter, EData* table) const override;

protected:
    void ResetCancel() override;
    CursorStatus Reset(const ETabulonTag& tag) override;
    CursorStatus GetNext() override;
    CursorStatus GetNextBlock(const ERecordBlock*& block) override;
    [[nodiscard]] bool HasOwnSteps() const noexcept override;
    /// Ends the table's walk with the error, which LastErrorText then returns.
    void OnLinkFailed(const EDataError& error) override;
    CursorStatus Delete(const ETabulonPrimaryKey& key, const ETabulonTag& tag) override;
    CursorStatus MoveToTag(const ETabulonPrimaryKey& key, const ETabulonTag& tag) override;
    CursorStatus StartInsert(const ETabulonTag& tag) override;
    CursorStatus SetValue(const ETabulonVariableID& id, const ETabulonValue& value) override;

private:
    ESqlTable* table_ = nullptr;  // the base's table; the base owns it
    std::atomic<std::thread::id> walker_{};
};

}  // namespace etabulon
