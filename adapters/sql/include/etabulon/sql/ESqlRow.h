#pragma once

#include "etabulon/sql/ESqlDates.h"
#include "etabulon/sql/ESqlEngine.h"
#include "etabulon/sql/ESqlMisreads.h"
#include "etabulon/sql/ESqlTextIntern.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace etabulon {

/// The cell of a record that one column of a statement is decoded into. A number has a mark byte
/// after it, 1 = missing; texts and bytes are slots.
/// Example    adapters/sql/src/ESqlStatements.cpp
struct ESqlCell {
    enum class Kind : std::uint8_t {
        Int64 = 0,
        Double = 1,
        Bool = 2,
        Scaled = 3,
        Date = 4,
        Time = 5,
        Timestamp = 6,
        Text = 7,
        Blob = 8,
    };
    Kind kind = Kind::Text;
    std::uint8_t size = 0;   // of a number, without its mark
    double factor = 1;       // of a scaled number
    int column = 0;          // in the statement
    std::size_t offset = 0;  // in the record
    ESqlTextIntern* texts = nullptr;
    ESqlMisreads* misreads = nullptr;

    [[nodiscard]] bool IsSlot() const noexcept { return kind == Kind::Text || kind == Kind::Blob; }
};

/// Decodes a row's values into a record. For each cell the engine calls the one operation for the
/// value's own type.
/// Example    adapters/sql/src/ESqlTableKeys.cpp
class ETABULON_API ESqlRow {
public:
    // Filled by the table.
    std::vector<ESqlCell> cells;
    std::byte* record = nullptr;  // not owned
    int integerKeyColumn = -1;    // in the statement; -1 = none
    std::vector<int> keyColumns;  // in the statement, for keys that are no single integer
    int rowIdColumn = -1;         // in the statement; completes a key with a NULL. -1 = none
    bool hasWideKey = false;      // texts of the key are read as UTF-16
    // Filled by the engine.
    std::int64_t integerKey = 0;
    std::string key;  // the raw key, by AppendKeyValue

    void PutNull(const ESqlCell& cell) noexcept {
        std::byte* const at = record + cell.offset;
        if (cell.IsSlot()) {
            ESqlTextIntern::StoreMissing(at);
            return;
        }
        std::memset(at, 0, cell.size);
        at[cell.size] = std::byte{1};
    }
    void PutInteger(const ESqlCell& cell, std::int64_t value) {
        switch (cell.kind) {
            case ESqlCell::Kind::Int64:
                return PutNumber(cell, value);
            case ESqlCell::Kind::Double:
                if (IsExactReal(value)) {
                    return PutNumber(cell, static_cast<double>(value));
                }
                return PutOddInteger(cell, value);
            default:
                return PutOddInteger(cell, value);
        }
    }
    void PutReal(const ESqlCell& cell, double value) {
        if (cell.kind == ESqlCell::Kind::Double) {
            return PutNumber(cell, value);
        }
        PutOddReal(cell, value);
    }
    void PutText(const ESqlCell& cell, const char* bytes, std::size_t length) {
        if (cell.kind == ESqlCell::Kind::Text) {
            return cell.texts->Store(record + cell.offset, bytes, length);
        }
        PutOddText(cell, bytes, length);
    }
    void PutBlob(const ESqlCell& cell, const char* bytes, std::size_t length) {
        if (cell.kind == ESqlCell::Kind::Blob) {
            return cell.texts->Store(record + cell.offset, bytes, length);
        }
        PutMismatch(cell);
    }

    /// The value of a cell as it is bound to a statement. Null for a missing value, for NaN and for
    /// a date or time without an ISO text (see ESqlDates.h). Texts are borrowed from the record,
    /// dates from `text`, which has kIsoCapacity bytes.
    [[nodiscard]] static ESqlValue Value(const ESqlCell& cell, const std::byte* record, char* text);
    [[nodiscard]] static bool IsMissing(const ESqlCell& cell, const std::byte* record) noexcept;
    /// Whether both records, which have the same layout, hold the same value in the cell.
    [[nodiscard]] static bool IsSame(const ESqlCell& cell, const std::byte* a,
                                     const std::byte* b) noexcept;
    /// Whether it is among the whole numbers up to which a double holds each of them.
    [[nodiscard]] static bool IsExactReal(std::int64_t value) noexcept {
        constexpr std::int64_t kLimit = std::int64_t{1} << 53;
        return value >= -kLimit && value <= kLimit;
    }

private:
    template <class T>
    void PutNumber(const ESqlCell& cell, T value) noexcept {
        std::byte* const at = record + cell.offset;
        std::memcpy(at, &value, sizeof value);
        at[sizeof value] = std::byte{0};
    }
    void PutMismatch(const ESqlCell& cell) noexcept {
        ++cell.misreads->mismatches;
        PutNull(cell);
    }
    template <class T>
    void PutMoment(const ESqlCell& cell, T value, std::string_view text) noexcept {
        cell.misreads->cuts += IsFinerThanMillis(text) ? 1 : 0;
        PutNumber(cell, value);
    }
    void PutOddInteger(const ESqlCell& cell, std::int64_t value);
    void PutOddReal(const ESqlCell& cell, double value);
    void PutOddText(const ESqlCell& cell, const char* bytes, std::size_t length);
};

/// Appends a value to a raw key. A raw key is the values of the key columns as the engine has them,
/// one after the other, then the row number if one of them is NULL and the table has row numbers.
/// Equal keys have equal bytes.
ETABULON_API void AppendKeyValue(std::string& key, const ESqlValue& value);
/// Removes the first value from `key`; its bytes are borrowed from there.
[[nodiscard]] ETABULON_API ESqlValue TakeKeyValue(std::string_view& key) noexcept;

}  // namespace etabulon
