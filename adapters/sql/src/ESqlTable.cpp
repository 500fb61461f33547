#include "etabulon/sql/ESqlTable.h"

#include "ESqlBlocks.h"
#include "ESqlReadAhead.h"
#include "ESqlTableState.h"
#include "etabulon/values/ETabulonValue.h"

#include <utility>

namespace etabulon {

ESqlTable::ESqlTable(ESqlSource& source, const ESqlTableInfo& info, DRubric& rubric,
                     std::vector<unsigned int> columns, std::unique_ptr<ISqlConnection> connection)
    : EDataTable(rubric.MakeFields(columns)),
      state_(std::make_unique<State>(source, info, rubric, std::move(columns),
                                     std::move(connection))) {
    dico = &rubric;
    AttachBuffer(state_->record.Get(), static_cast<int>(state_->layout.RecordSize()));
    if (std::byte* const record = state_->linkRecord.Get(); record != nullptr) {
        buffer_ = record;  // links read this record
    }
}

ESqlTable::~ESqlTable() { DropSqlLocks(this); }

// -------------------------------------------------------------------------------------------- walk

EPosition ESqlTable::GetFirst() {
    State& s = *state_;
    EndWalk();
    s.source->walks.fetch_add(1, std::memory_order_relaxed);
    s.moved = false;
    // A table without a key is never written here, and couldn't be read by a list of keys.
    if (s.info.keyKind != ESqlKeyKind::None && (s.holders > 0 || s.atomic)) {
        if (!s.ListKeys()) {
            s.BreakWalk();
            return Leave(s.error.status);
        }
        s.walk = State::Walk::Listed;
        s.list.GoBefore();
        return StepListed(/*forward=*/true);
    }
    s.data.misreadsBefore = s.data.misreads;
    if (!s.StartStatement(s.selectRow)) {
        s.BreakWalk();
        return Leave(s.error.status);
    }
    s.walk = State::Walk::Streaming;
    if (!std::exchange(s.expectsBlocks, false)) {
        return StepStreaming();
    }
    static_cast<void>(s.walkStatement->TakeEffort());
    const EPosition first = StepStreaming();
    return first != kNoPosition ? s.readAhead->Prepare(first) : first;
}

/// The first step again.
EPosition ESqlTable::StreamAgain() {
    State& s = *state_;
    s.walkStatement->Reset();
    s.data.misreads = s.data.misreadsBefore;
    return StepStreaming();
}

EPosition ESqlTable::GetLast() {
    State& s = *state_;
    EndWalk();
    s.moved = false;
    if (!s.ListKeys()) {
        s.BreakWalk();
        return Leave(s.error.status);
    }
    s.walk = State::Walk::Listed;
    s.list.GoAfterLast();
    return StepListed(/*forward=*/false);
}

EPosition ESqlTable::GetNext() {
    State& s = *state_;
    if (s.walk == State::Walk::Streaming && !s.moved) {
        return StepStreaming();
    }
    return StepElsewhere(/*forward=*/true);
}

EPosition ESqlTable::GetPrevious() {
    State& s = *state_;
    if (s.walk == State::Walk::Streaming && !s.moved) {
        s.moved = true;  // StepElsewhere makes the list and finds the record in it
    }
    return StepElsewhere(/*forward=*/false);
}

EPosition ESqlTable::StepStreaming() {
    State& s = *state_;
    if (s.MustStop()) {
        s.BreakWalk();
        return Leave(s.error.status);
    }
    switch (s.StepStatement()) {
        case ESqlStep::Row:
            if (!s.PositionOf(s.RowOfKey(), s.walkPosition)) {
                s.BreakWalk();
                return Leave(s.error.status);
            }
            s.loadedFrom = State::Loaded::InStatement;
            return Arrive(s.walkPosition);
        case ESqlStep::Done:
            s.EndStreaming();
            s.walk = State::Walk::Ended;
            return Leave(DataEnd);
        default:
            s.NoteWalkError();
            s.BreakWalk();
            return Leave(s.error.status);
    }
}

/// A step that isn't the next one of a streaming statement.
EPosition ESqlTable::StepElsewhere(bool forward) {
    State& s = *state_;
    if (s.walk == State::Walk::Ahead) {
        s.ComeBack();
        return forward ? GetNext() : GetPrevious();
    }
    if (s.walk == State::Walk::Broken) {
        s.error = s.walkFailure;
        return Leave(s.error.status);
    }
    const bool isListed = s.walk == State::Walk::Listed;
    if (isListed && !s.moved && (s.list.IsWhole() || (forward && !s.list.IsBefore()))) {
        return StepListed(forward);
    }
    if (s.walk == State::Walk::Ended && !s.moved && forward) {
        return Leave(DataEnd);
    }
    const EPosition from = s.moved ? position : s.walkPosition;
    if (from == kNoPosition || (s.walk == State::Walk::None && !s.moved)) {
        return Leave(DataNoCurrent);
    }
    const bool fromStart = isListed && s.list.IsBefore() && !s.moved;
    const bool fromEnd =
        (isListed ? s.list.IsAfterLast() : s.walk == State::Walk::Ended) && !s.moved;
    if (!(isListed && s.list.IsWhole()) && !ListRange()) {
        s.BreakWalk();
        return Leave(s.error.status);
    }
    s.moved = false;
    if (fromStart) {
        s.list.GoBefore();
    } else if (fromEnd) {
        s.list.GoAfterLast();
    } else if (!s.list.GoTo(from)) {
        s.walk = State::Walk::None;
        s.LetStateGo();
        return Leave(DataNoCurrent);  // outside the range, or deleted since
    }
    return StepListed(forward);
}

/// Ends the steps so far, and lists the range in the state that they read; false with the table's
/// error.
bool ESqlTable::ListRange() {
    State& s = *state_;
    const bool isHeld = s.HoldState();  // before EndSteps releases the state
    EndSteps();
    if (!isHeld || !s.ListKeys()) {
        return false;
    }
    s.walk = State::Walk::Listed;
    return true;
}

/// Reads by key, and skips rows that were deleted since.
EPosition ESqlTable::StepListed(bool forward) {
    State& s = *state_;
    for (;;) {
        if (!s.list.Step(forward)) {
            // A walk beyond the end reads another state, and needs a new list.
            if (s.LetStateGo() && !s.list.IsEmpty()) {
                s.list.SetWhole(false);
            }
            return Leave(DataEnd);
        }
        if (s.MustStop()) {
            s.BreakWalk();
            return Leave(s.error.status);
        }
        s.walkPosition = s.list.Current();
        if (s.list.IsOccupied(s.walkPosition)) {
            continue;
        }
        switch (s.ReadByKey(s.walkPosition)) {
            case State::Find::Found:
                return Arrive(s.walkPosition);
            case State::Find::Failed:
                s.BreakWalk();
                return Leave(s.error.status);
            case State::Find::Gone:
                if (s.IsListedStateSeen()) {
                    s.NoteError(DataOther,
                                "the database is corrupt: its walk meets a record that isn't found "
                                "by its key");
                    s.BreakWalk();
                    return Leave(s.error.status);
                }
                break;
        }
    }
}

EPosition ESqlTable::RePos(EPosition newPosition, bool /*flag*/) {
    State& s = *state_;
    if (newPosition == kNoPosition) {
        newPosition = position;
    }
    if (newPosition == kNoPosition) {
        return Leave(DataNoCurrent);
    }
    if (s.loadedFrom == State::Loaded::InStatement) {
        s.loadedFrom = State::Loaded::No;
    }
    State::Find found = s.ReadByKey(newPosition);
    if (found == State::Find::Found && s.isWatching) {
        found = s.FindOwner(newPosition);
    }
    switch (found) {
        case State::Find::Found:
            s.moved = newPosition != s.walkPosition || s.walk == State::Walk::None ||
                      s.walk == State::Walk::Ended;
            return Arrive(newPosition);
        case State::Find::Failed:
            s.moved = true;
            return Leave(s.error.status);
        default: {
            s.moved = true;
            const bool isKnown =
                s.info.keyKind != ESqlKeyKind::Columns || !s.registry.KeyOf(newPosition).empty();
            return Leave(isKnown ? DataGone : DataNoSuchPosition);
        }
    }
}

bool ESqlTable::LoadBuffer() { return RePos(kNoPosition, /*flag=*/false) != kNoPosition; }

EPosition ESqlTable::Arrive(EPosition newPosition) {
    State& s = *state_;
    s.ClearError();
    s.ForgetSets();
    s.keyStale = true;
    s.isBlank = false;
    s.MirrorLinkColumns();
    position = newPosition;
    status = DataOk;
    return newPosition;
}

void ESqlTable::FailWalk(const ESqlError& error) {
    State& s = *state_;
    s.error = error;
    s.CheckAtomic();
    s.NoteCancel();
    s.BreakWalk();
    Leave(s.error.status);
}

/// Leaves no current record and a blank buffer.
EPosition ESqlTable::Leave(std::int32_t newStatus) {
    State& s = *state_;
    position = kNoPosition;
    s.loadedFrom = State::Loaded::No;
    s.keyStale = true;
    s.isBlank = false;
    s.record.Clear();
    s.ForgetSets();
    s.MirrorLinkColumns();
    if (newStatus != s.error.status) {
        s.ClearError();
    }
    return Fail(newStatus);
}

const EFieldKey& ESqlTable::CurKey() {
    State& s = *state_;
    if (!s.keyStale) {
        return key_;
    }
    s.keyStale = false;
    s.KeyAt(position, key_);
    return key_;
}

// ------------------------------------------------------------------------------------------- range

void ESqlTable::ClearRange() { state_->conditions.clear(); }

bool ESqlTable::AddRange(unsigned int column, const ETabulonValue& value) {
    if (column >= state_->info.columns.size()) {
        return false;
    }
    ESqlCondition condition;
    if (!MakeSqlCondition(state_->info, column, value, condition)) {
        return false;
    }
    state_->conditions.push_back(std::move(condition));
    return true;
}

bool ESqlTable::AddTest(unsigned int column, const EFilter::Node& test) {
    // A walk without an order has that of the engine's plan, which a condition may change.
    const bool isOrdered = state_->info.keyKind != ESqlKeyKind::None;
    // Engines limit the depth of an expression, and the parameters.
    constexpr std::size_t kMostConditions = 50;
    ESqlCondition condition;
    if (!isOrdered || state_->conditions.size() >= kMostConditions ||
        column >= state_->info.columns.size() ||
        !MakeSqlTest(state_->info, column, test, condition)) {
        return false;
    }
    condition.isTest = true;
    state_->conditions.push_back(std::move(condition));
    return true;
}

void ESqlTable::ClearTests() {
    std::erase_if(state_->conditions, [](const ESqlCondition& each) { return each.isTest; });
}

void ESqlTable::SetOrder(std::vector<unsigned int> columns) {
    std::erase_if(columns,
                  [this](unsigned int column) { return column >= state_->info.columns.size(); });
    state_->order = std::move(columns);
}

void ESqlTable::EndWalk() {
    EndSteps();
    state_->LetStateGo();
}

void ESqlTable::EndSteps() {
    State& s = *state_;
    if (s.walk == State::Walk::Streaming) {
        s.TakeLoaded();
        s.EndStreaming();
    } else if (s.walk == State::Walk::Ahead) {
        if (s.isBlank && s.ReadBlank() != State::Find::Found) {
            Leave(DataNoCurrent);
        }
        s.isBlank = false;
        s.EndStreaming();
    }
    s.walk = State::Walk::None;
}

Chaine ESqlTable::WalkStatement() const { return Chaine(std::string_view(state_->walkText)); }

std::vector<Chaine> ESqlTable::PlanWalk() const {
    constexpr int kDetail = 3;
    const std::string text = state_->selectRow + state_->WalkRest();
    std::vector<Chaine> lines = {Chaine(std::string_view(text))};
    const auto plan = state_->connection->Prepare("EXPLAIN QUERY PLAN " + text);
    ESqlRow none;
    while (plan != nullptr && plan->StepWalk(none) == ESqlStep::Row) {
        if (const ESqlValue detail = plan->Column(kDetail); detail.bytes != nullptr) {
            lines.emplace_back(std::string_view(detail.bytes, detail.size));
        }
    }
    return lines;
}

void ESqlTable::Interrupt() noexcept {
    state_->interrupted.store(true);
    state_->connection->Interrupt();
    WakeSqlLockWaiters();
}

void ESqlTable::ResetInterrupt() noexcept {
    state_->interrupted.store(false);
    state_->connection->ResetInterrupt();
}

// ------------------------------------------------------------------------------------------- locks

std::int32_t ESqlTable::TakeLock(EPosition where, bool wait, bool isRecordLock) {
    State& s = *state_;
    where = where == kNoPosition ? position : where;
    s.ClearError();
    if (where == kNoPosition) {
        return status = DataNoCurrent;
    }
    if (s.info.keyKind == ESqlKeyKind::Columns && s.registry.KeyOf(where).empty()) {
        return status = DataNoSuchPosition;
    }
    status =
        TakeSqlLock(s.LockName(where), this,
                    isRecordLock ? ESqlLockWay::Record : ESqlLockWay::Table, wait, s.interrupted);
    if (status == DataLocked) {
        s.NoteError(DataLocked, "the record is locked by another user of this program");
    }
    return status;
}

std::int32_t ESqlTable::Lock(EPosition where, bool wait) {
    State& s = *state_;
    where = where == kNoPosition ? position : where;
    if (TakeLock(where, wait, /*isRecordLock=*/false) == DataOk && s.locked != where) {
        if (s.locked != kNoPosition) {
            DropSqlLock(s.LockName(s.locked), this, ESqlLockWay::Table);
        }
        s.locked = where;
    }
    return status;
}

void ESqlTable::Unlock() {
    State& s = *state_;
    if (s.locked != kNoPosition) {
        DropSqlLock(s.LockName(s.locked), this, ESqlLockWay::Table);
        s.locked = kNoPosition;
    }
    s.ClearError();
    status = DataOk;
}

std::int32_t ESqlTable::LockRecord(EPosition where, bool wait) {
    return TakeLock(where, wait, /*isRecordLock=*/true);
}

std::int32_t ESqlTable::UnlockRecord(EPosition where) {
    where = where == kNoPosition ? position : where;
    state_->ClearError();
    status = where == kNoPosition ? DataNoCurrent : DataOk;
    if (status == DataOk) {
        DropSqlLock(state_->LockName(where), this, ESqlLockWay::Record);
    }
    return status;
}

// --------------------------------------------------------------------------------------- accessors

Chaine ESqlTable::LastErrorText() const { return state_->error.text; }
int ESqlTable::LastErrorCode() const { return state_->error.engineCode; }

std::shared_ptr<ISqlConnection> ESqlTable::ConnectionTo(const ESqlSource& source) const noexcept {
    return source.Core() == state_->source ? state_->connection : nullptr;
}

const ESqlTableInfo& ESqlTable::Info() const noexcept { return state_->info; }
const DRubric& ESqlTable::Rubric() const noexcept { return state_->rubric; }
const std::vector<unsigned int>& ESqlTable::Columns() const noexcept { return state_->columns; }
bool ESqlTable::IsWritable() const noexcept { return state_->writable; }
bool ESqlTable::IsInAtomic() const noexcept { return state_->atomic; }
const ESqlSessionRecord& ESqlTable::Session() const noexcept { return state_->session; }

ESqlMisreads ESqlTable::Misreads(unsigned int column) const {
    for (std::size_t i = 0; i < state_->columns.size(); ++i) {
        if (state_->columns[i] == column) {
            return state_->data.misreads[i];
        }
    }
    return {};
}

}  // namespace etabulon
