#include "ESqlTableState.h"

#include <limits>
#include <set>
#include <utility>

namespace etabulon {

namespace {

constexpr std::size_t kMostStatements = 64;
constexpr std::string_view kCancelled = "the walk was cancelled";

}  // namespace

ESqlTable::State::State(ESqlSource& ofSource, const ESqlTableInfo& ofInfo, DRubric& ofRubric,
                        std::vector<unsigned> ofColumns,
                        std::shared_ptr<ISqlConnection> ofConnection)
    : source(ofSource),
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
      registry(ofSource.Keys(ofInfo)),
      version(SqlTableVersion(connection->Identity() + '\n' + ofInfo.name.c_str())) {
    row.cells = MakeSqlCells(info, columns, layout, data);
    row.record = static_cast<std::byte*>(record.Get());
    selectRow = SqlSelect(info, columns, row);
    loadedRow = row;
    loadedRow.record = static_cast<std::byte*>(loaded.Get());
    for (ESqlCell& cell : loadedRow.cells) {
        cell.mismatches = &readAgain;  // the cells of `row` count the mismatches
    }
    selectKey = SqlSelect(info, {}, keyRow);
    storedRow.record = static_cast<std::byte*>(stored.Get());
    layout.ChangeBuffer(stored.Get(), /*takeOwnership=*/false);
    isKeyApart =
        info.keyKind != ESqlKeyKind::None && row.integerKeyColumn < 0 && row.keyColumns.empty();
    selectByKey = {selectRow + SqlWhereKey(info, ESqlKeyWay::Key, 1),
                   selectRow + SqlWhereKey(info, ESqlKeyWay::RowId, 1)};

    if (columns.size() == info.columns.size()) {
        bool isWhole = true;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            isWhole = isWhole && columns[i] == i;
        }
        if (isWhole) {
            return;
        }
    }
    MakeLinkRecord();
}

void ESqlTable::State::MakeLinkRecord() {
    std::set<unsigned> linked;
    for (const DLink& link : rubric.Links()) {
        linked.insert(link.variables.begin(), link.variables.end());
    }
    for (std::size_t i = 0; i < rubric.Dico()->Size(); ++i) {
        for (const DLink& link : rubric.Dico()->At(i)->Links()) {
            if (link.target == &rubric) {
                linked.insert(link.TargetVariables().begin(), link.TargetVariables().end());
            }
        }
    }
    const EFieldSet whole = rubric.MakeFields();
    linkRecord.resize(whole.RecordSize());
    whole.ConstructRecord(linkRecord.data());
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (linked.count(columns[i]) != 0) {
            const ESqlCell& cell = row.cells[i];
            linkColumns.push_back({cell.offset,
                                   whole.OffsetOf(static_cast<std::uint16_t>(columns[i])),
                                   cell.size + (cell.IsSlot() ? std::size_t{0} : 1)});
        }
    }
}

ESqlTable::State::~State() = default;

void ESqlTable::State::MirrorLinkColumns() noexcept {
    const auto* from = static_cast<const std::byte*>(record.Get());
    for (const LinkColumn& column : linkColumns) {
        std::memcpy(linkRecord.data() + column.to, from + column.from, column.size);
    }
}

// -------------------------------------------------------------------------------------------- keys

bool ESqlTable::State::PositionOf(const ESqlRow& of, EPosition& position) {
    if (info.keyKind == ESqlKeyKind::Columns) {
        position = registry.PositionOf(of.key);
        return true;
    }
    if (info.keyKind == ESqlKeyKind::None) {
        position = ++lastNumber;
        return true;
    }
    if (of.integerKey >= 0) {
        position = of.integerKey;
        return true;
    }
    if (of.integerKey == std::numeric_limits<std::int64_t>::min()) {
        NoteError(DataOther, "a record with the lowest of all 64-bit keys has no position");
        return false;
    }
    position = of.integerKey - 1;
    return true;
}

