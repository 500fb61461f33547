#include "grid/BlockDetails.h"

#include "cumul/CumulCells.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVar.h"
#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/foundation/EBlockSource.h"
#include "etabulon/values/ETabulonVariableDesc.h"
#include "grid/TagIndex.h"

namespace etabulon::detail {

void WantValues(const ETabulonCursor& cursor, const CumulCells& cells,
                std::span<const ERef<ETabulonCumulFuncOnVar>> calculations, EBlockRequest& request,
                std::vector<unsigned>& columns) {
    columns.clear();
    for (unsigned index = 0; index < calculations.size(); ++index) {
        const ETabulonVariableID& variable = calculations[index]->Variable()->DataID();
        columns.push_back(cells.ReadsValues(index) ? request.AddValues(cursor.Field(variable)) : 0);
    }
    request.keys = request.keys || cells.NeedsContext();
}

void BlockDetails::Want(const ETabulonCursor& cursor, const TagIndex& index,
                        EBlockRequest& request) {
    columns_.clear();
    tag_.RemoveAll();
    numbers_.assign(index.ColumnCount(), 0);
    columns_.reserve(index.ColumnCount());
    for (std::size_t at = 0; at < index.ColumnCount(); ++at) {
        Column& column = columns_.emplace_back();
        column.level = index.LevelOf(at);
        column.data = column.label = kNoColumn;
        if (!cursor.Levels().ExistLevel(column.level)) {
            continue;
        }
        const ETabulonLevels::Level& level = cursor.Levels().GetLevel(column.level);
        const EField& data = cursor.Field(level.DataID());
        column.data = request.AddNumbers(data);
        if (level.DescID().IsValid()) {
            const EField& label = cursor.Field(level.DescID());
            column.label = &label == &data ? kNoColumn : request.AddValues(label);
        }
    }
}

void BlockDetails::Read(const ERecordBlock& block, std::span<const EBlockIndex> records,
                        TagIndex& index) {
    count_ = records.size();
    ReadNumbers(block, records);
    Prefetch(index);
    for (std::size_t place = 0; place < count_; ++place) {
        const std::uint32_t detail = Find(block, records[place], place, index);
        details_[place] =
            detail != TagIndex::kNone ? detail : FindOrAdd(block, records[place], place, index);
    }
}

void BlockDetails::ReadNumbers(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    for (Column& column : columns_) {
        if (column.data == kNoColumn) {
            column.known.resize(1, kUnknown);
            column.numbers.fill(column.known[0]);
            continue;
        }
        const ERecordBlock::Column& from = block.At(column.data);
        column.known.resize(from.dictionary->Size(), kUnknown);
        const std::uint32_t* const known = column.known.data();
        for (std::size_t place = 0; place < records.size(); ++place) {
            column.numbers[place] = known[from.numbers[records[place]]];
        }
    }
}

void BlockDetails::Prefetch(const TagIndex& index) const noexcept {
    if (columns_.size() != 2 || !index.IsLarge()) {
        return;
    }
    for (std::size_t place = 0; place < count_; ++place) {
        index.PrefetchPair(columns_[0].numbers[place], columns_[1].numbers[place]);
    }
}

std::uint32_t BlockDetails::Find(const ERecordBlock& block, EBlockIndex record, std::size_t place,
                                 const TagIndex& index) {
    for (std::size_t at = 0; at < columns_.size(); ++at) {
        Column& column = columns_[at];
        if (column.numbers[place] == kUnknown) {
            // An earlier record of the block may have met the value.
            column.numbers[place] = column.known[BlockNumber(column, block, record)];
        }
        numbers_[at] = column.numbers[place];
        if (numbers_[at] == kUnknown) {
            return TagIndex::kNone;
        }
    }
    return index.Find(numbers_);
}

// The record's values as its tag has them: a new detail keeps the spelling of its first record.
std::uint32_t BlockDetails::FindOrAdd(const ERecordBlock& block, EBlockIndex record,
                                      std::size_t place, TagIndex& index) {
    for (const Column& column : columns_) {
        if (column.data == kNoColumn) {
            continue;
        }
        const EVariant& data = block.Value(column.data, record);
        if (column.label == kNoColumn) {
            tag_.Slot(column.level).Refill(data);
        } else {
            tag_.Slot(column.level).Refill(data, block.Value(column.label, record).AsChaine());
        }
    }
    const std::uint32_t detail = index.FindOrAdd(tag_);
    for (std::size_t at = 0; at < columns_.size(); ++at) {
        Column& column = columns_[at];
        column.numbers[place] = index.LastNumbers()[at];
        column.known[BlockNumber(column, block, record)] = column.numbers[place];
    }
    return detail;
}

}  // namespace etabulon::detail
