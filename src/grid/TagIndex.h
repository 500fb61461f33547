#pragma once

#include "etabulon/values/ETabulonTag.h"
#include "foundation/PairNumbers.h"
#include "grid/ValueNumbers.h"

#include <cstdint>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

namespace etabulon::detail {

/// Numbers the distinct details of records below a root, from 0 in order of arrival.
///
/// A detail is a tag: the root with the record's values at some levels. Details are distinct by
/// ETabulonTag::operator==, and the index keeps the spelling of the first. The numbers are those
/// that a list of detail tags with linear search would give, but no detail tags are built.
///
/// Requires  that the tags passed in are the root or below it: at a level that the root holds they
///           hold an equal value or none.
/// Threads   one at a time. A known tag allocates nothing.
class TagIndex {
public:
    static constexpr std::uint32_t kNone = PairNumbers::kNone;
    static constexpr std::uint32_t kAbsent = ValueNumbers::kAbsent;

    /// A repeated level counts once.
    TagIndex(const ETabulonTag& root, std::span<const unsigned int> levels);
    TagIndex(const TagIndex&) = delete;
    TagIndex& operator=(const TagIndex&) = delete;

    /// The number of the record's detail, which is new if the detail is unknown. LastNumbers() are
    /// the record's afterwards.
    [[nodiscard]] std::uint32_t FindOrAdd(const ETabulonTag& tag);
    /// The same for a tag that its address identifies within that generation: see
    /// ETabulonCursor::TagGeneration.
    [[nodiscard]] std::uint32_t FindOrAddLasting(const ETabulonTag& tag, std::uint64_t generation);
    /// With one column, the same for a record with this value there: most likely a new one.
    [[nodiscard]] std::uint32_t FindOrAddValue(ETabulonValue&& value);
    /// Prefetches what FindOrAddValue reads first for a value of these data.
    void PrefetchValue(const EVariant& data) const noexcept { columns_[0].values.Prefetch(data); }
    /// With one column, makes room in the lookup for so many values.
    void ReserveLookup(std::uint32_t values) { columns_[0].values.ReserveLookup(values); }
    [[nodiscard]] std::uint32_t Size() const noexcept { return size_; }
    /// The detail as a tag, spelled as in its first record.
    [[nodiscard]] ETabulonTag Tag(std::uint32_t detail) const;
    /// The same into a tag, whose memory is reused.
    void ReadTag(std::uint32_t detail, ETabulonTag& tag) const;
    // For many tags in random order: first PrefetchValues, some tags later PrefetchTexts.
    void PrefetchValues(std::uint32_t detail) const noexcept;
    void PrefetchTexts(std::uint32_t detail) const noexcept;

    /// There is one column, and each detail has the value of its own number in the first spelling.
    /// It may be false though it is so.
    [[nodiscard]] bool IsStraight() const noexcept { return isStraight_; }

