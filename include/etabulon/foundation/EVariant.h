#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EDataType.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace etabulon {

/// A typed value. It owns its bytes or, in an EField, views a cell of a record.
///
/// A value is empty (no type: type 0, size 0), missing (typed, no value) or present. GetBuffer() is
/// null for an empty and for a missing value, and the library tests for both by that null alone.
/// Comparison is one total order over all types: missing < numbers < dates and times < text < other
/// bytes. Values of one class compare by value: times of day are below dates and timestamps, NaN is
/// equal to itself and below all numbers, whole and floating numbers compare exactly. Equality and
/// Hash agree with this order.
///
/// Ownership  a copy always owns its bytes, even the copy of a view. A value of up to 24 bytes (23
///            of declared text, which ends in a NUL) allocates nothing; owned text is a Chaine and
///            copies by one atomic add.
/// Threads    one thread at a time; copies are independent.
/// Failure    conversions report none: a value that doesn't convert becomes missing, one that
///            doesn't fit is clamped or cut to the cell.
/// Example    examples/first.cpp
class ETABULON_API EVariant {
public:
    constexpr EVariant() noexcept = default;
    EVariant(const char* text);         // TYPE_CHAINE
    EVariant(const Chaine& text);       // TYPE_CHAINE
    EVariant(const std::string& text);  // TYPE_CHAINE
    EVariant(std::string_view text);    // TYPE_CHAINE
    EVariant(int number);               // TYPE_LONG, and so do bool, char and short
    EVariant(unsigned int number);      // TYPE_UINT32
    // Deliberate: a TYPE_UINT32 of 4 bytes, clamped, though the parameter has 64 bits here: record
    // codes of 4 bytes pass through this constructor. FromInt64 and unsigned long long keep larger
    // numbers. MakesAVariantOfEveryArithmeticType holds it.
    EVariant(unsigned long number);
    EVariant(long number);                // TYPE_INT64
    EVariant(long long number);           // TYPE_INT64
    EVariant(unsigned long long number);  // TYPE_UINT64
    EVariant(double number);              // TYPE_DOUBLE, and so does float
    EVariant(long double number);         // TYPE_DOUBLE, rounded
    [[nodiscard]] static EVariant FromInt64(std::int64_t number) noexcept;  // TYPE_INT64
    [[nodiscard]] static EVariant FromDouble(double number) noexcept;       // TYPE_DOUBLE
    /// Reads a value of any type from text as AsChaine writes it, blanks around it allowed. Missing
    /// where the text doesn't convert. Owned text and bytes share the body of `text`.
    [[nodiscard]] static EVariant FromText(std::uint16_t type, std::uint16_t size,
                                           const Chaine& text);
    [[nodiscard]] static EVariant Missing(std::uint16_t type, std::uint16_t size);
    EVariant(const EVariant& other);
    // Moving from a view copies the value: a view owns nothing to steal.
    EVariant(EVariant&& other) noexcept;
    /// Becomes a copy of `other` with its type; between texts of one body no reference is counted.
    /// A view keeps its type and its cell, and stores the value there as operator<<= does.
    EVariant& operator=(const EVariant& other);
    EVariant& operator=(EVariant&& other) noexcept;
    ~EVariant() { Drop(); }

    [[nodiscard]] std::uint16_t Type() const noexcept { return type_; }
    /// In bytes: natural for fixed-size types, nominal 4 for owned text and bytes, otherwise as
    /// declared.
    [[nodiscard]] std::uint16_t Size() const noexcept { return size_; }
    /// The value's bytes: the characters of a text (terminated when owned), null when there is
    /// none.
    [[nodiscard]] const void* GetBuffer() const noexcept;
    [[nodiscard]] bool IsMissing() const noexcept { return GetBuffer() == nullptr; }
    /// The number of bytes at GetBuffer().
    [[nodiscard]] std::size_t ByteCount() const noexcept;