void ESqlTable::State::KeyAt(EPosition position, EFieldKey& key) const {
    if (position == kNoPosition || info.keyKind == ESqlKeyKind::None) {
        return key.Free();
    }
    if (info.keyKind != ESqlKeyKind::Columns) {
        key.Resize(1);
        key.At(0) = EVariant::FromInt64(position >= 0 ? position : position + 1);
        return;
    }
    std::string_view raw = registry.KeyOf(position);
    key.Resize(static_cast<std::uint16_t>(info.key.size()));
    for (std::uint16_t i = 0; i < key.Size(); ++i) {
        SetSqlSegment(key.At(i), info.columns[info.key[i]].type, TakeKeyValue(raw));
    }
}

ESqlTable::State::Address ESqlTable::State::AddressOf(EPosition position) const {
    Address address;
    if (info.keyKind == ESqlKeyKind::Columns) {
        address.key = registry.KeyOf(position);
        address.way = SqlKeyWay(info, address.key);
    } else if (info.keyKind != ESqlKeyKind::None) {
        address.number = position >= 0 ? position : position + 1;
        address.way = ESqlKeyWay::Key;
    }
    return address;
}

void ESqlTable::State::BindKey(ISqlStatement& statement, int first, const Address& address) {
    if (address.key.empty()) {
        ESqlValue value;
        value.kind = ESqlValue::Kind::Int;
        value.integer = address.number;
        statement.Bind(first, value);
        return;
    }
    for (std::string_view key = address.key; !key.empty();) {
        statement.Bind(first++, TakeKeyValue(key));
    }
}

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
    ISqlStatement* const statement = Prepared(text);
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

