#pragma once

#include "etabulon/foundation/ERecordBlock.h"
#include "etabulon/foundation/detail/HashIndex.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace etabulon::detail {

/// A level of a tree in the blocks of a walk: the record's value by its number, and the child that
/// each parent has for each number met. Most numbers have one parent, which an array by number
/// remembers; the other parents of a number are in an index.
///
/// Children and parents are references that the caller makes.
/// Threads  one at a time. Nothing is allocated for numbers and pairs that are known.
class TreeBlockLevel {
public:
    static constexpr std::uint32_t kNone = ~std::uint32_t{0};

    /// The level's values are in the block's column `data`, as numbers or else as words, which this
    /// object numbers.
    TreeBlockLevel(unsigned int data, bool areNumbers) noexcept
        : data_(data), areNumbers_(areNumbers) {}

    /// Call it first for each block: the other functions read what it prepares.
    void Read(const ERecordBlock& block, std::span<const EBlockIndex> records);
    [[nodiscard]] std::uint32_t Number(EBlockIndex record) const noexcept {
        return numbers_[record];
    }
    /// The block numbers the values.
    [[nodiscard]] bool AreNumbers() const noexcept { return areNumbers_; }
    /// Turns each record's parent into the child, or kNone.
    void FindAll(std::span<const EBlockIndex> records, std::span<std::uint32_t> found) const;
    [[nodiscard]] std::uint32_t Find(std::uint32_t parent, EBlockIndex record) const {
        const Child& child = children_[numbers_[record]];
        return child.parent == parent ? child.child : FindOther(parent, numbers_[record]);
    }
    /// Requires that the parent has no child of the record's number.
    void Add(std::uint32_t parent, EBlockIndex record, std::uint32_t child);
    /// Forgets all children. The numbers stay.
    void Clear() noexcept;

private:
    struct Child {
        std::uint32_t parent = kNone;
        std::uint32_t child = kNone;
    };
    struct Pair {
        std::uint32_t parent;
        std::uint32_t number;
        std::uint32_t child;
    };
    void NumberWords(const ERecordBlock::Column& column, std::span<const EBlockIndex> records);
    [[nodiscard]] std::uint32_t NumberOf(std::uint64_t word, std::uint32_t hash);
    [[nodiscard]] std::uint32_t FindOther(std::uint32_t parent, std::uint32_t number) const;

    unsigned int data_;
    bool areNumbers_;
    const std::uint32_t* numbers_ = nullptr;  // of the block, by record
    std::vector<Child> children_;             // by number: of the first parent that it had
    std::vector<Pair> others_;
    HashIndex otherIndex_;

    // Of words: their numbers are their indexes here + 1, and 0 is the missing value.
    std::vector<std::uint64_t> words_;
    HashIndex wordIndex_;
    std::vector<std::uint32_t> numbered_;
    std::vector<std::uint32_t> hashes_;
};

}  // namespace etabulon::detail
