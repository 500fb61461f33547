#pragma once

#include "etabulon/foundation/EDataType.h"
#include "etabulon/foundation/detail/EHashMix.h"
#include "etabulon/foundation/detail/HashIndex.h"
#include "etabulon/values/ETabulonValue.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// Numbers the different values of one level, from 0 in the order in which they are met.
///
/// Values are told apart by operator==. Values that are equal and yet not identical (two texts for
/// one code, two cases of one text, one of them modified) are spellings of one number, kept beside
/// the first.
/// Threads  one at a time.
class ValueNumbers {
public:
    /// Stands for no value at all, where a tag lacks the level.
    static constexpr std::uint32_t kAbsent = 0xFFFFFFFF;

    /// The number of the value, a new one if it wasn't met. Allocates for new ones only.
    [[nodiscard]] std::uint32_t NumberOf(const ETabulonValue& value) {
        Told told;
        if (value.Status() != ETabulonValue::ValNormal || !Tell(value.Data(), told)) {
            return FindOrAdd(value);
        }
        const std::size_t place = PlaceOf(told);
        if (recent_[place].IsAs(told)) {
            return recent_[place].number;
        }
        return recent_[place ^ 1].IsAs(told) ? recent_[place ^ 1].number
                                             : NumberOfOther(value, told);
    }
    /// kAbsent if it wasn't met.
    [[nodiscard]] std::uint32_t Find(const ETabulonValue& value) const;
    [[nodiscard]] std::uint32_t Size() const noexcept {
        return static_cast<std::uint32_t>(firstSpelling_.size());
    }

    /// The spelling of a value with this number, a new one if it wasn't met. The first spelling of
    /// a number is that of the value that made it.
    [[nodiscard]] std::uint32_t SpellingOf(std::uint32_t number, const ETabulonValue& value);
    [[nodiscard]] std::uint32_t FirstSpelling(std::uint32_t number) const noexcept {
        return firstSpelling_[number];
    }
    [[nodiscard]] std::uint32_t SpellingCount() const noexcept {
        return static_cast<std::uint32_t>(spellings_.size());
    }
    /// In the order in which they are met.
    [[nodiscard]] const ETabulonValue& Spelling(std::uint32_t spelling) const noexcept {
        return spellings_[spelling].value;
    }
    [[nodiscard]] std::uint32_t NumberOfSpelling(std::uint32_t spelling) const noexcept {
        return spellings_[spelling].number;
    }

private:
    struct Spelled {
        ETabulonValue value;
        std::uint32_t number;
        std::uint32_t next;  // the next spelling of the same number, or kAbsent
    };
    /// A value that can be told by its bits: of a fixed size, or a text by the body that it shares
    /// with the one kept here.
    struct Told {
        std::uint64_t bits = 0;
        std::uint32_t type = kAbsent;
        std::uint32_t number = 0;

        [[nodiscard]] bool IsAs(const Told& other) const noexcept {
            return bits == other.bits && type == other.type;
        }
    };
    static constexpr unsigned kFewestBits = 5;
    static constexpr unsigned kMostBits = 15;

    [[nodiscard]] static bool Tell(const EVariant& data, Told& told) noexcept {
        if (data.Type() != TYPE_CHAINE) {
            return TellOther(data, told);
        }
        told.type = TYPE_CHAINE;
        told.bits = reinterpret_cast<std::uintptr_t>(data.GetBuffer());
        return told.bits != 0;
    }
    [[nodiscard]] static bool TellOther(const EVariant& data, Told& told) noexcept;
    [[nodiscard]] std::size_t PlaceOf(const Told& told) const noexcept {
        return SpreadBits(told.bits) >> recentShift_;
    }
    [[nodiscard]] std::uint32_t NumberOfOther(const ETabulonValue& value, Told told);
    void GrowRecent();
    [[nodiscard]] bool CanBeKept(const EVariant& data, std::uint32_t number) const noexcept;
    [[nodiscard]] std::uint32_t Find(const ETabulonValue& value, std::uint32_t hash) const;
    [[nodiscard]] std::uint32_t FindOrAdd(const ETabulonValue& value);
    [[nodiscard]] std::uint32_t AddSpelling(std::uint32_t number, const ETabulonValue& value);

    std::vector<Spelled> spellings_;
    std::vector<std::uint32_t> firstSpelling_;  // by number
    HashIndex index_;                           // from a value's hash to its number
    // Two places for each pattern of bits; of more, those told last have them.
    std::vector<Told> recent_ = std::vector<Told>(std::size_t{1} << kFewestBits);
    unsigned recentShift_ = 64 - kFewestBits;
};

}  // namespace etabulon::detail