bool ESqlTable::State::IsCancelled() {
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

// ------------------------------------------------------------------------------------------- walks

bool ESqlTable::State::StartStatement(const std::string& select) {
    std::string rest = SqlWhere(info, conditions) + SqlOrder(info, order);
    if (isKeyApart && !info.rowIdName.empty() && info.keyKind == ESqlKeyKind::Columns) {
        rest += ',' + SqlRowId(info);  // both statements must order equal keys alike
    }
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
    BindConditions(*walkStatement);
    keyStatement.reset();
    if (isKeyApart && &select == &selectRow) {
        keyStatement = connection->Prepare(selectKey + rest);
        if (keyStatement == nullptr) {
            NoteEngineError();
            return false;
        }
        BindConditions(*keyStatement);
    }
    return true;
}

void ESqlTable::State::BindConditions(ISqlStatement& statement) const {
    int parameter = 0;
    for (const ESqlCondition& condition : conditions) {
        if (!condition.isMissing) {
            ESqlValue value = condition.value;
            value.bytes = condition.bytes.data();
            value.size = condition.bytes.size();
            statement.Bind(++parameter, value);
        }
    }
}

ESqlStep ESqlTable::State::StepStatement() {
    const ESqlStep step = walkStatement->StepWalk(row);
    if (step != ESqlStep::Row || keyStatement == nullptr) {
        return step;
    }
    return keyStatement->StepWalk(keyRow) == ESqlStep::Row ? ESqlStep::Row : ESqlStep::Failed;
}

void ESqlTable::State::EndStreaming() noexcept {
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

bool ESqlTable::State::ListKeys() {
    keys.clear();
    keyIndexes.clear();
    occupied.clear();
    if (info.keyKind == ESqlKeyKind::None) {
        NoteError(DataBadStatement, "without a key it can only be walked forward");
        return false;
    }
    if (IsCancelled() || !HoldState() || !StartStatement(selectKey)) {
        return false;
    }
    ESqlStep step = ESqlStep::Done;
    EPosition position = kNoPosition;
    while ((step = walkStatement->StepWalk(keyRow)) == ESqlStep::Row) {
        if (!PositionOf(keyRow, position)) {
            walkStatement->Reset();
            return false;
        }
        keys.push_back(position);
    }
    if (step == ESqlStep::Failed) {
        NoteWalkError();
    }
    walkStatement->Reset();
    listIsWhole = true;
    return step == ESqlStep::Done;
}

void ESqlTable::State::LeaveStreaming() {
    if (walk != Walk::Streaming || info.keyKind == ESqlKeyKind::None) {
        return;
    }
    TakeLoaded();
    if (IsCancelled()) {
        // No caller asks for the rest of the walk.
        BreakWalk();
        ClearError();
        return;
    }
    keys.assign(1, walkPosition);
    keyIndexes.clear();
    occupied.clear();
    listAt = 0;
    listIsWhole = false;
    ISqlStatement& statement = keyStatement != nullptr ? *keyStatement : *walkStatement;
    ESqlRow rest = RowOfKey();
    rest.cells.clear();
    ESqlStep step = ESqlStep::Done;
    EPosition position = kNoPosition;
    while ((step = statement.StepWalk(rest)) == ESqlStep::Row) {
        if (!PositionOf(rest, position)) {
            break;
        }
        keys.push_back(position);
    }
    if (step == ESqlStep::Done) {
        EndStreaming();
        walk = Walk::Listed;
        return;
    }
    if (step == ESqlStep::Failed) {
        NoteWalkError();
    }
    BreakWalk();
    ClearError();
}

ESqlTable::State::Find ESqlTable::State::ReadByKey(EPosition position) {
    // Decodes `row` last, so that a failed read changes as little of the record as possible.
    ESqlRow* const rows[] = {&loadedRow, &row};
    const std::span<ESqlRow* const> read = rows;
    const Find found = ReadInto(writable ? read : read.last(1), position);
    if (found == Find::Found) {
        loadedFrom = writable ? Loaded::InRecord : loadedFrom;
        MirrorLinkColumns();
    }
    return found;
}

ESqlTable::State::Find ESqlTable::State::ReadLoaded(EPosition position) {
    ESqlRow* const rows[] = {&loadedRow};
    return ReadInto(rows, position);
}

ESqlTable::State::Find ESqlTable::State::ReadInto(std::span<ESqlRow* const> rows,
                                                  EPosition position) {
    const Address address = AddressOf(position);
    if (address.way == ESqlKeyWay::None) {
        return Find::Gone;
    }
    ISqlStatement* const statement =
        Prepared(selectByKey[address.way == ESqlKeyWay::RowId ? 1 : 0]);
    if (statement == nullptr) {
        return Find::Failed;
    }
    const SqlRun run(*statement);
    BindKey(*statement, 1, address);
    ESqlStep step = statement->Step();
    if (step == ESqlStep::Done) {
        return Find::Gone;
    }
    if (writable) {
        loadedFrom = Loaded::No;
    }
    for (ESqlRow* const into : rows) {
        if (step == ESqlStep::Failed || !statement->ReadRow(*into)) {
            NoteEngineError();
            return Find::Failed;
        }
    }
    step = address.way == ESqlKeyWay::Unsure ? statement->Step() : ESqlStep::Done;
    if (step == ESqlStep::Failed) {
        NoteEngineError();
    } else if (step == ESqlStep::Row) {
        NoteError(DataOther,
                  "several records have the same key with a NULL in it, and columns hide the row "
                  "number that would tell them apart");
    }
    return step == ESqlStep::Done ? Find::Found : Find::Failed;
}

ESqlTable::State::Find ESqlTable::State::LookUp(EPosition position) {
    const Address address = AddressOf(position);
    if (address.way == ESqlKeyWay::None) {
        return Find::Gone;
    }
    ISqlStatement* const statement = Prepared(selectKey + SqlWhereKey(info, address.way, 1));
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
    return step == ESqlStep::Row ? Find::Found : Find::Gone;
}

bool ESqlTable::State::Locate(EPosition position) {
    if (keyIndexes.empty()) {
        keyIndexes.reserve(keys.size());
        for (std::size_t index = 0; index < keys.size(); ++index) {
            keyIndexes.emplace(keys[index], index);
        }
    }
    const auto found = keyIndexes.find(position);
    if (found == keyIndexes.end()) {
        return false;
    }
    listAt = static_cast<std::int64_t>(found->second);
    return true;
}

void ESqlTable::State::TakeLoaded() {
    if (loadedFrom == Loaded::InStatement) {
        const bool isRead = writable && walkStatement->ReadRow(loadedRow);
        loadedFrom = isRead ? Loaded::InRecord : Loaded::No;
    }
}

}  // namespace etabulon
