#include "ESqliteStatement.h"

namespace etabulon {

namespace {

ESqlStep StepOf(int code) noexcept {
    if (code == SQLITE_ROW) {
        return ESqlStep::Row;
    }
    return code == SQLITE_DONE ? ESqlStep::Done : ESqlStep::Failed;
}

const char* TextOf(sqlite3_value* value) noexcept {
    // Before the length is asked: the text may have to be made first.
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
    return text != nullptr ? text : "";
}

const char* BlobOf(sqlite3_value* value) noexcept {
    const auto* bytes = static_cast<const char*>(sqlite3_value_blob(value));
    return bytes != nullptr ? bytes : "";
}

ESqlValue ValueOf(sqlite3_value* from) noexcept {
    ESqlValue value;
    switch (sqlite3_value_type(from)) {
        case SQLITE_INTEGER:
            value.kind = ESqlValue::Kind::Int;
            value.integer = sqlite3_value_int64(from);
            break;
        case SQLITE_FLOAT:
            value.kind = ESqlValue::Kind::Real;
            value.real = sqlite3_value_double(from);
            break;
        case SQLITE_TEXT:
            value.kind = ESqlValue::Kind::Text;
            value.bytes = TextOf(from);
            value.size = static_cast<std::size_t>(sqlite3_value_bytes(from));
            break;
        case SQLITE_BLOB:
            value.kind = ESqlValue::Kind::Blob;
            value.bytes = BlobOf(from);
            value.size = static_cast<std::size_t>(sqlite3_value_bytes(from));
            break;
        default:
            break;
    }
    return value;
}

}  // namespace

void ESqliteStatement::Bind(int parameter, const ESqlValue& value) {
    switch (value.kind) {
        case ESqlValue::Kind::Int:
            sqlite3_bind_int64(statement_, parameter, value.integer);
            break;
        case ESqlValue::Kind::Real:
            sqlite3_bind_double(statement_, parameter, value.real);
            break;
        case ESqlValue::Kind::Text:
            // A null pointer would bind NULL.
            sqlite3_bind_text64(statement_, parameter, value.size > 0 ? value.bytes : "",
                                value.size, SQLITE_TRANSIENT, SQLITE_UTF8);
            break;
        case ESqlValue::Kind::Blob:
            sqlite3_bind_blob64(statement_, parameter, value.size > 0 ? value.bytes : "",
                                value.size, SQLITE_TRANSIENT);
            break;
        default:
            sqlite3_bind_null(statement_, parameter);
            break;
    }
}

ESqlStep ESqliteStatement::Step() { return StepOf(sqlite3_step(statement_)); }

ESqlStep ESqliteStatement::StepWalk(ESqlRow& row) {
    connection_.SetWalking(true);
    const ESqlStep step = StepOf(sqlite3_step(statement_));
    connection_.SetWalking(false);
    if (step == ESqlStep::Row) {
        ReadRow(row);
    }
    return step;
}

// The values are "unprotected" ones, which spares two calls each; they are safe to read here, since
// the connection belongs to this thread alone.
void ESqliteStatement::ReadRow(ESqlRow& row) {
    for (const ESqlCell& cell : row.cells) {
        sqlite3_value* const value = sqlite3_column_value(statement_, cell.column);
        switch (sqlite3_value_type(value)) {
            case SQLITE_INTEGER:
                row.PutInteger(cell, sqlite3_value_int64(value));
                break;
            case SQLITE_FLOAT:
                row.PutReal(cell, sqlite3_value_double(value));
                break;
            case SQLITE_TEXT: {
                const char* const text = TextOf(value);
                row.PutText(cell, text, static_cast<std::size_t>(sqlite3_value_bytes(value)));
                break;
            }
            case SQLITE_BLOB: {
                const char* const bytes = BlobOf(value);
                row.PutBlob(cell, bytes, static_cast<std::size_t>(sqlite3_value_bytes(value)));
                break;
            }
            default:
                row.PutNull(cell);
                break;
        }
    }
    if (row.integerKeyColumn >= 0) {
        row.integerKey = sqlite3_column_int64(statement_, row.integerKeyColumn);
    }
    if (!row.keyColumns.empty()) {
        row.key.clear();
        for (const int column : row.keyColumns) {
            AppendKeyValue(row.key, ValueOf(sqlite3_column_value(statement_, column)));
        }
    }
}

ESqlValue ESqliteStatement::Column(int column) {
    return ValueOf(sqlite3_column_value(statement_, column));
}

}  // namespace etabulon
