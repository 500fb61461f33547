#include "ESqlTableState.h"

namespace etabulon {

/// One write: a transaction of its own, or a savepoint in an atomic session. The destructor rolls
/// an uncommitted write back.
class ESqlTable::Write {
public:
    explicit Write(State& state) : state_(state) {}
    Write(const Write&) = delete;
    Write& operator=(const Write&) = delete;
    ~Write() {
        if (!isOpen_) {
            return;
        }
        // Keeps the table's error, which is the failure that led here.
        ISqlConnection& connection = *state_.connection;
        if (!state_.atomic || !connection.Execute("ROLLBACK TO etabulon_write") ||
            !connection.Execute("RELEASE etabulon_write")) {
            connection.Rollback();  // the whole session, so that no half of a write stays in it
        }
        state_.CheckAtomic();
    }
    [[nodiscard]] bool Begin() {
        if (state_.atomic) {
            // Outside of a transaction a savepoint would begin one, and its release would commit.
            isOpen_ = !state_.IsRefused() && state_.RunPrepared("SAVEPOINT etabulon_write");
            return isOpen_;
        }
        if (state_.holders == 0) {
            state_.connection->ResetWait();
        }
        isOpen_ = state_.connection->Begin();
        if (!isOpen_) {
            state_.NoteEngineError();
        }
        return isOpen_;
    }
    [[nodiscard]] bool Commit() {
        const ESqlOutcome outcome =
            state_.atomic ? Release() : state_.connection->Commit(state_.error);
        isOpen_ = state_.atomic && outcome != ESqlOutcome::Committed;
        if (outcome == ESqlOutcome::Unknown) {
            state_.error.text.Append(
                " (whether the write stays is unknown: look before trying again)");
        }
        if (outcome != ESqlOutcome::RolledBack) {
            state_.version->fetch_add(1);
        }
        return outcome == ESqlOutcome::Committed;
    }

private:
    [[nodiscard]] ESqlOutcome Release() {
        return state_.RunPrepared("RELEASE etabulon_write") ? ESqlOutcome::Committed
                                                            : ESqlOutcome::RolledBack;
    }
    State& state_;
    bool isOpen_ = false;
};

// ------------------------------------------------------------------------------------------ single

EPosition ESqlTable::Insert() {
    State& s = *state_;
    if (const std::int32_t failure = CheckWritable(); failure != DataOk) {
        return FailWrite(failure);
    }
    if (s.IsValueRefused()) {
        return FailWrite(s.error.status);
    }
    s.LeaveStreaming();
    std::vector<std::size_t> cells;
    std::string names;
    std::string values;
    for (std::size_t i = 0; i < s.columns.size(); ++i) {
        const ESqlColumn& column = s.info.columns[s.columns[i]];
        // Missing values are left out, so that the database stores the column's default.
        if (!column.generated && !ESqlRow::IsMissing(s.row.cells[i], s.row.record)) {
            cells.push_back(i);
            names += (names.empty() ? "" : ",") + SqlName(column.name);
            values += (values.empty() ? "?" : ",?") + std::to_string(cells.size());
        }
    }
    std::string text = "INSERT" + s.info.orFail + " INTO " + s.info.qualifiedName.c_str();
    text += cells.empty() ? " DEFAULT VALUES" : " (" + names + ") VALUES (" + values + ")";
    text += s.Returning(cells);
    EPosition added = kNoPosition;
    return RunWrite(text, cells, kNoPosition, &added) ? EndWrite(kNoPosition, added)
                                                      : FailWrite(s.error.status);
}

EPosition ESqlTable::Update(EPosition where) {
    State& s = *state_;
    if (const std::int32_t failure = FindToWrite(where); failure != DataOk) {
        return FailWrite(failure);
    }
    s.LeaveStreaming();
    std::vector<std::size_t> cells;
    if (s.IsValueRefused() || !ReadLoaded(where) || !FindChanges(where, cells)) {
        return FailWrite(s.error.status);
    }
    std::string changes;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        changes += (changes.empty() ? "" : ",") +
                   SqlName(s.info.columns[s.columns[cells[i]]].name) + " = ?" +
                   std::to_string(i + 1);
    }
    if (cells.empty()) {
        // Nothing to write, but a deleted record must still fail.
        const State::Find found = s.ReadByKey(where);
        if (found != State::Find::Found) {
            return FailWrite(found == State::Find::Gone ? std::int32_t{DataGone} : s.error.status);
        }
        CountWrite(/*isSuccess=*/true);
        return Arrive(where);
    }
    const std::string text =
        "UPDATE" + s.info.orFail + ' ' + s.info.qualifiedName.c_str() + " SET " + changes +
        SqlWhereKey(s.info, s.AddressOf(where).way, static_cast<int>(cells.size()) + 1) +
        s.Returning(cells);
    EPosition written = kNoPosition;
    return RunWrite(text, cells, where, &written) ? EndWrite(where, written)
                                                  : FailWrite(s.error.status);
}

