#include "cursors/BlockWalk.h"

#include "cursors/RecordFilter.h"

#include <array>
#include <numeric>

namespace etabulon {

namespace {

using Indexes = std::array<EBlockIndex, ERecordBlock::kMostRecords>;

const Indexes kAll = [] {
    Indexes all{};
    std::iota(all.begin(), all.end(), EBlockIndex{0});
    return all;
}();

// ETabulonValue::operator== of a record's value, without making one.
bool IsSame(const EVariant& data, const ETabulonValue& wanted) {
    if (data.IsMissing()) {
        return wanted.IsNull();
    }
    return wanted.Status() == ETabulonValue::ValNormal && data == wanted.Data();
}

}  // namespace

ETabulonCursor::BlockWalk::BlockWalk(ETabulonCursor& cursor) : cursor_(cursor) {
    EBlockRequest request;
    isRunning_ = EBlockSource::AreEnabled() && CanRun(request) && cursor_.BeginBlocks(request);
}

bool ETabulonCursor::BlockWalk::IsLikely(const ETabulonCursor& cursor) noexcept {
    const PTableau<INotifier*>& notifiers = cursor.notifiers_;
    bool isLikely = EBlockSource::AreEnabled() && notifiers.Size() != 0;
    for (std::size_t index = 0; isLikely && index < notifiers.Size(); ++index) {
        isLikely = dynamic_cast<const IBlockNotifier*>(notifiers.At(index)) != nullptr;
    }
    return isLikely;
}

bool ETabulonCursor::BlockWalk::CanRun(EBlockRequest& request) {
    const PTableau<INotifier*>& notifiers = cursor_.notifiers_;
    for (std::size_t index = 0; index < notifiers.Size(); ++index) {
        auto* const listener = dynamic_cast<IBlockNotifier*>(notifiers.At(index));
        if (listener == nullptr || !listener->WantBlocks(cursor_, request)) {
            return false;
        }
        listeners_.push_back(listener);
    }
    return !listeners_.empty() && AddTests(request);
}

// The same as IsInFilter: the record's tag, which has all levels of the cursor, is at or below the
// filter's. Levels that only the filter's tag has are ignored, unless it has no fewer levels than
// the record's. Then it accepts no record with other levels, and the walk reads single records.
bool ETabulonCursor::BlockWalk::AddTests(EBlockRequest& request) {
    const ETabulonTag& tag = cursor_.filterTag_;
    for (unsigned int index = 0; index < tag.KnownLevelsCount(); ++index) {
        if (!cursor_.levels_.ExistLevel(tag.LevelAt(index))) {
            continue;
        }
        const EField& field = cursor_.Field(cursor_.levels_.GetLevel(tag.LevelAt(index)).DataID());
        const bool isNumber = TypeInfo(field.Type()).IsFixedSize();
        tests_.push_back({&tag.ValueAt(index),
                          isNumber ? request.AddValues(field) : request.AddNumbers(field),
                          {}});
    }
    if (cursor_.recordFilter_ != nullptr) {
        cursor_.recordFilter_->Want(cursor_.Fields(), request);
    }
    const unsigned int levels = cursor_.levels_.Size();
    return tag.KnownLevelsCount() < levels ||
           (tests_.size() == levels && tag.KnownLevelsCount() == levels);
}

bool ETabulonCursor::BlockWalk::HasSameListeners() const noexcept {
    if (cursor_.notifiers_.Size() != listeners_.size()) {
        return false;
    }
    for (std::size_t index = 0; index < listeners_.size(); ++index) {
        if (cursor_.notifiers_.At(index) != static_cast<INotifier*>(listeners_[index])) {
            return false;
        }
    }
    return true;
}

bool ETabulonCursor::BlockWalk::IsRunning() {
    if (isRunning_ && !HasSameListeners()) {
        End();
    }
    return isRunning_;
}

void ETabulonCursor::BlockWalk::End() noexcept {
    isRunning_ = false;
    cursor_.EndBlocks();
}

CursorStatus ETabulonCursor::BlockWalk::CallGetNextBlock() {
    cursor_.MarkStale();
    const CursorStatus status = Step();
    if (status != StatusOk) {
        return cursor_.ReportStep(status);
    }
    if (block_ == nullptr) {
        End();
        return cursor_.CallGetNext();
    }
    return PassInParts();
}

CursorStatus ETabulonCursor::BlockWalk::PassOn(const BlockPart& part) {
    if (part.records.empty()) {
        return StatusOk;
    }
    for (IBlockNotifier* const listener : listeners_) {
        const CursorStatus answer = listener->OnBlock(cursor_, *part.block, part.records);
        if (answer != StatusOk) {
            return answer;
        }
    }
    return StatusOk;
}

// ----------------------------------------------------------------------------------------- singles

/// Passes on the parts between the records that come singly. A walk that ends within the block, or
/// goes on by single steps from there, stands on the record that was shown last.
CursorStatus ETabulonCursor::BlockWalk::PassInParts() {
    BlockPart part = TakePart(selected_);
    if (part.count == selected_.size()) {
        return PassOn(part);
    }
    std::span<const EBlockIndex> rest = selected_;
    while (!rest.empty()) {
        if (const CursorStatus answer = PassOn(part); answer != StatusOk) {
            StandWhole(part.records.back());
            return answer;
        }
        if (part.count == rest.size()) {
            break;
        }
        const EBlockIndex single = rest[part.count];
        if (const CursorStatus status = ShowSingly(single); status != StatusOk) {
            return status;
        }
        if (!HasSameListeners()) {
            StandWhole(single);
            End();
            return StatusOk;
        }
        rest = rest.subspan(part.count + 1);
        part = TakePart(rest);
    }
    const auto last = static_cast<EBlockIndex>(block_->Size() - 1);
    static_cast<void>(Stand(last, /*isWhole=*/false));
    return StatusOk;
}

/// The filter tests the values that the cursor shows.
ETabulonCursor::BlockPart ETabulonCursor::BlockWalk::TakePart(
    std::span<const EBlockIndex> records) {
    BlockPart part = cursor_.TakePart(*block_, records);
    if (cursor_.recordFilter_ != nullptr) {
        part.records = cursor_.recordFilter_->Keep(*part.block, part.records);
    }
    return part;
}

/// In place of CallGetNext for a record that the filter accepts as the table has it.
CursorStatus ETabulonCursor::BlockWalk::ShowSingly(EBlockIndex record) {
    CursorStatus status = cursor_.StandInBlock(*block_, record, /*isWhole=*/false);
    if (status == StatusOk) {
        status = cursor_.CallIsInFilter();
    }
    if (status == StatusRefused) {
        return StatusOk;
    }
    const CursorStatus answer = cursor_.ReportStep(status);
    if (status == StatusOk && answer != StatusOk) {
        StandWhole(record);
    }
    return answer;
}

/// The status of the step that was made stands, whether or not the record can be read again.
void ETabulonCursor::BlockWalk::StandWhole(EBlockIndex record) {
    static_cast<void>(Stand(record, /*isWhole=*/true));
}

CursorStatus ETabulonCursor::BlockWalk::Stand(EBlockIndex record, bool isWhole) {
    const CursorStatus status = cursor_.StandInBlock(*block_, record, isWhole);
    return status == StatusOk ? cursor_.DeriveFields() : status;
}

// -------------------------------------------------------------------------------------------- step

CursorStatus ETabulonCursor::BlockWalk::Step() {
    for (;;) {
        if (cursor_.IsCancelled()) {
            return StatusCancelled;
        }
        const CursorStatus status = cursor_.GetNextBlock(block_);
        if (status != StatusOk) {
            return status;
        }
        if (block_ == nullptr) {
            return StatusOk;
        }
        Select();
        if (!selected_.empty()) {
            return StatusOk;
        }
    }
}

// ------------------------------------------------------------------------------------------ filter

void ETabulonCursor::BlockWalk::Select() {
    selected_ = std::span(kAll).first(block_->Size());
    for (Test& test : tests_) {
        selected_ = std::span(kept_).first(Keep(test));
    }
}

// Each record is read before an index is stored in its place: `selected_` may be in `kept_`.
std::size_t ETabulonCursor::BlockWalk::Keep(Test& test) {
    if (const ERecordBlock::Column& column = block_->At(test.column); column.numbers != nullptr) {
        test.verdicts.resize(column.dictionary->Size(), kUnknown);
    }
    std::size_t count = 0;
    for (const EBlockIndex record : selected_) {
        if (IsAccepted(test, *block_, record)) {
            kept_[count++] = record;
        }
    }
    return count;
}

bool ETabulonCursor::BlockWalk::IsAccepted(Test& test, const ERecordBlock& block,
                                           EBlockIndex record) {
    const ERecordBlock::Column& column = block.At(test.column);
    if (column.numbers == nullptr) {
        return IsSame(block.Value(test.column, record), *test.value);
    }
    std::int8_t& verdict = test.verdicts[column.numbers[record]];
    if (verdict == kUnknown) {
        verdict = IsSame(column.dictionary->Value(column.numbers[record]), *test.value) ? 1 : 0;
    }
    return verdict != 0;
}

}  // namespace etabulon
