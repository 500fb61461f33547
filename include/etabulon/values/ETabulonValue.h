#pragma once

#include "etabulon/foundation/Chaine.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/foundation/detail/ENeverDestroyed.h"

#include <cstdint>

namespace etabulon {

class EField;

/// One datum with its display text, and a status that tells a real value from an absent or a
/// special one.
///
/// Ownership  a value type that owns its data.
/// Threads    one thread at a time, const operations included: DisplayValue makes its text.
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
    /// Missing data give ValNull and drop the text. An empty text is made from the data when asked.
    ETabulonValue(const EVariant& data, const Chaine& display, bool modified);
    ETabulonValue(const ETabulonValue& other);
    ETabulonValue(ETabulonValue&& other) noexcept = default;
    ETabulonValue& operator=(const ETabulonValue& other);
    ETabulonValue& operator=(ETabulonValue&& other) noexcept = default;
    virtual ~ETabulonValue() = default;

    [[nodiscard]] const EVariant& Data() const noexcept { return data_; }
    /// For people. Made from the data at the first call, if it wasn't given.
    [[nodiscard]] const Chaine& DisplayValue() const {
        if (displayPending_) {
            MakeDisplay();
        }
        return display_;
    }
    /// The same text, not kept here if it wasn't made yet.
    [[nodiscard]] Chaine DisplayText() const {
        return displayPending_ ? data_.AsChaine() : display_;
    }
    /// The same, made in `buffer` or `holder`: see EVariant::AsText.
    [[nodiscard]] std::string_view DisplayText(EVariant::TextBuffer& buffer, Chaine& holder) const {
        return displayPending_ ? data_.AsText(buffer, holder) : display_.View();
    }
    [[nodiscard]] ValStatus Status() const noexcept { return status_; }
    [[nodiscard]] bool IsNull() const noexcept { return status_ == ValNull; }
    /// As the table holds it, and displays as its data: no text was given for it, or made yet.
    [[nodiscard]] bool IsPlain() const noexcept {
        return status_ == ValNormal && displayPending_ && !modified_;
    }
    [[nodiscard]] bool IsSpecial() const noexcept { return status_ == ValSpecial; }
    /// The value differs from what the table holds.
    [[nodiscard]] bool IsModified() const noexcept { return modified_; }
    void SetModified(bool modified) noexcept { modified_ = modified; }
    /// Stores into the data by <<= and makes the status ValNormal. Text and flags stay: a value
    /// whose text was made keeps it, and a default-constructed one goes on displaying as empty.
    void SetData(const EVariant& data);

    /// By status, then data. Two ValNull are equal; flags and text play no part.
    friend bool operator==(const ETabulonValue& a, const ETabulonValue& b) noexcept {
        return a.status_ == b.status_ && (a.status_ == ValNull || a.data_ == b.data_);
    }
    /// Below 0, 0 or above 0: ValNull < ValSpecial < ValNormal, then by text in plain order or by
    /// data. Two ValSpecial compare as 0 whatever their data.
    [[nodiscard]] int Compare(const ETabulonValue& other, bool byDisplay) const;
    /// Both would display as the same text. Keeps none that isn't made yet, and makes none where
    /// two that are still to be made have the same data.
    [[nodiscard]] bool HasSameDisplay(const ETabulonValue& other) const;
    /// More than equal: the same data to the letter, flag and text.
    [[nodiscard]] bool IsIdenticalTo(const ETabulonValue& other) const;
    /// Agrees with operator==.
    [[nodiscard]] std::uint32_t Hash() const noexcept;

    /// Becomes ETabulonValue(data, display, false) in the storage that it has: what a walk does for
    /// each level of each record. Either may be this value's own.
    void Refill(const EVariant& data);
    void Refill(const EVariant& data, const Chaine& display);

private:
    template <class T>
    friend union detail::ENeverDestroyed;
    constexpr explicit ETabulonValue(ValStatus status) noexcept : status_(status) {}
    void MakeDisplay() const;
    void TakeData(const EVariant& data);

    ValStatus status_ = ValNull;
    bool modified_ = false;
    mutable bool displayPending_ = false;  // display_ isn't made from data_ yet
    EVariant data_;
    mutable Chaine display_;
};

}  // namespace etabulon
