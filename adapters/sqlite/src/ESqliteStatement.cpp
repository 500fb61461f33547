#include "ESqliteStatement.h"

#include <string>
#include <string_view>

namespace etabulon {

namespace {

// If memory runs out SQLite returns null for a text or bytes, but still their length.

/// Null if memory runs out.
const char* TextOf(sqlite3_value* value) noexcept {
    // Called before the length is asked, since SQLite may convert the value to a text first.
    return reinterpret_cast<const char*>(sqlite3_value_text(value));
}

/// Null if memory runs out.
const char* BlobOf(sqlite3_value* value) noexcept {
    const auto* bytes = static_cast<const char*>(sqlite3_value_blob(value));
    return bytes == nullptr && sqlite3_value_bytes(value) == 0 ? "" : bytes;
}

/// False if memory runs out.
bool ReadWideText(sqlite3_value* from, ESqlValue& value) noexcept {
    value.kind = ESqlValue::Kind::WideText;
    value.bytes = static_cast<const char*>(sqlite3_value_text16(from));
    if (value.bytes == nullptr) {
        value = ESqlValue{};
        return false;
    }
    value.size = static_cast<std::size_t>(sqlite3_value_bytes16(from));
    return true;
}

/// False if memory runs out.
bool ReadValue(sqlite3_value* from, ESqlValue& value) noexcept {
    switch (sqlite3_value_type(from)) {
        case SQLITE_INTEGER:
            value.kind = ESqlValue::Kind::Int;
            value.integer = sqlite3_value_int64(from);
            return true;
        case SQLITE_FLOAT:
            value.kind = ESqlValue::Kind::Real;
            value.real = sqlite3_value_double(from);
            return true;
        case SQLITE_TEXT:
            value.kind = ESqlValue::Kind::Text;
            value.bytes = TextOf(from);
            break;
        case SQLITE_BLOB:
            value.kind = ESqlValue::Kind::Blob;
            value.bytes = BlobOf(from);
            break;
        default:
            return true;
    }
    if (value.bytes == nullptr) {
        value = ESqlValue{};
        return false;
    }
    value.size = static_cast<std::size_t>(sqlite3_value_bytes(from));
    return true;
}

/// SQLite removes a byte order mark from the text's start, so that a text that begins with one gets
/// another.
int BindWideText(sqlite3_stmt* statement, int parameter, std::string_view bytes) {
    constexpr std::string_view kMark("\xFF\xFE", 2);
    constexpr std::string_view kSwappedMark("\xFE\xFF", 2);
    const std::string_view start = bytes.substr(0, kMark.size());
    std::string marked;
    if (start == kMark || start == kSwappedMark) {
        constexpr char16_t kNativeMark = 0xFEFF;
        marked.assign(reinterpret_cast<const char*>(&kNativeMark), sizeof kNativeMark);
        bytes = marked.append(bytes);
    }
    return sqlite3_bind_text64(statement, parameter, bytes.empty() ? "" : bytes.data(),
                               bytes.size(), SQLITE_TRANSIENT, SQLITE_UTF16);
}

int BindValue(sqlite3_stmt* statement, int parameter, const ESqlValue& value) {
    switch (value.kind) {
        case ESqlValue::Kind::Int:
            return sqlite3_bind_int64(statement, parameter, value.integer);
        case ESqlValue::Kind::Real:
            return sqlite3_bind_double(statement, parameter, value.real);
        case ESqlValue::Kind::Text:
            // A null pointer would bind NULL.
            return sqlite3_bind_text64(statement, parameter, value.size > 0 ? value.bytes : "",
                                       value.size, SQLITE_TRANSIENT, SQLITE_UTF8);
        case ESqlValue::Kind::Blob:
            return sqlite3_bind_blob64(statement, parameter, value.size > 0 ? value.bytes : "",
                                       value.size, SQLITE_TRANSIENT);
        case ESqlValue::Kind::WideText:
            return BindWideText(statement, parameter, {value.bytes, value.size});
        default:
            return sqlite3_bind_null(statement, parameter);
    }
}

}  // namespace

// After a failure the statement calls SQLite no more until the step: a further call would replace
// the error.
void ESqliteStatement::Bind(int parameter, const ESqlValue& value) {
    hasFailed_ = hasFailed_ || BindValue(statement_, parameter, value) != SQLITE_OK;
}

ESqlStep ESqliteStatement::RunStep() {
    int code = sqlite3_step(statement_);
    if (code != SQLITE_ROW && code != SQLITE_DONE && !isPastStart_) {
        code = connection_.StepAgain(statement_, code);
    }
    isPastStart_ = code == SQLITE_ROW;
    if (code == SQLITE_ROW) {
        return ESqlStep::Row;
    }
    return code == SQLITE_DONE ? ESqlStep::Done : ESqlStep::Failed;
}

ESqlStep ESqliteStatement::Step() {
    return hasFailed_ ? ESqlStep::Failed : connection_.Checked(RunStep());
}

ESqlStep ESqliteStatement::StepWalk(ESqlRow& row) {
    connection_.SetWalking(/*walking=*/true);
    const ESqlStep step = Step();
    connection_.SetWalking(/*walking=*/false);
    return step == ESqlStep::Row && !ReadRow(row) ? ESqlStep::Failed : step;
}

ESqlStep ESqliteStatement::StepBlock(ESqlRowBlock& rows) {
    connection_.SetWalking(/*walking=*/true);
    ESqlStep step = ESqlStep::Row;
    while (step == ESqlStep::Row && rows.HasRoom() && !connection_.IsInterrupted()) {
        step = Step();
        if (step == ESqlStep::Row) {
            step = ReadInto(rows);
        }
    }
    connection_.SetWalking(/*walking=*/false);
    return step;
}

// Reads "unprotected" values, which saves two calls for each. They are safe here, since only this
// thread uses the connection.
template <class Into, class Cell>
bool ESqliteStatement::ReadCell(Into& into, const Cell& cell, int column) {
    sqlite3_value* const value = sqlite3_column_value(statement_, column);
    switch (sqlite3_value_type(value)) {
        case SQLITE_INTEGER:
            into.PutInteger(cell, sqlite3_value_int64(value));
            return true;
        case SQLITE_FLOAT:
            into.PutReal(cell, sqlite3_value_double(value));
            return true;
        case SQLITE_TEXT: {
            const char* const text = TextOf(value);
            if (text == nullptr) {
                return false;
            }
            into.PutText(cell, text, static_cast<std::size_t>(sqlite3_value_bytes(value)));
            return true;
        }
        case SQLITE_BLOB: {
            const char* const bytes = BlobOf(value);
            if (bytes == nullptr) {
                return false;
            }
            into.PutBlob(cell, bytes, static_cast<std::size_t>(sqlite3_value_bytes(value)));
            return true;
        }
        default:
            into.PutNull(cell);
            return true;
    }
}

bool ESqliteStatement::ReadRow(ESqlRow& row) {
    for (const ESqlCell& cell : row.cells) {
        if (!ReadCell(row, cell, cell.column)) {
            return false;
        }
    }
    if (row.integerKeyColumn >= 0) {
        row.integerKey = sqlite3_column_int64(statement_, row.integerKeyColumn);
    }
    return ReadKey(row);
}

/// Done in front of a row that isn't the block's.
ESqlStep ESqliteStatement::ReadInto(ESqlRowBlock& rows) {
    if (rows.row.integerKeyColumn >= 0 &&
        !rows.PutIntegerKey(
            sqlite3_value_int64(sqlite3_column_value(statement_, rows.row.integerKeyColumn)))) {
        return ESqlStep::Done;
    }
    const std::size_t count = rows.cells.size();
    for (std::size_t cell = 0; cell < count; ++cell) {
        if (!ReadCell(rows, cell, rows.cells[cell].source)) {
            return ESqlStep::Failed;
        }
    }
    if (rows.wantsKeys && rows.row.integerKeyColumn < 0) {
        if (!ReadKey(rows.row)) {
            return ESqlStep::Failed;
        }
        rows.keys[rows.Size()].swap(rows.row.key);
    }
    rows.EndRow();
    return ESqlStep::Row;
}

bool ESqliteStatement::ReadKey(ESqlRow& row) {
    if (row.keyColumns.empty()) {
        return true;
    }
    row.key.clear();
    bool hasNull = false;
    for (const int column : row.keyColumns) {
        sqlite3_value* const from = sqlite3_column_value(statement_, column);
        const int type = sqlite3_value_type(from);
        hasNull = hasNull || type == SQLITE_NULL;
        ESqlValue value;
        if (row.hasWideKey && type == SQLITE_TEXT ? !ReadWideText(from, value)
                                                  : !ReadValue(from, value)) {
            return false;
        }
        AppendKeyValue(row.key, value);
    }
    if (hasNull && row.rowIdColumn >= 0) {
        AppendKeyValue(row.key, Column(row.rowIdColumn));
    }
    return true;
}

ESqlValue ESqliteStatement::Column(int column) {
    ESqlValue value;
    hasFailed_ = !ReadValue(sqlite3_column_value(statement_, column), value) || hasFailed_;
    return value;
}

}  // namespace etabulon
