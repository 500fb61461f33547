#include "etabulon/foundation/EColumnsBuilder.h"

#include "etabulon/foundation/DDico.h"
#include "foundation/EColumnReader.h"
#include "foundation/EColumnRecords.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace etabulon {

namespace {

constexpr std::size_t kMost = ERecordBlock::kMostRecords;
// In the map of numbers: not met yet, and waiting for the number that its value gets.
constexpr std::uint32_t kUnmapped = 0xFFFFFFFF;
constexpr std::uint32_t kQueued = 0xFFFFFFFE;

template <class T>
void Narrow(const std::uint64_t* words, std::span<const EBlockIndex> records,
            std::byte* to) noexcept {
    for (const EBlockIndex record : records) {
        T natural;
        std::memcpy(&natural, &words[record], sizeof natural);
        std::memcpy(to, &natural, sizeof natural);
        to += sizeof natural;
    }
}

}  // namespace

// ------------------------------------------------------------------------------------------ column

EColumnWriter::EColumnWriter(const EFieldDesc& desc)
    : column_(std::make_unique<EColumn>(desc)), cell_(desc.StorageSize() + sizeof(Chaine)) {
    if (column_->GetForm() == EColumn::Form::Texts) {
        texts_ = std::make_unique<EBlockBuilder>(desc);
        texts_->Begin();
    }
    void* at = cell_.data();
    std::size_t room = cell_.size();
    cellField_.Attach(desc, std::align(alignof(Chaine), desc.StorageSize(), at, room),
                      /*takeOwnership=*/false);
}

EColumnWriter::~EColumnWriter() = default;

const EFieldDesc& EColumnWriter::Desc() const noexcept { return column_->Desc(); }

std::size_t EColumnWriter::Size() const noexcept { return column_->Size() + pending_; }

bool EColumnWriter::WantsNumbers() const noexcept { return texts_ != nullptr; }

void EColumnWriter::Append(const EVariant& value) {
    if (texts_ != nullptr) {
        if (value.IsMissing()) {
            texts_->At(0).PutMissing(pending_);
        } else {
            texts_->At(0).PutText(pending_, static_cast<const char*>(value.GetBuffer()),
                                  value.ByteCount());
        }
        return AppendPending(1);
    }
    const EFieldDesc& desc = column_->Desc();
    const EVariant* stored = &value;
    if (value.Type() != desc.Type() || value.Size() != desc.Size() ||
        column_->GetForm() == EColumn::Form::Cells) {
        cellField_ <<= value;
        stored = &cellField_;
    }
    std::byte* const entry = column_->Add(1);
    if (column_->GetForm() == EColumn::Form::Cells) {
        std::memcpy(entry, cellField_.Address(), column_->Width());
    } else if (const void* const bytes = stored->GetBuffer(); bytes != nullptr) {
        std::memcpy(entry, bytes, column_->Width());
    } else {
        std::memset(entry, 0, column_->Width());
        column_->SetMissing(column_->Size() - 1);
    }
}

void EColumnWriter::AppendMissing(std::size_t count) {
    const EVariant missing = EVariant::Missing(Desc().Type(), Desc().Size());
    if (column_->GetForm() == EColumn::Form::Words) {
        static constexpr std::array<std::uint64_t, kMost> kZeros{};
        std::array<std::uint64_t, kMost / 64> all;
        all.fill(~std::uint64_t{0});
        for (; count >= kMost; count -= kMost) {
            AppendNumbers(kZeros.data(), kMost, all.data());
        }
    }
    for (; count != 0; --count) {
        Append(missing);
    }
}

void EColumnWriter::AppendPending(std::size_t count) {
    pending_ += count;
    if (pending_ == kMost) {
        Flush();
    }
}

void EColumnWriter::Flush() {
    if (pending_ == 0) {
        return;
    }
    const std::uint32_t* numbers = texts_->Finish(pending_).At(0).numbers;
    while (pending_ != 0) {
        const std::size_t count = std::min(pending_, column_->Room());
        std::memcpy(column_->Add(count), numbers, count * sizeof *numbers);
        numbers += count;
        pending_ -= count;
    }
    texts_->Begin();
}

void EColumnWriter::AppendTexts(std::span<const std::string_view> texts) {
    Flush();
    while (!texts.empty()) {
        const std::size_t count = std::min(texts.size(), kMost);
        EBlockColumn& filled = texts_->At(0);
        for (std::size_t index = 0; index < count; ++index) {
            filled.PutBorrowed(index, texts[index].data(), texts[index].size());
        }
        pending_ = count;
        Flush();
        texts = texts.subspan(count);
    }
}

