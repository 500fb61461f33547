#include "ESqlBlocks.h"

#include "etabulon/foundation/EReadAhead.h"

#include <algorithm>
#include <limits>
#include <typeinfo>

namespace etabulon {

EBlockSource* ESqlTable::Blocks() {
    if (typeid(*this) != typeid(ESqlTable)) {
        return nullptr;
    }
    if (blocks_ == nullptr) {
        blocks_ = std::make_unique<BlockSource>(*this);
    }
    return blocks_.get();
}

void ESqlTable::BlockSource::ExpectWalk() {
    State& s = *table_.state_;
    s.expectsBlocks = EReadAhead::Threads() != 0;
    if (s.expectsBlocks && s.readAhead == nullptr) {
        s.readAhead = std::make_unique<ReadAhead>(table_);
    }
}

bool ESqlTable::BlockSource::BeginBlocks(const EBlockRequest& request) {
    State& s = *table_.state_;
    if (s.walk != State::Walk::Streaming || s.moved || s.keyStatement != nullptr) {
        return false;
    }
    fields_.clear();
    std::vector<EFieldDesc> descs;
    std::vector<ESqlCell> cells;
    std::vector<ESqlMisreads> misreads = s.data.misreadsBefore;
    for (const EBlockRequest::Column& column : request.columns) {
        const int field = FindField(table_.Fields(), *column.field);
        if (field < 0) {
            return false;
        }
        descs.push_back(column.field->Desc());
        fields_.push_back(static_cast<std::uint16_t>(field));
        cells.push_back(s.row.cells[static_cast<std::size_t>(field)]);
        misreads[static_cast<std::size_t>(field)] =
            s.data.misreads[static_cast<std::size_t>(field)];
    }
    // The first record, a single step, has counted the columns that the blocks leave out.
    std::copy(misreads.begin(), misreads.end(), s.data.misreads.begin());
    builder_.emplace(*this, request, descs);
    ahead_ = nullptr;
    if (s.readAhead != nullptr && s.readAhead->Start(*this, request, descs, cells, *builder_)) {
        s.walk = State::Walk::Ahead;
    }
    rows_.row = s.row;
    rows_.row.cells = std::move(cells);
    rows_.row.record = static_cast<std::byte*>(scratch_.Get());
    if (!request.keys && s.order.empty()) {
        // Keys rise. The lowest of all, which has no position, would have come as the first record.
        rows_.row.integerKeyColumn = -1;
    }
    rows_.SetColumns(*builder_);
    rows_.wantsKeys = request.keys && s.info.keyKind == ESqlKeyKind::Columns;
    rows_.keys.resize(rows_.wantsKeys ? ERecordBlock::kMostRecords : 0);
    rows_.integerKeys.resize(rows_.row.integerKeyColumn >= 0 ? ERecordBlock::kMostRecords : 0);
    current_ = s.row;
    for (ESqlCell& cell : current_.cells) {
        cell.misreads = &s.readAgain;  // the rows of the block count the misreads
    }
    return true;
}

void ESqlTable::BlockSource::EndBlocks() noexcept {
    State& s = *table_.state_;
    try {
        s.ComeBack();
    } catch (const std::bad_alloc&) {
        s.NoteMemory();
        s.BreakWalk();
    }
    if (s.walk == State::Walk::Broken && s.isBlank) {
        table_.Leave(s.error.status);
    }
    if (s.readAhead != nullptr) {
        s.readAhead->Free();
    }
    ahead_ = nullptr;
    builder_.reset();
    rows_.cells.clear();
}

const ERecordBlock* ESqlTable::BlockSource::NextBlock() {
    State& s = *table_.state_;
    if (s.walk == State::Walk::Ahead && !s.moved) {
        return TakeAhead();
    }
    ahead_ = nullptr;
    if (s.walk != State::Walk::Streaming || s.moved) {
        return StepSingly();
    }
    builder_->Begin();
    rows_.Begin();
    StepStreaming();
    const bool isOnRow = s.walk == State::Walk::Streaming;
    const std::size_t size = FindPositions();
    if (size == 0) {
        table_.Leave(s.walk == State::Walk::Ended ? DataEnd : s.error.status);
        return nullptr;
    }
    if (isOnRow && s.walk == State::Walk::Streaming) {
        StandOnLast(s.walkPosition);
    } else {
        s.ClearError();  // a failure follows the records before it
    }
    isSingle_ = false;
    return block_ = &builder_->Finish(size);
}

/// The next block that another thread has read.
const ERecordBlock* ESqlTable::BlockSource::TakeAhead() {
    State& s = *table_.state_;
    isSingle_ = false;
    ESqlError error;
    ReadAhead::Outcome outcome = ReadAhead::Outcome::Stopped;
    if (!s.MustStop()) {
        outcome = s.readAhead->Next(
            ahead_, [&s] { return s.MustStop(); }, error);
    }
    switch (outcome) {
        case ReadAhead::Outcome::Block:
            return FinishAhead();
        case ReadAhead::Outcome::End:
            s.EndStreaming();
            s.walk = State::Walk::Ended;
            table_.Leave(DataEnd);
            return nullptr;
        case ReadAhead::Outcome::Failed:
            s.error = error;
            s.CheckAtomic();
            s.NoteCancel();
            break;
        default:
            break;
    }
    s.BreakWalk();
    table_.Leave(s.error.status);
    return nullptr;
}

const ERecordBlock* ESqlTable::BlockSource::FinishAhead() {
    State& s = *table_.state_;
    const std::size_t size = ahead_->rows.Size();
    // No key is the lowest, which has no position: that would have been the first record's.
    const auto positionOf = [](std::int64_t key) { return key >= 0 ? key : key - 1; };
    if (EPosition* const positions = ahead_->builder->Positions(); positions != nullptr) {
        for (std::size_t row = 0; row < size; ++row) {
            positions[row] = positionOf(ahead_->rows.integerKeys[row]);
        }
    }
    for (std::size_t column = 0; column < fields_.size(); ++column) {
        *s.row.cells[fields_[column]].misreads += ahead_->misreads[column];
    }
    s.walkPosition = positionOf(ahead_->rows.integerKeys[size - 1]);
    s.loadedFrom = State::Loaded::No;
    s.record.Clear();
    table_.Arrive(s.walkPosition);
    s.isBlank = true;
    return block_ = &ahead_->builder->Finish(size);
}

/// Steps over the rows of a block. The walk is broken or ended if it can't go on after them.
void ESqlTable::BlockSource::StepStreaming() {
    State& s = *table_.state_;
    if (s.MustStop()) {
        return s.BreakWalk();
    }
    switch (s.walkStatement->StepBlock(rows_)) {
        case ESqlStep::Row:
            if (rows_.Size() == 0 && s.MustStop()) {
                s.BreakWalk();
            }
            break;
        case ESqlStep::Done:
            s.EndStreaming();
            s.walk = State::Walk::Ended;
            break;
        default:
            s.NoteWalkError();
            s.BreakWalk();
            break;
    }
}

/// The number of rows before the one that has no position. That would be the last, and breaks the
/// walk.
std::size_t ESqlTable::BlockSource::FindPositions() {
    State& s = *table_.state_;
    const std::size_t size = rows_.Size();
    EPosition* const positions = builder_->Positions();
    EPosition position = kNoPosition;
    if (positions == nullptr && size != 0 && s.info.keyKind == ESqlKeyKind::None) {
        s.lastNumber += static_cast<EPosition>(size) - 1;
    }
    for (std::size_t row = positions != nullptr || size == 0 ? 0 : size - 1; row < size; ++row) {
        if (!FindPosition(row, position)) {
            s.BreakWalk();
            return row;
        }
        if (positions != nullptr) {
            positions[row] = position;
        }
    }
    if (size != 0 && s.walk == State::Walk::Streaming) {
        s.walkPosition = position;
    }
    return size;
}

bool ESqlTable::BlockSource::FindPosition(std::size_t row, EPosition& position) {
    State& s = *table_.state_;
    if (rows_.row.integerKeyColumn >= 0) {
        rows_.row.integerKey = rows_.integerKeys[row];
    } else if (rows_.wantsKeys) {
        rows_.row.key.swap(rows_.keys[row]);
    } else if (s.info.keyKind != ESqlKeyKind::None) {
        return true;  // StandOnLast reads it
    }
    return s.PositionOf(rows_.row, position);
}

/// Decodes the row that the statement stands on into the table's record.
void ESqlTable::BlockSource::StandOnLast(EPosition last) {
    State& s = *table_.state_;
    if (!s.walkStatement->ReadRow(current_)) {
        s.NoteWalkError();
        s.BreakWalk();
        return s.ClearError();
    }
    if (s.info.keyKind != ESqlKeyKind::None) {
        static_cast<void>(s.PositionOf(current_, last));  // not the lowest key: see FindPositions
        s.walkPosition = last;
    }
    s.loadedFrom = State::Loaded::InStatement;
    table_.Arrive(last);
}

/// A block of one record, of a walk that reads by key since a write.
const ERecordBlock* ESqlTable::BlockSource::StepSingly() {
    if (table_.GetNext() == kNoPosition) {
        return nullptr;
    }
    builder_->Begin();
    const auto* const record = static_cast<const std::byte*>(table_.state_->record.Get());
    for (std::size_t column = 0; column < builder_->ColumnCount(); ++column) {
        builder_->At(column).PutCell(0, record + rows_.row.cells[column].offset);
    }
    if (EPosition* const positions = builder_->Positions(); positions != nullptr) {
        *positions = table_.position;
    }
    isSingle_ = true;
    return block_ = &builder_->Finish(1);
}

void ESqlTable::BlockSource::StandOn(EBlockIndex record) {
    State& s = *table_.state_;
    if (isSingle_) {
        return;
    }
    if (record + std::size_t{1} == block_->Size() && s.walk == State::Walk::Streaming) {
        return StandOnLast(s.walkPosition);
    }
    if (record + std::size_t{1} == block_->Size() && s.walk == State::Walk::Ahead && !s.moved &&
        s.ReadBlank() == State::Find::Found) {
        table_.Arrive(s.walkPosition);
        return;
    }
    Show(record);
}

/// Fills the table's record from the block.
void ESqlTable::BlockSource::Show(EBlockIndex record) {
    State& s = *table_.state_;
    s.record.Clear();
    EFieldSet& fields = table_.Fields();
    for (std::size_t column = 0; column < fields_.size(); ++column) {
        fields.At(fields_[column]) <<= block_->Value(static_cast<unsigned int>(column), record);
    }
    s.loadedFrom = State::Loaded::No;
    const EPosition* const positions =
        ahead_ != nullptr ? ahead_->builder->Positions() : builder_->Positions();
    table_.Arrive(positions != nullptr ? positions[record] : table_.position);
}

void ESqlTable::BlockSource::ReadKey(EPosition position, EFieldKey& key) const {
    table_.state_->KeyAt(position, key);
}

bool ESqlTable::BlockSource::AreKeysPositions() const noexcept {
    const ESqlKeyKind kind = table_.state_->info.keyKind;
    return kind != ESqlKeyKind::None && kind != ESqlKeyKind::Columns;
}

}  // namespace etabulon
