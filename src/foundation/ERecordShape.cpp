#include "foundation/ERecordShape.h"

#include "etabulon/foundation/EExpects.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace etabulon {

namespace {

// 1 is the number of the sets that have no shape.
constinit std::atomic<std::uint64_t> nextNumber{2};

std::uint64_t NewNumber() noexcept { return nextNumber.fetch_add(1, std::memory_order_relaxed); }

std::byte* Bytes(void* at) noexcept { return static_cast<std::byte*>(at); }
const std::byte* Bytes(const void* at) noexcept { return static_cast<const std::byte*>(at); }

Chaine::Body* ReadSlot(const void* at) noexcept {
    Chaine::Body* body = nullptr;
    std::memcpy(&body, at, sizeof(body));
    return body;
}

void WriteSlot(void* at, Chaine::Body* body) noexcept { std::memcpy(at, &body, sizeof(body)); }

void CopySlot(void* to, const void* from) noexcept {
    Chaine::Body* const taken = ReadSlot(from);
    Chaine::Body* const left = ReadSlot(to);
    if (taken == left) {
        return;
    }
    if (taken != nullptr) {
        Chaine::Retain(taken);
    }
    WriteSlot(to, taken);
    if (left != nullptr) {
        Chaine::Release(left);
    }
}

std::size_t AlignedForSlots(std::size_t offset) noexcept {
    return (offset + sizeof(Chaine) - 1) / sizeof(Chaine) * sizeof(Chaine);
}

}  // namespace

static_assert(sizeof(Chaine) == sizeof(Chaine::Body*));

ERecordShape::ERecordShape() : number_(NewNumber()) {}

ERecordShape::ERecordShape(const ERecordShape& other)
    : number_(NewNumber()),
      cells_(other.cells_),
      slots_(other.slots_),
      blank_(other.blank_),
      laidOut_(other.laidOut_),
      recordSize_(other.recordSize_),
      recordSlots_(other.recordSlots_),
      totalSize_(other.totalSize_),
      rubric_(other.rubric_),
      names_(other.names_),
      numbers_(other.numbers_) {}

void ERecordShape::Renumber() noexcept { number_ = NewNumber(); }

std::size_t ERecordShape::ImageBytes() const noexcept { return AlignedForSlots(blank_.size()); }

void* ERecordShape::AddressIn(void* image, std::size_t index) const noexcept {
    return image == nullptr ? nullptr : Bytes(image) + cells_[index].offset;
}

const void* ERecordShape::AddressIn(const void* image, std::size_t index) const noexcept {
    return image == nullptr ? nullptr : Bytes(image) + cells_[index].offset;
}

std::shared_ptr<const ERecordShape> ERecordShape::Packed(
    const std::shared_ptr<const ERecordShape>& shape) {
    if (shape == nullptr || shape->laidOut_ == shape->cells_.size()) {
        return shape;
    }
    std::call_once(shape->packing_, [&shape] {
        auto packed = std::make_shared<ERecordShape>(*shape);
        packed->number_ = shape->number_;
        packed->EndRecord();
        shape->packed_ = std::move(packed);
    });
    return shape->packed_;
}

void ERecordShape::LayOut(const EFieldDesc& desc) {
    E_EXPECTS(laidOut_ == cells_.size());
    Append(desc);
    laidOut_ = cells_.size();
    Index(static_cast<std::uint32_t>(cells_.size() - 1));
}

void ERecordShape::EndRecord() {
    if (!slots_.empty()) {
        blank_.resize(AlignedForSlots(blank_.size()));
    }
    laidOut_ = cells_.size();
    recordSize_ = blank_.size();
    recordSlots_ = slots_.size();
}

void ERecordShape::Add(const EFieldDesc& desc) {
    Append(desc);
    Index(static_cast<std::uint32_t>(cells_.size() - 1));
}

void ERecordShape::Append(const EFieldDesc& desc) {
    E_EXPECTS(cells_.size() < 0xFFFF);
    const bool isSlot = desc.IsSlot();
    const std::size_t offset = isSlot ? AlignedForSlots(blank_.size()) : blank_.size();
    const std::size_t size = desc.StorageSize();
    blank_.resize(offset + size);
    if (isSlot) {
        slots_.push_back(offset);
    } else if (TypeInfo(desc.Type()).storage == EStorage::BlankText) {
        std::fill_n(blank_.begin() + static_cast<std::ptrdiff_t>(offset), size, std::byte{' '});
    } else if (TypeInfo(desc.Type()).IsFixedSize()) {
        EField cell;
        cell.Attach(desc, blank_.data() + offset, /*takeOwnership=*/false);
        cell.SetMissing();
    }
    cells_.push_back({desc, offset});
    totalSize_ += size;
}

void ERecordShape::Index(std::uint32_t cellIndex) {
    const EFieldDesc& desc = cells_[cellIndex].desc;
    if (const Chaine& name = desc.Name(); !name.IsEmpty()) {
        names_.Add(name, cellIndex, /*preferred=*/true);
        if (cellIndex < laidOut_ && !rubric_.IsEmpty()) {
            Chaine qualified(rubric_);
            qualified.Append('.');
            qualified += name;
            names_.Add(qualified, cellIndex, /*preferred=*/false);
        }
    }
    if (const unsigned long number = desc.Infos().Accelerator(); number != 0) {
        numbers_.Add(number, cellIndex, /*preferred=*/true);
    }
}

void ERecordShape::SetRubric(const Chaine& rubric) {
    rubric_ = rubric;
    names_.Clear();
    numbers_.Clear();
    for (std::uint32_t cellIndex = 0; cellIndex < cells_.size(); ++cellIndex) {
        Index(cellIndex);
    }
}

void ERecordShape::CopyCell(std::size_t index, void* to, const void* from) const noexcept {
    const Cell& cell = cells_[index];
    if (to == nullptr || to == from) {
        return;
    }
    const void* const source = from != nullptr ? from : blank_.data() + cell.offset;
    if (cell.desc.IsSlot()) {
        CopySlot(to, source);
    } else if (const std::size_t size = cell.desc.StorageSize(); size != 0) {
        // Not memcpy: a caller may have laid one added field over a part of another.
        std::memmove(to, source, size);
    }
}

void ERecordShape::Construct(const Part& part, void* to) noexcept {
    if (!part.blank.empty()) {
        std::memcpy(to, part.blank.data(), part.blank.size());
    }
}

void ERecordShape::Destroy(const Part& part, void* at) noexcept {
    for (const std::size_t offset : part.slots) {
        if (Chaine::Body* const body = ReadSlot(Bytes(at) + offset); body != nullptr) {
            Chaine::Release(body);
        }
    }
}

void ERecordShape::Clear(const Part& part, void* at) noexcept {
    Destroy(part, at);
    Construct(part, at);
}

void ERecordShape::Copy(const Part& part, void* to, const void* from) noexcept {
    if (to == from || part.blank.empty()) {
        return;
    }
    for (const std::size_t offset : part.slots) {
        CopySlot(Bytes(to) + offset, Bytes(from) + offset);
    }
    std::memcpy(to, from, part.blank.size());  // the slots are equal already
}

}  // namespace etabulon
