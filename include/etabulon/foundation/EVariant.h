#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EDataType.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace etabulon {

/// A typed value. It owns its bytes, or, in an EField, views a place in a record.
///
/// A value is empty (no type: type 0, size 0), missing (typed, no value) or present.
/// GetBuffer() is null for the first two: the library's one test for a missing value.
/// Comparison is one total order over all types: missing < numbers < dates and times < text <
/// other bytes; by value inside a class, times of day below dates and timestamps; NaN equal to
/// itself and below all numbers; whole numbers against floating ones exactly. Equality and Hash
/// agree with it.
///
/// Ownership  a copy always owns, also the copy of a view. Nothing up to 24 bytes allocates (23 of
///            declared text, which has a NUL behind it); owned text is a Chaine and copies by one
///            atomic add.
/// Threads    one thread at a time; copies are independent.
/// Failure    conversions never fail loudly: what doesn't convert is missing, what doesn't fit is
///            clamped or cut to the cell.
class ETABULON_API EVariant {
public:
    constexpr EVariant() noexcept = default;
    EVariant(const char* text);         // TYPE_CHAINE
    EVariant(const Chaine& text);       // TYPE_CHAINE
    EVariant(const std::string& text);  // TYPE_CHAINE
    EVariant(std::string_view text);    // TYPE_CHAINE
    EVariant(int number);               // TYPE_LONG, and so do bool, char and short
    EVariant(unsigned number);          // TYPE_UINT32
    // Deliberate: TYPE_UINT32 of 4 bytes, clamped, though it has 64 bits here: record codes of that
    // width pass through it. FromInt64 or unsigned long long keep larger numbers.
    // MakesAVariantOfEveryArithmeticType holds it.
    EVariant(unsigned long number);
    EVariant(long number);                // TYPE_INT64
    EVariant(long long number);           // TYPE_INT64
    EVariant(unsigned long long number);  // TYPE_UINT64
    EVariant(double number);              // TYPE_DOUBLE, and so does float
    EVariant(long double number);         // TYPE_DOUBLE, rounded
    [[nodiscard]] static EVariant FromInt64(std::int64_t number) noexcept;  // TYPE_INT64
    [[nodiscard]] static EVariant FromDouble(double number) noexcept;       // TYPE_DOUBLE
    /// A value of any type read from text: what AsChaine writes, blanks around it allowed. Missing
    /// where it doesn't convert. Owned text and bytes share the body.
    [[nodiscard]] static EVariant FromText(std::uint16_t type, std::uint16_t size,
                                           const Chaine& text);
    [[nodiscard]] static EVariant Missing(std::uint16_t type, std::uint16_t size);
    EVariant(const EVariant& other);
    // A moved view is copied, like a view that is copied: it owns nothing that could be taken.
    EVariant(EVariant&& other) noexcept;
    /// A copy of `other` with its type. Over text of the same body nothing is counted. A view keeps
    /// its type and its place, and stores the value there as operator<<= does.
    EVariant& operator=(const EVariant& other);
    EVariant& operator=(EVariant&& other) noexcept;
    ~EVariant() { Drop(); }

    [[nodiscard]] std::uint16_t Type() const noexcept { return type_; }
    /// In bytes: natural for fixed-size types, nominal 4 for owned text and bytes, else as
    /// declared.
    [[nodiscard]] std::uint16_t Size() const noexcept { return size_; }
    /// The value's bytes: the characters of a text (terminated when owned), null when there is
    /// none.
    [[nodiscard]] const void* GetBuffer() const noexcept;
    [[nodiscard]] bool IsMissing() const noexcept { return GetBuffer() == nullptr; }
    /// The number of bytes behind GetBuffer().
    [[nodiscard]] std::size_t ByteCount() const noexcept;

