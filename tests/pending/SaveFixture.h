#pragma once

#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/pending/ETabulonSavePending.h"
#include "support/MemoryTable.h"
#include "support/Tags.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <thread>

namespace etabulon::test {

using Change = ETabulonPendingChanges::Change;

inline ETabulonTag Group(int group) { return Tag({{0, group}}); }
inline ETabulonTag Item(int group, int id) { return Tag({{0, group}, {1, id}}); }

/// id, group, value, note.
using ItemRow = std::array<EVariant, 4>;
struct ItemLayout {
    std::array<std::string, 4> columns;
    std::array<std::size_t, 2> levels;  // the columns of levels 0 and 1
};

inline std::string Text(const ItemRow& row) {
    std::string text;
    for (const EVariant& value : row) {
        text += text.empty() ? "" : " ";
        text += value.IsMissing() || value.AsChaine().IsEmpty() ? "-" : value.AsChaine().c_str();
    }
    return text;
}

inline std::string Text(const std::vector<ItemRow>& rows) {
    std::string text;
    for (const ItemRow& row : rows) {
        text += (text.empty() ? "" : " | ") + Text(row);
    }
    return text;
}

/// Items in groups of ten, by group (level 0) and number (level 1), and a cursor on them.
struct Items {
    explicit Items(int count) : rubric(dico.AddRubric("Items", "Items")) {
        AddVariables(*rubric,
                     {{"id", TYPE_LONG},
                      {"group", TYPE_LONG},
                      {"value", TYPE_LONG, kNullableLong},
                      {"note", TYPE_CHAINE}},
                     {"id"});
        EDataMemory records(rubric);
        for (int id = 0; id < count; ++id) {
            records.Append({id, id / 10, id, "n"});
        }
        table = std::make_unique<FailingTable>(records);
        ETabulonLevels levels = LevelsBy({"group", "id"});
        cursor.Init(levels, table.get(), /*ownsTable=*/false);
    }
    CursorStatus Save(const ETabulonTag& tag = ETabulonTag::Null) {
        ETabulonSavePending save(&cursor, cursor.Levels());
        return save.Run(&changes, tag);
    }
    [[nodiscard]] static ItemRow Row(const EFieldSet& fields) {
        ItemRow row;
        for (std::size_t column = 0; column < row.size(); ++column) {
            row[column] = fields.At(static_cast<std::uint16_t>(column));
        }
        return row;
    }
    [[nodiscard]] std::vector<ItemRow> Rows() const {
        EDataMemory other(*table);
        std::vector<ItemRow> rows;
        for (EPosition at = other.GetFirst(); at != kNoPosition; at = other.GetNext()) {
            rows.push_back(Row(other.Fields()));
        }
        return rows;
    }

    DDico dico;
    DRubric* rubric;
    std::unique_ptr<FailingTable> table;
    ETabulonCursorEData cursor;
    ETabulonPendingChanges changes;
};

/// What is left open: the cursor's lock, a listener, the table's session. "" if nothing is.
inline std::string LeftOpen(Items& items) {
    std::string open;
    bool isFree = false;
    // Held by this thread it would be free to it: another asks. It would wait for ever; the test's
    // own time limit ends that.
    std::jthread([&] {
        items.cursor.CursorLock(true);
        items.cursor.CursorUnlock();
        isFree = true;
    }).join();
    open += isFree ? "" : "lock ";
    open += items.cursor.Notifiers().Size() == 0 ? "" : "listener ";
    const std::string trace = items.table->Take();
    open += trace.compare(0, 5, "begin") == 0 && trace.size() >= 3 &&
                    trace.compare(trace.size() - 3, 3, "end") == 0
                ? ""
                : "session";
    return open;
}

struct Fault {
    std::string operation;
    int call = 0;
    std::int32_t status = DataOk;
    bool forEver = false;
};

/// The rules of a save, on rows in a vector, with scans. May be run again, on the same rows.
class LiteralSave {
public:
    LiteralSave(std::vector<ItemRow> given, PTableau<Change> script,
                ItemLayout layout = {{"id", "group", "value", "note"}, {1, 0}})
        : given_(std::move(given)), script_(std::move(script)), layout_(std::move(layout)) {
        for (const ItemRow& row : given_) {
            tags_.push_back(Tag({{0, row[layout_.levels[0]]}, {1, row[layout_.levels[1]]}}));
            deleted_.push_back(!Matching(ETabulonPendingChanges::Delete, tags_.back()).empty());
            updates_.push_back(Matching(ETabulonPendingChanges::Update, tags_.back()));
        }
    }