    /// Makes this an owned value of `type` and `size` from the bytes at `buffer`; null gives a zero
    /// value (empty text). A fixed-size type accepts size 0, its natural size, or its natural size
    /// plus the mark byte of a nullable cell; a set mark makes the value missing. Text is read up
    /// to its NUL or `size` bytes (owned text: up to its NUL), other bytes up to `size`. Returns
    /// false and changes nothing when memory ran out, the type can't have `size`, or this is a
    /// view.
    bool Init(std::uint16_t type, std::uint16_t size, const void* buffer);
    /// Stores the value of `other`, as operator<<= does.
    void Set(const EVariant& other);
    /// Stores the value in the existing cell, which keeps its type and size; an empty variant
    /// becomes a copy. A view writes into its record; a view without an address drops the value.
    EVariant& operator<<=(const EVariant& other);
    /// Keeps the type and drops the value.
    void SetMissing();

    friend bool operator==(const EVariant& a, const EVariant& b) noexcept { return a.IsEqualTo(b); }
    friend bool operator!=(const EVariant& a, const EVariant& b) noexcept {
        return !a.IsEqualTo(b);
    }
    friend bool operator<(const EVariant& a, const EVariant& b) noexcept {
        return Compare(a, b) < 0;
    }
    friend bool operator>(const EVariant& a, const EVariant& b) noexcept {
        return Compare(a, b) > 0;
    }
    /// Negative, 0 or positive, by the total order.
    [[nodiscard]] static int Compare(const EVariant& a, const EVariant& b) noexcept;
    /// Stricter than equality: the same type, size and bytes. Texts that fold to one text and the
    /// two zeros are equal without being identical.
    [[nodiscard]] bool IsIdenticalTo(const EVariant& other) const noexcept;
    [[nodiscard]] std::uint32_t Hash() const noexcept {
        return kind_ == Kind::Text ? Chaine::FoldHashOf(store_.text) : HashOther();
    }

    /// A whole or floating left side gives TYPE_DOUBLE; a scaled one keeps its type and is rounded
    /// half to even. Division by zero, by NaN or by a value that is no number leaves the left side
    /// as it is.
    EVariant& operator/=(const EVariant& divisor);
    /// Accumulates a sum: *this = *this + other, except that TYPE_INT64 plus TYPE_INT64 stays
    /// TYPE_INT64, clamped. A view stores the sum in its cell.
    EVariant& operator+=(const EVariant& other);

    /// Whole numbers in decimal; floating ones in their shortest form, with "." as the decimal
    /// point; scaled ones with all decimals; dates as ISO; text itself (owned text shares its
    /// body); a GUID in canonical form; otherwise "".
    [[nodiscard]] Chaine AsChaine() const;
    using TextBuffer = std::array<char, 24>;
    /// The same text, without making a Chaine for a short one. The result points into `buffer`,
    /// `holder` or this value, and stays valid until one of the three changes.
    [[nodiscard]] std::string_view AsText(TextBuffer& buffer, Chaine& holder) const;
    [[nodiscard]] std::uint64_t AsUInt64() const noexcept;  // clamped at 0 and 2^64 - 1
    [[nodiscard]] std::int64_t AsInt64() const noexcept;    // clamped; 0 when missing or no number
    [[nodiscard]] double AsDouble() const noexcept;         // with its decimals; 0 when missing

protected:
    enum class Kind : std::uint8_t {
        Empty = 0,
        Missing = 1,
        Inline = 2,
        Heap = 3,
        Text = 4,
        View = 5
    };
    /// How the cell that a view reads is laid out.
    enum class Layout : std::uint8_t {
        Owned = 0,     // not a view
        Plain = 1,     // natural bytes; missing = the reserved image
        Nullable = 2,  // natural bytes and a mark byte, 1 = missing
        Slot = 3,      // a Chaine body pointer, aligned; null = missing
        Sized = 4,     // declared bytes of text or raw bytes: never missing
    };
    static constexpr std::size_t kInlineBytes = 24;

