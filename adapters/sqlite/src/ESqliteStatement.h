#pragma once

#include "ESqliteConnection.h"
#include "etabulon/sql/ESqlRow.h"
#include "etabulon/sql/ESqlRowBlock.h"

#include <sqlite3.h>

namespace etabulon {

class ESqliteStatement final : public ISqlStatement {
public:
    ESqliteStatement(ESqliteConnection& connection, sqlite3_stmt* statement)
        : connection_(connection), statement_(statement) {}
    ~ESqliteStatement() override { sqlite3_finalize(statement_); }
    ESqliteStatement(const ESqliteStatement&) = delete;
    ESqliteStatement& operator=(const ESqliteStatement&) = delete;

    void Bind(int parameter, const ESqlValue& value) override;
    ESqlStep Step() override;
    ESqlStep StepWalk(ESqlRow& row) override;
    ESqlStep StepBlock(ESqlRowBlock& rows) override;
    bool ReadRow(ESqlRow& row) override;
    ESqlValue Column(int column) override;
    void Reset() override {
        sqlite3_reset(statement_);
        hasFailed_ = false;
        isPastStart_ = false;
    }
    std::int64_t TakeEffort() override {
        return sqlite3_stmt_status(statement_, SQLITE_STMTSTATUS_VM_STEP, /*resetFlg=*/1);
    }

private:
    [[nodiscard]] ESqlStep RunStep();
    /// Decodes one value; false if memory ran out.
    template <class Into, class Cell>
    [[nodiscard]] bool ReadCell(Into& into, const Cell& cell, int column);
    [[nodiscard]] bool ReadKey(ESqlRow& row);
    [[nodiscard]] ESqlStep ReadInto(ESqlRowBlock& rows);

    ESqliteConnection& connection_;
    sqlite3_stmt* statement_;  // owned
    bool hasFailed_ = false;   // at a value, since the last Reset
    bool isPastStart_ = false;
};

}  // namespace etabulon
