#pragma once

#include "etabulon/foundation/EDataType.h"
#include "etabulon/foundation/detail/EHashMix.h"
#include "etabulon/foundation/detail/HashIndex.h"
#include "etabulon/values/ETabulonValue.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace etabulon::detail {

/// Numbers the distinct values of one level, from 0 in order of arrival.
///
/// Values are distinct by operator==. Values that are equal but not identical (two texts for one
/// code, two cases of one text, one of them modified) are spellings of one number.
/// Threads  one at a time.
class ValueNumbers {
public:
    /// The number for a tag that lacks the level.
    static constexpr std::uint32_t kAbsent = 0xFFFFFFFF;

    /// The number of the value, which is new if the value is unknown. Allocates only for new
    /// values.
    [[nodiscard]] std::uint32_t NumberOf(const ETabulonValue& value) {
        Fingerprint fingerprint;
        if (value.Status() != ETabulonValue::ValNormal ||
            !MakeFingerprint(value.Data(), fingerprint)) {
            return FindOrAdd(ETabulonValue(value));
        }
        const std::size_t slot = SlotOf(fingerprint);
        if (cache_[slot].IsAs(fingerprint)) {
            return cache_[slot].number;
        }
        return cache_[slot ^ 1].IsAs(fingerprint) ? cache_[slot ^ 1].number
                                                  : NumberOfUncached(value, fingerprint);
    }
    /// The same for a value that is most likely unknown, and moves in then.
    [[nodiscard]] std::uint32_t FindOrAdd(ETabulonValue&& value);
    /// Prefetches what FindOrAdd reads first for a value of these data, displayed as they are.
    void Prefetch(const EVariant& data) const noexcept;
    /// Makes room in the lookup for so many values.
    void ReserveLookup(std::uint32_t values) { index_.Reserve(values); }
    /// kAbsent if the value is unknown.
    [[nodiscard]] std::uint32_t Find(const ETabulonValue& value) const;
    [[nodiscard]] std::uint32_t Size() const noexcept {
        return static_cast<std::uint32_t>(firstSpelling_.size());
    }

    /// The spelling of a value with this number, which is new if the spelling is unknown. The first
    /// spelling of a number is that of its first value.
    [[nodiscard]] std::uint32_t SpellingOf(std::uint32_t number, const ETabulonValue& value);
    [[nodiscard]] std::uint32_t FirstSpelling(std::uint32_t number) const noexcept {
        return firstSpelling_[number];
    }
    [[nodiscard]] std::uint32_t SpellingCount() const noexcept {
        return static_cast<std::uint32_t>(spellings_.size());
    }
    /// Spellings are numbered in order of arrival.
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
    /// The fingerprint of a value: its type and its bits. For a text the bits are the address of
    /// its body, which is the body of the first spelling.
    struct Fingerprint {
        std::uint64_t bits = 0;
        std::uint32_t type = kAbsent;
        std::uint32_t number = 0;

        [[nodiscard]] bool IsAs(const Fingerprint& other) const noexcept {
            return bits == other.bits && type == other.type;
        }
    };
    static constexpr unsigned int kSmallestCacheBits = 5;
    static constexpr unsigned int kLargestCacheBits = 15;

    [[nodiscard]] static bool MakeFingerprint(const EVariant& data,
                                              Fingerprint& fingerprint) noexcept {
        if (data.Type() != TYPE_CHAINE) {
            return MakeOtherFingerprint(data, fingerprint);
        }
        fingerprint.type = TYPE_CHAINE;
        fingerprint.bits = reinterpret_cast<std::uintptr_t>(data.GetBuffer());
        return fingerprint.bits != 0;
    }
    [[nodiscard]] static bool MakeOtherFingerprint(const EVariant& data,
                                                   Fingerprint& fingerprint) noexcept;
    [[nodiscard]] std::size_t SlotOf(const Fingerprint& fingerprint) const noexcept {
        return SpreadBits(fingerprint.bits) >> cacheShift_;
    }
    [[nodiscard]] std::uint32_t NumberOfUncached(const ETabulonValue& value,
                                                 Fingerprint fingerprint);
    void GrowCache();
    [[nodiscard]] bool CanBeCached(const EVariant& data, std::uint32_t number) const noexcept;
    [[nodiscard]] std::uint32_t Find(const ETabulonValue& value, std::uint32_t hash) const;
    [[nodiscard]] std::uint32_t AddSpelling(std::uint32_t number, ETabulonValue value);

    std::vector<Spelled> spellings_;
    std::vector<std::uint32_t> firstSpelling_;  // by number
    HashIndex index_;                           // from a value's hash to its number
    // A two-way set-associative cache from fingerprint to number; the two last stored stay.
    std::vector<Fingerprint> cache_ =
        std::vector<Fingerprint>(std::size_t{1} << kSmallestCacheBits);
    unsigned int cacheShift_ = 64 - kSmallestCacheBits;
};

}  // namespace etabulon::detail
