#pragma once

#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/sql/ESqlTable.h"

#include <atomic>
#include <thread>

namespace etabulon {

/// The table cursor over an ESqlTable: narrows the table to the tag, is cancelled in the midst of a
/// long statement, and writes to the record that the key names. A cancelled walk can't go on: the
/// table's read lock goes as soon as the walking thread notices.
class ETABULON_API ETabulonCursorSql : public ETabulonCursorEData {
public:
    ETabulonCursorSql() = default;
    ~ETabulonCursorSql() override;

    void Init(const ETabulonLevels& levels, ESqlTable* table, bool ownsTable);
    [[nodiscard]] ESqlTable* Table() const noexcept { return table_; }

    [[nodiscard]] bool IsCancelled() override;
    void Cancel() override;
    CursorStatus SetKeyRange(const ETabulonTag& tag, EData* table) const override;

protected:
    void ResetCancel() override;
    CursorStatus Reset(const ETabulonTag& tag) override;
    CursorStatus GetNext() override;
    /// The table's walk fails with it, and LastErrorText tells.
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
