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

/// Resets a statement at the end of a scope, also after an exception: a statement that stands on a
/// row accepts no new values.
class [[nodiscard]] SqlRun {
public:
    explicit SqlRun(ISqlStatement& statement) : statement_(statement) {}
    ~SqlRun() { statement_.Reset(); }
    SqlRun(const SqlRun&) = delete;
    SqlRun& operator=(const SqlRun&) = delete;

private:
    ISqlStatement& statement_;
};

/// The interned texts and counts of misreads of some columns, shared by all rows read from them.
struct ESqlColumnData {
    explicit ESqlColumnData(std::size_t count)
        : texts(count), misreads(count), misreadsBefore(count) {}
    std::deque<ESqlTextIntern> texts;
    std::vector<ESqlMisreads> misreads;
    std::vector<ESqlMisreads> misreadsBefore;  // the walk
};

/// Sets `segment` to the key value in the type of its column, and reuses its storage.
void SetSqlSegment(EVariant& segment, int type, const ESqlValue& value);

/// The number as a whole one; false if it is none of 64 bits.
[[nodiscard]] bool SqlWholeNumber(const EVariant& value, std::int64_t& number);

/// Converts a value for Bind: numbers and texts stay, dates and times become ISO texts. `text` and
/// `iso` (kIsoCapacity bytes) hold the bytes. False for a missing value and for a value that no
/// column can hold.
[[nodiscard]] bool MakeSqlValue(const EVariant& value, ESqlValue& bound, Chaine& text, char* iso);

/// The cells for the columns of a statement in a record laid out as `fields`: one for each field.
[[nodiscard]] std::vector<ESqlCell> MakeSqlCells(const ESqlTableInfo& info,
                                                 std::span<const unsigned int> columns,
                                                 const EFieldSet& fields, ESqlColumnData& data);

[[nodiscard]] std::string SqlName(const Chaine& name);
/// A column qualified by its table: SQLite takes a quoted name without a table for a text if no
/// column has it.
[[nodiscard]] std::string SqlColumn(const ESqlTableInfo& info, unsigned int column);
/// The qualified row number, for a table that has one.
[[nodiscard]] std::string SqlRowId(const ESqlTableInfo& info);
/// "SELECT columns, key FROM table". Sets the key columns of `row`. Leaves the key out if the
/// engine doesn't allow a result with so many columns.
[[nodiscard]] std::string SqlSelect(const ESqlTableInfo& info,
                                    std::span<const unsigned int> columns, ESqlRow& row);
/// " RETURNING columns, key", in the same way.
[[nodiscard]] std::string SqlReturning(const ESqlTableInfo& info,
                                       std::span<const unsigned int> columns, ESqlRow& row);
/// The largest number of columns that the key takes in a result.
[[nodiscard]] std::size_t SqlKeyWidth(const ESqlTableInfo& info) noexcept;

/// The values that address the row of a raw key.
enum class ESqlKeyWay : std::uint8_t {
    Key = 0,     // its values
    RowId = 1,   // its values and the row number
    Unsure = 2,  // its values, which contain a NULL: several rows may have them
    None = 3,    // nothing: the bytes are no such key
};
[[nodiscard]] ESqlKeyWay SqlKeyWay(const ESqlTableInfo& info, std::string_view key) noexcept;
/// The values that address the row of a position.
struct ESqlAddress {
    ESqlKeyWay way = ESqlKeyWay::None;
    std::int64_t number = 0;  // a key of one integer, or the row number
    std::string_view key;     // otherwise the raw key

    /// Binds them from parameter `first` on.
    void Bind(ISqlStatement& statement, int first) const;
};
/// " WHERE k1 = ? AND ...", the parameters from ?`first` on.
[[nodiscard]] std::string SqlWhereKey(const ESqlTableInfo& info, ESqlKeyWay way, int first);
/// " ORDER BY" these columns, then the key.
[[nodiscard]] std::string SqlOrder(const ESqlTableInfo& info,
                                   std::span<const unsigned int> columns);

}  // namespace etabulon