void EColumnWriter::AppendNumbers(const void* values, std::size_t count,
                                  const std::uint64_t* missing) {
    const auto* from = static_cast<const std::byte*>(values);
    const std::size_t before = column_->Size();
    for (std::size_t left = count; left != 0;) {
        const std::size_t added = std::min(left, column_->Room());
        std::memcpy(column_->Add(added), from, added * column_->Width());
        from += added * column_->Width();
        left -= added;
    }
    for (std::size_t index = 0; missing != nullptr && index < count; ++index) {
        if ((missing[index / 64] >> (index % 64) & 1U) != 0) {
            column_->SetMissing(before + index);
        }
    }
}

void EColumnWriter::Append(const ERecordBlock& block, unsigned int column,
                           std::span<const EBlockIndex> records) {
    Flush();
    const ERecordBlock::Column& from = block.At(column);
    const bool fits = texts_ != nullptr ? from.numbers != nullptr
                      : column_->GetForm() == EColumn::Form::Words
                          ? from.words != nullptr
                          : from.cells != nullptr && from.cellSize == column_->Width();
    if (!fits) {
        for (const EBlockIndex record : records) {
            Append(block.Value(column, record));
        }
        return;
    }
    if (texts_ != nullptr) {
        MapNumbers(from, records);
    }
    while (!records.empty()) {
        const auto some = records.first(std::min(records.size(), column_->Room()));
        if (texts_ != nullptr) {
            AppendTexts(from, some);
        } else if (column_->GetForm() == EColumn::Form::Words) {
            AppendWords(from, some);
        } else {
            std::byte* to = column_->Add(some.size());
            for (const EBlockIndex record : some) {
                std::memcpy(to, from.cells + record * from.cellSize, from.cellSize);
                to += from.cellSize;
            }
        }
        records = records.subspan(some.size());
    }
}

void EColumnWriter::AppendWords(const ERecordBlock::Column& from,
                                std::span<const EBlockIndex> records) {
    const std::size_t first = column_->Size();
    std::byte* const to = column_->Add(records.size());
    switch (column_->Width()) {
        case 1:
            Narrow<std::uint8_t>(from.words, records, to);
            break;
        case 2:
            Narrow<std::uint16_t>(from.words, records, to);
            break;
        case 4:
            Narrow<std::uint32_t>(from.words, records, to);
            break;
        default:
            Narrow<std::uint64_t>(from.words, records, to);
            break;
    }
    for (std::size_t index = 0; from.missing != nullptr && index < records.size(); ++index) {
        if (from.IsMissingWord(records[index])) {
            column_->SetMissing(first + index);
        }
    }
}

/// Gives all texts of the records a number of this column.
void EColumnWriter::MapNumbers(const ERecordBlock::Column& from,
                               std::span<const EBlockIndex> records) {
    if (map_.empty()) {
        map_.assign(1, EBlockDictionary::kMissing);
    }
    map_.resize(std::max<std::size_t>(map_.size(), from.dictionary->Size()), kUnmapped);
    unmapped_.clear();
    for (const EBlockIndex record : records) {
        const std::uint32_t number = from.numbers[record];
        if (map_[number] != kUnmapped) {
            continue;
        }
        map_[number] = kQueued;
        const EVariant& text = from.dictionary->Value(number);
        texts_->At(0).PutText(unmapped_.size(), static_cast<const char*>(text.GetBuffer()),
                              text.ByteCount());
        unmapped_.push_back(number);
    }
    if (unmapped_.empty()) {
        return;
    }
    const std::uint32_t* const numbers = texts_->Finish(unmapped_.size()).At(0).numbers;
    for (std::size_t index = 0; index < unmapped_.size(); ++index) {
        map_[unmapped_[index]] = numbers[index];
    }
    texts_->Begin();
}

void EColumnWriter::AppendTexts(const ERecordBlock::Column& from,
                                std::span<const EBlockIndex> records) {
    std::byte* to = column_->Add(records.size());
    for (const EBlockIndex record : records) {
        std::memcpy(to, &map_[from.numbers[record]], sizeof(std::uint32_t));
        to += sizeof(std::uint32_t);
    }
}

void EColumnWriter::MakeReal(const EFieldDesc& desc) {
    column_->MakeReal(desc);
    cellField_.Attach(desc, cellField_.Address(), /*takeOwnership=*/false);
}

std::unique_ptr<EColumn> EColumnWriter::End() {
    Flush();
    column_->End(texts_ != nullptr ? texts_->TakeDictionary() : nullptr);
    texts_.reset();
    return std::move(column_);
}