    // ---------------- the columns: one for each distinct level, with the number of the value there
    [[nodiscard]] std::size_t ColumnCount() const noexcept { return columns_.size(); }
    [[nodiscard]] unsigned int LevelOf(std::size_t column) const noexcept {
        return columns_[column].level;
    }
    /// -1 for a level without a column.
    [[nodiscard]] int ColumnOf(unsigned int level) const noexcept;
    /// Whether the root holds the column's level, so that every detail has the same number there.
    [[nodiscard]] bool IsInRoot(std::size_t column) const noexcept {
        return columns_[column].inRoot != nullptr;
    }
    [[nodiscard]] const ValueNumbers& Values(std::size_t column) const noexcept {
        return columns_[column].values;
    }
    /// The number of a record's value in a column, which is new if the value is unknown.
    [[nodiscard]] std::uint32_t NumberOf(std::size_t column, const ETabulonValue& value) {
        return columns_[column].values.NumberOf(value);
    }
    /// The value numbers by column; kAbsent if the record has no value there.
    [[nodiscard]] std::span<const std::uint32_t> LastNumbers() const noexcept { return last_; }
    /// The detail with exactly these numbers, or kNone. Requires one number for each column.
    [[nodiscard]] std::uint32_t Find(std::span<const std::uint32_t> numbers) const;
    // For many lookups of two numbers at a time, worth it in an index that exceeds the cache.
    [[nodiscard]] bool IsLarge() const noexcept { return size_ > kFitsCache; }
    void PrefetchPair(std::uint32_t first, std::uint32_t second) const noexcept {
        chain_[0].Prefetch(first, second);
    }
    /// Find with two columns.
    [[nodiscard]] std::uint32_t FindPair(std::uint32_t first, std::uint32_t second) const {
        return chain_[0].Find(first, second);
    }
    /// FindOrAdd for a tag of known values in known spellings: of each column the number, and the
    /// spelling unless the number is kAbsent.
    [[nodiscard]] std::uint32_t FindOrAddKnown(std::span<const std::uint32_t> numbers,
                                               std::span<const std::uint32_t> spellings);
    /// A value by its number and its spelling.
    struct Known {
        std::uint32_t number;
        std::uint32_t spelling;
    };
    /// With two columns, the number of a new detail: FindPair gives kNone.
    [[nodiscard]] std::uint32_t AddPair(const Known& first, const Known& second);
    /// With two columns, the details of many records whose values are known and spelled as their
    /// first ones. Returns false and changes nothing if they must be found one by one.
    [[nodiscard]] bool FindOrAddPairs(std::span<const std::uint32_t> first,
                                      std::span<const std::uint32_t> second,
                                      std::uint32_t largestFirst, std::uint32_t largestSecond,
                                      std::uint32_t* details);
    /// The spelling that the detail has in a column; kAbsent without a value there.
    [[nodiscard]] std::uint32_t SpellingOf(std::uint32_t detail, std::size_t column) const;
    [[nodiscard]] std::uint32_t NumberAt(std::uint32_t detail, std::size_t column) const {
        if (columns_.size() > 2) {
            return NumberInChain(detail, column);
        }
        return column + 1 == columns_.size() ? chain_[0].SecondOf(detail)
                                             : chain_[0].FirstOf(detail);
    }
    /// NumberAt of every column. Requires room for as many.
    void NumbersOf(std::uint32_t detail, std::span<std::uint32_t> numbers) const {
        if (columns_.size() != 2) {
            return NumbersInChain(detail, numbers);
        }
        numbers[0] = chain_[0].FirstOf(detail);
        numbers[1] = chain_[0].SecondOf(detail);
    }

private:
    struct Column {
        unsigned int level;
        const ETabulonValue* inRoot;  // the root's value, in root_; null if it has none
        unsigned int index;           // of the level in the last tag
        ValueNumbers values;
    };
    [[nodiscard]] static const ETabulonValue* ValueIn(const ETabulonTag& tag, Column& column) {
        const ETabulonValue* const value = tag.Find(column.level, column.index);
        return value != nullptr ? value : column.inRoot;
    }
    [[nodiscard]] std::uint32_t Chain();
    [[nodiscard]] bool RefillTag(std::uint32_t detail, ETabulonTag& tag) const;
    [[nodiscard]] std::uint32_t NumberInChain(std::uint32_t detail, std::size_t column) const;
    void NumbersInChain(std::uint32_t detail, std::span<std::uint32_t> numbers) const;
    template <class Visit>
    void ForEachFirstSpelling(std::uint32_t detail, const Visit& visit) const noexcept;
    void NoteSingle(std::uint32_t detail) noexcept;
    void KeepSpellings(const ETabulonTag& tag, std::uint32_t detail);
    void KeepSpelling(std::uint32_t detail, std::size_t column, std::uint32_t spelling);
    [[nodiscard]] std::uint64_t SpellingKey(std::uint32_t detail, std::size_t column) const {
        return std::uint64_t{detail} * columns_.size() + column;
    }

    ETabulonTag root_;
    std::vector<Column> columns_;
    std::vector<std::pair<unsigned int, std::uint32_t>> byLevel_;  // level and column, sorted
    // One for each column beyond the first: pairs of the number for the columns before and the
    // column's own. With one column: pairs of 0 and its number.
    std::vector<PairNumbers> chain_;
    std::uint32_t size_ = 0;
    bool isStraight_;  // one column: each detail has the value and the spelling of its own number
    std::vector<std::uint32_t> last_;
    std::uint32_t lastDetail_ = kNone;
    // A direct-mapped cache of the details of known tags of one generation, by their addresses.
    // 4096 entries of 16 bytes stay in the processor's second-level cache.
    struct CachedTag {
        const ETabulonTag* tag = nullptr;
        std::uint32_t detail = kNone;
    };
    static constexpr std::size_t kCacheSlots = 4096;
    static constexpr std::uint32_t kFitsCache = 4096;  // details, whose numbers take 128 KiB
    std::vector<CachedTag> cache_;
    std::uint64_t cacheGeneration_ = 0;
    std::unordered_map<std::uint64_t, std::uint32_t> otherSpellings_;  // other than the first
};

}  // namespace etabulon::detail
