#include "grid/BlockDetails.h"

#include "cumul/CumulCells.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVar.h"
#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/foundation/EBlockSource.h"
#include "etabulon/foundation/detail/EPrefetch.h"
#include "etabulon/values/ETabulonVariableDesc.h"
#include "foundation/EVariantAccess.h"

#include <algorithm>

namespace etabulon::detail {

namespace {

// The numbers of a column that the blocks don't have: its only value's.
constexpr std::array<std::uint32_t, ERecordBlock::kMostRecords> kOnlyNumber{};

bool IsFirstSpelling(const TagIndex& index, std::size_t column, const TagIndex::Known& known) {
    return known.number != TagIndex::kAbsent &&
           known.spelling == index.Values(column).FirstSpelling(known.number);
}

}  // namespace

void WantValues(const ETabulonCursor& cursor, const CumulCells& cells,
                std::span<const ERef<ETabulonCumulFuncOnVar>> calculations, EBlockRequest& request,
                std::vector<unsigned int>& columns) {
    columns.clear();
    for (unsigned int index = 0; index < calculations.size(); ++index) {
        const ETabulonVariableID& variable = calculations[index]->Variable()->DataID();
        columns.push_back(cells.ReadsValues(index) ? request.AddValues(cursor.Field(variable)) : 0);
    }
    request.keys = request.keys || cells.NeedsContext();
}

void BlockDetails::Want(const ETabulonCursor& cursor, const TagIndex& index, bool numbers,
                        EBlockRequest& request) {
    wantsNumbers_ = numbers;
    detailOf_.clear();
    reserved_ = kFirstReserved;
    lastMet_.clear();
    columns_.clear();
    tag_.RemoveAll();
    numbers_.assign(index.ColumnCount(), 0);
    spellings_.assign(index.ColumnCount(), 0);
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
    if (columns_.size() == 1) {
        return ReadSingles(block, records, index);
    }
    ReadNumbers(block, records);
    if (columns_.size() == 2) {
        return ReadPairs(block, records, index);
    }
    if (!columns_.empty()) {
        return ReadMany(block, records, index);
    }
    for (std::size_t nth = 0; nth < count_; ++nth) {
        details_[nth] = FindOrAdd(block, records[nth], nth, index);
    }
}

// A value of the column with most values mostly comes with the same other ones, as a customer has
// one city and one country: then the detail met last with it is found by one comparison.
void BlockDetails::ReadMany(const ERecordBlock& block, std::span<const EBlockIndex> records,
                            TagIndex& index) {
    PrepareMany(block);
    if (columns_.size() == 3) {  // a loop of known length
        ReadMet<3>(block, records, index);
    } else {
        ReadMet<kAnyWidth>(block, records, index);
    }
}

template <std::size_t kWidth>
void BlockDetails::ReadMet(const ERecordBlock& block, std::span<const EBlockIndex> records,
                           TagIndex& index) {
    const std::size_t width = kWidth == kAnyWidth ? columns_.size() : kWidth;
    const std::uint32_t* const* const blockNumbers = blockNumbers_.data();
    const std::uint32_t* const widest = blockNumbers[widest_];
    const auto lastOf = [this, widest, width](EBlockIndex record) {
        return lastMet_.data() + std::size_t{widest[record]} * (1 + width);
    };
    for (const EBlockIndex record : records) {
        PrefetchToWrite(lastOf(record));
    }
    for (std::size_t nth = 0; nth < records.size(); ++nth) {
        const EBlockIndex record = records[nth];
        std::uint32_t* const last = lastOf(record);
        std::uint32_t differing = last[0] == kUnknown ? 1 : 0;
        for (std::size_t at = 0; at < width; ++at) {
            const std::uint32_t number = blockNumbers[at][record];
            differing |= last[1 + at] ^ number;
            last[1 + at] = number;
        }
        if (differing != 0) {
            last[0] = FindOrAdd(block, record, nth, index);
        } else if (wantsNumbers_) {
            for (Column& column : columns_) {
                column.numbers[nth] = column.known[BlockNumber(column, block, record)].number;
            }
        }
        details_[nth] = last[0];
    }
}

// Makes room in lastMet_: for each value of the column with most values the detail met last, and
// the block's numbers of its record.
void BlockDetails::PrepareMany(const ERecordBlock& block) {
    std::size_t widest = 0;
    std::uint32_t most = 1;
    blockNumbers_.clear();
    for (std::size_t at = 0; at < columns_.size(); ++at) {
        const unsigned int data = columns_[at].data;
        blockNumbers_.push_back(data == kNoColumn ? kOnlyNumber.data() : block.At(data).numbers);
        if (data != kNoColumn && block.At(data).dictionary->Size() > most) {
            most = block.At(data).dictionary->Size();
            widest = at;
        }
    }
    if (widest_ != widest) {
        widest_ = widest;
        lastMet_.clear();
    }
    lastMet_.resize(most * (1 + columns_.size()), kUnknown);
}

void BlockDetails::ReadNumbers(const ERecordBlock& block, std::span<const EBlockIndex> records) {
    for (Column& column : columns_) {
        if (column.data == kNoColumn) {
            column.known.resize(1, kNotKnown);
            column.numbers.fill(column.known[0].number);
            column.largest = column.known[0].number;
            continue;
        }
        const ERecordBlock::Column& from = block.At(column.data);
        column.known.resize(from.dictionary->Size(), kNotKnown);
        if (columns_.size() > 2 && !wantsNumbers_) {
            continue;  // ReadMany looks numbers up for new details only
        }
        const Known* const known = column.known.data();
        std::uint32_t largest = 0;
        for (std::size_t nth = 0; nth < records.size(); ++nth) {
            const std::uint32_t number = known[from.numbers[records[nth]]].number;
            column.numbers[nth] = number;
            largest = std::max(largest, number);
        }
        column.largest = largest;
    }
}

void BlockDetails::ReadSingles(const ERecordBlock& block, std::span<const EBlockIndex> records,
                               TagIndex& index) {
    Column& column = columns_[0];
    const std::uint32_t* const numbers =
        column.data == kNoColumn ? nullptr : block.At(column.data).numbers;
    const std::uint32_t size = numbers == nullptr ? 1 : block.At(column.data).dictionary->Size();
    column.known.resize(size, kNotKnown);
    detailOf_.resize(size, kUnknown);
    for (std::size_t nth = 0; nth < count_; ++nth) {
        std::uint32_t& detail = detailOf_[numbers == nullptr ? 0 : numbers[records[nth]]];
        if (detail == kUnknown) {
            detail = FindOrAddSingle(block, records[nth], index);
        }
        details_[nth] = detail;
    }
    if (wantsNumbers_) {
        ReadNumbers(block, records);
    }
}

// New values mostly come in the order in which the dictionary has them.
void BlockDetails::PrepareNext(const EBlockDictionary& dictionary, std::uint32_t number,
                               TagIndex& index) {
    constexpr std::uint32_t kAhead = 8;
    constexpr std::uint32_t kGrowth = 4;  // the dictionary may have values of other records
    if (number + 2 * kAhead < dictionary.Size()) {
        EVariantAccess::PrefetchShare(dictionary.Value(number + 2 * kAhead));
        index.PrefetchValue(dictionary.Value(number + kAhead));
    }
    if (index.Size() >= reserved_) {
        reserved_ = std::max(index.Size() + 1, std::min(dictionary.Size(), kGrowth * reserved_));
        index.ReserveLookup(reserved_);
    }
}

std::uint32_t BlockDetails::FindOrAddSingle(const ERecordBlock& block, EBlockIndex record,
                                            TagIndex& index) {
    Column& column = columns_[0];
    if (column.data == kNoColumn) {
        return FindOrAddTag(block, record, 0, index);
    }
    PrepareNext(*block.At(column.data).dictionary, BlockNumber(column, block, record), index);
    const Chaine label =
        column.label == kNoColumn ? Chaine() : block.Value(column.label, record).AsChaine();
    const std::uint32_t detail = index.FindOrAddValue(
        ETabulonValue(block.Value(column.data, record), label, /*modified=*/false));
    column.known[BlockNumber(column, block, record)].number = index.LastNumbers()[0];
    return detail;
}

// The most frequent case: known pairs go without a call, and their lookups overlap.
void BlockDetails::ReadPairs(const ERecordBlock& block, std::span<const EBlockIndex> records,
                             TagIndex& index) {
    const Numbered& first = columns_[0].numbers;
    const Numbered& second = columns_[1].numbers;
    const std::uint32_t largest = std::max(columns_[0].largest, columns_[1].largest);
    if (largest < kUnknown && columns_[0].isPlain && columns_[1].isPlain &&
        index.FindOrAddPairs(Numbers(0), Numbers(1), columns_[0].largest, columns_[1].largest,
                             details_.data())) {
        return;
    }
    for (std::size_t nth = 0; index.IsLarge() && nth < count_; ++nth) {
        index.PrefetchPair(first[nth], second[nth]);
    }
    for (std::size_t nth = 0; nth < count_; ++nth) {
        const std::uint32_t found = index.FindPair(first[nth], second[nth]);
        details_[nth] = found != TagIndex::kNone ? found : AddPair(block, records[nth], nth, index);
    }
}

// For numbers that FindPair doesn't find.
std::uint32_t BlockDetails::AddPair(const ERecordBlock& block, EBlockIndex record, std::size_t nth,
                                    TagIndex& index) {
    const Known& first = columns_[0].known[BlockNumber(columns_[0], block, record)];
    const Known& second = columns_[1].known[BlockNumber(columns_[1], block, record)];
    // An earlier record of the block may have met a value that ReadNumbers didn't know.
    if (first.number == columns_[0].numbers[nth] && second.number == columns_[1].numbers[nth] &&
        first.spelling != kUnknown && second.spelling != kUnknown) {
        return index.AddPair(first, second);
    }
    return FindOrAdd(block, record, nth, index);
}

std::uint32_t BlockDetails::FindOrAdd(const ERecordBlock& block, EBlockIndex record,
                                      std::size_t nth, TagIndex& index) {
    bool areSpelled = true;
    for (std::size_t at = 0; at < columns_.size(); ++at) {
        Column& column = columns_[at];
        Known& known = column.known[BlockNumber(column, block, record)];
        if (known.number == kUnknown && !FindNumber(block, record, at, index)) {
            return FindOrAddTag(block, record, nth, index);
        }
        column.numbers[nth] = numbers_[at] = known.number;  // an earlier record may have met it
        spellings_[at] = known.spelling;
        areSpelled = areSpelled && known.spelling != kUnknown;
    }
    if (areSpelled) {
        return index.FindOrAddKnown(numbers_, spellings_);
    }
    const std::uint32_t found = index.Find(numbers_);
    return found != TagIndex::kNone ? found : FindOrAddTag(block, record, nth, index);
}

// For a value whose own text is its label. A new one has its first spelling; that of another is
// left to the tag, which keeps it only with a new detail.
bool BlockDetails::FindNumber(const ERecordBlock& block, EBlockIndex record, std::size_t at,
                              TagIndex& index) {
    Column& column = columns_[at];
    if (column.data == kNoColumn || column.label != kNoColumn) {
        return false;
    }
    value_.Refill(block.Value(column.data, record));
    const std::uint32_t size = index.Values(at).Size();
    Known& known = column.known[BlockNumber(column, block, record)];
    known.number = index.NumberOf(at, value_);
    if (known.number == size) {
        known.spelling = index.Values(at).FirstSpelling(known.number);
    } else {
        column.isPlain = false;
    }
    return true;
}

// The record's values as its tag has them: a new detail keeps the spelling of its first record.
std::uint32_t BlockDetails::FindOrAddTag(const ERecordBlock& block, EBlockIndex record,
                                         std::size_t nth, TagIndex& index) {
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
    const std::uint32_t size = index.Size();
    const std::uint32_t detail = index.FindOrAdd(tag_);
    for (std::size_t at = 0; at < columns_.size(); ++at) {
        Column& column = columns_[at];
        Known& known = column.known[BlockNumber(column, block, record)];
        known.number = column.numbers[nth] = index.LastNumbers()[at];
        // The spelling of another record's detail need not be this one's.
        if (index.Size() != size && column.label == kNoColumn) {
            known.spelling = index.SpellingOf(detail, at);
        }
        column.isPlain = column.isPlain && IsFirstSpelling(index, at, known);
    }
    return detail;
}

}  // namespace etabulon::detail