    std::int32_t Run(const ETabulonTag& under = ETabulonTag::Null, const Fault& fault = {}) {
        fault_ = fault;
        rows.clear();
        asked.clear();
        std::int32_t written = StatusOk;
        std::int32_t walk = StatusOk;
        std::size_t at = 0;
        if (Has(ETabulonPendingChanges::Update) || Has(ETabulonPendingChanges::Delete)) {
            walk = Ask("first");
            for (; walk == StatusOk && at < given_.size(); ++at) {
                WriteRow(at, under, written);
                walk = Ask("next");
            }
        }
        rows.insert(rows.end(), given_.begin() + static_cast<std::ptrdiff_t>(at), given_.end());
        if (written != StatusOk || walk == StatusCancelled) {
            return written != StatusOk ? written : walk;
        }
        for (const Change& change : script_) {
            if (change.Type() == ETabulonPendingChanges::Insert) {
                const ETabulonTag& place = change.Selection();
                const std::int32_t failure = Ask("insert");
                if (failure != StatusOk) {
                    return failure;
                }
                rows.emplace_back();
                for (unsigned int level = 0; level < 2; ++level) {
                    rows.back()[layout_.levels[level]] = place.Value(level).Data();
                }
                Apply(Matching(ETabulonPendingChanges::Update, place), rows.back());
            }
        }
        return StatusOk;
    }

    std::vector<ItemRow> rows;
    std::vector<std::pair<std::string, int>> asked;  // how often each operation was

private:
    using Changes = std::vector<const Change*>;

    [[nodiscard]] bool Has(ETabulonPendingChanges::ChangeType type) const {
        return std::any_of(script_.begin(), script_.end(),
                           [&](const Change& change) { return change.Type() == type; });
    }
    [[nodiscard]] Changes Matching(ETabulonPendingChanges::ChangeType type,
                                   const ETabulonTag& tag) const {
        Changes matching;
        for (const Change& change : script_) {
            if (change.Type() == type && change.Matches(tag)) {
                matching.push_back(&change);
            }
        }
        return matching;
    }
    std::int32_t Ask(const char* operation) {
        auto count = std::find_if(asked.begin(), asked.end(),
                                  [&](const auto& entry) { return entry.first == operation; });
        if (count == asked.end()) {
            count = asked.insert(asked.end(), {operation, 0});
        }
        ++count->second;
        const bool fails =
            operation == fault_.operation &&
            (count->second == fault_.call || (fault_.forEver && count->second > fault_.call));
        return fails ? fault_.status : static_cast<std::int32_t>(StatusOk);
    }
    void Apply(const Changes& updates, ItemRow& row) const {
        for (const Change* update : updates) {
            const auto* const column = std::find(layout_.columns.begin(), layout_.columns.end(),
                                                 update->VarDataID().Code().c_str());
            row[static_cast<std::size_t>(column - layout_.columns.begin())] = update->Value();
        }
    }
    void WriteRow(std::size_t at, const ETabulonTag& under, std::int32_t& written) {
        const bool isUnder = tags_[at] == under || tags_[at].IsChildOf(under);
        if (isUnder && deleted_[at]) {
            written = Ask("delete");
            if (written == StatusOk) {
                return;
            }
        }
        rows.push_back(given_[at]);
        if (isUnder && !deleted_[at] && !updates_[at].empty()) {
            written = Ask("update");
            if (written == StatusOk) {
                Apply(updates_[at], rows.back());
            }
        }
    }

    std::vector<ItemRow> given_;
    PTableau<Change> script_;
    ItemLayout layout_;
    std::vector<ETabulonTag> tags_;  // of the rows given
    std::vector<bool> deleted_;
    std::vector<Changes> updates_;
    Fault fault_;
};

}  // namespace etabulon::test
