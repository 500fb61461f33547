#include "apps/etabulon/walk/CliSave.h"

#include "apps/etabulon/output/CliUtf8.h"
#include "apps/etabulon/request/CliTables.h"
#include "apps/etabulon/request/CliWritten.h"
#include "apps/etabulon/walk/CliInterrupt.h"
#include "apps/etabulon/walk/CliPlaces.h"
#include "etabulon/cursors/ECursorListener.h"
#include "etabulon/cursors/ECursorScopes.h"
#include "etabulon/pending/ETabulonSavePending.h"
#include "etabulon/sql/ESqlSource.h"
#include "etabulon/sql/ESqlTable.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

namespace etabulon {
namespace {

/// Counts the written records and keeps the text of the first failure. A failure ends the walk: the
/// save is rolled back, and further records would be lost.
class SavingCursor final : public PlacedCursor {
public:
    SavingCursor(const CliWalkContext& context, const CliEdits& edits);

    [[nodiscard]] const CliSaved& Saved() const noexcept { return saved_; }
    /// The text of the first failure; empty if there was none.
    [[nodiscard]] const std::string& FirstFailure() const noexcept { return failure_; }
    void Fail(CursorStatus status, std::string_view doing);

protected:
    bool OnFound(const ETabulonPrimaryKey& key, const ETabulonTag& place) override {
        RefuseMisread(key, place);
        return failure_.empty();
    }
    CursorStatus StartInsert(const ETabulonTag& tag) override {
        place_ = tag;
        // The save will be rolled back: further inserts would be lost.
        if (IsInterrupted() || !failure_.empty()) {
            return StatusCancelled;
        }
        return PlacedCursor::StartInsert(tag);
    }
    CursorStatus StartUpdate(const ETabulonPrimaryKey& key, const ETabulonTag& tag) override {
        place_ = tag;
        key_ = ShownKey(key);
        columns_.clear();
        return PlacedCursor::StartUpdate(key, tag);
    }
    CursorStatus SetValue(const ETabulonVariableID& id, const ETabulonValue& value) override {
        for (const CliVariable& column : edits_.Columns()) {
            if (!IsInInsertMode() && ETabulonVariableID(column.code) == id) {
                columns_ += (columns_.empty() ? "" : ", ") + Quoted(column.shown);
            }
        }
        return PlacedCursor::SetValue(id, value);
    }
    CursorStatus Save() override;
    CursorStatus Delete(const ETabulonPrimaryKey& key, const ETabulonTag& tag) override;

private:
    [[nodiscard]] std::string ShownKey(const ETabulonPrimaryKey& key) const;
    void RefuseMisread(const ETabulonPrimaryKey& key, const ETabulonTag& tag);
    [[nodiscard]] std::string FindMisread(const ETabulonTag& place, const ETabulonPrimaryKey& key);
    [[nodiscard]] std::string FindMisreadField(std::uint16_t field, const ETabulonPrimaryKey& key);
    [[nodiscard]] std::string FindMisreadLink(const ETabulonPrimaryKey& key);

