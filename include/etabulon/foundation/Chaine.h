#pragma once

#include "etabulon/foundation/EExport.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

// The C library's flag for a process with a single thread, which lets counts skip atomic steps.
#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define ETABULON_TELLS_THREADS
#endif

namespace etabulon {

/// The locale order of two texts given without terminator: below 0, 0, above 0. Case is ignored.
using LocaleCompare = int (*)(std::string_view left, std::string_view right);

/// A key whose byte order is the locale order, written into `key` (up to `capacity` bytes).
/// Returns the length that the whole key has. Two keys compare by bytes, the shorter prefix first.
using LocaleKey = std::size_t (*)(std::string_view text, char* key, std::size_t capacity);

/// A reference-counted string of bytes; values and display texts are UTF-8, but any byte is kept,
/// NUL included.
///
/// Ownership  a copy shares the body and costs one atomic add; writing detaches first.
/// Threads    bodies may be shared between threads, one Chaine object may not.
/// Failure    only std::bad_alloc and std::length_error (over 2^32 - 2 bytes), which leave the text
///            unchanged.
/// Example    examples/score.cpp
class ETABULON_API Chaine {
public:
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);

    constexpr Chaine() noexcept : body_(&emptyBody_.body) {}
    Chaine(const char* text);  // null gives the empty text
    Chaine(const char* bytes, std::size_t length);
    explicit Chaine(std::string_view text) : Chaine(text.data(), text.size()) {}
    Chaine(const Chaine& other) noexcept : body_(other.body_) { Retain(body_); }
    Chaine(Chaine&& other) noexcept : body_(std::exchange(other.body_, &emptyBody_.body)) {}
    Chaine& operator=(const Chaine& other) noexcept {
        if (body_ != other.body_) {
            Retain(other.body_);
            Release(std::exchange(body_, other.body_));
        }
        return *this;
    }
    Chaine& operator=(Chaine&& other) noexcept {
        std::swap(body_, other.body_);
        return *this;
    }
    ~Chaine() { Release(body_); }

    /// printf-style, "" where the format is wrong: Chaine::Format("%s[%d]", name, index).
    [[nodiscard]] static Chaine Format(const char* format, ...)
        __attribute__((format(printf, 1, 2)));
    /// The text of the string table, "" for an unknown number.
    [[nodiscard]] static Chaine Load(unsigned int stringID);
    [[nodiscard]] static Chaine FromUnsigned(std::uint64_t number);

    [[nodiscard]] bool IsEmpty() const noexcept { return body_->length == 1; }
    /// In bytes, without the terminator.
    [[nodiscard]] std::size_t Length() const noexcept { return body_->length - 1; }
    /// In bytes, with the terminator: the length that the orders compare.
    [[nodiscard]] std::size_t StoredLength() const noexcept { return body_->length; }
    [[nodiscard]] const char* c_str() const noexcept { return body_->Text(); }
    [[nodiscard]] std::string_view View() const noexcept {
        return {body_->Text(), body_->length - 1};
    }
    [[nodiscard]] char operator[](std::size_t index) const noexcept { return c_str()[index]; }

    /// Replaces the text, in place where the body is unshared and large enough.
    void Assign(const char* bytes, std::size_t length);
    void Assign(std::string_view text) { Assign(text.data(), text.size()); }
    void Append(std::string_view text);
    void Append(char c) { Append(std::string_view(&c, 1)); }
    Chaine& operator+=(std::string_view text) {
        Append(text);
        return *this;
    }
    Chaine& operator+=(const char* text) {
        Append(std::string_view(text));
        return *this;
    }
    Chaine& operator+=(const Chaine& text) {
        Append(text.View());
        return *this;
    }
    /// Makes it empty; an unshared body keeps its capacity.
    void Clear() noexcept;

    /// The plain order: unsigned bytes over the stored length.
    [[nodiscard]] int ComparePlain(const Chaine& other) const noexcept;
    /// The folded order: folded bytes as signed values over the shorter stored length.
    [[nodiscard]] int CompareFolded(const Chaine& other) const noexcept;
    /// The locale order of the installed function; identical bodies are equal without a call.
    [[nodiscard]] int CompareLocale(const Chaine& other) const;
    [[nodiscard]] bool EqualsFolded(const Chaine& other) const noexcept {
        return body_ == other.body_ || EqualsFolded(View(), other.View());
    }
    [[nodiscard]] bool IsSameBody(const Chaine& other) const noexcept {
        return body_ == other.body_;
    }
    friend bool operator==(const Chaine& a, const Chaine& b) noexcept {
        return a.body_ == b.body_ ||
               (a.body_->length == b.body_->length &&
                std::memcmp(a.body_->Text(), b.body_->Text(), a.body_->length) == 0);
    }
    friend bool operator<(const Chaine& a, const Chaine& b) noexcept {
        return a.ComparePlain(b) < 0;
    }
    friend bool operator>(const Chaine& a, const Chaine& b) noexcept {
        return a.ComparePlain(b) > 0;
    }

    /// A hash of the folded text: texts equal by bytes or by folding have one hash. Never 0.
    /// Computed once for each body.
    [[nodiscard]] std::uint32_t FoldHash() const noexcept { return FoldHashOf(body_); }

