#include "ESqlTableState.h"

#include <algorithm>

namespace etabulon {

// Keys that change owners in mid-session. A table of the connection collects the keys to which
// writes, triggers and actions of foreign keys put records.

namespace {

constexpr const char* kTakenKeys = "etabulon_taken_keys";
// One index for each collation of the engine, as the key's own isn't known here.
constexpr const char* kCollations[] = {"BINARY", "NOCASE", "RTRIM"};

/// The names of the columns that address a row.
std::vector<std::string> AddressNames(const ESqlTableInfo& info) {
    std::vector<std::string> names;
    for (const unsigned int column : info.key) {
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

/// The first parts of an address: many more would cost the engine's planner more than they spare.
std::string IndexList(const ESqlTableInfo& info, const char* collation) {
    constexpr std::size_t kMostParts = 4;
    std::string list;
    for (const std::string& name : AddressNames(info)) {
        if (static_cast<std::size_t>(std::count(list.begin(), list.end(), ',')) + 1 < kMostParts ||
            list.empty()) {
            list += (list.empty() ? "" : ",") + name + " COLLATE " + collation;
        }
    }
    return list;
}

/// Compares the addresses of rows `left` and `right` part by part.
std::string Comparison(const ESqlTableInfo& info, const std::string& left, const char* comparison,
                       const char* right, const char* join) {
    std::string text;
    std::size_t part = 0;
    for (const std::string& name : AddressNames(info)) {
        text += (text.empty() ? "" : join) + left;
        text += '.' + name;
        if (part < info.keyCollations.size()) {
            text += info.keyCollations[part];
        }
        text += comparison;
        text += right;
        text += '.' + name;
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
        columns += (columns.empty() ? "" : ",") + name;
        columns += " AS " + name;
    }
    std::vector<std::string> texts = {
        // Selected, so that its columns have the types of the key, and its indexes serve FindOwner.
        "CREATE TABLE IF NOT EXISTS " + table + " AS SELECT " + columns + " FROM " +
            s.info.qualifiedName.c_str() + " WHERE 0",
        "DELETE FROM " + table,
        WatchText(s.info, "INSERT", ""),
        WatchText(s.info, "UPDATE",
                  " WHEN " + Comparison(s.info, "NEW", " IS NOT ", "OLD", " OR ")),
    };
    for (const char* const collation : kCollations) {
        texts.push_back(std::string("CREATE INDEX IF NOT EXISTS temp.etabulon_taken_") + collation +
                        " ON " + kTakenKeys + '(' + IndexList(s.info, collation) + ')');
    }
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
    const Find some =
        FindRow(std::string("SELECT 1 FROM temp.") + kTakenKeys + " LIMIT 1", nullptr);
    if (some != Find::Found) {
        return some == Find::Gone ? Find::Found : some;
    }
    const ESqlAddress address = AddressOf(position);
    const std::string name = SqlName(info.name);
    Chaine other = info.name;
    other.Append(" taken");
    const std::string taken = SqlName(other);
    const Find found =
        FindRow("SELECT 1 FROM " + std::string(info.qualifiedName.View()) + ", temp." + kTakenKeys +
                    " AS " + taken + SqlWhereKey(info, address.way, 1) + " AND " +
                    Comparison(info, name, " IS ", taken.c_str(), " AND "),
                &address);
    if (found != Find::Found) {
        return found == Find::Gone ? Find::Found : found;
    }
    NoteError(
        DataOther,
        "another record took this record's key after it was found (by a trigger, an action of "
        "a foreign key, or an edit)");
    return Find::Failed;
}

/// Gone if the statement has no row. `address` is bound to it, unless it is null.
ESqlTable::State::Find ESqlTable::State::FindRow(const std::string& text,
                                                 const ESqlAddress* address) {
    ISqlStatement* const statement = Prepared(text);
    if (statement == nullptr) {
        return Find::Failed;
    }
    const SqlRun run(*statement);
    if (address != nullptr) {
        address->Bind(*statement, 1);
    }
    const ESqlStep step = statement->Step();
    if (step == ESqlStep::Failed) {
        NoteEngineError();
        return Find::Failed;
    }
    return step == ESqlStep::Row ? Find::Found : Find::Gone;
}

}  // namespace etabulon