// ----------------------------------------------------------------------------------------- builder

EColumnsBuilder::EColumnsBuilder(const EFieldSet& fields, DDicoBase* node)
    : records_(std::make_shared<EColumnRecords>()), needsKeys_(true) {
    records_->layout = fields.Packed();
    records_->node = node;
    for (std::uint16_t field = 0; field < fields.Size(); ++field) {
        columns_.push_back(std::make_unique<EColumnWriter>(fields.At(field).Desc()));
    }
    const auto* const rubric = dynamic_cast<const DRubric*>(node);
    if (rubric == nullptr || rubric->Key().empty()) {
        return;
    }
    std::vector<unsigned int> key;
    for (const unsigned int variable : rubric->Key()) {
        const int field = fields.IndexOf(rubric->At(variable)->Name());
        if (field < 0) {
            return;
        }
        key.push_back(static_cast<unsigned int>(field));
    }
    needsKeys_ = false;
    records_->keyForm = EColumnRecords::Key::Columns;
    records_->keyColumns = std::move(key);
}

EColumnsBuilder::~EColumnsBuilder() = default;

void EColumnsBuilder::SetColumn(std::size_t field, std::unique_ptr<EColumnWriter> column) {
    columns_[field] = std::move(column);
}

void EColumnsBuilder::AppendPosition(EPosition position) { records_->AppendPosition(position); }

void EColumnsBuilder::AppendPositions(EPosition first, std::size_t count) {
    needsKeys_ = false;
    records_->keyForm = EColumnRecords::Key::Position;
    for (std::size_t record = 0; record < count; ++record) {
        records_->AppendPosition(first + static_cast<EPosition>(record));
    }
}

void EColumnsBuilder::AppendKey(const EFieldKey& key) {
    const std::size_t earlier = records_->Count() - 1;
    const bool isPosition =
        key.Size() == 1 && key.At(0).Type() == TYPE_INT64 && !key.At(0).IsMissing() &&
        key.At(0).AsInt64() == EColumnRecords::KeyOfPosition(records_->PositionOf(earlier));
    if (earlier == 0 && isPosition) {
        records_->keyForm = EColumnRecords::Key::Position;
    }
    if (isPosition && records_->keyForm == EColumnRecords::Key::Position) {
        return;
    }
    if (keyColumns_.empty() && key.Size() != 0) {
        MakeKeyColumns(key, earlier);
    }
    for (std::uint16_t part = 0; part < keyColumns_.size(); ++part) {
        part < key.Size() ? keyColumns_[part]->Append(key.At(part))
                          : keyColumns_[part]->AppendMissing(1);
    }
}

/// Earlier records had keys that their positions stand for, or none.
void EColumnsBuilder::MakeKeyColumns(const EFieldKey& key, std::size_t earlier) {
    const bool werePositions = records_->keyForm == EColumnRecords::Key::Position;
    records_->keyForm = EColumnRecords::Key::Columns;
    for (std::uint16_t part = 0; part < key.Size(); ++part) {
        const EVariant& value = key.At(part);
        const bool hasMark = TypeInfo(value.Type()).IsFixedSize();
        const EFieldDesc desc(Chaine(), value.Type(),
                              static_cast<std::uint16_t>(value.Size() + (hasMark ? 1 : 0)), 0,
                              nullptr);
        keyColumns_.push_back(std::make_unique<EColumnWriter>(desc));
        for (std::size_t record = 0; record < earlier; ++record) {
            werePositions&& part == 0
                ? keyColumns_[part]->Append(EVariant::FromInt64(
                      EColumnRecords::KeyOfPosition(records_->PositionOf(record))))
                : keyColumns_[part]->AppendMissing(1);
        }
    }
}

std::unique_ptr<EDataColumns> EColumnsBuilder::Finish() {
    for (auto* const columns : {&columns_, &keyColumns_}) {
        for (const auto& column : *columns) {
            E_EXPECTS(column->Size() == records_->Count());
            if (columns == &keyColumns_) {
                records_->keyColumns.push_back(static_cast<unsigned int>(records_->columns.size()));
            }
            records_->columns.push_back(column->End());
        }
    }
    records_->End();
    std::vector<unsigned int> fields;
    for (unsigned int field = 0; field < records_->layout.Size(); ++field) {
        fields.push_back(field);
    }
    const EFieldSet layout = records_->layout;
    return std::unique_ptr<EDataColumns>(new EDataColumns(std::move(records_), layout, fields));
}

}  // namespace etabulon