    [[nodiscard]] std::size_t Find(char c, std::size_t from = 0) const noexcept;
    [[nodiscard]] std::size_t FindFolded(char c, std::size_t from = 0) const noexcept;
    /// The first character that `set` (terminated by NUL) holds, or npos.
    [[nodiscard]] std::size_t FindOneOf(const char* set, std::size_t from = 0) const noexcept;
    /// Splits at the first `c`. Without one: false, `before` is the whole text and `after` empty.
    bool Split(char c, Chaine& before, Chaine& after) const;
    void RemoveAll(char c);
    [[nodiscard]] Chaine Mid(std::size_t from, std::size_t length = npos) const;

    /// Blanks (here and below: spaces and tabs), 1 to 10 digits, blanks, and nothing else.
    [[nodiscard]] bool IsDecimalNumber() const noexcept;
    /// All blanks removed, then the leading digits in base 10; saturates.
    [[nodiscard]] std::uint64_t ToUnsigned() const noexcept;

    // --------------------------------------- the folded order and hash of text outside of a Chaine
    [[nodiscard]] static int CompareFolded(std::string_view left, std::string_view right) noexcept;
    [[nodiscard]] static bool EqualsFolded(std::string_view left, std::string_view right) noexcept;
    [[nodiscard]] static std::uint32_t FoldHash(std::string_view text) noexcept;
    /// The folding of one byte that the folded order and FoldHash use.
    [[nodiscard]] static unsigned char Fold(unsigned char byte) noexcept;

    /// Installs the locale order for the whole process; null brings the default back. Call it
    /// before any tree is filled: existing trees aren't sorted again.
    static void SetLocaleOrder(LocaleCompare compare, LocaleKey key) noexcept;
    /// The key of this text under the installed order.
    [[nodiscard]] Chaine LocaleSortKey() const;
    /// The same for any text; see LocaleKey for the parameters and the result.
    [[nodiscard]] static std::size_t LocaleSortKey(std::string_view text, char* key,
                                                   std::size_t capacity);

    // -------------------------------------- for record slots, which hold a body pointer themselves
    struct Body {
        std::atomic<std::uint32_t> share;  // further owners beside the first
        std::uint32_t length;              // bytes with terminator
        std::uint32_t capacity;            // bytes with terminator; 0 for the immortal empty body
        mutable std::atomic<std::uint32_t> foldHash;

        /// The bytes, of which there are `capacity`, lie after the body in the same allocation.
        [[nodiscard]] char* Text() noexcept { return reinterpret_cast<char*>(this + 1); }
        [[nodiscard]] const char* Text() const noexcept {
            return reinterpret_cast<const char*>(this + 1);
        }
    };
    /// The FoldHash of a body without a Chaine around it.
    [[nodiscard]] static std::uint32_t FoldHashOf(const Body* body) noexcept {
        const std::uint32_t known = body->foldHash.load(std::memory_order_relaxed);
        return known != 0 ? known : ComputeFoldHash(body);
    }
    /// The body, borrowed.
    [[nodiscard]] Body* GetBody() const noexcept { return body_; }
    /// A Chaine that shares `body`.
    [[nodiscard]] static Chaine Share(Body* body) noexcept {
        Retain(body);
        return Chaine(body);
    }
    /// A Chaine that takes over the reference on `body`.
    [[nodiscard]] static Chaine Adopt(Body* body) noexcept { return Chaine(body); }
    /// Gives the reference to the caller; this becomes empty.
    [[nodiscard]] Body* Detach() noexcept { return std::exchange(body_, &emptyBody_.body); }
    static void Retain(Body* body) noexcept {
        if (body->capacity == 0) {
            return;
        }
        if (IsOnlyThread()) {
            body->share.store(body->share.load(std::memory_order_relaxed) + 1,
                              std::memory_order_relaxed);
        } else {
            body->share.fetch_add(1, std::memory_order_relaxed);
        }
    }
    static void Release(Body* body) noexcept {
        if (body->capacity == 0) {
            return;
        }
        // A share of 0 is final: no other Chaine holds the body, so none can add a reference.
        const std::uint32_t share = body->share.load(std::memory_order_acquire);
        if (share != 0) {
            if (IsOnlyThread()) {
                body->share.store(share - 1, std::memory_order_relaxed);
                return;
            }
            if (body->share.fetch_sub(1, std::memory_order_acq_rel) != 0) {
                return;
            }
        }
        Destroy(body);
    }

private:
    explicit Chaine(Body* body) noexcept : body_(body) {}
    /// True while the process has one thread: reference counts need no atomic steps, which are most
    /// of the cost of copying a text.
    [[nodiscard]] static bool IsOnlyThread() noexcept {
#if defined(ETABULON_TELLS_THREADS)
        return __libc_single_threaded != 0;
#else
        return false;
#endif
    }
    [[nodiscard]] static Body* NewBody(std::size_t length);
    static void Destroy(Body* body) noexcept;
    [[nodiscard]] static std::uint32_t ComputeFoldHash(const Body* body) noexcept;
    /// Makes the body unshared and large enough for `length` bytes; drops the text unless
    /// `keepText`.
    void Own(std::size_t length, bool keepText);
    void SetLength(std::size_t length) noexcept;
    [[nodiscard]] char* MutableText() noexcept { return body_->Text(); }

    struct EmptyBody {
        Body body;
        char text[8];  // as much as the smallest body has
    };
    static EmptyBody emptyBody_;
    Body* body_;
};

inline Chaine operator+(const Chaine& a, const Chaine& b) {
    Chaine sum(a);
    sum.Append(b.View());
    return sum;
}

}  // namespace etabulon