    /// Gives it a type and a size and a value of its own: the bytes at `buffer`, or with null a
    /// zero value (empty text). A fixed-size type with size 0 or its natural size plus the mark
    /// byte of a nullable cell takes its natural size, and with that mark set it is missing. Of
    /// text, `buffer` is read up to its NUL or `size` bytes (owned text: to its NUL), of bytes
    /// `size`. False, and nothing changed, when memory ran out, the type can't have `size`, or
    /// this is a view.
    bool Init(std::uint16_t type, std::uint16_t size, const void* buffer);
    /// Copies the value of `other` into the own buffer: same type, bytes; else as operator<<=.
    void Set(const EVariant& other);
    /// Stores the value in the existing cell, which keeps its type and size; an empty variant
    /// becomes a copy. A view writes into its record; a view without a place drops the value.
    EVariant& operator<<=(const EVariant& other);
    /// Keeps the type and forgets the value.
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
    /// Below 0, 0, above 0 in the total order.
    [[nodiscard]] static int Compare(const EVariant& a, const EVariant& b) noexcept;
    /// More than equal: one type, size and bytes. Text that folds and the two zeros are equal and
    /// need not be identical.
    [[nodiscard]] bool IsIdenticalTo(const EVariant& other) const noexcept;
    [[nodiscard]] std::uint32_t Hash() const noexcept {
        return kind_ == Kind::Text ? Chaine::FoldHashOf(store_.text) : HashOther();
    }

    /// Whole by whole gives TYPE_DOUBLE, and so does whatever has a floating left side; scaled
    /// keeps its type, rounded half to even; by zero, NaN or what is no number the left side stays.
    EVariant& operator/=(const EVariant& divisor);
    /// The fold of a sum: *this = *this + other, but that a TYPE_INT64 to which a TYPE_INT64 is
    /// added stays one, clamped. A view stores the sum in its cell.
    EVariant& operator+=(const EVariant& other);

    /// Whole numbers in decimal; floating ones shortest, always with "."; scaled with all decimals;
    /// dates ISO; text itself (shared, not copied, when owned); GUID canonical; else "".
    [[nodiscard]] Chaine AsChaine() const;
    using TextBuffer = std::array<char, 24>;
    /// The same text without making a Chaine of a short one. It lies in `buffer`, in `holder`, or
    /// in this, and is good as long as these are left alone.
    [[nodiscard]] std::string_view AsText(TextBuffer& buffer, Chaine& holder) const;
    [[nodiscard]] std::uint64_t AsUInt64() const noexcept;  // clamped at 0 and 2^64 - 1
    [[nodiscard]] std::int64_t AsInt64() const noexcept;    // clamped; 0 when missing or no number
    [[nodiscard]] double AsDouble() const noexcept;         // scaled numbers scaled; 0 when missing

protected:
    enum class Kind : std::uint8_t {
        Empty = 0,
        Missing = 1,
        Inline = 2,
        Heap = 3,
        Text = 4,
        View = 5
    };
    /// What lies behind a view.
    enum class Layout : std::uint8_t {
        Owned = 0,     // not a view
        Plain = 1,     // natural bytes; missing = the reserved image
        Nullable = 2,  // natural bytes and a mark byte, 1 = missing
        Slot = 3,      // a Chaine body pointer, aligned; null = missing
        Sized = 4,     // declared bytes of text or raw bytes: never missing
    };
    static constexpr std::size_t kInlineBytes = 24;

    /// A view of `address` (null: a view without a place). `size` is the value's, without mark
    /// byte.
    EVariant(std::uint16_t type, std::uint16_t size, Layout layout, void* address) noexcept {
        SetView(type, size, layout, address);
    }
    /// Makes it this view. Only for what is a view, or owns nothing.
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
    void CopyOther(const EVariant& other);    // of heap or a view, into what owns nothing
    void AssignOther(const EVariant& other);  // whatever is not assigned inline
    void AssignView(const EVariant& view);
    void AssignSized(const EVariant& source, const void* bytes);
    [[nodiscard]] bool ReadFixed(const EVariant& view, const void* place) noexcept;
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
            unsigned char* bytes;  // and a NUL behind them
            std::size_t count;
        } heap;      // Kind::Heap
        void* view;  // Kind::View
    } store_;
};

static_assert(sizeof(EVariant) == 32);

/// Whole numbers in 128 bits, double if one side is floating, else scaled if one side is scaled; a
/// date plus n days, a time or timestamp plus n milliseconds; text plus anything concatenates;
/// missing + x = x; where nothing of this fits, the left side. A sum of whole numbers is a
/// TYPE_INT64, a TYPE_UINT64 where it is above that, so that only the cell it is stored in clamps;
/// scaled sums are TYPE_CURRENCY or TYPE_DECIMAL64.
[[nodiscard]] ETABULON_API EVariant operator+(const EVariant& left, const EVariant& right);

}  // namespace etabulon

#include "etabulon/foundation/detail/EVariantInline.h"
