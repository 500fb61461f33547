#pragma once

// The parts of EVariant that a walk runs several times for each record. Only the end of EVariant.h
// includes this file, which has no includes of the library: they would be a circle.

#include <limits>
#include <utility>

namespace etabulon {

template <class T>
EVariant::EVariant(std::uint16_t type, T value) noexcept
    : type_(type), size_(sizeof value), kind_(Kind::Inline), rep_(static_cast<std::uint8_t>(type)) {
    std::memcpy(store_.bytes, &value, sizeof value);
}

inline EVariant::EVariant(const Chaine& text)
    : type_(TYPE_CHAINE), size_(4), kind_(Kind::Text), rep_(TYPE_CHAINE) {
    Chaine::Retain(text.GetBody());
    store_.text = text.GetBody();
}

inline EVariant::EVariant(unsigned long number)
    : EVariant(TYPE_UINT32, number > std::numeric_limits<std::uint32_t>::max()
                                ? std::numeric_limits<std::uint32_t>::max()
                                : static_cast<std::uint32_t>(number)) {}
inline EVariant::EVariant(unsigned int number) : EVariant(TYPE_UINT32, std::uint32_t{number}) {}
inline EVariant::EVariant(int number) : EVariant(TYPE_LONG, std::int32_t{number}) {}
inline EVariant::EVariant(long number) : EVariant(TYPE_INT64, std::int64_t{number}) {}
inline EVariant::EVariant(long long number) : EVariant(TYPE_INT64, std::int64_t{number}) {}
inline EVariant::EVariant(unsigned long long number)
    : EVariant(TYPE_UINT64, std::uint64_t{number}) {}
inline EVariant::EVariant(double number) : EVariant(TYPE_DOUBLE, number) {}
inline EVariant::EVariant(long double number) : EVariant(static_cast<double>(number)) {}
inline EVariant::EVariant(std::string_view text) : EVariant(Chaine(text)) {}
inline EVariant::EVariant(const std::string& text) : EVariant(std::string_view(text)) {}

inline EVariant EVariant::FromInt64(std::int64_t number) noexcept {
    return EVariant(TYPE_INT64, number);
}
inline EVariant EVariant::FromDouble(double number) noexcept {
    return EVariant(TYPE_DOUBLE, number);
}

inline void EVariant::CopyHeader(const EVariant& other) noexcept {
    type_ = other.type_;
    size_ = other.size_;
    kind_ = other.kind_;
    rep_ = other.rep_;
}

// Requires plain bytes. Copies the first eight separately: a number was usually stored as eight
// bytes just before, and a wider load would stall because the store can't be forwarded to it.
inline void EVariant::CopyBytes(const EVariant& other) noexcept {
    std::memcpy(store_.bytes, other.store_.bytes, sizeof(std::uint64_t));
    if (other.size_ >= sizeof(std::uint64_t) && other.rep_ != TYPE_INT64 &&
        other.rep_ != TYPE_DOUBLE) {
        std::memcpy(store_.bytes + sizeof(std::uint64_t),
                    other.store_.bytes + sizeof(std::uint64_t),
                    kInlineBytes - sizeof(std::uint64_t));
    }
}

inline EVariant::EVariant(const EVariant& other) {
    if (other.IsPlainBytes()) {
        CopyHeader(other);
        CopyBytes(other);
    } else if (other.kind_ == Kind::Text) {
        Chaine::Retain(other.store_.text);
        CopyHeader(other);
        store_.text = other.store_.text;
    } else {
        CopyOther(other);
    }
}

inline void EVariant::Steal(EVariant& other) noexcept {
    CopyHeader(other);
    if (other.IsPlainBytes()) {
        CopyBytes(other);
    } else {
        store_ = other.store_;
        other.kind_ = Kind::Missing;
    }
}

inline EVariant::EVariant(EVariant&& other) noexcept {
    if (other.kind_ == Kind::View) {
        CopyOther(other);
    } else {
        Steal(other);
    }
}

inline EVariant& EVariant::operator=(const EVariant& other) {
    if (IsPlainBytes() && other.IsPlainBytes()) {
        CopyHeader(other);
        CopyBytes(other);
    } else if (kind_ == Kind::Text && other.kind_ == Kind::Text) {
        if (store_.text != other.store_.text) {
            Chaine::Retain(other.store_.text);
            Chaine::Release(std::exchange(store_.text, other.store_.text));
        }
        CopyHeader(other);
    } else {
        AssignOther(other);
    }
    return *this;
}

inline EVariant& EVariant::operator=(EVariant&& other) noexcept {
    if (other.kind_ == Kind::View || kind_ == Kind::View) {
        AssignOther(other);
    } else if (this != &other) {
        Drop();
        Steal(other);
    }
    return *this;
}

inline const void* EVariant::GetBuffer() const noexcept {
    switch (kind_) {
        case Kind::Inline:
            return store_.bytes;
        case Kind::Text:
            return store_.text->Text();
        case Kind::Heap:
            return store_.heap.bytes;
        case Kind::View:
            return ViewBuffer();
        default:
            return nullptr;
    }
}

inline bool EVariant::IsEqualTo(const EVariant& other) const noexcept {
    if (kind_ == other.kind_ && rep_ == other.rep_) {
        if (kind_ == Kind::Text && rep_ == TYPE_CHAINE) {
            return store_.text == other.store_.text ||
                   (store_.text->length == other.store_.text->length &&
                    std::memcmp(store_.text->Text(), other.store_.text->Text(),
                                store_.text->length) == 0);
        }
        if (kind_ == Kind::Inline && rep_ == TYPE_INT64) {
            return std::memcmp(store_.bytes, other.store_.bytes, sizeof(std::int64_t)) == 0;
        }
    }
    return Equal(*this, other);
}

inline bool EVariant::IsIdenticalTo(const EVariant& other) const noexcept {
    if (type_ != other.type_ || size_ != other.size_) {
        return false;
    }
    if (kind_ == Kind::Text && other.kind_ == Kind::Text) {
        return store_.text == other.store_.text ||
               (store_.text->length == other.store_.text->length &&
                std::memcmp(store_.text->Text(), other.store_.text->Text(), store_.text->length) ==
                    0);
    }
    const void* const bytes = GetBuffer();
    const void* const others = other.GetBuffer();
    if (bytes == nullptr || others == nullptr) {
        return bytes == others;
    }
    const std::size_t count = ByteCount();
    return count == other.ByteCount() && std::memcmp(bytes, others, count) == 0;
}

inline EVariant& EVariant::operator+=(const EVariant& other) {
    const bool inPlace = rep_ == TYPE_INT64 || rep_ == TYPE_DOUBLE;
    if (!inPlace || kind_ != Kind::Inline || rep_ != other.rep_) {
        AddOther(other);
    } else if (const void* added = other.GetBuffer(); added != nullptr) {
        AddInPlace(added);
    }
    return *this;
}

// Requires TYPE_INT64 or TYPE_DOUBLE.
inline void EVariant::AddInPlace(const void* added) noexcept {
    if (rep_ == TYPE_DOUBLE) {
        double sum = 0;
        double more = 0;
        std::memcpy(&sum, store_.bytes, sizeof sum);
        std::memcpy(&more, added, sizeof more);
        sum += more;
        std::memcpy(store_.bytes, &sum, sizeof sum);
        return;
    }
    std::int64_t sum = 0;
    std::int64_t more = 0;
    std::memcpy(&sum, store_.bytes, sizeof sum);
    std::memcpy(&more, added, sizeof more);
    if (__builtin_add_overflow(sum, more, &sum)) {
        sum = more < 0 ? std::numeric_limits<std::int64_t>::min()
                       : std::numeric_limits<std::int64_t>::max();
    }
    std::memcpy(store_.bytes, &sum, sizeof sum);
}

}  // namespace etabulon