bool ESqlTable::DeleteOne(EPosition where) {
    State& s = *state_;
    if (const std::int32_t failure = FindToWrite(where); failure != DataOk) {
        FailWrite(failure);
        return false;
    }
    s.LeaveStreaming();
    const std::string text = std::string("DELETE FROM ") + s.info.qualifiedName.c_str() +
                             SqlWhereKey(s.info, s.AddressOf(where).way, 1);
    static_cast<void>(s.Returning({}));
    if (!RunWrite(text, {}, where, /*written=*/nullptr)) {
        FailWrite(s.error.status);
        return false;
    }
    CountWrite(/*isSuccess=*/true);
    if (where == position) {
        Leave(DataOk);  // the walk keeps its position and goes on from there
        s.moved = false;
    }
    status = DataOk;
    return true;
}

/// Tests whether the table accepts a write; a status.
std::int32_t ESqlTable::CheckWritable() {
    State& s = *state_;
    s.ClearError();
    if (!s.writable) {
        s.NoteError(DataReadOnly, "it can't be written");
        return DataReadOnly;
    }
    return s.IsRefused() ? s.error.status : std::int32_t{DataOk};
}

/// Sets `where` to the record to write, and tests whether it can be written; a status.
std::int32_t ESqlTable::FindToWrite(EPosition& where) {
    State& s = *state_;
    if (where == kNoPosition) {
        where = position;
    }
    if (const std::int32_t failure = CheckWritable(); failure != DataOk) {
        return failure;
    }
    if (where == kNoPosition) {
        return DataNoCurrent;
    }
    if (s.info.keyKind == ESqlKeyKind::Columns && s.registry.KeyOf(where).empty()) {
        return DataNoSuchPosition;
    }
    if (IsSqlLockedByOther(s.LockName(where), this)) {
        s.NoteError(DataLocked, "the record is locked by another user of this program");
        return DataLocked;
    }
    return DataOk;
}

/// Makes `loaded` the record of `where` as of its last load.
bool ESqlTable::ReadLoaded(EPosition where) {
    State& s = *state_;
    if (where == position && s.loadedFrom == State::Loaded::InRecord) {
        return true;
    }
    const State::Find found = s.ReadLoaded(where);
    if (found == State::Find::Gone) {
        s.error.status = DataGone;
    }
    return found == State::Find::Found;
}

/// Runs a write that must hit exactly one row. The parameters are the cells, then the key of
/// `where`. `written` is null for a statement that returns no key.
bool ESqlTable::RunWrite(const std::string& text, std::span<const std::size_t> cells,
                         EPosition where, EPosition* written) {
    State& s = *state_;
    std::int64_t rows = 0;
    bool isGoneWithin = false;
    {
        Write write(s);
        // Begin first: it may evict statements from the cache.
        ISqlStatement* const statement = write.Begin() ? s.Prepared(text) : nullptr;
        if (statement == nullptr || !BindCells(*statement, cells)) {
            return false;
        }
        if (where != kNoPosition) {
            s.AddressOf(where).Bind(*statement, static_cast<int>(cells.size()) + 1);
        }
        const std::int64_t changesBefore = s.connection->TotalChanges();
        std::int64_t keys = 0;
        rows = StepWrite(*statement, keys);
        const bool changesOthers = s.connection->TotalChanges() - changesBefore > rows;
        if (rows < 0) {
            return false;
        }
        if (rows == 1 && (written == nullptr || keys == 1)) {
            const auto returned = cells.first(s.storedRow.cells.size());
            const auto others = cells.subspan(returned.size());
            const bool isWritten = IsStored(returned) &&
                                   (written == nullptr || ReadBack(*written)) &&
                                   (changesOthers || IsStoredInLoaded(others)) && write.Commit();
            if (isWritten && changesOthers) {
                s.source->walks.fetch_add(1);
            }
            return isWritten;
        }
        isGoneWithin = rows == 0 && where != kNoPosition && s.LookUp(where) == State::Find::Gone;
    }
    NoteMissedWrite(rows, where, isGoneWithin);
    return false;
}

/// The number of rows that the write changed, -1 with `error`. `keys` counts the rows that it
/// returned; storedRow holds the last of them.
std::int64_t ESqlTable::StepWrite(ISqlStatement& statement, std::int64_t& keys) {
    State& s = *state_;
    const SqlRun run(statement);
    ESqlStep step = ESqlStep::Done;
    while ((step = statement.Step()) == ESqlStep::Row && statement.ReadRow(s.storedRow)) {
        ++keys;
    }
    if (step != ESqlStep::Done) {
        s.NoteEngineError();
        return -1;
    }
    return s.connection->Changes();
}

