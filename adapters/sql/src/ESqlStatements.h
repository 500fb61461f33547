#pragma once

#include "etabulon/foundation/EFieldSet.h"
#include "etabulon/sql/ESqlRow.h"
#include "etabulon/sql/ESqlSchema.h"

#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

class ETabulonValue;

/// Resets a statement at the end of a scope, whatever passes through it: one that stands on a row
/// takes no other values.
class [[nodiscard]] SqlRun {
public:
    explicit SqlRun(ISqlStatement& statement) : statement_(statement) {}
    ~SqlRun() { statement_.Reset(); }
    SqlRun(const SqlRun&) = delete;
    SqlRun& operator=(const SqlRun&) = delete;

private:
    ISqlStatement& statement_;
};

/// The interned texts and mismatch counts of some columns, for every row that is read of them.
struct ESqlColumnData {
    explicit ESqlColumnData(std::size_t count) : texts(count), mismatches(count) {}
    std::deque<ESqlTextIntern> texts;
    std::vector<std::uint64_t> mismatches;
};

/// One condition of a range with what is bound to it.
struct ESqlCondition {
    unsigned column = 0;
    bool isMissing = false;
    ESqlValue value;  // without its bytes
    std::string bytes;
};

/// Makes `segment` the key value in the type of its column; storage is reused.
void SetSqlSegment(EVariant& segment, int type, const ESqlValue& value);

/// A value as it is bound: numbers and texts as such, dates and times as ISO texts. `text` and
/// `iso` (of kIsoCapacity bytes) keep the bytes. False for a missing value and one that no column
/// holds.
[[nodiscard]] bool MakeSqlValue(const EVariant& value, ESqlValue& bound, Chaine& text, char* iso);

/// How the columns of a statement go into a record laid out as `fields`: one cell a field.
[[nodiscard]] std::vector<ESqlCell> MakeSqlCells(const ESqlTableInfo& info,
                                                 std::span<const unsigned> columns,
                                                 const EFieldSet& fields, ESqlColumnData& data);

[[nodiscard]] std::string SqlName(const Chaine& name);
/// A column with its table before it: a bare name in quotes that no column has is a text to SQLite.
[[nodiscard]] std::string SqlColumn(const ESqlTableInfo& info, unsigned column);
/// The row number, for a table that has its name.
[[nodiscard]] std::string SqlRowId(const ESqlTableInfo& info);
/// "SELECT columns, key FROM table". The row learns where its key is. The key is left out where the
/// engine takes no result of so many columns.
[[nodiscard]] std::string SqlSelect(const ESqlTableInfo& info, std::span<const unsigned> columns,
                                    ESqlRow& row);
/// " RETURNING columns, key", likewise.
[[nodiscard]] std::string SqlReturning(const ESqlTableInfo& info, std::span<const unsigned> columns,
                                       ESqlRow& row);
/// How many columns of a result the key takes at most.
[[nodiscard]] std::size_t SqlKeyWidth(const ESqlTableInfo& info) noexcept;

/// What addresses the row of a raw key.
enum class ESqlKeyWay : std::uint8_t {
    Key = 0,     // its values
    RowId = 1,   // its values and the row number
    Unsure = 2,  // its values, with a NULL among them: several rows may have them
    None = 3,    // nothing: there is no such key
};
[[nodiscard]] ESqlKeyWay SqlKeyWay(const ESqlTableInfo& info, std::string_view key) noexcept;
/// " WHERE k1 = ? AND ...", the parameters from ?`first` on.
[[nodiscard]] std::string SqlWhereKey(const ESqlTableInfo& info, ESqlKeyWay way, int first);
/// " ORDER BY ...": these columns, then the key.
[[nodiscard]] std::string SqlOrder(const ESqlTableInfo& info, std::span<const unsigned> columns);
[[nodiscard]] std::string SqlWhere(const ESqlTableInfo& info,
                                   std::span<const ESqlCondition> conditions);

/// The condition that a column has this value, a null one being missing. False where SQL might
/// compare more strictly than variants do.
[[nodiscard]] bool MakeSqlCondition(const ESqlTableInfo& info, unsigned column,
                                    const ETabulonValue& value, ESqlCondition& condition);

}  // namespace etabulon
