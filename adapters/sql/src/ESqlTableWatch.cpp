#include "ESqlTableState.h"

namespace etabulon {

// Keys that change owners in mid-session. A table of the connection collects the keys to which
// writes, triggers and actions of foreign keys put records.

namespace {

constexpr const char* kTakenKeys = "etabulon_taken_keys";

/// The names of the columns that address a row.
std::vector<std::string> AddressNames(const ESqlTableInfo& info) {
    std::vector<std::string> names;
    for (const unsigned column : info.key) {
        names.push_back(SqlName(info.columns[column].name));
    }
    if (!info.rowIdName.empty()) {
        names.push_back(info.rowIdName);
    }
    return names;
}

std::string AddressList(const ESqlTableInfo& info, const char* qualifier = "") {
    std::string list;
    for (const std::string& name : AddressNames(info)) {
        list += (list.empty() ? "" : ",") + (qualifier + name);
    }
    return list;
}

/// Compares the addresses of rows `left` and `right` part by part.
std::string Comparison(const ESqlTableInfo& info, const std::string& left, const char* comparison,
                       const char* right, const char* join) {
    std::string text;
    std::size_t part = 0;
    for (const std::string& name : AddressNames(info)) {
        const std::string collation =
            part < info.keyCollations.size() ? info.keyCollations[part] : std::string();
        text += (text.empty() ? "" : join) + left;
        text += '.' + name + collation + comparison + right + '.' + name;
        ++part;
    }
    return text;
}

std::string WatchText(const ESqlTableInfo& info, const std::string& event,
                      const std::string& when) {
    return "CREATE TEMP TRIGGER IF NOT EXISTS etabulon_" + event + " AFTER " + event + " ON " +
           info.qualifiedName.c_str() + when + " BEGIN INSERT INTO " + kTakenKeys + " VALUES (" +
           AddressList(info, "NEW.") + "); END";
}

}  // namespace

std::int32_t ESqlTable::WatchKeys() {
    State& s = *state_;
    s.ClearError();
    if (!s.atomic || s.IsRefused()) {
        s.NoteError(DataOther, "keys can only be watched in an atomic session");
        return status = DataOther;
    }
    const std::string table = std::string("temp.") + kTakenKeys;
    std::string columns;
    for (const std::string& name : AddressNames(s.info)) {
        columns += (columns.empty() ? "" : ",") + name + " AS " + name;
    }
    const std::string texts[] = {
        // Selected, so that its columns have the types of the key, and its index serves FindOwner.
        "CREATE TABLE IF NOT EXISTS " + table + " AS SELECT " + columns + " FROM " +
            s.info.qualifiedName.c_str() + " WHERE 0",
        "CREATE INDEX IF NOT EXISTS temp.etabulon_taken_key ON " + std::string(kTakenKeys) + '(' +
            AddressList(s.info) + ')',
        "DELETE FROM " + table,
        WatchText(s.info, "INSERT", ""),
        WatchText(s.info, "UPDATE",
                  " WHEN " + Comparison(s.info, "NEW", " IS NOT ", "OLD", " OR ")),
    };
    for (const std::string& text : texts) {
        if (!s.connection->Execute(text.c_str())) {
            s.NoteEngineError();
            return status = s.error.status;
        }
    }
    s.isWatching = true;
    return status = DataOk;
}

void ESqlTable::UnwatchKeys() {
    State& s = *state_;
    if (s.isWatching) {
        s.isWatching = false;
        // A trigger that stays costs time, and collects keys that the next watch deletes.
        static_cast<void>(s.connection->Execute("DROP TRIGGER IF EXISTS temp.etabulon_INSERT"));
        static_cast<void>(s.connection->Execute("DROP TRIGGER IF EXISTS temp.etabulon_UPDATE"));
    }
}

ESqlTable::State::Find ESqlTable::State::FindOwner(EPosition position) {
    const Address address = AddressOf(position);
    const std::string name = SqlName(info.name);
    ISqlStatement* const statement =
        Prepared("SELECT 1 FROM " + std::string(info.qualifiedName.View()) + ", temp." +
                 kTakenKeys + " AS taken" + SqlWhereKey(info, address.way, 1) + " AND " +
                 Comparison(info, name, " IS ", "taken", " AND "));
    if (statement == nullptr) {
        return Find::Failed;
    }
    const SqlRun run(*statement);
    BindKey(*statement, 1, address);
    const ESqlStep step = statement->Step();
    if (step == ESqlStep::Failed) {
        NoteEngineError();
        return Find::Failed;
    }
    if (step == ESqlStep::Row) {
        NoteError(DataOther,
                  "another record took this record's key after it was found (by a trigger, an "
                  "action of a foreign key, or an edit)");
        return Find::Failed;
    }
    return Find::Found;
}

}  // namespace etabulon
