#include "ESqliteSchema.h"

#include "ESqliteError.h"
#include "etabulon/sql/ESqlText.h"

#include <sqlite3.h>

#include <algorithm>

namespace etabulon {

namespace {

Chaine TextOf(const ESqlValue& value) {
    return value.bytes != nullptr ? Chaine(value.bytes, value.size) : Chaine();
}

ESqlValue TextValue(const Chaine& text) {
    ESqlValue value;
    value.kind = ESqlValue::Kind::Text;
    value.bytes = text.c_str();
    value.size = text.Length();
    return value;
}

std::string Quoted(const Chaine& name) {
    std::string quoted;
    static_cast<void>(SqlQuote(quoted, name.View()));
    return quoted;
}

bool IsBuiltIn(const Chaine& collation) {
    return collation.EqualsFolded("BINARY") || collation.EqualsFolded("NOCASE") ||
           collation.EqualsFolded("RTRIM");
}

class SchemaReader {
public:
    SchemaReader(ESqliteConnection& connection, const ESqliteTypeHints& hints)
        : connection_(connection), hints_(hints) {}

    [[nodiscard]] bool Read(std::vector<ESqlTableInfo>& tables);
    /// The error of a failed Read.
    [[nodiscard]] ESqlError Failure() const {
        return failure_.status != DataOk ? failure_ : connection_.LastError();
    }

private:
    struct Entry {
        ESqlTableInfo table;
        bool withoutRowId = false;
        bool isTable = false;
        Chaine statement;
    };
    /// Runs `statement` with one bound text and calls `take` with each row. False on failure.
    template <class Take>
    [[nodiscard]] bool Each(const char* statement, const Chaine& bound, Take take);
    [[nodiscard]] bool ReadColumns(Entry& entry);
    void Describe(const Entry& entry, ESqlColumn& column);
    [[nodiscard]] bool ReadKey(Entry& entry,
                               std::vector<std::pair<std::int64_t, unsigned int>> parts);
    [[nodiscard]] bool ReadKeyIndex(ESqlTableInfo& table, bool& hasIndex);
    [[nodiscard]] Chaine CollationOf(const ESqlTableInfo& table, const ESqlColumn& column);
    [[nodiscard]] bool ReadForeignKeys(Entry& entry);

