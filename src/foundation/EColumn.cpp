#include "foundation/EColumn.h"

#include <cstring>

namespace etabulon {

namespace {

constexpr std::size_t kFirstCapacity = 1024;

EColumn::Form FormOf(const EFieldDesc& desc) noexcept {
    const ETypeInfo& info = TypeInfo(desc.Type());
    if (info.IsSlot()) {
        return EColumn::Form::Texts;
    }
    return info.IsFixedSize() && info.naturalSize <= sizeof(std::uint64_t) ? EColumn::Form::Words
                                                                           : EColumn::Form::Cells;
}

std::size_t WidthOf(const EFieldDesc& desc, EColumn::Form form) noexcept {
    switch (form) {
        case EColumn::Form::Words:
            return TypeInfo(desc.Type()).naturalSize;
        case EColumn::Form::Texts:
            return sizeof(std::uint32_t);
        default:
            return desc.StorageSize();
    }
}

/// Copies a few bytes, mostly one of the sizes that take a single move.
void CopyFew(void* to, const void* from, std::size_t count) noexcept {
    switch (count) {
        case 8:
            std::memcpy(to, from, 8);
            return;
        case 4:
            std::memcpy(to, from, 4);
            return;
        default:
            std::memcpy(to, from, count);
    }
}

}  // namespace

EColumn::EColumn(const EFieldDesc& desc)
    : desc_(desc),
      form_(FormOf(desc)),
      isNullable_(desc.IsNullable()),
      width_(WidthOf(desc, form_)) {}

EColumn::~EColumn() {
    for (Chaine::Body* const body : bodies_) {
        if (body != nullptr) {
            Chaine::Release(body);
        }
    }
}

void EColumn::Read(std::size_t record, void* cell, const void* blank) const noexcept {
    const std::byte* const entry = At(record);
    if (form_ == Form::Words) {
        if (IsMissing(record)) {
            std::memcpy(cell, blank, desc_.StorageSize());
            return;
        }
        CopyFew(cell, entry, width_);
        if (isNullable_) {
            static_cast<std::byte*>(cell)[width_] = std::byte{0};
        }
        return;
    }
    if (form_ == Form::Cells) {
        std::memcpy(cell, entry, width_);
        return;
    }
    std::uint32_t number = 0;
    std::memcpy(&number, entry, sizeof number);
    Chaine::Body* const body = bodies_[number];
    Chaine::Body* held = nullptr;
    std::memcpy(&held, cell, sizeof held);
    if (held == body) {
        return;
    }
    if (body != nullptr) {
        Chaine::Retain(body);
    }
    if (held != nullptr) {
        Chaine::Release(held);
    }
    std::memcpy(cell, &body, sizeof body);
}

std::size_t EColumn::Bytes() const noexcept {
    std::size_t bytes = sizeof *this + chunks_.capacity() * sizeof(Chunk) +
                        bodies_.capacity() * sizeof(Chaine::Body*);
    for (const Chunk& chunk : chunks_) {
        bytes += chunk.capacity * width_ + (chunk.missing != nullptr ? kChunk / 8 : 0);
    }
    for (const Chaine::Body* const body : bodies_) {
        bytes += sizeof(EVariant) + (body != nullptr ? sizeof(Chaine::Body) + body->capacity : 0);
    }
    return bytes;
}

// ----------------------------------------------------------------------------------------- filling

void EColumn::Resize(Chunk& chunk, std::size_t used, std::size_t capacity) const {
    std::unique_ptr<std::byte[]> bytes(new std::byte[capacity * width_]);
    if (used != 0) {
        std::memcpy(bytes.get(), chunk.bytes.get(), used * width_);
    }
    chunk.bytes = std::move(bytes);
    chunk.capacity = capacity;
}

std::byte* EColumn::Add(std::size_t count) {
    const std::size_t used = size_ & (kChunk - 1);
    if (used == 0) {
        chunks_.emplace_back();
    }
    Chunk& chunk = chunks_.back();
    if (used + count > chunk.capacity) {
        // The first chunk grows with the table; a table that needs a second one fills whole chunks.
        std::size_t capacity = chunks_.size() > 1 ? kChunk : kFirstCapacity;
        while (capacity < used + count) {
            capacity *= 2;
        }
        Resize(chunk, used, capacity);
    }
    size_ += count;
    return chunk.bytes.get() + used * width_;
}

void EColumn::SetMissing(std::size_t record) {
    Chunk& chunk = chunks_[record >> kChunkShift];
    if (chunk.missing == nullptr) {
        chunk.missing = std::make_unique<std::uint64_t[]>(kChunk / 64);
    }
    const std::size_t at = record & (kChunk - 1);
    chunk.missing[at / 64] |= std::uint64_t{1} << (at % 64);
}

void EColumn::MakeReal(const EFieldDesc& desc) {
    static_assert(sizeof(std::int64_t) == sizeof(double));
    desc_ = desc;
    for (std::size_t index = 0; index < chunks_.size(); ++index) {
        const std::size_t count = std::min(kChunk, size_ - (index << kChunkShift));
        std::byte* at = chunks_[index].bytes.get();
        for (std::size_t record = 0; record < count; ++record, at += sizeof(double)) {
            std::int64_t whole = 0;
            std::memcpy(&whole, at, sizeof whole);
            const auto real = static_cast<double>(whole);
            std::memcpy(at, &real, sizeof real);
        }
    }
}

void EColumn::End(std::unique_ptr<EBlockDictionary> dictionary) {
    if (const std::size_t used = size_ & (kChunk - 1); used != 0) {
        Resize(chunks_.back(), used, used);
    }
    chunks_.shrink_to_fit();
    dictionary_ = std::move(dictionary);
    if (dictionary_ == nullptr) {
        return;
    }
    EField slot;
    bodies_.assign(dictionary_->Size(), nullptr);
    for (std::uint32_t number = 1; number < dictionary_->Size(); ++number) {
        slot.Attach(desc_, &bodies_[number], /*takeOwnership=*/false);
        slot <<= dictionary_->Value(number);
    }
}

}  // namespace etabulon
