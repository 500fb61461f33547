#include "foundation/EColumnBlocks.h"

#include "etabulon/foundation/detail/EPrefetch.h"
#include "foundation/EBlockReader.h"
#include "foundation/EColumnRecords.h"

#include <algorithm>
#include <utility>

namespace etabulon {

namespace {

constexpr std::size_t kMost = ERecordBlock::kMostRecords;
static_assert(EColumn::kChunk % kMost == 0);

template <class T>
void Widen(const std::byte* from, std::size_t size, std::uint64_t* words) noexcept {
    for (std::size_t record = 0; record < size; ++record) {
        T natural;
        std::memcpy(&natural, from + record * sizeof natural, sizeof natural);
        std::uint64_t word = 0;
        std::memcpy(&word, &natural, sizeof natural);
        words[record] = word;
    }
}

void WidenAll(const EColumn& column, std::size_t first, std::size_t size,
              std::uint64_t* words) noexcept {
    const std::byte* const from = column.At(first);
    switch (column.Width()) {
        case 1:
            return Widen<std::uint8_t>(from, size, words);
        case 2:
            return Widen<std::uint16_t>(from, size, words);
        case 4:
            return Widen<std::uint32_t>(from, size, words);
        default:
            return Widen<std::uint64_t>(from, size, words);
    }
}

}  // namespace

EDataColumns::BlockSource::BlockSource(EDataColumns& table)
    : table_(table), records_(*table.records_) {
    block_.source_ = this;
    for (const unsigned int column : records_.keyColumns) {
        keys_.emplace_back(*records_.columns[column]);
    }
}

EDataColumns::BlockSource::~BlockSource() = default;

bool EDataColumns::BlockSource::BeginBlocks(const EBlockRequest& request) {
    EndBlocks();
    for (const EBlockRequest::Column& wish : request.columns) {
        const int field = FindField(table_.Fields(), *wish.field);
        if (field < 0) {
            EndBlocks();
            return false;
        }
        const unsigned int index = table_.columns_[static_cast<std::size_t>(field)];
        const EColumn& column = *records_.columns[index];
        const bool isText = column.GetForm() == EColumn::Form::Texts;
        Plan& plan = plans_.emplace_back();
        plan.column = &column;
        plan.numbering = wish.numbers && !isText ? &NumberingOf(index) : nullptr;
        ERecordBlock::Column& shown = block_.columns_.emplace_back();
        shown.type = &TypeInfo(column.Desc().Type());
        if (isText) {
            shown.dictionary = &column.Dictionary();
        } else if (plan.numbering != nullptr) {
            shown.dictionary = plan.numbering->builder.Dictionary();
        }
        if (column.GetForm() == EColumn::Form::Words) {
            plan.words.resize(column.Width() < sizeof(std::uint64_t) ? kMost : 0);
        } else if (!isText) {
            shown.cellSize = column.Width();
        }
        block_.readers_.push_back(std::make_unique<ERecordBlock::Reader>(column.Desc()));
    }
    wantsKeys_ = request.keys;
    if (wantsKeys_) {
        block_.positions_.resize(kMost);
    }
    return true;
}

void EDataColumns::BlockSource::EndBlocks() noexcept {
    plans_.clear();
    block_.columns_.clear();
    block_.readers_.clear();
    block_.positions_.clear();
    if (std::exchange(areFieldsBlank_, false) && table_.position != kNoPosition) {
        table_.LoadFields();
    }
}

const ERecordBlock* EDataColumns::BlockSource::NextBlock() {
    const auto first = static_cast<std::size_t>(table_.walk_.next);
    if (!table_.walk_.known || first >= records_.Count()) {
        static_cast<void>(table_.GetNext());
        return nullptr;
    }
    const std::size_t size = std::min(records_.Count() - first, kMost - first % kMost);
    for (std::size_t index = 0; index < plans_.size(); ++index) {
        Show(plans_[index], block_.columns_[index], first, size);
    }
    PrefetchBlock(first + size);
    for (std::size_t record = 0; wantsKeys_ && record < size; ++record) {
        block_.positions_[record] = records_.PositionOf(first + record);
    }
    block_.size_ = size;
    first_ = first;
    if (!std::exchange(areFieldsBlank_, true)) {
        table_.record_.Clear();
    }
    table_.StandOn(first + size - 1);
    return &block_;
}

/// The processor's own prefetches end with each page.
void EDataColumns::BlockSource::PrefetchBlock(std::size_t first) const noexcept {
    constexpr std::size_t kCacheLine = 64;
    if (first >= records_.Count()) {
        return;
    }
    const std::size_t size = std::min(records_.Count() - first, kMost);
    for (const Plan& plan : plans_) {
        const std::byte* const from = plan.column->At(first);
        for (std::size_t at = 0; at < size * plan.column->Width(); at += kCacheLine) {
            detail::PrefetchToRead(from + at);
        }
    }
}

void EDataColumns::BlockSource::StandOn(EBlockIndex record) {
    const EWalkState walk = table_.walk_;
    table_.Load(first_ + record);
    areFieldsBlank_ = false;
    table_.walk_ = walk;
}

void EDataColumns::BlockSource::Show(Plan& plan, ERecordBlock::Column& shown, std::size_t first,
                                     std::size_t size) {
    const EColumn& column = *plan.column;
    if (plan.numbering != nullptr) {
        NumberUpTo(column, *plan.numbering, first + size);
        shown.numbers = plan.numbering->numbers.data() + first;
    }
    switch (column.GetForm()) {
        case EColumn::Form::Texts:
            shown.numbers = reinterpret_cast<const std::uint32_t*>(column.At(first));
            return;
        case EColumn::Form::Cells:
            shown.cells = column.At(first);
            return;
        default:
            break;
    }
    if (plan.words.empty()) {
        shown.words = reinterpret_cast<const std::uint64_t*>(column.At(first));
    } else {
        WidenAll(column, first, size, plan.words.data());
        shown.words = plan.words.data();
    }
    ShowMissing(plan, shown, first, size);
}

void EDataColumns::BlockSource::ShowMissing(Plan& plan, ERecordBlock::Column& shown,
                                            std::size_t first, std::size_t size) {
    const std::uint64_t* const bits = plan.column->MissingIn(first);
    const std::size_t at = first & (EColumn::kChunk - 1);
    shown.missing = bits != nullptr ? bits + at / 64 : nullptr;
    if (bits == nullptr || at % 64 == 0) {
        return;
    }
    plan.missing.assign(kMost / 64, 0);
    for (std::size_t record = 0; record < size; ++record) {
        const std::size_t from = at + record;
        plan.missing[record / 64] |= (bits[from / 64] >> (from % 64) & 1U) << (record % 64);
    }
    shown.missing = plan.missing.data();
}

void EDataColumns::BlockSource::ReadKey(EPosition position, EFieldKey& key) const {
    if (const std::size_t record = records_.Find(position); record != EColumnRecords::kNone) {
        ReadKeyOf(record, key);
    } else {
        key.Free();
    }
}

bool EDataColumns::BlockSource::AreKeysPositions() const noexcept {
    return records_.keyForm == EColumnRecords::Key::Position;
}

void EDataColumns::BlockSource::ReadKeyOf(std::size_t record, EFieldKey& key) const {
    switch (records_.keyForm) {
        case EColumnRecords::Key::None:
            return key.Free();
        case EColumnRecords::Key::Position:
            key.Resize(1);
            key.At(0) =
                EVariant::FromInt64(EColumnRecords::KeyOfPosition(records_.PositionOf(record)));
            return;
        default:
            break;
    }
    key.Resize(static_cast<std::uint16_t>(keys_.size()));
    for (std::uint16_t part = 0; part < key.Size(); ++part) {
        key.At(part) = keys_[part].At(record);
    }
}

// --------------------------------------------------------------------------------------- numbering

EDataColumns::BlockSource::Numbering& EDataColumns::BlockSource::NumberingOf(unsigned int column) {
    std::unique_ptr<Numbering>& numbering = numberings_[column];
    if (numbering == nullptr) {
        numbering = std::make_unique<Numbering>(records_.columns[column]->Desc());
        // Blocks point into the numbers, so that they must not move.
        numbering->numbers.reserve(records_.Count());
    }
    return *numbering;
}

void EDataColumns::BlockSource::NumberUpTo(const EColumn& column, Numbering& numbering,
                                           std::size_t end) {
    while (numbering.numbers.size() < end) {
        const std::size_t first = numbering.numbers.size();
        const std::size_t size = std::min(end - first, kMost - first % kMost);
        EBlockBuilder& builder = numbering.builder;
        EBlockColumn& filled = builder.At(0);
        builder.Begin();
        if (column.GetForm() == EColumn::Form::Words) {
            std::array<std::uint64_t, kMost> words;
            WidenAll(column, first, size, words.data());
            for (std::size_t record = 0; record < size; ++record) {
                column.IsMissing(first + record) ? filled.PutMissing(record)
                                                 : filled.PutNumber(record, words[record]);
            }
        } else {
            for (std::size_t record = 0; record < size; ++record) {
                filled.PutCell(record, column.At(first + record));
            }
        }
        const std::uint32_t* const numbers = builder.Finish(size).At(0).numbers;
        numbering.numbers.insert(numbering.numbers.end(), numbers, numbers + size);
    }
}

std::size_t EDataColumns::BlockSource::CountDistinct(unsigned int column) {
    const EColumn& from = *records_.columns[column];
    if (from.GetForm() == EColumn::Form::Texts) {
        return from.Dictionary().Size() - 1;
    }
    Numbering& numbering = NumberingOf(column);
    NumberUpTo(from, numbering, records_.Count());
    return numbering.builder.Dictionary()->Size() - 1;
}

}  // namespace etabulon