    ESqliteConnection& connection_;
    const ESqliteTypeHints& hints_;
    bool isUtf8_ = true;
    ESqlError failure_;  // of a call made while a statement's rows are read
};

template <class Take>
bool SchemaReader::Each(const char* statement, const Chaine& bound, Take take) {
    const auto prepared = connection_.Prepare(statement);
    if (prepared == nullptr) {
        return false;
    }
    prepared->Bind(1, TextValue(bound));
    ESqlStep step = ESqlStep::Done;
    while ((step = prepared->Step()) == ESqlStep::Row) {
        take(*prepared);
    }
    return step == ESqlStep::Done && failure_.status == DataOk;
}

bool SchemaReader::Read(std::vector<ESqlTableInfo>& tables) {
    std::vector<Entry> entries;
    if (!Each("SELECT encoding FROM pragma_encoding WHERE ?1 = ''", Chaine(),
              [this](ISqlStatement& row) { isUtf8_ = TextOf(row.Column(0)) == Chaine("UTF-8"); })) {
        return false;
    }
    const bool isListed = Each(
        "SELECT l.name, l.type, l.wr, s.sql FROM pragma_table_list AS l "
        "JOIN main.sqlite_schema AS s ON s.name = l.name AND s.type IN ('table','view') "
        "WHERE l.schema = ?1 AND l.type <> 'shadow' AND l.name NOT LIKE 'sqlite\\_%' "
        "ESCAPE '\\' ORDER BY l.name",
        "main", [&entries](ISqlStatement& row) {
            Entry entry;
            entry.table.name = TextOf(row.Column(0));
            entry.isTable = TextOf(row.Column(1)) == Chaine("table");
            entry.table.isView = !entry.isTable;
            entry.withoutRowId = row.Column(2).integer != 0;
            entry.statement = TextOf(row.Column(3));
            entries.push_back(std::move(entry));
        });
    if (!isListed) {
        return false;
    }
    for (Entry& entry : entries) {
        entry.table.qualifiedName =
            Chaine("\"main\".") + Chaine(std::string_view(Quoted(entry.table.name)));
        entry.table.binaryCollation = " COLLATE BINARY";
        entry.table.mostColumns = static_cast<std::size_t>(
            std::max(0, sqlite3_limit(connection_.Handle(), SQLITE_LIMIT_COLUMN, -1)));
        if (SqliteDeclaresConflict(entry.statement.View())) {
            entry.table.orFail = " OR ABORT";
        }
        if (!ReadColumns(entry)) {
            // Skips a view of a missing table, and a virtual table without its module.
            if (!entry.isTable && (sqlite3_errcode(connection_.Handle()) & 0xFF) == SQLITE_ERROR) {
                continue;
            }
            return false;
        }
        if (!ReadForeignKeys(entry)) {
            return false;
        }
        if (!entry.table.columns.empty()) {
            tables.push_back(std::move(entry.table));
        }
    }
    return true;
}

bool SchemaReader::ReadColumns(Entry& entry) {
    std::vector<std::pair<std::int64_t, unsigned int>> keyParts;
    const bool isRead = Each(
        "SELECT name, type, \"notnull\", pk, hidden FROM pragma_table_xinfo(?1)", entry.table.name,
        [&](ISqlStatement& row) {
            constexpr std::int64_t kHidden = 1;  // 2 and 3 are generated columns
            const std::int64_t hidden = row.Column(4).integer;
            if (hidden == kHidden) {
                return;
            }
            ESqlColumn column;
            column.name = TextOf(row.Column(0));
            column.declared = TextOf(row.Column(1));
            column.notNull = row.Column(2).integer != 0;
            column.generated = hidden > kHidden;
            if (const std::int64_t part = row.Column(3).integer; part > 0) {
                keyParts.emplace_back(part, static_cast<unsigned int>(entry.table.columns.size()));
            }
            Describe(entry, column);
            entry.table.columns.push_back(std::move(column));
        });
    return isRead && (!entry.isTable || ReadKey(entry, std::move(keyParts)));
}

void SchemaReader::Describe(const Entry& entry, ESqlColumn& column) {
    const auto hint =
        hints_.find(std::string(entry.table.name.c_str()) + '.' + column.name.c_str());
    const SqliteAffinity affinity = SqliteAffinityOf(column.declared.View());
    column.type = hint != hints_.end() ? hint->second : SqliteColumnType(column.declared.View());
    const std::string name = Quoted(entry.table.name) + '.' + Quoted(column.name);
    switch (column.type) {
        case TYPE_INT64:
            column.push = ESqlPush::Number;
            // Wider than necessary, since a real without a fraction reads as a whole number.
            column.isMissing = "(typeof(" + name + ") <> 'integer')";
            break;
        case TYPE_DOUBLE:
            column.push = ESqlPush::Number;
            // A larger whole number may be one that a double doesn't hold.
            column.isMissing = "(typeof(" + name + ") NOT IN ('integer','real') OR (typeof(" +
                               name + ") = 'integer' AND " + name +
                               " NOT BETWEEN -9007199254740992 AND 9007199254740992))";
            break;
        case TYPE_BOOL:
            column.push = ESqlPush::Number;
            break;
        case TYPE_DATE:
            column.push = ESqlPush::IsoDate;
            break;
        case TYPE_CHAINE:
            // Only with text affinity: otherwise a stored number reads as a text that SQL finds
            // different from the number. So may a column of a compound view, whatever its first
            // SELECT declares. In a UTF-16 database two invalid texts may read as one text that
            // neither of them equals.
            if (affinity == SqliteAffinity::Text && entry.isTable && isUtf8_) {
                column.push = ESqlPush::Text;
            }
            column.isMissing = "(typeof(" + name + ") IN ('null','blob'))";
            break;
        default:
            break;
    }
    if (const Chaine order = entry.isTable ? CollationOf(entry.table, column) : Chaine();
        !order.IsEmpty()) {
        column.binaryOrder = order.EqualsFolded("BINARY");
        column.foreignOrder = !IsBuiltIn(order);
    }
    if (column.foreignOrder && column.push == ESqlPush::Text) {
        column.push = ESqlPush::Never;
    }
}

/// The column's collation; empty with the failure, since every column of a table has one.
Chaine SchemaReader::CollationOf(const ESqlTableInfo& table, const ESqlColumn& column) {
    const char* collation = nullptr;
    const int code = sqlite3_table_column_metadata(connection_.Handle(), "main", table.name.c_str(),
                                                   column.name.c_str(), nullptr, &collation,
                                                   nullptr, nullptr, nullptr);
    if (code != SQLITE_OK && failure_.status == DataOk) {
        failure_ = connection_.LastError();
    }
    return code == SQLITE_OK && collation != nullptr ? Chaine(collation) : Chaine();
}

bool SchemaReader::ReadKey(Entry& entry, std::vector<std::pair<std::int64_t, unsigned int>> parts) {
    ESqlTableInfo& table = entry.table;
    std::sort(parts.begin(), parts.end());
    for (const auto& [part, column] : parts) {
        table.key.push_back(column);
    }
    table.keyCollations.resize(table.key.size());
    bool hasIndex = false;
    if (!parts.empty() && !ReadKeyIndex(table, hasIndex)) {
        return false;
    }
    if (!parts.empty() && !hasIndex && !entry.withoutRowId) {
        // A key without an index of its own is the row number under another name.
        table.keyKind = ESqlKeyKind::Integer;
        return true;
    }
    const bool hasKey = !parts.empty();
    const bool mayBeNull =
        std::any_of(table.key.begin(), table.key.end(),
                    [&table](unsigned int column) { return !table.columns[column].notNull; });
    if (!entry.withoutRowId && (!hasKey || mayBeNull)) {
        table.rowIdName = SqlRowIdName(table);
    }
    if (hasKey) {
        table.keyKind = ESqlKeyKind::Columns;
        table.hasWideTexts = !isUtf8_;
    } else if (!table.rowIdName.empty()) {
        table.keyKind = ESqlKeyKind::RowId;
    }
    return true;  // a table whose rows can't be addressed is walked like a view
}

/// Reads the collations of the key's index, which may differ from those of the columns.
bool SchemaReader::ReadKeyIndex(ESqlTableInfo& table, bool& hasIndex) {
    std::vector<std::vector<Chaine>> collations(table.key.size());
    const bool isRead = Each(
        "SELECT x.name, x.coll FROM pragma_index_list(?1) AS l, pragma_index_xinfo(l.name) AS x "
        "WHERE l.origin = 'pk' AND x.key = 1",
        table.name, [&](ISqlStatement& row) {
            const Chaine name = TextOf(row.Column(0));
            for (std::size_t part = 0; part < table.key.size(); ++part) {
                if (table.columns[table.key[part]].name == name) {
                    collations[part].push_back(TextOf(row.Column(1)));
                }
            }
            hasIndex = true;
        });
    for (std::size_t part = 0; isRead && hasIndex && part < table.key.size(); ++part) {
        const bool isKnown = collations[part].size() == 1 && IsBuiltIn(collations[part].front());
        const Chaine own = CollationOf(table, table.columns[table.key[part]]);
        if (!isKnown) {
            // Compares by bytes: texts with equal bytes are equal in every collation.
            table.keyCollations[part] = table.binaryCollation;
        } else if (!own.EqualsFolded(collations[part].front())) {
            table.keyCollations[part] = " COLLATE " + Quoted(collations[part].front());
        }
    }
    return isRead && failure_.status == DataOk;
}

bool SchemaReader::ReadForeignKeys(Entry& entry) {
    ESqlTableInfo& table = entry.table;
    std::int64_t last = -1;
    std::vector<std::int64_t> ids;
    const bool isRead = Each(
        "SELECT id, \"table\", \"from\", \"to\" FROM pragma_foreign_key_list(?1) ORDER BY id, seq",
        table.name, [&](ISqlStatement& row) {
            const std::int64_t id = row.Column(0).integer;
            if (id != last) {
                last = id;
                ids.push_back(id);
                table.foreignKeys.emplace_back();
                table.foreignKeys.back().target = TextOf(row.Column(1));
            }
            ESqlForeignKey& link = table.foreignKeys.back();
            const Chaine from = TextOf(row.Column(2));
            for (unsigned int i = 0; i < table.columns.size(); ++i) {
                if (table.columns[i].name.EqualsFolded(from)) {
                    link.columns.push_back(i);
                }
            }
            if (const ESqlValue to = row.Column(3); to.kind == ESqlValue::Kind::Text) {
                link.targetColumns.push_back(TextOf(to));
            }
        });
    const std::vector<Chaine> names = SqliteConstraintNames(entry.statement.View());
    for (std::size_t i = 0; i < ids.size(); ++i) {
        // SQLite numbers foreign keys from the last one declared.
        ESqlForeignKey& link = table.foreignKeys[i];
        if (names.size() == ids.size()) {
            link.name = names[names.size() - 1 - static_cast<std::size_t>(ids[i])];
        }
        if (link.name.IsEmpty() && !link.columns.empty()) {
            link.name = table.columns[link.columns.front()].name;
        }
    }
    return isRead;
}

}  // namespace

bool ReadSqliteSchema(ESqliteConnection& connection, const ESqliteTypeHints& hints,
                      std::vector<ESqlTableInfo>& tables, ESqlError& error) {
    SchemaReader reader(connection, hints);
    const bool isRead = reader.Read(tables);
    if (!isRead) {
        error = reader.Failure();
    }
    return isRead;
}

}  // namespace etabulon
