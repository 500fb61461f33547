#pragma once

#include "etabulon/values/ETabulonTag.h"
#include "grid/PairNumbers.h"
#include "grid/ValueNumbers.h"

#include <cstdint>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

namespace etabulon::detail {

/// Numbers the different details of records below a root: what a linear search of tags of the root
/// and some levels' values would find, in the order of insertion, without making the tags.
///
/// A detail is a tag: the root, and the record's value at each of the levels that it has one for.
/// Two are the same by ETabulonTag::operator==; the first one met is the one that is kept.
///
/// Requires  that the tags passed in are the root or below it: at a level that the root holds they
///           hold an equal value or none.
/// Threads   one at a time. A tag met before allocates nothing.
class TagIndex {
public:
    static constexpr std::uint32_t kNone = PairNumbers::kNone;
    static constexpr std::uint32_t kAbsent = ValueNumbers::kAbsent;

    /// A level that comes twice is taken once.
    TagIndex(const ETabulonTag& root, std::span<const unsigned int> levels);
    TagIndex(const TagIndex&) = delete;
    TagIndex& operator=(const TagIndex&) = delete;

    /// The number of the record's detail, a new one if it wasn't met. Afterwards LastNumbers() are
    /// the record's.
    [[nodiscard]] std::uint32_t FindOrAdd(const ETabulonTag& tag);
    /// The same for a tag that its address tells within that generation: see
    /// ETabulonCursor::TagGeneration.
    [[nodiscard]] std::uint32_t FindOrAddLasting(const ETabulonTag& tag, std::uint64_t generation);
    [[nodiscard]] std::uint32_t Size() const noexcept { return size_; }
    /// The detail as a tag, spelled as it was first met.
    [[nodiscard]] ETabulonTag Tag(std::uint32_t detail) const;

    // --- what details are made of: for each distinct level a column of numbers ---
    [[nodiscard]] std::size_t ColumnCount() const noexcept { return columns_.size(); }
    /// -1 for a level that isn't one of these.
    [[nodiscard]] int ColumnOf(unsigned int level) const noexcept;
    /// The root holds the column's level, so that every detail has the one number.
    [[nodiscard]] bool IsInRoot(std::size_t column) const noexcept {
        return columns_[column].inRoot != nullptr;
    }
    [[nodiscard]] const ValueNumbers& Values(std::size_t column) const noexcept {
        return columns_[column].values;
    }
    /// By column; kAbsent where the record had no value.
    [[nodiscard]] std::span<const std::uint32_t> LastNumbers() const noexcept { return last_; }
    /// The detail with just these numbers, or kNone. Requires one for each column.
    [[nodiscard]] std::uint32_t Find(std::span<const std::uint32_t> numbers) const;
    [[nodiscard]] std::uint32_t NumberAt(std::uint32_t detail, std::size_t column) const;
    /// NumberAt of every column. Requires room for as many.
    void NumbersOf(std::uint32_t detail, std::span<std::uint32_t> numbers) const;

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
    void KeepSpellings(const ETabulonTag& tag, std::uint32_t detail);
    [[nodiscard]] std::uint64_t SpellingKey(std::uint32_t detail, std::size_t column) const {
        return std::uint64_t{detail} * columns_.size() + column;
    }

    ETabulonTag root_;
    std::vector<Column> columns_;
    std::vector<std::pair<unsigned int, std::uint32_t>> byLevel_;  // each column, by its level
    // One for each column beyond the first: the number so far and the column's. With one column,
    // its number alone.
    std::vector<PairNumbers> chain_;
    std::uint32_t size_ = 0;
    std::vector<std::uint32_t> last_;
    std::uint32_t lastDetail_ = kNone;
    // Tags of one generation met before, each in the one place for its address.
    struct Met {
        const ETabulonTag* tag = nullptr;
        std::uint32_t detail = kNone;
    };
    static constexpr std::size_t kMet = 4096;
    std::vector<Met> met_;
    std::uint64_t metGeneration_ = 0;
    std::unordered_map<std::uint64_t, std::uint32_t> otherSpellings_;  // where not the first
};

}  // namespace etabulon::detail
