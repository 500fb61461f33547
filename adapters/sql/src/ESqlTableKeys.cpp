#include "ESqlTableState.h"

#include <limits>

namespace etabulon {

// The table by its keys: positions, the list of a walk's keys, and reads of one record.

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

ESqlAddress ESqlTable::State::AddressOf(EPosition position) const {
    ESqlAddress address;
    if (info.keyKind == ESqlKeyKind::Columns) {
        address.key = registry.KeyOf(position);
        address.way = SqlKeyWay(info, address.key);
    } else if (info.keyKind != ESqlKeyKind::None) {
        address.number = position >= 0 ? position : position + 1;
        address.way = ESqlKeyWay::Key;
    }
    return address;
}

bool ESqlTable::State::AppendKey(const ESqlRow& of) {
    EPosition position = kNoPosition;
    if (!PositionOf(of, position)) {
        return false;
    }
    // A damaged page may hold its records out of order, of which a write by key finds none.
    if (order.empty() && info.keyKind != ESqlKeyKind::Columns && !list.IsAboveLast(position)) {
        NoteError(DataOther, "the database is corrupt: its keys are out of order");
        return false;
    }
    list.Append(position);
    return true;
}

bool ESqlTable::State::ListKeys() {
    list.Clear();
    if (info.keyKind == ESqlKeyKind::None) {
        NoteError(DataBadStatement, "without a key it can only be walked forward");
        return false;
    }
    if (MustStop() || !HoldState() || !StartStatement(selectKey)) {
        return false;
    }
    ESqlStep step = ESqlStep::Done;
    while ((step = walkStatement->StepWalk(keyRow)) == ESqlStep::Row && AppendKey(keyRow)) {
    }
    if (step == ESqlStep::Failed) {
        NoteWalkError();
    }
    walkStatement->Reset();
    list.SetWhole(true);
    NoteListedState();
    return step == ESqlStep::Done && AreKeysOnce();
}

/// Keys of a damaged database may come twice: the records of one page in place of another's.
bool ESqlTable::State::AreKeysOnce() {
    const EPosition twice = list.FindTwice();
    if (twice == kNoPosition || AddressOf(twice).way == ESqlKeyWay::Unsure) {
        return true;  // a read by an unsure key fails by itself
    }
    NoteError(DataOther, "the database is corrupt: its walk meets a key twice");
    return false;
}

void ESqlTable::State::NoteListedState() {
    changesAtList = isHolding || atomic ? connection->TotalChanges() : -1;
}

bool ESqlTable::State::IsListedStateSeen() const {
    return (isHolding || (atomic && connection->IsInTransaction())) &&
           connection->TotalChanges() == changesAtList;
}

ESqlTable::State::Find ESqlTable::State::ReadByKey(EPosition position) {
    return ReadRecord(row, position);
}

ESqlTable::State::Find ESqlTable::State::ReadBlank() {
    ESqlRow again = row;
    for (ESqlCell& cell : again.cells) {
        cell.misreads = &readAgain;
    }
    return ReadRecord(again, walkPosition);
}

ESqlTable::State::Find ESqlTable::State::ReadRecord(ESqlRow& into, EPosition position) {
    // Decodes `into` last, so that a failed read changes as little of the record as possible.
    ESqlRow* const rows[] = {&loadedRow, &into};
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
    const ESqlAddress address = AddressOf(position);
    if (address.way == ESqlKeyWay::None) {
        return Find::Gone;
    }
    ISqlStatement* const statement =
        Prepared(selectByKey[address.way == ESqlKeyWay::RowId ? 1 : 0]);
    if (statement == nullptr) {
        return Find::Failed;
    }
    const SqlRun run(*statement);
    address.Bind(*statement, 1);
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
    const ESqlAddress address = AddressOf(position);
    if (address.way == ESqlKeyWay::None) {
        return Find::Gone;
    }
    return FindRow(selectKey + SqlWhereKey(info, address.way, 1), &address);
}

}  // namespace etabulon
