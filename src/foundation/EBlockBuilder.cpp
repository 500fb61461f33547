#include "etabulon/foundation/EBlockBuilder.h"

#include "etabulon/foundation/detail/EHashMix.h"
#include "etabulon/foundation/detail/EPrefetch.h"
#include "foundation/EBlockReader.h"

#include <algorithm>

namespace etabulon {

namespace {

constexpr std::size_t kMost = ERecordBlock::kMostRecords;
constexpr std::size_t kChunkBytes = std::size_t{1} << 16;

Chaine::Body* ReadSlot(const void* slot) noexcept {
    Chaine::Body* body = nullptr;
    std::memcpy(&body, slot, sizeof body);
    return body;
}

// The body whose text begins at `bytes`.
Chaine::Body* BodyOf(const char* bytes) noexcept {
    return reinterpret_cast<Chaine::Body*>(const_cast<char*>(bytes)) - 1;
}

EBlockColumn::Form FormOf(const EFieldDesc& desc, const EBlockRequest::Column& wish) noexcept {
    const ETypeInfo& info = TypeInfo(desc.Type());
    if (info.IsFixedSize() && info.naturalSize <= sizeof(std::uint64_t)) {
        return EBlockColumn::Form::Words;
    }
    return info.IsSlot() && (wish.numbers || wish.IsTextsOnly()) ? EBlockColumn::Form::Texts
                                                                 : EBlockColumn::Form::Cells;
}

}  // namespace

// ------------------------------------------------------------------------------------------- arena

void EBlockArena::Clear() noexcept {
    // Long texts don't keep their memory.
    std::erase_if(chunks_, [](const Chunk& chunk) { return chunk.size > kChunkBytes; });
    used_ = 0;
    next_ = nullptr;
    room_ = 0;
}

void EBlockArena::Grow(std::size_t length) {
    if (used_ == chunks_.size() || chunks_[used_].size < length) {
        const std::size_t size = std::max(length, kChunkBytes);
        chunks_.insert(chunks_.begin() + static_cast<std::ptrdiff_t>(used_),
                       Chunk{std::unique_ptr<char[]>(new char[size]), size});
    }
    next_ = chunks_[used_].bytes.get();
    room_ = chunks_[used_].size;
    ++used_;
}

// ------------------------------------------------------------------------------------------ column

EBlockColumn::EBlockColumn(const EFieldDesc& desc, const EBlockRequest::Column& wish)
    : desc_(desc),
      form_(FormOf(desc, wish)),
      numbers_(wish.numbers),
      isNullable_(desc.IsNullable()),
      size_(TypeInfo(desc.Type()).naturalSize) {
    if (form_ == Form::Words) {
        words_.resize(kMost);
        missing_.resize(kMost / 64);
    } else if (form_ == Form::Cells) {
        cellSize_ = desc.StorageSize();
        cells_.resize(cellSize_ * kMost);
    }
    if (form_ == Form::Texts || (form_ == Form::Cells && numbers_)) {
        texts_.resize(kMost);
    }
    if (numbers_) {
        numbered_.resize(kMost);
        dictionary_->values_.push_back(EVariant::Missing(desc.Type(), desc.Size()));
        dictionary_->keys_.emplace_back();
    }
}

EBlockColumn::~EBlockColumn() { ReleaseCells(); }

void EBlockColumn::ReleaseCells() noexcept {
    if (form_ != Form::Cells || !desc_.IsSlot()) {
        return;
    }
    for (std::size_t record = 0; record < kMost; ++record) {
        if (Chaine::Body* const body = ReadSlot(Cell(record)); body != nullptr) {
            Chaine::Release(body);
        }
    }
}

void EBlockColumn::PutCell(std::size_t record, const void* cell) {
    if (form_ == Form::Words) {
        const void* bytes = cell;
        if (!isNullable_) {
            bytes = reader_->Cell(cell).GetBuffer();
        } else if (static_cast<const std::byte*>(cell)[size_] == std::byte{1}) {
            bytes = nullptr;
        }
        if (bytes == nullptr) {
            return PutMissing(record);
        }
        std::uint64_t word = 0;
        std::memcpy(&word, bytes, size_);
        words_[record] = word;
        return;
    }
    if (form_ == Form::Texts) {
        const Chaine::Body* const body = ReadSlot(cell);
        if (body == nullptr) {
            return PutMissing(record);
        }
        if (!numbers_) {
            return PutText(record, body->Text(), body->length - 1);
        }
        hasBodies_ = true;
        texts_[record] = {body->Text(), body->length - 1};
        return;
    }
    std::byte* const own = Cell(record);
    if (desc_.IsSlot()) {
        Chaine::Body* const taken = ReadSlot(cell);
        Chaine::Body* const held = ReadSlot(own);
        if (taken != nullptr) {
            Chaine::Retain(taken);
        }
        if (held != nullptr) {
            Chaine::Release(held);
        }
    }
    std::memcpy(own, cell, cellSize_);
}

// ----------------------------------------------------------------------------------------- builder

EBlockBuilder::EBlockBuilder(const EBlockSource& source, const EBlockRequest& request,
                             const std::vector<EFieldDesc>& descs)
    : hashes_(kMost), candidates_(kMost) {
    block_.source_ = &source;
    if (request.keys) {
        block_.positions_.resize(kMost);
    }
    for (std::size_t index = 0; index < descs.size(); ++index) {
        AddColumn(descs[index], request.columns[index]);
    }
}

EBlockBuilder::EBlockBuilder(const EFieldDesc& desc) : hashes_(kMost), candidates_(kMost) {
    AddColumn(desc, {nullptr, /*numbers=*/true, /*values=*/false});
}

void EBlockBuilder::AddColumn(const EFieldDesc& desc, const EBlockRequest::Column& wish) {
    auto column = std::make_unique<EBlockColumn>(desc, wish);
    block_.readers_.push_back(std::make_unique<ERecordBlock::Reader>(desc));
    column->reader_ = block_.readers_.back().get();
    ERecordBlock::Column& shown = block_.columns_.emplace_back();
    shown.type = &TypeInfo(desc.Type());
    if (column->numbers_) {
        shown.numbers = column->numbered_.data();
        shown.dictionary = column->dictionary_;
    }
    if (column->form_ == EBlockColumn::Form::Words) {
        shown.words = column->words_.data();
    } else if (column->form_ == EBlockColumn::Form::Texts) {
        shown.texts = column->numbers_ ? nullptr : column->texts_.data();
    } else if (column->form_ == EBlockColumn::Form::Cells) {
        shown.cells = column->cells_.data();
        shown.cellSize = column->cellSize_;
    }
    columns_.push_back(std::move(column));
}

std::unique_ptr<EBlockDictionary> EBlockBuilder::TakeDictionary() {
    EBlockDictionary& dictionary = *columns_[0]->dictionary_;
    dictionary.values_.shrink_to_fit();
    std::vector<EBlockDictionary::Key>().swap(dictionary.keys_);
    dictionary.longKeys_.clear();
    dictionary.longKeys_.shrink_to_fit();
    detail::HashIndex().Swap(dictionary.index_);
    return std::move(columns_[0]->ownDictionary_);
}

void EBlockBuilder::ShareDictionaries(const EBlockBuilder& owner) noexcept {
    for (std::size_t index = 0; index < columns_.size(); ++index) {
        EBlockColumn& column = *columns_[index];
        column.dictionary_ = owner.columns_[index]->dictionary_;
        column.ownDictionary_.reset();
        if (column.numbers_) {
            block_.columns_[index].dictionary = column.dictionary_;
        }
    }
}

EBlockBuilder::~EBlockBuilder() = default;

void EBlockBuilder::Begin() noexcept {
    for (const auto& column : columns_) {
        column->arena_.Clear();
        if (column->hasMissing_) {
            std::fill(column->missing_.begin(), column->missing_.end(), 0);
            column->hasMissing_ = false;
        }
    }
}

const ERecordBlock& EBlockBuilder::Finish(std::size_t size) {
    block_.size_ = size;
    for (std::size_t index = 0; index < columns_.size(); ++index) {
        EBlockColumn& column = *columns_[index];
        block_.columns_[index].missing = column.hasMissing_ ? column.missing_.data() : nullptr;
        if (column.numbers_) {
            Number(column, size);
        }
    }
    return block_;
}

void EBlockBuilder::Number(EBlockColumn& column, std::size_t size) {
    if (column.form_ == EBlockColumn::Form::Words) {
        return NumberWords(column, size);
    }
    if (column.form_ == EBlockColumn::Form::Cells) {
        for (std::size_t record = 0; record < size; ++record) {
            const EVariant& value = column.reader_->Cell(column.Cell(record));
            column.texts_[record] = {static_cast<const char*>(value.GetBuffer()),
                                     value.IsMissing() ? 0 : value.ByteCount()};
        }
    }
    NumberTexts(column, size);
}

void EBlockBuilder::NumberWords(EBlockColumn& column, std::size_t size) {
    const EBlockDictionary& dictionary = *column.dictionary_;
    for (std::size_t record = 0; record < size; ++record) {
        hashes_[record] = detail::HashNumber(column.words_[record]);
        dictionary.index_.Prefetch(hashes_[record]);
    }
    for (std::size_t record = 0; record < size; ++record) {
        if (column.hasMissing_ && (column.missing_[record / 64] >> (record % 64) & 1U) != 0) {
            column.numbered_[record] = EBlockDictionary::kMissing;
            continue;
        }
        const std::uint64_t word = column.words_[record];
        const std::int32_t found =
            dictionary.index_.Find(hashes_[record], [&dictionary, word](std::int32_t number) {
                return detail::WordAt(dictionary.keys_[static_cast<std::size_t>(number)].bytes) ==
                       word;
            });
        column.numbered_[record] =
            found >= 0 ? static_cast<std::uint32_t>(found)
                       : AddValue(column, column.reader_->Word(word), hashes_[record],
                                  {reinterpret_cast<const char*>(&word), sizeof word});
    }
}

// One pass for each memory access, so that the misses of all records of the block overlap: first
// the slots of the index, then the keys.
void EBlockBuilder::FindCandidates(const EBlockColumn& column, std::size_t size) {
    const EBlockDictionary& dictionary = *column.dictionary_;
    for (std::size_t record = 0; record < size; ++record) {
        const EBlockColumn::Text& text = column.texts_[record];
        hashes_[record] = text.bytes != nullptr ? detail::HashBytes(text.bytes, text.length) : 0;
    }
    // Smaller dictionaries fit the first-level cache.
    const bool isLarge = dictionary.Size() > 256;
    for (std::size_t record = 0; isLarge && record < size; ++record) {
        dictionary.index_.Prefetch(hashes_[record]);
    }
    for (std::size_t record = 0; record < size; ++record) {
        const std::int32_t candidate = dictionary.index_.Candidate(hashes_[record]);
        candidates_[record] = candidate;
        if (isLarge && candidate >= 0) {
            detail::PrefetchToRead(&dictionary.keys_[static_cast<std::size_t>(candidate)]);
        }
    }
}

void EBlockBuilder::NumberTexts(EBlockColumn& column, std::size_t size) {
    const EBlockDictionary& dictionary = *column.dictionary_;
    FindCandidates(column, size);
    for (std::size_t record = 0; record < size; ++record) {
        const EBlockColumn::Text text = column.texts_[record];
        if (text.bytes == nullptr) {
            column.numbered_[record] = EBlockDictionary::kMissing;
            continue;
        }
        const auto isIt = [&dictionary, &text](std::int32_t number) {
            const EBlockDictionary::Key& key = dictionary.keys_[static_cast<std::size_t>(number)];
            return key.length == text.length &&
                   detail::HaveSameBytes(key.Bytes(), text.bytes, text.length);
        };
        std::int32_t found = candidates_[record];
        if (found < 0 || !isIt(found)) {
            // An earlier record of the block may have added the text.
            found = dictionary.index_.Find(hashes_[record], isIt);
        }
        column.numbered_[record] =
            found >= 0 ? static_cast<std::uint32_t>(found) : AddText(column, record);
    }
}

std::uint32_t EBlockBuilder::AddText(EBlockColumn& column, std::size_t record) {
    const EBlockColumn::Text& text = column.texts_[record];
    const std::string_view key(text.bytes, text.length);
    if (column.form_ == EBlockColumn::Form::Cells) {
        return AddValue(column, column.reader_->Cell(column.Cell(record)), hashes_[record], key);
    }
    const Chaine body = column.hasBodies_ ? Chaine::Share(BodyOf(text.bytes)) : Chaine(key);
    const Chaine::Body* const slot = body.GetBody();
    return AddValue(column, column.reader_->Cell(&slot), hashes_[record], key);
}

std::uint32_t EBlockBuilder::AddValue(EBlockColumn& column, const EVariant& value,
                                      std::uint32_t hash, std::string_view bytes) {
    EBlockDictionary& dictionary = *column.dictionary_;
    const std::uint32_t number = dictionary.Size();
    dictionary.index_.Reserve(number + 1);
    EBlockDictionary::Key& key = dictionary.keys_.emplace_back();
    key.length = static_cast<std::uint32_t>(bytes.size());
    if (bytes.size() > EBlockDictionary::Key::kInside) {
        dictionary.longKeys_.push_back(std::unique_ptr<char[]>(new char[bytes.size()]));
        const char* const kept = dictionary.longKeys_.back().get();
        std::memcpy(dictionary.longKeys_.back().get(), bytes.data(), bytes.size());
        std::memcpy(key.bytes, &kept, sizeof kept);
    } else if (!bytes.empty()) {
        std::memcpy(key.bytes, bytes.data(), bytes.size());
    }
    dictionary.values_.push_back(value);
    dictionary.index_.Add(hash, static_cast<std::int32_t>(number));
    return number;
}

}  // namespace etabulon