    const CliWalkContext& context_;
    const CliEdits& edits_;
    std::vector<const ETabulonPendingChanges::Change*>
        atMissing_;  // changes at places with a missing value
    CliSaved saved_;
    std::string failure_;
    ETabulonTag place_;
    std::string key_;
    std::string columns_;
};

std::string TextOf(const ESqlTable& table, std::int32_t status) {
    const Chaine text = table.LastErrorText();
    return text.IsEmpty() ? fmt::format("status {}", status) : std::string(text.View());
}

std::string SavingCursor::ShownKey(const ETabulonPrimaryKey& key) const {
    const ESqlTableInfo& table = context_.table.Info();
    std::string shown;
    for (std::uint16_t part = 0; part < key.Fields().Size(); ++part) {
        const std::string name = part < table.key.size()
                                     ? std::string(table.columns[table.key[part]].name.View())
                                     : table.rowIdName;
        shown += fmt::format("{}{}={}", part == 0 ? "" : ",", WrittenName(name),
                             WrittenValue(key.Fields().At(part)));
    }
    return shown;
}

SavingCursor::SavingCursor(const CliWalkContext& context, const CliEdits& edits)
    : PlacedCursor(context.interrupt), context_(context), edits_(edits) {
    const auto& script = edits.Changes().Script();
    for (std::uint32_t index = 0; index < script.Size(); ++index) {
        const ETabulonTag& place = script.At(index).Selection();
        bool hasMissing = false;
        for (unsigned int known = 0; known < place.KnownLevelsCount(); ++known) {
            hasMissing = hasMissing || place.ValueAt(known).IsNull();
        }
        if (hasMissing) {
            atMissing_.push_back(&script.At(index));
        }
    }
}

/// Refuses an edit at a place with a missing value if the record's own value only reads as missing,
/// because it isn't of the column's type: the user would lose it unseen.
void SavingCursor::RefuseMisread(const ETabulonPrimaryKey& key, const ETabulonTag& tag) {
    const bool isDeleted = !atMissing_.empty() && edits_.Changes().IsDeleted(tag);
    const auto type = isDeleted ? ETabulonPendingChanges::Delete : ETabulonPendingChanges::Update;
    for (const ETabulonPendingChanges::Change* const change : atMissing_) {
        if (!failure_.empty() || change->Type() != type || !change->Matches(tag)) {
            continue;
        }
        if (const std::string misread = FindMisread(change->Selection(), key); !misread.empty()) {
            failure_ = fmt::format("record {} of table {} can't be {} as one without a value: {}",
                                   ShownKey(key), Quoted(context_.table.Info().name.View()),
                                   isDeleted ? "deleted" : "updated", misread);
            Cancel();
        }
    }
}

/// Describes such a value of the record, or the failure of reading it; empty if there is none.
std::string SavingCursor::FindMisread(const ETabulonTag& place, const ETabulonPrimaryKey& key) {
    for (unsigned int known = 0; known < place.KnownLevelsCount(); ++known) {
        if (!place.ValueAt(known).IsNull()) {
            continue;
        }
        const Chaine code = Levels().GetLevel(place.LevelAt(known)).DataID().Code();
        const int field = Table()->Fields().IndexOf(code);
        std::string misread = field >= 0 ? FindMisreadField(static_cast<std::uint16_t>(field), key)
                                         : FindMisreadLink(key);
        if (!misread.empty()) {
            return misread;
        }
    }
    return {};
}

std::string SavingCursor::FindMisreadField(std::uint16_t field, const ETabulonPrimaryKey& key) {
    EVariant stored;
    const std::int32_t status = Table()->ReadStored(key.Position(), field, stored);
    if (status != DataOk) {
        return TextOf(*Table(), status);
    }
    if (stored.IsMissing()) {
        return {};
    }
    const unsigned int column = Table()->Columns()[field];
    return fmt::format("column {} holds {}, which isn't of its type and reads as NULL",
                       Quoted(context_.table.Info().columns[column].name.View()),
                       WrittenValue(stored));
}

/// The same for a level behind a link: a foreign key of the record that only reads as missing, or a
/// value of any linked record.
std::string SavingCursor::FindMisreadLink(const ETabulonPrimaryKey& key) {
    const std::vector<unsigned int>& columns = Table()->Columns();
    for (const ESqlForeignKey& link : context_.table.Info().foreignKeys) {
        for (std::size_t field = 0; field < columns.size(); ++field) {
            const bool isPart = std::find(link.columns.begin(), link.columns.end(),
                                          columns[field]) != link.columns.end();
            const auto at = static_cast<std::uint16_t>(field);
            if (!isPart || !Table()->Fields().At(at).IsMissing()) {
                continue;
            }
            if (std::string misread = FindMisreadField(at, key); !misread.empty()) {
                return misread;
            }
        }
    }
    const Chaine links = context_.table.Source().Database()->MisreadLinks();
    return links.IsEmpty() ? std::string()
                           : fmt::format(
                                 "column {} holds values that aren't of its type and read "
                                 "as NULL",
                                 links.View());
}

void SavingCursor::Fail(CursorStatus status, std::string_view doing) {
    if (failure_.empty() && !IsInterrupted()) {
        failure_ =
            fmt::format("{}: {}", doing, TextOf(*Table(), static_cast<std::int32_t>(status)));
        Cancel();
    }
}

CursorStatus SavingCursor::Save() {
    const CursorStatus status = PlacedCursor::Save();
    const std::string table = Quoted(context_.table.Info().name.View());
    if (IsInInsertMode()) {
        ++saved_.inserted;
    } else {
        ++saved_.updated;
    }
    if (status != StatusOk) {
        Fail(status, IsInInsertMode()
                         ? fmt::format("a record at {} can't be inserted into table {}",
                                       edits_.WrittenPlace(place_), table)
                         : fmt::format("record {} of table {} can't be updated (column {})", key_,
                                       table, columns_));
    }
    return status;
}

CursorStatus SavingCursor::Delete(const ETabulonPrimaryKey& key, const ETabulonTag& tag) {
    const CursorStatus status = PlacedCursor::Delete(key, tag);
    ++saved_.deleted;
    if (status != StatusOk) {
        Fail(status, fmt::format("record {} of table {} can't be deleted", ShownKey(key),
                                 Quoted(context_.table.Info().name.View())));
    }
    return status;
}

/// Reports a failed walk to the cursor, as the saving class goes on after one.
class WalkFailures final : public ECursorListener {
public:
    explicit WalkFailures(SavingCursor& cursor) : cursor_(cursor) {}
    void OnError(const ETabulonCursor& /*cursor*/, CursorStatus status) override {
        cursor_.Fail(status, "the table can't be read");
    }

private:
    SavingCursor& cursor_;
};

/// Runs the save in an atomic session: commits it, or rolls it back.
CliResult<> SaveAll(const CliWalkContext& context, const CliEdits& edits, SavingCursor& cursor) {
    constexpr const char* kNothing = "nothing was saved";
    ESqlTable& table = *cursor.Table();
    if (const std::int32_t status = table.BeginAtomic(); status != DataOk) {
        return CliFailure{CliExit::Failed, fmt::format("{}: {}", kNothing, TextOf(table, status))};
    }
    WalkFailures failures(cursor);
    CursorStatus status = StatusOk;
    context.table.Source().Database()->ForgetMisreadLinks();
    {
        const ECursorListening listening(cursor, failures);
        status = cursor.FindRecords(edits.Changes());
        if (status == StatusOk) {
            ETabulonSavePending saving(&cursor, edits.Levels().levels);
            status = saving.Run(&edits.Changes(), ETabulonTag());
        }
    }
    const bool hasFailed =
        !cursor.FirstFailure().empty() || status != StatusOk || table.Session().failures != 0;
    if (context.interrupt.IsRaised() || (!hasFailed && !context.interrupt.BeginCommit())) {
        table.Rollback();
        return CliFailure{context.interrupt.Exit(), fmt::format("cancelled: {}", kNothing)};
    }
    if (hasFailed) {
        const std::string first = cursor.FirstFailure().empty()
                                      ? TextOf(table, static_cast<std::int32_t>(status))
                                      : cursor.FirstFailure();
        table.Rollback();
        return CliFailure{CliExit::Failed, fmt::format("{}: {}", kNothing, first)};
    }
    switch (table.Commit()) {
        case ESqlOutcome::Committed:
            return {};
        case ESqlOutcome::RolledBack:
            return CliFailure{CliExit::Failed,
                              fmt::format("{}: {}", kNothing, TextOf(table, table.status))};
        case ESqlOutcome::Unknown:
            break;
    }
    return CliFailure{CliExit::Failed,
                      fmt::format("whether the edits were saved is unknown, look before you try "
                                  "again: {}",
                                  TextOf(table, table.status))};
}

}  // namespace

CliResult<CliSaved> SaveEdits(const CliWalkContext& context, const CliEdits& edits) {
    SavingCursor cursor(context, edits);
    const CliResult<> opened = OpenCursor(context, edits.Levels().levels, edits.Columns(), cursor);
    if (!opened) {
        return opened.Failure();
    }
    if (!cursor.Table()->IsWritable()) {
        return CliFailure{CliExit::Failed,
                          fmt::format("nothing was saved: {} of {} can't be written: {}",
                                      Quoted(context.table.Info().name.View()),
                                      Quoted(context.table.Source().Location().View()),
                                      context.table.Info().isView
                                          ? "it is a view or a virtual table"
                                          : "it has no key, and its columns hide the row number "
                                            "that would tell its records apart")};
    }
    const CliInterrupt::Cancelling cancelling(context.interrupt, cursor);
    if (const CliResult<> saved = SaveAll(context, edits, cursor); !saved) {
        return saved.Failure();
    }
    CliSaved saved = cursor.Saved();
    saved.gone = cursor.GoneCount();
    return saved;
}

}  // namespace etabulon