    /// A view of `address`, which may be null. `size` is the value's, without the mark byte.
    EVariant(std::uint16_t type, std::uint16_t size, Layout layout, void* address) noexcept {
        SetView(type, size, layout, address);
    }
    /// Makes this a view. Requires that it is one already, or owns nothing.
    void SetView(std::uint16_t type, std::uint16_t size, Layout layout, void* address) noexcept {
        type_ = type;
        size_ = size;
        kind_ = Kind::View;
        rep_ = static_cast<std::uint8_t>(type);
        layout_ = layout;
        store_.view = address;
    }
    [[nodiscard]] void* ViewAddress() const noexcept { return store_.view; }
    void SetViewAddress(void* address) noexcept { store_.view = address; }

private:
    friend struct EVariantAccess;  // the conversions and comparisons in the sources
    template <class T>
    EVariant(std::uint16_t type, T value) noexcept;
    [[nodiscard]] bool IsEqualTo(const EVariant& other) const noexcept;
    [[nodiscard]] static bool Equal(const EVariant& a, const EVariant& b) noexcept;
    [[nodiscard]] std::uint32_t HashOther() const noexcept;
    [[nodiscard]] bool IsPlainBytes() const noexcept { return kind_ <= Kind::Inline; }
    [[nodiscard]] const void* ViewBuffer() const noexcept;
    void CopyHeader(const EVariant& other) noexcept;
    void CopyBytes(const EVariant& other) noexcept;
    void CopyOther(const EVariant& other);    // from Heap or View; this must own nothing
    void AssignOther(const EVariant& other);  // the cases that operator= leaves out of line
    void AssignView(const EVariant& view);
    void AssignSized(const EVariant& source, const void* bytes);
    [[nodiscard]] bool ReadFixed(const EVariant& view, const void* cell) noexcept;
    [[nodiscard]] unsigned char* Room();
    void InitOwned(const char* characters, std::size_t length);
    void AddOther(const EVariant& other);
    void AddInPlace(const void* added) noexcept;
    void Steal(EVariant& other) noexcept;
    void FreeHeap() noexcept;
    void Drop() noexcept {
        if (kind_ == Kind::Text) {
            Chaine::Release(store_.text);
        } else if (kind_ == Kind::Heap) {
            FreeHeap();
        }
    }

    std::uint16_t type_ = 0;
    std::uint16_t size_ = 0;
    Kind kind_ = Kind::Empty;
    std::uint8_t rep_ = 0;  // index into kTypeInfos: the low byte of the type
    Layout layout_ = Layout::Owned;
    union Store {
        constexpr Store() noexcept : words{} {}
        std::uint64_t words[kInlineBytes / sizeof(std::uint64_t)];
        unsigned char bytes[kInlineBytes];
        Chaine::Body* text;  // Kind::Text: one reference
        struct {
            unsigned char* bytes;  // and a NUL after them
            std::size_t count;
        } heap;      // Kind::Heap
        void* view;  // Kind::View
    } store_;
};

static_assert(sizeof(EVariant) == 32);

/// Whole numbers are added in 128 bits; the sum is a double if one side is floating, otherwise
/// scaled if one side is scaled. A number n added to a date is n days, added to a time or timestamp
/// n milliseconds. Text plus anything concatenates; missing + x = x; in every other case the left
/// side is the result. A sum of whole numbers is a TYPE_INT64, or a TYPE_UINT64 where it is above
/// that type's range, so that only the cell that stores it clamps; scaled sums are TYPE_CURRENCY or
/// TYPE_DECIMAL64.
[[nodiscard]] ETABULON_API EVariant operator+(const EVariant& left, const EVariant& right);

}  // namespace etabulon

#include "etabulon/foundation/detail/EVariantInline.h"
