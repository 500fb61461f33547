#include "ESqlStatements.h"

#include "etabulon/sql/ESqlText.h"

#include <cmath>

namespace etabulon {

namespace {

ESqlCell::Kind KindOf(int type) noexcept {
    switch (type) {
        case TYPE_INT64:
            return ESqlCell::Kind::Int64;
        case TYPE_DOUBLE:
            return ESqlCell::Kind::Double;
        case TYPE_BOOL:
            return ESqlCell::Kind::Bool;
        case TYPE_DECIMAL64:
        case TYPE_CURRENCY:
            return ESqlCell::Kind::Scaled;
        case TYPE_DATE:
            return ESqlCell::Kind::Date;
        case TYPE_TIME:
            return ESqlCell::Kind::Time;
        case TYPE_TIMESTAMP:
            return ESqlCell::Kind::Timestamp;
        case TYPE_BLOB:
            return ESqlCell::Kind::Blob;
        default:
            return ESqlCell::Kind::Text;
    }
}

/// Unpaired surrogates become U+FFFD.
std::string Utf8Of(std::string_view wide) {
    const auto unitAt = [wide](std::size_t at) {
        char16_t unit = 0;
        if (at + sizeof unit <= wide.size()) {
            std::memcpy(&unit, wide.data() + at, sizeof unit);
        }
        return static_cast<std::uint32_t>(unit);
    };
    std::string text;
    for (std::size_t at = 0; at + sizeof(char16_t) <= wide.size();) {
        std::uint32_t code = unitAt(at);
        at += sizeof(char16_t);
        if ((code & 0xF800U) == 0xD800U) {
            const std::uint32_t low = unitAt(at);
            const bool isPair = code < 0xDC00U && (low & 0xFC00U) == 0xDC00U;
            code = isPair ? 0x10000U + ((code & 0x3FFU) << 10U) + (low & 0x3FFU) : 0xFFFDU;
            at += isPair ? sizeof(char16_t) : 0;
        }
        const auto add = [&text](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
        if (code < 0x80U) {
            add(code);
            continue;
        }
        if (code < 0x800U) {
            add(0xC0U | (code >> 6U));
        } else {
            add(code < 0x10000U ? 0xE0U | (code >> 12U) : 0xF0U | (code >> 18U));
            if (code >= 0x10000U) {
                add(0x80U | ((code >> 12U) & 0x3FU));
            }
            add(0x80U | ((code >> 6U) & 0x3FU));
        }
        add(0x80U | (code & 0x3FU));
    }
    return text;
}

}  // namespace

bool SqlWholeNumber(const EVariant& value, std::int64_t& number) {
    constexpr double kExactWhole = 9007199254740992.0;  // 2^53: beyond, reals leave some out
    const EStorage storage = TypeInfo(value.Type()).storage;
    const double real = value.AsDouble();
    switch (storage) {
        case EStorage::Double:
        case EStorage::Float:
        case EStorage::Scaled32:
        case EStorage::Scaled64:
            number = value.AsInt64();
            return std::abs(real) < kExactWhole && std::trunc(real) == real;
        case EStorage::UInt64:
            number = value.AsInt64();
            return value.AsUInt64() == static_cast<std::uint64_t>(number) && number >= 0;
        default:
            number = value.AsInt64();
            return true;
    }
}

void SetSqlSegment(EVariant& segment, int type, const ESqlValue& value) {
    const auto code = static_cast<std::uint16_t>(type);
    if (segment.Type() != code) {
        segment = EVariant::Missing(code, TypeInfo(type).naturalSize);
    }
    switch (value.kind) {
        case ESqlValue::Kind::Int:
            segment <<= EVariant::FromInt64(value.integer);
            break;
        case ESqlValue::Kind::Real:
            segment <<= EVariant::FromDouble(value.real);
            break;
        case ESqlValue::Kind::Text:
        case ESqlValue::Kind::Blob:
            segment <<= EVariant(Chaine(value.bytes, value.size));
            break;
        case ESqlValue::Kind::WideText:
            segment <<= EVariant(Chaine(Utf8Of({value.bytes, value.size})));
            break;
        default:
            segment.SetMissing();
            break;
    }
}

bool MakeSqlValue(const EVariant& value, ESqlValue& bound, Chaine& text, char* iso) {
    if (value.IsMissing()) {
        return false;
    }
    const ETypeInfo& type = TypeInfo(value.Type());
    std::string_view bytes;
    if (type.valueClass == EValueClass::Number) {
        if (SqlWholeNumber(value, bound.integer)) {
            bound.kind = ESqlValue::Kind::Int;
        } else {
            bound.kind = ESqlValue::Kind::Real;
            bound.real = value.AsDouble();
        }
        return true;
    }
    if (type.storage == EStorage::Date) {
        std::int32_t day = 0;
        std::memcpy(&day, value.GetBuffer(), sizeof day);
        bytes = WriteIsoDate(day, iso);
    } else if (type.storage == EStorage::Time) {
        std::int32_t millis = 0;
        std::memcpy(&millis, value.GetBuffer(), sizeof millis);
        bytes = WriteIsoTime(millis, iso);
    } else if (type.storage == EStorage::Timestamp) {
        std::int64_t millis = 0;
        std::memcpy(&millis, value.GetBuffer(), sizeof millis);
        bytes = WriteIsoTimestamp(millis, iso);
    } else if (type.valueClass == EValueClass::Text) {
        text = value.AsChaine();
        bytes = text.View();
    } else if (type.storage == EStorage::OwnedBytes) {
        bound.kind = ESqlValue::Kind::Blob;
        bound.bytes = static_cast<const char*>(value.GetBuffer());
        bound.size = value.ByteCount();
        return true;
    } else {
        return false;
    }
    if (bytes.empty() && type.valueClass == EValueClass::Date) {
        return false;  // the value has no ISO text
    }
    bound.kind = ESqlValue::Kind::Text;
    bound.bytes = bytes.data();
    bound.size = bytes.size();
    return true;
}

std::vector<ESqlCell> MakeSqlCells(const ESqlTableInfo& info, std::span<const unsigned int> columns,
                                   const EFieldSet& fields, ESqlColumnData& data) {
    std::vector<ESqlCell> cells(columns.size());
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const int type = info.columns[columns[i]].type;
        ESqlCell& cell = cells[i];
        cell.kind = KindOf(type);
        cell.size = cell.IsSlot() ? sizeof(Chaine) : TypeInfo(type).naturalSize;
        cell.factor = type == TYPE_CURRENCY ? 10'000 : 100;
        cell.column = static_cast<int>(i);
        cell.offset = fields.OffsetOf(static_cast<std::uint16_t>(i));
        cell.texts = &data.texts[i];
        cell.misreads = &data.misreads[i];
    }
    return cells;
}

std::string SqlName(const Chaine& name) {
    std::string quoted;
    // Names of a schema contain no NUL.
    static_cast<void>(SqlQuote(quoted, name.View()));
    return quoted;
}

std::string SqlColumn(const ESqlTableInfo& info, unsigned int column) {
    return SqlName(info.name) + '.' + SqlName(info.columns[column].name);
}

std::string SqlRowId(const ESqlTableInfo& info) {
    return SqlName(info.name) + '.' + info.rowIdName;
}

namespace {

void ForgetKey(ESqlRow& row) {
    row.keyColumns.clear();
    row.integerKeyColumn = -1;
    row.rowIdColumn = -1;
}

/// "columns, key". Sets the key columns of `row`. Leaves the key out if the engine doesn't allow a
/// result with so many columns.
std::string ResultList(const ESqlTableInfo& info, std::span<const unsigned int> columns,
                       ESqlRow& row) {
    std::string list;
    int count = 0;
    const auto add = [&](const std::string& expression) {
        list += count > 0 ? "," : "";
        list += expression;
        return count++;
    };
    for (const unsigned int column : columns) {
        add(SqlColumn(info, column));
    }
    const std::size_t withoutKey = list.size();
    ForgetKey(row);
    row.hasWideKey = info.hasWideTexts;
    for (const unsigned int column : info.key) {
        // Reading a text converts its column's encoding in place, so that a key text read as UTF-16
        // needs a result column of its own.
        std::size_t index = info.hasWideTexts ? columns.size() : 0;
        while (index < columns.size() && columns[index] != column) {
            ++index;
        }
        const int at =
            index < columns.size() ? static_cast<int>(index) : add(SqlColumn(info, column));
        if (info.keyKind == ESqlKeyKind::Integer) {
            row.integerKeyColumn = at;
        } else if (info.keyKind == ESqlKeyKind::Columns) {
            row.keyColumns.push_back(at);
        }
    }
    if (!info.rowIdName.empty()) {
        const int at = add(SqlRowId(info));
        (info.keyKind == ESqlKeyKind::RowId ? row.integerKeyColumn : row.rowIdColumn) = at;
    }
    if (info.mostColumns != 0 && static_cast<std::size_t>(count) > info.mostColumns) {
        list.resize(withoutKey);
        ForgetKey(row);
    }
    return count != 0 ? list : "NULL";
}

/// A key column with the key's collation, or by bytes if that collation is unknown here.
std::string KeyPart(const ESqlTableInfo& info, std::size_t part) {
    return SqlColumn(info, info.key[part]) + info.keyCollations[part];
}

}  // namespace

std::size_t SqlKeyWidth(const ESqlTableInfo& info) noexcept {
    return info.key.size() + (info.rowIdName.empty() ? 0 : 1);
}

std::string SqlSelect(const ESqlTableInfo& info, std::span<const unsigned int> columns,
                      ESqlRow& row) {
    return "SELECT " + ResultList(info, columns, row) + " FROM " + info.qualifiedName.c_str();
}

std::string SqlReturning(const ESqlTableInfo& info, std::span<const unsigned int> columns,
                         ESqlRow& row) {
    return " RETURNING " + ResultList(info, columns, row);
}

ESqlKeyWay SqlKeyWay(const ESqlTableInfo& info, std::string_view key) noexcept {
    bool hasNull = false;
    std::size_t count = 0;
    for (; !key.empty(); ++count) {
        hasNull = TakeKeyValue(key).kind == ESqlValue::Kind::Null || hasNull;
    }
    if (count == 0) {
        return ESqlKeyWay::None;
    }
    if (count > info.key.size()) {
        return ESqlKeyWay::RowId;
    }
    return hasNull ? ESqlKeyWay::Unsure : ESqlKeyWay::Key;
}

void ESqlAddress::Bind(ISqlStatement& statement, int first) const {
    if (key.empty()) {
        ESqlValue value;
        value.kind = ESqlValue::Kind::Int;
        value.integer = number;
        statement.Bind(first, value);
        return;
    }
    for (std::string_view rest = key; !rest.empty();) {
        statement.Bind(first++, TakeKeyValue(rest));
    }
}

std::string SqlWhereKey(const ESqlTableInfo& info, ESqlKeyWay way, int first) {
    if (info.keyKind == ESqlKeyKind::RowId) {
        return " WHERE " + SqlRowId(info) + " = ?" + std::to_string(first);
    }
    std::string where;
    for (std::size_t part = 0; part < info.key.size(); ++part) {
        where += where.empty() ? " WHERE " : " AND ";
        where += KeyPart(info, part);
        // IS matches NULL too, which an engine may allow in a part of a key.
        where +=
            (info.keyKind == ESqlKeyKind::Integer ? " = ?" : " IS ?") + std::to_string(first++);
    }
    if (way == ESqlKeyWay::RowId) {
        where += " AND " + SqlRowId(info) + " = ?" + std::to_string(first);
    }
    return where;
}

std::string SqlOrder(const ESqlTableInfo& info, std::span<const unsigned int> columns) {
    std::string order;
    for (const unsigned int column : columns) {
        const ESqlColumn& description = info.columns[column];
        order += order.empty() ? " ORDER BY " : ",";
        order += SqlColumn(info, column);
        if (KindOf(description.type) == ESqlCell::Kind::Text && !description.binaryOrder) {
            order += info.binaryCollation;
        }
        order += " NULLS FIRST";
    }
    const auto add = [&order](const std::string& last) {
        order += (order.empty() ? " ORDER BY " : ",") + last;
    };
    for (std::size_t part = 0; part < info.key.size(); ++part) {
        add(KeyPart(info, part));
    }
    if (info.keyKind == ESqlKeyKind::RowId) {
        add(SqlRowId(info));
    }
    return order;
}

}  // namespace etabulon
