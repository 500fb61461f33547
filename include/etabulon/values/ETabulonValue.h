#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/foundation/detail/EHashMix.h"
#include "etabulon/foundation/detail/ENeverDestroyed.h"
#include "etabulon/foundation/fwd.h"

#include <cstdint>

namespace etabulon {

namespace detail {
struct ETabulonValueAccess;
}

/// One datum with its display text, and a status that distinguishes a real value from an absent or
/// a special one.
///
/// Ownership  a value type that owns its data.
/// Threads    one thread at a time, const operations included: DisplayValue makes its text.
/// Example    examples/totals.cpp
class ETABULON_API ETabulonValue {
public:
    enum ValStatus : std::int32_t {
        ValNull = 0,     // no value
        ValNormal = 1,   // a value is held
        ValSpecial = 2,  // a marked non-value, above ValNull and below every ValNormal
    };

    static const ETabulonValue& Null;
    static const ETabulonValue& Special;

    ETabulonValue() noexcept = default;
    /// Missing data give ValNull and drop the text. In place of an empty text DisplayValue makes
    /// one from the data.
    ETabulonValue(const EVariant& data, const Chaine& display, bool modified);
    ETabulonValue(const ETabulonValue& other);
    ETabulonValue(ETabulonValue&& other) noexcept = default;
    ETabulonValue& operator=(const ETabulonValue& other);
    ETabulonValue& operator=(ETabulonValue&& other) noexcept = default;
    virtual ~ETabulonValue() = default;

    [[nodiscard]] const EVariant& Data() const noexcept { return data_; }
    /// The text for users. The first call makes it from the data, unless it was given.
    [[nodiscard]] const Chaine& DisplayValue() const {
        if (displayPending_) {
            MakeDisplay();
        }
        return display_;
    }
    /// The text of DisplayValue, without caching it in this value.
    [[nodiscard]] Chaine DisplayText() const {
        return displayPending_ ? data_.AsChaine() : display_;
    }
    /// The text of DisplayValue, made in `buffer` or `holder`: see EVariant::AsText.
    [[nodiscard]] std::string_view DisplayText(EVariant::TextBuffer& buffer, Chaine& holder) const {
        return displayPending_ ? data_.AsText(buffer, holder) : display_.View();
    }
    [[nodiscard]] ValStatus Status() const noexcept { return status_; }
    [[nodiscard]] bool IsNull() const noexcept { return status_ == ValNull; }
    /// The datum as the table holds it, displayed as the data are; no text was given or made yet.
    [[nodiscard]] bool IsPlain() const noexcept {
        return status_ == ValNormal && displayPending_ && !modified_;
    }
    [[nodiscard]] bool IsSpecial() const noexcept { return status_ == ValSpecial; }
    /// The value differs from what the table holds.
    [[nodiscard]] bool IsModified() const noexcept { return modified_; }
    void SetModified(bool modified) noexcept { modified_ = modified; }
    /// Stores into the data by <<= and makes the status ValNormal. Text and flags stay: a text that
    /// was made is kept, and a default-constructed value still displays as empty.
    void SetData(const EVariant& data);

    /// Compares status, then data. Two ValNull are equal; flags and text play no part.
    friend bool operator==(const ETabulonValue& a, const ETabulonValue& b) noexcept {
        return a.status_ == b.status_ && (a.status_ == ValNull || a.data_ == b.data_);
    }
    /// Negative, 0 or positive: ValNull < ValSpecial < ValNormal, then by text in plain order or by
    /// data. Two ValSpecial compare as 0 whatever their data.
    [[nodiscard]] int Compare(const ETabulonValue& other, bool byDisplay) const;
    /// Both display as the same text. Caches no text, and makes none where both texts are still to
    /// be made from identical data.
    [[nodiscard]] bool HasSameDisplay(const ETabulonValue& other) const;
    /// Stricter than equality: the same status, modified flag and text, and identical data.
    [[nodiscard]] bool IsIdenticalTo(const ETabulonValue& other) const;
    /// Agrees with operator==.
    [[nodiscard]] std::uint32_t Hash() const noexcept;

    /// Becomes ETabulonValue(data, display, false) in its present storage, as a walk does for each
    /// level of each record. The parameters may be this value's own.
    void Refill(const EVariant& data);
    void Refill(const EVariant& data, const Chaine& display);

private:
    template <class T>
    friend union detail::ENeverDestroyed;
    friend struct detail::ETabulonValueAccess;
    constexpr explicit ETabulonValue(ValStatus status) noexcept : status_(status) {}
    /// What Hash adds to the hash of the data.
    [[nodiscard]] static constexpr std::uint32_t SaltOf(ValStatus status) noexcept {
        return static_cast<std::uint32_t>(status) * static_cast<std::uint32_t>(detail::kHashFactor);
    }
    void MakeDisplay() const;
    void TakeData(const EVariant& data);

    ValStatus status_ = ValNull;
    bool modified_ = false;
    mutable bool displayPending_ = false;  // display_ is still to be made from data_
    EVariant data_;
    mutable Chaine display_;
};

}  // namespace etabulon