/// Reads the written record before the commit. False if it can't be read or have a position; the
/// write is then rolled back.
bool ESqlTable::ReadBack(EPosition& written) {
    State& s = *state_;
    if (!s.PositionOf(s.storedRow, written)) {
        return false;
    }
    const State::Find found = s.ReadLoaded(written);
    s.isReadBack = found == State::Find::Found;  // a trigger may have deleted or moved it
    return found != State::Find::Failed;
}

/// Notes why a write, which was rolled back, didn't change exactly one row.
/// `isGoneWithin` if the record was gone before the write was rolled back.
void ESqlTable::NoteMissedWrite(std::int64_t rows, EPosition where, bool isGoneWithin) {
    State& s = *state_;
    if (rows > 1) {
        s.NoteError(DataOther, "the write would have hit several rows instead of one");
        return;
    }
    State::Find found = State::Find::Found;
    if (rows == 0 && where != kNoPosition) {
        found = s.LookUp(where);
    }
    if (found == State::Find::Gone) {
        s.NoteError(DataGone, "the record is there no more");
    } else if (found == State::Find::Found) {
        s.NoteError(DataConstraint,
                    isGoneWithin ? "a trigger of the table deletes the record before this write"
                                 : "a trigger of the table skips this write (RAISE(IGNORE))");
    }
}

EPosition ESqlTable::FailWrite(std::int32_t newStatus) {
    if (state_->error.status == DataOk) {
        state_->error.status = newStatus;
    }
    CountWrite(/*isSuccess=*/false);
    return Fail(newStatus);
}

EPosition ESqlTable::EndWrite(EPosition from, EPosition written) {
    State& s = *state_;
    CountWrite(/*isSuccess=*/true);
    if (s.walk == State::Walk::Listed && written != from) {
        s.list.Occupy(written);
    }
    if (s.isReadBack) {
        s.layout.CopyRecord(s.record.Get(), s.loaded.Get());
    }
    s.loadedFrom = s.isReadBack ? State::Loaded::InRecord : State::Loaded::No;
    return Arrive(written);
}

void ESqlTable::CountWrite(bool isSuccess) {
    ESqlSessionRecord& session = state_->session;
    ++session.attempts;
    ++(isSuccess ? session.successes : session.failures);
    if (!isSuccess && session.first.status == DataOk) {
        session.first = state_->error;
    }
}

// ---------------------------------------------------------------------------------------- sessions

void ESqlTable::BeginDelete() {
    if (++state_->holders == 1) {
        state_->session = ESqlSessionRecord{};
        if (!state_->atomic) {
            state_->connection->ResetWait();
        }
        state_->LeaveStreaming();
    }
}

void ESqlTable::EndDelete() {
    State& s = *state_;
    if (s.holders > 0) {
        --s.holders;
    }
    s.isEnded = s.isEnded && (s.holders > 0 || s.atomic);
}

std::int32_t ESqlTable::BeginAtomic() {
    State& s = *state_;
    s.ClearError();
    if (!s.writable) {
        s.NoteError(DataReadOnly, "it can't be written");
        return status = DataReadOnly;
    }
    if (s.atomic) {
        s.NoteError(DataOther, "an atomic session is open already");
        return status = DataOther;
    }
    s.LeaveStreaming();
    s.connection->ResetWait();
    s.source->walks.fetch_add(1);  // links must be read again, in the session's state
    if (s.connection->Begin()) {
        s.atomic = true;
        s.isEnded = false;
    } else {
        s.NoteEngineError();
    }
    return status = s.error.status;
}

ESqlOutcome ESqlTable::Commit() {
    State& s = *state_;
    s.ClearError();
    if (!s.atomic) {
        s.NoteError(DataOther, "no atomic session is open");
        status = DataOther;
        return ESqlOutcome::RolledBack;
    }
    s.EndStreaming();
    UnwatchKeys();
    return EndAtomic(s.IsRefused() ? ESqlOutcome::RolledBack : s.connection->Commit(s.error));
}

ESqlOutcome ESqlTable::Rollback() {
    State& s = *state_;
    s.ClearError();
    if (s.atomic) {
        s.EndStreaming();
        s.connection->Rollback();
    }
    return EndAtomic(ESqlOutcome::RolledBack);
}

ESqlOutcome ESqlTable::EndAtomic(ESqlOutcome outcome) {
    State& s = *state_;
    if (s.atomic) {
        s.atomic = false;
        s.isWatching = false;
        // A caller that missed the end of the session would write the rest record by record.
        s.isEnded = s.holders > 0;
    }
    s.loadedFrom = State::Loaded::No;  // an update must read the stored record first
    s.version->fetch_add(1);           // other tables saw the old rows until this moment
    s.source->walks.fetch_add(1);      // and the old rows that triggers changed
    status = s.error.status;
    return outcome;
}

}  // namespace etabulon
