#include "etabulon/foundation/EVariant.h"

#include "etabulon/foundation/EExpects.h"
#include "foundation/EVariantAccess.h"

#include <algorithm>
#include <array>
#include <new>

namespace etabulon {
namespace {

constexpr std::uint16_t kGuidSize = 16;

// By EStorage: the image that stands for a missing value in a plain cell, and the image written for
// a present value that has it: an equal value where there is one, otherwise the next.
struct EReserved {
    std::uint64_t image;
    std::uint64_t instead;
};

constexpr std::array<EReserved, 21> kReserved = {{
    {0x80, 0x81},                              // Int8
    {0x8000, 0x8001},                          // Int16
    {0x80000000, 0x80000001},                  // Int32
    {0x8000000000000000, 0x8000000000000001},  // Int64
    {0xFF, 0xFE},                              // UInt8
    {0xFFFF, 0xFFFE},                          // UInt16
    {0xFFFFFFFF, 0xFFFFFFFE},                  // UInt32
    {0xFFFFFFFFFFFFFFFF, 0xFFFFFFFFFFFFFFFE},  // UInt64
    {0xFF, 0xFE},                              // Bool
    {0xFFF8E7AB00000001, 0xFFF8E7AB00000000},  // Double: one NaN of many
    {0xFFC0E7AB, 0xFFC0E7AA},                  // Float
    {0x80000000, 0x80000001},                  // Scaled32
    {0x8000000000000000, 0x8000000000000001},  // Scaled64
    {0, 1},                                    // Date
    {0xFFFFFFFF, 0xFFFFFFFE},                  // Time: -1
    {0x8000000000000000, 0x8000000000000001},  // Timestamp
    {},
    {},
    {},
    {},
    {},  // texts and bytes have none
}};
static_assert(kReserved.size() == static_cast<std::size_t>(EStorage::Raw) + 1);

const EReserved& ReservedOf(const ETypeInfo& info) noexcept {
    return kReserved[static_cast<std::size_t>(info.storage)];
}

template <class T>
std::uint64_t BitsAs(const void* bytes) noexcept {
    T bits;
    std::memcpy(&bits, bytes, sizeof bits);
    return bits;
}

template <class T>
void PutBitsAs(void* bytes, std::uint64_t bits) noexcept {
    const T narrow = static_cast<T>(bits);
    std::memcpy(bytes, &narrow, sizeof narrow);
}

std::uint64_t Bits(const void* bytes, std::size_t size) noexcept {
    switch (size) {
        case 8:
            return BitsAs<std::uint64_t>(bytes);
        case 4:
            return BitsAs<std::uint32_t>(bytes);
        case 2:
            return BitsAs<std::uint16_t>(bytes);
        default:
            return BitsAs<std::uint8_t>(bytes);
    }
}

void PutBits(void* bytes, std::size_t size, std::uint64_t bits) noexcept {
    switch (size) {
        case 8:
            return PutBitsAs<std::uint64_t>(bytes, bits);
        case 4:
            return PutBitsAs<std::uint32_t>(bytes, bits);
        case 2:
            return PutBitsAs<std::uint16_t>(bytes, bits);
        default:
            return PutBitsAs<std::uint8_t>(bytes, bits);
    }
}

bool IsAllZero(const void* bytes, std::size_t size) noexcept {
    const auto* first = static_cast<const unsigned char*>(bytes);
    return std::all_of(first, first + size, [](unsigned char byte) { return byte == 0; });
}

// The reserved image of a GUID is the nil GUID.
bool IsReserved(const ETypeInfo& info, const void* bytes) noexcept {
    return info.naturalSize <= sizeof(std::uint64_t)
               ? Bits(bytes, info.naturalSize) == ReservedOf(info).image
               : IsAllZero(bytes, info.naturalSize);
}

bool IsMarked(const void* bytes, std::size_t naturalSize) noexcept {
    return static_cast<const unsigned char*>(bytes)[naturalSize] == 1;
}

/// Copies the bytes of a number; most numbers take 4 or 8, which is one load and one store.
void CopyNatural(void* to, const void* from, std::size_t naturalSize) noexcept {
    switch (naturalSize) {
        case sizeof(std::uint32_t):
            std::memmove(to, from, sizeof(std::uint32_t));
            break;
        case sizeof(std::uint64_t):
            std::memmove(to, from, sizeof(std::uint64_t));
            break;
        default:
            std::memmove(to, from, naturalSize);
            break;
    }
}

}  // namespace

EVariant::EVariant(const char* text) : EVariant(Chaine(text)) {}

EVariant EVariant::FromText(std::uint16_t type, std::uint16_t size, const Chaine& text) {
    EVariant value = Missing(type, size);
    if (value.kind_ == Kind::Empty) {
        value.kind_ = Kind::Missing;  // a text of size 0 isn't an empty variant
    }
    value <<= EVariant(text);
    return value;
}

EVariant EVariant::Missing(std::uint16_t type, std::uint16_t size) {
    EVariant value;
    value.type_ = type;
    value.rep_ = static_cast<std::uint8_t>(type);
    const std::uint8_t natural = kTypeInfos[value.rep_].naturalSize;
    value.size_ = natural != 0 ? natural : size;
    value.kind_ = (value.type_ | value.size_) == 0 ? Kind::Empty : Kind::Missing;
    return value;
}

void EVariant::FreeHeap() noexcept { delete[] store_.heap.bytes; }

// Returns owned storage for size_ declared bytes of the type, with a NUL after them if it is text.
unsigned char* EVariant::Room() {
    const bool text = kTypeInfos[rep_].valueClass == EValueClass::Text;
    if (kind_ == Kind::Heap && store_.heap.count == size_) {
        return store_.heap.bytes;
    }
    if (size_ < kInlineBytes || (size_ == kInlineBytes && !text)) {
        Drop();
        kind_ = Kind::Inline;
        if (size_ < kInlineBytes) {
            store_.bytes[size_] = 0;
        }
        return store_.bytes;
    }
    auto* bytes = new unsigned char[std::size_t{size_} + 1];
    bytes[size_] = 0;
    Drop();
    kind_ = Kind::Heap;
    store_.heap.bytes = bytes;
    store_.heap.count = size_;
    return bytes;
}

void EVariant::CopyOther(const EVariant& other) {
    if (other.kind_ == Kind::View) {
        AssignView(other);
    } else {
        AssignOther(other);
    }
}

void EVariant::AssignOther(const EVariant& other) {
    if (this == &other) {
        return;
    }
    if (kind_ == Kind::View) {
        // A field assigned through its base keeps its view: it stores the value, which leaves
        // EField::Empty() empty.
        *this <<= other;
        return;
    }
    switch (other.kind_) {
        case Kind::View:
            AssignView(other);
            break;
        case Kind::Heap:
            AssignSized(other, other.store_.heap.bytes);
            break;
        default: {
            if (other.kind_ == Kind::Text) {
                Chaine::Retain(other.store_.text);
            }
            Drop();
            CopyHeader(other);
            store_ = other.store_;
            break;
        }
    }
}

void EVariant::AssignSized(const EVariant& source, const void* bytes) {
    const bool fits = kind_ == Kind::Heap && store_.heap.count == source.size_;
    if (!fits) {
        Drop();
        kind_ = Kind::Missing;
    }
    layout_ = Layout::Owned;
    type_ = source.type_;
    size_ = source.size_;
    rep_ = source.rep_;
    std::memcpy(Room(), bytes, size_);
}

void EVariant::AssignView(const EVariant& view) {
    const void* cell = view.store_.view;
    if (view.layout_ == Layout::Sized && cell != nullptr) {
        AssignSized(view, cell);
        return;
    }
    if (view.layout_ == Layout::Slot && cell != nullptr) {
        Chaine::Body* const body = *static_cast<Chaine::Body* const*>(cell);
        if (body != nullptr) {
            if (kind_ != Kind::Text || store_.text != body) {
                Chaine::Retain(body);
                Drop();
                kind_ = Kind::Text;
                store_.text = body;
            }
            layout_ = Layout::Owned;
            type_ = view.type_;
            size_ = view.size_;
            rep_ = view.rep_;
            return;
        }
        cell = nullptr;
    }
    Drop();
    layout_ = Layout::Owned;
    type_ = view.type_;
    size_ = view.size_;
    rep_ = view.rep_;
    kind_ = ReadFixed(view, cell) ? Kind::Inline : Kind::Missing;
    if (kind_ == Kind::Missing && (type_ | size_) == 0) {
        kind_ = Kind::Empty;
    }
}

// Copies the cell of a fixed-size type into the inline bytes; false when the cell is missing.
bool EVariant::ReadFixed(const EVariant& view, const void* cell) noexcept {
    if (cell == nullptr) {
        return false;
    }
    const bool nullable = view.layout_ == Layout::Nullable;
    if (size_ == sizeof(std::uint64_t)) {
        const std::uint64_t bits = BitsAs<std::uint64_t>(cell);
        std::memcpy(store_.bytes, &bits, sizeof bits);
        return nullable ? !IsMarked(cell, sizeof bits) : bits != ReservedOf(kTypeInfos[rep_]).image;
    }
    const ETypeInfo& info = kTypeInfos[rep_];
    if (nullable ? IsMarked(cell, info.naturalSize) : IsReserved(info, cell)) {
        return false;
    }
    CopyNatural(store_.bytes, cell, info.naturalSize);
    return true;
}

const void* EVariant::ViewBuffer() const noexcept {
    if (store_.view == nullptr) {
        return nullptr;
    }
    const ETypeInfo& info = kTypeInfos[rep_];
    switch (layout_) {
        case Layout::Plain:
            return IsReserved(info, store_.view) ? nullptr : store_.view;
        case Layout::Nullable:
            return IsMarked(store_.view, info.naturalSize) ? nullptr : store_.view;
        case Layout::Slot: {
            const auto* body = *static_cast<Chaine::Body* const*>(store_.view);
            return body == nullptr ? nullptr : body->Text();
        }
        default:
            return store_.view;
    }
}

std::size_t EVariant::ByteCount() const noexcept { return EVariantAccess::Read(*this).count; }

namespace {

/// Fills a cell of sized text or bytes. A text ends before the first 0 of the `size` bytes.
void FillSized(EVariant& value, const ETypeInfo& info, const char* bytes, std::size_t size) {
    if (bytes == nullptr) {
        EVariantAccess::PutSized(value, {});
        return;
    }
    const bool isText = info.storage == EStorage::ZText;
    const std::string_view content(bytes, isText ? ::strnlen(bytes, size) : size);
    if (info.capitals) {
        value <<= EVariant(Chaine(content.data(), content.size()));
    } else {
        EVariantAccess::PutSized(value, content);
    }
}

}  // namespace

bool EVariant::Init(std::uint16_t type, std::uint16_t size, const void* buffer) {
    if (kind_ == Kind::View) {
        return false;
    }
    EVariant value = Missing(type, size);
    value.kind_ = Kind::Missing;  // even of size 0: initialised isn't empty
    const ETypeInfo& info = kTypeInfos[value.rep_];
    const auto* characters = static_cast<const char*>(buffer);
    try {
        if (info.IsSlot()) {
            const bool text = info.storage == EStorage::OwnedText;
            const std::size_t given = text ? ~std::size_t{0} : size;
            value.InitOwned(characters, buffer == nullptr ? 0 : given);
        } else if (!info.IsFixedSize()) {
            FillSized(value, info, characters, size);
        } else {
            if (size != 0 && size != info.naturalSize && size != info.naturalSize + 1) {
                return false;
            }
            constexpr unsigned char kZero[kGuidSize] = {};
            if (buffer == nullptr || size <= info.naturalSize ||
                !IsMarked(buffer, info.naturalSize)) {
                EVariantAccess::PutFixed(value, buffer == nullptr ? kZero : buffer);
            }
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    *this = std::move(value);
    return true;
}

void EVariant::InitOwned(const char* characters, std::size_t length) {
    const bool capitals = kTypeInfos[rep_].capitals;
    const Chaine text = length == ~std::size_t{0} ? Chaine(characters) : Chaine(characters, length);
    if (capitals) {
        *this <<= EVariant(text);
    } else {
        EVariantAccess::PutBody(*this, text.GetBody());
    }
}

void EVariant::Set(const EVariant& other) { *this <<= other; }

EVariant& EVariant::operator<<=(const EVariant& other) {
    if (kind_ == Kind::Empty) {
        return *this = other;
    }
    const EContent source = EVariantAccess::Read(other);
    if (source.IsMissing()) {
        SetMissing();
    } else if (rep_ == other.rep_ && source.info->IsFixedSize()) {
        EVariantAccess::PutFixed(*this, source.bytes);
    } else if (rep_ == other.rep_ && source.body != nullptr) {
        EVariantAccess::PutBody(*this, source.body);
    } else {
        EVariantAccess::Convert(*this, source);
    }
    return *this;
}

void EVariant::SetMissing() {
    if (kind_ == Kind::Empty) {
        return;
    }
    if (kind_ != Kind::View) {
        Drop();
        kind_ = Kind::Missing;
        return;
    }
    if (store_.view == nullptr) {
        return;
    }
    const ETypeInfo& info = kTypeInfos[rep_];
    switch (layout_) {
        case Layout::Slot:
            if (auto** slot = static_cast<Chaine::Body**>(store_.view); *slot != nullptr) {
                Chaine::Release(std::exchange(*slot, nullptr));
            }
            break;
        case Layout::Nullable:
            std::memset(store_.view, 0, info.naturalSize);
            static_cast<unsigned char*>(store_.view)[info.naturalSize] = 1;
            break;
        case Layout::Plain:
            if (info.naturalSize <= sizeof(std::uint64_t)) {
                PutBits(store_.view, info.naturalSize, ReservedOf(info).image);
            } else {
                std::memset(store_.view, 0, info.naturalSize);
            }
            break;
        default:
            EVariantAccess::PutSized(*this, {});
            break;
    }
}

void EVariantAccess::PutFixed(EVariant& cell, const void* bytes) noexcept {
    const ETypeInfo& info = Info(cell);
    if (cell.kind_ != EVariant::Kind::View) {
        CopyNatural(cell.store_.bytes, bytes, info.naturalSize);
        cell.kind_ = EVariant::Kind::Inline;
        return;
    }
    void* const address = cell.store_.view;
    if (address == nullptr) {
        return;
    }
    if (cell.layout_ == EVariant::Layout::Nullable) {
        CopyNatural(address, bytes, info.naturalSize);
        static_cast<unsigned char*>(address)[info.naturalSize] = 0;
    } else if (info.naturalSize > sizeof(std::uint64_t)) {
        std::memmove(address, bytes, info.naturalSize);
    } else {
        const EReserved& reserved = ReservedOf(info);
        const std::uint64_t bits = Bits(bytes, info.naturalSize);
        PutBits(address, info.naturalSize, bits == reserved.image ? reserved.instead : bits);
    }
}

void EVariantAccess::PutBody(EVariant& cell, Chaine::Body* body) noexcept {
    if (cell.kind_ == EVariant::Kind::View) {
        auto** slot = static_cast<Chaine::Body**>(cell.store_.view);
        if (slot != nullptr && *slot != body) {
            Chaine::Retain(body);
            Chaine::Body* const old = std::exchange(*slot, body);
            if (old != nullptr) {
                Chaine::Release(old);
            }
        }
        return;
    }
    if (cell.kind_ != EVariant::Kind::Text || cell.store_.text != body) {
        Chaine::Retain(body);
        cell.Drop();
        cell.kind_ = EVariant::Kind::Text;
        cell.store_.text = body;
    }
}

void EVariantAccess::PutOwned(EVariant& cell, std::string_view content) {
    const bool view = cell.kind_ == EVariant::Kind::View;
    if (view && cell.store_.view == nullptr) {
        return;
    }
    Chaine text;
    if (view) {
        auto** slot = static_cast<Chaine::Body**>(cell.store_.view);
        if (*slot != nullptr) {
            text = Chaine::Adopt(std::exchange(*slot, nullptr));
        }
    } else if (cell.kind_ == EVariant::Kind::Text) {
        text = Chaine::Adopt(cell.store_.text);
        cell.kind_ = EVariant::Kind::Missing;
    }
    text.Assign(content);
    if (view) {
        *static_cast<Chaine::Body**>(cell.store_.view) = text.Detach();
    } else {
        cell.store_.text = text.Detach();
        cell.kind_ = EVariant::Kind::Text;
    }
}

void EVariantAccess::PutSized(EVariant& cell, std::string_view content) {
    auto* address = cell.kind_ == EVariant::Kind::View
                        ? static_cast<unsigned char*>(cell.store_.view)
                        : cell.Room();
    if (address == nullptr) {
        return;
    }
    const ETypeInfo& info = Info(cell);
    const std::size_t count = std::min<std::size_t>(content.size(), cell.size_);
    if (count != 0) {
        std::memmove(address, content.data(), count);
    }
    std::memset(address + count, info.storage == EStorage::BlankText ? ' ' : 0, cell.size_ - count);
}

}  // namespace etabulon
