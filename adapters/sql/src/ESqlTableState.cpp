#include "ESqlTableState.h"

#include "ESqlReadAhead.h"

#include <utility>

namespace etabulon {

namespace {

constexpr std::size_t kMostStatements = 64;
constexpr std::string_view kCancelled = "the walk was cancelled";

}  // namespace

ESqlTable::State::State(ESqlSource& ofSource, const ESqlTableInfo& ofInfo, DRubric& ofRubric,
                        std::vector<unsigned int> ofColumns,
                        std::shared_ptr<ISqlConnection> ofConnection)
    : source(ofSource.Core()),
      info(ofInfo),
      rubric(ofRubric),
      columns(std::move(ofColumns)),
      connection(std::move(ofConnection)),
      writable(ofSource.Mode() == ESqlOpenMode::ReadWrite && ofInfo.keyKind != ESqlKeyKind::None),
      layout(ofRubric.MakeFields(columns)),
      record(layout),
      loaded(layout),
      data(columns.size()),
      stored(layout),
      registry(*source->keys[static_cast<std::size_t>(&ofInfo - source->tables.data())]),
      version(SqlTableVersion(connection->Identity() + '\n' + ofInfo.name.c_str())) {
    row.cells = MakeSqlCells(info, columns, layout, data);
    row.record = static_cast<std::byte*>(record.Get());
    selectRow = SqlSelect(info, columns, row);
    loadedRow = row;
    loadedRow.record = static_cast<std::byte*>(loaded.Get());
    for (ESqlCell& cell : loadedRow.cells) {
        cell.misreads = &readAgain;  // the cells of `row` count the misreads
    }
    selectKey = SqlSelect(info, {}, keyRow);
    storedRow.record = static_cast<std::byte*>(stored.Get());
    layout.ChangeBuffer(stored.Get(), /*takeOwnership=*/false);
    isKeyApart =
        info.keyKind != ESqlKeyKind::None && row.integerKeyColumn < 0 && row.keyColumns.empty();
    selectByKey = {selectRow + SqlWhereKey(info, ESqlKeyWay::Key, 1),
                   selectRow + SqlWhereKey(info, ESqlKeyWay::RowId, 1)};

    bool isWhole = columns.size() == info.columns.size();
    for (std::size_t i = 0; isWhole && i < columns.size(); ++i) {
        isWhole = columns[i] == i;
    }
    if (!isWhole) {
        linkRecord.Make(rubric, columns, row.cells);
    }
}

ESqlTable::State::~State() = default;

std::string ESqlTable::State::LockName(EPosition position) const {
    std::string name = connection->Identity() + '\n' + info.name.c_str() + '\n';
    if (info.keyKind == ESqlKeyKind::Columns) {
        name += registry.KeyOf(position);
    } else {
        name += std::to_string(position);
    }
    return name;
}

// -------------------------------------------------------------------------------------- statements

ISqlStatement* ESqlTable::State::Prepared(const std::string& text) {
    if (!source->isOpen.load(std::memory_order_relaxed)) {
        error = source->ClosedError();
        return nullptr;
    }
    return CachedStatement(text);
}

ISqlStatement* ESqlTable::State::CachedStatement(const std::string& text) {
    if (const auto known = statements.find(text); known != statements.end()) {
        return known->second.get();
    }
    auto statement = connection->Prepare(text);
    if (statement == nullptr) {
        NoteEngineError();
        return nullptr;
    }
    if (statements.size() >= kMostStatements) {
        statements.clear();
    }
    return (statements[text] = std::move(statement)).get();
}

bool ESqlTable::State::RunPrepared(const char* text) {
    ISqlStatement* const statement = CachedStatement(text);
    if (statement == nullptr) {
        return false;
    }
    const bool isDone = statement->Step() == ESqlStep::Done;
    if (!isDone) {
        NoteEngineError();
    }
    statement->Reset();
    return isDone;
}

void ESqlTable::State::NoteEngineError() {
    error = connection->LastError();
    CheckAtomic();
}

void ESqlTable::State::CheckAtomic() {
    if (atomic && !isEnded && !connection->IsInTransaction()) {
        isEnded = true;
        endedBy = error;
    }
}

bool ESqlTable::State::IsRefused() {
    CheckAtomic();
    if (!isEnded) {
        return false;
    }
    if (!atomic) {
        NoteError(DataOther,
                  "the atomic session has ended, the rest of the write session isn't written");
        return true;
    }
    const ESqlError cause = endedBy;
    NoteError(DataOther, "the engine has taken the atomic session back after a failure");
    if (!cause.text.IsEmpty()) {
        error.engineCode = cause.engineCode;
        error.text.Append(": ");
        error.text += cause.text;
    }
    return true;
}

void ESqlTable::State::NoteWalkError() {
    NoteEngineError();
    NoteCancel();
}

void ESqlTable::State::NoteCancel() {
    if (error.status == DataLocked && interrupted.load()) {
        NoteError(kDataInterrupted, kCancelled);
    }
}

bool ESqlTable::State::MustStop() {
    if (!source->isOpen.load(std::memory_order_relaxed)) {
        error = source->ClosedError();
        return true;
    }
    if (!interrupted.load(std::memory_order_relaxed)) {
        return false;
    }
    NoteError(kDataInterrupted, kCancelled);
    return true;
}

void ESqlTable::State::NoteError(std::int32_t status, std::string_view what) {
    error.status = status;
    error.engineCode = 0;
    error.text = info.name;
    error.text.Append(": ");
    error.text.Append(what);
}

/// Without a text, which needs memory.
void ESqlTable::State::NoteMemory() noexcept {
    error.status = DataOther;
    error.engineCode = 0;
    error.text = Chaine();
}

// ------------------------------------------------------------------------------------------- walks

std::string ESqlTable::State::WalkRest() const {
    std::string rest = SqlWhere(conditions) + SqlOrder(info, order);
    if (isKeyApart && !info.rowIdName.empty() && info.keyKind == ESqlKeyKind::Columns) {
        rest += ',' + SqlRowId(info);  // both statements must order equal keys alike
    }
    return rest;
}

bool ESqlTable::State::StartStatement(const std::string& select) {
    const std::string rest = WalkRest();
    std::string text = select + rest;
    if (walkStatement == nullptr || text != walkText) {
        walkStatement.reset();
        walkText = std::move(text);
        walkStatement = connection->Prepare(walkText);
        if (walkStatement == nullptr) {
            NoteEngineError();
            return false;
        }
    }
    walkStatement->Reset();  // an exception may have left it on a row
    BindSqlConditions(conditions, *walkStatement);
    keyStatement.reset();
    if (isKeyApart && &select == &selectRow) {
        keyStatement = connection->Prepare(selectKey + rest);
        if (keyStatement == nullptr) {
            NoteEngineError();
            return false;
        }
        BindSqlConditions(conditions, *keyStatement);
    }
    return true;
}

ESqlStep ESqlTable::State::StepStatement() {
    const ESqlStep step = walkStatement->StepWalk(row);
    if (step != ESqlStep::Row || keyStatement == nullptr) {
        return step;
    }
    return keyStatement->StepWalk(keyRow) == ESqlStep::Row ? ESqlStep::Row : ESqlStep::Failed;
}

void ESqlTable::State::EndStreaming() noexcept {
    if (readAhead != nullptr) {
        readAhead->End();
    }
    if (walkStatement != nullptr) {
        walkStatement->Reset();
    }
    keyStatement.reset();
    if (loadedFrom == Loaded::InStatement) {
        loadedFrom = Loaded::No;
    }
}

void ESqlTable::State::BreakWalk() {
    EndStreaming();
    LetStateGo();
    walk = Walk::Broken;
    walkFailure = error;
}

bool ESqlTable::State::HoldState() {
    if (writable || isHolding || info.keyKind == ESqlKeyKind::None) {
        return true;
    }
    if (holder == nullptr) {
        // The subquery returns one row even from an empty table.
        holder = connection->Prepare("SELECT (SELECT 1 FROM " +
                                     std::string(info.qualifiedName.View()) + " LIMIT 1)");
    }
    ESqlRow none;
    isHolding = holder != nullptr && holder->StepWalk(none) == ESqlStep::Row;
    if (!isHolding) {
        NoteWalkError();
        LetStateGo();
    }
    return isHolding;
}

bool ESqlTable::State::LetStateGo() noexcept {
    if (holder != nullptr) {
        holder->Reset();
    }
    return std::exchange(isHolding, false);
}

/// A walk that moved elsewhere needs no record: its next step lists the keys.
void ESqlTable::State::ComeBack() {
    if (walk != Walk::Ahead) {
        return;
    }
    walk = Walk::Streaming;
    if (!moved) {
        ESqlRow into = row;
        into.cells.resize(isBlank ? into.cells.size() : 0);
        for (ESqlCell& cell : into.cells) {
            cell.misreads = &readAgain;
        }
        if (!BeginFrom(into)) {
            NoteWalkError();
            return BreakWalk();
        }
        loadedFrom = isBlank ? Loaded::InStatement : loadedFrom;
        isBlank = false;
        MirrorLinkColumns();
    }
    readAhead->End();
}

/// Replaces the walk's statement by one that begins at the record where the walk stands.
bool ESqlTable::State::BeginFrom(ESqlRow& into) {
    auto from =
        connection->Prepare(selectRow + Ranges::Where(*this, {" >= ?"}) + SqlOrder(info, {}));
    if (from == nullptr) {
        return false;
    }
    BindSqlConditions(conditions, *from);
    AddressOf(walkPosition).Bind(*from, CountSqlParameters(conditions) + 1);
    // It begins while the walk's statement holds the state.
    if (from->StepWalk(into) != ESqlStep::Row) {
        return false;
    }
    walkText.clear();
    walkStatement = std::move(from);
    return true;
}

void ESqlTable::State::LeaveStreaming() {
    ComeBack();
    if (walk != Walk::Streaming || info.keyKind == ESqlKeyKind::None) {
        return;
    }
    TakeLoaded();
    if (MustStop()) {
        // No caller asks for the rest of the walk.
        BreakWalk();
        ClearError();
        return;
    }
    list.Clear();
    list.Append(walkPosition);  // where the walk stands
    ISqlStatement& statement = keyStatement != nullptr ? *keyStatement : *walkStatement;
    ESqlRow rest = RowOfKey();
    rest.cells.clear();
    ESqlStep step = ESqlStep::Done;
    while ((step = statement.StepWalk(rest)) == ESqlStep::Row && AppendKey(rest)) {
    }
    if (step == ESqlStep::Done && AreKeysOnce()) {
        EndStreaming();
        walk = Walk::Listed;
        NoteListedState();
        return;
    }
    if (step == ESqlStep::Failed) {
        NoteWalkError();
    }
    BreakWalk();
    ClearError();
}

void ESqlTable::State::TakeLoaded() {
    if (loadedFrom == Loaded::InStatement) {
        const bool isRead = writable && walkStatement->ReadRow(loadedRow);
        loadedFrom = isRead ? Loaded::InRecord : Loaded::No;
    }
}

}  // namespace etabulon
