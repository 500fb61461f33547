#pragma once

#include "etabulon/foundation/EVariant.h"
#include "etabulon/foundation/detail/EPrefetch.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace etabulon {

/// The bytes of a value, wherever they lie; null when there is none. Borrowed.
struct EContent {
    const unsigned char* bytes = nullptr;
    std::size_t count = 0;
    Chaine::Body* body = nullptr;  // of owned text and bytes
    const ETypeInfo* info = nullptr;

    [[nodiscard]] bool IsMissing() const noexcept { return bytes == nullptr; }
    template <class T>
    [[nodiscard]] T As() const noexcept {
        T value;
        std::memcpy(&value, bytes, sizeof value);
        return value;
    }
    /// All of them as characters.
    [[nodiscard]] std::string_view Raw() const noexcept {
        return {reinterpret_cast<const char*>(bytes), count};
    }
};

/// The access of EVariant's sources to its cells, beyond the public operations.
struct EVariantAccess {
    [[nodiscard]] static EContent Read(const EVariant& value) noexcept;
    [[nodiscard]] static bool IsEmpty(const EVariant& value) noexcept {
        return value.kind_ == EVariant::Kind::Empty;
    }
    [[nodiscard]] static bool IsView(const EVariant& value) noexcept {
        return value.kind_ == EVariant::Kind::View;
    }
    [[nodiscard]] static const ETypeInfo& Info(const EVariant& value) noexcept {
        return kTypeInfos[value.rep_];
    }

    /// Prefetches what a copy of the value changes: the count in the body of a text.
    static void PrefetchShare(const EVariant& value) noexcept {
        if (value.kind_ == EVariant::Kind::Text) {
            detail::PrefetchToWrite(value.store_.text);
        }
    }

    // Each stores a present value in the cell, which has a type and keeps it.
    /// The natural bytes of a fixed-size type.
    static void PutFixed(EVariant& cell, const void* bytes) noexcept;
    /// The same from a word that begins with them, of up to 8 bytes, in a cell that is no view.
    static void PutWord(EVariant& cell, std::uint64_t word) noexcept {
        std::memcpy(cell.store_.bytes, &word, sizeof word);
        cell.kind_ = EVariant::Kind::Inline;
    }
    /// Owned text or bytes; shares the body.
    static void PutBody(EVariant& cell, Chaine::Body* body) noexcept;
    /// Owned text or bytes, as a copy in the cell's own body where that is possible.
    static void PutOwned(EVariant& cell, std::string_view content);
    /// Declared bytes: cut, or padded as the type is.
    static void PutSized(EVariant& cell, std::string_view content);
    /// Any value, converted; missing where it doesn't convert. In EVariantConvert.cpp.
    static void Convert(EVariant& cell, const EContent& source);

    template <class T>
    [[nodiscard]] static EVariant Make(std::uint16_t type, T value) noexcept {
        return EVariant(type, value);
    }
};

/// The content of a text: by its type up to the NUL, without padding, or all bytes.
[[nodiscard]] std::string_view TextOf(const EContent& text) noexcept;

inline EContent EVariantAccess::Read(const EVariant& value) noexcept {
    using Kind = EVariant::Kind;
    const ETypeInfo* info = &kTypeInfos[value.rep_];
    switch (value.kind_) {
        case Kind::Inline:
            return {value.store_.bytes, value.size_, nullptr, info};
        case Kind::Text:
            return {reinterpret_cast<const unsigned char*>(value.store_.text->Text()),
                    value.store_.text->length - 1, value.store_.text, info};
        case Kind::Heap:
            return {value.store_.heap.bytes, value.store_.heap.count, nullptr, info};
        case Kind::View: {
            const auto* bytes = static_cast<const unsigned char*>(value.ViewBuffer());
            if (bytes == nullptr) {
                return {nullptr, 0, nullptr, info};
            }
            if (value.layout_ == EVariant::Layout::Slot) {
                auto* body = *static_cast<Chaine::Body**>(value.store_.view);
                return {bytes, body->length - 1, body, info};
            }
            return {bytes, value.size_, nullptr, info};
        }
        default:
            return {nullptr, 0, nullptr, info};
    }
}

}  // namespace etabulon
